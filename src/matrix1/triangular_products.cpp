// matrix1/triangular_products.cpp - products with upper-triangular factors.
//
// Every operation is the pattern of products.cpp plus the bands of its factors: with U as it is, the
// sum of row i begins at l = i (or that of column k ends at l = k); with U transposed it is the other
// way round. Places below the diagonal are never read or written.
#include "tabfit/matrix.h"

#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/product.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/triangular_products.hpp"

namespace tabfit {

// Rows from the first, in a row columns from the first: what is written is not read by later results.
// The scratch that the operation is documented to need stays unused.
template <class Real>
int M_uutu(Real* const* U, int n) noexcept {
  const NewArray<Real> row = new_array<Real>(n);
  if (!row) return in_place_no_memory;
  product({n, n, n, Band::to_l, Band::to_l, true}, as_is(U), transposed(U), into_place(U));
  return in_place_done;
}

template int M_uutu(float* const*, int) noexcept;
template int M_uutu(double* const*, int) noexcept;

namespace {

template <class Real>
void M_uu(Real* const* U1, Real* const* U2, int n, Real* const* C) noexcept {
  product({n, n, n, Band::to_l, Band::from_l, true}, as_is(U1), as_is(U2), into_table(C));
}

/// c = column j of U1 U2, rows 0..j.
template <class Real>
void uu_column(Real* const* U1, const Real* u2, int j, Real* c) noexcept {
  product({j + 1, 1, j + 1, Band::to_l}, as_is(U1), column(u2), into_vector(c));
}

template <class Real>
int M_uuu(Real* const* U1, Real* const* U2, int n) noexcept {
  const NewArray<Real> c = new_array<Real>(n);
  if (c)
    for (int j = 0; j < n; ++j) {
      uu_column(U1, U2[j], j, c.get());
      V_copy(c.get(), U2[j], j + 1);
    }
  return 1;  // Deliberate: on every path, a success too: the result tells nothing.
}

template <class Real>
void M_utu(Real* const* U, int n, Real* const* S) noexcept {
  product({n, n, n, Band::from_l, Band::from_l, true}, transposed(U), as_is(U), into_table(S));
}

// From the last column to the first: all columns before the present one still hold U.
template <class Real>
int M_utuu(Real* const* U, int n) noexcept {
  const NewArray<Real> c = new_array<Real>(n);
  if (!c) return in_place_no_memory;
  for (int size = n; size > 0; --size) {
    Real* u = U[size - 1];
    product({size, 1, size, Band::from_l}, transposed(U), column(u), into_vector(c.get()));
    V_copy(c.get(), u, size);
  }
  return in_place_done;
}

template <class Real>
void M_uut(Real* const* U, int n, Real* const* S) noexcept {
  product({n, n, n, Band::to_l, Band::to_l, true}, as_is(U), transposed(U), into_table(S));
}

template <class Real>
void M_um(Real* const* U, Real* const* B, int n, int p, Real* const* C) noexcept {
  product({n, p, n, Band::to_l}, as_is(U), as_is(B), into_table(C));
}

template <class Real>
int M_uma(Real* const* U, Real* const* B, int n, int p) noexcept {
  replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) {
    product({n, 1, n, Band::to_l}, as_is(U), column(B[k]), into_vector(c));
  });
  return 1;  // Deliberate: on every path, a success too: the result tells nothing.
}

template <class Real>
void M_utm(Real* const* U, Real* const* B, int n, int p, Real* const* C) noexcept {
  product({n, p, n, Band::from_l}, transposed(U), as_is(B), into_table(C));
}

template <class Real>
int M_utma(Real* const* U, Real* const* B, int n, int p) noexcept {
  return replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) {
    product({n, 1, n, Band::from_l}, transposed(U), column(B[k]), into_vector(c));
  });
}

template <class Real>
void M_mu(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product({m, n, n, Band::all, Band::from_l}, as_is(A), as_is(U), into_table(C));
}

template <class Real>
void M_mut(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product({m, n, n, Band::all, Band::to_l}, as_is(A), transposed(U), into_table(C));
}

template <class Real>
void M_mtu(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product({m, n, n, Band::all, Band::from_l}, transposed(A), as_is(U), into_table(C));
}

}  // namespace
}  // namespace tabfit

extern "C" {

void M_uuf(float* const* U1, float* const* U2, int n, float* const* C) noexcept {
  tabfit::M_uu(U1, U2, n, C);
}
void M_uud(double* const* U1, double* const* U2, int n, double* const* C) noexcept {
  tabfit::M_uu(U1, U2, n, C);
}

int M_uuuf(float* const* U1, float* const* U2, int n) noexcept { return tabfit::M_uuu(U1, U2, n); }
int M_uuud(double* const* U1, double* const* U2, int n) noexcept { return tabfit::M_uuu(U1, U2, n); }

void M_utuf(float* const* U, int n, float* const* S) noexcept { tabfit::M_utu(U, n, S); }
void M_utud(double* const* U, int n, double* const* S) noexcept { tabfit::M_utu(U, n, S); }

int M_utuuf(float* const* U, int n) noexcept { return tabfit::M_utuu(U, n); }
int M_utuud(double* const* U, int n) noexcept { return tabfit::M_utuu(U, n); }

void M_uutf(float* const* U, int n, float* const* S) noexcept { tabfit::M_uut(U, n, S); }
void M_uutd(double* const* U, int n, double* const* S) noexcept { tabfit::M_uut(U, n, S); }

int M_uutuf(float* const* U, int n) noexcept { return tabfit::M_uutu(U, n); }
int M_uutud(double* const* U, int n) noexcept { return tabfit::M_uutu(U, n); }

void M_umf(float* const* U, float* const* B, int n, int p, float* const* C) noexcept {
  tabfit::M_um(U, B, n, p, C);
}
void M_umd(double* const* U, double* const* B, int n, int p, double* const* C) noexcept {
  tabfit::M_um(U, B, n, p, C);
}

int M_umaf(float* const* U, float* const* B, int n, int p) noexcept {
  return tabfit::M_uma(U, B, n, p);
}
int M_umad(double* const* U, double* const* B, int n, int p) noexcept {
  return tabfit::M_uma(U, B, n, p);
}

void M_utmf(float* const* U, float* const* B, int n, int p, float* const* C) noexcept {
  tabfit::M_utm(U, B, n, p, C);
}
void M_utmd(double* const* U, double* const* B, int n, int p, double* const* C) noexcept {
  tabfit::M_utm(U, B, n, p, C);
}

int M_utmaf(float* const* U, float* const* B, int n, int p) noexcept {
  return tabfit::M_utma(U, B, n, p);
}
int M_utmad(double* const* U, double* const* B, int n, int p) noexcept {
  return tabfit::M_utma(U, B, n, p);
}

void M_muf(float* const* A, float* const* U, int n, int m, float* const* C) noexcept {
  tabfit::M_mu(A, U, n, m, C);
}
void M_mud(double* const* A, double* const* U, int n, int m, double* const* C) noexcept {
  tabfit::M_mu(A, U, n, m, C);
}

void M_mutf(float* const* A, float* const* U, int n, int m, float* const* C) noexcept {
  tabfit::M_mut(A, U, n, m, C);
}
void M_mutd(double* const* A, double* const* U, int n, int m, double* const* C) noexcept {
  tabfit::M_mut(A, U, n, m, C);
}

void M_mtuf(float* const* A, float* const* U, int n, int m, float* const* C) noexcept {
  tabfit::M_mtu(A, U, n, m, C);
}
void M_mtud(double* const* A, double* const* U, int n, int m, double* const* C) noexcept {
  tabfit::M_mtu(A, U, n, m, C);
}
}  // extern "C"

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
namespace {

/// A product of two triangles of order n, of which only the upper triangle is formed.
Extent upper(int n, Band row_band, Band column_band) noexcept {
  return {.rows = n,
          .columns = n,
          .terms = n,
          .row_band = row_band,
          .column_band = column_band,
          .upper_only = true};
}
/// A triangle of order n by p columns, and m rows by a triangle of order n.
Extent by_rows(int n, int p, Band band) noexcept {
  return {.rows = n, .columns = p, .terms = n, .row_band = band};
}
Extent by_columns(int m, int n, Band band) noexcept {
  return {.rows = m, .columns = n, .terms = n, .column_band = band};
}

}  // namespace

// Rows from the first, in a row columns from the first: what is written is not read by later results.
// The scratch that the operation is documented to need stays unused.
template <class Real>
int M_uutu(Real* const* U, int n) noexcept {
  const NewArray<Real> row = new_array<Real>(n);
  if (!row) return M_INPLACE_NO_MEMORY;
  product(upper(n, Band::to_l, Band::to_l), as_is(U), transposed(U), into_place(U));
  return M_INPLACE_OK;
}

template int M_uutu(float* const*, int) noexcept;
template int M_uutu(double* const*, int) noexcept;

namespace {

template <class Real>
void M_uu(Real* const* U1, Real* const* U2, int n, Real* const* C) noexcept {
  product(upper(n, Band::to_l, Band::from_l), as_is(U1), as_is(U2), into(C));
}

/// c = column j of U1 U2, rows 0..j.
template <class Real>
void uu_column(Real* const* U1, const Real* u2, int j, Real* c) noexcept {
  product(by_rows(j + 1, 1, Band::to_l), as_is(U1), as_is(&u2), into(&c));
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
  product(upper(n, Band::from_l, Band::from_l), transposed(U), as_is(U), into(S));
}

// From the last column to the first: all columns before the present one still hold U.
template <class Real>
int M_utuu(Real* const* U, int n) noexcept {
  const NewArray<Real> c = new_array<Real>(n);
  if (!c) return M_INPLACE_NO_MEMORY;
  Real* const sums = c.get();
  for (int size = n; size > 0; --size) {
    Real* u = U[size - 1];
    product(by_rows(size, 1, Band::from_l), transposed(U), as_is(&u), into(&sums));
    V_copy(sums, u, size);
  }
  return M_INPLACE_OK;
}

template <class Real>
void M_uut(Real* const* U, int n, Real* const* S) noexcept {
  product(upper(n, Band::to_l, Band::to_l), as_is(U), transposed(U), into(S));
}

template <class Real>
void M_um(Real* const* U, Real* const* B, int n, int p, Real* const* C) noexcept {
  product(by_rows(n, p, Band::to_l), as_is(U), as_is(B), into(C));
}

template <class Real>
int M_uma(Real* const* U, Real* const* B, int n, int p) noexcept {
  replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) {
    product(by_rows(n, 1, Band::to_l), as_is(U), as_is(B + k), into(&c));
  });
  return 1;  // Deliberate: on every path, a success too: the result tells nothing.
}

template <class Real>
void M_utm(Real* const* U, Real* const* B, int n, int p, Real* const* C) noexcept {
  product(by_rows(n, p, Band::from_l), transposed(U), as_is(B), into(C));
}

template <class Real>
int M_utma(Real* const* U, Real* const* B, int n, int p) noexcept {
  return replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) {
    product(by_rows(n, 1, Band::from_l), transposed(U), as_is(B + k), into(&c));
  });
}

template <class Real>
void M_mu(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product(by_columns(m, n, Band::from_l), as_is(A), as_is(U), into(C));
}

template <class Real>
void M_mut(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product(by_columns(m, n, Band::to_l), as_is(A), transposed(U), into(C));
}

template <class Real>
void M_mtu(Real* const* A, Real* const* U, int n, int m, Real* const* C) noexcept {
  product(by_columns(m, n, Band::from_l), transposed(A), as_is(U), into(C));
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

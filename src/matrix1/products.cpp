// matrix1/products.cpp - products of general matrices: with a vector, with each other, with themselves.
//
// Two patterns. Every product is `product` over the summation index, with its factors read as they are
// or transposed; the in-place ones form one result column at a time in a scratch column.
#include "tabfit/matrix.h"

#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/product.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/products.hpp"
#include "matrix1/transpose.hpp"

#include <algorithm>

namespace tabfit {

// Neighbouring rows lie side by side in every column: their sums advance together, column after column.
template <class Real>
void M_mv(Real* const* A, const Real* x, int m, int n, Real* y) noexcept {
  kernels().of<Real>().sweep(A, m, x, n, y);
}

template <class Real>
void M_mtv(Real* const* A, const Real* x, int m, int n, Real* y) noexcept {
  kernels().of<Real>().dots(A, n, x, m, y);
}

template <class Real>
void M_ltv(Real* const* A, const Real* x, const Real* b, int m, int n, int mode, Real* r) noexcept {
  M_mv(A, x, m, n, r);
  if (mode == 0)
    V_op(r, b, r, m, '+');  // A x + b
  else if (mode < 2)
    V_op(r, b, r, m, '-');  // A x - b
  else
    V_op(b, r, r, m, '-');  // b - A x
}

template <class Real>
void M_mm(Real* const* A, Real* const* B, int m, int n, int p, Real* const* C) noexcept {
  product({.rows = m, .columns = p, .terms = n}, as_is(A), as_is(B), into(C));
}

template void M_mv(float* const*, const float*, int, int, float*) noexcept;
template void M_mv(double* const*, const double*, int, int, double*) noexcept;
template void M_mtv(float* const*, const float*, int, int, float*) noexcept;
template void M_mtv(double* const*, const double*, int, int, double*) noexcept;
template void M_ltv(float* const*, const float*, const float*, int, int, int, float*) noexcept;
template void M_ltv(double* const*, const double*, const double*, int, int, int, double*) noexcept;
template void M_mm(float* const*, float* const*, int, int, int, float* const*) noexcept;
template void M_mm(double* const*, double* const*, int, int, int, double* const*) noexcept;

namespace {

template <class Real>
int M_mmb(Real* const* A, Real* const* B, int m, int n, int p) noexcept {
  return replace_columns(B, m, p, malloc_array<Real>(m),
                         [=](int k, Real* c) { M_mv(A, B[k], m, n, c); });
}

template <class Real>
void M_mtm(Real* const* A, Real* const* B, int m, int n, int p, Real* const* C) noexcept {
  product({.rows = n, .columns = p, .terms = m}, transposed(A), as_is(B), into(C));
}

template <class Real>
int M_mtmb(Real* const* A, Real* const* B, int m, int n, int p) noexcept {
  return replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) { M_mtv(A, B[k], m, n, c); });
}

template <class Real>
void M_mmt(Real* const* A, Real* const* B, int m, int n, int p, Real* const* C) noexcept {
  product({.rows = m, .columns = p, .terms = n}, as_is(A), transposed(B), into(C));
}

template <class Real>
int M_mmtb(Real* const* A, Real* const* B, int m, int n, int p) noexcept {
  // Deliberate: transposed first: if the product then fails, B keeps its transpose.
  const int status = M_transpa(B, p, n);
  return status != M_TRANSPA_OK ? status : M_mmb(A, B, m, n, p);
}

template <class Real>
void M_mmts(Real* const* A, int m, int n, Real* const* S) noexcept {
  product({.rows = m, .columns = m, .terms = n, .upper_only = true}, as_is(A), transposed(A), into(S));
}

template <class Real>
void M_mtms(Real* const* A, int m, int n, Real* const* S) noexcept {
  product({.rows = n, .columns = n, .terms = m, .upper_only = true}, transposed(A), as_is(A), into(S));
}

}  // namespace
}  // namespace tabfit

extern "C" {

void M_mvf(float* const* A, const float* x, int m, int n, float* y) noexcept {
  tabfit::M_mv(A, x, m, n, y);
}
void M_mvd(double* const* A, const double* x, int m, int n, double* y) noexcept {
  tabfit::M_mv(A, x, m, n, y);
}

void M_mtvf(float* const* A, const float* x, int m, int n, float* y) noexcept {
  tabfit::M_mtv(A, x, m, n, y);
}
void M_mtvd(double* const* A, const double* x, int m, int n, double* y) noexcept {
  tabfit::M_mtv(A, x, m, n, y);
}

void M_ltvf(float* const* A, const float* x, const float* b, int m, int n, int mode,
            float* r) noexcept {
  tabfit::M_ltv(A, x, b, m, n, mode, r);
}
void M_ltvd(double* const* A, const double* x, const double* b, int m, int n, int mode,
            double* r) noexcept {
  tabfit::M_ltv(A, x, b, m, n, mode, r);
}

void M_mmf(float* const* A, float* const* B, int m, int n, int p, float* const* C) noexcept {
  tabfit::M_mm(A, B, m, n, p, C);
}
void M_mmd(double* const* A, double* const* B, int m, int n, int p, double* const* C) noexcept {
  tabfit::M_mm(A, B, m, n, p, C);
}

int M_mmbf(float* const* A, float* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mmb(A, B, m, n, p);
}
int M_mmbd(double* const* A, double* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mmb(A, B, m, n, p);
}

void M_mtmf(float* const* A, float* const* B, int m, int n, int p, float* const* C) noexcept {
  tabfit::M_mtm(A, B, m, n, p, C);
}
void M_mtmd(double* const* A, double* const* B, int m, int n, int p, double* const* C) noexcept {
  tabfit::M_mtm(A, B, m, n, p, C);
}

int M_mtmbf(float* const* A, float* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mtmb(A, B, m, n, p);
}
int M_mtmbd(double* const* A, double* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mtmb(A, B, m, n, p);
}

void M_mmtf(float* const* A, float* const* B, int m, int n, int p, float* const* C) noexcept {
  tabfit::M_mmt(A, B, m, n, p, C);
}
void M_mmtd(double* const* A, double* const* B, int m, int n, int p, double* const* C) noexcept {
  tabfit::M_mmt(A, B, m, n, p, C);
}

int M_mmtbf(float* const* A, float* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mmtb(A, B, m, n, p);
}
int M_mmtbd(double* const* A, double* const* B, int m, int n, int p) noexcept {
  return tabfit::M_mmtb(A, B, m, n, p);
}

void M_mmtsf(float* const* A, int m, int n, float* const* S) noexcept { tabfit::M_mmts(A, m, n, S); }
void M_mmtsd(double* const* A, int m, int n, double* const* S) noexcept { tabfit::M_mmts(A, m, n, S); }

void M_mtmsf(float* const* A, int m, int n, float* const* S) noexcept { tabfit::M_mtms(A, m, n, S); }
void M_mtmsd(double* const* A, int m, int n, double* const* S) noexcept { tabfit::M_mtms(A, m, n, S); }
}  // extern "C"

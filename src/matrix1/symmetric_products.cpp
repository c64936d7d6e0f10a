// matrix1/symmetric_products.cpp - products with a symmetric factor held as a triangle table.
//
// The patterns are those of products.cpp; a symmetric factor is read through the triangle rule, element
// (i, j) with i > j from the place of (j, i).
#include "tabfit/matrix.h"

#include "kernels/scalar/scratch.hpp"
#include "kernels/sums/product.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/transpose.hpp"

namespace tabfit {
namespace {

template <class Real>
void M_smv(Real* const* S, const Real* x, int n, Real* y) noexcept {
  product({.rows = n, .columns = 1, .terms = n}, symmetric(S), as_is(&x), into(&y));
}

template <class Real>
void M_smm(Real* const* S, Real* const* B, int n, int p, Real* const* C) noexcept {
  product({.rows = n, .columns = p, .terms = n}, symmetric(S), as_is(B), into(C));
}

template <class Real>
int M_smma(Real* const* S, Real* const* B, int n, int p) noexcept {
  return replace_columns(B, n, p, new_array<Real>(n), [=](int k, Real* c) { M_smv(S, B[k], n, c); });
}

template <class Real>
void M_msm(Real* const* A, Real* const* S, int n, int m, Real* const* C) noexcept {
  product({.rows = m, .columns = n, .terms = n}, as_is(A), symmetric(S), into(C));
}

template <class Real>
void M_smtm(Real* const* S, Real* const* B, int n, int p, Real* const* C) noexcept {
  product({.rows = n, .columns = p, .terms = n}, symmetric(S), transposed(B), into(C));
}

template <class Real>
int M_smtma(Real* const* S, Real* const* B, int n, int p) noexcept {
  // Deliberate: transposed first: if the product then fails, B keeps its transpose.
  const int status = M_transpa(B, p, n);
  return status != M_TRANSPA_OK ? status : M_smma(S, B, n, p);
}

template <class Real>
void M_tmsm(Real* const* A, Real* const* S, int n, int m, Real* const* C) noexcept {
  product({.rows = m, .columns = n, .terms = n}, transposed(A), symmetric(S), into(C));
}

template <class Real>
void M_smsm(Real* const* S1, Real* const* S2, int n, Real* const* C) noexcept {
  product({.rows = n, .columns = n, .terms = n}, symmetric(S1), symmetric(S2), into(C));
}

}  // namespace
}  // namespace tabfit

extern "C" {

void M_smvf(float* const* S, const float* x, int n, float* y) noexcept { tabfit::M_smv(S, x, n, y); }
void M_smvd(double* const* S, const double* x, int n, double* y) noexcept { tabfit::M_smv(S, x, n, y); }

void M_smmf(float* const* S, float* const* B, int n, int p, float* const* C) noexcept {
  tabfit::M_smm(S, B, n, p, C);
}
void M_smmd(double* const* S, double* const* B, int n, int p, double* const* C) noexcept {
  tabfit::M_smm(S, B, n, p, C);
}

int M_smmaf(float* const* S, float* const* B, int n, int p) noexcept {
  return tabfit::M_smma(S, B, n, p);
}
int M_smmad(double* const* S, double* const* B, int n, int p) noexcept {
  return tabfit::M_smma(S, B, n, p);
}

void M_msmf(float* const* A, float* const* S, int n, int m, float* const* C) noexcept {
  tabfit::M_msm(A, S, n, m, C);
}
void M_msmd(double* const* A, double* const* S, int n, int m, double* const* C) noexcept {
  tabfit::M_msm(A, S, n, m, C);
}

void M_smtmf(float* const* S, float* const* B, int n, int p, float* const* C) noexcept {
  tabfit::M_smtm(S, B, n, p, C);
}
void M_smtmd(double* const* S, double* const* B, int n, int p, double* const* C) noexcept {
  tabfit::M_smtm(S, B, n, p, C);
}

int M_smtmaf(float* const* S, float* const* B, int n, int p) noexcept {
  return tabfit::M_smtma(S, B, n, p);
}
int M_smtmad(double* const* S, double* const* B, int n, int p) noexcept {
  return tabfit::M_smtma(S, B, n, p);
}

void M_tmsmf(float* const* A, float* const* S, int n, int m, float* const* C) noexcept {
  tabfit::M_tmsm(A, S, n, m, C);
}
void M_tmsmd(double* const* A, double* const* S, int n, int m, double* const* C) noexcept {
  tabfit::M_tmsm(A, S, n, m, C);
}

void M_smsmf(float* const* S1, float* const* S2, int n, float* const* C) noexcept {
  tabfit::M_smsm(S1, S2, n, C);
}
void M_smsmd(double* const* S1, double* const* S2, int n, double* const* C) noexcept {
  tabfit::M_smsm(S1, S2, n, C);
}
}  // extern "C"

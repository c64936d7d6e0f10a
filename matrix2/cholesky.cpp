// matrix2/cholesky.cpp - Cholesky factor of a symmetric matrix, and the solves and inverses on it.
#include "tabfit/matrix.h"

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/dot.hpp"
#include "llsqp/kernels/product.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix1/triangular_products.hpp"

#include <cmath>

namespace tabfit {
namespace {

// Row by row of U: each element of S is read before the same place of U is written, so U may be the
// storage of S.
template <class Real>
int M_chol(Real* const* S, int n, Real* const* U) noexcept {
  if (n < 2) return M_CHOL_BAD_SIZE;

  const double s00 = S[0][0];
  if (!(s00 > 0.0)) return 1;  // NaN fails too
  U[0][0] = store<Real>(std::sqrt(s00));
  // Deliberate: the double twin divides row 0 by s(0,0), not by its root. Callers rely on it.
  const double divisor = is_double<Real> ? s00 : U[0][0];
  for (int j = 1; j < n; ++j) U[j][0] = store<Real>(S[j][0] / divisor);

  for (int i = 1; i < n; ++i) {
    const double d = S[i][i] - V_dot(U[i], U[i], i);  // d = s(i,i) - U(0:i-1,i)' U(0:i-1,i)
    if (!(d > 0.0)) return i + 1;                     // NaN fails too
    const Real pivot = U[i][i] = store<Real>(std::sqrt(d));
    // U(i,j) = (s(i,j) - U(0:i-1,i)' U(0:i-1,j)) / U(i,i) for all j > i side by side
    const int next = i + 1;
    product({n - next, 1, i}, transposed(U + next), column(U[i]), [=](int j, int, double sum) {
      const double rest = S[next + j][i] - sum;
      U[next + j][i] = store<Real>(rest / pivot);
    });
  }
  return M_CHOL_OK;
}

template <class Real>
int M_choleq(Real* const* S, Real* const* B, int n, int p, Real* const* U) noexcept {
  const int status = M_chol(S, n, U);
  if (status != M_CHOL_OK) return status;
  M_invutm(U, B, n, p);
  M_invt(U, B, n, p);
  return M_CHOL_OK;
}

/// X = U^-1 U^-T, from a finished factor.
template <class Real>
int inverse_of_factored(Real* const* U, int n, Real* const* X) noexcept {
  M_invu(U, X, n);
  return M_uutu(X, n) == in_place_done ? M_CHOL_OK : M_CHOL_NO_MEMORY;
}

template <class Real>
int M_cholinv(Real* const* S, int n, Real* const* U, Real* const* X) noexcept {
  const int status = M_chol(S, n, U);
  return status != M_CHOL_OK ? status : inverse_of_factored(U, n, X);
}

template <class Real>
int M_invs(Real* const* S, int n, Real* const* U) noexcept {
  return M_cholinv(S, n, U, S);
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_cholf(float* const* S, int n, float* const* U) noexcept { return tabfit::M_chol(S, n, U); }
int M_chold(double* const* S, int n, double* const* U) noexcept { return tabfit::M_chol(S, n, U); }

int M_choleqf(float* const* S, float* const* B, int n, int p, float* const* U) noexcept {
  return tabfit::M_choleq(S, B, n, p, U);
}
int M_choleqd(double* const* S, double* const* B, int n, int p, double* const* U) noexcept {
  return tabfit::M_choleq(S, B, n, p, U);
}

int M_cholinvf(float* const* S, int n, float* const* U, float* const* X) noexcept {
  return tabfit::M_cholinv(S, n, U, X);
}
int M_cholinvd(double* const* S, int n, double* const* U, double* const* X) noexcept {
  return tabfit::M_cholinv(S, n, U, X);
}

int M_invsf(float* const* S, int n, float* const* U) noexcept { return tabfit::M_invs(S, n, U); }
int M_invsd(double* const* S, int n, double* const* U) noexcept { return tabfit::M_invs(S, n, U); }

}  // extern "C"

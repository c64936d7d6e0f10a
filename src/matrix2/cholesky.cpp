// matrix2/cholesky.cpp - Cholesky factor of a symmetric matrix, and the solves and inverses on it.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/product.hpp"
#include "kernels/sums/unknowns.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix1/triangular_products.hpp"

#include <algorithm>
#include <cmath>

namespace tabfit {
namespace {

/// The diagonal block of U: rows and columns i0..i0+rows-1, whose first `done` rows are there already.
/// Returns how many rows are complete: fewer than `rows` if the next pivot is not positive.
template <class Real>
int factor_diagonal(Real* const* S, Real* const* U, int i0, int done, int rows) noexcept {
  const auto& kernel = kernels().of<Real>();
  const int width = (rows + 7) / 8 * 8 | 8;  // rows of 16 or 32 columns would share sets of a cache
  if (i0 == 0) return kernel.factor_rows(S, U, 0, done, rows, nullptr, width);

  // sums(i,j) = U(0:i0-1,i0+i)' U(0:i0-1,i0+j), i <= j
  alignas(64) double tall[panel_rows * panel_rows] = {}, sums[panel_rows * panel_rows];
  double* columns[panel_rows];
  for (int j = 0; j < rows; ++j) columns[j] = tall + j * panel_rows;
  product({.rows = rows, .columns = rows, .terms = i0, .upper_only = true}, transposed(U + i0),
          as_is(U + i0), into_sums<Real>(columns));
  kernels().d.pack_terms(columns, 0, rows, rows, width, sums, {});
  // U(i,i) = root of s(i,i) - U(0:i-1,i)' U(0:i-1,i), U(i,j) = (s(i,j) - U(0:i-1,i)' U(0:i-1,j)) / U(i,i)
  return kernel.factor_rows(S + i0, U + i0, i0, done, rows, sums, width);
}

// U is formed in blocks of rows. To the right of the diagonal block the rows are those of a forward
// substitution. Each element of S is read before the same place of U is written, so U may be the
// storage of S.
template <class Real>
int M_chol(Real* const* S, int n, Real* const* U) noexcept {
  if (n < 2) return M_CHOL_BAD_SIZE;

  const double s00 = S[0][0];
  if (!(s00 > 0.0)) return 1;  // NaN fails too
  U[0][0] = store<Real>(std::sqrt(s00));
  // Deliberate: the double twin divides row 0 by s(0,0), not by its root: U is a factor of S only if
  // s(0,0) = 1.
  const double divisor = is_double<Real> ? s00 : U[0][0];
  for (int j = 1; j < n; ++j) U[j][0] = store<Real>(S[j][0] / divisor);

  const int height = n <= factor_most ? n : panel_rows;
  for (int i = 0; i < n; i += height) {
    const int rows = std::min(height, n - i), done = i == 0 ? 1 : 0;
    const int finished = factor_diagonal(S, U, i, done, rows), right = i + rows;
    if (right < n) forward_rows(U, i, done, finished, S + right, U + right, n - right);
    if (finished < rows) return i + finished + 1;
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
  return M_uutu(X, n) == M_INPLACE_OK ? M_CHOL_OK : M_CHOL_NO_MEMORY;
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

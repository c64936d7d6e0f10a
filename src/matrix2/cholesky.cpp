// matrix2/cholesky.cpp - Cholesky factor of a symmetric matrix, and the solves and inverses on it.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/product.hpp"

#include "matrix1/in_place.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix1/triangular_products.hpp"

#include <algorithm>
#include <cmath>

namespace tabfit {
namespace {

constexpr int most_rows = panel_rows;  // of a diagonal block

/// The sums over the rows above the diagonal block: sums(i,j) = U(0:i0-1,i0+i)' U(0:i0-1,i0+j), i <= j,
/// at sums[i * lanes + j].
template <class Real>
void sum_rows_above(Real* const* U, int i0, int rows, int lanes, double* sums) noexcept {
  alignas(64) double tall[most_rows * most_rows];
  double* columns[most_rows];
  for (int j = 0; j < rows; ++j) columns[j] = tall + j * most_rows;
  product({.rows = rows, .columns = rows, .terms = i0, .upper_only = true}, transposed(U + i0),
          as_is(U + i0), into_sums<Real>(columns));
  for (int j = 0; j < rows; ++j)
    for (int i = 0; i <= j; ++i) sums[i * lanes + j] = columns[j][i];
}

/// The diagonal block of U: rows and columns i0..i0+rows-1, whose first `done` rows are there already.
/// Returns how many rows are complete: fewer than `rows` if the next pivot is not positive.
///
/// Shape: sums and solved hold the block row by row, element (i, j) at i * lanes + j.
template <class Real>
int factor_diagonal(Real* const* S, Real* const* U, int i0, int done, int rows) noexcept {
  const Kernels& kernel = kernels();
  const int lanes = (rows + 7) / 8 * 8;
  alignas(64) double sums[most_rows * most_rows], solved[most_rows * most_rows];
  double factors[most_rows];
  std::fill_n(sums, rows * lanes, 0.0);
  std::fill_n(solved, rows * lanes, 0.0);
  if (i0 > 0) sum_rows_above(U, i0, rows, lanes, sums);
  for (int i = 0; i < done; ++i)
    for (int j = i; j < rows; ++j) solved[i * lanes + j] = U[i0 + j][i0 + i];

  for (int i = done; i < rows; ++i) {
    Real* const u = U[i0 + i] + i0;
    double *sum = sums + i * lanes, *x = solved + i * lanes;
    std::copy_n(u, i, factors);
    kernel.add_lanes(factors, solved, lanes, i, sum);
    const double d = S[i0 + i][i0 + i] - sum[i];  // d = s(i,i) - U(0:i-1,i)' U(0:i-1,i)
    if (!(d > 0.0)) return i;                     // NaN fails too
    const double pivot = u[i] = store<Real>(std::sqrt(d));
    // U(i,j) = (s(i,j) - U(0:i-1,i)' U(0:i-1,j)) / U(i,i)
    for (int j = i + 1; j < rows; ++j) {
      const double rest = S[i0 + j][i0 + i] - sum[j];
      x[j] = U[i0 + j][i0 + i] = store<Real>(rest / pivot);
    }
  }
  return rows;
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

  for (int i = 0; i < n; i += panel_rows) {
    const int rows = std::min(panel_rows, n - i), done = i == 0 ? 1 : 0;
    const int finished = factor_diagonal(S, U, i, done, rows), right = i + rows;
    forward_rows(U, i, done, finished, S + right, U + right, n - right);
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

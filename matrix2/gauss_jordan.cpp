// matrix2/gauss_jordan.cpp - inverse and determinant by Gauss-Jordan elimination with full pivoting.
#include "tabfit/matrix.h"

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/dot.hpp"
#include "llsqp/kernels/scratch.hpp"
#include "llsqp/kernels/vector.hpp"

#include "matrix1/elementary.hpp"

#include <cmath>

namespace tabfit {
namespace {

template <class Real>
struct Pivot {
  int row, column;
  Real value;  ///< with its sign; 0 if there is none
};

/// The candidate of each column of the trailing block is the one that V_iamax chooses; the greatest
/// magnitude among these wins, the lowest column among equals. NaN never wins.
template <class Real>
Pivot<Real> find_pivot(Real* const* A, int n, int k) noexcept {
  Pivot<Real> best{k, k, 0};
  for (int j = k; j < n; ++j) {
    const int r = k + V_iamax(A[j] + k, n - k);
    if (std::abs(A[j][r]) > std::abs(best.value)) best = {r, j, A[j][r]};
  }
  return best;
}

/// Eliminates with the pivot a(k,k) = p: column k becomes the multipliers, every other column adds its
/// multiple of them, row k is divided by the pivot.
template <class Real>
void eliminate(Real* const* A, int n, int k, Real p) noexcept {
  Real* u = A[k];
  const Real multiplier = store<Real>(1.0 / -double(p));
  for (int i = 0; i < n; ++i)
    if (i != k) u[i] = store<Real>(double(multiplier) * u[i]);
  for (int l = 0; l < n; ++l) {
    if (l == k) continue;
    Real* y = A[l];
    V_axpy(y[k], u, y, k);
    V_axpy(y[k], u + k + 1, y + k + 1, n - k - 1);
    y[k] = store<Real>(double(y[k]) / p);
  }
  u[k] = store<Real>(1.0 / p);
}

// Every exchange of two lines goes with the negation of one of them, which keeps the determinant: it is
// the plain product of the pivots. Undone in reverse order, a row exchange of A is a column exchange of
// the inverse and the other way round.
template <class Real>
int M_invGJ(Real** A, int n, double* det) noexcept {
  if (n < 1) return M_INVGJ_BAD_SIZE;
  *det = 1.0;
  // Deliberate: both index arrays are kept, on every path. Hosts count on the bytes that a call leaves.
  int* row = c_array<int>(n).release();
  if (!row) return M_INVGJ_NO_MEMORY;
  int* col = c_array<int>(n).release();
  if (!col) return M_INVGJ_NO_MEMORY;

  for (int k = 0; k < n; ++k) {
    const Pivot<Real> best = find_pivot(A, n, k);
    if (best.value == 0) {
      *det = 0.0;
      return k == 0 ? M_INVGJ_ZERO : k;
    }
    row[k] = best.row;
    col[k] = best.column;
    if (row[k] != k) {
      M_lminus(A, n, k);
      M_swap(A, 0, n - 1, k, row[k]);
    }
    if (col[k] != k) {
      V_neg(A[k], n);
      P_swap(A + k, A + col[k]);
    }
    eliminate(A, n, k, best.value);
    *det *= best.value;
  }

  // Deliberate: the column pointers stay exchanged. Hosts reach the inverse through the table.
  for (int k = n - 2; k >= 0; --k) {
    if (row[k] != k) {
      P_swap(A + k, A + row[k]);
      V_neg(A[k], n);
    }
    if (col[k] != k) {
      M_swap(A, 0, n - 1, k, col[k]);
      M_lminus(A, n, k);
    }
  }
  return M_INVGJ_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_invGJf(float** A, int n, double* det) noexcept { return tabfit::M_invGJ(A, n, det); }
int M_invGJd(double** A, int n, double* det) noexcept { return tabfit::M_invGJ(A, n, det); }

}  // extern "C"

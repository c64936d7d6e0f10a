// matrix2/gauss_jordan.cpp - inverse and determinant by Gauss-Jordan elimination with full pivoting.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"
#include "kernels/sums/magnitude.hpp"

#include "matrix1/elementary.hpp"

#include <cmath>

namespace tabfit {
namespace {

template <class Real>
struct Pivot {
  int row, column;
  Real value;  ///< with its sign; 0 if there is none
};

/// V_iamax chooses one candidate in each column of the trailing block. The greatest magnitude of these
/// wins, the lowest column among equals. NaN never wins.
template <class Real>
void examine(const Real* y, int n, int k, int j, Pivot<Real>& best) noexcept {
  const int r = k + V_iamax(y + k, n - k);
  if (std::abs(y[r]) > std::abs(best.value)) best = {r, j, y[r]};
}

/// Element k changes its sign and its place with element r.
template <class Real>
void exchange(Real* y, int k, int r) noexcept {
  if (r == k) return;
  y[k] = -y[k];
  E_swap(y + k, y + r);
}

/// One step with the pivot p in column k and row r: rows k and r are exchanged, column k becomes the
/// multipliers, every other column adds its multiple of them, row k is divided by the pivot. Returns
/// the next pivot. Memory bounds the speed, so one pass over the columns does it all.
template <class Real>
Pivot<Real> eliminate(Real* const* A, int n, int k, int r, Real p) noexcept {
  Real* u = A[k];
  exchange(u, k, r);
  const Real multiplier = store<Real>(1.0 / -double(p));
  for (int i = 0; i < n; ++i) u[i] = store<Real>(double(multiplier) * u[i]);
  Pivot<Real> next{k + 1, k + 1, 0};
  for (int l = 0; l < n; ++l) {
    if (l == k) continue;
    Real* y = A[l];
    exchange(y, k, r);
    const Real multiple = y[k];
    V_axpy(multiple, u, y, n);
    y[k] = store<Real>(double(multiple) / p);
    if (l > k) examine(y, n, k + 1, l, next);
  }
  u[k] = store<Real>(1.0 / p);
  return next;
}

/// Undoes the exchanges of the elimination, the newest first: a row exchange of A is a column exchange
/// of the inverse, and the other way round.
template <class Real>
void undo_exchanges(Real** A, int n, const int* row, const int* col) noexcept {
  // Deliberate: the column pointers stay exchanged: column j of the inverse is where A[j] leads.
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
}

// Every exchange of two lines also negates one of them. That keeps the determinant, which is the plain
// product of the pivots.
template <class Real>
int M_invGJ(Real** A, int n, double* det) noexcept {
  if (n < 1) return M_INVGJ_BAD_SIZE;
  *det = 1.0;
  // Deliberate: both index arrays are kept, on every path: each call leaks 2 n ints.
  int* row = c_array<int>(n).release();
  if (!row) return M_INVGJ_NO_MEMORY;
  int* col = c_array<int>(n).release();
  if (!col) return M_INVGJ_NO_MEMORY;

  Pivot<Real> best{0, 0, 0};
  for (int j = 0; j < n; ++j) examine(A[j], n, 0, j, best);
  for (int k = 0; k < n; ++k) {
    if (best.value == 0) {
      *det = 0.0;
      return k == 0 ? M_INVGJ_ZERO : k;
    }
    row[k] = best.row;
    col[k] = best.column;
    if (col[k] != k) {
      V_neg(A[k], n);
      P_swap(A + k, A + col[k]);
    }
    *det *= best.value;
    best = eliminate(A, n, k, row[k], best.value);
  }

  undo_exchanges(A, n, row, col);
  return M_INVGJ_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_invGJf(float** A, int n, double* det) noexcept { return tabfit::M_invGJ(A, n, det); }
int M_invGJd(double** A, int n, double* det) noexcept { return tabfit::M_invGJ(A, n, det); }

}  // extern "C"

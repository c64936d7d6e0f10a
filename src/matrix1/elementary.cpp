// matrix1/elementary.cpp - copies between the two kinds of table, exchange and reordering of lines.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/search.hpp"
#include "kernels/scalar/vector.hpp"

#include "matrix1/elementary.hpp"

#include <algorithm>
#include <cstddef>

namespace tabfit {

template <class Real>
void M_cop(Real* const* A, Real* const* B, int m, int n) noexcept {
  for (int j = 0; j < n; ++j) V_copy(A[j], B[j], m);
}

template <class Real>
void M_lminus(Real* const* A, int n, int row) noexcept {
  for (int j = 0; j < n; ++j) A[j][row] = -A[j][row];
}

template <class Real>
void M_swap(Real* const* A, int j1, int j2, int r1, int r2) noexcept {
  for (int j = j1; j <= j2; ++j) E_swap(A[j] + r1, A[j] + r2);
}

// Finds a block of exchanges first, then makes them column by column. One exchange across all columns
// would touch two cache lines for every two elements.
template <class Real>
int M_rowsort(Real* const* A, int m, int n, int* idx) noexcept {
  if (m < 2) return M_ROWSORT_OK;
  constexpr int block = 1024;
  int partner[block];
  for (int first = 0, count = 0; first < m - 1; first += count) {
    const int wanted = std::min(block, m - 1 - first);
    for (count = 0; count < wanted; ++count) {
      const int i = first + count, j = I_find(i, idx + i, m - i);
      if (j < 0) break;
      I_swap(idx + i, idx + i + j);
      partner[count] = i + j;
    }
    // Deliberate: row p goes to place idx[p], a scatter; M_colsort gathers. A caller that gathers rows
    // passes the inverse permutation.
    for (int c = 0; c < n; ++c)
      for (int k = 0; k < count; ++k) E_swap(A[c] + first + k, A[c] + partner[k]);
    if (count < wanted) return M_ROWSORT_BAD_INDEX;
  }
  return M_ROWSORT_OK;
}

template void M_cop(float* const*, float* const*, int, int) noexcept;
template void M_cop(double* const*, double* const*, int, int) noexcept;
template void M_lminus(float* const*, int, int) noexcept;
template void M_lminus(double* const*, int, int) noexcept;
template void M_swap(float* const*, int, int, int, int) noexcept;
template void M_swap(double* const*, int, int, int, int) noexcept;
template int M_rowsort(float* const*, int, int, int*) noexcept;
template int M_rowsort(double* const*, int, int, int*) noexcept;

namespace {

template <class Real>
void M_copss(Real* const* S, Real* const* T, int n) noexcept {
  for (int j = 0; j < n; ++j) V_copy(S[j], T[j], j + 1);
}

template <class Real>
void M_copsr(Real* const* S, Real* const* B, int n) noexcept {
  for (int j = 0; j < n; ++j) {
    V_copy(S[j], B[j], j + 1);
    for (int i = j + 1; i < n; ++i) B[j][i] = S[i][j];
  }
}

template <class Real>
void M_coptr(Real* const* U, Real* const* B, int n) noexcept {
  for (int j = 0; j < n; ++j) {
    V_copy(U[j], B[j], j + 1);
    V_fill(B[j] + j + 1, n - 1 - j, 0.0);
  }
}

template <class Real>
int M_colsort(Real* a, int m, int n, const int* idx) noexcept {
  CArray<int> tags = malloc_array<int>(n);
  if (!tags) return M_COLSORT_NO_MEMORY;
  int* tag = tags.get();
  // Deliberate: the double twin keeps its tag array, on every path from here: each call leaks n ints.
  if constexpr (is_double<Real>) (void)tags.release();

  const std::ptrdiff_t length = std::max(m, 0);
  for (int p = 0; p < n; ++p) tag[p] = p;
  for (int j = 0; j < n; ++j) {
    const int k = I_find(idx[j], tag + j, n - j) + j;
    // Deliberate: tested after the addition, so only a missing idx[0] is reported. Any other missing
    // index exchanges columns j-1 and j, and the call returns 0.
    if (k < 0) return M_COLSORT_BAD_INDEX;
    V_swap(a + length * j, a + length * k, m);
    I_swap(tag + j, tag + k);
  }
  return M_COLSORT_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

void M_copf(float* const* A, float* const* B, int m, int n) noexcept { tabfit::M_cop(A, B, m, n); }
void M_copd(double* const* A, double* const* B, int m, int n) noexcept { tabfit::M_cop(A, B, m, n); }

void M_copssf(float* const* S, float* const* T, int n) noexcept { tabfit::M_copss(S, T, n); }
void M_copssd(double* const* S, double* const* T, int n) noexcept { tabfit::M_copss(S, T, n); }

void M_copsrf(float* const* S, float* const* B, int n) noexcept { tabfit::M_copsr(S, B, n); }
void M_copsrd(double* const* S, double* const* B, int n) noexcept { tabfit::M_copsr(S, B, n); }

void M_coptrf(float* const* U, float* const* B, int n) noexcept { tabfit::M_coptr(U, B, n); }
void M_coptrd(double* const* U, double* const* B, int n) noexcept { tabfit::M_coptr(U, B, n); }

void M_lminusf(float* const* A, int n, int row) noexcept { tabfit::M_lminus(A, n, row); }
void M_lminusd(double* const* A, int n, int row) noexcept { tabfit::M_lminus(A, n, row); }

void M_swapf(float* const* A, int j1, int j2, int r1, int r2) noexcept {
  tabfit::M_swap(A, j1, j2, r1, r2);
}
void M_swapd(double* const* A, int j1, int j2, int r1, int r2) noexcept {
  tabfit::M_swap(A, j1, j2, r1, r2);
}

int M_rowsortf(float* const* A, int m, int n, int* idx) noexcept {
  return tabfit::M_rowsort(A, m, n, idx);
}
int M_rowsortd(double* const* A, int m, int n, int* idx) noexcept {
  return tabfit::M_rowsort(A, m, n, idx);
}

int M_colsortf(float* a, int m, int n, const int* idx) noexcept {
  return tabfit::M_colsort(a, m, n, idx);
}
int M_colsortd(double* a, int m, int n, const int* idx) noexcept {
  return tabfit::M_colsort(a, m, n, idx);
}

}  // extern "C"

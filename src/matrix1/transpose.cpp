// matrix1/transpose.cpp - transposition into another table, within a table, within a block.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tile.hpp"
#include "kernels/scalar/vector.hpp"

#include "matrix1/transpose.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace tabfit {

template <class Real>
int M_transpa(Real* const* A, int p, int q) noexcept {
  if (p < 1 && q < 1) return M_TRANSPA_BAD_SIZE;
  if (p == q) {
    exchange_transposed(p, [=](std::ptrdiff_t j) { return A[j]; });
    return M_TRANSPA_OK;
  }
  // Deliberate: s and t carry over from step to step, and the tests with p and q differ for j = p and
  // i = q. So every place of the k by k block outside the transpose is overwritten.
  const int k = std::max(p, q);
  Real s = 0, t = 0;
  for (int j = 0; j < k; ++j)
    for (int i = j; i < k; ++i) {
      if (j < p) s = A[j][i];
      if (i < q) t = A[i][j];
      A[j][i] = i > q ? A[i][j] : t;
      A[i][j] = j > p ? A[j][i] : s;
    }
  return M_TRANSPA_OK;
}

template int M_transpa(float* const*, int, int) noexcept;
template int M_transpa(double* const*, int, int) noexcept;

namespace {

template <class Real>
int M_transp(Real* const* A, int m, int n, Real* const* B) noexcept {
  if (m < 1 && n < 1) return M_TRANSP_BAD_SIZE;
  // Deliberate: a single element is not copied: B keeps what it held, and the call returns 0.
  if (m == 1 && n == 1) return M_TRANSP_OK;
  move_transposed(
      n, m, [=](std::ptrdiff_t j) { return A[j]; }, [=](std::ptrdiff_t i) { return B[i]; });
  return M_TRANSP_OK;
}

// The mark that M_tran puts into a vacated place.
// Deliberate: 0 in the double twin, the greatest finite float in the single twin. An element equal to
// it counts as a vacated place and is not moved: the block may come out scrambled.
template <class Real>
inline constexpr Real vacated = is_double<Real> ? Real(0) : std::numeric_limits<Real>::max();

/// True if an element equals the mark. The elements of a run are compared side by side.
template <class Real>
bool holds_mark(const Real* a, std::ptrdiff_t size) noexcept {
  constexpr std::ptrdiff_t run = 64;
  std::ptrdiff_t i = 0;
  for (; i + run <= size; i += run) {
    std::conditional_t<is_double<Real>, std::int64_t, std::int32_t> found = 0;  // as wide as an element
    for (std::ptrdiff_t e = 0; e < run; ++e) found |= a[i + e] == vacated<Real> ? -1 : 0;
    if (found) return true;
  }
  return std::find(a + i, a + size, vacated<Real>) != a + size;
}

/// Moves the elements of a[from..to-1] that are not vacated up against a[to], in order. a[to] stays.
template <class Real>
void close_gaps(Real* a, std::ptrdiff_t from, std::ptrdiff_t to) noexcept {
  std::ptrdiff_t d = to;
  for (std::ptrdiff_t e = to - 1; e >= from; --e)
    if (a[e] != vacated<Real>) a[--d] = a[e];
}

/// The same for R-row columns of which only the first row, c places, is vacated: the rest of each
/// column, R-1 elements, moves as a whole.
template <class Real>
void close_row_gaps(Real* a, std::ptrdiff_t R, std::ptrdiff_t c) noexcept {
  for (std::ptrdiff_t t = c - 1; t >= 0; --t) {
    Real* piece = a + R * t + 1;
    std::memmove(piece + (c - 1 - t), piece, sizeof(Real) * static_cast<std::size_t>(R - 1));
  }
}

// Takes out one row after the other, closes its gaps towards the end, and puts the row into the room in
// front. Before step s, s rows are in place; the others are a column-major (r-s) by c block.
template <class Real>
int M_tran(Real* a, int r, int c) noexcept {
  if (r < 2 && c < 2) return M_TRAN_BAD_SIZE;
  const CArray<Real> row = c_array<Real>(c);
  if (!row) return M_TRAN_NO_MEMORY;
  if (c < 1) return M_TRAN_OK;

  const std::ptrdiff_t width = c, size = std::max<std::ptrdiff_t>(r * width, 0);
  const bool plain = !holds_mark(a, size);
  if (plain && r == c) {
    exchange_transposed(width, [=](std::ptrdiff_t j) { return a + width * j; });
    return M_TRAN_OK;
  }
  for (std::ptrdiff_t s = 0; s + 1 < r; ++s) {
    Real* block = a + s * width;
    for (std::ptrdiff_t t = 0; t < width; ++t) {
      row[t] = block[(r - s) * t];
      if (!plain) block[(r - s) * t] = vacated<Real>;
    }
    if (plain)
      close_row_gaps(block, r - s, width);
    else
      close_gaps(a, s * width + 1, size - 1);
    V_copy(row.get(), block, c);
  }
  return M_TRAN_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_transpf(float* const* A, int m, int n, float* const* B) noexcept {
  return tabfit::M_transp(A, m, n, B);
}
int M_transpd(double* const* A, int m, int n, double* const* B) noexcept {
  return tabfit::M_transp(A, m, n, B);
}

int M_transpaf(float* const* A, int p, int q) noexcept { return tabfit::M_transpa(A, p, q); }
int M_transpad(double* const* A, int p, int q) noexcept { return tabfit::M_transpa(A, p, q); }

int M_tranf(float* a, int r, int c) noexcept { return tabfit::M_tran(a, r, c); }
int M_trand(double* a, int r, int c) noexcept { return tabfit::M_tran(a, r, c); }

}  // extern "C"

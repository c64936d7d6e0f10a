// kernels/scalar/tile.hpp - moves a block of elements with rows and columns exchanged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace tabfit {

/// dst(j)[i] = src(i)[j] for i < m and j < n.
///
/// Why:       reads or writes must be strided. Here the reads are: tiles of 4 by 4 elements go through
///            registers, and four runs of dst are written from end to end. The next four runs find the
///            cache lines of src still in the cache.
/// Shape:     src(i) is a run of at least n elements, dst(j) one of at least m; they do not overlap.
template <class Src, class Dst>
void move_transposed(std::ptrdiff_t m, std::ptrdiff_t n, Src src, Dst dst) noexcept {
  constexpr std::ptrdiff_t width = 4;
  std::ptrdiff_t j = 0;
  for (; j + width <= n; j += width) {
    std::ptrdiff_t i = 0;
    for (; i + width <= m; i += width)
      for (std::ptrdiff_t c = 0; c < width; ++c)
        for (std::ptrdiff_t r = 0; r < width; ++r) dst(j + c)[i + r] = src(i + r)[j + c];
    for (; i < m; ++i)
      for (std::ptrdiff_t c = 0; c < width; ++c) dst(j + c)[i] = src(i)[j + c];
  }
  for (; j < n; ++j)
    for (std::ptrdiff_t i = 0; i < m; ++i) dst(j)[i] = src(i)[j];
}

/// column(j)[i] and column(i)[j] change places for i, j < n.
///
/// Why:       as above, two blocks at a time, one of them in scratch. Three blocks of 32 by 32 elements
///            fit into the nearest cache.
/// Shape:     column(j) is a run of at least n elements; no two overlap.
template <class Column>
void exchange_transposed(std::ptrdiff_t n, Column column) noexcept {
  constexpr std::ptrdiff_t width = 32;
  if (n <= width) {
    for (std::ptrdiff_t j = 0; j < n; ++j)
      for (std::ptrdiff_t i = j + 1; i < n; ++i) std::swap(column(j)[i], column(i)[j]);
    return;
  }
  std::remove_reference_t<decltype(*column(0))> scratch[width * width];
  for (std::ptrdiff_t jj = 0; jj < n; jj += width)
    for (std::ptrdiff_t ii = jj; ii < n; ii += width) {
      const std::ptrdiff_t columns = std::min(width, n - jj), rows = std::min(width, n - ii);
      const auto below = [=](std::ptrdiff_t j) { return column(jj + j) + ii; };
      const auto above = [=](std::ptrdiff_t i) { return column(ii + i) + jj; };
      move_transposed(columns, rows, below, [&](std::ptrdiff_t i) { return scratch + width * i; });
      if (ii > jj) move_transposed(rows, columns, above, below);
      for (std::ptrdiff_t i = 0; i < rows; ++i) std::copy_n(scratch + width * i, columns, above(i));
    }
}

}  // namespace tabfit

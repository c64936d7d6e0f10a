// llsqp/kernels/tile.hpp - moves a block of elements with rows and columns exchanged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tabfit {

/// dst(j)[i] = src(i)[j] for i < m and j < n.
///
/// Why:       one side is always strided. Four by four elements go through registers, and the writes
///            stay contiguous: four runs at a time from end to end, while every line that is read is
///            still at hand when the next four runs come back to it.
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
/// Why:       as above; two blocks of 32 by 32 elements stay in the nearest cache.
/// Shape:     column(j) is a run of at least n elements; no two overlap.
template <class Column>
void exchange_transposed(std::ptrdiff_t n, Column column) noexcept {
  constexpr std::ptrdiff_t width = 32;
  for (std::ptrdiff_t jj = 0; jj < n; jj += width)
    for (std::ptrdiff_t ii = jj; ii < n; ii += width)
      for (std::ptrdiff_t j = jj; j < std::min(jj + width, n); ++j)
        for (std::ptrdiff_t i = std::max(ii, j + 1); i < std::min(ii + width, n); ++i)
          std::swap(column(j)[i], column(i)[j]);
}

}  // namespace tabfit

// kernels/sums/panel.hpp - sums of products that stand side by side: what their kernels work on.
//
// A sum may not be split, and one alone waits for its own last step; neighbouring sums do not wait for
// each other. The kernels advance many sums together, each in its own order, each step one fused
// multiply-add.
#pragma once

#include "kernels/lanes/choice.hpp"

namespace tabfit {

/// Rows and columns of a tile of sums, and so the widths of the panels of its factors.
inline constexpr int panel_rows = 24, panel_columns = 8;

/// The sums of a tile that a term belongs to.
struct TileMask {
  std::uint32_t rows;     ///< bit r for row r
  std::uint32_t columns;  ///< bit c for column c
};

/// A tile of sums: sums[c][r] gets the terms t = first..end-1 of P[t][row + r] Q[c][t * step],
/// ascending, for c < columns and r < height[c].
template <class Real>
struct Tile {
  const Real* const* P;
  std::ptrdiff_t row, step;
  const Real* Q[panel_columns];  ///< of a column beyond the count, that of another
  double* sums[panel_columns];
  int rows, columns, first, end;
  bool from_zero;             ///< the sums begin at 0, not at what stands there
  bool level;                 ///< eight columns of `rows` sums: the heights are not looked at
  int height[panel_columns];  ///< at most `rows`; 0 beyond the count
};

}  // namespace tabfit

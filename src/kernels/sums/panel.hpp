// kernels/sums/panel.hpp - sums of products that stand side by side: what their kernels work on.
//
// A sum may not be split, and one alone waits for its own last step; neighbouring sums do not wait for
// each other. The kernels advance many sums together, each in its own order, each step one fused
// multiply-add.
#pragma once

#include "kernels/lanes/choice.hpp"

namespace tabfit {

/// Rows and columns of a block of unknowns, at most.
inline constexpr int panel_rows = 24, panel_columns = 8;

/// Of the rows (or columns) of a product, those whose sums have a term at l.
enum class Band {
  all,
  to_l,    ///< 0..l: the sum of row i begins at l = i
  from_l,  ///< l..: the sum of row i ends at l = i
};

/// Which of some neighbouring rows or columns have term t: number r stands for i = at + r.
struct Edge {
  Band band = Band::all;
  int at = 0;
};

/// A tile of sums: sums[c][place + r] gets the terms P[t][row + r] Q[c][term + t * step], t =
/// first..end-1 ascending, that row and column have, for c < columns and r < rows, r < corner + c.
/// Only the factors of these terms are read. Rows are taken in order, for each the columns in order.
struct Tile {
  static constexpr int everywhere = 1 << 30;

  const double* const* P = nullptr;
  std::ptrdiff_t row = 0;
  const double* const* Q = nullptr;
  std::ptrdiff_t term = 0, step = 1;
  double* const* sums = nullptr;
  std::ptrdiff_t place = 0;
  float* const* rounded = nullptr;  ///< if not null, rounded[c][target + r] gets the sum, and sums none
  std::ptrdiff_t target = 0;
  int rows = 0, columns = 0, first = 0, end = 0;
  bool from_zero = true;    ///< the sums begin at 0, not at what stands there
  int corner = everywhere;  ///< the rows of column 0, one more of each next one
  Edge row_edge{}, column_edge{};
};

}  // namespace tabfit

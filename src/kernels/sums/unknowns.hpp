// kernels/sums/unknowns.hpp - rows of unknowns of triangular systems: what their kernels work on.
#pragma once

#include "kernels/lanes/choice.hpp"

namespace tabfit {

/// Rows first..first+rows-1 of the unknowns of a triangular system U, of which the rows behind them, up
/// to end-1, are known. Right-hand sides stand side by side: unknown (i, v) at X[i * width + v].
///
/// Shape: u(first + r, first + t) stands at P[t * height + r], t >= r; width is a multiple of 8, and at
///        most eight vectors. Lane v has the rows up to corner + v and no other: what stands in others is
///        neither used nor changed.
struct Unknowns {
  double* X;
  int width;
  const double* P;
  int height, first, rows, end, corner;
};

/// Rows that factor_rows takes at most.
inline constexpr int factor_most = 128;

}  // namespace tabfit

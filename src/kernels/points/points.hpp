// kernels/points/points.hpp - long formulas for a block of points side by side: what their kernels work
// on.
//
// The formulas are documented in Wide (arithmetic.hpp), which takes one point at a time. The vector
// kernels evaluate a block in doubles, with a bound of what the documented roundings may change
// (bounded.hpp). Where all values within the bound are stored as one result, it is the result. The
// other points are in doubt: about one in a hundred, and all with NaN, infinities or the ends of the
// exponents' range. The caller evaluates them in Wide. So the bits are those of the plain formula, with
// every instruction set.
#pragma once

#include "kernels/lanes/choice.hpp"
#include "kernels/scalar/arithmetic.hpp"

#include <bit>
#include <cmath>

namespace tabfit {

/// Points in one block.
inline constexpr int point_block = 64;

/// The first `count` points.
inline PointSet first_points(int count) noexcept {
  return count < point_block ? (PointSet(1) << count) - 1 : ~PointSet(0);
}

/// f(i) for every point of the set.
template <class F>
void for_points(PointSet points, F f) noexcept {
  for (; points != 0; points &= points - 1) f(std::countr_zero(points));
}

/// v -> (v - cm) / hw + offset, offset 0 or 1.
struct PointMapping {
  double cm, hw, offset;

  Wide operator()(double v) const noexcept {
    const Wide t = (Wide(v) - cm) / hw;
    return offset == 0.0 ? t : t + offset;
  }
};

/// The n + 1 intervals of the reference interval 0..2: their width h, and a sixth of its square.
struct BasisGrid {
  explicit BasisGrid(int knots) noexcept
      : n(knots), h(2.0 / (n + 1.0)), g(store<double>(Wide(h) * h * (Wide(1) / 6))) {}
  int n;
  double h, g;
};

/// A block of points of the reference interval: the interval of each, and its place t in there, 0..1.
struct PointPlaces {
  std::int32_t k[point_block];
  double t[point_block];

  // What the second derivatives at the two ends of the interval add to a spline's value, as pairs.
  double left[point_block], left_low[point_block], right[point_block], right_low[point_block];
  PointSet level;  ///< bit i: the points of the kernel's vector that begins with i lie in one interval
};

/// What the pieces of a spline share: a grid over data of half width hw, and the second derivatives C
/// at its knots.
struct SplinePieces {
  const BasisGrid& grid;
  double hw;
  const double* C;
};

}  // namespace tabfit

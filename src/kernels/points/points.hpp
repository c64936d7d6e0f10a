// kernels/points/points.hpp - long formulas for a block of points side by side: what their kernels work on.
//
// A formula that is evaluated in Wide (arithmetic.hpp) takes one point at a time. The kernels evaluate it
// in pairs of doubles, exact to a hundred bits, and know how far the documented roundings may lead from
// there: where the least and the greatest value that they may lead to are stored as the same result, that
// is the result. The other points, about one in a hundred, are in doubt, and the caller evaluates them
// in Wide: the bits of the plain formula, with every instruction set. Points whose pairs are not exact
// (NaN, infinities, the ends of the exponents' range) are among them.
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

/// A number as the sum of two doubles, the first of them its rounding.
struct Pair {
  double high, low;
};

/// a / b.
inline Pair quotient(double a, double b) noexcept {
  const double high = a / b;
  return {high, std::fma(-high, b, a) / b};
}

/// 1 / (a b).
inline Pair reciprocal(double a, double b) noexcept {
  const double product = a * b, rest = std::fma(a, b, -product), high = 1.0 / product;
  return {high, high * std::fma(-high, rest, std::fma(-high, product, 1.0))};
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

/// What the pieces of a spline share: a grid over data of half width hw, and the second derivatives C at
/// its knots.
struct SplinePieces {
  double h, g, hw;
  const double* C;
  Pair per_bend, per_rise, per_square;  ///< (h / 2) / hw, 1 / (h hw), 1 / (hw hw)

  static SplinePieces of(const BasisGrid& grid, double hw, const double* C) noexcept {
    return {
        grid.h, grid.g, hw, C, quotient(0.5 * grid.h, hw), reciprocal(grid.h, hw), reciprocal(hw, hw)};
  }
};

}  // namespace tabfit

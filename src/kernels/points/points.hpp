// kernels/points/points.hpp - long formulas for a block of points side by side: the kernels, and their
// choice.
//
// A formula that is evaluated in Wide (arithmetic.hpp) takes one point at a time. The kernels evaluate it
// in pairs of doubles, exact to a hundred bits, and know how far the documented roundings may lead from
// there: where the least and the greatest value that they may lead to are stored as the same result, that
// is the result. The other points, about one in a hundred, are in doubt, and the caller evaluates them
// in Wide: the bits of the plain formula, with every instruction set. Points whose pairs are not exact
// (NaN, infinities, the ends of the exponents' range) are among them.
#pragma once

#include "kernels/scalar/arithmetic.hpp"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace tabfit {

/// Points in one block.
inline constexpr int point_block = 64;

/// Some points of a block: bit i for point i.
using PointSet = std::uint64_t;

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

/// The kernels that read and write elements of one type. Arrays of elements are read and written up to
/// `count`, at most point_block, only. What is written for a point in doubt is not to be used.
template <class Real>
struct PointKernels {
  /// u[i] = map(v[i]), offset 1, rounded to double; and in place, offset 0, rounded to Real. Returned: the
  /// points in doubt, which in place are left as they are.
  PointSet (*map)(const Real* v, int count, const PointMapping& map, double* u) noexcept;
  PointSet (*map_elements)(Real* v, int count, const PointMapping& map) noexcept;

  /// v[i] = hw v[i] + cm, fused, rounded to Real; for any count.
  void (*map_back)(Real* v, int count, const PointMapping& map) noexcept;

  /// out[i] = s[i] / unit, rounded to Real. Returned: the points in doubt.
  PointSet (*divide)(const double* s, int count, Wide unit, Real* out) noexcept;

  /// The basis function of column T of the table, number j, at weighed places, rounded to double, then
  /// to Real. Returned: the points in doubt, but for those of weigh.
  PointSet (*basis)(const PointPlaces& at, int count, const Real* T, int j, Real* out) noexcept;

  /// Value and derivatives of the spline with the knot values a[k + 1], rounded to double, then to Real;
  /// each may be null. Returned: the points in doubt.
  PointSet (*spline)(const PointPlaces& at, int count, const SplinePieces& pieces, const Real* a,
                     Real* s, Real* s1, Real* s2) noexcept;

  /// k[i] = the interval of nodes that holds t[i], as V_search gives it, for points strictly inside the
  /// table of n >= 2 strictly ascending nodes; k has point_block places. Points of the interval `last`
  /// are found at once; it becomes that of the last point. Returned: the points not inside.
  PointSet (*find)(const Real* x, int n, const Real* t, int count, std::int32_t* k,
                   std::int32_t& last) noexcept;

  /// The line through the nodes k[i] and k[i] + 1 of the table x, y at t[i] between them, (t - x[k]) slope +
  /// y[k], rounded to double, then to Real. Returned: the points in doubt.
  PointSet (*line)(const Real* x, const Real* y, const std::int32_t* k, const Real* t, int count,
                   Real* out) noexcept;

  /// Value and derivatives of the cubic y + b r + c r^2 + d r^3 of interval k[i] at r = t[i] - x[k], rounded
  /// likewise; each may be null. C holds y, b, c and d, n each. Returned: the points in doubt.
  PointSet (*cubic)(const Real* x, const Real* C, int n, const std::int32_t* k, const Real* t,
                    int count, Real* s, Real* s1, Real* s2) noexcept;

  /// t[i] = v[i] moved into -1..1; NaN stays. Returned: the points whose magnitude is above the band.
  PointSet (*clamp)(const Real* v, int count, double band, double* t) noexcept;

  /// Rows j = 0..p, and at least 0 and 1, of T, `stride` apart: the Chebyshev polynomial of degree j at
  /// t[i], T[j] = 2 t T[j-1] - T[j-2], a fused step, rounded to Real. With a, sums[i] = a[0] T[0][i] +
  /// a[1] T[1][i] + ..., ascending up to p, from 0.
  void (*chebyshev)(int p, const double* t, int count, std::ptrdiff_t stride, Real* T, const Real* a,
                    double* sums) noexcept;

  /// Rows k = 0..p of D: k times the sum of 2 c[j][i], j = k-1, k-3, ..., but c[0] counted once, in
  /// double, rows ascending: the derivatives of what the rows of c hold values of. With a, sums as above.
  void (*chebyshev_derivatives)(int p, const Real* c, int count, std::ptrdiff_t stride, Real* D,
                                const Real* a, double* sums) noexcept;
};

struct Points {
  /// Moves points from within tol of the reference interval into it, and finds their places. Returned:
  /// the points in doubt. outside: those that are further away, or NaN; they have no place.
  PointSet (*locate)(const BasisGrid& grid, double tol, int count, double* u, PointPlaces& at,
                     PointSet& outside) noexcept;

  /// What basis needs besides the places. Returned: the points that are in doubt in every function.
  PointSet (*weigh)(const BasisGrid& grid, int count, PointPlaces& at) noexcept;

  PointKernels<float> f;
  PointKernels<double> d;

  template <class Real>
  const PointKernels<Real>& of() const noexcept {
    if constexpr (is_double<Real>)
      return d;
    else
      return f;
  }
};

/// For every processor: with plain loops, and with all points in doubt.
extern const Points plain_points;

/// Where the processor may have them; null where this library was built for another kind.
const Points* avx2_points() noexcept;
const Points* avx512_points() noexcept;

/// The best that this processor runs.
const Points& points() noexcept;

}  // namespace tabfit

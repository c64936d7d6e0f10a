// appx/spline_basis.hpp - the fundamental splines of clamped interpolation on n + 2 equally spaced
// knots over the reference interval 0..2, evaluated from their second derivatives at the knots.
#pragma once

#include "kernels/points/points.hpp"
#include "kernels/scalar/arithmetic.hpp"

#include <memory>

namespace tabfit {

/// Makes a basis table; null if n < 1 or memory runs out.
template <class Real>
Real** AX_d2fcs(int n) noexcept;

template <class Real>
void AX_freed2fcs(Real** T) noexcept;

struct BasisRelease {
  template <class Real>
  void operator()(Real** T) const noexcept {
    AX_freed2fcs(T);
  }
};

/// Owner of a basis table.
template <class Real>
using BasisTable = std::unique_ptr<Real*[], BasisRelease>;

/// A point u of the reference interval, 0 <= u <= 2: the interval k of the grid that holds u,
/// the place t of u in it, 0 <= t <= 1, and the factors of a spline's value that depend on u alone.
///
/// In interval k, of width h, a spline has knot values e1, e2 and second derivatives a, b at the ends.
/// Basis function j is 1 at knot j-1, if there is one, and 0 at all other knots.
struct BasisPoint {
  int k;
  double h, g;
  Wide t, rest, left, right;

  BasisPoint() = default;
  BasisPoint(const BasisGrid& grid, int interval, double place) noexcept
      : k(interval), h(grid.h), g(grid.g), t(place) {
    rest = 1 - t;
    left = g * (1 + rest) * t;
    right = g * (1 + t) * rest;
  }
  BasisPoint(const BasisGrid& grid, double u) noexcept {
    const Wide quotient = u / Wide(grid.h);
    const int interval = quotient < grid.n + Wide(1) ? static_cast<int>(quotient) : grid.n;
    const double start = interval * grid.h;
    *this = BasisPoint(grid, interval, store<double>((Wide(u) - start) / grid.h));
  }

  double value(Wide a, Wide b, Wide e1, Wide e2) const noexcept {
    return store<double>((e1 - left * a) * rest + (e2 - right * b) * t);
  }
  Wide slope(Wide a, Wide b, Wide e1, Wide e2) const noexcept {
    return (b * t * t - a * rest * rest) * (Wide(0.5) * h) + ((a - b) * g + e2 - e1) / h;
  }
  Wide curvature(Wide a, Wide b) const noexcept { return a * rest + b * t; }

  /// Basis function j, whose column of the table is T.
  template <class Real>
  double basis_value(const Real* T, int j) const noexcept {
    return value(T[k], T[k + 1], j == k + 1, j == k + 2);
  }
};

/// One function at one point: the basis as it is defined, for tests and for reading. Fits evaluate all
/// functions at many points.
///
/// Value and derivatives of basis function j, 0 <= j <= n + 3, at u, per reference unit; each output
/// may be null. Returns 0; or 1, with nothing written, if u lies outside 0..2 or is NaN, or if n < 1.
template <class Real>
int S_basisval(Real* const* T, int n, int j, double u, double* s, double* s1, double* s2) noexcept {
  if (!(u >= 0.0) || u > 2.0 || n < 1) return 1;
  const BasisPoint point(BasisGrid(n), u);
  const Wide a = T[j][point.k], b = T[j][point.k + 1], e1 = j == point.k + 1, e2 = j == point.k + 2;
  if (s) *s = point.value(a, b, e1, e2);
  if (s1) *s1 = store<double>(point.slope(a, b, e1, e2));
  if (s2) *s2 = store<double>(point.curvature(a, b));
  return 0;
}

}  // namespace tabfit

// appx/spline_fit.cpp - least-squares spline on equally spaced knots: fit, one point, many points.
#include "tabfit/approximation.h"

#include "kernels/points/points.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/product.hpp"

#include "matrix1/storage.hpp"

#include "llsqp/least_squares.hpp"

#include "appx/residuals.hpp"
#include "appx/spline_basis.hpp"
#include "appx/spline_fit.hpp"

#include <algorithm>

namespace tabfit {

namespace {

/// u[i] = map(v[i]) for the points of a block.
template <class Real>
void map_block(const Real* v, int count, const PointMapping& map, double* u) noexcept {
  for_points(kernels().of<Real>().map(v, count, map, u),
             [&](int i) { u[i] = store<double>(map(v[i])); });
}

/// Finds the places of a block of points in the reference interval. A point outside by no more than tol
/// is first moved onto the nearer end. Returns the points further out, and NaN, which have no place.
PointSet locate_block(const BasisGrid& grid, double tol, int count, double* u,
                      PointPlaces& at) noexcept {
  PointSet outside = 0;
  for_points(kernels().locate(grid, tol, count, u, at, outside), [&](int i) {
    const BasisPoint point(grid, u[i]);
    at.k[i] = point.k;
    at.t[i] = store<double>(point.t);
  });
  return outside;
}

}  // namespace

template <class Real>
void spline_design(Real* const* T, int n, int m, const Real* x, const PointMapping& map,
                   Real* const* design) noexcept {
  const BasisGrid grid(n);
  double u[point_block];
  PointPlaces at;
  BasisPoint points_in_doubt[point_block];
  for (int i0 = 0, count = 0; i0 < m; i0 += count) {
    count = std::min(point_block, m - i0);
    map_block(x + i0, count, map, u);
    if (i0 == 0 && u[0] < 0.0) u[0] = 0.0;
    if (i0 + count == m && u[count - 1] > 2.0) u[count - 1] = 2.0;
    const PointSet outside = locate_block(grid, 0.0, count, u, at);

    // The basis kernel writes every row. So it is not used if a row must keep what it holds.
    const PointSet always = outside ? first_points(count) & ~outside : kernels().weigh(grid, count, at);
    PointSet prepared = 0;
    for (int j = 0; j <= n + 3; ++j) {
      PointSet doubts = always;
      if (!outside) doubts |= kernels().of<Real>().basis(at, count, T[j], j, design[j] + i0);
      for_points(doubts & ~prepared, [&](int i) { points_in_doubt[i] = {grid, at.k[i], at.t[i]}; });
      prepared |= doubts;
      for_points(doubts, [&](int i) {
        design[j][i0 + i] = store<Real>(points_in_doubt[i].basis_value(T[j], j));
      });
    }
  }
}

template <class Real>
int AX_apxcoef(Real* const* T, int n, int m, const Real* x, const Real* y, Real* a) noexcept {
  if (n < 1 || std::ptrdiff_t(m) - 4 < n) return AX_APXCOEF_BAD_SIZE;
  constexpr double tol = Tolerance<Real>::node;
  const PointMapping map = spline_mapping(x, m);
  double u[point_block], before = store<double>(map(x[0]));
  for (int i0 = 1, count = 0; i0 < m; i0 += count) {
    count = std::min(point_block, m - i0);
    map_block(x + i0, count, map, u);
    for (int i = 0; i < count; ++i) {
      if (!(u[i] - tol >= before)) return AX_APXCOEF_BAD_ABSCISSAE;  // NaN fails too
      before = u[i];
    }
  }

  const int unknowns = n + 4;
  CArray<Real> block = c_array<Real>(std::ptrdiff_t(m) * (unknowns + 1));
  if (!block) return AX_APXCOEF_NO_BLOCK;
  CArray<Real*> table = c_array<Real*>(unknowns + 1);
  if (!table) return AX_APXCOEF_NO_POINTERS;
  M_storec(block.get(), m, unknowns + 1, table.get());
  spline_design(T, n, m, x, map, table.get());
  Real* solution = table[unknowns];
  V_copy(y, solution, m);

  const int status = Ls<Real>(table.get(), m, unknowns, nullptr);
  if (status != 0) {
    // Deliberate: the scratch stays allocated if the solver refuses: each such call leaks m (n + 5)
    // elements and n + 5 pointers.
    (void)table.release();
    (void)block.release();
    return status;
  }
  V_copy(solution, a, unknowns);
  a[n + 4] = store<Real>(map.cm);
  a[n + 5] = store<Real>(map.hw);
  return AX_APXCOEF_OK;
}

namespace {

/// A fitted spline. In interval k its knot values are a[k+1] and a[k+2]. Its second derivatives at the
/// ends of k are the sums of a[j] T[j][k] and of a[j] T[j][k+1], j ascending.
template <class Real>
class FittedSpline {
 public:
  /// For `count` evaluations. With as many evaluations as knots, the second derivatives at all knots
  /// are formed at once, if there is room for them; otherwise one interval at a time.
  FittedSpline(Real* const* T, int n, const Real* a, int count) noexcept
      : T_(T), a_(a), grid_(n), map_{a[n + 4], a[n + 5], 1.0} {
    const int knots = n + 2;
    all_known_ = knots <= most_knots && count >= knots;
    if (all_known_) {
      double* const column = C_;
      product({.rows = knots, .columns = 1, .terms = n + 4}, as_is(T), as_is(&a),
              into_sums<Real>(&column));
    } else {
      C_[0] = C_[1] = 0.0;
    }
  }

  /// Evaluates at v, in the unit of the data; each output may be null. Returns 0; or -6, with nothing
  /// written, if v lies outside the band.
  int operator()(double v, double* s, double* s1, double* s2) noexcept {
    double u = store<double>(map_(v));
    if (!(u >= -tol) || u > 2.0 + tol) return AX_APXVAL_OUT_OF_RANGE;  // NaN fails too
    if (u < 0.0) u = 0.0;
    if (u > 2.0) u = 2.0;
    evaluate(BasisPoint(grid_, u), s, s1, s2);
    return AX_APXVAL_OK;
  }

  /// The same for a block of points. Returns false, with nothing written, if one of them lies outside,
  /// or if not all second derivatives are known.
  bool block(const Real* v, int count, Real* s, Real* s1, Real* s2) noexcept {
    if (!all_known_) return false;
    double u[point_block];
    PointPlaces at;
    map_block(v, count, map_, u);
    if (locate_block(grid_, tol, count, u, at)) return false;
    const SplinePieces pieces{.grid = grid_, .hw = map_.hw, .C = C_};
    for_points(kernels().of<Real>().spline(at, count, pieces, a_, s, s1, s2), [&](int i) {
      double value = 0.0, slope = 0.0, curvature = 0.0;
      evaluate(BasisPoint(grid_, at.k[i], at.t[i]), s ? &value : nullptr, s1 ? &slope : nullptr,
               s2 ? &curvature : nullptr);
      if (s) s[i] = store<Real>(value);
      if (s1) s1[i] = store<Real>(slope);
      if (s2) s2[i] = store<Real>(curvature);
    });
    return true;
  }

 private:
  static constexpr double tol = Tolerance<Real>::node;
  static constexpr int most_knots = 256;

  void evaluate(const BasisPoint& point, double* s, double* s1, double* s2) noexcept {
    if (!all_known_ && point.k != k_) select(point.k);
    const double* C = all_known_ ? C_ + point.k : C_;
    const Wide c1 = C[0], c2 = C[1], e1 = a_[point.k + 1], e2 = a_[point.k + 2];
    if (s) *s = point.value(c1, c2, e1, e2);
    if (s1) *s1 = store<double>(point.slope(c1, c2, e1, e2) / map_.hw);
    if (s2) *s2 = store<double>(point.curvature(c1, c2) / (Wide(map_.hw) * map_.hw));
  }

  void select(int k) noexcept {
    k_ = k;
    C_[0] = C_[1] = 0.0;
    for (int j = 0; j <= grid_.n + 3; ++j) {
      C_[0] = mul_add(T_[j][k], a_[j], C_[0]);
      C_[1] = mul_add(T_[j][k + 1], a_[j], C_[1]);
    }
  }

  Real* const* T_;
  const Real* a_;
  BasisGrid grid_;
  PointMapping map_;
  bool all_known_;
  int k_ = -1;            // the interval of C_[0..1], unless all are known
  double C_[most_knots];  // second derivatives at the knots
};

template <class Real>
int AX_apxval(Real* const* T, int n, const Real* a, double v, double* s, double* s1,
              double* s2) noexcept {
  return FittedSpline<Real>(T, n, a, 1)(v, s, s1, s2);
}

}  // namespace

template <class Real>
int AX_apxvals(Real* const* T, int n, const Real* a, int k, const Real* v, Real* s, Real* s1,
               Real* s2) noexcept {
  if (k < 1) return AX_APXVALS_BAD_SIZE;
  FittedSpline<Real> spline(T, n, a, k);
  double value = 0.0, slope = 0.0, curvature = 0.0;
  const auto from = [](Real* out, int i) { return out ? out + i : nullptr; };
  for (int i0 = 0, count = 0; i0 < k; i0 += count) {
    count = std::min(point_block, k - i0);
    const int last = i0 + count - 1;
    if (spline.block(v + i0, count, from(s, i0), from(s1, i0), from(s2, i0))) {
      if (s) value = s[last];
      if (s1) slope = s1[last];
      if (s2) curvature = s2[last];
      continue;
    }
    for (int i = i0; i <= last; ++i) {
      const int status =
          spline(v[i], s ? &value : nullptr, s1 ? &slope : nullptr, s2 ? &curvature : nullptr);
      // Deliberate: the double twin ignores the status of a point: a point out of range gets the
      // results of the point before it, and the call returns 0.
      if (!is_double<Real> && status != AX_APXVAL_OK) return status;
      if (s) s[i] = store<Real>(value);
      if (s1) s1[i] = store<Real>(slope);
      if (s2) s2[i] = store<Real>(curvature);
    }
  }
  return AX_APXVALS_OK;
}

template <class Real>
void values_and_residuals(Real* const* T, int n, const Real* a, int m, const Real* x, const Real* y,
                          int k, const Real* v, Real* s, Real* s1, Real* s2) noexcept {
  AX_apxvals<Real>(T, n, a, m, x, s, nullptr, nullptr);
  Residuals residuals;
  residuals.add(s, y, m, Residuals::passes_over_nan);
  AX_apxvals(T, n, a, k, v, s, s1, s2);
  residuals.put(m, s + k);
}

template void spline_design(float* const*, int, int, const float*, const PointMapping&,
                            float* const*) noexcept;
template void spline_design(double* const*, int, int, const double*, const PointMapping&,
                            double* const*) noexcept;
template int AX_apxcoef(float* const*, int, int, const float*, const float*, float*) noexcept;
template int AX_apxcoef(double* const*, int, int, const double*, const double*, double*) noexcept;
template int AX_apxvals(float* const*, int, const float*, int, const float*, float*, float*,
                        float*) noexcept;
template int AX_apxvals(double* const*, int, const double*, int, const double*, double*, double*,
                        double*) noexcept;
template void values_and_residuals(float* const*, int, const float*, int, const float*, const float*,
                                   int, const float*, float*, float*, float*) noexcept;
template void values_and_residuals(double* const*, int, const double*, int, const double*,
                                   const double*, int, const double*, double*, double*,
                                   double*) noexcept;

}  // namespace tabfit

extern "C" {

int AX_apxcoeff(float* const* T, int n, int m, const float* x, const float* y, float* a) noexcept {
  return tabfit::AX_apxcoef(T, n, m, x, y, a);
}
int AX_apxcoefd(double* const* T, int n, int m, const double* x, const double* y, double* a) noexcept {
  return tabfit::AX_apxcoef(T, n, m, x, y, a);
}

int AX_apxvalf(float* const* T, int n, const float* a, double v, double* s, double* s1,
               double* s2) noexcept {
  return tabfit::AX_apxval(T, n, a, v, s, s1, s2);
}
int AX_apxvald(double* const* T, int n, const double* a, double v, double* s, double* s1,
               double* s2) noexcept {
  return tabfit::AX_apxval(T, n, a, v, s, s1, s2);
}

int AX_apxvalsf(float* const* T, int n, const float* a, int m, const float* v, float* s, float* s1,
                float* s2) noexcept {
  return tabfit::AX_apxvals(T, n, a, m, v, s, s1, s2);
}
int AX_apxvalsd(double* const* T, int n, const double* a, int m, const double* v, double* s, double* s1,
                double* s2) noexcept {
  return tabfit::AX_apxvals(T, n, a, m, v, s, s1, s2);
}

}  // extern "C"

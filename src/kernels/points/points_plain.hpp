// kernels/points/points_plain.hpp - the kernels for points as plain loops, with all points in doubt
// where the formula is evaluated in Wide.
#pragma once

#include "kernels/points/points.hpp"
#include "kernels/scalar/search.hpp"

#include <algorithm>

namespace tabfit {
namespace {

template <class Real>
PointSet map(const Real*, int count, const PointMapping&, double*) noexcept {
  return first_points(count);
}

template <class Real>
PointSet map_elements(Real*, int count, const PointMapping&) noexcept {
  return first_points(count);
}

template <class Real>
void map_back(Real* v, int count, const PointMapping& map) noexcept {
  for (int i = 0; i < count; ++i) v[i] = store<Real>(mul_add(map.hw, v[i], map.cm));
}

template <class Real>
PointSet divide(const double*, int count, Wide, Real*) noexcept {
  return first_points(count);
}

template <class Real>
PointSet basis(const PointPlaces&, int, const Real*, int, Real*) noexcept {
  return 0;  // weigh has them all in doubt
}

template <class Real>
PointSet spline(const PointPlaces&, int count, const SplinePieces&, const Real*, Real*, Real*,
                Real*) noexcept {
  return first_points(count);
}

template <class Real>
PointSet find(const Real* x, int n, const Real* t, int count, std::int32_t* k,
              std::int32_t& last) noexcept {
  PointSet outside = 0;
  for (int i = 0; i < count; i += search_width) {
    const int here = std::min(search_width, count - i);
    bool inside = true;
    Real u[search_width];
    for (int e = 0; e < search_width; ++e) {
      u[e] = t[i + std::min(e, here - 1)];
      inside &= (x[last] < u[e]) & (u[e] < x[last + 1]);
      if (e < here && !(x[0] < u[e] && u[e] < x[n - 1])) outside |= PointSet(1) << (i + e);
    }
    std::int32_t found[search_width];
    if (inside)
      std::fill_n(found, search_width, last);
    else
      V_search_block(u, x, n, found);
    std::copy_n(found, here, k + i);
    last = std::min(found[here - 1], n - 2);
  }
  return outside;
}

template <class Real>
PointSet line(const Real*, const Real*, const std::int32_t*, const Real*, int count, Real*) noexcept {
  return first_points(count);
}

template <class Real>
PointSet cubic(const Real*, const Real*, int, const std::int32_t*, const Real*, int count, Real*, Real*,
               Real*) noexcept {
  return first_points(count);
}

template <class Real>
PointSet clamp(const Real* v, int count, double band, double* t) noexcept {
  PointSet outside = 0;
  for (int i = 0; i < count; ++i) {
    if (std::abs(v[i]) > band) outside |= PointSet(1) << i;
    t[i] = v[i] > 1.0 ? 1.0 : v[i] < -1.0 ? -1.0 : v[i];
  }
  return outside;
}

template <class Real>
void chebyshev(int p, const double* t, int count, std::ptrdiff_t stride, Real* T, const Real* a,
               double* sums) noexcept {
  for (int i = 0; i < count; ++i) {
    Real *row = T + i, before = 1, now = store<Real>(t[i]);
    row[0] = before;
    row[stride] = now;
    double sum = a ? mul_add(a[0], before, 0.0) : 0.0;
    if (a && p >= 1) sum = mul_add(a[1], now, sum);
    for (int j = 2; j <= p; ++j) {
      const Real next = store<Real>(mul_add(2.0 * t[i], now, -double(before)));
      before = now;
      now = row[j * stride] = next;
      if (a) sum = mul_add(a[j], now, sum);
    }
    if (a) sums[i] = sum;
  }
}

template <class Real>
void chebyshev_derivatives(int p, const Real* c, int count, std::ptrdiff_t stride, Real* D,
                           const Real* a, double* sums) noexcept {
  for (int i = 0; i < count; ++i) {
    double same = 0.0, other = 0.0, sum = 0.0;  // over the rows before k, of the parity of k or not
    for (int k = 0; k <= p; ++k) {
      const Real d = D[k * stride + i] = store<Real>(k * other);
      if (a) sum = mul_add(a[k], d, sum);
      same = mul_add(k == 0 ? 1.0 : 2.0, c[k * stride + i], same);
      std::swap(same, other);
    }
    if (a) sums[i] = sum;
  }
}

inline PointSet locate(const BasisGrid&, double tol, int count, double* u, PointPlaces&,
                       PointSet& outside) noexcept {
  outside = 0;
  for (int i = 0; i < count; ++i) {
    if (!(u[i] >= -tol) || u[i] > 2.0 + tol) outside |= PointSet(1) << i;  // NaN fails too
    if (u[i] < 0.0) u[i] = 0.0;
    if (u[i] > 2.0) u[i] = 2.0;
  }
  return first_points(count) & ~outside;
}

inline PointSet weigh(const BasisGrid&, int count, PointPlaces&) noexcept {
  return first_points(count);
}

}  // namespace
}  // namespace tabfit

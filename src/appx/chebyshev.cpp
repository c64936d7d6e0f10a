// appx/chebyshev.cpp - least-squares polynomial in the Chebyshev basis: fit, evaluation, both at once.
#include "tabfit/approximation.h"

#include "kernels/points/points.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"

#include "matrix1/storage.hpp"

#include "llsqp/least_squares.hpp"

#include "appx/chebyshev.hpp"
#include "appx/residuals.hpp"

#include <algorithm>

namespace tabfit {
namespace {

/// v := (v - cm) / hw, which maps the range of the data onto -1..1; map_back undoes it.
template <class Real>
void map_onto(Real* v, int n, const PointMapping& map) noexcept {
  for (int i0 = 0; i0 < n; i0 += std::min(point_block, n - i0)) {
    Real* block = v + i0;
    for_points(kernels().of<Real>().map_elements(block, std::min(point_block, n - i0), map),
               [&](int i) { block[i] = store<Real>(map(block[i])); });
  }
}
template <class Real>
void map_back(Real* v, int n, const PointMapping& map) noexcept {
  kernels().of<Real>().map_back(v, n, map);
}

/// t := the mapped abscissae x as the design takes them, moved into -1..1. An abscissa beyond the band
/// repeats the t before it; `before` is the last t of the block before, at first -1.
template <class Real>
void design_points(const Real* x, int count, double* t, double& before) noexcept {
  for_points(kernels().of<Real>().clamp(x, count, chebyshev_band, t),
             [&](int i) { t[i] = i > 0 ? t[i - 1] : before; });
  before = t[count - 1];
}

template <class Real>
int AX_polapxcoef(int p, int m, Real* x, const Real* y, Real* a) noexcept {
  if (p < 2 || p >= m) return AX_POLAPXCOEF_FAILED;
  constexpr double separation =
      2e-5;  // Deliberate: in the double twin too: it refuses abscissae closer than that.
  const PointMapping map{store<double>((Wide(x[m - 1]) + x[0]) * Wide(0.5)),
                         store<double>((Wide(x[m - 1]) - x[0]) * Wide(0.5)), 0.0};
  map_onto(x, m, map);
  if (x[0] < -1) x[0] = -1;
  if (x[p - 1] > 1) x[p - 1] = 1;  // Deliberate: p - 1, not m - 1: a refusal may leave x[m-1] > 1.
  for (int i = 1; i < m; ++i)
    if (!(x[i] - separation >= x[i - 1])) return AX_POLAPXCOEF_BAD_ABSCISSAE;  // NaN fails too

  const int unknowns = p + 1, width = std::min(m, point_block);
  const CArray<Real*> table = c_array<Real*>(std::ptrdiff_t(unknowns) + 1);
  const CArray<Real> block = c_array<Real>(table ? (std::ptrdiff_t(unknowns) + 1) * m : -1);
  const CArray<Real> T = c_array<Real>(block ? std::ptrdiff_t(unknowns) * width : -1);
  if (!T) return AX_POLAPXCOEF_FAILED;
  M_storec(block.get(), m, unknowns + 1, table.get());
  Real* solution = table[unknowns];
  V_copy(y, solution, m);

  const auto& kernel = kernels().of<Real>();
  double t[point_block], before = -1.0;
  for (int i0 = 0; i0 < m; i0 += width) {
    const int count = std::min(width, m - i0);
    design_points(x + i0, count, t, before);
    kernel.chebyshev(p, t, count, m, table[0] + i0, nullptr, nullptr);
  }

  const int status = Ls<Real>(table.get(), m, unknowns, nullptr);
  if (status != 0) return status;  // Deliberate: x stays mapped, as after -2: its old values are lost.
  V_copy(solution, a, unknowns);

  Residuals residuals;
  double f[point_block];
  before = -1.0;
  for (int i0 = 0; i0 < m; i0 += width) {
    const int count = std::min(width, m - i0);
    design_points(x + i0, count, t, before);
    kernel.chebyshev(p, t, count, width, T.get(), a, f);
    residuals.add(f, y + i0, count, Residuals::takes_nan);
  }
  a[p + 1] = store<Real>(map.cm);
  a[p + 2] = store<Real>(map.hw);
  residuals.put(m, a + p + 3);
  map_back(x, m, map);
  return AX_POLAPXCOEF_OK;
}

template <class Real>
int AX_polapxval(int p, const Real* a, int k, Real* v, Real* s, Real* s1, Real* s2) noexcept {
  const PointMapping map{a[p + 1], a[p + 2], 0.0};
  // Deliberate: after every refusal all of v is mapped and stays so: its old values are lost.
  const auto refuse = [&](int mapped, int status) {
    map_onto(v + mapped, k - mapped, map);
    return status;
  };
  if (!s && !s1 && !s2) return refuse(0, AX_POLAPXVAL_NO_OUTPUT);

  // The values T are always formed; the first derivatives T1 also if only second ones are wanted.
  const int width = std::clamp(k, 1, point_block);
  const std::ptrdiff_t size = std::ptrdiff_t(std::max(p, 1) + std::ptrdiff_t(1)) * width;
  const CArray<Real> T = c_array<Real>(size);
  const CArray<Real> T1 = c_array<Real>(T && (s1 || s2) ? size : -1);
  const CArray<Real> T2 = c_array<Real>(T1 && s2 ? size : -1);
  if (!T || ((s1 || s2) && !T1) || (s2 && !T2)) return refuse(0, AX_POLAPXVAL_NO_MEMORY);

  const auto& kernel = kernels().of<Real>();
  double t[point_block], sums[point_block];
  for (int i0 = 0; i0 < k; i0 += width) {
    const int wanted = std::min(width, k - i0);
    map_onto(v + i0, wanted, map);
    const PointSet outside = p < 0 ? 1 : kernel.clamp(v + i0, wanted, chebyshev_band, t);
    const int count = std::min(wanted, std::countr_zero(outside));  // before the first refused point
    const auto put = [&](Real* out, Wide unit) {
      for_points(kernel.divide(sums, count, unit, out + i0),
                 [&](int i) { out[i0 + i] = store<Real>(sums[i] / unit); });
    };
    double* values = sums;
    if constexpr (is_double<Real>)
      if (s) values = s + i0;
    kernel.chebyshev(p, t, count, width, T.get(), s ? a : nullptr, values);
    if (s && values == sums) std::transform(sums, sums + count, s + i0, store<Real, double>);
    if (T1) kernel.chebyshev_derivatives(p, T.get(), count, width, T1.get(), s1 ? a : nullptr, sums);
    if (s1) put(s1, map.hw);
    if (T2) kernel.chebyshev_derivatives(p, T1.get(), count, width, T2.get(), a, sums);
    if (s2) put(s2, Wide(map.hw) * map.hw);
    if (count < wanted) return refuse(i0 + wanted, AX_POLAPXVAL_OUT_OF_RANGE);
  }
  map_back(v, k, map);
  return AX_POLAPXVAL_OK;
}

template <class Real>
int AX_polyapx(int p, int m, Real* x, const Real* y, int k, Real* v, Real* s, Real* s1,
               Real* s2) noexcept {
  if (p < 2 || p >= m || k < 1) return AX_POLYAPX_BAD_SIZE;
  const CArray<Real> a = c_array<Real>(std::ptrdiff_t(p) + 5);
  if (!a) return AX_POLYAPX_NO_MEMORY;
  const int fitted = AX_polapxcoef(p, m, x, y, a.get());
  if (fitted != AX_POLAPXCOEF_OK) return fitted;
  const int status = AX_polapxval(p, a.get(), k, v, s, s1, s2);
  if (status == AX_POLAPXVAL_OK && s) {
    s[k] = a[p + 3];
    s[k + 1] = a[p + 4];
  }
  return status;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int AX_polapxcoeff(int p, int m, float* x, const float* y, float* a) noexcept {
  return tabfit::AX_polapxcoef(p, m, x, y, a);
}
int AX_polapxcoefd(int p, int m, double* x, const double* y, double* a) noexcept {
  return tabfit::AX_polapxcoef(p, m, x, y, a);
}

int AX_polapxvalf(int p, const float* a, int k, float* v, float* s, float* s1, float* s2) noexcept {
  return tabfit::AX_polapxval(p, a, k, v, s, s1, s2);
}
int AX_polapxvald(int p, const double* a, int k, double* v, double* s, double* s1,
                  double* s2) noexcept {
  return tabfit::AX_polapxval(p, a, k, v, s, s1, s2);
}

int AX_polyapxf(int p, int m, float* x, const float* y, int k, float* v, float* s, float* s1,
                float* s2) noexcept {
  return tabfit::AX_polyapx(p, m, x, y, k, v, s, s1, s2);
}
int AX_polyapxd(int p, int m, double* x, const double* y, int k, double* v, double* s, double* s1,
                double* s2) noexcept {
  return tabfit::AX_polyapx(p, m, x, y, k, v, s, s1, s2);
}

}  // extern "C"

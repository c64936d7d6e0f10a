// appx/chebyshev.cpp - least-squares polynomial in the Chebyshev basis: fit, evaluation, both at once.
#include "tabfit/approximation.h"

#include "llsqp/kernels/scratch.hpp"
#include "llsqp/kernels/vector.hpp"

#include "matrix1/storage.hpp"

#include "llsqp/least_squares.hpp"

#include "appx/chebyshev.hpp"
#include "appx/residuals.hpp"

#include <algorithm>

namespace tabfit {
namespace {

/// t = (v - cm) / hw: the data range onto -1..1.
struct PolynomialMapping {
  double cm, hw;

  template <class Real>
  void onto(Real* v, int n) const noexcept {
    for (int i = 0; i < n; ++i) v[i] = store<Real>((Wide(v[i]) - cm) / hw);
  }
  template <class Real>
  void back(Real* v, int n) const noexcept {
    for (int i = 0; i < n; ++i) v[i] = store<Real>(mul_add(hw, v[i], cm));
  }
};

/// sums[i] = sum over j of a[j] T[j][i], j ascending.
template <class Real>
void combine(int p, const Real* a, const Real* T, int count, int width, double* sums) noexcept {
  std::fill_n(sums, count, 0.0);
  for (int j = 0; j <= p; ++j, T += width) V_axpy(a[j], T, sums, count);
}

/// The mapped abscissae of a fit as the design takes them: moved into -1..1; one beyond the band repeats
/// the one before it.
template <class Real>
void design_points(const Real* x, int count, double* t, double& before) noexcept {
  for (int i = 0; i < count; ++i) {
    if (!outside_chebyshev_band(x[i])) before = clamp_to_reference(x[i]);
    t[i] = before;
  }
}

template <class Real>
int AX_polapxcoef(int p, int m, Real* x, const Real* y, Real* a) noexcept {
  if (p < 2 || p >= m) return AX_POLAPXCOEF_FAILED;
  constexpr double separation =
      2e-5;  // Deliberate: in the double twin too. Fits of both refuse the same data.
  const PolynomialMapping map{store<double>((Wide(x[m - 1]) + x[0]) * Wide(0.5)),
                              store<double>((Wide(x[m - 1]) - x[0]) * Wide(0.5))};
  map.onto(x, m);
  if (x[0] < -1) x[0] = -1;
  if (x[p - 1] > 1) x[p - 1] = 1;  // Deliberate: p - 1, not m - 1. Callers rely on the stored x.
  for (int i = 1; i < m; ++i)
    if (!(x[i] - separation >= x[i - 1])) return AX_POLAPXCOEF_BAD_ABSCISSAE;  // NaN fails too

  const int unknowns = p + 1, width = std::min(m, chebyshev_block);
  const CArray<Real*> table = c_array<Real*>(std::ptrdiff_t(unknowns) + 1);
  const CArray<Real> block = c_array<Real>(table ? (std::ptrdiff_t(unknowns) + 1) * m : -1);
  const CArray<Real> T = c_array<Real>(block ? std::ptrdiff_t(unknowns) * width : -1);
  if (!T) return AX_POLAPXCOEF_FAILED;
  M_storec(block.get(), m, unknowns + 1, table.get());
  Real* solution = table[unknowns];
  V_copy(y, solution, m);

  double t[chebyshev_block], before = -1.0;
  for (int i0 = 0; i0 < m; i0 += width) {
    const int count = std::min(width, m - i0);
    design_points(x + i0, count, t, before);
    chebyshev_values(p, t, count, width, T.get());
    for (int j = 0; j <= p; ++j) V_copy(T.get() + std::ptrdiff_t(j) * width, table[j] + i0, count);
  }

  Real squared_norm;
  const int status = Ls(table.get(), m, unknowns, &squared_norm);
  if (status != 0) return status;  // Deliberate: x stays mapped, as after -2. Hosts pass a copy.
  V_copy(solution, a, unknowns);

  Residuals residuals;
  double f[chebyshev_block];
  before = -1.0;
  for (int i0 = 0; i0 < m; i0 += width) {
    const int count = std::min(width, m - i0);
    design_points(x + i0, count, t, before);
    chebyshev_values(p, t, count, width, T.get());
    combine(p, a, T.get(), count, width, f);
    for (int i = 0; i < count; ++i)
      residuals.add(f[i], y[i0 + i], [](double r, double greatest) { return !(greatest >= r); });
  }
  a[p + 1] = store<Real>(map.cm);
  a[p + 2] = store<Real>(map.hw);
  a[p + 3] = store<Real>(residuals.rms(m));
  a[p + 4] = store<Real>(residuals.greatest);
  map.back(x, m);
  return AX_POLAPXCOEF_OK;
}

template <class Real>
int AX_polapxval(int p, const Real* a, int k, Real* v, Real* s, Real* s1, Real* s2) noexcept {
  const PolynomialMapping map{a[p + 1], a[p + 2]};
  map.onto(v, k);
  // Deliberate: v is mapped before anything is refused, and stays so. Hosts pass a copy.
  if (!s && !s1 && !s2) return AX_POLAPXVAL_NO_OUTPUT;

  // Values are always formed, and first derivatives where second ones are wanted.
  const int width = std::clamp(k, 1, chebyshev_block);
  const std::ptrdiff_t size = std::ptrdiff_t(std::max(p, 1) + std::ptrdiff_t(1)) * width;
  const CArray<Real> T = c_array<Real>(size);
  const CArray<Real> T1 = c_array<Real>(T && (s1 || s2) ? size : -1);
  const CArray<Real> T2 = c_array<Real>(T1 && s2 ? size : -1);
  if (!T || ((s1 || s2) && !T1) || (s2 && !T2)) return AX_POLAPXVAL_NO_MEMORY;

  double t[chebyshev_block], sums[chebyshev_block];
  for (int i0 = 0; i0 < k; i0 += width) {
    const int wanted = std::min(width, k - i0);
    int count = 0;  // points before the first that is refused
    while (count < wanted && p >= 0 && !outside_chebyshev_band(v[i0 + count])) {
      t[count] = clamp_to_reference(v[i0 + count]);
      ++count;
    }
    const auto put = [&](const Real* rows, Real* out, Wide unit) {
      combine(p, a, rows, count, width, sums);
      for (int i = 0; i < count; ++i) out[i0 + i] = store<Real>(sums[i] / unit);
    };
    chebyshev_values(p, t, count, width, T.get());
    if (s) put(T.get(), s, 1);
    if (T1) chebyshev_derivatives(p, T.get(), count, width, T1.get());
    if (s1) put(T1.get(), s1, map.hw);
    if (T2) chebyshev_derivatives(p, T1.get(), count, width, T2.get());
    if (s2) put(T2.get(), s2, Wide(map.hw) * map.hw);
    if (count < wanted) return AX_POLAPXVAL_OUT_OF_RANGE;
  }
  map.back(v, k);
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

// lin/linear_interpolation.cpp - piecewise-linear interpolation at one abscissa and at many.
#include "tabfit/approximation.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "lin/piecewise.hpp"

namespace tabfit {
namespace {

/// The line through (x[i], y[i]) and (x[i+1], y[i+1]); the ordinate alone on the last node.
template <class Real>
struct Line {
  const Real *x, *y;
  int n;
  double x0 = 0.0, y0 = 0.0;
  Wide slope = 0.0;
  bool on_last = false;

  bool select(int i) noexcept {
    x0 = x[i];
    y0 = y[i];
    on_last = i == n - 1;
    if (on_last) return true;
    const double h = double(x[i + 1]) - x[i];
    if (!(h >= Tolerance<Real>::node)) return false;  // NaN fails too
    slope = (Wide(y[i + 1]) - y[i]) / h;
    return true;
  }

  double operator()(double t) const noexcept {
    if (on_last) return y0;
    return store<double>((Wide(t) - x0) * slope + y0);
  }
};

template <class Real>
int AX_lintval(int n, const Real* x, const Real* y, double t, double* result) noexcept {
  if (n < 2) return AX_LINTVAL_BAD_SIZE;
  Line<Real> line{x, y, n};
  const bool done =
      evaluate_point(NodeTable<Real>{x, n}, t, line, [&](double u) { *result = line(u); });
  return done ? AX_LINTVAL_OK : AX_LINTVAL_NO_INTERVAL;
}

template <class Real>
int AX_linttab(int n, const Real* x, const Real* y, int m, const Real* t, Real* out) noexcept {
  if (n < 2 || m < 1) return AX_LINTTAB_BAD_SIZE;
  const NodeTable<Real> nodes{x, n};
  Line<Real> line{x, y, n};
  const bool apart = m >= n / 16 && nodes.apart();  // the pass over the nodes must pay
  const bool done = evaluate_points(
      nodes, apart, t, m, line, [&](int j, double u) { out[j] = store<Real>(line(u)); },
      [&](const std::int32_t* k, const Real* u, int count, int j) {
        return kernels().of<Real>().line(x, y, k, u, count, out + j);
      });
  return done ? AX_LINTTAB_OK : AX_LINTTAB_NO_INTERVAL;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int AX_lintvalf(int n, const float* x, const float* y, double t, double* result) noexcept {
  return tabfit::AX_lintval(n, x, y, t, result);
}
int AX_lintvald(int n, const double* x, const double* y, double t, double* result) noexcept {
  return tabfit::AX_lintval(n, x, y, t, result);
}

int AX_linttabf(int n, const float* x, const float* y, int m, const float* t, float* out) noexcept {
  return tabfit::AX_linttab(n, x, y, m, t, out);
}
int AX_linttabd(int n, const double* x, const double* y, int m, const double* t, double* out) noexcept {
  return tabfit::AX_linttab(n, x, y, m, t, out);
}

}  // extern "C"

// appx/cubic_spline.cpp - interpolating cubic spline: build, one point, a table of points.
#include "tabfit/approximation.h"

#include "kernels/lanes/choice.hpp"
#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "lin/piecewise.hpp"

namespace tabfit {
namespace {

/// The right-hand sides of the two end rows, from the third divided difference nearest to each end;
/// n > 3. On entry c[i] is the slope to the right of x[i] less the slope to its left.
template <class Real>
void third_difference_ends(const Real* x, Real* c, const Real* d, int n) noexcept {
  const auto width = [x](int i, int j) { return Wide(x[j]) - x[i]; };
  c[0] = store<Real>(c[2] / width(1, 3) - c[1] / width(0, 2));
  c[n - 1] = store<Real>(c[n - 2] / width(n - 3, n - 1) - c[n - 3] / width(n - 4, n - 2));
  c[0] = store<Real>(Wide(c[0]) * d[0] * d[0] / width(0, 3));
  // Deliberate: no change of sign, which would mirror the left end. So the third derivative at the
  // right end has the wrong sign.
  c[n - 1] = store<Real>(Wide(c[n - 1]) * d[n - 2] * d[n - 2] / width(n - 4, n - 1));
}

// Until the system is solved, b holds its diagonal, d its off-diagonal (the widths of the intervals)
// and c its right-hand side. The unknowns are sixths of the second derivatives.
template <class Real>
int AX_intspl3(const Real* x, Real* C, int n) noexcept {
  if (n < 2) return AX_INTSPL3_BAD_SIZE;
  constexpr double tol = Tolerance<Real>::node;
  const ElementKernels<Real>& kernel = kernels().of<Real>();
  const Real* y = C;
  Real *b = C + n, *c = b + n, *d = c + n;
  const auto slope = [&](int i) { return (Wide(y[i + 1]) - y[i]) / d[i]; };

  const double h = double(x[1]) - x[0];
  d[0] = store<Real>(h);
  if (!(h >= tol)) return AX_INTSPL3_BAD_NODES;  // NaN fails too
  if (n == 2) {
    b[0] = b[1] = store<Real>((Wide(y[1]) - y[0]) / (Wide(x[1]) - x[0]));
    c[0] = c[1] = d[0] = d[1] = 0;
    return AX_INTSPL3_OK;
  }

  c[1] = store<Real>(slope(0));
  for (int i = 1; i < n - 1; ++i) {
    d[i] = store<Real>(double(x[i + 1]) - x[i]);
    if (!(d[i] >= tol)) return AX_INTSPL3_BAD_NODES;  // NaN fails too
    b[i] = store<Real>(2 * (Wide(d[i - 1]) + d[i]));
    c[i + 1] = store<Real>(slope(i));
    c[i] = store<Real>(double(c[i + 1]) - c[i]);
  }
  b[0] = -d[0];
  b[n - 1] = -d[n - 2];
  c[0] = c[n - 1] = 0;
  if (n > 3) third_difference_ends(x, c, d, n);

  // No pivoting: every row but the two at the ends is diagonally dominant.
  kernel.eliminate(b, c, d, n - 1);

  const Real right = c[n - 1] = store<Real>(double(c[n - 1]) / b[n - 1]);
  const Wide rise = slope(n - 2);
  const Real width = d[n - 2];
  const Real left = kernel.substitute(y, b, c, d, n - 2, right);
  b[n - 1] = store<Real>(rise + width * (left + 2 * Wide(right)));
  c[n - 1] = store<Real>(3 * double(c[n - 1]));
  d[n - 1] = d[n - 2];
  return AX_INTSPL3_OK;
}

/// y + b t + c t^2 + d t^3 with its derivatives, t = u - x[i].
template <class Real>
struct Cubic {
  const Real *x, *C;
  int n;
  const Real *B = C + n, *C2 = B + n, *D = C2 + n;
  double x0 = 0.0;
  Wide y = 0.0, b = 0.0, c = 0.0, d = 0.0;

  bool select(int i) noexcept {
    x0 = x[i];
    y = C[i];
    b = B[i];
    c = C2[i];
    d = D[i];
    return true;
  }

  double value(double t) const noexcept { return store<double>(((t * d + c) * t + b) * t + y); }
  double slope(double t) const noexcept { return store<double>((2 * c + 3 * d * t) * t + b); }
  double curvature(double t) const noexcept { return store<double>(2 * c + 6 * d * t); }
};

template <class Real>
int AX_intspl3val(const Real* x, const Real* C, int n, double u, double* s, double* s1,
                  double* s2) noexcept {
  Cubic<Real> cubic{x, C, n};
  const bool done = evaluate_point(NodeTable<Real>{x, n}, u, cubic, [&](double v) {
    const double t = v - cubic.x0;
    *s = cubic.value(t);
    *s1 = cubic.slope(t);
    *s2 = cubic.curvature(t);
  });
  return done ? AX_INTSPL3VAL_OK : AX_INTSPL3VAL_OUT_OF_RANGE;
}

template <class Real>
int AX_intspl3tab(const Real* x, Real* C, int n, int m, const Real* u, Real* s, Real* s1,
                  Real* s2) noexcept {
  if (n < 2 || m < 1) return AX_INTSPL3TAB_BAD_SIZE;
  const int built = AX_intspl3(x, C, n);
  if (built != AX_INTSPL3_OK) return built;

  Cubic<Real> cubic{x, C, n};
  const auto from = [](Real* out, int j) { return out ? out + j : nullptr; };
  const bool done = evaluate_points(
      NodeTable<Real>{x, n}, true, u, m, cubic,
      [&](int j, double v) {
        const double t = v - cubic.x0;
        if (s) s[j] = store<Real>(cubic.value(t));
        if (s1) s1[j] = store<Real>(cubic.slope(t));
        if (s2) s2[j] = store<Real>(cubic.curvature(t));
      },
      [&](const std::int32_t* k, const Real* v, int count, int j) {
        return kernels().of<Real>().cubic(x, C, n, k, v, count, from(s, j), from(s1, j), from(s2, j));
      });
  return done ? AX_INTSPL3TAB_OK : AX_INTSPL3TAB_OUT_OF_RANGE;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int AX_intspl3f(const float* x, float* C, int n) noexcept { return tabfit::AX_intspl3(x, C, n); }
int AX_intspl3d(const double* x, double* C, int n) noexcept { return tabfit::AX_intspl3(x, C, n); }

int AX_intspl3valf(const float* x, const float* C, int n, double u, double* s, double* s1,
                   double* s2) noexcept {
  return tabfit::AX_intspl3val(x, C, n, u, s, s1, s2);
}
int AX_intspl3vald(const double* x, const double* C, int n, double u, double* s, double* s1,
                   double* s2) noexcept {
  return tabfit::AX_intspl3val(x, C, n, u, s, s1, s2);
}

int AX_intspl3tabf(const float* x, float* C, int n, int m, const float* u, float* s, float* s1,
                   float* s2) noexcept {
  return tabfit::AX_intspl3tab(x, C, n, m, u, s, s1, s2);
}
int AX_intspl3tabd(const double* x, double* C, int n, int m, const double* u, double* s, double* s1,
                   double* s2) noexcept {
  return tabfit::AX_intspl3tab(x, C, n, m, u, s, s1, s2);
}

}  // extern "C"

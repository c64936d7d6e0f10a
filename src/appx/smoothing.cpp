// appx/smoothing.cpp - smoothing by a spline of few knots, with fit statistics: at the data, at points.
#include "tabfit/approximation.h"

#include "kernels/scalar/scratch.hpp"

#include "appx/residuals.hpp"
#include "appx/spline_basis.hpp"
#include "appx/spline_fit.hpp"

namespace tabfit {
namespace {

/// Fits a spline of n interior knots to the data, hands its table and coefficients to
/// evaluate(T, a), and releases both.
template <class Real, class Evaluate>
int smooth(int n, int m, const Real* x, const Real* y, Evaluate evaluate) noexcept {
  BasisTable<Real> T(AX_d2fcs<Real>(n));
  CArray<Real> a = c_array<Real>(T ? std::ptrdiff_t(n) + 6 : -1);
  if (!a) return AX_SPLSMOO_NO_MEMORY;
  const int status = AX_apxcoef(T.get(), n, m, x, y, a.get());
  if (status != AX_APXCOEF_OK) {
    // Deliberate: table and coefficients stay allocated whatever refuses the fit: each refused call
    // leaks them.
    (void)a.release();
    (void)T.release();
    return status;
  }
  evaluate(T.get(), a.get());
  return AX_SPLSMOO_OK;
}

template <class Real>
int AX_splsmoo(int n, int m, const Real* x, const Real* y, Real* s, Real* s1, Real* s2) noexcept {
  if (n < 1 || n > std::ptrdiff_t(m) - 4) return AX_SPLSMOO_BAD_SIZE;
  return smooth(n, m, x, y, [&](Real* const* T, const Real* a) {
    AX_apxvals(T, n, a, m, x, s, s1, s2);
    Residuals residuals;
    residuals.add(s, y, m, Residuals::passes_over_nan);
    residuals.put(m, s + m);
  });
}

template <class Real>
int AX_splvals(int n, int m, const Real* x, const Real* y, int k, const Real* v, Real* s, Real* s1,
               Real* s2) noexcept {
  if (n < 1 || n > std::ptrdiff_t(m) - 4 || k < 1) return AX_SPLSMOO_BAD_SIZE;
  return smooth(n, m, x, y, [&](Real* const* T, const Real* a) {
    values_and_residuals(T, n, a, m, x, y, k, v, s, s1, s2);
  });
}

}  // namespace
}  // namespace tabfit

extern "C" {

int AX_splsmoof(int n, int m, const float* x, const float* y, float* s, float* s1, float* s2) noexcept {
  return tabfit::AX_splsmoo(n, m, x, y, s, s1, s2);
}
int AX_splsmood(int n, int m, const double* x, const double* y, double* s, double* s1,
                double* s2) noexcept {
  return tabfit::AX_splsmoo(n, m, x, y, s, s1, s2);
}

int AX_splvalsf(int n, int m, const float* x, const float* y, int k, const float* v, float* s,
                float* s1, float* s2) noexcept {
  return tabfit::AX_splvals(n, m, x, y, k, v, s, s1, s2);
}
int AX_splvalsd(int n, int m, const double* x, const double* y, int k, const double* v, double* s,
                double* s1, double* s2) noexcept {
  return tabfit::AX_splvals(n, m, x, y, k, v, s, s1, s2);
}

}  // extern "C"

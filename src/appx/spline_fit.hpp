// appx/spline_fit.hpp - what the fits in the space of the spline basis share: the mapping of the data
// onto the reference interval, the design matrix, the evaluation of a fit and of its residuals.
#pragma once

#include "kernels/points/points.hpp"
#include "kernels/scalar/arithmetic.hpp"

namespace tabfit {

/// u = (v - cm) / hw + 1: the data range onto 0..2.
template <class Real>
PointMapping spline_mapping(const Real* x, int m) noexcept {
  const double cm = store<double>((Wide(x[0]) + x[m - 1]) * Wide(0.5));
  return {cm, cm - x[0], 1.0};
}

/// Columns 0..n+3 of the design, m rows each: the basis functions at the mapped abscissae. A first
/// abscissa below 0 is moved onto 0, a last one above 2 onto 2. A row whose abscissa still lies outside
/// keeps what it held.
template <class Real>
void spline_design(Real* const* T, int n, int m, const Real* x, const PointMapping& map,
                   Real* const* design) noexcept;

/// Fits a spline to m points; tabfit/approximation.h says how.
template <class Real>
int AX_apxcoef(Real* const* T, int n, int m, const Real* x, const Real* y, Real* a) noexcept;

/// Evaluates a fit at k points; tabfit/approximation.h says how.
template <class Real>
int AX_apxvals(Real* const* T, int n, const Real* a, int k, const Real* v, Real* s, Real* s1,
               Real* s2) noexcept;

/// Evaluates a fit of the m points (x, y) at k points v; s[k] and s[k + 1] become its root mean square
/// and greatest residual. s first holds the values at the data: it has max(m, k + 2) elements.
template <class Real>
void values_and_residuals(Real* const* T, int n, const Real* a, int m, const Real* x, const Real* y,
                          int k, const Real* v, Real* s, Real* s1, Real* s2) noexcept;

}  // namespace tabfit

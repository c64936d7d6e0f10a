// kernels/points/spline.cpp - the formulas of the spline's system, in long double.
#include "kernels/points/spline.hpp"

#include "kernels/scalar/arithmetic.hpp"

namespace tabfit {

template <class Real>
Real SplineFormula<Real>::updated(Real a, double t, Real b) noexcept {
  return store<Real>(a - Wide(t) * b);
}

template <class Real>
Real SplineFormula<Real>::unknown(Real c, Real h, Real right, Real b) noexcept {
  return store<Real>((c - Wide(h) * right) / b);
}

template <class Real>
Real SplineFormula<Real>::cubic(Real h, Real left, Real right) noexcept {
  return store<Real>((Wide(right) - left) / h);
}

template <class Real>
Real SplineFormula<Real>::slope(const Real* y, Real h, Real left, Real right) noexcept {
  return store<Real>((Wide(y[1]) - y[0]) / h - h * (right + 2 * Wide(left)));
}

template struct SplineFormula<float>;
template struct SplineFormula<double>;

}  // namespace tabfit

// kernels/points/spline_plain.hpp - the spline's system as plain loops.
#pragma once

#include "kernels/points/spline.hpp"
#include "kernels/scalar/arithmetic.hpp"

namespace tabfit {
namespace {

template <class Real>
void eliminate(Real* b, Real* c, const Real* d, int last) noexcept {
  using Formula = SplineFormula<Real>;
  for (int i = 1; i <= last; ++i) {
    const double t = double(d[i - 1]) / b[i - 1];
    b[i] = Formula::updated(b[i], t, d[i - 1]);
    c[i] = Formula::updated(c[i], t, c[i - 1]);
  }
}

// Each unknown waits for the next one; the coefficients of its interval fill the time.
template <class Real>
Real substitute(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept {
  using Formula = SplineFormula<Real>;
  Real topmost = right;
  for (int i = last; i >= 0; --i) {
    const Real h = d[i], left = Formula::unknown(c[i], h, right, b[i]);
    b[i] = Formula::slope(y + i, h, left, right);
    d[i] = Formula::cubic(h, left, right);
    c[i] = store<Real>(3 * double(left));
    if (i == last) topmost = left;
    right = left;
  }
  return topmost;
}

}  // namespace
}  // namespace tabfit

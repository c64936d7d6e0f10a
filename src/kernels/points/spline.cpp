// kernels/points/spline.cpp - the spline's system as plain loops, and the choice of kernels.
#include "kernels/points/spline.hpp"

#include "kernels/lanes/choice.hpp"
#include "kernels/scalar/arithmetic.hpp"

#include <cfloat>

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

template <>
const SplineKernels<float> SplineKernels<float>::plain = {tabfit::eliminate<float>,
                                                          tabfit::substitute<float>};
template <>
const SplineKernels<double> SplineKernels<double>::plain = {tabfit::eliminate<double>,
                                                            tabfit::substitute<double>};

template <class Real>
const SplineKernels<Real>& spline_kernels() noexcept {
#if defined(TABFIT_X86_KERNELS)
  // Whether a result in double is that of long double is decided for a significand of 64 bits.
  if (LDBL_MANT_DIG >= 64 && instruction_set() >= 1) return SplineKernels<Real>::avx2;
#endif
  return SplineKernels<Real>::plain;
}
template const SplineKernels<float>& spline_kernels() noexcept;
template const SplineKernels<double>& spline_kernels() noexcept;

}  // namespace tabfit

// kernels/points/spline.hpp - the tridiagonal system of an interpolating cubic spline, and its solution.
//
// Each formula below is one of long double, rounded once to Real where it is kept. On a processor with
// fused multiply-adds a formula is first evaluated in double, with what its roundings left over, and
// is kept when no long double within the formula's own roundings of it would have been rounded to
// another Real; the rest are evaluated in long double. The bits are those of the plain loops.
#pragma once

namespace tabfit {

/// The formulas, in long double. In row i, h is the width of the interval to its right, left and right
/// are the unknowns of rows i and i + 1.
template <class Real>
struct SplineFormula {
  static Real updated(Real a, double t, Real b) noexcept;                    ///< a - t b
  static Real unknown(Real c, Real h, Real right, Real b) noexcept;          ///< (c - h right) / b
  static Real cubic(Real h, Real left, Real right) noexcept;                 ///< (right - left) / h
  static Real slope(const Real* y, Real h, Real left, Real right) noexcept;  ///< see substitute()
};
extern template struct SplineFormula<float>;
extern template struct SplineFormula<double>;

/// The system with diagonal b, off-diagonal d and right-hand side c.
template <class Real>
struct SplineKernels {
  /// To upper bidiagonal form, rows 1..last ascending: t = d[i-1] / b[i-1], rounded to double,
  /// b[i] = b[i] - t d[i-1], c[i] = c[i] - t c[i-1].
  void (*eliminate)(Real* b, Real* c, const Real* d, int last) noexcept;

  /// Solves that form, rows last..0 descending, and puts the coefficients of the interval to the right of y[i]
  /// and of width h = d[i] in the place of row i. `right` is the unknown of row last + 1; gives that of
  /// row last.
  ///
  ///   left = (c[i] - h right) / b[i]
  ///   b[i] = (y[i+1] - y[i]) / h - h (right + 2 left)
  ///   c[i] = 3 left     d[i] = (right - left) / h
  Real (*substitute)(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept;

  /// Plain loops, for every processor.
  static const SplineKernels plain;
  /// Four rows side by side, where this library is built for processors that may have the vectors.
  static const SplineKernels avx2;
};
template <>
const SplineKernels<float> SplineKernels<float>::plain;
template <>
const SplineKernels<double> SplineKernels<double>::plain;
template <>
const SplineKernels<float> SplineKernels<float>::avx2;
template <>
const SplineKernels<double> SplineKernels<double>::avx2;

/// The best that this processor runs, none wider than TABFIT_WIDEST_KERNELS.
template <class Real>
const SplineKernels<Real>& spline_kernels() noexcept;

}  // namespace tabfit

// kernels/points/spline.hpp - the tridiagonal system of an interpolating cubic spline, and its
// solution.
//
// The formulas are documented in long double, rounded once to Real. spline_plain.hpp evaluates them so,
// row by row; spline_lanes.hpp four rows at a time, with the same bits.
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

}  // namespace tabfit

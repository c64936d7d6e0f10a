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

/// Kernels eliminate and substitute, four rows side by side, for processors with AVX2.
void eliminate_fours(float* b, float* c, const float* d, int last) noexcept;
void eliminate_fours(double* b, double* c, const double* d, int last) noexcept;
float substitute_fours(const float* y, float* b, float* c, float* d, int last, float right) noexcept;
double substitute_fours(const double* y, double* b, double* c, double* d, int last,
                        double right) noexcept;

}  // namespace tabfit

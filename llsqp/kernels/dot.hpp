// llsqp/kernels/dot.hpp - sums of products, one and panels of them side by side; multiples added.
#pragma once

namespace tabfit {

/// Sum of x[i] y[i], i ascending, in one double; 0 for n <= 0.
///
/// Order: every step is one fused multiply-add, so the result is that of the plain loop
///        sum = mul_add(x[i], y[i], sum) on every processor.
template <class Real>
double V_dot(const Real* x, const Real* y, int n) noexcept;
template <>
double V_dot(const float* x, const float* y, int n) noexcept;
template <>
double V_dot(const double* x, const double* y, int n) noexcept;

/// Sum of squares of x.
template <class Real>
double V_sumsq(const Real* x, int n) noexcept {
  return V_dot(x, x, n);
}

/// y[i] = y[i] + t u[i], each one fused multiply-add, rounded to Y; u and y do not overlap. Elements of
/// one type, or sums kept in double.
template <class U, class Y>
void V_axpy(double t, const U* u, Y* y, int n) noexcept;

/// w[i] = x[i] y[i] - z[i], each one fused multiply-add, rounded to Real: the step of a three-term
/// recurrence for n points side by side. w overlaps no other.
template <class Real>
void V_recur(const double* x, const Real* y, const Real* z, Real* w, int n) noexcept;

/// Sums that stand side by side in a panel, and panels that share their left factor.
inline constexpr int panel_rows = 32, panel_columns = 16;

/// sum[c][r] += P[l][r] Q[l][c] for l = 0..depth-1 in turn, r < rows, c < columns.
///
/// Why:       a sum may not be split, and one alone waits for its own last step; neighbouring sums do
///            not wait for each other.
/// Shape:     P is [depth][panel_rows], Q [depth][panel_columns], sum [columns][panel_rows]; none
///            overlap. rows <= panel_rows, columns <= panel_columns.
/// Invariant: sum[c][r] holds its terms before l.
/// Order:     l ascending in every sum, each step one fused multiply-add: the plain loop's bits.
void panel_sums(const double* P, const double* Q, int rows, int columns, int depth,
                double* sum) noexcept;

}  // namespace tabfit

// kernels/sums/dot.hpp - one sum of products; multiples added.
#pragma once

#include "kernels/lanes/choice.hpp"

#include <type_traits>

namespace tabfit {

/// Sum of x[i] y[i], i ascending, in one double; 0 for n <= 0.
///
/// Order: every step is one fused multiply-add, so the result is that of the plain loop
///        sum = mul_add(x[i], y[i], sum) on every processor.
template <class Real>
double V_dot(const Real* x, const Real* y, int n) noexcept {
  return kernels().of<Real>().dot(x, y, n, 0.0);
}

/// sum + x[0] x[0] + x[1] x[1] + ..., likewise.
inline double V_addsq(const double* x, int n, double sum) noexcept {
  return kernels().d.dot(x, x, n, sum);
}

/// Sum of squares of x.
template <class Real>
double V_sumsq(const Real* x, int n) noexcept {
  return V_dot(x, x, n);
}

/// y[i] = y[i] + t u[i], each one fused multiply-add, rounded to Y; u and y do not overlap. Y may be
/// narrower than U.
template <class U, class Y>
void V_axpy(double t, const U* u, Y* y, int n) noexcept {
  if constexpr (std::is_same_v<U, Y>)
    kernels().of<Y>().axpy(t, u, y, n);
  else
    kernels().of<Y>().axpy_of_doubles(t, u, y, n);
}

}  // namespace tabfit

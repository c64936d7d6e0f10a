// kernels/sums/dot.cpp - sums of products, multiples added.
#include "kernels/sums/dot.hpp"

#include "kernels/lanes/choice.hpp"
#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/panel.hpp"

#include <type_traits>

// The baseline of x86-64 has no fused instruction, and std::fma is a call into the run-time library
// there. Each body is compiled once more for processors that have one, with wider vectors; every step
// is the same fused operation, so the results are the same bits.
#if defined(__x86_64__) && !defined(__FMA__)
#define TABFIT_KERNEL_CHOICE 1
#endif

namespace tabfit {
namespace {

template <class Real>
[[gnu::always_inline]] inline double dot(const Real* x, const Real* y, int n,
                                         double sum = 0.0) noexcept {
  for (int i = 0; i < n; ++i) sum = mul_add(x[i], y[i], sum);
  return sum;
}

template <class U, class Y>
[[gnu::always_inline]] inline void axpy(double t, const U* __restrict u, Y* __restrict y,
                                        int n) noexcept {
  for (int i = 0; i < n; ++i) y[i] = store<Y>(mul_add(t, u[i], y[i]));
}

#ifdef TABFIT_KERNEL_CHOICE
[[gnu::target("avx2,fma")]] double dot_avx2(const double* x, const double* y, int n,
                                            double sum) noexcept {
  return dot(x, y, n, sum);
}
template <class U, class Y>
[[gnu::target("avx2,fma")]] void axpy_avx2(double t, const U* u, Y* y, int n) noexcept {
  axpy(t, u, y, n);
}
#endif

}  // namespace

template <>
double V_dot(const float* x, const float* y, int n) noexcept {
  return dot(x, y, n);
}

template <>
double V_dot(const double* x, const double* y, int n) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (instruction_set() >= 1) return dot_avx2(x, y, n, 0.0);
#endif
  return dot(x, y, n);
}

double V_addsq(const double* x, int n, double sum) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (instruction_set() >= 1) return dot_avx2(x, x, n, sum);
#endif
  return dot(x, x, n, sum);
}

template <class U, class Y>
void V_axpy(double t, const U* u, Y* y, int n) noexcept {
  if constexpr (std::is_same_v<U, Y>) return kernels().of<Y>().axpy(t, u, y, n);
#ifdef TABFIT_KERNEL_CHOICE
  if (instruction_set() >= 1) return axpy_avx2(t, u, y, n);
#endif
  axpy(t, u, y, n);
}
template void V_axpy(double, const float*, float*, int) noexcept;
template void V_axpy(double, const double*, float*, int) noexcept;
template void V_axpy(double, const double*, double*, int) noexcept;

}  // namespace tabfit

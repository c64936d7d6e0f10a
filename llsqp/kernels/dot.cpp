// llsqp/kernels/dot.cpp - sums of products, multiples added; the only file that knows the processor.
#include "llsqp/kernels/dot.hpp"

#include "llsqp/kernels/arithmetic.hpp"

// The baseline of x86-64 has no fused instruction, and std::fma is a call into the run-time library
// there. Each body is compiled once more for processors that have one, with wider vectors; every step
// is the same fused operation, so the results are the same bits.
#if defined(__x86_64__) && !defined(__FMA__)
#define TABFIT_KERNEL_CHOICE 1
#endif

namespace tabfit {
namespace {

template <class Real>
[[gnu::always_inline]] inline double dot(const Real* x, const Real* y, int n) noexcept {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum = mul_add(x[i], y[i], sum);
  return sum;
}

template <class U, class Y>
[[gnu::always_inline]] inline void axpy(double t, const U* __restrict u, Y* __restrict y,
                                        int n) noexcept {
  for (int i = 0; i < n; ++i) y[i] = store<Y>(mul_add(t, u[i], y[i]));
}

template <class Real>
[[gnu::always_inline]] inline void recur(const double* x, const Real* y, const Real* z,
                                         Real* __restrict w, int n) noexcept {
  for (int i = 0; i < n; ++i) w[i] = store<Real>(mul_add(x[i], y[i], -double(z[i])));
}

/// rows is a constant where the caller inlines this with one: the inner loop then has no remainder.
[[gnu::always_inline]] inline void sums(const double* __restrict P, const double* __restrict Q,
                                        int rows, int columns, int depth,
                                        double* __restrict sum) noexcept {
  for (int l = 0; l < depth; ++l, P += panel_rows, Q += panel_columns)
    for (int c = 0; c < columns; ++c)
      for (int r = 0; r < rows; ++r) {
        double& s = sum[c * panel_rows + r];
        s = mul_add(P[r], Q[c], s);
      }
}

[[gnu::always_inline]] inline void any_sums(const double* P, const double* Q, int rows, int columns,
                                            int depth, double* sum) noexcept {
  switch (rows) {
    case 8:
      return sums(P, Q, 8, columns, depth, sum);
    case 16:
      return sums(P, Q, 16, columns, depth, sum);
    case 24:
      return sums(P, Q, 24, columns, depth, sum);
    case 32:
      return sums(P, Q, 32, columns, depth, sum);
    default:
      return sums(P, Q, rows, columns, depth, sum);
  }
}

#ifdef TABFIT_KERNEL_CHOICE
[[gnu::target("avx2,fma")]] double dot_avx2(const double* x, const double* y, int n) noexcept {
  return dot(x, y, n);
}
template <class U, class Y>
[[gnu::target("avx2,fma")]] void axpy_avx2(double t, const U* u, Y* y, int n) noexcept {
  axpy(t, u, y, n);
}
template <class Real>
[[gnu::target("avx2,fma")]] void recur_avx2(const double* x, const Real* y, const Real* z, Real* w,
                                            int n) noexcept {
  recur(x, y, z, w, n);
}
[[gnu::target("avx2,fma")]] void sums_avx2(const double* P, const double* Q, int rows, int columns,
                                           int depth, double* sum) noexcept {
  any_sums(P, Q, rows, columns, depth, sum);
}
[[gnu::target("avx512f,avx2,fma")]] void sums_avx512(const double* P, const double* Q, int rows,
                                                     int columns, int depth, double* sum) noexcept {
  any_sums(P, Q, rows, columns, depth, sum);
}
bool has_avx2() noexcept { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }
bool has_avx512() noexcept { return __builtin_cpu_supports("avx512f"); }
#endif

}  // namespace

template <>
double V_dot(const float* x, const float* y, int n) noexcept {
  return dot(x, y, n);
}

template <>
double V_dot(const double* x, const double* y, int n) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (has_avx2()) return dot_avx2(x, y, n);
#endif
  return dot(x, y, n);
}

template <class U, class Y>
void V_axpy(double t, const U* u, Y* y, int n) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (has_avx2()) return axpy_avx2(t, u, y, n);
#endif
  axpy(t, u, y, n);
}
template void V_axpy(double, const float*, float*, int) noexcept;
template void V_axpy(double, const float*, double*, int) noexcept;
template void V_axpy(double, const double*, double*, int) noexcept;

template <class Real>
void V_recur(const double* x, const Real* y, const Real* z, Real* w, int n) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (has_avx2()) return recur_avx2(x, y, z, w, n);
#endif
  recur(x, y, z, w, n);
}
template void V_recur(const double*, const float*, const float*, float*, int) noexcept;
template void V_recur(const double*, const double*, const double*, double*, int) noexcept;

void panel_sums(const double* P, const double* Q, int rows, int columns, int depth,
                double* sum) noexcept {
#ifdef TABFIT_KERNEL_CHOICE
  if (has_avx512()) return sums_avx512(P, Q, rows, columns, depth, sum);
  if (has_avx2()) return sums_avx2(P, Q, rows, columns, depth, sum);
#endif
  any_sums(P, Q, rows, columns, depth, sum);
}

}  // namespace tabfit

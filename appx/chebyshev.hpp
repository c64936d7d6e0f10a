// appx/chebyshev.hpp - Chebyshev polynomials T[0..p] and their derivatives, at one point and at many.
#pragma once

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/dot.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tabfit {

/// |t| up to which a point counts as one of the reference interval -1..1. The same for both twins.
inline constexpr double chebyshev_band = 1.00002;

inline bool outside_chebyshev_band(double t) noexcept { return std::abs(t) > chebyshev_band; }

inline double clamp_to_reference(double t) noexcept {
  if (t > 1.0) t = 1.0;
  if (t < -1.0) t = -1.0;
  return t;
}

/// Points side by side in one block.
inline constexpr int chebyshev_block = 64;

/// T[j][i] = the polynomial of degree j at t[i], for j = 0..p, and at least 1. Rows of T are `width`
/// apart, i < count <= width and chebyshev_block.
///
/// Order: T[j] = 2 t T[j-1] - T[j-2], a fused step, rounded to Real as it is stored.
template <class Real>
void chebyshev_values(int p, const double* t, int count, int width, Real* T) noexcept {
  double twice[chebyshev_block];
  for (int i = 0; i < count; ++i) {
    T[i] = 1;
    T[width + i] = store<Real>(t[i]);
    twice[i] = 2.0 * t[i];
  }
  for (int j = 2; j <= p; ++j) {
    Real* row = T + std::ptrdiff_t(j) * width;
    V_recur(twice, row - width, row - 2 * std::ptrdiff_t(width), row, count);
  }
}

/// D[k][i] = k (2 c[k-1][i] + 2 c[k-3][i] + ...), the last term c[0] counted once: the derivatives of
/// what c holds values of, in the same shape.
///
/// Invariant: odd and even hold the sums over the rows of c so far, of either parity.
/// Order:     rows ascending in both, in double.
template <class Real>
void chebyshev_derivatives(int p, const Real* c, int count, int width, Real* D) noexcept {
  double even[chebyshev_block] = {}, odd[chebyshev_block] = {};
  for (int k = 0; k <= p; ++k, c += width, D += width) {
    const double* sum = k % 2 == 0 ? odd : even;
    for (int i = 0; i < count; ++i) D[i] = store<Real>(k * sum[i]);
    V_axpy(k == 0 ? 1.0 : 2.0, c, k % 2 == 0 ? even : odd, count);
  }
}

/// The derivative rule for one k: k times the sum over j = k-1, k-3, ..., of w c[j], w = 1 for j = 0 and
/// 2 otherwise; 0 for k = 0. Summed ascending.
template <class Real>
double P_chebder(int k, const Real* c) noexcept {
  double sum = 0.0;
  for (int j = (k + 1) % 2; j < k; j += 2) sum = mul_add(j == 0 ? 1.0 : 2.0, c[j], sum);
  return k * sum;
}

/// T[0..p] at t, and at least T[0..1]; T1, T2 first and second derivatives, or null; T2 only with T1.
/// 0, or 1 if |t| is beyond the band or p < 0, with nothing written.
template <class Real>
int P_cheb(int p, double t, Real* T, Real* T1, Real* T2) noexcept {
  if (outside_chebyshev_band(t) || p < 0) return 1;
  t = clamp_to_reference(t);
  chebyshev_values(p, &t, 1, 1, T);
  if (T1) chebyshev_derivatives(p, T, 1, 1, T1);
  if (T2) chebyshev_derivatives(p, T1, 1, 1, T2);
  return 0;
}

}  // namespace tabfit

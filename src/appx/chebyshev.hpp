// appx/chebyshev.hpp - Chebyshev polynomials T[0..p] and their derivatives at one point.
#pragma once

#include "kernels/points/points.hpp"
#include "kernels/scalar/arithmetic.hpp"

#include <cmath>

namespace tabfit {

/// A point with |t| up to this counts as a point of the reference interval -1..1, in both twins.
inline constexpr double chebyshev_band = 1.00002;

inline bool outside_chebyshev_band(double t) noexcept { return std::abs(t) > chebyshev_band; }

inline double clamp_to_reference(double t) noexcept {
  if (t > 1.0) t = 1.0;
  if (t < -1.0) t = -1.0;
  return t;
}

// P_chebder and P_cheb take one point: the polynomials as they are defined, for tests and for reading.
// Fits hand many points to the kernels.

/// Derivative of polynomial k from the values c[j] of the polynomials below it: k times the sum of
/// w c[j], j = k-1, k-3, ..., summed ascending, with w = 1 for j = 0 and 2 otherwise; 0 for k = 0.
template <class Real>
double P_chebder(int k, const Real* c) noexcept {
  double sum = 0.0;
  for (int j = (k + 1) % 2; j < k; j += 2) sum = mul_add(j == 0 ? 1.0 : 2.0, c[j], sum);
  return k * sum;
}

/// T[0..p] at t, and at least T[0..1]. T1 and T2 are their first and second derivatives, or null; T2
/// needs T1. Returns 0; or 1, with nothing written, if |t| is beyond the band or p < 0.
template <class Real>
int P_cheb(int p, double t, Real* T, Real* T1, Real* T2) noexcept {
  if (outside_chebyshev_band(t) || p < 0) return 1;
  t = clamp_to_reference(t);
  const auto& kernel = kernels().of<Real>();
  constexpr const Real* none = nullptr;
  kernel.chebyshev(p, &t, 1, 1, T, none, nullptr);
  if (T1) kernel.chebyshev_derivatives(p, T, 1, 1, T1, none, nullptr);
  if (T2) kernel.chebyshev_derivatives(p, T1, 1, 1, T2, none, nullptr);
  return 0;
}

}  // namespace tabfit

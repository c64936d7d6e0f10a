// tabfit/long_sum.hpp - sums of products to twice the digits of double, for refinement; not for users.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "tabfit/residuals.hpp"

namespace tabfit::detail {

/// The leading 26 bits of a. Products of heads with heads, or with what a head leaves, are exact.
inline double head(double a) {
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(a) & 0xfffffffff8000000u);
}

/// sum += a; returns what the rounding took away. Every product that comes in is exact, so a compiler that
/// fuses it into the additions changes nothing.
inline double add_exactly(double &sum, double a) {
  const twofold exact = two_sum(sum, a);
  sum = exact.high;
  return exact.low;
}

/// A sum in three parts. The rounding of the first two goes into the last.
struct long_sum {
  double high = 0, middle = 0, low = 0;

  /// Adds a (b + b_rest).
  void add_product(double a, double b, double b_rest = 0) {
    const double ah = head(a), al = a - ah, bh = head(b), bl = b - bh;
    low += add_exactly(high, ah * bh);
    low += add_exactly(middle, ah * bl);
    low += add_exactly(middle, al * bh);
    low += al * bl + a * b_rest;
  }

  void add(double a) { low += add_exactly(high, a); }

  double value() const { return high + (middle + low); }
};

/// sum += a' (x + rest), n elements. Four sums run side by side.
inline void add_long_dot(const double *a, const double *x, const double *rest, int n, long_sum &sum) {
  double high[4] = {}, middle[4] = {}, low[4] = {};
  int i = 0;
  for (; i + 4 <= n; i += 4)
    for (int l = 0; l < 4; ++l) {
      const double ai = a[i + l], ah = head(ai), al = ai - ah;
      const double xh = head(x[i + l]), xl = x[i + l] - xh;
      low[l] += add_exactly(high[l], ah * xh) + add_exactly(middle[l], ah * xl) +
                add_exactly(middle[l], al * xh) + (al * xl + ai * rest[i + l]);
    }
  for (; i < n; ++i) sum.add_product(a[i], x[i], rest[i]);
  for (int l = 0; l < 4; ++l) {
    sum.add(high[l]);
    sum.add(middle[l]);
    sum.add(low[l]);
  }
}

/// y + rest -= a x for n elements. The error is of the order of 2^-79 of the terms.
inline void subtract_multiple(double a, const double *x, int n, double *y, double *rest) {
  const double ah = head(a), al = a - ah;
  for (int i = 0; i < n; ++i) {
    const double xh = head(x[i]), xl = x[i] - xh;
    rest[i] += add_exactly(y[i], -ah * xh) - (ah * xl + al * x[i]);
  }
}

}  // namespace tabfit::detail

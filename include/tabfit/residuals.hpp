// tabfit/residuals.hpp - residuals and gradients of a least-squares problem in doubled precision.
//
// A correction of a solution is worth what the residual behind it is worth, and the residual is a
// difference of nearly equal numbers. Here a product a x is split into parts of 24 bits whose products
// are exact, and a sum is a pair of doubles: what b - A x and A'r lose is some 2^-76 of their terms.
//
// Methods: Dekker, Numer. Math. 18 (1971), for products and sums; Bjorck, BIT 7 (1967), for what it is
// good for in least squares. Fused operations of a compiler do not harm these sums: the products are
// exact, so that a fused and a plain step give the same.
#pragma once

#include <span>
#include <vector>

#include "tabfit/orthogonal.hpp"

namespace tabfit::detail {

/// A number as the sum of two doubles. After cancellation the second need not be the smaller one.
struct twofold {
  double high = 0.0, low = 0.0;
  double value() const { return high + low; }
};

/// a + b as its rounded value and what that lacks. Knuth, The Art of Computer Programming, section
/// 4.2.2.
inline twofold two_sum(double a, double b) {
  const double s = a + b, b_part = s - a;
  return {s, (a - (s - b_part)) + (b - b_part)};
}

/// The upper 24 bits of x; x less these has the other 29.
inline double upper_half(double x) { return static_cast<double>(static_cast<float>(x)); }

/// sum += a x, where x is x_high + x_low with 24 bits in x_high.
inline void add_product(twofold &sum, double a, double x_high, double x_low) {
  const double a_high = upper_half(a), a_low = a - a_high;
  const twofold s = two_sum(sum.high, a_high * x_high);  // the product is exact
  sum.low += s.low + (a_low * x_low + a_low * x_high + a_high * x_low);
  sum.high = s.high;
}
inline void add_product(twofold &sum, double a, double x) {
  add_product(sum, a, upper_half(x), x - upper_half(x));
}

/// r += x a for columns of m elements, r as highs and lows apart.
inline void add_column(double x, const double *a, int m, double *high, double *low) {
  const double x_high = upper_half(x), x_low = x - x_high;
  int i = 0;
  for (; i + 4 <= m; i += 4) {
    twofold sum[4];
    for (int l = 0; l < 4; ++l) sum[l] = {high[i + l], low[i + l]};
    for (int l = 0; l < 4; ++l) add_product(sum[l], a[i + l], x_high, x_low);
    for (int l = 0; l < 4; ++l) high[i + l] = sum[l].high, low[i + l] = sum[l].low;
  }
  for (; i < m; ++i) {
    twofold sum{high[i], low[i]};
    add_product(sum, a[i], x_high, x_low);
    high[i] = sum.high, low[i] = sum.low;
  }
}

/// a'r, with r split into 24 bits and the rest.
inline twofold column_product(const double *a, const double *r_high, const double *r_low, int m) {
  twofold lanes[4];
  int i = 0;
  for (; i + 4 <= m; i += 4)
    for (int l = 0; l < 4; ++l) add_product(lanes[l], a[i + l], r_high[i + l], r_low[i + l]);
  for (; i < m; ++i) add_product(lanes[0], a[i], r_high[i], r_low[i]);
  for (int l = 1; l < 4; ++l) {
    add_product(lanes[0], lanes[l].high, 1.0);
    lanes[0].low += lanes[l].low;
  }
  return lanes[0];
}

}  // namespace tabfit::detail

// kernels/points/pairs.hpp - numbers of a hundred bits as sums of two doubles, in lanes.
//
// Sums and products of doubles are exact; those of pairs, and quotients, have relative errors below 2^-100
// where nothing cancels or underflows.
#pragma once

#include "kernels/lanes/lanes.hpp"

namespace tabfit {
namespace {

/// high + low: high is the number in double, or nearly so, and low what is missing.
struct Sum {
  Lanes high, low;
};

inline Sum sum_of(Lanes a, Lanes b) {
  const Lanes s = a + b, b_part = s - a;
  return {s, (a - (s - b_part)) + (b - b_part)};
}
inline Sum difference_of(Lanes a, Lanes b) {
  const Lanes s = a - b, b_part = s - a;
  return {s, (a - (s - b_part)) - (b + b_part)};
}
inline Sum product_of(Lanes a, Lanes b) {
  const Lanes p = a * b;
  return {p, fms(a, b, p)};
}
inline Sum product_of(Lanes a, Sum b) {
  const Lanes p = a * b.high;
  return {p, fma(a, b.low, fms(a, b.high, p))};
}
inline Sum product_of(Sum a, Sum b) {
  const Lanes p = a.high * b.high;
  return {p, fma(a.low, b.high, fma(a.high, b.low, fms(a.high, b.high, p)))};
}
inline Sum sum_of(Sum a, Sum b) {
  const Sum s = sum_of(a.high, b.high);
  return {s.high, s.low + (a.low + b.low)};
}
inline Sum difference_of(Sum a, Sum b) {
  const Sum s = difference_of(a.high, b.high);
  return {s.high, s.low + (a.low - b.low)};
}
/// (a + rest) / b, where rest is small against a, from 1 / b in double.
inline Sum quotient_of(Lanes a, Lanes rest, Lanes b, Lanes inverse) {
  const Lanes q = a * inverse;
  return {q, (fnma(q, b, a) + rest) * inverse};
}

/// The same number, with high its rounding.
inline Sum rounded(Sum a) {
  const Lanes r = a.high + a.low;
  return {r, a.low - (r - a.high)};
}

}  // namespace
}  // namespace tabfit

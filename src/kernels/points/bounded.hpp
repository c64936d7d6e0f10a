// kernels/points/bounded.hpp - numbers that carry a bound of how far the documented evaluation may be
// off.
//
// The documented evaluation rounds every step of a formula to long double, 64 bits or more. Here the
// same formula stands with the types below. An operator evaluates its step nearly exactly, and adds to
// the bound what the documented rounding may change. put() keeps a result where all numbers within the
// bound are stored as one. Nobody counts roundings by hand.
//
//   Exact      a double: an element, a constant
//   Known      a value that so many roundings may have changed, each by one share of it
//   Bounded    a value with a bound
//   Divisor    what a number is divided by, with its reciprocal
//
// Proof, for results in double. Rounding x to 64 bits changes it by at most 2^-64 |x|; a share is 1.01
// of that. Claim: after n steps the documented number is no further from high + low than
// (1 + 2^-36)^n bound / 1.01, which is less than the bound. Each operator states its terms; what they
// leave out is less than 2^-36 of the bound, and so the claim passes on from step to step:
//
//   - The bound is rounded: 2^-53 of it, twice.
//   - A low is less than 2^13 bounds: a sum or product of doubles leaves at most 2^-53 of high, which
//     is 2^11 shares, and lows add up as the bounds do. Its three roundings come to 2^-38 bounds.
//   - high takes the place of the value in a share: low and bound are 2^14 bounds, and 2^-64 of that is
//     nothing. A product of two lows is 2^-50 of one factor, a Known, times 2^13 bounds of the other.
//   - Products of two bounds: a Known is off by less than 2^-50 of itself.
//   - A low below 2^-960 is lost, at most 2^-1074 of it, 2^-973 once divided: a hundredth of `tiny` is
//     more. Every product and quotient adds `tiny` to its bound; from there it grows as bounds do.
//
// NaN or infinity in a step makes the value or the bound NaN or infinite, and put() refuses both.
//
// For results in float one double is fine enough. A share is then 1.01 * 2^-53: the step's rounding to
// double, with the documented one in the hundredth. The same proof holds, without low.
//
// tests/checks/bounds.py holds every operator to the claim, and shows that no term can be halved.
#pragma once

#include "kernels/lanes/lanes.hpp"
#include "kernels/scalar/arithmetic.hpp"

namespace tabfit {
namespace {

/// What is divided by, and its reciprocal in double. One outside 2^-100..2^100 makes every quotient
/// NaN.
struct Divisor {
  static constexpr int roundings = 1;  ///< of the reciprocal
  Lanes value, inverse;

  explicit Divisor(Lanes b) : value(b), inverse(Lanes::of(1.0) / b) {
    const Lanes size = magnitude(b);
    if (below(size, Lanes::of(0x1p-100)) | below(Lanes::of(0x1p100), size))
      inverse = Lanes::of(__builtin_nan(""));
  }
  explicit Divisor(double b) : Divisor(Lanes::of(b)) {}
  Lanes rest(Lanes q, Lanes a) const { return fnma(q, value, a); }  ///< a - q b
};
/// The same of a long double.
struct WideDivisor : Divisor {
  static constexpr int roundings = 2;
  Lanes low;

  explicit WideDivisor(Wide b)
      : Divisor(static_cast<double>(b)),
        low(Lanes::of(static_cast<double>(b - static_cast<double>(b)))) {}
  Lanes rest(Lanes q, Lanes a) const { return fnma(q, low, Divisor::rest(q, a)); }
};

/// What a result in Real is computed from.
template <class Real>
struct Value;

/// high + low: high is the number in double, or nearly so, and low what is missing. Sums and products
/// of highs are exact; a quotient is to 2^-104.
template <>
struct Value<double> {
  static constexpr double share = 0x1.03p-64;
  static constexpr int of_exact_sum = 0;  ///< shares that such a step adds
  static constexpr int of_quotient(int) { return 1; }
  Lanes high, low;

  Value() = default;
  Value(Lanes x) : Value(x, Lanes::zero()) {}
  Value(Lanes x, Lanes y) : high(x), low(y) {}
  static Value sum(Lanes a, Lanes b) {
    const Lanes s = a + b, part = s - a;
    return {s, (a - (s - part)) + (b - part)};
  }
  static Value ordered_sum(Lanes a, Lanes b) {
    const Lanes s = a + b;
    return {s, b - (s - a)};
  }
  static Value sum(Value a, Lanes b) {
    const Value s = sum(a.high, b);
    return {s.high, s.low + a.low};
  }
  static Value sum(Value a, Value b) {
    const Value s = sum(a.high, b.high);
    return {s.high, s.low + (a.low + b.low)};
  }
  static Value product(Lanes a, Lanes b) {
    const Lanes p = a * b;
    return {p, fms(a, b, p)};
  }
  static Value product(Lanes a, Value b) {
    const Lanes p = a * b.high;
    return {p, fma(a, b.low, fms(a, b.high, p))};
  }
  static Value product(Value a, Value b) {
    const Lanes p = a.high * b.high;
    return {p, fma(a.low, b.high, fma(a.high, b.low, fms(a.high, b.high, p)))};
  }
  static Value product(Value a, Lanes b) { return product(b, a); }
  template <class D>
  static Value quotient(Value a, const D& b) {
    const Lanes q = a.high * b.inverse;
    return {q, (b.rest(q, a.high) + a.low) * b.inverse};
  }
};

/// One double.
template <>
struct Value<float> {
  static constexpr double share = 0x1.03p-53;
  static constexpr int of_exact_sum = 1;
  static constexpr int of_quotient(int reciprocal) { return 1 + reciprocal; }
  Lanes high;

  Value() = default;
  Value(Lanes x) : high(x) {}
  static Value sum(Value a, Value b) { return {a.high + b.high}; }
  static Value ordered_sum(Value a, Value b) { return {a.high + b.high}; }
  static Value product(Value a, Value b) { return {a.high * b.high}; }
  static Value quotient(Value a, const Divisor& b) { return {a.high * b.inverse}; }
};

inline Lanes high_of(Lanes a) { return a; }
inline Lanes high_of(Value<double> a) { return a.high; }
inline Lanes high_of(Value<float> a) { return a.high; }

/// A value of which the documented number is off by at most so many shares.
template <class Real, int roundings, class V = Value<Real>>
struct Known {
  V value;
};

template <class Real>
using Exact = Known<Real, 0, Lanes>;

template <class Real>
struct Bounded {
  Value<Real> value;
  Lanes bound;
};

/// The same, with room for so many roundings.
template <int roundings, class Real, int k, class V>
inline Bounded<Real> bounded(Known<Real, k, V> a) {
  static_assert(roundings >= k);
  return {{a.value}, Lanes::of(roundings * Value<Real>::share) * magnitude(high_of(a.value))};
}

/// What underflow may take from a step.
constexpr double tiny = 0x1p-900;

template <class Real>
inline Lanes shares(int count) {
  return Lanes::of(count * Value<Real>::share);
}

inline Value<double> operator-(Value<double> a) { return {-a.high, -a.low}; }
inline Value<float> operator-(Value<float> a) { return {-a.high}; }

// -- sums: off by both bounds; the rounding is one share of the sum ----------------------------------

template <class Real>
inline Known<Real, 1> operator+(Exact<Real> a, Exact<Real> b) {
  return {Value<Real>::sum(a.value, b.value)};
}
template <class Real>
inline Known<Real, 1> operator-(Exact<Real> a, Exact<Real> b) {
  return {Value<Real>::sum(a.value, -b.value)};
}
template <class Real>
inline Exact<Real> operator-(Exact<Real> a) {
  return {-a.value};
}
/// a + b where 64 bits hold it, and |a| >= |b|.
template <class Real>
inline Known<Real, Value<Real>::of_exact_sum> exact_sum(Exact<Real> a, Exact<Real> b) {
  return {Value<Real>::ordered_sum(a.value, b.value)};
}
template <class Real>
inline Bounded<Real> operator-(Bounded<Real> a) {
  return {-a.value, a.bound};
}
template <class Real>
inline Bounded<Real> operator+(Bounded<Real> a, Exact<Real> b) {
  const auto s = Value<Real>::sum(a.value, b.value);
  return {s, fma(shares<Real>(1), magnitude(s.high), a.bound)};
}
template <class Real>
inline Bounded<Real> operator+(Bounded<Real> a, Bounded<Real> b) {
  const auto s = Value<Real>::sum(a.value, b.value);
  return {s, fma(shares<Real>(1), magnitude(s.high), a.bound + b.bound)};
}
template <class Real>
inline Bounded<Real> operator-(Bounded<Real> a, Exact<Real> b) {
  return a + Exact<Real>{-b.value};
}
template <class Real>
inline Bounded<Real> operator-(Exact<Real> a, Bounded<Real> b) {
  return -b + a;
}
template <class Real>
inline Bounded<Real> operator-(Bounded<Real> a, Bounded<Real> b) {
  return a + -b;
}

// -- products: off by |b| times the bound of a; the roundings of b and of the product are shares of it

template <class Real, int k, class V>
inline Bounded<Real> operator*(Exact<Real> a, Known<Real, k, V> b) {
  const auto p = Value<Real>::product(a.value, b.value);
  return {p, fma(shares<Real>(k + 1), magnitude(p.high), Lanes::of(tiny))};
}
template <class Real, int k, class V>
inline Bounded<Real> operator*(Bounded<Real> a, Known<Real, k, V> b) {
  const auto p = Value<Real>::product(a.value, b.value);
  const Lanes own = fma(shares<Real>(k + 1), magnitude(p.high), Lanes::of(tiny));
  return {p, fma(a.bound, magnitude(high_of(b.value)), own)};
}
/// a b as a factor of others. For places and widths only, products of which do not underflow.
template <class Real, int j, class V, int k, class W>
inline Known<Real, j + k + 1> weight(Known<Real, j, V> a, Known<Real, k, W> b) {
  return {Value<Real>::product(a.value, b.value)};
}

// -- quotients: off by the bound of a over |b|; the roundings of a and of the quotient are its shares

template <class Real, int k, class V, class D>
inline Bounded<Real> operator/(Known<Real, k, V> a, const D& b) {
  const auto q = Value<Real>::quotient(a.value, b);
  return {q, fma(shares<Real>(k + Value<Real>::of_quotient(D::roundings)), magnitude(q.high),
                 Lanes::of(tiny))};
}
template <class Real, class D>
inline Bounded<Real> operator/(Bounded<Real> a, const D& b) {
  const auto q = Value<Real>::quotient(a.value, b);
  const Lanes own =
      fma(shares<Real>(Value<Real>::of_quotient(D::roundings)), magnitude(q.high), Lanes::of(tiny));
  return {q, fma(a.bound, magnitude(b.inverse), own)};
}

// -- results ------------------------------------------------------------------------------------------

/// The least and the greatest result, in double, that the documented evaluation may come to.
struct Ends {
  Lanes least, most;
};
inline Ends ends(const Bounded<double>& x) {
  return {x.value.high + (x.value.low - x.bound), x.value.high + (x.value.low + x.bound)};
}
/// Two units of double wider: the ends, rounded to double, lie outside of what they bound. So float
/// results that are rounded at once, and those that are rounded to double first, lie between them both.
inline Ends ends(const Bounded<float>& x) {
  const Lanes bound = fma(Lanes::of(0x1p-52), magnitude(x.value.high), x.bound);
  return {x.value.high - bound, x.value.high + bound};
}

/// Stores the first `left` lanes where all of [x - bound, x + bound] rounds to one value; returns the
/// others. A float zero between ends of different signs is in doubt: it may have either sign.
template <class Real>
inline unsigned put(const Bounded<Real>& x, Real* p, int left) {
  const Ends end = ends(x);
  unsigned doubts = different(end.least.rounded(p), end.most.rounded(p));
  if constexpr (!is_double<Real>)
    doubts |= below(end.least, Lanes::zero()) & ~below(end.most, Lanes::zero());
  if (left < Lanes::width) doubts |= ~0U << left;
  doubts &= (1U << Lanes::width) - 1;
  if (doubts == 0)
    end.most.put(p);
  else
    end.most.put(p, Lanes::mask(~doubts));
  return doubts;
}

}  // namespace
}  // namespace tabfit

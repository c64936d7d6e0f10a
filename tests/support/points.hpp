// tests/support/points.hpp - what the tests of the kernels for points share: arrays between fences, the
// share of points in doubt, and results that are hard to round.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "kernels/points/points.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::first_points;
using tabfit::for_points;
using tabfit::point_block;
using tabfit::PointSet;
using Wide = long double;

inline constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge, Data::rare};
inline constexpr std::size_t at(int i) { return static_cast<std::size_t>(i); }

inline bool in(PointSet set, int i) { return set >> i & 1; }
inline bool is_plain(const tabfit::Kernels& kernel) { return &kernel == &tabfit::plain_kernels; }
inline Touching side(Random& random) { return random.chance(2) ? Touching::end : Touching::begin; }

/// count elements that touch a fence; the places at their other end hold signalling NaN.
template <class T, class Element>
T* input(Fenced<T>& array, int count, Random& random, Element element) {
  T* data = array.lay(count, signal_of<T>(), side(random));
  for (int i = 0; i < count; ++i) data[i] = element(i);
  return data;
}
template <class T>
T* output(Fenced<T>& array, int count, Random& random) {
  return array.lay(count, Guarded<T>::poison(), side(random));
}

// -- how many points are in doubt -----------------------------------------------------------------

class Share {
 public:
  void take(PointSet doubts, int count) {
    for_points(doubts, [&](int) { ++doubts_; });
    points_ += count;
  }
  /// Plain loops doubt every point. The others must doubt a share between least and most.
  void expect_between(double least, double most, const tabfit::Kernels& kernel,
                      const char* what) const {
    const double share = static_cast<double>(doubts_) / static_cast<double>(points_);
    std::printf("%s: %.3g %% of %lld points in doubt\n", what, 100 * share, points_);
    if (is_plain(kernel)) {
      EXPECT_EQ(doubts_, points_) << what;
    } else {
      EXPECT_GE(share, least) << what;
      EXPECT_LE(share, most) << what;
    }
  }

 private:
  long long doubts_ = 0, points_ = 0;
};

// Measured on ordinary data: up to 0.1 % of float results; of double results 3.0 % of slopes, 1.8 % of
// values, 1.2 % of the rest.
inline constexpr double few = 0.04;

/// Checks that a kernel stored the result of its formula.
template <class Real, class Formula>
void check_results(PointSet doubts, Fenced<Real>& out, Formula formula) {
  ASSERT_TRUE(out.zone_intact());
  ASSERT_EQ(doubts & ~first_points(out.size()), 0U);
  for (int i = 0; i < out.size(); ++i)
    if (in(doubts, i))
      ASSERT_TRUE(out.untouched(i)) << "point " << i << " of " << out.size() << " is in doubt";
    else
      ASSERT_SAME(out[i], formula(i)) << "point " << i << " of " << out.size();
}

/// v rounded to double, then to Real.
template <class Real>
Real through_double(Wide v) {
  return static_cast<Real>(static_cast<double>(v));
}

// -- results that are hard to round ---------------------------------------------------------------

/// The middle between two neighbouring numbers of Real beside y. With through_double also a middle
/// between two neighbouring doubles there, since a result is rounded to double first.
template <class Real>
Wide halfway_beside(Wide y, bool through_double, Random& random) {
  const auto beside = [](auto v) {
    return (Wide(v) + std::nextafter(v, std::numeric_limits<decltype(v)>::infinity())) / 2;
  };
  const Wide halfway = beside(static_cast<Real>(y));
  if (sizeof(Real) == 8 || !through_double || random.chance(3)) return halfway;
  const auto exact = static_cast<double>(halfway);
  return random.chance(2) ? beside(exact) : beside(std::nextafter(exact, -inf_of<double>));
}

/// The argument for which the linear function f is the target. x is near it, not 0, and adds little to
/// f.
template <class F>
Wide toward(Wide target, double x, F f) {
  const Wide y = f(x), far = std::ldexp(Wide(x), 20), change = (f(far) - y) / (far - x);
  return x + (target - y) / change;
}

/// A number near x for which the linear function f comes as near as doubles can to a place where its
/// rounding changes. x must add a thousandth of f or less.
template <class Real, class F>
double steered(double x, bool through_double, Random& random, F f) {
  return static_cast<double>(toward(halfway_beside<Real>(f(x), through_double, random), x, f));
}

/// A number of magnitude 2^least..2^most, of either sign.
inline double number(Random& random, int least, int most) {
  return (random.chance(2) ? 1 : -1) * std::ldexp(random.real(1, 2), random.integer(least, most - 1));
}

/// A number for which the terms of the linear function f cancel up to 2^-4 to 2^-11 of them. Their
/// roundings are larger than the result's by this factor.
template <class F>
double cancelling(Random& random, F f) {
  const Wide zero = -f(0) / (f(1) - f(0));
  return static_cast<double>(zero * (1 + number(random, -11, -4)));
}

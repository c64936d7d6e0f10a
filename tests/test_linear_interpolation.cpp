// tests/test_linear_interpolation.cpp - piecewise-linear interpolation at one abscissa and at many.
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/bits.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/plain_search.hpp"
#include "tests/support/random.hpp"
#include "tests/support/refused.hpp"
#include "tests/support/twins.hpp"

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

/// What one call of AX_lintval returned and wrote. A refusal must write nothing.
struct Outcome {
  int status;
  double value;
};

template <class Real>
Outcome lintval(int n, const Real* x, const Real* y, double t) {
  Guarded<double> result(1);
  const int status = AX_lintval(n, x, y, t, result.data());
  EXPECT_TRUE(result.zones_intact()) << "t = " << shown(t);
  EXPECT_EQ(result.untouched(0), status != 0) << "status " << status << ", t = " << shown(t);
  return {status, result[0]};
}

template <class Real>
Outcome lintval(const std::vector<Real>& x, const std::vector<Real>& y, double t) {
  return lintval(static_cast<int>(x.size()), x.data(), y.data(), t);
}

/// AX_lintval as it is defined: the single differences in double, the formula in long double.
template <class Real>
Outcome plain_lintval(const std::vector<Real>& x, const std::vector<Real>& y, double t) {
  constexpr double tol = tolerance_of<Real>;
  const int n = static_cast<int>(x.size());
  if (n < 2) return {-1, 0};
  if (double(x.front()) - tol > t) return {1, 0};
  if (!(double(x.back()) + tol >= t)) return {1, 0};
  if (t < x.front()) t = x.front();
  if (t > x.back()) t = x.back();
  const int found = plain_search(t, x.data(), n);
  if (found < 0 || found > n - 1) return {1, 0};
  const auto i = static_cast<std::size_t>(found);
  if (found == n - 1) return {0, double(y[i])};
  const double h = double(x[i + 1]) - double(x[i]);
  if (!(h >= tol)) return {1, 0};
  const long double slope = (static_cast<long double>(y[i + 1]) - y[i]) / h;
  return {0, static_cast<double>((static_cast<long double>(t) - x[i]) * slope + y[i])};
}

/// n ordinates of very different sizes and both signs.
template <class Real>
std::vector<Real> random_ordinates(Random& random, int n) {
  std::vector<Real> y;
  for (int i = 0; i < n; ++i)
    y.push_back(static_cast<Real>(std::ldexp(random.real(-1, 1), random.integer(-9, 9))));
  return y;
}

// -- one abscissa: statuses -----------------------------------------------------------------------

TWIN_TEST(Lintval, RefusesFewerThanTwoNodesWhateverTheAbscissa) {
  const Real x[] = {1}, y[] = {5};
  for (const double t : {1.0, 0.0, 2.0, inf, -inf, not_a_number})
    for (const int n : {1, 0, -1, std::numeric_limits<int>::min()})
      EXPECT_EQ(lintval(n, x, y, t).status, AX_LINTVAL_BAD_SIZE) << "n = " << n << ", t = " << t;
}

TWIN_TEST(Lintval, HasTheStatusesThatTheHeaderNames) {
  EXPECT_EQ(AX_LINTVAL_OK, 0);
  EXPECT_EQ(AX_LINTVAL_BAD_SIZE, -1);
  EXPECT_EQ(AX_LINTVAL_NO_INTERVAL, 1);
}

TWIN_TEST(Lintval, AcceptsTheSlackOutsideBothEndsAndNothingBeyond) {
  constexpr double tol = tolerance_of<Real>;
  const std::vector<Real> y = {-7, 3, 11};
  // At -1000 and 1e6 the sum of an end and its slack is rounded.
  for (const std::vector<Real>& x : {std::vector<Real>{0, 1, 2},
                                     {-1000, 1, 3},
                                     {Real(0.1), Real(0.7), 1000000},
                                     {-4, -3, 0},
                                     {Real(-0.3), Real(-0.2), Real(-0.1)}}) {
    const double lowest = x.front() - tol, highest = x.back() + tol;
    for (const double t : {lowest, x.front() - 0.5 * tol, double(x.front())}) {
      const Outcome at = lintval(x, y, t);
      EXPECT_EQ(at.status, AX_LINTVAL_OK) << "t = " << shown(t);
      EXPECT_SAME(at.value, -7.0);
    }
    for (const double t : {highest, x.back() + 0.5 * tol, double(x.back())}) {
      const Outcome at = lintval(x, y, t);
      EXPECT_EQ(at.status, AX_LINTVAL_OK) << "t = " << shown(t);
      EXPECT_SAME(at.value, 11.0);
    }
    for (const double t : {std::nextafter(lowest, -inf), x.front() - 2 * tol, x.front() - 1e9, -inf,
                           std::nextafter(highest, inf), x.back() + 2 * tol, x.back() + 1e9, inf})
      EXPECT_EQ(lintval(x, y, t).status, AX_LINTVAL_NO_INTERVAL) << "t = " << shown(t);
  }
}

TWIN_TEST(Lintval, RefusesNaN) {
  const std::vector<Real> x = {0, 1, 2}, y = {1, 2, 3};
  EXPECT_EQ(lintval(x, y, not_a_number).status, AX_LINTVAL_NO_INTERVAL);
  EXPECT_EQ(lintval(x, y, -not_a_number).status, AX_LINTVAL_NO_INTERVAL);
}

TWIN_TEST(Lintval, RefusesEqualAndDescendingNodesAroundTheAbscissa) {
  const std::vector<Real> y = {1, 2, 3, 4};
  // The search ends on the first node before it compares the second, which lies below.
  EXPECT_EQ(lintval<Real>({1, 0, 2, 3}, y, 1.0).status, AX_LINTVAL_NO_INTERVAL);
  // The point is the node that the halving meets first. The f twin looks right of it, the d twin left.
  EXPECT_EQ(lintval<Real>({0, 1, 2, 1, 4}, {1, 2, 3, 4, 5}, 2.0).status,
            sizeof(Real) == 4 ? AX_LINTVAL_NO_INTERVAL : AX_LINTVAL_OK);
  EXPECT_EQ(lintval<Real>({0, 1, 2, 2, 4}, {1, 2, 3, 4, 5}, 2.0).status,
            sizeof(Real) == 4 ? AX_LINTVAL_NO_INTERVAL : AX_LINTVAL_OK);
  // All nodes equal: any point of the slack is moved onto the last node, which has a value.
  const std::vector<Real> equal = {1, 1, 1, 1};
  EXPECT_EQ(lintval(equal, y, 1.0).status, AX_LINTVAL_OK);
  EXPECT_SAME(lintval(equal, y, 1.0).value, 4.0);
  // Equal nodes in front, and the abscissa on them: interval 0 is empty.
  const std::vector<Real> front = {1, 1, 2, 3};
  EXPECT_EQ(lintval(front, y, 1.0).status, AX_LINTVAL_NO_INTERVAL);
}

TWIN_TEST(Lintval, RefusesATableThatEndsBelowItsStart) {
  const std::vector<Real> y = {1, 2};
  const std::vector<Real> x = {1, 0};
  for (const double t : {0.0, 0.5, 1.0})
    EXPECT_EQ(lintval(x, y, t).status, AX_LINTVAL_NO_INTERVAL) << t;
  // Within the slack of both ends: the point is moved onto the last node, which lies below the first.
  constexpr double tol = tolerance_of<Real>;
  const std::vector<Real> slack = {static_cast<Real>(tol), 0};
  EXPECT_EQ(lintval(slack, y, 0.5 * tol).status, AX_LINTVAL_NO_INTERVAL);
}

TWIN_TEST(Lintval, IgnoresNarrowIntervalsThatDoNotHoldTheAbscissa) {
  constexpr double tol = tolerance_of<Real>;
  const Real close = static_cast<Real>(1 + 0.5 * tol);
  ASSERT_GT(close, Real(1));
  const std::vector<Real> x = {0, 1, close, 2, 2, 3}, y = {0, 10, 20, 30, 40, 50};
  EXPECT_SAME(lintval(x, y, 0.5).value, 5.0);
  EXPECT_SAME(lintval(x, y, 2.5).value, 45.0);
  EXPECT_EQ(lintval(x, y, 1.5).status, AX_LINTVAL_OK);
  const double inside = 1 + 0.5 * (close - 1.0);
  EXPECT_EQ(lintval(x, y, inside).status, AX_LINTVAL_NO_INTERVAL);
}

TEST(Lintval_d, AcceptsAnIntervalOneToleranceWideAndRefusesOneStepLess) {
  const std::vector<double> y = {10, 30};
  EXPECT_EQ(lintval<double>({0, 2e-9}, y, 1e-9).status, AX_LINTVAL_OK);
  EXPECT_SAME(lintval<double>({0, 2e-9}, y, 1e-9).value, 20.0);
  EXPECT_EQ(lintval<double>({0, std::nextafter(2e-9, 0)}, y, 1e-9).status, AX_LINTVAL_NO_INTERVAL);
  EXPECT_EQ(lintval<double>({-2e-9, 0}, y, -1e-9).status, AX_LINTVAL_OK);
  EXPECT_EQ(lintval<double>({-std::nextafter(2e-9, 0), 0}, y, -1e-9).status, AX_LINTVAL_NO_INTERVAL);
}

TEST(Lintval_f, AcceptsIntervalsJustAboveTheToleranceAndRefusesThoseJustBelow) {
  const std::vector<float> y = {10, 30};
  // No two floats are exactly 2e-5 apart; the float nearest to it lies below it.
  const float down = 2e-5F, up = std::nextafter(down, 1.0F);
  ASSERT_LT(double(down), 2e-5);
  ASSERT_GT(double(up), 2e-5);
  EXPECT_EQ(lintval<float>({0, down}, y, 1e-5).status, AX_LINTVAL_NO_INTERVAL);
  EXPECT_EQ(lintval<float>({0, up}, y, 1e-5).status, AX_LINTVAL_OK);
  // The width is a double: a first node beside zero makes it finer than a step of floats.
  const float rest = static_cast<float>(2e-5 - double(down));
  const float more = std::nextafter(rest, 1.0F), less = std::nextafter(rest, 0.0F);
  ASSERT_GE(double(down) + more, 2e-5);
  ASSERT_LT(double(down) + less, 2e-5);
  EXPECT_EQ(lintval<float>({-more, down}, y, 1e-5).status, AX_LINTVAL_OK);
  EXPECT_EQ(lintval<float>({-less, down}, y, 1e-5).status, AX_LINTVAL_NO_INTERVAL);
}

TWIN_TEST(Lintval, FollowsTheOrderedComparisonsWhenNodesAreNaN) {
  const std::vector<Real> y = {1, 2, 3, 4};
  const Real nan = nan_of<Real>;
  for (const double t : {0.0, 0.5, 1.0, 2.5, 3.0}) {
    EXPECT_EQ(lintval<Real>({nan, 1, 2, 3}, y, t).status, AX_LINTVAL_NO_INTERVAL) << "t = " << t;
    EXPECT_EQ(lintval<Real>({0, 1, 2, nan}, y, t).status, AX_LINTVAL_NO_INTERVAL) << "t = " << t;
    EXPECT_EQ(lintval<Real>({nan, nan, nan, nan}, y, t).status, AX_LINTVAL_NO_INTERVAL) << "t = " << t;
    // The point is not less than the NaN in the middle, so it lies right of it, where all widths are
    // NaN.
    EXPECT_EQ(lintval<Real>({0, nan, nan, 3}, y, t).status,
              t == 3 ? AX_LINTVAL_OK : AX_LINTVAL_NO_INTERVAL)
        << "t = " << t;
  }
  // A NaN does no harm if the halving meets it nowhere near the abscissa.
  const Outcome at = lintval<Real>({0, 1, 2, nan, 4, 5}, {1, 2, 3, 4, 5, 6}, 4.5);
  EXPECT_EQ(at.status, AX_LINTVAL_OK);
  EXPECT_SAME(at.value, 5.5);
}

TWIN_TEST(Lintval, AcceptsInfiniteNodes) {
  const Real infinite = inf_of<Real>;
  const std::vector<Real> y = {1, 2, 3};
  // An interval without end has slope zero.
  EXPECT_SAME(lintval<Real>({0, 1, infinite}, y, 1e30).value, 2.0);
  EXPECT_SAME(lintval<Real>({0, 1, infinite}, y, 0.5).value, 1.5);
  EXPECT_SAME(lintval<Real>({0, 1, infinite}, y, inf).value, 3.0);
  EXPECT_SAME(lintval<Real>({-infinite, 0, 1}, y, 0.5).value, 2.5);
  const Outcome from_infinity = lintval<Real>({-infinite, 0, 1}, y, -5);
  EXPECT_EQ(from_infinity.status, AX_LINTVAL_OK);
  EXPECT_TRUE(std::isnan(from_infinity.value));  // infinity times slope zero
  EXPECT_EQ(lintval<Real>({infinite, infinite}, {1, 2}, 0).status, AX_LINTVAL_NO_INTERVAL);
}

// -- one abscissa: values -------------------------------------------------------------------------

TWIN_TEST(Lintval, LiesOnTheLineOfItsInterval) {
  const std::vector<Real> x = {-1, 0, 2, 3}, y = {4, 1, 5, -3};
  const double cases[][2] = {{-1, 4},     {-0.75, 3.25}, {-0.5, 2.5}, {0, 1},   {0.5, 2},    {1, 3},
                             {1.75, 4.5}, {2, 5},        {2.25, 3},   {2.5, 1}, {2.875, -2}, {3, -3}};
  for (const auto& [t, value] : cases) {
    const Outcome at = lintval(x, y, t);
    EXPECT_EQ(at.status, AX_LINTVAL_OK) << "t = " << t;
    EXPECT_SAME(at.value, value) << "t = " << t;
  }
}

TWIN_TEST(Lintval, DeliversDoubleAtADoubleAbscissaInBothTwins) {
  // One third is no float: neither the abscissa nor the result may be rounded to one.
  const std::vector<Real> x = {0, 1}, y = {0, 1};
  EXPECT_SAME(lintval(x, y, 1.0 / 3.0).value, 1.0 / 3.0);
  EXPECT_SAME(lintval<Real>({0, 3}, {0, 1}, 1.0).value, static_cast<double>(1 / 3.0L));
}

TWIN_TEST(Lintval, GivesTheLastOrdinateAsItIsOnTheLastNode) {
  for (const Real last : {Real(-0.0), Real(0.0), Real(0.1), inf_of<Real>, nan_of<Real>,
                          std::numeric_limits<Real>::denorm_min()}) {
    const Outcome at = lintval<Real>({0, 1, 2}, {5, 6, last}, 2);
    EXPECT_EQ(at.status, AX_LINTVAL_OK);
    EXPECT_SAME(at.value, double(last));
    EXPECT_SAME(lintval<Real>({0, 1, 2}, {5, 6, last}, 2 + 0.5 * tolerance_of<Real>).value,
                double(last));
    // The interval before it is not looked at: here it is narrow, and its left end has no value.
    const Real close = std::nextafter(Real(2), Real(0));
    EXPECT_SAME(lintval<Real>({0, close, 2}, {5, nan_of<Real>, last}, 2).value, double(last));
  }
}

TWIN_TEST(Lintval, IsContinuousAtInteriorNodes) {
  Random random(20240601);
  for (int times = 0; times < 500; ++times) {
    const int n = random.integer(3, 20);
    const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    for (std::size_t k = 1; k + 1 < x.size(); ++k) {
      // The f twin starts at y[k] itself. The d twin ends a line there. Its width is rounded by eps/2
      // relatively, which moves the end by eps/2 of the step of y; the result is rounded by another
      // eps/2.
      const double value = lintval(x, y, x[k]).value;
      const double bound =
          sizeof(Real) == 4 ? 0.0 : 0.5 * DBL_EPSILON * (std::fabs(y[k] - y[k - 1]) + std::fabs(y[k]));
      EXPECT_LE(std::fabs(value - y[k]), bound * 1.01) << "node " << k << ", y = " << shown(y[k]);
    }
  }
}

TWIN_TEST(Lintval, KeepsTheSignsOfZeros) {
  // (t - x[0]) is -0 at t = -0 on a node +0; with a rising line the product is -0 too.
  EXPECT_SAME(lintval<Real>({0, 1}, {Real(-0.0), 1}, -0.0).value, -0.0);
  EXPECT_SAME(lintval<Real>({0, 1}, {Real(-0.0), 1}, 0.0).value, 0.0);
  EXPECT_SAME(lintval<Real>({0, 1}, {Real(0.0), 1}, -0.0).value, 0.0);
  EXPECT_SAME(lintval<Real>({-1, Real(0.0)}, {1, Real(-0.0)}, -0.0).value, -0.0);
}

TWIN_TEST(Lintval, KeepsNaNAndInfiniteOrdinatesToTheirOwnIntervals) {
  const std::vector<Real> x = {0, 1, 2, 3, 4}, y = {1, 2, nan_of<Real>, 4, 5};
  EXPECT_SAME(lintval(x, y, 0.5).value, 1.5);
  EXPECT_SAME(lintval(x, y, 3.5).value, 4.5);
  EXPECT_TRUE(std::isnan(lintval(x, y, 1.5).value));
  EXPECT_TRUE(std::isnan(lintval(x, y, 2.5).value));
  EXPECT_EQ(lintval(x, y, 2.5).status, AX_LINTVAL_OK);
  EXPECT_SAME(lintval<Real>({0, 1}, {0, inf_of<Real>}, 0.5).value, inf);
}

TWIN_TEST(Lintval, SurvivesTheGreatestAndTheLeastElements) {
  const Real most = std::numeric_limits<Real>::max();
  // In the d twin the width overflows and the slope is zero; float widths fit a double.
  EXPECT_SAME(lintval<Real>({-most, most}, {1, 3}, 0).value, sizeof(Real) == 4 ? 2.0 : 1.0);
  // The step from -most to most fits a long double, and so does the result.
  EXPECT_SAME(lintval<Real>({0, 2}, {-most, most}, 1).value, 0.0);
  EXPECT_SAME(lintval<Real>({0, 2}, {most, most}, 1).value, double(most));
  const Real least = std::numeric_limits<Real>::denorm_min();
  EXPECT_SAME(lintval<Real>({0, 2}, {least, 3 * least}, 1).value, 2 * double(least));
}

TWIN_TEST(Lintval, EqualsItsFormulaBitForBit) {
  Random random(20240602);
  int evaluated = 0;
  for (int times = 0; times < 3000; ++times) {
    const int n = random.integer(2, 40);
    const Nodes kind = all_kinds_of_nodes[random.integer(0, 4)];
    const std::vector<Real> x = random_nodes<Real>(random, n, kind, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    for (const Real point : random_points(random, 20, x, all_kinds_of_points[random.integer(0, 4)],
                                          1.5 * tolerance_of<Real>)) {
      const double t = random.chance(2) ? double(point) : point * (1 + random.real(-1, 1) * 1e-10);
      const Outcome at = lintval(x, y, t), plain = plain_lintval(x, y, t);
      ASSERT_EQ(at.status, plain.status) << "t = " << shown(t) << ", table " << times;
      if (at.status != 0) continue;
      ASSERT_SAME(at.value, plain.value) << "t = " << shown(t) << ", table " << times;
      ++evaluated;
    }
  }
  EXPECT_GT(evaluated, 30000);
}

// -- many abscissae -------------------------------------------------------------------------------

/// Compares AX_linttab, with its output guarded, with AX_lintval point by point: the same statuses, the
/// same values rounded to the element type, everything from the first refusal on untouched. Returns the
/// status.
template <class Real>
int expect_as_point_by_point(const std::vector<Real>& x, const std::vector<Real>& y,
                             const std::vector<Real>& t) {
  const int n = static_cast<int>(x.size()), m = static_cast<int>(t.size());
  int written = 0, expected = 0;
  std::vector<Real> values;
  for (; written < m; ++written) {
    const Outcome at = lintval(x, y, t[static_cast<std::size_t>(written)]);
    if ((expected = at.status) != 0) break;
    values.push_back(static_cast<Real>(at.value));
  }
  Guarded<Real> out(m);
  const int status = AX_linttab(n, x.data(), y.data(), m, t.data(), out.data());
  EXPECT_EQ(status, expected) << "n = " << n << ", m = " << m;
  EXPECT_TRUE(out.zones_intact());
  EXPECT_TRUE(out.untouched_from(written)) << "from " << written << " of " << m;
  for (int j = 0; j < written; ++j) {
    const auto at = static_cast<std::size_t>(j);
    EXPECT_SAME(out[j], values[at])
        << "position " << j << " of " << m << ", t = " << shown(t[at]) << ", n = " << n;
    if (testing::Test::HasFailure()) break;
  }
  return status;
}

TWIN_TEST(Linttab, RefusesFewerThanTwoNodesOrNoAbscissa) {
  const Real x[] = {0, 1, 2}, y[] = {1, 2, 3}, t[] = {1};
  constexpr int least = std::numeric_limits<int>::min();
  const int sizes[][2] = {{1, 1},  {0, 1},     {-1, 1}, {least, 1}, {3, 0},
                          {3, -1}, {3, least}, {1, 0},  {0, 0},     {2, 0}};
  for (const auto& [n, m] : sizes) {
    Guarded<Real> out(1);
    EXPECT_EQ(AX_linttab(n, x, y, m, t, out.data()), AX_LINTTAB_BAD_SIZE)
        << "n = " << n << ", m = " << m;
    EXPECT_TRUE(out.untouched(0) && out.zones_intact()) << "n = " << n << ", m = " << m;
  }
}

TWIN_TEST(Linttab, HasTheStatusesThatTheHeaderNames) {
  EXPECT_EQ(AX_LINTTAB_OK, 0);
  EXPECT_EQ(AX_LINTTAB_BAD_SIZE, -1);
  EXPECT_EQ(AX_LINTTAB_NO_INTERVAL, 1);
}

TWIN_TEST(Linttab, RoundsEachValueToTheElementType) {
  const std::vector<Real> x = {0, 3}, y = {0, 1}, t = {1, 2};
  Guarded<Real> out(2);
  ASSERT_EQ(AX_linttab(2, x.data(), y.data(), 2, t.data(), out.data()), AX_LINTTAB_OK);
  EXPECT_SAME(out[0], static_cast<Real>(1.0 / 3.0));
  EXPECT_SAME(out[1], static_cast<Real>(2.0 / 3.0));
}

TWIN_TEST(Linttab, WritesEveryLengthAndNothingAround) {
  std::vector<Real> x, y;
  for (int i = 0; i < 5; ++i) {
    x.push_back(static_cast<Real>(i));
    y.push_back(static_cast<Real>(10 * i * i));
  }
  for (int m = 1; m <= 40; ++m) {
    std::vector<Real> t;
    for (int j = 0; j < m; ++j) t.push_back(static_cast<Real>(4.0 * j / m));
    EXPECT_EQ(expect_as_point_by_point(x, y, t), AX_LINTTAB_OK) << "m = " << m;
  }
}

TWIN_TEST(Linttab, LeavesTheOutputUntouchedFromEveryPositionOfARefusedAbscissa) {
  constexpr double tol = tolerance_of<Real>;
  const std::vector<Real> x = {0, 1, 2, 3}, y = {5, 7, -2, 4};
  const Real refused[] = {static_cast<Real>(-2 * tol), static_cast<Real>(3 + 2 * tol), nan_of<Real>,
                          inf_of<Real>, -inf_of<Real>};
  for (int m = 1; m <= 40; ++m)
    for (int position = 0; position < m; ++position)
      for (const Real bad : refused) {
        std::vector<Real> one_interval, every_interval;
        for (int j = 0; j < m; ++j) {
          one_interval.push_back(static_cast<Real>(1.25 + 0.01 * j));
          every_interval.push_back(static_cast<Real>(j % 13 * 0.25));
        }
        for (std::vector<Real>* t : {&one_interval, &every_interval}) {
          (*t)[static_cast<std::size_t>(position)] = bad;
          ASSERT_EQ(expect_as_point_by_point(x, y, *t), AX_LINTTAB_NO_INTERVAL)
              << "m = " << m << ", position " << position;
        }
      }
}

TWIN_TEST(Linttab, LeavesTheOutputUntouchedFromEveryPositionInANarrowInterval) {
  // Interval 1 is too narrow. Few points on 8 nodes take another way than many points on 4 nodes.
  constexpr double tol = tolerance_of<Real>;
  const Real close = static_cast<Real>(1 + 0.75 * tol), inside = static_cast<Real>(1 + 0.25 * tol);
  ASSERT_TRUE(1 < inside && inside < close);
  for (const std::vector<Real>& x : {std::vector<Real>{0, 1, close, 3}, {0, 1, close, 3, 4, 5, 6, 7}}) {
    std::vector<Real> y;
    for (std::size_t i = 0; i < x.size(); ++i) y.push_back(static_cast<Real>(i * i));
    for (int m = 1; m <= 40; ++m)
      for (int position = 0; position < m; ++position)
        for (const Real step : {Real(0), Real(0.0625)}) {
          std::vector<Real> t;
          for (int j = 0; j < m; ++j) t.push_back(static_cast<Real>(0.5 + j % 8 * step));
          t[static_cast<std::size_t>(position)] = inside;
          ASSERT_EQ(expect_as_point_by_point(x, y, t), AX_LINTTAB_NO_INTERVAL)
              << "m = " << m << ", at " << position;
        }
  }
}

/// Eight abscissae for the nodes 0, 1, 2, 3, 4, of one kind.
template <class Real>
std::array<Real, 8> block_of_points(int kind) {
  const Real slack = static_cast<Real>(0.5 * tolerance_of<Real>);
  switch (kind) {
    case 0:
      return {0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 0.0625};  // inside interval 0
    case 1:
      return {2.125, 2.25, 2.375, 2.5, 2.625, 2.75, 2.875, 2.0625};  // inside interval 2
    case 2:
      return {3.125, 3.25, 3.375, 3.5, 3.625, 3.75, 3.875, 3.0625};  // inside interval 3
    case 3:
      return {4, 4, 4, 4, 4, 4, 4, 4};  // on the last node
    case 4:
      return {2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 4};  // ending there
    case 5:
      return {4, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5};  // starting there
    case 6:
      return {0, 0, 0, 0, 0, 0, 0, 0};  // on the first node
    case 7:
      return {2, 2, 2, 2, 2, 2, 2, 2};  // on an interior node
    case 8:
      return {3, 0.5, 1.5, 2, 3.5, 0, 1, 2.5};  // everywhere
    case 9:
      return {2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 4 + slack};  // ending in the slack
    case 10:
      return {-slack, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5};  // starting in the slack
    default:
      return {2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2};  // ending on an interior node
  }
}
constexpr int block_kinds = 12;

TWIN_TEST(Linttab, DoesNotLetOneBlockOfPointsChangeTheNext) {
  const std::vector<Real> x = {0, 1, 2, 3, 4}, y = {5, -1, 8, 2, -9};
  for (int code = 0; code < block_kinds * block_kinds * block_kinds; ++code) {
    std::vector<Real> t;
    for (const int kind :
         {code % block_kinds, code / block_kinds % block_kinds, code / block_kinds / block_kinds})
      for (const Real point : block_of_points<Real>(kind)) t.push_back(point);
    for (int tail = code % 3; tail > 0; --tail) t.push_back(Real(2.5));
    ASSERT_EQ(expect_as_point_by_point(x, y, t), AX_LINTTAB_OK) << "blocks " << code;
    ASSERT_FALSE(testing::Test::HasFailure())
        << "blocks of kinds " << code % block_kinds << ", " << code / block_kinds % block_kinds << ", "
        << code / block_kinds / block_kinds;
  }
}

TWIN_TEST(Linttab, EqualsTheOnePointFunctionOnRandomTables) {
  Random random(20240603);
  int whole = 0, refused = 0;
  for (int times = 0; times < 6000; ++times) {
    const int n = random.integer(2, random.chance(4) ? 60 : 9);
    const Nodes nodes = all_kinds_of_nodes[times % 5];
    const Points points = all_kinds_of_points[times / 5 % 5];
    const int m = times < 2000 ? times % 40 + 1 : random.integer(1, 200);
    const std::vector<Real> x = random_nodes<Real>(random, n, nodes, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    std::vector<Real> t = random_points(random, m, x, points, 0.9 * tolerance_of<Real>);
    if (random.chance(10)) t[static_cast<std::size_t>(random.integer(0, m - 1))] = nan_of<Real>;
    const int status = expect_as_point_by_point(x, y, t);
    ASSERT_FALSE(testing::Test::HasFailure()) << "table " << times;
    ++(status == 0 ? whole : refused);
  }
  EXPECT_GT(whole, 1000);
  EXPECT_GT(refused, 1000);
}

TWIN_TEST(Linttab, EqualsTheOnePointFunctionOnTheSameNodesAfterAnyExchange) {
  // Unsorted tables whose ends enclose the points, with fewer and with more points than nodes.
  Random random(20240604);
  for (int times = 0; times < 1000; ++times) {
    const int n = random.integer(4, 12);
    std::vector<Real> x;
    for (int i = 0; i < n; ++i) x.push_back(static_cast<Real>(random.integer(1, 6)));
    x.front() = 0;
    x.back() = 7;
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    std::vector<Real> t;
    for (int run = 0; run < 6; ++run) {
      const Real from = static_cast<Real>(random.integer(0, 13) * 0.5);
      for (int j = random.integer(1, 17); j > 0; --j) t.push_back(from);
    }
    expect_as_point_by_point(x, y, t);
    ASSERT_FALSE(testing::Test::HasFailure()) << "table " << times;
  }
}

TWIN_TEST(Linttab, TakesNodesEndsAndSlackAnywhereAmongItsAbscissae) {
  Random random(20240606);
  for (int m = 1; m <= 200; ++m)
    for (const Points kind : {Points::random, Points::sorted, Points::runs}) {
      const int n = random.chance(4) ? 2 : random.integer(3, 20);
      const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
      const std::vector<Real> y = random_ordinates<Real>(random, n);
      ASSERT_EQ(
          expect_as_point_by_point(x, y, scattered_points(random, m, x, kind, tolerance_of<Real>)),
          AX_LINTTAB_OK);
      ASSERT_FALSE(testing::Test::HasFailure()) << "n = " << n << ", m = " << m;
    }
}

TWIN_TEST(Linttab, EndsAtTheFirstRefusedAbscissaAnywhereInALongTable) {
  Random random(20240607);
  constexpr double tol = tolerance_of<Real>;
  for (const int m : {64, 65, 128, 150, 200})
    for (int position = 0; position < m; ++position) {
      const int n = random.integer(2, 12);
      const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tol);
      const std::vector<Real> y = random_ordinates<Real>(random, n);
      std::vector<Real> t = scattered_points(random, m, x, Points::random, tolerance_of<Real>);
      refuse_from(position, x, random, t);
      ASSERT_EQ(expect_as_point_by_point(x, y, t), AX_LINTTAB_NO_INTERVAL);
      ASSERT_FALSE(testing::Test::HasFailure()) << "m = " << m << ", position " << position;
    }
}

TWIN_TEST(Linttab, TouchesNothingBesideItsArrays) {
  Random random(20240608);
  Fenced<Real> nodes(20), ordinates(20), points(200), out(200);
  for (const Touching touching : {Touching::end, Touching::begin})
    for (int m = 1; m <= 200; m += m < 70 ? 1 : 13) {
      const int n = random.integer(2, 20);
      const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
      const std::vector<Real> y = random_ordinates<Real>(random, n),
                              t = scattered_points(random, m, x, Points::random, tolerance_of<Real>);
      const auto lay = [touching](Fenced<Real>& array, const std::vector<Real>& from) {
        Real* data = array.lay(static_cast<int>(from.size()), signal_of<Real>(), touching);
        std::copy(from.begin(), from.end(), data);
        return data;
      };
      out.lay(m, Guarded<Real>::poison(), touching);
      ASSERT_EQ(AX_linttab(n, lay(nodes, x), lay(ordinates, y), m, lay(points, t), out.data()),
                AX_LINTTAB_OK);
      ASSERT_TRUE(out.zone_intact()) << "n = " << n << ", m = " << m;
      for (int j = 0; j < m; ++j)
        ASSERT_SAME(out[j], static_cast<Real>(lintval(x, y, t[static_cast<std::size_t>(j)]).value));
    }
}

TWIN_TEST(Linttab, WritesOverItsOwnAbscissae) {
  Random random(20240605);
  for (int m = 1; m <= 200; ++m)
    for (const Points kind : all_kinds_of_points) {
      const std::vector<Real> x = random_nodes<Real>(random, 6, Nodes::ascending, tolerance_of<Real>);
      const std::vector<Real> y = random_ordinates<Real>(random, 6);
      std::vector<Real> t = scattered_points(random, m, x, kind, tolerance_of<Real>);
      if (m % 3 == 0) t[static_cast<std::size_t>(m / 2)] = nan_of<Real>;
      std::vector<Real> apart = t;  // what is not written must keep the abscissa
      const int status = AX_linttab(6, x.data(), y.data(), m, t.data(), apart.data());
      Guarded<Real> both(m);
      std::copy(t.begin(), t.end(), both.data());
      ASSERT_EQ(AX_linttab(6, x.data(), y.data(), m, both.data(), both.data()), status) << "m = " << m;
      ASSERT_TRUE(both.zones_intact());
      for (int j = 0; j < m; ++j)
        ASSERT_SAME(both[j], apart[static_cast<std::size_t>(j)]) << j << " of " << m;
    }
}

TWIN_TEST(Linttab, KeepsTheSignOfAZeroOnTheLastNode) {
  for (int m = 1; m <= 17; ++m) {
    const std::vector<Real> x = {0, 1, 2}, y = {5, 6, Real(-0.0)},
                            t(static_cast<std::size_t>(m), Real(2));
    Guarded<Real> out(m);
    ASSERT_EQ(AX_linttab(3, x.data(), y.data(), m, t.data(), out.data()), AX_LINTTAB_OK);
    for (int j = 0; j < m; ++j) EXPECT_SAME(out[j], Real(-0.0)) << j << " of " << m;
  }
}

}  // namespace

// tests/test_cubic_spline.cpp - interpolating cubic spline: build, one point, a table of points.
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "tests/reference/cubic_spline.hpp"
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

using Wide = long double;

/// The coefficient array of a table, between guard zones: block 0 holds y, the rest poison.
template <class Real>
Guarded<Real> table_of(const std::vector<Real>& y) {
  Guarded<Real> C(4 * static_cast<int>(y.size()));
  std::copy(y.begin(), y.end(), C.data());
  return C;
}

/// True if block 0 of C still holds y, bit for bit.
template <class Real>
bool keeps_ordinates(Guarded<Real>& C, const std::vector<Real>& y) {
  for (std::size_t i = 0; i < y.size(); ++i)
    if (!same_bits(C[static_cast<int>(i)], y[i])) return false;
  return true;
}

/// AX_intspl3 on a guarded array; its status goes to `status` if wanted, else it must be 0.
template <class Real>
Guarded<Real> build(const std::vector<Real>& x, const std::vector<Real>& y, int* status = nullptr) {
  Guarded<Real> C = table_of(y);
  const int got = AX_intspl3(x.data(), C.data(), static_cast<int>(x.size()));
  EXPECT_TRUE(C.zones_intact());
  EXPECT_TRUE(keeps_ordinates(C, y));
  if (status)
    *status = got;
  else
    EXPECT_EQ(got, AX_INTSPL3_OK);
  return C;
}

template <class Real>
int build_status(const std::vector<Real>& x, const std::vector<Real>& y) {
  int status = -1;
  build(x, y, &status);
  return status;
}

/// n arbitrary ordinates.
template <class Real>
std::vector<Real> some_ordinates(std::size_t n) {
  std::vector<Real> y;
  for (std::size_t i = 0; i < n; ++i) y.push_back(static_cast<Real>(i * i % 7));
  return y;
}

/// What one call of AX_intspl3val returned and wrote. A refusal must write nothing.
struct At {
  int status;
  double s, s1, s2;
};

template <class Real>
At evaluate(const Real* x, const Real* C, int n, double u) {
  Guarded<double> s(1), s1(1), s2(1);
  const int status = AX_intspl3val(x, C, n, u, s.data(), s1.data(), s2.data());
  for (Guarded<double>* out : {&s, &s1, &s2}) {
    EXPECT_TRUE(out->zones_intact()) << "u = " << shown(u);
    EXPECT_EQ(out->untouched(0), status != 0) << "status " << status << ", u = " << shown(u);
  }
  return {status, s[0], s1[0], s2[0]};
}

template <class Real>
At evaluate(const std::vector<Real>& x, Guarded<Real>& C, double u) {
  return evaluate(x.data(), C.data(), static_cast<int>(x.size()), u);
}

// -- the definitions, written out ------------------------------------------------------------------
//
// Longer formulas in long double, single operations in double, each rounded where it is kept.

/// AX_intspl3 as it is defined.
template <class Real>
int plain_build(const std::vector<Real>& nodes, std::vector<Real>& C) {
  constexpr double tol = tolerance_of<Real>;
  const int n = static_cast<int>(nodes.size());
  if (n < 2) return 1;
  const auto element = [&](int i) -> Real& { return C[static_cast<std::size_t>(i)]; };
  const auto y = [&](int i) -> Wide { return element(i); };
  const auto b = [&](int i) -> Real& { return element(n + i); };
  const auto c = [&](int i) -> Real& { return element(2 * n + i); };
  const auto d = [&](int i) -> Real& { return element(3 * n + i); };
  const auto x = [&](int i) -> double { return nodes[static_cast<std::size_t>(i)]; };
  const auto wide = [](Real v) -> Wide { return v; };
  const auto keep = [](auto v) { return static_cast<Real>(v); };

  const double h0 = x(1) - x(0);
  d(0) = keep(h0);
  if (!(h0 >= tol)) return 2;
  if (n == 2) {
    b(0) = keep((y(1) - y(0)) / (Wide(x(1)) - x(0)));
    b(1) = b(0);
    c(0) = c(1) = d(0) = d(1) = 0;
    return 0;
  }
  c(1) = keep((y(1) - y(0)) / d(0));
  for (int i = 1; i <= n - 2; ++i) {
    d(i) = keep(x(i + 1) - x(i));
    if (!(double(d(i)) >= tol)) return 2;
    b(i) = keep(2 * (wide(d(i - 1)) + d(i)));
    c(i + 1) = keep((y(i + 1) - y(i)) / d(i));
    c(i) = keep(double(c(i + 1)) - double(c(i)));
  }
  b(0) = -d(0);
  b(n - 1) = -d(n - 2);
  c(0) = 0;
  c(n - 1) = 0;
  if (n > 3) {
    c(0) = keep(c(2) / (Wide(x(3)) - x(1)) - c(1) / (Wide(x(2)) - x(0)));
    c(n - 1) = keep(c(n - 2) / (Wide(x(n - 1)) - x(n - 3)) - c(n - 3) / (Wide(x(n - 2)) - x(n - 4)));
    c(0) = keep(wide(c(0)) * d(0) * d(0) / (Wide(x(3)) - x(0)));
    c(n - 1) = keep(wide(c(n - 1)) * d(n - 2) * d(n - 2) / (Wide(x(n - 1)) - x(n - 4)));
  }
  for (int i = 1; i <= n - 1; ++i) {
    const double t = double(d(i - 1)) / double(b(i - 1));
    b(i) = keep(wide(b(i)) - Wide(t) * d(i - 1));
    c(i) = keep(wide(c(i)) - Wide(t) * c(i - 1));
  }
  c(n - 1) = keep(double(c(n - 1)) / double(b(n - 1)));
  for (int i = n - 2; i >= 0; --i) c(i) = keep((wide(c(i)) - wide(d(i)) * c(i + 1)) / b(i));
  b(n - 1) = keep((y(n - 1) - y(n - 2)) / d(n - 2) + d(n - 2) * (c(n - 2) + 2 * wide(c(n - 1))));
  for (int i = 0; i <= n - 2; ++i) {
    b(i) = keep((y(i + 1) - y(i)) / d(i) - d(i) * (c(i + 1) + 2 * wide(c(i))));
    d(i) = keep((wide(c(i + 1)) - c(i)) / d(i));
    c(i) = keep(3 * double(c(i)));
  }
  c(n - 1) = keep(3 * double(c(n - 1)));
  d(n - 1) = d(n - 2);
  return 0;
}

/// AX_intspl3val as it is defined.
template <class Real>
At plain_evaluate(const std::vector<Real>& x, const Real* C, double u) {
  constexpr double tol = tolerance_of<Real>;
  const int n = static_cast<int>(x.size());
  if (u < double(x.front()) - tol) return {1, 0, 0, 0};
  if (!(u <= double(x.back()) + tol)) return {1, 0, 0, 0};
  if (u < x.front()) u = x.front();
  if (u > x.back()) u = x.back();
  const int i = plain_search(u, x.data(), n);
  if (i < 0 || i > n - 1) return {1, 0, 0, 0};
  const double t = u - double(x[static_cast<std::size_t>(i)]);
  const Wide y = C[i], b = C[n + i], c = C[2 * n + i], d = C[3 * n + i];
  return {0, static_cast<double>(((t * d + c) * t + b) * t + y),
          static_cast<double>((2 * c + 3 * d * t) * t + b), static_cast<double>(2 * c + 6 * d * t)};
}

/// Ordinates between -2 and 2 for n nodes.
template <class Real>
std::vector<Real> random_ordinates(Random& random, int n) {
  std::vector<Real> y;
  for (int i = 0; i < n; ++i) y.push_back(static_cast<Real>(random.real(-2, 2)));
  return y;
}

// -- build: statuses ------------------------------------------------------------------------------

TWIN_TEST(Intspl3, RefusesFewerThanTwoNodes) {
  const Real x[] = {1, 2};
  for (const int n : {1, 0, -1, std::numeric_limits<int>::min()}) {
    Guarded<Real> C(8);
    EXPECT_EQ(AX_intspl3(x, C.data(), n), AX_INTSPL3_BAD_SIZE) << "n = " << n;
    EXPECT_TRUE(C.zones_intact() && C.untouched_from(0)) << "n = " << n;
  }
}

TWIN_TEST(Intspl3, HasTheStatusesThatTheHeaderNames) {
  EXPECT_EQ(AX_INTSPL3_OK, 0);
  EXPECT_EQ(AX_INTSPL3_BAD_SIZE, 1);
  EXPECT_EQ(AX_INTSPL3_BAD_NODES, 2);
}

TWIN_TEST(Intspl3, RefusesNarrowEqualDescendingAndNaNIntervalsAtEveryPosition) {
  constexpr double tol = tolerance_of<Real>;
  for (int n = 2; n <= 9; ++n)
    for (int at = 0; at < n - 1; ++at)
      for (const double width : {0.9 * tol, 0.5 * tol, 0.0, -0.5 * tol, -0.25, -0.5, not_a_number}) {
        // The node after the interval is 0: near 0 floats are fine enough for any width.
        std::vector<Real> x;
        for (int i = 0; i < n; ++i)
          x.push_back(static_cast<Real>(i <= at ? i - at - width : i - at - 1));
        EXPECT_EQ(build_status(x, some_ordinates<Real>(x.size())), AX_INTSPL3_BAD_NODES)
            << "n = " << n << ", interval " << at << ", width " << width;
        // The same intervals, wide enough.
        if (std::isnan(width)) continue;
        for (int i = 0; i <= at; ++i)
          x[static_cast<std::size_t>(i)] = static_cast<Real>(i - at - 1.1 * tol);
        EXPECT_EQ(build_status(x, some_ordinates<Real>(x.size())), AX_INTSPL3_OK)
            << "n = " << n << ", interval " << at;
      }
}

TWIN_TEST(Intspl3, RefusesANaNNodeAtEveryPosition) {
  for (int n = 2; n <= 9; ++n)
    for (int at = 0; at < n; ++at) {
      std::vector<Real> x;
      for (int i = 0; i < n; ++i) x.push_back(i == at ? nan_of<Real> : static_cast<Real>(i));
      EXPECT_EQ(build_status(x, some_ordinates<Real>(x.size())), AX_INTSPL3_BAD_NODES)
          << "n = " << n << ", node " << at;
    }
}

TWIN_TEST(Intspl3, AcceptsInfiniteNodesAtTheEndsOnly) {
  const Real infinite = inf_of<Real>;
  // An infinite interval is wide enough; the coefficients need not be numbers.
  EXPECT_EQ(build_status<Real>({0, 1, 2, infinite}, {1, 2, 3, 4}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<Real>({-infinite, 0, 1, 2}, {1, 2, 3, 4}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<Real>({-infinite, infinite}, {1, 2}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<Real>({infinite, 0, 1, 2}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<Real>({0, infinite, 2, 3}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<Real>({0, 1, infinite, infinite}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<Real>({0, 1, 2, -infinite}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
}

TEST(Intspl3_d, AcceptsNodesOneToleranceApartAndRefusesOneStepLess) {
  const double tol = 2e-9, less = std::nextafter(tol, 0);
  EXPECT_EQ(build_status<double>({0, tol}, {1, 2}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<double>({0, less}, {1, 2}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<double>({-1, 0, tol}, {1, 2, 3}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<double>({-1, 0, less}, {1, 2, 3}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<double>({-tol, 0, tol, 1, 2}, {1, 2, 3, 4, 5}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<double>({-less, 0, tol, 1, 2}, {1, 2, 3, 4, 5}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<double>({-tol, 0, less, 1, 2}, {1, 2, 3, 4, 5}), AX_INTSPL3_BAD_NODES);
}

TEST(Intspl3_f, AcceptsNodesJustAboveTheToleranceAndRefusesThoseJustBelow) {
  // No two floats are exactly 2e-5 apart; the float nearest to it lies below it.
  const float down = 2e-5F, up = std::nextafter(down, 1.0F);
  ASSERT_LT(double(down), 2e-5);
  ASSERT_GT(double(up), 2e-5);
  EXPECT_EQ(build_status<float>({0, up}, {1, 2}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<float>({0, down}, {1, 2}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<float>({-1, 0, up, 1}, {1, 2, 3, 4}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<float>({-1, 0, down, 1}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
}

TEST(Intspl3_f, ComparesTheFirstWidthAsDoubleAndTheLaterOnesAsKept) {
  // down + rest exceeds the tolerance by less than half a step of floats, so it rounds to `down`.
  const float down = 2e-5F, rest = static_cast<float>(2e-5 - double(down));
  const float more = std::nextafter(rest, 1.0F), less = std::nextafter(rest, 0.0F);
  ASSERT_GE(double(down) + more, 2e-5);
  ASSERT_LT(double(down) + less, 2e-5);
  ASSERT_EQ(static_cast<float>(double(down) + more), down);
  EXPECT_EQ(build_status<float>({-more, down}, {1, 2}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<float>({-less, down}, {1, 2}), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ(build_status<float>({-more, down, 1, 2}, {1, 2, 3, 4}), AX_INTSPL3_OK);
  EXPECT_EQ(build_status<float>({-1, -more, down, 2}, {1, 2, 3, 4}), AX_INTSPL3_BAD_NODES);
}

// -- build: coefficients --------------------------------------------------------------------------

TWIN_TEST(Intspl3, JoinsTwoNodesByAStraightLine) {
  Guarded<Real> C = build<Real>({1, 5}, {3, -7});
  const Real expected[] = {3, -7, -2.5, -2.5, 0, 0, 0, 0};
  for (int i = 0; i < 8; ++i) EXPECT_SAME(C[i], expected[i]) << "element " << i;
}

TWIN_TEST(Intspl3, LaysAParabolaThroughThreeNodes) {
  // 2 - 3 u + u^2 at -1, 1, 2: all intermediate values are exact but the elimination's quotients.
  Guarded<Real> C = build<Real>({-1, 1, 2}, {6, 0, 0});
  const double b[] = {-5, -1, 1};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(C[3 + i], b[i], 8 * eps_of<Real>) << "b, node " << i;
    EXPECT_NEAR(C[6 + i], 1.0, 4 * eps_of<Real>) << "c, node " << i;
    EXPECT_NEAR(C[9 + i], 0.0, 4 * eps_of<Real>) << "d, node " << i;
  }
}

TWIN_TEST(Intspl3, CopiesTheLastCubicCoefficient) {
  Random random(20240701);
  for (int n = 2; n <= 30; ++n) {
    Guarded<Real> C = build(random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>),
                            random_ordinates<Real>(random, n));
    EXPECT_SAME(C[4 * n - 1], C[4 * n - 2]) << "n = " << n;
  }
}

TWIN_TEST(Intspl3, ReproducesAStraightLine) {
  Random random(20240702);
  double worst = 0;
  for (int times = 0; times < 300; ++times) {
    const int n = random.integer(2, 30);
    // Steps of a power of two and whole numbers: every slope is exact, and so are the differences.
    std::vector<Real> x = {static_cast<Real>(random.integer(-20, 20))}, y;
    while (static_cast<int>(x.size()) < n)
      x.push_back(x.back() + static_cast<Real>(std::ldexp(1.0, random.integer(-3, 2))));
    const int slope = random.integer(-9, 9);
    for (const Real node : x) y.push_back(slope * node + 5);
    Guarded<Real> C = build(x, y);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(C[n + i], Real(slope)) << "b, node " << i;
      EXPECT_EQ(C[2 * n + i], Real(0)) << "c, node " << i;
      EXPECT_EQ(C[3 * n + i], Real(0)) << "d, node " << i;
    }
    // A slope of one third is not exact, so rounded ordinates bend the spline.
    double narrowest = inf, most = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
      y[i] = x[i] / 3;
      most = std::max(most, std::fabs(double(y[i])));
      if (i > 0) narrowest = std::min(narrowest, double(x[i]) - x[i - 1]);
    }
    C = build(x, y);
    for (int i = 0; i < n; ++i)
      worst =
          std::max(worst, std::fabs(double(C[n + i]) - 1.0 / 3) / (eps_of<Real> * most / narrowest));
  }
  // An ordinate is off by at most eps/2 of itself, and a slope by that over the width. Neighbours up to
  // 32 times as wide carry this bend to the end of their intervals. Measured: 9.01.
  EXPECT_LE(worst, 20.0) << "eps times the greatest ordinate over the least width";
}

TWIN_TEST(Intspl3, ReproducesAParabolaOnAnyNodes) {
  // Both end rows are zero: the third differences of a parabola vanish, and the missing change of sign
  // at the right end has nothing to act on.
  Random random(20240703);
  double worst = 0;
  for (int times = 0; times < 300; ++times) {
    const int n = random.integer(3, 30);
    std::vector<Real> x = {static_cast<Real>(random.integer(-16, 16)) / 8}, y;
    while (static_cast<int>(x.size()) < n)
      x.push_back(x.back() + static_cast<Real>(random.integer(2, 8)) / 8);
    for (const Real node : x) y.push_back(node * node);
    Guarded<Real> C = build(x, y);
    const double reach = std::max(std::fabs(x.front()), std::fabs(x.back()));
    for (int i = 0; i < n; ++i) {
      const double off[] = {(C[n + i] - 2.0 * x[static_cast<std::size_t>(i)]) / reach,
                            C[2 * n + i] - 1.0, double(C[3 * n + i])};
      for (const double part : off) worst = std::max(worst, std::fabs(part) / reach / eps_of<Real>);
    }
  }
  // Nodes and ordinates are exact. Slopes, up to twice the greatest abscissa, are rounded. Measured:
  // 1.23 in the f twin, 2.00 in the d twin.
  EXPECT_LE(worst, 5.0) << "eps times the greatest abscissa";
}

TWIN_TEST(Intspl3, TakesTheThirdDerivativeOfACubicAtTheLeftEnd) {
  // u^3 on 0, 1, 2, ..: far from the right end the spline is the cubic itself, with third derivative 6.
  const int n = 40;
  std::vector<Real> x, y;
  for (int i = 0; i < n; ++i) {
    x.push_back(static_cast<Real>(i));
    y.push_back(static_cast<Real>(i * i * i));
  }
  Guarded<Real> C = build(x, y);
  // Slopes go up to 4,500 and second derivatives to 234. Errors of their size fall to the left by a
  // factor of 3.7 a node. Measured: b 1.5, c 32, d 16 eps.
  for (int i = 0; i < 10; ++i) {
    EXPECT_NEAR(C[n + i], 3.0 * i * i, 8 * eps_of<Real>) << "b, node " << i;
    EXPECT_NEAR(C[2 * n + i], 3.0 * i, 64 * eps_of<Real>) << "c, node " << i;
    EXPECT_NEAR(C[3 * n + i], 1.0, 32 * eps_of<Real>) << "d, interval " << i;
  }
}

TWIN_TEST(Intspl3, SpreadsANonFiniteOrdinateOverTheWholeSpline) {
  for (const Real odd : {nan_of<Real>, inf_of<Real>}) {
    Guarded<Real> C = build<Real>({0, 1, 2, 3, 4}, {1, 2, odd, 4, 5});
    for (int i = 5; i < 20; ++i)
      EXPECT_TRUE(std::isnan(C[i])) << "element " << i << " is " << shown(C[i]);
  }
}

TWIN_TEST(Intspl3, EqualsItsFormulasBitForBit) {
  Random random(20240704);
  int built = 0;
  for (int times = 0; times < 6000; ++times) {
    const int n = times < 800 ? times % 40 + 2 : random.integer(2, 40);
    const Nodes kind = times % 2 == 0 ? Nodes::ascending : all_kinds_of_nodes[times / 2 % 5];
    const std::vector<Real> x = random_nodes<Real>(random, n, kind, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    Guarded<Real> C = table_of(y);
    std::vector<Real> plain(C.data(), C.data() + C.size());
    const int status = AX_intspl3(x.data(), C.data(), n), expected = plain_build(x, plain);
    ASSERT_EQ(status, expected) << "table " << times;
    ASSERT_TRUE(C.zones_intact() && keeps_ordinates(C, y)) << "table " << times;
    if (status != 0) continue;
    ++built;
    for (int i = 0; i < 4 * n; ++i)
      ASSERT_SAME(C[i], plain[static_cast<std::size_t>(i)])
          << "block " << i / n << ", element " << i % n << ", n = " << n;
  }
  EXPECT_GT(built, 3000);
}

/// How the nodes of a table lie; the tables show how the build rounds.
enum class Steps { random, unit, uneven, close, wide, widest };
/// The ordinates over the nodes.
enum class Ordinates { random, mixed, line, near, steps, tiny, denormal, huge, odd };

/// n nodes. wide: almost to the overflow of their squares; widest: almost to their own overflow.
template <class Real>
std::vector<Real> stepped_nodes(Random& random, int n, Steps steps) {
  constexpr int most = std::numeric_limits<Real>::max_exponent;
  std::vector<Real> x = {steps == Steps::unit ? Real(random.integer(-9, 9)) : Real(0)};
  while (static_cast<int>(x.size()) < n) {
    double step = random.real(0.1, 1.9);
    if (steps == Steps::unit) step = std::ldexp(1.0, n % 4 - 2);
    if (steps == Steps::uneven) step = std::ldexp(step, random.integer(-12, 12));
    if (steps == Steps::close) step = tolerance_of<Real> * random.real(1.5, 4);
    if (steps == Steps::wide) step = std::ldexp(step, most / 2 - random.integer(0, 9));
    if (steps == Steps::widest) step = std::ldexp(step, most - 9);
    x.push_back(static_cast<Real>(x.back() + step));
  }
  return x;
}

template <class Real>
std::vector<Real> ordinates_over(Random& random, const std::vector<Real>& x, Ordinates kind) {
  using Limits = std::numeric_limits<Real>;
  std::vector<Real> y;
  const double rise = random.real(-3, 3), offset = random.real(-9, 9);
  for (const Real node : x) {
    double v = random.real(-2, 2);
    switch (kind) {
      case Ordinates::random:
        break;
      case Ordinates::mixed:
        v = std::ldexp(v, random.integer(-30, 30));
        break;
      case Ordinates::line:
        v = offset + rise * node;
        break;
      case Ordinates::near:
        v = offset * (1 + random.integer(-4, 4) * double(eps_of<Real>));
        break;
      case Ordinates::steps:
        v = random.integer(-1, 1) * 0.0;
        if (random.chance(3)) v = random.integer(-2, 2);
        break;
      case Ordinates::tiny:
        v = std::ldexp(v, Limits::min_exponent + random.integer(0, 80));
        break;
      case Ordinates::denormal:
        v = std::ldexp(v, Limits::min_exponent - random.integer(1, Limits::digits));
        break;
      case Ordinates::huge:
        v = std::ldexp(v, Limits::max_exponent - random.integer(2, 40));
        break;
      case Ordinates::odd:
        if (random.chance(60)) v = random.chance(2) ? not_a_number : random.chance(2) ? inf : -inf;
        break;
    }
    y.push_back(static_cast<Real>(v));
  }
  return y;
}

/// AX_intspl3 against plain_build.
template <class Real>
void expect_plain_coefficients(const std::vector<Real>& x, const std::vector<Real>& y) {
  const int n = static_cast<int>(x.size());
  Guarded<Real> C = table_of(y);
  std::vector<Real> plain(C.data(), C.data() + C.size());
  ASSERT_EQ(AX_intspl3(x.data(), C.data(), n), plain_build(x, plain));
  ASSERT_TRUE(C.zones_intact() && keeps_ordinates(C, y));
  for (int i = 0; i < 4 * n; ++i)
    ASSERT_SAME(C[i], plain[static_cast<std::size_t>(i)])
        << "block " << i / n << ", element " << i % n << ", n = " << n;
}

TWIN_TEST(Intspl3, EqualsItsFormulasBitForBitOnDataOfEveryScale) {
  // In the d twin about one formula in 300 comes so near to the middle between two doubles that its
  // roundings to 64 bits matter. With unit steps one in three lies exactly in the middle.
  Random random(20240710);
  for (const Steps steps :
       {Steps::random, Steps::unit, Steps::uneven, Steps::close, Steps::wide, Steps::widest})
    for (int kind = 0; kind <= static_cast<int>(Ordinates::odd); ++kind)
      for (int times = 0; times < 500; ++times) {
        const int n = times < 100 ? times % 20 + 2 : random.integer(2, 80);
        const std::vector<Real> x = stepped_nodes<Real>(random, n, steps);
        expect_plain_coefficients(x, ordinates_over(random, x, static_cast<Ordinates>(kind)));
        ASSERT_FALSE(testing::Test::HasFailure())
            << "steps " << static_cast<int>(steps) << ", ordinates " << kind << ", table " << times;
      }
}

TWIN_TEST(Intspl3, EqualsItsFormulasBitForBitOnLargeTables) {
  Random random(20240711);
  for (const Steps steps : {Steps::random, Steps::unit, Steps::uneven})
    for (const Ordinates kind : {Ordinates::random, Ordinates::mixed, Ordinates::line}) {
      const std::vector<Real> x = stepped_nodes<Real>(random, 50001, steps);
      expect_plain_coefficients(x, ordinates_over(random, x, kind));
      ASSERT_FALSE(testing::Test::HasFailure()) << "steps " << static_cast<int>(steps);
    }
}

// -- against exact solutions ----------------------------------------------------------------------

/// The tables of exact_splines, as elements.
template <class Real>
std::vector<Real> elements(const std::vector<double>& v) {
  return {v.begin(), v.end()};
}

double greatest(const std::vector<double>& v) {
  double most = 0;
  for (const double element : v) most = std::max(most, std::fabs(element));
  return most;
}

TWIN_TEST(Intspl3, AgreesWithTheExactSplines) {
  for (const ExactSpline& exact : exact_splines) {
    const std::vector<Real> x = elements<Real>(exact.x), y = elements<Real>(exact.y);
    const int n = static_cast<int>(x.size());
    Guarded<Real> C = build(x, y);
    double narrowest = inf;
    for (std::size_t i = 1; i < x.size(); ++i)
      narrowest = std::min(narrowest, exact.x[i] - exact.x[i - 1]);
    const std::vector<double>* blocks[] = {&exact.b, &exact.c, &exact.d};
    for (int k = 0; k < 3; ++k) {
      // The greatest of a block; the cubic coefficients are differences of c over a width.
      const double scale = k == 2 ? greatest(exact.c) / narrowest : greatest(*blocks[k]);
      for (int i = 0; i < n; ++i) {
        const double off = std::fabs(C[(k + 1) * n + i] - (*blocks[k])[static_cast<std::size_t>(i)]);
        // The system is well conditioned, so an error is a few roundings. Measured, over all tables:
        // b 0.89, c 1.01, d 0.54.
        EXPECT_LE(off, 3 * eps_of<Real> * scale) << exact.name << ", "
                                                 << "bcd"[k] << " at node " << i;
      }
    }
  }
}

TWIN_TEST(Intspl3val, AgreesWithTheExactSplines) {
  for (const ExactSpline& exact : exact_splines) {
    const std::vector<Real> x = elements<Real>(exact.x), y = elements<Real>(exact.y);
    Guarded<Real> C = build(x, y);
    const double scale[] = {greatest(exact.s), greatest(exact.s1), greatest(exact.s2)};
    // The value at the end of a wide interval adds the errors of three coefficients. Measured, over all
    // tables: value 3.58, first derivative 1.64, second 1.13.
    constexpr double bound[] = {8, 4, 3};
    for (std::size_t j = 0; j < exact.u.size(); ++j) {
      const At at = evaluate(x, C, exact.u[j]);
      ASSERT_EQ(at.status, AX_INTSPL3VAL_OK) << exact.name << ", u = " << shown(exact.u[j]);
      const double off[] = {at.s - exact.s[j], at.s1 - exact.s1[j], at.s2 - exact.s2[j]};
      for (int k = 0; k < 3; ++k)
        EXPECT_LE(std::fabs(off[k]), bound[k] * eps_of<Real> * scale[k])
            << exact.name << ", derivative " << k << ", u = " << shown(exact.u[j]);
    }
  }
}

// -- one point: statuses --------------------------------------------------------------------------

TWIN_TEST(Intspl3val, HasTheStatusesThatTheHeaderNames) {
  EXPECT_EQ(AX_INTSPL3VAL_OK, 0);
  EXPECT_EQ(AX_INTSPL3VAL_OUT_OF_RANGE, 1);
}

TWIN_TEST(Intspl3val, AcceptsTheSlackOutsideBothEndsAndNothingBeyond) {
  constexpr double tol = tolerance_of<Real>;
  const std::vector<Real> y = {-7, 3, 11, 2};
  for (const std::vector<Real>& x : {std::vector<Real>{0, 1, 2, 4},
                                     {-1000, 1, 3, 5},
                                     {Real(0.1), Real(0.7), 1, 1000000},
                                     {-5, -4, -3, 0}}) {
    Guarded<Real> C = build(x, y);
    const double lowest = x.front() - tol, highest = x.back() + tol;
    for (const double u : {lowest, x.front() - 0.5 * tol, double(x.front())}) {
      const At at = evaluate(x, C, u);
      EXPECT_EQ(at.status, AX_INTSPL3VAL_OK) << "u = " << shown(u);
      EXPECT_SAME(at.s, double(C[0]));
      EXPECT_SAME(at.s1, double(C[4]));
      EXPECT_SAME(at.s2, 2 * double(C[8]));
    }
    for (const double u : {highest, x.back() + 0.5 * tol, double(x.back())}) {
      const At at = evaluate(x, C, u);
      EXPECT_EQ(at.status, AX_INTSPL3VAL_OK) << "u = " << shown(u);
      EXPECT_SAME(at.s, double(C[3]));
      EXPECT_SAME(at.s1, double(C[7]));
      EXPECT_SAME(at.s2, 2 * double(C[11]));
    }
    for (const double u : {std::nextafter(lowest, -inf), x.front() - 2 * tol, x.front() - 1e9, -inf,
                           std::nextafter(highest, inf), x.back() + 2 * tol, x.back() + 1e9, inf})
      EXPECT_EQ(evaluate(x, C, u).status, AX_INTSPL3VAL_OUT_OF_RANGE) << "u = " << shown(u);
  }
}

TWIN_TEST(Intspl3val, RefusesNaN) {
  const std::vector<Real> x = {0, 1, 2, 3};
  Guarded<Real> C = build<Real>(x, {1, 2, 3, 5});
  EXPECT_EQ(evaluate(x, C, not_a_number).status, AX_INTSPL3VAL_OUT_OF_RANGE);
  EXPECT_EQ(evaluate(x, C, -not_a_number).status, AX_INTSPL3VAL_OUT_OF_RANGE);
}

TWIN_TEST(Intspl3val, RefusesNodesInWhichNoIntervalHoldsThePoint) {
  const Real C[] = {1, 2, 3, 4, 5, 6, 7, 8}, nan = nan_of<Real>;
  constexpr double tol = tolerance_of<Real>;
  for (const double u : {-1.0, 0.0, 0.5, 1.0, 2.0}) {
    const Real first[] = {nan, 1}, last[] = {0, nan}, descending[] = {1, 0};
    EXPECT_EQ(evaluate(first, C, 2, u).status, AX_INTSPL3VAL_OUT_OF_RANGE) << "u = " << u;
    EXPECT_EQ(evaluate(last, C, 2, u).status, AX_INTSPL3VAL_OUT_OF_RANGE) << "u = " << u;
    EXPECT_EQ(evaluate(descending, C, 2, u).status, AX_INTSPL3VAL_OUT_OF_RANGE) << "u = " << u;
  }
  // Within the slack of both ends: the point is moved onto the last node, which lies below the first.
  const Real slack[] = {static_cast<Real>(tol), 0};
  EXPECT_EQ(evaluate(slack, C, 2, 0.5 * tol).status, AX_INTSPL3VAL_OUT_OF_RANGE);
}

// -- one point: values ----------------------------------------------------------------------------

TWIN_TEST(Intspl3val, EvaluatesTheCubicOfItsInterval) {
  // 1 + 2 t + 3 t^2 + 4 t^3 on 0..2, and -1 + t - t^3 on 2..4; these coefficients need not join.
  const Real x[] = {0, 2, 4}, C[] = {1, -1, 5, 2, 1, 6, 3, 0, 7, 4, -1, 8};
  const At left = evaluate(x, C, 3, 0.5), right = evaluate(x, C, 3, 3.5);
  EXPECT_SAME(left.s, 3.25);
  EXPECT_SAME(left.s1, 8.0);
  EXPECT_SAME(left.s2, 18.0);
  EXPECT_SAME(right.s, -2.875);
  EXPECT_SAME(right.s1, -5.75);
  EXPECT_SAME(right.s2, -9.0);
}

TWIN_TEST(Intspl3val, UsesTheCoefficientsOfTheLastNodeOnIt) {
  const Real x[] = {0, 2, 4}, C[] = {1, -1, 5, 2, 1, 6, 3, 0, 7, 4, -1, 8};
  for (const double u : {4.0, 4 + 0.5 * tolerance_of<Real>}) {
    const At at = evaluate(x, C, 3, u);
    EXPECT_SAME(at.s, 5.0);
    EXPECT_SAME(at.s1, 6.0);
    EXPECT_SAME(at.s2, 14.0);
  }
}

TWIN_TEST(Intspl3val, TakesASingleNodeForItsOwnInterval) {
  const Real x[] = {2}, C[] = {5, 6, 7, 8};
  const At at = evaluate(x, C, 1, 2.0);
  EXPECT_EQ(at.status, AX_INTSPL3VAL_OK);
  EXPECT_SAME(at.s, 5.0);
  EXPECT_SAME(at.s1, 6.0);
  EXPECT_SAME(at.s2, 14.0);
  EXPECT_EQ(evaluate(x, C, 1, 2.5).status, AX_INTSPL3VAL_OUT_OF_RANGE);
}

TWIN_TEST(Intspl3val, DeliversDoubleAtADoublePointInBothTwins) {
  const Real x[] = {0, 1}, C[] = {0, 1, 1, 1, 0, 0, 0, 0}, cube[] = {0, 1, 0, 0, 0, 0, 1, 1};
  EXPECT_SAME(evaluate(x, C, 2, 1.0 / 3.0).s, 1.0 / 3.0);
  const At at = evaluate(x, cube, 2, 1.0 / 3.0);
  const Wide t = 1.0 / 3.0;
  EXPECT_SAME(at.s, static_cast<double>(t * t * t));
  EXPECT_SAME(at.s1, static_cast<double>(3 * t * t));
  EXPECT_SAME(at.s2, static_cast<double>(6 * t));
}

TWIN_TEST(Intspl3val, RoundsTheDistanceFromTheNodeToDouble) {
  // 1 + 2^-55 is 1 in double, where t^2 - t is zero.
  const Real x[] = {static_cast<Real>(-0x1p-55), 2}, C[] = {0, 0, -1, 0, 1, 0, 0, 0};
  EXPECT_SAME(evaluate(x, C, 2, 1.0).s, 0.0);
}

TWIN_TEST(Intspl3val, KeepsTheSignOfAZeroOnTheLastNode) {
  // The other terms of the cubic are zeros there, with the sign of the first derivative.
  const Real x[] = {0, 1}, falls[] = {5, Real(-0.0), -5, -5, 0, 0, 0, 0},
             rises[] = {-5, Real(-0.0), 5, 5, 0, 0, 0, 0};
  EXPECT_SAME(evaluate(x, falls, 2, 1.0).s, -0.0);
  EXPECT_SAME(evaluate(x, rises, 2, 1.0).s, 0.0);
}

TWIN_TEST(Intspl3val, EqualsItsFormulasBitForBit) {
  Random random(20240705);
  int evaluated = 0;
  for (int times = 0; times < 3000; ++times) {
    const int n = random.integer(1, 40);
    const std::vector<Real> x =
        random_nodes<Real>(random, n, all_kinds_of_nodes[times % 5], tolerance_of<Real>);
    const std::vector<Real> C = random_ordinates<Real>(random, 4 * n);
    for (const Real point : random_points(random, 20, x, all_kinds_of_points[random.integer(0, 4)],
                                          1.5 * tolerance_of<Real>)) {
      const double u = random.chance(2) ? double(point) : point * (1 + random.real(-1, 1) * 1e-10);
      const At at = evaluate(x.data(), C.data(), n, u), plain = plain_evaluate(x, C.data(), u);
      ASSERT_EQ(at.status, plain.status) << "u = " << shown(u) << ", table " << times;
      if (at.status != 0) continue;
      ASSERT_SAME(at.s, plain.s) << "u = " << shown(u) << ", table " << times;
      ASSERT_SAME(at.s1, plain.s1) << "u = " << shown(u) << ", table " << times;
      ASSERT_SAME(at.s2, plain.s2) << "u = " << shown(u) << ", table " << times;
      ++evaluated;
    }
  }
  EXPECT_GT(evaluated, 30000);
}

TWIN_TEST(Intspl3val, PassesThroughTheTable) {
  Random random(20240706);
  double worst = 0;
  for (int times = 0; times < 500; ++times) {
    const int n = random.integer(2, 30);
    const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    Guarded<Real> C = build(x, y);
    for (int i = 0; i < n; ++i) {
      const auto k = static_cast<std::size_t>(i);
      const double s = evaluate(x, C, x[k]).s;
      // The f twin starts an interval at every node, the d twin at the first node and the last.
      if (sizeof(Real) == 4 || i == 0 || i == n - 1) {
        EXPECT_EQ(s, double(y[k])) << "node " << i << " of " << n;
      } else {
        // At the end of an interval the terms of the cubic carry the roundings of its coefficients.
        const double h = x[k] - x[k - 1];
        const double terms = std::fabs(y[k - 1]) + std::fabs(C[n + i - 1] * h) +
                             std::fabs(C[2 * n + i - 1] * h * h) +
                             std::fabs(C[3 * n + i - 1] * h * h * h);
        worst = std::max(worst, std::fabs(s - y[k]) / (eps_of<Real> * terms));
      }
    }
  }
  // Measured: 0.62.
  EXPECT_LE(worst, 2.0) << "eps times the sum of the terms";
}

TWIN_TEST(Intspl3val, IsContinuousWithTwoDerivativesAtInteriorNodes) {
  Random random(20240707);
  double worst[3] = {};
  for (int times = 0; times < 500; ++times) {
    const int n = random.integer(3, 30);
    // With steps of the same size the scales below hold for every interval.
    std::vector<Real> x;
    const double from = random.real(-1, 1);
    for (int i = 0; i < n; ++i) x.push_back(static_cast<Real>(from + i + random.real(-0.25, 0.25)));
    Guarded<Real> C = build(x, random_ordinates<Real>(random, n));
    double scale[4] = {2, 0, 0, 0};
    for (int i = 0; i < n; ++i) {
      scale[1] = std::max(scale[1], std::fabs(double(C[n + i])));
      scale[2] = std::max(scale[2], 2 * std::fabs(double(C[2 * n + i])));
      scale[3] = std::max(scale[3], 6 * std::fabs(double(C[3 * n + i])));
    }
    for (std::size_t k = 1; k + 1 < x.size(); ++k) {
      const At left = evaluate(x, C, std::nextafter(double(x[k]), -inf)), on = evaluate(x, C, x[k]),
               right = evaluate(x, C, std::nextafter(double(x[k]), inf));
      const double step = std::nextafter(std::fabs(double(x[k])), inf) - std::fabs(double(x[k]));
      for (const At& side : {left, right}) {
        const double jump[] = {side.s - on.s, side.s1 - on.s1, side.s2 - on.s2};
        for (int order = 0; order < 3; ++order) {
          // Less what the step itself changes.
          const double rest = std::fabs(jump[order]) - step * scale[order + 1];
          worst[order] = std::max(worst[order], rest / scale[order] / eps_of<Real>);
        }
      }
    }
  }
  // An error of b moves the end of an interval of width 1.5. Measured: value 5.52, first
  // derivative 6.28, second 1.34.
  constexpr double bound[] = {12, 12, 3};
  for (int k = 0; k < 3; ++k)
    EXPECT_LE(worst[k], bound[k]) << "eps times the scale of derivative " << k;
}

// -- many points ----------------------------------------------------------------------------------

/// Which of the three outputs a call asks for: bit 0 value, bit 1 first, bit 2 second derivative.
constexpr int all_outputs = 7;

/// Compares AX_intspl3tab, with guarded outputs, with AX_intspl3 and AX_intspl3val point by point:
/// statuses, coefficients, values rounded to the element type. From the first refusal on everything
/// must be untouched, and so must an output that was not asked for. Returns the status.
template <class Real>
int expect_as_point_by_point(const std::vector<Real>& x, const std::vector<Real>& y,
                             const std::vector<Real>& u, int outputs = all_outputs) {
  const int n = static_cast<int>(x.size()), m = static_cast<int>(u.size());
  Guarded<Real> expected_C = table_of(y);
  int expected = AX_intspl3(x.data(), expected_C.data(), n);
  int written = 0;
  std::vector<At> values;
  for (; expected == 0 && written < m; ++written) {
    values.push_back(evaluate(x, expected_C, u[static_cast<std::size_t>(written)]));
    if (values.back().status != 0) {
      expected = AX_INTSPL3TAB_OUT_OF_RANGE;
      break;
    }
  }

  Guarded<Real> C = table_of(y), s(m), s1(m), s2(m);
  const int status =
      AX_intspl3tab(x.data(), C.data(), n, m, u.data(), outputs & 1 ? s.data() : nullptr,
                    outputs & 2 ? s1.data() : nullptr, outputs & 4 ? s2.data() : nullptr);
  EXPECT_EQ(status, expected) << "n = " << n << ", m = " << m;
  EXPECT_TRUE(C.zones_intact() && keeps_ordinates(C, y));
  for (int i = 0; i < 4 * n; ++i)
    if (expected_C.untouched(i) ? !C.untouched(i) : !same_bits(C[i], expected_C[i]))
      ADD_FAILURE() << "element " << i << " of C is " << shown(C[i]) << ", not "
                    << shown(expected_C[i]);

  const auto compare = [&](Guarded<Real>& out, bool wanted, double At::*member, const char* name) {
    EXPECT_TRUE(out.zones_intact()) << name;
    EXPECT_TRUE(out.untouched_from(wanted ? written : 0)) << name << " from " << written << " of " << m;
    for (int j = 0; wanted && j < written; ++j) {
      const auto at = static_cast<std::size_t>(j);
      EXPECT_SAME(out[j], static_cast<Real>(values[at].*member))
          << name << " at position " << j << " of " << m << ", u = " << shown(u[at]) << ", n = " << n;
      if (testing::Test::HasFailure()) break;
    }
  };
  compare(s, outputs & 1, &At::s, "s");
  compare(s1, outputs & 2, &At::s1, "s1");
  compare(s2, outputs & 4, &At::s2, "s2");
  return status;
}

TWIN_TEST(Intspl3tab, HasTheStatusesThatTheHeaderNames) {
  EXPECT_EQ(AX_INTSPL3TAB_OK, 0);
  EXPECT_EQ(AX_INTSPL3TAB_BAD_SIZE, 1);
  EXPECT_EQ(AX_INTSPL3TAB_BAD_NODES, 2);
  EXPECT_EQ(AX_INTSPL3TAB_OUT_OF_RANGE, 3);
}

TWIN_TEST(Intspl3tab, RefusesFewerThanTwoNodesOrNoPoint) {
  const Real x[] = {0, 1, 2}, u[] = {1};
  constexpr int least = std::numeric_limits<int>::min();
  const int sizes[][2] = {{1, 1},  {0, 1},     {-1, 1}, {least, 1}, {3, 0},
                          {3, -1}, {3, least}, {1, 0},  {0, 0},     {2, 0}};
  for (const auto& [n, m] : sizes) {
    Guarded<Real> C(12), s(1), s1(1), s2(1);
    EXPECT_EQ(AX_intspl3tab(x, C.data(), n, m, u, s.data(), s1.data(), s2.data()),
              AX_INTSPL3TAB_BAD_SIZE)
        << "n = " << n << ", m = " << m;
    for (Guarded<Real>* out : {&C, &s, &s1, &s2})
      EXPECT_TRUE(out->untouched_from(0) && out->zones_intact()) << "n = " << n << ", m = " << m;
  }
}

TWIN_TEST(Intspl3tab, RefusesNodesThatTheBuildRefusesAndLeavesTheOutputsUntouched) {
  const std::vector<Real> y = {1, 2, 3, 4}, u = {1, 2};
  const Real close = static_cast<Real>(0.5 * tolerance_of<Real>);
  for (const std::vector<Real>& x : {std::vector<Real>{0, 0, 1, 2},
                                     {0, close, 1, 2},
                                     {0, 2, 1, 3},
                                     {0, 1, 1, 2},
                                     {0, 1, 2, 1},
                                     {0, nan_of<Real>, 1, 2}})
    EXPECT_EQ(expect_as_point_by_point(x, y, u), AX_INTSPL3TAB_BAD_NODES);
}

TWIN_TEST(Intspl3tab, KeepsTheFirstTwoPointsWhenTheThirdLiesOutside) {
  const std::vector<Real> x = {0, 1, 2, 3}, y = {1, 2, 0, 5};
  for (const Real outside : {Real(-1), Real(4), nan_of<Real>, inf_of<Real>, -inf_of<Real>})
    EXPECT_EQ(expect_as_point_by_point(x, y, {Real(0.5), Real(2.5), outside, Real(1.5)}),
              AX_INTSPL3TAB_OUT_OF_RANGE);
}

TWIN_TEST(Intspl3tab, LeavesTheCoefficientsReadyForEvaluation) {
  const std::vector<Real> x = {0, 1, 2, 3}, y = {1, 2, 0, 5}, u = {Real(0.5)}, outside = {9};
  for (const std::vector<Real>& points : {u, outside}) {
    Guarded<Real> C = table_of(y), built = build(x, y);
    Guarded<Real> s(1);
    AX_intspl3tab(x.data(), C.data(), 4, 1, points.data(), s.data(), static_cast<Real*>(nullptr),
                  static_cast<Real*>(nullptr));
    for (int i = 0; i < 16; ++i) EXPECT_SAME(C[i], built[i]) << "element " << i;
  }
}

TWIN_TEST(Intspl3tab, WritesTheOutputsThatAreAskedForInEveryCombination) {
  const std::vector<Real> x = {0, 1, 2, 3, 5}, y = {1, 2, 0, 5, -1};
  for (int outputs = 0; outputs <= all_outputs; ++outputs)
    for (const int m : {1, 5, 8, 9, 16, 20, 24})
      for (const Real step : {Real(0.01), Real(0.2)}) {
        std::vector<Real> u;
        for (int j = 0; j < m; ++j) u.push_back(static_cast<Real>(0.05 + j * step));
        EXPECT_EQ(expect_as_point_by_point(x, y, u, outputs), AX_INTSPL3TAB_OK)
            << "outputs " << outputs;
        u[static_cast<std::size_t>(m / 2)] = nan_of<Real>;
        EXPECT_EQ(expect_as_point_by_point(x, y, u, outputs), AX_INTSPL3TAB_OUT_OF_RANGE)
            << "outputs " << outputs;
      }
}

TWIN_TEST(Intspl3tab, LeavesTheOutputsUntouchedFromEveryPositionOfARefusedPoint) {
  constexpr double tol = tolerance_of<Real>;
  const std::vector<Real> x = {0, 1, 2, 3}, y = {5, 7, -2, 4};
  const Real refused[] = {static_cast<Real>(-2 * tol), static_cast<Real>(3 + 2 * tol), nan_of<Real>,
                          inf_of<Real>};
  for (int m = 1; m <= 40; ++m)
    for (int position = 0; position < m; ++position)
      for (const Real bad : refused) {
        std::vector<Real> one_interval, every_interval;
        for (int j = 0; j < m; ++j) {
          one_interval.push_back(static_cast<Real>(1.25 + 0.01 * j));
          every_interval.push_back(static_cast<Real>(j % 13 * 0.25));
        }
        for (std::vector<Real>* u : {&one_interval, &every_interval}) {
          (*u)[static_cast<std::size_t>(position)] = bad;
          ASSERT_EQ(expect_as_point_by_point(x, y, *u), AX_INTSPL3TAB_OUT_OF_RANGE)
              << "m = " << m << ", position " << position;
          ASSERT_FALSE(testing::Test::HasFailure()) << "m = " << m << ", position " << position;
        }
      }
}

TWIN_TEST(Intspl3tab, EqualsTheOnePointFunctionOnRandomTables) {
  Random random(20240708);
  int whole = 0, refused = 0;
  for (int times = 0; times < 5000; ++times) {
    const int n = random.integer(2, random.chance(4) ? 40 : 8);
    const Nodes nodes = times % 10 == 9 ? all_kinds_of_nodes[times / 10 % 5] : Nodes::ascending;
    const int m = times < 2000 ? times % 40 + 1 : random.integer(1, 150);
    const std::vector<Real> x = random_nodes<Real>(random, n, nodes, tolerance_of<Real>);
    const std::vector<Real> y = random_ordinates<Real>(random, n);
    std::vector<Real> u =
        random_points(random, m, x, all_kinds_of_points[times / 2 % 5], 0.9 * tolerance_of<Real>);
    if (random.chance(10)) u[static_cast<std::size_t>(random.integer(0, m - 1))] = nan_of<Real>;
    const int status = expect_as_point_by_point(x, y, u);
    ASSERT_FALSE(testing::Test::HasFailure()) << "table " << times;
    ++(status == 0 ? whole : refused);
  }
  EXPECT_GT(whole, 2000);
  EXPECT_GT(refused, 500);
}

TWIN_TEST(Intspl3tab, DoesNotLetOneBlockOfPointsChangeTheNext) {
  // Blocks of eight: in an interval, on a node, ending on the last node, with a point in the slack.
  const Real slack = static_cast<Real>(0.5 * tolerance_of<Real>);
  const std::array<Real, 8> kinds[] = {{0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 0.0625},
                                       {2.125, 2.25, 2.375, 2.5, 2.625, 2.75, 2.875, 2.0625},
                                       {3.125, 3.25, 3.375, 3.5, 3.625, 3.75, 3.875, 3.0625},
                                       {4, 4, 4, 4, 4, 4, 4, 4},
                                       {2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 4},
                                       {4, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5},
                                       {2, 2, 2, 2, 2, 2, 2, 2},
                                       {2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 4 + slack},
                                       {-slack, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5, 2.5},
                                       {3, 0.5, 1.5, 2, 3.5, 0, 1, 2.5}};
  const std::vector<Real> x = {0, 1, 2, 3, 4}, y = {5, -1, 8, 2, -9};
  for (const auto& first : kinds)
    for (const auto& second : kinds)
      for (const auto& third : kinds) {
        std::vector<Real> u;
        for (const auto* block : {&first, &second, &third})
          u.insert(u.end(), block->begin(), block->end());
        ASSERT_EQ(expect_as_point_by_point(x, y, u), AX_INTSPL3TAB_OK);
        ASSERT_FALSE(testing::Test::HasFailure())
            << "blocks from " << shown(first[0]) << ", " << shown(second[0]) << ", " << shown(third[0]);
      }
}

TWIN_TEST(Intspl3tab, TakesNodesEndsAndSlackAnywhereAmongItsPoints) {
  Random random(20240711);
  for (int m = 1; m <= 200; ++m)
    for (const Points kind : {Points::random, Points::sorted, Points::runs}) {
      const int n = random.chance(4) ? 2 : random.integer(3, 20);
      const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
      const std::vector<Real> y = random_ordinates<Real>(random, n);
      ASSERT_EQ(expect_as_point_by_point(x, y, scattered_points(random, m, x, kind, tolerance_of<Real>),
                                         random.integer(0, all_outputs)),
                AX_INTSPL3TAB_OK);
      ASSERT_FALSE(testing::Test::HasFailure()) << "n = " << n << ", m = " << m;
    }
}

TWIN_TEST(Intspl3tab, EndsAtTheFirstRefusedPointAnywhereInALongTable) {
  Random random(20240712);
  constexpr double tol = tolerance_of<Real>;
  for (const int m : {64, 65, 128, 150, 200})
    for (int position = 0; position < m; ++position) {
      const int n = random.integer(2, 12);
      const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tol);
      const std::vector<Real> y = random_ordinates<Real>(random, n);
      std::vector<Real> u = scattered_points(random, m, x, Points::random, tolerance_of<Real>);
      refuse_from(position, x, random, u);
      ASSERT_EQ(expect_as_point_by_point(x, y, u, random.integer(0, all_outputs)),
                AX_INTSPL3TAB_OUT_OF_RANGE);
      ASSERT_FALSE(testing::Test::HasFailure()) << "m = " << m << ", position " << position;
    }
}

TWIN_TEST(Intspl3tab, TouchesNothingBesideItsArrays) {
  Random random(20240713);
  Fenced<Real> nodes(20), table(80), points(200), out(200);
  for (const Touching touching : {Touching::end, Touching::begin})
    for (int m = 1; m <= 200; m += m < 70 ? 1 : 13)
      for (int wanted = 0; wanted < 3; ++wanted) {
        const int n = random.integer(2, 20);
        const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
        const std::vector<Real> y = random_ordinates<Real>(random, n),
                                u = scattered_points(random, m, x, Points::random, tolerance_of<Real>);
        Real *own_x = nodes.lay(n, signal_of<Real>(), touching),
             *C = table.lay(4 * n, signal_of<Real>(), touching),
             *own_u = points.lay(m, signal_of<Real>(), touching);
        std::copy(x.begin(), x.end(), own_x);
        std::copy(y.begin(), y.end(), C);
        std::copy(u.begin(), u.end(), own_u);
        Real* into[3] = {};
        into[wanted] = out.lay(m, Guarded<Real>::poison(), touching);
        ASSERT_EQ(AX_intspl3tab(own_x, C, n, m, own_u, into[0], into[1], into[2]), AX_INTSPL3TAB_OK);
        ASSERT_TRUE(table.zone_intact() && out.zone_intact()) << "n = " << n << ", m = " << m;
        for (int j = 0; j < m; ++j) {
          const At at = evaluate(own_x, C, n, u[static_cast<std::size_t>(j)]);
          ASSERT_SAME(out[j], static_cast<Real>(wanted == 0 ? at.s : wanted == 1 ? at.s1 : at.s2));
        }
      }
}

TWIN_TEST(Intspl3tab, WritesAnyOneOutputOverItsOwnPoints) {
  Random random(20240709);
  const std::vector<Real> y = {1, -2, 0, 3, 1, 1};
  for (int m = 1; m <= 200; m += m < 70 ? 1 : 13)
    for (const Points kind : all_kinds_of_points)
      for (int over = 0; over < 3; ++over) {
        const std::vector<Real> x = random_nodes<Real>(random, 6, Nodes::ascending, tolerance_of<Real>);
        std::vector<Real> u = scattered_points(random, m, x, kind, tolerance_of<Real>);
        if (m % 3 == 0) u[static_cast<std::size_t>(m / 2)] = nan_of<Real>;
        // Separate outputs: places that are not written keep what they held.
        std::vector<Real> apart[3] = {u, u, u};
        Guarded<Real> C = table_of(y);
        const int status = AX_intspl3tab(x.data(), C.data(), 6, m, u.data(), apart[0].data(),
                                         apart[1].data(), apart[2].data());
        std::vector<Real> out[3] = {u, u, u};
        Guarded<Real> both(m);
        std::copy(u.begin(), u.end(), both.data());
        const auto target = [&](int k) { return k == over ? both.data() : out[k].data(); };
        C = table_of(y);
        ASSERT_EQ(AX_intspl3tab(x.data(), C.data(), 6, m, both.data(), target(0), target(1), target(2)),
                  status);
        ASSERT_TRUE(both.zones_intact());
        for (int k = 0; k < 3; ++k)
          for (int j = 0; j < m; ++j)
            ASSERT_SAME(target(k)[j], apart[k][static_cast<std::size_t>(j)])
                << "output " << k << " over points " << over << ", " << j << " of " << m;
      }
}

}  // namespace

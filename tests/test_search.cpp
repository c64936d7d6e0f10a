// tests/test_search.cpp - interval search in a node table, position of a value in an index vector.
#include "kernels/scalar/search.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/guarded.hpp"
#include "tests/support/plain_search.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using tabfit::I_find;
using tabfit::search_width;
using tabfit::V_search;
using tabfit::V_search_block;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

double above(double t) { return std::nextafter(t, inf); }
double below(double t) { return std::nextafter(t, -inf); }

/// The abscissa and the nodes, for a failure's message.
template <class Real>
testing::Message described(double t, const std::vector<Real>& x) {
  testing::Message text;
  text << "t = " << testing::PrintToString(t) << ", n = " << x.size() << ", x =";
  for (std::size_t i = 0; i < x.size() && i < 12; ++i) text << " " << testing::PrintToString(x[i]);
  if (x.size() > 12) text << " ...";
  return text;
}

/// Critical abscissae for the nodes x: all nodes, the doubles and the elements beside each, a point in
/// each interval, points far away, infinities and NaN.
template <class Real>
std::vector<double> telling_abscissae(const std::vector<Real>& x) {
  std::vector<double> t = {0.0, -0.0, -1e300, 1e300, -inf, inf, not_a_number};
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double node = x[i];
    t.insert(t.end(), {node, below(node), above(node), double(std::nextafter(x[i], -inf_of<Real>)),
                       double(std::nextafter(x[i], inf_of<Real>))});
    if (i + 1 < x.size()) t.push_back(node + 0.4 * (x[i + 1] - node));
  }
  return t;
}

// -- one abscissa: codes --------------------------------------------------------------------------

TWIN_TEST(Search, GivesMinusTwoForAnEmptyTableWhateverTheAbscissa) {
  const Real x[] = {1};
  for (const double t : {0.0, 1.0, 2.0, inf, -inf, not_a_number})
    for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
      EXPECT_EQ(V_search(t, x, n), -2) << "t = " << t << ", n = " << n;
      EXPECT_EQ(V_search(t, static_cast<const Real*>(nullptr), n), -2) << "t = " << t << ", n = " << n;
    }
}

TWIN_TEST(Search, PlacesAbscissaeBelowOnAndAboveASingleNode) {
  const Real x[] = {3};
  EXPECT_EQ(V_search(below(3), x, 1), -1);
  EXPECT_EQ(V_search(3.0, x, 1), 0);
  EXPECT_EQ(V_search(above(3), x, 1), 1);
  EXPECT_EQ(V_search(-inf, x, 1), -1);
  EXPECT_EQ(V_search(inf, x, 1), 1);
  EXPECT_EQ(V_search(not_a_number, x, 1), -1);
}

TWIN_TEST(Search, GivesMinusOneBelowTheFirstNode) {
  const Real x[] = {-2, 0, 1, 5};
  EXPECT_EQ(V_search(below(-2), x, 4), -1);
  EXPECT_EQ(V_search(-1e300, x, 4), -1);
  EXPECT_EQ(V_search(-inf, x, 4), -1);
}

TWIN_TEST(Search, GivesTheNumberOfNodesAboveTheLast) {
  const Real x[] = {-2, 0, 1, 5};
  for (int n = 1; n <= 4; ++n) {
    EXPECT_EQ(V_search(above(x[n - 1]), x, n), n);
    EXPECT_EQ(V_search(inf, x, n), n);
  }
}

TWIN_TEST(Search, GivesMinusOneForNaN) {
  const Real x[] = {-2, 0, 1, 5};
  for (int n = 1; n <= 4; ++n) EXPECT_EQ(V_search(not_a_number, x, n), -1) << "n = " << n;
}

TWIN_TEST(Search, GivesZeroOnTheFirstNodeAndTheLastIndexOnTheLastNode) {
  std::vector<Real> x;
  for (int n = 1; n <= 40; ++n) {
    x.push_back(static_cast<Real>(n * n));
    EXPECT_EQ(V_search(x[0], x.data(), n), 0) << "n = " << n;
    EXPECT_EQ(V_search(x.back(), x.data(), n), n - 1) << "n = " << n;
  }
}

TWIN_TEST(Search, PutsAnInteriorNodeRightInTheFTwinAndLeftInTheDTwin) {
  std::vector<Real> x;
  for (int n = 1; n <= 70; ++n) {
    x.push_back(static_cast<Real>(0.75 * n));
    for (int k = 1; k < n - 1; ++k)
      EXPECT_EQ(V_search(x[static_cast<std::size_t>(k)], x.data(), n), sizeof(Real) == 4 ? k : k - 1)
          << "node " << k << " of " << n;
  }
}

TWIN_TEST(Search, FindsTheIntervalOfEveryPointBetweenNodes) {
  std::vector<Real> x;
  for (int n = 1; n <= 70; ++n) {
    x.push_back(static_cast<Real>(n % 3 == 0 ? n : n + 0.25));
    for (int i = 0; i < n - 1; ++i) {
      const double left = x[static_cast<std::size_t>(i)], right = x[static_cast<std::size_t>(i) + 1];
      for (const double t : {above(left), left + 0.5 * (right - left), below(right)})
        EXPECT_EQ(V_search(t, x.data(), n), i) << described(t, x);
    }
  }
}

TWIN_TEST(Search, ComparesTheAbscissaAsDouble) {
  // The doubles beside a float node round to it, although they lie left and right of it.
  const Real x[] = {0, static_cast<Real>(0.1), 1};
  EXPECT_EQ(V_search(above(x[1]), x, 3), 1);
  EXPECT_EQ(V_search(below(x[1]), x, 3), 0);
  const Real last[] = {0, static_cast<Real>(0.1)};
  EXPECT_EQ(V_search(above(last[1]), last, 2), 2);
  EXPECT_EQ(V_search(below(last[1]), last, 2), 0);
}

TWIN_TEST(Search, TakesBothZerosForTheSameNode) {
  const Real x[] = {Real(-0.0), 1, 2};
  EXPECT_EQ(V_search(0.0, x, 3), 0);
  const Real positive[] = {0, 1, 2};
  EXPECT_EQ(V_search(-0.0, positive, 3), 0);
  const Real last[] = {-2, -1, Real(0.0)};
  EXPECT_EQ(V_search(-0.0, last, 3), 2);
  const Real middle[] = {-1, Real(-0.0), 1};
  EXPECT_EQ(V_search(0.0, middle, 3), sizeof(Real) == 4 ? 1 : 0);
}

TWIN_TEST(Search, FollowsTheOrderedComparisonsWhenAnEndNodeIsNaN) {
  const Real first[] = {nan_of<Real>, 1, 2};
  for (const double t : {0.0, 1.0, 1.5, 2.0, 3.0}) EXPECT_EQ(V_search(t, first, 3), -1) << "t = " << t;
  // No abscissa exceeds or equals a last node that is NaN, so the halving begins.
  const Real last[] = {0, 1, nan_of<Real>};
  EXPECT_EQ(V_search(0.0, last, 3), 0);
  EXPECT_EQ(V_search(0.5, last, 3), 0);
  EXPECT_EQ(V_search(7.0, last, 3), 2);
}

TWIN_TEST(Search, AcceptsInfiniteNodes) {
  const Real x[] = {-inf_of<Real>, 0, inf_of<Real>};
  EXPECT_EQ(V_search(-inf, x, 3), 0);
  EXPECT_EQ(V_search(-1e308, x, 3), 0);
  EXPECT_EQ(V_search(1e308, x, 3), 1);
  EXPECT_EQ(V_search(inf, x, 3), 2);
}

// -- one abscissa: against the definition ---------------------------------------------------------

/// Compares V_search with plain_search at the critical abscissae of x.
template <class Real>
void expect_plain_results(const std::vector<Real>& x) {
  const int n = static_cast<int>(x.size());
  for (const double t : telling_abscissae(x)) {
    const int found = V_search(t, x.data(), n);
    ASSERT_EQ(found, plain_search(t, x.data(), n)) << described(t, x);
    if (n > 0 && t >= x.front() && !(t > x.back())) {
      ASSERT_TRUE(found >= 0 && found < n) << described(t, x);
    }
  }
}

TWIN_TEST(Search, EqualsThePlainHalvingOnNodesOfEveryKindAndLength) {
  Random random(20240501);
  for (int n = 0; n <= 70; ++n)
    for (const Nodes kind : all_kinds_of_nodes)
      for (int times = 0; times < 4; ++times)
        expect_plain_results(random_nodes<Real>(random, n, kind, tolerance_of<Real>));
}

TWIN_TEST(Search, EqualsThePlainHalvingBesideZerosAndAtTheEndsOfTheRange) {
  using Limits = std::numeric_limits<Real>;
  const Real least = Limits::denorm_min(), most = Limits::max(), infinite = Limits::infinity();
  for (const Real zero : {Real(0.0), Real(-0.0)})
    for (const std::vector<Real>& x :
         {std::vector<Real>{-infinite, -most, -1, -least, zero, least, 1, most, infinite},
          {-most, -least, zero, zero, least, most},
          {-1, zero, 1},
          {-infinite, zero, infinite}})
      expect_plain_results(x);
}

TWIN_TEST(Search, EqualsThePlainHalvingOnTablesOfFewDistinctNodes) {
  // All tables of up to six nodes out of 0, 1, 2: repeated, descending, mixed.
  for (int n = 1; n <= 6; ++n) {
    int tables = 1;
    for (int i = 0; i < n; ++i) tables *= 3;
    for (int code = 0; code < tables; ++code) {
      std::vector<Real> x;
      for (int i = 0, rest = code; i < n; ++i, rest /= 3) x.push_back(static_cast<Real>(rest % 3));
      for (const double t : {-1.0, 0.0, 0.5, 1.0, 1.5, 2.0, 3.0})
        ASSERT_EQ(V_search(t, x.data(), n), plain_search(t, x.data(), n)) << described(t, x);
    }
  }
}

TWIN_TEST(Search, EqualsThePlainHalvingOnLargeTables) {
  Random random(20240502);
  for (const int n : {127, 128, 129, 1000, 4095, 4096, 4097, 100003}) {
    const Nodes kind = n == 1000 ? Nodes::repeated : Nodes::ascending;
    const std::vector<Real> x = random_nodes<Real>(random, n, kind, tolerance_of<Real>);
    for (int times = 0; times < 2000; ++times) {
      const double node = x[static_cast<std::size_t>(random.integer(0, n - 1))];
      for (const double t : {node, above(node), node + random.real(-0.5, 0.5)})
        ASSERT_EQ(V_search(t, x.data(), n), plain_search(t, x.data(), n))
            << "t = " << t << ", n = " << n;
    }
  }
}

// -- eight abscissae ------------------------------------------------------------------------------

/// Compares V_search_block with plain_search at t[0..7], which lie between the ends of x.
template <class Real>
void expect_plain_block(const Real* t, const std::vector<Real>& x) {
  const int n = static_cast<int>(x.size());
  Guarded<int> index(search_width);
  V_search_block(t, x.data(), n, index.data());
  ASSERT_TRUE(index.zones_intact());
  for (int k = 0; k < search_width; ++k)
    ASSERT_EQ(index[k], plain_search(t[k], x.data(), n))
        << "abscissa " << k << ": " << described(t[k], x);
}

/// The critical abscissae that V_search_block accepts.
template <class Real>
std::vector<Real> abscissae_between_ends(const std::vector<Real>& x) {
  std::vector<Real> between;
  for (const double t : telling_abscissae(x)) {
    const Real u = static_cast<Real>(t);
    if (x.front() < u && u < x.back()) between.push_back(u);
  }
  return between;
}

TWIN_TEST(SearchBlock, TakesEightAbscissae) { EXPECT_EQ(search_width, 8); }

TWIN_TEST(SearchBlock, EqualsThePlainHalvingOnAscendingNodesOfEveryLength) {
  Random random(20240503);
  int blocks = 0;
  for (int n = 2; n <= 70; ++n)
    for (const Nodes kind : {Nodes::ascending, Nodes::close})
      for (int times = 0; times < 10; ++times) {
        const std::vector<Real> x = random_nodes<Real>(random, n, kind, tolerance_of<Real>);
        const std::vector<Real> between = abscissae_between_ends(x);
        if (between.empty()) continue;
        for (int block = 0; block < 10; ++block, ++blocks) {
          std::array<Real, search_width> t{};
          for (Real& u : t)
            u = between[static_cast<std::size_t>(
                random.integer(0, static_cast<int>(between.size()) - 1))];
          expect_plain_block(t.data(), x);
        }
      }
  EXPECT_GT(blocks, 8000);
}

TWIN_TEST(SearchBlock, PlacesInteriorNodesAndPointsBesideTheEndsAtEveryPosition) {
  for (int n = 3; n <= 33; ++n) {
    std::vector<Real> x;
    for (int i = 0; i < n; ++i) x.push_back(static_cast<Real>(i));
    const Real candidates[] = {Real(0.5), 1, Real(n - 2), Real(n - 1.5)};
    for (const Real most : candidates)
      for (const Real one : candidates)
        for (int position = 0; position < search_width; ++position) {
          std::array<Real, search_width> t{};
          t.fill(most);
          t[static_cast<std::size_t>(position)] = one;
          expect_plain_block(t.data(), x);
        }
  }
}

TWIN_TEST(SearchBlock, EqualsThePlainHalvingOnLargeTables) {
  Random random(20240504);
  for (const int n : {127, 128, 129, 4096, 100003}) {
    const std::vector<Real> x = random_nodes<Real>(random, n, Nodes::ascending, tolerance_of<Real>);
    for (int times = 0; times < 500; ++times) {
      std::array<Real, search_width> t{};
      for (Real& u : t) {
        const Real node = x[static_cast<std::size_t>(random.integer(1, n - 2))];
        const Real beside = static_cast<Real>(node + random.real(0, 1));
        u = random.chance(2) || !(beside < x.back()) ? node : beside;
      }
      expect_plain_block(t.data(), x);
    }
  }
}

// -- an index vector ------------------------------------------------------------------------------

TEST(Find, GivesTheFirstOfTwoEqualValues) {
  const int a[] = {7, 3, 9, 3, 7};
  EXPECT_EQ(I_find(3, a, 5), 1);
  EXPECT_EQ(I_find(7, a, 5), 0);
  EXPECT_EQ(I_find(9, a, 5), 2);
}

TEST(Find, GivesMinusOneForAnAbsentValue) {
  const int a[] = {7, 3, 9};
  EXPECT_EQ(I_find(4, a, 3), -1);
  EXPECT_EQ(I_find(-1, a, 3), -1);
}

TEST(Find, GivesMinusOneForAnEmptyArray) {
  const int a[] = {7};
  for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(I_find(7, a, n), -1) << "n = " << n;
    EXPECT_EQ(I_find(7, nullptr, n), -1) << "n = " << n;
  }
}

TEST(Find, LooksAtTheFirstNElementsOnly) {
  const int a[] = {7, 3, 9};
  EXPECT_EQ(I_find(9, a, 2), -1);
  EXPECT_EQ(I_find(9, a, 3), 2);
  EXPECT_EQ(I_find(7, a, 1), 0);
}

TEST(Find, CountsPositionsFromTheStartOfATail) {
  const int a[] = {7, 3, 9, 3, 7};
  EXPECT_EQ(I_find(3, a + 2, 3), 1);
  EXPECT_EQ(I_find(7, a + 1, 4), 3);
}

TEST(Find, FindsTheExtremeValues) {
  constexpr int least = std::numeric_limits<int>::min(), greatest = std::numeric_limits<int>::max();
  const int a[] = {0, greatest, least};
  EXPECT_EQ(I_find(least, a, 3), 2);
  EXPECT_EQ(I_find(greatest, a, 3), 1);
}

TEST(Find, FindsEveryPositionOfAPermutation) {
  std::vector<int> a;
  for (int n = 1; n <= 40; ++n) {
    a.push_back(n * 7 % 41);
    for (int i = 0; i < n; ++i) EXPECT_EQ(I_find(a[static_cast<std::size_t>(i)], a.data(), n), i);
  }
}

}  // namespace

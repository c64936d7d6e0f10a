// Least distance: exact solutions, the textbook's problem, optimality and contradictions of random problems.
#include "tabfit/least_distance.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <vector>

#include "tests/reference/active_set.hpp"
#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::active_constraint;
using tabfit::column_table;
using tabfit::constraint_kind;
using tabfit::infeasible;
using tabfit::least_distance;
using tabfit::solution;

namespace {

template <class Real>
column_table<Real> table_of(const reference::Distance& exact) {
  column_table<Real> G(exact.rows, exact.n);
  for (int j = 0; j < exact.n; ++j)
    for (int i = 0; i < exact.rows; ++i)
      G(i, j) = static_cast<Real>(exact.G[static_cast<std::size_t>(j * exact.rows + i)]);
  return G;
}

/// What is wrong with the proof that rows of G contradict each other, or nothing.
template <class Real>
std::string flaw_of(const column_table<Real>& G, const std::vector<Real>& h, const infeasible& proof) {
  long double right = 0;
  std::vector<long double> sum(static_cast<std::size_t>(G.columns())), terms(sum);
  for (std::size_t a = 0; a < proof.constraints().size(); ++a) {
    const auto [kind, i] = proof.constraints()[a];
    const long double w = proof.weights()[a];
    if (kind != constraint_kind::inequality || !(w > 0)) return "a weight is not positive";
    right += w * h[static_cast<std::size_t>(i)];
    for (int j = 0; j < G.columns(); ++j) {
      sum[static_cast<std::size_t>(j)] += w * G(i, j);
      terms[static_cast<std::size_t>(j)] += std::abs(w * G(i, j));
    }
  }
  for (std::size_t j = 0; j < sum.size(); ++j)
    if (std::abs(sum[j]) > 1000 * eps_of<double> * terms[j]) return "the rows do not sum to 0";
  return right > 0 ? "" : "the right sides do not sum to more than 0";
}

/// The solution, or the flaw of the proof that there is none.
template <class Real>
std::string solve(const column_table<Real>& G, const std::vector<Real>& h, solution<Real>& s) {
  try {
    s = least_distance(G, h);
    return "solved";
  } catch (const infeasible& proof) {
    return flaw_of(G, h, proof);
  }
}

}  // namespace

TWIN_TEST(LeastDistance, FindsWhatAllActiveSetsInRationalsGive) {
  const double bound = sizeof(Real) == sizeof(float) ? 1e-6 : 1e-14;
  int contradictions = 0;
  for (const reference::Distance& exact : reference::distance) {
    SCOPED_TRACE(exact.name);
    const auto G = table_of<Real>(exact);
    const std::vector<Real> h(exact.h.begin(), exact.h.end());
    solution<Real> s;
    EXPECT_EQ(solve(G, h, s), exact.x.empty() ? "" : "solved");
    contradictions += exact.x.empty();
    if (exact.x.empty()) continue;
    EXPECT_TRUE(s.converged);
    for (std::size_t j = 0; j < s.x.size(); ++j) {
      EXPECT_NEAR(s.x[j], exact.x[j], bound * (1 + std::abs(exact.x[j])));
      EXPECT_EQ(s.residual[j], -s.x[j]);
    }
    std::vector<double> x(s.x.size());  // the multipliers times the rows
    for (std::size_t a = 0; a < s.active.size(); ++a) {
      EXPECT_GE(s.multipliers[a], 0);
      for (std::size_t j = 0; j < x.size(); ++j)
        x[j] += static_cast<double>(s.multipliers[a]) *
                static_cast<double>(G(s.active[a].index, static_cast<int>(j)));
    }
    for (std::size_t j = 0; j < x.size(); ++j) EXPECT_NEAR(x[j], exact.x[j], 100 * bound);
  }
  EXPECT_GE(contradictions, 4);
}

// Lawson and Hanson, chapter 23: the line x1 t + x2 next to four points with x1 >= 0, x2 >= 0, x1 + x2 <= 1.
// With the triangle R of the matrix, c = Q' w and x = R^-1 (z + c) it is a problem of least distance in z.
TWIN_TEST(LeastDistance, FitsTheTextbooksLineWithConstraints) {
  const double t[] = {0.25, 0.5, 0.5, 0.8}, w[] = {0.5, 0.6, 0.7, 1.2};
  double tt = 0, ts = 0, tw = 0, sw = 0;
  for (int i = 0; i < 4; ++i) tt += t[i] * t[i], ts += t[i], tw += t[i] * w[i], sw += w[i];
  const double r00 = std::sqrt(tt), r01 = ts / r00, r11 = std::sqrt(4 - r01 * r01);
  const double c0 = tw / r00, c1 = (sw - r01 * c0) / r11;
  const double K[3][2] = {{1, 0}, {0, 1}, {-1, -1}}, k[3] = {0, 0, -1};  // K x >= k
  column_table<Real> G(3, 2);
  std::vector<Real> h(3);
  for (int i = 0; i < 3; ++i) {  // G = K R^-1, h = k - G c
    const double g0 = K[i][0] / r00, g1 = (K[i][1] - g0 * r01) / r11;
    G(i, 0) = static_cast<Real>(g0), G(i, 1) = static_cast<Real>(g1);
    h[static_cast<std::size_t>(i)] = static_cast<Real>(k[i] - g0 * c0 - g1 * c1);
  }
  const auto s = least_distance(G, h);
  const double x2 = (static_cast<double>(s.x[1]) + c1) / r11;
  const double x1 = (static_cast<double>(s.x[0]) + c0 - r01 * x2) / r00;
  EXPECT_EQ(s.active, (std::vector<active_constraint>{{constraint_kind::inequality, 2}}));
  const double bound = sizeof(Real) == sizeof(float) ? 2e-6 : 5e-9;  // eight printed digits
  EXPECT_NEAR(x1, 0.62131519, bound);
  EXPECT_NEAR(x2, 0.37868481, bound);
}

TWIN_TEST(LeastDistance, SolvesRandomProblemsOrProvesThatNoneSolves) {
  Random random(21);
  int contradictions = 0;
  for (int count = 0; count < 3000; ++count) {
    const int n = random.integer(1, 8), rows = random.integer(1, 16);
    column_table<Real> G(rows, n);
    std::vector<Real> h(static_cast<std::size_t>(rows)), inside(static_cast<std::size_t>(n));
    std::ranges::generate(inside, [&] { return static_cast<Real>(random.real(-3, 3)); });
    const bool feasible = random.chance(2), integers = random.chance(3);
    for (int i = 0; i < rows; ++i) {
      const double size = random.chance(3) ? std::pow(10.0, random.integer(-8, 8)) : 1;
      long double at_inside = 0;
      for (int j = 0; j < n; ++j) {
        G(i, j) = static_cast<Real>(size * (integers ? random.integer(-2, 2) : random.real(-1, 1)));
        at_inside += static_cast<long double>(G(i, j)) * inside[static_cast<std::size_t>(j)];
      }
      const double right = size * (integers ? random.integer(-2, 2) : random.real(-1, 1));
      h[static_cast<std::size_t>(i)] = static_cast<Real>(
          feasible ? static_cast<double>(at_inside) - std::abs(right) - 1e-6 * size : right);
    }
    solution<Real> s;
    const std::string answer = solve(G, h, s);
    SCOPED_TRACE(testing::Message() << "problem " << count << ", " << rows << " by " << n);
    ASSERT_TRUE(answer == "solved" || (!feasible && answer.empty())) << answer;
    contradictions += answer != "solved";
    if (answer != "solved") continue;
    ASSERT_TRUE(s.converged);
    ASSERT_LE(s.violation, 1000 * eps_of<Real>);
    ASSERT_LE(s.iterations, 3 * (n + rows));
    for (int i = 0; i < rows; ++i) {
      long double value = -h[static_cast<std::size_t>(i)], terms = std::abs(value), norm = 0;
      for (int j = 0; j < n; ++j) {
        value += static_cast<long double>(G(i, j)) * s.x[static_cast<std::size_t>(j)];
        norm = std::max(norm, std::abs(static_cast<long double>(G(i, j))));
      }
      ASSERT_GE(value, -100 * eps_of<Real> * (terms + norm * s.residual_norm));
    }
  }
  std::printf("%d of 3000 problems have contradicting constraints\n", contradictions);
  EXPECT_GT(contradictions, 300);
}

TWIN_TEST(LeastDistance, NamesTheOffender) {
  const column_table<Real> G{{1, 2}, {-1, -2}, {0, 1}};
  const auto message = [](const column_table<Real>& rows, std::vector<Real> h,
                          std::vector<active_constraint> start = {}) {
    return thrown<tabfit::error>([&] { return least_distance(rows, h, {.start = start}); });
  };
  EXPECT_EQ(message(G, {3, -2, 0}), "least_distance: G rows 0 and 1 contradict each other");
  EXPECT_EQ(message({{0, 0}}, {1}), "least_distance: no x satisfies G row 0");
  EXPECT_EQ(message(G, {1, 2}), "least_distance: h has 2 elements, G has 3 rows");
  EXPECT_EQ(message(G, {1, 2, nan_of<Real>}), "least_distance: h(2) is NaN");
  EXPECT_EQ(message({{1, inf_of<Real>}}, {1}), "least_distance: G(0, 1) is infinite");
  EXPECT_EQ(message(column_table<Real>(2, 0), {1, 1}), "least_distance: G has no column");
}

TWIN_TEST(LeastDistance, NeedsFewIterationsFromTheRightActiveSet) {
  const column_table<Real> G{{1, 0, 2}, {0, 1, 1}, {1, 1, 0}, {2, -1, 1}};
  const std::vector<Real> h{1, 2, 2, 1};
  const auto s = least_distance(G, h);
  const auto again = least_distance(G, h, {.start = s.active});
  EXPECT_LE(again.iterations, 1);
  EXPECT_EQ(again.active, s.active);
}

TWIN_TEST(LeastDistance, ThrowsBadAllocAndKeepsNothingWhereverMemoryRunsOut) {
  const column_table<Real> G{{1, 0, 2}, {0, 1, 1}, {1, 1, 0}, {2, -1, 1}};
  refuse_each_request([&] { return least_distance(G, std::vector<Real>{1, 2, 2, 1}); });
}

// Least squares with bounds, and with unknowns that are not negative: exact solutions, optimality on random
// problems, degenerate ones, starts, limits, what is thrown, and what is taken from the heap.
#include "tabfit/bounded.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "tabfit/nonnegative.hpp"
#include "tests/reference/active_set.hpp"
#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::active_constraint;
using tabfit::bounded;
using tabfit::constraint_kind;
using tabfit::nonnegative;
using tabfit::solution;
using tabfit::table_view;

namespace {

template <class Real>
struct Problem {
  int m, n;
  std::vector<Real> A, b, lo, hi;

  Problem(int rows, int columns)
      : m(rows),
        n(columns),
        A(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns)),
        b(static_cast<std::size_t>(rows)),
        lo(static_cast<std::size_t>(columns)),
        hi(static_cast<std::size_t>(columns), inf_of<Real>) {}

  table_view<Real> view() const { return table_view<Real>::column_major(A.data(), m, n); }
  Real& at(int i, int j) {
    return A[static_cast<std::size_t>(j) * static_cast<std::size_t>(m) + static_cast<std::size_t>(i)];
  }
  bool nonnegative() const {
    return std::ranges::all_of(lo, [](Real v) { return v == 0; }) &&
           std::ranges::all_of(hi, [](Real v) { return std::isinf(v); });
  }
  solution<Real> solve(const tabfit::active_set_options& options = {}) const {
    return bounded(view(), b, lo, hi, options);
  }
  /// What counts as a constraint for the limit on iterations.
  int constraints() const { return nonnegative() ? n : 2 * n; }
};

/// |A_j|, and behind them sum |A_j| |x_j| + |b|, the size of the terms of b - A x.
template <class Real>
std::vector<long double> sizes(const Problem<Real>& p, const std::vector<Real>& x) {
  std::vector<long double> found;
  long double terms = 0;
  for (const long double v : p.b) terms += v * v;
  terms = std::sqrt(terms);
  for (int j = 0; j < p.n; ++j) {
    long double squares = 0;
    for (int i = 0; i < p.m; ++i) squares += static_cast<long double>(p.view()(i, j)) * p.view()(i, j);
    found.push_back(std::sqrt(squares));
    terms += found.back() * std::abs(x[static_cast<std::size_t>(j)]);
  }
  found.push_back(terms);
  return found;
}

/// The greatest violation of the optimality conditions in epsilons of Real, from the problem and the
/// returned numbers alone; infinite where no rounding excuses it.
template <class Real>
double violation_of(const Problem<Real>& p, const solution<Real>& s) {
  constexpr double never = std::numeric_limits<double>::infinity();
  const std::vector<long double> norms = sizes(p, s.x);
  const long double terms = norms.back();
  std::vector<long double> r(p.b.begin(), p.b.end());
  long double worst = 0;
  for (int j = 0; j < p.n; ++j)
    for (int i = 0; i < p.m; ++i)
      r[static_cast<std::size_t>(i)] -=
          static_cast<long double>(s.x[static_cast<std::size_t>(j)]) * p.view()(i, j);
  for (int j = 0; j < p.n; ++j) {
    const auto k = static_cast<std::size_t>(j);
    if (!(s.x[k] >= p.lo[k] && s.x[k] <= p.hi[k])) return never;
    long double rest = 0;  // of the gradient
    for (int i = 0; i < p.m; ++i) rest -= p.view()(i, j) * r[static_cast<std::size_t>(i)];
    for (std::size_t a = 0; a < s.active.size(); ++a) {
      if (s.active[a].index != j) continue;
      const bool lower = s.active[a].kind == constraint_kind::lower;
      if (s.x[k] != (lower ? p.lo[k] : p.hi[k]) || !(s.multipliers[a] >= 0)) return never;
      rest -= lower ? s.multipliers[a] : -s.multipliers[a];
    }
    if (rest != 0) worst = std::max(worst, std::abs(rest) / (norms[k] * terms));
  }
  for (int i = 0; i < p.m; ++i) {
    const auto k = static_cast<std::size_t>(i);
    worst = std::max(worst, std::abs(r[k] - s.residual[k]) / terms);
  }
  return static_cast<double>(worst / eps_of<Real>);
}

}  // namespace

// -- exact solutions ---------------------------------------------------------------------------------

template <class Real>
Problem<Real> problem_of(const reference::Bounded& exact) {
  Problem<Real> p(exact.m, exact.n);
  const auto copy = [](const std::vector<double>& from, std::vector<Real>& to) {
    std::ranges::transform(from, to.begin(), [](double v) {
      return std::abs(v) < 1000000 ? static_cast<Real>(v) : std::copysign(inf_of<Real>, Real(v));
    });
  };
  copy(exact.A, p.A);
  copy(exact.b, p.b);
  copy(exact.lo, p.lo);
  copy(exact.hi, p.hi);
  return p;
}

template <class Real>
void expect_exact(const reference::Bounded& exact, const Problem<Real>& p, const solution<Real>& s) {
  SCOPED_TRACE(exact.name);
  // Small integers, conditions below 100: rounding of double, or one rounding to float.
  const double bound = sizeof(Real) == sizeof(float) ? 6e-8 : 1e-14;
  EXPECT_TRUE(s.converged);
  for (std::size_t j = 0; exact.unique && j < s.x.size(); ++j)
    EXPECT_NEAR(s.x[j], exact.x[j], bound * (1 + std::abs(exact.x[j]))) << "x " << j;
  for (std::size_t i = 0; i < s.residual.size(); ++i)
    EXPECT_NEAR(s.residual[i], exact.b[i] - exact.fitted[i], 40 * bound) << "residual " << i;
  EXPECT_NEAR(s.residual_norm, std::sqrt(exact.squares), 40 * bound);
  EXPECT_LE(violation_of(p, s), 100);
  for (std::size_t a = 0; a < s.active.size(); ++a) {
    const double gradient = exact.gradient[static_cast<std::size_t>(s.active[a].index)];
    EXPECT_NEAR(s.multipliers[a], s.active[a].kind == constraint_kind::lower ? gradient : -gradient,
                400 * bound);
  }
  for (int j = 0; j < exact.n; ++j) {
    const bool held = exact.gradient[static_cast<std::size_t>(j)] != 0;
    const auto times = std::ranges::count(s.active, j, &active_constraint::index);
    EXPECT_TRUE(times == 1 || (times == 0 && !held)) << "unknown " << j;
  }
}

TWIN_TEST(Bounded, FindsWhatAllActiveSetsInRationalsGive) {
  for (const reference::Bounded& exact : reference::bounded) {
    const auto p = problem_of<Real>(exact);
    expect_exact(exact, p, p.solve());
  }
}

TWIN_TEST(Nonnegative, FindsWhatAllActiveSetsInRationalsGive) {
  int problems = 0;
  for (const reference::Bounded& exact : reference::bounded) {
    const auto p = problem_of<Real>(exact);
    if (!p.nonnegative()) continue;
    expect_exact(exact, p, nonnegative(p.view(), p.b));
    ++problems;
  }
  EXPECT_GT(problems, 10);
}

// -- random problems ---------------------------------------------------------------------------------

namespace {

enum class Elements { real, positive, integers, nearly_equal, copies_and_zeros, repeated_rows };
constexpr Elements all_elements[] = {
    Elements::real,         Elements::positive,         Elements::integers,
    Elements::nearly_equal, Elements::copies_and_zeros, Elements::repeated_rows};

template <class Real>
void change_columns(Random& random, Elements kind, Problem<Real>& p) {
  for (int j = 1; j < p.n; ++j) {
    const int other = random.integer(0, j - 1), choice = random.integer(0, 4);
    const double noise = std::pow(10.0, -random.integer(1, 9));
    for (int i = 0; i < p.m; ++i) {
      if (kind == Elements::nearly_equal && choice < 2)
        p.at(i, j) = static_cast<Real>(p.at(i, other) + noise * random.real(-1, 1));
      if (kind == Elements::copies_and_zeros && choice < 2)
        p.at(i, j) = choice == 0 ? p.at(i, other) : 0;
      if (kind == Elements::repeated_rows) p.at(i, j) = p.at(i / 2, j);
    }
  }
}

/// Multiplies columns and rows by powers of ten from 1e-8 to 1e8.
template <class Real>
void scale(Random& random, bool columns, bool rows, Problem<Real>& p) {
  for (int j = 0; columns && j < p.n; ++j) {
    const double factor = std::pow(10.0, random.integer(-8, 8));
    for (int i = 0; i < p.m; ++i) p.at(i, j) = static_cast<Real>(p.at(i, j) * factor);
  }
  for (int i = 0; rows && i < p.m; ++i) {
    const double factor = std::pow(10.0, random.integer(-8, 8));
    for (int j = 0; j < p.n; ++j) p.at(i, j) = static_cast<Real>(p.at(i, j) * factor);
    p.b[static_cast<std::size_t>(i)] = static_cast<Real>(p.b[static_cast<std::size_t>(i)] * factor);
  }
}

/// Bounds of all kinds: unit boxes, equal ones, one or none.
template <class Real>
void choose_bounds(Random& random, Problem<Real>& p) {
  for (std::size_t j = 0; j < p.lo.size(); ++j) {
    const double middle = random.real(-1.5, 1.5), width = random.chance(4) ? 0 : random.real(0, 1);
    p.lo[j] = random.chance(6) ? -inf_of<Real> : static_cast<Real>(middle);
    p.hi[j] = random.chance(6) ? inf_of<Real> : static_cast<Real>(middle + width);
    if (random.chance(8)) p.lo[j] = 0, p.hi[j] = 1;
  }
}

template <class Real>
Problem<Real> random_problem(Random& random, Elements kind) {
  const int n = random.chance(30) ? random.integer(20, 60) : random.integer(1, 12);
  const int m = random.chance(4) ? random.integer(1, n) : random.integer(n, 3 * n);
  Problem<Real> p(m, n);
  const auto element = [&] {
    if (kind == Elements::integers) return static_cast<Real>(random.integer(-3, 3));
    return static_cast<Real>(random.real(kind == Elements::positive ? 0 : -1, 1));
  };
  std::ranges::generate(p.A, element);
  std::ranges::generate(p.b, element);
  change_columns(random, kind, p);
  if (random.chance(3)) std::ranges::fill(p.b, Real(0));
  for (int j = 0; j < n && random.chance(2); ++j)  // b is a sum of the first columns
    for (int i = 0; i < m; ++i) p.b[static_cast<std::size_t>(i)] += p.at(i, j);
  scale(random, random.chance(3), random.chance(4), p);
  if (random.chance(2)) choose_bounds(random, p);
  return p;
}

}  // namespace

// Gradients up to 30 roundings of their terms, in columns of length 0.5..1, count as 0. Measured: 42
// epsilons (f: 0.5), and a third of the linear systems allowed by default.
TWIN_TEST(Bounded, MeetsTheOptimalityConditionsOfRandomProblems) {
  Random random(16);
  const double most = sizeof(Real) == sizeof(float) ? 2 : 100;
  double worst = 0, part = 0;
  for (const Elements kind : all_elements)
    for (int count = 0; count < 2000; ++count) {
      const auto p = random_problem<Real>(random, kind);
      const auto s = p.solve();
      SCOPED_TRACE(testing::Message() << "kind " << static_cast<int>(kind) << ", problem " << count
                                      << ", " << p.m << " by " << p.n);
      ASSERT_TRUE(s.converged);
      ASSERT_LE(violation_of(p, s), most);
      ASSERT_LE(s.violation, most * eps_of<Real>);
      ASSERT_LE(s.iterations, 3 * (p.n + p.constraints()));
      worst = std::max(worst, violation_of(p, s));
      part = std::max(part, s.iterations / (3.0 * (p.n + p.constraints())));
      if (!p.nonnegative()) continue;
      const auto again = nonnegative(p.view(), p.b);
      ASSERT_EQ(again.x, s.x);
      ASSERT_EQ(again.active, s.active);
    }
  std::printf("at most %.2f epsilons, %.2f of 3 (n + constraints) systems\n", worst, part);
}

// A view by rows, or with strides, gives the same.
TWIN_TEST(Bounded, ReadsAnyView) {
  Random random(17);
  const auto p = random_problem<Real>(random, Elements::real);
  std::vector<Real> rows;
  for (int i = 0; i < p.m; ++i)
    for (int j = 0; j < p.n; ++j) rows.push_back(p.view()(i, j));
  const auto s = p.solve();
  const auto by_rows = bounded(table_view<Real>::row_major(rows.data(), p.m, p.n), p.b, p.lo, p.hi);
  EXPECT_EQ(by_rows.x, s.x);
  EXPECT_EQ(by_rows.residual, s.residual);
}

// -- problems that an iteration may never leave ------------------------------------------------------

namespace {

template <class Real>
std::vector<Real> nonnegative_x(std::initializer_list<std::initializer_list<Real>> A,
                                const std::vector<Real>& b) {
  const auto s = nonnegative(tabfit::column_table<Real>(A), b);
  EXPECT_TRUE(s.converged);
  EXPECT_LE(s.iterations, 4);
  return s.x;
}

}  // namespace

// The engine's Ls_cnnd and Ls_cnnf do not return for these two.
TWIN_TEST(Nonnegative, SolvesWhereAVariableIsDroppedAgain) {
  auto x = nonnegative_x<Real>({{1, 1}, {1, 2}}, {2, 1});
  EXPECT_NEAR(x[0], 1.5, 4 * eps_of<Real>);
  EXPECT_EQ(x[1], 0);
  x = nonnegative_x<Real>({{40, Real(-0.7)}}, {-3});
  EXPECT_EQ(x[0], 0);
  EXPECT_NEAR(x[1], 3 / double(Real(0.7)), 4 * eps_of<Real>);
}

TWIN_TEST(Nonnegative, SolvesTheSmallestProblems) {
  EXPECT_EQ(nonnegative_x<Real>({{2}}, {6}), std::vector<Real>{3});
  EXPECT_EQ(nonnegative_x<Real>({{2}}, {-6}), std::vector<Real>{0});
  EXPECT_EQ(nonnegative_x<Real>({{0}}, {1}), std::vector<Real>{0});
  EXPECT_EQ(nonnegative_x<Real>({{1}, {1}, {1}}, {1, 2, 6}), std::vector<Real>{3});
  EXPECT_EQ(nonnegative_x<Real>({{3, 0, 0}}, {0}), (std::vector<Real>{0, 0, 0}));
  EXPECT_EQ(nonnegative_x<Real>({{0, 0}, {0, 0}}, {1, -1}), (std::vector<Real>{0, 0}));
}

// Both columns alike: one of them does all.
TWIN_TEST(Nonnegative, SharesNothingBetweenCopiesOfAColumn) {
  const auto x = nonnegative_x<Real>({{1, 1}, {2, 2}, {2, 2}}, {2, 4, 4});
  EXPECT_EQ(std::min(x[0], x[1]), 0);
  EXPECT_NEAR(std::max(x[0], x[1]), 2, 4 * eps_of<Real>);
}

// -- bounds ------------------------------------------------------------------------------------------

TWIN_TEST(Bounded, PutsUnknownsOnTheirBoundsToTheBit) {
  const Real third = Real(1) / 3, tenth = Real(0.1);
  const tabfit::column_table<Real> I{{3, 0, 0}, {0, 7, 0}, {0, 0, 11}};
  const auto s = bounded(I, std::vector<Real>{-1, 70, 11}, std::vector<Real>{tenth, -1, third},
                         std::vector<Real>{1, third, third});
  EXPECT_EQ(s.x, (std::vector<Real>{tenth, third, third}));
  EXPECT_EQ(s.active, (std::vector<active_constraint>{{constraint_kind::lower, 0},
                                                      {constraint_kind::upper, 1},
                                                      {constraint_kind::upper, 2}}));
  EXPECT_NEAR(s.multipliers[1], 7 * (70 - 7 * double(third)), 1000 * eps_of<Real>);
  EXPECT_TRUE(s.converged);
}

TWIN_TEST(Bounded, IsLeastSquaresWithoutFiniteBounds) {
  const tabfit::column_table<Real> A{{1, 0}, {1, 1}, {1, 2}};
  const std::vector<Real> lo(2, -inf_of<Real>), hi(2, inf_of<Real>);
  const auto s = bounded(A, std::vector<Real>{1, 3, 5}, lo, hi);
  EXPECT_NEAR(s.x[0], 1, 8 * eps_of<Real>);
  EXPECT_NEAR(s.x[1], 2, 8 * eps_of<Real>);
  EXPECT_TRUE(s.active.empty());
  EXPECT_EQ(s.iterations, 1);
}

// An unknown without effect stays at 0, or at the bound next to 0, and is held by nothing.
TWIN_TEST(Bounded, LeavesAnUnknownWithoutEffectNextToZero) {
  const tabfit::column_table<Real> A{{0, 1, 0}, {0, 1, 0}};
  const auto s =
      bounded(A, std::vector<Real>{1, 2}, std::vector<Real>{-1, 0, 2}, std::vector<Real>{1, 5, 3});
  EXPECT_EQ(s.x[0], 0);
  EXPECT_NEAR(s.x[1], 1.5, 4 * eps_of<Real>);
  EXPECT_EQ(s.x[2], 2);
  EXPECT_TRUE(s.converged);
}

// -- starts and limits -------------------------------------------------------------------------------

// From the active set of the solution: one system, and the same solution.
TWIN_TEST(Bounded, NeedsOneSystemFromTheRightActiveSet) {
  Random random(18);
  for (int count = 0; count < 200; ++count) {
    auto p = random_problem<Real>(random, Elements::real);
    if (p.m < p.n) continue;  // more than one minimiser: passive ones depend on the start
    const auto s = p.solve();
    const auto again = p.solve({.start = s.active});
    ASSERT_EQ(again.iterations, 1) << "problem " << count;
    ASSERT_EQ(again.active, s.active);
    ASSERT_LE(violation_of(p, again), 100);
  }
}

// From any active set: the same solution, of the strictly convex problems.
TWIN_TEST(Bounded, FindsTheSolutionFromEveryStart) {
  for (const reference::Bounded& exact : reference::bounded) {
    const auto p = problem_of<Real>(exact);
    int starts = 1;
    for (int j = 0; j < p.n; ++j) starts *= 3;
    for (int code = 0; code < starts; ++code) {
      std::vector<active_constraint> start;
      for (int j = 0, rest = code; j < p.n; ++j, rest /= 3)
        if (rest % 3 > 0)
          start.push_back({rest % 3 == 1 ? constraint_kind::lower : constraint_kind::upper, j});
      expect_exact(exact, p, p.solve({.start = start}));
    }
  }
}

// The points on the way satisfy the bounds and come closer and closer.
TWIN_TEST(Bounded, SaysThatTheLimitWasReached) {
  Random random(19);
  int reached = 0;
  for (int count = 0; count < 300; ++count) {
    const auto p = random_problem<Real>(random, Elements::positive);
    const auto s = p.solve();
    const double rounding = 100 * eps_of<Real> * static_cast<double>(sizes(p, s.x).back());
    const int first = p.solve({.iterations = 1}).iterations;  // the systems that find a first point
    double last = std::numeric_limits<double>::infinity();
    for (int limit = first; limit < s.iterations; ++limit) {
      const auto cut = p.solve({.iterations = limit});
      ASSERT_FALSE(cut.converged) << "problem " << count;
      ASSERT_LE(cut.iterations, limit);
      ASSERT_LE(cut.residual_norm, last + rounding);
      ASSERT_LT(violation_of(p, cut), std::numeric_limits<double>::infinity());
      last = cut.residual_norm;
      ++reached;
    }
    ASSERT_TRUE(p.solve({.iterations = s.iterations}).converged) << "problem " << count;
  }
  EXPECT_GT(reached, 100);
}

// -- refusals ----------------------------------------------------------------------------------------

TWIN_TEST(Bounded, NamesTheOffender) {
  const tabfit::column_table<Real> A{{1, 2}, {3, 4}, {5, 6}};
  const std::vector<Real> b{1, 2, 3}, lo{0, 0}, hi{1, 1};
  const auto message = [&](const auto& matrix, std::vector<Real> right, std::vector<Real> low,
                           std::vector<Real> high, std::vector<active_constraint> start = {}) {
    return thrown<tabfit::bad_data>(
        [&] { return bounded(matrix, right, low, high, {.start = start}); });
  };
  auto spoilt = A;
  spoilt(2, 1) = nan_of<Real>;
  EXPECT_EQ(message(spoilt, b, lo, hi), "bounded: A(2, 1) is NaN");
  EXPECT_EQ(message(A, {1, inf_of<Real>, 3}, lo, hi), "bounded: b(1) is infinite");
  EXPECT_EQ(message(A, {1, 2}, lo, hi), "bounded: b has 2 elements, A has 3 rows");
  EXPECT_EQ(message(A, b, {0}, hi), "bounded: lo has 1 element, A has 2 columns");
  EXPECT_EQ(message(A, b, lo, {1, 1, 1}), "bounded: hi has 3 elements, A has 2 columns");
  EXPECT_EQ(message(A, b, {0, nan_of<Real>}, hi), "bounded: lo(1) is NaN");
  EXPECT_EQ(message(A, b, {inf_of<Real>, 0}, hi), "bounded: lo(0) is infinite");
  EXPECT_EQ(message(A, b, lo, {1, -inf_of<Real>}), "bounded: hi(1) is infinite");
  EXPECT_EQ(message(A, b, {0, 2}, hi), "bounded: lo(1) is above hi(1)");
  EXPECT_EQ(message(A, b, lo, hi, {{constraint_kind::lower, 1}, {constraint_kind::upper, 2}}),
            "bounded: start(1) is no bound of 2 unknowns");
  EXPECT_EQ(message(A, b, lo, hi, {{constraint_kind::inequality, 0}}),
            "bounded: start(0) is no bound of 2 unknowns");
  EXPECT_EQ(message(tabfit::column_table<Real>(3, 0), b, {}, {}),
            "bounded: A has 3 rows and 0 columns");
  EXPECT_EQ(thrown<tabfit::bad_data>([&] { return nonnegative(spoilt, b); }),
            "nonnegative: A(2, 1) is NaN");
}

// Products of A and b beyond the range of the type have no multipliers in it.
TWIN_TEST(Nonnegative, DoesNotCallAnOverflowConverged) {
  const Real huge = std::numeric_limits<Real>::max() / 4;
  const auto s = nonnegative(tabfit::column_table<Real>{{huge}, {huge}}, std::vector<Real>{-huge, 0});
  EXPECT_EQ(s.x, std::vector<Real>{0});
  EXPECT_FALSE(s.converged);
}

// -- memory ------------------------------------------------------------------------------------------

TWIN_TEST(Bounded, ThrowsBadAllocAndKeepsNothingWhereverMemoryRunsOut) {
  Random random(20);
  auto p = random_problem<Real>(random, Elements::real);
  while (p.n < 5 || p.nonnegative()) p = random_problem<Real>(random, Elements::real);
  const auto s = p.solve();
  const int requests =
      refuse_each_request([&] { return p.solve(); }, [&] { EXPECT_EQ(p.solve().x, s.x); });
  std::printf("%d requests for %d by %d\n", requests, p.m, p.n);
  EXPECT_LT(requests, 60);  // for scratch and results; none for an iteration
}

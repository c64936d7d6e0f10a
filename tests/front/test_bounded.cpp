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

/// The greatest violation of the optimality conditions in epsilons of Real, from the problem and the
/// returned numbers alone; infinite where no rounding excuses it.
template <class Real>
double violation_of(const Problem<Real>& p, const solution<Real>& s) {
  constexpr double never = std::numeric_limits<double>::infinity();
  using Wide = long double;
  const auto size = [](Wide squares) { return std::sqrt(squares); };
  std::vector<Wide> r(p.b.begin(), p.b.end()), norms;
  Wide terms = 0, worst = 0;
  for (const Wide v : r) terms += v * v;
  terms = size(terms);
  for (int j = 0; j < p.n; ++j) {
    const Wide x = s.x[static_cast<std::size_t>(j)];
    Wide squares = 0;
    for (int i = 0; i < p.m; ++i) {
      r[static_cast<std::size_t>(i)] -= x * p.view()(i, j);
      squares += static_cast<Wide>(p.view()(i, j)) * p.view()(i, j);
    }
    norms.push_back(size(squares));
    terms += norms.back() * std::abs(x);
  }
  for (int j = 0; j < p.n; ++j) {
    const auto k = static_cast<std::size_t>(j);
    if (!(s.x[k] >= p.lo[k] && s.x[k] <= p.hi[k])) return never;
    Wide rest = 0;  // of the gradient
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

// Measured: at most 104 epsilons (f: 1); at most 0.46 times the systems allowed by default, without the 10.
TWIN_TEST(Bounded, MeetsTheOptimalityConditionsOfRandomProblems) {
  Random random(16);
  const double most = sizeof(Real) == sizeof(float) ? 4 : 300;
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
      if (!p.nonnegative()) continue;
      const auto again = nonnegative(p.view(), p.b);
      ASSERT_EQ(again.x, s.x);
      ASSERT_EQ(again.active, s.active);
    }
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

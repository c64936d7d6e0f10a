// least_squares(): coefficients and statistics against exact numbers and R, the rank, the solution of
// least norm, bad data, memory, threads.
#include "tabfit/least_squares.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <concepts>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/reference/least_norm.hpp"
#include "tests/reference/lm.hpp"
#include "tests/reference/regression.hpp"
#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::bad_data;
using tabfit::column_table;
using tabfit::dependent_columns;
using tabfit::least_squares;
using tabfit::least_squares_options;
using tabfit::linear_fit;
using tabfit::rank_deficient;
using tabfit::table_view;

namespace {

std::size_t at(int i) { return static_cast<std::size_t>(i); }

template <class Real>
std::vector<Real> rounded(const std::vector<double>& values) {
  return {values.begin(), values.end()};
}

template <class Real>
column_table<Real> random_table(Random& random, int m, int n) {
  column_table<Real> A(m, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) A(i, j) = static_cast<Real>(random.real(-1, 1));
  return A;
}
template <class Real>
std::vector<Real> random_vector(Random& random, int m) {
  std::vector<Real> b;
  for (int i = 0; i < m; ++i) b.push_back(static_cast<Real>(random.real(-1, 1)));
  return b;
}

/// Every element within bound of the exact one, relative to the greatest; NaN only where it is
/// expected.
template <class Real>
void expect_close(const std::vector<Real>& found, const std::vector<double>& exact, double bound,
                  const char* what) {
  ASSERT_EQ(found.size(), exact.size()) << what;
  double greatest = 0;
  for (const double v : exact)
    if (!std::isnan(v)) greatest = std::max(greatest, std::abs(v));
  for (std::size_t i = 0; i < exact.size(); ++i) {
    if (std::isnan(exact[i]))
      EXPECT_TRUE(std::isnan(found[i])) << what << " " << i;
    else
      EXPECT_NEAR(static_cast<double>(found[i]), exact[i], bound * greatest) << what << " " << i;
  }
}
template <std::floating_point Real>
void expect_close(Real found, double exact, double bound, const char* what) {
  EXPECT_NEAR(static_cast<double>(found), exact, bound * std::abs(exact)) << what;
}

// What R and this library both round away; the data are whole numbers and quarters, so single precision
// has them exactly, too.
template <class Real>
constexpr double lm_bound = sizeof(Real) == 4 ? 1e-6 : 1e-13;

column_table<double> design(const Regression& s) {
  const int m = static_cast<int>(s.y.size()), n = s.degree ? s.degree : s.predictors;
  column_table<double> A(m, n);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) A(i, j) = s.degree ? std::pow(s.x[at(i)], j + 1) : s.x[at(i * n + j)];
  return A;
}

/// Significant digits that agree: -log10 of the relative error, 15 at most.
double digits(double found, const char* exact) {
  const double value = std::atof(exact);
  if (std::abs(found - value) <= 1e-15 * std::abs(value)) return 15;
  return -std::log10(std::abs(found - value) / (value == 0.0 ? 1.0 : std::abs(value)));
}
double fewest_digits(const std::vector<double>& found, const std::vector<const char*>& exact) {
  double fewest = 15;
  for (std::size_t j = 0; j < exact.size(); ++j) fewest = std::min(fewest, digits(found[j], exact[j]));
  return fewest;
}

}  // namespace

// -- statistics --------------------------------------------------------------------------------------

TWIN_TEST(Regression, IsThatOfR) {
  const table_view<double> given = table_view<double>::row_major(lm_x.data(), 12, 3);
  const std::vector<Real> y = rounded<Real>(lm_y), w = rounded<Real>(lm_w);
  for (const Lm& lm : lm_fits) {
    const std::string name = lm.name;
    SCOPED_TRACE(name);
    const bool intercept = name != "no intercept";
    const bool dependent = name == "dependent", weighted = dependent || name == "weights and intercept";
    column_table<Real> A(12, dependent ? 4 : 3);
    for (int i = 0; i < 12; ++i) {
      const auto x = [&](int j) { return static_cast<Real>(given(i, j)); };
      for (int j = 0; j < 3; ++j) A(i, dependent && j == 2 ? 3 : j) = x(j);
      if (dependent) A(i, 2) = x(0) + x(1);
    }
    const std::span<const Real> weights = weighted ? std::span<const Real>(w) : std::span<const Real>();
    const auto fit = least_squares(A, y, {.weights = weights, .intercept = intercept});
    const double bound = lm_bound<Real>;
    expect_close(fit.x, lm.x, bound, "x");
    expect_close(fit.standard_errors, lm.errors, bound, "standard errors");
    expect_close(fit.t_values(), lm.t, bound, "t");
    expect_close(fit.residual, lm.residual, bound, "residual");
    for (std::size_t j = 0; j < lm.p.size(); ++j)
      if (!std::isnan(lm.p[j])) expect_close(fit.p_values()[j], lm.p[j], 30 * bound, "p");
    std::vector<Real> low, high;
    for (const auto& [from, to] : fit.intervals(0.9)) low.push_back(from), high.push_back(to);
    expect_close(low, lm.low, 4 * bound, "low ends");
    expect_close(high, lm.high, 4 * bound, "high ends");
    expect_close(fit.sigma, lm.sigma, bound, "sigma");
    expect_close(fit.r_squared, lm.r_squared, bound, "R squared");
    expect_close(fit.adjusted_r_squared, lm.adjusted, bound, "adjusted");
    expect_close(fit.f_statistic, lm.f, 4 * bound, "F");
    expect_close(fit.f_p_value(), lm.f_p, 30 * bound, "p of F");
    EXPECT_EQ(fit.degrees_of_freedom, lm.df);
    EXPECT_EQ(fit.rank, lm.rank);
    EXPECT_EQ(fit.left_out, dependent ? std::vector<int>{2} : std::vector<int>());

    const column_table<Real> C = fit.covariance();
    std::vector<Real> known;
    for (int j = 0; j < C.columns(); ++j)
      for (int i = 0; i < C.rows(); ++i) {
        const bool out = dependent && (i == 3 || j == 3);
        EXPECT_EQ(std::isnan(C(i, j)), out) << i << ", " << j;
        if (!out) known.push_back(C(i, j));
      }
    expect_close(known, lm.covariance, 4 * bound, "covariance");
  }
}

// tests/measured/regressions.txt has the digits. What is lost of Filip is lost by rounding the powers.
TEST(Regression, HasTheDigitsOfCertifiedSets) {
  for (const Regression& s : regressions) {
    SCOPED_TRACE(s.name);
    const auto fit = least_squares(design(s), s.y, {.intercept = s.intercept});
    const bool filip = std::string(s.name) == "Filip", rounded = std::string(s.name) == "FilipRounded";
    EXPECT_EQ(fit.rank, static_cast<int>(s.b.size()));
    EXPECT_GE(fewest_digits(fit.x, s.b), filip ? 7 : rounded ? 13 : 12.5);
    if (std::string(s.f) == "inf") {  // the fit is exact
      EXPECT_LT(fit.sigma, 1e-14 * std::abs(s.y.back()));
      EXPECT_GT(fit.r_squared, 1 - 1e-15);
      continue;
    }
    EXPECT_GE(fewest_digits(fit.standard_errors, s.errors), filip ? 7 : rounded ? 8 : 13);
    EXPECT_GE(digits(fit.sigma, s.sigma), filip ? 7.5 : 13);
    EXPECT_GE(digits(fit.r_squared, s.r_squared), filip ? 10 : 13);
    EXPECT_GE(digits(fit.f_statistic, s.f), filip ? 7 : rounded ? 10 : 12.5);
  }
}

TEST(Regression, SaysHowIllConditionedFilipIs) {
  for (const Regression& s : regressions)
    if (std::string(s.name) == "Filip") {
      EXPECT_GT(least_squares(design(s), s.y, {.intercept = true}).condition, 1e8);
    }
}

// In single precision the powers of Filip cannot be told apart: columns are left out, and named.
TEST(Regression, LeavesOutColumnsOfFilipInSinglePrecision) {
  for (const Regression& s : regressions)
    if (std::string(s.name) == "Filip") {
      const column_table<double> A = design(s);
      column_table<float> single(A.rows(), A.columns());
      for (int j = 0; j < A.columns(); ++j)
        for (int i = 0; i < A.rows(); ++i) single(i, j) = static_cast<float>(A(i, j));
      const auto fit = least_squares(single, rounded<float>(s.y), {.intercept = true});
      EXPECT_LT(fit.rank, 11);
      EXPECT_EQ(fit.rank + static_cast<int>(fit.left_out.size()), 11);
      EXPECT_GT(fit.r_squared, 0.98F);
    }
}

// y = 1 + 2 x exactly: no residual, t and F without bound, R squared 1.
TWIN_TEST(Regression, OfAStraightLineIsExact) {
  const column_table<Real> A{{0}, {1}, {2}, {5}};
  const auto fit = least_squares(A, std::vector<Real>{1, 3, 5, 11}, {.intercept = true});
  expect_close(fit.x, {1, 2}, 2 * eps_of<Real>, "x");
  EXPECT_LT(fit.residual_norm, 1e-15F);
  EXPECT_EQ(fit.r_squared, 1);
  EXPECT_EQ(fit.degrees_of_freedom, 2);
}

// (1, 2), (2, 2), (3, 5): slope 3/2, intercept 0, residuals 1/2, -1, 1/2, sigma^2 = 3/2. By hand.
TWIN_TEST(Regression, IsTheOneByHand) {
  const column_table<Real> A{{1}, {2}, {3}};
  const std::vector<Real> b = {2, 2, 5};
  const auto fit = least_squares(A, b, {.intercept = true});
  const double bound = 4 * eps_of<Real>;
  EXPECT_NEAR(fit.x[0], 0, bound);
  expect_close(fit.x[1], 1.5, bound, "slope");
  expect_close(fit.residual, {0.5, -1, 0.5}, bound, "residual");
  expect_close(fit.sigma, std::sqrt(1.5), bound, "sigma");
  expect_close(fit.standard_errors, {std::sqrt(1.5 * 14 / 6), std::sqrt(1.5 / 2)}, bound, "errors");
  expect_close(fit.r_squared, 0.75, bound, "R squared");
  expect_close(fit.f_statistic, 3, 4 * bound, "F");
  EXPECT_EQ(fit.f_degrees, 1);
}

// With r = ridge: x = (A'A + r I)^-1 A'b; A'A = diag(2, 3), A'b = (4, 3), r = 1 give 4/3 and 3/4. The
// map from b to A x has trace 2/3 + 3/4; the covariance is sigma^2 diag(2/9, 3/16).
TWIN_TEST(Ridge, IsTheClosedForm) {
  const column_table<Real> A{{1, 1}, {1, -1}, {0, 1}};
  const std::vector<Real> b = {3, 1, 1};
  const auto fit = least_squares(A, b, {.ridge = 1});
  const double bound = 4 * eps_of<Real>;
  expect_close(fit.x, {4.0 / 3, 3.0 / 4}, bound, "x");
  expect_close(fit.degrees_of_freedom, 3 - 2.0 / 3 - 3.0 / 4, 1e-15, "degrees of freedom");
  const double left = 11.0 / 12 * 11 / 12 + 5.0 / 12 * 5 / 12 + 1.0 / 16;
  expect_close(fit.residual_norm, std::sqrt(left), bound, "residual norm");
  const double variance = left / fit.degrees_of_freedom;
  expect_close(fit.standard_errors, {std::sqrt(variance * 2 / 9), std::sqrt(variance * 3 / 16)},
               2 * bound, "standard errors");
  EXPECT_TRUE(std::isnan(fit.f_statistic));
}

// The intercept is not drawn to 0: a shift of b shifts it and changes nothing else. With weights the
// sums of the closed form are weighted; here against the same problem with rows repeated.
TWIN_TEST(Ridge, SparesTheInterceptAndHeedsWeights) {
  Random random(21);
  const auto A = random_table<Real>(random, 20, 3);
  std::vector<Real> b = random_vector<Real>(random, 20), w;
  column_table<Real> repeated(40, 3);
  std::vector<Real> twice(40);
  for (int i = 0; i < 20; ++i) {
    w.push_back(2);
    for (int j = 0; j < 3; ++j) repeated(i, j) = repeated(i + 20, j) = A(i, j);
    twice[at(i)] = twice[at(i + 20)] = b[at(i)];
  }
  const Real ridge = Real(0.75);
  const auto fit = least_squares(A, b, {.weights = w, .intercept = true, .ridge = ridge});
  const auto same = least_squares(repeated, twice, {.intercept = true, .ridge = ridge});
  expect_close(fit.x, {same.x.begin(), same.x.end()}, 8 * eps_of<Real>, "x");
  for (Real& v : b) v += 100;
  const auto shifted = least_squares(A, b, {.weights = w, .intercept = true, .ridge = ridge});
  EXPECT_NEAR(shifted.x[0], fit.x[0] + 100, 200 * eps_of<Real>);
  for (std::size_t j = 1; j < 4; ++j) EXPECT_NEAR(shifted.x[j], fit.x[j], 100 * eps_of<Real>);
}

TWIN_TEST(Ridge, SolvesDependentColumns) {
  const column_table<Real> A{{1, 1}, {2, 2}, {3, 3}};
  const auto fit = least_squares(A, std::vector<Real>{1, 2, 3}, {.ridge = 4});
  expect_close(fit.x, {14.0 / 32, 14.0 / 32}, 4 * eps_of<Real>, "x");  // 28 x + 4 x = 14
  EXPECT_TRUE(fit.left_out.empty());
}

// -- several right sides, layouts, refinement ---------------------------------------------------------

TWIN_TEST(Regression, OfSeveralRightSidesIsThatOfEach) {
  Random random(22);
  const auto A = random_table<Real>(random, 30, 4);
  const auto B = random_table<Real>(random, 30, 3);
  const auto all = least_squares(A, B, {.intercept = true});
  ASSERT_EQ(all.fits.size(), 3U);
  for (int k = 0; k < 3; ++k) {
    const auto one = least_squares(A, std::span<const Real>(B.column(k)), {.intercept = true});
    const auto& of_all = all.fits[at(k)];
    const double bound = 8 * eps_of<Real>;
    expect_close(of_all.x, {one.x.begin(), one.x.end()}, bound, "x");
    expect_close(of_all.standard_errors, {one.standard_errors.begin(), one.standard_errors.end()},
                 bound, "standard errors");
    EXPECT_TRUE(std::ranges::equal(all.x.column(k), of_all.x));
  }
  EXPECT_TRUE(least_squares(A, column_table<Real>(30, 0)).fits.empty());
}

TWIN_TEST(Regression, ReadsEveryLayoutAlike) {
  Random random(23);
  const auto A = random_table<Real>(random, 25, 3);
  const auto b = random_vector<Real>(random, 25);
  std::vector<Real> rows;
  for (int i = 0; i < 25; ++i)
    for (int j = 0; j < 3; ++j) rows.push_back(A(i, j));
  const auto by_rows = table_view<Real>::row_major(rows.data(), 25, 3);
  EXPECT_EQ(least_squares(A, b).x, least_squares(by_rows, b).x);
}

// Refinement changes nothing where the first correction was enough, and double precision is that
// already.
TWIN_TEST(Regression, RefinedAgrees) {
  Random random(24);
  const auto A = random_table<Real>(random, 40, 5);
  const auto b = random_vector<Real>(random, 40);
  const auto plain = least_squares(A, b), refined = least_squares(A, b, {.refined = true});
  expect_close(refined.x, {plain.x.begin(), plain.x.end()}, 2 * eps_of<Real>, "x");
}

// Weights of 2^-60..2^60 on rows with an exact solution.
TWIN_TEST(Regression, HeedsWeightsOfAllMagnitudes) {
  Random random(25);
  const column_table<Real> A{{1, 1}, {1, 2}, {1, 3}, {1, 4}, {1, 5}, {1, 6}};
  const std::vector<Real> b = {3, 5, 7, 9, 11, 13};  // 1 + 2 t
  for (int trial = 0; trial < 100; ++trial) {
    std::vector<Real> w;
    for (int i = 0; i < 6; ++i)
      w.push_back(static_cast<Real>(std::ldexp(1.0, random.integer(-60, 60))));
    const auto fit = least_squares(A, b, {.weights = w});
    if (fit.rank < 2) continue;  // one row outweighs all others
    expect_close(fit.x, {1, 2}, sizeof(Real) == 4 ? 1e-6 : 1e-9, "x");
  }
}

TWIN_TEST(Regression, DoesNotLeaveTheRange) {
  const double exponent = sizeof(Real) == 4 ? 30 : 280;
  for (const double scale : {std::pow(10.0, exponent), std::pow(10.0, -exponent)}) {
    const auto s = static_cast<Real>(scale);
    const column_table<Real> A{{s, 1}, {2 * s, 1}, {3 * s, 1}};
    const auto fit = least_squares(A, std::vector<Real>{2, 2, 5});
    expect_close(fit.x[0], 1.5 / static_cast<double>(s), 8 * eps_of<Real>, "slope");
    EXPECT_NEAR(fit.x[1], 0, 16 * eps_of<Real>);
  }
}

// -- rank
// ----------------------------------------------------------------------------------------------

namespace {

/// A random matrix whose column `last` is made of those before; `make` gives its element from a row.
template <class Real, class Make>
void expect_found(std::uint64_t seed, Make make, bool intercept) {
  Random random(seed);
  int found = 0;
  for (int trial = 0; trial < 400; ++trial) {
    const int n = random.integer(2, 12), m = n + 2 + random.integer(0, 40);
    auto A = random_table<Real>(random, m, n);
    for (int j = 0; j < n; ++j) {
      const auto unit = static_cast<Real>(std::pow(10.0, random.real(-6, 6)));
      for (int i = 0; i < m; ++i) A(i, j) *= unit;
    }
    for (int i = 0; i < m; ++i) A(i, n - 1) = make(A, i, n - 1, trial);
    const auto fit = least_squares(A, random_vector<Real>(random, m), {.intercept = intercept});
    found += fit.rank == n - 1 + intercept && fit.left_out == std::vector<int>{n - 1} &&
             fit.x.back() == 0 && std::isnan(fit.standard_errors.back());
  }
  EXPECT_EQ(found, 400);
}

}  // namespace

TWIN_TEST(Rank, FindsACopiedColumn) {
  const auto copy = [](const column_table<Real>& A, int i, int j, int trial) {
    return A(i, trial % j);
  };
  expect_found<Real>(31, copy, false);
  expect_found<Real>(32, copy, true);
}
TWIN_TEST(Rank, FindsAMultipleOfAColumn) {
  const auto times = [](const column_table<Real>& A, int i, int j, int trial) {
    return static_cast<Real>(A(i, trial % j) * Real(1.7));
  };
  expect_found<Real>(33, times, false);
  expect_found<Real>(34, times, true);
}
TWIN_TEST(Rank, FindsASumOfColumns) {
  const auto sum = [](const column_table<Real>& A, int i, int j, int) {
    Real s = 0;
    for (int k = 0; k < j; ++k) s += A(i, k);
    return s;
  };
  expect_found<Real>(35, sum, false);
  expect_found<Real>(36, sum, true);
}
TWIN_TEST(Rank, FindsAZeroColumn) {
  const auto zero = [](const column_table<Real>&, int, int, int) { return Real(0); };
  expect_found<Real>(37, zero, false);
  expect_found<Real>(38, zero, true);
}
TWIN_TEST(Rank, FindsAConstantColumnBesideTheIntercept) {
  const auto constant = [](const column_table<Real>&, int, int, int trial) {
    return Real(0.1) * Real(trial + 1);
  };
  expect_found<Real>(39, constant, true);
}

// Columns uniform in -1..1, at least twice as many rows as columns: conditions below 100.
TWIN_TEST(Rank, IsFullForTenThousandRandomMatrices) {
  Random random(40);
  int full = 0;
  for (int trial = 0; trial < 10000; ++trial) {
    const int n = random.integer(1, 10), m = 2 * n + random.integer(1, 20);
    const bool intercept = random.chance(2);
    const auto A = random_table<Real>(random, m, n);
    full += least_squares(A, random_vector<Real>(random, m), {.intercept = intercept}).rank ==
            n + intercept;
  }
  EXPECT_EQ(full, 10000);
}

TWIN_TEST(Rank, OfFewerRowsThanColumns) {
  Random random(41);
  const auto A = random_table<Real>(random, 3, 7);
  const auto b = random_vector<Real>(random, 3);
  const auto fit = least_squares(A, b);
  EXPECT_EQ(fit.rank, 3);
  EXPECT_EQ(fit.left_out, (std::vector<int>{3, 4, 5, 6}));
  EXPECT_LT(fit.residual_norm, 1e-13);
  EXPECT_EQ(fit.degrees_of_freedom, 0);
  EXPECT_TRUE(std::isnan(fit.sigma) && std::isnan(fit.standard_errors[0]) &&
              std::isnan(fit.p_values()[0]) && std::isnan(fit.intervals()[0].low));
}

TWIN_TEST(Rank, IsRefusedOnRequest) {
  const column_table<Real> A{{1, 2, 1}, {2, 4, 0}, {3, 6, 1}};
  const std::vector<Real> b = {1, 2, 3};
  const least_squares_options<Real> options{.dependent = dependent_columns::refuse};
  EXPECT_EQ(
      thrown<rank_deficient>([&] { return least_squares(A, b, options).rank; }),
      "least_squares: 1 column of 3 depends on the others; leave them out, or ask for the least norm");
  try {
    least_squares(A, b, options);
  } catch (const rank_deficient& e) {
    EXPECT_EQ(e.rank(), 2);
  }
}

// Unscaled, a column of 1e-20 beside one of 1 counts as dependent. A tolerance does as well.
TWIN_TEST(Rank, GoesByTheOptions) {
  const Real small = Real(1e-20);
  const column_table<Real> A{{1, small}, {1, -small}, {1, 2 * small}};
  const std::vector<Real> b = {1, 2, 3};
  EXPECT_EQ(least_squares(A, b).rank, 2);
  EXPECT_EQ(least_squares(A, b, {.scale = false}).rank, 1);
  const column_table<Real> near{{1, 1}, {1, Real(1.01)}, {1, Real(0.99)}};
  EXPECT_EQ(least_squares(near, b).rank, 2);
  EXPECT_EQ(least_squares(near, b, {.tolerance = 0.1}).left_out, std::vector<int>{1});
}

TWIN_TEST(LeastNorm, IsThatOfNumPy) {
  for (const LeastNorm& r : least_norms) {
    const auto elements = rounded<Real>(r.A);
    const auto A = table_view<Real>::row_major(elements.data(), r.m, r.n);
    const auto b = rounded<Real>(r.b);
    const double bound = sizeof(Real) == 4 ? 1e-6 : 1e-13;
    const auto fit = least_squares(A, b, {.dependent = dependent_columns::least_norm});
    EXPECT_EQ(fit.rank, r.rank);
    EXPECT_TRUE(fit.left_out.empty());
    expect_close(fit.x, r.x, bound, "x");
    const auto centred =
        least_squares(A, b, {.intercept = true, .dependent = dependent_columns::least_norm});
    std::vector<double> y = {r.constant};
    y.insert(y.end(), r.y.begin(), r.y.end());
    expect_close(centred.x, y, bound, "x with an intercept");
  }
}

// -- all shapes ------------------------------------------------------------------------------------------

namespace {

/// The greatest element of the gradient A'W r - ridge x over all columns of [1 A], left-out ones included,
/// relative to its terms.
template <class Real>
double gradient(const column_table<Real>& A, const std::vector<Real>& b, const std::vector<Real>& w,
                const linear_fit<Real>& fit, bool intercept, double ridge) {
  const int m = A.rows(), n = A.columns();
  const auto column = [&](int i, int j) { return j < 0 ? 1.0L : static_cast<long double>(A(i, j)); };
  long double worst = 0;
  for (int j = intercept ? -1 : 0; j < n; ++j) {
    long double sum = 0, length = 0, size = 0;
    for (int i = 0; i < m; ++i) {
      const long double weight = w.empty() ? 1.0L : static_cast<long double>(w[at(i)]);
      long double terms = std::abs(static_cast<long double>(b[at(i)]));
      for (int k = intercept ? -1 : 0; k < n; ++k)
        terms += std::abs(column(i, k) * static_cast<long double>(fit.x[at(k + intercept)]));
      sum += weight * column(i, j) * static_cast<long double>(fit.residual[at(i)]);
      length += weight * column(i, j) * column(i, j);
      size += weight * terms * terms;
    }
    const long double x = j < 0 ? 0 : static_cast<long double>(fit.x[at(j + intercept)]);
    if (length > 0 && size > 0)
      worst = std::max(worst,
                       std::abs(sum - static_cast<long double>(ridge) * x) / std::sqrt(length * size));
  }
  return static_cast<double>(worst);
}

}  // namespace

// Shapes from 1 by 0 to 9 by 12, small integers, columns in units from 1e-8 to 1e8, dependent or not, with
// weights of 0, intercept, ridge and least norm. The most was 0.7 epsilon (f) and 29 (d).
TWIN_TEST(Regression, MinimisesInAllShapes) {
  Random random(61);
  double worst = 0;
  for (int trial = 0; trial < 20000; ++trial) {
    const int m = random.integer(1, 9), n = random.integer(0, 12);
    column_table<Real> A(m, n);
    const bool units = random.chance(2), integers = random.chance(2);
    for (int j = 0; j < n; ++j) {
      const double unit = units ? std::pow(10.0, random.real(-8, 8)) : 1.0;
      for (int i = 0; i < m; ++i)
        A(i, j) = static_cast<Real>(unit * (integers ? random.integer(-2, 2) : random.real(-1, 1)));
    }
    const auto b = random_vector<Real>(random, m);
    std::vector<Real> w;
    if (random.chance(2))
      for (int i = 0; i < m; ++i) w.push_back(static_cast<Real>(i == 0 ? 1 : random.integer(0, 3)));
    const bool intercept = random.chance(2);
    const Real ridge = random.chance(4) ? static_cast<Real>(random.real(0, 2)) : Real(0);
    const bool least = random.chance(3);
    const auto fit = least_squares(
        A, b,
        {.weights = w,
         .intercept = intercept,
         .ridge = ridge,
         .dependent = least ? dependent_columns::least_norm : dependent_columns::leave_out});
    if (!least) {
      EXPECT_EQ(fit.rank + static_cast<int>(fit.left_out.size()), n + intercept);
    }
    worst = std::max(worst, gradient(A, b, w, fit, intercept, static_cast<double>(ridge)));
  }
  EXPECT_LT(worst / eps_of<Real>, 100.0);
}

// -- bad data, memory, threads ------------------------------------------------------------------------

TWIN_TEST(Regression, RefusesBadData) {
  const column_table<Real> A{{1, 2}, {3, 4}, {5, 7}};
  const std::vector<Real> b = {1, 2, 3}, bad = {1, nan_of<Real>, 3}, shorter = {1, 2};
  const auto said = [](auto call) { return thrown<bad_data>([&] { return call().size(); }); };
  EXPECT_EQ(said([&] { return least_squares(A, shorter).x; }),
            "least_squares: b has 2 elements, A has 3 rows");
  EXPECT_EQ(said([&] { return least_squares(A, bad).x; }), "least_squares: b(1) is NaN");
  EXPECT_EQ(said([&] { return least_squares(A, b, {.weights = shorter}).x; }),
            "least_squares: weights has 2 elements, A has 3 rows");
  EXPECT_EQ(said([&] { return least_squares(A, b, {.weights = bad}).x; }),
            "least_squares: weights(1) is NaN");
  const std::vector<Real> negative = {1, 2, -1}, none = {0, 0, 0};
  EXPECT_EQ(said([&] { return least_squares(A, b, {.weights = negative}).x; }),
            "least_squares: weights(2) is negative");
  EXPECT_EQ(said([&] { return least_squares(A, b, {.weights = none}).x; }),
            "least_squares: all weights are 0");
  EXPECT_EQ(said([&] { return least_squares(A, b, {.ridge = -1}).x; }),
            "least_squares: the ridge must be a number that is not negative");
  EXPECT_EQ(said([&] { return least_squares(A, b, {.tolerance = nan_of<double>}).x; }),
            "least_squares: the tolerance must be a number that is not negative");
  const column_table<Real> odd{{1, 2}, {3, inf_of<Real>}, {5, 7}};
  EXPECT_EQ(said([&] { return least_squares(odd, b).x; }), "least_squares: A(1, 1) is infinite");
  EXPECT_EQ(said([&] { return least_squares(A, odd).fits; }), "least_squares: B(1, 1) is infinite");
  EXPECT_EQ(said([&] { return least_squares(A, column_table<Real>(2, 1)).fits; }),
            "least_squares: B has 2 rows, A has 3 rows");
  EXPECT_EQ(said([&] { return least_squares(column_table<Real>(0, 2), std::span<const Real>()).x; }),
            "least_squares: A has no rows");
  EXPECT_EQ(said([&] { return least_squares(A, b).intervals(1); }),
            "linear_fit::intervals: a level lies between 0 and 1, not at 1.000000");
}

TWIN_TEST(Regression, OfNoColumns) {
  const std::vector<Real> b = {3, 4};
  const auto nothing = least_squares(column_table<Real>(2, 0), b);
  EXPECT_TRUE(nothing.x.empty());
  expect_close(nothing.residual_norm, 5, 2 * eps_of<Real>, "residual norm");
  const auto mean = least_squares(column_table<Real>(2, 0), b, {.intercept = true});
  expect_close(mean.x, {3.5}, eps_of<Real>, "x");
  EXPECT_EQ(mean.rank, 1);
}

TWIN_TEST(Regression, GivesBackAllMemoryWhenARequestIsRefused) {
  Random random(51);
  const auto A = random_table<Real>(random, 40, 13);
  auto dependent = A;
  std::ranges::copy(A.column(0), dependent.column(5).begin());
  const auto b = random_vector<Real>(random, 40);
  const std::vector<Real> w(40, Real(2));
  EXPECT_GT(refuse_each_request([&] {
              const auto fit =
                  least_squares(A, b, {.weights = w, .intercept = true, .ridge = 1, .refined = true});
              return fit.covariance().rows() + static_cast<int>(fit.intervals().size());
            }),
            20);
  refuse_each_request([&] { return least_squares(dependent, A).fits.size(); });
  refuse_each_request([&] {
    return least_squares(dependent, b, {.intercept = true, .dependent = dependent_columns::least_norm})
        .x[0];
  });
}

// What the results keep is released with them; nothing else is kept.
TWIN_TEST(Regression, KeepsNothingButItsResult) {
  Random random(52);
  const auto A = random_table<Real>(random, 40, 5);
  const auto b = random_vector<Real>(random, 40);
  EXPECT_EQ(probe([&] { least_squares(A, b, {.intercept = true}).covariance(); }).kept, Usage());
}

TWIN_TEST(Regression, IsReadByManyThreads) {
  Random random(53);
  const auto A = random_table<Real>(random, 60, 4);
  const auto b = random_vector<Real>(random, 60);
  const linear_fit<Real> fit = least_squares(A, b, {.intercept = true});
  const auto p = fit.p_values(), half = least_squares(A, b).x;
  const column_table<Real> C = fit.covariance();
  std::vector<int> wrong(4);
  std::vector<std::thread> threads;
  for (int& count : wrong)
    threads.emplace_back([&] {
      for (int k = 0; k < 100; ++k)
        count += !(fit.p_values() == p) + !(fit.covariance() == C) + !(least_squares(A, b).x == half);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4));
}

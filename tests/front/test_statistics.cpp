// Student's t and Fisher's F distribution against exact tails, their quantiles, and their edges.
#include "tabfit/statistics.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/reference/distributions.hpp"
#include "tests/support/thrown.hpp"

using tabfit::bad_data;
using tabfit::f_distribution;
using tabfit::student_t;

namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

double relative(double found, double exact) { return std::abs(found - exact) / exact; }

}  // namespace

// 9.4e-14 was the greatest error.
TEST(StudentT, TailsAreExactToTwelveDigits) {
  double worst = 0;
  for (const auto& [df, t, upper] : student_tails) {
    const student_t T(df);
    if (upper > 0) worst = std::max(worst, relative(T.survival(t), upper));
    EXPECT_LT(std::abs(T.survival(t) - upper), 1e-12 * upper + 1e-300) << df << ", " << t;
    EXPECT_EQ(T.cdf(-t), T.survival(t)) << df << ", " << t;
    EXPECT_NEAR(T.cdf(t), 1 - upper, 1e-15) << df << ", " << t;
  }
  EXPECT_LT(worst, 1e-12);
}

// The quantile of a rounded probability p differs by as much as p does, divided by t f(t) / p: the
// bound adds that. The middle is left out where 1/2 - p has lost the digits that t would need.
TEST(StudentT, QuantilesAreExactToTwelveDigits) {
  int compared = 0;
  for (const auto& [df, t, upper] : student_tails) {
    if (upper < 1e-150 || upper > 0.49) continue;
    EXPECT_LT(relative(-student_t(df).quantile(upper), t), 1e-12) << df << ", " << t;
    ++compared;
  }
  EXPECT_GT(compared, 80);
}

// P(|T| <= t) = 2 t f(0) for small t, and 1 df: p = 1/2 + atan(t) / pi.
TEST(StudentT, QuantilesNearTheMiddle) {
  const double pi = std::acos(-1.0);
  for (const double c : {0x1p-30, 0x1p-12, 0x1p-5, 0.125}) {
    EXPECT_LT(relative(student_t(1).quantile(0.5 + c), std::tan(pi * c)), 1e-14) << c;
    EXPECT_EQ(student_t(1).quantile(0.5 - c), -student_t(1).quantile(0.5 + c));
  }
  EXPECT_EQ(student_t(7).quantile(0.5), 0.0);
}

TEST(StudentT, HasFractionsOfDegrees) {
  const double between = student_t(2.5).survival(3);
  EXPECT_LT(between, student_t(2).survival(3));
  EXPECT_GT(between, student_t(3).survival(3));
}

TEST(StudentT, Edges) {
  const student_t T(5);
  EXPECT_EQ(T.cdf(0), 0.5);
  EXPECT_EQ(T.cdf(inf), 1);
  EXPECT_EQ(T.cdf(-inf), 0);
  EXPECT_EQ(T.survival(1e200), 0);
  EXPECT_TRUE(std::isnan(T.cdf(not_a_number)));
  EXPECT_EQ(T.quantile(0), -inf);
  EXPECT_EQ(T.quantile(1), inf);
  EXPECT_EQ(thrown<bad_data>([&] { return T.quantile(1.5); }),
            "student_t::quantile: a probability lies in 0..1, not at 1.500000");
  EXPECT_EQ(thrown<bad_data>([&] { return T.quantile(not_a_number); }),
            "student_t::quantile: a probability lies in 0..1, not at nan");
  for (const double df : {0.0, -1.0, inf, not_a_number})
    EXPECT_EQ(thrown<bad_data>([&] { return student_t(df).cdf(1); }).substr(0, 60),
              "student_t: degrees of freedom must be positive and finite, n");
}

// 1.1e-13 was the greatest error.
TEST(FDistribution, TailsAreExactToTwelveDigits) {
  double worst = 0;
  for (const auto& [d1, d2, x, lower, upper] : f_tails) {
    const f_distribution F(d1, d2);
    if (lower > 0) worst = std::max(worst, relative(F.cdf(x), lower));
    if (upper > 0) worst = std::max(worst, relative(F.survival(x), upper));
    EXPECT_LT(std::abs(F.cdf(x) - lower), 1e-12 * lower + 1e-300) << d1 << ", " << d2 << ", " << x;
    EXPECT_LT(std::abs(F.survival(x) - upper), 1e-12 * upper + 1e-300) << d1 << ", " << d2 << ", " << x;
  }
  EXPECT_LT(worst, 1e-12);
}

TEST(FDistribution, QuantilesAreExactToTwelveDigits) {
  int compared = 0;
  for (const auto& [d1, d2, x, lower, upper] : f_tails) {
    if (lower > 1e-150 && lower <= 0.5) {
      EXPECT_LT(relative(f_distribution(d1, d2).quantile(lower), x), 1e-12)
          << d1 << ", " << d2 << ", " << x;
      ++compared;
    }
    if (upper > 1e-150 && upper <= 0.5) {
      EXPECT_LT(relative(f_distribution(d1, d2).from_upper(upper), x), 1e-12)
          << d1 << ", " << d2 << ", " << x;
      ++compared;
    }
  }
  EXPECT_GT(compared, 200);
}

TEST(FDistribution, Edges) {
  const f_distribution F(3, 8);
  EXPECT_EQ(F.cdf(0), 0);
  EXPECT_EQ(F.cdf(-1), 0);
  EXPECT_EQ(F.survival(inf), 0);
  EXPECT_TRUE(std::isnan(F.survival(not_a_number)));
  EXPECT_EQ(F.quantile(0), 0);
  EXPECT_EQ(F.quantile(1), inf);
  EXPECT_EQ(thrown<bad_data>([&] { return F.quantile(-0.5); }),
            "f_distribution::quantile: a probability lies in 0..1, not at -0.500000");
  EXPECT_EQ(thrown<bad_data>([] { return f_distribution(2, 0).cdf(1); }),
            "f_distribution: degrees of freedom must be positive and finite, not 0.000000");
}

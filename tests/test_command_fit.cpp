// tests/test_command_fit.cpp - tabfit fit, evaluate and solve, through the real program.
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "tabfit/tabfit.h"
#include "tests/support/bits.hpp"
#include "tests/support/command.hpp"
#include "tests/support/twins.hpp"

namespace {

using Json = nlohmann::json;

class CommandFit : public Command {};
class CommandEvaluate : public Command {};
class CommandSolve : public Command {};

const std::string motorcycle = TABFIT_DATA "/motorcycle.csv";
const std::string longley = TABFIT_DATA "/longley.csv";

template <class Real>
Words precision() {
  return {"--precision", sizeof(Real) == 4 ? "single" : "double"};
}

/// A subcommand with its FILE on standard input.
Outcome piped(const char* subcommand, const std::string& input, const Words& words) {
  return run_tabfit(Words{subcommand, "-"} + words,
                    {.input = input, .environment = {}, .output_file = ""});
}
Outcome fit(const std::string& table, const Words& words) { return piped("fit", table, words); }
Outcome solve(const std::string& table, const Words& words) { return piped("solve", table, words); }

/// The CSV of a command that must succeed.
std::string result_of(const Outcome& outcome) {
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return outcome.out;
}

template <class Real>
void expect_same(const std::vector<Real>& a, const std::vector<Real>& b) {
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_SAME(a[i], b[i]) << "at " << i;
}

template <class Real>
std::vector<Real> less(std::vector<Real> x, Real shift) {
  for (Real& t : x) t -= shift;
  return x;
}

template <class Real>
Real number(const Json& json, const char* key) {
  return json.at(key).get<Real>();
}

/// x,y for i = 0..m-1, as text that reads back exactly.
template <class X, class Y>
std::string table_of(int m, X x, Y y) {
  std::string text = "x,y\n";
  for (int i = 0; i < m; ++i) text += shortest(double(x(i))) + "," + shortest(double(y(i))) + "\n";
  return text;
}

/// A table whose parabola any fit reproduces.
std::string parabola(int m, double start = 0) {
  return table_of(
      m, [=](int i) { return start + i; }, [](int i) { return i * i - 3 * i; });
}

// -- fit: what it prints is what the library returns ------------------------------------------------

/// The middle of the range 595..1075, all within a factor of two.
constexpr int titanium_shift = 835;

template <class Real>
void expect_spline_of_the_library() {
  const auto table = columns_of<Real>(content(fs::path(titanium)));
  const std::vector<Real> x = less(table[0], Real(titanium_shift));
  const int n = 12, m = int(x.size());
  std::vector<Real> s(m + 2), s1(m), s2(m);
  ASSERT_EQ(AX_splsmoo(n, m, x.data(), table[1].data(), s.data(), s1.data(), s2.data()), AX_SPLSMOO_OK);
  const Real rms = s[m], largest = s[m + 1];
  s.resize(m);

  const Words words = Words{"fit", titanium, "--spline", "12", "--derivatives"} + precision<Real>();
  const Outcome outcome = run_tabfit(words);
  const std::string csv = result_of(outcome);
  EXPECT_TRUE(
      csv.starts_with("temperature,property,first derivative,second derivative,residual\n595,"));
  const auto result = columns_of<Real>(csv);
  ASSERT_EQ(result.size(), 5U);
  expect_same(result[0], table[0]);
  expect_same(result[1], s);
  expect_same(result[2], s1);
  expect_same(result[3], s2);
  for (int i = 0; i < m; ++i) EXPECT_SAME(result[4][i], Real(table[1][i] - s[i]));
  EXPECT_EQ(outcome.err, "tabfit: spline of 12 interior knots, 49 points: root mean square residual " +
                             shortest(rms) + ", largest " + shortest(largest) + " at 875\n");

  const auto at = columns_of<Real>(result_of(run_tabfit(words + Words{"--at", "595:1075:333"})));
  ASSERT_EQ(at.size(), 4U);
  const int k = 333;
  std::vector<Real> v = less(at[0], Real(titanium_shift)), t(k + 2), t1(k), t2(k);
  ASSERT_EQ(AX_splvals(n, m, x.data(), table[1].data(), k, v.data(), t.data(), t1.data(), t2.data()),
            AX_SPLSMOO_OK);
  t.resize(k);
  expect_same(at[1], t);
  expect_same(at[2], t1);
  expect_same(at[3], t2);
}

TEST_F(CommandFit, PrintsTheSplineOfTheLibrary) {
  expect_spline_of_the_library<double>();
  expect_spline_of_the_library<float>();
}

template <class Real>
void expect_polynomial_of_the_library() {
  const auto table = columns_of<Real>(content(fs::path(titanium)));
  const std::vector<Real> at = columns_of<Real>(result_of(
      run_tabfit(Words{"interpolate", titanium, "--at", "595:1075:222"} + precision<Real>())))[0];
  const int p = 9, m = int(table[0].size()), k = int(at.size());
  std::vector<Real> x = less(table[0], Real(titanium_shift)), v = less(at, Real(titanium_shift));
  std::vector<Real> s(k + 2), s1(k), s2(k);
  ASSERT_EQ(AX_polyapx(p, m, x.data(), table[1].data(), k, v.data(), s.data(), s1.data(), s2.data()),
            AX_POLYAPX_OK);
  const Real rms = s[k], largest = s[k + 1];
  s.resize(k);

  const Outcome outcome =
      run_tabfit(Words{"fit", titanium, "--polynomial", "9", "--at", "595:1075:222", "--derivatives"} +
                 precision<Real>());
  const auto result = columns_of<Real>(result_of(outcome));
  ASSERT_EQ(result.size(), 4U);
  expect_same(result[0], at);
  expect_same(result[1], s);
  expect_same(result[2], s1);
  expect_same(result[3], s2);
  EXPECT_TRUE(
      outcome.err.starts_with("tabfit: polynomial of degree 9, 49 points: root mean square residual " +
                              shortest(rms) + ", largest " + shortest(largest) + " at "))
      << outcome.err;
}

TEST_F(CommandFit, PrintsThePolynomialOfTheLibrary) {
  expect_polynomial_of_the_library<double>();
  expect_polynomial_of_the_library<float>();
}

TEST_F(CommandFit, LeavesAbscissaeAroundZeroAsTheyAre) {
  const auto x = [](int i) { return 0.1 * i - 0.4; };
  const auto y = [](int i) { return std::sin(i); };
  const std::string table = table_of(12, x, y);
  const std::string kept = path("c.json");
  const auto result =
      columns_of<double>(result_of(fit(table, {"--spline", "3", "--coefficients", kept})));
  EXPECT_EQ(Json::parse(content(fs::path(kept))).at("shift"), 0);
  std::vector<double> xs, ys, s(14);
  for (int i = 0; i < 12; ++i) {
    xs.push_back(x(i));
    ys.push_back(y(i));
  }
  ASSERT_EQ(AX_splsmood(3, 12, xs.data(), ys.data(), s.data(), nullptr, nullptr), AX_SPLSMOO_OK);
  s.resize(12);
  expect_same(result.at(1), s);
}

TEST_F(CommandFit, StatisticsAreThoseOfTheLibrary) {
  constexpr unsigned seed = 11;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  for (int trial = 0; trial < 20; ++trial) {
    constexpr int m = 30;
    std::vector<double> x, y, s(m + 2);
    for (int i = 0; i < m; ++i) {
      x.push_back(i - 10);
      y.push_back(value(random));
    }
    const std::string table = table_of(
        m, [&](int i) { return x.at(i); }, [&](int i) { return y.at(i); });
    const Json json = Json::parse(result_of(fit(table, {"--spline", "6", "--format", "json"})));
    ASSERT_EQ(AX_splsmood(6, m, x.data(), y.data(), s.data(), nullptr, nullptr), AX_SPLSMOO_OK);
    EXPECT_SAME(number<double>(json, "root_mean_square_residual"), s[m]);
    EXPECT_SAME(number<double>(json, "largest_residual"), s[m + 1]);
  }
}

TEST_F(CommandFit, EvaluatesAtTheDataUnlessToldOtherwise) {
  const Words words = {"--polynomial", "2"};
  EXPECT_EQ(result_of(fit(parabola(7), words)),
            result_of(fit(parabola(7), words + Words{"--at-data"})));
}

/// In single precision the first of these abscissae lies outside its own fit unless all are shifted.
TEST_F(CommandFit, FitsANarrowRangeFarFromZeroInSinglePrecision) {
  const auto x = [](int i) { return i < 11 ? 10000.0 + i : 10011 + 3.0 / 1024; };
  const auto y = [](int i) { return i % 3; };
  std::vector<float> xs, ys;
  for (int i = 0; i < 12; ++i) {
    xs.push_back(float(x(i)));
    ys.push_back(float(y(i)));
  }
  const std::unique_ptr<float*, void (*)(float**)> T(AX_d2fcsf(3), AX_freed2fcsf);
  std::vector<float> a(9), v{xs[0]}, s(12, -7);
  ASSERT_EQ(AX_apxcoeff(T.get(), 3, 12, xs.data(), ys.data(), a.data()), AX_APXCOEF_OK);
  ASSERT_EQ(AX_apxvalsf(T.get(), 3, a.data(), 1, v.data(), s.data(), nullptr, nullptr),
            AX_APXVALS_OUT_OF_RANGE)
      << "the table of this test no longer needs a shift";

  for (const Words& kind : {Words{"--spline", "3"}, Words{"--polynomial", "4"}}) {
    const std::string table = table_of(12, x, y);
    const auto single = columns_of<double>(result_of(fit(table, kind + precision<float>())));
    const auto twice = columns_of<double>(result_of(fit(table, kind)));
    ASSERT_EQ(single.at(1).size(), 12U);
    // Measured: 4.7e-7, eps/2 = 6e-8 times a small condition.
    for (int i = 0; i < 12; ++i) EXPECT_NEAR(single[1][i], twice.at(1).at(i), 1.5e-6) << kind[0] << i;
    EXPECT_SAME(twice[0][11], 10011 + 3.0 / 1024);
  }
}

TEST_F(CommandFit, ShiftsFarFromZeroWithoutLosingABit) {
  for (const double start : {1e6, -1e6, 1e15}) {
    const auto near = columns_of<double>(result_of(fit(parabola(12, -5.5), {"--spline", "4"})));
    const auto far = columns_of<double>(result_of(fit(parabola(12, start), {"--spline", "4"})));
    expect_same(far.at(1), near.at(1));
  }
}

// -- fit: repeated abscissae ------------------------------------------------------------------------

TEST_F(CommandFit, RefusesRepeatedAbscissaeWithTheRemedy) {
  expect_failure(run_tabfit({"fit", motorcycle, "--spline", "12"}), 1,
                 motorcycle + ": repeated abscissae 8.8 in rows 12, 13: use --average-repeated");
  expect_failure(
      fit("x,y\n1,1\n2,1\n2.0,1\n2,1\n\n2,1\n2,1\n2,1\n3,1\n", {"--polynomial", "2"}), 1,
      "standard input: repeated abscissae 2 in rows 3, 4, 5, 7, 8, ...: use --average-repeated");
}

TEST_F(CommandFit, AveragesRepeatedAbscissaeExactly) {
  const std::string repeated =
      "x,y\n0,1\n0,2\n1,5\n2,1e16\n2,1\n2,-1e16\n2,3\n3,7\n4,-1\n4,0\n4,2\n5,0.5\n";
  const std::string averaged = "x,y\n0,1.5\n1,5\n2,1\n3,7\n4," + shortest(1.0 / 3) + "\n5,0.5\n";
  const Words words = {"--polynomial", "3"};
  const Outcome outcome = fit(repeated, words + Words{"--average-repeated"});
  const Outcome expected = fit(averaged, words);
  EXPECT_EQ(result_of(outcome), result_of(expected));
  EXPECT_EQ(outcome.err, expected.err);
  EXPECT_NE(outcome.err.find(" 6 points: "), std::string::npos) << outcome.err;
}

TEST_F(CommandFit, AveragingChangesNothingWithoutRepeatedAbscissae) {
  const Words words = {"--spline", "12"};
  EXPECT_EQ(result_of(run_tabfit(Words{"fit", titanium} + words)),
            result_of(run_tabfit(Words{"fit", titanium, "--average-repeated"} + words)));
}

TEST_F(CommandFit, SmoothsTheMotorcycleTable) {
  const Outcome outcome = run_tabfit({"fit", motorcycle, "--spline", "12", "--average-repeated"});
  const auto columns = columns_of<double>(result_of(outcome));
  EXPECT_EQ(columns.at(0).size(), 94U);
  EXPECT_NE(outcome.err.find("94 points"), std::string::npos) << outcome.err;
}

// -- fit: what it refuses ---------------------------------------------------------------------------

TEST_F(CommandFit, RefusesAbscissaeThatDoNotIncrease) {
  for (const Words& more : {Words{}, Words{"--average-repeated"}}) {
    expect_failure(fit("x,y\n3,1\n2.0,2\n1,3\n", Words{"--polynomial", "2"} + more), 1,
                   "standard input: rows 2 and 3 have the abscissae 3 and 2.0, but they must increase");
    expect_failure(fit("x,y\n1,1\n2,2\n\n1,3\n", Words{"--polynomial", "2"} + more), 1,
                   "standard input: rows 3 and 5 have the abscissae 2 and 1, but they must increase");
  }
}

TEST_F(CommandFit, RefusesAbscissaeThatAreTooClose) {
  const std::string table = "0,1\n1,2\n1.000000001,5\n2,3\n3,3\n4,3\n5,3\n6,1\n";
  const std::string rows =
      "standard input: rows 2 and 3 have the abscissae 1 and 1.000000001, but they ";
  expect_failure(fit(table, {"--spline", "2"}), 1,
                 rows + "must increase by at least 2e-09 of half the range in double precision");
  expect_failure(fit(table, {"--polynomial", "3"}), 1,
                 rows + "must increase by at least 2e-05 of half the range in double precision");
  expect_failure(
      fit("0,1\n1,2\n1.00001,5\n2,3\n3,3\n4,3\n5,3\n6,1\n",
          Words{"--spline", "2"} + precision<float>()),
      1,
      "standard input: rows 2 and 3 have the abscissae 1 and 1.00001, but they must increase by "
      "at least 2e-05 of half the range in single precision");
}

TEST_F(CommandFit, SaysHowManyPointsAreNeeded) {
  expect_failure(
      fit(parabola(15), {"--spline", "12"}), 1,
      "standard input: too few points for 12 knots: at least 16 are needed, but there are 15");
  expect_failure(fit(parabola(4), {"--spline", "1"}), 1,
                 "standard input: too few points for 1 knot: at least 5 are needed, but there are 4");
  expect_failure(fit(parabola(4), {"--polynomial", "4"}), 1,
                 "standard input: too few points for degree 4: at least 5 are needed, but there are 4");
  expect_failure(fit("x,y\n0,1\n0,2\n1,2\n2,2\n", {"--polynomial", "3", "--average-repeated"}), 1,
                 "standard input: too few points for degree 3: at least 4 are needed, but there are 3");
}

TEST_F(CommandFit, InterpolatesAsManyPointsAsItHasCoefficients) {
  for (const Words& kind : {Words{"--spline", "12"}, Words{"--polynomial", "15"}}) {
    const auto result = columns_of<double>(result_of(fit(parabola(16), kind)));
    // Measured: 1.0e-12, eps/2 of ordinates up to 180 times a condition of about 50.
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(result.at(1).at(i), i * i - 3 * i, 3e-12) << kind[0];
  }
}

TEST_F(CommandFit, NamesTheGapThatLeavesTheDesignRankDeficient) {
  // Knots at 0, 1, ..., 13. No point lies between 4 and 10, and three B-splines are zero outside.
  std::string table = "x,y\n";
  for (int i = 0; i <= 8; ++i) table += shortest(i * 0.5) + ",1\n";
  for (int i = 0; i <= 12; ++i) table += shortest(10 + i * 0.25) + ",2\n";
  for (const Words& twin : {precision<double>(), precision<float>()})
    expect_failure(
        fit(table, Words{"--spline", "12"} + twin), 1,
        "standard input: the design is rank deficient, rank 13 of 16: no data between 4 and 10");
}

TEST_F(CommandFit, RefusesADeficientDesignEvenIfTheLibraryCannotTell) {
  const std::string table =
      "x,y\n0.0,-0.251\n0.579,-0.171\n0.783,-0.316\n0.96,0.495\n0.964,0.013\n1.535,-0.742\n1.574,0."
      "839\n1.725,-0.272\n1.745,-0.880\n2.592,-0.766\n3.691,0.724\n3.73,0.271\n3.863,-0.751\n8.222,0."
      "902\n8.477,0.610\n8.664,-0.269\n8.862,-0.699\n9.178,-0.950\n9.392,0.276\n10.204,-0.034\n10.636,"
      "0.500\n11.858,0.959\n11.922,0.179\n12.102,-0.816\n12.272,0.088\n13.0,0.003\n";
  const auto columns = columns_of<float>(table);
  const int m = int(columns[0].size());
  std::vector<float> s(m + 2);
  ASSERT_EQ(AX_splsmoof(12, m, columns[0].data(), columns[1].data(), s.data(), nullptr, nullptr),
            AX_SPLSMOO_OK)
      << "the table of this test is no longer accepted";
  for (const Words& twin : {precision<double>(), precision<float>()})
    expect_failure_with(fit(table, Words{"--spline", "12"} + twin), 1, "rank deficient, rank ");
}

TEST_F(CommandFit, NamesTheLongestGapsOnly) {
  const Outcome outcome = run_tabfit({"fit", motorcycle, "--average-repeated", "--spline", "60"});
  expect_failure(outcome, 1,
                 motorcycle +
                     ": the design is rank deficient, rank 60 of 64: no data between 4.21 and "
                     "6.02, between 11.45 and 12.35, between 55.79 and 57.6, and in 6 shorter gaps");
}

TEST_F(CommandFit, RefusesKnotsForWhichTheBasisOverflows) {
  expect_failure(
      fit(parabola(700), {"--spline", "538"}), 1,
      "standard input: too many knots for double precision: 538, but at most 537 are possible");
  expect_failure(
      fit(parabola(700), Words{"--spline", "66"} + precision<float>()), 1,
      "standard input: too many knots for single precision: 66, but at most 65 are possible");
  EXPECT_EQ(fit(parabola(700), Words{"--spline", "65"} + precision<float>()).status, 0);
  EXPECT_EQ(fit(parabola(700), {"--spline", "537"}).status, 0);
}

TEST_F(CommandFit, SaysWhenADegreeIsTooHighForTheData) {
  expect_failure(run_tabfit({"fit", titanium, "--polynomial", "47"}), 1,
                 titanium +
                     ": the design is rank deficient, rank 47 of 48: the data do not determine so "
                     "many coefficients, use a lower degree");
}

TEST_F(CommandFit, RefusesAPointOutsideTheDataInItsOwnSpelling) {
  for (const Words& kind : {Words{"--spline", "3"}, Words{"--polynomial", "3"}}) {
    const Words twin = precision<float>();
    expect_failure(fit(parabola(12), kind + Words{"--at", "1,11.50"}), 1,
                   "standard input: point 11.50 lies outside 0..11");
    expect_failure(fit(parabola(12), kind + twin + Words{"--at", "1,-5"}), 1,
                   "standard input: point -5 lies outside 0..11");
    expect_failure(fit(parabola(12), kind + Words{"--at", "0:12:3"}), 1,
                   "standard input: point 12 lies outside 0..11");
    const std::string points = write("points.csv", "t\n1\n\n99\n");
    expect_failure(fit(parabola(12), kind + Words{"--at-file", points}), 1,
                   "standard input: point 99 (" + points + ", row 4) lies outside 0..11");
  }
}

TEST_F(CommandFit, MovesAPointWithinTheToleranceOntoTheEnd) {
  // Half the range is 5.5, and 2e-9 of it 1.1e-8.
  for (const Words& kind : {Words{"--spline", "3"}, Words{"--polynomial", "3"}}) {
    const std::string end = result_of(fit(parabola(12), kind + Words{"--at", "11"}));
    const std::string value = end.substr(end.rfind(','));
    EXPECT_EQ(result_of(fit(parabola(12), kind + Words{"--at", "11.00000001"})),
              "x,y\n11.00000001" + value);
    expect_failure(fit(parabola(12), kind + Words{"--at", "11.0000000111"}), 1,
                   "standard input: point 11.0000000111 lies outside 0..11");
  }
}

TEST_F(CommandFit, RoundingInTheLibraryDoesNotMoveTheBorderOfTheRange) {
  // The middle of the range is no float, so the border inside the library is off by 1e-7.
  const auto x = [](int i) { return i < 8 ? 1 + 0.25 * i : 3.000000715255737; };
  const std::string table = table_of(9, x, [](int i) { return i % 3; });
  int accepted = 0;
  for (int k = -20; k < 20; ++k) {
    const double beyond = 2e-5 + k * 2e-8;
    for (const double point : {1 - beyond, 3.000000715255737 + beyond}) {
      const Outcome outcome =
          fit(table, Words{"--spline", "2", "--at", shortest(point)} + precision<float>());
      accepted += outcome.status == 0;
      if (outcome.status != 0) expect_failure_with(outcome, 1, " lies outside 1..3.0000007");
    }
  }
  EXPECT_GT(accepted, 20);
  EXPECT_LT(accepted, 60);
}

TEST_F(CommandFit, RefusesCellsThatAreNotFiniteNumbers) {
  for (const std::string cell : {"inf", "nan", "-inf"}) {
    expect_failure(fit("x,y\n0,1\n1," + cell + "\n2,3\n", {"--polynomial", "2"}), 2,
                   "standard input: not a finite number in row 3, column `y`: '" + cell + "'");
    expect_failure(fit("x,y\n0,1\n" + cell + ",2\n2,3\n", {"--polynomial", "2"}), 2,
                   "standard input: not a finite number in row 3, column `x`: '" + cell + "'");
  }
  expect_failure(fit("x,y\n0,1\n1,two\n", {"--polynomial", "2"}), 2,
                 "standard input: not a number in row 3, column `y`: 'two'");
}

TEST_F(CommandFit, RefusesUnusableTables) {
  const Words words = {"--polynomial", "2"};
  expect_failure(fit("", words), 2, "standard input: the table is empty");
  expect_failure(fit("x,y\n", words), 2,
                 "standard input: too few rows of numbers: 0, but at least 2 are needed");
  expect_failure(fit("x,y\n1,2\n", words), 2,
                 "standard input: too few rows of numbers: 1, but at least 2 are needed");
  expect_failure(fit("1\n2\n", words), 2,
                 "standard input: the table has one column, but two are needed, separated by commas");
  expect_failure(fit("x,y\n1,2\n", words + Words{"--y", "z"}), 2,
                 "standard input: no column 'z'; there are `x`, `y`");
  const std::string missing = path("missing.csv");
  expect_failure(run_tabfit(Words{"fit", missing} + words), 2,
                 "cannot read " + missing + ": No such file or directory");
}

TEST_F(CommandFit, RefusesResultsBeyondTheRange) {
  const auto huge = [](int i) { return i % 2 ? 1.7e308 : -1.7e308; };
  const auto i = [](int k) { return k; };
  EXPECT_EQ(fit(table_of(9, i, huge), {"--spline", "2"}).status, 1);
  expect_failure_with(fit(table_of(9, i, huge), {"--polynomial", "3"}), 1, "beyond the range");
  expect_failure_with(fit("-1.7e308,1\n0,2\n1.7e308,3\n", {"--polynomial", "2"}), 1,
                      "the abscissae are beyond the range of double precision");
}

TEST_F(CommandFit, RefusesWrongOptions) {
  const std::string help = " (see tabfit fit --help)";
  const std::string one = "either --spline or --polynomial is needed, and not both" + help;
  expect_failure(run_tabfit({"fit", titanium}), 2, one);
  expect_failure(run_tabfit({"fit", titanium, "--spline", "3", "--polynomial", "2"}), 2, one);
  for (const std::string bad : {"0", "-1", "2.5", "", "x", "99999999999"})
    expect_failure(run_tabfit({"fit", titanium, "--spline", bad}), 2,
                   "--spline: KNOTS must be a whole number from 1 to 1000000, but is '" + bad + "'");
  for (const std::string bad : {"1", "10000", "2.0", ""})
    expect_failure(run_tabfit({"fit", titanium, "--polynomial", bad}), 2,
                   "--polynomial: DEGREE must be a whole number from 2 to 9999, but is '" + bad + "'");
  const Words words = {"fit", titanium, "--spline", "12"};
  for (const Words& two :
       {Words{"--at", "600", "--at-data"}, Words{"--at", "600", "--at-file", titanium},
        Words{"--at-file", titanium, "--at-data"}})
    expect_failure(run_tabfit(words + two), 2,
                   "only one of --at, --at-file and --at-data can be given" + help);
  for (const char* option : {"--x", "--y", "--at", "--at-file", "--coefficients", "--output"})
    expect_failure(run_tabfit(words + Words{option, ""}), 2, std::string(option) + " is empty" + help);
  expect_failure(run_tabfit({"fit", "-", "--spline", "3", "--at-file", "-"}), 2,
                 "FILE and --at-file are both standard input" + help);
  expect_failure_with(run_tabfit(words + Words{"--format", "xml"}), 2,
                      "--format: xml not in {csv,table,json}");
  expect_failure_with(run_tabfit(words + Words{"--bogus"}), 2, "--bogus");
  expect_failure(run_tabfit(words + Words{"--plot", "p.jpg"}), 2,
                 "--plot: the name must end in .svg, .png or .pdf: 'p.jpg'");
}

// -- fit: forms of the result -----------------------------------------------------------------------

TEST_F(CommandFit, JsonHoldsHowWellTheFitMeetsTheData) {
  const Outcome outcome =
      run_tabfit({"fit", titanium, "--spline", "12", "--at", "600,700.5", "--format", "json"});
  expect_output({outcome.status, "", outcome.err}, "");
  const Json json = Json::parse(outcome.out);
  EXPECT_EQ(json.at("file"), titanium);
  EXPECT_EQ(json.at("kind"), "spline");
  EXPECT_EQ(json.at("interior_knots"), 12);
  EXPECT_EQ(json.at("precision"), "double");
  EXPECT_EQ(json.at("x"), "temperature");
  EXPECT_EQ(json.at("y"), "property");
  ASSERT_EQ(json.at("points").size(), 2U);
  EXPECT_EQ(json["points"][1].at("x"), 700.5);

  const auto data = columns_of<double>(result_of(run_tabfit({"fit", titanium, "--spline", "12"})));
  double sum = 0, largest = 0;
  for (const double r : data.at(2)) {
    sum += r * r;
    largest = std::max(largest, std::abs(r));
  }
  EXPECT_DOUBLE_EQ(json.at("root_mean_square_residual"), std::sqrt(sum / 49));
  EXPECT_SAME(number<double>(json, "largest_residual"), largest);
  EXPECT_EQ(Json::parse(run_tabfit({"fit", titanium, "--polynomial", "5", "--format", "json"}).out)
                .at("degree"),
            5);
}

TEST_F(CommandFit, TableEndsWithHowWellTheFitMeetsTheData) {
  const Outcome outcome =
      fit("x,y\n0,0\n1,1\n2,4\n", {"--polynomial", "2", "--format", "table", "--at", "0"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_NE(outcome.out.find("\n\npolynomial of degree 2, 3 points: root mean square residual "),
            std::string::npos)
      << outcome.out;
}

TEST_F(CommandFit, CsvResultIsATableThatItReadsAgain) {
  const std::string first = result_of(run_tabfit({"fit", titanium, "--spline", "12"}));
  EXPECT_TRUE(first.starts_with("temperature,property,residual\n595,"));
  EXPECT_EQ(fit(first, {"--spline", "12"}).status, 0);
}

TEST_F(CommandFit, ChoosesColumnsByNameOrNumber) {
  const std::string table = "y,t,x\n1,a,0\n2,b,1\n5,c,2\n9,d,3\n";
  const std::string expected = result_of(fit("x,y\n0,1\n1,2\n2,5\n3,9\n", {"--polynomial", "2"}));
  EXPECT_EQ(result_of(fit(table, {"--polynomial", "2", "--x", "x", "--y", "1"})), expected);
}

TEST_F(CommandFit, WritesAllResultsOrNone) {
  const std::string out = write("out.csv", "old\n"), kept = write("c.json", "old\n");
  const std::string plot = path("p.svg");
  const Words files_of = {"--output", out, "--coefficients", kept, "--plot", plot};
  EXPECT_EQ(fit(parabola(12), Words{"--spline", "3", "--at", "99"} + files_of).status, 1);
  EXPECT_EQ(fit(parabola(12), Words{"--spline", "30"} + files_of).status, 1);
  EXPECT_EQ(fit("x,y\n1,z\n", Words{"--spline", "3"} + files_of).status, 2);
  EXPECT_EQ(fit(parabola(12), {"--spline", "3", "--output", out, "--coefficients", kept, "--plot",
                               path("nowhere") / "p.svg"})
                .status,
            2);
  expect_failure(fit(parabola(12), {"--spline", "3", "--output", out, "--coefficients", out}), 2,
                 "cannot write two results to " + out);
  EXPECT_EQ(content(fs::path(out)), "old\n");
  EXPECT_EQ(content(fs::path(kept)), "old\n");
  EXPECT_EQ(files(), 2U);
  EXPECT_EQ(fit(parabola(12), Words{"--spline", "3"} + files_of).status, 0);
  EXPECT_EQ(files(), 3U);
  EXPECT_TRUE(content(fs::path(kept)).starts_with("{\n"));
}

TEST_F(CommandFit, SaysNothingAboutAFitThatItCouldNotWrite) {
  const Outcome outcome = fit(parabola(12), {"--spline", "3", "--output", "/dev/full"});
  expect_failure(outcome, 1, "cannot write /dev/full: No space left on device");
}

TEST_F(CommandFit, HelpShowsOptionsExamplesAndExitStatuses) {
  const std::vector<std::pair<std::string, Words>> expected = {
      {"fit",
       {"--spline", "--polynomial", "--x", "--y", "--at ", "--at-file", "--at-data", "--derivatives",
        "--average-repeated", "--precision", "--coefficients", "--plot", "--format", "--output"}},
      {"evaluate", {"--at ", "--at-file", "--derivatives", "--plot", "--format", "--output"}},
      {"solve", {"--response", "--predictors", "--intercept", "--fitted", "--precision", "--format"}}};
  const std::string whole = result_of(run_tabfit({"--help"}));
  for (const auto& [name, options] : expected) {
    EXPECT_NE(whole.find("\n  " + name + " "), std::string::npos) << whole;
    const Outcome outcome = run_tabfit({name, "--help"});
    expect_output({outcome.status, "", outcome.err}, "");
    for (const std::string& part : options + Words{"--version", "Examples:", "Exit status:"})
      EXPECT_NE(outcome.out.find(part), std::string::npos) << name << ' ' << part;
    for (std::size_t start = 0, stop = 0; start < outcome.out.size(); start = stop + 1) {
      stop = outcome.out.find('\n', start);
      EXPECT_LE(stop - start, 100U) << outcome.out.substr(start, stop - start);
    }
    expect_output(run_tabfit({name, "--version"}), "tabfit " TABFIT_VERSION_STRING "\n");
  }
}

// -- pictures ---------------------------------------------------------------------------------------

TEST_F(CommandFit, PictureShowsDataFitAndResiduals) {
  const std::string plot = path("p.svg");
  const Words words = {"fit", titanium, "--spline", "12", "--plot", plot};
  EXPECT_EQ(run_tabfit(words).status, 0);
  const std::string alone = content(fs::path(plot));
  EXPECT_EQ(run_tabfit(words + Words{"--at", "600,700"}).status, 0);
  const std::string with_points = content(fs::path(plot));
  for (const char* text : {">titanium.csv: spline of 12 interior knots<", ">temperature<", ">property<",
                           ">data - fit<", ">data<", ">fit<"})
    for (const std::string* svg : {&alone, &with_points})
      EXPECT_NE(svg->find(text), std::string::npos) << text;
  EXPECT_EQ(alone.find(">evaluated<"), std::string::npos);
  EXPECT_NE(with_points.find(">evaluated<"), std::string::npos);
}

TEST_F(CommandFit, DrawsAFitWithoutAnyResidual) {
  const std::string plot = path("p.png");
  EXPECT_EQ(fit("0,0\n1,0\n2,0\n3,0\n", {"--polynomial", "2", "--plot", plot}).status, 0);
  EXPECT_TRUE(content(fs::path(plot)).starts_with("\x89PNG"));
}

TEST_F(CommandEvaluate, PictureShowsTheFitAndItsSlope) {
  const std::string kept = path("kept.json"), plot = path("p.svg");
  ASSERT_EQ(run_tabfit({"fit", titanium, "--polynomial", "8", "--coefficients", kept}).status, 0);
  ASSERT_EQ(run_tabfit({"evaluate", kept, "--at", "600,700", "--plot", plot}).status, 0);
  const std::string svg = content(fs::path(plot));
  for (const char* text : {">kept.json: polynomial of degree 8<", ">temperature<", ">property<",
                           ">first derivative<", ">fit<", ">evaluated<"})
    EXPECT_NE(svg.find(text), std::string::npos) << text;
}

// -- evaluate ---------------------------------------------------------------------------------------

TEST_F(CommandEvaluate, PrintsWhatFitPrinted) {
  const std::string kept = path("c.json");
  for (const Words& kind : {Words{"--spline", "17"}, Words{"--polynomial", "11"}})
    for (const Words& twin : {precision<double>(), precision<float>()})
      for (const std::string format : {"csv", "table"}) {
        const Words points = {"--at", "595:1075:1009", "--derivatives", "--format", format};
        std::string fitted = result_of(
            run_tabfit(Words{"fit", titanium, "--coefficients", kept} + kind + twin + points));
        if (format == "table") fitted.resize(fitted.find("\n\n") + 1);  // how well it meets the data
        expect_output(run_tabfit(Words{"evaluate", kept} + points), fitted);
      }
}

TEST_F(CommandEvaluate, PrintsWhatFitPrintedOfRandomTables) {
  constexpr unsigned seed = 20261121;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> step(0.1, 1), value(-1, 1), exponent(-30, 30),
      offset(-1e4, 1e4);
  const std::string kept = path("c.json");
  for (int trial = 0; trial < 20; ++trial) {
    const double scale = std::pow(10, exponent(random));
    double x = offset(random);
    const double first = x;
    std::string table;
    for (int i = 0; i < 40; ++i) {
      table += shortest(x) + "," + shortest(scale * value(random)) + "\n";
      if (i < 39) x += step(random);
    }
    for (const Words& kind : {Words{"--spline", "5"}, Words{"--polynomial", "6"}})
      for (const Words& twin : {precision<double>(), precision<float>()}) {
        const Words at = {"--at", shortest(first) + ":" + shortest(x) + ":57"};
        const std::string fitted =
            result_of(fit(table, kind + twin + at + Words{"--coefficients", kept}));
        expect_output(run_tabfit(Words{"evaluate", kept} + at), fitted);
      }
  }
}

TEST_F(CommandEvaluate, FileHoldsTheCoefficientsOfTheLibrary) {
  const auto table = columns_of<double>(content(fs::path(titanium)));
  const std::string kept = path("c.json");
  std::vector<double> x = less(table[0], double(titanium_shift)), a(10);
  const int p = 5, m = int(x.size());
  ASSERT_EQ(AX_polapxcoefd(p, m, x.data(), table[1].data(), a.data()), AX_POLAPXCOEF_OK);
  ASSERT_EQ(run_tabfit({"fit", titanium, "--polynomial", "5", "--coefficients", kept}).status, 0);
  const Json json = Json::parse(content(fs::path(kept)));
  EXPECT_EQ(json.at("format"), "tabfit fit");
  EXPECT_EQ(json.at("version"), 1);
  EXPECT_EQ(json.at("file"), titanium);
  EXPECT_EQ(json.at("kind"), "polynomial");
  EXPECT_EQ(json.at("degree"), 5);
  EXPECT_EQ(json.at("precision"), "double");
  EXPECT_EQ(json.at("x"), "temperature");
  EXPECT_EQ(json.at("y"), "property");
  EXPECT_EQ(json.at("points"), 49);
  EXPECT_EQ(json.at("range"), (std::vector<double>{595, 1075}));
  EXPECT_EQ(json.at("shift"), titanium_shift);
  expect_same(json.at("coefficients").get<std::vector<double>>(), {a.begin(), a.begin() + 6});
  EXPECT_SAME(number<double>(json, "centre"), a[6]);
  EXPECT_SAME(number<double>(json, "half_width"), a[7]);
  EXPECT_SAME(number<double>(json, "root_mean_square_residual"), a[8]);
  EXPECT_SAME(number<double>(json, "largest_residual"), a[9]);
}

TEST_F(CommandEvaluate, KeepsTheSignOfAZero) {
  const std::string kept = path("c.json");
  ASSERT_EQ(fit(parabola(9), {"--spline", "2", "--coefficients", kept}).status, 0);
  Json json = Json::parse(content(fs::path(kept)));
  for (Json& coefficient : json["coefficients"]) coefficient = 0.0;
  const std::string zero = write("zero.json", json.dump());
  expect_output(run_tabfit({"evaluate", zero, "--at", "3"}), "x,y\n3,0\n");

  // A fit of ordinates -0 has coefficients -0 among others; they come back as they were.
  const std::string minus = table_of(
      9, [](int i) { return i; }, [](int) { return -0.0; });
  const std::string fitted =
      result_of(fit(minus, {"--spline", "2", "--at", "0:8:17", "--coefficients", kept}));
  expect_output(run_tabfit({"evaluate", kept, "--at", "0:8:17"}), fitted);
}

TEST_F(CommandEvaluate, DescribesItsPointsInJson) {
  const std::string kept = path("c.json");
  ASSERT_EQ(
      run_tabfit({"fit", titanium, "--spline", "4", "--precision", "single", "--coefficients", kept})
          .status,
      0);
  const Json json =
      Json::parse(run_tabfit({"evaluate", kept, "--at", "600,700", "--format", "json"}).out);
  EXPECT_EQ(json.at("file"), kept);
  EXPECT_EQ(json.at("fit"), "spline of 4 interior knots");
  EXPECT_EQ(json.at("precision"), "single");
  EXPECT_EQ(json.at("x"), "temperature");
  EXPECT_EQ(json.at("y"), "property");
  EXPECT_EQ(json.at("points").size(), 2U);
}

TEST_F(CommandEvaluate, ReadsItsFileFromStandardInput) {
  const std::string kept = path("c.json");
  ASSERT_EQ(run_tabfit({"fit", titanium, "--spline", "4", "--coefficients", kept}).status, 0);
  const std::string json = content(fs::path(kept));
  expect_output(piped("evaluate", json, {"--at", "600"}),
                result_of(run_tabfit({"evaluate", kept, "--at", "600"})));
  expect_failure(piped("evaluate", json, {"--at", "0"}), 1,
                 "standard input: point 0 lies outside 595..1075");
}

TEST_F(CommandEvaluate, RefusesAPointOutsideTheFittedRange) {
  const std::string kept = path("c.json");
  const std::string out = write("out.csv", "old\n");
  for (const Words& kind : {Words{"--spline", "4"}, Words{"--polynomial", "4"}})
    for (const Words& twin : {precision<double>(), precision<float>()}) {
      ASSERT_EQ(run_tabfit(Words{"fit", titanium, "--coefficients", kept} + kind + twin).status, 0);
      expect_failure(run_tabfit({"evaluate", kept, "--at", "600,1100.0", "--output", out}), 1,
                     kept + ": point 1100.0 lies outside 595..1075");
    }
  EXPECT_EQ(content(fs::path(out)), "old\n");
}

TEST_F(CommandEvaluate, RefusesFilesThatHoldNoFit) {
  const auto refuses = [&](const std::string& text, const std::string& line) {
    expect_failure(piped("evaluate", text, {"--at", "1"}), 2, "standard input: " + line);
  };
  const std::string no_json = "this is not a file of coefficients: it is not JSON";
  const std::string other = "this is not a file of coefficients: it has no \"format\": \"tabfit fit\"";
  refuses("", no_json);
  refuses("x,y\n1,2\n", no_json);
  refuses("{\"format\": \"tabfit fit\"", no_json);
  refuses("[1, 2]", other);
  refuses("\"tabfit fit\"", other);
  refuses("{}", other);
  refuses("{\"format\": \"other\"}", other);
  refuses("{\"format\": 1}", other);
  refuses(run_tabfit({"fit", titanium, "--spline", "4", "--format", "json"}).out, other);
  const std::string missing = path("missing.json");
  expect_failure(run_tabfit({"evaluate", missing, "--at", "1"}), 2,
                 "cannot read " + missing + ": No such file or directory");
}

TEST_F(CommandEvaluate, RefusesWhatDoesNotFitInAFileOfCoefficients) {
  const std::string kept = path("c.json");
  ASSERT_EQ(run_tabfit({"fit", titanium, "--spline", "2", "--coefficients", kept}).status, 0);
  const Json good = Json::parse(content(fs::path(kept)));
  ASSERT_EQ(piped("evaluate", good.dump(), {"--at", "600"}).status, 0);
  const auto refuses = [&](const char* key, const Json& value, const std::string& line) {
    Json bad = good;
    bad[key] = value;
    expect_failure(piped("evaluate", bad.dump(), {"--at", "600"}), 2, "standard input: " + line);
  };
  for (const char* key :
       {"version", "kind", "interior_knots", "precision", "x", "y", "points", "range", "shift",
        "centre", "half_width", "coefficients", "root_mean_square_residual", "largest_residual"}) {
    Json bad = good;
    bad.erase(key);
    expect_failure(piped("evaluate", bad.dump(), {"--at", "600"}), 2,
                   std::string("standard input: there is no \"") + key + "\"");
  }
  refuses("version", 2, "the file has version 2, but this program reads version 1");
  refuses("version", "1", "\"version\" must be a whole number from 0 to 2147483647");
  refuses("kind", "circle", "\"kind\" must be \"spline\" or \"polynomial\", but is 'circle'");
  refuses("kind", "polynomial", "there is no \"degree\"");
  refuses("precision", "half", "\"precision\" must be \"single\" or \"double\", but is 'half'");
  refuses("precision", 8, "\"precision\" must be a text");
  for (const Json& value : {Json(0), Json(538), Json(-2), Json(2.0), Json("2"), Json(nullptr)})
    refuses("interior_knots", value, "\"interior_knots\" must be a whole number from 1 to 537");
  refuses("interior_knots", 3, "\"coefficients\" must have 7 numbers, but has 6");
  refuses("coefficients", 3, "\"coefficients\" must be a list of numbers");
  refuses("coefficients", {1, 2, "x", 4, 5, 6},
          "number 3 of \"coefficients\" must be a number within the range of double precision");
  refuses("points", 5, "\"points\" must be a whole number from 6 to 2147483647");
  refuses("x", 5, "\"x\" must be a text");
  refuses("shift", "a", "\"shift\" must be a number within the range of double precision");
  refuses("range", {595}, "\"range\" must have 2 numbers, but has 1");
  refuses("range", {1075, 595}, "\"range\" must increase");
  const std::string together = "\"range\", \"shift\", \"centre\" and \"half_width\" do not go together";
  refuses("range", {595, 1076}, together);
  refuses("range", {594, 1075}, together);
  refuses("shift", 834, together);
  refuses("centre", 1, together);
  refuses("half_width", 0, together);
  refuses("half_width", -240, together);
}

TEST_F(CommandEvaluate, RefusesNumbersBeyondTheRangeOfItsPrecision) {
  const std::string kept = path("c.json");
  ASSERT_EQ(run_tabfit(
                {"fit", titanium, "--polynomial", "2", "--precision", "single", "--coefficients", kept})
                .status,
            0);
  Json bad = Json::parse(content(fs::path(kept)));
  bad["coefficients"][1] = 10000000000000000000.0;
  EXPECT_EQ(piped("evaluate", bad.dump(), {"--at", "600"}).status, 0);
  bad["coefficients"][1] = 1e300;
  EXPECT_EQ(piped("evaluate", bad.dump(), {"--at", "600"}).status, 2);
}

TEST_F(CommandEvaluate, RefusesWrongOptions) {
  const std::string help = " (see tabfit evaluate --help)";
  const std::string line = "either --at or --at-file is needed, and not both" + help;
  expect_failure(run_tabfit({"evaluate", "c.json"}), 2, line);
  expect_failure(run_tabfit({"evaluate", "c.json", "--at", "1", "--at-file", "p"}), 2, line);
  expect_failure(run_tabfit({"evaluate", "-", "--at-file", "-"}), 2,
                 "FILE and --at-file are both standard input" + help);
  expect_failure_with(run_tabfit({"evaluate", "--at", "1"}), 2, "FILE is required");
  for (const char* option : {"--spline", "--precision", "--x"})
    expect_failure_with(run_tabfit({"evaluate", "c.json", "--at", "1", option, "1"}), 2, option);
}

// -- solve ------------------------------------------------------------------------------------------

/// The terms and the coefficients of a JSON result, the coefficients to a few units of the last place.
void expect_terms(const Outcome& outcome, const std::vector<std::pair<std::string, double>>& terms) {
  const Json json = Json::parse(result_of(outcome));
  ASSERT_EQ(json.at("coefficients").size(), terms.size());
  for (std::size_t j = 0; j < terms.size(); ++j) {
    EXPECT_EQ(json["coefficients"][j].at("term"), terms[j].first);
    // Measured: 1e-15, five roundings.
    EXPECT_NEAR(json["coefficients"][j].at("value"), terms[j].second, 4e-15) << terms[j].first;
  }
}

/// y = 3 a - 2 b + 5
const std::string plane = "a,y,b\n1,6,1\n-1,0,1\n1,10,-1\n-1,4,-1\n";

TEST_F(CommandSolve, FindsThePlaneThroughItsPoints) {
  const Words words = {"--response", "y", "--intercept"};
  expect_terms(solve(plane, words + Words{"--format", "json"}),
               {{"intercept", 5}, {"a", 3}, {"b", -2}});
  const Outcome csv = solve(plane, words);
  EXPECT_TRUE(csv.out.starts_with("term,coefficient\nintercept,5\na,")) << csv.out;
  EXPECT_TRUE(csv.err.starts_with("tabfit: 4 rows, 1 degree of freedom: residual norm ")) << csv.err;
}

TEST_F(CommandSolve, KeepsTheOrderOfTheNamedPredictors) {
  for (const char* list : {"b,a", "3,1", "b,1"})
    expect_terms(
        solve(plane, {"--response", "2", "--intercept", "--predictors", list, "--format", "json"}),
        {{"intercept", 5}, {"b", -2}, {"a", 3}});
}

TEST_F(CommandSolve, LeavesTheConstantOutUnlessAskedForIt) {
  expect_terms(solve("x,y\n3,3\n4,29\n", {"--response", "y", "--format", "json"}), {{"x", 5}});
}

/// Exact by rational arithmetic, rounded to 15 digits.
const std::vector<double> longley_exact = {-3482258.63459582, 15.0618722713733,  -0.0358191792925910,
                                           -2.02022980381683, -1.03322686717359, -0.0511041056535807,
                                           1829.15146461355};
constexpr double longley_sum_of_squares = 836424.055505915;

double digits(double value, double exact) {
  return value == exact ? 16 : -std::log10(std::abs(value / exact - 1));
}

TEST_F(CommandSolve, HasTheCertifiedDigitsOfTheLongleyRegression) {
  const Outcome outcome =
      run_tabfit({"solve", longley, "--response", "employment", "--intercept", "--format", "json"});
  const Json json = Json::parse(result_of(outcome));
  ASSERT_EQ(json.at("coefficients").size(), 7U);
  // The squared norms in the decomposition carry an error of eps/2, 1e-16, of the greatest. Of the last
  // column a part of 1/110 at least is left: 16 - 2 log10(110) = 11.9 digits. Measured: 11.6.
  for (std::size_t j = 0; j < 7; ++j)
    EXPECT_GT(digits(json["coefficients"][j].at("value"), longley_exact[j]), 11.3) << j;
  // Measured: 15.3 to 15.5 digits, all that the numbers above have.
  EXPECT_GT(digits(json.at("residual_sum_of_squares"), longley_sum_of_squares), 14.7);
  EXPECT_EQ(json.at("rows"), 16);
  EXPECT_EQ(json.at("degrees_of_freedom"), 9);
  EXPECT_GT(digits(json.at("residual_standard_deviation"), 304.854073561965), 14.7);
  EXPECT_GT(digits(json.at("r_squared"), 0.995479004577296), 14.9);
  EXPECT_DOUBLE_EQ(json.at("residual_norm"), std::sqrt(longley_sum_of_squares));

  const Json single =
      Json::parse(result_of(run_tabfit({"solve", longley, "--response", "employment", "--intercept",
                                        "--format", "json", "--precision", "single"})));
  // Measured: 3.3 digits, of 7.2 - 4.1.
  for (std::size_t j = 0; j < 7; ++j)
    EXPECT_GT(digits(single["coefficients"][j].at("value"), longley_exact[j]), 3) << j;
}

TEST_F(CommandSolve, SolvesWhatTheLibraryRefusesUnscaled) {
  const auto columns = columns_of<double>(content(fs::path(longley)));
  std::vector<std::vector<double>> A(columns.begin() + 1, columns.end());
  A.emplace_back(16, 1.0);
  A.push_back(columns[0]);
  std::vector<double*> pointers;
  for (auto& column : A) pointers.push_back(column.data());
  double rn = 0;
  EXPECT_EQ(Ls_d(pointers.data(), 16, 7, &rn), 6);
}

TEST_F(CommandSolve, WritesFittedValuesAndResidualsOfEveryRow) {
  const std::string rows = path("rows.csv");
  ASSERT_EQ(run_tabfit({"solve", longley, "--response", "employment", "--intercept", "--fitted", rows})
                .status,
            0);
  const std::string text = content(fs::path(rows));
  EXPECT_TRUE(text.starts_with("row,employment,fitted,residual\n2,60323,")) << text;
  const auto columns = columns_of<double>(text);
  const auto table = columns_of<double>(content(fs::path(longley)));
  ASSERT_EQ(columns.at(3).size(), 16U);
  expect_same(columns[1], table[0]);
  double sum = 0, squares = 0;
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(columns[0][i], i + 2);
    EXPECT_NEAR(columns[1][i] - columns[2][i], columns[3][i],
                2e-11);  // two roundings of numbers below 2^17
    double expected = longley_exact[0];
    for (int j = 1; j < 7; ++j) expected += longley_exact[j] * table[j][i];
    EXPECT_NEAR(columns[2][i], expected,
                2e-8);  // the decimal coefficients have errors of up to 5e-9 and 1e-8
    sum += columns[3][i];
    squares += columns[3][i] * columns[3][i];
  }
  EXPECT_NEAR(sum, 0, 5e-13);  // measured: 1.4e-13, of residuals up to 455
  EXPECT_GT(digits(squares, longley_sum_of_squares), 14.7);

  const std::string json = path("rows.json");
  ASSERT_EQ(
      run_tabfit({"solve", longley, "--response", "employment", "--format", "json", "--fitted", json})
          .status,
      0);
  const Json parsed = Json::parse(content(fs::path(json)));
  ASSERT_EQ(parsed.at("rows").size(), 16U);
  EXPECT_EQ(parsed["rows"][0].at("row"), 2);
  EXPECT_EQ(parsed["rows"][0].at("response"), 60323);
}

TEST_F(CommandSolve, NamesDependentPredictors) {
  const auto refuses = [&](const std::string& table, const Words& words, const std::string& line) {
    for (const Words& twin : {precision<double>(), precision<float>()})
      expect_failure(solve(table, Words{"--response", "y"} + words + twin), 1,
                     "standard input: " + line);
  };
  const std::string dependent = "the predictors are dependent, rank ";
  refuses("a,b,y\n1,2,1\n2,4,5\n3,6,2\n", {},
          dependent + "1 of 2: column `b` is a multiple of column `a`");
  refuses("a,z,y\n1,0,1\n2,0,5\n3,0,2\n", {}, dependent + "1 of 2: column `z` is zero");
  refuses("a,k,y\n1,7,1\n2,7,5\n3,7,2\n4,7,2\n", {"--intercept"},
          dependent + "2 of 3: column `k` is constant, as the intercept is");
  refuses("a,b,y\n1,5,1\n2,7,5\n3,9,2\n4,11,2\n", {"--intercept"},
          dependent + "2 of 3: column `b` is a combination of column `a` and the intercept");
  std::string many = "a,k,y\n";  // so many that the sum of the second column is rounded
  for (int i = 0; i < 10007; ++i)
    many += std::to_string(i % 7) + ",0.1," + std::to_string(i % 5) + "\n";
  refuses(many, {"--intercept"}, dependent + "2 of 3: column `k` is constant, as the intercept is");
  // c = a + b, and d has no part in it.
  refuses("a,b,c,d,y\n10,1,11,0,1\n20,-1,19,1,5\n30,2,32,-1,2\n-7,0,-7,2,2\n1,3,4,0,0\n", {},
          dependent + "3 of 4: column `c` is a combination of column `a` and column `b`");
}

TEST_F(CommandSolve, FindsRandomDependencies) {
  constexpr unsigned seed = 7;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-1, 1);
  for (int trial = 0; trial < 40; ++trial) {
    std::string table = "y,a,b,c,sum,d\n";
    for (int i = 0; i < 30; ++i) {
      const double a = value(random), b = value(random) * 1e6, c = value(random) * 1e-3;
      table += shortest(value(random)) + "," + shortest(a) + "," + shortest(b) + "," + shortest(c) +
               "," + shortest(a * 1000 + b * 0.001 + c * 1e6) + "," + shortest(value(random)) + "\n";
    }
    const Outcome outcome = solve(table, {"--response", "y", "--intercept"});
    expect_failure_with(outcome, 1,
                        "the predictors are dependent, rank 5 of 6: column `sum` is a combination of ");
    for (const char* name : {"`a`", "`b`", "`c`", "`sum`", "the intercept"})
      EXPECT_NE(outcome.err.find(name), std::string::npos) << name << outcome.err;
    EXPECT_EQ(outcome.err.find("`d`"), std::string::npos) << outcome.err;
    EXPECT_EQ(solve(table, {"--response", "y", "--intercept", "--predictors", "a,b,c,d"}).status, 0);
  }
}

TEST_F(CommandSolve, ColumnsOfVeryDifferentUnitsAreNoObstacle) {
  std::string table = "tiny,huge,y\n";
  for (int i = 0; i < 8; ++i) {
    const double a = i % 3 - 1, b = i % 5 - 2;
    table += shortest(a * 0x1p-900) + "," + shortest(b * 0x1p900) + "," + shortest(a + 2 * b) + "\n";
  }
  const auto json = Json::parse(result_of(solve(table, {"--response", "y", "--format", "json"})));
  EXPECT_DOUBLE_EQ(json["coefficients"][0].at("value"), 0x1p900);
  EXPECT_DOUBLE_EQ(json["coefficients"][1].at("value"), 0x1p-899);
}

TEST_F(CommandSolve, LeavesOutStatisticsThatAreUndefined) {
  const Outcome exact = solve("x,y\n0,1\n1,2\n", {"--response", "y", "--intercept"});
  EXPECT_EQ(exact.err.find("standard deviation"), std::string::npos) << exact.err;
  const Json json = Json::parse(solve("x,y\n3,3\n4,29\n", {"--response", "y", "--format", "json"}).out);
  EXPECT_FALSE(json.contains("r_squared"));
  EXPECT_TRUE(json.contains("residual_standard_deviation"));
  EXPECT_EQ(solve("x,y\n0,4\n1,4\n3,4\n", {"--response", "y", "--intercept"}).out,
            "term,coefficient\nintercept,4\nx,0\n");
}

TEST_F(CommandSolve, TablePutsTermsToTheLeftAndEndsWithTheResidual) {
  const Outcome outcome = solve("x,y\n3,3\n4,29\n", {"--response", "y", "--format", "table"});
  expect_output({outcome.status, "", outcome.err}, "");
  EXPECT_TRUE(outcome.out.starts_with("term  ")) << outcome.out;
  EXPECT_NE(outcome.out.find("\nx     "), std::string::npos) << outcome.out;
  EXPECT_TRUE(
      outcome.out.ends_with("\n\n2 rows, 1 degree of freedom: residual norm 15, sum of squares "
                            "225, standard deviation 15\n"))
      << outcome.out;
}

TEST_F(CommandSolve, RefusesTooFewRows) {
  expect_failure(
      solve("a,b,y\n1,2,3\n", {"--response", "y"}), 1,
      "standard input: too few rows for 2 coefficients: at least 2 are needed, but there are 1");
  expect_failure(
      solve("a,b,y\n1,2,3\n2,2,3\n", {"--response", "y", "--intercept"}), 1,
      "standard input: too few rows for 3 coefficients: at least 3 are needed, but there are 2");
  expect_failure(
      solve("a,y\n", {"--response", "y"}), 1,
      "standard input: too few rows for 1 coefficient: at least 1 is needed, but there are 0");
  expect_failure(solve("", {"--response", "y"}), 2, "standard input: the table is empty");
}

TEST_F(CommandSolve, RefusesWrongColumns) {
  const std::string table = "a,b,y\n1,2,3\n2,3,5\n3,1,5\n";
  expect_failure(solve(table, {"--response", "z"}), 2,
                 "standard input: no column 'z'; there are `a`, `b`, `y`");
  expect_failure(solve(table, {"--response", "y", "--predictors", "a,q"}), 2,
                 "standard input: no column 'q'; there are `a`, `b`, `y`");
  expect_failure(solve(table, {"--response", "y", "--predictors", "a,y"}), 2,
                 "standard input: column `y` is both response and predictor");
  expect_failure(solve(table, {"--response", "y", "--predictors", "a,1"}), 2,
                 "standard input: column `a` is named twice as a predictor");
  expect_failure(solve("y\n1\n2\n", {"--response", "y"}), 2,
                 "standard input: column `y` is the only column, there is no predictor");
  expect_failure(solve("a,y\n1,2\nx,3\n", {"--response", "y"}), 2,
                 "standard input: not a number in row 3, column `a`: 'x'");
  expect_failure(solve("a,y\n1,2\n2,nan\n", {"--response", "y"}), 2,
                 "standard input: not a finite number in row 3, column `y`: 'nan'");
}

TEST_F(CommandSolve, RefusesWrongOptions) {
  const std::string help = " (see tabfit solve --help)";
  expect_failure_with(run_tabfit({"solve", longley}), 2, "--response is required");
  for (const char* option : {"--predictors", "--fitted", "--output"})
    expect_failure(run_tabfit({"solve", longley, "--response", "employment", option, ""}), 2,
                   std::string(option) + " is empty" + help);
  expect_failure(run_tabfit({"solve", longley, "--response", ""}), 2, "--response is empty" + help);
  for (const char* option : {"--at", "--plot", "--x"})
    expect_failure_with(run_tabfit({"solve", longley, "--response", "employment", option, "1"}), 2,
                        option);
}

TEST_F(CommandSolve, WritesAllResultsOrNone) {
  const std::string out = write("out.csv", "old\n");
  const std::string nowhere = path("nowhere") / "rows.csv";
  EXPECT_EQ(
      run_tabfit({"solve", longley, "--response", "employment", "--output", out, "--fitted", nowhere})
          .status,
      2);
  EXPECT_EQ(solve("a,b,y\n1,2,1\n2,4,5\n3,6,2\n", {"--response", "y", "--output", out}).status, 1);
  EXPECT_EQ(content(fs::path(out)), "old\n");
  EXPECT_EQ(files(), 1U);
}

// -- the manual -------------------------------------------------------------------------------------

TEST_F(CommandFit, ManualShowsWhatItsExamplesPrint) {
  if (std::numeric_limits<long double>::digits != 64) GTEST_SKIP() << "the last digits may differ here";
  for (const char* table : {"titanium", "mercury-vapour-pressure", "motorcycle", "longley"})
    fs::copy(std::string(TABFIT_DATA "/") + table + ".csv", path(""));
  const std::string program = fs::path(TABFIT_COMMAND).parent_path();
  std::istringstream manual(content(fs::path(TABFIT_DATA "/../../docs/command.md")));
  std::string line, example, shown;
  bool in_block = false;
  int examples = 0;
  const auto run = [&] {
    if (example.empty()) return;
    const Outcome outcome = run_program(
        {"/bin/sh", "-c",
         "cd '" + path("").string() + "'; PATH='" + program + "':$PATH; { " + example + "; } 2>&1"});
    EXPECT_EQ(outcome.out, shown) << example;
    ++examples;
    example.clear();
  };
  while (std::getline(manual, line)) {
    const bool fence = line.starts_with("```"), prompt = in_block && line.starts_with("$ ");
    if (fence || prompt) run();
    if (fence) in_block = !in_block;
    if (prompt) {
      example = line.substr(2);
      shown.clear();
    } else {
      shown += line + "\n";
    }
  }
  EXPECT_GE(examples, 14);
}

}  // namespace

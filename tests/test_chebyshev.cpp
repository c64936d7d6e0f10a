// tests/test_chebyshev.cpp - least-squares polynomials: fit, evaluation, both in one call.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twins.hpp"
#include "tests/support/worst.hpp"

namespace {

using Wide = long double;

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double separation = 2e-5, band = 1.00002;  // of both twins

std::size_t at(int i) { return static_cast<std::size_t>(i); }

template <class Real>
using Vector = std::vector<Real>;

// -- the definitions, written out ------------------------------------------------------------------

struct Mapping {
  double cm, hw;
};

template <class Real>
Mapping plain_mapping(const Vector<Real>& x) {
  return {static_cast<double>((Wide(x.back()) + x.front()) * 0.5L),
          static_cast<double>((Wide(x.back()) - x.front()) * 0.5L)};
}

/// A mapped abscissa: formed in long double, rounded once.
template <class Real>
Real onto(Mapping map, Real v) {
  return static_cast<Real>((Wide(v) - map.cm) / map.hw);
}
/// The inverse mapping: one fused step.
template <class Real>
Real back(Mapping map, Real t) {
  return static_cast<Real>(std::fma(map.hw, double(t), map.cm));
}

/// Values and derivatives of the polynomials at one point; false if it lies outside the band.
template <class Real>
struct Chebyshev {
  Vector<Real> T, T1, T2;

  explicit Chebyshev(int p) : T(at(std::max(p, 1) + 1)), T1(at(p + 1)), T2(at(p + 1)) {}
  bool set(int p, double t) {
    if (std::abs(t) > band) return false;
    if (t > 1) t = 1;
    if (t < -1) t = -1;
    T[0] = 1;
    T[1] = static_cast<Real>(t);
    for (int j = 2; j <= p; ++j)
      T[at(j)] = static_cast<Real>(std::fma(2 * t, double(T[at(j - 1)]), -double(T[at(j - 2)])));
    derive(p, T, T1);
    derive(p, T1, T2);
    return true;
  }

 private:
  static void derive(int p, const Vector<Real>& c, Vector<Real>& D) {
    for (int k = 0; k <= p; ++k) {
      double sum = 0;
      for (int j = (k + 1) % 2; j < k; j += 2)
        sum = std::fma(j == 0 ? 1.0 : 2.0, double(c[at(j)]), sum);
      D[at(k)] = static_cast<Real>(k * sum);
    }
  }
};

template <class Real>
double combine(int p, const Real* a, const Vector<Real>& T) {
  double sum = 0;
  for (int j = 0; j <= p; ++j) sum = std::fma(double(a[j]), double(T[at(j)]), sum);
  return sum;
}

/// AX_polapxcoef, the solution by Ls.
template <class Real>
int plain_polapxcoef(int p, Vector<Real>& x, const Vector<Real>& y, Real* a) {
  const int m = static_cast<int>(x.size());
  if (p + 1 > m || p < 2) return 1;
  const Mapping map = plain_mapping(x);
  for (Real& v : x) v = onto(map, v);
  if (x[0] < -1) x[0] = -1;
  if (x[at(p - 1)] > 1) x[at(p - 1)] = 1;
  for (int i = 1; i < m; ++i)
    if (!(x[at(i)] - separation >= x[at(i - 1)])) return -2;
  std::vector<Vector<Real>> columns(at(p + 2), Vector<Real>(at(m)));
  std::vector<Real*> table;
  table.reserve(columns.size());
  for (auto& column : columns) table.push_back(column.data());
  Chebyshev<Real> polynomials(p);
  for (int i = 0; i < m; ++i) {
    polynomials.set(p, x[at(i)]);
    for (int j = 0; j <= p; ++j) columns[at(j)][at(i)] = polynomials.T[at(j)];
  }
  columns[at(p + 1)] = y;
  Real rn = 0;
  const int status = Ls(table.data(), m, p + 1, &rn);
  if (status != 0) return status;
  std::copy_n(columns[at(p + 1)].begin(), p + 1, a);
  double sum = 0, greatest = 0;
  for (int i = 0; i < m; ++i) {
    polynomials.set(p, x[at(i)]);
    const double r = std::abs(combine(p, a, polynomials.T) - double(y[at(i)]));
    if (!(greatest >= r)) greatest = r;
    sum = std::fma(r, r, sum);
  }
  a[p + 1] = static_cast<Real>(map.cm);
  a[p + 2] = static_cast<Real>(map.hw);
  a[p + 3] = static_cast<Real>(static_cast<double>(std::sqrt(Wide(sum) / m)));
  a[p + 4] = static_cast<Real>(greatest);
  for (Real& t : x) t = back(map, t);
  return 0;
}

// -- calls ----------------------------------------------------------------------------------------

/// A fit: what came back, coefficients, the abscissae afterwards.
template <class Real>
struct Fit {
  int status;
  Guarded<Real> a;
  Vector<Real> x;
};

/// AX_polapxcoef; the coefficients must be untouched unless it returns 0.
template <class Real>
Fit<Real> fit(int p, const Vector<Real>& x, const Vector<Real>& y) {
  Fit<Real> result{0, Guarded<Real>(std::max(p, 1) + 5), x};
  const Account account = probe([&] {
    result.status =
        AX_polapxcoef(p, static_cast<int>(x.size()), result.x.data(), y.data(), result.a.data());
  });
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_TRUE(result.a.zones_intact());
  EXPECT_EQ(result.a.untouched_from(0), result.status != 0) << "status " << result.status;
  return result;
}

/// The results at one point; the point must come back as the mapping says.
template <class Real>
struct At {
  int status;
  Real v, s, s1, s2;
};

template <class Real>
At<Real> evaluate(int p, const Real* a, Real v) {
  Guarded<Real> point(1), s(1), s1(1), s2(1);
  point[0] = v;
  const int status = AX_polapxval(p, a, 1, point.data(), s.data(), s1.data(), s2.data());
  EXPECT_TRUE(point.zones_intact() && s.zones_intact() && s1.zones_intact() && s2.zones_intact());
  EXPECT_EQ(s.untouched(0) && s1.untouched(0) && s2.untouched(0), status != 0);
  return {status, point[0], s[0], s1[0], s2[0]};
}

template <class Real>
Vector<Real> spread(Random& random, int m, double first, double last) {
  Vector<double> to = {0};
  for (int i = 1; i < m; ++i) to.push_back(to.back() + random.real(0.5, 1.5));
  Vector<Real> x;
  for (const double part : to)
    x.push_back(static_cast<Real>(first + (last - first) * part / to.back()));
  return x;
}

/// m abscissae at the extrema of a Chebyshev polynomial, where interpolation is well conditioned.
template <class Real>
Vector<Real> extrema(int m, double cm, double hw) {
  Vector<Real> x;
  for (int i = 0; i < m; ++i)
    x.push_back(static_cast<Real>(cm - hw * std::cos(3.14159265358979 * i / (m - 1))));
  return x;
}

template <class Real>
Vector<Real> noise(Random& random, int m, double size = 1) {
  Vector<Real> y;
  for (int i = 0; i < m; ++i) y.push_back(static_cast<Real>(random.real(-size, size)));
  return y;
}

template <class Real>
Vector<Real> any_coefficients(Random& random, int p, double cm, double hw) {
  auto a = noise<Real>(random, p + 1);
  a.insert(a.end(), {static_cast<Real>(cm), static_cast<Real>(hw), Real(-1), Real(-2)});
  return a;
}

// -- the fit: edges and statuses ------------------------------------------------------------------

TWIN_TEST(Polapxcoef, RefusesLowDegreesAndTooFewPointsAndLeavesXAlone) {
  Random random(111);
  for (const auto& [p, m] : Vector<std::pair<int, int>>{
           {1, 10}, {0, 10}, {-1, 10}, {INT_MIN, 10}, {2, 2}, {5, 5}, {9, 9}, {20, 10}, {2, 1}}) {
    const auto x = m > 1 ? spread<Real>(random, m, 0, 5) : Vector<Real>{1};
    auto after = x;
    Guarded<Real> a(25);
    EXPECT_EQ(AX_polapxcoef(p, m, after.data(), x.data(), a.data()), AX_POLAPXCOEF_FAILED)
        << p << ", " << m;
    EXPECT_EQ(after, x);
    EXPECT_TRUE(a.untouched_from(0));
  }
  const auto x = spread<Real>(random, 3, 0, 5);
  EXPECT_EQ(fit(2, x, x).status, AX_POLAPXCOEF_OK);
}

TWIN_TEST(Polapxcoef, RefusesAbscissaeThatRepeatTurnBackOrAreNoNumbersAndLeavesThemMapped) {
  const Vector<Real> x = {-3, -2, 0, 1, 3, 5};
  ASSERT_EQ(fit(3, x, x).status, AX_POLAPXCOEF_OK);
  for (std::size_t i = 1; i < x.size(); ++i) {
    auto same = x, turned = x, odd = x;
    same[i] = same[i - 1];
    std::swap(turned[i], turned[i - 1]);
    odd[i] = nan_of<Real>;
    for (const auto& bad : {same, turned, odd}) {
      const auto got = fit(3, bad, x);
      EXPECT_EQ(got.status, AX_POLAPXCOEF_BAD_ABSCISSAE) << i;
      auto mapped = bad;
      Vector<Real> none(8);
      EXPECT_EQ(plain_polapxcoef(3, mapped, x, none.data()), -2);
      for (std::size_t k = 0; k < x.size(); ++k) EXPECT_SAME(got.x[k], mapped[k]) << k;
    }
  }
}

TWIN_TEST(Polapxcoef, MeasuresTheSeparationInHalfWidthsToTheLastBit) {
  for (const double hw : {1.0, 4.0, 0.5})
    for (const double cm : {0.0, 0.75})
      for (std::size_t i = 1; i <= 3; ++i) {
        Vector<Real> x;
        for (const double t : {-1.0, -0.5, 0.0, 0.5, 1.0}) x.push_back(static_cast<Real>(cm + hw * t));
        const Mapping map = plain_mapping(x);
        // The least abscissa right of its neighbour that the definition accepts.
        Real no = x[i - 1], yes = x[i];
        while (std::nextafter(no, yes) != yes) {
          const Real middle = no + (yes - no) / 2;
          (onto(map, middle) - separation >= onto(map, x[i - 1]) ? yes : no) = middle;
        }
        x[i] = yes;
        EXPECT_EQ(fit(2, x, x).status, AX_POLAPXCOEF_OK) << shown(yes);
        EXPECT_NEAR((yes - x[i - 1]) / hw, separation, separation * 0.02);
        x[i] = no;
        EXPECT_EQ(fit(2, x, x).status, AX_POLAPXCOEF_BAD_ABSCISSAE) << shown(no);
      }
}

TWIN_TEST(Polapxcoef, MovesOnlyTheAbscissaOfItsDegreeDownOntoTheEnd) {
  // The range is 0..1. The abscissa 5 maps to 9, which shows in x because the fit is refused.
  const Vector<Real> at_degree = {0, 5, 1}, behind = {0, Real(0.25), 5, 1};
  EXPECT_EQ(fit(2, at_degree, at_degree).x, (Vector<Real>{-1, 1, 1}));
  EXPECT_EQ(fit(2, behind, behind).x, (Vector<Real>{-1, Real(-0.5), 9, 1}));
}

TWIN_TEST(Polapxcoef, ReportsThePseudoRankAndLeavesXMapped) {
  // Nine points in the first 3e-4 of the range, and its end: higher powers cannot be told apart.
  Vector<Real> x;
  for (int i = 0; i < 9; ++i) x.push_back(static_cast<Real>(i * 3e-5));
  x.push_back(1);
  const auto got = fit(8, x, x);
  EXPECT_GT(got.status, 1);
  EXPECT_LT(got.status, 9);
  const Mapping map = plain_mapping(x);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_SAME(got.x[i], onto(map, x[i])) << i;
}

TWIN_TEST(Polapxcoef, ReportsNoMemoryAsOneAndLeavesXMapped) {
  const Vector<Real> x = {1, 2, 4, 5};
  Guarded<Real> a(7);
  Vector<Real> after;
  const Mapping map = plain_mapping(x);
  for (int k = 1; k <= 3; ++k) {
    after = x;
    int status = 0;
    allocation_probe::begin(k);
    status = AX_polapxcoef(2, 4, after.data(), x.data(), a.data());
    const Account account = allocation_probe::end();
    EXPECT_EQ(account.refused, 1);
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(status, AX_POLAPXCOEF_FAILED) << k;
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_SAME(after[i], onto(map, x[i])) << i;
  }
  EXPECT_TRUE(a.untouched_from(0));
}

TWIN_TEST(Polapxcoef, GivesTheBitsOfItsDefinition) {
  Random random(112);
  std::array<int, 3> met = {};
  for (int round = 0; round < 300; ++round) {
    const int p = random.integer(2, 14), m = p + 1 + random.integer(0, round % 3 == 0 ? 2 : 200);
    const double cm = random.real(-3, 3),
                 hw = std::exp(random.real(-3, 3)) * (random.chance(5) ? -1 : 1);
    auto x = spread<Real>(random, m, cm - hw, cm + hw);
    if (random.chance(4)) {
      const auto i = at(random.integer(1, m - 2));
      x[i] = static_cast<Real>(x[i - 1] + hw * separation * random.real(0.8, 1.2));
    }
    const auto y = noise<Real>(random, m);
    auto expected_x = x;
    Guarded<Real> expected(p + 5);
    const int status = plain_polapxcoef(p, expected_x, y, expected.data());
    auto got = fit(p, x, y);
    ASSERT_EQ(got.status, status) << "p = " << p << ", m = " << m;
    for (int j = 0; j < p + 5; ++j)
      ASSERT_SAME(got.a[j], expected[j]) << j << " of p = " << p << ", m = " << m;
    for (int i = 0; i < m; ++i) ASSERT_SAME(got.x[at(i)], expected_x[at(i)]) << i << " of " << m;
    ++met[status == 0 ? 0 : status == -2 ? 1 : 2];
  }
  EXPECT_GT(met[0], 150);
  EXPECT_GT(met[1], 20);
}

TWIN_TEST(Polapxcoef, GivesXBackUpToRounding) {
  Random random(113);
  Worst worst;
  for (int round = 0; round < 50; ++round) {
    const double cm = random.real(-9, 9), hw = std::exp(random.real(-3, 3));
    const auto x = spread<Real>(random, 40, cm - hw, cm + hw);
    const auto got = fit(3, x, noise<Real>(random, 40));
    for (std::size_t i = 0; i < x.size(); ++i)
      worst.take(Wide(got.x[i]) - x[i], (std::abs(cm) + hw) * eps_of<Real>);
  }
  // Half a rounding of the mapped abscissa by the half-width, and half a rounding of the result.
  std::printf("abscissae back: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 1);
}

// -- the fit: properties ----------------------------------------------------------------------------

// The unit is a rounding of 1, the magnitude of the values, by p + 1 terms; a derivative multiplies the
// errors of the highest coefficients by up to p^2, the second by p^4 / 3.
TWIN_TEST(Polapxcoef, ReproducesPolynomialsAndTheirDerivatives) {
  Random random(114);
  Worst values, slopes, curvatures, residuals;
  for (int round = 0; round < 200; ++round) {
    const int p = random.integer(2, 12), m = 4 * p + random.integer(0, 100);
    const double cm = random.real(-2, 2), hw = std::exp(random.real(-2, 2));
    const auto x = extrema<Real>(m, cm, hw);
    Vector<Wide> c;
    for (int j = 0; j <= p; ++j) c.push_back(random.real(-1, 1) / (p + 1));
    const auto polynomial = [&](Wide t) {
      std::array<Wide, 3> f{};
      for (auto power = c.rbegin(); power != c.rend(); ++power)
        f = {f[0] * t + *power, f[1] * t + f[0], f[2] * t + 2 * f[1]};
      return f;
    };
    Vector<Real> y;
    const Mapping map = plain_mapping(x);
    for (const Real v : x) y.push_back(static_cast<Real>(polynomial((Wide(v) - map.cm) / map.hw)[0]));
    auto got = fit(p, x, y);
    ASSERT_EQ(got.status, 0);
    const Wide unit = (p + 1) * eps_of<Real> * (1 + std::abs(cm) / hw), square = p * p;
    residuals.take(got.a[p + 4], unit);
    for (int i = 0; i < 20; ++i) {
      const auto v = static_cast<Real>(random.real(cm - hw * 0.99, cm + hw * 0.99));
      const auto exact = polynomial((Wide(v) - map.cm) / map.hw);
      const auto here = evaluate(p, got.a.data(), v);
      ASSERT_EQ(here.status, 0);
      values.take(here.s - exact[0], unit);
      slopes.take(here.s1 - exact[1] / map.hw, unit * square / hw);
      curvatures.take(here.s2 - exact[2] / map.hw / map.hw,
                      unit * square * square / (3 * Wide(hw) * hw));
    }
  }
  std::printf("polynomials: values %.3g, slopes %.3g, curvatures %.3g, residuals %.3g units\n",
              values.value, slopes.value, curvatures.value, residuals.value);
  EXPECT_LE(values.value, 1);
  EXPECT_LE(slopes.value, 0.2);
  EXPECT_LE(curvatures.value, 0.15);
  EXPECT_LE(residuals.value, 1);
}

TWIN_TEST(Polapxcoef, FindsASingleChebyshevPolynomial) {
  // T[3](t) = 4 t^3 - 3 t on -1..1, exact in both twins.
  Vector<Real> x, y;
  for (int i = -8; i <= 8; ++i) {
    const Real t = static_cast<Real>(i) / 8;
    x.push_back(t);
    y.push_back(4 * t * t * t - 3 * t);
  }
  auto got = fit(5, x, y);
  ASSERT_EQ(got.status, 0);
  for (int j = 0; j <= 5; ++j) EXPECT_NEAR(got.a[j], j == 3 ? 1 : 0, 5 * eps_of<Real>) << j;
  EXPECT_EQ(got.a[6], 0);
  EXPECT_EQ(got.a[7], 1);
  EXPECT_LE(got.a[9], 10 * eps_of<Real>);
  EXPECT_EQ(got.x, x);
}

TWIN_TEST(Polapxcoef, InterpolatesAsManyPointsAsCoefficients) {
  Random random(115);
  Worst worst;
  for (int p = 2; p <= 40; ++p) {
    const auto x = extrema<Real>(p + 1, 2, 3), y = noise<Real>(random, p + 1);
    auto got = fit(p, x, y);
    ASSERT_EQ(got.status, 0) << p;
    EXPECT_LE(got.a[p + 3], got.a[p + 4]);
    worst.take(got.a[p + 4], (p + 1) * eps_of<Real>);
  }
  std::printf("interpolation: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 2);
}

TWIN_TEST(Polapxcoef, AcceptsAsManyEvenlySpacedPointsAsCoefficientsUpToADegree) {
  constexpr bool single = sizeof(Real) == 4;
  constexpr int most = single ? 20 : 34;
  Random random(117);
  double worst = 0;
  int beyond = 0, fitted = 0;
  for (const double spacing : {1.0, 0.1, 7.3})
    for (const double first : {-1.0, 0.0, 3.0})
      for (int p = 2; p <= 3 * most; ++p) {
        Vector<Real> x;
        for (int i = 0; i <= p; ++i) x.push_back(static_cast<Real>(first + spacing * i));
        auto got = fit(p, x, noise<Real>(random, p + 1));
        if (p > most) {
          ++beyond;
          fitted += got.status == 0;
          continue;
        }
        ASSERT_EQ(got.status, 0) << "p = " << p << ", spacing " << spacing << " from " << first;
        worst = std::max(worst, double(got.a[p + 4]));
      }
  std::printf("greatest residual %.3g; beyond, %d of %d fitted\n", worst, fitted, beyond);
  EXPECT_GT(worst, 0.1);  // of ordinates up to 1: nothing is interpolated there
  EXPECT_LT(fitted, beyond / 2);
}

TWIN_TEST(Polapxcoef, LeavesResidualsOrthogonalToThePolynomials) {
  Random random(116);
  Worst worst, statistics;
  for (int round = 0; round < 60; ++round) {
    const int p = random.integer(2, 12), m = 3 * p + random.integer(2, 200);
    const auto x = spread<Real>(random, m, -2, 5), y = noise<Real>(random, m);
    auto got = fit(p, x, y);
    ASSERT_EQ(got.status, 0);
    const Mapping map = plain_mapping(x);
    Vector<Wide> sums(at(p + 1)), columns(at(p + 1));
    Wide size = 0, square = 0, greatest = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      Vector<Wide> T = {1, std::clamp<Wide>(onto(map, x[i]), -1, 1)};
      while (static_cast<int>(T.size()) <= p) T.push_back(2 * T[1] * T[T.size() - 1] - T[T.size() - 2]);
      Wide r = -Wide(y[i]);
      for (int j = 0; j <= p; ++j) r += got.a[j] * T[at(j)];
      for (int j = 0; j <= p; ++j) {
        sums[at(j)] += r * T[at(j)];
        columns[at(j)] += T[at(j)] * T[at(j)];
      }
      size += Wide(y[i]) * y[i];
      square += r * r;
      greatest = std::max(greatest, std::abs(r));
    }
    for (int j = 0; j <= p; ++j)
      worst.take(sums[at(j)], std::sqrt(columns[at(j)] * size) * eps_of<Real>);
    statistics.take(got.a[p + 3] - std::sqrt(square / m), eps_of<Real>);
    statistics.take(got.a[p + 4] - greatest, eps_of<Real>);
  }
  std::printf("normal equations: %.3g, statistics: %.3g roundings\n", worst.value, statistics.value);
  EXPECT_LE(worst.value, 6);
  EXPECT_LE(statistics.value, 4);
}

TWIN_TEST(Polapxcoef, FitsDescendingAbscissaeAsWell) {
  Random random(117);
  auto x = spread<Real>(random, 30, 1, 5), y = noise<Real>(random, 30);
  auto up = fit(4, x, y);
  std::reverse(x.begin(), x.end());
  std::reverse(y.begin(), y.end());
  auto down = fit(4, x, y);
  ASSERT_EQ(down.status, 0);
  EXPECT_EQ(down.a[6], -up.a[6]);
  for (int j = 0; j <= 4; ++j)
    EXPECT_NEAR(down.a[j], j % 2 == 0 ? up.a[j] : -up.a[j], 20 * eps_of<Real>);
  for (int i = 0; i < 20; ++i) {
    const auto v = static_cast<Real>(random.real(1, 5));
    EXPECT_NEAR(evaluate(4, down.a.data(), v).s, evaluate(4, up.a.data(), v).s, 30 * eps_of<Real>);
    EXPECT_NEAR(evaluate(4, down.a.data(), v).s1, evaluate(4, up.a.data(), v).s1, 200 * eps_of<Real>);
  }
}

// -- the evaluation -----------------------------------------------------------------------------------

TWIN_TEST(Polapxval, GivesTheBitsOfItsDefinitionForAnyNumberOfPoints) {
  Random random(118);
  for (int k = 1; k <= 130; ++k) {
    const int p = random.integer(0, 20);
    const auto a = any_coefficients<Real>(random, p, random.real(-2, 2), std::exp(random.real(-1, 1)));
    const Mapping map{a[at(p + 1)], a[at(p + 2)]};
    Guarded<Real> v(k), s(k), s1(k), s2(k);
    for (int i = 0; i < k; ++i)
      v[i] = random.chance(20)
                 ? nan_of<Real>
                 : static_cast<Real>(map.cm + map.hw * (random.chance(6) ? random.integer(-1, 1)
                                                                         : random.real(-1, 1)));
    const auto before = v;
    ASSERT_EQ(AX_polapxval(p, a.data(), k, v.data(), s.data(), s1.data(), s2.data()), 0) << "k = " << k;
    ASSERT_TRUE(v.zones_intact() && s.zones_intact() && s1.zones_intact() && s2.zones_intact());
    Chebyshev<Real> polynomials(p);
    for (int i = 0; i < k; ++i) {
      const Real t = onto(map, Guarded<Real>(before)[i]);
      ASSERT_TRUE(polynomials.set(p, t));
      ASSERT_SAME(s[i], static_cast<Real>(combine(p, a.data(), polynomials.T))) << i << " of " << k;
      ASSERT_SAME(s1[i], static_cast<Real>(combine(p, a.data(), polynomials.T1) / Wide(map.hw)))
          << i << " of " << k;
      ASSERT_SAME(s2[i],
                  static_cast<Real>(combine(p, a.data(), polynomials.T2) / (Wide(map.hw) * map.hw)))
          << i << " of " << k;
      ASSERT_SAME(v[i], back(map, t)) << i << " of " << k;
      // A point alone.
      const auto one = evaluate(p, a.data(), Guarded<Real>(before)[i]);
      ASSERT_SAME(s[i], one.s);
      ASSERT_SAME(s1[i], one.s1);
      ASSERT_SAME(s2[i], one.s2);
      ASSERT_SAME(v[i], one.v);
    }
  }
}

TWIN_TEST(Polapxval, WritesWhatIsWantedAndNothingElse) {
  Random random(119);
  const auto a = any_coefficients<Real>(random, 4, 1, 2);
  for (const int k : {3, 70}) {
    const auto v = spread<Real>(random, k, -0.9, 2.9);
    Guarded<Real> s(k), s1(k), s2(k);
    auto points = v;
    ASSERT_EQ(AX_polapxval(4, a.data(), k, points.data(), s.data(), s1.data(), s2.data()), 0);
    const std::array<Guarded<Real>*, 3> all = {&s, &s1, &s2};
    for (unsigned wanted = 1; wanted < 8; ++wanted) {
      std::array<Guarded<Real>, 3> out = {Guarded<Real>(k), Guarded<Real>(k), Guarded<Real>(k)};
      const auto pointer = [&](unsigned d) { return wanted >> d & 1 ? out[d].data() : nullptr; };
      points = v;
      const Account account = probe([&] {
        EXPECT_EQ(AX_polapxval(4, a.data(), k, points.data(), pointer(0), pointer(1), pointer(2)), 0);
      });
      EXPECT_EQ(account.kept, Usage{});
      EXPECT_EQ(account.requests, wanted >> 2 & 1 ? 3 : wanted >> 1 & 1 ? 2 : 1);
      for (unsigned d = 0; d < 3; ++d)
        for (int i = 0; i < k; ++i)
          EXPECT_SAME(out[d][i], wanted >> d & 1 ? (*all[d])[i] : Guarded<Real>::poison());
    }
  }
}

TWIN_TEST(Polapxval, RefusesToWriteNothingAndLeavesThePointsMapped) {
  const Vector<Real> a = {1, 2, 3, 5, 4, 0, 0};
  Vector<Real> v = {1, 5, 7};
  Real* none = nullptr;
  EXPECT_EQ(AX_polapxval(2, a.data(), 3, v.data(), none, none, none), AX_POLAPXVAL_NO_OUTPUT);
  EXPECT_EQ(v, (Vector<Real>{-1, 0, Real(0.5)}));
}

TWIN_TEST(Polapxval, LeavesThePointsMappedWithoutMemory) {
  const Vector<Real> a = {1, 2, 3, 5, 4, 0, 0};
  for (int request = 1; request <= 3; ++request) {
    Vector<Real> v = {1, 5, 7};
    Guarded<Real> s(3), s1(3), s2(3);
    allocation_probe::begin(request);
    const int status = AX_polapxval(2, a.data(), 3, v.data(), s.data(), s1.data(), s2.data());
    const Account account = allocation_probe::end();
    EXPECT_EQ(status, AX_POLAPXVAL_NO_MEMORY);
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(v, (Vector<Real>{-1, 0, Real(0.5)}));
    EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0));
  }
}

TWIN_TEST(Polapxval, SucceedsWithoutPoints) {
  const Vector<Real> a = {1, 2, 3, 5, 4, 0, 0};
  Guarded<Real> v(1), s(1);
  for (const int k : {0, -1, INT_MIN})
    EXPECT_EQ(AX_polapxval(2, a.data(), k, v.data(), s.data(), s.data(), s.data()), AX_POLAPXVAL_OK)
        << k;
  EXPECT_TRUE(v.untouched(0) && s.untouched(0));
}

TWIN_TEST(Polapxval, StopsAtTheFirstPointThatIsRefusedAndLeavesThePointsMapped) {
  Random random(120);
  const auto a = any_coefficients<Real>(random, 6, 1, 2);
  const Mapping map{1, 2};
  for (const int k : {1, 2, 64, 65, 100, 130})
    for (const int bad : {0, 1, 30, 63, 64, 65, 90, 127, 128, 129})
      for (const Real odd : {Real(3.1), Real(-1.1), inf_of<Real>}) {
        if (bad >= k) continue;
        Vector<Real> v = k > 1 ? spread<Real>(random, k, -0.9, 2.9) : Vector<Real>{0};
        v[at(bad)] = odd;
        if (bad + 2 < k) v[at(bad + 2)] = odd;
        const auto before = v;
        Guarded<Real> s(k), s1(k), s2(k);
        EXPECT_EQ(AX_polapxval(6, a.data(), k, v.data(), s.data(), s1.data(), s2.data()),
                  AX_POLAPXVAL_OUT_OF_RANGE);
        EXPECT_TRUE(s.untouched_from(bad) && s1.untouched_from(bad) && s2.untouched_from(bad));
        for (int i = 0; i < k; ++i) {
          EXPECT_SAME(v[at(i)], onto(map, before[at(i)]));
          if (i >= bad) continue;
          const auto one = evaluate(6, a.data(), before[at(i)]);
          EXPECT_SAME(s[i], one.s);
          EXPECT_SAME(s1[i], one.s1);
          EXPECT_SAME(s2[i], one.s2);
        }
      }
}

TWIN_TEST(Polapxval, TakesTheBandToTheLastBitAtBothEnds) {
  Random random(121);
  for (const double hw : {1.0, 8.0, 0.25, -2.0})
    for (const double cm : {0.0, 1.0, -5.5})
      for (const int end : {-1, 1}) {
        const auto a = any_coefficients<Real>(random, 4, cm, hw);
        const Mapping map{cm, hw};
        const auto at_end = evaluate(4, a.data(), static_cast<Real>(cm + end * hw));
        ASSERT_EQ(at_end.status, 0);
        auto last = static_cast<Real>(cm + end * hw),
             beyond = static_cast<Real>(cm + end * hw * (1 + 2 * separation));
        while (std::nextafter(last, beyond) != beyond) {
          Real middle = last + (beyond - last) / 2;
          if (middle == last || middle == beyond) middle = std::nextafter(last, beyond);
          (std::abs(double(onto(map, middle))) > band ? beyond : last) = middle;
        }
        const auto got = evaluate(4, a.data(), last);
        ASSERT_EQ(got.status, 0) << shown(last);
        EXPECT_SAME(got.s, at_end.s);
        EXPECT_SAME(got.s1, at_end.s1);
        EXPECT_SAME(got.s2, at_end.s2);
        EXPECT_EQ(evaluate(4, a.data(), beyond).status, AX_POLAPXVAL_OUT_OF_RANGE) << shown(beyond);
        EXPECT_NEAR(std::abs(last - cm), std::abs(hw) * band,
                    4 * eps_of<Real> * (std::abs(cm) + std::abs(hw)));
      }
}

TWIN_TEST(Polapxval, GivesSumsOfCoefficientsAtTheEnds) {
  // T[j](1) = 1, T[j](-1) = (-1)^j; slopes j^2; curvatures j^2 (j^2 - 1) / 3: 0, 0, 4, 24.
  const Vector<Real> a = {1, 2, 4, 8, 10, 2, 0, 0};
  const auto right = evaluate(3, a.data(), Real(12)), left = evaluate(3, a.data(), Real(8));
  EXPECT_EQ(right.s, 15);
  EXPECT_EQ(left.s, -5);
  EXPECT_EQ(right.s1, (2 + 16 + 72) / 2);
  EXPECT_EQ(left.s1, (2 - 16 + 72) / 2);
  EXPECT_EQ(right.s2, (16 + 192) / 4);
  EXPECT_EQ(left.s2, (16 - 192) / 4);
  EXPECT_EQ(right.v, 12);
}

TWIN_TEST(Polapxval, GivesNaNForNaN) {
  const Vector<Real> a = {1, 2, 4, 8, 10, 2, 0, 0};
  const auto got = evaluate(3, a.data(), static_cast<Real>(not_a_number));
  EXPECT_EQ(got.status, 0);
  EXPECT_TRUE(std::isnan(got.s) && std::isnan(got.s1) && std::isnan(got.s2) && std::isnan(got.v));
}

// -- both in one call -----------------------------------------------------------------------------

TWIN_TEST(Polyapx, RefusesBadSizesAndChangesNothing) {
  for (const auto& sizes : Vector<std::array<int, 3>>{{1, 5, 2},
                                                      {0, 5, 2},
                                                      {INT_MIN, 5, 2},
                                                      {5, 5, 2},
                                                      {INT_MAX, 5, 2},
                                                      {2, 2, 2},
                                                      {2, INT_MIN, 2},
                                                      {2, 5, 0},
                                                      {2, 5, -1},
                                                      {2, 5, INT_MIN}}) {
    const int p = sizes[0], m = sizes[1], k = sizes[2];
    const Vector<Real> x = {1, 2, 3, 4, 6}, points = {2, 3};
    auto data = x, v = points;
    Guarded<Real> s(4), s1(2), s2(2);
    const Account account = probe([&] {
      EXPECT_EQ(AX_polyapx(p, m, data.data(), x.data(), k, v.data(), s.data(), s1.data(), s2.data()),
                AX_POLYAPX_BAD_SIZE)
          << p << ", " << m << ", " << k;
    });
    EXPECT_EQ(account.requests, 0);
    EXPECT_EQ(data, x);
    EXPECT_EQ(v, points);
    EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0));
  }
}

TWIN_TEST(Polyapx, IsTheFitAndItsEvaluationWithTheStatisticsBehindTheValues) {
  Random random(122);
  for (int round = 0; round < 60; ++round) {
    const int p = random.integer(2, 10), m = 2 * p + random.integer(2, 90),
              k = random.chance(5) ? 1 : random.integer(1, 130);
    const auto x = spread<Real>(random, m, -1, 4), y = noise<Real>(random, m);
    Vector<Real> points;
    for (int i = 0; i < k; ++i) points.push_back(static_cast<Real>(random.real(-0.99, 3.99)));
    auto fitted = fit(p, x, y);
    ASSERT_EQ(fitted.status, 0);
    auto evaluated = points;
    Guarded<Real> f(k), f1(k), f2(k);
    ASSERT_EQ(AX_polapxval(p, fitted.a.data(), k, evaluated.data(), f.data(), f1.data(), f2.data()), 0);
    for (unsigned wanted = 1; wanted < 8; ++wanted) {
      auto data = x, v = points;
      Guarded<Real> s(k + 2), s1(k), s2(k);
      ASSERT_EQ(AX_polyapx(p, m, data.data(), y.data(), k, v.data(), wanted & 1 ? s.data() : nullptr,
                           wanted & 2 ? s1.data() : nullptr, wanted & 4 ? s2.data() : nullptr),
                AX_POLYAPX_OK);
      ASSERT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
      for (int i = 0; i < k; ++i) {
        ASSERT_SAME(s[i], wanted & 1 ? f[i] : Guarded<Real>::poison());
        ASSERT_SAME(s1[i], wanted & 2 ? f1[i] : Guarded<Real>::poison());
        ASSERT_SAME(s2[i], wanted & 4 ? f2[i] : Guarded<Real>::poison());
      }
      ASSERT_SAME(s[k], wanted & 1 ? fitted.a[p + 3] : Guarded<Real>::poison());
      ASSERT_SAME(s[k + 1], wanted & 1 ? fitted.a[p + 4] : Guarded<Real>::poison());
      EXPECT_EQ(data, fitted.x);
      EXPECT_EQ(v, evaluated);
    }
  }
}

TWIN_TEST(Polyapx, PassesOnTheStatusOfTheFitAndLeavesThePointsAlone) {
  const Vector<Real> x = {1, 2, 2, 4, 6}, points = {2, 3};
  auto data = x, v = points;
  Guarded<Real> s(4);
  EXPECT_EQ(AX_polyapx(2, 5, data.data(), x.data(), 2, v.data(), s.data(), s.data(), s.data()),
            AX_POLAPXCOEF_BAD_ABSCISSAE);
  const Mapping map = plain_mapping(x);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_SAME(data[i], onto(map, x[i]));
  EXPECT_EQ(v, points);
  EXPECT_TRUE(s.untouched_from(0));
}

TWIN_TEST(Polyapx, PassesOnTheStatusOfTheEvaluationWithXBackAndThePointsMapped) {
  const Vector<Real> x = {1, 2, 3, 4, 5}, points = {2, 7, 3};
  Real* none = nullptr;
  auto data = x, v = points;
  Guarded<Real> s(5);
  EXPECT_EQ(AX_polyapx(2, 5, data.data(), x.data(), 3, v.data(), s.data(), none, none),
            AX_POLAPXVAL_OUT_OF_RANGE);
  EXPECT_EQ(data, x);
  EXPECT_EQ(v, (Vector<Real>{Real(-0.5), 2, 0}));
  EXPECT_NEAR(s[0], 2, 10 * eps_of<Real>);
  EXPECT_TRUE(s.untouched_from(1));

  data = x;
  v = points;
  EXPECT_EQ(AX_polyapx(2, 5, data.data(), x.data(), 3, v.data(), none, none, none),
            AX_POLAPXVAL_NO_OUTPUT);
  EXPECT_EQ(data, x);
  EXPECT_EQ(v, (Vector<Real>{Real(-0.5), 2, 0}));
}

TWIN_TEST(Polyapx, WithoutMemoryForItsCoefficientsChangesNothing) {
  const Vector<Real> x = {1, 2, 3, 4, 5}, points = {2, 3};
  auto data = x, v = points;
  Guarded<Real> s(4);
  Real* none = nullptr;
  allocation_probe::begin(1);
  const int status = AX_polyapx(2, 5, data.data(), x.data(), 2, v.data(), s.data(), none, none);
  EXPECT_EQ(allocation_probe::end().kept, Usage{});
  EXPECT_EQ(status, AX_POLYAPX_NO_MEMORY);
  EXPECT_EQ(data, x);
  EXPECT_EQ(v, points);
  EXPECT_TRUE(s.untouched_from(0));
}

}  // namespace

// tests/test_fit_kernels.cpp - basis functions and Chebyshev polynomials, one at a time and side by
// side.
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "appx/chebyshev.hpp"
#include "appx/spline_basis.hpp"
#include "kernels/points/points.hpp"
#include "tests/reference/spline_basis.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twin_test.hpp"
#include "tests/support/worst.hpp"

namespace {

using tabfit::BasisGrid;
using tabfit::BasisPoint;
using tabfit::P_cheb;
using tabfit::P_chebder;
using tabfit::S_basisval;
using Wide = long double;

constexpr Data kinds_of_data[] = {Data::plain, Data::odd, Data::tiny, Data::huge};

// -- basis functions ------------------------------------------------------------------------------

template <class Real>
tabfit::BasisTable<Real> basis_table(int n) {
  return tabfit::BasisTable<Real>(tabfit::AX_d2fcs<Real>(n));
}

struct Values {
  double s, s1, s2;
};

/// Basis function j at u as it is defined: the quotients and h h / 6 in long double, the place in the
/// interval and the results rounded to double. Factors of the point alone are multiplied first.
template <class Real>
Values plain_basis(const Real* T, int n, int j, double u) {
  const double h = 2.0 / (n + 1.0);
  const Wide quotient = Wide(u) / h;
  const int k = quotient >= n + 1 ? n : static_cast<int>(quotient);
  const double start = k * h, t = static_cast<double>((Wide(u) - start) / h);
  const double g = static_cast<double>(Wide(h) * h * (Wide(1) / 6));
  const Wide a = T[k], b = T[k + 1], e1 = j >= 1 && j <= n + 2 && j == k + 1,
             e2 = j >= 1 && j <= n + 2 && j == k + 2, rest = Wide(1) - t;
  return {static_cast<double>((e1 - g * (1 + rest) * t * a) * rest +
                              (e2 - g * (1 + Wide(t)) * rest * b) * t),
          static_cast<double>((b * t * t - a * rest * rest) * (0.5L * h) + ((a - b) * g + e2 - e1) / h),
          static_cast<double>(a * rest + b * t)};
}

template <class Real>
Values basis(Real* const* T, int n, int j, double u) {
  Values at{};
  EXPECT_EQ(S_basisval(T, n, j, u, &at.s, &at.s1, &at.s2), 0) << "u = " << shown(u);
  return at;
}

/// A point of 0..2: often an end, a knot or a neighbour of one of these.
double random_reference_point(Random& random, int n) {
  const double h = 2.0 / (n + 1);
  double u = random.real(0, 2);
  if (random.chance(3)) u = random.integer(0, n + 1) * h;
  if (random.chance(10)) u = random.chance(2) ? 0 : 2;
  if (random.chance(6)) u = std::nextafter(u, random.chance(2) ? 0.0 : 2.0);
  return std::min(u, 2.0);
}

TWIN_TEST(Basisval, GivesTheBitsOfItsDefinition) {
  Random random(83);
  for (const int n : {1, 2, 3, 4, 5, 9, 16, 23, 47, 60}) {
    const auto T = basis_table<Real>(n);
    for (int round = 0; round < 400; ++round) {
      const double u = random_reference_point(random, n);
      const int j = random.integer(0, n + 3);
      const Values got = basis(T.get(), n, j, u), want = plain_basis(T[j], n, j, u);
      ASSERT_SAME(got.s, want.s) << "n = " << n << ", j = " << j << ", u = " << shown(u);
      ASSERT_SAME(got.s1, want.s1) << "n = " << n << ", j = " << j << ", u = " << shown(u);
      ASSERT_SAME(got.s2, want.s2) << "n = " << n << ", j = " << j << ", u = " << shown(u);
    }
  }
}

TWIN_TEST(Basisval, AgreesWithThePointSharedByAllFunctions) {
  Random random(84);
  for (int n = 1; n <= 60; ++n) {
    const auto T = basis_table<Real>(n);
    for (int round = 0; round < 30; ++round) {
      const double u = random_reference_point(random, n);
      const BasisPoint point(BasisGrid(n), u);
      for (int j = 0; j <= n + 3; ++j)
        ASSERT_SAME(point.basis_value(T[j], j), basis(T.get(), n, j, u).s)
            << "n = " << n << ", j = " << j << ", u = " << shown(u);
    }
  }
}

TWIN_TEST(Basisval, WritesWhatIsWantedAndNothingElse) {
  const auto T = basis_table<Real>(3);
  const Values all = basis(T.get(), 3, 2, 0.7);
  for (int wanted = 0; wanted < 8; ++wanted) {
    Guarded<double> s(1), s1(1), s2(1);
    EXPECT_EQ(S_basisval(T.get(), 3, 2, 0.7, wanted & 1 ? s.data() : nullptr,
                         wanted & 2 ? s1.data() : nullptr, wanted & 4 ? s2.data() : nullptr),
              0);
    EXPECT_SAME(s[0], wanted & 1 ? all.s : Guarded<double>::poison());
    EXPECT_SAME(s1[0], wanted & 2 ? all.s1 : Guarded<double>::poison());
    EXPECT_SAME(s2[0], wanted & 4 ? all.s2 : Guarded<double>::poison());
    EXPECT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
  }
}

TWIN_TEST(Basisval, RefusesPointsOutsideTheReferenceIntervalAndNoKnots) {
  const auto T = basis_table<Real>(3);
  const double inf = inf_of<double>;
  for (const auto& [n, u] : std::vector<std::pair<int, double>>{{3, std::nextafter(0.0, -1.0)},
                                                                {3, -1},
                                                                {3, -inf},
                                                                {3, std::nextafter(2.0, 3.0)},
                                                                {3, 3},
                                                                {3, inf},
                                                                {3, nan_of<double>},
                                                                {0, 1},
                                                                {-1, 1},
                                                                {INT_MIN, 1}}) {
    Guarded<double> s(1), s1(1), s2(1);
    EXPECT_EQ(S_basisval(T.get(), n, 2, u, s.data(), s1.data(), s2.data()), 1) << n << ", " << u;
    EXPECT_TRUE(s.untouched(0) && s1.untouched(0) && s2.untouched(0));
  }
  for (const double u : {0.0, -0.0, 2.0}) basis(T.get(), 3, 2, u);
}

TWIN_TEST(Basisval, IsExactAtBothEnds) {
  // At 0 the place in the interval is 0; at 2 it is 1 where the quotient of n and h is exact.
  for (int n = 1; n <= 60; ++n) {
    const auto T = basis_table<Real>(n);
    const BasisPoint last(BasisGrid(n), 2.0), first(BasisGrid(n), 0.0);
    EXPECT_EQ(first.k, 0);
    EXPECT_EQ(last.k, n);
    EXPECT_EQ(first.t, 0);
    EXPECT_NEAR(static_cast<double>(last.t), 1, (n + 1) * eps_of<double>) << "n = " << n;
    for (int j = 0; j <= n + 3; ++j) {
      const Values at = basis(T.get(), n, j, 0);
      EXPECT_EQ(at.s, j == 1) << "n = " << n << ", j = " << j;
      EXPECT_EQ(at.s2, T[j][0]) << "n = " << n << ", j = " << j;
    }
  }
}

/// Rounding errors of numbers of magnitude 1 that depend on the place in an interval of width h: from
/// the elements, and from the point and the left knot, which carry a rounding of 2.
template <class Real>
Wide rounding(Wide h) {
  return eps_of<Real> + eps_of<double> / h;
}

// A knot's abscissa is rounded, and the slopes beside it are up to 3 / h.
TWIN_TEST(Basisval, IsOneAtItsKnotAndZeroAtTheOthers) {
  Worst worst;
  for (int n = 1; n <= 60; ++n) {
    const auto T = basis_table<Real>(n);
    const double h = 2.0 / (n + 1);
    for (int i = 0; i <= n + 1; ++i)
      for (int j = 0; j <= n + 3; ++j)
        worst.take(
            Wide(basis(T.get(), n, j, std::min(i * h, 2.0)).s) - (j >= 1 && j <= n + 2 && i == j - 1),
            Wide(eps_of<double>) / h);
  }
  std::printf("knot values: %.3g units\n", worst.value);
  EXPECT_LE(worst.value, 2);
}

// A slope is a sum of elements of the table times h / 6. The greatest element is 12 / h^2 for the
// functions of a knot value and 4 / h for those of a slope.
TWIN_TEST(Basisval, HasSlopesOfOneAndZeroAtTheEnds) {
  Worst worst;
  for (int n = 1; n <= 60; ++n) {
    const auto T = basis_table<Real>(n);
    const Wide h = Wide(2) / (n + 1);
    for (int j = 0; j <= n + 3; ++j) {
      const Wide unit = (j == 0 || j == n + 3 ? 1 : 1 / h) * rounding<Real>(h);
      worst.take(Wide(basis(T.get(), n, j, 0).s1) - (j == 0), unit);
      worst.take(Wide(basis(T.get(), n, j, 2).s1) - (j == n + 3), unit);
    }
  }
  std::printf("end slopes: %.3g units\n", worst.value);
  EXPECT_LE(worst.value, 10);
}

// The units are the magnitudes of a function's value and derivatives: 1, 1 / h and 6 / h^2 for a knot
// value, h, 1 and 6 / h for a slope.
TWIN_TEST(Basisval, AgreesWithTheExactBasis) {
  Worst values, slopes, curvatures;
  for (const ExactBasis& exact : exact_bases) {
    const int n = exact.n;
    const auto T = basis_table<Real>(n);
    const Wide h = Wide(2) / (n + 1);
    std::size_t at = 0;
    for (int j = 0; j <= n + 3; ++j)
      for (std::size_t i = 0; i < exact.k.size(); ++i, ++at) {
        const auto u = static_cast<double>((exact.k[i] + Wide(exact.t[i])) * h);
        const Values got = basis(T.get(), n, j, std::min(u, 2.0));
        const Wide unit = (j == 0 || j == n + 3 ? h : 1) * rounding<Real>(h);
        values.take(Wide(got.s) - exact.s[at], unit);
        slopes.take(Wide(got.s1) - exact.s1[at], unit / h);
        curvatures.take(Wide(got.s2) - exact.s2[at], 6 * unit / (h * h));
      }
    ASSERT_EQ(at, exact.s.size());
  }
  std::printf("exact basis: values %.3g, slopes %.3g, curvatures %.3g units\n", values.value,
              slopes.value, curvatures.value);
  EXPECT_LE(values.value, 3);
  EXPECT_LE(slopes.value, 8);
  EXPECT_LE(curvatures.value, 3);
}

// -- Chebyshev polynomials at one point -----------------------------------------------------------

constexpr double band = 1.00002;

TWIN_TEST(Cheb, RefusesPointsBeyondTheBandAndNegativeDegrees) {
  const double inf = inf_of<double>;
  for (const auto& [p, t] : std::vector<std::pair<int, double>>{{3, std::nextafter(band, 2.0)},
                                                                {3, std::nextafter(-band, -2.0)},
                                                                {3, 2},
                                                                {3, inf},
                                                                {3, -inf},
                                                                {-1, 0},
                                                                {INT_MIN, 0}}) {
    Guarded<Real> T(4), T1(4), T2(4);
    EXPECT_EQ(P_cheb(p, t, T.data(), T1.data(), T2.data()), 1) << p << ", " << shown(t);
    EXPECT_TRUE(T.untouched_from(0) && T1.untouched_from(0) && T2.untouched_from(0));
  }
}

TWIN_TEST(Cheb, MovesPointsOfTheBandOntoTheEnds) {
  for (const double end : {1.0, -1.0}) {
    Guarded<Real> T(6), T1(6), T2(6), S(6), S1(6), S2(6);
    ASSERT_EQ(P_cheb(5, end, T.data(), T1.data(), T2.data()), 0);
    for (const double t : {std::nextafter(end, 2 * end), end * 1.00001, end * band}) {
      ASSERT_EQ(P_cheb(5, t, S.data(), S1.data(), S2.data()), 0);
      for (int j = 0; j <= 5; ++j) {
        EXPECT_SAME(S[j], T[j]);
        EXPECT_SAME(S1[j], T1[j]);
        EXPECT_SAME(S2[j], T2[j]);
      }
    }
    // A point inside is not moved.
    const double inside = std::nextafter(end, 0.0);
    ASSERT_EQ(P_cheb<Real>(5, inside, S.data(), nullptr, nullptr), 0);
    EXPECT_SAME(S[1], static_cast<Real>(inside));
  }
}

TWIN_TEST(Cheb, TakesNaNForAPoint) {
  Guarded<Real> T(4), T1(4), T2(4);
  EXPECT_EQ(P_cheb(3, nan_of<double>, T.data(), T1.data(), T2.data()), 0);
  EXPECT_EQ(T[0], 1);
  EXPECT_EQ(T1[0], 0);
  EXPECT_EQ(T1[1], 1);
  EXPECT_EQ(T2[0], 0);
  EXPECT_EQ(T2[1], 0);
  EXPECT_EQ(T2[2], 4);
  for (int j = 1; j <= 3; ++j) EXPECT_TRUE(std::isnan(T[j]) && !T.untouched(j)) << j;
  for (int j = 2; j <= 3; ++j) EXPECT_TRUE(std::isnan(T1[j]) && !T1.untouched(j)) << j;
  EXPECT_TRUE(std::isnan(T2[3]) && !T2.untouched(3));
}

TWIN_TEST(Cheb, WritesTheFirstTwoValuesOfDegreeZero) {
  Guarded<Real> T(2), T1(1), T2(1);
  EXPECT_EQ(P_cheb(0, 0.25, T.data(), T1.data(), T2.data()), 0);
  EXPECT_EQ(T[0], 1);
  EXPECT_EQ(T[1], Real(0.25));
  EXPECT_SAME(T1[0], Real(0));
  EXPECT_SAME(T2[0], Real(0));
  EXPECT_TRUE(T.zones_intact() && T1.zones_intact() && T2.zones_intact());
}

TWIN_TEST(Cheb, WritesNoMoreThanItsDegreeSays) {
  for (int p = 1; p <= 9; ++p) {
    Guarded<Real> T(p + 1), T1(p + 1), T2(p + 1), S(p + 1), S1(p + 1);
    ASSERT_EQ(P_cheb(p, 0.375, T.data(), T1.data(), T2.data()), 0);
    ASSERT_EQ(P_cheb<Real>(p, 0.375, S.data(), nullptr, nullptr), 0);
    EXPECT_TRUE(T.zones_intact() && T1.zones_intact() && T2.zones_intact() && S.zones_intact());
    for (int j = 0; j <= p; ++j) EXPECT_SAME(S[j], T[j]);
    ASSERT_EQ(P_cheb<Real>(p, 0.375, S.data(), S1.data(), nullptr), 0);
    for (int j = 0; j <= p; ++j) EXPECT_SAME(S1[j], T1[j]);
    EXPECT_TRUE(S1.zones_intact());
  }
}

TWIN_TEST(Cheb, IsExactWhereNothingNeedsRounding) {
  // At t = q / 4 all three recurrences run in whole numbers: N[j] = 4^j T[j](t), and their derivatives.
  constexpr int p = sizeof(Real) == 4 ? 9 : 18;  // what the bits of Real hold
  for (int q = -4; q <= 4; ++q) {
    Guarded<Real> T(p + 1), T1(p + 1), T2(p + 1);
    ASSERT_EQ(P_cheb(p, q / 4.0, T.data(), T1.data(), T2.data()), 0);
    std::array<std::int64_t, 3> before = {1, 0, 0}, now = {q, 4, 0};
    for (int j = 0; j <= p; ++j) {
      EXPECT_SAME(T[j] + 0, static_cast<Real>(std::ldexp(static_cast<double>(before[0]), -2 * j)));
      EXPECT_SAME(T1[j] + 0, static_cast<Real>(std::ldexp(static_cast<double>(before[1]), -2 * j)));
      EXPECT_SAME(T2[j] + 0, static_cast<Real>(std::ldexp(static_cast<double>(before[2]), -2 * j)));
      const std::array<std::int64_t, 3> next = {2 * q * now[0] - 16 * before[0],
                                                8 * now[0] + 2 * q * now[1] - 16 * before[1],
                                                16 * now[1] + 2 * q * now[2] - 16 * before[2]};
      before = now;
      now = next;
    }
  }
}

TWIN_TEST(Cheb, IsExactAtTheEnds) {
  // T[j](1) = 1, its slope j^2, its curvature j^2 (j^2 - 1) / 3; at -1 with the sign of the parity.
  constexpr int p = 80;  // the last curvature fits a float's 24 bits
  for (const int end : {1, -1}) {
    Guarded<Real> T(p + 1), T1(p + 1), T2(p + 1);
    ASSERT_EQ(P_cheb(p, end, T.data(), T1.data(), T2.data()), 0);
    for (int j = 0; j <= p; ++j) {
      const int parity = end < 0 && j % 2 == 1 ? -1 : 1;
      EXPECT_EQ(T[j], parity) << j;
      EXPECT_EQ(T1[j], parity * end * j * j) << j;
      EXPECT_EQ(T2[j], parity * (j * j * (j * j - 1) / 3)) << j;
    }
  }
}

// T[j](cos q) = cos(j q), its slope j sin(j q) / sin(q), its curvature from the differential equation
// (1 - t^2) T'' = t T' - j^2 T. The recurrence multiplies a rounding of one step by j at most, and the
// j roundings have random signs. So the unit of a value is j roundings of 1, and that of a derivative j
// roundings of its greatest magnitude, j^2 and j^4 / 3.
TWIN_TEST(Cheb, FollowsTheCosines) {
  constexpr int p = 200;
  Random random(85);
  Worst values, slopes, curvatures;
  for (int round = 0; round < 300; ++round) {
    const double t = static_cast<Real>(random.real(-0.999, 0.999));
    Guarded<Real> T(p + 1), T1(p + 1), T2(p + 1);
    ASSERT_EQ(P_cheb(p, t, T.data(), T1.data(), T2.data()), 0);
    const Wide q = std::acos(Wide(t));
    for (int j = 1; j <= p; ++j) {
      const Wide value = std::cos(j * q), slope = j * std::sin(j * q) / std::sin(q),
                 curvature = (t * slope - Wide(j) * j * value) / (1 - Wide(t) * t),
                 unit = Wide(j) * eps_of<Real>, square = Wide(j) * j;
      values.take(T[j] - value, unit);
      slopes.take(T1[j] - slope, unit * square);
      curvatures.take(T2[j] - curvature, unit * square * square / 3);
    }
  }
  std::printf("cosines: values %.3g, slopes %.3g, curvatures %.3g units\n", values.value, slopes.value,
              curvatures.value);
  EXPECT_LE(values.value, 1);
  EXPECT_LE(slopes.value, 0.5);
  EXPECT_LE(curvatures.value, 0.5);
}

TWIN_TEST(Chebder, IsTheSumOfEveryOtherElement) {
  Random random(86);
  for (const Data data : kinds_of_data)
    for (int round = 0; round < 20; ++round) {
      constexpr int p = 40;
      Guarded<Real> c(p + 1);
      for (int j = 0; j <= p; ++j) c[j] = element<Real>(random, data);
      for (int k = 0; k <= p; ++k) {
        double sum = 0;
        for (int j = 0; j < k; ++j)
          if ((k - j) % 2 == 1) sum = std::fma(j == 0 ? 1.0 : 2.0, double(c[j]), sum);
        ASSERT_SAME(P_chebder(k, c.data()), k * sum) << "k = " << k;
      }
    }
}

TWIN_TEST(Chebder, OfDegreeZeroReadsNothing) {
  EXPECT_SAME(P_chebder<Real>(0, nullptr), 0.0);
  const Real c[] = {3};
  EXPECT_SAME(P_chebder(1, c), 3.0);
}

TWIN_TEST(Cheb, DerivesByTheRule) {
  Random random(87);
  constexpr int p = 60;
  for (int round = 0; round < 100; ++round) {
    Guarded<Real> T(p + 1), T1(p + 1), T2(p + 1);
    ASSERT_EQ(P_cheb(p, random.real(-1, 1), T.data(), T1.data(), T2.data()), 0);
    for (int k = 0; k <= p; ++k) {
      ASSERT_SAME(T1[k], static_cast<Real>(P_chebder(k, T.data()))) << "k = " << k;
      ASSERT_SAME(T2[k], static_cast<Real>(P_chebder(k, T1.data()))) << "k = " << k;
    }
  }
}

TWIN_TEST(Cheb, StepsByTheFusedRecurrence) {
  Random random(88);
  constexpr int p = 60;
  for (int round = 0; round < 200; ++round) {
    const double t = random.real(-1, 1);
    Guarded<Real> T(p + 1);
    ASSERT_EQ(P_cheb<Real>(p, t, T.data(), nullptr, nullptr), 0);
    Real before = 1, now = static_cast<Real>(t);
    for (int j = 1; j <= p; ++j) {
      ASSERT_SAME(T[j], now) << "j = " << j << ", t = " << shown(t);
      // The step uses t itself; the f twin rounds t only in T[1].
      const auto next = static_cast<Real>(std::fma(2 * t, double(now), -double(before)));
      before = now;
      now = next;
    }
  }
}

// -- side by side ---------------------------------------------------------------------------------

/// Rows 0..p of width places each.
template <class Real>
struct Rows {
  Rows(int p, int columns) : width(columns), all((p + 1) * columns) {}
  Real& at(int j, int i) { return all[j * width + i]; }
  bool untouched(int j, int i) { return all.untouched(j * width + i); }
  int width;
  Guarded<Real> all;
};

TWIN_TEST(ChebBlock, HoldsWhatSinglePointsGive) {
  Random random(89);
  const auto& kernel = tabfit::kernels().of<Real>();
  constexpr const Real* none = nullptr;
  for (int count = 0; count <= tabfit::point_block; ++count)
    for (const int p : {0, 1, 2, 3, 8, 21}) {
      const int width = random.integer(std::max(count, 1), tabfit::point_block), top = std::max(p, 1);
      std::vector<double> t;
      t.reserve(tabfit::point_block + 1);
      for (int i = 0; i < count; ++i)
        t.push_back(random.chance(10) ? nan_of<double> : random.chance(6) ? 0.0 : random.real(-1, 1));
      t.push_back(nan_of<double>);
      Rows<Real> T(top, width), T1(p, width), T2(p, width);
      kernel.chebyshev(p, t.data(), count, width, T.all.data(), none, nullptr);
      kernel.chebyshev_derivatives(p, T.all.data(), count, width, T1.all.data(), none, nullptr);
      kernel.chebyshev_derivatives(p, T1.all.data(), count, width, T2.all.data(), none, nullptr);
      ASSERT_TRUE(T.all.zones_intact() && T1.all.zones_intact() && T2.all.zones_intact());
      for (int i = 0; i < count; ++i) {
        Guarded<Real> S(top + 1), S1(p + 1), S2(p + 1);
        ASSERT_EQ(P_cheb(p, t[static_cast<std::size_t>(i)], S.data(), S1.data(), S2.data()), 0);
        for (int j = 0; j <= top; ++j)
          ASSERT_SAME(T.at(j, i), S[j]) << "degree " << j << ", point " << i << " of " << count;
        for (int j = 0; j <= p; ++j) {
          ASSERT_SAME(T1.at(j, i), S1[j]) << "degree " << j << ", point " << i << " of " << count;
          ASSERT_SAME(T2.at(j, i), S2[j]) << "degree " << j << ", point " << i << " of " << count;
        }
      }
      for (int i = count; i < width; ++i) {
        for (int j = 0; j <= top; ++j) ASSERT_TRUE(T.untouched(j, i)) << j << ", " << i;
        for (int j = 0; j <= p; ++j)
          ASSERT_TRUE(T1.untouched(j, i) && T2.untouched(j, i)) << j << ", " << i;
      }
    }
}

}  // namespace

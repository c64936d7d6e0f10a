// tests/test_spline_fit.cpp - the spline basis, least-squares splines, smoothing.
#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/reference/spline_basis.hpp"
#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twins.hpp"
#include "tests/support/worst.hpp"

namespace {

using Wide = long double;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// A basis table and its release.
template <class Real>
class Basis {
 public:
  explicit Basis(int n) : T_(AX_d2fcs<Real>(n)) {}
  ~Basis() {
    if (T_) AX_freed2fcs(T_);
  }
  Basis(const Basis&) = delete;
  Basis& operator=(const Basis&) = delete;
  Real** table() const { return T_; }
  const Real* operator[](int j) const { return T_[j]; }

 private:
  Real** T_;
};

/// A table in the shape of a basis table, filled with random numbers.
template <class Real>
class AnyTable {
 public:
  AnyTable(Random& random, int n) : block_(at((n + 2) * (n + 4))) {
    for (Real& v : block_) v = static_cast<Real>(random.real(-9, 9));
    for (int j = 0; j < n + 4; ++j) columns_.push_back(block_.data() + std::ptrdiff_t(j) * (n + 2));
    columns_.push_back(nullptr);
  }
  Real* const* table() const { return columns_.data(); }

 private:
  std::vector<Real> block_;
  std::vector<Real*> columns_;
};

// -- the definitions, written out ------------------------------------------------------------------
//
// Longer formulas in long double, single operations in double, each rounded where it is kept.

/// u = (v - cm) / hw + 1.
double plain_map(double cm, double hw, double v) {
  return static_cast<double>((Wide(v) - cm) / hw + 1);
}

/// A point of the reference interval: its interval and its place in that.
struct Place {
  int k;
  double h, t, g;
};

Place plain_place(int n, double u) {
  const double h = 2.0 / (n + 1.0);
  const Wide quotient = Wide(u) / h;
  const int k = quotient >= n + 1 ? n : static_cast<int>(quotient);
  const double start = k * h;
  return {k, h, static_cast<double>((Wide(u) - start) / h),
          static_cast<double>(Wide(h) * h * (Wide(1) / 6))};
}

struct Values {
  double s, s1, s2;
};

/// A spline with the knot values e1, e2 and the second derivatives a, b at the ends of its interval.
/// The first derivative is divided by scale, the second by its square.
Values plain_spline(const Place& p, Wide a, Wide b, Wide e1, Wide e2, double scale) {
  const Wide t = p.t, rest = 1 - t;
  return {
      static_cast<double>((e1 - p.g * (1 + rest) * t * a) * rest + (e2 - p.g * (1 + t) * rest * b) * t),
      static_cast<double>(
          ((b * t * t - a * rest * rest) * (0.5L * p.h) + ((a - b) * p.g + e2 - e1) / p.h) / scale),
      static_cast<double>((a * rest + b * t) / (Wide(scale) * scale))};
}

/// Basis function j at u.
template <class Real>
Values plain_basis(Real* const* T, int n, int j, double u) {
  const Place p = plain_place(n, u);
  return plain_spline(p, T[j][p.k], T[j][p.k + 1], j == p.k + 1, j == p.k + 2, 1);
}

/// AX_apxval: the second derivatives at the ends of the interval are combined first.
template <class Real>
int plain_apxval(Real* const* T, int n, const Real* a, double v, Values& out) {
  constexpr bool single = sizeof(Real) == 4;
  double u = plain_map(a[n + 4], a[n + 5], v);
  if (!(u >= (single ? -2e-5 : -2e-9))) return -6;
  if (u > (single ? 2.00002 : 2.000000002)) return -6;
  if (u < 0) u = 0;
  if (u > 2) u = 2;
  const Place p = plain_place(n, u);
  double c1 = 0, c2 = 0;
  for (int j = 0; j <= n + 3; ++j) {
    c1 = std::fma(double(a[j]), double(T[j][p.k]), c1);
    c2 = std::fma(double(a[j]), double(T[j][p.k + 1]), c2);
  }
  out = plain_spline(p, c1, c2, a[p.k + 1], a[p.k + 2], a[n + 5]);
  return 0;
}

/// AX_apxcoef, the solution by Ls.
template <class Real>
int plain_apxcoef(Real* const* T, int n, const std::vector<Real>& x, const std::vector<Real>& y,
                  Real* a) {
  constexpr double tol = sizeof(Real) == 4 ? 2e-5 : 2e-9;
  const int m = static_cast<int>(x.size());
  if (n < 1 || m - 4 < n) return -10;
  const double cm = static_cast<double>((Wide(x.front()) + x.back()) * 0.5L), hw = cm - x.front();
  for (int i = 1; i < m; ++i)
    if (!(plain_map(cm, hw, x[at(i)]) - tol >= plain_map(cm, hw, x[at(i - 1)]))) return -4;
  std::vector<std::vector<Real>> columns(at(n + 5), std::vector<Real>(at(m)));
  std::vector<Real*> table;
  for (auto& column : columns) table.push_back(column.data());
  for (int i = 0; i < m; ++i) {
    double u = plain_map(cm, hw, x[at(i)]);
    if (i == 0 && u < 0) u = 0;
    if (i == m - 1 && u > 2) u = 2;
    for (int j = 0; j <= n + 3; ++j)
      columns[at(j)][at(i)] = static_cast<Real>(plain_basis(T, n, j, u).s);
  }
  columns[at(n + 4)] = y;
  Real rn = 0;
  const int status = Ls(table.data(), m, n + 4, &rn);
  if (status != 0) return status;
  std::copy_n(columns[at(n + 4)].begin(), n + 4, a);
  a[n + 4] = static_cast<Real>(cm);
  a[n + 5] = static_cast<Real>(hw);
  return 0;
}

// -- calls ----------------------------------------------------------------------------------------

/// AX_apxcoef on a guarded array, which is untouched unless it returns 0. Releases what a refused fit
/// keeps.
template <class Real>
int fit_status(const Basis<Real>& T, int n, const std::vector<Real>& x, const std::vector<Real>& y,
               Guarded<Real>& a) {
  const int status = releasing([&] {
    return AX_apxcoef(T.table(), n, static_cast<int>(x.size()), x.data(), y.data(), a.data());
  });
  EXPECT_TRUE(a.zones_intact());
  EXPECT_EQ(a.untouched_from(0), status != 0) << "status " << status;
  return status;
}

template <class Real>
Guarded<Real> fit(const Basis<Real>& T, int n, const std::vector<Real>& x, const std::vector<Real>& y) {
  Guarded<Real> a(n + 6);
  EXPECT_EQ(fit_status(T, n, x, y, a), AX_APXCOEF_OK) << "n = " << n << ", m = " << x.size();
  return a;
}

/// The status for abscissae and n alone.
template <class Real>
int abscissae_status(int n, const std::vector<Real>& x) {
  const Basis<Real> T(std::max(n, 1));
  Guarded<Real> a(std::max(n, 1) + 6);
  return fit_status(T, n, x, std::vector<Real>(x.size(), Real(1)), a);
}

struct At {
  int status;
  Values values;
};

/// AX_apxval. A refusal must write nothing.
template <class Real>
At evaluate(Real* const* T, int n, const Real* a, double v) {
  Guarded<double> s(1), s1(1), s2(1);
  const int status = AX_apxval(T, n, a, v, s.data(), s1.data(), s2.data());
  for (Guarded<double>* out : {&s, &s1, &s2}) {
    EXPECT_TRUE(out->zones_intact());
    EXPECT_EQ(out->untouched(0), status != 0) << "status " << status << ", v = " << shown(v);
  }
  return {status, {s[0], s1[0], s2[0]}};
}

/// The first accepted number between `from`, which is refused, and `to`, which is accepted.
template <class Real, class Accepted>
Real edge(Real from, Real to, Accepted accepted) {
  EXPECT_FALSE(accepted(from));
  EXPECT_TRUE(accepted(to));
  while (std::nextafter(from, to) != to) {
    Real middle = from + (to - from) / 2;
    if (middle == from || middle == to) middle = std::nextafter(from, to);
    (accepted(middle) ? to : from) = middle;
  }
  return to;
}

/// m abscissae from first to last, with random steps that differ by no more than a factor of 3.
template <class Real>
std::vector<Real> spread(Random& random, int m, double first, double last) {
  std::vector<double> to = {0};
  for (int i = 1; i < m; ++i) to.push_back(to.back() + random.real(0.5, 1.5));
  std::vector<Real> x;
  for (const double part : to)
    x.push_back(static_cast<Real>(first + (last - first) * part / to.back()));
  return x;
}

/// m abscissae from first to last, equally spaced.
template <class Real>
std::vector<Real> even(int m, double first, double last) {
  std::vector<Real> x;
  for (int i = 0; i < m; ++i) x.push_back(static_cast<Real>(first + (last - first) * i / (m - 1)));
  return x;
}

template <class Real>
std::vector<Real> noise(Random& random, int m, double size = 1) {
  std::vector<Real> y;
  for (int i = 0; i < m; ++i) y.push_back(static_cast<Real>(random.real(-size, size)));
  return y;
}

/// The property of titanium against temperature: 49 points, 10 degrees apart from 595 on.
template <class Real>
std::pair<std::vector<Real>, std::vector<Real>> titanium() {
  constexpr int property[] = {644, 622,  638,  649,  652,  639,  646,  657,  652, 655, 644, 663, 663,
                              668, 676,  676,  686,  679,  678,  683,  694,  699, 710, 730, 763, 812,
                              907, 1044, 1336, 1881, 2169, 2075, 1598, 1211, 916, 746, 672, 627, 615,
                              607, 606,  609,  603,  601,  603,  601,  611,  601, 608};
  std::vector<Real> x, y;
  for (const int value : property) {
    x.push_back(static_cast<Real>(595 + 10 * x.size()));
    y.push_back(static_cast<Real>(value / 1000.0));
  }
  return {x, y};
}

// -- the table ------------------------------------------------------------------------------------

TWIN_TEST(BasisTable, IsNullWithoutAnInteriorKnot) {
  for (const int n : {0, -1, -5, INT_MIN})
    EXPECT_EQ(probe([&] { EXPECT_EQ(AX_d2fcs<Real>(n), nullptr) << n; }).requests, 0);
}

TWIN_TEST(BasisTable, IsNullWhereMemoryCannotHoldIt) {
  for (const int n : {INT_MAX, INT_MAX - 3, INT_MAX - 4})
    EXPECT_EQ(probe([&] { EXPECT_EQ(AX_d2fcs<Real>(n), nullptr) << n; }).kept, Usage{});
}

TWIN_TEST(BasisTable, HasItsColumnsInOneBlockAndANullBehindThem) {
  for (const int n : {1, 2, 5, 20}) {
    Real** T = nullptr;
    allocation_probe::begin();
    T = AX_d2fcs<Real>(n);
    const Usage held = allocation_probe::live();
    ASSERT_NE(T, nullptr);
    bool laid_out = true;
    for (int j = 0; j < n + 4; ++j) laid_out = laid_out && T[j] == T[0] + std::ptrdiff_t(j) * (n + 2);
    const bool ends_in_null = T[n + 4] == nullptr;
    AX_freed2fcs(T);
    const Account account = allocation_probe::end();
    EXPECT_TRUE(laid_out);
    EXPECT_TRUE(ends_in_null);
    EXPECT_EQ(held, from_calloc(2, at((n + 2) * (n + 4)) * sizeof(Real) + at(n + 5) * sizeof(Real*)));
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(account.mismatches, 0);
  }
}

/// The second derivatives of basis function j at the knots: the exact solution of the conditions, by
/// elimination of the clamped system in long double, which is diagonally dominant.
std::vector<Wide> exact_column(int n, int j) {
  const Wide h = Wide(2) / (n + 1);
  const auto value = [&](int i) -> Wide { return j == i + 1; };
  std::vector<Wide> diagonal(at(n + 2), 4), right(at(n + 2));
  diagonal.front() = diagonal.back() = 2;
  for (int i = 1; i <= n; ++i)
    right[at(i)] = 6 * (value(i - 1) - 2 * value(i) + value(i + 1)) / (h * h);
  right.front() = 6 * ((value(1) - value(0)) / h - (j == 0)) / h;
  right.back() = 6 * ((j == n + 3) - (value(n + 1) - value(n)) / h) / h;
  for (int i = 1; i <= n + 1; ++i) {
    const Wide factor = 1 / diagonal[at(i - 1)];
    diagonal[at(i)] -= factor;
    right[at(i)] -= factor * right[at(i - 1)];
  }
  right.back() /= diagonal.back();
  for (int i = n; i >= 0; --i) right[at(i)] = (right[at(i)] - right[at(i + 1)]) / diagonal[at(i)];
  return right;
}

// An element is made of four terms of the recurrence by products and a quotient. The error of a term
// grows slowly, since all terms of a sum have one sign. The unit is a rounding of the element itself,
// also far from the diagonal.
TWIN_TEST(BasisTable, HoldsTheExactSecondDerivatives) {
  Worst worst;
  for (const ExactBasis& exact : exact_bases) {
    const Basis<Real> T(exact.n);
    for (int j = 0; j < exact.n + 4; ++j)
      for (int i = 0; i < exact.n + 2; ++i) {
        const double element = exact.table[at(j * (exact.n + 2) + i)];
        worst.take(T[j][i] - Wide(element), std::abs(element) * eps_of<Real>);
        EXPECT_NEAR(static_cast<double>(exact_column(exact.n, j)[at(i)]), element,
                    2 * eps_of<double> * std::abs(element));
      }
  }
  std::printf("elements: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 4);
}

TWIN_TEST(BasisTable, HoldsTheSolutionOfItsConditionsForUpToSixtyKnots) {
  Worst worst;
  for (int n = 1; n <= 60; ++n) {
    const Basis<Real> T(n);
    for (int j = 0; j < n + 4; ++j) {
      const auto exact = exact_column(n, j);
      for (int i = 0; i < n + 2; ++i)
        worst.take(T[j][i] - exact[at(i)], std::abs(exact[at(i)]) * eps_of<Real>);
    }
  }
  std::printf("elements: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 10);
}

/// The greatest deviation from the conditions: slopes at the ends, one slope on both sides of a knot.
/// The unit is a rounding of the elements that a slope is made of.
template <class Real>
double conditions_missed(const Basis<Real>& T, int n) {
  Worst worst;
  const Wide h = Wide(2) / (n + 1);
  for (int j = 0; j < n + 4; ++j) {
    const auto value = [&](int i) -> Wide { return j == i + 1; };
    const auto left_slope = [&](int i) {  // at knot i, of the interval that begins there
      return (value(i + 1) - value(i)) / h - (2 * Wide(T[j][i]) + T[j][i + 1]) * h / 6;
    };
    const auto right_slope = [&](int i) {  // at knot i, of the interval that ends there
      return (value(i) - value(i - 1)) / h + (2 * Wide(T[j][i]) + T[j][i - 1]) * h / 6;
    };
    const Wide unit = (j == 0 || j == n + 3 ? 1 : 1 / h) * eps_of<Real>;
    worst.take(left_slope(0) - (j == 0), unit);
    worst.take(right_slope(n + 1) - (j == n + 3), unit);
    for (int i = 1; i <= n; ++i) worst.take(left_slope(i) - right_slope(i), unit);
  }
  return worst.value;
}

TWIN_TEST(BasisTable, MeetsItsConditions) {
  Worst worst;
  for (int n = 1; n <= 60; ++n) worst.take(conditions_missed(Basis<Real>(n), n), 1);
  std::printf("slopes: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 8);
}

/// The greatest number of interior knots for which a table is right and finite; one more overflows.
template <class Real>
constexpr int last_right = sizeof(Real) == 4 ? 65 : 537;

TWIN_TEST(BasisTable, IsRightUpToTheOverflowOfItsRecurrence) {
  constexpr int n = last_right<Real>;
  EXPECT_LE(conditions_missed(Basis<Real>(n), n), 8);
}

template <class Real>
bool all_finite(const Basis<Real>& T, int n) {
  return std::all_of(T[0], T[0] + std::ptrdiff_t(n + 2) * (n + 4),
                     [](Real v) { return std::isfinite(v); });
}

TWIN_TEST(BasisTable, HasAFirstColumnOfZerosAtTheOverflowAndIsNotFiniteBeyond) {
  constexpr int n = last_right<Real> + 1;
  for (int i = 1; i <= n; ++i) {
    if (n > 100 && i < n - 60 && i % 20 != 0) continue;  // large tables take long: only some of them
    ASSERT_TRUE(all_finite(Basis<Real>(i), i)) << i;
  }
  const Basis<Real> T(n);
  EXPECT_TRUE(std::all_of(T[0], T[0] + n + 2, [](Real v) { return v == 0; }));
  EXPECT_FALSE(all_finite(Basis<Real>(n + 1), n + 1));
}

// -- fits: edges and statuses ------------------------------------------------------------------------

TWIN_TEST(Apxcoef, RefusesFewerPointsThanCoefficientsAndNoKnots) {
  for (const auto& [n, m] :
       std::vector<std::pair<int, int>>{{0, 20}, {-1, 20}, {INT_MIN, 20}, {1, 4}, {5, 8}, {16, 19}}) {
    EXPECT_EQ(abscissae_status(n, even<Real>(m, 0, 1)), AX_APXCOEF_BAD_SIZE) << n << ", " << m;
  }
  for (const auto& [n, m] : std::vector<std::pair<int, int>>{{1, 5}, {5, 9}, {16, 20}})
    EXPECT_EQ(abscissae_status(n, even<Real>(m, 0, 1)), AX_APXCOEF_OK) << n << ", " << m;
  const Basis<Real> T(1);
  const auto x = even<Real>(5, 0, 1);
  Guarded<Real> a(7);
  for (const auto& [n, m] : std::vector<std::pair<int, int>>{
           {1, 0}, {1, -1}, {1, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MAX, 5}})
    EXPECT_EQ(AX_apxcoef(T.table(), n, m, x.data(), x.data(), a.data()), AX_APXCOEF_BAD_SIZE);
  EXPECT_TRUE(a.untouched_from(0));
}

TWIN_TEST(Apxcoef, RefusesAbscissaeThatRepeatOrTurnBack) {
  const auto x = even<Real>(9, -2, 6);
  ASSERT_EQ(abscissae_status(3, x), AX_APXCOEF_OK);
  for (std::size_t i = 1; i < x.size(); ++i) {
    auto same = x, turned = x;
    same[i] = same[i - 1];
    std::swap(turned[i], turned[i - 1]);
    EXPECT_EQ(abscissae_status(3, same), AX_APXCOEF_BAD_ABSCISSAE) << i;
    EXPECT_EQ(abscissae_status(3, turned), AX_APXCOEF_BAD_ABSCISSAE) << i;
  }
  EXPECT_EQ(abscissae_status(3, std::vector<Real>(9, Real(1))), AX_APXCOEF_BAD_ABSCISSAE);
}

TWIN_TEST(Apxcoef, RefusesAbscissaeThatAreNoNumbers) {
  const auto x = even<Real>(9, -2, 6);
  for (std::size_t i = 0; i < x.size(); ++i)
    for (const double odd : {not_a_number, inf, -inf}) {
      auto bad = x;
      bad[i] = static_cast<Real>(odd);
      EXPECT_EQ(abscissae_status(3, bad), AX_APXCOEF_BAD_ABSCISSAE) << i << ", " << odd;
    }
}

TWIN_TEST(Apxcoef, MeasuresTheSeparationInHalfWidthsToTheLastBit) {
  // For each pair of neighbours: the least right one that the definition accepts is accepted, the
  // number before it is refused. The half-width is 1, 4 and 1/2.
  for (const double hw : {1.0, 4.0, 0.5})
    for (const double cm : {0.0, 0.75})
      for (std::size_t i = 1; i + 1 < 9; ++i) {
        auto x = even<Real>(9, cm - hw, cm + hw);
        const double before = plain_map(cm, hw, x[i - 1]);
        const auto accepted = [&](Real v) {
          return plain_map(cm, hw, v) - (sizeof(Real) == 4 ? 2e-5 : 2e-9) >= before;
        };
        const Real near = x[i - 1] + static_cast<Real>(hw * tolerance_of<Real> * 0.9);
        const Real v = edge(near, x[i + 1], accepted);
        x[i] = v;
        EXPECT_EQ(abscissae_status(3, x), AX_APXCOEF_OK) << i << ", " << shown(v);
        x[i] = std::nextafter(v, -inf_of<Real>);
        EXPECT_EQ(abscissae_status(3, x), AX_APXCOEF_BAD_ABSCISSAE) << i << ", " << shown(v);
      }
}

TWIN_TEST(Apxcoef, ReportsThePseudoRankOfADesignWithEmptyIntervals) {
  // 20 points in the first of the five intervals determine the four coefficients of a cubic, and one
  // point at the right end determines the value there.
  const Basis<Real> T(4);
  auto x = even<Real>(20, 0, 0.19);
  x.push_back(1);
  Guarded<Real> a(10);
  EXPECT_EQ(fit_status(T, 4, x, x, a), 5);
  // Two more points in the last interval raise the rank by two.
  x.insert(x.end() - 1, {Real(0.85), Real(0.93)});
  EXPECT_EQ(fit_status(T, 4, x, x, a), 7);
  x.insert(x.end() - 1, Real(0.97));
  EXPECT_EQ(fit_status(T, 4, x, x, a), 0);
}

TWIN_TEST(Apxcoef, OfAnOverflownTableReportsAPseudoRank) {
  // The first basis function is 0 throughout.
  constexpr int n = last_right<Real> + 1;
  const Basis<Real> T(n);
  const auto x = even<Real>(2 * n, -1, 1);
  Guarded<Real> a(n + 6);
  EXPECT_EQ(fit_status(T, n, x, x, a), n + 3);
  // Beyond, the table is not finite and nothing fits.
  for (const int beyond : {1, 2, 3, 4, 7, 10, 50}) {
    const auto data = even<Real>(2 * (n + beyond), -1, 1);
    EXPECT_EQ(abscissae_status(n + beyond, data), 1) << beyond;
  }
}

TWIN_TEST(Apxcoef, LaysOutTheMappingBehindTheCoefficients) {
  const Basis<Real> T(2);
  const auto x = even<Real>(9, 3, 8);
  const auto a = fit(T, 2, x, x);
  EXPECT_EQ(Guarded<Real>(a)[6], Real(5.5));
  EXPECT_EQ(Guarded<Real>(a)[7], Real(2.5));
}

TWIN_TEST(Apxcoef, GivesTheBitsOfItsDefinition) {
  Random random(91);
  std::array<int, 4> met = {};
  for (int round = 0; round < 400; ++round) {
    const int n = random.integer(1, 14), m = n + 4 + random.integer(0, round % 4 == 0 ? 0 : 90);
    const Basis<Real> T(n);
    const double cm = random.real(-3, 3),
                 hw = std::exp(random.real(-3, 3)) * (random.chance(5) ? -1 : 1);
    auto x = spread<Real>(random, m, cm - hw, cm + hw);
    if (random.chance(4)) {  // neighbours about as close as may be
      const auto i = at(random.integer(1, m - 2));
      x[i] = static_cast<Real>(x[i - 1] + hw * tolerance_of<Real> * random.real(0.8, 1.2));
    }
    if (random.chance(6))  // an empty interval
      for (std::size_t i = 1; i < at(m / 2); ++i)
        x[i] = static_cast<Real>(x[0] + (double(x.back()) - x[0]) * double(i) / (2.0 * m * n));
    const auto y = noise<Real>(random, m);
    Guarded<Real> a(n + 6), expected(n + 6);
    const int status = fit_status(T, n, x, y, a),
              wanted = releasing([&] { return plain_apxcoef(T.table(), n, x, y, expected.data()); });
    ASSERT_EQ(status, wanted) << "n = " << n << ", m = " << m;
    for (int j = 0; j < n + 6; ++j)
      ASSERT_SAME(a[j], expected[j]) << j << " of n = " << n << ", m = " << m;
    ++met[status == 0 ? 0 : status == -4 ? 1 : status > 0 ? 2 : 3];
  }
  EXPECT_GT(met[0], 200);
  EXPECT_GT(met[1], 20);
  EXPECT_GT(met[2], 5);
  EXPECT_EQ(met[3], 0);
}

// -- fits: properties -------------------------------------------------------------------------------

/// As many abscissae as coefficients, at the best places: the knots, and a point in the first and in
/// the last interval.
template <class Real>
std::vector<Real> telling_abscissae(int n, double first, double last) {
  auto x = even<Real>(n + 2, first, last);
  x.insert(x.begin() + 1, (x[0] + x[1]) / 2);
  x.insert(x.end() - 1, (x[at(n + 1)] + x[at(n + 2)]) / 2);
  return x;
}

// The residual comes from the backward error of the solver, a few roundings of the coefficients.
TWIN_TEST(Apxcoef, InterpolatesAsManyPointsAsCoefficients) {
  Random random(92);
  Worst worst;
  for (int n = 1; n <= 60; ++n) {
    const Basis<Real> T(n);
    const auto x = telling_abscissae<Real>(n, -3, 2);
    const auto y = noise<Real>(random, n + 4);
    auto a = fit(T, n, x, y);
    Wide greatest = 0;
    for (int j = 0; j < n + 4; ++j) greatest = std::max(greatest, std::abs(Wide(a[j])));
    for (std::size_t i = 0; i < x.size(); ++i)
      worst.take(evaluate(T.table(), n, a.data(), x[i]).values.s - Wide(y[i]), greatest * eps_of<Real>);
  }
  std::printf("interpolation: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 4);
}

// Evenly spaced points tell the basis functions apart the less, the more there are.
TWIN_TEST(Apxcoef, InterpolatesEvenlySpacedPointsUpToSoManyKnotsAndRefusesThemBeyond) {
  constexpr int most = sizeof(Real) == 4 ? 37 : 88;
  for (const double spacing : {1.0, 0.1, 7.3})
    for (int n = 1; n <= most + 25; ++n) {
      const auto x = even<Real>(n + 4, -1, -1 + spacing * (n + 3));
      const int status = abscissae_status(n, x);
      if (n <= most)
        EXPECT_EQ(status, 0) << "n = " << n << ", spacing " << spacing;
      else
        EXPECT_GT(status, 0) << "n = " << n << ", spacing " << spacing;
    }
}

// The units are the magnitudes of the cubic and its derivatives over the data, times sqrt(m) for the
// number of roundings, times n and n^2 for the derivatives of a rounded knot value.
TWIN_TEST(Apxcoef, ReproducesCubics) {
  Random random(93);
  Worst values, slopes, curvatures;
  for (int round = 0; round < 200; ++round) {
    const int n = random.integer(1, 20), m = n + 4 + random.integer(0, 200);
    const Basis<Real> T(n);
    const double cm = random.real(-5, 5), hw = std::exp(random.real(-2, 2));
    const auto x =
        m < 2 * n + 8 ? even<Real>(m, cm - hw, cm + hw) : spread<Real>(random, m, cm - hw, cm + hw);
    std::array<Wide, 4> c{};
    for (Wide& v : c) v = random.real(-1, 1);
    const auto cubic = [&](Wide v) { return c[0] + v * (c[1] + v * (c[2] + v * c[3])); };
    std::vector<Real> y;
    for (const Real v : x) y.push_back(static_cast<Real>(cubic((v - Wide(cm)) / hw)));
    auto a = fit(T, n, x, y);
    for (int i = 0; i < 20; ++i) {
      const double v = random.real(x.front(), x.back());
      const Wide t = (v - Wide(cm)) / hw, unit = 4 * eps_of<Real>;
      const At got = evaluate(T.table(), n, a.data(), v);
      ASSERT_EQ(got.status, 0);
      values.take(got.values.s - cubic(t), unit);
      slopes.take(got.values.s1 - (c[1] + t * (2 * c[2] + 3 * t * c[3])) / hw, unit * (n + 1) / hw);
      curvatures.take(got.values.s2 - (2 * c[2] + 6 * t * c[3]) / (Wide(hw) * hw),
                      unit * (n + 1) * (n + 1) / (Wide(hw) * hw));
    }
  }
  std::printf("cubics: values %.3g, slopes %.3g, curvatures %.3g units\n", values.value, slopes.value,
              curvatures.value);
  EXPECT_LE(values.value, 15);
  EXPECT_LE(slopes.value, 20);
  EXPECT_LE(curvatures.value, 30);
}

/// The greatest |sum over i of B[j](u[i]) r[i]| over all j, for the residuals r of a fit, divided by
/// the norms.
template <class Real>
double normal_equations_missed(int n, const std::vector<Real>& x, const std::vector<Real>& y) {
  const Basis<Real> T(n);
  auto a = fit(T, n, x, y);
  const double cm = a[n + 4], hw = a[n + 5];
  std::vector<Wide> r;
  Wide size = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    r.push_back(evaluate(T.table(), n, a.data(), x[i]).values.s - Wide(y[i]));
    size += Wide(y[i]) * y[i];
  }
  Worst worst;
  for (int j = 0; j < n + 4; ++j) {
    Wide sum = 0, column = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const Wide B = plain_basis(T.table(), n, j, std::clamp(plain_map(cm, hw, x[i]), 0.0, 2.0)).s;
      sum += B * r[i];
      column += B * B;
    }
    worst.take(sum, std::sqrt(column * size) * eps_of<Real>);
  }
  return worst.value;
}

// The residuals of the least-squares solution are orthogonal to every basis function.
TWIN_TEST(Apxcoef, LeavesResidualsOrthogonalToTheBasis) {
  Random random(94);
  Worst worst;
  for (int round = 0; round < 100; ++round) {
    const int n = random.integer(1, 20), m = 3 * n + random.integer(8, 200);
    worst.take(normal_equations_missed(n, spread<Real>(random, m, -4, 3), noise<Real>(random, m)), 1);
  }
  const auto [x, y] = titanium<Real>();
  for (const int n : {5, 12, 20}) worst.take(normal_equations_missed(n, x, y), 1);
  std::printf("normal equations: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 8);
}

TWIN_TEST(Apxcoef, FitsNoWorseWithEveryIntervalHalved) {
  const auto [x, y] = titanium<Real>();
  double before = inf;
  for (const int n : {1, 3, 7, 15, 31}) {
    const Basis<Real> T(n);
    auto a = fit(T, n, x, y);
    double sum = 0;
    for (std::size_t i = 0; i < x.size(); ++i)
      sum += std::pow(evaluate(T.table(), n, a.data(), x[i]).values.s - y[i], 2);
    EXPECT_LT(sum, before) << n;
    before = sum;
  }
}

TWIN_TEST(Apxcoef, FitsDescendingAbscissaeAsWell) {
  Random random(95);
  Worst worst;
  for (int round = 0; round < 50; ++round) {
    const int n = random.integer(1, 12), m = 2 * n + random.integer(8, 60);
    const Basis<Real> T(n);
    auto x = spread<Real>(random, m, 1, 5), y = noise<Real>(random, m);
    auto up = fit(T, n, x, y);
    std::reverse(x.begin(), x.end());
    std::reverse(y.begin(), y.end());
    auto down = fit(T, n, x, y);
    EXPECT_EQ(down[n + 5], -up[n + 5]);
    for (int i = 0; i < 20; ++i) {
      const double v = random.real(1, 5);
      const Values a = evaluate(T.table(), n, up.data(), v).values,
                   b = evaluate(T.table(), n, down.data(), v).values;
      worst.take(Wide(a.s) - b.s, eps_of<Real>);
      worst.take(Wide(a.s1) - b.s1, eps_of<Real> * (n + 1));
      worst.take(Wide(a.s2) - b.s2, eps_of<Real> * (n + 1) * (n + 1));
    }
  }
  std::printf("descending: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 50);
}

// -- one point ----------------------------------------------------------------------------------------

/// n + 6 random coefficients over a mapping.
template <class Real>
std::vector<Real> any_coefficients(Random& random, int n, double cm, double hw) {
  auto a = noise<Real>(random, n + 4, 3);
  a.push_back(static_cast<Real>(cm));
  a.push_back(static_cast<Real>(hw));
  return a;
}

/// A point of the fitted range, often a knot, an end, one just beside these or beyond the ends.
template <class Real>
double random_point(Random& random, int n, const std::vector<Real>& a) {
  double u = random.real(0, 2);
  if (random.chance(3)) u = random.integer(0, n + 1) * (2.0 / (n + 1));
  if (random.chance(8))
    u = random.chance(2) ? -tolerance_of<Real> * random.real(0, 1.5)
                         : 2 + tolerance_of<Real> * random.real(0, 1.5);
  const double v = a[at(n + 4)] + (u - 1) * a[at(n + 5)];
  return random.chance(4) ? std::nextafter(v, random.chance(2) ? inf : -inf) : v;
}

TWIN_TEST(Apxval, GivesTheBitsOfItsDefinition) {
  Random random(96);
  int refused = 0;
  for (const int n : {1, 2, 3, 4, 5, 8, 13, 30, 63, 100, 253, 254, 255, 300}) {
    const AnyTable<Real> T(random, n);
    for (int round = 0; round < 300; ++round) {
      const auto a = any_coefficients<Real>(random, n, random.real(-2, 2),
                                            std::exp(random.real(-1, 1)) * (random.chance(4) ? -1 : 1));
      const double v = random_point(random, n, a);
      Values expected{};
      const int status = plain_apxval(T.table(), n, a.data(), v, expected);
      const At got = evaluate(T.table(), n, a.data(), v);
      ASSERT_EQ(got.status, status) << "n = " << n << ", v = " << shown(v);
      refused += status != 0;
      if (status != 0) continue;
      ASSERT_SAME(got.values.s, expected.s) << "n = " << n << ", v = " << shown(v);
      ASSERT_SAME(got.values.s1, expected.s1) << "n = " << n << ", v = " << shown(v);
      ASSERT_SAME(got.values.s2, expected.s2) << "n = " << n << ", v = " << shown(v);
    }
  }
  EXPECT_GT(refused, 50);
}

TWIN_TEST(Apxval, WritesWhatIsWantedAndNothingElse) {
  Random random(97);
  const AnyTable<Real> T(random, 5);
  const auto a = any_coefficients<Real>(random, 5, 1, 2);
  const Values all = evaluate(T.table(), 5, a.data(), 0.3).values;
  for (int wanted = 0; wanted < 8; ++wanted) {
    Guarded<double> s(1), s1(1), s2(1);
    EXPECT_EQ(AX_apxval(T.table(), 5, a.data(), 0.3, wanted & 1 ? s.data() : nullptr,
                        wanted & 2 ? s1.data() : nullptr, wanted & 4 ? s2.data() : nullptr),
              AX_APXVAL_OK);
    EXPECT_SAME(s[0], wanted & 1 ? all.s : Guarded<double>::poison());
    EXPECT_SAME(s1[0], wanted & 2 ? all.s1 : Guarded<double>::poison());
    EXPECT_SAME(s2[0], wanted & 4 ? all.s2 : Guarded<double>::poison());
  }
}

TWIN_TEST(Apxval, RefusesPointsBeyondTheBandAndNaN) {
  Random random(98);
  const AnyTable<Real> T(random, 3);
  const auto a = any_coefficients<Real>(random, 3, 4, 2);
  for (const double v : {not_a_number, inf, -inf, 1.99, 6.01, 2 - 2 * 1.01 * tolerance_of<Real>,
                         6 + 2 * 1.01 * tolerance_of<Real>})
    EXPECT_EQ(evaluate(T.table(), 3, a.data(), v).status, AX_APXVAL_OUT_OF_RANGE) << v;
  // A half-width of 0 maps its own centre to NaN.
  const auto empty = any_coefficients<Real>(random, 3, 4, 0);
  EXPECT_EQ(evaluate(T.table(), 3, empty.data(), 4).status, AX_APXVAL_OUT_OF_RANGE);
}

TWIN_TEST(Apxval, TakesTheBandToTheLastBitAtBothEnds) {
  Random random(99);
  const AnyTable<Real> T(random, 3);
  constexpr bool single = sizeof(Real) == 4;
  const auto inside = [](double u) {
    return u >= (single ? -2e-5 : -2e-9) && u <= (single ? 2.00002 : 2.000000002);
  };
  for (const double hw : {1.0, 8.0, 0.25, -2.0})
    for (const double cm : {0.0, 1.0, -5.5})
      for (const int end : {-1, 1}) {
        const auto a = any_coefficients<Real>(random, 3, cm, hw);
        const Values at_end = evaluate(T.table(), 3, a.data(), cm + end * hw).values;
        const double far = cm + end * hw * (1 + 2 * tolerance_of<Real>);
        const auto outside = [&](double v) { return !inside(plain_map(cm, hw, v)); };
        const double beyond = edge(cm + end * hw, far, outside), last = std::nextafter(beyond, cm);
        const At got = evaluate(T.table(), 3, a.data(), last);
        ASSERT_EQ(got.status, AX_APXVAL_OK) << shown(last);
        EXPECT_EQ(evaluate(T.table(), 3, a.data(), beyond).status, AX_APXVAL_OUT_OF_RANGE)
            << shown(beyond);
        EXPECT_SAME(got.values.s, at_end.s);
        EXPECT_SAME(got.values.s1, at_end.s1);
        EXPECT_SAME(got.values.s2, at_end.s2);
        EXPECT_NEAR(std::abs(last - cm), std::abs(hw) * (1 + tolerance_of<Real>), 1e-12);
      }
}

TWIN_TEST(Apxval, AcceptsTheFirstAndLastAbscissaAndGivesTheirEndCoefficients) {
  Random random(100);
  for (int n = 1; n <= 20; ++n) {
    const Basis<Real> T(n);
    const auto x = spread<Real>(random, 3 * n + 8, random.real(-2, 0), random.real(1, 3)),
               y = noise<Real>(random, 3 * n + 8);
    auto a = fit(T, n, x, y);
    const At left = evaluate(T.table(), n, a.data(), x.front()),
             right = evaluate(T.table(), n, a.data(), x.back());
    ASSERT_EQ(left.status, 0);
    ASSERT_EQ(right.status, 0);
    const double scale = 100 * n * n * eps_of<Real>;
    EXPECT_NEAR(left.values.s, a[1], scale);
    EXPECT_NEAR(left.values.s1 * a[n + 5], a[0], scale);
    EXPECT_NEAR(right.values.s, a[n + 2], scale);
    EXPECT_NEAR(right.values.s1 * a[n + 5], a[n + 3], scale);
  }
}

// A basis function is a sum of terms, and these may cancel. So the first unit is a rounding of the sum
// of the magnitudes of all terms of all basis functions. Values and slopes of the combined form agree
// with the sum over the basis to two of these. A curvature is little more than two sums over the table,
// with several roundings each. The second unit has the magnitudes of the functions in place of the
// terms: there the differences are larger, since functions are small where their terms cancel.
TWIN_TEST(Apxval, AgreesWithTheSumOverTheBasis) {
  Random random(101);
  std::array<Worst, 3> by_terms, by_functions;
  for (int n = 1; n <= 60; ++n) {
    const Basis<Real> T(n);
    for (int round = 0; round < 60; ++round) {
      const auto a =
          any_coefficients<Real>(random, n, random.real(-2, 2), std::exp(random.real(-1, 1)));
      const double cm = a[at(n + 4)], hw = a[at(n + 5)], v = cm + hw * random.real(-1, 1),
                   u = std::clamp(plain_map(cm, hw, v), 0.0, 2.0);
      const Place p = plain_place(n, u);
      const Wide t = p.t, rest = 1 - t;
      const std::array<Wide, 3> scale = {1, hw, Wide(hw) * hw};
      std::array<Wide, 3> sum{}, functions{}, terms{};
      for (int j = 0; j < n + 4; ++j) {
        const Values B = plain_basis(T.table(), n, j, u);
        const Wide left = std::abs(T[j][p.k]), right = std::abs(T[j][p.k + 1]), e1 = j == p.k + 1,
                   e2 = j == p.k + 2;
        const std::array<Wide, 3> function = {B.s, B.s1, B.s2},
                                  term = {(e1 + p.g * (1 + rest) * t * left) * rest +
                                              (e2 + p.g * (1 + t) * rest * right) * t,
                                          (right * t * t + left * rest * rest) * p.h / 2 +
                                              ((left + right) * p.g + e1 + e2) / p.h,
                                          left * rest + right * t};
        for (std::size_t d = 0; d < 3; ++d) {
          sum[d] += a[at(j)] * function[d] / scale[d];
          functions[d] += std::abs(a[at(j)] * function[d] / scale[d]);
          terms[d] += std::abs(a[at(j)] * term[d] / scale[d]);
        }
      }
      const Values got = evaluate(T.table(), n, a.data(), v).values;
      const std::array<double, 3> values = {got.s, got.s1, got.s2};
      for (std::size_t d = 0; d < 3; ++d) {
        by_terms[d].take(values[d] - sum[d], terms[d] * eps_of<double>);
        by_functions[d].take(values[d] - sum[d], functions[d] * eps_of<double>);
      }
    }
  }
  for (std::size_t d = 0; d < 3; ++d)
    std::printf("derivative %d: %.3g units by terms, %.3g by functions\n", static_cast<int>(d),
                by_terms[d].value, by_functions[d].value);
  EXPECT_LE(by_terms[0].value, 2);
  EXPECT_LE(by_terms[1].value, 2);
  EXPECT_LE(by_terms[2].value, 5);
  EXPECT_LE(by_functions[0].value, 8);
  EXPECT_LE(by_functions[1].value, 30);
  EXPECT_LE(by_functions[2].value, 20);
}

// -- many points ----------------------------------------------------------------------------------

TWIN_TEST(Apxvals, RefusesNoPoints) {
  Random random(102);
  const AnyTable<Real> T(random, 2);
  const auto a = any_coefficients<Real>(random, 2, 0, 1);
  Guarded<Real> s(3);
  const Real v[] = {0};
  for (const int m : {0, -1, INT_MIN})
    EXPECT_EQ(AX_apxvals(T.table(), 2, a.data(), m, v, s.data(), s.data(), s.data()),
              AX_APXVALS_BAD_SIZE);
  EXPECT_TRUE(s.untouched_from(0));
}

TWIN_TEST(Apxvals, GivesWhatSinglePointsGiveForAnyNumberOfPoints) {
  // With more than 256 knots, or fewer points than knots, second derivatives are formed in another way.
  Random random(103);
  for (const int n : {1, 2, 5, 17, 60, 253, 254, 255, 280}) {
    const AnyTable<Real> T(random, n);
    const auto a = any_coefficients<Real>(random, n, random.real(-2, 2), std::exp(random.real(-1, 1)));
    for (const int m : {1, 2, n + 1, n + 2, n + 3, 3 * n + 20})
      for (const bool sorted : {false, true}) {
        std::vector<Real> v;
        for (int i = 0; i < m; ++i)
          v.push_back(static_cast<Real>(a[at(n + 4)] + a[at(n + 5)] * random.real(-0.999, 0.999)));
        if (m > 3) v[at(m / 2)] = v[at(m / 2 - 1)];
        if (sorted) std::sort(v.begin(), v.end());
        Guarded<Real> s(m), s1(m), s2(m);
        ASSERT_EQ(AX_apxvals(T.table(), n, a.data(), m, v.data(), s.data(), s1.data(), s2.data()),
                  AX_APXVALS_OK);
        ASSERT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
        for (int i = 0; i < m; ++i) {
          const Values one = evaluate(T.table(), n, a.data(), v[at(i)]).values;
          ASSERT_SAME(s[i], static_cast<Real>(one.s)) << i << " of " << m << ", n = " << n;
          ASSERT_SAME(s1[i], static_cast<Real>(one.s1)) << i << " of " << m << ", n = " << n;
          ASSERT_SAME(s2[i], static_cast<Real>(one.s2)) << i << " of " << m << ", n = " << n;
        }
      }
  }
}

TWIN_TEST(Apxvals, WritesWhatIsWantedAndMayOverwriteThePoints) {
  Random random(104);
  const AnyTable<Real> T(random, 4);
  const auto a = any_coefficients<Real>(random, 4, 1, 2);
  for (const int m : {3, 40}) {
    const auto v = spread<Real>(random, m, -0.9, 2.9);
    Guarded<Real> s(m), s1(m), s2(m);
    ASSERT_EQ(AX_apxvals(T.table(), 4, a.data(), m, v.data(), s.data(), s1.data(), s2.data()), 0);
    const std::array<Guarded<Real>*, 3> all = {&s, &s1, &s2};
    for (unsigned wanted = 0; wanted < 8; ++wanted) {
      std::array<Guarded<Real>, 3> out = {Guarded<Real>(m), Guarded<Real>(m), Guarded<Real>(m)};
      const auto pointer = [&](unsigned d) { return wanted >> d & 1 ? out[d].data() : nullptr; };
      ASSERT_EQ(AX_apxvals(T.table(), 4, a.data(), m, v.data(), pointer(0), pointer(1), pointer(2)), 0);
      for (unsigned d = 0; d < 3; ++d)
        for (int i = 0; i < m; ++i)
          EXPECT_SAME(out[d][i], wanted >> d & 1 ? (*all[d])[i] : Guarded<Real>::poison());
    }
    for (unsigned d = 0; d < 3; ++d) {
      auto both = v;
      ASSERT_EQ(AX_apxvals(T.table(), 4, a.data(), m, both.data(), d == 0 ? both.data() : nullptr,
                           d == 1 ? both.data() : nullptr, d == 2 ? both.data() : nullptr),
                0);
      for (int i = 0; i < m; ++i) EXPECT_SAME(both[at(i)], (*all[d])[i]);
    }
  }
}

TEST(Apxvals_f, StopsAtTheFirstPointThatIsRefused) {
  Random random(105);
  const AnyTable<float> T(random, 4);
  const auto a = any_coefficients<float>(random, 4, 1, 2);
  for (const int m : {3, 40})
    for (const int bad : {0, 1, m / 2, m - 1})
      for (const float odd : {3.1F, -1.1F, nan_of<float>}) {
        auto v = spread<float>(random, m, -0.9, 2.9);
        v[at(bad)] = odd;
        if (bad + 2 < m) v[at(bad + 2)] = odd;
        Guarded<float> s(m), s1(m), s2(m);
        EXPECT_EQ(AX_apxvals(T.table(), 4, a.data(), m, v.data(), s.data(), s1.data(), s2.data()),
                  AX_APXVALS_OUT_OF_RANGE);
        EXPECT_TRUE(s.untouched_from(bad) && s1.untouched_from(bad) && s2.untouched_from(bad));
        for (int i = 0; i < bad; ++i)
          EXPECT_SAME(s[i], static_cast<float>(evaluate(T.table(), 4, a.data(), v[at(i)]).values.s));
      }
}

TEST(Apxvals_d, RepeatsThePointBeforeOneThatIsRefused) {
  Random random(106);
  const AnyTable<double> T(random, 4);
  const auto a = any_coefficients<double>(random, 4, 1, 2);
  for (const int m : {4, 40})
    for (const double odd : {3.1, -1.1, not_a_number}) {
      auto v = spread<double>(random, m, -0.9, 2.9);
      v[1] = v[2] = v[at(m - 1)] = odd;
      Guarded<double> s(m), s1(m), s2(m);
      EXPECT_EQ(AX_apxvals(T.table(), 4, a.data(), m, v.data(), s.data(), s1.data(), s2.data()),
                AX_APXVALS_OK);
      v[1] = v[2] = v[0];
      v[at(m - 1)] = v[at(m - 2)];
      for (int i = 0; i < m; ++i) {
        const Values one = evaluate(T.table(), 4, a.data(), v[at(i)]).values;
        EXPECT_SAME(s[i], one.s) << i << " of " << m;
        EXPECT_SAME(s1[i], one.s1) << i << " of " << m;
        EXPECT_SAME(s2[i], one.s2) << i << " of " << m;
      }
    }
}

TEST(Apxvals_d, GoesOnAfterAFirstPointThatIsRefused) {
  // The results of the refused point are unspecified; those of the points after it are right.
  Random random(107);
  const AnyTable<double> T(random, 4);
  const auto a = any_coefficients<double>(random, 4, 1, 2);
  const double v[] = {9, 0.5};
  Guarded<double> s(2);
  EXPECT_EQ(AX_apxvals(T.table(), 4, a.data(), 2, v, s.data(), nullptr, nullptr), AX_APXVALS_OK);
  EXPECT_FALSE(s.untouched(0));
  EXPECT_SAME(s[1], evaluate(T.table(), 4, a.data(), 0.5).values.s);
}

// -- smoothing --------------------------------------------------------------------------------------

/// The statistics of values f at the data, in sums of long double.
template <class Real>
std::pair<double, double> statistics(const Real* f, const std::vector<Real>& y) {
  Wide sum = 0, greatest = 0;
  for (std::size_t i = 0; i < y.size(); ++i) {
    const Wide r = std::abs(Wide(f[i]) - y[i]);
    sum += r * r;
    greatest = std::max(greatest, r);
  }
  return {static_cast<double>(std::sqrt(sum / y.size())), static_cast<double>(greatest)};
}

TWIN_TEST(Splsmoo, RefusesBadSizesBeforeAnyAllocation) {
  const auto x = even<Real>(10, 0, 1);
  Guarded<Real> s(12), s1(10), s2(10);
  for (const auto& sizes : std::vector<std::pair<int, int>>{
           {0, 10}, {-1, 10}, {INT_MIN, 10}, {7, 10}, {INT_MAX, 10}, {1, 4}, {1, 0}, {1, INT_MIN}}) {
    const int n = sizes.first, m = sizes.second;
    const Account account = probe([&] {
      EXPECT_EQ(AX_splsmoo(n, m, x.data(), x.data(), s.data(), s1.data(), s2.data()),
                AX_SPLSMOO_BAD_SIZE)
          << n << ", " << m;
      EXPECT_EQ(AX_splvals(n, m, x.data(), x.data(), 3, x.data(), s.data(), s1.data(), s2.data()),
                AX_SPLSMOO_BAD_SIZE)
          << n << ", " << m;
    });
    EXPECT_EQ(account.requests, 0);
  }
  for (const int k : {0, -1, INT_MIN})
    EXPECT_EQ(AX_splvals(3, 10, x.data(), x.data(), k, x.data(), s.data(), s1.data(), s2.data()),
              AX_SPLSMOO_BAD_SIZE);
  EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0));
}

TWIN_TEST(Splsmoo, PassesTheStatusOfTheFitOnAndWritesNothing) {
  auto repeated = even<Real>(12, 0, 1);
  repeated[5] = repeated[4];
  auto crowded = even<Real>(12, 0, 0.1);
  crowded.back() = 1;
  Guarded<Real> s(14), s1(12), s2(12);
  const auto smooth = [&](int n, const std::vector<Real>& x) {
    return releasing(
        [&] { return AX_splsmoo(n, 12, x.data(), x.data(), s.data(), s1.data(), s2.data()); });
  };
  const auto values = [&](int n, const std::vector<Real>& x) {
    return releasing([&] {
      return AX_splvals(n, 12, x.data(), x.data(), 3, x.data(), s.data(), s1.data(), s2.data());
    });
  };
  EXPECT_EQ(smooth(4, repeated), AX_APXCOEF_BAD_ABSCISSAE);
  EXPECT_EQ(values(4, repeated), AX_APXCOEF_BAD_ABSCISSAE);
  EXPECT_EQ(smooth(4, crowded), 5);
  EXPECT_EQ(values(4, crowded), 5);
  EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0));
}

TWIN_TEST(Splsmoo, IsTheFitEvaluatedAtItsData) {
  Random random(108);
  Worst worst;
  for (int round = 0; round < 60; ++round) {
    const int n = random.integer(1, 12), m = 2 * n + random.integer(8, 120);
    const auto x = spread<Real>(random, m, -1, random.real(0, 5)), y = noise<Real>(random, m);
    const Basis<Real> T(n);
    auto a = fit(T, n, x, y);
    Guarded<Real> f(m), f1(m), f2(m);
    ASSERT_EQ(AX_apxvals(T.table(), n, a.data(), m, x.data(), f.data(), f1.data(), f2.data()), 0);
    Guarded<Real> s(m + 2), s1(m), s2(m);
    ASSERT_EQ(AX_splsmoo(n, m, x.data(), y.data(), s.data(), random.chance(2) ? s1.data() : nullptr,
                         random.chance(2) ? s2.data() : nullptr),
              AX_SPLSMOO_OK);
    ASSERT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
    for (int i = 0; i < m; ++i) {
      ASSERT_SAME(s[i], f[i]);
      ASSERT_TRUE(s1.untouched(i) ? s1.untouched_from(0) : same_bits(s1[i], f1[i])) << i;
      ASSERT_TRUE(s2.untouched(i) ? s2.untouched_from(0) : same_bits(s2[i], f2[i])) << i;
    }
    const auto [rms, greatest] = statistics(f.data(), y);
    worst.take(s[m] - Wide(rms), rms * eps_of<Real>);
    EXPECT_SAME(s[m + 1], static_cast<Real>(greatest));
  }
  // A sum of up to 150 squares in double, and one rounding to the element type.
  std::printf("root mean square: %.3g roundings\n", worst.value);
  EXPECT_LE(worst.value, 4);
}

TWIN_TEST(Splsmoo, InterpolatesWithAsManyCoefficientsAsPoints) {
  for (const int m : {5, 9, 20}) {
    const auto x = even<Real>(m, 2, 7);
    std::vector<Real> y;
    for (int i = 0; i < m; ++i) y.push_back(static_cast<Real>(i % 3));
    Guarded<Real> s(m + 2);
    ASSERT_EQ(AX_splsmoo(m - 4, m, x.data(), y.data(), s.data(), nullptr, nullptr), AX_SPLSMOO_OK);
    EXPECT_LE(s[m + 1], 200 * eps_of<Real>) << m;
    EXPECT_LE(s[m], s[m + 1]) << m;
    for (int i = 0; i < m; ++i) EXPECT_NEAR(s[i], y[at(i)], 200 * eps_of<Real>) << i << " of " << m;
  }
}

TWIN_TEST(Splvals, IsTheFitEvaluatedAtThePointsWithTheStatisticsOfTheData) {
  Random random(109);
  for (int round = 0; round < 60; ++round) {
    const int n = random.integer(1, 12), m = 2 * n + random.integer(8, 60),
              k = round % 5 == 0 ? 1 : random.integer(1, 130), size = std::max(m, k + 2);
    const auto x = spread<Real>(random, m, -1, 4), y = noise<Real>(random, m);
    std::vector<Real> v;
    for (int i = 0; i < k; ++i) v.push_back(static_cast<Real>(random.real(-0.99, 3.99)));
    const Basis<Real> T(n);
    auto a = fit(T, n, x, y);
    Guarded<Real> f(k), f1(k), f2(k), smooth(m + 2), s(size), s1(k), s2(k);
    ASSERT_EQ(AX_apxvals(T.table(), n, a.data(), k, v.data(), f.data(), f1.data(), f2.data()), 0);
    ASSERT_EQ(AX_splsmoo(n, m, x.data(), y.data(), smooth.data(), nullptr, nullptr), 0);
    ASSERT_EQ(
        AX_splvals(n, m, x.data(), y.data(), k, v.data(), s.data(),
                   random.chance(2) ? s1.data() : nullptr, random.chance(2) ? s2.data() : nullptr),
        AX_SPLSMOO_OK);
    ASSERT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
    for (int i = 0; i < k; ++i) {
      ASSERT_SAME(s[i], f[i]);
      ASSERT_TRUE(s1.untouched(i) ? s1.untouched_from(0) : same_bits(s1[i], f1[i])) << i;
      ASSERT_TRUE(s2.untouched(i) ? s2.untouched_from(0) : same_bits(s2[i], f2[i])) << i;
    }
    ASSERT_SAME(s[k], smooth[m]);
    ASSERT_SAME(s[k + 1], smooth[m + 1]);
    // Behind the statistics stand values at the data.
    for (int i = k + 2; i < size; ++i) ASSERT_SAME(s[i], smooth[i]);
  }
}

TWIN_TEST(Splvals, PutsTheStatisticsBehindOnePoint) {
  const auto x = even<Real>(10, 0, 9);
  const Real v[] = {4.5};
  std::vector<Real> y;
  for (int i = 0; i < 10; ++i) y.push_back(static_cast<Real>(i % 2));
  Guarded<Real> s(10);
  ASSERT_EQ(AX_splvals(1, 10, x.data(), y.data(), 1, v, s.data(), nullptr, nullptr), AX_SPLSMOO_OK);
  EXPECT_TRUE(s.zones_intact());
  // The data alternate. By symmetry the fit passes through 1/2 at 4.5, and misses the data by about
  // 1/2.
  EXPECT_NEAR(s[0], 0.5, 20 * eps_of<Real>);
  EXPECT_GT(s[1], 0.3);
  EXPECT_LT(s[1], 0.5);
  EXPECT_GT(s[2], s[1]);
  EXPECT_LT(s[2], 1);
}

TWIN_TEST(Splvals, ReturnsZeroForPointsOutsideTheData) {
  const auto x = even<Real>(10, 0, 9);
  const Real v[] = {2, 11, 3};
  Guarded<Real> s(10), s1(3);
  ASSERT_EQ(AX_splvals(2, 10, x.data(), x.data(), 3, v, s.data(), s1.data(), nullptr), AX_SPLSMOO_OK);
  EXPECT_NEAR(s[0], 2, 100 * eps_of<Real>);
  if (sizeof(Real) == 4) {
    // The evaluation ended there: s holds the values at the data.
    EXPECT_NEAR(s[1], 1, 100 * eps_of<Real>);
    EXPECT_NEAR(s[2], 2, 100 * eps_of<Real>);
    EXPECT_TRUE(s1.untouched_from(1));
  } else {
    EXPECT_SAME(s[1], s[0]);
    EXPECT_SAME(s1[1], s1[0]);
    EXPECT_NEAR(s[2], 3, 100 * eps_of<Real>);
  }
  EXPECT_LE(s[4], 100 * eps_of<Real>);
}

TEST(Splsmoo_f, LeavesValuesUnwrittenWhereTheDataLieFarFromZero) {
  std::vector<float> x;
  for (int i = 0; i < 12; ++i) x.push_back(10000.0F + static_cast<float>(i));
  x.back() += 3.0F / 1024;
  std::vector<float> s(14, -7.0F);
  EXPECT_EQ(AX_splsmoo(2, 12, x.data(), x.data(), s.data(), static_cast<float*>(nullptr), nullptr), 0);
  // The first abscissa is refused: no value is written, and the statistics are those of the old
  // contents of s.
  for (int i = 0; i < 12; ++i) EXPECT_EQ(s[at(i)], -7);
  EXPECT_NEAR(s[13], 10018, 0.01);
  // The remedy: the abscissae less a constant near their middle.
  for (float& v : x) v -= 10006;
  Guarded<float> shifted(14);
  EXPECT_EQ(
      AX_splsmoo(2, 12, x.data(), x.data(), shifted.data(), static_cast<float*>(nullptr), nullptr), 0);
  for (int i = 0; i < 12; ++i) EXPECT_NEAR(shifted[i], x[at(i)], 1e-5);
}

TWIN_TEST(Splsmoo, SmoothsTheTitaniumTable) {
  const auto [x, y] = titanium<Real>();
  Guarded<Real> s(51);
  double before = inf;
  for (const int n : {3, 7, 15, 31}) {  // each interval halved: the spaces contain one another
    ASSERT_EQ(AX_splsmoo(n, 49, x.data(), y.data(), s.data(), static_cast<Real*>(nullptr), nullptr), 0);
    EXPECT_LT(s[49], before);
    EXPECT_LE(s[49], s[50]);
    before = s[49];
  }
}

}  // namespace

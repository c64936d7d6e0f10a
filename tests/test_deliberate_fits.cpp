// tests/test_deliberate_fits.cpp - solvers and fits: behaviour that looks like a mistake and is not.
#include <cmath>
#include <utility>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/twins.hpp"

namespace {

template <class Real>
inline constexpr bool is_double = sizeof(Real) == 8;

constexpr std::size_t slot = sizeof(void*);

/// Columns of m elements and the pointers to them.
template <class Real>
struct Columns {
  std::vector<std::vector<Real>> columns;
  std::vector<Real*> slots;
  explicit Columns(std::vector<std::vector<Real>> elements) : columns(std::move(elements)) {
    for (auto& column : columns) slots.push_back(column.data());
  }
  Columns(const Columns& other) : Columns(other.columns) {}
  Columns& operator=(const Columns&) = delete;
};

/// The powers 0 to 5 of 0 to 12, scaled to at most 1, and b = their sum.
template <class Real>
Columns<Real> powers() {
  std::vector<std::vector<Real>> columns(7, std::vector<Real>(13, Real(0)));
  for (std::size_t i = 0; i < 13; ++i) {
    double sum = 0;
    for (std::size_t j = 0; j < 6; ++j) {
      columns[j][i] = static_cast<Real>(std::pow(static_cast<double>(i) / 12, static_cast<double>(j)));
      sum += columns[j][i];
    }
    columns[6][i] = static_cast<Real>(sum);
  }
  return Columns<Real>(columns);
}

// -- least squares --------------------------------------------------------------------------------

TWIN_TEST(Deliberate, LsItMakesOnePassInTheDoubleTwinAndGoesOnWhileItGainsInTheSingleOne) {
  const auto A = powers<Real>();
  std::vector<Real> x(6), r(13);
  Real rn = 0;
  int iter = 0;
  const int status =
      releasing([&] { return Ls_it(A.slots.data(), 13, 6, x.data(), r.data(), &rn, &iter); });
  ASSERT_EQ(status, LS_OK);
  // What another pass would give: the correction and the residual after it.
  auto next = A;
  next.columns[6] = r;
  next.slots[6] = next.columns[6].data();
  Real isolated = 0;
  ASSERT_EQ(Ls(next.slots.data(), 13, 6, &isolated), LS_OK);
  std::vector<Real> rest(13);
  for (std::size_t j = 0; j < 6; ++j) x[j] += next.columns[6][j];
  M_ltv(A.slots.data(), x.data(), A.slots[6], 13, 6, 2, rest.data());
  double further = 0;
  for (const Real v : rest) further += double(v) * double(v);
  if (is_double<Real>) {
    EXPECT_EQ(iter, 1);
    EXPECT_LT(further, 0.5 * rn) << "a second pass would pay";
  } else {
    EXPECT_GT(iter, 2);
  }
}

TWIN_TEST(Deliberate, LsItKeepsItsWorkingTableAfterSuccess) {
  const auto A = powers<Real>();
  std::vector<Real> x(6), r(13);
  Real rn = 0;
  int iter = 0, failed = 0;
  const Account account = probe([&] {
    for (int times = 0; times < 3; ++times)
      failed += Ls_it(A.slots.data(), 13, 6, x.data(), r.data(), &rn, &iter) != LS_OK;
  });
  EXPECT_EQ(failed, 0);
  EXPECT_EQ(account.kept, from_calloc(3 * 7, 3 * (7 * slot + std::size_t{6} * 13 * sizeof(Real))));
}

TWIN_TEST(Deliberate, LsItReleasesItsWorkingTableAfterAFailure) {
  const Columns<Real> zero({{0, 0}, {0, 0}, {1, 2}}), equal({{3, 4}, {3, 4}, {1, 2}});
  for (const Columns<Real>& A : {zero, equal}) {
    Real x[2], r[2], rn = 0;
    int iter = 0, status = 0;
    const Account account = probe([&] { status = Ls_it(A.slots.data(), 2, 2, x, r, &rn, &iter); });
    EXPECT_NE(status, LS_OK);
    EXPECT_EQ(account.kept, Usage{});
  }
}

// -- least-squares spline -------------------------------------------------------------------------

/// 0, 1, ..., m - 2 and ten times the range: the basis functions in the middle are 0 at all points.
template <class Real>
std::vector<Real> clustered(int m) {
  std::vector<Real> x;
  for (int i = 0; i < m; ++i) x.push_back(static_cast<Real>(i < m - 1 ? i : 10 * i));
  return x;
}

TWIN_TEST(Deliberate, ApxcoefKeepsItsScratchWhenTheSolverFails) {
  const int n = 8, m = 20;
  const auto x = clustered<Real>(m);
  Real** T = AX_d2fcs<Real>(n);
  Guarded<Real> a(n + 6);
  int status = 0;
  const Account account = probe([&] { status = AX_apxcoef(T, n, m, x.data(), x.data(), a.data()); });
  AX_freed2fcs(T);
  EXPECT_GT(status, 0);
  EXPECT_EQ(account.kept, from_calloc(2, (n + 5) * slot + std::size_t{m} * (n + 5) * sizeof(Real)));
  EXPECT_TRUE(a.untouched_from(0));
}

/// A spline over 0..2 with the values 1, 2, 4, 3 at its knots, slopes 0.
template <class Real>
struct Spline {
  static constexpr int n = 2;
  Real** T = AX_d2fcs<Real>(n);
  std::vector<Real> a = {0, 1, 2, 4, 3, 0, 1, 1};
  Spline() = default;
  ~Spline() { AX_freed2fcs(T); }
  Spline(const Spline&) = delete;
  Spline& operator=(const Spline&) = delete;
};

TEST(Deliberate, ApxvalsSingleTwinEndsAtThePointThatIsRefused) {
  const Spline<float> f;
  const float v[] = {0.5F, 9, 1, nan_of<float>, 2};
  Guarded<float> s(5), s1(5), s2(5);
  EXPECT_EQ(AX_apxvalsf(f.T, 2, f.a.data(), 5, v, s.data(), s1.data(), s2.data()),
            AX_APXVALS_OUT_OF_RANGE);
  for (Guarded<float>* const out : {&s, &s1, &s2})
    EXPECT_TRUE(!out->untouched(0) && out->untouched_from(1) && out->zones_intact());
}

TEST(Deliberate, ApxvalsDoubleTwinRepeatsThePointBeforeOneThatIsRefused) {
  const Spline<double> f;
  const double v[] = {0.5, 9, 1, nan_of<double>, -3, 2};
  const int stands_for[] = {0, 0, 2, 2, 2, 5};
  Guarded<double> s(6), s1(6), s2(6);
  EXPECT_EQ(AX_apxvalsd(f.T, 2, f.a.data(), 6, v, s.data(), s1.data(), s2.data()), AX_APXVALS_OK);
  for (int i = 0; i < 6; ++i) {
    double value = 0, slope = 0, curvature = 0;
    ASSERT_EQ(AX_apxvald(f.T, 2, f.a.data(), v[stands_for[i]], &value, &slope, &curvature),
              AX_APXVAL_OK);
    EXPECT_SAME(s[i], value) << i;
    EXPECT_SAME(s1[i], slope) << i;
    EXPECT_SAME(s2[i], curvature) << i;
  }
  EXPECT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
}

TEST(Deliberate, ApxvalsDoubleTwinReturnsZeroEvenIfEveryPointIsRefused) {
  const Spline<double> f;
  const double v[] = {-1, 3.5};
  double s[2];
  EXPECT_EQ(AX_apxvalsd(f.T, 2, f.a.data(), 2, v, s, nullptr, nullptr), AX_APXVALS_OK);
  const double first_refused[] = {-1, 0.5};
  double value = 0;
  EXPECT_EQ(AX_apxvald(f.T, 2, f.a.data(), 0.5, &value, nullptr, nullptr), AX_APXVAL_OK);
  EXPECT_EQ(AX_apxvalsd(f.T, 2, f.a.data(), 2, first_refused, s, nullptr, nullptr), AX_APXVALS_OK);
  EXPECT_SAME(s[1], value);
}

// -- smoothing ------------------------------------------------------------------------------------

TWIN_TEST(Deliberate, SmoothingKeepsTableAndCoefficientsWhateverRefusesTheFit) {
  const int n = 8, m = 20;
  const auto apart = clustered<Real>(m);
  std::vector<Real> repeated = apart;
  repeated[5] = repeated[4];
  const auto own = std::size_t{n + 5} * slot + (std::size_t{n + 2} * (n + 4) + n + 6) * sizeof(Real);
  const auto scratch = (n + 5) * slot + std::size_t{m} * (n + 5) * sizeof(Real);
  Guarded<Real> s(m + 2);
  Real* const no = nullptr;
  for (const std::vector<Real>& x : {apart, repeated})
    for (const bool at_points : {false, true}) {
      int status = 0;
      const Account account = probe([&] {
        status = at_points ? AX_splvals(n, m, x.data(), x.data(), 1, x.data(), s.data(), no, no)
                           : AX_splsmoo(n, m, x.data(), x.data(), s.data(), no, no);
      });
      const bool refused_by_the_fit = status == AX_APXCOEF_BAD_ABSCISSAE;
      EXPECT_EQ(refused_by_the_fit, x[4] == x[5]) << status;
      EXPECT_EQ(account.kept, refused_by_the_fit ? from_calloc(3, own) : from_calloc(5, own + scratch));
      EXPECT_TRUE(s.untouched_from(0));
    }
}

// NaN among the ordinates makes every residual NaN. NaN exceeds nothing, so the smoothers keep the
// largest residual at 0. A polynomial takes a residual that the largest does not reach, so it takes
// NaN.
TWIN_TEST(Deliberate, LargestResidualIgnoresNanInSmoothingAndIsNanForAPolynomial) {
  const int m = 12;
  std::vector<Real> x, y;
  for (int i = 0; i < m; ++i) {
    x.push_back(static_cast<Real>(i));
    y.push_back(i == 4 ? nan_of<Real> : Real(i * i));
  }
  Guarded<Real> smooth(m + 2), at_points(m), a(2 + 5);
  Real* const no = nullptr;
  EXPECT_EQ(AX_splsmoo(2, m, x.data(), y.data(), smooth.data(), no, no), AX_SPLSMOO_OK);
  for (int i = 0; i <= m; ++i) EXPECT_TRUE(std::isnan(smooth[i]) && !smooth.untouched(i)) << i;
  EXPECT_SAME(smooth[m + 1], Real(0));
  EXPECT_EQ(AX_splvals(2, m, x.data(), y.data(), 1, x.data(), at_points.data(), no, no), AX_SPLSMOO_OK);
  EXPECT_TRUE(std::isnan(at_points[1]) && !at_points.untouched(1));
  EXPECT_SAME(at_points[2], Real(0));
  EXPECT_EQ(AX_polapxcoef(2, m, x.data(), y.data(), a.data()), AX_POLAPXCOEF_OK);
  for (const int i : {0, 1, 2, 2 + 3, 2 + 4}) EXPECT_TRUE(std::isnan(a[i]) && !a.untouched(i)) << i;
}

// -- polynomials ----------------------------------------------------------------------------------

TWIN_TEST(Deliberate, PolapxcoefAsksForTheSingleTwinsSeparationInBothTwins) {
  std::vector<Real> a(7);
  const Real y[] = {1, 2, 3, 4};
  for (const double distance : {1.5e-5, 2.5e-5}) {  // in half-widths, the range being -1..1
    Real x[] = {-1, 0, static_cast<Real>(distance), 1};
    EXPECT_EQ(AX_polapxcoef(2, 4, x, y, a.data()),
              distance < 2e-5 ? AX_POLAPXCOEF_BAD_ABSCISSAE : AX_POLAPXCOEF_OK)
        << distance;
  }
}

// The first and the last abscissa, 0 and 2, give the range. An abscissa beyond it is moved onto the end
// at place p - 1 only. The mapped abscissae, which stay after a refusal, show it.
TWIN_TEST(Deliberate, PolapxcoefClampsTheAbscissaAtPlaceOneBelowTheDegree) {
  const Real y[] = {1, 2, 3, 4};
  std::vector<Real> a(8);
  for (const int p : {2, 3}) {
    Real x[] = {0, 6, 7, 2};
    EXPECT_EQ(AX_polapxcoef(p, 4, x, y, a.data()), AX_POLAPXCOEF_BAD_ABSCISSAE);
    EXPECT_EQ(std::vector<Real>(x, x + 4),
              p == 2 ? (std::vector<Real>{-1, 1, 6, 1}) : (std::vector<Real>{-1, 5, 1, 1}));
  }
}

// For this range the last abscissa maps one step beyond 1.
TEST(Deliberate, PolapxcoefDoubleTwinLeavesALastAbscissaBeyondOne) {
  const double first = 0x1.77p+3, last = 0x1.b16cf914c1badp+5, middle = 30;
  const double y[] = {1, 2, 2, 5};
  std::vector<double> a(7);
  double refused[] = {first, middle, middle, last};
  EXPECT_EQ(AX_polapxcoefd(2, 4, refused, y, a.data()), AX_POLAPXCOEF_BAD_ABSCISSAE);
  EXPECT_SAME(refused[3], 1.0 + 0x1p-52);
  // A fit takes it for 1 all the same: here the parabola through three points.
  double x[] = {first, middle, last};
  ASSERT_EQ(AX_polapxcoefd(2, 3, x, y, a.data()), AX_POLAPXCOEF_OK);
  EXPECT_NEAR(a[0] + a[1] + a[2], 2, 8 * eps_of<double>);  // all T[j] are 1 at 1
}

TWIN_TEST(Deliberate, PolapxcoefLeavesXMappedWhenItFails) {
  const Real y[] = {1, 2, 3, 4, 5};
  std::vector<Real> a(9);
  // Refused by the check of the abscissae.
  Real close[] = {0, 1, 1, 3, 4};
  EXPECT_EQ(AX_polapxcoef(2, 5, close, y, a.data()), AX_POLAPXCOEF_BAD_ABSCISSAE);
  EXPECT_EQ(std::vector<Real>(close, close + 5), (std::vector<Real>{-1, -0.5, -0.5, 0.5, 1}));
  // Refused by the solver: nine points as close as they may be, and one at the other end.
  const Real many[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::vector<Real> cluster, mapped;
  for (int i = 0; i < 10; ++i) {
    cluster.push_back(i < 9 ? static_cast<Real>(i) * Real(0x1p-14) : Real(2));
    mapped.push_back(cluster.back() - 1);
  }
  a.resize(20);
  EXPECT_GT(AX_polapxcoef(9, 10, cluster.data(), many, a.data()), 1);
  EXPECT_EQ(cluster, mapped);
  // Refused for want of memory.
  Real good[] = {0, 1, 2, 3, 4};
  for (const int request : {1, 2, 3, 4, 5}) {
    Real x[] = {0, 1, 2, 3, 4};
    allocation_probe::begin(request);
    const int status = AX_polapxcoef(2, 5, x, y, a.data());
    allocation_probe::end();
    EXPECT_EQ(status, request <= 3 ? int{AX_POLAPXCOEF_FAILED} : int{LS_NO_MEMORY});
    EXPECT_EQ(std::vector<Real>(x, x + 5), (std::vector<Real>{-1, -0.5, 0, 0.5, 1}));
  }
  // Success maps it back; a refusal of the counts does not touch it.
  EXPECT_EQ(AX_polapxcoef(2, 5, good, y, a.data()), AX_POLAPXCOEF_OK);
  EXPECT_EQ(AX_polapxcoef(5, 5, good, y, a.data()), AX_POLAPXCOEF_FAILED);
  EXPECT_EQ(std::vector<Real>(good, good + 5), (std::vector<Real>{0, 1, 2, 3, 4}));
}

TWIN_TEST(Deliberate, PolapxvalLeavesVMappedOnEveryFailure) {
  const Real a[] = {1, 0, 0, 10, 2, 0, 0};  // centre 10, half-width 2
  Real s[3], s1[3], s2[3];
  Real* const no = nullptr;
  const std::vector<Real> mapped = {-1, 0.5, 1};
  const auto points = [] { return std::vector<Real>{8, 11, 12}; };

  auto v = points();
  EXPECT_EQ(AX_polapxval(2, a, 3, v.data(), no, no, no), AX_POLAPXVAL_NO_OUTPUT);
  EXPECT_EQ(v, mapped);
  for (const int request : {1, 2, 3}) {
    v = points();
    allocation_probe::begin(request);
    const int status = AX_polapxval(2, a, 3, v.data(), s, s1, s2);
    allocation_probe::end();
    EXPECT_EQ(status, AX_POLAPXVAL_NO_MEMORY);
    EXPECT_EQ(v, mapped);
  }
  v = points();
  v[1] = 18;
  EXPECT_EQ(AX_polapxval(2, a, 3, v.data(), s, s1, s2), AX_POLAPXVAL_OUT_OF_RANGE);
  EXPECT_EQ(v, (std::vector<Real>{-1, 4, 1}));
  v = points();
  EXPECT_EQ(AX_polapxval(2, a, 3, v.data(), s, s1, s2), AX_POLAPXVAL_OK);
  EXPECT_EQ(v, points());
}

// -- abscissae far from 0 -------------------------------------------------------------------------

/// base, base + 1, ..., base + 11, the last a little more.
template <class Real>
std::vector<Real> far_from_zero(double base, double more) {
  std::vector<Real> x;
  for (int i = 0; i < 12; ++i) x.push_back(static_cast<Real>(base + i + (i == 11 ? more : 0)));
  return x;
}

/// Status of the fitted spline of two knots at x[0] and at x[11].
template <class Real>
std::vector<int> at_the_ends(const std::vector<Real>& x) {
  std::vector<Real> y, a(8);
  for (int i = 0; i < 12; ++i) y.push_back(static_cast<Real>(i % 5));
  Real** T = AX_d2fcs<Real>(2);
  double s = 0;
  const int fitted = AX_apxcoef(T, 2, 12, x.data(), y.data(), a.data());
  EXPECT_EQ(fitted, AX_APXCOEF_OK);
  std::vector<int> status;
  for (const Real v : {x.front(), x.back()})
    status.push_back(AX_apxval(T, 2, a.data(), v, &s, nullptr, nullptr));
  AX_freed2fcs(T);
  return status;
}

TEST(Deliberate, SplineFitsRefuseTheirOwnAbscissaFarFromZero) {
  const std::vector<int> first = {AX_APXVAL_OUT_OF_RANGE, AX_APXVAL_OK},
                         last = {AX_APXVAL_OK, AX_APXVAL_OUT_OF_RANGE},
                         none = {AX_APXVAL_OK, AX_APXVAL_OK};
  EXPECT_EQ(at_the_ends(far_from_zero<float>(10000, 3.0 / 1024)), first);
  EXPECT_EQ(at_the_ends(far_from_zero<double>(1e8, 9 * 0x1p-26)), last);
  // The same data nearer to 0.
  EXPECT_EQ(at_the_ends(far_from_zero<float>(0, 3.0 / 1024)), none);
  EXPECT_EQ(at_the_ends(far_from_zero<double>(0, 9 * 0x1p-26)), none);
  EXPECT_EQ(at_the_ends(far_from_zero<double>(10000, 3.0 / 1024)), none);
}

TEST(Deliberate, SmoothingSingleTwinFarFromZeroReturnsZeroWithValuesNeverWritten) {
  const auto x = far_from_zero<float>(10000, 3.0 / 1024);
  std::vector<float> y;
  for (int i = 0; i < 12; ++i) y.push_back(static_cast<float>(i % 5));
  std::vector<float> s(14, 100);
  Guarded<float> s1(12), s2(12);
  EXPECT_EQ(AX_splsmoof(2, 12, x.data(), y.data(), s.data(), s1.data(), s2.data()), AX_SPLSMOO_OK);
  EXPECT_TRUE(s1.untouched_from(0) && s2.untouched_from(0));
  for (std::size_t i = 0; i < 12; ++i) EXPECT_EQ(s[i], 100) << i;
  EXPECT_NEAR(s[12], 98, 2);  // the statistics of what happens to stand in s
  EXPECT_SAME(s[13], 100.0F);
  Guarded<float> at(12);
  const float v[] = {10005.5F, 10000};  // the first is in the range
  EXPECT_EQ(AX_splvalsf(2, 12, x.data(), y.data(), 2, v, at.data(), s1.data(), s2.data()),
            AX_SPLSMOO_OK);
  EXPECT_TRUE(!s1.untouched(0) && s1.untouched(1));
}

TWIN_TEST(Deliberate, PolynomialsRefuseTheirOwnAbscissaFarFromZero) {
  auto x = is_double<Real> ? far_from_zero<Real>(1e13, 0x1p-9) : far_from_zero<Real>(10000, 3.0 / 1024);
  std::vector<Real> y, a(8), s(12);
  for (int i = 0; i < 12; ++i) y.push_back(static_cast<Real>(i % 5));
  auto v = x;
  ASSERT_EQ(AX_polapxcoef(3, 12, x.data(), y.data(), a.data()), AX_POLAPXCOEF_OK);
  Real* const no = nullptr;
  EXPECT_EQ(AX_polapxval(3, a.data(), 12, v.data(), s.data(), no, no), AX_POLAPXVAL_OUT_OF_RANGE);
  x = far_from_zero<Real>(0, 3.0 / 1024);
  v = x;
  ASSERT_EQ(AX_polapxcoef(3, 12, x.data(), y.data(), a.data()), AX_POLAPXCOEF_OK);
  EXPECT_EQ(AX_polapxval(3, a.data(), 12, v.data(), s.data(), no, no), AX_POLAPXVAL_OK);
}

}  // namespace

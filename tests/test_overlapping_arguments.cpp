// tests/test_overlapping_arguments.cpp - results written over arguments, where the header allows it and
// where it does not. The tests of interpolation are with its tables.
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/problem.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twins.hpp"

namespace {

template <class Real>
using Vector = std::vector<Real>;

std::size_t at(int i) { return static_cast<std::size_t>(i); }

/// m abscissae from first to last, ascending, about evenly spaced.
template <class Real>
Vector<Real> abscissae(Random& random, int m, double first, double last) {
  Vector<Real> x;
  for (int i = 0; i < m; ++i) {
    const double shift = i > 0 && i < m - 1 ? random.real(-0.3, 0.3) : 0.0;
    x.push_back(static_cast<Real>(first + (last - first) * (i + shift) / (m - 1)));
  }
  return x;
}

/// Convex data with a little noise: both twins of the shape-constrained fit return for them.
template <class Real>
Vector<Real> ordinates(Random& random, const Vector<Real>& x) {
  Vector<Real> y;
  for (const Real t : x)
    y.push_back(static_cast<Real>(std::cosh(double(t)) + random.real(-1e-3, 1e-3)));
  return y;
}

/// k points of the range of the data in any order, its ends among them.
template <class Real>
Vector<Real> points_of(Random& random, int k, const Vector<Real>& x) {
  Vector<Real> v;
  for (int i = 0; i < k; ++i)
    v.push_back(random.chance(9) ? (random.chance(2) ? x.front() : x.back())
                                 : static_cast<Real>(random.real(x.front(), x.back())));
  return v;
}

/// Sizes that end at every place of a block of points, and sizes of several blocks.
std::vector<int> sizes_from(int least) {
  std::vector<int> sizes;
  for (int m = least; m <= 330; m += m < 75 ? 1 : m < 135 ? 7 : 49) sizes.push_back(m);
  for (const int m : {127, 128, 129, 192, 193}) sizes.push_back(m);
  return sizes;
}

/// A basis table and its release.
template <class Real>
class Basis {
 public:
  explicit Basis(int n) : T_(AX_d2fcs<Real>(n)) {}
  ~Basis() { AX_freed2fcs(T_); }
  Basis(const Basis&) = delete;
  Basis& operator=(const Basis&) = delete;
  Real** table() const { return T_; }

 private:
  Real** T_;
};

template <class Real>
void expect_equal(Real* got, Real* expected, int count, const char* what, int size) {
  for (int i = 0; i < count; ++i)
    ASSERT_SAME(got[i], expected[i]) << what << " " << i << " of " << size;
}

/// Checks that call(v, s, s1, s2) writes the same three outputs, `places` long, in two ways: all apart
/// from the points v, and one of the allowed outputs (bit d for output d) over v. All outputs hold the
/// points at first, so places that are not written agree too.
template <class Real, class Call>
void expect_the_same_over(const Vector<Real>& points, int places, unsigned allowed, Call call) {
  const int k = static_cast<int>(points.size());
  const auto filled = [&] {
    Vector<Real> out = points;
    out.resize(at(places), Real(0));
    return out;
  };
  std::array<Vector<Real>, 3> apart = {filled(), filled(), filled()};
  const int status = call(points.data(), apart[0].data(), apart[1].data(), apart[2].data());
  EXPECT_TRUE(status == 0 || status == AX_APXVALS_OUT_OF_RANGE) << status;
  for (unsigned over = 0; over < 3; ++over) {
    if (!(allowed >> over & 1)) continue;
    std::array<Vector<Real>, 3> out = {filled(), filled(), filled()};
    Real* const v = out[over].data();
    ASSERT_EQ(call(v, out[0].data(), out[1].data(), out[2].data()), status);
    for (unsigned d = 0; d < 3; ++d)
      expect_equal(out[d].data(), apart[d].data(), places, over == d ? "over its points" : "beside", k);
  }
}

TWIN_TEST(Overlap, ApxvalsWritesAnyOneOutputOverItsPoints) {
  Random random(501);
  for (const int n : {1, 7, 40}) {
    const Basis<Real> T(n);
    Vector<Real> a;
    for (int j = 0; j < n + 4; ++j) a.push_back(static_cast<Real>(random.real(-2, 2)));
    a.push_back(1);
    a.push_back(2);
    const Vector<Real> ends = {-1, 3};
    for (const int k : sizes_from(1)) {
      auto v = points_of(random, k, ends);
      if (k % 3 == 0) v[at(k / 2)] = k % 2 ? nan_of<Real> : Real(9);  // refused
      expect_the_same_over(v, k, 7u, [&](const Real* points, Real* s, Real* s1, Real* s2) {
        return AX_apxvals(T.table(), n, a.data(), k, points, s, s1, s2);
      });
    }
  }
}

TWIN_TEST(Overlap, SplsmooWritesAnyOneOutputOverItsAbscissae) {
  Random random(502);
  for (const int m : sizes_from(8)) {
    const int n = random.integer(1, std::min(m / 4, 20));
    const auto x = abscissae<Real>(random, m, -1, 2), y = ordinates(random, x);
    expect_the_same_over(x, m + 2, 7u, [&](const Real* data, Real* s, Real* s1, Real* s2) {
      return AX_splsmoo(n, m, data, y.data(), s, s1, s2);
    });
  }
}

TWIN_TEST(Overlap, SplsmooOverItsOrdinatesReportsNoResidual) {
  Random random(503);
  const int m = 30;
  const auto x = abscissae<Real>(random, m, -1, 2), y = ordinates(random, x);
  auto both = y;
  both.resize(m + 2);
  Guarded<Real> s(m + 2);
  Real* const none = nullptr;
  ASSERT_EQ(AX_splsmoo(3, m, x.data(), y.data(), s.data(), none, none), AX_SPLSMOO_OK);
  ASSERT_EQ(AX_splsmoo(3, m, x.data(), both.data(), both.data(), none, none), AX_SPLSMOO_OK);
  EXPECT_GT(s[m], 1e-4);
  EXPECT_EQ(both[m], 0);
  EXPECT_EQ(both[m + 1], 0);
}

TWIN_TEST(Overlap, SplvalsAndSplconvWriteEitherDerivativeOverTheirPoints) {
  Random random(504);
  for (const int k : sizes_from(1)) {
    const int m = random.integer(24, 60), n = random.integer(1, 4);
    const auto x = abscissae<Real>(random, m, -1, 2), y = ordinates(random, x);
    auto v = points_of(random, k, x);
    if (k % 4 == 0) v[at(k / 2)] = 9;  // refused
    const int places = std::max(m, k + 2);
    expect_the_same_over(v, places, 6u, [&](const Real* points, Real* s, Real* s1, Real* s2) {
      return AX_splvals(n, m, x.data(), y.data(), k, points, s, s1, s2);
    });
    expect_the_same_over(v, places, 6u, [&](const Real* points, Real* s, Real* s1, Real* s2) {
      return bounded_releasing(
          [&] { return AX_splconv(n, 0, m, x.data(), y.data(), k, points, s, s1, s2); });
    });
  }
}

TWIN_TEST(Overlap, SplvalsOverItsPointsIsNotWhatItIsBesideThem) {
  Random random(505);
  const int m = 30;
  const auto x = abscissae<Real>(random, m, -1, 2), y = ordinates(random, x);
  const auto v = points_of(random, m, x);
  auto both = v;
  both.resize(m + 2);
  Guarded<Real> s(m + 2);
  Real* const none = nullptr;
  ASSERT_EQ(AX_splvals(3, m, x.data(), y.data(), m, v.data(), s.data(), none, none), AX_SPLSMOO_OK);
  ASSERT_EQ(AX_splvals(3, m, x.data(), y.data(), m, both.data(), both.data(), none, none),
            AX_SPLSMOO_OK);
  int different = 0;
  for (int i = 0; i < m; ++i) different += !same_bits(both[at(i)], s[i]);
  EXPECT_GT(different, m / 2);
}

// The points are mapped and mapped back by the fit, then by the evaluation.
TWIN_TEST(Overlap, PolyapxEvaluatesAtItsOwnAbscissae) {
  Random random(506);
  for (const int m : sizes_from(8)) {
    const int p = random.integer(2, 6);
    const auto x = abscissae<Real>(random, m, -1, 2), y = ordinates(random, x);
    for (const int k : {m, m - 1, 1}) {
      Vector<Real> a(at(p + 5)), apart = x;
      ASSERT_EQ(AX_polapxcoef(p, m, apart.data(), y.data(), a.data()), AX_POLAPXCOEF_OK);
      Guarded<Real> f(k), f1(k), f2(k), s(k + 2), s1(k), s2(k);
      ASSERT_EQ(AX_polapxval(p, a.data(), k, apart.data(), f.data(), f1.data(), f2.data()),
                AX_POLAPXVAL_OK);
      auto both = x;
      ASSERT_EQ(AX_polyapx(p, m, both.data(), y.data(), k, both.data(), s.data(), s1.data(), s2.data()),
                AX_POLYAPX_OK);
      expect_equal(s.data(), f.data(), k, "value", m);
      expect_equal(s1.data(), f1.data(), k, "slope", m);
      expect_equal(s2.data(), f2.data(), k, "curvature", m);
      ASSERT_SAME(s[k], a[at(p + 3)]);
      ASSERT_SAME(s[k + 1], a[at(p + 4)]);
      expect_equal(both.data(), apart.data(), m, "abscissa", m);
    }
  }
}

// One array stands for several arguments that are only read.
TWIN_TEST(Overlap, ArgumentsThatAreOnlyReadMayBeOneArray) {
  Random random(507);
  for (const int m : {8, 30, 70, 200}) {
    const auto x = abscissae<Real>(random, m, -1, 2), y = x, v = x;
    const auto points = [m] { return Guarded<Real>(m + 2); };
    Guarded<Real> s = points(), s1 = points(), s2 = points(), f = points(), f1 = points(),
                  f2 = points();
    const auto expect_same = [&](const char* what, int got, int expected) {
      ASSERT_EQ(got, expected) << what;
      expect_equal(s.data(), f.data(), m + 2, what, m);
      expect_equal(s1.data(), f1.data(), m + 2, what, m);
      expect_equal(s2.data(), f2.data(), m + 2, what, m);
    };
    expect_same("linttab", AX_linttab(m, x.data(), x.data(), m, x.data(), s.data()),
                AX_linttab(m, x.data(), y.data(), m, v.data(), f.data()));
    expect_same("splsmoo", AX_splsmoo(1, m, x.data(), x.data(), s.data(), s1.data(), s2.data()),
                AX_splsmoo(1, m, x.data(), y.data(), f.data(), f1.data(), f2.data()));
    expect_same("splvals",
                AX_splvals(1, m, x.data(), x.data(), m, x.data(), s.data(), s1.data(), s2.data()),
                AX_splvals(1, m, x.data(), y.data(), m, v.data(), f.data(), f1.data(), f2.data()));
    expect_same(
        "splconv", bounded_releasing([&] {
          return AX_splconv(1, 0, m, x.data(), x.data(), m, x.data(), s.data(), s1.data(), s2.data());
        }),
        bounded_releasing([&] {
          return AX_splconv(1, 0, m, x.data(), y.data(), m, v.data(), f.data(), f1.data(), f2.data());
        }));
  }
}

}  // namespace

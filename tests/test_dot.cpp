// tests/test_dot.cpp - sums of products, and multiples added.
#include <algorithm>
#include <cmath>

#include "kernels/sums/dot.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using namespace tabfit;

constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge};

// -- one sum --------------------------------------------------------------------------------------

TWIN_TEST(Dot, ReadsNoPlaceBehindOrBeforeItsTerms) {
  Random random(71);
  Fenced<Real> x(80), y(80);
  for (int n = -1; n <= 70; ++n)
    for (const Touching touching : {Touching::end, Touching::begin})
      for (const Data data : kinds) {
        const int size = std::max(n, 0);
        x.lay(size, signal_of<Real>(), touching);
        y.lay(size, signal_of<Real>(), touching);
        double sum = 0.0, squares = 0.0;
        for (int i = 0; i < n; ++i) {
          x[i] = element<Real>(random, data);
          y[i] = element<Real>(random, data);
          sum = std::fma(double(x[i]), double(y[i]), sum);
          squares = std::fma(double(x[i]), double(x[i]), squares);
        }
        ASSERT_SAME(V_dot(x.data(), y.data(), n), sum) << n << " terms";
        ASSERT_SAME(V_sumsq(x.data(), n), squares) << n << " terms";
      }
}

// -- multiples added ------------------------------------------------------------------------------

/// y = y + t u for elements U and sums Y.
template <class U, class Y>
void check_axpy(Random& random) {
  for (int n = -1; n <= 70; ++n)
    for (int offset = 0; offset < 8; ++offset)
      for (const Data data : kinds) {
        const int size = std::max(n, 0);
        Table<U> u(size, 1, offset);
        Table<Y> y(size, 1, random.integer(0, 7));
        u.fill([&] { return element<U>(random, data); });
        y.fill([&] { return element<Y>(random, data); });
        const double t = element<Y>(random, data) * random.real(0.5, 1);
        auto expected = y;
        auto u_before = u;
        for (int i = 0; i < n; ++i)
          expected.at(i, 0) = static_cast<Y>(std::fma(t, double(u.at(i, 0)), double(y.at(i, 0))));
        V_axpy(t, u.slots()[0], y.slots()[0], n);
        for (int i = 0; i < n; ++i) ASSERT_SAME(y.at(i, 0), expected.at(i, 0)) << i << " of " << n;
        ASSERT_TRUE(y.intact());
        ASSERT_TABLE(u, u_before);
      }
}

TEST(Addsq, GoesOnWithTheSumForEveryLengthAndKind) {
  Random random(75);
  for (int n = -1; n <= 70; ++n)
    for (const Data data : kinds) {
      Fenced<double> x(80);
      x.lay(std::max(n, 0), signal_of<double>(), n % 2 ? Touching::end : Touching::begin);
      const double begin = element<double>(random, data);
      double sum = begin;
      for (int i = 0; i < n; ++i) {
        x[i] = element<double>(random, data);
        sum = std::fma(x[i], x[i], sum);
      }
      ASSERT_SAME(tabfit::V_addsq(x.data(), n, begin), sum) << n << " terms";
    }
}

TWIN_TEST(Axpy, IsThePlainLoopForEveryLengthAndAlignment) {
  Random random(72);
  check_axpy<Real, Real>(random);
}

TEST(Axpy, AddsElementsOfOneTypeToThoseOfAnother) {
  Random random(73);
  check_axpy<double, float>(random);
}

TWIN_TEST(Axpy, TouchesNoPlaceBehindOrBeforeItsElements) {
  Random random(74);
  Fenced<Real> u(80), y(80);
  for (int n = 0; n <= 70; ++n)
    for (const Touching touching : {Touching::end, Touching::begin}) {
      u.lay(n, signal_of<Real>(), touching);
      y.lay(n, Guarded<Real>::poison(), touching);
      for (int i = 0; i < n; ++i) u[i] = y[i] = Real(i + 1);
      V_axpy(2.0, u.data(), y.data(), n);
      for (int i = 0; i < n; ++i) ASSERT_SAME(y[i], Real(3 * (i + 1))) << i << " of " << n;
      ASSERT_TRUE(u.zone_intact() && y.zone_intact());
    }
}

TWIN_TEST(Axpy, RoundsOnceForAMultipleThatIsNoElement) {
  // The product is a number of neither type: 1/3 in double times 3 is less than 1.
  Real y[] = {-1};
  const Real u[] = {3};
  V_axpy(1.0 / 3, u, y, 1);
  EXPECT_SAME(y[0], Real(-0x1p-54));
}

}  // namespace

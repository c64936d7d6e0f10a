// tests/test_points.cpp - the kernels for points of every set against the formulas written out. Results
// that a kernel accepts have the bits of the formula. It may doubt few points, and must touch nothing
// behind the last one.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

#include "appx/spline_basis.hpp"
#include "kernels/points/points.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/kernel_sets.hpp"
#include "tests/support/points.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using tabfit::BasisGrid;
using tabfit::PointMapping;
using tabfit::PointPlaces;
using tabfit::SplinePieces;

class Point : public WithKernels {};
class Point_f : public WithKernels {};
class Point_d : public WithKernels {};
WITH_ALL_KERNELS(Point);
WITH_ALL_KERNELS(Point_f);
WITH_ALL_KERNELS(Point_d);

// -- mappings -------------------------------------------------------------------------------------

/// Runs both forms of the mapping over v[0..count-1]: onto 0..2 in double, and onto -1..1 in place.
template <class Real>
class MapCall {
 public:
  template <class Element>
  void check(const tabfit::Kernels& kernel, int count, double cm, double hw, Random& random,
             Element element) {
    const Real* v = input(v_, count, random, element);
    output(u_, count, random);
    const PointSet doubts = kernel.of<Real>().map(v, count, {cm, hw, 1}, u_.data());
    check_results(doubts, u_, [&](int i) { return static_cast<double>((Wide(v[i]) - cm) / hw + 1); });
    to_double.take(doubts, count);

    input(in_place_, count, random, [&](int i) { return v[i]; });
    const PointSet kept = kernel.of<Real>().map_elements(in_place_.data(), count, {cm, hw, 0});
    ASSERT_TRUE(in_place_.zone_intact());
    ASSERT_EQ(kept & ~first_points(count), 0U);
    for (int i = 0; i < count; ++i)
      if (in(kept, i))
        ASSERT_EQ(bits_of(in_place_[i]), bits_of(v[i])) << "point " << i << " is in doubt";
      else
        ASSERT_SAME(in_place_[i], static_cast<Real>((Wide(v[i]) - cm) / hw)) << "point " << i;
    to_element.take(kept, count);
  }
  Share to_double, to_element;

 private:
  Fenced<Real> v_{point_block}, in_place_{point_block};
  Fenced<double> u_{point_block};
};

KERNEL_TEST(Point, MappingsOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8101);
  MapCall<Real> call;
  for (int round = 0; round < 40; ++round)
    for (int count = 0; count <= point_block; ++count) {
      const double cm = number(random, -3, 4), hw = std::abs(number(random, -3, 4));
      call.check(kernel, count, cm, hw, random,
                 [&](int) { return static_cast<Real>(cm + hw * random.real(-1, 1)); });
      if (testing::Test::HasFatalFailure()) return;
    }
  call.to_double.expect_between(0, few, kernel, "mapped to doubles");
  call.to_element.expect_between(0, few, kernel, "mapped elements");
}

KERNEL_TEST(Point, MappingsOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8102);
  MapCall<Real> call;
  constexpr double odd[] = {0,         -0.0,     inf_of<double>, -inf_of<double>, nan_of<double>,
                            0x1p-1074, 0x1p-110, -0x1p1023};
  for (int round = 0; round < 15; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        const double cm = random.chance(4)   ? odd[random.integer(0, 7)]
                          : random.chance(2) ? element<Real>(random, data)
                                             : element<double>(random, data),
                     hw = random.chance(8) ? odd[random.integer(0, 7)] : number(random, -104, 104);
        // Among the elements: the middle, its neighbours, the ends, and zeros.
        const auto middle = static_cast<Real>(cm);
        const Real places[] = {middle,
                               std::nextafter(middle, Real(0)),
                               static_cast<Real>(cm - hw),
                               static_cast<Real>(cm + hw),
                               Real(0),
                               Real(-0.0)};
        call.check(kernel, count, cm, hw, random, [&](int) {
          return random.chance(4) ? places[random.integer(0, 5)] : element<Real>(random, data);
        });
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Point, MappingsBesideAHalfwayPlaceAreInDoubt) {
  Random random(8103);
  for (const bool elements : {false, true}) {
    MapCall<Real> call;
    for (int round = 0; round < 20000; ++round) {
      const double hw = std::abs(number(random, -2, 2));
      const int count = random.integer(1, 9), place = random.integer(0, count - 1);
      const auto d = static_cast<Real>(
          hw * (random.chance(2) ? std::ldexp(random.real(-1, 1), -random.integer(0, 14))
                                 : number(random, -4, 5)));
      const auto result = [&](Wide cm) { return (Wide(d) - cm) / hw + (elements ? 0 : 1); };
      const double x = d * number(random, -16, -11);
      const double cm = elements ? steered<Real>(x, false, random, result)
                                 : steered<double>(x, false, random, result);
      call.check(kernel, count, cm, hw, random,
                 [&](int i) { return i == place ? d : static_cast<Real>(d * random.real(0.5, 1)); });
      if (testing::Test::HasFatalFailure()) return;
    }
    (elements ? call.to_element : call.to_double)
        .expect_between(0.05, 1, kernel,
                        elements ? "elements beside halfway" : "doubles beside halfway");
  }
}

KERNEL_TEST(Point, EveryPointIsInDoubtIfTheScaleIsOutOfRange) {
  Fenced<double> s(point_block), u(point_block);
  Fenced<Real> v(point_block), out(point_block);
  for (const double hw : {0.0, -0.0, 0x1p-101, -0x1p-101, 0x1p101, inf_of<double>, -inf_of<double>,
                          nan_of<double>, 0x1p-1074, std::numeric_limits<double>::max()})
    for (const int count : {0, 1, 7, 8, 63, 64}) {
      v.lay(count, Real(1.5));
      u.lay(count);
      out.lay(count);
      s.lay(count, 1.25);
      const PointMapping map{0.25, hw, 0};
      EXPECT_EQ(kernel.of<Real>().map(v.data(), count, {0.25, hw, 1}, u.data()), first_points(count))
          << hw;
      EXPECT_EQ(kernel.of<Real>().map_elements(v.data(), count, map), first_points(count)) << hw;
      EXPECT_EQ(kernel.of<Real>().divide(s.data(), count, hw, out.data()), first_points(count)) << hw;
      for (int i = 0; i < count; ++i)
        EXPECT_TRUE(u.untouched(i) && v.untouched(i) && out.untouched(i)) << hw << ", point " << i;
    }
}

KERNEL_TEST(Point, MappingBackIsOneFusedStepForEveryCount) {
  Random random(8104);
  Fenced<Real> v(200);
  for (const Data data : kinds)
    for (int count = 0; count <= 200; count += count < 70 ? 1 : 13) {
      const PointMapping map{element<double>(random, data), element<double>(random, data), 0};
      input(v, count, random, [&](int) { return element<Real>(random, data); });
      const std::vector<Real> before(v.data(), v.data() + count);
      kernel.of<Real>().map_back(v.data(), count, map);
      ASSERT_TRUE(v.zone_intact());
      for (int i = 0; i < count; ++i)
        ASSERT_SAME(v[i], static_cast<Real>(std::fma(map.hw, double(before[at(i)]), map.cm)))
            << i << " of " << count;
    }
}

// -- quotients ------------------------------------------------------------------------------------

template <class Real>
class DivideCall {
 public:
  template <class Element>
  void check(const tabfit::Kernels& kernel, int count, Wide unit, Random& random, Element element) {
    const double* s = input(s_, count, random, element);
    output(out_, count, random);
    const PointSet doubts = kernel.of<Real>().divide(s, count, unit, out_.data());
    check_results(doubts, out_, [&](int i) { return static_cast<Real>(s[i] / unit); });
    share.take(doubts, count);
  }
  Share share;

 private:
  Fenced<double> s_{point_block};
  Fenced<Real> out_{point_block};
};

KERNEL_TEST(Point, QuotientsOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8111);
  DivideCall<Real> call;
  for (int round = 0; round < 60; ++round)
    for (int count = 0; count <= point_block; ++count) {
      const Wide hw = std::abs(number(random, -10, 11)), unit = random.chance(2) ? hw : hw * hw;
      call.check(kernel, count, unit, random, [&](int) { return number(random, -10, 11); });
      if (testing::Test::HasFatalFailure()) return;
    }
  call.share.expect_between(0, few, kernel, "quotients");
}

KERNEL_TEST(Point, QuotientsOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8112);
  DivideCall<Real> call;
  for (int round = 0; round < 30; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        const Wide hw = random.chance(9) ? Wide(element<double>(random, data))
                                         : Wide(number(random, -104, 104)),
                   unit = random.chance(2) ? hw : hw * hw;
        call.check(kernel, count, unit, random, [&](int) { return element<double>(random, data); });
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Point, QuotientsBesideAHalfwayPlaceAreInDoubt) {
  Random random(8113);
  DivideCall<Real> call;
  for (int round = 0; round < 20000; ++round) {
    const int count = random.integer(1, 9), place = random.integer(0, count - 1);
    const double s = number(random, -3, 4);
    const Wide quotient = halfway_beside<Real>(
        static_cast<Real>(number(random, -3, 4) * (s < 0 ? -1 : 1)), false, random);
    call.check(kernel, count, std::abs(s / quotient), random,
               [&](int i) { return i == place ? s : number(random, -3, 4); });
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernel, "quotients beside halfway");
}

// -- places on the grid ---------------------------------------------------------------------------

struct Located {
  int k;
  double t;
};

Located located(const BasisGrid& grid, double u) {
  const Wide steps = u / Wide(grid.h);
  const int k = steps >= grid.n + 1 ? grid.n : static_cast<int>(steps);
  return {k, static_cast<double>((Wide(u) - k * grid.h) / grid.h)};
}

class LocateCall {
 public:
  template <class Element>
  void check(const tabfit::Kernels& kernel, const BasisGrid& grid, double tol, int count,
             Random& random, Element element) {
    input(u_, count, random, element);
    const std::vector<double> before(u_.data(), u_.data() + count);
    std::fill_n(at_.k, point_block, -1);
    std::fill_n(at_.t, point_block, Guarded<double>::poison());
    PointSet outside = ~PointSet(0);
    const PointSet doubts = kernel.locate(grid, tol, count, u_.data(), at_, outside);
    ASSERT_TRUE(u_.zone_intact());
    ASSERT_EQ((doubts | outside) & ~first_points(count), 0U);
    ASSERT_EQ(doubts & outside, 0U);
    for (int i = 0; i < count; ++i)
      if (!in(outside, i)) share.take(in(doubts, i), 1);
    for (int i = 0; i < count; ++i) {
      const double u = before[at(i)], inside = u < 0 ? 0.0 : u > 2 ? 2.0 : u;
      ASSERT_EQ(in(outside, i), !(u >= -tol) || u > 2.0 + tol) << shown(u);
      if (in(outside, i)) continue;
      ASSERT_SAME(u_[i], inside);
      if (in(doubts, i)) continue;
      const Located want = located(grid, inside);
      ASSERT_EQ(at_.k[i], want.k) << "n = " << grid.n << ", u = " << shown(u);
      ASSERT_SAME(at_.t[i], want.t) << "n = " << grid.n << ", u = " << shown(u);
    }
  }
  Share share;

 private:
  Fenced<double> u_{point_block};
  PointPlaces at_;
};

constexpr int knots[] = {1, 2, 3, 6, 7, 16, 30, 61, 100, 255, 1000, (1 << 20) - 1, 1 << 20};

TEST_P(Point, PlacesOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8121);
  LocateCall call;
  for (const int n : knots)
    for (int count = 0; count <= point_block; ++count)
      for (const double tol : {0.0, 2e-9, 2e-5}) {
        call.check(kernels(), BasisGrid(n), tol, count, random, [&](int) { return random.real(0, 2); });
        if (testing::Test::HasFatalFailure()) return;
      }
  call.share.expect_between(0, few, kernels(), "places");
}

TEST_P(Point, PlacesBesideKnotsAndEndsHaveTheBitsOfTheDefinitionOrAreInDoubt) {
  Random random(8122);
  LocateCall call;
  const double inf = inf_of<double>;
  for (int round = 0; round < 30; ++round)
    for (const int n : knots)
      for (int count = 0; count <= point_block; ++count) {
        const BasisGrid grid(n);
        const double tol = random.chance(2) ? 0.0 : random.chance(2) ? 2e-9 : 2e-5;
        const double odd[] = {0,           2,       -tol,           2.0 + tol, inf,           -inf,
                              -5,          5,       nan_of<double>, 0x1p-1074, 3 * 0x1p-1074, 1,
                              0x1.8p-1060, 0x1p-600};
        call.check(kernels(), grid, tol, count, random, [&](int) {
          if (random.chance(60)) return odd[random.integer(0, 13)] + 0.0;
          double u = random.integer(0, n + 1) * grid.h;
          if (random.chance(20)) u = random.chance(2) ? -tol : 2.0 + tol;
          for (int steps = random.integer(0, 4); steps > 0; --steps)
            u = std::nextafter(u, random.chance(2) ? inf : -inf);
          return u == 0 ? 0.0 : u;  // a mapped point is never -0
        });
        if (testing::Test::HasFatalFailure()) return;
      }
  call.share.expect_between(0.3, 1, kernels(), "places beside knots");
}

TEST_P(Point, PlacesBesideAHalfwayPlaceAreInDoubt) {
  Random random(8123);
  LocateCall call;
  for (int round = 0; round < 2000; ++round) {
    BasisGrid grid(random.integer(1, 3));
    // t = u / h is the middle between two doubles, up to a part of 2^-64: h and u are odd whole
    // numbers, and t 2^54 h differs from 2^54 u by a whole number.
    std::vector<double> u;
    const auto whole = static_cast<std::uint64_t>(std::ldexp(grid.h * random.real(0.9, 1), 53)) | 1;
    grid.h = std::ldexp(static_cast<double>(whole), -53);
    std::uint64_t inverse = 1;
    for (int step = 0; step < 6; ++step) inverse *= 2 - whole * inverse;
    while (u.size() < 8) {
      const auto rest = static_cast<std::int64_t>(random.real(-0x1p44, 0x1p44)) | 1;
      const std::uint64_t halfway =
          (inverse * static_cast<std::uint64_t>(-rest)) & ((std::uint64_t(1) << 54) - 1);
      if (halfway >> 53 == 0) continue;
      const Wide numerator = std::round(std::ldexp(Wide(halfway) * whole, -54));
      u.push_back(static_cast<double>(std::ldexp(numerator, -53)));
    }
    call.check(kernels(), grid, 0, 8, random, [&](int i) { return u[at(i)]; });
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernels(), "places beside halfway");
}

/// Places as locate leaves them, also those behind count.
template <class Place>
PointPlaces places(int count, Place place) {
  PointPlaces at;
  for (int i = 0; i < point_block; ++i) {
    const Located here = i < count ? place(i) : Located{0, 0.0};
    at.k[i] = here.k;
    at.t[i] = here.t;
  }
  return at;
}

/// A place within an interval; sometimes near an end or beyond it.
double random_place(Random& random) {
  switch (random.integer(0, 15)) {
    case 0:
      return std::ldexp(random.real(1, 2), -random.integer(9, 70));
    case 1:
      return 1 - std::ldexp(random.real(1, 2), -random.integer(9, 54));
    case 2: {
      constexpr double odd[] = {0, 1, 0x1p-11, 1 + 0x1p-52, 0.5, -0x1p-40, 0x1p-1074, 1 - 0x1p-53};
      return odd[random.integer(0, 7)];
    }
    default:
      return random.real(0, 1);
  }
}

// -- basis functions ------------------------------------------------------------------------------

/// The value of a spline at place t, before it is rounded to double.
Wide value_of(double g, double t, Wide a, Wide b, Wide e1, Wide e2) {
  const Wide rest = 1 - Wide(t), left = g * (1 + rest) * t, right = g * (1 + Wide(t)) * rest;
  return (e1 - left * a) * rest + (e2 - right * b) * t;
}

template <class Real>
class BasisCall {
 public:
  /// The basis function j whose column is T[0..n+1].
  template <class Element>
  void check(const tabfit::Kernels& kernel, const BasisGrid& grid, PointPlaces& places, int count,
             int j, Random& random, Element element) {
    const Real* T = input(T_, grid.n + 2, random, element);
    Real* out = output(out_, count, random);
    const PointSet always = kernel.weigh(grid, count, places),
                   own = kernel.of<Real>().basis(places, count, T, j, out), doubts = always | own;
    ASSERT_TRUE(out_.zone_intact());
    ASSERT_EQ(doubts & ~first_points(count), 0U);
    share.take(doubts, count);
    for (int i = 0; i < count; ++i) {
      const int k = places.k[i];
      const double t = places.t[i];
      ASSERT_TRUE(in(always, i) || (t >= 0x1p-11 && t <= 1)) << shown(t);
      ASSERT_TRUE(!in(own, i) || out_.untouched(i));
      if (in(doubts, i)) continue;
      ASSERT_SAME(out[i], through_double<Real>(value_of(grid.g, t, T[k], T[k + 1], j == k + 1 ? 1 : 0,
                                                        j == k + 2 ? 1 : 0)))
          << "point " << i << " of " << count << ", k = " << k << ", j = " << j << ", t = " << shown(t)
          << ", T = " << shown(T[k]) << ", " << shown(T[k + 1]);
    }
  }
  Share share;

 private:
  Fenced<Real> T_{1100}, out_{point_block};
};

KERNEL_TEST(Point, BasisFunctionsOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8131);
  BasisCall<Real> call;
  for (const int n : {1, 2, 5, 9, 20, 47}) {
    const BasisGrid grid(n);
    const tabfit::BasisTable<Real> table(tabfit::AX_d2fcs<Real>(n));
    for (int count = 0; count <= point_block; ++count) {
      // Points in ascending order, as in a fit, or in any order.
      std::vector<double> u(point_block);
      for (double& point : u) point = random.real(0, 2);
      if (random.chance(2)) std::sort(u.begin(), u.end());
      PointPlaces at = places(count, [&](int i) { return located(grid, u[std::size_t(i)]); });
      for (int j = 0; j <= n + 3; ++j) {
        call.check(kernel, grid, at, count, j, random, [&](int k) { return table[j][k]; });
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  }
  call.share.expect_between(0, few, kernel, "basis functions");
}

KERNEL_TEST(Point, BasisFunctionsOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8132);
  BasisCall<Real> call;
  for (int round = 0; round < 12; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        const int n = random.integer(1, 40), level = random.integer(0, n);
        const bool same = random.chance(2);
        const BasisGrid grid(n);
        PointPlaces at = places(count, [&](int) {
          return Located{same ? level : random.integer(0, n), random_place(random)};
        });
        const int j = random.chance(2) ? level + random.integer(1, 2) : random.integer(0, n + 3);
        // Some columns are mostly zero.
        const bool zeros = random.chance(3);
        call.check(kernel, grid, at, count, j, random, [&](int) {
          if (zeros && random.chance(2)) return random.chance(2) ? Real(0) : Real(-0.0);
          return element<Real>(random, data);
        });
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Point, BasisFunctionsBesideAHalfwayPlaceAreInDoubt) {
  Random random(8133);
  BasisCall<Real> call;
  for (int round = 0; round < 20000; ++round) {
    // The share of the second derivatives moves the result to the place.
    BasisGrid grid(random.integer(1, 20));
    const int k = random.integer(0, grid.n), j = k + random.integer(1, 2), count = random.integer(1, 9),
              place = random.integer(0, count - 1);
    // Often the result is just above a power of two, where roundings are relatively largest.
    const double t = random.chance(4) ? random.real(0.01, 0.99)
                                      : 0.5 + (j == k + 1 ? -1 : 1) * random.real(0, 0x1p-6);
    const auto a = static_cast<Real>(number(random, -16, -11) / grid.g),
               b = static_cast<Real>(number(random, -16, -11) / grid.g);
    grid.g = steered<Real>(grid.g, true, random, [&](Wide g) {
      const Wide rest = 1 - Wide(t);
      return (j == k + 1 ? rest : t) - g * t * rest * ((1 + rest) * a + (1 + Wide(t)) * b);
    });
    const bool same = random.chance(2);
    PointPlaces at = places(count, [&](int i) {
      return i == place ? Located{k, t}
                        : Located{same ? k : random.integer(0, grid.n), random.real(0, 1)};
    });
    call.check(kernel, grid, at, count, j, random, [&](int row) {
      return row == k ? a : row == k + 1 ? b : static_cast<Real>(number(random, -3, 3));
    });
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernel, "basis functions beside halfway");
}

// Of doubles only: a float cannot bring a result so near to a place.
TEST_P(Point, BasisFunctionsOfOtherKnotsBesideAHalfwayPlaceAreInDoubt) {
  Random random(8134);
  BasisCall<double> call;
  const BasisGrid grid(200);
  for (int round = 0; round < 3000; ++round) {
    const bool own = round % 4 == 0;
    PointPlaces at = places(point_block, [&](int i) {
      return Located{3 * i, random.real(0.01, 0.99)};
    });
    // No two intervals share an element of the column.
    std::vector<double> T(202);
    for (double& element : T) element = number(random, -3, 3) / grid.g;
    const int chosen = own ? 3 * random.integer(0, 63) + random.integer(1, 2) : 0;
    for (int i = 0; i < point_block; ++i) {
      const double t = at.t[i], a = T[std::size_t(3 * i)];
      const Wide e1 = chosen == 3 * i + 1, e2 = chosen == 3 * i + 2;
      double& b = T[std::size_t(3 * i + 1)];
      b = steered<double>(a * number(random, -15, -12), true, random,
                          [&](Wide x) { return value_of(grid.g, t, a, x, e1, e2); });
    }
    call.check(kernels(), grid, at, point_block, chosen, random,
               [&](int row) { return T[std::size_t(row)]; });
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernels(), "basis functions of other knots beside halfway");
}

// Of doubles only: cancellation leaves too few bits of a float.
TEST_P(Point, BasisFunctionsOfTermsThatCancelHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8135);
  BasisCall<double> call;
  const BasisGrid grid(200);
  for (int round = 0; round < 1500; ++round) {
    PointPlaces at = places(point_block, [&](int i) {
      return Located{3 * i, random.real(0.01, 0.99)};
    });
    std::vector<double> T(202);
    for (double& element : T) element = number(random, -3, 3) / grid.g;
    const int chosen = round % 4 == 0 ? 3 * random.integer(0, 63) + random.integer(1, 2) : 0;
    for (int i = 0; i < point_block; ++i)
      T[std::size_t(3 * i + 1)] = (cancelling(random, [&](Wide b) {
        return value_of(grid.g, at.t[i], T[std::size_t(3 * i)], b, chosen == 3 * i + 1,
                        chosen == 3 * i + 2);
      }));
    call.check(kernels(), grid, at, point_block, chosen, random,
               [&](int row) { return T[std::size_t(row)]; });
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernels(), "basis functions that cancel");
}

// -- splines --------------------------------------------------------------------------------------

/// The parts of a spline at one point, and its value and derivatives before they are rounded.
struct Curve {
  double h, g, hw, t;
  Wide a, b, e1, e2;
  Wide value() const { return value_of(g, t, a, b, e1, e2); }
  Wide slope() const {
    const Wide rest = 1 - Wide(t);
    return ((b * t * t - a * rest * rest) * (Wide(0.5) * h) + ((a - b) * g + e2 - e1) / h) / hw;
  }
  Wide curvature() const { return (a * (1 - Wide(t)) + b * t) / (Wide(hw) * hw); }
};

template <class Real>
class SplineCall {
 public:
  /// Knot values a[1..n+2] and second derivatives C[0..n+1]. wanted: bit 0 the value, 1 the slope, 2
  /// the curvature.
  template <class KnotValue, class Bend>
  void check(const tabfit::Kernels& kernel, const BasisGrid& grid, double hw, const PointPlaces& places,
             int count, int wanted, Random& random, KnotValue knot_value, Bend bend) {
    const Real* a = input(a_, grid.n + 4, random, knot_value);
    const double* C = input(C_, grid.n + 2, random, bend);
    Real* out[3];
    for (int d = 0; d < 3; ++d) out[d] = wanted >> d & 1 ? output(out_[d], count, random) : nullptr;
    const SplinePieces pieces{.grid = grid, .hw = hw, .C = C};
    const PointSet doubts = kernel.of<Real>().spline(places, count, pieces, a, out[0], out[1], out[2]);
    ASSERT_EQ(doubts & ~first_points(count), 0U);
    share.take(doubts, count);
    for (int d = 0; d < 3; ++d) ASSERT_TRUE(!out[d] || out_[d].zone_intact());
    for (int i = 0; i < count; ++i) {
      const int k = places.k[i];
      const double t = places.t[i];
      ASSERT_TRUE(in(doubts, i) || (t >= 0x1p-11 && t <= 1)) << shown(t);
      if (in(doubts, i)) continue;
      const Curve curve{grid.h, grid.g, hw, t, C[k], C[k + 1], a[k + 1], a[k + 2]};
      const Wide exact[] = {curve.value(), curve.slope(), curve.curvature()};
      for (int d = 0; d < 3; ++d) {
        if (!out[d]) continue;
        ASSERT_SAME(out[d][i], through_double<Real>(exact[d]))
            << "derivative " << d << ", point " << i << " of " << count << ", t = " << shown(t)
            << ", h = " << shown(grid.h) << ", g = " << shown(grid.g) << ", hw = " << shown(hw)
            << ", C = " << shown(C[k]) << ", " << shown(C[k + 1]) << ", a = " << shown(a[k + 1]) << ", "
            << shown(a[k + 2]);
      }
    }
  }
  Share share;

 private:
  Fenced<Real> a_{300},
      out_[3] = {Fenced<Real>(point_block), Fenced<Real>(point_block), Fenced<Real>(point_block)};
  Fenced<double> C_{300};
};

KERNEL_TEST(Point, SplinesOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8141);
  constexpr const char* names[] = {"values", "slopes", "curvatures"};
  for (int d = 0; d < 3; ++d) {
    SplineCall<Real> call;
    for (int round = 0; round < 20; ++round)
      for (int count = 0; count <= point_block; ++count) {
        const BasisGrid grid(random.integer(1, 40));
        const PointPlaces at = places(count, [&](int) { return located(grid, random.real(0, 2)); });
        call.check(
            kernel, grid, std::abs(number(random, -4, 5)), at, count, 1 << d, random,
            [&](int) { return static_cast<Real>(random.real(-1, 1)); },
            [&](int) { return random.real(-1, 1) / grid.g; });
        if (testing::Test::HasFatalFailure()) return;
      }
    call.share.expect_between(0, few, kernel, names[d]);
  }
}

KERNEL_TEST(Point, SplinesOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8142);
  SplineCall<Real> call;
  for (int round = 0; round < 10; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        const BasisGrid grid(random.integer(1, 40));
        const int level = random.integer(0, grid.n);
        const bool same = random.chance(3);
        const PointPlaces at = places(count, [&](int) {
          return Located{same ? level : random.integer(0, grid.n), random_place(random)};
        });
        // Some are straight lines, with knot values of few digits and zeros of both signs.
        const bool straight = random.chance(3);
        const double hw = random.chance(10) ? element<double>(random, data) : number(random, -104, 104);
        call.check(
            kernel, grid, hw, at, count, random.integer(0, 7), random,
            [&](int) {
              if (straight)
                return std::copysign(Real(random.integer(0, 2)), random.chance(2) ? Real(1) : Real(-1));
              return element<Real>(random, data);
            },
            [&](int) {
              if (straight && !random.chance(4)) return 0.0;
              return random.chance(2) ? element<Real>(random, data) : element<double>(random, data);
            });
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Point, SplinesBesideAHalfwayPlaceAreInDoubt) {
  Random random(8143);
  constexpr const char* names[] = {"values beside halfway", "slopes beside halfway",
                                   "curvatures beside halfway"};
  const BasisGrid grid(200);
  for (int d = 0; d < 3; ++d) {
    SplineCall<Real> call;
    for (int round = 0; round < 3000; ++round) {
      const double hw = std::abs(number(random, -2, 2));
      const PointPlaces at = places(point_block, [&](int i) {
        return Located{3 * i, random.real(0.01, 0.99)};
      });
      // In each interval knot values, second derivatives or both make most of the result.
      std::vector<Real> a(204);
      std::vector<double> C(202);
      const int scale = random.integer(-20, 8);
      for (Real& value : a) value = static_cast<Real>(number(random, random.chance(2) ? -2 : -12, 2));
      for (double& bend : C) bend = number(random, scale - 1, scale + 1) / grid.g;
      for (int i = 0; i < point_block; ++i) {
        const int k = 3 * i;
        const double t = at.t[i];
        Curve curve{
            grid.h, grid.g, hw, t, C[std::size_t(k)], 0, a[std::size_t(k) + 1], a[std::size_t(k) + 2]};
        double& b = C[std::size_t(k) + 1];
        b = steered<Real>(C[std::size_t(k)] * number(random, -16, -12), true, random, [&](Wide x) {
          curve.b = x;
          return d == 0 ? curve.value() : d == 1 ? curve.slope() : curve.curvature();
        });
      }
      call.check(
          kernel, grid, hw, at, point_block, 1 << d, random, [&](int j) { return a[std::size_t(j)]; },
          [&](int j) { return C[std::size_t(j)]; });
      if (testing::Test::HasFatalFailure()) return;
    }
    call.share.expect_between(0.05, 1, kernel, names[d]);
  }
}

// Of doubles only: cancellation leaves too few bits of a float.
TEST_P(Point, SplinesOfTermsThatCancelHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8145);
  constexpr const char* names[] = {"values that cancel", "slopes that cancel",
                                   "curvatures that cancel"};
  const BasisGrid grid(200);
  for (int d = 0; d < 3; ++d) {
    SplineCall<double> call;
    for (int round = 0; round < 1500; ++round) {
      const double hw = std::abs(number(random, -2, 2));
      // Near the left end the right second derivative changes the slope almost only through the rise.
      // In the middle two equal second derivatives add nothing to the slope.
      const int form = random.integer(0, 3), near = form == 0 ? random.integer(3, 8) : 0;
      const PointPlaces at = places(point_block, [&](int i) {
        return Located{3 * i, form == 0   ? std::ldexp(random.real(1, 2), -near)
                              : form == 1 ? 0.5 + number(random, -9, -5)
                                          : random.real(0.01, 0.99)};
      });
      std::vector<double> a(204);
      std::vector<double> C(202);
      const int scale = random.integer(-4, form == 1 ? 12 : 4),
                left = near > 0 ? random.integer(-2 * near - 2, 0) : 0;
      for (double& value : a) value = number(random, -2, 2);
      for (double& bend : C) bend = number(random, scale + left - 1, scale + left + 1) / grid.g;
      for (int i = 0; i < point_block; ++i) {
        const std::size_t k = std::size_t(3) * std::size_t(i);
        C[k + 1] = cancelling(random, [&](Wide b) {
          const Curve curve{grid.h, grid.g, hw, at.t[i], C[k], b, a[k + 1], a[k + 2]};
          return d == 0 ? curve.value() : d == 1 ? curve.slope() : curve.curvature();
        });
      }
      call.check(
          kernels(), grid, hw, at, point_block, 1 << d, random,
          [&](int j) { return a[std::size_t(j)]; }, [&](int j) { return C[std::size_t(j)]; });
      if (testing::Test::HasFatalFailure()) return;
    }
    call.share.expect_between(0.05, 1, kernels(), names[d]);
  }
}

KERNEL_TEST(Point, SplinesKeepTheSignOfZero) {
  Random random(8144);
  SplineCall<Real> call;
  const BasisGrid grid(7);
  for (const Real zero : {Real(0), Real(-0.0)})
    for (int count = 1; count <= point_block; ++count) {
      const PointPlaces at = places(count, [&](int) {
        return Located{random.integer(0, grid.n), random.real(0.01, 0.99)};
      });
      call.check(
          kernel, grid, 1, at, count, 7, random, [&](int) { return zero; }, [](int) { return 0.0; });
    }
}

// -- Chebyshev polynomials ------------------------------------------------------------------------

/// Rows of `count` elements, `stride` apart; the places between them must not be touched.
template <class T>
class Rows {
 public:
  Rows() : all_(45 * (point_block + 8)) {}
  T* lay(int rows, int count, int stride, T filler, Random& random) {
    rows_ = rows;
    count_ = count;
    stride_ = stride;
    return all_.lay(rows > 0 && count > 0 ? (rows - 1) * stride + count : 0, filler, side(random));
  }
  T& at(int j, int i) { return all_[j * stride_ + i]; }
  T* data() { return all_.data(); }
  bool gaps_intact() const {
    if (!all_.zone_intact()) return false;
    for (int at = 0; at < all_.size(); ++at)
      if (at % stride_ >= count_ && !all_.untouched(at)) return false;
    return true;
  }

 private:
  Fenced<T> all_;
  int rows_ = 0, count_ = 0, stride_ = 1;
};

/// A point of -1..1, often a special one.
template <class Real>
double chebyshev_point(Random& random, Data data) {
  if (data == Data::plain || random.chance(2)) return random.real(-1, 1);
  return random.chance(2) ? element<double>(random, data) : element<Real>(random, data);
}

/// Every degree and every count, without and with sums, at several strides.
template <class Check>
void each_block(Random& random, Check check) {
  int turn = 0;
  for (int p = 0; p <= 40; ++p)
    for (int count = 0; count <= point_block; count += p % 5 == 0 ? 1 : random.integer(1, 6))
      for (const bool sums : {false, true}) {
        const int stride = std::max(count, 1) + (random.chance(2) ? 0 : random.integer(1, 8));
        SCOPED_TRACE(testing::Message() << "degree " << p << ", " << count << " points, " << stride
                                        << " apart" << (sums ? ", with sums" : ""));
        check(p, count, stride, sums, kinds[turn++ % 5]);
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Point, ClampMovesPointsIntoTheReferenceIntervalAndReturnsThoseBeyondTheBand) {
  Random random(8150);
  Fenced<Real> v(point_block);
  Fenced<double> t(point_block);
  constexpr double band = 1.00002;
  const auto edge = static_cast<Real>(band);
  const Real inf = inf_of<Real>, few_values[] = {0,
                                                 Real(-0.0),
                                                 1,
                                                 -1,
                                                 std::nextafter(Real(1), inf),
                                                 edge,
                                                 -edge,
                                                 std::nextafter(edge, inf),
                                                 -std::nextafter(edge, inf),
                                                 std::nextafter(edge, Real(0)),
                                                 inf,
                                                 -inf,
                                                 nan_of<Real>,
                                                 -nan_of<Real>};
  for (int round = 0; round < 20; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        input(v, count, random, [&](int) {
          return random.chance(2)   ? few_values[random.integer(0, 13)]
                 : random.chance(2) ? static_cast<Real>(random.real(-1.5, 1.5))
                                    : element<Real>(random, data);
        });
        output(t, count, random);
        const PointSet beyond = kernel.of<Real>().clamp(v.data(), count, band, t.data());
        ASSERT_TRUE(t.zone_intact());
        ASSERT_EQ(beyond & ~first_points(count), 0U);
        for (int i = 0; i < count; ++i) {
          const double x = v[i];
          ASSERT_EQ(in(beyond, i), std::abs(x) > band) << shown(x);
          ASSERT_SAME(t[i], x > 1 ? 1.0 : x < -1 ? -1.0 : x);
          ASSERT_FALSE(t.untouched(i));
        }
      }
}

KERNEL_TEST(Point, ChebyshevPolynomialsAreTheRecurrenceOfEveryPoint) {
  Random random(8151);
  Rows<Real> T;
  Fenced<double> t(point_block), sums(point_block);
  Fenced<Real> a(41);
  each_block(random, [&](int p, int count, int stride, bool with_sums, Data data) {
    input(t, count, random, [&](int) { return chebyshev_point<Real>(random, data); });
    input(a, p + 1, random, [&](int) { return element<Real>(random, data); });
    output(sums, count, random);
    T.lay(std::max(p, 1) + 1, count, stride, Guarded<Real>::poison(), random);
    kernel.of<Real>().chebyshev(p, t.data(), count, stride, T.data(), with_sums ? a.data() : nullptr,
                                with_sums ? sums.data() : nullptr);
    ASSERT_TRUE(T.gaps_intact() && sums.zone_intact());
    for (int i = 0; i < count; ++i) {
      std::vector<Real> row = {1, static_cast<Real>(t[i])};
      for (int j = 2; j <= p; ++j)
        row.push_back(
            static_cast<Real>(std::fma(2 * t[i], double(row[at(j - 1)]), -double(row[at(j - 2)]))));
      double sum = 0;
      for (int j = 0; j <= p; ++j) sum = std::fma(double(a[j]), double(row[at(j)]), sum);
      for (int j = 0; j <= std::max(p, 1); ++j) ASSERT_SAME(T.at(j, i), row[at(j)]) << j << ", " << i;
      if (with_sums)
        ASSERT_SAME(sums[i], sum) << i;
      else
        ASSERT_TRUE(sums.untouched(i)) << i;
    }
  });
}

KERNEL_TEST(Point, ChebyshevDerivativesAreTheSumsOfEveryOtherRow) {
  Random random(8152);
  Rows<Real> c, D;
  Fenced<double> sums(point_block);
  Fenced<Real> a(41);
  each_block(random, [&](int p, int count, int stride, bool with_sums, Data data) {
    c.lay(p + 1, count, stride, signal_of<Real>(), random);
    for (int j = 0; j <= p; ++j)
      for (int i = 0; i < count; ++i) c.at(j, i) = element<Real>(random, data);
    input(a, p + 1, random, [&](int) { return element<Real>(random, data); });
    output(sums, count, random);
    D.lay(p + 1, count, stride, Guarded<Real>::poison(), random);
    kernel.of<Real>().chebyshev_derivatives(p, c.data(), count, stride, D.data(),
                                            with_sums ? a.data() : nullptr,
                                            with_sums ? sums.data() : nullptr);
    ASSERT_TRUE(D.gaps_intact() && c.gaps_intact() && sums.zone_intact());
    for (int i = 0; i < count; ++i) {
      double total = 0;
      for (int k = 0; k <= p; ++k) {
        double sum = 0;
        for (int j = (k + 1) % 2; j < k; j += 2)
          sum = std::fma(j == 0 ? 1.0 : 2.0, double(c.at(j, i)), sum);
        const auto d = static_cast<Real>(k * sum);
        ASSERT_SAME(D.at(k, i), d) << "row " << k << ", point " << i;
        total = std::fma(double(a[k]), double(d), total);
      }
      if (with_sums)
        ASSERT_SAME(sums[i], total) << i;
      else
        ASSERT_TRUE(sums.untouched(i)) << i;
    }
  });
}

// -- the choice -----------------------------------------------------------------------------------

TEST(Choice, IsTheLastSetThatThisProcessorRuns) {
  const tabfit::Kernels* best = nullptr;
  for (const InstructionSet& set : instruction_sets)
    if (set.runs()) best = set.kernels;
  EXPECT_EQ(&tabfit::kernels(), best);
}

}  // namespace

// tests/test_point_tables.cpp - the kernels of every set that search a table of nodes for a block of
// points and evaluate lines and cubics there. Intervals are those of single searches; accepted results
// have the bits of the formulas written out.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "kernels/points/points.hpp"
#include "kernels/scalar/search.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/kernel_sets.hpp"
#include "tests/support/points.hpp"
#include "tests/support/twin_test.hpp"

namespace {

class PointTable_f : public WithKernels {};
class PointTable_d : public WithKernels {};
WITH_ALL_KERNELS(PointTable_f);
WITH_ALL_KERNELS(PointTable_d);

template <class Real>
Real above(Real v) {
  return std::nextafter(v, inf_of<Real>);
}
template <class Real>
Real beneath(Real v) {
  return std::nextafter(v, -inf_of<Real>);
}

// -- intervals ------------------------------------------------------------------------------------

/// How strictly ascending nodes lie.
enum class Spacing {
  even,       ///< 0.01 to 1 apart, on both sides of zero or near it
  negative,   ///< likewise, all of them negative
  adjacent,   ///< each the next number above the one before
  scales,     ///< from the greatest magnitudes down to the least, and up again; zero is among them
  unbounded,  ///< the same between infinite ends
};
constexpr Spacing all_spacings[] = {Spacing::even, Spacing::negative, Spacing::adjacent,
                                    Spacing::scales, Spacing::unbounded};

template <class Real>
std::vector<Real> ascending_nodes(Random& random, int n, Spacing spacing) {
  using Limits = std::numeric_limits<Real>;
  std::vector<Real> x;
  if (spacing == Spacing::scales || spacing == Spacing::unbounded) {
    constexpr int most = Limits::max_exponent, least = Limits::min_exponent - Limits::digits;
    for (int i = 0; i < n; ++i) {
      const double place = 2.0 * i / (n - 1) - 1, power = least + (most - least) * std::abs(place);
      const auto size = static_cast<Real>(std::exp2(std::min(power, most - 0.01)));
      x.push_back(place < 0 ? -size : size);
      if (n > 2 && i == n / 2) x.back() = 0;
    }
    for (int i = 1; i < n; ++i) x[at(i)] = std::max(x[at(i)], above(x[at(i - 1)]));
    if (spacing == Spacing::unbounded) x.front() = -inf_of<Real>, x.back() = inf_of<Real>;
    return x;
  }
  auto node = static_cast<Real>(spacing == Spacing::negative ? -n - random.real(1, 3)
                                : random.chance(4)           ? 0.0
                                                             : random.real(-n, 1));
  for (int i = 0; i < n; ++i) {
    x.push_back(node);
    node = spacing == Spacing::adjacent
               ? above(node)
               : std::max(above(node), static_cast<Real>(node + random.real(0.01, 1)));
  }
  return x;
}

/// A number between a and b, or one of them; any number if both are infinite.
template <class Real>
Real between(Random& random, Real a, Real b) {
  const Real low = std::max(a, -std::numeric_limits<Real>::max()),
             high = std::min(b, std::numeric_limits<Real>::max());
  const double share = random.real(0, 1);
  return std::clamp(static_cast<Real>(low * (1 - share) + high * share), low, high);
}

/// A table of nodes, and blocks of points to be found in it one after the other.
template <class Real>
class FindCall {
 public:
  explicit FindCall(int most) : x_(most) {}

  void table(const std::vector<Real>& x, Random& random) {
    n_ = static_cast<int>(x.size());
    input(x_, n_, random, [&](int i) { return x[at(i)]; });
    last_ = random.integer(0, n_ - 2);
  }
  Real node(int i) { return x_[i]; }
  int last() const { return last_; }

  template <class Element>
  void check(const tabfit::Kernels& kernel, int count, Random& random, Element element) {
    const Real *x = x_.data(), *t = input(t_, count, random, element);
    std::int32_t* k = output(k_, point_block, random);
    const std::int32_t before = last_;
    const PointSet outside = kernel.of<Real>().find(x, n_, t, count, k, last_);
    ASSERT_TRUE(k_.zone_intact());
    ASSERT_EQ(outside & ~first_points(count), 0U);
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(in(outside, i), !(x[0] < t[i] && t[i] < x[n_ - 1])) << where(i, count, before);
      if (in(outside, i)) continue;
      ASSERT_EQ(k[i], tabfit::V_search(double(t[i]), x, n_)) << where(i, count, before);
      ++found_;
      if (k[i] == before) ++found_at_once_;
    }
    ASSERT_TRUE(last_ >= 0 && last_ <= n_ - 2) << last_ << " after " << count << " of " << n_;
    if (count == 0 || !in(outside, count - 1)) {
      ASSERT_EQ(last_, count == 0 ? before : k[count - 1]) << "after " << count << " points";
    }
  }
  /// The number of points inside, and of those in the interval found last.
  void expect_found(long long least, long long least_at_once) const {
    EXPECT_GE(found_, least);
    EXPECT_GE(found_at_once_, least_at_once);
  }

 private:
  std::string where(int i, int count, int before) {
    return "point " + std::to_string(i) + " of " + std::to_string(count) + ", " + shown(t_[i]) +
           ", among " + std::to_string(n_) + " nodes, after interval " + std::to_string(before);
  }

  int n_ = 0;
  std::int32_t last_ = 0;
  long long found_ = 0, found_at_once_ = 0;
  Fenced<Real> x_, t_{point_block};
  Fenced<std::int32_t> k_{point_block};
};

/// A point for interval i: mostly inside, else on its nodes, beside them, or far from all nodes.
template <class Real>
Real any_point(Random& random, FindCall<Real>& call, int i) {
  const Real left = call.node(i), right = call.node(i + 1);
  switch (random.integer(0, 11)) {
    case 0:
      return left;
    case 1:
      return right;
    case 2:
      return random.chance(2) ? beneath(left) : above(left);
    case 3:
      return random.chance(2) ? beneath(right) : above(right);
    case 4: {
      const Real odd[] = {inf_of<Real>, -inf_of<Real>, nan_of<Real>, -nan_of<Real>, 0, Real(-0.0)};
      return random.chance(4) ? odd[random.integer(0, 5)] : between(random, left, right);
    }
    default:
      return between(random, left, right);
  }
}

KERNEL_TEST(PointTable, FindsTheIntervalsOfSingleSearches) {
  Random random(8201);
  FindCall<Real> call(70);
  for (const Spacing spacing : all_spacings)
    for (int n = 2; n <= 70; ++n) {
      call.table(ascending_nodes<Real>(random, n, spacing), random);
      for (int count = 0; count <= point_block; ++count) {
        call.check(kernel, count, random,
                   [&](int) { return any_point(random, call, random.integer(0, n - 2)); });
        if (testing::Test::HasFatalFailure()) return;
      }
    }
  call.expect_found(400000, 10000);
}

KERNEL_TEST(PointTable, FindsTheIntervalsOfSingleSearchesInLargeTables) {
  Random random(8202);
  FindCall<Real> call(70000);
  for (const int n : {127, 128, 129, 255, 256, 257, 1000, 4095, 4096, 4097, 65535, 65536, 65537, 70000})
    for (const Spacing spacing : {Spacing::even, Spacing::negative, Spacing::adjacent}) {
      call.table(ascending_nodes<Real>(random, n, spacing), random);
      for (int count = 0; count <= point_block; ++count) {
        // Sorted and unsorted points, both ends among them.
        const int from = random.integer(0, n - 2), step = random.chance(2) ? n / 64 : 0;
        call.check(kernel, count, random, [&](int j) {
          const int i = step > 0           ? (from + j * step) % (n - 1)
                        : random.chance(9) ? random.chance(2) ? 0 : n - 2
                                           : random.integer(0, n - 2);
          return any_point(random, call, i);
        });
        if (testing::Test::HasFatalFailure()) return;
      }
    }
}

KERNEL_TEST(PointTable, FindsPointsThatLeaveTheLastInterval) {
  Random random(8203);
  FindCall<Real> call(40);
  for (int round = 0; round < 60; ++round) {
    const int n = random.integer(2, 40);
    call.table(ascending_nodes<Real>(random, n, all_spacings[round % 5]), random);
    for (int count = 1; count <= point_block; ++count) {
      // All points, or all but one, lie in the interval of the last point before.
      const int last = call.last(), place = random.integer(0, count);
      call.check(kernel, count, random, [&](int i) {
        if (i == place)
          return any_point(random, call, random.chance(2) ? last : random.integer(0, n - 2));
        return between(random, call.node(last), call.node(last + 1));
      });
      if (testing::Test::HasFatalFailure()) return;
    }
  }
  call.expect_found(80000, 60000);
}

// -- lines ----------------------------------------------------------------------------------------

/// The line through (x0, y0) and (x1, y1), before it is rounded to double.
Wide line_at(Wide t, double x0, double x1, Wide y0, Wide y1) {
  return (t - x0) * ((y1 - y0) / (x1 - x0)) + y0;
}

/// The intervals of a block, then an index that may be used, up to a whole number of vectors.
std::int32_t* intervals(Fenced<std::int32_t>& array, const std::vector<std::int32_t>& k,
                        Random& random) {
  std::int32_t* all = array.lay(point_block, 0, side(random));
  std::copy(k.begin(), k.end(), all);
  return all;
}

/// Points t in the intervals k of a table.
template <class Real>
struct TablePoints {
  std::vector<Real> x, y;       ///< of a cubic: its coefficients, in four blocks
  std::vector<std::int32_t> k;  ///< and what find leaves behind them
  std::vector<Real> t;
};

template <class Real>
class LineCall {
 public:
  void check(const tabfit::Kernels& kernel, const TablePoints<Real>& table, Random& random) {
    const int n = static_cast<int>(table.x.size()), count = static_cast<int>(table.t.size());
    const Real *x = input(x_, n, random, [&](int i) { return table.x[at(i)]; }),
               *y = input(y_, n, random, [&](int i) { return table.y[at(i)]; }),
               *t = input(t_, count, random, [&](int i) { return table.t[at(i)]; });
    const std::int32_t* k = intervals(k_, table.k, random);
    Real* out = output(out_, count, random);
    const PointSet doubts = kernel.of<Real>().line(x, y, k, t, count, out);
    ASSERT_TRUE(out_.zone_intact());
    ASSERT_EQ(doubts & ~first_points(count), 0U);
    for (int i = 0; i < count; ++i) {
      if (in(doubts, i)) continue;
      const int j = k[i];
      ASSERT_SAME(out[i], through_double<Real>(line_at(t[i], x[j], x[j + 1], y[j], y[j + 1])))
          << "point " << i << " of " << count << ", t = " << shown(t[i]) << ", from " << shown(x[j])
          << ", " << shown(y[j]) << " to " << shown(x[j + 1]) << ", " << shown(y[j + 1]);
    }
    share.take(doubts, count);
  }
  Share share;

 private:
  Fenced<Real> x_{200}, y_{200}, t_{point_block}, out_{point_block};
  Fenced<std::int32_t> k_{point_block};
};

/// Points strictly inside a table of even nodes, with their intervals as the kernel leaves them: in one
/// interval, in ascending order, or anywhere.
template <class Real>
TablePoints<Real> found_points(const tabfit::Kernels& kernel, int count, Random& random) {
  TablePoints<Real> table;
  const int n = random.integer(2, 40), one = random.integer(0, n - 2), kind = random.integer(0, 2);
  table.x = ascending_nodes<Real>(random, n, random.chance(4) ? Spacing::negative : Spacing::even);
  const auto& x = table.x;
  while (static_cast<int>(table.t.size()) < count) {
    const int i = kind == 0 ? one : random.integer(0, n - 2);
    const Real t = between(random, x[at(i)], x[at(i + 1)]);
    if (x.front() < t && t < x.back()) table.t.push_back(t);
  }
  if (kind == 1) std::sort(table.t.begin(), table.t.end());
  table.k.assign(point_block, Guarded<std::int32_t>::poison());
  std::int32_t last = 0;
  EXPECT_EQ(kernel.of<Real>().find(x.data(), n, table.t.data(), count, table.k.data(), last), 0U);
  return table;
}

KERNEL_TEST(PointTable, LinesOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8211);
  LineCall<Real> call;
  for (int round = 0; round < 60; ++round)
    for (int count = 0; count <= point_block; ++count) {
      auto table = found_points<Real>(kernel, count, random);
      for (std::size_t i = 0; i < table.x.size(); ++i)
        table.y.push_back(static_cast<Real>(random.real(-1, 1)));
      call.check(kernel, table, random);
      if (testing::Test::HasFatalFailure()) return;
    }
  call.share.expect_between(0, few, kernel, "lines");
}

/// Points in or on any intervals of any nodes.
template <class Real>
TablePoints<Real> any_points(int count, Random& random) {
  TablePoints<Real> table;
  const int n = random.integer(2, 40), one = random.integer(0, n - 2);
  table.x = ascending_nodes<Real>(random, n, all_spacings[random.integer(0, 4)]);
  const bool same = random.chance(3);
  for (int i = 0; i < count; ++i) {
    const int k = same ? one : random.integer(0, n - 2);
    const Real left = table.x[at(k)], right = table.x[at(k + 1)];
    table.k.push_back(k);
    table.t.push_back(random.chance(9) ? random.chance(2) ? left : right
                                       : between(random, left, right));
  }
  return table;
}

KERNEL_TEST(PointTable, LinesOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8212);
  LineCall<Real> call;
  for (int round = 0; round < 40; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        auto table = any_points<Real>(count, random);
        const Real level = element<Real>(random, data);
        const bool flat = random.chance(5);
        for (std::size_t i = 0; i < table.x.size(); ++i)
          table.y.push_back(flat && !random.chance(4) ? level : element<Real>(random, data));
        call.check(kernel, table, random);
        if (testing::Test::HasFatalFailure()) return;
      }
}

/// 64 intervals 2 i of a table, each with nodes of its own, the left one often small beside the point.
template <class Real>
TablePoints<Real> own_intervals(Random& random) {
  TablePoints<Real> table;
  for (int i = 0; i < point_block; ++i) {
    const auto left = static_cast<Real>(number(random, random.chance(2) ? -2 : -20, 2)),
               right = static_cast<Real>(left + std::abs(number(random, -2, 2)));
    table.x.insert(table.x.end(), {left, right});
    table.k.push_back(2 * i);
    table.t.push_back(static_cast<Real>(left + random.real(0.01, 0.99) * (double(right) - left)));
  }
  table.y.resize(table.x.size());
  return table;
}

// Of doubles only: a float cannot bring a result so near to a place.
TEST_P(PointTable_d, LinesBesideAHalfwayPlaceAreInDoubt) {
  Random random(8213);
  LineCall<double> call;
  for (int round = 0; round < 3000; ++round) {
    auto table = own_intervals<double>(random);
    for (int i = 0; i < point_block; ++i) {
      // One ordinate makes most of the result; the other moves it to the place.
      const std::size_t k = at(2 * i), own = random.chance(2) ? 1 : 0;
      const double most = table.y[k + 1 - own] = number(random, -2, 2);
      const Wide t = table.t[at(i)];
      table.y[k + own] = steered<double>(most * number(random, -16, -12), true, random, [&](Wide y) {
        return line_at(t, table.x[k], table.x[k + 1], own ? most : y, own ? y : most);
      });
    }
    call.check(kernels(), table, random);
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernels(), "lines beside halfway");
}

KERNEL_TEST(PointTable, LinesBesideAHalfwayPlaceNearTheLeftNodeAreInDoubt) {
  Random random(8214);
  LineCall<Real> call;
  for (int round = 0; round < 500; ++round) {
    auto table = own_intervals<Real>(random);
    for (int i = 0; i < point_block; ++i) {
      // The place is half a step below the left ordinate. The choice of the point brings the line as
      // near to it as the step of its type allows; the other ordinate does the rest.
      const std::size_t k = at(2 * i);
      table.x[k] = 0;
      table.x[k + 1] = static_cast<Real>(random.real(1, 2));
      const auto y0 = table.y[k] = static_cast<Real>(random.real(1, 2));
      const double h = table.x[k + 1];
      const Wide place = halfway_beside<Real>(beneath(y0), true, random);
      const Real t = table.t[at(i)] = static_cast<Real>((y0 - place) / y0 * h);
      table.y[k + 1] = static_cast<Real>(
          toward(place, double(y0) * eps_of<Real>, [&](Wide y) { return line_at(t, 0, h, y0, y); }));
    }
    call.check(kernel, table, random);
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernel, "lines beside halfway, near a node");
}

// Of doubles only: cancellation leaves too few bits of a float.
TEST_P(PointTable_d, LinesThatCancelHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8215);
  LineCall<double> call;
  for (int round = 0; round < 6000; ++round) {
    auto table = own_intervals<double>(random);
    for (int i = 0; i < point_block; ++i) {
      const std::size_t k = at(2 * i);
      double &x0 = table.x[k], &x1 = table.x[k + 1], &y0 = table.y[k], &t = table.t[at(i)];
      y0 = number(random, -2, 2);
      if (random.chance(2)) {
        // Every quantity is just above a power of two, where its rounding is relatively largest.
        const auto power = [&](int e) { return std::ldexp(random.real(1, 1 + 0x1p-6), e); };
        x0 = power(random.integer(-16, -13));
        t = power(0);
        x1 = power(random.integer(12, 15));
        y0 = power(0);
      }
      table.y[k + 1] = cancelling(random, [&](Wide y) { return line_at(t, x0, x1, y0, y); });
    }
    call.check(kernels(), table, random);
    if (testing::Test::HasFatalFailure()) return;
  }
  call.share.expect_between(0.05, 1, kernels(), "lines that cancel");
}

KERNEL_TEST(PointTable, LinesKeepTheSignOfZero) {
  Random random(8216);
  LineCall<Real> call;
  for (int round = 0; round < 20; ++round)
    for (int count = 0; count <= point_block; ++count) {
      // Zeros, and ordinates so small that no number lies between them.
      auto table = any_points<Real>(count, random);
      const int most = random.integer(0, 2);
      for (std::size_t i = 0; i < table.x.size(); ++i)
        table.y.push_back(std::copysign(
            static_cast<Real>(random.integer(0, most)) * std::numeric_limits<Real>::denorm_min(),
            random.chance(2) ? Real(1) : Real(-1)));
      call.check(kernel, table, random);
      if (testing::Test::HasFatalFailure()) return;
    }
}

// -- cubics ---------------------------------------------------------------------------------------

/// y + b r + c r^2 + d r^3 and its derivatives, before they are rounded.
Wide cubic_at(int derivative, Wide r, Wide y, Wide b, Wide c, Wide d) {
  switch (derivative) {
    case 0:
      return ((r * d + c) * r + b) * r + y;
    case 1:
      return (2 * c + 3 * d * r) * r + b;
    default:
      return 2 * c + 6 * d * r;
  }
}

template <class Real>
class CubicCall {
 public:
  /// wanted: bit 0 the value, 1 the slope, 2 the curvature.
  void check(const tabfit::Kernels& kernel, const TablePoints<Real>& table, int wanted,
             Random& random) {
    const int n = static_cast<int>(table.x.size()), count = static_cast<int>(table.t.size());
    const Real *x = input(x_, n, random, [&](int i) { return table.x[at(i)]; }),
               *C = input(C_, 4 * n, random, [&](int i) { return table.y[at(i)]; }),
               *t = input(t_, count, random, [&](int i) { return table.t[at(i)]; });
    const std::int32_t* k = intervals(k_, table.k, random);
    Real* out[3];
    for (int d = 0; d < 3; ++d) out[d] = wanted >> d & 1 ? output(out_[d], count, random) : nullptr;
    const PointSet doubts = kernel.of<Real>().cubic(x, C, n, k, t, count, out[0], out[1], out[2]);
    ASSERT_EQ(doubts & ~first_points(count), 0U);
    share.take(doubts, count);
    for (int d = 0; d < 3; ++d) {
      if (!out[d]) continue;
      ASSERT_TRUE(out_[d].zone_intact());
      for (int i = 0; i < count; ++i) {
        if (in(doubts, i)) continue;
        const Real* own = C + k[i];
        const double r = double(t[i]) - x[k[i]];
        ASSERT_SAME(out[d][i],
                    through_double<Real>(cubic_at(d, r, own[0], own[n], own[2 * n], own[3 * n])))
            << "derivative " << d << ", point " << i << " of " << count << ", r = " << shown(r)
            << ", y = " << shown(own[0]) << ", b = " << shown(own[n]) << ", c = " << shown(own[2 * n])
            << ", d = " << shown(own[3 * n]);
      }
    }
  }
  Share share;

 private:
  Fenced<Real> x_{200}, C_{800}, t_{point_block},
      out_[3] = {Fenced<Real>(point_block), Fenced<Real>(point_block), Fenced<Real>(point_block)};
  Fenced<std::int32_t> k_{point_block};
};

constexpr const char* derivatives[] = {"values", "slopes", "curvatures"};

KERNEL_TEST(PointTable, CubicsOfOrdinaryDataAreSeldomInDoubt) {
  Random random(8221);
  for (int d = 0; d < 3; ++d) {
    CubicCall<Real> call;
    for (int round = 0; round < 20; ++round)
      for (int count = 0; count <= point_block; ++count) {
        auto table = found_points<Real>(kernel, count, random);
        for (std::size_t i = 0; i < 4 * table.x.size(); ++i)
          table.y.push_back(static_cast<Real>(random.real(-1, 1)));
        call.check(kernel, table, 1 << d, random);
        if (testing::Test::HasFatalFailure()) return;
      }
    call.share.expect_between(0, few, kernel, derivatives[d]);
  }
}

KERNEL_TEST(PointTable, CubicsOfAnyDataHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8222);
  CubicCall<Real> call;
  for (int round = 0; round < 20; ++round)
    for (const Data data : kinds)
      for (int count = 0; count <= point_block; ++count) {
        auto table = any_points<Real>(count, random);
        // Some are lines or parabolas, with zeros of both signs.
        const std::size_t n = table.x.size(), zeros = random.chance(3) ? at(random.integer(1, 3)) : 4;
        for (std::size_t i = 0; i < 4 * n; ++i)
          table.y.push_back(i < zeros * n      ? element<Real>(random, data)
                            : random.chance(2) ? Real(0)
                                               : Real(-0.0));
        call.check(kernel, table, random.integer(0, 7), random);
        if (testing::Test::HasFatalFailure()) return;
      }
}

/// The four coefficients of the cubic of interval 2 i.
template <class Real>
std::array<Real*, 4> coefficients(TablePoints<Real>& table, int i) {
  const std::size_t n = table.x.size(), k = at(2 * i);
  return {&table.y[k], &table.y[n + k], &table.y[2 * n + k], &table.y[3 * n + k]};
}

// Of doubles only: a float cannot bring a result so near to a place.
TEST_P(PointTable_d, CubicsBesideAHalfwayPlaceAreInDoubt) {
  Random random(8223);
  for (int derivative = 0; derivative < 3; ++derivative) {
    CubicCall<double> call;
    for (int round = 0; round < 2500; ++round) {
      auto table = own_intervals<double>(random);
      table.y.resize(4 * table.x.size());
      for (int i = 0; i < point_block; ++i) {
        // All terms make the result; a random one moves it to the place.
        const auto terms = coefficients(table, i);
        const double r = table.t[at(i)] - table.x[at(2 * i)];
        const int own = random.integer(derivative, 3);
        double size = 1;
        for (int j = 0; j < 4; ++j, size /= r)
          *terms[at(j)] = size * number(random, random.chance(2) ? -2 : -12, 2);
        double& steering = *terms[at(own)];
        steering = steered<double>(steering * number(random, -16, -12), true, random, [&](Wide v) {
          Wide all[4];
          for (int j = 0; j < 4; ++j) all[j] = j == own ? v : Wide(*terms[at(j)]);
          return cubic_at(derivative, r, all[0], all[1], all[2], all[3]);
        });
      }
      call.check(kernels(), table, 1 << derivative, random);
      if (testing::Test::HasFatalFailure()) return;
    }
    call.share.expect_between(0.05, 1, kernels(), derivatives[derivative]);
  }
}

KERNEL_TEST(PointTable, CubicsBesideAHalfwayPlaceNearTheLeftNodeAreInDoubt) {
  Random random(8224);
  for (int derivative = 0; derivative < 3; ++derivative) {
    CubicCall<Real> call;
    for (int round = 0; round < 500; ++round) {
      auto table = own_intervals<Real>(random);
      table.y.assign(4 * table.x.size(), 0);
      for (int i = 0; i < point_block; ++i) {
        // The place is half a step from the first term. Each other term brings the result nearer, down
        // to its own step. The curvature has only one other term, so the node does it too.
        const auto terms = coefficients(table, i);
        Real& node = table.x[at(2 * i)] = 0;
        const Real t = table.t[at(i)] = static_cast<Real>(random.real(1, 2));
        Wide all[4] = {0, 0, 0, 0};
        const auto with = [&](Wide& variable) {
          return [&](Wide v) {
            variable = v;
            return cubic_at(derivative, Wide(t) - node, all[0], all[1], all[2], all[3]);
          };
        };
        all[derivative] = *terms[at(derivative)] = static_cast<Real>(number(random, -2, 2));
        const Wide place = halfway_beside<Real>(static_cast<Real>(with(all[3])(0)), true, random);
        for (int j = derivative + 1; j < 4; ++j)
          all[j] = *terms[at(j)] = static_cast<Real>(toward(place, eps_of<Real>, with(all[j])));
        if (derivative == 2)
          node = static_cast<Real>(toward(place, eps_of<Real>, [&](Wide v) {
            return cubic_at(2, Wide(t) - v, 0, 0, all[2], all[3]);
          }));
      }
      call.check(kernel, table, 1 << derivative, random);
      if (testing::Test::HasFatalFailure()) return;
    }
    call.share.expect_between(0.05, 1, kernel, derivatives[derivative]);
  }
}

// Of doubles only: cancellation leaves too few bits of a float.
TEST_P(PointTable_d, CubicsOfTermsThatCancelHaveTheBitsOfTheFormulaOrAreInDoubt) {
  Random random(8225);
  for (int derivative = 0; derivative < 3; ++derivative) {
    CubicCall<double> call;
    for (int round = 0; round < 4000; ++round) {
      auto table = own_intervals<double>(random);
      table.y.resize(4 * table.x.size());
      for (int i = 0; i < point_block; ++i) {
        const auto terms = coefficients(table, i);
        const double r = table.t[at(i)] - table.x[at(2 * i)];
        // From the cubic term down, each term is added to r times the sum so far, and one term cancels
        // that.
        const int cancels = random.integer(derivative, 2);
        Wide all[4] = {0, 0, 0, number(random, -2, 2)};
        *terms[3] = static_cast<double>(all[3]);
        for (int j = 2; j >= derivative; --j) {
          // The lower terms are zero: the result is the sum so far times a power of r.
          const auto with = [&](Wide v) {
            all[j] = v;
            return cubic_at(derivative, r, all[0], all[1], all[2], all[3]);
          };
          const Wide before = with(0), one = with(1) - before;
          all[j] = *terms[at(j)] = j == cancels
                                       ? cancelling(random, with)
                                       : static_cast<double>(before / one) * number(random, -3, 1);
        }
      }
      call.check(kernels(), table, 1 << derivative, random);
      if (testing::Test::HasFatalFailure()) return;
    }
    call.share.expect_between(0.05, 1, kernels(), derivatives[derivative]);
  }
}

KERNEL_TEST(PointTable, CubicsKeepTheSignOfZero) {
  Random random(8226);
  CubicCall<Real> call;
  for (int round = 0; round < 20; ++round)
    for (int count = 0; count <= point_block; ++count) {
      auto table = any_points<Real>(count, random);
      const int most = random.integer(0, 2);
      for (std::size_t i = 0; i < 4 * table.x.size(); ++i)
        table.y.push_back(std::copysign(
            static_cast<Real>(random.integer(0, most)) * std::numeric_limits<Real>::denorm_min(),
            random.chance(2) ? Real(1) : Real(-1)));
      call.check(kernel, table, random.integer(1, 7), random);
      if (testing::Test::HasFatalFailure()) return;
    }
}

}  // namespace

// The Householder reduction: what it keeps of a problem, its range, and what it takes from the heap.
#include "tabfit/orthogonal.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::table_view;
using tabfit::detail::reduce;
using tabfit::detail::reduced;

namespace {

struct Shape {
  int m, n;
};
/// Below and above the sizes at which blocks of reflections begin, with every remainder of a block.
constexpr Shape shapes[] = {{1, 1},    {1, 4},    {2, 5},    {5, 2},   {7, 7},    {30, 4},  {40, 13},
                            {180, 15}, {181, 16}, {200, 17}, {64, 64}, {100, 71}, {60, 100}};

template <class Real>
struct Problem {
  int m, n;
  std::vector<Real> A, b, w;

  table_view<Real> view() const { return table_view<Real>::column_major(A.data(), m, n); }
  /// Column j of A, or b for j = n, times the roots of the weights.
  std::vector<long double> column(int j) const {
    std::vector<long double> y;
    for (int i = 0; i < m; ++i) {
      const auto row = static_cast<std::size_t>(i);
      const Real v = j < n ? view()(i, j) : b[row];
      y.push_back((w.empty() ? 1.0L : std::sqrt(static_cast<long double>(w[row]))) * v);
    }
    return y;
  }
};

/// Columns of magnitudes 10^-scale..10^scale, and b too.
template <class Real>
Problem<Real> random_problem(Random& random, Shape shape, double scale, bool weighted) {
  Problem<Real> p{shape.m, shape.n, {}, {}, {}};
  const auto fill = [&](std::vector<Real>& values) {
    const double unit = std::pow(10.0, random.real(-scale, scale));
    for (int i = 0; i < shape.m; ++i) values.push_back(static_cast<Real>(unit * random.real(-1, 1)));
  };
  for (int j = 0; j < shape.n; ++j) fill(p.A);
  fill(p.b);
  for (int i = 0; weighted && i < shape.m; ++i)
    p.w.push_back(static_cast<Real>(std::pow(10.0, random.real(-3, 3))));
  return p;
}

long double length(const std::vector<long double>& y) {
  long double greatest = 0, sum = 0;
  for (long double v : y) greatest = std::max(greatest, std::abs(v));
  for (long double v : y) sum += greatest > 0 ? (v / greatest) * (v / greatest) : 0;
  return greatest * std::sqrt(sum);
}

/// The greatest difference of products of two columns, [A b]'[A b] against [R c]'[R c], relative to the
/// columns' lengths, in units of the double epsilon.
template <class Real>
double lost(const Problem<Real>& p, const reduced& r) {
  long double worst = 0;
  std::vector<std::vector<long double>> before, after;
  for (int j = 0; j <= p.n; ++j) {
    before.push_back(p.column(j));
    after.emplace_back();
    for (int i = 0; i < r.rows; ++i)
      after.back().push_back(j < p.n ? r(i, j) : r.c[static_cast<std::size_t>(i)]);
    if (j == p.n) after.back().push_back(r.rest);
  }
  for (std::size_t j = 0; j < before.size(); ++j)
    for (std::size_t k = 0; k <= j; ++k) {
      const long double lj = length(before[j]), lk = length(before[k]);
      long double difference = 0;
      for (std::size_t i = 0; i < before[j].size(); ++i)
        difference += (before[j][i] / lj) * (before[k][i] / lk);
      for (std::size_t i = 0; i < after[k].size() && i < after[j].size(); ++i)
        difference -= (after[j][i] / lj) * (after[k][i] / lk);
      worst = std::max(worst, std::abs(difference));
    }
  return static_cast<double>(worst / std::numeric_limits<double>::epsilon());
}

}  // namespace

// 4.1 epsilon was the most that was lost. The bound of the theory, with room for every sum of m terms,
// is some hundred times as large.
TWIN_TEST(Reduce, KeepsTheProductsOfAllColumns) {
  Random random(11);
  for (const Shape shape : shapes)
    for (const double scale : {0.0, sizeof(Real) == 4 ? 30.0 : 300.0})
      for (const bool weighted : {false, true}) {
        const auto p = random_problem<Real>(random, shape, scale, weighted);
        const reduced r = reduce<Real>(p.view(), p.b, p.w);
        EXPECT_EQ(r.rows, std::min(p.m, p.n));
        EXPECT_EQ(r.columns, p.n);
        EXPECT_LT(lost(p, r), 16) << p.m << " by " << p.n << ", scale " << scale;
        if (p.m <= p.n) {
          EXPECT_EQ(r.rest, 0.0);
        }
        for (int j = 0; j < p.n; ++j)
          for (int i = j + 1; i < r.rows; ++i) EXPECT_EQ(r(i, j), 0.0);
      }
}

TWIN_TEST(Reduce, TakesATriangleForADoublyCopiedColumn) {
  Random random(12);
  auto p = random_problem<Real>(random, {50, 3}, 0, false);
  std::copy(p.A.begin(), p.A.begin() + 50, p.A.begin() + 100);  // column 2 is column 0
  const reduced r = reduce<Real>(p.view(), p.b);
  EXPECT_LT(std::abs(r(2, 2)), 4 * std::numeric_limits<double>::epsilon() * std::abs(r(0, 0)));
  EXPECT_NEAR(r(0, 2), r(0, 0), 4 * std::numeric_limits<double>::epsilon() * std::abs(r(0, 0)));
}

// (3, 4) of length 5, by hand: R = -5, c = -(3 b0 + 4 b1) / 5.
TWIN_TEST(Reduce, OfTwoRowsIsTheOneByHand) {
  const std::vector<Real> A = {3, 4}, b = {1, 2};
  const reduced r = reduce<Real>(table_view<Real>::column_major(A.data(), 2, 1), b);
  EXPECT_NEAR(r(0, 0), -5, 1e-15);
  EXPECT_NEAR(r.c[0], -11.0 / 5, 1e-15);
  EXPECT_NEAR(r.rest, 2.0 / 5, 1e-15);
}

TWIN_TEST(Reduce, OfZeros) {
  const std::vector<Real> A(12), b(4);
  const reduced r = reduce<Real>(table_view<Real>::column_major(A.data(), 4, 3), b);
  EXPECT_EQ(r.R, std::vector<double>(9));
  EXPECT_EQ(r.c, std::vector<double>(3));
  EXPECT_EQ(r.rest, 0.0);
}

TWIN_TEST(Reduce, WithoutRowsOrColumns) {
  const std::vector<Real> b = {3, 4};
  const reduced none = reduce<Real>(table_view<Real>::column_major(b.data(), 2, 0), b);
  EXPECT_EQ(none.rows, 0);
  EXPECT_EQ(none.rest, 5.0);
  const reduced empty = reduce<Real>(table_view<Real>::column_major(b.data(), 0, 2), {});
  EXPECT_EQ(empty.rows, 0);
  EXPECT_EQ(empty.columns, 2);
}

TWIN_TEST(Reduce, ReadsEveryLayoutAlike) {
  Random random(13);
  const auto p = random_problem<Real>(random, {31, 14}, 0, false);
  std::vector<Real> by_rows;
  for (int i = 0; i < p.m; ++i)
    for (int j = 0; j < p.n; ++j) by_rows.push_back(p.view()(i, j));
  const reduced r = reduce<Real>(p.view(), p.b);
  const reduced s = reduce<Real>(table_view<Real>::row_major(by_rows.data(), p.m, p.n), p.b);
  EXPECT_EQ(r.R, s.R);
  EXPECT_EQ(r.c, s.c);
}

TWIN_TEST(Reduce, GivesBackAllMemoryWhenARequestIsRefused) {
  Random random(14);
  const auto p = random_problem<Real>(random, {200, 17}, 0, true);
  EXPECT_GT(refuse_each_request([&] { return reduce<Real>(p.view(), p.b, p.w).rest; }), 5);
}

// The triangle of a tall matrix by its normal equations: what it is, when it is refused, and that a constrained
// solution has the digits of one from Householder's triangle on both sides of the limit.
#include "tabfit/normal_equations.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tabfit/constrained.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::constrained;
using tabfit::table_view;
using tabfit::detail::at;
using tabfit::detail::double_columns;
using tabfit::detail::reduce;
using tabfit::detail::reduce_by_normal_equations;
using tabfit::detail::reduced;

namespace {

constexpr int m = 60, n = 7;

/// Random, but for column 6: column 0 and a part that is so much smaller. By columns.
template <class Real>
std::vector<Real> matrix(double part) {
  Random random(7);
  std::vector<Real> A(at(m * n));
  for (Real& a : A) a = static_cast<Real>(random.real(-1.0, 1.0));
  for (int i = 0; i < m; ++i) {
    Real& last = A[at(i, n - 1, m)];
    last = A[at(i)] + static_cast<Real>(part) * last;
  }
  return A;
}

template <class Real>
std::vector<Real> right_side() {
  Random random(11);
  std::vector<Real> b(at(m));
  for (Real& value : b) value = static_cast<Real>(random.real(-1.0, 1.0));
  return b;
}

template <class Real>
bool by_normal_equations(const std::vector<Real>& A, const std::vector<Real>& b, reduced& r) {
  const std::vector<double> wide(b.begin(), b.end());
  return reduce_by_normal_equations<Real>(
      double_columns<Real>(table_view<Real>::column_major(A.data(), m, n)), wide, r);
}

}  // namespace

TWIN_TEST(NormalEquations, GiveTheTriangleOfHouseholderButForSigns) {
  const auto A = matrix<Real>(1.0), b = right_side<Real>();
  reduced r;
  ASSERT_TRUE(by_normal_equations(A, b, r));
  const reduced h = reduce<Real>(table_view<Real>::column_major(A.data(), m, n), b);
  for (int i = 0; i < n; ++i) {
    const double sign = h(i, i) < 0 ? -1 : 1;
    for (int j = 0; j < n; ++j) EXPECT_NEAR(r(i, j), sign * h(i, j), 1e-13);
    EXPECT_NEAR(r.c[at(i)], sign * h.c[at(i)], 1e-13);
  }
  EXPECT_NEAR(r.rest, h.rest, 1e-13);
}

TWIN_TEST(NormalEquations, ReadTablesByRowsAlike) {
  const auto A = matrix<Real>(1.0), b = right_side<Real>();
  std::vector<Real> rows(A.size());
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) rows[at(j, i, n)] = A[at(i, j, m)];
  const double_columns<Real> columns(table_view<Real>::row_major(rows.data(), m, n));
  ASSERT_EQ(columns.rows(), m);
  ASSERT_EQ(columns.columns(), n);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j)
      EXPECT_EQ(columns.pointers()[j][i], static_cast<double>(A[at(i, j, m)]));
}

TWIN_TEST(NormalEquations, AreRefusedWhereTheyLoseTooMuch) {
  const auto b = right_side<Real>();
  reduced r;
  EXPECT_TRUE(by_normal_equations(matrix<Real>(1e-2), b, r));
  EXPECT_FALSE(by_normal_equations(matrix<Real>(1e-4), b, r));
  auto zero_column = matrix<Real>(1.0);
  std::fill_n(zero_column.begin(), m, Real(0));
  EXPECT_FALSE(by_normal_equations(zero_column, b, r));
}

TEST(NormalEquationsRange, EndsBeforeSquaresLeaveIt) {
  reduced r;
  for (const double scale : {1e-120, 1e120}) {
    auto A = matrix<double>(1.0), b = right_side<double>();
    for (int i = 0; i < m; ++i) A[at(i)] *= scale;
    EXPECT_FALSE(by_normal_equations(A, b, r)) << scale;
    A = matrix<double>(1.0);
    for (double& value : b) value *= scale;
    EXPECT_FALSE(by_normal_equations(A, b, r)) << scale;
    const auto s = constrained(table_view<double>::column_major(A.data(), m, n), b);
    EXPECT_TRUE(s.converged) << scale;
    EXPECT_LE(s.violation, 1e-15) << scale;
  }
}

/// x = (1, -1, 1, ...) solves the problem without its constraints, but for rounding of b.
TEST(NormalEquationsCorrection, LeavesTheErrorsOfABackwardStableSolution) {
  for (const double part : {1.0, 0.1, 0.01, 0.003, 1e-4}) {
    const auto A = matrix<double>(part);
    std::vector<double> b(at(m)), lo(at(n), -2.0);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) b[at(i)] += (j % 2 ? -1 : 1) * A[at(i, j, m)];
    lo[2] = 1.0;
    const auto s = constrained(table_view<double>::column_major(A.data(), m, n), b, {.lo = lo});
    for (int j = 0; j < n; ++j) EXPECT_NEAR(s.x[at(j)], j % 2 ? -1 : 1, 1e-15 / part + 2e-15) << part;
    EXPECT_LE(s.violation, 4e-16) << part;
  }
}

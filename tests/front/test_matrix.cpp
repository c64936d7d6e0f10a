// Matrix algebra of the C++ front: known answers, sizes from 1 on, what is singular, what is not definite,
// scales, and what a call takes from the heap.
//
// Bounds: a solution is computed in double and rounded once, so an element of a well-conditioned problem is
// right to a few units in the last place of the element type. Where a bound is larger, the test says why.
#include "tabfit/matrix.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using namespace tabfit;

namespace {

template <class Real>
column_table<Real> unit_matrix(int n) {
  column_table<Real> I(n, n);
  for (int i = 0; i < n; ++i) I(i, i) = 1;
  return I;
}

/// Integers of -range..range.
template <class Real>
column_table<Real> integers(Random& random, int m, int n, int range = 9) {
  column_table<Real> A(m, n);
  for (int j = 0; j < n; ++j)
    for (Real& a : A.column(j)) a = static_cast<Real>(random.integer(-range, range));
  return A;
}

template <class Real>
column_table<Real> uniform(Random& random, int m, int n) {
  column_table<Real> A(m, n);
  for (int j = 0; j < n; ++j)
    for (Real& a : A.column(j)) a = static_cast<Real>(random.real(-1, 1));
  return A;
}

template <class Real>
column_table<Real> hilbert(int n) {
  column_table<Real> A(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) A(i, j) = Real(1) / static_cast<Real>(i + j + 1);
  return A;
}

/// The greatest distance of two elements.
template <class Real>
double distance(const column_table<Real>& A, const column_table<Real>& B) {
  EXPECT_EQ(A.rows(), B.rows());
  EXPECT_EQ(A.columns(), B.columns());
  double greatest = 0;
  for (int j = 0; j < A.columns(); ++j)
    for (int i = 0; i < A.rows(); ++i)
      greatest =
          std::max(greatest, std::abs(static_cast<double>(A(i, j)) - static_cast<double>(B(i, j))));
  return greatest;
}

template <class Real>
double distance(const std::vector<Real>& x, const std::vector<Real>& y) {
  double greatest = x.size() == y.size() ? 0 : INFINITY;
  for (std::size_t i = 0; i < std::min(x.size(), y.size()); ++i)
    greatest = std::max(greatest, std::abs(static_cast<double>(x[i]) - static_cast<double>(y[i])));
  return greatest;
}

template <class Real>
double plain_product(const column_table<Real>& A, const column_table<Real>& B, int i, int k) {
  double sum = 0;
  for (int l = 0; l < A.columns(); ++l) sum += double(A(i, l)) * double(B(l, k));
  return sum;
}

}  // namespace

// -- products ----------------------------------------------------------------------------------------

TWIN_TEST(Products, AreThoseOfTheDefinitionForEverySize) {
  Random random(160);
  for (int m : {1, 2, 5})
    for (int n : {0, 1, 2, 4})
      for (int p : {1, 3}) {
        const auto A = integers<Real>(random, m, n), B = integers<Real>(random, n, p);
        column_table<Real> C(m, p);
        for (int i = 0; i < m; ++i)
          for (int k = 0; k < p; ++k) C(i, k) = static_cast<Real>(plain_product(A, B, i, k));
        EXPECT_EQ(multiply(A, B), C);
        EXPECT_EQ(multiply_transposed(transpose(A), B), C);
        EXPECT_EQ(multiply_by_transposed(A, transpose(B)), C);
        const std::vector<Real> x(B.column(0).begin(), B.column(0).end());
        const std::vector<Real> y(C.column(0).begin(), C.column(0).end());
        EXPECT_EQ(multiply(A, x), y);
        EXPECT_EQ(multiply_transposed(transpose(A), x), y);
        EXPECT_EQ(gram(A).full_symmetric(), multiply_transposed(A, A));
      }
}

TWIN_TEST(Products, TakeViewsByRows) {
  const Real block[] = {1, 2, 3, 4, 5, 6};
  const auto A = table_view<Real>::row_major(block, 2, 3), B = table_view<Real>::row_major(block, 3, 2);
  EXPECT_EQ(multiply(A, B), (column_table<Real>{{22, 28}, {49, 64}}));
  EXPECT_EQ(transpose(A), (column_table<Real>{{1, 4}, {2, 5}, {3, 6}}));
  EXPECT_EQ(multiply(A, column_table<Real>(B)), multiply(A, B));
}

TWIN_TEST(Transpose, CopiesAMatrixOfOneElement) {
  EXPECT_EQ(transpose(column_table<Real>{{7}}), (column_table<Real>{{7}}));
  EXPECT_EQ(transpose(column_table<Real>(3, 0)), column_table<Real>(0, 3));
}

TWIN_TEST(Products, RefuseSizesThatDoNotFitAndWhatIsNotFinite) {
  const column_table<Real> A(2, 3), B(2, 3);
  const std::vector<Real> x(2);
  EXPECT_EQ(thrown<bad_data>([&] { return multiply(A, B); }),
            "multiply: A has 3 columns, B has 2 rows");
  EXPECT_EQ(thrown<bad_data>([&] { return multiply_transposed(A, column_table<Real>(1, 1)); }),
            "multiply_transposed: A has 2 rows, B has 1 row");
  EXPECT_EQ(thrown<bad_data>([&] { return multiply_by_transposed(A, column_table<Real>(1, 2)); }),
            "multiply_by_transposed: A has 3 columns, B has 2 columns");
  EXPECT_EQ(thrown<bad_data>([&] { return multiply(A, x); }),
            "multiply: x has 2 elements, A has 3 columns");
  EXPECT_EQ(thrown<bad_data>([&] {
              return multiply_transposed(A, std::vector<Real>{1, inf_of<Real>});
            }),
            "multiply_transposed: x(1) is infinite");
  column_table<Real> C(3, 2);
  C(2, 1) = nan_of<Real>;
  EXPECT_EQ(thrown<bad_data>([&] { return multiply(A, C); }), "multiply: B(2, 1) is NaN");
  EXPECT_EQ(thrown<bad_data>([&] { return gram(C); }), "gram: A(2, 1) is NaN");
}

// -- systems -----------------------------------------------------------------------------------------

TWIN_TEST(Solve, GivesKnownSolutions) {
  EXPECT_EQ(solve(column_table<Real>{{4}}, std::vector<Real>{10}), std::vector<Real>{2.5});
  EXPECT_EQ(solve(unit_matrix<Real>(3), std::vector<Real>{1, 2, 3}), (std::vector<Real>{1, 2, 3}));
  const column_table<Real> A{{2, 1, 1}, {4, -6, 0}, {-2, 7, 2}};
  EXPECT_EQ(solve(A, std::vector<Real>{5, -2, 9}), (std::vector<Real>{1, 1, 2}));
  const Real rows[] = {2, 1, 1, 4, -6, 0, -2, 7, 2};
  EXPECT_EQ(solve(table_view<Real>::row_major(rows, 3, 3), std::vector<Real>{5, -2, 9}),
            solve(A, std::vector<Real>{5, -2, 9}));
}

TWIN_TEST(Solve, LeavesAResidualOfRoundingForEverySize) {
  Random random(161);
  for (int n : {1, 2, 3, 7, 20, 60}) {
    const auto A = uniform<Real>(random, n, n), B = uniform<Real>(random, n, 3);
    const auto X = solve(A, B);
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < 3; ++k) {
        double size = 0;
        for (int l = 0; l < n; ++l) size += std::abs(double(A(i, l)) * double(X(l, k)));
        // Rounding X to the element type is one share of eps. Householder's is n shares of double's at most.
        EXPECT_LE(std::abs(plain_product(A, X, i, k) - double(B(i, k))),
                  (eps_of<Real> + n * 1e-15) * size)
            << n;
      }
  }
}

TWIN_TEST(Solve, DoesNotGrowWherePartialPivotingDoes) {
  // Elimination by rows doubles the last column at every step: 2^59 for order 60.
  const int n = 60;
  column_table<Real> A(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) A(i, j) = i == j || j == n - 1 ? 1 : i > j ? -1 : 0;
  Random random(162);
  std::vector<Real> x(n);
  for (Real& xi : x) xi = static_cast<Real>(random.integer(-9, 9));
  EXPECT_LE(distance(solve(A, multiply(A, x)), x), 9 * eps_of<Real>);
}

TWIN_TEST(Solve, IsAsGoodInAnyUnits) {
  Random random(163);
  const int n = 6, range = sizeof(Real) == 4 ? 12 : 120;
  for (int repetition = 0; repetition < 50; ++repetition) {
    auto A = integers<Real>(random, n, n);
    for (int i = 0; i < n; ++i) A(i, i) += 40;  // regular
    std::vector<int> shifts(n);
    std::vector<Real> x(n);
    for (Real& xi : x) xi = static_cast<Real>(random.integer(-9, 9));
    std::vector<Real> b = multiply(A, x);
    for (int i = 0; i < n; ++i) {
      const int row = random.integer(-range, range), column = random.integer(-range, range);
      for (int j = 0; j < n; ++j) {
        A(i, j) = std::ldexp(A(i, j), row);
        A(j, i) = std::ldexp(A(j, i), column);
      }
      b[std::size_t(i)] = std::ldexp(b[std::size_t(i)], row);
      x[std::size_t(i)] = std::ldexp(x[std::size_t(i)], -column);
      shifts[std::size_t(i)] = column;
    }
    const std::vector<Real> solution = solve(A, b);
    // In the units of the columns x is 9 at most.
    for (std::size_t j = 0; j < x.size(); ++j)
      EXPECT_NEAR(std::ldexp(double(solution[j]), shifts[j]), std::ldexp(double(x[j]), shifts[j]),
                  9 * eps_of<Real>);
  }
}

TEST(Solve, IsRightWhereNoiseStandsInThePlaceOfZeros) {
  // Two Hilbert blocks, of condition 3e7 each, and in the other blocks noise of all sizes.
  Random random(173);
  for (int repetition = 0; repetition < 50; ++repetition) {
    const int n = 12;
    column_table<double> A(n, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        A(i, j) = i / 6 == j / 6 ? 1.0 / (i % 6 + j % 6 + 1)
                                 : std::ldexp(random.real(-1, 1), random.integer(-900, -60));
    const std::vector<double> b(n, 1), x = solve(A, b), y = multiply(A, x);
    double size = 0;
    for (double xi : x) size += std::abs(xi);
    EXPECT_LT(distance(y, b), 4 * eps_of<double> * size);
  }
}

TWIN_TEST(Solve, SolvesAFloatSystemThatOnlyDoubleCanTellFromASingularOne) {
  const Real delta = std::ldexp(Real(1), sizeof(Real) == 4 ? -22 : -40);
  const column_table<Real> A{{1, 1}, {1, 1 + delta}};
  EXPECT_LT(distance(solve(A, std::vector<Real>{2, 2 + delta}), {1, 1}), 1e-3);
}

TWIN_TEST(Solve, RefusesEveryMatrixWithDependentColumns) {
  Random random(164);
  int refused = 0, of_that_rank = 0;
  for (int repetition = 0; repetition < 400; ++repetition) {
    const int n = random.integer(2, 12), to = random.integer(0, n - 1);
    auto A = repetition % 2 ? integers<Real>(random, n, n) : uniform<Real>(random, n, n);
    const int from = (to + 1) % n, other = (to + 2) % n;
    for (int i = 0; i < n; ++i)
      A(i, to) = repetition % 4 < 2 || n == 2 ? A(i, from) : A(i, from) + A(i, other);
    if (sizeof(Real) == 4 && repetition % 4 == 2)  // a rounded sum of floats is no exact sum
      for (int i = 0; i < n; ++i) A(i, to) = 0;
    try {
      solve(A, std::vector<Real>(std::size_t(n), 1));
    } catch (const rank_deficient& failure) {
      ++refused;
      of_that_rank += failure.rank() == n - 1;
    }
  }
  EXPECT_EQ(refused, 400);
  EXPECT_GE(of_that_rank, 390);  // small integers give lower ranks now and then
}

TWIN_TEST(Solve, SaysHowManyColumnsAreIndependent) {
  const std::vector<Real> b{1, 2, 3};
  const auto refusal = [&](const column_table<Real>& A) {
    return thrown<rank_deficient>([&] { return solve(A, b); });
  };
  EXPECT_EQ(refusal({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
            "solve: A is singular to working precision: 2 of 3 columns are independent");
  EXPECT_EQ(refusal({{1, 2, 3}, {2, 4, 6}, {3, 6, 9}}),
            "solve: A is singular to working precision: 1 of 3 columns is independent");
  EXPECT_EQ(refusal(column_table<Real>(3, 3)),
            "solve: A is singular to working precision: 0 of 3 columns are independent");
  EXPECT_EQ(thrown<rank_deficient>([] { return inverse(column_table<Real>{{0}}); }),
            "inverse: A is singular to working precision: 0 of 1 column are independent");
}

TEST(Solve, IsRightToTheLastPlaceHoweverHighTheCondition) {
  // Hilbert matrices times the least common multiple of their denominators: integers, condition up to 4e13.
  Random random(172);
  const double multiples[] = {1, 6, 60, 420, 2520, 27720, 360360, 360360, 12252240, 232792560};
  for (int n = 1; n <= 10; ++n) {
    column_table<double> A(n, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) A(i, j) = multiples[n - 1] / (i + j + 1);
    std::vector<double> x(std::size_t(n), 0);
    for (double& xi : x) xi = random.integer(-1000, 1000);
    EXPECT_LE(distance(solve(A, multiply(A, x)), x), 1000 * eps_of<double>) << n;
  }
}

TEST(Solve, TakesHilbertMatricesUpToTenAndRefusesGreaterOnes) {
  for (int n = 1; n <= 14; ++n) {
    const auto A = hilbert<double>(n);
    const std::vector<double> b(std::size_t(n), 1);
    if (n <= 10)
      EXPECT_LT(distance(multiply(A, solve(A, b)), b), 1e-3)
          << n;  // elements of x reach 1e7, and cancel
    else
      EXPECT_THROW(solve(A, b), rank_deficient) << n;
  }
}

TWIN_TEST(SquareMatrices, RefuseWrongSizesAndWhatIsNotFinite) {
  const column_table<Real> wide(2, 3), A = unit_matrix<Real>(2);
  const std::vector<Real> b(2);
  EXPECT_EQ(thrown<bad_data>([&] { return solve(wide, b); }),
            "solve: A has 2 rows, 3 columns: not square");
  EXPECT_EQ(thrown<bad_data>([&] { return inverse(wide); }),
            "inverse: A has 2 rows, 3 columns: not square");
  EXPECT_EQ(thrown<bad_data>([&] { return determinant(column_table<Real>()); }),
            "determinant: A has no element");
  EXPECT_EQ(thrown<bad_data>([&] { return solve(A, std::vector<Real>(3)); }),
            "solve: b has 3 elements, A has 2 rows");
  EXPECT_EQ(thrown<bad_data>([&] { return solve(A, column_table<Real>(1, 5)); }),
            "solve: B has 1 row, A has 2 rows");
  column_table<Real> N = A;
  N(1, 0) = nan_of<Real>;
  EXPECT_EQ(thrown<bad_data>([&] { return solve(N, b); }), "solve: A(1, 0) is NaN");
  EXPECT_EQ(thrown<bad_data>([&] { return condition(N); }), "condition: A(1, 0) is NaN");
  EXPECT_EQ(thrown<bad_data>([&] { return log_determinant(N); }), "log_determinant: A(1, 0) is NaN");
  EXPECT_EQ(thrown<bad_data>([&] {
              return solve(A, std::vector<Real>{0, -inf_of<Real>});
            }),
            "solve: b(1) is infinite");
  EXPECT_EQ(thrown<bad_data>([&] { return solve(A, N); }), "solve: B(1, 0) is NaN");
}

TWIN_TEST(Inverse, IsExactWhereItIsKnown) {
  EXPECT_EQ(inverse(column_table<Real>{{4}}), (column_table<Real>{{0.25}}));
  // The inverse of the matrix of min(i, j) + 1 is tridiagonal: 2, 1 at the end, -1 beside.
  for (int n : {2, 5, 12}) {
    column_table<Real> A(n, n), X(n, n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        A(i, j) = static_cast<Real>(std::min(i, j) + 1);
        X(i, j) = i == j ? (i == n - 1 ? 1 : 2) : std::abs(i - j) == 1 ? -1 : 0;
      }
    EXPECT_LT(distance(inverse(A), X), eps_of<Real> + 1e-13) << n;  // condition up to 500
    EXPECT_LT(distance(inverse(X), A), 12 * eps_of<Real> + 1e-12) << n;
  }
}

TWIN_TEST(Inverse, GivesBackTheUnitMatrix) {
  Random random(165);
  for (int n : {1, 2, 3, 10, 40}) {
    auto A = uniform<Real>(random, n, n);
    for (int i = 0; i < n; ++i) A(i, i) += Real(n);
    // The condition is below 4, and a product sums n terms.
    EXPECT_LT(distance(multiply(A, inverse(A)), unit_matrix<Real>(n)), (4.0 + n) * double(eps_of<Real>))
        << n;
  }
}

TWIN_TEST(Determinant, IsThatOfSmallMatrices) {
  EXPECT_EQ(determinant(column_table<Real>{{-3}}), -3);
  EXPECT_EQ(determinant(unit_matrix<Real>(5)), 1);
  EXPECT_NEAR(determinant(column_table<Real>{{1, 2}, {3, 4}}), -2, 1e-15);
  EXPECT_NEAR(determinant(column_table<Real>{{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}), 1, 1e-15);
  EXPECT_NEAR(determinant(column_table<Real>{{0, 1}, {1, 0}}), -1, 1e-15);
  EXPECT_NEAR(determinant(column_table<Real>{{2, 1, 1}, {4, -6, 0}, {-2, 7, 2}}), -16, 1e-13);
  EXPECT_EQ(determinant(column_table<Real>(3, 3)), 0);
  EXPECT_NEAR(determinant(column_table<Real>{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}), 0, 1e-13);
}

TWIN_TEST(Determinant, IsInfiniteOrZeroOnlyIfItsValueLeavesTheRange) {
  const int n = 40;
  const Real big = std::ldexp(Real(1), 100), small = std::ldexp(Real(1), -100);
  column_table<Real> A(n, n), B(n, n), C(n, n);
  for (int i = 0; i < n; ++i) {
    A(i, i) = i < n / 2 ? big : small;
    B(i, i) = i == 0 ? -big : big;
    C(i, i) = small;
  }
  EXPECT_EQ(determinant(A), 1);
  EXPECT_EQ(determinant(B), -INFINITY);
  EXPECT_EQ(determinant(C), 0);
  EXPECT_EQ(log_determinant(A).sign, 1);
  EXPECT_NEAR(log_determinant(A).log, 0, 1e-12);
  EXPECT_EQ(log_determinant(B).sign, -1);
  EXPECT_NEAR(log_determinant(B).log, 4000 * std::log(2.0), 1e-11);
  EXPECT_EQ(log_determinant(C).sign, 1);
  EXPECT_NEAR(log_determinant(C).log, -4000 * std::log(2.0), 1e-11);
  EXPECT_EQ(log_determinant(column_table<Real>(2, 2)).sign, 0);
  EXPECT_EQ(log_determinant(column_table<Real>(2, 2)).log, -INFINITY);
}

TWIN_TEST(Condition, IsThatOfDiagonalMatrices) {
  EXPECT_EQ(condition(unit_matrix<Real>(4)), 1);
  EXPECT_EQ(condition(column_table<Real>{{5}}), 1);
  EXPECT_NEAR(condition(column_table<Real>{{1024, 0}, {0, 1}}), 1024, 1e-9);
  EXPECT_EQ(condition(column_table<Real>{{0, 1}, {0, 2}}), INFINITY);
  for (int e : {0, 1, -1}) {  // 6 times 3.5, in any unit
    const Real unit = std::ldexp(Real(1), e * (sizeof(Real) == 4 ? 125 : 1020));
    EXPECT_NEAR(condition(column_table<Real>{{unit, 2 * unit}, {3 * unit, 4 * unit}}), 21, 1e-12);
  }
}

TEST(Condition, IsEstimatedFromBelowAndMostlySharply) {
  Random random(166);
  int sharp = 0;
  for (int repetition = 0; repetition < 300; ++repetition) {
    const int n = random.integer(2, 15);
    const auto A = uniform<double>(random, n, n);
    const auto X = inverse(A);
    double a = 0, x = 0;
    for (int j = 0; j < n; ++j) {
      double sum_a = 0, sum_x = 0;
      for (int i = 0; i < n; ++i) sum_a += std::abs(A(i, j)), sum_x += std::abs(X(i, j));
      a = std::max(a, sum_a), x = std::max(x, sum_x);
    }
    const double ratio = condition(A) / (a * x);
    EXPECT_LT(ratio, 1 + 1e-9);
    EXPECT_GT(ratio, 0.25);  // 0.48 is the least of 5,000 in docs/front.md
    sharp += ratio > 0.999;
  }
  EXPECT_GT(sharp, 250);
}

// -- Q R ---------------------------------------------------------------------------------------------

TWIN_TEST(Qr, GivesOrthonormalColumnsAndATriangleForEveryShape) {
  Random random(167);
  for (int m : {1, 2, 3, 9, 40})
    for (int n : {1, 2, 3, 9, 40}) {
      auto A = uniform<Real>(random, m, n);
      if (n > 2)
        for (int i = 0; i < m; ++i) A(i, 2) = A(i, 0);  // dependent columns change nothing
      const auto [Q, R] = qr(A);
      const int k = std::min(m, n);
      EXPECT_EQ(Q.rows(), m);
      EXPECT_EQ(Q.columns(), k);
      EXPECT_EQ(R.rows(), k);
      EXPECT_EQ(R.columns(), n);
      // Rounding each element of Q and R once; sums of m terms below 1.
      EXPECT_LT(distance(multiply_transposed(Q, Q), unit_matrix<Real>(k)), 10 * eps_of<Real>)
          << m << " " << n;
      EXPECT_LT(distance(multiply(Q, R), A), 8 * eps_of<Real>) << m << " " << n;
      for (int j = 0; j < n; ++j)
        for (int i = j + 1; i < k; ++i) EXPECT_EQ(R(i, j), 0);
    }
}

TWIN_TEST(Qr, WorksOnColumnsOfAnySize) {
  const Real big = std::ldexp(Real(1), sizeof(Real) == 4 ? 120 : 1000), small = 1 / big;
  const column_table<Real> A{{3 * big, small}, {4 * big, 7 * small}};
  const auto [Q, R] = qr(A);
  EXPECT_NEAR(R(0, 0) / big, -5, 5 * eps_of<Real>);
  EXPECT_NEAR(R(1, 1) / small, 17.0 / 5, 5 * eps_of<Real>);
  EXPECT_NEAR(Q(1, 0), -0.8, eps_of<Real>);
  EXPECT_EQ(qr(unit_matrix<Real>(3)).R, unit_matrix<Real>(3));
  EXPECT_EQ(thrown<bad_data>([] { return qr(column_table<Real>(0, 2)); }), "qr: A has no element");
  EXPECT_EQ(thrown<bad_data>([] {
              return qr(column_table<Real>{{1, inf_of<Real>}});
            }),
            "qr: A(0, 1) is infinite");
}

// -- symmetric, positive definite --------------------------------------------------------------------

namespace {

template <class Real>
triangle_table<Real> triangle(const column_table<Real>& A) {
  return triangle_table<Real>::from_symmetric(A.view());
}

}  // namespace

TWIN_TEST(Cholesky, IsTheTrueFactor) {
  EXPECT_EQ(cholesky(column_table<Real>{{4, 2}, {2, 5}}),
            triangle_table<Real>::from_packed_rows(std::vector<Real>{2, 1, 2}));
  EXPECT_EQ(cholesky(triangle<Real>({{9}}))(0, 0), 3);
  EXPECT_EQ(cholesky(triangle<Real>({{0.25, 1}, {1, 5}})),
            triangle_table<Real>::from_packed_rows(std::vector<Real>{0.5, 2, 1}));
  const column_table<Real> U{{2, 1, 3}, {0, 2, 1}, {0, 0, 1}};
  EXPECT_EQ(cholesky(gram(U)).full_upper(), U);
}

TWIN_TEST(Cholesky, MultipliesToTheMatrixForEverySize) {
  Random random(168);
  for (int n : {1, 2, 5, 30}) {
    const auto S = gram(uniform<Real>(random, n + 3, n));
    const auto U = cholesky(S).full_upper();
    EXPECT_LT(distance(multiply_transposed(U, U), S.full_symmetric()), 20 * eps_of<Real>)
        << n;  // elements to 10
  }
}

TWIN_TEST(Cholesky, RefusesWhatIsNotDefinite) {
  const auto pivot = [](const column_table<Real>& A) {
    try {
      cholesky(A);
    } catch (const not_positive_definite& failure) {
      return failure.pivot();
    }
    return -1;
  };
  EXPECT_EQ(pivot({{4, 2}, {2, 1}}), 1);    // singular
  EXPECT_EQ(pivot({{4, 2}, {2, 0.5}}), 1);  // indefinite
  EXPECT_EQ(pivot({{0}}), 0);
  EXPECT_EQ(pivot({{-1, 0}, {0, 1}}), 0);
  EXPECT_EQ(pivot({{1, 0, 0}, {0, 1, 2}, {0, 2, 1}}), 2);
  EXPECT_EQ(pivot({{1, 0, 0}, {0, 0, 1}, {0, 1, 1}}), 1);
  EXPECT_EQ(pivot({{1, 0}, {0, std::ldexp(Real(1), -100)}}), -1);  // small units are no defect
  EXPECT_EQ(thrown<not_positive_definite>([] {
              return inverse(triangle<Real>({{1, 2}, {2, 1}}));
            }),
            "inverse: S is not positive definite to working precision: pivot 1 is not positive");
  EXPECT_EQ(thrown<bad_data>([] {
              return cholesky(column_table<Real>{{1, 2}, {3, 9}});
            }),
            "cholesky: A(0, 1) is not A(1, 0): not symmetric");
  EXPECT_EQ(thrown<bad_data>([] { return cholesky(triangle_table<Real>()); }),
            "cholesky: S has no element");
  EXPECT_EQ(thrown<bad_data>([] {
              return cholesky(triangle<Real>({{1, nan_of<Real>}, {nan_of<Real>, 1}}));
            }),
            "cholesky: S(0, 1) is NaN");
}

TWIN_TEST(Cholesky, RefusesEverySingularGramMatrixAndTakesDefiniteOnes) {
  Random random(169);
  int singular_taken = 0, definite_refused = 0, wrong_pivot = 0;
  for (int repetition = 0; repetition < 400; ++repetition) {
    const int n = random.integer(2, 15), rank = random.integer(1, n - 1);
    try {
      cholesky(gram(integers<Real>(random, rank, n, 5)));
      ++singular_taken;
    } catch (const not_positive_definite& failure) {
      wrong_pivot += failure.pivot() > rank;
    }
    try {  // condition of a few thousand, and rarely more
      cholesky(gram(integers<Real>(random, n + 5, n, 5)));
    } catch (const not_positive_definite&) {
      ++definite_refused;
    }
  }
  EXPECT_EQ(singular_taken, 0);
  EXPECT_EQ(wrong_pivot, 0);
  EXPECT_EQ(definite_refused, 0);
}

TWIN_TEST(SymmetricSolve, AgreesWithTheGeneralOne) {
  Random random(170);
  for (int n : {1, 2, 3, 10, 30}) {
    auto S = gram(uniform<Real>(random, n + 5, n));
    for (int i = 0; i < n; ++i) S(i, i) += 1;
    const auto B = uniform<Real>(random, n, 2);
    // Both are right to eps times the condition, below 100 here.
    EXPECT_LT(distance(solve(S, B), solve(S.full_symmetric(), B)), 4 * eps_of<Real>) << n;
    EXPECT_LT(distance(inverse(S).full_symmetric(), inverse(S.full_symmetric())), 4 * eps_of<Real>)
        << n;
    const std::vector<Real> b(B.column(1).begin(), B.column(1).end());
    const auto X = solve(S, B);
    EXPECT_EQ(solve(S, b), std::vector<Real>(X.column(1).begin(), X.column(1).end()));
  }
  EXPECT_EQ(solve(triangle<Real>({{4}}), std::vector<Real>{2}), std::vector<Real>{0.5});
  EXPECT_EQ(inverse(triangle<Real>({{4}}))(0, 0), 0.25);
  EXPECT_EQ(thrown<bad_data>([] {
              return solve(triangle<Real>({{4}}), std::vector<Real>{2, 3});
            }),
            "solve: b has 2 elements, S has 1 row");
}

// -- memory ------------------------------------------------------------------------------------------

TWIN_TEST(MatrixMemory, ThrowsBadAllocForEveryRefusalAndKeepsNothing) {
  Random random(171);
  const auto A = uniform<Real>(random, 5, 5), B = uniform<Real>(random, 5, 2);
  const std::vector<Real> b(5, 1);
  const auto S = gram(uniform<Real>(random, 9, 5));
  const auto each = [](auto call) { EXPECT_GT(refuse_each_request(call), 0); };
  each([&] { return multiply(A, B); });
  each([&] { return multiply_transposed(A, b); });
  each([&] { return multiply_by_transposed(B, B); });
  each([&] { return gram(B); });
  each([&] { return transpose(B); });
  each([&] { return solve(A, B); });
  each([&] { return solve(A, b); });
  each([&] { return inverse(A); });
  each([&] { return determinant(A); });
  each([&] { return log_determinant(A); });
  each([&] { return condition(A); });
  each([&] { return qr(A); });
  each([&] { return cholesky(S); });
  each([&] { return solve(S, b); });
  each([&] { return inverse(S); });
}

TWIN_TEST(MatrixMemory, KeepsNothingOfARefusal) {
  const column_table<Real> A(4, 4);
  const Account account = probe([&] {
    EXPECT_THROW(inverse(A), rank_deficient);
    EXPECT_THROW(cholesky(A), not_positive_definite);
  });
  EXPECT_EQ(account.kept, Usage());
}

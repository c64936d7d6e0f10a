// tests/test_gauss_jordan.cpp - Gauss-Jordan inverse and determinant: statuses and edges, cases by
// hand, steps written out and compared bit for bit, exact determinants, scaled residuals.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <set>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/plain_decompositions.hpp"
#include "tests/support/plain_table.hpp"
#include "tests/support/random_matrices.hpp"
#include "tests/support/scaled_residuals.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

using namespace decompositions;

template <class Real>
int inverse(Table<Real>& A, int n, double* det) {
  return releasing([&] { return M_invGJ(A.slots(), n, det); });
}

TWIN_TEST(InvGJ, RefusesBadSizesAndWritesNothing) {
  for (const int n : {0, -1, INT_MIN}) {
    Table<Real> A(2, 2);
    Guarded<double> det(1);
    EXPECT_EQ(M_invGJ(A.slots(), n, det.data()), M_INVGJ_BAD_SIZE) << n;
    EXPECT_TRUE(A.untouched());
    EXPECT_TRUE(det.untouched(0) && det.zones_intact());
  }
}

TWIN_TEST(InvGJ, InvertsOneElement) {
  auto A = table<Real>(1, 1, {4});
  Guarded<double> det(1);
  EXPECT_EQ(inverse(A, 1, det.data()), M_INVGJ_OK);
  EXPECT_EQ(A.at(0, 0), Real(0.25));
  EXPECT_EQ(det[0], 4.0);
  EXPECT_TRUE(det.zones_intact());
}

TWIN_TEST(InvGJ, GivesMinusOneForAMatrixOfZerosAndNaN) {
  for (const double v : {0.0, -0.0, nan_of<double>})
    for (int n = 1; n <= 4; ++n) {
      Table<Real> A(n, n);
      A.fill([&] { return static_cast<Real>(v); });
      Plain<Real> old(A);
      double det = 7;
      EXPECT_EQ(inverse(A, n, &det), M_INVGJ_ZERO) << v << ", " << n;
      EXPECT_EQ(det, 0.0);
      EXPECT_TRUE(agree(A, old));
    }
}

TWIN_TEST(InvGJ, NamesTheStepAtWhichNothingIsLeft) {
  auto two = table<Real>(2, 2, {1, 2, 2, 4});
  double det = 7;
  EXPECT_EQ(inverse(two, 2, &det), 1);
  EXPECT_EQ(det, 0.0);
  // pivot 4: row 0 negated, rows exchanged, column 0 negated, pointers exchanged, and one step done
  EXPECT_EQ(seen(two, 2, 2), (std::vector<Real>{0.25, -0.5, 0.5, 0}));
  EXPECT_EQ(two.slots()[0], &two.at(0, 1));

  for (int n = 2; n <= 8; ++n)
    for (int k = 1; k < n; ++k) {
      Table<Real> A(n, n);
      A.fill([] { return Real(0); });
      for (int i = 0; i < k; ++i) A.at((i + 1) % n, n - 1 - i) = static_cast<Real>(i + 1);
      det = 7;
      EXPECT_EQ(inverse(A, n, &det), k) << "of order " << n;
      EXPECT_EQ(det, 0.0);
    }
}

// The rule of the candidates passes from a negative element to the 0 behind it, and then finds no pivot
// although elements are left. A matrix with no pivot by this rule has a row of zeros all the same.
TWIN_TEST(InvGJ, TakesAMatrixForSingularWhenEveryCandidateIsZero) {
  auto A = table<Real>(3, 3, {0, 0, 0, -4, 0, 0, 0, 0, 0});
  Plain<Real> old(A);
  double det = 7;
  EXPECT_EQ(inverse(A, 3, &det), M_INVGJ_ZERO);
  EXPECT_EQ(det, 0.0);
  EXPECT_TRUE(agree(A, old));
  auto last = table<Real>(3, 3, {0, 0, 1, -4, 0, 0, 0, 1, 0});  // two rows end with 1: not singular
  EXPECT_EQ(inverse(last, 3, &det), M_INVGJ_OK);
  EXPECT_EQ(seen(last, 3, 3), (std::vector<Real>{0, -0.25, 0, 0, 0, 1, 1, 0, 0}));
  EXPECT_EQ(det, -4.0);
}

TWIN_TEST(InvGJ, TakesThePivotFromTheLowerOfColumnsWithEqualCandidates) {
  auto A = table<Real>(2, 2, {4, 4, 1, 2});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(A.slots()[0], &A.at(0, 0));  // pivot a(0,0): nothing was exchanged
  EXPECT_EQ(seen(A, 2, 2), (std::vector<Real>{0.5, -1, -0.25, 1}));
  EXPECT_EQ(det, 4.0);
}

TWIN_TEST(InvGJ, TakesThePivotWithItsSign) {
  auto A = table<Real>(2, 2, {-4, 2, 0, 1});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(seen(A, 2, 2), (std::vector<Real>{-0.25, 0.5, 0, 1}));
  EXPECT_EQ(det, -4.0);
}

// An element that is not the candidate of its column, or stands behind NaN, is not seen.
TWIN_TEST(InvGJ, SeesOneCandidateAColumn) {
  auto A = table<Real>(3, 3, {1, 0, 0, -5, 0, 0, 2, 0, 0});
  double det;
  EXPECT_EQ(inverse(A, 3, &det), 1);
  // pivot 2, not -5: row 0 negated, rows 0 and 2 exchanged
  EXPECT_EQ(std::vector<Real>(A.slots()[0], A.slots()[0] + 3), (std::vector<Real>{0.5, 2.5, 0.5}));

  auto B = table<Real>(2, 2, {nan_of<double>, 1, 9, 2});
  EXPECT_EQ(inverse(B, 2, &det), 1);  // pivot 2 in column 1, then only NaN is left
  EXPECT_EQ(det, 0.0);
}

TEST(InvGJ_f, RoundsTheMultiplierToSingle) {
  const float p = 6, a = 5;
  const float rounded = static_cast<float>(double(static_cast<float>(-1.0 / p)) * a);
  ASSERT_NE(rounded, static_cast<float>(-1.0 / p * a));
  auto A = table<float>(2, 2, {p, 0, a, 1});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(A.slots()[0][1], rounded);
}

TWIN_TEST(InvGJ, KeepsTheDeterminantInDouble) {
  const Real a = Real(3.1), b = Real(2.7), c = Real(1.3);
  auto A = table<Real>(3, 3, {b, 0, 0, 0, a, 0, 0, 0, c});
  double det;
  EXPECT_EQ(inverse(A, 3, &det), M_INVGJ_OK);
  EXPECT_EQ(det, double(a) * b * c);
}

TWIN_TEST(InvGJ, InvertsPermutationsExactlyWithDeterminantOneOrMinusOne) {
  Random random(509);
  const auto check = [](const std::vector<int>& p) {
    const int n = static_cast<int>(p.size());
    Table<Real> A(n, n);
    A.fill([] { return Real(0); });
    int inversions = 0;
    for (int j = 0; j < n; ++j) {
      A.at(p[j], j) = 1;
      for (int i = 0; i < j; ++i) inversions += p[i] > p[j];
    }
    double det;
    ASSERT_EQ(inverse(A, n, &det), M_INVGJ_OK);
    EXPECT_EQ(det, inversions % 2 ? -1.0 : 1.0) << testing::PrintToString(p);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_EQ(A.slots()[j][i], Real(p[i] == j)) << testing::PrintToString(p);
    std::vector<Real*> pointers(A.slots(), A.slots() + n);
    std::sort(pointers.begin(), pointers.end());
    EXPECT_EQ(std::unique(pointers.begin(), pointers.end()), pointers.end());
  };
  for (int n = 1; n <= 6; ++n) {
    std::vector<int> p = identity(n);
    do check(p);
    while (std::next_permutation(p.begin(), p.end()));
  }
  for (int n = 7; n <= 40; n += 3) check(random_permutation(random, n));
}

/// Calls M_invGJ and compares everything with its steps.
template <class Real>
int check_inverse(Table<Real>& A, int n) {
  Plain<Real> want(A);
  double det = 7, det_want = 7;
  const int status = inverse(A, n, &det);
  EXPECT_EQ(status, plain_invGJ(want, n, det_want));
  EXPECT_SAME(det, det_want);
  EXPECT_TRUE(agree(A, want));
  return status;
}

TWIN_TEST(InvGJ, EqualsItsStepsWrittenOut) {
  Random random(510);
  std::set<int> statuses;
  for (const int n : orders())
    for (const Kind kind : all_kinds)
      for (int times = n <= 9 ? 12 : 1; times > 0; --times) {
        Table<Real> A(n + random.integer(0, 1), n + 1, random.integer(0, 7));
        fill_matrix(A, n, n, kind, random);
        if (n > 2 && random.chance(4))  // a column of zeros
          for (int i = 0; i < n; ++i) A.at(i, n / 2) = 0;
        statuses.insert(check_inverse(A, n));
        ASSERT_FALSE(testing::Test::HasFailure()) << where(kind, n, n);
      }
  for (int status = -2; status <= 7; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

TWIN_TEST(InvGJ, EqualsItsStepsWrittenOutForEveryOrderUpToSeventyAndLargeOnes) {
  Random random(522);
  std::vector<int> orders = {97, 129, 193};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  for (const int n : orders)
    for (int times = 0; times < (n > 70 ? 1 : 2); ++times) {
      const Kind kind = n > 70 || times == 1 ? Kind::random : all_kinds[n % 9];
      Table<Real> A(n + random.integer(0, 1), n + 1, random.integer(0, 7));
      fill_matrix(A, n, n, kind, random);
      if (times == 0 && n % 3 == 0)  // long runs of negative candidates
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < n; ++i) A.at(i, j) = -std::fabs(A.at(i, j));
      check_inverse(A, n);
      ASSERT_FALSE(testing::Test::HasFailure()) << where(kind, n, n);
    }
}

TWIN_TEST(InvGJ, InversesHaveSmallResiduals) {
  Random random(511);
  Largest largest("|AX - I| / (|A| |X| eps n)");
  for (const int n : {1, 2, 3, 5, 9, 20, 33, 70})
    for (const Kind kind :
         {Kind::random, Kind::graded, Kind::dependent, Kind::integer, Kind::sparse, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(n, n);
        fill_matrix(A, n, n, kind, random);
        if (kind == Kind::graded && n > 20) continue;  // the rows fall below the least element
        Table<Real> old = A;
        double det;
        if (inverse(A, n, &det) != M_INVGJ_OK) continue;
        const double r = residual(old, A.slots(), n, n, delta);
        largest.see(r / (norm(old, n, 0, n) * norm(A, n, 0, n) * eps_of<Real> * n), where(kind, n, n));
      }
  // With full pivoting the elements hardly grow. Measured: 0.38 (f) and 0.46 (d).
  EXPECT_LT(largest.value(), 1);
}

/// Determinant of an integer matrix by elimination without fractions: every division is exact.
std::int64_t exact_determinant(std::vector<std::vector<std::int64_t>> a) {
  const std::size_t n = a.size();
  std::int64_t previous = 1, sign = 1;
  for (std::size_t k = 0; k + 1 < n; ++k) {
    std::size_t r = k;
    while (r < n && a[r][k] == 0) ++r;
    if (r == n) return 0;
    if (r != k) std::swap(a[r], a[k]), sign = -sign;
    for (std::size_t i = k + 1; i < n; ++i)
      for (std::size_t j = k + 1; j < n; ++j)
        a[i][j] = (a[i][j] * a[k][k] - a[i][k] * a[k][j]) / previous;
    previous = a[k][k];
  }
  return sign * a[n - 1][n - 1];
}

TWIN_TEST(InvGJ, GivesTheDeterminantsOfIntegerMatrices) {
  Random random(512);
  Largest largest("error of the determinant / (product of column norms, eps n)");
  int zeros = 0;
  for (int n = 1; n <= 7; ++n)
    for (int times = 0; times < 200; ++times) {
      std::vector<std::vector<std::int64_t>> a(n, std::vector<std::int64_t>(n));
      Table<Real> A(n, n);
      const int most = random.integer(1, 5);
      double scale = 1;
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i)
          A.at(i, j) = static_cast<Real>(a[i][j] = random.integer(-most, most));
        scale *= norm(A, n, j, j + 1);
      }
      const std::int64_t exact = exact_determinant(a);
      zeros += exact == 0;
      double det;
      inverse(A, n, &det);
      const double error = std::fabs(det - static_cast<double>(exact));
      // with a zero column the determinant is exactly 0
      largest.see(error / (std::max(scale, 1.0) * eps_of<Real> * n), where(Kind::integer, n, n));
    }
  EXPECT_GT(zeros, 20);
  // A pivot carries a few roundings of its column. Measured: 0.25.
  EXPECT_LT(largest.value(), 0.75);
}

}  // namespace

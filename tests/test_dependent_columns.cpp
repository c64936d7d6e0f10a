// tests/test_dependent_columns.cpp - statuses of the decompositions for dependent and nearly dependent
// columns, and the accuracy of solutions for ill-conditioned ones.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

constexpr const char* twin(float) { return "f"; }
constexpr const char* twin(double) { return "d"; }

/// An n by n matrix of integers whose last column is a combination of the others, not of zeros alone,
/// and a right-hand side.
template <class Real>
Table<Real> singular(Random& random, int n) {
  Table<Real> A(n, n + 1);
  A.fill([&] { return static_cast<Real>(random.integer(-9, 9)); });
  std::vector<int> c(static_cast<std::size_t>(n - 1));
  do
    for (int& factor : c) factor = random.integer(-2, 2);
  while (std::all_of(c.begin(), c.end(), [](int factor) { return factor == 0; }));
  for (int i = 0; i < n; ++i) {
    A.at(i, n - 1) = 0;
    for (int j = 0; j < n - 1; ++j) A.at(i, n - 1) += static_cast<Real>(c[j]) * A.at(i, j);
  }
  return A;
}

TWIN_TEST(Qrdeq, GivesZeroForAboutEverySecondMatrixWithADependentColumn) {
  for (const int n : {3, 5, 8}) {
    Random random(2026);
    int count = 0;
    for (int repeat = 0; repeat < 1000; ++repeat) {
      auto A = singular<Real>(random, n);
      count += M_qrdeq(A.slots(), n, 1) == M_QRDEQ_OK;
    }
    std::printf("M_qrdeq%s: 0 for %d of 1000 matrices of order %d with a dependent column\n",
                twin(Real{}), count, n);
    EXPECT_GT(count, 400) << n;
    EXPECT_LT(count, 600) << n;
  }
}

// The counts of the header are 463 (f) and 428 (d), of another sample of the same kind.
TWIN_TEST(Qrdeq, GivesZeroForNearlyEverySecondSingularMatrixOfSmallIntegers) {
  Random random(2030);
  int count = 0;
  for (int found = 0; found < 1000;) {
    Table<Real> A(3, 4);
    A.fill([&] { return static_cast<Real>(random.integer(-5, 5)); });
    Real determinant = 0;
    for (int j = 0; j < 3; ++j) {
      const int k = (j + 1) % 3, l = (j + 2) % 3;
      determinant += A.at(0, j) * (A.at(1, k) * A.at(2, l) - A.at(1, l) * A.at(2, k));
    }
    if (determinant != 0) continue;
    ++found;
    count += M_qrdeq(A.slots(), 3, 1) == M_QRDEQ_OK;
  }
  std::printf("M_qrdeq%s: 0 for %d of 1000 singular matrices of order 3\n", twin(Real{}), count);
  EXPECT_GT(count, 380);
  EXPECT_LT(count, 510);
}

TWIN_TEST(InvGJ, GivesZeroForMostSingularMatricesOfSmallIntegers) {
  Random random(2026);
  int count = 0;
  for (int repeat = 0; repeat < 1000; ++repeat) {
    auto A = singular<Real>(random, 3);
    double det = 0;
    count += releasing([&] { return M_invGJ(A.slots(), 3, &det); }) == M_INVGJ_OK;
  }
  std::printf("M_invGJ%s: 0 for %d of 1000 singular matrices\n", twin(Real{}), count);
  EXPECT_GT(count, 700);
}

// The last column depends on the others, up to the rounding of its elements.
TWIN_TEST(Qrd, GivesADiagonalElementThatIsNoiseForADependentColumn) {
  Random random(2027);
  double largest = 0;
  for (const int n : {3, 6, 10})
    for (const int m : {n, 2 * n, 50}) {
      int accepted = 0;
      for (int repeat = 0; repeat < 1000; ++repeat) {
        Table<Real> A(m, n);
        std::vector<double> c(static_cast<std::size_t>(n - 1));
        for (double& factor : c) factor = random.real(-2, 2);
        A.fill([&] { return static_cast<Real>(random.real(-1, 1)); });
        for (int i = 0; i < m; ++i) {
          double sum = 0;
          for (int j = 0; j < n - 1; ++j) sum += c[j] * double(A.at(i, j));
          A.at(i, n - 1) = static_cast<Real>(sum);
        }
        std::vector<int> ip(static_cast<std::size_t>(n));
        if (M_qrd(A.slots(), m, n, 0, ip.data()) != M_QRD_OK) continue;
        ++accepted;
        const double last = A.slots()[n - 1][n - 1], first = A.slots()[0][0];
        largest = std::max(largest, std::fabs(last / first));
      }
      EXPECT_GT(accepted, 400) << m << " by " << n;
      EXPECT_LT(accepted, 600) << m << " by " << n;
    }
  std::printf("M_qrd%s: greatest last diagonal element %.1e R(0,0)\n", twin(Real{}), largest);
  EXPECT_LT(largest, sizeof(Real) == 4 ? 6e-4 : 4e-8);
  EXPECT_GT(largest, sizeof(Real) == 4 ? 2e-4 : 1e-8);
}

TWIN_TEST(Qrd, GivesTheSameStatusForAMatrixTimesAPowerOfTwo) {
  Random random(2028);
  for (int repeat = 0; repeat < 200; ++repeat) {
    auto A = singular<Real>(random, 4);
    for (const int power : {-20, -3, 5, 20}) {
      auto B = A, C = A;
      for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) B.at(i, j) = std::ldexp(B.at(i, j), power);
      int ip[4];
      ASSERT_EQ(M_qrd(B.slots(), 4, 4, 1, ip), M_qrd(C.slots(), 4, 4, 1, ip)) << repeat;
    }
  }
}

TWIN_TEST(Qrd, RefusesIndependentColumnsOfVeryDifferentNorms) {
  const Real small = static_cast<Real>(tolerance_of<Real> / 2);
  Table<Real> A(2, 2);
  A.fill([] { return Real(0); });
  A.at(0, 0) = 1;
  A.at(1, 1) = small;
  int ip[2];
  EXPECT_EQ(M_qrd(A.slots(), 2, 2, 0, ip), 1);
  A.at(0, 0) = A.at(1, 1) = 1;
  EXPECT_EQ(M_qrd(A.slots(), 2, 2, 0, ip), M_QRD_OK);
}

/// The status for diag(norm, last).
template <class Real>
int status_of(Real norm, Real last) {
  Table<Real> A(2, 2);
  A.fill([] { return Real(0); });
  A.at(0, 0) = norm;
  A.at(1, 1) = last;
  int ip[2];
  const int status = M_qrd(A.slots(), 2, 2, 0, ip);
  if (status == M_QRD_OK && !(std::isfinite(A.slots()[0][0]) && std::isfinite(A.slots()[1][1])))
    return -99;  // spoiled
  return status;
}

TEST(Qrd_d, HasTheRangeThatItsHeaderGives) {
  EXPECT_EQ(status_of(1.5e-162, 1.5e-162), M_QRD_ZERO);
  EXPECT_EQ(status_of(1.6e-162, 1.6e-162), M_QRD_OK);
  EXPECT_EQ(status_of(7.8e-154, 0.0), M_QRD_OK);  // the column of zeros passes
  EXPECT_EQ(status_of(8e-154, 0.0), 1);
  EXPECT_EQ(status_of(1.34e154, 1.34e154), M_QRD_OK);
  EXPECT_EQ(status_of(1.35e154, 1.35e154), 1);  // infinite norms
}

TEST(Qrd_f, HasTheRangeThatItsHeaderGives) {
  const float least = std::numeric_limits<float>::denorm_min();
  EXPECT_EQ(status_of(least, least), M_QRD_OK);
  EXPECT_EQ(status_of(least, 0.0F), 1);
  const auto first = [](float norm) {
    Table<float> A(1, 2);
    A.at(0, 0) = A.at(0, 1) = norm;
    int ip[1];
    EXPECT_EQ(M_qrd(A.slots(), 1, 1, 1, ip), M_QRD_OK);
    return A.at(0, 1);
  };
  EXPECT_EQ(first(1.7e38F), -1.7e38F);
  EXPECT_FALSE(std::isfinite(first(1.71e38F)));
}

// -- accuracy -------------------------------------------------------------------------------------

/// Orthonormal columns of order n.
std::vector<std::vector<double>> orthonormal(Random& random, int n) {
  std::vector<std::vector<double>> Q(n, std::vector<double>(n));
  for (int k = 0; k < n; ++k) {
    for (double& q : Q[k]) q = random.real(-1, 1) + random.real(-1, 1) + random.real(-1, 1);
    for (const int pass : {0, 1})
      for (int l = 0; l < k + pass; ++l) {
        double dot = 0;
        for (int i = 0; i < n; ++i) dot += Q[k][i] * Q[l][i];
        const double factor = l == k ? 1 - 1 / std::sqrt(dot) : dot;
        for (int i = 0; i < n; ++i) Q[k][i] -= factor * Q[l][i];
      }
  }
  return Q;
}

/// Medians of the largest errors of solutions of ones. Refused systems count as errors of 1.
struct Errors {
  double qrdeq, invGJ;
};

template <class Real>
Errors errors(Random& random, int n, double condition) {
  std::vector<double> from_qrdeq, from_invGJ;
  for (int repeat = 0; repeat < 41; ++repeat) {
    const auto Q = orthonormal(random, n), P = orthonormal(random, n);
    Table<Real> A(n, n + 1);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        double sum = 0;
        for (int k = 0; k < n; ++k)
          sum += Q[k][i] * P[k][j] * std::pow(condition, -double(k) / (n - 1));
        A.at(i, j) = static_cast<Real>(sum);
      }
    for (int i = 0; i < n; ++i) {
      long double sum = 0;
      for (int j = 0; j < n; ++j) sum += A.at(i, j);
      A.at(i, n) = static_cast<Real>(sum);
    }
    auto G = A;
    std::vector<Real> x(static_cast<std::size_t>(n));
    double det = 0;
    releasing([&] { return M_invGJ(G.slots(), n, &det); });
    M_mv(G.slots(), &G.at(0, n), n, n, x.data());
    const bool refused = M_qrdeq(A.slots(), n, 1) != M_QRDEQ_OK;
    double a = 0, b = 0;
    for (int i = 0; i < n; ++i) {
      a = std::max(a, std::fabs(double(A.at(i, n)) - 1));
      b = std::max(b, std::fabs(double(x[i]) - 1));
    }
    from_qrdeq.push_back(refused ? 1.0 : a);
    from_invGJ.push_back(b);
  }
  std::nth_element(from_qrdeq.begin(), from_qrdeq.begin() + 20, from_qrdeq.end());
  std::nth_element(from_invGJ.begin(), from_invGJ.begin() + 20, from_invGJ.end());
  return {from_qrdeq[20], from_invGJ[20]};
}

TWIN_TEST(Qrdeq, LosesDigitsWithTheSquareOfTheConditionAndInvGJWithTheCondition) {
  constexpr bool single = sizeof(Real) == 4;
  Random random(2029);
  for (const int n : {5, 10, 30})
    for (const double c : {1e2, 1e3, 1e5, 1e6}) {
      if (single && c > 1e3) break;
      const Errors e = errors<Real>(random, n, c);
      std::printf("%s, order %d, condition %.0e: M_qrdeq %.1e c^2, M_invGJ %.1e c\n", twin(Real{}), n,
                  c, e.qrdeq / c / c, e.invGJ / c);
      EXPECT_LT(e.qrdeq, (single ? 2e-8 : 1e-16) * c * c);
      EXPECT_GT(e.qrdeq, (single ? 2e-9 : 5e-18) * c * c);
      EXPECT_LT(e.invGJ, (single ? 1e-7 : 1e-16) * c);
      EXPECT_GT(e.qrdeq, 5 * e.invGJ);
    }
  for (const int n : {5, 10, 30})
    EXPECT_GT(errors<Real>(random, n, single ? 1e4 : 1e8).qrdeq, 0.05) << n;
}

}  // namespace

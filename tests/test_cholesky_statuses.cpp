// tests/test_cholesky_statuses.cpp - which matrices the Cholesky operations accept, twin by twin.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

/// A symmetric matrix in full.
using Matrix = std::vector<std::vector<long double>>;

/// A matrix of order n with s(0,0) = corner, definite for less = 0. A larger `less` lowers its
/// diagonal: then it may be indefinite.
Matrix random_matrix(Random& random, int n, double corner, double less) {
  std::vector<std::vector<double>> G(n, std::vector<double>(n + 1));
  for (auto& row : G)
    for (double& g : row) g = random.real(-1, 1);
  Matrix S(n, std::vector<long double>(n));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k <= n; ++k) S[i][j] += G[i][k] * G[j][k];
  for (int i = 1; i < n; ++i) S[i][i] -= less * random.real(0, 1);
  const long double scale = corner / S[0][0];
  for (auto& row : S)
    for (long double& s : row) s = static_cast<float>(s * scale);  // the same matrix for both twins
  S[0][0] = corner;
  return S;
}

/// The least pivot of the elimination, relative to the diagonal: positive for a definite matrix alone.
long double least_pivot(Matrix S) {
  long double least = S[0][0];
  for (std::size_t k = 0; k < S.size() && S[k][k] > 0; ++k)
    for (std::size_t i = k + 1; i < S.size(); ++i) {
      for (std::size_t j = k + 1; j < S.size(); ++j) S[i][j] -= S[i][k] * S[k][j] / S[k][k];
      if (i == k + 1) least = std::min(least, S[i][i]);
    }
  return least;
}

template <class Real>
int status(const Matrix& S) {
  const int n = static_cast<int>(S.size());
  auto T = Table<Real>::triangle(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) T.at(i, j) = static_cast<Real>(S[i][j]);
  return M_chol(T.slots(), n, T.slots());
}

struct Counts {
  int definite = 0, definite_refused_f = 0, definite_refused_d = 0;
  int other = 0, other_accepted_f = 0, other_accepted_d = 0;
};

/// Matrices whose definiteness no rounding can change.
Counts count(double corner) {
  Counts counts;
  Random random(101);
  for (int repeat = 0; repeat < 3000; ++repeat) {
    const Matrix S = random_matrix(random, 2 + repeat % 5, corner, repeat % 2 ? 0.0 : 2.0);
    const long double pivot = least_pivot(S);
    if (std::fabs(pivot) < 1e-3 * corner) continue;
    if (pivot > 0) {
      ++counts.definite;
      counts.definite_refused_f += status<float>(S) != M_CHOL_OK;
      counts.definite_refused_d += status<double>(S) != M_CHOL_OK;
    } else {
      ++counts.other;
      counts.other_accepted_f += status<float>(S) == M_CHOL_OK;
      counts.other_accepted_d += status<double>(S) == M_CHOL_OK;
    }
  }
  std::printf("s(0,0) = %g: of %d definite matrices d refuses %d, of %d others it accepts %d\n", corner,
              counts.definite, counts.definite_refused_d, counts.other, counts.other_accepted_d);
  EXPECT_GT(counts.definite, 500);
  EXPECT_GT(counts.other, 500);
  return counts;
}

TEST(Chol, FTwinAcceptsTheDefiniteMatricesAndNoOthers) {
  for (const double corner : {0.25, 1.0, 4.0}) {
    const Counts counts = count(corner);
    EXPECT_EQ(counts.definite_refused_f, 0);
    EXPECT_EQ(counts.other_accepted_f, 0);
  }
}

TEST(Chol, DTwinAcceptsTheDefiniteMatricesAloneIfTheirFirstElementIsOne) {
  const Counts counts = count(1);
  EXPECT_EQ(counts.definite_refused_d, 0);
  EXPECT_EQ(counts.other_accepted_d, 0);
}

TEST(Chol, DTwinAcceptsMatricesThatAreNotDefiniteIfTheirFirstElementIsGreaterThanOne) {
  const Counts counts = count(4);
  EXPECT_EQ(counts.definite_refused_d, 0);
  EXPECT_GT(counts.other_accepted_d, 20);
}

TEST(Chol, DTwinRefusesDefiniteMatricesIfTheirFirstElementIsLessThanOne) {
  const Counts counts = count(0.25);
  EXPECT_GT(counts.definite_refused_d, counts.definite / 2);
  EXPECT_EQ(counts.other_accepted_d, 0);
}

TEST(Chol, DTwinAcceptsADefiniteMatrixWhateverItsFirstElementIfTheRestOfTheRowIsZero) {
  for (const double corner : {1e-3, 0.25, 4.0, 1e3}) {
    EXPECT_EQ(status<double>({{corner, 0, 0}, {0, 2, 1}, {0, 1, 1}}), M_CHOL_OK) << corner;
    EXPECT_EQ(status<double>({{corner, 0, 0}, {0, 2, 2}, {0, 2, 1}}), 3) << corner;
  }
}

/// The statuses of a 2 by 2 matrix, one for each operation and twin.
template <class Real>
std::vector<int> statuses(double a, double b, double c) {
  auto S = Table<Real>::triangle(2), U = S, X = S, B = S;
  const auto fill = [&] {
    S.at(0, 0) = static_cast<Real>(a);
    S.at(0, 1) = static_cast<Real>(b);
    S.at(1, 1) = static_cast<Real>(c);
  };
  fill();
  std::vector<int> all = {M_chol(S.slots(), 2, U.slots())};
  all.push_back(M_choleq(S.slots(), B.slots(), 2, 0, U.slots()));
  all.push_back(M_cholinv(S.slots(), 2, U.slots(), X.slots()));
  all.push_back(M_invs(S.slots(), 2, U.slots()));
  return all;
}

TEST(Chol, TwinsJudgeTheSameSmallMatricesDifferently) {
  const std::vector<int> accepted(4, 0), refused(4, 2);
  EXPECT_EQ(statuses<float>(0.25, 1, 5), accepted);  // definite
  EXPECT_EQ(statuses<double>(0.25, 1, 5), refused);
  EXPECT_EQ(statuses<float>(4, 2, 1), refused);  // singular
  EXPECT_EQ(statuses<double>(4, 2, 1), accepted);
  EXPECT_EQ(statuses<float>(4, 2, 0.5), refused);  // indefinite
  EXPECT_EQ(statuses<double>(4, 2, 0.5), accepted);
}

}  // namespace

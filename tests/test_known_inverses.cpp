// tests/test_known_inverses.cpp - Gauss-Jordan, QR and Cholesky on matrices whose inverses are known.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/scaled_residuals.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

using namespace decompositions;

double binomial(int n, int k) {
  double b = 1;
  for (int i = 1; i <= k; ++i) b = b * (n - k + i) / i;  // exact in this order
  return k < 0 || k > n ? 0 : std::round(b);
}

/// A matrix whose inverse is known: element (i, j) of order n, 0-based.
struct Known {
  const char* name;
  int most_f, most_d;  ///< orders up to which the conditions leave digits
  double (*element)(int n, int i, int j);
  double (*inverse)(int n, int i, int j);
  double (*determinant)(int n);
};

double hilbert(int, int i, int j) { return 1.0 / (i + j + 1); }
double hilbert_inverse(int n, int i, int j) {
  const double b = binomial(i + j, i);
  return ((i + j) % 2 ? -1 : 1) * (i + j + 1) * binomial(n + i, n - j - 1) *
         binomial(n + j, n - i - 1) * b * b;
}
double hilbert_determinant(int n) {  // the reciprocal of an integer
  double d = 1;
  for (int i = 1; i < n; ++i) d *= (2 * i + 1) * binomial(2 * i, i) * binomial(2 * i, i);
  return 1 / d;
}

double pascal(int, int i, int j) { return binomial(i + j, i); }
double pascal_inverse(int n, int i, int j) {
  double sum = 0;
  for (int k = std::max(i, j); k < n; ++k) sum += binomial(k, i) * binomial(k, j);
  return (i + j) % 2 ? -sum : sum;
}
double pascal_determinant(int) { return 1; }

/// Nodes 0..n-1, one a row.
double vandermonde(int, int i, int j) { return std::pow(i, j); }
/// Coefficient of x^i in the polynomial that is 1 at node j: an integer over (n-1)!.
double vandermonde_inverse(int n, int i, int j) {
  std::vector<std::int64_t> c = {1};  // the product of (x - node) over the other nodes
  std::int64_t denominator = 1;
  for (int node = 0; node < n; ++node) {
    if (node == j) continue;
    denominator *= j - node;
    c.push_back(0);
    for (std::size_t d = c.size(); d-- > 0;) c[d] = (d ? c[d - 1] : 0) - node * c[d];
  }
  return static_cast<double>(c[i]) / static_cast<double>(denominator);
}
double vandermonde_determinant(int n) {
  double d = 1, factorial = 1;
  for (int i = 1; i < n; ++i) d *= factorial *= i;
  return d;
}

const Known known[] = {
    {"Hilbert", 4, 9, hilbert, hilbert_inverse, hilbert_determinant},
    {"Pascal", 6, 12, pascal, pascal_inverse, pascal_determinant},
    {"Vandermonde", 6, 10, vandermonde, vandermonde_inverse, vandermonde_determinant},
};

/// The matrix, its inverse, and |A| |A^-1|, by which roundings may be multiplied.
template <class Real>
struct Case {
  Table<Real> A;
  Table<double> X;
  double condition;

  Case(const Known& k, int n) : A(n, n), X(n, n) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        A.at(i, j) = static_cast<Real>(k.element(n, i, j));
        X.at(i, j) = k.inverse(n, i, j);
      }
    condition = norm(A, n, 0, n) * norm(X, n, 0, n);
  }
  /// Difference from the inverse, relative.
  double error(Real* const* got, int n, bool upper) {
    long double sum = 0;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double d = double(upper && i > j ? got[i][j] : got[j][i]) - X.at(i, j);
        sum += static_cast<long double>(d) * d;
      }
    return static_cast<double>(std::sqrt(sum)) / norm(X, n, 0, n);
  }
};

TEST(KnownInverses, AreInversesExactly) {
  for (const Known& k : known)
    for (int n = 2; n <= std::min(k.most_d, 8); ++n) {
      Case<double> c(k, n);
      // (n-1)! times a Vandermonde inverse, and every other inverse, is of integers
      const double scale = k.element == vandermonde ? std::tgamma(n) : 1;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          EXPECT_NEAR(scale * c.X.at(i, j), std::round(scale * c.X.at(i, j)), 1e-9) << k.name;
          long double sum = 0;
          for (int l = 0; l < n; ++l)
            sum += k.element(n, i, l) * static_cast<long double>(c.X.at(l, j));
          EXPECT_NEAR(static_cast<double>(sum), delta(i, j), 1e-6) << k.name << " " << n;
        }
    }
}

template <class Real>
int inverse(Table<Real>& A, int n, double* det) {
  return releasing([&] { return M_invGJ(A.slots(), n, det); });
}

TWIN_TEST(InvGJ, InvertsHilbertPascalAndVandermondeMatrices) {
  Largest inverse_error("error of the inverse / (condition eps)"),
      det_error("relative error of the determinant / (condition eps)");
  for (const Known& k : known)
    for (int n = 1; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      double det;
      ASSERT_EQ(inverse(c.A, n, &det), M_INVGJ_OK) << k.name << " " << n;
      const std::string at = std::string(k.name) + " " + std::to_string(n);
      inverse_error.see(c.error(c.A.slots(), n, false) / (c.condition * eps_of<Real>), at);
      det_error.see(std::fabs(det / k.determinant(n) - 1) / (c.condition * eps_of<Real>), at);
    }
  // The rounding of the matrix alone may cost its condition. Measured: 0.07 and 0.06.
  EXPECT_LT(inverse_error.value(), 0.2);
  EXPECT_LT(det_error.value(), 0.2);
}

TWIN_TEST(Qrdeq, InvertsHilbertPascalAndVandermondeMatrices) {
  Largest largest("error of the inverse / (condition^2 eps)");
  for (const Known& k : known)
    for (int n = 1; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      const double amplified = c.condition * c.condition * eps_of<Real>;
      if (amplified > 0.1) break;  // no digit is left
      Table<Real> A(n, 2 * n);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          A.at(i, j) = c.A.at(i, j);
          A.at(i, n + j) = static_cast<Real>(delta(i, j));
        }
      ASSERT_EQ(M_qrdeq(A.slots(), n, n), M_QRDEQ_OK) << k.name << " " << n;
      largest.see(c.error(A.slots() + n, n, false) / amplified,
                  std::string(k.name) + " " + std::to_string(n));
    }
  // In units of the square of the condition, which bounds the spread. Measured: 0.54.
  EXPECT_LT(largest.value(), 1.5);
}

TWIN_TEST(Chol, OfAPascalMatrixIsPascalsTriangleExactly) {
  const int most = sizeof(Real) == 4 ? 13 : 25;  // up to here every element is exact
  for (int n = 2; n <= most; ++n) {
    Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) S.at(i, j) = static_cast<Real>(binomial(i + j, i));
    ASSERT_EQ(M_chol(S.slots(), n, U.slots()), M_CHOL_OK) << n;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) ASSERT_EQ(U.at(i, j), static_cast<Real>(binomial(j, i))) << n;
  }
}

TWIN_TEST(Cholinv, InvertsHilbertAndPascalMatrices) {
  Largest largest("error of the inverse / (condition eps)");
  for (const Known& k : known) {
    if (k.element == vandermonde) continue;  // not symmetric; the others have s(0,0) = 1
    for (int n = 2; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      Table<Real> U = Table<Real>::triangle(n), X = Table<Real>::triangle(n);
      ASSERT_EQ(M_cholinv(c.A.slots(), n, U.slots(), X.slots()), M_CHOL_OK) << k.name << " " << n;
      largest.see(c.error(X.slots(), n, true) / (c.condition * eps_of<Real>),
                  std::string(k.name) + " " + std::to_string(n));
      ASSERT_EQ(M_invs(c.A.slots(), n, U.slots()), M_CHOL_OK);
      EXPECT_EQ(c.error(c.A.slots(), n, true), c.error(X.slots(), n, true));
    }
  }
  EXPECT_LT(largest.value(), 0.2);  // measured: 0.07
}

}  // namespace

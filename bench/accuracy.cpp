// bench/accuracy.cpp - how right the front's matrix algebra is, beside LAPACK's, on matrices that are hard.
//
// Prints the tables of docs/front.md. The true solution comes from elimination with full pivoting in numbers
// of 113 bits. An error is the greatest of an element, relative to the greatest element of the solution.
#include "tabfit/matrix.hpp"

#include "tests/support/random.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

extern "C" {
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, int* info);
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info);
}

namespace tabfit::bench {
namespace {

__extension__ using Quad = __float128;
using Matrix = column_table<double>;
using Vector = std::vector<double>;

Random random_numbers(1606);

Quad magnitude(Quad x) { return x < 0 ? -x : x; }

/// X with A X = B, by elimination with full pivoting.
std::vector<std::vector<Quad>> true_solutions(const Matrix& A, const Matrix& B) {
  const int n = A.rows(), p = B.columns();
  std::vector<std::vector<Quad>> M;
  std::vector<int> unknown;
  for (int i = 0; i < n; ++i) {
    M.emplace_back(std::size_t(n + p));
    for (int j = 0; j < n; ++j) M[i][j] = A(i, j);
    for (int k = 0; k < p; ++k) M[i][n + k] = B(i, k);
    unknown.push_back(i);
  }
  for (int k = 0; k < n; ++k) {
    int row = k, column = k;
    for (int i = k; i < n; ++i)
      for (int j = k; j < n; ++j)
        if (magnitude(M[i][j]) > magnitude(M[row][column])) row = i, column = j;
    std::swap(M[k], M[row]);
    std::swap(unknown[k], unknown[column]);
    for (auto& m : M) std::swap(m[k], m[column]);
    for (int i = k + 1; i < n; ++i) {
      const Quad l = M[i][k] / M[k][k];
      for (int j = k; j < n + p; ++j) M[i][j] -= l * M[k][j];
    }
  }
  std::vector<std::vector<Quad>> X(p, std::vector<Quad>(n));
  for (int k = 0; k < p; ++k)
    for (int i = n - 1; i >= 0; --i) {
      Quad sum = M[i][n + k];
      for (int j = i + 1; j < n; ++j) sum -= M[i][j] * X[k][unknown[j]];
      X[k][unknown[i]] = sum / M[i][i];
    }
  return X;
}

Matrix matrix_of(int n, const std::function<double(int, int)>& element) {
  Matrix A(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) A(i, j) = element(i, j);
  return A;
}

double uniform(int = 0, int = 0) { return random_numbers.real(-1, 1); }
double integer(int = 0, int = 0) { return random_numbers.integer(-9, 9); }

Matrix of_condition(int n, double c) {
  Matrix F = qr(matrix_of(n, uniform)).Q;
  for (int j = 0; j < n; ++j)
    for (double& f : F.column(j)) f *= std::pow(c, -double(j) / (n - 1));
  return multiply_by_transposed(F, qr(matrix_of(n, uniform)).Q);
}

double true_condition(const Matrix& A) {
  const auto X = true_solutions(A, matrix_of(A.rows(), [](int i, int j) { return double(i == j); }));
  double a = 0, x = 0;
  for (int j = 0; j < A.columns(); ++j) {
    Quad sum_a = 0, sum_x = 0;
    for (int i = 0; i < A.rows(); ++i) sum_a += magnitude(A(i, j)), sum_x += magnitude(X[j][i]);
    a = std::max(a, double(sum_a)), x = std::max(x, double(sum_x));
  }
  return a * x;
}

Vector block_of(const Matrix& A) {
  Vector a;
  for (int j = 0; j < A.columns(); ++j) a.insert(a.end(), A.column(j).begin(), A.column(j).end());
  return a;
}

double median(Vector values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? NAN : values[values.size() / 2];
}

void solve_both(const char* name, int repetitions, const std::function<Matrix()>& make) {
  Vector ours, theirs, conditions;
  int refused = 0;
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    const Matrix A = make();
    const int n = A.rows(), one = 1;
    Matrix B(n, 1);
    for (double& b : B.column(0)) b = uniform();
    const std::vector<Quad> truth = true_solutions(A, B)[0];
    const auto error = [&](const double* x) {
      Quad worst = 0, size = 0;
      for (int i = 0; i < n; ++i) {
        worst = std::max(worst, magnitude(x[i] - truth[i]));
        size = std::max(size, magnitude(truth[i]));
      }
      return double(worst / size);
    };
    try {
      ours.push_back(error(solve(A, B.column(0)).data()));
    } catch (const rank_deficient&) {
      ++refused;
    }
    Vector a = block_of(A), x(B.column(0).begin(), B.column(0).end());
    std::vector<int> pivots(n);
    int info;
    dgesv_(&n, &one, a.data(), &n, pivots.data(), x.data(), &n, &info);
    theirs.push_back(error(x.data()));
    if (repetition < 20) conditions.push_back(true_condition(A));
  }
  const auto worst = [](const Vector& v) {
    return v.empty() ? NAN : *std::max_element(v.begin(), v.end());
  };
  std::printf("| %s | %.0e | %.0e | %.0e | %.0e | %.0e | %d of %d |\n", name, median(conditions),
              median(ours), worst(ours), median(theirs), worst(theirs), refused, repetitions);
}

void solutions() {
  std::printf(
      "| matrices | condition | `solve`, median | worst | LAPACK, median | worst | refused |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const int n : {3, 10, 30})
    solve_both(("random, order " + std::to_string(n)).c_str(), 200,
               [n] { return matrix_of(n, uniform); });
  solve_both("integers -9..9, order 6", 200, [] { return matrix_of(6, integer); });
  for (const double c : {1e4, 1e8, 1e12, 1e14, 1e16})
    solve_both("random with that condition, order 20", 100, [c] { return of_condition(20, c); });
  for (const int n : {4, 6, 8, 10, 11, 12})
    solve_both(("Hilbert, order " + std::to_string(n)).c_str(), 20,
               [n] { return matrix_of(n, [](int i, int j) { return 1.0 / (i + j + 1); }); });
  for (const int n : {20, 60, 100})
    solve_both(("Wilkinson's, pivots grow to 2^" + std::to_string(n - 1)).c_str(), 5, [n] {
      return matrix_of(n, [n](int i, int j) { return i == j || j == n - 1 ? 1 : i > j ? -1 : 0; });
    });
  solve_both("rows in units from 1 to 1e-190", 100, [] {
    return matrix_of(20, [](int i, int) { return uniform() * std::pow(10, -10 * i); });
  });
  solve_both("columns in units from 1 to 1e-190", 100, [] {
    return matrix_of(20, [](int, int j) { return uniform() * std::pow(10, -10 * j); });
  });
  solve_both("graded, 10^-(i+j)", 100, [] {
    return matrix_of(20, [](int i, int j) { return uniform() * std::pow(10, -i - j); });
  });
}

/// Singular before rounding: small integers times small integers, with an inner size of less than n.
Matrix integers(int m, int n) {
  Matrix A(m, n);
  for (int j = 0; j < n; ++j)
    for (double& a : A.column(j)) a = random_numbers.integer(-5, 5);
  return A;
}

template <class Failure, class Call>
int refused(Call call) {
  try {
    call();
    return 0;
  } catch (const Failure&) {
    return 1;
  }
}

void judgements() {
  std::printf(
      "\n| singular matrices of integers | taken by the front | taken by LAPACK |\n|---|---|---|\n");
  constexpr int repetitions = 2000;
  for (const int n : {2, 3, 5, 10, 20}) {
    int ours = 0, theirs = 0, ours_definite = 0, theirs_definite = 0, info;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
      const Matrix A = multiply(integers(n, n - 1), integers(n - 1, n));
      Vector a = block_of(A), b(std::size_t(n), 1.0);
      std::vector<int> pivots(n);
      const int one = 1;
      ours += 1 - refused<rank_deficient>([&] { solve(A, b); });
      dgesv_(&n, &one, a.data(), &n, pivots.data(), b.data(), &n, &info);
      theirs += info == 0;

      const auto S = gram(integers(n - 1, n));
      a = block_of(S.full_symmetric());
      ours_definite += 1 - refused<not_positive_definite>([&] { cholesky(S); });
      dpotrf_("U", &n, a.data(), &n, &info);
      theirs_definite += info == 0;
    }
    std::printf("| `solve`, order %d | %d of %d | %d |\n", n, ours, repetitions, theirs);
    std::printf("| `cholesky`, order %d | %d of %d | %d |\n", n, ours_definite, repetitions,
                theirs_definite);
  }
}

void conditions() {
  std::printf(
      "\n| condition, estimated / true | least | below a third | above 0.999 |\n|---|---|---|---|\n");
  for (const int n : {2, 3, 5, 10, 20}) {
    double least = 1;
    int below = 0, sharp = 0;
    constexpr int repetitions = 1000;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
      const int kind = repetition % 3;
      const Matrix A = kind == 0 ? matrix_of(n, uniform)
                       : kind == 1
                           ? of_condition(n, std::pow(10, random_numbers.real(0, 8)))
                           : matrix_of(n, [](int i, int j) { return integer() + (i == j) * 0.5; });
      const double ratio = condition(A) / true_condition(A);
      least = std::min(least, ratio);
      below += ratio < 1.0 / 3;
      sharp += ratio > 0.999;
    }
    std::printf("| order %d | %.2f | %d of %d | %d |\n", n, least, below, repetitions, sharp);
  }
}

}  // namespace
}  // namespace tabfit::bench

int main() {
  tabfit::bench::solutions();
  tabfit::bench::judgements();
  tabfit::bench::conditions();
}

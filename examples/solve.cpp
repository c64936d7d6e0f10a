// Three equations in three unknowns: the solution, and how far its last digits can be trusted.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const tabfit::column_table<double> A{{2, 1, 1}, {4, -6, 0}, {-2, 7, 2}};
  const std::vector<double> b{5, -2, 9};

  const std::vector<double> x = tabfit::solve(A, b);
  std::printf("x = %.12g %.12g %.12g\n", x[0], x[1], x[2]);
  std::printf("determinant %.12g, condition %.3g\n", tabfit::determinant(A), tabfit::condition(A));

  const tabfit::column_table<double> X = tabfit::inverse(A);
  std::printf("first row of the inverse: %.4f %.4f %.4f\n", X(0, 0), X(0, 1), X(0, 2));
  return std::abs(x[0] - 1) + std::abs(x[1] - 1) + std::abs(x[2] - 2) < 1e-13 ? 0 : 1;
}

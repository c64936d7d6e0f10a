// The normal equations of a straight line by Cholesky's method: y = 1 + 2 t through four points.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const tabfit::column_table<float> A{{1, 0}, {1, 1}, {1, 2}, {1, 3}};
  const std::vector<float> y{1, 3, 5, 7};

  const tabfit::triangle_table<float> S = tabfit::gram(A);  // A^T A
  const tabfit::triangle_table<float> U = tabfit::cholesky(S);
  std::printf("U = %.6f %.6f\n             %.6f\n", U(0, 0), U(0, 1), U(1, 1));

  const std::vector<float> x = tabfit::solve(S, tabfit::multiply_transposed(A, y));
  std::printf("y = %g + %g t\n", x[0], x[1]);
  return std::abs(x[0] - 1) + std::abs(x[1] - 2) < 1e-5f ? 0 : 1;
}

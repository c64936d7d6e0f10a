// A line through four points with a slope and an intercept that are not negative and whose sum is at most 1;
// then constraints that contradict each other, and what is said of them.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const tabfit::column_table<double> A{{0.25, 1}, {0.5, 1}, {0.5, 1}, {0.8, 1}}, sum{{-1, -1}};
  const std::vector<double> w{0.5, 0.6, 0.7, 1.2}, at_most_one{-1}, zeros{0, 0};

  const auto line = tabfit::constrained(A, w, {.C = sum, .d = at_most_one, .lo = zeros});
  std::printf("x = %.8f %.8f, residual norm %.8f\n", line.x[0], line.x[1], line.residual_norm);
  std::printf("the sum costs %.4f per unit\n", line.multipliers[0]);

  const std::vector<double> above{0.8, 0.5};  // their sum is more than 1
  try {
    const auto none = tabfit::constrained(A, w, {.C = sum, .d = at_most_one, .lo = above});
    return none.converged ? 1 : 2;
  } catch (const tabfit::infeasible& failure) {
    std::puts(failure.what());
    return failure.constraints().size() == 3 && std::abs(line.x[0] - 0.62131519) < 1e-8 ? 0 : 3;
  }
}

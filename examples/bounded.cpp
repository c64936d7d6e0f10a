// A measured curve y = a + b t + c t^2 whose coefficients are known to lie in intervals, and the same a moment
// later: the second fit starts from the active set of the first, and needs one linear system.
#include <cstdio>
#include <limits>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  const tabfit::column_table<float> A{{1, 0, 0}, {1, 1, 1}, {1, 2, 4}, {1, 3, 9}, {1, 4, 16}};
  const std::vector<float> now{1, 1, 3, 7, 13}, later{1.1f, 1, 3, 7, 13.2f};
  const std::vector<float> lo{0, -0.5f, -infinity}, hi{infinity, infinity, 0.9f};

  const auto first = tabfit::bounded(A, now, lo, hi);
  const auto second = tabfit::bounded(A, later, lo, hi, {.start = first.active});
  for (const auto& s : {first, second})
    std::printf("%.4f %+.4f t %+.4f t^2, residual norm %.4f, iterations: %d\n", s.x[0], s.x[1], s.x[2],
                s.residual_norm, s.iterations);
  return first.converged && second.converged && second.iterations == 1 ? 0 : 1;
}

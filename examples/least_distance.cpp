// The point of a polygon next to the origin, and why there is none once a fourth side cuts it off.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  // x + 2 y >= 6, 2 x + y >= 6, x + y <= 10
  const tabfit::column_table<double> G{{1, 2}, {2, 1}, {-1, -1}};
  const std::vector<double> h{6, 6, -10};

  const auto s = tabfit::least_distance(G, h);
  std::printf("(%g, %g), at a distance of %.6f\n", s.x[0], s.x[1], s.residual_norm);
  for (std::size_t a = 0; a < s.active.size(); ++a)
    std::printf("side %d, multiplier %.6f\n", s.active[a].index, s.multipliers[a]);

  try {
    tabfit::least_distance(G, std::vector<double>{6, 6, -3});  // x + y <= 3
  } catch (const tabfit::infeasible& none) {
    std::printf("%s\n", none.what());
    for (const double w : none.weights()) std::printf("weight %.6f\n", w);
    return std::abs(s.x[0] - 2) + std::abs(s.x[1] - 2) < 1e-14 ? 0 : 1;
  }
  return 1;
}

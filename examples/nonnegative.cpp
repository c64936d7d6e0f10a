// What a mixture holds: its spectrum at five wavelengths is a sum of those of three substances. Amounts are
// not negative. The minimiser without that condition has -1.3 of the second substance.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const tabfit::column_table<double> spectra{{9, 8, 1}, {6, 7, 3}, {2, 3, 8}, {1, 2, 5}, {1, 0, 2}};
  const std::vector<double> mixture{14, 10, 11, 6, 5};

  const auto s = tabfit::nonnegative(spectra, mixture);
  for (std::size_t j = 0; j < s.x.size(); ++j) std::printf("substance %zu: %.4f\n", j, s.x[j]);
  std::printf("residual norm %.4f, %d iterations\n", s.residual_norm, s.iterations);

  // The second is not there. By so much the half square would fall for each unit below 0.
  for (std::size_t a = 0; a < s.active.size(); ++a)
    std::printf("x[%d] >= 0 holds it back: %.4f\n", s.active[a].index, s.multipliers[a]);
  return s.converged && s.active.size() == 1 && s.x[1] == 0 ? 0 : 1;
}

// A calibration line through readings of unequal precision: weights are 1 / variance of a reading.
#include <cmath>
#include <cstdio>
#include <vector>

#include "tabfit/tabfit.hpp"

int main() {
  const tabfit::column_table<double> load{{0}, {1}, {2}, {3}, {4}, {5}};
  const std::vector<double> reading = {0.11, 1.02, 2.13, 2.95, 4.6, 5.3};
  const std::vector<double> deviation = {0.05, 0.05, 0.1, 0.1, 0.5, 0.5};
  std::vector<double> weights;
  for (const double s : deviation) weights.push_back(1 / (s * s));

  const auto fit = tabfit::least_squares(load, reading, {.weights = weights, .intercept = true});
  const char* names[] = {"offset", "slope"};
  const auto intervals = fit.intervals(0.95);
  for (std::size_t j = 0; j < 2; ++j)
    std::printf("%-6s %8.4f +- %.4f, 95%% between %.4f and %.4f\n", names[j], fit.x[j],
                fit.standard_errors[j], intervals[j].low, intervals[j].high);

  double moment = 0;  // weighted residuals are orthogonal to the column
  for (int i = 0; i < 6; ++i) {
    const auto k = static_cast<std::size_t>(i);
    moment += weights[k] * fit.residual[k] * load(i, 0);
  }
  return std::abs(moment) < 1e-10 ? 0 : 1;
}

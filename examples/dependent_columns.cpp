// Columns that depend on each other: they are found and named, left out, solved by least norm, or refused.
#include <cmath>
#include <cstdio>
#include <vector>

#include "tabfit/tabfit.hpp"

int main() {
  // Height, width, and their sum: one of the three says nothing new.
  const tabfit::column_table<double> A{{1, 2, 3}, {2, 2, 4}, {3, 5, 8}, {4, 1, 5}, {5, 4, 9}};
  const std::vector<double> b = {5.1, 5.9, 13.2, 5.8, 13};

  const auto fit = tabfit::least_squares(A, b);
  for (const int j : fit.left_out) std::printf("column %d is left out, the rank is %d\n", j, fit.rank);

  const auto least = tabfit::least_squares(A, b, {.dependent = tabfit::dependent_columns::least_norm});
  for (std::size_t j = 0; j < 3; ++j) std::printf("%8.4f %8.4f\n", fit.x[j], least.x[j]);

  try {
    tabfit::least_squares(A, b, {.dependent = tabfit::dependent_columns::refuse});
  } catch (const tabfit::rank_deficient& e) {
    std::printf("%s\n", e.what());
    return std::abs(fit.residual_norm - least.residual_norm) < 1e-14 && e.rank() == 2 ? 0 : 1;
  }
  return 1;
}

// tests/measured/regressions.cpp - digits of least_squares() on regressions with certified results.
//
//   measure_regressions FILE     writes the table that docs/front.md quotes
//
// A digit is a decimal place of the relative error, cut off: -log10 |found - certified| / |certified|,
// 15 at most, the fewest of all coefficients or standard errors. The other statistics of a perfect fit
// are 0, 1 or infinite, and have no digits.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tabfit/least_squares.hpp"
#include "tests/reference/regression.hpp"

namespace {

tabfit::column_table<double> design(const Regression& s) {
  const int m = static_cast<int>(s.y.size()), n = s.degree ? s.degree : s.predictors;
  tabfit::column_table<double> A(m, n);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j)
      A(i, j) = s.degree ? std::pow(s.x[static_cast<std::size_t>(i)], j + 1)
                         : s.x[static_cast<std::size_t>(i * n + j)];
  return A;
}

double digits(double found, const char* certified) {
  const double value = std::atof(certified);
  const double error = std::abs(found - value) / std::abs(value);
  return error > 0 ? std::min(15.0, -std::log10(error)) : 15.0;
}

std::string fewest(const std::vector<double>& found, const std::vector<const char*>& certified) {
  double digits_left = 15;
  for (std::size_t j = 0; j < found.size(); ++j)
    digits_left = std::min(digits_left, digits(found[j], certified[j]));
  return std::to_string(static_cast<int>(digits_left));
}

std::string row(const Regression& s) {
  const auto fit = tabfit::least_squares(design(s), s.y, {.intercept = s.intercept});
  const bool perfect = std::string(s.f) == "inf";
  const auto one = [&](double found, const char* certified) {
    return perfect ? std::string("-") : fewest({found}, {certified});
  };
  char condition[16];
  std::snprintf(condition, sizeof condition, "%.0e", fit.condition);
  return std::string("| ") + s.name + " | " + std::to_string(s.y.size()) + " | " +
         std::to_string(s.b.size()) + " | " + condition + " | " + fewest(fit.x, s.b) + " | " +
         (perfect ? "-" : fewest(fit.standard_errors, s.errors)) + " | " + one(fit.sigma, s.sigma) +
         " | " + one(fit.r_squared, s.r_squared) + " | " + one(fit.f_statistic, s.f) + " |\n";
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return std::fputs("measure_regressions FILE\n", stderr), 2;
  std::ofstream out(arguments[1]);
  out << "| set | rows | coefficients | `condition` | coefficients | standard errors | sigma | R "
         "squared | F |\n"
         "|---|---|---|---|---|---|---|---|---|\n";
  for (const Regression& s : regressions) out << row(s);
  return out.flush() ? 0 : 1;
}

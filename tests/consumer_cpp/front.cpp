// A host of the C++ front in two translation units, through the installed headers and library.
#include <tabfit/tabfit.hpp>

#include <cmath>
#include <cstdio>

tabfit::column_table<double> inverse_of_another_unit(const tabfit::column_table<double>& A);

int main() {
  const tabfit::column_table<double> A{{2, 1}, {1, 3}};
  const auto I = tabfit::multiply(A, inverse_of_another_unit(A));
  const auto x = tabfit::solve(A, I.column(0));
  if (!(std::abs(I(0, 0) - 1) < 1e-15 && std::abs(I(0, 1)) < 1e-15 && std::abs(x[0] - 0.6) < 1e-15)) {
    std::fprintf(stderr, "front: A times its inverse has %g and %g in row 0, x(0) is %g, not 0.6\n",
                 I(0, 0), I(0, 1), x[0]);
    return 1;
  }
  try {
    tabfit::solve(tabfit::column_table<float>(2, 2), std::vector<float>{1, 2});
  } catch (const tabfit::error& failure) {
    std::printf("front: %s\n", failure.what());
    return 0;
  }
  return 1;
}

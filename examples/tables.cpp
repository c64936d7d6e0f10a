// A matrix from a block of a caller's, row by row: read where it lies, then copied and given a column.
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const double block[] = {1, 2, -1,  //
                          3, 4, -1,  // the third column is padding
                          5, 6, -1};
  const auto view = tabfit::table_view<double>::row_major(block, 3, 2, 3);
  const std::vector<double> sums = tabfit::multiply(view, std::vector<double>{1, 1});

  tabfit::column_table<double> A(view);  // a copy, in columns
  A.add_column(sums);
  A.swap_columns(0, 2);
  A.remove_column(1);
  for (int i = 0; i < A.rows(); ++i) std::printf("%4g %4g\n", A(i, 0), A(i, 1));

  const tabfit::column_table<double> expected{{3, 1}, {7, 3}, {11, 5}};
  return A == expected ? 0 : 1;
}

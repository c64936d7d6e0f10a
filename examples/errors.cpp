// What is refused, and how a host tells the reasons apart.
#include <cmath>
#include <cstdio>
#include <tabfit/tabfit.hpp>
#include <vector>

int main() {
  const std::vector<double> b{1, 2, 3};
  const std::vector<tabfit::column_table<double>> matrices{
      {{1, 2}, {3, 4}, {5, 6}},              // not square
      {{1, 2, 3}, {4, NAN, 6}, {7, 8, 10}},  // not a number
      {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}};    // row 1 is the mean of the others
  int refused = 0;
  for (const auto& A : matrices) {
    try {
      tabfit::solve(A, b);
    } catch (const tabfit::rank_deficient& failure) {
      std::printf("of rank %d only: %s\n", failure.rank(), failure.what());
      ++refused;
    } catch (const tabfit::error& failure) {  // all others, by what() or operation()
      std::printf("%s\n", failure.what());
      ++refused;
    }
  }
  return refused == 3 ? 0 : 1;
}

// Calls on the same data from several threads give what one thread gets.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tabfit/tabfit.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

TWIN_TEST(Threads, ShareTheirData) {
  Random random(174);
  tabfit::column_table<Real> A(30, 30);
  for (int j = 0; j < 30; ++j)
    for (Real& a : A.column(j)) a = static_cast<Real>(random.real(-1, 1));
  const auto S = tabfit::gram(A);
  const std::vector<Real> b(30, 1);
  const auto results = [&] {
    std::vector<std::vector<Real>> all{tabfit::solve(A, b), tabfit::multiply(A, b), tabfit::solve(S, b),
                                       tabfit::nonnegative(A, b).x, tabfit::least_squares(A, b).x};
    const auto R = tabfit::qr(A).R;
    all.emplace_back(R.column(29).begin(), R.column(29).end());
    all.push_back(tabfit::cholesky(S).packed_rows());
    return all;
  };
  const auto expected = results();
  std::vector<std::vector<std::vector<Real>>> found(4);
  std::vector<std::thread> threads;
  for (auto& f : found) threads.emplace_back([&] { f = results(); });
  for (std::thread& t : threads) t.join();
  for (const auto& f : found) EXPECT_EQ(f, expected);
}

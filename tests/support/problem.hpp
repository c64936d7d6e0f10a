// tests/support/problem.hpp - least-squares problems for the constrained solvers: laid out between
// guard zones, solved by calls that always end, and judged by their optimality conditions.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <vector>

#include "tests/reference/constrained.hpp"
#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

/// The result of call, which ends even if the solver would not: every pass asks for memory, and the
/// request of this number is refused. The calls of tests that return make fewer than half as many
/// requests.
template <class Call>
auto bounded_releasing(Call call) {
  constexpr int last_request = 30000;
  allocation_probe::begin(last_request);
  const auto result = call();
  const Account account = allocation_probe::end();
  EXPECT_EQ(account.refused, 0) << "the call did not come to an end";
  return result;
}

/// A table of the given rows: the matrix and, last in each row, the right-hand side.
template <class Real>
Table<Real> rows_of(std::initializer_list<std::initializer_list<double>> rows) {
  const int m = static_cast<int>(rows.size()), columns = static_cast<int>(rows.begin()->size());
  Table<Real> table(m, columns);
  int i = 0;
  for (const auto& row : rows) {
    int j = 0;
    for (const double v : row) table.at(i, j++) = static_cast<Real>(v);
    ++i;
  }
  return table;
}

/// The table with a column of zeros before the last one.
template <class Real>
Table<Real> with_zero_column(Table<Real>& A, int m, int n) {
  Table<Real> B(m, n + 2);
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) B.at(i, j) = A.at(i, j);
    B.at(i, n) = 0;
    B.at(i, n + 1) = A.at(i, n);
  }
  return B;
}

/// The order of the columns: place p holds the number of the column to which slot p leads.
template <class Real>
std::vector<int> order_of(Table<Real>& A, Real* const* slots) {
  std::vector<int> order;
  for (int p = 0; p < A.columns(); ++p) {
    int column = -1;
    for (int j = 0; j < A.columns(); ++j)
      if (slots[p] == &A.at(0, j)) column = j;
    order.push_back(column);
  }
  return order;
}

/// What a call of Ls_cnn, Ls_cge or Ls_cle did.
template <class Real>
struct Outcome {
  Outcome(int m, int n) : x(n), r(std::max(m, n)), rn(1) {}
  int status = 0;
  Guarded<Real> x, r, rn;
  std::vector<int> order;
};

/// Runs call(slots, x, r, rn). It must not change the elements of the n + 1 columns of A or the pointer
/// of the last one, may only reorder the other pointers, and must stay within its outputs.
template <class Real, class Call>
Outcome<Real> outcome_of(Table<Real>& A, int m, int n, Call call) {
  Table<Real> before = A;
  std::vector<Real*> slots(A.slots(), A.slots() + n + 1);
  Outcome<Real> out(m, n);
  out.status =
      bounded_releasing([&] { return call(slots.data(), out.x.data(), out.r.data(), out.rn.data()); });
  EXPECT_TABLE(A, before);
  EXPECT_TRUE(out.x.zones_intact() && out.r.zones_intact() && out.rn.zones_intact());
  out.order = order_of(A, slots.data());
  EXPECT_EQ(out.order.back(), n) << "the pointer of b";
  std::vector<int> sorted = out.order;
  std::sort(sorted.begin(), sorted.end());
  for (int p = 0; p <= n; ++p) EXPECT_EQ(sorted[static_cast<std::size_t>(p)], p) << "column pointers";
  return out;
}

template <class Real>
Outcome<Real> nonnegative(Table<Real>& A, int m, int n) {
  return outcome_of(
      A, m, n, [&](Real** slots, Real* x, Real* r, Real* rn) { return Ls_cnn(slots, m, n, x, r, rn); });
}

/// How the elements of a random problem are chosen.
enum class Data {
  uniform,    ///< in -1..1
  integers,   ///< in -3..3: many zeros and equal duals
  positive,   ///< in 0..1, as spectra and mixtures are
  dependent,  ///< half of the columns are nearly multiples of others
  repeated,   ///< a third of the columns are copies of others
  odd,        ///< NaN, infinities, huge and tiny numbers among others
};
inline constexpr Data ordinary_data[] = {Data::uniform, Data::integers, Data::positive};
inline constexpr Data all_data[] = {Data::uniform,   Data::integers, Data::positive,
                                    Data::dependent, Data::repeated, Data::odd};

/// A random problem of n + 1 columns of m elements.
template <class Real>
Table<Real> random_problem(Random& random, int m, int n, Data data) {
  Table<Real> A(m, n + 1);
  A.fill([&] {
    if (data == Data::integers) return static_cast<Real>(random.integer(-3, 3));
    if (data == Data::positive) return static_cast<Real>(random.real(0, 1));
    if (data == Data::odd && random.chance(12)) return any_element<Real>(random);
    return static_cast<Real>(random.real(-1, 1));
  });
  for (int j = 1; j < n; ++j) {
    if (data == Data::dependent ? !random.chance(2) : data != Data::repeated || !random.chance(3))
      continue;
    const int other = random.integer(0, j - 1);
    const double factor = random.real(0.9, 1.1);
    for (int i = 0; i < m; ++i)
      A.at(i, j) = data == Data::repeated
                       ? A.at(i, other)
                       : static_cast<Real>(A.at(i, other) * factor + 1e-4 * random.real(-1, 1));
  }
  return A;
}

/// The matrix and right-hand side of a reference problem, or its constraints and bounds.
template <class Real>
Table<Real> matrix_of(const std::vector<int>& elements, const std::vector<int>& right, int n) {
  const int m = static_cast<int>(right.size());
  Table<Real> A(m, n + 1);
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j)
      A.at(i, j) = static_cast<Real>(elements[static_cast<std::size_t>(i * n + j)] / 64.0);
    A.at(i, n) = static_cast<Real>(right[static_cast<std::size_t>(i)] / 64.0);
  }
  return A;
}

/// r = b - A x and w = A^T r in long double, with the scales that their rounding errors have.
template <class Real>
struct Gradient {
  std::vector<long double> r, w;
  long double rn = 0;             ///< sum of squares of r
  long double length = 0;         ///< |b| + sum |x[j]| |A[j]|: r is a small difference of these
  std::vector<long double> norm;  ///< of the columns

  Gradient(Table<Real>& A, int m, int n, const Real* x) {
    for (int j = 0; j <= n; ++j) {
      long double sum = 0;
      for (int i = 0; i < m; ++i) sum += static_cast<long double>(A.at(i, j)) * A.at(i, j);
      norm.push_back(std::sqrt(sum));
    }
    length = norm.back();
    for (int j = 0; j < n; ++j) length += std::abs(static_cast<long double>(x[j])) * norm[j];
    for (int i = 0; i < m; ++i) {
      r.push_back(A.at(i, n));
      for (int j = 0; j < n; ++j) r[i] -= static_cast<long double>(A.at(i, j)) * x[j];
      rn += r[i] * r[i];
    }
    for (int j = 0; j < n; ++j) {
      w.push_back(0);
      for (int i = 0; i < m; ++i) w[j] += A.at(i, j) * r[i];
    }
  }
  /// w[j] in units of the rounding error that it may have.
  double scaled(int j) const {
    const long double scale = norm[static_cast<std::size_t>(j)] * length * eps_of<Real>;
    return scale > 0 ? static_cast<double>(w[static_cast<std::size_t>(j)] / scale) : 0.0;
  }
};

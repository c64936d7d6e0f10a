// tests/support/plain_table.hpp - tables whose pointers move, as the written-out steps see them.
#pragma once

#include <numeric>
#include <vector>

#include "tests/support/table.hpp"

namespace decompositions {

/// A table as the definitions below write it: its columns, and where its pointers lead.
template <class Real>
struct Plain {
  std::vector<std::vector<Real>> block;
  std::vector<int> order;  ///< pointer j leads to block order[j]

  explicit Plain(Table<Real>& A) : block(A.columns()), order(A.columns()) {
    for (int j = 0; j < A.columns(); ++j) {
      order[j] = j;
      for (int i = 0; i < A.rows(j); ++i) block[j].push_back(A.at(i, j));
    }
  }
  Real& operator()(int i, int j) { return block[order[j]][i]; }
  const Real* column(int j, int first = 0) { return block[order[j]].data() + first; }
};

/// True if got is what want says: the same number, any NaN for a NaN, or untouched poison.
template <class Real>
bool same_element(Real got, Real want) {
  return same_bits(got, want) && Guarded<Real>::is_poison(got) == Guarded<Real>::is_poison(want);
}

/// True if the pointers and elements of A are those of want, and nothing outside was written. Restores
/// the pointers.
template <class Real>
testing::AssertionResult agree(Table<Real>& A, Plain<Real>& want) {
  for (int j = 0; j < A.columns(); ++j)
    if (A.slots()[j] != &A.at(0, want.order[j]))
      return testing::AssertionFailure()
             << "pointer " << j << " does not lead to the column that stood at " << want.order[j];
  for (int j = 0; j < A.columns(); ++j) A.slots()[j] = &A.at(0, j);
  if (!A.intact()) return testing::AssertionFailure() << "written outside";
  for (int j = 0; j < A.columns(); ++j)
    for (int i = 0; i < A.rows(j); ++i)
      if (!same_element(A.at(i, j), want.block[j][i]))
        return testing::AssertionFailure()
               << "row " << i << " of the column that stood at " << j << "\n    is "
               << shown(A.at(i, j)) << "\n  and should be " << shown(want.block[j][i]);
  return testing::AssertionSuccess();
}

/// rows by columns, filled row by row.
template <class Real>
Table<Real> table(int rows, int columns, const std::vector<double>& by_rows) {
  Table<Real> A(rows, columns);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) A.at(i, j) = static_cast<Real>(by_rows[i * columns + j]);
  return A;
}

/// A triangle table, filled column by column.
template <class Real>
Table<Real> triangle(int n, const std::vector<double>& by_columns) {
  Table<Real> S = Table<Real>::triangle(n);
  std::size_t next = 0;
  S.fill([&] { return static_cast<Real>(by_columns[next++]); });
  return S;
}

/// The elements as the pointers show them, row by row.
template <class Real>
std::vector<Real> seen(Table<Real>& A, int rows, int columns) {
  std::vector<Real> a;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) a.push_back(A.slots()[j][i]);
  return a;
}

inline std::vector<int> identity(int n) {
  std::vector<int> ip(n);
  std::iota(ip.begin(), ip.end(), 0);
  return ip;
}

inline std::vector<int> values(Guarded<int>& ip) { return {ip.span().begin(), ip.span().end()}; }

}  // namespace decompositions

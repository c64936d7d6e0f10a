// Tables and views of the C++ front: sizes, room, copies, strides, and what they take from the heap.
#include "tabfit/table.hpp"

#include <gtest/gtest.h>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::column_table;
using tabfit::table_view;
using tabfit::triangle_table;

TWIN_TEST(ColumnTable, IsZeroAtFirstAndAddsColumns) {
  column_table<Real> A(3, 1, 4);
  EXPECT_EQ(A.capacity(), 4);
  A.add_column(std::vector<Real>{1, 2, 3});
  EXPECT_EQ(A, (column_table<Real>{{0, 1}, {0, 2}, {0, 3}}));
}

TWIN_TEST(TableView, ReadsBlocksByRowsAndByColumns) {
  const Real block[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(column_table<Real>(table_view<Real>::column_major(block, 3, 2)),
            (column_table<Real>{{1, 4}, {2, 5}, {3, 6}}));
  EXPECT_EQ(column_table<Real>(table_view<Real>::row_major(block, 3, 2)),
            (column_table<Real>{{1, 2}, {3, 4}, {5, 6}}));
}

TWIN_TEST(TriangleTable, IsTheSameFromEitherPacking) {
  const std::vector<Real> by_columns{1, 2, 3, 4, 5, 6}, by_rows{1, 2, 4, 3, 5, 6};
  const auto S = triangle_table<Real>::from_packed_columns(by_columns);
  EXPECT_EQ(S, triangle_table<Real>::from_packed_rows(by_rows));
  EXPECT_EQ(S.full_symmetric(), (column_table<Real>{{1, 2, 4}, {2, 3, 5}, {4, 5, 6}}));
}

// Tables and views of the C++ front: sizes, room, copies, strides, and what they take from the heap.
#include "tabfit/table.hpp"

#include <gtest/gtest.h>

#include <concepts>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/random.hpp"
#include "tests/support/thrown.hpp"
#include "tests/support/twin_test.hpp"

using tabfit::bad_data;
using tabfit::column_table;
using tabfit::table_view;
using tabfit::triangle_table;

static_assert(tabfit::table<table_view<float>> && tabfit::table<column_table<double>>);
static_assert(!tabfit::table<std::vector<double>> && !tabfit::table<triangle_table<double>>);
static_assert(std::regular<column_table<float>> && std::regular<triangle_table<double>>);
static_assert(std::is_nothrow_move_constructible_v<column_table<double>>);
static_assert(std::is_nothrow_move_assignable_v<triangle_table<double>>);

namespace {

/// Element (i, j) is 10 i + j + 1.
template <class Real>
column_table<Real> numbered(int m, int n) {
  column_table<Real> A(m, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) A(i, j) = static_cast<Real>(10 * i + j + 1);
  return A;
}

template <class Real>
std::vector<std::vector<Real>> columns_of(const column_table<Real>& A) {
  std::vector<std::vector<Real>> all;
  for (int j = 0; j < A.columns(); ++j) all.emplace_back(A.column(j).begin(), A.column(j).end());
  return all;
}

}  // namespace

// -- owners of columns -------------------------------------------------------------------------------

TWIN_TEST(ColumnTable, OfEverySizeIsZeroAtFirst) {
  for (int m : {0, 1, 2, 7})
    for (int n : {0, 1, 2, 5})
      for (int room : {0, 1, 3}) {
        const column_table<Real> A(m, n, n + room);
        EXPECT_EQ(A.rows(), m);
        EXPECT_EQ(A.columns(), n);
        EXPECT_EQ(A.capacity(), n + room);
        EXPECT_EQ(columns_of(A), std::vector(static_cast<std::size_t>(n),
                                             std::vector<Real>(static_cast<std::size_t>(m))));
        EXPECT_EQ(A.view().rows(), m);
        EXPECT_EQ(A.view().columns(), n);
      }
}

TWIN_TEST(ColumnTable, RefusesCountsBelowZeroAndTooLittleRoom) {
  EXPECT_EQ(thrown<bad_data>([] { return column_table<Real>(-1, 2); }), "column_table: -1 rows");
  EXPECT_EQ(thrown<bad_data>([] { return column_table<Real>(2, -3); }), "column_table: -3 columns");
  EXPECT_EQ(thrown<bad_data>([] { return column_table<Real>(2, 1, 0); }),
            "column_table: 1 column with room for 0");
}

TWIN_TEST(ColumnTable, TakesRows) {
  const column_table<Real> A{{1, 2}, {3, 4}, {5, 6}};
  EXPECT_EQ(columns_of(A), (std::vector<std::vector<Real>>{{1, 3, 5}, {2, 4, 6}}));
  EXPECT_EQ((column_table<Real>{{7}})(0, 0), 7);
  EXPECT_EQ(thrown<bad_data>([] {
              return column_table<Real>{{1, 2}, {3}};
            }),
            "column_table: row 1 has 1 element, row 0 has 2 elements");
}

TWIN_TEST(ColumnTable, AddsRemovesAndExchangesColumnsAsAVectorOfColumnsDoes) {
  Random random(16);
  for (int m : {0, 1, 2, 6}) {
    column_table<Real> A(m, 0);
    std::vector<std::vector<Real>> model;
    for (int step = 0; step < 400; ++step) {
      const int n = A.columns(), kind = random.integer(0, 9);
      if (n == 0 || kind < 4) {
        std::vector<Real> column(static_cast<std::size_t>(m));
        for (Real& a : column) a = static_cast<Real>(random.integer(-9, 9));
        A.add_column(column);
        model.push_back(column);
      } else if (kind < 7) {
        const int j = random.integer(0, n - 1);
        A.remove_column(j);
        model.erase(model.begin() + j);
      } else if (kind < 9) {
        const int j = random.integer(0, n - 1), k = random.integer(0, n - 1);
        A.swap_columns(j, k);
        model[static_cast<std::size_t>(j)].swap(model[static_cast<std::size_t>(k)]);
      } else {
        A.reserve(random.integer(0, 2 * n));
      }
      ASSERT_EQ(columns_of(A), model) << "step " << step;
      ASSERT_GE(A.capacity(), A.columns());
    }
  }
}

TWIN_TEST(ColumnTable, KeepsItsElementsInTheirPlacesWhileItGrows) {
  column_table<Real> A = numbered<Real>(3, 2);
  const Real *first = A.column(0).data(), *second = A.column(1).data();
  A.reserve(9);
  A.swap_columns(0, 1);
  A.add_column(A.column(0));  // one of its own
  EXPECT_EQ(A.capacity(), 9);
  EXPECT_EQ(A.column(0).data(), second);
  EXPECT_EQ(A.column(1).data(), first);
  EXPECT_EQ(A, (column_table<Real>{{2, 1, 2}, {12, 11, 12}, {22, 21, 22}}));
}

TWIN_TEST(ColumnTable, SaysWhichColumnIsNotThere) {
  column_table<Real> A(3, 2, 5);
  EXPECT_EQ(thrown<bad_data>([&] { return A.add_column(std::vector<Real>(4)), 0; }),
            "add_column: the column has 4 elements, the table has 3 rows");
  EXPECT_EQ(thrown<bad_data>([&] { return A.remove_column(2), 0; }),
            "remove_column: no column 2, the table has 2 columns");
  EXPECT_EQ(thrown<bad_data>([&] { return A.swap_columns(0, -1), 0; }),
            "swap_columns: no column -1, the table has 2 columns");
  EXPECT_EQ(A, column_table<Real>(3, 2));
}

TWIN_TEST(ColumnTable, CopiesElementsAndMovesBlocks) {
  column_table<Real> A = numbered<Real>(3, 2);
  column_table<Real> B = A;
  EXPECT_EQ(A, B);
  B(2, 1) = 0;
  EXPECT_NE(A, B);

  const Real* place = B.column(0).data();
  column_table<Real> C = std::move(B);
  EXPECT_EQ(C.column(0).data(), place);
  EXPECT_EQ(B, column_table<Real>());
  EXPECT_EQ(B.capacity(), 0);
  B = A;
  C = C;
  EXPECT_EQ(B, A);
  EXPECT_EQ(C(2, 1), 0);
  C = column_table<Real>(1, 1);
  EXPECT_EQ(C, (column_table<Real>{{0}}));
  C.swap(A);
  EXPECT_EQ(C, B);
}

TWIN_TEST(ColumnTable, OfEqualElementsButAnotherSizeIsAnother) {
  EXPECT_NE(column_table<Real>(2, 0), column_table<Real>(3, 0));
  EXPECT_NE(column_table<Real>(0, 2), column_table<Real>(0, 3));
  EXPECT_EQ(column_table<Real>(2, 1, 7), column_table<Real>(2, 1));
}

TWIN_TEST(ColumnTable, ServesTheEngine) {
  for (int n : {1, 2, 3}) {
    const column_table<Real> A = numbered<Real>(n, n);
    column_table<Real> C(n, n);
    tabfit::engine::M_mm(A.data(), A.data(), n, n, n, C.data());
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < n; ++k) {
        Real sum = 0;
        for (int l = 0; l < n; ++l) sum += A(i, l) * A(l, k);
        EXPECT_EQ(C(i, k), sum);
      }
  }
}

TWIN_TEST(ColumnTable, TakesWhatTheEngineTakesAndReleasesAllOfIt) {
  const Account account = probe([] {
    column_table<Real> A(3, 2, 4);
    EXPECT_EQ(allocation_probe::live(), from_new_array(3, 4 * sizeof(Real*) + 2 * 3 * sizeof(Real)));
    A.add_column(A.column(0));
    A.remove_column(1);
    A.add_column(A.column(0));  // into the block that was removed
    EXPECT_EQ(allocation_probe::live(), from_new_array(4, 4 * sizeof(Real*) + 3 * 3 * sizeof(Real)));
    const column_table<Real> B = std::move(A), nothing(5, 0);
    EXPECT_EQ(allocation_probe::live(), from_new_array(4, 4 * sizeof(Real*) + 3 * 3 * sizeof(Real)));
  });
  EXPECT_EQ(account.kept, Usage());
}

TWIN_TEST(ColumnTable, ThrowsBadAllocAndStaysAsItWasWhenMemoryIsRefused) {
  EXPECT_EQ(refuse_each_request([] { return column_table<Real>(3, 4, 6); }), 5);

  const column_table<Real> kept = numbered<Real>(3, 4);
  EXPECT_EQ(refuse_each_request([&] { return kept; }), 5);

  refuse_each_request([&] {
    column_table<Real> grown = kept;
    const auto grow = [&] {
      grown.reserve(5);
      grown.add_column(kept.column(2));
      grown.add_column(kept.column(1));
    };
    try {
      grow();
    } catch (const std::bad_alloc&) {
      // The table is the old one, with the columns that came before the refusal.
      for (int j = 0; j < grown.columns(); ++j)
        EXPECT_TRUE(std::ranges::equal(grown.column(j), kept.column(j < 4 ? j : 6 - j)));
      EXPECT_GE(grown.columns(), 4);
      throw;
    }
    return grown.columns();
  });
}

// -- views -------------------------------------------------------------------------------------------

TWIN_TEST(TableView, ReadsBlocksByRowsAndByColumnsWithStrides) {
  const Real block[] = {1, 2, 3, 4, 5, 6, 7, 8};
  const auto table_of = [](table_view<Real> view) { return column_table<Real>(view); };
  using View = table_view<Real>;
  EXPECT_EQ(table_of(View::column_major(block, 3, 2)), (column_table<Real>{{1, 4}, {2, 5}, {3, 6}}));
  EXPECT_EQ(table_of(View::column_major(block, 3, 2, 4)), (column_table<Real>{{1, 5}, {2, 6}, {3, 7}}));
  EXPECT_EQ(table_of(View::row_major(block, 3, 2)), (column_table<Real>{{1, 2}, {3, 4}, {5, 6}}));
  EXPECT_EQ(table_of(View::row_major(block, 2, 2, 5)), (column_table<Real>{{1, 2}, {6, 7}}));
  EXPECT_EQ(table_of(View(block + 7, 2, 3, -4, -1)), (column_table<Real>{{8, 7, 6}, {4, 3, 2}}));
  EXPECT_EQ(table_of(View(block + 2, 2, 2, 0, 1)), (column_table<Real>{{3, 4}, {3, 4}}));

  const Real* const pointers[] = {block + 3, block};
  EXPECT_EQ(table_of(View(pointers, 2, 2)), (column_table<Real>{{4, 1}, {5, 2}}));
  EXPECT_EQ(table_of(View()), column_table<Real>());
  EXPECT_EQ(table_of(View::row_major(nullptr, 0, 3)), column_table<Real>(0, 3));
  EXPECT_EQ(table_of(View::column_major(nullptr, 3, 0).view()), column_table<Real>(3, 0));
}

TWIN_TEST(TableView, RefusesCountsBelowZeroAndLeadingDimensionsThatOverlap) {
  using View = table_view<Real>;
  EXPECT_EQ(thrown<bad_data>([] { return View(nullptr, -2, 1, 1, 1); }), "table_view: -2 rows");
  EXPECT_EQ(thrown<bad_data>([] { return View::row_major(nullptr, 1, -1); }), "table_view: -1 columns");
  EXPECT_EQ(thrown<bad_data>([] { return View::column_major(nullptr, 3, 1, 2); }),
            "table_view: a leading dimension of 2 is too small for 3 rows");
  EXPECT_EQ(thrown<bad_data>([] { return View::row_major(nullptr, 3, 4, 3); }),
            "table_view: a leading dimension of 3 is too small for 4 columns");
}

TWIN_TEST(Columns, AreThoseOfTheViewWhereTheyAreContiguous) {
  const Real block[] = {1, 2, 3, 4, 5, 6};
  const auto direct = table_view<Real>::column_major(block, 3, 2);
  EXPECT_EQ(tabfit::detail::columns<Real>(direct).data()[1], block + 3);
  const auto one_row = table_view<Real>::row_major(block, 1, 4);
  EXPECT_EQ(tabfit::detail::columns<Real>(one_row).data()[3], block + 3);
  const column_table<Real> A = numbered<Real>(2, 2);
  EXPECT_EQ(tabfit::detail::columns<Real>(A.view()).data()[1], A.column(1).data());

  const auto by_rows = table_view<Real>::row_major(block, 3, 2);
  const tabfit::detail::columns<Real> copy(by_rows);
  EXPECT_EQ(column_table<Real>(table_view<Real>(copy.data(), 3, 2)), column_table<Real>(by_rows));
  EXPECT_EQ(refuse_each_request([&] { return tabfit::detail::columns<Real>(by_rows).data()[0]; }), 4);
}

// -- owners of triangles -----------------------------------------------------------------------------

TWIN_TEST(TriangleTable, OfEveryOrderIsZeroAtFirst) {
  for (int n : {0, 1, 2, 5}) {
    const triangle_table<Real> S(n);
    EXPECT_EQ(S.order(), n);
    EXPECT_EQ(S.packed_columns(), std::vector<Real>(static_cast<std::size_t>(n * (n + 1) / 2)));
    EXPECT_EQ(S.full_symmetric(), column_table<Real>(n, n));
  }
  EXPECT_EQ(thrown<bad_data>([] { return triangle_table<Real>(-1); }), "triangle_table: -1 columns");
}

TWIN_TEST(TriangleTable, IsTheSameFromEitherPackingAndFromFullMatrices) {
  const std::vector<Real> by_columns{1, 2, 3, 4, 5, 6}, by_rows{1, 2, 4, 3, 5, 6};
  const column_table<Real> symmetric{{1, 2, 4}, {2, 3, 5}, {4, 5, 6}},
      upper{{1, 2, 4}, {0, 3, 5}, {0, 0, 6}};
  const auto S = triangle_table<Real>::from_packed_columns(by_columns);
  EXPECT_EQ(S, triangle_table<Real>::from_packed_rows(by_rows));
  EXPECT_EQ(S, triangle_table<Real>::from_symmetric(symmetric.view()));
  EXPECT_EQ(S, triangle_table<Real>::from_upper(upper.view()));
  EXPECT_EQ(S(1, 2), 5);
  EXPECT_EQ(S.packed_columns(), by_columns);
  EXPECT_EQ(S.packed_rows(), by_rows);
  EXPECT_EQ(S.full_symmetric(), symmetric);
  EXPECT_EQ(S.full_upper(), upper);

  const auto one = triangle_table<Real>::from_packed_rows(std::vector<Real>{9});
  EXPECT_EQ(one.full_symmetric(), (column_table<Real>{{9}}));
  EXPECT_EQ(triangle_table<Real>::from_packed_columns({}), triangle_table<Real>());
}

TWIN_TEST(TriangleTable, RefusesWhatIsNoTriangle) {
  EXPECT_EQ(
      thrown<bad_data>([] { return triangle_table<Real>::from_packed_rows(std::vector<Real>(5)); }),
      "triangle_table: 5 elements do not fill a triangle: n (n+1) / 2 do");
  EXPECT_EQ(thrown<bad_data>(
                [] { return triangle_table<Real>::from_upper(column_table<Real>(2, 3).view()); }),
            "triangle_table: A has 2 rows, 3 columns: not square");
  const column_table<Real> skew{{1, 2}, {-2, 1}};
  EXPECT_EQ(thrown<bad_data>([&] { return triangle_table<Real>::from_symmetric(skew.view()); }),
            "triangle_table: A(0, 1) is not A(1, 0): not symmetric");
}

TWIN_TEST(TriangleTable, CopiesElementsAndMovesBlocks) {
  auto S = triangle_table<Real>::from_packed_rows(std::vector<Real>{1, 2, 3});
  auto T = S;
  T(0, 1) = 7;
  EXPECT_NE(S, T);
  const auto U = std::move(T);
  EXPECT_EQ(T, triangle_table<Real>());
  EXPECT_EQ(U(0, 1), 7);
  S = U;
  EXPECT_EQ(S, U);
  EXPECT_NE(S, triangle_table<Real>(1));
}

TWIN_TEST(TriangleTable, TakesWhatTheEngineTakesAndReleasesAllOfIt) {
  const Account account = probe([] {
    const triangle_table<Real> S(3);
    EXPECT_EQ(allocation_probe::live(), from_new_array(4, 3 * sizeof(Real*) + 6 * sizeof(Real)));
    const triangle_table<Real> one(1), none(0);
  });
  EXPECT_EQ(account.kept, Usage());
  const triangle_table<Real> S(4);
  EXPECT_EQ(refuse_each_request([&] { return triangle_table<Real>(S); }), 5);
  EXPECT_EQ(refuse_each_request([&] { return S.full_symmetric(); }), 5);
}

// -- what is not finite ------------------------------------------------------------------------------

TWIN_TEST(CheckFinite, NamesTheFirstElementThatIsNot) {
  using Limits = std::numeric_limits<Real>;
  std::vector<Real> b{0,        Limits::max(), Limits::lowest(), Limits::denorm_min(),
                      -Real(0), Limits::min()};
  const auto check = [&] {
    return tabfit::detail::check_finite("solve", "b", std::span<const Real>(b)), 0;
  };
  EXPECT_NO_THROW(check());
  b.push_back(-inf_of<Real>);
  EXPECT_EQ(thrown<bad_data>(check), "solve: b(6) is infinite");
  b[3] = -nan_of<Real>;
  EXPECT_EQ(thrown<bad_data>(check), "solve: b(3) is NaN");
  b[0] = Limits::signaling_NaN();
  EXPECT_EQ(thrown<bad_data>(check), "solve: b(0) is NaN");
}

TWIN_TEST(CheckFinite, GivesRowAndColumn) {
  for (int at = 0; at < 12; ++at) {
    std::vector<Real> block(12);
    block[static_cast<std::size_t>(at)] = at % 2 ? inf_of<Real> : nan_of<Real>;
    const std::string kind = at % 2 ? " is infinite" : " is NaN";
    const auto refusal = [](table_view<Real> A) {
      return thrown<bad_data>([&] { return tabfit::detail::check_finite("qr", "A", A), 0; });
    };
    const auto place = [](int i, int j) {
      return "qr: A(" + std::to_string(i) + ", " + std::to_string(j) + ")";
    };
    EXPECT_EQ(refusal(table_view<Real>::column_major(block.data(), 4, 3)),
              place(at % 4, at / 4) + kind);
    EXPECT_EQ(refusal(table_view<Real>::row_major(block.data(), 4, 3)), place(at / 3, at % 3) + kind);
  }
}

TEST(Errors, HoldOperationStatusAndPlace) {
  const tabfit::rank_deficient rank("solve", "rank 2 of 3", 2, 4);
  EXPECT_EQ(rank.operation(), "solve");
  EXPECT_EQ(rank.status(), 4);
  EXPECT_EQ(rank.rank(), 2);
  EXPECT_STREQ(static_cast<const std::exception&>(rank).what(), "solve: rank 2 of 3");
  const tabfit::not_positive_definite definite("cholesky", "pivot 1", 1);
  EXPECT_EQ(definite.pivot(), 1);
  EXPECT_EQ(static_cast<const tabfit::error&>(definite).status(), 0);
}

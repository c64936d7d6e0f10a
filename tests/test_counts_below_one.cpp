// tests/test_counts_below_one.cpp - what matrix operations read and write with counts below one.
#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

TWIN_TEST(Invt, OfNoRightHandSideDoesNotReadTheMatrix) {
  Real* const nothing[3] = {};
  for (const int p : {0, -1, -64, INT_MIN}) {
    M_invt(nothing, nothing, 3, p);
    M_invutm(nothing, nothing, 3, p);
  }
}

TWIN_TEST(TriangularInverses, OfNoRowReadNothing) {
  Real* const* const null = nullptr;
  for (const int n : {0, -1, INT_MIN}) {
    M_invt(null, null, n, 2);
    M_invutm(null, null, n, 2);
    M_invuu(null, null, n);
    M_invu(null, null, n);
    EXPECT_EQ(M_tinv(null, n), M_TINV_BAD_SIZE);
  }
}

/// The steps of M_transpa for the k by k block, k the greater size.
template <class Real>
void transpose_in_steps(Table<Real>& A, int p, int q) {
  Real s = 0, t = 0;
  const int k = std::max(p, q);
  for (int j = 0; j < k; ++j)
    for (int i = j; i < k; ++i) {
      if (j < p) s = A.at(i, j);
      if (i < q) t = A.at(j, i);
      A.at(i, j) = i > q ? A.at(j, i) : t;
      A.at(j, i) = j > p ? A.at(i, j) : s;
    }
}

TWIN_TEST(Transpa, OverwritesTheBlockWithOneSizeBelowOne) {
  for (int k = 2; k <= 5; ++k)
    for (const int none : {0, -1, INT_MIN})
      for (const bool rows : {false, true}) {
        const int p = rows ? none : k, q = rows ? k : none;
        Table<Real> A(6, 6);
        A.number();
        Table<Real> expected = A, old = A;
        transpose_in_steps(expected, p, q);
        ASSERT_EQ(M_transpa(A.slots(), p, q), M_TRANSPA_OK);
        ASSERT_TABLE(A, expected) << p << " by " << q;
        EXPECT_FALSE(compare_tables("", "", A, old)) << p << " by " << q << " left the block as it was";
      }
}

TWIN_TEST(Transp, WithOneSizeBelowOneReadsAndWritesNothing) {
  Real* const* const null = nullptr;
  for (const int none : {0, -1, INT_MIN})
    for (const int some : {1, 2, 9}) {
      Real* const columns[9] = {};
      EXPECT_EQ(M_transp(columns, none, some, null), M_TRANSP_OK);
      EXPECT_EQ(M_transp(null, some, none, columns), M_TRANSP_OK);
    }
}

TWIN_TEST(Mmtb, TransposesItsOperandWhereTheProductHasNothingToWrite) {
  const auto turned = [](auto product, int p, int n) {
    Table<Real> B(4, 4);
    B.number();
    Table<Real> expected = B;
    M_transpa(expected.slots(), p, n);
    EXPECT_EQ(product(B.slots()), M_INPLACE_OK);
    EXPECT_TABLE(B, expected) << p << " by " << n;
  };
  Table<Real> A(4, 4);
  A.number();
  turned([&](auto B) { return M_mmtb(A.slots(), B, 0, 3, 2); }, 2, 3);  // no row
  turned([&](auto B) { return M_mmtb(A.slots(), B, 2, 3, 0); }, 0, 3);  // no column
  turned([&](auto B) { return M_smtma(A.slots(), B, 0, 3); }, 3, 0);    // neither
  turned([&](auto B) { return M_smtma(A.slots(), B, 3, -1); }, -1, 3);  // no column
}

TWIN_TEST(Swap, OfARowWithItselfChangesNothing) {
  Random random(111);
  Table<Real> A(3, 4);
  A.fill_any(random);
  Table<Real> old = A;
  for (int r = 0; r < 3; ++r) M_swap(A.slots(), 0, 3, r, r);
  EXPECT_TABLE(A, old);
}

TWIN_TEST(Colsort, TakesAnIndexThatHasOccurredForAMissingOne) {
  const int idx[] = {2, 2, 0};
  std::vector<Real> a = {1, 2, 3};
  ASSERT_EQ(releasing([&] { return M_colsort(a.data(), 1, 3, idx); }), M_COLSORT_OK);
  // Column 2 goes to place 0. The second 2 is missing, so columns 0 and 1 change places. Column 0
  // stands in place 2.
  EXPECT_EQ(a, (std::vector<Real>{2, 3, 1}));
}

}  // namespace

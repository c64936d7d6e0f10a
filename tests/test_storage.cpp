// tests/test_storage.cpp - making, filling and laying of column tables and triangle tables.
#include <sys/mman.h>

#include <climits>
#include <cstddef>
#include <vector>

#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

constexpr int bad_sizes[] = {1, 0, -1, INT_MIN};

/// n elements of any kind.
template <class Real>
std::vector<Real> any_elements(Random& random, int n) {
  std::vector<Real> data;
  for (int i = 0; i < n; ++i) data.push_back(any_element<Real>(random));
  return data;
}

// -- allocation -----------------------------------------------------------------------------------

TWIN_TEST(Alloc, MakesZeroedColumnsAndNullSlots) {
  Real** A = M_alloc<Real>(3, 2, 4);
  ASSERT_NE(A, nullptr);
  for (int j = 0; j < 2; ++j)
    for (int i = 0; i < 3; ++i) EXPECT_SAME(A[j][i], Real(0)) << i << ", " << j;
  EXPECT_EQ(A[2], nullptr);
  EXPECT_EQ(A[3], nullptr);
  M_dealloc(A, 3, 4);
}

TWIN_TEST(Alloc, MakesTheSmallestTable) {
  Real** A = M_alloc<Real>(2, 2, 2);
  ASSERT_NE(A, nullptr);
  for (int j = 0; j < 2; ++j)
    for (int i = 0; i < 2; ++i) EXPECT_SAME(A[j][i], Real(0)) << i << ", " << j;
  M_dealloc(A, 2, 2);
}

TWIN_TEST(Alloc, MakesColumnsApartThatHoldWhatIsWritten) {
  for (int round = 0; round < 3; ++round) {  // blocks that were in use come back zeroed
    for (int m = 2; m <= 9; ++m)
      for (int n = 2; n <= 9; ++n) {
        Real** A = M_alloc<Real>(m, n, n + m);
        ASSERT_NE(A, nullptr);
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < m; ++i) ASSERT_SAME(A[j][i], Real(0)) << m << " by " << n;
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < m; ++i) A[j][i] = static_cast<Real>(100 * j + i + 1);
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < m; ++i) ASSERT_SAME(A[j][i], static_cast<Real>(100 * j + i + 1));
        for (int j = n; j < n + m; ++j) ASSERT_EQ(A[j], nullptr) << j;
        M_dealloc(A, m, n + m);
      }
  }
}

TWIN_TEST(Alloc, RefusesFewerThanTwoRowsOrColumnsOrSlotsThanColumns) {
  EXPECT_EQ(M_alloc<Real>(1, 5, 5), nullptr);
  EXPECT_EQ(M_alloc<Real>(5, 1, 5), nullptr);
  EXPECT_EQ(M_alloc<Real>(5, 5, 4), nullptr);
  EXPECT_EQ(M_alloc<Real>(2, 3, 2), nullptr);
  for (const int bad : bad_sizes) {
    EXPECT_EQ(M_alloc<Real>(bad, 2, 2), nullptr) << bad;
    EXPECT_EQ(M_alloc<Real>(2, bad, 2), nullptr) << bad;
    EXPECT_EQ(M_alloc<Real>(2, 2, bad), nullptr) << bad;
    EXPECT_EQ(M_alloc<Real>(2, bad, bad), nullptr) << bad;
  }
}

TWIN_TEST(Allocs, MakesZeroedColumnsDownToTheDiagonal) {
  for (int round = 0; round < 3; ++round)
    for (int n = 2; n <= 20; ++n) {
      Real** T = M_allocs<Real>(n);
      ASSERT_NE(T, nullptr);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) ASSERT_SAME(T[j][i], Real(0)) << "order " << n;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) T[j][i] = static_cast<Real>(100 * j + i + 1);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) ASSERT_SAME(T[j][i], static_cast<Real>(100 * j + i + 1));
      M_dealloc(T, n, n);
    }
}

TWIN_TEST(Allocs, RefusesAnOrderBelowTwo) {
  for (const int bad : bad_sizes) EXPECT_EQ(M_allocs<Real>(bad), nullptr) << bad;
}

// -- general fillers ------------------------------------------------------------------------------

TWIN_TEST(Fillc, PutsElementIJFromPlaceMJPlusI) {
  Random random(21);
  for (int m = 2; m <= 20; ++m)
    for (int n = 2; n <= 20; ++n) {
      const std::vector<Real> data = any_elements<Real>(random, m * n);
      Table<Real> A(m, n);
      ASSERT_EQ(M_fillc(A.slots(), data.data(), m, n), M_FILL_OK);
      EXPECT_TRUE(A.intact());
      for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j)
          ASSERT_EQ(bits_of(A.at(i, j)), bits_of(data[m * j + i])) << m << " by " << n;
    }
}

TWIN_TEST(Fillr, PutsElementIJFromPlaceNIPlusJ) {
  Random random(22);
  for (int m = 2; m <= 20; ++m)
    for (int n = 2; n <= 20; ++n) {
      const std::vector<Real> data = any_elements<Real>(random, m * n);
      Table<Real> A(m, n);
      ASSERT_EQ(M_fillr(A.slots(), data.data(), m, n), M_FILL_OK);
      EXPECT_TRUE(A.intact());
      for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j)
          ASSERT_EQ(bits_of(A.at(i, j)), bits_of(data[n * i + j])) << m << " by " << n;
    }
}

TWIN_TEST(Fill, WritesOnlyTheStatedPartOfALargerTable) {
  Table<Real> A(5, 4), B(5, 4);
  const std::vector<Real> data = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(M_fillc(A.slots(), data.data(), 3, 2), M_FILL_OK);
  EXPECT_EQ(M_fillr(B.slots(), data.data(), 3, 2), M_FILL_OK);
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 5; ++i) {
      const bool written = i < 3 && j < 2;
      EXPECT_EQ(Guarded<Real>::is_poison(A.at(i, j)), !written) << i << ", " << j;
      EXPECT_EQ(Guarded<Real>::is_poison(B.at(i, j)), !written) << i << ", " << j;
    }
}

TWIN_TEST(Fill, RefusesSizesBelowTwoWithOneAndWritesNothing) {
  const std::vector<Real> data(16, Real(3));
  Table<Real> A(4, 4);
  for (const int bad : bad_sizes)
    for (const int other : {2, 4, 1, 0, -1, INT_MIN}) {
      EXPECT_EQ(M_fillc(A.slots(), data.data(), bad, other), 1) << bad << " by " << other;
      EXPECT_EQ(M_fillc(A.slots(), data.data(), other, bad), 1) << other << " by " << bad;
      EXPECT_EQ(M_fillr(A.slots(), data.data(), bad, other), 1) << bad << " by " << other;
      EXPECT_EQ(M_fillr(A.slots(), data.data(), other, bad), 1) << other << " by " << bad;
    }
  EXPECT_TRUE(A.untouched());
}

// -- triangle fillers -----------------------------------------------------------------------------

TWIN_TEST(Fills, FillsOneSymmetricMatrixFromBothPackedOrders) {
  const Real by_columns[] = {1, 2, 4, 3, 5, 6}, by_rows[] = {1, 2, 3, 4, 5, 6};
  Table<Real> C = Table<Real>::triangle(3), R = Table<Real>::triangle(3);
  EXPECT_EQ(M_fillsc(C.slots(), by_columns, 3), M_FILL_OK);
  EXPECT_EQ(M_fillsr(R.slots(), by_rows, 3), M_FILL_OK);
  EXPECT_TABLE(C, R);
  const Real rows[3][3] = {{1, 2, 3}, {2, 4, 5}, {3, 5, 6}};
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i <= j; ++i) EXPECT_SAME(C.at(i, j), rows[i][j]) << i << ", " << j;
}

TWIN_TEST(Fills, PutsElementsFromTheStatedPlaces) {
  Random random(23);
  for (int n = 2; n <= 40; ++n) {
    const std::vector<Real> data = any_elements<Real>(random, n * (n + 1) / 2);
    Table<Real> C = Table<Real>::triangle(n), R = Table<Real>::triangle(n);
    ASSERT_EQ(M_fillsc(C.slots(), data.data(), n), M_FILL_OK);
    ASSERT_EQ(M_fillsr(R.slots(), data.data(), n), M_FILL_OK);
    EXPECT_TRUE(C.intact() && R.intact());
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) {
        ASSERT_EQ(bits_of(C.at(i, j)), bits_of(data[j * (j + 1) / 2 + i])) << "order " << n;
        ASSERT_EQ(bits_of(R.at(i, j)), bits_of(data[i * n - i * (i + 1) / 2 + j])) << "order " << n;
      }
  }
}

TWIN_TEST(Fills, LeavesWhatIsBelowTheDiagonalOfAFullTable) {
  const std::vector<Real> data(15, Real(3));
  Table<Real> C(5, 5), R(5, 5);
  EXPECT_EQ(M_fillsc(C.slots(), data.data(), 5), M_FILL_OK);
  EXPECT_EQ(M_fillsr(R.slots(), data.data(), 5), M_FILL_OK);
  EXPECT_TABLE(C, R);
  for (int j = 0; j < 5; ++j)
    for (int i = 0; i < 5; ++i)
      EXPECT_EQ(Guarded<Real>::is_poison(C.at(i, j)), i > j) << i << ", " << j;
}

TWIN_TEST(Fills, RefusesOrdersBelowTwoWithOneAndWritesNothing) {
  const std::vector<Real> data(6, Real(3));
  Table<Real> T = Table<Real>::triangle(3);
  for (const int bad : bad_sizes) {
    EXPECT_EQ(M_fillsc(T.slots(), data.data(), bad), 1) << bad;
    EXPECT_EQ(M_fillsr(T.slots(), data.data(), bad), 1) << bad;
  }
  EXPECT_TRUE(T.untouched());
}

// -- a table over a block -------------------------------------------------------------------------

TWIN_TEST(Storec, LaysColumnsOverTheBlockAndCopiesNothing) {
  Guarded<Real> block(30);
  for (int m = 0; m <= 6; ++m)
    for (int n = 0; n <= 5; ++n) {
      Real* elsewhere = nullptr;
      std::vector<Real*> table(7, reinterpret_cast<Real*>(&elsewhere));
      const std::vector<Real*> before = table;
      M_storec(block.data(), m, n, table.data() + 1);
      for (int j = -1; j < 6; ++j)
        EXPECT_EQ(table[j + 1], j >= 0 && j < n ? block.data() + m * j : before[0]) << m << " by " << n;
    }
  EXPECT_TRUE(block.untouched_from(0) && block.zones_intact());
}

TWIN_TEST(Storec, WritesNothingForFewerThanOneColumn) {
  Real block[] = {1};
  for (const int n : {0, -1, INT_MIN}) M_storec(block, 3, n, static_cast<Real**>(nullptr));
}

TWIN_TEST(Storec, LaysColumnsFurtherApartThanAnIntCanCount) {
  const int m = 1 << 30, n = 5;
  const std::size_t bytes = static_cast<std::size_t>(m) * n * sizeof(Real);
  void* space = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (space == MAP_FAILED) GTEST_SKIP() << "no " << bytes << " bytes of address space";
  Real* const block = static_cast<Real*>(space);
  Real* table[n];
  M_storec(block, m, n, table);
  for (int j = 0; j < n; ++j) EXPECT_EQ(table[j] - block, std::ptrdiff_t{m} * j);
  munmap(space, bytes);
}

TWIN_TEST(Storec, GivesATableThatOtherOperationsWriteThrough) {
  Guarded<Real> block(6);
  Real* table[2];
  M_storec(block.data(), 3, 2, table);
  const Real data[] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(M_fillr(table, data, 3, 2), M_FILL_OK);
  const Real expected[] = {1, 3, 5, 2, 4, 6};
  for (int i = 0; i < 6; ++i) EXPECT_SAME(block[i], expected[i]) << i;
  EXPECT_TRUE(block.zones_intact());
}

}  // namespace

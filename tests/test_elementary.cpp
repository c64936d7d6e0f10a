// tests/test_elementary.cpp - copies, transposition, exchange and reordering of whole matrices.
#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

/// The bits of all elements, to compare blocks that hold NaN.
template <class Real>
auto all_bits(const Real* a, int n) {
  std::vector<decltype(bits_of(*a))> bits;
  for (int i = 0; i < n; ++i) bits.push_back(bits_of(a[i]));
  return bits;
}
template <class Real>
auto all_bits(const std::vector<Real>& a) {
  return all_bits(a.data(), static_cast<int>(a.size()));
}

/// A guarded copy of a block.
template <class Real>
Guarded<Real> guarded(const std::vector<Real>& a) {
  Guarded<Real> copy(static_cast<int>(a.size()));
  std::copy(a.begin(), a.end(), copy.data());
  return copy;
}

// -- copies ---------------------------------------------------------------------------------------

TWIN_TEST(Cop, CopiesTheStatedPartAndNothingElse) {
  Random random(31);
  for (int m = 0; m <= 20; ++m)
    for (int n = 0; n <= 6; ++n) {
      Table<Real> A(m + 2, n + 1, random.integer(0, 7)), B(m + 1, n + 2, random.integer(0, 7));
      A.fill_any(random);
      Table<Real> old = A;
      M_cop(A.slots(), B.slots(), m, n);
      ASSERT_TABLE(A, old);
      EXPECT_TRUE(B.intact());
      for (int j = 0; j < n + 2; ++j)
        for (int i = 0; i < m + 1; ++i)
          ASSERT_EQ(bits_of(B.at(i, j)), bits_of(i < m && j < n ? A.at(i, j) : Guarded<Real>::poison()))
              << m << " by " << n << " at " << i << ", " << j;
    }
}

TWIN_TEST(Cop, MayCopyATableOntoItself) {
  Random random(32);
  Table<Real> A(9, 3);
  A.fill_any(random);
  Table<Real> old = A;
  M_cop(A.slots(), A.slots(), 9, 3);
  EXPECT_TABLE(A, old);
}

TWIN_TEST(Copss, CopiesTheTriangleOnly) {
  Random random(33);
  for (int n = 0; n <= 20; ++n) {
    Table<Real> S = Table<Real>::triangle(n), T = Table<Real>::triangle(n), F(n, n);
    S.fill_any(random);
    M_copss(S.slots(), T.slots(), n);
    EXPECT_TABLE(S, T);
    M_copss(S.slots(), F.slots(), n);
    EXPECT_TRUE(F.intact());
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_EQ(bits_of(F.at(i, j)), bits_of(i <= j ? S.at(i, j) : Guarded<Real>::poison()))
            << "order " << n << " at " << i << ", " << j;
  }
}

TWIN_TEST(Copsr, CopiesASymmetricMatrixInFull) {
  Random random(34);
  for (int n = 0; n <= 20; ++n) {
    Table<Real> S = Table<Real>::triangle(n), B(n, n), from_full(n, n), full(n, n);
    S.fill_any(random);
    for (int j = 0; j < n; ++j)  // below the diagonal of a full source stands poison
      for (int i = 0; i <= j; ++i) full.at(i, j) = S.at(i, j);
    M_copsr(S.slots(), B.slots(), n);
    M_copsr(full.slots(), from_full.slots(), n);
    EXPECT_TABLE(B, from_full);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_EQ(bits_of(B.at(i, j)), bits_of(i <= j ? S.at(i, j) : S.at(j, i)))
            << "order " << n << " at " << i << ", " << j;
    M_copsr(full.slots(), full.slots(), n);  // onto itself
    EXPECT_TABLE(full, B);
  }
}

TWIN_TEST(Coptr, CopiesATriangularMatrixInFullWithZerosBelow) {
  Random random(35);
  for (int n = 0; n <= 20; ++n) {
    Table<Real> U = Table<Real>::triangle(n), B(n, n), from_full(n, n), full(n, n);
    U.fill_any(random);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) full.at(i, j) = U.at(i, j);
    M_coptr(U.slots(), B.slots(), n);
    M_coptr(full.slots(), from_full.slots(), n);
    EXPECT_TABLE(B, from_full);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_EQ(bits_of(B.at(i, j)), bits_of(i <= j ? U.at(i, j) : Real(0)))
            << "order " << n << " at " << i << ", " << j;
    M_coptr(full.slots(), full.slots(), n);
    EXPECT_TABLE(full, B);
  }
}

TWIN_TEST(Copies, OfNegativeCountsDoNothing) {
  Table<Real> A(3, 3), B(3, 3);
  A.number();
  for (const int n : {-1, INT_MIN}) {
    M_cop(A.slots(), B.slots(), n, 3);
    M_cop(A.slots(), B.slots(), 3, n);
    M_copss(A.slots(), B.slots(), n);
    M_copsr(A.slots(), B.slots(), n);
    M_coptr(A.slots(), B.slots(), n);
    M_lminus(B.slots(), n, 1);
  }
  EXPECT_TRUE(B.untouched());
}

// -- transposition into another table -------------------------------------------------------------

TWIN_TEST(Transp, TransposesTwoByThree) {
  const Real data[] = {1, 2, 3, 4, 5, 6};
  Table<Real> A(2, 3), B(3, 2);
  ASSERT_EQ(M_fillr(A.slots(), data, 2, 3), M_FILL_OK);
  EXPECT_EQ(M_transp(A.slots(), 2, 3, B.slots()), M_TRANSP_OK);
  EXPECT_EQ(std::vector<Real>(B.slots()[0], B.slots()[0] + 3), (std::vector<Real>{1, 2, 3}));
  EXPECT_EQ(std::vector<Real>(B.slots()[1], B.slots()[1] + 3), (std::vector<Real>{4, 5, 6}));
}

TWIN_TEST(Transp, OfOneElementCopiesNothing) {
  Table<Real> A(1, 1), B(1, 1);
  A.number();
  EXPECT_EQ(M_transp(A.slots(), 1, 1, B.slots()), M_TRANSP_OK);
  EXPECT_TRUE(B.untouched());
}

TWIN_TEST(Transp, RefusesTwoSizesBelowOne) {
  Table<Real> A(3, 3), B(3, 3);
  A.number();
  for (const int m : {0, -1, INT_MIN})
    for (const int n : {0, -1, INT_MIN})
      EXPECT_EQ(M_transp(A.slots(), m, n, B.slots()), -1) << m << " by " << n;
  EXPECT_TRUE(B.untouched());
}

TWIN_TEST(Transp, OfOneSizeBelowOneCopiesNothing) {
  Table<Real> A(5, 5), B(5, 5);
  A.number();
  for (const int none : {0, -1, INT_MIN})
    for (const int some : {1, 2, 5}) {
      EXPECT_EQ(M_transp(A.slots(), none, some, B.slots()), 0) << none << " by " << some;
      EXPECT_EQ(M_transp(A.slots(), some, none, B.slots()), 0) << some << " by " << none;
    }
  EXPECT_TRUE(B.untouched());
}

TWIN_TEST(Transp, MovesEveryElementOfEveryShape) {
  Random random(36);
  const auto check = [&](int m, int n) {
    Table<Real> A(m + 1, n, random.integer(0, 7)), B(n + 1, m, random.integer(0, 7));
    A.fill_any(random);
    Table<Real> old = A;
    ASSERT_EQ(M_transp(A.slots(), m, n, B.slots()), 0);
    ASSERT_TABLE(A, old);
    ASSERT_TRUE(B.intact());
    for (int i = 0; i < m; ++i) {
      ASSERT_TRUE(Guarded<Real>::is_poison(B.at(n, i))) << m << " by " << n;
      for (int j = 0; j < n; ++j)
        ASSERT_EQ(bits_of(B.at(j, i)), bits_of(A.at(i, j)))
            << m << " by " << n << " at " << i << ", " << j;
    }
  };
  for (int m = 1; m <= 18; ++m)
    for (int n = 1; n <= 18; ++n)
      if (m * n > 1) check(m, n);
  for (const int size : {31, 33, 64, 131}) {
    check(size, 67);
    check(67, size);
    check(size, size);
    check(1, size);
    check(size, 1);
  }
}

// -- transposition within a table -----------------------------------------------------------------

/// The steps as they are defined. Saved values are 0 at first.
template <class Real>
int plain_transpa(Table<Real>& A, int p, int q) {
  if (p < 1 && q < 1) return -1;
  if (p == 1 && q == 1) return 0;
  const int k = p > q ? p : q;
  Real s = 0, t = 0;
  for (int j = 0; j <= k - 1; ++j) {
    for (int i = j; i <= k - 1; ++i) {
      if (j < p) s = A.at(i, j);
      if (i < q) t = A.at(j, i);
      if (i > q)
        A.at(i, j) = A.at(j, i);
      else
        A.at(i, j) = t;
      if (j > p)
        A.at(j, i) = A.at(i, j);
      else
        A.at(j, i) = s;
    }
  }
  return 0;
}

template <class Real>
void expect_plain_transpa(Random& random, int p, int q) {
  const int k = std::max({p, q, 0});
  Table<Real> A(k, k, random.integer(0, 7));
  A.fill_any(random);
  Table<Real> old = A, expected = A;
  const int status = plain_transpa(expected, p, q);
  ASSERT_EQ(M_transpa(A.slots(), p, q), status) << p << " by " << q;
  ASSERT_TABLE(A, expected) << p << " by " << q;
  for (int i = 0; i < p; ++i)
    for (int j = 0; j < q; ++j)
      ASSERT_EQ(bits_of(A.at(j, i)), bits_of(old.at(i, j)))
          << p << " by " << q << " at " << i << ", " << j;
}

TWIN_TEST(Transpa, TransposesTheLeadingBlockOfALargerTable) {
  Table<Real> A(5, 4);
  A.number();
  Table<Real> old = A;
  EXPECT_EQ(M_transpa(A.slots(), 3, 3), M_TRANSPA_OK);
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 5; ++i)
      EXPECT_SAME(A.at(i, j), i < 3 && j < 3 ? old.at(j, i) : old.at(i, j)) << i << ", " << j;
  EXPECT_TRUE(A.intact());
}

TWIN_TEST(Transpa, DoesItsStepsForEveryPairOfSizes) {
  Random random(37);
  for (int p = -1; p <= 9; ++p)
    for (int q = -1; q <= 9; ++q) {
      expect_plain_transpa<Real>(random, p, q);
      if (testing::Test::HasFatalFailure()) return;
    }
}

TWIN_TEST(Transpa, DoesItsStepsForLargerSizes) {
  Random random(38);
  const int sizes[][2] = {{31, 31}, {32, 32}, {33, 33}, {64, 64}, {65, 65}, {97, 97}, {97, 96},
                          {40, 64}, {64, 40}, {1, 70},  {70, 1},  {0, 33},  {33, 0},  {-5, 40}};
  for (const auto& [p, q] : sizes) {
    expect_plain_transpa<Real>(random, p, q);
    if (testing::Test::HasFatalFailure()) return;
  }
}

TWIN_TEST(Transpa, RefusesTwoSizesBelowOneAndLeavesOneElement) {
  Table<Real> A(2, 2);
  A.number();
  Table<Real> old = A;
  for (const int p : {0, -1, INT_MIN})
    for (const int q : {0, -1, INT_MIN}) EXPECT_EQ(M_transpa(A.slots(), p, q), -1) << p << " by " << q;
  EXPECT_EQ(M_transpa(A.slots(), 1, 1), 0);
  EXPECT_TABLE(A, old);
}

// -- transposition within a block -----------------------------------------------------------------

/// What marks a vacated place.
template <class Real>
constexpr Real marker = sizeof(Real) == 4 ? Real(3.4028234663852886e38) : Real(0);

/// The steps as they are defined.
template <class Real>
int plain_tran(std::vector<Real>& a, int r, int c) {
  if (r < 2 && c < 2) return -2;
  if (c < 0) return -1;
  std::vector<Real> scratch(static_cast<std::size_t>(c));
  for (int s = 0; s <= r - 2; ++s) {
    for (int t = 0; t <= c - 1; ++t) {
      const int e = s * c + (r - s) * t;
      scratch[t] = a[e];
      a[e] = marker<Real>;
    }
    int d = r * c - 1;
    for (int e = r * c - 2; e >= s * c + 1; --e)
      if (a[e] != marker<Real>) {
        d = d - 1;
        a[d] = a[e];
      }
    for (int t = 0; t <= c - 1; ++t) a[s * c + t] = scratch[t];
  }
  return 0;
}

/// The elements of a in the order of the transposed block.
template <class Real>
std::vector<Real> transposed(const std::vector<Real>& a, int r, int c) {
  std::vector<Real> b(a.size());
  for (int i = 0; i < r; ++i)
    for (int j = 0; j < c; ++j) b[c * i + j] = a[r * j + i];
  return b;
}

/// Any element but the marker.
template <class Real>
Real unmarked_element(Random& random) {
  for (;;) {
    const Real v = any_element<Real>(random);
    if (v != marker<Real>) return v;
  }
}

template <class Real>
std::vector<Real> unmarked_block(Random& random, int r, int c) {
  std::vector<Real> a(static_cast<std::size_t>(std::max(r, 0)) *
                      static_cast<std::size_t>(std::max(c, 0)));
  for (Real& v : a) v = unmarked_element<Real>(random);
  return a;
}

template <class Real>
void expect_plain_tran(const std::vector<Real>& a, int r, int c) {
  std::vector<Real> expected = a;
  const int status = plain_tran(expected, r, c);
  Guarded<Real> block = guarded(a);
  ASSERT_EQ(M_tran(block.data(), r, c), status) << r << " by " << c;
  ASSERT_TRUE(block.zones_intact()) << r << " by " << c;
  ASSERT_EQ(all_bits(block.data(), block.size()), all_bits(expected))
      << r << " by " << c << " of " << testing::PrintToString(a);
}

TWIN_TEST(Tran, TransposesTwoByThree) {
  Guarded<Real> block = guarded(std::vector<Real>{1, 4, 2, 5, 3, 6});
  EXPECT_EQ(M_tran(block.data(), 2, 3), M_TRAN_OK);
  for (int i = 0; i < 6; ++i) EXPECT_SAME(block[i], Real(i + 1)) << i;
  EXPECT_TRUE(block.zones_intact());
}

TWIN_TEST(Tran, TransposesBlocksOfEveryShapeWithoutTheMarker) {
  Random random(39);
  for (int r = -2; r <= 9; ++r)
    for (int c = -2; c <= 9; ++c) {
      const std::vector<Real> a = unmarked_block<Real>(random, r, c);
      expect_plain_tran(a, r, c);
      if (testing::Test::HasFatalFailure()) return;
      if (r < 1 || c < 1) continue;
      Guarded<Real> block = guarded(a);
      M_tran(block.data(), r, c);
      ASSERT_EQ(all_bits(block.data(), block.size()), all_bits(transposed(a, r, c)))
          << r << " by " << c << " of " << testing::PrintToString(a);
    }
}

TWIN_TEST(Tran, TransposesLargerBlocksOfOddShapes) {
  Random random(40);
  const int shapes[][2] = {{37, 91}, {91, 37}, {64, 64}, {101, 101}, {2, 1001}, {1001, 2},
                           {1, 77},  {77, 1},  {3, 500}, {500, 3},   {33, 32},  {32, 33}};
  for (const auto& [r, c] : shapes) {
    const std::vector<Real> a = unmarked_block<Real>(random, r, c);
    Guarded<Real> block = guarded(a);
    ASSERT_EQ(M_tran(block.data(), r, c), 0);
    ASSERT_TRUE(block.zones_intact());
    ASSERT_EQ(all_bits(block.data(), block.size()), all_bits(transposed(a, r, c))) << r << " by " << c;
  }
}

TWIN_TEST(Tran, DoesItsStepsWithTheMarkerInEveryPlace) {
  Random random(41);
  for (int r = 1; r <= 7; ++r)
    for (int c = 1; c <= 7; ++c)
      for (int at = 0; at < r * c; ++at) {
        std::vector<Real> a = unmarked_block<Real>(random, r, c);
        a[at] = marker<Real>;
        expect_plain_tran(a, r, c);
        if (testing::Test::HasFatalFailure()) return;
      }
}

TWIN_TEST(Tran, DoesItsStepsWithManyMarkers) {
  Random random(42);
  for (int run = 0; run < 2000; ++run) {
    const int r = random.integer(1, 12), c = random.integer(1, 12), one_in = random.integer(1, 9);
    std::vector<Real> a = unmarked_block<Real>(random, r, c);
    for (Real& v : a)
      if (random.chance(one_in)) v = marker<Real>;
    expect_plain_tran(a, r, c);
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(Tran_d, TakesANegativeZeroForTheMarkerToo) {
  Random random(43);
  for (int r = 2; r <= 5; ++r)
    for (int c = 2; c <= 5; ++c)
      for (int at = 0; at < r * c; ++at) {
        std::vector<double> a = unmarked_block<double>(random, r, c);
        a[at] = -0.0;
        expect_plain_tran(a, r, c);
        if (testing::Test::HasFatalFailure()) return;
      }
}

TEST(Tran_f, MovesZerosAndTheNegativeOfTheMarkerLikeAnyElement) {
  const float most = std::numeric_limits<float>::max();
  const std::vector<float> a = {0, -most, -0.0F, 1, inf_of<float>, 0};
  Guarded<float> block = guarded(a);
  EXPECT_EQ(M_tranf(block.data(), 3, 2), M_TRAN_OK);
  EXPECT_EQ(all_bits(block.data(), 6), all_bits(transposed(a, 3, 2)));
}

TEST(Tran_d, MovesTheSmallestAndGreatestNumbersLikeAnyElement) {
  using Limits = std::numeric_limits<double>;
  const std::vector<double> a = {Limits::denorm_min(),
                                 Limits::max(),
                                 -Limits::denorm_min(),
                                 double(std::numeric_limits<float>::max()),
                                 1,
                                 2};
  Guarded<double> block = guarded(a);
  EXPECT_EQ(M_trand(block.data(), 3, 2), M_TRAN_OK);
  EXPECT_EQ(all_bits(block.data(), 6), all_bits(transposed(a, 3, 2)));
}

TWIN_TEST(Tran, GivesAStatusForEverySizeThatIsNoBlock) {
  Guarded<Real> block(4);
  for (const int r : {1, 0, -1, INT_MIN}) {
    for (const int c : {1, 0, -1, INT_MIN})
      EXPECT_EQ(M_tran(block.data(), r, c), -2) << r << " by " << c;
    EXPECT_EQ(M_tran(block.data(), r, 4), 0) << r;
    EXPECT_EQ(M_tran(block.data(), r, 2), 0) << r;
  }
  for (const int r : {2, 4, 1000}) {
    for (const int c : {-1, -2, INT_MIN}) EXPECT_EQ(M_tran(block.data(), r, c), -1) << r << " by " << c;
    EXPECT_EQ(M_tran(block.data(), r, 0), 0) << r;
  }
  EXPECT_TRUE(block.untouched_from(0) && block.zones_intact());
}

// -- rows: negate, exchange -----------------------------------------------------------------------

TWIN_TEST(Lminus, FlipsTheSignsOfOneRow) {
  Random random(44);
  for (int n = 0; n <= 5; ++n)
    for (int row = 0; row < 4; ++row) {
      Table<Real> A(4, 5);
      A.fill_any(random);
      Table<Real> expected = A;
      M_lminus(A.slots(), n, row);
      for (int j = 0; j < n; ++j) expected.at(row, j) = -expected.at(row, j);
      ASSERT_TABLE(A, expected) << n << " columns, row " << row;
    }
  Real zero[] = {0}, negative[] = {Real(-0.0)};
  Real* table[] = {zero, negative};
  M_lminus(table, 2, 0);
  EXPECT_SAME(zero[0], Real(-0.0));
  EXPECT_SAME(negative[0], Real(0));
}

TWIN_TEST(Swap, ExchangesTwoRowsInARangeOfColumns) {
  Random random(45);
  for (int j1 = 0; j1 < 4; ++j1)
    for (int j2 = -1; j2 < 4; ++j2)
      for (int r1 = 0; r1 < 3; ++r1)
        for (int r2 = 0; r2 < 3; ++r2) {
          Table<Real> A(3, 4);
          A.fill_any(random);
          Table<Real> expected = A;
          M_swap(A.slots(), j1, j2, r1, r2);
          for (int j = j1; j <= j2; ++j) std::swap(expected.at(r1, j), expected.at(r2, j));
          ASSERT_TABLE(A, expected) << j1 << ".." << j2 << ", rows " << r1 << " and " << r2;
        }
}

TWIN_TEST(Swap, DoesNothingWhenTheFirstColumnIsBehindTheLast) {
  Table<Real> A(3, 4);
  A.number();
  Table<Real> old = A;
  M_swap(A.slots(), 2, 1, 0, 1);
  M_swap(A.slots(), 0, -1, 0, 1);
  M_swap(A.slots(), 0, INT_MIN, 0, 1);
  M_swap(A.slots(), INT_MAX, 0, 0, 1);
  EXPECT_TABLE(A, old);
}

// -- rows by an index vector ----------------------------------------------------------------------

/// The steps as they are defined.
template <class Real>
int plain_rowsort(Table<Real>& A, int m, int n, std::vector<int>& idx) {
  if (m < 2) return 0;
  for (int i = 0; i <= m - 2; ++i) {
    int j = -1;
    for (int l = 0; l < m - i && j < 0; ++l)
      if (idx[i + l] == i) j = l;
    if (j < 0) return -1;
    for (int c = 0; c <= n - 1; ++c) {
      const Real element = A.at(i, c);
      A.at(i, c) = A.at(i + j, c);
      A.at(i + j, c) = element;
    }
    const int index = idx[i];
    idx[i] = idx[i + j];
    idx[i + j] = index;
  }
  return 0;
}

/// Sorts a random m by n table by idx and compares it with the steps; returns the status.
template <class Real>
int expect_plain_rowsort(Random& random, const std::vector<int>& idx, int n) {
  const int m = static_cast<int>(idx.size());
  Table<Real> A(m, n + 1);  // one column more than is sorted
  A.fill_any(random);
  Table<Real> expected = A;
  std::vector<int> expected_index = idx;
  Guarded<int> index(m);
  std::copy(idx.begin(), idx.end(), index.data());
  const int status = plain_rowsort(expected, m, n, expected_index);
  EXPECT_EQ(M_rowsort(A.slots(), m, n, index.data()), status) << m << " rows";
  EXPECT_TABLE(A, expected) << m << " rows, " << n << " columns";
  EXPECT_TRUE(index.zones_intact());
  EXPECT_TRUE(std::equal(expected_index.begin(), expected_index.end(), index.data())) << m << " rows";
  return status;
}

TWIN_TEST(Rowsort, MovesRowPToRowIdxOfP) {
  Table<Real> A(3, 2);
  A.number();
  int idx[] = {2, 0, 1};
  EXPECT_EQ(M_rowsort(A.slots(), 3, 2, idx), M_ROWSORT_OK);
  EXPECT_EQ(std::vector<Real>(A.slots()[0], A.slots()[0] + 3), (std::vector<Real>{1001, 2001, 1}));
  EXPECT_EQ(std::vector<Real>(A.slots()[1], A.slots()[1] + 3), (std::vector<Real>{1002, 2002, 2}));
  EXPECT_EQ(std::vector<int>(idx, idx + 3), (std::vector<int>{0, 1, 2}));
}

TWIN_TEST(Rowsort, ScattersAsAMapForAnyNumberOfRows) {
  Random random(46);
  for (const int m : {2, 3, 7, 31, 100, 1023, 1024, 1025, 1026, 2048, 2049, 2050, 3000}) {
    const std::vector<int> idx = random_permutation(random, m);
    Table<Real> A(m, 3);
    A.fill_any(random);
    Table<Real> old = A;
    std::vector<int> consumed = idx;
    ASSERT_EQ(M_rowsort(A.slots(), m, 3, consumed.data()), M_ROWSORT_OK) << m;
    ASSERT_TRUE(A.intact()) << m;
    for (int p = 0; p < m; ++p) {
      ASSERT_EQ(consumed[p], p) << m;
      for (int j = 0; j < 3; ++j)
        ASSERT_EQ(bits_of(A.at(idx[p], j)), bits_of(old.at(p, j))) << m << " rows, row " << p;
    }
  }
}

TWIN_TEST(Rowsort, DoesItsStepsForAnyTableAndAnyIndices) {
  Random random(47);
  for (int run = 0; run < 1000; ++run) {
    const int m = random.integer(2, 20);
    std::vector<int> idx = random_permutation(random, m);
    for (int spoilt = random.integer(0, 3); spoilt > 0; --spoilt)
      idx[random.integer(0, m - 1)] =
          random.chance(2) ? random.integer(0, m - 1) : random.integer(-9, 99);
    expect_plain_rowsort<Real>(random, idx, random.integer(0, 4));
    if (testing::Test::HasFailure()) return;
  }
}

TWIN_TEST(Rowsort, StopsAtEachMissingIndexButTheLast) {
  Random random(48);
  for (int m = 2; m <= 12; ++m)
    for (int missing = 0; missing < m; ++missing)
      for (const int instead : {-1, m, INT_MAX, INT_MIN, m - 1 - missing}) {
        if (instead == missing) continue;
        std::vector<int> idx = random_permutation(random, m);
        *std::find(idx.begin(), idx.end(), missing) = instead;
        const int expected = missing == m - 1 ? 0 : -1;
        ASSERT_EQ(expect_plain_rowsort<Real>(random, idx, 2), expected) << m << " without " << missing;
        if (testing::Test::HasFailure()) return;
      }
}

TWIN_TEST(Rowsort, StopsAtAMissingIndexOfAnyBlockOfALongVector) {
  Random random(49);
  for (const int missing : {0, 1, 1022, 1023, 1024, 1025, 2047, 2048, 2998, 2999}) {
    std::vector<int> idx = random_permutation(random, 3000);
    *std::find(idx.begin(), idx.end(), missing) = -1;
    ASSERT_EQ(expect_plain_rowsort<Real>(random, idx, 2), missing == 2999 ? 0 : -1) << missing;
    if (testing::Test::HasFailure()) return;
  }
}

TWIN_TEST(Rowsort, OfFewerThanTwoRowsLooksAtNothing) {
  Table<Real> A(1, 2);
  A.number();
  Table<Real> old = A;
  int odd[] = {9};
  for (const int m : {1, 0, -1, INT_MIN + 1, INT_MIN}) {
    EXPECT_EQ(M_rowsort(A.slots(), m, 2, odd), M_ROWSORT_OK) << m;
    EXPECT_EQ(M_rowsort(A.slots(), m, 2, static_cast<int*>(nullptr)), M_ROWSORT_OK) << m;
  }
  EXPECT_EQ(odd[0], 9);
  EXPECT_TABLE(A, old);
}

TWIN_TEST(Rowsort, OfNoColumnsSortsTheIndices) {
  for (const int n : {0, -1, INT_MIN}) {
    int idx[] = {2, 0, 1};
    EXPECT_EQ(M_rowsort(static_cast<Real**>(nullptr), 3, n, idx), M_ROWSORT_OK) << n;
    EXPECT_EQ(std::vector<int>(idx, idx + 3), (std::vector<int>{0, 1, 2})) << n;
  }
}

// -- columns by an index vector -------------------------------------------------------------------

/// The steps as they are defined.
template <class Real>
int plain_colsort(std::vector<Real>& a, int m, int n, const std::vector<int>& idx) {
  std::vector<int> tag;
  for (int p = 0; p < n; ++p) tag.push_back(p);
  for (int j = 0; j <= n - 1; ++j) {
    int found = -1;
    for (int l = 0; l < n - j && found < 0; ++l)
      if (tag[j + l] == idx[j]) found = l;
    const int k = found + j;
    if (k < 0) return -1;
    for (int i = 0; i < m; ++i) std::swap(a[m * j + i], a[m * k + i]);
    std::swap(tag[j], tag[k]);
  }
  return 0;
}

/// Sorts a random block of columns of m elements by idx and compares it with the steps; returns the
/// status.
template <class Real>
int expect_plain_colsort(Random& random, const std::vector<int>& idx, int m) {
  const int n = static_cast<int>(idx.size());
  std::vector<Real> a(static_cast<std::size_t>(m) * idx.size());
  for (Real& v : a) v = any_element<Real>(random);
  Guarded<Real> block = guarded(a);
  const int status = plain_colsort(a, m, n, idx);
  EXPECT_EQ(releasing([&] { return M_colsort(block.data(), m, n, idx.data()); }), status);
  EXPECT_TRUE(block.zones_intact());
  EXPECT_EQ(all_bits(block.data(), block.size()), all_bits(a)) << testing::PrintToString(idx);
  return status;
}

TWIN_TEST(Colsort, PutsTheOldColumnIdxOfJInPlaceJ) {
  Guarded<Real> block = guarded(std::vector<Real>{1, 2, 3, 4, 5, 6});
  const int idx[] = {2, 0, 1};
  EXPECT_EQ(releasing([&] { return M_colsort(block.data(), 2, 3, idx); }), M_COLSORT_OK);
  EXPECT_EQ(std::vector<Real>(block.data(), block.data() + 6), (std::vector<Real>{5, 6, 1, 2, 3, 4}));
  EXPECT_TRUE(block.zones_intact());
}

TWIN_TEST(Colsort, GathersAsAMapAndLeavesTheIndices) {
  Random random(50);
  for (int n = 1; n <= 200; n += 1 + n / 10) {
    const int m = random.integer(1, 9);
    const std::vector<int> idx = random_permutation(random, n);
    std::vector<Real> a(static_cast<std::size_t>(m) * n);
    for (Real& v : a) v = any_element<Real>(random);
    Guarded<Real> block = guarded(a);
    Guarded<int> index(n);
    std::copy(idx.begin(), idx.end(), index.data());
    ASSERT_EQ(releasing([&] { return M_colsort(block.data(), m, n, index.data()); }), M_COLSORT_OK)
        << n;
    EXPECT_TRUE(block.zones_intact() && index.zones_intact());
    for (int j = 0; j < n; ++j) {
      ASSERT_EQ(index[j], idx[j]) << n;
      for (int i = 0; i < m; ++i)
        ASSERT_EQ(bits_of(block[m * j + i]), bits_of(a[m * idx[j] + i]))
            << n << " columns, column " << j;
    }
    expect_plain_colsort<Real>(random, idx, m);
  }
}

TWIN_TEST(Colsort, ReportsOnlyAMissingFirstIndex) {
  Random random(51);
  for (int n = 1; n <= 9; ++n)
    for (int at = 0; at < n; ++at)
      for (const int missing : {-1, n, n + 7, INT_MAX, INT_MIN}) {
        std::vector<int> idx = random_permutation(random, n);
        idx[at] = missing;
        ASSERT_EQ(expect_plain_colsort<Real>(random, idx, 3), at == 0 ? -1 : 0) << n << " at " << at;
        if (testing::Test::HasFailure()) return;
      }
}

TWIN_TEST(Colsort, DoesItsStepsForAnyIndices) {
  Random random(52);
  for (int run = 0; run < 1000; ++run) {
    const int n = random.integer(1, 20);
    std::vector<int> idx = random_permutation(random, n);
    for (int spoilt = random.integer(1, 4); spoilt > 0; --spoilt)
      idx[random.integer(0, n - 1)] =
          random.chance(2) ? random.integer(0, n - 1) : random.integer(-9, 99);
    expect_plain_colsort<Real>(random, idx, random.integer(0, 5));
    if (testing::Test::HasFailure()) return;
  }
}

TWIN_TEST(Colsort, LeavesTheBlockWhenTheFirstIndexIsMissing) {
  Guarded<Real> block = guarded(std::vector<Real>{1, 2, 3});
  const int idx[] = {5, 0, 1};
  EXPECT_EQ(releasing([&] { return M_colsort(block.data(), 1, 3, idx); }), M_COLSORT_BAD_INDEX);
  EXPECT_EQ(std::vector<Real>(block.data(), block.data() + 3), (std::vector<Real>{1, 2, 3}));
}

TWIN_TEST(Colsort, OfFewerThanOneColumnOrElementDoesNothing) {
  Guarded<Real> block(3);
  for (const int n : {0, -1, INT_MIN})
    EXPECT_EQ(releasing([&] { return M_colsort(block.data(), 3, n, static_cast<int*>(nullptr)); }), 0)
        << n;
  const int idx[] = {2, 0, 1};
  EXPECT_EQ(releasing([&] { return M_colsort(block.data(), 0, 3, idx); }), 0);
  EXPECT_TRUE(block.untouched_from(0) && block.zones_intact());
}

}  // namespace

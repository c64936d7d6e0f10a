// tests/test_deliberate.cpp - behaviour that looks like a mistake and is not, one test each.
#include <cmath>
#include <limits>
#include <vector>

#include "kernels/scalar/search.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/magnitude.hpp"
#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/twins.hpp"

namespace {

using tabfit::is_double;
using tabfit::P_perm;
using tabfit::V_iamax;
using tabfit::V_imax;
using tabfit::V_perm;
using tabfit::V_search;
using tabfit::V_search_block;
using tabfit::V_shift;

// -- the side on which a point on an interior node is placed --------------------------------------

TEST(Deliberate, SearchPutsAPointOnAnInteriorNodeRightInTheFTwin) {
  const float x[] = {0, 1, 2, 3};
  EXPECT_EQ(V_search(1.0, x, 4), 1);
  EXPECT_EQ(V_search(2.0, x, 4), 2);
  const float t[] = {1, 2, 1, 2, 0.5F, 2.5F, 1, 2};
  const int expected[] = {1, 2, 1, 2, 0, 2, 1, 2};
  Guarded<int> index(8);
  V_search_block(t, x, 4, index.data());
  for (int k = 0; k < 8; ++k) EXPECT_EQ(index[k], expected[k]) << "abscissa " << k;
}

TEST(Deliberate, SearchPutsAPointOnAnInteriorNodeLeftInTheDTwin) {
  const double x[] = {0, 1, 2, 3};
  EXPECT_EQ(V_search(1.0, x, 4), 0);
  EXPECT_EQ(V_search(2.0, x, 4), 1);
  const double t[] = {1, 2, 1, 2, 0.5, 2.5, 1, 2};
  const int expected[] = {0, 1, 0, 1, 0, 2, 0, 1};
  Guarded<int> index(8);
  V_search_block(t, x, 4, index.data());
  for (int k = 0; k < 8; ++k) EXPECT_EQ(index[k], expected[k]) << "abscissa " << k;
}

TEST(Deliberate, LintvalFTwinStartsTheRightIntervalAtAnInteriorNode) {
  double result = -1;
  // The ordinate left of the node is infinite; the interval right of it is in order.
  const float x[] = {0, 1, 2}, left_infinite[] = {inf_of<float>, 7, 9};
  EXPECT_EQ(AX_lintvalf(3, x, left_infinite, 1.0, &result), AX_LINTVAL_OK);
  EXPECT_SAME(result, 7.0);
  const float right_infinite[] = {5, 7, inf_of<float>};  // zero times infinity
  EXPECT_EQ(AX_lintvalf(3, x, right_infinite, 1.0, &result), AX_LINTVAL_OK);
  EXPECT_TRUE(std::isnan(result));
  // A point on the left node of a narrow interval is refused, one on the right node is not.
  const float narrow_left[] = {0, 1e-5F, 2}, narrow_right[] = {-1, 0, 1e-5F, 2}, y[] = {5, 7, 9, 11};
  EXPECT_EQ(AX_lintvalf(3, narrow_left, y, narrow_left[1], &result), AX_LINTVAL_OK);
  EXPECT_SAME(result, 7.0);
  EXPECT_EQ(AX_lintvalf(4, narrow_right, y, 0.0, &result), AX_LINTVAL_NO_INTERVAL);
}

TEST(Deliberate, LintvalDTwinEndsTheLeftIntervalAtAnInteriorNode) {
  double result = -1;
  const double x[] = {0, 1, 2}, left_infinite[] = {inf_of<double>, 7, 9};
  EXPECT_EQ(AX_lintvald(3, x, left_infinite, 1.0, &result), AX_LINTVAL_OK);
  EXPECT_TRUE(std::isnan(result));  // infinity minus infinity
  const double right_infinite[] = {5, 7, inf_of<double>};
  EXPECT_EQ(AX_lintvald(3, x, right_infinite, 1.0, &result), AX_LINTVAL_OK);
  EXPECT_SAME(result, 7.0);
  const double narrow_left[] = {0, 1e-9, 2}, narrow_right[] = {-1, 0, 1e-9, 2}, y[] = {5, 7, 9, 11};
  EXPECT_EQ(AX_lintvald(3, narrow_left, y, narrow_left[1], &result), AX_LINTVAL_NO_INTERVAL);
  EXPECT_EQ(AX_lintvald(4, narrow_right, y, 0.0, &result), AX_LINTVAL_OK);
  EXPECT_SAME(result, 7.0);
}

TEST(Deliberate, LinttabTwinsTakeTheSameSidesInEveryBlock) {
  // At node 1: only the interval on its left has finite ordinates.
  for (int m = 1; m <= 24; ++m) {
    const std::vector<float> tf(static_cast<std::size_t>(m), 1.0F);
    const std::vector<double> td(static_cast<std::size_t>(m), 1.0);
    const float xf[] = {0, 1, 2}, yf[] = {5, 7, inf_of<float>};
    const double xd[] = {0, 1, 2}, yd[] = {5, 7, inf_of<double>};
    Guarded<float> f(m);
    Guarded<double> d(m);
    ASSERT_EQ(AX_linttabf(3, xf, yf, m, tf.data(), f.data()), AX_LINTTAB_OK);
    ASSERT_EQ(AX_linttabd(3, xd, yd, m, td.data(), d.data()), AX_LINTTAB_OK);
    for (int j = 0; j < m; ++j) {
      EXPECT_TRUE(std::isnan(f[j]) && !f.untouched(j)) << j << " of " << m;
      EXPECT_SAME(d[j], 7.0) << j << " of " << m;
    }
  }
}

TEST(Deliberate, Intspl3valTwinsTakeTheCoefficientsOfDifferentIntervalsOnAnInteriorNode) {
  // Coefficients that do not join at node 1: 10 + t + t^2 + t^3 on its left, 20 + 2 t + 3 t^2 + 4 t^3
  // on its right.
  const float xf[] = {0, 1, 2}, Cf[] = {10, 20, 30, 1, 2, 9, 1, 3, 9, 1, 4, 9};
  const double xd[] = {0, 1, 2}, Cd[] = {10, 20, 30, 1, 2, 9, 1, 3, 9, 1, 4, 9};
  double s = 0, s1 = 0, s2 = 0;
  EXPECT_EQ(AX_intspl3valf(xf, Cf, 3, 1.0, &s, &s1, &s2), AX_INTSPL3VAL_OK);
  EXPECT_SAME(s, 20.0);
  EXPECT_SAME(s1, 2.0);
  EXPECT_SAME(s2, 6.0);
  EXPECT_EQ(AX_intspl3vald(xd, Cd, 3, 1.0, &s, &s1, &s2), AX_INTSPL3VAL_OK);
  EXPECT_SAME(s, 13.0);
  EXPECT_SAME(s1, 6.0);
  EXPECT_SAME(s2, 8.0);
}

// -- the right end of the interpolating cubic spline ----------------------------------------------

TWIN_TEST(Deliberate, Intspl3HasTheWrongSignInTheThirdDerivativeAtTheRightEnd) {
  // All third divided differences of u^3 are 1. The left end keeps 1, the right end -1.
  for (int n = 4; n <= 20; ++n) {
    std::vector<Real> x, C;
    for (int i = 0; i < n; ++i) x.push_back(static_cast<Real>(i - n / 2));
    for (const Real u : x) C.push_back(u * u * u);
    C.resize(static_cast<std::size_t>(4) * n);
    ASSERT_EQ(AX_intspl3(x.data(), C.data(), n), AX_INTSPL3_OK);
    const Real* d = C.data() + static_cast<std::size_t>(3) * n;
    // A third derivative is a difference of rounded second ones, which go up to 60. Measured: 12 eps.
    EXPECT_NEAR(d[0], 1.0, 24 * eps_of<Real>) << "n = " << n;
    EXPECT_NEAR(d[n - 2], -1.0, 24 * eps_of<Real>) << "n = " << n;
  }
}

TWIN_TEST(Deliberate, Intspl3OfMirroredDataIsNotTheMirroredSpline) {
  // u^3 on 0, 1, 2, 3 and its mirror image, solved by hand. With S the sixths of the second
  // derivatives:
  //   S1 - S0 = 1,   S0 + 4 S1 + S2 = 6,   S1 + 4 S2 + S3 = 12,  S2 - S3 = 1    for u^3,
  //   S1 - S0 = -1,  S0 + 4 S1 + S2 = 12,  S1 + 4 S2 + S3 = 6,   S2 - S3 = -1   for (3 - u)^3.
  const Real x[] = {0, 1, 2, 3};
  Real C[16] = {0, 1, 8, 27}, mirrored[16] = {27, 8, 1, 0};
  ASSERT_EQ(AX_intspl3(x, C, 4), AX_INTSPL3_OK);
  ASSERT_EQ(AX_intspl3(x, mirrored, 4), AX_INTSPL3_OK);
  const double c[] = {-0.25, 2.75, 7.25, 4.25}, c_mirrored[] = {9.25, 6.25, 1.75, 4.75};
  const double d[] = {1, 1.5, -1, -1}, d_mirrored[] = {-1, -1.5, 1, 1};
  for (int i = 0; i < 4; ++i) {
    // A few roundings of numbers below 16.
    EXPECT_NEAR(C[8 + i], c[i], 16 * eps_of<Real>) << "node " << i;
    EXPECT_NEAR(C[12 + i], d[i], 16 * eps_of<Real>) << "node " << i;
    EXPECT_NEAR(mirrored[8 + i], c_mirrored[i], 16 * eps_of<Real>) << "node " << i;
    EXPECT_NEAR(mirrored[12 + i], d_mirrored[i], 16 * eps_of<Real>) << "node " << i;
  }
}

// -- kernels --------------------------------------------------------------------------------------

TWIN_TEST(Deliberate, MaximumSearchReadsTheFirstElementWhateverTheLength) {
  const Real x[] = {nan_of<Real>, 3, 4};
  for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(V_imax(x, n), 0) << n;
    EXPECT_EQ(V_iamax(x, n), 0) << n;
  }
  EXPECT_EQ(V_imax(x, 3), 0);  // the running value is NaN, and nothing is above it
  EXPECT_EQ(V_iamax(x, 3), 0);
}

TWIN_TEST(Deliberate, IamaxComparesWithTheChosenElementAndItsSign) {
  const Real grown[] = {1, -5, 2}, first[] = {-3, 1}, zeros[] = {0, -1, 0};
  EXPECT_EQ(V_iamax(grown, 3), 2);  // 2 is above -5
  EXPECT_EQ(V_iamax(first, 2), 0);  // the first running value is a magnitude
  EXPECT_EQ(V_iamax(zeros, 3), 2);  // 0 is above -1
}

TWIN_TEST(Deliberate, ShiftLeavesOldContentsInThePlacesThatElementsLeave) {
  Real up[] = {1, 2, 3, 4}, down[] = {1, 2, 3, 4};
  V_shift(up, 4, 2);
  V_shift(down, 4, -2);
  EXPECT_EQ(std::vector<Real>(up, up + 4), (std::vector<Real>{1, 2, 1, 2}));
  EXPECT_EQ(std::vector<Real>(down, down + 4), (std::vector<Real>{3, 4, 3, 4}));
}

TWIN_TEST(Deliberate, PermAcceptsAnyIndexInThePlaceLeftLast) {
  Real x[] = {1, 2, 3};
  int idx[] = {0, 0, 1};
  EXPECT_EQ(V_perm(x, 3, idx), 0);
  EXPECT_EQ(std::vector<Real>(x, x + 3), (std::vector<Real>{1, 3, 2}));
  Real* columns[] = {x, x + 1, x + 2};
  int odd[] = {-7, 1, 0};
  EXPECT_EQ(P_perm(columns, 3, odd), 0);
  EXPECT_EQ(std::vector<Real*>(columns, columns + 3), (std::vector<Real*>{x + 2, x + 1, x}));
  EXPECT_EQ(std::vector<int>(odd, odd + 3), (std::vector<int>{0, 1, -7}));
}

// -- storage and elementary operations ------------------------------------------------------------

TWIN_TEST(Deliberate, FillersReportABadSizeWithAPositiveCode) {
  const Real data[] = {1, 2, 3, 4};
  Guarded<Real> a(2), b(2);
  Real* table[] = {a.data(), b.data()};
  EXPECT_EQ(M_fillc(table, data, 1, 2), 1);
  EXPECT_EQ(M_fillr(table, data, 2, 1), 1);
  EXPECT_EQ(M_fillsc(table, data, 1), 1);
  EXPECT_EQ(M_fillsr(table, data, 1), 1);
  EXPECT_TRUE(a.untouched_from(0) && b.untouched_from(0));
}

TWIN_TEST(Deliberate, TranspOfOneElementLeavesTheResultAsItWas) {
  Real one[] = {7}, result[] = {5};
  Real *A[] = {one}, *B[] = {result};
  EXPECT_EQ(M_transp(A, 1, 1, B), M_TRANSP_OK);
  EXPECT_SAME(result[0], Real(5));
}

TWIN_TEST(Deliberate, TranspaOfUnequalSizesUsesTheValuesOfEarlierSteps) {
  struct Case {
    int p, q;
    std::vector<Real> first, second;  // the two columns afterwards
  };
  const Case cases[] = {{1, 2, {1, 3}, {2, 2}},  // (1, 1) takes what was saved of (1, 0)
                        {2, 1, {1, 1}, {2, 4}},  // (1, 0) takes what was saved of (0, 0)
                        {0, 2, {0, 3}, {0, 4}},  // nothing was saved: 0
                        {2, 0, {1, 3}, {2, 4}}};
  for (const Case& c : cases) {
    Real first[] = {1, 2}, second[] = {3, 4};
    Real* A[] = {first, second};
    EXPECT_EQ(M_transpa(A, c.p, c.q), M_TRANSPA_OK);
    EXPECT_EQ(std::vector<Real>(first, first + 2), c.first) << c.p << " by " << c.q;
    EXPECT_EQ(std::vector<Real>(second, second + 2), c.second) << c.p << " by " << c.q;
  }
}

TWIN_TEST(Deliberate, TranTakesItsMarkerForAVacatedPlace) {
  const Real mark = is_double<Real> ? Real(0) : std::numeric_limits<Real>::max();
  const auto transposed = [](std::vector<Real> block) {  // 2 by 3
    EXPECT_EQ(M_tran(block.data(), 2, 3), M_TRAN_OK);
    return block;
  };
  // The marker does harm in the second row, unless it is the last element.
  EXPECT_EQ(transposed({1, mark, 2, 5, 3, 6}), (std::vector<Real>{1, 2, 3, 5, 5, 6}));
  EXPECT_EQ(transposed({1, 4, 2, mark, 3, 6}), (std::vector<Real>{1, 2, 3, mark, 4, 6}));
  // It does no harm in the first row or as the last element.
  EXPECT_EQ(transposed({mark, 4, 2, 5, 3, 6}), (std::vector<Real>{mark, 2, 3, 4, 5, 6}));
  EXPECT_EQ(transposed({1, 4, mark, 5, mark, 6}), (std::vector<Real>{1, mark, mark, 4, 5, 6}));
  EXPECT_EQ(transposed({1, 4, 2, 5, 3, mark}), (std::vector<Real>{1, 2, 3, 4, 5, mark}));
}

TWIN_TEST(Deliberate, TranScramblesASquareBlockThatHoldsTheMarker) {
  const Real mark = is_double<Real> ? Real(0) : std::numeric_limits<Real>::max();
  Real block[] = {1, 4, mark, 2, 5, 8, 3, 6, 9};
  EXPECT_EQ(M_tran(block, 3, 3), M_TRAN_OK);
  EXPECT_EQ(std::vector<Real>(block, block + 9), (std::vector<Real>{1, 2, 3, mark, 5, 6, 4, 8, 9}));
}

TEST(Deliberate, TranTwinsHaveDifferentMarkers) {
  const float most = std::numeric_limits<float>::max();
  float with_zero[] = {1, 4, 0, 2, 5, 8, 3, 6, 9};
  double with_most[] = {1, 4, most, 2, 5, 8, 3, 6, 9};
  EXPECT_EQ(M_tranf(with_zero, 3, 3), M_TRAN_OK);
  EXPECT_EQ(M_trand(with_most, 3, 3), M_TRAN_OK);
  EXPECT_EQ(std::vector<float>(with_zero, with_zero + 9),
            (std::vector<float>{1, 2, 3, 4, 5, 6, 0, 8, 9}));
  EXPECT_EQ(std::vector<double>(with_most, with_most + 9),
            (std::vector<double>{1, 2, 3, 4, 5, 6, most, 8, 9}));
}

TEST(Deliberate, TrandTakesANegativeZeroForItsMarker) {
  double block[] = {1, 4, -0.0, 2, 5, 8, 3, 6, 9};
  EXPECT_EQ(M_trand(block, 3, 3), M_TRAN_OK);
  EXPECT_EQ(std::vector<double>(block, block + 9), (std::vector<double>{1, 2, 3, 0, 5, 6, 4, 8, 9}));
}

TWIN_TEST(Deliberate, RowsortScattersAndColsortGathers) {
  const std::vector<int> idx = {2, 0, 1};
  Real rows[] = {1, 2, 3}, columns[] = {1, 2, 3};
  Real* A[] = {rows};
  std::vector<int> consumed = idx;
  EXPECT_EQ(M_rowsort(A, 3, 1, consumed.data()), M_ROWSORT_OK);
  EXPECT_EQ(releasing([&] { return M_colsort(columns, 1, 3, idx.data()); }), M_COLSORT_OK);
  EXPECT_EQ(std::vector<Real>(rows, rows + 3), (std::vector<Real>{2, 3, 1}));
  EXPECT_EQ(std::vector<Real>(columns, columns + 3), (std::vector<Real>{3, 1, 2}));
}

TWIN_TEST(Deliberate, RowsortAcceptsAnyIndexInThePlaceLeftLast) {
  Real rows[] = {1, 2, 3};
  Real* A[] = {rows};
  int idx[] = {99, 1, 0};
  EXPECT_EQ(M_rowsort(A, 3, 1, idx), M_ROWSORT_OK);
  EXPECT_EQ(std::vector<Real>(rows, rows + 3), (std::vector<Real>{3, 2, 1}));
  EXPECT_EQ(std::vector<int>(idx, idx + 3), (std::vector<int>{0, 1, 99}));
}

TWIN_TEST(Deliberate, ColsortExchangesWithThePreviousColumnForAMissingIndex) {
  Real columns[] = {1, 2, 3};
  const int missing_second[] = {0, 7, 1}, missing_first[] = {5, 0, 1};
  // Columns 0 and 1 change places. Then tag 1 stands in place 0, where place 2 does not look for it.
  EXPECT_EQ(releasing([&] { return M_colsort(columns, 1, 3, missing_second); }), M_COLSORT_OK);
  EXPECT_EQ(std::vector<Real>(columns, columns + 3), (std::vector<Real>{2, 3, 1}));
  EXPECT_EQ(releasing([&] { return M_colsort(columns, 1, 3, missing_first); }), M_COLSORT_BAD_INDEX);
  EXPECT_EQ(std::vector<Real>(columns, columns + 3), (std::vector<Real>{2, 3, 1}));
}

TEST(Deliberate, ColsortKeepsItsTagArrayInTheDoubleTwinOnly) {
  float f[] = {1, 2, 3};
  double d[] = {1, 2, 3};
  const int good[] = {2, 0, 1}, bad[] = {5, 0, 1};
  for (const int* idx : {good, bad}) {
    EXPECT_EQ(probe([&] { M_colsortf(f, 1, 3, idx); }).kept, Usage{});
    EXPECT_EQ(probe([&] { M_colsortd(d, 1, 3, idx); }).kept, from_malloc(1, 3 * sizeof(int)));
  }
  EXPECT_EQ(probe([&] { M_colsortd(d, 1, 0, good); }).kept, from_malloc(1, 0));
}

// -- products and triangular inverses -------------------------------------------------------------

TWIN_TEST(Deliberate, UuuAndUmaGiveOneOnEveryPath) {
  Real u0[] = {2}, u1[] = {3, 5}, v0[2], v1[2], *U[] = {u0, u1}, *V[] = {v0, v1};
  const auto reset = [&] { v0[0] = v0[1] = v1[0] = v1[1] = 1; };
  const auto values = [&] { return std::vector<Real>{v0[0], v0[1], v1[0], v1[1]}; };
  const std::vector<Real> ones(4, Real(1));
  reset();
  EXPECT_EQ(M_uuu(U, V, 2), 1);
  EXPECT_EQ(values(), (std::vector<Real>{2, 1, 5, 5}));
  reset();
  EXPECT_EQ(M_uma(U, V, 2, 2), 1);
  EXPECT_EQ(values(), (std::vector<Real>{5, 5, 5, 5}));
  reset();
  for (const int none : {0, -1, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(M_uuu(U, V, none), 1) << none;
    EXPECT_EQ(M_uma(U, V, none, 2), 1) << none;
    EXPECT_EQ(M_uma(U, V, 2, none), 1) << none;
  }
  for (const bool general : {false, true}) {
    allocation_probe::begin(1);
    const int status = general ? M_uma(U, V, 2, 2) : M_uuu(U, V, 2);
    const Account account = allocation_probe::end();
    EXPECT_EQ(status, 1);
    EXPECT_EQ(account.refused, 1);
  }
  EXPECT_EQ(values(), ones);
}

TWIN_TEST(Deliberate, ProductsOfAnOrderAndAnotherCountTakeTheOrderFirst) {
  // One row times a factor of order 2. With the counts exchanged, two rows would be read.
  Real a0[] = {1}, a1[] = {10}, column[] = {1, 10}, u0[] = {2}, u1[] = {3, 5};
  Real *A[] = {a0, a1}, *At[] = {column}, *U[] = {u0, u1};
  const auto result = [](auto product) {
    Guarded<Real> c0(1), c1(1);
    Real* C[] = {c0.data(), c1.data()};
    product(C);
    EXPECT_TRUE(c0.zones_intact() && c1.zones_intact());
    return std::vector<Real>{c0[0], c1[0]};
  };
  const std::vector<Real> symmetric = {32, 53}, upper = {2, 53}, lower = {32, 50};
  EXPECT_EQ(result([&](Real** C) { M_msm(A, U, 2, 1, C); }), symmetric);
  EXPECT_EQ(result([&](Real** C) { M_tmsm(At, U, 2, 1, C); }), symmetric);
  EXPECT_EQ(result([&](Real** C) { M_mu(A, U, 2, 1, C); }), upper);
  EXPECT_EQ(result([&](Real** C) { M_mut(A, U, 2, 1, C); }), lower);
  EXPECT_EQ(result([&](Real** C) { M_mtu(At, U, 2, 1, C); }), upper);
}

TWIN_TEST(Deliberate, MmtbAndSmtmaLeaveTheOperandTransposedWhenTheScratchIsRefused) {
  for (const bool symmetric : {false, true}) {
    Real a0[] = {1, 2}, a1[] = {3, 4}, b0[] = {5, 6}, b1[] = {7, 8};
    Real *A[] = {a0, a1}, *B[] = {b0, b1};
    allocation_probe::begin(1);
    const int status = symmetric ? M_smtma(A, B, 2, 2) : M_mmtb(A, B, 2, 2, 2);
    const Account account = allocation_probe::end();
    EXPECT_EQ(status, M_INPLACE_NO_MEMORY);
    EXPECT_EQ(account.refused, 1);
    EXPECT_EQ((std::vector<Real>{b0[0], b0[1], b1[0], b1[1]}), (std::vector<Real>{5, 7, 6, 8}));
  }
}

TWIN_TEST(Deliberate, TinvLeavesTheReciprocalsBeforeTheFirstZeroOnTheDiagonal) {
  Real t0[] = {2, 11, 12, 13}, t1[] = {21, 4, 22, 23}, t2[] = {31, 32, 0, 33}, t3[] = {41, 42, 43, 0};
  Real* T[] = {t0, t1, t2, t3};
  EXPECT_EQ(M_tinv(T, 4), 3);
  EXPECT_EQ(std::vector<Real>(t0, t0 + 4), (std::vector<Real>{0.5, 11, 12, 13}));
  EXPECT_EQ(std::vector<Real>(t1, t1 + 4), (std::vector<Real>{21, 0.25, 22, 23}));
  EXPECT_EQ(std::vector<Real>(t2, t2 + 4), (std::vector<Real>{31, 32, 0, 33}));
  EXPECT_EQ(std::vector<Real>(t3, t3 + 4), (std::vector<Real>{41, 42, 43, 0}));
}

// -- decompositions -------------------------------------------------------------------------------

TWIN_TEST(Deliberate, QrdGivesAZeroDiagonalElementTheNegativeSign) {
  int ip[1];
  Real b0[] = {1, -4, 0}, *B[] = {b0};  // -4 replaces 1, and any magnitude replaces -4: 0 is chosen
  EXPECT_EQ(M_qrd(B, 3, 1, 0, ip), M_QRD_OK);
  EXPECT_EQ(b0[0], static_cast<Real>(std::sqrt(17.0)));  // R(0,0) = -s, and s is negative
}

TWIN_TEST(Deliberate, QrdTransformsRightHandSidesOnlyInTheLastStep) {
  Real a0[] = {4}, a1[] = {3}, b[] = {2}, *A[] = {a0, a1, b};
  int ip[2];
  EXPECT_EQ(M_qrd(A, 1, 2, 1, ip), M_QRD_OK);
  EXPECT_EQ(a0[0], Real(-4));
  EXPECT_EQ(a1[0], Real(3));  // a reflection would turn its sign
  EXPECT_EQ(b[0], Real(-2));
}

TWIN_TEST(Deliberate, InvGJLeavesColumnPointersExchanged) {
  Real a0[] = {0, 1}, a1[] = {1, 0}, *A[] = {a0, a1};
  double det = 0;
  EXPECT_EQ(releasing([&] { return M_invGJ(A, 2, &det); }), M_INVGJ_OK);
  EXPECT_EQ(det, -1.0);
  EXPECT_EQ(A[0], a1);
  EXPECT_EQ(A[1], a0);
}

TWIN_TEST(Deliberate, InvGJKeepsItsTwoIndexArraysOnEveryPath) {
  const auto kept = [](std::vector<Real> block, int n) {
    std::vector<Real*> A(static_cast<std::size_t>(n));
    M_storec(block.data(), n, n, A.data());
    double det = 0;
    return probe([&] { M_invGJ(A.data(), n, &det); }).kept;
  };
  EXPECT_EQ(kept({2, 1, 1, 1}, 2), from_calloc(2, 4 * sizeof(int)));
  EXPECT_EQ(kept({1, 2, 2, 4}, 2), from_calloc(2, 4 * sizeof(int)));  // singular at step 1
  EXPECT_EQ(kept({0, 0, 0, 0}, 2), from_calloc(2, 4 * sizeof(int)));  // a matrix of zeros
}

TEST(Deliberate, CholDoubleTwinDividesTheFirstRowByThePivotItself) {
  float f0[] = {4}, f1[] = {2, 5}, *F[] = {f0, f1};
  double d0[] = {4}, d1[] = {2, 5}, *D[] = {d0, d1};
  EXPECT_EQ(M_cholf(F, 2, F), M_CHOL_OK);
  EXPECT_EQ(M_chold(D, 2, D), M_CHOL_OK);
  EXPECT_EQ(f1[0], 1.0F);
  EXPECT_EQ(f1[1], 2.0F);
  EXPECT_EQ(d1[0], 0.5);
  EXPECT_EQ(d1[1], std::sqrt(4.75));
}

// The double twin divides row 0 by s(0,0), so it finds the pivots of another matrix.
TEST(Deliberate, CholTwinsRefuseDifferentMatrices) {
  const struct {
    double a, b, c;
    int status_f, status_d;
  } matrices[] = {
      {4, 2, 1, 2, 0},     // singular: 1 - 1; the double twin has 1 - 1/4
      {4, 2, 0.25, 2, 2},  // the double twin's pivot is exactly 0
      {0.25, 1, 5, 0, 2},  // definite: 5 - 4; the double twin has 5 - 16
      {1, 2, 4, 2, 2},     // s(0,0) = 1: the twins agree
  };
  for (const auto& m : matrices) {
    float f0[] = {float(m.a)}, f1[] = {float(m.b), float(m.c)}, *F[] = {f0, f1};
    double d0[] = {m.a}, d1[] = {m.b, m.c}, *D[] = {d0, d1};
    EXPECT_EQ(M_cholf(F, 2, F), m.status_f) << m.a << ", " << m.b << ", " << m.c;
    EXPECT_EQ(M_chold(D, 2, D), m.status_d) << m.a << ", " << m.b << ", " << m.c;
  }
}

TEST(Deliberate, CholDoubleTwinGivesTheTrueFactorAndInverseOfAScaledMatrix) {
  // S = U'U for U = [2 1 3; 0 2 1; 0 0 1], divided by 4
  double s0[] = {1}, s1[] = {0.5, 1.25}, s2[] = {1.5, 1.25, 2.75}, *S[] = {s0, s1, s2};
  double u0[1], u1[2], u2[3], *U[] = {u0, u1, u2};
  EXPECT_EQ(M_invsd(S, 3, U), M_CHOL_OK);
  const double factor[] = {2 * u0[0], 2 * u1[0], 2 * u1[1], 2 * u2[0], 2 * u2[1], 2 * u2[2]};
  EXPECT_EQ(std::vector<double>(factor, factor + 6), (std::vector<double>{2, 1, 2, 3, 1, 1}));
  // of [4 2 6; 2 5 5; 6 5 11]
  const double inverse[] = {s0[0] / 4, s1[0] / 4, s1[1] / 4, s2[0] / 4, s2[1] / 4, s2[2] / 4};
  EXPECT_EQ(std::vector<double>(inverse, inverse + 6),
            (std::vector<double>{1.875, 0.5, 0.5, -1.25, -0.5, 1}));
}

}  // namespace

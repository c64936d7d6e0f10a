// tests/test_products.cpp - products of general and symmetric matrices.
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/columns.hpp"
#include "tests/support/products.hpp"

namespace {

template <class Real>
constexpr Real** no_table = nullptr;

// -- edges ----------------------------------------------------------------------------------------

TWIN_TEST(Products, OfAnEmptySumAreZeros) {
  Guarded<Real> y(3), z(2);
  const Real x[] = {1, 2, 3};
  M_mv(no_table<Real>, x, 3, 0, y.data());
  for (int i = 0; i < 3; ++i) EXPECT_SAME(y[i], Real(0));
  Real *columns[] = {y.data(), y.data()}, *result = z.data();
  M_mtv(columns, x, 0, 2, z.data());
  for (int j = 0; j < 2; ++j) EXPECT_SAME(z[j], Real(0));
  EXPECT_TRUE(y.zones_intact() && z.zones_intact());
  for (int j = 0; j < 2; ++j) z[j] = nan_of<Real>;
  M_mm(no_table<Real>, no_table<Real>, 2, -3, 1, &result);
  for (int i = 0; i < 2; ++i) EXPECT_SAME(z[i], Real(0));
  EXPECT_TRUE(z.zones_intact());
}

TWIN_TEST(Products, InPlaceOfNoRowsOrColumnsGiveZeroAndLeaveTheOperand) {
  Guarded<Real> a(2), b(2);
  Real *A[] = {a.data(), a.data()}, *B[] = {b.data(), b.data()};
  for (const int none : {0, -1, INT_MIN}) {
    EXPECT_EQ(M_mmb(A, B, none, 2, 2), M_INPLACE_OK) << none;
    EXPECT_EQ(M_mmb(A, B, 2, 2, none), M_INPLACE_OK) << none;
    EXPECT_EQ(M_mtmb(A, B, 2, none, 2), M_INPLACE_OK) << none;
    EXPECT_EQ(M_mtmb(A, B, 2, 2, none), M_INPLACE_OK) << none;
    EXPECT_EQ(M_smma(A, B, none, 2), M_INPLACE_OK) << none;
    EXPECT_EQ(M_smma(A, B, 2, none), M_INPLACE_OK) << none;
  }
  EXPECT_TRUE(a.untouched_from(0) && b.untouched_from(0));
}

TWIN_TEST(Products, InPlaceByATransposeOfNothingGiveMinusOneAndTouchNothing) {
  for (const int none : {0, -1, INT_MIN}) {
    for (const int m : {0, 3, INT_MAX})
      EXPECT_EQ(M_mmtb(no_table<Real>, no_table<Real>, m, none, none), M_INPLACE_BAD_SIZE) << none;
    EXPECT_EQ(M_smtma(no_table<Real>, no_table<Real>, none, none), M_INPLACE_BAD_SIZE) << none;
  }
}

TWIN_TEST(Products, InPlaceByATransposeTransposeTheOperandEvenIfTheResultIsEmpty) {
  const auto columns = [](Real(&B)[2][2]) { return std::vector<Real*>{B[0], B[1]}; };
  const Real turned[2][2] = {{1, 3}, {2, 4}};
  {
    Real B[2][2] = {{1, 2}, {3, 4}};
    EXPECT_EQ(M_mmtb(no_table<Real>, columns(B).data(), 0, 2, 2), M_INPLACE_OK);
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < 2; ++i) EXPECT_SAME(B[j][i], turned[j][i]);
  }
  // Two rows of B and no column: the square as the transposition leaves it.
  for (const int none : {0, -1}) {
    Real B[2][2] = {{1, 2}, {3, 4}}, C[2][2] = {{1, 2}, {3, 4}};
    EXPECT_EQ(M_smtma(no_table<Real>, columns(B).data(), none, 2), M_INPLACE_OK);
    EXPECT_EQ(M_transpa(columns(C).data(), 2, none), M_TRANSPA_OK);
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i < 2; ++i) EXPECT_SAME(B[j][i], C[j][i]);
    EXPECT_FALSE(B[0][0] == 1 && B[0][1] == 2 && B[1][0] == 3 && B[1][1] == 4);
  }
}

TWIN_TEST(Products, WithNegativeCountsWriteNothingButEmptySums) {
  Random random(31);
  check_negative_counts(general_products<Real>(), random);
}

// -- by hand --------------------------------------------------------------------------------------

TWIN_TEST(Products, OfTwoByThreeByTwoComeOutAsByHand) {
  // A = (1 2 3; 4 5 6), B = (7 8; 9 10; 11 12), A B = (58 64; 139 154)
  Real a[3][2] = {{1, 4}, {2, 5}, {3, 6}}, b[2][3] = {{7, 9, 11}, {8, 10, 12}}, c[2][2] = {};
  Real *A[] = {a[0], a[1], a[2]}, *B[] = {b[0], b[1]}, *C[] = {c[0], c[1]};
  M_mm(A, B, 2, 3, 2, C);
  EXPECT_EQ(std::vector<Real>(c[0], c[0] + 4), (std::vector<Real>{58, 139, 64, 154}));
  // A^T A = (17 22 27; 22 29 36; 27 36 45), A A^T = (14 32; 32 77)
  Real s0[1], s1[2], s2[3];
  Real* S[] = {s0, s1, s2};
  M_mtms(A, 2, 3, S);
  EXPECT_EQ((std::vector<Real>{s0[0], s1[0], s1[1], s2[0], s2[1], s2[2]}),
            (std::vector<Real>{17, 22, 29, 27, 36, 45}));
  // x S of that order: S (1 1 1)^T = (66 87 108)
  const Real ones[] = {1, 1, 1};
  Real y[3] = {};
  M_smv(S, ones, 3, y);
  EXPECT_EQ(std::vector<Real>(y, y + 3), (std::vector<Real>{66, 87, 108}));
  M_mmts(A, 2, 3, S);
  EXPECT_EQ((std::vector<Real>{s0[0], s1[0], s1[1]}), (std::vector<Real>{14, 32, 77}));
}

TWIN_TEST(Products, OfFloatsAreRoundedOnceAtTheEnd) {
  // 2^25 + 1 + 1 + ...: a float sum loses each 1, a double sum keeps all of them.
  const int n = 9;
  Real x[n], y[1] = {};
  std::vector<Real> a(n, Real(1));
  std::vector<Real*> A;
  for (int j = 0; j < n; ++j) {
    x[j] = j == 0 ? Real(0x1p25) : Real(1);
    A.push_back(&a[static_cast<std::size_t>(j)]);
  }
  M_mv(A.data(), x, 1, n, y);
  EXPECT_SAME(y[0], Real(0x1p25 + 8));
}

TWIN_TEST(Products, FuseEveryStep) {
  // (1 + e)(1 - e) - 1 = -e^2 is lost if the product is rounded by itself.
  const Real e = sizeof(Real) == 4 ? Real(0x1p-20) : Real(0x1p-40);
  Real left[] = {-1}, right[] = {1 + e}, y[] = {0};
  Real* A[] = {left, right};
  const Real x[] = {1, 1 - e};
  M_mv(A, x, 1, 2, y);
  EXPECT_SAME(y[0], -e * e);
}

// -- against the plain loop -----------------------------------------------------------------------

TWIN_TEST(Products, AreThePlainSumsInEverySmallShape) {
  Random random(32);
  check_small_shapes(general_products<Real>(), random);
}

TWIN_TEST(Products, AreThePlainSumsInLargeShapes) {
  Random random(33);
  check_large_shapes(general_products<Real>(), random);
}

TWIN_TEST(Products, AreThePlainSumsForEveryCountUpToSeventy) {
  Random random(42);
  check_every_count(general_products<Real>(), random);
}

TWIN_TEST(Products, AreThePlainSumsBeyondEveryBlockAndPanel) {
  Random random(43);
  for (const auto& product : general_products<Real>())
    for (const Counts counts :
         {Counts{193, 33, 17}, {300, 129, 9}, {9, 257, 12}, {33, 17, 193}, {2, 301, 33}}) {
      ProductCall<Real>(product, counts, Room::exact, Data::rare, random).check();
      if (testing::Test::HasFailure()) return;
    }
}

TWIN_TEST(Products, WithAVectorAreThePlainSumsForManyRowsAndColumns) {
  Random random(44);
  for (const char* name : {"M_mv", "M_mtv"})
    for (const Counts counts : {Counts{127, 17, 1},
                                {128, 9, 1},
                                {129, 130, 1},
                                {1023, 8, 1},
                                {1024, 7, 1},
                                {1025, 33, 1},
                                {1160, 2, 1},
                                {2049, 16, 1},
                                {9, 1300, 1}})
      for (const Room room : all_rooms)
        ProductCall<Real>(product_named<Real>(name), counts, room, Data::rare, random).check();
}

TWIN_TEST(Products, OfSmallIntegersAreExact) {
  Random random(34);
  check_integers(general_products<Real>(), random);
}

TWIN_TEST(Products, InPlaceAreTheBitsOfThoseOutOfPlace) {
  Random random(35);
  check_twin_of<Real>("M_mmb", "M_mm", random);
  check_twin_of<Real>("M_mtmb", "M_mtm", random);
  check_twin_of<Real>("M_mmtb", "M_mmt", random);
  check_twin_of<Real>("M_smma", "M_smm", random);
  check_twin_of<Real>("M_smtma", "M_smtm", random);
}

TWIN_TEST(Products, OfFiniteNumbersGiveNegativeZerosDenormalsAndInfinitiesButNoNaN) {
  // A fused step overflows only as a whole, so infinities of both signs never meet.
  Random random(36);
  int negative_zeros = 0, denormals = 0, infinities = 0, nans = 0;
  for (const Data data : {Data::tiny, Data::huge})
    for (int round = 0; round < 20; ++round)
      for (const int terms : {1, 2, 9}) {
        ProductCall<Real> call(product_named<Real>("M_mm"), {9, terms, 9}, Room::exact, data, random);
        call.check();
        for (int k = 0; k < 9; ++k)
          for (int i = 0; i < 9; ++i) {
            const Real c = call.result().at(i, k);
            negative_zeros += c == 0 && std::signbit(c);
            denormals += std::fpclassify(c) == FP_SUBNORMAL;
            infinities += std::isinf(c);
            nans += std::isnan(c);
          }
      }
  EXPECT_GT(negative_zeros, 10);
  EXPECT_GT(denormals, 10);
  EXPECT_GT(infinities, 10);
  EXPECT_EQ(nans, 0);
}

// -- A x and b ------------------------------------------------------------------------------------

/// What M_ltv leaves in one place.
template <class Real>
Real combined(Real ax, Real b, int mode) {
  return mode == 0 ? ax + b : mode < 2 ? ax - b : b - ax;
}

constexpr int modes[] = {INT_MIN, -3, -1, 0, 1, 2, 3, 5, INT_MAX};

TWIN_TEST(Ltv, AddsBInModeZeroSubtractsBBelowTwoAndSubtractsFromBFromTwoOn) {
  Real a[] = {2, 3};
  Real* A[] = {a};
  const Real x[] = {5}, b[] = {1, 100};
  const Real sums[] = {11, 115}, less[] = {9, -85}, from[] = {-9, 85};
  for (const int mode : modes) {
    Guarded<Real> r(2);
    M_ltv(A, x, b, 2, 1, mode, r.data());
    const Real* expected = mode == 0 ? sums : mode < 2 ? less : from;
    for (int i = 0; i < 2; ++i) EXPECT_SAME(r[i], expected[i]) << "mode " << mode;
    EXPECT_TRUE(r.zones_intact());
  }
}

TWIN_TEST(Ltv, CombinesTheStoredProductInEverySmallShape) {
  Random random(37);
  const auto mv = product_named<Real>("M_mv");
  const auto check = [&](Counts counts, int mode, Room room, Data data) {
    ProductCall<Real> call(mv, counts, room, data, random), before = call;
    const auto b = random_table<Real>(random, counts.m, 1, data, room);
    auto expected = call.result(), given = expected;
    before.form(ProductCall<Real>::fused_sum);
    for (int i = 0; i < counts.m; ++i)
      expected.at(i, 0) = combined(before.result().at(i, 0), b.at(i, 0), mode);
    const auto b_before = b;
    M_ltv(call.left().slots(), call.right().slots()[0], b.slots()[0], counts.m, counts.n, mode,
          given.slots()[0]);
    SCOPED_TRACE(testing::Message() << "m = " << counts.m << ", n = " << counts.n << ", mode " << mode);
    EXPECT_COLUMNS(given, expected);
    EXPECT_COLUMNS(b, b_before);
    EXPECT_COLUMNS(call.left(), before.left());
    EXPECT_COLUMNS(call.right(), before.right());
  };
  for (const int mode : modes) {
    each_shape(mv, 9, [&](Counts counts) {
      check(counts, mode, Room::exact, Data::plain);
      check(counts, mode, Room::spare, Data::plain);
      check(counts, mode, Room::spare, Data::odd);
      check(counts, mode, Room::exact, Data::tiny);
    });
    check({129, 65, 1}, mode, Room::exact, Data::rare);
    check({INT_MIN, 2, 1}, mode, Room::exact, Data::plain);
    check({3, INT_MIN, 1}, mode, Room::spare, Data::plain);
  }
}

TWIN_TEST(Ltv, CombinesTheProductWithItselfIfTheResultIsB) {
  Real a[] = {2, 3};
  Real* A[] = {a};
  const Real x[] = {5}, expected[] = {20, 0, 0};
  for (const int mode : {0, 1, 2}) {
    Real b[] = {1, 100};
    M_ltv(A, x, b, 1, 1, mode, b);
    EXPECT_SAME(b[0], expected[mode]) << "mode " << mode;
    EXPECT_SAME(b[1], Real(100));
  }
}

// -- what products have in common -------------------------------------------------------------------

constexpr Counts sides[] = {{5, 6, 7}, {65, 33, 40}, {34, 70, 17}};

TWIN_TEST(Products, OfTransposesAreTransposesOfProducts) {
  Random random(38);
  for (const auto [m, n, p] : sides) {
    const auto A = random_table<Real>(random, m, n), B = random_table<Real>(random, n, p);
    const auto At = transpose_of(A, m, n), Bt = transpose_of(B, n, p);
    auto C = Columns<Real>::table(m, p, Room::exact), C2 = C, C3 = C;
    auto Ct = Columns<Real>::table(p, m, Room::exact);
    M_mm(A.slots(), B.slots(), m, n, p, C.slots());
    M_mmt(A.slots(), Bt.slots(), m, n, p, C2.slots());
    M_mtm(At.slots(), B.slots(), n, m, p, C3.slots());
    M_mm(Bt.slots(), At.slots(), p, n, m, Ct.slots());
    EXPECT_COLUMNS(C2, C);
    EXPECT_COLUMNS(C3, C);
    EXPECT_COLUMNS(transpose_of(Ct, p, m), C);
  }
}

TWIN_TEST(Products, OfAMatrixWithItsTransposeAreTheUpperPartOfTheGeneralProduct) {
  Random random(39);
  for (const auto [m, n, p] : sides) {
    const auto A = random_table<Real>(random, m, n);
    auto S = Columns<Real>::triangle(m, Room::exact), T = Columns<Real>::triangle(n, Room::exact);
    auto C = Columns<Real>::table(m, m, Room::exact), D = Columns<Real>::table(n, n, Room::exact);
    M_mmts(A.slots(), m, n, S.slots());
    M_mmt(A.slots(), A.slots(), m, n, m, C.slots());
    EXPECT_COLUMNS(S, upper_part(C, m));
    M_mtms(A.slots(), m, n, T.slots());
    M_mtm(A.slots(), A.slots(), m, n, n, D.slots());
    EXPECT_COLUMNS(T, upper_part(D, n));
  }
}

TWIN_TEST(Products, WithASymmetricFactorAreThoseWithTheWholeMatrix) {
  Random random(40);
  for (const auto [m, n, p] : sides) {
    const auto S = random_triangle<Real>(random, n), S2 = random_triangle<Real>(random, n);
    const auto W = whole_symmetric(S, n), W2 = whole_symmetric(S2, n);
    const auto B = random_table<Real>(random, n, p), A = random_table<Real>(random, m, n);
    const auto Bt = transpose_of(B, n, p), At = transpose_of(A, m, n);
    auto C = Columns<Real>::table(n, p, Room::exact), C2 = C, C3 = C;
    auto D = Columns<Real>::table(m, n, Room::exact), D2 = D, D3 = D;
    auto E = Columns<Real>::table(n, n, Room::exact), E2 = E;
    auto y = Columns<Real>::table(n, 1, Room::exact), y2 = y;
    M_mm(W.slots(), B.slots(), n, n, p, C.slots());
    M_smm(S.slots(), B.slots(), n, p, C2.slots());
    M_smtm(S.slots(), Bt.slots(), n, p, C3.slots());
    EXPECT_COLUMNS(C2, C);
    EXPECT_COLUMNS(C3, C);
    M_mm(A.slots(), W.slots(), m, n, n, D.slots());
    M_msm(A.slots(), S.slots(), n, m, D2.slots());
    M_tmsm(At.slots(), S.slots(), n, m, D3.slots());
    EXPECT_COLUMNS(D2, D);
    EXPECT_COLUMNS(D3, D);
    M_mm(W.slots(), W2.slots(), n, n, n, E.slots());
    M_smsm(S.slots(), S2.slots(), n, E2.slots());
    EXPECT_COLUMNS(E2, E);
    M_mv(W.slots(), B.slots()[0], n, n, y.slots()[0]);
    M_smv(S.slots(), B.slots()[0], n, y2.slots()[0]);
    EXPECT_COLUMNS(y2, y);
  }
}

TWIN_TEST(Products, TakeAVectorByTheAddressOfItsPointer) {
  Random random(41);
  const int m = 11, n = 9;
  const auto A = random_table<Real>(random, m, n), S = random_triangle<Real>(random, n);
  const auto x = random_table<Real>(random, n, 1);
  Guarded<Real> y(m), z(m);
  Real *vector = x.slots()[0], *result = y.data();
  M_mm(A.slots(), &vector, m, n, 1, &result);
  M_mv(A.slots(), vector, m, n, z.data());
  for (int i = 0; i < m; ++i) EXPECT_SAME(y[i], z[i]);
  result = z.data();
  for (int i = 0; i < n; ++i) z[i] = vector[i];
  EXPECT_EQ(M_smma(S.slots(), &result, n, 1), M_INPLACE_OK);
  M_smv(S.slots(), vector, n, y.data());
  for (int i = 0; i < n; ++i) EXPECT_SAME(z[i], y[i]);
  EXPECT_TRUE(y.zones_intact() && z.zones_intact());
}

}  // namespace

// tests/test_triangular.cpp - products, solves and inverses with upper-triangular matrices.
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/columns.hpp"
#include "tests/support/products.hpp"

namespace {

template <class Real>
constexpr Real** no_table = nullptr;

// -- products -------------------------------------------------------------------------------------

TWIN_TEST(TriangularProducts, OfOneElementAreTheProductOfTwoNumbers) {
  Real u[] = {3}, v[] = {5}, c[] = {0};
  Real *U[] = {u}, *V[] = {v}, *C[] = {c};
  M_uu(U, V, 1, C);
  EXPECT_SAME(c[0], Real(15));
  M_utu(U, 1, C);
  EXPECT_SAME(c[0], Real(9));
  M_uut(V, 1, C);
  EXPECT_SAME(c[0], Real(25));
  EXPECT_EQ(M_utuu(U, 1), M_INPLACE_OK);
  EXPECT_SAME(u[0], Real(9));
  EXPECT_EQ(M_uutu(V, 1), M_INPLACE_OK);
  EXPECT_SAME(v[0], Real(25));
}

TWIN_TEST(TriangularProducts, OfOrderTwoComeOutAsByHand) {
  // U = (2 3; 0 5): U^T U = (4 6; 6 34), U U^T = (13 15; 15 25), U U = (4 21; 0 25)
  Real u0[] = {2}, u1[] = {3, 5}, s0[1], s1[2];
  Real *U[] = {u0, u1}, *S[] = {s0, s1};
  const auto values = [&] { return std::vector<Real>{s0[0], s1[0], s1[1]}; };
  M_utu(U, 2, S);
  EXPECT_EQ(values(), (std::vector<Real>{4, 6, 34}));
  M_uut(U, 2, S);
  EXPECT_EQ(values(), (std::vector<Real>{13, 15, 25}));
  M_uu(U, U, 2, S);
  EXPECT_EQ(values(), (std::vector<Real>{4, 21, 25}));
}

TWIN_TEST(TriangularProducts, OfNoRowsWriteNothing) {
  Guarded<Real> c(4);
  Real u[] = {1, 2}, *U[] = {u, u}, *C[] = {c.data(), c.data()};
  for (const int none : {0, -1, INT_MIN}) {
    M_mu(no_table<Real>, U, 2, none, C);
    M_mut(no_table<Real>, U, 2, none, C);
    M_mtu(no_table<Real>, U, 2, none, C);
    M_um(U, no_table<Real>, 2, none, C);
    M_utm(U, no_table<Real>, 2, none, C);
    EXPECT_EQ(M_utma(U, C, 2, none), M_INPLACE_OK) << none;
    EXPECT_EQ(M_utma(U, C, none, 2), M_INPLACE_OK) << none;
    EXPECT_EQ(M_utuu(C, none), M_INPLACE_OK) << none;
    EXPECT_EQ(M_uutu(C, none), M_INPLACE_OK) << none;
  }
  EXPECT_TRUE(c.untouched_from(0));
}

TWIN_TEST(TriangularProducts, WithNegativeCountsWriteNothing) {
  Random random(51);
  check_negative_counts(triangular_products<Real>(), random);
}

TWIN_TEST(TriangularProducts, AreThePlainSumsInEverySmallShape) {
  Random random(52);
  check_small_shapes(triangular_products<Real>(), random);
}

TWIN_TEST(TriangularProducts, AreThePlainSumsInLargeShapes) {
  Random random(53);
  check_large_shapes(triangular_products<Real>(), random);
}

TWIN_TEST(TriangularProducts, AreThePlainSumsForEveryCountUpToSeventy) {
  Random random(66);
  check_every_count(triangular_products<Real>(), random);
}

TWIN_TEST(TriangularProducts, AreThePlainSumsBeyondEveryBlockAndPanel) {
  Random random(67);
  for (const auto& product : triangular_products<Real>())
    for (const Counts counts :
         {Counts{7, 129, 33}, {40, 193, 5}, {12, 257, 3}, {3, 301, 9}, {193, 25, 200}}) {
      ProductCall<Real>(product, counts, Room::exact, Data::rare, random).check();
      if (testing::Test::HasFailure()) return;
    }
}

TWIN_TEST(TriangularProducts, OfSmallIntegersAreExact) {
  Random random(54);
  check_integers(triangular_products<Real>(), random);
}

TWIN_TEST(TriangularProducts, InPlaceAreTheBitsOfThoseOutOfPlace) {
  Random random(55);
  check_twin_of<Real>("M_uuu", "M_uu", random);
  check_twin_of<Real>("M_utuu", "M_utu", random);
  check_twin_of<Real>("M_uutu", "M_uut", random);
  check_twin_of<Real>("M_uma", "M_um", random);
  check_twin_of<Real>("M_utma", "M_utm", random);
}

TWIN_TEST(TriangularProducts, AreGeneralProductsOfTheWholeMatrices) {
  // A term with a zero below the diagonal changes no sum, so the bits are the same.
  Random random(56);
  for (const auto& [m, n] : {std::pair(4, 5), std::pair(70, 65), std::pair(17, 97)}) {
    const auto U = random_triangle<Real>(random, n), V = random_triangle<Real>(random, n);
    const auto W = whole_upper(U, n), X = whole_upper(V, n), Wt = transpose_of(W, n, n);
    const auto A = random_table<Real>(random, m, n), B = random_table<Real>(random, n, m);
    auto S = Columns<Real>::triangle(n, Room::exact);
    auto C = Columns<Real>::table(n, n, Room::exact), D = Columns<Real>::table(m, n, Room::exact),
         D2 = D, E = Columns<Real>::table(n, m, Room::exact), E2 = E;
    M_uu(U.slots(), V.slots(), n, S.slots());
    M_mm(W.slots(), X.slots(), n, n, n, C.slots());
    EXPECT_COLUMNS(S, upper_part(C, n));
    M_utu(U.slots(), n, S.slots());
    M_mtms(W.slots(), n, n, C.slots());
    EXPECT_COLUMNS(S, upper_part(C, n));
    M_uut(U.slots(), n, S.slots());
    M_mmts(W.slots(), n, n, C.slots());
    EXPECT_COLUMNS(S, upper_part(C, n));
    M_um(U.slots(), B.slots(), n, m, E.slots());
    M_mm(W.slots(), B.slots(), n, n, m, E2.slots());
    EXPECT_COLUMNS(E, E2);
    M_utm(U.slots(), B.slots(), n, m, E.slots());
    M_mtm(W.slots(), B.slots(), n, n, m, E2.slots());
    EXPECT_COLUMNS(E, E2);
    M_mu(A.slots(), U.slots(), n, m, D.slots());
    M_mm(A.slots(), W.slots(), m, n, n, D2.slots());
    EXPECT_COLUMNS(D, D2);
    M_mut(A.slots(), U.slots(), n, m, D.slots());
    M_mm(A.slots(), Wt.slots(), m, n, n, D2.slots());
    EXPECT_COLUMNS(D, D2);
    M_mtu(B.slots(), U.slots(), n, m, D.slots());
    M_mtm(B.slots(), W.slots(), n, m, n, D2.slots());
    EXPECT_COLUMNS(D, D2);
  }
}

// -- solves and inverses against the plain loops --------------------------------------------------

// U is a triangle table. What is replaced is a table of p columns, a triangle or a square table.
enum class Replaces { table, triangle, square };

template <class Real>
struct Solve {
  const char* name;
  Replaces replaces;
  int (*call)(Real* const* U, Real* const* B, int n, int p);
  int (*plain)(const Columns<Real>& U, Columns<Real>& B, int n, int p);
};

/// Rows i from last to first: b(i) = (b(i) - u(i,i+1) b(i+1) - ... - u(i,last) b(last)) / u(i,i).
template <class Real>
void plain_back(const Columns<Real>& U, Columns<Real>& B, int column, int last) {
  for (int i = last; i >= 0; --i) {
    double rest = B.at(i, column);
    for (int l = i + 1; l <= last; ++l)
      rest = std::fma(-double(U.at(i, l)), double(B.at(l, column)), rest);
    B.at(i, column) = static_cast<Real>(rest / double(U.at(i, i)));
  }
}

template <class Real>
int plain_invt(const Columns<Real>& U, Columns<Real>& B, int n, int p) {
  for (int k = 0; k < p; ++k) plain_back(U, B, k, n - 1);
  return 0;
}

template <class Real>
int plain_invutm(const Columns<Real>& U, Columns<Real>& B, int n, int p) {
  for (int k = 0; k < p; ++k)
    for (int i = 0; i < n; ++i) {
      double sum = 0.0;
      for (int l = 0; l < i; ++l) sum = std::fma(double(U.at(l, i)), double(B.at(l, k)), sum);
      const double rest = double(B.at(i, k)) - sum;
      B.at(i, k) = static_cast<Real>(rest / double(U.at(i, i)));
    }
  return 0;
}

template <class Real>
int plain_invuu(const Columns<Real>& U, Columns<Real>& V, int n, int) {
  for (int j = 0; j < n; ++j) plain_back(U, V, j, j);
  return 0;
}

template <class Real>
int plain_invu(const Columns<Real>& U, Columns<Real>& X, int n, int) {
  X.fill(n, n, [](int i, int j) { return Real(i == j); });
  return plain_invuu(U, X, n, 0);
}

template <class Real>
int plain_tinv(const Columns<Real>&, Columns<Real>& T, int n, int) {
  if (n < 1) return -1;
  const Columns<Real> U = T;
  for (int k = 0; k < n; ++k) {
    if (U.at(k, k) == 0) return k + 1;
    T.at(k, k) = static_cast<Real>(1.0 / double(U.at(k, k)));
  }
  for (int j = 0; j < n; ++j) {
    for (int i = j - 1; i >= 0; --i) {
      double sum = 0.0;
      for (int l = i + 1; l <= j; ++l) sum = std::fma(double(T.at(l, j)), double(U.at(i, l)), sum);
      T.at(i, j) = static_cast<Real>(-double(T.at(i, i)) * sum);
    }
    for (int i = j + 1; i < n; ++i) T.at(i, j) = 0;
  }
  return 0;
}

template <class Real>
constexpr Solve<Real> solves[] = {
    {"M_invt", Replaces::table,
     [](Real* const* U, Real* const* B, int n, int p) { return M_invt(U, B, n, p), 0; }, plain_invt},
    {"M_invutm", Replaces::table,
     [](Real* const* U, Real* const* B, int n, int p) { return M_invutm(U, B, n, p), 0; },
     plain_invutm},
    {"M_invuu", Replaces::triangle,
     [](Real* const* U, Real* const* V, int n, int) { return M_invuu(U, V, n), 0; }, plain_invuu},
    {"M_invu", Replaces::triangle,
     [](Real* const* U, Real* const* X, int n, int) { return M_invu(U, X, n), 0; }, plain_invu},
    {"M_tinv", Replaces::square, [](Real* const*, Real* const* T, int n, int) { return M_tinv(T, n); },
     plain_tinv}};

/// U of order n with elements of a kind. The diagonal of a plain U keeps the unknowns within bounds.
template <class Real>
Columns<Real> random_factor(Random& random, int n, Data data, Room room) {
  auto U = random_triangle<Real>(random, n, data, room);
  if (data != Data::plain && data != Data::rare) return U;
  U.fill(n, n, [&](int i, int j) {
    const double size = i == j ? 2.0 * n : 1.0;
    return static_cast<Real>((random.chance(2) ? size : -size) * random.real(0.5, 1));
  });
  if (data == Data::rare && n > 2) U.at(0, n - 1) = any_element<Real>(random);
  return U;
}

/// Calls the solve and compares everything with what the plain loop leaves.
template <class Real>
void check_solve(const Solve<Real>& solve, int n, int p, Room room, Data data, Random& random) {
  const auto U = random_factor<Real>(random, n, data, room);
  auto B = solve.replaces == Replaces::table ? random_table<Real>(random, n, p, data, room)
           : solve.replaces == Replaces::triangle
               ? random_triangle<Real>(random, n, data, room)
               : random_table<Real>(random, n, n, Data::odd, room);  // any lower triangle
  if (solve.replaces == Replaces::square)
    B.fill(n, n, [&](int i, int j) { return i <= j ? U.at(i, j) : B.at(i, j); });
  const auto U_before = U;
  auto expected = B;
  const int status = solve.plain(U, expected, n, p);
  SCOPED_TRACE(testing::Message() << solve.name << ", n = " << n << ", p = " << p
                                  << (room == Room::exact ? ", exact" : ", spare") << ", data "
                                  << static_cast<int>(data));
  EXPECT_EQ(solve.call(U.slots(), B.slots(), n, p), status);
  EXPECT_COLUMNS(B, expected);
  EXPECT_COLUMNS(U, U_before);
}

TWIN_TEST(TriangularInverses, AreThePlainLoopsInEverySmallShape) {
  Random random(57);
  for (const auto& solve : solves<Real>)
    for (int n = -1; n <= 9; ++n)
      for (int p = -1; p <= 9; ++p)
        for (const Room room : all_rooms)
          for (const Data data : {Data::plain, Data::odd, Data::tiny, Data::huge})
            check_solve(solve, n, p, room, data, random);
}

TWIN_TEST(TriangularInverses, AreThePlainLoopsInLargeShapes) {
  Random random(58);
  for (const auto& solve : solves<Real>)
    for (const auto& [n, p] : {std::pair(33, 47), std::pair(65, 33), std::pair(70, 129),
                               std::pair(97, 1), std::pair(129, 31)}) {
      check_solve(solve, n, p, Room::exact, Data::plain, random);
      check_solve(solve, n, p, Room::spare, Data::rare, random);
    }
}

TWIN_TEST(TriangularInverses, AreThePlainLoopsForEveryOrderUpToSeventy) {
  Random random(68);
  constexpr Data kinds[] = {Data::plain, Data::rare, Data::odd, Data::tiny, Data::huge};
  for (const auto& solve : solves<Real>)
    for (int n = 10; n <= 70; ++n) {
      check_solve(solve, n, random.integer(1, 33), Room::exact, Data::plain, random);
      check_solve(solve, random.integer(1, 33), n, Room::spare, Data::rare, random);
      check_solve(solve, n, random.integer(1, 9), Room::spare, kinds[n % 5], random);
      if (testing::Test::HasFailure()) return;
    }
}

TWIN_TEST(TriangularInverses, AreThePlainLoopsBeyondEveryBlockAndStrip) {
  Random random(69);
  for (const auto& solve : solves<Real>)
    for (const auto& [n, p] : {std::pair(25, 127), std::pair(49, 128), std::pair(60, 257),
                               std::pair(193, 65), std::pair(257, 9), std::pair(385, 57)}) {
      if (n == 385 && solve.replaces != Replaces::table && sizeof(Real) == 4) continue;
      check_solve(solve, n, p, Room::exact, n > 100 ? Data::plain : Data::rare, random);
      if (testing::Test::HasFailure()) return;
    }
}

// Columns advance side by side, but a column that ends before an element does not read that element.
TWIN_TEST(TriangularInverses, KeepAnOddElementToTheColumnsThatReadIt) {
  Random random(71);
  for (const int n : {20, 70, 134})
    for (const auto& solve : solves<Real>)
      for (const int at : {1, 6, 7, 8, 63, 64, 65, 66, 69, 70, 71, 72, 127, 128, 129, 133}) {
        if (at >= n || solve.replaces == Replaces::table) continue;
        for (const Real odd : {nan_of<Real>, inf_of<Real>}) {
          auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
          for (const int i : {at - 1, random.integer(0, at - 1)}) U.at(i, at) = odd;
          auto B =
              solve.replaces == Replaces::square ? whole_upper(U, n) : random_triangle<Real>(random, n);
          auto expected = B;
          solve.plain(U, expected, n, 1);
          solve.call(U.slots(), B.slots(), n, 1);
          ASSERT_TRUE(std::isfinite(expected.at(0, at - 1)));
          EXPECT_COLUMNS(B, expected) << solve.name << ", element in column " << at << " of " << n;
        }
        if (testing::Test::HasFailure()) return;
      }
}

// Up to order 2816 the unknowns of eight columns fit the scratch; beyond, they are found one by one.
// Those of M_invutm fit up to order 938; beyond, their sums are products.
TWIN_TEST(TriangularInverses, OfOrdersTooTallForTheScratchAreThePlainLoops) {
  Random random(70);
  for (const auto& [n, p, transposed] :
       {std::tuple(2816, 1, false), std::tuple(2817, 1, false), std::tuple(937, 25, true),
        std::tuple(938, 3, true), std::tuple(939, 3, true)}) {
    std::vector<Real> some;
    for (int i = 0; i < 1009; ++i) some.push_back(static_cast<Real>(random.real(-1, 1)));
    const auto element = [&](int i, int j) {
      const Real v = some[static_cast<std::size_t>((31 * i + 17 * j) % 1009)];
      return i == j ? static_cast<Real>(64 + v) : v;
    };
    auto U = Columns<Real>::triangle(n, Room::exact);
    U.fill(n, n, element);
    auto B = Columns<Real>::table(n, p, Room::exact);
    B.fill(n, p, element);
    auto expected = B;
    transposed ? plain_invutm(U, expected, n, p) : plain_invt(U, expected, n, p);
    transposed ? M_invutm(U.slots(), B.slots(), n, p) : M_invt(U.slots(), B.slots(), n, p);
    EXPECT_COLUMNS(B, expected) << n;
  }
}

TWIN_TEST(TriangularInverses, OfNegativeCountsTouchNothing) {
  for (const int n : {0, -1, INT_MIN}) {
    for (const int p : {3, 0, INT_MIN, INT_MAX}) {
      M_invt(no_table<Real>, no_table<Real>, n, p);
      M_invutm(no_table<Real>, no_table<Real>, n, p);
    }
    M_invuu(no_table<Real>, no_table<Real>, n);
    M_invu(no_table<Real>, no_table<Real>, n);
    EXPECT_EQ(M_tinv(no_table<Real>, n), M_TINV_BAD_SIZE) << n;
  }
}

TWIN_TEST(TriangularInverses, OfNoRightHandSideTouchNothing) {
  Random random(59);
  for (const int p : {0, -1, INT_MIN})
    for (const int n : {1, 2, 40}) {
      check_solve(solves<Real>[0], n, p, Room::exact, Data::plain, random);
      check_solve(solves<Real>[1], n, p, Room::exact, Data::plain, random);
    }
}

TWIN_TEST(TriangularInverses, OfOneElementAreQuotients) {
  Real u[] = {4}, b0[] = {6}, b1[] = {-3}, *U[] = {u}, *B[] = {b0, b1};
  M_invt(U, B, 1, 2);
  EXPECT_SAME(b0[0], Real(1.5));
  EXPECT_SAME(b1[0], Real(-0.75));
  M_invutm(U, B, 1, 2);
  EXPECT_SAME(b0[0], Real(0.375));
  M_invuu(U, B, 1);
  EXPECT_SAME(b0[0], Real(0.09375));
  EXPECT_SAME(b1[0], Real(-0.1875));
  M_invu(U, B, 1);
  EXPECT_SAME(b0[0], Real(0.25));
  EXPECT_EQ(M_tinv(U, 1), M_TINV_OK);
  EXPECT_SAME(u[0], Real(0.25));
}

TWIN_TEST(TriangularInverses, TakeAVectorByTheAddressOfItsPointer) {
  // U = (2 1 -1; 0 4 2; 0 0 8), b = (3 10 8): x = (1 2 1)
  Real u0[] = {2}, u1[] = {1, 4}, u2[] = {-1, 2, 8}, *U[] = {u0, u1, u2};
  Guarded<Real> b(3);
  const Real right[] = {3, 10, 8}, forward[] = {2, 9, 15}, x[] = {1, 2, 1};
  Real* vector = b.data();
  for (int i = 0; i < 3; ++i) b[i] = right[i];
  M_invt(U, &vector, 3, 1);
  for (int i = 0; i < 3; ++i) EXPECT_SAME(b[i], x[i]);
  // U^T (1 2 1) = (2 9 11): 2, 1 + 8, -1 + 4 + 8
  for (int i = 0; i < 3; ++i) b[i] = forward[i];
  b[2] = 11;
  M_invutm(U, &vector, 3, 1);
  for (int i = 0; i < 3; ++i) EXPECT_SAME(b[i], x[i]);
  EXPECT_TRUE(b.zones_intact());
}

TWIN_TEST(TriangularInverses, DivideByAZeroOnTheDiagonalByTheRules) {
  Random random(60);
  for (const int n : {1, 2, 3, 7, 40})
    for (int at = 0; at<n; at += n> 9 ? 13 : 1)
      for (const Real zero : {Real(0), Real(-0.0)})
        for (int s = 0; s < 4; ++s) {  // M_tinv refuses
          const auto& solve = solves<Real>[s];
          auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
          U.at(at, at) = zero;
          auto B = solve.replaces == Replaces::table ? random_table<Real>(random, n, 3)
                                                     : random_triangle<Real>(random, n);
          auto expected = B;
          solve.plain(U, expected, n, 3);
          solve.call(U.slots(), B.slots(), n, 3);
          EXPECT_COLUMNS(B, expected) << solve.name << ", zero at " << at << " of " << n;
          EXPECT_FALSE(std::isfinite(B.at(at, solve.replaces == Replaces::table ? 0 : at)))
              << solve.name;
        }
  Real u[] = {0}, up[] = {5}, down[] = {-5}, none[] = {0}, *U[] = {u}, *B[] = {up, down, none};
  M_invt(U, B, 1, 3);
  EXPECT_SAME(up[0], inf_of<Real>);
  EXPECT_SAME(down[0], -inf_of<Real>);
  EXPECT_TRUE(std::isnan(none[0]));
}

// -- the inverse in place -------------------------------------------------------------------------

TWIN_TEST(Tinv, NamesTheFirstZeroOnTheDiagonalAndStopsThere) {
  Random random(61);
  for (const int n : {1, 2, 3, 9, 40})
    for (int k = 0; k < n; ++k)
      for (const Real zero : {Real(0), Real(-0.0)}) {
        auto T = random_table<Real>(random, n, n);
        T.at(k, k) = zero;
        for (int later = k + 1; later < n; later += 2) T.at(later, later) = 0;
        auto expected = T;
        for (int i = 0; i < k; ++i) expected.at(i, i) = static_cast<Real>(1.0 / double(T.at(i, i)));
        EXPECT_EQ(M_tinv(T.slots(), n), k + 1);
        EXPECT_COLUMNS(T, expected) << "zero at " << k << " of " << n;
      }
}

TWIN_TEST(Tinv, DoesNotTakeNaNInfinityOrADenormalForZero) {
  for (const Real odd : {nan_of<Real>, inf_of<Real>, std::numeric_limits<Real>::denorm_min()}) {
    Real t0[] = {2, 9}, t1[] = {3, odd}, *T[] = {t0, t1};
    EXPECT_EQ(M_tinv(T, 2), M_TINV_OK);
    const Real reciprocal = 1 / odd;
    EXPECT_SAME(t0[0], Real(0.5));
    EXPECT_SAME(t0[1], Real(0));
    EXPECT_SAME(t1[0], Real(-0.5 * (3.0 * double(reciprocal))));
    EXPECT_SAME(t1[1], reciprocal);
  }
}

TWIN_TEST(Tinv, IgnoresTheLowerTriangleAndLeavesItZero) {
  Random random(62);
  for (const int n : {2, 5, 34, 70}) {
    const auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
    auto clean = whole_upper(U, n), soiled = clean;
    soiled.fill(n, n, [&](int i, int j) { return i <= j ? U.at(i, j) : nan_of<Real>; });
    EXPECT_EQ(M_tinv(clean.slots(), n), M_TINV_OK);
    EXPECT_EQ(M_tinv(soiled.slots(), n), M_TINV_OK);
    EXPECT_COLUMNS(soiled, clean);
    EXPECT_COLUMNS(soiled, whole_upper(upper_part(clean, n), n));
  }
}

// -- identities -----------------------------------------------------------------------------------

TWIN_TEST(TriangularInverses, OfIntegerMatricesAreExact) {
  // The inverse of the upper triangle of ones has ones on the diagonal and -1 beside it.
  for (const int n : {1, 2, 9, 65}) {
    auto U = Columns<Real>::triangle(n, Room::exact), X = U;
    U.fill(n, n, [](int, int) { return Real(1); });
    auto expected = U;
    expected.fill(n, n, [](int i, int j) { return Real(i == j ? 1 : i + 1 == j ? -1 : 0); });
    M_invu(U.slots(), X.slots(), n);
    // Zeros of either sign.
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) EXPECT_EQ(X.at(i, j), expected.at(i, j)) << i << ", " << j;
    auto T = whole_upper(U, n);
    EXPECT_EQ(M_tinv(T.slots(), n), M_TINV_OK);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) EXPECT_EQ(T.at(i, j), i <= j ? expected.at(i, j) : 0);
    // Bidiagonal times ones, solved back.
    auto V = expected;
    EXPECT_EQ(M_uuu(U.slots(), V.slots(), n), 1);
    M_invuu(U.slots(), V.slots(), n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) EXPECT_EQ(V.at(i, j), expected.at(i, j)) << i << ", " << j;
  }
}

/// The greatest |residual(i, j)| / (n eps scale(i, j)) of rows by columns places.
template <class Real, class Residual, class Scale>
double scaled(int rows, int columns, int n, Residual residual, Scale scale) {
  double greatest = 0;
  for (int j = 0; j < columns; ++j)
    for (int i = 0; i < rows; ++i) {
      const double size = scale(i, j), r = std::abs(double(residual(i, j)));
      if (r != 0) greatest = std::max(greatest, r / (n * double(eps_of<Real>) * size));
    }
  return greatest;
}

/// Sum over l of |a(i,l) b(l,j)|, l from i to j.
template <class Real>
auto magnitudes(const Columns<Real>& A, const Columns<Real>& B) {
  return [&](int i, int j) {
    double sum = 0;
    for (int l = i; l <= j; ++l) sum += std::abs(double(A.at(i, l)) * double(B.at(l, j)));
    return sum;
  };
}

constexpr int orders[] = {1, 2, 3, 10, 30, 100};

TWIN_TEST(TriangularInverses, TimesTheMatrixAreTheIdentity) {
  // Each unknown solves its equation up to a rounding of each step and of the quotient, each at most
  // eps/2 of a sum that |U| |X| bounds; U X is formed with as many: together (n + 2) eps.
  Random random(63);
  double greatest = 0;
  for (const int n : orders) {
    const auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
    auto X = Columns<Real>::triangle(n, Room::exact), P = X;
    M_invu(U.slots(), X.slots(), n);
    M_uu(U.slots(), X.slots(), n, P.slots());
    const double residual = scaled<Real>(
        n, n, n, [&](int i, int j) { return i > j ? 0.0 : double(P.at(i, j)) - (i == j); },
        magnitudes(U, X));
    EXPECT_LT(residual, (n + 2.0) / n) << "n = " << n;
    greatest = std::max(greatest, residual);
  }
  std::printf("greatest scaled residual %.3f\n", greatest);
}

TWIN_TEST(TriangularInverses, TwiceInPlaceGiveTheMatrixBack) {
  // The inverse X = T^-1 has an error of at most about (n + 2) eps |T^-1| |T| |T^-1|. The second
  // inversion turns it into (n + 2) eps |T| |X| |T|, and adds as much of its own.
  Random random(64);
  double greatest = 0;
  for (const int n : orders) {
    const auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
    auto T = whole_upper(U, n);
    EXPECT_EQ(M_tinv(T.slots(), n), M_TINV_OK);
    const auto X = T;
    EXPECT_EQ(M_tinv(T.slots(), n), M_TINV_OK);
    const auto inner = magnitudes(X, U);
    const double residual = scaled<Real>(
        n, n, n, [&](int i, int j) { return i > j ? 0.0 : double(T.at(i, j)) - double(U.at(i, j)); },
        [&](int i, int j) {
          double sum = 0;
          for (int l = i; l <= j; ++l) sum += std::abs(double(U.at(i, l))) * inner(l, j);
          return sum;
        });
    EXPECT_LT(residual, 2 * (n + 2.0) / n) << "n = " << n;
    greatest = std::max(greatest, residual);
  }
  std::printf("greatest scaled residual %.3f\n", greatest);
}

TWIN_TEST(TriangularInverses, ForwardThenBackSolveTheNormalEquations) {
  // (U + dU1)^T (U + dU2) x = b with |dU1|, |dU2| at most (n + 2) eps / 2 of |U|: the residual is at
  // most (n + 2) eps of |U|^T |U| |x|, and it is formed here in long double.
  Random random(65);
  double greatest = 0;
  for (const int n : orders) {
    const int p = 3;
    const auto U = random_factor<Real>(random, n, Data::plain, Room::exact);
    const auto B = random_table<Real>(random, n, p);
    auto X = B;
    M_invutm(U.slots(), X.slots(), n, p);
    M_invt(U.slots(), X.slots(), n, p);
    const auto product = [&](bool magnitude) {  // U^T U x, or |U|^T |U| |x|
      std::vector<long double> v;
      for (int k = 0; k < p; ++k) {
        std::vector<long double> y;
        const auto size = [=](long double x) { return magnitude ? std::abs(x) : x; };
        for (int i = 0; i < n; ++i) {
          long double sum = 0;
          for (int l = i; l < n; ++l) sum += size(U.at(i, l)) * size(X.at(l, k));
          y.push_back(sum);
        }
        for (int i = 0; i < n; ++i) {
          long double sum = 0;
          for (int l = 0; l <= i; ++l) sum += size(U.at(l, i)) * y[static_cast<std::size_t>(l)];
          v.push_back(sum);
        }
      }
      return v;
    };
    const auto value = product(false), scale = product(true);
    const auto place = [=](int i, int k) { return static_cast<std::size_t>(k * n + i); };
    const double residual = scaled<Real>(
        n, p, n, [&](int i, int k) { return double(value[place(i, k)] - B.at(i, k)); },
        [&](int i, int k) { return double(scale[place(i, k)]); });
    EXPECT_LT(residual, (n + 2.0) / n) << "n = " << n;
    greatest = std::max(greatest, residual);
  }
  std::printf("greatest scaled residual %.3f\n", greatest);
}

}  // namespace

// tests/test_qr.cpp - QR decomposition and the square solve on it: statuses and edges, cases by hand,
// steps written out and compared bit for bit, scaled residuals.
#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "tests/support/plain_decompositions.hpp"
#include "tests/support/plain_table.hpp"
#include "tests/support/random_matrices.hpp"
#include "tests/support/scaled_residuals.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

using namespace decompositions;

TWIN_TEST(Qrd, RefusesBadSizesAndChangesNothing) {
  for (const int bad : {0, -1, INT_MIN})
    for (const Shape s : {Shape{bad, 2}, {2, bad}, {bad, bad}}) {
      Table<Real> A(3, 4);
      Guarded<int> ip(4);
      EXPECT_EQ(M_qrd(A.slots(), s.m, s.n, 1, ip.data()), M_QRD_BAD_SIZE) << s.m << ", " << s.n;
      EXPECT_TRUE(A.untouched());
      EXPECT_TRUE(ip.untouched_from(0) && ip.zones_intact());
    }
}

TWIN_TEST(Qrd, OfAZeroMatrixGivesMinusOneAndTheIdentityAndLeavesTheTable) {
  for (const Shape s : {Shape{1, 1}, {4, 3}, {3, 3}, {2, 5}}) {
    Table<Real> A(s.m, s.n + 2);
    A.number();
    for (int j = 0; j < s.n; ++j)
      for (int i = 0; i < s.m; ++i) A.at(i, j) = i % 2 ? Real(-0.0) : Real(0);
    Plain<Real> old(A);
    Guarded<int> ip(s.n);
    EXPECT_EQ(M_qrd(A.slots(), s.m, s.n, 2, ip.data()), M_QRD_ZERO);
    EXPECT_TRUE(agree(A, old));
    EXPECT_EQ(values(ip), identity(s.n));
    EXPECT_TRUE(ip.zones_intact());
  }
}

TEST(Qrd_d, TakesElementsWhoseSquaresUnderflowForZero) {
  auto A = table<double>(2, 2, {1e-170, 2e-165, -1e-200, 1e-163});
  int ip[2];
  EXPECT_EQ(M_qrdd(A.slots(), 2, 2, 0, ip), M_QRD_ZERO);
}

TEST(Qrd_f, SquaresOfTheLeastFloatsDoNotUnderflow) {
  const float least = std::numeric_limits<float>::denorm_min();
  Table<float> A(2, 2);
  A.at(0, 0) = A.at(1, 1) = 3 * least;
  A.at(1, 0) = A.at(0, 1) = 0;
  int ip[2];
  EXPECT_EQ(M_qrdf(A.slots(), 2, 2, 0, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), -3 * least);
}

// Here the square of the tolerance underflows to 0, and a norm of 0 is not below it.
TEST(Qrd_d, AcceptsAZeroNormWhenTheToleranceUnderflows) {
  auto A = table<double>(2, 3, {1e-155, 0, 1, 0, 0, 1});
  int ip[2];
  EXPECT_EQ(M_qrdd(A.slots(), 2, 2, 1, ip), M_QRD_OK);
  EXPECT_EQ(A.at(1, 1), 0.0);
  EXPECT_TRUE(std::isnan(A.at(1, 2)));
}

TWIN_TEST(Qrd, OfOneColumnIsOneReflection) {
  auto A = table<Real>(2, 2, {3, 1, 4, 2});
  int ip[1] = {-5};
  EXPECT_EQ(M_qrd(A.slots(), 2, 1, 1, ip), M_QRD_OK);
  EXPECT_EQ(ip[0], 0);
  EXPECT_EQ(A.at(0, 0), Real(-5));                  // rows exchanged: (4, 3), u = (9, 3), beta = 45
  EXPECT_EQ(A.at(1, 0), Real(3));                   // the tail of u
  EXPECT_NEAR(A.at(0, 1), -2.2, 4 * eps_of<Real>);  // b = (2, 1), t = -21/45
  EXPECT_NEAR(A.at(1, 1), -0.4, 4 * eps_of<Real>);
}

TWIN_TEST(Qrd, OfOneZeroColumnGivesMinusOne) {
  auto A = table<Real>(3, 2, {0, 1, 0, 2, 0, 3});
  int ip[1];
  EXPECT_EQ(M_qrd(A.slots(), 3, 1, 1, ip), M_QRD_ZERO);
  EXPECT_EQ(seen(A, 3, 2), (std::vector<Real>{0, 1, 0, 2, 0, 3}));
}

TWIN_TEST(Qrd, OfOneElementTurnsSigns) {
  for (const int a : {4, -4}) {
    auto A = table<Real>(1, 2, {double(a), 3});
    int ip[1];
    EXPECT_EQ(M_qrd(A.slots(), 1, 1, 1, ip), M_QRD_OK);
    EXPECT_EQ(seen(A, 1, 2), (std::vector<Real>{Real(-a), -3})) << a;
  }
}

TWIN_TEST(Qrd, PicksTheLowerOfColumnsWithEqualNorm) {
  auto A = table<Real>(3, 4, {1, 0, 0, 2, 0, 4, 0, 0, 0, 0, 4, 2});
  int ip[4];
  EXPECT_EQ(M_qrd(A.slots(), 3, 4, 0, ip), M_QRD_OK);
  EXPECT_EQ(ip[0], 1);  // columns 1 and 2 have norm 4
  EXPECT_EQ(A.slots()[0], &A.at(0, 1));
}

// Column 2 is column 0 plus column 1, and every step is exact.
TWIN_TEST(Qrd, StopsAtTheRankAndLeavesTheRestAsTheLastStepLeftIt) {
  auto A = table<Real>(3, 4, {8, -4, 4, 1, 0, 4, 4, 2, 0, 0, 0, 3});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(A.slots(), 3, 3, 1, ip.data()), 2);
  EXPECT_EQ(values(ip), identity(3));  // columns 1 and 2 are equal after step 0, and the first wins
  EXPECT_EQ(seen(A, 3, 4), (std::vector<Real>{-8, 4, -4, -1,  //
                                              0, -4, -4, -2,  //
                                              0, 0, 0, 3}));
}

TWIN_TEST(Qrd, MovesPointersAndPermutationWithTheColumns) {
  auto A = table<Real>(3, 4, {1, 0, 0, 1, 0, 0, 2, 2, 0, 4, 0, 3});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(A.slots(), 3, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), (std::vector<int>{1, 2, 0}));
  EXPECT_EQ(A.slots()[0], &A.at(0, 1));
  EXPECT_EQ(A.slots()[1], &A.at(0, 2));
  EXPECT_EQ(A.slots()[2], &A.at(0, 0));
  EXPECT_EQ(A.slots()[3], &A.at(0, 3));
}

TWIN_TEST(Qrd, GivesTheNumberOfNonzeroColumnsAsPseudoRank) {
  Random random(501);
  std::set<int> statuses;
  for (int m = 1; m <= 7; ++m)
    for (int n = 1; n <= 7; ++n)
      for (int rank = 1; rank <= n; ++rank) {
        Table<Real> A(m, n + 1);
        fill_matrix(A, m, n + 1, Kind::random, random);
        const std::vector<int> places = random_permutation(random, n);
        for (int z = rank; z < n; ++z)
          for (int i = 0; i < m; ++i) A.at(i, places[z]) = 0;
        std::vector<int> ip(n);
        const int status = M_qrd(A.slots(), m, n, 1, ip.data());
        EXPECT_EQ(status, rank < std::min(m, n) ? rank : 0) << m << " by " << n << " of rank " << rank;
        statuses.insert(status);
      }
  EXPECT_EQ(statuses, (std::set<int>{0, 1, 2, 3, 4, 5, 6}));
}

TWIN_TEST(Qrd, FindsSeveralMissingDirections) {
  // The pivots are 8 e0 and 4 e1; the others are combinations of e0 and e1, all steps exact.
  auto A = table<Real>(5, 6, {1, 0, 1,  8, -2, 1,  //
                              1, 4, -1, 0, 1,  0,  //
                              0, 0, 0,  0, 0,  0,  //
                              0, 0, 0,  0, 0,  0,  //
                              0, 0, 0,  0, 0,  0});
  int ip[6];
  EXPECT_EQ(M_qrd(A.slots(), 5, 6, 0, ip), 2);
  EXPECT_EQ(ip[0], 3);
  EXPECT_EQ(ip[1], 1);
}

TWIN_TEST(Qrd, StopsAtAColumnThatIsTooSmallForTheTwin) {
  const double below = tolerance_of<Real> * 0.9, above = tolerance_of<Real> * 1.1;
  int ip[2];
  auto A = table<Real>(2, 2, {1, 0, 0, below}), B = table<Real>(2, 2, {1, 0, 0, above});
  EXPECT_EQ(M_qrd(A.slots(), 2, 2, 0, ip), 1);
  EXPECT_EQ(M_qrd(B.slots(), 2, 2, 0, ip), M_QRD_OK);
}

// The squared tolerance has two values: rounded once, and rounded twice. The squared norm that is left
// equals the lower of them.
TWIN_TEST(Qrd, RoundsTheToleranceOnceAndAcceptsANormEqualToIt) {
  const double eps = tolerance_of<Real>;
  std::set<int> statuses;
  for (int a = 1; a <= 1000; ++a) {
    const double greatest = double(a) * a, twice = greatest * eps * eps;
    const auto once = static_cast<double>(static_cast<long double>(greatest) * eps * eps);
    if (once == twice) continue;
    const double least = std::min(once, twice);
    auto A = table<Real>(4, 2, {double(a), 0, 0, 0, 0, 0, 0, 0});
    double square = 0;
    for (int i = 1; i < 4; ++i) {  // each element takes as much as fits below what is left
      Real v = static_cast<Real>(std::sqrt(least - square));
      while (v > 0 && std::fma(double(v), double(v), square) > least) v = std::nextafter(v, Real(0));
      A.at(i, 1) = v;
      square = std::fma(double(v), double(v), square);
    }
    if (square != least) continue;
    int ip[2];
    const int status = M_qrd(A.slots(), 4, 2, 0, ip);
    EXPECT_EQ(status, least < once ? 1 : M_QRD_OK) << a;
    statuses.insert(status);
  }
  const bool wider = std::numeric_limits<long double>::digits > std::numeric_limits<double>::digits;
  EXPECT_EQ(statuses, wider ? (std::set<int>{0, 1}) : std::set<int>{});
}

// Downdated norms keep the noise of the first norm. Here both are 2^-26, although 1.1e-8 and 1.8e-8 are
// left of the columns.
TEST(Qrd_d, TakesTheDowndatedNormForTheColumnChoiceAndTheReflection) {
  const double e = 1.1e-8, f = 1.8e-8;
  auto A = table<double>(3, 3, {2, 1, 1, 0, e, 0, 0, 0, f});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrdd(A.slots(), 3, 3, 0, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), identity(3));
  EXPECT_EQ(A.at(1, 1), -0x1p-26);
  EXPECT_EQ(A.at(2, 2), -0x1p-26);
}

TWIN_TEST(Qrd, NeverFormsTheNormsAnew) {
  Random random(502);
  int told_apart = 0;
  for (int times = 0; times < 400; ++times) {
    const int m = random.integer(3, 8), n = random.integer(3, 8);
    Table<Real> A(m, n);
    fill_matrix(A, m, n, Kind::dependent, random);
    Plain<Real> downdated(A), anew(A);
    std::vector<int> ip(n), ip_downdated(n), ip_anew(n);
    const int status = M_qrd(A.slots(), m, n, 0, ip.data());
    EXPECT_EQ(status, plain_qrd(downdated, m, n, 0, ip_downdated.data()));
    EXPECT_EQ(ip, ip_downdated);
    const int other = plain_qrd(anew, m, n, 0, ip_anew.data(), Norms::formed_anew);
    told_apart += status != other || ip != ip_anew;
  }
  EXPECT_GT(told_apart, 40);
}

TWIN_TEST(Qrd, ChoosesTheRowWithTheRuleThatKeepsSigns) {
  auto A = table<Real>(3, 2, {1, 10, -5, 20, 2, 30});
  int ip[1];
  EXPECT_EQ(M_qrd(A.slots(), 3, 1, 0, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), static_cast<Real>(-std::sqrt(30.0)));  // from the 2, not from the -5
  EXPECT_EQ(A.at(1, 0), Real(-5));
  EXPECT_EQ(A.at(2, 0), Real(1));
  EXPECT_EQ(A.at(0, 1), Real(10));  // not a right-hand side: k is 0
}

TWIN_TEST(Qrd, ExchangesRowsInTheColumnsFromThePivotOn) {
  // Step 0 exchanges rows 0 and 2, with a zero diagonal element; step 1 exchanges rows 1 and 3.
  auto A = table<Real>(4, 3, {0, 0, 1, -4, 1, 2, 0, 0, 3, 0, 2, 4});
  int ip[2];
  EXPECT_EQ(M_qrd(A.slots(), 4, 2, 1, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), Real(4));
  EXPECT_EQ(A.at(1, 0), Real(-4));  // the tail of the first reflection is not moved
  EXPECT_EQ(A.at(3, 0), Real(0));
  EXPECT_EQ(A.at(0, 1), Real(-1));
  EXPECT_EQ(A.at(1, 1), Real(-2));
  EXPECT_EQ(A.at(3, 1), Real(0));
  // b = (1, 2, 3, 4): (3, 2, 1, 4), reflected (-2, -3, 1, 4), (-2, 4, 1, -3), reflected
  EXPECT_EQ(std::vector<Real>(A.slots()[2], A.slots()[2] + 4), (std::vector<Real>{-2, -4, 1, -3}));
}

TWIN_TEST(Qrd, TransformsOnlyRightHandSidesInTheLastStep) {
  auto wide = table<Real>(1, 4, {1, -2, 4, 5});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(wide.slots(), 1, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), (std::vector<int>{2, 1, 0}));
  EXPECT_EQ(seen(wide, 1, 4), (std::vector<Real>{-4, -2, 1, -5}));

  auto two = table<Real>(2, 4, {8, 0, 1, 1, 0, 4, 1, 1});
  EXPECT_EQ(M_qrd(two.slots(), 2, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(seen(two, 2, 4), (std::vector<Real>{-8, 0, -1, -1, 0, -4, 1, -1}));
}

TWIN_TEST(Qrd, EndsAtANormThatIsNotANumber) {
  const double nan = nan_of<double>;
  int ip[3];
  auto first = table<Real>(3, 3, {nan, 0, 1, 1, 2, 1, 2, 3, 0});
  EXPECT_EQ(M_qrd(first.slots(), 3, 3, 0, ip), 1);  // the first norm is never beaten
  auto second = table<Real>(3, 3, {9, 0, 1, 0, nan, 1, 0, 3, 2});
  EXPECT_EQ(M_qrd(second.slots(), 3, 3, 0, ip), 1);
  EXPECT_EQ(seen(second, 1, 1), (std::vector<Real>{-9}));
  auto third = table<Real>(3, 3, {9, 0, 1, 0, 2, nan, 0, 3, 0});
  EXPECT_EQ(M_qrd(third.slots(), 3, 3, 0, ip), 2);  // NaN never wins
  auto one = table<Real>(1, 2, {nan, 1});
  EXPECT_EQ(M_qrd(one.slots(), 1, 2, 0, ip), M_QRD_OK);  // the first step is not tested
  const double inf = inf_of<double>;
  auto infinite = table<Real>(3, 3, {1, inf, 0, 1, 0, 1, 1, 1, 2});
  EXPECT_EQ(M_qrd(infinite.slots(), 3, 3, 0, ip), 1);
  EXPECT_EQ(ip[0], 1);
}

TWIN_TEST(Qrd, KeepsRightHandSidesApart) {
  Random random(503);
  Table<Real> A(6, 7);
  fill_matrix(A, 6, 7, Kind::random, random);
  Table<Real> B = A;
  B.at(2, 5) = nan_of<Real>;
  B.at(3, 4) = inf_of<Real>;
  int ip[4], ip_b[4];
  EXPECT_EQ(M_qrd(A.slots(), 6, 4, 3, ip), M_QRD_OK);
  EXPECT_EQ(M_qrd(B.slots(), 6, 4, 3, ip_b), M_QRD_OK);
  for (const int j : {0, 1, 2, 3, 6})
    for (int i = 0; i < 6; ++i) EXPECT_SAME(A.slots()[j][i], B.slots()[j][i]);
}

TWIN_TEST(Qrd, EqualsItsStepsWrittenOut) {
  Random random(504);
  std::set<int> statuses;
  for (const Shape s : shapes())
    for (const int k : {0, 1, 3})
      for (const Kind kind : all_kinds)
        for (int times = s.m <= 9 && s.n <= 9 ? 4 : 1; times > 0; --times) {
          Table<Real> A(s.m + random.integer(0, 1), s.n + k + 1, random.integer(0, 7));
          fill_matrix(A, s.m, s.n + k, kind, random);
          Plain<Real> want(A);
          Guarded<int> ip(s.n), ip_want(s.n);
          const int status = M_qrd(A.slots(), s.m, s.n, k, ip.data());
          ASSERT_EQ(status, plain_qrd(want, s.m, s.n, k, ip_want.data()))
              << where(kind, s.m, s.n) << ", " << k;
          ASSERT_EQ(values(ip), values(ip_want)) << where(kind, s.m, s.n) << ", " << k;
          ASSERT_TRUE(agree(A, want)) << where(kind, s.m, s.n) << ", " << k;
          ASSERT_TRUE(ip.zones_intact());
          statuses.insert(status);
        }
  for (int status = -2; status <= 7; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

/// Calls M_qrd on a matrix of the kind, in columns of odd alignment, and compares everything with its
/// steps.
template <class Real>
int check_qrd(Table<Real>& A, int m, int n, int k) {
  Plain<Real> want(A);
  Guarded<int> ip(n), ip_want(n);
  const int status = M_qrd(A.slots(), m, n, k, ip.data()),
            expected = plain_qrd(want, m, n, k, ip_want.data());
  SCOPED_TRACE(testing::Message() << m << " by " << n << " and " << k);
  EXPECT_EQ(status, expected);
  EXPECT_EQ(values(ip), values(ip_want));
  EXPECT_TRUE(agree(A, want));
  EXPECT_TRUE(ip.zones_intact());
  return status;
}
template <class Real>
int check_qrd(int m, int n, int k, Kind kind, Random& random) {
  SCOPED_TRACE(name(kind));
  Table<Real> A(m + random.integer(0, 1), n + k + 1, random.integer(0, 7));
  fill_matrix(A, m, n + k, kind, random);
  return check_qrd(A, m, n, k);
}

TWIN_TEST(Qrd, EqualsItsStepsWrittenOutForEveryOrderUpToSeventy) {
  Random random(518);
  for (int size = 10; size <= 70; ++size)
    for (int k = 0; k <= 3; ++k) {
      const Kind kind = all_kinds[(size + 2 * k) % 9];
      check_qrd<Real>(size, random.integer(1, size), k, kind, random);
      check_qrd<Real>(random.integer(1, size), size, k, kind, random);
      if (k == size % 4) check_qrd<Real>(size, size, k, Kind::random, random);
      if (testing::Test::HasFailure()) return;
    }
}

// Tables of 64 KiB and about: compact ones, and ones that need more scratch than elements. Larger
// tables are copied into a block.
TWIN_TEST(Qrd, EqualsItsStepsWrittenOutForLargeTables) {
  Random random(519);
  constexpr int most = 65536 / int{sizeof(Real)};
  const Shape small[] = {{most / 64, 63}, {most / 64 + 1, 63}, {64, most / 64 - 1}, {65, most / 64 - 1},
                         {most / 8, 7},   {most / 8 + 1, 7},   {1020, 7},           {1021, 7},
                         {most / 4, 3},   {most / 4 + 1, 3},   {most - 1, 1},       {2, most / 2}};
  for (const Shape s : small) {
    check_qrd<Real>(s.m, s.n, 1, Kind::random, random);
    if (testing::Test::HasFailure()) return;
  }
  // The last ones have few long columns and are worked in place.
  const Shape large[] = {{129, 33},  {33, 129},  {193, 41}, {301, 65},  {65, 301},
                         {70, 257},  {129, 129}, {257, 97}, {150, 150}, {20000, 3},
                         {1027, 25}, {1999, 50}, {5000, 9}};
  int turn = 0;
  for (const Shape s : large)
    for (const Kind kind : {Kind::random, all_kinds[turn % 9]}) {
      check_qrd<Real>(s.m, s.n, ++turn % 4, kind, random);
      if (testing::Test::HasFailure()) return;
    }
}

// The steps end at every place: for tables in the nearest cache, with scratch on the stack and in a
// block, and for few long columns.
TWIN_TEST(Qrd, EqualsItsStepsWrittenOutWhereverTheyEnd) {
  Random random(520);
  for (const Shape s : {Shape{13, 11}, {11, 29}, {40, 33}, {75, 70}, {70, 75}, {180, 120}, {700, 19}}) {
    std::set<int> statuses;
    const int p = std::min(s.m, s.n);
    for (int rank = 1; rank < p; rank += s.m < 50 ? 1 : std::max(1, p / 20))
      for (const bool ends_in_nan : {false, true}) {
        const int k = (rank + ends_in_nan) % 4;
        Table<Real> A(s.m, s.n + k, random.integer(0, 7));
        fill_matrix(A, s.m, s.n + k, Kind::random, random);
        const std::vector<int> places = random_permutation(random, s.n);
        for (int z = rank; z < s.n; ++z)
          for (int i = 0; i < s.m; ++i)
            A.at(i, places[z]) = ends_in_nan && i % 7 == 5 ? nan_of<Real> : Real(0);
        statuses.insert(check_qrd(A, s.m, s.n, k));
        if (testing::Test::HasFailure()) return;
      }
    EXPECT_GT(statuses.size(), s.m < 50 ? 9U : 5U);
  }
}

// -- QR: properties -------------------------------------------------------------------------------

constexpr Kind finite_kinds[] = {Kind::random,  Kind::graded, Kind::dependent, Kind::huge,
                                 Kind::integer, Kind::sparse, Kind::powers};

/// The square of the greatest diagonal element of R over the least. The latter is a norm downdated from
/// the greatest one, so its reflection carries the rounding of that norm, times this.
template <class Real>
double spread(Table<Real>& A, int p) {
  double least = inf_of<double>;
  for (int l = 0; l < p; ++l) least = std::min(least, std::fabs(double(A.slots()[l][l])));
  return std::pow(double(A.slots()[0][0]) / least, 2);
}

// R^T R = (A P)^T A P determines R without Q.
TWIN_TEST(Qrd, FactorHasTheProductsOfTheColumns) {
  Random random(505);
  Largest largest("|R'R - P'A'AP| / (|A|^2 eps n)");
  for (const Shape s : shapes())
    for (const Kind kind : finite_kinds) {
      if (s.m < 1 || s.n < 1) continue;
      Table<Real> A(s.m, s.n);
      fill_matrix(A, s.m, s.n, kind, random);
      Table<Real> old = A;
      std::vector<int> ip(s.n);
      if (M_qrd(A.slots(), s.m, s.n, 0, ip.data()) != M_QRD_OK) continue;
      const int p = std::min(s.m, s.n);
      const auto R = [&](int i, int j) -> long double {
        // the right columns of a wide matrix lack the last reflection, which changes signs
        return s.m < s.n && i == p - 1 && j >= p ? -A.slots()[j][i] : A.slots()[j][i];
      };
      long double sum = 0;
      const double scale = norm(old, s.m, 0, s.n);
      for (int a = 0; a < s.n; ++a)
        for (int b = a; b < s.n; ++b) {
          long double d = 0;
          for (int i = 0; i < s.m; ++i)
            d += static_cast<long double>(old.at(i, ip[a])) * old.at(i, ip[b]);
          for (int i = 0; i <= std::min(a, p - 1); ++i) d -= R(i, a) * R(i, b);
          sum += d * d;
        }
      largest.see(static_cast<double>(std::sqrt(sum) / scale / scale) / (eps_of<Real> * s.n),
                  where(kind, s.m, s.n));
    }
  // Roundings: of each stored element, of a squared norm and of its root. Measured, for one column:
  // 0.75 (f) and 1.8 (d).
  EXPECT_LT(largest.value(), 3);
}

/// Squared distance of b from the span of the columns of A, by projections in long double, twice.
template <class Real>
double squared_distance(Table<Real>& A, int m, int n, int b) {
  std::vector<std::vector<long double>> q;
  for (int c = 0; c <= n; ++c) {
    std::vector<long double> v(m);
    for (int i = 0; i < m; ++i) v[i] = A.at(i, c == n ? b : c);
    for (int twice = 0; twice < 2; ++twice)
      for (const auto& e : q) {
        const long double t = std::inner_product(v.begin(), v.end(), e.begin(), 0.0L);
        for (int i = 0; i < m; ++i) v[i] -= t * e[i];
      }
    const long double square = std::inner_product(v.begin(), v.end(), v.begin(), 0.0L);
    if (c == n) return static_cast<double>(square);
    for (auto& e : v) e /= std::sqrt(square);
    q.push_back(v);
  }
  return 0;
}

TWIN_TEST(Qrd, LeavesTheResidualOfTheLeastSquaresProblemBehindR) {
  auto mean = table<Real>(2, 2, {1, 1, 1, 3});  // the mean is 2, the residuals are 1
  int one[1];
  EXPECT_EQ(M_qrd(mean.slots(), 2, 1, 1, one), M_QRD_OK);
  EXPECT_NEAR(std::fabs(mean.at(1, 1)), std::sqrt(2.0), 4 * eps_of<Real>);

  Random random(506);
  Largest largest("difference of squared residuals / (|b|^2 eps m spread)");
  for (const Shape s : {Shape{2, 1}, {5, 3}, {9, 8}, {9, 2}, {33, 20}, {70, 69}, {140, 9}})
    for (const Kind kind : {Kind::random, Kind::graded, Kind::huge, Kind::integer, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(s.m, s.n + 2);
        fill_matrix(A, s.m, s.n + 2, kind, random);
        Table<Real> old = A;
        std::vector<int> ip(s.n);
        if (M_qrd(A.slots(), s.m, s.n, 2, ip.data()) != M_QRD_OK) continue;
        for (int b = s.n; b < s.n + 2; ++b) {
          double square = 0;
          for (int i = s.n; i < s.m; ++i) square += double(A.at(i, b)) * A.at(i, b);
          const double length = norm(old, s.m, b, b + 1);
          if (length == 0) continue;
          largest.see(std::fabs(square - squared_distance(old, s.m, s.n, b)) / (length * length) /
                          (eps_of<Real> * s.m * spread(A, s.n)),
                      where(kind, s.m, s.n));
        }
      }
  // A reflection whose norm was downdated is orthogonal up to eps spread. Measured: 0.43.
  EXPECT_LT(largest.value(), 1);
}

// == the square solve on it =======================================================================

TWIN_TEST(Qrdeq, RefusesBadSizesAndChangesNothing) {
  for (const int n : {0, -1, INT_MIN}) {
    Table<Real> A(3, 4);
    EXPECT_EQ(M_qrdeq(A.slots(), n, 1), M_QRDEQ_BAD_SIZE) << n;
    EXPECT_TRUE(A.untouched());
  }
}

TWIN_TEST(Qrdeq, SolvesOneEquation) {
  auto A = table<Real>(1, 3, {-4, 8, 2});
  EXPECT_EQ(M_qrdeq(A.slots(), 1, 2), M_QRDEQ_OK);
  EXPECT_EQ(A.at(0, 1), Real(-2));
  EXPECT_EQ(A.at(0, 2), Real(-0.5));
}

TWIN_TEST(Qrdeq, GivesTheUnknownsInTheirOwnOrder) {
  // A x = b for x = (1, 2, 3, 4); the pivots are 8, 4, 2, 1, in columns 2, 0, 3, 1.
  auto A = table<Real>(4, 6, {0, 0, 8, 0, 24, 1,  //
                              4, 0, 0, 0, 4,  1,  //
                              0, 0, 0, 2, 8,  1,  //
                              0, 1, 0, 0, 2,  1});
  EXPECT_EQ(M_qrdeq(A.slots(), 4, 2), M_QRDEQ_OK);
  EXPECT_EQ(std::vector<Real>(A.slots()[4], A.slots()[4] + 4), (std::vector<Real>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<Real>(A.slots()[5], A.slots()[5] + 4),
            (std::vector<Real>{0.25, 1, 0.125, 0.5}));
}

TWIN_TEST(Qrdeq, GivesThePseudoRankAndTransformedRightHandSidesOfASingularMatrix) {
  auto A = table<Real>(3, 4, {8, -4, 4, 1, 0, 4, 4, 2, 0, 0, 0, 3});
  EXPECT_EQ(M_qrdeq(A.slots(), 3, 1), 2);
  EXPECT_EQ(std::vector<Real>(A.slots()[3], A.slots()[3] + 3), (std::vector<Real>{-1, -2, 3}));
  auto zero = table<Real>(2, 3, {0, 0, 5, 0, 0, 6});
  EXPECT_EQ(M_qrdeq(zero.slots(), 2, 1), M_QRDEQ_ZERO);
  EXPECT_EQ(seen(zero, 2, 3), (std::vector<Real>{0, 0, 5, 0, 0, 6}));
  for (int n = 2; n <= 6; ++n)
    for (int rank = 1; rank < n; ++rank) {
      Table<Real> D(n, n + 1);
      D.fill([] { return Real(0); });
      for (int j = 0; j < rank; ++j) D.at(j, n - 1 - j) = static_cast<Real>(j + 1);
      EXPECT_EQ(M_qrdeq(D.slots(), n, 1), rank) << "of order " << n;
    }
}

TWIN_TEST(Qrdeq, EqualsItsStepsWrittenOut) {
  Random random(507);
  std::set<int> statuses;
  for (const int n : orders())
    for (const int k : {0, 1, 3})
      for (const Kind kind : all_kinds)
        for (int times = n <= 9 ? 6 : 1; times > 0; --times) {
          Table<Real> A(n + random.integer(0, 1), n + k + 1, random.integer(0, 7));
          fill_matrix(A, n, n + k, kind, random);
          Plain<Real> want(A);
          const int status = M_qrdeq(A.slots(), n, k);
          ASSERT_EQ(status, plain_qrdeq(want, n, k)) << where(kind, n, n) << ", " << k;
          ASSERT_TRUE(agree(A, want)) << where(kind, n, n) << ", " << k;
          statuses.insert(status);
        }
  for (int status = -2; status <= 5; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

TWIN_TEST(Qrdeq, EqualsItsStepsWrittenOutForEveryOrderUpToSeventyAndLargeOnes) {
  Random random(521);
  std::vector<int> orders = {97, 129, 193};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  for (const int n : orders) {
    const int k = n % 5;
    const Kind kind = n > 70 || n % 2 ? Kind::random : all_kinds[n / 2 % 9];
    Table<Real> A(n + random.integer(0, 1), n + k + 1, random.integer(0, 7));
    fill_matrix(A, n, n + k, kind, random);
    Plain<Real> want(A);
    ASSERT_EQ(M_qrdeq(A.slots(), n, k), plain_qrdeq(want, n, k)) << where(kind, n, n) << ", " << k;
    ASSERT_TRUE(agree(A, want)) << where(kind, n, n) << ", " << k;
  }
}

TWIN_TEST(Qrdeq, SolutionsHaveSmallResiduals) {
  Random random(508);
  Largest largest("|AX - B| / (|A| |X| eps n spread)");
  for (const int n : {1, 2, 3, 5, 9, 20, 33, 70})
    for (const Kind kind : {Kind::random, Kind::graded, Kind::huge, Kind::integer, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(n, n + 3);
        fill_matrix(A, n, n + 3, kind, random);
        Table<Real> old = A;
        if (M_qrdeq(A.slots(), n, 3) != M_QRDEQ_OK) continue;
        const double r =
            residual(old, A.slots() + n, n, 3, [&](int i, int k) { return old.at(i, n + k); });
        const double scale = norm(old, n, 0, n) * norm(A, n, n, n + 3) * eps_of<Real> * n;
        if (scale == 0) continue;
        largest.see(r / scale / spread(A, n), where(kind, n, n));
      }
  // As above: the solve is as good as the last reflection, not as the factor. Measured, for one
  // equation: 0.35 (f) and 1.5 (d).
  EXPECT_LT(largest.value(), 3);
}

}  // namespace

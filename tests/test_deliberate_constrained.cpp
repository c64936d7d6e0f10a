// tests/test_deliberate_constrained.cpp - constrained solvers: behaviour that looks like a mistake and
// is not.
#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/plain_constrained.hpp"
#include "tests/support/problem.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"
#include "tests/support/watchdog.hpp"

namespace {

constexpr std::size_t slot = sizeof(void*);

/// Rows (1, 1) and (1, 2), b = (2, 1): the unconstrained solution is (3, -1). Variable 1 enters first
/// and has to be dropped when variable 0 has entered.
template <class Real>
Table<Real> smallest_example() {
  return rows_of<Real>({{1, 1, 2}, {1, 2, 1}});
}

/// Adds `times` working tables of Ls_it, each of k columns of m elements.
void add_tables(Usage& usage, int times, int m, int k, std::size_t size) {
  usage.calloc.blocks += times * (k + 1);
  usage.calloc.bytes += static_cast<std::size_t>(times) *
                        (static_cast<std::size_t>(k + 1) * slot +
                         static_cast<std::size_t>(k) * static_cast<std::size_t>(m) * size);
}

// -- calls that do not return ------------------------------------------------------------------------

template <class Real>
Ended watch_cnn(Table<Real>& A, int m, int n) {
  Guarded<Real> x(n), r(std::max(m, n)), rn(1);
  return watch(0.3, no_limit, [&] { Ls_cnn(A.slots(), m, n, x.data(), r.data(), rn.data()); });
}

TEST(Deliberate, CnnDoubleTwinDoesNotReturnWhereAVariableHasToBeDropped) {
  auto A = smallest_example<double>();
  EXPECT_EQ(watch_cnn(A, 2, 2), Ended::out_of_time);
  auto zero_column = with_zero_column(A, 2, 2);
  EXPECT_EQ(watch_cnn(zero_column, 2, 3), Ended::out_of_time);
}

TEST(Deliberate, CnnSingleTwinReturnsWhereTheDoubleTwinDoesNot) {
  auto A = smallest_example<float>();
  EXPECT_EQ(watch_cnn(A, 2, 2), Ended::returned);
}

TEST(Deliberate, CnnDoubleTwinLeavesMemoryAtEveryPassUntilARequestIsRefused) {
  // The same two subproblems, of one and of two columns, over and over.
  auto A = smallest_example<double>();
  Usage kept[2];
  for (const int last : {10000, 20000}) {
    Guarded<double> x(2), r(2), rn(1);
    allocation_probe::begin(last);
    const int status = Ls_cnn(A.slots(), 2, 2, x.data(), r.data(), rn.data());
    kept[last / 20000] = allocation_probe::end().kept;
    EXPECT_EQ(status, LS_CNN_NO_MEMORY);
    EXPECT_NEAR(x[0], 0.8, 1e-15);  // of variable 1, which never leaves
    EXPECT_SAME(x[1], 0.0);
  }
  for (const Usage& usage : kept) {
    // 2 s + 3 t blocks for s and t tables of one and of two columns; s = t or s = t + 1.
    const int t = usage.calloc.blocks / 5, s = (usage.calloc.blocks - 3 * t) / 2;
    EXPECT_GT(t, 900);
    EXPECT_LE(s - t, 1);
    Usage tables;
    add_tables(tables, s, 2, 1, sizeof(double));
    add_tables(tables, t, 2, 2, sizeof(double));
    EXPECT_EQ(usage, tables);
  }
  EXPECT_NEAR(kept[1].calloc.blocks, 2 * kept[0].calloc.blocks, 5);
}

TEST(Deliberate, CnnDoubleTwinGivesMinusThreeWhenTheAddressSpaceIsUsedUp) {
  if (!address_space_can_be_limited) GTEST_SKIP() << "a sanitizer needs all of the address space";
  auto A = smallest_example<double>();
  Shared<int> status;
  const Ended ended = watch(30, std::size_t{256} << 20, [&] {
    Guarded<double> x(2), r(2), rn(1);
    *status = Ls_cnn(A.slots(), 2, 2, x.data(), r.data(), rn.data());
  });
  EXPECT_EQ(ended, Ended::returned);
  EXPECT_EQ(*status, LS_CNN_NO_MEMORY);
}

TEST(Deliberate, CnnDoubleTwinReturnsWhereEqualDualsLetAnotherVariableEnter) {
  // The duals are (2, 3, -1), and (1, 0, 1) when variable 1 has entered. Then variable 0 enters, is
  // dropped in place of variable 1 and goes behind variable 2, which enters next.
  auto A = rows_of<double>({{1, 0, 1, 1}, {-1, -3, 2, -1}});
  Table<double> B = A;
  Guarded<double> x(3), r(3), rn(1);
  const plain::Run run = plain::cnn(B.slots(), 2, 3, x.data(), r.data(), rn.data());
  ASSERT_EQ(run.status, LS_CNN_OK);
  EXPECT_EQ(run.drops, 1);
  auto out = nonnegative(A, 2, 3);
  EXPECT_EQ(out.status, LS_CNN_OK);
  EXPECT_SAME(out.x[0], 0.0);
  EXPECT_NEAR(out.x[1], 1, 8 * eps_of<double>);
  EXPECT_NEAR(out.x[2], 1, 8 * eps_of<double>);
}

TEST(Deliberate, CnnSingleTwinDoesNotReturnWhereRoundingLeavesAResidual) {
  // One equation. Variable 1 solves it but for a rounding. Variable 0 should remove the rounding and
  // cannot.
  auto A = rows_of<float>({{40, -0.7, -3}});
  EXPECT_EQ(watch_cnn(A, 1, 2), Ended::out_of_time);
}

TEST(Deliberate, SolversBehindCnnDoNotReturnEither) {
  auto A = smallest_example<double>();
  const double bound[] = {0, 0};
  Guarded<double> x(6), r(6), rn(1);
  EXPECT_EQ(
      watch(0.3, no_limit, [&] { Ls_cge(A.slots(), 2, 2, bound, x.data(), r.data(), rn.data()); }),
      Ended::out_of_time);
  auto B = rows_of<double>({{1, 1, -2}, {1, 2, -1}});
  EXPECT_EQ(
      watch(0.3, no_limit, [&] { Ls_cle(B.slots(), 2, 2, bound, x.data(), r.data(), rn.data()); }),
      Ended::out_of_time);
}

// -- what stays behind a drop ------------------------------------------------------------------------

TEST(Deliberate, CnnSingleTwinReturnsAStaleValueOfAVariableDroppedWhileAllWereFree) {
  auto A = smallest_example<float>();
  auto out = nonnegative(A, 2, 2);
  EXPECT_EQ(out.status, LS_CNN_OK);
  EXPECT_SAME(out.x[0], 1.5F);
  EXPECT_NEAR(out.x[1], 4.0 / 3, 1e-6);  // the answer is 0
  // Residual and norm are those of the answer, (1.5, 0).
  EXPECT_SAME(out.r[0], 0.5F);
  EXPECT_SAME(out.r[1], -0.5F);
  EXPECT_SAME(out.rn[0], 0.5F);
}

TEST(Deliberate, CnnSingleTwinGivesTheAnswerWithAColumnOfZerosAppended) {
  auto A = smallest_example<float>();
  auto B = with_zero_column(A, 2, 2);
  auto out = nonnegative(B, 2, 3);
  EXPECT_EQ(out.status, LS_CNN_OK);
  const float x[] = {1.5F, 0, 0};
  for (int j = 0; j < 3; ++j) EXPECT_SAME(out.x[j], x[j]);
  // Another one, of three variables.
  auto C = rows_of<float>({{1, 0, 1, 5}, {0, 2, 1, 2}, {1, 2, 0, 1}, {1, 2, 1, 6}});
  auto stale = nonnegative(C, 4, 3);
  EXPECT_NEAR(stale.x[1], 0.5, 1e-6);
  auto D = with_zero_column(C, 4, 3);
  auto right = nonnegative(D, 4, 4);
  EXPECT_NEAR(right.x[0], 2, 1e-5);
  EXPECT_SAME(right.x[1], 0.0F);
  EXPECT_NEAR(right.x[2], 3, 1e-5);
}

TEST(Deliberate, CgeAndCleSingleTwinsPassTheStaleValueOnWithStatusZero) {
  for (const float sign : {1.0F, -1.0F}) {  // x >= 0 with b, x <= 0 with -b
    const auto solve = [&](Table<float>& A, int n) {
      const float x0[] = {0, 0, 0};
      return outcome_of(A, 2, n, [&](float** slots, float* x, float* r, float* rn) {
        return sign > 0 ? Ls_cge(slots, 2, n, x0, x, r, rn) : Ls_cle(slots, 2, n, x0, x, r, rn);
      });
    };
    auto A = rows_of<float>({{1, 1, 2 * sign}, {1, 2, sign}});
    auto stale = solve(A, 2);
    EXPECT_EQ(stale.status, LS_CGE_OK);
    EXPECT_SAME(stale.x[0], 1.5F * sign);
    EXPECT_NEAR(stale.x[1], 4.0 / 3 * sign, 1e-6);  // where the answer is 0
    EXPECT_SAME(stale.r[0], 0.5F);                  // the residual of the answer
    EXPECT_SAME(stale.rn[0], 0.5F);

    auto B = with_zero_column(A, 2, 2);
    auto right = solve(B, 3);
    EXPECT_EQ(right.status, LS_CGE_OK);
    EXPECT_SAME(right.x[0], 1.5F * sign);
    EXPECT_EQ(right.x[1], 0.0F);
  }
}

TEST(Deliberate, CnnDropsTheSecondOfTwoZerosOnlyAfterAnotherSubproblem) {
  // Two variables reach zero together. The second moves into the place of the first and is passed over.
  // So there are subproblems of 3, 2 and 1 variables, not of 3 and 1.
  auto A = rows_of<float>({{3, 2, 1, 1}, {0, 0, -2, 0}, {2, 2, 2, 1}});
  std::vector<float*> slots(A.slots(), A.slots() + 4);
  Guarded<float> x(3), r(3), rn(1);
  int status = -9;
  const Account account =
      probe([&] { status = Ls_cnn(slots.data(), 3, 3, x.data(), r.data(), rn.data()); });
  EXPECT_EQ(status, LS_CNN_OK);
  Usage kept;
  for (const int k : {1, 2, 3, 2, 1}) add_tables(kept, 1, 3, k, sizeof(float));
  EXPECT_EQ(account.kept, kept);
}

TWIN_TEST(Deliberate, CnnLeavesTheColumnPointersInTheWorkingOrder) {
  auto A = rows_of<Real>({{1, 0, 0, 1}, {0, 1, 0, 2}, {0, 0, 1, 3}});
  auto out = nonnegative(A, 3, 3);
  EXPECT_EQ(out.order, (std::vector<int>{2, 1, 0, 3}));
  for (int j = 0; j < 3; ++j) EXPECT_SAME(out.x[j], static_cast<Real>(j + 1));  // x is not in it
}

TWIN_TEST(Deliberate, CnnLeavesXInTheWorkingOrderUnlessItReturnsZero) {
  // A pseudo-rank of 2, with the variable of column 2 in front.
  auto A = sizeof(Real) == 4 ? rows_of<Real>({{2, 2, -3, 2}, {1, 1, -2, -3}, {2, 2, -3, -1}})
                             : rows_of<Real>({{1, 0, 2, 1}, {0, 1, -1, -1}, {3e-9, 1, -1, 1}});
  auto out = nonnegative(A, 3, 3);
  EXPECT_EQ(out.status, 2);
  EXPECT_EQ(out.order[0], 2);
  EXPECT_GT(out.x[0], Real(0));
  EXPECT_SAME(out.x[2], Real(0));
}

// -- statuses that are filtered ----------------------------------------------------------------------

TWIN_TEST(Deliberate, CgeTakesTheStatusThatEqualsTheNumberOfUnknownsForSuccess) {
  auto one = rows_of<Real>({{2, -6}});  // status 1 with one unknown
  Guarded<Real> x(2), r(2), rn(1);
  const Real x0[] = {4, 5};
  EXPECT_EQ(Ls_cge(one.slots(), 1, 1, x0, x.data(), r.data(), rn.data()), LS_CGE_OK);
  EXPECT_SAME(x[0], Real(4));
  auto upper = rows_of<Real>({{2, 60}});
  EXPECT_EQ(Ls_cle(upper.slots(), 1, 1, x0, x.data(), r.data(), rn.data()), LS_CGE_OK);
  EXPECT_SAME(x[0], Real(4));

  auto two = rows_of<Real>({{2, 0, -6}, {0, 2, -6}});  // status 1 with two
  EXPECT_EQ(Ls_cge(two.slots(), 2, 2, x0, x.data(), r.data(), rn.data()), LS_CGE_AT_BOUND);
  EXPECT_SAME(x[0], Real(0));  // and not 4
  EXPECT_SAME(x[1], Real(0));
}

/// A table of side k = max(m, n + 1) for Ls_ldp, with its pointers and one more.
template <class Real>
struct Square {
  Square(Table<Real>& G, int m, int n) : k(std::max(m, n + 1)), square(k, k) {
    square.fill([] { return Real(0); });
    for (int j = 0; j <= n; ++j)
      for (int i = 0; i < m; ++i) square.at(i, j) = G.at(i, j);
    slots.assign(square.slots(), square.slots() + k);
    slots.push_back(nullptr);
  }
  int k;
  Table<Real> square;
  std::vector<Real*> slots;
};

TWIN_TEST(Deliberate, LdpLeavesADanglingPointerAtThePositionOfTheRightHandSide) {
  for (const auto& [m, n] : {std::pair{1, 2}, {2, 2}, {3, 2}}) {
    Table<Real> G(m, n + 1);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j <= n; ++j) G.at(i, j) = j == n ? Real(-1) : Real(i + j);
    Square<Real> table(G, m, n);
    const std::vector<Real*> own = table.slots;
    Guarded<Real> x(table.k);
    EXPECT_EQ(Ls_ldp(table.slots.data(), m, n, x.data()), LS_LDP_OK);
    for (int p = 0; p <= table.k; ++p) {
      const auto at = static_cast<std::size_t>(p);
      if (p == m) {
        EXPECT_NE(table.slots[at], own[at]) << m;
        EXPECT_NE(table.slots[at], nullptr) << m;
      } else {
        EXPECT_EQ(table.slots[at], own[at]) << m << ", place " << p;  // no variable has entered
      }
    }
  }
}

TWIN_TEST(Deliberate, LdpPutsNullThereWhenTheColumnIsRefused) {
  auto G = rows_of<Real>({{3, 4, 10}});
  Square<Real> table(G, 1, 2);
  Guarded<Real> x(3);
  allocation_probe::begin(1);
  EXPECT_EQ(Ls_ldp(table.slots.data(), 1, 2, x.data()), LS_LDP_NO_MEMORY);
  allocation_probe::end();
  EXPECT_EQ(table.slots[1], nullptr);
}

TWIN_TEST(Deliberate, LdpGoesOnAfterThePseudoRankOfTheInnerProblem) {
  // x >= 1 and -t x >= t contradict each other. The second column of the inner problem leaves too
  // little beside the first: the status is the pseudo-rank 1, and what the failed pass left is judged.
  const double t = sizeof(Real) == 4 ? 1e-5 : 1e-9;
  auto G = rows_of<Real>({{1, 1}, {-t, t}});
  Guarded<Real> x(2);
  const plain::Run run = plain::ldp(G.slots(), 2, 1, x.data());
  EXPECT_TRUE(run.dependent);
  EXPECT_EQ(run.drops, 0);
  Square<Real> table(G, 2, 1);
  Guarded<Real> y(2);
  EXPECT_EQ(bounded_releasing([&] { return Ls_ldp(table.slots.data(), 2, 1, y.data()); }), LS_LDP_OK);
  EXPECT_NEAR(y[0], 1, 8 * eps_of<Real>);  // as if the second constraint were not there
  for (int j = 0; j < 2; ++j) EXPECT_SAME(y[j], x[j]);
}

TEST(Deliberate, LdpJudgesOneComponentOfTheResidual) {
  // x >= h has the solution h for every h. But 1 / (1 + h^2) is compared with the tolerance.
  for (const double h : {600.0, 800.0}) {
    auto G = rows_of<float>({{1, h}});
    Square<float> table(G, 1, 1);
    Guarded<float> x(2);
    const int status = releasing([&] { return Ls_ldp(table.slots.data(), 1, 1, x.data()); });
    EXPECT_EQ(status, h < 707 ? LS_LDP_OK : LS_LDP_INCOMPATIBLE) << h;
  }
  for (const double h : {6e4, 8e4}) {
    auto G = rows_of<double>({{1, h}});
    Square<double> table(G, 1, 1);
    Guarded<double> x(2);
    const int status = releasing([&] { return Ls_ldp(table.slots.data(), 1, 1, x.data()); });
    EXPECT_EQ(status, h < 70710 ? LS_LDP_OK : LS_LDP_INCOMPATIBLE) << h;
  }
}

TEST(Deliberate, CgrnReportsDistantSolutionsAsIncompatible) {
  // The tolerance compares 1 with the squared distance from the unconstrained solution, in the unit of
  // b.
  auto C = rows_of<float>({{1, 1000}});
  auto A = rows_of<float>({{1, 0}}), scaled = rows_of<float>({{0.001, 0}});
  float x = 0, rn = 0;
  EXPECT_EQ(releasing([&] { return Ls_cgrn(A.slots(), 1, 1, C.slots(), 1, &x, &rn); }),
            LS_CGRN_INCOMPATIBLE);
  EXPECT_EQ(releasing([&] { return Ls_cgrn(scaled.slots(), 1, 1, C.slots(), 1, &x, &rn); }),
            LS_CGRN_OK);
  EXPECT_NEAR(x, 1000, 0.01);
}

// -- solutions far from the unconstrained one ---------------------------------------------------------

/// A = I, b = 0, lo <= x <= hi.
template <class Real>
struct Boxed {
  Boxed(std::vector<Real> lo, std::vector<Real> hi, double unit = 1) : x(lo.size(), Real(-9)) {
    const int n = static_cast<int>(lo.size());
    Table<Real> A(n, n + 1);
    A.fill([] { return Real(0); });
    for (int j = 0; j < n; ++j) A.at(j, j) = static_cast<Real>(unit);
    status = bounded_releasing(
        [&] { return Ls_cint(A.slots(), n, n, lo.data(), hi.data(), x.data(), &rn); });
  }
  std::vector<Real> x;
  Real rn = -9;
  int status;
};

TWIN_TEST(Deliberate, CintRefusesDistantSolutionsUnlessAAndBAreScaled) {
  const Real lo = sizeof(Real) == 4 ? Real(1000) : Real(1e5), hi = 2 * lo;
  Boxed<Real> refused({lo}, {hi});
  EXPECT_EQ(refused.status, LS_CGRN_INCOMPATIBLE);
  EXPECT_SAME(refused.x[0], Real(-9));
  EXPECT_SAME(refused.rn, Real(-9));
  Boxed<Real> scaled({lo}, {hi}, 1 / double(lo));
  EXPECT_EQ(scaled.status, LS_CGRN_OK);
  EXPECT_NEAR(scaled.x[0] / lo, 1, 4 * eps_of<Real>);
  EXPECT_NEAR(scaled.rn, 1, 8 * eps_of<Real>);  // of lo^2
}

TEST(Deliberate, CintLosesAccuracyWithTheSquareOfTheDistance) {
  EXPECT_SAME(Boxed<float>({128}, {256}).x[0], 127.9921875F);
  EXPECT_NEAR(Boxed<float>({700}, {1400}).x[0], 704.92, 0.01);
  EXPECT_NEAR(Boxed<double>({65610}, {131220}).x[0], 65609.938, 1e-3);
}

TWIN_TEST(Deliberate, CintOverlooksASmallViolationOfABoundBesideADistantOne) {
  // x[0] >= far is the greatest violation and sets the distance. A violation below tol (1 + far^2) far
  // is overlooked.
  const double far = sizeof(Real) == 4 ? 100 : 10000, tol = sizeof(Real) == 4 ? 2e-6 : 2e-10;
  const double limit = tol * (1 + far * far) * far;
  const Real high = static_cast<Real>(2 * far), first = static_cast<Real>(far);
  for (const double part : {0.5, 0.95, 1.05, 2.0}) {
    const Real second = static_cast<Real>(part * limit);
    Boxed<Real> box({first, second}, {high, high});
    EXPECT_EQ(box.status, LS_CGRN_OK);
    EXPECT_NEAR(box.x[0], far, 0.002 * far);
    if (part < 1) {
      EXPECT_EQ(box.x[1], Real(0)) << part;
    } else {
      EXPECT_NEAR(box.x[1] / second, 1, 0.002) << part;
    }
  }
  // Bounds that cross by less than that pass; bounds that cross by much more do not. In between
  // rounding decides.
  EXPECT_EQ(Boxed<Real>({first}, {static_cast<Real>(far - 0.95 * limit)}).status, LS_CGRN_OK);
  EXPECT_EQ(Boxed<Real>({first}, {static_cast<Real>(far - 20 * limit)}).status, LS_CGRN_INCOMPATIBLE);
}

TWIN_TEST(Deliberate, LdpOverlooksASmallViolationBesideADistantConstraint) {
  const double far = sizeof(Real) == 4 ? 100 : 10000, tol = sizeof(Real) == 4 ? 2e-6 : 2e-10;
  for (const double part : {0.95, 1.05}) {
    auto G = rows_of<Real>({{1, 0, far}, {0, 1, part * tol * (1 + far * far) * far}});
    Square<Real> table(G, 2, 2);
    Guarded<Real> x(3);
    EXPECT_EQ(bounded_releasing([&] { return Ls_ldp(table.slots.data(), 2, 2, x.data()); }), LS_LDP_OK);
    EXPECT_EQ(x[1] == 0, part < 1) << x[1];
  }
}

TWIN_TEST(Deliberate, SplconvRefusesLargeOrdinatesUnlessTheyAreScaled) {
  // A concave parabola under f'' >= 0: no ordinate is far from a straight line, which has the shape.
  for (double scale = 1; scale < 1e8; scale *= 10) {
    Real x[12], y[12], s[12];
    for (int i = 0; i < 12; ++i) {
      x[i] = static_cast<Real>(i);
      y[i] = static_cast<Real>(scale * (0.01 * i * (11 - i)));
    }
    const int status = bounded_releasing([&] {
      if constexpr (sizeof(Real) == 4)
        return AX_splconvf(1, 0, 12, x, y, 1, x, s, nullptr, nullptr);
      else
        return AX_splconvd(1, 0, 12, x, y, 1, x, s, nullptr, nullptr);
    });
    const int refused = sizeof(Real) == 4 ? LS_CGRN_INCOMPATIBLE : int(AX_SPLCONVD_FAILED);
    EXPECT_EQ(status, scale < (sizeof(Real) == 4 ? 1e4 : 1e6) ? 0 : refused) << scale;
  }
}

// -- the failure codes of the shape-constrained spline -----------------------------------------------

TEST(Deliberate, SplconvSingleTwinPassesStatusesOnAndDoubleTwinHasOneCodeForAll) {
  const float xf[] = {-1, 0, 0, 1, 3}, yf[] = {1, 0, 0, 1, 9};
  const double xd[] = {-1, 0, 0, 1, 3}, yd[] = {1, 0, 0, 1, 9};
  float sf[5];
  double sd[5];
  EXPECT_EQ(AX_splconvf(1, 0, 5, xf, yf, 1, xf, sf, nullptr, nullptr), 4);  // a pseudo-rank
  EXPECT_EQ(AX_splconvd(1, 0, 5, xd, yd, 1, xd, sd, nullptr, nullptr), AX_SPLCONVD_FAILED);
  allocation_probe::begin(1);
  EXPECT_EQ(AX_splconvf(1, 0, 5, xf, yf, 1, xf, sf, nullptr, nullptr), AX_SPLCONVF_NO_MEMORY);
  allocation_probe::end();
  allocation_probe::begin(1);
  EXPECT_EQ(AX_splconvd(1, 0, 5, xd, yd, 1, xd, sd, nullptr, nullptr), AX_SPLCONVD_FAILED);
  allocation_probe::end();
}

TEST(Deliberate, SplconvDoubleTwinDoesNotReturnForDataOfTheOtherShape) {
  std::vector<double> x, y, s(30);
  for (int i = 0; i <= 20; ++i) {
    x.push_back(i / 8.0);
    y.push_back(std::sin(3 * x.back()));
  }
  // Not a rule: with three knots the same data return.
  ASSERT_EQ(plain::splconv<double>(5, 0, x, y, {x[0]}).run.status, plain::never);
  EXPECT_EQ(watch(0.5, no_limit,
                  [&] {
                    AX_splconvd(5, 0, 21, x.data(), y.data(), 1, x.data(), s.data(), nullptr, nullptr);
                  }),
            Ended::out_of_time);
}

}  // namespace

// Forty calls whose status, outputs and memory a reader foretold from the headers alone. Each test
// holds what the headers say at an edge: the first words of its name are the operation.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include "tabfit/tabfit.h"

#include "tests/support/allocation_probe.hpp"
#include "tests/support/watchdog.hpp"

namespace {

/// What every output holds before the call.
constexpr double P = -987654.0;

const Usage nothing;

/// A column table over vectors, given by its columns; the pointers are the table's own.
template <class Real>
struct Columns {
  std::vector<std::vector<Real>> columns;
  std::vector<Real*> pointers;

  Columns(std::initializer_list<std::vector<Real>> from) : columns(from) {
    for (auto& column : columns) pointers.push_back(column.data());
  }
  Real** table() { return pointers.data(); }
  /// The elements where the pointers lead now.
  std::vector<Real> at(int j) {
    return {pointers[std::size_t(j)], pointers[std::size_t(j)] + columns[std::size_t(j)].size()};
  }
};

using D = std::vector<double>;
using F = std::vector<float>;
constexpr float Pf = static_cast<float>(P);

/// The memory that is still allocated after the call.
template <class Call>
Usage kept(Call call) {
  return probe(call).kept;
}

// -- storage and elementary operations ----------------------------------------------------------------

TEST(HeaderPromise, AllocRefusesACapacityBelowTheColumns) {
  double** A = nullptr;
  EXPECT_EQ(kept([&] { A = M_allocd(5, 5, 4); }), nothing);
  EXPECT_EQ(A, nullptr);
}

TEST(HeaderPromise, DeallocWithTheColumnsReleasesATableOfMoreSlots) {
  allocation_probe::begin();
  float** A = M_allocf(3, 2, 4);
  EXPECT_EQ(allocation_probe::live(), from_new_array(3, 4 * sizeof(float*) + 2 * 3 * sizeof(float)));
  M_deallocf(A, 99, 2);
  EXPECT_EQ(allocation_probe::live(), nothing);
  allocation_probe::end();
}

TEST(HeaderPromise, FillrRefusesOneRow) {
  Columns<double> A{{P}, {P}, {P}};
  const D data = {1, 2, 3};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_fillrd(A.table(), data.data(), 1, 3); }), nothing);
  EXPECT_EQ(status, M_FILL_BAD_SIZE);
  EXPECT_EQ(A.columns, (std::vector<D>{{P}, {P}, {P}}));
}

TEST(HeaderPromise, FillsrReadsTheTriangleByRows) {
  Columns<float> T{{Pf}, {Pf, Pf}, {Pf, Pf, Pf}};
  const F data = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(M_fillsrf(T.table(), data.data(), 3), M_FILL_OK);
  EXPECT_EQ(T.columns, (std::vector<F>{{1}, {2, 4}, {3, 5, 6}}));
}

TEST(HeaderPromise, TranspLeavesASingleElementUncopied) {
  Columns<double> A{{7}}, B{{P}};
  EXPECT_EQ(M_transpd(A.table(), 1, 1, B.table()), M_TRANSP_OK);
  EXPECT_EQ(B.columns, (std::vector<D>{{P}}));
}

TEST(HeaderPromise, TranspOfNoRowsWritesNothing) {
  Columns<float> A{{Pf}, {Pf}, {Pf}}, B{{Pf, Pf, Pf}};
  EXPECT_EQ(M_transpf(A.table(), 0, 3, B.table()), M_TRANSP_OK);
  EXPECT_EQ(B.columns, (std::vector<F>{{Pf, Pf, Pf}}));
}

TEST(HeaderPromise, TranMovesABlockAndReleasesItsScratch) {
  F a = {1, 4, 2, 5, 3, 6};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_tranf(a.data(), 2, 3); }), nothing);
  EXPECT_EQ(status, M_TRAN_OK);
  EXPECT_EQ(a, (F{1, 2, 3, 4, 5, 6}));
}

TEST(HeaderPromise, TranRefusesLessThanTwoRowsAndColumns) {
  D a = {P};
  EXPECT_EQ(M_trand(a.data(), 0, 1), M_TRAN_BAD_SIZE);
  EXPECT_EQ(a, D{P});
}

TEST(HeaderPromise, RowsortScattersAndConsumesItsIndex) {
  Columns<double> A{{10, 20, 30}};
  std::vector<int> idx = {2, 0, 1};
  EXPECT_EQ(M_rowsortd(A.table(), 3, 1, idx.data()), M_ROWSORT_OK);
  EXPECT_EQ(A.columns[0], (D{20, 30, 10}));
  EXPECT_EQ(idx, (std::vector<int>{0, 1, 2}));
}

TEST(HeaderPromise, RowsortStopsAtTheFirstMissingIndex) {
  Columns<float> A{{10, 20, 30}};
  std::vector<int> idx = {1, 1, 2};
  EXPECT_EQ(M_rowsortf(A.table(), 3, 1, idx.data()), M_ROWSORT_BAD_INDEX);
  EXPECT_EQ(A.columns[0], (F{10, 20, 30}));
  EXPECT_EQ(idx, (std::vector<int>{1, 1, 2}));
}

TEST(HeaderPromise, ColsortExchangesBackwardsForAMissingIndexAndKeepsItsTags) {
  D a = {10, 20, 30};
  const std::vector<int> idx = {0, 7, 1};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_colsortd(a.data(), 1, 3, idx.data()); }),
            from_malloc(1, 3 * sizeof(int)));
  EXPECT_EQ(status, M_COLSORT_OK);
  EXPECT_EQ(a, (D{20, 30, 10}));
}

TEST(HeaderPromise, ColsortRefusesAMissingFirstIndex) {
  F a = {10, 20, 30};
  const std::vector<int> idx = {5, 0, 1};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_colsortf(a.data(), 1, 3, idx.data()); }), nothing);
  EXPECT_EQ(status, M_COLSORT_BAD_INDEX);
  EXPECT_EQ(a, (F{10, 20, 30}));
}

TEST(HeaderPromise, LminusFlipsTheSignOfAZero) {
  Columns<double> A{{0, 4}, {-3, 5}};
  M_lminusd(A.table(), 2, 0);
  EXPECT_EQ(A.columns, (std::vector<D>{{-0.0, 4}, {3, 5}}));
  EXPECT_TRUE(std::signbit(A.columns[0][0]));
}

// -- products, triangular systems ---------------------------------------------------------------------

TEST(HeaderPromise, MvOverNoColumnsStoresZeros) {
  Columns<double> A{};
  D y(3, P);
  const double x = P;
  M_mvd(A.table(), &x, 3, 0, y.data());
  EXPECT_EQ(y, (D{0, 0, 0}));
}

TEST(HeaderPromise, LtvSubtractsBForANegativeMode) {
  Columns<double> A{{1, 3}, {2, 4}};
  const D x = {1, 1}, b = {10, 20};
  D r(2, P);
  M_ltvd(A.table(), x.data(), b.data(), 2, 2, -3, r.data());
  EXPECT_EQ(r, (D{-7, -13}));
}

TEST(HeaderPromise, MmbOfNoRowsAsksForNoBytesAndWritesNothing) {
  Columns<double> A{{P, P}, {P, P}}, B{{1, 2}, {3, 4}};
  int status = -99;
  const Account account = probe([&] { status = M_mmbd(A.table(), B.table(), 0, 2, 2); });
  EXPECT_EQ(status, M_INPLACE_OK);
  EXPECT_EQ(account.taken, from_malloc(1, 0));
  EXPECT_EQ(account.kept, nothing);
  EXPECT_EQ(B.columns, (std::vector<D>{{1, 2}, {3, 4}}));
}

TEST(HeaderPromise, MmtbRefusesTwoEmptySizes) {
  Columns<float> A{{1, 2}, {3, 4}}, B{{1, 2}, {3, 4}};
  EXPECT_EQ(M_mmtbf(A.table(), B.table(), 2, 0, 0), M_INPLACE_BAD_SIZE);
  EXPECT_EQ(B.columns, (std::vector<F>{{1, 2}, {3, 4}}));
}

TEST(HeaderPromise, UuuReturnsOneAfterSuccess) {
  Columns<double> U1{{1}, {2, 3}}, U2{{4}, {5, 6}};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_uuud(U1.table(), U2.table(), 2); }), nothing);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(U2.columns, (std::vector<D>{{4}, {17, 18}}));
}

TEST(HeaderPromise, TinvNamesTheZeroAndInvertsTheDiagonalBeforeIt) {
  Columns<double> T{{2, P, P}, {1, 4, P}, {1, 1, 0}};
  EXPECT_EQ(M_tinvd(T.table(), 3), 3);
  EXPECT_EQ(T.columns, (std::vector<D>{{0.5, P, P}, {1, 0.25, P}, {1, 1, 0}}));
}

TEST(HeaderPromise, InvtDividesByAZeroWithoutAWord) {
  Columns<double> U{{1}, {1, 0}}, B{{1, 2}};
  M_invtd(U.table(), B.table(), 2, 1);
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(B.columns[0], (D{-infinity, infinity}));
}

// -- decompositions -----------------------------------------------------------------------------------

TEST(HeaderPromise, QrdOfZeroFillsTheIdentityAndChangesNothing) {
  Columns<double> A{{0, 0}, {0, 0}};
  std::vector<int> ip = {-9, -9};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_qrdd(A.table(), 2, 2, 0, ip.data()); }), nothing);
  EXPECT_EQ(status, M_QRD_ZERO);
  EXPECT_EQ(ip, (std::vector<int>{0, 1}));
  EXPECT_EQ(A.columns, (std::vector<D>{{0, 0}, {0, 0}}));
  EXPECT_EQ(A.pointers, (std::vector<double*>{A.columns[0].data(), A.columns[1].data()}));
}

TEST(HeaderPromise, QrdeqNamesThePseudoRankOfASingularMatrix) {
  Columns<double> A{{1, 2}, {2, 4}, {1, 2}};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_qrdeqd(A.table(), 2, 1); }), nothing);
  EXPECT_EQ(status, 1);
}

TEST(HeaderPromise, InvGJExchangesPointersAndKeepsItsIndices) {
  Columns<double> A{{0, 1}, {1, 0}};
  double det = P;
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_invGJd(A.table(), 2, &det); }), from_calloc(2, 4 * sizeof(int)));
  EXPECT_EQ(status, M_INVGJ_OK);
  EXPECT_EQ(det, -1);
  EXPECT_EQ(A.at(0), (D{0, 1}));
  EXPECT_EQ(A.at(1), (D{1, 0}));
}

TEST(HeaderPromise, InvGJOfNoOrderLeavesTheDeterminant) {
  double det = P;
  float** none = nullptr;
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_invGJf(none, 0, &det); }), nothing);
  EXPECT_EQ(status, M_INVGJ_BAD_SIZE);
  EXPECT_EQ(det, P);
}

TEST(HeaderPromise, CholDoubleTwinDividesByThePivotItself) {
  Columns<double> S{{4}, {2, 5}}, U{{P}, {P, P}};
  EXPECT_EQ(M_chold(S.table(), 2, U.table()), M_CHOL_OK);
  EXPECT_EQ(U.columns, (std::vector<D>{{2}, {0.5, std::sqrt(4.75)}}));
}

TEST(HeaderPromise, CholDoubleTwinAcceptsASingularMatrix) {
  Columns<double> S{{4}, {2, 1}}, U{{P}, {P, P}};
  EXPECT_EQ(M_chold(S.table(), 2, U.table()), M_CHOL_OK);
  EXPECT_EQ(U.columns, (std::vector<D>{{2}, {0.5, std::sqrt(0.75)}}));
}

TEST(HeaderPromise, CholSingleTwinRefusesASingularMatrix) {
  Columns<float> S{{4}, {2, 1}}, U{{Pf}, {Pf, Pf}};
  EXPECT_EQ(M_cholf(S.table(), 2, U.table()), 2);
  EXPECT_EQ(U.columns, (std::vector<F>{{2}, {1, Pf}}));
}

TEST(HeaderPromise, InvsRefusesOrderOne) {
  Columns<double> S{{4}}, U{{P}};
  int status = -99;
  EXPECT_EQ(kept([&] { status = M_invsd(S.table(), 1, U.table()); }), nothing);
  EXPECT_EQ(status, M_CHOL_BAD_SIZE);
  EXPECT_EQ(S.columns, (std::vector<D>{{4}}));
  EXPECT_EQ(U.columns, (std::vector<D>{{P}}));
}

// -- least squares: calls of constrained solvers run in a child with a limit --------------------------

TEST(HeaderPromise, LsWithFewerRowsGivesABasicSolution) {
  Columns<double> A{{0}, {2}, {6, P}};
  double rn = P;
  int status = -99;
  EXPECT_EQ(kept([&] { status = Ls_d(A.table(), 1, 2, &rn); }), nothing);
  EXPECT_EQ(status, LS_OK);
  EXPECT_EQ(A.columns[2], (D{0, 3}));
  EXPECT_EQ(rn, 0);
}

TEST(HeaderPromise, LsItKeepsItsDataAndLeavesItsWorkingTable) {
  Columns<double> A{{3, 4}, {3, 4}};
  D x(1, P), r(2, P);
  double rn = P;
  int iter = -99, status = -99;
  EXPECT_EQ(kept([&] { status = Ls_itd(A.table(), 2, 1, x.data(), r.data(), &rn, &iter); }),
            from_calloc(2, 2 * sizeof(double*) + 2 * sizeof(double)));
  EXPECT_EQ(status, LS_OK);
  EXPECT_EQ(iter, 1);
  EXPECT_NEAR(x[0], 1, 1e-15);
  EXPECT_NEAR(r[0], 0, 1e-14);
  EXPECT_NEAR(r[1], 0, 1e-14);
  EXPECT_EQ(A.columns, (std::vector<D>{{3, 4}, {3, 4}}));
}

TEST(HeaderPromise, CnnReportsTheZeroSolution) {
  expect_return(10, [] {
    Columns<float> A{{1, 0}, {-1, 2}};
    F x(1, Pf), r(2, Pf);
    float rn = Pf;
    int status = -99;
    EXPECT_EQ(kept([&] { status = Ls_cnnf(A.table(), 2, 1, x.data(), r.data(), &rn); }), nothing);
    EXPECT_EQ(status, LS_CNN_ZERO);
    EXPECT_EQ(x, F{0});
    EXPECT_EQ(r, (F{-1, 2}));
    EXPECT_EQ(rn, 5);
  });
}

TEST(HeaderPromise, CgeOfOneUnknownTakesTheBoundForSuccess) {
  expect_return(10, [] {
    Columns<double> A{{1, 0}, {1, 2}};
    const D x0 = {5};
    D x(1, P), r(2, P);
    double rn = P;
    int status = -99;
    EXPECT_EQ(kept([&] { status = Ls_cged(A.table(), 2, 1, x0.data(), x.data(), r.data(), &rn); }),
              nothing);
    EXPECT_EQ(status, LS_CGE_OK);
    EXPECT_EQ(x, D{5});
    EXPECT_EQ(r, (D{-4, 2}));
    EXPECT_EQ(rn, 20);
  });
}

TEST(HeaderPromise, CgeOfTwoUnknownsAtTheBoundHoldsZero) {
  expect_return(10, [] {
    Columns<float> A{{1, 0}, {0, 1}, {0, 0}};
    const F x0 = {1, 1};
    F x(2, Pf), r(2, Pf);
    float rn = Pf;
    EXPECT_EQ(Ls_cgef(A.table(), 2, 2, x0.data(), x.data(), r.data(), &rn), LS_CGE_AT_BOUND);
    EXPECT_EQ(x, (F{0, 0}));
    EXPECT_EQ(r, (F{-1, -1}));
    EXPECT_EQ(rn, 2);
  });
}

TEST(HeaderPromise, LdpWhoseOriginIsFeasibleGivesTheOrigin) {
  expect_return(10, [] {
    Columns<double> G{{1, P}, {-3, P}, {P, P}};
    D x(2, P);
    int status = -99;
    EXPECT_EQ(kept([&] { status = Ls_ldpd(G.table(), 1, 1, x.data()); }), nothing);
    EXPECT_EQ(status, LS_LDP_OK);
    EXPECT_EQ(x, (D{0, 0}));
  });
}

TEST(HeaderPromise, CintCallsADistantSolutionIncompatible) {
  expect_return(10, [] {
    Columns<float> A{{1}, {0}};
    const F lo = {1000}, hi = {2000};
    F x(1, Pf);
    float rn = Pf;
    int status = -99;
    EXPECT_EQ(kept([&] { status = Ls_cintf(A.table(), 1, 1, lo.data(), hi.data(), x.data(), &rn); }),
              from_calloc(2, 2 * sizeof(float*) + 2 * sizeof(float)));
    EXPECT_EQ(status, LS_CGRN_INCOMPATIBLE);
    EXPECT_EQ(x, F{Pf});
    EXPECT_EQ(rn, Pf);
  });
}

// -- tables and fits ----------------------------------------------------------------------------------

TEST(HeaderPromise, LinttabStopsAtTheFirstPointOutside) {
  const F x = {0, 1, 2}, y = {0, 10, 40}, t = {0.5F, 2, 2.5F, 1};
  F out(4, Pf);
  EXPECT_EQ(AX_linttabf(3, x.data(), y.data(), 4, t.data(), out.data()), AX_LINTTAB_NO_INTERVAL);
  EXPECT_EQ(out, (F{5, 40, Pf, Pf}));
}

TEST(HeaderPromise, Intspl3RefusesEqualNodesAndKeepsTheOrdinates) {
  const D x = {0, 1, 1};
  D C(12, P);
  C[0] = 1, C[1] = 2, C[2] = 3;
  EXPECT_EQ(AX_intspl3d(x.data(), C.data(), 3), AX_INTSPL3_BAD_NODES);
  EXPECT_EQ((D{C[0], C[1], C[2]}), (D{1, 2, 3}));
}

TEST(HeaderPromise, ApxcoefRefusesEqualAbscissaeAndKeepsNothing) {
  double** T = AX_d2fcsd(1);
  const D x = {0, 1, 1, 2, 3}, y(5, 1.0);
  D a(7, P);
  int status = -99;
  EXPECT_EQ(kept([&] { status = AX_apxcoefd(T, 1, 5, x.data(), y.data(), a.data()); }), nothing);
  EXPECT_EQ(status, AX_APXCOEF_BAD_ABSCISSAE);
  EXPECT_EQ(a, D(7, P));
  AX_freed2fcsd(T);
}

TEST(HeaderPromise, ApxvalsDoubleTwinRepeatsThePointBeforeARefusedOne) {
  double** T = AX_d2fcsd(1);
  const D a = {0, 7, 7, 7, 0, 1, 1}, v = {1, 99, 0};
  D s(3, P);
  EXPECT_EQ(AX_apxvalsd(T, 1, a.data(), 3, v.data(), s.data(), nullptr, nullptr), AX_APXVALS_OK);
  EXPECT_NEAR(s[0], 7, 1e-14);
  EXPECT_EQ(s[1], s[0]);
  EXPECT_NEAR(s[2], 7, 1e-14);
  AX_freed2fcsd(T);
}

TEST(HeaderPromise, PolyapxWithoutOutputsMapsXBackAndLeavesVMapped) {
  D x = {0, 1, 2}, v = {1.5};
  const D y = {0, 1, 4};
  int status = -99;
  EXPECT_EQ(kept([&] {
              status = AX_polyapxd(2, 3, x.data(), y.data(), 1, v.data(), nullptr, nullptr, nullptr);
            }),
            nothing);
  EXPECT_EQ(status, AX_POLAPXVAL_NO_OUTPUT);
  EXPECT_EQ(x, (D{0, 1, 2}));
  EXPECT_EQ(v, D{0.5});
}

}  // namespace

// tests/test_stack.cpp - how much of the stack the matrix operations take.
#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/stack.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

/// Operands of order n, for every operation.
template <class Real>
struct Operands {
  explicit Operands(int n) : A(n, 2 * n), B(n, 2 * n), C(n, 2 * n), U(n, n), x(n), y(n), ip(n) {
    Random random(static_cast<std::uint64_t>(n));
    for (Table<Real>* table : {&A, &B, &C, &U}) {
      table->fill([&] { return static_cast<Real>(random.real(-1, 1) / n); });
      for (int j = 0; j < n; ++j) table->at(j, j) = 1;
    }
    for (int i = 0; i < n; ++i) ip[i] = n - 1 - i;
    block.assign(static_cast<std::size_t>(n) * n, Real(1));
  }
  Table<Real> A, B, C, U;
  std::vector<Real> x, y, block;
  std::vector<int> ip;
  double det = 0;
};

template <class Real>
using Call = std::function<void(Operands<Real>&, int)>;

constexpr int cholesky_kib = 330, product_kib = 300, inverse_kib = 210, qr_kib = 110, other_kib = 16;

#define CALL(expression)                                           \
  {                                                                \
#expression, [](Operands<Real>& o, int n) { (void)n; expression; } \
  }

template <class Real>
std::map<int, std::vector<std::pair<std::string, Call<Real>>>> calls() {
  return {
      {cholesky_kib,
       {CALL(M_invutm(o.U.slots(), o.B.slots(), n, n)), CALL(M_chol(o.U.slots(), n, o.C.slots())),
        CALL(M_choleq(o.U.slots(), o.B.slots(), n, n, o.C.slots())),
        CALL(M_cholinv(o.U.slots(), n, o.C.slots(), o.B.slots())),
        CALL(M_invs(o.U.slots(), n, o.C.slots()))}},
      {product_kib,
       {CALL(M_mv(o.A.slots(), o.x.data(), n, n, o.y.data())),
        CALL(M_mtv(o.A.slots(), o.x.data(), n, n, o.y.data())),
        CALL(M_smv(o.U.slots(), o.x.data(), n, o.y.data())),
        CALL(M_ltv(o.A.slots(), o.x.data(), o.x.data(), n, n, 0, o.y.data())),
        CALL(M_mm(o.A.slots(), o.B.slots(), n, n, n, o.C.slots())),
        CALL(M_mmb(o.A.slots(), o.B.slots(), n, n, n)),
        CALL(M_mtm(o.A.slots(), o.B.slots(), n, n, n, o.C.slots())),
        CALL(M_mtmb(o.A.slots(), o.B.slots(), n, n, n)),
        CALL(M_mmt(o.A.slots(), o.B.slots(), n, n, n, o.C.slots())),
        CALL(M_mmtb(o.A.slots(), o.B.slots(), n, n, n)),
        CALL(M_mmts(o.A.slots(), n, n, o.C.slots())),
        CALL(M_mtms(o.A.slots(), n, n, o.C.slots())),
        CALL(M_smm(o.U.slots(), o.B.slots(), n, n, o.C.slots())),
        CALL(M_smma(o.U.slots(), o.B.slots(), n, n)),
        CALL(M_msm(o.A.slots(), o.U.slots(), n, n, o.C.slots())),
        CALL(M_smtm(o.U.slots(), o.B.slots(), n, n, o.C.slots())),
        CALL(M_smtma(o.U.slots(), o.B.slots(), n, n)),
        CALL(M_tmsm(o.A.slots(), o.U.slots(), n, n, o.C.slots())),
        CALL(M_smsm(o.U.slots(), o.A.slots(), n, o.C.slots())),
        CALL(M_uu(o.U.slots(), o.A.slots(), n, o.C.slots())),
        CALL(M_uuu(o.U.slots(), o.A.slots(), n)),
        CALL(M_utu(o.U.slots(), n, o.C.slots())),
        CALL(M_utuu(o.U.slots(), n)),
        CALL(M_uut(o.U.slots(), n, o.C.slots())),
        CALL(M_uutu(o.U.slots(), n)),
        CALL(M_um(o.U.slots(), o.B.slots(), n, n, o.C.slots())),
        CALL(M_uma(o.U.slots(), o.B.slots(), n, n)),
        CALL(M_utm(o.U.slots(), o.B.slots(), n, n, o.C.slots())),
        CALL(M_utma(o.U.slots(), o.B.slots(), n, n)),
        CALL(M_mu(o.A.slots(), o.U.slots(), n, n, o.C.slots())),
        CALL(M_mut(o.A.slots(), o.U.slots(), n, n, o.C.slots())),
        CALL(M_mtu(o.A.slots(), o.U.slots(), n, n, o.C.slots()))}},
      {inverse_kib,
       {CALL(M_invt(o.U.slots(), o.B.slots(), n, n)), CALL(M_invuu(o.U.slots(), o.B.slots(), n)),
        CALL(M_invu(o.U.slots(), o.C.slots(), n)), CALL(M_tinv(o.U.slots(), n)),
        CALL(M_qrdeq(o.A.slots(), n, n))}},
      {qr_kib, {CALL(M_qrd(o.A.slots(), n, n, n, o.ip.data()))}},
      {other_kib,
       {CALL(M_fillr(o.A.slots(), o.block.data(), n, n)),
        CALL(M_transp(o.A.slots(), n, n, o.C.slots())), CALL(M_transpa(o.A.slots(), n, n)),
        CALL(M_tran(o.block.data(), n, n)), CALL(M_rowsort(o.A.slots(), n, n, o.ip.data())),
        CALL(M_colsort(o.block.data(), n, n, o.ip.data())), CALL(M_invGJ(o.A.slots(), n, &o.det))}},
  };
}
#undef CALL

TWIN_TEST(Stack, OfMatrixOperationsIsNoMoreThanTheirHeaderSays) {
#ifndef NDEBUG
  GTEST_SKIP() << "frames are larger without optimisation, and with sanitizers";
#endif
  for (const auto& [most, group] : calls<Real>())
    for (const auto& [text, call] : group) {
      std::size_t taken = 0;
      for (const int n : {3, 8, 24, 60, 130, 300}) {
        Operands<Real> operands(n);
        taken = std::max(taken, stack_taken_by([&, &call = call] { call(operands, n); }));
      }
      EXPECT_LE(taken, static_cast<std::size_t>(most) * 1024) << text;
    }
}

}  // namespace

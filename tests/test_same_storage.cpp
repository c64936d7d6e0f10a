// tests/test_same_storage.cpp - matrix operations whose result takes the place of an argument, where
// that is allowed.
#include <vector>

#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

/// n by n elements of any kind.
template <class Real>
Table<Real> full(Random& random, int n) {
  Table<Real> A(n, n);
  A.fill_any(random);
  return A;
}

TWIN_TEST(Copies, MayGoIntoTheirOwnTable) {
  Random random(121);
  for (int n = 1; n <= 12; ++n) {
    const auto check = [&](auto copy, const char* name) {
      auto A = full<Real>(random, n), from = A, B = A;
      copy(from.slots(), B.slots());
      copy(A.slots(), A.slots());
      EXPECT_TABLE(A, B) << name << " of order " << n;
    };
    check([&](auto S, auto T) { M_copss(S, T, n); }, "M_copss");
    check([&](auto S, auto B) { M_copsr(S, B, n); }, "M_copsr");
    check([&](auto U, auto B) { M_coptr(U, B, n); }, "M_coptr");
  }
}

TWIN_TEST(Products, MayReadOneMatrixTwice) {
  Random random(122);
  for (const int n : {1, 3, 9, 40}) {
    Table<Real> A(n, n), C(n, n), D(n, n);
    A.fill([&] { return static_cast<Real>(random.real(-1, 1)); });
    auto B = A;
    M_mtm(A.slots(), B.slots(), n, n, n, C.slots());
    M_mtm(A.slots(), A.slots(), n, n, n, D.slots());
    EXPECT_TABLE(C, D) << "M_mtm of order " << n;
    M_smsm(A.slots(), B.slots(), n, C.slots());
    M_smsm(A.slots(), A.slots(), n, D.slots());
    EXPECT_TABLE(C, D) << "M_smsm of order " << n;
  }
}

TWIN_TEST(Choleq, AndCholinvMayFactorInPlace) {
  Random random(123);
  for (const int n : {2, 5, 30}) {
    auto S = Table<Real>::triangle(n);
    S.fill([&] { return static_cast<Real>(random.real(-1, 1) / n); });
    for (int j = 0; j < n; ++j) S.at(j, j) = 1;
    auto U = S, T = S, X = S, Y = S;
    Table<Real> B(n, 2);
    B.fill([&] { return static_cast<Real>(random.real(-1, 1)); });
    auto C = B;
    auto old = S;
    ASSERT_EQ(M_choleq(S.slots(), B.slots(), n, 2, U.slots()), M_CHOL_OK);
    ASSERT_EQ(M_choleq(T.slots(), C.slots(), n, 2, T.slots()), M_CHOL_OK);
    EXPECT_TABLE(B, C) << n;
    EXPECT_TABLE(U, T) << n;
    EXPECT_TABLE(S, old) << n;
    ASSERT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), M_CHOL_OK);
    ASSERT_EQ(M_cholinv(S.slots(), n, S.slots(), Y.slots()), M_CHOL_OK);
    EXPECT_TABLE(X, Y) << n;
    EXPECT_TABLE(U, S) << n;
  }
}

TWIN_TEST(Cholinv, MayPutTheInverseInThePlaceOfTheMatrix) {
  Random random(102);
  for (int n = 2; n <= 30; ++n) {
    auto S = Table<Real>::triangle(n), U = S, X = S;
    S.fill([&] { return static_cast<Real>(random.real(-1, 1) / n); });
    for (int j = 0; j < n; ++j) S.at(j, j) = 1;
    ASSERT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), M_CHOL_OK);
    ASSERT_EQ(M_cholinv(S.slots(), n, U.slots(), S.slots()), M_CHOL_OK);
    ASSERT_TABLE(S, X) << n;
  }
}

}  // namespace

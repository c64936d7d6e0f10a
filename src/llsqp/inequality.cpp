// llsqp/inequality.cpp - least squares with bounds on one side, and least distance under inequalities.
//
// All three are non-negative problems: in the distance from the bound, or in the multipliers.
#include "tabfit/least_squares.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"

#include "matrix1/products.hpp"
#include "matrix1/transpose.hpp"

#include "llsqp/inequality.hpp"
#include "llsqp/nonnegative.hpp"

namespace tabfit {
namespace {

/// Minimises |A y - d| subject to y >= 0, then x := x0 op y. M_ltv forms d from A x0 and b by `mode`.
template <class Real>
int from_bound(Real** A, int m, int n, const Real* x0, Real* x, Real* r, Real* rn, int mode,
               char op) noexcept {
  if (m < 1 || n < 1) return LS_CGE_BAD_SIZE;
  const CArray<Real> d = c_array<Real>(m);
  if (!d) return LS_CGE_NO_MEMORY;
  M_ltv(A, x0, A[n], m, n, mode, d.get());
  Real* column = d.get();
  P_swap(A + n, &column);
  const int status = Ls_cnn(A, m, n, x, r, rn);
  P_swap(A + n, &column);
  // Deliberate: the status n passes for success. So with one unknown status 1 gives x = x0; with more,
  // status 1 comes back and leaves x at 0, although x0 is the solution.
  if (status != LS_CNN_OK && status != n) return status;
  V_op(x0, x, x, n, op);
  return LS_CGE_OK;
}

template <class Real>
int Ls_cge(Real** A, int m, int n, const Real* x0, Real* x, Real* r, Real* rn) noexcept {
  return from_bound(A, m, n, x0, x, r, rn, 2, '+');  // d = b - A x0, x = x0 + y
}

template <class Real>
int Ls_cle(Real** A, int m, int n, const Real* x0, Real* x, Real* r, Real* rn) noexcept {
  return from_bound(A, m, n, x0, x, r, rn, 1, '-');  // d = A x0 - b, x = x0 - y
}

}  // namespace

// With E the transposed table, G^T over h^T, and u >= 0 the minimiser of |E u - e(n)|, the residual
// s = e(n) - E u gives x = -s(0..n-1) / s(n).
template <class Real>
int Ls_ldp(Real** G, int m, int n, Real* x) noexcept {
  if (m < 1 || n < 1) return LS_LDP_BAD_SIZE;
  M_transpa(G, m, n + 1);
  const CArray<Real> e = c_array<Real>(std::ptrdiff_t(n) + 1);
  // Deliberate: the pointer stays in the table after e is released: G[m] must not be used any more.
  G[m] = e.get();
  if (!e) return LS_LDP_NO_MEMORY;
  const CArray<Real> u = c_array<Real>(m);
  if (!u) return LS_LDP_NO_MEMORY;
  e[n] = 1;
  Real squared_norm;
  const int status = Ls_cnn(G, n + 1, m, u.get(), x, &squared_norm);
  // Deliberate: a positive status, a pseudo-rank included, goes on to the test below: constraints that
  // nearly depend on each other may come back as solved though they are not.
  if (status < 0) return status;

  // Deliberate: one component, not the norm: a solution longer than about 707 (f) or 70,710 (d) is
  // reported as incompatible.
  const double q = x[n];
  if (!(q >= Tolerance<Real>::dual)) return LS_LDP_INCOMPATIBLE;  // NaN too
  for (int j = 0; j < n; ++j) x[j] = store<Real>(x[j] / -q);
  x[n] = store<Real>(V_sumsq(x, n));
  return LS_LDP_OK;
}

template int Ls_ldp(float**, int, int, float*) noexcept;
template int Ls_ldp(double**, int, int, double*) noexcept;

}  // namespace tabfit

extern "C" {

int Ls_cgef(float** A, int m, int n, const float* x0, float* x, float* r, float* rn) noexcept {
  return tabfit::Ls_cge(A, m, n, x0, x, r, rn);
}
int Ls_cged(double** A, int m, int n, const double* x0, double* x, double* r, double* rn) noexcept {
  return tabfit::Ls_cge(A, m, n, x0, x, r, rn);
}

int Ls_clef(float** A, int m, int n, const float* x0, float* x, float* r, float* rn) noexcept {
  return tabfit::Ls_cle(A, m, n, x0, x, r, rn);
}
int Ls_cled(double** A, int m, int n, const double* x0, double* x, double* r, double* rn) noexcept {
  return tabfit::Ls_cle(A, m, n, x0, x, r, rn);
}

int Ls_ldpf(float** G, int m, int n, float* x) noexcept { return tabfit::Ls_ldp(G, m, n, x); }
int Ls_ldpd(double** G, int m, int n, double* x) noexcept { return tabfit::Ls_ldp(G, m, n, x); }

}  // extern "C"

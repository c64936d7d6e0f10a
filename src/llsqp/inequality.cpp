// llsqp/inequality.cpp - least squares with lower or upper bounds, and least distance under inequalities.
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

/// Solves in y >= 0 with the right-hand side that M_ltv's `mode` forms of A x0 and b, then
/// x := x0 y by `op`.
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
  // Deliberate: n passes for success, which makes status 1 of a single unknown the bound itself. With
  // more unknowns status 1 leaves x at 0. Callers handle both.
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
  // Deliberate: the pointer stays there when the column is gone. Callers release their own only.
  G[m] = e.get();
  if (!e) return LS_LDP_NO_MEMORY;
  const CArray<Real> u = c_array<Real>(m);
  if (!u) return LS_LDP_NO_MEMORY;
  e[n] = 1;
  Real squared_norm;
  const int status = Ls_cnn(G, n + 1, m, u.get(), x, &squared_norm);
  // Deliberate: a positive status, a pseudo-rank too, goes on to the test below. Callers rely on 0 and 1
  // being all that remains.
  if (status < 0) return status;

  const double q = x[n];  // Deliberate: one component, not the norm. The scale of eps is that of h.
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

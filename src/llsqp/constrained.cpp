// llsqp/constrained.cpp - least squares under interval bounds and under general linear inequalities.
//
// With A P = Q R, c1 and c2 the parts of Q^T b, and K = P R^-1, the substitution x = K (y + c1) turns
// |A x - b|^2 into |y|^2 + |c2|^2: what remains is a least-distance problem in y.
#include "tabfit/least_squares.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"

#include "matrix1/elementary.hpp"
#include "matrix1/products.hpp"
#include "matrix1/storage.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix2/qr.hpp"

#include "llsqp/constrained.hpp"
#include "llsqp/inequality.hpp"

#include <algorithm>

namespace tabfit {
namespace {

/// Columns 0..n-1 of A := K, column n := c1 over c2. The status is that of M_qrd.
template <class Real>
int substitute(Real** A, int m, int n) noexcept {
  const CArray<int> ip = c_array<int>(n);
  if (!ip) return LS_CGRN_NO_MEMORY;
  const int status = M_qrd(A, m, n, 1, ip.get());
  if (status != LS_CGRN_OK) return status;
  M_tinv(A, n);
  M_rowsort(A, n, n, ip.get());
  return LS_CGRN_OK;
}

/// Solves for x under `rows` constraints G y >= h, which fill(table) writes into columns 0..n-1 and n.
///
/// Shape: the solver transposes the table in place. So its columns hold side = max(rows, n + 1)
///        elements, and it has side + 1 pointers. y has one element more than the solution and its
///        norm need: the solver may try n + 2 free variables on n + 1 rows, and keeps them all in y.
template <class Real, class Fill>
int solve(Real** A, int m, int n, int rows, Real* x, Real* rn, Fill fill) noexcept {
  const int status = substitute(A, m, n);
  if (status != LS_CGRN_OK) return status;

  const std::ptrdiff_t side = std::max<std::ptrdiff_t>(rows, std::ptrdiff_t(n) + 1);
  CArray<Real*> table = c_array<Real*>(side + 1);
  CArray<Real> block = c_array<Real>(table ? side * (side + 1) : -1);
  if (!block) return LS_CGRN_NO_MEMORY;
  M_storec(block.get(), int(side), int(side) + 1, table.get());
  fill(table.get());

  const CArray<Real> y = c_array<Real>(std::ptrdiff_t(n) + 2);
  if (!y) return LS_CGRN_NO_MEMORY;
  const int found = Ls_ldp(table.get(), rows, n, y.get());
  block.reset();
  table.reset();
  if (found != LS_LDP_OK) return found == LS_LDP_INCOMPATIBLE ? LS_CGRN_INCOMPATIBLE : found;

  const Real* c = A[n];
  *rn = y[n];
  if (n < m) *rn = store<Real>(*rn + V_sumsq(c + n, m - n));
  V_op(y.get(), c, y.get(), n, '+');
  M_mv(A, y.get(), n, n, x);
  return LS_CGRN_OK;
}

template <class Real>
int Ls_cint(Real** A, int m, int n, const Real* lo, const Real* hi, Real* x, Real* rn) noexcept {
  if (n < 1 || n > m) return LS_CGRN_BAD_SIZE;
  return solve(A, m, n, 2 * n, x, rn, [=](Real* const* G) {
    for (int j = 0; j < n; ++j) {  // K over -K
      V_copy(A[j], G[j], n);
      V_copy(A[j], G[j] + n, n);
      V_neg(G[j] + n, n);
    }
    Real *lower = G[n], *upper = lower + n;
    M_mv(A, A[n], n, n, lower);      // K c1
    V_op(lower, hi, upper, n, '-');  // K c1 - hi
    V_op(lo, lower, lower, n, '-');  // lo - K c1
  });
}

}  // namespace

template <class Real>
int Ls_cgrn(Real** A, int m, int n, Real* const* C, int mc, Real* x, Real* rn) noexcept {
  if (mc < 1 || n < 1 || n > m) return LS_CGRN_BAD_SIZE;
  return solve(A, m, n, mc, x, rn, [=](Real* const* G) {
    M_mm(C, A, mc, n, n, G);          // C K
    M_mv(G, A[n], mc, n, G[n]);       // G c1
    V_op(C[n], G[n], G[n], mc, '-');  // d - G c1
  });
}

template int Ls_cgrn(float**, int, int, float* const*, int, float*, float*) noexcept;
template int Ls_cgrn(double**, int, int, double* const*, int, double*, double*) noexcept;

}  // namespace tabfit

extern "C" {

int Ls_cintf(float** A, int m, int n, const float* lo, const float* hi, float* x, float* rn) noexcept {
  return tabfit::Ls_cint(A, m, n, lo, hi, x, rn);
}
int Ls_cintd(double** A, int m, int n, const double* lo, const double* hi, double* x,
             double* rn) noexcept {
  return tabfit::Ls_cint(A, m, n, lo, hi, x, rn);
}

int Ls_cgrnf(float** A, int m, int n, float* const* C, int mc, float* x, float* rn) noexcept {
  return tabfit::Ls_cgrn(A, m, n, C, mc, x, rn);
}
int Ls_cgrnd(double** A, int m, int n, double* const* C, int mc, double* x, double* rn) noexcept {
  return tabfit::Ls_cgrn(A, m, n, C, mc, x, rn);
}

}  // extern "C"

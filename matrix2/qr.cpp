// matrix2/qr.cpp - QR decomposition with column pivoting and row interchange, and the square solve on
// it.
#include "tabfit/matrix.h"

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/dot.hpp"
#include "llsqp/kernels/product.hpp"
#include "llsqp/kernels/scratch.hpp"
#include "llsqp/kernels/tolerance.hpp"
#include "llsqp/kernels/vector.hpp"

#include "matrix1/elementary.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix2/qr.hpp"

#include <algorithm>
#include <cmath>

namespace tabfit {
namespace {

/// h[j] = squared norm of what is not yet reduced of column j: of the whole column before step 0, then
/// less the element that the last step left in row l-1. Never formed anew.
template <class Real>
void update_norms(Real* const* A, int m, int n, int l, double* h) noexcept {
  for (int j = l; j < n; ++j)
    h[j] = l == 0 ? V_sumsq(A[j], m) : mul_add(-A[j][l - 1], A[j][l - 1], h[j]);
}

/// Applies I - u u' / beta to rows l..m-1 of columns j0..end-1: y = y - ((u' y) / beta) u.
template <class Real>
void reflect(Real* const* A, const Real* u, double beta, int l, int m, int j0, int end) noexcept {
  Real* const* Y = A + j0;
  product(
      {end - j0, 1, m - l}, [=](int j, int i) { return double(Y[j][l + i]); }, column(u),
      [=](int j, int, double sum) { V_axpy(-sum / beta, u, Y[j] + l, m - l); });
}

}  // namespace

template <class Real>
int M_qrd(Real** A, int m, int n, int k, int* ip) noexcept {
  if (m < 1 || n < 1) return M_QRD_BAD_SIZE;
  const CArray<double> h = c_array<double>(n);
  if (!h) return M_QRD_NO_MEMORY;
  for (int j = 0; j < n; ++j) ip[j] = j;

  constexpr double eps = Tolerance<Real>::rank;
  const int steps = std::min(m, n);
  double tol = 0.0;
  for (int l = 0; l < steps; ++l) {
    update_norms(A, m, n, l, h.get());

    // The column with the greatest norm, the first of equals, comes to place l.
    const int c = l + V_imax(h.get() + l, n - l);
    const double hmax = h[c];
    if (l == 0) {
      if (hmax == 0.0) return M_QRD_ZERO;
      tol = store<double>(Wide(hmax) * eps * eps);
    } else if (!(hmax >= tol)) {  // NaN fails too
      return l;
    }
    if (c > l) {
      P_swap(A + l, A + c);
      E_swap(h.get() + l, h.get() + c);
      I_swap(ip + l, ip + c);
    }

    // The row of its element of greatest magnitude, by V_iamax's rule, comes to place l. The columns
    // already reduced stay as they are.
    const int r = l + V_iamax(A[l] + l, m - l);
    if (r > l) M_swap(A, l, n + k - 1, l, r);

    // u = column l + s e(l), of which only element l differs from the column; R(l,l) = -s.
    const double sigma = std::sqrt(h[l]);
    const double a = A[l][l];
    const double s =
        a > 0.0 ? sigma : -sigma;  // Deliberate: minus for 0. Solvers built on it rely on it.
    A[l][l] = store<Real>(a + s);
    const double beta = store<double>(Wide(s) * (Wide(a) + s));

    // Deliberate: the last step transforms the right-hand sides only, also when m < n leaves matrix
    // columns to its right. The basic solutions of wide problems rely on it.
    reflect(A, A[l] + l, beta, l, m, l < steps - 1 ? l + 1 : n, n + k);
    A[l][l] = store<Real>(-s);
  }
  return M_QRD_OK;
}

template int M_qrd(float**, int, int, int, int*) noexcept;
template int M_qrd(double**, int, int, int, int*) noexcept;

namespace {

template <class Real>
int M_qrdeq(Real** A, int n, int k) noexcept {
  if (n < 0) return M_QRD_BAD_SIZE;
  const NewArray<int> indices = new_array<int>(2 * std::ptrdiff_t(n));
  if (!indices) return M_QRD_NO_MEMORY;
  int *ip = indices.get(), *consumed = ip + n;

  const int status = M_qrd(A, n, n, k, ip);
  if (status != M_QRD_OK) return status;
  M_invt(A, A + n, n, k);
  for (int j = n; j < n + k; ++j) {
    std::copy_n(ip, n, consumed);
    V_perm(A[j], n, consumed);  // back into the order of the unknowns
  }
  return M_QRD_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_qrdf(float** A, int m, int n, int k, int* ip) noexcept { return tabfit::M_qrd(A, m, n, k, ip); }
int M_qrdd(double** A, int m, int n, int k, int* ip) noexcept { return tabfit::M_qrd(A, m, n, k, ip); }

int M_qrdeqf(float** A, int n, int k) noexcept { return tabfit::M_qrdeq(A, n, k); }
int M_qrdeqd(double** A, int n, int k) noexcept { return tabfit::M_qrdeq(A, n, k); }

}  // extern "C"

// matrix1/triangular_inverse.cpp - solves and inverses with an upper-triangular matrix.
//
// One pattern: an unknown is a sum over the unknowns already found, divided by a diagonal element. The
// unknowns of one row, in all right-hand sides or columns, do not depend on each other and are one
// `product`; row follows row. A zero on the diagonal gives infinities or NaN by the rules of
// arithmetic.
#include "tabfit/matrix.h"

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/product.hpp"
#include "llsqp/kernels/vector.hpp"

#include "matrix1/triangular_inverse.hpp"

namespace tabfit {

// From the last row to the first: b(i) = (b(i) - u(i,i+1) b(i+1) - u(i,i+2) b(i+2) - ...) / u(i,i), the
// newest unknown first.
template <class Real>
void M_invt(Real* const* U, Real* const* B, int n, int p) noexcept {
  if (n < 1) return;
  for (int i = n - 1; i >= 0; --i) {
    const double pivot = U[i][i];
    const int next = i + 1;
    product(
        {p, 1, n - next}, [=](int k, int) { return double(B[k][i]); },
        [=](int k, int l) { return double(B[k][next + l]); },
        [=](int l, int) { return -double(U[next + l][i]); },
        [=](int k, int, double rest) { B[k][i] = store<Real>(rest / pivot); });
  }
}

// From the first row to the last: b(i) = (b(i) - (u(0,i) b(0) + u(1,i) b(1) + ...)) / u(i,i).
template <class Real>
void M_invutm(Real* const* U, Real* const* B, int n, int p) noexcept {
  for (int i = 0; i < n; ++i) {
    const double pivot = U[i][i];
    product(
        {p, 1, i}, [=](int k, int l) { return double(B[k][l]); }, column(U[i]),
        [=](int k, int, double sum) {
          const double rest = B[k][i] - sum;
          B[k][i] = store<Real>(rest / pivot);
        });
  }
}

namespace {

/// V := U^-1 V for upper-triangular V: back substitution whose column j ends at row j.
template <class Real>
void M_invuu(Real* const* U, Real* const* V, int n) noexcept {
  if (n < 1) return;
  for (int i = n - 1; i >= 0; --i) {
    const double pivot = U[i][i];
    const int next = i + 1;
    V[i][i] = store<Real>(V[i][i] / pivot);
    product(
        {n - next, 1, n - next, Band::from_l}, [=](int j, int) { return double(V[next + j][i]); },
        [=](int j, int l) { return double(V[next + j][next + l]); },
        [=](int l, int) { return -double(U[next + l][i]); },
        [=](int j, int, double rest) { V[next + j][i] = store<Real>(rest / pivot); });
  }
}

}  // namespace

template <class Real>
void M_invu(Real* const* U, Real* const* X, int n) noexcept {
  for (int j = 0; j < n; ++j) {
    V_fill(X[j], j, 0.0);
    X[j][j] = 1;
  }
  M_invuu(U, X, n);
}

template <class Real>
int M_tinv(Real* const* T, int n) noexcept {
  if (n < 1) return M_TINV_BAD_SIZE;
  // Deliberate: the diagonal is inverted on the way to the first zero on it, and left so. Callers take
  // a refused matrix for spoiled.
  for (int k = 0; k < n; ++k) {
    if (T[k][k] == 0) return k + 1;  // NaN passes
    T[k][k] = store<Real>(1.0 / T[k][k]);
  }
  for (int j = 0; j < n; ++j)
    for (int i = j + 1; i < n; ++i) T[j][i] = T[i][j];  // row i of column j holds u(j,i)

  // x(i,j) = -(u(i,i+1) x(i+1,j) + ... + u(i,j) x(j,j)) / u(i,i), rows from the last to the first
  for (int i = n - 2; i >= 0; --i) {
    const double reciprocal = T[i][i];
    const int next = i + 1;
    product(
        {n - next, 1, n - next, Band::from_l},
        [=](int j, int l) { return double(T[next + j][next + l]); }, column(T[i] + next),
        [=](int j, int, double sum) { T[next + j][i] = store<Real>(-reciprocal * sum); });
  }
  for (int j = 0; j < n; ++j) V_fill(T[j] + j + 1, n - 1 - j, 0.0);
  return M_TINV_OK;
}

template void M_invt(float* const*, float* const*, int, int) noexcept;
template void M_invt(double* const*, double* const*, int, int) noexcept;
template void M_invutm(float* const*, float* const*, int, int) noexcept;
template void M_invutm(double* const*, double* const*, int, int) noexcept;
template void M_invu(float* const*, float* const*, int) noexcept;
template void M_invu(double* const*, double* const*, int) noexcept;
template int M_tinv(float* const*, int) noexcept;
template int M_tinv(double* const*, int) noexcept;

}  // namespace tabfit

extern "C" {

void M_invtf(float* const* U, float* const* B, int n, int p) noexcept { tabfit::M_invt(U, B, n, p); }
void M_invtd(double* const* U, double* const* B, int n, int p) noexcept { tabfit::M_invt(U, B, n, p); }

void M_invutmf(float* const* U, float* const* B, int n, int p) noexcept {
  tabfit::M_invutm(U, B, n, p);
}
void M_invutmd(double* const* U, double* const* B, int n, int p) noexcept {
  tabfit::M_invutm(U, B, n, p);
}

void M_invuuf(float* const* U, float* const* V, int n) noexcept { tabfit::M_invuu(U, V, n); }
void M_invuud(double* const* U, double* const* V, int n) noexcept { tabfit::M_invuu(U, V, n); }

void M_invuf(float* const* U, float* const* X, int n) noexcept { tabfit::M_invu(U, X, n); }
void M_invud(double* const* U, double* const* X, int n) noexcept { tabfit::M_invu(U, X, n); }

int M_tinvf(float* const* T, int n) noexcept { return tabfit::M_tinv(T, n); }
int M_tinvd(double* const* T, int n) noexcept { return tabfit::M_tinv(T, n); }
}  // extern "C"

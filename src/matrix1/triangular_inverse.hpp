// matrix1/triangular_inverse.hpp - the triangular solves and inverses that higher layers call;
// tabfit/matrix.h describes them.
#pragma once

namespace tabfit {

template <class Real>
void M_invt(Real* const* U, Real* const* B, int n, int p) noexcept;

template <class Real>
void M_invutm(Real* const* U, Real* const* B, int n, int p) noexcept;

/// Rows i0..i0+rows-1, rows <= 24, of the solution X of U' X = B, p columns, first row first:
/// x(i) = (b(i) - (u(0,i) x(0) + u(1,i) x(1) + ...)) / u(i,i). X already holds the rows before i0 and
/// the first `done` of these. X may be the storage of B.
template <class Real>
void forward_rows(Real* const* U, int i0, int done, int rows, Real* const* B, Real* const* X,
                  int p) noexcept;

template <class Real>
void M_invu(Real* const* U, Real* const* X, int n) noexcept;

template <class Real>
int M_tinv(Real* const* T, int n) noexcept;

}  // namespace tabfit

// matrix1/triangular_inverse.hpp - what higher layers call of the triangular solves and inverses;
// tabfit/matrix.h says what each does.
#pragma once

namespace tabfit {

template <class Real>
void M_invt(Real* const* U, Real* const* B, int n, int p) noexcept;

template <class Real>
void M_invutm(Real* const* U, Real* const* B, int n, int p) noexcept;

template <class Real>
void M_invu(Real* const* U, Real* const* X, int n) noexcept;

template <class Real>
int M_tinv(Real* const* T, int n) noexcept;

}  // namespace tabfit

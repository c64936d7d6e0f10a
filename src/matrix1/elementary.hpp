// matrix1/elementary.hpp - the elementary operations that higher layers call; tabfit/matrix.h describes
// them.
#pragma once

namespace tabfit {

template <class Real>
void M_cop(Real* const* A, Real* const* B, int m, int n) noexcept;

template <class Real>
void M_lminus(Real* const* A, int n, int row) noexcept;

template <class Real>
void M_swap(Real* const* A, int j1, int j2, int r1, int r2) noexcept;

template <class Real>
int M_rowsort(Real* const* A, int m, int n, int* idx) noexcept;

}  // namespace tabfit

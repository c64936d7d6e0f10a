// matrix1/products.hpp - the products that higher layers call; tabfit/matrix.h describes them.
#pragma once

namespace tabfit {

template <class Real>
void M_mv(Real* const* A, const Real* x, int m, int n, Real* y) noexcept;

template <class Real>
void M_mtv(Real* const* A, const Real* x, int m, int n, Real* y) noexcept;

template <class Real>
void M_ltv(Real* const* A, const Real* x, const Real* b, int m, int n, int mode, Real* r) noexcept;

template <class Real>
void M_mm(Real* const* A, Real* const* B, int m, int n, int p, Real* const* C) noexcept;

}  // namespace tabfit

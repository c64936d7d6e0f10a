// matrix1/triangular_products.hpp - the triangular product that higher layers call; tabfit/matrix.h
// describes it.
#pragma once

namespace tabfit {

template <class Real>
int M_uutu(Real* const* U, int n) noexcept;

}  // namespace tabfit

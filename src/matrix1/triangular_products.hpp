// matrix1/triangular_products.hpp - what higher layers call of the triangular products; tabfit/matrix.h
// says what it does.
#pragma once

namespace tabfit {

template <class Real>
int M_uutu(Real* const* U, int n) noexcept;

}  // namespace tabfit

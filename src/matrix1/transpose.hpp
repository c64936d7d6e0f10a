// matrix1/transpose.hpp - the transposition that higher layers call; tabfit/matrix.h describes it.
#pragma once

namespace tabfit {

template <class Real>
int M_transpa(Real* const* A, int p, int q) noexcept;

}  // namespace tabfit

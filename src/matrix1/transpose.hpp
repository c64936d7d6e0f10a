// matrix1/transpose.hpp - what higher layers call of the transpositions; tabfit/matrix.h says what it
// does.
#pragma once

namespace tabfit {

template <class Real>
int M_transpa(Real* const* A, int p, int q) noexcept;

}  // namespace tabfit

// matrix1/storage.hpp - what higher layers call of the storage operations; tabfit/matrix.h says what it
// does.
#pragma once

namespace tabfit {

template <class Real>
void M_storec(Real* data, int m, int n, Real** table) noexcept;

}  // namespace tabfit

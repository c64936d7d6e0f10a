// matrix1/storage.hpp - the storage operation that higher layers call; tabfit/matrix.h describes it.
#pragma once

namespace tabfit {

template <class Real>
void M_storec(Real* data, int m, int n, Real** table) noexcept;

}  // namespace tabfit

// matrix2/qr.hpp - the QR decomposition, for higher layers; tabfit/matrix.h describes it.
#pragma once

namespace tabfit {

template <class Real>
int M_qrd(Real** A, int m, int n, int k, int* ip) noexcept;

}  // namespace tabfit

// matrix2/qr.hpp - what higher layers call of the QR decomposition; tabfit/matrix.h says what it does.
#pragma once

namespace tabfit {

template <class Real>
int M_qrd(Real** A, int m, int n, int k, int* ip) noexcept;

}  // namespace tabfit

// llsqp/nonnegative.hpp - the non-negative solver, for higher layers; tabfit/least_squares.h describes
// it.
#pragma once

namespace tabfit {

template <class Real>
int Ls_cnn(Real** A, int m, int n, Real* x, Real* r, Real* rn) noexcept;

}  // namespace tabfit

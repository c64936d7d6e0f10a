// llsqp/nonnegative.hpp - what higher layers call of the non-negative solver; tabfit/least_squares.h
// says what it does.
#pragma once

namespace tabfit {

template <class Real>
int Ls_cnn(Real** A, int m, int n, Real* x, Real* r, Real* rn) noexcept;

}  // namespace tabfit

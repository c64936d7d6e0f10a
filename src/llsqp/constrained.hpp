// llsqp/constrained.hpp - what higher layers call of the generally constrained solver;
// tabfit/least_squares.h says what it does.
#pragma once

namespace tabfit {

template <class Real>
int Ls_cgrn(Real** A, int m, int n, Real* const* C, int mc, Real* x, Real* rn) noexcept;

}  // namespace tabfit

// llsqp/inequality.hpp - what higher layers call of the least-distance solver; tabfit/least_squares.h
// says what it does.
#pragma once

namespace tabfit {

template <class Real>
int Ls_ldp(Real** G, int m, int n, Real* x) noexcept;

}  // namespace tabfit

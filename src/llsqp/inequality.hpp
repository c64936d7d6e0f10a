// llsqp/inequality.hpp - the least-distance solver, for higher layers; tabfit/least_squares.h describes
// it.
#pragma once

namespace tabfit {

template <class Real>
int Ls_ldp(Real** G, int m, int n, Real* x) noexcept;

}  // namespace tabfit

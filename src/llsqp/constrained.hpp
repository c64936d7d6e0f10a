// llsqp/constrained.hpp - the generally constrained solver, for higher layers; tabfit/least_squares.h
// describes it.
#pragma once

namespace tabfit {

template <class Real>
int Ls_cgrn(Real** A, int m, int n, Real* const* C, int mc, Real* x, Real* rn) noexcept;

}  // namespace tabfit

// llsqp/least_squares.hpp - the unconstrained solvers, for higher layers; tabfit/least_squares.h
// describes them.
#pragma once

namespace tabfit {

/// rn may be null here.
template <class Real>
int Ls(Real** A, int m, int n, Real* rn) noexcept;

template <class Real>
int Ls_it(Real* const* A, int m, int n, Real* x, Real* r, Real* rn, int* iter) noexcept;

}  // namespace tabfit

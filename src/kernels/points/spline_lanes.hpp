// kernels/points/spline_lanes.hpp - the spline's system, four rows side by side.
#pragma once

#include "kernels/points/spline.hpp"

namespace tabfit {
namespace {

template <class Real>
void eliminate(Real* b, Real* c, const Real* d, int last) noexcept {
  eliminate_fours(b, c, d, last);
}

template <class Real>
Real substitute(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept {
  return substitute_fours(y, b, c, d, last, right);
}

}  // namespace
}  // namespace tabfit

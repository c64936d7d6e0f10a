// kernels/avx512.cpp - the kernels for processors with AVX-512 and FMA.
#include "kernels/points/points_lanes.hpp"
#include "kernels/sums/panel_lanes.hpp"
#include "kernels/sums/reflect_lanes.hpp"
#include "kernels/sums/unknowns_lanes.hpp"

namespace tabfit {
namespace {

const ElementKernels<float>& four_lanes(float) { return avx2_kernels.f; }
const ElementKernels<double>& four_lanes(double) { return avx2_kernels.d; }

// Sums of floats down columns wait for conversions and shuffles: eight lanes take twice the steps of
// four.
template <>
void dots(const float* const* columns, int count, const float* x, int n, float* y) noexcept {
  avx2_kernels.f.dots(columns, count, x, n, y);
}

// The rows of a spline's system wait for each other: four side by side are as many as help.
template <class Real>
void eliminate(Real* b, Real* c, const Real* d, int last) noexcept {
  four_lanes(Real()).eliminate(b, c, d, last);
}
template <class Real>
Real substitute(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept {
  return four_lanes(Real()).substitute(y, b, c, d, last, right);
}

}  // namespace
}  // namespace tabfit

#include "kernels/table.hpp"

namespace tabfit {

constexpr Kernels avx512_kernels = table;

}  // namespace tabfit

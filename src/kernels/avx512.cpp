// kernels/avx512.cpp - the kernels for processors with AVX-512 and FMA.
#include "kernels/points/points_lanes.hpp"
#include "kernels/points/spline_lanes.hpp"
#include "kernels/sums/panel_lanes.hpp"
#include "kernels/table.hpp"

namespace tabfit {

constexpr Kernels avx512_kernels = table;

}  // namespace tabfit

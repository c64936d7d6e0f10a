// kernels/avx2.cpp - the kernels for processors with AVX2 and FMA.
#include "kernels/points/points_lanes.hpp"
#include "kernels/points/spline_lanes.hpp"
#include "kernels/sums/panel_lanes.hpp"
#include "kernels/sums/reflect_lanes.hpp"
#include "kernels/sums/unknowns_lanes.hpp"
#include "kernels/table.hpp"

namespace tabfit {

constexpr Kernels avx2_kernels = table;

}  // namespace tabfit

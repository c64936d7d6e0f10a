// kernels/points/points_avx2.cpp - the kernels for points for processors with AVX2 and FMA.
#include "kernels/points/points_lanes.hpp"

namespace tabfit {

const Points* avx2_points() noexcept { return &lane_points; }

}  // namespace tabfit

// kernels/points/points_avx512.cpp - the kernels for points for processors with AVX-512 and FMA.
#include "kernels/points/points_lanes.hpp"

namespace tabfit {

const Points* avx512_points() noexcept { return &lane_points; }

}  // namespace tabfit

// kernels/sums/panel_avx2.cpp - the panel kernels for processors with AVX2 and FMA.
#include "kernels/sums/panel_lanes.hpp"

namespace tabfit {

const Kernels* avx2_kernels() noexcept { return &lane_kernels; }

}  // namespace tabfit

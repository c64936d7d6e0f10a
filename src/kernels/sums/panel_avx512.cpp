// kernels/sums/panel_avx512.cpp - the panel kernels for processors with AVX-512.
#include "kernels/sums/panel_lanes.hpp"

namespace tabfit {

const Kernels* avx512_kernels() noexcept { return &lane_kernels; }

}  // namespace tabfit

// llsqp/kernels/panel_avx2.cpp - the panel kernels for processors with AVX2 and FMA.
#include "llsqp/kernels/panel_lanes.hpp"

namespace tabfit {

const Kernels* avx2_kernels() noexcept { return &lane_kernels; }

}  // namespace tabfit

// bench/peak.hpp - what the processor can do at most.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

/// Matrix products against as many fused multiply-adds of doubles in registers, without any memory: the
/// ratio is the reciprocal of the fraction of the peak that the product reaches.
void add_peak(Comparison& comparison);

}  // namespace tabfit::bench

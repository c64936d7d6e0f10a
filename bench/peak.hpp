// bench/peak.hpp - what the processor can do at most.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

/// Matrix products against the same number of fused multiply-adds of doubles in registers. The product
/// reaches the fraction 1 / ratio of the peak.
void add_peak(Comparison& comparison);

}  // namespace tabfit::bench

// bench/interpolation.hpp - linear and cubic-spline interpolation against GSL.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

void add_interpolation(Comparison& comparison);

}  // namespace tabfit::bench

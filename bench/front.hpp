// bench/front.hpp - the constrained solvers of the C++ front against the solvers inside SciPy and R.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

void add_front(Comparison& comparison);

}  // namespace tabfit::bench

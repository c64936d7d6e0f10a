// bench/solvers.hpp - least squares against LAPACK, Eigen, SciPy and R.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

void add_solvers(Comparison& comparison);

}  // namespace tabfit::bench

// bench/algebra.hpp - matrix algebra against OpenBLAS, LAPACK, BLIS and Eigen.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

void add_algebra(Comparison& comparison);

}  // namespace tabfit::bench

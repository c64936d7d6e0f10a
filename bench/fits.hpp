// bench/fits.hpp - spline and polynomial fits against Eigen, GSL, FITPACK, NumPy and R.
#pragma once

#include "bench/compare.hpp"

namespace tabfit::bench {

void add_fits(Comparison& comparison);

}  // namespace tabfit::bench

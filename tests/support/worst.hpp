// tests/support/worst.hpp - the worst of many comparisons.
#pragma once

#include <cmath>

/// In units of the scale of each.
struct Worst {
  double value = 0;
  void take(long double difference, long double scale) {
    const double ratio = static_cast<double>(std::abs(difference) / scale);
    if (!(value >= ratio)) value = ratio;  // NaN stays
  }
};

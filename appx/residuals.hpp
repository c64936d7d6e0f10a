// appx/residuals.hpp - how well a fit meets its data.
#pragma once

#include "llsqp/kernels/arithmetic.hpp"

#include <cmath>

namespace tabfit {

/// The absolute residuals of a fit: their sum of squares and the greatest.
struct Residuals {
  double sum = 0.0, greatest = 0.0;

  /// Takes |value - y| into account; it becomes the greatest if exceeds(it, the greatest so far).
  template <class Exceeds>
  void add(double value, double y, Exceeds exceeds) noexcept {
    const double r = std::abs(value - y);
    if (exceeds(r, greatest)) greatest = r;
    sum = mul_add(r, r, sum);
  }
  double rms(int m) const noexcept { return store<double>(std::sqrt(Wide(sum) / m)); }
};

}  // namespace tabfit

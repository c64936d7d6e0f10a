// appx/residuals.hpp - how well a fit meets its data.
#pragma once

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/dot.hpp"

#include <algorithm>
#include <cmath>

namespace tabfit {

/// The absolute residuals of a fit: their sum of squares and the greatest.
struct Residuals {
  double sum = 0.0, greatest = 0.0;

  /// What becomes the greatest: NaN never, or always, and then the residual after it too.
  static constexpr auto passes_over_nan = [](double r, double greatest) { return r > greatest; };
  static constexpr auto takes_nan = [](double r, double greatest) { return !(greatest >= r); };

  /// Adds the residuals r = |values[i] - y[i]|, i ascending. r becomes the greatest if
  /// exceeds(r, greatest).
  template <class Value, class Real, class Exceeds>
  void add(const Value* values, const Real* y, int n, Exceeds exceeds) noexcept {
    constexpr int block = 64;
    double r[block];
    for (int i0 = 0, count = 0; i0 < n; i0 += count) {
      count = std::min(block, n - i0);
      for (int i = 0; i < count; ++i) r[i] = std::abs(double(values[i0 + i]) - y[i0 + i]);
      bool any = false;  // rarely true after the first block
      for (int i = 0; i < count; ++i) any |= exceeds(r[i], greatest);
      if (any)
        for (int i = 0; i < count; ++i)
          if (exceeds(r[i], greatest)) greatest = r[i];
      sum = V_addsq(r, count, sum);
    }
  }

  /// out[0] = the root mean square of m residuals, out[1] = the greatest.
  template <class Real>
  void put(int m, Real* out) const noexcept {
    const double rms = store<double>(std::sqrt(Wide(sum) / m));
    out[0] = store<Real>(rms);
    out[1] = store<Real>(greatest);
  }
};

}  // namespace tabfit

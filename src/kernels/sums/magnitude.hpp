// kernels/sums/magnitude.hpp - search for the element of greatest magnitude.
#pragma once

#include "kernels/sums/panel.hpp"

#include <cmath>

namespace tabfit {

/// Index of the element that a scan by magnitude chooses last. The value chosen keeps its sign: after a
/// negative one the next element of any magnitude replaces it. (1, -5, 2) gives 2.
/// 0 for n <= 0, with x[0] read all the same.
///
/// Why: the scan always chooses the first element of greatest magnitude. If that is not negative, the
///      scan chooses nothing behind it. If it is negative, the scan begins anew with the next element.
///      So it is enough to look for elements of greatest magnitude.
template <class Real>
int V_iamax(const Real* x, int n) noexcept {
  constexpr int few = 16;
  // Deliberate: read before n is examined, so x[0] must exist for n = 0 too.
  const Real first = std::abs(x[0]);
  if (n <= few) {
    Real best = first;
    int index = 0;
#pragma GCC unroll 1  // unrolled as far as `few` goes, the loop takes longer
    for (int i = 0; i < n; ++i)
      // Deliberate: best is x[i] with its sign, so a pivot chosen by this rule may not be the greatest.
      if (std::abs(x[i]) > best) best = x[index = i];
    return index;
  }

  const auto greatest = kernels().of<Real>().greatest;
  if (std::isnan(first)) return 0;
  int index = greatest(x, n);
  if (std::abs(x[index]) == first) return 0;
  while (x[index] < 0) {
    const int next = greatest(x + index + 1, n - index - 1);
    if (next < 0) break;
    index += 1 + next;
  }
  return index;
}

}  // namespace tabfit

// kernels/sums/magnitude.hpp - search for the element of greatest magnitude.
#pragma once

#include "kernels/sums/panel.hpp"

#include <cmath>

namespace tabfit {

/// Index chosen by magnitude against a running value that keeps its sign: once a negative element has
/// been chosen, the next one of any magnitude replaces it. (1, -5, 2) gives 2.
/// 0 for n <= 0, with x[0] read all the same.
///
/// Why: the first element of greatest magnitude is always chosen when the scan reaches it. Nothing
///      behind it is if it is not negative; if it is, the scan begins anew with the next element. So
///      only the places of greatest magnitude are looked for.
template <class Real>
int V_iamax(const Real* x, int n) noexcept {
  constexpr int few = 16;
  const Real first = std::abs(x[0]);  // Deliberate: read before n is examined. Callers pass one always.
  if (n <= few) {
    Real best = first;
    int index = 0;
#pragma GCC unroll 1  // unrolled as far as `few` goes, the loop takes longer
    for (int i = 0; i < n; ++i)
      if (std::abs(x[i]) > best)
        best =
            x[index = i];  // Deliberate: x[i] with its sign. The pivot choices built on it rely on it.
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

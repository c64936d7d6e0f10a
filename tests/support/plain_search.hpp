// tests/support/plain_search.hpp - interval search as it is defined, one comparison at a time.
#pragma once

#include <type_traits>

/// The interval of the nodes x[0..n-1] that holds t, by halving with an early end on a node. A point on
/// an interior node belongs to the interval right of it in the f twin, left of it in the d twin.
template <class Real>
int plain_search(double t, const Real* x, int n) {
  if (n < 1) return -2;
  if (!(t >= x[0])) return -1;
  if (t > x[n - 1]) return n;
  if (t == x[n - 1]) return n - 1;
  int lo = 0, hi = n;
  while (hi - lo > 1) {
    if (t == x[lo]) return lo;
    const int mid = static_cast<int>((static_cast<long long>(lo) + hi) / 2);
    const bool goes_left = std::is_same_v<Real, float> ? t < x[mid] : t <= x[mid];
    if (goes_left)
      hi = mid;
    else
      lo = mid;
  }
  return lo;
}

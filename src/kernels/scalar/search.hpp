// kernels/scalar/search.hpp - interval search in a node table, position of a value in an index vector.
#pragma once

#include "kernels/scalar/arithmetic.hpp"

#include <bit>
#include <cstdint>

namespace tabfit {

/// Halvings after which no bracket of n nodes is wider than one interval: ceil(log2 n).
inline int halvings(int n) noexcept {
  return static_cast<int>(std::bit_width(static_cast<unsigned>(n - 1)));
}

/// The bracket x[lo..lo+length-1] of one search, for x[0] < t < x[n-1]; at first {0, n}.
///
/// Why:       the processor cannot predict the path of a search. Masks instead of jumps leave nothing
///            to predict; with equally many steps for every abscissa, searches run side by side.
/// Shape:     the key is t rounded to Real. Key and t compare alike with every node but the key itself.
/// Invariant: once length <= 1, lo is the answer, and further steps keep it. In the f twin this
///            holds if no compared node equals the key.
template <class Real>
struct Bracket {
  unsigned lo, length;
  unsigned met = 0;  ///< f twin: how many of the compared nodes were the key, or NaN

  void halve(Real key, const Real* x) noexcept {
    const unsigned half = length / 2;
    const Real node = x[lo + half];
    // Deliberate: a point on a node goes right in the f twin, left in the d twin. The interpolants are
    // continuous there, so values of the two sides differ by rounding only.
    const unsigned right = is_double<Real> ? !(key <= node) : !(key < node);
    lo += half & (0u - right);
    length = half + (length & right);
    if constexpr (!is_double<Real>) met += !__builtin_islessgreater(node, key);
  }

  /// True if the halving may have gone wrong: right of a node that equals the key but not t, or beyond
  /// the first node equal to t.
  bool passed(double t, const Real* x) const noexcept {
    if constexpr (is_double<Real>)
      return false;  // goes left of every node equal to t
    else
      return met > 1 || (met == 1 && x[lo] != t);
  }
};

/// The search of the f twin: ends on the first node equal to t that it meets.
template <class Real>
int first_met(double t, const Real* x, int n) noexcept {
  int lo = 0;
  for (int hi = n; hi - lo > 1 && x[lo] != t;) {
    const int mid = lo + (hi - lo) / 2;
    (t < x[mid] ? hi : lo) = mid;
  }
  return lo;
}

/// The interval of the ascending nodes x that holds t.
///
///   -2    n < 1                             -1    t < x[0], or t is NaN
///    n    t > x[n-1]                        n-1   t = x[n-1]
///    i    x[i] <= t < x[i+1] in the f twin; x[i] < t <= x[i+1], or t = x[0] = x[i], in the d twin
///
/// With repeated nodes, one of the intervals beside them; with nodes that do not ascend, some index.
template <class Real>
int V_search(double t, const Real* x, int n) noexcept {
  if (n < 1) return -2;
  if (!(t >= x[0])) return -1;  // NaN fails too
  if (t > x[n - 1]) return n;
  if (t == x[n - 1]) return n - 1;
  if (t == x[0]) return 0;
  const Real key = store<Real>(t);
  Bracket<Real> b{0, static_cast<unsigned>(n)};
  for (int left = halvings(n); left > 0; --left) b.halve(key, x);
  if (b.passed(t, x)) return first_met(t, x, n);
  return static_cast<int>(b.lo);
}

/// Points that V_search_block searches side by side.
inline constexpr int search_width = 8;

/// index[k] = V_search(t[k], x, n) for eight abscissae, each with x[0] < t[k] < x[n-1], and strictly
/// ascending nodes.
///
/// Why:       one search waits for a node at every step; eight wait together. In ascending nodes any
///            order of comparisons finds the same interval. The first comparison cuts the table to
///            a power of two of nodes; from there on all brackets have the same length.
/// Shape:     t and index have search_width elements; n >= 2.
/// Invariant: the answer lies in lo[k] .. lo[k] + 2^e - 1.
template <class Real>
inline void V_search_block(const Real* t, const Real* x, int n, std::int32_t* index) noexcept {
  const auto right = [&](int k, unsigned node) -> unsigned {
    return is_double<Real> ? x[node] < t[k] : x[node] <= t[k];
  };
  const unsigned count = static_cast<unsigned>(n), cut = count - std::bit_floor(count);
  unsigned lo[search_width];
  for (int k = 0; k < search_width; ++k) lo[k] = cut * right(k, cut);
  for (int e = std::bit_width(count) - 1; e > 0;) {
    --e;
    for (int k = 0; k < search_width; ++k) lo[k] += right(k, lo[k] + (1u << e)) << e;
  }
  for (int k = 0; k < search_width; ++k) index[k] = static_cast<std::int32_t>(lo[k]);
}

/// First i < n with a[i] = value; -1 if there is none.
inline int I_find(int value, const int* a, int n) noexcept {
  for (int i = 0; i < n; ++i)
    if (a[i] == value) return i;
  return -1;
}

}  // namespace tabfit

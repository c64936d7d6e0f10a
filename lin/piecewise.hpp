// lin/piecewise.hpp - evaluates a piecewise function over a node table, at one point and at many.
#pragma once

#include "llsqp/kernels/search.hpp"
#include "llsqp/kernels/tolerance.hpp"

namespace tabfit {

/// The nodes x[0..n-1], n >= 2, with the band around them in which a point is accepted.
template <class Real>
struct NodeTable {
  const Real* x;
  int n;
  double first = x[0], last = x[n - 1];
  double lowest = first - Tolerance<Real>::node, highest = last + Tolerance<Real>::node;

  bool accepts(double t) const noexcept { return !(lowest > t) && highest >= t; }  // NaN fails too
  bool contains(double t) const noexcept { return (first < t) & (t < last); }      // ends excluded

  /// A point of the band, moved onto the nearest end if it lies outside the nodes.
  double clamp(double t) const noexcept {
    if (t < first) t = first;
    if (t > last) t = last;
    return t;
  }

  /// True if every interval has a positive width.
  bool ascends() const noexcept {
    bool all = true;
    for (int i = 1; i < n; ++i) all &= x[i - 1] < x[i];
    return all;
  }
};

/// Evaluates a piece at one point: put(t) is called with the point moved into the nodes' range. False,
/// and nothing is put, if the point has no value.
///
/// A piece is the function on one interval. piece.select(i) makes it that of interval i, where
/// 0 <= i < n and interval n-1 is the last node alone; it is false if the interval cannot be used.
template <class Real, class Piece, class Put>
bool evaluate_point(const NodeTable<Real>& nodes, double t, Piece& piece, Put put) noexcept {
  if (!nodes.accepts(t)) return false;
  t = nodes.clamp(t);
  const int i = V_search(t, nodes.x, nodes.n);
  if (i < 0 || i > nodes.n - 1 || !piece.select(i)) return false;
  put(t);
  return true;
}

/// Evaluates a piece at t[0..m-1]: put(j, t) is called for every point in turn, up to the first that
/// has no value. False if there is one.
///
/// Why:       a search costs more than the formula. Eight points are searched side by side, and eight
///            that lie strictly inside the present interval are not searched at all.
/// Shape:     nodes_ascend says that every interval is known to have a positive width; only then is a
///            point strictly between x[i] and x[i+1] certain to be found in interval i.
/// Invariant: the piece is that of interval i, open from left to right; i = -1 when none is selected.
/// Order:     points ascending; a block of eight is read before the first of it is put.
template <class Real, class Piece, class Put>
bool evaluate_points(const NodeTable<Real>& nodes, bool nodes_ascend, const Real* t, int m,
                     Piece& piece, Put put) noexcept {
  int i = -1;
  Real left = 0, right = 0;
  for (int j = 0; j < m; j += search_width) {
    if (nodes_ascend && m - j >= search_width) {
      Real u[search_width];
      bool inside = true, contained = true;
      for (int k = 0; k < search_width; ++k) {
        u[k] = t[j + k];
        inside &= (left < u[k]) & (u[k] < right);
        contained &= nodes.contains(u[k]);
      }
      if (inside) {
        for (int k = 0; k < search_width; ++k) put(j + k, u[k]);
        continue;
      }
      if (contained) {
        int index[search_width];
        V_search_block(u, nodes.x, nodes.n, index);
        for (int k = 0; k < search_width; ++k) {
          if (index[k] != i && !piece.select(i = index[k])) return false;
          put(j + k, u[k]);
        }
        left = nodes.x[i];
        right = nodes.x[i + 1];
        continue;
      }
    }
    // The end of the table, nodes that do not ascend, or a block with a point on an end or beyond.
    i = -1;
    left = right = 0;
    for (int k = j; k < m && k < j + search_width; ++k)
      if (!evaluate_point(nodes, t[k], piece, [&](double v) { put(k, v); })) return false;
  }
  return true;
}

}  // namespace tabfit

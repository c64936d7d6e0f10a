// lin/piecewise.hpp - evaluates a piecewise function over a node table, at one point and at many.
#pragma once

#include "kernels/points/points.hpp"
#include "kernels/scalar/search.hpp"
#include "kernels/scalar/tolerance.hpp"

#include <algorithm>
#include <cstdint>

namespace tabfit {

/// The nodes x[0..n-1], n >= 2, with the band around them in which a point is accepted.
template <class Real>
struct NodeTable {
  const Real* x;
  int n;
  double first = x[0], last = x[n - 1];
  double lowest = first - Tolerance<Real>::node, highest = last + Tolerance<Real>::node;

  bool accepts(double t) const noexcept { return !(lowest > t) && highest >= t; }  // NaN fails too

  /// t, a point of the band, moved onto the nearer end if it lies outside the nodes.
  double clamp(double t) const noexcept {
    if (t < first) t = first;
    if (t > last) t = last;
    return t;
  }

  /// True if the nodes ascend, no two of them closer than the tolerance.
  bool apart() const noexcept {
    bool all = true;
    for (int i = 1; i < n; ++i) all &= double(x[i]) - x[i - 1] >= Tolerance<Real>::node;
    return all;
  }
};

/// Evaluates a piece at t: moves t into the range of the nodes and calls put(t). Returns false, without
/// that call, if t has no value.
///
/// A piece is the function on one interval. piece.select(i) makes it the function on interval i,
/// 0 <= i < n; interval n-1 is the last node alone. It returns false if the interval cannot be used.
template <class Real, class Piece, class Put>
bool evaluate_point(const NodeTable<Real>& nodes, double t, Piece& piece, Put put) noexcept {
  if (!nodes.accepts(t)) return false;
  t = nodes.clamp(t);
  const int i = V_search(t, nodes.x, nodes.n);
  if (i < 0 || i > nodes.n - 1 || !piece.select(i)) return false;
  put(t);
  return true;
}

/// Evaluates a piece at t[0..m-1], ascending, up to the first point without a value. Returns false if
/// there is one.
///
///   put(j, t)              stores the value of point j, which was moved into the range of the nodes
///   block(k, u, count, j)  stores the values of points j..j+count-1, u[i] in interval k[i]; returns
///                          those that put must store instead; put also overwrites points near an end
///
/// Why:       a search waits for a node at every step and costs more than the formula. So the points
///            of a block are searched together; points in the interval found last need no search.
/// Shape:     nodes_apart promises that select succeeds for every interval. Without this promise a
///            point between the nodes may have no value, and block is never called.
/// Order:     points ascending; a block of t is read before any of its values is stored.
template <class Real, class Piece, class Put, class Block>
bool evaluate_points(const NodeTable<Real>& nodes, bool nodes_apart, const Real* t, int m, Piece& piece,
                     Put put, Block block) noexcept {
  std::int32_t last = 0, selected = -1, index[point_block];
  Real u[point_block];
  for (int j = 0, count = 0; j < m; j += count) {
    count = std::min(point_block, m - j);
    std::copy_n(t + j, count, u);
    PointSet alone = first_points(count);
    if (nodes_apart) {
      const PointSet outside = kernels().of<Real>().find(nodes.x, nodes.n, u, count, index, last);
      bool accepted = true;  // an end, or in the band beyond it
      for_points(outside, [&](int k) {
        accepted &= nodes.accepts(u[k]);
        index[k] = 0;
      });
      if (accepted) {
        for_points(block(index, u, count, j) & ~outside, [&](int k) {
          if (selected != index[k]) (void)piece.select(selected = index[k]);
          put(j + k, u[k]);
        });
        alone = outside;
      }
    }
    bool done = true;
    for_points(alone, [&](int k) {
      selected = -1;
      done = done && evaluate_point(nodes, u[k], piece, [&](double v) { put(j + k, v); });
    });
    if (!done) return false;
  }
  return true;
}

}  // namespace tabfit

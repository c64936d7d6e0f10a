// llsqp/kernels/product.hpp - one product for every kind of factor and every band of terms.
#pragma once

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/dot.hpp"

#include <algorithm>

namespace tabfit {

// -- factors: element (i, j), whichever way it is stored ----------------------------------------------

/// A column table; for an upper-triangular one, i <= j.
template <class Real>
auto as_is(Real* const* A) noexcept {
  return [A](int i, int j) { return double(A[j][i]); };
}

/// The transpose of a column table; for an upper-triangular one, i >= j.
template <class Real>
auto transposed(Real* const* A) noexcept {
  return [A](int i, int j) { return double(A[i][j]); };
}

/// A symmetric matrix in a triangle table.
template <class Real>
auto symmetric(Real* const* S) noexcept {
  return [S](int i, int j) { return double(i > j ? S[i][j] : S[j][i]); };
}

/// A vector as a matrix of one column.
template <class Real>
auto column(const Real* x) noexcept {
  return [x](int i, int) { return double(x[i]); };
}

// -- results: where sum (i, k) is stored -------------------------------------------------------------

/// In a column table; in a triangle table, i <= k.
template <class Real>
auto into_table(Real* const* C) noexcept {
  return [C](int i, int k, double sum) { C[k][i] = store<Real>(sum); };
}

/// In a vector, for a product of one column.
template <class Real>
auto into_vector(Real* y) noexcept {
  return [y](int i, int, double sum) { y[i] = store<Real>(sum); };
}

// -- bands: which results a term belongs to -----------------------------------------------------------

/// Of the rows (or columns) of a product, those whose sums have a term at l.
enum class Band {
  all,
  to_l,    ///< 0..l: the sum of row i begins at l = i
  from_l,  ///< l..: the sum of row i ends at l = i
};

/// The part [first, end) of `count` lines from `origin` on that has a term at l, relative to origin.
struct Lines {
  int first, end;

  static Lines at(Band band, int l, int origin, int count) noexcept {
    switch (band) {
      case Band::to_l:
        return {0, std::clamp(l - origin + 1, 0, count)};
      case Band::from_l:
        return {std::clamp(l - origin, 0, count), count};
      default:
        return {0, count};
    }
  }
  int size() const noexcept { return end - first; }
};

/// The terms l that some of `count` lines from `origin` on have, of those in [first, end).
struct Terms {
  int first, end;

  Terms within(Band band, int origin, int count) const noexcept {
    if (band == Band::to_l) return {std::max(first, origin), end};
    if (band == Band::from_l) return {first, std::min(end, origin + count)};
    return *this;
  }
};

/// What a product computes: rows by columns results, terms l = 0..terms-1, of which each result has
/// those that both bands give it.
struct Extent {
  int rows, columns, terms;
  Band row_band = Band::all, column_band = Band::all;
  bool upper_only = false;  ///< only results (i, k) with i <= k are formed
};

/// put(i, k, sum) for every result: begin(i, k) + sum over l ascending of left(i, l) right(l, k).
///
/// Why:       both factors are copied into panels as doubles, so that one kernel serves every storage,
///            element type and transposition, and so that factors are read only where they have
///            elements.
/// Shape:     left(i, l) and right(l, k) are called where the bands have a term and nowhere else.
///            put may write what the others do not read, and what begin(i, k) has read.
/// Invariant: sum[c][r] holds the terms of result (i0 + r, k0 + c) before l.
/// Order:     l ascending in every result; results in no particular order.
template <class Begin, class Left, class Right, class Put>
void product(const Extent& x, Begin begin, Left left, Right right, Put put) noexcept {
  constexpr int depth = 64;
  alignas(64) double P[depth * panel_rows], Q[depth * panel_columns], sum[panel_columns * panel_rows];

  for (int k0 = 0; k0 < x.columns; k0 += panel_columns) {
    const int columns = std::min(panel_columns, x.columns - k0);
    for (int i0 = 0; i0 < x.rows; i0 += panel_rows) {
      if (x.upper_only && i0 >= k0 + columns) break;
      const int rows = std::min(panel_rows, x.rows - i0);
      const int lanes = (rows + 7) / 8 * 8;  // whole vectors; the lanes behind the last row are not put
      for (int c = 0; c < columns; ++c)
        for (int r = 0; r < lanes; ++r)
          sum[c * panel_rows + r] = r < rows ? begin(i0 + r, k0 + c) : 0.0;

      const Terms all =
          Terms{0, x.terms}.within(x.row_band, i0, rows).within(x.column_band, k0, columns);
      for (int l0 = all.first; l0 < all.end; l0 += depth) {
        const int terms = std::min(depth, all.end - l0);
        int full = 0;  // terms that all results have, up to the present one
        const auto add_full = [&](int end) {
          const int t = end - full;
          panel_sums(P + t * panel_rows, Q + t * panel_columns, lanes, columns, full, sum);
          full = 0;
        };
        for (int t = 0; t < terms; ++t) {
          const int l = l0 + t;
          const Lines i = Lines::at(x.row_band, l, i0, rows),
                      k = Lines::at(x.column_band, l, k0, columns);
          double *p = P + t * panel_rows, *q = Q + t * panel_columns;
          for (int r = i.first; r < i.end; ++r) p[r] = left(i0 + r, l);
          for (int c = k.first; c < k.end; ++c) q[c] = right(l, k0 + c);
          if (i.size() == rows && k.size() == columns) {
            std::fill(p + rows, p + lanes, 0.0);
            ++full;
            continue;
          }
          add_full(t);
          panel_sums(p + i.first, q + k.first, i.size(), k.size(), 1,
                     sum + k.first * panel_rows + i.first);
        }
        add_full(terms);
      }

      for (int c = 0; c < columns; ++c)
        for (int r = 0; r < rows; ++r)
          if (!x.upper_only || i0 + r <= k0 + c) put(i0 + r, k0 + c, sum[c * panel_rows + r]);
    }
  }
}

/// The same from 0.
template <class Left, class Right, class Put>
void product(const Extent& x, Left left, Right right, Put put) noexcept {
  product(
      x, [](int, int) { return 0.0; }, left, right, put);
}

}  // namespace tabfit

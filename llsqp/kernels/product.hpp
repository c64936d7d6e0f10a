// llsqp/kernels/product.hpp - one product for every kind of factor and every band of terms.
#pragma once

#include "llsqp/kernels/arithmetic.hpp"
#include "llsqp/kernels/panel.hpp"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace tabfit {

// -- factors: element (i, j), whichever way it is stored ----------------------------------------------
//
// A factor that knows how it is stored also copies n terms, from l on, of neighbouring lines into a panel
// of `width` lines: pack_rows the lines of a left factor, pack_columns those of a right one.

/// A column table; for an upper-triangular one, i <= j.
template <class Real>
struct AsIs {
  Real* const* A;

  double operator()(int i, int j) const noexcept { return A[j][i]; }
};

/// The transpose of a column table; for an upper-triangular one, i >= j.
template <class Real>
struct Transposed {
  Real* const* A;

  double operator()(int i, int j) const noexcept { return A[i][j]; }
};

/// A symmetric matrix in a triangle table.
template <class Real>
struct Symmetric {
  Real* const* S;

  double operator()(int i, int j) const noexcept { return i > j ? S[i][j] : S[j][i]; }
};

template <class Real>
AsIs<Real> as_is(Real* const* A) noexcept {
  return {A};
}

template <class Real>
Transposed<Real> transposed(Real* const* A) noexcept {
  return {A};
}

template <class Real>
Symmetric<Real> symmetric(Real* const* S) noexcept {
  return {S};
}

/// A vector as a matrix of one column.
template <class Real>
auto column(const Real* x) noexcept {
  return [x](int i, int) { return double(x[i]); };
}

template <class Real>
void pack_rows(const Kernels& kernel, AsIs<Real> left, int i, int count, int l, int n, int width,
               double* out) noexcept {
  kernel.of<Real>().pack_lines(left.A + l, i, count, n, width, out);
}

template <class Real>
void pack_columns(const Kernels& kernel, AsIs<Real> right, int k, int count, int l, int n, int width,
                  double* out) noexcept {
  kernel.of<Real>().pack_terms(right.A + k, l, count, n, width, out);
}

template <class Real>
void pack_rows(const Kernels& kernel, Transposed<Real> left, int i, int count, int l, int n, int width,
               double* out) noexcept {
  pack_columns(kernel, AsIs<Real>{left.A}, i, count, l, n, width, out);
}

template <class Real>
void pack_columns(const Kernels& kernel, Transposed<Real> right, int k, int count, int l, int n,
                  int width, double* out) noexcept {
  pack_rows(kernel, AsIs<Real>{right.A}, k, count, l, n, width, out);
}

/// Terms before the lines' own diagonal block run along columns of the triangle, those behind it across.
template <class Real>
void pack_rows(const Kernels& kernel, Symmetric<Real> left, int i, int count, int l, int n, int width,
               double* out) noexcept {
  const int end = l + n, along = std::clamp(i, l, end), across = std::clamp(i + count, l, end);
  pack_rows(kernel, transposed(left.S), i, count, l, along - l, width, out);
  for (int t = along; t < across; ++t)
    for (int r = 0; r < width; ++r) out[(t - l) * width + r] = r < count ? left(i + r, t) : 0.0;
  pack_rows(kernel, as_is(left.S), i, count, across, end - across, width, out + (across - l) * width);
}

template <class Real>
void pack_columns(const Kernels& kernel, Symmetric<Real> right, int k, int count, int l, int n,
                  int width, double* out) noexcept {
  pack_rows(kernel, right, k, count, l, n, width, out);
}

/// Any other factor is read element by element.
template <class Left>
void pack_rows(const Kernels&, const Left& left, int i, int count, int l, int n, int width,
               double* out) noexcept {
  for (int t = 0; t < n; ++t)
    for (int r = 0; r < width; ++r) out[t * width + r] = r < count ? left(i + r, l + t) : 0.0;
}

template <class Right>
void pack_columns(const Kernels&, const Right& right, int k, int count, int l, int n, int width,
                  double* out) noexcept {
  for (int t = 0; t < n; ++t)
    for (int r = 0; r < width; ++r) out[t * width + r] = r < count ? right(l + t, k + r) : 0.0;
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

/// What a product computes: rows by columns results, terms l = 0..terms-1, of which each result has
/// those that both bands give it.
struct Extent {
  int rows, columns, terms;
  Band row_band = Band::all, column_band = Band::all;
  bool upper_only = false;  ///< only results (i, k) with i <= k are formed
};

/// Every sum begins at 0.
struct FromZero {};

/// Terms first..end-1.
struct Terms {
  int first, end;

  Terms within(Terms other) const noexcept {
    return {std::max(first, other.first), std::min(end, other.end)};
  }
  int size() const noexcept { return std::max(end - first, 0); }
};

/// Neighbouring lines (rows of the left factor, columns of the right one) with their band.
struct Lines {
  int origin, count;
  Band band;

  /// The terms that at least one of them has, and those that all have.
  Terms any(int terms) const noexcept {
    if (band == Band::to_l) return {std::max(origin, 0), terms};
    if (band == Band::from_l) return {0, std::min(terms, origin + count)};
    return {0, terms};
  }
  Terms full(int terms) const noexcept {
    if (band == Band::to_l) return {std::max(origin + count - 1, 0), terms};
    if (band == Band::from_l) return {0, std::min(terms, origin + 1)};
    return {0, terms};
  }
  bool has(int r, int l) const noexcept {
    return band == Band::all || (band == Band::to_l ? origin + r <= l : origin + r >= l);
  }
  /// Bit r for each line r < count <= 24 that has a term at l.
  std::uint32_t mask(int l) const noexcept {
    const auto below = [](int n) { return (std::uint32_t{1} << n) - 1; };
    const std::uint32_t all = below(count);
    if (band == Band::to_l) return below(std::clamp(l - origin + 1, 0, count));
    if (band == Band::from_l) return all & ~below(std::clamp(l - origin, 0, count));
    return all;
  }
};

/// Copies terms `range` of `lines` into a panel whose first term is l0, element by element where not
/// every line has the term, and by pack(first, count, out) where all have.
template <class Element, class Pack>
void pack_panel(Lines lines, Terms range, int terms, int l0, int width, Element element, Pack pack,
                double* panel) noexcept {
  const Terms any = range.within(lines.any(terms)), full = any.within(lines.full(terms));
  const auto one_by_one = [&](int from, int to) {
    for (int l = from; l < to; ++l)
      for (int r = 0; r < width; ++r)
        panel[(l - l0) * width + r] = r < lines.count && lines.has(r, l) ? element(r, l) : 0.0;
  };
  if (full.size() == 0) return one_by_one(any.first, any.end);
  one_by_one(any.first, full.first);
  pack(full.first, full.size(), panel + (full.first - l0) * width);
  one_by_one(full.end, any.end);
}

/// put(i, k, sum) for every result: begin(i, k) + sum over l ascending of left(i, l) right(l, k).
///
/// Why:       both factors are copied into panels as doubles, so that one kernel serves every storage,
///            element type and transposition, and so that factors are read only where they have
///            elements.
/// Shape:     factors are read where the bands have a term and nowhere else. put may write what later
///            results do not read, and what begin(i, k) has read.
/// Invariant: the sums of a block hold the terms of its results before l.
/// Order:     l ascending in every result; blocks of 144 rows ascending, in each of them blocks of 48
///            columns ascending.
template <class Begin, class Left, class Right, class Put>
void product(const Extent& x, Begin begin, Left left, Right right, Put put) noexcept {
  constexpr int depth = 96, row_panels = 6, column_panels = 6;
  constexpr int most_rows = row_panels * panel_rows, most_columns = column_panels * panel_columns;
  constexpr int tile_size = panel_rows * panel_columns;
  alignas(64) double P[row_panels][depth * panel_rows], Q[column_panels][depth * panel_columns];
  alignas(64) double sums[row_panels][column_panels][tile_size];
  TileMask mask[depth];
  const Kernels& kernel = kernels();

  for (int i0 = 0; i0 < x.rows; i0 += most_rows)
    for (int k0 = 0; k0 < x.columns; k0 += most_columns) {
      const int rows = std::min(most_rows, x.rows - i0), columns = std::min(most_columns, x.columns - k0);
      if (x.upper_only && i0 >= k0 + columns) continue;
      const Lines all_rows{i0, rows, x.row_band}, all_columns{k0, columns, x.column_band};
      // Every tile that has results: f(panel of rows, panel of columns, lines of both, its sums).
      const auto each_tile = [&](auto f) {
        for (int kp = 0; kp * panel_columns < columns; ++kp) {
          const int k = kp * panel_columns;
          const Lines tile_columns{k0 + k, std::min(panel_columns, columns - k), x.column_band};
          for (int ip = 0; ip * panel_rows < rows; ++ip) {
            const int i = ip * panel_rows;
            if (x.upper_only && i0 + i >= tile_columns.origin + tile_columns.count) break;
            const Lines tile_rows{i0 + i, std::min(panel_rows, rows - i), x.row_band};
            f(ip, kp, tile_rows, tile_columns, sums[ip][kp]);
          }
        }
      };

      each_tile([&](int, int, Lines r, Lines c, double* sum) {
        const int lanes = (r.count + 7) / 8 * 8, width = c.count > 4 ? 8 : c.count > 1 ? 4 : 1;
        for (int k = 0; k < width; ++k)
          for (int i = 0; i < lanes; ++i) {
            double& start = sum[k * panel_rows + i];
            start = 0.0;
            if constexpr (!std::is_same_v<Begin, FromZero>)
              if (i < r.count && k < c.count) start = begin(r.origin + i, c.origin + k);
          }
      });

      const Terms all = all_rows.any(x.terms).within(all_columns.any(x.terms));
      for (int l0 = all.first; l0 < all.end; l0 += depth) {
        const Terms range{l0, std::min(l0 + depth, all.end)};
        for (int ip = 0; ip * panel_rows < rows; ++ip) {
          const Lines lines{i0 + ip * panel_rows, std::min(panel_rows, rows - ip * panel_rows),
                            x.row_band};
          pack_panel(
              lines, range, x.terms, l0, panel_rows,
              [&](int r, int l) { return left(lines.origin + r, l); },
              [&](int l, int n, double* out) {
                pack_rows(kernel, left, lines.origin, lines.count, l, n, panel_rows, out);
              },
              P[ip]);
        }
        for (int kp = 0; kp * panel_columns < columns; ++kp) {
          const Lines lines{k0 + kp * panel_columns,
                            std::min(panel_columns, columns - kp * panel_columns), x.column_band};
          pack_panel(
              lines, range, x.terms, l0, panel_columns,
              [&](int c, int l) { return right(l, lines.origin + c); },
              [&](int l, int n, double* out) {
                pack_columns(kernel, right, lines.origin, lines.count, l, n, panel_columns, out);
              },
              Q[kp]);
        }
        each_tile([&](int ip, int kp, Lines r, Lines c, double* sum) {
          const Terms any = range.within(r.any(x.terms)).within(c.any(x.terms)),
                      full = any.within(r.full(x.terms)).within(c.full(x.terms));
          const auto add_masked = [&](int from, int to) {
            if (from >= to) return;
            for (int l = from; l < to; ++l) mask[l - from] = {r.mask(l), c.mask(l)};
            kernel.masked_tile(P[ip] + (from - l0) * panel_rows, Q[kp] + (from - l0) * panel_columns,
                               mask, r.count, to - from, sum);
          };
          if (full.size() == 0) return add_masked(any.first, any.end);
          add_masked(any.first, full.first);
          kernel.tile(P[ip] + (full.first - l0) * panel_rows, Q[kp] + (full.first - l0) * panel_columns,
                      r.count, c.count, full.size(), sum);
          add_masked(full.end, any.end);
        });
      }

      each_tile([&](int, int, Lines r, Lines c, const double* sum) {
        for (int k = 0; k < c.count; ++k) {
          const int end = x.upper_only ? std::min(r.count, c.origin + k + 1 - r.origin) : r.count;
          for (int i = 0; i < end; ++i) put(r.origin + i, c.origin + k, sum[k * panel_rows + i]);
        }
      });
    }
}

/// The same from 0.
template <class Left, class Right, class Put>
void product(const Extent& x, Left left, Right right, Put put) noexcept {
  product(x, FromZero{}, left, right, put);
}

}  // namespace tabfit

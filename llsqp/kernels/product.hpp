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

/// Terms before the diagonal block of eight lines run along columns of the triangle, those behind it across.
template <class Real>
void pack_rows(const Kernels& kernel, Symmetric<Real> left, int i, int count, int l, int n, int width,
               double* out) noexcept {
  const auto eight = [=, &kernel](int first, int lines, double* panel) {
    const int end = l + n, along = std::clamp(first, l, end),
              across = std::clamp(first + lines, l, end);
    pack_rows(kernel, transposed(left.S), first, lines, l, along - l, width, panel);
    for (int r = 0; r < lines; ++r)
      for (int t = along; t < across; ++t) panel[(t - l) * width + r] = left(first + r, t);
    pack_rows(kernel, as_is(left.S), first, lines, across, end - across, width,
              panel + (across - l) * width);
  };
  for (int r = 0; r < count; r += 8) eight(i + r, std::min(8, count - r), out + r);
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
    for (int r = 0; r < count; ++r) out[t * width + r] = left(i + r, l + t);
}

template <class Right>
void pack_columns(const Kernels&, const Right& right, int k, int count, int l, int n, int width,
                  double* out) noexcept {
  for (int t = 0; t < n; ++t)
    for (int r = 0; r < count; ++r) out[t * width + r] = right(l + t, k + r);
}

// -- results: where sum (i, k) is stored -------------------------------------------------------------

/// In a column table that is no factor; in a triangle table, i <= k.
template <class Real>
struct IntoTable {
  Real* const* C;
};

template <class Real>
IntoTable<Real> into_table(Real* const* C) noexcept {
  return {C};
}

/// In a column table that may be a factor: put(i, k, sum) as below.
template <class Real>
auto into_place(Real* const* C) noexcept {
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

/// Copies terms `range` of `lines` into a panel whose first term is l0, only those that a line has: by
/// pack(r, count, l, n, out) for `count` lines from r on that all have n terms from l on, the rest element
/// by element.
template <class Element, class Pack>
void pack_panel(Lines lines, Terms range, int terms, int l0, int width, Element element, Pack pack,
                double* panel) noexcept {
  const auto block = [&](int r, int count, Terms of) {
    if (of.size() > 0) pack(r, count, of.first, of.size(), panel + (of.first - l0) * width + r);
  };
  // Eight lines at a time: only a triangle of eight is left over.
  const auto partial = [&](Terms part) {
    for (int r0 = 0; r0 < lines.count && part.size() > 0; r0 += 8) {
      const Lines eight{lines.origin + r0, std::min(8, lines.count - r0), lines.band};
      const Terms any = part.within(eight.any(terms)), full = any.within(eight.full(terms));
      block(r0, eight.count, full);
      const bool some = full.size() > 0;
      for (int r = 0; r < eight.count; ++r)
        for (int l = any.first; l < any.end; ++l)
          if (eight.has(r, l) && !(some && l >= full.first && l < full.end))
            panel[(l - l0) * width + r0 + r] = element(r0 + r, l);
    }
  };
  const Terms any = range.within(lines.any(terms)), full = any.within(lines.full(terms));
  if (full.size() == 0) return partial(any);
  block(0, lines.count, full);
  partial({any.first, full.first});
  partial({full.end, any.end});
}

/// How a factor is read where it is not copied into panels: in its own columns.
template <class Factor>
inline constexpr bool has_columns = false;
template <class Real>
inline constexpr bool has_columns<AsIs<Real>> = true;

/// The height of the next panel when so many rows are left: two alike rather than one whole and one of
/// eight, which would wait for itself.
inline int next_panel(int rows) noexcept {
  return rows > panel_rows && rows <= panel_rows + 8 ? 16 : std::min(panel_rows, rows);
}

/// The terms in `range`, of which tile.P and tile.Q have the first: by the kernel for whole tiles where all
/// lines have them, by the masked one elsewhere.
template <class In>
void add_terms(const ElementKernels<In>& kernel, Tile<In>& tile, Lines r, Lines c, Terms range,
               int terms) noexcept {
  constexpr int most_partial = panel_rows + panel_columns;
  const Terms any = range.within(r.any(terms)).within(c.any(terms)),
              full = any.within(r.full(terms)).within(c.full(terms));
  const bool some = any.size() > 0, whole = full.size() > 0;
  const auto set = [&](int from, int to) {
    tile.first = from - range.first;
    tile.end = to - range.first;
  };
  const auto add_masked = [&](int from, int to) {
    TileMask mask[most_partial];
    for (int l = from; l < to; ++l) mask[l - from] = {r.mask(l), c.mask(l)};
    set(from, to);
    kernel.masked_tile(tile, mask);
    tile.from_zero = false;
  };
  if (some && !whole) return add_masked(any.first, any.end);
  if (some && any.first < full.first) add_masked(any.first, full.first);
  if (whole || tile.from_zero) {
    whole ? set(full.first, full.end) : set(range.first, range.first);
    kernel.tile(tile);
    tile.from_zero = false;
  }
  if (some && full.end < any.end) add_masked(full.end, any.end);
}

/// put(i, k, sum) for every result, the sum over l ascending of left(i, l) right(l, k); or C(i, k) := sum.
///
/// Why:       one kernel, a tile of sums, serves every storage, element type and transposition. It reads
///            a left factor a column at a time, and a right one eight columns side by side: straight
///            from the table where it lies so and is small, otherwise from panels of doubles.
/// Shape:     factors are read where the bands have a term and nowhere else. put may write what later
///            results do not read.
/// Order:     l ascending in every result. Blocks of 96 rows ascending; in each, for put, columns
///            ascending: results (i, k) are written before any later row or column block reads.
template <class In, bool straight_left, bool straight_right, class Left, class Right, class Result>
void product_of(const Kernels& kernel, const Extent& x, Left left, Right right,
                Result result) noexcept {
  constexpr int row_panels = 4, most_rows = row_panels * panel_rows;
  constexpr int column_panels = 12, most_columns = column_panels * panel_columns;
  constexpr int most_terms = 256, tile_size = panel_rows * panel_columns;
  constexpr std::ptrdiff_t panel_size = most_terms * panel_rows;
  constexpr bool narrow = std::is_same_v<Result, IntoTable<float>>;
  constexpr bool in_place = std::is_same_v<Result, IntoTable<double>>;  // C itself holds the sums
  const int depth = straight_left && straight_right ? std::max(x.terms, 1) : most_terms;

  alignas(64) In P[straight_left ? 1 : row_panels * panel_size];
  alignas(64) In Q[straight_right ? 1 : most_terms * panel_columns];
  alignas(64) double sums[in_place ? 1 : row_panels * column_panels][in_place ? 1 : tile_size];
  const In* panel_terms[straight_left ? 1 : most_terms];
  if constexpr (!straight_left)
    for (int t = 0; t < std::min(most_terms, x.terms); ++t) panel_terms[t] = P + t * panel_rows;

  for (int i0 = 0; i0 < x.rows; i0 += most_rows) {
    const int rows = std::min(most_rows, x.rows - i0);
    const Lines all_rows{i0, rows, x.row_band};
    const Terms row_terms = all_rows.any(x.terms);
    const int columns_at_once = in_place || row_terms.size() <= depth ? x.columns : most_columns;
    for (int k0 = 0; k0 < x.columns; k0 += columns_at_once) {
      const int columns = std::min(columns_at_once, x.columns - k0);
      if (x.upper_only && i0 >= k0 + columns) continue;
      const Terms all = row_terms.within(Lines{k0, columns, x.column_band}.any(x.terms));
      for (int l0 = all.first; l0 == all.first || l0 < all.end; l0 += depth) {
        const Terms range{l0, std::min(all.end - l0, depth) + l0};
        const bool first = l0 == all.first, last = range.end == all.end || range.size() == 0;
        if constexpr (!straight_left)
          for (int i = 0, p = 0; i < rows; i += next_panel(rows - i), ++p) {
            const Lines lines{i0 + i, next_panel(rows - i), x.row_band};
            pack_panel(
                lines, range, x.terms, l0, panel_rows,
                [&](int r, int l) { return left(lines.origin + r, l); },
                [&](int r, int count, int l, int n, double* out) {
                  pack_rows(kernel, left, lines.origin + r, count, l, n, panel_rows, out);
                },
                P + p * panel_size);
          }
        const int first_panel = x.upper_only ? std::max(0, (i0 - k0) / panel_columns) : 0;
        for (int k = first_panel * panel_columns; k < columns; k += panel_columns) {
          const Lines c{k0 + k, std::min(panel_columns, columns - k), x.column_band};
          Tile<In> tile;
          tile.columns = c.count;
          if constexpr (straight_right) {
            tile.step = 1;
            for (int j = 0; j < panel_columns; ++j)
              tile.Q[j] =
                  range.size() > 0 ? right.A[c.origin + std::min(j, c.count - 1)] + l0 : nullptr;
          } else {
            tile.step = panel_columns;
            for (int j = 0; j < panel_columns; ++j) tile.Q[j] = Q + j;
            pack_panel(
                c, range, x.terms, l0, panel_columns,
                [&](int j, int l) { return right(l, c.origin + j); },
                [&](int j, int count, int l, int n, double* out) {
                  pack_columns(kernel, right, c.origin + j, count, l, n, panel_columns, out);
                },
                Q);
          }
          for (int i = 0, p = 0; i < rows; i += next_panel(rows - i), ++p) {
            if (x.upper_only && i0 + i >= c.origin + c.count) break;
            const Lines r{i0 + i, next_panel(rows - i), x.row_band};
            tile.rows = r.count;
            if constexpr (straight_left) {
              tile.P = left.A + l0;
              tile.row = r.origin;
            } else {
              tile.P = panel_terms;
              tile.row = p * panel_size;
            }
            tile.from_zero = first;
            const bool crossing = x.upper_only && c.origin < r.origin + r.count - 1;
            tile.level = c.count == panel_columns && !crossing;
            if (!tile.level)
              for (int j = 0; j < panel_columns; ++j) {
                const int rows_of_column = j < c.count ? r.count : 0;
                tile.height[j] = crossing ? std::clamp(c.origin + j + 1 - r.origin, 0, rows_of_column)
                                          : rows_of_column;
              }
            if constexpr (in_place) {
              for (int j = 0; j < panel_columns; ++j)
                tile.sums[j] = result.C[c.origin + std::min(j, c.count - 1)] + r.origin;
              add_terms(kernel.of<In>(), tile, r, c, range, x.terms);
            } else {
              double* sum = sums[range.size() == all.size() ? 0 : k / panel_columns * row_panels + p];
              for (int j = 0; j < panel_columns; ++j) tile.sums[j] = sum + j * panel_rows;
              add_terms(kernel.of<In>(), tile, r, c, range, x.terms);
              if (!last) continue;
              for (int j = 0; j < c.count; ++j) {
                const int height = tile.level ? r.count : tile.height[j];
                if constexpr (narrow)
                  std::copy_n(sum + j * panel_rows, height, result.C[c.origin + j] + r.origin);
                else
                  for (int e = 0; e < height; ++e)
                    result(r.origin + e, c.origin + j, sum[j * panel_rows + e]);
              }
            }
          }
        }
      }
    }
  }
}

template <class Left, class Right, class Result>
void product(const Extent& x, Left left, Right right, Result result) noexcept {
  const Kernels& kernel = kernels();
  // A column table can be read where it lies. Taller ones than this keep no panel in the nearest caches;
  // float elements are converted at every use, which pays for few.
  constexpr int tall = 192, few_floats = 16;
  if constexpr (std::is_same_v<Left, AsIs<double>>) {
    constexpr bool straight_right = std::is_same_v<Right, AsIs<double>>;
    if (x.rows <= tall || x.columns <= panel_columns)
      return product_of<double, true, straight_right>(kernel, x, left, right, result);
    product_of<double, false, straight_right>(kernel, x, left, right, result);
  } else if constexpr (std::is_same_v<Left, AsIs<float>> && std::is_same_v<Right, AsIs<float>>) {
    if (x.rows <= few_floats) return product_of<float, true, true>(kernel, x, left, right, result);
    product_of<double, false, false>(kernel, x, left, right, result);
  } else {
    product_of<double, false, std::is_same_v<Right, AsIs<double>>>(kernel, x, left, right, result);
  }
}

}  // namespace tabfit

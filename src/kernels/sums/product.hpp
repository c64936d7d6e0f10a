// kernels/sums/product.hpp - one product for every kind of factor and every band of terms.
#pragma once

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/panel.hpp"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace tabfit {

// -- factors: element (i, j), whichever way it is stored ----------------------------------------------
//
// A factor that knows how it is stored also copies n terms, from l on, of neighbouring lines into a
// panel of `width` lines: pack_rows the lines of a left factor, pack_columns those of a right one.

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

/// Terms before the diagonal block of eight lines run along columns of the triangle, those behind it
/// across.
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
/// pack(r, count, l, n, out) for `count` lines from r on that all have n terms from l on, the rest
/// element by element.
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

/// The height of the next panel when so many rows are left: two alike rather than one whole and one of
/// eight, which would wait for itself.
inline int next_panel(int rows) noexcept {
  return rows > panel_rows && rows <= panel_rows + 8 ? 16 : std::min(panel_rows, rows);
}

/// The terms in `range`, of which tile.P and tile.Q have the first: by the kernel for whole tiles where
/// all lines have them, by the masked one elsewhere.
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

/// A product in work.
///
/// Why:       one kernel, a tile of sums, serves every storage, element type and transposition. It
///            reads a left factor a column at a time, and a right one eight columns side by side:
///            straight from the table where it lies so and is small, otherwise from panels of doubles.
/// Shape:     factors are read where the bands have a term and nowhere else.
/// Order:     l ascending in every result. Blocks of 96 rows ascending, and in each columns ascending:
///            results are put before any later row or column is read for other results.
template <class In, bool straight_left, bool straight_right, class Left, class Right, class Result>
class Product {
 public:
  Product(const Kernels& kernel, const Extent& extent, Left left, Right right, Result result) noexcept
      : kernel_(kernel), x_(extent), left_(left), right_(right), result_(result) {
    if constexpr (!straight_left)
      for (int t = 0; t < std::min(most_terms, x_.terms); ++t) panel_terms_[t] = P_ + t * panel_rows;
  }

  void form() noexcept {
    const int depth = straight_left && straight_right ? std::max(x_.terms, 1) : most_terms;
    for (int i0 = 0; i0 < x_.rows; i0 += most_rows) {
      const Lines rows{i0, std::min(most_rows, x_.rows - i0), x_.row_band};
      const Terms row_terms = rows.any(x_.terms);
      const int at_once = in_place || row_terms.size() <= depth ? x_.columns : most_columns;
      for (int k0 = 0; k0 < x_.columns; k0 += at_once) {
        const Lines columns{k0, std::min(at_once, x_.columns - k0), x_.column_band};
        const Terms all = row_terms.within(columns.any(x_.terms));
        int l0 = all.first;
        do {
          const Terms range{l0, l0 + std::clamp(all.end - l0, 0, depth)};
          form_block(rows, columns, range, l0 == all.first, range.end >= all.end);
          l0 += depth;
        } while (l0 < all.end);
      }
    }
  }

 private:
  static constexpr int row_panels = 4, most_rows = row_panels * panel_rows;
  static constexpr int column_panels = 12, most_columns = column_panels * panel_columns;
  static constexpr int most_terms = 256, tile_size = panel_rows * panel_columns;
  static constexpr std::ptrdiff_t panel_size = most_terms * panel_rows;
  static constexpr bool narrow = std::is_same_v<Result, IntoTable<float>>;
  static constexpr bool in_place = std::is_same_v<Result, IntoTable<double>>;  // C itself holds sums

  /// What the terms in `range` contribute to the results of a block; `first` and `last` say which end
  /// of all terms is among them.
  void form_block(Lines rows, Lines columns, Terms range, bool first, bool last) noexcept {
    if (x_.upper_only && rows.origin >= columns.origin + columns.count) return;
    if constexpr (!straight_left)
      each_panel(rows, [&](Lines r, int p) {
        pack_panel(
            r, range, x_.terms, range.first, panel_rows,
            [&](int i, int l) { return left_(r.origin + i, l); },
            [&](int i, int count, int l, int n, double* out) {
              pack_rows(kernel_, left_, r.origin + i, count, l, n, panel_rows, out);
            },
            P_ + p * panel_size);
      });

    const int above = x_.upper_only ? std::max(0, rows.origin - columns.origin) / panel_columns : 0;
    for (int q = above; q * panel_columns < columns.count; ++q) {
      const int k = q * panel_columns;
      const Lines c{columns.origin + k, std::min(panel_columns, columns.count - k), x_.column_band};
      Tile<In> tile;
      tile.columns = c.count;
      take_columns(c, range, tile);
      each_panel(rows, [&](Lines r, int p) {
        if (x_.upper_only && r.origin >= c.origin + c.count) return;
        tile.from_zero = first;
        take_rows(r, p, range, tile);
        take_heights(r, c, tile);
        double* own = sums_[in_place || (first && last) ? 0 : q * row_panels + p];
        for (int j = 0; j < panel_columns; ++j)
          if constexpr (in_place)
            tile.sums[j] = result_.C[c.origin + std::min(j, c.count - 1)] + r.origin;
          else
            tile.sums[j] = own + j * panel_rows;
        add_terms(kernel_.of<In>(), tile, r, c, range, x_.terms);
        if (last && !in_place) put(r, c, tile, own);
      });
    }
  }

  /// f(panel, number) for the panels of a block of rows.
  template <class F>
  static void each_panel(Lines rows, F f) noexcept {
    for (int i = 0, p = 0; i < rows.count; ++p) {
      const int height = next_panel(rows.count - i);
      f(Lines{rows.origin + i, height, rows.band}, p);
      i += height;
    }
  }

  void take_rows(Lines r, int p, Terms range, Tile<In>& tile) noexcept {
    tile.rows = r.count;
    if constexpr (straight_left) {
      tile.P = left_.A + range.first;
      tile.row = r.origin;
    } else {
      tile.P = panel_terms_;
      tile.row = p * panel_size;
    }
  }

  void take_columns(Lines c, Terms range, Tile<In>& tile) noexcept {
    if constexpr (straight_right) {
      tile.step = 1;
      for (int j = 0; j < panel_columns; ++j)
        tile.Q[j] =
            range.size() > 0 ? right_.A[c.origin + std::min(j, c.count - 1)] + range.first : nullptr;
    } else {
      tile.step = panel_columns;
      for (int j = 0; j < panel_columns; ++j) tile.Q[j] = Q_ + j;
      pack_panel(
          c, range, x_.terms, range.first, panel_columns,
          [&](int j, int l) { return right_(l, c.origin + j); },
          [&](int j, int count, int l, int n, double* out) {
            pack_columns(kernel_, right_, c.origin + j, count, l, n, panel_columns, out);
          },
          Q_);
    }
  }

  void take_heights(Lines r, Lines c, Tile<In>& tile) const noexcept {
    const bool crossed = x_.upper_only && c.origin < r.origin + r.count - 1;  // by the diagonal
    tile.level = c.count == panel_columns && !crossed;
    if (tile.level) return;
    for (int j = 0; j < panel_columns; ++j) {
      const int most = j < c.count ? r.count : 0;
      tile.height[j] = crossed ? std::clamp(c.origin + j + 1 - r.origin, 0, most) : most;
    }
  }

  void put(Lines r, Lines c, const Tile<In>& tile, const double* own) noexcept {
    for (int j = 0; j < c.count; ++j, own += panel_rows) {
      const int height = tile.level ? r.count : tile.height[j];
      if constexpr (narrow)
        std::copy_n(own, height, result_.C[c.origin + j] + r.origin);
      else if constexpr (!in_place)
        for (int i = 0; i < height; ++i) result_(r.origin + i, c.origin + j, own[i]);
    }
  }

  const Kernels& kernel_;
  const Extent x_;
  const Left left_;
  const Right right_;
  Result result_;
  alignas(64) In P_[straight_left ? 1 : row_panels * panel_size];
  alignas(64) In Q_[straight_right ? 1 : most_terms * panel_columns];
  alignas(64) double sums_[in_place ? 1 : row_panels * column_panels][in_place ? 1 : tile_size];
  const In* panel_terms_[straight_left ? 1 : most_terms];
};

/// put(i, k, sum) for every result, the sum over l ascending of left(i, l) right(l, k), or C(i, k) :=
/// sum. put may write what later results do not read.
template <class Left, class Right, class Result>
void product(const Extent& x, Left left, Right right, Result result) noexcept {
  const Kernels& kernel = kernels();
  // A column table can be read where it lies. Taller ones than this keep no panel in the nearest
  // caches; float elements are converted at every use, which pays for few.
  constexpr int tall = 192, few_floats = 16;
  if constexpr (std::is_same_v<Left, AsIs<double>>) {
    constexpr bool straight_right = std::is_same_v<Right, AsIs<double>>;
    if (x.rows <= tall || x.columns <= panel_columns)
      return Product<double, true, straight_right, Left, Right, Result>(kernel, x, left, right, result)
          .form();
    Product<double, false, straight_right, Left, Right, Result>(kernel, x, left, right, result).form();
  } else if constexpr (std::is_same_v<Left, AsIs<float>> && std::is_same_v<Right, AsIs<float>>) {
    if (x.rows <= few_floats)
      return Product<float, true, true, Left, Right, Result>(kernel, x, left, right, result).form();
    Product<double, false, false, Left, Right, Result>(kernel, x, left, right, result).form();
  } else {
    Product<double, false, std::is_same_v<Right, AsIs<double>>, Left, Right, Result>(kernel, x, left,
                                                                                     right, result)
        .form();
  }
}

}  // namespace tabfit

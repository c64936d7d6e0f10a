// kernels/sums/product.cpp - one product, cut into tiles of sums.
#include "kernels/sums/product.hpp"

#include "kernels/scalar/arithmetic.hpp"

#include <algorithm>

namespace tabfit {
namespace {

// -- terms and lines --------------------------------------------------------------------------------

/// Terms first..end-1.
struct Terms {
  int first, end;

  Terms within(Terms other) const noexcept {
    return {std::max(first, other.first), std::min(end, other.end)};
  }
  int size() const noexcept { return std::max(end - first, 0); }
};

/// Neighbouring lines, rows of the left factor or columns of the right one, with their band.
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
  /// The `n` of them from the one of number r on.
  Lines part(int r, int n) const noexcept { return {origin + r, std::min(n, count - r), band}; }
  /// Which of them have term t of a range that begins at l0.
  Edge edge(int l0) const noexcept { return {band, origin - l0}; }
};

// -- packing ----------------------------------------------------------------------------------------

/// f(r, n) for eight of a panel's lines at a time, n from line r on. Packing fills up to eight places
/// or to the panel's width: where that is no multiple of eight, the first lines are fewer.
template <class F>
void each_few(int count, int width, F f) noexcept {
  for (int r = 0, n = width % 8 ? width % 8 : 8; r < count; r += n, n = 8) f(r, std::min(n, count - r));
}

/// out[t * width + r] = element (line + r, term + t) of a factor, for r < count, t < n.
template <class Real>
void pack(const ElementKernels<Real>& kernel, Factor<Real> from, int line, int count, int term, int n,
          int width, double* out) noexcept {
  if (from.storage == Storage::as_is)
    return kernel.pack_lines(from.table + term, line, count, n, width, out);
  if (from.storage == Storage::transposed)
    return kernel.pack_terms(from.table + line, term, count, n, width, out);
  // Of a few lines, terms before the diagonal block run along columns of the triangle, those behind it
  // across.
  each_few(count, width, [&](int r, int lines) {
    const int first = line + r, end = term + n, block = std::clamp(first, term, end),
              behind = std::clamp(first + lines, term, end);
    kernel.pack_terms(from.table + first, term, lines, block - term, width, out + r);
    for (int t = block; t < behind; ++t)
      for (int i = 0; i < lines; ++i) out[(t - term) * width + r + i] = from(first + i, t);
    kernel.pack_lines(from.table + behind, first, lines, end - behind, width,
                      out + (behind - term) * width + r);
  });
}

/// Copies the terms of `range` into a panel, term l of line r to panel[(l - range.first) * width + r];
/// of a line only the terms that it has.
template <class Real>
void pack_panel(const ElementKernels<Real>& kernel, Factor<Real> from, Lines lines, Terms range,
                int terms, int width, double* panel) noexcept {
  if (lines.band == Band::all)
    return pack(kernel, from, lines.origin, lines.count, range.first, range.size(), width, panel);
  const auto place = [=](int r, int l) { return panel + (l - range.first) * width + r; };
  const auto block = [&](int r, int count, Terms of) {
    if (of.size() > 0)
      pack(kernel, from, lines.origin + r, count, of.first, of.size(), width, place(r, of.first));
  };
  const Terms any = range.within(lines.any(terms)), full = any.within(lines.full(terms));
  block(0, lines.count, full);
  if (full.size() == any.size()) return;

  // What only some lines have lies on one side; of a few lines only a triangle is left over.
  const bool before = lines.band == Band::to_l, none = full.size() == 0;
  const Terms rest = none ? any : before ? Terms{any.first, full.first} : Terms{full.end, any.end};
  each_few(lines.count, width, [&](int r, int n) {
    const Lines few = lines.part(r, n);
    const Terms some = rest.within(few.any(terms)), all = some.within(few.full(terms));
    block(r, n, all);
    const Terms triangle = all.size() == 0 ? some
                           : before        ? Terms{some.first, all.first}
                                           : Terms{all.end, some.end};
    for (int i = 0; i < n; ++i) {
      const Terms own = triangle.within(few.part(i, 1).any(terms));
      for (int l = own.first; l < own.end; ++l) *place(r + i, l) = from(few.origin + i, l);
    }
  });
}

// -- tiles ------------------------------------------------------------------------------------------

/// The height of the next panel when so many rows are left: two alike rather than one whole and one of
/// a third, whose few sums would wait for themselves.
int next_panel(const Kernels& kernel, int rows) noexcept {
  const int third = kernel.lanes, whole = 3 * third;
  return rows > whole && rows <= whole + third ? 2 * third : std::min(whole, rows);
}

/// f(panel, number) for the panels of some rows.
template <class F>
void each_panel(const Kernels& kernel, Lines rows, F f) noexcept {
  for (int i = 0, p = 0; i < rows.count; ++p) {
    const int height = next_panel(kernel, rows.count - i);
    f(rows.part(i, height), p);
    i += height;
  }
}

/// A product of which nothing needs to be moved: both factors are column tables, and the sums are
/// formed where they stay.
void straight(const Kernels& kernel, const Extent& x, const double* const* A, const double* const* B,
              double* const* C) noexcept {
  Tile tile{.P = A, .end = x.terms};
  for (int k = 0; k < x.columns; k += panel_columns) {
    tile.Q = B + k;
    tile.sums = C + k;
    tile.columns = std::min(panel_columns, x.columns - k);
    for (int i = 0; i < x.rows; i += tile.rows) {
      tile.row = tile.place = i;
      tile.rows = next_panel(kernel, x.rows - i);
      kernel.tile(tile);
    }
  }
}

/// A column table can be read where it lies. Taller ones than this keep no panel in the nearest caches.
constexpr int tall = 192;

/// A product in work.
///
/// Why:       the panels of a block of rows and one panel of columns stay in the near caches while
///            every tile of the block reads them.
/// Shape:     P_ holds a block of rows, panel after panel, in each term after term. Q_ holds eight
///            columns, term after term, or, of a table of floats, column after column.
/// Invariant: after a range of terms the sums of its block have all terms up to its end.
/// Order:     blocks of rows, in each columns, in each terms, all ascending.
template <class Real>
class Product {
 public:
  Product(const Kernels& kernel, const Extent& x, Factor<Real> left, Factor<Real> right,
          Into<Real> into) noexcept;
  void form() noexcept;

 private:
  static constexpr int most_rows = 96, most_columns = 48, most_terms = 256;
  static constexpr int column_stride = most_terms + 8;  // packing fills up to a multiple of 8

  void form_block(Lines rows, Lines columns, Terms range, bool first, bool last) noexcept;
  void take_rows(Lines r, int p, Terms range, Tile& tile) const noexcept;
  void take_columns(Lines c, Terms range, Tile& tile) noexcept;
  void add_terms(Lines r, Lines c, Terms range, Tile& tile) const noexcept;
  void put(Lines rows, Lines c, std::ptrdiff_t place) const noexcept;
  std::ptrdiff_t panel(int p) const noexcept { return std::ptrdiff_t{p} * most_terms * height_; }

  const Kernels& kernel_;
  const Extent& x_;
  const Factor<Real> left_, right_;
  const Into<Real> into_;
  const int height_;                      ///< of a whole panel of rows
  const bool left_lies_, right_lies_;     ///< in a table that tiles can read
  const double* terms_[most_terms];       ///< of the first panel in P_
  const double* columns_[panel_columns];  ///< of Q_
  double* sums_[panel_columns];           ///< columns of own_
  alignas(64) double P_[most_rows * most_terms];
  alignas(64) double Q_[panel_columns * column_stride];
  alignas(64) double own_[most_rows * most_columns];  ///< sums that may not stand where they go
};

template <class Real>
Product<Real>::Product(const Kernels& kernel, const Extent& x, Factor<Real> left, Factor<Real> right,
                       Into<Real> into) noexcept
    : kernel_(kernel),
      x_(x),
      left_(left),
      right_(right),
      into_(into),
      height_(3 * kernel.lanes),
      left_lies_(is_double<Real> && left.storage == Storage::as_is &&
                 (x.rows <= tall || x.columns <= panel_columns)),
      right_lies_(is_double<Real> && right.storage == Storage::as_is) {
  if (!left_lies_) {
    const double* at = P_;
    for (int t = 0; t < std::min(most_terms, x.terms); ++t, at += height_) terms_[t] = at;
  }
  for (int c = 0; c < panel_columns; ++c) {
    columns_[c] = Q_ + c * (right.storage == Storage::as_is ? column_stride : 1);
    sums_[c] = own_ + c * most_rows;
  }
}

template <class Real>
void Product<Real>::form() noexcept {
  const int depth = left_lies_ && right_lies_ ? std::max(x_.terms, 1) : most_terms;
  for (int i = 0; i < x_.rows; i += most_rows) {
    const Lines rows{i, std::min(most_rows, x_.rows - i), x_.row_band};
    const Terms row_terms = rows.any(x_.terms);
    const int width = into_.sums || row_terms.size() <= depth ? x_.columns : most_columns;
    for (int k = 0; k < x_.columns; k += width) {
      const Lines columns{k, std::min(width, x_.columns - k), x_.column_band};
      const Terms all = row_terms.within(columns.any(x_.terms));
      int l = all.first;
      do {
        const Terms range{l, l + std::clamp(all.end - l, 0, depth)};
        form_block(rows, columns, range, l == all.first, range.end >= all.end);
        l += depth;
      } while (l < all.end);
    }
  }
}

/// What the terms in `range` contribute to the results of a block; `first` and `last` say which end of
/// all terms is among them.
template <class Real>
void Product<Real>::form_block(Lines rows, Lines columns, Terms range, bool first, bool last) noexcept {
  if (x_.upper_only && rows.origin >= columns.origin + columns.count) return;
  if (!left_lies_)
    each_panel(kernel_, rows, [&](Lines r, int p) {
      pack_panel(kernel_.of<Real>(), left_, r, range, x_.terms, height_, P_ + panel(p));
    });

  const int above = x_.upper_only ? std::max(0, rows.origin - columns.origin) / panel_columns : 0;
  for (int q = above; q * panel_columns < columns.count; ++q) {
    const Lines c = columns.part(q * panel_columns, panel_columns);
    const std::ptrdiff_t place = first && last ? 0 : q * panel_columns * most_rows;
    Tile tile{.sums = into_.sums ? into_.sums + c.origin : sums_, .columns = c.count};
    take_columns(c, range, tile);
    each_panel(kernel_, rows, [&](Lines r, int p) {
      if (x_.upper_only && r.origin >= c.origin + c.count) return;
      take_rows(r, p, range, tile);
      tile.place = into_.sums ? r.origin : place + r.origin - rows.origin;
      tile.from_zero = first;
      tile.corner = x_.upper_only ? c.origin + 1 - r.origin : panel_rows;
      add_terms(r, c, range, tile);
    });
    if (last && !into_.sums) put(rows, c, place);
  }
}

template <class Real>
void Product<Real>::take_rows(Lines r, int p, Terms range, Tile& tile) const noexcept {
  tile.rows = r.count;
  tile.P = terms_;
  tile.row = panel(p);
  if constexpr (is_double<Real>)
    if (left_lies_) {
      tile.P = left_.table + range.first;
      tile.row = r.origin;
    }
}

template <class Real>
void Product<Real>::take_columns(Lines c, Terms range, Tile& tile) noexcept {
  tile.Q = columns_;
  if (range.size() == 0) return;  // no column need exist
  if constexpr (is_double<Real>)
    if (right_lies_) {
      tile.Q = right_.table + c.origin;
      tile.term = range.first;
      return;
    }
  const auto& kernel = kernel_.of<Real>();
  if (right_.storage != Storage::as_is) {
    tile.step = panel_columns;
    return pack_panel(kernel, right_.turned(), c, range, x_.terms, panel_columns, Q_);
  }
  if (c.band == Band::all)
    return kernel.pack_lines(right_.table + c.origin, range.first, range.size(), c.count, column_stride,
                             Q_);
  for (int j = 0; j < c.count; ++j) {
    const Terms own = range.within(c.part(j, 1).any(x_.terms));
    if (own.size() > 0)
      kernel.pack_lines(right_.table + c.origin + j, own.first, own.size(), 1, column_stride,
                        Q_ + j * column_stride + own.first - range.first);
  }
}

/// Adds the terms in `range`: those that all rows and columns of the tile have in one go, others by
/// band.
template <class Real>
void Product<Real>::add_terms(Lines r, Lines c, Terms range, Tile& tile) const noexcept {
  tile.first = 0;
  tile.end = range.size();
  if (r.band == Band::all && c.band == Band::all) return kernel_.tile(tile);
  const Terms any = range.within(r.any(x_.terms)).within(c.any(x_.terms)),
              full = any.within(r.full(x_.terms)).within(c.full(x_.terms));
  tile.first = any.first - range.first;
  tile.end = any.end - range.first;
  if (full.size() < any.size())
    kernel_.banded_tile(tile, r.edge(range.first), c.edge(range.first));
  else if (any.size() > 0 || tile.from_zero)
    kernel_.tile(tile);
}

template <class Real>
void Product<Real>::put(Lines rows, Lines c, std::ptrdiff_t place) const noexcept {
  for (int j = 0; j < c.count; ++j) {
    const int height = x_.upper_only ? c.origin + j + 1 - rows.origin : rows.count;
    std::copy_n(sums_[j] + place, std::min(height, rows.count),
                into_.elements[c.origin + j] + rows.origin);
  }
}

}  // namespace

template <class Real>
void product(const Kernels& kernel, const Extent& x, Factor<Real> left, Factor<Real> right,
             Into<Real> into) noexcept {
  if constexpr (is_double<Real>)
    if (left.storage == Storage::as_is && right.storage == Storage::as_is && into.sums && x.terms > 0 &&
        x.row_band == Band::all && x.column_band == Band::all && !x.upper_only &&
        (x.rows <= tall || x.columns <= panel_columns))
      return straight(kernel, x, left.table, right.table, into.sums);
  Product<Real>(kernel, x, left, right, into).form();
}

template void product(const Kernels&, const Extent&, Factor<float>, Factor<float>,
                      Into<float>) noexcept;
template void product(const Kernels&, const Extent&, Factor<double>, Factor<double>,
                      Into<double>) noexcept;

}  // namespace tabfit

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

  /// The terms that at least one of them has.
  Terms any(int terms) const noexcept {
    if (band == Band::to_l) return {std::max(origin, 0), terms};
    if (band == Band::from_l) return {0, std::min(terms, origin + count)};
    return {0, terms};
  }
  /// The `n` of them from the one of number r on.
  Lines part(int r, int n) const noexcept { return {origin + r, std::min(n, count - r), band}; }
  /// Which of them have term t of a range that begins at l0.
  Edge edge(int l0) const noexcept { return {band, origin - l0}; }
};

// -- packing ----------------------------------------------------------------------------------------

/// Copies the terms of `range` into a panel, term l of line r to panel[(l - range.first) * width + r];
/// of a line only the terms that it has.
template <class Real>
void pack(const ElementKernels<Real>& kernel, const Factor<Real>& from, const Lines& lines,
          const Terms& range, int width, double* panel) noexcept {
  if (range.size() == 0) return;  // no line need exist
  const auto along = [&](Edge edge) {
    kernel.pack_lines(from.table + range.first, lines.origin, lines.count, range.size(), width, panel,
                      edge);
  };
  const auto across = [&](Edge edge) {
    kernel.pack_terms(from.table + lines.origin, range.first, lines.count, range.size(), width, panel,
                      edge);
  };
  const Edge edge = lines.edge(range.first);
  if (from.storage == Storage::as_is) return along(edge);
  if (from.storage == Storage::transposed) return across(edge);
  // Up to the diagonal the terms of a line run along a column of the triangle, from there on across.
  // Whole vectors are written across, and what belongs along is written after them.
  across({Band::from_l, edge.at - 1});
  along({Band::to_l, edge.at});
}

// -- tiles ------------------------------------------------------------------------------------------

/// Where a tile finds its factors; see Tile.
struct Rows {
  const double* const* P;
  std::ptrdiff_t row;
};
struct Columns {
  const double* const* Q;
  std::ptrdiff_t term, step;
};

/// A product in work.
///
/// Why:       a block of rows and some columns stay in the near caches while every tile of the block
///            reads them.
/// Shape:     P_ holds a block of rows, term after term. Q_ holds some columns, term after term, or, of
///            a table of floats, column after column.
/// Invariant: after a range of terms the sums of its block have all terms up to its end.
/// Order:     blocks of rows, in each columns, in each terms, all ascending.
template <class Real>
class Product {
 public:
  Product(const Kernels& kernel, const Extent& x, const Factor<Real>& left, const Factor<Real>& right,
          const Into<Real>& into) noexcept;
  void form() noexcept;

 private:
  static constexpr int most_rows = 72, most_columns = 176, most_terms = 256, at_once = 64;
  static constexpr int room = 8 * (most_terms + 8);  // of Q_; packing fills up to a multiple of 8

  bool form_at_once() noexcept;
  void form_block(Lines rows, Lines columns, Terms range, bool first, bool last) noexcept;
  Rows take_rows(const Lines& rows, const Terms& range) noexcept;
  Columns take_columns(const Lines& c, const Terms& range) noexcept;
  double* const* final_sums(int k) const noexcept;
  float* const* final_floats(int k) const noexcept;
  void put(Lines rows, Lines c, std::ptrdiff_t first) const noexcept;

  const Kernels& kernel_;
  const Extent& x_;
  const Factor<Real>&left_, &right_;
  const Into<Real>& into_;
  const bool left_lies_, right_lies_;  ///< in a table that tiles can read
  const double* terms_[most_terms];    ///< of P_
  const double* columns_[at_once];     ///< of Q_
  double* sums_[most_columns];         ///< columns of own_
  alignas(64) double P_[most_rows * most_terms];
  alignas(64) double Q_[room];
  alignas(64) double own_[most_rows * most_columns];  ///< sums that may not stand where they go
};

template <class Real>
Product<Real>::Product(const Kernels& kernel, const Extent& x, const Factor<Real>& left,
                       const Factor<Real>& right, const Into<Real>& into) noexcept
    : kernel_(kernel),
      x_(x),
      left_(left),
      right_(right),
      into_(into),
      left_lies_(is_double<Real> && left.storage == Storage::as_is &&
                 (x.rows <= tall || x.columns <= panel_columns)),
      right_lies_(is_double<Real> && right.storage == Storage::as_is) {}

/// A product whose factors both find room; nothing is formed if they do not.
template <class Real>
bool Product<Real>::form_at_once() noexcept {
  if (x_.rows < 1 || x_.columns < 1) return true;
  const int terms = std::max(x_.terms, 0);
  if (x_.rows > most_rows || terms > most_terms || x_.columns > at_once) return false;
  const int stride = right_.storage == Storage::as_is ? (terms + 15) / 8 * 8 : terms;
  if ((x_.columns + 7) / 8 * 8 * stride > room) return false;
  const Rows rows = take_rows({0, x_.rows, x_.row_band}, {0, terms});
  const Columns columns = take_columns({0, x_.columns, x_.column_band}, {0, terms});
  kernel_.tile({.P = rows.P,
                .row = rows.row,
                .Q = columns.Q,
                .term = columns.term,
                .step = columns.step,
                .sums = into_.sums ? into_.sums : final_sums(0),
                .rounded = final_floats(0),
                .rows = x_.rows,
                .columns = x_.columns,
                .end = terms,
                .corner = x_.upper_only ? 1 : Tile::everywhere,
                .row_edge = {x_.row_band, 0},
                .column_edge = {x_.column_band, 0}});
  return true;
}

template <class Real>
void Product<Real>::form() noexcept {
  if (form_at_once()) return;
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
  // Of few terms more columns find room.
  const int group = std::clamp(room / (range.size() + 16) / 8 * 8, panel_columns, at_once);
  const bool own = !into_.sums && !(first && last);
  const Rows r = take_rows(rows, range);
  const int above = x_.upper_only ? std::max(0, rows.origin - columns.origin) / group * group : 0;
  for (int k = above; k < columns.count; k += group) {
    const Lines c = columns.part(k, group);
    const Columns q = take_columns(c, range);
    if (own)
      for (int j = 0; j < c.count; ++j) sums_[j] = own_ + (k + j) * most_rows;
    kernel_.tile({.P = r.P,
                  .row = r.row,
                  .Q = q.Q,
                  .term = q.term,
                  .step = q.step,
                  .sums = own          ? sums_
                          : into_.sums ? into_.sums + c.origin
                                       : final_sums(c.origin),
                  .place = own ? 0 : rows.origin,
                  .rounded = last ? final_floats(c.origin) : nullptr,
                  .target = rows.origin,
                  .rows = rows.count,
                  .columns = c.count,
                  .end = range.size(),
                  .from_zero = first,
                  .corner = x_.upper_only ? c.origin + 1 - rows.origin : Tile::everywhere,
                  .row_edge = rows.edge(range.first),
                  .column_edge = c.edge(range.first)});
    if (is_double<Real> && own && last) put(rows, c, k);
  }
}

/// The elements from column k on, if they are doubles, or floats; otherwise null.
template <class Real>
double* const* Product<Real>::final_sums([[maybe_unused]] int k) const noexcept {
  if constexpr (is_double<Real>)
    return into_.elements ? into_.elements + k : nullptr;
  else
    return nullptr;
}
template <class Real>
float* const* Product<Real>::final_floats([[maybe_unused]] int k) const noexcept {
  if constexpr (is_double<Real>)
    return nullptr;
  else
    return into_.elements ? into_.elements + k : nullptr;
}

template <class Real>
Rows Product<Real>::take_rows(const Lines& rows, const Terms& range) noexcept {
  if constexpr (is_double<Real>)
    if (left_lies_) return {left_.table + range.first, rows.origin};
  const int width = (rows.count + 7) / 8 * 8;
  pack(kernel_.of<Real>(), left_, rows, range, width, P_);
  const double* at = P_;
  for (int t = 0; t < range.size(); ++t, at += width) terms_[t] = at;
  return {terms_, 0};
}

template <class Real>
Columns Product<Real>::take_columns(const Lines& c, const Terms& range) noexcept {
  if constexpr (is_double<Real>)
    if (right_lies_ && range.size() > 0) return {right_.table + c.origin, range.first, 1};
  const bool as_is = right_.storage == Storage::as_is;
  const int stride = (range.size() + 7) / 8 * 8 + 8, count = (c.count + 7) / 8 * 8;
  const double* at = Q_;
  for (int j = 0; j < c.count; ++j, at += as_is ? stride : 1) columns_[j] = at;
  if (range.size() == 0) return {columns_, 0, 1};  // no column need exist
  if (!as_is) {
    pack(kernel_.of<Real>(), right_.turned(), c, range, count, Q_);
    return {columns_, 0, count};
  }
  // The lines are columns here: term l is number l - range.first of line k - c.origin.
  const Band band = c.band == Band::to_l     ? Band::from_l
                    : c.band == Band::from_l ? Band::to_l
                                             : Band::all;
  kernel_.of<Real>().pack_lines(right_.table + c.origin, range.first, range.size(), c.count, stride, Q_,
                                {band, range.first - c.origin});
  return {columns_, 0, 1};
}

/// Moves final sums into their places.
template <class Real>
void Product<Real>::put(Lines rows, Lines c, std::ptrdiff_t first) const noexcept {
  for (int j = 0; j < c.count; ++j) {
    const int height = x_.upper_only ? c.origin + j + 1 - rows.origin : rows.count;
    std::copy_n(own_ + (first + j) * most_rows, std::min(height, rows.count),
                into_.elements[c.origin + j] + rows.origin);
  }
}

}  // namespace

template <class Real>
void form_product(const Kernels& kernel, const Extent& x, const Factor<Real>& left,
                  const Factor<Real>& right, const Into<Real>& into) noexcept {
  Product<Real>(kernel, x, left, right, into).form();
}

template void form_product(const Kernels&, const Extent&, const Factor<float>&, const Factor<float>&,
                           const Into<float>&) noexcept;
template void form_product(const Kernels&, const Extent&, const Factor<double>&, const Factor<double>&,
                           const Into<double>&) noexcept;

}  // namespace tabfit

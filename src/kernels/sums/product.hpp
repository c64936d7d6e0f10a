// kernels/sums/product.hpp - one product for every kind of factor, every band of terms, every result.
#pragma once

#include "kernels/sums/panel.hpp"

namespace tabfit {

/// How the elements (i, j) of a factor stand in its table T.
enum class Storage {
  as_is,       ///< T[j][i]: a column table; of an upper-triangular one, i <= j
  transposed,  ///< T[i][j]: the transpose of a column table; of an upper-triangular one, i >= j
  symmetric,   ///< T[j][i] for i <= j, T[i][j] for i > j: a triangle table
};

template <class Real>
struct Factor {
  const Real* const* table;
  Storage storage;

  double operator()(int i, int j) const noexcept {
    const bool own = storage == Storage::as_is || (storage == Storage::symmetric && i <= j);
    return own ? table[j][i] : table[i][j];
  }
  /// The transpose.
  Factor turned() const noexcept {
    return {table, storage == Storage::as_is        ? Storage::transposed
                   : storage == Storage::transposed ? Storage::as_is
                                                    : storage};
  }
};

/// A vector x is a table of one column: as_is(&x).
template <class Real>
Factor<Real> as_is(const Real* const* A) noexcept {
  return {A, Storage::as_is};
}
template <class Real>
Factor<Real> transposed(const Real* const* A) noexcept {
  return {A, Storage::transposed};
}
template <class Real>
Factor<Real> symmetric(const Real* const* S) noexcept {
  return {S, Storage::symmetric};
}

/// Where result (i, k) goes: to sums[k][i], which may hold a sum in work, or, rounded when it is final,
/// to elements[k][i]. The other table is null.
template <class Real>
struct Into {
  double* const* sums;
  Real* const* elements;
};

/// A table that is no factor.
inline Into<double> into(double* const* C) noexcept { return {.sums = C, .elements = nullptr}; }
inline Into<float> into(float* const* C) noexcept { return {.sums = nullptr, .elements = C}; }

/// A table that may be a factor: what a result replaces must be read neither for later rows nor for later
/// columns of its row.
template <class Real>
Into<Real> into_place(Real* const* C) noexcept {
  return {.sums = nullptr, .elements = C};
}

/// The sums themselves, whatever the type of the factors.
template <class Real>
Into<Real> into_sums(double* const* C) noexcept {
  return {.sums = C, .elements = nullptr};
}

/// What a product computes: rows by columns results, terms l = 0..terms-1, of which each result has
/// those that both bands give it.
struct Extent {
  int rows, columns, terms;
  Band row_band = Band::all, column_band = Band::all;
  bool upper_only = false;  ///< only results (i, k) with i <= k are formed
};

/// Result (i, k) := the sum over l, ascending, of left(i, l) right(l, k), from 0.
///
/// Why:       one kernel, a tile of sums, serves every storage, element type and transposition.
/// Shape:     factors are read where the bands have a term and nowhere else.
/// Order:     blocks of rows, in each columns, in each terms, all ascending.
template <class Real>
void form_product(const Kernels& kernel, const Extent& x, const Factor<Real>& left,
                  const Factor<Real>& right, const Into<Real>& into) noexcept;

/// A column table can be read where it lies. Taller ones than this keep no panel in the nearest caches.
inline constexpr int tall = 192;

/// The same.
///
/// Why: of small products the call takes longer than the sums. If both factors are column tables and the
///      sums stay where they are formed, nothing needs to be moved, and the whole product is one tile.
template <class Real>
inline void product(const Kernels& kernel, Extent x, Factor<Real> left, Factor<Real> right,
                    Into<Real> into) noexcept {
  if constexpr (sizeof(Real) == sizeof(double))
    if (left.storage == Storage::as_is && right.storage == Storage::as_is && into.sums && x.terms > 0 &&
        (x.rows <= tall || x.columns <= panel_columns))
      return kernel.tile({.P = left.table,
                          .Q = right.table,
                          .sums = into.sums,
                          .rows = x.rows,
                          .columns = x.columns,
                          .end = x.terms,
                          .corner = x.upper_only ? 1 : Tile::everywhere,
                          .row_edge = {x.row_band, 0},
                          .column_edge = {x.column_band, 0}});
  const Extent own = x;  // x itself need not stand in memory
  form_product(kernel, own, left, right, into);
}

/// With the kernels of this processor.
template <class Real>
inline void product(Extent x, Factor<Real> left, Factor<Real> right, Into<Real> into) noexcept {
  product(kernels(), x, left, right, into);
}

}  // namespace tabfit

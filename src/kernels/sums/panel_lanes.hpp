// kernels/sums/panel_lanes.hpp - the panel kernels over vectors of the width that the file including
// this is compiled for.
//
// Why:       one sum waits for its own last step; sums in the lanes of several vectors do not wait for
//            each other, and together cover the latency of a multiply-add.
// Shape:     operands are those of choice.hpp. What is left over of a vector is masked, or repeats the
//            last line and is not kept.
// Invariant: a lane of acc holds one sum, with all terms before the present one.
// Order:     terms ascending in every sum, one fused multiply-add each: the bits of panel_plain.hpp.
#pragma once

#include "kernels/lanes/lanes.hpp"
#include "kernels/sums/panel.hpp"

namespace tabfit {
namespace {

constexpr int lanes = Lanes::width;

// -- packing ----------------------------------------------------------------------------------------

inline int least(int a, int b) { return a < b ? a : b; }
inline int most(int a, int b) { return a > b ? a : b; }

/// Bits first..end-1, of 31.
inline std::uint32_t bits(int first, int end) {
  const auto below = [](int n) { return (std::uint32_t{1} << most(0, least(n, 31))) - 1; };
  return below(end) & ~below(first);
}

/// Elements first..end-1 of a line.
template <class Real>
inline void pack_line(const Real* from, int first, int end, double* out) {
  int r = first / Lanes::width * Lanes::width;
  const auto some = [&] {
    const Lanes::Mask live = Lanes::mask(bits(first - r, end - r));
    Lanes::load(from + r, live).put(out + r, live);
  };
  if (r < first) {
    some();
    r += Lanes::width;
  }
  for (; r + Lanes::width <= end; r += Lanes::width) Lanes::load(from + r).put(out + r);
  if (r < end) some();
}

template <class Real>
void pack_lines(const Real* const* lines, std::ptrdiff_t line, int count, int terms, int width,
                double* out, Edge edge) noexcept {
  if (edge.band == Band::all)
    for (int t = 0; t < terms; ++t) pack_line(lines[t] + line, 0, count, out + t * width);
  if (edge.band == Band::to_l)
    for (int t = most(0, edge.at); t < terms; ++t)
      pack_line(lines[t] + line, 0, least(count, t - edge.at + 1), out + t * width);
  if (edge.band == Band::from_l)
    for (int t = 0; t < least(terms, edge.at + count); ++t)
      pack_line(lines[t] + line, most(0, t - edge.at), count, out + t * width);
}

/// Lanes are terms when they are read and lines when they are written.
template <class Real>
void pack_terms(const Real* const* lines, std::ptrdiff_t term, int count, int terms, int width,
                double* out, Edge edge) noexcept {
  const int padded = (count + 7) / 8 * 8, behind = padded < width ? padded : width;
  for (int r = 0; r < behind; r += Lanes::width) {
    const int there = most(0, least(count - r, Lanes::width)), at = edge.at + r,
              first = edge.band == Band::to_l ? most(0, at) : 0,
              end = edge.band == Band::from_l ? least(terms, at + there) : terms;
    // A line beyond the count repeats the last one, and none of it is read.
    const Real* run[Lanes::width];
    for (int i = 0; i < Lanes::width; ++i) run[i] = lines[least(r + i, count - 1)] + term;
    for (int t = first; t < end; t += Lanes::width) {
      const int n = least(end - t, Lanes::width);
      const bool all =
          n == Lanes::width && there == Lanes::width &&
          (edge.band == Band::all || (edge.band == Band::to_l ? at + there <= t + 1 : t + n <= at + 1));
      Lanes x[Lanes::width];
      TABFIT_UNROLL for (int i = 0; i < Lanes::width; ++i) {
        if (all) {
          x[i] = Lanes::load(run[i] + t);
        } else {
          const int from = edge.band == Band::to_l ? at + i - t : 0,
                    to = edge.band == Band::from_l ? least(n, at + i - t + 1) : n;
          x[i] = Lanes::load(run[i] + t, Lanes::mask(i < there ? bits(from, to) : 0));
        }
      }
      turn(x);
      TABFIT_UNROLL for (int i = 0; i < Lanes::width; ++i) if (i < n) x[i].put(out + (t + i) * width +
                                                                               r);
    }
  }
}

// -- tiles ------------------------------------------------------------------------------------------

/// The compiler is to take p as it is, and not to keep several sums of it with other variables in
/// registers.
template <class T>
inline const T* opaque(const T* p) {
  asm("" : "+r"(p));
  return p;
}

/// A part of a tile, whose sums are kept in registers: `vectors` of rows by `columns`, from row r0 and
/// column c0 on.
///
/// Why:       as many sums as cover the latency of a multiply-add; a factor of a row is loaded once for
///            all columns, one of a column once for all rows. Most terms belong to all rows and columns;
///            the edge of a band crosses a few, which are masked.
/// Shape:     lanes behind the last row are neither read nor stored; a column behind the last one repeats
///            it, and is not stored. a and b are the terms where the edges meet row r0 and column c0.
/// Invariant: acc[c][v] holds the terms up to the present one.
/// Order:     t ascending: terms that some columns do not have yet, terms of all columns, terms that
///            some columns no longer have; in the second range the same of rows, vector by vector.
template <int vectors, int columns, bool banded>
struct Part {
  static constexpr int last = (vectors - 1) * Lanes::width;
  const Tile& x;
  const int r0, height, width, a, b;
  const Lanes::Mask rest;
  const double* Q[columns];
  Lanes acc[columns][vectors];

  Part(const Tile& tile, int row, int column)
      : x(tile),
        r0(row),
        height(least(x.rows - row, vectors * Lanes::width)),
        width(least(x.columns - column, columns)),
        a(x.row_edge.at + row),
        b(x.column_edge.at + column),
        rest(first_lanes(height - last)) {
    if (width == columns) {
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) Q[c] = x.Q[column + c];
    } else {
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) Q[c] = x.Q[column + least(c, width - 1)];
    }
  }

  bool whole() const { return height == vectors * Lanes::width; }

  /// Calls f(sum, place, mask...) for each vector of sums, without masks if all lanes exist.
  template <class Sum, class F>
  void each(Sum* const* sums, std::ptrdiff_t place, int c0, F f) {
    const bool level = !banded || r0 + height <= x.corner + c0, all = level && whole();
    Lanes::Mask there[vectors] = {};
    if (!all)
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) there[v] = first_lanes(height - v * Lanes::width);
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) if (c < width) {
      Sum* const to = sums[c0 + c] + place + r0;
      if (!level)
        TABFIT_UNROLL for (int v = 0; v < vectors; ++v) there[v] =
            first_lanes(least(height, x.corner + c0 + c - r0) - v * Lanes::width);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) if (all) f(acc[c][v], to + v * Lanes::width);
      else f(acc[c][v], to + v * Lanes::width, there[v]);
    }
  }

  void begin(int c0) {
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
        acc[c][v] = Lanes::zero();
    if (!x.from_zero)
      each(x.sums, x.place, c0,
           [](Lanes& sum, const double* place, auto... mask) { sum = Lanes::load(place, mask...); });
  }

  void put(int c0) {
    const auto store = [](Lanes sum, auto* place, auto... mask) { sum.put(place, mask...); };
    if (x.rounded)
      each(x.rounded, x.target, c0, store);
    else
      each(x.sums, x.place, c0, store);
  }

  /// Terms t..end-1, which all rows and columns have.
  template <bool whole>
  void add(int t, int end) {
    const double *const *line = x.P + t, *const *const stop = x.P + end;
    const std::ptrdiff_t row = x.row + r0, step = x.step;
    for (std::ptrdiff_t at = x.term + t * step; line < stop; ++line, at += step) {
      const double* from = opaque(*line + row);
      Lanes p[vectors];
      TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) p[v] = Lanes::load(from + v * Lanes::width);
      p[vectors - 1] = whole ? Lanes::load(from + last) : Lanes::load(from + last, rest);
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
        const Lanes q = Lanes::of(Q[c][at]);
        TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[c][v] = fma(p[v], q, acc[c][v]);
      }
      keep_in_registers();
    }
  }

  /// Twelve sums, three factors and one more need all sixteen registers; nothing else is to take one.
  void keep_in_registers() {
#if defined(__AVX2__) && !defined(__AVX512F__)
    if constexpr (vectors == 3 && columns == 4)
      asm(""
          : "+x"(acc[0][0].v), "+x"(acc[0][1].v), "+x"(acc[0][2].v), "+x"(acc[1][0].v),
            "+x"(acc[1][1].v), "+x"(acc[1][2].v), "+x"(acc[2][0].v), "+x"(acc[2][1].v),
            "+x"(acc[2][2].v), "+x"(acc[3][0].v), "+x"(acc[3][1].v), "+x"(acc[3][2].v));
#endif
  }

  /// Bit r for each row r0 + r that has term t.
  std::uint32_t rows_with(int t) const {
    if (x.row_edge.band == Band::to_l) return bits(0, least(height, t - a + 1));
    return bits(x.row_edge.band == Band::from_l ? t - a : 0, height);
  }

  /// Term b + j, which columns up to j have, or those from j on, and perhaps not all rows.
  template <int j, Band band>
  void add_some() {
    const int t = b + j;
    const double* const from = x.P[t] + x.row + r0;
    const std::uint32_t with = rows_with(t);
    Lanes::Mask live[vectors];
    Lanes p[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      live[v] = Lanes::mask(with >> v * Lanes::width);
      p[v] = Lanes::load(from + v * Lanes::width, live[v]);
    }
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) if (band == Band::to_l ? c <= j : c >= j) {
      const Lanes q = Lanes::of(Q[c][x.term + t * x.step]);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[c][v] = fma(p[v], q, acc[c][v], live[v]);
    }
  }

  /// Terms t..end-1, which some columns do not have.
  template <Band band>
  void add_some(int t, int end) {
    with_each<columns>([&](auto j) {
      if (b + j.value >= t && b + j.value < end) add_some<j.value, band>();
    });
  }

  /// Adds term t to the live lanes of vector `crossed`, and to the vectors before it (to_l) or behind it
  /// (from_l).
  template <int crossed, Band band>
  void add_crossed(int t, Lanes::Mask live) {
    const auto has = [](int v) { return band == Band::to_l ? v < crossed : v > crossed; };
    const double* const from = x.P[t] + x.row + r0;
    Lanes p[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      if (v == crossed) p[v] = Lanes::load(from + v * Lanes::width, live);
      if (has(v))
        p[v] = v < vectors - 1 ? Lanes::load(from + v * Lanes::width) : Lanes::load(from + last, rest);
    }
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
      const Lanes q = Lanes::of(Q[c][x.term + t * x.step]);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
        if (has(v)) acc[c][v] = fma(p[v], q, acc[c][v]);
        if (v == crossed) acc[c][v] = fma(p[v], q, acc[c][v], live);
      }
    }
  }

  /// Terms t..end-1, which the edge of the rows crosses in vector `crossed`. Four lanes need four masks,
  /// which are known beforehand; but three vectors leave no register for them.
  template <int crossed, Band band>
  void add_crossing(int t, int end) {
    if constexpr (Lanes::width > 4 || vectors > 2) {
      for (; t < end; ++t)
        add_crossed<crossed, band>(t, Lanes::mask(rows_with(t) >> crossed * Lanes::width));
    } else {
      with_each<Lanes::width>([&](auto lane) {
        const int j = decltype(lane)::value, own = a + crossed * Lanes::width + j;
        if (own < t || own >= end) return;
        const Lanes::Mask live = Lanes::mask(band == Band::to_l ? (2U << j) - 1U : ~0U << j);
        add_crossed<crossed, band>(own, crossed == vectors - 1 ? live & rest : live);
      });
    }
  }

  /// Of terms t..end-1, which all columns have, those that the edge of the rows crosses. Gives the next.
  template <Band band>
  int add_crossing(int t, int end) {
    with_each<vectors>([&](auto v) {
      const int stop = least(end, a + (v.value + 1) * Lanes::width);
      add_crossing<v.value, band>(t, stop);
      t = most(t, stop);
    });
    return t;
  }

  void form(int c0) {
    begin(c0);
    if constexpr (banded)
      add_banded();
    else
      add_all(x.first, x.end);
    put(c0);
  }

  void add_all(int t, int end) {
    if (t >= end) return;
    if (whole())
      add<true>(t, end);
    else
      add<false>(t, end);
  }

  void add_banded() {
    const Band rows = x.row_edge.band, cols = x.column_edge.band;
    int t = x.first, end = x.end;
    if (rows == Band::to_l) t = most(t, a);
    if (rows == Band::from_l) end = least(end, a + height);
    if (cols == Band::to_l) t = most(t, b);
    if (cols == Band::from_l) end = least(end, b + width);
    if (cols == Band::to_l) {
      const int some = least(end, b + width - 1);
      add_some<Band::to_l>(t, some);
      t = most(t, some);
    }
    const int stop = cols == Band::from_l ? least(end, b + 1) : end;
    if (rows == Band::to_l) t = add_crossing<Band::to_l>(t, stop);
    const int all = rows == Band::from_l ? least(stop, a + 1) : stop;
    add_all(t, all);
    t = most(t, all);
    if (rows == Band::from_l) t = add_crossing<Band::from_l>(t, stop);
    if (cols == Band::from_l) add_some<Band::from_l>(t, end);
  }
};

template <int vectors, int columns, bool banded>
[[gnu::noinline]] void form_part(const Tile& x, int r0, int c0) {
  Part<vectors, columns, banded>(x, r0, c0).form(c0);
}

/// `vectors` of rows from r0 on, of all columns from the first that has them.
template <int vectors>
void form_rows(const Tile& x, int r0) {
  constexpr int at_once = Lanes::width;
  const bool bands = x.row_edge.band != Band::all || x.column_edge.band != Band::all;
  const auto part = [&](auto columns, int c0) {
    if (bands || r0 + vectors * Lanes::width > x.corner + c0)
      form_part<vectors, decltype(columns)::value, true>(x, r0, c0);
    else
      form_part<vectors, decltype(columns)::value, false>(x, r0, c0);
  };
  for (int c0 = 0, left; (left = x.columns - c0) > 0; c0 += at_once) {
    if (r0 >= x.corner + c0 + least(left, at_once) - 1) continue;
    if (left == 1)
      part(Count<1>{}, c0);
    else if (vectors == 1 && left <= 4)
      part(Count<4>{}, c0);
    else
      part(Count<at_once>{}, c0);
  }
}

/// Three vectors of rows at a time; at the end two and two rather than three and one, whose few sums
/// would wait for themselves.
void tile(const Tile& x) noexcept {
  constexpr int one = Lanes::width;
  for (int r0 = 0, left; (left = x.rows - r0) > 0;)
    if (left > 2 * one && !(left > 3 * one && left <= 4 * one)) {
      form_rows<3>(x, r0);
      r0 += 3 * one;
    } else if (left > one) {
      form_rows<2>(x, r0);
      r0 += 2 * one;
    } else {
      form_rows<1>(x, r0);
      r0 += one;
    }
}

// -- sums of one column -----------------------------------------------------------------------------

/// f(first, count, factors) for all n factors x in order: as they are, or converted in blocks of a
/// multiple of eight. A float that is broadcast is converted by itself, for each use.
template <class F>
inline void as_doubles(const double* x, int n, F f) {
  f(0, n, x);
}
template <class F>
inline void as_doubles(const float* x, int n, F f) {
  constexpr int most = 64;
  alignas(64) double block[most];
  for (int t = 0; t < n; t += most) {
    const int count = least(n - t, most);
    for (int i = 0; i < count; i += Lanes::width) load_some(x + t + i, count - i).put(block + i);
    f(t, count, opaque(block));
  }
}

/// Adds the terms of eight rows at a time, from row `first` on; what is left over is left.
///
/// Why:       lanes are columns, as a sum may not be split, so elements change places on their way. Eight
///            rows at a time use up the cache lines that they touch, before columns a power of two apart
///            push each other out. Floats change places as floats, two in the room of a double, and are
///            converted when they come back from memory. Four groups cover the latency of a
///            multiply-add.
/// Shape:     `groups` of Set::width columns; a function of its own, so that nothing else takes
///            registers.
/// Invariant: acc[g] holds the terms before t.
/// Order:     t ascending.
template <int groups, class Real, class Set>
[[gnu::noinline]] void add_eights(const Real* const* columns, std::ptrdiff_t first, int count,
                                  const double* factor, Vector<Set>* sums) {
  Vector<Set> acc[groups];
  TABFIT_UNROLL for (int g = 0; g < groups; ++g) acc[g] = sums[g];
  for (int t = 0; t + 8 <= count; t += 8, factor += 8) {
    if constexpr (sizeof(Real) == sizeof(double)) {
      TABFIT_UNROLL for (int i = 0; i < 8 * groups; i += 4) {
        const int g = i / 8, r = i % 8;
        Vector<Set> y[4];
        transpose(columns + g * Set::width, first + t + r, y);
        TABFIT_UNROLL for (int k = 0; k < 4; ++k) acc[g] =
            fma(y[k], Vector<Set>::of(factor[r + k]), acc[g]);
      }
    } else {
      alignas(64) Real turned[groups][8 * Set::width];
      TABFIT_UNROLL for (int g = 0; g < groups; ++g)
          Set::turn_eight(columns + g * Set::width, first + t, turned[g]);
      const Real* row = opaque(turned[0]);
      TABFIT_UNROLL for (int i = 0; i < 8; ++i) {
        const Vector<Set> f = Vector<Set>::of(factor[i]);
        TABFIT_UNROLL for (int g = 0; g < groups; ++g) acc[g] =
            fma(Vector<Set>::load(row + (8 * g + Set::place_of(i)) * Set::width), f, acc[g]);
      }
    }
  }
  TABFIT_UNROLL for (int g = 0; g < groups; ++g) sums[g] = acc[g];
}

/// Adds the terms of rows first..first+count-1 of each of the groups, at most Lanes::width of them.
template <class Real>
[[gnu::noinline]] void add_rest(const Real* const* columns, int groups, std::ptrdiff_t first, int count,
                                const double* factor, Lanes* sums) {
  for (int g = 0; g < groups; ++g, columns += Lanes::width) {
    Lanes y[Lanes::width], acc = sums[g];
    for (int i = 0; i < Lanes::width; ++i) y[i] = load_some(columns[i] + first, count);
    turn(y);
    TABFIT_UNROLL for (int i = 0; i < Lanes::width; ++i) if (i < count) acc =
        fma(y[i], Lanes::of(factor[i]), acc);
    sums[g] = acc;
  }
}

/// The sums of `groups` of Lanes::width columns: rows up to where the first column is aligned for whole
/// vectors, eights, and the rest in masked vectors.
template <int groups, class Real>
inline void group_dots(const Real* const* columns, const Real* x, int n, Lanes* acc) {
  TABFIT_UNROLL for (int g = 0; g < groups; ++g) acc[g] = Lanes::zero();
  as_doubles(x, n, [&](int first, int count, const double* factor) {
    const auto past = reinterpret_cast<std::uintptr_t>(columns[0] + first) % 32 / sizeof(Real);
    int t = 0;
    if (sizeof(Real) == sizeof(double) && past && count >= 64)
      add_rest(columns, groups, first, t = 4 - int(past), factor, acc);
    add_eights<groups>(columns, first + t, count - t, factor + t, acc);
    for (t += (count - t) / 8 * 8; t < count; t += Lanes::width)
      add_rest(columns, groups, first + t, least(count - t, Lanes::width), factor + t, acc);
  });
}

template <class Real>
void dots(const Real* const* columns, int count, const Real* x, int n, Real* y) noexcept {
  const auto some = [&](auto groups, const Real* const* from) {
    constexpr int vectors = decltype(groups)::value;
    Lanes acc[vectors];
    group_dots<vectors>(from, x, n, acc);
    TABFIT_UNROLL for (int g = 0; g < vectors; ++g)
        put_some(acc[g], y + g * Lanes::width, count - g * Lanes::width);
    columns += vectors * Lanes::width;
    y += vectors * Lanes::width;
    count -= vectors * Lanes::width;
  };
  if constexpr (Lanes::width == 4)
    while (count >= 4 * Lanes::width) some(Count<4>{}, columns);
  while (count >= 2 * Lanes::width) some(Count<2>{}, columns);
  if (count >= Lanes::width) some(Count<1>{}, columns);
  if (count > 0) {
    // A column beyond the count repeats the last one, and its lane is not kept.
    const Real* repeated[Lanes::width];
    for (int i = 0; i < Lanes::width; ++i) repeated[i] = columns[least(i, count - 1)];
    some(Count<1>{}, repeated);
  }
}

/// `vectors` of rows, the last one masked.
///
/// Why:       so many sums stay in registers, and cover the latency of a multiply-add if they are
///            four or more.
/// Shape:     rows behind the last one are neither read nor stored.
/// Invariant: acc[v] holds the terms before t.
/// Order:     t ascending.
template <int vectors, class Real>
inline void strip(const Real* const* columns, std::ptrdiff_t row, const Real* x, int terms,
                  Lanes::Mask last, Real* y) {
  constexpr int whole = vectors - 1;
  Lanes acc[vectors];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = Lanes::zero();
  as_doubles(x, terms, [&](int first, int count, const double* factor) {
    for (int t = 0; t < count; ++t) {
      const Real* from = columns[first + t] + row;
      const Lanes f = Lanes::of(factor[t]);
      TABFIT_UNROLL for (int v = 0; v < whole; ++v) acc[v] =
          fma(Lanes::load(from + v * Lanes::width), f, acc[v]);
      acc[whole] = fma(Lanes::load(from + whole * Lanes::width, last), f, acc[whole]);
    }
  });
  TABFIT_UNROLL for (int v = 0; v < whole; ++v) acc[v].put(y + v * Lanes::width);
  acc[whole].put(y + whole * Lanes::width, last);
}

/// `columns_at_once` columns from end to end, rows in whole vectors, the sums kept in memory. A function
/// of its own, lest the compiler take twice as many columns together as registers hold.
template <int columns_at_once, class Real>
[[gnu::noinline]] void long_strip(const Real* const* columns, std::ptrdiff_t row, int rows,
                                  const Real* x, double* sums) {
  const Real* y[columns_at_once];
  Lanes factor[columns_at_once];
  TABFIT_UNROLL for (int c = 0; c < columns_at_once; ++c) {
    y[c] = columns[c] + row;
    factor[c] = Lanes::of(x[c]);
  }
  for (int r = 0; r < rows; r += Lanes::width) {
    Lanes acc = Lanes::load(sums + r);
    TABFIT_UNROLL for (int c = 0; c < columns_at_once; ++c) acc =
        fma(Lanes::load(y[c] + r), factor[c], acc);
    acc.put(sums + r);
  }
}

/// At most `most` rows, in whole vectors: columns that are longer than a few vectors are read from end
/// to end, as a processor expects them to be.
template <int most, class Real>
[[gnu::noinline]] void long_rows(const Real* const* columns, std::ptrdiff_t row, int rows,
                                 const Real* x, int terms, Real* y) {
  double own[sizeof(Real) == sizeof(double) ? 1 : most], *sums = own;
  if constexpr (sizeof(Real) == sizeof(double)) sums = y;
  for (int r = 0; r < rows; r += Lanes::width) Lanes::zero().put(sums + r);
  int t = 0;
  for (; t + 8 <= terms; t += 8) long_strip<8>(columns + t, row, rows, x + t, sums);
  for (; t < terms; ++t) long_strip<1>(columns + t, row, rows, x + t, sums);
  if (sums == own)
    for (int r = 0; r < rows; r += Lanes::width) Lanes::load(sums + r).put(y + r);
}

template <class Real>
void sweep(const Real* const* columns, int rows, const Real* x, int terms, Real* y) noexcept {
  // Vectors of eight floats wait for conversions rather than for their columns.
  constexpr int least_long =
      (sizeof(Real) == sizeof(float) && Lanes::width == 8 ? 32 : 16) * Lanes::width;
  constexpr int most_long = 1024;
  int row = 0;
  while (rows - row >= least_long) {
    const int count = least(rows - row, most_long) / Lanes::width * Lanes::width;
    long_rows<most_long>(columns, row, count, x, terms, y + row);
    row += count;
  }
  const auto some = [&](auto vectors) {
    constexpr int n = decltype(vectors)::value;
    strip<n>(columns, row, x, terms, first_lanes(rows - row - (n - 1) * Lanes::width), y + row);
    row += n * Lanes::width;
  };
  while (row < rows) {
    const int vectors = (rows - row + Lanes::width - 1) / Lanes::width;
    if (rows - row >= 8 * Lanes::width)
      some(Count<8>{});
    else
      with_count<1, 4>(least(vectors, 4), some);
  }
}

// -- one sum, one column ---------------------------------------------------------------------------

template <class Real>
double dot(const Real* x, const Real* y, int n, double sum) noexcept {
  for (int i = 0; i < n; ++i) sum = __builtin_fma(x[i], y[i], sum);
  return sum;
}

template <class U, class Y>
void axpy(double t, const U* u, Y* y, int n) noexcept {
  const Lanes factor = Lanes::of(t);
  constexpr int at_once = 4 * Lanes::width;
  int i = 0;
  for (; i + at_once <= n; i += at_once)
    TABFIT_UNROLL for (int v = 0; v < at_once; v += Lanes::width)
        fma(factor, Lanes::load(u + i + v), Lanes::load(y + i + v))
            .put(y + i + v);
  for (; i + Lanes::width <= n; i += Lanes::width)
    fma(factor, Lanes::load(u + i), Lanes::load(y + i)).put(y + i);
  if (i == n) return;
  const Lanes::Mask rest = first_lanes(n - i);
  fma(factor, Lanes::load(u + i, rest), Lanes::load(y + i, rest)).put(y + i, rest);
}

template <class Real>
int greatest(const Real* x, int n) noexcept {
  constexpr int step = 4 * Lanes::width;
  Lanes best = Lanes::of(-1.0);
  int i = 0;
  if (n >= step) {
    Lanes four[4];
    TABFIT_UNROLL for (int v = 0; v < 4; ++v) four[v] = best;
    for (; i + step <= n; i += step)
      TABFIT_UNROLL for (int v = 0; v < 4; ++v) four[v] =
          greater_magnitude(Lanes::load(x + i + v * Lanes::width), four[v]);
    best = greater(greater(four[0], four[1]), greater(four[2], four[3]));
  }
  for (; i + Lanes::width <= n; i += Lanes::width) best = greater_magnitude(Lanes::load(x + i), best);
  double most = best.greatest();
  for (; i < n; ++i) {
    const double value = x[i] < 0 ? -double(x[i]) : double(x[i]);
    most = value > most ? value : most;
  }
  if (most < 0.0) return -1;

  const Lanes wanted = Lanes::of(most);
  int place = 0;
  for (; place + Lanes::width <= n; place += Lanes::width) {
    const unsigned found = same_magnitude(Lanes::load(x + place), wanted);
    if (found) return place + __builtin_ctz(found);
  }
  while (!(x[place] == most || -x[place] == most)) ++place;
  return place;
}

}  // namespace
}  // namespace tabfit

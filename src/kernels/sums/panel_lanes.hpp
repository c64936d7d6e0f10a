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

template <class Real>
void pack_lines(const Real* const* lines, std::ptrdiff_t line, int count, int terms, int width,
                double* out) noexcept {
  const int whole = count / Lanes::width * Lanes::width;
  const Lanes::Mask rest = first_lanes(count - whole);
  for (int t = 0; t < terms; ++t, out += width) {
    const Real* from = lines[t] + line;
    for (int r = 0; r < whole; r += Lanes::width) Lanes::load(from + r).put(out + r);
    if (whole < count) Lanes::load(from + whole, rest).put(out + whole);
  }
}

template <class Real>
void pack_terms(const Real* const* lines, std::ptrdiff_t term, int count, int terms, int width,
                double* out) noexcept {
  const int padded = (count + 7) / 8 * 8, end = padded < width ? padded : width;
  for (int r = 0; r < end; r += Lanes::width) {
    if (r >= count) {
      for (int t = 0; t < terms; ++t) Lanes::zero().put(out + t * width + r);
      continue;
    }
    // A line beyond the count repeats the last one, and its lane is not kept.
    const Real* run[Lanes::width];
    for (int i = 0; i < Lanes::width; ++i) run[i] = lines[r + i < count ? r + i : count - 1] + term;
    const bool all = r + Lanes::width <= count;
    const Lanes::Mask live = first_lanes(count - r);
    double* to = out + r;
    int t = 0;
    for (; t + 4 <= terms; t += 4, to += 4 * width) {
      Lanes x[4];
      transpose(run, t, x);
      TABFIT_UNROLL for (int i = 0; i < 4; ++i) {
        if (!all) x[i] = only(x[i], live);
        x[i].put(to + i * width);
      }
    }
    for (; t < terms; ++t, to += width)
      for (int i = 0; i < Lanes::width; ++i) to[i] = r + i < count ? double(run[i][t]) : 0.0;
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

inline int least(int a, int b) { return a < b ? a : b; }
inline int most(int a, int b) { return a > b ? a : b; }

/// Terms first..end-1 of a tile.
struct Run {
  int first, end;
  Run within(Run other) const { return {most(first, other.first), least(end, other.end)}; }
  bool has(int t) const { return t >= first && t < end; }
  /// The next term after t, at most `last`, that lies on the other side of an end.
  int next(int t, int last) const {
    return t < first && first < end ? least(first, last) : has(t) ? least(end, last) : last;
  }
};

/// The terms that some of lines r..r+n-1 have, and those that all have.
inline Run some_have(Edge e, int r, int n, Run of) {
  if (e.band == Band::to_l) return {most(of.first, e.at + r), of.end};
  if (e.band == Band::from_l) return {of.first, least(of.end, e.at + r + n)};
  return of;
}
inline Run all_have(Edge e, int r, int n, Run of) {
  if (e.band == Band::to_l) return {most(of.first, e.at + r + n - 1), of.end};
  if (e.band == Band::from_l) return {of.first, least(of.end, e.at + r + 1)};
  return of;
}
/// Bit i for each line r + i, i < n <= 24, that has term t.
inline std::uint32_t lines_with(Edge e, int r, int n, int t) {
  const auto below = [=](int k) { return (std::uint32_t{1} << most(0, least(k, n))) - 1; };
  if (e.band == Band::to_l) return below(t - e.at - r + 1);
  if (e.band == Band::from_l) return below(n) & ~below(t - e.at - r);
  return below(n);
}

/// A part of a tile, whose sums are kept in registers: `vectors` of rows by `columns`, from row r0 and
/// column c0 on.
///
/// Why:       as many sums as cover the latency of a multiply-add; a factor of a row is loaded once for
///            all columns, one of a column once for all rows.
/// Shape:     lanes behind the last row are neither read nor stored; a column behind the last one
///            repeats it, with the same sums. With `whole` all lanes are rows.
/// Invariant: acc[c][v] holds the terms up to the present one.
/// Order:     t ascending.
template <int vectors, int columns, bool whole>
struct Part {
  static constexpr int count = columns, last = (vectors - 1) * Lanes::width;
  const Tile& x;
  int r0, c0, rows;
  Lanes::Mask rest;
  const double* Q[columns];
  Lanes acc[columns][vectors];

  Part(const Tile& tile, int row, int first_column)
      : x(tile), r0(row), c0(first_column), rows(x.rows - r0), rest(first_lanes(rows - last)) {
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) Q[c] = x.Q[column(c)] + x.term;
  }

  std::uint32_t rows_there() const { return rows < 24 ? (1U << rows) - 1U : 0xffffffU; }
  int column(int c) const { return columns == 1 ? c0 : least(c0 + c, x.columns - 1); }

  /// Calls f(sum, place, all) for each vector of sums; not all of its lanes exist if `all` is false.
  template <class F>
  void each(F f) {
    const bool level = x.corner + c0 >= x.rows;
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
      double* sums = x.sums[column(c)] + x.place + r0;
      if (level) {
        TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) f(acc[c][v], sums + v * Lanes::width);
        if (whole)
          f(acc[c][vectors - 1], sums + last);
        else
          f(acc[c][vectors - 1], sums + last, rest);
      } else {
        const int height = least(rows, x.corner + column(c) - r0);
        TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
            f(acc[c][v], sums + v * Lanes::width, first_lanes(height - v * Lanes::width));
      }
    }
  }

  /// The sums of another part become those of this one.
  void take(const Part& other) {
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
        acc[c][v] = other.acc[c][v];
  }

  void begin() {
    if (x.from_zero)
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
          acc[c][v] = Lanes::zero();
    else
      each([](Lanes& sum, const double* place, auto... mask) { sum = Lanes::load(place, mask...); });
  }

  void put() {
    each([](Lanes sum, double* place, auto... mask) { sum.put(place, mask...); });
  }

  void add(Run run) {
    const double *const *line = x.P + run.first, *const *const end = x.P + run.end;
    const std::ptrdiff_t row = x.row + r0, step = x.step;
    for (std::ptrdiff_t at = run.first * step; line < end; ++line, at += step) {
      const double* from = opaque(*line + row);
      Lanes p[vectors];
      TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) p[v] = Lanes::load(from + v * Lanes::width);
      p[vectors - 1] = whole ? Lanes::load(from + last) : Lanes::load(from + last, rest);
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
        const Lanes q = Lanes::of(Q[c][at]);
        TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[c][v] = fma(p[v], q, acc[c][v]);
      }
    }
  }

  /// Adds one term to the rows of the masks and the columns of the set bits.
  template <class Wanted>
  void add_one(int t, const Lanes::Mask (&live)[vectors], Wanted wanted) {
    Lanes p[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) p[v] =
        Lanes::load(x.P[t] + x.row + r0 + v * Lanes::width, live[v]);
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) if (wanted(c)) {
      const Lanes q = Lanes::of(x.Q[column(c)][x.term + t * x.step]);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[c][v] = fma(p[v], q, acc[c][v], live[v]);
    }
  }

  /// Terms that some rows and all columns have.
  void add_by_rows(Run run, Edge edge) {
    const std::uint32_t next = edge.band == Band::to_l, there = rows_there();
    std::uint32_t with = lines_with(edge, r0, rows, run.first);
    for (int t = run.first; t < run.end; ++t, with = with << 1 | next) {
      Lanes::Mask live[vectors];
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) live[v] =
          Lanes::mask((with & there) >> v * Lanes::width);
      add_one(t, live, [](int) { return true; });
    }
  }

  /// Terms that all rows and some columns have: the first ones, or the last.
  template <bool first_ones>
  void add_by_columns(Run run, int at) {
    Lanes::Mask live[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) live[v] = first_lanes(rows - v * Lanes::width);
    TABFIT_UNROLL for (int j = 0; j < columns;
                       ++j) if (at + c0 + j >= run.first && at + c0 + j < run.end)
        add_one(at + c0 + j, live, [=](int c) { return first_ones ? c <= j : c >= j; });
  }

  /// Terms that some rows and some columns have.
  void add_by_both(Run run, Edge row_edge, Edge column_edge) {
    const std::uint32_t next_row = row_edge.band == Band::to_l,
                        next_column = column_edge.band == Band::to_l, there = rows_there();
    const int last_column = column(columns - 1) - c0;
    std::uint32_t with = lines_with(row_edge, r0, rows, run.first),
                  wanted = lines_with(column_edge, c0, columns, run.first);
    for (int t = run.first; t < run.end; ++t) {
      Lanes::Mask live[vectors];
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) live[v] =
          Lanes::mask((with & there) >> v * Lanes::width);
      // What repeats the last column goes with it.
      const std::uint32_t repeated = wanted >> last_column & 1U ? ~0U << last_column : 0U,
                          set = (wanted & ((1U << last_column) - 1U)) | repeated;
      add_one(t, live, [=](int c) { return set >> c & 1U; });
      with = with << 1 | next_row;
      wanted = wanted << 1 | next_column;
    }
  }
};

/// f(part) for all parts of a tile, of a size that fits the registers. With `few` there are fewer
/// kinds: of eight lanes whole parts are taken as any, and high ones of four columns as of eight.
template <bool few, class F>
inline void each_part(const Tile& x, F f) {
  constexpr int columns_at_once = Lanes::width;
  int r0 = 0;
  const auto some = [&](auto vectors, auto columns, int c0) {
    constexpr int v = decltype(vectors)::value, c = decltype(columns)::value;
    constexpr bool whole = !few || Lanes::width == 4;
    if (whole && x.rows - r0 >= v * Lanes::width)
      f(Part<v, c, whole>(x, r0, c0));
    else
      f(Part<v, c, false>(x, r0, c0));
  };
  const auto columns = [&](auto vectors) {
    int c0 = 0;
    for (; x.columns - c0 > 1; c0 += columns_at_once)
      if (columns_at_once > 4 && (!few || decltype(vectors)::value == 1) && x.columns - c0 <= 4)
        some(vectors, Count<4>{}, c0);
      else
        some(vectors, Count<columns_at_once>{}, c0);
    if (x.columns - c0 == 1) some(vectors, Count<1>{}, c0);
  };
  for (; x.rows - r0 > 2 * Lanes::width; r0 += 3 * Lanes::width) columns(Count<3>{});
  if (x.rows - r0 > Lanes::width)
    columns(Count<2>{});
  else if (x.rows > r0)
    columns(Count<1>{});
}

void tile(const Tile& x) noexcept {
  each_part<false>(x, [&](auto part) {
    part.begin();
    part.add({x.first, x.end});
    part.put();
  });
}

/// part.add(run). With four lanes in a function of its own, so that nothing else takes one of the
/// sixteen registers that its loop needs.
template <class Part>
[[gnu::noinline]] void add_apart(Part& part, Run run) {
  Part own = part;
  own.add(run);
  part.take(own);
}
template <class Part>
inline void add_all(Part& part, Run run) {
  if (Lanes::width == 8) return part.add(run);
  Part own = part;
  add_apart(own, run);
  part.take(own);
}

/// In each part the terms in order: a run that the same rows and columns have goes the shortest way.
void banded_tile(const Tile& x, Edge rows, Edge columns) noexcept {
  each_part<true>(x, [&](auto part) {
    const int r0 = part.r0, c0 = part.c0, height = least(part.rows, part.last + Lanes::width),
              width = part.column(part.count - 1) + 1 - c0;
    const Run run{x.first, x.end},
        some = some_have(rows, r0, height, run).within(some_have(columns, c0, width, run)),
        row_all = all_have(rows, r0, height, run), column_all = all_have(columns, c0, width, run);
    part.begin();
    for (int t = some.first, end; t < some.end; t = end) {
      end = least(row_all.next(t, some.end), column_all.next(t, some.end));
      if (!row_all.has(t) && !column_all.has(t))
        part.add_by_both({t, end}, rows, columns);
      else if (!row_all.has(t))
        part.add_by_rows({t, end}, rows);
      else if (column_all.has(t))
        add_all(part, {t, end});
      else if (columns.band == Band::to_l)
        part.template add_by_columns<true>({t, end}, columns.at);
      else
        part.template add_by_columns<false>({t, end}, columns.at);
    }
    part.put();
  });
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

// kernels/sums/panel_lanes.hpp - the panel kernels over vectors of the width that the file including
// this is compiled for.
#pragma once

#include "kernels/lanes/lanes.hpp"
#include "kernels/sums/panel.hpp"

namespace tabfit {
namespace {

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
  for (int r = 0; r < (count + 7) / 8 * 8; r += Lanes::width) {
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

/// `vectors` of rows by `columns` sums of a tile, from row r0 and column c0 on, kept in registers.
template <int vectors, int columns, class Real>
struct Sums {
  Lanes acc[columns][vectors];

  Lanes::Mask live(const Tile<Real>& x, int r0, int c0, int c, int v) const {
    return first_lanes(x.height[c0 + c] - r0 - v * Lanes::width);
  }

  Sums(const Tile<Real>& x, int r0, int c0) {
    if (x.from_zero) {
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
          acc[c][v] = Lanes::zero();
    } else if (x.level) {
      const Lanes::Mask rest = first_lanes(x.rows - r0 - (vectors - 1) * Lanes::width);
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
        const double* sums = x.sums[c0 + c] + r0;
        TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) acc[c][v] =
            Lanes::load(sums + v * Lanes::width);
        acc[c][vectors - 1] = Lanes::load(sums + (vectors - 1) * Lanes::width, rest);
      }
    } else {
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
          acc[c][v] = Lanes::load(x.sums[c0 + c] + r0 + v * Lanes::width, live(x, r0, c0, c, v));
    }
  }

  void put(const Tile<Real>& x, int r0, int c0) const {
    if (x.level) {
      const Lanes::Mask rest = first_lanes(x.rows - r0 - (vectors - 1) * Lanes::width);
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
        double* sums = x.sums[c0 + c] + r0;
        TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) acc[c][v].put(sums + v * Lanes::width);
        acc[c][vectors - 1].put(sums + (vectors - 1) * Lanes::width, rest);
      }
    } else {
      TABFIT_UNROLL for (int c = 0; c < columns; ++c) TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
          acc[c][v]
              .put(x.sums[c0 + c] + r0 + v * Lanes::width, live(x, r0, c0, c, v));
    }
  }
};

/// The compiler is to take p as it is, and not to keep several sums of it with other variables in
/// registers.
template <class Real>
inline const Real* opaque(const Real* p) {
  asm("" : "+r"(p));
  return p;
}

/// With `whole` every row of the vectors is there.
template <int vectors, int columns, bool whole, class Real>
inline void sub_tile(const Tile<Real>& x, int r0, int c0) {
  Sums<vectors, columns, Real> sums(x, r0, c0);
  constexpr int last = (vectors - 1) * Lanes::width;
  const Lanes::Mask rest = first_lanes(x.rows - r0 - last);
  const Real *const *line = x.P + x.first, *const *const end = x.P + x.end;
  const std::ptrdiff_t row = x.row + r0, step = x.step;
  const Real* Q[columns];
  TABFIT_UNROLL for (int c = 0; c < columns; ++c) Q[c] = x.Q[c0 + c];
  for (std::ptrdiff_t at = x.first * step; line != end; ++line, at += step) {
    const Real* from = opaque(*line + row);
    Lanes p[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) p[v] = Lanes::load(from + v * Lanes::width);
    if constexpr (whole)
      p[vectors - 1] = Lanes::load(from + last);
    else
      p[vectors - 1] = Lanes::load(from + last, rest);
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
      const Lanes q = Lanes::of(Q[c][at]);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) sums.acc[c][v] = fma(p[v], q, sums.acc[c][v]);
    }
  }
  sums.put(x, r0, c0);
}

template <int vectors, int columns, class Real>
inline void masked_sub_tile(const Tile<Real>& x, const TileMask* mask, int r0, int c0) {
  static constexpr Real nothing = 0;
  Sums<vectors, columns, Real> sums(x, r0, c0);
  const std::ptrdiff_t row = x.row + r0;
  for (int t = x.first; t < x.end; ++t, ++mask) {
    Lanes p[vectors];
    Lanes::Mask rows[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      rows[v] = Lanes::mask(mask->rows >> (r0 + v * Lanes::width));
      p[v] = Lanes::load(x.P[t] + row + v * Lanes::width, rows[v]);
    }
    TABFIT_UNROLL for (int c = 0; c < columns; ++c) {
      const std::uint32_t wanted = mask->columns >> (c0 + c) & 1U;
      const Lanes q = Lanes::of(wanted ? x.Q[c0 + c][t * x.step] : nothing);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
        const Lanes next = fma(p[v], q, sums.acc[c][v], rows[v]);
        if (wanted) sums.acc[c][v] = next;
      }
    }
  }
  sums.put(x, r0, c0);
}

/// All parts of a tile that fit the registers, each by f(vectors, columns, r0, c0).
template <class Real, class F>
inline void each_part(const Tile<Real>& x, F f) {
#ifdef __AVX512F__
  const auto parts = [&](auto vectors) {
    if (x.columns > 4) return f(vectors, Count<8>{}, 0, 0);
    if (x.columns > 1) return f(vectors, Count<4>{}, 0, 0);
    f(vectors, Count<1>{}, 0, 0);
  };
  if (x.rows > 16) return parts(Count<3>{});
  if (x.rows > 8) return parts(Count<2>{});
  parts(Count<1>{});
#else
  for (int c0 = 0; c0 < x.columns; c0 += 4) {
    const auto parts = [&](auto vectors, int r0) {
      if (x.columns > 1) return f(vectors, Count<4>{}, r0, c0);
      f(vectors, Count<1>{}, r0, c0);
    };
    int r0 = 0;
    for (; x.rows - r0 > 8; r0 += 12) parts(Count<3>{}, r0);
    if (x.rows - r0 > 4)
      parts(Count<2>{}, r0);
    else if (x.rows > r0)
      parts(Count<1>{}, r0);
  }
#endif
}

template <class Real>
void tile(const Tile<Real>& x) noexcept {
  each_part(x, [&](auto vectors, auto columns, int r0, int c0) {
    constexpr int v = decltype(vectors)::value, c = decltype(columns)::value;
    x.rows - r0 >= v* Lanes::width ? sub_tile<v, c, true>(x, r0, c0) : sub_tile<v, c, false>(x, r0, c0);
  });
}

template <class Real>
void masked_tile(const Tile<Real>& x, const TileMask* mask) noexcept {
  each_part(x, [&](auto vectors, auto columns, int r0, int c0) {
    masked_sub_tile<decltype(vectors)::value, decltype(columns)::value>(x, mask, r0, c0);
  });
}

// -- sums of one column -----------------------------------------------------------------------------

/// `groups` of Lanes::width columns in flight.
template <int groups, class Real>
inline void group_dots(const Real* const* columns, std::ptrdiff_t row, const Real* x, int n,
                       Lanes acc[groups]) {
  const Real* run[groups][Lanes::width];
  for (int g = 0; g < groups; ++g) {
    acc[g] = Lanes::zero();
    for (int i = 0; i < Lanes::width; ++i) run[g][i] = columns[g * Lanes::width + i] + row;
  }
  int t = 0;
  for (; t + 4 <= n; t += 4) {
    Lanes y[groups][4];
    TABFIT_UNROLL for (int g = 0; g < groups; ++g) transpose(run[g], t, y[g]);
    TABFIT_UNROLL for (int i = 0; i < 4; ++i) {
      const Lanes factor = Lanes::of(x[t + i]);
      TABFIT_UNROLL for (int g = 0; g < groups; ++g) acc[g] = fma(y[g][i], factor, acc[g]);
    }
  }
  for (; t < n; ++t)
    for (int g = 0; g < groups; ++g) {
      double y[Lanes::width];
      for (int i = 0; i < Lanes::width; ++i) y[i] = run[g][i][t];
      acc[g] = fma(Lanes::load(y), Lanes::of(x[t]), acc[g]);
    }
}

template <class Real>
void dots(const Real* const* columns, int count, std::ptrdiff_t row, const Real* x, int n,
          double* sums) noexcept {
  constexpr int most = 2;
  int c = 0;
  for (; c + most * Lanes::width <= count; c += most * Lanes::width) {
    Lanes acc[most];
    group_dots<most>(columns + c, row, x, n, acc);
    for (int g = 0; g < most; ++g) acc[g].put(sums + c + g * Lanes::width);
  }
  for (; c < count; c += Lanes::width) {
    // A column beyond the count repeats the last one, and its lane is not kept.
    const Real* some[Lanes::width];
    for (int i = 0; i < Lanes::width; ++i) some[i] = columns[c + i < count ? c + i : count - 1];
    Lanes acc[1];
    group_dots<1>(some, row, x, n, acc);
    acc[0].put(sums + c, first_lanes(count - c));
  }
}

/// `vectors` of rows, the last one masked, with all their sums in registers.
template <int vectors, class Real>
inline void strip(const Real* const* columns, std::ptrdiff_t row, const Real* x, int terms,
                  Lanes::Mask last, double* sums) {
  Lanes acc[vectors];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = Lanes::zero();
  for (int t = 0; t < terms; ++t) {
    const Real* y = columns[t] + row;
    const Lanes factor = Lanes::of(x[t]);
    TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) acc[v] =
        fma(Lanes::load(y + v * Lanes::width), factor, acc[v]);
    acc[vectors - 1] =
        fma(Lanes::load(y + (vectors - 1) * Lanes::width, last), factor, acc[vectors - 1]);
  }
  TABFIT_UNROLL for (int v = 0; v < vectors - 1; ++v) acc[v].put(sums + v * Lanes::width);
  acc[vectors - 1].put(sums + (vectors - 1) * Lanes::width, last);
}

/// Many rows, in whole vectors: `columns_at_once` columns from end to end, the sums kept in memory.
template <int columns_at_once, class Real>
inline void long_strip(const Real* const* columns, std::ptrdiff_t row, int rows, const Real* x,
                       double* sums) {
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

template <class Real>
void sweep(const Real* const* columns, std::ptrdiff_t row, int rows, const Real* x, int terms,
           double* sums) noexcept {
  const Lanes::Mask all = first_lanes(Lanes::width);
  const auto advance = [&](int taken) {
    row += taken;
    sums += taken;
    rows -= taken;
  };
  // Columns that are longer are read from end to end, as a processor expects them to be.
  constexpr int in_registers = 16 * Lanes::width, most = 1024;
  while (rows >= in_registers) {
    const int count = rows < most ? rows / Lanes::width * Lanes::width : most;
    for (int r = 0; r < count; ++r) sums[r] = 0.0;
    int t = 0;
    for (; t + 8 <= terms; t += 8) long_strip<8>(columns + t, row, count, x + t, sums);
    for (; t < terms; ++t) long_strip<1>(columns + t, row, count, x + t, sums);
    advance(count);
  }
#ifdef __AVX512F__
  while (rows >= 16 * Lanes::width) {
    strip<16>(columns, row, x, terms, all, sums);
    advance(16 * Lanes::width);
  }
#endif
  while (rows >= 8 * Lanes::width) {
    strip<8>(columns, row, x, terms, all, sums);
    advance(8 * Lanes::width);
  }
  while (rows > 4 * Lanes::width) {
    strip<4>(columns, row, x, terms, all, sums);
    advance(4 * Lanes::width);
  }
  switch ((rows + Lanes::width - 1) / Lanes::width) {
    case 4:
      return strip<4>(columns, row, x, terms, first_lanes(rows - 3 * Lanes::width), sums);
    case 3:
      return strip<3>(columns, row, x, terms, first_lanes(rows - 2 * Lanes::width), sums);
    case 2:
      return strip<2>(columns, row, x, terms, first_lanes(rows - Lanes::width), sums);
    case 1:
      return strip<1>(columns, row, x, terms, first_lanes(rows), sums);
    default:
      return;
  }
}

// -- lines of right-hand sides ----------------------------------------------------------------------

/// factor(t) is the factor of line t.
template <int vectors, bool subtract, class Factor>
inline void line_sums(Factor factor, const double* X, int lanes, int terms, double* sums) {
  Lanes acc[vectors];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = Lanes::load(sums + v * Lanes::width);
  for (int t = 0; t < terms; ++t, X += lanes) {
    const Lanes f = Lanes::of(factor(t));
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      const Lanes x = Lanes::load(X + v * Lanes::width);
      acc[v] = subtract ? fnma(f, x, acc[v]) : fma(f, x, acc[v]);
    }
  }
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v].put(sums + v * Lanes::width);
}

template <bool subtract, class Factor>
inline void all_line_sums(Factor factor, const double* X, int lanes, int terms, double* sums) {
  int v = 0;
  for (; v + 8 * Lanes::width <= lanes; v += 8 * Lanes::width)
    line_sums<8, subtract>(factor, X + v, lanes, terms, sums + v);
  switch ((lanes - v) / Lanes::width) {
    case 7:
      return line_sums<7, subtract>(factor, X + v, lanes, terms, sums + v);
    case 6:
      return line_sums<6, subtract>(factor, X + v, lanes, terms, sums + v);
    case 5:
      return line_sums<5, subtract>(factor, X + v, lanes, terms, sums + v);
    case 4:
      return line_sums<4, subtract>(factor, X + v, lanes, terms, sums + v);
    case 3:
      return line_sums<3, subtract>(factor, X + v, lanes, terms, sums + v);
    case 2:
      return line_sums<2, subtract>(factor, X + v, lanes, terms, sums + v);
    case 1:
      return line_sums<1, subtract>(factor, X + v, lanes, terms, sums + v);
    default:
      return;
  }
}

void add_lanes(const double* q, const double* X, int lanes, int terms, double* sums) noexcept {
  all_line_sums<false>([=](int t) { return q[t]; }, X, lanes, terms, sums);
}

template <bool subtract, class Factor>
inline void banded_line_sums(Factor factor, const double* X, int lanes, int terms, int band,
                             double* sums) {
  for (int v = 0; v < lanes; v += Lanes::width) {
    Lanes acc = Lanes::load(sums + v);
    for (int t = 0; t < terms; ++t) {
      const int dead = band + t - v;
      if (dead >= Lanes::width) break;
      const Lanes::Mask live = Lanes::mask(dead <= 0 ? ~0U : ~0U << dead);
      const Lanes f = Lanes::of(factor(t)), x = Lanes::load(X + std::ptrdiff_t{t} * lanes + v);
      acc = subtract ? fnma(f, x, acc, live) : fma(f, x, acc, live);
    }
    acc.put(sums + v);
  }
}

template <class Real>
void add_rows(const Real* const* columns, std::ptrdiff_t row, const double* X, int lanes, int terms,
              bool subtract, const int* band, double* sums) noexcept {
  const auto factor = [=](int t) { return double(columns[t][row]); };
  if (band)
    return subtract ? banded_line_sums<true>(factor, X, lanes, terms, *band, sums)
                    : banded_line_sums<false>(factor, X, lanes, terms, *band, sums);
  subtract ? all_line_sums<true>(factor, X, lanes, terms, sums)
           : all_line_sums<false>(factor, X, lanes, terms, sums);
}

// -- reflections ------------------------------------------------------------------------------------

/// `panels` of eight columns at once, their multipliers and sums in registers.
template <int panels, int waiting, bool keep, bool sum, class Real>
inline void reflect_panels(Real* Y, std::ptrdiff_t panel_size, int rows, const double* const* u,
                           const double* const* t, std::ptrdiff_t first, const double* next,
                           double* s) {
  constexpr int parts = 8 / Lanes::width, vectors = panels * parts;
  Lanes multiplier[waiting + 1][vectors], acc[vectors];
  const double* reflector[waiting + 1];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = Lanes::zero();
  TABFIT_UNROLL for (int q = 0; q < waiting; ++q) {
    reflector[q] = u[q];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) multiplier[q][v] =
        Lanes::load(t[q] + first + v * Lanes::width);
  }
  for (int i = 0; i < rows; ++i, Y += 8) {
    Lanes e[waiting + 1], w{};
    TABFIT_UNROLL for (int q = 0; q < waiting; ++q) e[q] = Lanes::of(reflector[q][i]);
    if constexpr (sum) w = Lanes::of(next[i]);
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      Real* place = Y + v / parts * panel_size + v % parts * Lanes::width;
      Lanes y = Lanes::load(place);
      TABFIT_UNROLL for (int q = 0; q < waiting; ++q) y =
          fma(multiplier[q][v], e[q], y).rounded(static_cast<Real*>(nullptr));
      if constexpr (keep) y.put(place);
      if constexpr (sum) acc[v] = fma(y, w, acc[v]);
    }
  }
  if constexpr (sum)
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v].put(s + first + v * Lanes::width);
}

template <int waiting, bool keep, bool sum, class Real>
inline void reflect_all(Real* Y, std::ptrdiff_t panel_size, int panels, int rows,
                        const double* const* u, const double* const* t, const double* next, double* s) {
  // A panel alone waits for its own sums.
#ifdef __AVX512F__
  constexpr int most = 6;
#else
  constexpr int most = waiting > 1 ? 1 : 2;
#endif
  int p = 0;
  const auto some = [&](auto count) {
    constexpr int n = decltype(count)::value < most ? decltype(count)::value : most;
    reflect_panels<n, waiting, keep, sum>(Y + p * panel_size, panel_size, rows, u, t, 8 * p, next, s);
    p += n;
  };
  while (panels - p >= most) some(Count<most>{});
  switch (panels - p) {
    case 5:
      return some(Count<5>{});
    case 4:
      return some(Count<4>{});
    case 3:
      return some(Count<3>{});
    case 2:
      return some(Count<2>{});
    case 1:
      return some(Count<1>{});
    default:
      return;
  }
}

template <class Real>
void reflect(Real* Y, std::ptrdiff_t panel_size, int panels, int rows, int waiting,
             const double* const* u, const double* const* t, bool keep, const double* next,
             double* s) noexcept {
  const auto with = [&](auto count) {
    constexpr int q = decltype(count)::value;
    if (next && keep) return reflect_all<q, true, true>(Y, panel_size, panels, rows, u, t, next, s);
    if (next) return reflect_all<q, false, true>(Y, panel_size, panels, rows, u, t, next, s);
    if (keep)
      for (int p = 0; p < panels; ++p)
        reflect_panels<1, q, true, false>(Y + p * panel_size, panel_size, rows, u, t, 8 * p, next, s);
  };
  switch (waiting) {
    case 0:
      return with(Count<0>{});
    case 1:
      return with(Count<1>{});
    case 2:
      return with(Count<2>{});
    default:
      return with(Count<3>{});
  }
}

/// What is summed over the rows of a column: its products with another one, or its squares.
enum class Summed { products, squares };

/// Some vectors of columns, `whole` with all of them there. Lanes are rows while a reflection is applied,
/// and columns while the sums, of which each waits for its own last step, run side by side.
template <class V, int vectors, bool whole, bool update, Summed summed, class Real>
inline void reflect_columns(Real* const* columns, int count, std::ptrdiff_t row, int rows,
                            const double* u, const double* t, const double* next, double* s) {
  constexpr int width = vectors * V::width;
  Real* y[width];
  double factor[width];
  V acc[vectors];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = V::zero();
  TABFIT_UNROLL for (int c = 0; c < width; ++c) {
    const int from = whole || c < count ? c : count - 1;
    y[c] = columns[from] + row;
    if constexpr (update) factor[c] = t[from];
  }
  const auto block = [&](int i, int height, auto load, auto put) {
    V reflector = V::zero();
    if constexpr (update) reflector = load(u + i);
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      V x[V::width];
      TABFIT_UNROLL for (int lane = 0; lane < V::width; ++lane) {
        const int c = v * V::width + lane;
        x[lane] = load(y[c] + i);
        if constexpr (update) {
          x[lane] = fma(V::of(factor[c]), reflector, x[lane]).rounded(y[c]);
          if (whole || c < count) put(x[lane], y[c] + i);
        }
      }
      turn(x);
      TABFIT_UNROLL for (int r = 0; r < V::width; ++r) {
        if (r == height) break;
        acc[v] = fma(x[r], summed == Summed::squares ? x[r] : V::of(next[i + r]), acc[v]);
      }
    }
  };
  int i = 0;
  for (; i + V::width <= rows; i += V::width)
    block(
        i, V::width, [](const auto* p) { return V::load(p); }, [](V x, Real* p) { x.put(p); });
  if (i < rows) {
    const typename V::Mask some = first_lanes<V>(rows - i);
    block(
        i, rows - i, [=](const auto* p) { return V::load(p, some); },
        [=](V x, Real* p) { x.put(p, some); });
  }
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v].put(s + v * V::width,
                                                             first_lanes<V>(count - v * V::width));
}

/// The last few columns wait for their own sums at any width, and the processor clocks higher with the
/// narrower vectors.
template <bool update, Summed summed, class Real>
inline void reflect_all_columns(Real* const* columns, int count, std::ptrdiff_t row, int rows,
                                const double* u, const double* t, const double* next, double* s) {
  const auto some = [&]<class V>(V, auto vectors, auto whole) {
    constexpr int n = decltype(vectors)::value, width = n * V::width;
    reflect_columns<V, n, decltype(whole)::value == 1, update, summed>(columns, count, row, rows, u, t,
                                                                       next, s);
    columns += width;
    t += update ? width : 0;
    s += width;
    count -= width;
  };
  while (count >= 2 * Lanes::width) some(Lanes{}, Count<2>{}, Count<1>{});
  if (count > Lanes::width)
    some(Lanes{}, Count<2>{}, Count<0>{});
  else if (count == Lanes::width)
    some(Lanes{}, Count<1>{}, Count<1>{});
  else if (count > FourLanes::width)
    some(Lanes{}, Count<1>{}, Count<0>{});
  else if (count == FourLanes::width)
    some(FourLanes{}, Count<1>{}, Count<1>{});
  else if (count > 0)
    some(FourLanes{}, Count<1>{}, Count<0>{});
}

template <class Real>
void reflect_in_place(Real* const* columns, int count, std::ptrdiff_t row, int rows, const double* u,
                      const double* t, const double* next, double* s) noexcept {
  if (u)
    reflect_all_columns<true, Summed::products>(columns, count, row, rows, u, t, next, s);
  else
    reflect_all_columns<false, Summed::products>(columns, count, row, rows, u, t, next, s);
}

template <class Real>
void column_squares(Real* const* columns, int count, int rows, double* s) noexcept {
  reflect_all_columns<false, Summed::squares>(columns, count, 0, rows, nullptr, nullptr, nullptr, s);
}

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

template <class Real>
void squares(const Real* Y, std::ptrdiff_t panel_size, int panels, int rows, double* s) noexcept {
  constexpr int parts = 8 / Lanes::width;
  const auto some = [&](auto count) {
    constexpr int vectors = decltype(count)::value * parts;
    Lanes acc[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = Lanes::zero();
    for (int i = 0; i < rows; ++i) TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
        const Lanes y =
            Lanes::load(Y + v / parts * panel_size + 8 * std::ptrdiff_t{i} + v % parts * Lanes::width);
        acc[v] = fma(y, y, acc[v]);
      }
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v].put(s + v * Lanes::width);
    Y += decltype(count)::value * panel_size;
    s += 8 * decltype(count)::value;
    panels -= decltype(count)::value;
  };
  while (panels >= 4) some(Count<4>{});
  while (panels >= 1) some(Count<1>{});
}

}  // namespace
}  // namespace tabfit

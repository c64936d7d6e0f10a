// kernels/sums/unknowns_lanes.hpp - rows of unknowns, in vectors.
#pragma once

#include "kernels/lanes/lanes.hpp"
#include "kernels/sums/panel_lanes.hpp"
#include "kernels/sums/unknowns.hpp"

namespace tabfit {
namespace {

template <class Real>
void unpack_terms(const double* in, int width, int count, int terms, int corner, Real* const* lines,
                  std::ptrdiff_t term) noexcept {
  for (int r = 0; r < count; r += Lanes::width)
    for (int t = 0; t < terms && t < corner + r + Lanes::width - 1; t += Lanes::width) {
      Lanes x[Lanes::width];
      TABFIT_UNROLL for (int i = 0; i < Lanes::width; ++i) x[i] =
          t + i < terms ? Lanes::load(in + std::ptrdiff_t{t + i} * width + r) : Lanes::zero();
      turn(x);
      TABFIT_UNROLL for (int i = 0; i < Lanes::width; ++i) if (r + i < count) {
        const int end = corner + r + i < terms ? corner + r + i : terms;
        put_some(x[i], lines[r + i] + term + t, end - t);
      }
    }
}

/// A number by which many are divided.
///
/// Why:       a division takes as long as a dozen multiplications, and a small system has as many
///            divisions as sums.
/// Shape:     `moderate` if 2^-400 <= |d| <= 2^400. With numerators of that range all below is far from
///            overflow and from the subnormal numbers.
/// Invariant: y is 1/d, rounded. a y is within 1.5 units in the last place of a/d. A step q + (a - q d)
///            y makes that less than one unit, and then a - q d is exact. From such a q the next step
///            gives a/d rounded to nearest: what is added misses a/d - q by one rounding of y only,
///            2^-53 of it, and no quotient of two doubles lies that close to the middle between two
///            doubles.
struct RowDivisor {
  Lanes d, y;
  bool moderate;

  explicit RowDivisor(double divisor)
      : d(Lanes::of(divisor)), y(Lanes::of(1.0 / divisor)), moderate(in_range(d)) {}

  static bool in_range(Lanes a) {
    const Lanes size = magnitude(a);
    return !(below(size, Lanes::of(0x1p-400)) | below(Lanes::of(0x1p400), size));
  }

  /// a / d, rounded to nearest.
  Lanes under(Lanes a) const {
    if (!moderate || !in_range(a)) return a / d;
    Lanes q = a * y;
    q = fma(fnma(q, d, a), y, q);
    return fma(fnma(q, d, a), y, q);
  }
};

/// What the two systems of rows differ in: solve_rows subtracts terms and divides, invert_rows adds
/// them and multiplies. Unknowns of floats are rounded to float.
struct System {
  bool divide, floats;
};

/// own[v] = what the sums give, for the lanes from `first` on; from the next one if the rows of a lane
/// end above the diagonal. Whole vectors are stored: what is stored in part cannot be read again at once.
inline void finish_row(const Lanes* sums, int vectors, double diagonal, System system, int first,
                       double* own) {
  const RowDivisor divisor(system.divide ? diagonal : 1.0);
  const Lanes negative = Lanes::of(-diagonal);
  const int begin = system.divide ? first : first + 1;
  for (int v = 0; v < vectors; ++v, own += Lanes::width) {
    const int gone = begin - v * Lanes::width;
    if (gone >= Lanes::width) continue;
    Lanes found = system.divide ? divisor.under(sums[v]) : negative * sums[v];
    if (system.floats) found = found.rounded(static_cast<float*>(nullptr));
    if (gone > 0) found = select(Lanes::mask(~0U << gone), found, Lanes::load(own));
    found.put(own);
  }
}
[[gnu::noinline]] void finish_many(const Lanes* sums, int vectors, double diagonal, System system,
                                   int first, double* own) {
  finish_row(sums, vectors, diagonal, system, first, own);
}

/// Rows of unknowns with `vectors` of right-hand sides.
///
/// Why:       a sum begins with the newest unknown, so only right-hand sides go side by side. Eight
///            vectors of them cover the latency of a step, and each element of U is used once for all
///            of them.
/// Shape:     all lanes have the terms up to row `corner`; from there every row is one lane's last. Of
///            the vector to which that lane belongs the lanes behind take the step, of later ones all.
/// Invariant: rows below the present one are final; acc[v] holds the terms up to the present one.
/// Order:     rows from the last to the first, terms ascending.
template <int vectors>
[[gnu::noinline]] void unknown_rows(const Unknowns& x, System system) {
  constexpr int width = vectors * Lanes::width;
  const double sign = system.divide ? -1.0 : 1.0;
  for (int r = x.rows - 1; r >= 0; --r) {
    const int i = x.first + r;
    const double *u = x.P + r, *known = x.X + std::ptrdiff_t{i + 1} * width;
    double* own = x.X + std::ptrdiff_t{i} * width;
    const auto factor = [&](int l) {
      return Lanes::of(sign * u[std::ptrdiff_t{l - x.first} * x.height]);
    };
    Lanes acc[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] =
        system.divide ? Lanes::load(own + v * Lanes::width) : Lanes::zero();
    const int all = x.corner < x.end ? x.corner + 1 : x.end;
    int l = i + 1;
    for (; l < all; ++l, known += width) {
      const Lanes f = factor(l);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] =
          fma(f, Lanes::load(known + v * Lanes::width), acc[v]);
    }
    TABFIT_UNROLL for (int b = 0; b < vectors; ++b) {
      const int begin = x.corner + b * Lanes::width;
      for (; l < x.end && l - begin < Lanes::width; ++l, known += width) {
        const Lanes f = factor(l);
        acc[b] = fma(f, Lanes::load(known + b * Lanes::width), acc[b], Lanes::mask(~0U << (l - begin)));
        TABFIT_UNROLL for (int v = 0; v < vectors; ++v) if (v > b) acc[v] =
            fma(f, Lanes::load(known + v * Lanes::width), acc[v]);
      }
    }
    if constexpr (vectors * Lanes::width == 8)
      finish_row(acc, vectors, u[r * x.height], system, i - x.corner, own);
    else
      finish_many(acc, vectors, u[r * x.height], system, i - x.corner, own);
  }
}

void all_unknown_rows(const Unknowns& x, System system) {
  with_count<1, Lanes::width>(x.width / 8, [&](auto eights) {
    unknown_rows<8 / Lanes::width* decltype(eights)::value>(x, system);
  });
}

template <class Real>
void solve_rows(const Unknowns& x) noexcept {
  all_unknown_rows(x, {.divide = true, .floats = sizeof(Real) == sizeof(float)});
}

template <class Real>
void invert_rows(const Unknowns& x) noexcept {
  all_unknown_rows(x, {.divide = false, .floats = sizeof(Real) == sizeof(float)});
}

/// Rows that follow known ones, `vectors` of lanes from lane 0 of X on.
///
/// Why:       a row waits for the one before it, vectors of one row do not wait for each other.
/// Shape:     as next_rows has it.
/// Invariant: rows before the present one are final.
/// Order:     rows ascending, terms ascending.
template <int vectors, class Real>
void next_vectors(const double* P, int height, int done, int rows, const double* sums, int width,
                  double* X) {
  for (int i = done; i < rows; ++i) {
    const double* u = P + i * height;
    double* own = X + i * width;
    Lanes acc[vectors];
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] =
        Lanes::load(sums + i * width + v * Lanes::width);
    const double* known = X;
    for (int t = 0; t < i; ++t, known += width) {
      const Lanes f = Lanes::of(u[t]);
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] =
          fma(f, Lanes::load(known + v * Lanes::width), acc[v]);
    }
    const RowDivisor diagonal(u[i]);
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v)
        diagonal.under(Lanes::load(own + v * Lanes::width) - acc[v])
            .rounded(static_cast<Real*>(nullptr))
            .put(own + v * Lanes::width);
  }
}

template <class Real>
void next_rows(const double* P, int height, int done, int rows, const double* sums, int width,
               double* X) noexcept {
  int v = 0;
  const auto some = [&](auto vectors) {
    next_vectors<decltype(vectors)::value, Real>(P, height, done, rows, sums + v, width, X + v);
    v += decltype(vectors)::value * Lanes::width;
  };
  while (width - v >= 8 * Lanes::width) some(Count<8>{});
  if (width - v >= 4 * Lanes::width) some(Count<4>{});
  if (width - v >= 2 * Lanes::width) some(Count<2>{});
  if (width - v >= Lanes::width) some(Count<1>{});
}

/// Columns of height 1..rows, side by side in X, from the diagonal on by whole vectors.
template <class Real>
void load_triangle(const Real* const* S, std::ptrdiff_t at, int rows, int width, double* X) {
  for (int i = 0; i < rows; i += Lanes::width)
    for (int j = i; j < rows; j += Lanes::width) {
      Lanes x[Lanes::width];
      TABFIT_UNROLL for (int c = 0; c < Lanes::width; ++c) x[c] =
          j + c < rows ? load_some(S[j + c] + at + i, j + c + 1 - i) : Lanes::zero();
      turn(x);
      TABFIT_UNROLL for (int r = 0; r < Lanes::width; ++r) x[r].put(X + (i + r) * width + j);
    }
}

/// Rows of a factor, from the column of the first one on.
///
/// Why:       a root and a division a row wait for each other. All else, a term for every sum of the
///            later rows, goes on beside them: so the next pivot is found first.
/// Shape:     X holds the rows of S, and of U where they are done, `width` apart, as sums are. Of the vector that the
///            diagonal crosses all lanes are worked on. With few lanes a division is quicker than the
///            steps that replace it.
/// Invariant: sums of the rows behind the present one hold the terms before it; d is that of the row.
/// Order:     rows ascending, and with them the terms of every sum.
template <class V, bool few, class Real>
int factor_strip(int done, int rows, int columns, int width, double* sums, double* X) {
  double d = 0.0;
  for (int i = 0; i < rows; ++i) {
    double *x = X + i * width, *sum = sums + i * width;
    if (i >= done) {
      if (i == done) d = x[i] - sum[i];
      if (!(d > 0.0)) return i;  // NaN fails too
      const double pivot = static_cast<Real>(__builtin_sqrt(d));
      if (i + 1 < rows) {
        const double next = static_cast<Real>((x[i + 1] - sum[i + 1]) / pivot);
        d = x[width + i + 1] - __builtin_fma(next, next, sum[width + i + 1]);
      }
      const RowDivisor divisor(few ? 1.0 : pivot);
      for (int j = i / V::width * V::width; j < columns; j += V::width) {
        V rest = V::load(x + j) - V::load(sum + j);
        if constexpr (few)
          rest = rest / V::of(pivot);
        else
          rest = divisor.under(rest);
        rest.rounded(static_cast<Real*>(nullptr)).put(x + j);
      }
      x[i] = pivot;
    }
    for (int j = (i + 1) / V::width * V::width; j < columns; j += V::width) {
      const V own = V::load(x + j);
      const int end = j + V::width < rows ? j + V::width : rows;
#pragma GCC unroll 4
      for (int r = i + 1; r < end; ++r) {
        double* later = sums + r * width + j;
        fma(V::of(x[r]), own, V::load(later)).put(later);
      }
    }
  }
  return rows;
}

/// Why:       eight rows at a time: the sums over all rows before them are tiles, which read X where it
///            stands. A few rows are quicker without.
/// Shape:     as choice.hpp has it; lanes behind the last column hold numbers and are not kept.
/// Invariant: rows before i are final in X.
/// Order:     rows ascending, and with them the terms of every sum.
template <class Real>
int factor_rows(const Real* const* S, Real* const* U, std::ptrdiff_t at, int done, int rows,
                double* sums, int width) noexcept {
  constexpr int few = 32;
  static_assert(few * (few + 8) >= panel_columns * (factor_most + 8));
  alignas(64) double X[factor_most * (factor_most + 8)], own[few * (few + 8)];
  const double *lines[factor_most], *columns[panel_columns];
  double* out[panel_columns];
  const int height = rows <= few ? rows : panel_columns, end = (rows + 7) / 8 * 8;
  load_triangle(S, at, rows, width, X);
  for (int i = 0; i < done; ++i)
    for (int j = i; j < rows; ++j) X[i * width + j] = U[j][at + i];
  int finished = 0;
  for (int i = 0; i == finished && i < rows; i += height) {
    double* const from = sums ? sums + i * width : own;
    Tile x{.P = lines, .Q = columns, .step = width, .sums = out, .end = i, .from_zero = !sums};
    x.columns = least(height, rows - i);
    if (!sums && i == 0)
      for (int k = 0; k < x.columns * width; ++k) own[k] = 0.0;
    if (i > 0) {
      for (int l = i - height; l < i; ++l) lines[l] = X + l * width;
      for (int c = 0; c < x.columns; ++c) {
        columns[c] = X + i + c;
        out[c] = from + c * width;
      }
      for (x.row = i; x.row < end; x.row += panel_rows) {
        x.place = x.row;
        x.rows = least(panel_rows, end - static_cast<int>(x.row));
        tile(x);
      }
    }
    double *const corner = from + i, *const own_rows = X + i * width + i;
    const int before = most(done - i, 0), count = least(height, rows - i);
    finished += end - i == 8
                    ? factor_strip<FourLanes, true, Real>(before, count, 8, width, corner, own_rows)
                    : factor_strip<Lanes, false, Real>(before, count, end - i, width, corner, own_rows);
  }
  unpack_terms(X, width, rows, finished, 1, U, at);
  return finished;
}

}  // namespace
}  // namespace tabfit

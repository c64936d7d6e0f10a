// kernels/sums/reflect_lanes.hpp - reflections over vectors of the width that the file including this
// is compiled for.
#pragma once

#include "kernels/lanes/choice.hpp"
#include "kernels/lanes/lanes.hpp"

namespace tabfit {
namespace {

// -- panels -----------------------------------------------------------------------------------------

/// `panels` of eight columns at once, with their multipliers and sums in registers.
///
/// Why:       one panel alone waits for its own sums; an element of a reflector is loaded once for all.
/// Shape:     as reflect has it; every lane is a column, and every row of a panel a whole line.
/// Invariant: acc holds the rows above the present one.
/// Order:     rows ascending; in a row the reflections ascending, each rounded to Real, then the sum.
template <int panels, int waiting, bool keep, class Real>
inline void reflect_panels(Real* Y, std::ptrdiff_t panel_size, int rows, const double* const* u,
                           const double* const* t, std::ptrdiff_t first, const double* next,
                           double beta, double* next_t) {
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
    Lanes e[waiting + 1];
    TABFIT_UNROLL for (int q = 0; q < waiting; ++q) e[q] = Lanes::of(reflector[q][i]);
    const Lanes w = Lanes::of(next[i]);
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      Real* place = Y + v / parts * panel_size + v % parts * Lanes::width;
      Lanes y = Lanes::load(place);
      TABFIT_UNROLL for (int q = 0; q < waiting; ++q) y = fma(multiplier[q][v], e[q], y).rounded(place);
      if constexpr (keep) y.put(place);
      acc[v] = fma(y, w, acc[v]);
    }
  }
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v)(-acc[v] / Lanes::of(beta))
      .put(next_t + first + v * Lanes::width);
}

/// With four lanes three would leave registers for one panel only, which waits for its own sums.
template <class Real>
constexpr int may_wait = sizeof(Real) == sizeof(float) ? 1
                         : Lanes::width == 8           ? 3
                                                       : 2;

/// All panels, as many at once as there are registers for their multipliers and sums.
///
/// Why:       what the last pass looked at last is still in the nearer caches. So every second pass
///            goes backwards.
/// Shape:     as reflect has it; the last few panels are fewer.
/// Invariant: the panels of groups already passed have their multipliers.
/// Order:     that of reflect_panels in every column; columns in any.
template <int waiting, bool keep, class Real>
inline void reflect_all(Real* Y, std::ptrdiff_t panel_size, int panels, int rows,
                        const double* const* u, const double* const* t, bool backwards,
                        const double* next, double beta, double* next_t) {
  constexpr int most = Lanes::width == 8 ? 4 : 2;
  const auto some = [&](auto count, int p) {
    reflect_panels<decltype(count)::value, waiting, keep>(Y + p * panel_size, panel_size, rows, u, t,
                                                          8 * p, next, beta, next_t);
  };
  const int groups = panels / most;
  for (int k = 0; k <= groups; ++k) {
    const int g = backwards ? groups - k : k, p = g * most;
    if (g < groups)
      some(Count<most>{}, p);
    else
      with_count<1, most - 1>(panels - p, [&](auto count) { some(count, p); });
  }
}

template <class Real>
void reflect(Real* Y, std::ptrdiff_t panel_size, int panels, int rows, int waiting,
             const double* const* u, const double* const* t, bool keep, bool backwards,
             const double* next, double beta, double* next_t) noexcept {
  constexpr int most = may_wait<Real>;
  const auto all = [&](auto count, auto kept) {
    reflect_all<decltype(count)::value, decltype(kept)::value == 1>(Y, panel_size, panels, rows, u, t,
                                                                    backwards, next, beta, next_t);
  };
  if (!keep)
    with_count<0, most>(waiting, [&](auto count) { all(count, Count<0>{}); });
  else if (waiting == most)
    all(Count<most>{}, Count<1>{});
  else
    all(Count<1>{}, Count<1>{});
}

/// Why:       the next pivot needs one row and the norms without it, long before the next pass.
/// Shape:     as reflect_row has it; a vector is part of one panel.
/// Invariant: columns before the present vector are final.
/// Order:     the reflections ascending, each rounded to Real, then the step of the norm.
template <class Real>
void reflect_row(Real* Y, std::ptrdiff_t panel_size, int panels, int waiting, const double* u,
                 const double* const* t, double* h) noexcept {
  for (int c = 0; c < 8 * panels; c += Lanes::width) {
    Real* place = Y + c / 8 * panel_size + c % 8;
    Lanes y = Lanes::load(place);
    for (int q = 0; q < waiting; ++q) y = fma(Lanes::load(t[q] + c), Lanes::of(u[q]), y).rounded(place);
    y.put(place);
    fnma(y, y, Lanes::load(h + c)).put(h + c);
  }
}

// -- columns ----------------------------------------------------------------------------------------

/// What is done to columns: their sums with another one, after a reflection or without; their squares.
enum class Task { update_and_sum, sum, squares };

/// Some vectors of columns where they stand.
///
/// Why:       lanes are rows while a reflection is applied, and columns while the sums, of which each
///            waits for its own last step, run side by side.
/// Shape:     a column beyond the count repeats the last one, with the same results: all lines of a
///            block are read before one is written.
/// Invariant: acc holds the rows above the present block.
/// Order:     rows ascending in every sum.
template <Task task, class V, int vectors, class Real>
inline void some_columns(Real* const* columns, int count, std::ptrdiff_t row, int rows, const double* u,
                         const double* t, const double* next, double* s) {
  constexpr int width = vectors * V::width;
  constexpr bool update = task == Task::update_and_sum;
  Real* y[width];
  double factor[width];
  V acc[vectors];
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v] = V::zero();
  TABFIT_UNROLL for (int c = 0; c < width; ++c) {
    const int from = c < count ? c : count - 1;
    y[c] = columns[from] + row;
    if constexpr (update) factor[c] = t[from];
  }
  const auto block = [&](int i, int height, auto... mask) {
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      Real* const* line = y + v * V::width;
      V x[V::width];
      TABFIT_UNROLL for (int c = 0; c < V::width; ++c) x[c] = V::load(line[c] + i, mask...);
      if constexpr (update) {
        const V reflector = V::load(u + i, mask...);
        TABFIT_UNROLL for (int c = 0; c < V::width; ++c) x[c] =
            fma(V::of(factor[v * V::width + c]), reflector, x[c]);
        TABFIT_UNROLL for (int c = 0; c < V::width; ++c) x[c].put(line[c] + i, mask...);
      }
      turn(x);
      TABFIT_UNROLL for (int r = 0; r < V::width; ++r) {
        if (r == height) break;
        acc[v] = fma(x[r], task == Task::squares ? x[r] : V::of(next[i + r]), acc[v]);
      }
    }
  };
  int i = 0;
  for (; i + V::width <= rows; i += V::width) block(i, V::width);
  if (i < rows) block(i, rows - i, first_lanes<V>(rows - i));
  TABFIT_UNROLL for (int v = 0; v < vectors; ++v) acc[v].put(s + v * V::width,
                                                             first_lanes<V>(count - v * V::width));
}

/// The last few columns wait for their own sums at any width, and the processor clocks higher with the
/// narrower vectors.
template <Task task, class Real>
inline void all_columns(Real* const* columns, int count, std::ptrdiff_t row, int rows, const double* u,
                        const double* t, const double* next, double* s) {
  constexpr int most = 2 * Lanes::width;
  for (; count > 0; count -= most, columns += most, s += most) {
    if (count > Lanes::width)
      some_columns<task, Lanes, 2>(columns, count, row, rows, u, t, next, s);
    else if (count > FourLanes::width)
      some_columns<task, Lanes, 1>(columns, count, row, rows, u, t, next, s);
    else
      some_columns<task, FourLanes, 1>(columns, count, row, rows, u, t, next, s);
    if (t) t += most;
  }
}

void reflect_columns(double* const* columns, int count, std::ptrdiff_t row, int rows, const double* u,
                     const double* t, const double* next, double* s) noexcept {
  if (u)
    all_columns<Task::update_and_sum>(columns, count, row, rows, u, t, next, s);
  else
    all_columns<Task::sum>(columns, count, row, rows, u, nullptr, next, s);
}

template <class Real>
void column_squares(Real* const* columns, int count, int rows, double* s) noexcept {
  all_columns<Task::squares>(columns, count, 0, rows, nullptr, nullptr, nullptr, s);
}

}  // namespace
}  // namespace tabfit

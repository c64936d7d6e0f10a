// kernels/sums/panel.hpp - sums of products that stand side by side: the kernels, and their choice.
//
// A sum may not be split, and one alone waits for its own last step; neighbouring sums do not wait for
// each other. Every kernel below advances many sums together, each of them in its own order, each step
// one fused multiply-add: the bits of the plain loop, with every instruction set.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tabfit {

/// Rows and columns of a tile of sums, and so the widths of the panels of its factors.
inline constexpr int panel_rows = 24, panel_columns = 8;

/// The sums of a tile that a term belongs to.
struct TileMask {
  std::uint32_t rows;     ///< bit r for row r
  std::uint32_t columns;  ///< bit c for column c
};

/// A tile of sums: sums[c][r] gets the terms t = first..end-1 of P[t][row + r] Q[c][t * step],
/// ascending, for c < columns and r < height[c].
template <class Real>
struct Tile {
  const Real* const* P;
  std::ptrdiff_t row, step;
  const Real* Q[panel_columns];  ///< of a column beyond the count, that of another
  double* sums[panel_columns];
  int rows, columns, first, end;
  bool from_zero;             ///< the sums begin at 0, not at what stands there
  bool level;                 ///< eight columns of `rows` sums: the heights are not looked at
  int height[panel_columns];  ///< at most `rows`; 0 beyond the count
};

/// The kernels that read elements of one type.
template <class Real>
struct ElementKernels {
  void (*tile)(const Tile<Real>& tile) noexcept;

  /// The same, but a term belongs only to the sums that mask[t] names, some of each kind or none, and
  /// only its factors are read.
  void (*masked_tile)(const Tile<Real>& tile, const TileMask* mask) noexcept;

  /// out[t * width + r] = lines[t][line + r], for t < terms, r < count <= width; what stands in
  /// the places up to the next multiple of 8 is not said.
  void (*pack_lines)(const Real* const* lines, std::ptrdiff_t line, int count, int terms, int width,
                     double* out) noexcept;

  /// out[t * width + r] = lines[r][term + t], for t < terms, r < count <= width; zero for the other r
  /// up to the next multiple of 8.
  void (*pack_terms)(const Real* const* lines, std::ptrdiff_t term, int count, int terms, int width,
                     double* out) noexcept;

  /// sums[c] = columns[c][row] x[0] + columns[c][row + 1] x[1] + ... , n terms, ascending, from 0.
  void (*dots)(const Real* const* columns, int count, std::ptrdiff_t row, const Real* x, int n,
               double* sums) noexcept;

  /// sums[r] = columns[0][row + r] x[0] + columns[1][row + r] x[1] + ..., ascending, from 0, for r <
  /// rows.
  void (*sweep)(const Real* const* columns, std::ptrdiff_t row, int rows, const Real* x, int terms,
                double* sums) noexcept;

  /// sums[v] += or -= columns[t][row] X[t * lanes + v], t ascending, for v < lanes, a multiple of 8;
  /// with a band, for lanes v >= band + t only.
  void (*add_rows)(const Real* const* columns, std::ptrdiff_t row, const double* X, int lanes,
                   int terms, bool subtract, const int* band, double* sums) noexcept;

  /// Columns eight by eight, row-major: element (i, c) of panel p is Y[p * panel_size + 8 i + c]. To
  /// each the waiting reflections q = 0..waiting-1, at most 3, are applied, y = y + t[q][c] u[q][i],
  /// rounded to Real each, and kept if wanted; then s[c] = s[c] + y next[i], s from 0, unless next is
  /// null.
  void (*reflect)(Real* Y, std::ptrdiff_t panel_size, int panels, int rows, int waiting,
                  const double* const* u, const double* const* t, bool keep, const double* next,
                  double* s) noexcept;

  /// y[i] = y[i] + t u[i], rounded to Real; u and y do not overlap.
  void (*axpy)(double t, const Real* u, Real* y, int n) noexcept;

  /// The first x[i] of greatest magnitude, passing over NaN: its place, or -1 if there is none.
  int (*greatest)(const Real* x, int n) noexcept;

  /// s[c] = sum of the squares of a column of such panels, from 0, ascending.
  void (*squares)(const Real* Y, std::ptrdiff_t panel_size, int panels, int rows, double* s) noexcept;

  /// To rows row..row+rows-1 of each column the reflection y = y + t[c] u[i] is applied, rounded to
  /// Real, unless u is null; then s[c] = sum of y next[i], from 0, ascending.
  void (*reflect_in_place)(Real* const* columns, int count, std::ptrdiff_t row, int rows,
                           const double* u, const double* t, const double* next, double* s) noexcept;

  /// s[c] = sum of the squares of a column, from 0, ascending.
  void (*column_squares)(Real* const* columns, int count, int rows, double* s) noexcept;
};

struct Kernels {
  /// sums[v] += q[t] X[t * lanes + v], t ascending, for v < lanes, a multiple of 8.
  void (*add_lanes)(const double* q, const double* X, int lanes, int terms, double* sums) noexcept;

  ElementKernels<float> f;
  ElementKernels<double> d;

  template <class Real>
  const ElementKernels<Real>& of() const noexcept {
    if constexpr (sizeof(Real) == sizeof(float))
      return f;
    else
      return d;
  }
};

/// Plain loops, for every processor.
extern const Kernels plain_kernels;

/// Where the processor may have them; null where this library was built for another kind.
const Kernels* avx2_kernels() noexcept;
const Kernels* avx512_kernels() noexcept;

/// The best that this processor runs.
const Kernels& kernels() noexcept;

}  // namespace tabfit

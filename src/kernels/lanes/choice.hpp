// kernels/lanes/choice.hpp - the table of all kernels, and the choice of one for this processor.
//
// A kernel advances many results together, each in its own order and each step one rounding: the bits
// of the plain loop, with every instruction set. A table holds the kernels of one set. What the
// operands are is said where they are defined, in kernels/sums and kernels/points.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tabfit {

struct Edge;
struct Tile;
struct Unknowns;
struct PointMapping;
struct BasisGrid;
struct PointPlaces;
struct SplinePieces;

/// Reflections that may wait for the pass that applies them, at most.
inline constexpr int most_waiting = 3;

/// Some points of a block: bit i for point i.
using PointSet = std::uint64_t;

/// The kernels that read or write elements of one type.
template <class Real>
struct ElementKernels {
  // -- one sum, one column --------------------------------------------------------------------------

  /// sum + x[0] y[0] + x[1] y[1] + ..., ascending.
  double (*dot)(const Real* x, const Real* y, int n, double sum) noexcept;

  /// y[i] = y[i] + t u[i], each one fused multiply-add, rounded to Real; u and y do not overlap.
  void (*axpy)(double t, const Real* u, Real* y, int n) noexcept;
  void (*axpy_of_doubles)(double t, const double* u, Real* y, int n) noexcept;

  /// The first x[i] of greatest magnitude, passing over NaN: its place, or -1 if there is none.
  int (*greatest)(const Real* x, int n) noexcept;

  // -- sums side by side ----------------------------------------------------------------------------

  /// out[t * width + r] = lines[t][line + r], for t < terms, r < count <= width, of those that the
  /// edge has; nothing else is read or written.
  void (*pack_lines)(const Real* const* lines, std::ptrdiff_t line, int count, int terms, int width,
                     double* out, Edge edge) noexcept;

  /// out[t * width + r] = lines[r][term + t], for t < terms, r < count <= width, of those that the
  /// edge has; nothing else is read. Zero for the other r up to the next multiple of 8, or the width,
  /// if the edge is no band's; otherwise what stands there is not said.
  void (*pack_terms)(const Real* const* lines, std::ptrdiff_t term, int count, int terms, int width,
                     double* out, Edge edge) noexcept;

  /// lines[r][term + t] = in[t * width + r], rounded to Real, for r < count and t < terms, t < corner + r.
  /// Up to a multiple of 8 the places behind the count are read.
  void (*unpack_terms)(const double* in, int width, int count, int terms, int corner,
                       Real* const* lines, std::ptrdiff_t term) noexcept;

  /// y[c] = columns[c][0] x[0] + columns[c][1] x[1] + ..., n terms, ascending, from 0, for c < count.
  void (*dots)(const Real* const* columns, int count, const Real* x, int n, Real* y) noexcept;

  /// y[r] = columns[0][r] x[0] + columns[1][r] x[1] + ..., ascending, from 0, for r < rows.
  void (*sweep)(const Real* const* columns, int rows, const Real* x, int terms, Real* y) noexcept;

  /// x(i, v) = (x(i, v) - u(i, i+1) x(i+1, v) - u(i, i+2) x(i+2, v) - ...) / u(i, i), rows from the
  /// last to the first, rounded to Real.
  void (*solve_rows)(const Unknowns& x) noexcept;

  /// x(i, v) = -u(i, i) (u(i, i+1) x(i+1, v) + u(i, i+2) x(i+2, v) + ...) likewise, the sum from 0, for
  /// the rows above a lane's last one.
  void (*invert_rows)(const Unknowns& x) noexcept;

  /// Rows i = done..rows-1, ascending: x(i, v) = (x(i, v) - s) / P[i * height + i], rounded to Real,
  /// where s is
  /// sums(i, v) + P[i * height] x(0, v) + P[i * height + 1] x(1, v) + ..., i terms, ascending. x(i, v)
  /// stands at X[i * width + v], sums(i, v) likewise; width is a multiple of 8.
  void (*next_rows)(const double* P, int height, int done, int rows, const double* sums, int width,
                    double* X) noexcept;

  /// Rows i = done..rows-1, ascending, of the factor U of a symmetric matrix S: u(i, i) = root of d, d =
  /// s(i, i) - t(i, i), and u(i, j) = (s(i, j) - t(i, j)) / u(i, i) for j > i, rounded to Real, where
  /// t(i, j) is sums(i, j) + u(0, i) u(0, j) + u(1, i) u(1, j) + ..., i terms, ascending. Element (i, j),
  /// i <= j < rows <= factor_most, stands at S[j][at + i] and U[j][at + i], which may be one place;
  /// sums(i, j) at sums[i * width + j], width a multiple of 8, and all sums up to such a multiple are
  /// numbers. Null: all are 0. Returned: the first row whose d is not positive, or `rows`; no later row
  /// is written.
  int (*factor_rows)(const Real* const* S, Real* const* U, std::ptrdiff_t at, int done, int rows,
                     double* sums, int width) noexcept;

  // -- reflections ----------------------------------------------------------------------------------

  // Columns eight by eight, row-major: element (i, c) of panel p is Y[p * panel_size + 8 i + c]. To
  // each the waiting reflections q = 0..waiting-1 are applied, y = y + t[q][c] u[q][i], rounded to Real
  // each.

  /// How many may wait: one where to apply again takes longer than to write, as it does for floats,
  /// which every application rounds; otherwise as many as registers have room for.
  int may_wait;

  /// The multipliers of the next reflection, next_t[c] = -s / beta with s = y(0, c) next[0] + y(1, c)
  /// next[1] + ..., ascending, from 0, over such y, which are kept if wanted: if one waits, or as many
  /// as may. `backwards` the last panel comes first. next_t may be one of t.
  void (*reflect)(Real* Y, std::ptrdiff_t panel_size, int panels, int rows, int waiting,
                  const double* const* u, const double* const* t, bool keep, bool backwards,
                  const double* next, double beta, double* next_t) noexcept;

  /// A row of such panels is kept so, and leaves the squared norms of the rest: h[c] = h[c] - y y,
  /// fused. u[q] is the element of that row.
  void (*reflect_row)(Real* Y, std::ptrdiff_t panel_size, int panels, int waiting, const double* u,
                      const double* const* t, double* h) noexcept;

  /// s[c] = sum of the squares of a column, from 0, ascending.
  void (*column_squares)(Real* const* columns, int count, int rows, double* s) noexcept;

  // -- blocks of points -----------------------------------------------------------------------------
  //
  // Arrays of elements are read and written up to `count`, at most point_block, only. What is written
  // for a point in doubt is not to be used.

  /// u[i] = map(v[i]), offset 1, rounded to double; and in place, offset 0, rounded to Real. Returned:
  /// the points in doubt, which in place are left as they are.
  PointSet (*map)(const Real* v, int count, const PointMapping& map, double* u) noexcept;
  PointSet (*map_elements)(Real* v, int count, const PointMapping& map) noexcept;

  /// v[i] = hw v[i] + cm, fused, rounded to Real; for any count.
  void (*map_back)(Real* v, int count, const PointMapping& map) noexcept;

  /// out[i] = s[i] / unit, rounded to Real. Returned: the points in doubt.
  PointSet (*divide)(const double* s, int count, long double unit, Real* out) noexcept;

  /// The basis function of column T of the table, number j, at weighed places, rounded to double, then
  /// to Real. Returned: the points in doubt, but for those of weigh.
  PointSet (*basis)(const PointPlaces& at, int count, const Real* T, int j, Real* out) noexcept;

  /// Value and derivatives of the spline with the knot values a[k + 1], rounded to double, then to
  /// Real; each may be null. Returned: the points in doubt.
  PointSet (*spline)(const PointPlaces& at, int count, const SplinePieces& pieces, const Real* a,
                     Real* s, Real* s1, Real* s2) noexcept;

  /// k[i] = the interval of nodes that holds t[i], as V_search gives it, for points strictly inside the
  /// table of n >= 2 strictly ascending nodes; k has point_block places. Points of the interval `last`
  /// are found at once; it becomes that of the last point. Returned: the points not inside.
  PointSet (*find)(const Real* x, int n, const Real* t, int count, std::int32_t* k,
                   std::int32_t& last) noexcept;

  /// The line through the nodes k[i] and k[i] + 1 of the table x, y at t[i] between them, (t - x[k])
  /// slope + y[k], rounded to double, then to Real. Returned: the points in doubt.
  PointSet (*line)(const Real* x, const Real* y, const std::int32_t* k, const Real* t, int count,
                   Real* out) noexcept;

  /// Value and derivatives of the cubic y + b r + c r^2 + d r^3 of interval k[i] at r = t[i] - x[k],
  /// rounded likewise; each may be null. C holds y, b, c and d, n each. Returned: the points in doubt.
  PointSet (*cubic)(const Real* x, const Real* C, int n, const std::int32_t* k, const Real* t,
                    int count, Real* s, Real* s1, Real* s2) noexcept;

  /// t[i] = v[i] moved into -1..1; NaN stays. Returned: the points whose magnitude is above the band.
  PointSet (*clamp)(const Real* v, int count, double band, double* t) noexcept;

  /// Rows j = 0..p, and at least 0 and 1, of T, `stride` apart: the Chebyshev polynomial of degree j at
  /// t[i], T[j] = 2 t T[j-1] - T[j-2], a fused step, rounded to Real. With a, sums[i] = a[0] T[0][i] +
  /// a[1] T[1][i] + ..., ascending up to p, from 0.
  void (*chebyshev)(int p, const double* t, int count, std::ptrdiff_t stride, Real* T, const Real* a,
                    double* sums) noexcept;

  /// Rows k = 0..p of D: k times the sum of 2 c[j][i], j = k-1, k-3, ..., but c[0] counted once, in
  /// double, rows ascending: the derivatives of what the rows of c hold values of. With a, sums as
  /// above.
  void (*chebyshev_derivatives)(int p, const Real* c, int count, std::ptrdiff_t stride, Real* D,
                                const Real* a, double* sums) noexcept;

  // -- the system of an interpolating spline, with diagonal b, off-diagonal d and right-hand side c --

  /// To upper bidiagonal form, rows 1..last ascending: t = d[i-1] / b[i-1], rounded to double,
  /// b[i] = b[i] - t d[i-1], c[i] = c[i] - t c[i-1].
  void (*eliminate)(Real* b, Real* c, const Real* d, int last) noexcept;

  /// Solves that form, rows last..0 descending, and puts the coefficients of the interval to the right
  /// of y[i] and of width h = d[i] in the place of row i. `right` is the unknown of row last + 1; gives
  /// that of row last.
  ///
  ///   left = (c[i] - h right) / b[i]
  ///   b[i] = (y[i+1] - y[i]) / h - h (right + 2 left)
  ///   c[i] = 3 left     d[i] = (right - left) / h
  Real (*substitute)(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept;
};

/// All kernels of one instruction set.
struct Kernels {
  /// Doubles of a vector.
  int lanes;

  /// Adds the terms of a tile to its sums.
  void (*tile)(const Tile& tile) noexcept;

  /// To rows row..row+rows-1 of each column the reflection y = y + t[c] u[i] is applied, unless u is
  /// null; then s[c] = sum of y next[i], from 0, ascending.
  void (*reflect_columns)(double* const* columns, int count, std::ptrdiff_t row, int rows,
                          const double* u, const double* t, const double* next, double* s) noexcept;

  /// Moves points from within tol of the reference interval into it, and finds their places. Returned:
  /// the points in doubt. outside: those that are further away, or NaN; they have no place.
  PointSet (*locate)(const BasisGrid& grid, double tol, int count, double* u, PointPlaces& at,
                     PointSet& outside) noexcept;

  /// What basis needs besides the places. Returned: the points that are in doubt in every function.
  PointSet (*weigh)(const BasisGrid& grid, int count, PointPlaces& at) noexcept;

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
#if defined(__x86_64__)
extern const Kernels avx2_kernels, avx512_kernels;
#elif defined(__aarch64__)
extern const Kernels arm64_kernels;
#endif

/// The widest that this processor runs.
const Kernels& kernels() noexcept;

}  // namespace tabfit

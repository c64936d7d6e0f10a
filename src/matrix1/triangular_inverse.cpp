// matrix1/triangular_inverse.cpp - solves and inverses with an upper-triangular matrix.
//
// An unknown is a sum over the unknowns already found, divided by a diagonal element. The unknowns of
// one row, in all right-hand sides or columns, do not depend on each other and advance side by side;
// row follows row. A zero on the diagonal gives infinities or NaN by the rules of arithmetic.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/panel.hpp"
#include "kernels/sums/product.hpp"
#include "kernels/sums/unknowns.hpp"

#include "matrix1/triangular_inverse.hpp"

#include <algorithm>
#include <limits>

namespace tabfit {
namespace {

// -- blocks of columns, from the last row to the first -----------------------------------------------

/// Columns of unknowns side by side, row i at X + i * width, and the rows of U that are in work.
struct Scratch {
  static constexpr int unknowns = 22528, factors = unknowns / 8, most_height = 8;
  alignas(64) double X[unknowns];
  alignas(64) double P[factors + most_height];  // packing fills up to a multiple of 8

  /// Columns that are worked on together when each has n rows: eight vectors of them at most, and 0 if
  /// not even eight columns fit.
  static int width(int n, int columns) noexcept {
    const int most = 8 * kernels().lanes;
    const int wanted = columns < most ? (columns + 7) / 8 * 8 : most;
    return std::min(wanted, unknowns / n / 8 * 8);
  }
};

/// All rows of the unknowns in `scratch`, `count` of each lane, by a kernel for a few rows.
///
/// Why:       U is read down its columns, eight rows at a time, and used across: so these rows are
///            packed, as doubles, before the kernel takes them one by one.
template <class Real, class Kernel>
void solve_columns(Kernel kernel, Real* const* U, int rows, int width, int corner,
                   Scratch& scratch) noexcept {
  const auto& pack = kernels().of<Real>().pack_lines;
  const int height = std::min(Scratch::most_height, Scratch::factors / rows);
  for (int end = rows; end > 0;) {
    const int count = std::min(height, end), first = end - count;
    for (int t = 0; t < count; ++t)  // column first + t of U has t + 1 of these rows
      std::copy_n(U[first + t] + first, t + 1, scratch.P + t * height);
    if (end < rows) pack(U + end, first, count, rows - end, height, scratch.P + count * height, {});
    kernel({.X = scratch.X,
            .width = width,
            .P = scratch.P,
            .height = height,
            .first = first,
            .rows = count,
            .end = rows,
            .corner = corner});
    end = first;
  }
}

/// Copies rows 0..rows-1 of columns B[0..count-1] side by side, zero in the lanes behind.
template <class Real>
void load_columns(Real* const* B, int rows, int count, int width, double* X) noexcept {
  kernels().of<Real>().pack_terms(B, 0, count, rows, width, X, {});
}

/// Back to columns B[0..count-1], to the first `shortest` rows of column 0 and to one more of each next
/// one, up to `rows`.
template <class Real>
void store_columns(const double* X, int rows, int shortest, int count, int width,
                   Real* const* B) noexcept {
  kernels().of<Real>().unpack_terms(X, width, count, rows, shortest, B, 0);
}

/// One column whose rows are too many for the scratch: unknown i = n-1..0, one at a time.
template <class Real>
void solve_column(Real* const* U, Real* b, int n) noexcept {
  for (int i = n - 1; i >= 0; --i) {
    double rest = b[i];
    for (int l = i + 1; l < n; ++l) rest = mul_add(-U[l][i], b[l], rest);
    b[i] = store<Real>(rest / U[i][i]);
  }
}

}  // namespace

// b(i) = (b(i) - u(i,i+1) b(i+1) - u(i,i+2) b(i+2) - ...) / u(i,i).
template <class Real>
void M_invt(Real* const* U, Real* const* B, int n, int p) noexcept {
  if (n < 1 || p < 1) return;
  const int width = Scratch::width(n, p);
  if (width == 0) {
    for (int k = 0; k < p; ++k) solve_column(U, B[k], n);
    return;
  }
  Scratch scratch;
  for (int k = 0; k < p; k += width) {
    const int count = std::min(width, p - k);
    load_columns(B + k, n, count, width, scratch.X);
    solve_columns(kernels().of<Real>().solve_rows, U, n, width, n, scratch);
    store_columns(scratch.X, n, n, count, width, B + k);
  }
}

// -- blocks of rows, from the first to the last ------------------------------------------------------

// The sums over all rows before the block are one product; the block's own rows follow one by one.
template <class Real>
void forward_rows(Real* const* U, int i0, int done, int rows, Real* const* B, Real* const* X,
                  int p) noexcept {
  constexpr int strip = 96;
  if (p < 1) return;
  const Kernels& kernel = kernels();
  const auto& element = kernel.of<Real>();
  alignas(64) double tall[strip * panel_rows], sums[panel_rows * strip], unknowns[panel_rows * strip],
      P[panel_rows * panel_rows];
  double* columns[strip];
  for (int k = 0; k < std::min(p, strip); ++k) columns[k] = tall + k * panel_rows;
  for (int i = done; i < rows; ++i)  // column i of U has i + 1 of these rows
    std::copy_n(U[i0 + i] + i0, i + 1, P + i * panel_rows);
  for (int k0 = 0; k0 < p; k0 += strip) {
    const int count = std::min(strip, p - k0), width = (count + 7) / 8 * 8;
    if (i0 > 0) {
      product({.rows = rows, .columns = count, .terms = i0}, transposed(U + i0), as_is(X + k0),
              into_sums<Real>(columns));
      kernel.d.pack_terms(columns, 0, count, rows, width, sums, {});
    } else {
      std::fill_n(sums, rows * width, 0.0);
    }
    element.pack_terms(B + k0, i0, count, rows, width, unknowns, {});
    element.pack_terms(X + k0, i0, count, done, width, unknowns, {});
    element.next_rows(P, panel_rows, done, rows, sums, width, unknowns);
    element.unpack_terms(unknowns + done * width, width, count, rows - done, rows, X + k0, i0 + done);
  }
}

template void forward_rows(float* const*, int, int, int, float* const*, float* const*, int) noexcept;
template void forward_rows(double* const*, int, int, int, double* const*, double* const*, int) noexcept;

namespace {

/// Columns of unknowns side by side, row i at X + i * width, of which the first rows are found.
struct Forward {
  static constexpr int unknowns = 22528, most_width = 48, height = panel_columns;
  static constexpr int most_rows = unknowns / panel_rows, stride = most_rows + 8;
  alignas(64) double X[unknowns];
  alignas(64) double Q[height * stride];  // columns of U, if its elements are floats
  alignas(64) double sums[height * most_width];
  double P[height * height];
  const double *lines[most_rows], *columns[height];
  double* own_sums[height];

  /// Columns that are worked on together when each has n rows; 0 if a panel of them does not fit.
  static int width(int n, int columns) noexcept {
    if (n > most_rows) return 0;
    return std::min((std::min(columns, most_width) + 7) / 8 * 8, unknowns / n / 8 * 8);
  }

  /// Rows i..i+rows-1: the sums over all rows before them are tiles whose lanes are the columns.
  template <class Real>
  void find(Real* const* U, int i, int rows, int width) noexcept {
    const auto& element = kernels().of<Real>();
    for (int r = 0; r < rows; ++r) {
      columns[r] = Q + r * stride;
      if constexpr (is_double<Real>) columns[r] = U[i + r];
      own_sums[r] = sums + r * width;
      std::copy_n(U[i + r] + i, r + 1, P + r * height);  // column i + r of U has r + 1 of these rows
    }
    if (i == 0) std::fill_n(sums, rows * width, 0.0);
    if (!is_double<Real>) element.pack_lines(U + i, 0, i, rows, stride, Q, {});
    Tile tile{.P = lines, .Q = columns, .sums = own_sums, .columns = rows, .end = i};
    for (int v = 0; i > 0 && v < width; v += panel_rows) {
      tile.row = tile.place = v;
      tile.rows = std::min(panel_rows, width - v);
      kernels().tile(tile);
    }
    element.next_rows(P, height, 0, rows, sums, width, X + i * width);
  }
};

/// B := U^-T B, columns in scratch. A function of its own: its scratch and that of a product are large.
template <class Real>
[[gnu::noinline]] void forward_columns(Real* const* U, Real* const* B, int n, int p,
                                       int width) noexcept {
  Forward scratch;
  for (int i = 0; i < n; ++i) scratch.lines[i] = scratch.X + i * width;
  for (int k = 0; k < p; k += width) {
    const int count = std::min(width, p - k);
    load_columns(B + k, n, count, width, scratch.X);
    for (int i = 0; i < n; i += Forward::height)
      scratch.find(U, i, std::min(Forward::height, n - i), width);
    store_columns(scratch.X, n, n, count, width, B + k);
  }
}

}  // namespace

template <class Real>
void M_invutm(Real* const* U, Real* const* B, int n, int p) noexcept {
  if (n < 1 || p < 1) return;
  if (const int width = Forward::width(n, p)) return forward_columns(U, B, n, p, width);
  for (int i = 0; i < n; i += panel_rows) forward_rows(U, i, 0, std::min(panel_rows, n - i), B, B, p);
}

// -- columns that end on the diagonal ----------------------------------------------------------------

namespace {

/// V := U^-1 V for upper-triangular V, or U^-1 if `unit`: back substitution whose column j ends at row j.
template <bool unit, class Real>
void solve_upper(Real* const* U, Real* const* V, int n) noexcept {
  if (n < 1) return;
  const int width = Scratch::width(n, n);
  if (width == 0) {
    for (int j = 0; j < n; ++j) {
      if (unit) V_fill(V[j], j, 0.0);
      if (unit) V[j][j] = 1;
      solve_column(U, V[j], j + 1);
    }
    return;
  }
  Scratch scratch;
  double* const X = scratch.X;
  for (int j0 = 0; j0 < n; j0 += width) {
    const int count = std::min(width, n - j0);
    if (!unit && j0 > 0) load_columns(V + j0, j0, count, width, X);
    std::fill_n(unit ? X : X + j0 * width, (unit ? j0 + count : count) * width, 0.0);
    for (int c = 0; c < count; ++c)
      for (int i = unit ? j0 + c : j0; i <= j0 + c; ++i) X[i * width + c] = unit ? 1.0 : V[j0 + c][i];
    solve_columns(kernels().of<Real>().solve_rows, U, j0 + count, width, j0, scratch);
    store_columns(X, j0 + count, j0 + 1, count, width, V + j0);
  }
}

template <class Real>
void M_invuu(Real* const* U, Real* const* V, int n) noexcept {
  solve_upper<false>(U, V, n);
}

/// x(i,j) = -(u(i,i+1) x(i+1,j) + ... + u(i,j) x(j,j)) / u(i,i), where the diagonal of T holds 1 /
/// u(i,i), and
/// x(j,j) is that.
template <class Real>
void invert_column(Real* const* T, int j) noexcept {
  for (int i = j - 1; i >= 0; --i) {
    double sum = 0.0;
    for (int l = i + 1; l <= j; ++l) sum = mul_add(T[l][i], T[j][l], sum);
    T[j][i] = store<Real>(-double(T[i][i]) * sum);
  }
}

/// The same for all columns, from the last to the first: those before the present ones still hold U.
template <class Real>
void invert_columns(Real* const* T, int n) noexcept {
  const int width = Scratch::width(n, n);
  if (width == 0) {
    for (int j = n - 1; j >= 0; --j) invert_column(T, j);
    return;
  }
  Scratch scratch;
  double* const X = scratch.X;
  for (int end = n, j0 = 0; end > 0; end = j0) {
    const int count = std::min(width, end);
    j0 = end - count;
    std::fill_n(X + j0 * width, count * width, 0.0);
    for (int c = 0; c < count; ++c) X[(j0 + c) * width + c] = T[j0 + c][j0 + c];
    solve_columns(kernels().of<Real>().invert_rows, T, end, width, j0, scratch);
    store_columns(X, end, j0 + 1, count, width, T + j0);
  }
}

}  // namespace

template <class Real>
void M_invu(Real* const* U, Real* const* X, int n) noexcept {
  solve_upper<true>(U, X, n);
}

template <class Real>
int M_tinv(Real* const* T, int n) noexcept {
  if (n < 1) return M_TINV_BAD_SIZE;
  // Deliberate: the diagonal is inverted on the way to the first zero on it. A refused matrix keeps the
  // reciprocals before that zero.
  for (int k = 0; k < n; ++k) {
    if (T[k][k] == 0) return k + 1;  // NaN passes
    T[k][k] = store<Real>(1.0 / T[k][k]);
  }
  invert_columns(T, n);
  for (int j = 0; j < n; ++j) V_fill(T[j] + j + 1, n - 1 - j, 0.0);
  return M_TINV_OK;
}

template void M_invt(float* const*, float* const*, int, int) noexcept;
template void M_invt(double* const*, double* const*, int, int) noexcept;
template void M_invutm(float* const*, float* const*, int, int) noexcept;
template void M_invutm(double* const*, double* const*, int, int) noexcept;
template void M_invu(float* const*, float* const*, int) noexcept;
template void M_invu(double* const*, double* const*, int) noexcept;
template int M_tinv(float* const*, int) noexcept;
template int M_tinv(double* const*, int) noexcept;

}  // namespace tabfit

extern "C" {

void M_invtf(float* const* U, float* const* B, int n, int p) noexcept { tabfit::M_invt(U, B, n, p); }
void M_invtd(double* const* U, double* const* B, int n, int p) noexcept { tabfit::M_invt(U, B, n, p); }

void M_invutmf(float* const* U, float* const* B, int n, int p) noexcept {
  tabfit::M_invutm(U, B, n, p);
}
void M_invutmd(double* const* U, double* const* B, int n, int p) noexcept {
  tabfit::M_invutm(U, B, n, p);
}

void M_invuuf(float* const* U, float* const* V, int n) noexcept { tabfit::M_invuu(U, V, n); }
void M_invuud(double* const* U, double* const* V, int n) noexcept { tabfit::M_invuu(U, V, n); }

void M_invuf(float* const* U, float* const* X, int n) noexcept { tabfit::M_invu(U, X, n); }
void M_invud(double* const* U, double* const* X, int n) noexcept { tabfit::M_invu(U, X, n); }

int M_tinvf(float* const* T, int n) noexcept { return tabfit::M_tinv(T, n); }
int M_tinvd(double* const* T, int n) noexcept { return tabfit::M_tinv(T, n); }
}  // extern "C"

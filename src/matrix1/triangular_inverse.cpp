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

#include "matrix1/triangular_inverse.hpp"

#include <algorithm>

namespace tabfit {
namespace {

/// Unknowns of neighbouring columns side by side, row i at X + i * lanes.
constexpr int most_lanes = 64, most_unknowns = 24576;

/// Columns that are worked on together when each has n rows; 0 if not even eight fit.
int lanes_for(int n, int columns) noexcept {
  const int wanted = std::min(most_lanes, (std::min(columns, most_lanes) + 7) / 8 * 8);
  return std::min(wanted, most_unknowns / n / 8 * 8);
}

/// Unknowns row by row, from the last of `rows` rows to the first, in columns j0..j0+count-1:
/// x(i,j) = finish(u(i,i), start(x) -+ (u(i,i+1) x(i+1,j) + u(i,i+2) x(i+2,j) + ...)), the newest
/// unknown first. With upper, column j has rows 0..j only, and x(j,j) is there already.
///
/// Shape:     X holds `rows` rows of `lanes` unknowns; what a row starts from stands in its place.
/// Invariant: rows below i of X are final.
template <class Real, class Start, class Finish>
void back_substitute(Real* const* U, int rows, double* X, int lanes, int j0, bool upper, bool subtract,
                     Start start, Finish finish) noexcept {
  const auto add_rows = kernels().of<Real>().add_rows;
  double sums[most_lanes];
  for (int i = rows - 1; i >= 0; --i) {
    double* x = X + std::ptrdiff_t(i) * lanes;
    const int next = i + 1;
    const int first = upper ? std::max(0, next - j0) : 0;  // the first column with a row above its last
    if (first >= lanes) continue;
    for (int v = first; v < lanes; ++v) sums[v] = start(x[v]);
    std::fill_n(sums, first, 0.0);
    const int shared =
        upper ? std::max(next, std::min(rows, j0 + 1)) : rows;  // end of the terms of all
    add_rows(U + next, i, x + lanes, lanes, shared - next, subtract, nullptr, sums);
    if (shared < rows) {
      const int band = shared - j0;
      add_rows(U + shared, i, X + std::ptrdiff_t(shared) * lanes, lanes, rows - shared, subtract, &band,
               sums);
    }
    const double diagonal = U[i][i];
    for (int v = first; v < lanes; ++v) x[v] = finish(diagonal, sums[v]);
  }
}

/// Copies rows 0..rows-1 of columns B[0..count-1] side by side, zero in the lanes behind.
template <class Real>
void load_columns(Real* const* B, int rows, int count, int lanes, double* X) noexcept {
  kernels().of<Real>().pack_terms(B, 0, count, rows, lanes, X);
}

template <class Real>
void store_column(const double* X, int rows, int lanes, Real* b) noexcept {
  for (int i = 0; i < rows; ++i) b[i] = store<Real>(X[std::ptrdiff_t(i) * lanes]);
}

}  // namespace

// From the last row to the first: b(i) = (b(i) - u(i,i+1) b(i+1) - u(i,i+2) b(i+2) - ...) / u(i,i).
template <class Real>
void M_invt(Real* const* U, Real* const* B, int n, int p) noexcept {
  if (n < 1) return;
  const int lanes = lanes_for(n, p);
  if (lanes == 0) {  // too tall for the scratch: one unknown at a time
    for (int k = 0; k < p; ++k)
      for (int i = n - 1; i >= 0; --i) {
        double rest = B[k][i];
        for (int l = i + 1; l < n; ++l) rest = mul_add(-U[l][i], B[k][l], rest);
        B[k][i] = store<Real>(rest / U[i][i]);
      }
    return;
  }
  alignas(64) double X[most_unknowns];
  for (int k = 0; k < p; k += lanes) {
    const int count = std::min(lanes, p - k);
    load_columns(B + k, n, count, lanes, X);
    back_substitute(
        U, n, X, lanes, 0, false, true, [](double b) { return b; },
        [](double diagonal, double rest) { return double(store<Real>(rest / diagonal)); });
    for (int c = 0; c < count; ++c) store_column(X + c, n, lanes, B[k + c]);
  }
}

// The sums over all rows before the block are one product; the block's own rows follow one by one.
template <class Real>
void forward_rows(Real* const* U, int i0, int done, int rows, Real* const* B, Real* const* X,
                  int p) noexcept {
  constexpr int strip = 64;
  const Kernels& kernel = kernels();
  alignas(64) double tall[strip * panel_rows], sums[panel_rows * strip], rest[panel_rows * strip],
      solved[panel_rows * strip];
  double *columns[strip], *lines[panel_rows], factors[panel_rows];
  for (int k = 0; k < std::min(p, strip); ++k) columns[k] = tall + k * panel_rows;
  for (int k0 = 0; k0 < p; k0 += strip) {
    const int count = std::min(strip, p - k0), lanes = (count + 7) / 8 * 8;
    for (int i = 0; i < rows; ++i) lines[i] = solved + i * lanes;
    if (i0 > 0) {
      product({.rows = rows, .columns = count, .terms = i0}, transposed(U + i0), as_is(X + k0),
              into_sums<Real>(columns));
      kernel.d.pack_terms(columns, 0, count, rows, lanes, sums);
    } else {
      std::fill_n(sums, rows * lanes, 0.0);
    }
    kernel.of<Real>().pack_terms(B + k0, i0, count, rows, lanes, rest);
    kernel.of<Real>().pack_terms(X + k0, i0, count, done, lanes, solved);
    for (int i = done; i < rows; ++i) {
      const Real* u = U[i0 + i] + i0;
      const double diagonal = u[i];
      std::copy_n(u, i, factors);
      kernel.add_lanes(factors, solved, lanes, i, sums + i * lanes);
      for (int k = 0; k < lanes; ++k)
        lines[i][k] = store<Real>((rest[i * lanes + k] - sums[i * lanes + k]) / diagonal);
    }
    kernel.d.pack_terms(lines, 0, rows, count, panel_rows, tall);
    for (int k = 0; k < count; ++k) std::copy_n(columns[k] + done, rows - done, X[k0 + k] + i0 + done);
  }
}

template void forward_rows(float* const*, int, int, int, float* const*, float* const*, int) noexcept;
template void forward_rows(double* const*, int, int, int, double* const*, double* const*, int) noexcept;

template <class Real>
void M_invutm(Real* const* U, Real* const* B, int n, int p) noexcept {
  for (int i = 0; i < n; i += panel_rows) forward_rows(U, i, 0, std::min(panel_rows, n - i), B, B, p);
}

namespace {

/// V := U^-1 V for upper-triangular V: back substitution whose column j ends at row j.
template <class Real>
void M_invuu(Real* const* U, Real* const* V, int n) noexcept {
  if (n < 1) return;
  const int lanes = lanes_for(n, n);
  if (lanes == 0) {  // too tall for the scratch: one unknown at a time
    for (int j = 0; j < n; ++j)
      for (int i = j; i >= 0; --i) {
        double rest = V[j][i];
        for (int l = i + 1; l <= j; ++l) rest = mul_add(-U[l][i], V[j][l], rest);
        V[j][i] = store<Real>(rest / U[i][i]);
      }
    return;
  }
  alignas(64) double X[most_unknowns];
  for (int j0 = 0; j0 < n; j0 += lanes) {
    const int count = std::min(lanes, n - j0), rows = j0 + count;
    load_columns(V + j0, j0 + 1, count, lanes, X);
    for (int i = j0 + 1; i < rows; ++i)
      for (int v = 0; v < lanes; ++v)
        X[i * lanes + v] = v < count && i <= j0 + v ? double(V[j0 + v][i]) : 0.0;
    for (int c = 0; c < count; ++c) {  // the last row of each column has no terms
      double& last = X[(j0 + c) * lanes + c];
      last = store<Real>(last / U[j0 + c][j0 + c]);
    }
    back_substitute(
        U, rows, X, lanes, j0, true, true, [](double v) { return v; },
        [](double diagonal, double rest) { return double(store<Real>(rest / diagonal)); });
    for (int c = 0; c < count; ++c) store_column(X + c, j0 + c + 1, lanes, V[j0 + c]);
  }
}

}  // namespace

template <class Real>
void M_invu(Real* const* U, Real* const* X, int n) noexcept {
  for (int j = 0; j < n; ++j) {
    V_fill(X[j], j, 0.0);
    X[j][j] = 1;
  }
  M_invuu(U, X, n);
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
  // x(i,j) = -(u(i,i+1) x(i+1,j) + ... + u(i,j) x(j,j)) / u(i,i), rows from the last to the first.
  // Columns from the last to the first too: those before the present ones still hold U.
  const int lanes = lanes_for(n, n);
  alignas(64) double X[most_unknowns];
  for (int end = n; lanes > 0 && end > 0; end -= std::min(lanes, end)) {
    const int count = std::min(lanes, end), j0 = end - count;
    std::fill_n(X + j0 * lanes, count * lanes, 0.0);
    for (int c = 0; c < count; ++c) X[(j0 + c) * lanes + c] = T[j0 + c][j0 + c];
    back_substitute(
        T, end, X, lanes, j0, true, false, [](double) { return 0.0; },
        [](double diagonal, double sum) { return double(store<Real>(-diagonal * sum)); });
    for (int c = 0; c < count; ++c) store_column(X + c, j0 + c + 1, lanes, T[j0 + c]);
  }
  for (int j = n - 1; lanes == 0 && j >= 0; --j)  // too tall for the scratch: one unknown at a time
    for (int i = j - 1; i >= 0; --i) {
      double sum = 0.0;
      for (int l = i + 1; l <= j; ++l) sum = mul_add(T[l][i], T[j][l], sum);
      T[j][i] = store<Real>(-double(T[i][i]) * sum);
    }
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

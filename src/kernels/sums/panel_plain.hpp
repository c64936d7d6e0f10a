// kernels/sums/panel_plain.hpp - the kernels for sums as plain loops.
#pragma once

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/panel.hpp"

#include <cmath>

namespace tabfit {
namespace {

inline constexpr int lanes = 8;

inline bool has(Edge edge, int r, int t) noexcept {
  return edge.band == Band::all || (edge.band == Band::to_l ? edge.at + r <= t : edge.at + r >= t);
}

template <class Real>
void pack_lines(const Real* const* lines, std::ptrdiff_t line, int count, int terms, int width,
                double* out, Edge edge) noexcept {
  for (int t = 0; t < terms; ++t, out += width)
    for (int r = 0; r < count; ++r)
      if (has(edge, r, t)) out[r] = lines[t][line + r];
}

template <class Real>
void pack_terms(const Real* const* lines, std::ptrdiff_t term, int count, int terms, int width,
                double* out, Edge edge) noexcept {
  const int padded = (count + 7) / 8 * 8, end = padded < width ? padded : width;
  for (int r = 0; r < end; ++r)
    for (int t = 0; t < terms; ++t)
      if (r >= count || has(edge, r, t))
        out[t * width + r] = r < count ? double(lines[r][term + t]) : 0.0;
}

template <class Real>
void dots(const Real* const* columns, int count, const Real* x, int n, Real* y) noexcept {
  for (int c = 0; c < count; ++c) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum = mul_add(columns[c][i], x[i], sum);
    y[c] = store<Real>(sum);
  }
}

template <class Real>
void sweep(const Real* const* columns, int rows, const Real* x, int terms, Real* y) noexcept {
  constexpr int most = 64;
  double sums[most];
  for (int first = 0; first < rows; first += most) {
    const int count = rows - first < most ? rows - first : most;
    for (int r = 0; r < count; ++r) sums[r] = 0.0;
    for (int t = 0; t < terms; ++t)
      for (int r = 0; r < count; ++r) sums[r] = mul_add(columns[t][first + r], x[t], sums[r]);
    for (int r = 0; r < count; ++r) y[first + r] = store<Real>(sums[r]);
  }
}

template <class Real>
double dot(const Real* x, const Real* y, int n, double sum) noexcept {
  for (int i = 0; i < n; ++i) sum = mul_add(x[i], y[i], sum);
  return sum;
}

template <class U, class Y>
void axpy(double t, const U* u, Y* y, int n) noexcept {
  for (int i = 0; i < n; ++i) y[i] = store<Y>(mul_add(t, u[i], y[i]));
}

template <class Real>
int greatest(const Real* x, int n) noexcept {
  int place = -1;
  Real best = -1;
  for (int i = 0; i < n; ++i)
    if (std::abs(x[i]) > best) best = std::abs(x[place = i]);
  return place;
}

inline void tile(const Tile& x) noexcept {
  for (int c = 0; c < x.columns; ++c)
    for (int r = 0; r < x.rows && r < x.corner + c; ++r) {
      double sum = x.from_zero ? 0.0 : x.sums[c][x.place + r];
      for (int t = x.first; t < x.end; ++t)
        if (has(x.row_edge, r, t) && has(x.column_edge, c, t))
          sum = mul_add(x.P[t][x.row + r], x.Q[c][x.term + t * x.step], sum);
      if (x.rounded)
        x.rounded[c][x.target + r] = store<float>(sum);
      else
        x.sums[c][x.place + r] = sum;
    }
}

}  // namespace
}  // namespace tabfit

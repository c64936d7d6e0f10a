// kernels/sums/unknowns_plain.hpp - rows of unknowns, as plain loops.
#pragma once

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/sums/unknowns.hpp"

#include <cmath>

namespace tabfit {
namespace {

template <class Real>
void unpack_terms(const double* in, int width, int count, int terms, int corner, Real* const* lines,
                  std::ptrdiff_t term) noexcept {
  for (int r = 0; r < count; ++r)
    for (int t = 0; t < terms && t < corner + r; ++t)
      lines[r][term + t] = store<Real>(in[std::ptrdiff_t{t} * width + r]);
}

/// x(i, v) = finish(u(i, i), sum), rows from the last to the first: the sum starts from start(x(i, v))
/// and takes a step for each term l > i that lane v has. A lane has unknowns up to `short_of` rows
/// above its last one.
template <class Start, class Step, class Finish>
void each_unknown(const Unknowns& x, int short_of, Start start, Step step, Finish finish) noexcept {
  for (int r = x.rows - 1; r >= 0; --r) {
    double* own = x.X + std::ptrdiff_t{x.first + r} * x.width;
    for (int v = 0; v < x.width; ++v) {
      const int i = x.first + r, last = x.corner + v;
      if (i + short_of > last) continue;
      double sum = start(own[v]);
      for (int l = i + 1; l <= last && l < x.end; ++l)
        sum = step(x.P[(l - x.first) * x.height + r], x.X[std::ptrdiff_t{l} * x.width + v], sum);
      own[v] = finish(x.P[r * x.height + r], sum);
    }
  }
}

template <class Real>
void solve_rows(const Unknowns& x) noexcept {
  each_unknown(
      x, 0, [](double b) { return b; },
      [](double u, double known, double sum) { return mul_add(-u, known, sum); },
      [](double diagonal, double rest) { return double(store<Real>(rest / diagonal)); });
}

template <class Real>
void invert_rows(const Unknowns& x) noexcept {
  each_unknown(
      x, 1, [](double) { return 0.0; },
      [](double u, double known, double sum) { return mul_add(u, known, sum); },
      [](double reciprocal, double sum) { return double(store<Real>(-reciprocal * sum)); });
}

template <class Real>
void next_rows(const double* P, int height, int done, int rows, const double* sums, int width,
               double* X) noexcept {
  for (int i = done; i < rows; ++i) {
    const double* u = P + i * height;
    for (int v = 0; v < width; ++v) {
      double sum = sums[i * width + v];
      for (int t = 0; t < i; ++t) sum = mul_add(u[t], X[t * width + v], sum);
      X[i * width + v] = store<Real>((X[i * width + v] - sum) / u[i]);
    }
  }
}

template <class Real>
int factor_rows(const Real* const* S, Real* const* U, std::ptrdiff_t at, int done, int rows,
                double* sums, int width) noexcept {
  for (int i = done; i < rows; ++i)
    for (int j = i; j < rows; ++j) {
      double sum = sums ? sums[i * width + j] : 0.0;
      for (int l = 0; l < i; ++l) sum = mul_add(U[i][at + l], U[j][at + l], sum);
      const double rest = S[j][at + i] - sum;
      if (j == i && !(rest > 0.0)) return i;  // NaN fails too
      U[j][at + i] = store<Real>(j == i ? std::sqrt(rest) : rest / U[i][at + i]);
    }
  return rows;
}

}  // namespace
}  // namespace tabfit

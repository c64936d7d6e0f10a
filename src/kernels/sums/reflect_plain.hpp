// kernels/sums/reflect_plain.hpp - reflections as plain loops.
#pragma once

#include "kernels/lanes/choice.hpp"
#include "kernels/scalar/arithmetic.hpp"

namespace tabfit {
namespace {

template <class Real>
constexpr int may_wait = 1;

template <class Real>
void reflect(Real* Y, std::ptrdiff_t panel_size, int panels, int rows, int waiting,
             const double* const* u, const double* const* t, bool keep, bool /*backwards*/,
             const double* next, double beta, double* next_t) noexcept {
  for (int c = 0; c < 8 * panels; ++c) {
    Real* place = Y + c / 8 * panel_size + c % 8;
    double sum = 0.0;
    for (int i = 0; i < rows; ++i, place += 8) {
      Real y = *place;
      for (int q = 0; q < waiting; ++q) y = store<Real>(mul_add(t[q][c], u[q][i], y));
      if (keep) *place = y;
      sum = mul_add(y, next[i], sum);
    }
    next_t[c] = -sum / beta;
  }
}

template <class Real>
void reflect_row(Real* Y, std::ptrdiff_t panel_size, int panels, int waiting, const double* u,
                 const double* const* t, double* h) noexcept {
  for (int c = 0; c < 8 * panels; ++c) {
    Real& y = Y[c / 8 * panel_size + c % 8];
    for (int q = 0; q < waiting; ++q) y = store<Real>(mul_add(t[q][c], u[q], y));
    h[c] = mul_add(-y, y, h[c]);
  }
}

inline void reflect_columns(double* const* columns, int count, std::ptrdiff_t row, int rows,
                            const double* u, const double* t, const double* next, double* s) noexcept {
  for (int c = 0; c < count; ++c) {
    double* y = columns[c] + row;
    s[c] = 0.0;
    for (int i = 0; i < rows; ++i) {
      if (u) y[i] = mul_add(t[c], u[i], y[i]);
      s[c] = mul_add(y[i], next[i], s[c]);
    }
  }
}

template <class Real>
void column_squares(Real* const* columns, int count, int rows, double* s) noexcept {
  for (int c = 0; c < count; ++c) {
    s[c] = 0.0;
    for (int i = 0; i < rows; ++i) s[c] = mul_add(columns[c][i], columns[c][i], s[c]);
  }
}

}  // namespace
}  // namespace tabfit

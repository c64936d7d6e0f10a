// appx/spline_basis.cpp - the table of the fundamental splines' second derivatives at the knots.
#include "tabfit/approximation.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"

#include "matrix1/storage.hpp"

#include "appx/spline_basis.hpp"

namespace tabfit {
namespace {

/// Columns 0..n+1 of T := K^-1. The matrix K of order n + 2 has the diagonal 2, 4, ..., 4, 2 and ones
/// beside it. A clamped spline on knots of distance h has second derivatives c with (h / 6) K c = the
/// differences of its slopes.
///
/// w solves the homogeneous system from either end. Each step multiplies |w| by about 2 + sqrt(3);
/// nothing guards against overflow.
template <class Real>
void invert_clamped_system(Real* const* T, Real* w, int n) noexcept {
  w[0] = -2;
  w[1] = 1;
  for (int i = 2; i <= n + 3; ++i) w[i] = store<Real>(-4 * Wide(w[i - 1]) - w[i - 2]);
  for (int k = 0; k <= n + 1; ++k) {
    const double D = store<double>(Wide(w[k]) * w[n + 2 - k] - Wide(w[k + 1]) * w[n + 3 - k]);
    const double above = w[n + 2 - k] / D, below = w[k + 1] / D;
    for (int i = 0; i <= k; ++i) T[k][i] = store<Real>(above * w[i + 1]);
    for (int i = k + 1; i <= n + 1; ++i) T[k][i] = store<Real>(below * w[n + 2 - i]);
  }
}

/// T := K^-1 times the right-hand sides of the basis functions. Function 0 has slope 1 at the left end,
/// function n+3 at the right end, function j between them the value 1 at knot j-1. The order of the
/// columns reads each one of the inverse before it is overwritten.
template <class Real>
void combine_columns(Real* const* T, int n) noexcept {
  const double h = 2.0 / (n + 1.0), p = 6.0 / h, q = p / h;
  const int knots = n + 2;
  for (int i = 0; i < knots; ++i) {
    T[n + 3][i] = store<Real>(T[n + 1][i] * p);
    T[n + 2][i] = store<Real>((Wide(T[n][i]) - T[n + 1][i]) * q);
  }
  for (int c = n + 1; c >= 2; --c)
    for (int i = 0; i < knots; ++i)
      T[c][i] = store<Real>((Wide(T[c][i]) - 2 * Wide(T[c - 1][i]) + T[c - 2][i]) * q);
  for (int i = 0; i < knots; ++i) {
    T[1][i] = store<Real>((Wide(T[1][i]) - T[0][i]) * q);
    T[0][i] = store<Real>(-T[0][i] * p);
  }
}

}  // namespace

template <class Real>
Real** AX_d2fcs(int n) noexcept {
  if (n < 1) return nullptr;
  const std::ptrdiff_t knots = std::ptrdiff_t(n) + 2, functions = std::ptrdiff_t(n) + 4;
  CArray<Real> block = c_array<Real>(knots * functions);
  CArray<Real*> table = c_array<Real*>(block ? functions + 1 : -1);
  const CArray<Real> w = c_array<Real>(table ? functions : -1);
  if (!w) return nullptr;

  M_storec(block.release(), n + 2, n + 4, table.get());
  invert_clamped_system(table.get(), w.get(), n);
  combine_columns(table.get(), n);
  return table.release();  // its last pointer stays null
}

template <class Real>
void AX_freed2fcs(Real** T) noexcept {
  std::free(T[0]);
  std::free(T);
}

template float** AX_d2fcs(int) noexcept;
template double** AX_d2fcs(int) noexcept;
template void AX_freed2fcs(float**) noexcept;
template void AX_freed2fcs(double**) noexcept;

}  // namespace tabfit

extern "C" {

float** AX_d2fcsf(int n) noexcept { return tabfit::AX_d2fcs<float>(n); }
double** AX_d2fcsd(int n) noexcept { return tabfit::AX_d2fcs<double>(n); }

void AX_freed2fcsf(float** T) noexcept { tabfit::AX_freed2fcs(T); }
void AX_freed2fcsd(double** T) noexcept { tabfit::AX_freed2fcs(T); }

}  // extern "C"

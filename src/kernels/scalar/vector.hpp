// kernels/scalar/vector.hpp - exchange, fill, copy, shift, reorder, search for the greatest: arrays of
// elements (V_, E_ for one element), of int (I_) and of column pointers (P_).
//
// A length of 0 or less does nothing, unless a comment says otherwise. Scalars are double for both
// element types.
#pragma once

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/search.hpp"

#include <cmath>
#include <cstddef>
#include <utility>

namespace tabfit {

// -- exchange ---------------------------------------------------------------------------------------

template <class Real>
void E_swap(Real* a, Real* b) noexcept {
  std::swap(*a, *b);
}

inline void I_swap(int* a, int* b) noexcept { std::swap(*a, *b); }

template <class Real>
void P_swap(Real** a, Real** b) noexcept {
  std::swap(*a, *b);
}

/// x and y exchange their contents; they are the same array or do not overlap.
template <class Real>
void V_swap(Real* x, Real* y, int n) noexcept {
  for (int i = 0; i < n; ++i) E_swap(x + i, y + i);
}

// -- fill, negate, copy -----------------------------------------------------------------------------

template <class Real>
void V_fill(Real* x, int n, double value) noexcept {
  const Real v = store<Real>(value);
  for (int i = 0; i < n; ++i) x[i] = v;
}

/// x = -x: the sign is flipped, that of a zero too.
template <class Real>
void V_neg(Real* x, int n) noexcept {
  for (int i = 0; i < n; ++i) x[i] = -x[i];
}

/// dst = src, element by element, ascending. If they overlap, dst begins below src.
template <class Real>
void V_copy(const Real* src, Real* dst, int n) noexcept {
  for (int i = 0; i < n; ++i) dst[i] = src[i];
}

/// V_copy of the pointers to columns. It completes the set with P_swap and P_perm; tests alone call it.
template <class Real>
void P_copy(Real* const* src, Real** dst, int n) noexcept {
  for (int i = 0; i < n; ++i) dst[i] = src[i];
}

// -- search for the greatest ------------------------------------------------------------------------

/// Index of the first greatest element; NaN never wins, and nothing wins over x[0] = NaN.
/// 0 for n <= 0, with x[0] read all the same.
///
/// Why: a comparison with the best so far waits for the one before. Four series do not wait for each
///      other; the place is that of the first element equal to the greatest.
template <class Real>
int V_imax(const Real* x, int n) noexcept {
  const Real first = x[0];  // Deliberate: read before n is examined, so x[0] must exist for n = 0 too.
  if (std::isnan(first)) return 0;
  Real best[] = {first, first, first, first};
  int i = 0;
  for (; i + 4 <= n; i += 4)
    for (int k = 0; k < 4; ++k) best[k] = x[i + k] > best[k] ? x[i + k] : best[k];
  for (; i < n; ++i) best[0] = x[i] > best[0] ? x[i] : best[0];
  for (int k = 1; k < 4; ++k) best[0] = best[k] > best[0] ? best[k] : best[0];
  int index = 0;
  while (x[index] != best[0]) ++index;
  return index;
}

// -- shift, reorder ---------------------------------------------------------------------------------

/// Moves elements k places up (k > 0) or -k places down within x[0..n-1].
template <class Element>
void shift(Element* x, int n, int k) noexcept {
  // Deliberate: the |k| places that elements leave keep their old contents, so the caller writes there
  // what it needs.
  const std::ptrdiff_t size = n, step = k;
  if (step > 0)
    for (std::ptrdiff_t i = size - 1; i >= step; --i) x[i] = x[i - step];
  else
    for (std::ptrdiff_t i = 0; i < size + step; ++i) x[i] = x[i - step];
}

inline void I_shift(int* x, int n, int k) noexcept { shift(x, n, k); }

template <class Real>
void V_shift(Real* x, int n, int k) noexcept {
  shift(x, n, k);
}

template <class Real>
void P_shift(Real** x, int n, int k) noexcept {
  shift(x, n, k);
}

/// Moves element p to position idx[p] and leaves idx as 0, 1, ..., n-1. Returns 0; or -1 if idx lacks
/// one of 0..n-2: x and idx then keep the exchanges made before that.
template <class Element>
int scatter(Element* x, int n, int* idx) noexcept {
  // Deliberate: the last place is not searched, so any value there is accepted, a wrong index too.
  for (int i = 0; i + 1 < n; ++i) {
    const int j = I_find(i, idx + i, n - i);
    if (j < 0) return -1;
    std::swap(x[i], x[i + j]);
    I_swap(idx + i, idx + i + j);
  }
  return 0;
}

template <class Real>
int V_perm(Real* x, int n, int* idx) noexcept {
  return scatter(x, n, idx);
}

template <class Real>
int P_perm(Real** x, int n, int* idx) noexcept {
  return scatter(x, n, idx);
}

// -- element by element -----------------------------------------------------------------------------

/// z = y * x, y + x, x - y, or a x + b y for op 'l'; any other op leaves z untouched. z may be x or y.
template <class Real>
void V_op(const Real* x, const Real* y, Real* z, int n, char op, double a = 0.0,
          double b = 0.0) noexcept {
  const auto each = [=](auto f) {
    for (int i = 0; i < n; ++i) z[i] = store<Real>(f(double(x[i]), double(y[i])));
  };
  switch (op) {
    case '*':
      return each([](double xi, double yi) { return yi * xi; });
    case '+':
      return each([](double xi, double yi) { return yi + xi; });
    case '-':
      return each([](double xi, double yi) { return xi - yi; });
    case 'l':
      return each([=](double xi, double yi) { return mul_add(b, yi, a * xi); });
    default:
      return;
  }
}

}  // namespace tabfit

// llsqp/kernels/spline_avx2.cpp - the spline's system, four rows side by side. Nothing of the standard
// library is used: what a header defines inline would be compiled for this processor and might be
// linked for others.
//
// A result r is kept if every value within `bound` of r + rest, the formula's exact value, rounds to r:
// `bound` is what the roundings of the formula in long double, 64 bits, may come to. One that rounds a
// value of magnitude m is at most 2^-64 m; each counts with the size it has in the result. What is
// left out are products of two roundings, and the error of `rest`: less than 2^-96 of the terms, where
// the bounds are too large by a hundredth of 2^-64. Where terms cancel so far that a remainder is no
// longer the small one that it is taken for, the bound exceeds half a unit of r by itself.
//
// What underflows in a remainder is less than 2^-1074, and divided by a width or a pivot, which are
// no less than 2^-30, far less than `slack`. That refuses all results near zero; a zero is kept where
// its terms are zeros. NaN and infinities fail every comparison.
#include "llsqp/kernels/spline.hpp"

#include <immintrin.h>

namespace tabfit {
namespace {

using Lanes = __m256d;

constexpr double wide_rounding = 0x1.03p-64, slack = 0x1p-1000;

inline Lanes all(double x) { return _mm256_set1_pd(x); }
inline Lanes fma(Lanes a, Lanes b, Lanes c) { return _mm256_fmadd_pd(a, b, c); }
inline Lanes fnma(Lanes a, Lanes b, Lanes c) { return _mm256_fnmadd_pd(a, b, c); }
inline double fnma(double a, double b, double c) { return __builtin_fma(-a, b, c); }
inline Lanes fms(Lanes a, Lanes b, Lanes c) { return _mm256_fmsub_pd(a, b, c); }
inline Lanes magnitude(Lanes a) { return _mm256_andnot_pd(all(-0.0), a); }
inline Lanes sign(Lanes a) { return _mm256_and_pd(all(-0.0), a); }
inline Lanes lesser(Lanes a, Lanes b) { return _mm256_min_pd(a, b); }
inline Lanes equal(Lanes a, Lanes b) { return _mm256_cmp_pd(a, b, _CMP_EQ_OQ); }
inline Lanes unequal(Lanes a, Lanes b) { return _mm256_cmp_pd(a, b, _CMP_NEQ_OQ); }
inline Lanes both(Lanes a, Lanes b) { return _mm256_and_pd(a, b); }
inline Lanes either(Lanes a, Lanes b) { return _mm256_or_pd(a, b); }

/// a[1], a[2], a[3], last.
inline Lanes shifted_down(Lanes a, double last) {
  return _mm256_blend_pd(_mm256_permute4x64_pd(a, 0xf9), all(last), 8);
}

inline Lanes load(const double* p) { return _mm256_loadu_pd(p); }
inline Lanes load(const float* p) { return _mm256_cvtps_pd(_mm_loadu_ps(p)); }
inline void put(double* p, Lanes a) { _mm256_storeu_pd(p, a); }
inline void put(float* p, Lanes a) { _mm_storeu_ps(p, _mm256_cvtpd_ps(a)); }

// -- values with what their rounding left over ------------------------------------------------------

/// value + rest is a sum, a product or a quotient; value is that rounded, or nearly so.
struct Pair {
  Lanes value, rest;
};

inline Pair sum(Lanes a, Lanes b) {
  const Lanes s = a + b, t = s - a;
  return {s, (a - (s - t)) + (b - t)};
}
inline Pair difference(Lanes a, Lanes b) {
  const Lanes s = a - b, t = s - a;
  return {s, (a - (s - t)) - (b + t)};
}
inline Pair product(Lanes a, Lanes b) {
  const Lanes p = a * b;
  return {p, fms(a, b, p)};
}
inline Pair quotient(Pair a, Lanes h, Lanes inverse) {
  const Lanes q = a.value * inverse;
  return {q, (fnma(q, h, a.value) + a.rest) * inverse};
}
inline Pair rounded(Pair a) {
  const Lanes r = a.value + a.rest;
  return {r, a.rest - (r - a.value)};
}

// -- the formulas -----------------------------------------------------------------------------------

/// What is to be kept, and the lanes in which it may be.
struct Kept {
  Lanes value, accepted;
};

template <class Real>
struct Formulas;

/// Two doubles to a value.
template <>
struct Formulas<double> {
  /// As the row after it is given r: the formula's value, rounded to nearest.
  static double kept(double r) { return r; }

  static Lanes accepted(Pair r, Lanes bound) {
    return both(equal(r.value + (r.rest + bound), r.value), equal(r.value + (r.rest - bound), r.value));
  }

  /// (a - b) / h, which is left in q too. Two roundings of the quotient's size.
  static Kept divided(Lanes a, Lanes b, Lanes h, Lanes inverse, Pair& q) {
    const Pair over = difference(a, b);
    q = quotient(over, h, inverse);
    const Pair r = rounded(q);
    const Lanes size = magnitude(r.value);
    const Lanes bound = fma(all(2 * wide_rounding), size, lesser(size, all(slack)));
    return {either(r.value, sign(over.value)), accepted(r, bound)};  // h > 0; the sign is a zero's
  }

  /// Lanes in which r = a - t b, rounded to nearest, may be kept. Roundings of product and difference.
  static Lanes updated(Lanes a, Lanes t, Lanes b, Lanes r) {
    const Pair p = product(t, b), s = difference(a, p.value);
    const Lanes size = magnitude(p.value) + magnitude(r);
    const Lanes bound = fma(all(wide_rounding), size, lesser(size, all(slack)));
    return accepted({r, (s.value - r) + (s.rest - p.rest)}, bound);
  }

  /// (c - h right) / b in four rows, the highest first, each the next one's `right`.
  ///
  /// Why:       a row would wait for all the steps of its formula. `guess` follows the unknowns at one
  ///            step a row, some units off; the formula is evaluated with it instead of `right`, and a
  ///            row waits only for what the difference of the two makes of it.
  /// Bound:     roundings of the product, of the numerator and of the quotient; and h / b is known to
  ///            2^-51, 1 / b of a pivot next to the greatest double included.
  static Kept unknowns(Lanes b, Lanes h, Lanes c, double right, double& guess) {
    const Lanes inverse = all(1.0) / b, v = h * inverse, u = c * inverse;
    const double g3 = fnma(v[3], guess, u[3]), g2 = fnma(v[2], g3, u[2]), g1 = fnma(v[1], g2, u[1]),
                 g0 = fnma(v[0], g1, u[0]);
    const Lanes guesses = _mm256_setr_pd(g1, g2, g3, guess);
    const Pair p = product(h, guesses), s = difference(c, p.value);
    const Pair q = rounded(quotient({s.value, s.rest - p.rest}, b, inverse));
    const double left3 = q.value[3] + fnma(v[3], right - guess, q.rest[3]),
                 left2 = q.value[2] + fnma(v[2], left3 - g3, q.rest[2]),
                 left1 = q.value[1] + fnma(v[1], left2 - g2, q.rest[1]),
                 left0 = q.value[0] + fnma(v[0], left1 - g1, q.rest[0]);
    guess = g0;
    const Lanes left = _mm256_setr_pd(left0, left1, left2, left3);
    const Lanes off = shifted_down(left, right) - guesses;
    const Lanes rest = fnma(v, off, q.rest) - (left - q.value);
    const Lanes size = magnitude(p.value * inverse) + magnitude(left + left);
    const Lanes bound =
        fma(all(wide_rounding), size, fma(all(0x1p-50), magnitude(v * off), all(slack)));
    return {left, accepted({left, rest}, bound)};
  }

  /// rise - h (right + 2 left). Two roundings of the rise, two of the product, one of the difference.
  static Kept slope(Pair rise, Lanes h, Lanes left, Lanes right) {
    const Pair w = sum(right, left + left), p = product(h, w.value),
               s = difference(rise.value, p.value);
    const Pair r = rounded({s.value, s.rest + (rise.rest - fma(h, w.rest, p.rest))});
    const Lanes terms = magnitude(rise.value) + magnitude(p.value);
    const Lanes bound = fma(all(wide_rounding), terms + terms + magnitude(r.value), all(slack));
    return {r.value, accepted(r, bound)};
  }
};

/// One double to a value: its roundings are far finer than a float. Each bound is twice or more what
/// the roundings to double, four at most, make of the terms.
template <>
struct Formulas<float> {
  /// A tie, away from zero; beyond a float's range, what accepted() refuses.
  static double kept(double r) {
    const __m128i up = _mm_add_epi64(_mm_castpd_si128(_mm_set_sd(r)), _mm_set1_epi64x(1LL << 28));
    return _mm_cvtsd_f64(_mm_castsi128_pd(_mm_and_si128(up, _mm_set1_epi64x(-(1LL << 29)))));
  }
  static Lanes kept(Lanes a) { return _mm256_cvtps_pd(_mm256_cvtpd_ps(a)); }

  static Lanes accepted(Lanes value, Lanes r, Lanes bound) {
    return both(equal(kept(r + bound), value), equal(kept(r - bound), value));
  }

  static Kept divided(Lanes a, Lanes b, Lanes, Lanes inverse, Pair& q) {
    q.value = (a - b) * inverse;
    const Lanes value = kept(q.value);
    return {value, accepted(value, q.value, all(0x1p-50) * magnitude(q.value))};
  }

  // A zero is kept only where its sign is certain.

  static Lanes updated(Lanes a, Lanes t, Lanes b, Lanes value) {
    const Lanes r = fnma(t, b, a), size = magnitude(t * b) + magnitude(r);
    return both(accepted(value, r, all(0x1p-51) * size),
                either(unequal(value, all(0.0)), equal(size, all(0.0))));
  }

  static Kept unknowns(Lanes b, Lanes h, Lanes c, double right, double&) {
    const Lanes inverse = all(1.0) / b, v = h * inverse, u = c * inverse;
    const double left3 = kept(fnma(v[3], right, u[3])), left2 = kept(fnma(v[2], left3, u[2])),
                 left1 = kept(fnma(v[1], left2, u[1])), left0 = kept(fnma(v[0], left1, u[0]));
    const Lanes left = _mm256_setr_pd(left0, left1, left2, left3), next = shifted_down(left, right);
    const Lanes bound = all(0x1p-50) * (magnitude(u) + magnitude(v * next));
    return {left, both(accepted(left, fnma(v, next, u), bound), unequal(left, all(0.0)))};
  }

  static Kept slope(Pair rise, Lanes h, Lanes left, Lanes right) {
    const Lanes w = right + (left + left), r = fnma(h, w, rise.value), value = kept(r);
    const Lanes bound = all(0x1p-50) * (magnitude(rise.value) + magnitude(h * w));
    return {value, both(accepted(value, r, bound), unequal(value, all(0.0)))};
  }
};

// -- the loops --------------------------------------------------------------------------------------

/// Bit k for each lane k that is not in the mask.
inline unsigned refused_lanes(Lanes accepted) { return _mm256_movemask_pd(accepted) ^ 15; }

/// What is not accepted is mostly right all the same; then the rows that wait for it go on.
template <class Holds>
bool all_hold(unsigned refused, Holds holds) {
  for (; refused; refused &= refused - 1)
    if (!holds(__builtin_ctz(refused))) return false;
  return true;
}
/// NaN is not the same; nor are zeros of different signs.
inline bool same(double a, double b) { return a == b && __builtin_signbit(a) == __builtin_signbit(b); }

/// Row i of the elimination; pivot and above are b and c of the row before.
template <class Real>
inline void eliminate_row(Real* b, Real* c, const Real* d, int i, double& pivot, double& above) {
  using F = Formulas<Real>;
  using Formula = SplineFormula<Real>;
  const double old_b = b[i], old_c = c[i], h = d[i - 1], t = h / pivot;
  const double new_b = F::kept(fnma(t, h, old_b)), new_c = F::kept(fnma(t, above, old_c));
  const auto twice = [](double v, double w) { return _mm256_setr_pd(v, w, v, w); };
  if (refused_lanes(F::updated(twice(old_b, old_c), all(t), twice(h, above), twice(new_b, new_c)))) {
    pivot = b[i] = Formula::updated(Real(old_b), t, Real(h));
    above = c[i] = Formula::updated(Real(old_c), t, Real(above));
    return;
  }
  b[i] = Real(pivot = new_b);
  c[i] = Real(above = new_c);
}

/// Rows i..i+3.
template <class Real>
inline void eliminate_rows(Real* b, Real* c, const Real* d, int i, double& pivot, double& above) {
  using F = Formulas<Real>;
  const double first_pivot = pivot, first_above = above;
  double h[4], t[4], pivots[5], sides[5];
  sides[0] = above;
  for (int k = 0; k < 4; ++k) {
    h[k] = d[i - 1 + k];
    t[k] = h[k] / pivot;
    pivot = pivots[k + 1] = F::kept(fnma(t[k], h[k], b[i + k]));
    above = sides[k + 1] = F::kept(fnma(t[k], above, c[i + k]));
  }
  const auto lanes = [](const double* v) { return _mm256_setr_pd(v[0], v[1], v[2], v[3]); };
  const Lanes by = lanes(t), new_b = lanes(pivots + 1), new_c = lanes(sides + 1);
  const unsigned refused = refused_lanes(both(F::updated(load(b + i), by, lanes(h), new_b),
                                              F::updated(load(c + i), by, lanes(sides), new_c)));
  const auto holds = [&](int k) {
    using Formula = SplineFormula<Real>;
    return same(Formula::updated(b[i + k], t[k], Real(h[k])), pivots[k + 1]) &&
           same(Formula::updated(c[i + k], t[k], Real(sides[k])), sides[k + 1]);
  };
  if (refused && !all_hold(refused, holds)) {
    pivot = first_pivot;
    above = first_above;
    for (int k = 0; k < 4; ++k) eliminate_row(b, c, d, i + k, pivot, above);
    return;
  }
  put(b + i, new_b);
  put(c + i, new_c);
}

// The same fours of rows as in substitute(): what a vector of other rows reads, while two others are
// still on their way to memory, is late.
template <class Real>
void eliminate(Real* b, Real* c, const Real* d, int last) noexcept {
  double pivot = b[0], above = c[0];
  int i = 1;
  for (; (last - i) % 4 != 0; ++i) eliminate_row(b, c, d, i, pivot, above);
  for (; i < last; i += 4) eliminate_rows(b, c, d, i, pivot, above);
  eliminate_row(b, c, d, last, pivot, above);
}

/// The unknowns of rows i..i+3 in the place of c. `guess` is some units off `right`.
template <class Real>
inline void solve_rows(const Real* b, Real* c, const Real* d, int i, double& right, double& guess) {
  using Formula = SplineFormula<Real>;
  const Kept left = Formulas<Real>::unknowns(load(b + i), load(d + i), load(c + i), right, guess);
  if (const unsigned refused = refused_lanes(left.accepted)) {
    const auto unknown = [&](int row, double next) {
      return Formula::unknown(c[row], d[row], Real(next), b[row]);
    };
    const auto holds = [&](int k) {
      return same(unknown(i + k, k < 3 ? left.value[k + 1] : right), left.value[k]);
    };
    if (!all_hold(refused, holds)) {
      for (int row = i + 3; row >= i; --row) right = c[row] = unknown(row, right);
      guess = right;
      return;
    }
  }
  put(c + i, left.value);
  right = left.value[0];
}

/// The coefficients of rows i..i+3, whose unknowns stand in c.
template <class Real>
inline void expand_rows(const Real* y, Real* b, Real* c, Real* d, int i, double& right) {
  using F = Formulas<Real>;
  using Formula = SplineFormula<Real>;
  const Lanes h = load(d + i), left = load(c + i), next = shifted_down(left, right);
  const Lanes inverse = all(1.0) / h;
  Pair rise, unused;
  F::divided(load(y + i + 1), load(y + i), h, inverse, rise);
  const Kept slope = F::slope(rise, h, left, next);
  const Kept cubic = F::divided(next, left, h, inverse, unused);
  put(b + i, slope.value);
  put(d + i, cubic.value);
  put(c + i, all(3.0) * left);
  right = left[0];
  for (unsigned refused = refused_lanes(both(slope.accepted, cubic.accepted)); refused;
       refused &= refused - 1) {
    const int k = __builtin_ctz(refused);
    b[i + k] = Formula::slope(y + i + k, Real(h[k]), Real(left[k]), Real(next[k]));
    d[i + k] = Formula::cubic(Real(h[k]), Real(left[k]), Real(next[k]));
  }
}

template <class Real>
Real substitute(const Real* y, Real* b, Real* c, Real* d, int last, Real right) noexcept {
  double next = right, guess = right;
  int i = last - 3;
  for (; i >= 0; i -= 4) solve_rows(b, c, d, i, next, guess);
  for (i += 3; i >= 0; --i) next = c[i] = SplineFormula<Real>::unknown(c[i], d[i], Real(next), b[i]);

  const Real topmost = c[last];
  next = right;
  for (i = last - 3; i >= 0; i -= 4) expand_rows(y, b, c, d, i, next);
  for (i += 3; i >= 0; --i) {
    const Real h = d[i], left = c[i], beside = Real(next);
    b[i] = SplineFormula<Real>::slope(y + i, h, left, beside);
    d[i] = SplineFormula<Real>::cubic(h, left, beside);
    c[i] = Real(3 * double(left));
    next = left;
  }
  return topmost;
}

}  // namespace

template <>
const SplineKernels<float> SplineKernels<float>::avx2 = {tabfit::eliminate<float>,
                                                         tabfit::substitute<float>};
template <>
const SplineKernels<double> SplineKernels<double>::avx2 = {tabfit::eliminate<double>,
                                                           tabfit::substitute<double>};

}  // namespace tabfit

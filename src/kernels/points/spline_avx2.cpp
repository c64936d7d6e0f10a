// kernels/points/spline_avx2.cpp - the spline's system, four rows side by side. Nothing of the standard
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
#include "kernels/points/pairs.hpp"
#include "kernels/points/spline.hpp"

namespace tabfit {
namespace {

constexpr double wide_rounding = 0x1.03p-64, slack = 0x1p-1000;

inline Lanes all(double x) { return Lanes::of(x); }
inline Lanes four(double a, double b, double c, double d) { return {_mm256_setr_pd(a, b, c, d)}; }
inline double fnma(double a, double b, double c) { return __builtin_fma(-a, b, c); }

// Masks of lanes: all bits of a lane, or none.
inline Lanes both(Lanes a, Lanes b) { return {_mm256_and_pd(a.v, b.v)}; }
inline Lanes either(Lanes a, Lanes b) { return {_mm256_or_pd(a.v, b.v)}; }
inline Lanes sign(Lanes a) { return both(all(-0.0), a); }
inline Lanes equal(Lanes a, Lanes b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_EQ_OQ)}; }
inline Lanes unequal(Lanes a, Lanes b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_NEQ_OQ)}; }

/// a[1], a[2], a[3], last.
inline Lanes shifted_down(Lanes a, double last) {
  return {_mm256_blend_pd(_mm256_permute4x64_pd(a.v, 0xf9), all(last).v, 8)};
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

  static Lanes accepted(Sum r, Lanes bound) {
    return both(equal(r.high + (r.low + bound), r.high), equal(r.high + (r.low - bound), r.high));
  }

  /// (a - b) / h, which is left in q too. Two roundings of the quotient's size.
  static Kept divided(Lanes a, Lanes b, Lanes h, Lanes inverse, Sum& q) {
    const Sum over = difference_of(a, b);
    q = quotient_of(over.high, over.low, h, inverse);
    const Sum r = rounded(q);
    const Lanes size = magnitude(r.high);
    const Lanes bound = fma(all(2 * wide_rounding), size, lesser(size, all(slack)));
    return {either(r.high, sign(over.high)), accepted(r, bound)};  // h > 0; the sign is a zero's
  }

  /// Lanes in which r = a - t b, rounded to nearest, may be kept. Roundings of product and difference.
  static Lanes updated(Lanes a, Lanes t, Lanes b, Lanes r) {
    const Sum p = product_of(t, b), s = difference_of(a, p.high);
    const Lanes size = magnitude(p.high) + magnitude(r);
    const Lanes bound = fma(all(wide_rounding), size, lesser(size, all(slack)));
    return accepted({r, (s.high - r) + (s.low - p.low)}, bound);
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
    const double g3 = fnma(v.v[3], guess, u.v[3]), g2 = fnma(v.v[2], g3, u.v[2]),
                 g1 = fnma(v.v[1], g2, u.v[1]), g0 = fnma(v.v[0], g1, u.v[0]);
    const Lanes guesses = four(g1, g2, g3, guess);
    const Sum p = product_of(h, guesses), s = difference_of(c, p.high);
    const Sum q = rounded(quotient_of(s.high, s.low - p.low, b, inverse));
    const double left3 = q.high.v[3] + fnma(v.v[3], right - guess, q.low.v[3]),
                 left2 = q.high.v[2] + fnma(v.v[2], left3 - g3, q.low.v[2]),
                 left1 = q.high.v[1] + fnma(v.v[1], left2 - g2, q.low.v[1]),
                 left0 = q.high.v[0] + fnma(v.v[0], left1 - g1, q.low.v[0]);
    guess = g0;
    const Lanes left = four(left0, left1, left2, left3);
    const Lanes off = shifted_down(left, right) - guesses;
    const Lanes rest = fnma(v, off, q.low) - (left - q.high);
    const Lanes size = magnitude(p.high * inverse) + magnitude(left + left);
    const Lanes bound =
        fma(all(wide_rounding), size, fma(all(0x1p-50), magnitude(v * off), all(slack)));
    return {left, accepted({left, rest}, bound)};
  }

  /// rise - h (right + 2 left). Two roundings of the rise, two of the product, one of the difference.
  static Kept slope(Sum rise, Lanes h, Lanes left, Lanes right) {
    const Sum w = sum_of(right, left + left), p = product_of(h, w.high),
              s = difference_of(rise.high, p.high);
    const Sum r = rounded({s.high, s.low + (rise.low - fma(h, w.low, p.low))});
    const Lanes terms = magnitude(rise.high) + magnitude(p.high);
    const Lanes bound = fma(all(wide_rounding), terms + terms + magnitude(r.high), all(slack));
    return {r.high, accepted(r, bound)};
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
  static Lanes kept(Lanes a) { return a.rounded(static_cast<const float*>(nullptr)); }

  static Lanes accepted(Lanes value, Lanes r, Lanes bound) {
    return both(equal(kept(r + bound), value), equal(kept(r - bound), value));
  }

  static Kept divided(Lanes a, Lanes b, Lanes, Lanes inverse, Sum& q) {
    q.high = (a - b) * inverse;
    const Lanes value = kept(q.high);
    return {value, accepted(value, q.high, all(0x1p-50) * magnitude(q.high))};
  }

  // A zero is kept only where its sign is certain.

  static Lanes updated(Lanes a, Lanes t, Lanes b, Lanes value) {
    const Lanes r = fnma(t, b, a), size = magnitude(t * b) + magnitude(r);
    return both(accepted(value, r, all(0x1p-51) * size),
                either(unequal(value, all(0.0)), equal(size, all(0.0))));
  }

  static Kept unknowns(Lanes b, Lanes h, Lanes c, double right, double&) {
    const Lanes inverse = all(1.0) / b, v = h * inverse, u = c * inverse;
    const double left3 = kept(fnma(v.v[3], right, u.v[3])), left2 = kept(fnma(v.v[2], left3, u.v[2])),
                 left1 = kept(fnma(v.v[1], left2, u.v[1])), left0 = kept(fnma(v.v[0], left1, u.v[0]));
    const Lanes left = four(left0, left1, left2, left3), next = shifted_down(left, right);
    const Lanes bound = all(0x1p-50) * (magnitude(u) + magnitude(v * next));
    return {left, both(accepted(left, fnma(v, next, u), bound), unequal(left, all(0.0)))};
  }

  static Kept slope(Sum rise, Lanes h, Lanes left, Lanes right) {
    const Lanes w = right + (left + left), r = fnma(h, w, rise.high), value = kept(r);
    const Lanes bound = all(0x1p-50) * (magnitude(rise.high) + magnitude(h * w));
    return {value, both(accepted(value, r, bound), unequal(value, all(0.0)))};
  }
};

// -- the loops --------------------------------------------------------------------------------------

/// Bit k for each lane k that is not in the mask.
inline unsigned refused_lanes(Lanes accepted) {
  return static_cast<unsigned>(_mm256_movemask_pd(accepted.v)) ^ 15U;
}

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
  const auto twice = [](double v, double w) { return four(v, w, v, w); };
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
  const auto lanes = [](const double* p) { return Lanes::load(p); };
  const Lanes by = lanes(t), new_b = lanes(pivots + 1), new_c = lanes(sides + 1);
  const unsigned refused = refused_lanes(both(F::updated(Lanes::load(b + i), by, lanes(h), new_b),
                                              F::updated(Lanes::load(c + i), by, lanes(sides), new_c)));
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
  (new_b).put(b + i);
  (new_c).put(c + i);
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
  const Kept left = Formulas<Real>::unknowns(Lanes::load(b + i), Lanes::load(d + i), Lanes::load(c + i),
                                             right, guess);
  if (const unsigned refused = refused_lanes(left.accepted)) {
    const auto unknown = [&](int row, double next) {
      return Formula::unknown(c[row], d[row], Real(next), b[row]);
    };
    const auto holds = [&](int k) {
      return same(unknown(i + k, k < 3 ? left.value.v[k + 1] : right), left.value.v[k]);
    };
    if (!all_hold(refused, holds)) {
      for (int row = i + 3; row >= i; --row) right = c[row] = unknown(row, right);
      guess = right;
      return;
    }
  }
  (left.value).put(c + i);
  right = left.value.v[0];
}

/// The coefficients of rows i..i+3, whose unknowns stand in c.
template <class Real>
inline void expand_rows(const Real* y, Real* b, Real* c, Real* d, int i, double& right) {
  using F = Formulas<Real>;
  using Formula = SplineFormula<Real>;
  const Lanes h = Lanes::load(d + i), left = Lanes::load(c + i), next = shifted_down(left, right);
  const Lanes inverse = all(1.0) / h;
  Sum rise, unused;
  F::divided(Lanes::load(y + i + 1), Lanes::load(y + i), h, inverse, rise);
  const Kept slope = F::slope(rise, h, left, next);
  const Kept cubic = F::divided(next, left, h, inverse, unused);
  (slope.value).put(b + i);
  (cubic.value).put(d + i);
  (all(3.0) * left).put(c + i);
  right = left.v[0];
  for (unsigned refused = refused_lanes(both(slope.accepted, cubic.accepted)); refused;
       refused &= refused - 1) {
    const int k = __builtin_ctz(refused);
    b[i + k] = Formula::slope(y + i + k, Real(h.v[k]), Real(left.v[k]), Real(next.v[k]));
    d[i + k] = Formula::cubic(Real(h.v[k]), Real(left.v[k]), Real(next.v[k]));
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

void eliminate_fours(float* b, float* c, const float* d, int last) noexcept {
  eliminate(b, c, d, last);
}
void eliminate_fours(double* b, double* c, const double* d, int last) noexcept {
  eliminate(b, c, d, last);
}
float substitute_fours(const float* y, float* b, float* c, float* d, int last, float right) noexcept {
  return substitute(y, b, c, d, last, right);
}
double substitute_fours(const double* y, double* b, double* c, double* d, int last,
                        double right) noexcept {
  return substitute(y, b, c, d, last, right);
}

}  // namespace tabfit

// kernels/points/spline_lanes.hpp - the spline's system, four rows side by side.
//
// Why:       each row waits for the one before, and a step in long double takes several times as long.
// Shape:     rows in fours; what is left over goes row by row in long double, with the same bits.
// Invariant: a row's results are guessed in double, and its formula evaluated with the numbers of
//            bounded.hpp, four rows side by side. A result that these do not confirm is computed in
//            long double. If the guess was right all the same, the rows after it stand.
// Order:     rows ascending in the elimination, descending in the substitution; one formula a result.
#pragma once

#include "kernels/points/bounded.hpp"
#include "kernels/points/spline.hpp"

namespace tabfit {
namespace {

static_assert(Lanes::width == 4);

inline double fnma(double a, double b, double c) { return __builtin_fma(-a, b, c); }

// -- the formulas -----------------------------------------------------------------------------------

/// r as an element of Real, for the row that waits for it; the conversions there and back take longer.
/// A float that is a tie goes away from zero, one beyond the range stays: neither is confirmed.
inline double kept(double r, const double*) { return r; }
inline double kept(double r, const float*) {
  using Doubles = double __attribute__((vector_size(16)));
  using Bits = long long __attribute__((vector_size(16)));
  constexpr long long half = 1LL << 28;
  const Bits rounded = (reinterpret_cast<Bits>(Doubles{r, 0.0}) + half) & -(2 * half);
  return reinterpret_cast<Doubles>(rounded)[0];
}

/// Results, and bit i for each lane i that is not certain.
struct Results {
  Lanes value;
  unsigned doubts;
};

/// The lanes where not all within the bound rounds to `result`, or that is zero: a zero's sign is not
/// certain.
template <class Real>
inline unsigned unconfirmed(const Bounded<Real>& x, Lanes result) {
  constexpr const Real* real = nullptr;
  const Ends end = ends(x);
  return different(end.least.rounded(real), result) | different(end.most.rounded(real), result) |
         same_magnitude(result, Lanes::zero());
}

inline Lanes nearest(const Bounded<double>& x) { return x.value.high + x.value.low; }
inline Lanes nearest(const Bounded<float>& x) {
  return x.value.high.rounded(static_cast<const float*>(nullptr));
}

/// The lanes where a - t b may not be r, which is a - t b rounded once. Of zeros r has the sign, too.
template <class Real>
inline unsigned unconfirmed_update(Lanes a, Lanes t, Lanes b, Lanes r) {
  const Exact<Real> from{a}, times{t}, what{b};
  const Lanes sizes = magnitude(a) + magnitude(b) + magnitude(r);
  return unconfirmed(from - times * what, r) & ~same_magnitude(sizes, Lanes::zero());
}

/// (c - h right) / b in four rows, the highest first, each the next one's `right`.
///
/// Why:       a row would wait for all the steps of its formula. `guess` follows the unknowns at one
///            step a row, some units off; the formula is evaluated with it instead of `right`, and a
///            row waits only for what the difference of the two makes of it.
/// Invariant: `off` is that difference; h / b times it is known to 2^-51, and the roundings of the
///            formula are those with the guess but for 2^-64 of it.
inline Results unknowns(Lanes b, Lanes h, Lanes c, double right, double& guess, const double*) {
  const Divisor by(b);
  const Lanes v = h * by.inverse, u = c * by.inverse;
  const double g3 = fnma(v.v[3], guess, u.v[3]), g2 = fnma(v.v[2], g3, u.v[2]),
               g1 = fnma(v.v[1], g2, u.v[1]), g0 = fnma(v.v[0], g1, u.v[0]);
  const Exact<double> numerator{c}, width{h}, guesses{Lanes::of(g1, g2, g3, guess)};
  Bounded<double> x = (numerator - width * guesses) / by;
  const Lanes high = nearest(x), low = x.value.low - (high - x.value.high);
  const double left3 = high.v[3] + fnma(v.v[3], right - guess, low.v[3]),
               left2 = high.v[2] + fnma(v.v[2], left3 - g3, low.v[2]),
               left1 = high.v[1] + fnma(v.v[1], left2 - g2, low.v[1]),
               left0 = high.v[0] + fnma(v.v[0], left1 - g1, low.v[0]);
  guess = g0;
  const Lanes left = Lanes::of(left0, left1, left2, left3),
              off = without_first(left, right) - guesses.value;
  x.value.low = fnma(v, off, x.value.low);
  x.bound = fma(Lanes::of(0x1p-50), magnitude(v * off), x.bound);
  return {left, unconfirmed(x, left)};
}
/// The same, where a double is fine enough to follow the unknowns themselves.
inline Results unknowns(Lanes b, Lanes h, Lanes c, double right, double&, const float* real) {
  const Divisor by(b);
  const Lanes v = h * by.inverse, u = c * by.inverse;
  const double left3 = kept(fnma(v.v[3], right, u.v[3]), real),
               left2 = kept(fnma(v.v[2], left3, u.v[2]), real),
               left1 = kept(fnma(v.v[1], left2, u.v[1]), real),
               left0 = kept(fnma(v.v[0], left1, u.v[0]), real);
  const Lanes left = Lanes::of(left0, left1, left2, left3);
  const Exact<float> numerator{c}, width{h}, next{without_first(left, right)};
  return {left, unconfirmed((numerator - width * next) / by, left)};
}

/// (y1 - y0) / h - h (right + 2 left).
template <class Real>
inline Results row_slope(Exact<Real> y0, Exact<Real> y1, const Divisor& h, Exact<Real> left,
                         Exact<Real> right) {
  const Exact<Real> twice{left.value + left.value}, width{h.value};
  const Bounded<Real> x = (y1 - y0) / h - width * (right + twice);
  const Lanes value = nearest(x);
  return {value, unconfirmed(x, value)};
}

/// (right - left) / h, with the sign of the difference, as h > 0: a zero may have lost it.
template <class Real>
inline Results row_cubic(const Divisor& h, Exact<Real> left, Exact<Real> right) {
  const Known<Real, 1> change = right - left;
  const Bounded<Real> x = change / h;
  const Lanes value = nearest(x), sizes = magnitude(high_of(change.value)) + magnitude(value);
  return {with_sign(value, high_of(change.value)),
          unconfirmed(x, value) & ~same_magnitude(sizes, Lanes::zero())};
}

// -- the loops --------------------------------------------------------------------------------------

/// Whether the results in doubt are right. Most are, and then the rows that waited for them stand.
template <class Holds>
bool all_hold(unsigned doubts, Holds holds) {
  for (; doubts; doubts &= doubts - 1)
    if (!holds(__builtin_ctz(doubts))) return false;
  return true;
}
/// NaN is not the same; nor are zeros of different signs.
inline bool same(double a, double b) { return a == b && __builtin_signbit(a) == __builtin_signbit(b); }

/// Row i of the elimination; pivot and above are b and c of the row before.
template <class Real>
inline void eliminate_row(Real* b, Real* c, const Real* d, int i, double& pivot, double& above) {
  using Formula = SplineFormula<Real>;
  const double old_b = b[i], old_c = c[i], h = d[i - 1], t = h / pivot;
  const double new_b = kept(fnma(t, h, old_b), b), new_c = kept(fnma(t, above, old_c), c);
  const auto twice = [](double v, double w) { return Lanes::of(v, w, v, w); };
  if (unconfirmed_update<Real>(twice(old_b, old_c), Lanes::of(t), twice(h, above),
                               twice(new_b, new_c))) {
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
  const double first_pivot = pivot, first_above = above;
  double h[4], t[4], pivots[5], sides[5];
  sides[0] = above;
  for (int k = 0; k < 4; ++k) {
    h[k] = d[i - 1 + k];
    t[k] = h[k] / pivot;
    pivot = pivots[k + 1] = kept(fnma(t[k], h[k], b[i + k]), b);
    above = sides[k + 1] = kept(fnma(t[k], above, c[i + k]), c);
  }
  const Lanes by = Lanes::load(t), new_b = Lanes::load(pivots + 1), new_c = Lanes::load(sides + 1);
  const unsigned doubts = unconfirmed_update<Real>(Lanes::load(b + i), by, Lanes::load(h), new_b) |
                          unconfirmed_update<Real>(Lanes::load(c + i), by, Lanes::load(sides), new_c);
  const auto holds = [&](int k) {
    using Formula = SplineFormula<Real>;
    return same(Formula::updated(b[i + k], t[k], Real(h[k])), pivots[k + 1]) &&
           same(Formula::updated(c[i + k], t[k], Real(sides[k])), sides[k + 1]);
  };
  if (!all_hold(doubts, holds)) {
    pivot = first_pivot;
    above = first_above;
    for (int k = 0; k < 4; ++k) eliminate_row(b, c, d, i + k, pivot, above);
    return;
  }
  new_b.put(b + i);
  new_c.put(c + i);
}

// The fours are those of substitute(): a vector that reads parts of two which are still on their way to
// memory would wait for them.
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
  const Results left =
      unknowns(Lanes::load(b + i), Lanes::load(d + i), Lanes::load(c + i), right, guess, b);
  if (left.doubts) {
    const auto unknown = [&](int row, double next) {
      return Formula::unknown(c[row], d[row], Real(next), b[row]);
    };
    const auto holds = [&](int k) {
      return same(unknown(i + k, k < 3 ? left.value.v[k + 1] : right), left.value.v[k]);
    };
    if (!all_hold(left.doubts, holds)) {
      for (int row = i + 3; row >= i; --row) right = c[row] = unknown(row, right);
      guess = right;
      return;
    }
  }
  left.value.put(c + i);
  right = left.value.v[0];
}

/// The coefficients of rows i..i+3, whose unknowns stand in c.
template <class Real>
inline void expand_rows(const Real* y, Real* b, Real* c, Real* d, int i, double& right) {
  using Formula = SplineFormula<Real>;
  const Lanes left = Lanes::load(c + i), next = without_first(left, right);
  const Divisor h(Lanes::load(d + i));
  const Results b_new =
                    row_slope<Real>({Lanes::load(y + i)}, {Lanes::load(y + i + 1)}, h, {left}, {next}),
                d_new = row_cubic<Real>(h, {left}, {next});
  b_new.value.put(b + i);
  d_new.value.put(d + i);
  (Lanes::of(3.0) * left).put(c + i);
  right = left.v[0];
  for (unsigned doubts = b_new.doubts | d_new.doubts; doubts; doubts &= doubts - 1) {
    const int k = __builtin_ctz(doubts);
    b[i + k] = Formula::slope(y + i + k, Real(h.value.v[k]), Real(left.v[k]), Real(next.v[k]));
    d[i + k] = Formula::cubic(Real(h.value.v[k]), Real(left.v[k]), Real(next.v[k]));
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
}  // namespace tabfit

// kernels/points/points_lanes.hpp - the kernels for points over vectors of the width that the file
// including this is compiled for.
//
// A quantity is a pair of doubles, high + low, whose relative error is below 2^-100. Next to it stands a
// bound of what the roundings of the documented formula may add up to, in units of 2^-64: each operation in
// Wide is off by at most one such unit of its result.
#pragma once

#include "kernels/points/pairs.hpp"
#include "kernels/points/points.hpp"

namespace tabfit {
namespace {

constexpr double unit = 0x1p-64;

inline Sum of(Pair a) { return {Lanes::of(a.high), Lanes::of(a.low)}; }

/// Puts x into those of the first `left` lanes in which all values within the bound around x are stored
/// as one, and returns the others. Zero is not one where some of them are negative and others not.
template <class Real>
inline unsigned put_within(Sum x, Lanes bound, Real* p, int left) {
  const Lanes lowest = x.high + (x.low - bound), highest = x.high + (x.low + bound),
              least = lowest.rounded(p), most = highest.rounded(p);
  unsigned doubts = different(least, most);
  if constexpr (sizeof(Real) == sizeof(float))
    doubts |= below(lowest, Lanes::zero()) & ~below(highest, Lanes::zero());
  if (left < Lanes::width) doubts |= ~0U << left;
  doubts &= (1U << Lanes::width) - 1;
  if (doubts == 0)
    most.put(p);
  else
    most.put(p, Lanes::mask(~doubts));
  return doubts;
}

/// Results that Wide rounds to float directly must not stand on a double that is halfway between
/// floats by its own rounding: the bound of float results is several units of double.
template <class Real>
constexpr double coarse = sizeof(Real) == sizeof(float) ? 0x1p-48 : 0.0;

/// Added to bounds, so that results too small for exact pairs are in doubt.
constexpr double too_small = 0x1p-700;

/// What data may be divided or multiplied by, that pairs are exact above too_small.
constexpr double least_length = 0x1p-100, greatest_length = 0x1p100;
inline bool in_range(double x) { return x >= least_length && x <= greatest_length; }

/// f(i, left) for each vector of the block, `left` points from point i on; the doubts of all.
template <class F>
inline PointSet each_vector(int count, F f) {
  PointSet doubts = 0;
  for (int i = 0; i < count; i += Lanes::width) doubts |= PointSet{f(i, count - i)} << i;
  return doubts & (count < point_block ? (PointSet{1} << count) - 1 : ~PointSet{0});
}
inline PointSet all_points(int count) {
  return each_vector(count, [](int, int) { return (1U << Lanes::width) - 1; });
}

/// Roundings: of the difference, of the quotient, and with an offset of the sum.
template <bool with_offset, class Real, class Result>
inline PointSet mapped(const Real* v, int count, const PointMapping& map, Result* out) {
  if (!in_range(map.hw)) return all_points(count);
  const Lanes cm = Lanes::of(map.cm), hw = Lanes::of(map.hw), inverse = Lanes::of(1.0 / map.hw),
              offset = Lanes::of(map.offset),
              relative = Lanes::of((with_offset ? 3.2 : 2.2) * unit + coarse<Result>),
              absolute = Lanes::of((with_offset ? map.offset * 1.2 * unit : 0.0) + too_small);
  return each_vector(count, [&](int i, int left) {
    const Sum d = difference_of(load_some(v + i, left), cm),
              q = quotient_of(d.high, d.low, hw, inverse);
    Sum t = q;
    if constexpr (with_offset) {
      t = sum_of(offset, q.high);
      t.low = t.low + q.low;
    }
    return put_within(t, fma(magnitude(q.high), relative, absolute), out + i, left);
  });
}

template <class Real>
PointSet map(const Real* v, int count, const PointMapping& map, double* u) noexcept {
  return mapped<true>(v, count, map, u);
}

template <class Real>
PointSet map_elements(Real* v, int count, const PointMapping& map) noexcept {
  return mapped<false>(v, count, map, v);
}

template <class Real>
void map_back(Real* v, int count, const PointMapping& map) noexcept {
  const Lanes cm = Lanes::of(map.cm), hw = Lanes::of(map.hw);
  for (int i = 0; i < count; i += Lanes::width)
    put_some(fma(hw, load_some(v + i, count - i), cm), v + i, count - i);
}

/// Rounding: of the quotient.
template <class Real>
PointSet divide(const double* s, int count, Wide divisor, Real* out) noexcept {
  const auto high = static_cast<double>(divisor);
  if (!in_range(high)) return all_points(count);
  const Lanes b = Lanes::of(high), b_low = Lanes::of(static_cast<double>(divisor - high)),
              inverse = Lanes::of(1.0 / high), relative = Lanes::of(1.1 * unit + coarse<Real>),
              absolute = Lanes::of(too_small);
  return each_vector(count, [&](int i, int left) {
    const Lanes a = load_some(s + i, left), q = a * inverse;
    const Sum x{q, fnma(q, b_low, fnma(q, b, a)) * inverse};
    return put_within(x, fma(magnitude(q), relative, absolute), out + i, left);
  });
}

/// Elements of some arrays at the intervals of a vector of points; often it is one interval.
class Intervals {
 public:
  explicit Intervals(const std::int32_t* k) : k_(k), level_(same(k)) {}

  template <class Real>
  Lanes of(const Real* p) const {
    return level_ ? Lanes::of(p[*k_]) : pick(p, k_);
  }

 private:
  const std::int32_t* k_;
  bool level_;
};

// -- splines ----------------------------------------------------------------------------------------

/// Roundings: of u / h, whose whole part counts; of the place, whose numerator is exact.
PointSet locate(const BasisGrid& grid, double tol, int count, double* u, PointPlaces& at,
                PointSet& outside) noexcept {
  const Lanes h = Lanes::of(grid.h), inverse = Lanes::of(1.0 / grid.h),
              last = Lanes::of(static_cast<double>(grid.n)), zero = Lanes::zero(), two = Lanes::of(2.0),
              lowest = Lanes::of(-tol), highest = Lanes::of(2.0 + tol), down = Lanes::of(1 - 0x1p-50),
              up = Lanes::of(1 + 0x1p-50), relative = Lanes::of(1.1 * unit),
              absolute = Lanes::of(too_small);
  PointSet beyond = 0;
  const PointSet doubts = each_vector(count, [&](int i, int left) {
    const Lanes x = load_some(u + i, left), inside = lesser(greater(x, zero), two);
    beyond |= PointSet{below(x, lowest) | below(highest, x)} << i;
    put_some(inside, u + i, left);
    const Lanes steps = inside * inverse, least = floor(steps * down), most = floor(steps * up),
                k = lesser(least, last);
    put_whole(k, at.k + i);
    const Sum t = quotient_of(inside - k * h, zero, h, inverse);
    // 0 is exact: the lanes behind the last point are to have a place, too.
    const Lanes size = magnitude(t.high), bound = lesser(fma(size, relative, absolute), size);
    return different(least, most) | put_within(t, bound, at.t + i, Lanes::width);
  });
  outside = beyond & all_points(count);
  return doubts & ~outside;
}

/// What a spline's value in an interval is made of, at place t >= 2^-11, where the three differences
/// are exact in Wide too.
struct Place {
  Sum rest, from_right, from_left;  ///< 1 - t, 2 - t, 1 + t

  explicit Place(Lanes t) {
    const Lanes one = Lanes::of(1.0), two = Lanes::of(2.0);
    rest.high = one - t;
    rest.low = (one - rest.high) - t;
    from_right.high = two - t;
    from_right.low = (two - from_right.high) - t;
    from_left.high = one + t;
    from_left.low = t - (from_left.high - one);
  }

  /// g t (1 - t).
  Sum bend(Lanes t, Lanes g) const { return product_of(product_of(t, g), rest); }

  /// The lanes where it cannot be used.
  static unsigned doubts(Lanes t) { return below(t, Lanes::of(0x1p-11)) | below(Lanes::of(1.0), t); }
};

PointSet weigh(const BasisGrid& grid, int count, PointPlaces& at) noexcept {
  const Lanes g = Lanes::of(grid.g);
  at.level = 0;
  return each_vector(count, [&](int i, int) {
    const Lanes t = Lanes::load(at.t + i);
    const Place place(t);
    const Sum bend = place.bend(t, g), left = product_of(bend, place.from_right),
              right = product_of(bend, place.from_left);
    left.high.put(at.left + i);
    left.low.put(at.left_low + i);
    right.high.put(at.right + i);
    right.low.put(at.right_low + i);
    if (same(at.k + i)) at.level |= PointSet{1} << i;
    return Place::doubts(t);
  });
}

/// Roundings of what a and b add: two in the weight, one of the product with a or b, one of that with 1 - t
/// or t, one of the sum; and one more where a knot value is 1. Of what that adds: three.
template <class Real>
PointSet basis(const PointPlaces& at, int count, const Real* T, int j, Real* out) noexcept {
  const Lanes bends = Lanes::of(5.2 * unit), values = Lanes::of(3.2 * unit),
              absolute = Lanes::of(too_small);
  return each_vector(count, [&](int i, int left) {
    Lanes a, b;
    const std::int32_t* k = at.k + i;
    const bool level = at.level >> i & 1;
    if (level) {
      a = Lanes::of(T[*k]);
      b = Lanes::of(T[*k + 1]);
    } else {
      a = pick(T, k);
      b = pick(T + 1, k);
    }
    const Sum x = product_of(a, Sum{Lanes::load(at.left + i), Lanes::load(at.left_low + i)}),
              y = product_of(b, Sum{Lanes::load(at.right + i), Lanes::load(at.right_low + i)});
    Sum s = sum_of(x, y);
    const Lanes bent = magnitude(x.high) + magnitude(y.high);
    Lanes bound = fma(bent, bends, absolute);
    Sum e;  // what the knot value 1 adds
    if (level) {
      if (*k != j - 1 && *k != j - 2) {
        s.high = Lanes::zero() - s.high;
        s.low = Lanes::zero() - s.low;
        return put_within(s, bound, out + i, left);
      }
      const Lanes t = Lanes::load(at.t + i);
      e = *k == j - 1 ? Place(t).rest : Sum{t, Lanes::zero()};
    } else {
      double high[Lanes::width], low[Lanes::width];
      const Lanes t = Lanes::load(at.t + i);
      const Place place(t);
      place.rest.high.put(high);
      place.rest.low.put(low);
      for (int lane = 0; lane < Lanes::width; ++lane)
        if (k[lane] != j - 1) {
          high[lane] = k[lane] == j - 2 ? at.t[i + lane] : 0.0;
          low[lane] = 0.0;
        }
      e = {Lanes::load(high), Lanes::load(low)};
    }
    bound = fma(e.high, values, fma(bent, Lanes::of(unit), bound));
    return put_within(difference_of(e, s), bound, out + i, left);
  });
}

/// Roundings of the value: as in basis. Of the slope: two of b t t and a rest
/// rest, one of their difference and of its product with h / 2; three of (a - b) g in the rise, one of e2,
/// two of the whole rise; two of the sum and its quotient. Of the curvature: one of each product, and
/// three of their sum, the square of hw and the quotient.
template <class Real>
PointSet spline(const PointPlaces& at, int count, const SplinePieces& pieces, const Real* coefficients,
                Real* s, Real* s1, Real* s2) noexcept {
  if (!in_range(pieces.hw)) return all_points(count);
  const Lanes g = Lanes::of(pieces.g), absolute = Lanes::of(too_small);
  const Sum per_bend = of(pieces.per_bend), per_rise = of(pieces.per_rise),
            per_square = of(pieces.per_square);
  return each_vector(count, [&](int i, int left) {
    const Intervals k(at.k + i);
    const Lanes t = Lanes::load(at.t + i), a = k.of(pieces.C), b = k.of(pieces.C + 1),
                e1 = k.of(coefficients + 1), e2 = k.of(coefficients + 2);
    const Place place(t);
    unsigned doubts = Place::doubts(t);
    if (s) {
      const Sum from_left = product_of(a, place.from_right),
                from_right = product_of(b, place.from_left);
      const Sum bend = place.bend(t, g), curved = product_of(bend, sum_of(from_left, from_right));
      const Sum left_value = product_of(e1, place.rest), right_value = product_of(e2, t);
      const Lanes bends = (magnitude(from_left.high) + magnitude(from_right.high)) * bend.high,
                  values = magnitude(left_value.high) + magnitude(right_value.high);
      const Lanes bound =
          fma(bends, Lanes::of(6.2 * unit), fma(values, Lanes::of(3.2 * unit), absolute));
      doubts |= put_within(difference_of(sum_of(left_value, right_value), curved), bound, s + i, left);
    }
    if (s1) {
      const Sum square = product_of(t, t), x = product_of(b, square),
                y = product_of(a, product_of(place.rest, place.rest)),
                bend = product_of(per_bend, difference_of(x, y));
      const Sum third = product_of(g, difference_of(a, b)),
                change = sum_of(third, difference_of(e2, e1)), rise = product_of(per_rise, change),
                slope = sum_of(bend, rise);
      const Lanes bends = magnitude(x.high) + magnitude(y.high) + absolute,
                  rises = fma(magnitude(third.high), Lanes::of(3.2),
                              fma(magnitude(change.high), Lanes::of(2.2), magnitude(e2) + absolute));
      Lanes bound = magnitude(slope.high) * Lanes::of(2.2 * unit);
      bound = fma(bends, per_bend.high * Lanes::of(4.2 * unit), bound);
      bound = fma(rises, per_rise.high * Lanes::of(1.1 * unit), bound);
      doubts |= put_within(slope, bound, s1 + i, left);
    }
    if (s2) {
      const Sum x = product_of(a, place.rest), y = product_of(b, t),
                curvature = product_of(per_square, sum_of(x, y));
      const Lanes bends = magnitude(x.high) + magnitude(y.high) + absolute;
      const Lanes bound = fma(bends, per_square.high * Lanes::of(1.1 * unit),
                              magnitude(curvature.high) * Lanes::of(3.2 * unit));
      doubts |= put_within(curvature, bound, s2 + i, left);
    }
    return doubts;
  });
}

// -- interpolation ----------------------------------------------------------------------------------

/// Four vectors search together: each waits for a node at every step, and none for another.
template <class Real>
PointSet find(const Real* x, int n, const Real* t, int count, std::int32_t* k,
              std::int32_t& last) noexcept {
  constexpr int vectors = 4, width = vectors * Lanes::width;
  constexpr bool goes_right_on_nodes = sizeof(Real) == sizeof(float);
  const auto nodes = static_cast<unsigned>(n), cut = nodes - (1U << (31 - __builtin_clz(nodes)));
  const Lanes lowest = Lanes::of(x[0]), highest = Lanes::of(x[n - 1]), at_cut = Lanes::of(x[cut]);
  PointSet outside = 0;
  for (int i = 0; i < count; i += width) {
    Lanes u[vectors];
    const Lanes left = Lanes::of(x[last]), right = Lanes::of(x[last + 1]);
    unsigned beyond = 0;
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
      // A vector behind the last point repeats the first of these, a lane behind it is outside.
      const int from = i + v * Lanes::width < count ? i + v * Lanes::width : i;
      u[v] = load_some(t + from, count - from);
      outside |= PointSet{not_less(lowest, u[v]) | not_less(u[v], highest)} << from;
      beyond |= not_less(left, u[v]) | not_less(u[v], right);
    }
    std::int32_t* lo = k + i;
    if (beyond == 0) {
      for (int lane = 0; lane < width; ++lane) lo[lane] = last;
      continue;
    }
    for (int lane = 0; lane < width; ++lane) lo[lane] = 0;
    TABFIT_UNROLL for (int v = 0; v < vectors; ++v) add_where_less<goes_right_on_nodes>(
        at_cut, u[v], static_cast<std::int32_t>(cut), lo + v * Lanes::width);
    for (std::int32_t half = static_cast<std::int32_t>(nodes - cut) / 2; half > 0; half /= 2)
      TABFIT_UNROLL for (int v = 0; v < vectors; ++v) {
        std::int32_t* const at = lo + v * Lanes::width;
        add_where_less<goes_right_on_nodes>(pick(x + half, at), u[v], half, at);
      }
    const int end = i + width < count ? i + width : count;
    last = k[end - 1] < n - 1 ? k[end - 1] : 0;
  }
  // What reads nodes by these indices reads those of whole vectors.
  for (int lane = count; lane % Lanes::width != 0; ++lane) k[lane] = 0;
  return outside & (count < point_block ? (PointSet{1} << count) - 1 : ~PointSet{0});
}

/// Roundings: of the difference of the abscissae, of the slope two, of the product and of the sum.
template <class Real>
PointSet line(const Real* x, const Real* y, const std::int32_t* k, const Real* t, int count,
              Real* out) noexcept {
  const Lanes rises = Lanes::of(4.2 * unit), values = Lanes::of(1.1 * unit),
              absolute = Lanes::of(too_small);
  return each_vector(count, [&](int i, int left) {
    const Intervals at(k + i);
    const Lanes x0 = at.of(x), y0 = at.of(y), h = at.of(x + 1) - x0;
    const Sum run = difference_of(load_some(t + i, left), x0), rise = difference_of(at.of(y + 1), y0),
              slope = quotient_of(rise.high, rise.low, h, Lanes::of(1.0) / h),
              climb = product_of(run, slope);
    Sum value = sum_of(climb.high, y0);
    value.low = value.low + climb.low;
    const Lanes bound = fma(magnitude(climb.high), rises, fma(magnitude(value.high), values, absolute));
    return put_within(value, bound, out + i, left) | below(Lanes::of(greatest_length), h);
  });
}

/// Roundings: of each product and each sum one; the place is a double, and 2 c, 3 d and 6 d are exact.
/// For a place of any length: where its product with a double is too small to be exact, the place is small too,
/// and the bound of results that are too small covers the difference.
template <class Real>
PointSet cubic(const Real* x, const Real* C, int n, const std::int32_t* k, const Real* t, int count,
               Real* s, Real* s1, Real* s2) noexcept {
  const std::ptrdiff_t row = n;
  const Lanes rounding = Lanes::of(1.1 * unit), absolute = Lanes::of(too_small);
  return each_vector(count, [&](int i, int left) {
    const Intervals at(k + i);
    const Lanes r = load_some(t + i, left) - at.of(x), b = at.of(C + row), c = at.of(C + 2 * row),
                d = at.of(C + 3 * row), size = magnitude(r);
    const auto next = [&](const Sum& a, Lanes coefficient) {  // a r + coefficient
      const Sum p = product_of(r, a);
      Sum q = sum_of(p.high, coefficient);
      q.low = q.low + p.low;
      return q;
    };
    unsigned doubts = 0;
    if (s) {
      const Sum p = product_of(r, d);
      Sum two = sum_of(p.high, c);
      two.low = two.low + p.low;
      const Sum one = next(two, b), value = next(one, at.of(C));
      const Lanes twice = magnitude(two.high) + magnitude(two.high),
                  inner =
                      fma(magnitude(p.high) + twice, size, magnitude(one.high) + magnitude(one.high)),
                  bound = fma(fma(inner, size, magnitude(value.high)), rounding, absolute);
      doubts |= put_within(value, bound, s + i, left);
    }
    const Lanes c2 = c + c;
    if (s1) {
      const Sum d3 = product_of(d, Lanes::of(3.0)), p = product_of(r, d3);
      Sum two = sum_of(p.high, c2);
      two.low = two.low + p.low;
      const Sum value = next(two, b);
      const Lanes inner = magnitude(p.high) + magnitude(two.high) + magnitude(two.high),
                  bound = fma(fma(inner, size, magnitude(value.high)), rounding, absolute);
      doubts |= put_within(value, bound, s1 + i, left);
    }
    if (s2) {
      const Sum d6 = product_of(d, Lanes::of(6.0)), p = product_of(r, d6);
      Sum value = sum_of(p.high, c2);
      value.low = value.low + p.low;
      const Lanes bound = fma(magnitude(p.high) + magnitude(value.high), rounding, absolute);
      doubts |= put_within(value, bound, s2 + i, left);
    }
    return doubts;
  });
}

// -- Chebyshev polynomials --------------------------------------------------------------------------

template <class Real>
PointSet clamp(const Real* v, int count, double band, double* t) noexcept {
  const Lanes least = Lanes::of(-1.0), most = Lanes::of(1.0), edge = Lanes::of(band);
  return each_vector(count, [&](int i, int left) {
    const Lanes x = load_some(v + i, left);
    put_some(lesser(most, greater(least, x)), t + i, left);
    return above(magnitude(x), edge);
  });
}

/// f(vectors, i, left) for parts of the block of as many vectors as run well side by side.
template <class F>
inline void each_part(int count, F f) {
  constexpr int part = 4 * Lanes::width;
  int i = 0;
  for (; i + part <= count; i += part) f(Count<4>{}, i, part);
  for (; i < count; i += Lanes::width) f(Count<1>{}, i, count - i);
}

template <class Real>
void chebyshev(int p, const double* t, int count, std::ptrdiff_t stride, Real* T, const Real* a,
               double* sums) noexcept {
  const Real* none = nullptr;
  each_part(count, [&](auto vectors, int i, int left) {
    constexpr int n = decltype(vectors)::value;
    Lanes twice[n], before[n], now[n], sum[n];
    Real* row = T + i;
    const auto put = [&](const Lanes* x) {
      TABFIT_UNROLL for (int v = 0; v < n; ++v)
          put_some(x[v], row + v * Lanes::width, left - v * Lanes::width);
      row += stride;
    };
    const auto add = [&](const Lanes* x, int j) {
      if (!a) return;
      const Lanes factor = Lanes::of(a[j]);
      TABFIT_UNROLL for (int v = 0; v < n; ++v) sum[v] = fma(factor, x[v], sum[v]);
    };
    TABFIT_UNROLL for (int v = 0; v < n; ++v) {
      const Lanes x = load_some(t + i + v * Lanes::width, left - v * Lanes::width);
      twice[v] = x + x;
      before[v] = Lanes::of(1.0);
      now[v] = x.rounded(none);
      sum[v] = Lanes::zero();
    }
    put(before);
    add(before, 0);
    put(now);
    if (p >= 1) add(now, 1);
    for (int j = 2; j <= p; ++j) {
      TABFIT_UNROLL for (int v = 0; v < n; ++v) {
        const Lanes next = fms(twice[v], now[v], before[v]).rounded(none);
        before[v] = now[v];
        now[v] = next;
      }
      put(now);
      add(now, j);
    }
    if (a)
      TABFIT_UNROLL for (int v = 0; v < n; ++v)
          put_some(sum[v], sums + i + v * Lanes::width, left - v * Lanes::width);
  });
}

template <class Real>
void chebyshev_derivatives(int p, const Real* c, int count, std::ptrdiff_t stride, Real* D,
                           const Real* a, double* sums) noexcept {
  each_part(count, [&](auto vectors, int i, int left) {
    constexpr int n = decltype(vectors)::value;
    // The sums over the rows so far: of the parity of row k, or of the other one.
    Lanes same[n], other[n], sum[n];
    TABFIT_UNROLL for (int v = 0; v < n; ++v) same[v] = other[v] = sum[v] = Lanes::zero();
    for (int k = 0; k <= p; ++k) {
      const Lanes degree = Lanes::of(static_cast<double>(k)), factor = Lanes::of(a ? a[k] : Real(0)),
                  weight = Lanes::of(k == 0 ? 1.0 : 2.0);
      TABFIT_UNROLL for (int v = 0; v < n; ++v) {
        const int at = i + v * Lanes::width, here = left - v * Lanes::width;
        const Lanes d = (degree * other[v]).rounded(D);
        put_some(d, D + k * stride + at, here);
        if (a) sum[v] = fma(factor, d, sum[v]);
        const Lanes next = fma(weight, load_some(c + k * stride + at, here), same[v]);
        same[v] = other[v];
        other[v] = next;
      }
    }
    if (a)
      TABFIT_UNROLL for (int v = 0; v < n; ++v)
          put_some(sum[v], sums + i + v * Lanes::width, left - v * Lanes::width);
  });
}

}  // namespace
}  // namespace tabfit

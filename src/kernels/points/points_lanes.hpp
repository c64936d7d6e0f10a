// kernels/points/points_lanes.hpp - the kernels for points over vectors of the width that the file
// including this is compiled for.
//
// Why:       the formulas are documented in long double, which has no vectors.
// Shape:     blocks of at most point_block points; whole vectors of indices are read, and no element
//            behind the last point.
// Invariant: a formula stands as it is documented, in the numbers of bounded.hpp. What put() stores has
//            the documented bits; it returns the other points.
// Order:     every point for itself; within a formula, the documented order of its sums.
#pragma once

#include "kernels/points/bounded.hpp"
#include "kernels/points/points.hpp"

namespace tabfit {
namespace {

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

template <class Real>
PointSet map(const Real* v, int count, const PointMapping& map, double* u) noexcept {
  const Divisor hw(map.hw);
  const Exact<double> cm{Lanes::of(map.cm)}, offset{Lanes::of(map.offset)};
  return each_vector(count, [&](int i, int left) {
    return put((Exact<double>{load_some(v + i, left)} - cm) / hw + offset, u + i, left);
  });
}

template <class Real>
PointSet map_elements(Real* v, int count, const PointMapping& map) noexcept {
  const Divisor hw(map.hw);
  const Exact<Real> cm{Lanes::of(map.cm)};
  return each_vector(count, [&](int i, int left) {
    return put((Exact<Real>{load_some(v + i, left)} - cm) / hw, v + i, left);
  });
}

template <class Real>
void map_back(Real* v, int count, const PointMapping& map) noexcept {
  const Lanes cm = Lanes::of(map.cm), hw = Lanes::of(map.hw);
  for (int i = 0; i < count; i += Lanes::width)
    put_some(fma(hw, load_some(v + i, count - i), cm), v + i, count - i);
}

template <class Real>
PointSet divide(const double* s, int count, Wide divisor, Real* out) noexcept {
  const WideDivisor b(divisor);
  return each_vector(count, [&](int i, int left) {
    return put(Exact<Real>{load_some(s + i, left)} / b, out + i, left);
  });
}

/// Elements of some arrays at the intervals of a vector of points; often it is one interval.
class Intervals {
 public:
  explicit Intervals(const std::int32_t* k) : Intervals(k, same(k)) {}
  Intervals(const std::int32_t* k, bool level) : k_(k), level_(level) {}

  template <class Real>
  Lanes of(const Real* p) const {
    return level_ ? Lanes::of(p[*k_]) : pick(p, k_);
  }

 private:
  const std::int32_t* k_;
  bool level_;
};

// -- splines ----------------------------------------------------------------------------------------

/// Why:       the interval is the whole part of u / h, which the documented rounding may raise to the
///            next.
/// Invariant: where u / h, a little more and a little less, have one whole part, it is the interval.
PointSet locate(const BasisGrid& grid, double tol, int count, double* u, PointPlaces& at,
                PointSet& outside) noexcept {
  const Divisor h(grid.h);
  const Lanes last = Lanes::of(static_cast<double>(grid.n)), zero = Lanes::zero(), two = Lanes::of(2.0),
              lowest = Lanes::of(-tol), highest = Lanes::of(2.0 + tol), down = Lanes::of(1 - 0x1p-50),
              up = Lanes::of(1 + 0x1p-50);
  PointSet beyond = 0;
  const PointSet doubts = each_vector(count, [&](int i, int left) {
    const Lanes x = load_some(u + i, left), inside = lesser(greater(x, zero), two);
    beyond |= PointSet{below(x, lowest) | below(highest, x)} << i;
    put_some(inside, u + i, left);
    const Lanes steps = inside * h.inverse, least = floor(steps * down), most = floor(steps * up),
                k = lesser(least, last);
    put_whole(k, at.k + i);
    Bounded<double> t = (Exact<double>{inside} - Exact<double>{k * h.value}) / h;
    // 0 is exact: the lanes behind the last point are to have a place, too.
    t.bound = lesser(t.bound, magnitude(t.value.high));
    return different(least, most) | put(t, at.t + i, Lanes::width);
  });
  outside = beyond & all_points(count);
  return doubts & ~outside;
}

/// What a spline's value in an interval is made of, at a place t of 2^-11..1, where 64 bits hold the
/// three differences.
template <class Real>
struct Place {
  using Weight = Known<Real, Value<Real>::of_exact_sum>;
  Exact<Real> t;
  Weight rest, from_right, from_left;  ///< 1 - t, 2 - t, 1 + t

  explicit Place(Lanes at)
      : t{at},
        rest(exact_sum(one(), -t)),
        from_right(exact_sum(Exact<Real>{Lanes::of(2.0)}, -t)),
        from_left(exact_sum(one(), t)) {}
  static Exact<Real> one() { return {Lanes::of(1.0)}; }

  // What the second derivatives at the ends of the interval are multiplied by.
  auto left(Exact<Real> g) const { return weight(t, weight(g, from_right)); }
  auto right(Exact<Real> g) const { return weight(rest, weight(g, from_left)); }

  /// (e1 - left a) (1 - t) + (e2 - right b) t.
  Bounded<Real> value(Exact<Real> g, Exact<Real> a, Exact<Real> b, Exact<Real> e1,
                      Exact<Real> e2) const {
    return (e1 - a * left(g)) * rest + (e2 - b * right(g)) * t;
  }

  /// The lanes where it cannot be used.
  unsigned doubts() const {
    return below(t.value, Lanes::of(0x1p-11)) | below(Lanes::of(1.0), t.value);
  }
};

PointSet weigh(const BasisGrid& grid, int count, PointPlaces& at) noexcept {
  const Exact<double> g{Lanes::of(grid.g)};
  at.level = 0;
  return each_vector(count, [&](int i, int) {
    const Place<double> place(Lanes::load(at.t + i));
    const Value<double> left = weight(place.rest, place.left(g)).value,
                        right = weight(place.t, place.right(g)).value;
    left.high.put(at.left + i);
    left.low.put(at.left_low + i);
    right.high.put(at.right + i);
    right.low.put(at.right_low + i);
    if (same(at.k + i)) at.level |= PointSet{1} << i;
    return place.doubts();
  });
}

/// Whether one of the lanes lies in interval i or i + 1.
inline bool any_in(const std::int32_t* k, int i) {
  int found = 0;
  for (int lane = 0; lane < Lanes::width; ++lane) found |= (k[lane] == i) | (k[lane] == i + 1);
  return found != 0;
}
/// 1 in the lanes that lie in interval i, else 0.
inline Lanes ones_in(const std::int32_t* k, int i) {
  double one[Lanes::width];
  for (int lane = 0; lane < Lanes::width; ++lane) one[lane] = k[lane] == i ? 1.0 : 0.0;
  return Lanes::load(one);
}

/// A weight of a second derivative: three roundings, and one more for basis().
inline Known<double, 4> weight_at(const double* high, const double* low, const double*) {
  return {{Lanes::load(high), Lanes::load(low)}};
}
inline Known<float, 4> weight_at(const double* high, const double*, const float*) {
  return {Lanes::load(high)};
}

/// e1 (1 - t) + e2 t - (left (1 - t) a + right t b), where one of e1 and e2 is 1, or none, and the
/// other 0.
///
/// Why:       all basis functions share the weights of a and b, and most have no knot value in an
///            interval: the documented order, (e1 - left a) (1 - t) + (e2 - right b) t, takes twice the
///            time.
/// Shape:     the places are weighed; at.level says which vectors lie in one interval.
/// Invariant: where e1 is 1, the documented order rounds two numbers that e1 (1 - t) and left (1 - t) a
///            bound together: two shares of the former, and one more of the latter, cover them; e2
///            likewise.
template <class Real>
PointSet basis(const PointPlaces& at, int count, const Real* T, int j, Real* out) noexcept {
  return each_vector(count, [&](int i, int left) {
    const std::int32_t* k = at.k + i;
    const bool level = at.level >> i & 1;
    const Intervals in(k, level);
    const Exact<Real> a{in.of(T)}, b{in.of(T + 1)};
    Bounded<Real> x = -(a * weight_at(at.left + i, at.left_low + i, T) +
                        b * weight_at(at.right + i, at.right_low + i, T));
    if (level && (*k == j - 2 || *k == j - 1)) {
      const Place<Real> place(Lanes::load(at.t + i));
      x = x + (*k == j - 1 ? bounded<2>(place.rest) : bounded<2>(place.t));
    } else if (!level && any_in(k, j - 2)) {
      const Place<Real> place(Lanes::load(at.t + i));
      const Exact<Real> e1{ones_in(k, j - 1)}, e2{ones_in(k, j - 2)};
      x = e1 * place.rest + e2 * place.t + x;
    }
    return put(x, out + i, left);
  });
}

template <class Real>
PointSet spline(const PointPlaces& at, int count, const SplinePieces& pieces, const Real* coefficients,
                Real* s, Real* s1, Real* s2) noexcept {
  const Exact<Real> g{Lanes::of(pieces.grid.g)}, half_h{Lanes::of(0.5 * pieces.grid.h)};
  const Divisor h(pieces.grid.h), hw(pieces.hw);
  const WideDivisor square(Wide(pieces.hw) * pieces.hw);
  return each_vector(count, [&](int i, int left) {
    const Intervals k(at.k + i);
    const Exact<Real> a{k.of(pieces.C)}, b{k.of(pieces.C + 1)}, e1{k.of(coefficients + 1)},
        e2{k.of(coefficients + 2)};
    const Place<Real> place(Lanes::load(at.t + i));
    const auto& t = place.t;
    const auto& rest = place.rest;
    unsigned doubts = place.doubts();
    if (s) doubts |= put(place.value(g, a, b, e1, e2), s + i, left);
    if (s1) {
      const Bounded<Real> bend = (b * weight(t, t) - a * weight(rest, rest)) * half_h,
                          rise = (g * (a - b) + e2 - e1) / h;
      doubts |= put((bend + rise) / hw, s1 + i, left);
    }
    if (s2) doubts |= put((a * rest + b * t) / square, s2 + i, left);
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

template <class Real>
PointSet line(const Real* x, const Real* y, const std::int32_t* k, const Real* t, int count,
              Real* out) noexcept {
  return each_vector(count, [&](int i, int left) {
    const Intervals at(k + i);
    const Exact<Real> x0{at.of(x)}, y0{at.of(y)}, y1{at.of(y + 1)}, here{load_some(t + i, left)};
    const Divisor h(at.of(x + 1) - x0.value);
    return put((y1 - y0) / h * (here - x0) + y0, out + i, left);
  });
}

template <class Real>
PointSet cubic(const Real* x, const Real* C, int n, const std::int32_t* k, const Real* t, int count,
               Real* s, Real* s1, Real* s2) noexcept {
  const std::ptrdiff_t row = n;
  const Exact<Real> three{Lanes::of(3.0)}, six{Lanes::of(6.0)};
  return each_vector(count, [&](int i, int left) {
    const Intervals at(k + i);
    const Exact<Real> r{load_some(t + i, left) - at.of(x)}, y{at.of(C)}, b{at.of(C + row)},
        c{at.of(C + 2 * row)}, d{at.of(C + 3 * row)}, c2{c.value + c.value};
    unsigned doubts = 0;
    if (s) doubts |= put(((d * r + c) * r + b) * r + y, s + i, left);
    if (s1) doubts |= put((d * three * r + c2) * r + b, s1 + i, left);
    if (s2) doubts |= put(d * six * r + c2, s2 + i, left);
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

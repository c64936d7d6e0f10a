// kernels/lanes/lanes.hpp - vectors of doubles, of the width that the file including this is compiled
// for.
//
// Why:       one body serves every instruction set. What each has of its own is a class of a page:
//            avx2.hpp, avx512.hpp, arm64.hpp. The rest is the compilers' arithmetic on vectors.
// Shape:     a lane is one of `width` results side by side. Elements in memory may have any alignment;
//            with a mask no other lane is read or written.
// Invariant: no function lets a lane depend on another but greatest, transpose and turn.
// Order:     each arithmetic function rounds every lane once, as the same step on single doubles does.
//
// Nothing of the standard library is used but names of types: what a header defines inline would be
// compiled for this processor and might be linked for others.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__AVX512F__)
#include "kernels/lanes/avx2.hpp"
#include "kernels/lanes/avx512.hpp"
#elif defined(__AVX2__)
#include "kernels/lanes/avx2.hpp"
#else
#include "kernels/lanes/arm64.hpp"
#endif

#define TABFIT_UNROLL _Pragma("GCC unroll 32")

namespace tabfit {
namespace {

/// A number of things that a template is made for.
template <int n>
struct Count {
  static constexpr int value = n;
};

/// f(Count<n>{}) for n of least..most; nothing for another n.
template <int least, int most, class F>
inline void with_count(int n, F f) {
  if constexpr (least <= most) {
    if (n == most) return f(Count<most>{});
    with_count<least, most - 1>(n, f);
  }
}

/// f(Count<0>{}), f(Count<1>{}), ..., n of them.
template <int n, class F>
inline void with_each(F f) {
  if constexpr (n > 0) {
    with_each<n - 1>(f);
    f(Count<n - 1>{});
  }
}

/// The doubles of a register, or of two, of an instruction set.
template <class Set>
struct Vector {
  static constexpr int width = Set::width;
  using Mask = typename Set::Mask;
  typename Set::Doubles v;

  static Vector zero() { return of(0.0); }
  static Vector of(double x) { return {Set::of(x)}; }
  static Vector load(const float* p) { return {Set::load(p)}; }
  static Vector load(const double* p) {
    Vector x;
    __builtin_memcpy(&x.v, p, sizeof x.v);
    return x;
  }
  void put(float* p) const { Set::put(v, p); }
  void put(double* p) const { __builtin_memcpy(p, &v, sizeof v); }

  static Mask mask(std::uint32_t bits) { return Set::mask(bits); }
  /// The lanes of the mask; nothing else is read, and the others are 0.
  template <class Real>
  static Vector load(const Real* p, Mask k) {
    return {Set::load(p, k)};
  }
  template <class Real>
  void put(Real* p, Mask k) const {
    Set::put(v, p, k);
  }
  /// As an element of that type holds it.
  Vector rounded(const double*) const { return *this; }
  Vector rounded(const float*) const { return {Set::rounded(v)}; }

  friend Vector operator+(Vector a, Vector b) { return {a.v + b.v}; }
  friend Vector operator-(Vector a, Vector b) { return {a.v - b.v}; }
  friend Vector operator*(Vector a, Vector b) { return {a.v * b.v}; }
  friend Vector operator/(Vector a, Vector b) { return {a.v / b.v}; }
  friend Vector operator-(Vector a) { return {-a.v}; }
  friend Vector magnitude(Vector a) { return {Set::magnitude(a.v)}; }
  friend Vector floor(Vector a) { return {Set::floor(a.v)}; }
  /// a b + c, a b - c, c - a b, rounded once.
  friend Vector fma(Vector a, Vector b, Vector c) { return {Set::fma(a.v, b.v, c.v)}; }
  friend Vector fms(Vector a, Vector b, Vector c) { return {Set::fms(a.v, b.v, c.v)}; }
  friend Vector fnma(Vector a, Vector b, Vector c) { return {Set::fnma(a.v, b.v, c.v)}; }
  /// c in the lanes outside the mask.
  friend Vector fma(Vector a, Vector b, Vector c, Mask k) { return {Set::fma(a.v, b.v, c.v, k)}; }
  friend Vector fnma(Vector a, Vector b, Vector c, Mask k) { return {Set::fnma(a.v, b.v, c.v, k)}; }

  /// a in the lanes of the mask, b in the others.
  friend Vector select(Mask k, Vector a, Vector b) { return {Set::select(k, a.v, b.v)}; }
  /// 0 in the lanes outside the mask.
  friend Vector only(Vector a, Mask k) { return {Set::only(a.v, k)}; }

  // Bit i for each lane where a and b differ or either is NaN, not a >= b, not a < b, a > b, |a| = b.
  friend unsigned different(Vector a, Vector b) { return Set::different(a.v, b.v); }
  friend unsigned below(Vector a, Vector b) { return Set::below(a.v, b.v); }
  friend unsigned not_less(Vector a, Vector b) { return Set::not_less(a.v, b.v); }
  friend unsigned above(Vector a, Vector b) { return Set::above(a.v, b.v); }
  friend unsigned same_magnitude(Vector a, Vector b) { return Set::equal(magnitude(a).v, b.v); }

  /// The greater, the lesser; b where either is NaN.
  friend Vector greater(Vector a, Vector b) { return {Set::greater(a.v, b.v)}; }
  friend Vector lesser(Vector a, Vector b) { return {Set::lesser(a.v, b.v)}; }
  /// The greater of each lane's magnitude of a and b; b where a is NaN.
  friend Vector greater_magnitude(Vector a, Vector b) { return greater(magnitude(a), b); }
  double greatest() const {
    double x[width];
    put(x);
    for (int half = width / 2; half > 0; half /= 2)
      for (int i = 0; i < half; ++i) x[i] = x[i + half] > x[i] ? x[i + half] : x[i];
    return x[0];
  }

  /// The whole part of each lane.
  friend void put_whole(Vector a, std::int32_t* k) { Set::put_whole(a.v, k); }

  /// Four lanes; those of a but the first, and one more; a with the signs of b.
  static Vector of(double a, double b, double c, double d) { return {Set::of(a, b, c, d)}; }
  friend Vector without_first(Vector a, double last) { return {Set::without_first(a.v, last)}; }
  friend Vector with_sign(Vector a, Vector b) { return {Set::with_sign(a.v, b.v)}; }

  /// Lane i of x[j] and lane j of x[i] change places.
  friend void turn(Vector* x) { Set::turn(x); }
};

#if defined(__AVX512F__)
using LaneSet = Avx512;
using FourLanes = Vector<Avx2>;
#elif defined(__AVX2__)
using LaneSet = Avx2;
using FourLanes = Vector<LaneSet>;
#else
using LaneSet = Arm64;
using FourLanes = Vector<LaneSet>;
#endif
using Lanes = Vector<LaneSet>;

/// p[k[i]] in lane i. Not by an instruction for it: on many processors that takes longer than loads.
template <class Real>
inline Lanes pick(const Real* p, const std::int32_t* k) {
  return {LaneSet::pick(p, k)};
}
/// Adds to the indices of the lanes where a < b, or a <= b.
template <bool or_equal>
inline void add_where_less(Lanes a, Lanes b, std::int32_t step, std::int32_t* k) {
  LaneSet::add_where_less<or_equal>(a.v, b.v, step, k);
}
/// Whether all lanes have the same index.
inline bool same(const std::int32_t* k) { return LaneSet::same(k); }

/// Elements t..t+3 of Lanes::width lines as four vectors, one a term.
template <class Real, class Set>
inline void transpose(const Real* const* lines, std::ptrdiff_t t, Vector<Set>* out) {
  if constexpr (requires { Set::transpose(lines, t, out); }) {
    Set::transpose(lines, t, out);
  } else {
    TABFIT_UNROLL for (int i = 0; i < 4; ++i) out[i] = Vector<Set>::load(lines[i] + t);
    turn(out);
  }
}

/// The first n lanes of a vector, none for n <= 0.
template <class V = Lanes>
inline typename V::Mask first_lanes(int n) {
  return V::mask(n <= 0 ? 0U : n >= V::width ? ~0U : (1U << n) - 1U);
}

/// The first `left` lanes of p, the others 0.
template <class Real>
inline Lanes load_some(const Real* p, int left) {
  return left >= Lanes::width ? Lanes::load(p) : Lanes::load(p, first_lanes(left));
}
template <class Real>
inline void put_some(Lanes x, Real* p, int left) {
  if (left >= Lanes::width)
    x.put(p);
  else
    x.put(p, first_lanes(left));
}

}  // namespace
}  // namespace tabfit

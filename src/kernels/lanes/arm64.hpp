// kernels/lanes/arm64.hpp - four doubles in two registers of arm64. lanes.hpp says what each function
// is.
#pragma once

#include <cstddef>
#include <cstdint>

#include <arm_neon.h>

namespace tabfit {
namespace {

struct Arm64 {
  static constexpr int width = 4;

  struct Doubles {
    float64x2_t low, high;
    double operator[](int lane) const { return lane < 2 ? low[lane] : high[lane - 2]; }
    friend Doubles operator+(Doubles a, Doubles b) { return {a.low + b.low, a.high + b.high}; }
    friend Doubles operator-(Doubles a, Doubles b) { return {a.low - b.low, a.high - b.high}; }
    friend Doubles operator*(Doubles a, Doubles b) { return {a.low * b.low, a.high * b.high}; }
    friend Doubles operator/(Doubles a, Doubles b) { return {a.low / b.low, a.high / b.high}; }
    friend Doubles operator-(Doubles a) { return {-a.low, -a.high}; }
  };
  using Mask = unsigned;  ///< a bit a lane

  static Doubles of(double x) { return {vdupq_n_f64(x), vdupq_n_f64(x)}; }
  static Doubles wide(float32x4_t v) { return {vcvt_f64_f32(vget_low_f32(v)), vcvt_high_f64_f32(v)}; }
  static float32x4_t narrow(Doubles v) { return vcvt_high_f32_f64(vcvt_f32_f64(v.low), v.high); }
  static Doubles load(const float* p) { return wide(vld1q_f32(p)); }
  static void put(Doubles v, float* p) { vst1q_f32(p, narrow(v)); }
  static Doubles rounded(Doubles v) { return wide(narrow(v)); }

  static Mask mask(std::uint32_t bits) { return bits; }
  template <class Real>
  static Doubles load(const Real* p, Mask k) {
    double x[width];
    for (int i = 0; i < width; ++i) x[i] = k >> i & 1 ? double(p[i]) : 0.0;
    return {vld1q_f64(x), vld1q_f64(x + 2)};
  }
  template <class Real>
  static void put(Doubles v, Real* p, Mask k) {
    const double x[width] = {v.low[0], v.low[1], v.high[0], v.high[1]};
    for (int i = 0; i < width; ++i)
      if (k >> i & 1) p[i] = Real(x[i]);
  }

  /// All bits of a lane, or none.
  struct Lanewise {
    uint64x2_t low, high;
  };
  static Lanewise lanewise(Mask k) {
    const uint64x2_t low = {1, 2}, high = {4, 8}, all = vdupq_n_u64(k);
    return {vtstq_u64(all, low), vtstq_u64(all, high)};
  }
  static Doubles select(Lanewise k, Doubles a, Doubles b) {
    return {vbslq_f64(k.low, a.low, b.low), vbslq_f64(k.high, a.high, b.high)};
  }
  static Doubles select(Mask k, Doubles a, Doubles b) { return select(lanewise(k), a, b); }

  static Lanewise lanes_less(Doubles a, Doubles b) {
    return {vcltq_f64(a.low, b.low), vcltq_f64(a.high, b.high)};
  }
  static unsigned bits(Lanewise k) {
    const uint64x2_t low = {1, 2}, high = {4, 8};
    return static_cast<unsigned>(vaddvq_u64((k.low & low) | (k.high & high)));
  }
  static unsigned equal(Doubles a, Doubles b) {
    return bits({vceqq_f64(a.low, b.low), vceqq_f64(a.high, b.high)});
  }
  static unsigned at_least(Doubles a, Doubles b) {
    return bits({vcgeq_f64(a.low, b.low), vcgeq_f64(a.high, b.high)});
  }
  static unsigned above(Doubles a, Doubles b) { return bits(lanes_less(b, a)); }
  static unsigned different(Doubles a, Doubles b) { return equal(a, b) ^ 15U; }
  static unsigned below(Doubles a, Doubles b) { return at_least(a, b) ^ 15U; }
  static unsigned not_less(Doubles a, Doubles b) { return above(b, a) ^ 15U; }

  static Doubles fma(Doubles a, Doubles b, Doubles c) {
    return {vfmaq_f64(c.low, a.low, b.low), vfmaq_f64(c.high, a.high, b.high)};
  }
  static Doubles fms(Doubles a, Doubles b, Doubles c) { return fma(a, b, -c); }
  static Doubles fnma(Doubles a, Doubles b, Doubles c) {
    return {vfmsq_f64(c.low, a.low, b.low), vfmsq_f64(c.high, a.high, b.high)};
  }
  static Doubles fma(Doubles a, Doubles b, Doubles c, Mask k) { return select(k, fma(a, b, c), c); }
  static Doubles fnma(Doubles a, Doubles b, Doubles c, Mask k) { return select(k, fnma(a, b, c), c); }
  static Doubles only(Doubles a, Mask k) { return select(k, a, of(0.0)); }
  static Doubles magnitude(Doubles a) { return {vabsq_f64(a.low), vabsq_f64(a.high)}; }
  static Doubles floor(Doubles a) { return {vrndmq_f64(a.low), vrndmq_f64(a.high)}; }
  static Doubles greater(Doubles a, Doubles b) { return select(lanes_less(b, a), a, b); }
  static Doubles lesser(Doubles a, Doubles b) { return select(lanes_less(a, b), a, b); }

  static Doubles of(double a, double b, double c, double d) {
    return {float64x2_t{a, b}, float64x2_t{c, d}};
  }
  static Doubles without_first(Doubles a, double last) {
    return {vextq_f64(a.low, a.high, 1), vextq_f64(a.high, vdupq_n_f64(last), 1)};
  }
  static Doubles with_sign(Doubles a, Doubles b) {
    const Lanewise all_but_sign = {vdupq_n_u64(~std::uint64_t{0} >> 1),
                                   vdupq_n_u64(~std::uint64_t{0} >> 1)};
    return select(all_but_sign, a, b);
  }
  template <class Real>
  static Doubles pick(const Real* p, const std::int32_t* k) {
    return of(p[k[0]], p[k[1]], p[k[2]], p[k[3]]);
  }
  static void put_whole(Doubles a, std::int32_t* k) {
    vst1q_s32(k, vuzp1q_s32(vreinterpretq_s32_s64(vcvtq_s64_f64(a.low)),
                            vreinterpretq_s32_s64(vcvtq_s64_f64(a.high))));
  }
  template <bool or_equal>
  static void add_where_less(Doubles a, Doubles b, std::int32_t step, std::int32_t* k) {
    const unsigned where = or_equal ? at_least(b, a) : above(b, a);
    for (int i = 0; i < width; ++i) k[i] += where >> i & 1 ? step : 0;
  }
  static bool same(const std::int32_t* k) { return k[0] == k[1] && k[0] == k[2] && k[0] == k[3]; }

  template <class V>
  static void turn(V* x) {
    const Doubles a = x[0].v, b = x[1].v, c = x[2].v, d = x[3].v;
    x[0].v = {vzip1q_f64(a.low, b.low), vzip1q_f64(c.low, d.low)};
    x[1].v = {vzip2q_f64(a.low, b.low), vzip2q_f64(c.low, d.low)};
    x[2].v = {vzip1q_f64(a.high, b.high), vzip1q_f64(c.high, d.high)};
    x[3].v = {vzip2q_f64(a.high, b.high), vzip2q_f64(c.high, d.high)};
  }

  /// Elements t..t+7 of four lines to out, the four of a term side by side, term i in place_of(i).
  static void turn_eight(const float* const* lines, std::ptrdiff_t t, float* out) {
    for (int half = 0; half < 8; half += 4) {
      float32x4x4_t x;
      for (int i = 0; i < 4; ++i) x.val[i] = vld1q_f32(lines[i] + t + half);
      vst4q_f32(out + 4 * half, x);
    }
  }
  static constexpr int place_of(int term) { return term; }
};

}  // namespace
}  // namespace tabfit

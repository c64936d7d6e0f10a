// kernels/lanes/lanes.hpp - vectors of doubles, of the width that the file including this is compiled for.
// Nothing of the standard library is used but names of types: what a header defines inline would be
// compiled for this processor and might be linked for others.
#pragma once

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

#define TABFIT_UNROLL _Pragma("GCC unroll 32")

namespace tabfit {
namespace {

/// A number of things that a template is made for.
template <int n>
struct Count {
  static constexpr int value = n;
};

inline double greatest_of(__m256d v) {
  const __m128d two = _mm_max_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
  return _mm_cvtsd_f64(_mm_max_pd(two, _mm_unpackhi_pd(two, two)));
}

#ifdef __AVX512F__

struct Lanes {
  static constexpr int width = 8;
  using Mask = __mmask8;
  __m512d v;

  static Lanes zero() { return {_mm512_setzero_pd()}; }
  static Lanes of(double x) { return {_mm512_set1_pd(x)}; }
  static Lanes load(const double* p) { return {_mm512_loadu_pd(p)}; }
  static Lanes load(const float* p) { return {_mm512_cvtps_pd(_mm256_loadu_ps(p))}; }
  /// The lanes of the mask; nothing else is read, and the others are 0.
  static Lanes load(const double* p, Mask k) { return {_mm512_maskz_loadu_pd(k, p)}; }
  static Lanes load(const float* p, Mask k) { return {_mm512_cvtps_pd(_mm256_maskz_loadu_ps(k, p))}; }
  void put(double* p) const { _mm512_storeu_pd(p, v); }
  void put(float* p) const { _mm256_storeu_ps(p, _mm512_cvtpd_ps(v)); }
  /// As an element of that type holds it.
  Lanes rounded(const double*) const { return *this; }
  Lanes rounded(const float*) const { return {_mm512_cvtps_pd(_mm512_cvtpd_ps(v))}; }
  void put(double* p, Mask k) const { _mm512_mask_storeu_pd(p, k, v); }
  void put(float* p, Mask k) const { _mm256_mask_storeu_ps(p, k, _mm512_cvtpd_ps(v)); }
  double greatest() const {
    return greatest_of(_mm256_max_pd(_mm512_castpd512_pd256(v), _mm512_extractf64x4_pd(v, 1)));
  }
  static Mask mask(std::uint32_t bits) { return static_cast<Mask>(bits); }
};

inline Lanes operator+(Lanes a, Lanes b) { return {_mm512_add_pd(a.v, b.v)}; }
inline Lanes operator-(Lanes a, Lanes b) { return {_mm512_sub_pd(a.v, b.v)}; }
inline Lanes operator*(Lanes a, Lanes b) { return {_mm512_mul_pd(a.v, b.v)}; }
inline Lanes operator/(Lanes a, Lanes b) { return {_mm512_div_pd(a.v, b.v)}; }
inline Lanes magnitude(Lanes a) { return {_mm512_abs_pd(a.v)}; }
inline Lanes floor(Lanes a) {
  return {_mm512_roundscale_pd(a.v, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC)};
}
/// Bit i for each lane where a and b differ, or either is NaN.
inline unsigned different(Lanes a, Lanes b) { return _mm512_cmp_pd_mask(a.v, b.v, _CMP_NEQ_UQ); }
/// Bit i for each lane where not a >= b.
inline unsigned below(Lanes a, Lanes b) { return _mm512_cmp_pd_mask(a.v, b.v, _CMP_NGE_UQ); }

/// Bit i for each lane where not a < b.
inline unsigned not_less(Lanes a, Lanes b) { return _mm512_cmp_pd_mask(a.v, b.v, _CMP_NLT_UQ); }
/// Bit i for each lane where a > b.
inline unsigned above(Lanes a, Lanes b) { return _mm512_cmp_pd_mask(a.v, b.v, _CMP_GT_OQ); }

/// p[k[i]] in lane i. Not by an instruction for it: on many processors that takes longer than loads.
template <class Real>
inline Lanes pick(const Real* p, const std::int32_t* k) {
  return {_mm512_setr_pd(p[k[0]], p[k[1]], p[k[2]], p[k[3]], p[k[4]], p[k[5]], p[k[6]], p[k[7]])};
}
/// The whole part of each lane.
inline void put_whole(Lanes a, std::int32_t* k) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(k), _mm512_cvttpd_epi32(a.v));
}
/// Adds to the indices of the lanes where a < b, or a <= b.
template <bool or_equal>
inline void add_where_less(Lanes a, Lanes b, std::int32_t step, std::int32_t* k) {
  auto* place = reinterpret_cast<__m256i*>(k);
  const __m256i v = _mm256_loadu_si256(place);
  const __mmask8 less = _mm512_cmp_pd_mask(a.v, b.v, or_equal ? _CMP_LE_OQ : _CMP_LT_OQ);
  _mm256_storeu_si256(place, _mm256_mask_add_epi32(v, less, v, _mm256_set1_epi32(step)));
}
/// Whether all lanes have the same index.
inline bool same(const std::int32_t* k) {
  const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(k));
  return _mm256_movemask_epi8(
             _mm256_cmpeq_epi32(v, _mm256_broadcastd_epi32(_mm256_castsi256_si128(v)))) == -1;
}

/// The greater, the lesser; b where either is NaN.
inline Lanes greater(Lanes a, Lanes b) { return {_mm512_max_pd(a.v, b.v)}; }
inline Lanes lesser(Lanes a, Lanes b) { return {_mm512_min_pd(a.v, b.v)}; }
/// The greater of each lane's magnitude of a and b; b where a is NaN.
inline Lanes greater_magnitude(Lanes a, Lanes b) { return {_mm512_max_pd(magnitude(a).v, b.v)}; }
/// Bit i for each lane whose magnitude is b's.
inline unsigned same_magnitude(Lanes a, Lanes b) {
  return _mm512_cmp_pd_mask(magnitude(a).v, b.v, _CMP_EQ_OQ);
}

inline Lanes fma(Lanes a, Lanes b, Lanes c) { return {_mm512_fmadd_pd(a.v, b.v, c.v)}; }
inline Lanes fms(Lanes a, Lanes b, Lanes c) { return {_mm512_fmsub_pd(a.v, b.v, c.v)}; }
inline Lanes fnma(Lanes a, Lanes b, Lanes c) { return {_mm512_fnmadd_pd(a.v, b.v, c.v)}; }
/// c in the lanes outside the mask.
inline Lanes fma(Lanes a, Lanes b, Lanes c, Lanes::Mask k) {
  return {_mm512_mask3_fmadd_pd(a.v, b.v, c.v, k)};
}
inline Lanes fnma(Lanes a, Lanes b, Lanes c, Lanes::Mask k) {
  return {_mm512_mask3_fnmadd_pd(a.v, b.v, c.v, k)};
}

/// 0 in the lanes outside the mask.
inline Lanes only(Lanes a, Lanes::Mask k) { return {_mm512_maskz_mov_pd(k, a.v)}; }

inline __m512d two_runs(const double* a, const double* b) {
  return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_loadu_pd(a)), _mm256_loadu_pd(b), 1);
}
inline __m512d two_runs(const float* a, const float* b) {
  return _mm512_cvtps_pd(
      _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(a)), _mm_loadu_ps(b), 1));
}

/// Elements t..t+3 of Lanes::width lines as four vectors, one a term.
template <class Real>
inline void transpose(const Real* const* lines, std::ptrdiff_t t, Lanes out[4]) {
  const __m512d a = two_runs(lines[0] + t, lines[2] + t), b = two_runs(lines[1] + t, lines[3] + t),
                c = two_runs(lines[4] + t, lines[6] + t), d = two_runs(lines[5] + t, lines[7] + t);
  const __m512d even_ab = _mm512_unpacklo_pd(a, b), odd_ab = _mm512_unpackhi_pd(a, b),
                even_cd = _mm512_unpacklo_pd(c, d), odd_cd = _mm512_unpackhi_pd(c, d);
  out[0].v = _mm512_shuffle_f64x2(even_ab, even_cd, 0x88);
  out[1].v = _mm512_shuffle_f64x2(odd_ab, odd_cd, 0x88);
  out[2].v = _mm512_shuffle_f64x2(even_ab, even_cd, 0xdd);
  out[3].v = _mm512_shuffle_f64x2(odd_ab, odd_cd, 0xdd);
}

/// Lane i of x[j] and lane j of x[i] change places.
inline void turn(Lanes x[8]) {
  __m512d a[8], b[8];
  TABFIT_UNROLL for (int i = 0; i < 8; i += 2) {
    a[i] = _mm512_unpacklo_pd(x[i].v, x[i + 1].v);
    a[i + 1] = _mm512_unpackhi_pd(x[i].v, x[i + 1].v);
  }
  TABFIT_UNROLL for (int i = 0; i < 8; i += 4) TABFIT_UNROLL for (int odd = 0; odd < 2; ++odd) {
    b[i + odd] = _mm512_shuffle_f64x2(a[i + odd], a[i + odd + 2], 0x88);
    b[i + odd + 2] = _mm512_shuffle_f64x2(a[i + odd], a[i + odd + 2], 0xdd);
  }
  TABFIT_UNROLL for (int i = 0; i < 4; ++i) {
    x[i].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0x88);
    x[i + 4].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0xdd);
  }
}

#else

struct Lanes {
  static constexpr int width = 4;
  using Mask = __m256i;
  __m256d v;

  static Lanes zero() { return {_mm256_setzero_pd()}; }
  static Lanes of(double x) { return {_mm256_set1_pd(x)}; }
  static Lanes load(const double* p) { return {_mm256_loadu_pd(p)}; }
  static Lanes load(const float* p) { return {_mm256_cvtps_pd(_mm_loadu_ps(p))}; }
  /// The same mask for floats.
  static __m128i narrow(Mask k) {
    return _mm256_castsi256_si128(
        _mm256_permutevar8x32_epi32(k, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
  }
  /// The lanes of the mask; nothing else is read, and the others are 0.
  static Lanes load(const double* p, Mask k) { return {_mm256_maskload_pd(p, k)}; }
  static Lanes load(const float* p, Mask k) { return {_mm256_cvtps_pd(_mm_maskload_ps(p, narrow(k)))}; }
  void put(double* p) const { _mm256_storeu_pd(p, v); }
  void put(float* p) const { _mm_storeu_ps(p, _mm256_cvtpd_ps(v)); }
  /// As an element of that type holds it.
  Lanes rounded(const double*) const { return *this; }
  Lanes rounded(const float*) const { return {_mm256_cvtps_pd(_mm256_cvtpd_ps(v))}; }
  void put(double* p, Mask k) const { _mm256_maskstore_pd(p, k, v); }
  void put(float* p, Mask k) const { _mm_maskstore_ps(p, narrow(k), _mm256_cvtpd_ps(v)); }
  double greatest() const { return greatest_of(v); }
  static Mask mask(std::uint32_t bits) {
    const __m256i bit = _mm256_setr_epi64x(1, 2, 4, 8);
    return _mm256_cmpeq_epi64(_mm256_and_si256(_mm256_set1_epi64x(bits), bit), bit);
  }
};

inline Lanes operator+(Lanes a, Lanes b) { return {_mm256_add_pd(a.v, b.v)}; }
inline Lanes operator-(Lanes a, Lanes b) { return {_mm256_sub_pd(a.v, b.v)}; }
inline Lanes operator*(Lanes a, Lanes b) { return {_mm256_mul_pd(a.v, b.v)}; }
inline Lanes operator/(Lanes a, Lanes b) { return {_mm256_div_pd(a.v, b.v)}; }
inline Lanes magnitude(Lanes a) { return {_mm256_andnot_pd(_mm256_set1_pd(-0.0), a.v)}; }
inline Lanes floor(Lanes a) { return {_mm256_floor_pd(a.v)}; }
/// Bit i for each lane where a and b differ, or either is NaN.
inline unsigned different(Lanes a, Lanes b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a.v, b.v, _CMP_NEQ_UQ)));
}
/// Bit i for each lane where not a >= b.
inline unsigned below(Lanes a, Lanes b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a.v, b.v, _CMP_NGE_UQ)));
}

/// Bit i for each lane where not a < b.
inline unsigned not_less(Lanes a, Lanes b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a.v, b.v, _CMP_NLT_UQ)));
}
/// Bit i for each lane where a > b.
inline unsigned above(Lanes a, Lanes b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(a.v, b.v, _CMP_GT_OQ)));
}

/// p[k[i]] in lane i. Not by an instruction for it: on many processors that takes longer than loads.
template <class Real>
inline Lanes pick(const Real* p, const std::int32_t* k) {
  return {_mm256_setr_pd(p[k[0]], p[k[1]], p[k[2]], p[k[3]])};
}
/// The whole part of each lane.
inline void put_whole(Lanes a, std::int32_t* k) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(k), _mm256_cvttpd_epi32(a.v));
}
/// Adds to the indices of the lanes where a < b, or a <= b.
template <bool or_equal>
inline void add_where_less(Lanes a, Lanes b, std::int32_t step, std::int32_t* k) {
  auto* place = reinterpret_cast<__m128i*>(k);
  const __m256 less = _mm256_castpd_ps(_mm256_cmp_pd(a.v, b.v, or_equal ? _CMP_LE_OQ : _CMP_LT_OQ));
  const __m128i narrow = _mm_castps_si128(
      _mm_shuffle_ps(_mm256_castps256_ps128(less), _mm256_extractf128_ps(less, 1), 0x88));
  const __m128i add = _mm_and_si128(narrow, _mm_set1_epi32(step));
  _mm_storeu_si128(place, _mm_add_epi32(_mm_loadu_si128(place), add));
}
/// Whether all lanes have the same index.
inline bool same(const std::int32_t* k) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(k));
  return _mm_movemask_epi8(_mm_cmpeq_epi32(v, _mm_shuffle_epi32(v, 0))) == 0xffff;
}

/// The greater, the lesser; b where either is NaN.
inline Lanes greater(Lanes a, Lanes b) { return {_mm256_max_pd(a.v, b.v)}; }
inline Lanes lesser(Lanes a, Lanes b) { return {_mm256_min_pd(a.v, b.v)}; }
/// The greater of each lane's magnitude of a and b; b where a is NaN.
inline Lanes greater_magnitude(Lanes a, Lanes b) { return {_mm256_max_pd(magnitude(a).v, b.v)}; }
/// Bit i for each lane whose magnitude is b's.
inline unsigned same_magnitude(Lanes a, Lanes b) {
  return static_cast<unsigned>(_mm256_movemask_pd(_mm256_cmp_pd(magnitude(a).v, b.v, _CMP_EQ_OQ)));
}

inline Lanes fma(Lanes a, Lanes b, Lanes c) { return {_mm256_fmadd_pd(a.v, b.v, c.v)}; }
inline Lanes fms(Lanes a, Lanes b, Lanes c) { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }
inline Lanes fnma(Lanes a, Lanes b, Lanes c) { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }
/// c in the lanes outside the mask.
inline Lanes fma(Lanes a, Lanes b, Lanes c, Lanes::Mask k) {
  return {_mm256_blendv_pd(c.v, fma(a, b, c).v, _mm256_castsi256_pd(k))};
}
inline Lanes fnma(Lanes a, Lanes b, Lanes c, Lanes::Mask k) {
  return {_mm256_blendv_pd(c.v, fnma(a, b, c).v, _mm256_castsi256_pd(k))};
}

/// 0 in the lanes outside the mask.
inline Lanes only(Lanes a, Lanes::Mask k) { return {_mm256_and_pd(a.v, _mm256_castsi256_pd(k))}; }

/// Elements t..t+3 of Lanes::width lines as four vectors, one a term.
template <class Real>
inline void transpose(const Real* const* lines, std::ptrdiff_t t, Lanes out[4]) {
  const __m256d a = Lanes::load(lines[0] + t).v, b = Lanes::load(lines[1] + t).v,
                c = Lanes::load(lines[2] + t).v, d = Lanes::load(lines[3] + t).v;
  const __m256d even_ab = _mm256_unpacklo_pd(a, b), odd_ab = _mm256_unpackhi_pd(a, b),
                even_cd = _mm256_unpacklo_pd(c, d), odd_cd = _mm256_unpackhi_pd(c, d);
  out[0].v = _mm256_permute2f128_pd(even_ab, even_cd, 0x20);
  out[1].v = _mm256_permute2f128_pd(odd_ab, odd_cd, 0x20);
  out[2].v = _mm256_permute2f128_pd(even_ab, even_cd, 0x31);
  out[3].v = _mm256_permute2f128_pd(odd_ab, odd_cd, 0x31);
}

/// Lane i of x[j] and lane j of x[i] change places.
inline void turn(Lanes x[4]) {
  const __m256d a = _mm256_unpacklo_pd(x[0].v, x[1].v), b = _mm256_unpackhi_pd(x[0].v, x[1].v),
                c = _mm256_unpacklo_pd(x[2].v, x[3].v), d = _mm256_unpackhi_pd(x[2].v, x[3].v);
  x[0].v = _mm256_permute2f128_pd(a, c, 0x20);
  x[1].v = _mm256_permute2f128_pd(b, d, 0x20);
  x[2].v = _mm256_permute2f128_pd(a, c, 0x31);
  x[3].v = _mm256_permute2f128_pd(b, d, 0x31);
}

#endif

/// The first n lanes of a vector, none for n <= 0.
inline Lanes::Mask first_lanes(int n) {
  return Lanes::mask(n <= 0 ? 0U : n >= Lanes::width ? ~0U : (1U << n) - 1U);
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

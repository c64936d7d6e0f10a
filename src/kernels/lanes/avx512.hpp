// kernels/lanes/avx512.hpp - eight doubles in a register of AVX-512. lanes.hpp says what each function
// is.
#pragma once

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

namespace tabfit {
namespace {

struct Avx512 {
  static constexpr int width = 8;
  using Doubles = __m512d;
  using Mask = __mmask8;  ///< a bit a lane

  static Doubles of(double x) { return _mm512_set1_pd(x); }
  static Doubles wide(__m256 v) { return _mm512_cvtps_pd(v); }
  static __m256 narrow(Doubles v) { return _mm512_cvtpd_ps(v); }
  static Doubles load(const float* p) { return wide(_mm256_loadu_ps(p)); }
  static void put(Doubles v, float* p) { _mm256_storeu_ps(p, narrow(v)); }
  static Doubles rounded(Doubles v) { return wide(narrow(v)); }

  static Mask mask(std::uint32_t bits) { return static_cast<Mask>(bits); }
  static Doubles load(const double* p, Mask k) { return _mm512_maskz_loadu_pd(k, p); }
  static Doubles load(const float* p, Mask k) { return wide(_mm256_maskz_loadu_ps(k, p)); }
  static void put(Doubles v, double* p, Mask k) { _mm512_mask_storeu_pd(p, k, v); }
  static void put(Doubles v, float* p, Mask k) { _mm256_mask_storeu_ps(p, k, narrow(v)); }

  static unsigned different(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ); }
  static unsigned below(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_NGE_UQ); }
  static unsigned not_less(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_NLT_UQ); }
  static unsigned above(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_GT_OQ); }
  static unsigned equal(Doubles a, Doubles b) { return _mm512_cmp_pd_mask(a, b, _CMP_EQ_OQ); }

  static Doubles fma(Doubles a, Doubles b, Doubles c) { return _mm512_fmadd_pd(a, b, c); }
  static Doubles fms(Doubles a, Doubles b, Doubles c) { return _mm512_fmsub_pd(a, b, c); }
  static Doubles fnma(Doubles a, Doubles b, Doubles c) { return _mm512_fnmadd_pd(a, b, c); }
  static Doubles fma(Doubles a, Doubles b, Doubles c, Mask k) {
    return _mm512_mask3_fmadd_pd(a, b, c, k);
  }
  static Doubles fnma(Doubles a, Doubles b, Doubles c, Mask k) {
    return _mm512_mask3_fnmadd_pd(a, b, c, k);
  }
  static Doubles select(Mask k, Doubles a, Doubles b) { return _mm512_mask_blend_pd(k, b, a); }
  static Doubles only(Doubles a, Mask k) { return _mm512_maskz_mov_pd(k, a); }
  static Doubles magnitude(Doubles a) { return _mm512_abs_pd(a); }
  static Doubles floor(Doubles a) {
    return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
  }
  static Doubles greater(Doubles a, Doubles b) { return _mm512_max_pd(a, b); }
  static Doubles lesser(Doubles a, Doubles b) { return _mm512_min_pd(a, b); }

  template <class Real>
  static Doubles pick(const Real* p, const std::int32_t* k) {
    return _mm512_setr_pd(p[k[0]], p[k[1]], p[k[2]], p[k[3]], p[k[4]], p[k[5]], p[k[6]], p[k[7]]);
  }
  static void put_whole(Doubles a, std::int32_t* k) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(k), _mm512_cvttpd_epi32(a));
  }
  template <bool or_equal>
  static void add_where_less(Doubles a, Doubles b, std::int32_t step, std::int32_t* k) {
    auto* place = reinterpret_cast<__m256i*>(k);
    const __m256i v = _mm256_loadu_si256(place);
    const Mask where = _mm512_cmp_pd_mask(a, b, or_equal ? _CMP_LE_OQ : _CMP_LT_OQ);
    _mm256_storeu_si256(place, _mm256_mask_add_epi32(v, where, v, _mm256_set1_epi32(step)));
  }
  static bool same(const std::int32_t* k) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(k));
    return _mm256_movemask_epi8(
               _mm256_cmpeq_epi32(v, _mm256_broadcastd_epi32(_mm256_castsi256_si128(v)))) == -1;
  }

  template <class V>
  static void turn(V* x) {
    Doubles a[8], b[8];
#pragma GCC unroll 4
    for (int i = 0; i < 8; i += 2) {
      a[i] = _mm512_unpacklo_pd(x[i].v, x[i + 1].v);
      a[i + 1] = _mm512_unpackhi_pd(x[i].v, x[i + 1].v);
    }
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) {
      const int i = j / 2 * 4 + j % 2;
      b[i] = _mm512_shuffle_f64x2(a[i], a[i + 2], 0x88);
      b[i + 2] = _mm512_shuffle_f64x2(a[i], a[i + 2], 0xdd);
    }
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
      x[i].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0x88);
      x[i + 4].v = _mm512_shuffle_f64x2(b[i], b[i + 4], 0xdd);
    }
  }

  static Doubles two_runs(const double* a, const double* b) {
    return _mm512_insertf64x4(_mm512_castpd256_pd512(_mm256_loadu_pd(a)), _mm256_loadu_pd(b), 1);
  }
  static Doubles two_runs(const float* a, const float* b) {
    return wide(_mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(a)), _mm_loadu_ps(b), 1));
  }
  template <class Real, class V>
  static void transpose(const Real* const* lines, std::ptrdiff_t t, V* out) {
    const Doubles a = two_runs(lines[0] + t, lines[2] + t), b = two_runs(lines[1] + t, lines[3] + t),
                  c = two_runs(lines[4] + t, lines[6] + t), d = two_runs(lines[5] + t, lines[7] + t);
    const Doubles even_ab = _mm512_unpacklo_pd(a, b), odd_ab = _mm512_unpackhi_pd(a, b),
                  even_cd = _mm512_unpacklo_pd(c, d), odd_cd = _mm512_unpackhi_pd(c, d);
    out[0].v = _mm512_shuffle_f64x2(even_ab, even_cd, 0x88);
    out[1].v = _mm512_shuffle_f64x2(odd_ab, odd_cd, 0x88);
    out[2].v = _mm512_shuffle_f64x2(even_ab, even_cd, 0xdd);
    out[3].v = _mm512_shuffle_f64x2(odd_ab, odd_cd, 0xdd);
  }
};

}  // namespace
}  // namespace tabfit

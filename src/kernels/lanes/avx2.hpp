// kernels/lanes/avx2.hpp - four doubles in a register of AVX2, with FMA. lanes.hpp says what each
// function is.
#pragma once

#include <cstddef>
#include <cstdint>

#include <immintrin.h>

namespace tabfit {
namespace {

struct Avx2 {
  static constexpr int width = 4;
  using Doubles = __m256d;
  using Mask = __m256i;  ///< all bits of a lane, or none

  static Doubles of(double x) { return _mm256_set1_pd(x); }
  static Doubles wide(__m128 v) { return _mm256_cvtps_pd(v); }
  static __m128 narrow(Doubles v) { return _mm256_cvtpd_ps(v); }
  static Doubles load(const float* p) { return wide(_mm_loadu_ps(p)); }
  static void put(Doubles v, float* p) { _mm_storeu_ps(p, narrow(v)); }
  static Doubles rounded(Doubles v) { return wide(narrow(v)); }

  static Mask mask(std::uint32_t bits) {
    const __m256i bit = _mm256_setr_epi64x(1, 2, 4, 8);
    return _mm256_cmpeq_epi64(_mm256_and_si256(_mm256_set1_epi64x(bits), bit), bit);
  }
  static __m128i narrow(Mask k) {
    return _mm256_castsi256_si128(
        _mm256_permutevar8x32_epi32(k, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
  }
  static Doubles load(const double* p, Mask k) { return _mm256_maskload_pd(p, k); }
  static Doubles load(const float* p, Mask k) { return wide(_mm_maskload_ps(p, narrow(k))); }
  static void put(Doubles v, double* p, Mask k) { _mm256_maskstore_pd(p, k, v); }
  static void put(Doubles v, float* p, Mask k) { _mm_maskstore_ps(p, narrow(k), narrow(v)); }
  static Doubles select(Mask k, Doubles a, Doubles b) {
    return _mm256_blendv_pd(b, a, _mm256_castsi256_pd(k));
  }

  static unsigned bits(__m256d lanes) { return static_cast<unsigned>(_mm256_movemask_pd(lanes)); }
  static unsigned different(Doubles a, Doubles b) { return bits(_mm256_cmp_pd(a, b, _CMP_NEQ_UQ)); }
  static unsigned below(Doubles a, Doubles b) { return bits(_mm256_cmp_pd(a, b, _CMP_NGE_UQ)); }
  static unsigned not_less(Doubles a, Doubles b) { return bits(_mm256_cmp_pd(a, b, _CMP_NLT_UQ)); }
  static unsigned above(Doubles a, Doubles b) { return bits(_mm256_cmp_pd(a, b, _CMP_GT_OQ)); }
  static unsigned equal(Doubles a, Doubles b) { return bits(_mm256_cmp_pd(a, b, _CMP_EQ_OQ)); }

  static Doubles fma(Doubles a, Doubles b, Doubles c) { return _mm256_fmadd_pd(a, b, c); }
  static Doubles fms(Doubles a, Doubles b, Doubles c) { return _mm256_fmsub_pd(a, b, c); }
  static Doubles fnma(Doubles a, Doubles b, Doubles c) { return _mm256_fnmadd_pd(a, b, c); }
  /// In the lanes outside the mask -0 times 0 is added, which leaves every c as it is.
  static Doubles fma(Doubles a, Doubles b, Doubles c, Mask k) {
    return fma(select(k, a, of(-0.0)), _mm256_and_pd(b, _mm256_castsi256_pd(k)), c);
  }
  static Doubles fnma(Doubles a, Doubles b, Doubles c, Mask k) { return select(k, fnma(a, b, c), c); }
  static Doubles only(Doubles a, Mask k) { return select(k, a, of(0.0)); }
  static Doubles magnitude(Doubles a) { return _mm256_andnot_pd(of(-0.0), a); }
  static Doubles floor(Doubles a) { return _mm256_floor_pd(a); }
  static Doubles greater(Doubles a, Doubles b) { return _mm256_max_pd(a, b); }
  static Doubles lesser(Doubles a, Doubles b) { return _mm256_min_pd(a, b); }

  static Doubles of(double a, double b, double c, double d) { return _mm256_setr_pd(a, b, c, d); }
  static Doubles without_first(Doubles a, double last) {
    return _mm256_blend_pd(_mm256_permute4x64_pd(a, 0xf9), of(last), 8);
  }
  static Doubles with_sign(Doubles a, Doubles b) { return _mm256_or_pd(a, _mm256_and_pd(of(-0.0), b)); }
  template <class Real>
  static Doubles pick(const Real* p, const std::int32_t* k) {
    return of(p[k[0]], p[k[1]], p[k[2]], p[k[3]]);
  }
  static void put_whole(Doubles a, std::int32_t* k) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(k), _mm256_cvttpd_epi32(a));
  }
  template <bool or_equal>
  static void add_where_less(Doubles a, Doubles b, std::int32_t step, std::int32_t* k) {
    auto* place = reinterpret_cast<__m128i*>(k);
    const __m256 less = _mm256_castpd_ps(_mm256_cmp_pd(a, b, or_equal ? _CMP_LE_OQ : _CMP_LT_OQ));
    const __m128i narrow = _mm_castps_si128(
        _mm_shuffle_ps(_mm256_castps256_ps128(less), _mm256_extractf128_ps(less, 1), 0x88));
    const __m128i add = _mm_and_si128(narrow, _mm_set1_epi32(step));
    _mm_storeu_si128(place, _mm_add_epi32(_mm_loadu_si128(place), add));
  }
  static bool same(const std::int32_t* k) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(k));
    return _mm_movemask_epi8(_mm_cmpeq_epi32(v, _mm_shuffle_epi32(v, 0))) == 0xffff;
  }

  template <class V>
  static void turn(V* x) {
    const Doubles a = _mm256_unpacklo_pd(x[0].v, x[1].v), b = _mm256_unpackhi_pd(x[0].v, x[1].v),
                  c = _mm256_unpacklo_pd(x[2].v, x[3].v), d = _mm256_unpackhi_pd(x[2].v, x[3].v);
    x[0].v = _mm256_permute2f128_pd(a, c, 0x20);
    x[1].v = _mm256_permute2f128_pd(b, d, 0x20);
    x[2].v = _mm256_permute2f128_pd(a, c, 0x31);
    x[3].v = _mm256_permute2f128_pd(b, d, 0x31);
  }

  // Halves of two lines are joined while they are loaded: that needs no shuffle.
  static Doubles two_runs(const double* a, const double* b) {
    return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(a)), _mm_loadu_pd(b), 1);
  }
  template <class V>
  static void transpose(const double* const* lines, std::ptrdiff_t t, V* out) {
#pragma GCC unroll 2
    for (int i = 0; i < 4; i += 2, t += 2) {
      const Doubles a = two_runs(lines[0] + t, lines[2] + t), b = two_runs(lines[1] + t, lines[3] + t);
      out[i].v = _mm256_unpacklo_pd(a, b);
      out[i + 1].v = _mm256_unpackhi_pd(a, b);
    }
  }

  /// Elements t..t+7 of four lines to out, the four of a term side by side, term i in place_of(i).
  static void turn_eight(const float* const* lines, std::ptrdiff_t t, float* out) {
    __m256 a = _mm256_loadu_ps(lines[0] + t), b = _mm256_loadu_ps(lines[1] + t),
           c = _mm256_loadu_ps(lines[2] + t), d = _mm256_loadu_ps(lines[3] + t);
    asm("" : "+x"(a), "+x"(b), "+x"(c), "+x"(d));  // each is loaded once, though two steps use it
    const Doubles ab = _mm256_castps_pd(_mm256_unpacklo_ps(a, b)),
                  cd = _mm256_castps_pd(_mm256_unpacklo_ps(c, d)),
                  ab2 = _mm256_castps_pd(_mm256_unpackhi_ps(a, b)),
                  cd2 = _mm256_castps_pd(_mm256_unpackhi_ps(c, d));
    _mm256_storeu_ps(out, _mm256_castpd_ps(_mm256_unpacklo_pd(ab, cd)));
    _mm256_storeu_ps(out + 8, _mm256_castpd_ps(_mm256_unpackhi_pd(ab, cd)));
    _mm256_storeu_ps(out + 16, _mm256_castpd_ps(_mm256_unpacklo_pd(ab2, cd2)));
    _mm256_storeu_ps(out + 24, _mm256_castpd_ps(_mm256_unpackhi_pd(ab2, cd2)));
  }
  static constexpr int place_of(int term) { return term % 4 * 2 + term / 4; }
};

}  // namespace
}  // namespace tabfit

// kernels/lanes/choice.hpp - which instruction set the kernels may use.
#pragma once

// The widest kernels to use, for tests of what narrower processors get: 0 plain loops, 1 AVX2, 2 AVX-512.
#ifndef TABFIT_WIDEST_KERNELS
#define TABFIT_WIDEST_KERNELS 2
#endif

namespace tabfit {

/// What this processor runs, none wider than TABFIT_WIDEST_KERNELS: 2 AVX-512, 1 AVX2, both with FMA, 0
/// neither.
inline int instruction_set() noexcept {
#if defined(__x86_64__)
  if (TABFIT_WIDEST_KERNELS >= 2 && __builtin_cpu_supports("avx512f") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("fma"))
    return 2;
  if (TABFIT_WIDEST_KERNELS >= 1 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    return 1;
#endif
  return 0;
}

/// Of the sets of kernels of one kind, the widest that this processor runs; null where the library was
/// built for another kind of processor.
template <class Set>
const Set& widest(const Set& plain, const Set* avx2, const Set* avx512) noexcept {
  const int set = instruction_set();
  if (set >= 2 && avx512) return *avx512;
  return set >= 1 && avx2 ? *avx2 : plain;
}

}  // namespace tabfit

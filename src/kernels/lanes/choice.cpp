// kernels/lanes/choice.cpp - the one place that asks what the processor has.
#include "kernels/lanes/choice.hpp"

// The widest kernels to use, for tests of what narrower processors get: 0 plain loops, 1 AVX2 or those
// of arm64, 2 AVX-512.
#ifndef TABFIT_WIDEST_KERNELS
#define TABFIT_WIDEST_KERNELS 2
#endif

namespace tabfit {

const Kernels& kernels() noexcept {
  // The kernels for points know how far roundings to 64 bits or more may lead.
  if (__LDBL_MANT_DIG__ < 64) return plain_kernels;
#if defined(__x86_64__)
  if (TABFIT_WIDEST_KERNELS >= 2 && __builtin_cpu_supports("avx512f") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("fma"))
    return avx512_kernels;
  if (TABFIT_WIDEST_KERNELS >= 1 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
    return avx2_kernels;
#elif defined(__aarch64__)
  if (TABFIT_WIDEST_KERNELS >= 1) return arm64_kernels;
#endif
  return plain_kernels;
}

}  // namespace tabfit

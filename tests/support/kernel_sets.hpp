// tests/support/kernel_sets.hpp - the sets of panel kernels, and which of them this processor runs.
#pragma once

#include <gtest/gtest.h>

#include <ostream>

#include "llsqp/kernels/panel.hpp"

struct KernelSet {
  const char* name;
  const tabfit::Kernels* (*kernels)();
  bool (*runs)();  ///< on this processor

  friend std::ostream& operator<<(std::ostream& out, const KernelSet& set) { return out << set.name; }
};

inline const KernelSet kernel_sets[] = {
    {"Plain", [] { return &tabfit::plain_kernels; }, [] { return true; }},
    {"Avx2", [] { return tabfit::avx2_kernels(); },
     [] {
#if defined(__x86_64__)
       return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
       return false;
#endif
     }},
    {"Avx512", [] { return tabfit::avx512_kernels(); },
     [] {
#if defined(__x86_64__)
       return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
              __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("fma");
#else
       return false;
#endif
     }},
};

/// Tests that run with each set, and are skipped where the processor has not what it needs.
class WithKernels : public testing::TestWithParam<KernelSet> {
 protected:
  void SetUp() override {
    if (!GetParam().kernels()) GTEST_SKIP() << GetParam() << ": not built for this kind of processor";
    if (!GetParam().runs()) GTEST_SKIP() << GetParam() << ": this processor does not run it";
  }
  static const tabfit::Kernels& kernels() { return *GetParam().kernels(); }
};

/// Defines Suite_f.Name and Suite_d.Name from one body over the element type Real and `kernel`.
#define KERNEL_TEST(Suite, Name)                                 \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kernels& kernel);     \
  TEST_P(Suite##_f, Name) { Suite##_##Name<float>(kernels()); }  \
  TEST_P(Suite##_d, Name) { Suite##_##Name<double>(kernels()); } \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kernels& kernel)

#define WITH_ALL_KERNELS(Suite)                                         \
  INSTANTIATE_TEST_SUITE_P(With, Suite, testing::ValuesIn(kernel_sets), \
                           [](const auto& x) { return std::string(x.param.name); })

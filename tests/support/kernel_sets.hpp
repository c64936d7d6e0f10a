// tests/support/kernel_sets.hpp - the tables of kernels, and which of them this processor runs.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "kernels/lanes/choice.hpp"

/// An instruction set: its name, its kernels, and whether this processor has it.
struct InstructionSet {
  const char* name;
  bool (*runs)();
  const tabfit::Kernels* kernels;

  friend std::ostream& operator<<(std::ostream& out, const InstructionSet& set) {
    return out << set.name;
  }
};

/// All sets that are built for this kind of processor.
inline const InstructionSet instruction_sets[] = {
    {"Plain", [] { return true; }, &tabfit::plain_kernels},
#if defined(__x86_64__)
    {"Avx2", [] { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); },
     &tabfit::avx2_kernels},
    {"Avx512",
     [] {
       return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
              __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("fma");
     },
     &tabfit::avx512_kernels},
#elif defined(__aarch64__)
    {"Arm64", [] { return true; }, &tabfit::arm64_kernels},
#endif
};

/// Tests that run with each set. They are skipped if the processor lacks the set.
class WithKernels : public testing::TestWithParam<InstructionSet> {
 protected:
  void SetUp() override {
    if (!GetParam().runs()) GTEST_SKIP() << GetParam() << ": this processor does not run it";
  }
  static const tabfit::Kernels& kernels() { return *GetParam().kernels; }
};

/// Defines Suite_f.Name and Suite_d.Name from one body over the element type Real and `kernel`, a
/// table.
#define KERNEL_TEST(Suite, Name)                                 \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kernels& kernel);     \
  TEST_P(Suite##_f, Name) { Suite##_##Name<float>(kernels()); }  \
  TEST_P(Suite##_d, Name) { Suite##_##Name<double>(kernels()); } \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kernels& kernel)

#define WITH_ALL_KERNELS(Suite)                                              \
  INSTANTIATE_TEST_SUITE_P(With, Suite, testing::ValuesIn(instruction_sets), \
                           [](const auto& x) { return std::string(x.param.name); })

// tests/support/kernel_sets.hpp - the sets of kernels, for panels and for points, and which of them this
// processor runs.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "kernels/points/points.hpp"
#include "kernels/sums/panel.hpp"

/// What an instruction set is called, and whether this processor has it.
struct InstructionSet {
  const char* name;
  bool (*runs)();
};

inline bool runs_any() { return true; }
inline bool runs_avx2() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}
inline bool runs_avx512() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("fma");
#else
  return false;
#endif
}

inline constexpr InstructionSet any_processor = {"Plain", runs_any}, avx2 = {"Avx2", runs_avx2},
                                avx512 = {"Avx512", runs_avx512};

/// One set of kernels of a kind.
template <class Kind>
struct KernelSet {
  InstructionSet needs;
  const Kind* (*kernels)();

  friend std::ostream& operator<<(std::ostream& out, const KernelSet& set) {
    return out << set.needs.name;
  }
};

/// All sets of a kind.
template <class Kind>
inline const KernelSet<Kind> kernel_sets[3] = {};
template <>
inline const KernelSet<tabfit::Kernels> kernel_sets<tabfit::Kernels>[3] = {
    {any_processor, [] { return &tabfit::plain_kernels; }},
    {avx2, [] { return tabfit::avx2_kernels(); }},
    {avx512, [] { return tabfit::avx512_kernels(); }}};
template <>
inline const KernelSet<tabfit::Points> kernel_sets<tabfit::Points>[3] = {
    {any_processor, [] { return &tabfit::plain_points; }},
    {avx2, [] { return tabfit::avx2_points(); }},
    {avx512, [] { return tabfit::avx512_points(); }}};

/// Tests that run with each set of a kind, and are skipped where the processor has not what it needs.
template <class Kind>
class WithKernelsOf : public testing::TestWithParam<KernelSet<Kind>> {
 protected:
  using Base = testing::TestWithParam<KernelSet<Kind>>;
  void SetUp() override {
    const auto& set = Base::GetParam();
    if (!set.kernels()) GTEST_SKIP() << set << ": not built for this kind of processor";
    if (!set.needs.runs()) GTEST_SKIP() << set << ": this processor does not run it";
  }
  static const Kind& kernels() { return *Base::GetParam().kernels(); }
};
using WithKernels = WithKernelsOf<tabfit::Kernels>;
using WithPoints = WithKernelsOf<tabfit::Points>;

/// Defines Suite_f.Name and Suite_d.Name from one body over the element type Real and `kernel`, a set of
/// that kind.
#define TWIN_TEST_OF(Kind, Suite, Name)                          \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kind& kernel);        \
  TEST_P(Suite##_f, Name) { Suite##_##Name<float>(kernels()); }  \
  TEST_P(Suite##_d, Name) { Suite##_##Name<double>(kernels()); } \
  template <class Real>                                          \
  static void Suite##_##Name(const tabfit::Kind& kernel)
#define KERNEL_TEST(Suite, Name) TWIN_TEST_OF(Kernels, Suite, Name)
#define POINTS_TEST(Suite, Name) TWIN_TEST_OF(Points, Suite, Name)

#define INSTANTIATE_WITH(Kind, Suite)                                                 \
  INSTANTIATE_TEST_SUITE_P(With, Suite, testing::ValuesIn(kernel_sets<tabfit::Kind>), \
                           [](const auto& x) { return std::string(x.param.needs.name); })
#define WITH_ALL_KERNELS(Suite) INSTANTIATE_WITH(Kernels, Suite)
#define WITH_ALL_POINTS(Suite) INSTANTIATE_WITH(Points, Suite)

// bench/kernels.cpp - tells the peers which kernels to run, and asks them whether they do.
#include "bench/kernels.hpp"

#include "bench/blas.hpp"
#include "bench/eigen.hpp"
#include "bench/xsmm.hpp"

#include <blis.h>

#include <cstdio>
#include <cstdlib>

namespace tabfit::bench {
namespace {

/// What the kernels are called; the peers' names are asked for, and given in answer.
struct Set {
  const char* name;
  const char* openblas;
  int blis_number;
  const char* blis;
  const char* xsmm;           ///< libxsmm is asked for this, and answers with it
  const char* not_for_numpy;  ///< instructions that NumPy leaves alone
};

const Set& set_of(Kernels kernels) {
  static constexpr Set avx512{"AVX-512", "SkylakeX", BLIS_ARCH_SKX, "skx", "skx", ""};
  static constexpr Set avx2{
      "AVX2",    "Haswell", BLIS_ARCH_HASWELL,
      "haswell", "hsw",     "AVX512F AVX512CD AVX512_SKX AVX512_CLX AVX512_CNL AVX512_ICL"};
  static constexpr Set plain{
      "no AVX",
      "Nehalem",
      BLIS_ARCH_PENRYN,
      "penryn",
      "wsm",
      "AVX F16C FMA3 AVX2 AVX512F AVX512CD AVX512_SKX AVX512_CLX AVX512_CNL AVX512_ICL"};
  return kernels == Kernels::plain ? plain : kernels == Kernels::avx2 ? avx2 : avx512;
}

Kernels held = Kernels::own;

[[noreturn]] void refuse(const std::string& why) {
  std::fprintf(stderr, "no benchmark with these kernels: %s\n", why.c_str());
  std::exit(1);
}

bool processor_has(Kernels kernels) {
  if (kernels == Kernels::avx512)
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
  if (kernels == Kernels::avx2) return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  return true;
}

}  // namespace

void hold_to(Kernels kernels) {
  held = kernels;
  if (!processor_has(kernels)) refuse(std::string("the processor lacks ") + set_of(kernels).name);

  constexpr int replace = 1;
  for (const char* threads : {"OPENBLAS_NUM_THREADS", "BLIS_NUM_THREADS", "OMP_NUM_THREADS"})
    setenv(threads, "1", replace);
  const Set& set = set_of(kernels_in_use());
  const int is_held = held != Kernels::own;
  setenv("OPENBLAS_CORETYPE", set.openblas, is_held);
  setenv("BLIS_ARCH_TYPE", std::to_string(set.blis_number).c_str(), is_held);
  setenv("LIBXSMM_TARGET", set.xsmm, is_held);
  setenv("NPY_DISABLE_CPU_FEATURES", set.not_for_numpy, is_held);
}

Kernels kernels_in_use() {
  if (held != Kernels::own) return held;
  for (const Kernels kernels : {Kernels::avx512, Kernels::avx2})
    if (processor_has(kernels)) return kernels;
  return Kernels::plain;
}

std::string kernels_description() {
  const Set& set = set_of(kernels_in_use());
  const std::string openblas = openblas_kernels(), blis = blis_kernels();
  if (held != Kernels::own && openblas != set.openblas) refuse("OpenBLAS runs those of " + openblas);
  if (held != Kernels::own && blis != set.blis) refuse("BLIS runs those of " + blis);
  if (held != Kernels::own && xsmm_target() != set.xsmm)
    refuse("libxsmm generates them for " + xsmm_target());
  const char* cache =
      std::getenv("OPENBLAS_L2_SIZE");  // overrules what it finds, and shapes its blocks
  return std::string(set.name) +
         (held == Kernels::own ? ", nobody held to them; tabfit as shipped"
                               : ", everybody held to them; tabfit no wider") +
         ", OpenBLAS " + openblas + (cache ? std::string(" (OPENBLAS_L2_SIZE=") + cache + ")" : "") +
         ", BLIS " + blis + ", Eigen " + eigen_option() + ", libxsmm " + xsmm_target();
}

}  // namespace tabfit::bench

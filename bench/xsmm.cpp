// bench/xsmm.cpp - kernels that libxsmm generates.
#include "bench/xsmm.hpp"

#include <libxsmm.h>

#include <cstdio>
#include <cstdlib>

namespace tabfit::bench {
namespace {

/// Alpha and beta of C = alpha A B + beta C.
constexpr double one = 1, zero = 0;
constexpr float one_f = 1, zero_f = 0;

template <class Kernel>
Kernel checked(Kernel kernel, int n) {
  if (kernel) return kernel;
  std::fprintf(stderr, "libxsmm generates no kernel of order %d\n", n);
  std::exit(1);
}

}  // namespace

std::string xsmm_target() { return libxsmm_get_target_arch(); }

std::string xsmm_description() { return std::string("libxsmm ") + LIBXSMM_VERSION; }

template <>
SmallProduct<double> small_product(int n) {
  return checked(libxsmm_dmmdispatch(n, n, n, nullptr, nullptr, nullptr, &one, &zero, nullptr, nullptr),
                 n);
}

template <>
SmallProduct<float> small_product(int n) {
  return checked(
      libxsmm_smmdispatch(n, n, n, nullptr, nullptr, nullptr, &one_f, &zero_f, nullptr, nullptr), n);
}

}  // namespace tabfit::bench

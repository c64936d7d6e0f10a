// bench/fortran.cpp - finds the compiled solvers in the packages of SciPy and R.
#include "bench/fortran.hpp"

#include "bench/worker.hpp"

#include <dlfcn.h>

#include <cstdint>
#include <cstdio>
#include <vector>

namespace tabfit::bench {
namespace {

/// The routine of that name in a library, or null.
template <class Pointer>
Pointer routine(const char* path, const char* name) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  return library ? reinterpret_cast<Pointer>(dlsym(library, name)) : nullptr;
}

std::string text(std::vector<double>::const_iterator& next) {
  std::string name;
  while (*next != 0.0) name += static_cast<char>(*next++);
  ++next;
  return name;
}

/// The module of Python does not export its routine, but tells its address. So Python is asked for the
/// names of its library and of the module, and for the distance from the one symbol of the module that is
/// exported.
Nnls find_scipy_nnls() {
  if (!python_worker().available()) return nullptr;
  constexpr double place_of_nnls = 9;
  const std::vector<double> place = python_worker().solve({place_of_nnls});
  auto next = place.cbegin();
  const auto distance = static_cast<std::intptr_t>(*next++);
  const std::string python = text(next), module = text(next), entry = text(next);
  if (!dlopen(python.c_str(), RTLD_LAZY | RTLD_GLOBAL)) return nullptr;
  void* const library = dlopen(module.c_str(), RTLD_LAZY | RTLD_LOCAL);
  void* const start = library ? dlsym(library, entry.c_str()) : nullptr;
  if (!start) return nullptr;
  return reinterpret_cast<Nnls>(reinterpret_cast<std::intptr_t>(start) + distance);
}

}  // namespace

Nnls scipy_nnls() {
  static const Nnls found = [] {
    const Nnls routine = find_scipy_nnls();
    if (!routine) std::fprintf(stderr, "without the peer inside SciPy\n");
    return routine;
  }();
  return found;
}

Nnls r_nnls() {
  static const Nnls found = routine<Nnls>(TABFIT_BENCH_R_NNLS, "nnls_");
  return found;
}

QuadraticProgram r_quadratic_program() {
  static const QuadraticProgram found = routine<QuadraticProgram>(TABFIT_BENCH_R_QUADPROG, "qpgen2_");
  return found;
}

}  // namespace tabfit::bench

// bench/blas.cpp - loads the BLAS and LAPACK peers.
#include "bench/blas.hpp"

#include <dlfcn.h>

#include <blis.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace tabfit::bench {
namespace {

class Library {
 public:
  explicit Library(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND)) {
    if (!handle_) fail();
  }

  template <class Pointer>
  void find(Pointer& function, const std::string& name) const {
    function = reinterpret_cast<Pointer>(dlsym(handle_, name.c_str()));
    if (!function) fail();
  }

 private:
  [[noreturn]] static void fail() {
    std::fprintf(stderr, "cannot load a peer: %s\n", dlerror());
    std::exit(1);
  }

  void* handle_;
};

const Library& openblas_library() {
  static const Library library(TABFIT_BENCH_OPENBLAS);
  return library;
}

const Library& blis_library() {
  static const Library library = [] {
    const Library loaded(TABFIT_BENCH_BLIS);
    void (*initialise)() = nullptr;  // before it, the library does not name its kernels
    loaded.find(initialise, "bli_init");
    initialise();
    return loaded;
  }();
  return library;
}

template <class Real>
std::string prefixed(const std::string& before, const std::string& stem, const std::string& after) {
  return before + (sizeof(Real) == sizeof(float) ? 's' : 'd') + stem + after;
}

template <class Real>
Blas<Real> load_blas(const Library& library, const std::string& name) {
  Blas<Real> blas{};
  blas.name = name;
  const auto find = [&](auto& function, const char* stem) {
    library.find(function, prefixed<Real>("cblas_", stem, ""));
  };
  find(blas.gemm, "gemm");
  find(blas.symm, "symm");
  find(blas.syrk, "syrk");
  find(blas.trmm, "trmm");
  find(blas.trsm, "trsm");
  find(blas.gemv, "gemv");
  return blas;
}

/// BLIS copies with transposition in an interface of its own.
template <class Real>
void (*blis_copym)(doff_t, diag_t, uplo_t, trans_t, dim_t, dim_t, const Real*, inc_t, inc_t, Real*,
                   inc_t, inc_t) = nullptr;

template <class Real>
void blis_omatcopy(int, int, int rows, int cols, Real, const Real* A, int lda, Real* B, int ldb) {
  blis_copym<Real>(0, BLIS_NONUNIT_DIAG, BLIS_DENSE, BLIS_TRANSPOSE, cols, rows, A, 1, lda, B, 1, ldb);
}

}  // namespace

template <class Real>
const Blas<Real>& openblas() {
  static const Blas<Real> blas = [] {
    Blas<Real> loaded = load_blas<Real>(openblas_library(), "OpenBLAS");
    openblas_library().find(loaded.omatcopy, prefixed<Real>("cblas_", "omatcopy", ""));
    openblas_library().find(loaded.imatcopy, prefixed<Real>("cblas_", "imatcopy", ""));
    return loaded;
  }();
  return blas;
}

template <class Real>
const Blas<Real>& blis() {
  static const Blas<Real> blas = [] {
    Blas<Real> loaded = load_blas<Real>(blis_library(), "BLIS");
    blis_library().find(blis_copym<Real>, prefixed<Real>("bli_", "copym", ""));
    loaded.omatcopy = blis_omatcopy<Real>;
    return loaded;
  }();
  return blas;
}

template <class Real>
const Lapack<Real>& lapack() {
  static const Lapack<Real> loaded = [] {
    Lapack<Real> lapack{};
    const auto find = [](auto& function, const char* stem) {
      openblas_library().find(function, prefixed<Real>("", stem, "_"));
    };
    find(lapack.geqp3, "geqp3");
    find(lapack.ormqr, "ormqr");
    find(lapack.trtrs, "trtrs");
    find(lapack.potrf, "potrf");
    find(lapack.posv, "posv");
    find(lapack.potri, "potri");
    find(lapack.lauum, "lauum");
    find(lapack.trtri, "trtri");
    find(lapack.getrf, "getrf");
    find(lapack.getri, "getri");
    find(lapack.gelsy, "gelsy");
    return lapack;
  }();
  return loaded;
}

template const Blas<float>& openblas<float>();
template const Blas<double>& openblas<double>();
template const Blas<float>& blis<float>();
template const Blas<double>& blis<double>();
template const Lapack<float>& lapack<float>();
template const Lapack<double>& lapack<double>();

std::string openblas_description() {
  char* (*config)() = nullptr;
  openblas_library().find(config, "openblas_get_config");
  const std::string all = config();  // "OpenBLAS 0.3.21 NO_LAPACKE ..."
  return all.substr(0, all.find(' ', all.find(' ') + 1));
}

std::string openblas_kernels() {
  char* (*core)() = nullptr;
  openblas_library().find(core, "openblas_get_corename");
  return core();
}

std::string blis_description() {
  char* (*version)() = nullptr;
  blis_library().find(version, "bli_info_get_version_str");
  return std::string("BLIS ") + version();
}

std::string blis_kernels() {
  arch_t (*architecture)() = nullptr;
  char* (*name)(arch_t) = nullptr;
  blis_library().find(architecture, "bli_arch_query_id");
  blis_library().find(name, "bli_arch_string");
  return name(architecture());
}

}  // namespace tabfit::bench

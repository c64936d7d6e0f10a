// bench/blas.hpp - the BLAS and LAPACK peers, each loaded beside the other.
//
// Both libraries export the same names, so neither is linked: each is loaded into a scope of its own
// and called through pointers. kernels.hpp says which kernels they run. On a processor with AVX-512 the
// 512-bit kernels of BLIS are faster than its 256-bit ones from n = 128 on, and slower below, where
// OpenBLAS is ahead of both.
//
// LAPACK is the one inside OpenBLAS, with its own blocked Cholesky, LU and triangular routines. It is
// called without the C interface, which would check the data and copy.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tabfit::bench {

/// Values of the enumerations of the C interface.
enum Layout { by_columns = 102 };
enum Transposition { no_transposition = 111, transposition = 112 };
enum Triangle { upper = 121 };
enum Diagonal { any_diagonal = 131 };
enum Side { left = 141, right = 142 };

template <class Real>
struct Blas {
  std::string name;
  void (*gemm)(int layout, int trans_a, int trans_b, int m, int n, int k, Real alpha, const Real* A,
               int lda, const Real* B, int ldb, Real beta, Real* C, int ldc);
  void (*symm)(int layout, int side, int uplo, int m, int n, Real alpha, const Real* A, int lda,
               const Real* B, int ldb, Real beta, Real* C, int ldc);
  void (*syrk)(int layout, int uplo, int trans, int n, int k, Real alpha, const Real* A, int lda,
               Real beta, Real* C, int ldc);
  void (*trmm)(int layout, int side, int uplo, int trans, int diag, int m, int n, Real alpha,
               const Real* A, int lda, Real* B, int ldb);
  void (*trsm)(int layout, int side, int uplo, int trans, int diag, int m, int n, Real alpha,
               const Real* A, int lda, Real* B, int ldb);
  void (*gemv)(int layout, int trans, int m, int n, Real alpha, const Real* A, int lda, const Real* x,
               int incx, Real beta, Real* y, int incy);
  /// B = A^T of order n, and A := A^T. OpenBLAS has both, BLIS the first.
  void (*omatcopy)(int layout, int trans, int rows, int cols, Real alpha, const Real* A, int lda,
                   Real* B, int ldb);
  void (*imatcopy)(int layout, int trans, int rows, int cols, Real alpha, Real* A, int lda, int ldb);
};

/// Fortran routines; the lengths of the strings follow the arguments.
template <class Real>
struct Lapack {
  void (*geqp3)(const int* m, const int* n, Real* A, const int* lda, int* jpvt, Real* tau, Real* work,
                const int* lwork, int* info);
  void (*ormqr)(const char* side, const char* trans, const int* m, const int* n, const int* k,
                const Real* A, const int* lda, const Real* tau, Real* C, const int* ldc, Real* work,
                const int* lwork, int* info, std::size_t, std::size_t);
  void (*trtrs)(const char* uplo, const char* trans, const char* diag, const int* n, const int* nrhs,
                const Real* A, const int* lda, Real* B, const int* ldb, int* info, std::size_t,
                std::size_t, std::size_t);
  void (*potrf)(const char* uplo, const int* n, Real* A, const int* lda, int* info, std::size_t);
  void (*posv)(const char* uplo, const int* n, const int* nrhs, Real* A, const int* lda, Real* B,
               const int* ldb, int* info, std::size_t);
  void (*potri)(const char* uplo, const int* n, Real* A, const int* lda, int* info, std::size_t);
  void (*lauum)(const char* uplo, const int* n, Real* A, const int* lda, int* info, std::size_t);
  void (*trtri)(const char* uplo, const char* diag, const int* n, Real* A, const int* lda, int* info,
                std::size_t, std::size_t);
  void (*getrf)(const int* m, const int* n, Real* A, const int* lda, int* ipiv, int* info);
  void (*getri)(const int* n, Real* A, const int* lda, const int* ipiv, Real* work, const int* lwork,
                int* info);
  void (*gelsy)(const int* m, const int* n, const int* nrhs, Real* A, const int* lda, Real* B,
                const int* ldb, int* jpvt, const Real* rcond, int* rank, Real* work, const int* lwork,
                int* info);
};

/// Each loads its library at the first call; the program ends if it cannot.
template <class Real>
const Blas<Real>& openblas();
template <class Real>
const Blas<Real>& blis();
template <class Real>
const Lapack<Real>& lapack();

/// Versions, and the kernels that run.
std::string openblas_description();
std::string openblas_kernels();
std::string blis_description();
std::string blis_kernels();

}  // namespace tabfit::bench

// bench/eigen.hpp - the Eigen peer. eigen.cpp alone includes its headers, and is compiled for the
// kernels that the program holds to, or for the processor of this machine, so that Eigen uses its
// widest vectors.
//
// Matrices are stored by columns without gaps, in memory that begins at a cache line, as Eigen's own.
// Triangles are the upper ones. Decompositions keep their memory from call to call, as a caller would
// who holds the object.
#pragma once

#include <string>

namespace tabfit::bench {

template <class Real>
struct Eigenlib {
  // C = A B, S B, A^T B, the upper triangle of A^T A, U B, U^T B, A U; order n
  static void mm(int n, const Real* A, const Real* B, Real* C);
  static void smm(int n, const Real* S, const Real* B, Real* C);
  static void mtm(int n, const Real* A, const Real* B, Real* C);
  static void mtms(int n, const Real* A, Real* C);
  static void um(int n, const Real* U, const Real* B, Real* C);
  static void utm(int n, const Real* U, const Real* B, Real* C);
  static void mu(int n, const Real* A, const Real* U, Real* C);
  // y = A x, A^T x
  static void mv(int n, const Real* A, const Real* x, Real* y);
  static void mtv(int n, const Real* A, const Real* x, Real* y);
  // B := U^-1 B, U^-T B; X = U^-1
  static void solve_u(int n, const Real* U, Real* B);
  static void solve_ut(int n, const Real* U, Real* B);
  static void inverse_u(int n, const Real* U, Real* X);
  // B = A^T; A := A^T
  static void transpose(int n, const Real* A, Real* B);
  static void transpose_in_place(int n, Real* A);
  /// Pivoted QR of the m by n matrix A; b := Q^T b. Unless F is null, R goes on and above the diagonal
  /// of F; its column j belongs to column order[j] of A.
  static void qr(int m, int n, const Real* A, Real* b, Real* F, int* order);
  /// Least squares by pivoted QR.
  static void qr_solve(int m, int n, const Real* A, const Real* b, Real* x);
  /// S := its Cholesky factor.
  static void cholesky(int n, Real* S);
  /// B := S^-1 B with p columns; S := its factor.
  static void cholesky_solve(int n, int p, Real* S, Real* B);
  /// X = S^-1; S := its factor.
  static void cholesky_inverse(int n, Real* S, Real* X);
  /// X = A^-1, with partial and with full pivoting.
  static void inverse(int n, const Real* A, Real* X);
  static void inverse_full_pivoting(int n, const Real* A, Real* X);

  /// Least squares on a dense design, by QR with or without column pivoting.
  ///   spline_fit     n + 4 coefficients of cubic B-splines on n interior knots, equally spaced between
  ///                  x[0] and x[m-1]
  ///   spline_values  the values of that spline at x
  ///   chebyshev_fit  p + 1 coefficients of Chebyshev polynomials over the same range
  static void spline_fit(int m, int n, const Real* x, const Real* y, bool pivoting, Real* c);
  static void spline_values(int m, int n, const Real* x, const Real* c, Real* s);
  static void chebyshev_fit(int m, int p, const Real* x, const Real* y, bool pivoting, Real* c);
};

/// Version, and the option that gave it its vectors.
std::string eigen_description();
std::string eigen_option();

}  // namespace tabfit::bench

// bench/eigen.cpp - the Eigen peer.
#include "bench/eigen.hpp"

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <Eigen/LU>
#include <Eigen/QR>

#include <algorithm>

namespace tabfit::bench {
namespace {

template <class Real>
using Dense = Eigen::Matrix<Real, Eigen::Dynamic, Eigen::Dynamic>;
template <class Real>
using Column = Eigen::Matrix<Real, Eigen::Dynamic, 1>;

// The allocations begin at a cache line; so do columns within them where the sizes allow.
template <class Real>
auto matrix(const Real* data, int m, int n) {
  return Eigen::Map<const Dense<Real>, Eigen::Aligned64>(data, m, n);
}
template <class Real>
auto matrix(Real* data, int m, int n) {
  return Eigen::Map<Dense<Real>, Eigen::Aligned64>(data, m, n);
}
template <class Real>
auto vector(const Real* data, int n) {
  return Eigen::Map<const Column<Real>>(data, n);
}
template <class Real>
auto vector(Real* data, int n) {
  return Eigen::Map<Column<Real>>(data, n);
}

template <class Decomposition>
Decomposition& kept() {
  static Decomposition decomposition;
  return decomposition;
}

/// The solution of min |A c - y|; A is overwritten.
template <class Real>
void least_squares(Dense<Real>& A, const Real* y, bool pivoting, Real* c) {
  const int m = static_cast<int>(A.rows()), n = static_cast<int>(A.cols());
  Eigen::Ref<Dense<Real>> in_place = A;
  if (pivoting)
    vector(c, n) = Eigen::ColPivHouseholderQR<Eigen::Ref<Dense<Real>>>(in_place).solve(vector(y, m));
  else
    vector(c, n) = Eigen::HouseholderQR<Eigen::Ref<Dense<Real>>>(in_place).solve(vector(y, m));
}

/// The four B-splines that are not 0 at a point.
template <class Real>
struct LocalBasis {
  int first;
  Real value[4];

  /// scale: intervals a unit of x
  LocalBasis(int n, Real from_start, Real scale) {
    const Real place = from_start * scale;
    first = std::min(static_cast<int>(place), n);
    const Real u = place - static_cast<Real>(first), w = 1 - u;
    value[0] = w * w * w / 6;
    value[1] = (u * u * (3 * u - 6) + 4) / 6;
    value[2] = (w * w * (3 * w - 6) + 4) / 6;
    value[3] = u * u * u / 6;
  }
};

}  // namespace

template <class Real>
void Eigenlib<Real>::mm(int n, const Real* A, const Real* B, Real* C) {
  matrix(C, n, n).noalias() = matrix(A, n, n) * matrix(B, n, n);
}

template <class Real>
void Eigenlib<Real>::smm(int n, const Real* S, const Real* B, Real* C) {
  matrix(C, n, n).noalias() =
      matrix(S, n, n).template selfadjointView<Eigen::Upper>() * matrix(B, n, n);
}

template <class Real>
void Eigenlib<Real>::mtm(int n, const Real* A, const Real* B, Real* C) {
  matrix(C, n, n).noalias() = matrix(A, n, n).transpose() * matrix(B, n, n);
}

template <class Real>
void Eigenlib<Real>::mtms(int n, const Real* A, Real* C) {
  auto target = matrix(C, n, n);
  target.template triangularView<Eigen::Upper>() = matrix(A, n, n).transpose() * matrix(A, n, n);
}

template <class Real>
void Eigenlib<Real>::um(int n, const Real* U, const Real* B, Real* C) {
  matrix(C, n, n).noalias() = matrix(U, n, n).template triangularView<Eigen::Upper>() * matrix(B, n, n);
}

template <class Real>
void Eigenlib<Real>::utm(int n, const Real* U, const Real* B, Real* C) {
  matrix(C, n, n).noalias() =
      matrix(U, n, n).transpose().template triangularView<Eigen::Lower>() * matrix(B, n, n);
}

template <class Real>
void Eigenlib<Real>::mu(int n, const Real* A, const Real* U, Real* C) {
  matrix(C, n, n).noalias() = matrix(A, n, n) * matrix(U, n, n).template triangularView<Eigen::Upper>();
}

template <class Real>
void Eigenlib<Real>::mv(int n, const Real* A, const Real* x, Real* y) {
  vector(y, n).noalias() = matrix(A, n, n) * vector(x, n);
}

template <class Real>
void Eigenlib<Real>::mtv(int n, const Real* A, const Real* x, Real* y) {
  vector(y, n).noalias() = matrix(A, n, n).transpose() * vector(x, n);
}

template <class Real>
void Eigenlib<Real>::solve_u(int n, const Real* U, Real* B) {
  auto target = matrix(B, n, n);
  matrix(U, n, n).template triangularView<Eigen::Upper>().solveInPlace(target);
}

template <class Real>
void Eigenlib<Real>::solve_ut(int n, const Real* U, Real* B) {
  auto target = matrix(B, n, n);
  matrix(U, n, n).transpose().template triangularView<Eigen::Lower>().solveInPlace(target);
}

template <class Real>
void Eigenlib<Real>::inverse_u(int n, const Real* U, Real* X) {
  auto target = matrix(X, n, n);
  target.setIdentity();
  matrix(U, n, n).template triangularView<Eigen::Upper>().solveInPlace(target);
}

template <class Real>
void Eigenlib<Real>::transpose(int n, const Real* A, Real* B) {
  matrix(B, n, n) = matrix(A, n, n).transpose();
}

template <class Real>
void Eigenlib<Real>::transpose_in_place(int n, Real* A) {
  auto target = matrix(A, n, n);
  target.transposeInPlace();
}

template <class Real>
void Eigenlib<Real>::qr(int m, int n, const Real* A, Real* b, Real* F, int* order) {
  auto& decomposition = kept<Eigen::ColPivHouseholderQR<Dense<Real>>>();
  decomposition.compute(matrix(A, m, n));
  auto rhs = vector(b, m);
  rhs.applyOnTheLeft(decomposition.householderQ().adjoint());
  if (!F) return;
  matrix(F, m, n) = decomposition.matrixQR();
  for (int j = 0; j < n; ++j) order[j] = decomposition.colsPermutation().indices()[j];
}

template <class Real>
void Eigenlib<Real>::qr_solve(int m, int n, const Real* A, const Real* b, Real* x) {
  auto& decomposition = kept<Eigen::ColPivHouseholderQR<Dense<Real>>>();
  decomposition.compute(matrix(A, m, n));
  vector(x, n) = decomposition.solve(vector(b, m));
}

template <class Real>
void Eigenlib<Real>::cholesky(int n, Real* S) {
  Eigen::Ref<Dense<Real>> target = matrix(S, n, n);
  const Eigen::LLT<Eigen::Ref<Dense<Real>>, Eigen::Upper> factor(target);
}

template <class Real>
void Eigenlib<Real>::cholesky_solve(int n, int p, Real* S, Real* B) {
  Eigen::Ref<Dense<Real>> target = matrix(S, n, n);
  const Eigen::LLT<Eigen::Ref<Dense<Real>>, Eigen::Upper> factor(target);
  auto solution = matrix(B, n, p);
  factor.solveInPlace(solution);
}

template <class Real>
void Eigenlib<Real>::cholesky_inverse(int n, Real* S, Real* X) {
  Eigen::Ref<Dense<Real>> target = matrix(S, n, n);
  const Eigen::LLT<Eigen::Ref<Dense<Real>>, Eigen::Upper> factor(target);
  auto inverse = matrix(X, n, n);
  inverse.setIdentity();
  factor.solveInPlace(inverse);
}

template <class Real>
void Eigenlib<Real>::inverse(int n, const Real* A, Real* X) {
  auto& decomposition = kept<Eigen::PartialPivLU<Dense<Real>>>();
  decomposition.compute(matrix(A, n, n));
  matrix(X, n, n) = decomposition.inverse();
}

template <class Real>
void Eigenlib<Real>::inverse_full_pivoting(int n, const Real* A, Real* X) {
  auto& decomposition = kept<Eigen::FullPivLU<Dense<Real>>>();
  decomposition.compute(matrix(A, n, n));
  matrix(X, n, n) = decomposition.inverse();
}

template <class Real>
void Eigenlib<Real>::spline_fit(int m, int n, const Real* x, const Real* y, bool pivoting, Real* c) {
  auto& design = kept<Dense<Real>>();
  design.setZero(m, n + 4);
  const Real scale = static_cast<Real>(n + 1) / (x[m - 1] - x[0]);
  for (int i = 0; i < m; ++i) {
    const LocalBasis<Real> basis(n, x[i] - x[0], scale);
    for (int k = 0; k < 4; ++k) design(i, basis.first + k) = basis.value[k];
  }
  least_squares(design, y, pivoting, c);
}

template <class Real>
void Eigenlib<Real>::spline_values(int m, int n, const Real* x, const Real* c, Real* s) {
  const Real scale = static_cast<Real>(n + 1) / (x[m - 1] - x[0]);
  for (int i = 0; i < m; ++i) {
    const LocalBasis<Real> basis(n, x[i] - x[0], scale);
    const Real* from = c + basis.first;
    s[i] = basis.value[0] * from[0] + basis.value[1] * from[1] + basis.value[2] * from[2] +
           basis.value[3] * from[3];
  }
}

template <class Real>
void Eigenlib<Real>::chebyshev_fit(int m, int p, const Real* x, const Real* y, bool pivoting, Real* c) {
  auto& design = kept<Dense<Real>>();
  design.resize(m, p + 1);
  const Real centre = (x[0] + x[m - 1]) / 2, half = (x[m - 1] - x[0]) / 2;
  design.col(0).setOnes();
  design.col(1) = (vector(x, m).array() - centre) / half;
  for (int j = 2; j <= p; ++j)
    design.col(j) = 2 * design.col(1).cwiseProduct(design.col(j - 1)) - design.col(j - 2);
  least_squares(design, y, pivoting, c);
}

template struct Eigenlib<float>;
template struct Eigenlib<double>;

std::string eigen_description() {
  return "Eigen " + std::to_string(EIGEN_WORLD_VERSION) + "." + std::to_string(EIGEN_MAJOR_VERSION) +
         "." + std::to_string(EIGEN_MINOR_VERSION);
}

std::string eigen_option() { return TABFIT_BENCH_EIGEN_OPTION; }

}  // namespace tabfit::bench

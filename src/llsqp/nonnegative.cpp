// llsqp/nonnegative.cpp - linear least squares with non-negative unknowns, by an active set.
//
// The variables have a working order: the passive ones, which are free to be positive, stand at
// positions 0..k-1, those held at zero behind them. Index vector, columns and x follow this order.
#include "tabfit/least_squares.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"
#include "kernels/sums/magnitude.hpp"

#include "matrix1/products.hpp"

#include "llsqp/least_squares.hpp"
#include "llsqp/nonnegative.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tabfit {
namespace {

/// Bound of the step towards the trial solution.
template <class Real>
constexpr double step_bound() noexcept {
  // Deliberate: 0 in the double twin, so x never moves. The variable that entered last, still 0, is
  // dropped in place of the one that would turn negative, and enters again: the call does not return,
  // unless equal dual values let another variable enter.
  return is_double<Real> ? 0.0 : double(std::numeric_limits<Real>::max());
}

template <class Real>
class NonNegative {
 public:
  NonNegative(Real** A, int m, int n, Real* x, Real* r, Real* rn, int* idx, Real* w, Real* z) noexcept
      : A_(A), m_(m), n_(n), x_(x), r_(r), rn_(rn), idx_(idx), w_(w), z_(z) {}

  int solve() noexcept {
    for (int p = 0; p < n_; ++p) idx_[p] = p;
    V_fill(x_, n_, 0.0);
    M_mtv(A_, A_[n_], m_, n_, w_);
    int t = V_imax(w_, n_);
    if (!(w_[t] > 0)) return zero_solution();  // NaN fails too
    const double tol = eps * w_[t];
    do {
      ++k_;
      enter(t);
      const int status = fit_passive_set();
      if (status != LS_CNN_OK) return status;
      V_copy(z_, x_, k_);
      if (k_ > std::min(m_, n_) || k_ == n_) break;
      M_mtv(A_, r_, m_, n_, w_);
      t = k_ + V_imax(w_ + k_, n_ - k_);
    } while (w_[t] > tol);  // NaN ends it

    V_perm(x_, n_, idx_);
    // Deliberate: idx is sorted by now, so this moves nothing: the column pointers come back in the
    // working order, not in the caller's.
    P_perm(A_, n_, idx_);
    return LS_CNN_OK;
  }

 private:
  static constexpr double eps = Tolerance<Real>::dual;

  int zero_solution() noexcept {
    V_copy(A_[n_], r_, m_);
    *rn_ = store<Real>(V_sumsq(r_, m_));
    return LS_CNN_ZERO;
  }

  /// Moves the variable at position t to the last passive position, k-1.
  void enter(int t) noexcept {
    if (t <= k_ - 1) return;
    I_swap(idx_ + k_ - 1, idx_ + t);
    P_swap(A_ + k_ - 1, A_ + t);
    // Deliberate: x is not exchanged: the variable starts from what a drop may have left in place k-1.
  }

  /// z := the unconstrained solution on the passive columns. Drops columns until all of z is positive.
  int fit_passive_set() noexcept {
    for (;;) {
      int passes = 0;
      P_swap(A_ + k_, A_ + n_);
      const int status = Ls_it(A_, m_, k_, z_, r_, rn_, &passes);
      P_swap(A_ + k_, A_ + n_);
      if (status != LS_OK) return status;

      int i = 0;
      while (i < k_ && z_[i] > 0) ++i;  // NaN stops it
      if (i == k_) return LS_CNN_OK;
      if (i == k_ - 1) return LS_CNN_NO_PROGRESS;
      move(i);
      drop_zeros();
      if (k_ < 1) return zero_solution();
    }
  }

  /// Moves x towards z until the first of the variables i..k-1 reaches zero.
  void move(int i) noexcept {
    double alpha = step_bound<Real>();
    for (int j = i; j < k_; ++j) {
      if (z_[j] > 0) continue;
      const double q = store<double>(x_[j] / (Wide(x_[j]) - z_[j]));
      if (!(q >= alpha)) alpha = q;  // NaN too
    }
    for (int j = 0; j < k_; ++j) x_[j] = store<Real>((Wide(z_[j]) - x_[j]) * alpha + x_[j]);
  }

  /// Sets variables that are zero in the scale of the others to exactly zero, and drops them.
  void drop_zeros() noexcept {
    // Deliberate: the chosen element keeps its sign. If it is negative, only NaN is set to zero, and a
    // variable that is zero but for rounding stays passive.
    const double threshold = eps * x_[V_iamax(x_, k_)];
    for (int j = 0; j < k_; ++j)
      if (!(std::abs(x_[j]) > threshold)) x_[j] = 0;  // NaN too

    // Deliberate: the element that moves into place j is not examined in this pass: a second zero
    // behind the first costs one more subproblem.
    for (int j = 0; j < k_; ++j) {
      if (x_[j] != 0) continue;
      // Deliberate: x[n-1] keeps its value: a stale one may come back in the solution.
      V_shift(x_ + j, n_ - j, -1);
      const int variable = idx_[j];
      Real* column = A_[j];
      I_shift(idx_ + j, n_ - j, -1);
      P_shift(A_ + j, n_ - j, -1);
      idx_[n_ - 1] = variable;
      A_[n_ - 1] = column;
      --k_;
    }
  }

  Real** A_;
  int m_, n_;
  Real *x_, *r_, *rn_;
  int* idx_;      // position -> variable
  Real *w_, *z_;  // dual vector, trial solution
  int k_ = 0;     // size of the passive set
};

}  // namespace

template <class Real>
int Ls_cnn(Real** A, int m, int n, Real* x, Real* r, Real* rn) noexcept {
  if (m < 1 || n < 1) return LS_CNN_BAD_SIZE;
  const CArray<int> idx = c_array<int>(n);
  const CArray<Real> w = c_array<Real>(idx ? n : -1);
  const CArray<Real> z = c_array<Real>(w ? n : -1);
  if (!z) return LS_CNN_NO_MEMORY;
  return NonNegative<Real>(A, m, n, x, r, rn, idx.get(), w.get(), z.get()).solve();
}

template int Ls_cnn(float**, int, int, float*, float*, float*) noexcept;
template int Ls_cnn(double**, int, int, double*, double*, double*) noexcept;

}  // namespace tabfit

extern "C" {

int Ls_cnnf(float** A, int m, int n, float* x, float* r, float* rn) noexcept {
  return tabfit::Ls_cnn(A, m, n, x, r, rn);
}
int Ls_cnnd(double** A, int m, int n, double* x, double* r, double* rn) noexcept {
  return tabfit::Ls_cnn(A, m, n, x, r, rn);
}

}  // extern "C"

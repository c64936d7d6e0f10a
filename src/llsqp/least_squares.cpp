// llsqp/least_squares.cpp - linear least squares: one pass through QR, and with residual correction.
#include "tabfit/least_squares.h"

#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"

#include "matrix1/elementary.hpp"
#include "matrix1/products.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix2/qr.hpp"

#include "llsqp/least_squares.hpp"

#include <algorithm>
#include <limits>

namespace tabfit {

template <class Real>
int Ls(Real** A, int m, int n, Real* rn) noexcept {
  if (m < 1 || n < 1) return LS_BAD_SIZE;
  const CArray<int> ip = c_array<int>(n);
  if (!ip) return LS_NO_MEMORY;
  const int status = M_qrd(A, m, n, 1, ip.get());
  if (status != LS_OK) return status;

  Real* c = A[n];  // Q^T b, then the solution
  M_invt(A, A + n, std::min(m, n), 1);
  if (n > m) V_fill(c + m, n - m, 0.0);  // unknowns m..n-1 in pivot order
  if (rn) *rn = store<Real>(n < m ? V_sumsq(c + n, m - n) : 0.0);
  V_perm(c, n, ip.get());
  return LS_OK;
}

template int Ls(float**, int, int, float*) noexcept;
template int Ls(double**, int, int, double*) noexcept;

namespace {

/// A problem table that owns its columns 0..n-1, m elements each; column n belongs to the caller.
template <class Real>
class WorkingTable {
 public:
  WorkingTable(int m, int n, Real* last) noexcept : columns_(c_array<Real*>(std::ptrdiff_t(n) + 1)) {
    if (!columns_) return;
    while (count_ < n) {
      columns_[count_] = c_array<Real>(m).release();
      if (!columns_[count_]) return;
      ++count_;
    }
    columns_[n] = last;
    complete_ = true;
  }
  ~WorkingTable() {
    while (count_ > 0) std::free(columns_[--count_]);
  }
  WorkingTable(const WorkingTable&) = delete;
  WorkingTable& operator=(const WorkingTable&) = delete;

  explicit operator bool() const noexcept { return complete_; }
  Real** get() const noexcept { return columns_.get(); }

  /// Keeps the table allocated: the destructor releases nothing.
  void abandon() noexcept {
    count_ = 0;
    (void)columns_.release();
  }

 private:
  CArray<Real*> columns_;
  int count_ = 0;
  bool complete_ = false;
};

/// The squared residual norm with which that of the first pass is compared.
template <class Real>
constexpr Real initial_rn() noexcept {
  // Deliberate: 0 in the double twin, and no pass improves on 0. So it makes exactly one pass and
  // corrects nothing.
  return is_double<Real> ? Real(0) : std::numeric_limits<Real>::max();
}

}  // namespace

template <class Real>
int Ls_it(Real* const* A, int m, int n, Real* x, Real* r, Real* rn, int* iter) noexcept {
  if (m < 1 || n < 1) return LS_BAD_SIZE;
  WorkingTable<Real> work(m, n, r);
  if (!work) return LS_NO_MEMORY;

  constexpr int most_passes = 10;
  constexpr double least_gain = 0.9;  // of the squared residual norm, from pass to pass
  V_copy(A[n], r, m);
  V_fill(x, n, 0.0);
  *iter = 0;
  *rn = initial_rn<Real>();
  for (;;) {
    ++*iter;
    const double previous = *rn;
    M_cop(A, work.get(), m, n);
    const int status = Ls(work.get(), m, n, rn);  // in r: the residual, then the correction
    if (status != LS_OK) return status;
    V_op(r, x, x, n, '+');
    M_ltv(A, x, A[n], m, n, 2, r);  // r = b - A x
    *rn = store<Real>(V_sumsq(r, m));
    if (*iter >= most_passes || !(least_gain * previous > *rn)) break;  // NaN ends it too
  }
  // Deliberate: the working table stays allocated after success: each such call leaks n + 1 pointers
  // and n columns of m elements.
  work.abandon();
  return LS_OK;
}

template int Ls_it(float* const*, int, int, float*, float*, float*, int*) noexcept;
template int Ls_it(double* const*, int, int, double*, double*, double*, int*) noexcept;

}  // namespace tabfit

extern "C" {

int Ls_f(float** A, int m, int n, float* rn) noexcept { return tabfit::Ls(A, m, n, rn); }
int Ls_d(double** A, int m, int n, double* rn) noexcept { return tabfit::Ls(A, m, n, rn); }

int Ls_itf(float* const* A, int m, int n, float* x, float* r, float* rn, int* iter) noexcept {
  return tabfit::Ls_it(A, m, n, x, r, rn, iter);
}
int Ls_itd(double* const* A, int m, int n, double* x, double* r, double* rn, int* iter) noexcept {
  return tabfit::Ls_it(A, m, n, x, r, rn, iter);
}

}  // extern "C"

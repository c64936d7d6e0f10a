// tabfit/dual_factor.hpp - the factors of Goldfarb and Idnani's method, updated as constraints enter and
// leave; not for users.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "tabfit/orthogonal.hpp"

namespace tabfit::detail {

/// J and T for the normals N of q active constraints:
///
///     J^T (R^T R) J = I,     J^T N = | T |  q          J = ( J1  J2 )
///                                    | 0 |  n - q            q  n - q
///
/// T is upper triangular. Without constraints J = R^-1. A constraint enters by one reflection of the columns
/// of J2, which costs 2 n (n - q) operations where a chain of rotations costs three times as many. It leaves
/// by at most q rotations of neighbouring columns of J1. Columns are contiguous.
///
/// Method: Goldfarb and Idnani, Mathematical Programming 27 (1983), section 4.
class dual_factor {
 public:
  explicit dual_factor(int n) : n_(n), J_(at(n) * at(n)), T_(at(n) * at(n)), work_(at(n)) {}

  int order() const { return n_; }
  int count() const { return q_; }  ///< q

  /// J = R^-1, no constraint active. R is upper triangular, `leading` elements from column to column.
  /// False if R is singular; J is then useless.
  bool invert(const double *R, int leading) {
    q_ = 0;
    for (int j = 0; j < n_; ++j) {  // R x = e_j from the last row upwards, column by column
      double *const x = J(j);
      std::fill_n(x, n_, 0.0);
      x[j] = 1.0;
      for (int k = j; k >= 0; --k) {
        const double *const Rk = R + at(0, k, leading);
        if (!(std::abs(Rk[k]) > 0.0)) return false;
        x[k] /= Rk[k];
        for (int i = 0; i < k; ++i) x[i] -= x[k] * Rk[i];
      }
    }
    return true;
  }

  /// |J|, the root of the sum of squares. Rotations do not change it.
  double size() const { return norm(J_.data(), n_ * n_); }

  /// d = J^T v.
  void transform(const double *v, double *d) const {
    for (int j = 0; j < n_; ++j) d[j] = dot(J(j), v, n_);
  }

  /// z += J(:, first..last-1) y(first..last-1).
  void add_columns(const double *y, int first, int last, double *z) const {
    for (int j = first; j < last; ++j) add_multiple(y[j], J(j), z, n_);
  }

  /// r = T^-1 r, q elements.
  void solve(double *r) const {
    for (int k = q_ - 1; k >= 0; --k) {
      r[k] /= T(k)[k];
      for (int i = 0; i < k; ++i) r[i] -= r[k] * T(k)[i];
    }
  }

  /// y = T^-T y, q elements.
  void solve_transposed(double *y) const {
    for (int k = 0; k < q_; ++k) y[k] = (y[k] - dot(T(k), y, k)) / T(k)[k];
  }

  /// The constraint with the normal n becomes the last active one: d = J^T n, z = J2 d2, d2 not zero.
  void enter(const double *d, const double *z) {
    const double alpha = -std::copysign(norm(d + q_, n_ - q_), d[q_]);
    std::copy_n(d, q_, T(q_));
    T(q_)[q_] = alpha;
    // I - tau v v^T with v = d2 - alpha e1 takes d2 to alpha e1. J2 v = z - alpha J2 e1.
    const double tau = 1.0 / (alpha * (alpha - d[q_]));
    double *const w = work_.data();
    for (int i = 0; i < n_; ++i) w[i] = tau * (z[i] - alpha * J(q_)[i]);
    add_multiple(alpha - d[q_], w, J(q_), n_);
    for (int j = q_ + 1; j < n_; ++j) add_multiple(-d[j], w, J(j), n_);
    ++q_;
  }

  /// Active constraint l goes; those behind it move up. What is left of T is a triangle but for elements
  /// below its diagonal from column l on, which rotations of rows i and i + 1 remove.
  void leave(int l) {
    --q_;
    for (int k = l; k < q_; ++k) std::copy_n(T(k + 1), k + 2, T(k));
    for (int i = l; i < q_; ++i) {
      const double a = T(i)[i], b = T(i)[i + 1], h = std::hypot(a, b);
      if (h == 0.0) continue;
      const double c = a / h, s = b / h;
      for (int k = i; k < q_; ++k) rotate(c, s, T(k)[i], T(k)[i + 1]);
      double *const u = J(i), *const v = J(i + 1);
      for (int k = 0; k < n_; ++k) rotate(c, s, u[k], v[k]);
    }
  }

 private:
  double *J(int j) { return J_.data() + at(0, j, n_); }
  const double *J(int j) const { return J_.data() + at(0, j, n_); }
  double *T(int j) { return T_.data() + at(0, j, n_); }
  const double *T(int j) const { return T_.data() + at(0, j, n_); }

  static void rotate(double c, double s, double &u, double &v) {
    const double before = u;
    u = c * before + s * v;
    v = c * v - s * before;
  }

  int n_, q_ = 0;
  std::vector<double> J_, T_, work_;
};

}  // namespace tabfit::detail

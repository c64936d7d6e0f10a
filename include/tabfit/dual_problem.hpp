// tabfit/dual_problem.hpp - a constrained least-squares problem in the units of the dual method; not for users.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/dual_factor.hpp"
#include "tabfit/normal_equations.hpp"
#include "tabfit/orthogonal.hpp"
#include "tabfit/table.hpp"

namespace tabfit::detail {

inline constexpr double infinity = std::numeric_limits<double>::infinity();

/// Minimise |A x - b| subject to N_i' x = h_i for the first `equalities` rows of N, N_i' x >= h_i for the
/// others, lo <= x <= hi. Columns of A and rows of N are about 1 long. Matrices are stored by columns.
struct dual_problem {
  int m = 0, n = 0, rows = 0, equalities = 0;
  std::vector<double> N, h, lo, hi;     ///< lo and hi may be infinite
  std::vector<double> A, b;             ///< for refinement; empty if the triangle of A is good enough
  double size_of_A = 0, size_of_b = 0;  ///< roots of sums of squares
  /// The caller's columns and the scales they lack, and b, if the triangle is one of normal equations: x is
  /// then corrected with them.
  double *const *columns = nullptr;
  std::vector<double> column_scale{};

  /// Constraints are numbered: the rows of N, then the lower bounds, then the upper ones.
  int constraints() const { return rows + 2 * n; }
  bool is_row(int i) const { return i < rows; }
  int variable(int i) const { return (i - rows) % n; }
  bool is_lower(int i) const { return !is_row(i) && i < rows + n; }
  /// lo = hi. A great upper bound may be -infinity in the units of the problem: it is none.
  bool is_fixed(int j) const { return lo[at(j)] == hi[at(j)] && std::isfinite(lo[at(j)]); }

  /// Holds with equality whatever its multiplier's sign: a row of E, or the lower bound where lo = hi.
  bool is_equality(int i) const {
    return is_row(i) ? i < equalities : is_lower(i) && is_fixed(variable(i));
  }
  double right_side(int i) const {
    if (is_row(i)) return h[at(i)];
    return is_lower(i) ? lo[at(variable(i))] : -hi[at(variable(i))];
  }
  double element(int i, int j) const {
    if (is_row(i)) return N[at(i, j, rows)];
    return j != variable(i) ? 0.0 : is_lower(i) ? 1.0 : -1.0;
  }
};

/// Minimise |A x - b| subject to C x >= d, E x = f, lo <= x <= hi, as the dual method takes it: unknowns are
/// x_j / column_scale_j, rows of E, and then of C, are multiplied by row_scale_i. The scales are powers of
/// two, so nothing is rounded.
template <real T>
class scaled_problem {
 public:
  /// r is the triangle of A. Columns of A, and then rows, come to lengths about 1. Where A has a column of
  /// zeros, the constraints scale it.
  scaled_problem(const conditions<T> &p, const reduced &r);

  const dual_problem &problem() const { return to_; }

  /// r comes from normal equations: the same as start(), with columns and b for corrections. False if the
  /// condition is too high for them.
  bool start_corrected(const reduced &r, double *const *columns, std::span<const double> b,
                       dual_factor &factor, std::vector<double> &x0);

  /// Gives factor the inverse of the triangle of A, or of (A; delta I) where A is too close to rank
  /// deficient; returns the minimiser without constraints that goes with it.
  std::vector<double> start(const reduced &r, dual_factor &factor);

  /// x of the caller; on a bound to the bit if that is active, never beyond.
  std::vector<T> unscaled(const std::vector<double> &x, const std::vector<int> &active) const;

  /// The number of a constraint in the dual problem; -1 for an infinite bound.
  int number(const active_constraint &c) const;
  /// The constraint with that number, and its multiplier or weight: changes its sign where it is the
  /// upper bound of a fixed unknown.
  active_constraint constraint(int i, double &multiplier) const;

 private:
  double element(int i, int j) const {
    return static_cast<double>(i < p_.E.rows() ? p_.E(i, j) : p_.C(i - p_.E.rows(), j));
  }
  double invert(std::vector<double> &R, int rows, dual_factor &factor);
  void scale_rows();
  void scale_zero_columns();
  void load_A();

  conditions<T> p_;
  dual_problem to_;
  std::vector<double> column_scale_, row_scale_;
};

template <real T>
scaled_problem<T>::scaled_problem(const conditions<T> &p, const reduced &r)
    : p_(p), column_scale_(zeros(p.A.columns())), row_scale_(zeros(p.E.rows() + p.C.rows())) {
  const int n = p.A.columns(), equalities = p.E.rows(), rows = equalities + p.C.rows();
  to_ = {p.A.rows(), n, rows, equalities, zeros(rows * n), zeros(rows), zeros(n), zeros(n), {}, {}};
  bool any_zero = false;
  for (int j = 0; j < n; ++j) {
    const double size = norm(r.R.data() + at(0, j, r.rows), std::min(j + 1, r.rows));
    column_scale_[at(j)] = size > 0.0 ? power_to_one(size) : 0.0;
    any_zero = any_zero || !(size > 0.0);
  }
  scale_rows();
  if (any_zero) {
    scale_zero_columns();
    scale_rows();
  }
  for (int i = 0; i < rows; ++i)
    to_.h[at(i)] =
        row_scale_[at(i)] * static_cast<double>(i < equalities ? p.f[at(i)] : p.d[at(i - equalities)]);
  for (int j = 0; j < n; ++j) {
    const double scale = column_scale_[at(j)];
    to_.lo[at(j)] = p.lo.empty() ? -infinity : static_cast<double>(p.lo[at(j)]) / scale;
    to_.hi[at(j)] = p.hi.empty() ? infinity : static_cast<double>(p.hi[at(j)]) / scale;
  }
  to_.size_of_b = std::hypot(norm(r.c.data(), r.rows), r.rest);
}

/// Sets N from the scales of the columns, and the scales of its rows.
template <real T>
void scaled_problem<T>::scale_rows() {
  const int rows = to_.rows;
  std::fill(row_scale_.begin(), row_scale_.end(), 0.0);  // the greatest magnitudes first
  for (int j = 0; j < to_.n; ++j)
    for (int i = 0; i < rows; ++i) {
      double &to = to_.N[at(i, j, rows)];
      to = column_scale_[at(j)] * element(i, j);
      row_scale_[at(i)] = std::max(row_scale_[at(i)], std::abs(to));
    }
  for (double &scale : row_scale_) scale = power_to_one(scale);
  for (int j = 0; j < to_.n; ++j)
    for (int i = 0; i < rows; ++i) to_.N[at(i, j, rows)] *= row_scale_[at(i)];
}

template <real T>
void scaled_problem<T>::scale_zero_columns() {
  for (int j = 0; j < to_.n; ++j) {
    if (column_scale_[at(j)] > 0.0) continue;
    double greatest = 0.0;
    for (int i = 0; i < to_.rows; ++i)
      greatest = std::max(greatest, row_scale_[at(i)] * std::abs(element(i, j)));
    column_scale_[at(j)] = power_to_one(greatest);
  }
}

/// Scales the triangle R and gives factor its inverse. Returns the condition; infinity if R is singular.
template <real T>
double scaled_problem<T>::invert(std::vector<double> &R, int rows, dual_factor &factor) {
  const int n = to_.n;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= std::min(j, rows - 1); ++i) R[at(i, j, rows)] *= column_scale_[at(j)];
  to_.size_of_A = std::max(norm(R.data(), rows * n), 1.0);
  return rows == n && factor.invert(R.data(), n) ? to_.size_of_A * factor.size() : infinity;
}

template <real T>
bool scaled_problem<T>::start_corrected(const reduced &r, double *const *columns,
                                        std::span<const double> b, dual_factor &factor,
                                        std::vector<double> &x0) {
  std::vector<double> R = r.R;
  if (!(invert(R, r.rows, factor) <= normal_condition)) return false;
  to_.columns = columns;
  to_.column_scale = column_scale_;
  to_.b.assign(b.begin(), b.end());
  x0 = zeros(to_.n);
  factor.add_columns(r.c.data(), 0, to_.n, x0.data());
  return true;
}

template <real T>
std::vector<double> scaled_problem<T>::start(const reduced &r, dual_factor &factor) {
  constexpr double good_condition = 1e3, worst_condition = 1e11, delta = 0x1p-27;
  const int n = to_.n;
  std::vector<double> x0 = zeros(n), R = r.R;
  const double condition = invert(R, r.rows, factor);
  if (!(condition <= good_condition)) load_A();
  if (condition <= worst_condition) {
    factor.add_columns(r.c.data(), 0, n, x0.data());
    return x0;
  }
  const int rows = r.rows + n;  // (R; delta I), (c; 0)
  std::vector<double> damped_R(at(rows) * at(n)), c = zeros(rows);
  for (int j = 0; j < n; ++j) {
    std::copy_n(R.data() + at(0, j, r.rows), r.rows, damped_R.data() + at(0, j, rows));
    damped_R[at(r.rows + j, j, rows)] = delta;
  }
  std::copy(r.c.begin(), r.c.end(), c.begin());
  const reduced damped = reduce<double>(table_view<double>::column_major(damped_R.data(), rows, n), c);
  factor.invert(damped.R.data(), n);
  factor.add_columns(damped.c.data(), 0, n, x0.data());
  return x0;
}

/// A and b, for refinement.
template <real T>
void scaled_problem<T>::load_A() {
  to_.A.resize(at(to_.m) * at(to_.n));
  for (int j = 0; j < to_.n; ++j)
    for (int i = 0; i < to_.m; ++i)
      to_.A[at(i, j, to_.m)] = column_scale_[at(j)] * static_cast<double>(p_.A(i, j));
  to_.b.assign(p_.b.begin(), p_.b.end());
}

template <real T>
std::vector<T> scaled_problem<T>::unscaled(const std::vector<double> &scaled,
                                           const std::vector<int> &active) const {
  std::vector<T> x(at(to_.n));
  for (int j = 0; j < to_.n; ++j) {
    x[at(j)] = static_cast<T>(column_scale_[at(j)] * scaled[at(j)]);
    if (!p_.lo.empty()) x[at(j)] = std::max(x[at(j)], p_.lo[at(j)]);
    if (!p_.hi.empty()) x[at(j)] = std::min(x[at(j)], p_.hi[at(j)]);
  }
  for (const int i : active)
    if (!to_.is_row(i)) {
      const std::size_t j = at(to_.variable(i));
      x[j] = to_.is_lower(i) ? p_.lo[j] : p_.hi[j];
    }
  return x;
}

template <real T>
int scaled_problem<T>::number(const active_constraint &c) const {
  const int first_bound = to_.rows, j = c.index;
  switch (c.kind) {
    case constraint_kind::equality:
      return j;
    case constraint_kind::inequality:
      return p_.E.rows() + j;
    case constraint_kind::lower:
      return to_.lo[at(j)] > -infinity ? first_bound + j : -1;
    default:
      return to_.hi[at(j)] < infinity ? first_bound + to_.n + j : -1;
  }
}

template <real T>
active_constraint scaled_problem<T>::constraint(int i, double &multiplier) const {
  if (to_.is_row(i)) {
    multiplier *= row_scale_[at(i)];
    if (i < p_.E.rows()) return {constraint_kind::equality, i};
    return {constraint_kind::inequality, i - p_.E.rows()};
  }
  const int j = to_.variable(i);
  multiplier /= column_scale_[at(j)];
  const bool upper = !to_.is_lower(i) || multiplier < 0.0;  // with lo = hi either may hold x back
  if (to_.is_lower(i) && upper) multiplier = -multiplier;
  return {upper ? constraint_kind::upper : constraint_kind::lower, j};
}

}  // namespace tabfit::detail

// tabfit/active_set.hpp - what the active-set solvers of the C++ front return, and how well it solves the
// problem.
//
// A constraint is active where it holds x back: x lies on it, and its multiplier says how much the
// constraint costs. The solvers share the types here, and one measure of the optimality conditions.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <span>
#include <vector>

#include "tabfit/orthogonal.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

/// What an active constraint is:
///   lower       x_index = lo_index
///   upper       x_index = hi_index
///   inequality  row `index` of C x >= d, or of G x >= h, holds as an equality
///   equality    row `index` of E x = f
enum class constraint_kind : std::uint8_t { lower, upper, inequality, equality };

struct active_constraint {
  constraint_kind kind;
  int index;
  friend bool operator==(const active_constraint &, const active_constraint &) = default;
};

/// A minimiser of |A x - b| under constraints, as nonnegative(), bounded(), least_distance() and
/// constrained() return it.
template <real T>
struct solution {
  std::vector<T> x;
  std::vector<T> residual;  ///< b - A x
  T residual_norm{};        ///< |b - A x|
  std::vector<active_constraint>
      active;  ///< the constraints that hold x; a start for a similar problem
  /// Side by side with `active`: multipliers of |A x - b|^2 / 2. By so much the half square falls where
  /// the right side of the constraint is relaxed by a small unit. None is negative, but for equalities.
  std::vector<T> multipliers;
  int iterations = 0;  ///< linear systems solved: one for each change of the active set
  /// The largest violation of the optimality conditions, measured on the returned numbers. Each is
  /// divided by the magnitudes of its own terms, to which a row of C or of E adds what a rounding of A x
  /// means for it. So a few machine epsilons of T is as good as it gets.
  double violation = 0;
  /// No change of the active set lowers |A x - b|, and `violation` is below 1000 epsilon of T. If
  /// false, x is the best point found; it satisfies the constraints, but for rounding. Of constrained() it
  /// satisfies the bounds only.
  bool converged = false;
};

struct active_set_options {
  /// Constraints that may well be active, such as `active` of a similar problem. A good guess saves most of
  /// the work; a wrong one costs some, and changes nothing else.
  std::span<const active_constraint> start = {};
  /// How many linear systems may be solved; 0 stands for 10 + 3 (unknowns + constraints).
  int iterations = 0;
};

namespace detail {

/// Minimise |A x - b| subject to C x >= d, E x = f, lo <= x <= hi. What is empty is not there.
template <real T>
struct conditions {
  table_view<T> A;
  std::span<const T> b;
  table_view<T> C;
  std::span<const T> d;
  table_view<T> E;
  std::span<const T> f;
  std::span<const T> lo, hi;
};

/// Throws bad_data unless lo <= hi, each of them empty or of n elements, none NaN or on the wrong side of all
/// numbers.
template <real T>
void check_bounds(const char *operation, std::span<const T> lo, std::span<const T> hi, int n) {
  constexpr T infinity = std::numeric_limits<T>::infinity();
  const auto check = [&](const char *name, std::span<const T> bound, T free) {
    if (!bound.empty()) check_size(operation, name, bound.size(), "element", "A", at(n), "column");
    for (std::size_t j = 0; j < bound.size(); ++j)
      if (!is_finite(bound[j]) && bound[j] != free)
        throw_not_finite(operation, sentence(name, "(", j, ")"), bound[j]);
  };
  check("lo", lo, -infinity);
  check("hi", hi, infinity);
  for (std::size_t j = 0; j < std::min(lo.size(), hi.size()); ++j)
    if (lo[j] > hi[j]) throw bad_data(operation, sentence("lo(", j, ") is above hi(", j, ")"));
}

/// y += a A_j.
template <real T>
void add_column(table_view<T> A, int j, double a, double *y) {
  const T *const column = A.column(j);
  if (A.row_stride() == 1) return add_multiple(a, column, y, A.rows());
  for (int i = 0; i < A.rows(); ++i) y[i] += a * double(column[i * A.row_stride()]);
}

/// A_j' y.
template <real T>
double dot_column(table_view<T> A, int j, const double *y) {
  const T *const column = A.column(j);
  if (A.row_stride() == 1) return dot(column, y, A.rows());
  double sum = 0;
  for (int i = 0; i < A.rows(); ++i) sum += double(column[i * A.row_stride()]) * y[i];
  return sum;
}

/// A problem at a point: the residual, the gradient of half its square, and how well the optimality
/// conditions hold. All sums run in double, from the elements as they were given.
template <real T>
class optimality {
 public:
  /// r is the triangle of A, which has its columns' lengths.
  optimality(const conditions<T> &p, const reduced &r)
      : p_(p), norms_(zeros(r.columns)), residual_(p.b.size()), gradient_(zeros(r.columns)) {
    for (int j = 0; j < r.columns; ++j)
      norms_[at(j)] = norm(r.R.data() + at(0, j, r.rows), std::min(j + 1, r.rows));
    norm_b_ = std::hypot(norm(r.c.data(), r.rows), r.rest);
  }

  /// Sets residual() = b - A x, gradient() = A' (A x - b), scale() = sum |A_j| |x_j| + |b|.
  template <class X>
  void move_to(const std::vector<X> &x) {
    std::copy(p_.b.begin(), p_.b.end(), residual_.begin());
    scale_ = norm_b_;
    for (std::size_t j = 0; j < norms_.size(); ++j) {
      if (x[j] != 0) add_column(p_.A, int(j), -double(x[j]), residual_.data());
      scale_ += norms_[j] * std::abs(double(x[j]));
    }
    for (std::size_t j = 0; j < norms_.size(); ++j)
      gradient_[j] = -dot_column<T>(p_.A, int(j), residual_.data());
  }

  std::span<const double> residual() const { return residual_; }
  std::span<const double> gradient() const { return gradient_; }
  std::span<const double> norms() const { return norms_; }  ///< |A_j|
  double norm_of_b() const { return norm_b_; }
  double scale() const { return scale_; }

  /// The largest violation at the point of the last move_to, which is s.x:
  ///   stationarity     |gradient_j - sum of multipliers times rows| over |A_j| scale() and its terms
  ///   constraints      d_i - C_i x where positive, |E_i x - f_i|, over sum |C_ij x_j| + |d_i| and
  ///                    scale() max |C_ij| / |A_j|, what a rounding of A x means for the row
  ///   bounds           likewise, over |x_j| and the bound alone
  ///   complementarity  an active constraint that x does not lie on, likewise
  /// Infinite if a multiplier has the wrong sign.
  double violation(const solution<T> &s) const;

 private:
  /// A row times x minus its right side, over the magnitudes of both.
  struct slack {
    double value = 0, terms = 0;
    double relative() const { return value == 0 ? 0 : value / terms; }
  };
  std::vector<slack> slacks(table_view<T> C, std::span<const T> d, const std::vector<T> &x) const;
  slack bound_slack(constraint_kind kind, std::size_t j, const std::vector<T> &x) const {
    const double bound = double(kind == constraint_kind::lower ? p_.lo[j] : p_.hi[j]);
    if (!is_finite(bound)) return {0, 1};
    const double above = double(x[j]) - bound;
    return {kind == constraint_kind::lower ? above : -above, std::abs(double(x[j])) + std::abs(bound)};
  }
  double stationarity(const solution<T> &s) const;

  conditions<T> p_;
  std::vector<double> norms_, residual_, gradient_;
  double norm_b_ = 0, scale_ = 0;
};

template <real T>
auto optimality<T>::slacks(table_view<T> C, std::span<const T> d, const std::vector<T> &x) const
    -> std::vector<slack> {
  std::vector<slack> rows(d.size());
  if (d.empty()) return rows;  // a matrix without rows may have any number of columns
  std::vector<double> moves(d.size());
  for (int j = 0; j < C.columns(); ++j) {
    const double xj = double(x[at(j)]), norm = norms_[at(j)];
    for (int i = 0; i < C.rows(); ++i) {
      const double c = double(C(i, j));
      rows[at(i)].value += c * xj;
      rows[at(i)].terms += std::abs(c * xj);
      if (norm > 0) moves[at(i)] = std::max(moves[at(i)], std::abs(c) / norm);
    }
  }
  for (std::size_t i = 0; i < d.size(); ++i) {
    rows[i].value -= double(d[i]);
    rows[i].terms += std::abs(double(d[i])) + scale_ * moves[i];
  }
  return rows;
}

template <real T>
double optimality<T>::stationarity(const solution<T> &s) const {
  std::vector<double> rest(gradient_), terms(norms_);
  for (double &size : terms) size *= scale_;
  double worst = 0;
  const auto subtract = [&](std::size_t j, double part) {
    rest[j] -= part;
    terms[j] += std::abs(part);
  };
  for (std::size_t a = 0; a < s.active.size(); ++a) {
    const auto [kind, index] = s.active[a];
    const double u = double(s.multipliers[a]);
    if (kind == constraint_kind::lower) subtract(std::size_t(index), u);
    if (kind == constraint_kind::upper) subtract(std::size_t(index), -u);
    if (kind == constraint_kind::inequality || kind == constraint_kind::equality) {
      const table_view<T> rows = kind == constraint_kind::inequality ? p_.C : p_.E;
      for (std::size_t j = 0; j < rest.size(); ++j) subtract(j, u * double(rows(index, int(j))));
    }
    if (kind != constraint_kind::equality && u < 0) worst = std::numeric_limits<double>::infinity();
  }
  for (std::size_t j = 0; j < rest.size(); ++j)
    if (rest[j] != 0) worst = std::max(worst, std::abs(rest[j]) / terms[j]);
  const bool in_range = std::isfinite(std::accumulate(rest.begin(), rest.end(), 0.0));
  return in_range ? worst : std::numeric_limits<double>::infinity();
}

template <real T>
double optimality<T>::violation(const solution<T> &s) const {
  double worst = stationarity(s);
  const std::vector<slack> C = slacks(p_.C, p_.d, s.x), E = slacks(p_.E, p_.f, s.x);
  for (const slack &row : C) worst = std::max(worst, -row.relative());
  for (const slack &row : E) worst = std::max(worst, std::abs(row.relative()));
  for (std::size_t j = 0; j < p_.lo.size(); ++j)
    worst = std::max(worst, -bound_slack(constraint_kind::lower, j, s.x).relative());
  for (std::size_t j = 0; j < p_.hi.size(); ++j)
    worst = std::max(worst, -bound_slack(constraint_kind::upper, j, s.x).relative());
  for (const active_constraint &a : s.active) {
    const std::size_t i = std::size_t(a.index);
    if (a.kind == constraint_kind::inequality) worst = std::max(worst, std::abs(C[i].relative()));
    if (a.kind == constraint_kind::lower || a.kind == constraint_kind::upper)
      worst = std::max(worst, std::abs(bound_slack(a.kind, i, s.x).relative()));
  }
  return worst;
}

}  // namespace detail
}  // namespace tabfit

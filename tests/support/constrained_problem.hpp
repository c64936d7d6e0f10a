// tests/support/constrained_problem.hpp - a least-squares problem with every kind of constraint, and how
// well an answer meets its optimality conditions.
//
// Nothing here comes from the solvers: the conditions are measured in long double, from the problem and
// the returned numbers alone, each relative to the magnitudes of its own terms.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "tabfit/tabfit.hpp"

/// A matrix by columns.
template <class Real>
struct Dense {
  using value_type = Real;
  int rows = 0, columns = 0;
  std::vector<Real> data;

  Dense() = default;
  Dense(int m, int n)
      : rows(m), columns(n), data(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)) {}

  Real& operator()(int i, int j) { return data[place(i, j)]; }
  Real operator()(int i, int j) const { return data[place(i, j)]; }
  tabfit::table_view<Real> view() const {
    return tabfit::table_view<Real>::column_major(data.data(), rows, columns);
  }

 private:
  std::size_t place(int i, int j) const {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) + static_cast<std::size_t>(i);
  }
};

/// min |A x - b|, C x >= d, E x = f, lo <= x <= hi. Without bounds, lo and hi are empty.
template <class Real>
struct ConstrainedProblem {
  Dense<Real> A;
  std::vector<Real> b;
  Dense<Real> C, E;
  std::vector<Real> d, f, lo, hi;

  int m() const { return A.rows; }
  int n() const { return A.columns; }
  int constraints() const {
    const auto finite = [](const std::vector<Real>& bounds) {
      return std::count_if(bounds.begin(), bounds.end(), [](Real v) { return std::isfinite(v); });
    };
    return C.rows + E.rows + static_cast<int>(finite(lo) + finite(hi));
  }
};

/// A constraint as a row: c x >= right, or c x = right.
struct ConstraintRow {
  std::vector<long double> c;
  long double right = 0;
  bool equality = false, bound = false;
};

/// Constraint `index` of a kind; c is empty if there is none.
template <class Real>
ConstraintRow row_of(const ConstrainedProblem<Real>& p, tabfit::active_constraint which) {
  using tabfit::constraint_kind;
  ConstraintRow row;
  const auto i = static_cast<std::size_t>(which.index);
  const auto take = [&](const Dense<Real>& M, const std::vector<Real>& right) {
    if (which.index < 0 || which.index >= M.rows) return;
    for (int j = 0; j < p.n(); ++j) row.c.push_back(M(which.index, j));
    row.right = right[i];
  };
  const auto take_bound = [&](const std::vector<Real>& bounds, int sign) {
    row.bound = true;
    if (i >= bounds.size() || !std::isfinite(bounds[i])) return;
    row.c.assign(static_cast<std::size_t>(p.n()), 0);
    row.c[i] = sign;
    row.right = sign * static_cast<long double>(bounds[i]);
  };
  row.equality = which.kind == constraint_kind::equality;
  if (which.kind == constraint_kind::lower) take_bound(p.lo, 1);
  if (which.kind == constraint_kind::upper) take_bound(p.hi, -1);
  if (which.kind == constraint_kind::inequality) take(p.C, p.d);
  if (which.kind == constraint_kind::equality) take(p.E, p.f);
  return row;
}

/// size / terms; 0 / 0 is 0.
inline long double relative(long double size, long double terms) {
  return size == 0 ? 0 : std::abs(size) / terms;
}

/// The largest violation of each condition, relative to its own terms.
struct Optimality {
  long double stationarity = 0, primal = 0, complementarity = 0, residual = 0;
  std::string unsound;  ///< what no rounding excuses: a negative multiplier, x outside a bound

  long double worst() const {
    return std::max(std::max(stationarity, primal), std::max(complementarity, residual));
  }
};

namespace optimality {

/// Keeps the greater; NaN is kept.
inline void raise(long double& greatest, long double value) {
  if (!(value <= greatest)) greatest = value;
}

/// |A_j| of every column, and S = sum |A_j| |x_j| + |b|, the size of the terms of A x - b. A rounding of S
/// moves every x_j by so much over |A_j|.
template <class Real>
struct Scale {
  std::vector<long double> column;
  long double sum = 0;

  Scale(const ConstrainedProblem<Real>& p, const std::vector<Real>& x) {
    long double squares = 0;
    for (const Real v : p.b) squares += static_cast<long double>(v) * v;
    sum = std::sqrt(squares);
    for (int j = 0; j < p.n(); ++j) {
      squares = 0;
      for (int i = 0; i < p.m(); ++i) squares += static_cast<long double>(p.A(i, j)) * p.A(i, j);
      column.push_back(std::sqrt(squares));
      sum += column.back() * std::abs(static_cast<long double>(x[static_cast<std::size_t>(j)]));
    }
  }
};

/// c x - right, and the size of its terms: their magnitudes, and what a rounding of A x - b means for c x.
template <class Real>
void slack(const ConstraintRow& row, const std::vector<Real>& x, const Scale<Real>& scale,
           long double& value, long double& terms) {
  value = -row.right;
  terms = std::abs(row.right);
  long double worth = 0;
  for (std::size_t j = 0; j < x.size(); ++j) {
    value += row.c[j] * x[j];
    terms += std::abs(row.c[j] * x[j]);
    if (scale.column[j] != 0) worth = std::max(worth, std::abs(row.c[j]) / scale.column[j] * scale.sum);
  }
  terms += worth;
}

template <class Real, class Solution>
void check_shape(const ConstrainedProblem<Real>& p, const Solution& s, std::string& unsound) {
  const auto size = [](int n) { return static_cast<std::size_t>(n); };
  if (s.x.size() != size(p.n())) unsound += "x has another size; ";
  if (s.residual.size() != size(p.m())) unsound += "residual has another size; ";
  if (s.active.size() != s.multipliers.size()) unsound += "active and multipliers differ; ";
  const auto finite = [](const auto& v) {
    return std::all_of(v.begin(), v.end(), [](Real e) { return std::isfinite(e); });
  };
  if (!finite(s.x) || !finite(s.residual) || !finite(s.multipliers)) unsound += "not finite; ";
  for (std::size_t j = 0; unsound.empty() && j < p.lo.size(); ++j)
    if (!(p.lo[j] <= s.x[j])) unsound += "x[" + std::to_string(j) + "] below its bound; ";
  for (std::size_t j = 0; unsound.empty() && j < p.hi.size(); ++j)
    if (!(s.x[j] <= p.hi[j])) unsound += "x[" + std::to_string(j) + "] above its bound; ";
}

/// r = A x - b against the residual -r that came back.
template <class Real, class Solution>
std::vector<long double> check_residual(const ConstrainedProblem<Real>& p, const Solution& s,
                                        long double scale, long double& violation) {
  std::vector<long double> r;
  long double squares = 0;
  for (int i = 0; i < p.m(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    long double sum = -static_cast<long double>(p.b[at]), terms = std::abs(sum);
    for (int j = 0; j < p.n(); ++j) {
      const long double term = static_cast<long double>(p.A(i, j)) * s.x[static_cast<std::size_t>(j)];
      sum += term;
      terms += std::abs(term);
    }
    raise(violation, relative(sum + s.residual[at], terms));
    r.push_back(sum);
    squares += sum * sum;
  }
  raise(violation, relative(std::sqrt(squares) - s.residual_norm, scale));
  return r;
}

/// A' r = sum of multiplier * row. The terms of a column without data are judged by what the multipliers
/// are worth in the other columns of their rows.
template <class Real, class Solution>
void check_stationarity(const ConstrainedProblem<Real>& p, const Solution& s,
                        const std::vector<long double>& r, const Scale<Real>& scale,
                        Optimality& found) {
  const auto n = static_cast<std::size_t>(p.n());
  std::vector<long double> gradient(n), terms(n);
  for (std::size_t j = 0; j < n; ++j) {
    for (int i = 0; i < p.m(); ++i)
      gradient[j] += p.A(i, static_cast<int>(j)) * r[static_cast<std::size_t>(i)];
    terms[j] = scale.column[j] * scale.sum;
  }
  std::vector<long double> sizes = terms;
  for (std::size_t k = 0; k < s.active.size(); ++k) {
    const ConstraintRow row = row_of(p, s.active[k]);
    const long double u = s.multipliers[k];
    long double worth = std::numeric_limits<long double>::infinity();
    for (std::size_t j = 0; j < n; ++j)
      if (row.c[j] != 0 && sizes[j] != 0) worth = std::min(worth, sizes[j] / std::abs(row.c[j]));
    for (std::size_t j = 0; j < n; ++j) {
      gradient[j] -= u * row.c[j];
      terms[j] += std::abs(u * row.c[j]);
      if (std::isfinite(worth)) terms[j] = std::max(terms[j], worth * std::abs(row.c[j]));
    }
  }
  for (std::size_t j = 0; j < n; ++j) raise(found.stationarity, relative(gradient[j], terms[j]));
}

template <class Real, class Solution>
void check_active(const ConstrainedProblem<Real>& p, const Solution& s, const Scale<Real>& scale,
                  Optimality& found) {
  for (std::size_t k = 0; k < s.active.size(); ++k) {
    const ConstraintRow row = row_of(p, s.active[k]);
    if (std::count(s.active.begin(), s.active.end(), s.active[k]) > 1)
      found.unsound += "a constraint is active twice; ";
    if (!row.equality && !(s.multipliers[k] >= 0)) found.unsound += "a negative multiplier; ";
    long double value, terms;
    slack(row, s.x, scale, value, terms);
    if (row.bound && value != 0) found.unsound += "off an active bound; ";
    raise(found.complementarity, relative(value, terms));
  }
}

}  // namespace optimality

template <class Real, class Solution>
Optimality optimality_of(const ConstrainedProblem<Real>& p, const Solution& s) {
  Optimality found;
  optimality::check_shape(p, s, found.unsound);
  if (!found.unsound.empty()) return found;
  for (const auto& which : s.active)
    if (row_of(p, which).c.empty()) found.unsound += "an active constraint does not exist; ";
  if (!found.unsound.empty()) return found;

  const optimality::Scale<Real> scale(p, s.x);
  const auto r = optimality::check_residual(p, s, scale.sum, found.residual);
  optimality::check_stationarity(p, s, r, scale, found);
  optimality::check_active(p, s, scale, found);
  for (const auto kind : {tabfit::constraint_kind::inequality, tabfit::constraint_kind::equality}) {
    const bool equality = kind == tabfit::constraint_kind::equality;
    for (int i = 0; i < (equality ? p.E.rows : p.C.rows); ++i) {
      long double value, terms;
      optimality::slack(row_of(p, {kind, i}), s.x, scale, value, terms);
      if (equality || value < 0) optimality::raise(found.primal, relative(value, terms));
    }
  }
  return found;
}

/// What is wrong with a proof that constraints contradict each other: weights w >= 0 (of either sign for
/// equalities) with sum w_i c_i = 0 and sum w_i right_i > 0. Empty if the proof is good.
template <class Real, class Proof>
std::string flaw_of(const ConstrainedProblem<Real>& p, const Proof& proof) {
  const auto constraints = proof.constraints();
  const auto weights = proof.weights();
  if (constraints.empty() || constraints.size() != weights.size()) return "sizes";
  const auto n = static_cast<std::size_t>(p.n());
  std::vector<long double> sum(n), terms(n);
  long double right = 0;
  for (std::size_t k = 0; k < weights.size(); ++k) {
    const ConstraintRow row = row_of(p, constraints[k]);
    const long double w = weights[k];
    if (row.c.empty()) return "a constraint does not exist";
    if (!std::isfinite(weights[k])) return "a weight is not finite";
    if (!row.equality && !(w >= 0)) return "a negative weight";
    for (std::size_t j = 0; j < n; ++j) {
      sum[j] += w * row.c[j];
      terms[j] += std::abs(w * row.c[j]);
    }
    right += w * row.right;
  }
  if (!(right > 0)) return "the right sides do not add up to more than 0";
  for (std::size_t j = 0; j < n; ++j)
    if (!(relative(sum[j], terms[j]) <= 1000 * std::numeric_limits<double>::epsilon()))
      return "the rows do not cancel in column " + std::to_string(j);
  return {};
}

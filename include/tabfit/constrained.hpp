// tabfit/constrained.hpp - least squares under linear constraints of every kind.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/dual_active_set.hpp"
#include "tabfit/dual_problem.hpp"
#include "tabfit/error.hpp"
#include "tabfit/infeasible.hpp"
#include "tabfit/normal_equations.hpp"
#include "tabfit/orthogonal.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

/// C x >= d, E x = f, lo <= x <= hi. What is left empty does not constrain. lo may have elements -infinity,
/// hi +infinity.
template <real T>
struct constraints {
  table_view<T> C{};
  std::span<const T> d{};
  table_view<T> E{};
  std::span<const T> f{};
  std::span<const T> lo{}, hi{};
};

namespace detail {

/// Throws bad_data unless sizes fit, all elements are finite and bounds are no NaN and on their side of
/// infinity.
template <real T>
void check_constraints(const char *operation, const conditions<T> &p) {
  const auto check_table = [&](const char *name, table_view<T> C, const char *side,
                               std::span<const T> d) {
    check_size(operation, side, d.size(), "element", name, at(C.rows()), "row");
    if (C.rows() > 0)
      check_size(operation, name, at(C.columns()), "column", "A", at(p.A.columns()), "column");
    check_finite(operation, name, C);
    check_finite(operation, side, d);
  };
  if (p.A.rows() < 1 || p.A.columns() < 1)
    throw bad_data(operation,
                   "A is " + std::to_string(p.A.rows()) + " by " + std::to_string(p.A.columns()));
  check_table("A", p.A, "b", p.b);
  check_table("C", p.C, "d", p.d);
  check_table("E", p.E, "f", p.f);
  check_bounds(operation, p.lo, p.hi, p.A.columns());
}

/// Rows of C, rows of E, lower bounds, upper bounds: the order of solutions and of contradictions.
inline bool in_order(const std::pair<active_constraint, double> &a,
                     const std::pair<active_constraint, double> &b) {
  const auto place = [](const active_constraint &c) {
    return std::pair((static_cast<int>(c.kind) + 2) % 4, c.index);
  };
  return place(a.first) < place(b.first);
}

/// Throws what the dual method has found, in the caller's numbers.
template <real T>
[[noreturn]] void throw_infeasible(const char *operation, const scaled_problem<T> &scaled,
                                   const dual_contradiction &found) {
  std::vector<std::pair<active_constraint, double>> weighted;
  double greatest = 0.0;
  for (std::size_t k = 0; k < found.constraints.size(); ++k) {
    double weight = found.weights[k];
    const active_constraint constraint = scaled.constraint(found.constraints[k], weight);
    weighted.emplace_back(constraint, weight);
    greatest = std::max(greatest, std::abs(weight));
  }
  std::sort(weighted.begin(), weighted.end(), in_order);
  std::vector<active_constraint> constraints;
  std::vector<double> weights;
  for (const auto &[constraint, weight] : weighted) {
    constraints.push_back(constraint);
    weights.push_back(weight / greatest);
  }
  throw infeasible(operation, contradiction_sentence(constraints), constraints, weights);
}

/// The numbers of a start in the dual problem. Throws bad_data for a constraint that is not there.
template <real T>
std::vector<int> start_numbers(const char *operation, const conditions<T> &p,
                               const scaled_problem<T> &scaled,
                               std::span<const active_constraint> start) {
  std::vector<int> numbers;
  for (const active_constraint &c : start) {
    const bool bound = c.kind == constraint_kind::lower || c.kind == constraint_kind::upper;
    const int count = bound                                 ? p.A.columns()
                      : c.kind == constraint_kind::equality ? p.E.rows()
                                                            : p.C.rows();
    if (c.index < 0 || c.index >= count)
      throw bad_data(operation, "start names " + constraint_name(c) + ", which is not there");
    const int i = scaled.number(c);
    if (i >= 0) numbers.push_back(i);
  }
  return numbers;
}

/// The active constraints, sorted, and their multipliers, of which those below `rounding` are 0.
template <real T>
void set_multipliers(solution<T> &s, const scaled_problem<T> &scaled, const dual_active_set &method,
                     double rounding) {
  std::vector<std::pair<active_constraint, double>> active;
  for (int k = 0; k < static_cast<int>(method.active().size()); ++k) {
    double u = method.multiplier(k, rounding);
    const active_constraint constraint = scaled.constraint(method.active()[at(k)], u);
    active.emplace_back(constraint, u);
  }
  std::sort(active.begin(), active.end(), in_order);
  s.active.clear();
  s.multipliers.clear();
  for (const auto &[constraint, u] : active) {
    s.active.push_back(constraint);
    s.multipliers.push_back(static_cast<T>(u));
  }
}

/// Solves the problem on the triangle r of A. Given `normal`, r comes from the normal equations of these
/// columns; s is then of no use, and false returned, unless the corrected result is as good as one from
/// Householder's triangle.
template <real T>
bool solve_on_triangle(const char *operation, const conditions<T> &p, const active_set_options &options,
                       const reduced &r, const double_columns<T> *normal, std::span<const double> b,
                       solution<T> &s) {
  constexpr double eps = static_cast<double>(std::numeric_limits<T>::epsilon()), good = 1000 * eps;
  scaled_problem<T> scaled(p, r);
  const std::vector<int> start = start_numbers(operation, p, scaled, options.start);
  int steps = options.iterations;
  if (steps <= 0) steps = 3 * (scaled.problem().n + scaled.problem().constraints()) + 10;

  dual_factor factor(p.A.columns());
  std::vector<double> x0;
  if (!normal)
    x0 = scaled.start(r, factor);
  else if (!scaled.start_corrected(r, normal->pointers(), b, factor, x0))
    return false;
  dual_active_set method(scaled.problem(), factor, std::move(x0));
  const bool finished = method.run(start, steps);
  if (!method.contradiction().constraints.empty())
    throw_infeasible(operation, scaled, method.contradiction());

  s.x = scaled.unscaled(method.x(), method.active());
  s.iterations = method.steps();
  optimality<T> point(p, r);
  point.move_to(s.x);
  s.residual.assign(point.residual().begin(), point.residual().end());
  s.residual_norm = static_cast<T>(norm(point.residual().data(), p.A.rows()));
  s.violation = infinity;
  for (const double rounding : {8.0, 1e-4}) {  // where A has columns of zeros, small multipliers count
    if (s.violation <= good) break;
    set_multipliers(s, scaled, method, rounding);
    s.violation = point.violation(s);
  }
  s.converged = finished && s.violation < good;
  return !normal || (s.converged && s.violation <= 50 * eps);
}

/// A tall problem goes to the normal equations first, where they are well conditioned.
template <real T>
solution<T> solve_constrained(const char *operation, const conditions<T> &p,
                              const active_set_options &options) {
  check_constraints(operation, p);
  solution<T> s;
  if (p.A.columns() > 1 && p.A.rows() / 4 >= p.A.columns()) {
    const double_columns<T> A(p.A);
    const std::vector<double> b(p.b.begin(), p.b.end());
    reduced r;
    if (reduce_by_normal_equations<T>(A, b, r) &&
        solve_on_triangle<T>(operation, p, options, r, &A, b, s))
      return s;
  }
  solve_on_triangle<T>(operation, p, options, reduce<T>(p.A, p.b), nullptr, {}, s);
  return s;
}

}  // namespace detail

/// Least squares under linear constraints: minimises |A x - b| subject to C x >= d, E x = f and
/// lo <= x <= hi. Each of these may be left out.
///
///     const auto s = tabfit::constrained(A, b, {.C = C, .d = d, .lo = zeros});
///
/// @param A        m by n, m >= 1, n >= 1, of any rank
/// @param b        m elements
/// @param limits   C is k by n with d of k elements, E is p by n with f of p elements, lo and hi have n
///                 elements each, of which those of lo may be -infinity and those of hi +infinity
/// @param options  start: constraints that are likely to be active, as another solution's `active`. The
///                 method starts from the minimiser over them. A good start saves nearly all iterations, a
///                 wrong one costs time only. Rows of E are active in any case.
///                 iterations: the most changes of the active set, 0 for 3 (n + constraints) + 10
///
/// @return x is on an active bound to the bit, and never beyond a bound. `active` and `multipliers` are
///         sorted: rows of C, rows of E, lower bounds, upper bounds. Constraints that depend on the
///         active ones are not among them.
///
/// If A is rank deficient, or its condition is above 1e11 with columns scaled to one length, many x may be
/// as good. The one returned is near 0, as measured with these scales: it is found with 2^-54 |x|^2 added
/// to |A x - b|^2, and the addition then removed by iterating (proximal point method).
///
/// If the iterations do not suffice, `converged` is false, and x is the minimiser over the constraints that
/// were active last. It satisfies the bounds, but others of the constraints may be violated; `violation`
/// says by how much. A dual method has no better point on its way.
///
/// Constraints that contradict each other by no more than rounding are taken to touch.
///
/// Works in double for both element types; the results are rounded once.
///
/// @throws infeasible      no x satisfies the constraints; names those that contradict each other
/// @throws bad_data        sizes that do not fit, an element that is NaN or infinite, lo above hi, a start that is
///                         not there
/// @throws std::bad_alloc  memory ran out
///
/// Cost: 2 m n^2 operations for the triangle of A, n^3 for its inverse, about (k + 8 n) n for an iteration
/// and 30 m n for each step of refinement, mostly one. For m >= 4 n and a condition below 1e3 the triangle
/// costs m n^2, by the engine's products, and a step of refinement 4 m n.
/// Method: Goldfarb and Idnani, A numerically stable dual method for solving strictly convex quadratic
/// programs, Mathematical Programming 27 (1983), on the triangle of A instead of A^T A.
template <table A>
auto constrained(const A &a, std::span<const typename A::value_type> b,
                 const constraints<typename A::value_type> &limits = {},
                 const active_set_options &options = {}) -> solution<typename A::value_type> {
  return detail::solve_constrained<typename A::value_type>(
      "constrained", {a.view(), b, limits.C, limits.d, limits.E, limits.f, limits.lo, limits.hi},
      options);
}

}  // namespace tabfit

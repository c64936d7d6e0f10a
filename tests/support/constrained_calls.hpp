// tests/support/constrained_calls.hpp - the front's constrained solvers, each on the problems that it takes.
#pragma once

#include <span>

#include "tests/support/constrained_problem.hpp"

enum class Solver { nonnegative, bounded, least_distance, constrained, all };

inline const char* name_of(Solver solver) {
  constexpr const char* names[] = {"nonnegative", "bounded", "least_distance", "constrained", "all"};
  return names[static_cast<int>(solver)];
}

/// Solves p. nonnegative takes A, b; bounded also lo and hi; least_distance C and d, with A = I, b = 0.
template <class Real>
tabfit::solution<Real> solve(Solver solver, const ConstrainedProblem<Real>& p,
                             std::span<const tabfit::active_constraint> start = {},
                             int iterations = 0) {
  const std::span<const Real> b = p.b, d = p.d, f = p.f, lo = p.lo, hi = p.hi;
  if (solver == Solver::nonnegative)
    return tabfit::nonnegative(p.A, b, {.start = start, .iterations = iterations});
  if (solver == Solver::bounded)
    return tabfit::bounded(p.A, b, lo, hi, {.start = start, .iterations = iterations});
  if (solver == Solver::least_distance)
    return tabfit::least_distance(p.C, d, {.start = start, .iterations = iterations});
  return tabfit::constrained(p.A, b,
                             {.C = p.C.view(), .d = d, .E = p.E.view(), .f = f, .lo = lo, .hi = hi},
                             {.start = start, .iterations = iterations});
}

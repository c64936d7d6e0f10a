// tests/support/constrained_calls.hpp - the front's constrained solvers, each on the problems that it takes.
#pragma once

#include <span>

#include "tests/support/constrained_problem.hpp"

enum class Solver { nonnegative, bounded, all };

inline const char* name_of(Solver solver) {
  constexpr const char* names[] = {"nonnegative", "bounded", "all"};
  return names[static_cast<int>(solver)];
}

/// Solves p. nonnegative takes A, b; bounded also lo and hi.
template <class Real>
tabfit::solution<Real> solve(Solver solver, const ConstrainedProblem<Real>& p,
                             std::span<const tabfit::active_constraint> start = {},
                             int iterations = 0) {
  const std::span<const Real> b = p.b, lo = p.lo, hi = p.hi;
  const tabfit::active_set_options options = {.start = start, .iterations = iterations};
  return solver == Solver::nonnegative ? tabfit::nonnegative(p.A, b, options)
                                       : tabfit::bounded(p.A, b, lo, hi, options);
}

// tests/support/engine_calls.hpp - whether the engine's constrained solvers return.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/constrained_calls.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

/// True if the engine's solver takes such problems: it has no equations, no infinite bounds, and bounds or
/// inequalities, not both.
template <class Real>
bool engine_takes(Solver solver, const ConstrainedProblem<Real>& p) {
  if (solver == Solver::bounded)
    return std::all_of(p.lo.begin(), p.lo.end(), [](Real v) { return std::isfinite(v); }) &&
           std::all_of(p.hi.begin(), p.hi.end(), [](Real v) { return std::isfinite(v); });
  return solver != Solver::constrained || (p.E.rows == 0 && p.lo.empty() && p.hi.empty());
}

/// M and, as one more column, its right sides; with room for what the solvers add.
template <class Real>
Table<Real> engine_table(const Dense<Real>& M, const std::vector<Real>& right) {
  const int side = std::max(M.rows, M.columns) + 2;
  Table<Real> table(side, side + 1);
  table.fill([] { return Real(0); });
  for (int i = 0; i < M.rows; ++i) {
    for (int j = 0; j < M.columns; ++j) table.at(i, j) = M(i, j);
    table.at(i, M.columns) = right[static_cast<std::size_t>(i)];
  }
  return table;
}

/// True if the engine's solver does not return. It asks for memory at every pass; request number
/// last_request is refused, which ends it. Calls that return make fewer than 600 requests.
template <class Real>
bool engine_hangs(Solver solver, const ConstrainedProblem<Real>& p) {
  constexpr int last_request = 2000;
  Table<Real> A = engine_table(p.A, p.b), C = engine_table(p.C, p.d);
  const int m = p.m(), n = p.n(), k = p.C.rows;
  std::vector<Real> x(static_cast<std::size_t>(std::max(std::max(m, n), k) + 2)), r(x.size());
  Real rn;
  allocation_probe::begin(last_request);
  if (solver == Solver::nonnegative) Ls_cnn(A.slots(), m, n, x.data(), r.data(), &rn);
  if (solver == Solver::bounded) Ls_cint(A.slots(), m, n, p.lo.data(), p.hi.data(), x.data(), &rn);
  if (solver == Solver::least_distance) Ls_ldp(C.slots(), k, n, x.data());
  if (solver == Solver::constrained) Ls_cgrn(A.slots(), m, n, C.slots(), k, x.data(), &rn);
  return allocation_probe::end().refused > 0;
}

// tests/support/engine_calls.hpp - whether the engine's constrained solvers return.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/constrained_calls.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

/// True if the engine's solver takes such problems: it has no infinite bounds.
template <class Real>
bool engine_takes(Solver solver, const ConstrainedProblem<Real>& p) {
  if (solver == Solver::bounded)
    return std::all_of(p.lo.begin(), p.lo.end(), [](Real v) { return std::isfinite(v); }) &&
           std::all_of(p.hi.begin(), p.hi.end(), [](Real v) { return std::isfinite(v); });
  return solver == Solver::nonnegative;
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
  Table<Real> A = engine_table(p.A, p.b);
  const int m = p.m(), n = p.n();
  std::vector<Real> x(static_cast<std::size_t>(std::max(m, n) + 2)), r(x.size());
  Real rn;
  allocation_probe::begin(last_request);
  if (solver == Solver::nonnegative) Ls_cnn(A.slots(), m, n, x.data(), r.data(), &rn);
  if (solver == Solver::bounded) Ls_cint(A.slots(), m, n, p.lo.data(), p.hi.data(), x.data(), &rn);
  return allocation_probe::end().refused > 0;
}

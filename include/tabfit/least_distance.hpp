// tabfit/least_distance.hpp - the point next to 0 that satisfies inequalities.
//
//   least_distance(G, h)   minimises |x| subject to G x >= h
#pragma once

#include <span>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/constrained.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

/// Minimises |x| subject to G x >= h. There is one solution, or none.
///
/// For the point next to another point p, solve with h - G p and add p.
///
/// @param G        k by n, n >= 1; no row is a constraint, too. Rows may depend on each other
/// @param h        k elements
/// @param options  a guess of the active set, a limit on the iterations; see active_set_options
///
/// @return x; residual is -x, residual_norm |x|; active rows are of the kind inequality, and x is the sum
///         of the multipliers times the rows of G
///
/// @throws infeasible      no x satisfies G x >= h: "G rows 0 and 3 contradict each other"
/// @throws bad_data        sizes do not fit; G or h holds NaN or an infinity; a start names no row
/// @throws std::bad_alloc  memory ran out
///
/// Cost: 2 n^3 operations once, about (k + 8 n) n for an iteration. Memory: a copy of G, some n by n.
/// Method: that of constrained(), with the identity for A. Lawson and Hanson, Solving Least Squares Problems,
/// chapter 23, solve the dual problem by non-negative least squares instead, with a residual that falls
/// below rounding where |x| is large.
template <table M>
solution<typename M::value_type> least_distance(const M &G, std::span<const typename M::value_type> h,
                                                const active_set_options &options = {}) {
  using T = typename M::value_type;
  const table_view<T> rows = G.view();
  const int n = rows.columns();
  if (n == 0) throw bad_data("least_distance", "G has no column");
  detail::check_size("least_distance", "h", h.size(), "element", "G", detail::at(rows.rows()), "row");
  detail::check_finite("least_distance", "G", rows);
  detail::check_finite("least_distance", "h", h);
  column_table<T> identity(n, n);
  for (int j = 0; j < n; ++j) identity(j, j) = 1;
  const std::vector<T> zero(detail::at(n));
  try {
    return detail::solve_constrained<T>(
        "least_distance",
        {.A = identity.view(), .b = zero, .C = rows, .d = h, .E = {}, .f = {}, .lo = {}, .hi = {}},
        options);
  } catch (const infeasible &found) {
    const auto [c, w] = std::pair(found.constraints(), found.weights());
    throw infeasible("least_distance", detail::contradiction_sentence(c, "G"), {c.begin(), c.end()},
                     {w.begin(), w.end()});
  }
}

}  // namespace tabfit

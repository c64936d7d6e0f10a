// tabfit/nonnegative.hpp - least squares whose unknowns are not negative.
//
//   nonnegative(A, b)   minimises |A x - b| subject to x >= 0
#pragma once

#include <algorithm>
#include <limits>
#include <span>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/bounded.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

/// Minimises |A x - b| subject to x >= 0.
///
/// @param A        m by n, any m and n from 1 on; its columns may depend on each other
/// @param b        m elements
/// @param options  a guess of the active set (bounds of kind lower), a limit on the iterations; see
///                 active_set_options
///
/// @throws bad_data  sizes do not fit; A or b holds NaN or an infinity; a start names no bound of this problem
/// @throws std::bad_alloc  memory ran out
///
/// Values, accuracy, cost and memory are those of bounded(), which this is with lo = 0 and no hi.
/// Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23, from the positive part of the
/// solution without bounds on.
template <table M>
solution<typename M::value_type> nonnegative(const M &A, std::span<const typename M::value_type> b,
                                             const active_set_options &options = {}) {
  using T = typename M::value_type;
  detail::check_problem<T>("nonnegative", A.view(), b);
  const int n = A.view().columns();
  std::vector<T> bounds(2 * detail::at(n));
  const std::span<T> lo(bounds.data(), detail::at(n)), hi(bounds.data() + n, detail::at(n));
  std::ranges::fill(hi, std::numeric_limits<T>::infinity());
  return detail::solve_bounded<T>(
      "nonnegative", {.A = A.view(), .b = b, .C = {}, .d = {}, .E = {}, .f = {}, .lo = lo, .hi = hi},
      options, n);
}

}  // namespace tabfit

// tests/support/refused.hpp - points that a table of nodes refuses.
#pragma once

#include <vector>

#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

/// The point at the position becomes one that is refused, and so does one from there on.
template <class Real>
void refuse_from(int position, const std::vector<Real>& x, Random& random, std::vector<Real>& t) {
  constexpr double tol = tolerance_of<Real>;
  const Real refused[] = {static_cast<Real>(x.front() - 2 * tol), static_cast<Real>(x.back() + 2 * tol),
                          nan_of<Real>, inf_of<Real>, -inf_of<Real>};
  const int last = static_cast<int>(t.size()) - 1;
  for (const int at : {position, random.integer(position, last)})
    t[static_cast<std::size_t>(at)] = refused[random.integer(0, 4)];
}

// tools/design.hpp - how well abscissae determine a spline on equally spaced knots.
#pragma once

#include <string>
#include <vector>

namespace tabfit::tool {

/// n interior knots between two outer ones, 0 and n + 1, all equally spaced.
struct Knots {
  int n;
  double first, last;

  double at(int i) const;
  /// On the scale of the knots: 0 to n + 1.
  double place(double x) const;
};

/// Rank of the design without rounding (Schoenberg and Whitney): the greatest number of abscissae that
/// can each take a B-spline of its own, one that is not zero there. The abscissae ascend from the first
/// knot to the last.
template <class Real>
int rank_of_design(const Knots& knots, const std::vector<Real>& x);

/// "no data between 12.1 and 15.8": the longest runs of knot intervals with no abscissa inside. Empty
/// if there are none.
template <class Real>
std::string empty_intervals(const Knots& knots, const std::vector<Real>& x);

}  // namespace tabfit::tool

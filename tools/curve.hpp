// tools/curve.hpp - a curve at the wanted points, and its report.
#pragma once

#include <string>
#include <vector>

#include "tools/output.hpp"
#include "tools/points.hpp"

namespace tabfit::tool {

template <class Real>
struct Curve {
  std::vector<Real> value, slope, curvature;  ///< derivatives only if they are wanted
};

/// Room for m points.
template <class Real>
Curve<Real> empty_curve(std::size_t m, bool derivatives);

/// Throws NoResult if a number is not finite; the message begins with the source.
template <class Real>
void check_finite(const std::string& source, const Points<Real>& points, const Curve<Real>& curve);

/// The columns of a curve, for a report whose rows are points.
template <class Real>
std::vector<Column> curve_columns(const std::string& x_name, const std::string& y_name,
                                  const Points<Real>& points, const Curve<Real>& curve);

}  // namespace tabfit::tool

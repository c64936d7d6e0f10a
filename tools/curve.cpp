// tools/curve.cpp - a curve at the wanted points, and its report.
#include "tools/curve.hpp"

#include <cmath>

#include "tools/failure.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {

template <class Real>
Curve<Real> empty_curve(std::size_t m, bool derivatives) {
  Curve<Real> curve;
  curve.value.resize(m);
  if (derivatives) curve.slope = curve.curvature = curve.value;
  return curve;
}

template <class Real>
void check_finite(const std::string& source, const Points<Real>& points, const Curve<Real>& curve) {
  for (const std::vector<Real>* results : {&curve.value, &curve.slope, &curve.curvature})
    for (std::size_t j = 0; j < results->size(); ++j)
      if (!std::isfinite((*results)[j]))
        throw NoResult(source + ": the result at " + points.name(j) + " is beyond the range of " +
                       Precision<Real>::name + " precision");
}

template <class Real>
std::vector<Column> curve_columns(const std::string& x_name, const std::string& y_name,
                                  const Points<Real>& points, const Curve<Real>& curve) {
  std::vector<Column> columns{number_column(x_name, "x", points.at),
                              number_column(y_name, "y", curve.value)};
  if (curve.slope.empty()) return columns;
  columns.push_back(number_column("first derivative", "first_derivative", curve.slope));
  columns.push_back(number_column("second derivative", "second_derivative", curve.curvature));
  return columns;
}

template Curve<float> empty_curve(std::size_t, bool);
template Curve<double> empty_curve(std::size_t, bool);
template void check_finite(const std::string&, const Points<float>&, const Curve<float>&);
template void check_finite(const std::string&, const Points<double>&, const Curve<double>&);
template std::vector<Column> curve_columns(const std::string&, const std::string&, const Points<float>&,
                                           const Curve<float>&);
template std::vector<Column> curve_columns(const std::string&, const std::string&,
                                           const Points<double>&, const Curve<double>&);

}  // namespace tabfit::tool

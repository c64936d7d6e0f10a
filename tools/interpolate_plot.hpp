// tools/interpolate_plot.hpp - the picture of an interpolated table.
#pragma once

#include <string>
#include <vector>

#include "tools/plot.hpp"

namespace tabfit::tool {

template <class Real>
struct Interpolation {
  std::string source, x_name, y_name;
  bool straight;                  ///< the points were read along straight lines
  const std::vector<Real>&x, &y;  ///< the nodes, ascending
  const std::vector<Real>&at, &value;
};

/// Above, the table with both interpolants and the points read from one of them; below, the slopes.
/// A table too narrow for the spline is drawn without it.
template <class Real>
Picture interpolation_picture(const Interpolation<Real>& shown);

}  // namespace tabfit::tool

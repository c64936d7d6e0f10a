// tools/fit_plot.hpp - the pictures of a fit: with its data, and alone.
#pragma once

#include <string>
#include <vector>

#include "tools/fitted.hpp"
#include "tools/plot.hpp"

namespace tabfit::tool {

template <class Real>
struct Marked {
  std::vector<Real> x, y;
};

/// Above, the data, the fit and the points that were asked for, if any; below, the residuals.
template <class Real>
Picture fit_picture(const Fitted<Real>& fitted, const std::string& source, const Marked<Real>& data,
                    const std::vector<Real>& residual, const Marked<Real>& points);

/// Above, the fit and the points that were asked for; below, the first derivative.
template <class Real>
Picture curve_picture(const Fitted<Real>& fitted, const std::string& source,
                      const Marked<Real>& points);

}  // namespace tabfit::tool

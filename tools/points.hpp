// tools/points.hpp - the abscissae at which a curve is wanted.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tabfit::tool {

template <class Real>
struct Points {
  std::vector<Real> at;
  std::function<std::string(std::size_t)> name;  ///< of one point inside a message
};

/// Points from an option: "350,360.5", or "START:STOP:COUNT". Throws BadInput.
template <class Real>
Points<Real> points_from_option(const std::string& option, const std::string& text);

/// Points from the first column of a table. Throws BadInput.
template <class Real>
Points<Real> points_from_file(const std::string& file);

}  // namespace tabfit::tool

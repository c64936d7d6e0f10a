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

/// Points from the first column of a file if it is named, or else from the text of --at: "350,360.5",
/// or "START:STOP:COUNT". Throws BadInput.
template <class Real>
Points<Real> read_points(const std::string& at, const std::string& at_file);

}  // namespace tabfit::tool

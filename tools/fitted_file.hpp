// tools/fitted_file.hpp - a fit as a JSON file, from which it is evaluated later.
#pragma once

#include <string>

#include "tools/fitted.hpp"

namespace tabfit::tool {

/// The content of the file. The source is the table that was fitted.
template <class Real>
std::string coefficients_text(const Fitted<Real>& fitted, const std::string& source);

/// The precision of a fit, "single" or "double". Throws BadInput if the content is not that of such a
/// file; the message begins with the source.
std::string precision_of(const std::string& content, const std::string& source);

/// The fit that was kept, bit for bit. Throws BadInput if something is missing, has a wrong type or
/// length, or contradicts the rest; the message begins with the source.
template <class Real>
Fitted<Real> read_fitted(const std::string& content, const std::string& source);

}  // namespace tabfit::tool

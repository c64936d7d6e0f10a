// tools/fit_refusals.hpp - why a fit is refused, in the words of its data.
#pragma once

#include "tools/fitted.hpp"
#include "tools/pairs.hpp"

namespace tabfit::tool {

/// Throws NoResult if there are too few data for the size, or the precision does not carry so many
/// knots.
template <class Real>
void check_size(const Pairs<Real>& data, Kind kind, int size);

/// The data do not determine the coefficients: names the gaps between them.
template <class Real>
[[noreturn]] void refuse_rank(const Pairs<Real>& data, Kind kind, int size, int rank);

/// The tolerance is relative to half the range. Names the two neighbours that are closest to each
/// other.
template <class Real>
[[noreturn]] void refuse_closest(const Pairs<Real>& data, double tolerance);

/// Begins with "the fit is" or "the abscissae are".
template <class Real>
[[noreturn]] void refuse_range(const Pairs<Real>& data, const char* what);

}  // namespace tabfit::tool

// tools/fitted.hpp - a least-squares spline or polynomial: how it is fitted and evaluated.
#pragma once

#include <string>
#include <vector>

#include "tools/curve.hpp"
#include "tools/pairs.hpp"

namespace tabfit::tool {

enum class Kind { spline, polynomial };

constexpr int most_degree = 9999;

/// All that is needed to evaluate a fit, and how well it meets its data.
///
/// The library maps abscissae onto a reference interval whose centre it rounds to its element type.
/// That spoils the fit of a narrow range far from 0. So the library gets the abscissae less a shift:
/// the middle of the range if all lie within a factor of two of each other, else 0. No bit is lost.
template <class Real>
struct Fitted {
  Kind kind;
  int size;  ///< interior knots of the spline, or degree of the polynomial
  std::string x_name, y_name;
  int points;        ///< to which it was fitted
  Real first, last;  ///< range of their abscissae
  Real shift;
  std::vector<Real> a = {};   ///< as the library leaves it, for the shifted abscissae
  Real rms = 0, largest = 0;  ///< residuals at the points
};

/// Coefficients of a fit of n interior knots, or of degree n.
constexpr int unknowns(Kind kind, int n) { return kind == Kind::spline ? n + 4 : n + 1; }

/// "spline of 12 interior knots", "polynomial of degree 3"
template <class Real>
std::string title(const Fitted<Real>& fitted);

/// Throws NoResult if the data do not determine the fit, or the fit is beyond the library.
template <class Real>
Fitted<Real> fit(const Pairs<Real>& data, Kind kind, int size);

/// Evaluates a fit at points of its range. A point outside by no more than the library's tolerance is
/// moved onto the end. Throws NoResult for a point further out; the message begins with the source.
template <class Real>
Curve<Real> evaluate(const Fitted<Real>& fitted, const Points<Real>& points, bool derivatives,
                     const std::string& source);

/// The same at points that are known to lie in the range.
template <class Real>
Curve<Real> evaluate(const Fitted<Real>& fitted, std::vector<Real> at, bool derivatives);

/// The ordinates of the data less those of the fit.
template <class Real>
std::vector<Real> residuals(const Pairs<Real>& data, const std::vector<Real>& values);

}  // namespace tabfit::tool

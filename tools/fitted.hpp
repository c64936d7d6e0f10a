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
/// The library maps abscissae onto a reference interval with a centre that it rounds to its element type,
/// which spoils the fit of a narrow range far from 0. So it sees the abscissae less a shift: 0, or if all
/// lie within a factor of two of each other, the middle of the range. No bit is lost in either case.
template <class Real>
struct Fitted {
  Kind kind;
  int size;  ///< interior knots of the spline, or degree of the polynomial
  std::string x_name, y_name;
  int points;        ///< to which it was fitted
  Real first, last;  ///< range of their abscissae
  Real shift;
  std::vector<Real> a;  ///< as the library leaves it, for the shifted abscissae
  Real rms, largest;    ///< residuals at the points
};

/// "spline of 12 interior knots", "polynomial of degree 3"
template <class Real>
std::string title(const Fitted<Real>& fitted);

/// Pairs with strictly ascending abscissae. Throws NoResult, unless abscissae are merely repeated and are to
/// be averaged: then their ordinates' mean stands for all of them.
template <class Real>
void make_ascending(Pairs<Real>& data, bool average_repeated);

/// Throws NoResult if the data and the kind of fit do not go together.
template <class Real>
Fitted<Real> fit(const Pairs<Real>& data, Kind kind, int size);

/// Evaluates a fit at points of its range; one that lies outside by no more than the library's tolerance is
/// moved onto the end. Throws NoResult, beginning with the source, for another one.
template <class Real>
Curve<Real> evaluate(const Fitted<Real>& fitted, const Points<Real>& points, bool derivatives,
                     const std::string& source);

/// The same at points that lie in the range for sure.
template <class Real>
Curve<Real> evaluate(const Fitted<Real>& fitted, std::vector<Real> at, bool derivatives);

/// What the data have more than the fit.
template <class Real>
std::vector<Real> residuals(const Pairs<Real>& data, const std::vector<Real>& values);

}  // namespace tabfit::tool

// tools/precision.hpp - what the command knows of the library's two precisions.
#pragma once

#include <memory>

#include "tabfit/engine.hpp"

namespace tabfit::tool {

using namespace engine;  // the C functions under their stems

/// One precision: its name; the tolerance of the library, the least width of an interval in the unit of
/// the operation; the most interior knots for which the spline basis is finite.
template <class Real>
struct Precision;
template <>
struct Precision<float> {
  static constexpr const char* name = "single";
  static constexpr double tolerance = 2e-5;
  static constexpr int most_knots = 65;
};
template <>
struct Precision<double> {
  static constexpr const char* name = "double";
  static constexpr double tolerance = 2e-9;
  static constexpr int most_knots = 537;
};

template <class Real>
struct BasisRelease {
  void operator()(Real** T) const { AX_freed2fcs(T); }
};

/// A basis table with its owner; null if memory runs out.
template <class Real>
std::unique_ptr<Real*, BasisRelease<Real>> basis_table(int n) {
  return std::unique_ptr<Real*, BasisRelease<Real>>(AX_d2fcs<Real>(n));
}

}  // namespace tabfit::tool

// kernels/scalar/tolerance.hpp - per-type tolerances, each with its reason.
#pragma once

namespace tabfit {

template <class Real>
struct Tolerance;

template <>
struct Tolerance<float> {
  /// Tables: least width of an interval, and slack outside the ends, in the unit of the abscissae.
  /// A float abscissa near 100 is known to 8e-6.
  static constexpr double node = 2e-5;
  /// M_qrd: least column norm relative to the greatest; a few hundred roundings of a float. The noise
  /// of the downdated norms is greater: a column that depends on others up to rounding may pass.
  static constexpr double rank = 2e-5;
  /// Ls_cnn, Ls_ldp: what counts as a positive dual value, or as a zero, relative to the greatest.
  static constexpr double dual = 2e-6;
};

template <>
struct Tolerance<double> {
  /// Tables: least width of an interval, and slack outside the ends, in the unit of the abscissae.
  /// A double abscissa near 1e6 is known to 1e-10.
  static constexpr double node = 2e-9;
  /// M_qrd: least column norm relative to the greatest; about 2e7 roundings of a double. The noise of
  /// the downdated norms is greater: a column that depends on others up to rounding may pass.
  static constexpr double rank = 2e-9;
  /// Ls_cnn, Ls_ldp: what counts as a positive dual value, or as a zero, relative to the greatest.
  static constexpr double dual = 2e-10;
};

}  // namespace tabfit

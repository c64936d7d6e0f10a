// tests/support/twin_test.hpp - one test body for both element types.
#pragma once

#include <gtest/gtest.h>

#include <limits>

/// Defines Suite_f.Name and Suite_d.Name from one body over the element type Real.
#define TWIN_TEST(Suite, Name)                        \
  template <class Real>                               \
  static void Suite##_##Name();                       \
  TEST(Suite##_f, Name) { Suite##_##Name<float>(); }  \
  TEST(Suite##_d, Name) { Suite##_##Name<double>(); } \
  template <class Real>                               \
  static void Suite##_##Name()

template <class Real>
inline constexpr Real nan_of = std::numeric_limits<Real>::quiet_NaN();
template <class Real>
inline constexpr Real inf_of = std::numeric_limits<Real>::infinity();
template <class Real>
inline constexpr Real eps_of = std::numeric_limits<Real>::epsilon();

/// The tolerance of the AX_ family and of M_qrd.
template <class Real>
inline constexpr double tolerance_of = sizeof(Real) == 4 ? 2e-5 : 2e-9;

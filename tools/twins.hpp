// tools/twins.hpp - the library's functions as overloads: the element type picks the twin.
#pragma once

#include "tabfit/tabfit.h"

namespace tabfit::tool {

/// What one precision is called, and the library's tolerance in it: the least width of an interval.
template <class Real>
struct Precision;
template <>
struct Precision<float> {
  static constexpr const char* name = "single";
  static constexpr double tolerance = 2e-5;
};
template <>
struct Precision<double> {
  static constexpr const char* name = "double";
  static constexpr double tolerance = 2e-9;
};

inline int AX_lintval(int n, const float* x, const float* y, double t, double* result) {
  return AX_lintvalf(n, x, y, t, result);
}
inline int AX_lintval(int n, const double* x, const double* y, double t, double* result) {
  return AX_lintvald(n, x, y, t, result);
}

inline int AX_linttab(int n, const float* x, const float* y, int m, const float* t, float* out) {
  return AX_linttabf(n, x, y, m, t, out);
}
inline int AX_linttab(int n, const double* x, const double* y, int m, const double* t, double* out) {
  return AX_linttabd(n, x, y, m, t, out);
}

inline int AX_intspl3(const float* x, float* C, int n) { return AX_intspl3f(x, C, n); }
inline int AX_intspl3(const double* x, double* C, int n) { return AX_intspl3d(x, C, n); }

inline int AX_intspl3val(const float* x, const float* C, int n, double u, double* s, double* s1,
                         double* s2) {
  return AX_intspl3valf(x, C, n, u, s, s1, s2);
}
inline int AX_intspl3val(const double* x, const double* C, int n, double u, double* s, double* s1,
                         double* s2) {
  return AX_intspl3vald(x, C, n, u, s, s1, s2);
}

inline int AX_intspl3tab(const float* x, float* C, int n, int m, const float* u, float* s, float* s1,
                         float* s2) {
  return AX_intspl3tabf(x, C, n, m, u, s, s1, s2);
}
inline int AX_intspl3tab(const double* x, double* C, int n, int m, const double* u, double* s,
                         double* s1, double* s2) {
  return AX_intspl3tabd(x, C, n, m, u, s, s1, s2);
}

}  // namespace tabfit::tool

// tools/twins.hpp - the library's functions as overloads: the element type picks the twin.
#pragma once

#include <memory>

#include "tabfit/tabfit.h"

namespace tabfit::tool {

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

/// A basis table, released with its owner; null if memory runs out.
inline auto AX_d2fcs(int n, float) {
  return std::unique_ptr<float*, void (*)(float**)>(AX_d2fcsf(n), AX_freed2fcsf);
}
inline auto AX_d2fcs(int n, double) {
  return std::unique_ptr<double*, void (*)(double**)>(AX_d2fcsd(n), AX_freed2fcsd);
}

inline int AX_apxcoef(float* const* T, int n, int m, const float* x, const float* y, float* a) {
  return AX_apxcoeff(T, n, m, x, y, a);
}
inline int AX_apxcoef(double* const* T, int n, int m, const double* x, const double* y, double* a) {
  return AX_apxcoefd(T, n, m, x, y, a);
}

inline int AX_apxvals(float* const* T, int n, const float* a, int m, const float* v, float* s,
                      float* s1, float* s2) {
  return AX_apxvalsf(T, n, a, m, v, s, s1, s2);
}
inline int AX_apxvals(double* const* T, int n, const double* a, int m, const double* v, double* s,
                      double* s1, double* s2) {
  return AX_apxvalsd(T, n, a, m, v, s, s1, s2);
}

inline int AX_polapxcoef(int p, int m, float* x, const float* y, float* a) {
  return AX_polapxcoeff(p, m, x, y, a);
}
inline int AX_polapxcoef(int p, int m, double* x, const double* y, double* a) {
  return AX_polapxcoefd(p, m, x, y, a);
}

inline int AX_polapxval(int p, const float* a, int k, float* v, float* s, float* s1, float* s2) {
  return AX_polapxvalf(p, a, k, v, s, s1, s2);
}
inline int AX_polapxval(int p, const double* a, int k, double* v, double* s, double* s1, double* s2) {
  return AX_polapxvald(p, a, k, v, s, s1, s2);
}

inline int M_qrd(float** A, int m, int n, int k, int* ip) { return M_qrdf(A, m, n, k, ip); }
inline int M_qrd(double** A, int m, int n, int k, int* ip) { return M_qrdd(A, m, n, k, ip); }

inline int Ls(float** A, int m, int n, float* rn) { return Ls_f(A, m, n, rn); }
inline int Ls(double** A, int m, int n, double* rn) { return Ls_d(A, m, n, rn); }

}  // namespace tabfit::tool

// appx/convex_spline.cpp - least-squares spline whose second derivative is bounded at every knot.
#include "tabfit/approximation.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/vector.hpp"

#include "matrix1/storage.hpp"

#include "llsqp/constrained.hpp"

#include "appx/spline_basis.hpp"
#include "appx/spline_fit.hpp"

#include <cstdlib>

namespace tabfit {
namespace {

/// Status of a call whose memory runs out, and of one whose solver returns `status`.
// Deliberate: the double twin has one code for both, the single twin 1 and the solver's own. So the
// double twin does not tell why it failed, and 1 of the single twin may also be a pseudo-rank.
template <class Real>
inline constexpr int no_memory = is_double<Real> ? AX_SPLCONVD_FAILED : AX_SPLCONVF_NO_MEMORY;
template <class Real>
constexpr int refused(int status) noexcept {
  return is_double<Real> ? AX_SPLCONVD_FAILED : status;
}

template <class Real>
int AX_splconv(int n, double g, int m, const Real* x, const Real* y, int k, const Real* v, Real* s,
               Real* s1, Real* s2) noexcept {
  if (n == 0) return AX_SPLCONV_NO_KNOTS;
  const std::ptrdiff_t magnitude = std::abs(std::ptrdiff_t(n));
  if (magnitude > std::ptrdiff_t(m) - 4 || k < 1 || !(g >= 0.0)) return AX_SPLCONV_BAD_ARGUMENT;
  const int N = int(magnitude), knots = N + 2, functions = N + 4;
  const PointMapping map = spline_mapping(x, m);

  const BasisTable<Real> basis(AX_d2fcs<Real>(N));
  const CArray<Real> a = c_array<Real>(basis ? functions + 2 : -1);
  const CArray<Real> h = c_array<Real>(a ? knots : -1);
  const CArray<Real> block = c_array<Real>(h ? (std::ptrdiff_t(functions) + 1) * m : -1);
  const CArray<Real*> design = c_array<Real*>(block ? std::ptrdiff_t(functions) + 1 : -1);
  if (!design) return no_memory<Real>;

  // The basis table is the matrix of the constraints: at every knot the second derivative in the
  // reference scale is at least g hw^2.
  Real** T = basis.get();
  V_fill(h.get(), knots, store<double>(g * Wide(map.hw) * map.hw));
  T[functions] = h.get();
  const auto turn = [=] {
    for (int j = 0; n < 0 && j < functions; ++j) V_neg(T[j], knots);
  };

  M_storec(block.get(), m, functions + 1, design.get());
  spline_design(T, N, m, x, map, design.get());
  V_copy(y, design[functions], m);
  turn();
  Real squared_norm;
  const int status = Ls_cgrn(design.get(), m, functions, T, knots, a.get(), &squared_norm);
  if (status != 0) return refused<Real>(status);
  turn();
  a[functions] = store<Real>(map.cm);
  a[functions + 1] = store<Real>(map.hw);

  values_and_residuals<Real>(T, N, a.get(), m, x, y, k, v, s, s1, s2);
  return AX_SPLCONV_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int AX_splconvf(int n, double g, int m, const float* x, const float* y, int k, const float* v, float* s,
                float* s1, float* s2) noexcept {
  return tabfit::AX_splconv(n, g, m, x, y, k, v, s, s1, s2);
}
int AX_splconvd(int n, double g, int m, const double* x, const double* y, int k, const double* v,
                double* s, double* s1, double* s2) noexcept {
  return tabfit::AX_splconv(n, g, m, x, y, k, v, s, s1, s2);
}

}  // extern "C"

// tools/fitted.cpp - a least-squares spline or polynomial: how it is fitted and evaluated.
#include "tools/fitted.hpp"

#include <algorithm>
#include <cmath>
#include <new>

#include "tools/design.hpp"
#include "tools/failure.hpp"
#include "tools/fit_refusals.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

/// The abscissae that the library sees; the difference is exact.
template <class Real>
std::vector<Real> shifted(std::vector<Real> x, Real shift) {
  for (Real& t : x) t -= shift;
  return x;
}

/// For 0 < a <= b <= 2 a the difference b - a is exact, and so is that of any two numbers between them.
template <class Real>
Real shift_of(Real first, Real last) {
  const Real least = std::min(std::abs(first), std::abs(last));
  const Real most = std::max(std::abs(first), std::abs(last));
  if ((first < 0) != (last < 0) || most > 2 * least) return 0;
  return first + (last - first) / 2;
}

template <class Real>
int fit_spline(const std::vector<Real>& x, const Pairs<Real>& data, Fitted<Real>& f) {
  const auto T = basis_table<Real>(f.size);
  if (!T) throw std::bad_alloc();
  f.a.resize(std::size_t(f.size) + 6);
  const int status = AX_apxcoef(T.get(), f.size, data.count(), x.data(), data.y.data(), f.a.data());
  if (status == AX_APXCOEF_BAD_ABSCISSAE) refuse_closest(data, Precision<Real>::tolerance);
  if (status == AX_APXCOEF_NO_BLOCK || status == AX_APXCOEF_NO_POINTERS) throw std::bad_alloc();
  return status;
}

template <class Real>
int fit_polynomial(std::vector<Real> x, const Pairs<Real>& data, Fitted<Real>& f) {
  f.a.resize(std::size_t(f.size) + 5);
  const int status = AX_polapxcoef(f.size, data.count(), x.data(), data.y.data(), f.a.data());
  if (status == AX_POLAPXCOEF_BAD_ABSCISSAE) refuse_closest(data, 2e-5);  // in both precisions
  if (status == AX_POLAPXCOEF_FAILED) throw std::bad_alloc();
  return status;
}

template <class Real>
void measure(const Pairs<Real>& data, const std::vector<Real>& values, Fitted<Real>& f) {
  double sum = 0, largest = 0;
  for (std::size_t i = 0; i < data.x.size(); ++i) {
    const double r = std::abs(double(values[i]) - double(data.y[i]));
    largest = std::max(largest, r);
    sum = std::fma(r, r, sum);
  }
  f.rms = Real(double(std::sqrt(static_cast<long double>(sum) / data.count())));
  f.largest = Real(largest);
}

}  // namespace

template <class Real>
std::string title(const Fitted<Real>& f) {
  if (f.kind == Kind::polynomial) return "polynomial of degree " + std::to_string(f.size);
  return "spline of " + std::to_string(f.size) + (f.size == 1 ? " interior knot" : " interior knots");
}

template <class Real>
Fitted<Real> fit(const Pairs<Real>& data, Kind kind, int size) {
  check_size(data, kind, size);
  Fitted<Real> f{.kind = kind,
                 .size = size,
                 .x_name = data.x_name(),
                 .y_name = data.y_name(),
                 .points = data.count(),
                 .first = data.x.front(),
                 .last = data.x.back(),
                 .shift = shift_of(data.x.front(), data.x.back())};
  if (kind == Kind::spline) {
    const int rank = rank_of_design(Knots{size, f.first, f.last}, data.x);
    if (rank < unknowns(kind, size)) refuse_rank(data, kind, size, rank);
  }

  const std::vector<Real> x = shifted(data.x, f.shift);
  if (!std::isfinite(x.front() + x.back()) || !std::isfinite(x.back() - x.front()))
    refuse_range(data, "the abscissae are");
  const int status = kind == Kind::spline ? fit_spline(x, data, f) : fit_polynomial(x, data, f);
  if (status == LS_NO_MEMORY) throw std::bad_alloc();
  if (status != LS_OK) refuse_rank(data, kind, size, status);

  measure(data, evaluate(f, data.x, false).value, f);
  if (kind == Kind::polynomial) {
    f.rms = f.a[std::size_t(size) + 3];
    f.largest = f.a[std::size_t(size) + 4];
  }
  const auto finite = [](Real number) { return std::isfinite(number); };
  if (!std::ranges::all_of(f.a, finite) || !finite(f.rms) || !finite(f.largest))
    refuse_range(data, "the fit is");
  return f;
}

template <class Real>
Curve<Real> evaluate(const Fitted<Real>& f, std::vector<Real> at, bool derivatives) {
  Curve<Real> curve = empty_curve<Real>(at.size(), derivatives);
  Real *const s = curve.value.data(), *const s1 = derivatives ? curve.slope.data() : nullptr,
              *const s2 = derivatives ? curve.curvature.data() : nullptr;
  std::vector<Real> v = shifted(std::move(at), f.shift);
  int status = AX_APXVALS_OK;
  if (f.kind == Kind::spline) {
    const auto T = basis_table<Real>(f.size);
    if (!T) throw std::bad_alloc();
    status = AX_apxvals(T.get(), f.size, f.a.data(), int(v.size()), v.data(), s, s1, s2);
  } else {
    status = AX_polapxval(f.size, f.a.data(), int(v.size()), v.data(), s, s1, s2);
    if (status == AX_POLAPXVAL_NO_MEMORY) throw std::bad_alloc();
  }
  if (status != 0) throw NoResult("the fit cannot be evaluated in its own range");
  return curve;
}

template <class Real>
Curve<Real> evaluate(const Fitted<Real>& f, const Points<Real>& points, bool derivatives,
                     const std::string& source) {
  const double margin = Precision<Real>::tolerance * (double(f.last) / 2 - double(f.first) / 2);
  std::vector<Real> at = points.at;
  for (std::size_t j = 0; j < at.size(); ++j) {
    const Real t = std::clamp(at[j], f.first, f.last);
    if (!(std::abs(double(at[j]) - double(t)) <= margin))
      throw NoResult(source + ": " + points.name(j) + " lies outside " + shortest(f.first) + ".." +
                     shortest(f.last));
    at[j] = t;
  }
  Curve<Real> curve = evaluate(f, std::move(at), derivatives);
  check_finite(source, points, curve);
  return curve;
}

template <class Real>
std::vector<Real> residuals(const Pairs<Real>& data, const std::vector<Real>& values) {
  std::vector<Real> r = data.y;
  for (std::size_t i = 0; i < r.size(); ++i) r[i] -= values[i];
  return r;
}

template std::string title(const Fitted<float>&);
template std::string title(const Fitted<double>&);
template Fitted<float> fit(const Pairs<float>&, Kind, int);
template Fitted<double> fit(const Pairs<double>&, Kind, int);
template Curve<float> evaluate(const Fitted<float>&, std::vector<float>, bool);
template Curve<double> evaluate(const Fitted<double>&, std::vector<double>, bool);
template Curve<float> evaluate(const Fitted<float>&, const Points<float>&, bool, const std::string&);
template Curve<double> evaluate(const Fitted<double>&, const Points<double>&, bool, const std::string&);
template std::vector<float> residuals(const Pairs<float>&, const std::vector<float>&);
template std::vector<double> residuals(const Pairs<double>&, const std::vector<double>&);

}  // namespace tabfit::tool

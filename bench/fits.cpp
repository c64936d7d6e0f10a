// bench/fits.cpp - spline and polynomial fits against Eigen's QR on the dense design, GSL, ALGLIB,
// FITPACK through SciPy, NumPy, and constrained fits against quadratic programming in R.
//
// Splines:     cubic, on n interior knots, equally spaced. All bases span the same space, so all fits
//              are the same function, and their values are compared. Our basis table and the peers'
//              workspaces are made beforehand.
// Polynomials: Chebyshev series over the range of the data.
// Precision:   Eigen's is the twin's. All others compute in double, with the values of a float twin.
// Calls:       peers of interpreted languages are called with whole vectors; the call is in their time.
//              GSL and ALGLIB take one point a call.
#include "bench/fits.hpp"

#include "bench/eigen.hpp"
#include "bench/matrix.hpp"
#include "bench/worker.hpp"
#include "tabfit/engine.hpp"

#include <gsl/gsl_bspline.h>
#include <gsl/gsl_chebyshev.h>
#include <gsl/gsl_multifit.h>

#include <libalglib/interpolation.h>

#include <cstring>
#include <utility>

namespace tabfit::bench {
namespace {

using namespace engine;

using Vector = std::vector<double>;

/// Codes of the problems in peers.py and peers.R.
enum class Python {
  spline_fit = 2,
  spline_fit_by_normal_equations,
  spline_smoothing,
  spline_values,
  spline_values_by_pieces,
  chebyshev_fit,
  chebyshev_values
};
enum class R { within_bounds = 2, under_constraints, convex_spline };

std::size_t size(int n) { return static_cast<std::size_t>(n); }

/// A table to be fitted: a smooth function and noise, at distances that vary by a factor of three. A
/// float twin gets values that are floats.
template <class Real>
struct Samples {
  int m;
  Block<Real> x, y;

  Samples(int points, unsigned seed) : m(points) {
    Random random(seed);
    for (int i = 0; i < m; ++i) {
      x.push_back(static_cast<Real>(2.0 * (i + 0.5 * random()) / m - 1.0));
      y.push_back(static_cast<Real>(std::sin(5.0 * x.back()) + 0.1 * random(-1, 1)));
    }
  }

  /// Points within the range, in random order.
  Block<Real> points(int count, unsigned seed) const {
    Random random(seed + 1);
    Block<Real> v;
    for (int i = 0; i < count; ++i)
      v.push_back(std::clamp(static_cast<Real>(random(x.front(), x.back())), x.front(), x.back()));
    return v;
  }
};

/// A message to a worker: numbers, then sequences.
template <class Code, class... Sequences>
Vector message(Code code, std::initializer_list<double> numbers, const Sequences&... sequences) {
  Vector all{static_cast<double>(code)};
  all.insert(all.end(), numbers);
  (all.insert(all.end(), sequences.begin(), sequences.end()), ...);
  return all;
}

/// Collects the sides of a workload whose results are sequences of `parts` equal parts. Each part is
/// compared by itself, since values and derivatives differ in size.
template <class Real>
class Contest {
 public:
  /// ours() is timed. values() gives what it has computed, for the comparison.
  Contest(double items, std::size_t parts, std::function<void()> ours, std::function<Vector()> values)
      : parts_(parts), values_(std::move(values)) {
    trial_.items = items;
    trial_.ours = std::move(ours);
  }

  /// The same for a peer; the bound is relative to the greatest value.
  Contest& peer(const std::string& name, double bound, std::function<void()> run,
                std::function<Vector()> values) {
    trial_.peers.push_back({name, std::move(run), [=, ours = values_, parts = parts_] {
                              return compare(ours(), values(), parts, bound);
                            }});
    return *this;
  }

  Contest& worker(Worker& worker, const std::string& name, double bound, const Vector& problem) {
    if (!worker.available()) return *this;
    auto values = std::make_shared<Vector>();
    peer(
        name, bound, [=, &worker] { *values = worker.solve(problem); }, [=] { return *values; });
    trial_.peers.back().timer = [&worker](int calls) { return worker.seconds(calls); };
    return *this;
  }

  /// Ours leaves memory allocated, so it is timed in a copy of this process.
  Contest& in_a_copy() {
    constexpr int limit = 60;
    trial_.timer = [run = trial_.ours](int calls) { return seconds_in_a_copy(run, calls, limit); };
    return *this;
  }

  /// Whether ours comes back with these data.
  bool returns() const { return call_returns(trial_.ours); }

  Trial trial() { return std::move(trial_); }

 private:
  static Agreement compare(const Vector& ours, const Vector& theirs, std::size_t parts, double bound) {
    if (ours.size() != theirs.size()) return {std::numeric_limits<double>::quiet_NaN(), bound};
    const std::size_t length = ours.size() / parts;
    double worst = 0.0;
    for (std::size_t k = 0; k < parts; ++k) {
      const double d = relative_difference(&ours[k * length], &theirs[k * length], length);
      if (!(d <= worst)) worst = d;  // NaN is kept
    }
    return {worst, bound};
  }

  std::size_t parts_;
  std::function<Vector()> values_;
  Trial trial_;
};

template <class Sequence>
Vector widened(const Sequence& sequence) {
  return Vector(sequence.begin(), sequence.end());
}

Vector first_of(const Vector& values, std::size_t count) {
  return Vector(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count));
}

/// Results of an operation that failed agree with nothing.
Vector if_ok(bool ok, Vector values) { return ok ? std::move(values) : Vector(); }

template <class Object>
using Kept = std::unique_ptr<Object, void (*)(Object*)>;

// -- splines ------------------------------------------------------------------------------------------

/// The peer of splines that takes one point a call.
struct GslSpline {
  int n;
  Kept<gsl_bspline_workspace> workspace;
  Kept<gsl_vector> basis, c;
  Kept<gsl_matrix> derivatives;

  GslSpline(int knots, double first, double last)
      : n(knots),
        workspace(gsl_bspline_alloc(4, size(n + 2)), gsl_bspline_free),
        basis(gsl_vector_alloc(4), gsl_vector_free),
        c(gsl_vector_alloc(size(n + 4)), gsl_vector_free),
        derivatives(gsl_matrix_alloc(4, 3), gsl_matrix_free) {
    gsl_bspline_knots_uniform(first, last, workspace.get());
  }

  /// Dense design and the general solver, which decomposes into singular values.
  void fit(const Vector& x, const Vector& y) {
    const std::size_t m = x.size(), k = size(n + 4);
    const Kept<gsl_matrix> design(gsl_matrix_calloc(m, k), gsl_matrix_free),
        covariance(gsl_matrix_alloc(k, k), gsl_matrix_free);
    const Kept<gsl_multifit_linear_workspace> work(gsl_multifit_linear_alloc(m, k),
                                                   gsl_multifit_linear_free);
    for (std::size_t i = 0; i < m; ++i) {
      std::size_t first = 0, last = 0;
      gsl_bspline_eval_nonzero(x[i], basis.get(), &first, &last, workspace.get());
      for (std::size_t j = first; j <= last; ++j)
        gsl_matrix_set(design.get(), i, j, gsl_vector_get(basis.get(), j - first));
    }
    const gsl_vector_const_view ordinates = gsl_vector_const_view_array(y.data(), m);
    double squares = 0.0;
    gsl_multifit_linear(design.get(), &ordinates.vector, c.get(), covariance.get(), &squares,
                        work.get());
  }

  double value(double v) {
    std::size_t first = 0, last = 0;
    gsl_bspline_eval_nonzero(v, basis.get(), &first, &last, workspace.get());
    double sum = 0.0;
    for (std::size_t j = first; j <= last; ++j)
      sum += gsl_vector_get(basis.get(), j - first) * gsl_vector_get(c.get(), j);
    return sum;
  }

  /// Value and two derivatives.
  void values(double v, double* s, std::size_t stride) {
    std::size_t first = 0, last = 0;
    gsl_bspline_deriv_eval_nonzero(v, 2, derivatives.get(), &first, &last, workspace.get());
    for (std::size_t k = 0; k < 3; ++k) {
      double sum = 0.0;
      for (std::size_t j = first; j <= last; ++j)
        sum += gsl_matrix_get(derivatives.get(), j - first, k) * gsl_vector_get(c.get(), j);
      s[k * stride] = sum;
    }
  }
};

/// A table for ALGLIB, and what it fits.
struct AlglibFit {
  alglib::real_1d_array x, y;
  alglib::spline1dinterpolant spline;
  alglib::barycentricinterpolant polynomial;

  AlglibFit(const Vector& abscissae, const Vector& ordinates) {
    x.setcontent(static_cast<alglib::ae_int_t>(abscissae.size()), abscissae.data());
    y.setcontent(static_cast<alglib::ae_int_t>(ordinates.size()), ordinates.data());
  }

  /// Its splines have as many parameters as ours, on the same knots.
  void fit_spline(int n) {
    alglib::ae_int_t info = 0;
    alglib::spline1dfitreport report;
    alglib::spline1dfitcubic(x, y, x.length(), n + 4, info, spline, report);
  }

  void fit_polynomial(int p) {
    alglib::ae_int_t info = 0;
    alglib::polynomialfitreport report;
    alglib::polynomialfit(x, y, x.length(), p + 1, info, polynomial, report);
  }
};

/// What all fits have: m samples, points to evaluate at, and each side's results.
template <class Real>
struct FitData {
  Samples<Real> samples;
  Vector x, y;       ///< the same values for peers in double
  Block<Real> a, c;  ///< our coefficients, and those of Eigen
  Block<Real> v, s[3];
  Vector peer_v, gsl_values, alglib_values;
  AlglibFit alglib_fit;
  int status = -1;

  /// Ours keeps more than coefficients in its vector.
  FitData(int m, int coefficients, int more, int points, unsigned seed)
      : samples(m, seed),
        x(widened(samples.x)),
        y(widened(samples.y)),
        a(size(coefficients + more)),
        c(size(coefficients)),
        v(samples.points(points, seed)),
        peer_v(widened(v)),
        gsl_values(3 * size(points)),
        alglib_values(3 * size(points)),
        alglib_fit(x, y) {
    for (auto& out : s) out.resize(size(points));
  }

  int m() const { return samples.m; }

  /// Where a derivative of ours goes: nowhere if it is not wanted.
  Real* derivative(int order, int derivatives) {
    return order <= derivatives ? s[order].data() : nullptr;
  }

  /// Our values, and the derivatives behind them.
  Vector evaluated(int derivatives, bool ok) const {
    Vector all;
    for (int order = 0; order <= derivatives; ++order)
      all.insert(all.end(), s[order].begin(), s[order].end());
    return if_ok(ok, all);
  }
};

template <class Real>
struct SplineData : FitData<Real> {
  using FitData<Real>::samples, FitData<Real>::x, FitData<Real>::y, FitData<Real>::a, FitData<Real>::c,
      FitData<Real>::status, FitData<Real>::m;

  int n;
  Real** T;
  Block<Real> smoothed, eigen_smoothed;
  GslSpline gsl;

  SplineData(int rows, int knots, int points, unsigned seed)
      : FitData<Real>(rows, knots + 4, 2, points, seed),
        n(knots),
        T(AX_d2fcs<Real>(n)),
        smoothed(size(rows + 2)),
        eigen_smoothed(size(rows + 2)),
        gsl(n, x.front(), x.back()) {}
  ~SplineData() { AX_freed2fcs(T); }
  SplineData(const SplineData&) = delete;
  SplineData& operator=(const SplineData&) = delete;

  void fit() { status = AX_apxcoef(T, n, m(), samples.x.data(), samples.y.data(), a.data()); }

  Vector fitted() {
    Block<Real> values(size(m()));
    constexpr Real* none = nullptr;
    AX_apxvals(T, n, a.data(), m(), samples.x.data(), values.data(), none, none);
    return if_ok(status == AX_APXCOEF_OK, widened(values));
  }

  void fit_by_eigen(bool pivoting) {
    Eigenlib<Real>::spline_fit(m(), n, samples.x.data(), samples.y.data(), pivoting, c.data());
  }

  Vector fitted_by_eigen() {
    Block<Real> values(size(m()));
    Eigenlib<Real>::spline_values(m(), n, samples.x.data(), c.data(), values.data());
    return widened(values);
  }
};

/// How far values of fits may lie apart, relative to the greatest. Measured, in double: 9e-15 (splines)
/// and 3.5e-14 (polynomials of degree 20). With float data, against Eigen in single precision: 1e-6.
template <class Real>
constexpr double fit_bound = is_float<Real> ? 3e-6 : 1e-13;

template <class Real>
Trial spline_fit(int n, unsigned seed) {
  constexpr int m = 1000;
  auto d = std::make_shared<SplineData<Real>>(m, n, 1, seed);
  const double bound = fit_bound<Real>;
  const auto problem = [&](Python code) {
    return message(code, {m, static_cast<double>(n)}, d->x, d->y);
  };
  return Contest<Real>(
             1.0, 1, [=] { d->fit(); }, [=] { return d->fitted(); })
      .peer(
          "Eigen QR", bound, [=] { d->fit_by_eigen(false); }, [=] { return d->fitted_by_eigen(); })
      .peer(
          "Eigen pivoted QR", bound, [=] { d->fit_by_eigen(true); },
          [=] { return d->fitted_by_eigen(); })
      .peer(
          "GSL", fit_bound<Real>, [=] { d->gsl.fit(d->x, d->y); },
          [=] {
            Vector values;
            for (const double xi : d->x) values.push_back(d->gsl.value(xi));
            return values;
          })
      .peer(
          "ALGLIB", fit_bound<Real>, [=] { d->alglib_fit.fit_spline(n); },
          [=] {
            Vector values;
            for (const double xi : d->x) values.push_back(spline1dcalc(d->alglib_fit.spline, xi));
            return values;
          })
      .worker(python_worker(), "FITPACK", fit_bound<Real>, problem(Python::spline_fit))
      .worker(python_worker(), "SciPy", fit_bound<Real>,
              problem(Python::spline_fit_by_normal_equations))
      .trial();
}

/// Each side has its own coefficients, whose roundings are divided by the square of a knot distance.
/// Measured, relative to the greatest second derivative: up to 13 n eps, in the float twin 0.9 n eps.
template <class Real>
double spline_derivatives_bound(int n) {
  return (is_float<Real> ? 2.5 : 30.0) * n * epsilon<Real>;
}

template <class Real>
Trial spline_values(int n, int derivatives, unsigned seed) {
  constexpr int m = 1000, points = 100'000;
  auto d = std::make_shared<SplineData<Real>>(m, n, points, seed);
  d->fit();
  d->gsl.fit(d->x, d->y);
  d->alglib_fit.fit_spline(n);
  const auto parts = size(derivatives + 1);
  const double bound = derivatives == 0 ? fit_bound<Real> : spline_derivatives_bound<Real>(n);
  const auto problem = [&](Python code) {
    return message(code, {m, static_cast<double>(n), static_cast<double>(derivatives)}, d->x, d->y,
                   d->peer_v);
  };
  return Contest<Real>(
             points, parts,
             [=] {
               d->status = AX_apxvals(d->T, n, d->a.data(), points, d->v.data(), d->s[0].data(),
                                      d->derivative(1, derivatives), d->derivative(2, derivatives));
             },
             [=] { return d->evaluated(derivatives, d->status == AX_APXVALS_OK); })
      .peer(
          "GSL", bound,
          [=] {
            for (std::size_t i = 0; i < points; ++i)
              if (derivatives > 0)
                d->gsl.values(d->peer_v[i], &d->gsl_values[i], points);
              else
                d->gsl_values[i] = d->gsl.value(d->peer_v[i]);
          },
          [=] { return first_of(d->gsl_values, parts * points); })
      .peer(
          "ALGLIB", bound,
          [=] {
            double* const out = d->alglib_values.data();
            for (std::size_t i = 0; i < points; ++i)
              if (derivatives > 0)
                spline1ddiff(d->alglib_fit.spline, d->peer_v[i], out[i], out[points + i],
                             out[2 * points + i]);
              else
                out[i] = spline1dcalc(d->alglib_fit.spline, d->peer_v[i]);
          },
          [=] { return first_of(d->alglib_values, parts * points); })
      .worker(python_worker(), "FITPACK", bound, problem(Python::spline_values))
      .worker(python_worker(), "SciPy pieces", bound, problem(Python::spline_values_by_pieces))
      .trial();
}

/// Behind the values at the data: the root mean square and the greatest residual.
template <class Real>
void put_residuals(const Vector& y, Real* values) {
  double squares = 0.0, greatest = 0.0;
  for (std::size_t i = 0; i < y.size(); ++i) {
    const double r = static_cast<double>(values[i]) - y[i];
    squares += r * r;
    greatest = std::max(greatest, std::fabs(r));
  }
  values[y.size()] = static_cast<Real>(std::sqrt(squares / static_cast<double>(y.size())));
  values[y.size() + 1] = static_cast<Real>(greatest);
}

/// Values at the data, with these two.
template <class Real>
Trial smoothing(int n, unsigned seed) {
  constexpr int m = 1000;
  auto d = std::make_shared<SplineData<Real>>(m, n, m, seed);
  return Contest<Real>(
             1.0, 1,
             [=] {
               constexpr Real* none = nullptr;
               d->status = AX_splsmoo(n, m, d->samples.x.data(), d->samples.y.data(),
                                      d->smoothed.data(), none, none);
             },
             [=] { return if_ok(d->status == AX_SPLSMOO_OK, widened(d->smoothed)); })
      .peer(
          "Eigen QR", fit_bound<Real>,
          [=] {
            d->fit_by_eigen(false);
            Eigenlib<Real>::spline_values(m, n, d->samples.x.data(), d->c.data(),
                                          d->eigen_smoothed.data());
            put_residuals(d->y, d->eigen_smoothed.data());
          },
          [=] { return widened(d->eigen_smoothed); })
      .peer(
          "ALGLIB", fit_bound<Real>,
          [=] {
            d->alglib_fit.fit_spline(n);
            for (std::size_t i = 0; i < m; ++i)
              d->alglib_values[i] = spline1dcalc(d->alglib_fit.spline, d->x[i]);
            put_residuals(d->y, d->alglib_values.data());
          },
          [=] { return first_of(d->alglib_values, m + 2); })
      .worker(python_worker(), "FITPACK", fit_bound<Real>,
              message(Python::spline_smoothing, {m, static_cast<double>(n)}, d->x, d->y))
      .trial();
}

// -- polynomials --------------------------------------------------------------------------------------

template <class Real>
struct PolynomialData : FitData<Real> {
  using FitData<Real>::samples, FitData<Real>::x, FitData<Real>::a, FitData<Real>::c,
      FitData<Real>::status, FitData<Real>::m;

  int p;
  Block<Real> mapped;  ///< the operations map abscissae in place, so they get a copy each time
  Kept<gsl_cheb_series> series[3];

  PolynomialData(int rows, int degree, int points, unsigned seed)
      : FitData<Real>(rows, degree + 1, 4, points, seed),
        p(degree),
        mapped(size(std::max(rows, points))),
        series{{gsl_cheb_alloc(size(p)), gsl_cheb_free},
               {gsl_cheb_alloc(size(p)), gsl_cheb_free},
               {gsl_cheb_alloc(size(p)), gsl_cheb_free}} {}

  void fit() {
    std::memcpy(mapped.data(), samples.x.data(), samples.x.size() * sizeof(Real));
    status = AX_polapxcoef(p, m(), mapped.data(), samples.y.data(), a.data());
  }

  Vector fitted() {
    Block<Real> points = samples.x, values(size(m()));
    constexpr Real* none = nullptr;
    AX_polapxval(p, a.data(), m(), points.data(), values.data(), none, none);
    return if_ok(status == AX_POLAPXCOEF_OK, widened(values));
  }

  /// Sets the series of a peer to the given coefficients, and forms the series of its derivatives.
  template <class Coefficients>
  void set_series(const Coefficients& coefficients) {
    gsl_cheb_series& first = *series[0];
    first.a = x.front();
    first.b = x.back();
    for (std::size_t j = 0; j <= size(p); ++j) first.c[j] = coefficients[j];
    first.c[0] *= 2.0;  // the series has half of c[0]
    gsl_cheb_calc_deriv(series[1].get(), series[0].get());
    gsl_cheb_calc_deriv(series[2].get(), series[1].get());
  }

  Vector fitted_by_eigen() {
    set_series(c);
    Vector values;
    for (const double xi : x) values.push_back(gsl_cheb_eval(series[0].get(), xi));
    return values;
  }
};

template <class Real>
Trial polynomial_fit(int p, unsigned seed) {
  constexpr int m = 10'000;
  auto d = std::make_shared<PolynomialData<Real>>(m, p, 1, seed);
  const auto fit_by_eigen = [=](bool pivoting) {
    Eigenlib<Real>::chebyshev_fit(m, p, d->samples.x.data(), d->samples.y.data(), pivoting,
                                  d->c.data());
  };
  return Contest<Real>(
             1.0, 1, [=] { d->fit(); }, [=] { return d->fitted(); })
      .peer(
          "Eigen QR", fit_bound<Real>, [=] { fit_by_eigen(false); },
          [=] { return d->fitted_by_eigen(); })
      .peer(
          "Eigen pivoted QR", fit_bound<Real>, [=] { fit_by_eigen(true); },
          [=] { return d->fitted_by_eigen(); })
      .peer(
          "ALGLIB", fit_bound<Real>, [=] { d->alglib_fit.fit_polynomial(p); },
          [=] {
            Vector values;
            for (const double xi : d->x)
              values.push_back(barycentriccalc(d->alglib_fit.polynomial, xi));
            return values;
          })
      .worker(python_worker(), "NumPy", fit_bound<Real>,
              message(Python::chebyshev_fit, {m, static_cast<double>(p)}, d->x, d->y))
      .trial();
}

/// The second derivative of a Chebyshev polynomial is up to p^4 / 3 at the ends, and the roundings of
/// the coefficients grow with it: measured up to 0.4 p^4 eps. In a float twin the rounding of the
/// polynomials is greater than theirs: measured 0.6 p^2 eps.
template <class Real>
double polynomial_derivatives_bound(int p) {
  return is_float<Real> ? 2.0 * p * p * epsilon<Real> : std::pow(p, 4) * epsilon<Real>;
}

template <class Real>
Trial polynomial_values(int p, int derivatives, unsigned seed) {
  constexpr int m = 10'000, points = 100'000;
  auto d = std::make_shared<PolynomialData<Real>>(m, p, points, seed);
  d->fit();
  d->set_series(d->a);
  d->alglib_fit.fit_polynomial(p);
  const auto parts = size(derivatives + 1);
  const double bound = derivatives == 0 ? fit_bound<Real> : polynomial_derivatives_bound<Real>(p);
  return Contest<Real>(
             points, parts,
             [=] {
               std::memcpy(d->mapped.data(), d->v.data(), d->v.size() * sizeof(Real));
               d->status = AX_polapxval(p, d->a.data(), points, d->mapped.data(), d->s[0].data(),
                                        d->derivative(1, derivatives), d->derivative(2, derivatives));
             },
             [=] { return d->evaluated(derivatives, d->status == AX_POLAPXVAL_OK); })
      .peer(
          "GSL", bound,
          [=] {
            for (std::size_t i = 0; i < points; ++i)
              for (std::size_t k = 0; k < parts; ++k)
                d->gsl_values[k * points + i] = gsl_cheb_eval(d->series[k].get(), d->peer_v[i]);
          },
          [=] { return first_of(d->gsl_values, parts * points); })
      .peer(
          "ALGLIB", bound,
          [=] {
            double* const out = d->alglib_values.data();
            for (std::size_t i = 0; i < points; ++i)
              if (derivatives > 0)
                barycentricdiff2(d->alglib_fit.polynomial, d->peer_v[i], out[i], out[points + i],
                                 out[2 * points + i]);
              else
                out[i] = barycentriccalc(d->alglib_fit.polynomial, d->peer_v[i]);
          },
          [=] { return first_of(d->alglib_values, parts * points); })
      .worker(
          python_worker(), "NumPy", bound,
          message(Python::chebyshev_values,
                  {m, static_cast<double>(p), static_cast<double>(derivatives)}, d->x, d->y, d->peer_v))
      .trial();
}

// -- constraints --------------------------------------------------------------------------------------
// Float twins only, since the double twins may not return. All leave memory allocated.

/// Ours solves a least-distance problem in single precision. Its solution is a quotient by
/// 1 / (1 + d^2), where d is the distance from the unconstrained solution in the unit of b: the greater
/// d, the more the roundings count. Measured: 6e-7 with bounds, 1.7e-5 with general constraints, 2.5e-7
/// for the spline.
constexpr double bounds_bound = 2e-6, inequalities_bound = 5e-5, convex_bound = 1e-6;

struct Constrained {
  int m, n, constraints;
  Matrix<float> A, work;  ///< the matrix, then b
  Matrix<float> C;        ///< constraints, then their bounds
  Block<float> lower, upper, x;
  float rn = 0;
  int status = -1;

  Constrained(int rows, int unknowns, int constraint_rows, unsigned seed)
      : m(rows),
        n(unknowns),
        constraints(constraint_rows),
        A(m, n + 1),
        work(m, n + 1),
        C(constraints, n + 1),
        x(size(n)) {
    Random random(seed);
    A.fill(random, -1, 1);
    C.fill(random, -1, 1);
    for (int i = 0; i < m; ++i) {  // the unconstrained solution alternates in sign
      double sum = 0.1 * random(-1, 1);
      for (int j = 0; j < n; ++j) sum += A(i, j) * (j % 2 == 1 ? -1.0 : 1.0);
      A(i, n) = static_cast<float>(sum);
    }
    for (int j = 0; j < n; ++j) {  // half of the bounds bind
      lower.push_back(j % 4 < 2 ? -2.0F : -0.5F);
      upper.push_back(j % 4 < 2 ? 2.0F : 0.5F);
    }
    for (int i = 0; i < constraints; ++i)  // holds at 0, with room
      C(i, n) = static_cast<float>(random(-1.0, -0.2));
  }

  void restore() {
    std::memcpy(work.data.data(), A.data.data(), A.data.size() * sizeof(float));
    work.reset_table();
  }
};

Trial bounds(int n, unsigned seed) {
  constexpr int m = 200;
  auto d = std::make_shared<Constrained>(m, n, 1, seed);
  Contest<float> contest(
      1.0, 1,
      [=] {
        d->restore();
        d->status =
            Ls_cintf(d->work.table.data(), m, n, d->lower.data(), d->upper.data(), d->x.data(), &d->rn);
      },
      [=] { return if_ok(d->status == LS_CGRN_OK, widened(d->x)); });
  if (!contest.returns()) return bounds(n, seed + 1);
  return contest.in_a_copy()
      .worker(r_worker(), "R quadprog", bounds_bound,
              message(R::within_bounds, {m, static_cast<double>(n)}, d->A.data, d->lower, d->upper))
      .trial();
}

Trial inequalities(int n, unsigned seed) {
  constexpr int m = 200;
  const int constraints = 2 * n;
  auto d = std::make_shared<Constrained>(m, n, constraints, seed);
  Contest<float> contest(
      1.0, 1,
      [=] {
        d->restore();
        d->status =
            Ls_cgrnf(d->work.table.data(), m, n, d->C.table.data(), constraints, d->x.data(), &d->rn);
      },
      [=] { return if_ok(d->status == LS_CGRN_OK, widened(d->x)); });
  if (!contest.returns()) return inequalities(n, seed + 1);
  return contest.in_a_copy()
      .worker(
          r_worker(), "R quadprog", inequalities_bound,
          message(R::under_constraints, {m, static_cast<double>(n), static_cast<double>(constraints)},
                  d->A.data, d->C.data))
      .trial();
}

/// A fit to a noisy line with a bend, at its own abscissae: convex by the constraint only.
Trial convex(int n, unsigned seed) {
  constexpr int m = 1000;
  struct Data {
    Block<float> x, y, s;
    int status = -1;
  };
  auto d = std::make_shared<Data>();
  Random random(seed);
  for (int i = 0; i < m; ++i) {
    d->x.push_back(static_cast<float>(2.0 * (i + 0.5 * random()) / m - 1.0));
    d->y.push_back(static_cast<float>(std::fabs(d->x.back()) + 0.1 * random(-1, 1)));
  }
  d->s.resize(size(m + 2));
  Contest<float> contest(
      1.0, 1,
      [=] {
        d->status = AX_splconvf(n, 0.0, m, d->x.data(), d->y.data(), m, d->x.data(), d->s.data(),
                                nullptr, nullptr);
      },
      [=] { return if_ok(d->status == AX_SPLCONV_OK, Vector(d->s.begin(), d->s.begin() + m)); });
  if (!contest.returns()) return convex(n, seed + 1);
  return contest.in_a_copy()
      .worker(r_worker(), "R quadprog", convex_bound,
              message(R::convex_spline, {m, static_cast<double>(n), 0.0}, d->x, d->y))
      .trial();
}

template <class Real>
void add_twins(Comparison& comparison, const std::string& letter) {
  const auto add = [&](const std::string& name, std::initializer_list<int> sizes, auto prepare) {
    for (const int n : sizes)
      comparison.workloads.push_back(
          {name, n, [=, seed = comparison.seed] { return prepare(n, seed); }});
  };
  const auto without = [](Trial (*prepare)(int, int, unsigned)) {
    return [=](int n, unsigned seed) { return prepare(n, 0, seed); };
  };
  const auto with = [](Trial (*prepare)(int, int, unsigned)) {
    return [=](int n, unsigned seed) { return prepare(n, 2, seed); };
  };
  constexpr int many = is_float<Real> ? 60 : 100;  // the float twin's basis table ends at 65 knots
  add("AX_apxcoef" + letter, {5, 20, many}, spline_fit<Real>);
  add("AX_apxvals" + letter + "/value", {5, 20, many}, without(spline_values<Real>));
  add("AX_apxvals" + letter + "/derivatives", {5, 20, many}, with(spline_values<Real>));
  add("AX_splsmoo" + letter, {5, 20}, smoothing<Real>);
  add("AX_polapxcoef" + letter, {3, 10, 20}, polynomial_fit<Real>);
  add("AX_polapxval" + letter + "/value", {3, 10, 20}, without(polynomial_values<Real>));
  add("AX_polapxval" + letter + "/derivatives", {3, 10, 20}, with(polynomial_values<Real>));
  if (!is_float<Real> || !r_worker().available()) return;
  add("AX_splconvf", {5, 10}, convex);
  add("Ls_cintf/m=200", {10, 20}, bounds);
  add("Ls_cgrnf/m=200", {10, 20}, inequalities);
}

}  // namespace

void add_fits(Comparison& comparison) {
  comparison.peers.push_back(std::string("ALGLIB ") + TABFIT_BENCH_ALGLIB_VERSION);
  add_twins<double>(comparison, "d");
  add_twins<float>(comparison, "f");
}

}  // namespace tabfit::bench

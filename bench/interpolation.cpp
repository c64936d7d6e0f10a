// bench/interpolation.cpp - linear and cubic-spline interpolation against GSL, whose evaluation keeps
// the last interval in an accelerator.
//
// Each workload evaluates a million points, in random order or sorted, or builds a spline.
//
// Data:    n nodes at random distances, 0.1 to 1.9 apart. Both twins are compared with the same double
//          peer. A float twin's nodes, ordinates and points are floats, and the peer gets their values.
// Splines: GSL's ends are free of curvature; ours take their third derivative from the nearest nodes.
//          The first and last ordinate are chosen so that our spline has no curvature at its ends. The
//          spline through given points with given curvatures at the ends is unique. So both libraries
//          compute the same function, and they are compared at every point.
#include "bench/interpolation.hpp"

#include "tabfit/engine.hpp"

#include <gsl/gsl_spline.h>
#include <gsl/gsl_version.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>

namespace tabfit::bench {
namespace {

using namespace engine;

constexpr int points = 1'000'000;

using Vector = std::vector<double>;

/// A number of 0 <= u < 1, the same on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double operator()() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }

 private:
  std::mt19937_64 engine_;
};

/// Half the curvature at both ends of our spline through (x, y).
struct EndCurvatures {
  double first, last;

  EndCurvatures(const Vector& x, const Vector& y) {
    const std::size_t n = x.size();
    Vector C(y);
    C.resize(4 * n);
    AX_intspl3d(x.data(), C.data(), static_cast<int>(n));
    first = C[2 * n];
    last = C[3 * n - 1];
  }
};

/// Changes y[0] and y[n-1] so that our spline has no curvature at its ends. The curvatures are linear
/// in the ordinates: two equations, whose columns are the curvatures of the splines through unit
/// vectors.
void flatten_ends(const Vector& x, Vector& y) {
  Vector unit(y.size());
  unit.front() = 1.0;
  const EndCurvatures by_first(x, unit);
  unit.front() = 0.0;
  unit.back() = 1.0;
  const EndCurvatures by_last(x, unit);
  for (int refinement = 0; refinement < 2; ++refinement) {
    const EndCurvatures now(x, y);
    const double det = by_first.first * by_last.last - by_last.first * by_first.last;
    y.front() -= (now.first * by_last.last - now.last * by_last.first) / det;
    y.back() -= (now.last * by_first.first - now.first * by_first.last) / det;
  }
}

struct SplineDeleter {
  void operator()(gsl_spline* spline) const { gsl_spline_free(spline); }
};
struct AcceleratorDeleter {
  void operator()(gsl_interp_accel* accelerator) const { gsl_interp_accel_free(accelerator); }
};

enum class Order { random, sorted };
enum class Kind { linear, cubic };

/// A table and points to evaluate it at, with room for the results of both sides.
template <class Real>
struct Table {
  std::vector<Real> x, C, t;       // ours: nodes, ordinates and room for a spline, points
  Vector peer_x, peer_y, peer_t;   // the same values for the peer
  std::vector<Real> ours[3];       // value, slope, curvature
  Vector ours_single[3], peer[3];  // the same from one-point calls, and of the peer
  std::unique_ptr<gsl_spline, SplineDeleter> spline;
  std::unique_ptr<gsl_interp_accel, AcceleratorDeleter> accelerator;

  Table(int n, Kind kind, unsigned seed)
      : C(4 * static_cast<std::size_t>(n)),
        spline(gsl_spline_alloc(kind == Kind::linear ? gsl_interp_linear : gsl_interp_cspline,
                                static_cast<std::size_t>(n))),
        accelerator(gsl_interp_accel_alloc()) {
    Random random(seed);
    double node = 0.0;
    for (int i = 0; i < n; ++i) {
      x.push_back(static_cast<Real>(node));
      node += 0.1 + 1.8 * random();
    }
    peer_x.assign(x.begin(), x.end());
    for (const double xi : peer_x) peer_y.push_back(2.0 + std::sin(xi) + 0.25 * random());
    if (kind == Kind::cubic) flatten_ends(peer_x, peer_y);
    std::copy(peer_y.begin(), peer_y.end(), C.begin());
    peer_y.assign(C.begin(), C.begin() + n);
    initialise_peer();
  }

  void add_points(int m, Order order, unsigned seed) {
    Random random(seed + 1);
    const double span = peer_x.back();
    for (int j = 0; j < m; ++j) t.push_back(std::min(static_cast<Real>(span * random()), x.back()));
    if (order == Order::sorted) std::sort(t.begin(), t.end());
    peer_t.assign(t.begin(), t.end());
    const auto count = static_cast<std::size_t>(m);
    for (auto& out : ours) out.resize(count);
    for (auto& out : ours_single) out.resize(count);
    for (auto& out : peer) out.resize(count);
  }

  void initialise_peer() { gsl_spline_init(spline.get(), peer_x.data(), peer_y.data(), peer_x.size()); }

  void evaluate_peer_values() {
    for (std::size_t j = 0; j < peer_t.size(); ++j)
      peer[0][j] = gsl_spline_eval(spline.get(), peer_t[j], accelerator.get());
  }

  void evaluate_peer_derivatives() {
    for (std::size_t j = 0; j < peer_t.size(); ++j) {
      peer[0][j] = gsl_spline_eval(spline.get(), peer_t[j], accelerator.get());
      peer[1][j] = gsl_spline_eval_deriv(spline.get(), peer_t[j], accelerator.get());
      peer[2][j] = gsl_spline_eval_deriv2(spline.get(), peer_t[j], accelerator.get());
    }
  }
};

/// The greatest difference of two vectors, relative to the greatest element of the second.
template <class Ours>
double difference(const Ours& ours, const Vector& peer) {
  double greatest = 0.0, scale = 0.0;
  for (std::size_t j = 0; j < peer.size(); ++j) {
    const double d = std::fabs(ours[j] - peer[j]);
    if (!(d <= greatest)) greatest = d;  // NaN is kept
    scale = std::max(scale, std::fabs(peer[j]));
  }
  return greatest / scale;
}

template <class Outputs>
double difference(const Outputs& ours, const Vector (&peer)[3], int outputs) {
  double greatest = 0.0;
  for (int k = 0; k < outputs; ++k) {
    const double d = difference(ours[k], peer[k]);
    if (!(d <= greatest)) greatest = d;
  }
  return greatest;
}

/// How far results may lie apart. A result in double, of ordinates that both sides share, differs from
/// the peer's by some roundings. A float result is rounded to float, and the spline of a float twin has
/// float coefficients. Second derivatives divide the roundings of the ordinates by the square of a
/// distance, which is at least 0.1.
template <class Real>
constexpr bool is_float = sizeof(Real) == sizeof(float);
constexpr double linear_bound = 1e-14, linear_float_bound = 1e-7;
template <class Real>
constexpr double spline_bound = is_float<Real> ? 1e-5 : 1e-14;

template <class Real>
Trial linear_table(int n, Order order, unsigned seed) {
  auto data = std::make_shared<Table<Real>>(n, Kind::linear, seed);
  data->add_points(points, order, seed);
  return {points,
          [=] {
            AX_linttab(n, data->x.data(), data->C.data(), points, data->t.data(), data->ours[0].data());
          },
          {{"GSL", [=] { data->evaluate_peer_values(); },
            [=] {
              return Agreement{difference(data->ours, data->peer, 1),
                               is_float<Real> ? linear_float_bound : linear_bound};
            }}}};
}

template <class Real>
Trial linear_points(int n, Order order, unsigned seed) {
  auto data = std::make_shared<Table<Real>>(n, Kind::linear, seed);
  data->add_points(points, order, seed);
  return {points,
          [=] {
            for (std::size_t j = 0; j < points; ++j)
              AX_lintval(n, data->x.data(), data->C.data(), data->t[j], &data->ours_single[0][j]);
          },
          {{"GSL", [=] { data->evaluate_peer_values(); },
            [=] {
              return Agreement{difference(data->ours_single, data->peer, 1), linear_bound};
            }}}};
}

/// Values, or values and two derivatives. Ours builds the spline in the same call, so the peer's time
/// includes its build too.
template <class Real, bool derivatives>
Trial spline_table(int n, Order order, unsigned seed) {
  auto data = std::make_shared<Table<Real>>(n, Kind::cubic, seed);
  data->add_points(points, order, seed);
  return {
      points,
      [=] {
        AX_intspl3tab(data->x.data(), data->C.data(), n, points, data->t.data(), data->ours[0].data(),
                      derivatives ? data->ours[1].data() : nullptr,
                      derivatives ? data->ours[2].data() : nullptr);
      },
      {{"GSL",
        [=] {
          data->initialise_peer();
          derivatives ? data->evaluate_peer_derivatives() : data->evaluate_peer_values();
        },
        [=] {
          return Agreement{difference(data->ours, data->peer, derivatives ? 3 : 1), spline_bound<Real>};
        }}}};
}

template <class Real>
Trial spline_points(int n, Order order, unsigned seed) {
  auto data = std::make_shared<Table<Real>>(n, Kind::cubic, seed);
  data->add_points(points, order, seed);
  AX_intspl3(data->x.data(), data->C.data(), n);
  return {points,
          [=] {
            for (std::size_t j = 0; j < points; ++j)
              AX_intspl3val(data->x.data(), data->C.data(), n, data->t[j], &data->ours_single[0][j],
                            &data->ours_single[1][j], &data->ours_single[2][j]);
          },
          {{"GSL", [=] { data->evaluate_peer_derivatives(); },
            [=] {
              return Agreement{difference(data->ours_single, data->peer, 3), spline_bound<Real>};
            }}}};
}

/// Compared by the first and second derivatives at the nodes: our coefficients b and 2 c.
template <class Real>
Trial spline_build(int n, unsigned seed) {
  auto data = std::make_shared<Table<Real>>(n, Kind::cubic, seed);
  return {
      1.0,
      [=] { AX_intspl3(data->x.data(), data->C.data(), n); },
      {{"GSL", [=] { data->initialise_peer(); },
        [=] {
          Vector b, c, slope, curvature;
          for (int i = 0; i < n; ++i) {
            b.push_back(data->C[n + i]);
            c.push_back(2.0 * data->C[2 * n + i]);
            const double x = data->peer_x[i];
            slope.push_back(gsl_spline_eval_deriv(data->spline.get(), x, data->accelerator.get()));
            curvature.push_back(gsl_spline_eval_deriv2(data->spline.get(), x, data->accelerator.get()));
          }
          return Agreement{std::max(difference(b, slope), difference(c, curvature)),
                           spline_bound<Real>};
        }}}};
}

}  // namespace

void add_interpolation(Comparison& comparison) {
  const unsigned seed = comparison.seed;
  const auto add_evaluations = [&](const std::string& name, Trial (*prepare)(int, Order, unsigned)) {
    for (const Order order : {Order::random, Order::sorted})
      for (const int n : {10, 100, 10'000})
        comparison.workloads.push_back({name + (order == Order::random ? "/random" : "/sorted"), n,
                                        [=] { return prepare(n, order, seed); }});
  };
  const auto add_builds = [&](const std::string& name, Trial (*prepare)(int, unsigned)) {
    for (const int n : {10, 100, 10'000})
      comparison.workloads.push_back({name, n, [=] { return prepare(n, seed); }});
  };

  comparison.peers.push_back("GSL " GSL_VERSION);
  add_evaluations("AX_linttabd", linear_table<double>);
  add_evaluations("AX_lintvald", linear_points<double>);
  add_evaluations("AX_intspl3tabd/value", spline_table<double, false>);
  add_evaluations("AX_intspl3tabd/derivatives", spline_table<double, true>);
  add_evaluations("AX_intspl3vald", spline_points<double>);
  add_builds("AX_intspl3d", spline_build<double>);
  add_evaluations("AX_linttabf", linear_table<float>);
  add_evaluations("AX_lintvalf", linear_points<float>);
  add_evaluations("AX_intspl3tabf/value", spline_table<float, false>);
  add_evaluations("AX_intspl3tabf/derivatives", spline_table<float, true>);
  add_evaluations("AX_intspl3valf", spline_points<float>);
  add_builds("AX_intspl3f", spline_build<float>);
}

}  // namespace tabfit::bench

// tools/interpolate_plot.cpp - the picture of an interpolated table.
#include "tools/interpolate_plot.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>

#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

constexpr std::pair<double, double> gap{std::numeric_limits<double>::quiet_NaN(), 0.0};

/// The abscissae through which the curves are drawn: equal steps, and every node.
template <class Real>
std::vector<Real> grid(const std::vector<Real>& x) {
  std::vector<Real> t = equal_steps(x.front(), x.back());
  t.insert(t.end(), x.begin(), x.end());
  std::ranges::sort(t);
  t.erase(std::unique(t.begin(), t.end()), t.end());
  return t;
}

template <class Real>
Series linear_series(const Interpolation<Real>& shown, const std::vector<Real>& t) {
  Series series{"linear", shown.straight ? Look::main_line : Look::other_line, Hue::red, {}};
  for (const Real u : t) {
    double value = 0;
    if (AX_lintval(int(shown.x.size()), shown.x.data(), shown.y.data(), u, &value) == AX_LINTVAL_OK)
      series.points.emplace_back(u, value);
  }
  return series;
}

/// The slopes of the straight lines, one step for each interval that has one.
template <class Real>
Series linear_slopes(const Interpolation<Real>& shown) {
  Series series{"linear", Look::main_line, Hue::red, {}};
  for (std::size_t i = 0; i + 1 < shown.x.size(); ++i) {
    const double h = double(shown.x[i + 1]) - shown.x[i];
    if (!(h >= Precision<Real>::tolerance)) {
      series.points.push_back(gap);
      continue;
    }
    const double slope = (double(shown.y[i + 1]) - shown.y[i]) / h;
    series.points.emplace_back(shown.x[i], slope);
    series.points.emplace_back(shown.x[i + 1], slope);
  }
  return series;
}

}  // namespace

template <class Real>
Picture interpolation_picture(const Interpolation<Real>& shown) {
  const int n = int(shown.x.size());
  const std::vector<Real> t = grid(shown.x);
  std::vector<Real> C = shown.y;
  C.resize(4 * C.size());
  const bool has_spline = AX_intspl3(shown.x.data(), C.data(), n) == AX_INTSPL3_OK;

  const Look spline_look = shown.straight ? Look::other_line : Look::main_line;
  Series spline{"cubic spline", spline_look, Hue::blue, {}}, slope = spline;
  for (const Real u : t) {
    double s = 0, s1 = 0, s2 = 0;
    if (!has_spline || AX_intspl3val(shown.x.data(), C.data(), n, u, &s, &s1, &s2) != AX_INTSPL3VAL_OK)
      continue;
    spline.points.emplace_back(u, s);
    slope.points.emplace_back(u, s1);
  }

  Panel upper{shown.y_name, 0.6, {}}, lower{"first derivative", 0.4, {}};
  const auto add = [](Panel& panel, Series series) {
    if (!series.points.empty()) panel.series.push_back(std::move(series));
  };
  // From the back to the front: the table, the other line, the stronger line, the results.
  add(upper, series("table", Look::data, Hue::black, shown.x, shown.y));
  if (!shown.straight) add(upper, linear_series(shown, t));
  add(upper, spline);
  add(lower, slope);
  if (shown.straight) {
    add(upper, linear_series(shown, t));
    add(lower, linear_slopes(shown));
  }
  add(upper, series("interpolated", Look::points, Hue::green, shown.at, shown.value));

  const std::string method = shown.straight ? "linear interpolation" : "cubic spline";
  return {std::filesystem::path(shown.source).filename().string() + ": " + method,
          shown.x_name,
          shown.x.front(),
          shown.x.back(),
          {upper, lower}};
}

template Picture interpolation_picture(const Interpolation<float>&);
template Picture interpolation_picture(const Interpolation<double>&);

}  // namespace tabfit::tool

// tools/fit_plot.cpp - the pictures of a fit: with its data, and alone.
#include "tools/fit_plot.hpp"

#include <filesystem>

namespace tabfit::tool {
namespace {

struct Lines {
  Series value, slope;
};

template <class Real>
Lines lines(const Fitted<Real>& fitted) {
  const std::vector<Real> t = equal_steps(fitted.first, fitted.last);
  const Curve<Real> curve = evaluate(fitted, t, true);
  return {series("fit", Look::main_line, Hue::blue, t, curve.value),
          series("fit", Look::main_line, Hue::blue, t, curve.slope)};
}

template <class Real>
Picture picture(const Fitted<Real>& fitted, const std::string& source, std::vector<Panel> panels) {
  return {std::filesystem::path(source).filename().string() + ": " + title(fitted), fitted.x_name,
          double(fitted.first), double(fitted.last), std::move(panels)};
}

template <class Real>
void add_points(Panel& panel, const char* name, const Marked<Real>& points) {
  if (!points.x.empty())
    panel.series.push_back(series(name, Look::points, Hue::green, points.x, points.y));
}

}  // namespace

template <class Real>
Picture fit_picture(const Fitted<Real>& fitted, const std::string& source, const Marked<Real>& data,
                    const std::vector<Real>& residual, const Marked<Real>& points) {
  Panel upper{fitted.y_name, 0.65, {}}, lower{"data - fit", 0.35, {}};
  upper.series = {series("data", Look::data, Hue::black, data.x, data.y), lines(fitted).value};
  add_points(upper, "evaluated", points);
  lower.series = {series("residual", Look::sticks, Hue::red, data.x, residual)};
  return picture(fitted, source, {upper, lower});
}

template <class Real>
Picture curve_picture(const Fitted<Real>& fitted, const std::string& source,
                      const Marked<Real>& points) {
  const Lines curves = lines(fitted);
  Panel upper{fitted.y_name, 0.6, {curves.value}};
  add_points(upper, "evaluated", points);
  return picture(fitted, source, {upper, {"first derivative", 0.4, {curves.slope}}});
}

template Picture fit_picture(const Fitted<float>&, const std::string&, const Marked<float>&,
                             const std::vector<float>&, const Marked<float>&);
template Picture fit_picture(const Fitted<double>&, const std::string&, const Marked<double>&,
                             const std::vector<double>&, const Marked<double>&);
template Picture curve_picture(const Fitted<float>&, const std::string&, const Marked<float>&);
template Picture curve_picture(const Fitted<double>&, const std::string&, const Marked<double>&);

}  // namespace tabfit::tool

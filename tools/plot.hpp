// tools/plot.hpp - a picture of one or more panels over a common axis, drawn by gnuplot.
#pragma once

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace tabfit::tool {

/// The looks of series. Colour-blind readers can tell the hues apart; in each picture every hue also
/// has a width or shape of its own.
enum class Look { data, points, main_line, other_line, sticks };
enum class Hue { black, blue, red, green };

struct Series {
  std::string title;
  Look look;
  Hue hue;
  std::vector<std::pair<double, double>> points;  ///< a point that is not finite makes a gap
};

template <class Real>
Series series(const std::string& title, Look look, Hue hue, const std::vector<Real>& x,
              const std::vector<Real>& y) {
  Series result{title, look, hue, {}};
  for (std::size_t i = 0; i < x.size(); ++i) result.points.emplace_back(x[i], y[i]);
  return result;
}

/// The abscissae through which a curve is drawn: equal steps, fine enough for the eye.
template <class Real>
std::vector<Real> equal_steps(Real first, Real last) {
  constexpr int steps = 1000;
  std::vector<Real> t;
  for (int j = 0; j <= steps; ++j)
    t.push_back(Real(std::lerp(double(first), double(last), double(j) / steps)));
  return t;
}

struct Panel {
  std::string y_label;
  double height;  ///< as a share of all panels
  std::vector<Series> series;
};

struct Picture {
  std::string title, x_label;
  double first, last;  ///< the range of the common axis
  std::vector<Panel> panels;
};

/// Throws BadInput unless the name ends in .svg, .png or .pdf.
void check_picture_name(const std::string& name);

/// The content of a picture file, of the kind that the ending of the name tells. Throws NoResult if
/// gnuplot is missing or fails.
std::string drawn(const Picture& picture, const std::string& name);

}  // namespace tabfit::tool

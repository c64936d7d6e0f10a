// tools/plot.hpp - a picture of one or more panels over a common axis, drawn by gnuplot.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tabfit::tool {

/// What stands for what in every picture: hues that colour-blind readers can tell apart, and for each
/// of them another width or shape.
enum class Look { data, points, main_line, other_line };
enum class Hue { black, blue, red, green };

struct Series {
  std::string title;
  Look look;
  Hue hue;
  std::vector<std::pair<double, double>> points;  ///< a point that is not finite makes a gap
};

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

/// The content of a picture file of the kind that the name's ending tells. Throws NoResult if gnuplot
/// is missing or fails.
std::string drawn(const Picture& picture, const std::string& name);

}  // namespace tabfit::tool

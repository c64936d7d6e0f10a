// tools/interpolate.cpp - the subcommand that reads a table between its rows.
#include "tools/interpolate.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/curve.hpp"
#include "tools/files.hpp"
#include "tools/interpolate_plot.hpp"
#include "tools/options.hpp"
#include "tools/output.hpp"
#include "tools/pairs.hpp"
#include "tools/plot.hpp"
#include "tools/points.hpp"
#include "tools/precision.hpp"
#include "tools/table.hpp"

namespace tabfit::tool {
namespace {

struct Interpolate : Options {
  std::string method = "linear";
};

template <class Real>
[[noreturn]] void refuse_nodes_at(const Pairs<Real>& nodes, std::size_t i,
                                  const std::string& where = "") {
  nodes.refuse_interval(i, "nodes must increase" + by_tolerance<Real>() + where);
}

template <class Real>
void check_ascending(const Pairs<Real>& nodes) {
  for (std::size_t i = 0; i + 1 < nodes.x.size(); ++i)
    if (!(nodes.x[i] < nodes.x[i + 1])) refuse_nodes_at(nodes, i);
}

/// Names the nodes that the library refuses. The spline through rows 0..k-1 can be built unless an
/// interval among them is too narrow, so bisection finds the first such interval.
template <class Real>
[[noreturn]] void refuse_nodes(const Pairs<Real>& nodes) {
  int low = 2, high = nodes.count();
  while (low < high) {
    const int k = low + (high - low) / 2;
    std::vector<Real> part(nodes.y.begin(), nodes.y.begin() + k);
    part.resize(4 * part.size());
    if (AX_intspl3(nodes.x.data(), part.data(), k) == AX_INTSPL3_OK)
      low = k + 1;
    else
      high = k;
  }
  refuse_nodes_at(nodes, std::size_t(low) - 2);
}

/// Names the first point that the library refuses, for which accepts(t) is false, and says why.
template <class Real, class Accepts>
[[noreturn]] void refuse_point(const Pairs<Real>& nodes, const Points<Real>& points, Accepts accepts) {
  const auto refused = std::ranges::find_if_not(points.at, accepts);
  const std::string point = points.name(std::size_t(refused - points.at.begin()));
  const Real t = std::clamp(*refused, nodes.x.front(), nodes.x.back());
  const bool outside = std::abs(double(*refused) - t) > Precision<Real>::tolerance;
  for (std::size_t i = 0; !outside && i + 1 < nodes.x.size(); ++i)
    if (nodes.x[i] <= t && t <= nodes.x[i + 1] &&
        !(double(nodes.x[i + 1]) - nodes.x[i] >= Precision<Real>::tolerance))
      refuse_nodes_at(nodes, i, " around " + point);
  nodes.refuse(point + " lies outside " + nodes.x_text(0) + ".." + nodes.x_text(nodes.x.size() - 1));
}

template <class Real>
Curve<Real> linear(const Pairs<Real>& nodes, const Points<Real>& points) {
  Curve<Real> curve = empty_curve<Real>(points.at.size(), false);
  const int status = AX_linttab(nodes.count(), nodes.x.data(), nodes.y.data(), int(points.at.size()),
                                points.at.data(), curve.value.data());
  if (status == AX_LINTTAB_OK) return curve;
  refuse_point(nodes, points, [&](Real t) {
    double value = 0;
    return AX_lintval(nodes.count(), nodes.x.data(), nodes.y.data(), t, &value) == AX_LINTVAL_OK;
  });
}

template <class Real>
Curve<Real> cubic(const Pairs<Real>& nodes, const Points<Real>& points, bool derivatives) {
  std::vector<Real> C = nodes.y;
  C.resize(4 * C.size());
  Curve<Real> curve = empty_curve<Real>(points.at.size(), derivatives);
  const int status =
      AX_intspl3tab(nodes.x.data(), C.data(), nodes.count(), int(points.at.size()), points.at.data(),
                    curve.value.data(), derivatives ? curve.slope.data() : nullptr,
                    derivatives ? curve.curvature.data() : nullptr);
  if (status == AX_INTSPL3TAB_OK) return curve;
  if (status == AX_INTSPL3TAB_BAD_NODES) refuse_nodes(nodes);
  refuse_point(nodes, points, [&](Real t) {
    double s = 0, s1 = 0, s2 = 0;
    return AX_intspl3val(nodes.x.data(), C.data(), nodes.count(), t, &s, &s1, &s2) == AX_INTSPL3VAL_OK;
  });
}

template <class Real>
Report report(const Pairs<Real>& nodes, const Interpolate& o, const Points<Real>& points,
              const Curve<Real>& curve) {
  return {{{"file", o.file},
           {"method", o.method},
           {"precision", o.precision},
           {"x", nodes.x_name()},
           {"y", nodes.y_name()}},
          "points",
          curve_columns(nodes.x_name(), nodes.y_name(), points, curve)};
}

template <class Real>
void interpolate(const Interpolate& o) {
  const Table table = read_table(o.file);
  const Pairs<Real> nodes{table, find_columns(table, o.x, o.y)};
  check_ascending(nodes);
  const Points<Real> points = read_points<Real>(o.at, o.at_file);

  const bool straight = o.method == "linear";
  const Curve<Real> curve = straight ? linear(nodes, points) : cubic(nodes, points, o.derivatives);
  check_finite(table.source, points, curve);

  std::vector<Result> results{
      {o.output, formatted(report(nodes, o, points, curve), format_named(o.format))}};
  if (!o.plot.empty()) {
    const Picture picture = interpolation_picture<Real>({.source = table.source,
                                                         .x_name = nodes.x_name(),
                                                         .y_name = nodes.y_name(),
                                                         .straight = straight,
                                                         .x = nodes.x,
                                                         .y = nodes.y,
                                                         .at = points.at,
                                                         .value = curve.value});
    results.push_back({o.plot, drawn(picture, o.plot)});
  }
  write_results(results);
}

void run(const Subcommand& sub, const Interpolate& o) {
  if (sub.given({"--at", "--at-file"}) != 1)
    sub.refuse("either --at or --at-file is needed, and not both");
  sub.refuse_empty({"--x", "--y"});
  sub.check(o);
  if (o.derivatives && o.method != "cubic") sub.refuse("--derivatives needs --method cubic");
  o.precision == "single" ? interpolate<float>(o) : interpolate<double>(o);
}

constexpr const char* footer = R"(Examples:
  tabfit interpolate steam.csv --at 350,360.5
      the second column at two points of the first, read along straight lines
  tabfit interpolate steam.csv --x pressure --y density --method cubic \
         --at 1:20:96 --derivatives --format table --plot density.png
      a cubic spline and its derivatives at 96 equidistant points, and a picture
  sort -t, -k1,1g readings.csv | tabfit interpolate - --at-file times.csv
      a table without a header line from a pipe, the points from a file

The table is comma-separated text. The first line is a header if one of its cells is not a
number. The nodes in the x column must increase by at least 2e-9 (2e-5 in single precision);
--method linear demands that only where a point lies. A point may lie outside the nodes by as
much, and is then moved onto the end.

Exit status:
  0  all results are written
  1  the numbers are refused (nodes that do not increase, a point outside), or a result cannot
     be drawn or written
  2  wrong options, or an input that is missing or is not such a table
On failure there is one line on standard error, and no file is created or changed.)";

}  // namespace

void add_interpolate(CLI::App& command) {
  const auto o = std::make_shared<Interpolate>();
  const Subcommand sub(command, "interpolate", "Read a table between its rows");
  sub.option("FILE", o->file, "", "The table; - is standard input")->required();
  sub.choice("--method", o->method, "linear|cubic",
             "Straight lines (the default), or an interpolating cubic spline", {"linear", "cubic"});
  sub.columns(*o);
  sub.points(*o);
  sub.flag("--derivatives", o->derivatives, "Also the first and second derivative (cubic only)");
  sub.precision(*o, "Arithmetic of the table (default: double)");
  sub.plot(*o);
  sub.result(*o);
  sub.footer(footer);
  sub.runs([sub, o] { run(sub, *o); });
}

}  // namespace tabfit::tool

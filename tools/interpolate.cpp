// tools/interpolate.cpp - the subcommand that reads a table between its rows.
#include "tools/interpolate.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/failure.hpp"
#include "tools/files.hpp"
#include "tools/interpolate_plot.hpp"
#include "tools/number.hpp"
#include "tools/output.hpp"
#include "tools/plot.hpp"
#include "tools/points.hpp"
#include "tools/table.hpp"
#include "tools/twins.hpp"

namespace tabfit::tool {
namespace {

struct Options {
  std::string file, method = "linear", x, y, at, at_file, precision = "double", format = "csv", plot;
  std::string output = "-";
  bool derivatives = false;
};

/// Two columns of a table, and what is needed to name their rows in a message.
template <class Real>
struct Nodes {
  const Table& table;
  std::size_t x_column, y_column;
  std::vector<Real> x = numbers<Real>(table, x_column), y = numbers<Real>(table, y_column);

  int n() const { return int(x.size()); }
  const std::string& x_text(std::size_t i) const { return table.rows[i].cells[x_column]; }

  [[noreturn]] void refuse(const std::string& why) const { throw NoResult(table.source + ": " + why); }
  [[noreturn]] void refuse_interval(std::size_t i, const std::string& demand) const {
    refuse("rows " + std::to_string(table.rows[i].number) + " and " +
           std::to_string(table.rows[i + 1].number) + " have the abscissae " + x_text(i) + " and " +
           x_text(i + 1) + ", but nodes must increase" + demand);
  }
};

template <class Real>
std::string by_tolerance() {
  return " by at least " + shortest(Precision<Real>::tolerance) + " in " + Precision<Real>::name +
         " precision";
}

struct XY {
  std::size_t x, y;
};

XY find_columns(const Table& table, const Options& o) {
  if (table.width < 2)
    throw BadInput(table.source +
                   ": the table has one column, but two are needed, separated by commas");
  const XY found{o.x.empty() ? 0 : find_column(table, o.x), o.y.empty() ? 1 : find_column(table, o.y)};
  if (found.x == found.y)
    throw BadInput(table.source + ": x and y are both " + table.column_label(found.x) +
                   "; name the other one with --x or --y");
  if (table.rows.size() < 2)
    throw BadInput(table.source + ": too few rows of numbers: " + std::to_string(table.rows.size()) +
                   ", but at least 2 are needed");
  return found;
}

template <class Real>
void check_ascending(const Nodes<Real>& nodes) {
  for (std::size_t i = 0; i + 1 < nodes.x.size(); ++i)
    if (!(nodes.x[i] < nodes.x[i + 1])) nodes.refuse_interval(i, by_tolerance<Real>());
}

/// The library refuses the nodes: says which. The spline through rows 0..k-1 can be built unless an
/// interval among them is too narrow, so bisection finds the first such.
template <class Real>
[[noreturn]] void refuse_nodes(const Nodes<Real>& nodes) {
  int low = 2, high = nodes.n();
  while (low < high) {
    const int k = low + (high - low) / 2;
    std::vector<Real> part(nodes.y.begin(), nodes.y.begin() + k);
    part.resize(4 * part.size());
    if (AX_intspl3(nodes.x.data(), part.data(), k) == AX_INTSPL3_OK)
      low = k + 1;
    else
      high = k;
  }
  nodes.refuse_interval(std::size_t(low) - 2, by_tolerance<Real>());
}

/// The library refuses a point, of which accepts(t) is false: says which, and why.
template <class Real, class Accepts>
[[noreturn]] void refuse_point(const Nodes<Real>& nodes, const Points<Real>& points, Accepts accepts) {
  const auto refused = std::ranges::find_if_not(points.at, accepts);
  const std::string point = points.name(std::size_t(refused - points.at.begin()));
  const Real t = std::clamp(*refused, nodes.x.front(), nodes.x.back());
  const bool outside = std::abs(double(*refused) - t) > Precision<Real>::tolerance;
  for (std::size_t i = 0; !outside && i + 1 < nodes.x.size(); ++i)
    if (nodes.x[i] <= t && t <= nodes.x[i + 1] &&
        !(double(nodes.x[i + 1]) - nodes.x[i] >= Precision<Real>::tolerance))
      nodes.refuse_interval(i, by_tolerance<Real>() + " around " + point);
  nodes.refuse(point + " lies outside " + nodes.x_text(0) + ".." + nodes.x_text(nodes.x.size() - 1));
}

template <class Real>
struct Curve {
  std::vector<Real> value, slope, curvature;
};

template <class Real>
Curve<Real> linear(const Nodes<Real>& nodes, const Points<Real>& points) {
  Curve<Real> curve;
  curve.value.resize(points.at.size());
  const int status = AX_linttab(nodes.n(), nodes.x.data(), nodes.y.data(), int(points.at.size()),
                                points.at.data(), curve.value.data());
  if (status == AX_LINTTAB_OK) return curve;
  refuse_point(nodes, points, [&](Real t) {
    double value = 0;
    return AX_lintval(nodes.n(), nodes.x.data(), nodes.y.data(), t, &value) == AX_LINTVAL_OK;
  });
}

template <class Real>
Curve<Real> cubic(const Nodes<Real>& nodes, const Points<Real>& points, bool derivatives) {
  std::vector<Real> C = nodes.y;
  C.resize(4 * C.size());
  Curve<Real> curve;
  curve.value.resize(points.at.size());
  if (derivatives) curve.slope = curve.curvature = curve.value;
  const int status = AX_intspl3tab(
      nodes.x.data(), C.data(), nodes.n(), int(points.at.size()), points.at.data(), curve.value.data(),
      derivatives ? curve.slope.data() : nullptr, derivatives ? curve.curvature.data() : nullptr);
  if (status == AX_INTSPL3TAB_OK) return curve;
  if (status == AX_INTSPL3TAB_BAD_NODES) refuse_nodes(nodes);
  refuse_point(nodes, points, [&](Real t) {
    double s = 0, s1 = 0, s2 = 0;
    return AX_intspl3val(nodes.x.data(), C.data(), nodes.n(), t, &s, &s1, &s2) == AX_INTSPL3VAL_OK;
  });
}

template <class Real>
void check_finite(const Nodes<Real>& nodes, const Points<Real>& points, const Curve<Real>& curve) {
  for (const std::vector<Real>* results : {&curve.value, &curve.slope, &curve.curvature})
    for (std::size_t j = 0; j < results->size(); ++j)
      if (!std::isfinite((*results)[j]))
        nodes.refuse("the result at " + points.name(j) + " is beyond the range of " +
                     Precision<Real>::name + " precision");
}

template <class Real>
Report report(const Nodes<Real>& nodes, const Options& o, const Points<Real>& points,
              const Curve<Real>& curve) {
  const std::string x = nodes.table.column_name(nodes.x_column);
  const std::string y = nodes.table.column_name(nodes.y_column);
  Report report{
      {{"file", o.file}, {"method", o.method}, {"precision", o.precision}, {"x", x}, {"y", y}}, {}};
  const auto add = [&](const std::string& name, const std::string& key,
                       const std::vector<Real>& values) {
    std::vector<std::string> texts;
    texts.reserve(values.size());
    for (const Real value : values) texts.push_back(shortest(value));
    report.columns.push_back({name, key, std::move(texts)});
  };
  add(x, "x", points.at);
  add(y, "y", curve.value);
  if (o.derivatives) {
    add("first derivative", "first_derivative", curve.slope);
    add("second derivative", "second_derivative", curve.curvature);
  }
  return report;
}

Format format_named(const std::string& name) {
  if (name == "csv") return Format::csv;
  return name == "table" ? Format::table : Format::json;
}

template <class Real>
void interpolate(const Options& o) {
  const Table table = read_table(o.file);
  const XY columns = find_columns(table, o);
  const Nodes<Real> nodes{table, columns.x, columns.y};
  check_ascending(nodes);
  const Points<Real> points =
      o.at_file.empty() ? points_from_option<Real>("--at", o.at) : points_from_file<Real>(o.at_file);

  const bool straight = o.method == "linear";
  const Curve<Real> curve = straight ? linear(nodes, points) : cubic(nodes, points, o.derivatives);
  check_finite(nodes, points, curve);

  std::vector<Result> results{
      {o.output, formatted(report(nodes, o, points, curve), format_named(o.format))}};
  if (!o.plot.empty()) {
    const Picture picture = interpolation_picture<Real>({.source = table.source,
                                                         .x_name = table.column_name(columns.x),
                                                         .y_name = table.column_name(columns.y),
                                                         .straight = straight,
                                                         .x = nodes.x,
                                                         .y = nodes.y,
                                                         .at = points.at,
                                                         .value = curve.value});
    results.push_back({o.plot, drawn(picture, o.plot)});
  }
  write_results(results);
}

void run(const CLI::App& parsed, const Options& o) {
  const auto refuse = [](const std::string& why) {
    throw BadInput(why + " (see tabfit interpolate --help)");
  };
  if (parsed.count("--at") + parsed.count("--at-file") != 1)
    refuse("either --at or --at-file is needed, and not both");
  for (const char* option : {"--x", "--y", "--at", "--at-file", "--output"})
    if (parsed.count(option) > 0 && parsed[option]->as<std::string>().empty())
      refuse(std::string(option) + " is empty");
  if (o.file == "-" && o.at_file == "-") refuse("FILE and --at-file are both standard input");
  if (o.derivatives && o.method != "cubic") refuse("--derivatives needs --method cubic");
  if (parsed.count("--plot") > 0) check_picture_name(o.plot);
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
  const auto o = std::make_shared<Options>();
  CLI::App& sub = *command.add_subcommand("interpolate", "Read a table between its rows");
  const auto option = [&sub](const char* name, std::string& value, const char* type, const char* help) {
    return sub.add_option(name, value, help)->type_name(type);
  };
  const auto choice = [&option](const char* name, std::string& value, const char* type,
                                const char* help, const std::vector<std::string>& choices) {
    option(name, value, type, help)->check(CLI::IsMember(choices).description(""));
  };
  option("FILE", o->file, "", "The table; - is standard input")->required();
  choice("--method", o->method, "linear|cubic",
         "Straight lines (the default), or an interpolating cubic spline", {"linear", "cubic"});
  option("--x", o->x, "COL", "Column of the abscissae, by name or number (default: 1)");
  option("--y", o->y, "COL", "Column of the ordinates, by name or number (default: 2)");
  option("--at", o->at, "POINTS", "Points: a list 350,360.5 or equal steps START:STOP:COUNT");
  option("--at-file", o->at_file, "FILE", "Points: the first column of a file; - is standard input");
  sub.add_flag("--derivatives", o->derivatives, "Also the first and second derivative (cubic only)");
  choice("--precision", o->precision, "double|single", "Arithmetic of the table (default: double)",
         {"double", "single"});
  choice("--format", o->format, "csv|table|json", "Form of the result (default: csv)",
         {"csv", "table", "json"});
  option("--plot", o->plot, "FILE", "Also a picture, in a file named .svg, .png or .pdf");
  option("--output", o->output, "FILE", "Write to a file, not to standard output");
  sub.footer(footer);
  sub.callback([&sub, o] { run(sub, *o); });
}

}  // namespace tabfit::tool

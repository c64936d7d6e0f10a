// tools/fit.cpp - the subcommand that fits a spline or a polynomial to a table.
#include "tools/fit.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/curve.hpp"
#include "tools/files.hpp"
#include "tools/fit_plot.hpp"
#include "tools/fitted.hpp"
#include "tools/fitted_file.hpp"
#include "tools/number.hpp"
#include "tools/options.hpp"
#include "tools/output.hpp"
#include "tools/pairs.hpp"
#include "tools/points.hpp"

namespace tabfit::tool {
namespace {

struct Fit : Options {
  std::string spline, polynomial, coefficients;
  bool at_data = false, average_repeated = false;
  Kind kind = Kind::spline;
  int size = 0;
};

/// The points are those of the data.
bool is_at_data(const Fit& o) { return o.at.empty() && o.at_file.empty(); }

template <class Real>
Points<Real> points_of(const Pairs<Real>& data, const Fit& o) {
  if (!is_at_data(o)) return read_points<Real>(o.at, o.at_file);
  return {data.x, [&data](std::size_t j) { return "point " + data.x_text(j); }};
}

/// "root mean square residual 0.1, largest 0.2 at 850"
template <class Real>
std::string statistics(const Fitted<Real>& fitted, const Pairs<Real>& data,
                       const std::vector<Real>& residual) {
  const auto largest = std::ranges::max_element(residual, {}, [](Real r) { return std::abs(r); });
  return title(fitted) + ", " + std::to_string(fitted.points) + " points: root mean square residual " +
         shortest(fitted.rms) + ", largest " + shortest(fitted.largest) + " at " +
         data.x_text(std::size_t(largest - residual.begin()));
}

template <class Real>
Report report(const Fit& o, const Fitted<Real>& fitted, const Points<Real>& points,
              const Curve<Real>& curve) {
  const bool spline = fitted.kind == Kind::spline;
  return {{{"file", o.file},
           {"kind", spline ? "spline" : "polynomial"},
           {spline ? "interior_knots" : "degree", fitted.size},
           {"precision", o.precision},
           {"x", fitted.x_name},
           {"y", fitted.y_name},
           {"root_mean_square_residual", json_number(fitted.rms)},
           {"largest_residual", json_number(fitted.largest)}},
          "points",
          curve_columns(fitted.x_name, fitted.y_name, points, curve)};
}

template <class Real>
void fit_table(const Fit& o) {
  const Table table = read_table(o.file);
  Pairs<Real> data{table, find_columns(table, o.x, o.y)};
  make_ascending(data, o.average_repeated);
  const Points<Real> points = points_of(data, o);
  const Fitted<Real> fitted = fit(data, o.kind, o.size);
  const Curve<Real> curve = evaluate(fitted, points, o.derivatives, table.source);
  const std::vector<Real> residual = residuals(data, evaluate(fitted, data.x, false).value);

  Report result = report(o, fitted, points, curve);
  if (is_at_data(o)) result.columns.push_back(number_column("residual", "residual", residual));
  result.notes = {statistics(fitted, data, residual)};
  const Format format = format_named(o.format);
  std::vector<Result> results{{o.output, formatted(result, format)}};
  if (!o.coefficients.empty()) results.push_back({o.coefficients, coefficients_text(fitted, o.file)});
  if (!o.plot.empty()) {
    const Marked<Real> marked = is_at_data(o) ? Marked<Real>{} : Marked<Real>{points.at, curve.value};
    results.push_back({o.plot, drawn(fit_picture(fitted, table.source, Marked<Real>{data.x, data.y},
                                                 residual, marked),
                                     o.plot)});
  }
  write_results(results);
  print_notes(result, format);
}

void run(const Subcommand& sub, Fit& o) {
  if (sub.given({"--spline", "--polynomial"}) != 1)
    sub.refuse("either --spline or --polynomial is needed, and not both");
  if (sub.given({"--at", "--at-file", "--at-data"}) > 1)
    sub.refuse("only one of --at, --at-file and --at-data can be given");
  sub.refuse_empty({"--x", "--y", "--coefficients"});
  sub.check(o);
  const bool spline = sub.given("--spline");
  o.kind = spline ? Kind::spline : Kind::polynomial;
  o.size = spline ? whole_number(o.spline, "--spline", "KNOTS", 1, 1'000'000)
                  : whole_number(o.polynomial, "--polynomial", "DEGREE", 2, most_degree);
  o.precision == "single" ? fit_table<float>(o) : fit_table<double>(o);
}

constexpr const char* footer = R"(Examples:
  tabfit fit titanium.csv --spline 12 --plot titanium.svg
      a least-squares spline with 12 equidistant interior knots: its values at the data, what the
      data have more (the residuals), and a picture
  tabfit fit steam.csv --x pressure --y density --polynomial 5 --at 1:20:96 --derivatives
      a polynomial of degree 5 and its derivatives at 96 equidistant points
  tabfit fit times.csv --spline 8 --average-repeated --coefficients times.json
      several readings at one abscissa count as their mean; the fit is kept for tabfit evaluate

The table is comma-separated text. The first line is a header if one of its cells is not a
number. The abscissae must increase from row to row. Without --at and --at-file the fit is
evaluated at the data. No point may lie outside the data.

How well the fit meets the data stands in JSON, below a result of --format table, and beside CSV
on standard error.

Exit status:
  0  all results are written
  1  the numbers are refused (too few points, repeated abscissae, a part of the range without
     data, a point outside), or a result cannot be drawn or written
  2  wrong options, or an input that is missing or is not such a table
On failure there is one line on standard error, and no file is created or changed.)";

}  // namespace

void add_fit(CLI::App& command) {
  const auto o = std::make_shared<Fit>();
  const Subcommand sub(command, "fit", "Fit a smooth curve to a table by least squares");
  sub.option("FILE", o->file, "", "The table; - is standard input")->required();
  sub.option("--spline", o->spline, "KNOTS", "A cubic spline with so many interior knots");
  sub.option("--polynomial", o->polynomial, "DEGREE", "A polynomial, of degree 2 or more");
  sub.columns(*o);
  sub.points(*o);
  sub.flag("--at-data", o->at_data, "Points: the abscissae of the data (the default)");
  sub.flag("--derivatives", o->derivatives, "Also the first and second derivative");
  sub.flag("--average-repeated", o->average_repeated,
           "Rows with the same abscissa count as one, with their mean");
  sub.precision(*o, "Arithmetic of the fit (default: double)");
  sub.option("--coefficients", o->coefficients, "FILE", "Also the fit as JSON, for tabfit evaluate");
  sub.plot(*o);
  sub.result(*o);
  sub.footer(footer);
  sub.runs([sub, o] { run(sub, *o); });
}

}  // namespace tabfit::tool

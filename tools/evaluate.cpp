// tools/evaluate.cpp - the subcommand that evaluates a fit that was kept in a file.
#include "tools/evaluate.hpp"

#include <memory>

#include "tools/curve.hpp"
#include "tools/files.hpp"
#include "tools/fit_plot.hpp"
#include "tools/fitted.hpp"
#include "tools/fitted_file.hpp"
#include "tools/options.hpp"
#include "tools/output.hpp"
#include "tools/points.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

template <class Real>
void evaluate_file(const Options& o, const std::string& content, const std::string& source) {
  const Fitted<Real> fitted = read_fitted<Real>(content, source);
  const Points<Real> points = read_points<Real>(o.at, o.at_file);
  const Curve<Real> curve = evaluate(fitted, points, o.derivatives, source);
  const Report report{{{"file", o.file},
                       {"fit", title(fitted)},
                       {"precision", Precision<Real>::name},
                       {"x", fitted.x_name},
                       {"y", fitted.y_name}},
                      "points",
                      curve_columns(fitted.x_name, fitted.y_name, points, curve)};
  std::vector<Result> results{{o.output, formatted(report, format_named(o.format))}};
  if (!o.plot.empty())
    results.push_back({o.plot, drawn(curve_picture(fitted, source, {points.at, curve.value}), o.plot)});
  write_results(results);
}

void run(const Subcommand& sub, const Options& o) {
  if (sub.given({"--at", "--at-file"}) != 1)
    sub.refuse("either --at or --at-file is needed, and not both");
  sub.check(o);
  const std::string content = read_file(o.file);
  const std::string source = o.file == "-" ? "standard input" : o.file;
  if (precision_of(content, source) == "single")
    evaluate_file<float>(o, content, source);
  else
    evaluate_file<double>(o, content, source);
}

constexpr const char* footer = R"(Examples:
  tabfit fit titanium.csv --spline 12 --coefficients titanium.json --output fitted.csv
  tabfit evaluate titanium.json --at 850,900.5 --derivatives
      the fit at two other points: the numbers that tabfit fit itself would print
  tabfit evaluate titanium.json --at 595:1075:97 --format table --plot titanium.svg

Exit status:
  0  all results are written
  1  a point lies outside the data that were fitted, or a result cannot be drawn or written
  2  wrong options, or an input that is missing or was not written by tabfit fit
On failure there is one line on standard error, and no file is created or changed.)";

}  // namespace

void add_evaluate(CLI::App& command) {
  const auto o = std::make_shared<Options>();
  const Subcommand sub(command, "evaluate", "Evaluate a fit that tabfit fit kept in a file");
  sub.option("FILE", o->file, "", "The file of coefficients; - is standard input")->required();
  sub.points(*o);
  sub.flag("--derivatives", o->derivatives, "Also the first and second derivative");
  sub.plot(*o);
  sub.result(*o);
  sub.footer(footer);
  sub.runs([sub, o] { run(sub, *o); });
}

}  // namespace tabfit::tool

// tools/solve.cpp - the subcommand that explains one column of a table by others.
#include "tools/solve.hpp"

#include <algorithm>
#include <cmath>
#include <memory>

#include "tools/failure.hpp"
#include "tools/files.hpp"
#include "tools/number.hpp"
#include "tools/options.hpp"
#include "tools/output.hpp"
#include "tools/precision.hpp"
#include "tools/regression.hpp"
#include "tools/table.hpp"

namespace tabfit::tool {
namespace {

struct Solve : Options {
  std::string response, predictors, fitted;
  bool intercept = false;
};

struct Choice {
  std::size_t response;
  std::vector<std::size_t> predictors;
};

/// The response, and the predictors that are named, or all other columns.
Choice choose_columns(const Table& table, const Solve& o) {
  Choice choice{find_column(table, o.response), {}};
  const auto refuse = [&](std::size_t column, const std::string& why) {
    throw BadInput(table.source + ": " + table.column_label(column) + why);
  };
  if (o.predictors.empty()) {
    for (std::size_t j = 0; j < table.width; ++j)
      if (j != choice.response) choice.predictors.push_back(j);
    if (choice.predictors.empty())
      refuse(choice.response, " is the only column, there is no predictor");
    return choice;
  }
  for (const std::string& name : split(o.predictors, ',')) {
    const std::size_t column = find_column(table, name);
    if (column == choice.response) refuse(column, " is both response and predictor");
    if (std::ranges::count(choice.predictors, column) > 0)
      refuse(column, " is named twice as a predictor");
    choice.predictors.push_back(column);
  }
  return choice;
}

template <class Real>
Problem<Real> problem_of(const Table& table, const Choice& choice, const Solve& o) {
  const std::size_t unknowns = choice.predictors.size() + (o.intercept ? 1 : 0);
  if (table.rows.size() < unknowns)
    throw NoResult(table.source + ": too few rows for " + std::to_string(unknowns) +
                   (unknowns == 1 ? " coefficient" : " coefficients") + ": at least " +
                   std::to_string(unknowns) + (unknowns == 1 ? " is" : " are") +
                   " needed, but there are " + std::to_string(table.rows.size()));
  Problem<Real> problem{{}, numbers<Real>(table, choice.response), o.intercept};
  for (const std::size_t column : choice.predictors)
    problem.predictors.push_back(numbers<Real>(table, column));
  return problem;
}

/// "column `a`", "column `a` and the intercept", "column `a`, column `b` and column `c`"
std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t k = 0; k < names.size(); ++k)
    list += (k == 0 ? "" : k + 1 == names.size() ? " and " : ", ") + names[k];
  return list;
}

[[noreturn]] void refuse_dependent(const Table& table, const Choice& choice, const Solve& o,
                                   const std::vector<Dependent>& dependent) {
  const auto label = [&](int place) {
    return table.column_label(choice.predictors[std::size_t(place)]);
  };
  std::string why;
  for (const Dependent& d : dependent) {
    why += (why.empty() ? "" : "; ") + label(d.place);
    std::vector<std::string> names;
    for (const int place : d.on) names.push_back(label(place));
    if (names.empty()) {
      why += o.intercept ? " is constant, as the intercept is" : " is zero";
      continue;
    }
    if (o.intercept) names.emplace_back("the intercept");
    why += names.size() == 1 ? " is a multiple of " : " is a combination of ";
    why += joined(names);
  }
  const std::size_t unknowns = choice.predictors.size() + (o.intercept ? 1 : 0);
  throw NoResult(table.source + ": the predictors are dependent, rank " +
                 std::to_string(unknowns - dependent.size()) + " of " + std::to_string(unknowns) +
                 ": " + why);
}

template <class Real>
void check_finite(const Table& table, const Regression<Real>& found) {
  const auto finite = [](Real number) { return std::isfinite(number); };
  if (finite(found.intercept) && finite(found.sum_of_squares) && finite(found.total) &&
      std::ranges::all_of(found.coefficients, finite) && std::ranges::all_of(found.residual, finite))
    return;
  throw NoResult(table.source + ": the result is beyond the range of " + Precision<Real>::name +
                 " precision");
}

template <class Real>
Report report(const Table& table, const Choice& choice, const Solve& o, const Regression<Real>& found) {
  Column terms{"term", "term", {}, true};
  std::vector<Real> values;
  if (o.intercept) {
    terms.cells.emplace_back("intercept");
    values.push_back(found.intercept);
  }
  for (std::size_t j = 0; j < choice.predictors.size(); ++j) {
    terms.cells.push_back(table.column_name(choice.predictors[j]));
    values.push_back(found.coefficients[j]);
  }

  const std::size_t rows = table.rows.size(), freedom = rows - values.size();
  const Real norm = std::sqrt(found.sum_of_squares);
  Report report{{{"file", o.file},
                 {"response", table.column_name(choice.response)},
                 {"precision", o.precision},
                 {"rows", rows},
                 {"degrees_of_freedom", freedom},
                 {"residual_norm", json_number(norm)},
                 {"residual_sum_of_squares", json_number(found.sum_of_squares)}},
                "coefficients",
                {terms, number_column("coefficient", "value", values)}};
  std::string note = std::to_string(rows) + " rows, " + std::to_string(freedom) +
                     (freedom == 1 ? " degree" : " degrees") + " of freedom: residual norm " +
                     shortest(norm) + ", sum of squares " + shortest(found.sum_of_squares);
  if (freedom > 0) {
    const std::string deviation = shortest(Real(std::sqrt(found.sum_of_squares / Real(freedom))));
    report.description["residual_standard_deviation"] = json_number(deviation);
    note += ", standard deviation " + deviation;
  }
  if (o.intercept && found.total > 0) {
    const std::string share = shortest(Real(1) - found.sum_of_squares / found.total);
    report.description["r_squared"] = json_number(share);
    note += ", R squared " + share;
  }
  report.notes = {note};
  return report;
}

template <class Real>
Report row_report(const Table& table, const Choice& choice, const std::vector<Real>& response,
                  const Regression<Real>& found) {
  Column numbers{"row", "row", {}};
  for (const Row& row : table.rows) numbers.cells.push_back(std::to_string(row.number));
  return {{},
          "rows",
          {numbers, number_column(table.column_name(choice.response), "response", response),
           number_column("fitted", "fitted", found.fitted),
           number_column("residual", "residual", found.residual)}};
}

template <class Real>
void solve(const Solve& o) {
  const Table table = read_table(o.file);
  const Choice choice = choose_columns(table, o);
  const Problem<Real> problem = problem_of<Real>(table, choice, o);
  const Regression<Real> found = regress(problem);
  if (!found.dependent.empty()) refuse_dependent(table, choice, o, found.dependent);
  check_finite(table, found);

  const Format format = format_named(o.format);
  const Report result = report(table, choice, o, found);
  std::vector<Result> results{{o.output, formatted(result, format)}};
  if (!o.fitted.empty())
    results.push_back(
        {o.fitted, formatted(row_report(table, choice, problem.response, found), format)});
  write_results(results);
  print_notes(result, format);
}

void run(const Subcommand& sub, const Solve& o) {
  sub.refuse_empty({"--response", "--predictors", "--fitted"});
  sub.check(o);
  o.precision == "single" ? solve<float>(o) : solve<double>(o);
}

constexpr const char* footer = R"(Examples:
  tabfit solve longley.csv --response employment --intercept --format table
      the first column explained by all others and a constant
  tabfit solve trials.csv --response yield --predictors heat,time --intercept --fitted rows.csv
      by two columns and a constant; also the fitted value and the residual of every row

Every column is scaled to norm 1 before the library solves the problem, with --intercept also
reduced by its mean; the coefficients are those of the columns as they stand in the table.
Predictors that are combinations of others, but for 1e-7 (2e-3 in single precision) of their
norm, are refused by name.

How well the response is explained stands in JSON, below a result of --format table, and beside
CSV on standard error.

Exit status:
  0  all results are written
  1  the numbers are refused (too few rows, predictors that depend on each other), or a result
     cannot be written
  2  wrong options, or an input that is missing or is not such a table
On failure there is one line on standard error, and no file is created or changed.)";

}  // namespace

void add_solve(CLI::App& command) {
  const auto o = std::make_shared<Solve>();
  const Subcommand sub(command, "solve",
                       "Explain one column of a table by others (linear least squares)");
  sub.option("FILE", o->file, "", "The table; - is standard input")->required();
  sub.option("--response", o->response, "COL", "The column to explain, by name or number")->required();
  sub.option("--predictors", o->predictors, "COL,COL,...",
             "The columns that explain it (default: all others)");
  sub.flag("--intercept", o->intercept, "Also a constant");
  sub.precision(*o, "Arithmetic of the solution (default: double)");
  sub.option("--fitted", o->fitted, "FILE", "Also the fitted value and the residual of every row");
  sub.result(*o);
  sub.footer(footer);
  sub.runs([sub, o] { run(sub, *o); });
}

}  // namespace tabfit::tool

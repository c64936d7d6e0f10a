// tools/points.cpp - the abscissae at which a curve is wanted.
#include "tools/points.hpp"

#include <memory>

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/table.hpp"

namespace tabfit::tool {
namespace {

constexpr int most_steps = 10'000'000;

/// start, ..., stop in equal steps. The steps are taken in long double, from the decimal text, so that
/// 0:1:11 gives the same numbers as 0.1, 0.2, ... typed by hand.
template <class Real>
std::vector<Real> steps(const std::vector<std::string>& parts, const std::string& option) {
  const Real first = number_or_throw<Real>(parts[0], option, "START");
  const Real last = number_or_throw<Real>(parts[1], option, "STOP");
  // A count of 1 needs equal ends; the message about a wrong count leaves that out.
  const int count = parts[2] == "1" ? 1 : whole_number(parts[2], option, "COUNT", 2, most_steps);
  if (count == 1 && first != last)
    throw BadInput(option + ": COUNT is 1, but START and STOP are " + quoted(parts[0]) + " and " +
                   quoted(parts[1]));

  long double start = 0, stop = 0;
  (void)read_number(parts[0], start);
  (void)read_number(parts[1], stop);
  std::vector<Real> at;
  at.reserve(std::size_t(count));
  for (int j = 0; j < count - 1; ++j) at.push_back(Real(start + j * (stop - start) / (count - 1)));
  at.push_back(last);
  return at;
}

template <class Real>
Points<Real> points_from_option(const std::string& option, const std::string& text) {
  const std::vector<std::string> range = split(text, ':');
  if (range.size() == 3) {
    const auto at = std::make_shared<std::vector<Real>>(steps<Real>(range, option));
    return {*at, [at](std::size_t j) { return "point " + shortest((*at)[j]); }};
  }
  if (range.size() != 1)
    throw BadInput(option + ": neither a list of numbers nor START:STOP:COUNT: " + quoted(text));

  const std::vector<std::string> list = split(text, ',');
  Points<Real> points;
  for (std::size_t j = 0; j < list.size(); ++j)
    points.at.push_back(number_or_throw<Real>(list[j], option, "place " + std::to_string(j + 1)));
  points.name = [list](std::size_t j) { return "point " + list[j]; };
  return points;
}

template <class Real>
Points<Real> points_from_file(const std::string& file) {
  const auto table = std::make_shared<Table>(read_table(file));
  if (table->rows.empty()) throw BadInput(table->source + ": there are no points, only a header line");
  return {numbers<Real>(*table, 0), [table](std::size_t j) {
            const Row& row = table->rows[j];
            return "point " + row.cells[0] + " (" + table->source + ", row " +
                   std::to_string(row.number) + ")";
          }};
}

}  // namespace

template <class Real>
Points<Real> read_points(const std::string& at, const std::string& at_file) {
  return at_file.empty() ? points_from_option<Real>("--at", at) : points_from_file<Real>(at_file);
}

template Points<float> read_points(const std::string&, const std::string&);
template Points<double> read_points(const std::string&, const std::string&);

}  // namespace tabfit::tool

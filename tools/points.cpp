// tools/points.cpp - the abscissae at which a curve is wanted.
#include "tools/points.hpp"

#include <charconv>
#include <memory>

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/table.hpp"

namespace tabfit::tool {
namespace {

constexpr int most_steps = 10'000'000;

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t stop = 0; stop != std::string::npos; start = stop + 1) {
    stop = text.find(separator, start);
    parts.push_back(text.substr(start, stop == std::string::npos ? stop : stop - start));
  }
  return parts;
}

int read_count(const std::string& text, const std::string& option) {
  int count = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  if (error == std::errc() && stop == end && count >= 1 && count <= most_steps) return count;
  throw BadInput(option + ": COUNT must be a whole number from 2 to " + std::to_string(most_steps) +
                 ", but is " + quoted(text));
}

/// start, ..., stop in equal steps. The steps are taken in long double, from the decimal text, so that
/// 0:1:11 gives the same numbers as 0.1, 0.2, ... typed by hand.
template <class Real>
std::vector<Real> steps(const std::vector<std::string>& parts, const std::string& option) {
  const Real first = number_or_throw<Real>(parts[0], option, "START");
  const Real last = number_or_throw<Real>(parts[1], option, "STOP");
  const int count = read_count(parts[2], option);
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

}  // namespace

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

template Points<float> points_from_option(const std::string&, const std::string&);
template Points<double> points_from_option(const std::string&, const std::string&);
template Points<float> points_from_file(const std::string&);
template Points<double> points_from_file(const std::string&);

}  // namespace tabfit::tool

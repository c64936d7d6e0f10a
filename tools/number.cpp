// tools/number.cpp - numbers from text and back.
#include "tools/number.hpp"

#include <charconv>
#include <cmath>

#include "tools/failure.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  return text.substr(0, text.find_last_not_of(blanks) + 1);
}

template <class Real>
std::string to_text(Real value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace

template <class Real>
Reading read_number(std::string_view text, Real& value) {
  text = trimmed(text);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc::invalid_argument || stop != end) return Reading::garbage;
  if (error == std::errc::result_out_of_range) return Reading::out_of_range;
  return std::isfinite(value) ? Reading::number : Reading::infinite;
}

template <class Real>
Real number_or_throw(const std::string& text, const std::string& source, const std::string& where) {
  Real value = 0;
  const Reading reading = read_number(text, value);
  if (reading == Reading::number) return value;
  std::string wrong = "not a number";
  if (reading == Reading::infinite) wrong = "not a finite number";
  if (reading == Reading::out_of_range)
    wrong = std::string("outside the range of ") + Precision<Real>::name + " precision";
  if (trimmed(text).empty()) throw BadInput(source + ": no number in " + where);
  throw BadInput(source + ": " + wrong + " in " + where + ": " + quoted(text));
}

int whole_number(const std::string& text, const std::string& option, const std::string& name, int least,
                 int most) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && stop == end && number >= least && number <= most) return number;
  throw BadInput(option + ": " + name + " must be a whole number from " + std::to_string(least) +
                 " to " + std::to_string(most) + ", but is " + quoted(text));
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t stop = 0; stop != std::string::npos; start = stop + 1) {
    stop = text.find(separator, start);
    parts.push_back(text.substr(start, stop == std::string::npos ? stop : stop - start));
  }
  return parts;
}

std::string shortest(float value) { return to_text(value); }
std::string shortest(double value) { return to_text(value); }

template Reading read_number(std::string_view, float&);
template Reading read_number(std::string_view, double&);
template Reading read_number(std::string_view, long double&);
template float number_or_throw(const std::string&, const std::string&, const std::string&);
template double number_or_throw(const std::string&, const std::string&, const std::string&);

}  // namespace tabfit::tool

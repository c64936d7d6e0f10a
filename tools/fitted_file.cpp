// tools/fitted_file.cpp - a fit as a JSON file, from which it is evaluated later.
#include "tools/fitted_file.hpp"

#include <cmath>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

constexpr const char* what_it_is = "tabfit fit";
constexpr int version = 1;

/// Numbers are read as Real, so that a decimal text is rounded once.
template <class Real>
using Json =
    nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, Real>;

/// A number as JSON: -0 becomes -0.0, since readers drop the sign of an integer 0.
template <class Real>
std::string json_number(Real value) {
  const std::string text = shortest(value);
  return text == "-0" ? "-0.0" : text;
}

template <class Real>
class Reader {
 public:
  Reader(const std::string& content, std::string source) : source_(std::move(source)) {
    json_ = Json<Real>::parse(content, nullptr, false);
    if (json_.is_discarded()) refuse("this is not a file of coefficients: it is not JSON");
    if (!json_.is_object() || !json_.contains("format") || json_["format"] != what_it_is)
      refuse(std::string("this is not a file of coefficients: it has no \"format\": \"") + what_it_is +
             "\"");
    if (const int v = integer("version", 0, std::numeric_limits<int>::max()); v != version)
      refuse("the file has version " + std::to_string(v) + ", but this program reads version " +
             std::to_string(version));
  }

  [[noreturn]] void refuse(const std::string& why) const { throw BadInput(source_ + ": " + why); }

  std::string text(const char* key) const {
    const Json<Real>& value = item(key);
    if (!value.is_string()) refuse(named(key) + " must be a text");
    return value.template get<std::string>();
  }
  std::string one_of(const char* key, const std::string& a, const std::string& b) const {
    std::string value = text(key);
    if (value != a && value != b)
      refuse(named(key) + " must be \"" + a + "\" or \"" + b + "\", but is " + tool::quoted(value));
    return value;
  }
  int integer(const char* key, int least, int most) const {
    const Json<Real>& value = item(key);
    if (value.is_number_unsigned())
      if (const auto number = value.template get<std::uint64_t>();
          number >= std::uint64_t(least) && number <= std::uint64_t(most))
        return int(number);
    refuse(named(key) + " must be a whole number from " + std::to_string(least) + " to " +
           std::to_string(most));
  }
  Real number(const char* key) const { return number(item(key), named(key)); }
  std::vector<Real> numbers(const char* key, std::size_t count) const {
    const Json<Real>& list = item(key);
    if (!list.is_array()) refuse(named(key) + " must be a list of numbers");
    if (list.size() != count)
      refuse(named(key) + " must have " + std::to_string(count) + " numbers, but has " +
             std::to_string(list.size()));
    std::vector<Real> values;
    for (const Json<Real>& value : list)
      values.push_back(
          number(value, "number " + std::to_string(values.size() + 1) + " of " + named(key)));
    return values;
  }

 private:
  const Json<Real>& item(const char* key) const {
    if (!json_.contains(key)) refuse("there is no " + named(key));
    return json_[key];
  }
  static std::string named(const char* key) { return std::string(1, '"').append(key).append(1, '"'); }
  Real number(const Json<Real>& value, const std::string& what) const {
    if (!value.is_number() || !std::isfinite(value.template get<Real>()))
      refuse(what + " must be a number within the range of " + Precision<Real>::name + " precision");
    return value.template get<Real>();
  }

  std::string source_;
  Json<Real> json_;
};

/// The size must be possible, and both ends of the range must lie in the band that the library accepts.
template <class Real>
void check(const Reader<Real>& reader, const Fitted<Real>& f, Real centre, Real half_width) {
  if (!(f.first < f.last)) reader.refuse("\"range\" must increase");
  const auto is_off = [&](Real end, double expected) {
    const double place = (double(end) - double(f.shift) - double(centre)) / double(half_width);
    return !(std::abs(place - expected) <= Precision<Real>::tolerance);
  };
  if (!(half_width > 0) || is_off(f.first, -1) || is_off(f.last, 1))
    reader.refuse("\"range\", \"shift\", \"centre\" and \"half_width\" do not go together");
}

}  // namespace

template <class Real>
std::string coefficients_text(const Fitted<Real>& f, const std::string& source) {
  const bool spline = f.kind == Kind::spline;
  const std::size_t count = std::size_t(f.size) + (spline ? 4 : 1);
  std::string text = json_fields({
      text_field("format", what_it_is),
      number_field("version", std::to_string(version)),
      text_field("file", source),
      text_field("kind", spline ? "spline" : "polynomial"),
      number_field(spline ? "interior_knots" : "degree", std::to_string(f.size)),
      text_field("precision", Precision<Real>::name),
      text_field("x", f.x_name),
      text_field("y", f.y_name),
      number_field("points", std::to_string(f.points)),
      number_field("root_mean_square_residual", json_number(f.rms)),
      number_field("largest_residual", json_number(f.largest)),
      number_field("range",
                   std::string(1, '[').append(json_number(f.first) + ", " + json_number(f.last) + ']')),
      number_field("shift", json_number(f.shift)),
      number_field("centre", json_number(f.a[count])),
      number_field("half_width", json_number(f.a[count + 1])),
  });
  text += ",\n  \"coefficients\": [";
  for (std::size_t j = 0; j < count; ++j) text += (j == 0 ? "\n    " : ",\n    ") + json_number(f.a[j]);
  return text + "\n  ]\n}\n";
}

std::string precision_of(const std::string& content, const std::string& source) {
  return Reader<double>(content, source).one_of("precision", "single", "double");
}

template <class Real>
Fitted<Real> read_fitted(const std::string& content, const std::string& source) {
  const Reader<Real> reader(content, source);
  const bool spline = reader.one_of("kind", "spline", "polynomial") == "spline";
  const int size = spline ? reader.integer("interior_knots", 1, Precision<Real>::most_knots)
                          : reader.integer("degree", 2, most_degree);
  const std::size_t count = std::size_t(size) + (spline ? 4 : 1);
  const std::vector<Real> range = reader.numbers("range", 2);
  const Real centre = reader.number("centre"), half_width = reader.number("half_width");
  Fitted<Real> f{spline ? Kind::spline : Kind::polynomial,
                 size,
                 reader.text("x"),
                 reader.text("y"),
                 reader.integer("points", int(count), std::numeric_limits<int>::max()),
                 range[0],
                 range[1],
                 reader.number("shift"),
                 reader.numbers("coefficients", count),
                 reader.number("root_mean_square_residual"),
                 reader.number("largest_residual")};
  check(reader, f, centre, half_width);
  f.a.insert(f.a.end(), {centre, half_width});
  if (!spline) f.a.insert(f.a.end(), {f.rms, f.largest});
  return f;
}

template std::string coefficients_text(const Fitted<float>&, const std::string&);
template std::string coefficients_text(const Fitted<double>&, const std::string&);
template Fitted<float> read_fitted(const std::string&, const std::string&);
template Fitted<double> read_fitted(const std::string&, const std::string&);

}  // namespace tabfit::tool

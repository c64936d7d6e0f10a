// tools/fitted_file.cpp - a fit as a JSON file, from which it is evaluated later.
#include "tools/fitted_file.hpp"

#include <cmath>
#include <limits>
#include <map>

#include "tools/failure.hpp"
#include "tools/output.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

constexpr const char* what_it_is = "tabfit fit";
constexpr int version = 1;

/// Numbers are read as Real, so that a decimal text is rounded once.
template <class Real>
using Parsed =
    nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, Real>;

template <class Real>
class Reader {
 public:
  Reader(const std::string& content, std::string source) : source_(std::move(source)) {
    json_ = Parsed<Real>::parse(content, nullptr, false);
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
    const Parsed<Real>& value = item(key);
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
    const Parsed<Real>& value = item(key);
    if (value.is_number_unsigned())
      if (const auto number = value.template get<std::uint64_t>();
          number >= std::uint64_t(least) && number <= std::uint64_t(most))
        return int(number);
    refuse(named(key) + " must be a whole number from " + std::to_string(least) + " to " +
           std::to_string(most));
  }
  Real number(const char* key) const { return number(item(key), named(key)); }
  std::vector<Real> numbers(const char* key, std::size_t count) const {
    const Parsed<Real>& list = item(key);
    if (!list.is_array()) refuse(named(key) + " must be a list of numbers");
    if (list.size() != count)
      refuse(named(key) + " must have " + std::to_string(count) + " numbers, but has " +
             std::to_string(list.size()));
    std::vector<Real> values;
    for (const Parsed<Real>& value : list)
      values.push_back(
          number(value, "number " + std::to_string(values.size() + 1) + " of " + named(key)));
    return values;
  }

 private:
  const Parsed<Real>& item(const char* key) const {
    if (!json_.contains(key)) refuse("there is no " + named(key));
    return json_[key];
  }
  static std::string named(const char* key) { return std::string(1, '"').append(key).append(1, '"'); }
  Real number(const Parsed<Real>& value, const std::string& what) const {
    if (!value.is_number() || !std::isfinite(value.template get<Real>()))
      refuse(what + " must be a number within the range of " + Precision<Real>::name + " precision");
    return value.template get<Real>();
  }

  std::string source_;
  Parsed<Real> json_;
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
  const std::size_t count = std::size_t(unknowns(f.kind, f.size));
  Json content{
      {"format", what_it_is},
      {"version", version},
      {"file", source},
      {"kind", spline ? "spline" : "polynomial"},
      {spline ? "interior_knots" : "degree", f.size},
      {"precision", Precision<Real>::name},
      {"x", f.x_name},
      {"y", f.y_name},
      {"points", f.points},
      {"root_mean_square_residual", json_number(f.rms)},
      {"largest_residual", json_number(f.largest)},
      {"range", {json_number(f.first), json_number(f.last)}},
      {"shift", json_number(f.shift)},
      {"centre", json_number(f.a[count])},
      {"half_width", json_number(f.a[count + 1])},
  };
  Json& coefficients = content["coefficients"] = Json::array();
  for (std::size_t j = 0; j < count; ++j) coefficients.push_back(json_number(f.a[j]));
  return json_file(content);
}

std::string precision_of(const std::string& content, const std::string& source) {
  return Reader<double>(content, source).one_of("precision", "single", "double");
}

template <class Real>
Fitted<Real> read_fitted(const std::string& content, const std::string& source) {
  const Reader<Real> reader(content, source);
  const bool spline = reader.one_of("kind", "spline", "polynomial") == "spline";
  const Kind kind = spline ? Kind::spline : Kind::polynomial;
  const int size = spline ? reader.integer("interior_knots", 1, Precision<Real>::most_knots)
                          : reader.integer("degree", 2, most_degree);
  const std::size_t count = std::size_t(unknowns(kind, size));
  const std::vector<Real> range = reader.numbers("range", 2);
  const Real centre = reader.number("centre"), half_width = reader.number("half_width");
  Fitted<Real> f{.kind = kind,
                 .size = size,
                 .x_name = reader.text("x"),
                 .y_name = reader.text("y"),
                 .points = reader.integer("points", int(count), std::numeric_limits<int>::max()),
                 .first = range[0],
                 .last = range[1],
                 .shift = reader.number("shift"),
                 .a = reader.numbers("coefficients", count),
                 .rms = reader.number("root_mean_square_residual"),
                 .largest = reader.number("largest_residual")};
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

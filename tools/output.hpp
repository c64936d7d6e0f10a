// tools/output.hpp - a table of numbers as CSV, as text for reading, or as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/number.hpp"

namespace tabfit::tool {

enum class Format { csv, table, json };

/// Keys stay in the order in which they were given.
using Json = nlohmann::ordered_json;

/// A number by its shortest text, which JSON then shows too.
Json json_number(const std::string& text);
template <class Real>
Json json_number(Real value) {
  return json_number(shortest(value));
}

/// A whole file of JSON. Bytes that are no UTF-8 become replacement characters.
std::string json_file(const Json& content);

struct Column {
  std::string name;                ///< heading of the column
  std::string key;                 ///< its name in the JSON of one row
  std::vector<std::string> cells;  ///< numbers, unless it is a column of text
  bool is_text = false;
};

template <class Real>
Column number_column(const std::string& name, const std::string& key, const std::vector<Real>& values);

/// A table of numbers; all columns have the same length. JSON begins with the description and names the
/// rows. A table for reading ends with the notes. CSV has neither.
struct Report {
  Json description;
  std::string rows_name;
  std::vector<Column> columns;
  std::vector<std::string> notes = {};
};

Format format_named(const std::string& name);
std::string formatted(const Report& report, Format format);

/// Puts the notes on standard error if the format does not hold them. The result is written before.
void print_notes(const Report& report, Format format);

/// The text as valid UTF-8 on one line. Anything else becomes a replacement character or a blank.
std::string printable(const std::string& text);

}  // namespace tabfit::tool

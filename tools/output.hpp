// tools/output.hpp - a table of numbers as CSV, as text for reading, or as JSON.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tabfit::tool {

enum class Format { csv, table, json };

/// A name and a value as JSON text.
struct Field {
  std::string key, value;
};
Field text_field(const std::string& key, const std::string& text);
Field number_field(const std::string& key, const std::string& number);

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
  std::vector<Field> description;
  std::string rows_name;
  std::vector<Column> columns;
  std::vector<std::string> notes = {};
};

Format format_named(const std::string& name);
std::string formatted(const Report& report, Format format);

/// A JSON object of these fields, one a line, without its closing brace.
std::string json_fields(const std::vector<Field>& fields);

/// Puts the notes on standard error if the format does not hold them. The result is written before.
void print_notes(const Report& report, Format format);

/// The text as valid UTF-8 on one line. Anything else becomes a replacement character or a blank.
std::string printable(const std::string& text);

}  // namespace tabfit::tool

// tools/output.hpp - a table of numbers as CSV, as text for reading, or as JSON.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tabfit::tool {

enum class Format { csv, table, json };

struct Column {
  std::string name;  ///< heading of the column
  std::string key;   ///< its name in a JSON point
  std::vector<std::string> numbers;
};

/// All columns have the same length. The description goes into JSON alone, as strings before the
/// points.
struct Report {
  std::vector<std::pair<std::string, std::string>> description;
  std::vector<Column> columns;
};

std::string formatted(const Report& report, Format format);

/// The text as valid UTF-8 on one line: anything else in it becomes a replacement character or a blank.
std::string printable(const std::string& text);

}  // namespace tabfit::tool

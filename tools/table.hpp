// tools/table.hpp - a comma-separated table as text, and its columns as numbers.
#pragma once

#include <string>
#include <vector>

namespace tabfit::tool {

struct Row {
  int number;  ///< as a spreadsheet shows it: the first line is row 1, blank lines count
  std::vector<std::string> cells;
};

/// Every row has as many cells as the first.
struct Table {
  std::string source;               ///< for messages: the file's name, or "standard input"
  std::vector<std::string> header;  ///< empty if the first row holds numbers only
  std::vector<Row> rows;            ///< without the header
  std::size_t width = 0;

  /// The column's own name, or "column 3".
  std::string column_name(std::size_t column) const;
  /// The column inside a message: "column `y`", or "column 3".
  std::string column_label(std::size_t column) const;
};

/// Reads a table from a file, or from standard input if the file is "-". Throws BadInput.
Table read_table(const std::string& file);

/// The column of that name; if there is none, of that number, counted from 1. Throws BadInput.
std::size_t find_column(const Table& table, const std::string& wanted);

/// A column as finite numbers. Throws BadInput.
template <class Real>
std::vector<Real> numbers(const Table& table, std::size_t column);

}  // namespace tabfit::tool

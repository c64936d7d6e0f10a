// tools/output.cpp - a table of numbers as CSV, as text for reading, or as JSON.
#include "tools/output.hpp"

#include <csv.h>

#include <algorithm>
#include <iostream>

namespace tabfit::tool {
namespace {

std::string csv_cell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos && !text.starts_with(' ') &&
      !text.ends_with(' '))
    return text;
  std::string cell(csv_write(nullptr, 0, text.data(), text.size()), '\0');
  csv_write(cell.data(), cell.size(), text.data(), text.size());
  return cell;
}

std::string as_csv(const Report& report) {
  std::string text;
  const auto end_cell = [&](const Column& column) {
    text += &column == &report.columns.back() ? '\n' : ',';
  };
  for (const Column& column : report.columns) {
    text += csv_cell(column.name);
    end_cell(column);
  }
  for (std::size_t j = 0; j < report.columns.front().cells.size(); ++j)
    for (const Column& column : report.columns) {
      text += column.is_text ? csv_cell(column.cells[j]) : column.cells[j];
      end_cell(column);
    }
  return text;
}

/// The number of characters, not of bytes, in UTF-8 text.
std::size_t length(const std::string& text) {
  return std::size_t(std::ranges::count_if(text, [](char c) { return (c & 0xC0) != 0x80; }));
}

/// The number of characters before the decimal point, or before where it would be.
std::size_t whole_part(const std::string& number) {
  return std::min(number.find_first_of(".e"), number.size());
}

/// Column heading and numbers padded to one width, decimal points below each other; text to the left.
std::vector<std::string> aligned(const Column& column) {
  const std::string name = printable(column.name);
  std::size_t whole = 0, rest = 0, longest = length(name);
  for (const std::string& cell : column.cells)
    if (column.is_text) {
      longest = std::max(longest, length(printable(cell)));
    } else {
      whole = std::max(whole, whole_part(cell));
      rest = std::max(rest, cell.size() - whole_part(cell));
    }
  const std::size_t width = std::max(whole + rest, longest);
  const auto padding = [](std::size_t all, std::size_t used) { return std::string(all - used, ' '); };
  const std::string blanks = padding(width, length(name));
  std::vector<std::string> lines{column.is_text ? name + blanks : blanks + name};
  for (const std::string& cell : column.cells) {
    std::string line =
        column.is_text ? printable(cell) : padding(width - rest, whole_part(cell)) + cell;
    lines.push_back(line + padding(width, length(line)));
  }
  return lines;
}

std::string as_table(const Report& report) {
  std::vector<std::string> lines(report.columns.front().cells.size() + 1);
  for (const Column& column : report.columns) {
    const std::vector<std::string> cells = aligned(column);
    for (std::size_t j = 0; j < lines.size(); ++j)
      lines[j] += (lines[j].empty() ? "" : "  ") + cells[j];
  }
  std::string text;
  for (const std::string& line : lines) text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  if (!report.notes.empty()) text += '\n';
  for (const std::string& note : report.notes) text += printable(note) + '\n';
  return text;
}

std::string as_json(const Report& report) {
  Json content = report.description;
  Json& rows = content[report.rows_name] = Json::array();
  for (std::size_t j = 0; j < report.columns.front().cells.size(); ++j) {
    Json row;
    for (const Column& column : report.columns)
      row[column.key] = column.is_text ? Json(column.cells[j]) : json_number(column.cells[j]);
    rows.push_back(std::move(row));
  }
  return json_file(content);
}

}  // namespace

Json json_number(const std::string& text) {
  return text == "-0" ? Json(-0.0) : Json::parse(text);  // the library drops the sign of an integer 0
}

std::string json_file(const Json& content) {
  return content.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

template <class Real>
Column number_column(const std::string& name, const std::string& key, const std::vector<Real>& values) {
  Column column{name, key, {}};
  column.cells.reserve(values.size());
  for (const Real value : values) column.cells.push_back(shortest(value));
  return column;
}

Format format_named(const std::string& name) {
  if (name == "csv") return Format::csv;
  return name == "table" ? Format::table : Format::json;
}

std::string formatted(const Report& report, Format format) {
  if (format == Format::csv) return as_csv(report);
  return format == Format::table ? as_table(report) : as_json(report);
}

void print_notes(const Report& report, Format format) {
  if (format == Format::csv)
    for (const std::string& note : report.notes)
      std::cerr << "tabfit: " << printable(note) << std::endl;
}

std::string printable(const std::string& text) {
  std::string line = Json::parse(json_file(text)).get<std::string>();
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  return line;
}

template Column number_column(const std::string&, const std::string&, const std::vector<float>&);
template Column number_column(const std::string&, const std::string&, const std::vector<double>&);

}  // namespace tabfit::tool

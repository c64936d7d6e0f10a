// tools/output.cpp - a table of numbers as CSV, as text for reading, or as JSON.
#include "tools/output.hpp"

#include <csv.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace tabfit::tool {
namespace {

std::string json_string(const std::string& text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

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
  for (std::size_t j = 0; j < report.columns.front().numbers.size(); ++j)
    for (const Column& column : report.columns) {
      text += column.numbers[j];
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

/// Column heading and numbers padded to one width, decimal points below each other.
std::vector<std::string> aligned(const Column& column) {
  std::size_t whole = 0, rest = 0;
  for (const std::string& number : column.numbers) {
    whole = std::max(whole, whole_part(number));
    rest = std::max(rest, number.size() - whole_part(number));
  }
  const std::string name = printable(column.name);
  const std::size_t width = std::max(whole + rest, length(name));
  std::vector<std::string> lines{std::string(width - length(name), ' ') + name};
  for (const std::string& number : column.numbers) {
    std::string line = std::string(width - rest - whole_part(number), ' ') + number;
    line.resize(width, ' ');
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string as_table(const Report& report) {
  std::vector<std::string> lines(report.columns.front().numbers.size() + 1);
  for (const Column& column : report.columns) {
    const std::vector<std::string> cells = aligned(column);
    for (std::size_t j = 0; j < lines.size(); ++j)
      lines[j] += (lines[j].empty() ? "" : "  ") + cells[j];
  }
  std::string text;
  for (const std::string& line : lines) text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
  return text;
}

/// One point to a line, each number as its shortest text.
std::string as_json(const Report& report) {
  std::string text = "{\n";
  for (const auto& [key, value] : report.description)
    text += "  " + json_string(key) + ": " + json_string(value) + ",\n";
  text += "  \"points\": [";
  for (std::size_t j = 0; j < report.columns.front().numbers.size(); ++j) {
    text += j == 0 ? "\n    {" : ",\n    {";
    for (const Column& column : report.columns)
      text += (&column == &report.columns.front() ? "" : ", ") + json_string(column.key) + ": " +
              column.numbers[j];
    text += '}';
  }
  return text + "\n  ]\n}\n";
}

}  // namespace

std::string formatted(const Report& report, Format format) {
  if (format == Format::csv) return as_csv(report);
  return format == Format::table ? as_table(report) : as_json(report);
}

std::string printable(const std::string& text) {
  std::string line = nlohmann::json::parse(json_string(text)).get<std::string>();
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  return line;
}

}  // namespace tabfit::tool

// tools/table.cpp - a comma-separated table as text, and its columns as numbers.
#include "tools/table.hpp"

#include <csv.h>

#include <algorithm>
#include <charconv>
#include <memory>

#include "tools/failure.hpp"
#include "tools/files.hpp"
#include "tools/number.hpp"

namespace tabfit::tool {
namespace {

/// Gathers what the parser reports.
struct Gatherer {
  std::vector<Row> rows;
  std::vector<std::string> cells;
  int number = 1;    ///< of the row that the cells belong to
  int ended_by = 0;  ///< the character that ended the previous row
};

void on_cell(void* text, std::size_t length, void* gatherer) {
  static_cast<Gatherer*>(gatherer)->cells.emplace_back(static_cast<const char*>(text), length);
}

void on_row_end(int character, void* gatherer) {
  auto& g = *static_cast<Gatherer*>(gatherer);
  const bool rest_of_crlf = character == '\n' && g.ended_by == '\r' && g.cells.empty();
  g.ended_by = rest_of_crlf ? 0 : character;
  if (rest_of_crlf) return;
  if (!g.cells.empty()) g.rows.push_back({g.number, std::move(g.cells)});
  g.cells.clear();
  ++g.number;
}

std::vector<Row> parse(std::string_view text, const std::string& source) {
  csv_parser parser;
  if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  const std::unique_ptr<csv_parser, void (*)(csv_parser*)> owner(&parser, csv_free);

  Gatherer gatherer;
  const std::size_t parsed =
      csv_parse(&parser, text.data(), text.size(), on_cell, on_row_end, &gatherer);
  if (parsed == text.size() && csv_fini(&parser, on_cell, on_row_end, &gatherer) == 0)
    return std::move(gatherer.rows);
  if (csv_error(&parser) != CSV_EPARSE) throw std::bad_alloc();
  throw BadInput(source + ": misplaced or missing quote in row " + std::to_string(gatherer.number));
}

bool is_header(const Row& row) {
  return std::ranges::any_of(row.cells, [](const std::string& cell) {
    double value = 0;
    return read_number(cell, value) == Reading::garbage;
  });
}

std::string columns_there_are(const Table& table) {
  if (table.header.empty())
    return "there is no header line, and the number of columns is " + std::to_string(table.width);
  std::string list;
  for (const std::string& name : table.header) list += (list.empty() ? "`" : ", `") + name + "`";
  return "there are " + list;
}

}  // namespace

std::string Table::column_name(std::size_t column) const {
  if (header.empty() || header[column].empty()) return "column " + std::to_string(column + 1);
  return header[column];
}

std::string Table::column_label(std::size_t column) const {
  if (header.empty() || header[column].empty()) return column_name(column);
  return "column `" + header[column] + "`";
}

Table read_table(const std::string& file) {
  Table table{.source = file == "-" ? "standard input" : file, .header = {}, .rows = {}};
  const std::string content = read_file(file);
  std::string_view text = content;
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
    throw BadInput(table.source + ": the text is UTF-16, save it as UTF-8");
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);  // byte order mark

  table.rows = parse(text, table.source);
  if (table.rows.empty()) throw BadInput(table.source + ": the table is empty");

  const Row& first = table.rows.front();
  table.width = first.cells.size();
  for (const Row& row : table.rows)
    if (row.cells.size() != table.width)
      throw BadInput(table.source + ": row " + std::to_string(row.number) +
                     " does not have as many cells as row " + std::to_string(first.number) + ": " +
                     std::to_string(row.cells.size()) + ", not " + std::to_string(table.width));
  if (is_header(first)) {
    table.header = first.cells;
    table.rows.erase(table.rows.begin());
  }
  return table;
}

std::size_t find_column(const Table& table, const std::string& wanted) {
  const auto same_name = std::ranges::count(table.header, wanted);
  if (same_name > 1)
    throw BadInput(table.source + ": more than one column is named `" + wanted + "`; " +
                   columns_there_are(table));
  if (same_name == 1)
    return std::size_t(std::ranges::find(table.header, wanted) - table.header.begin());

  std::size_t number = 0;
  const char* const end = wanted.data() + wanted.size();
  const auto [stop, error] = std::from_chars(wanted.data(), end, number);
  if (error == std::errc() && stop == end && number >= 1 && number <= table.width) return number - 1;
  throw BadInput(table.source + ": no column " + quoted(wanted) + "; " + columns_there_are(table));
}

template <class Real>
std::vector<Real> numbers(const Table& table, std::size_t column) {
  std::vector<Real> values;
  values.reserve(table.rows.size());
  const std::string label = ", " + table.column_label(column);
  for (const Row& row : table.rows) {
    Real value = 0;
    if (read_number(row.cells[column], value) != Reading::number)
      value = number_or_throw<Real>(row.cells[column], table.source,
                                    "row " + std::to_string(row.number) + label);
    values.push_back(value);
  }
  return values;
}

template std::vector<float> numbers(const Table&, std::size_t);
template std::vector<double> numbers(const Table&, std::size_t);

}  // namespace tabfit::tool

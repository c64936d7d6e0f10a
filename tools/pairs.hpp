// tools/pairs.hpp - abscissae and ordinates: two columns of a table.
#pragma once

#include <string>
#include <vector>

#include "tools/table.hpp"

namespace tabfit::tool {

struct Columns {
  std::size_t x, y;
};

/// The two named columns, or the first two if the names are empty. Throws BadInput, also if the table
/// has fewer than two rows.
Columns find_columns(const Table& table, const std::string& x, const std::string& y);

/// Pairs of numbers, and what is needed to name their rows in a message.
template <class Real>
struct Pairs {
  const Table& table;
  Columns columns;
  std::vector<Real> x = numbers<Real>(table, columns.x), y = numbers<Real>(table, columns.y);
  std::vector<std::size_t> row = {};  ///< x[i] stands in table.rows[row[i]]; empty if that is i

  int count() const { return int(x.size()); }
  const Row& row_of(std::size_t i) const { return table.rows[row.empty() ? i : row[i]]; }
  const std::string& x_text(std::size_t i) const { return row_of(i).cells[columns.x]; }
  std::string x_name() const { return table.column_name(columns.x); }
  std::string y_name() const { return table.column_name(columns.y); }

  [[noreturn]] void refuse(const std::string& why) const;
  /// Refuses x[i] and x[i + 1], which do not meet the demand, such as "nodes must increase".
  [[noreturn]] void refuse_interval(std::size_t i, const std::string& demand) const;
};

/// Checks that the abscissae ascend strictly. If wanted, one pair with the mean of the ordinates first
/// replaces all pairs of a repeated abscissa. Throws NoResult if they still do not ascend.
template <class Real>
void make_ascending(Pairs<Real>& data, bool average_repeated);

/// " by at least 2e-09 in double precision"
template <class Real>
std::string by_tolerance();

}  // namespace tabfit::tool

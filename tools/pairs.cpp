// tools/pairs.cpp - abscissae and ordinates: two columns of a table.
#include "tools/pairs.hpp"

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {

Columns find_columns(const Table& table, const std::string& x, const std::string& y) {
  if (table.width < 2)
    throw BadInput(table.source +
                   ": the table has one column, but two are needed, separated by commas");
  const Columns found{x.empty() ? 0 : find_column(table, x), y.empty() ? 1 : find_column(table, y)};
  if (found.x == found.y)
    throw BadInput(table.source + ": x and y are both " + table.column_label(found.x) +
                   "; name the other one with --x or --y");
  if (table.rows.size() < 2)
    throw BadInput(table.source + ": too few rows of numbers: " + std::to_string(table.rows.size()) +
                   ", but at least 2 are needed");
  return found;
}

template <class Real>
void Pairs<Real>::refuse(const std::string& why) const {
  throw NoResult(table.source + ": " + why);
}

template <class Real>
void Pairs<Real>::refuse_interval(std::size_t i, const std::string& demand) const {
  refuse("rows " + std::to_string(row_of(i).number) + " and " + std::to_string(row_of(i + 1).number) +
         " have the abscissae " + x_text(i) + " and " + x_text(i + 1) + ", but " + demand);
}

template <class Real>
std::string by_tolerance() {
  return " by at least " + shortest(Precision<Real>::tolerance) + " in " + Precision<Real>::name +
         " precision";
}

template struct Pairs<float>;
template struct Pairs<double>;
template std::string by_tolerance<float>();
template std::string by_tolerance<double>();

}  // namespace tabfit::tool

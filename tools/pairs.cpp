// tools/pairs.cpp - abscissae and ordinates: two columns of a table.
#include "tools/pairs.hpp"

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

/// "9, 10", or "1, 2, 3, 4, 5, ..." for more than five.
template <class Real>
std::string row_list(const Pairs<Real>& data, std::size_t first, std::size_t last) {
  constexpr std::size_t most = 5;
  std::string list;
  for (std::size_t i = first; i < last; ++i) {
    if (i - first == most) return list + ", ...";
    list += (i == first ? "" : ", ") + std::to_string(data.row_of(i).number);
  }
  return list;
}

}  // namespace

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

template <class Real>
void make_ascending(Pairs<Real>& data, bool average_repeated) {
  std::vector<Real> x, y;
  std::vector<std::size_t> row;
  for (std::size_t i = 0, next = 0; i < data.x.size(); i = next) {
    long double sum = 0;
    for (next = i; next < data.x.size() && data.x[next] == data.x[i]; ++next) sum += data.y[next];
    if (next - i > 1 && !average_repeated)
      data.refuse("repeated abscissae " + data.x_text(i) + " in rows " + row_list(data, i, next) +
                  ": use --average-repeated");
    if (next < data.x.size() && !(data.x[next] > data.x[i]))
      data.refuse_interval(next - 1, "they must increase");
    x.push_back(data.x[i]);
    y.push_back(Real(sum / static_cast<long double>(next - i)));
    row.push_back(i);
  }
  data.x = std::move(x);
  data.y = std::move(y);
  data.row = std::move(row);
}

template struct Pairs<float>;
template struct Pairs<double>;
template void make_ascending(Pairs<float>&, bool);
template void make_ascending(Pairs<double>&, bool);
template std::string by_tolerance<float>();
template std::string by_tolerance<double>();

}  // namespace tabfit::tool

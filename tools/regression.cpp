// tools/regression.cpp - one column of numbers explained by others: linear least squares.
#include "tools/regression.hpp"

#include <algorithm>
#include <cmath>
#include <new>

#include "tabfit/engine.hpp"

namespace tabfit::tool {
namespace {

using namespace engine;

using Wide = long double;

/// A column less its mean, divided by its norm.
template <class Real>
struct Standard {
  Wide mean = 0, norm = 0;
  std::vector<Real> column;  ///< all zero if the norm is
};

template <class Real>
Standard<Real> standard(const std::vector<Real>& column, bool centred) {
  Standard<Real> s;
  if (centred) {
    for (const Real value : column) s.mean += value;
    s.mean /= Wide(column.size());
    // The mean of equal numbers may be rounded.
    if (std::ranges::all_of(column, [&](Real value) { return value == column.front(); }))
      s.mean = column.front();
  }
  for (const Real value : column) s.norm += (value - s.mean) * (value - s.mean);
  s.norm = std::sqrt(s.norm);
  for (const Real value : column)
    s.column.push_back(s.norm > 0 ? Real((value - s.mean) / s.norm) : Real(0));
  return s;
}

/// A problem table that the library may destroy: copies of columns, the right-hand side last.
template <class Real>
struct Work {
  std::vector<std::vector<Real>> columns;
  std::vector<Real*> pointers;

  void add(const std::vector<Real>& column) { columns.push_back(column); }
  Real** table() {
    pointers.clear();
    for (std::vector<Real>& column : columns) pointers.push_back(column.data());
    return pointers.data();
  }
};

/// Solves for one right-hand side; empty if the columns are dependent.
template <class Real>
std::vector<Real> solution(const std::vector<Standard<Real>>& columns, const std::vector<int>& chosen,
                           const std::vector<Real>& b) {
  Work<Real> work;
  for (const int j : chosen) work.add(columns[std::size_t(j)].column);
  work.add(b);
  Real rn = 0;
  const int status = Ls(work.table(), int(b.size()), int(chosen.size()), &rn);
  if (status == LS_NO_MEMORY) throw std::bad_alloc();
  if (status != LS_OK) return {};
  std::vector<Real> x = work.columns.back();
  x.resize(chosen.size());
  return x;
}

/// A column is independent if the columns before it leave at least this part of its norm; the diagonal
/// of R shows that part. The library takes the diagonal from downdated squared norms, so it carries a
/// noise of the root of eps/2: 1e-8 and 2.4e-4. At ten times the noise a coefficient keeps two digits.
template <class Real>
constexpr double least_part = sizeof(Real) == sizeof(float) ? 2e-3 : 1e-7;

/// Columns in the order in which the decomposition chose them, and how many of them are independent.
template <class Real>
struct Order {
  std::vector<int> columns;
  std::size_t rank = 0;
};

template <class Real>
Order<Real> order_of(const std::vector<Standard<Real>>& columns, const std::vector<int>& chosen) {
  Work<Real> work;
  for (const int j : chosen) work.add(columns[std::size_t(j)].column);
  const int m = int(work.columns[0].size()), n = int(chosen.size());
  std::vector<int> ip(chosen.size());
  Real** const R = work.table();
  const int status = M_qrd(R, m, n, 0, ip.data());
  if (status == M_QRD_NO_MEMORY) throw std::bad_alloc();
  Order<Real> order;
  for (const int place : ip) order.columns.push_back(chosen[std::size_t(place)]);
  const std::size_t steps = status > 0 ? std::size_t(status) : std::size_t(n);
  while (order.rank < steps && std::abs(R[order.rank][order.rank]) >= least_part<Real>) ++order.rank;
  return order;
}

/// A dependent column is a combination of others. Finds those that matter in it. Of all of these and
/// the column itself, the last one in the table is reported as the dependent one.
template <class Real>
Dependent explained(const std::vector<Standard<Real>>& columns, const std::vector<int>& independent,
                    int place) {
  const std::vector<Real> x = solution(columns, independent, columns[std::size_t(place)].column);
  std::vector<int> involved{place};
  for (std::size_t k = 0; k < x.size(); ++k)
    if (std::abs(x[k]) > 10 * least_part<Real>) involved.push_back(independent[k]);
  std::ranges::sort(involved);
  return {involved.back(), {involved.begin(), involved.end() - 1}};
}

template <class Real>
std::vector<Dependent> dependent_columns(const std::vector<Standard<Real>>& columns) {
  std::vector<Dependent> dependent;
  std::vector<int> chosen;
  for (std::size_t j = 0; j < columns.size(); ++j)
    if (columns[j].norm > 0)
      chosen.push_back(int(j));
    else
      dependent.push_back({int(j), {}});
  if (chosen.empty()) return dependent;

  Order<Real> order = order_of(columns, chosen);
  const auto superfluous = order.columns.begin() + std::ptrdiff_t(order.rank);
  const std::vector<int> independent(order.columns.begin(), superfluous);
  for (auto place = superfluous; place != order.columns.end(); ++place)
    dependent.push_back(explained(columns, independent, *place));
  std::ranges::sort(dependent, {}, &Dependent::place);
  return dependent;
}

}  // namespace

template <class Real>
Regression<Real> regress(const Problem<Real>& problem) {
  std::vector<Standard<Real>> columns;
  std::vector<int> all;
  for (const std::vector<Real>& predictor : problem.predictors) {
    all.push_back(int(columns.size()));
    columns.push_back(standard(predictor, problem.intercept));
  }
  const Standard<Real> response = standard(problem.response, problem.intercept);

  Regression<Real> result;
  result.dependent = dependent_columns(columns);
  if (!result.dependent.empty()) return result;
  const std::vector<Real> x = solution(columns, all, response.column);

  std::vector<Wide> slope;
  Wide intercept = response.mean;
  for (std::size_t j = 0; j < columns.size(); ++j) {
    slope.push_back(Wide(x[j]) * response.norm / columns[j].norm);
    intercept -= slope[j] * columns[j].mean;
    result.coefficients.push_back(Real(slope[j]) + Real(0));  // no -0
  }
  result.intercept = Real(intercept);

  Wide sum = 0;
  for (std::size_t i = 0; i < problem.response.size(); ++i) {
    Wide fitted = response.mean;
    for (std::size_t j = 0; j < columns.size(); ++j)
      fitted += slope[j] * (problem.predictors[j][i] - columns[j].mean);
    const Wide residual = problem.response[i] - fitted;
    sum += residual * residual;
    result.fitted.push_back(Real(fitted));
    result.residual.push_back(Real(residual));
  }
  result.sum_of_squares = Real(sum);
  result.total = Real(response.norm * response.norm);
  return result;
}

template Regression<float> regress(const Problem<float>&);
template Regression<double> regress(const Problem<double>&);

}  // namespace tabfit::tool

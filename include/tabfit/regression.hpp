// tabfit/regression.hpp - the steps of a linear regression, in double: scale, reduce, decide the rank,
// solve, correct. least_squares() puts them together.
//
// The columns of the model are 1, if there is an intercept, and those of A, p in all. A column is seen
// in three ways: as given; scaled by a power of two, exactly; and reduced, which is scaled, centred
// about its weighted mean if there is an intercept, and its rows multiplied by the roots of the
// weights. z is the solution for scaled columns, x = power z.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "tabfit/matrix.h"
#include "tabfit/orthogonal.hpp"
#include "tabfit/residuals.hpp"
#include "tabfit/table.hpp"

namespace tabfit::detail {

/// The data of a regression and how they are scaled.
template <real T>
struct regression_model {
  table_view<T> A, B;
  int intercept = 0;              ///< 1 if there is one
  std::vector<double> weights{};  ///< scaled to 1 at most; one for each row
  double weight_power = 1;        ///< the power of four that did it
  std::vector<double> power{};    ///< of each column, then of each right side
  std::vector<double>
      mean{};  ///< of each scaled column, then of each scaled right side; 0 if not centred
  std::vector<double> length{};  ///< of each scaled column, weighted, not centred

  int rows() const { return A.rows(); }
  int columns() const { return A.columns() + intercept; }
  int sides() const { return B.columns(); }

  /// Scaled column j of the model, or scaled right side j - columns().
  void scaled(int j, double *y) const {
    if (j < intercept) return std::fill(y, y + rows(), 1.0);
    const table_view<T> &source = j < columns() ? A : B;
    const int k = j < columns() ? j - intercept : j - columns();
    const T *const from = source.column(k);
    const std::ptrdiff_t stride = source.row_stride();
    const double factor = power[at(j)];
    if (stride == 1)
      for (int i = 0; i < rows(); ++i) y[i] = static_cast<double>(from[i]) * factor;
    else
      for (int i = 0; i < rows(); ++i) y[i] = static_cast<double>(from[i * stride]) * factor;
  }
};

/// The sum of w y.
inline double weighted_sum(const std::vector<double> &w, const double *y) {
  return dot(w.data(), y, static_cast<int>(w.size()));
}

/// Finds powers, means and lengths, and gives the reduced columns and right sides. Any number near the
/// mean would do: the column of ones takes up the difference.
template <real T>
work_columns load(regression_model<T> &model) {
  const int m = model.rows(), all = model.columns() + model.sides();
  work_columns W(m, all);
  std::vector<double> root(model.weights);
  for (double &w : root) w = std::sqrt(w);
  const double total = std::accumulate(model.weights.begin(), model.weights.end(), 0.0);
  model.power.assign(at(all), 1.0), model.mean.assign(at(all), 0.0), model.length.assign(at(all), 0.0);
  for (int j = 0; j < all; ++j) {
    double *const y = W[j];
    model.scaled(j, y);
    if (j >= model.intercept) {
      const double power = model.power[at(j)] = power_to_one(greatest_magnitude(y, m));
      for (int i = 0; i < m; ++i) y[i] *= power;
    }
    std::vector<double> &mean = model.mean;
    if (model.intercept && j > 0) mean[at(j)] = weighted_sum(model.weights, y) / total;
    double squares = 0.0;
    for (int i = 0; i < m; ++i) {
      const double uncentred = root[at(i)] * y[i];
      squares += uncentred * uncentred;
      y[i] = root[at(i)] * (y[i] - mean[at(j)]);
    }
    model.length[at(j)] = std::sqrt(squares);
  }
  return W;
}

/// The triangle R of the independent columns with the right sides c behind them, and V with z = V c:
/// R^-1 or, for the solution of least norm, R^+. A system is solved by R, where it is square: rounding
/// harms that less than a product with V.
struct solved_triangle {
  std::vector<int> kept;  ///< columns of the model that the rows of V belong to
  int rank = 0;
  work_columns V, R;

  bool square() const { return V.rows() == rank; }

  /// c := R^-1 c, by columns.
  void solve(double *c) const {
    for (int k = rank - 1; k >= 0; --k) {
      c[k] /= R[k][k];
      add_multiple(-c[k], R[k], c, k);
    }
  }
  /// c := R^-T c.
  void solve_transposed(double *c) const {
    for (int k = 0; k < rank; ++k) c[k] = (c[k] - dot(R[k], c, k)) / R[k][k];
  }
};

/// The inverse of the leading block of order n of R.
inline work_columns inverse_triangle(const work_columns &R, int n) {
  work_columns V(n, n);
  M_invud(R.pointers(), V.pointers(), n);
  return V;
}

/// The elements on and above the diagonal of the first `rows` rows; the last `full` columns whole.
inline work_columns upper_part(const work_columns &W, int rows, int full) {
  work_columns R(rows, W.columns());
  for (int j = 0; j < W.columns(); ++j) {
    const bool whole = j >= W.columns() - full;
    std::copy(W[j], W[j] + (whole ? rows : std::min(j + 1, rows)), R[j]);
  }
  return R;
}

/// Householder's reduction of the first n columns of R with exchange of columns: R holds the triangle
/// afterwards, `order` says which column stands where. Column k is the one of those left with the
/// greatest part, in units of `length`, that the columns before it do not reach, or the first whose
/// part exceeds the tolerance. Ends when no part does, and returns the rank. Every part is formed anew,
/// not carried on by differences. Column 0 comes first if it is `fixed`. Golub and Van Loan, section
/// 5.4.
inline int reduce_by_rank(work_columns &R, int n, std::span<const double> length, double tolerance,
                          bool fixed, bool in_order, std::vector<int> &order) {
  const int m = R.rows();
  order.resize(at(n));
  std::iota(order.begin(), order.end(), 0);
  for (int k = 0; k < n; ++k) {
    int pivot = -1;
    double greatest = tolerance;
    for (int j = k; j < n && k < m; ++j) {
      const double part = norm(R[j] + k, m - k) / length[at(order[at(j)])];
      if (!(part > greatest)) continue;
      pivot = j;
      greatest = part;
      if (in_order || (fixed && k == 0)) break;
    }
    if (pivot < 0) return k;
    R.rotate(k, pivot);
    std::rotate(order.begin() + k, order.begin() + pivot, order.begin() + pivot + 1);
    const double tau = make_reflection(R[k] + k, m - k);
    reflect(R[k], tau, R.pointers() + k + 1, R.columns() - k - 1, k, m);
    std::fill(R[k] + k + 1, R[k] + m, 0.0);
  }
  return n;
}

/// The map V from c to the solution of least norm of the first `rank` rows of R, columns in `order`:
/// R = [L 0] Z', V = Z [L^-1; 0]. The norm is that of x, not of z, and the intercept does not count.
/// Lawson and Hanson, chapter 14. The rows of R' are sorted by size, which keeps the small ones exact: Cox
/// and Higham, in Numerical Analysis 1997, Pitman Research Notes 380.
inline work_columns least_norm_map(const work_columns &R, int rank, int n, int intercept,
                                   const std::vector<int> &order, std::span<const double> power) {
  const int q = rank - intercept, p = n - intercept;
  work_columns G(p, q), U(q, q), E(p, q), V(n, rank);
  std::vector<int> place(at(p));  // of the columns in x: the greatest first
  std::iota(place.begin(), place.end(), intercept);
  std::vector<double> size = zeros(n);
  for (int j = intercept; j < n; ++j) size[at(j)] = norm(R[j] + intercept, q) / power[at(order[at(j)])];
  std::ranges::sort(place, [&](int j, int k) {
    return size[at(j)] != size[at(k)] ? size[at(j)] > size[at(k)] : j < k;
  });
  for (int j = 0; j < p; ++j) {
    const int from = place[at(j)];
    for (int i = 0; i < q; ++i) G[i][j] = R[from][i + intercept] / power[at(order[at(from)])];
  }
  std::vector<double> tau = zeros(q);
  householder(G, q, tau.data());  // G = R' = Z [L'; 0]
  if (q > 0) U = inverse_triangle(upper_part(G, q, 0), q);
  for (int j = 0; j < q; ++j)
    for (int i = j; i < q; ++i) E[j][i] = U[i][j];
  for (int k = q - 1; k >= 0; --k) reflect(G[k], tau[at(k)], E.pointers(), q, k, p);
  for (int j = 0; j < q; ++j)
    for (int i = 0; i < p; ++i) {
      const int column = order[at(place[at(i)])];
      V[j + intercept][column] = E[j][i] / power[at(column)];
    }
  if (intercept == 0 || rank == 0) return V;
  V[0][0] = 1.0 / R[0][0];  // the first row of R gives the intercept
  for (int j = 1; j < rank; ++j) {
    double sum = 0.0;
    for (int i = 1; i < n; ++i) sum += R[i][0] * V[j][order[at(i)]];
    V[j][0] = -sum / R[0][0];
  }
  return V;
}

/// The Frobenius norm of V with its rows multiplied by `length`: the inverse of columns of unit length.
inline double scaled_norm(const work_columns &V, const std::vector<int> &kept,
                          std::span<const double> length) {
  double squares = 0.0;
  for (int j = 0; j < V.columns(); ++j)
    for (int i = 0; i < V.rows(); ++i) {
      const double v = V[j][i] * length[at(kept[at(i)])];
      squares += v * v;
    }
  return std::sqrt(squares);
}

/// Decides the rank of R, n columns and right sides behind them, and inverts what is independent. If
/// the norm of the inverse shows that no column can be within 1000 tolerances of depending on the
/// others, that is all. Else columns are exchanged to find the rank, and again to leave out the last
/// ones of a dependent set, if that gives the same rank.
inline solved_triangle solve_triangle(const work_columns &R, int n, int intercept,
                                      std::span<const double> length, double tolerance, bool least_norm,
                                      std::span<const double> power) {
  std::vector<int> order(at(n));
  std::iota(order.begin(), order.end(), 0);
  bool regular = R.rows() >= n;
  for (int j = 0; j < n && regular; ++j) regular = R[j][j] != 0.0;
  if (regular) {
    work_columns V = n > 0 ? inverse_triangle(R, n) : work_columns(0, 0);
    if (scaled_norm(V, order, length) * tolerance * 1000 < 1.0)  // false for NaN
      return {std::move(order), n, std::move(V), R};
  }
  work_columns P = R;
  const int rank = reduce_by_rank(P, n, length, tolerance, intercept == 1, false, order);
  if (least_norm && rank < n) {
    work_columns V = least_norm_map(P, rank, n, intercept, order, power);
    std::iota(order.begin(), order.end(), 0);
    return {std::move(order), rank, std::move(V), std::move(P)};
  }
  work_columns Q = R;
  std::vector<int> in_order;
  if (reduce_by_rank(Q, n, length, tolerance, intercept == 1, true, in_order) == rank)
    P = std::move(Q), order = std::move(in_order);
  order.resize(at(rank));
  work_columns V = rank > 0 ? inverse_triangle(P, rank) : work_columns(0, 0);
  return {std::move(order), rank, std::move(V), std::move(P)};
}

/// [R; L] reduced again, where L z are the roots of ridge x_j^2; the intercept has none.
template <real T>
work_columns with_ridge(const regression_model<T> &model, const work_columns &R, double ridge) {
  const int n = model.columns(), k = R.rows(), f = model.intercept;
  work_columns W(k + n - f, R.columns());
  for (int j = 0; j < R.columns(); ++j) std::copy(R[j], R[j] + k, W[j]);
  for (int j = f; j < n; ++j)
    W[j][k + j - f] = std::sqrt(ridge) * std::sqrt(model.weight_power) * model.power[at(j)];
  std::vector<double> tau = zeros(std::min(W.rows(), n));
  householder(W, n, tau.data());
  return upper_part(W, std::min(W.rows(), n), model.sides());
}

/// The solution for one scaled right side, and its residual.
struct corrected_solution {
  std::vector<double> z;         ///< of scaled columns that are not centred
  std::vector<double> residual;  ///< scaled, not weighted
};

/// Turns coefficients of centred columns into those of columns as they are: the intercept changes.
template <real T>
void uncentre(const regression_model<T> &model, std::vector<double> &z) {
  if (model.intercept)
    for (int j = 1; j < model.columns(); ++j) z[at(0)] -= model.mean[at(j)] * z[at(j)];
}

/// z of columns that are not centred for the right side c of the triangle.
template <real T>
std::vector<double> coefficients(const regression_model<T> &model, const solved_triangle &solved,
                                 std::vector<double> c) {
  std::vector<double> z = zeros(model.columns());
  if (solved.square()) {
    solved.solve(c.data());
    for (int i = 0; i < solved.rank; ++i) z[at(solved.kept[at(i)])] = c[at(i)];
  } else {
    for (int l = 0; l < solved.rank; ++l)
      add_multiple(c[at(l)], solved.V[l], z.data(), model.columns());
  }
  uncentre(model, z);
  return z;
}

/// dz = V V'g with V V' = (A'W A)^-1 and g = A'W r - ridge x, the gradient, in doubled precision. One
/// step of this takes nearly all of what reduction and solution have lost, if the condition is below 1
/// / epsilon. Bjorck, Linear Algebra Appl. 88 (1987).
template <real T>
std::vector<double> correction(const regression_model<T> &model, const solved_triangle &solved,
                               const std::vector<double> &z, std::vector<double> high,
                               std::vector<double> low, double ridge) {
  const int m = model.rows(), n = model.columns();
  for (int i = 0; i < m; ++i) {  // w r, 24 bits and the rest
    const twofold r = two_sum(high[at(i)], low[at(i)]);
    twofold product;
    add_product(product, r.high, model.weights[at(i)]);
    product.low += r.low * model.weights[at(i)];
    high[at(i)] = upper_half(product.value());
    low[at(i)] = (product.high - high[at(i)]) + product.low;
  }
  std::vector<double> g = zeros(n), y = zeros(m);
  twofold sum;  // of w r, for the centred columns
  for (int j = 0; j < n; ++j) {
    model.scaled(j, y.data());
    twofold product = column_product(y.data(), high.data(), low.data(), m);
    if (model.intercept && j == 0) sum = product;
    if (j >= model.intercept) {
      add_product(product, sum.high, -model.mean[at(j)]);
      product.low -= sum.low * model.mean[at(j)];
      const double power = model.power[at(j)];
      if (ridge > 0) product.low -= ridge * model.weight_power * power * power * z[at(j)];
    }
    g[at(j)] = product.value();
  }
  std::vector<double> c;
  for (const int j : solved.kept) c.push_back(g[at(j)]);
  if (solved.square()) {
    solved.solve_transposed(c.data());
  } else {
    std::vector<double> t = zeros(solved.rank);
    for (int k = 0; k < solved.rank; ++k) t[at(k)] = dot(solved.V[k], c.data(), solved.V.rows());
    c = std::move(t);
  }
  return coefficients(model, solved, std::move(c));
}

/// The greatest |z_j| in units in which every column has length 1.
inline double scaled_size(const std::vector<double> &z, std::span<const double> length) {
  double greatest = 0.0;
  for (std::size_t j = 0; j < z.size(); ++j) greatest = std::max(greatest, std::abs(z[j]) * length[j]);
  return greatest;
}

/// Solves for right side k: z = V c, then so many corrections, fewer when they no longer help.
template <real T>
corrected_solution solve_side(const regression_model<T> &model, const solved_triangle &solved, int k,
                              int corrections, double ridge) {
  const int m = model.rows(), n = model.columns();
  const double *const c = solved.R[n + k];
  std::vector<double> z = coefficients(model, solved, std::vector<double>(c, c + solved.rank)),
                      y = zeros(m);
  if (model.intercept) z[0] += model.mean[at(n + k)];

  std::vector<double> high = zeros(m), low = zeros(m);
  double before = std::numeric_limits<double>::infinity();
  for (int pass = 0;; ++pass) {
    model.scaled(n + k, high.data());  // r = b - A z
    std::fill(low.begin(), low.end(), 0.0);
    for (int j = 0; j < n; ++j) {
      if (z[at(j)] == 0.0) continue;
      model.scaled(j, y.data());
      add_column(-z[at(j)], y.data(), m, high.data(), low.data());
    }
    if (pass == corrections) break;
    const std::vector<double> dz = correction(model, solved, z, high, low, ridge);
    const double size = scaled_size(dz, model.length);
    for (int j = 0; j < n; ++j) {
      model.scaled(j, y.data());
      add_multiple(-dz[at(j)], y.data(), low.data(), m);
      z[at(j)] += dz[at(j)];
    }
    if (pass + 1 == corrections || !(size < before / 2)) break;
    before = size;
  }
  for (int i = 0; i < m; ++i) high[at(i)] += low[at(i)];
  return {std::move(z), std::move(high)};
}

}  // namespace tabfit::detail

// tabfit/least_squares.hpp - linear regression: coefficients, and how well the data determine them.
//
//   const auto fit = tabfit::least_squares(A, b, {.weights = w, .intercept = true});
//   fit.x, fit.standard_errors, fit.r_squared, fit.intervals(0.95), fit.left_out
//
// All is computed in double for both element types, and rounded once. The steps:
//   1. Columns are scaled by powers of two and, with an intercept, centred about their means.
//   2. Householder's reflections make a triangle of them (tabfit/orthogonal.hpp).
//   3. The rank is decided, on columns of unit length; a dependent column is left out.
//   4. The solution is corrected once by a residual in doubled precision (tabfit/residuals.hpp).
//
// Sources: Golub and Van Loan, Matrix Computations, chapter 5; Bjorck, Numerical Methods for Least
// Squares Problems, chapters 1 and 2; Lawson and Hanson, Solving Least Squares Problems, chapters 12
// and 14.
#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tabfit/error.hpp"
#include "tabfit/regression.hpp"
#include "tabfit/statistics.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

/// Two ends of a confidence interval.
template <real T>
struct interval {
  T low{}, high{};
  friend bool operator==(const interval &, const interval &) = default;
};

/// What least_squares() finds for one right side. With an intercept x[0] is the intercept, x[j + 1]
/// belongs to column j of A, and so it is with all that stands beside x; else x[j] belongs to column j.
///
/// The statistics are those of independent errors of one variance, or of variances in proportion to
/// 1 / weight. What is not defined is NaN: standard errors without degrees of freedom or of a column
/// that was left out, and all that follows from them.
template <real T>
struct linear_fit {
  std::vector<T> x;
  /// b - A x, not weighted, as it is before x is rounded to T.
  std::vector<T> residual;
  T residual_norm{};          ///< the root of sum w r^2
  int rank = 0;               ///< independent columns, the intercept among them
  std::vector<int> left_out;  ///< columns of A that depend on others and have x = 0, ascending
  /// How much small relative changes of a column may change x: |A S|_F |(A S)^+|_F over the number of
  /// columns, with S the scaling to unit length; at most the condition number, at least a part of it of
  /// one over the number of columns.
  double condition = 0;
  /// Rows of positive weight less rank; with a ridge less the trace of the matrix from b to A x.
  double degrees_of_freedom = 0;
  T sigma{};                       ///< residual standard deviation: residual_norm / sqrt(df)
  std::vector<T> standard_errors;  ///< of x
  T r_squared{};           ///< 1 - sum w r^2 / sum w (b - mean)^2; without intercept of b itself
  T adjusted_r_squared{};  ///< the same of mean squares
  T f_statistic{};         ///< all coefficients but the intercept against none; NaN with a ridge
  double f_degrees = 0;    ///< of its numerator; degrees_of_freedom are the denominator's

  /// x / standard_errors.
  std::vector<T> t_values() const {
    std::vector<T> t(x);
    for (std::size_t j = 0; j < t.size(); ++j) t[j] /= standard_errors[j];
    return t;
  }
  /// The probability of a |t| as large or larger if the coefficient is 0.
  std::vector<T> p_values() const {
    std::vector<T> p = t_values();
    for (T &t : p) t = static_cast<T>(2 * upper_tail(std::abs(static_cast<double>(t))));
    return p;
  }
  /// The probability of an F as large or larger if all coefficients but the intercept are 0.
  T f_p_value() const {
    if (!(f_degrees > 0 && degrees_of_freedom > 0) || std::isnan(f_statistic))
      return std::numeric_limits<T>::quiet_NaN();
    return static_cast<T>(
        f_distribution(f_degrees, degrees_of_freedom).survival(static_cast<double>(f_statistic)));
  }
  /// Each coefficient's interval that covers it with this probability. Throws bad_data unless
  /// 0 < level < 1.
  std::vector<interval<T>> intervals(double level = 0.95) const {
    if (!(level > 0 && level < 1))
      throw bad_data("linear_fit::intervals",
                     "a level lies between 0 and 1, not at " + std::to_string(level));
    const double t = degrees_of_freedom > 0 ? student_t(degrees_of_freedom).quantile(0.5 + level / 2)
                                            : std::numeric_limits<double>::quiet_NaN();
    std::vector<interval<T>> all;
    for (std::size_t j = 0; j < x.size(); ++j) {
      const double half = t * static_cast<double>(standard_errors[j]),
                   middle = static_cast<double>(x[j]);
      all.push_back({static_cast<T>(middle - half), static_cast<T>(middle + half)});
    }
    return all;
  }
  /// The covariance matrix of x: sigma^2 (A' W A)^-1. Rows and columns of left-out columns are NaN.
  column_table<T> covariance() const {
    const int p = static_cast<int>(x.size());
    const double variance = static_cast<double>(sigma) * static_cast<double>(sigma);
    column_table<T> C(p, p);
    for (int i = 0; i < p; ++i)
      for (int j = 0; j <= i; ++j) {
        double sum = 0.0;
        for (int l = 0; l < root->columns(); ++l) sum += (*root)(i, l) * (*root)(j, l);
        C(i, j) = C(j, i) = static_cast<T>(sum * variance);
        const T error =
            standard_errors[static_cast<std::size_t>(i)] + standard_errors[static_cast<std::size_t>(j)];
        if (std::isnan(error)) C(i, j) = C(j, i) = error;
      }
    return C;
  }

  /// The covariance matrix of x is sigma^2 root root'.
  std::shared_ptr<const column_table<double>> root;

 private:
  double upper_tail(double t) const {
    if (!(degrees_of_freedom > 0) || std::isnan(t)) return std::numeric_limits<double>::quiet_NaN();
    return student_t(degrees_of_freedom).survival(t);
  }
};

/// What least_squares() finds for several right sides: column k of x and fits[k] belong to column k of
/// b.
template <real T>
struct linear_fits {
  column_table<T> x;
  std::vector<linear_fit<T>> fits;
};

/// What to do where columns depend on each other, to working precision.
enum class dependent_columns : std::uint8_t {
  leave_out,   ///< the last ones of a dependent set get x = 0 and stand in left_out
  least_norm,  ///< of all minimisers the one with the least norm of x; the intercept does not count
  refuse,      ///< rank_deficient is thrown
};

template <real T>
struct least_squares_options {
  /// w of sum w_i (b - A x)_i^2, one for each row, none negative; all 1 if empty. A row of weight 0
  /// takes no part, but has a residual.
  std::span<const T> weights = {};
  bool intercept = false;  ///< a column of ones before those of A
  /// Adds ridge |x|^2 to what is minimised, without the intercept: x = (A'W A + ridge I)^-1 A'W b.
  T ridge = 0;
  /// Columns of unit length decide the rank. If false, the columns as they are do: one that is
  /// short beside the others counts as dependent.
  bool scale = true;
  dependent_columns dependent = dependent_columns::leave_out;
  /// Corrects x until it changes no more, ten times at most; else once (double) or not at all (float,
  /// where the rounding of x outweighs all else). The engine's Ls_it is not called for it: its residual
  /// has the precision of its type, and it keeps memory at every call.
  bool refined = false;
  /// A column depends on others if they leave less than this part of its length; 0 stands for 10
  /// epsilon of T times the number of columns.
  double tolerance = 0;
};

namespace detail {

/// Throws bad_data for what least_squares() cannot work on, b apart.
template <real T>
void check_regression(table_view<T> A, const least_squares_options<T> &options) {
  constexpr const char *operation = "least_squares";
  if (A.rows() == 0) throw bad_data(operation, "A has no rows");
  check_finite(operation, "A", A);
  const std::span<const T> w = options.weights;
  if (!w.empty()) check_size(operation, "weights", w.size(), "element", "A", at(A.rows()), "row");
  check_finite(operation, "weights", w);
  for (std::size_t i = 0; i < w.size(); ++i)
    if (w[i] < 0) throw bad_data(operation, "weights(" + std::to_string(i) + ") is negative");
  if (!w.empty() && *std::max_element(w.begin(), w.end()) <= 0)
    throw bad_data(operation, "all weights are 0");
  if (!is_finite(options.ridge) || options.ridge < 0)
    throw bad_data(operation, "the ridge must be a number that is not negative");
  if (!is_finite(options.tolerance) || options.tolerance < 0)
    throw bad_data(operation, "the tolerance must be a number that is not negative");
}

/// The weights, scaled by a power of four so that the greatest is near 1 and its root is scaled
/// exactly.
template <real T>
void set_weights(regression_model<T> &model, std::span<const T> weights) {
  model.weights.assign(at(model.rows()), 1.0);
  if (weights.empty()) return;
  int exponent = 0;
  std::frexp(static_cast<double>(*std::max_element(weights.begin(), weights.end())), &exponent);
  model.weight_power = std::ldexp(1.0, std::clamp(-exponent / 2 * 2, -1000, 1000));
  for (std::size_t i = 0; i < weights.size(); ++i)
    model.weights[i] = static_cast<double>(weights[i]) * model.weight_power;
}

/// What all right sides share.
template <real T>
struct shared_fit {
  linear_fit<T> fit;           ///< rank, left_out, condition, degrees_of_freedom, root
  std::vector<double> spread;  ///< standard errors for scaled columns and sigma = 1
  int positive = 0;            ///< rows of positive weight
};

/// G with (A'W A)^-1 = G G', a row for each column of the model. With a ridge M^-1 A'W A M^-1 = G G',
/// where M = A'W A + ridge I = (V V')^-1, and `hat` is R V. G belongs to scaled columns.
template <real T>
work_columns covariance_root(const regression_model<T> &model, const solved_triangle &solved,
                             const work_columns &hat) {
  const bool plain = hat.columns() == 0;
  work_columns G(model.columns(), plain ? solved.V.columns() : hat.rows());
  for (int l = 0; l < G.columns(); ++l) {
    for (int i = 0; i < solved.V.rows(); ++i) {
      double &element = G[l][solved.kept[at(i)]];
      if (plain) element = solved.V[l][i];
      for (int k = 0; k < hat.columns(); ++k) element += solved.V[k][i] * hat[k][l];  // V (R V)'
    }
    if (model.intercept)
      for (int j = 1; j < model.columns(); ++j) G[l][0] -= model.mean[at(j)] * G[l][j];
  }
  return G;
}

/// Sums of squares about the mean, or about 0 without an intercept, of a right side and of what the
/// model explains of it.
struct explained_squares {
  double total = 0.0, explained = 0.0, left = 0.0;
};
template <real T>
explained_squares squares_of(const regression_model<T> &model, int k,
                             const std::vector<double> &residual) {
  std::vector<double> y = zeros(model.rows());
  model.scaled(model.columns() + k, y.data());
  std::vector<double> fitted(y);
  add_multiple(-1.0, residual.data(), fitted.data(), model.rows());
  const std::vector<double> &w = model.weights;
  const double total = std::accumulate(w.begin(), w.end(), 0.0);
  const auto about_mean = [&](const std::vector<double> &values) {
    const double mean = model.intercept ? weighted_sum(w, values.data()) / total : 0.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i)
      sum += w[i] * (values[i] - mean) * (values[i] - mean);
    return sum;
  };
  double left = 0.0;
  for (std::size_t i = 0; i < w.size(); ++i) left += w[i] * residual[i] * residual[i];
  return {about_mean(y), about_mean(fitted), left};
}

/// Coefficients, residual and statistics of right side k.
template <real T>
linear_fit<T> fit_of_side(const regression_model<T> &model, const solved_triangle &solved, int k,
                          const shared_fit<T> &shared, int corrections, double ridge) {
  linear_fit<T> fit = shared.fit;
  const corrected_solution s = solve_side(model, solved, k, corrections, ridge);
  const double power = model.power[at(model.columns() + k)];
  const double unit = power * std::sqrt(model.weight_power);
  const explained_squares squares = squares_of(model, k, s.residual);
  const double df = fit.degrees_of_freedom, nan = std::numeric_limits<double>::quiet_NaN();
  const double variance = df > 0 ? squares.left / df : nan, sigma = std::sqrt(variance);
  for (int j = 0; j < model.columns(); ++j) {
    fit.x.push_back(static_cast<T>(s.z[at(j)] * (model.power[at(j)] / power)));
    const bool out = std::ranges::binary_search(fit.left_out, j - model.intercept);
    const double error = sigma * shared.spread[at(j)] * (model.power[at(j)] / power);
    fit.standard_errors.push_back(static_cast<T>(out ? nan : error));
  }
  for (const double r : s.residual) fit.residual.push_back(static_cast<T>(r / power));
  fit.residual_norm = static_cast<T>(std::sqrt(squares.left) / unit);
  fit.sigma = static_cast<T>(sigma / unit);

  const double total = squares.total / (shared.positive - model.intercept);  // a mean square
  fit.r_squared = static_cast<T>(squares.total > 0 ? 1.0 - squares.left / squares.total : nan);
  fit.adjusted_r_squared = static_cast<T>(squares.total > 0 ? 1.0 - variance / total : nan);
  fit.f_degrees = fit.rank - model.intercept;
  const bool has_f = ridge <= 0 && fit.f_degrees > 0;
  fit.f_statistic = static_cast<T>(has_f ? squares.explained / fit.f_degrees / variance : nan);
  return fit;
}

/// Rank, columns left out, degrees of freedom, condition and covariance.
template <real T>
shared_fit<T> shared_part(const regression_model<T> &model, const solved_triangle &solved,
                          const work_columns &R, double ridge) {
  const int n = model.columns();
  shared_fit<T> shared;
  linear_fit<T> &fit = shared.fit;
  fit.rank = solved.rank;
  for (int j = 0; j < n; ++j)
    if (std::ranges::find(solved.kept, j) == solved.kept.end())
      fit.left_out.push_back(j - model.intercept);
  for (const double w : model.weights) shared.positive += w > 0;
  fit.degrees_of_freedom = shared.positive - solved.rank;
  work_columns hat(0, 0);
  if (ridge > 0) {  // the map from b to A x is Q hat hat' Q'
    hat = work_columns(R.rows(), solved.V.columns());
    for (int l = 0; l < hat.columns(); ++l)
      for (int i = 0; i < solved.V.rows(); ++i)
        add_multiple(solved.V[l][i], R[solved.kept[at(i)]], hat[l], R.rows());
    fit.degrees_of_freedom = shared.positive;
    for (int l = 0; l < hat.columns(); ++l) fit.degrees_of_freedom -= dot(hat[l], hat[l], hat.rows());
  }
  const work_columns G = covariance_root(model, solved, hat);
  auto root = std::make_shared<column_table<double>>(n, G.columns());
  shared.spread = zeros(n);
  double squares = 0.0;
  for (int l = 0; l < G.columns(); ++l)
    for (int j = 0; j < n; ++j) {
      shared.spread[at(j)] += G[l][j] * G[l][j];
      squares += (model.length[at(j)] * G[l][j]) * (model.length[at(j)] * G[l][j]);
      (*root)(j, l) = G[l][j] * (std::sqrt(model.weight_power) * model.power[at(j)]);
    }
  for (double &s : shared.spread) s = std::sqrt(s);
  fit.root = std::move(root);
  fit.condition = solved.rank == 0 ? 1.0 : std::sqrt(squares / static_cast<double>(solved.kept.size()));
  return shared;
}

/// The steps of least_squares().
template <real T>
std::vector<linear_fit<T>> regress(table_view<T> A, table_view<T> B,
                                   const least_squares_options<T> &options) {
  check_regression(A, options);
  regression_model<T> model{A, B, options.intercept ? 1 : 0};
  set_weights(model, options.weights);
  const int n = model.columns();
  work_columns W = load(model);
  std::vector<double> tau = zeros(n), length(model.length.begin(), model.length.begin() + n);
  householder(W, n, tau.data());
  const work_columns R = upper_part(W, std::min(model.rows(), n), model.sides());

  double longest = 0.0;
  for (std::size_t j = 0; j < length.size(); ++j)
    longest = std::max(longest, length[j] / model.power[j]);
  for (std::size_t j = 0; j < length.size(); ++j) {
    if (!options.scale) length[j] = longest * model.power[j];
    if (length[j] <= 0) length[j] = 1.0;  // no part of a column of zeros is too great
  }
  const double tolerance =
      options.tolerance > 0 ? options.tolerance : 10.0 * n * std::numeric_limits<T>::epsilon();
  const double ridge = static_cast<double>(options.ridge);
  const solved_triangle solved =
      solve_triangle(ridge > 0 ? with_ridge(model, R, ridge) : R, n, model.intercept, length, tolerance,
                     options.dependent == dependent_columns::least_norm, model.power);
  if (options.dependent == dependent_columns::refuse && solved.rank < n)
    throw rank_deficient("least_squares",
                         counted(n - solved.rank, "column") + " of " + std::to_string(n) +
                             (n - solved.rank == 1 ? " depends" : " depend") +
                             " on the others; leave them out, or ask for the least norm",
                         solved.rank);
  const shared_fit<T> shared = shared_part(model, solved, R, ridge);
  const int corrections = options.refined ? 10 : sizeof(T) == sizeof(double) ? 1 : 0;
  std::vector<linear_fit<T>> fits;
  for (int k = 0; k < model.sides(); ++k)
    fits.push_back(fit_of_side(model, solved, k, shared, corrections, ridge));
  return fits;
}

}  // namespace detail

/// Linear least squares: the x that minimises sum w_i (b - A x)_i^2, with its statistics.
///
/// @param A  m by n, m >= 1; fewer rows than columns are dependent columns
/// @param b  m elements
///
/// Throws bad_data for sizes that do not fit, NaN, infinities and negative weights; rank_deficient if
/// that is asked for; std::bad_alloc.
///
/// Cost: 2 m n^2 operations, and some 80 m n for the correction in doubled precision. Memory: a copy of
/// A in double.
template <table A>
linear_fit<typename A::value_type> least_squares(
    const A &a, std::span<const typename A::value_type> b,
    const least_squares_options<typename A::value_type> &options = {}) {
  using T = typename A::value_type;
  const table_view<T> view = a.view();
  detail::check_size("least_squares", "b", b.size(), "element", "A", detail::at(view.rows()), "row");
  detail::check_finite("least_squares", "b", b);
  return detail::regress(view, table_view<T>::column_major(b.data(), view.rows(), 1), options).front();
}

/// The same for several right sides, the columns of B. The rank is decided and A reduced but once.
template <table A, table B>
requires std::same_as<typename A::value_type, typename B::value_type>
    linear_fits<typename A::value_type> least_squares(
        const A &a, const B &b, const least_squares_options<typename A::value_type> &options = {}) {
  using T = typename A::value_type;
  const table_view<T> A_view = a.view(), B_view = b.view();
  detail::check_size("least_squares", "B", detail::at(B_view.rows()), "row", "A",
                     detail::at(A_view.rows()), "row");
  detail::check_finite("least_squares", "B", B_view);
  linear_fits<T> all{{}, detail::regress(A_view, B_view, options)};
  all.x = column_table<T>(A_view.columns() + (options.intercept ? 1 : 0), B_view.columns());
  for (int k = 0; k < B_view.columns(); ++k)
    std::ranges::copy(all.fits[detail::at(k)].x, all.x.column(k).begin());
  return all;
}

}  // namespace tabfit

// tools/regression.hpp - one column of numbers explained by others: linear least squares.
#pragma once

#include <string>
#include <vector>

namespace tabfit::tool {

template <class Real>
struct Problem {
  std::vector<std::vector<Real>> predictors;  ///< at least one, each as long as the response
  std::vector<Real> response;
  bool intercept;
};

/// A predictor that is a combination of others, by their places.
struct Dependent {
  int place;
  std::vector<int> on;  ///< none if the predictor is zero, or constant beside an intercept
};

template <class Real>
struct Regression {
  std::vector<Dependent> dependent;  ///< if there are any, there is no solution
  Real intercept = 0;                ///< 0 without one
  std::vector<Real> coefficients;
  std::vector<Real> fitted, residual;  ///< of every row; the residual is response - fitted
  Real sum_of_squares = 0;             ///< of the residuals
  Real total = 0;  ///< sum of squares of the response, less its mean if there is an intercept
};

/// Minimises the sum of squares of response - intercept - sum of coefficient * predictor.
///
/// With an intercept the mean of every column is subtracted first. Then every column is divided by its
/// norm: the library compares norms to find the rank, and would take a column of small numbers beside
/// columns of large ones for a dependent one. The coefficients belong to the columns as given.
template <class Real>
Regression<Real> regress(const Problem<Real>& problem);

}  // namespace tabfit::tool

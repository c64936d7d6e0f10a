// tests/support/scaled_residuals.hpp - norms and residuals, and the greatest ratio that a test saw.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>

#include "tests/support/random_matrices.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace decompositions {

/// The greatest ratio and its place; printed when the test ends.
class Largest {
 public:
  explicit Largest(const char* what) : what_(what) {}
  ~Largest() { std::printf("%s: at most %.3g, %s\n", what_, value_, where_.c_str()); }
  void see(double ratio, const std::string& where) {
    if (std::isnan(ratio)) ratio = inf_of<double>;
    if (ratio >= value_) value_ = ratio, where_ = where;
  }
  double value() const { return value_; }

 private:
  const char* what_;
  double value_ = 0;
  std::string where_;
};

inline std::string where(Kind kind, int m, int n) {
  return std::string(name(kind)) + " " + std::to_string(m) + " by " + std::to_string(n);
}

/// Square root of the sum of squares of the elements.
template <class Real>
double norm(Table<Real>& A, int m, int first, int end) {
  long double sum = 0;
  for (int j = first; j < end; ++j)
    for (int i = 0; i < m; ++i) sum += static_cast<long double>(A.at(i, j)) * A.at(i, j);
  return static_cast<double>(std::sqrt(sum));
}

/// Norm of A X - B of order n with p columns; X as its pointers show it.
template <class Real, class B>
double residual(Table<Real>& A, Real* const* X, int n, int p, B right) {
  long double sum = 0;
  for (int k = 0; k < p; ++k)
    for (int i = 0; i < n; ++i) {
      long double r = -static_cast<long double>(right(i, k));
      for (int l = 0; l < n; ++l) r += static_cast<long double>(A.at(i, l)) * X[k][l];
      sum += r * r;
    }
  return static_cast<double>(std::sqrt(sum));
}

inline double delta(int i, int j) { return i == j ? 1.0 : 0.0; }

}  // namespace decompositions

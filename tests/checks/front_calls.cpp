// tests/checks/front_calls.cpp - calls of all that the front has, for both element types: compiled with the
// warnings of strict hosts, by tests/checks/headers.sh.
#include <tabfit/tabfit.hpp>

#include <span>
#include <vector>

namespace {

template <class T>
T tables(const tabfit::column_table<T>& A) {
  tabfit::column_table<T> B(A), C{{1, 2}, {3, 4}};
  B.add_column(A.column(0));
  B.swap_columns(0, 1);
  B.remove_column(0);
  B = C;
  const std::vector<T> packed{1, 2, 3};
  auto S = tabfit::triangle_table<T>::from_packed_columns(packed);
  S = tabfit::triangle_table<T>::from_packed_rows(S.packed_columns());
  S = tabfit::triangle_table<T>::from_symmetric(S.full_symmetric().view());
  S = tabfit::triangle_table<T>::from_upper(S.full_upper().view());
  const auto V = tabfit::table_view<T>::row_major(packed.data(), 1, 3);
  return B == C ? S(0, 0) : S.packed_rows()[0] + V(0, 2);
}

template <class T>
T matrices(const tabfit::column_table<T>& A, const std::vector<T>& b) {
  const auto V = A.view();
  const auto S = tabfit::gram(A);
  auto X = tabfit::multiply(tabfit::multiply_transposed(A, V), tabfit::multiply_by_transposed(V, A));
  X = tabfit::solve(tabfit::transpose(X), tabfit::inverse(X));
  X = tabfit::solve(S, X);
  const auto [Q, R] = tabfit::qr(A);
  const auto U = tabfit::cholesky(X);
  const std::vector<T> x = tabfit::multiply(A, tabfit::multiply_transposed(A, b));
  return tabfit::solve(A, b)[0] + tabfit::solve(S, b)[0] + Q(0, 0) + R(0, 0) + U(0, 0) + x[0] +
         tabfit::inverse(S)(0, 0) +
         static_cast<T>(tabfit::determinant(A) + tabfit::log_determinant(A).log + tabfit::condition(A));
}

template <class T>
T fits(const tabfit::column_table<T>& A, const std::vector<T>& b) {
  const auto fit = tabfit::least_squares(A, b, {.weights = b, .intercept = true});
  const auto several = tabfit::least_squares(A, A);
  const auto held = tabfit::constrained(A, b, {.C = A.view(), .d = b, .lo = b});
  return fit.intervals(0.9)[0].low + fit.p_values()[0] + fit.f_p_value() + fit.covariance()(0, 0) +
         several.x(0, 0) + tabfit::nonnegative(A, b).x[0] + tabfit::bounded(A, b, b, b).residual_norm +
         held.x[0];
}

template <class T>
T everything(const tabfit::column_table<T>& A, const std::vector<T>& b) {
  return tables(A) + matrices(A, b) + fits(A, b);
}

}  // namespace

double calls(const tabfit::column_table<float>& F, const tabfit::column_table<double>& D);
double calls(const tabfit::column_table<float>& F, const tabfit::column_table<double>& D) {
  return static_cast<double>(everything<float>(F, std::vector<float>(3))) +
         everything<double>(D, std::vector<double>(3)) + tabfit::student_t(3).quantile(0.9) +
         tabfit::f_distribution(2, 3).survival(1);
}

// tabfit/matrix.hpp - dense matrix algebra of the C++ front: products, systems, decompositions.
//
//   transpose  multiply  multiply_transposed  multiply_by_transposed  gram
//   solve  inverse  determinant  log_determinant  condition      a square matrix
//   qr                                                           any matrix
//   cholesky  solve  inverse                                     a symmetric, definite one
//
// All take sizes from 1 on, refuse NaN and infinities with their place, and return values. Products are
// the engine's: sums in double, ascending. All else works in double for both element types: float data
// are widened first, results are rounded once, and only results beyond the range are infinite.
//
// Literature: Golub and Van Loan, Matrix Computations, 4th edition.
#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tabfit/engine.hpp"
#include "tabfit/error.hpp"
#include "tabfit/orthogonal.hpp"
#include "tabfit/residuals.hpp"
#include "tabfit/table.hpp"

namespace tabfit {

namespace detail {

template <class A>
using value_of = typename A::value_type;

template <class A, class B>
concept same_elements = table<A> && table<B> && std::same_as<value_of<A>, value_of<B>>;

/// A view of finite elements.
template <table A>
table_view<value_of<A>> finite(const char *operation, const char *name, const A &a) {
  const table_view<value_of<A>> view = a.view();
  check_finite(operation, name, view);
  return view;
}

/// A view of finite elements, square and not empty.
template <table A>
table_view<value_of<A>> finite_square(const char *operation, const A &a) {
  const table_view<value_of<A>> view = finite(operation, "A", a);
  check_square(operation, "A", view);
  if (view.rows() == 0) throw bad_data(operation, "A has no element");
  return view;
}

/// A vector of finite elements as a table of one column; its length is that of A's rows or columns.
template <real T>
table_view<T> finite_column(const char *operation, const char *name, std::span<const T> x, int length,
                            const char *unit) {
  check_size(operation, name, x.size(), "element", "A", at(length), unit);
  check_finite(operation, name, x);
  return table_view<T>::column_major(x.data(), length, 1);
}

template <real T>
std::vector<T> only_column(const column_table<T> &X) {
  return {X.column(0).begin(), X.column(0).end()};
}

}  // namespace detail

// -- products ------------------------------------------------------------------------------------------

/// A^T. Cost: m n moves.
template <table A>
column_table<detail::value_of<A>> transpose(const A &a) {
  const auto view = a.view();
  column_table<detail::value_of<A>> B(view.columns(), view.rows());
  for (int j = 0; j < view.columns(); ++j)
    for (int i = 0; i < view.rows(); ++i) B(j, i) = view(i, j);
  return B;
}

/// A B. Cost: 2 m n p operations.
template <table A, table B>
requires detail::same_elements<A, B> column_table<detail::value_of<A>> multiply(const A &a,
                                                                                const B &b) {
  const auto F = detail::finite("multiply", "A", a), G = detail::finite("multiply", "B", b);
  const int m = F.rows(), n = F.columns(), p = G.columns();
  detail::check_size("multiply", "A", detail::at(n), "column", "B", detail::at(G.rows()), "row");
  column_table<detail::value_of<A>> C(m, p);
  engine::M_mm(detail::columns(F).data(), detail::columns(G).data(), m, n, p, C.data());
  return C;
}

/// A^T B. Cost: 2 m n p operations.
template <table A, table B>
requires detail::same_elements<A, B> column_table<detail::value_of<A>> multiply_transposed(const A &a,
                                                                                           const B &b) {
  const char *const name = "multiply_transposed";
  const auto F = detail::finite(name, "A", a), G = detail::finite(name, "B", b);
  const int m = F.rows(), n = F.columns(), p = G.columns();
  detail::check_size(name, "A", detail::at(m), "row", "B", detail::at(G.rows()), "row");
  column_table<detail::value_of<A>> C(n, p);
  engine::M_mtm(detail::columns(F).data(), detail::columns(G).data(), m, n, p, C.data());
  return C;
}

/// A B^T. Cost: 2 m n p operations.
template <table A, table B>
requires detail::same_elements<A, B> column_table<detail::value_of<A>> multiply_by_transposed(
    const A &a, const B &b) {
  const char *const name = "multiply_by_transposed";
  const auto F = detail::finite(name, "A", a), G = detail::finite(name, "B", b);
  const int m = F.rows(), n = F.columns(), p = G.rows();
  detail::check_size(name, "A", detail::at(n), "column", "B", detail::at(G.columns()), "column");
  column_table<detail::value_of<A>> C(m, p);
  engine::M_mmt(detail::columns(F).data(), detail::columns(G).data(), m, n, p, C.data());
  return C;
}

/// A x. Cost: 2 m n operations.
template <table A>
std::vector<detail::value_of<A>> multiply(const A &a, std::span<const detail::value_of<A>> x) {
  const auto F = a.view();
  const auto column = detail::finite_column("multiply", "x", x, F.columns(), "column");
  return detail::only_column(multiply(F, column));
}

/// A^T x. Cost: 2 m n operations.
template <table A>
std::vector<detail::value_of<A>> multiply_transposed(const A &a,
                                                     std::span<const detail::value_of<A>> x) {
  const auto F = a.view();
  const auto column = detail::finite_column("multiply_transposed", "x", x, F.rows(), "row");
  return detail::only_column(multiply_transposed(F, column));
}

/// A^T A. Cost: m n^2 operations.
template <table A>
triangle_table<detail::value_of<A>> gram(const A &a) {
  const auto F = detail::finite("gram", "A", a);
  triangle_table<detail::value_of<A>> S(F.columns());
  engine::M_mtms(detail::columns(F).data(), F.rows(), F.columns(), S.data());
  return S;
}

// -- square matrices -----------------------------------------------------------------------------------

namespace detail {

/// The sum of the magnitudes.
inline double norm_1(const std::vector<double> &x) {
  double sum = 0.0;
  for (const double xi : x) sum += std::abs(xi);
  return sum;
}

/// Where the greatest magnitude stands.
inline std::size_t place_of_greatest(const std::vector<double> &x) {
  std::size_t place = 0;
  for (std::size_t i = 1; i < x.size(); ++i)
    if (std::abs(x[i]) > std::abs(x[place])) place = i;
  return place;
}

/// |B x|_1 for a vector x of 1-norm 1, made greater step by step: the next x is the unit vector in which the
/// gradient is greatest. Hager's method, as Higham gives it, ACM Transactions on Mathematical Software 14
/// (1988), algorithm 4.1.
template <class Times, class TransposedTimes>
double climb(std::vector<double> x, const Times &times, const TransposedTimes &transposed_times) {
  times(x);
  double estimate = norm_1(x);
  std::vector<double> signs;
  std::size_t place = x.size();
  for (int step = 0; step < 5; ++step) {
    std::vector<double> now(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) now[i] = std::copysign(1.0, x[i]);
    if (now == signs) break;
    signs = x = std::move(now);
    transposed_times(x);
    const std::size_t next = place_of_greatest(x);
    if (place < x.size() && std::abs(x[next]) <= std::abs(x[place])) break;
    place = next;
    std::fill(x.begin(), x.end(), 0.0);
    x[place] = 1.0;
    times(x);
    if (!(norm_1(x) > estimate)) break;
    estimate = norm_1(x);
  }
  return estimate;
}

/// A lower bound, mostly sharp, of the 1-norm of an n by n matrix B: the better of two climbs. times(x) and
/// transposed_times(x) put B x and B'x in the place of x.
template <class Times, class TransposedTimes>
double estimate_norm_1(int n, const Times &times, const TransposedTimes &transposed_times) {
  const double even = climb(std::vector<double>(at(n), 1.0 / n), times, transposed_times);
  if (n == 1) return even;
  std::vector<double> alternating = zeros(n);
  for (int i = 0; i < n; ++i)
    alternating[at(i)] = (i % 2 ? -1.0 : 1.0) * (1.0 + i / (n - 1.0)) / (1.5 * n);
  return std::max(even, climb(std::move(alternating), times, transposed_times));
}

/// How rows and columns are brought to comparable sizes: by their greatest elements, which serves unless
/// zeros hide what rows and columns have in common, or by the means of all exponents, which noise in the
/// place of zeros leads astray.
enum class scaling { by_greatest, by_means };

/// A square matrix A and right-hand sides B in W = [D A E, D B], which reduce() turns into [R, Q'D B], R
/// an upper triangle. D and E are powers of two that bring rows and columns to comparable sizes, so that
/// rank and accuracy do not depend on units. Section 5.2 of Golub and Van Loan.
struct square_system {
  int n;
  work_columns W;
  std::vector<double> rows, columns;  ///< the diagonals of D and E
  std::vector<double> tau;
  double power = 1.0;                            ///< brings the greatest element of A near 1
  double norm_of_A = 0.0, norm_of_scaled = 0.0;  ///< 1-norms of A times the power, and of D A E
  bool wide_range = false;                       ///< some element of D A E is very small, but not 0

  template <real T>
  square_system(table_view<T> A, int right_sides, scaling by = scaling::by_greatest)
      : n(A.rows()), W(n, n + right_sides), rows(at(n), 1.0), columns(at(n), 1.0), tau(zeros(n)) {
    double greatest = 0.0;
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < n; ++i) W[j][i] = static_cast<double>(A(i, j));
      greatest = std::max(greatest, greatest_magnitude(W[j], n));
    }
    power = power_to_one(greatest);
    norm_of_A = norm_1_times(power);
    if (by == scaling::by_greatest)
      scale_by_greatest();
    else
      scale_by_means();
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        W[j][i] = rows[at(i)] * W[j][i] * columns[at(j)];
        wide_range |= W[j][i] != 0.0 && std::abs(W[j][i]) < 1e-6;
      }
    norm_of_scaled = norm_1_times(1.0);
  }

  void reduce() { householder(W, n, tau.data()); }

  /// The diagonal of R; each reflection that is not the identity changes the sign of the determinant.
  double pivot(int k) const { return W[k][k]; }
  bool reflected(int k) const { return tau[at(k)] != 0.0; }

  /// The 1-norm condition number of A, estimated. Infinite if a pivot is zero.
  double condition() const {
    return norm_of_A * inverse_norm([this](std::vector<double> &x) { scale(x, rows, 1.0 / power); },
                                    [this](std::vector<double> &x) { scale(x, columns, 1.0); });
  }

  /// The condition of D A E.
  double scaled_condition() const {
    const auto unscaled = [](std::vector<double> &) {};
    return norm_of_scaled * inverse_norm(unscaled, unscaled);
  }

  /// Corrects a solution y of D A E y = b until its digits stay. A correction that is the share q of the one
  /// before leaves an error of q times itself. Section 3.5.3.
  template <real T>
  void refine(table_view<T> A, const double *b, double *y) const {
    double before = greatest_magnitude(y, n);
    const double enough = std::numeric_limits<double>::epsilon() / 4.0 * before;
    for (int pass = 0; pass < 6; ++pass) {
      std::vector<double> correction = residual(A, b, y);
      divide(correction);
      const double now = greatest_magnitude(correction.data(), n);
      if (!(now < before / 2.0)) return;  // NaN too
      for (int i = 0; i < n; ++i) y[i] += correction[at(i)];
      if (now / before * now <= enough) return;
      before = now;
    }
  }

  [[noreturn]] void throw_singular(const char *operation) const {
    const int found = std::min(rank(), n - 1);
    throw rank_deficient(operation,
                         sentence("A is singular to working precision: ", found, " of ",
                                  counted(n, "column"), found == 1 ? " is" : " are", " independent"),
                         found);
  }

 private:
  double norm_1_times(double factor) const {
    double greatest = 0.0;
    for (int j = 0; j < n; ++j) {
      double sum = 0.0;
      for (int i = 0; i < n; ++i) sum += std::abs(factor * W[j][i]);
      greatest = std::max(greatest, sum);
    }
    return greatest;
  }

  void scale_by_greatest() {
    std::vector<double> greatest = zeros(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) greatest[at(i)] = std::max(greatest[at(i)], std::abs(W[j][i]));
    for (int i = 0; i < n; ++i) rows[at(i)] = power_to_one(greatest[at(i)]);
    for (int j = 0; j < n; ++j) {
      double of_column = 0.0;
      for (int i = 0; i < n; ++i) of_column = std::max(of_column, rows[at(i)] * std::abs(W[j][i]));
      columns[at(j)] = power_to_one(of_column);
    }
  }

  /// Exponents r and c that make r(i) + c(j) + exponent of a(i, j) small in the mean of squares.
  void scale_by_means() {
    std::vector<double> r = zeros(n), c = zeros(n);
    for (int sweep = 0; sweep < 8; ++sweep)
      for (const bool by_rows : {true, false})
        for (int k = 0; k < n; ++k) {
          double sum = 0.0;
          int count = 0;
          for (int l = 0; l < n; ++l) {
            const double a = by_rows ? W[l][k] : W[k][l];
            if (a != 0.0) sum += std::ilogb(a) + (by_rows ? c : r)[at(l)], ++count;
          }
          if (count > 0) (by_rows ? r : c)[at(k)] = -sum / count;
        }
    const auto power_of = [](double e) {
      return std::ldexp(1.0, static_cast<int>(std::clamp(e, -500.0, 500.0)));
    };
    for (int k = 0; k < n; ++k) rows[at(k)] = power_of(r[at(k)]), columns[at(k)] = power_of(c[at(k)]);
  }

  static void scale(std::vector<double> &x, const std::vector<double> &powers, double factor) {
    for (std::size_t i = 0; i < x.size(); ++i) x[i] *= powers[i] * factor;
  }

  template <class Before, class After>
  double inverse_norm(Before before, After after) const {
    for (int k = 0; k < n; ++k)
      if (pivot(k) == 0.0) return std::numeric_limits<double>::infinity();
    return estimate_norm_1(
        n,
        [&](std::vector<double> &x) {
          before(x);
          divide(x);
          after(x);
        },
        [&](std::vector<double> &x) {  // Q R^-T x
          after(x);
          double *column = x.data();
          engine::M_invutm(W.pointers(), &column, n, 1);
          for (int k = n - 1; k >= 0; --k)
            if (reflected(k)) reflect_one(W[k] + k, tau[at(k)], x.data() + k, n - k);
          before(x);
        });
  }

  /// x := R^-1 Q'x.
  void divide(std::vector<double> &x) const {
    for (int k = 0; k < n; ++k)
      if (reflected(k)) reflect_one(W[k] + k, tau[at(k)], x.data() + k, n - k);
    double *column = x.data();
    engine::M_invt(W.pointers(), &column, n, 1);
  }

  /// b - D A E y in twice the precision: the rounding errors of products and sums are summed, too. Ogita,
  /// Rump and Oishi, SIAM J. Sci. Comput. 26 (2005), algorithm 5.3.
  template <real T>
  std::vector<double> residual(table_view<T> A, const double *b, const double *y) const {
    std::vector<double> sums(b, b + n), errors = zeros(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double a = -rows[at(i)] * static_cast<double>(A(i, j)) * columns[at(j)];
        const double product = a * y[j];
        const twofold sum = two_sum(sums[at(i)], product);
        sums[at(i)] = sum.high;
        errors[at(i)] += sum.low + std::fma(a, y[j], -product);
      }
    for (int i = 0; i < n; ++i) sums[at(i)] += errors[at(i)];
    return sums;
  }

  /// How many columns are independent: R once more with column pivoting. Section 5.4.1.
  int rank() const {
    work_columns R(n, n);
    for (int j = 0; j < n; ++j) std::copy(W[j], W[j] + j + 1, R[j]);
    double first = 0.0;
    for (int k = 0; k < n; ++k) {
      int best = k;
      for (int j = k + 1; j < n; ++j)
        if (norm(R[j] + k, n - k) > norm(R[best] + k, n - k)) best = j;
      std::swap_ranges(R[k], R[k] + n, R[best]);
      const double now = norm(R[k] + k, n - k);
      if (k == 0) first = now;
      if (!(now > n * std::numeric_limits<double>::epsilon() * first)) return k;
      const double tau_k = make_reflection(R[k] + k, n - k);
      reflect(R[k], tau_k, R.pointers() + k + 1, n - k - 1, k, n);
    }
    return n;
  }
};

/// The reduced system with the right-hand sides that load() puts into it. If the first scaling leaves a high
/// condition and very small elements, the other one is tried, and the better is taken. Throws
/// rank_deficient if the condition is above a tenth of 1 / epsilon: matrices that are singular before
/// rounding reach a half.
template <real T, class Load>
square_system regular_system(const char *operation, table_view<T> A, int right_sides, Load load) {
  const auto reduced_by = [&](scaling by) {
    square_system system(A, right_sides, by);
    load(system);
    system.reduce();
    return system;
  };
  square_system system = reduced_by(scaling::by_greatest);
  double condition = system.scaled_condition();
  if (!(condition < 1e4) && system.wide_range) {
    square_system other = reduced_by(scaling::by_means);
    const double condition_of_other = other.scaled_condition();
    if (condition_of_other < condition) {
      system = std::move(other);
      condition = condition_of_other;
    }
  }
  if (!(condition * 10.0 * std::numeric_limits<double>::epsilon() < 1.0))
    system.throw_singular(operation);
  return system;
}

/// The determinant as fraction 2^exponent, 0.5 <= |fraction| < 1 or 0, which no product leaves.
struct scaled_determinant {
  double fraction = 1.0;
  int exponent = 0;

  void times(double factor) {
    int e_of_factor = 0, e = 0;
    fraction = std::frexp(fraction * std::frexp(factor, &e_of_factor), &e);
    exponent += e_of_factor + e;
  }

  template <real T>
  explicit scaled_determinant(table_view<T> A) {
    square_system system(A, 0);
    system.reduce();
    for (int k = 0; k < A.rows(); ++k) {
      times(system.reflected(k) ? -system.pivot(k) : system.pivot(k));
      times(1.0 / system.rows[at(k)]);
      times(1.0 / system.columns[at(k)]);
    }
  }
};

}  // namespace detail

/// X with A X = B. Throws rank_deficient where A is singular to working precision, whatever the units of
/// its rows and columns.
///
/// Householder's reduction of A, its rows and columns brought to comparable sizes, and corrections with
/// residuals of twice the precision: each solution is right to a few units in the last place of its greatest
/// element, in those sizes. Cost: 4 n^3 / 3 + 3 n^2 p operations, and 20 n^2 p for each correction: one up to
/// a condition of some 1e7, then two, at most six.
template <table A, table B>
requires detail::same_elements<A, B> column_table<detail::value_of<A>> solve(const A &a, const B &b) {
  using T = detail::value_of<A>;
  const table_view<T> F = detail::finite_square("solve", a), G = detail::finite("solve", "B", b);
  const int n = F.rows(), p = G.columns();
  detail::check_size("solve", "B", detail::at(G.rows()), "row", "A", detail::at(n), "row");
  std::vector<double> powers = detail::zeros(p);
  const auto load = [&](const detail::square_system &s, int k, double *column) {  // D B, scaled
    powers[detail::at(k)] = detail::load_scaled(G, k, nullptr, column);
    for (int i = 0; i < n; ++i) column[i] *= s.rows[detail::at(i)];
  };
  const auto system = detail::regular_system("solve", F, p, [&](const detail::square_system &s) {
    for (int k = 0; k < p; ++k) load(s, k, s.W[n + k]);
  });
  engine::M_invt(system.W.pointers(), system.W.pointers() + n, n, p);
  std::vector<double> right = detail::zeros(n);
  for (int k = 0; k < p; ++k) {
    load(system, k, right.data());
    system.refine(F, right.data(), system.W[n + k]);
  }
  column_table<T> X(n, p);
  for (int k = 0; k < p; ++k)
    for (int i = 0; i < n; ++i)
      X(i, k) =
          static_cast<T>(system.W[n + k][i] * system.columns[detail::at(i)] / powers[detail::at(k)]);
  return X;
}

/// x with A x = b.
template <table A>
std::vector<detail::value_of<A>> solve(const A &a, std::span<const detail::value_of<A>> b) {
  const auto F = a.view();
  return detail::only_column(solve(F, detail::finite_column("solve", "b", b, F.rows(), "row")));
}

/// A^-1, not corrected: its error grows with the condition of A. Throws rank_deficient as solve() does; to
/// solve a system, call that. Cost: 13 n^3 / 3 operations.
template <table A>
column_table<detail::value_of<A>> inverse(const A &a) {
  using T = detail::value_of<A>;
  const table_view<T> F = detail::finite_square("inverse", a);
  const int n = F.rows();
  const auto system = detail::regular_system("inverse", F, n, [n](detail::square_system &s) {
    for (int k = 0; k < n; ++k) s.W[n + k][k] = s.rows[detail::at(k)];
  });
  engine::M_invt(system.W.pointers(), system.W.pointers() + n, n, n);
  column_table<T> X(n, n);
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < n; ++i)
      X(i, k) = static_cast<T>(system.W[n + k][i] * system.columns[detail::at(i)]);
  return X;
}

/// The determinant, from the diagonal of R. It is infinite or 0 only if the value itself leaves the range of
/// double; log_determinant() has no such limit. A singular matrix may give a value of rounding, some n
/// epsilon times the product of the column norms. Cost: 4 n^3 / 3 operations.
template <table A>
double determinant(const A &a) {
  const detail::scaled_determinant d(detail::finite_square("determinant", a));
  return std::ldexp(d.fraction, d.exponent);
}

/// sign times e^log is the determinant: sign -1, 0 or 1, log minus infinity for 0.
struct log_of_determinant {
  int sign;
  double log;
};

/// The logarithm of the determinant's magnitude, and the sign, for determinants of any size.
template <table A>
log_of_determinant log_determinant(const A &a) {
  const detail::scaled_determinant d(detail::finite_square("log_determinant", a));
  return {(d.fraction > 0.0) - (d.fraction < 0.0),
          std::log(std::abs(d.fraction)) + d.exponent * std::log(2.0)};
}

/// An estimate of the condition number |A| |A^-1| in the 1-norm, the greatest sum of magnitudes of a column:
/// how much a relative error of the data may grow in a solution. Infinite if A is singular.
///
/// The estimate is never above the number, but for rounding, and rarely below half of it: see
/// docs/front.md for what was measured. Cost: 4 n^3 / 3 operations, and some 40 n^2.
template <table A>
double condition(const A &a) {
  detail::square_system system(detail::finite_square("condition", a), 0);
  system.reduce();
  return system.condition();
}

// -- any matrix ----------------------------------------------------------------------------------------

/// A = Q R.
template <real T>
struct qr_factors {
  column_table<T> Q;  ///< orthonormal columns, m by min(m, n)
  column_table<T> R;  ///< upper triangle, min(m, n) by n
};

/// Householder's decomposition, without pivoting: A = Q R for a matrix of any shape and rank. The signs on
/// the diagonal of R are as they come. Cost: 4 n^2 (m - n/3) operations for m >= n. Section 5.2.2.
template <table A>
qr_factors<detail::value_of<A>> qr(const A &a) {
  using T = detail::value_of<A>;
  const table_view<T> F = detail::finite("qr", "A", a);
  const int m = F.rows(), n = F.columns(), k = std::min(m, n);
  if (k == 0) throw bad_data("qr", "A has no element");
  detail::work_columns W(m, n), Q(m, k);
  std::vector<double> powers = detail::zeros(n), tau = detail::zeros(k);
  for (int j = 0; j < n; ++j) powers[detail::at(j)] = detail::load_scaled(F, j, nullptr, W[j]);
  detail::householder(W, n, tau.data());
  for (int l = k - 1; l >= 0; --l) {  // Q = H(0) ... H(k-1) [I; 0]
    Q[l][l] = 1.0;
    detail::reflect(W[l], tau[detail::at(l)], Q.pointers() + l, k - l, l, m);
  }
  qr_factors<T> result{column_table<T>(m, k), column_table<T>(k, n)};
  for (int j = 0; j < k; ++j)
    for (int i = 0; i < m; ++i) result.Q(i, j) = static_cast<T>(Q[j][i]);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= std::min(j, k - 1); ++i)
      result.R(i, j) = static_cast<T>(W[j][i] / powers[detail::at(j)]);
  return result;
}

// -- symmetric, positive definite ----------------------------------------------------------------------

namespace detail {

/// S for the engine's Cholesky operations: scaled by powers of two to a diagonal near 1, and bordered, so
/// that they take an order of 1 and find zeros in row 0, which M_chold divides by s(0,0) and not by its root:
///
///     [ 1    0   ]
///     [ 0  D S D ]
struct definite_system {
  int n;
  work_columns S, U;           ///< the matrix, and room for the factor
  std::vector<double> powers;  ///< the diagonal of D
  std::vector<double> norms;   ///< 1-norms of the leading blocks of D S D, of orders 1, 2, ...

  template <real T>
  definite_system(const char *operation, const triangle_table<T> &A)
      : n(A.order()), S(n + 1, n + 1), U(n + 1, n + 1), powers(zeros(n)), norms(zeros(n)) {
    if (n == 0) throw bad_data(operation, "S has no element");
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i)
        if (!is_finite(A(i, j))) throw_not_finite(operation, place("S", i, j), A(i, j));
    for (int j = 0; j < n; ++j)
      powers[at(j)] = power_to_one(std::sqrt(std::max(0.0, static_cast<double>(A(j, j)))));
    S[0][0] = 1.0;
    std::vector<double> sums = zeros(n);
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i <= j; ++i) {
        S[j + 1][i + 1] = powers[at(i)] * powers[at(j)] * static_cast<double>(A(i, j));
        sums[at(i)] += std::abs(S[j + 1][i + 1]);
        if (i < j) sums[at(j)] += std::abs(S[j + 1][i + 1]);
      }
      norms[at(j)] = *std::max_element(sums.begin(), sums.begin() + j + 1);
    }
  }

  /// Throws unless the engine has factored S and S is definite to working precision. The pivot is the
  /// first whose leading block is not.
  void check(const char *operation, int status) const {
    if (status == M_CHOL_NO_MEMORY) throw std::bad_alloc();
    const int complete = status > 0 ? status - 2 : n;  // pivots of S that are positive
    if (complete == n && sound(n)) return;
    int k = 0;
    while (k < complete && sound(k + 1)) ++k;
    throw not_positive_definite(
        operation,
        sentence("S is not positive definite to working precision: pivot ", k, " is not positive"), k,
        status);
  }

 private:
  /// Whether the condition of the leading block is below a tenth of 1 / epsilon. Blocks that are singular
  /// before rounding reach a half.
  bool sound(int order) const {
    std::vector<double *> columns;
    for (int j = 0; j < order; ++j) columns.push_back(U[j + 1] + 1);
    const auto apply_inverse = [&](std::vector<double> &x) {  // U^-1 U^-T x
      double *column = x.data();
      engine::M_invutm(columns.data(), &column, order, 1);
      engine::M_invt(columns.data(), &column, order, 1);
    };
    const double condition =
        norms[at(order - 1)] * estimate_norm_1(order, apply_inverse, apply_inverse);
    return condition * 10.0 * std::numeric_limits<double>::epsilon() < 1.0;
  }
};

}  // namespace detail

/// The Cholesky factor: the upper triangle U with S = U^T U and a positive diagonal. Throws
/// not_positive_definite where S is not, to working precision. Cost: n^3 / 3 operations. Section 4.2.
template <real T>
triangle_table<T> cholesky(const triangle_table<T> &S) {
  detail::definite_system system("cholesky", S);
  system.check("cholesky", engine::M_chol(system.S.pointers(), S.order() + 1, system.U.pointers()));
  triangle_table<T> U(S.order());
  for (int j = 0; j < S.order(); ++j)
    for (int i = 0; i <= j; ++i)
      U(i, j) = static_cast<T>(system.U[j + 1][i + 1] / system.powers[detail::at(j)]);
  return U;
}

/// The same for a symmetric matrix in full; throws bad_data if it is not symmetric.
template <table A>
triangle_table<detail::value_of<A>> cholesky(const A &a) {
  const auto F = detail::finite_square("cholesky", a);
  detail::check_symmetric("cholesky", "A", F);
  return cholesky(triangle_table<detail::value_of<A>>::from_upper(F));
}

/// X with S X = B for a symmetric, positive definite S. Throws as cholesky() does; a symmetric matrix that
/// is not definite is solved with S.full_symmetric(). Cost: n^3 / 3 + 2 n^2 p operations.
template <table B>
column_table<detail::value_of<B>> solve(const triangle_table<detail::value_of<B>> &S, const B &b) {
  using T = detail::value_of<B>;
  const table_view<T> G = detail::finite("solve", "B", b);
  const int n = S.order(), p = G.columns();
  detail::check_size("solve", "B", detail::at(G.rows()), "row", "S", detail::at(n), "row");
  detail::definite_system system("solve", S);
  detail::work_columns X(n + 1, p);
  std::vector<double> powers = detail::zeros(p);
  for (int k = 0; k < p; ++k) {
    powers[detail::at(k)] = detail::load_scaled(G, k, nullptr, X[k] + 1);
    for (int i = 0; i < n; ++i) X[k][i + 1] *= system.powers[detail::at(i)];
  }
  system.check("solve",
               engine::M_choleq(system.S.pointers(), X.pointers(), n + 1, p, system.U.pointers()));
  column_table<T> result(n, p);
  for (int k = 0; k < p; ++k)
    for (int i = 0; i < n; ++i)
      result(i, k) = static_cast<T>(X[k][i + 1] * system.powers[detail::at(i)] / powers[detail::at(k)]);
  return result;
}

/// x with S x = b.
template <real T>
std::vector<T> solve(const triangle_table<T> &S, std::type_identity_t<std::span<const T>> b) {
  detail::check_size("solve", "b", b.size(), "element", "S", detail::at(S.order()), "row");
  detail::check_finite("solve", "b", b);
  return detail::only_column(solve(S, table_view<T>::column_major(b.data(), S.order(), 1)));
}

/// S^-1, symmetric too. Throws as cholesky() does. Cost: n^3 operations.
template <real T>
triangle_table<T> inverse(const triangle_table<T> &S) {
  const int n = S.order();
  detail::definite_system system("inverse", S);
  system.check("inverse", engine::M_invs(system.S.pointers(), n + 1, system.U.pointers()));
  triangle_table<T> X(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i)
      X(i, j) = static_cast<T>(system.S[j + 1][i + 1] * system.powers[detail::at(i)] *
                               system.powers[detail::at(j)]);
  return X;
}

}  // namespace tabfit

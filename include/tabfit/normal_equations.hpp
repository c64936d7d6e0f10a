// tabfit/normal_equations.hpp - the triangle of a tall matrix by its normal equations; not for users.
//
// The triangle of A is the Cholesky factor of A'A. To form A'A takes half of the operations of Householder's
// reduction, all of them in one product of the engine, but R then has errors of some eps times the square
// of the condition of A. A solver that takes this R corrects what it finds: it forms b - A x and A'(b - A x)
// from A itself and solves R'R dx = A'(b - A x). A step leaves eps cond^2 of the error, and as long as that
// is far below 1 the result is as good as one from Householder's triangle.
//
// Method: corrected semi-normal equations, Bjorck, Linear Algebra and its Applications 88/89 (1987).
#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>
#include <span>
#include <vector>

#include "tabfit/matrix.h"
#include "tabfit/orthogonal.hpp"
#include "tabfit/table.hpp"

namespace tabfit::detail {

/// The columns of A as doubles: the caller's own where they are contiguous doubles, else a copy.
template <real T>
class double_columns {
 public:
  explicit double_columns(table_view<T> A) : rows_(A.rows()), pointers_(at(A.columns())) {
    const int n = A.columns();
    if constexpr (std::same_as<T, double>)
      if (A.row_stride() == 1) {  // the engine's tables are not const, but this one is only read
        for (int j = 0; j < n; ++j) pointers_[at(j)] = const_cast<double *>(A.column(j));
        return;
      }
    copy_.resize(at(rows_) * at(n));
    for (int j = 0; j < n; ++j) {
      pointers_[at(j)] = copy_.data() + at(0, j, rows_);
      for (int i = 0; i < rows_; ++i) pointers_[at(j)][i] = static_cast<double>(A(i, j));
    }
  }
  double_columns(const double_columns &) = delete;
  double_columns &operator=(const double_columns &) = delete;

  int rows() const { return rows_; }
  int columns() const { return static_cast<int>(pointers_.size()); }
  double *const *pointers() const { return pointers_.data(); }

 private:
  int rows_;
  std::vector<double> copy_;
  std::vector<double *> pointers_;
};

/// A triangle from normal equations is taken up to this condition, counted with columns scaled to one length
/// and with the norms of R and of its inverse. A correction then leaves 2e-10 of the error.
inline constexpr double normal_condition = 1e3;

/// min |A x - b| as min |R x - c| by normal equations: R'R = A'A, R'c = A'b. False, and r is of no use, if
/// the condition is above normal_condition by the pivots alone, or if squares come near the ends of the
/// range.
///
/// Cost: m n (n + 3) + n^3 / 3 operations.
template <real T>
bool reduce_by_normal_equations(const double_columns<T> &A, std::span<const double> b, reduced &r) {
  constexpr double least = 1e-200, greatest = 1e200,
                   least_pivot = 1 / (normal_condition * normal_condition);
  const int m = A.rows(), n = A.columns();
  const work_columns G(n, n);
  r = {n, n, std::vector<double>(at(n) * at(n)), zeros(n), 0.0};
  const double size_of_b = norm(b.data(), m);
  if (size_of_b != 0.0 && !(size_of_b > 1e-100 && size_of_b < 1e100)) return false;
  M_mtmsd(A.pointers(), m, n, G.pointers());
  M_mtvd(A.pointers(), b.data(), m, n, r.c.data());
  for (int j = 0; j < n; ++j) {
    double *const Rj = r.R.data() + at(0, j, n);
    for (int i = 0; i < j; ++i) {
      const double *const Ri = r.R.data() + at(0, i, n);
      Rj[i] = (G[j][i] - dot(Ri, Rj, i)) / Ri[i];
    }
    const double square = G[j][j], pivot = square - dot(Rj, Rj, j);
    if (!(square > least && square < greatest && pivot > least_pivot * square)) return false;
    Rj[j] = std::sqrt(pivot);
    r.c[at(j)] = (r.c[at(j)] - dot(Rj, r.c.data(), j)) / Rj[j];
  }
  const double size_of_c = norm(r.c.data(), n);
  r.rest = std::sqrt(std::max(size_of_b - size_of_c, 0.0)) * std::sqrt(size_of_b + size_of_c);
  return true;
}

}  // namespace tabfit::detail

// tabfit/passive_columns.hpp - orthogonal factors of some columns of a matrix, updated as columns enter
// and leave. What nonnegative() and bounded() stand on; not for users.
#pragma once

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

#include "tabfit/orthogonal.hpp"

namespace tabfit::detail {

/// The columns of a problem min |R y - c|, each at a place, and the first k of them, the passive ones,
/// reduced to a triangle T:
///
///                  k     n - k   1
///               +-----+-------+----+
///             k |  T  |   S   | c1 |      Q' (R P | c),  Q orthogonal, P the order of the columns
///               +-----+-------+----+
///      rows - k |  0  |   S'  | c2 |
///               +-----+-------+----+
///
/// A column enters by one reflection and leaves by rotations: about 4 (rows - k) (n - k) and at most
/// 6 k (n - k / 2) operations. Rows are contiguous, and both work on whole rows: the results of different
/// columns do not depend on each other and advance side by side.
///
/// Method: Lawson and Hanson, Solving Least Squares Problems, chapter 24; Golub and Van Loan, Matrix
/// Computations, section 6.5.
class passive_columns {
 public:
  explicit passive_columns(const reduced &R)
      : rows_(R.rows), n_(R.columns), W_(at(rows_ + 2) * at(n_ + 1)), order_(at(n_)) {
    for (int i = 0; i < rows_; ++i) {
      for (int j = i; j < n_; ++j) row(i)[j] = R(i, j);
      row(i)[n_] = R.c[at(i)];
    }
    std::iota(order_.begin(), order_.end(), 0);
  }

  /// Multiplies column j, at place j, by a power of two.
  void scale(int j, double power) {
    for (int i = 0; i <= std::min(j, rows_ - 1); ++i) row(i)[j] *= power;
  }

  int count() const { return k_; }
  int rows() const { return rows_; }
  int column(int place) const { return order_[at(place)]; }  ///< the one that stands there

  /// Of a column at a place from k on: the norm of its part in S', which no passive column reaches.
  double new_part(int place) const {
    double sum = 0;  // columns are of unit length
    for (int i = k_; i < rows_; ++i) sum += row(i)[place] * row(i)[place];
    return std::sqrt(sum);
  }

  /// The column at a place from k on becomes the last passive one.
  void enter(int place);

  /// The passive column at a place below k becomes the first of the others.
  void leave(int place) {
    for (int i = 0; i < k_; ++i) std::rotate(row(i) + place, row(i) + place + 1, row(i) + k_);
    std::rotate(order_.begin() + place, order_.begin() + place + 1, order_.begin() + k_);
    --k_;
    for (int i = place; i < k_; ++i) rotate(i);
  }

  /// right = (c1, c2) - (S, S') y, where y has the values of the columns from k on at their places.
  void right_side(const double *y, double *right) const {
    const bool zero = std::all_of(y + k_, y + n_, [](double v) { return v == 0; });
    for (int i = 0; i < rows_; ++i)
      right[i] = row(i)[n_] - (zero ? 0.0 : dot(row(i) + k_, y + k_, n_ - k_));
  }

  /// z = T^-1 right, the first k elements.
  void solve(const double *right, double *z) const {
    for (int i = k_ - 1; i >= 0; --i)
      z[i] = (right[i] - dot(row(i) + i + 1, z + i + 1, k_ - i - 1)) / row(i)[i];
  }

  /// z = T^-T z, the first k elements.
  void solve_transposed(double *z) const {
    for (int i = 0; i < k_; ++i) {
      z[i] /= row(i)[i];
      add_multiple(-z[i], row(i) + i + 1, z + i + 1, k_ - i - 1);
    }
  }

  /// w = S'^T right, at the places from k on.
  void correlations(const double *right, double *w) const {
    std::fill(w + k_, w + n_, 0.0);
    add_rows(k_, rows_, k_, n_, right, w);
  }

 private:
  double *row(int i) { return W_.data() + at(i) * at(n_ + 1); }
  const double *row(int i) const { return W_.data() + at(i) * at(n_ + 1); }

  /// sums[j] += sum over rows i of factor[i] W(i, j), first <= j < end. Four rows at a time: a sum is
  /// read and written once for them.
  void add_rows(int i, int last_row, int first, int end, const double *factor, double *sums) const {
    for (; i + 4 <= last_row; i += 4) {
      const double *w0 = row(i), *w1 = row(i + 1), *w2 = row(i + 2), *w3 = row(i + 3);
      const double f0 = factor[i], f1 = factor[i + 1], f2 = factor[i + 2], f3 = factor[i + 3];
      for (int j = first; j < end; ++j)
        sums[j] += (f0 * w0[j] + f1 * w1[j]) + (f2 * w2[j] + f3 * w3[j]);
    }
    for (; i < last_row; ++i) add_multiple(factor[i], row(i) + first, sums + first, end - first);
  }

  /// Givens' rotation of rows i and i + 1 that makes element (i + 1, i) zero.
  void rotate(int i) {
    double *upper = row(i), *lower = row(i + 1);
    const double length = std::sqrt(upper[i] * upper[i] + lower[i] * lower[i]);
    if (length == 0) return;
    const double c = upper[i] / length, s = lower[i] / length;
    for (int j = i; j <= n_; ++j) {
      const double u = upper[j], l = lower[j];
      upper[j] = c * u + s * l;
      lower[j] = c * l - s * u;
    }
    lower[i] = 0;
  }

  int rows_, n_, k_ = 0;
  std::vector<double> W_;   ///< rows_ rows of n_ + 1 elements, and two of scratch; rows_ <= n_
  std::vector<int> order_;  ///< the column at each place
};

// Householder's reflection of rows k..last maps the column to a multiple of e_k. Below `last` the column
// is zero: what enters in the order of a triangle needs no reflection.
inline void passive_columns::enter(int place) {
  const int k = k_++;
  for (int i = 0; i < rows_ && place > k; ++i) std::swap(row(i)[k], row(i)[place]);
  std::swap(order_[at(k)], order_[at(place)]);
  int last = rows_ - 1;
  while (last > k && row(last)[k] == 0) --last;
  if (last == k) return;

  double *const v = row(rows_), *const sums = row(rows_ + 1);
  for (int i = k; i <= last; ++i) v[i] = std::exchange(row(i)[k], 0.0);
  const double length = std::copysign(norm(v + k, last - k + 1), v[k]);
  row(k)[k] = -length;
  v[k] += length;  // v = column + length e_k, H = I - v v' / (length v_k)
  std::fill(sums + k + 1, sums + n_ + 1, 0.0);
  add_rows(k, last + 1, k + 1, n_ + 1, v, sums);
  for (int i = k; i <= last; ++i)
    add_multiple(-v[i] / (length * v[k]), sums + k + 1, row(i) + k + 1, n_ - k);
}

}  // namespace tabfit::detail

// tabfit/orthogonal.hpp - Householder reduction of a least-squares problem to a triangle.
//
// What all solvers of the front stand on: min |A x - b| becomes min |R x - c| with a triangle R, in
// double for both element types. Float data are widened first, so nothing is lost on the way.
//
// Methods: Golub and Van Loan, Matrix Computations, sections 5.1 and 5.2; blocks of reflections in the
// compact form I - V T V^T: Schreiber and Van Loan, SIAM J. Sci. Stat. Comput. 10 (1989).
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "tabfit/matrix.h"
#include "tabfit/table.hpp"

namespace tabfit::detail {

/// A count or an index as containers take it.
constexpr std::size_t at(int i) noexcept { return static_cast<std::size_t>(i); }
constexpr std::size_t at(int i, int j, int rows) noexcept { return at(j) * at(rows) + at(i); }

inline std::vector<double> zeros(int n) { return std::vector<double>(at(n)); }

/// Columns of doubles one after the other, and the pointers to them that the engine's calls take.
class work_columns {
 public:
  work_columns(int rows, int columns)
      : rows_(rows), data_(at(rows) * at(columns)), pointers_(at(columns)) {
    for (int j = 0; j < columns; ++j) pointers_[at(j)] = data_.data() + at(rows) * at(j);
  }
  work_columns(const work_columns &other) : work_columns(other.rows(), other.columns()) {
    for (int j = 0; j < columns(); ++j) std::copy(other[j], other[j] + rows_, pointers_[at(j)]);
  }
  work_columns(work_columns &&) = default;
  work_columns &operator=(work_columns &&) = default;

  int rows() const { return rows_; }
  int columns() const { return static_cast<int>(pointers_.size()); }
  double *operator[](int j) const { return pointers_[at(j)]; }
  double *const *pointers() const { return pointers_.data(); }

  /// Puts column j in place k <= j; columns k..j-1 move up, in order.
  void rotate(int k, int j) {
    std::rotate(pointers_.begin() + k, pointers_.begin() + j, pointers_.begin() + j + 1);
  }

 private:
  int rows_;
  std::vector<double> data_;
  std::vector<double *> pointers_;
};

/// The power of two that brings x to 0.5..1, as far as one factor can; 1 for 0. Where the result can be no
/// subnormal number it is made from the exponent of x.
inline double power_to_one(double x) {
  constexpr std::uint64_t fraction = 52, twice_bias = 2045;
  const std::uint64_t biased = std::bit_cast<std::uint64_t>(x) << 1 >> (fraction + 1);
  if (biased > 22 && biased < 2023) return std::bit_cast<double>((twice_bias - biased) << fraction);
  if (x == 0.0) return 1.0;
  int exponent = 0;
  std::frexp(x, &exponent);
  return std::ldexp(1.0, std::clamp(-exponent, -1000, 1000));
}

template <real T>
double greatest_magnitude(const T *x, int n) {
  double greatest[4] = {};
  int i = 0;
  for (; i + 4 <= n; i += 4)
    for (int l = 0; l < 4; ++l)
      greatest[l] = std::max(greatest[l], std::abs(static_cast<double>(x[i + l])));
  for (; i < n; ++i) greatest[0] = std::max(greatest[0], std::abs(static_cast<double>(x[i])));
  return std::max(std::max(greatest[0], greatest[1]), std::max(greatest[2], greatest[3]));
}

/// |x|. Eight sums side by side keep the processor busy and the rounding small.
inline double norm(const double *x, int n) {
  double sums[8] = {};
  int i = 0;
  for (; i + 8 <= n; i += 8)
    for (int l = 0; l < 8; ++l) sums[l] += x[i + l] * x[i + l];
  for (; i < n; ++i) sums[i % 8] += x[i] * x[i];
  const double sum =
      ((sums[0] + sums[1]) + (sums[2] + sums[3])) + ((sums[4] + sums[5]) + (sums[6] + sums[7]));
  if (sum > 1e-280 && sum < 1e300) return std::sqrt(sum);
  const double scale = power_to_one(greatest_magnitude(x, n));  // squares left the range
  double scaled = 0.0;
  for (i = 0; i < n; ++i) scaled += (scale * x[i]) * (scale * x[i]);
  return std::sqrt(scaled) / scale;
}

/// x'y.
template <real T>
double dot(const T *x, const double *y, int n) {
  double sums[8] = {};
  int i = 0;
  for (; i + 8 <= n; i += 8)
    for (int l = 0; l < 8; ++l) sums[l] += static_cast<double>(x[i + l]) * y[i + l];
  for (; i < n; ++i) sums[i % 8] += static_cast<double>(x[i]) * y[i];
  return ((sums[0] + sums[1]) + (sums[2] + sums[3])) + ((sums[4] + sums[5]) + (sums[6] + sums[7]));
}

/// y += a x. Four sums are formed before one is stored: x and y may be neighbours for all the compiler
/// knows, and only so it may use vectors.
template <real T>
void add_multiple(double a, const T *x, double *y, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    double sums[4];
    for (int l = 0; l < 4; ++l) sums[l] = y[i + l] + a * static_cast<double>(x[i + l]);
    for (int l = 0; l < 4; ++l) y[i + l] = sums[l];
  }
  for (; i < n; ++i) y[i] += a * static_cast<double>(x[i]);
}

/// y = a x; x may be y.
template <real T>
void set_multiple(double a, const T *x, double *y, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    double products[4];
    for (int l = 0; l < 4; ++l) products[l] = a * static_cast<double>(x[i + l]);
    for (int l = 0; l < 4; ++l) y[i + l] = products[l];
  }
  for (; i < n; ++i) y[i] = a * static_cast<double>(x[i]);
}

/// Makes the reflection H = I - tau v v' with v[0] = 1 that takes x to (beta, 0, ..., 0). Stores beta
/// in x[0] and the rest of v behind it; returns tau. Golub and Van Loan, algorithm 5.1.1; the norm is
/// formed from the elements as they are now.
inline double make_reflection(double *x, int n) {
  const double tail = n > 1 ? norm(x + 1, n - 1) : 0.0;
  if (!(tail > 1e-290)) return 0.0;  // H = I; a column is 1 at its greatest, so nothing is lost
  const double alpha = x[0];
  const double squares = alpha * alpha + tail * tail;
  const double size = squares > 1e-280 ? std::sqrt(squares) : std::hypot(alpha, tail);
  const double beta = -std::copysign(size, alpha);
  set_multiple(1.0 / (alpha - beta), x + 1, x + 1, n - 1);
  x[0] = beta;
  return (beta - alpha) / beta;
}

/// y := H y for one column: n elements of v and y, v[0] taken as 1.
inline void reflect_one(const double *v, double tau, double *y, int n) {
  const double t = -tau * (y[0] + dot(v + 1, y + 1, n - 1));
  y[0] += t;
  add_multiple(t, v + 1, y + 1, n - 1);
}

/// The same for four columns at once, which share every element of v that is read. Sums are formed
/// before one is stored, as in add_multiple.
inline void reflect_four(const double *v, double tau, double *a, double *b, double *c, double *d,
                         int n) {
  double sa[2] = {}, sb[2] = {}, sc[2] = {}, sd[2] = {};
  int i = 1;
  for (; i + 2 <= n; i += 2)
    for (int l = 0; l < 2; ++l) {
      const double u = v[i + l];
      sa[l] += u * a[i + l], sb[l] += u * b[i + l], sc[l] += u * c[i + l], sd[l] += u * d[i + l];
    }
  const double u = i < n ? v[i] : 0.0;  // the last element, if their number is even
  const int last = i < n ? i : 0;
  const double ta = -tau * (a[0] + (sa[0] + sa[1]) + u * a[last]);
  const double tb = -tau * (b[0] + (sb[0] + sb[1]) + u * b[last]);
  const double tc = -tau * (c[0] + (sc[0] + sc[1]) + u * c[last]);
  const double td = -tau * (d[0] + (sd[0] + sd[1]) + u * d[last]);
  a[0] += ta, b[0] += tb, c[0] += tc, d[0] += td;
  for (i = 1; i + 2 <= n; i += 2) {
    for (int l = 0; l < 2; ++l) {
      const double w = v[i + l];
      sa[l] = a[i + l] + ta * w, sb[l] = b[i + l] + tb * w, sc[l] = c[i + l] + tc * w,
      sd[l] = d[i + l] + td * w;
    }
    for (int l = 0; l < 2; ++l) a[i + l] = sa[l], b[i + l] = sb[l], c[i + l] = sc[l], d[i + l] = sd[l];
  }
  if (last) a[i] += ta * u, b[i] += tb * u, c[i] += tc * u, d[i] += td * u;
}

/// y := H y for any number of columns.
inline void reflect(const double *v, double tau, double *const *Y, int columns, int first, int m) {
  if (tau == 0.0) return;
  int j = 0;
  for (; j + 4 <= columns; j += 4)
    reflect_four(v + first, tau, Y[j] + first, Y[j + 1] + first, Y[j + 2] + first, Y[j + 3] + first,
                 m - first);
  for (; j < columns; ++j) reflect_one(v + first, tau, Y[j] + first, m - first);
}

/// Reduces columns first..end-1 of W, one after the other, and takes columns end..total-1 along.
inline void reduce_by_columns(double *const *W, int m, int first, int end, int total, double *tau) {
  for (int k = first; k < end; ++k) {
    tau[k] = make_reflection(W[k] + k, m - k);
    reflect(W[k], tau[k], W + k + 1, total - k - 1, k, m);
  }
}

/// A block of p reflections as one product: H(p-1) ... H(0) = I - V T' V', T an upper triangle.
/// The products with V, which take nearly all of the time, are the engine's.
class reflection_block {
 public:
  reflection_block(int rows, int width)
      : V_(rows, width),
        G_(width, width),
        T_(width, width),
        Y_(width, group),
        C_(rows, group),
        target_(group) {}

  /// Takes the reflections in columns first..first+p-1 of W. Column j of T is -tau T V'v with the V and
  /// the T of the columns before.
  void take(double *const *W, int m, int first, int p, const double *tau) {
    first_ = first, rows_ = m - first, width_ = p;
    for (int j = 0; j < p; ++j) {
      std::fill(V_[j], V_[j] + j, 0.0);
      V_[j][j] = 1.0;
      std::copy(W[first + j] + first + j + 1, W[first + j] + m, V_[j] + j + 1);
    }
    M_mtmd(V_.pointers(), V_.pointers(), rows_, p, p, G_.pointers());
    for (int j = 0; j < p; ++j) {
      for (int i = 0; i < j; ++i) {
        double sum = 0.0;
        for (int l = i; l < j; ++l) sum += T_[l][i] * G_[j][l];
        T_[j][i] = -tau[first + j] * sum;
      }
      T_[j][j] = tau[first + j];
    }
  }

  /// y := y - V T' V' y for all columns given, a group at a time so that a group stays in the cache.
  void apply(double *const *Y, int columns) {
    for (int done = 0; done < columns; done += group) {
      const int count = std::min<int>(group, columns - done);
      for (int j = 0; j < count; ++j) target_[at(j)] = Y[done + j] + first_;
      M_mtmd(V_.pointers(), target_.data(), rows_, width_, count, Y_.pointers());
      for (int j = 0; j < count; ++j)
        for (int i = width_ - 1; i >= 0; --i) {
          double sum = 0.0;
          for (int l = 0; l <= i; ++l) sum -= T_[i][l] * Y_[j][l];
          Y_[j][i] = sum;
        }
      M_mmd(V_.pointers(), Y_.pointers(), rows_, width_, count, C_.pointers());
      for (int j = 0; j < count; ++j) add_multiple(1.0, C_[j], target_[at(j)], rows_);
    }
  }

 private:
  static constexpr int group = 16;
  int first_ = 0, rows_ = 0, width_ = 0;
  work_columns V_, G_, T_, Y_, C_;
  std::vector<double *> target_;
};

/// Reduces the first n columns of W to a triangle and takes the other columns along: W = Q [R; 0]. The
/// elements of reflection k behind its 1 stay in column k below the diagonal, its tau in tau[k]; there
/// are min(m, n) of them. A small problem goes column by column, a larger one by blocks of reflections.
inline void householder(const work_columns &W, int n, double *tau) {
  const int m = W.rows(), total = W.columns(), steps = std::min(m, n);
  const int width = total < 50 ? 8 : 16;
  const bool small = total < 12 || static_cast<double>(m) * total < 2000;
  if (small) return reduce_by_columns(W.pointers(), m, 0, steps, total, tau);
  reflection_block block(m, width);
  for (int k = 0; k < steps; k += width) {
    const int end = std::min(k + width, steps);
    const bool last = total - end < 4;
    reduce_by_columns(W.pointers(), m, k, end, last ? total : end, tau);
    if (last) continue;
    block.take(W.pointers(), m, k, end - k, tau);
    block.apply(W.pointers() + end, total - end);
  }
}

/// y = column j of A, widened to double, times the power of two that brings its greatest magnitude to
/// 0.5..1. The square roots of the weights, if any, are multiplied in. Returns the factor to divide by.
template <real T>
double load_scaled(table_view<T> A, int j, const double *root_weights, double *y) {
  const int m = A.rows();
  const T *const x = A.column(j);
  double power = 1.0;
  if (A.row_stride() == 1) {
    power = power_to_one(greatest_magnitude(x, m));
    set_multiple(power, x, y, m);
  } else {
    for (int i = 0; i < m; ++i) y[i] = static_cast<double>(x[i * A.row_stride()]);
    power = power_to_one(greatest_magnitude(y, m));
    set_multiple(power, y, y, m);
  }
  if (!root_weights) return power;
  for (int i = 0; i < m; ++i) y[i] *= root_weights[i];
  const double again = power_to_one(greatest_magnitude(y, m));
  set_multiple(again, y, y, m);
  return power * again;
}

/// min |A x - b| as min |R x - c|.
struct reduced {
  int rows = 0, columns = 0;  ///< of R: rows = min(m, n)
  std::vector<double> R;      ///< column after column, zeros below the diagonal
  std::vector<double> c;      ///< Q'b, as far as x reaches it: rows elements
  double rest = 0.0;          ///< the norm of what of b no x reaches; 0 for m <= n

  double operator()(int i, int j) const { return R[at(i, j, rows)]; }
};

/// Householder's reduction of A, m by n, and b to a triangle. With weights w the squares of the
/// residuals are weighted, sum w_i r_i^2: row i is multiplied by the root of w_i.
///
/// Nothing is pivoted. Each norm is formed from the elements as they are at that step, so R is the
/// exact triangle of a matrix whose columns differ from those of A by a few units in the last place of
/// double. Columns are scaled by powers of two on the way, so that elements from 1e-300 to 1e300 do not
/// leave the range. Sizes and elements are not checked.
///
/// Cost: 2 n^2 (m - n/3) operations. Memory: a copy of A in double.
template <real T>
reduced reduce(table_view<T> A, std::span<const T> b, std::span<const T> weights = {}) {
  const int m = A.rows(), n = A.columns(), k = std::min(m, n);
  work_columns W(m, n + 1);
  std::vector<double> roots(weights.begin(), weights.end()), powers = zeros(n), tau = zeros(k);
  for (double &w : roots) w = std::sqrt(w);
  const double *const root_weights = roots.empty() ? nullptr : roots.data();
  for (int j = 0; j < n; ++j) powers[at(j)] = load_scaled(A, j, root_weights, W[j]);
  const double b_power =
      load_scaled(table_view<T>::column_major(b.data(), m, 1), 0, root_weights, W[n]);
  householder(W, n, tau.data());

  reduced result{k, n, std::vector<double>(at(k) * at(n)), zeros(k),
                 m > k ? norm(W[n] + k, m - k) / b_power : 0.0};
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= std::min(j, k - 1); ++i) result.R[at(i, j, k)] = W[j][i] / powers[at(j)];
  for (int i = 0; i < k; ++i) result.c[at(i)] = W[n][i] / b_power;
  return result;
}

}  // namespace tabfit::detail

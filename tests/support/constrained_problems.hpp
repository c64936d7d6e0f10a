// tests/support/constrained_problems.hpp - random least-squares problems with constraints, of many kinds.
//
// A problem follows from its kind and its seed alone, on every platform.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "tests/support/constrained_problem.hpp"
#include "tests/support/random.hpp"

namespace drawn {

/// How the matrix is made.
enum class Elements {
  normal,
  positive,         ///< uniform in 0..1
  integers,         ///< -3..3
  graded_rows,      ///< normal, rows scaled by 1e-8 to 1e8
  graded_columns,   ///< normal, columns scaled by 1e-8 to 1e8
  condition,        ///< singular values from 1 down to 1e-8 .. 1
  nearly_equal,     ///< half of the columns equal to another to 1e-3
  copied_columns,   ///< a third of the columns are copies of another
  zero_columns,     ///< a third of the columns are 0
  sums_of_columns,  ///< a third of the columns are sums of two others
  repeated_rows     ///< a third of the equations stand twice
};

enum class Shape {
  any,         ///< one of the next three
  tall,        ///< m = n..4n
  square,      ///< m = n
  wide,        ///< m = 1..n
  one_row,     ///< m = 1
  one_column,  ///< n = 1
};

/// Nearly normal, of variance 1, without a function that differs between mathematical libraries.
inline double normal(Random& random) {
  double sum = -6;
  for (int i = 0; i < 12; ++i) sum += random.real(0, 1);
  return sum;
}

/// A power of 10 between 1e-8 and 1e8.
inline double grade(Random& random) {
  double power = 1;
  for (int k = random.integer(-8, 8); k != 0; k += k < 0 ? 1 : -1) power *= k < 0 ? 0.1 : 10.0;
  return power;
}

/// Few unknowns mostly, sometimes many.
inline int unknowns(Random& random, int most = 12) {
  return random.chance(50) ? random.integer(most, 4 * most) : random.integer(1, most);
}

inline std::pair<int, int> draw_shape(Random& random, Shape shape) {
  const int n = shape == Shape::one_column ? 1 : unknowns(random);
  if (shape == Shape::any)
    shape = random.chance(3) ? Shape::wide : random.chance(4) ? Shape::square : Shape::tall;
  switch (shape) {
    case Shape::square:
      return {n, n};
    case Shape::wide:
      return {random.integer(1, n), n};
    case Shape::one_row:
      return {1, n};
    default:
      return {random.integer(n, 4 * n), n};
  }
}

using Matrix = Dense<double>;

/// Reflects the columns of M at a random plane.
inline void reflect_columns(Random& random, Matrix& M) {
  std::vector<double> v(static_cast<std::size_t>(M.rows));
  double squares = 0;
  for (double& e : v) {
    e = normal(random);
    squares += e * e;
  }
  for (int j = 0; j < M.columns; ++j) {
    double sum = 0;
    for (int i = 0; i < M.rows; ++i) sum += v[static_cast<std::size_t>(i)] * M(i, j);
    for (int i = 0; i < M.rows; ++i) M(i, j) -= 2 * sum / squares * v[static_cast<std::size_t>(i)];
  }
}

inline Matrix transposed(const Matrix& M) {
  Matrix T(M.columns, M.rows);
  for (int i = 0; i < M.rows; ++i)
    for (int j = 0; j < M.columns; ++j) T(j, i) = M(i, j);
  return T;
}

/// Singular values in equal ratios from 1 down to 1 / condition.
inline Matrix of_condition(Random& random, int m, int n, double condition) {
  Matrix M(m, n);
  const int k = std::min(m, n);
  for (int i = 0; i < k; ++i) M(i, i) = k == 1 ? 1 : std::pow(condition, -double(i) / (k - 1));
  for (int times = 0; times < 3; ++times) {
    reflect_columns(random, M);
    M = transposed(M);
    reflect_columns(random, M);
    M = transposed(M);
  }
  return M;
}

/// Replaces columns by copies, sums, zeros or near copies of the columns before them.
inline void make_dependent(Random& random, Elements kind, Matrix& M) {
  for (int j = 0; j < M.columns; ++j) {
    if (!random.chance(kind == Elements::nearly_equal ? 2 : 3)) continue;
    const int one = random.integer(0, std::max(j - 1, 0)),
              other = random.integer(0, std::max(j - 1, 0));
    for (int i = 0; i < M.rows; ++i) {
      if (kind == Elements::zero_columns) M(i, j) = 0;
      if (j == 0) continue;
      if (kind == Elements::copied_columns) M(i, j) = M(i, one);
      if (kind == Elements::sums_of_columns) M(i, j) = M(i, one) + M(i, other);
      if (kind == Elements::nearly_equal) M(i, j) = M(i, one) + 1e-3 * normal(random);
    }
  }
}

inline Matrix draw_matrix(Random& random, Elements kind, int m, int n) {
  if (kind == Elements::condition) return of_condition(random, m, n, std::pow(10, random.real(0, 8)));
  Matrix M(m, n);
  for (double& e : M.data)
    e = kind == Elements::positive   ? random.real(0, 1)
        : kind == Elements::integers ? random.integer(-3, 3)
                                     : normal(random);
  if (kind == Elements::graded_rows)
    for (int i = 0; i < m; ++i) {
      const double scale = grade(random);
      for (int j = 0; j < n; ++j) M(i, j) *= scale;
    }
  if (kind == Elements::graded_columns)
    for (int j = 0; j < n; ++j) {
      const double scale = grade(random);
      for (int i = 0; i < m; ++i) M(i, j) *= scale;
    }
  make_dependent(random, kind, M);
  return M;
}

template <class Real>
Dense<Real> stored(const Matrix& M) {
  Dense<Real> out(M.rows, M.columns);
  std::transform(M.data.begin(), M.data.end(), out.data.begin(),
                 [](double v) { return static_cast<Real>(v); });
  return out;
}

/// A x, of the elements as stored.
template <class Real>
std::vector<double> times(const Dense<Real>& M, const std::vector<double>& x) {
  std::vector<double> y(static_cast<std::size_t>(M.rows));
  for (int j = 0; j < M.columns; ++j)
    for (int i = 0; i < M.rows; ++i)
      y[static_cast<std::size_t>(i)] += double(M(i, j)) * x[static_cast<std::size_t>(j)];
  return y;
}

/// A and b. b is of the size of the rows, 1 in 10 times 0, and 1 in 5 times A times a point.
template <class Real>
ConstrainedProblem<Real> draw_system(Random& random, Elements kind, Shape shape) {
  const auto [m, n] = draw_shape(random, shape);
  ConstrainedProblem<Real> p;
  p.A = stored<Real>(draw_matrix(random, kind, m, n));
  p.b.resize(static_cast<std::size_t>(m));
  if (random.chance(10)) return p;
  std::vector<double> point(static_cast<std::size_t>(n));
  for (double& v : point) v = kind == Elements::integers ? random.integer(-2, 2) : random.real(-0.5, 1);
  const std::vector<double> reached = times(p.A, point);
  const bool in_range = random.chance(5);
  for (int i = 0; i < m; ++i) {
    double size = 0;  // of the row
    for (int j = 0; j < n; ++j) size = std::max(size, std::abs(double(p.A(i, j))));
    const double noise = kind == Elements::integers   ? random.integer(-3, 3)
                         : kind == Elements::positive ? random.real(0, 1)
                                                      : size * normal(random);
    const auto at = static_cast<std::size_t>(i);
    p.b[at] = static_cast<Real>(in_range ? reached[at] : noise);
  }
  if (kind != Elements::repeated_rows) return p;
  for (int i = 1; i < m; ++i)
    if (random.chance(3)) {
      const int other = random.integer(0, i - 1);
      for (int j = 0; j < n; ++j) p.A(i, j) = p.A(other, j);
      p.b[static_cast<std::size_t>(i)] = p.b[static_cast<std::size_t>(other)];
    }
  return p;
}

// -- bounds ------------------------------------------------------------------------------------------

enum class Box {
  zero,         ///< lo = 0
  around_zero,  ///< -1..0 to 0..1
  touching,     ///< the same, a third lo = hi, a third with a bound of 0
  infinite,     ///< half of the bounds infinite
  all_bind,     ///< narrow and far from any solution
  far,          ///< none binds
};

template <class Real>
void add_box(Random& random, Box kind, ConstrainedProblem<Real>& p) {
  constexpr Real infinity = std::numeric_limits<Real>::infinity();
  for (int j = 0; j < p.n(); ++j) {
    double lo = -random.real(0, 1), hi = random.real(0, 1);
    if (kind == Box::touching && random.chance(3)) lo = hi = random.integer(-1, 1);
    if (kind == Box::touching && random.chance(3)) (random.chance(2) ? lo : hi) = 0;
    if (kind == Box::touching && lo > hi) std::swap(lo, hi);
    if (kind == Box::all_bind) {
      lo = (random.chance(2) ? 1e3 : -1e3) + random.real(-1, 1);
      hi = lo + random.real(0, 1e-3);
    }
    if (kind == Box::far) {
      lo = -1e30;
      hi = 1e30;
    }
    if (kind == Box::zero) lo = 0;
    p.lo.push_back(kind == Box::infinite && random.chance(2) ? -infinity : static_cast<Real>(lo));
    if (kind == Box::zero) continue;
    const bool open = kind == Box::infinite && random.chance(2);
    p.hi.push_back(open ? infinity : std::max(static_cast<Real>(hi), p.lo.back()));
  }
}

// -- general constraints -----------------------------------------------------------------------------

enum class Constraints {
  met,         ///< a point meets them with room
  tight,       ///< a point meets them, a third without room
  repeated,    ///< met; rows stand twice, scaled by powers of 2, or are sums of two others
  vertex,      ///< integers; more than n hold with equality in one point
  equalities,  ///< integers; inequalities, and equations with repeated ones among them
  boxed,       ///< inequalities, equations and bounds around a point
  graded,      ///< met; rows and columns scaled by 1e-8 to 1e8
  cube,        ///< a cube of Klee and Minty
  convex,      ///< second differences >= 0, for data that bend the other way
  opposite,    ///< met, and one more that contradicts the first
  simplex,     ///< n + 1 that contradict each other, although no n of them do
  nearly,      ///< one more that contradicts the first, or just does not
  any,         ///< right sides at random
};

enum class Outcome { solution, contradiction, either };

inline Outcome outcome_of(Constraints kind) {
  if (kind == Constraints::opposite || kind == Constraints::simplex) return Outcome::contradiction;
  if (kind == Constraints::nearly || kind == Constraints::any) return Outcome::either;
  return Outcome::solution;
}

inline std::vector<double> draw_point(Random& random, int n, bool integers) {
  std::vector<double> point(static_cast<std::size_t>(n));
  for (double& v : point) v = integers ? random.integer(-2, 2) : random.real(-1, 1);
  return point;
}

/// The largest float below a value, so that a point still meets the constraint after its rounding.
template <class Real>
Real below(double v) {
  const Real rounded = static_cast<Real>(v);
  return rounded <= v ? rounded : std::nextafter(rounded, -std::numeric_limits<Real>::infinity());
}

/// x_i + 2 sum of 2^(i-j) x_j <= 5^(i+1), x >= 0; b lies far out along its objective.
template <class Real>
ConstrainedProblem<Real> draw_cube(Random& random) {
  const int n = random.integer(1, 8);
  ConstrainedProblem<Real> p;
  p.A = Dense<Real>(n, n);
  p.C = Dense<Real>(2 * n, n);
  double power = 5;
  for (int i = 0; i < n; ++i, power *= 5) {
    p.A(i, i) = 1;
    p.b.push_back(static_cast<Real>(std::ldexp(random.real(100, 1000), n - i)));
    for (int j = 0; j < i; ++j) p.C(i, j) = static_cast<Real>(-std::ldexp(2.0, i - j));
    p.C(i, i) = -1;
    p.C(n + i, i) = 1;
    p.d.push_back(static_cast<Real>(-power));
  }
  p.d.resize(static_cast<std::size_t>(2 * n));
  return p;
}

/// Ordinates at n knots, fitted to -t^2 with noise in broken lines.
template <class Real>
ConstrainedProblem<Real> draw_convex(Random& random) {
  const int n = random.integer(3, 27), m = n * random.integer(1, 4);
  ConstrainedProblem<Real> p;
  p.A = Dense<Real>(m, n);
  for (int i = 0; i < m; ++i) {
    const double t = random.real(0, n - 1), bend = 2 * t / (n - 1) - 1;
    const int knot = std::min(static_cast<int>(t), n - 2);
    p.A(i, knot) = static_cast<Real>(knot + 1 - t);
    p.A(i, knot + 1) = static_cast<Real>(t - knot);
    p.b.push_back(static_cast<Real>(0.01 * normal(random) - bend * bend));
  }
  p.C = Dense<Real>(n - 2, n);
  for (int i = 0; i < n - 2; ++i) {
    p.C(i, i) = p.C(i, i + 2) = 1;
    p.C(i, i + 1) = -2;
  }
  p.d.resize(static_cast<std::size_t>(n - 2));
  return p;
}

inline void repeat_rows(Random& random, Matrix& C, std::vector<double>& d) {
  for (int i = 1; i < C.rows; ++i) {
    if (!random.chance(2)) continue;
    const int one = random.integer(0, i - 1), other = random.integer(0, i - 1);
    const double scale = std::ldexp(1, random.integer(-3, 3));
    const bool sum = random.chance(2);
    for (int j = 0; j < C.columns; ++j) C(i, j) = sum ? C(one, j) + C(other, j) : scale * C(one, j);
    const auto at = [](int k) { return static_cast<std::size_t>(k); };
    d[at(i)] = sum ? d[at(one)] + d[at(other)] : scale * d[at(one)];
  }
}

/// Adds k inequalities that the point meets.
template <class Real>
void add_inequalities(Random& random, Constraints kind, const std::vector<double>& point, int k,
                      ConstrainedProblem<Real>& p) {
  const bool integers = kind == Constraints::vertex || kind == Constraints::equalities;
  Matrix C = draw_matrix(random, integers ? Elements::integers : Elements::normal, k, p.n());
  if (kind == Constraints::repeated)  // few digits, so that sums and multiples are exact
    for (double& c : C.data) c = std::round(64 * c) / 64;
  if (kind == Constraints::graded) {
    const Matrix scale = draw_matrix(random, Elements::graded_columns, k, p.n());
    C = random.chance(2) ? scale : draw_matrix(random, Elements::graded_rows, k, p.n());
  }
  std::vector<double> d = times(stored<Real>(C), point);
  for (double& v : d) {
    const bool room = kind == Constraints::tight ? !random.chance(3) : kind != Constraints::vertex;
    if (room) v -= integers ? random.integer(0, 2) : std::abs(v) * random.real(1e-3, 1);
    if (kind == Constraints::repeated) v = std::floor(64 * v) / 64;
    if (kind == Constraints::tight) v -= 1e-13;  // more than the roundings of the sum
  }
  if (kind == Constraints::any)
    for (double& v : d) v = random.real(-1, 1);
  if (kind == Constraints::repeated) repeat_rows(random, C, d);
  p.C = stored<Real>(C);
  for (const double v : d) p.d.push_back(below<Real>(v));
}

/// Adds equations that the point satisfies, in integers; some stand twice, in multiples.
template <class Real>
void add_equations(Random& random, const std::vector<double>& point, int k,
                   ConstrainedProblem<Real>& p) {
  Matrix E = draw_matrix(random, Elements::integers, k, p.n());
  std::vector<double> f = times(E, point);
  for (int i = 1; i < k; ++i) {
    if (!random.chance(3)) continue;
    const int other = random.integer(0, i - 1), factor = random.integer(-2, 2);
    for (int j = 0; j < p.n(); ++j) E(i, j) = factor * E(other, j);
    f[static_cast<std::size_t>(i)] = factor * f[static_cast<std::size_t>(other)];
  }
  p.E = stored<Real>(E);
  for (const double v : f) p.f.push_back(static_cast<Real>(v));
}

/// Appends the inequality c x >= right.
template <class Real>
void append(ConstrainedProblem<Real>& p, const std::vector<Real>& c, Real right) {
  Dense<Real> C(p.C.rows + 1, p.n());
  for (int j = 0; j < p.n(); ++j) {
    for (int i = 0; i < p.C.rows; ++i) C(i, j) = p.C(i, j);
    C(p.C.rows, j) = c[static_cast<std::size_t>(j)];
  }
  p.C = C;
  p.d.push_back(right);
}

/// One more inequality: the first turned round, with its right side beyond the first by a share of it.
template <class Real>
void contradict(Random& random, bool nearly, ConstrainedProblem<Real>& p) {
  std::vector<Real> c;
  double size = std::abs(double(p.d[0]));
  for (int j = 0; j < p.n(); ++j) {
    c.push_back(-p.C(0, j));
    size += std::abs(double(p.C(0, j)));
  }
  double share = random.real(0.1, 1);
  if (nearly)
    for (int k = random.integer(1, 17); k > 0; --k) share *= 0.1;
  if (nearly && random.chance(2)) share = -share;
  append(p, c, static_cast<Real>(share * size - double(p.d[0])));
}

/// n + 1 inequalities whose sum, with weights, is 0 >= more than 0.
template <class Real>
void add_simplex(Random& random, ConstrainedProblem<Real>& p) {
  const int n = p.n();
  std::vector<Real> last(static_cast<std::size_t>(n));
  double right = 1;
  p.C = Dense<Real>(n, n);
  for (int i = 0; i < n; ++i) {
    const int weight = random.integer(1, 4);
    for (int j = 0; j < n; ++j) {
      const int c = random.integer(-9, 9);
      p.C(i, j) = static_cast<Real>(c);
      last[static_cast<std::size_t>(j)] -= static_cast<Real>(weight * c);
    }
    const int d = random.integer(-9, 9);
    p.d.push_back(static_cast<Real>(d));
    right -= weight * d;
  }
  append(p, last, static_cast<Real>(right));
}

/// Constraints for the unknowns of p.
template <class Real>
void add_constraints(Random& random, Constraints kind, ConstrainedProblem<Real>& p) {
  const int n = p.n();
  const bool integers = kind == Constraints::vertex || kind == Constraints::equalities;
  const std::vector<double> point = draw_point(random, n, integers || kind == Constraints::boxed);
  if (kind == Constraints::simplex) return add_simplex(random, p);
  const int least = kind == Constraints::vertex ? n + 1 : 1;
  add_inequalities(random, kind, point, random.integer(least, std::max(least, 2 * n + 2)), p);
  if (kind == Constraints::opposite || kind == Constraints::nearly)
    contradict(random, kind == Constraints::nearly, p);
  if (kind == Constraints::equalities) add_equations(random, point, random.integer(1, n + 1), p);
  if (kind != Constraints::boxed) return;
  add_equations(random, point, random.integer(1, std::max(1, n / 2)), p);
  for (const double v : point) {
    p.lo.push_back(static_cast<Real>(v - random.integer(0, 2)));
    p.hi.push_back(static_cast<Real>(v + random.integer(0, 2)));
  }
}

/// Other units for the unknowns: column j of every matrix times a power of 2 between 2^-26 and 2^26, so
/// nothing is rounded.
template <class Real>
void change_units(Random& random, ConstrainedProblem<Real>& p) {
  for (int j = 0; j < p.n(); ++j) {
    const auto unit = static_cast<Real>(std::ldexp(1, random.integer(-26, 26)));
    for (Dense<Real>* M : {&p.A, &p.C, &p.E})
      for (int i = 0; i < M->rows; ++i) (*M)(i, j) *= unit;
    for (std::vector<Real>* bounds : {&p.lo, &p.hi})
      if (!bounds->empty()) (*bounds)[static_cast<std::size_t>(j)] /= unit;
  }
}

}  // namespace drawn

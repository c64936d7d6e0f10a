// tests/measured/solvers.cpp - the constrained solvers on random problems: how often calls return, with
// which statuses, and how accurate their results are; and what fits far from 0 refuse.
//
// Writes the tables of tests/measured/solvers.txt to the file named by its argument. The header and
// docs/deliberate.md quote them. Nothing is timed. A solver asks for memory at every pass. A call that
// makes `last_request` requests counts as one that does not return; the refusal of that request ends
// it. The text says how few requests the other calls make. All calls run in a child process.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/random.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"
#include "tests/support/watchdog.hpp"

namespace {

constexpr int last_request = 4000;

// -- counting ----------------------------------------------------------------------------------------

struct Tally {
  int calls = 0, endless = 0;
  int wrong = 0;  ///< status 0 with a wrong result; see the legend of the text
  int most_requests = 0;
  std::map<int, int> statuses;

  /// Runs call and counts it; gives its status, or 1000 if it does not return.
  template <class Call>
  int run(Call call) {
    ++calls;
    allocation_probe::begin(last_request);
    const int status = call();
    const Account account = allocation_probe::end();
    if (account.refused > 0) {
      ++endless;
      return 1000;
    }
    most_requests = std::max(most_requests, account.requests);
    ++statuses[status];
    return status;
  }
};

template <class... Values>
std::string text(const char* format, Values... values) {
  char line[200];
  std::snprintf(line, sizeof line, format, values...);
  return line;
}

std::string number(int n) {
  return n < 1000 ? std::to_string(n)
                  : std::to_string(n / 1000) + "," + std::to_string(n % 1000 + 1000).substr(1);
}

std::string of(int times, int calls) { return number(times) + " of " + number(calls); }

struct Row {
  const char *solver, *problems;
  Tally f, d;
};

// -- data --------------------------------------------------------------------------------------------

/// Nearly normal, of variance 1, without a function that differs between mathematical libraries.
double normal(Random& random) {
  double sum = -6;
  for (int i = 0; i < 12; ++i) sum += random.real(0, 1);
  return sum;
}

/// The first of m rows and n columns, all normal.
template <class Real>
Table<Real> normal_table(Random& random, int m, int n) {
  Table<Real> A(m, n);
  A.fill([&] { return static_cast<Real>(normal(random)); });
  return A;
}

/// Replaces half of the first n columns by another column plus noise of that size.
template <class Real>
void make_dependent(Random& random, Table<Real>& A, int m, int n, double noise) {
  for (int j = 1; j < n; ++j) {
    if (j > 1 && random.chance(2)) continue;
    const int other = random.integer(0, j - 1);
    for (int i = 0; i < m; ++i) A.at(i, j) = static_cast<Real>(A.at(i, other) + noise * normal(random));
  }
}

/// True if row x < right in some row, by more than a thousandth of the sum of the magnitudes.
template <class Real>
bool violated(Table<Real>& G, int rows, int n, const std::vector<Real>& x) {
  for (int i = 0; i < rows; ++i) {
    double sum = 0, size = std::abs(double(G.at(i, n)));
    for (int j = 0; j < n; ++j) {
      sum += double(G.at(i, j)) * double(x[j]);
      size += std::abs(double(G.at(i, j)) * double(x[j]));
    }
    if (G.at(i, n) - sum > 1e-3 * size) return true;
  }
  return false;
}

// -- non-negative, bounds ----------------------------------------------------------------------------

enum class Elements { normal, positive, integers, nearly_equal };
struct Shape {
  Elements elements;
  bool wide;                  ///< m = 1..n
  int least_rows, most_rows;  ///< or 0 for n and 2n
};

template <class Real>
Table<Real> nonnegative_problem(Random& random, const Shape& shape, int& m, int& n) {
  n = random.integer(3, 10);
  m = shape.wide              ? random.integer(1, n)
      : shape.least_rows == 0 ? random.integer(n, 2 * n)
                              : random.integer(shape.least_rows, shape.most_rows);
  Table<Real> A = normal_table<Real>(random, m, n + 1);
  if (shape.elements == Elements::positive)
    A.fill([&] { return static_cast<Real>(random.real(0, 1)); });
  if (shape.elements == Elements::integers)
    A.fill([&] { return static_cast<Real>(random.integer(-3, 3)); });
  if (shape.elements == Elements::nearly_equal) make_dependent(random, A, m, n, 1e-3);
  return A;
}

/// True if r is not right - A x, or its negative, to a thousandth of |b|.
template <class Real>
bool residual_of_another(Table<Real>& A, int m, int n, const std::vector<Real>& x,
                         const std::vector<Real>& r, double sign) {
  double off = 0, size = 0;
  for (int i = 0; i < m; ++i) {
    double rest = A.at(i, n);
    size += rest * rest;
    for (int j = 0; j < n; ++j) {
      rest -= double(A.at(i, j)) * double(x[j]);
      size += std::pow(double(A.at(i, j)) * double(x[j]), 2);
    }
    off += std::pow(rest - sign * double(r[i]), 2);
  }
  return off > 1e-6 * size;
}

enum class Bound { zero, lower, upper };

template <class Real>
Tally count_nonnegative(const Shape& shape, Bound bound, int calls) {
  Random random(1000 + static_cast<int>(shape.elements) + (shape.wide ? 10 : 0) + shape.least_rows);
  Tally tally;
  while (tally.calls < calls) {
    int m = 0, n = 0;
    auto A = nonnegative_problem<Real>(random, shape, m, n);
    Table<Real> B = A;
    const auto size = static_cast<std::size_t>(n);
    std::vector<Real> x0(size), x(size), r(static_cast<std::size_t>(std::max(m, n)));
    for (Real& v : x0) v = static_cast<Real>(random.real(-1, 1));
    Real rn;
    const int status = tally.run([&] {
      if (bound == Bound::zero) return Ls_cnn(B.slots(), m, n, x.data(), r.data(), &rn);
      return bound == Bound::lower ? Ls_cge(B.slots(), m, n, x0.data(), x.data(), r.data(), &rn)
                                   : Ls_cle(B.slots(), m, n, x0.data(), x.data(), r.data(), &rn);
    });
    tally.wrong +=
        status == 0 && residual_of_another(A, m, n, x, r, bound == Bound::upper ? -1.0 : 1.0);
  }
  return tally;
}

// -- least distance, general constraints -------------------------------------------------------------

enum class Constraints { met, opposite, simplex, any };

/// Constraints on n unknowns in a table for Ls_ldp; right sides last.
///   met       a point of -1..1 satisfies them
///   opposite  the same, and one more that contradicts the first
///   simplex   n + 1 that contradict each other, although no n of them do
///   any       right sides in -1..1
template <class Real>
Table<Real> constraints(Random& random, Constraints kind, int& rows, int n) {
  rows = kind == Constraints::simplex ? n + 1 : random.integer(1, 10);
  const int last = rows - 1, side = std::max(rows + 1, n + 1);
  Table<Real> G(side, side + 1);
  G.fill([] { return Real(0); });
  std::vector<double> point(static_cast<std::size_t>(n)), weight(static_cast<std::size_t>(rows), 1.0);
  for (double& v : point) v = random.real(-1, 1);
  for (double& v : weight) v = random.real(0.1, 1);
  double right = random.real(0.1, 1);  // of the last of a simplex: the weighted sum is positive
  for (int i = 0; i < rows; ++i) {
    double at_point = 0;
    for (int j = 0; j < n; ++j) {
      double sum = 0;
      for (int k = 0; k < last; ++k) sum -= weight[k] * double(G.at(k, j));
      G.at(i, j) = static_cast<Real>(kind == Constraints::simplex && i == last ? sum : normal(random));
      at_point += double(G.at(i, j)) * point[j];
    }
    G.at(i, n) = static_cast<Real>(at_point - random.real(0, 1));
    if (kind == Constraints::any) G.at(i, n) = static_cast<Real>(random.real(-1, 1));
    if (kind != Constraints::simplex) continue;
    if (i == last) G.at(i, n) = static_cast<Real>(right);
    right -= weight[i] * double(G.at(i, n));
  }
  if (kind != Constraints::opposite) return G;
  for (int j = 0; j < n; ++j) G.at(rows, j) = -G.at(0, j);
  G.at(rows, n) = static_cast<Real>(random.real(0.1, 1) - G.at(0, n));
  ++rows;
  return G;
}

template <class Real>
Tally count_least_distance(Constraints kind, int calls) {
  Random random(2000 + static_cast<int>(kind));
  Tally tally;
  while (tally.calls < calls) {
    const int n = random.integer(1, 6);
    int rows = 0;
    auto G = constraints<Real>(random, kind, rows, n), table = G;
    std::vector<Real> x(static_cast<std::size_t>(std::max(rows, n + 1)));
    const int status = tally.run([&] { return Ls_ldp(table.slots(), rows, n, x.data()); });
    tally.wrong += status == LS_LDP_OK && violated(G, rows, n, x);
  }
  return tally;
}

template <class Real>
Tally count_general(Constraints kind, double dependence, int calls) {
  Random random(3000 + static_cast<int>(kind) + (dependence > 0 ? 10 : 0));
  Tally tally;
  while (tally.calls < calls) {
    const int n = random.integer(1, 6), m = n + random.integer(0, 10);
    auto A = normal_table<Real>(random, m, n + 1);
    if (dependence > 0) make_dependent(random, A, m, n, dependence);
    int rows = 0;
    auto C = constraints<Real>(random, kind, rows, n);
    std::vector<Real> x(static_cast<std::size_t>(n));
    Real rn;
    const int status =
        tally.run([&] { return Ls_cgrn(A.slots(), m, n, C.slots(), rows, x.data(), &rn); });
    tally.wrong += status == LS_CGRN_OK && violated(C, rows, n, x);
  }
  return tally;
}

// -- interval bounds ---------------------------------------------------------------------------------

enum class Box { far, few, around_zero, touching, dependent };

template <class Real>
Tally count_interval(Box box, int calls) {
  Random random(4000 + static_cast<int>(box));
  Tally tally;
  while (tally.calls < calls) {
    const int n = random.integer(1, 8), m = n + random.integer(0, 10);
    auto A = normal_table<Real>(random, m, n + 1);
    if (box == Box::dependent) make_dependent(random, A, m, n, 1e-3);
    const auto size = static_cast<std::size_t>(n);
    std::vector<Real> lo(size), hi(size), x(size);
    for (int j = 0; j < n; ++j) {
      const double solution = random.real(-1, 1);
      lo[j] = static_cast<Real>(-random.real(0, 0.3));
      hi[j] = static_cast<Real>(random.real(0, 0.3));
      if (box == Box::touching && random.chance(3)) hi[j] = lo[j];
      if (box != Box::far && box != Box::few) continue;
      const double above = box == Box::far ? 10 : random.real(-0.1, 1);
      hi[j] = static_cast<Real>(solution + above);
      lo[j] = static_cast<Real>(solution + above - 2 * std::max(1.0, above));
      for (int i = 0; i < m; ++i) {  // b = A times the solution, and a tenth of noise
        const double before = j == 0 ? 0.1 * double(A.at(i, n)) : double(A.at(i, n));
        A.at(i, n) = static_cast<Real>(before + solution * double(A.at(i, j)));
      }
    }
    Real rn;
    const int status =
        tally.run([&] { return Ls_cint(A.slots(), m, n, lo.data(), hi.data(), x.data(), &rn); });
    bool outside = false;
    for (int j = 0; j < n; ++j)
      outside =
          outside || lo[j] - x[j] > 1e-3 * std::abs(lo[j]) || x[j] - hi[j] > 1e-3 * std::abs(hi[j]);
    tally.wrong += status == LS_CGRN_OK && outside;
  }
  return tally;
}

// -- shape-constrained spline ------------------------------------------------------------------------

inline int AX_splconv(int n, double g, int m, const float* x, const float* y, int k, const float* v,
                      float* s, float* s1, float* s2) {
  return AX_splconvf(n, g, m, x, y, k, v, s, s1, s2);
}
inline int AX_splconv(int n, double g, int m, const double* x, const double* y, int k, const double* v,
                      double* s, double* s1, double* s2) {
  return AX_splconvd(n, g, m, x, y, k, v, s, s1, s2);
}

struct Curve {
  double curve, noise;  ///< y = curve t^2 + noise * normal, t in -1..1
  bool scattered;       ///< abscissae at random, not evenly spaced
  int least_knots, most_knots;
};

template <class Real>
Tally count_convex(const Curve& curve, int calls) {
  Random random(5000 + curve.least_knots + (curve.scattered ? 100 : 0) +
                static_cast<int>(1000 * curve.noise));
  Tally tally;
  while (tally.calls < calls) {
    const int N = random.integer(curve.least_knots, curve.most_knots);
    const int m = random.integer(2 * (N + 4), 4 * (N + 4));
    std::vector<double> t;
    for (int i = 0; i < m; ++i)
      t.push_back(curve.scattered ? random.real(-1, 1) : -1 + 2.0 * i / (m - 1));
    std::sort(t.begin(), t.end());
    std::vector<Real> x, y, v, s(static_cast<std::size_t>(m + N + 4)), s2(static_cast<std::size_t>(m));
    for (const double at : t) {
      x.push_back(static_cast<Real>(at));
      y.push_back(static_cast<Real>(curve.curve * at * at + curve.noise * normal(random)));
    }
    for (int j = 0; j < N + 2; ++j)
      v.push_back(static_cast<Real>(t.front() + (t.back() - t.front()) * j / (N + 1)));
    v.back() = x.back();
    const int status = tally.run([&] {
      return AX_splconv(N, 0, m, x.data(), y.data(), N + 2, v.data(), s.data(), nullptr, s2.data());
    });
    const auto [least, greatest] = std::minmax_element(s2.begin(), s2.begin() + N + 2);
    tally.wrong += status == 0 && *least < -1e-3 * std::max(1.0, double(*greatest));
  }
  return tally;
}

// -- where feasible problems are refused -------------------------------------------------------------

/// The result of one unknown, A = (1), b = 0, held at or above lo; by Ls_cint or Ls_cgrn.
template <class Real>
int raised(bool general, double lo, Real& x) {
  Table<Real> A(1, 2), C(1, 2);
  A.at(0, 0) = C.at(0, 0) = 1;
  A.at(0, 1) = 0;
  C.at(0, 1) = static_cast<Real>(lo);
  const Real low = static_cast<Real>(lo), high = static_cast<Real>(2 * lo);
  Real rn;
  return Tally().run([&] {
    return general ? Ls_cgrn(A.slots(), 1, 1, C.slots(), 1, &x, &rn)
                   : Ls_cint(A.slots(), 1, 1, &low, &high, &x, &rn);
  });
}

/// The first of lo = 1, 1.001, 1.001^2, ... at which the call does not return 0, and its status.
template <class Real>
std::string first_refused(bool general) {
  for (double lo = 1; lo < 1e9; lo *= 1.001) {
    Real x;
    const int status = raised(general, lo, x);
    if (status != 0) return text("%.3g, status %d", lo, status);
  }
  return "never";
}

/// The first k at which ordinates times 10^k are refused: a concave parabola under f'' >= 0.
template <class Real>
std::string first_refused_power() {
  double scale = 1;
  for (int k = 0; k < 20; ++k, scale *= 10) {
    std::vector<Real> x, y, s(12);
    for (int i = 0; i < 12; ++i) {
      x.push_back(static_cast<Real>(i));
      y.push_back(static_cast<Real>(scale * (0.01 * i * (11 - i))));
    }
    const int status = Tally().run([&] {
      return AX_splconv(1, 0, 12, x.data(), y.data(), 1, x.data(), s.data(), nullptr, nullptr);
    });
    if (status != 0) return text("1e%d, status %d", k, status);
  }
  return "never";
}

// -- accuracy ----------------------------------------------------------------------------------------

/// One unknown, b = 0: lo <= x has the solution lo, and |y| is from size to 2 size.
template <class Real>
std::string accuracy(double size) {
  Random random(6000);
  double error = 0, scaled = 0, violation = 0;
  for (int times = 0; times < 300; ++times) {
    Table<Real> A(1, 2);
    A.at(0, 0) = static_cast<Real>(random.real(1, 2));
    A.at(0, 1) = 0;
    const double y = size * random.real(1, 2);
    const Real lo = static_cast<Real>(y / double(A.at(0, 0))), hi = 2 * lo;
    Real x, rn;
    if (Tally().run([&] { return Ls_cint(A.slots(), 1, 1, &lo, &hi, &x, &rn); }) != LS_CGRN_OK)
      continue;
    const double below = (double(lo) - double(x)) / double(lo);
    error = std::max(error, std::abs(below));
    violation = std::max(violation, below);
    scaled = std::max(scaled, std::abs(below) / (eps_of<Real> * (1 + y * y)));
  }
  return text("%.0e | %.1f | %.0e", error, scaled, violation);
}

// -- ranks -------------------------------------------------------------------------------------------

/// The number of 1,000 singular integer matrices of order 3 for which M_qrdeq returns 0.
template <class Real>
int singular_accepted() {
  Random random(7000);
  int accepted = 0;
  for (int found = 0; found < 1000;) {
    Table<Real> A(3, 4);
    A.fill([&] { return static_cast<Real>(random.integer(-5, 5)); });
    double determinant = 0, size = 0;
    for (int j = 0; j < 3; ++j) {
      const int k = (j + 1) % 3, l = (j + 2) % 3;
      determinant +=
          double(A.at(0, j)) * (double(A.at(1, k)) * A.at(2, l) - double(A.at(1, l)) * A.at(2, k));
      for (int i = 0; i < 3; ++i) size += std::abs(double(A.at(i, j)));
    }
    if (determinant != 0 || size == 0) continue;
    ++found;
    accepted += M_qrdeq(A.slots(), 3, 1) == 0;
  }
  return accepted;
}

/// The number of 400 least-squares problems, whose last column is a copy of another, for which Ls
/// returns 0.
template <class Real>
int copies_accepted() {
  Random random(8000);
  int accepted = 0;
  for (int times = 0; times < 400; ++times) {
    const int n = random.integer(2, 6), m = n + random.integer(2, 8);
    auto A = normal_table<Real>(random, m, n + 1);
    const int from = random.integer(0, n - 2);
    for (int i = 0; i < m; ++i) A.at(i, n - 1) = A.at(i, from);
    Real rn;
    accepted += Ls(A.slots(), m, n, &rn) == LS_OK;
  }
  return accepted;
}

// -- fits far from 0 ---------------------------------------------------------------------------------

/// Of 1,000 fits of 12 points, with the centre q half-widths from 0, how many refuse an end of their
/// own.
template <class Real>
std::string ends_refused(bool polynomial, double q) {
  Random random(9000);
  int refused = 0;
  Real** T = AX_d2fcs<Real>(2);
  for (int times = 0; times < 1000; ++times) {
    const double width = random.real(1, 10), centre = q * width;
    std::vector<double> t = {-1, random.real(0.9, 1.1)};
    while (t.size() < 12) t.push_back(random.real(-1, 0.9));
    std::sort(t.begin(), t.end());
    std::vector<Real> x, y, a(8);
    for (const double at : t) {
      x.push_back(static_cast<Real>(centre + at * width));
      y.push_back(static_cast<Real>(random.real(-1, 1)));
    }
    std::vector<Real> ends = {x.front(), x.back()}, s(2);
    if (polynomial) {
      if (AX_polapxcoef(3, 12, x.data(), y.data(), a.data()) != 0) continue;
      Real* const no = nullptr;
      refused += AX_polapxval(3, a.data(), 2, ends.data(), s.data(), no, no) != 0;
    } else {
      if (AX_apxcoef(T, 2, 12, x.data(), y.data(), a.data()) != 0) continue;
      double value;
      bool out = false;
      for (const Real end : ends)
        out = out || AX_apxval(T, 2, a.data(), end, &value, nullptr, nullptr) != 0;
      refused += out;
    }
  }
  AX_freed2fcs(T);
  return of(refused, 1000);
}

void write_far(std::FILE* out) {
  std::fprintf(out,
               "\nFits whose centre is q half-widths from 0 and that refuse an end of their own.\n\n");
  std::fprintf(out, "| q, f twin | spline | polynomial | q, d twin | spline | polynomial |\n");
  std::fprintf(out, "|---|---|---|---|---|---|\n");
  const double f[] = {100, 200, 400, 800, 1600, 3200}, d[] = {1e6, 1e7, 1e8, 1e10, 1e11, 1e12};
  for (int i = 0; i < 6; ++i)
    std::fprintf(out, "| %.0f | %s | %s | %.0e | %s | %s |\n", f[i],
                 ends_refused<float>(false, f[i]).c_str(), ends_refused<float>(true, f[i]).c_str(),
                 d[i], ends_refused<double>(false, d[i]).c_str(),
                 ends_refused<double>(true, d[i]).c_str());
}

// -- the text ----------------------------------------------------------------------------------------

template <class Count>
Row both(const char* solver, const char* problems, Count count) {
  return {solver, problems, count(0.0F), count(0.0)};
}

Row nonnegative(const char* solver, Bound bound, const char* problems, Shape shape, int f, int d) {
  return {solver, problems, count_nonnegative<float>(shape, bound, f),
          count_nonnegative<double>(shape, bound, d)};
}
Row least_distance(const char* problems, Constraints kind) {
  return both("Ls_ldp", problems,
              [=](auto real) { return count_least_distance<decltype(real)>(kind, 3000); });
}
Row interval(const char* problems, Box box) {
  return both("Ls_cint", problems,
              [=](auto real) { return count_interval<decltype(real)>(box, 3000); });
}
Row general(const char* problems, Constraints kind, double dependence) {
  return both("Ls_cgrn", problems,
              [=](auto real) { return count_general<decltype(real)>(kind, dependence, 3000); });
}
Row convex(const char* problems, Curve curve) {
  return both("AX_splconv", problems,
              [=](auto real) { return count_convex<decltype(real)>(curve, 1000); });
}

std::vector<Row> count_all() {
  using E = Elements;
  const Shape tall = {E::normal, false, 10, 40}, square = {E::normal, false, 0, 0};
  return {
      nonnegative("Ls_cnn", Bound::zero, "normal elements, m = 10..40", tall, 20000, 6000),
      nonnegative("Ls_cnn", Bound::zero, "normal elements, m = n..2n", square, 20000, 3000),
      nonnegative("Ls_cnn", Bound::zero, "normal elements, m = 1..n", {E::normal, true, 0, 0}, 20000,
                  3000),
      nonnegative("Ls_cnn", Bound::zero, "elements in 0..1, m = 10..40", {E::positive, false, 10, 40},
                  20000, 3000),
      nonnegative("Ls_cnn", Bound::zero, "elements in 0..1, m = n..2n", {E::positive, false, 0, 0},
                  20000, 3000),
      nonnegative("Ls_cnn", Bound::zero, "integers in -3..3, m = n..2n", {E::integers, false, 0, 0},
                  20000, 3000),
      nonnegative("Ls_cnn", Bound::zero, "columns equal to 1e-3, m = n..2n",
                  {E::nearly_equal, false, 0, 0}, 20000, 3000),
      nonnegative("Ls_cge", Bound::lower, "normal elements, m = n..2n", square, 3000, 3000),
      nonnegative("Ls_cle", Bound::upper, "normal elements, m = n..2n", square, 3000, 3000),
      least_distance("a point meets all constraints", Constraints::met),
      least_distance("two constraints contradict", Constraints::opposite),
      least_distance("n + 1 constraints contradict together", Constraints::simplex),
      interval("bounds far off", Box::far),
      interval("bounds bind a few", Box::few),
      interval("boxes around 0", Box::around_zero),
      interval("boxes around 0, a third lo = hi", Box::touching),
      interval("boxes around 0, columns equal to 1e-3", Box::dependent),
      general("a point meets all constraints", Constraints::met, 0),
      general("the same, columns equal to 1e-4", Constraints::met, 1e-4),
      general("right sides at random", Constraints::any, 0),
      convex("convex data, noise 0.001", {1, 0.001, false, 1, 8}),
      convex("convex data, noise 0.1", {1, 0.1, false, 1, 8}),
      convex("noise alone", {0, 1, false, 1, 8}),
      convex("concave data, noise 0.01", {-1, 0.01, false, 1, 8}),
      convex("convex, noise 0.1, points at random", {1, 0.1, true, 1, 8}),
      convex("convex, noise 0.1, 9..25 knots", {1, 0.1, false, 9, 25}),
      convex("the same, points at random", {1, 0.1, true, 9, 25}),
  };
}

void write_rates(std::FILE* out, const std::vector<Row>& rows) {
  std::fprintf(
      out, "%s",
      "Random problems; n = 3..10 for Ls_cnn, Ls_cge and Ls_cle, 1..6 for Ls_ldp and Ls_cgrn,\n"
      "1..8 for Ls_cint; 1 to 10 constraints; 1..8 knots and 2 to 4 points to an unknown for\n"
      "AX_splconv, with y = t^2 for t in -1..1 and normal noise.\n"
      "\"Does not return\": the call went on asking for memory. \"Wrong\": status 0, and r is not\n"
      "the residual of x (Ls_cnn, Ls_cge, Ls_cle), or x violates a constraint, by more than a\n"
      "thousandth of the terms.\n\n");
  std::fprintf(out, "| Solver | Problems | f does not return | f is wrong | d does not return |\n");
  std::fprintf(out, "|---|---|---|---|---|\n");
  int calls = 0, wrong = 0;
  for (const Row& row : rows) {
    std::fprintf(out, "| %s | %s | %s | %s | %s |\n", row.solver, row.problems,
                 of(row.f.endless, row.f.calls).c_str(), of(row.f.wrong, row.f.calls).c_str(),
                 of(row.d.endless, row.d.calls).c_str());
    calls += row.d.calls;
    wrong += row.d.wrong;
  }
  std::fprintf(out, "\nWrong in the d twins: %s.\n\n", of(wrong, calls).c_str());
}

void write_statuses(std::FILE* out, const std::vector<Row>& rows) {
  int most = 0;
  std::fprintf(out, "| Solver | Problems | Twin | Status: calls |\n|---|---|---|---|\n");
  for (const Row& row : rows)
    for (const Tally* tally : {&row.f, &row.d}) {
      std::string list;
      for (const auto& [status, times] : tally->statuses)
        list += (list.empty() ? "" : "; ") + std::to_string(status) + ": " + number(times);
      std::fprintf(out, "| %s | %s | %s | %s |\n", row.solver, row.problems,
                   tally == &row.f ? "f" : "d", list.c_str());
      most = std::max(most, tally->most_requests);
    }
  std::fprintf(out,
               "\nA call that returned made at most %d requests for memory; one that made %d was\n",
               most, last_request);
  std::fprintf(out, "stopped there.\n\n");
}

void write_limits(std::FILE* out) {
  std::fprintf(out, "Feasible problems: the first that is refused, in steps of 1.001 and of 10.\n\n");
  std::fprintf(out, "| Problem | f twin | d twin |\n|---|---|---|\n");
  for (const bool constraint : {false, true})
    std::fprintf(out, "| %s, A = (1), b = 0, x >= lo | %s | %s |\n", constraint ? "Ls_cgrn" : "Ls_cint",
                 first_refused<float>(constraint).c_str(), first_refused<double>(constraint).c_str());
  std::fprintf(out, "| AX_splconv, concave parabola of height 0.3 times a power of 10 | %s | %s |\n\n",
               first_refused_power<float>().c_str(), first_refused_power<double>().c_str());

  std::fprintf(
      out, "Ls_cint with one unknown, b = 0, solution x = lo: the greatest relative error of 300\n");
  std::fprintf(out,
               "problems, the same over eps (1 + |y|^2), and by how much of lo x is below lo.\n\n");
  std::fprintf(out, "| Norm of y | f error | scaled | f below | d error | scaled | d below |\n");
  std::fprintf(out, "|---|---|---|---|---|---|---|\n");
  for (const double size : {1.0, 10.0, 100.0, 350.0, 1000.0, 10000.0, 35000.0})
    std::fprintf(out, "| %.0f..%.0f | %s | %s |\n", size, 2 * size,
                 size < 700 ? accuracy<float>(size).c_str() : "refused | - | -",
                 accuracy<double>(size).c_str());
}

void write_ranks(std::FILE* out) {
  std::fprintf(out, "\n| Dependent columns that are accepted | f twin | d twin |\n|---|---|---|\n");
  std::fprintf(out, "| M_qrdeq, singular integer 3 by 3 matrices | %s | %s |\n",
               of(singular_accepted<float>(), 1000).c_str(),
               of(singular_accepted<double>(), 1000).c_str());
  std::fprintf(out, "| Ls, a column twice | %s | %s |\n", of(copies_accepted<float>(), 400).c_str(),
               of(copies_accepted<double>(), 400).c_str());
}

void write_text(const char* name) {
  std::FILE* out = std::fopen(name, "w");
  if (!out) {
    ADD_FAILURE() << "cannot write " << name;
    return;
  }
  std::fprintf(out, "Written by tests/measured/solvers.cpp.\n\n");
  const std::vector<Row> rows = count_all();
  write_rates(out, rows);
  write_statuses(out, rows);
  write_limits(out);
  write_ranks(out);
  write_far(out);
  std::fclose(out);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 2;
  return watch(300, std::size_t{4} << 30, [&] { write_text(arguments[1]); }) == Ended::returned ? 0 : 1;
}

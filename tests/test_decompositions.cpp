// tests/test_decompositions.cpp - QR, Gauss-Jordan and Cholesky: statuses and edges, cases by hand,
// steps written out and compared bit for bit, exact data, scaled residuals.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

// -- tables whose pointers move -------------------------------------------------------------------

/// A table as the definitions below write it: its columns, and where its pointers lead.
template <class Real>
struct Plain {
  std::vector<std::vector<Real>> block;
  std::vector<int> order;  ///< pointer j leads to block order[j]

  explicit Plain(Table<Real>& A) : block(A.columns()), order(A.columns()) {
    for (int j = 0; j < A.columns(); ++j) {
      order[j] = j;
      for (int i = 0; i < A.rows(j); ++i) block[j].push_back(A.at(i, j));
    }
  }
  Real& operator()(int i, int j) { return block[order[j]][i]; }
  const Real* column(int j, int first = 0) { return block[order[j]].data() + first; }
};

/// True if got is what want says: the same number, any NaN for a NaN, or untouched poison.
template <class Real>
bool same_element(Real got, Real want) {
  return same_bits(got, want) && Guarded<Real>::is_poison(got) == Guarded<Real>::is_poison(want);
}

/// True if the pointers and elements of A are those of want, and nothing outside was written. Restores
/// the pointers.
template <class Real>
testing::AssertionResult agree(Table<Real>& A, Plain<Real>& want) {
  for (int j = 0; j < A.columns(); ++j)
    if (A.slots()[j] != &A.at(0, want.order[j]))
      return testing::AssertionFailure()
             << "pointer " << j << " does not lead to the column that stood at " << want.order[j];
  for (int j = 0; j < A.columns(); ++j) A.slots()[j] = &A.at(0, j);
  if (!A.intact()) return testing::AssertionFailure() << "written outside";
  for (int j = 0; j < A.columns(); ++j)
    for (int i = 0; i < A.rows(j); ++i)
      if (!same_element(A.at(i, j), want.block[j][i]))
        return testing::AssertionFailure()
               << "row " << i << " of the column that stood at " << j << "\n    is "
               << shown(A.at(i, j)) << "\n  and should be " << shown(want.block[j][i]);
  return testing::AssertionSuccess();
}

/// rows by columns, filled row by row.
template <class Real>
Table<Real> table(int rows, int columns, const std::vector<double>& by_rows) {
  Table<Real> A(rows, columns);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) A.at(i, j) = static_cast<Real>(by_rows[i * columns + j]);
  return A;
}

/// A triangle table, filled column by column.
template <class Real>
Table<Real> triangle(int n, const std::vector<double>& by_columns) {
  Table<Real> S = Table<Real>::triangle(n);
  std::size_t next = 0;
  S.fill([&] { return static_cast<Real>(by_columns[next++]); });
  return S;
}

/// The elements as the pointers show them, row by row.
template <class Real>
std::vector<Real> seen(Table<Real>& A, int rows, int columns) {
  std::vector<Real> a;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) a.push_back(A.slots()[j][i]);
  return a;
}

std::vector<int> identity(int n) {
  std::vector<int> ip(n);
  std::iota(ip.begin(), ip.end(), 0);
  return ip;
}

std::vector<int> values(Guarded<int>& ip) { return {ip.span().begin(), ip.span().end()}; }

// -- the steps written out ------------------------------------------------------------------------

/// Sum of x[i] y[i], i ascending, each step rounded once.
template <class Real>
double plain_dot(const Real* x, const Real* y, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) sum = std::fma(double(x[i]), double(y[i]), sum);
  return sum;
}

/// The choice of V_iamax: a magnitude wins if it exceeds the element chosen last, with its sign.
template <class Real>
int plain_iamax(const Real* x, int n) {
  Real running = std::fabs(x[0]);
  int chosen = 0;
  for (int i = 0; i < n; ++i)
    if (std::fabs(x[i]) > running) {
      running = x[i];
      chosen = i;
    }
  return chosen;
}

template <class Real>
void swap_rows(Plain<Real>& A, int first, int end, int r1, int r2) {
  for (int j = first; j < end; ++j) std::swap(A(r1, j), A(r2, j));
}

enum class Norms { downdated, formed_anew };

template <class Real>
int plain_qrd(Plain<Real>& A, int m, int n, int k, int* ip, Norms norms = Norms::downdated) {
  if (m < 1 || n < 1) return -2;
  const double eps = tolerance_of<Real>;
  std::vector<double> h(n);
  for (int j = 0; j < n; ++j) ip[j] = j;
  const int p = std::min(m, n);
  double tol = 0;
  for (int l = 0; l < p; ++l) {
    for (int j = l; j < n; ++j)
      h[j] = l == 0 || norms == Norms::formed_anew
                 ? plain_dot(A.column(j, l), A.column(j, l), m - l)
                 : std::fma(-double(A(l - 1, j)), double(A(l - 1, j)), h[j]);
    int c = l;
    for (int j = l + 1; j < n; ++j)
      if (h[j] > h[c]) c = j;
    if (l == 0) {
      if (h[c] == 0) return -1;
      tol = static_cast<double>(static_cast<long double>(h[c]) * eps * eps);
    } else if (!(h[c] >= tol)) {
      return l;
    }
    if (c > l) {
      std::swap(A.order[l], A.order[c]);
      std::swap(h[l], h[c]);
      std::swap(ip[l], ip[c]);
    }
    const int r = l + plain_iamax(A.column(l, l), m - l);
    if (r > l) swap_rows(A, l, n + k, l, r);

    const double sigma = std::sqrt(h[l]), a = A(l, l), s = a > 0 ? sigma : -sigma;
    A(l, l) = static_cast<Real>(a + s);
    const auto beta = static_cast<double>(s * (static_cast<long double>(a) + s));
    for (int j = l < p - 1 ? l + 1 : n; j < n + k; ++j) {
      const double t = -plain_dot(A.column(l, l), A.column(j, l), m - l) / beta;
      for (int i = l; i < m; ++i)
        A(i, j) = static_cast<Real>(std::fma(t, double(A(i, l)), 1.0 * A(i, j)));
    }
    A(l, l) = static_cast<Real>(-s);
  }
  return 0;
}

/// b := U^-1 b for column k of B, from the last row to the first.
template <class Real>
void plain_back(Plain<Real>& U, Plain<Real>& B, int n, int k) {
  for (int i = n - 1; i >= 0; --i) {
    double rest = B(i, k);
    for (int l = i + 1; l < n; ++l) rest = std::fma(-double(U(i, l)), double(B(l, k)), rest);
    B(i, k) = static_cast<Real>(rest / U(i, i));
  }
}

template <class Real>
int plain_qrdeq(Plain<Real>& A, int n, int k) {
  std::vector<int> ip(std::max(n, 0));
  if (const int status = plain_qrd(A, n, n, k, ip.data())) return status;
  for (int j = n; j < n + k; ++j) {
    plain_back(A, A, n, j);
    std::vector<Real> x(n);
    for (int i = 0; i < n; ++i) x[ip[i]] = A(i, j);
    for (int i = 0; i < n; ++i) A(i, j) = x[i];
  }
  return 0;
}

template <class Real>
int plain_invGJ(Plain<Real>& A, int n, double& det) {
  if (n < 1) return -2;
  det = 1;
  std::vector<int> row(n), col(n);
  const auto negate_row = [&](int i) {
    for (int j = 0; j < n; ++j) A(i, j) = -A(i, j);
  };
  const auto negate_column = [&](int j) {
    for (int i = 0; i < n; ++i) A(i, j) = -A(i, j);
  };
  for (int k = 0; k < n; ++k) {
    Real best = 0;
    for (int j = k; j < n; ++j) {
      const int r = k + plain_iamax(A.column(j, k), n - k);
      if (std::fabs(A(r, j)) > std::fabs(best)) {
        row[k] = r;
        col[k] = j;
        best = A(r, j);
      }
    }
    if (best == 0) {
      det = 0;
      return k == 0 ? -1 : k;
    }
    if (row[k] != k) {
      negate_row(k);
      swap_rows(A, 0, n, k, row[k]);
    }
    if (col[k] != k) {
      negate_column(k);
      std::swap(A.order[k], A.order[col[k]]);
    }
    const double p = best;
    const auto multiplier = static_cast<Real>(1 / -p);
    for (int i = 0; i < n; ++i)
      if (i != k) A(i, k) = static_cast<Real>(double(multiplier) * double(A(i, k)));
    for (int i = 0; i < n; ++i)
      for (int l = 0; l < n; ++l)
        if (i != k && l != k)
          A(i, l) = static_cast<Real>(std::fma(double(A(i, k)), double(A(k, l)), double(A(i, l))));
    for (int l = 0; l < n; ++l)
      if (l != k) A(k, l) = static_cast<Real>(A(k, l) / p);
    det = det * p;
    A(k, k) = static_cast<Real>(1 / p);
  }
  for (int k = n - 2; k >= 0; --k) {
    if (row[k] != k) {
      std::swap(A.order[k], A.order[row[k]]);
      negate_column(k);
    }
    if (col[k] != k) {
      swap_rows(A, 0, n, k, col[k]);
      negate_row(k);
    }
  }
  return 0;
}

template <class Real>
int plain_chol(Plain<Real>& S, int n, Plain<Real>& U) {
  if (n < 2) return -1;
  const double d0 = S(0, 0);
  if (!(d0 > 0)) return 1;
  U(0, 0) = static_cast<Real>(std::sqrt(d0));
  const double first = sizeof(Real) == 4 ? double(U(0, 0)) : d0;
  for (int j = 1; j < n; ++j) U(0, j) = static_cast<Real>(S(0, j) / first);
  for (int i = 1; i < n; ++i)
    for (int j = i; j < n; ++j) {
      const double t = S(i, j) - plain_dot(U.column(i), U.column(j), i);
      if (j == i) {
        if (!(t > 0)) return i + 1;
        U(i, i) = static_cast<Real>(std::sqrt(t));
      } else {
        U(i, j) = static_cast<Real>(t / U(i, i));
      }
    }
  return 0;
}

template <class Real>
int plain_choleq(Plain<Real>& S, Plain<Real>& B, int n, int p, Plain<Real>& U) {
  if (const int status = plain_chol(S, n, U)) return status;
  for (int k = 0; k < p; ++k) {
    B(0, k) = static_cast<Real>(double(B(0, k)) / U(0, 0));
    for (int i = 1; i < n; ++i)
      B(i, k) = static_cast<Real>((B(i, k) - plain_dot(U.column(i), B.column(k), i)) / U(i, i));
    plain_back(U, B, n, k);
  }
  return 0;
}

/// X = U^-1 U^-T.
template <class Real>
int plain_cholinv(Plain<Real>& S, int n, Plain<Real>& U, Plain<Real>& X) {
  if (const int status = plain_chol(S, n, U)) return status;
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) X(i, j) = 0;
    X(j, j) = 1;
    for (int i = j; i >= 0; --i) {
      double rest = X(i, j);
      for (int l = i + 1; l <= j; ++l) rest = std::fma(-double(U(i, l)), double(X(l, j)), rest);
      X(i, j) = static_cast<Real>(rest / U(i, i));
    }
  }
  for (int i = 0; i < n; ++i) {
    std::vector<Real> row(n);
    for (int j = i; j < n; ++j) {
      double sum = 0;
      for (int l = j; l < n; ++l) sum = std::fma(double(X(i, l)), double(X(j, l)), sum);
      row[j] = static_cast<Real>(sum);
    }
    for (int j = i; j < n; ++j) X(i, j) = row[j];
  }
  return 0;
}

// -- random matrices of every kind ----------------------------------------------------------------

enum class Kind { random, graded, dependent, huge, tiny, integer, sparse, powers, planted };

constexpr Kind all_kinds[] = {Kind::random,  Kind::graded, Kind::dependent, Kind::huge,   Kind::tiny,
                              Kind::integer, Kind::sparse, Kind::powers,    Kind::planted};
const char* const kind_names[] = {"random",  "graded", "dependent", "huge",   "tiny",
                                  "integer", "sparse", "powers",    "planted"};
const char* name(Kind kind) { return kind_names[static_cast<int>(kind)]; }

/// Rows 0..m-1 of columns 0..n-1.
///   graded     rows and columns of falling magnitude
///   dependent  some columns are combinations of others, exactly or nearly
///   huge       the squares just fit
///   tiny       squares of doubles are denormal or zero; floats are denormal
///   integer    -2..2, with many ties
///   sparse     most elements are 0
///   powers     plus or minus a power of two
///   planted    some NaN and infinities
template <class Real>
void fill_matrix(Table<Real>& A, int m, int n, Kind kind, Random& random) {
  constexpr bool single = sizeof(Real) == 4;
  const auto sign = [&] { return random.chance(2) ? 1.0 : -1.0; };
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      double v = random.real(-1, 1);
      switch (kind) {
        case Kind::graded:
          v = std::ldexp(v, -2 * i - j % 7);
          break;
        case Kind::huge:
          v = std::ldexp(v, single ? 120 : 505);
          break;
        case Kind::tiny:
          v = std::ldexp(v, single ? -140 : -530);
          break;
        case Kind::integer:
          v = random.integer(-2, 2);
          break;
        case Kind::sparse:
          v = random.chance(3) ? random.integer(-2, 2) : 0 * sign();
          break;
        case Kind::powers:
          v = std::ldexp(sign(), random.integer(-2, 2));
          break;
        default:
          break;
      }
      A.at(i, j) = static_cast<Real>(v);
    }
  if (kind == Kind::dependent && n > 1) {
    const double noise = std::ldexp(1.0, -random.integer(10, 60));
    for (int times = random.integer(1, n - 1); times > 0; --times) {
      const int to = random.integer(0, n - 1), a = random.integer(0, n - 1),
                b = random.integer(0, n - 1);
      const int p = random.integer(-2, 2), q = random.integer(-2, 2);
      const bool exact = random.chance(2);
      if (to == a || to == b) continue;
      for (int i = 0; i < m; ++i)
        A.at(i, to) = static_cast<Real>(p * double(A.at(i, a)) + q * double(A.at(i, b)) +
                                        (exact ? 0.0 : noise * random.real(-1, 1)));
    }
  }
  if (kind == Kind::planted && m > 0 && n > 0) {
    const Real odd[] = {nan_of<Real>, inf_of<Real>, -inf_of<Real>, std::numeric_limits<Real>::max()};
    for (int times = random.integer(1, 3); times > 0; --times)
      A.at(random.integer(0, m - 1), random.integer(0, n - 1)) = odd[random.integer(0, 3)];
  }
}

struct Shape {
  int m, n;
};

/// Every m, n up to 9, and some around the widths of the blocks of columns and terms.
std::vector<Shape> shapes() {
  std::vector<Shape> all;
  for (int m = 0; m <= 9; ++m)
    for (int n = 0; n <= 9; ++n) all.push_back({m, n});
  for (const Shape s :
       {Shape{33, 20}, {70, 70}, {20, 47}, {140, 9}, {64, 3}, {65, 17}, {1, 40}, {40, 1}})
    all.push_back(s);
  return all;
}

std::vector<int> orders() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 33, 70}; }

// -- scaled residuals -----------------------------------------------------------------------------

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

std::string where(Kind kind, int m, int n) {
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

double delta(int i, int j) { return i == j ? 1.0 : 0.0; }

// == QR decomposition =============================================================================

TWIN_TEST(Qrd, RefusesBadSizesAndChangesNothing) {
  for (const int bad : {0, -1, INT_MIN})
    for (const Shape s : {Shape{bad, 2}, {2, bad}, {bad, bad}}) {
      Table<Real> A(3, 4);
      Guarded<int> ip(4);
      EXPECT_EQ(M_qrd(A.slots(), s.m, s.n, 1, ip.data()), M_QRD_BAD_SIZE) << s.m << ", " << s.n;
      EXPECT_TRUE(A.untouched());
      EXPECT_TRUE(ip.untouched_from(0) && ip.zones_intact());
    }
}

TWIN_TEST(Qrd, OfAZeroMatrixGivesMinusOneAndTheIdentityAndLeavesTheTable) {
  for (const Shape s : {Shape{1, 1}, {4, 3}, {3, 3}, {2, 5}}) {
    Table<Real> A(s.m, s.n + 2);
    A.number();
    for (int j = 0; j < s.n; ++j)
      for (int i = 0; i < s.m; ++i) A.at(i, j) = i % 2 ? Real(-0.0) : Real(0);
    Plain<Real> old(A);
    Guarded<int> ip(s.n);
    EXPECT_EQ(M_qrd(A.slots(), s.m, s.n, 2, ip.data()), M_QRD_ZERO);
    EXPECT_TRUE(agree(A, old));
    EXPECT_EQ(values(ip), identity(s.n));
    EXPECT_TRUE(ip.zones_intact());
  }
}

TEST(Qrd_d, TakesElementsWhoseSquaresUnderflowForZero) {
  auto A = table<double>(2, 2, {1e-170, 2e-165, -1e-200, 1e-163});
  int ip[2];
  EXPECT_EQ(M_qrdd(A.slots(), 2, 2, 0, ip), M_QRD_ZERO);
}

TEST(Qrd_f, SquaresOfTheLeastFloatsDoNotUnderflow) {
  const float least = std::numeric_limits<float>::denorm_min();
  Table<float> A(2, 2);
  A.at(0, 0) = A.at(1, 1) = 3 * least;
  A.at(1, 0) = A.at(0, 1) = 0;
  int ip[2];
  EXPECT_EQ(M_qrdf(A.slots(), 2, 2, 0, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), -3 * least);
}

// Here the square of the tolerance underflows to 0, and a norm of 0 is not below it.
TEST(Qrd_d, AcceptsAZeroNormWhenTheToleranceUnderflows) {
  auto A = table<double>(2, 3, {1e-155, 0, 1, 0, 0, 1});
  int ip[2];
  EXPECT_EQ(M_qrdd(A.slots(), 2, 2, 1, ip), M_QRD_OK);
  EXPECT_EQ(A.at(1, 1), 0.0);
  EXPECT_TRUE(std::isnan(A.at(1, 2)));
}

TWIN_TEST(Qrd, OfOneColumnIsOneReflection) {
  auto A = table<Real>(2, 2, {3, 1, 4, 2});
  int ip[1] = {-5};
  EXPECT_EQ(M_qrd(A.slots(), 2, 1, 1, ip), M_QRD_OK);
  EXPECT_EQ(ip[0], 0);
  EXPECT_EQ(A.at(0, 0), Real(-5));                  // rows exchanged: (4, 3), u = (9, 3), beta = 45
  EXPECT_EQ(A.at(1, 0), Real(3));                   // the tail of u
  EXPECT_NEAR(A.at(0, 1), -2.2, 4 * eps_of<Real>);  // b = (2, 1), t = -21/45
  EXPECT_NEAR(A.at(1, 1), -0.4, 4 * eps_of<Real>);
}

TWIN_TEST(Qrd, OfOneZeroColumnGivesMinusOne) {
  auto A = table<Real>(3, 2, {0, 1, 0, 2, 0, 3});
  int ip[1];
  EXPECT_EQ(M_qrd(A.slots(), 3, 1, 1, ip), M_QRD_ZERO);
  EXPECT_EQ(seen(A, 3, 2), (std::vector<Real>{0, 1, 0, 2, 0, 3}));
}

TWIN_TEST(Qrd, OfOneElementTurnsSigns) {
  for (const int a : {4, -4}) {
    auto A = table<Real>(1, 2, {double(a), 3});
    int ip[1];
    EXPECT_EQ(M_qrd(A.slots(), 1, 1, 1, ip), M_QRD_OK);
    EXPECT_EQ(seen(A, 1, 2), (std::vector<Real>{Real(-a), -3})) << a;
  }
}

TWIN_TEST(Qrd, PicksTheLowerOfColumnsWithEqualNorm) {
  auto A = table<Real>(3, 4, {1, 0, 0, 2, 0, 4, 0, 0, 0, 0, 4, 2});
  int ip[4];
  EXPECT_EQ(M_qrd(A.slots(), 3, 4, 0, ip), M_QRD_OK);
  EXPECT_EQ(ip[0], 1);  // columns 1 and 2 have norm 4
  EXPECT_EQ(A.slots()[0], &A.at(0, 1));
}

// Column 2 is column 0 plus column 1, and every step is exact.
TWIN_TEST(Qrd, StopsAtTheRankAndLeavesTheRestAsTheLastStepLeftIt) {
  auto A = table<Real>(3, 4, {8, -4, 4, 1, 0, 4, 4, 2, 0, 0, 0, 3});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(A.slots(), 3, 3, 1, ip.data()), 2);
  EXPECT_EQ(values(ip), identity(3));  // columns 1 and 2 are equal after step 0, and the first wins
  EXPECT_EQ(seen(A, 3, 4), (std::vector<Real>{-8, 4, -4, -1,  //
                                              0, -4, -4, -2,  //
                                              0, 0, 0, 3}));
}

TWIN_TEST(Qrd, MovesPointersAndPermutationWithTheColumns) {
  auto A = table<Real>(3, 4, {1, 0, 0, 1, 0, 0, 2, 2, 0, 4, 0, 3});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(A.slots(), 3, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), (std::vector<int>{1, 2, 0}));
  EXPECT_EQ(A.slots()[0], &A.at(0, 1));
  EXPECT_EQ(A.slots()[1], &A.at(0, 2));
  EXPECT_EQ(A.slots()[2], &A.at(0, 0));
  EXPECT_EQ(A.slots()[3], &A.at(0, 3));
}

TWIN_TEST(Qrd, GivesTheNumberOfNonzeroColumnsAsPseudoRank) {
  Random random(501);
  std::set<int> statuses;
  for (int m = 1; m <= 7; ++m)
    for (int n = 1; n <= 7; ++n)
      for (int rank = 1; rank <= n; ++rank) {
        Table<Real> A(m, n + 1);
        fill_matrix(A, m, n + 1, Kind::random, random);
        const std::vector<int> places = random_permutation(random, n);
        for (int z = rank; z < n; ++z)
          for (int i = 0; i < m; ++i) A.at(i, places[z]) = 0;
        std::vector<int> ip(n);
        const int status = M_qrd(A.slots(), m, n, 1, ip.data());
        EXPECT_EQ(status, rank < std::min(m, n) ? rank : 0) << m << " by " << n << " of rank " << rank;
        statuses.insert(status);
      }
  EXPECT_EQ(statuses, (std::set<int>{0, 1, 2, 3, 4, 5, 6}));
}

TWIN_TEST(Qrd, FindsSeveralMissingDirections) {
  // The pivots are 8 e0 and 4 e1; the others are combinations of e0 and e1, all steps exact.
  auto A = table<Real>(5, 6, {1, 0, 1,  8, -2, 1,  //
                              1, 4, -1, 0, 1,  0,  //
                              0, 0, 0,  0, 0,  0,  //
                              0, 0, 0,  0, 0,  0,  //
                              0, 0, 0,  0, 0,  0});
  int ip[6];
  EXPECT_EQ(M_qrd(A.slots(), 5, 6, 0, ip), 2);
  EXPECT_EQ(ip[0], 3);
  EXPECT_EQ(ip[1], 1);
}

TWIN_TEST(Qrd, StopsAtAColumnThatIsTooSmallForTheTwin) {
  const double below = tolerance_of<Real> * 0.9, above = tolerance_of<Real> * 1.1;
  int ip[2];
  auto A = table<Real>(2, 2, {1, 0, 0, below}), B = table<Real>(2, 2, {1, 0, 0, above});
  EXPECT_EQ(M_qrd(A.slots(), 2, 2, 0, ip), 1);
  EXPECT_EQ(M_qrd(B.slots(), 2, 2, 0, ip), M_QRD_OK);
}

// The squared tolerance has two values: rounded once, and rounded twice. The squared norm that is left
// equals the lower of them.
TWIN_TEST(Qrd, RoundsTheToleranceOnceAndAcceptsANormEqualToIt) {
  const double eps = tolerance_of<Real>;
  std::set<int> statuses;
  for (int a = 1; a <= 1000; ++a) {
    const double greatest = double(a) * a, twice = greatest * eps * eps;
    const auto once = static_cast<double>(static_cast<long double>(greatest) * eps * eps);
    if (once == twice) continue;
    const double least = std::min(once, twice);
    auto A = table<Real>(4, 2, {double(a), 0, 0, 0, 0, 0, 0, 0});
    double square = 0;
    for (int i = 1; i < 4; ++i) {  // each element takes as much as fits below what is left
      Real v = static_cast<Real>(std::sqrt(least - square));
      while (v > 0 && std::fma(double(v), double(v), square) > least) v = std::nextafter(v, Real(0));
      A.at(i, 1) = v;
      square = std::fma(double(v), double(v), square);
    }
    if (square != least) continue;
    int ip[2];
    const int status = M_qrd(A.slots(), 4, 2, 0, ip);
    EXPECT_EQ(status, least < once ? 1 : M_QRD_OK) << a;
    statuses.insert(status);
  }
  const bool wider = std::numeric_limits<long double>::digits > std::numeric_limits<double>::digits;
  EXPECT_EQ(statuses, wider ? (std::set<int>{0, 1}) : std::set<int>{});
}

// Downdated norms keep the noise of the first norm. Here both are 2^-26, although 1.1e-8 and 1.8e-8 are
// left of the columns.
TEST(Qrd_d, TakesTheDowndatedNormForTheColumnChoiceAndTheReflection) {
  const double e = 1.1e-8, f = 1.8e-8;
  auto A = table<double>(3, 3, {2, 1, 1, 0, e, 0, 0, 0, f});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrdd(A.slots(), 3, 3, 0, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), identity(3));
  EXPECT_EQ(A.at(1, 1), -0x1p-26);
  EXPECT_EQ(A.at(2, 2), -0x1p-26);
}

TWIN_TEST(Qrd, NeverFormsTheNormsAnew) {
  Random random(502);
  int told_apart = 0;
  for (int times = 0; times < 400; ++times) {
    const int m = random.integer(3, 8), n = random.integer(3, 8);
    Table<Real> A(m, n);
    fill_matrix(A, m, n, Kind::dependent, random);
    Plain<Real> downdated(A), anew(A);
    std::vector<int> ip(n), ip_downdated(n), ip_anew(n);
    const int status = M_qrd(A.slots(), m, n, 0, ip.data());
    EXPECT_EQ(status, plain_qrd(downdated, m, n, 0, ip_downdated.data()));
    EXPECT_EQ(ip, ip_downdated);
    const int other = plain_qrd(anew, m, n, 0, ip_anew.data(), Norms::formed_anew);
    told_apart += status != other || ip != ip_anew;
  }
  EXPECT_GT(told_apart, 40);
}

TWIN_TEST(Qrd, ChoosesTheRowWithTheRuleThatKeepsSigns) {
  auto A = table<Real>(3, 2, {1, 10, -5, 20, 2, 30});
  int ip[1];
  EXPECT_EQ(M_qrd(A.slots(), 3, 1, 0, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), static_cast<Real>(-std::sqrt(30.0)));  // from the 2, not from the -5
  EXPECT_EQ(A.at(1, 0), Real(-5));
  EXPECT_EQ(A.at(2, 0), Real(1));
  EXPECT_EQ(A.at(0, 1), Real(10));  // not a right-hand side: k is 0
}

TWIN_TEST(Qrd, ExchangesRowsInTheColumnsFromThePivotOn) {
  // Step 0 exchanges rows 0 and 2, with a zero diagonal element; step 1 exchanges rows 1 and 3.
  auto A = table<Real>(4, 3, {0, 0, 1, -4, 1, 2, 0, 0, 3, 0, 2, 4});
  int ip[2];
  EXPECT_EQ(M_qrd(A.slots(), 4, 2, 1, ip), M_QRD_OK);
  EXPECT_EQ(A.at(0, 0), Real(4));
  EXPECT_EQ(A.at(1, 0), Real(-4));  // the tail of the first reflection is not moved
  EXPECT_EQ(A.at(3, 0), Real(0));
  EXPECT_EQ(A.at(0, 1), Real(-1));
  EXPECT_EQ(A.at(1, 1), Real(-2));
  EXPECT_EQ(A.at(3, 1), Real(0));
  // b = (1, 2, 3, 4): (3, 2, 1, 4), reflected (-2, -3, 1, 4), (-2, 4, 1, -3), reflected
  EXPECT_EQ(std::vector<Real>(A.slots()[2], A.slots()[2] + 4), (std::vector<Real>{-2, -4, 1, -3}));
}

TWIN_TEST(Qrd, TransformsOnlyRightHandSidesInTheLastStep) {
  auto wide = table<Real>(1, 4, {1, -2, 4, 5});
  Guarded<int> ip(3);
  EXPECT_EQ(M_qrd(wide.slots(), 1, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(values(ip), (std::vector<int>{2, 1, 0}));
  EXPECT_EQ(seen(wide, 1, 4), (std::vector<Real>{-4, -2, 1, -5}));

  auto two = table<Real>(2, 4, {8, 0, 1, 1, 0, 4, 1, 1});
  EXPECT_EQ(M_qrd(two.slots(), 2, 3, 1, ip.data()), M_QRD_OK);
  EXPECT_EQ(seen(two, 2, 4), (std::vector<Real>{-8, 0, -1, -1, 0, -4, 1, -1}));
}

TWIN_TEST(Qrd, EndsAtANormThatIsNotANumber) {
  const double nan = nan_of<double>;
  int ip[3];
  auto first = table<Real>(3, 3, {nan, 0, 1, 1, 2, 1, 2, 3, 0});
  EXPECT_EQ(M_qrd(first.slots(), 3, 3, 0, ip), 1);  // the first norm is never beaten
  auto second = table<Real>(3, 3, {9, 0, 1, 0, nan, 1, 0, 3, 2});
  EXPECT_EQ(M_qrd(second.slots(), 3, 3, 0, ip), 1);
  EXPECT_EQ(seen(second, 1, 1), (std::vector<Real>{-9}));
  auto third = table<Real>(3, 3, {9, 0, 1, 0, 2, nan, 0, 3, 0});
  EXPECT_EQ(M_qrd(third.slots(), 3, 3, 0, ip), 2);  // NaN never wins
  auto one = table<Real>(1, 2, {nan, 1});
  EXPECT_EQ(M_qrd(one.slots(), 1, 2, 0, ip), M_QRD_OK);  // the first step is not tested
  const double inf = inf_of<double>;
  auto infinite = table<Real>(3, 3, {1, inf, 0, 1, 0, 1, 1, 1, 2});
  EXPECT_EQ(M_qrd(infinite.slots(), 3, 3, 0, ip), 1);
  EXPECT_EQ(ip[0], 1);
}

TWIN_TEST(Qrd, KeepsRightHandSidesApart) {
  Random random(503);
  Table<Real> A(6, 7);
  fill_matrix(A, 6, 7, Kind::random, random);
  Table<Real> B = A;
  B.at(2, 5) = nan_of<Real>;
  B.at(3, 4) = inf_of<Real>;
  int ip[4], ip_b[4];
  EXPECT_EQ(M_qrd(A.slots(), 6, 4, 3, ip), M_QRD_OK);
  EXPECT_EQ(M_qrd(B.slots(), 6, 4, 3, ip_b), M_QRD_OK);
  for (const int j : {0, 1, 2, 3, 6})
    for (int i = 0; i < 6; ++i) EXPECT_SAME(A.slots()[j][i], B.slots()[j][i]);
}

TWIN_TEST(Qrd, EqualsItsStepsWrittenOut) {
  Random random(504);
  std::set<int> statuses;
  for (const Shape s : shapes())
    for (const int k : {0, 1, 3})
      for (const Kind kind : all_kinds)
        for (int times = s.m <= 9 && s.n <= 9 ? 4 : 1; times > 0; --times) {
          Table<Real> A(s.m + random.integer(0, 1), s.n + k + 1, random.integer(0, 7));
          fill_matrix(A, s.m, s.n + k, kind, random);
          Plain<Real> want(A);
          Guarded<int> ip(s.n), ip_want(s.n);
          const int status = M_qrd(A.slots(), s.m, s.n, k, ip.data());
          ASSERT_EQ(status, plain_qrd(want, s.m, s.n, k, ip_want.data()))
              << where(kind, s.m, s.n) << ", " << k;
          ASSERT_EQ(values(ip), values(ip_want)) << where(kind, s.m, s.n) << ", " << k;
          ASSERT_TRUE(agree(A, want)) << where(kind, s.m, s.n) << ", " << k;
          ASSERT_TRUE(ip.zones_intact());
          statuses.insert(status);
        }
  for (int status = -2; status <= 7; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

/// Calls M_qrd on a matrix of the kind, in columns of odd alignment, and compares everything with its
/// steps.
template <class Real>
int check_qrd(Table<Real>& A, int m, int n, int k) {
  Plain<Real> want(A);
  Guarded<int> ip(n), ip_want(n);
  const int status = M_qrd(A.slots(), m, n, k, ip.data()),
            expected = plain_qrd(want, m, n, k, ip_want.data());
  SCOPED_TRACE(testing::Message() << m << " by " << n << " and " << k);
  EXPECT_EQ(status, expected);
  EXPECT_EQ(values(ip), values(ip_want));
  EXPECT_TRUE(agree(A, want));
  EXPECT_TRUE(ip.zones_intact());
  return status;
}
template <class Real>
int check_qrd(int m, int n, int k, Kind kind, Random& random) {
  SCOPED_TRACE(name(kind));
  Table<Real> A(m + random.integer(0, 1), n + k + 1, random.integer(0, 7));
  fill_matrix(A, m, n + k, kind, random);
  return check_qrd(A, m, n, k);
}

TWIN_TEST(Qrd, EqualsItsStepsWrittenOutForEveryOrderUpToSeventy) {
  Random random(518);
  for (int size = 10; size <= 70; ++size)
    for (int k = 0; k <= 3; ++k) {
      const Kind kind = all_kinds[(size + 2 * k) % 9];
      check_qrd<Real>(size, random.integer(1, size), k, kind, random);
      check_qrd<Real>(random.integer(1, size), size, k, kind, random);
      if (k == size % 4) check_qrd<Real>(size, size, k, Kind::random, random);
      if (testing::Test::HasFailure()) return;
    }
}

// Tables of 64 KiB and about: compact ones, and ones that need more scratch than elements. Larger
// tables are copied into a block.
TWIN_TEST(Qrd, EqualsItsStepsWrittenOutForLargeTables) {
  Random random(519);
  constexpr int most = 65536 / int{sizeof(Real)};
  const Shape small[] = {{most / 64, 63}, {most / 64 + 1, 63}, {64, most / 64 - 1}, {65, most / 64 - 1},
                         {most / 8, 7},   {most / 8 + 1, 7},   {1020, 7},           {1021, 7},
                         {most / 4, 3},   {most / 4 + 1, 3},   {most - 1, 1},       {2, most / 2}};
  for (const Shape s : small) {
    check_qrd<Real>(s.m, s.n, 1, Kind::random, random);
    if (testing::Test::HasFailure()) return;
  }
  // The last ones have few long columns and are worked in place.
  const Shape large[] = {{129, 33},  {33, 129},  {193, 41}, {301, 65},  {65, 301},
                         {70, 257},  {129, 129}, {257, 97}, {150, 150}, {20000, 3},
                         {1027, 25}, {1999, 50}, {5000, 9}};
  int turn = 0;
  for (const Shape s : large)
    for (const Kind kind : {Kind::random, all_kinds[turn % 9]}) {
      check_qrd<Real>(s.m, s.n, ++turn % 4, kind, random);
      if (testing::Test::HasFailure()) return;
    }
}

// The steps end at every place: for tables in the nearest cache, with scratch on the stack and in a
// block, and for few long columns.
TWIN_TEST(Qrd, EqualsItsStepsWrittenOutWhereverTheyEnd) {
  Random random(520);
  for (const Shape s : {Shape{13, 11}, {11, 29}, {40, 33}, {75, 70}, {70, 75}, {180, 120}, {700, 19}}) {
    std::set<int> statuses;
    const int p = std::min(s.m, s.n);
    for (int rank = 1; rank < p; rank += s.m < 50 ? 1 : std::max(1, p / 20))
      for (const bool ends_in_nan : {false, true}) {
        const int k = (rank + ends_in_nan) % 4;
        Table<Real> A(s.m, s.n + k, random.integer(0, 7));
        fill_matrix(A, s.m, s.n + k, Kind::random, random);
        const std::vector<int> places = random_permutation(random, s.n);
        for (int z = rank; z < s.n; ++z)
          for (int i = 0; i < s.m; ++i)
            A.at(i, places[z]) = ends_in_nan && i % 7 == 5 ? nan_of<Real> : Real(0);
        statuses.insert(check_qrd(A, s.m, s.n, k));
        if (testing::Test::HasFailure()) return;
      }
    EXPECT_GT(statuses.size(), s.m < 50 ? 9U : 5U);
  }
}

// -- QR: properties -------------------------------------------------------------------------------

constexpr Kind finite_kinds[] = {Kind::random,  Kind::graded, Kind::dependent, Kind::huge,
                                 Kind::integer, Kind::sparse, Kind::powers};

/// The square of the greatest diagonal element of R over the least. The latter is a norm downdated from
/// the greatest one, so its reflection carries the rounding of that norm, times this.
template <class Real>
double spread(Table<Real>& A, int p) {
  double least = inf_of<double>;
  for (int l = 0; l < p; ++l) least = std::min(least, std::fabs(double(A.slots()[l][l])));
  return std::pow(double(A.slots()[0][0]) / least, 2);
}

// R^T R = (A P)^T A P determines R without Q.
TWIN_TEST(Qrd, FactorHasTheProductsOfTheColumns) {
  Random random(505);
  Largest largest("|R'R - P'A'AP| / (|A|^2 eps n)");
  for (const Shape s : shapes())
    for (const Kind kind : finite_kinds) {
      if (s.m < 1 || s.n < 1) continue;
      Table<Real> A(s.m, s.n);
      fill_matrix(A, s.m, s.n, kind, random);
      Table<Real> old = A;
      std::vector<int> ip(s.n);
      if (M_qrd(A.slots(), s.m, s.n, 0, ip.data()) != M_QRD_OK) continue;
      const int p = std::min(s.m, s.n);
      const auto R = [&](int i, int j) -> long double {
        // the right columns of a wide matrix lack the last reflection, which changes signs
        return s.m < s.n && i == p - 1 && j >= p ? -A.slots()[j][i] : A.slots()[j][i];
      };
      long double sum = 0;
      const double scale = norm(old, s.m, 0, s.n);
      for (int a = 0; a < s.n; ++a)
        for (int b = a; b < s.n; ++b) {
          long double d = 0;
          for (int i = 0; i < s.m; ++i)
            d += static_cast<long double>(old.at(i, ip[a])) * old.at(i, ip[b]);
          for (int i = 0; i <= std::min(a, p - 1); ++i) d -= R(i, a) * R(i, b);
          sum += d * d;
        }
      largest.see(static_cast<double>(std::sqrt(sum) / scale / scale) / (eps_of<Real> * s.n),
                  where(kind, s.m, s.n));
    }
  // Roundings: of each stored element, of a squared norm and of its root. Measured, for one column:
  // 0.75 (f) and 1.8 (d).
  EXPECT_LT(largest.value(), 3);
}

/// Squared distance of b from the span of the columns of A, by projections in long double, twice.
template <class Real>
double squared_distance(Table<Real>& A, int m, int n, int b) {
  std::vector<std::vector<long double>> q;
  for (int c = 0; c <= n; ++c) {
    std::vector<long double> v(m);
    for (int i = 0; i < m; ++i) v[i] = A.at(i, c == n ? b : c);
    for (int twice = 0; twice < 2; ++twice)
      for (const auto& e : q) {
        const long double t = std::inner_product(v.begin(), v.end(), e.begin(), 0.0L);
        for (int i = 0; i < m; ++i) v[i] -= t * e[i];
      }
    const long double square = std::inner_product(v.begin(), v.end(), v.begin(), 0.0L);
    if (c == n) return static_cast<double>(square);
    for (auto& e : v) e /= std::sqrt(square);
    q.push_back(v);
  }
  return 0;
}

TWIN_TEST(Qrd, LeavesTheResidualOfTheLeastSquaresProblemBehindR) {
  auto mean = table<Real>(2, 2, {1, 1, 1, 3});  // the mean is 2, the residuals are 1
  int one[1];
  EXPECT_EQ(M_qrd(mean.slots(), 2, 1, 1, one), M_QRD_OK);
  EXPECT_NEAR(std::fabs(mean.at(1, 1)), std::sqrt(2.0), 4 * eps_of<Real>);

  Random random(506);
  Largest largest("difference of squared residuals / (|b|^2 eps m spread)");
  for (const Shape s : {Shape{2, 1}, {5, 3}, {9, 8}, {9, 2}, {33, 20}, {70, 69}, {140, 9}})
    for (const Kind kind : {Kind::random, Kind::graded, Kind::huge, Kind::integer, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(s.m, s.n + 2);
        fill_matrix(A, s.m, s.n + 2, kind, random);
        Table<Real> old = A;
        std::vector<int> ip(s.n);
        if (M_qrd(A.slots(), s.m, s.n, 2, ip.data()) != M_QRD_OK) continue;
        for (int b = s.n; b < s.n + 2; ++b) {
          double square = 0;
          for (int i = s.n; i < s.m; ++i) square += double(A.at(i, b)) * A.at(i, b);
          const double length = norm(old, s.m, b, b + 1);
          if (length == 0) continue;
          largest.see(std::fabs(square - squared_distance(old, s.m, s.n, b)) / (length * length) /
                          (eps_of<Real> * s.m * spread(A, s.n)),
                      where(kind, s.m, s.n));
        }
      }
  // A reflection whose norm was downdated is orthogonal up to eps spread. Measured: 0.43.
  EXPECT_LT(largest.value(), 1);
}

// == the square solve on it =======================================================================

TWIN_TEST(Qrdeq, RefusesBadSizesAndChangesNothing) {
  for (const int n : {0, -1, INT_MIN}) {
    Table<Real> A(3, 4);
    EXPECT_EQ(M_qrdeq(A.slots(), n, 1), M_QRDEQ_BAD_SIZE) << n;
    EXPECT_TRUE(A.untouched());
  }
}

TWIN_TEST(Qrdeq, SolvesOneEquation) {
  auto A = table<Real>(1, 3, {-4, 8, 2});
  EXPECT_EQ(M_qrdeq(A.slots(), 1, 2), M_QRDEQ_OK);
  EXPECT_EQ(A.at(0, 1), Real(-2));
  EXPECT_EQ(A.at(0, 2), Real(-0.5));
}

TWIN_TEST(Qrdeq, GivesTheUnknownsInTheirOwnOrder) {
  // A x = b for x = (1, 2, 3, 4); the pivots are 8, 4, 2, 1, in columns 2, 0, 3, 1.
  auto A = table<Real>(4, 6, {0, 0, 8, 0, 24, 1,  //
                              4, 0, 0, 0, 4,  1,  //
                              0, 0, 0, 2, 8,  1,  //
                              0, 1, 0, 0, 2,  1});
  EXPECT_EQ(M_qrdeq(A.slots(), 4, 2), M_QRDEQ_OK);
  EXPECT_EQ(std::vector<Real>(A.slots()[4], A.slots()[4] + 4), (std::vector<Real>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<Real>(A.slots()[5], A.slots()[5] + 4),
            (std::vector<Real>{0.25, 1, 0.125, 0.5}));
}

TWIN_TEST(Qrdeq, GivesThePseudoRankAndTransformedRightHandSidesOfASingularMatrix) {
  auto A = table<Real>(3, 4, {8, -4, 4, 1, 0, 4, 4, 2, 0, 0, 0, 3});
  EXPECT_EQ(M_qrdeq(A.slots(), 3, 1), 2);
  EXPECT_EQ(std::vector<Real>(A.slots()[3], A.slots()[3] + 3), (std::vector<Real>{-1, -2, 3}));
  auto zero = table<Real>(2, 3, {0, 0, 5, 0, 0, 6});
  EXPECT_EQ(M_qrdeq(zero.slots(), 2, 1), M_QRDEQ_ZERO);
  EXPECT_EQ(seen(zero, 2, 3), (std::vector<Real>{0, 0, 5, 0, 0, 6}));
  for (int n = 2; n <= 6; ++n)
    for (int rank = 1; rank < n; ++rank) {
      Table<Real> D(n, n + 1);
      D.fill([] { return Real(0); });
      for (int j = 0; j < rank; ++j) D.at(j, n - 1 - j) = static_cast<Real>(j + 1);
      EXPECT_EQ(M_qrdeq(D.slots(), n, 1), rank) << "of order " << n;
    }
}

TWIN_TEST(Qrdeq, EqualsItsStepsWrittenOut) {
  Random random(507);
  std::set<int> statuses;
  for (const int n : orders())
    for (const int k : {0, 1, 3})
      for (const Kind kind : all_kinds)
        for (int times = n <= 9 ? 6 : 1; times > 0; --times) {
          Table<Real> A(n + random.integer(0, 1), n + k + 1, random.integer(0, 7));
          fill_matrix(A, n, n + k, kind, random);
          Plain<Real> want(A);
          const int status = M_qrdeq(A.slots(), n, k);
          ASSERT_EQ(status, plain_qrdeq(want, n, k)) << where(kind, n, n) << ", " << k;
          ASSERT_TRUE(agree(A, want)) << where(kind, n, n) << ", " << k;
          statuses.insert(status);
        }
  for (int status = -2; status <= 5; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

TWIN_TEST(Qrdeq, EqualsItsStepsWrittenOutForEveryOrderUpToSeventyAndLargeOnes) {
  Random random(521);
  std::vector<int> orders = {97, 129, 193};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  for (const int n : orders) {
    const int k = n % 5;
    const Kind kind = n > 70 || n % 2 ? Kind::random : all_kinds[n / 2 % 9];
    Table<Real> A(n + random.integer(0, 1), n + k + 1, random.integer(0, 7));
    fill_matrix(A, n, n + k, kind, random);
    Plain<Real> want(A);
    ASSERT_EQ(M_qrdeq(A.slots(), n, k), plain_qrdeq(want, n, k)) << where(kind, n, n) << ", " << k;
    ASSERT_TRUE(agree(A, want)) << where(kind, n, n) << ", " << k;
  }
}

TWIN_TEST(Qrdeq, SolutionsHaveSmallResiduals) {
  Random random(508);
  Largest largest("|AX - B| / (|A| |X| eps n spread)");
  for (const int n : {1, 2, 3, 5, 9, 20, 33, 70})
    for (const Kind kind : {Kind::random, Kind::graded, Kind::huge, Kind::integer, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(n, n + 3);
        fill_matrix(A, n, n + 3, kind, random);
        Table<Real> old = A;
        if (M_qrdeq(A.slots(), n, 3) != M_QRDEQ_OK) continue;
        const double r =
            residual(old, A.slots() + n, n, 3, [&](int i, int k) { return old.at(i, n + k); });
        const double scale = norm(old, n, 0, n) * norm(A, n, n, n + 3) * eps_of<Real> * n;
        if (scale == 0) continue;
        largest.see(r / scale / spread(A, n), where(kind, n, n));
      }
  // As above: the solve is as good as the last reflection, not as the factor. Measured, for one
  // equation: 0.35 (f) and 1.5 (d).
  EXPECT_LT(largest.value(), 3);
}

// == Gauss-Jordan inverse and determinant =========================================================

template <class Real>
int inverse(Table<Real>& A, int n, double* det) {
  return releasing([&] { return M_invGJ(A.slots(), n, det); });
}

TWIN_TEST(InvGJ, RefusesBadSizesAndWritesNothing) {
  for (const int n : {0, -1, INT_MIN}) {
    Table<Real> A(2, 2);
    Guarded<double> det(1);
    EXPECT_EQ(M_invGJ(A.slots(), n, det.data()), M_INVGJ_BAD_SIZE) << n;
    EXPECT_TRUE(A.untouched());
    EXPECT_TRUE(det.untouched(0) && det.zones_intact());
  }
}

TWIN_TEST(InvGJ, InvertsOneElement) {
  auto A = table<Real>(1, 1, {4});
  Guarded<double> det(1);
  EXPECT_EQ(inverse(A, 1, det.data()), M_INVGJ_OK);
  EXPECT_EQ(A.at(0, 0), Real(0.25));
  EXPECT_EQ(det[0], 4.0);
  EXPECT_TRUE(det.zones_intact());
}

TWIN_TEST(InvGJ, GivesMinusOneForAMatrixOfZerosAndNaN) {
  for (const double v : {0.0, -0.0, nan_of<double>})
    for (int n = 1; n <= 4; ++n) {
      Table<Real> A(n, n);
      A.fill([&] { return static_cast<Real>(v); });
      Plain<Real> old(A);
      double det = 7;
      EXPECT_EQ(inverse(A, n, &det), M_INVGJ_ZERO) << v << ", " << n;
      EXPECT_EQ(det, 0.0);
      EXPECT_TRUE(agree(A, old));
    }
}

TWIN_TEST(InvGJ, NamesTheStepAtWhichNothingIsLeft) {
  auto two = table<Real>(2, 2, {1, 2, 2, 4});
  double det = 7;
  EXPECT_EQ(inverse(two, 2, &det), 1);
  EXPECT_EQ(det, 0.0);
  // pivot 4: row 0 negated, rows exchanged, column 0 negated, pointers exchanged, and one step done
  EXPECT_EQ(seen(two, 2, 2), (std::vector<Real>{0.25, -0.5, 0.5, 0}));
  EXPECT_EQ(two.slots()[0], &two.at(0, 1));

  for (int n = 2; n <= 8; ++n)
    for (int k = 1; k < n; ++k) {
      Table<Real> A(n, n);
      A.fill([] { return Real(0); });
      for (int i = 0; i < k; ++i) A.at((i + 1) % n, n - 1 - i) = static_cast<Real>(i + 1);
      det = 7;
      EXPECT_EQ(inverse(A, n, &det), k) << "of order " << n;
      EXPECT_EQ(det, 0.0);
    }
}

// The rule of the candidates passes from a negative element to the 0 behind it, and then finds no pivot
// although elements are left. A matrix with no pivot by this rule has a row of zeros all the same.
TWIN_TEST(InvGJ, TakesAMatrixForSingularWhenEveryCandidateIsZero) {
  auto A = table<Real>(3, 3, {0, 0, 0, -4, 0, 0, 0, 0, 0});
  Plain<Real> old(A);
  double det = 7;
  EXPECT_EQ(inverse(A, 3, &det), M_INVGJ_ZERO);
  EXPECT_EQ(det, 0.0);
  EXPECT_TRUE(agree(A, old));
  auto last = table<Real>(3, 3, {0, 0, 1, -4, 0, 0, 0, 1, 0});  // two rows end with 1: not singular
  EXPECT_EQ(inverse(last, 3, &det), M_INVGJ_OK);
  EXPECT_EQ(seen(last, 3, 3), (std::vector<Real>{0, -0.25, 0, 0, 0, 1, 1, 0, 0}));
  EXPECT_EQ(det, -4.0);
}

TWIN_TEST(InvGJ, TakesThePivotFromTheLowerOfColumnsWithEqualCandidates) {
  auto A = table<Real>(2, 2, {4, 4, 1, 2});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(A.slots()[0], &A.at(0, 0));  // pivot a(0,0): nothing was exchanged
  EXPECT_EQ(seen(A, 2, 2), (std::vector<Real>{0.5, -1, -0.25, 1}));
  EXPECT_EQ(det, 4.0);
}

TWIN_TEST(InvGJ, TakesThePivotWithItsSign) {
  auto A = table<Real>(2, 2, {-4, 2, 0, 1});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(seen(A, 2, 2), (std::vector<Real>{-0.25, 0.5, 0, 1}));
  EXPECT_EQ(det, -4.0);
}

// An element that is not the candidate of its column, or stands behind NaN, is not seen.
TWIN_TEST(InvGJ, SeesOneCandidateAColumn) {
  auto A = table<Real>(3, 3, {1, 0, 0, -5, 0, 0, 2, 0, 0});
  double det;
  EXPECT_EQ(inverse(A, 3, &det), 1);
  // pivot 2, not -5: row 0 negated, rows 0 and 2 exchanged
  EXPECT_EQ(std::vector<Real>(A.slots()[0], A.slots()[0] + 3), (std::vector<Real>{0.5, 2.5, 0.5}));

  auto B = table<Real>(2, 2, {nan_of<double>, 1, 9, 2});
  EXPECT_EQ(inverse(B, 2, &det), 1);  // pivot 2 in column 1, then only NaN is left
  EXPECT_EQ(det, 0.0);
}

TEST(InvGJ_f, RoundsTheMultiplierToSingle) {
  const float p = 6, a = 5;
  const float rounded = static_cast<float>(double(static_cast<float>(-1.0 / p)) * a);
  ASSERT_NE(rounded, static_cast<float>(-1.0 / p * a));
  auto A = table<float>(2, 2, {p, 0, a, 1});
  double det;
  EXPECT_EQ(inverse(A, 2, &det), M_INVGJ_OK);
  EXPECT_EQ(A.slots()[0][1], rounded);
}

TWIN_TEST(InvGJ, KeepsTheDeterminantInDouble) {
  const Real a = Real(3.1), b = Real(2.7), c = Real(1.3);
  auto A = table<Real>(3, 3, {b, 0, 0, 0, a, 0, 0, 0, c});
  double det;
  EXPECT_EQ(inverse(A, 3, &det), M_INVGJ_OK);
  EXPECT_EQ(det, double(a) * b * c);
}

TWIN_TEST(InvGJ, InvertsPermutationsExactlyWithDeterminantOneOrMinusOne) {
  Random random(509);
  const auto check = [](const std::vector<int>& p) {
    const int n = static_cast<int>(p.size());
    Table<Real> A(n, n);
    A.fill([] { return Real(0); });
    int inversions = 0;
    for (int j = 0; j < n; ++j) {
      A.at(p[j], j) = 1;
      for (int i = 0; i < j; ++i) inversions += p[i] > p[j];
    }
    double det;
    ASSERT_EQ(inverse(A, n, &det), M_INVGJ_OK);
    EXPECT_EQ(det, inversions % 2 ? -1.0 : 1.0) << testing::PrintToString(p);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_EQ(A.slots()[j][i], Real(p[i] == j)) << testing::PrintToString(p);
    std::vector<Real*> pointers(A.slots(), A.slots() + n);
    std::sort(pointers.begin(), pointers.end());
    EXPECT_EQ(std::unique(pointers.begin(), pointers.end()), pointers.end());
  };
  for (int n = 1; n <= 6; ++n) {
    std::vector<int> p = identity(n);
    do check(p);
    while (std::next_permutation(p.begin(), p.end()));
  }
  for (int n = 7; n <= 40; n += 3) check(random_permutation(random, n));
}

TWIN_TEST(InvGJ, EqualsItsStepsWrittenOut) {
  Random random(510);
  std::set<int> statuses;
  for (const int n : orders())
    for (const Kind kind : all_kinds)
      for (int times = n <= 9 ? 12 : 1; times > 0; --times) {
        Table<Real> A(n + random.integer(0, 1), n + 1, random.integer(0, 7));
        fill_matrix(A, n, n, kind, random);
        if (n > 2 && random.chance(4))  // a column of zeros
          for (int i = 0; i < n; ++i) A.at(i, n / 2) = 0;
        Plain<Real> want(A);
        double det = 7, det_want = 7;
        const int status = inverse(A, n, &det);
        ASSERT_EQ(status, plain_invGJ(want, n, det_want)) << where(kind, n, n);
        ASSERT_SAME(det, det_want) << where(kind, n, n);
        ASSERT_TRUE(agree(A, want)) << where(kind, n, n);
        statuses.insert(status);
      }
  for (int status = -2; status <= 7; ++status) EXPECT_TRUE(statuses.count(status)) << status;
}

TWIN_TEST(InvGJ, EqualsItsStepsWrittenOutForEveryOrderUpToSeventyAndLargeOnes) {
  Random random(522);
  std::vector<int> orders = {97, 129, 193};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  for (const int n : orders)
    for (int times = 0; times < (n > 70 ? 1 : 2); ++times) {
      const Kind kind = n > 70 || times == 1 ? Kind::random : all_kinds[n % 9];
      Table<Real> A(n + random.integer(0, 1), n + 1, random.integer(0, 7));
      fill_matrix(A, n, n, kind, random);
      if (times == 0 && n % 3 == 0)  // long runs of negative candidates
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < n; ++i) A.at(i, j) = -std::fabs(A.at(i, j));
      Plain<Real> want(A);
      double det = 7, det_want = 7;
      const int status = inverse(A, n, &det);
      ASSERT_EQ(status, plain_invGJ(want, n, det_want)) << where(kind, n, n);
      ASSERT_SAME(det, det_want) << where(kind, n, n);
      ASSERT_TRUE(agree(A, want)) << where(kind, n, n);
    }
}

TWIN_TEST(InvGJ, InversesHaveSmallResiduals) {
  Random random(511);
  Largest largest("|AX - I| / (|A| |X| eps n)");
  for (const int n : {1, 2, 3, 5, 9, 20, 33, 70})
    for (const Kind kind :
         {Kind::random, Kind::graded, Kind::dependent, Kind::integer, Kind::sparse, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> A(n, n);
        fill_matrix(A, n, n, kind, random);
        if (kind == Kind::graded && n > 20) continue;  // the rows fall below the least element
        Table<Real> old = A;
        double det;
        if (inverse(A, n, &det) != M_INVGJ_OK) continue;
        const double r = residual(old, A.slots(), n, n, delta);
        largest.see(r / (norm(old, n, 0, n) * norm(A, n, 0, n) * eps_of<Real> * n), where(kind, n, n));
      }
  // With full pivoting the elements hardly grow. Measured: 0.38 (f) and 0.46 (d).
  EXPECT_LT(largest.value(), 1);
}

/// Determinant of an integer matrix by elimination without fractions: every division is exact.
std::int64_t exact_determinant(std::vector<std::vector<std::int64_t>> a) {
  const std::size_t n = a.size();
  std::int64_t previous = 1, sign = 1;
  for (std::size_t k = 0; k + 1 < n; ++k) {
    std::size_t r = k;
    while (r < n && a[r][k] == 0) ++r;
    if (r == n) return 0;
    if (r != k) std::swap(a[r], a[k]), sign = -sign;
    for (std::size_t i = k + 1; i < n; ++i)
      for (std::size_t j = k + 1; j < n; ++j)
        a[i][j] = (a[i][j] * a[k][k] - a[i][k] * a[k][j]) / previous;
    previous = a[k][k];
  }
  return sign * a[n - 1][n - 1];
}

TWIN_TEST(InvGJ, GivesTheDeterminantsOfIntegerMatrices) {
  Random random(512);
  Largest largest("error of the determinant / (product of column norms, eps n)");
  int zeros = 0;
  for (int n = 1; n <= 7; ++n)
    for (int times = 0; times < 200; ++times) {
      std::vector<std::vector<std::int64_t>> a(n, std::vector<std::int64_t>(n));
      Table<Real> A(n, n);
      const int most = random.integer(1, 5);
      double scale = 1;
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i)
          A.at(i, j) = static_cast<Real>(a[i][j] = random.integer(-most, most));
        scale *= norm(A, n, j, j + 1);
      }
      const std::int64_t exact = exact_determinant(a);
      zeros += exact == 0;
      double det;
      inverse(A, n, &det);
      const double error = std::fabs(det - static_cast<double>(exact));
      // with a zero column the determinant is exactly 0
      largest.see(error / (std::max(scale, 1.0) * eps_of<Real> * n), where(Kind::integer, n, n));
    }
  EXPECT_GT(zeros, 20);
  // A pivot carries a few roundings of its column. Measured: 0.25.
  EXPECT_LT(largest.value(), 0.75);
}

// -- matrices with known inverses -----------------------------------------------------------------

double binomial(int n, int k) {
  double b = 1;
  for (int i = 1; i <= k; ++i) b = b * (n - k + i) / i;  // exact in this order
  return k < 0 || k > n ? 0 : std::round(b);
}

/// A matrix whose inverse is known: element (i, j) of order n, 0-based.
struct Known {
  const char* name;
  int most_f, most_d;  ///< orders up to which the conditions leave digits
  double (*element)(int n, int i, int j);
  double (*inverse)(int n, int i, int j);
  double (*determinant)(int n);
};

double hilbert(int, int i, int j) { return 1.0 / (i + j + 1); }
double hilbert_inverse(int n, int i, int j) {
  const double b = binomial(i + j, i);
  return ((i + j) % 2 ? -1 : 1) * (i + j + 1) * binomial(n + i, n - j - 1) *
         binomial(n + j, n - i - 1) * b * b;
}
double hilbert_determinant(int n) {  // the reciprocal of an integer
  double d = 1;
  for (int i = 1; i < n; ++i) d *= (2 * i + 1) * binomial(2 * i, i) * binomial(2 * i, i);
  return 1 / d;
}

double pascal(int, int i, int j) { return binomial(i + j, i); }
double pascal_inverse(int n, int i, int j) {
  double sum = 0;
  for (int k = std::max(i, j); k < n; ++k) sum += binomial(k, i) * binomial(k, j);
  return (i + j) % 2 ? -sum : sum;
}
double pascal_determinant(int) { return 1; }

/// Nodes 0..n-1, one a row.
double vandermonde(int, int i, int j) { return std::pow(i, j); }
/// Coefficient of x^i in the polynomial that is 1 at node j: an integer over (n-1)!.
double vandermonde_inverse(int n, int i, int j) {
  std::vector<std::int64_t> c = {1};  // the product of (x - node) over the other nodes
  std::int64_t denominator = 1;
  for (int node = 0; node < n; ++node) {
    if (node == j) continue;
    denominator *= j - node;
    c.push_back(0);
    for (std::size_t d = c.size(); d-- > 0;) c[d] = (d ? c[d - 1] : 0) - node * c[d];
  }
  return static_cast<double>(c[i]) / static_cast<double>(denominator);
}
double vandermonde_determinant(int n) {
  double d = 1, factorial = 1;
  for (int i = 1; i < n; ++i) d *= factorial *= i;
  return d;
}

const Known known[] = {
    {"Hilbert", 4, 9, hilbert, hilbert_inverse, hilbert_determinant},
    {"Pascal", 6, 12, pascal, pascal_inverse, pascal_determinant},
    {"Vandermonde", 6, 10, vandermonde, vandermonde_inverse, vandermonde_determinant},
};

/// The matrix, its inverse, and |A| |A^-1|, by which roundings may be multiplied.
template <class Real>
struct Case {
  Table<Real> A;
  Table<double> X;
  double condition;

  Case(const Known& k, int n) : A(n, n), X(n, n) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        A.at(i, j) = static_cast<Real>(k.element(n, i, j));
        X.at(i, j) = k.inverse(n, i, j);
      }
    condition = norm(A, n, 0, n) * norm(X, n, 0, n);
  }
  /// Difference from the inverse, relative.
  double error(Real* const* got, int n, bool upper) {
    long double sum = 0;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double d = double(upper && i > j ? got[i][j] : got[j][i]) - X.at(i, j);
        sum += static_cast<long double>(d) * d;
      }
    return static_cast<double>(std::sqrt(sum)) / norm(X, n, 0, n);
  }
};

TEST(KnownInverses, AreInversesExactly) {
  for (const Known& k : known)
    for (int n = 2; n <= std::min(k.most_d, 8); ++n) {
      Case<double> c(k, n);
      // (n-1)! times a Vandermonde inverse, and every other inverse, is of integers
      const double scale = k.element == vandermonde ? std::tgamma(n) : 1;
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          EXPECT_NEAR(scale * c.X.at(i, j), std::round(scale * c.X.at(i, j)), 1e-9) << k.name;
          long double sum = 0;
          for (int l = 0; l < n; ++l)
            sum += k.element(n, i, l) * static_cast<long double>(c.X.at(l, j));
          EXPECT_NEAR(static_cast<double>(sum), delta(i, j), 1e-6) << k.name << " " << n;
        }
    }
}

TWIN_TEST(InvGJ, InvertsHilbertPascalAndVandermondeMatrices) {
  Largest inverse_error("error of the inverse / (condition eps)"),
      det_error("relative error of the determinant / (condition eps)");
  for (const Known& k : known)
    for (int n = 1; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      double det;
      ASSERT_EQ(inverse(c.A, n, &det), M_INVGJ_OK) << k.name << " " << n;
      const std::string at = std::string(k.name) + " " + std::to_string(n);
      inverse_error.see(c.error(c.A.slots(), n, false) / (c.condition * eps_of<Real>), at);
      det_error.see(std::fabs(det / k.determinant(n) - 1) / (c.condition * eps_of<Real>), at);
    }
  // The rounding of the matrix alone may cost its condition. Measured: 0.07 and 0.06.
  EXPECT_LT(inverse_error.value(), 0.2);
  EXPECT_LT(det_error.value(), 0.2);
}

TWIN_TEST(Qrdeq, InvertsHilbertPascalAndVandermondeMatrices) {
  Largest largest("error of the inverse / (condition^2 eps)");
  for (const Known& k : known)
    for (int n = 1; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      const double amplified = c.condition * c.condition * eps_of<Real>;
      if (amplified > 0.1) break;  // no digit is left
      Table<Real> A(n, 2 * n);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          A.at(i, j) = c.A.at(i, j);
          A.at(i, n + j) = static_cast<Real>(delta(i, j));
        }
      ASSERT_EQ(M_qrdeq(A.slots(), n, n), M_QRDEQ_OK) << k.name << " " << n;
      largest.see(c.error(A.slots() + n, n, false) / amplified,
                  std::string(k.name) + " " + std::to_string(n));
    }
  // In units of the square of the condition, which bounds the spread. Measured: 0.54.
  EXPECT_LT(largest.value(), 1.5);
}

// == Cholesky =====================================================================================

TWIN_TEST(Chol, RefusesOrdersBelowTwoAndWritesNothing) {
  for (const int n : {1, 0, -1, INT_MIN}) {
    auto S = triangle<Real>(2, {4, 2, 5});
    Plain<Real> old(S);
    Table<Real> U = Table<Real>::triangle(2), X = Table<Real>::triangle(2), B(2, 1);
    EXPECT_EQ(M_chol(S.slots(), n, U.slots()), M_CHOL_BAD_SIZE) << n;
    EXPECT_EQ(M_choleq(S.slots(), B.slots(), n, 1, U.slots()), M_CHOL_BAD_SIZE) << n;
    EXPECT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), M_CHOL_BAD_SIZE) << n;
    EXPECT_EQ(M_invs(S.slots(), n, U.slots()), M_CHOL_BAD_SIZE) << n;
    EXPECT_TRUE(agree(S, old));
    EXPECT_TRUE(U.untouched() && X.untouched() && B.untouched());
  }
}

TWIN_TEST(Chol, OfADiagonalMatrixHasTheRoots) {
  auto S = triangle<Real>(2, {4, 0, 9});
  Table<Real> U = Table<Real>::triangle(2);
  EXPECT_EQ(M_chol(S.slots(), 2, U.slots()), M_CHOL_OK);
  auto want = triangle<Real>(2, {2, 0, 3});
  EXPECT_TABLE(U, want);
}

TWIN_TEST(Chol, FactorsATwoByTwoMatrixInTheWayOfItsTwin) {
  auto S = triangle<Real>(2, {4, 2, 5});
  Table<Real> U = Table<Real>::triangle(2);
  EXPECT_EQ(M_chol(S.slots(), 2, U.slots()), M_CHOL_OK);
  const bool single = sizeof(Real) == 4;
  EXPECT_EQ(U.at(0, 0), Real(2));
  EXPECT_EQ(U.at(0, 1), Real(single ? 1 : 0.5));
  EXPECT_EQ(U.at(1, 1), static_cast<Real>(single ? 2 : std::sqrt(4.75)));
}

TWIN_TEST(Chol, NamesTheColumnOfTheFirstPivotThatIsNotPositive) {
  const Real least = std::numeric_limits<Real>::denorm_min();
  for (const Real bad : {Real(0), Real(-0.0), Real(-1), -least, nan_of<Real>, -inf_of<Real>})
    for (int n = 2; n <= 9; ++n)
      for (int k = 1; k <= n; ++k) {
        Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n),
                    X = Table<Real>::triangle(n), B(n, 2);
        for (int j = 0; j < n; ++j)
          for (int i = 0; i <= j; ++i)
            S.at(i, j) = static_cast<Real>(i == j ? 1 : i >= k - 1 ? i + j : 0);
        S.at(k - 1, k - 1) = bad;
        B.number();
        Plain<Real> S_old(S), U_want(U), B_old(B);
        ASSERT_EQ(M_chol(S.slots(), n, U.slots()), k) << "order " << n << ", pivot " << shown(bad);
        for (int i = 0; i < k - 1; ++i)
          for (int j = i; j < n; ++j) U_want(i, j) = static_cast<Real>(delta(i, j));
        EXPECT_TRUE(agree(U, U_want)) << k << " of " << n;
        EXPECT_EQ(M_choleq(S.slots(), B.slots(), n, 2, U.slots()), k);
        EXPECT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), k);
        EXPECT_EQ(M_invs(S.slots(), n, U.slots()), k);
        EXPECT_TRUE(agree(U, U_want)) << k << " of " << n;
        EXPECT_TRUE(agree(S, S_old));
        EXPECT_TRUE(agree(B, B_old));
        EXPECT_TRUE(X.untouched());
      }
}

TWIN_TEST(Chol, AcceptsTheLeastPositivePivot) {
  const Real least = std::numeric_limits<Real>::denorm_min();
  Table<Real> S = Table<Real>::triangle(2), U = Table<Real>::triangle(2);
  S.at(0, 0) = S.at(1, 1) = least;
  S.at(0, 1) = 0;
  EXPECT_EQ(M_chol(S.slots(), 2, U.slots()), M_CHOL_OK);
  EXPECT_EQ(U.at(1, 1), static_cast<Real>(std::sqrt(double(least))));
}

TWIN_TEST(Chol, NaNAboveTheDiagonalFailsAtItsColumn) {
  auto S = triangle<Real>(3, {1, 0, 1, nan_of<double>, 0, 1});
  Table<Real> U = Table<Real>::triangle(3);
  EXPECT_EQ(M_chol(S.slots(), 3, U.slots()), 3);
}

TWIN_TEST(Chol, OfAPascalMatrixIsPascalsTriangleExactly) {
  const int most = sizeof(Real) == 4 ? 13 : 25;  // up to here every element is exact
  for (int n = 2; n <= most; ++n) {
    Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) S.at(i, j) = static_cast<Real>(binomial(i + j, i));
    ASSERT_EQ(M_chol(S.slots(), n, U.slots()), M_CHOL_OK) << n;
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) ASSERT_EQ(U.at(i, j), static_cast<Real>(binomial(j, i))) << n;
  }
}

/// A symmetric matrix: elements of the kind, mostly indefinite, or the products of the columns of a
/// matrix of the kind, which is positive semidefinite up to rounding.
template <class Real>
void fill_symmetric(Table<Real>& S, int n, Kind kind, bool products, Random& random) {
  Table<Real> G(n, n);
  fill_matrix(G, n, n, kind == Kind::huge && products ? Kind::graded : kind, random);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i)
      S.at(i, j) = products ? static_cast<Real>(plain_dot(G.slots()[i], G.slots()[j], n)) : G.at(i, j);
}

TWIN_TEST(Chol, EqualsItsStepsWrittenOut) {
  Random random(513);
  std::set<int> statuses;
  int large = 0;  // factors of more than one panel
  for (const int n : orders())
    for (const Kind kind : all_kinds)
      for (const bool products : {true, true, false}) {
        Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n);
        fill_symmetric(S, n, kind, products, random);
        // full tables: what lies below the diagonal is poison and stays so
        Table<Real> full(n, n, random.integer(0, 7)), full_U(n, n);
        for (int j = 0; j < n; ++j)
          for (int i = 0; i <= j; ++i) full.at(i, j) = S.at(i, j);
        Plain<Real> S_want(S), U_want(U), full_want(full_U), in_place(S);
        const int status = M_chol(S.slots(), n, U.slots());
        ASSERT_EQ(status, plain_chol(S_want, n, U_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(U, U_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(S, S_want)) << where(kind, n, n);
        plain_chol(S_want, n, full_want);
        ASSERT_EQ(M_chol(full.slots(), n, full_U.slots()), status);
        ASSERT_TRUE(agree(full_U, full_want)) << where(kind, n, n);
        plain_chol(in_place, n, in_place);
        ASSERT_EQ(M_chol(S.slots(), n, S.slots()), status);
        ASSERT_TRUE(agree(S, in_place)) << where(kind, n, n);
        statuses.insert(status);
        large += status == 0 && n > 16;
      }
  for (int status = -1; status <= 7; ++status) EXPECT_TRUE(statuses.count(status)) << status;
  EXPECT_GE(large, 10);
}

/// Compares M_chol with its steps: into a table of its own, into a full table whose lower triangle is
/// poison, and in place. The rows before a failing pivot are complete, the others untouched.
template <class Real>
int check_chol(Table<Real>& S, int n) {
  Table<Real> U = Table<Real>::triangle(n), full(n, n), full_U(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) full.at(i, j) = S.at(i, j);
  Plain<Real> S_want(S), U_want(U), in_place(S), full_want(full_U);
  const int status = M_chol(S.slots(), n, U.slots());
  EXPECT_EQ(status, plain_chol(S_want, n, U_want)) << "of order " << n;
  EXPECT_TRUE(agree(U, U_want)) << "of order " << n << ", status " << status;
  EXPECT_TRUE(agree(S, S_want)) << "of order " << n << ", status " << status;
  plain_chol(S_want, n, full_want);
  EXPECT_EQ(M_chol(full.slots(), n, full_U.slots()), status);
  EXPECT_TRUE(agree(full_U, full_want)) << "of order " << n << ", status " << status;
  plain_chol(in_place, n, in_place);
  EXPECT_EQ(M_chol(S.slots(), n, S.slots()), status);
  EXPECT_TRUE(agree(S, in_place)) << "of order " << n << ", status " << status << ", in place";
  return status;
}

TWIN_TEST(Chol, EqualsItsStepsWrittenOutForEveryOrderUpToSeventyAndLargeOnes) {
  Random random(523);
  std::vector<int> orders = {97, 129, 193, 257};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  int complete = 0;
  for (const int n : orders)
    for (const bool products : {true, false}) {
      Table<Real> S = Table<Real>::triangle(n);
      fill_symmetric(S, n, n > 70 || n % 2 ? Kind::random : all_kinds[n / 2 % 9], products, random);
      if (!products)  // the diagonal dominates: no product is formed, and every pivot is positive
        for (int i = 0; i < n; ++i) S.at(i, i) = static_cast<Real>(2 * n);
      complete += check_chol(S, n) == 0;
      if (testing::Test::HasFailure()) return;
    }
  EXPECT_GT(complete, 60);
}

TWIN_TEST(Chol, LeavesRowsFromAnyFailingPivotOnUntouchedInAndAcrossBlocks) {
  Random random(524);
  for (const int n : {24, 25, 48, 49, 73, 97})
    for (int k = 0; k < n; ++k) {
      Table<Real> S = Table<Real>::triangle(n);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i)
          S.at(i, j) = static_cast<Real>(i == j ? 2 * n : random.real(-1, 1));
      const Real bad[] = {0, -1, nan_of<Real>, -inf_of<Real>};
      S.at(k, k) = bad[k % 4];
      if (k % 5 == 4 && k > 1) {  // not the pivot but an element above it
        S.at(k, k) = Real(2 * n);
        S.at(random.integer(0, k - 1), k) = nan_of<Real>;
      }
      EXPECT_EQ(check_chol(S, n), k + 1);
      if (testing::Test::HasFailure()) return;
    }
}

TWIN_TEST(Choleq, EqualsItsStepsWrittenOut) {
  Random random(515);
  int large = 0;
  for (const int n : orders())
    for (const int p : {0, 1, 3, 40})
      for (const Kind kind : all_kinds) {
        Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n),
                    B(n + 1, p + 1, random.integer(0, 7));
        fill_symmetric(S, n, kind, random.integer(0, 3) > 0, random);
        fill_matrix(B, n, p, kind, random);
        Table<Real> B2 = B;
        Plain<Real> S_want(S), in_place(S), U_want(U), B_want(B);
        const int status = M_choleq(S.slots(), B.slots(), n, p, U.slots());
        ASSERT_EQ(status, plain_choleq(S_want, B_want, n, p, U_want)) << where(kind, n, p);
        ASSERT_TRUE(agree(U, U_want)) << where(kind, n, p);
        ASSERT_TRUE(agree(B, B_want)) << where(kind, n, p);
        ASSERT_TRUE(agree(S, S_want)) << where(kind, n, p);
        large += status == 0 && n > 16;
        ASSERT_EQ(M_choleq(S.slots(), B2.slots(), n, p, S.slots()), status);  // the factor in place
        plain_chol(in_place, n, in_place);
        ASSERT_TRUE(agree(S, in_place)) << where(kind, n, p);
        ASSERT_TRUE(agree(B2, B_want)) << where(kind, n, p);
      }
  EXPECT_GE(large, 10);
}

TWIN_TEST(Cholinv, AndInvsEqualTheirStepsWrittenOut) {
  Random random(516);
  int large = 0;
  for (const int n : orders())
    for (const Kind kind : all_kinds)
      for (const bool products : {true, true, false}) {
        Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n),
                    X = Table<Real>::triangle(n);
        fill_symmetric(S, n, kind, products, random);
        Table<Real> S2 = S, U2 = U;
        Plain<Real> S_want(S), U_want(U), X_want(X), in_place(S), in_place_X(X);
        const int status = M_cholinv(S.slots(), n, U.slots(), X.slots());
        ASSERT_EQ(status, plain_cholinv(S_want, n, U_want, X_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(U, U_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(X, X_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(S, S_want)) << where(kind, n, n);

        large += status == 0 && n > 16;
        ASSERT_EQ(M_invs(S2.slots(), n, U2.slots()), status);
        ASSERT_TRUE(agree(U2, U_want)) << where(kind, n, n);
        ASSERT_TRUE(agree(S2, status == 0 ? X_want : S_want)) << where(kind, n, n);

        Table<Real> X2 = Table<Real>::triangle(n);  // U in the place of S
        ASSERT_EQ(M_cholinv(S.slots(), n, S.slots(), X2.slots()), status);
        plain_cholinv(in_place, n, in_place, in_place_X);
        ASSERT_TRUE(agree(S, in_place)) << where(kind, n, n);
        ASSERT_TRUE(agree(X2, in_place_X)) << where(kind, n, n);
      }
  EXPECT_GE(large, 10);
}

TWIN_TEST(Choleq, CholinvAndInvsEqualTheirStepsWrittenOutForEveryOrderUpToSeventy) {
  Random random(525);
  std::vector<int> orders = {97, 129};
  for (int n = 10; n <= 70; ++n) orders.push_back(n);
  for (const int n : orders) {
    const int p = n % 3 == 0 ? 130 + n : random.integer(1, 40);
    Table<Real> S = Table<Real>::triangle(n), U = Table<Real>::triangle(n), X = U,
                B(n + 1, p + 1, random.integer(0, 7));
    fill_matrix(B, n, p, Kind::random, random);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) S.at(i, j) = static_cast<Real>(i == j ? 2 * n : random.real(-1, 1));
    if (n % 7 == 0) S.at(n / 2, n / 2) = Real(-1);
    Table<Real> S2 = S, U2 = U;
    Plain<Real> S_want(S), U_want(U), B_want(B), X_want(X);
    const int status = M_choleq(S.slots(), B.slots(), n, p, U.slots());
    ASSERT_EQ(status, plain_choleq(S_want, B_want, n, p, U_want)) << n;
    EXPECT_EQ(status, n % 7 == 0 ? n / 2 + 1 : 0);
    ASSERT_TRUE(agree(U, U_want)) << n;
    ASSERT_TRUE(agree(B, B_want)) << n << ", " << p;
    ASSERT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), status);
    plain_cholinv(S_want, n, U_want, X_want);
    ASSERT_TRUE(agree(X, X_want)) << n;
    ASSERT_EQ(M_invs(S2.slots(), n, U2.slots()), status);
    ASSERT_TRUE(agree(S2, status == 0 ? X_want : S_want)) << n;
  }
}

// -- Cholesky: properties -------------------------------------------------------------------------

/// Positive definite with s(0,0) = 1, so that both twins compute the same factor.
template <class Real>
Table<Real> definite(int n, Kind kind, Random& random) {
  Table<Real> G(2 * n, n), S(n, n);
  fill_matrix(G, 2 * n, n, kind, random);
  for (int i = 0; i < 2 * n; ++i) G.at(i, 0) = static_cast<Real>(i == 0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      S.at(i, j) = static_cast<Real>(plain_dot(G.slots()[i], G.slots()[j], 2 * n));
  return S;
}

TWIN_TEST(Chol, MayBeComputedInPlace) {
  Random random(514);
  for (const int n : {2, 3, 8, 40}) {
    Table<Real> S = definite<Real>(n, Kind::random, random), U = S;
    ASSERT_EQ(M_chol(S.slots(), n, U.slots()), M_CHOL_OK);
    ASSERT_EQ(M_chol(S.slots(), n, S.slots()), M_CHOL_OK);
    EXPECT_TABLE(S, U);
  }
}

TWIN_TEST(Chol, FactorsSolutionsAndInversesHaveSmallResiduals) {
  Random random(517);
  Largest factor("|U'U - S| / (|S| eps n)"), solution("|SX - B| / (|S| |X| eps n)"),
      inverted("|SX - I| / (|S| |X| eps n)");
  int done = 0;
  for (const int n : {2, 3, 5, 9, 20, 33, 70})
    for (const Kind kind : {Kind::random, Kind::graded, Kind::integer, Kind::powers})
      for (int times = 0; times < 5; ++times) {
        Table<Real> S = definite<Real>(n, kind, random), U(n, n), X(n, n), B(n, 3);
        fill_matrix(B, n, 3, kind, random);
        Table<Real> right = B;
        if (M_chol(S.slots(), n, U.slots()) != M_CHOL_OK) continue;
        ++done;
        const double scale = norm(S, n, 0, n) * eps_of<Real> * n;
        long double sum = 0;
        for (int j = 0; j < n; ++j)
          for (int i = 0; i <= j; ++i) {
            long double d = S.at(i, j);
            for (int l = 0; l <= i; ++l) d -= static_cast<long double>(U.at(l, i)) * U.at(l, j);
            sum += (i == j ? 1 : 2) * d * d;
          }
        factor.see(static_cast<double>(std::sqrt(sum)) / scale, where(kind, n, n));

        ASSERT_EQ(M_choleq(S.slots(), B.slots(), n, 3, U.slots()), M_CHOL_OK);
        solution.see(residual(S, B.slots(), n, 3, [&](int i, int k) { return right.at(i, k); }) /
                         (scale * norm(B, n, 0, 3)),
                     where(kind, n, n));
        ASSERT_EQ(M_cholinv(S.slots(), n, U.slots(), X.slots()), M_CHOL_OK);
        for (int j = 0; j < n; ++j)
          for (int i = j + 1; i < n; ++i) X.at(i, j) = X.at(j, i);
        inverted.see(residual(S, X.slots(), n, n, delta) / (scale * norm(X, n, 0, n)),
                     where(kind, n, n));
      }
  EXPECT_GT(done, 90);
  // No pivoting is needed, and no element of the factor exceeds the root of its diagonal element.
  // Measured: 0.42, 0.34 and 0.41.
  EXPECT_LT(factor.value(), 1);
  EXPECT_LT(solution.value(), 1);
  EXPECT_LT(inverted.value(), 1);
}

TWIN_TEST(Cholinv, InvertsHilbertAndPascalMatrices) {
  Largest largest("error of the inverse / (condition eps)");
  for (const Known& k : known) {
    if (k.element == vandermonde) continue;  // not symmetric; the others have s(0,0) = 1
    for (int n = 2; n <= (sizeof(Real) == 4 ? k.most_f : k.most_d); ++n) {
      Case<Real> c(k, n);
      Table<Real> U = Table<Real>::triangle(n), X = Table<Real>::triangle(n);
      ASSERT_EQ(M_cholinv(c.A.slots(), n, U.slots(), X.slots()), M_CHOL_OK) << k.name << " " << n;
      largest.see(c.error(X.slots(), n, true) / (c.condition * eps_of<Real>),
                  std::string(k.name) + " " + std::to_string(n));
      ASSERT_EQ(M_invs(c.A.slots(), n, U.slots()), M_CHOL_OK);
      EXPECT_EQ(c.error(c.A.slots(), n, true), c.error(X.slots(), n, true));
    }
  }
  EXPECT_LT(largest.value(), 0.2);  // measured: 0.07
}

}  // namespace

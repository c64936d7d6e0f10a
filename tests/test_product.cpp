// tests/test_product.cpp - the product over factors, bands and results: every form with every set of
// kernels, bit for bit, on tables that end where the bands end.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "kernels/sums/product.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/kernel_sets.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using namespace tabfit;

class Product_f : public WithKernels {};
class Product_d : public WithKernels {};
WITH_ALL_KERNELS(Product_f);
WITH_ALL_KERNELS(Product_d);

constexpr Band bands[] = {Band::all, Band::to_l, Band::from_l};

/// First and end of the terms of line i.
std::pair<int, int> terms_of(Band band, int i, int terms) {
  if (band == Band::to_l) return {std::min(i, terms), terms};
  if (band == Band::from_l) return {0, std::min(i + 1, terms)};
  return {0, terms};
}
/// First and end of the lines, of `lines`, that have term l.
std::pair<int, int> lines_of(Band band, int l, int lines) {
  if (band == Band::to_l) return {0, std::min(l + 1, lines)};
  if (band == Band::from_l) return {std::min(l, lines), lines};
  return {0, lines};
}

std::string text(const Extent& x) {
  constexpr const char* names[] = {"all", "to l", "from l"};
  return std::to_string(x.rows) + " by " + std::to_string(x.columns) + ", " + std::to_string(x.terms) +
         " terms, rows " + names[static_cast<int>(x.row_band)] + ", columns " +
         names[static_cast<int>(x.column_band)] + (x.upper_only ? ", upper only" : "");
}

// -- factors --------------------------------------------------------------------------------------

/// A column table whose column j has elements from..end-1 and no others. Elements behind the end lie
/// beyond a fence; if there are none, those before the first one do.
template <class Real>
class Stored {
 public:
  template <class Range>
  Stored(int columns, int most, Range range) {
    for (int j = 0; j < columns; ++j) {
      const auto [from, end] = range(j);
      arrays_.emplace_back(most);
      Real* data = arrays_.back().lay(end - from, signal_of<Real>(),
                                      from == 0 ? Touching::end : Touching::begin);
      slots_.push_back(data - from);
    }
  }
  Real* const* slots() const { return slots_.data(); }

 private:
  std::vector<Fenced<Real>> arrays_;
  std::vector<Real*> slots_;
};

/// The factors of a product, each in every storage, and the product.
template <class Real>
class Factors {
 public:
  Factors(const Extent& x, Data data, Random& random)
      : x_(x),
        left_(x.terms, x.rows, [&](int l) { return lines_of(x.row_band, l, x.rows); }),
        left_turned_(x.rows, x.terms, [&](int i) { return terms_of(x.row_band, i, x.terms); }),
        right_(x.columns, x.terms, [&](int k) { return terms_of(x.column_band, k, x.terms); }),
        right_turned_(x.terms, x.columns, [&](int l) { return lines_of(x.column_band, l, x.columns); }),
        sums_(size(x.rows) * size(x.columns)) {
    for (int i = 0; i < x.rows; ++i)
      for (auto [l, end] = terms_of(x.row_band, i, x.terms); l < end; ++l)
        left_.slots()[l][i] = left_turned_.slots()[i][l] = element<Real>(random, data);
    for (int k = 0; k < x.columns; ++k)
      for (auto [l, end] = terms_of(x.column_band, k, x.terms); l < end; ++l)
        right_.slots()[k][l] = right_turned_.slots()[l][k] = element<Real>(random, data);
    for (int i = 0; i < x.rows; ++i) {
      const auto [i_first, i_end] = terms_of(x.row_band, i, x.terms);
      for (int k = 0; k < x.columns; ++k) {
        const auto [k_first, k_end] = terms_of(x.column_band, k, x.terms);
        double sum = 0.0;
        for (int l = std::max(i_first, k_first); l < std::min(i_end, k_end); ++l)
          sum = std::fma(double(left_turned_.slots()[i][l]), double(right_.slots()[k][l]), sum);
        sums_[place(i, k)] = sum;
      }
    }
  }

  const Extent& extent() const { return x_; }
  double sum(int i, int k) const { return sums_[place(i, k)]; }

  Factor<Real> left() const { return as_is(left_.slots()); }
  Factor<Real> left_transposed() const { return transposed(left_turned_.slots()); }
  Factor<Real> right() const { return as_is(right_.slots()); }
  Factor<Real> right_transposed() const { return transposed(right_turned_.slots()); }

 private:
  static std::size_t size(int n) { return static_cast<std::size_t>(n); }
  std::size_t place(int i, int k) const { return size(i) * size(x_.columns) + size(k); }

  Extent x_;
  Stored<Real> left_, left_turned_, right_, right_turned_;
  std::vector<double> sums_;
};

// -- one product held against its sums ------------------------------------------------------------

/// Results in a table of Result whose columns end with the rows that are formed.
template <class Result>
class Results {
 public:
  explicit Results(const Extent& x) : x_(x) {
    for (int k = 0; k < x.columns; ++k) {
      arrays_.emplace_back(x.rows);
      slots_.push_back(arrays_.back().lay(x.upper_only ? std::min(k + 1, x.rows) : x.rows));
    }
  }
  Result* const* slots() const { return slots_.data(); }

  template <class Real>
  void check(const Factors<Real>& factors, const char* what) {
    for (int k = 0; k < x_.columns; ++k) {
      auto& column = arrays_[static_cast<std::size_t>(k)];
      ASSERT_TRUE(column.zone_intact()) << what << ", beside column " << k << ": " << text(x_);
      for (int i = 0; i < column.size(); ++i)
        ASSERT_SAME(column[i], static_cast<Result>(factors.sum(i, k)))
            << what << ", result " << i << ", " << k << ": " << text(x_);
    }
  }

 private:
  Extent x_;
  std::vector<Fenced<Result>> arrays_;
  std::vector<Result*> slots_;
};

/// Checks the product into each kind of result; a large product only into that of this turn.
template <class Real>
void check_results(const Kernels& kernel, const Factors<Real>& factors, const std::string& what,
                   int turn, Factor<Real> left, Factor<Real> right) {
  const Extent& x = factors.extent();
  const bool large = double(x.rows) * x.columns * x.terms > 1e5;
  const auto form = [&](int kind, auto sample, auto into_kind, const char* name) {
    if (large && turn % 3 != kind) return;
    Results<decltype(sample)> results(x);
    product(kernel, x, left, right, into_kind(results.slots()));
    results.check(factors, (what + name).c_str());
  };
  form(
      0, Real{}, [](Real* const* C) { return into(C); }, ", into a table");
  form(
      1, Real{}, [](Real* const* C) { return into_place(C); }, ", in place");
  form(
      2, double{}, [](double* const* C) { return into_sums<Real>(C); }, ", sums");
}

/// The pairs of storages with which a product is checked: one in each turn, or all.
enum class Storages { in_turn, all };

template <class Real>
void check_product(const Kernels& kernel, const Extent& x, Data data, Random& random, int turn,
                   Storages storages = Storages::in_turn) {
  const Factors<Real> factors(x, data, random);
  int pair = 0;
  const auto with = [&](const char* what, Factor<Real> left, Factor<Real> right) {
    if (storages == Storages::all || pair++ == turn % 4)
      check_results(kernel, factors, what, turn / 4, left, right);
  };
  with("table by table", factors.left(), factors.right());
  with("table by transpose", factors.left(), factors.right_transposed());
  with("transpose by table", factors.left_transposed(), factors.right());
  with("transpose by transpose", factors.left_transposed(), factors.right_transposed());
}

KERNEL_TEST(Product, OfEverySmallShapeAndBandIsThePlainSums) {
  Random random(7201);
  constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge};
  int turn = 0;
  for (const Band row_band : bands)
    for (const Band column_band : bands)
      for (const bool upper_only : {false, true})
        for (const int rows : {0, 1, 7, 8, 9, 16, 23, 24, 25, 31, 32, 33, 41})
          for (const int columns : {0, 1, 3, 8, 9, 17})
            for (const int terms : {0, 1, 6, 24, 45}) {
              ++turn;
              check_product<Real>(kernel, {rows, columns, terms, row_band, column_band, upper_only},
                                  kinds[turn / 9 % 4], random, turn, Storages::all);
              if (testing::Test::HasFailure()) return;
            }
}

// Small enough to be formed at once, in every storage.
KERNEL_TEST(Product, OfEveryOrderUpToFortyIsThePlainSums) {
  Random random(7209);
  int turn = 0;
  for (int n = 1; n <= 40; ++n)
    for (const Band row_band : bands)
      for (const Band column_band : bands) {
        ++turn;
        check_product<Real>(kernel, {n, n, n, row_band, column_band, turn % 2 == 0}, Data::rare, random,
                            turn, Storages::all);
        if (testing::Test::HasFailure()) return;
      }
}

KERNEL_TEST(Product, OfEveryNumberOfRowsAndColumnsIsThePlainSums) {
  Random random(7202);
  for (int n = 0; n <= 130; ++n)
    for (const Band band : bands) {
      check_product<Real>(kernel, {n, 9, 11, band, bands[n % 3], false}, Data::rare, random, n,
                          Storages::all);
      check_product<Real>(kernel, {10, n, 11, bands[n % 3], band, n % 2 == 0}, Data::rare, random, n,
                          Storages::all);
      if (testing::Test::HasFailure()) return;
    }
}

// More rows, columns or terms than are packed at once: blocks of 72 rows, 176 columns and 256 terms; and
// so many rows that a table is no longer read where it lies.
constexpr Extent large[] = {{193, 41, 30},  {200, 97, 65},   {97, 101, 257}, {40, 17, 300},
                            {100, 90, 300}, {130, 120, 130}, {30, 40, 600},  {7, 200, 513},
                            {13, 9, 256},   {98, 7, 771}};

KERNEL_TEST(Product, OfManyRowsColumnsAndTermsIsThePlainSums) {
  Random random(7203);
  int turn = 0;
  for (const Band row_band : bands)
    for (const Band column_band : bands)
      for (Extent x : large) {
        x.row_band = row_band;
        x.column_band = column_band;
        x.upper_only = ++turn % 2;
        check_product<Real>(kernel, x, Data::rare, random, turn / 2);
        if (testing::Test::HasFailure()) return;
      }
}

// The forms of the triangular products and solves, in every storage, with more terms than a panel
// holds.
KERNEL_TEST(Product, OfTrianglesBeyondOnePanelOfTermsIsThePlainSums) {
  Random random(7204);
  constexpr int n = 262;
  int turn = 0;
  for (const Extent x : {Extent{n, n, n, Band::to_l, Band::from_l, true},
                         {n, n, n, Band::from_l, Band::from_l, true},
                         {n, n, n, Band::to_l, Band::to_l, true},
                         {n, 12, n, Band::to_l},
                         {n, 12, n, Band::from_l},
                         {30, n, n, Band::all, Band::from_l},
                         {30, n, n, Band::all, Band::to_l}}) {
    check_product<Real>(kernel, x, Data::plain, random, 4 * turn++, Storages::all);
    if (testing::Test::HasFailure()) return;
  }
}

KERNEL_TEST(Product, OfAFewShapesIsThePlainSumsInEveryStorage) {
  Random random(7205);
  for (const Band row_band : bands)
    for (const Band column_band : bands)
      for (const bool upper_only : {false, true}) {
        check_product<Real>(kernel, {33, 19, 27, row_band, column_band, upper_only}, Data::odd, random,
                            0, Storages::all);
        check_product<Real>(kernel, {12, 10, 14, row_band, column_band, upper_only}, Data::tiny, random,
                            0, Storages::all);
      }
}

// -- symmetric factors ----------------------------------------------------------------------------

/// A symmetric matrix in a triangle whose columns end on the diagonal.
template <class Real>
class Triangle {
 public:
  Triangle(int n, Data data, Random& random)
      : stored_(n, n, [](int j) { return std::pair(0, j + 1); }) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) stored_.slots()[j][i] = element<Real>(random, data);
  }
  Factor<Real> symmetric() const { return tabfit::symmetric(stored_.slots()); }
  double at(int i, int j) const { return stored_.slots()[std::max(i, j)][std::min(i, j)]; }

 private:
  Stored<Real> stored_;
};

KERNEL_TEST(Product, WithSymmetricFactorsReadsNothingBelowTheDiagonal) {
  Random random(7206);
  for (const int n : {0, 1, 2, 7, 8, 9, 23, 24, 25, 33, 70, 97, 129, 260})
    for (const Data data : {Data::plain, Data::odd}) {
      if (n > 100 && data == Data::odd) continue;
      const Triangle<Real> S(n, data, random), T(n, data, random);
      const int p = n > 100 ? 11 : 19;
      const Stored<Real> B(p, n, [&](int) { return std::pair(0, n); }),
          A(n, p, [&](int) { return std::pair(0, p); });
      for (int k = 0; k < p; ++k)
        for (int l = 0; l < n; ++l) {
          B.slots()[k][l] = element<Real>(random, data);
          A.slots()[l][k] = element<Real>(random, data);
        }
      const auto check = [&](const char* what, int rows, int columns, auto a, auto b, auto left,
                             auto right) {
        const Extent x = {rows, columns, n};
        Results<Real> results(x);
        product(kernel, x, left, right, into(results.slots()));
        for (int k = 0; k < columns; ++k)
          for (int i = 0; i < rows; ++i) {
            double sum = 0.0;
            for (int l = 0; l < n; ++l) sum = std::fma(a(i, l), b(l, k), sum);
            ASSERT_SAME(results.slots()[k][i], static_cast<Real>(sum))
                << what << " " << i << ", " << k << " of order " << n;
          }
      };
      const auto s = [&](int i, int j) { return S.at(i, j); };
      const auto t = [&](int i, int j) { return T.at(i, j); };
      const auto a = [&](int i, int l) { return double(A.slots()[l][i]); };
      const auto b = [&](int l, int k) { return double(B.slots()[k][l]); };
      check("S B", n, p, s, b, S.symmetric(), as_is(B.slots()));
      check("A S", p, n, a, s, as_is(A.slots()), S.symmetric());
      check(
          "B'S", p, n, [&](int i, int l) { return b(l, i); }, s, transposed(B.slots()), S.symmetric());
      check(
          "S A'", n, p, s, [&](int l, int k) { return a(k, l); }, S.symmetric(), transposed(A.slots()));
      if (n <= 100) check("S T", n, n, s, t, S.symmetric(), T.symmetric());
      if (testing::Test::HasFatalFailure()) return;
    }
}

// -- results in the place of a factor -------------------------------------------------------------

// U := U U'. Result (i, k) is stored when elements (i, l >= k) and (k, l >= k) have been read for the
// last time.
KERNEL_TEST(Product, IntoPlaceWritesWhatLaterResultsDoNotRead) {
  Random random(7207);
  for (const int n : {1, 2, 5, 8, 9, 24, 25, 70, 96, 97, 130, 193, 260, 290}) {
    const Stored<Real> U(n, n, [](int j) { return std::pair(0, j + 1); });
    const Extent x = {n, n, n, Band::to_l, Band::to_l, true};
    Results<Real> expected(x);
    const auto fill = [&](auto value) {
      for (int j = 0; j < n; ++j)
        for (int i = 0; i <= j; ++i) U.slots()[j][i] = value(i, j);
    };
    fill([&](int, int) { return element<Real>(random, Data::rare); });
    for (int k = 0; k < n; ++k)
      for (int i = 0; i <= k; ++i) {
        double sum = 0.0;
        for (int l = k; l < n; ++l)
          sum = std::fma(double(U.slots()[l][i]), double(U.slots()[l][k]), sum);
        expected.slots()[k][i] = static_cast<Real>(sum);
      }
    product(kernel, x, as_is(U.slots()), transposed(U.slots()), into_place(U.slots()));
    for (int k = 0; k < n; ++k)
      for (int i = 0; i <= k; ++i)
        ASSERT_SAME(U.slots()[k][i], expected.slots()[k][i]) << i << ", " << k << " of order " << n;
    if (testing::Test::HasFatalFailure()) return;
  }
}

KERNEL_TEST(Product, OfVectorsAsTablesOfOneColumnIsThePlainSums) {
  Random random(7208);
  for (const int n : {1, 9, 100, 300}) {
    const Stored<Real> A(n, 40, [](int) { return std::pair(0, 40); });
    Fenced<Real> x(n), y(40);
    x.lay(n);
    y.lay(40);
    for (int l = 0; l < n; ++l) {
      x[l] = element<Real>(random, Data::plain);
      for (int i = 0; i < 40; ++i) A.slots()[l][i] = element<Real>(random, Data::plain);
    }
    const Real* from = x.data();
    Real* to = y.data();
    product(kernel, {.rows = 40, .columns = 1, .terms = n}, as_is(A.slots()), as_is(&from), into(&to));
    for (int i = 0; i < 40; ++i) {
      double sum = 0.0;
      for (int l = 0; l < n; ++l) sum = std::fma(double(A.slots()[l][i]), double(x[l]), sum);
      ASSERT_SAME(y[i], static_cast<Real>(sum)) << "row " << i << ", " << n << " terms";
    }
    EXPECT_TRUE(y.zone_intact());
  }
}

}  // namespace

// tests/support/products.hpp - a table of all products of two factors, and the comparison of each with
// a plain triple loop.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/columns.hpp"
#include "tests/support/twins.hpp"

/// A factor and how it is stored.
enum class Factor { vector, general, transposed, symmetric, upper, upper_transposed };

/// Where a product goes.
enum class Into {
  table,     ///< in a column table or vector of its own
  triangle,  ///< on and above the diagonal of a table of its own
  right,     ///< in the place of the right factor
  right_triangle,
  right_turned,  ///< in the place of the right factor, after M_transpa of it
};

/// The scratch of a product: as many elements as the product has rows.
enum class Scratch { none, from_malloc, from_new_array };

template <class Real>
struct Product {
  const char* name;
  Factor left, right;
  const char* shape;  ///< rows, terms and columns of the product, by the names of the counts; 1 for one
  const char* counts;  ///< the counts in the order of the arguments
  Into into;
  int status;  ///< of a success
  Scratch scratch;
  bool single;  ///< both factors are one argument
  int (*call)(Real* const* L, Real* const* R, Real* const* C, const int* c);

  bool in_place() const { return into != Into::table && into != Into::triangle; }
  bool upper_result() const { return into == Into::triangle || into == Into::right_triangle; }
};

#define DOES(...)                                                                                      \
  [](Real* const* L, [[maybe_unused]] Real* const* R, [[maybe_unused]] Real* const* C, const int* c) { \
    __VA_ARGS__;                                                                                       \
    return 0;                                                                                          \
  }
#define GIVES(...)                                                                                     \
  [](Real* const* L, [[maybe_unused]] Real* const* R, [[maybe_unused]] Real* const* C, const int* c) { \
    return __VA_ARGS__;                                                                                \
  }

// clang-format off
template <class Real>
std::vector<Product<Real>> general_products() {
  using enum Factor;
  using enum Into;
  using enum Scratch;
  constexpr Factor v = Factor::vector, m = general, mt = transposed, s = symmetric;
  return {
    {"M_mv", m, v, "mn1", "mn", table, 0, none, false, DOES(M_mv(L, R[0], c[0], c[1], C[0]))},
    {"M_mtv", mt, v, "nm1", "mn", table, 0, none, false, DOES(M_mtv(L, R[0], c[0], c[1], C[0]))},
    {"M_smv", s, v, "nn1", "n", table, 0, none, false, DOES(M_smv(L, R[0], c[0], C[0]))},
    {"M_mm", m, m, "mnp", "mnp", table, 0, none, false, DOES(M_mm(L, R, c[0], c[1], c[2], C))},
    {"M_mmb", m, m, "mnp", "mnp", Into::right, 0, from_malloc, false, GIVES(M_mmb(L, R, c[0], c[1], c[2]))},
    {"M_mtm", mt, m, "nmp", "mnp", table, 0, none, false, DOES(M_mtm(L, R, c[0], c[1], c[2], C))},
    {"M_mtmb", mt, m, "nmp", "mnp", Into::right, 0, from_new_array, false, GIVES(M_mtmb(L, R, c[0], c[1], c[2]))},
    {"M_mmt", m, mt, "mnp", "mnp", table, 0, none, false, DOES(M_mmt(L, R, c[0], c[1], c[2], C))},
    {"M_mmtb", m, mt, "mnp", "mnp", right_turned, 0, from_malloc, false, GIVES(M_mmtb(L, R, c[0], c[1], c[2]))},
    {"M_mmts", m, mt, "mnm", "mn", triangle, 0, none, true, DOES(M_mmts(L, c[0], c[1], C))},
    {"M_mtms", mt, m, "nmn", "mn", triangle, 0, none, true, DOES(M_mtms(L, c[0], c[1], C))},
    {"M_smm", s, m, "nnp", "np", table, 0, none, false, DOES(M_smm(L, R, c[0], c[1], C))},
    {"M_smma", s, m, "nnp", "np", Into::right, 0, from_new_array, false, GIVES(M_smma(L, R, c[0], c[1]))},
    {"M_msm", m, s, "mnn", "nm", table, 0, none, false, DOES(M_msm(L, R, c[0], c[1], C))},
    {"M_smtm", s, mt, "nnp", "np", table, 0, none, false, DOES(M_smtm(L, R, c[0], c[1], C))},
    {"M_smtma", s, mt, "nnp", "np", right_turned, 0, from_new_array, false, GIVES(M_smtma(L, R, c[0], c[1]))},
    {"M_tmsm", mt, s, "mnn", "nm", table, 0, none, false, DOES(M_tmsm(L, R, c[0], c[1], C))},
    {"M_smsm", s, s, "nnn", "n", table, 0, none, false, DOES(M_smsm(L, R, c[0], C))},
  };
}

template <class Real>
std::vector<Product<Real>> triangular_products() {
  using enum Factor;
  using enum Into;
  using enum Scratch;
  constexpr Factor m = general, mt = transposed, u = upper, ut = upper_transposed;
  return {
    {"M_uu", u, u, "nnn", "n", triangle, 0, none, false, DOES(M_uu(L, R, c[0], C))},
    {"M_uuu", u, u, "nnn", "n", right_triangle, 1, from_new_array, false, GIVES(M_uuu(L, R, c[0]))},
    {"M_utu", ut, u, "nnn", "n", triangle, 0, none, true, DOES(M_utu(L, c[0], C))},
    {"M_utuu", ut, u, "nnn", "n", right_triangle, 0, from_new_array, true, GIVES(M_utuu(L, c[0]))},
    {"M_uut", u, ut, "nnn", "n", triangle, 0, none, true, DOES(M_uut(L, c[0], C))},
    {"M_uutu", u, ut, "nnn", "n", right_triangle, 0, from_new_array, true, GIVES(M_uutu(L, c[0]))},
    {"M_um", u, m, "nnp", "np", table, 0, none, false, DOES(M_um(L, R, c[0], c[1], C))},
    {"M_uma", u, m, "nnp", "np", Into::right, 1, from_new_array, false, GIVES(M_uma(L, R, c[0], c[1]))},
    {"M_utm", ut, m, "nnp", "np", table, 0, none, false, DOES(M_utm(L, R, c[0], c[1], C))},
    {"M_utma", ut, m, "nnp", "np", Into::right, 0, from_new_array, false, GIVES(M_utma(L, R, c[0], c[1]))},
    {"M_mu", m, u, "mnn", "nm", table, 0, none, false, DOES(M_mu(L, R, c[0], c[1], C))},
    {"M_mut", m, ut, "mnn", "nm", table, 0, none, false, DOES(M_mut(L, R, c[0], c[1], C))},
    {"M_mtu", mt, u, "mnn", "nm", table, 0, none, false, DOES(M_mtu(L, R, c[0], c[1], C))},
  };
}
// clang-format on
#undef DOES
#undef GIVES

template <class Real>
std::vector<Product<Real>> all_products() {
  auto all = general_products<Real>();
  const auto triangular = triangular_products<Real>();
  all.insert(all.end(), triangular.begin(), triangular.end());
  return all;
}

/// The product of that name.
template <class Real>
Product<Real> product_named(const std::string& name) {
  for (const auto& product : all_products<Real>())
    if (product.name == name) return product;
  throw std::invalid_argument(name);
}

/// The counts m, n and p of a call; a product uses those that it names.
struct Counts {
  int m, n, p;
  int of(char name) const { return name == 'm' ? m : name == 'n' ? n : name == 'p' ? p : 1; }
};

/// One call of a product: its operands, and what they and the result hold afterwards.
template <class Real>
class ProductCall {
 public:
  ProductCall(const Product<Real>& product, Counts counts, Room room, Data data, Random& random)
      : product_(product),
        counts_(counts),
        rows_(counts.of(product.shape[0])),
        terms_(counts.of(product.shape[1])),
        columns_(counts.of(product.shape[2])),
        left_(stored(product.left, rows_, terms_, room, data, random)),
        right_(product.into == Into::right_turned ? turned(room, data, random)
               : product.into == Into::right      ? lengthened(room, data, random)
               : product.single                   ? Columns<Real>::table(0, 0, room)
                                : stored(product.right, terms_, columns_, room, data, random)),
        out_(product.in_place()       ? Columns<Real>::table(0, 0, room)
             : product.upper_result() ? Columns<Real>::triangle(rows_, room)
                                      : Columns<Real>::table(rows_, columns_, room)) {}

  Columns<Real>& left() { return left_; }
  Columns<Real>& right() { return product_.single ? left_ : right_; }
  Columns<Real>& result() { return product_.in_place() ? right() : out_; }
  int rows() const { return rows_; }
  int terms() const { return terms_; }
  int columns() const { return columns_; }

  int call() {
    int c[3] = {};
    for (std::size_t i = 0; product_.counts[i]; ++i) c[i] = counts_.of(product_.counts[i]);
    return product_.call(left().slots(), right().slots(), out_.slots(), c);
  }

  /// The sum of element (i, k): one double, from 0, terms ascending, each a fused multiply-add.
  static double fused_sum(std::span<const double> a, std::span<const double> b) {
    double sum = 0.0;
    for (std::size_t l = 0; l < a.size(); ++l) sum = std::fma(a[l], b[l], sum);
    return sum;
  }
  /// The same in integers.
  static double integer_sum(std::span<const double> a, std::span<const double> b) {
    long long sum = 0;
    for (std::size_t l = 0; l < a.size(); ++l)
      sum += static_cast<long long>(a[l]) * static_cast<long long>(b[l]);
    return static_cast<double>(sum);
  }

  /// Calls the product and compares everything with what the plain loop leaves; sum forms one element.
  template <class Sum>
  void check(Sum sum) {
    ProductCall expected = *this;
    const int status = expected.form(sum), given = call();
    if (given != status) ADD_FAILURE() << text() << " gives " << given << ", not " << status;
    report("the left factor", left_.difference(expected.left_));
    report("the right factor", right_.difference(expected.right_));
    report("the result", out_.difference(expected.out_));
  }
  void check() { check(fused_sum); }

  std::string text() const {
    std::string text = product_.name;
    for (std::size_t i = 0; product_.counts[i]; ++i)
      text += std::string(i ? ", " : " with ") + product_.counts[i] + " = " +
              std::to_string(counts_.of(product_.counts[i]));
    return text;
  }

  /// Puts the product where it belongs. Returns the status.
  template <class Sum>
  int form(Sum sum) {
    const auto a = dense(left(), product_.left, rows_, terms_, false),
               b = dense(right(), product_.right, terms_, columns_, true);
    if (product_.into == Into::right_turned) {
      // What M_transpa leaves outside the product has tests of its own.
      const int status = M_transpa(right_.slots(), columns_, terms_);
      if (status != 0) return status;
    }
    const auto terms = static_cast<std::size_t>(std::max(terms_, 0));
    for (int k = 0; k < columns_; ++k)
      for (int i = 0; i < rows_; ++i) {
        if (product_.upper_result() && i > k) continue;
        const auto [a_first, a_end] = band(product_.left, i, terms_, false);
        const auto [b_first, b_end] = band(product_.right, k, terms_, true);
        const auto first = static_cast<std::size_t>(std::max(a_first, b_first));
        const auto end = static_cast<std::size_t>(std::max({0, std::min(a_end, b_end)}));
        const std::size_t count = end > first ? end - first : 0;
        result().at(i, k) = static_cast<Real>(sum(
            std::span(a).subspan(static_cast<std::size_t>(i) * terms + (count ? first : 0), count),
            std::span(b).subspan(static_cast<std::size_t>(k) * terms + (count ? first : 0), count)));
      }
    return product_.status;
  }

 private:
  static Columns<Real> stored(Factor factor, int rows, int columns, Room room, Data data,
                              Random& random) {
    if (factor == Factor::transposed) std::swap(rows, columns);
    const bool general =
        factor == Factor::vector || factor == Factor::general || factor == Factor::transposed;
    auto stored =
        general ? Columns<Real>::table(rows, columns, room) : Columns<Real>::triangle(rows, room);
    stored.fill(rows, columns, [&](int, int) { return element<Real>(random, data); });
    return stored;
  }
  /// A terms by columns table whose columns have room for the product.
  Columns<Real> lengthened(Room room, Data data, Random& random) const {
    auto stored = Columns<Real>::table(std::max(rows_, terms_), columns_, room);
    stored.fill(terms_, columns_, [&](int, int) { return element<Real>(random, data); });
    return stored;
  }
  /// A columns by terms table in a square with room for the transpose and the product.
  Columns<Real> turned(Room room, Data data, Random& random) const {
    const int side = std::max({rows_, terms_, columns_});
    auto stored = Columns<Real>::table(side, side, room);
    stored.fill(columns_, terms_, [&](int, int) { return element<Real>(random, data); });
    return stored;
  }

  /// The terms of line i of a factor: of its row i, or, for the right factor, of its column i.
  static std::pair<int, int> band(Factor factor, int i, int terms, bool right) {
    if (factor != Factor::upper && factor != Factor::upper_transposed) return {0, terms};
    return (factor == Factor::upper) != right ? std::pair(i, terms) : std::pair(0, i + 1);
  }
  /// The lines of a factor one behind the other, as doubles; 0 where there is no term.
  static std::vector<double> dense(const Columns<Real>& stored, Factor factor, int rows, int columns,
                                   bool right) {
    const int lines = right ? columns : rows, terms = right ? rows : columns;
    std::vector<double> values;
    for (int line = 0; line < lines; ++line) {
      const auto [first, end] = band(factor, line, terms, right);
      for (int l = 0; l < terms; ++l) {
        int i = right ? l : line, j = right ? line : l;
        const bool swap = factor == Factor::transposed || factor == Factor::upper_transposed ||
                          (factor == Factor::symmetric && i > j);
        if (swap) std::swap(i, j);
        values.push_back(l >= first && l < end ? double(stored.at(i, j)) : 0.0);
      }
    }
    return values;
  }

  void report(const char* what, const std::string& difference) const {
    if (!difference.empty()) ADD_FAILURE() << text() << ", " << what << ": " << difference;
  }

  Product<Real> product_;
  Counts counts_;
  int rows_, terms_, columns_;
  Columns<Real> left_, right_, out_;
};

/// body(counts) for every combination of -1..most in the counts that the product has, 1 in the others.
template <class Real, class Body>
void each_shape(const Product<Real>& product, int most, Body body) {
  const auto range = [&](char name) {
    return std::strchr(product.counts, name) ? std::pair(-1, most) : std::pair(1, 1);
  };
  const auto [m0, m1] = range('m');
  const auto [n0, n1] = range('n');
  const auto [p0, p1] = range('p');
  for (int m = m0; m <= m1; ++m)
    for (int n = n0; n <= n1; ++n)
      for (int p = p0; p <= p1; ++p) {
        body(Counts{m, n, p});
        if (testing::Test::HasFailure()) return;
      }
}

/// Shapes at, around and beyond the sizes of all blocks.
inline constexpr Counts large_shapes[] = {{33, 47, 65}, {65, 33, 70}, {70, 129, 17},
                                          {129, 5, 97}, {3, 97, 129}, {16, 64, 33},
                                          {31, 65, 16}, {1, 131, 34}, {47, 70, 1}};

/// Every small shape, in every room, with elements of every kind.
template <class Real>
void check_small_shapes(const std::vector<Product<Real>>& products, Random& random) {
  constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge};
  int turn = 0;
  for (const auto& product : products)
    each_shape(product, 9, [&](Counts counts) {
      ProductCall<Real>(product, counts, Room::exact, kinds[++turn % 4], random).check();
      ProductCall<Real>(product, counts, Room::spare, Data::plain, random).check();
      ProductCall<Real>(product, counts, Room::spare, kinds[1 + turn % 3], random).check();
    });
}

template <class Real>
void check_large_shapes(const std::vector<Product<Real>>& products, Random& random) {
  for (const auto& product : products)
    for (const Counts counts : large_shapes) {
      ProductCall<Real>(product, counts, Room::exact, Data::plain, random).check();
      ProductCall<Real>(product, counts, Room::spare, Data::rare, random).check();
      if (testing::Test::HasFailure()) return;
    }
}

/// Each count in turn takes every value up to seventy; the other counts are random.
template <class Real>
void check_every_count(const std::vector<Product<Real>>& products, Random& random) {
  int turn = 0;
  for (const auto& product : products)
    for (int size = 10; size <= 70; ++size)
      for (const char name : std::string("mnp")) {
        if (!std::strchr(product.counts, name)) continue;
        Counts counts = {random.integer(1, 33), random.integer(1, 33), random.integer(1, 33)};
        (name == 'm' ? counts.m : name == 'n' ? counts.n : counts.p) = size;
        const Room room = ++turn % 2 ? Room::exact : Room::spare;
        const Data data = turn % 3 == 0 ? Data::rare : Data::plain;
        ProductCall<Real>(product, counts, room, data, random).check();
        if (testing::Test::HasFailure()) return;
      }
}

/// Sums of small integers are exact, whatever the order.
template <class Real>
void check_integers(const std::vector<Product<Real>>& products, Random& random) {
  for (const auto& product : products) {
    for (const Counts counts : large_shapes)
      ProductCall<Real>(product, counts, Room::exact, Data::integers, random)
          .check(ProductCall<Real>::integer_sum);
    each_shape(product, 5, [&](Counts counts) {
      ProductCall<Real>(product, counts, Room::spare, Data::integers, random)
          .check(ProductCall<Real>::integer_sum);
    });
  }
}

/// The least int and its neighbour in each count in turn, alone and with all others.
template <class Real>
void check_negative_counts(const std::vector<Product<Real>>& products, Random& random) {
  for (const int bad : {std::numeric_limits<int>::min(), -2147483647, -65536})
    for (const auto& product : products)
      for (int which = 1; which < 8; ++which) {
        const Counts counts = {which & 1 ? bad : 3, which & 2 ? bad : 4, which & 4 ? bad : 5};
        for (const Room room : all_rooms)
          ProductCall<Real>(product, counts, room, Data::plain, random).check();
      }
}

/// In place, the same bits as out of place.
template <class Real>
void check_twin_of(const char* in_place, const char* out_of_place, Random& random) {
  const auto inner = product_named<Real>(in_place), outer = product_named<Real>(out_of_place);
  for (const Counts counts : {Counts{7, 8, 9}, Counts{8, 5, 3}, Counts{65, 33, 40}}) {
    ProductCall<Real> a(outer, counts, Room::exact, Data::plain, random),
        b(inner, counts, Room::exact, Data::plain, random);
    const auto copy = [](Columns<Real>& from, Columns<Real>& to, int rows, int columns) {
      to.fill(rows, columns, [&](int i, int j) { return from.at(i, j); });
    };
    const bool turned = inner.into == Into::right_turned,
               left_turned = inner.left == Factor::transposed;
    copy(a.left(), b.left(), left_turned ? a.terms() : a.rows(), left_turned ? a.rows() : a.terms());
    if (!inner.single)
      copy(a.right(), b.right(), turned ? a.columns() : a.terms(), turned ? a.terms() : a.columns());
    EXPECT_EQ(a.call(), 0);
    EXPECT_EQ(b.call(), inner.status) << in_place;
    for (int k = 0; k < a.columns(); ++k)
      for (int i = 0; i < (inner.upper_result() ? k + 1 : a.rows()); ++i)
        ASSERT_SAME(b.result().at(i, k), a.result().at(i, k)) << in_place << " at " << i << ", " << k;
  }
}

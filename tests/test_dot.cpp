// tests/test_dot.cpp - panels of sums, multiples added, and the product over factors and bands.
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "llsqp/kernels/dot.hpp"
#include "llsqp/kernels/product.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using namespace tabfit;

// -- panels ---------------------------------------------------------------------------------------

TEST(PanelSums, AddThePlainSumsAndTouchNoOther) {
  Random random(71);
  constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge};
  int turn = 0;
  for (int rows = 0; rows <= panel_rows; ++rows)
    for (int columns = 0; columns <= panel_columns; ++columns)
      for (int depth = 0; depth <= 5; ++depth) {
        const Data data = kinds[++turn % 4];
        // Places of the panels that are not to be read stay poison.
        Guarded<double> P(depth * panel_rows), Q(depth * panel_columns),
            sum(panel_columns * panel_rows);
        for (int l = 0; l < depth; ++l) {
          for (int r = 0; r < rows; ++r) P[l * panel_rows + r] = element<double>(random, data);
          for (int c = 0; c < columns; ++c) Q[l * panel_columns + c] = element<double>(random, data);
        }
        for (int c = 0; c < columns; ++c)
          for (int r = 0; r < rows; ++r) sum[c * panel_rows + r] = element<double>(random, data);
        Guarded<double> expected = sum;
        for (int c = 0; c < columns; ++c)
          for (int r = 0; r < rows; ++r)
            for (int l = 0; l < depth; ++l)
              expected[c * panel_rows + r] = std::fma(P[l * panel_rows + r], Q[l * panel_columns + c],
                                                      expected[c * panel_rows + r]);
        panel_sums(P.data(), Q.data(), rows, columns, depth, sum.data());
        ASSERT_TRUE(sum.zones_intact());
        for (int c = 0; c < panel_columns; ++c)
          for (int r = 0; r < panel_rows; ++r) {
            const int at = c * panel_rows + r;
            const auto text = [&] {
              return testing::Message() << "sum " << r << ", " << c << " of " << rows << " by "
                                        << columns << " at depth " << depth;
            };
            if (r < rows && c < columns)
              ASSERT_SAME(sum[at], expected[at]) << text();
            else
              ASSERT_TRUE(sum.untouched(at)) << text();
          }
      }
}

// -- multiples added ------------------------------------------------------------------------------

TWIN_TEST(Axpy, IsThePlainLoopForEveryLengthAndAlignment) {
  Random random(72);
  for (int n = -1; n <= 70; ++n)
    for (int offset = 0; offset < 8; ++offset)
      for (const Data data : {Data::plain, Data::odd, Data::tiny, Data::huge}) {
        const int size = std::max(n, 0);
        Table<Real> u(size, 1, offset), y(size, 1, random.integer(0, 7));
        u.fill([&] { return element<Real>(random, data); });
        y.fill([&] { return element<Real>(random, data); });
        const double t = element<Real>(random, data) * random.real(0.5, 1);
        auto expected = y, u_before = u;
        for (int i = 0; i < n; ++i)
          expected.at(i, 0) = static_cast<Real>(std::fma(t, double(u.at(i, 0)), double(y.at(i, 0))));
        V_axpy(t, u.slots()[0], y.slots()[0], n);
        for (int i = 0; i < n; ++i) ASSERT_SAME(y.at(i, 0), expected.at(i, 0)) << i << " of " << n;
        ASSERT_TRUE(y.intact());
        ASSERT_TABLE(u, u_before);
      }
}

TWIN_TEST(Axpy, RoundsOnceForAMultipleThatIsNoElement) {
  // t u is not a number of either type: 1/3 in double times 3 is less than 1.
  Real y[] = {-1};
  const Real u[] = {3};
  V_axpy(1.0 / 3, u, y, 1);
  EXPECT_SAME(y[0], Real(-0x1p-54));
}

// -- the product ----------------------------------------------------------------------------------

/// True if line i of a product has a term at l.
bool has_term(Band band, int i, int l) {
  return band == Band::all || (band == Band::to_l ? i <= l : i >= l);
}

void check_product(const Extent& x, Random& random) {
  const auto rows = static_cast<std::size_t>(x.rows), terms = static_cast<std::size_t>(x.terms),
             columns = static_cast<std::size_t>(x.columns);
  std::vector<double> A(rows * terms), B(terms * columns), start(rows * columns);
  for (auto* values : {&A, &B, &start})
    for (double& v : *values) v = element<double>(random, Data::plain);
  const auto a = [&](int i, int l) {
    return A[static_cast<std::size_t>(i) * terms + static_cast<std::size_t>(l)];
  };
  const auto b = [&](int l, int k) {
    return B[static_cast<std::size_t>(l) * columns + static_cast<std::size_t>(k)];
  };
  const auto at = [&](int i, int k) {
    return static_cast<std::size_t>(i) * columns + static_cast<std::size_t>(k);
  };
  std::vector<int> puts(rows * columns);
  int wrong_reads = 0, wrong_sums = 0;
  product(
      x, [&](int i, int k) { return start[at(i, k)]; },
      [&](int i, int l) {
        wrong_reads += i < 0 || i >= x.rows || l < 0 || l >= x.terms || !has_term(x.row_band, i, l);
        return a(i, l);
      },
      [&](int l, int k) {
        wrong_reads +=
            k < 0 || k >= x.columns || l < 0 || l >= x.terms || !has_term(x.column_band, k, l);
        return b(l, k);
      },
      [&](int i, int k, double given) {
        ++puts[at(i, k)];
        double sum = start[at(i, k)];
        for (int l = 0; l < x.terms; ++l)
          if (has_term(x.row_band, i, l) && has_term(x.column_band, k, l))
            sum = std::fma(a(i, l), b(l, k), sum);
        wrong_sums += !same_bits(given, sum);
      });
  SCOPED_TRACE(testing::Message() << x.rows << " by " << x.terms << " by " << x.columns << ", bands "
                                  << static_cast<int>(x.row_band) << " and "
                                  << static_cast<int>(x.column_band)
                                  << (x.upper_only ? ", upper only" : ""));
  EXPECT_EQ(wrong_reads, 0);
  EXPECT_EQ(wrong_sums, 0);
  for (int i = 0; i < x.rows; ++i)
    for (int k = 0; k < x.columns; ++k)
      ASSERT_EQ(puts[at(i, k)], x.upper_only && i > k ? 0 : 1) << i << ", " << k;
}

TEST(ProductKernel, ReadsTheTermsOfItsBandsAndPutsEachResultOnce) {
  Random random(73);
  constexpr Band bands[] = {Band::all, Band::to_l, Band::from_l};
  constexpr int sizes[][3] = {{0, 3, 3},    {3, 0, 3},     {3, 3, 0},    {1, 1, 1},
                              {5, 9, 7},    {9, 5, 7},     {32, 64, 16}, {33, 65, 17},
                              {40, 20, 50}, {70, 131, 19}, {7, 200, 40}};
  for (const Band row_band : bands)
    for (const Band column_band : bands)
      for (const auto& [rows, columns, terms] : sizes)
        for (const bool upper_only : {false, true})
          check_product({rows, columns, terms, row_band, column_band, upper_only}, random);
}

}  // namespace

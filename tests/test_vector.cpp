// tests/test_vector.cpp - the kernels on arrays: exchange, fill, copy, shift, reorder, search for the
// greatest, element by element, sums of products, tiles, scratch owners.
#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tile.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"
#include "kernels/sums/magnitude.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using namespace tabfit;

constexpr int longest = 70, offsets = 8;

/// n guarded elements of any kind, `offset` poisoned places into their array.
template <class Real>
class Run {
 public:
  Run(Random& random, int n, int offset) : table_(n, 1, offset) { table_.fill_any(random); }
  Real* data() { return table_.slots()[0]; }
  Real& operator[](int i) { return table_.at(i, 0); }
  Table<Real>& table() { return table_; }

 private:
  Table<Real> table_;
};

/// Calls body(n, offset) for every length at every offset.
template <class Body>
void each_length(Body body) {
  for (int n = 0; n <= longest; ++n)
    for (int offset = 0; offset < offsets; ++offset) {
      SCOPED_TRACE(testing::Message() << "n = " << n << ", offset " << offset);
      body(n, offset);
      if (testing::Test::HasFailure()) return;
    }
}

// -- exchange -------------------------------------------------------------------------------------

TWIN_TEST(Vector, SwapsOfSingleElementsExchangeThem) {
  Real a = 1, b = -0.0;
  E_swap(&a, &b);
  EXPECT_SAME(a, Real(-0.0));
  EXPECT_SAME(b, Real(1));
  E_swap(&a, &a);
  EXPECT_SAME(a, Real(-0.0));
  int i = 3, j = 4;
  I_swap(&i, &j);
  EXPECT_EQ(i, 4);
  EXPECT_EQ(j, 3);
  Real *p = &a, *q = &b;
  P_swap(&p, &q);
  EXPECT_EQ(p, &b);
  EXPECT_EQ(q, &a);
}

TWIN_TEST(Vector, SwapExchangesTwoRunsOfAnyLengthAndAlignment) {
  Random random(1);
  each_length([&](int n, int offset) {
    Run<Real> x(random, n, offset), y(random, n, random.integer(0, offsets - 1));
    Run<Real> old_x = x, old_y = y;
    V_swap(x.data(), y.data(), n);
    EXPECT_TRUE(x.table().intact() && y.table().intact());
    for (int i = 0; i < n; ++i) {
      ASSERT_EQ(bits_of(x[i]), bits_of(old_y[i])) << i;
      ASSERT_EQ(bits_of(y[i]), bits_of(old_x[i])) << i;
    }
    V_swap(x.data(), x.data(), n);
    for (int i = 0; i < n; ++i) ASSERT_EQ(bits_of(x[i]), bits_of(old_y[i])) << i;
  });
}

TWIN_TEST(Vector, LengthsBelowOneDoNothing) {
  Random random(2);
  Run<Real> x(random, 4, 0), y(random, 4, 0);
  Run<Real> old_x = x, old_y = y;
  Real* slots[] = {x.data(), y.data()};
  Real* others[] = {y.data(), x.data()};
  int idx[] = {7, 8, 9};
  for (const int n : {0, -1, -70, INT_MIN + 1, INT_MIN}) {
    V_swap(x.data(), y.data(), n);
    V_fill(x.data(), n, 5);
    V_neg(x.data(), n);
    V_copy(x.data(), y.data(), n);
    P_copy(slots, others, n);
    for (const char op : {'*', '+', '-', 'l', '?'}) V_op(x.data(), x.data(), y.data(), n, op, 2, 3);
    for (const int k : {0, 1, -1, INT_MAX, INT_MIN}) {
      V_shift(x.data(), n, k);
      I_shift(idx, n, k);
      P_shift(slots, n, k);
    }
    EXPECT_EQ(V_perm(x.data(), n, idx), 0);
    EXPECT_EQ(P_perm(slots, n, idx), 0);
    EXPECT_EQ(V_imax(x.data(), n), 0);
    EXPECT_EQ(V_iamax(x.data(), n), 0);
    EXPECT_SAME(V_dot(x.data(), y.data(), n), 0.0);
    EXPECT_SAME(V_sumsq(x.data(), n), 0.0);
  }
  EXPECT_TABLE(x.table(), old_x.table());
  EXPECT_TABLE(y.table(), old_y.table());
  EXPECT_EQ(slots[0], x.data());
  EXPECT_EQ(others[0], y.data());
  EXPECT_EQ(idx[0], 7);
  EXPECT_EQ(idx[1], 8);
}

// -- fill, negate, copy ---------------------------------------------------------------------------

TWIN_TEST(Vector, FillWritesTheRoundedValueAndNothingElse) {
  Random random(3);
  each_length([&](int n, int offset) {
    for (const double value : {0.1, -0.0, 1e-310, -3.0}) {
      Run<Real> x(random, n, offset);
      V_fill(x.data(), n, value);
      EXPECT_TRUE(x.table().intact());
      for (int i = 0; i < n; ++i) ASSERT_SAME(x[i], static_cast<Real>(value)) << i;
    }
  });
  Real x[] = {1, 2};
  V_fill(x, 1, std::numeric_limits<double>::infinity());
  EXPECT_SAME(x[0], inf_of<Real>);
  V_fill(x, 1, std::numeric_limits<double>::quiet_NaN());
  EXPECT_TRUE(std::isnan(x[0]));
  EXPECT_SAME(x[1], Real(2));
}

TWIN_TEST(Vector, NegFlipsEverySignAlsoOfZeroAndNaN) {
  Random random(4);
  each_length([&](int n, int offset) {
    Run<Real> x(random, n, offset), old = x;
    V_neg(x.data(), n);
    EXPECT_TRUE(x.table().intact());
    for (int i = 0; i < n; ++i) {
      ASSERT_NE(std::signbit(x[i]), std::signbit(old[i])) << i;
      ASSERT_SAME(std::abs(x[i]), std::abs(old[i])) << i;
    }
  });
}

TWIN_TEST(Vector, CopyMovesTheBitsOfEveryElement) {
  Random random(5);
  each_length([&](int n, int offset) {
    Run<Real> x(random, n, offset), y(random, n, random.integer(0, offsets - 1)), old = x;
    V_copy(x.data(), y.data(), n);
    EXPECT_TRUE(y.table().intact());
    EXPECT_TABLE(x.table(), old.table());
    for (int i = 0; i < n; ++i) ASSERT_EQ(bits_of(y[i]), bits_of(x[i])) << i;
    V_copy(x.data(), x.data(), n);
    EXPECT_TABLE(x.table(), old.table());
  });
}

TWIN_TEST(Vector, CopyMayBeginInsideTheSourceBelowIt) {
  Random random(6);
  for (int n = 0; n <= longest; ++n)
    for (int down = 1; down <= 9; ++down) {
      Run<Real> x(random, n + down, 0), old = x;
      V_copy(x.data() + down, x.data(), n);
      EXPECT_TRUE(x.table().intact());
      for (int i = 0; i < n; ++i) ASSERT_EQ(bits_of(x[i]), bits_of(old[i + down])) << n << " " << down;
      for (int i = n; i < n + down; ++i) ASSERT_EQ(bits_of(x[i]), bits_of(old[i])) << n << " " << down;
    }
}

TWIN_TEST(Vector, CopyOfColumnPointersCopiesThePointers) {
  std::vector<Real> elements(longest + 2);
  for (int n = 0; n <= longest; ++n) {
    std::vector<Real*> from, to(longest + 1, elements.data());
    for (int i = 0; i <= longest; ++i) from.push_back(elements.data() + i + 1);
    P_copy(from.data(), to.data(), n);
    for (int i = 0; i <= longest; ++i)
      ASSERT_EQ(to[i], i < n ? from[i] : elements.data()) << i << " " << n;
  }
}

// -- search for the greatest ----------------------------------------------------------------------

template <class Real>
int plain_imax(const std::vector<Real>& x, int n) {
  Real best = x[0];
  int index = 0;
  for (int i = 0; i < n; ++i) {
    if (x[i] > best) {
      index = i;
      best = x[i];
    }
  }
  return index;
}

template <class Real>
int plain_iamax(const std::vector<Real>& x, int n) {
  Real running = x[0] < 0 ? -x[0] : x[0];
  int index = 0;
  for (int i = 0; i < n; ++i) {
    const Real magnitude = std::fabs(x[i]);
    if (magnitude > running) {
      index = i;
      running = x[i];
    }
  }
  return index;
}

template <class Real>
int imax(std::vector<Real> x) {
  return V_imax(x.data(), static_cast<int>(x.size()));
}
template <class Real>
int iamax(std::vector<Real> x) {
  return V_iamax(x.data(), static_cast<int>(x.size()));
}

TWIN_TEST(Vector, ImaxGivesTheFirstOfEqualMaxima) {
  EXPECT_EQ(imax<Real>({2, 5, 5}), 1);
  EXPECT_EQ(imax<Real>({5, 2, 5}), 0);
  EXPECT_EQ(imax<Real>({-3, -2, -2, -4}), 1);
  EXPECT_EQ(imax<Real>({-Real(0), 0}), 0);
  EXPECT_EQ(imax<Real>({7}), 0);
  EXPECT_EQ(imax<Real>({-inf_of<Real>, -std::numeric_limits<Real>::max()}), 1);
}

TWIN_TEST(Vector, ImaxNeverGivesANaNThatIsNotTheFirstElement) {
  EXPECT_EQ(imax<Real>({1, nan_of<Real>}), 0);
  EXPECT_EQ(imax<Real>({nan_of<Real>, 1}), 0);
  EXPECT_EQ(imax<Real>({1, nan_of<Real>, 2}), 2);
  EXPECT_EQ(imax<Real>({nan_of<Real>, inf_of<Real>, 2}), 0);
}

TWIN_TEST(Vector, IamaxKeepsTheSignOfTheElementItHasChosen) {
  EXPECT_EQ(iamax<Real>({1, -5, 2}), 2);
  EXPECT_EQ(iamax<Real>({-5, 1, 2}), 0);
  EXPECT_EQ(iamax<Real>({0, -1, 0}), 2);
  EXPECT_EQ(iamax<Real>({-3, 1}), 0);
  EXPECT_EQ(iamax<Real>({1, 5, -2, -5, 5}), 1);
  EXPECT_EQ(iamax<Real>({1, -2, nan_of<Real>, 0, 3}), 4);
  EXPECT_EQ(iamax<Real>({nan_of<Real>, 3}), 0);
}

TWIN_TEST(Vector, MaximaAreThoseOfThePlainLoopsOnTiesSignsAndNaN) {
  Random random(7);
  each_length([&](int n, int offset) {
    for (int kind = 0; kind < 4; ++kind) {
      Run<Real> x(random, n + 1, offset);  // element 0 is read even if n = 0
      for (int i = 0; i <= n; ++i) {
        if (kind == 1) x[i] = static_cast<Real>(random.integer(-3, 3));
        if (kind == 2) x[i] = static_cast<Real>(-random.integer(0, 9));
        if (kind == 3)
          x[i] = random.chance(5) ? nan_of<Real> : static_cast<Real>(random.integer(0, 99));
      }
      const std::vector<Real> copy(x.data(), x.data() + n + 1);
      ASSERT_EQ(V_imax(x.data(), n), plain_imax(copy, n)) << testing::PrintToString(copy);
      ASSERT_EQ(V_iamax(x.data(), n), plain_iamax(copy, n)) << testing::PrintToString(copy);
    }
  });
}

/// Compares V_iamax with the plain scan on n elements that touch a fence.
template <class Real, class Element>
void check_iamax(Fenced<Real>& array, int n, Touching touching, Element element) {
  Real* x = array.lay(n, Guarded<Real>::poison(), touching);
  for (int i = 0; i < n; ++i) x[i] = element(i);
  const std::vector<Real> copy(x, x + n);
  ASSERT_EQ(V_iamax(x, n), plain_iamax(copy, n)) << n << ": " << testing::PrintToString(copy);
}

// After every negative element that is chosen the rule starts anew. So the data make chains of choices:
// few values, many of them negative, ties, NaN, zeros of both signs, infinities.
TWIN_TEST(Vector, IamaxOfAnyLengthIsThePlainScanOnTiesSignsNaNAndInfinities) {
  using Limits = std::numeric_limits<Real>;
  Random random(13);
  Fenced<Real> array(200);
  const Real greatest = Limits::max(), least = Limits::denorm_min(), nan = nan_of<Real>;
  const std::vector<std::vector<Real>> values = {
      {-1, 1},
      {-1, -1, -1, 1},
      {-2, 2, -1, 1, 0, Real(-0.0)},
      {0, Real(-0.0)},
      {Real(-0.0), -least, least},
      {-3, nan},
      {-3, -2, -1, nan, -nan, 1},
      {nan, -nan},
      {inf_of<Real>, -inf_of<Real>, nan, greatest, -greatest, 0},
      {-inf_of<Real>, -inf_of<Real>, 1, 2},
      {-greatest, -greatest, greatest, -inf_of<Real>},
      {-5, -4, -3, -2, -1},
      {1, 1, 1, 1, 1, 1, 1, -2},
      {1, 1, 1, 1, 1, 1, 1, nan},
  };
  for (int n = 1; n <= 200; ++n) {
    const Touching touching = n % 2 ? Touching::end : Touching::begin;
    for (const std::vector<Real>& few : values) {
      const int most = static_cast<int>(few.size()) - 1;
      const auto any = [&] { return few[static_cast<std::size_t>(random.integer(0, most))]; };
      check_iamax(array, n, touching, [&](int) { return any(); });
      // The same behind an element that may win over all others, or hide them.
      const Real first = n % 3 == 0 ? nan : n % 3 == 1 ? Real(0) : any();
      check_iamax(array, n, touching, [&](int i) { return i == 0 ? first : any(); });
      // A few such elements among many of one value.
      const Real field = any();
      check_iamax(array, n, touching, [&](int) { return random.chance(20) ? any() : field; });
      if (testing::Test::HasFatalFailure()) return;
    }
    // Falling magnitudes, all negative: every element is chosen, and replaced by the next.
    check_iamax(array, n, touching, [&](int i) { return Real(-(n - i)); });
    check_iamax(array, n, touching, [&](int i) { return Real(-(n - i) / 2); });
    check_iamax(array, n, touching, [&](int i) { return i == 0 ? Real(0) : Real(i - n); });
    check_iamax(array, n, touching, [&](int i) { return i == n - 1 ? Real(-n) : Real(1); });
    check_iamax(array, n, touching, [&](int i) { return i == n / 2 ? Real(-9) : nan; });
    check_iamax(array, n, touching, [&](int) { return any_element<Real>(random); });
    if (testing::Test::HasFatalFailure()) return;
  }
}

// -- shift ----------------------------------------------------------------------------------------

template <class Element>
void plain_shift(std::vector<Element>& x, long n, long k) {
  if (k > 0)
    for (long i = n - 1; i >= k; --i) x[i] = x[i - k];
  else
    for (long i = 0; i <= n + k - 1; ++i) x[i] = x[i - k];
}

TWIN_TEST(Vector, ShiftMovesUpAndDownAndLeavesThePlacesThatElementsLeave) {
  const auto shifted = [](int k) {
    std::array<Real, 4> x = {1, 2, 3, 4};
    V_shift(x.data(), 4, k);
    return x;
  };
  EXPECT_EQ(shifted(1), (std::array<Real, 4>{1, 1, 2, 3}));
  EXPECT_EQ(shifted(-1), (std::array<Real, 4>{2, 3, 4, 4}));
  EXPECT_EQ(shifted(3), (std::array<Real, 4>{1, 2, 3, 1}));
  EXPECT_EQ(shifted(-3), (std::array<Real, 4>{4, 2, 3, 4}));
  for (const int k : {0, 4, -4, 5, -5, INT_MAX, INT_MIN})
    EXPECT_EQ(shifted(k), (std::array<Real, 4>{1, 2, 3, 4})) << k;
}

TWIN_TEST(Vector, ShiftByEveryDistanceIsThatOfThePlainLoops) {
  Random random(8);
  each_length([&](int n, int offset) {
    for (int k = -n - 2; k <= n + 2; ++k) {
      Run<Real> x(random, n, offset);
      std::vector<Real> expected(x.data(), x.data() + n);
      plain_shift(expected, n, k);
      V_shift(x.data(), n, k);
      ASSERT_TRUE(x.table().intact()) << "k = " << k;
      for (int i = 0; i < n; ++i) ASSERT_EQ(bits_of(x[i]), bits_of(expected[i])) << i << ", k = " << k;
    }
  });
}

TWIN_TEST(Vector, ShiftsOfIndicesAndOfColumnPointersDoTheSame) {
  std::vector<Real> elements(longest + 2);
  for (int n = 0; n <= longest; ++n)
    for (int k = -n - 2; k <= n + 2; ++k) {
      Guarded<int> index(n);
      std::vector<int> expected(static_cast<std::size_t>(n));
      std::vector<Real*> column(static_cast<std::size_t>(n) + 1, elements.data());
      for (int i = 0; i < n; ++i) {
        index[i] = expected[i] = i;
        column[i] = elements.data() + 1 + i;
      }
      plain_shift(expected, n, k);
      I_shift(index.data(), n, k);
      P_shift(column.data(), n, k);
      ASSERT_TRUE(index.zones_intact()) << n << " " << k;
      ASSERT_EQ(column[n], elements.data()) << n << " " << k;
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(index[i], expected[i]) << "element " << i << ", n = " << n << ", k = " << k;
        ASSERT_EQ(column[i] - elements.data() - 1, expected[i]) << i << ", n = " << n << ", k = " << k;
      }
    }
}

// -- element by element ---------------------------------------------------------------------------

template <class Real>
Real plain_op(Real x, Real y, Real z, char op, double a, double b) {
  const double xd = x, yd = y;
  if (op == '*') return static_cast<Real>(yd * xd);
  if (op == '+') return static_cast<Real>(yd + xd);
  if (op == '-') return static_cast<Real>(xd - yd);
  if (op == 'l') return static_cast<Real>(std::fma(b, yd, a * xd));
  return z;
}

TWIN_TEST(Vector, OpComputesTheFourOperationsAlsoInPlace) {
  Random random(9);
  each_length([&](int n, int offset) {
    for (const char op : {'*', '+', '-', 'l', 'L'}) {
      const double a = any_element<double>(random), b = any_element<double>(random);
      for (int place = 0; place < 4; ++place) {  // z apart; z is x; z is y; all the same
        SCOPED_TRACE(testing::Message() << "op " << op << ", place " << place);
        Run<Real> x(random, n, offset), y(random, n, random.integer(0, offsets - 1));
        Run<Real> z(random, n, random.integer(0, offsets - 1));
        Run<Real> old_x = x, old_y = place == 3 ? x : y;
        Run<Real> old_z = place == 0 ? z : place == 2 ? y : x;
        Run<Real>& out = place == 0 ? z : place == 2 ? y : x;
        V_op(x.data(), place == 3 ? x.data() : y.data(), out.data(), n, op, a, b);
        EXPECT_TRUE(x.table().intact() && y.table().intact() && z.table().intact());
        for (int i = 0; i < n; ++i) {
          ASSERT_SAME(out[i], plain_op(old_x[i], old_y[i], old_z[i], op, a, b)) << i;
          if (place == 0 || place == 2) {
            ASSERT_EQ(bits_of(x[i]), bits_of(old_x[i])) << i;
          }
          if (place < 2) {
            ASSERT_EQ(bits_of(y[i]), bits_of(old_y[i])) << i;
          }
        }
      }
    }
  });
}

TWIN_TEST(Vector, OpMinusSubtractsTheSecondFromTheFirst) {
  const Real x[] = {5, -1}, y[] = {3, 4};
  Real z[] = {0, 0};
  V_op(x, y, z, 2, '-');
  EXPECT_SAME(z[0], Real(2));
  EXPECT_SAME(z[1], Real(-5));
}

TWIN_TEST(Vector, OpWithAnyOtherCharacterLeavesTheResultUntouched) {
  const Real x[] = {5, -1}, y[] = {3, 4};
  for (int c = CHAR_MIN; c <= CHAR_MAX; ++c) {
    if (std::string("*+-l").find(static_cast<char>(c)) != std::string::npos) continue;
    Guarded<Real> z(2);
    V_op(x, y, z.data(), 2, static_cast<char>(c), 1, 1);
    EXPECT_TRUE(z.untouched_from(0) && z.zones_intact()) << c;
  }
}

TEST(Vector_f, OpRoundsOnceToAFloat) {
  // 3 * 2^-24 would be lost if each step were rounded to float.
  const float x[] = {1}, y[] = {1};
  float z[] = {0};
  V_op(x, y, z, 1, 'l', 0x1.000001p0, 0x1p-24);
  EXPECT_EQ(z[0], 0x1.000002p0F);
}

TEST(Vector_d, OpAddsTheExactSecondProductToTheRoundedFirst) {
  // a x = 1 + 2^-53 - 2^-105 is rounded to 1; b y = -a x is not rounded before it is added.
  const double x[] = {1 + 0x1p-52}, y[] = {1 - 0x1p-53};
  double z[] = {0};
  V_op(x, y, z, 1, 'l', 1 - 0x1p-53, -(1 + 0x1p-52));
  EXPECT_SAME(z[0], 0x1p-105 - 0x1p-53);
}

// -- reorder by an index vector -------------------------------------------------------------------

/// The steps as they are defined. After a refusal x and idx keep the exchanges made before it.
template <class Element>
int plain_perm(std::vector<Element>& x, std::vector<int>& idx) {
  const int n = static_cast<int>(idx.size());
  for (int i = 0; i <= n - 2; ++i) {
    int found = -1;
    for (int j = n - 1; j >= i; --j)
      if (idx[j] == i) found = j;
    if (found < 0) return -1;
    const Element element = x[i];
    x[i] = x[found];
    x[found] = element;
    const int index = idx[i];
    idx[i] = idx[found];
    idx[found] = index;
  }
  return 0;
}

/// Reorders 1..n by idx with V_perm and P_perm and compares both with the steps.
template <class Real>
void expect_plain_perm(const std::vector<int>& idx) {
  const int n = static_cast<int>(idx.size());
  std::vector<Real> elements(idx.size() + 1), expected;
  Guarded<Real> x(n);
  Guarded<int> x_index(n), p_index(n);
  std::vector<Real*> p(idx.size() + 1, elements.data());
  for (int i = 0; i < n; ++i) {
    x[i] = static_cast<Real>(i + 1);
    expected.push_back(x[i]);
    p[i] = elements.data() + i + 1;
    x_index[i] = p_index[i] = idx[i];
  }
  std::vector<int> expected_index = idx;
  const int status = plain_perm(expected, expected_index);
  ASSERT_EQ(V_perm(x.data(), n, x_index.data()), status) << testing::PrintToString(idx);
  ASSERT_EQ(P_perm(p.data(), n, p_index.data()), status) << testing::PrintToString(idx);
  ASSERT_TRUE(x.zones_intact() && x_index.zones_intact() && p_index.zones_intact());
  ASSERT_EQ(p[n], elements.data());
  for (int i = 0; i < n; ++i) {
    ASSERT_SAME(x[i], expected[i]) << testing::PrintToString(idx) << " at " << i;
    ASSERT_EQ(p[i] - elements.data(), expected[i]) << testing::PrintToString(idx) << " at " << i;
    ASSERT_EQ(x_index[i], expected_index[i]) << testing::PrintToString(idx) << " at " << i;
    ASSERT_EQ(p_index[i], expected_index[i]) << testing::PrintToString(idx) << " at " << i;
  }
}

TWIN_TEST(Vector, PermMovesElementPToPositionIdxOfP) {
  Real x[] = {10, 20, 30};
  int idx[] = {2, 0, 1};
  EXPECT_EQ(V_perm(x, 3, idx), 0);
  EXPECT_EQ(std::vector<Real>(x, x + 3), (std::vector<Real>{20, 30, 10}));
  EXPECT_EQ(std::vector<int>(idx, idx + 3), (std::vector<int>{0, 1, 2}));
}

TWIN_TEST(Vector, PermReportsAMissingIndexAndAcceptsAnyLastOne) {
  Real x[] = {10, 20, 30};
  int no_zero[] = {1, 1, 2}, no_last[] = {0, 0, 1};
  EXPECT_EQ(V_perm(x, 3, no_zero), -1);
  EXPECT_EQ(std::vector<Real>(x, x + 3), (std::vector<Real>{10, 20, 30}));
  EXPECT_EQ(V_perm(x, 3, no_last), 0);
  EXPECT_EQ(std::vector<Real>(x, x + 3), (std::vector<Real>{10, 30, 20}));
  EXPECT_EQ(std::vector<int>(no_last, no_last + 3), (std::vector<int>{0, 1, 0}));
}

TWIN_TEST(Vector, PermOfFewerThanTwoElementsDoesNotLookAtTheIndices) {
  Real x[] = {10};
  Real* p[] = {x};
  int odd[] = {5};
  for (const int n : {1, 0, -1}) {
    EXPECT_EQ(V_perm(x, n, static_cast<int*>(nullptr)), 0) << n;
    EXPECT_EQ(P_perm(p, n, static_cast<int*>(nullptr)), 0) << n;
    EXPECT_EQ(V_perm(x, n, odd), 0) << n;
  }
  EXPECT_SAME(x[0], Real(10));
  EXPECT_EQ(odd[0], 5);
}

TWIN_TEST(Vector, PermutationsScatterAsAMap) {
  Random random(10);
  for (int n = 2; n <= 200; n += 1 + n / 30) {
    const std::vector<int> idx = random_permutation(random, n);
    std::vector<Real> x(static_cast<std::size_t>(n));
    for (int p = 0; p < n; ++p) x[p] = static_cast<Real>(p);
    std::vector<int> consumed = idx;
    ASSERT_EQ(V_perm(x.data(), n, consumed.data()), 0);
    for (int p = 0; p < n; ++p) {
      ASSERT_SAME(x[idx[p]], static_cast<Real>(p)) << "n = " << n;
      ASSERT_EQ(consumed[p], p) << "n = " << n;
    }
    expect_plain_perm<Real>(idx);
  }
}

TWIN_TEST(Vector, PermOfEveryIndexVectorUpToFiveGoesAsFarAsItsSteps) {
  for (int n = 2; n <= 5; ++n) {
    std::vector<int> idx(static_cast<std::size_t>(n), -1);
    for (bool more = true; more;) {
      expect_plain_perm<Real>(idx);
      if (testing::Test::HasFatalFailure()) return;
      int digit = 0;  // the next vector over -1..n
      while (digit < n && idx[digit] == n) idx[digit++] = -1;
      more = digit < n;
      if (more) ++idx[digit];
    }
  }
}

TWIN_TEST(Vector, PermOfLongBrokenIndexVectorsGoesAsFarAsItsSteps) {
  Random random(11);
  for (int run = 0; run < 300; ++run) {
    const int n = random.integer(6, longest);
    std::vector<int> idx = random_permutation(random, n);
    for (int spoilt = random.integer(1, 3); spoilt > 0; --spoilt)
      idx[random.integer(0, n - 1)] =
          random.chance(2) ? random.integer(0, n - 1) : random.integer(-9, 999);
    expect_plain_perm<Real>(idx);
    if (testing::Test::HasFatalFailure()) return;
  }
}

// -- sums of products -----------------------------------------------------------------------------

template <class Real>
double plain_dot(const Real* x, const Real* y, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) sum = std::fma(static_cast<double>(x[i]), static_cast<double>(y[i]), sum);
  return sum;
}

TWIN_TEST(Dot, IsThePlainLoopBitForBit) {
  Random random(12);
  each_length([&](int n, int offset) {
    for (int kind = 0; kind < 3; ++kind) {
      Run<Real> x(random, n, offset), y(random, n, random.integer(0, offsets - 1));
      for (int i = 0; i < n && kind > 0;
           ++i) {  // numbers only; numbers of alternating sign that cancel
        x[i] = static_cast<Real>(random.real(-1, 1));
        y[i] = static_cast<Real>(kind == 1 ? random.real(-1, 1) : 1 / x[i] * (i % 2 ? 1 : -1));
      }
      Run<Real> old_x = x, old_y = y;
      ASSERT_SAME(V_dot(x.data(), y.data(), n), plain_dot(x.data(), y.data(), n)) << "kind " << kind;
      ASSERT_SAME(V_sumsq(x.data(), n), plain_dot(x.data(), x.data(), n)) << "kind " << kind;
      EXPECT_TABLE(x.table(), old_x.table());
      EXPECT_TABLE(y.table(), old_y.table());
    }
  });
}

TWIN_TEST(Dot, IsThePlainLoopWithOneOddElementAnywhere) {
  using Limits = std::numeric_limits<Real>;
  const Real odd[] = {Limits::infinity(),   -Limits::infinity(),   Limits::quiet_NaN(), Real(-0.0),
                      Limits::denorm_min(), -Limits::denorm_min(), Limits::max(),       Limits::min()};
  Random random(13);
  for (const Real element : odd)
    for (int at = 0; at < longest; ++at) {
      std::vector<Real> x, y;
      for (int i = 0; i < longest; ++i) {
        x.push_back(static_cast<Real>(random.real(-2, 2)));
        y.push_back(random.chance(6) ? element : static_cast<Real>(random.real(-2, 2)));
      }
      x[at] = element;
      ASSERT_SAME(V_dot(x.data(), y.data(), longest), plain_dot(x.data(), y.data(), longest)) << at;
      ASSERT_SAME(V_sumsq(x.data(), longest), plain_dot(x.data(), x.data(), longest)) << at;
    }
}

TWIN_TEST(Dot, OfZerosKeepsThePositiveZeroItStartsWith) {
  const Real x[] = {Real(-0.0), Real(-0.0)}, y[] = {1, 1};
  EXPECT_SAME(V_dot(x, y, 2), 0.0);
}

TEST(Dot_f, KeepsInDoubleWhatFloatSumsWouldLose) {
  const float x[] = {1e8F, 1, -1e8F}, y[] = {1, 1, 1};
  EXPECT_SAME(V_dot(x, y, 3), 1.0);
  const float u[] = {1 + 0x1p-23F}, v[] = {1 - 0x1p-23F};
  EXPECT_SAME(V_dot(u, v, 1), 1 - 0x1p-46);
}

TEST(Dot_d, AddsTheExactProductWithOneRounding) {
  const double x[] = {-1, 1 + 0x1p-52}, y[] = {1, 1 - 0x1p-52};
  EXPECT_SAME(V_dot(x, y, 2), -0x1p-104);
}

TEST(Dot_d, SumsInAscendingOrder) {
  const double one[] = {1, 1, 1, 1}, x[] = {1, 0x1p60, -0x1p60, 1}, y[] = {0x1p60, -0x1p60, 1, 1};
  EXPECT_SAME(V_dot(x, one, 4), 1.0);
  EXPECT_SAME(V_dot(y, one, 4), 2.0);
}

// -- tiles ----------------------------------------------------------------------------------------

TWIN_TEST(Tile, MovesABlockOfAnyShapeTransposed) {
  Random random(14);
  for (int m = 0; m <= 21; ++m)
    for (int n = 0; n <= 21; ++n) {
      Table<Real> A(n, m, random.integer(0, offsets - 1)), B(m, n, random.integer(0, offsets - 1));
      A.fill_any(random);
      Table<Real> old = A;
      move_transposed(
          m, n, [&](std::ptrdiff_t i) { return A.slots()[i]; },
          [&](std::ptrdiff_t j) { return B.slots()[j]; });
      EXPECT_TRUE(B.intact());
      ASSERT_TABLE(A, old) << m << " by " << n;
      for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j)
          ASSERT_EQ(bits_of(B.at(i, j)), bits_of(A.at(j, i)))
              << m << " by " << n << " at " << i << ", " << j;
    }
}

TWIN_TEST(Tile, ExchangesASquareOfAnyOrderWithItsTranspose) {
  Random random(15);
  for (int n = 0; n <= 100; ++n) {
    Table<Real> A(n, n, random.integer(0, offsets - 1));
    A.fill_any(random);
    Table<Real> old = A;
    exchange_transposed(n, [&](std::ptrdiff_t j) { return A.slots()[j]; });
    EXPECT_TRUE(A.intact());
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        ASSERT_EQ(bits_of(A.at(i, j)), bits_of(old.at(j, i)))
            << "order " << n << " at " << i << ", " << j;
  }
}

// -- scratch owners -------------------------------------------------------------------------------

TWIN_TEST(Scratch, FromCallocIsZeroAndRefusedForANegativeCount) {
  for (const int n : {1, 2, 17, 4096}) {
    const auto x = c_array<Real>(n);
    ASSERT_TRUE(x) << n;
    for (int i = 0; i < n; ++i) ASSERT_SAME(x[i], Real(0)) << n;
  }
  EXPECT_TRUE(c_array<Real>(0));
  EXPECT_FALSE(c_array<Real>(-1));
  EXPECT_FALSE(c_array<Real>(INT_MIN));
}

TWIN_TEST(Scratch, FromMallocAndNewHoldsTheCountAndAsksForNoneBelowOne) {
  for (const int n : {1, 2, 17, 4096}) {
    const auto x = malloc_array<Real>(n);
    const auto y = new_array<Real>(n);
    ASSERT_TRUE(x && y) << n;
    V_fill(x.get(), n, 1);  // a sanitizer reports a block that is too short
    V_fill(y.get(), n, 1);
    EXPECT_SAME(V_dot(x.get(), y.get(), n), double(n));
  }
  for (const int n : {0, -1, INT_MIN}) {
    EXPECT_TRUE(malloc_array<Real>(n)) << n;
    EXPECT_TRUE(new_array<Real>(n)) << n;
  }
}

}  // namespace

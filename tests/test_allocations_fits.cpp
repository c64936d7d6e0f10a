// tests/test_allocations_fits.cpp - what solvers and fits take from the heap, keep and give back, and
// what they do when a request is refused.
#include <algorithm>
#include <climits>
#include <functional>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace {

constexpr std::size_t slot = sizeof(void*);
constexpr std::size_t too_much = std::size_t{1} << 30;

std::size_t product(int a, int b) { return static_cast<std::size_t>(a) * static_cast<std::size_t>(b); }

/// Blocks of calloc, by their bytes.
Usage blocks(const std::vector<std::size_t>& bytes) {
  Usage usage;
  for (const std::size_t b : bytes) {
    ++usage.calloc.blocks;
    usage.calloc.bytes += b;
  }
  return usage;
}

std::vector<std::size_t> together(const std::vector<std::vector<std::size_t>>& parts) {
  std::vector<std::size_t> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

/// The two counts of a call, such as rows and columns.
struct Counts {
  int first, second;
};

/// What a call with one request refused did.
struct Refused {
  int status = 99;
  Account account;
};

/// The result and the account of call with request number k refused (none: all granted).
template <class Call>
Refused refuse(int k, Call call) {
  Refused result;
  allocation_probe::begin(k);
  result.status = call();
  result.account = allocation_probe::end();
  EXPECT_EQ(result.account.mismatches, 0) << "blocks released by another allocator's function";
  EXPECT_EQ(result.account.refused, k == allocation_probe::none ? 0 : 1) << "request " << k;
  return result;
}

/// The call must return the status and request nothing.
template <class Call>
void expect_no_request(Call call, int status) {
  allocation_probe::begin();
  const int got = call();
  EXPECT_EQ(allocation_probe::end().requests, 0);
  EXPECT_EQ(got, status);
}

/// The same as refuse(), with all requests granted.
template <class Call>
Refused granted(Call call) {
  return refuse(allocation_probe::none, call);
}

/// Data of a fit that has full rank: m points at 0, 1, ..., m - 1.
template <class Real>
struct Points {
  std::vector<Real> x, y;
  explicit Points(int m) {
    for (int i = 0; i < m; ++i) {
      x.push_back(static_cast<Real>(i));
      y.push_back(static_cast<Real>((i * 7) % 5));
    }
  }
};

/// The same number of points, all but the last in the first tenth of the range. With 8 interior knots
/// some basis function is then zero at all points.
template <class Real>
struct Clustered : Points<Real> {
  explicit Clustered(int m) : Points<Real>(m) { this->x.back() = static_cast<Real>(10 * (m - 1)); }
};

// == least squares ================================================================================

/// Guarded columns of m elements, the last one of max(m, n).
template <class Real>
struct System {
  int m, n;
  std::vector<Guarded<Real>> columns;
  std::vector<Real*> slots;
  System(int rows, int unknowns, bool equal = false) : m(rows), n(unknowns) {
    for (int j = 0; j <= n; ++j) {
      columns.emplace_back(j < n ? m : std::max(m, n));
      for (int i = 0; i < m; ++i)
        columns.back()[i] =
            static_cast<Real>(equal && j < n ? 3 : (i * i * (j + 1) + 7 * j * j * j + i + 1) % 23);
    }
    for (auto& column : columns) slots.push_back(column.data());
  }
  bool same_as(System& other) {
    for (int j = 0; j <= n; ++j) {
      auto &a = columns[static_cast<std::size_t>(j)], &b = other.columns[static_cast<std::size_t>(j)];
      if (slots[static_cast<std::size_t>(j)] != a.data() || !a.zones_intact()) return false;
      for (int i = 0; i < a.size(); ++i)
        if (bits_of(a[i]) != bits_of(b[i])) return false;
    }
    return true;
  }
};

TWIN_TEST(Memory, LsTakesAnIndexAndANormForEveryUnknownAndKeepsNothing) {
  for (const Counts c : {Counts{5, 3}, {3, 3}, {3, 5}, {1, 1}, {40, 17}}) {
    const int m = c.first, n = c.second;
    System<Real> A(m, n);
    Real rn = 0;
    const Account account = probe([&] { Ls(A.slots.data(), m, n, &rn); });
    const auto count = static_cast<std::size_t>(n);
    EXPECT_EQ(account.taken, blocks({count * sizeof(int), count * sizeof(double)})) << m << " by " << n;
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_TRUE(account.newest_first);
    EXPECT_EQ(account.requests, 2);
  }
}

TWIN_TEST(Memory, LsKeepsNothingWhenItRefusesTheMatrix) {
  System<Real> equal(4, 3, true);
  Real rn = 0;
  int status = 0;
  const Account account = probe([&] { status = Ls(equal.slots.data(), 4, 3, &rn); });
  EXPECT_EQ(status, 1);
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_TRUE(account.newest_first);
  for (const Counts c : {Counts{0, 3}, {4, 0}, {4, -1}})
    expect_no_request([&] { return Ls(equal.slots.data(), c.first, c.second, &rn); }, LS_BAD_SIZE);
}

TWIN_TEST(Memory, LsWithoutMemoryChangesNothing) {
  System<Real> A(5, 3), before(5, 3);
  Guarded<Real> rn(1);
  const int requests =
      fail_each_request([&] { return Ls(A.slots.data(), 5, 3, rn.data()); }, LS_NO_MEMORY, {},
                        [&] {
                          EXPECT_TRUE(A.same_as(before));
                          EXPECT_TRUE(rn.untouched(0));
                        });
  EXPECT_EQ(requests, 2);
}

TWIN_TEST(Memory, LsAsksForMoreThanAnIntCanCount) {
  Guarded<Real> rn(1);
  allocation_probe::begin(allocation_probe::none, too_much);
  const int status = Ls(static_cast<Real**>(nullptr), 2, INT_MAX, rn.data());
  const Account account = allocation_probe::end();
  EXPECT_EQ(status, LS_NO_MEMORY);
  EXPECT_EQ(account.largest, INT_MAX * sizeof(int));
  EXPECT_TRUE(rn.untouched(0));
}

/// What Ls_it leaves allocated after success.
template <class Real>
Usage working_table(int m, int n) {
  std::vector<std::size_t> all(static_cast<std::size_t>(n), static_cast<std::size_t>(m) * sizeof(Real));
  all.push_back(static_cast<std::size_t>(n + 1) * slot);
  return blocks(all);
}

TWIN_TEST(Memory, LsItKeepsItsWorkingTableAfterSuccessAndNothingElse) {
  for (const Counts c : {Counts{5, 3}, {3, 3}, {3, 5}, {1, 1}, {40, 17}}) {
    const int m = c.first, n = c.second;
    System<Real> A(m, n);
    std::vector<Real> x(static_cast<std::size_t>(n)), r(static_cast<std::size_t>(std::max(m, n)));
    Real rn = 0;
    int iter = 0;
    const auto [status, account] =
        granted([&] { return Ls_it(A.slots.data(), m, n, x.data(), r.data(), &rn, &iter); });
    EXPECT_EQ(status, LS_OK);
    EXPECT_EQ(account.kept, working_table<Real>(m, n)) << m << " by " << n;
    EXPECT_EQ(account.requests, n + 1 + 2 * iter);  // each pass takes what Ls takes
    EXPECT_TRUE(account.newest_first);
  }
}

TWIN_TEST(Memory, LsItAsksForNothingWithABadSize) {
  System<Real> A(4, 3);
  Real x[3], r[4], rn = 0;
  int iter = 0;
  for (const Counts c : {Counts{0, 3}, {4, 0}, {4, -1}})
    expect_no_request([&] { return Ls_it(A.slots.data(), c.first, c.second, x, r, &rn, &iter); },
                      LS_BAD_SIZE);
}

TWIN_TEST(Memory, LsItReleasesColumnsNewestFirstAndTheirPointersLastWhenAPassFails) {
  System<Real> equal(4, 3, true);
  std::vector<Real> x(3), r(4);
  Real rn = 0;
  int iter = 0, status = 0;
  const Account account =
      probe([&] { status = Ls_it(equal.slots.data(), 4, 3, x.data(), r.data(), &rn, &iter); });
  EXPECT_EQ(status, 1);
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_EQ(account.releases, (std::vector<int>{6, 5, 4, 3, 2, 1}));
}

TWIN_TEST(Memory, LsItWithoutMemoryKeepsNothing) {
  for (const Counts c : {Counts{5, 3}, {2, 4}}) {
    const int m = c.first, n = c.second;
    System<Real> A(m, n), before(m, n);
    Guarded<Real> x(n), r(std::max(m, n)), rn(1);
    Guarded<int> iter(1);
    const auto call = [&] {
      return Ls_it(A.slots.data(), m, n, x.data(), r.data(), rn.data(), iter.data());
    };
    for (int k = 1; k <= n + 1; ++k) {  // the working table: nothing is written
      const Refused refused = refuse(k, call);
      EXPECT_EQ(refused.status, LS_NO_MEMORY);
      EXPECT_EQ(refused.account.kept, Usage{});
      EXPECT_TRUE(refused.account.newest_first);
      EXPECT_TRUE(x.untouched_from(0) && r.untouched_from(0) && rn.untouched(0) && iter.untouched(0));
    }
    // The passes: columns are released as the reduction has ordered them, their pointers last.
    const int requests = granted(call).account.requests;
    EXPECT_GE(requests, n + 3);
    for (int k = n + 2; k <= requests; ++k) {
      const Refused refused = refuse(k, call);
      EXPECT_EQ(refused.status, LS_NO_MEMORY);
      EXPECT_EQ(refused.account.kept, Usage{});
      EXPECT_EQ(refused.account.releases.back(), 1);
    }
    EXPECT_TRUE(A.same_as(before));
    EXPECT_TRUE(x.zones_intact() && r.zones_intact() && rn.zones_intact() && iter.zones_intact());
  }
}

TWIN_TEST(Memory, LsItAsksForMoreThanAnIntCanCount) {
  Guarded<Real> out(1);
  Guarded<int> iter(1);
  allocation_probe::begin(allocation_probe::none, too_much);
  const int status =
      Ls_it(static_cast<Real**>(nullptr), 2, INT_MAX, out.data(), out.data(), out.data(), iter.data());
  const Account account = allocation_probe::end();
  EXPECT_EQ(status, LS_NO_MEMORY);
  EXPECT_EQ(account.largest, (std::size_t{INT_MAX} + 1) * slot);
  EXPECT_TRUE(out.untouched(0) && iter.untouched(0));
}

// == spline basis =================================================================================

/// The basis table of n interior knots: its block, and its pointers.
template <class Real>
std::vector<std::size_t> basis_bytes(int n) {
  return {product(n + 2, n + 4) * sizeof(Real), static_cast<std::size_t>(n + 5) * slot};
}

TWIN_TEST(Memory, D2fcsTakesABlockPointersAndAVectorWhichItReleases) {
  for (const int n : {1, 2, 9, 60}) {
    allocation_probe::begin();
    Real** T = AX_d2fcs<Real>(n);
    const Usage table = allocation_probe::live();
    Real* const end = T[n + 4];
    bool in_one_block = true;
    for (int j = 0; j < n + 4; ++j)
      in_one_block = in_one_block && T[j] == T[0] + static_cast<std::ptrdiff_t>(j) * (n + 2);
    AX_freed2fcs(T);
    const Account account = allocation_probe::end();
    EXPECT_EQ(table, blocks(basis_bytes<Real>(n))) << n;
    EXPECT_EQ(end, nullptr);
    EXPECT_TRUE(in_one_block);
    const std::vector<std::size_t> vector = {static_cast<std::size_t>(n + 4) * sizeof(Real)};
    EXPECT_EQ(account.taken, blocks(together({basis_bytes<Real>(n), vector})));
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(account.releases,
              (std::vector<int>{3, 1, 2}));  // the vector; the block, then its pointers
    EXPECT_EQ(account.mismatches, 0);
  }
}

TWIN_TEST(Memory, D2fcsGivesNullWhenARequestFails) {
  for (const int n : {1, 5})
    EXPECT_EQ(fail_each_request([&] { return AX_d2fcs<Real>(n); }, nullptr), 3) << n;
  for (const int n : {0, -1, INT_MIN}) expect_no_request([&] { return AX_d2fcs<Real>(n) ? 1 : 0; }, 0);
}

TWIN_TEST(Memory, D2fcsAsksForMoreThanAnIntCanCount) {
  for (const int n : {46340, 65536, 100000}) {
    allocation_probe::begin(allocation_probe::none, too_much);
    Real** const T = AX_d2fcs<Real>(n);
    const Account account = allocation_probe::end();
    EXPECT_EQ(T, nullptr);
    EXPECT_EQ(account.largest, basis_bytes<Real>(n)[0]);
    EXPECT_EQ(account.kept, Usage{});
  }
  allocation_probe::begin(allocation_probe::none, too_much);
  Real** const T = AX_d2fcs<Real>(INT_MAX);
  EXPECT_EQ(allocation_probe::end().kept, Usage{});
  EXPECT_EQ(T, nullptr);
}

// == least-squares spline =========================================================================

/// The scratch of a fit: the design with its right-hand side, and their pointers.
template <class Real>
std::vector<std::size_t> design_bytes(int m, int columns) {
  return {product(m, columns) * sizeof(Real), static_cast<std::size_t>(columns) * slot};
}
std::vector<std::size_t> solver_bytes(int unknowns) {
  const auto n = static_cast<std::size_t>(unknowns);
  return {n * sizeof(int), n * sizeof(double)};
}

TWIN_TEST(Memory, ApxcoefTakesTheDesignAndItsPointersAndKeepsNothingAfterSuccess) {
  for (const Counts c : {Counts{1, 5}, {3, 12}, {8, 70}}) {
    const int n = c.first, m = c.second;
    Real** T = AX_d2fcs<Real>(n);
    const Points<Real> data(m);
    std::vector<Real> a(static_cast<std::size_t>(n) + 6);
    const Account account = probe(
        [&] { EXPECT_EQ(AX_apxcoef(T, n, m, data.x.data(), data.y.data(), a.data()), AX_APXCOEF_OK); });
    EXPECT_EQ(account.taken, blocks(together({design_bytes<Real>(m, n + 5), solver_bytes(n + 4)})));
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(account.requests, 4);
    EXPECT_TRUE(account.newest_first);
    AX_freed2fcs(T);
  }
}

TWIN_TEST(Memory, ApxcoefKeepsItsScratchWhenTheSolverFailsAndNotWhenItFailsItself) {
  const int n = 8, m = 20;
  Real** T = AX_d2fcs<Real>(n);
  const Points<Real> data(m);
  const Clustered<Real> clustered(m);
  Guarded<Real> a(n + 6);
  const Usage scratch = blocks(design_bytes<Real>(m, n + 5));

  const Refused singular =
      granted([&] { return AX_apxcoef(T, n, m, clustered.x.data(), clustered.y.data(), a.data()); });
  EXPECT_GT(singular.status, 0);
  EXPECT_EQ(singular.account.kept, scratch);
  EXPECT_TRUE(singular.account.newest_first);

  const auto fit = [&] { return AX_apxcoef(T, n, m, data.x.data(), data.y.data(), a.data()); };
  const int status[] = {AX_APXCOEF_NO_BLOCK, AX_APXCOEF_NO_POINTERS, LS_NO_MEMORY, LS_NO_MEMORY};
  for (int k = 1; k <= 4; ++k) {
    const Refused refused = refuse(k, fit);
    EXPECT_EQ(refused.status, status[k - 1]) << k;
    EXPECT_EQ(refused.account.kept, k <= 2 ? Usage{} : scratch) << k;
    EXPECT_TRUE(refused.account.newest_first) << k;
  }
  EXPECT_TRUE(a.untouched_from(0) && a.zones_intact());
  AX_freed2fcs(T);
}

TWIN_TEST(Memory, ApxcoefAsksForNothingWhenItRefusesItsArguments) {
  const int n = 3;
  Real** T = AX_d2fcs<Real>(n);
  const Points<Real> data(12);
  std::vector<Real> x = data.x;
  x[5] = x[4];
  Guarded<Real> a(n + 6);
  for (const Counts c : {Counts{0, 12}, {-1, 12}, {3, 6}, {INT_MAX, 12}, {3, INT_MIN}})
    expect_no_request(
        [&, k = c.first, m = c.second] {
          return AX_apxcoef(T, k, m, data.x.data(), data.y.data(), a.data());
        },
        AX_APXCOEF_BAD_SIZE);
  expect_no_request([&] { return AX_apxcoef(T, n, 12, x.data(), data.y.data(), a.data()); },
                    AX_APXCOEF_BAD_ABSCISSAE);
  EXPECT_TRUE(a.untouched_from(0));
  AX_freed2fcs(T);
}

TWIN_TEST(Memory, ApxcoefAsksForMoreThanAnIntCanCount) {
  const int n = 46400, m = n + 4;
  const Points<Real> data(m);
  Guarded<Real> a(1);
  allocation_probe::begin(allocation_probe::none, too_much);
  const int status =
      AX_apxcoef(static_cast<Real**>(nullptr), n, m, data.x.data(), data.y.data(), a.data());
  const Account account = allocation_probe::end();
  EXPECT_EQ(status, AX_APXCOEF_NO_BLOCK);
  EXPECT_EQ(account.largest, product(m, n + 5) * sizeof(Real));
  EXPECT_TRUE(a.untouched(0));
}

TWIN_TEST(Memory, ApxvalAndApxvalsAskForNothing) {
  for (const int n : {3, 300}) {  // few and many knots
    Real** T = AX_d2fcs<Real>(n);
    std::vector<Real> a(static_cast<std::size_t>(n) + 6, Real(1)), v(1000, Real(0.5)), s(1000),
        s1(1000), s2(1000);
    double value = 0;
    expect_no_request([&] { return AX_apxval(T, n, a.data(), 1.5, &value, &value, &value); },
                      AX_APXVAL_OK);
    for (const int points : {1000, 0})
      expect_no_request(
          [&] { return AX_apxvals(T, n, a.data(), points, v.data(), s.data(), s1.data(), s2.data()); },
          points > 0 ? int{AX_APXVALS_OK} : int{AX_APXVALS_BAD_SIZE});
    AX_freed2fcs(T);
  }
}

// == smoothing ====================================================================================

/// AX_splsmoo, and AX_splvals at the data, as functions of the knots and the abscissae.
template <class Real>
struct Smoothers {
  static int at_data(int n, int m, const Real* x, const Real* y, Real* s) {
    return AX_splsmoo(n, m, x, y, s, static_cast<Real*>(nullptr), static_cast<Real*>(nullptr));
  }
  static int at_points(int n, int m, const Real* x, const Real* y, Real* s) {
    return AX_splvals(n, m, x, y, 2, x, s, static_cast<Real*>(nullptr), static_cast<Real*>(nullptr));
  }
  static constexpr decltype(&at_data) all[] = {&at_data, &at_points};
};

TWIN_TEST(Memory, SmoothingReleasesAllAfterSuccess) {
  const int n = 3, m = 20;
  const Points<Real> data(m);
  Guarded<Real> s(m + 2);
  for (const auto smooth : Smoothers<Real>::all) {
    const Refused done = granted([&] { return smooth(n, m, data.x.data(), data.y.data(), s.data()); });
    EXPECT_EQ(done.status, AX_SPLSMOO_OK);
    EXPECT_EQ(done.account.kept, Usage{});
    EXPECT_EQ(done.account.taken, blocks(together({basis_bytes<Real>(n),
                                                   {(n + 4) * sizeof(Real), (n + 6) * sizeof(Real)},
                                                   design_bytes<Real>(m, n + 5),
                                                   solver_bytes(n + 4)})));
    // The vector of the basis; the scratch of the fit, newest first; the coefficients; the basis, block
    // first.
    EXPECT_EQ(done.account.releases, (std::vector<int>{3, 8, 7, 6, 5, 4, 1, 2}));
  }
  EXPECT_TRUE(s.zones_intact());
}

TWIN_TEST(Memory, SmoothingKeepsTableCoefficientsAndScratchWhenTheFitFails) {
  const int n = 8, m = 20;
  const Points<Real> data(m);
  const Clustered<Real> clustered(m);
  Points<Real> repeated(m);
  repeated.x[5] = repeated.x[4];
  const auto own = together({basis_bytes<Real>(n), {(n + 6) * sizeof(Real)}});
  const Usage without_scratch = blocks(own),
              with_scratch = blocks(together({own, design_bytes<Real>(m, n + 5)}));
  Guarded<Real> s(m + 2);
  for (const auto smooth : Smoothers<Real>::all) {
    // Requests 1 to 3 are the basis, 4 the coefficients, 5 and 6 the design, 7 and 8 the solver's.
    const int status[] = {AX_SPLSMOO_NO_MEMORY, AX_SPLSMOO_NO_MEMORY, AX_SPLSMOO_NO_MEMORY,
                          AX_SPLSMOO_NO_MEMORY, AX_APXCOEF_NO_BLOCK,  AX_APXCOEF_NO_POINTERS,
                          LS_NO_MEMORY,         LS_NO_MEMORY};
    for (int k = 1; k <= 8; ++k) {
      const Refused refused =
          refuse(k, [&] { return smooth(n, m, data.x.data(), data.y.data(), s.data()); });
      EXPECT_EQ(refused.status, status[k - 1]) << k;
      EXPECT_EQ(refused.account.kept, k <= 4 ? Usage{} : k <= 6 ? without_scratch : with_scratch) << k;
    }
    const Refused singular =
        granted([&] { return smooth(n, m, clustered.x.data(), clustered.y.data(), s.data()); });
    EXPECT_GT(singular.status, 0);
    EXPECT_EQ(singular.account.kept, with_scratch);
    const Refused bad =
        granted([&] { return smooth(n, m, repeated.x.data(), repeated.y.data(), s.data()); });
    EXPECT_EQ(bad.status, AX_APXCOEF_BAD_ABSCISSAE);
    EXPECT_EQ(bad.account.kept, without_scratch);
    EXPECT_TRUE(s.untouched_from(0) && s.zones_intact());
  }
}

TWIN_TEST(Memory, SmoothingAsksForNothingWithABadSize) {
  const Points<Real> data(20);
  Guarded<Real> s(22);
  const Real *x = data.x.data(), *y = data.y.data();
  for (const auto smooth : Smoothers<Real>::all)
    for (const Counts c : {Counts{0, 20}, {-1, 20}, {17, 20}, {INT_MAX, 20}, {1, INT_MIN}})
      expect_no_request([&, n = c.first, m = c.second] { return smooth(n, m, x, y, s.data()); },
                        AX_SPLSMOO_BAD_SIZE);
  for (const int k : {0, -1})
    expect_no_request([&] { return AX_splvals(3, 20, x, y, k, x, s.data(), s.data(), s.data()); },
                      AX_SPLSMOO_BAD_SIZE);
  EXPECT_TRUE(s.untouched_from(0));
}

// == polynomials ==================================================================================

/// Values, or derivatives, of p + 1 polynomials at up to 64 points.
template <class Real>
std::size_t values_bytes(int p, int points) {
  return product(p + 1, std::min(points, 64)) * sizeof(Real);
}

template <class Real>
std::vector<std::size_t> polynomial_bytes(int p, int m) {
  return together({{static_cast<std::size_t>(p + 2) * slot, product(m, p + 2) * sizeof(Real),
                    values_bytes<Real>(p, m)},
                   solver_bytes(p + 1)});
}

TWIN_TEST(Memory, PolapxcoefKeepsNothing) {
  for (const Counts c : {Counts{2, 3}, {4, 20}, {9, 200}}) {
    const int p = c.first, m = c.second;
    Points<Real> data(m);
    std::vector<Real> a(static_cast<std::size_t>(p) + 5);
    const auto [status, account] =
        granted([&] { return AX_polapxcoef(p, m, data.x.data(), data.y.data(), a.data()); });
    EXPECT_EQ(status, AX_POLAPXCOEF_OK);
    EXPECT_EQ(account.taken, blocks(polynomial_bytes<Real>(p, m)));
    EXPECT_EQ(account.kept, Usage{});
    EXPECT_EQ(account.requests, 5);
    EXPECT_TRUE(account.newest_first);
  }
}

TWIN_TEST(Memory, PolapxcoefWithoutMemoryGivesOneOrTheStatusOfTheSolver) {
  const int p = 4, m = 20;
  Guarded<Real> a(p + 5);
  for (int k = 1; k <= 5; ++k) {
    Points<Real> data(m);
    const Refused refused =
        refuse(k, [&] { return AX_polapxcoef(p, m, data.x.data(), data.y.data(), a.data()); });
    EXPECT_EQ(refused.status, k <= 3 ? int{AX_POLAPXCOEF_FAILED} : int{LS_NO_MEMORY}) << k;
    EXPECT_EQ(refused.account.kept, Usage{}) << k;
    EXPECT_TRUE(refused.account.newest_first) << k;
    EXPECT_SAME(data.x[0], Real(-1));  // x stays mapped
    EXPECT_SAME(data.x[m - 1], Real(1));
  }
  EXPECT_TRUE(a.untouched_from(0) && a.zones_intact());
}

TWIN_TEST(Memory, PolapxcoefAsksForNothingWhenItRefusesItsArguments) {
  Points<Real> data(20);
  Guarded<Real> a(30);
  for (const Counts c : {Counts{1, 20}, {-1, 20}, {20, 20}, {INT_MAX, 20}, {2, INT_MIN}})
    expect_no_request(
        [&, p = c.first, m = c.second] {
          return AX_polapxcoef(p, m, data.x.data(), data.y.data(), a.data());
        },
        AX_POLAPXCOEF_FAILED);
  data.x[3] = data.x[2];
  expect_no_request([&] { return AX_polapxcoef(4, 20, data.x.data(), data.y.data(), a.data()); },
                    AX_POLAPXCOEF_BAD_ABSCISSAE);
  EXPECT_TRUE(a.untouched_from(0));
}

TWIN_TEST(Memory, PolapxcoefAsksForMoreThanAnIntCanCount) {
  const int p = 46400, m = p + 1;
  Points<Real> data(m);
  Guarded<Real> a(1);
  allocation_probe::begin(allocation_probe::none, too_much);
  const int status = AX_polapxcoef(p, m, data.x.data(), data.y.data(), a.data());
  const Account account = allocation_probe::end();
  EXPECT_EQ(status, AX_POLAPXCOEF_FAILED);
  EXPECT_EQ(account.largest, product(m, p + 2) * sizeof(Real));
  EXPECT_EQ(account.kept, Usage{});
}

/// a of the polynomial 1 on -1..1.
template <class Real>
std::vector<Real> constant(int p) {
  std::vector<Real> a(static_cast<std::size_t>(p) + 5, Real(0));
  a[0] = 1;
  a[static_cast<std::size_t>(p) + 2] = 1;
  return a;
}

TWIN_TEST(Memory, PolapxvalTakesValuesAndWhatDerivativesItNeeds) {
  const int p = 5;
  const auto a = constant<Real>(p);
  for (const int k : {1, 30, 200})
    for (int wanted = 1; wanted < 8; ++wanted) {
      std::vector<Real> v(static_cast<std::size_t>(k), Real(0.25));
      std::vector<Real> s(v), s1(v), s2(v);
      Real* const out = wanted & 1 ? s.data() : nullptr;
      Real* const out1 = wanted & 2 ? s1.data() : nullptr;
      Real* const out2 = wanted & 4 ? s2.data() : nullptr;
      const auto call = [&] { return AX_polapxval(p, a.data(), k, v.data(), out, out1, out2); };
      const int vectors = wanted & 4 ? 3 : wanted & 2 ? 2 : 1;
      const auto [status, account] = granted(call);
      EXPECT_EQ(status, AX_POLAPXVAL_OK);
      EXPECT_EQ(account.taken,
                blocks(std::vector(static_cast<std::size_t>(vectors), values_bytes<Real>(p, k))))
          << k << ", " << wanted;
      EXPECT_EQ(account.kept, Usage{});
      EXPECT_TRUE(account.newest_first);
      EXPECT_EQ(fail_each_request(call, AX_POLAPXVAL_NO_MEMORY), vectors) << k << ", " << wanted;
    }
}

TWIN_TEST(Memory, PolapxvalWithoutMemoryLeavesOutputsAloneAndPointsMapped) {
  const int p = 3;
  auto a = constant<Real>(p);
  a[p + 2] = 2;  // half-width
  Guarded<Real> s(2), s1(2), s2(2);
  for (int k = 1; k <= 3; ++k) {
    Real v[] = {1, -1};
    const Refused refused =
        refuse(k, [&] { return AX_polapxval(p, a.data(), 2, v, s.data(), s1.data(), s2.data()); });
    EXPECT_EQ(refused.status, AX_POLAPXVAL_NO_MEMORY);
    EXPECT_SAME(v[0], Real(0.5));
    EXPECT_SAME(v[1], Real(-0.5));
  }
  EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0));
}

TWIN_TEST(Memory, PolapxvalKeepsNothingWhenItRefusesAPointOrAllOutputs) {
  const auto a = constant<Real>(3);
  Real v[] = {0, 2}, s[2], s1[2], s2[2];
  const Refused outside = granted([&] { return AX_polapxval(3, a.data(), 2, v, s, s1, s2); });
  EXPECT_EQ(outside.status, AX_POLAPXVAL_OUT_OF_RANGE);
  EXPECT_EQ(outside.account.kept, Usage{});
  EXPECT_TRUE(outside.account.newest_first);
  Real* const no = nullptr;
  const Refused nothing = granted([&] { return AX_polapxval(3, a.data(), 2, v, no, no, no); });
  EXPECT_EQ(nothing.status, AX_POLAPXVAL_NO_OUTPUT);
  EXPECT_EQ(nothing.account.requests, 0);
}

TWIN_TEST(Memory, PolyapxTakesCoefficientsAndWhatItsTwoStepsTake) {
  const int p = 4, m = 20, k = 7;
  Points<Real> data(m);
  Guarded<Real> s(k + 2), s1(k), s2(k);
  const auto call = [&] {
    Points<Real> copy = data;
    std::vector<Real> v(data.x.begin(), data.x.begin() + k);
    Refused result;
    allocation_probe::begin();
    result.status =
        AX_polyapx(p, m, copy.x.data(), copy.y.data(), k, v.data(), s.data(), s1.data(), s2.data());
    result.account = allocation_probe::end();
    return result;
  };
  const Refused done = call();
  EXPECT_EQ(done.status, AX_POLYAPX_OK);
  EXPECT_EQ(done.account.taken,
            blocks(together({{(p + 5) * sizeof(Real)},
                             polynomial_bytes<Real>(p, m),
                             std::vector(std::size_t{3}, values_bytes<Real>(p, k))})));
  EXPECT_EQ(done.account.kept, Usage{});
  EXPECT_TRUE(done.account.newest_first);
  EXPECT_TRUE(s.zones_intact() && s1.zones_intact() && s2.zones_intact());
}

TWIN_TEST(Memory, PolyapxWithoutMemoryPassesTheStatusOfTheStepOn) {
  const int p = 4, m = 20, k = 7;
  Guarded<Real> s(k + 2), s1(k), s2(k);
  // Request 1 is the coefficients, 2 to 6 the fit and its solver, 7 to 9 the evaluation.
  for (int request = 1; request <= 9; ++request) {
    Points<Real> data(m);
    std::vector<Real> v(data.x.begin(), data.x.begin() + k);
    const Refused refused = refuse(request, [&] {
      return AX_polyapx(p, m, data.x.data(), data.y.data(), k, v.data(), s.data(), s1.data(),
                        s2.data());
    });
    EXPECT_EQ(refused.status,
              request >= 2 && request <= 4 ? int{AX_POLAPXCOEF_FAILED} : int{LS_NO_MEMORY})
        << request;
    EXPECT_EQ(refused.account.kept, Usage{}) << request;
    EXPECT_TRUE(refused.account.newest_first) << request;
    EXPECT_TRUE(s.untouched_from(0) && s1.untouched_from(0) && s2.untouched_from(0)) << request;
    // x is unchanged before the fit, mapped if the fit fails, and mapped back after it. Only the
    // evaluation maps v.
    EXPECT_EQ(data.x[m - 1] == 1, request >= 2 && request <= 6) << request;
    EXPECT_EQ(v[0] == 0, request <= 6) << request;
  }
}

TWIN_TEST(Memory, PolyapxAsksForNothingWithABadSize) {
  Points<Real> data(20);
  std::vector<Real> v(data.x);
  Guarded<Real> s(22);
  struct Sizes {
    int p, m, k;
  };
  for (const Sizes c :
       {Sizes{1, 20, 3}, {20, 20, 3}, {INT_MAX, 20, 3}, {4, INT_MIN, 3}, {4, 20, 0}, {4, 20, -1}})
    expect_no_request(
        [&] {
          return AX_polyapx(c.p, c.m, data.x.data(), data.y.data(), c.k, v.data(), s.data(), s.data(),
                            s.data());
        },
        AX_POLYAPX_BAD_SIZE);
  EXPECT_TRUE(s.untouched_from(0));
  EXPECT_EQ(data.x, v);
}

}  // namespace

// tests/test_allocations.cpp - what every allocating operation takes, keeps and gives back, and what it
// does when a request is refused.
#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/products.hpp"
#include "tests/support/twins.hpp"

namespace {

constexpr std::size_t slot = sizeof(void*);
constexpr std::size_t too_much = std::size_t{1} << 30;

/// What call does when every request above too_much bytes is refused.
template <class Call>
Account probe_huge(Call call) {
  allocation_probe::begin(allocation_probe::none, too_much);
  call();
  return allocation_probe::end();
}

// -- the probe itself -----------------------------------------------------------------------------

// The compiler cannot see through this pointer, so it leaves out no allocation.
void* volatile out_of_sight;
template <class T>
T* hidden(T* block) {
  out_of_sight = block;
  return static_cast<T*>(out_of_sight);
}

TEST(AllocationProbe, CountsBlocksAndBytesByAllocator) {
  void *a = nullptr, *b = nullptr;
  char* c = nullptr;
  int* d = nullptr;
  Usage during;
  const Account account = probe([&] {
    a = hidden(std::malloc(10));
    b = hidden(std::calloc(3, 7));
    c = hidden(new char[5]);
    d = hidden(new (std::nothrow) int);
    during = allocation_probe::live();
    delete d;
    std::free(b);
  });
  const Usage all = {
      .malloc = {1, 10}, .calloc = {1, 21}, .new_array = {1, 5}, .other = {1, sizeof(int)}};
  const Usage kept = {.malloc = {1, 10}, .calloc = {}, .new_array = {1, 5}, .other = {}};
  EXPECT_EQ(during, all);
  EXPECT_EQ(account.taken, all);
  EXPECT_EQ(account.kept, kept);
  EXPECT_EQ(account.requests, 4);
  EXPECT_EQ(account.largest, 21U);
  EXPECT_EQ(account.releases, (std::vector<int>{4, 2}));
  EXPECT_FALSE(account.newest_first);  // block 3 was newer than block 2
}

TEST(AllocationProbe, SeesReleasesNewestFirst) {
  const Account account = probe([] {
    void* a = hidden(std::malloc(1));
    void* b = hidden(std::malloc(1));
    std::free(b);
    void* c = hidden(std::malloc(0));
    std::free(c);
    std::free(nullptr);
    std::free(a);
  });
  EXPECT_TRUE(account.newest_first);
  EXPECT_EQ(account.releases, (std::vector<int>{2, 3, 1}));
  EXPECT_EQ(account.kept, Usage{});
}

TEST(AllocationProbe, SeesABlockReleasedByAnotherAllocatorsFunction) {
  void (*volatile release)(void*) = std::free;
  allocation_probe::begin();
  release(hidden(new char[4]));
  EXPECT_EQ(allocation_probe::end().mismatches, 1);
  void (*volatile release_array)(void*) = operator delete[];
  allocation_probe::begin();
  release_array(hidden(std::malloc(4)));
  EXPECT_EQ(allocation_probe::end().mismatches, 1);
}

TEST(AllocationProbe, RefusesTheRequestOfTheGivenNumberAlone) {
  for (int k = 1; k <= 5; ++k) {
    void* got[5];
    allocation_probe::begin(k);
    got[0] = hidden(std::malloc(8));
    got[1] = hidden(std::calloc(1, 8));
    got[2] = hidden(new (std::nothrow) char[8]);
    got[3] = hidden(new (std::nothrow) char);
    bool thrown = false;
    try {
      got[4] = hidden(new char[8]);
    } catch (const std::bad_alloc&) {
      thrown = true;
      got[4] = nullptr;
    }
    const Account account = allocation_probe::end();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(got[i] == nullptr, i + 1 == k) << i << " of " << k;
    EXPECT_EQ(thrown, k == 5);
    EXPECT_EQ(account.refused, 1);
  }
}

TEST(AllocationProbe, CountsTheBytesOfAMovedBlock) {
  const Account account = probe([] {
    char* a = static_cast<char*>(hidden(std::malloc(4)));
    a[3] = 'x';
    a = static_cast<char*>(hidden(std::realloc(a, 9)));
    if (a[3] != 'x') std::abort();
  });
  EXPECT_EQ(account.kept, from_malloc(1, 9));
}

TEST(AllocationProbe, DoesNotSeeOtherThreadsOrBlocksFromBefore) {
  std::atomic<int> stage = 0;
  std::thread other([&] {
    while (stage != 1) std::this_thread::yield();
    std::free(hidden(std::malloc(77)));
    stage = 2;
  });
  void* before = hidden(std::malloc(3));
  const Account account = probe([&] {
    std::free(before);
    stage = 1;
    while (stage != 2) std::this_thread::yield();
  });
  other.join();
  EXPECT_EQ(account.requests, 0);
  EXPECT_EQ(account.taken, Usage{});
  EXPECT_EQ(account.releases, std::vector<int>{});
}

TEST(AllocationProbe, TakesEveryRequestOfACallInTurnUntilItSucceeds) {
  int calls = 0, failures = 0;
  const auto call = [&] {
    ++calls;
    void* a = hidden(std::malloc(1));
    if (!a) return -1;
    void* b = hidden(std::malloc(2));
    void* c = b ? hidden(std::malloc(3)) : nullptr;
    std::free(c);
    std::free(b);
    std::free(a);
    return c ? 0 : -1;
  };
  EXPECT_EQ(fail_each_request(call, -1, {}, [&] { ++failures; }), 3);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(failures, 3);
}

// -- tables ---------------------------------------------------------------------------------------

TWIN_TEST(Memory, AllocTakesTheSlotsAndOneBlockAColumn) {
  const Account account = probe([] { M_alloc<Real>(3, 2, 4); });
  EXPECT_EQ(account.kept, from_new_array(3, 4 * slot + 2 * 3 * sizeof(Real)));
  EXPECT_EQ(account.taken, account.kept);
}

TWIN_TEST(Memory, AllocReleasesColumnsNewestFirstAndTheSlotsLastWhenARequestFails) {
  for (int n = 2; n <= 12; ++n)
    EXPECT_EQ(fail_each_request([&] { return M_alloc<Real>(5, n, n + 3); }, nullptr), n + 1) << n;
  allocation_probe::begin(5);
  Real** A = M_alloc<Real>(5, 6, 6);
  const Account account = allocation_probe::end();
  EXPECT_EQ(A, nullptr);
  EXPECT_EQ(account.releases, (std::vector<int>{4, 3, 2, 1}));
  EXPECT_EQ(account.requests, 5);
}

TWIN_TEST(Memory, AllocsTakesTheSlotsAndOneBlockAColumn) {
  const Account account = probe([] { M_allocs<Real>(5); });
  EXPECT_EQ(account.kept, from_new_array(6, 5 * slot + 15 * sizeof(Real)));
  EXPECT_EQ(account.taken, account.kept);
}

TWIN_TEST(Memory, AllocsReleasesColumnsNewestFirstAndTheSlotsLastWhenARequestFails) {
  for (int n = 2; n <= 12; ++n)
    EXPECT_EQ(fail_each_request([&] { return M_allocs<Real>(n); }, nullptr), n + 1) << n;
  allocation_probe::begin(5);
  Real** T = M_allocs<Real>(9);
  const Account account = allocation_probe::end();
  EXPECT_EQ(T, nullptr);
  EXPECT_EQ(account.releases, (std::vector<int>{4, 3, 2, 1}));
}

TWIN_TEST(Memory, AllocatorsAskForNothingWithABadSize) {
  const Account account = probe([] {
    for (const int bad : {1, 0, -1, INT_MIN}) {
      M_alloc<Real>(bad, 2, 2);
      M_alloc<Real>(2, bad, 2);
      M_alloc<Real>(2, 2, bad);
      M_allocs<Real>(bad);
    }
    M_alloc<Real>(5, 5, 4);
  });
  EXPECT_EQ(account.requests, 0);
}

TWIN_TEST(Memory, AllocatorsAskForTheWholeOfAHugeTable) {
  const auto most = static_cast<std::size_t>(INT_MAX);
  Real** A = nullptr;
  Account account = probe_huge([&] { A = M_alloc<Real>(INT_MAX, 2, 2); });
  EXPECT_EQ(A, nullptr);
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_EQ(account.largest, most * sizeof(Real));
  account = probe_huge([&] { A = M_alloc<Real>(2, 2, INT_MAX); });
  EXPECT_EQ(A, nullptr);
  EXPECT_EQ(account.largest, most * slot);
  EXPECT_EQ(account.requests, 1);
  account = probe_huge([&] { A = M_allocs<Real>(INT_MAX); });
  EXPECT_EQ(A, nullptr);
  EXPECT_EQ(account.largest, most * slot);
}

TWIN_TEST(Memory, DeallocOfTheCapacityReleasesAttachedColumnsToo) {
  const Account account = probe([] {
    Real** A = M_alloc<Real>(3, 2, 5);
    A[3] = new Real[3];
    A[4] = new Real[7];
    M_dealloc(A, 3, 5);
  });
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_EQ(account.requests, 5);
  EXPECT_EQ(account.releases, (std::vector<int>{2, 3, 4, 5, 1}));
}

TWIN_TEST(Memory, DeallocOfTheColumnsLeavesAttachedOnesToTheCaller) {
  const Account account = probe([] {
    Real** A = M_alloc<Real>(3, 2, 4);
    A[2] = new Real[3];
    A[3] = new Real[8];
    M_dealloc(A, 3, 2);
  });
  EXPECT_EQ(account.kept, from_new_array(2, 11 * sizeof(Real)));
  EXPECT_EQ(account.releases, (std::vector<int>{2, 3, 1}));
}

TWIN_TEST(Memory, DeallocOfNoneReleasesTheSlotsAlone) {
  for (const int count : {0, -1, INT_MIN}) {
    const Account account = probe([&] { M_dealloc(M_alloc<Real>(3, 2, 4), 3, count); });
    EXPECT_EQ(account.kept, from_new_array(2, 6 * sizeof(Real))) << count;
    EXPECT_EQ(account.releases, (std::vector<int>{1})) << count;
  }
}

TWIN_TEST(Memory, DeallocDoesNotLookAtTheRows) {
  for (const int m : {3, 0, -1, INT_MAX, INT_MIN}) {
    const Account account = probe([&] { M_dealloc(M_alloc<Real>(3, 2, 4), m, 4); });
    EXPECT_EQ(account.kept, Usage{}) << m;
  }
}

TWIN_TEST(Memory, DeallocReleasesATriangleTable) {
  const Account account = probe([] { M_dealloc(M_allocs<Real>(6), 6, 6); });
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_EQ(account.releases, (std::vector<int>{2, 3, 4, 5, 6, 7, 1}));
}

// -- operations without scratch -------------------------------------------------------------------

TWIN_TEST(Memory, FillersCopiesTranspositionsAndRowExchangesTakeNothing) {
  std::vector<Real> data(60 * 60, Real(1)), more(60 * 60, Real(1));
  std::vector<Real*> A(60), B(60);
  std::vector<int> idx(60);
  for (int i = 0; i < 60; ++i) idx[i] = 59 - i;
  const Account account = probe([&] {
    M_storec(data.data(), 60, 60, A.data());
    M_storec(more.data(), 60, 60, B.data());
    M_fillc(A.data(), more.data(), 60, 60);
    M_fillr(A.data(), more.data(), 60, 60);
    M_fillsc(A.data(), more.data(), 60);
    M_fillsr(A.data(), more.data(), 60);
    M_cop(A.data(), B.data(), 60, 60);
    M_copss(A.data(), B.data(), 60);
    M_copsr(A.data(), B.data(), 60);
    M_coptr(A.data(), B.data(), 60);
    M_transp(A.data(), 60, 60, B.data());
    M_transpa(A.data(), 60, 60);
    M_transpa(A.data(), 60, 41);
    M_lminus(A.data(), 60, 3);
    M_swap(A.data(), 0, 59, 3, 4);
    M_rowsort(A.data(), 60, 60, idx.data());
  });
  EXPECT_EQ(account.requests, 0);
}

// -- transposition within a block -----------------------------------------------------------------

TWIN_TEST(Memory, TranTakesOneRowFromCallocAndReleasesIt) {
  for (int r = -2; r <= 9; ++r)
    for (int c = 0; c <= 9; ++c) {
      if (r < 2 && c < 2) continue;
      std::vector<Real> plain(81, Real(1)), marked(81, Real(1));
      marked[3] = sizeof(Real) == 4 ? std::numeric_limits<Real>::max() : Real(0);
      for (auto* block : {&plain, &marked}) {
        const Account account = probe([&] { M_tran(block->data(), r, c); });
        EXPECT_EQ(account.taken, from_calloc(1, static_cast<std::size_t>(c) * sizeof(Real)))
            << r << " by " << c;
        EXPECT_EQ(account.kept, Usage{}) << r << " by " << c;
      }
    }
}

TWIN_TEST(Memory, TranGivesMinusOneAndLeavesTheBlockWhenTheRowIsRefused) {
  const std::vector<Real> data = {1, 2, 3, 0, 5, 6};
  std::vector<Real> block = data;
  const int shapes[][2] = {{3, 2}, {2, 3}, {1, 6}, {6, 1}, {0, 2}, {2, 0}};
  for (const auto& [r, c] : shapes) {
    block = data;
    const auto call = [&, r = r, c = c] { return M_tran(block.data(), r, c); };
    EXPECT_EQ(fail_each_request(call, M_TRAN_NO_MEMORY, {}, [&] { EXPECT_EQ(block, data); }), 1)
        << r << " by " << c;
  }
}

TWIN_TEST(Memory, TranAsksForNothingWithoutARowToMove) {
  Real block[4] = {1, 2, 3, 4};
  const Account account = probe([&] {
    for (const int r : {1, 0, -1, INT_MIN})
      for (const int c : {1, 0, -1, INT_MIN}) M_tran(block, r, c);
    M_tran(block, 2, -1);
    M_tran(block, 2, INT_MIN);
  });
  EXPECT_EQ(account.requests, 0);
}

TWIN_TEST(Memory, TranAsksForTheWholeOfAHugeRow) {
  Real block[1] = {1};
  int status = 0;
  const Account account = probe_huge([&] { status = M_tran(block, 2, INT_MAX); });
  EXPECT_EQ(status, M_TRAN_NO_MEMORY);
  EXPECT_EQ(account.largest, static_cast<std::size_t>(INT_MAX) * sizeof(Real));
}

// -- columns by an index vector -------------------------------------------------------------------

/// What a twin keeps of n tags.
template <class Real>
Usage kept_tags(int n) {
  return sizeof(Real) == 4 ? Usage{} : from_malloc(1, static_cast<std::size_t>(n) * sizeof(int));
}

TWIN_TEST(Memory, ColsortTakesOneIntAColumnAndKeepsThemInTheDoubleTwin) {
  for (int n = 1; n <= 20; ++n) {
    std::vector<Real> block(static_cast<std::size_t>(2) * n, Real(1));
    std::vector<int> idx(static_cast<std::size_t>(n));
    for (int j = 0; j < n; ++j) idx[j] = n - 1 - j;
    int status = -9;
    const Account account = probe([&] { status = M_colsort(block.data(), 2, n, idx.data()); });
    EXPECT_EQ(status, M_COLSORT_OK);
    EXPECT_EQ(account.taken, from_malloc(1, static_cast<std::size_t>(n) * sizeof(int))) << n;
    EXPECT_EQ(account.kept, kept_tags<Real>(n)) << n;
  }
}

TWIN_TEST(Memory, ColsortKeepsTheTagsOfTheDoubleTwinOnFailureToo) {
  Real block[] = {1, 2, 3};
  const int no_first[] = {5, 0, 1}, no_second[] = {0, 7, 1};
  int status = -9;
  Account account = probe([&] { status = M_colsort(block, 1, 3, no_first); });
  EXPECT_EQ(status, M_COLSORT_BAD_INDEX);
  EXPECT_EQ(account.kept, kept_tags<Real>(3));
  account = probe([&] { status = M_colsort(block, 1, 3, no_second); });
  EXPECT_EQ(status, M_COLSORT_OK);
  EXPECT_EQ(account.kept, kept_tags<Real>(3));
}

TWIN_TEST(Memory, ColsortOfNoColumnsAsksForAnArrayOfNoBytes) {
  Real block[] = {1};
  for (const int n : {0, -1, INT_MIN}) {
    int status = -9;
    const Account account = probe([&] { status = M_colsort(block, 1, n, static_cast<int*>(nullptr)); });
    EXPECT_EQ(status, M_COLSORT_OK) << n;
    EXPECT_EQ(account.taken, from_malloc(1, 0)) << n;
    EXPECT_EQ(account.kept, kept_tags<Real>(0)) << n;
  }
}

TWIN_TEST(Memory, ColsortGivesMinusTwoAndLeavesTheBlockWhenTheTagsAreRefused) {
  const int idx[] = {2, 0, 1};
  std::vector<Real> block = {1, 2, 3};
  for (const int n : {3, 1, 0, -1}) {
    block = {1, 2, 3};
    EXPECT_EQ(
        fail_each_request([&] { return M_colsort(block.data(), 1, n, idx); }, M_COLSORT_NO_MEMORY, {},
                          [&] {
                            EXPECT_EQ(block, (std::vector<Real>{1, 2, 3}));
                          }),
        1)
        << n;
  }
}

TWIN_TEST(Memory, ColsortAsksForTheWholeOfAHugeTagArray) {
  Real block[] = {1};
  const int idx[] = {0};
  int status = 0;
  const Account account = probe_huge([&] { status = M_colsort(block, 1, INT_MAX, idx); });
  EXPECT_EQ(status, M_COLSORT_NO_MEMORY);
  EXPECT_EQ(account.largest, static_cast<std::size_t>(INT_MAX) * sizeof(int));
}

// -- products and triangular solves ---------------------------------------------------------------

/// What a product of that many rows takes.
template <class Real>
Usage scratch_of(const Product<Real>& product, int rows) {
  const auto bytes = static_cast<std::size_t>(std::max(rows, 0)) * sizeof(Real);
  if (product.scratch == Scratch::none) return {};
  return product.scratch == Scratch::from_malloc ? from_malloc(1, bytes) : from_new_array(1, bytes);
}

/// True if the product ends with the status of a transposition that has nothing to do.
template <class Real>
bool refused(const Product<Real>& product, Counts counts) {
  return product.into == Into::right_turned && counts.of(product.shape[1]) < 1 &&
         counts.of(product.shape[2]) < 1;
}

TWIN_TEST(Memory, ProductsTakeNothingOrOneScratchColumnAndReleaseIt) {
  Random random(81);
  std::vector<Counts> shapes = {{33, 47, 65}, {70, 131, 5}, {INT_MIN, 3, 3}, {3, INT_MIN, 3}};
  for (int m = -1; m <= 3; ++m)
    for (int n = -1; n <= 3; ++n)
      for (int p = -1; p <= 3; ++p) shapes.push_back({m, n, p});
  for (const auto& product : all_products<Real>())
    for (const Counts counts : shapes) {
      ProductCall<Real> call(product, counts, Room::exact, Data::plain, random);
      int status = -9;
      const Account account = probe([&] { status = call.call(); });
      const bool none = refused(product, counts);
      EXPECT_EQ(status, none ? -1 : product.status) << call.text();
      EXPECT_EQ(account.taken, none ? Usage{} : scratch_of(product, call.rows())) << call.text();
      EXPECT_EQ(account.requests, product.scratch == Scratch::none || none ? 0 : 1) << call.text();
      EXPECT_EQ(account.kept, Usage{}) << call.text();
    }
}

TWIN_TEST(Memory, ProductsInPlaceGiveOneWhenTheScratchIsRefused) {
  // The operand is unchanged; where the product begins with a transposition, it is transposed.
  Random random(82);
  for (const auto& product : all_products<Real>()) {
    if (!product.in_place()) continue;
    for (const Counts counts : {Counts{5, 6, 7}, Counts{4, 4, 4}, Counts{9, 2, 3}, Counts{0, 3, 2},
                                Counts{3, 0, 2}, Counts{2, 3, 0}, Counts{-1, -1, 2}, Counts{1, 1, 1}}) {
      if (refused(product, counts)) continue;
      ProductCall<Real> call(product, counts, Room::exact, Data::plain, random), untouched = call;
      if (product.into == Into::right_turned) {
        ASSERT_EQ(M_transpa(untouched.right().slots(), call.columns(), call.terms()), M_TRANSPA_OK);
      }
      ProductCall<Real> attempt = call;
      allocation_probe::begin(1);
      const int status = attempt.call();
      const Account account = allocation_probe::end();
      EXPECT_EQ(status, 1) << call.text();
      EXPECT_EQ(account.requests, 1) << call.text();
      EXPECT_EQ(account.refused, 1) << call.text();
      EXPECT_EQ(account.kept, Usage{}) << call.text();
      EXPECT_COLUMNS(attempt.left(), untouched.left()) << call.text();
      EXPECT_COLUMNS(attempt.right(), untouched.right()) << call.text();
    }
  }
}

TWIN_TEST(Memory, MmbAsksMallocForNoBytesWithoutRows) {
  Real b[] = {5}, *B[] = {b};
  for (const int m : {0, -1, INT_MIN}) {
    int status = -9;
    const Account account = probe([&] { status = M_mmb(B, B, m, 1, 1); });
    EXPECT_EQ(status, M_INPLACE_OK) << m;
    EXPECT_EQ(account.taken, from_malloc(1, 0)) << m;
    EXPECT_EQ(fail_each_request([&] { return M_mmb(B, B, m, 1, 1); }, M_INPLACE_NO_MEMORY), 1) << m;
  }
  EXPECT_SAME(b[0], Real(5));
}

TWIN_TEST(Memory, ProductsInPlaceAskForTheWholeOfAHugeColumn) {
  Real b[] = {5}, *B[] = {b};
  const std::vector<std::function<int()>> calls = {
      [&] { return M_mmb(B, B, INT_MAX, 1, 1); },  [&] { return M_mtmb(B, B, 1, INT_MAX, 1); },
      [&] { return M_mmtb(B, B, INT_MAX, 1, 1); }, [&] { return M_smma(B, B, INT_MAX, 1); },
      [&] { return M_uuu(B, B, INT_MAX); },        [&] { return M_utuu(B, INT_MAX); },
      [&] { return M_uutu(B, INT_MAX); },          [&] { return M_uma(B, B, INT_MAX, 1); },
      [&] { return M_utma(B, B, INT_MAX, 1); }};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    int status = -9;
    const Account account = probe_huge([&] { status = calls[i](); });
    EXPECT_EQ(status, 1) << i;
    EXPECT_EQ(account.largest, static_cast<std::size_t>(INT_MAX) * sizeof(Real)) << i;
    EXPECT_EQ(account.kept, Usage{}) << i;
  }
  EXPECT_SAME(b[0], Real(5));
}

TWIN_TEST(Memory, LtvAndTriangularSolvesAndInversesTakeNothing) {
  Random random(83);
  for (const int n : {1, 2, 9, 70, 131}) {
    const auto A = random_table<Real>(random, n, n), U = random_triangle<Real>(random, n);
    const auto B = random_table<Real>(random, n, n), T = random_table<Real>(random, n, n);
    const auto V = random_triangle<Real>(random, n), X = V;
    std::vector<Real> r(static_cast<std::size_t>(n));
    const Account account = probe([&] {
      for (int mode = -1; mode <= 2; ++mode)
        M_ltv(A.slots(), B.slots()[0], B.slots()[0], n, n, mode, r.data());
      M_invt(U.slots(), B.slots(), n, n);
      M_invutm(U.slots(), B.slots(), n, n);
      M_invuu(U.slots(), V.slots(), n);
      M_invu(U.slots(), X.slots(), n);
      M_tinv(T.slots(), n);
      for (const int none : {0, -1, INT_MIN}) {
        M_invt(U.slots(), B.slots(), n, none);
        M_invutm(U.slots(), B.slots(), n, none);
        M_invuu(U.slots(), V.slots(), none);
        M_tinv(T.slots(), none);
      }
    });
    EXPECT_EQ(account.requests, 0) << n;
  }
}

// -- decompositions -------------------------------------------------------------------------------

/// A column-major block with a table over it, and the initial contents of both.
template <class Real>
struct Block {
  Block(int rows, int columns, std::vector<Real> values) : data(std::move(values)), old(data) {
    table.resize(static_cast<std::size_t>(columns));
    M_storec(data.data(), rows, columns, table.data());
    old_table = table;
  }
  bool unchanged() const { return data == old && table == old_table; }

  std::vector<Real> data, old;
  std::vector<Real*> table, old_table;
};

TWIN_TEST(Memory, QrdTakesOneArrayOfNorms) {
  Block<Real> A(3, 2, {1, 2, 3, 4, 5, 7});
  int ip[] = {7, 8};
  const auto call = [&] { return M_qrd(A.table.data(), 3, 2, 0, ip); };
  allocation_probe::begin(1);
  EXPECT_EQ(call(), M_QRD_NO_MEMORY);
  EXPECT_EQ(allocation_probe::end().refused, 1);
  EXPECT_TRUE(A.unchanged());
  EXPECT_EQ(ip[0], 7);
  EXPECT_EQ(ip[1], 8);
  const Account account = probe([&] { EXPECT_EQ(call(), M_QRD_OK); });
  EXPECT_EQ(account.taken, from_calloc(1, 2 * sizeof(double)));
  EXPECT_EQ(account.kept, Usage{});
}

TWIN_TEST(Memory, QrdReleasesItsNormsWhereverItStops) {
  int ip[2];
  for (const std::vector<Real>& values :
       {std::vector<Real>{0, 0, 0, 0}, std::vector<Real>{1, 0, 0, 0}}) {
    Block<Real> A(2, 2, values);
    const Account account = probe([&] { EXPECT_NE(M_qrd(A.table.data(), 2, 2, 0, ip), M_QRD_OK); });
    EXPECT_EQ(account.requests, 1);
    EXPECT_EQ(account.kept, Usage{});
  }
  EXPECT_EQ(probe([&] { M_qrd(static_cast<Real**>(nullptr), 0, 2, 0, ip); }).requests, 0);
}

/// m rows of n columns with a full rank, well conditioned.
template <class Real>
Block<Real> large_block(int m, int columns, std::uint64_t seed) {
  Random random(seed);
  std::vector<Real> values;
  for (int j = 0; j < columns; ++j)
    for (int i = 0; i < m; ++i)
      values.push_back(static_cast<Real>(random.real(-1, 1) + (i == j ? 8 : 0)));
  return {m, columns, std::move(values)};
}

struct QrdShape {
  int m, n, k;
};
/// Tables that hold 64 KiB, or hardly less.
template <class Real>
std::vector<QrdShape> small_tables() {
  constexpr int most = 65536 / int{sizeof(Real)};
  return {{most / 128, 126, 2}, {most / 8, 7, 1}, {most / 8, 8, 0},    {64, most / 64 - 3, 3},
          {most, 1, 0},         {1, most - 1, 1}, {most / 127, 127, 0}};
}

TWIN_TEST(Memory, QrdTakesOnlyItsNormsForATableOf64KiB) {
  for (const auto& [m, n, k] : small_tables<Real>()) {
    auto A = large_block<Real>(m, n + k, 81);
    std::vector<int> ip(static_cast<std::size_t>(n));
    const Account account = probe([&] { M_qrd(A.table.data(), m, n, k, ip.data()); });
    EXPECT_EQ(account.taken, from_calloc(1, static_cast<std::size_t>(n) * sizeof(double)))
        << m << " by " << n << " and " << k;
    EXPECT_EQ(account.kept, Usage{});
  }
}

/// The norms, then one block: a copy of the table and a few vectors. For few long columns of doubles:
/// two vectors of their height, two of the width of the table, and a line.
template <class Real>
void expect_a_block(const QrdShape& shape) {
  const auto [m, n, k] = shape;
  auto A = large_block<Real>(m, n + k, 82);
  std::vector<int> ip(static_cast<std::size_t>(n));
  const auto norms = static_cast<std::size_t>(n) * sizeof(double);
  const Account account = probe(
      [&, m = m, n = n, k = k] { EXPECT_EQ(M_qrd(A.table.data(), m, n, k, ip.data()), M_QRD_OK); });
  SCOPED_TRACE(testing::Message() << m << " by " << n << " and " << k);
  ASSERT_EQ(account.requests, 2);
  EXPECT_EQ(account.taken.calloc, (Amount{1, norms}));
  EXPECT_EQ(account.taken.malloc.blocks, 1);
  EXPECT_EQ(account.releases, (std::vector<int>{2, 1}));
  EXPECT_EQ(account.kept, Usage{});
  if (sizeof(Real) == sizeof(double) && m / 32 >= n + k) {
    EXPECT_EQ(account.taken.malloc.bytes, static_cast<std::size_t>(m + n + k) * 16 + 64);
    return;
  }
  // The table padded to eight columns, four vectors of its height, five of its width, and a line.
  const auto padded = static_cast<std::size_t>((n + k + 7) / 8 * 8), rows = static_cast<std::size_t>(m);
  EXPECT_EQ(account.taken.malloc.bytes,
            padded * rows * sizeof(Real) + (4 * rows + 5 * padded) * sizeof(double) + 64);
}

TWIN_TEST(Memory, QrdTakesABlockForALargeTableAndReleasesItBeforeItsNorms) {
  for (const QrdShape& shape : {QrdShape{200, 180, 2},
                                {180, 200, 0},
                                {8000, 5, 3},
                                {20000, 2, 0},
                                {3, 9000, 1},
                                {2000, 40, 20}})
    expect_a_block<Real>(shape);
}

TWIN_TEST(Memory, QrdTakesABlockForATableOfOneRowMoreThan64KiB) {
  for (QrdShape shape : small_tables<Real>()) {
    shape.m == 1 ? ++shape.n : ++shape.m;
    expect_a_block<Real>(shape);
  }
}

TWIN_TEST(Memory, QrdGivesTheSameBitsWhenTheBlockIsRefused) {
  int ranks = 0;
  for (const auto& [m, n, k] : {QrdShape{210, 160, 2}, {160, 210, 3}, {189, 189, 0}, {6000, 5, 1}})
    for (const bool deficient : {false, true}) {
      auto A = large_block<Real>(m, n + k, 83);
      if (deficient)  // columns of zeros: the steps end before the last one
        for (int j = 1; j < n; j += 3) std::fill_n(A.data.begin() + std::ptrdiff_t{j} * m, m, Real(0));
      Block<Real> B(m, n + k, A.data);
      std::vector<int> ip(static_cast<std::size_t>(n)), ip_b = ip;
      const int status = M_qrd(A.table.data(), m, n, k, ip.data());
      allocation_probe::begin(2);
      const int status_b = M_qrd(B.table.data(), m, n, k, ip_b.data());
      const Account account = allocation_probe::end();
      SCOPED_TRACE(testing::Message() << m << " by " << n << " and " << k);
      EXPECT_EQ(account.refused, 1);
      EXPECT_EQ(account.requests, 2);
      EXPECT_EQ(account.kept, Usage{});
      EXPECT_EQ(status_b, status);
      EXPECT_EQ(status > 0, deficient) << status;
      ranks += status > 0;
      EXPECT_EQ(ip_b, ip);
      for (int j = 0; j < n + k; ++j) {
        const auto place = static_cast<std::size_t>(j);
        ASSERT_EQ(B.table[place] - B.data.data(), A.table[place] - A.data.data()) << "pointer " << j;
        for (int i = 0; i < m; ++i) ASSERT_SAME(B.table[place][i], A.table[place][i]) << i << ", " << j;
      }
    }
  EXPECT_GE(ranks, 3);
}

TWIN_TEST(Memory, QrdeqSolvesALargeSystemWhenTheBlockIsRefused) {
  constexpr int n = 180, k = 2;
  auto A = large_block<Real>(n, n + k, 84);
  Block<Real> B(n, n + k, A.data);
  int status = -9;
  const Account account = probe([&] { status = M_qrdeq(A.table.data(), n, k); });
  EXPECT_EQ(status, M_QRDEQ_OK);
  EXPECT_EQ(account.requests, 3);
  EXPECT_EQ(account.releases, (std::vector<int>{3, 2, 1}));
  allocation_probe::begin(3);
  status = M_qrdeq(B.table.data(), n, k);
  EXPECT_EQ(allocation_probe::end().kept, Usage{});
  EXPECT_EQ(status, M_QRDEQ_OK);
  for (std::size_t i = 0; i < A.data.size(); ++i) ASSERT_SAME(B.data[i], A.data[i]) << i;
}

TWIN_TEST(Memory, QrdeqTakesIndicesAndNormsAndChangesNothingWithout) {
  Block<Real> A(2, 3, {1, 2, 3, 5, 1, 1});
  for (int k = 1; k <= 2; ++k) {
    allocation_probe::begin(k);
    EXPECT_EQ(M_qrdeq(A.table.data(), 2, 1), M_QRDEQ_NO_MEMORY) << k;
    const Account account = allocation_probe::end();
    EXPECT_EQ(account.refused, 1) << k;
    EXPECT_EQ(account.kept, Usage{}) << k;
    EXPECT_TRUE(A.unchanged()) << k;
  }
  const Account account = probe([&] { EXPECT_EQ(M_qrdeq(A.table.data(), 2, 1), M_QRDEQ_OK); });
  const Usage expected = {
      .malloc = {}, .calloc = {1, 2 * sizeof(double)}, .new_array = {1, 4 * sizeof(int)}, .other = {}};
  EXPECT_EQ(account.taken, expected);
  EXPECT_EQ(account.kept, Usage{});
}

TWIN_TEST(Memory, InvGJKeepsTheFirstIndexArrayWhenTheSecondIsRefused) {
  Block<Real> A(2, 2, {2, 1, 1, 1});
  for (int k = 1; k <= 2; ++k) {
    double det = 9;
    allocation_probe::begin(k);
    EXPECT_EQ(M_invGJ(A.table.data(), 2, &det), M_INVGJ_NO_MEMORY) << k;
    const Account account = allocation_probe::end();
    EXPECT_EQ(account.refused, 1) << k;
    EXPECT_EQ(account.kept, k == 1 ? Usage{} : from_calloc(1, 2 * sizeof(int))) << k;
    EXPECT_EQ(det, 1.0) << k;
    EXPECT_TRUE(A.unchanged()) << k;
  }
  double det = 9;
  EXPECT_EQ(probe([&] { M_invGJ(A.table.data(), 0, &det); }).requests, 0);
  EXPECT_EQ(det, 9.0);
}

TWIN_TEST(Memory, DecompositionsAskForTheWholeOfAHugeOrder) {
  const auto most = static_cast<std::size_t>(INT_MAX);
  Block<Real> A(2, 2, {2, 1, 1, 1});
  int ip[] = {7}, status = 0;
  Account account = probe_huge([&] { status = M_qrd(A.table.data(), 2, INT_MAX, 0, ip); });
  EXPECT_EQ(status, M_QRD_NO_MEMORY);
  EXPECT_EQ(account.largest, most * sizeof(double));
  EXPECT_EQ(ip[0], 7);
  account = probe_huge([&] { status = M_qrdeq(A.table.data(), INT_MAX, 0); });
  EXPECT_EQ(status, M_QRDEQ_NO_MEMORY);
  EXPECT_EQ(account.largest, 2 * most * sizeof(int));
  double det = 9;
  account = probe_huge([&] { status = M_invGJ(A.table.data(), INT_MAX, &det); });
  EXPECT_EQ(status, M_INVGJ_NO_MEMORY);
  EXPECT_EQ(account.largest, most * sizeof(int));
  EXPECT_EQ(account.kept, Usage{});
  EXPECT_EQ(det, 1.0);
  EXPECT_TRUE(A.unchanged());
}

TWIN_TEST(Memory, InverseIsNotBegunForAMatrixThatIsNotPositiveDefinite) {
  Block<Real> S(2, 2, {1, 0, 1, 1}), U(2, 2, {1, 0, 0, 1}), X(2, 2, {3, 4, 5, 6});
  int status = 0;
  Account account =
      probe([&] { status = M_cholinv(S.table.data(), 2, U.table.data(), X.table.data()); });
  EXPECT_EQ(status, 2);
  EXPECT_EQ(account.requests, 0);
  EXPECT_TRUE(X.unchanged());
  account = probe([&] { status = M_invs(S.table.data(), 2, U.table.data()); });
  EXPECT_EQ(status, 2);
  EXPECT_EQ(account.requests, 0);
  EXPECT_TRUE(S.unchanged());
}

TWIN_TEST(Memory, CholeskyTakesNothingAndItsInversesOneRow) {
  const std::vector<Real> s = {1, 0, 0.5, 2};  // upper triangle of a full table
  Block<Real> S(2, 2, s), U(2, 2, s), X(2, 2, s), B(2, 1, {1, 1});
  const auto requests = [](auto call) { return probe([&] { EXPECT_EQ(call(), M_CHOL_OK); }).requests; };
  EXPECT_EQ(requests([&] { return M_chol(S.table.data(), 2, U.table.data()); }), 0);
  EXPECT_EQ(requests([&] { return M_choleq(S.table.data(), B.table.data(), 2, 1, U.table.data()); }),
            0);
  EXPECT_TRUE(S.unchanged());

  const auto invert = [&] { return M_cholinv(S.table.data(), 2, U.table.data(), X.table.data()); };
  const auto invert_in_place = [&] { return M_invs(S.table.data(), 2, U.table.data()); };
  EXPECT_EQ(fail_each_request(invert, M_CHOL_NO_MEMORY, {},
                              [&] {
                                EXPECT_EQ(X.table[1][0],
                                          -U.table[1][0] / U.table[1][1]);  // U^-1, not the inverse
                              }),
            1);
  EXPECT_EQ(probe(invert).taken, from_new_array(1, 2 * sizeof(Real)));
  allocation_probe::begin(1);
  EXPECT_EQ(invert_in_place(), M_CHOL_NO_MEMORY);
  EXPECT_EQ(allocation_probe::end().kept, Usage{});
  EXPECT_EQ(S.table[1][0], -U.table[1][0] / U.table[1][1]);
}

}  // namespace

// tests/support/allocation_probe.hpp - what a call takes from the heap, what it keeps, and what it does
// when a request is refused.
//
// A program that links allocation_probe.cpp has its malloc, calloc, realloc, free and operators new and
// delete replaced, also for the shared library under test. Outside a probe they only pass requests on.
// A probe lasts from begin() to end(). It sees the requests and releases of the thread that began it.
// At the end it counts what is left, and releases it, so that other tools see no leak.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <ostream>
#include <vector>

/// Blocks of one allocator.
struct Amount {
  int blocks = 0;
  std::size_t bytes = 0;
  friend bool operator==(const Amount&, const Amount&) = default;
};

/// Blocks by allocator; other is operator new for one object, and the aligned forms.
struct Usage {
  Amount malloc, calloc, new_array, other;
  friend bool operator==(const Usage&, const Usage&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Usage& u) {
    const auto put = [&](const char* name, const Amount& a) {
      out << name << " " << a.blocks << " (" << a.bytes << " bytes)  ";
    };
    put("malloc", u.malloc);
    put("calloc", u.calloc);
    put("new[]", u.new_array);
    put("other", u.other);
    return out;
  }
};

inline Usage from_malloc(int blocks, std::size_t bytes) {
  Usage usage;
  usage.malloc = {blocks, bytes};
  return usage;
}
inline Usage from_calloc(int blocks, std::size_t bytes) {
  Usage usage;
  usage.calloc = {blocks, bytes};
  return usage;
}
inline Usage from_new_array(int blocks, std::size_t bytes) {
  Usage usage;
  usage.new_array = {blocks, bytes};
  return usage;
}

/// What a call did with the heap.
struct Account {
  Usage taken;                ///< granted in all
  Usage kept;                 ///< granted, and not released when the call ended
  int requests = 0;           ///< refused ones included
  int refused = 0;            ///< refused requests
  std::size_t largest = 0;    ///< bytes of the largest request, refused ones included
  std::vector<int> releases;  ///< numbers of the requests (1 is the first) in the order of release
  bool newest_first = true;   ///< every block released was the newest one left
  int mismatches = 0;         ///< blocks released by another allocator's function than their own
};

namespace allocation_probe {

inline constexpr int none = 0;
inline constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

/// Begins a probe that refuses request number refuse_at (1 is the first), and every request of more
/// than limit bytes.
void begin(int refuse_at = none, std::size_t limit = unlimited);

/// What is allocated now; nothing without a probe.
Usage live();

/// Ends the probe and releases what the call kept.
Account end();

}  // namespace allocation_probe

/// Runs call in a probe.
template <class Call>
Account probe(Call call) {
  allocation_probe::begin();
  call();
  const Account account = allocation_probe::end();
  EXPECT_EQ(account.mismatches, 0) << "blocks released by another allocator's function";
  return account;
}

/// The result of call. What the call keeps on purpose is released after it.
template <class Call>
auto releasing(Call call) {
  allocation_probe::begin();
  const auto result = call();
  allocation_probe::end();
  return result;
}

/// Runs call with its 1st, 2nd, ... request refused, until a run makes fewer requests. Each run with a
/// refusal must return the status expected, release newest first with the right functions, and keep
/// just what `kept` says; then after_failure is called, outside the probe. Returns the number of
/// requests.
template <class Call, class Status>
int fail_each_request(Call call, Status expected, const Usage& kept = {},
                      const std::function<void()>& after_failure = {}) {
  for (int k = 1; k <= 10000; ++k) {
    allocation_probe::begin(k);
    const auto status = call();
    const Account account = allocation_probe::end();
    SCOPED_TRACE(testing::Message() << "with request " << k << " refused");
    EXPECT_TRUE(account.newest_first) << testing::PrintToString(account.releases);
    EXPECT_EQ(account.mismatches, 0) << "blocks released by another allocator's function";
    if (account.refused == 0) return account.requests;
    EXPECT_EQ(status, expected);
    EXPECT_EQ(account.kept, kept);
    if (after_failure) after_failure();
  }
  ADD_FAILURE() << "more than 10000 requests";
  return -1;
}

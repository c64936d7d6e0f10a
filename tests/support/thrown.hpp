// tests/support/thrown.hpp - what calls of the C++ front throw: their exceptions, and std::bad_alloc where
// memory is refused.
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <string>

#include "tests/support/allocation_probe.hpp"

/// The sentence of the Failure that call throws. Anything else is said instead.
template <class Failure, class Call>
std::string thrown(Call call) {
  try {
    static_cast<void>(call());
  } catch (const Failure& failure) {
    return failure.what();
  } catch (const std::exception& other) {
    return std::string("another exception: ") + other.what();
  }
  return "nothing is thrown";
}

/// Runs call with its 1st, 2nd, ... request for memory refused, until a run makes fewer requests. Each run
/// with a refusal must throw std::bad_alloc; no run may keep memory. After each refusal, after_failure is
/// called outside the probe. Returns the number of requests.
template <class Call, class After>
int refuse_each_request(Call call, After after_failure) {
  for (int k = 1; k <= 100000; ++k) {
    bool bad_alloc = false;
    allocation_probe::begin(k);
    try {
      static_cast<void>(call());
    } catch (const std::bad_alloc&) {
      bad_alloc = true;
    }
    const Account account = allocation_probe::end();
    SCOPED_TRACE(testing::Message() << "with request " << k << " refused");
    EXPECT_EQ(account.kept, Usage());
    EXPECT_EQ(account.mismatches, 0) << "blocks released by another allocator's function";
    if (account.refused == 0) return account.requests;
    EXPECT_TRUE(bad_alloc);
    after_failure();
  }
  ADD_FAILURE() << "more than 100000 requests";
  return -1;
}
template <class Call>
int refuse_each_request(Call call) {
  return refuse_each_request(call, [] {});
}

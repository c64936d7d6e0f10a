// tests/support/bits.hpp - comparisons bit for bit, and numbers as a reader needs them when one fails.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

/// True if a and b have the same bits. All NaN count as equal, since the processor chooses which one an
/// operation gives. The two zeros differ.
template <class Real>
bool same_bits(Real a, Real b) {
  using Bits = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;
  return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b) || (std::isnan(a) && std::isnan(b));
}

/// v in decimal, with all significant digits, and in hexadecimal.
inline std::string shown(double v) {
  char text[80];
  std::snprintf(text, sizeof text, "%.17g (%a)", v, v);
  return text;
}

/// The predicate of EXPECT_SAME.
template <class Real>
testing::AssertionResult compare_bits(const char* a_text, const char* b_text, Real a, Real b) {
  if (same_bits(a, b)) return testing::AssertionSuccess();
  return testing::AssertionFailure()
         << a_text << "\n    is " << shown(a) << "\n  " << b_text << "\n    is " << shown(b);
}

#define EXPECT_SAME(a, b) EXPECT_PRED_FORMAT2(compare_bits, a, b)
#define ASSERT_SAME(a, b) ASSERT_PRED_FORMAT2(compare_bits, a, b)

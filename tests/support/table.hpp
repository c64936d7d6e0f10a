// tests/support/table.hpp - column tables and triangle tables of guarded columns, and random elements.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"

/// The bits of v. An operation that only moves elements keeps the bits of a NaN too.
template <class Real>
auto bits_of(Real v) {
  using Bits = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;
  return std::bit_cast<Bits>(v);
}

/// An element of any kind: most are numbers of many magnitudes; zeros of both signs, denormals, the
/// greatest number, infinities and NaN of either sign occur.
template <class Real>
Real any_element(Random& random) {
  using Limits = std::numeric_limits<Real>;
  const double sign = random.chance(2) ? 1 : -1;
  if (!random.chance(8))
    return static_cast<Real>(sign * std::ldexp(random.real(1, 2), random.integer(-20, 20)));
  const Real odd[] = {0, Limits::denorm_min(), Limits::max(), Limits::infinity(), Limits::quiet_NaN()};
  return static_cast<Real>(std::copysign(odd[random.integer(0, 4)], static_cast<Real>(sign)));
}

/// A table of guarded columns, all poison at first. Copies have columns of their own.
template <class Real>
class Table {
 public:
  /// rows by columns, the columns starting `offset` poisoned elements into their arrays.
  Table(int rows, int columns, int offset = 0) : offset_(offset) {
    for (int j = 0; j < columns; ++j) columns_.emplace_back(rows + offset);
    lay();
  }
  /// A triangle table: column j has j + 1 elements.
  static Table triangle(int n) {
    Table T(0, 0);
    for (int j = 0; j < n; ++j) T.columns_.emplace_back(j + 1);
    T.lay();
    return T;
  }
  Table(const Table& other) : columns_(other.columns_), offset_(other.offset_) { lay(); }
  Table& operator=(const Table&) = delete;

  Real** slots() { return slots_.data(); }
  int columns() const { return static_cast<int>(columns_.size()); }
  int rows(int j) const { return columns_[static_cast<std::size_t>(j)].size() - offset_; }
  Real& at(int i, int j) { return columns_[static_cast<std::size_t>(j)][offset_ + i]; }

  template <class Element>
  void fill(Element element) {
    for (int j = 0; j < columns(); ++j)
      for (int i = 0; i < rows(j); ++i) at(i, j) = element();
  }
  void fill_any(Random& random) {
    fill([&] { return any_element<Real>(random); });
  }
  /// Element (i, j) becomes 1000 i + j + 1, so every element differs and tells where it was.
  void number() {
    for (int j = 0; j < columns(); ++j)
      for (int i = 0; i < rows(j); ++i) at(i, j) = static_cast<Real>(1000 * i + j + 1);
  }

  /// True if nothing outside the elements was written and the slots are unchanged.
  bool intact() {
    for (int j = 0; j < columns(); ++j) {
      auto& column = columns_[static_cast<std::size_t>(j)];
      if (!column.zones_intact() || slots_[static_cast<std::size_t>(j)] != column.data() + offset_)
        return false;
      for (int i = 0; i < offset_; ++i)
        if (!column.untouched(i)) return false;
    }
    return true;
  }
  bool untouched() {
    for (auto& column : columns_)
      if (!column.untouched_from(0)) return false;
    return intact();
  }

 private:
  void lay() {
    slots_.clear();
    for (auto& column : columns_) slots_.push_back(column.data() + offset_);
  }

  std::vector<Guarded<Real>> columns_;
  std::vector<Real*> slots_;
  int offset_;
};

/// The predicate of EXPECT_TABLE: same shape, same bits everywhere, guards and slots unchanged.
template <class Real>
testing::AssertionResult compare_tables(const char* a_text, const char* b_text, Table<Real>& a,
                                        Table<Real>& b) {
  if (!a.intact()) return testing::AssertionFailure() << a_text << ": written outside, or slots moved";
  if (!b.intact()) return testing::AssertionFailure() << b_text << ": written outside, or slots moved";
  if (a.columns() != b.columns())
    return testing::AssertionFailure() << a.columns() << " and " << b.columns() << " columns";
  for (int j = 0; j < a.columns(); ++j)
    for (int i = 0; i < a.rows(j); ++i)
      if (bits_of(a.at(i, j)) != bits_of(b.at(i, j)))
        return testing::AssertionFailure()
               << "row " << i << ", column " << j << ":\n  " << a_text << " is " << shown(a.at(i, j))
               << "\n  " << b_text << " is " << shown(b.at(i, j));
  return testing::AssertionSuccess();
}
#define EXPECT_TABLE(a, b) EXPECT_PRED_FORMAT2(compare_tables, a, b)
#define ASSERT_TABLE(a, b) ASSERT_PRED_FORMAT2(compare_tables, a, b)

/// A random permutation of 0..n-1.
inline std::vector<int> random_permutation(Random& random, int n) {
  std::vector<int> p(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) p[static_cast<std::size_t>(i)] = i;
  for (int i = n - 1; i > 0; --i)
    std::swap(p[static_cast<std::size_t>(i)], p[static_cast<std::size_t>(random.integer(0, i))]);
  return p;
}

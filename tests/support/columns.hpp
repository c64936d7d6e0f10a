// tests/support/columns.hpp - matrices laid out so that every access outside their elements shows, and
// elements of several kinds.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/bits.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/random.hpp"
#include "tests/support/table.hpp"

/// What surrounds the elements of a matrix.
enum class Room {
  exact,  ///< nothing: each column is a block of its own of exactly its elements, or null for none
  spare,  ///< poison: more columns, more rows, places before; triangles lie in full columns
};

inline constexpr Room all_rooms[] = {Room::exact, Room::spare};

/// A column table or triangle table, all poison at first. Copies have columns of their own. A negative
/// count stands for no columns, or no rows.
template <class Real>
class Columns {
 public:
  static Columns table(int rows, int columns, Room room) { return {rows, columns, false, room}; }
  static Columns triangle(int order, Room room) { return {order, order, true, room}; }

  Columns(const Columns& other)
      : n_(other.n_), first_(other.first_), triangle_(other.triangle_), columns_(other.columns_) {
    lay();
  }
  Columns& operator=(const Columns&) = delete;

  Real* const* slots() const { return slots_.data(); }
  Real& at(int i, int j) {
    return columns_[static_cast<std::size_t>(j)][static_cast<std::size_t>(first_ + i)];
  }
  Real at(int i, int j) const {
    return columns_[static_cast<std::size_t>(j)][static_cast<std::size_t>(first_ + i)];
  }

  /// Element (i, j) becomes element(i, j), for the elements of a table or a triangle.
  template <class Element>
  void fill(int rows, int columns, Element element) {
    for (int j = 0; j < columns; ++j)
      for (int i = 0; i < (triangle_ ? std::min(j + 1, rows) : rows); ++i) at(i, j) = element(i, j);
  }

  /// Where the two differ: in slots, shape, poison or elements. Two NaN that are no poison count as
  /// equal. Empty if nowhere.
  std::string difference(const Columns& expected) const {
    for (std::size_t j = 0; j < columns_.size(); ++j) {
      const auto &got = columns_[j], &want = expected.columns_[j];
      if (slots_[j] != got.data() + (got.empty() ? 0 : first_))
        return "slot " + std::to_string(j) + " was moved";
      for (std::size_t i = 0; i < got.size(); ++i) {
        const bool poison = Guarded<Real>::is_poison(want[i]);
        if (poison ? Guarded<Real>::is_poison(got[i])
                   : same_bits(got[i], want[i]) && !Guarded<Real>::is_poison(got[i]))
          continue;
        return "row " + std::to_string(static_cast<int>(i) - first_) + " of column " +
               std::to_string(j) + (static_cast<int>(j) < n_ ? "" : ", which is a spare one,") +
               " is " + shown(got[i]) + ", not " + (poison ? "untouched" : shown(want[i]));
      }
    }
    return "";
  }

 private:
  Columns(int rows, int columns, bool triangle, Room room)
      : n_(std::max(columns, 0)), first_(room == Room::spare ? 1 : 0), triangle_(triangle) {
    for (int j = 0; j < n_ + (room == Room::spare ? 2 : 0); ++j) {
      const int size = room == Room::spare ? std::max(rows, 0) + 4
                       : triangle          ? j + 1
                                           : std::max(rows, 0);
      columns_.emplace_back(static_cast<std::size_t>(size), Guarded<Real>::poison());
    }
    lay();
  }
  void lay() {
    for (auto& column : columns_) slots_.push_back(column.data() + (column.empty() ? 0 : first_));
  }

  int n_, first_;
  bool triangle_;
  std::vector<std::vector<Real>> columns_;
  std::vector<Real*> slots_;
};

/// What the elements are.
enum class Data {
  plain,     ///< numbers of many magnitudes and either sign
  odd,       ///< as any_element makes them
  rare,      ///< plain, with one of any_element now and then
  tiny,      ///< products at the lower end of the range of the type, sums of -0 and denormals; zeros
  huge,      ///< products at the upper end: whether a sum overflows depends on its order
  integers,  ///< from -9 to 9
};

template <class Real>
Real element(Random& random, Data data) {
  using Limits = std::numeric_limits<Real>;
  const auto number = [&](int least, int most) {
    return static_cast<Real>((random.chance(2) ? 1 : -1) *
                             std::ldexp(random.real(1, 2), random.integer(least, most)));
  };
  constexpr int smallest = Limits::min_exponent - Limits::digits, middle = smallest / 2;
  switch (data) {
    case Data::odd:
      return any_element<Real>(random);
    case Data::rare:
      return random.chance(500) ? any_element<Real>(random) : number(-20, 20);
    case Data::tiny:
      if (random.chance(8)) return std::copysign(Real(0), number(0, 0));
      return number(middle - 6, middle + 5);
    case Data::huge:
      return number(Limits::max_exponent / 2 - 3, Limits::max_exponent / 2);
    case Data::integers:
      return static_cast<Real>(random.integer(-9, 9));
    default:
      return number(-20, 20);
  }
}

/// Tables of elements of one kind.
template <class Real>
Columns<Real> random_table(Random& random, int rows, int columns, Data data = Data::plain,
                           Room room = Room::exact) {
  auto A = Columns<Real>::table(rows, columns, room);
  A.fill(rows, columns, [&](int, int) { return element<Real>(random, data); });
  return A;
}
template <class Real>
Columns<Real> random_triangle(Random& random, int n, Data data = Data::plain, Room room = Room::exact) {
  auto S = Columns<Real>::triangle(n, room);
  S.fill(n, n, [&](int, int) { return element<Real>(random, data); });
  return S;
}

/// The columns by rows transpose of a table.
template <class Real>
Columns<Real> transpose_of(const Columns<Real>& A, int rows, int columns) {
  auto B = Columns<Real>::table(columns, rows, Room::exact);
  B.fill(columns, rows, [&](int i, int j) { return A.at(j, i); });
  return B;
}
/// The whole of a symmetric matrix.
template <class Real>
Columns<Real> whole_symmetric(const Columns<Real>& S, int n) {
  auto A = Columns<Real>::table(n, n, Room::exact);
  A.fill(n, n, [&](int i, int j) { return S.at(std::min(i, j), std::max(i, j)); });
  return A;
}
/// The whole of a triangular matrix, zeros below the diagonal.
template <class Real>
Columns<Real> whole_upper(const Columns<Real>& U, int n) {
  auto A = Columns<Real>::table(n, n, Room::exact);
  A.fill(n, n, [&](int i, int j) { return i <= j ? U.at(i, j) : Real(0); });
  return A;
}
/// The places on and above the diagonal of a table.
template <class Real>
Columns<Real> upper_part(const Columns<Real>& A, int n) {
  auto U = Columns<Real>::triangle(n, Room::exact);
  U.fill(n, n, [&](int i, int j) { return A.at(i, j); });
  return U;
}

/// The predicate of EXPECT_COLUMNS.
template <class Real>
testing::AssertionResult compare_columns(const char* a_text, const char* b_text, const Columns<Real>& a,
                                         const Columns<Real>& b) {
  const std::string difference = a.difference(b);
  if (difference.empty()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << a_text << " is not " << b_text << ": " << difference;
}
#define EXPECT_COLUMNS(a, b) EXPECT_PRED_FORMAT2(compare_columns, a, b)

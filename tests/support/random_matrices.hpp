// tests/support/random_matrices.hpp - random matrices of every kind, and their sizes.
#pragma once

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/table.hpp"
#include "tests/support/twins.hpp"

namespace decompositions {

enum class Kind { random, graded, dependent, huge, tiny, integer, sparse, powers, planted };

inline constexpr Kind all_kinds[] = {Kind::random, Kind::graded, Kind::dependent,
                                     Kind::huge,   Kind::tiny,   Kind::integer,
                                     Kind::sparse, Kind::powers, Kind::planted};
inline const char* const kind_names[] = {"random",  "graded", "dependent", "huge",   "tiny",
                                         "integer", "sparse", "powers",    "planted"};
inline const char* name(Kind kind) { return kind_names[static_cast<int>(kind)]; }

/// Rows 0..m-1 of columns 0..n-1.
///   graded     rows and columns of falling magnitude
///   dependent  some columns are combinations of others, exactly or nearly
///   huge       the squares just fit
///   tiny       squares of doubles are denormal or zero; floats are denormal
///   integer    -2..2, with many ties
///   sparse     most elements are 0
///   powers     plus or minus a power of two
///   planted    some NaN and infinities
template <class Real>
void fill_matrix(Table<Real>& A, int m, int n, Kind kind, Random& random) {
  constexpr bool single = sizeof(Real) == 4;
  const auto sign = [&] { return random.chance(2) ? 1.0 : -1.0; };
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      double v = random.real(-1, 1);
      switch (kind) {
        case Kind::graded:
          v = std::ldexp(v, -2 * i - j % 7);
          break;
        case Kind::huge:
          v = std::ldexp(v, single ? 120 : 505);
          break;
        case Kind::tiny:
          v = std::ldexp(v, single ? -140 : -530);
          break;
        case Kind::integer:
          v = random.integer(-2, 2);
          break;
        case Kind::sparse:
          v = random.chance(3) ? random.integer(-2, 2) : 0 * sign();
          break;
        case Kind::powers:
          v = std::ldexp(sign(), random.integer(-2, 2));
          break;
        default:
          break;
      }
      A.at(i, j) = static_cast<Real>(v);
    }
  if (kind == Kind::dependent && n > 1) {
    const double noise = std::ldexp(1.0, -random.integer(10, 60));
    for (int times = random.integer(1, n - 1); times > 0; --times) {
      const int to = random.integer(0, n - 1), a = random.integer(0, n - 1),
                b = random.integer(0, n - 1);
      const int p = random.integer(-2, 2), q = random.integer(-2, 2);
      const bool exact = random.chance(2);
      if (to == a || to == b) continue;
      for (int i = 0; i < m; ++i)
        A.at(i, to) = static_cast<Real>(p * double(A.at(i, a)) + q * double(A.at(i, b)) +
                                        (exact ? 0.0 : noise * random.real(-1, 1)));
    }
  }
  if (kind == Kind::planted && m > 0 && n > 0) {
    const Real odd[] = {nan_of<Real>, inf_of<Real>, -inf_of<Real>, std::numeric_limits<Real>::max()};
    for (int times = random.integer(1, 3); times > 0; --times)
      A.at(random.integer(0, m - 1), random.integer(0, n - 1)) = odd[random.integer(0, 3)];
  }
}

struct Shape {
  int m, n;
};

/// Every m, n up to 9, and some around the widths of the blocks of columns and terms.
inline std::vector<Shape> shapes() {
  std::vector<Shape> all;
  for (int m = 0; m <= 9; ++m)
    for (int n = 0; n <= 9; ++n) all.push_back({m, n});
  for (const Shape s :
       {Shape{33, 20}, {70, 70}, {20, 47}, {140, 9}, {64, 3}, {65, 17}, {1, 40}, {40, 1}})
    all.push_back(s);
  return all;
}

inline std::vector<int> orders() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 33, 70}; }

}  // namespace decompositions

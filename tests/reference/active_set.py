#!/usr/bin/env python3
"""Writes active_set.hpp: small least-squares problems with bounds, and least-distance problems, solved
exactly.

    python3 active_set.py active_set.hpp

Every possible active set is tried, in rational arithmetic: the minimiser over the set follows from a linear
system, and is the solution if it satisfies the constraints and no multiplier is negative. The problems are
convex, so that is enough. Of problems with more than one minimiser, A x is kept, which all have in common. A
least-distance problem for which no set will do has contradicting constraints.
"""

import itertools
import random
import sys
from fractions import Fraction

from rational import solve

INFINITE = 1000000  # a bound that is not there


def dot(x, y):
    return sum(a * b for a, b in zip(x, y))


def independent(rows):
    """True if no row is a sum of multiples of others."""
    rows = [[Fraction(v) for v in row] for row in rows]
    for k, row in enumerate(rows):
        pivot = next((j for j, v in enumerate(row) if v), None)
        if pivot is None:
            return False
        for other in rows[k + 1:]:
            factor = other[pivot] / row[pivot]
            for j, v in enumerate(row):
                other[j] -= factor * v
    return True


def bounded(A, b, lo, hi):
    """A minimiser of |A x - b|, lo <= x <= hi, with independent columns free; and the gradient."""
    n = len(A[0])
    columns = list(zip(*A))
    for places in itertools.product("lhf", repeat=n):
        free = [j for j in range(n) if places[j] == "f"]
        if any(p == "l" and lo[j] <= -INFINITE or p == "h" and hi[j] >= INFINITE
               for j, p in enumerate(places)) or not independent([columns[j] for j in free]):
            continue
        x = [Fraction(lo[j] if p == "l" else hi[j] if p == "h" else 0) for j, p in enumerate(places)]
        rest = [value - dot(row, x) for row, value in zip(A, b)]
        z = solve([[Fraction(dot(columns[i], columns[j])) for j in free] for i in free],
                  [Fraction(dot(columns[i], rest)) for i in free])
        for j, value in zip(free, z):
            x[j] = value
        gradient = [dot(column, [dot(row, x) - value for row, value in zip(A, b)]) for column in columns]
        if all((lo[j] <= x[j] <= hi[j]) and (gradient[j] >= 0 or x[j] == hi[j])
               and (gradient[j] <= 0 or x[j] == lo[j]) for j in range(n)):
            return x, gradient
    raise AssertionError("no minimiser")


def least_distance(G, h):
    """The x of least norm with G x >= h, and its multipliers; None if there is none."""
    for size in range(len(G[0]) + 1):
        for active in itertools.combinations(range(len(G)), size):
            rows = [G[i] for i in active]
            if not independent(rows):
                continue
            u = solve([[Fraction(dot(r, s)) for s in rows] for r in rows],
                      [Fraction(h[i]) for i in active])
            x = [Fraction(sum(v * row[j] for v, row in zip(u, rows))) for j in range(len(G[0]))]
            if all(v >= 0 for v in u) and all(dot(row, x) >= value for row, value in zip(G, h)):
                weights = [Fraction(0)] * len(G)
                for i, v in zip(active, u):
                    weights[i] = v
                return x, weights
    return None


def numbers(values):
    return "{" + ", ".join(float(v).hex() if v != int(v) else str(int(v)) for v in values) + "}"


def write_bounded(out, name, A, b, lo, hi):
    x, gradient = bounded(A, b, lo, hi)
    fitted = [dot(row, x) for row in A]
    unique = independent(list(zip(*A)))
    out.write('    {"%s", %d, %d,\n' % (name, len(A), len(A[0])))
    for values in ([v for column in zip(*A) for v in column], b, lo, hi, x, fitted, gradient):
        out.write("     %s,\n" % numbers(values))
    norm = sum((f - v) ** 2 for f, v in zip(fitted, b))
    out.write("     %s, %s},\n" % (float(norm).hex(), str(unique).lower()))


def write_distance(out, name, G, h):
    found = least_distance(G, h)
    out.write('    {"%s", %d, %d,\n' % (name, len(G), len(G[0])))
    for values in ([v for column in zip(*G) for v in column], h, found[0] if found else [],
                   found[1] if found else []):
        out.write("     %s,\n" % numbers(values))
    out.write("     },\n")


def matrix(generator, rows, columns, low, high):
    return [[generator.randint(low, high) for _ in range(columns)] for _ in range(rows)]


def bounds(generator, n, kind):
    if kind == 0:
        return [0] * n, [INFINITE] * n
    if kind == 1:
        return [-1] * n, [1] * n
    lo = [generator.randint(-3, 2) for _ in range(n)]
    hi = [v + generator.randint(0, 2) for v in lo]
    for j in range(n):
        if generator.random() < 0.2:
            lo[j] = -INFINITE
        if generator.random() < 0.2:
            hi[j] = INFINITE
    return lo, hi


def write_all_bounded(out):
    generator = random.Random(1)
    plain = [INFINITE, INFINITE]
    write_bounded(out, "two rows, two columns", [[1, 1], [1, 2]], [2, 1], [0, 0], plain)
    write_bounded(out, "one row", [[40, -7]], [-30], [0, 0], plain)
    write_bounded(out, "one element", [[3]], [-2], [0], [INFINITE])
    write_bounded(out, "b is 0", [[1, 2], [3, 4], [5, 7]], [0, 0, 0], [0, 0], plain)
    write_bounded(out, "A is 0", [[0, 0], [0, 0]], [1, 2], [-1, 2], [4, 2])
    write_bounded(out, "the solution without bounds lies on one", [[1, 0], [0, 1], [1, 1]], [2, 0, 2],
                  [0, 0], plain)
    write_bounded(out, "a straight line with both coefficients positive",
                  [[1, 4], [2, 4], [2, 4], [4, 5]], [2, 3, 4, 6], [0, 0], plain)
    for kind in range(3):
        for m, n, low in ((2, 2, -3), (3, 2, -3), (4, 3, -3), (5, 4, -3), (6, 5, -2), (2, 4, -3), (3, 3, 0),
                          (5, 4, 0), (6, 5, 0), (3, 5, 0)):
            A = matrix(generator, m, n, low, 3)
            b = [row[0] for row in matrix(generator, m, 1, -5, 5)]
            write_bounded(out, "%d by %d from %d, bounds %d" % (m, n, low, kind), A, b,
                          *bounds(generator, n, kind))
        for m, n in ((4, 4), (5, 4)):
            A = matrix(generator, m, n, -3, 3)
            A = [[row[0], row[0], 0, row[1]] for row in A]
            b = [row[0] for row in matrix(generator, m, 1, -5, 5)]
            write_bounded(out, "%d by %d with a copy and a zero, bounds %d" % (m, n, kind), A, b,
                          *bounds(generator, n, kind))


def write_all_distances(out):
    generator = random.Random(2)
    write_distance(out, "half line", [[2]], [3])
    write_distance(out, "0 satisfies all", [[1, 2], [3, -1]], [-1, 0])
    write_distance(out, "a corner", [[1, 0], [0, 1], [1, 1]], [1, 2, 2])
    write_distance(out, "one row twice", [[1, 2], [1, 2], [2, 4]], [3, 3, 6])
    write_distance(out, "opposite rows that touch", [[1, 2], [-1, -2]], [3, -3])
    write_distance(out, "opposite rows", [[1, 2], [-1, -2]], [3, -2])
    write_distance(out, "a row of zeros that holds", [[0, 0], [1, 1]], [-1, 1])
    write_distance(out, "a row of zeros that does not", [[0, 0], [1, 1]], [1, 1])
    write_distance(out, "three rows around a triangle", [[1, 0], [0, 1], [-1, -1]], [1, 1, -1])
    for rows, n in ((1, 1), (2, 1), (1, 3), (2, 2), (3, 2), (4, 2), (6, 2), (3, 3), (5, 3), (7, 3), (5, 4),
                    (8, 4), (4, 5)):
        for low in (-3, -1):
            G = matrix(generator, rows, n, -3, 3)
            h = [row[0] for row in matrix(generator, rows, 1, low, 3)]
            write_distance(out, "%d by %d from %d" % (rows, n, low), G, h)


def main():
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/active_set.hpp - least squares with bounds and least distance, solved exactly.
//
// Written by active_set.py in this folder. To write it again:
//   python3 active_set.py active_set.hpp
#pragma once

#include <vector>

namespace reference {

/// Minimise |A x - b|, lo <= x <= hi. A bound of 1000000 or -1000000 stands for infinity.
struct Bounded {
  const char* name;
  int m, n;
  std::vector<double> A, b, lo, hi;  ///< integers; A column by column
  std::vector<double> x;             ///< a minimiser; these are correctly rounded
  std::vector<double> fitted;        ///< A x
  std::vector<double> gradient;      ///< A' (A x - b)
  double squares;                    ///< |A x - b|^2
  bool unique;                       ///< there is no other minimiser
};

/// Minimise |x|, G x >= h.
struct Distance {
  const char* name;
  int rows, n;
  std::vector<double> G, h;         ///< integers; G column by column
  std::vector<double> x;            ///< empty if the constraints contradict each other
  std::vector<double> multipliers;  ///< one for each row; there may be others
};

// clang-format off
inline const std::vector<Bounded> bounded = {
""")
    write_all_bounded(out)
    out.write("};\n\ninline const std::vector<Distance> distance = {\n")
    write_all_distances(out)
    out.write("};\n// clang-format on\n\n}  // namespace reference\n")


main()

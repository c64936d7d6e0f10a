#!/usr/bin/env python3
"""Writes linear_constraints.hpp: small least-squares problems under linear constraints of all kinds, solved
exactly.

    python3 linear_constraints.py linear_constraints.hpp

Every possible active set is tried, in rational arithmetic: the minimiser over the set, taken as equalities,
follows from a linear system. It is the solution if it satisfies the other constraints and no multiplier of an
inequality is negative. The problems are convex, so that is enough. Where A is rank deficient, A x is kept,
which all solutions have in common. If A has full rank and no set will do, the constraints contradict each
other.
"""

import itertools
import random
import sys
from fractions import Fraction

from rational import solve

INFINITE = 1000000  # a bound that is not there


def dot(x, y):
    return sum(a * b for a, b in zip(x, y))


def solution(rows, right):
    """As solve, but None for a singular system."""
    try:
        return solve(rows, right)
    except StopIteration:
        return None


def minimiser(A, b, N, h):
    """x and multipliers u with A'A x - N'u = A'b, N x = h; None if they are not determined."""
    n, q = len(A[0]), len(N)
    rows = [[Fraction(0)] * (n + q) for _ in range(n + q)]
    right = [Fraction(0)] * (n + q)
    for i in range(n):
        for j in range(n):
            rows[i][j] = Fraction(sum(row[i] * row[j] for row in A))
        right[i] = Fraction(sum(row[i] * value for row, value in zip(A, b)))
        for a in range(q):
            rows[i][n + a], rows[n + a][i] = Fraction(-N[a][i]), Fraction(N[a][i])
    for a in range(q):
        right[n + a] = Fraction(h[a])
    found = solution(rows, right)
    return found and (found[:n], found[n:])


def constrained(A, b, C, d, E, f, lo, hi):
    """A minimiser of |A x - b| under the constraints, or None."""
    n = len(A[0])
    unit = [[int(i == j) for j in range(n)] for i in range(n)]
    rows = C + [unit[j] for j in range(n) if lo[j] > -INFINITE]
    sides = d + [v for v in lo if v > -INFINITE]
    rows = rows + [[-v for v in unit[j]] for j in range(n) if hi[j] < INFINITE]
    sides = sides + [-v for v in hi if v < INFINITE]
    for count in range(n - len(E) + 1):
        for active in itertools.combinations(range(len(rows)), count):
            found = minimiser(A, b, E + [rows[i] for i in active], f + [sides[i] for i in active])
            if not found:
                continue
            x, u = found
            if min(u[len(E):], default=0) >= 0 and all(dot(row, x) >= side for row, side in zip(rows, sides)):
                return x
    return None


def numbers(values):
    return "{" + ", ".join(float(v).hex() if isinstance(v, Fraction) else str(v) for v in values) + "}"


def flat(rows):
    return [value for row in rows for value in row]


def problem(m, n, k, p, deficient):
    """Small integers. Most constraints hold at a point of small integers, some just so."""
    def table(rows, columns):
        return [[random.randint(-3, 3) for _ in range(columns)] for _ in range(rows)]
    A, C, E = table(m, n), table(k, n), table(p, n)
    if deficient and n > 1:
        A = [row[:-1] + [row[0] if deficient == 1 else 0] for row in A]
    inside = [random.randint(-2, 2) for _ in range(n)]
    b = [random.randint(-9, 9) for _ in range(m)]
    d = [dot(row, inside) - random.randint(-3 if random.random() < 0.2 else 0, 2) for row in C]
    f = [dot(row, inside) for row in E]
    lo = [v - random.randint(0, 2) if random.random() < 0.6 else -INFINITE for v in inside]
    hi = [v + random.randint(0, 2) if random.random() < 0.6 else INFINITE for v in inside]
    return A, b, C, d, E, f, lo, hi


def main():
    random.seed(2026)
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/linear_constraints.hpp - small least-squares problems under linear constraints, and
// their exact solutions. Written by linear_constraints.py; do not edit.
// clang-format off
#pragma once

#include <vector>

namespace reference {

/// Minimise |A x - b| subject to C x >= d, E x = f, lo <= x <= hi; bounds of a million are not there.
/// Matrices are row by row.
struct LinearConstraints {
  int m, n, k, p;
  bool unique, feasible;
  std::vector<int> A, b, C, d, E, f, lo, hi;
  std::vector<double> x;       ///< the solution if it is unique, correctly rounded
  std::vector<double> fitted;  ///< A x
};

inline const std::vector<LinearConstraints> linear_constraints = {
""")
    written = 0
    while written < 240:
        n = random.randint(1, 3)
        data = problem(random.randint(1, 5), n, random.randint(0, 4), random.choice((0, 0, 0, 1)) if n > 1 else 0,
                       random.choice((0, 0, 1, 2)))
        A, b, C, d, E, f, lo, hi = data
        unique = minimiser(A, [0] * len(A), [], []) is not None
        x = constrained(*data)
        if x is None and (not unique or any(not any(row) for row in E)):
            continue  # undecided
        fitted = [dot(row, x) for row in A] if x else []
        shape = (len(A), n, len(C), len(E), int(unique), int(x is not None))
        out.write("    {" + ", ".join(str(v) for v in shape) + ",\n")
        for values in (flat(A), b, flat(C), d, flat(E), f, lo, hi):
            out.write("     " + numbers(values) + ",\n")
        out.write("     " + numbers(x if x and unique else []) + ",\n     " + numbers(fitted) + "},\n")
        written += 1
    out.write("};\n\n}  // namespace reference\n")


if __name__ == "__main__":
    main()

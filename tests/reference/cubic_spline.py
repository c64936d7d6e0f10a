#!/usr/bin/env python3
"""Writes cubic_spline.hpp: interpolating cubic splines in exact rational arithmetic.

    python3 cubic_spline.py cubic_spline.hpp

A spline is found here from its conditions alone, as one linear system for the cubics of all intervals.
The recurrence that the library runs is not used. The conditions:

  - it passes through the table, and its first two derivatives are continuous;
  - its third derivative in the first interval is that of the cubic through the first four nodes, and in
    the last interval the negative of that of the cubic through the last four;
  - with three nodes both of these third derivatives are zero, with two the spline is a straight line.

Every number of the tables is a float, every number of the result is the exact value rounded once to
double.
"""

import sys
from fractions import Fraction


def solve(rows, right):
    """The solution of a sparse square system; a row is a dictionary from column to coefficient."""
    rows = [dict(row) for row in rows]
    right = list(right)
    size = len(rows)
    for column in range(size):
        pivot = next(i for i in range(column, size) if rows[i].get(column))
        rows[column], rows[pivot] = rows[pivot], rows[column]
        right[column], right[pivot] = right[pivot], right[column]
        for i in range(size):
            if i == column or not rows[i].get(column):
                continue
            factor = rows[i][column] / rows[column][column]
            for j, value in rows[column].items():
                rows[i][j] = rows[i].get(j, 0) - factor * value
            right[i] -= factor * right[column]
    return [right[i] / rows[i][i] for i in range(size)]


def divided_difference(x, y):
    """f[x[0], ..., x[k]] in Lagrange's form."""
    total = Fraction(0)
    for i, xi in enumerate(x):
        product = Fraction(1)
        for j, xj in enumerate(x):
            if j != i:
                product *= xi - xj
        total += y[i] / product
    return total


def spline(x, y):
    """The cubics y[i] + b[i] t + c[i] t^2 + d[i] t^3, one an interval, as three lists."""
    n = len(x)
    h = [x[i + 1] - x[i] for i in range(n - 1)]
    b, c, d = (lambda i: 3 * i), (lambda i: 3 * i + 1), (lambda i: 3 * i + 2)
    rows, right = [], []

    def condition(row, value):
        rows.append(row)
        right.append(Fraction(value))

    for i in range(n - 1):
        condition({b(i): h[i], c(i): h[i] ** 2, d(i): h[i] ** 3}, y[i + 1] - y[i])
        if i < n - 2:
            condition({b(i): Fraction(1), c(i): 2 * h[i], d(i): 3 * h[i] ** 2, b(i + 1): Fraction(-1)}, 0)
            condition({c(i): Fraction(1), d(i): 3 * h[i], c(i + 1): Fraction(-1)}, 0)
    if n == 2:
        condition({c(0): Fraction(1)}, 0)
        condition({d(0): Fraction(1)}, 0)
    else:
        first = divided_difference(x[:4], y[:4]) if n > 3 else 0
        last = divided_difference(x[-4:], y[-4:]) if n > 3 else 0
        condition({d(0): Fraction(1)}, first)
        condition({d(n - 2): Fraction(1)}, -last)
    solution = solve(rows, right)
    return solution[0::3], solution[1::3], solution[2::3]


def coefficients(x, y):
    """The three blocks of n coefficients that belong to the nodes."""
    b, c, d = spline(x, y)
    h = x[-1] - x[-2]
    b.append(b[-1] + 2 * c[-1] * h + 3 * d[-1] * h ** 2)
    c.append(c[-1] + 3 * d[-1] * h)
    d.append(d[-1])
    check_tridiagonal_form(x, y, c)
    return b, c, d


def check_tridiagonal_form(x, y, c):
    """The sixths of the second derivatives solve the usual symmetric tridiagonal system."""
    n = len(x)
    if n < 3:
        return
    h = [x[i + 1] - x[i] for i in range(n - 1)]
    sigma = [value / 3 for value in c]
    slope = [(y[i + 1] - y[i]) / h[i] for i in range(n - 1)]
    for i in range(1, n - 1):
        row = h[i - 1] * sigma[i - 1] + 2 * (h[i - 1] + h[i]) * sigma[i] + h[i] * sigma[i + 1]
        assert row == slope[i] - slope[i - 1]
    first = divided_difference(x[:4], y[:4]) * h[0] ** 2 if n > 3 else 0
    last = divided_difference(x[-4:], y[-4:]) * h[-1] ** 2 if n > 3 else 0
    assert -h[0] * sigma[0] + h[0] * sigma[1] == first
    assert h[-1] * sigma[n - 2] - h[-1] * sigma[n - 1] == last


def points(x, y, b, c, d):
    """Points with value and two derivatives: both ends of the slack, nodes, and between nodes."""
    slack = Fraction(1, 2 ** 30)  # inside the smaller of the two tolerances
    result = [(x[0] - slack, y[0], b[0], 2 * c[0])]
    for i in range(len(x)):
        fractions = [Fraction(0)] if i == len(x) - 1 else [Fraction(0), Fraction(3, 8), Fraction(15, 16)]
        for part in fractions:
            t = part * (x[i + 1] - x[i]) if part else part
            result.append((x[i] + t, ((d[i] * t + c[i]) * t + b[i]) * t + y[i],
                           (3 * d[i] * t + 2 * c[i]) * t + b[i], 6 * d[i] * t + 2 * c[i]))
    result.append((x[-1] + slack, y[-1], b[-1], 2 * c[-1]))
    return result


class Numbers:
    """Whole numbers from a linear congruence, the same everywhere."""

    def __init__(self, seed):
        self.state = seed

    def next(self, count):
        self.state = (self.state * 6364136223846793005 + 1442695040888963407) % 2 ** 64
        return (self.state >> 33) % count


def tables():
    """Name, nodes and ordinates of every table."""
    for n in (2, 3, 4, 5, 8, 20):
        numbers = Numbers(n)
        uniform = [Fraction(i - 1, 2) for i in range(n)]
        yield f"uniform {n}", uniform, [Fraction(numbers.next(513) - 256, 64) for _ in range(n)]
        uneven = [Fraction(-3, 4)]
        while len(uneven) < n:
            uneven.append(uneven[-1] + Fraction(1 + numbers.next(32), 16))
        yield f"uneven {n}", uneven, [Fraction(numbers.next(513) - 256, 64) for _ in range(n)]
    cubes = [Fraction(i, 4) for i in range(-3, 6)]
    yield "a cubic", cubes, [u ** 3 - u for u in cubes]
    far = [Fraction(8000 + i * i, 8) for i in range(9)]
    yield "far from the origin", far, [Fraction((-1) ** i * (i + 1), 4) for i in range(9)]
    graded = [Fraction(2 ** i, 64) for i in range(12)]
    yield "graded", graded, [Fraction(64, 2 ** i) for i in range(12)]


def literal(value):
    """The exact value rounded once to double, in hexadecimal."""
    return float(value).hex()


def block(name, values):
    lines = [f"     // {name}", "     {"]
    for start in range(0, len(values), 4):
        lines.append("      " + ", ".join(literal(value) for value in values[start:start + 4]) + ",")
    lines.append("     },")
    return lines


def header():
    lines = [
        "// tests/reference/cubic_spline.hpp - interpolating cubic splines, exact and rounded once to double.",
        "//",
        "// Written by cubic_spline.py in this folder, which says how they are defined. To write it again:",
        "//   python3 cubic_spline.py cubic_spline.hpp",
        "#pragma once",
        "",
        "#include <vector>",
        "",
        "struct ExactSpline {",
        "  const char* name;",
        "  std::vector<double> x, y;          // nodes and ordinates, all of them floats",
        "  std::vector<double> b, c, d;       // coefficients at the nodes",
        "  std::vector<double> u, s, s1, s2;  // points, values, first and second derivatives",
        "};",
        "",
        "// clang-format off",
        "inline const std::vector<ExactSpline> exact_splines = {",
    ]
    for name, x, y in tables():
        b, c, d = coefficients(x, y)
        at = points(x, y, b, c, d)
        assert all(Fraction(float(u)) == u for u, *_ in at), name
        lines.append(f"    {{\"{name}\",")
        for title, values in zip("x y b c d".split(), (x, y, b, c, d)):
            lines += block(title, values)
        for title, values in zip("u s s1 s2".split(), zip(*at)):
            lines += block(title, values)
        lines.append("    },")
    lines += ["};", "// clang-format on", ""]
    return "\n".join(lines)


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: cubic_spline.py FILE")
    for name, x, y in tables():
        for value in x + y:
            assert Fraction(float(value)) == value and abs(value.numerator) < 2 ** 24, name
    with open(sys.argv[1], "w", encoding="ascii", newline="\n") as file:
        file.write(header())


if __name__ == "__main__":
    main()

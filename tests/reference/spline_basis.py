#!/usr/bin/env python3
"""Writes spline_basis.hpp: the fundamental splines of clamped interpolation in exact rational arithmetic.

    python3 spline_basis.py spline_basis.hpp

There are n + 2 equally spaced knots over 0..2. A cubic spline, continuous with its first two
derivatives, has n + 4 numbers: its slope at the left end, its values at the knots, its slope at the
right end. For basis function j number j is 1 and all others are 0. The function is found here from
these conditions alone, as one linear system for the cubics of all intervals. The table holds the second
derivatives at the knots. Every number of the result is the exact value rounded once to double.
"""

import sys
from fractions import Fraction

KNOTS = (1, 2, 3, 4, 7, 12)
PLACES = (Fraction(0), Fraction(3, 16), Fraction(1, 2), Fraction(7, 8))  # within an interval


def solve(rows, rights):
    """The solutions of a sparse square system for several right-hand sides, by elimination."""
    size = len(rows)
    rows = [dict(row) for row in rows]
    for column in range(size):
        pivot = next(i for i in range(column, size) if rows[i].get(column))
        rows[column], rows[pivot] = rows[pivot], rows[column]
        rights[column], rights[pivot] = rights[pivot], rights[column]
        for i in range(size):
            factor = rows[i].get(column, 0)
            if i == column or factor == 0:
                continue
            factor /= rows[column][column]
            for j, value in rows[column].items():
                rows[i][j] = rows[i].get(j, 0) - factor * value
            rights[i] = [a - factor * b for a, b in zip(rights[i], rights[column])]
    return [[value / rows[i][i] for value in rights[i]] for i in range(size)]


def basis(n):
    """The cubics a + b t + c t^2 + d t^3 of all basis functions: cubics[j][k] in interval k."""
    h = Fraction(2, n + 1)
    rows, rights = [], []

    def condition(row, parameter=None):
        rows.append({column: Fraction(value) for column, value in row.items()})
        rights.append([Fraction(int(j == parameter)) for j in range(n + 4)])

    for k in range(n + 1):
        a, b, c, d = range(4 * k, 4 * k + 4)
        condition({a: 1}, k + 1)
        condition({a: 1, b: h, c: h ** 2, d: h ** 3}, k + 2)
        if k < n:
            condition({b: 1, c: 2 * h, d: 3 * h ** 2, b + 4: -1})
            condition({c: 1, d: 3 * h, c + 4: -1})
    condition({1: 1}, 0)
    condition({4 * n + 1: 1, 4 * n + 2: 2 * h, 4 * n + 3: 3 * h ** 2}, n + 3)
    solution = solve(rows, rights)
    return [[[solution[4 * k + power][j] for power in range(4)] for k in range(n + 1)]
            for j in range(n + 4)]


def literals(values):
    """The values in hexadecimal, comma-separated, in lines of at most 100 characters."""
    texts = [float(value).hex() for value in values]
    lines, line = [], "    "
    for text in texts:
        if len(line) + len(text) > 100:
            lines.append(line.rstrip())
            line = "    "
        line += text + ", "
    return lines + [line.rstrip()]


def header():
    lines = [
        "// tests/reference/spline_basis.hpp - fundamental splines, exact and rounded once to double.",
        "//",
        "// Written by spline_basis.py in this folder, which says how they are defined. To write it again:",
        "//   python3 spline_basis.py spline_basis.hpp",
        "#pragma once",
        "",
        "#include <vector>",
        "",
        "struct ExactBasis {",
        "  int n;                          // interior knots",
        "  std::vector<double> table;      // second derivatives at the knots, function by function",
        "  std::vector<double> k, t;       // points: interval, and place in it in units of its width",
        "  std::vector<double> s, s1, s2;  // values and derivatives there, function by function",
        "};",
        "",
        "// clang-format off",
        "inline const std::vector<ExactBasis> exact_bases = {",
    ]
    for n in KNOTS:
        h = Fraction(2, n + 1)
        cubics = basis(n)
        table, values, slopes, curvatures = [], [], [], []
        # One point an interval, and the right end.
        points = [(k, PLACES[k % len(PLACES)]) for k in range(n + 1)] + [(n, Fraction(1))]
        for function in cubics:
            table += [2 * c for _, _, c, _ in function]
            _, _, c, d = function[n]
            table.append(2 * c + 6 * d * h)
            for k, place in points:
                a, b, c, d = function[k]
                t = place * h
                values.append(a + t * (b + t * (c + t * d)))
                slopes.append(b + t * (2 * c + 3 * t * d))
                curvatures.append(2 * c + 6 * d * t)
        lines.append(f"    {{{n},")
        for block in (table, [k for k, _ in points], [t for _, t in points], values, slopes, curvatures):
            lines += ["    {", *literals(block), "    },"]
        lines.append("    },")
    lines += ["};", "// clang-format on", ""]
    return "\n".join(lines)


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: spline_basis.py FILE")
    with open(sys.argv[1], "w", encoding="ascii", newline="\n") as file:
        file.write(header())


if __name__ == "__main__":
    main()

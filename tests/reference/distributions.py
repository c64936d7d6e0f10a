#!/usr/bin/env python3
"""Writes distributions.hpp: tails of Student's t and Fisher's F distribution to 17 digits.

    python3 distributions.py distributions.hpp

Both are the incomplete beta function at whole and half parameters. The complete one is a product of
fractions there, with pi; the incomplete one is a series of positive terms in whichever of x and 1 - x is
smaller. The other tail is 1 less the first one: decimal numbers have 60 digits, and 400 where it is small.
"""

import decimal
import functools
import math
import sys
from decimal import Decimal

DIGITS = 400


def arctan_of_inverse(n, one):
    total, term, k = 0, one // n, 1
    while term:
        total += term // k if k % 4 == 1 else -(term // k)
        term //= n * n
        k += 2
    return total


decimal.getcontext().prec = DIGITS
ONE = 10 ** (DIGITS + 20)
PI = Decimal(4 * (4 * arctan_of_inverse(5, ONE) - arctan_of_inverse(239, ONE))) / Decimal(ONE)


def leading(n):
    """A whole number as a Decimal: its leading bits, and a power of two."""
    shift = max(0, n.bit_length() - 4 * DIGITS)
    return Decimal(n >> shift) * Decimal(2) ** shift


@functools.cache
def middle_binomial(n):
    """C(2n, n) / 4^n, with all digits."""
    with decimal.localcontext() as context:
        context.prec = DIGITS
        return leading(math.comb(2 * n, n)) / Decimal(4) ** n


def beta(p, q):
    """B(p/2, q/2)."""
    if p < q:
        p, q = q, p
    n = p // 2
    if q % 2:
        value = PI * middle_binomial(n) if p % 2 else 1 / (n * middle_binomial(n))  # B(p/2, 1/2)
    else:
        value = Decimal(2) / p  # B(p/2, 1)
    for b in range(2 if q % 2 == 0 else 1, q, 2):
        value = value * b / (p + b)
    return value


def incomplete(p, q, x, y):
    """I_x(p/2, q/2) for y = 1 - x: x^a y^b / (a B) (1 + (a+b) / (a+1) x + ...)."""
    term = total = Decimal(1)
    n = 0
    while term > total * Decimal(10) ** -(decimal.getcontext().prec - 5):
        term = term * (p + q + 2 * n) / (p + 2 + 2 * n) * x
        total += term
        n += 1
    return x.sqrt() ** p * y.sqrt() ** q * total * 2 / p / beta(p, q)


def f_tails(d1, d2, x, precision=60):
    """P(F <= x) and P(F > x)."""
    decimal.getcontext().prec = precision
    tails = f_tails_as_precise(d1, d2, Decimal(x))
    if min(tails) < Decimal(10) ** (30 - precision) and precision < DIGITS:
        return f_tails(d1, d2, x, DIGITS)
    return tails


def f_tails_as_precise(d1, d2, x):
    u, v = d1 * x / (d2 + d1 * x), d2 / (d2 + d1 * x)
    if u < v:
        lower = incomplete(d1, d2, u, v)
        return lower, 1 - lower
    upper = incomplete(d2, d1, v, u)
    return 1 - upper, upper


def text(value):
    return "%.16e" % value if value > Decimal(10) ** -307 else "0"


T_CASES = [(df, t) for df in (1, 2, 3, 4, 7, 10, 30, 101, 1000, 10**4, 10**5, 10**6)
           for t in (1e-6, 0.01, 0.5, 0.96875, 1.0, 1.5, 2.0, 3.25, 6.0, 12.0, 36.0, 1000.0, 1e8)
           if df < 10**6 or t < 1000]  # the series is slow there, and the tail 0
F_CASES = [(d1, d2, x) for d1 in (1, 2, 3, 10, 41, 1000) for d2 in (1, 2, 5, 16, 301, 1000)
           for x in (1e-6, 0.01, 0.5, 0.96875, 1.0, 1.0625, 2.0, 10.0, 200.0)]
F_CASES += [(2, 10**6, 1.0), (3, 10**6, 7.0), (10**6, 4, 0.5), (40, 10**5, 2.0), (10**4, 10**4, 1.03125)]


def main():
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/distributions.hpp - tails of Student's t and Fisher's F distribution.
//
// Written by distributions.py in this folder, which says how. To write it again:
//   python3 distributions.py distributions.hpp
#pragma once

#include <vector>

/// P(T > t) for df degrees of freedom; 0 below 1e-307.
struct StudentTail {
  double df, t, upper;
};
/// P(F <= x) and P(F > x) for d1 and d2 degrees of freedom; 0 below 1e-307.
struct FTails {
  double d1, d2, x, lower, upper;
};

// clang-format off
inline const std::vector<StudentTail> student_tails = {
""")
    for df, t in T_CASES:
        decimal.getcontext().prec = DIGITS  # t squared is exact
        out.write("    {%d, %s, %s},\n" % (df, t, text(f_tails(1, df, Decimal(t) ** 2)[1] / 2)))
    out.write("};\ninline const std::vector<FTails> f_tails = {\n")
    for d1, d2, x in F_CASES:
        out.write("    {%d, %d, %s, %s, %s},\n" % (d1, d2, x, *map(text, f_tails(d1, d2, x))))
    out.write("};\n// clang-format on\n")


main()

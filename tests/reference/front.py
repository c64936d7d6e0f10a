#!/usr/bin/env python3
"""Writes front.hpp: small constrained least-squares problems and their exact solutions.

    python3 front.py front.hpp

Not run by the build: it needs SciPy and R with the packages nnls and quadprog (on Debian python3-scipy,
r-cran-nnls, r-cran-quadprog; with another Python in front, call that of the system). Run it again after a
change.

No solver decides anything: every choice of active constraints is tried in exact rational arithmetic, until
one gives a point that meets all constraints with multipliers of the right sign. The problem is convex, so
this point is a minimiser. Rounded once to double it is what is written. Afterwards the solvers must agree
with it to 1e-9: scipy.optimize.nnls and nnls of R, lsq_linear (method bvls), solve.QP of quadprog, each on
the problems that it takes.

Every element of the problems is a small multiple of 1/64 and thus a float.
"""

import itertools
import math
import subprocess
import sys
from fractions import Fraction

import numpy
from scipy.optimize import lsq_linear, nnls

from rational import solve

random = numpy.random.RandomState(60)
INFINITE = 2147483647  # in place of a bound


def matrix(rows, columns, low=-4, high=4):
    return random.randint(64 * low, 64 * high + 1, size=(rows, columns)) / 64.0


def integers(rows, columns):
    return random.randint(-3, 4, size=(rows, columns)) * 1.0


class Problem:
    """min |A x - b|, C x >= d, E x = f, lo <= x <= hi."""

    def __init__(self, name, A, b, C=None, d=(), E=None, f=(), lo=None, hi=None):
        n = A.shape[1]
        self.name, self.A, self.b = name, A, numpy.array(b, dtype=float)
        self.C = numpy.zeros((0, n)) if C is None else C
        self.E = numpy.zeros((0, n)) if E is None else E
        self.d, self.f = numpy.array(d, dtype=float), numpy.array(f, dtype=float)
        self.lo = numpy.full(n, -numpy.inf) if lo is None else numpy.array(lo, dtype=float)
        self.hi = numpy.full(n, numpy.inf) if hi is None else numpy.array(hi, dtype=float)
        self.unique = numpy.linalg.matrix_rank(A) == n

    def inequalities(self):
        """All of them as rows, C x >= d and the bounds, and their right sides."""
        rows, right = [list(row) for row in self.C], list(self.d)
        for bounds, sign in ((self.lo, 1), (self.hi, -1)):
            for j, bound in enumerate(bounds):
                if math.isfinite(bound):
                    rows.append([sign * float(k == j) for k in range(len(bounds))])
                    right.append(sign * bound)
        return rows, right


def dot(u, v):
    return sum((a * b for a, b in zip(u, v)), Fraction(0))


def rational(rows):
    return [[Fraction(v) for v in row] for row in rows]


def stationary(gram, right, held, values):
    """The point with A^T A x - held^T u = A^T b, held x = values, and u; None if there is no single one."""
    n = len(gram)
    rows = [gram[i] + [-row[i] for row in held] for i in range(n)]
    rows += [row + [Fraction(0)] * len(held) for row in held]
    try:
        found = solve(rows, right + values)
    except (StopIteration, ZeroDivisionError, IndexError, ValueError):
        return None
    return found[:n], found[n:]


def exact(problem):
    """A minimiser and its squared residual norm."""
    A, b = rational(problem.A), [Fraction(v) for v in problem.b]
    E, f = rational(problem.E), [Fraction(v) for v in problem.f]
    rows, right = problem.inequalities()
    rows, right = rational(rows), [Fraction(v) for v in right]
    n = problem.A.shape[1]
    columns = list(zip(*A))
    gram = [[dot(u, v) for v in columns] for u in columns]
    moment = [dot(u, b) for u in columns]
    for count in range(n - len(E) + 1):
        for held in itertools.combinations(range(len(rows)), count):
            point = stationary(gram, moment, E + [rows[i] for i in held], f + [right[i] for i in held])
            if point is None or any(u < 0 for u in point[1][len(E):]):
                continue
            x = point[0]
            if all(dot(row, x) >= value for row, value in zip(rows, right)):
                return x, sum((dot(row, x) - value) ** 2 for row, value in zip(A, b))
    raise AssertionError("no solution: " + problem.name)


# -- what the solvers say ------------------------------------------------------------------------------


def agree(problem, x, by):
    near = [float(v) for v in x]
    assert max(abs(u - v) for u, v in zip(by, near)) < 1e-9 * max(1, max(map(abs, near))), problem.name


def r_vector(values):
    return "c(" + ",".join(repr(float(v)) for v in values) + ")"


def run_r(script):
    out = subprocess.run(["Rscript", "-"], input=script, capture_output=True, text=True, check=True)
    return [[float(v) for v in line.split()] for line in out.stdout.splitlines()]


def compare_nonnegative(problems):
    script = "library(nnls)\n"
    for p, x in problems:
        agree(p, x, nnls(p.A, p.b)[0])
        script += "s <- nnls(matrix(%s, ncol=%d), %s)\n" % (r_vector(p.A.ravel("F")), p.A.shape[1],
                                                            r_vector(p.b))
        script += 'cat(sprintf("%.17g", s$x), "\\n")\n'
    for (p, x), by in zip(problems, run_r(script)):
        agree(p, x, by)


def compare_bounded(problems):
    for p, x in problems:
        if all(p.lo < p.hi):  # the solver refuses equal ones
            agree(p, x, lsq_linear(p.A, p.b, (p.lo, p.hi), method="bvls", tol=1e-15).x)


def compare_general(problems):
    script = "library(quadprog)\n"
    for p, x in problems:
        rows, right = p.inequalities()
        C = numpy.vstack([p.E, numpy.array(rows).reshape(len(rows), p.A.shape[1])])
        script += "A <- matrix(%s, ncol=%d)\n" % (r_vector(p.A.ravel("F")), p.A.shape[1])
        script += "C <- matrix(%s, ncol=%d)\n" % (r_vector(C.ravel("F")), p.A.shape[1])
        script += "s <- solve.QP(t(A) %%*%% A, t(A) %%*%% %s, t(C), %s, %d)\n" % (
            r_vector(p.b), r_vector(list(p.f) + list(right)), len(p.E))
        script += 'cat(sprintf("%.17g", s$solution), "\\n")\n'
    for (p, x), by in zip(problems, run_r(script)):
        agree(p, x, by)


# -- the problems --------------------------------------------------------------------------------------


def nonnegative_problems():
    for m, n in ((1, 1), (2, 1), (2, 2), (3, 2), (3, 3), (4, 3), (6, 4), (8, 5)):
        yield Problem("", matrix(m, n), matrix(1, m).ravel(), lo=[0] * n)
        yield Problem("positive", matrix(m, n, 0), matrix(1, m, -1).ravel() + 2, lo=[0] * n)
    A = matrix(5, 3)
    yield Problem("b = 0", A, [0] * 5, lo=[0] * 3)
    yield Problem("b in the range", A, A @ [1, 0, 2], lo=[0] * 3)
    yield Problem("all held", -numpy.abs(A), numpy.abs(matrix(1, 5).ravel()), lo=[0] * 3)
    A = integers(4, 3)
    yield Problem("a column twice", numpy.column_stack([A, A[:, 1]]), [3, 1, -2, 5], lo=[0] * 4)
    yield Problem("a sum of columns", numpy.column_stack([A, A[:, 0] + A[:, 2]]), [3, 1, -2, 5], lo=[0] * 4)
    yield Problem("a column of zeros", numpy.column_stack([A, [0] * 4]), [3, 1, -2, 5], lo=[0] * 4)
    yield Problem("fewer equations", integers(2, 4), [3, -1], lo=[0] * 4)


def bounded_problems():
    for m, n in ((1, 1), (2, 2), (3, 2), (4, 3), (6, 4), (8, 5)):
        middle = matrix(1, n, -1, 1).ravel()
        width = random.randint(1, 65, size=n) / 64.0
        yield Problem("", matrix(m, n), matrix(1, m).ravel(), lo=middle - width, hi=middle + width)
        far = random.randint(0, 3, size=n)  # 0: no lower bound, 1: no upper bound
        yield Problem("some infinite", matrix(m, n), matrix(1, m).ravel(),
                      lo=numpy.where(far == 0, -numpy.inf, middle - width),
                      hi=numpy.where(far == 1, numpy.inf, middle + width))
    for m, n in ((3, 2), (4, 3), (6, 4)):
        middle = matrix(1, n, -1, 1).ravel()
        width = random.randint(0, 2, size=n) / 4.0
        yield Problem("some equal", matrix(m, n), matrix(1, m).ravel(), lo=middle - width, hi=middle + width)
    yield Problem("none binds", matrix(5, 3), [0.5] * 5, lo=[-100] * 3, hi=[100] * 3)
    yield Problem("all bind", numpy.eye(3), [-9, 9, 9], lo=[0] * 3, hi=[1, 2, 3])
    yield Problem("a column twice", numpy.array([[1.0, 1], [2, 2], [1, 1]]), [9, 9, 9], lo=[0, 0], hi=[1, 2])


def general_problems():
    for m, n, mc in ((1, 1, 1), (2, 2, 1), (3, 2, 4), (5, 3, 3), (5, 3, 6), (6, 4, 7), (8, 5, 6)):
        inside = matrix(1, n, -1, 1).ravel()
        for me in (0, 1):
            if me >= n:
                continue
            C, E = matrix(mc, n), integers(me, n)
            d = numpy.floor(64 * (C @ inside)) / 64 - random.randint(0, 65, size=mc) / 64.0
            yield Problem("%d inequalities%s" % (mc, ", an equation" if me else ""), matrix(m, n), matrix(1, m).ravel(), C, d, E, E @ inside)
    for n in (2, 3, 4):
        A, inside = matrix(n + 3, n), random.randint(-2, 3, size=n) * 1.0
        C = integers(n + 2, n)
        yield Problem("all constraints meet in a point", A, A @ (inside + 3), C, C @ inside)
        yield Problem("bounds and a sum", A, A @ (inside + 3), numpy.ones((1, n)), [-1],
                      lo=[-1] * n, hi=[0.5] * n)
        yield Problem("a simplex", A, A @ (inside + 1), E=numpy.ones((1, n)), f=[1], lo=[0] * n)
    A = matrix(5, 3)
    C = matrix(2, 3)
    yield Problem("a constraint twice and doubled", A, A @ [-4, 3, 3], numpy.vstack([C, C, 2 * C[:1]]),
                  [1, 2, 1, 2, 2])
    yield Problem("equations alone", A, [1, 2, 3, 4, 5], E=integers(2, 3), f=[1, -1])


# -- the text ------------------------------------------------------------------------------------------


def sixty_fourths(value):
    if math.isinf(value):
        return INFINITE * math.copysign(1, value)
    assert 64 * value == int(64 * value)
    return 64 * value


def list_of(values):
    return "{" + ", ".join("%d" % sixty_fourths(v) for v in values) + "}"


def write(out, name, problems, compare):
    solved = [(p, *exact(p)) for p in problems]
    compare([(p, x) for p, x, _ in solved if p.unique])
    out.write("inline const std::vector<ExactProblem> %s = {\n" % name)
    for p, x, rn in solved:
        root = numpy.sqrt(numpy.longdouble(rn.numerator) / numpy.longdouble(rn.denominator))
        out.write("    {\"%s\", %s, %d, %d,\n" % (
            " ".join((name[len("exact_"):], "%d by %d" % p.A.shape, p.name)).strip(), str(p.unique).lower(), *p.A.shape))
        for values in (p.A.ravel("F"), p.b, p.C.ravel("F"), p.d, p.E.ravel("F"), p.f, p.lo, p.hi):
            out.write("     " + list_of(values) + ",\n")
        out.write("     {" + ", ".join(float(v).hex() for v in x) + "}, " + float(root).hex() + "},\n")
    out.write("};\n\n")


def main():
    with open(sys.argv[1], "w") as out:
        out.write("""// tests/reference/front.hpp - small constrained least-squares problems and their exact solutions. Written
// by front.py; do not edit.
// clang-format off
#pragma once

#include <vector>

namespace reference {

/// min |A x - b|, C x >= d, E x = f, lo <= x <= hi. Matrices are by columns; the problem is in 64ths, and
/// 2147483647 stands for an infinite bound.
struct ExactProblem {
  const char* name;
  bool unique;  ///< there is one solution
  int m, n;
  std::vector<int> A, b, C, d, E, f, lo, hi;
  std::vector<double> x;  ///< a solution, correctly rounded
  double residual_norm;
};

""")
        write(out, "exact_nonnegative", list(nonnegative_problems()), compare_nonnegative)
        write(out, "exact_bounded", list(bounded_problems()), compare_bounded)
        write(out, "exact_constrained", list(general_problems()), compare_general)
        out.write("}  // namespace reference\n")


if __name__ == "__main__":
    main()

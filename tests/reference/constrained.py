#!/usr/bin/env python3
"""Writes constrained.hpp: constrained least-squares problems and their solutions by other solvers.

    python3 constrained.py constrained.hpp

Not run by the build: it needs SciPy and R with the package quadprog (on Debian python3-scipy and
r-cran-quadprog; with another Python in front, call that of the system). Run it again after a change.

  - non-negative problems: scipy.optimize.nnls;
  - interval bounds: scipy.optimize.lsq_linear, method bvls;
  - general constraints: solve.QP of quadprog, on A^T A and A^T b.

Every element of the problems is a small multiple of 1/64 and thus a float. The solvers only decide
which constraints are active. With these known, the solution follows from a linear system, which is
solved here in exact rational arithmetic. The exact solution must meet the optimality conditions and
agree with the solvers to 1e-9; rounded once to double, it is what is written.
"""

import subprocess
import sys
from fractions import Fraction

import numpy
from scipy.optimize import lsq_linear, nnls

from rational import solve

random = numpy.random.RandomState(20)


def matrix(rows, columns, low=-4, high=4):
    return random.randint(64 * low, 64 * high + 1, size=(rows, columns)) / 64.0


def quadprog(A, b, C, d):
    """The minimiser of |A x - b| subject to C x >= d."""
    def r(name, values):
        return name + " <- c(" + ",".join(repr(float(v)) for v in values) + ")\n"

    n = A.shape[1]
    script = "library(quadprog)\n" + r("A", A.ravel("F")) + r("b", b) + r("C", C.ravel("F")) + r("d", d)
    script += "A <- matrix(A, ncol=%d); C <- matrix(C, ncol=%d)\n" % (n, n)
    script += "s <- solve.QP(t(A) %*% A, t(A) %*% b, t(C), d)\n"
    script += 'cat(sprintf("%.17g", s$solution))\n'
    out = subprocess.run(["Rscript", "-"], input=script, capture_output=True, text=True, check=True)
    return numpy.array([float(v) for v in out.stdout.split()])


def exact(A, b, C, d, near):
    """The exact minimiser of |A x - b| subject to C x >= d, with the active set of the point `near`;
    its squared residual norm; and its distance from a change of the active set."""
    A = [[Fraction(v) for v in row] for row in A]
    b = [Fraction(v) for v in b]
    C = [[Fraction(v) for v in row] for row in C]
    d = [Fraction(v) for v in d]
    n = len(A[0])
    slack = [sum(c * v for c, v in zip(row, near)) - float(bound) for row, bound in zip(C, d)]
    active = [i for i, s in enumerate(slack) if abs(s) < 1e-9]
    # A^T A x - C^T u = A^T b, C x = d over the active constraints
    size = n + len(active)
    rows = [[Fraction(0)] * size for _ in range(size)]
    right = [Fraction(0)] * size
    for i in range(n):
        for j in range(n):
            rows[i][j] = sum(row[i] * row[j] for row in A)
        right[i] = sum(row[i] * v for row, v in zip(A, b))
        for a, constraint in enumerate(active):
            rows[i][n + a] = -C[constraint][i]
            rows[n + a][i] = C[constraint][i]
    for a, constraint in enumerate(active):
        right[n + a] = d[constraint]
    found = solve(rows, right)
    x, u = found[:n], found[n:]
    rest = [sum(c * v for c, v in zip(row, x)) - bound for row, bound in zip(C, d)]
    rest = [value for i, value in enumerate(rest) if i not in active]
    assert min(u, default=1) > 0 and min(rest, default=1) > 0, "the solver's active set is wrong"
    rn = sum((sum(a * v for a, v in zip(row, x)) - value) ** 2 for row, value in zip(A, b))
    assert max(abs(float(v) - w) for v, w in zip(x, near)) < 1e-9
    return x, rn, float(min(u + rest, default=1))


def numbers(values):
    return "{" + ", ".join(float(v).hex() for v in values) + "}"


def write(out, name, m, n, mc, A, b, C, d, x, rn):
    out.write("    {\"%s\",\n     %d,\n     %d,\n     %d,\n" % (name, m, n, mc))
    for values in (A.ravel(), b, C.ravel(), d):
        out.write("     {" + ", ".join("%g" % (64 * v) for v in values) + "},\n")
    out.write("     " + numbers(x) + ",\n     " + float(rn).hex() + "},\n")


def main():
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/constrained.hpp - constrained least-squares problems and their solutions. Written by
// constrained.py; do not edit.
// clang-format off
#pragma once

#include <vector>

namespace reference {

/// Minimise |A x - b| subject to C x >= d. Matrices are row by row; all but x and rn is in 64ths.
struct Problem {
  const char* name;
  int m, n, mc;
  std::vector<int> A, b, C, d;
  std::vector<double> x;  ///< the solution, correctly rounded
  double rn;              ///< its squared residual norm
};

""")
    out.write("/// C is the identity and d is 0.\ninline const std::vector<Problem> nonnegative = {\n")
    sizes = ((3, 2), (4, 3), (6, 4), (5, 5), (10, 5), (12, 8), (20, 10), (30, 15))
    for m, n, low in [(*size, -1) for size in sizes] + [(*size, 0) for size in sizes]:
        A = matrix(m, n, low, 4)
        b = matrix(m, 1, -1, 1).ravel()
        if low < 0:
            b += numpy.round(64 * A @ matrix(n, 1, -1, 2).ravel()) / 64
        else:  # far from what A reaches: variables enter that have to leave again
            b += 2
        C, d = numpy.eye(n), numpy.zeros(n)
        x, rn, _ = exact(A, b, C, d, nnls(A, b)[0])
        write(out, "nonnegative %d by %d from %d" % (m, n, low), m, n, 0, A, b, C[:0], d[:0], x, rn)
    out.write("};\n\n/// lo is d[0..n-1] and hi is -d[n..2n-1]; C is the identity over its negative.\n"
              "inline const std::vector<Problem> interval = {\n")
    for m, n in ((2, 2), (5, 3), (8, 4), (12, 6), (20, 10)):
        A, b = matrix(m, n), matrix(m, 1).ravel()
        middle = matrix(n, 1, -1, 1).ravel()
        width = random.randint(1, 33, size=n) / 64.0
        lo, hi = middle - width, middle + width
        C, d = numpy.vstack((numpy.eye(n), -numpy.eye(n))), numpy.concatenate((lo, -hi))
        near = lsq_linear(A, b, (lo, hi), method="bvls", tol=1e-14).x
        x, rn, _ = exact(A, b, C, d, near)
        write(out, "interval %d by %d" % (m, n), m, n, 2 * n, A, b, C[:0], d, x, rn)
    out.write("};\n\ninline const std::vector<Problem> general = {\n")
    for m, n, mc in ((2, 2, 1), (4, 2, 3), (6, 3, 2), (6, 3, 7), (8, 5, 5), (12, 6, 9), (20, 8, 12)):
        A, b = matrix(m, n), matrix(m, 1).ravel()
        C = matrix(mc, n)
        inside = matrix(n, 1, -1, 1).ravel()
        d = numpy.floor(64 * (C @ inside)) / 64 - random.randint(0, 65, size=mc) / 64.0
        x, rn, _ = exact(A, b, C, d, quadprog(A, b, C, d))
        write(out, "general %d by %d, %d" % (m, n, mc), m, n, mc, A, b, C, d, x, rn)
    out.write("};\n\n}  // namespace reference\n")


main()

#!/usr/bin/env python3
"""Writes conditions.hpp: constrained least-squares problems of given condition, their exact solutions, and the
digits that R's quadprog gets from the normal equations.

    python3 conditions.py conditions.hpp

Not run by the build: it needs NumPy and R with the package quadprog (on Debian python3-numpy and
r-cran-quadprog). Run it again after a change.

The elements are doubles, taken as they are: every active set is tried in exact rational arithmetic, as in
linear_constraints.py.
"""

import math
import subprocess
import sys
from fractions import Fraction

import numpy

from linear_constraints import INFINITE, constrained

random = numpy.random.RandomState(27)


def orthogonal(rows, columns):
    return numpy.linalg.qr(random.standard_normal((rows, columns)))[0]


def quadprog(A, b, C, d):
    """The minimiser of |A x - b| subject to C x >= d; None if it is refused."""
    def r(name, values):
        return name + " <- c(" + ",".join(float(v).hex() for v in values) + ")\n"

    n = A.shape[1]
    script = "library(quadprog)\n" + r("A", A.ravel("F")) + r("b", b) + r("C", C.ravel("F")) + r("d", d)
    script += "A <- matrix(A, ncol=%d); C <- matrix(C, ncol=%d)\n" % (n, n)
    script += "s <- try(solve.QP(crossprod(A), drop(crossprod(A, b)), t(C), d), silent=TRUE)\n"
    script += 'if (is.list(s)) cat(sprintf("%.17g", s$solution))\n'
    out = subprocess.run(["Rscript", "-"], input=script, capture_output=True, text=True, check=True)
    return [float(v) for v in out.stdout.split()] or None


def digits(x, exact):
    error = max(abs(Fraction(v) - w) for v, w in zip(x, exact)) / max(abs(w) for w in exact)
    return 16.0 if error == 0 else max(0.0, min(16.0, -math.log10(error)))


def numbers(values):
    return "{" + ", ".join(float(v).hex() for v in values) + "}"


def main():
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/conditions.hpp - constrained least-squares problems of given condition, and their exact
// solutions. Written by conditions.py; do not edit.
// clang-format off
#pragma once

#include <vector>

namespace reference {

/// Minimise |A x - b| subject to C x >= d. A is 12 by 4, C is 7 by 4, row by row.
struct Conditioned {
  double condition;             ///< of A
  double residual;              ///< |b - A x| is of this size
  std::vector<double> A, b, C, d;
  std::vector<double> x;        ///< the solution, correctly rounded
  double quadprog_digits;       ///< digits of R's quadprog; 0 also if it refuses the problem
};

inline const std::vector<Conditioned> conditioned = {
""")
    m, n, k = 12, 4, 7
    for condition in (1, 1e4, 1e8):
        for residual in (1e-3, 1.0):
            for _ in range(4):
                A = orthogonal(m, n) @ numpy.diag(numpy.logspace(0, -math.log10(condition), n))
                A = A @ orthogonal(n, n)
                inside = random.uniform(-1, 1, n)
                b = A @ (inside + random.uniform(-1, 1, n)) + residual * random.uniform(-1, 1, m)
                C = random.uniform(-1, 1, (k, n))
                d = C @ inside - random.uniform(0, 0.3, k)
                exact = constrained(*[[[Fraction(v) for v in row] for row in M] if M.ndim == 2 else
                                      [Fraction(v) for v in M] for M in (A, b, C, d)],
                                    [], [], [-INFINITE] * n, [INFINITE] * n)
                x = quadprog(A, b, C, d)
                out.write("    {%g, %g,\n" % (condition, residual))
                for values in (A.ravel(), b, C.ravel(), d, exact):
                    out.write("     " + numbers(values) + ",\n")
                out.write("     %.1f},\n" % (digits(x, exact) if x else 0.0))
    out.write("};\n\n}  // namespace reference\n")


main()

#!/usr/bin/env python3
"""Writes least_norm.hpp: solutions of least norm by NumPy's lstsq.

    python3 least_norm.py least_norm.hpp

The matrices are of small whole numbers and of low rank. The test does not need NumPy.
"""

import sys

import numpy

SHAPES = [(6, 4, 2), (4, 6, 3), (8, 8, 5), (5, 3, 1), (3, 7, 3), (12, 5, 4)]


def listed(values):
    return "{" + ", ".join("%.17g" % v for v in values) + "}"


def main():
    random = numpy.random.RandomState(9)
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/least_norm.hpp - least-squares solutions of least norm.
//
// Written by least_norm.py in this folder with NumPy %s. To write it again:
//   python3 least_norm.py least_norm.hpp
#pragma once

#include <vector>

struct LeastNorm {
  int m, n, rank;
  std::vector<double> A, b;  // A row by row
  std::vector<double> x;     // of all minimisers of |A x - b| the shortest
  double constant;           // the same with an intercept c, which does not count: |A y + c - b|
  std::vector<double> y;
};

// clang-format off
inline const std::vector<LeastNorm> least_norms = {
""" % numpy.__version__)
    for m, n, rank in SHAPES:
        A = numpy.zeros((m, n))
        while numpy.linalg.matrix_rank(A) != rank:
            A = (random.randint(-3, 4, (m, rank)) @ random.randint(-3, 4, (rank, n))).astype(float)
        b = random.randint(-9, 10, m).astype(float)
        x = numpy.linalg.lstsq(A, b, rcond=None)[0]
        y = numpy.linalg.lstsq(A - A.mean(axis=0), b - b.mean(), rcond=1e-10)[0]
        out.write("    {%d, %d, %d,\n     %s,\n     %s,\n     %s,\n     %.17g,\n     %s},\n"
                  % (m, n, rank, listed(A.ravel()), listed(b), listed(x), b.mean() - A.mean(axis=0) @ y,
                     listed(y)))
    out.write("};\n// clang-format on\n")


main()

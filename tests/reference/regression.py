#!/usr/bin/env python3
"""Writes regression.hpp: linear regressions and their statistics in exact rational arithmetic.

    python3 regression.py regression.hpp

The data are those of NIST's collection of linear regressions with certified results. They are not taken
on trust. The normal equations are solved here with fractions; the script ends with an error unless
every coefficient and standard error, the residual sum of squares and standard deviation, R squared and F
agree with the certified value in all its digits. One wrong digit in the data would show there. The Wampler sets need no certified value: their coefficients
follow from how y is made, which is checked as well.

The last set is Filip once more with the powers rounded to double, which are the numbers that a program gets.
Its solution is that of these numbers. It shows how much of Filip's error is the rounding of the powers.
"""

import math
import sys
from fractions import Fraction

from rational import solve

LONGLEY = """
60323 83    234289 2356 1590 107608 1947
61122 88.5  259426 2325 1456 108632 1948
60171 88.2  258054 3682 1616 109773 1949
61187 89.5  284599 3351 1650 110929 1950
63221 96.2  328975 2099 3099 112075 1951
63639 98.1  346999 1932 3594 113270 1952
64989 99    365385 1870 3547 115094 1953
63761 100   363112 3578 3350 116219 1954
66019 101.2 397469 2904 3048 117388 1955
67857 104.6 419180 2822 2857 118734 1956
68169 108.4 442769 2936 2798 120445 1957
66513 110.8 444546 4681 2637 121950 1958
68655 112.6 482704 3813 2552 123366 1959
69564 114.2 502601 3931 2514 125368 1960
69331 115.7 518173 4806 2572 127852 1961
70551 116.9 554894 4007 2827 130081 1962
"""

NORRIS = """
0.1 0.2      338.8 337.4  118.1 118.2  888.0 884.6  9.2 10.1     228.1 226.5  668.5 666.3  998.5 996.3
449.1 448.6  778.9 777.0  559.2 558.2  0.3 0.4      0.1 0.6      778.1 775.5  668.8 666.9  339.3 338.0
448.9 447.5  10.8 11.6    557.7 556.0  228.3 228.1  998.0 995.8  888.8 887.6  119.6 120.2  0.3 0.3
0.6 0.3      557.6 556.8  339.3 339.1  888.0 887.2  998.5 999.0  778.9 779.0  10.2 11.1    117.6 118.3
228.9 229.2  668.4 669.1  449.2 448.9  0.2 0.5
"""

# Ordinates at 150000, 300000, ..., 3000000, twice.
PONTIUS = """
.11019 .21956 .32949 .43899 .54803 .65694 .76562 .87487 .98292 1.09146 1.20001 1.30822 1.41599 1.52399
1.63194 1.73947 1.84646 1.95392 2.06128 2.16844
.11052 .22018 .32939 .43886 .54798 .65739 .76596 .87474 .98300 1.09150 1.20004 1.30818 1.41613 1.52408
1.63159 1.73965 1.84696 1.95445 2.06177 2.16829
"""

FILIP = """
0.8116 -6.860120914 0.9072 -4.324130045 0.9052 -4.358625055 0.9039 -4.358426747 0.8053 -6.955852379
0.8377 -6.661145254 0.8667 -6.355462942 0.8809 -6.118102026 0.7975 -7.115148017 0.8162 -6.815308569
0.8515 -6.519993057 0.8766 -6.204119983 0.8885 -5.853871964 0.8859 -6.109523091 0.8959 -5.79832982
0.8913 -5.482672118 0.8959 -5.171791386 0.8971 -4.851705903 0.9021 -4.517126416 0.909 -4.143573228
0.9139 -3.709075441 0.9199 -3.499489089 0.8692 -6.300769497 0.8872 -5.953504836 0.89 -5.642065153
0.891 -5.031376979 0.8977 -4.680685696 0.9035 -4.329846955 0.9078 -3.928486195 0.7675 -8.56735134
0.7705 -8.363211311 0.7713 -8.107682739 0.7736 -7.823908741 0.7775 -7.522878745 0.7841 -7.218819279
0.7971 -6.920818754 0.8329 -6.628932138 0.8641 -6.323946875 0.8804 -5.991399828 0.7668 -8.781464495
0.7633 -8.663140179 0.7678 -8.473531488 0.7697 -8.247337057 0.77 -7.971428747 0.7749 -7.676129393
0.7796 -7.352812702 0.7897 -7.072065318 0.8131 -6.774174009 0.8498 -6.478861916 0.8741 -6.159517513
0.8061 -6.835647144 0.846 -6.53165267 0.8751 -6.224098421 0.8856 -5.910094889 0.8919 -5.598599459
0.8934 -5.290645224 0.894 -4.974284616 0.8957 -4.64454848 0.9047 -4.290560426 0.9129 -3.885055584
0.9209 -3.408378962 0.9219 -3.13200249 0.7739 -8.726767166 0.7681 -8.66695597 0.7665 -8.511026475
0.7703 -8.165388579 0.7702 -7.886056648 0.7761 -7.588043762 0.7809 -7.283412422 0.7961 -6.995678626
0.8253 -6.691862621 0.8602 -6.392544977 0.8809 -6.067374056 0.8301 -6.684029655 0.8664 -6.378719832
0.8834 -6.065855188 0.8898 -5.752272167 0.8964 -5.132414673 0.8963 -4.811352704 0.9074 -4.098269308
0.9119 -3.66174277 0.9228 -3.2644011
"""

# What y of the third Wampler set adds to the polynomial: orthogonal to polynomials up to degree 5.
WAMPLER = [759, -2048, 2048, -2048, 2523, -2048, 2048, -2048, 1838, -2048, 2048]
WAMPLER += WAMPLER[-2::-1]


def root(value):
    """The square root of a Fraction, to some 40 digits."""
    scale = 10 ** (40 + max(0, len(str(value.denominator)) - len(str(value.numerator))))
    return Fraction(math.isqrt(value.numerator * scale**2 // value.denominator), scale)


def regression(A, y):
    """The minimiser of |A b - y|, by the normal equations, the sum of squares that is left, and the diagonal
    of the inverse of A'A."""
    columns = list(zip(*A))
    normal = [[sum(p * q for p, q in zip(c, d)) for d in columns] for c in columns]
    right = [sum(p * v for p, v in zip(c, y)) for c in columns]
    b = solve(normal, right)
    rest = [v - sum(p * q for p, q in zip(row, b)) for row, v in zip(A, y)]
    inverse = [solve(normal, [Fraction(i == j) for i in range(len(b))])[j] for j in range(len(b))]
    return b, sum(v * v for v in rest), inverse


def digits(value, count):
    """A Fraction with so many significant digits, correctly rounded (half up)."""
    if not value:
        return "0"
    sign, value = ("-" if value < 0 else ""), abs(value)
    exponent = 0
    while value >= 10 ** (exponent + 1):
        exponent += 1
    while value < Fraction(10) ** exponent:
        exponent -= 1
    scaled = value / Fraction(10) ** (exponent - count + 1)
    whole = (2 * scaled.numerator + scaled.denominator) // (2 * scaled.denominator)
    if whole == 10**count:
        whole, exponent = whole // 10, exponent + 1
    text = str(whole)
    return "%s%s.%se%+d" % (sign, text[0], text[1:], exponent)


def agrees(value, certified):
    """True if value rounds to the certified number in all its digits."""
    given = certified.lstrip("-").lower().split("e")[0].replace(".", "").lstrip("0")
    return Fraction(digits(value, len(given))) == Fraction(certified)


class Set:
    def __init__(self, name, x, y, degree, intercept, certified, rest, errors=(), statistics=(),
                 rounded=False):
        """x: rows of predictors; degree: of the polynomial in the one predictor, or 0. errors: certified
        standard errors; statistics: certified residual standard deviation, R squared and F."""
        self.name, self.degree, self.intercept = name, degree, intercept
        self.x, self.y = x, y
        number = (lambda v: Fraction(float(v))) if rounded else Fraction  # as a program or as a reader has it
        design = []
        for row in x:
            values = [number(v) for v in row]
            if degree:
                values = [values[0] ** j for j in range(1, degree + 1)]
            design.append(([Fraction(1)] if intercept else []) + values)
        ys = [number(v) for v in y]
        self.b, self.rest, inverse = regression(design, ys)
        df, terms = len(y) - len(self.b), len(self.b) - intercept
        total = sum(v * v for v in ys) - (sum(ys) ** 2 / len(y) if intercept else 0)
        self.errors = [root(self.rest / df * v) for v in inverse]
        self.sigma, self.r_squared = root(self.rest / df), 1 - self.rest / total
        self.f = (total - self.rest) / terms / (self.rest / df) if self.rest else None
        found = self.b + [self.rest] + (self.errors if errors else [])
        found += [self.sigma, self.r_squared, self.f] if statistics else []
        known = [*certified, *([rest] if certified else []), *errors, *statistics]
        assert not certified or len(known) == len(found)
        for value, text in zip(found, known):
            if not agrees(value, text):
                sys.exit("%s: %s is not %s" % (name, digits(value, 17), text))


def pairs(text):
    """Rows of one predictor, and responses, from a table of response and predictor in turn."""
    values = text.split()
    return [[v] for v in values[1::2]], values[::2]


def sets():
    table = [line.split() for line in LONGLEY.split("\n") if line]
    yield Set("Longley", [row[1:] for row in table], [row[0] for row in table], 0, True,
              ["-3482258.63459582", "15.0618722713733", "-0.358191792925910E-01", "-2.02022980381683",
               "-1.03322686717359", "-0.511041056535807E-01", "1829.15146461355"], "836424.055505915",
              ["890420.383607373", "84.9149257747669", "0.334910077722432E-01", "0.488399681651699",
               "0.214274163161675", "0.226073200069370", "455.478499142212"],
              ["304.854073561965", "0.995479004577296", "330.285339234588"])
    yield Set("Norris", *pairs(NORRIS), 0, True, ["-0.262323073774029", "1.00211681802045"],
              "26.6173985294224", ["0.232818234301152", "0.429796848199937E-03"],
              ["0.884796396144373", "0.999993745883712", "5436385.54079785"])
    yield Set("Pontius", [[str(150000 * (i % 20 + 1))] for i in range(40)], PONTIUS.split(), 2, True,
              ["0.673565789473684E-03", "0.732059160401003E-06", "-0.316081871345029E-14"],
              "0.155761768796992E-05",
              ["0.107938612033077E-03", "0.157817399981659E-09", "0.486652849992036E-16"],
              ["0.205177424076185E-03", "0.999999900178537", "185330865.995752"])
    yield Set("NoInt1", [[str(x)] for x in range(60, 71)], [str(y) for y in range(130, 141)], 0, False,
              ["2.07438016528926"], "127.272727272727", ["0.165289256198347E-01"],
              ["3.56753034006338", "0.999365492298663", "15750.2500000000"])
    yield Set("NoInt2", [["4"], ["5"], ["6"]], ["3", "4", "4"], 0, False, ["0.727272727272727"],
              "0.272727272727273", ["0.420827318078432E-01"],
              ["0.369274472937998", "0.993348115299335", "298.666666666667"])
    yield Set("Filip", *pairs(FILIP), 10, True,
              ["-1467.48961422980", "-2772.17959193342", "-2316.37108160893", "-1127.97394098372",
               "-354.478233703349", "-75.1242017393757", "-10.8753180355343", "-1.06221498588947",
               "-0.670191154593408E-01", "-0.246781078275479E-02", "-0.402962525080404E-04"],
              "0.795851382172941E-03",
              ["298.084530995537", "559.779865474950", "466.477572127796", "227.204274477751",
               "71.6478660875927", "15.2897178747400", "2.23691159816033", "0.221624321934227",
               "0.142363763154724E-01", "0.535617408889821E-03", "0.896632837373868E-05"],
              ["0.334801051324544E-02", "0.996727416185620", "2162.43954511489"])
    x = [[str(i)] for i in range(21)]
    ones = [sum(i**j for j in range(6)) for i in range(21)]
    assert all(sum(d * i**j for i, d in enumerate(WAMPLER)) == 0 for j in range(6))
    yield Set("Wampler1", x, [str(v) for v in ones], 5, True, ["1"] * 6, "0")
    tenths = ["%d.%05d" % divmod(sum(i**j * 10 ** (5 - j) for j in range(6)), 10**5) for i in range(21)]
    yield Set("Wampler2", x, tenths, 5, True, ["1", "0.1", "0.01", "0.001", "0.0001", "0.00001"], "0")
    errors = ["2152.32624678170", "2363.55173469681", "779.343524331583", "101.475507550350",
              "5.64566512170752", "0.112324854679312"]
    for name, factor, rest, sigma, r_squared, f in (
            ("Wampler3", 1, "83554268.0000000", "2360.14502379268", "0.999995559025820", "675524.458240122"),
            ("Wampler4", 100, "835542680000.000", "236014.502379268", "0.957478440825662",
             "67.5524458240122"),
            ("Wampler5", 10000, "0.835542680000000E+16", "23601450.2379268", "0.224668921574940E-02",
             "0.675524458240122E-02")):
        y = [str(v + factor * d) for v, d in zip(ones, WAMPLER)]
        scaled = [v + "E%d" % round(math.log10(factor)) for v in errors]
        yield Set(name, x, y, 5, True, ["1"] * 6, rest, scaled, [sigma, r_squared, f])
    x, y = pairs(FILIP)
    powers = [[repr(float(Fraction(float(v)) ** j)) for j in range(1, 11)] for (v,) in x]
    yield Set("FilipRounded", powers, [repr(float(v)) for v in y], 0, True, [], None, rounded=True)


def listed(values, margin):
    """The values in lines of at most 104 characters."""
    lines, line = [], margin
    for value in values:
        if len(line) + len(value) + 2 > 104:
            lines.append(line.rstrip())
            line = margin
        line += value + ", "
    return "\n".join(lines + [line.rstrip()])


def main():
    out = open(sys.argv[1], "w")
    out.write("""// tests/reference/regression.hpp - linear regressions, solved exactly.
//
// Written by regression.py in this folder, which says where the data are from and what proves them. To
// write it again:
//   python3 regression.py regression.hpp
#pragma once

#include <vector>

struct Regression {
  const char* name;
  int degree;                  // of the polynomial in the one predictor; 0: the predictors as they are
  bool intercept;              // a column of ones before the others
  int predictors;              // columns of x
  std::vector<double> x, y;    // x row by row
  std::vector<const char*> b;  // the coefficients, correctly rounded to 17 digits
  const char* rest;            // the residual sum of squares, likewise, as all that follows
  std::vector<const char*> errors;  // standard errors of the coefficients
  const char* sigma;                // residual standard deviation
  const char* r_squared;
  const char* f;  // "inf" if rest is 0
};

// clang-format off
inline const std::vector<Regression> regressions = {
""")
    for s in sets():
        out.write('    {"%s", %d, %s, %d,\n' % (s.name, s.degree, "true" if s.intercept else "false",
                                               len(s.x[0])))
        for values in ([v for row in s.x for v in row], s.y):
            out.write("     {\n" + listed(values, "      ") + "\n     },\n")
        quoted = ['"%s"' % digits(v, 17) for v in s.b]
        out.write("     {\n" + listed(quoted, "      ") + "\n     },\n")
        out.write('     "%s",\n' % digits(s.rest, 17))
        quoted = ['"%s"' % digits(v, 17) for v in s.errors]
        out.write("     {\n" + listed(quoted, "      ") + "\n     },\n")
        statistics = [digits(s.sigma, 17), digits(s.r_squared, 17), digits(s.f, 17) if s.f else "inf"]
        out.write("     " + ", ".join('"%s"' % v for v in statistics) + "},\n")
    out.write("};\n// clang-format on\n")


main()

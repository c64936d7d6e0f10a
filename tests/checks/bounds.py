#!/usr/bin/env python3
"""bounds.py COMMAND...: every operator of kernels/points/bounded.hpp keeps its bound, and needs it.

COMMAND runs tests/bounded_operators. Each case gives it the operands of one step; here the step is done once
more with rationals, rounded to 64 bits as documented, from documented operands that lie as far from the
bounded ones as these allow. What must hold is the claim of that file's proof: the distance from the
documented result is less than 1/1.01 of the bound, but for 2^-36 of it.

Cases are steered: significands just above a power of two, where a rounding weighs most; operands at the ends
of their bounds; sums that cancel; the least and the greatest exponents; results beside places where their
rounding changes. For each term of a bound there is a group of cases in which it makes up all of the bound;
the greatest distance there must exceed 0.6 of what is allowed, so a term that is halved fails.
"""

import math
import random
import struct
import subprocess
import sys
from fractions import Fraction as F

rng = random.Random(20251)
print("seed 20251")
CASES = 250
UNIT = {"d": F(1, 2**64), "f": F(1, 2**53)}  # a share, but for its hundredth
ALLOWED = (1 + F(1, 2**36)) / F(101, 100)


def rounded(x, bits):
    """x to so many bits, ties to even."""
    if x == 0:
        return x
    n, d = abs(x.numerator), x.denominator
    e = n.bit_length() - d.bit_length()
    e -= F(n, d) < F(2) ** e
    shift = bits - 1 - e
    n, d = (n << shift, d) if shift >= 0 else (n, d << -shift)
    q, r = divmod(n, d)
    q += 2 * r > d or (2 * r == d and q & 1)
    return (1 if x > 0 else -1) * F(q) * F(2) ** -shift


def documented(x):
    return rounded(x, 64)


def hexadecimal(x):
    return struct.pack(">d", x).hex()


def double(word):
    return struct.unpack(">d", bytes.fromhex(word))[0]


def answers_of(program, lines):
    """A line of output for each of input. Leaves with 77 where the processor lacks what it needs."""
    run = subprocess.run(program, input="\n".join(lines) + "\n", text=True, capture_output=True)
    if run.returncode == 77:
        sys.exit(77)
    run.check_returncode()
    return run.stdout.splitlines()


# -- operands ----------------------------------------------------------------------------------------

def near_one():
    """A double just above a power of two."""
    return rng.choice([1, -1]) * (1 + rng.randrange(2**44) * 2.0**-52) * 2.0 ** rng.randrange(-2, 3)


def number(least=-40, most=40):
    return rng.choice([1, -1]) * rng.uniform(1, 2) * 2.0 ** rng.randrange(least, most)


def extreme():
    """A double of any size: among them zeros, denormals, and the neighbours of the limits of pairs."""
    e = rng.choice([-1074, -1070, -1022, -970, -960, -900, -540, -500, -300, 0, 300])
    return rng.choice([0.0, -0.0, 1, -1, rng.uniform(-2, 2), rng.uniform(-2, 2)]) * 2.0**e


class Exact:
    def __init__(self, x):
        self.words, self.value = [x], F(x)


class Difference:
    def __init__(self, x, y):
        self.words, self.value = [x, y], documented(F(x) - F(y))


class Bounded:
    """high + low with a bound, and a documented number: at an end of the bound, or anywhere within."""

    def __init__(self, kind, high, bound, low=0.0):
        if kind == "f":
            low = 0.0
        self.words = [high, low, bound]
        place = rng.choice([-1, 1, rng.uniform(-1, 1)])
        wanted = F(high) + F(low) + F(place) * F(bound) / F(101, 100)
        self.value = documented(wanted)
        if abs(self.value - F(high) - F(low)) * F(101, 100) > F(bound):
            self.value = wanted  # no number of 64 bits so near: a wider long double has one


def ordinary(kind, high):
    """As most results are: with some roundings, and a low part below high."""
    bound = abs(high) * float(UNIT[kind]) * rng.uniform(1.1, 9)
    return Bounded(kind, high, bound, high * rng.uniform(-1, 1) * 2.0**-53)


def cancelled(kind):
    """As a sum that cancelled leaves: the low part is no longer small, the bound neither."""
    bound = 2.0 ** rng.randrange(-80, -40)
    return Bounded(kind, rng.choice([0.0, rng.uniform(-4, 4) * bound, number(-40, -20)]), bound,
                   rng.uniform(-1, 1) * bound * 2.0 ** rng.randrange(0, 13))


def loose(kind, high):
    """One whose bound is far greater than its roundings."""
    return Bounded(kind, high, abs(high) * 2.0 ** rng.randrange(-48, -30))


def sharp(kind, high):
    return Bounded(kind, high, 0.0)


# -- steps -------------------------------------------------------------------------------------------

class Check:
    def __init__(self, program):
        self.program, self.groups = program, []

    def group(self, kind, name, what, make, exact, tight=True):
        """CASES of an operator; exact gives the unrounded result of the documented operands. tight: one
        term is all of the bound, and some case is to need more than half of it."""
        cases = [make() for _ in range(CASES)]
        self.groups.append((kind, name, what, cases, exact, tight))

    def run(self):
        lines = [" ".join([kind, name] + [hexadecimal(w) for o in case for w in o.words])
                 for kind, name, _, cases, _, _ in self.groups for case in cases]
        answers = iter(answers_of(self.program, lines))
        problems = []
        for kind, name, what, cases, exact, tight in self.groups:
            worst = F(0)
            for case in cases:
                high, low, bound = map(double, next(answers).split())
                if bound != bound or high != high or abs(high) == float("inf"):
                    continue  # put() refuses it
                distance = abs(documented(exact(*[o.value for o in case])) - F(high) - F(low))
                if distance == 0:
                    continue
                ratio = distance / F(bound) if bound else F(10**9)
                worst = max(worst, ratio)
            title = f"{kind} {name:5} {what}: greatest distance {float(min(worst / ALLOWED, 10**9)):.6f} of the allowed"
            print(title)
            if worst > ALLOWED:
                problems.append(title)
            if tight and worst < ALLOWED * F(6, 10):
                problems.append(title + ", so that half the bound would do")
        return problems


def sums(check, kind):
    def halfway():
        """Two doubles whose sum is just beside halfway between numbers of 64 bits (53: between doubles)."""
        ulp = 2.0 ** (-64 if kind == "d" else -53)
        return 1 + rng.randrange(2**20) * 2.0**-52, ulp * (1 + rng.uniform(-1, 1) * 2.0**-10)

    def plus(a, b):
        return a + b

    def minus(a, b):
        return a - b

    def opposite(x):
        return -x * (1 + rng.choice([0.0, rng.uniform(-1, 1) * 2.0 ** rng.randrange(-52, -8)]))

    def exacts(a, b, sign=1):
        return [Exact(a), Exact(sign * b)]

    def with_exact(b, e):
        return [b, Exact(e)]

    check.group(kind, "e+e", "rounding", lambda: exacts(*halfway()), plus)
    check.group(kind, "e-e", "rounding", lambda: exacts(*halfway(), -1), minus)
    check.group(kind, "b+e", "rounding",
                lambda: (lambda a, b: with_exact(sharp(kind, a), b))(*halfway()), plus)
    check.group(kind, "b+b", "rounding",
                lambda: (lambda a, b: [sharp(kind, a), sharp(kind, b)])(*halfway()), plus)
    check.group(kind, "b+e", "bound", lambda: with_exact(loose(kind, number()), number(-60, -50)), plus)
    check.group(kind, "b+b", "left bound",
                lambda: [loose(kind, number()), sharp(kind, number(-60, -50))], plus)
    check.group(kind, "b+b", "right bound",
                lambda: [sharp(kind, number(-60, -50)), loose(kind, number())], plus)
    check.group(kind, "b-b", "right bound",
                lambda: [sharp(kind, number(-60, -50)), loose(kind, number())], minus)
    for name, step in (("b+e", plus), ("b-e", minus)):
        check.group(kind, name, "ordinary",
                    lambda: with_exact(ordinary(kind, number()), number()), step, False)
        check.group(kind, name, "after cancelling",
                    lambda: with_exact(cancelled(kind), number(-45, -20)), step, False)
    check.group(kind, "e-b", "ordinary", lambda: [Exact(number()), ordinary(kind, number())], minus, False)
    for name, step, sign in (("b+b", plus, 1), ("b-b", minus, -1)):
        def cancelling():
            x = number()
            return [ordinary(kind, x), ordinary(kind, sign * opposite(x))]
        check.group(kind, name, "cancelling", cancelling, step, False)
        check.group(kind, name, "after cancelling", lambda: [cancelled(kind), cancelled(kind)], step, False)
    check.group(kind, "b+b", "extremes",
                lambda: [Bounded(kind, extreme(), max(abs(extreme()), 2.0**-900)),
                         Bounded(kind, extreme(), 2.0**-900)], plus, False)
    check.group(kind, "e+e", "extremes", lambda: exacts(extreme(), extreme()), plus, False)
    if kind == "d":  # places on 2^-63, as differences from 1 and 2 are
        check.group(kind, "e++e", "exact",
                    lambda: exacts(rng.choice([1, 2]), rng.choice([1, -1]) * rng.uniform(2.0**-11, 1)),
                    lambda a, b: a + b, False)


def products(check, kind):
    def times(a, b):
        return a * b

    def difference():
        """One that is rounded: by most of half a unit."""
        return Difference(1 + rng.randrange(2**44) * 2.0**-52,
                          2.0 ** (-64 if kind == "d" else -53) * (1 + rng.uniform(-1, 1) * 2.0**-10))

    def even():
        return Exact(rng.choice([1, -1]) * 2.0 ** rng.randrange(-9, 9))

    check.group(kind, "e*e", "rounding", lambda: [Exact(near_one()), Exact(near_one())], times)
    check.group(kind, "e*k", "rounding of the difference", lambda: [even(), difference()], times, False)
    check.group(kind, "e*k", "roundings", lambda: [Exact(near_one()), difference()], times)
    check.group(kind, "b*e", "rounding", lambda: [sharp(kind, near_one()), Exact(near_one())], times)
    check.group(kind, "b*e", "bound", lambda: [loose(kind, number()), Exact(number())], times)
    check.group(kind, "b*k", "roundings", lambda: [sharp(kind, near_one()), difference()], times)
    check.group(kind, "b*k", "bound", lambda: [loose(kind, number()), difference()], times)
    check.group(kind, "b*e", "ordinary", lambda: [ordinary(kind, number()), Exact(number())], times, False)
    check.group(kind, "b*k", "after cancelling", lambda: [cancelled(kind), difference()], times, False)
    check.group(kind, "b*e", "after cancelling", lambda: [cancelled(kind), Exact(number())], times, False)
    check.group(kind, "e*e", "extremes", lambda: [Exact(extreme()), Exact(extreme())], times, False)
    check.group(kind, "e*k", "extremes", lambda: [Exact(extreme()), Difference(extreme(), extreme())],
                times, False)
    check.group(kind, "b*e", "extremes", lambda: [ordinary(kind, extreme()), Exact(extreme())], times, False)
    check.group(kind, "k*k", "roundings", lambda: [difference(), difference()], times)


def quotients(check, kind):
    def over(a, b):
        return a / b

    def divisor():
        """Just below a power of two: its reciprocal is just above one, as near_one() over it."""
        return Exact((1 - rng.randrange(1, 2**44) * 2.0**-53) * 2.0 ** rng.randrange(-90, 90))

    def wide():
        x = divisor()
        low = documented(x.value * (1 + F(rng.uniform(-1, 1)) / 2**53)) - x.value
        x.words.append(float(low))
        x.value += low
        return x

    def extreme_divisor():
        return Exact(rng.choice([2.0**-100, 2.0**100, 2.0**-101, 2.0**101, number(-100, 100), 2.0**-1074]))

    def rise():
        return Difference(1 + rng.randrange(2**44) * 2.0**-52,
                          2.0 ** (-64 if kind == "d" else -53) * (1 + rng.uniform(-1, 1) * 2.0**-10))

    check.group(kind, "e/e", "rounding", lambda: [Exact(near_one()), divisor()], over)
    check.group(kind, "k/e", "roundings", lambda: [rise(), divisor()], over)
    check.group(kind, "b/e", "rounding", lambda: [sharp(kind, near_one()), divisor()], over)
    check.group(kind, "e/w", "rounding", lambda: [Exact(near_one()), wide()], over)
    check.group(kind, "b/e", "bound", lambda: [loose(kind, number()), divisor()], over)
    check.group(kind, "b/e", "ordinary", lambda: [ordinary(kind, number()), divisor()], over, False)
    check.group(kind, "b/e", "after cancelling", lambda: [cancelled(kind), divisor()], over, False)
    check.group(kind, "e/e", "extremes", lambda: [Exact(extreme()), extreme_divisor()], over, False)
    check.group(kind, "b/e", "extremes", lambda: [ordinary(kind, extreme()), extreme_divisor()], over, False)


# -- results -----------------------------------------------------------------------------------------

def result(x, bits, least):
    """As an element of so many bits holds it: below 2^least all have the same spacing."""
    unit = F(2) ** (least - bits + 1)
    if abs(x) < F(2) ** least:
        q, r = divmod(abs(x), unit)
        q += 2 * r > unit or (2 * r == unit and q & 1)
        return (1 if x > 0 else -1) * q * unit
    return rounded(x, bits)


def results(program, kind):
    """Where put() stores a result, it is that of both ends of the bound."""
    bits, least = (53, -1022) if kind == "d" else (24, -126)
    cases = []
    for _ in range(12 * CASES):
        x = rng.choice([number(-3, 3), number(-3, 3), number(-160, -120), 0.0, number(-1074, -1000)])
        if kind == "f":  # an element, or a double at or beside the place halfway to the next
            x = struct.unpack("f", struct.pack("f", x))[0]
            exponent = math.frexp(x)[1]
            steps = rng.choice([-2, -1, 0, 1])
            x += rng.choice([0, 1, 1]) * (2.0 ** (exponent - 25) + steps * 2.0 ** (exponent - 53))
        bound = abs(x) * 2.0 ** (-64 if kind == "d" else -53) * rng.uniform(1, 9) + 2.0**-900
        low = abs(x) * 2.0**-53 * (1 + rng.uniform(-1, 1) * 2.0 ** rng.randrange(-12, 0))
        low *= rng.choice([0, -1, 1])
        cases.append(Bounded(kind, x, bound, low))
    lines = [" ".join([kind, "store"] + [hexadecimal(w) for w in c.words]) for c in cases]
    answers = answers_of(program, lines)
    doubts, problems = 0, []
    for case, answer in zip(cases, answers):
        doubt, kept = map(double, answer.split())
        doubts += doubt != 0
        if doubt:
            continue
        high, low, bound = map(F, case.words)
        for w in (case.value, high + low - bound / F(101, 100), high + low + bound / F(101, 100)):
            at_once, by_double = result(w, bits, least), result(result(w, 53, -1022), bits, least)
            if not F(kept) == at_once == by_double:
                problems.append(f"{kind} store {case.words}: kept {kept}, not {float(at_once)}")
    print(f"{kind} store: {doubts} of {len(cases)} in doubt")
    if not 0.2 < doubts / len(cases) < 0.8:
        problems.append(f"{kind} store: {doubts} of {len(cases)} in doubt")
    return problems


def main(program):
    check, problems = Check(program), []
    for kind in "df":
        sums(check, kind)
        products(check, kind)
        quotients(check, kind)
        problems += results(program, kind)
    problems += check.run()
    if problems:
        sys.exit("\n".join(["bounds.py:"] + problems[:40]))


main(sys.argv[1:])

#!/usr/bin/env python3
"""Fails on an include that goes up the picture of the house, or that a source file may not have."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2] / "src"
FRONT = ROOT.parent / "include/tabfit"

# Rows of the house, lowest first: a file may include its own row and any row below it.
ROWS = [
    ["kernels/scalar/*"],
    ["kernels/lanes/*"],
    ["kernels/sums/*", "kernels/points/*"],
    ["kernels/*"],
    ["matrix1/storage.*"],
    ["matrix1/elementary.*", "matrix1/transpose.*"],
    ["matrix1/products.*", "matrix1/symmetric_products.*", "matrix1/in_place.*"],
    ["matrix1/triangular_products.*", "matrix1/triangular_inverse.*"],
    ["matrix2/*"],
    ["llsqp/least_squares.*"],
    ["llsqp/nonnegative.*"],
    ["llsqp/inequality.*"],
    ["llsqp/constrained.*"],
    ["lin/*", "appx/*"],
]

# Rows of the front, lowest first: a header includes C headers and rows below its own.
FRONT_ROWS = [
    ["error"],
    ["engine"],
    ["table"],
    ["orthogonal", "statistics"],
    ["residuals"],
    ["regression"],
    ["matrix"],
    ["least_squares"],
    ["active_set"],
    ["passive_columns"],
    ["bounded"],
    ["nonnegative"],
    ["infeasible", "long_sum", "dual_factor", "normal_equations"],
    ["dual_problem"],
    ["dual_active_set"],
    ["constrained"],
    ["least_distance"],
    ["tabfit"],
]


def row_of(path):
    for number, patterns in enumerate(ROWS):
        if any(path.match(pattern) for pattern in patterns):
            return number
    return None


def problems_of(path):
    name = path.relative_to(ROOT)
    row = row_of(name)
    if row is None:
        yield f"{name}: no row of the house holds it; add it to tests/checks/layers.py"
        return
    for number, line in enumerate(path.read_text().splitlines(), 1):
        include = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
        if not include:
            continue
        target = pathlib.PurePath(include[1])
        where = f"{name}:{number}: \"{target}\""
        if target.parts[0] == "tabfit":
            continue
        if not (ROOT / target).is_file():
            yield f"{where} is not spelled from src/"
        elif row_of(target) is None:
            yield f"{where} is no file of the library"
        elif row_of(target) > row:
            yield f"{where} is an include upward"


def problems_of_front(path):
    rows = {name: number for number, names in enumerate(FRONT_ROWS) for name in names}
    row = rows.get(path.stem)
    if row is None:
        yield f"tabfit/{path.name}: no row of the front holds it; add it to tests/checks/layers.py"
        return
    for number, line in enumerate(path.read_text().splitlines(), 1):
        include = re.match(r'\s*#\s*include\s*(?:"([^"]+)"|<(tabfit/[^>]+)>)', line)
        if not include:
            continue
        target = pathlib.PurePath(include[1] or include[2])
        where = f"tabfit/{path.name}:{number}: \"{target}\""
        if target.parent.name != "tabfit" or not (FRONT / target.name).is_file():
            yield f"{where} is no public header"
        elif target.suffix == ".hpp" and rows.get(target.stem, row) >= row:
            yield f"{where} is not in a row below"


files = sorted(ROOT.rglob("*.[ch]pp"))
front = sorted(FRONT.glob("*.hpp"))
problems = [p for f in files for p in problems_of(f)] + [p for f in front for p in problems_of_front(f)]
print("\n".join(problems), file=sys.stderr)
if problems or not files or not front:
    sys.exit(f"layers.py: {len(problems)} problems in {len(files) + len(front)} files")
print(f"layers.py: {len(files) + len(front)} files, no include upward")

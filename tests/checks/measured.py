#!/usr/bin/env python3
"""The headers and docs/deliberate.md quote tests/measured/solvers.txt as it is, and no other rates;
docs/front.md quotes tests/measured/regressions.txt as it is, and lines of tests/measured/front_solvers.txt."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXT = "tests/measured/solvers.txt"
DOCUMENT, HEADER = "docs/deliberate.md", "include/tabfit/least_squares.h"
problems = []


def read(name):
    return (ROOT / name).read_text()


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def rates(rows):
    return [row for row in rows if re.fullmatch(r"[\d,]+ of [\d,]+", row[-1])]


text = read(TEXT)
rows = [cells(line) for line in text.splitlines() if line.startswith("| ")]
first = text[: text.index("Wrong in the d twins")]
wanted = rates(cells(line) for line in first.splitlines() if line.startswith("| "))
if len(wanted) < 20:
    problems.append(f"{TEXT}: {len(wanted)} rates")

# Tables between <!-- measured --> and <!-- end -->, line by line.
quoted = re.findall(r"<!-- measured -->\n(.*?)<!-- end -->", read(DOCUMENT), re.DOTALL)
lines = [line for block in quoted for line in block.splitlines() if line]
for line in lines:
    if line not in text.splitlines():
        problems.append(f"{DOCUMENT}: not in {TEXT}: {line}")
problems += [f"{DOCUMENT}: not quoted: {row}" for row in wanted if row not in map(cells, lines)]

# Rows of the header's table: cells apart by two blanks or more.
split = [re.split(r"  +", line[2:].strip()) for line in read(HEADER).splitlines()]
if rates(row for row in split if len(row) > 2) != wanted:
    problems.append(f"{HEADER}: the table of rates is not that of {TEXT}")

# Every other rate stands in the text too, in the same form.
searched = [path.relative_to(ROOT).as_posix() for path in (ROOT / "include/tabfit").glob("*.h")]
for name in [*searched, DOCUMENT]:
    for rate in re.findall(r"\b\d[\d,]* of \d[\d,]{2,}\b", read(name)):
        if rate not in text:
            problems.append(f"{name}: {rate} is not in {TEXT}")
searched = [HEADER, *(path.relative_to(ROOT).as_posix() for path in (ROOT / "examples").glob("*.c"))]
for name in searched:
    for rate in re.findall(r"\b(?:1|one)\s+(?:\w+\s+)?in\s+\d[\d,]*", read(name)):
        problems.append(f"{name}: a rate that is not quoted: {rate}")

quoted = re.search(r"<!-- regressions -->\n(.*?)<!-- end -->", read("docs/front.md"), re.DOTALL)
if not quoted or quoted[1] != read("tests/measured/regressions.txt"):
    problems.append("docs/front.md: the table between <!-- regressions --> and <!-- end --> is not "
                    "tests/measured/regressions.txt")

FRONT = "tests/measured/front_solvers.txt"
quoted = re.search(r"<!-- solvers -->\n(.*?)<!-- end -->", read("docs/front.md"), re.DOTALL)
quotes = [line for line in (quoted[1] if quoted else "").splitlines() if line]
if not quotes:
    problems.append("docs/front.md: nothing between <!-- solvers --> and <!-- end -->")
problems += [f"docs/front.md: not in {FRONT}: {line}" for line in quotes if line not in read(FRONT).splitlines()]

if problems:
    sys.exit("\n".join(problems))
print(f"{len(wanted)} rates, {len(lines)} lines of {DOCUMENT}, {len(quotes)} of docs/front.md")

#!/usr/bin/env python3
"""publish.py RUN... - puts printed tables (./dev bench --table=RUN) into docs/performance.md.

The document has a place for each set of kernels, between two comments; a run names its set in its head. A
run of the front's workloads alone has another.
"""
import pathlib
import re
import sys

DOCUMENT = pathlib.Path(__file__).parent.parent / "docs" / "performance.md"


def publish(text, run):
    head = re.search(r"^- Kernels: ([^,;]+)", run, re.MULTILINE)
    if not head:
        sys.exit("no run: its head does not name the kernels")
    bad = re.search(r"^.*(DISAGREE|NOT TIMED).*$", run, re.MULTILINE)
    if bad:
        sys.exit("not published, a workload failed: " + bad[0])
    workloads = re.findall(r"^\| (?!workload)(\w+)", run, re.MULTILINE)
    front = {"nonnegative", "bounded", "constrained"}.issuperset(workloads)
    name = head[1] + (", front" if front else "")
    begin, end = "<!-- run: %s -->\n" % name, "<!-- end of run -->\n"
    place = text.find(begin)
    if place < 0:
        sys.exit("%s has no place for a run with %s" % (DOCUMENT, name))
    start = place + len(begin)
    return text[:start] + "\n" + run.strip() + "\n\n" + text[text.index(end, start) :]


def main(names):
    if not names:
        sys.exit(__doc__)
    text = DOCUMENT.read_text()
    for name in names:
        text = publish(text, pathlib.Path(name).read_text())
    DOCUMENT.write_text(text)


main(sys.argv[1:])

#!/usr/bin/env python3
"""The C example in the README is the one that is compiled and run; its list of files is complete."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
readme = (ROOT / "README.md").read_text()
problems = []

blocks = re.findall(r"```c\n(.*?)```", readme, re.DOTALL)
if blocks != [(ROOT / "examples/interpolate_table.c").read_text()]:
    problems.append("the C example is not examples/interpolate_table.c, to the letter")

sources = [
    path.relative_to(ROOT).as_posix()
    for folder in ["include", "src"]
    for path in (ROOT / folder).rglob("*")
    if path.suffix in (".h", ".hpp", ".cpp")
]
if not sources:
    problems.append("no source file found")
for name in sources:
    if f"`{name}`" not in readme:
        problems.append(f"{name} has no line")
for name in re.findall(r"^\| `((?:include|src)/[^`]+\.[ch](?:pp)?)`", readme, re.MULTILINE):
    if name not in sources:
        problems.append(f"{name} has a line and does not exist")
for link in re.findall(r"\]\(([^)#:]+)\)", readme):
    if not (ROOT / link).exists():
        problems.append(f"the link {link} leads nowhere")

if problems:
    sys.exit("\n".join(f"README.md: {p}" for p in problems))
print(f"README.md: one example, {len(sources)} source files")

#!/usr/bin/env python3
"""symbols.py LIBRARY: the shared library exports what the public headers declare, and nothing else.

Also: one version node, the SONAME, and no library needed beyond the language's own.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
library = sys.argv[1]


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


declared = set()
for header in (ROOT / "include/tabfit").glob("*.h"):
    declared |= set(re.findall(r"^TABFIT_API[^;(]*?\b(\w+)\(", header.read_text(), re.MULTILINE))

exported, nodes = set(), set()
for line in output_of("nm", "--dynamic", "--defined-only", "--with-symbol-versions", library).splitlines():
    name = line.split()[-1]
    if line.split()[-2] == "A":  # the version node itself
        nodes.add(name.split("@")[0])
        continue
    exported.add(re.split("@+", name)[0])
    if "@@TABFIT_1" not in name:
        sys.exit(f"symbols.py: {name} is not under the version node")

problems = []
if exported - declared:
    problems.append(f"exported but not declared: {sorted(exported - declared)}")
if declared - exported:
    problems.append(f"declared but not exported: {sorted(declared - exported)}")
if not declared:
    problems.append("no declaration found")
if nodes != {"TABFIT_1"}:
    problems.append(f"version nodes: {sorted(nodes)}")
for name in declared:
    if name[-1] not in "fd" or name[:-1] + ("d" if name[-1] == "f" else "f") not in declared:
        problems.append(f"{name} has no twin")

dynamic = output_of("readelf", "--dynamic", "--wide", library)
if "[libtabfit.so.1]" not in dynamic:
    problems.append("the SONAME is not libtabfit.so.1")
own = {"libstdc++.so.6", "libm.so.6", "libc.so.6", "libgcc_s.so.1", "libc++.so.1", "libc++abi.so.1"}
needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic))
needed = {n for n in needed if not n.startswith("ld-linux") and not re.match(r"lib(asan|ubsan|lsan)", n)}
if needed - own:
    problems.append(f"needs {sorted(needed - own)}")

if problems:
    sys.exit("\n".join(f"symbols.py: {p}" for p in problems))
print(f"symbols.py: {len(exported)} functions exported and declared")

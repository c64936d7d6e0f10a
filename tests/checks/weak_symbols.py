#!/usr/bin/env python3
"""weak_symbols.py OBJECTS...: objects for one instruction set define no weak symbol.

Of a weak symbol that several objects define, such as an inline function, the linker keeps any one: all
processors might be given the code for one kind. OBJECTS may be lists joined by semicolons.
"""

import os
import subprocess
import sys

nm = os.environ.get("NM", "nm")
objects = [o for argument in sys.argv[1:] for o in argument.split(";") if o]
if not objects:
    sys.exit("weak_symbols.py: no object given")

problems, symbols = [], 0
for path in objects:
    listing = subprocess.run([nm, "--demangle", "--defined-only", path],
                             check=True, capture_output=True, text=True).stdout
    for line in listing.splitlines():
        _, kind, name = line.split(maxsplit=2)
        symbols += 1
        if kind in "VWu":
            problems.append(f"{path} defines {name}, weak")
if problems or not symbols:
    sys.exit("\n".join(f"weak_symbols.py: {p}" for p in problems) or "weak_symbols.py: no symbol found")
print(f"weak_symbols.py: {len(objects)} objects, {symbols} symbols, none weak")

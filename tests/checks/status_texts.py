#!/usr/bin/env python3
"""status_texts.py PROGRAM...: tabfit/status.h explains what the C headers document, and nothing else.

PROGRAM runs status_texts.c. For every function, with its letter and without, every code in a range has a text
of its own if the comment of the function names it, by an enumerator, a number or as a count, and is refused
otherwise.
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
COUNT = "count"  # any positive code
RANGE = range(-20, 12)
NO_NAME = "no operation of this library has this name"
NO_CODE = "this operation does not return this status"

enumerators, documented, returns = {}, {}, {}


def codes_of(key, meaning):
    """The codes that one @retval names."""
    if key == "other" and "the status of" in meaning:
        return documented[re.search(r"the status of (\w+)", meaning)[1]]
    if key == "other":
        return {int(n) for n in re.findall(r"-\d+", meaning)} | ({COUNT} if "pseudo-rank" in meaning else set())
    codes = set()
    for word in key.split(", "):
        codes.add(enumerators[word] if word in enumerators else COUNT if word in ("k", "l") else int(word))
    return codes


for header in ("least_squares", "matrix", "approximation"):
    text = (ROOT / f"include/tabfit/{header}.h").read_text()
    for body in re.findall(r"^enum \{([^}]*)\};", text, re.MULTILINE):
        for name, value in re.findall(r"(\w+) = (-?\d+)", body):
            enumerators[name] = int(value)
    pattern = r"/\*\*(?!@)((?:(?!\*/).)*)\*/\n/\*\*@\{\*/\n((?:(?!/\*\*@\}).)*)/\*\*@\}"
    for comment, declarations in re.findall(pattern, text, re.DOTALL):
        entries = re.findall(r"@retval +([\w-]+(?:, [\w-]+)*)  +((?:(?!\n \*  ?@|\n \*\n).)*)", comment, re.DOTALL)
        for result, function in re.findall(r"^TABFIT_API\s+([^;]*?)(\w+)\(", declarations, re.MULTILINE):
            stem, twin = function[:-1], function[-1]
            codes = set()
            for key, meaning in entries:
                only = re.match(r"(?:\w+ )?([fd]) twin", meaning)
                if not only or only[1] == twin:
                    codes |= codes_of(key, meaning)
            same = re.search(r"As (Ls_\w+),", comment)
            if same and not entries:
                codes = documented[same[1] + twin]
            if "@return 1, always" in comment:
                codes = {1}
            returns[function] = result.strip()
            documented[function] = codes
            documented[stem] = documented.get(stem, set()) | codes

questions = [(name, code) for name in documented for code in RANGE]
questions += [("Ls", code) for code in RANGE]
unknown = ["M_", "M_nothing", "mm", "M_mmff", "M_mmx", "Lsf", "Ls_itt", "AX", "d", "f", ".", "-"]
answers = subprocess.run(sys.argv[1:], input="".join(f"{n} {c}\n" for n, c in questions + [(n, 0) for n in unknown]),
                         text=True, capture_output=True, check=True).stdout.splitlines()
documented["Ls"] = documented["Ls_"]
returns["Ls"] = "int"

problems, texts = [], {}
for (name, code), text in zip(questions, answers):
    if returns.get(name, returns.get(name + "f")) != "int":
        if not text.startswith("this operation has no status"):
            problems.append(f"{name}, {code}: {text}")
        continue
    known = code in documented[name] or (code > 0 and COUNT in documented[name])
    if known != (text not in (NO_NAME, NO_CODE)):
        problems.append(f"{name}, {code}: {text}")
    if known:
        kind = code if code in documented[name] else COUNT
        texts.setdefault(name, {}).setdefault(kind, set()).add(text)
for name, by_code in texts.items():
    said = [text for kinds in by_code.values() for text in kinds]
    if len(said) != len(by_code) or len(set(said)) != len(said):
        problems.append(f"{name}: two codes share a text, or a code has two: {by_code}")
for name, text in zip(unknown, answers[len(questions):]):
    if text != NO_NAME:
        problems.append(f"{name}: {text}")
if len(returns) != 175 or len(answers) != len(questions) + len(unknown):
    problems.append(f"{len(returns) - 1} functions found, {len(answers)} answers")

if problems:
    sys.exit("\n".join(f"status.h: {p}" for p in problems))
print(f"status.h: {sum(len(by_code) for by_code in texts.values())} meanings of {len(returns) - 1} functions")

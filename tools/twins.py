#!/usr/bin/env python3
"""twins.py [FILE] - writes tools/twins.hpp from the public headers: each pair of twins under its stem."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
HEADERS = ("matrix", "least_squares", "approximation")
DECLARATION = re.compile(r"^TABFIT_API\s+([^;]*?)(\w+)\(([^;]*)\)\s*TABFIT_NOEXCEPT;", re.MULTILINE)

HEAD = """\
// tools/twins.hpp - the library's functions under their stems: the element type picks the twin.
//
// Written by tools/twins.py from the public headers.
#pragma once

#include "tabfit/tabfit.h"

namespace host {

template <class Result, class... Arguments>
struct Twin {
  Result (*function)(Arguments...);

  Result operator()(Arguments... arguments) const { return function(arguments...); }
};

/// Two functions as overloads.
template <class Single, class Double>
struct Twins : Single, Double {
  using Single::operator();
  using Double::operator();
};

template <class R1, class... A1, class R2, class... A2>
constexpr Twins<Twin<R1, A1...>, Twin<R2, A2...>> twins(R1 (*single_twin)(A1...),
                                                        R2 (*double_twin)(A2...)) {
  return {{single_twin}, {double_twin}};
}

}  // namespace host
"""

CHOSEN_BY_NAME = """
/// {stem}<float>, {stem}<double>: the arguments are the same.
template <class Real>
constexpr auto {stem} = {stem}f;
template <>
inline constexpr auto {stem}<double> = {stem}d;
"""


def written():
    parameters = {}
    for header in HEADERS:
        text = (ROOT / "include/tabfit" / (header + ".h")).read_text()
        for _, name, arguments in DECLARATION.findall(text):
            parameters[name] = re.sub(r"\s+", " ", arguments)
    stems = list(dict.fromkeys(name[:-1] for name in parameters))
    if len(parameters) != 2 * len(stems) or not stems:
        sys.exit("twins.py: not every function has a twin")

    by_name = [stem for stem in stems if parameters[stem + "f"] == parameters[stem + "d"]]
    lines = [HEAD]
    for stem in stems:
        if stem not in by_name:
            own_name = stem.rstrip("_")  # Ls_f and Ls_d
            lines.append("inline constexpr auto %s = host::twins(%sf, %sd);\n" % (own_name, stem, stem))
    lines += [CHOSEN_BY_NAME.format(stem=stem) for stem in by_name]
    return lines[0] + "\n" + "".join(lines[1:])


path = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "tools/twins.hpp"
path.write_text(written())

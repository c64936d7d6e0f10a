#!/usr/bin/env python3
"""twins.py [FILE] - writes include/tabfit/engine.hpp from the C headers: each pair of twins under its stem."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
HEADERS = ("matrix", "least_squares", "approximation")
DECLARATION = re.compile(r"^TABFIT_API\s+([^;]*?)(\w+)\(([^;]*)\)\s*TABFIT_NOEXCEPT;", re.MULTILINE)

HEAD = """\
// tabfit/engine.hpp - the C functions under their stems: the element type picks the twin.
//
//     tabfit::engine::M_mm(A, B, m, n, p, C);      // M_mmf or M_mmd, by the type of A
//     tabfit::engine::M_alloc<double>(m, n, n);    // where the arguments do not tell
//
// What a function does, its statuses and its habits stand in the C headers. Written by tools/twins.py.
#pragma once

#include "tabfit/tabfit.h"

namespace tabfit::detail {

template <class Result, class... Arguments>
struct twin {
  Result (*function)(Arguments...);

  Result operator()(Arguments... arguments) const noexcept { return function(arguments...); }
};

/// Two functions as overloads.
template <class Single, class Double>
struct overloads : Single, Double {
  using Single::operator();
  using Double::operator();
};

template <class R1, class... A1, class R2, class... A2>
constexpr overloads<twin<R1, A1...>, twin<R2, A2...>> twins(R1 (*single_twin)(A1...),
                                                            R2 (*double_twin)(A2...)) {
  return {{single_twin}, {double_twin}};
}

}  // namespace tabfit::detail

namespace tabfit::engine {
"""

CHOSEN_BY_NAME = """
/// {stem}<float>, {stem}<double>: the arguments are the same.
template <class Real>
inline constexpr auto {stem} = ::{stem}f;
template <>
inline constexpr auto {stem}<double> = ::{stem}d;
"""

FOOT = """
}  // namespace tabfit::engine
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
            lines.append("inline constexpr auto %s = detail::twins(%sf, %sd);\n" % (own_name, stem, stem))
    lines += [CHOSEN_BY_NAME.format(stem=stem) for stem in by_name]
    return lines[0] + "\n" + "".join(lines[1:]) + FOOT


path = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "include/tabfit/engine.hpp"
path.write_text(written())

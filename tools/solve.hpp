// tools/solve.hpp - the subcommand that explains one column of a table by others.
#pragma once

#include <CLI/App.hpp>

namespace tabfit::tool {

/// Adds `solve` to the command; it runs when the arguments have been parsed.
void add_solve(CLI::App& command);

}  // namespace tabfit::tool

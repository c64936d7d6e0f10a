// tools/fit.hpp - the subcommand that fits a spline or a polynomial to a table.
#pragma once

#include <CLI/App.hpp>

namespace tabfit::tool {

/// Adds `fit` to the command; it runs when the arguments have been parsed.
void add_fit(CLI::App& command);

}  // namespace tabfit::tool

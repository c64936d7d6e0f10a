// tools/interpolate.hpp - the subcommand that reads a table between its rows.
#pragma once

#include <CLI/App.hpp>

namespace tabfit::tool {

/// Adds `interpolate` to the command; it runs when the arguments have been parsed.
void add_interpolate(CLI::App& command);

}  // namespace tabfit::tool

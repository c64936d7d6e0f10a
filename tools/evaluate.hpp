// tools/evaluate.hpp - the subcommand that evaluates a fit that was kept in a file.
#pragma once

#include <CLI/App.hpp>

namespace tabfit::tool {

/// Adds `evaluate` to the command; it runs when the arguments have been parsed.
void add_evaluate(CLI::App& command);

}  // namespace tabfit::tool

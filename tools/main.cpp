// tools/main.cpp - the tabfit command: its subcommands, and what becomes of a failure.
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <csignal>
#include <iostream>
#include <sstream>

#include "tabfit/tabfit.h"
#include "tools/evaluate.hpp"
#include "tools/failure.hpp"
#include "tools/files.hpp"
#include "tools/fit.hpp"
#include "tools/interpolate.hpp"
#include "tools/solve.hpp"

namespace tabfit::tool {
namespace {

/// Prints the one line of a failure. Text from the input cannot break it or colour the terminal.
int fail(std::string line, int status) {
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
  std::cerr << "tabfit: " << line << std::endl;
  return status;
}

void parse_and_run(int argc, char** argv) {
  CLI::App command("Fits and evaluates curves from tabulated data", "tabfit");
  command.footer("Run tabfit SUBCOMMAND --help for its options, examples and exit statuses.");
  add_interpolate(command);
  add_fit(command);
  add_evaluate(command);
  add_solve(command);
  for (CLI::App* app : command.get_subcommands({})) {
    app->set_version_flag("--version", "tabfit " TABFIT_VERSION_STRING, "Print the version and exit");
    app->set_help_flag("--help", "Print this help and exit");
  }
  command.set_version_flag("--version", "tabfit " TABFIT_VERSION_STRING, "Print the version and exit");
  command.set_help_flag("--help", "Print this help and exit");
  command.get_formatter()->column_width(34);

  try {
    command.parse(argc, argv);
    if (command.get_subcommands().empty()) throw BadInput("a subcommand is needed (see tabfit --help)");
  } catch (const CLI::ParseError& error) {
    const bool is_request = error.get_exit_code() == 0;  // --help or --version
    if (!is_request) {
      const auto chosen = command.get_subcommands();
      const std::string help =
          chosen.empty() ? "tabfit --help" : "tabfit " + chosen[0]->get_name() + " --help";
      throw BadInput(std::string(error.what()) + " (see " + help + ")");
    }
    std::ostringstream text;
    command.exit(error, text, text);
    write_results({{"-", text.str()}});
  }
}

}  // namespace
}  // namespace tabfit::tool

int main(int argc, char** argv) {
  using namespace tabfit::tool;
  // Without these signals a write that fails returns its error.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    parse_and_run(argc, argv);
    return 0;
  } catch (const Failure& failure) {
    return fail(failure.what(), failure.status);
  } catch (const std::bad_alloc&) {
    return fail("out of memory", 1);
  } catch (const std::exception& error) {
    return fail(error.what(), 1);
  }
}

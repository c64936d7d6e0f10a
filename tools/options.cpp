// tools/options.cpp - the options that subcommands share, and how they are checked.
#include "tools/options.hpp"

#include <CLI/Validators.hpp>

#include "tools/failure.hpp"
#include "tools/plot.hpp"

namespace tabfit::tool {

CLI::Option* Subcommand::option(const char* name, std::string& value, const char* type,
                                const char* help) const {
  return sub_.add_option(name, value, help)->type_name(type);
}

void Subcommand::choice(const char* name, std::string& value, const char* type, const char* help,
                        const std::vector<std::string>& choices) const {
  option(name, value, type, help)->check(CLI::IsMember(choices).description(""));
}

void Subcommand::flag(const char* name, bool& value, const char* help) const {
  sub_.add_flag(name, value, help);
}

void Subcommand::columns(Options& o) const {
  option("--x", o.x, "COL", "Column of the abscissae, by name or number (default: 1)");
  option("--y", o.y, "COL", "Column of the ordinates, by name or number (default: 2)");
}

void Subcommand::points(Options& o) const {
  option("--at", o.at, "POINTS", "Points: a list 350,360.5 or equal steps START:STOP:COUNT");
  option("--at-file", o.at_file, "FILE", "Points: the first column of a file; - is standard input");
}

void Subcommand::precision(Options& o, const char* help) const {
  choice("--precision", o.precision, "double|single", help, {"double", "single"});
}

void Subcommand::plot(Options& o) const {
  option("--plot", o.plot, "FILE", "Also a picture, in a file named .svg, .png or .pdf");
}

void Subcommand::result(Options& o) const {
  choice("--format", o.format, "csv|table|json", "Form of the result (default: csv)",
         {"csv", "table", "json"});
  option("--output", o.output, "FILE", "Write to a file, not to standard output");
}

std::size_t Subcommand::given(std::initializer_list<const char*> names) const {
  std::size_t all = 0;
  for (const char* name : names) all += sub_.count(name);
  return all;
}

void Subcommand::refuse(const std::string& why) const {
  throw BadInput(why + " (see tabfit " + sub_.get_name() + " --help)");
}

void Subcommand::refuse_empty(std::initializer_list<const char*> names) const {
  for (const char* name : names)
    if (sub_.get_option_no_throw(name) && given(name) && sub_[name]->as<std::string>().empty())
      refuse(std::string(name) + " is empty");
}

void Subcommand::check(const Options& o) const {
  refuse_empty({"--at", "--at-file", "--output"});
  if (o.file == "-" && o.at_file == "-") refuse("FILE and --at-file are both standard input");
  if (sub_.get_option_no_throw("--plot") && given("--plot")) check_picture_name(o.plot);
}

}  // namespace tabfit::tool

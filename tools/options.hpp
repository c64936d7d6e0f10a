// tools/options.hpp - the options that subcommands share, and how they are checked.
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace tabfit::tool {

struct Options {
  std::string file, x, y, at, at_file, precision = "double", format = "csv", plot;
  std::string output = "-";
  bool derivatives = false;
};

/// One subcommand: its description, then its parsed options.
class Subcommand {
 public:
  Subcommand(CLI::App& command, const char* name, const char* description)
      : sub_(*command.add_subcommand(name, description)) {}

  CLI::Option* option(const char* name, std::string& value, const char* type, const char* help) const;
  void choice(const char* name, std::string& value, const char* type, const char* help,
              const std::vector<std::string>& choices) const;
  void flag(const char* name, bool& value, const char* help) const;

  void columns(Options& o) const;
  void points(Options& o) const;
  void precision(Options& o, const char* help) const;
  void plot(Options& o) const;
  void result(Options& o) const;
  void footer(const char* text) const { sub_.footer(text); }
  void runs(const std::function<void()>& body) const { sub_.callback(body); }

  bool given(const char* name) const { return sub_.count(name) > 0; }
  std::size_t given(std::initializer_list<const char*> names) const;

  /// Throws BadInput with a hint at the help.
  [[noreturn]] void refuse(const std::string& why) const;
  void refuse_empty(std::initializer_list<const char*> names) const;
  /// Refuses wrong options of the points, the picture and the result.
  void check(const Options& o) const;

 private:
  CLI::App& sub_;
};

}  // namespace tabfit::tool

// tools/failure.hpp - what ends the command early: one line for standard error, and an exit status.
#pragma once

#include <stdexcept>
#include <string>

namespace tabfit::tool {

struct Failure : std::runtime_error {
  int status;
  Failure(const std::string& line, int exit_status) : std::runtime_error(line), status(exit_status) {}
};

/// The arguments or the input are wrong.
struct BadInput : Failure {
  explicit BadInput(const std::string& line) : Failure(line, 2) {}
};

/// The library has no answer for these numbers, or the answer cannot be delivered.
struct NoResult : Failure {
  explicit NoResult(const std::string& line) : Failure(line, 1) {}
};

/// An option's value or a cell inside a message: quoted, and shortened if long.
inline std::string quoted(const std::string& text) {
  constexpr std::size_t longest = 60;
  return "'" + (text.size() > longest ? text.substr(0, longest) + "..." : text) + "'";
}

}  // namespace tabfit::tool

// tools/files.hpp - whole files in, whole files out: a result is complete or it is not there.
#pragma once

#include <string>
#include <vector>

namespace tabfit::tool {

/// The content of a file, or of standard input if the name is "-". Throws BadInput.
std::string read_file(const std::string& name);

/// What is left to read from an open file or pipe; the source is its name for a message. Throws
/// BadInput.
std::string read_open_file(int descriptor, const std::string& source);

struct Result {
  std::string name;  ///< the file's name; "-" is standard output
  std::string content;
};

/// Writes every result, or throws and leaves every file as it was.
///
/// Each file is first written in full beside its target; only when all are complete are they renamed
/// into place. A symbolic link stays, its target is replaced; an existing file keeps its permissions.
/// Standard output, pipes and devices are written directly, before any file is renamed.
void write_results(const std::vector<Result>& results);

}  // namespace tabfit::tool

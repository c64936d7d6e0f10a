// tools/files.cpp - whole files in, whole files out.
#include "tools/files.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/failure.hpp"

namespace tabfit::tool {
namespace fs = std::filesystem;
namespace {

std::string reason(int error) { return std::generic_category().message(error); }

/// An open file, closed with its owner.
class File {
 public:
  explicit File(int descriptor) : descriptor_(descriptor) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  operator int() const { return descriptor_; }
  int close() { return ::close(std::exchange(descriptor_, -1)); }

 private:
  int descriptor_;
};

[[noreturn]] void fail_to_write(const Result& result) {
  const std::string why = ": " + reason(errno);
  throw NoResult("cannot write " + (result.name == "-" ? "standard output" : result.name) + why);
}

void write_all(int file, const Result& result) {
  std::string_view text = result.content;
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EPIPE) return;  // the reader has what it wanted
    if (written < 0) fail_to_write(result);
    text.remove_prefix(std::size_t(written));
  }
}

mode_t default_mode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

/// A complete file beside its target, removed with its owner unless it was put in place.
class Draft {
 public:
  Draft(fs::path target, const Result& result)
      : target_(std::move(target)),
        result_(result),
        path_(target_.parent_path() / ".tabfit-XXXXXX"),
        file_(::mkstemp(path_.data())) {
    if (file_ < 0) throw BadInput("cannot create " + result.name + ": " + reason(errno));
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  ~Draft() {
    if (!path_.empty()) ::unlink(path_.c_str());
  }

  void write() {
    struct stat old = {};
    const bool replaces = ::stat(target_.c_str(), &old) == 0;
    // Another's file keeps its owner if we may set it, and its permissions in any case.
    const bool owned = !replaces || ::fchown(file_, old.st_uid, old.st_gid) == 0;
    if (::fchmod(file_, replaces ? old.st_mode & (owned ? 07777 : 0777) : default_mode()) != 0)
      fail_to_write(result_);
    write_all(file_, result_);
    if (file_.close() != 0) fail_to_write(result_);
  }

  void put_in_place() {
    if (::rename(path_.c_str(), target_.c_str()) != 0) fail_to_write(result_);
    path_.clear();
  }

 private:
  fs::path target_;
  const Result& result_;
  std::string path_;
  File file_;
};

/// Where a name leads, through symbolic links; a link in /proc stands for an open file and is kept.
fs::path followed(fs::path path) {
  std::error_code none;
  for (int links = 0; links < 40; ++links) {
    path = fs::weakly_canonical(fs::absolute(path, none).parent_path(), none) / path.filename();
    if (path.string().starts_with("/proc/") || !fs::is_symlink(path, none)) break;
    path = path.parent_path() / fs::read_symlink(path, none);
  }
  return path;
}

/// A pipe, a device, or a file that is open already: not to be replaced by another file.
bool is_written_directly(const fs::path& target) {
  std::error_code none;
  return target.string().starts_with("/proc/") || fs::is_other(target, none);
}

int open_directly(const fs::path& target) {
  std::error_code none;
  if (target.parent_path() == fs::canonical("/proc/self/fd", none) && fs::is_symlink(target, none))
    return ::dup(std::atoi(target.filename().c_str()));  // shares its place in the file
  return ::open(target.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
}

void check_replaceable(const fs::path& target, const std::string& name) {
  std::error_code none;
  const auto refuse = [&](const std::string& why) {
    throw BadInput("cannot create " + name + ": " + why);
  };
  if (fs::is_directory(target, none)) refuse("it is a directory");
  if (fs::is_symlink(target, none)) refuse(reason(ELOOP));
  if (!fs::is_directory(target.parent_path(), none))
    refuse("there is no directory " + target.parent_path().string());
  if (fs::exists(target, none) && ::access(target.c_str(), W_OK) != 0) refuse(reason(errno));
}

}  // namespace

std::string read_file(const std::string& name) {
  const bool standard = name == "-";
  const std::string source = standard ? "standard input" : name;
  const File file(standard ? ::dup(STDIN_FILENO) : ::open(name.c_str(), O_RDONLY | O_CLOEXEC));
  if (file < 0) throw BadInput("cannot read " + source + ": " + reason(errno));

  return read_open_file(file, source);
}

std::string read_open_file(int descriptor, const std::string& source) {
  std::string content;
  char block[1 << 16];
  for (;;) {
    const ssize_t count = ::read(descriptor, block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw BadInput("cannot read " + source + ": " + reason(errno));
    if (count == 0) return content;
    content.append(block, std::size_t(count));
  }
}

void write_results(const std::vector<Result>& results) {
  std::vector<fs::path> targets;
  std::deque<Draft> drafts;
  std::deque<std::pair<File, const Result*>> direct;
  for (const Result& result : results) {
    const bool standard = result.name == "-";
    const fs::path& target = targets.emplace_back(followed(standard ? "/dev/stdout" : result.name));
    if (std::ranges::count(targets, target) > 1)
      throw BadInput("cannot write two results to " + result.name);
    if (standard || is_written_directly(target)) {
      direct.emplace_back(standard ? ::dup(STDOUT_FILENO) : open_directly(target), &result);
      if (direct.back().first < 0) fail_to_write(result);
    } else {
      check_replaceable(target, result.name);
      drafts.emplace_back(target, result).write();
    }
  }
  for (auto& [file, result] : direct) {
    write_all(file, *result);
    if (file.close() != 0) fail_to_write(*result);
  }
  for (Draft& draft : drafts) draft.put_in_place();
}

}  // namespace tabfit::tool

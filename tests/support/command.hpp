// tests/support/command.hpp - runs the tabfit command as a user does, and reads its results.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

inline const std::string titanium = TABFIT_DATA "/titanium.csv";

// -- running a program ------------------------------------------------------------------------------

inline std::string content(std::FILE* file) {
  std::rewind(file);
  std::string text;
  char block[4096];
  for (std::size_t count = 0; (count = std::fread(block, 1, sizeof block, file)) > 0;)
    text.append(block, count);
  return text;
}

inline std::string content(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

struct Outcome {
  int status;  ///< exit status, or -1 if a signal ended the program
  std::string out, err;
};

struct Surroundings {
  std::string input;
  Words environment;        ///< put before the inherited environment
  std::string output_file;  ///< standard output goes here instead of being gathered
};

inline Outcome run_program(Words words, const Surroundings& around = {}) {
  using Scratch = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  const Scratch in(std::tmpfile(), std::fclose), out(std::tmpfile(), std::fclose),
      err(std::tmpfile(), std::fclose);
  std::fwrite(around.input.data(), 1, around.input.size(), in.get());
  std::rewind(in.get());

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fileno(in.get()), STDIN_FILENO);
  if (around.output_file.empty())
    posix_spawn_file_actions_adddup2(&actions, fileno(out.get()), STDOUT_FILENO);
  else
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, around.output_file.c_str(), O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, fileno(err.get()), STDERR_FILENO);

  Words environment = around.environment;
  std::vector<char*> arguments, variables;
  for (std::string& word : words) arguments.push_back(word.data());
  for (std::string& variable : environment) variables.push_back(variable.data());
  for (char** variable = environ; *variable; ++variable) variables.push_back(*variable);
  arguments.push_back(nullptr);
  variables.push_back(nullptr);

  pid_t process = 0;
  const int error =
      posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), variables.data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    ADD_FAILURE() << "cannot start " << words[0];
    return {-1, "", ""};
  }
  int status = 0;
  waitpid(process, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, content(out.get()), content(err.get())};
}

inline Outcome run_tabfit(Words words, const Surroundings& around = {}) {
  words.insert(words.begin(), TABFIT_COMMAND);
  return run_program(std::move(words), around);
}

inline Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

inline void expect_failure(const Outcome& outcome, int status, const std::string& line) {
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.err, "tabfit: " + line + "\n");
  EXPECT_EQ(outcome.out, "");
}

/// The same, but only a part of the line is checked.
inline void expect_failure_with(const Outcome& outcome, int status, const std::string& part) {
  EXPECT_EQ(outcome.status, status);
  EXPECT_TRUE(outcome.err.starts_with("tabfit: ")) << outcome.err;
  EXPECT_NE(outcome.err.find(part), std::string::npos) << outcome.err;
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_EQ(outcome.out, "");
}

inline void expect_output(const Outcome& outcome, const std::string& text) {
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, text);
}

// -- reading its results ----------------------------------------------------------------------------

template <class Real>
std::vector<std::vector<Real>> columns_of(const std::string& csv) {
  std::vector<std::vector<Real>> columns;
  std::istringstream lines(csv);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    const char* place = line.data();
    const char* const end = place + line.size();
    for (std::size_t k = 0; place < end; ++k, ++place) {
      Real value = 0;
      place = std::from_chars(place, end, value).ptr;
      if (k == columns.size()) columns.emplace_back();
      columns[k].push_back(value);
    }
  }
  return columns;
}

template <class Real>
std::string shortest(Real value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// A directory of the test's own, removed with it.
class Command : public testing::Test {
 protected:
  fs::path path(const std::string& name) const { return folder_ / name; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name).string();
  }
  std::size_t files() const {
    return std::size_t(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  void SetUp() override {
    std::string name = fs::temp_directory_path() / "tabfit-test-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { fs::remove_all(folder_); }

 private:
  fs::path folder_;
};

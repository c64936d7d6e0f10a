// bench/worker.cpp - peers in other processes, over pipes.
#include "bench/worker.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace tabfit::bench {
namespace {

bool write_all(int file, const void* data, std::size_t bytes) {
  const char* next = static_cast<const char*>(data);
  while (bytes > 0) {
    const ssize_t count = write(file, next, bytes);
    if (count <= 0) return false;
    next += count;
    bytes -= static_cast<std::size_t>(count);
  }
  return true;
}

bool read_all(int file, void* data, std::size_t bytes) {
  char* next = static_cast<char*>(data);
  while (bytes > 0) {
    const ssize_t count = read(file, next, bytes);
    if (count <= 0) return false;
    next += count;
    bytes -= static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace

Worker::Worker(const std::string& interpreter, const std::string& script)
    : name_(interpreter + " " + script) {
  int down[2], up[2];
  if (pipe2(down, O_CLOEXEC) != 0 || pipe2(up, O_CLOEXEC) != 0) return;
  std::signal(SIGPIPE, SIG_IGN);  // a script that is gone is noticed by the result of write
  child_ = fork();
  if (child_ == 0) {
    dup2(down[0], STDIN_FILENO);
    dup2(up[1], STDOUT_FILENO);
    execlp(interpreter.c_str(), interpreter.c_str(), script.c_str(), nullptr);
    _exit(127);
  }
  close(down[0]);
  close(up[1]);
  to_child_ = down[1];
  from_child_ = up[0];
  std::vector<double> text;
  if (child_ > 0 && receive(text))
    for (const double character : text) description_ += static_cast<char>(character);
  else
    std::fprintf(stderr, "without the peers of: %s\n", name_.c_str());
}

Worker::~Worker() {
  close(to_child_);  // the script ends with its input
  close(from_child_);
  if (child_ > 0) waitpid(child_, nullptr, 0);
}

std::vector<double> Worker::solve(const std::vector<double>& problem) {
  std::vector<double> solution;
  send(problem);
  if (!receive(solution)) lost();
  return solution;
}

double Worker::seconds(int calls) { return solve({0.0, static_cast<double>(calls)}).at(0); }

void Worker::send(const std::vector<double>& message) {
  const double length = static_cast<double>(message.size());
  if (!write_all(to_child_, &length, sizeof length) ||
      !write_all(to_child_, message.data(), message.size() * sizeof(double)))
    lost();
}

bool Worker::receive(std::vector<double>& message) {
  double length = 0.0;
  if (!read_all(from_child_, &length, sizeof length)) return false;
  message.resize(static_cast<std::size_t>(length));
  return read_all(from_child_, message.data(), message.size() * sizeof(double));
}

void Worker::lost() const {
  std::fprintf(stderr, "lost a peer: %s\n", name_.c_str());
  std::exit(1);
}

/// The distribution's interpreter, which has the packages.
Worker& python_worker() {
  static Worker worker("/usr/bin/python3", TABFIT_BENCH_FOLDER "/peers.py");
  return worker;
}

Worker& r_worker() {
  static Worker worker("Rscript", TABFIT_BENCH_FOLDER "/peers.R");
  return worker;
}

double seconds_in_a_copy(const std::function<void()>& call, int calls, int limit) {
  int ends[2];
  if (pipe(ends) != 0) return -1.0;
  const pid_t copy = fork();
  if (copy == 0) {
    const rlimit time{static_cast<rlim_t>(limit), static_cast<rlim_t>(limit)};
    const rlimit memory{std::size_t{8} << 30, std::size_t{8} << 30};
    setrlimit(RLIMIT_CPU, &time);
    setrlimit(RLIMIT_AS, &memory);
    call();  // the copy's pages and caches
    const std::clock_t start = std::clock();
    for (int k = 0; k < calls; ++k) call();
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    write_all(ends[1], &seconds, sizeof seconds);
    _exit(0);
  }
  close(ends[1]);
  double seconds = -1.0;
  if (copy < 0 || !read_all(ends[0], &seconds, sizeof seconds)) seconds = -1.0;
  close(ends[0]);
  if (copy > 0) waitpid(copy, nullptr, 0);
  return seconds;
}

bool call_returns(const std::function<void()>& call) {
  constexpr int limit = 3;
  return seconds_in_a_copy(call, 0, limit) >= 0.0;
}

}  // namespace tabfit::bench

// bench/worker.hpp - peers in other processes, and calls of ours that need a process of their own.
#pragma once

#include "bench/compare.hpp"

#include <string>
#include <vector>

namespace tabfit::bench {

/// A script that keeps running and solves one problem at a time. It times itself, in processor time of
/// its process, over as many calls as it is asked for. Messages go over two pipes; they are vectors of
/// doubles, each preceded by its length.
///
///   to the script     it answers
///   (none)            its description, a number for each character
///   0, calls          the seconds that so many solutions of the last problem took
///   code, problem...  its solution
class Worker {
 public:
  /// interpreter and script; arguments are found as a shell would find them.
  Worker(const std::string& interpreter, const std::string& script);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// False if the script did not come up; then nothing else may be called.
  bool available() const { return !description_.empty(); }
  const std::string& description() const { return description_; }

  std::vector<double> solve(const std::vector<double>& problem);
  double seconds(int calls);

 private:
  void send(const std::vector<double>& message);
  bool receive(std::vector<double>& message);
  [[noreturn]] void lost() const;

  std::string name_, description_;
  int child_ = -1, to_child_ = -1, from_child_ = -1;
};

/// The workers, started when first asked for.
Worker& python_worker();
Worker& r_worker();

/// Seconds of processor time that the calls take in a copy of this process, which then ends: for an
/// operation that leaves memory allocated at every call. Below 0 if the copy was stopped because the
/// calls took longer than the limit, in seconds, or more than 8 GB of memory.
double seconds_in_a_copy(const std::function<void()>& call, int calls, int limit);

/// True if a call returns within some seconds; it is tried in a copy of this process.
bool call_returns(const std::function<void()>& call);

}  // namespace tabfit::bench

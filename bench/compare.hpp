// bench/compare.hpp - compares operations of this library with those of peer libraries.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tabfit::bench {

/// How far the results of a peer lie from ours, and how far they may.
struct Agreement {
  double difference = 0.0, bound = 0.0;

  bool holds() const { return difference <= bound; }  // NaN fails too
};

/// Seconds of processor time that a number of calls take; below 0 if they did not end.
using Timer = std::function<double(int calls)>;

/// The same work done by another library. agreement() compares the results of the last calls of ours
/// and run.
struct Peer {
  std::string name;
  std::function<void()> run;
  std::function<Agreement()> agreement;
  Timer timer = {};  ///< of calls that another process makes; empty for calls of run in this one
};

/// A workload with its data in place.
struct Trial {
  double items = 1.0;  ///< of work in one call, such as evaluations; times are stated for one item
  std::function<void()> ours;
  std::vector<Peer> peers;
  Timer timer = {};  ///< of ours, as for a peer
  /// Correct digits of ours and of the peer, stated in place of the difference; empty for no such thing.
  std::function<std::string()> digits = {};
};

/// A workload of one size. prepare() is called when its turn comes, and again if it is interrupted.
struct Workload {
  std::string name;  ///< operation and kind of data: "AX_linttabd/random"
  int n = 0;
  std::function<Trial()> prepare;
};

struct Comparison {
  std::string kernels;             ///< that all of them run
  std::vector<std::string> peers;  ///< names, versions and what else tells how they were run
  unsigned seed = 0;               ///< of every random input
  std::vector<Workload> workloads;
};

/// Runs the workloads that the command line selects and prints one row for each: the comparison with
/// the best peer, the one with the least median time, then the ratios to the others. Returns the exit
/// status: 0, or 1 if any results disagree, nothing is selected or an argument is unknown.
///
/// First all sides run once and their results are compared; a workload that disagrees is not timed.
/// Then every repetition times ours and each peer one after the other, in alternating order, and takes
/// the ratio ours / peer. The row states the median ratio and the quartiles. A disturbance of the
/// machine meets both sides of a ratio, or it spoils a few ratios, and the median ignores these. All
/// sides run on one core.
int run(const Comparison& comparison, int argc, char** argv);

}  // namespace tabfit::bench

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

/// Seconds of processor time that a number of calls take, or below 0 if they did not come to an end.
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
  double items = 1.0;  ///< evaluations, say, that one call does; times are stated for one of them
  std::function<void()> ours;
  std::vector<Peer> peers;
  Timer timer = {};  ///< of ours, as for a peer
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

/// Runs the workloads that the command line selects and prints one row for each: against the best peer,
/// that is the one with the least median time, and then the ratios to the others.
/// The program's exit status: 0, or 1 if any results disagree, nothing is selected or an argument is
/// unknown.
///
/// First both sides run once and their results are compared; a workload that disagrees is not timed.
/// Then every repetition times ours and each peer one after the other, in an order that alternates, and
/// takes the ratio ours / peer. The row states the median of these ratios with its quartiles: a
/// disturbance of the machine meets both sides of a ratio, or spoils a few ratios, which a median does
/// not feel. Both sides run on one core.
int run(const Comparison& comparison, int argc, char** argv);

}  // namespace tabfit::bench

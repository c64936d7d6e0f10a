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

/// The same work done by another library. agreement() compares the results of the last calls of ours
/// and run.
struct Peer {
  std::string name;
  std::function<void()> run;
  std::function<Agreement()> agreement;
};

/// A workload with its data in place.
struct Trial {
  double items = 1.0;  ///< evaluations, say, that one call does; times are stated for one of them
  std::function<void()> ours;
  std::vector<Peer> peers;
};

/// A workload of one size. prepare() is called when its turn comes, and again if it is interrupted.
struct Workload {
  std::string name;  ///< operation and kind of data: "AX_linttabd/random"
  int n = 0;
  std::function<Trial()> prepare;
};

struct Comparison {
  std::vector<std::string> peers;  ///< names and versions
  unsigned seed = 0;               ///< of every random input
  std::vector<Workload> workloads;
};

/// Runs the workloads that the command line selects and prints one row for each peer of each workload.
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

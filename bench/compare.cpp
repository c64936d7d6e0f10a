// bench/compare.cpp - runs workloads in interleaved pairs, as repetitions of Google Benchmark.
#include "bench/compare.hpp"

#include "tabfit/tabfit.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>

namespace tabfit::bench {
namespace {

constexpr double least_timing = 8e-3;  ///< s; shorter work is called repeatedly within one timing

/// Names of the counters that carry the results from a repetition to the table.
const std::string ours_time = "ours";
std::string peer_time(const Peer& peer) { return peer.name; }
std::string peer_ratio(const Peer& peer) { return "ours/" + peer.name; }

std::string full_name(const Workload& workload) {
  return workload.name + "/" + std::to_string(workload.n);
}

using Sample = std::vector<double>;

/// The value below which a fraction of the sample lies, linear between the order statistics.
double quantile(Sample v, double fraction) {
  std::sort(v.begin(), v.end());
  const double place = fraction * static_cast<double>(v.size() - 1);
  const auto i = static_cast<std::size_t>(place);
  if (i + 1 >= v.size()) return v.back();
  return v[i] + (place - static_cast<double>(i)) * (v[i + 1] - v[i]);
}

/// Processor time of some calls. Unlike the wall clock, it stands still while another process has the
/// core.
double seconds(const std::function<void()>& call, const Timer& timer, int calls) {
  if (timer) return timer(calls);
  const std::clock_t start = std::clock();
  for (int k = 0; k < calls; ++k) call();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// The repetitions of the workload whose turn it is. Google Benchmark calls repeat() once for each.
class Repeater {
 public:
  void repeat(const Workload& workload, benchmark::State& state) {
    if (current_ != &workload) prepare(workload);
    if (!error_.empty()) {
      state.SkipWithError(error_.c_str());
      return;
    }
    for ([[maybe_unused]] const auto once : state) {
      const std::vector<double> time = time_sides();
      if (!error_.empty()) {
        state.SkipWithError(error_.c_str());
        break;
      }
      state.SetIterationTime(time[0]);
      state.counters[ours_time] = time[0];
      for (std::size_t k = 0; k < trial_.peers.size(); ++k) {
        state.counters[peer_time(trial_.peers[k])] = time[k + 1];
        state.counters[peer_ratio(trial_.peers[k])] = time[0] / time[k + 1];
      }
    }
  }

  const Workload& workload() const { return *current_; }
  const Trial& trial() const { return trial_; }
  const std::vector<Agreement>& agreements() const { return agreements_; }

 private:
  void prepare(const Workload& workload) {
    current_ = &workload;
    trial_ = workload.prepare();
    repetition_ = 0;
    agreements_.clear();
    error_.clear();

    trial_.ours();
    for (const Peer& peer : trial_.peers) {
      peer.run();
      const Agreement agreement = peer.agreement();
      agreements_.push_back(agreement);
      if (!agreement.holds()) error_ += "disagrees with " + peer.name + "; ";
    }
    if (!error_.empty()) return;
    calls_.assign(1 + trial_.peers.size(), 1);
    for (std::size_t k = 0; k < calls_.size(); ++k) calibrate(k);
  }

  /// Side 0 is ours, the others are the peers.
  double seconds_of(std::size_t side) {
    const double time =
        side == 0 ? seconds(trial_.ours, trial_.timer, calls_[0])
                  : seconds(trial_.peers[side - 1].run, trial_.peers[side - 1].timer, calls_[side]);
    if (time < 0.0)
      error_ = "did not come to an end: " + (side == 0 ? "ours" : trial_.peers[side - 1].name);
    return time;
  }

  /// The fewest calls of a side that take long enough to be timed.
  void calibrate(std::size_t side) {
    for (double time = seconds_of(side); error_.empty() && time < least_timing;
         time = seconds_of(side)) {
      const double growth = time > 0.0 ? 1.1 * least_timing / time : 8.0;
      calls_[side] = static_cast<int>(calls_[side] * std::min(growth, 8.0)) + 1;
    }
  }

  /// Seconds an item: ours, then the peers.
  std::vector<double> time_sides() {
    std::vector<double> time(1 + trial_.peers.size());
    std::vector<std::size_t> order(time.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    if (repetition_++ % 2 == 1) std::reverse(order.begin(), order.end());
    for (const std::size_t k : order) time[k] = seconds_of(k) / calls_[k] / trial_.items;
    return time;
  }

  const Workload* current_ = nullptr;
  Trial trial_;
  std::vector<Agreement> agreements_;
  std::string error_;
  std::vector<int> calls_;
  int repetition_ = 0;
};

std::string print(const char* format, auto... values) {
  char text[200];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

/// A time with three digits and a unit.
std::string print_time(double seconds) {
  const char* unit = "s";
  for (const char* smaller : {"ms", "us", "ns"}) {
    if (seconds >= 1.0) break;
    seconds *= 1e3;
    unit = smaller;
  }
  const int decimals = seconds < 10 ? 2 : seconds < 100 ? 1 : 0;
  return print("%.*f %s", decimals, seconds, unit);
}

std::string processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);)
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  return "unknown processor";
}

/// The table, in a form that reads well on a terminal and is Markdown too. A row is printed as soon as
/// its workload is done.
class Table : public benchmark::BenchmarkReporter {
 public:
  Table(const Comparison& comparison, const Repeater& repeater, std::ofstream& copy)
      : comparison_(comparison), repeater_(repeater), copy_(copy) {}

  bool failed() const { return failed_; }
  bool lacks_rows() const { return begun_ && !has_rows_; }

  bool ReportContext(const Context& context) override {
    begun_ = true;
    std::string libraries = "tabfit " TABFIT_VERSION_STRING;
    for (const std::string& peer : comparison_.peers) libraries += ", " + peer;
    std::string caches;
    for (const auto& cache : context.cpu_info.caches)
      caches += print(", L%d %s %d KiB", cache.level, cache.type.c_str(), cache.size / 1024);

    line("- Kernels: " + comparison_.kernels);
    line("- Libraries: " + libraries);
    line("- Compiler: " TABFIT_BENCH_COMPILER);
    line("- Flags of tabfit: " TABFIT_BENCH_FLAGS);
    line("- Processor: " + processor() + caches + "; one core used");
    line("- Frame: Google Benchmark " TABFIT_BENCH_FRAME "; seed of the random inputs: " +
         std::to_string(comparison_.seed));
    line("");
    row({"workload", "n", "ours, best / median", "best peer", "its best / median",
         "ours / peer [quartiles]", "ours / other peers", "difference (bound)"});
    std::string rule = "|";
    for (const int width : widths) rule += std::string(static_cast<std::size_t>(width) + 2, '-') + "|";
    line(rule);
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    const Workload& workload = repeater_.workload();
    const Trial& trial = repeater_.trial();
    const std::vector<Agreement>& agreements = repeater_.agreements();
    std::map<std::string, const Run*> statistics;
    bool error = false;
    for (const Run& run : runs) {
      error |= run.error_occurred;
      if (run.run_type == Run::RT_Aggregate) statistics[run.aggregate_name] = &run;
    }
    if (!error && statistics.empty()) return;  // single repetitions come before their statistics
    failed_ |= error;
    has_rows_ = true;

    const auto value = [&](const char* statistic, const std::string& counter) {
      return statistics.at(statistic)->counters.at(counter).value;
    };
    const auto times = [&](const std::string& counter) {
      return print_time(value("best", counter)) + " / " + print_time(value("median", counter));
    };
    std::vector<std::string> cells{workload.name, std::to_string(workload.n)};
    if (error) {
      std::string refused;
      for (std::size_t k = 0; k < trial.peers.size(); ++k)
        if (!agreements[k].holds()) refused += (refused.empty() ? "" : ", ") + trial.peers[k].name;
      cells.insert(cells.end(), {refused.empty() ? "NOT TIMED" : "DISAGREE", "-", "-", "-", refused});
    } else {
      std::vector<std::size_t> rank(trial.peers.size());  // fastest first
      std::iota(rank.begin(), rank.end(), std::size_t{0});
      std::stable_sort(rank.begin(), rank.end(), [&](std::size_t a, std::size_t b) {
        return value("median", peer_time(trial.peers[a])) < value("median", peer_time(trial.peers[b]));
      });
      const Peer& best = trial.peers[rank.front()];
      const std::string ratio = peer_ratio(best);
      cells.insert(cells.end(),
                   {times(ours_time), best.name, times(peer_time(best)),
                    print("%.2f [%.2f..%.2f]", value("median", ratio), value("lower quartile", ratio),
                          value("upper quartile", ratio))});
      std::string others;
      for (std::size_t k = 1; k < rank.size(); ++k) {
        const Peer& peer = trial.peers[rank[k]];
        others += (k == 1 ? "" : ", ") + peer.name + print(" %.2f", value("median", peer_ratio(peer)));
      }
      cells.push_back(others.empty() ? "-" : others);
    }
    // The greatest difference in units of its bound.
    const Agreement& agreement = *std::max_element(
        agreements.begin(), agreements.end(), [](const Agreement& a, const Agreement& b) {
          return !(b.difference * a.bound <= a.difference * b.bound);
        });
    cells.push_back(!error && trial.digits
                        ? "digits " + trial.digits()
                        : print("%.1e (%.0e)", agreement.difference, agreement.bound));
    row(cells);
  }

 private:
  static constexpr int widths[] = {33, 5, 20, 14, 20, 23, 36, 18};

  void line(const std::string& text) {
    GetOutputStream() << text << std::endl;
    if (copy_.is_open()) copy_ << text << std::endl;
  }

  void row(const std::vector<std::string>& cells) {
    std::string text = "|";
    for (std::size_t k = 0; k < cells.size(); ++k)
      text += print(k == 0 || k == 3 || k == 6 ? " %-*s |" : " %*s |", widths[k], cells[k].c_str());
    line(text);
  }

  const Comparison& comparison_;
  const Repeater& repeater_;
  std::ofstream& copy_;
  bool begun_ = false, has_rows_ = false, failed_ = false;
};

/// Takes --name=value out of the arguments; empty if it is not there.
std::string take_option(std::vector<char*>& arguments, const std::string& name) {
  const std::string prefix = "--" + name + "=";
  std::string value;
  std::erase_if(arguments, [&](const char* argument) {
    const bool found = std::string(argument).starts_with(prefix);
    if (found) value = argument + prefix.size();
    return found;
  });
  return value;
}

}  // namespace

int run(const Comparison& comparison, int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  const std::string copy_name = take_option(arguments, "table");
  std::string repetitions = "--benchmark_repetitions=21";  // first, so that the caller's wins
  arguments.insert(arguments.begin() + 1, repetitions.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  std::ofstream copy;
  if (!copy_name.empty()) {
    copy.open(copy_name);
    if (!copy) {
      std::cerr << "cannot write " << copy_name << "\n";
      return 1;
    }
  }

  Repeater repeater;
  for (const Workload& workload : comparison.workloads)
    benchmark::RegisterBenchmark(full_name(workload).c_str(),
                                 [&](benchmark::State& state) { repeater.repeat(workload, state); })
        ->Iterations(1)
        ->UseManualTime()
        ->Unit(benchmark::kNanosecond)
        ->ComputeStatistics("best", [](const Sample& v) { return quantile(v, 0.0); })
        ->ComputeStatistics("lower quartile", [](const Sample& v) { return quantile(v, 0.25); })
        ->ComputeStatistics("upper quartile", [](const Sample& v) { return quantile(v, 0.75); });

  Table table(comparison, repeater, copy);
  const std::size_t selected = benchmark::RunSpecifiedBenchmarks(&table);
  benchmark::Shutdown();
  if (table.lacks_rows()) {
    std::cerr << "no quartiles of a single repetition: ask for more\n";
    return 1;
  }
  return selected == 0 || table.failed() ? 1 : 0;
}

}  // namespace tabfit::bench

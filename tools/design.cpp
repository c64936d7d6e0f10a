// tools/design.cpp - how well abscissae determine a spline on equally spaced knots.
#include "tools/design.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tabfit::tool {
namespace {

/// The knots at both ends of a run of intervals.
struct Run {
  int first, last;
};

/// The longest runs of intervals with no abscissa inside come first. An abscissa on a knot ends a run.
template <class Real>
std::vector<Run> empty_runs(const Knots& knots, const std::vector<Real>& x) {
  const int n = knots.n;
  std::vector<bool> inside(std::size_t(n) + 1, false), on_knot(std::size_t(n) + 2, false);
  for (const Real t : x) {
    const double s = knots.place(t);
    const std::size_t i = std::size_t(std::min(int(s), n));
    if (s == double(i) || s == n + 1)
      on_knot[std::size_t(s)] = true;
    else
      inside[i] = true;
  }
  std::vector<Run> runs;
  for (int i = 0; i <= n; ++i) {
    if (inside[std::size_t(i)]) continue;
    if (runs.empty() || runs.back().last < i || on_knot[std::size_t(i)]) runs.push_back({i, i});
    ++runs.back().last;
  }
  std::ranges::stable_sort(runs, {}, [](const Run& run) { return run.first - run.last; });
  return runs;
}

/// A knot in the unit of the data, with enough digits to tell it from its neighbours.
std::string knot_text(const Knots& knots, int i) {
  const double width = (knots.last - knots.first) / (knots.n + 1);
  const int decimals = 1 - int(std::floor(std::log10(width)));
  const double unit = std::pow(10.0, -decimals);
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", std::round(knots.at(i) / unit) * unit);
  return text;
}

}  // namespace

double Knots::at(int i) const { return std::lerp(first, last, double(i) / (n + 1)); }

double Knots::place(double x) const {
  const long double width = static_cast<long double>(last) - first;
  return double((static_cast<long double>(x) - first) / width * (n + 1));
}

// At an abscissa three (on a knot) or four neighbours of the n + 4 B-splines are not zero. Abscissae
// ascend, and the first free B-spline is the best choice. The ends of the range need no rule of their
// own: one abscissa lies at each and takes one.
template <class Real>
int rank_of_design(const Knots& knots, const std::vector<Real>& x) {
  int free = 0, rank = 0;
  for (const Real t : x) {
    const double s = knots.place(t);
    const int interval = std::min(int(s), knots.n);
    const bool on_knot = s == interval;
    const int chosen = std::max(free, interval);
    if (chosen > interval + (on_knot ? 2 : 3)) continue;
    free = chosen + 1;
    ++rank;
  }
  return rank;
}

template <class Real>
std::string empty_intervals(const Knots& knots, const std::vector<Real>& x) {
  constexpr std::size_t most = 3;
  std::vector<Run> runs = empty_runs(knots, x);
  const std::size_t shown = std::min(runs.size(), most), hidden = runs.size() - shown;
  runs.resize(shown);
  std::ranges::sort(runs, {}, &Run::first);

  std::string list;
  for (const Run& run : runs)
    list += (list.empty() ? "no data between " : ", between ") + knot_text(knots, run.first) + " and " +
            knot_text(knots, run.last);
  if (hidden > 0) list += ", and in " + std::to_string(hidden) + " shorter gaps";
  return list;
}

template int rank_of_design(const Knots&, const std::vector<float>&);
template int rank_of_design(const Knots&, const std::vector<double>&);
template std::string empty_intervals(const Knots&, const std::vector<float>&);
template std::string empty_intervals(const Knots&, const std::vector<double>&);

}  // namespace tabfit::tool

// tests/support/random.hpp - random inputs that are the same everywhere, and node tables made of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

/// A stream of random numbers from a printed seed. The engine of the standard library is the same on
/// every platform, but its distributions are not: the mappings are written out.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {
    std::printf("random inputs from seed %llu\n", static_cast<unsigned long long>(seed));
  }
  /// Without a line of output: for one of many problems, whose seeds are told otherwise.
  static Random silent(std::uint64_t seed) { return Random(seed, 0); }

  /// An int in from..to, both included.
  int integer(int from, int to) {
    const auto width = static_cast<std::uint64_t>(std::int64_t{to} - from + 1);
    return static_cast<int>(from + static_cast<std::int64_t>(engine_() % width));
  }
  bool chance(int one_in) { return integer(1, one_in) == 1; }

  /// A double in from..to.
  double real(double from, double to) {
    const double unit = static_cast<double>(engine_() >> 11) * 0x1p-53;
    return from + (to - from) * unit;
  }

 private:
  Random(std::uint64_t seed, int) : engine_(seed) {}

  std::mt19937_64 engine_;
};

/// How the nodes of a random table lie.
enum class Nodes { ascending, close, repeated, unsorted, unordered };

inline constexpr Nodes all_kinds_of_nodes[] = {Nodes::ascending, Nodes::close, Nodes::repeated,
                                               Nodes::unsorted, Nodes::unordered};

/// n nodes. ascending: by 0.01 to 1; close: some intervals near the tolerance tol; repeated: some
/// intervals empty; unsorted: some nodes exchanged; unordered: some nodes NaN or infinite.
template <class Real>
std::vector<Real> random_nodes(Random& random, int n, Nodes kind, double tol) {
  std::vector<Real> x(static_cast<std::size_t>(n));
  double at = random.chance(8) ? 0.0 : random.real(-3, 3);
  for (Real& node : x) {
    node = static_cast<Real>(at);
    double step = random.real(0.01, 1);
    if (kind == Nodes::repeated && random.chance(2)) step = 0;
    if (kind == Nodes::close && random.chance(3)) step = tol * random.real(0.5, 1.5);
    at = node + step;
  }
  if (n > 1 && kind == Nodes::unsorted)
    for (int swaps = random.integer(1, n); swaps > 0; --swaps)
      std::swap(x[static_cast<std::size_t>(random.integer(0, n - 1))],
                x[static_cast<std::size_t>(random.integer(0, n - 1))]);
  if (n > 0 && kind == Nodes::unordered) {
    constexpr Real odd[] = {std::numeric_limits<Real>::quiet_NaN(),
                            std::numeric_limits<Real>::infinity(),
                            -std::numeric_limits<Real>::infinity()};
    for (int times = random.integer(1, 2); times > 0; --times)
      x[static_cast<std::size_t>(random.integer(0, n - 1))] = odd[random.integer(0, 2)];
  }
  return x;
}

/// How the points of a random table lie.
enum class Points { random, sorted, reversed, runs, edges };

inline constexpr Points all_kinds_of_points[] = {Points::random, Points::sorted, Points::reversed,
                                                 Points::runs, Points::edges};

/// m points on the nodes x[0..n-1], n >= 2. runs: 1 to 20 at a time in one interval or on one node;
/// edges: nodes, their neighbours, and points in the slack of tol outside the ends.
template <class Real>
std::vector<Real> random_points(Random& random, int m, const std::vector<Real>& x, Points kind,
                                double tol) {
  const int n = static_cast<int>(x.size());
  const auto node = [&](int i) { return x[static_cast<std::size_t>(i)]; };
  const auto within = [&](int i) {  // in interval i, or on the last node
    if (i == n - 1) return node(i);
    return static_cast<Real>(node(i) + random.real(0, 1) * (double(node(i + 1)) - node(i)));
  };
  std::vector<Real> t;
  while (static_cast<int>(t.size()) < m) {
    const int i = random.integer(0, n - 1);
    if (kind == Points::runs) {
      const bool on_node = random.chance(3);
      for (int left = random.integer(1, 20); left > 0; --left)
        t.push_back(on_node ? node(i) : within(i));
    } else if (kind == Points::edges) {
      switch (random.integer(0, 4)) {
        case 0:
          t.push_back(node(i));
          break;
        case 1:
          t.push_back(std::nextafter(node(i), -std::numeric_limits<Real>::infinity()));
          break;
        case 2:
          t.push_back(std::nextafter(node(i), std::numeric_limits<Real>::infinity()));
          break;
        case 3:
          t.push_back(static_cast<Real>(node(0) - tol * random.real(0, 1)));
          break;
        default:
          t.push_back(static_cast<Real>(node(n - 1) + tol * random.real(0, 1)));
      }
    } else {
      t.push_back(within(i));
    }
  }
  t.resize(static_cast<std::size_t>(m));
  const auto before = [](Real a, Real b) { return a < b || (std::isnan(b) && !std::isnan(a)); };
  if (kind == Points::sorted || kind == Points::reversed) std::sort(t.begin(), t.end(), before);
  if (kind == Points::reversed) std::reverse(t.begin(), t.end());
  return t;
}

/// m points over the nodes x, most of them of one kind. Some lie on nodes, beside nodes and in the
/// slack, singly and in one run.
template <class Real>
std::vector<Real> scattered_points(Random& random, int m, const std::vector<Real>& x, Points kind,
                                   double tol) {
  std::vector<Real> t = random_points(random, m, x, kind, tol);
  const std::vector<Real> odd = random_points(random, m, x, Points::edges, 0.9 * tol);
  const int first = random.integer(0, m - 1), length = random.chance(3) ? random.integer(1, 150) : 0;
  const bool slack = random.chance(2), left = random.chance(2);
  for (int j = 0; j < m; ++j) {
    const bool in_run = j >= first && j < first + length;
    Real& point = t[static_cast<std::size_t>(j)];
    if (in_run && slack)
      point = static_cast<Real>(left ? x.front() - 0.5 * tol : x.back() + 0.5 * tol);
    else if (in_run || random.chance(12))
      point = odd[static_cast<std::size_t>(j)];
  }
  return t;
}

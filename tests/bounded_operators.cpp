// tests/bounded_operators.cpp - does one step with numbers that carry a bound, a line of standard input
// each, for checks/bounds.py.
//
//   in:   d|f OPERATOR NUMBER...   doubles as hexadecimal integers; a bounded number is three of them
//   out:  HIGH LOW BOUND           of `store`: DOUBT RESULT
#include <bit>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "kernels/points/bounded.hpp"

namespace tabfit {
namespace {

double first(Lanes x) {
  double all[Lanes::width];
  x.put(all);
  return all[0];
}
Value<double> value(double high, double low, const double*) {
  return {Lanes::of(high), Lanes::of(low)};
}
Value<float> value(double high, double, const float*) { return {Lanes::of(high)}; }
double low_of(Value<double> x) { return first(x.low); }
double low_of(Value<float>) { return 0.0; }

/// With the roundings that its type counts.
template <class Real, int roundings, class V>
Bounded<Real> own(Known<Real, roundings, V> x) {
  return bounded<roundings>(x);
}

/// The operator of that name: e an exact operand, k the difference of two, b a bounded one.
template <class Real>
Bounded<Real> step(const std::string& name, const std::vector<double>& v) {
  const auto e = [&](std::size_t i) { return Exact<Real>{Lanes::of(v.at(i))}; };
  const auto k = [&](std::size_t i) { return e(i) - e(i + 1); };
  const auto b = [&](std::size_t i) {
    return Bounded<Real>{value(v.at(i), v.at(i + 1), static_cast<const Real*>(nullptr)),
                         Lanes::of(v.at(i + 2))};
  };
  if (name == "e+e") return own(e(0) + e(1));
  if (name == "e-e") return own(e(0) - e(1));
  if (name == "e++e") return own(exact_sum(e(0), e(1)));
  if (name == "b+e") return b(0) + e(3);
  if (name == "b-e") return b(0) - e(3);
  if (name == "e-b") return e(0) - b(1);
  if (name == "b+b") return b(0) + b(3);
  if (name == "b-b") return b(0) - b(3);
  if (name == "e*e") return e(0) * e(1);
  if (name == "e*k") return e(0) * k(1);
  if (name == "b*e") return b(0) * e(3);
  if (name == "b*k") return b(0) * k(3);
  if (name == "k*k") return own(weight(k(0), k(2)));
  if (name == "e/e") return e(0) / Divisor(v.at(1));
  if (name == "k/e") return k(0) / Divisor(v.at(2));
  if (name == "b/e") return b(0) / Divisor(v.at(3));
  if (name == "e/w") return e(0) / WideDivisor(static_cast<Wide>(v.at(1)) + v.at(2));
  if (name == "store") return b(0);
  std::fprintf(stderr, "bounded_operators: no operator %s\n", name.c_str());
  std::exit(1);
}

void show(double x) { std::printf("%016" PRIx64 " ", std::bit_cast<std::uint64_t>(x)); }

template <class Real>
void answer(const std::string& name, const std::vector<double>& v) {
  const Bounded<Real> x = step<Real>(name, v);
  if (name == "store") {
    Real result[Lanes::width] = {};
    const unsigned doubts = put(x, result, Lanes::width);
    show(doubts & 1);
    show(result[0]);
  } else {
    show(first(high_of(x.value)));
    show(low_of(x.value));
    show(first(x.bound));
  }
  std::printf("\n");
}

}  // namespace
}  // namespace tabfit

int main() {
#if defined(__x86_64__)
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return 77;
#endif
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string type, name, word;
    words >> type >> name;
    std::vector<double> v;
    while (words >> word) v.push_back(std::bit_cast<double>(std::stoull(word, nullptr, 16)));
    type == "d" ? tabfit::answer<double>(name, v) : tabfit::answer<float>(name, v);
  }
}

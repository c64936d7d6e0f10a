// bench/main.cpp - the benchmark program: every comparison with a peer library.
#include "bench/compare.hpp"
#include "bench/interpolation.hpp"

int main(int argc, char** argv) {
  tabfit::bench::Comparison comparison;
  comparison.seed = 20240229;
  tabfit::bench::add_interpolation(comparison);
  return tabfit::bench::run(comparison, argc, argv);
}

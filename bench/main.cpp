// bench/main.cpp - the benchmark program: every comparison with a peer library.
#include "bench/algebra.hpp"
#include "bench/compare.hpp"
#include "bench/fits.hpp"
#include "bench/front.hpp"
#include "bench/interpolation.hpp"
#include "bench/kernels.hpp"
#include "bench/peak.hpp"
#include "bench/solvers.hpp"

int main(int argc, char** argv) {
  tabfit::bench::hold_to(tabfit::bench::Kernels::TABFIT_BENCH_KERNELS);
  tabfit::bench::Comparison comparison;
  comparison.kernels = tabfit::bench::kernels_description();
  comparison.seed = 20240229;
  tabfit::bench::add_interpolation(comparison);
  tabfit::bench::add_fits(comparison);
  tabfit::bench::add_algebra(comparison);
  tabfit::bench::add_peak(comparison);
  tabfit::bench::add_solvers(comparison);
  tabfit::bench::add_front(comparison);
  return tabfit::bench::run(comparison, argc, argv);
}

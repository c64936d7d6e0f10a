// bench/peak.cpp - matrix products against the peak rate of fused multiply-adds.
#include "bench/peak.hpp"

#include "bench/kernels.hpp"
#include "bench/matrix.hpp"
#include "tabfit/engine.hpp"

#include <immintrin.h>

namespace tabfit::bench {
namespace {

using namespace engine;

// Enough independent sums to fill two units of four or five cycles, and few enough for the registers.
// Every sum ends as the exact number of its additions, so the caller sees that none was left out.

constexpr int chains = 12;

[[gnu::target("avx512f")]] double add_ones_avx512(long long count) {
  __m512d sum[chains];
  for (__m512d& s : sum) s = _mm512_setzero_pd();
  __m512d one = _mm512_set1_pd(1.0);
  for (long long k = 0; k < count; k += 8 * chains) {
    for (__m512d& s : sum) s = _mm512_fmadd_pd(one, one, s);
    __asm__ volatile("" : "+v"(one));  // keeps the compiler from forming products in advance
  }
  double total = 0.0;
  for (const __m512d& s : sum) {
    double lanes[8];
    _mm512_storeu_pd(lanes, s);
    for (const double lane : lanes) total += lane;
  }
  return total;
}

[[gnu::target("avx2,fma")]] double add_ones_avx2(long long count) {
  __m256d sum[chains];
  for (__m256d& s : sum) s = _mm256_setzero_pd();
  __m256d one = _mm256_set1_pd(1.0);
  for (long long k = 0; k < count; k += 4 * chains) {
    for (__m256d& s : sum) s = _mm256_fmadd_pd(one, one, s);
    __asm__ volatile("" : "+x"(one));
  }
  double total = 0.0;
  for (const __m256d& s : sum) {
    double lanes[4];
    _mm256_storeu_pd(lanes, s);
    for (const double lane : lanes) total += lane;
  }
  return total;
}

template <class Real>
Trial product(int n, unsigned seed, const char* name, double (*add_ones)(long long)) {
  struct Data {
    Matrix<Real> A, B, C;
    double total = 0.0;
  };
  auto data = std::make_shared<Data>(Data{{n, n}, {n, n}, {n, n}});
  Random random(seed);
  data->A.fill(random, -1, 1);
  data->B.fill(random, -1, 1);
  constexpr long long step = 8 * chains;  // a multiple of both loops'
  const long long count = (static_cast<long long>(n) * n * n + step - 1) / step * step;
  return {1.0,
          [=] { M_mm(data->A.table.data(), data->B.table.data(), n, n, n, data->C.table.data()); },
          {{name, [=] { data->total = add_ones(count); },
            [=] {
              return Agreement{std::fabs(data->total - static_cast<double>(count)), 0.0};
            }}}};
}

}  // namespace

void add_peak(Comparison& comparison) {
  const auto add = [&](const std::string& letter, auto prepare) {
    for (const int n : {128, 512})
      comparison.workloads.push_back({"M_mm" + letter + "/peak", n, [=] { return prepare(n); }});
  };
  const auto add_twins = [&](const char* name, double (*add_ones)(long long)) {
    const unsigned seed = comparison.seed;
    add("d", [=](int n) { return product<double>(n, seed, name, add_ones); });
    add("f", [=](int n) { return product<float>(n, seed, name, add_ones); });
  };
  const Kernels kernels = kernels_in_use();
  if (kernels == Kernels::avx512)
    add_twins("AVX-512 peak", add_ones_avx512);
  else if (kernels == Kernels::avx2)
    add_twins("AVX2 peak", add_ones_avx2);
}

}  // namespace tabfit::bench

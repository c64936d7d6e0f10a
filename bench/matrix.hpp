// bench/matrix.hpp - matrices as both sides read them, and random data.
#pragma once

#include "bench/compare.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace tabfit::bench {

template <class Real>
constexpr bool is_float = sizeof(Real) == sizeof(float);
template <class Real>
constexpr double epsilon = std::numeric_limits<Real>::epsilon();

/// A number of 0 <= u < 1, the same on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double operator()() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
  double operator()(double low, double high) { return low + (high - low) * (*this)(); }

 private:
  std::mt19937_64 engine_;
};

/// Memory that begins where a cache line does, which suits every library.
template <class Real>
struct LineAllocator {
  using value_type = Real;
  static constexpr std::align_val_t line{64};

  LineAllocator() = default;
  template <class Other>
  explicit LineAllocator(const LineAllocator<Other>&) {}
  Real* allocate(std::size_t n) { return static_cast<Real*>(::operator new(n * sizeof(Real), line)); }
  void deallocate(Real* p, std::size_t) { ::operator delete(p, line); }
  bool operator==(const LineAllocator&) const { return true; }
};

template <class Real>
using Block = std::vector<Real, LineAllocator<Real>>;

/// A matrix by columns, one behind the other. Peers read the data with the row count as leading
/// dimension; ours reads the same memory through a table of pointers to the columns.
template <class Real>
struct Matrix {
  int rows = 0, columns = 0;
  Block<Real> data;
  std::vector<Real*> table;

  Matrix() = default;
  Matrix(int m, int n)
      : rows(m), columns(n), data(static_cast<std::size_t>(m) * static_cast<std::size_t>(n)) {
    reset_table();
  }
  Matrix(const Matrix& other) : rows(other.rows), columns(other.columns), data(other.data) {
    reset_table();
  }
  Matrix& operator=(const Matrix& other) {
    rows = other.rows;
    columns = other.columns;
    data = other.data;
    reset_table();
    return *this;
  }
  ~Matrix() = default;

  void reset_table() {
    table.resize(static_cast<std::size_t>(columns));
    for (std::size_t j = 0; j < table.size(); ++j)
      table[j] = data.data() + j * static_cast<std::size_t>(rows);
  }

  /// Element (i, j), through the pointers as our operations left them.
  Real& operator()(int i, int j) { return table[static_cast<std::size_t>(j)][i]; }
  Real operator()(int i, int j) const { return table[static_cast<std::size_t>(j)][i]; }

  void fill(Random& random, double low, double high) {
    for (Real& a : data) a = static_cast<Real>(random(low, high));
  }
};

/// The greatest difference of two sequences of n numbers, relative to the greatest magnitude of the
/// second. NaN is kept.
template <class Ours, class Theirs>
double relative_difference(const Ours& ours, const Theirs& theirs, std::size_t n) {
  double greatest = 0.0, scale = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    const double d = std::fabs(static_cast<double>(ours[k]) - static_cast<double>(theirs[k]));
    if (!(d <= greatest)) greatest = d;
    scale = std::max(scale, std::fabs(static_cast<double>(theirs[k])));
  }
  return greatest / scale;
}

}  // namespace tabfit::bench

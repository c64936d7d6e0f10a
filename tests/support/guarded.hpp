// tests/support/guarded.hpp - an output array between guard zones, filled with a poison value first.
#pragma once

#include <bit>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

/// n elements of T, all poison, between two zones of poison. The poison is a NaN of a fixed pattern,
/// compared by its bits, or a fixed int: no operation under test produces it.
template <class T>
class Guarded {
 public:
  explicit Guarded(int n) : all_(static_cast<std::size_t>(n) + 2 * zone, poison()), n_(n) {}

  T* data() { return all_.data() + zone; }
  T& operator[](int i) { return data()[i]; }
  int size() const { return n_; }
  std::span<T> span() { return {data(), static_cast<std::size_t>(n_)}; }

  /// True if nothing was written outside the n elements.
  bool zones_intact() const {
    for (std::size_t i = 0; i < zone; ++i)
      if (!is_poison(all_[i]) || !is_poison(all_[all_.size() - 1 - i])) return false;
    return true;
  }
  /// True if element i still holds the poison.
  bool untouched(int i) const { return is_poison(all_[zone + static_cast<std::size_t>(i)]); }
  /// True if elements from..size-1 still hold the poison.
  bool untouched_from(int from) const {
    for (int i = from; i < n_; ++i)
      if (!untouched(i)) return false;
    return true;
  }

  static T poison() {
    if constexpr (std::is_same_v<T, float>)
      return std::bit_cast<float>(std::uint32_t{0x7fc5a5a5});
    else if constexpr (std::is_same_v<T, double>)
      return std::bit_cast<double>(std::uint64_t{0x7ff8a5a5a5a5a5a5});
    else
      return static_cast<T>(0x5a5a5a5a);
  }
  static bool is_poison(T v) {
    if constexpr (std::is_same_v<T, float>)
      return std::bit_cast<std::uint32_t>(v) == 0x7fc5a5a5;
    else if constexpr (std::is_same_v<T, double>)
      return std::bit_cast<std::uint64_t>(v) == 0x7ff8a5a5a5a5a5a5;
    else
      return v == poison();
  }

 private:
  static constexpr std::size_t zone = 16;
  std::vector<T> all_;
  int n_;
};

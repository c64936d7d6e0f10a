// tests/support/fenced.hpp - arrays beside protected memory: an access one place too far ends the
// program.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/guarded.hpp"

/// A signalling NaN, for places that must not be read. Results computed from it are NaN, but no poison.
template <class Real>
Real signal_of() {
  if constexpr (sizeof(Real) == 4)
    return std::bit_cast<Real>(std::uint32_t{0x7f85a5a5});
  else
    return std::bit_cast<Real>(std::uint64_t{0x7ff5a5a5a5a5a5a5});
}

/// Runs of pages between two protected pages. Released runs are kept and used again: mapping memory
/// takes longer than most tests.
class Fences {
 public:
  struct Run {
    char *first = nullptr, *last = nullptr;
  };

  static Run take(std::size_t bytes) {
    const std::size_t page = page_size(), pages = std::bit_ceil((bytes + page - 1) / page);
    auto& free = kept()[pages * page];
    if (!free.empty()) {
      const Run run = free.back();
      free.pop_back();
      return run;
    }
    void* all = mmap(nullptr, (pages + 2) * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) throw std::bad_alloc();
    char* first = static_cast<char*>(all) + page;
    if (mprotect(first, pages * page, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    return {first, first + pages * page};
  }
  static void release(Run run) {
    kept()[static_cast<std::size_t>(run.last - run.first)].push_back(run);
  }

 private:
  static std::size_t page_size() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
  /// By size in bytes; for as long as the program runs.
  static std::map<std::size_t, std::vector<Run>>& kept() {
    static std::map<std::size_t, std::vector<Run>> runs;
    return runs;
  }
};

/// Which fence an array touches.
enum class Touching { end, begin };

/// Room for arrays of up to `most` elements between two fences.
template <class T>
class Fenced {
 public:
  explicit Fenced(int most) : run_(Fences::take((static_cast<std::size_t>(most) + zone) * sizeof(T))) {
    lay(0);
  }
  Fenced(Fenced&& other) noexcept
      : run_(std::exchange(other.run_, {})),
        data_(other.data_),
        filler_(other.filler_),
        n_(other.n_),
        touching_(other.touching_) {}
  Fenced& operator=(Fenced&&) = delete;
  ~Fenced() {
    if (run_.first) Fences::release(run_);
  }

  /// n elements that touch a fence. They hold the filler, and so do the places at their other end.
  T* lay(int n, T filler = Guarded<T>::poison(), Touching touching = Touching::end) {
    T *first = reinterpret_cast<T*>(run_.first), *last = reinterpret_cast<T*>(run_.last);
    n_ = n;
    filler_ = filler;
    touching_ = touching;
    data_ = touching == Touching::end ? last - n : first;
    std::fill_n(touching == Touching::end ? data_ - zone : data_, zone + n, filler);
    return data_;
  }

  T* data() { return data_; }
  T& operator[](int i) { return data_[i]; }
  int size() const { return n_; }

  /// True if element i still holds the bits of the filler.
  bool untouched(int i) const { return same(data_[i], filler_); }
  /// True if the places at the other end still hold the filler.
  bool zone_intact() const {
    const T* first = touching_ == Touching::end ? data_ - zone : data_ + n_;
    return std::all_of(first, first + zone, [&](const T& v) { return same(v, filler_); });
  }

 private:
  static constexpr int zone = 32;

  static bool same(const T& a, const T& b) {
    using Bits = std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>;
    return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b);
  }

  Fences::Run run_;
  T* data_ = nullptr;
  T filler_{};
  int n_ = 0;
  Touching touching_ = Touching::end;
};

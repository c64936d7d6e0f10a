// kernels/scalar/scratch.hpp - local owners of scratch memory, one for each allocator.
//
// An operation takes scratch from the allocator that its declaration names, and releases each block by
// the same allocator. Locals die newest first, which is the order of release that the library promises.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace tabfit {

struct CRelease {
  void operator()(void* block) const noexcept { std::free(block); }
};

/// From calloc or malloc, released with free.
template <class T>
using CArray = std::unique_ptr<T[], CRelease>;

/// From new[], released with delete[].
template <class T>
using NewArray = std::unique_ptr<T[]>;

/// A count as a number of elements; a negative one asks for none.
inline std::size_t elements(std::ptrdiff_t n) noexcept {
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

/// n zeroed elements from calloc. Null if memory runs out, or n < 0.
template <class T>
CArray<T> c_array(std::ptrdiff_t n) noexcept {
  return CArray<T>(n < 0 ? nullptr : static_cast<T*>(std::calloc(elements(n), sizeof(T))));
}

/// n elements from malloc. Null if memory runs out.
template <class T>
CArray<T> malloc_array(std::ptrdiff_t n) noexcept {
  return CArray<T>(static_cast<T*>(std::malloc(elements(n) * sizeof(T))));
}

/// n elements from new[]. Null if memory runs out. A negative count asks for none: even the
/// non-throwing form of the operator would throw for it.
template <class T>
NewArray<T> new_array(std::ptrdiff_t n) noexcept {
  return NewArray<T>(new (std::nothrow) T[elements(n)]);
}

/// Bytes of n elements.
template <class T>
constexpr std::ptrdiff_t sizeof_n(std::ptrdiff_t n) noexcept {
  return n * std::ptrdiff_t(sizeof(T));
}

/// Arrays of several types taken from one piece of memory, one behind the other. Each must leave the
/// next one aligned. The owner of the memory releases it.
class Block {
 public:
  explicit Block(std::byte* memory) noexcept : next_(memory) {}

  template <class T>
  T* take(std::ptrdiff_t n) noexcept {
    std::byte* first = next_;
    next_ += sizeof_n<T>(n);
    return std::launder(reinterpret_cast<T*>(first));  // bytes hold whatever is written into them
  }

 private:
  std::byte* next_;
};

}  // namespace tabfit

// tests/support/allocation_probe.cpp - the replaced allocators. Needs the GNU C library.
//
// Compiled without sanitizers: they start later than the first request of a program. Under valgrind,
// give it --soname-synonyms=somalloc=nouserintercepts, or it replaces the allocators once more.
#include "tests/support/allocation_probe.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

// The C library's own functions, and those of a sanitizer's run-time library, null where there is none.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
[[gnu::weak]] void* __interceptor_malloc(std::size_t);
[[gnu::weak]] void* __interceptor_calloc(std::size_t, std::size_t);
[[gnu::weak]] void* __interceptor_realloc(void*, std::size_t);
[[gnu::weak]] void* __interceptor_memalign(std::size_t, std::size_t);
[[gnu::weak]] void __interceptor_free(void*);
}

namespace {

enum class Kind { malloc, calloc, new_array, other };

struct Block {
  void* start;
  std::size_t bytes;
  Kind kind;
  bool live;
  int request;
};

// Of the one probe that may be under way; no memory may be asked for here.
constexpr int capacity = 1 << 15;
Block blocks[capacity];
int releases[capacity];
int block_count, release_count, request_count, refused_count, mismatch_count, refuse_at;
std::size_t largest, limit;
bool in_order;
thread_local bool probing = false;

void* raw_malloc(std::size_t bytes) {
  return __interceptor_malloc ? __interceptor_malloc(bytes) : __libc_malloc(bytes);
}
void* raw_zeroed(std::size_t bytes) {
  return __interceptor_calloc ? __interceptor_calloc(1, bytes) : __libc_calloc(1, bytes);
}
void* raw_aligned(std::size_t alignment, std::size_t bytes) {
  return __interceptor_memalign ? __interceptor_memalign(alignment, bytes)
                                : __libc_memalign(alignment, bytes);
}
void* raw_realloc(void* start, std::size_t bytes) {
  return __interceptor_realloc ? __interceptor_realloc(start, bytes) : __libc_realloc(start, bytes);
}
void raw_free(void* start) {
  if (__interceptor_free)
    __interceptor_free(start);
  else
    __libc_free(start);
}

[[noreturn]] void give_up(const char* why) {
  std::fprintf(stderr, "allocation probe: %s\n", why);
  std::abort();
}

void* take(Kind kind, std::size_t bytes, std::size_t alignment = 0) {
  if (probing) {
    ++request_count;
    if (bytes > largest) largest = bytes;
    if (request_count == refuse_at || bytes > limit) {
      ++refused_count;
      errno = ENOMEM;
      return nullptr;
    }
  }
  void* start = alignment              ? raw_aligned(alignment, bytes)
                : kind == Kind::calloc ? raw_zeroed(bytes)
                                       : raw_malloc(bytes);
  if (probing && start) {
    if (block_count == capacity) give_up("more blocks than it can count");
    blocks[block_count++] = {start, bytes, kind, true, request_count};
  }
  return start;
}

void give(Kind kind, void* start) {
  if (!start) return;
  if (probing) {
    int newest = block_count - 1;
    while (newest >= 0 && !blocks[newest].live) --newest;
    int found = newest;
    while (found >= 0 && !(blocks[found].live && blocks[found].start == start)) --found;
    if (found >= 0) {  // else the block is older than the probe
      const bool same = (kind == Kind::malloc || kind == Kind::calloc)
                            ? blocks[found].kind == Kind::malloc || blocks[found].kind == Kind::calloc
                            : blocks[found].kind == kind;
      mismatch_count += !same;
      in_order = in_order && found == newest;
      blocks[found].live = false;
      releases[release_count++] = blocks[found].request;
    }
  }
  raw_free(start);
}

void count(Usage& usage, const Block& block) {
  Amount& amount = block.kind == Kind::malloc      ? usage.malloc
                   : block.kind == Kind::calloc    ? usage.calloc
                   : block.kind == Kind::new_array ? usage.new_array
                                                   : usage.other;
  ++amount.blocks;
  amount.bytes += block.bytes;
}

void* take_or_throw(Kind kind, std::size_t bytes, std::size_t alignment = 0) {
  if (void* start = take(kind, bytes, alignment)) return start;
  throw std::bad_alloc();
}

}  // namespace

namespace allocation_probe {

void begin(int number, std::size_t bytes) {
  if (probing) give_up("one at a time");
  block_count = release_count = request_count = refused_count = mismatch_count = 0;
  largest = 0;
  refuse_at = number;
  limit = bytes;
  in_order = true;
  probing = true;
}

Usage live() {
  Usage usage;
  for (int i = 0; probing && i < block_count; ++i)
    if (blocks[i].live) count(usage, blocks[i]);
  return usage;
}

Account end() {
  if (!probing) give_up("ends without a beginning");
  probing = false;
  Account account;
  for (int i = block_count - 1; i >= 0; --i) {
    count(account.taken, blocks[i]);
    if (!blocks[i].live) continue;
    count(account.kept, blocks[i]);
    raw_free(blocks[i].start);
    blocks[i].live = false;
  }
  account.requests = request_count;
  account.refused = refused_count;
  account.largest = largest;
  account.releases.assign(releases, releases + release_count);
  account.newest_first = in_order;
  account.mismatches = mismatch_count;
  return account;
}

}  // namespace allocation_probe

extern "C" {

void* malloc(std::size_t bytes) noexcept { return take(Kind::malloc, bytes); }

void* calloc(std::size_t n, std::size_t size) noexcept {
  std::size_t bytes;
  if (__builtin_mul_overflow(n, size, &bytes)) {
    errno = ENOMEM;
    return nullptr;
  }
  return take(Kind::calloc, bytes);
}

void* realloc(void* start, std::size_t bytes) noexcept {
  if (!probing) return raw_realloc(start, bytes);
  if (!start) return take(Kind::malloc, bytes);
  for (int i = block_count - 1; i >= 0; --i) {
    if (!blocks[i].live || blocks[i].start != start) continue;
    const std::size_t old = blocks[i].bytes;
    void* moved = take(Kind::malloc, bytes);
    if (!moved) return nullptr;
    std::memcpy(moved, start, old < bytes ? old : bytes);
    give(Kind::malloc, start);
    return moved;
  }
  return raw_realloc(start, bytes);  // older than the probe
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return take(Kind::malloc, bytes, alignment);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t bytes) noexcept {
  void* start = take(Kind::malloc, bytes, alignment);
  if (!start) return ENOMEM;
  *out = start;
  return 0;
}

void free(void* start) noexcept { give(Kind::malloc, start); }

}  // extern "C"

void* operator new(std::size_t bytes) { return take_or_throw(Kind::other, bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return take(Kind::other, bytes);
}
void operator delete(void* start) noexcept { give(Kind::other, start); }
void operator delete(void* start, std::size_t) noexcept { give(Kind::other, start); }
void operator delete(void* start, const std::nothrow_t&) noexcept { give(Kind::other, start); }

void* operator new[](std::size_t bytes) { return take_or_throw(Kind::new_array, bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return take(Kind::new_array, bytes);
}
void operator delete[](void* start) noexcept { give(Kind::new_array, start); }
void operator delete[](void* start, std::size_t) noexcept { give(Kind::new_array, start); }
void operator delete[](void* start, const std::nothrow_t&) noexcept { give(Kind::new_array, start); }

void* operator new(std::size_t bytes, std::align_val_t a) {
  return take_or_throw(Kind::other, bytes, static_cast<std::size_t>(a));
}
void* operator new(std::size_t bytes, std::align_val_t a, const std::nothrow_t&) noexcept {
  return take(Kind::other, bytes, static_cast<std::size_t>(a));
}
void operator delete(void* start, std::align_val_t) noexcept { give(Kind::other, start); }
void operator delete(void* start, std::size_t, std::align_val_t) noexcept { give(Kind::other, start); }
void operator delete(void* start, std::align_val_t, const std::nothrow_t&) noexcept {
  give(Kind::other, start);
}
void* operator new[](std::size_t bytes, std::align_val_t a) {
  return take_or_throw(Kind::new_array, bytes, static_cast<std::size_t>(a));
}
void* operator new[](std::size_t bytes, std::align_val_t a, const std::nothrow_t&) noexcept {
  return take(Kind::new_array, bytes, static_cast<std::size_t>(a));
}
void operator delete[](void* start, std::align_val_t) noexcept { give(Kind::new_array, start); }
void operator delete[](void* start, std::size_t, std::align_val_t) noexcept {
  give(Kind::new_array, start);
}
void operator delete[](void* start, std::align_val_t, const std::nothrow_t&) noexcept {
  give(Kind::new_array, start);
}

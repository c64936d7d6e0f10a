// tests/support/stack.hpp - how much stack a call takes.
#pragma once

#include <cstddef>
#include <cstring>
#include <vector>

#include <pthread.h>

/// Bytes of stack that call takes beyond what a thread takes by itself. It is called twice: what the
/// first call of a function takes to be found in its library is not counted.
template <class Call>
std::size_t stack_taken_by(Call call) {
  constexpr std::size_t size = std::size_t{4} << 20, page = 65536;
  constexpr int paint = 0xa5;
  std::vector<unsigned char> memory(size + page);
  const auto touched = [&](auto work) {
    auto* start = memory.data();
    start += (page - reinterpret_cast<std::size_t>(start) % page) % page;
    std::memset(start, paint, size);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, start, size);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
      (*static_cast<decltype(work)*>(argument))();
      return nullptr;
    };
    pthread_create(&thread, &attributes, run, &work);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    std::size_t left = 0;
    while (left < size && start[left] == paint) ++left;
    return size - left;
  };
  call();
  return touched(call) - touched([] {});
}

// tests/support/watchdog.hpp - calls that may never return, in a child process with limits.
//
// The child is a copy of the test program and sees all that the test has prepared. The parent sees only
// its changes to Shared arrays. Checks work in the child too: a failed one is printed, and the call
// counts as failed. What the child leaves allocated goes with it.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <type_traits>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

/// True if the address space can be limited; under a sanitizer, which needs terabytes, it cannot.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool address_space_can_be_limited = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
inline constexpr bool address_space_can_be_limited = false;
#else
inline constexpr bool address_space_can_be_limited = true;
#endif
#else
inline constexpr bool address_space_can_be_limited = true;
#endif

/// n elements, zero at first, which parent and child share.
template <class T>
class Shared {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  explicit Shared(int n = 1) : bytes_(static_cast<std::size_t>(n) * sizeof(T)) {
    void* start = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) std::abort();
    data_ = static_cast<T*>(start);
  }
  ~Shared() { munmap(data_, bytes_); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  T* data() { return data_; }
  T& operator[](int i) { return data_[i]; }
  T& operator*() { return *data_; }
  T* operator->() { return data_; }

 private:
  std::size_t bytes_;
  T* data_;
};

/// How a call in a child ended.
enum class Ended {
  returned,
  failed,       ///< returned, with a check failed in the child
  out_of_time,  ///< stopped: it had used its processor time
  crashed,      ///< ended by a signal, or by an exit inside the call
};

inline std::ostream& operator<<(std::ostream& out, Ended ended) {
  constexpr const char* names[] = {"returned", "failed", "out of time", "crashed"};
  return out << names[static_cast<int>(ended)];
}

inline constexpr std::size_t no_limit = std::numeric_limits<std::size_t>::max();

/// Runs call in a child with a limit of processor time, in seconds, and of address space, in bytes.
/// Load on the machine does not use up processor time. Requests for memory beyond the limit are
/// refused, and the call goes on.
template <class Call>
Ended watch(double seconds, std::size_t bytes, Call call) {
  constexpr int check_failed = 101;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) {
    ADD_FAILURE() << "no child process";
    return Ended::crashed;
  }
  if (child == 0) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPROF, SIG_DFL);
    std::signal(SIGALRM, SIG_DFL);
    if (bytes != no_limit && address_space_can_be_limited) {
      const rlimit space = {bytes, bytes};
      if (setrlimit(RLIMIT_AS, &space) != 0) _exit(1);
    }
    itimerval time = {};
    time.it_value.tv_sec = static_cast<time_t>(seconds);
    time.it_value.tv_usec =
        static_cast<suseconds_t>((seconds - static_cast<double>(time.it_value.tv_sec)) * 1e6);
    if (setitimer(ITIMER_PROF, &time, nullptr) != 0) _exit(1);
    alarm(static_cast<unsigned>(20 * seconds) + 60);  // in case the child sleeps
    const bool failed_before = testing::Test::HasFailure();
    call();
    std::fflush(nullptr);
    _exit(!failed_before && testing::Test::HasFailure() ? check_failed : 0);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) {
    ADD_FAILURE() << "the child process was lost";
    return Ended::crashed;
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return Ended::returned;
  if (WIFEXITED(status) && WEXITSTATUS(status) == check_failed) return Ended::failed;
  const bool timer =
      WIFSIGNALED(status) && (WTERMSIG(status) == SIGPROF || WTERMSIG(status) == SIGALRM);
  return timer ? Ended::out_of_time : Ended::crashed;
}

/// Runs call in a child. The call must return and all checks in it must hold. The limits only protect
/// the machine from a defect.
template <class Call>
void expect_return(double seconds, Call call) {
  EXPECT_EQ(watch(seconds, std::size_t{4} << 30, call), Ended::returned)
      << "in a child process; failed checks are printed above";
}

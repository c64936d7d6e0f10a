// tests/test_stack_of_fits.cpp - how much of the stack interpolation and fits take.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/stack.hpp"
#include "tests/support/twins.hpp"

namespace {

/// The most that calls of each operation take.
class StackTable {
 public:
  template <class Call>
  void measure(const char* operation, Call work) {
    std::size_t& most = most_[operation];
    most = std::max(most, stack_taken_by(work));
  }
  void expect_less(const char* operation, double kibibytes) const {
    const double taken = static_cast<double>(most_.at(operation)) / 1024;
    std::printf("%-10s %6.1f KiB of stack\n", operation, taken);
    EXPECT_LT(taken, kibibytes) << operation;
  }

 private:
  std::map<std::string, std::size_t> most_;
};

/// A table of m points, with room for every result.
template <class Real>
class Calls {
 public:
  Calls(StackTable& stack, int m)
      : stack_(stack), m_(m), C_(4 * size(m)), s_(size(m) + 20), s1_(s_), s2_(s_), a_(s_) {
    for (int i = 0; i < m; ++i) {
      x_.push_back(static_cast<Real>(i) / 8);
      y_.push_back(static_cast<Real>(std::cosh(3.0 * i / m)));
    }
    t_ = x_[1] + 0.01;
  }

  void interpolate() {
    Real *const x = x_.data(), *const s = s_.data(), *const C = C_.data();
    stack_.measure("lintval", [&] { AX_lintval(m_, x, y_.data(), t_, &value_); });
    stack_.measure("linttab", [&] { AX_linttab(m_, x, y_.data(), m_, x, s); });
    std::copy(y_.begin(), y_.end(), C);
    stack_.measure("intspl3", [&] { AX_intspl3(x, C, m_); });
    stack_.measure("intspl3val", [&] { AX_intspl3val(x, C, m_, t_, &value_, &slope_, &curvature_); });
    stack_.measure("intspl3tab", [&] { AX_intspl3tab(x, C, m_, m_, x, s, s1_.data(), s2_.data()); });
  }

  void fit_spline(int n) {
    Real *const x = x_.data(), *const y = y_.data(), *const a = a_.data();
    Real *const s = s_.data(), *const s1 = s1_.data(), *const s2 = s2_.data();
    stack_.measure("d2fcs", [&] { AX_freed2fcs(AX_d2fcs<Real>(n)); });
    Real** T = AX_d2fcs<Real>(n);
    stack_.measure("apxcoef", [&] { EXPECT_EQ(AX_apxcoef(T, n, m_, x, y, a), 0); });
    stack_.measure("apxval", [&] { AX_apxval(T, n, a, t_, &value_, &slope_, &curvature_); });
    stack_.measure("apxvals", [&] { AX_apxvals(T, n, a, m_, x, s, s1, s2); });
    AX_freed2fcs(T);
    stack_.measure("splsmoo", [&] { EXPECT_EQ(AX_splsmoo(n, m_, x, y, s, s1, s2), 0); });
    stack_.measure("splvals", [&] { EXPECT_EQ(AX_splvals(n, m_, x, y, m_, x, s, s1, s2), 0); });
  }

  void fit_bounded_spline(int n, double bound) {
    Real* const none = nullptr;
    stack_.measure("splconv", [&] {
      allocation_probe::begin();
      AX_splconv(n, bound, m_, x_.data(), y_.data(), m_, x_.data(), s_.data(), none, none);
      allocation_probe::end();
    });
  }

  void fit_polynomial(int p) {
    Real *const y = y_.data(), *const a = a_.data();
    Real *const s = s_.data(), *const s1 = s1_.data(), *const s2 = s2_.data();
    auto data = x_, v = x_;
    stack_.measure("polapxcoef", [&] {
      data = x_;
      AX_polapxcoef(p, m_, data.data(), y, a);
    });
    data = x_;
    if (AX_polapxcoef(p, m_, data.data(), y, a) == 0)
      stack_.measure("polapxval", [&] {
        v = x_;
        AX_polapxval(p, a, m_, v.data(), s, s1, s2);
      });
    stack_.measure("polyapx", [&] {
      data = x_;
      v = x_;
      AX_polyapx(p, m_, data.data(), y, m_, v.data(), s, s1, s2);
    });
  }

 private:
  static std::size_t size(int m) { return static_cast<std::size_t>(m); }

  StackTable& stack_;
  int m_;
  std::vector<Real> x_, y_, C_, s_, s1_, s2_, a_;
  double t_ = 0, value_ = 0, slope_ = 0, curvature_ = 0;
};

TWIN_TEST(Stack, OfInterpolationAndFitsIsNoMoreThanTheirHeaderSays) {
#ifndef NDEBUG
  GTEST_SKIP() << "frames are larger without optimisation, and with sanitizers";
#endif
  StackTable stack;
  for (const int m : {9, 24, 70, 300, 600}) {
    Calls<Real> calls(stack, m);
    calls.interpolate();
    for (const int n : {1, 5, 20, 60}) {
      if (n > m / 3) continue;
      calls.fit_spline(n);
      if (n <= 5)
        for (const double bound : {0.0, 0.5})  // without and with knots that bind
          if (bound == 0 || sizeof(Real) == 4) calls.fit_bounded_spline(n, bound);
      if (n >= 2) calls.fit_polynomial(n);
    }
  }
  for (const char* operation :
       {"lintval", "linttab", "intspl3", "intspl3val", "intspl3tab", "d2fcs", "polapxval"})
    stack.expect_less(operation, 4);
  for (const char* operation : {"apxcoef", "polapxcoef", "polyapx"}) stack.expect_less(operation, 210);
  for (const char* operation : {"apxval", "apxvals", "splsmoo", "splvals", "splconv"})
    stack.expect_less(operation, 300);
}

}  // namespace

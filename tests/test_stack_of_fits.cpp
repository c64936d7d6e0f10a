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

TWIN_TEST(Stack, OfInterpolationAndFitsIsNoMoreThanTheirHeaderSays) {
#ifndef NDEBUG
  GTEST_SKIP() << "frames are larger without optimisation, and with sanitizers";
#endif
  StackTable stack;
  Real* const none = nullptr;
  for (const int m : {9, 24, 70, 300, 600}) {
    std::vector<Real> x, y, C(static_cast<std::size_t>(4 * m));
    for (int i = 0; i < m; ++i) {
      x.push_back(static_cast<Real>(i) / 8);
      y.push_back(static_cast<Real>(std::cosh(3.0 * i / m)));
    }
    const std::size_t places = static_cast<std::size_t>(m + 20);
    std::vector<Real> s(places), s1(places), s2(places), a(places);
    double value = 0, slope = 0, curvature = 0;
    const double t = x[1] + 0.01;
    const auto put_ordinates = [&] { std::copy(y.begin(), y.end(), C.begin()); };

    stack.measure("lintval", [&] { AX_lintval(m, x.data(), y.data(), t, &value); });
    stack.measure("linttab", [&] { AX_linttab(m, x.data(), y.data(), m, x.data(), s.data()); });
    put_ordinates();
    stack.measure("intspl3", [&] { AX_intspl3(x.data(), C.data(), m); });
    stack.measure("intspl3val",
                  [&] { AX_intspl3val(x.data(), C.data(), m, t, &value, &slope, &curvature); });
    stack.measure("intspl3tab", [&] {
      AX_intspl3tab(x.data(), C.data(), m, m, x.data(), s.data(), s1.data(), s2.data());
    });
    for (const int n : {1, 5, 20, 60}) {
      if (n > m / 3) continue;
      stack.measure("d2fcs", [&] { AX_freed2fcs(AX_d2fcs<Real>(n)); });
      Real** T = AX_d2fcs<Real>(n);
      stack.measure("apxcoef",
                    [&] { EXPECT_EQ(AX_apxcoef(T, n, m, x.data(), y.data(), a.data()), 0); });
      stack.measure("apxval", [&] { AX_apxval(T, n, a.data(), t, &value, &slope, &curvature); });
      stack.measure("apxvals",
                    [&] { AX_apxvals(T, n, a.data(), m, x.data(), s.data(), s1.data(), s2.data()); });
      AX_freed2fcs(T);
      stack.measure("splsmoo", [&] {
        EXPECT_EQ(AX_splsmoo(n, m, x.data(), y.data(), s.data(), s1.data(), s2.data()), 0);
      });
      stack.measure("splvals", [&] {
        EXPECT_EQ(AX_splvals(n, m, x.data(), y.data(), m, x.data(), s.data(), s1.data(), s2.data()), 0);
      });
      if (n <= 5)
        for (const double bound : {0.0, 0.5})  // without and with knots that bind
          if (bound == 0 || sizeof(Real) == 4)
            stack.measure("splconv", [&] {
              allocation_probe::begin();
              AX_splconv(n, bound, m, x.data(), y.data(), m, x.data(), s.data(), none, none);
              allocation_probe::end();
            });
      if (n < 2) continue;
      auto data = x, v = x;
      stack.measure("polapxcoef", [&] {
        data = x;
        AX_polapxcoef(n, m, data.data(), y.data(), a.data());
      });
      data = x;
      if (AX_polapxcoef(n, m, data.data(), y.data(), a.data()) == 0)
        stack.measure("polapxval", [&] {
          v = x;
          AX_polapxval(n, a.data(), m, v.data(), s.data(), s1.data(), s2.data());
        });
      stack.measure("polyapx", [&] {
        data = x;
        v = x;
        AX_polyapx(n, m, data.data(), y.data(), m, v.data(), s.data(), s1.data(), s2.data());
      });
    }
  }
  for (const char* operation :
       {"lintval", "linttab", "intspl3", "intspl3val", "intspl3tab", "d2fcs", "polapxval"})
    stack.expect_less(operation, 4);
  for (const char* operation : {"apxcoef", "polapxcoef", "polyapx"}) stack.expect_less(operation, 200);
  for (const char* operation : {"apxval", "apxvals", "splsmoo", "splvals", "splconv"})
    stack.expect_less(operation, 300);
}

}  // namespace

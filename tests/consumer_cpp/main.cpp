// Interpolates a straight line, through the installed headers and library.
#include <tabfit/tabfit.h>

#include <cstdio>
#include <vector>

static_assert(noexcept(AX_intspl3d(nullptr, nullptr, 0)), "the C++ face promises not to throw");

int main() {
  const std::vector<double> x{0, 1, 3};
  std::vector<double> C(4 * x.size());
  C[0] = 1, C[1] = 3, C[2] = 7;
  double s = 0, s1 = 0, s2 = 0;
  const int n = static_cast<int>(x.size());
  if (AX_intspl3d(x.data(), C.data(), n) != AX_INTSPL3_OK ||
      AX_intspl3vald(x.data(), C.data(), n, 2, &s, &s1, &s2) != AX_INTSPL3VAL_OK || s != 5 || s1 != 2) {
    std::fprintf(stderr, "consumer_cpp: got %g with slope %g, not 5 and 2\n", s, s1);
    return 1;
  }
  std::printf("consumer_cpp: tabfit %d.%d.%d answers\n", TABFIT_VERSION_MAJOR, TABFIT_VERSION_MINOR,
              TABFIT_VERSION_PATCH);
}

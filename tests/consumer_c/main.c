/* Interpolates a straight line, through the installed headers and library. */
#include <stdio.h>
#include <string.h>
#include <tabfit/tabfit.h>

int main(void) {
  const float x[3] = {0, 1, 3}, y[3] = {1, 3, 7};
  double result = 0;
  if (AX_lintvalf(3, x, y, 2, &result) != AX_LINTVAL_OK || result != 5) {
    fprintf(stderr, "consumer_c: got %g, not 5\n", result);
    return 1;
  }
  printf("consumer_c: tabfit %s answers\n", TABFIT_VERSION_STRING);
  return strlen(TABFIT_VERSION_STRING) < 5;
}

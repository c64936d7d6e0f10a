/* The square root from a table of eight values: by straight lines, and by a cubic spline. */
#include <math.h>
#include <stdio.h>
#include <tabfit/tabfit.h>

int main(void) {
  const double x[8] = {1, 2, 3, 4, 5, 6, 7, 8}, at[2] = {2.5, 4.5};
  double C[4 * 8], linear[2], spline[2], slope[2];

  for (int i = 0; i < 8; ++i) C[i] = sqrt(x[i]); /* the ordinates; the spline goes behind them */
  if (AX_linttabd(8, x, C, 2, at, linear) != AX_LINTTAB_OK) return 1;
  if (AX_intspl3tabd(x, C, 8, 2, at, spline, slope, NULL) != AX_INTSPL3TAB_OK) return 1;

  for (int j = 0; j < 2; ++j)
    printf("sqrt(%g) = %.4f: linear %.4f, spline %.4f, its slope %.4f\n", at[j], sqrt(at[j]), linear[j],
           spline[j], slope[j]);
  return fabs(spline[0] - sqrt(2.5)) > 0.001;
}

/* Non-negative least squares in double precision that always returns. Ls_cnnd does not return if a
 * variable has to be dropped again, as here. So the positive variables are found in single precision
 * and their values in double precision, and the result is checked by the conditions of a solution:
 *
 *     x >= 0,   w = A^T (b - A x) <= 0,   w(j) = 0 where x(j) > 0.
 *
 * Ls_cnnf gets a column of zeros more. Without it a variable that is dropped while all others are
 * positive leaves a wrong value behind (here x(1) = 0.5 instead of 0).
 *
 * Ls_cnnf may fail, or find a wrong set of positive variables (if some w(j) is within 2e-6 of zero):
 * the checks find both. It may not return if there are fewer rows than unknowns or columns nearly
 * equal (tabfit/least_squares.h says how often): a host with such data makes that call in a process
 * that it can stop. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <tabfit/tabfit.h>

enum { m = 4, n = 3 };

/* Column by column. By hand: x = (2, 0, 3), b - A x = (0, -1, -1, 1), w = (0, -2, 0). */
static const double A[n][m] = {{1, 0, 1, 1}, {0, 2, 2, 2}, {1, 1, 0, 1}}, b[m] = {5, 2, 1, 6};

int main(void) {
  float single[n + 2][m] = {{0}}, *F[n + 2], found[n + 1], residual[m], rnf;
  double passive[n + 1][m], *D[n + 1], x[n] = {0, 0, 0}, rn = 0, size = 0;
  int variable[n], k = 0, status;

  for (int j = 0; j < n + 2; ++j) F[j] = single[j]; /* column n stays zero */
  for (int i = 0; i < m; ++i) {
    for (int j = 0; j < n; ++j) single[j][i] = (float)A[j][i];
    single[n + 1][i] = (float)b[i];
    size += b[i] * b[i];
  }
  status = Ls_cnnf(F, m, n + 1, found, residual, &rnf);
  if (status != LS_CNN_OK && status != LS_CNN_ZERO) return EXIT_FAILURE; /* ZERO is judged below */

  for (int j = 0; j < n; ++j)
    if (status == LS_CNN_OK && found[j] > 0) variable[k++] = j;
  for (int p = 0; p <= k; ++p) {
    D[p] = passive[p];
    for (int i = 0; i < m; ++i) passive[p][i] = p < k ? A[variable[p]][i] : b[i];
  }
  if (k > 0 && Ls_d(D, m, k, &rn) != LS_OK) return EXIT_FAILURE; /* the set is dependent */
  for (int p = 0; p < k; ++p) x[variable[p]] = D[k][p];

  for (int j = 0; j < n; ++j) {
    double w = 0;
    for (int i = 0; i < m; ++i) {
      double r = b[i];
      for (int l = 0; l < n; ++l) r -= A[l][i] * x[l];
      w += A[j][i] * r;
    }
    printf("x(%d) = %.12f   w(%d) = %.12f\n", j, x[j], j, fabs(w) < 1e-13 * size ? 0.0 : w);
    if (x[j] < 0 || w > 1e-13 * size || (x[j] > 0 && w < -1e-13 * size)) return EXIT_FAILURE;
  }
  printf("|b - A x|^2 = %.12f\n", k > 0 ? rn : size);
  return EXIT_SUCCESS;
}

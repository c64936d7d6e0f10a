/* In double precision M_chol divides the first row of the factor by s(0,0), not by its root, so the
 * factor is that of S only where s(0,0) = 1. A host that needs the true factor works on S / s(0,0). */
#include <math.h>
#include <stdio.h>
#include <tabfit/tabfit.h>

enum { n = 3 };

/* S = U^T U and b = S x for U = [2 1 3; 0 2 1; 0 0 1] and x = (1, 2, 3). */
static const double triangle[n * (n + 1) / 2] = {4, 2, 5, 6, 5, 11}; /* column by column */
static const double factor[n * (n + 1) / 2] = {2, 1, 2, 3, 1, 1};
static const double b[n] = {26, 27, 49}, x[n] = {1, 2, 3};

int main(void) {
  double scaled[n * (n + 1) / 2], solution[n], off = 0;
  double **S = M_allocsd(n), **U = M_allocsd(n), *B[1] = {solution};
  int failed = !S || !U;

  for (int i = 0; i < n * (n + 1) / 2; ++i) scaled[i] = triangle[i] / triangle[0];
  for (int i = 0; i < n; ++i) solution[i] = b[i];
  if (!failed) failed = M_fillscd(S, scaled, n) != M_FILL_OK;
  if (!failed) failed = M_choleqd(S, B, n, 1, U) != M_CHOL_OK; /* solves (S / s00) y = b */
  if (!failed) {
    const double root = sqrt(triangle[0]);
    for (int j = 0; j < n; ++j) { /* the factor of S is that of S / s00 times the root of s00 */
      printf("column %d of the factor:", j);
      for (int i = 0; i <= j; ++i) {
        printf(" %.6f", root * U[j][i]);
        off += fabs(root * U[j][i] - factor[j * (j + 1) / 2 + i]);
      }
      printf("\n");
    }
    for (int i = 0; i < n; ++i) { /* x = y / s00 */
      printf("x(%d) = %.6f\n", i, solution[i] / triangle[0]);
      off += fabs(solution[i] / triangle[0] - x[i]);
    }
  }
  if (S) M_deallocd(S, n, n);
  if (U) M_deallocd(U, n, n);
  return failed || !(off < 1e-12);
}

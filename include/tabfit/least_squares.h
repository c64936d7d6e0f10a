/* tabfit/least_squares.h - linear least squares, plain and constrained (prefix Ls_).
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements. Twins run the same steps, each with the rounding and the tolerances
 * of its type, so a status that hangs on these may differ between them; where the steps differ, the
 * comment says so.
 *
 * Conventions of the family
 *   - A problem is one column table of n + 1 columns (tabfit/matrix.h): columns 0..n-1 hold the matrix
 *     A, m rows each, and column n the right-hand side b:
 *
 *              n       1
 *          +-------+-------+
 *        m |   A   |   b   |      minimise |A x - b|, the Euclidean norm
 *          +-------+-------+
 *
 *     Where a pointer array is declared `float **` its first n pointers come back in another order.
 *   - Counts are int, indices start at 0, columns and vectors are contiguous. Pointers are not checked
 *     for null and arrays are trusted to be as long as the counts say. Arguments do not overlap.
 *   - rn is the squared residual norm, a sum of squares: no root is taken. It is of the twin's type.
 *   - A positive status is a pseudo-rank, but for LS_CNN_ZERO, LS_CGE_AT_BOUND and LS_LDP_INCOMPATIBLE,
 *     which are 1. A pseudo-rank l says that only l columns of the matrix could be told to be
 *     independent, to 2e-5 (f) or 2e-9 (d) of the greatest column norm. Scale the columns to comparable
 *     norms before the call: columns of very different units are refused without need.
 *   - Status 0 does not prove that the columns are independent. A column that depends on the others is
 *     accepted about as often as not: of problems with a column twice Ls solved 183 of 400 (f) and
 *     192 of 400 (d). M_qrd says why.
 *   - d twin: columns whose squares underflow count as zero (norms below about 1e-162). With norms up
 *     to 1e-154 digits are lost, and a zero may stand on the diagonal with status 0. Squares that
 *     overflow (norms above about 1e154) spoil the result.
 *   - f twin: sums run in double, so there is no lower limit. Norms above half the greatest float spoil
 *     the result. rn is 0 or infinite where the squared residual norm is no float (residuals beyond
 *     about 1e19, or tiny ones); x is right all the same.
 *   - Scratch comes from calloc, but for what M_qrd takes from malloc. Unless a comment says otherwise,
 *     it is released on success and on failure. What a failing call has written stays written. Nothing
 *     is printed, logged or thrown.
 *   - Every call needs up to 200 KiB of stack, whatever the size of the problem.
 *   - Nothing here keeps state: calls on disjoint data may run concurrently.
 *
 * Calls that do not return. The constrained solvers, Ls_cnn and all behind it (Ls_cge, Ls_cle, Ls_ldp,
 * Ls_cint, Ls_cgrn, and AX_splconv of tabfit/approximation.h), have no iteration limit.
 *   - The d twins never take the classical partial step. Where a variable that is already positive
 *     would have to be dropped again they loop for ever, and leave memory allocated at every pass. They
 *     return all the same where another variable happens to enter with an equal dual value. An
 *     example has the rows (1, 1) and (1, 2) and b = (2, 1).
 *   - The f twins take the step and return, but where rounding makes them cycle. An example is the one
 *     row (40, -0.7) with b = -3.
 *
 * How often, with random data. "No return" means that the call went on asking for memory. "Wrong" means
 * status 0, and r is not the residual of x (Ls_cnn, Ls_cge, Ls_cle; see there) or x violates a
 * constraint by more than a thousandth of its terms (the others). Of the d twins' results none was
 * wrong, 0 of 70,000.
 *
 *   Solver      Problems                                 f: no return         f: wrong     d: no return
 *   Ls_cnn      normal elements, m = 10..40               0 of 20,000      4 of 20,000      26 of 6,000
 *   Ls_cnn      normal elements, m = n..2n                0 of 20,000     96 of 20,000     102 of 3,000
 *   Ls_cnn      normal elements, m = 1..n                36 of 20,000     64 of 20,000     329 of 3,000
 *   Ls_cnn      elements in 0..1, m = 10..40              0 of 20,000     83 of 20,000     308 of 3,000
 *   Ls_cnn      elements in 0..1, m = n..2n               0 of 20,000    445 of 20,000     765 of 3,000
 *   Ls_cnn      integers in -3..3, m = n..2n              0 of 20,000     76 of 20,000      67 of 3,000
 *   Ls_cnn      columns equal to 1e-3, m = n..2n         16 of 20,000     66 of 20,000     336 of 3,000
 *   Ls_cge      normal elements, m = n..2n                 0 of 3,000       9 of 3,000      87 of 3,000
 *   Ls_cle      normal elements, m = n..2n                 0 of 3,000       9 of 3,000      78 of 3,000
 *   Ls_ldp      a point meets all constraints              0 of 3,000       0 of 3,000     154 of 3,000
 *   Ls_ldp      two constraints contradict                 0 of 3,000       0 of 3,000     657 of 3,000
 *   Ls_ldp      n + 1 constraints contradict together      0 of 3,000       5 of 3,000     134 of 3,000
 *   Ls_cint     bounds far off                             0 of 3,000       0 of 3,000       0 of 3,000
 *   Ls_cint     bounds bind a few                          0 of 3,000       0 of 3,000       7 of 3,000
 *   Ls_cint     boxes around 0                             1 of 3,000       8 of 3,000     184 of 3,000
 *   Ls_cint     boxes around 0, a third lo = hi            0 of 3,000      15 of 3,000     240 of 3,000
 *   Ls_cint     boxes around 0, columns equal to 1e-3    126 of 3,000   1,055 of 3,000   1,361 of 3,000
 *   Ls_cgrn     a point meets all constraints              0 of 3,000       0 of 3,000     279 of 3,000
 *   Ls_cgrn     the same, columns equal to 1e-4           32 of 3,000     268 of 3,000   1,031 of 3,000
 *   Ls_cgrn     right sides at random                      8 of 3,000       5 of 3,000     531 of 3,000
 *   AX_splconv  convex data, noise 0.001                   0 of 1,000       0 of 1,000       0 of 1,000
 *   AX_splconv  convex data, noise 0.1                     0 of 1,000       0 of 1,000      54 of 1,000
 *   AX_splconv  noise alone                                0 of 1,000       1 of 1,000     322 of 1,000
 *   AX_splconv  concave data, noise 0.01                   0 of 1,000       0 of 1,000     790 of 1,000
 *   AX_splconv  convex, noise 0.1, points at random        0 of 1,000       1 of 1,000      68 of 1,000
 *   AX_splconv  convex, noise 0.1, 9..25 knots             0 of 1,000       0 of 1,000     414 of 1,000
 *   AX_splconv  the same, points at random                 0 of 1,000       9 of 1,000     538 of 1,000
 *
 * n is 3..10 for Ls_cnn, Ls_cge and Ls_cle, 1..6 for Ls_ldp and Ls_cgrn, 1..8 for Ls_cint, 1..8 knots
 * for AX_splconv where none are given. tests/measured/solvers.txt has the statuses, too.
 *
 * A caller has three ways. It gives data of the kinds that always returned. It makes the call in a
 * process with a limit on time and address space: at the limit on space the call ends with -3,
 * AX_splconvd with -7. Or it solves in single precision and refines the result:
 * examples/nonnegative_double.c does so for a non-negative problem. See docs/deliberate.md.
 */
#ifndef TABFIT_LEAST_SQUARES_H
#define TABFIT_LEAST_SQUARES_H

#include "tabfit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* -- Unconstrained -------------------------------------------------------------------------------- */

/** Status of Ls_f(), Ls_d(), Ls_itf() and Ls_itd(). A value l > 0 is the pseudo-rank of the matrix. */
enum { LS_OK = 0, LS_ZERO = -1, LS_BAD_SIZE = -2, LS_NO_MEMORY = -3 };

/** Linear least squares in one pass: minimises |A x - b| for m > n, m = n or m < n.
 *
 *  With m < n the solution is a basic one: the n - m unknowns that were pivoted last are 0. It is not
 *  the one of least norm.
 *
 *  @param[in,out] A   problem table, n + 1 columns of m elements, column n of max(m, n); out: x[0..n-1]
 *                     in column n, in the order of the input columns; what else was in the columns is
 *                     destroyed and the first n pointers are reordered as M_qrd leaves them
 *  @param[in]     m   rows (observations), m >= 1
 *  @param[in]     n   unknowns, n >= 1
 *  @param[out]    rn  squared residual norm: the sum of squares of the residual that the reduction
 *                     isolates, exactly 0 for m <= n
 *
 *  @retval LS_OK         solved
 *  @retval l             1 <= l < min(m, n): the pseudo-rank at which the reduction stopped; no
 *                        solution, rn is not written, A is left as M_qrd leaves it
 *  @retval LS_ZERO       the matrix is zero; rn is not written
 *  @retval LS_BAD_SIZE   m < 1 or n < 1; nothing is changed
 *  @retval LS_NO_MEMORY  scratch could not be had; nothing is changed
 *
 *  A dependent column that is accepted (see the head) gives a minimiser, but an rn that is too small:
 *  what the column took out of the residual was rounding. Where the rank is in doubt, form b - A x from
 *  a copy of A.
 *
 *  The error of x grows with the square of the condition of A, since the norms of the remaining columns
 *  are carried on, not formed anew; M_qrd says more. Ls_it corrects it in the f twin.
 *
 *  Cost: 2 n^2 (m - n/3) operations.
 *  Memory: n ints from calloc and what M_qrd takes, released on success and on failure.
 *  Rounding: all sums run in double, rows ascending; see docs/arithmetic.md.
 *  Method: Golub and Van Loan, Matrix Computations, section 5.5; Lawson and Hanson, Solving Least
 *  Squares Problems, chapter 14.
 */
/**@{*/
TABFIT_API int Ls_f(float **A, int m, int n, float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_d(double **A, int m, int n, double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Linear least squares that keeps its data and gives the residual. The f twin corrects the solution by
 *  further passes: x := 0, r := b, then x := x + Ls(A, r), r := b - A x until a pass no longer
 *  reduces |r|^2 below 0.9 of what it was, at most 10 times.
 *
 *  @param[in]  A     problem table, n + 1 columns of m elements
 *  @param[in]  m     rows, m >= 1
 *  @param[in]  n     unknowns, n >= 1
 *  @param[out] x     n elements, the solution
 *  @param[out] r     max(m, n) elements; the first m are the residual b - A x
 *  @param[out] rn    sum of squares of that residual
 *  @param[out] iter  passes made, one that failed included: 1 in the d twin, 1 to 10 in the f twin
 *
 *  @retval LS_OK         solved
 *  @retval l             1 <= l < min(m, n): the pseudo-rank, found in the first pass
 *  @retval LS_ZERO       the matrix is zero, found in the first pass
 *  @retval LS_BAD_SIZE   m < 1 or n < 1; nothing is written
 *  @retval LS_NO_MEMORY  scratch could not be had: at the start, and nothing is written, or in pass
 *                        `iter`
 *
 *  When pass `iter` fails, x is the sum of the corrections of the passes before it: 0 if it is the
 *  first. r holds what Ls left there. rn is that of the pass before; in the first pass it is 0 (d) or
 *  the greatest float (f).
 *
 *  Cost: that of Ls and 2 m n operations a pass.
 *  Memory: a working table, n + 1 pointers and n blocks of m elements from calloc. After a failure it
 *  is released; after success it stays allocated.
 *  @note Deliberate: after success nobody can release the working table; a caller that calls often uses
 *  Ls on a copy. The d twin starts from rn = 0, so it makes exactly one pass. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_itf(float *const *A, int m, int n, float *x, float *r, float *rn,
                      int *iter) TABFIT_NOEXCEPT;
TABFIT_API int Ls_itd(double *const *A, int m, int n, double *x, double *r, double *rn,
                      int *iter) TABFIT_NOEXCEPT;
/**@}*/

/* -- Non-negative --------------------------------------------------------------------------------- */

/** Status of Ls_cnnf() and Ls_cnnd(). Two more may come from Ls_it on a subproblem: a pseudo-rank l >
 *  0, and -1. A pseudo-rank 1 has the number of LS_CNN_ZERO; x tells them apart. */
enum {
  LS_CNN_OK = 0,
  LS_CNN_ZERO = 1,
  LS_CNN_BAD_SIZE = -2,
  LS_CNN_NO_MEMORY = -3,
  LS_CNN_NO_PROGRESS = -4
};

/** Non-negative least squares: minimises |A x - b| subject to x >= 0.
 *
 *  An active set. The variable with the greatest dual value w = A^T (b - A x) becomes free, and Ls_it
 *  solves the problem in the free variables. The step towards its solution stops where a variable
 *  reaches zero; that one is held there again. The call ends when no dual value of a held variable
 *  exceeds 2e-6 (f) or 2e-10 (d) of the greatest at the start, when none is held, or when more than m
 *  are free.
 *
 *  @param[in,out] A   problem table, n + 1 columns of m elements, which are only read; the first n
 *                     pointers come back in another order, the pointer of b in its place
 *  @param[in]     m   rows, m >= 1
 *  @param[in]     n   unknowns, n >= 1
 *  @param[out]    x   n elements, the solution
 *  @param[out]    r   max(m, n) elements; the first m are the residual b - A x
 *  @param[out]    rn  squared residual norm
 *
 *  @retval LS_CNN_OK           solved, x in the order of the input columns
 *  @retval LS_CNN_ZERO         no dual value is positive at x = 0, or that of column 0 is NaN: x is 0,
 *                              r is b, rn its sum of squares, the pointers stay in their order
 *  @retval LS_CNN_NO_PROGRESS  the variable that entered last is not positive in the subproblem's
 *                              solution: the problem is degenerate to working precision
 *  @retval LS_CNN_BAD_SIZE     m < 1 or n < 1; nothing is written
 *  @retval LS_CNN_NO_MEMORY    scratch could not be had, here or in Ls_it
 *  @retval l, -1               from Ls_it: the free columns are dependent, or zero. If l is 1, x is
 *                              not 0.
 *
 *  After LS_CNN_NO_PROGRESS, l, -1 and LS_CNN_NO_MEMORY of Ls_it, x is the last point that was
 *  reached, in the working order, and r and rn are as the failed pass left them. The refusal of
 *  scratch at the start writes nothing.
 *
 *  May not return: see the head of this file. The d twin returns when no variable has to be dropped.
 *
 *  Status 0 may come with a wrong place in x (f twin). Where a variable is dropped while all are free,
 *  the last place of x keeps what it held before. For the example of the head x is (1.5, 1.333) where
 *  the answer is (1.5, 0). r and rn belong to the answer, so b - A x differs from r. A column of zeros
 *  appended to the matrix avoids it: it never enters, so not all variables are free.
 *
 *  Cost: a least-squares solution for each change of the free set, about as many as free variables.
 *  Memory: n ints and 2n elements from calloc, released. Each subproblem is one call of Ls_it with the
 *  f free columns of that moment, and leaves f + 1 pointers and f blocks of m elements; a subproblem is
 *  solved whenever a variable has entered or has been dropped. With LS_CNN_ZERO none is left.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23.
 *  @note Deliberate: the d twin's step is 0; x is not exchanged when a variable enters; what counts as
 *  zero is relative to a signed element; after a drop the next element is not examined; every Ls_it
 *  inside leaves its working table allocated; the column pointers stay in the working order. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_cnnf(float **A, int m, int n, float *x, float *r, float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cnnd(double **A, int m, int n, double *x, double *r, double *rn) TABFIT_NOEXCEPT;
/**@}*/

/* -- Bounds, least distance ----------------------------------------------------------------------- */

/** Status of Ls_cgef(), Ls_cged(), Ls_clef() and Ls_cled(). From Ls_cnn may come LS_CNN_NO_PROGRESS, -1
 *  and a pseudo-rank. Where Ls_cnn gives the number n, LS_CGE_OK is returned. */
enum { LS_CGE_OK = 0, LS_CGE_AT_BOUND = 1, LS_CGE_BAD_SIZE = -2, LS_CGE_NO_MEMORY = -3 };

/** Least squares with lower bounds: minimises |A x - b| subject to x >= x0.
 *
 *  @param[in,out] A   problem table, n + 1 columns of m elements, which are only read; the first n
 *                     pointers come back in another order, the pointer of b in its place
 *  @param[in]     m   rows, m >= 1
 *  @param[in]     n   unknowns, n >= 1
 *  @param[in]     x0  n elements, the bounds
 *  @param[out]    x   n elements, the solution
 *  @param[out]    r   max(m, n) elements; the first m are b - A x
 *  @param[out]    rn  squared residual norm
 *
 *  @retval LS_CGE_OK         solved
 *  @retval LS_CGE_AT_BOUND   the solution is x0 itself, but x is 0; r and rn are those of x0. Only with
 *                            n > 1: with one unknown LS_CGE_OK is returned, and x is x0. A pseudo-rank
 *                            1 has the same number; then x is not 0.
 *  @retval LS_CGE_BAD_SIZE   m < 1 or n < 1; nothing is written
 *  @retval LS_CGE_NO_MEMORY  scratch could not be had
 *  @retval other             -4, -1 or a pseudo-rank, from Ls_cnn in the unknowns y = x - x0. x holds
 *                            y, as Ls_cnn leaves it, and r is b - A x0 - A y.
 *
 *  May not return: see the head of this file.
 *
 *  Status 0 may come with a wrong place in x (f twin), as for Ls_cnn: with x0 = 0 and the example of
 *  the head x is (1.5, 1.333) where the answer is (1.5, 0). r and rn belong to the answer. Append a
 *  column of zeros to the matrix, and any element to x0 and x.
 *
 *  Cost: that of Ls_cnn. Memory: m elements from calloc, released, and what Ls_cnn takes and leaves.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23.
 *  @note Deliberate: where Ls_cnn gives the number n, LS_CGE_OK is returned. With one unknown n is 1,
 *  the number of LS_CNN_ZERO, and x = x0 is right; with more unknowns Ls_cnn does not give n. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_cgef(float **A, int m, int n, const float *x0, float *x, float *r,
                       float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cged(double **A, int m, int n, const double *x0, double *x, double *r,
                       double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Least squares with upper bounds: minimises |A x - b| subject to x <= x0. As Ls_cge, with x0 - x in
 *  place of x - x0, but for the sign of the residual: r is A x - b.
 *
 *  Status 0 may come with a wrong place in x (f twin): for the rows (1, 1) and (1, 2), b = (-2, -1) and
 *  x0 = 0 x is (-1.5, -1.333) where the answer is (-1.5, 0). A column of zeros avoids it, as for
 *  Ls_cge.
 */
/**@{*/
TABFIT_API int Ls_clef(float **A, int m, int n, const float *x0, float *x, float *r,
                       float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cled(double **A, int m, int n, const double *x0, double *x, double *r,
                       double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Status of Ls_ldpf() and Ls_ldpd(). Ls_cnn may add -1 and -4. */
enum { LS_LDP_OK = 0, LS_LDP_INCOMPATIBLE = 1, LS_LDP_BAD_SIZE = -2, LS_LDP_NO_MEMORY = -3 };

/** Least distance: minimises |x| subject to G x >= h.
 *
 *  @param[in,out] G  column table: G in columns 0..n-1, h in column n, m rows each. It is transposed in
 *                    place, for which it needs k = max(m, n + 1) columns of k elements and k + 1
 *                    pointers. All elements are destroyed. The pointers at places 0..m-1 come back in
 *                    another order; at place m, which may be one of the k columns, stands a pointer
 *                    that must not be used. Keep a copy of the pointers that you release.
 *  @param[in]     m  constraints, m >= 1
 *  @param[in]     n  unknowns, n >= 1
 *  @param[out]    x  max(m, n + 1) elements; out: x[0..n-1] the solution, x[n] its squared norm
 *
 *  @retval LS_LDP_OK            solved
 *  @retval LS_LDP_INCOMPATIBLE  no x satisfies the constraints, or the nearest is farther than 707 (f)
 *                               or 70,710 (d) from 0, or a result is NaN; x holds the inner residual
 *  @retval LS_LDP_BAD_SIZE      m < 1 or n < 1; nothing is changed
 *  @retval LS_LDP_NO_MEMORY     scratch could not be had, here or in M_qrd or Ls_it
 *  @retval -1, -4               from Ls_cnn; x holds the inner residual as it left it
 *
 *  May not return: see the head of this file.
 *  The inner problem has a residual whose last component is q = 1 / (1 + |x|^2) at the solution, and 0
 *  where none exists. All that is known of x is known through q, so distant solutions are known badly:
 *    - q < 2e-6 (f) or 2e-10 (d) gives LS_LDP_INCOMPATIBLE: |x| beyond 707 (f) or 70,710 (d).
 *    - x has an error of about eps (1 + |x|^2) relative, eps being 1.2e-7 (f) or 2.2e-16 (d); a
 *      constraint may be violated by as much.
 *    - A constraint may be overlooked that is violated by less than 2e-6 (f) or 2e-10 (d) times
 *      1 + |x|^2 of the greatest element of h. With x1 >= 100 and x2 >= 1.9 the f twin gives x2 = 0 and
 *      status 0. Contradictions of that size are overlooked, too.
 *  So scale h until |x| is about 1, and check G x >= h. Contradictory constraints may come back with
 *  status 0 by rounding as well (f twin; the last "wrong" of Ls_ldp in the head). NaN in the constraint
 *  that is looked at first may pass for x = 0 with status 0, and an infinite h for -4: give finite
 *  numbers.
 *
 *  Cost: that of Ls_cnn with n + 1 rows and m unknowns.
 *  Memory: n + 1 + m elements from calloc, released, and what Ls_cnn takes and leaves.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23.
 *  @note Deliberate: a positive status of Ls_cnn, a pseudo-rank included, goes on to the test; the test
 *  looks at one component, not at the norm; the pointer at position m is left dangling. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_ldpf(float **G, int m, int n, float *x) TABFIT_NOEXCEPT;
TABFIT_API int Ls_ldpd(double **G, int m, int n, double *x) TABFIT_NOEXCEPT;
/**@}*/

/* -- Interval bounds, general constraints --------------------------------------------------------- */

/** Status of Ls_cintf(), Ls_cintd(), Ls_cgrnf() and Ls_cgrnd(). A value l > 0 is the pseudo-rank of the
 *  matrix, l < n. */
enum {
  LS_CGRN_OK = 0,
  LS_CGRN_ZERO = -1,
  LS_CGRN_BAD_SIZE = -2,
  LS_CGRN_NO_MEMORY = -3,
  LS_CGRN_NO_PROGRESS = -4,
  LS_CGRN_INCOMPATIBLE = -5
};

/** Least squares with interval bounds: minimises |A x - b| subject to lo <= x <= hi, for m >= n and A
 *  of full rank.
 *
 *  @param[in,out] A   problem table, n + 1 columns of m elements; destroyed, its first n pointers
 *                     reordered
 *  @param[in]     m   rows, m >= n
 *  @param[in]     n   unknowns, n >= 1
 *  @param[in]     lo  n lower bounds, finite
 *  @param[in]     hi  n upper bounds, finite
 *  @param[out]    x   n elements, the solution
 *  @param[out]    rn  squared residual norm
 *
 *  @retval LS_CGRN_OK            solved
 *  @retval l                     1 <= l < n: the pseudo-rank of A
 *  @retval LS_CGRN_ZERO          A is zero
 *  @retval LS_CGRN_BAD_SIZE      n < 1 or n > m; nothing is changed
 *  @retval LS_CGRN_NO_MEMORY     scratch could not be had
 *  @retval LS_CGRN_NO_PROGRESS   the active set found no way on, ordinary where the unconstrained
 *                                solution lies on a bound to working precision. The inner solver may
 *                                also give -1, the number of LS_CGRN_ZERO.
 *  @retval LS_CGRN_INCOMPATIBLE  some lo[i] > hi[i]; or the solution is too far from the unconstrained
 *                                one: |y| of about 707 (f) or 70,710 (d) and more, see below
 *
 *  On every failure x and rn are not written.
 *
 *  The unit of b matters. Let y be what the bounds add to the residual: |y|^2 is rn less the squared
 *  residual norm of the unconstrained solution. Ls_ldp finds y, and what it says of its x holds for y:
 *    - Feasible problems are refused with LS_CGRN_INCOMPATIBLE from about |y| = 707 (f) or 70,710 (d)
 *      on. With A = (1), b = 0 and 1000 <= x <= 2000 Ls_cintf refuses; Ls_cintd does with
 *      1e5 <= x <= 2e5.
 *    - The error is about eps (1 + |y|^2) relative, and a bound may be violated by as much. Here
 *      Ls_cintf gives x = 127.992 for lo = 128 and 704.92 for lo = 700.
 *    - A bound may be overlooked that is violated by less than 2e-6 (f) or 2e-10 (d) times 1 + |y|^2 of
 *      the greatest violation by the unconstrained solution. With A = I, b = 0 and lo = (100, 1.9)
 *      Ls_cintf gives x[1] = 0 with status 0. Bounds that cross by as little are overlooked, too.
 *  The cure: divide A and b by the residual norm that is expected, so that |y| is at most about 1, and
 *  multiply rn by its square. x stays what it is. Check the bounds after status 0.
 *
 *  May not return: see the head of this file. The d twin always returns where no bound binds; the more
 *  bounds bind, the more seldom.
 *  Cost: that of Ls, and of Ls_ldp with 2n constraints. Memory from calloc: a table of k + 1 columns of
 *  k = max(2n, n + 1) elements and its pointers, n ints, n doubles, n + 2 elements, all released. What
 *  Ls_cnn leaves stays: its problem has n + 1 rows and 2n unknowns, so a subproblem with f free columns
 *  leaves f + 1 pointers and f blocks of n + 1 elements.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23: reduction to least distance.
 */
/**@{*/
TABFIT_API int Ls_cintf(float **A, int m, int n, const float *lo, const float *hi, float *x,
                        float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cintd(double **A, int m, int n, const double *lo, const double *hi, double *x,
                        double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Least squares with linear inequality constraints: minimises |A x - b| subject to C x >= d, for
 *  m >= n and A of full rank.
 *
 *  @param[in,out] A   problem table, n + 1 columns of m elements; destroyed, its first n pointers
 *                     reordered
 *  @param[in]     m   rows, m >= n
 *  @param[in]     n   unknowns, n >= 1
 *  @param[in]     C   column table of n + 1 columns of mc elements: C, then d
 *  @param[in]     mc  constraints, mc >= 1
 *  @param[out]    x   n elements, the solution
 *  @param[out]    rn  squared residual norm
 *
 *  @retval LS_CGRN_OK            solved
 *  @retval l                     1 <= l < n: the pseudo-rank of A
 *  @retval LS_CGRN_ZERO          A is zero
 *  @retval LS_CGRN_BAD_SIZE      mc < 1, n < 1 or n > m; nothing is changed
 *  @retval LS_CGRN_NO_MEMORY     scratch could not be had
 *  @retval LS_CGRN_NO_PROGRESS   the active set found no way on, ordinary where the unconstrained
 *                                solution lies on a constraint to working precision. The inner solver
 *                                may also give -1, the number of LS_CGRN_ZERO.
 *  @retval LS_CGRN_INCOMPATIBLE  no x satisfies the constraints; or the solution is too far from the
 *                                unconstrained one: |y| of about 707 (f) or 70,710 (d) and more
 *
 *  On every failure x and rn are not written.
 *
 *  The unit of b matters, as for Ls_cint, where y is defined: far solutions are refused or inaccurate,
 *  and a constraint may be overlooked. With A = (1), b = 0 and x >= 1000 Ls_cgrnf returns -5. Divide A
 *  and b by the residual norm that is expected, and check C x >= d after status 0. C and d may have any
 *  unit.
 *
 *  May not return: see the head of this file.
 *  Cost: that of Ls, 2 mc n^2, and Ls_ldp with mc constraints. Memory as for Ls_cint with
 *  k = max(mc, n + 1).
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23: reduction to least distance.
 */
/**@{*/
TABFIT_API int Ls_cgrnf(float **A, int m, int n, float *const *C, int mc, float *x,
                        float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cgrnd(double **A, int m, int n, double *const *C, int mc, double *x,
                        double *rn) TABFIT_NOEXCEPT;
/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* TABFIT_LEAST_SQUARES_H */

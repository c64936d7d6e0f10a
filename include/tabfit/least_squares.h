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
 *   - A positive status is a pseudo-rank: so many columns of the matrix could be told to be independent,
 *     to 2e-5 (f) or 2e-9 (d) of the greatest column norm. Scale the columns to comparable norms before
 *     the call: columns of very different units are refused without need. M_qrd says what the
 *     pseudo-rank can and cannot tell.
 *   - Columns whose squares underflow count as zero (norms below about 1e-162 in the d twin; up to 1e-154
 *     digits are lost and a zero may stand on the diagonal, with status 0), squares that overflow (above
 *     about 1e154) spoil the result. The f twin sums in double and has no lower limit; norms above half
 *     the greatest float spoil its result, and its rn is 0 or infinite where the squared residual norm is
 *     no float (residuals beyond about 1e19, or tiny ones), with x right all the same.
 *   - Scratch comes from calloc and is released, but where a comment says otherwise. A failing call keeps
 *     what it has written so far. Nothing is printed, logged or thrown.
 *   - Nothing here keeps state: calls on disjoint data may run concurrently.
 *
 * Calls that do not return. The constrained solvers, Ls_cnn and all behind it (Ls_cge, Ls_cle, Ls_ldp,
 * Ls_cint, Ls_cgrn, and AX_splconv of tabfit/approximation.h), have no iteration limit.
 *   - The d twins never take the classical partial step. Where a variable that is already positive would
 *     have to be dropped again they loop for ever, and leave memory allocated at every pass; only where
 *     another variable happens to enter with an equal dual value (about 1 in 100 of such problems with
 *     small integers) do they return all the same. That is ordinary data: one random problem in ten to
 *     three. The smallest example has the rows (1, 1) and (1, 2) and b = (2, 1). Under an address-space
 *     limit such a call ends with -3, AX_splconv with -7.
 *   - The f twins take the step and return, but where rounding makes them cycle. Counted on random data:
 *     Ls_cnnf 0 in 120,000 with m >= n, 40 in 20,000 with m <= n (the smallest is one row (40, -0.7) with
 *     b = -3), 12 in 20,000 with columns that are equal to one part in 1,000; Ls_ldpf 15 in 6,000, mostly
 *     contradictory constraints; Ls_cgrnf 15 in 18,000, nearly dependent columns 110 in 6,000; Ls_cintf 0
 *     in 24,000; AX_splconvf 0 in 20,000 with points in every interval, 6 in 3,000 with scattered points,
 *     47 in 1,600 with scattered points and 9 to 25 knots. Of Ls_cintf and AX_splconvf on awkward data
 *     expect 3 in 1,000.
 * A host that cannot rule this out runs the call in a process that it can stop, with a limit on time and
 * address space, or solves in single precision and refines the result: examples/nonnegative_double.c
 * solves a non-negative problem in double precision and always returns. See docs/deliberate.md.
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
 *  A dependent column that is accepted all the same (see M_qrd) gives a minimiser, but an rn that is too
 *  small: what the column took out of the residual was rounding. Where the rank is in doubt, form
 *  b - A x from a copy of A.
 *
 *  The error of x grows with the square of the condition of A, since the norms of the remaining columns
 *  are carried on, not formed anew; M_qrd says more. Ls_it corrects it in the f twin.
 *  Cost: 2 n^2 (m - n/3) operations. Memory: n ints from calloc and what M_qrd takes,
 *  released.
 *  Rounding: all sums run in double, rows ascending; see docs/arithmetic.md.
 *  Method: Golub and Van Loan, Matrix Computations, section 5.5; Lawson and Hanson, Solving Least
 *  Squares Problems, chapter 14.
 */
/**@{*/
TABFIT_API int Ls_f(float **A, int m, int n, float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_d(double **A, int m, int n, double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Linear least squares that keeps its data, gives the residual, and in the f twin corrects the solution
 *  by further passes: x := 0, r := b, then x := x + Ls(A, r), r := b - A x until a pass no longer
 *  reduces |r|^2 below 0.9 of what it was, at most 10 times.
 *
 *  @param[in]  A     problem table, n + 1 columns of m elements
 *  @param[in]  m     rows, m >= 1
 *  @param[in]  n     unknowns, n >= 1
 *  @param[out] x     n elements, the solution
 *  @param[out] r     max(m, n) elements; the first m are the residual b - A x
 *  @param[out] rn    sum of squares of that residual
 *  @param[out] iter  passes made: 1 in the d twin, 1 to 10 in the f twin
 *
 *  @retval LS_OK         solved
 *  @retval l             1 <= l < min(m, n): the pseudo-rank; in a later pass x keeps the corrections so
 *                        far. r holds what Ls left there, rn what the pass began with.
 *  @retval LS_ZERO       the matrix is zero; as for l
 *  @retval LS_BAD_SIZE   m < 1 or n < 1; nothing is written
 *  @retval LS_NO_MEMORY  scratch could not be had: at the start nothing is written, inside a pass as
 *                        for l
 *
 *  Cost: that of Ls and 2 m n operations a pass.
 *  Memory: a working table, n + 1 pointers and n blocks of m elements from calloc.
 *  @note Deliberate: the working table stays allocated after success, (n + 1) pointers and n m elements
 *  that nobody can release; the d twin starts from rn = 0 and so makes exactly one pass. A host that
 *  calls often uses Ls on a copy. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_itf(float *const *A, int m, int n, float *x, float *r, float *rn,
                      int *iter) TABFIT_NOEXCEPT;
TABFIT_API int Ls_itd(double *const *A, int m, int n, double *x, double *r, double *rn,
                      int *iter) TABFIT_NOEXCEPT;
/**@}*/

/* -- Non-negative --------------------------------------------------------------------------------- */

/** Status of Ls_cnnf() and Ls_cnnd(). Other values are those of Ls_it for a subproblem: a pseudo-rank
 *  l > 0, of which 1 cannot be told from LS_CNN_ZERO, or -1. */
enum {
  LS_CNN_OK = 0,
  LS_CNN_ZERO = 1,
  LS_CNN_BAD_SIZE = -2,
  LS_CNN_NO_MEMORY = -3,
  LS_CNN_NO_PROGRESS = -4
};

/** Non-negative least squares: minimises |A x - b| subject to x >= 0.
 *
 *  An active set: the variable with the greatest dual value w = A^T (b - A x) becomes free, the problem
 *  in the free variables is solved by Ls_it, and the step towards its solution stops where a variable
 *  reaches zero, which is held there; until no dual value exceeds 2e-6 (f) or 2e-10 (d) of the first.
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
 *  @retval LS_CNN_ZERO         x = 0 solves it: no dual value is positive at the start, or no free
 *                              variable is left; r is b, rn its sum of squares
 *  @retval LS_CNN_NO_PROGRESS  the variable that entered last is not positive in the subproblem's
 *                              solution: the problem is degenerate to working precision
 *  @retval LS_CNN_BAD_SIZE     m < 1 or n < 1; nothing is written
 *  @retval LS_CNN_NO_MEMORY    scratch could not be had, here or in Ls_it
 *  @retval l, -1               from Ls_it: the free columns are dependent, or zero
 *
 *  After any status but LS_CNN_OK x, r and rn are as the failed pass left them, x in the working order.
 *
 *  May not return: see the head of this file. The d twin returns when no variable has to be dropped.
 *  When all variables are free and one is dropped, the last place of x keeps a stale value, and LS_CNN_OK
 *  may come back with it: for the example of the head the f twin gives (1.5, 1.333) where the answer is
 *  (1.5, 0). A column of zeros appended to the matrix avoids it.
 *
 *  Cost: a least-squares solution for each change of the free set, about as many as free variables.
 *  Memory: n ints and 2n elements from calloc, released.
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

/** Status of Ls_cgef(), Ls_cged(), Ls_clef() and Ls_cled(). Other values are those of Ls_cnn, but for
 *  the value n, which is taken for success. */
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
 *  @retval LS_CGE_AT_BOUND   the solution is x0 itself, and x is 0, not x0 (n > 1); also a pseudo-rank 1
 *  @retval LS_CGE_BAD_SIZE   m < 1 or n < 1; nothing is written
 *  @retval LS_CGE_NO_MEMORY  scratch could not be had
 *  @retval other             the status of Ls_cnn in the unknowns x - x0, which x is left in
 *
 *  May not return: see the head of this file. Cost: that of Ls_cnn. Memory: m elements from calloc,
 *  released, and what Ls_cnn takes and leaves.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23.
 *  @note Deliberate: the value n of Ls_cnn passes for success. With one unknown that is status 1, and x
 *  is the bound itself; with more it does not occur. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int Ls_cgef(float **A, int m, int n, const float *x0, float *x, float *r,
                       float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cged(double **A, int m, int n, const double *x0, double *x, double *r,
                       double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Least squares with upper bounds: minimises |A x - b| subject to x <= x0. As Ls_cge, but for the sign
 *  of the residual: r is A x - b.
 */
/**@{*/
TABFIT_API int Ls_clef(float **A, int m, int n, const float *x0, float *x, float *r,
                       float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cled(double **A, int m, int n, const double *x0, double *x, double *r,
                       double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Status of Ls_ldpf() and Ls_ldpd(). Other values are negative statuses of Ls_cnn. */
enum { LS_LDP_OK = 0, LS_LDP_INCOMPATIBLE = 1, LS_LDP_BAD_SIZE = -2, LS_LDP_NO_MEMORY = -3 };

/** Least distance: minimises |x| subject to G x >= h.
 *
 *  @param[in,out] G  column table: G in columns 0..n-1, h in column n, m rows each. It is transposed in
 *                    place, for which it needs k = max(m, n + 1) columns of k elements, and one
 *                    pointer behind them, at place k; all of it is destroyed. Position m then holds a
 *                    pointer that must not be used: keep a copy of what you release.
 *  @param[in]     m  constraints, m >= 1
 *  @param[in]     n  unknowns, n >= 1
 *  @param[out]    x  max(m, n + 1) elements; out: x[0..n-1] the solution, x[n] its squared norm
 *
 *  @retval LS_LDP_OK            solved
 *  @retval LS_LDP_INCOMPATIBLE  no x satisfies the constraints, to 2e-6 (f) or 2e-10 (d) of 1 in the
 *                               last component of the inner residual, or that is NaN; x holds it
 *  @retval LS_LDP_BAD_SIZE      m < 1 or n < 1; nothing is changed
 *  @retval LS_LDP_NO_MEMORY     scratch could not be had, here or in M_qrd or Ls_it
 *  @retval -1, -4               from Ls_cnn; x holds what it left
 *
 *  May not return: see the head of this file.
 *  The status rests on the inner problem's one residual component. Where n + 1 constraints are active the
 *  inner columns can be dependent, and 0 may come back with a constraint violated (1 call in 3,637 of
 *  such problems in the f twin): check G x >= h. A solution longer than about 707 (f) or 70,710 (d) is
 *  reported as incompatible: scale h. NaN in the constraint that is looked at first may pass for x = 0
 *  with status 0, and an infinite h for -4: give finite numbers.
 *  Cost: that of Ls_cnn with n + 1 rows and m unknowns. Memory: n + 1 + m elements from calloc, released,
 *  and what Ls_cnn takes and leaves.
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
 *  matrix, l < n; -4 comes from Ls_cnn. */
enum {
  LS_CGRN_OK = 0,
  LS_CGRN_ZERO = -1,
  LS_CGRN_BAD_SIZE = -2,
  LS_CGRN_NO_MEMORY = -3,
  LS_CGRN_NO_PROGRESS = -4,
  LS_CGRN_INCOMPATIBLE = -5
};

/** Least squares with interval bounds: minimises |A x - b| subject to lo <= x <= hi, for m >= n and A of
 *  full rank.
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
 *  @retval LS_CGRN_NO_PROGRESS   the active set found no way on, ordinary where the unconstrained solution
 *                                lies on a bound to working precision; -1 may come from it too
 *  @retval LS_CGRN_INCOMPATIBLE  some lo[i] > hi[i]
 *
 *  On every failure x and rn are not written.
 *
 *  May not return: see the head of this file; the d twin returns on few inputs, bounds that do not bind
 *  among them.
 *  Cost: that of Ls, and of Ls_ldp with 2n constraints. Memory from calloc: a table of k + 1 columns of
 *  k = max(2n, n + 1) elements and its pointers, n ints, n doubles, n + 2 elements; released but for
 *  what Ls_cnn leaves.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23: reduction to least distance.
 */
/**@{*/
TABFIT_API int Ls_cintf(float **A, int m, int n, const float *lo, const float *hi, float *x,
                        float *rn) TABFIT_NOEXCEPT;
TABFIT_API int Ls_cintd(double **A, int m, int n, const double *lo, const double *hi, double *x,
                        double *rn) TABFIT_NOEXCEPT;
/**@}*/

/** Least squares with linear inequality constraints: minimises |A x - b| subject to C x >= d, for m >= n
 *  and A of full rank.
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
 *  @retval LS_CGRN_NO_PROGRESS   the active set found no way on, ordinary where the unconstrained solution
 *                                lies on a constraint to working precision; -1 may come from it too
 *  @retval LS_CGRN_INCOMPATIBLE  no x satisfies the constraints
 *
 *  On every failure x and rn are not written.
 *
 *  May not return: see the head of this file. As for Ls_ldp, check the constraints after status 0.
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

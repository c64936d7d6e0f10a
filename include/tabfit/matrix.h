/* tabfit/matrix.h - dense matrix algebra (prefix M_): storage, copying, transposition, reordering,
 * products, triangular solves and inverses, decompositions.
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements. Twins run the same steps, each with the rounding and the tolerances
 * of its type, so a status that hangs on these may differ between them; where the steps differ, the
 * comment says so.
 *
 * Two shapes of matrix
 *
 *   Column table: an array of pointers, one to each column. Element (row i, column j) of A is
 *   A[j][i]. Columns are separate blocks, so two columns change places by exchanging two pointers.
 *   The array may have spare slots behind the columns, null until a column is attached. A 3 by 2
 *   matrix with a capacity of 4:
 *
 *        A ---> +------+------+------+------+
 *               | A[0] | A[1] | null | null |          A[0][0]  A[1][0]
 *               +--|---+--|---+------+------+    is    A[0][1]  A[1][1]
 *                  v      v                            A[0][2]  A[1][2]
 *               +-----+ +-----+
 *               | 0,0 | | 0,1 |
 *               | 1,0 | | 1,1 |
 *               | 2,0 | | 2,1 |
 *               +-----+ +-----+
 *
 *   Triangle table: a symmetric or upper-triangular matrix of order n as n pointers; T[j] leads to
 *   the j+1 elements of column j down to the diagonal. Element (i, j) with i <= j is T[j][i]; for a
 *   symmetric matrix, (i, j) with i > j is T[i][j]. Order 3:
 *
 *        T ---> +------+------+------+
 *               | T[0] | T[1] | T[2] |
 *               +--|---+--|---+--|---+
 *                  v      v      v
 *               +-----+-----+-----+
 *               | 0,0 | 0,1 | 0,2 |
 *               +-----+ 1,1 | 1,2 |
 *                     +-----+ 2,2 |
 *                           +-----+
 *
 *   An operation that takes a triangle table reads and writes only those places, so a full column
 *   table serves wherever a triangle table is asked for.
 *
 *   Packed triangles, n (n+1) / 2 elements, as M_fillsc and M_fillsr read them; order 3, numbered
 *   in the order of the vector:
 *
 *        by columns (M_fillsc)     by rows (M_fillsr)
 *             0  1  3                  0  1  2
 *                2  4                     3  4
 *                   5                        5
 *
 * Conventions of the family
 *   - Counts and indices are int; indices start at 0; a row count comes before a column count. Where
 *     the order of a symmetric or triangular factor comes first, the comment says so.
 *   - A table that is only read, or whose columns are written in place, is `T *const *`; one whose
 *     pointers are changed is `T **`.
 *   - No two columns of a table overlap, and no column stands in a table twice.
 *   - Arguments do not overlap, except where a comment allows it. Arguments that are only read may.
 *   - Pointers are not checked for null and arrays are trusted to be as long as the counts say. Rows
 *     and columns that are picked out by an index lie in the table; that is not checked either.
 *   - Nothing is printed, logged or thrown. A failing call keeps what it has written so far.
 *   - Units and scale. Only M_qrd, and M_qrdeq through it, have a tolerance. It is relative to the
 *     greatest column norm: a matrix multiplied by a power of 2 gets the same status, but a matrix
 *     with columns of very different units is refused without need. Scale the columns to comparable
 *     norms. All other operations compare with 0 or not at all, and take any unit. The solvers of
 *     tabfit/least_squares.h are built on M_qrd. The constrained ones have absolute tolerances
 *     besides: Ls_ldp, Ls_cint, Ls_cgrn and AX_splconv refuse a feasible problem whose solution lies
 *     far from the unconstrained one, by 707 (f) or 70,710 (d) in the unit of b; see there.
 *   - A status of 0 does not prove that a matrix is regular; see M_qrd, M_qrdeq and M_invGJ.
 *   - Heap. An operation whose comment names no memory allocates nothing. What it names is released
 *     before it returns, after a failure too, except where the comment says that it is kept.
 *   - Stack. Scratch of a fixed size lies there, at most (optimised build, x86-64):
 *
 *        330 KiB   M_invutm, M_chol, M_choleq, M_cholinv, M_invs
 *        300 KiB   the products
 *        210 KiB   M_invt, M_invuu, M_invu, M_tinv, M_qrdeq
 *        110 KiB   M_qrd
 *         16 KiB   everything else
 *
 *   - Nothing here keeps state: calls on disjoint data may run concurrently.
 */
#ifndef TABFIT_MATRIX_H
#define TABFIT_MATRIX_H

#include "tabfit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* -- Storage ------------------------------------------------------------------------------------- */

/** Makes a column table of m by n zeros with room for nmax columns.
 *
 *  @param[in] m     rows, m >= 2
 *  @param[in] n     columns, n >= 2
 *  @param[in] nmax  slots, nmax >= n; slots n..nmax-1 are null
 *
 *  @return the table, owned by the caller until M_dealloc; null if m < 2, n < 2, nmax < n or memory
 *          ran out, with nothing left allocated
 *
 *  Memory: array new, once for nmax pointers and n times for a column of m elements. The caller may
 *  attach further columns to the null slots. They must come from array new of the element type; a C
 *  caller, who has none, takes a column out of another table of M_alloc.
 */
/**@{*/
TABFIT_API float **M_allocf(int m, int n, int nmax) TABFIT_NOEXCEPT;
TABFIT_API double **M_allocd(int m, int n, int nmax) TABFIT_NOEXCEPT;
/**@}*/

/** Releases a table of M_alloc or M_allocs.
 *
 *  @param[in] A      the table; its pointer array is released too
 *  @param[in] m      not used; any value will do
 *  @param[in] count  slots whose columns are released, null ones skipped. The capacity releases
 *                    every attached column; the number of columns leaves those attached behind it
 *                    to the caller; less than 1 releases the pointer array alone.
 *
 *  Columns may have changed places in the table, as M_qrd and M_invGJ leave them.
 */
/**@{*/
TABFIT_API void M_deallocf(float **A, int m, int count) TABFIT_NOEXCEPT;
TABFIT_API void M_deallocd(double **A, int m, int count) TABFIT_NOEXCEPT;
/**@}*/

/** Makes a triangle table of order n, all zeros.
 *
 *  @param[in] n  order, n >= 2
 *
 *  @return the table, owned by the caller until M_dealloc with count n; null if n < 2 or memory ran
 *          out, with nothing left allocated
 *
 *  Memory: array new, once for n pointers and once for each column, of j + 1 elements.
 */
/**@{*/
TABFIT_API float **M_allocsf(int n) TABFIT_NOEXCEPT;
TABFIT_API double **M_allocsd(int n) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_fillc, M_fillr, M_fillsc and M_fillsr.
 *  @note Deliberate: a bad size is a positive code here; see docs/deliberate.md. */
enum { M_FILL_OK = 0, M_FILL_BAD_SIZE = 1 };

/** Fills a column table from a column-major block: A[j][i] = data[m j + i].
 *
 *  @param[out] A     column table, m by n
 *  @param[in]  data  m n elements
 *  @param[in]  m     rows, m >= 2
 *  @param[in]  n     columns, n >= 2
 *
 *  @retval M_FILL_OK        A is filled
 *  @retval M_FILL_BAD_SIZE  m < 2 or n < 2; nothing is written
 *
 *  Cost: m n moves. Allocates nothing.
 */
/**@{*/
TABFIT_API int M_fillcf(float *const *A, const float *data, int m, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillcd(double *const *A, const double *data, int m, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a column table from a row-major block: A[j][i] = data[n i + j].
 *
 *  @param[out] A     column table, m by n
 *  @param[in]  data  m n elements
 *  @param[in]  m     rows, m >= 2
 *  @param[in]  n     columns, n >= 2
 *
 *  @retval M_FILL_OK        A is filled
 *  @retval M_FILL_BAD_SIZE  m < 2 or n < 2; nothing is written
 *
 *  Cost: m n moves. Allocates nothing.
 */
/**@{*/
TABFIT_API int M_fillrf(float *const *A, const float *data, int m, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillrd(double *const *A, const double *data, int m, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Lays a column table over a contiguous column-major block: table[j] = data + m j, j < n.
 *
 *  @param[in]  data   the block, m n elements; the table borrows it and serves no longer than it
 *  @param[in]  m      elements of a column; not checked
 *  @param[in]  n      columns; n < 1 writes nothing
 *  @param[out] table  n slots of the caller's; never passed to M_dealloc
 *
 *  Cost: n pointers. Copies no element, allocates nothing.
 */
/**@{*/
TABFIT_API void M_storecf(float *data, int m, int n, float **table) TABFIT_NOEXCEPT;
TABFIT_API void M_storecd(double *data, int m, int n, double **table) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a triangle table from a triangle packed by columns:
 *  T[j][i] = data[j (j+1) / 2 + i], 0 <= i <= j < n.
 *  For a symmetric matrix that is also its lower triangle by rows.
 *
 *  @param[out] T     triangle table of order n
 *  @param[in]  data  n (n+1) / 2 elements
 *  @param[in]  n     order, n >= 2
 *
 *  @retval M_FILL_OK        T is filled
 *  @retval M_FILL_BAD_SIZE  n < 2; nothing is written
 *
 *  Cost: n (n+1) / 2 moves. Allocates nothing.
 */
/**@{*/
TABFIT_API int M_fillscf(float *const *T, const float *data, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillscd(double *const *T, const double *data, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a triangle table from a triangle packed by rows:
 *  T[j][i] = data[i n - i (i+1) / 2 + j], 0 <= i <= j < n.
 *  For a symmetric matrix that is also its lower triangle by columns.
 *
 *  @param[out] T     triangle table of order n
 *  @param[in]  data  n (n+1) / 2 elements
 *  @param[in]  n     order, n >= 2
 *
 *  @retval M_FILL_OK        T is filled
 *  @retval M_FILL_BAD_SIZE  n < 2; nothing is written
 *
 *  Cost: n (n+1) / 2 moves. Allocates nothing.
 */
/**@{*/
TABFIT_API int M_fillsrf(float *const *T, const float *data, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillsrd(double *const *T, const double *data, int n) TABFIT_NOEXCEPT;
/**@}*/

/* -- Copying -------------------------------------------------------------------------------------
 *
 * The letters:
 *
 *   cop   copy
 *   ss    from a triangle table to a triangle table
 *   sr    from a symmetric matrix in a triangle table to a full (rectangular) table
 *   tr    from an upper-triangular matrix in a triangle table to a full table
 *
 * None of these checks its arguments; a count below 1 does nothing. Each allocates nothing and writes
 * every element of the result once.
 */

/** Copies a matrix: B = A.
 *
 *  @param[in]  A  column table, m by n
 *  @param[out] B  column table, m by n; a column may be the one of A, none may overlap otherwise
 *  @param[in]  m  rows
 *  @param[in]  n  columns
 */
/**@{*/
TABFIT_API void M_copf(float *const *A, float *const *B, int m, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_copd(double *const *A, double *const *B, int m, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Copies a triangle: T[j][i] = S[j][i], i <= j.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[out] T  triangle table of order n; may be S itself
 *  @param[in]  n  order
 */
/**@{*/
TABFIT_API void M_copssf(float *const *S, float *const *T, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_copssd(double *const *S, double *const *T, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Copies a symmetric matrix in full: B[j][i] = S[j][i] for i <= j and S[i][j] for i > j.
 *
 *  @param[in]  S  triangle table of order n; only its triangle is read
 *  @param[out] B  column table, n by n; may be S itself if S is a full table
 *  @param[in]  n  order
 */
/**@{*/
TABFIT_API void M_copsrf(float *const *S, float *const *B, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_copsrd(double *const *S, double *const *B, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Copies an upper-triangular matrix in full: B[j][i] = U[j][i] for i <= j and 0 for i > j.
 *
 *  @param[in]  U  triangle table of order n; only its triangle is read
 *  @param[out] B  column table, n by n; may be U itself if U is a full table
 *  @param[in]  n  order
 */
/**@{*/
TABFIT_API void M_coptrf(float *const *U, float *const *B, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_coptrd(double *const *U, double *const *B, int n) TABFIT_NOEXCEPT;
/**@}*/

/* -- Transposition ------------------------------------------------------------------------------- */

/** Status of M_transpf() and M_transpd(). */
enum { M_TRANSP_OK = 0, M_TRANSP_BAD_SIZE = -1 };

/** Transposes into another table: B = A^T.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  m  rows of A
 *  @param[in]  n  columns of A
 *  @param[out] B  column table, n by m
 *
 *  @retval M_TRANSP_OK        B is written; nothing is for a 1 by 1 matrix or with one size below 1
 *  @retval M_TRANSP_BAD_SIZE  both sizes are below 1; nothing is written
 *
 *  Cost: m n moves. Allocates nothing.
 *  @note Deliberate: a 1 by 1 matrix is not copied, B keeps what it held; see docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_transpf(float *const *A, int m, int n, float *const *B) TABFIT_NOEXCEPT;
TABFIT_API int M_transpd(double *const *A, int m, int n, double *const *B) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_transpaf() and M_transpad(). */
enum { M_TRANSPA_OK = 0, M_TRANSPA_BAD_SIZE = -1 };

/** Transposes a p by q matrix within its table: rows 0..q-1 of columns 0..p-1 hold it afterwards.
 *
 *  @param[in,out] A  column table of at least k columns of at least k elements, k = max(p, q)
 *  @param[in]     p  rows
 *  @param[in]     q  columns
 *
 *  @retval M_TRANSPA_OK        done; for p = q = 1 there is nothing to do
 *  @retval M_TRANSPA_BAD_SIZE  both sizes are below 1; nothing is changed
 *
 *  Cost: k^2 moves. Allocates nothing.
 *  @note Deliberate: for p != q the other places of the k by k block do not keep what they held. That
 *  holds with one size below 1 too: there is nothing to transpose, and the block is overwritten all
 *  the same. docs/deliberate.md gives the steps.
 */
/**@{*/
TABFIT_API int M_transpaf(float *const *A, int p, int q) TABFIT_NOEXCEPT;
TABFIT_API int M_transpad(double *const *A, int p, int q) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_tranf() and M_trand(). */
enum { M_TRAN_OK = 0, M_TRAN_NO_MEMORY = -1, M_TRAN_BAD_SIZE = -2 };

/** Transposes a contiguous column-major r by c block in place into a column-major c by r one, with
 *  scratch for one row: the element at place r j + i goes to place c i + j.
 *
 *  @param[in,out] a  r c elements
 *  @param[in]     r  rows
 *  @param[in]     c  columns
 *
 *  @retval M_TRAN_OK         done; nothing changes if r >= 2 and c = 0, or if r < 2 and c >= 2
 *  @retval M_TRAN_NO_MEMORY  the scratch could not be had, or r >= 2 and c < 0; a is unchanged
 *  @retval M_TRAN_BAD_SIZE   r < 2 and c < 2; a is unchanged
 *
 *  Cost: O(r^2 c) moves; O(r c) for a square block without the mark in it.
 *  Memory: c elements from calloc; none are asked for if c < 0 or after M_TRAN_BAD_SIZE.
 *  @note Deliberate: a vacated place is marked with 0 in M_trand and with the greatest finite float
 *  in M_tranf, and an element that equals the mark is taken for one: a double block with a zero in
 *  it may come out scrambled. See docs/deliberate.md for what to call instead.
 */
/**@{*/
TABFIT_API int M_tranf(float *a, int r, int c) TABFIT_NOEXCEPT;
TABFIT_API int M_trand(double *a, int r, int c) TABFIT_NOEXCEPT;
/**@}*/

/* -- Exchange and reordering --------------------------------------------------------------------- */

/** Negates a row: A[j][row] = -A[j][row], j < n. The sign of a zero flips too.
 *
 *  @param[in,out] A    column table of more than `row` rows
 *  @param[in]     n    columns; less than 1 does nothing
 *  @param[in]     row  the row, row >= 0
 *
 *  Cost: n changes of sign. Allocates nothing.
 */
/**@{*/
TABFIT_API void M_lminusf(float *const *A, int n, int row) TABFIT_NOEXCEPT;
TABFIT_API void M_lminusd(double *const *A, int n, int row) TABFIT_NOEXCEPT;
/**@}*/

/** Exchanges two rows in a range of columns: A[j][r1] and A[j][r2] change places, j1 <= j <= j2.
 *
 *  @param[in,out] A   column table of more than j2 columns and more than max(r1, r2) rows
 *  @param[in]     j1  first column, j1 >= 0
 *  @param[in]     j2  last column, inclusive; j1 > j2 does nothing
 *  @param[in]     r1  one row, r1 >= 0
 *  @param[in]     r2  the other, r2 >= 0; r1 = r2 changes nothing
 *
 *  Cost: j2 - j1 + 1 exchanges. Allocates nothing.
 */
/**@{*/
TABFIT_API void M_swapf(float *const *A, int j1, int j2, int r1, int r2) TABFIT_NOEXCEPT;
TABFIT_API void M_swapd(double *const *A, int j1, int j2, int r1, int r2) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_rowsortf() and M_rowsortd(). */
enum { M_ROWSORT_OK = 0, M_ROWSORT_BAD_INDEX = -1 };

/** Reorders rows: row p goes to place idx[p].
 *
 *  @param[in,out] A    column table, m by n
 *  @param[in]     m    rows; less than 2 does nothing
 *  @param[in]     n    columns; with less than 1 only idx is sorted
 *  @param[in,out] idx  a permutation of 0..m-1; consumed: after success it holds 0, 1, ..., m-1,
 *                      but for what the note says
 *
 *  @retval M_ROWSORT_OK         done
 *  @retval M_ROWSORT_BAD_INDEX  idx lacks one of 0..m-2. Let i be the least that is missing: the rows
 *                               for places 0..i-1 are there, and idx begins 0, 1, ..., i-1; the
 *                               rest of both is in no stated order. With i = 0 neither A nor idx
 *                               has changed.
 *
 *  Cost: O(m n) moves and O(m^2) comparisons of int. Allocates nothing.
 *  @note Deliberate: M_colsort goes the other way. m - 1 is not searched, so any value passes for it;
 *  idx then ends with that value. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_rowsortf(float *const *A, int m, int n, int *idx) TABFIT_NOEXCEPT;
TABFIT_API int M_rowsortd(double *const *A, int m, int n, int *idx) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_colsortf() and M_colsortd(). */
enum { M_COLSORT_OK = 0, M_COLSORT_BAD_INDEX = -1, M_COLSORT_NO_MEMORY = -2 };

/** Reorders the columns of a contiguous column-major block: column j becomes the old column idx[j].
 *
 *  @param[in,out] a    m n elements
 *  @param[in]     m    elements of a column; less than 1 moves nothing
 *  @param[in]     n    columns; less than 1 does nothing
 *  @param[in]     idx  a permutation of 0..n-1, unchanged
 *
 *  @retval M_COLSORT_OK         done
 *  @retval M_COLSORT_BAD_INDEX  idx[0] is none of 0..n-1; a is unchanged
 *  @retval M_COLSORT_NO_MEMORY  the scratch could not be had; a is unchanged
 *
 *  Cost: O(m n) moves and O(n^2) comparisons of int.
 *  Memory: n ints from malloc; for n < 1 a block of 0 bytes is asked for all the same.
 *  @note Deliberate: M_colsortd keeps that scratch on every path, M_colsortf releases it. The column
 *  for place j is looked for at places j..n-1 only. Where it is not there for j > 0 (idx[j] is no
 *  column, or an earlier exchange has moved that column below j), columns j-1 and j change places and
 *  the call goes on: idx = (0, 7, 1) turns the columns a, b, c into b, c, a. M_rowsort goes the other
 *  way. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_colsortf(float *a, int m, int n, const int *idx) TABFIT_NOEXCEPT;
TABFIT_API int M_colsortd(double *a, int m, int n, const int *idx) TABFIT_NOEXCEPT;
/**@}*/

/* -- Products ------------------------------------------------------------------------------------
 *
 * The names read left to right:
 *
 *   m            a general matrix in a column table
 *   s            a symmetric matrix in a triangle table
 *   u            an upper-triangular matrix in a triangle table
 *   v            a vector
 *   t            transposes a general or triangular factor, the one before it: mtv is A^T x, mmt is
 *                A B^T, utu is U^T U; in tmsm, where none is before it, the one behind it
 *   trailing s   the result is symmetric, in a triangle table: mmts, mtms
 *   trailing m   the result is general though a factor is symmetric: smm, msm, smtm, tmsm, smsm
 *   trailing b   the result replaces the second operand B: mmb, mtmb, mmtb
 *   trailing a   the result replaces the general operand B: smma, smtma, uma, utma
 *   third u      the result replaces the triangular operand: uuu, utuu, uutu
 *   ltv          A x with b added, b subtracted, or subtracted from b
 *
 * Common to all
 *   - Every sum starts at 0 and runs over the summation index in ascending order, in one double, with
 *     a fused multiply-add a step; it is rounded once, to the element type. Both twins.
 *   - With a count of 0 or less for the rows or columns of the result nothing is written; with a count
 *     of 0 or less for the summation index zeros are stored. Counts are not checked otherwise, and
 *     nothing but the in-place products can fail.
 *   - Results must not overlap operands, except for the operand that an in-place product replaces.
 *   - Symmetric and triangular factors are read, and triangular results written, on and above the
 *     diagonal only.
 *   - Nothing is allocated, except for one scratch column by each in-place product. Its comment says
 *     how many elements; for a count below 1 a block of 0 bytes is asked for all the same, and a null
 *     for it counts as a refusal.
 *   - Cost: two operations a term; triangular factors have only the terms of their triangle.
 *   - Method: Golub and Van Loan, Matrix Computations, section 1.1.
 */

/** y = A x.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  x  n elements
 *  @param[in]  m  rows
 *  @param[in]  n  columns
 *  @param[out] y  m elements
 */
/**@{*/
TABFIT_API void M_mvf(float *const *A, const float *x, int m, int n, float *y) TABFIT_NOEXCEPT;
TABFIT_API void M_mvd(double *const *A, const double *x, int m, int n, double *y) TABFIT_NOEXCEPT;
/**@}*/

/** y = A^T x.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  x  m elements
 *  @param[in]  m  rows
 *  @param[in]  n  columns
 *  @param[out] y  n elements
 */
/**@{*/
TABFIT_API void M_mtvf(float *const *A, const float *x, int m, int n, float *y) TABFIT_NOEXCEPT;
TABFIT_API void M_mtvd(double *const *A, const double *x, int m, int n, double *y) TABFIT_NOEXCEPT;
/**@}*/

/** y = S x.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[in]  x  n elements
 *  @param[in]  n  order
 *  @param[out] y  n elements
 */
/**@{*/
TABFIT_API void M_smvf(float *const *S, const float *x, int n, float *y) TABFIT_NOEXCEPT;
TABFIT_API void M_smvd(double *const *S, const double *x, int n, double *y) TABFIT_NOEXCEPT;
/**@}*/

/** r = A x + b, A x - b or b - A x. The product is rounded to the element type, then b is added or
 *  subtracted, and the result is rounded again.
 *
 *  @param[in]  A     column table, m by n
 *  @param[in]  x     n elements
 *  @param[in]  b     m elements
 *  @param[in]  m     rows
 *  @param[in]  n     columns
 *  @param[in]  mode  0: A x + b; 1 and every negative value: A x - b; 2 and above: b - A x
 *  @param[out] r     m elements; not b, since the product is written to r before b is read
 */
/**@{*/
TABFIT_API void M_ltvf(float *const *A, const float *x, const float *b, int m, int n, int mode,
                       float *r) TABFIT_NOEXCEPT;
TABFIT_API void M_ltvd(double *const *A, const double *x, const double *b, int m, int n, int mode,
                       double *r) TABFIT_NOEXCEPT;
/**@}*/

/** C = A B.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  B  column table, n by p
 *  @param[in]  m  rows of A
 *  @param[in]  n  columns of A
 *  @param[in]  p  columns of B
 *  @param[out] C  column table, m by p
 */
/**@{*/
TABFIT_API void M_mmf(float *const *A, float *const *B, int m, int n, int p,
                      float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mmd(double *const *A, double *const *B, int m, int n, int p,
                      double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_mmb, M_mtmb, M_mmtb, M_smma, M_smtma, M_utuu, M_uutu and M_utma. Only M_mmtb and
 *  M_smtma return M_INPLACE_BAD_SIZE. */
enum { M_INPLACE_OK = 0, M_INPLACE_NO_MEMORY = 1, M_INPLACE_BAD_SIZE = -1 };

/** B := A B.
 *
 *  @param[in]     A  column table, m by n
 *  @param[in,out] B  column table, in: n by p, out: m by p; columns of at least max(m, n) elements
 *  @param[in]     m  rows of A
 *  @param[in]     n  columns of A
 *  @param[in]     p  columns of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is unchanged
 *
 *  Memory: m elements from malloc.
 */
/**@{*/
TABFIT_API int M_mmbf(float *const *A, float *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_mmbd(double *const *A, double *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = A^T B.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  B  column table, m by p
 *  @param[in]  m  rows of A and B
 *  @param[in]  n  columns of A
 *  @param[in]  p  columns of B
 *  @param[out] C  column table, n by p
 */
/**@{*/
TABFIT_API void M_mtmf(float *const *A, float *const *B, int m, int n, int p,
                       float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mtmd(double *const *A, double *const *B, int m, int n, int p,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := A^T B.
 *
 *  @param[in]     A  column table, m by n
 *  @param[in,out] B  column table, in: m by p, out: n by p; columns of at least max(m, n) elements
 *  @param[in]     m  rows of A
 *  @param[in]     n  columns of A
 *  @param[in]     p  columns of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is unchanged
 *
 *  Memory: n elements from array new.
 */
/**@{*/
TABFIT_API int M_mtmbf(float *const *A, float *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_mtmbd(double *const *A, double *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = A B^T.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  B  column table, p by n
 *  @param[in]  m  rows of A
 *  @param[in]  n  columns of A and B
 *  @param[in]  p  rows of B
 *  @param[out] C  column table, m by p
 */
/**@{*/
TABFIT_API void M_mmtf(float *const *A, float *const *B, int m, int n, int p,
                       float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mmtd(double *const *A, double *const *B, int m, int n, int p,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := A B^T: M_transpa(B, p, n), then M_mmb(A, B, m, n, p).
 *
 *  @param[in]     A  column table, m by n
 *  @param[in,out] B  in: p by n; out: m by p; square storage of side at least max(m, n, p)
 *  @param[in]     m  rows of A
 *  @param[in]     n  columns of A and B
 *  @param[in]     p  rows of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_BAD_SIZE   n < 1 and p < 1, from the transposition; nothing is changed
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is left transposed
 *
 *  Memory: m elements from malloc.
 *  @note Deliberate: B is transposed also where the product then has nothing to write (m < 1 or p < 1),
 *  and its other places change as in M_transpa. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_mmtbf(float *const *A, float *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_mmtbd(double *const *A, double *const *B, int m, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** S = A A^T.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  m  rows
 *  @param[in]  n  columns
 *  @param[out] S  triangle table of order m
 */
/**@{*/
TABFIT_API void M_mmtsf(float *const *A, int m, int n, float *const *S) TABFIT_NOEXCEPT;
TABFIT_API void M_mmtsd(double *const *A, int m, int n, double *const *S) TABFIT_NOEXCEPT;
/**@}*/

/** S = A^T A.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  m  rows
 *  @param[in]  n  columns
 *  @param[out] S  triangle table of order n
 */
/**@{*/
TABFIT_API void M_mtmsf(float *const *A, int m, int n, float *const *S) TABFIT_NOEXCEPT;
TABFIT_API void M_mtmsd(double *const *A, int m, int n, double *const *S) TABFIT_NOEXCEPT;
/**@}*/

/** C = S B.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[in]  B  column table, n by p
 *  @param[in]  n  order of S
 *  @param[in]  p  columns of B
 *  @param[out] C  column table, n by p
 */
/**@{*/
TABFIT_API void M_smmf(float *const *S, float *const *B, int n, int p, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_smmd(double *const *S, double *const *B, int n, int p,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := S B.
 *
 *  @param[in]     S  triangle table of order n
 *  @param[in,out] B  column table, n by p
 *  @param[in]     n  order of S
 *  @param[in]     p  columns of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is unchanged
 *
 *  Memory: n elements from array new.
 */
/**@{*/
TABFIT_API int M_smmaf(float *const *S, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_smmad(double *const *S, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = A S. Note the counts: the order of S comes first.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  S  triangle table of order n
 *  @param[in]  n  order of S
 *  @param[in]  m  rows of A
 *  @param[out] C  column table, m by n
 */
/**@{*/
TABFIT_API void M_msmf(float *const *A, float *const *S, int n, int m, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_msmd(double *const *A, double *const *S, int n, int m,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** C = S B^T.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[in]  B  column table, p by n
 *  @param[in]  n  order of S
 *  @param[in]  p  rows of B
 *  @param[out] C  column table, n by p
 */
/**@{*/
TABFIT_API void M_smtmf(float *const *S, float *const *B, int n, int p,
                        float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_smtmd(double *const *S, double *const *B, int n, int p,
                        double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := S B^T: M_transpa(B, p, n), then M_smma(S, B, n, p).
 *
 *  @param[in]     S  triangle table of order n
 *  @param[in,out] B  in: p by n; out: n by p; square storage of side at least max(n, p)
 *  @param[in]     n  order of S
 *  @param[in]     p  rows of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_BAD_SIZE   n < 1 and p < 1, from the transposition; nothing is changed
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is left transposed
 *
 *  Memory: n elements from array new.
 *  @note Deliberate: B is transposed also where the product then has nothing to write (n < 1 or p < 1),
 *  and its other places change as in M_transpa. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_smtmaf(float *const *S, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_smtmad(double *const *S, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = A^T S. Note the counts: the order of S comes first.
 *
 *  @param[in]  A  column table, n by m
 *  @param[in]  S  triangle table of order n
 *  @param[in]  n  order of S
 *  @param[in]  m  columns of A
 *  @param[out] C  column table, m by n
 */
/**@{*/
TABFIT_API void M_tmsmf(float *const *A, float *const *S, int n, int m,
                        float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_tmsmd(double *const *A, double *const *S, int n, int m,
                        double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** C = S1 S2, a general matrix.
 *
 *  @param[in]  S1  triangle table of order n
 *  @param[in]  S2  triangle table of order n
 *  @param[in]  n   order
 *  @param[out] C   column table, n by n
 */
/**@{*/
TABFIT_API void M_smsmf(float *const *S1, float *const *S2, int n, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_smsmd(double *const *S1, double *const *S2, int n, double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/* -- Triangular products: see the conventions above ---------------------------------------------- */

/** C = U1 U2, upper triangular.
 *
 *  @param[in]  U1  triangle table of order n
 *  @param[in]  U2  triangle table of order n
 *  @param[in]  n   order
 *  @param[out] C   triangle table of order n
 */
/**@{*/
TABFIT_API void M_uuf(float *const *U1, float *const *U2, int n, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_uud(double *const *U1, double *const *U2, int n, double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** U2 := U1 U2.
 *
 *  @param[in]     U1  triangle table of order n
 *  @param[in,out] U2  triangle table of order n; unchanged if the scratch could not be had
 *  @param[in]     n   order
 *
 *  @return 1, always
 *
 *  Memory: n elements from array new.
 *  @note Deliberate: the result tells nothing, a success gives 1 too; see docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_uuuf(float *const *U1, float *const *U2, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_uuud(double *const *U1, double *const *U2, int n) TABFIT_NOEXCEPT;
/**@}*/

/** S = U^T U.
 *
 *  @param[in]  U  triangle table of order n
 *  @param[in]  n  order
 *  @param[out] S  triangle table of order n
 */
/**@{*/
TABFIT_API void M_utuf(float *const *U, int n, float *const *S) TABFIT_NOEXCEPT;
TABFIT_API void M_utud(double *const *U, int n, double *const *S) TABFIT_NOEXCEPT;
/**@}*/

/** U := U^T U, a symmetric matrix in the place of U.
 *
 *  @param[in,out] U  triangle table of order n
 *  @param[in]     n  order
 *
 *  @retval M_INPLACE_OK         U holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; U is unchanged
 *
 *  Memory: n elements from array new.
 */
/**@{*/
TABFIT_API int M_utuuf(float *const *U, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_utuud(double *const *U, int n) TABFIT_NOEXCEPT;
/**@}*/

/** S = U U^T.
 *
 *  @param[in]  U  triangle table of order n
 *  @param[in]  n  order
 *  @param[out] S  triangle table of order n
 */
/**@{*/
TABFIT_API void M_uutf(float *const *U, int n, float *const *S) TABFIT_NOEXCEPT;
TABFIT_API void M_uutd(double *const *U, int n, double *const *S) TABFIT_NOEXCEPT;
/**@}*/

/** U := U U^T, a symmetric matrix in the place of U.
 *
 *  @param[in,out] U  triangle table of order n
 *  @param[in]     n  order
 *
 *  @retval M_INPLACE_OK         U holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; U is unchanged
 *
 *  Memory: n elements from array new.
 */
/**@{*/
TABFIT_API int M_uutuf(float *const *U, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_uutud(double *const *U, int n) TABFIT_NOEXCEPT;
/**@}*/

/** C = U B.
 *
 *  @param[in]  U  triangle table of order n
 *  @param[in]  B  column table, n by p
 *  @param[in]  n  order of U
 *  @param[in]  p  columns of B
 *  @param[out] C  column table, n by p
 */
/**@{*/
TABFIT_API void M_umf(float *const *U, float *const *B, int n, int p, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_umd(double *const *U, double *const *B, int n, int p,
                      double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := U B.
 *
 *  @param[in]     U  triangle table of order n
 *  @param[in,out] B  column table, n by p; unchanged if the scratch could not be had
 *  @param[in]     n  order of U
 *  @param[in]     p  columns of B
 *
 *  @return 1, always
 *
 *  Memory: n elements from array new.
 *  @note Deliberate: the result tells nothing, a success gives 1 too; see docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_umaf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_umad(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = U^T B.
 *
 *  @param[in]  U  triangle table of order n
 *  @param[in]  B  column table, n by p
 *  @param[in]  n  order of U
 *  @param[in]  p  columns of B
 *  @param[out] C  column table, n by p
 */
/**@{*/
TABFIT_API void M_utmf(float *const *U, float *const *B, int n, int p, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_utmd(double *const *U, double *const *B, int n, int p,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** B := U^T B.
 *
 *  @param[in]     U  triangle table of order n
 *  @param[in,out] B  column table, n by p
 *  @param[in]     n  order of U
 *  @param[in]     p  columns of B
 *
 *  @retval M_INPLACE_OK         B holds the product
 *  @retval M_INPLACE_NO_MEMORY  the scratch could not be had; B is unchanged
 *
 *  Memory: n elements from array new.
 */
/**@{*/
TABFIT_API int M_utmaf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API int M_utmad(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** C = A U. Note the counts: the order of U comes first.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  U  triangle table of order n
 *  @param[in]  n  order of U
 *  @param[in]  m  rows of A
 *  @param[out] C  column table, m by n
 */
/**@{*/
TABFIT_API void M_muf(float *const *A, float *const *U, int n, int m, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mud(double *const *A, double *const *U, int n, int m,
                      double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** C = A U^T. Note the counts: the order of U comes first.
 *
 *  @param[in]  A  column table, m by n
 *  @param[in]  U  triangle table of order n
 *  @param[in]  n  order of U
 *  @param[in]  m  rows of A
 *  @param[out] C  column table, m by n
 */
/**@{*/
TABFIT_API void M_mutf(float *const *A, float *const *U, int n, int m, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mutd(double *const *A, double *const *U, int n, int m,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/** C = A^T U. Note the counts: the order of U comes first.
 *
 *  @param[in]  A  column table, n by m
 *  @param[in]  U  triangle table of order n
 *  @param[in]  n  order of U
 *  @param[in]  m  columns of A
 *  @param[out] C  column table, m by n
 */
/**@{*/
TABFIT_API void M_mtuf(float *const *A, float *const *U, int n, int m, float *const *C) TABFIT_NOEXCEPT;
TABFIT_API void M_mtud(double *const *A, double *const *U, int n, int m,
                       double *const *C) TABFIT_NOEXCEPT;
/**@}*/

/* -- Triangular solves and inverses --------------------------------------------------------------
 *
 * Sums run in one double, with a fused multiply-add a step, and are divided in double; each unknown
 * is rounded to the element type before it is used. There is no tolerance: a zero on the diagonal
 * gives infinities or NaN by the rules of arithmetic, and only M_tinv looks for one. A count below 1
 * does nothing: nothing is read then, of the diagonal neither. Nothing is allocated. Method: Golub and
 * Van Loan, Matrix Computations, section 3.1.
 */

/** B := U^-1 B, back substitution:
 *  b(i) = (b(i) - u(i,i+1) b(i+1) - ... - u(i,n-1) b(n-1)) / u(i,i), terms in that order.
 *
 *  @param[in]     U  triangle table of order n
 *  @param[in,out] B  p right-hand sides of n elements: a column table, or for one vector the
 *                    address of a pointer to it; holds the solutions
 *  @param[in]     n  order
 *  @param[in]     p  right-hand sides
 *
 *  Cost: n^2 p operations.
 */
/**@{*/
TABFIT_API void M_invtf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API void M_invtd(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** B := U^-T B, forward substitution:
 *  b(i) = (b(i) - (u(0,i) b(0) + ... + u(i-1,i) b(i-1))) / u(i,i), terms in that order.
 *
 *  @param[in]     U  triangle table of order n
 *  @param[in,out] B  p right-hand sides of n elements, as for M_invt; holds the solutions
 *  @param[in]     n  order
 *  @param[in]     p  right-hand sides
 *
 *  Cost: n^2 p operations.
 */
/**@{*/
TABFIT_API void M_invutmf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API void M_invutmd(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** V := U^-1 V with V upper triangular, each column by back substitution as in M_invt.
 *
 *  @param[in]     U  triangle table of order n
 *  @param[in,out] V  triangle table of order n; not the storage of U
 *  @param[in]     n  order
 *
 *  Cost: n^3 / 3 operations.
 */
/**@{*/
TABFIT_API void M_invuuf(float *const *U, float *const *V, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_invuud(double *const *U, double *const *V, int n) TABFIT_NOEXCEPT;
/**@}*/

/** X = U^-1.
 *
 *  @param[in]  U  triangle table of order n
 *  @param[out] X  triangle table of order n; not the storage of U (M_tinv inverts in place)
 *  @param[in]  n  order
 *
 *  Cost: n^3 / 3 operations.
 */
/**@{*/
TABFIT_API void M_invuf(float *const *U, float *const *X, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_invud(double *const *U, double *const *X, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_tinvf() and M_tinvd(). A value k > 0 names the column, k-1, whose diagonal element
 *  is zero. */
enum { M_TINV_OK = 0, M_TINV_BAD_SIZE = -1 };

/** T := T^-1 in place, T upper triangular in a full square table.
 *
 *  @param[in,out] T  column table, n by n; in: the matrix on and above the diagonal, anything below
 *                    it; out: the inverse, and zeros below the diagonal
 *  @param[in]     n  order, n >= 1
 *
 *  @retval M_TINV_OK        T holds the inverse
 *  @retval M_TINV_BAD_SIZE  n < 1; nothing is written
 *  @retval k                1 <= k <= n: element k-1 of the diagonal is the first that is exactly
 *                           zero (a NaN is not); those before it are replaced by their reciprocals,
 *                           nothing else is written
 *
 *  T is a full table because the places below the diagonal are set to zero. Cost: n^3 / 3 operations.
 *  @note Deliberate: a refused matrix is left part-way, as said; see docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_tinvf(float *const *T, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_tinvd(double *const *T, int n) TABFIT_NOEXCEPT;
/**@}*/

/* -- Decompositions ------------------------------------------------------------------------------ */

/** Status of M_qrdf() and M_qrdd(). A value l > 0 is a pseudo-rank: l steps are done. */
enum { M_QRD_OK = 0, M_QRD_ZERO = -1, M_QRD_BAD_SIZE = -2, M_QRD_NO_MEMORY = -3 };

/** QR decomposition with column pivoting and row interchange, A P = Q R, applied to k right-hand
 *  sides.
 *
 *  One table holds the matrix and, behind it, the right-hand sides. On entry, and on return with
 *  M_QRD_OK for m > n (R upper triangular, u remains of the reflections, c and r the rows of Q^T
 *  B):
 *
 *            n       k                      n         k
 *        +-------+-------+           +-----------+-------+
 *        |       |       |           | R R R R R |   c   |  n
 *      m |   A   |   B   |           | u R R R R |       |
 *        |       |       |   --->    | u u R R R |       |
 *        |       |       |           |     :     |       |
 *        |       |       |           +-----------+-------+
 *        +-------+-------+           | u u u u u |   r   |  m - n
 *                                    +-----------+-------+
 *
 *  and with m < n, M_QRD_OK, and with a pseudo-rank l, which says that steps 0..l-1 are done and
 *  step l is not begun (X what is left of the matrix, not reduced):
 *
 *           m       n - m    k             l       n - l    k
 *        +-------+-------+-------+     +-------+-------+-------+
 *        | R R R | R R R |       |     | R R R | R R R |       |  l
 *      m | u R R | R R R | Q^T B |     | u R R | R R R | Q^T B |
 *        | u u R | X X X |       |     +-------+-------+-------+
 *        +-------+-------+-------+     | u u u |   X   | Q^T B |  m - l
 *                                      +-------+-------+-------+
 *
 *  Each step brings the column of greatest remaining norm to its place, by an exchange of pointers; of
 *  equal norms the lowest place wins.
 *
 *  The sum of squares of r is the squared residual of the least-squares problem. Q cannot be
 *  applied again: of each reflection the leading element is overwritten by R, and later row
 *  interchanges move the rest.
 *
 *  @param[in,out] A   column table of n + k columns of m elements; the first n pointers are
 *                     reordered
 *  @param[in]     m   rows, m >= 1
 *  @param[in]     n   columns of the matrix, n >= 1
 *  @param[in]     k   right-hand sides, k >= 0
 *  @param[out]    ip  n elements; ip[j] is the column of the input that now stands at place j
 *
 *  @retval M_QRD_OK         all min(m, n) steps are done
 *  @retval l                1 <= l < min(m, n): the largest remaining column norm is below tol
 *                           times the largest norm of the input, or NaN; tol is 2e-5 (f), 2e-9 (d)
 *  @retval M_QRD_ZERO       the largest squared norm of the input is exactly 0; ip is the identity,
 *                           A is unchanged
 *  @retval M_QRD_BAD_SIZE   m < 1 or n < 1; nothing is changed
 *  @retval M_QRD_NO_MEMORY  the scratch for the norms could not be had; nothing is changed
 *
 *  What the status tells. M_QRD_OK does not prove that the columns are independent. The norms are
 *  downdated, not formed anew. So noise remains of a column that depends on the others: about 1e-16
 *  (d) or 1e-7 (f) of the largest squared norm, which is more than tol squared. About every second
 *  matrix with such a column gets M_QRD_OK, whether the column depends on the others exactly or up
 *  to rounding. Its last diagonal element is that noise: at most 4e-8 (d) or 6e-4 (f) of R(0,0) in
 *  9,000 random matrices of 3 to 10 columns. A caller that must know compares the diagonal of R
 *  with R(0,0). A column of zeros is found, but for the range below.
 *
 *  Range of the elements. Scale data outside it.
 *    - d twin: a column with a norm below 1.5e-162 counts as zero.
 *    - d twin: if the largest norm is below 8e-154, tol squared underflows and a column of zeros is
 *      not found.
 *    - d twin: squares overflow from norms of 1.35e154 on, which spoils the result.
 *    - f twin: squares are formed in double, so there is no lower limit. Norms above 1.7e38, half the
 *      greatest float, spoil the result.
 *
 *  Cost: 2 n^2 (m - n/3) operations for m >= n, 2 m^2 (n - m/3) for m < n, and 4 k p (m - p/2) with
 *  p = min(m, n) for the right-hand sides. Sums run in double, rows ascending; beta and the
 *  tolerance are evaluated in long double and rounded once.
 *  Memory: n doubles from calloc. A table of more than 65,536 bytes takes a second block, from
 *  malloc; if it cannot be had, the call gives the same result in more time. Bytes of that block,
 *  with c = n + k rounded up to a multiple of 8 and s the size of an element:
 *
 *      16 (m + n + k) + 64          d twin, m >= 32 (n + k)
 *      c m s + 32 m + 40 c + 64     otherwise
 *
 *  Method: Businger and Golub, Linear least squares solutions by Householder transformations,
 *  Numerische Mathematik 7 (1965); Golub and Van Loan, Matrix Computations, section 5.4.
 *  @note Deliberate: the row that comes to the diagonal is chosen by a rule that keeps signs; a
 *  zero diagonal element takes the negative sign; the last step leaves matrix columns to its right
 *  as they are. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_qrdf(float **A, int m, int n, int k, int *ip) TABFIT_NOEXCEPT;
TABFIT_API int M_qrdd(double **A, int m, int n, int k, int *ip) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_qrdeqf() and M_qrdeqd(): that of M_qrd. */
enum { M_QRDEQ_OK = 0, M_QRDEQ_ZERO = -1, M_QRDEQ_BAD_SIZE = -2, M_QRDEQ_NO_MEMORY = -3 };

/** Solves a square system for k right-hand sides, A X = B, through M_qrd and back substitution.
 *
 *  @param[in,out] A  column table of n + k columns of n elements: the matrix, then the right-hand
 *                    sides. The matrix is destroyed and its pointers are reordered; the right-hand
 *                    sides become the solutions, in the order of the unknowns.
 *  @param[in]     n  order, n >= 1
 *  @param[in]     k  right-hand sides, k >= 0
 *
 *  @retval M_QRDEQ_OK         the solutions are in columns n..n+k-1
 *  @retval l                  1 <= l < n: the pseudo-rank at which M_qrd stopped; the right-hand
 *                             sides are transformed, not solved
 *  @retval M_QRDEQ_ZERO       the matrix is zero; A is unchanged
 *  @retval M_QRDEQ_BAD_SIZE   n < 1; nothing is changed
 *  @retval M_QRDEQ_NO_MEMORY  the scratch of this operation or of M_qrd could not be had; nothing
 *                             is changed
 *
 *  M_QRDEQ_OK does not prove that the matrix is regular: 463 of 1,000 (f) and 428 of 1,000 (d)
 *  singular matrices of order 3, with elements from -5 to 5, got it. The solution of such a system
 *  is meaningless, and nothing tells. M_qrd shows the diagonal of R.
 *
 *  Because norms are downdated, the error grows with the square of the condition c of A. About so
 *  much, relative to the largest element of the solution, in the median over random matrices of
 *  orders 5 to 30:
 *
 *                 M_qrdeq      inverse of M_invGJ, times B
 *      d twin     3e-17 c^2    3e-17 c
 *      f twin     1e-8 c^2     2e-8 c
 *
 *  From a condition of 1e8 (d) or 1e4 (f) on, M_qrdeq refuses the matrix or finds no digit. Where
 *  accuracy counts, use M_invGJ; it keeps 8 n bytes a call.
 *
 *  Cost: 4 n^3 / 3 + 3 n^2 k operations. Memory: 2 n ints from array new, none asked for if n < 0,
 *  and what M_qrd takes.
 */
/**@{*/
TABFIT_API int M_qrdeqf(float **A, int n, int k) TABFIT_NOEXCEPT;
TABFIT_API int M_qrdeqd(double **A, int n, int k) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_invGJf() and M_invGJd(). A value k > 0 says that no pivot is left for step k. */
enum { M_INVGJ_OK = 0, M_INVGJ_ZERO = -1, M_INVGJ_BAD_SIZE = -2, M_INVGJ_NO_MEMORY = -3 };

/** Inverse of a square matrix in place, with its determinant: Gauss-Jordan elimination with full
 *  pivoting.
 *
 *  @param[in,out] A    column table, n by n; holds the inverse. Its pointers are exchanged: the
 *                      column at place j may be another block than before.
 *  @param[in]     n    order, n >= 1
 *  @param[out]    det  the determinant, double in both twins
 *
 *  @retval M_INVGJ_OK         A holds the inverse
 *  @retval k                  1 <= k < n: no candidate but 0 and NaN is left for pivot k; det is 0,
 *                             A is neither the input nor an inverse
 *  @retval M_INVGJ_ZERO       the same at the first step: A is zero, or singular in another way; det
 *                             is 0, A is unchanged
 *  @retval M_INVGJ_BAD_SIZE   n < 1; nothing is written, not even det
 *  @retval M_INVGJ_NO_MEMORY  the scratch could not be had; det is 1, A is unchanged
 *
 *  There is no tolerance: only an exact zero is singular. M_INVGJ_OK does not prove that the matrix
 *  is regular: rounding leaves a pivot of noise in most singular matrices of small integers. A NaN
 *  may hide other elements of its column.
 *  Cost: 2 n^3 operations. Memory: n ints from calloc, twice, kept: see the note. Nothing is asked for
 *  if n < 1.
 *  Method: Press et al., Numerical Recipes, section 2.1.
 *  @note Deliberate: what was taken is never released: the 2 n ints, or the first n if the second n
 *  cannot be had; the candidates for a pivot are chosen by a rule that keeps signs; the pointers stay
 *  exchanged. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_invGJf(float **A, int n, double *det) TABFIT_NOEXCEPT;
TABFIT_API int M_invGJd(double **A, int n, double *det) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_chol, M_choleq, M_cholinv and M_invs. A value k > 0 names the column, k-1, whose
 *  pivot failed. Only M_cholinv and M_invs return M_CHOL_NO_MEMORY. */
enum { M_CHOL_OK = 0, M_CHOL_BAD_SIZE = -1, M_CHOL_NO_MEMORY = -2 };

/** Cholesky factor of a symmetric positive definite matrix, S = U^T U.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[in]  n  order, n >= 2
 *  @param[out] U  triangle table of order n; may be S itself
 *
 *  @retval M_CHOL_OK        U holds the factor
 *  @retval M_CHOL_BAD_SIZE  n < 2; nothing is written
 *  @retval k                1 <= k <= n: pivot k-1 is not positive, or NaN; rows 0..k-2 of U are
 *                           complete, nothing else is written
 *
 *  There is no tolerance. Cost: n^3 / 3 operations. Allocates nothing. Sums run in double, rows
 *  ascending. Method: Golub and Van Loan, Matrix Computations, section 4.2.
 *  @note Deliberate: in the d twin u(0,0) is the root of s(0,0), but the rest of row 0 is divided by
 *  s(0,0) itself, not by the root: u(0,j) = s(0,j) / s(0,0). So the factor, the status, and what
 *  M_choleq, M_cholinv and M_invs make of them, belong to S only if s(0,0) = 1 or the rest of row 0 is
 *  zero. The f twin has the true factor. For [4 2; 2 5] the d twin gives [2 0.5; 0 2.179], the f twin
 *  [2 1; 0 2]. Statuses by s(0,0):
 *
 *      s(0,0) > 1    the d twin accepts matrices that are not definite as well:
 *                    0 for [4 2; 2 1], which is singular, and for [4 2; 2 0.5], which is indefinite
 *      s(0,0) < 1    the d twin refuses definite matrices: 2 for [0.25 1; 1 5]
 *
 *  docs/deliberate.md shows how to scale S for the d twin.
 */
/**@{*/
TABFIT_API int M_cholf(float *const *S, int n, float *const *U) TABFIT_NOEXCEPT;
TABFIT_API int M_chold(double *const *S, int n, double *const *U) TABFIT_NOEXCEPT;
/**@}*/

/** Solves S X = B for a symmetric positive definite matrix: M_chol, M_invutm, M_invt.
 *
 *  @param[in]     S  triangle table of order n
 *  @param[in,out] B  column table, n by p; holds the solutions
 *  @param[in]     n  order, n >= 2
 *  @param[in]     p  right-hand sides; less than 1 only factors
 *  @param[out]    U  triangle table of order n, the factor; may be S itself
 *
 *  @retval M_CHOL_OK        B holds the solutions
 *  @retval M_CHOL_BAD_SIZE  n < 2; nothing is written
 *  @retval k                as for M_chol; U is left as there, B is unchanged
 *
 *  Cost: n^3 / 3 + 2 n^2 p operations. Allocates nothing.
 *  @note Deliberate: the d twin solves another system unless s(0,0) = 1; see M_chol.
 */
/**@{*/
TABFIT_API int M_choleqf(float *const *S, float *const *B, int n, int p,
                         float *const *U) TABFIT_NOEXCEPT;
TABFIT_API int M_choleqd(double *const *S, double *const *B, int n, int p,
                         double *const *U) TABFIT_NOEXCEPT;
/**@}*/

/** Inverse of a symmetric positive definite matrix, X = S^-1 = U^-1 U^-T.
 *
 *  @param[in]  S  triangle table of order n
 *  @param[in]  n  order, n >= 2
 *  @param[out] U  triangle table of order n, the factor; may be S itself
 *  @param[out] X  triangle table of order n; may be S itself, not U
 *
 *  @retval M_CHOL_OK         X holds the inverse
 *  @retval M_CHOL_BAD_SIZE   n < 2; nothing is written
 *  @retval M_CHOL_NO_MEMORY  the scratch of M_uutu could not be had; U holds the factor, X holds U^-1
 *  @retval k                 as for M_chol; U is left as there, X is unchanged
 *
 *  Cost: n^3 operations. Memory: n elements from array new.
 *  @note Deliberate: the d twin inverts another matrix unless s(0,0) = 1; see M_chol.
 */
/**@{*/
TABFIT_API int M_cholinvf(float *const *S, int n, float *const *U, float *const *X) TABFIT_NOEXCEPT;
TABFIT_API int M_cholinvd(double *const *S, int n, double *const *U, double *const *X) TABFIT_NOEXCEPT;
/**@}*/

/** Inverse of a symmetric positive definite matrix in place, S := S^-1.
 *
 *  @param[in,out] S  triangle table of order n
 *  @param[in]     n  order, n >= 2
 *  @param[out]    U  triangle table of order n, the factor; not the storage of S
 *
 *  @retval M_CHOL_OK         S holds the inverse
 *  @retval M_CHOL_BAD_SIZE   n < 2; nothing is written
 *  @retval M_CHOL_NO_MEMORY  the scratch of M_uutu could not be had; U holds the factor, S holds U^-1
 *  @retval k                 as for M_chol; U is left as there, S is unchanged
 *
 *  Cost: n^3 operations. Memory: n elements from array new.
 *  @note Deliberate: the d twin inverts another matrix unless s(0,0) = 1; see M_chol.
 */
/**@{*/
TABFIT_API int M_invsf(float *const *S, int n, float *const *U) TABFIT_NOEXCEPT;
TABFIT_API int M_invsd(double *const *S, int n, double *const *U) TABFIT_NOEXCEPT;
/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* TABFIT_MATRIX_H */

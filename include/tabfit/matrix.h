/* tabfit/matrix.h - dense matrix algebra (prefix M_): storage, copying, transposition, reordering,
 * products, triangular solves and inverses, decompositions.
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements. Twins run the same steps and return the same statuses; where they
 * differ on purpose, the comment says so.
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
 *   - Counts and indices are int; indices start at 0; a row count comes before a column count.
 *   - A table that is only read, or whose columns are written in place, is `T *const *`; one whose
 *     pointers are changed is `T **`.
 *   - No two columns of a table overlap, and no column stands in a table twice.
 *   - Pointers are not checked for null and arrays are trusted to be as long as the counts say.
 *   - Nothing is printed, logged or thrown. A failing call keeps what it has written so far.
 *   - Scratch that is not mentioned lies on the stack, at most about 350 KiB.
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
 *  ran
 *          out, with nothing left allocated
 *
 *  Memory: array new, once for the slots and once a column; a caller may attach further columns made
 *  with array new of the same element type. A C host takes such a column out of another table.
 */
/**@{*/
TABFIT_API float **M_allocf(int m, int n, int nmax) TABFIT_NOEXCEPT;
TABFIT_API double **M_allocd(int m, int n, int nmax) TABFIT_NOEXCEPT;
/**@}*/

/** Releases a table of M_alloc or M_allocs.
 *
 *  @param[in] A      the table
 *  @param[in] m      not used; stands for symmetry with M_alloc
 *  @param[in] count  slots whose columns are released, null ones skipped. The capacity releases
 *                    every attached column; the number of columns leaves those attached behind it
 *                    to the caller; less than 1 releases the slots alone.
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
 *  Memory: array new, once for the slots and once a column.
 */
/**@{*/
TABFIT_API float **M_allocsf(int n) TABFIT_NOEXCEPT;
TABFIT_API double **M_allocsd(int n) TABFIT_NOEXCEPT;
/**@}*/

/** Status of the four fillers.
 *  @note Deliberate: a bad size is a positive code here; see docs/deliberate.md. */
enum { M_FILL_OK = 0, M_FILL_BAD_SIZE = 1 };

/** Fills a column table from a column-major block: A[j][i] = data[m j + i].
 *
 *  @param[out] A     column table, m by n
 *  @param[in]  data  m n elements; must not overlap A
 *  @param[in]  m     rows, m >= 2
 *  @param[in]  n     columns, n >= 2
 *
 *  @retval M_FILL_OK        A is filled
 *  @retval M_FILL_BAD_SIZE  m < 2 or n < 2; nothing is written
 */
/**@{*/
TABFIT_API int M_fillcf(float *const *A, const float *data, int m, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillcd(double *const *A, const double *data, int m, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a column table from a row-major block: A[j][i] = data[n i + j].
 *
 *  @param[out] A     column table, m by n
 *  @param[in]  data  m n elements; must not overlap A
 *  @param[in]  m     rows, m >= 2
 *  @param[in]  n     columns, n >= 2
 *
 *  @retval M_FILL_OK        A is filled
 *  @retval M_FILL_BAD_SIZE  m < 2 or n < 2; nothing is written
 */
/**@{*/
TABFIT_API int M_fillrf(float *const *A, const float *data, int m, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillrd(double *const *A, const double *data, int m, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Lays a column table over a contiguous column-major block: table[j] = data + m j. Copies nothing.
 *
 *  @param[in]  data   the block; borrowed by the table, which lives as long as it does
 *  @param[in]  m      elements of a column
 *  @param[in]  n      columns; n < 1 writes nothing
 *  @param[out] table  n slots of the caller's; never passed to M_dealloc
 */
/**@{*/
TABFIT_API void M_storecf(float *data, int m, int n, float **table) TABFIT_NOEXCEPT;
TABFIT_API void M_storecd(double *data, int m, int n, double **table) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a triangle table from a triangle packed by columns: T[j][i] = data[j (j+1) / 2 + i], i <=
 *  j. For a symmetric matrix that is also its lower triangle by rows.
 *
 *  @param[out] T     triangle table of order n
 *  @param[in]  data  n (n+1) / 2 elements; must not overlap T
 *  @param[in]  n     order, n >= 2
 *
 *  @retval M_FILL_OK        T is filled
 *  @retval M_FILL_BAD_SIZE  n < 2; nothing is written
 */
/**@{*/
TABFIT_API int M_fillscf(float *const *T, const float *data, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillscd(double *const *T, const double *data, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Fills a triangle table from a triangle packed by rows:
 *  T[j][i] = data[i n - i (i+1) / 2 + j], i <= j.
 *  For a symmetric matrix that is also its lower triangle by columns.
 *
 *  @param[out] T     triangle table of order n
 *  @param[in]  data  n (n+1) / 2 elements; must not overlap T
 *  @param[in]  n     order, n >= 2
 *
 *  @retval M_FILL_OK        T is filled
 *  @retval M_FILL_BAD_SIZE  n < 2; nothing is written
 */
/**@{*/
TABFIT_API int M_fillsrf(float *const *T, const float *data, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_fillsrd(double *const *T, const double *data, int n) TABFIT_NOEXCEPT;
/**@}*/

/* -- Copying -------------------------------------------------------------------------------------
 *
 * The letters: cop copy; ss from a triangle table to a triangle table; sr from a symmetric triangle
 * to a full (rectangular) table; tr from an upper-triangular one to a full table. None of these
 * checks its arguments; a count below 1 does nothing. Each allocates nothing and touches every
 * element once.
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
 *  @param[out] B  column table, n by m; must not overlap A
 *
 *  @retval M_TRANSP_OK        B is written; with one size below 1 there is nothing to write
 *  @retval M_TRANSP_BAD_SIZE  both sizes are below 1
 *
 *  Allocates nothing. Touches each element once.
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
 *  @retval M_TRANSPA_OK        done; nothing to do for p = q = 1
 *  @retval M_TRANSPA_BAD_SIZE  both sizes are below 1
 *
 *  Allocates nothing. Touches each element of the k by k block once.
 *  @note Deliberate: for p != q the other places of the k by k block do not keep what they held;
 *  docs/deliberate.md gives the steps.
 */
/**@{*/
TABFIT_API int M_transpaf(float *const *A, int p, int q) TABFIT_NOEXCEPT;
TABFIT_API int M_transpad(double *const *A, int p, int q) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_tranf() and M_trand(). */
enum { M_TRAN_OK = 0, M_TRAN_NO_MEMORY = -1, M_TRAN_BAD_SIZE = -2 };

/** Transposes a contiguous column-major r by c block in place into a column-major c by r one, with
 *  scratch for one row.
 *
 *  @param[in,out] a  r c elements
 *  @param[in]     r  rows
 *  @param[in]     c  columns
 *
 *  @retval M_TRAN_OK         done; with c = 0, or r < 2 and c >= 2, nothing changes
 *  @retval M_TRAN_NO_MEMORY  the scratch could not be had, or c < 0; a is unchanged
 *  @retval M_TRAN_BAD_SIZE   r < 2 and c < 2; a is unchanged
 *
 *  Cost: O(r^2 c) moves; O(r c) for a square block without the mark in it. Memory: c elements from
 *  calloc, released.
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
 *  @param[in,out] A    column table
 *  @param[in]     n    columns; less than 1 does nothing
 *  @param[in]     row  the row
 */
/**@{*/
TABFIT_API void M_lminusf(float *const *A, int n, int row) TABFIT_NOEXCEPT;
TABFIT_API void M_lminusd(double *const *A, int n, int row) TABFIT_NOEXCEPT;
/**@}*/

/** Exchanges two rows in a range of columns.
 *
 *  @param[in,out] A   column table
 *  @param[in]     j1  first column
 *  @param[in]     j2  last column, inclusive; j1 > j2 does nothing
 *  @param[in]     r1  one row
 *  @param[in]     r2  the other
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
 *  @param[in,out] idx  a permutation of 0..m-1; consumed: holds 0, 1, ..., m-1 afterwards
 *
 *  @retval M_ROWSORT_OK         done
 *  @retval M_ROWSORT_BAD_INDEX  one of 0..m-2 is missing from idx; A and idx are partly reordered,
 *                               both as far as the first missing index
 *
 *  Cost: O(m n) moves and O(m^2) comparisons of int. Allocates nothing.
 *  @note Deliberate: M_colsort goes the other way; and the last index is not searched, so any value
 *  passes there. See docs/deliberate.md.
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
 *  @param[in]     m    elements of a column
 *  @param[in]     n    columns; less than 1 does nothing
 *  @param[in]     idx  a permutation of 0..n-1, unchanged
 *
 *  @retval M_COLSORT_OK         done
 *  @retval M_COLSORT_BAD_INDEX  idx[0] is none of 0..n-1; a is unchanged
 *  @retval M_COLSORT_NO_MEMORY  the scratch could not be had; a is unchanged
 *
 *  Cost: O(m n) moves and O(n^2) comparisons of int. Memory: n ints from malloc (0 bytes for n <
 *  1).
 *  @note Deliberate: M_colsortd never releases that scratch, M_colsortf does; an index other than
 *  the first that does not occur is not reported, the columns at its place and before it change
 *  places; M_rowsort goes the other way. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_colsortf(float *a, int m, int n, const int *idx) TABFIT_NOEXCEPT;
TABFIT_API int M_colsortd(double *a, int m, int n, const int *idx) TABFIT_NOEXCEPT;
/**@}*/

/* -- Products ------------------------------------------------------------------------------------
 *
 * The names read left to right:
 *
 *   m  a general matrix in a column table          v  a vector
 *   s  a symmetric matrix in a triangle table      u  an upper-triangular matrix in a triangle
 *   table t  transposition of the general or triangular factor beside it: mtv is A^T x, mmt is A
 *   B^T trailing s after two factors   the result is symmetric, in a triangle table: mmts, mtms
 *   trailing b                     the result replaces the second operand B: mmb, mtmb, mmtb
 *   trailing a, or a further u     the result replaces the general, or the triangular, operand:
 *   smma,
 *                                  uma, uuu, utuu, uutu
 *
 * Common to all
 *   - Every sum starts at 0 and runs over the summation index in ascending order, in one double,
 *   with a
 *     fused multiply-add a step; it is rounded once, to the element type. Both twins.
 *   - A count of 0 or less of the result's rows or columns writes nothing; one of the summation
 *   index
 *     stores zeros. Counts are not checked otherwise, and nothing but the in-place products can
 *     fail.
 *   - Results must not overlap operands, but for the operand that an in-place product replaces.
 *   - Symmetric and triangular factors are read, and triangular results written, on and above the
 *     diagonal only.
 *   - Nothing is allocated, but for one scratch column by each in-place product, released before it
 *     returns. The scratch has no element if its count is negative.
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

/** r = A x + b, A x - b or b - A x. The product is rounded to the element type before b is combined
 *  with it.
 *
 *  @param[in]  A     column table, m by n
 *  @param[in]  x     n elements
 *  @param[in]  b     m elements
 *  @param[in]  m     rows
 *  @param[in]  n     columns
 *  @param[in]  mode  0: A x + b; 1 and every negative value: A x - b; 2 and above: b - A x
 *  @param[out] r     m elements, an array of its own: with b for r, the product would be combined
 *                    with itself
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

/** Status of the in-place products M_mmb, M_mtmb, M_mmtb, M_smma, M_smtma, M_utuu, M_uutu, M_utma.
 *  */
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
 *  Memory: m elements from malloc; with m = 0, a block of 0 bytes is asked for all the same.
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
 *  @param[in]     U1  triangle table of order n; not the storage of U2
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
 * gives infinities or NaN by the rules of arithmetic, and only M_tinv looks for one. Nothing is
 * allocated. Method: Golub and Van Loan, Matrix Computations, section 3.1.
 */

/** B := U^-1 B, back substitution: b(i) = (b(i) - u(i,i+1) b(i+1) - ... - u(i,n-1) b(n-1)) /
 *  u(i,i), terms in that order.
 *
 *  @param[in]     U  triangle table of order n; must not overlap B
 *  @param[in,out] B  p right-hand sides of n elements: a column table, or for one vector the
 *                    address of a pointer to it; holds the solutions
 *  @param[in]     n  order; less than 1 does nothing
 *  @param[in]     p  right-hand sides. The diagonal of U is read even if p is 0.
 */
/**@{*/
TABFIT_API void M_invtf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API void M_invtd(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** B := U^-T B, forward substitution: b(i) = (b(i) - (u(0,i) b(0) + ... + u(i-1,i) b(i-1))) /
 *  u(i,i).
 *
 *  @param[in]     U  triangle table of order n; must not overlap B
 *  @param[in,out] B  p right-hand sides of n elements, as for M_invt; holds the solutions
 *  @param[in]     n  order; less than 1 does nothing
 *  @param[in]     p  right-hand sides
 */
/**@{*/
TABFIT_API void M_invutmf(float *const *U, float *const *B, int n, int p) TABFIT_NOEXCEPT;
TABFIT_API void M_invutmd(double *const *U, double *const *B, int n, int p) TABFIT_NOEXCEPT;
/**@}*/

/** V := U^-1 V with V upper triangular.
 *
 *  @param[in]     U  triangle table of order n; must not overlap V
 *  @param[in,out] V  triangle table of order n
 *  @param[in]     n  order; less than 1 does nothing
 */
/**@{*/
TABFIT_API void M_invuuf(float *const *U, float *const *V, int n) TABFIT_NOEXCEPT;
TABFIT_API void M_invuud(double *const *U, double *const *V, int n) TABFIT_NOEXCEPT;
/**@}*/

/** X = U^-1.
 *
 *  @param[in]  U  triangle table of order n; must not overlap X
 *  @param[out] X  triangle table of order n
 *  @param[in]  n  order; less than 1 does nothing
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
 *  The lower triangle is the only working space.
 */
/**@{*/
TABFIT_API int M_tinvf(float *const *T, int n) TABFIT_NOEXCEPT;
TABFIT_API int M_tinvd(double *const *T, int n) TABFIT_NOEXCEPT;
/**@}*/

/* -- Decompositions ------------------------------------------------------------------------------ */

/** Status of M_qrdf() and M_qrdd(). A value l > 0 is a pseudo-rank. */
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
 *  The sum of squares of r is the squared residual of the least-squares problem. Q cannot be
 *  applied again: of each reflection the leading element is overwritten by R, and later row
 *  interchanges move the rest.
 *
 *  @param[in,out] A   column table of n + k columns of m elements; the first n pointers are
 *                     reordered
 *  @param[in]     m   rows, m >= 1
 *  @param[in]     n   columns of the matrix, n >= 1
 *  @param[in]     k   right-hand sides, may be 0
 *  @param[out]    ip  n elements; ip[j] is the column of the input that now stands at place j
 *
 *  @retval M_QRD_OK         all min(m, n) steps are done
 *  @retval l                1 <= l < min(m, n): the largest remaining column norm is below tol
 *                           times the largest norm of the input, or NaN; tol is 2e-5 (f), 2e-9 (d)
 *  @retval M_QRD_ZERO       the largest squared norm of the input is exactly 0; ip is the identity,
 *                           A is unchanged
 *  @retval M_QRD_BAD_SIZE   m < 1 or n < 1; nothing is changed
 *  @retval M_QRD_NO_MEMORY  the scratch could not be had; nothing is changed
 *
 *  What the pseudo-rank tells: a zero remaining norm is found, unless the input's largest norm is so
 *  small (below about 8e-154 in the d twin) that the tolerance itself underflows to 0; the call then
 *  returns 0 with a zero on the diagonal. The norms are downdated, not formed anew, and carry a noise
 *  of about 1e-16 (d) or 1e-7 (f) of the largest squared norm, far above tol squared: a column that
 *  depends on the others up to rounding is accepted about as often as not, with a diagonal element that
 *  is noise. A host that must know compares the diagonal of R with R(0,0) itself. Columns whose squares
 *  underflow (norms below about 1e-162) count as zero; squares that overflow (norms above about 1e154)
 *  spoil the result. Scale such data.
 *
 *  Cost: 2 n^2 (m - n/3) operations. Memory: n doubles from calloc, and for a table of more than 64 KiB
 *  a copy of it from malloc (in the d twin with m >= 32 (n + k), two of its columns), without which the
 *  call takes longer; released. Sums run in double,
 *  rows ascending; beta and the tolerance are evaluated in long double and rounded once. Method:
 *  Businger and Golub, Linear least squares solutions by Householder transformations, Numerische
 *  Mathematik 7 (1965); Golub and Van Loan, Matrix Computations, section 5.4.
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
 *  Because norms are downdated, the error may grow with the square of the condition of A: for a
 *  condition beyond about 1e7 (d) or 1e3 (f) prefer M_invGJ.
 *
 *  @param[in,out] A  column table of n + k columns of n elements: the matrix, then the right-hand
 *                    sides. The matrix is destroyed and its pointers are reordered; the right-hand
 *                    sides become the solutions, in the order of the unknowns.
 *  @param[in]     n  order, n >= 1
 *  @param[in]     k  right-hand sides
 *
 *  @retval M_QRDEQ_OK         the solutions are in columns n..n+k-1
 *  @retval l                  1 <= l < n: the pseudo-rank at which M_qrd stopped; the right-hand
 *                             sides are transformed, not solved
 *  @retval M_QRDEQ_ZERO       the matrix is zero
 *  @retval M_QRDEQ_BAD_SIZE   n < 1; nothing is changed
 *  @retval M_QRDEQ_NO_MEMORY  the scratch of this operation or of M_qrd could not be had; nothing
 *                             is changed
 *
 *  Memory: 2 n ints from array new and what M_qrd takes, released.
 */
/**@{*/
TABFIT_API int M_qrdeqf(float **A, int n, int k) TABFIT_NOEXCEPT;
TABFIT_API int M_qrdeqd(double **A, int n, int k) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_invGJf() and M_invGJd(). A value k > 0 names the step at which the matrix is
 *  singular. */
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
 *  @retval M_INVGJ_ZERO       the same at the first step; det is 0, A is unchanged
 *  @retval M_INVGJ_BAD_SIZE   n < 1; nothing is written, not even det
 *  @retval M_INVGJ_NO_MEMORY  the scratch could not be had; det is 1, A is unchanged
 *
 *  There is no tolerance: only an exact zero is singular. A NaN may hide other elements of its
 *  column. Cost: 2 n^3 operations.
 *  Memory: 2 n ints from calloc.
 *  Method: Press et al., Numerical Recipes, section 2.1.
 *  @note Deliberate: the 2 n ints are never released, on any path; the candidates for a pivot are
 *  chosen by a rule that keeps signs; the pointers stay exchanged. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int M_invGJf(float **A, int n, double *det) TABFIT_NOEXCEPT;
TABFIT_API int M_invGJd(double **A, int n, double *det) TABFIT_NOEXCEPT;
/**@}*/

/** Status of M_chol, M_choleq, M_cholinv and M_invs. A value k > 0 names the column, k-1, whose
 *  pivot failed. */
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
 *  @note Deliberate: the d twin divides row 0 by s(0,0), not by its root, so its factor, and what
 *  is computed with it, is that of S only for s(0,0) = 1; docs/deliberate.md shows how a host
 *  scales.
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
 *  @param[in]     p  right-hand sides
 *  @param[out]    U  triangle table of order n, the factor; may be S itself
 *
 *  @retval M_CHOL_OK        B holds the solutions
 *  @retval M_CHOL_BAD_SIZE  n < 2; nothing is written
 *  @retval k                as for M_chol; B is unchanged
 *
 *  Allocates nothing.
 *  @note Deliberate: see M_chol for the factor of the d twin.
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
 *  @param[out] X  triangle table of order n; not the storage of U
 *
 *  @retval M_CHOL_OK         X holds the inverse
 *  @retval M_CHOL_BAD_SIZE   n < 2; nothing is written
 *  @retval M_CHOL_NO_MEMORY  the scratch of M_uutu could not be had; X holds U^-1
 *  @retval k                 as for M_chol; X is unchanged
 *
 *  Memory: n elements from array new, released.
 *  @note Deliberate: see M_chol for the factor of the d twin.
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
 *  @retval M_CHOL_NO_MEMORY  the scratch of M_uutu could not be had; S holds U^-1
 *  @retval k                 as for M_chol; S is unchanged
 *
 *  Memory: n elements from array new, released.
 *  @note Deliberate: see M_chol for the factor of the d twin.
 */
/**@{*/
TABFIT_API int M_invsf(float *const *S, int n, float *const *U) TABFIT_NOEXCEPT;
TABFIT_API int M_invsd(double *const *S, int n, double *const *U) TABFIT_NOEXCEPT;
/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* TABFIT_MATRIX_H */

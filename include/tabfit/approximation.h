/* tabfit/approximation.h - interpolation and approximation of tabulated functions (prefix AX_).
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements. Twins run the same steps, each with the rounding and the tolerances
 * of its type, so a status that hangs on these may differ between them; where the steps differ, the
 * comment says so.
 *
 * Conventions of the family
 *   - Counts are int, indices start at 0, vectors are contiguous. Pointers are not checked for null
 *     and arrays are trusted to be as long as the counts say.
 *   - An argument that is written overlaps no other argument, unless a comment allows it. "May be v
 *     itself" means the same array from its first element on. Arguments that are only read may overlap.
 *   - Abscissae are in the caller's unit, ordinates in another; a slope is ordinates per abscissa,
 *     a second derivative ordinates per abscissa squared.
 *   - A single abscissa passed by value is double in both twins, and a single result through a
 *     pointer is double in both twins; arrays hold the twin's element type.
 *   - tol is the twin's tolerance: 2e-5 in the f twins, 2e-9 in the d twins. In the interpolation it is
 *     absolute, in the unit of the abscissae: a table whose spacing is below it must be rescaled. The
 *     spline fits map the range of the data onto 0..2 first, and tol is in that unit. The polynomials
 *     map it onto -1..1 and have 2e-5 in both twins.
 *   - Memory is from calloc; comments count it in elements of the twin's type and in pointers. It is
 *     released before the call returns, on success and on failure, unless a comment says otherwise.
 *   - Stack: up to 300 KiB in AX_apxval, AX_apxvals, AX_splsmoo, AX_splvals and AX_splconv, up to
 *     210 KiB in AX_apxcoef, AX_polapxcoef and AX_polyapx, below 4 KiB in the others.
 *   - Nothing is printed, logged or thrown. What a failing call has written by then stays written.
 *   - Nothing here keeps state: calls on disjoint data may run concurrently.
 */
#ifndef TABFIT_APPROXIMATION_H
#define TABFIT_APPROXIMATION_H

#include "tabfit/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* -- Linear interpolation ------------------------------------------------------------------------ */

/** Status of AX_lintvalf() and AX_lintvald(). */
enum { AX_LINTVAL_OK = 0, AX_LINTVAL_BAD_SIZE = -1, AX_LINTVAL_NO_INTERVAL = 1 };

/** Piecewise-linear interpolation at one abscissa.
 *
 *  result = y[i] + (t - x[i]) (y[i+1] - y[i]) / (x[i+1] - x[i])   with i the interval that holds t
 *
 *  @param[in]  n       number of nodes, n >= 2
 *  @param[in]  x       n nodes, strictly ascending, each interval that is met at least tol wide
 *  @param[in]  y       n ordinates
 *  @param[in]  t       abscissa; one that lies outside the nodes by no more than tol is moved onto
 *                      the nearest end
 *  @param[out] result  the ordinate at t, double in both twins
 *
 *  @retval AX_LINTVAL_OK           result is written
 *  @retval AX_LINTVAL_BAD_SIZE     n < 2; nothing is written
 *  @retval AX_LINTVAL_NO_INTERVAL  t lies outside [x[0] - tol, x[n-1] + tol] or is NaN, or the
 *                                  interval that holds it is narrower than tol (descending and equal
 *                                  nodes included); nothing is written. Narrow intervals elsewhere
 *                                  in the table do no harm.
 *
 *  Cost: O(log n). Allocates nothing, keeps nothing.
 *  Rounding: the ends of the band and the width of the interval are double; the formula is evaluated
 *  in long double and rounded once.
 *  Method: Press et al., Numerical Recipes, section 3.1.
 *  @note Deliberate: a point on an interior node belongs to the interval on its right in the f twin,
 *  which so returns y[k] exactly, and to the one on its left in the d twin, which returns y[k] up to
 *  rounding; see docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_lintvalf(int n, const float *x, const float *y, double t,
                           double *result) TABFIT_NOEXCEPT;
TABFIT_API int AX_lintvald(int n, const double *x, const double *y, double t,
                           double *result) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_linttabf() and AX_linttabd(). */
enum { AX_LINTTAB_OK = 0, AX_LINTTAB_BAD_SIZE = -1, AX_LINTTAB_NO_INTERVAL = 1 };

/** Piecewise-linear interpolation at a table of abscissae: out[j] is what AX_lintval gives at t[j],
 *  rounded to the element type.
 *
 *  @param[in]  n    number of nodes, n >= 2
 *  @param[in]  x    n nodes, strictly ascending, each interval that is met at least tol wide
 *  @param[in]  y    n ordinates
 *  @param[in]  m    number of abscissae, m >= 1
 *  @param[in]  t    m abscissae, in any order; sorted ones are fastest
 *  @param[out] out  m ordinates; may be t itself
 *
 *  @retval AX_LINTTAB_OK           all of out is written
 *  @retval AX_LINTTAB_BAD_SIZE     n < 2 or m < 1; nothing is written
 *  @retval AX_LINTTAB_NO_INTERVAL  AX_lintval refuses some t[j]; the first such j ends the call with
 *                                  out[0..j-1] written and out[j..m-1] untouched
 *
 *  Cost: O(m + n) for strictly ascending nodes and sorted abscissae that are many to an interval,
 *  O(m log n) for any others. Allocates nothing, keeps nothing.
 */
/**@{*/
TABFIT_API int AX_linttabf(int n, const float *x, const float *y, int m, const float *t,
                           float *out) TABFIT_NOEXCEPT;
TABFIT_API int AX_linttabd(int n, const double *x, const double *y, int m, const double *t,
                           double *out) TABFIT_NOEXCEPT;
/**@}*/

/* -- Cubic spline interpolation ------------------------------------------------------------------
 *
 * The spline is handed from the build to the evaluation in one vector C of 4n elements, owned by the
 * caller:
 *
 *   elements         name   content
 *   C[0   .. n-1]    y[i]   ordinate at x[i]; set by the caller before the build
 *   C[n   .. 2n-1]   b[i]   first derivative at x[i]
 *   C[2n  .. 3n-1]   c[i]   half the second derivative at x[i]
 *   C[3n  .. 4n-1]   d[i]   sixth of the third derivative on x[i] .. x[i+1]; d[n-1] = d[n-2]
 *
 * and on x[i] <= u <= x[i+1], with t = u - x[i], it is  y[i] + b[i] t + c[i] t^2 + d[i] t^3.
 */

/** Status of AX_intspl3f() and AX_intspl3d(). */
enum { AX_INTSPL3_OK = 0, AX_INTSPL3_BAD_SIZE = 1, AX_INTSPL3_BAD_NODES = 2 };

/** Cubic spline through a table, continuous with its first and second derivative. In the first interval
 *  its third derivative is that of the cubic through the first four nodes. In the last interval it is
 *  that of the cubic through the last four nodes with the opposite sign. Two nodes give a straight
 *  line, three the parabola through them.
 *
 *  @param[in]     x  n nodes, strictly ascending, each interval at least tol wide
 *  @param[in,out] C  4n elements laid out as above; in: block 0, the ordinates; out: blocks 1 to 3
 *  @param[in]     n  number of nodes, n >= 2
 *
 *  @retval AX_INTSPL3_OK         blocks 1 to 3 of C hold the spline, block 0 is unchanged
 *  @retval AX_INTSPL3_BAD_SIZE   n < 2; nothing is written
 *  @retval AX_INTSPL3_BAD_NODES  an interval is narrower than tol (descending, equal and NaN nodes
 *                                included); blocks 1 to 3 are partly written, block 0 is unchanged
 *
 *  Cost: O(n), no scratch: the tridiagonal system is solved inside C. Keeps nothing.
 *  Rounding: every formula is evaluated in long double and rounded to the element type where it is
 *  kept; the multiplier of the elimination is rounded to double.
 *  Method: Forsythe, Malcolm and Moler, Computer Methods for Mathematical Computations, section 4.4.
 *  @note Deliberate: the right end row is scaled without the change of sign that would mirror the
 *  left one. Parabolas are reproduced; a cubic polynomial is approached far from the right end only,
 *  with an error that shrinks by a factor of 3.7 with each equally spaced node. See docs/deliberate.md
 *  for what a host does about it.
 */
/**@{*/
TABFIT_API int AX_intspl3f(const float *x, float *C, int n) TABFIT_NOEXCEPT;
TABFIT_API int AX_intspl3d(const double *x, double *C, int n) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_intspl3valf() and AX_intspl3vald(). */
enum { AX_INTSPL3VAL_OK = 0, AX_INTSPL3VAL_OUT_OF_RANGE = 1 };

/** Value and first two derivatives of a cubic spline at one point.
 *
 *  @param[in]  x   n nodes, as given to AX_intspl3
 *  @param[in]  C   4n coefficients, as left by AX_intspl3 of the same twin
 *  @param[in]  n   number of nodes, n >= 1; not checked
 *  @param[in]  u   abscissa; one that lies outside the nodes by no more than tol is moved onto the
 *                  nearest end
 *  @param[out] s   value, double in both twins; none of the three outputs may be null
 *  @param[out] s1  first derivative
 *  @param[out] s2  second derivative
 *
 *  @retval AX_INTSPL3VAL_OK            all three outputs are written
 *  @retval AX_INTSPL3VAL_OUT_OF_RANGE  u lies outside [x[0] - tol, x[n-1] + tol] or is NaN, or no
 *                                      interval holds it; nothing is written
 *
 *  Cost: O(log n). Allocates nothing, keeps nothing.
 *  Rounding: u - x[i] is rounded to double, the formulas are evaluated in long double and rounded
 *  once.
 */
/**@{*/
TABFIT_API int AX_intspl3valf(const float *x, const float *C, int n, double u, double *s, double *s1,
                              double *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_intspl3vald(const double *x, const double *C, int n, double u, double *s, double *s1,
                              double *s2) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_intspl3tabf() and AX_intspl3tabd(). */
enum {
  AX_INTSPL3TAB_OK = 0,
  AX_INTSPL3TAB_BAD_SIZE = 1,
  AX_INTSPL3TAB_BAD_NODES = 2,
  AX_INTSPL3TAB_OUT_OF_RANGE = 3
};

/** Builds a cubic spline and evaluates it at a table of points: AX_intspl3, then AX_intspl3val at
 *  every u[j], each result rounded to the element type.
 *
 *  @param[in]     x   n nodes, as for AX_intspl3
 *  @param[in,out] C   4n elements; in: the ordinates in block 0; out: the spline, ready for
 *                     AX_intspl3val
 *  @param[in]     n   number of nodes, n >= 2
 *  @param[in]     m   number of points, m >= 1
 *  @param[in]     u   m points, in any order; sorted ones are fastest
 *  @param[out]    s   m values; null if not wanted
 *  @param[out]    s1  m first derivatives; null if not wanted
 *  @param[out]    s2  m second derivatives; null if not wanted. One of the three may be u itself.
 *
 *  @retval AX_INTSPL3TAB_OK            all wanted outputs are written
 *  @retval AX_INTSPL3TAB_BAD_SIZE      n < 2 or m < 1; nothing is written
 *  @retval AX_INTSPL3TAB_BAD_NODES     AX_intspl3 refuses the nodes; blocks 1 to 3 of C are partly
 *                                      written, the outputs untouched
 *  @retval AX_INTSPL3TAB_OUT_OF_RANGE  AX_intspl3val refuses some u[j]; the first such j ends the call
 *                                      with positions 0..j-1 written and j..m-1 untouched; C holds
 *                                      the spline
 *
 *  Cost: O(n + m) for sorted points that are many to an interval, O(n + m log n) for any others.
 *  Allocates nothing, keeps nothing.
 */
/**@{*/
TABFIT_API int AX_intspl3tabf(const float *x, float *C, int n, int m, const float *u, float *s,
                              float *s1, float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_intspl3tabd(const double *x, double *C, int n, int m, const double *u, double *s,
                              double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

/* -- Spline basis ---------------------------------------------------------------------------------
 *
 * All spline fits are cubic splines on n + 2 equally spaced knots z[i] = i h, h = 2 / (n + 1),
 * i = 0..n+1, over the reference interval 0..2. n counts the interior knots.
 * The basis are the n + 4 fundamental splines of clamped interpolation:
 *
 *   j         B[j] at the knots                 slope at 0   slope at 2
 *   0         0                                 1            0
 *   1..n+2    1 at z[j-1], 0 at all others      0            0
 *   n+3       0                                 0            1
 *
 * so a spline's coefficients are its left end slope, its values at the knots, and its right end slope,
 * the slopes per reference unit.
 */

/** Basis table for n interior knots: a column table of n + 4 columns of n + 2 elements, column j the
 *  second derivatives of B[j] at the knots, per reference unit squared.
 *
 *  @param[in] n  interior knots, n >= 1
 *
 *  @return the table, owned by the caller until AX_freed2fcs of the same twin; null if n < 1 or memory
 *          could not be had. It has n + 5 pointers, the last one null, over one block; both are from
 *          calloc. M_dealloc must not be given it.
 *
 *  The table depends on n alone and no call changes it: one table serves any number of fits and of
 *  threads.
 *
 *  Range: the recurrence behind it grows by 3.73 with each knot and is not guarded. The table is right
 *  up to n = 65 in the f twin and n = 537 in the d twin. At n = 66 and 538 its first column is all 0,
 *  and AX_apxcoef returns the pseudo-rank n + 3; beyond, entries are not finite, and it returns 1.
 *  Cost: O(n^2). Memory: (n + 2)(n + 4) elements and n + 5 pointers, the caller's; n + 4 elements,
 *  released.
 *  Rounding: long double, to the element type where an entry is kept; see docs/arithmetic.md.
 *  Method: Ahlberg, Nilson and Walsh, The Theory of Splines and Their Applications, chapter 2.
 */
/**@{*/
TABFIT_API float **AX_d2fcsf(int n) TABFIT_NOEXCEPT;
TABFIT_API double **AX_d2fcsd(int n) TABFIT_NOEXCEPT;
/**@}*/

/** Releases a basis table: its block, which is T[0], then its pointers.
 *
 *  @param[in] T  a table from AX_d2fcs of the same twin; not null, and not used again
 */
/**@{*/
TABFIT_API void AX_freed2fcsf(float **T) TABFIT_NOEXCEPT;
TABFIT_API void AX_freed2fcsd(double **T) TABFIT_NOEXCEPT;
/**@}*/

/* -- Least-squares spline -------------------------------------------------------------------------
 *
 * A fit is handed from the fitting to the evaluating functions in one vector a of n + 6 elements, owned
 * by the caller:
 *
 *   elements       content
 *   a[0 .. n+3]    coefficients of B[0] .. B[n+3]: slope, n + 2 knot values, slope
 *   a[n+4]         cm, the centre of the data's range, (x[0] + x[m-1]) / 2
 *   a[n+5]         hw, its half-width, cm - x[0]
 *
 * The fitted function is f(v) = sum over j of a[j] B[j](u) with u = (v - cm) / hw + 1, which takes x[0]
 * to 0 and x[m-1] to 2. Knot i stands at cm + (i h - 1) hw in the data's unit.
 *
 * tol is in units of hw.
 *
 * Keep the abscissae near 0. cm and hw are rounded to the element type, and so the first or last
 * abscissa itself may map outside the band: from |cm| / hw of a few hundred on in the f twin, of about
 * 1e7 on in the d twin. AX_apxval refuses it then. AX_splsmoof returns 0 all the same: s keeps what it
 * held from the first refused point on, and the statistics are formed with that. With the abscissae
 * 10000, 10001, ... 10010 and 10011 + 3/1024 it writes none, since the first is refused. Subtract a
 * constant from all abscissae before the fit, and from every point after it.
 */

/** Status of AX_apxcoeff() and AX_apxcoefd(). Other values are those of Ls for the design: a
 *  pseudo-rank l > 0, or -3. */
enum {
  AX_APXCOEF_OK = 0,
  AX_APXCOEF_BAD_SIZE = -10,
  AX_APXCOEF_NO_BLOCK = -6,
  AX_APXCOEF_NO_POINTERS = -5,
  AX_APXCOEF_BAD_ABSCISSAE = -4
};

/** Least-squares cubic spline on equally spaced knots: minimises the sum over i of (f(x[i]) - y[i])^2.
 *  m = n + 4 points are interpolated if they tell the basis functions apart, as the knots and a point
 *  in each end interval do. Evenly spaced points do so up to n = 37 (f) and n = 88 (d); beyond, they
 *  are refused with a pseudo-rank.
 *
 *  @param[in]  T  basis table for n, of the same twin; only read
 *  @param[in]  n  interior knots, n >= 1
 *  @param[in]  m  points, m >= n + 4
 *  @param[in]  x  m abscissae, strictly ascending (or strictly descending), neighbours at least tol
 *                 apart on the reference interval
 *  @param[in]  y  m ordinates
 *  @param[out] a  n + 6 elements laid out as above
 *
 *  @retval AX_APXCOEF_OK             fitted
 *  @retval AX_APXCOEF_BAD_SIZE       n < 1 or m < n + 4: fewer points than coefficients
 *  @retval AX_APXCOEF_BAD_ABSCISSAE  two neighbours are closer than tol, turn back, or one is NaN
 *  @retval AX_APXCOEF_NO_BLOCK       the matrix could not be had
 *  @retval AX_APXCOEF_NO_POINTERS    its pointers could not be had
 *  @retval l                         1 <= l < n + 4: the pseudo-rank of the design; an interval
 *                                    of knots without data is the usual reason
 *  @retval -3                        from Ls: its scratch could not be had
 *
 *  a is written on success only.
 *
 *  Cost: that of Ls with m rows and n + 4 unknowns. Memory: m (n + 5) elements and n + 5 pointers, and
 *  what Ls takes. All of it is released after success; a refusal before Ls keeps nothing either.
 *  Rounding: mapped abscissae, centre and half-width are double; a basis function is evaluated in
 *  long double and rounded to the element type; an abscissa that maps outside 0..2 by rounding is moved
 *  onto the end if it is the first or last, and otherwise its row of the design is zero.
 *  Method: de Boor, A Practical Guide to Splines, chapter XIV; Ahlberg, Nilson and Walsh, chapter 2.
 *  @note Deliberate: the m (n + 5) elements and n + 5 pointers stay allocated when Ls reports anything
 *  but 0. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_apxcoeff(float *const *T, int n, int m, const float *x, const float *y,
                           float *a) TABFIT_NOEXCEPT;
TABFIT_API int AX_apxcoefd(double *const *T, int n, int m, const double *x, const double *y,
                           double *a) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_apxvalf() and AX_apxvald(). */
enum { AX_APXVAL_OK = 0, AX_APXVAL_OUT_OF_RANGE = -6 };

/** Value and first two derivatives of a fitted spline at one point.
 *
 *  @param[in]  T   basis table for n, of the same twin; only read
 *  @param[in]  n   interior knots, as for the fit; not checked
 *  @param[in]  a   n + 6 coefficients
 *  @param[in]  v   abscissa in the data's unit, double in both twins; one beyond the data by no more
 *                  than tol hw is moved onto the end
 *  @param[out] s   value, unit of the ordinates, double in both twins; null if not wanted
 *  @param[out] s1  first derivative, ordinates per abscissa; null if not wanted
 *  @param[out] s2  second derivative; null if not wanted
 *
 *  @retval AX_APXVAL_OK            the wanted outputs are written
 *  @retval AX_APXVAL_OUT_OF_RANGE  v maps outside -tol .. 2 + tol, or is NaN; nothing is written
 *
 *  Cost: O(n): the second derivatives at the two ends of the interval are combined from the table.
 *  Allocates nothing, keeps nothing.
 *  Rounding: see docs/arithmetic.md.
 */
/**@{*/
TABFIT_API int AX_apxvalf(float *const *T, int n, const float *a, double v, double *s, double *s1,
                          double *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_apxvald(double *const *T, int n, const double *a, double v, double *s, double *s1,
                          double *s2) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_apxvalsf() and AX_apxvalsd(). */
enum { AX_APXVALS_OK = 0, AX_APXVALS_BAD_SIZE = -7, AX_APXVALS_OUT_OF_RANGE = -6 };

/** Value and first two derivatives of a fitted spline at m points: what AX_apxval gives, rounded to the
 *  element type.
 *
 *  @param[in]  T, n, a     as for AX_apxval
 *  @param[in]  m           points, m >= 1
 *  @param[in]  v           m abscissae in any order
 *  @param[out] s, s1, s2   m elements each, or null; one of them may be v itself
 *
 *  @retval AX_APXVALS_OK            all wanted outputs are written; the d twin returns nothing else for
 *                                   m >= 1
 *  @retval AX_APXVALS_BAD_SIZE      m < 1; nothing is written
 *  @retval AX_APXVALS_OUT_OF_RANGE  f twin only: the first point that AX_apxval refuses ends the call,
 *                                   with the points before it written and the others untouched
 *
 *  Cost: O(m + n^2), or O(m n) for fewer points than knots and for more than 254 interior knots
 *  when the points are not sorted. Allocates nothing, keeps nothing.
 *  @note Deliberate: the d twin does not look at a point's status. A refused point gets the results of
 *  the point before it; what the first point gets is not defined. Check the range first. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_apxvalsf(float *const *T, int n, const float *a, int m, const float *v, float *s,
                           float *s1, float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_apxvalsd(double *const *T, int n, const double *a, int m, const double *v, double *s,
                           double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

/* -- Smoothing ------------------------------------------------------------------------------------ */

/** Status of AX_splsmoof(), AX_splsmood(), AX_splvalsf() and AX_splvalsd(). Other values are those of
 *  AX_apxcoef. */
enum { AX_SPLSMOO_OK = 0, AX_SPLSMOO_BAD_SIZE = -10, AX_SPLSMOO_NO_MEMORY = -7 };

/** Smooths a table by a least-squares spline of n interior knots, evaluated at the data, with two
 *  statistics of the residuals r[i] = f(x[i]) - y[i]. The fewer knots, the smoother.
 *
 *  @param[in]  n   interior knots, 1 <= n <= m - 4; n = m - 4 interpolates, with the limits of
 *                  AX_apxcoef
 *  @param[in]  m   points
 *  @param[in]  x   m abscissae, as for AX_apxcoef
 *  @param[in]  y   m ordinates
 *  @param[out] s   m + 2 elements: s[0..m-1] the smoothed values, s[m] the root mean square residual,
 *                  sqrt(sum r[i]^2 / m), s[m+1] the largest |r[i]|
 *  @param[out] s1  m first derivatives, or null
 *  @param[out] s2  m second derivatives, or null. One of s, s1 and s2 may be x itself; if that is s, x
 *                  needs m + 2 places. None may be y: s would then report residuals of 0.
 *
 *  @retval AX_SPLSMOO_OK         done
 *  @retval AX_SPLSMOO_BAD_SIZE   n < 1 or n > m - 4; nothing is written or allocated
 *  @retval AX_SPLSMOO_NO_MEMORY  the basis table or the coefficients could not be had; nothing is
 *                                written or kept
 *  @retval other                 the status of AX_apxcoef; nothing is written
 *
 *  The status of the evaluation is not looked at: see the note on abscissae far from 0 above. With a
 *  NaN among the ordinates all values and the root mean square are NaN, the largest residual is 0, and
 *  the status is 0.
 *
 *  Cost: that of AX_d2fcs, AX_apxcoef and AX_apxvals. Memory: what they take, and n + 6 elements; all
 *  of it is released after success.
 *  @note Deliberate: when AX_apxcoef fails, for whatever reason, basis table and coefficients stay
 *  allocated: (n + 2)(n + 4) + n + 6 elements and n + 5 pointers, beside what AX_apxcoef keeps. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_splsmoof(int n, int m, const float *x, const float *y, float *s, float *s1,
                           float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_splsmood(int n, int m, const double *x, const double *y, double *s, double *s1,
                           double *s2) TABFIT_NOEXCEPT;
/**@}*/

/** Smooths a table and evaluates it at points of the caller's: AX_splsmoo, at v instead of x. The
 *  statistics are those at the data.
 *
 *  @param[in]  n, m, x, y  as for AX_splsmoo
 *  @param[in]  k           points, k >= 1
 *  @param[in]  v           k abscissae in the range of the data, in any order
 *  @param[out] s           max(m, k + 2) elements; s[0..k-1] the values at v, s[k] and s[k+1] the root
 *                          mean square and the largest residual; s[k+2..m-1] the values at
 *                          x[k+2..m-1]
 *  @param[out] s1, s2      k first and second derivatives at v, or null; one of them may be v itself, s
 *                          may not
 *
 *  @retval AX_SPLSMOO_OK         done
 *  @retval AX_SPLSMOO_BAD_SIZE   n < 1, n > m - 4 or k < 1; nothing is written or allocated
 *  @retval AX_SPLSMOO_NO_MEMORY  the basis table or the coefficients could not be had; nothing is
 *                                written or kept
 *  @retval other                 the status of AX_apxcoef; nothing is written
 *
 *  Points outside the data's range, by more than the band, do not change the status 0. f twin: the
 *  first such point, v[j], ends the evaluation. s1[j..k-1] and s2[j..k-1] are then untouched, and
 *  s[j..k-1] hold the values at x[j..k-1], as far as there are data. d twin: each such point repeats
 *  the point before it, as in AX_apxvals. NaN is met as by AX_splsmoo.
 *
 *  Cost and memory: those of AX_splsmoo, with a second evaluation.
 *  @note Deliberate: memory is kept as by AX_splsmoo.
 */
/**@{*/
TABFIT_API int AX_splvalsf(int n, int m, const float *x, const float *y, int k, const float *v,
                           float *s, float *s1, float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_splvalsd(int n, int m, const double *x, const double *y, int k, const double *v,
                           double *s, double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

/* -- Shape-constrained spline --------------------------------------------------------------------- */

/** Status of AX_splconvf() and AX_splconvd(). The f twin also passes on the statuses of Ls_cgrn: a
 *  pseudo-rank l > 0 of the design, -1, -3, -4 or -5. A pseudo-rank 1, which it gives for N > 66,
 *  cannot be told from AX_SPLCONVF_NO_MEMORY. */
enum {
  AX_SPLCONV_OK = 0,
  AX_SPLCONV_NO_KNOTS = -10,
  AX_SPLCONV_BAD_ARGUMENT = -2,
  AX_SPLCONVF_NO_MEMORY = 1,
  AX_SPLCONVD_FAILED = -7
};

/** Convex or concave least-squares spline, evaluated at points, with the statistics of AX_splsmoo.
 *
 *  With N = |n| interior knots: minimises the sum over i of (f(x[i]) - y[i])^2 subject to f'' >= g at
 *  every knot for n > 0, f'' <= -g for n < 0. f'' is linear between knots, so it holds everywhere.
 *
 *  @param[in]  n       interior knots, 1 <= |n| <= m - 4; positive for convex, negative for concave
 *  @param[in]  g       bound of the second derivative, g >= 0, ordinates per abscissa squared; double
 *                      in both twins
 *  @param[in]  m       points
 *  @param[in]  x       m abscissae, strictly ascending (or strictly descending). That is not checked: a
 *                      point outside x[0] .. x[m-1] is left out of the fit and spoils the statistics.
 *  @param[in]  y       m ordinates
 *  @param[in]  k       points to evaluate at, k >= 1
 *  @param[in]  v       k abscissae in the range of the data, in any order
 *  @param[out] s       max(m, k + 2) elements, laid out as for AX_splvals
 *  @param[out] s1, s2  k first and second derivatives at v, or null; one of them may be v itself, s may
 *                      not
 *
 *  @retval AX_SPLCONV_OK            fitted and evaluated
 *  @retval AX_SPLCONV_NO_KNOTS      n = 0, whatever else is wrong
 *  @retval AX_SPLCONV_BAD_ARGUMENT  |n| > m - 4, k < 1, or g negative or NaN
 *  @retval AX_SPLCONVF_NO_MEMORY    f twin: scratch of its own could not be had
 *  @retval AX_SPLCONVD_FAILED       d twin: scratch could not be had, or Ls_cgrn reports anything but
 *                                   0, for the reasons of the f twin below
 *  @retval l                        f twin: the pseudo-rank of the design; an interval of knots
 *                                   without data is the usual reason
 *  @retval -1                       f twin, from Ls_cgrn: x[0] = x[m-1], or one of the two is NaN
 *  @retval -3                       f twin, from Ls_cgrn: its scratch could not be had
 *  @retval -4                       f twin, from Ls_cgrn: no progress; see Ls_cnn
 *  @retval -5                       f twin, from Ls_cgrn: the fit is too far from the data (below). A
 *                                   spline of the shape always exists.
 *
 *  On every failure nothing is written. Statuses of the evaluation are not looked at, as in AX_splvals,
 *  and NaN among the ordinates is met as there.
 *
 *  The unit of y matters. Let d be the root of what the constraint adds to the sum of squares, in the
 *  unit of y. From d = 707 (f) or 70,710 (d) on the call fails with -5 (f) or -7 (d). Before that the
 *  result loses accuracy: its error is about eps (1 + d^2) relative, and a second derivative may miss
 *  the bound by 2e-6 (f) or 2e-10 (d) times 1 + d^2 of the most that the unconstrained fit misses it
 *  by. Scale y, and g with it, so that the residuals are of the size of 1, and scale s, s1 and s2 back.
 *
 *  May not return: the head of tabfit/least_squares.h has the rates. The d twin always returns where
 *  the unconstrained fit has the shape already. The more knots bind, the more seldom it returns: with 1
 *  to 8 knots it did not for 54 of 1,000 noisy convex data, and for 790 of 1,000 of the opposite shape.
 *
 *  Cost: that of Ls_cgrn with m rows, N + 4 unknowns and N + 2 constraints. Memory: (N + 2)(N + 4) +
 *  N + 4, N + 6, N + 2 and m (N + 5) elements and 2 (N + 5) pointers, released; and that of Ls_cgrn,
 *  some of which stays allocated where a knot binds.
 *  Method: Lawson and Hanson, Solving Least Squares Problems, chapter 23; the basis of AX_d2fcs.
 *  @note Deliberate: the twins report failures differently. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_splconvf(int n, double g, int m, const float *x, const float *y, int k,
                           const float *v, float *s, float *s1, float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_splconvd(int n, double g, int m, const double *x, const double *y, int k,
                           const double *v, double *s, double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

/* -- Polynomials ----------------------------------------------------------------------------------
 *
 * A fit of degree p is handed from the fitting to the evaluating function in one vector a of p + 5
 * elements, owned by the caller:
 *
 *   elements     content
 *   a[0 .. p]    coefficients of the Chebyshev polynomials T[0] .. T[p]
 *   a[p+1]       cm, the centre of the data's range, (x[0] + x[m-1]) / 2
 *   a[p+2]       hw, its half-width, (x[m-1] - x[0]) / 2
 *   a[p+3]       root mean square residual over the data
 *   a[p+4]       largest absolute residual over the data
 *
 * The fitted function is f(v) = sum over j of a[j] T[j](t) with t = (v - cm) / hw. Both twins accept
 * points with |t| <= 1.00002 and ask neighbouring abscissae to be 2e-5 apart in t. Keep the abscissae
 * near 0, as for splines: otherwise the first or last abscissa itself may be refused.
 */

/** Status of AX_polapxcoeff() and AX_polapxcoefd(). Other values are those of Ls for the design: a
 *  pseudo-rank l > 1, or -3. */
enum { AX_POLAPXCOEF_OK = 0, AX_POLAPXCOEF_FAILED = 1, AX_POLAPXCOEF_BAD_ABSCISSAE = -2 };

/** Least-squares polynomial of degree p: minimises the sum over i of (f(x[i]) - y[i])^2.
 *  m = p + 1 points are interpolated, of any degree where they lie like the extrema of T[p], denser
 *  towards the ends. Evenly spaced ones are accepted up to p = 20 (f) and p = 34 (d), and most are
 *  refused with a pseudo-rank beyond. At the highest of these degrees noise is no longer interpolated:
 *  look at the residual a[p+4].
 *
 *  @param[in]     p  degree, p >= 2
 *  @param[in]     m  points, m >= p + 1
 *  @param[in,out] x  m abscissae, strictly ascending (or strictly descending), neighbours at least 2e-5
 *                    half-widths apart. They are mapped in place, and mapped back after success, up to
 *                    rounding. After a failure they stay mapped, unless p < 2 or m < p + 1. Pass a
 *                    copy.
 *  @param[in]     y  m ordinates
 *  @param[out]    a  p + 5 elements laid out as above
 *
 *  @retval AX_POLAPXCOEF_OK             fitted
 *  @retval AX_POLAPXCOEF_FAILED         p < 2 or m < p + 1, and x is unchanged; or scratch could not be
 *                                       had, and x stays mapped
 *  @retval AX_POLAPXCOEF_BAD_ABSCISSAE  two neighbours are closer than 2e-5, turn back, or one is NaN;
 *                                       x stays mapped
 *  @retval l                            2 <= l < p + 1: the pseudo-rank of the design; x stays mapped
 *  @retval -3                           from Ls: its scratch could not be had; x stays mapped
 *
 *  a is written on success only. Where nearly all abscissae crowd in one place the pseudo-rank is no
 *  guard (see M_qrd): 0 may come back for a design that is dependent to working precision. With a NaN
 *  among the ordinates all coefficients and both residuals are NaN, and the status is 0.
 *
 *  Cost: that of Ls with m rows and p + 1 unknowns. Memory: m (p + 2) and min(m, 64) (p + 1) elements,
 *  p + 2 pointers, and what Ls takes.
 *  Rounding: a mapped abscissa is formed in long double and rounded once to the element type; the
 *  recurrence 2 t T[j-1] - T[j-2] is a fused step in double, stored in the element type.
 *  Method: Press et al., Numerical Recipes, sections 5.8 and 15.4; Clenshaw and Hayes, Curve and
 *  surface fitting, Journal of the IMA 1 (1965).
 *  @note Deliberate: the double twin has the single twin's 2e-5. Mapping may round an end abscissa out
 *  of -1..1: x[0] is then set to -1, but in place of x[m-1] the fit looks at x[p-1], to set it to 1;
 *  this shows in x after a refusal only. x stays mapped after the failures named. See
 *  docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_polapxcoeff(int p, int m, float *x, const float *y, float *a) TABFIT_NOEXCEPT;
TABFIT_API int AX_polapxcoefd(int p, int m, double *x, const double *y, double *a) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_polapxvalf() and AX_polapxvald(). */
enum {
  AX_POLAPXVAL_OK = 0,
  AX_POLAPXVAL_NO_MEMORY = -3,
  AX_POLAPXVAL_OUT_OF_RANGE = -4,
  AX_POLAPXVAL_NO_OUTPUT = -5
};

/** Value and first two derivatives of a fitted polynomial at k points.
 *
 *  @param[in]     p           degree, p >= 0; not checked
 *  @param[in]     a           p + 5 coefficients
 *  @param[in]     k           points; with k < 1 nothing is evaluated
 *  @param[in,out] v           k abscissae in the data's unit, in any order. They are mapped in place,
 *                             and mapped back after success, up to rounding. After any failure they
 *                             stay mapped. Pass a copy.
 *  @param[out]    s, s1, s2   k values, first and second derivatives; each may be null, not all three
 *
 *  @retval AX_POLAPXVAL_OK            the wanted outputs are written
 *  @retval AX_POLAPXVAL_NO_OUTPUT     no output is wanted
 *  @retval AX_POLAPXVAL_NO_MEMORY     scratch could not be had; no output is written
 *  @retval AX_POLAPXVAL_OUT_OF_RANGE  a point lies outside the band; the points before it are written,
 *                                     the others untouched. NaN is not refused: it gives NaN.
 *
 *  Cost: O(k p). Memory: min(k, 64) (p + 1) elements for the values, as many for first derivatives if
 *  s1 or s2 is wanted, and for second ones if s2 is.
 *  Rounding: polynomials and their derivatives are stored in the element type; the sums run in double,
 *  j ascending; a derivative's sum is divided by hw, or hw^2, in long double, and rounded once.
 *  @note Deliberate: v stays mapped on every failure. See docs/deliberate.md.
 */
/**@{*/
TABFIT_API int AX_polapxvalf(int p, const float *a, int k, float *v, float *s, float *s1,
                             float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_polapxvald(int p, const double *a, int k, double *v, double *s, double *s1,
                             double *s2) TABFIT_NOEXCEPT;
/**@}*/

/** Status of AX_polyapxf() and AX_polyapxd(). Other values are those of AX_polapxcoef and AX_polapxval;
 *  both share -3 with AX_POLYAPX_NO_MEMORY. */
enum { AX_POLYAPX_OK = 0, AX_POLYAPX_BAD_SIZE = -1, AX_POLYAPX_NO_MEMORY = -3 };

/** Fits a polynomial and evaluates it: AX_polapxcoef, then AX_polapxval.
 *
 *  @param[in]     p           degree, p >= 2
 *  @param[in]     m           points to fit, m >= p + 1
 *  @param[in,out] x           m abscissae, as for AX_polapxcoef
 *  @param[in]     y           m ordinates
 *  @param[in]     k           points to evaluate at, k >= 1
 *  @param[in,out] v           k abscissae, as for AX_polapxval; may be x itself, k <= m: the points are
 *                             then mapped and mapped back twice
 *  @param[out]    s           k + 2 elements: k values, then the root mean square and the largest
 *                             residual over the data; or null
 *  @param[out]    s1, s2      k first and second derivatives, or null; one output at least is wanted
 *
 *  @retval AX_POLYAPX_OK         done; x and v are mapped back
 *  @retval AX_POLYAPX_BAD_SIZE   p < 2, m < p + 1 or k < 1; nothing is changed
 *  @retval AX_POLYAPX_NO_MEMORY  scratch could not be had: for the coefficients, and nothing is
 *                                changed; in Ls, and x stays mapped; in the evaluation, and v stays
 *                                mapped
 *  @retval 1, -2, l              from the fit: its scratch could not be had, bad abscissae, the
 *                                pseudo-rank; x stays mapped, v is unchanged
 *  @retval -4                    from the evaluation: a point lies outside the band. The points before
 *                                it are written, the statistics are not; x is mapped back, v stays
 *                                mapped.
 *  @retval -5                    from the evaluation: no output is wanted; x is mapped back, v stays
 *                                mapped
 *
 *  Cost and rounding: those of the two. Memory: theirs, and p + 5 elements.
 */
/**@{*/
TABFIT_API int AX_polyapxf(int p, int m, float *x, const float *y, int k, float *v, float *s, float *s1,
                           float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_polyapxd(int p, int m, double *x, const double *y, int k, double *v, double *s,
                           double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

#ifdef __cplusplus
}
#endif

#endif /* TABFIT_APPROXIMATION_H */

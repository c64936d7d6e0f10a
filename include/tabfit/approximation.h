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
 *   - Abscissae are in the caller's unit, ordinates in another; a slope is ordinates per abscissa,
 *     a second derivative ordinates per abscissa squared.
 *   - A single abscissa passed by value is double in both twins, and a single result through a
 *     pointer is double in both twins; arrays hold the twin's element type.
 *   - tol is the twin's tolerance: 2e-5 in the f twins, 2e-9 in the d twins. For the interpolation it is
 *     in the unit of the abscissae and absolute: tables whose spacing is below it must be rescaled by the
 *     caller. The fits map the data onto a reference interval first, and tol is in units of that.
 *   - Nothing is printed, logged or thrown. A failing call keeps what it has written so far.
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
 *  @param[in]  x       n nodes, strictly ascending, each interval at least tol wide
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
 *  @param[in]  x    n nodes, strictly ascending, each interval at least tol wide
 *  @param[in]  y    n ordinates
 *  @param[in]  m    number of abscissae, m >= 1
 *  @param[in]  t    m abscissae, in any order; sorted ones are fastest
 *  @param[out] out  m ordinates; may be t itself, must not overlap x, y or a part of t otherwise
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

/** Cubic spline through a table, continuous with its first and second derivative. The third derivative
 *  at the left end is that of the cubic through the four nodes nearest to it, at the right end the
 *  negative of it. Two nodes give a straight line, three the parabola through them.
 *
 *  @param[in]     x  n nodes, strictly ascending, each interval at least tol wide
 *  @param[in,out] C  4n elements laid out as above; in: block 0, the ordinates; out: blocks 1 to 3.
 *                    Must not overlap x.
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
 *  @param[out] s   value, double in both twins; none of the three outputs may be null, and none may be
 *                  an element of x, C or another output
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
 *  @param[out]    s2  m second derivatives; null if not wanted. Each output may be u itself and must
 *                     not overlap x, C, another output or a part of u otherwise.
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
 * The fits by splines work in one space: the cubic splines on n + 2 equally spaced knots
 * z[i] = i h, h = 2 / (n + 1), i = 0..n+1, over the reference interval 0..2. n counts the interior knots.
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
 *          could not be had. n + 5 pointers, the last one null, over one block, both from calloc. M_dealloc
 *          must not be given it.
 *
 *  It depends on n alone and is not changed by any call but AX_splconv's own: one table serves any
 *  number of fits, and any number of threads.
 *
 *  Range: the recurrence behind it grows by 3.73 with each knot and is not guarded. The table is right up
 *  to n = 65 in the f twin and n = 537 in the d twin. At n = 66 and 538 its first column is all 0 and a
 *  fit returns a pseudo-rank; beyond, entries are not finite, and it returns what M_qrd makes of the NaN.
 *  Cost: O(n^2). Memory: (n + 2)(n + 4) elements and n + 5 pointers, kept; n + 4 elements, released.
 *  Rounding: long double, to the element type where an entry is kept; see docs/arithmetic.md.
 *  Method: Ahlberg, Nilson and Walsh, The Theory of Splines and Their Applications, chapter 2.
 */
/**@{*/
TABFIT_API float **AX_d2fcsf(int n) TABFIT_NOEXCEPT;
TABFIT_API double **AX_d2fcsd(int n) TABFIT_NOEXCEPT;
/**@}*/

/** Releases a basis table: its block, then its pointers.
 *
 *  @param[in] T  a table from AX_d2fcs of the same twin, not null, once
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
 * tol is 2e-5 in the f twins and 2e-9 in the d twins, on the reference interval: in units of hw.
 *
 * Keep the abscissae near 0. cm and hw are rounded to the element type. From |cm| / hw of a few hundred on
 * in the f twin, and of about 1e7 on in the d twin, the first or last abscissa itself may so map outside
 * the band and be refused when the fit is evaluated: AX_apxval gives AX_APXVAL_OUT_OF_RANGE, AX_splsmoof
 * 0 with values that it never wrote (example: x = 10000 + i, i = 0..11, but for a last one of
 * 10011 + 3/1024, where the first point is refused and no value is written). Subtract a constant from all abscissae before the fit, and from every point.
 */

/** Status of AX_apxcoeff() and AX_apxcoefd(). Other values are those of Ls for the design: a pseudo-rank
 *  l > 0, or -1, -2, -3. */
enum {
  AX_APXCOEF_OK = 0,
  AX_APXCOEF_BAD_SIZE = -10,
  AX_APXCOEF_NO_BLOCK = -6,
  AX_APXCOEF_NO_POINTERS = -5,
  AX_APXCOEF_BAD_ABSCISSAE = -4
};

/** Least-squares cubic spline on equally spaced knots: minimises the sum over i of (f(x[i]) - y[i])^2.
 *  m = n + 4 points are interpolated, if every basis function has a point of its own: the knots and a point
 *  in each end interval do; evenly spaced ones are refused from about n = 38 on in the f twin.
 *
 *  @param[in]  T  basis table for n, of the same twin; only read
 *  @param[in]  n  interior knots, n >= 1
 *  @param[in]  m  points, m >= n + 4
 *  @param[in]  x  m abscissae, strictly ascending (or strictly descending), neighbours at least tol apart
 *                 on the reference interval
 *  @param[in]  y  m ordinates
 *  @param[out] a  n + 6 elements laid out as above
 *
 *  @retval AX_APXCOEF_OK             fitted
 *  @retval AX_APXCOEF_BAD_SIZE       n < 1 or m < n + 4: fewer points than coefficients
 *  @retval AX_APXCOEF_BAD_ABSCISSAE  two neighbours are closer than tol, turn back, or are NaN
 *  @retval AX_APXCOEF_NO_BLOCK       the matrix could not be had
 *  @retval AX_APXCOEF_NO_POINTERS    its pointers could not be had
 *  @retval l                         1 <= l < n + 4: the pseudo-rank of the design; an interval
 *                                    of knots without data is the usual reason
 *  @retval -1, -3                    from Ls: the design is zero; the solver's scratch could not be had
 *
 *  a is written on success only.
 *
 *  Cost: that of Ls with m rows and n + 4 unknowns. Memory: m (n + 5) elements and n + 5 pointers from
 *  calloc, released.
 *  Rounding: mapped abscissae, centre and half-width are double; a basis function is evaluated in
 *  long double and rounded to the element type; an abscissa that maps outside 0..2 by rounding is moved
 *  onto the end if it is the first or last, and otherwise its row of the design is zero.
 *  Method: de Boor, A Practical Guide to Splines, chapter XIV; Ahlberg, Nilson and Walsh, chapter 2.
 *  @note Deliberate: the scratch stays allocated when the solver reports anything but 0. See
 *  docs/deliberate.md.
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
 *  @param[in]  v   abscissa in the data's unit, double in both twins; one beyond the data by no more than
 *                  tol hw is moved onto the end
 *  @param[out] s   value, unit of the ordinates, double in both twins; null if not wanted
 *  @param[out] s1  first derivative, ordinates per abscissa; null if not wanted
 *  @param[out] s2  second derivative; null if not wanted
 *
 *  @retval AX_APXVAL_OK            the wanted outputs are written
 *  @retval AX_APXVAL_OUT_OF_RANGE  v maps outside -tol .. 2 + tol, or is NaN; nothing is written
 *
 *  Cost: O(n): the second derivatives at the two ends of the interval are combined from the table.
 *  Allocates nothing, keeps nothing.
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
 *  @param[out] s, s1, s2   m elements each, or null; each may be v itself
 *
 *  @retval AX_APXVALS_OK            f twin: all outputs are written; d twin: always, for m >= 1
 *  @retval AX_APXVALS_BAD_SIZE      m < 1; nothing is written
 *  @retval AX_APXVALS_OUT_OF_RANGE  f twin only: the first point that AX_apxval refuses ends the call,
 *                                   with the points before it written and the others untouched
 *
 *  Cost: O(m + n^2), or O(m n) for fewer points than knots and for more than 254 interior knots
 *  when the points are not sorted. Allocates nothing, keeps nothing.
 *  @note Deliberate: the d twin does not look at a point's status. A refused point gets the results of
 *  the point before it; with none before it the value is indeterminate. Check the range first. See
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
 *  @param[in]  n   interior knots, 1 <= n <= m - 4; n = m - 4 interpolates
 *  @param[in]  m   points
 *  @param[in]  x   m abscissae, as for AX_apxcoef
 *  @param[in]  y   m ordinates
 *  @param[out] s   m + 2 elements: s[0..m-1] the smoothed values, s[m] the root mean square residual,
 *                  sqrt(sum r[i]^2 / m), s[m+1] the largest |r[i]|
 *  @param[out] s1  m first derivatives, or null
 *  @param[out] s2  m second derivatives, or null
 *
 *  @retval AX_SPLSMOO_OK         done
 *  @retval AX_SPLSMOO_BAD_SIZE   n < 1 or n > m - 4; nothing is written or allocated
 *  @retval AX_SPLSMOO_NO_MEMORY  the basis table or the coefficients could not be had
 *  @retval other                 the status of AX_apxcoef; nothing is written
 *
 *  The status of the evaluation is not looked at: see the note on abscissae far from 0 above.
 *
 *  Cost: that of AX_d2fcs, AX_apxcoef and AX_apxvals, whose scratch is released.
 *  @note Deliberate: basis table and coefficients stay allocated when the fit fails, for whatever
 *  reason. See docs/deliberate.md.
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
 *                          mean square and the largest residual; the rest is overwritten
 *  @param[out] s1, s2      k first and second derivatives at v, or null
 *
 *  @retval AX_SPLSMOO_OK         done
 *  @retval AX_SPLSMOO_BAD_SIZE   n < 1, n > m - 4 or k < 1; nothing is written or allocated
 *  @retval AX_SPLSMOO_NO_MEMORY  the basis table or the coefficients could not be had
 *  @retval other                 the status of AX_apxcoef; nothing is written
 *
 *  Points outside the data's range, by more than the band, give what AX_apxvals gives: in the f twin the
 *  first ends the evaluation, in the d twin each repeats the point before it; 0 is returned all the same.
 *  @note Deliberate: memory is kept as by AX_splsmoo.
 */
/**@{*/
TABFIT_API int AX_splvalsf(int n, int m, const float *x, const float *y, int k, const float *v,
                           float *s, float *s1, float *s2) TABFIT_NOEXCEPT;
TABFIT_API int AX_splvalsd(int n, int m, const double *x, const double *y, int k, const double *v,
                           double *s, double *s1, double *s2) TABFIT_NOEXCEPT;
/**@}*/

/* -- Shape-constrained spline --------------------------------------------------------------------- */

/** Status of AX_splconvf() and AX_splconvd(). The f twin also passes on the statuses of Ls_cgrn, of which
 *  a pseudo-rank 1 cannot be told from AX_SPLCONVF_NO_MEMORY, nor -2 from AX_SPLCONV_BAD_ARGUMENT. */
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
 *  @param[in]  g       bound of the second derivative, g >= 0, ordinates per abscissa squared; double in
 *                      both twins
 *  @param[in]  m       points
 *  @param[in]  x       m abscissae, strictly ascending; not checked
 *  @param[in]  y       m ordinates
 *  @param[in]  k       points to evaluate at, k >= 1
 *  @param[in]  v       k abscissae in the range of the data, in any order
 *  @param[out] s       max(m, k + 2) elements, laid out as for AX_splvals
 *  @param[out] s1, s2  k first and second derivatives at v, or null
 *
 *  @retval AX_SPLCONV_OK            fitted and evaluated
 *  @retval AX_SPLCONV_NO_KNOTS      n = 0
 *  @retval AX_SPLCONV_BAD_ARGUMENT  |n| > m - 4, k < 1, or g negative or NaN
 *  @retval AX_SPLCONVF_NO_MEMORY    f twin: scratch could not be had
 *  @retval AX_SPLCONVD_FAILED       d twin: scratch could not be had, or Ls_cgrn reports anything but 0
 *  @retval other                    f twin: the status of Ls_cgrn
 *
 *  On every failure nothing is written. Statuses of the evaluation are not looked at, as in AX_splvals.
 *
 *  May not return: see the head of tabfit/least_squares.h. The d twin returns for data whose
 *  unconstrained fit has the shape already and for few others; the f twin nearly always.
 *  Cost: that of Ls_cgrn with m rows, N + 4 unknowns and N + 2 constraints. Memory: the basis table, N + 6
 *  and N + 2 elements, m (N + 5) elements and N + 5 pointers, released; and what Ls_cnn leaves allocated.
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
 * near 0, as for splines: the f twin's own first or last abscissa may otherwise be refused.
 */

/** Status of AX_polapxcoeff() and AX_polapxcoefd(). Other values are those of Ls for the design. */
enum { AX_POLAPXCOEF_OK = 0, AX_POLAPXCOEF_FAILED = 1, AX_POLAPXCOEF_BAD_ABSCISSAE = -2 };

/** Least-squares polynomial of degree p: minimises the sum over i of (f(x[i]) - y[i])^2. m = p + 1 points
 *  are interpolated.
 *
 *  @param[in]     p  degree, p >= 2
 *  @param[in]     m  points, m >= p + 1
 *  @param[in,out] x  m abscissae, strictly ascending (or strictly descending), neighbours at least 2e-5
 *                    half-widths apart. They are mapped in place and mapped back after success, up to
 *                    rounding; after AX_POLAPXCOEF_BAD_ABSCISSAE and a status of Ls they stay mapped. Pass
 *                    a copy.
 *  @param[in]     y  m ordinates
 *  @param[out]    a  p + 5 elements laid out as above
 *
 *  @retval AX_POLAPXCOEF_OK             fitted
 *  @retval AX_POLAPXCOEF_FAILED         p < 2, m < p + 1 (x is unchanged), or scratch could not be had (x
 *                                       stays mapped); also a pseudo-rank 1
 *  @retval AX_POLAPXCOEF_BAD_ABSCISSAE  neighbours closer than 2e-5, turning back, or NaN
 *  @retval l, -1, -3                    from Ls
 *
 *  a is written on success only. Where nearly all abscissae crowd in one place the pseudo-rank is no
 *  guard (see M_qrd): 0 may come back for a design that is dependent to working precision.
 *
 *  Cost: that of Ls with m rows and p + 1 unknowns. Memory from calloc: m (p + 2) elements, p + 2
 *  pointers, up to 64 (p + 1) elements; released.
 *  Rounding: a mapped abscissa is formed in long double and rounded once to the element type; the
 *  recurrence 2 t T[j-1] - T[j-2] is a fused step in double, stored in the element type.
 *  Method: Press et al., Numerical Recipes, sections 5.8 and 15.4; Clenshaw and Hayes, Curve and surface
 *  fitting, Journal of the IMA 1 (1965).
 *  @note Deliberate: the double twin has the single twin's 2e-5; the upper clamp of the mapped abscissae
 *  looks at x[p-1], not at x[m-1]; x stays mapped on the failures named. See docs/deliberate.md.
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
 *  @param[in]     p           degree, as for the fit; not checked
 *  @param[in]     a           p + 5 coefficients
 *  @param[in]     k           points; with k < 1 nothing is evaluated
 *  @param[in,out] v           k abscissae in the data's unit, in any order. They are mapped in place and
 *                             mapped back after success, up to rounding; after any failure they stay
 *                             mapped. Pass a copy.
 *  @param[out]    s, s1, s2   k values, first and second derivatives; each may be null, not all three;
 *                             none may be v
 *
 *  @retval AX_POLAPXVAL_OK            the wanted outputs are written
 *  @retval AX_POLAPXVAL_NO_OUTPUT     no output is wanted
 *  @retval AX_POLAPXVAL_NO_MEMORY     scratch could not be had
 *  @retval AX_POLAPXVAL_OUT_OF_RANGE  a point lies outside the band; the points before it are written,
 *                                     the others untouched. NaN is not refused: it gives NaN.
 *
 *  Cost: O(k p). Memory: up to 64 (p + 1) elements for the values, as many for first derivatives if
 *  s1 or s2 is wanted, and for second ones if s2 is; from calloc, released.
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

/** Status of AX_polyapxf() and AX_polyapxd(). Other values are those of AX_polapxcoef, if x has been
 *  given to it, or of AX_polapxval; the two share -3 with AX_POLYAPX_NO_MEMORY. */
enum { AX_POLYAPX_OK = 0, AX_POLYAPX_BAD_SIZE = -1, AX_POLYAPX_NO_MEMORY = -3 };

/** Fits a polynomial and evaluates it: AX_polapxcoef, then AX_polapxval.
 *
 *  @param[in]     p           degree, p >= 2
 *  @param[in]     m           points to fit, m >= p + 1
 *  @param[in,out] x           m abscissae, as for AX_polapxcoef
 *  @param[in]     y           m ordinates
 *  @param[in]     k           points to evaluate at, k >= 1
 *  @param[in,out] v           k abscissae, as for AX_polapxval
 *  @param[out]    s           k + 2 elements: k values, then the root mean square and the largest
 *                             residual over the data; or null
 *  @param[out]    s1, s2      k first and second derivatives, or null
 *
 *  @retval AX_POLYAPX_OK         done
 *  @retval AX_POLYAPX_BAD_SIZE   p < 2, m < p + 1 or k < 1; nothing is changed
 *  @retval AX_POLYAPX_NO_MEMORY  the coefficients could not be had; nothing is changed
 *  @retval other                 the status of the fit, then of the evaluation; x and v as these leave
 *                                them
 *
 *  Cost and rounding: those of the two. Memory: theirs, and p + 5 elements from calloc, released.
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

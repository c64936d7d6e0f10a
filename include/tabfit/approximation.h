/* tabfit/approximation.h - interpolation and approximation of tabulated functions (prefix AX_).
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements. Twins run the same steps and return the same statuses; where they
 * differ on purpose, the comment says so.
 *
 * Conventions of the family
 *   - Counts are int, indices start at 0, vectors are contiguous. Pointers are not checked for null
 *     and arrays are trusted to be as long as the counts say.
 *   - Abscissae are in the caller's unit, ordinates in another; a slope is ordinates per abscissa,
 *     a second derivative ordinates per abscissa squared.
 *   - A single abscissa passed by value is double in both twins, and a single result through a
 *     pointer is double in both twins; arrays hold the twin's element type.
 *   - tol is the twin's tolerance: 2e-5 in the f twins, 2e-9 in the d twins, in the unit of the
 *     abscissae. It is absolute: tables whose spacing is below it must be rescaled by the caller.
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

#ifdef __cplusplus
}
#endif

#endif /* TABFIT_APPROXIMATION_H */

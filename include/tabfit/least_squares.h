/* tabfit/least_squares.h - linear least squares, plain and constrained (prefix Ls_).
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements.
 *
 * This version declares no function of the family yet. */
#ifndef TABFIT_LEAST_SQUARES_H
#define TABFIT_LEAST_SQUARES_H

#include "tabfit/export.h"

#endif /* TABFIT_LEAST_SQUARES_H */

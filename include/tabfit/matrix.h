/* tabfit/matrix.h - dense matrix algebra (prefix M_).
 *
 * Every operation comes as precision twins: the name ending in f works on float elements, the name
 * ending in d on double elements.
 *
 * This version declares no function of the family yet. */
#ifndef TABFIT_MATRIX_H
#define TABFIT_MATRIX_H

#include "tabfit/export.h"

#endif /* TABFIT_MATRIX_H */

/* tabfit/tabfit.h - the whole library: interpolation and approximation of tabulated functions,
 * linear least squares, dense matrix algebra. */
#ifndef TABFIT_TABFIT_H
#define TABFIT_TABFIT_H

/** Version of these headers. The library carries no version function: its SONAME tells which
 *  binary interface it has, and these macros tell what a host was compiled against. */
#define TABFIT_VERSION_MAJOR 0
#define TABFIT_VERSION_MINOR 1
#define TABFIT_VERSION_PATCH 0
#define TABFIT_VERSION_STRING "0.1.0"

#include "tabfit/approximation.h"
#include "tabfit/least_squares.h"
#include "tabfit/matrix.h"

#endif /* TABFIT_TABFIT_H */

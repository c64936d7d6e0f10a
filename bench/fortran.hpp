// bench/fortran.hpp - the compiled solvers inside the packages of SciPy and R, without their languages.
#pragma once

#include <string>

namespace tabfit::bench {

/// min |A x - b|, x >= 0, of Lawson and Hanson. A (by columns) and b are overwritten. The last argument
/// of SciPy's is the greatest number of steps, -1 for its default; R's returns a count in it.
using Nnls = void (*)(double* A, const int* leading, const int* m, const int* n, double* b, double* x,
                      double* norm, double* w, double* z, int* index, int* mode, int* last);

/// Null if the package is not there.
Nnls scipy_nnls();
Nnls r_nnls();

/// min x' D x / 2 - d' x, C' x >= f, of Goldfarb and Idnani, by R's quadprog. D and d are overwritten; status
/// is 0 on call, and afterwards too if there is a solution.
using QuadraticProgram = void (*)(double* D, double* d, const int* leading, const int* n, double* x,
                                  double* multipliers, double* value, const double* C, const double* f,
                                  const int* leading_of_C, const int* constraints,
                                  const int* equalities, int* active, int* active_count, int* steps,
                                  double* work, int* status);

QuadraticProgram r_quadratic_program();

}  // namespace tabfit::bench

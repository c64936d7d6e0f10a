// matrix1/in_place.hpp - the pattern of the products that overwrite an operand column by column.
#pragma once

#include "tabfit/matrix.h"

#include "kernels/scalar/vector.hpp"

namespace tabfit {

/// Replaces column k of B by a result, k = 0..columns-1. The result depends on the whole column that it
/// replaces, so form(k, scratch) writes it into the scratch, and it is copied from there.
template <class Real, class Scratch, class Form>
int replace_columns(Real* const* B, int rows, int columns, const Scratch& scratch, Form form) noexcept {
  if (!scratch) return M_INPLACE_NO_MEMORY;
  for (int k = 0; k < columns; ++k) {
    form(k, scratch.get());
    V_copy(scratch.get(), B[k], rows);
  }
  return M_INPLACE_OK;
}

}  // namespace tabfit

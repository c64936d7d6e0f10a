// kernels/table.hpp - fills the table of an instruction set: each member with the body of its name that
// the file including this has included before.
#pragma once

#include "kernels/lanes/choice.hpp"

namespace tabfit {
namespace {

template <class Real>
constexpr ElementKernels<Real> element_table = {
    .dot = dot<Real>,
    .axpy = axpy<Real, Real>,
    .axpy_of_doubles = axpy<double, Real>,
    .greatest = greatest<Real>,
    .pack_lines = pack_lines<Real>,
    .pack_terms = pack_terms<Real>,
    .unpack_terms = unpack_terms<Real>,
    .dots = dots<Real>,
    .sweep = sweep<Real>,
    .solve_rows = solve_rows<Real>,
    .invert_rows = invert_rows<Real>,
    .next_rows = next_rows<Real>,
    .factor_rows = factor_rows<Real>,
    .may_wait = may_wait<Real>,
    .reflect = reflect<Real>,
    .reflect_row = reflect_row<Real>,
    .column_squares = column_squares<Real>,
    .map = map<Real>,
    .map_elements = map_elements<Real>,
    .map_back = map_back<Real>,
    .divide = divide<Real>,
    .basis = basis<Real>,
    .spline = spline<Real>,
    .find = find<Real>,
    .line = line<Real>,
    .cubic = cubic<Real>,
    .clamp = clamp<Real>,
    .chebyshev = chebyshev<Real>,
    .chebyshev_derivatives = chebyshev_derivatives<Real>,
    .eliminate = eliminate<Real>,
    .substitute = substitute<Real>,
};

inline constexpr Kernels table = {
    .lanes = lanes,
    .tile = tile,
    .reflect_columns = reflect_columns,
    .locate = locate,
    .weigh = weigh,
    .f = element_table<float>,
    .d = element_table<double>,
};

}  // namespace
}  // namespace tabfit

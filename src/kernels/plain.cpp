// kernels/plain.cpp - the kernels as plain loops, for every processor.
#include "kernels/points/points_plain.hpp"
#include "kernels/points/spline_plain.hpp"
#include "kernels/sums/panel_plain.hpp"
#include "kernels/sums/reflect_plain.hpp"
#include "kernels/sums/unknowns_plain.hpp"
#include "kernels/table.hpp"

namespace tabfit {

constexpr Kernels plain_kernels = table;

}  // namespace tabfit

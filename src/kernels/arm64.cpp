// kernels/arm64.cpp - the kernels for arm64.
#include "kernels/points/points_lanes.hpp"
#include "kernels/points/spline_lanes.hpp"
#include "kernels/sums/panel_lanes.hpp"
#include "kernels/sums/reflect_lanes.hpp"
#include "kernels/sums/unknowns_lanes.hpp"
#include "kernels/table.hpp"

namespace tabfit {

constexpr Kernels arm64_kernels = table;

}  // namespace tabfit

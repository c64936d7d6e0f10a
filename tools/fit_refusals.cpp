// tools/fit_refusals.cpp - why a fit is refused, in the words of its data.
#include "tools/fit_refusals.hpp"

#include <algorithm>

#include "tools/design.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {

template <class Real>
void check_size(const Pairs<Real>& data, Kind kind, int size) {
  const bool spline = kind == Kind::spline;
  const int needed = unknowns(kind, size);
  if (data.count() < needed)
    data.refuse("too few points for " +
                (spline ? std::to_string(size) + (size == 1 ? " knot" : " knots")
                        : "degree " + std::to_string(size)) +
                ": at least " + std::to_string(needed) + " are needed, but there are " +
                std::to_string(data.count()));
  if (spline && size > Precision<Real>::most_knots)
    data.refuse("too many knots for " + std::string(Precision<Real>::name) +
                " precision: " + std::to_string(size) + ", but at most " +
                std::to_string(Precision<Real>::most_knots) + " are possible");
}

template <class Real>
void refuse_rank(const Pairs<Real>& data, Kind kind, int size, int rank) {
  const bool spline = kind == Kind::spline;
  std::string why = spline ? empty_intervals(Knots{size, data.x.front(), data.x.back()}, data.x) : "";
  if (why.empty())
    why = std::string("the data do not determine so many coefficients, use ") +
          (spline ? "fewer knots" : "a lower degree");
  data.refuse("the design is rank deficient, rank " + std::to_string(std::max(rank, 0)) + " of " +
              std::to_string(unknowns(kind, size)) + ": " + why);
}

template <class Real>
void refuse_closest(const Pairs<Real>& data, double tolerance) {
  std::size_t closest = 0;
  const auto gap = [&](std::size_t i) { return double(data.x[i + 1]) - double(data.x[i]); };
  for (std::size_t i = 1; i + 1 < data.x.size(); ++i)
    if (gap(i) < gap(closest)) closest = i;
  data.refuse_interval(closest, "they must increase by at least " + shortest(tolerance) +
                                    " of half the range in " + Precision<Real>::name + " precision");
}

template <class Real>
void refuse_range(const Pairs<Real>& data, const char* what) {
  data.refuse(std::string(what) + " beyond the range of " + Precision<Real>::name + " precision");
}

template void check_size(const Pairs<float>&, Kind, int);
template void check_size(const Pairs<double>&, Kind, int);
template void refuse_rank(const Pairs<float>&, Kind, int, int);
template void refuse_rank(const Pairs<double>&, Kind, int, int);
template void refuse_closest(const Pairs<float>&, double);
template void refuse_closest(const Pairs<double>&, double);
template void refuse_range(const Pairs<float>&, const char*);
template void refuse_range(const Pairs<double>&, const char*);

}  // namespace tabfit::tool

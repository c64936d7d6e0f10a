// tools/fitted.cpp - a least-squares spline or polynomial: how it is fitted and evaluated.
#include "tools/fitted.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>

#include "tools/failure.hpp"
#include "tools/number.hpp"
#include "tools/precision.hpp"

namespace tabfit::tool {
namespace {

// -- the data ---------------------------------------------------------------------------------------

/// "9, 10", or "1, 2, 3, 4, 5, ..." for more than five.
template <class Real>
std::string row_list(const Pairs<Real>& data, std::size_t first, std::size_t last) {
  constexpr std::size_t most = 5;
  std::string list;
  for (std::size_t i = first; i < last; ++i) {
    if (i - first == most) return list + ", ...";
    list += (i == first ? "" : ", ") + std::to_string(data.row_of(i).number);
  }
  return list;
}

/// The abscissae that the library sees; the difference is exact.
template <class Real>
std::vector<Real> shifted(std::vector<Real> x, Real shift) {
  for (Real& t : x) t -= shift;
  return x;
}

/// For 0 < a <= b <= 2 a the difference b - a is exact, and so is that of any two numbers between them.
template <class Real>
Real shift_of(Real first, Real last) {
  const Real least = std::min(std::abs(first), std::abs(last));
  const Real most = std::max(std::abs(first), std::abs(last));
  if ((first < 0) != (last < 0) || most > 2 * least) return 0;
  return first + (last - first) / 2;
}

// -- the design of a spline -------------------------------------------------------------------------

/// Knot i of n + 2 equally spaced ones.
template <class Real>
double knot(const Fitted<Real>& f, int i) {
  return std::lerp(double(f.first), double(f.last), double(i) / (f.size + 1));
}

/// The abscissa on the scale of the knots: 0 to n + 1.
template <class Real>
double in_knots(const Fitted<Real>& f, Real x) {
  const long double width = static_cast<long double>(f.last) - f.first;
  return double((static_cast<long double>(x) - f.first) / width * (f.size + 1));
}

/// Rank of the design without rounding (Schoenberg and Whitney): the greatest number of abscissae that
/// can each take a B-spline of its own, one that is not zero there. At an abscissa three (on a knot) or
/// four neighbours of the n + 4 B-splines are not zero. Abscissae ascend, and the first free B-spline
/// is the best choice. The ends of the range need no rule of their own: one abscissa lies at each and
/// takes one.
template <class Real>
int rank_of_design(const Fitted<Real>& f, const std::vector<Real>& x) {
  const int n = f.size;
  int free = 0, rank = 0;
  for (const Real t : x) {
    const double s = in_knots(f, t);
    const int interval = std::min(int(s), n);
    const bool on_knot = s == interval;
    const int chosen = std::max(free, interval);
    if (chosen > interval + (on_knot ? 2 : 3)) continue;
    free = chosen + 1;
    ++rank;
  }
  return rank;
}

/// A knot in the unit of the data, with enough digits to tell it from its neighbours.
template <class Real>
std::string knot_text(const Fitted<Real>& f, int i) {
  const double width = (double(f.last) - double(f.first)) / (f.size + 1);
  const int decimals = 1 - int(std::floor(std::log10(width)));
  const double unit = std::pow(10.0, -decimals);
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", std::round(knot(f, i) / unit) * unit);
  return text;
}

/// "no data between 12.1 and 15.8": the longest runs of knot intervals with no abscissa inside.
template <class Real>
std::string empty_intervals(const Fitted<Real>& f, const std::vector<Real>& x) {
  constexpr std::size_t most = 3;
  const int n = f.size;
  std::vector<bool> inside(std::size_t(n) + 1, false), on_knot(std::size_t(n) + 2, false);
  for (const Real t : x) {
    const double s = in_knots(f, t);
    const std::size_t i = std::size_t(std::min(int(s), n));
    if (s == double(i) || s == n + 1)
      on_knot[std::size_t(s)] = true;
    else
      inside[i] = true;
  }
  struct Run {
    int first, last;  // knots
  };
  std::vector<Run> runs;
  for (int i = 0; i <= n; ++i) {
    if (inside[std::size_t(i)]) continue;
    if (runs.empty() || runs.back().last < i || on_knot[std::size_t(i)]) runs.push_back({i, i});
    ++runs.back().last;
  }
  std::ranges::stable_sort(runs, {}, [](const Run& run) { return run.first - run.last; });
  const std::size_t shown = std::min(runs.size(), most);
  std::sort(runs.begin(), runs.begin() + std::ptrdiff_t(shown),
            [](const Run& a, const Run& b) { return a.first < b.first; });

  std::string list;
  for (std::size_t k = 0; k < shown; ++k)
    list += (k == 0 ? "no data between " : ", between ") + knot_text(f, runs[k].first) + " and " +
            knot_text(f, runs[k].last);
  if (runs.size() > shown) list += ", and in " + std::to_string(runs.size() - shown) + " shorter gaps";
  return list;
}

// -- refusals ---------------------------------------------------------------------------------------

template <class Real>
[[noreturn]] void refuse_rank(const Pairs<Real>& data, const Fitted<Real>& f, int rank) {
  const int unknowns = f.kind == Kind::spline ? f.size + 4 : f.size + 1;
  std::string why = f.kind == Kind::spline ? empty_intervals(f, data.x) : "";
  if (why.empty())
    why = std::string("the data do not determine so many coefficients, use ") +
          (f.kind == Kind::spline ? "fewer knots" : "a lower degree");
  data.refuse("the design is rank deficient, rank " + std::to_string(std::max(rank, 0)) + " of " +
              std::to_string(unknowns) + ": " + why);
}

/// Refuses the two neighbours that are closest to each other.
template <class Real>
[[noreturn]] void refuse_closest(const Pairs<Real>& data, double tolerance) {
  std::size_t closest = 0;
  const auto gap = [&](std::size_t i) { return double(data.x[i + 1]) - double(data.x[i]); };
  for (std::size_t i = 1; i + 1 < data.x.size(); ++i)
    if (gap(i) < gap(closest)) closest = i;
  data.refuse_interval(closest, "they must increase by at least " + shortest(tolerance) +
                                    " of half the range in " + Precision<Real>::name + " precision");
}

template <class Real>
void check_size(const Pairs<Real>& data, Kind kind, int size) {
  const bool spline = kind == Kind::spline;
  const int needed = spline ? size + 4 : size + 1;
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

// -- the library's calls ----------------------------------------------------------------------------

template <class Real>
int fit_spline(const std::vector<Real>& x, const Pairs<Real>& data, Fitted<Real>& f) {
  const auto T = basis_table<Real>(f.size);
  if (!T) throw std::bad_alloc();
  f.a.resize(std::size_t(f.size) + 6);
  const int status = AX_apxcoef(T.get(), f.size, data.count(), x.data(), data.y.data(), f.a.data());
  if (status == AX_APXCOEF_BAD_ABSCISSAE) refuse_closest(data, Precision<Real>::tolerance);
  if (status == AX_APXCOEF_NO_BLOCK || status == AX_APXCOEF_NO_POINTERS) throw std::bad_alloc();
  return status;
}

template <class Real>
int fit_polynomial(std::vector<Real> x, const Pairs<Real>& data, Fitted<Real>& f) {
  f.a.resize(std::size_t(f.size) + 5);
  const int status = AX_polapxcoef(f.size, data.count(), x.data(), data.y.data(), f.a.data());
  if (status == AX_POLAPXCOEF_BAD_ABSCISSAE) refuse_closest(data, 2e-5);  // in both precisions
  if (status == AX_POLAPXCOEF_FAILED) throw std::bad_alloc();
  return status;
}

template <class Real>
void measure(const Pairs<Real>& data, const std::vector<Real>& values, Fitted<Real>& f) {
  double sum = 0, largest = 0;
  for (std::size_t i = 0; i < data.x.size(); ++i) {
    const double r = std::abs(double(values[i]) - double(data.y[i]));
    largest = std::max(largest, r);
    sum = std::fma(r, r, sum);
  }
  f.rms = Real(double(std::sqrt(static_cast<long double>(sum) / data.count())));
  f.largest = Real(largest);
}

}  // namespace

template <class Real>
std::string title(const Fitted<Real>& f) {
  if (f.kind == Kind::polynomial) return "polynomial of degree " + std::to_string(f.size);
  return "spline of " + std::to_string(f.size) + (f.size == 1 ? " interior knot" : " interior knots");
}

template <class Real>
void make_ascending(Pairs<Real>& data, bool average_repeated) {
  std::vector<Real> x, y;
  std::vector<std::size_t> row;
  for (std::size_t i = 0, next = 0; i < data.x.size(); i = next) {
    long double sum = 0;
    for (next = i; next < data.x.size() && data.x[next] == data.x[i]; ++next) sum += data.y[next];
    if (next - i > 1 && !average_repeated)
      data.refuse("repeated abscissae " + data.x_text(i) + " in rows " + row_list(data, i, next) +
                  ": use --average-repeated");
    if (next < data.x.size() && !(data.x[next] > data.x[i]))
      data.refuse_interval(next - 1, "they must increase");
    x.push_back(data.x[i]);
    y.push_back(Real(sum / static_cast<long double>(next - i)));
    row.push_back(i);
  }
  data.x = std::move(x);
  data.y = std::move(y);
  data.row = std::move(row);
}

template <class Real>
Fitted<Real> fit(const Pairs<Real>& data, Kind kind, int size) {
  check_size(data, kind, size);
  Fitted<Real> f{kind,
                 size,
                 data.x_name(),
                 data.y_name(),
                 data.count(),
                 data.x.front(),
                 data.x.back(),
                 shift_of(data.x.front(), data.x.back()),
                 {},
                 0,
                 0};
  if (kind == Kind::spline)
    if (const int rank = rank_of_design(f, data.x); rank < size + 4) refuse_rank(data, f, rank);

  const std::vector<Real> x = shifted(data.x, f.shift);
  if (!std::isfinite(x.front() + x.back()) || !std::isfinite(x.back() - x.front()))
    data.refuse("the abscissae are beyond the range of " + std::string(Precision<Real>::name) +
                " precision");
  const int status = kind == Kind::spline ? fit_spline(x, data, f) : fit_polynomial(x, data, f);
  if (status == LS_NO_MEMORY) throw std::bad_alloc();
  if (status != LS_OK) refuse_rank(data, f, status);

  measure(data, evaluate(f, data.x, false).value, f);
  if (kind == Kind::polynomial) {
    f.rms = f.a[std::size_t(size) + 3];
    f.largest = f.a[std::size_t(size) + 4];
  }
  const auto finite = [](Real number) { return std::isfinite(number); };
  if (!std::ranges::all_of(f.a, finite) || !finite(f.rms) || !finite(f.largest))
    data.refuse("the fit is beyond the range of " + std::string(Precision<Real>::name) + " precision");
  return f;
}

template <class Real>
Curve<Real> evaluate(const Fitted<Real>& f, std::vector<Real> at, bool derivatives) {
  Curve<Real> curve = empty_curve<Real>(at.size(), derivatives);
  Real *const s = curve.value.data(), *const s1 = derivatives ? curve.slope.data() : nullptr,
              *const s2 = derivatives ? curve.curvature.data() : nullptr;
  std::vector<Real> v = shifted(std::move(at), f.shift);
  int status = AX_APXVALS_OK;
  if (f.kind == Kind::spline) {
    const auto T = basis_table<Real>(f.size);
    if (!T) throw std::bad_alloc();
    status = AX_apxvals(T.get(), f.size, f.a.data(), int(v.size()), v.data(), s, s1, s2);
  } else {
    status = AX_polapxval(f.size, f.a.data(), int(v.size()), v.data(), s, s1, s2);
    if (status == AX_POLAPXVAL_NO_MEMORY) throw std::bad_alloc();
  }
  if (status != 0) throw NoResult("the fit cannot be evaluated in its own range");
  return curve;
}

template <class Real>
Curve<Real> evaluate(const Fitted<Real>& f, const Points<Real>& points, bool derivatives,
                     const std::string& source) {
  const double margin = Precision<Real>::tolerance * (double(f.last) / 2 - double(f.first) / 2);
  std::vector<Real> at = points.at;
  for (std::size_t j = 0; j < at.size(); ++j) {
    const Real t = std::clamp(at[j], f.first, f.last);
    if (!(std::abs(double(at[j]) - double(t)) <= margin))
      throw NoResult(source + ": " + points.name(j) + " lies outside " + shortest(f.first) + ".." +
                     shortest(f.last));
    at[j] = t;
  }
  Curve<Real> curve = evaluate(f, std::move(at), derivatives);
  check_finite(source, points, curve);
  return curve;
}

template <class Real>
std::vector<Real> residuals(const Pairs<Real>& data, const std::vector<Real>& values) {
  std::vector<Real> r = data.y;
  for (std::size_t i = 0; i < r.size(); ++i) r[i] -= values[i];
  return r;
}

template std::string title(const Fitted<float>&);
template std::string title(const Fitted<double>&);
template void make_ascending(Pairs<float>&, bool);
template void make_ascending(Pairs<double>&, bool);
template Fitted<float> fit(const Pairs<float>&, Kind, int);
template Fitted<double> fit(const Pairs<double>&, Kind, int);
template Curve<float> evaluate(const Fitted<float>&, std::vector<float>, bool);
template Curve<double> evaluate(const Fitted<double>&, std::vector<double>, bool);
template Curve<float> evaluate(const Fitted<float>&, const Points<float>&, bool, const std::string&);
template Curve<double> evaluate(const Fitted<double>&, const Points<double>&, bool, const std::string&);
template std::vector<float> residuals(const Pairs<float>&, const std::vector<float>&);
template std::vector<double> residuals(const Pairs<double>&, const std::vector<double>&);

}  // namespace tabfit::tool

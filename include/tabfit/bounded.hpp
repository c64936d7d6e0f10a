// tabfit/bounded.hpp - least squares whose unknowns have bounds.
//
//   bounded(A, b, lo, hi)   minimises |A x - b| subject to lo <= x <= hi
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/error.hpp"
#include "tabfit/orthogonal.hpp"
#include "tabfit/passive_columns.hpp"
#include "tabfit/table.hpp"

namespace tabfit {
namespace detail {

/// Minimises |R x - c| subject to lo <= x <= hi, by x = scale y with columns of length 0.5..1.
///
/// An unknown is passive, and takes the value that minimises the norm, or rests: on a bound, or at 0 where
/// its column depends on the passive ones. Names and steps are those of Lawson and Hanson's algorithm
/// NNLS (Solving Least Squares Problems, chapter 23), with a second bound as in Stark and Parker's BVLS
/// (Computational Statistics 10, 1995): w is the negative gradient, t enters, z is the minimiser over the
/// passive unknowns, alpha the step towards it.
///
/// In exact arithmetic each pass lowers the norm, so no set of passive unknowns comes back. Here a
/// gradient below what rounding makes of 0 counts as 0; with a greater one, the norm falls by more than
/// rounding. An unknown that enters and leaves before any value moved is set aside until one has.
class bounded_search {
 public:
  /// norms are the lengths of the columns of R, norm_c that of c. Bounds may be infinite.
  template <real T>
  bounded_search(const reduced &R, std::span<const double> norms, double norm_c, std::span<const T> lo,
                 std::span<const T> hi)
      : columns_(R), unknowns_(lo.size()), scratch_(3 * lo.size()), norm_c_(norm_c) {
    for (int j = 0; j < R.columns; ++j) {
      const double scale = power_to_one(norms[at(j)]);
      columns_.scale(j, scale);
      unknown &u = unknowns_[at(j)];
      u = {.scale = scale,
           .length = scale * norms[at(j)],
           .lo = double(lo[at(j)]) / scale,
           .hi = double(hi[at(j)]) / scale};
      u.y = std::clamp(0.0, u.lo, u.hi);
      u.held = !(u.lo < u.hi);
    }
  }

  /// Unknown j shall begin at rest, on a bound if that is finite.
  void hold(int j, bool lower) {
    unknown &u = unknowns_[at(j)];
    const double bound = lower ? u.lo : u.hi;
    if (std::isinf(bound)) return;
    u.y = bound;
    u.held = true;
  }

  /// The others become passive, as far as their columns are independent. Those whose values are not inside
  /// their bounds are put there to rest, until all values are inside.
  void start() {
    const int n = int(unknowns_.size());
    for (int place = 0; place < n && columns_.count() < columns_.rows(); ++place)
      if (!at_place(place).held && columns_.new_part(place) > dependent) enter(place);
    do minimise();
    while (leave_if([&](unknown &u, double z) {
      u.y = std::clamp(z, u.lo, u.hi);
      return u.outside(z);
    }));
  }

  /// The main loop. False if it needs more than `limit` linear systems.
  bool run(int limit) {
    for (int place = entering(); place >= 0; place = entering())
      if (iterations_ >= limit || !pass(place, limit)) return false;
    return true;
  }

  int iterations() const { return iterations_; }
  bool passive(int j) const { return unknowns_[at(j)].passive; }
  double x(int j) const { return unknowns_[at(j)].y * unknowns_[at(j)].scale; }

  /// Subtracts T^-1 T^-T g from the passive unknowns, where g is the gradient of the half square at x: the
  /// corrected seminormal equations (Bjorck, Numerical Methods for Least Squares Problems, section 6.6.5).
  void correct(std::span<const double> gradient) {
    for (int place = 0; place < columns_.count(); ++place)
      z()[place] = gradient[at(columns_.column(place))] * at_place(place).scale;
    columns_.solve_transposed(z());
    columns_.solve(z(), z());
    for (int place = 0; place < columns_.count(); ++place) {
      unknown &u = at_place(place);
      u.y = std::clamp(u.y - z()[place], u.lo, u.hi);
    }
  }

 private:
  static constexpr double epsilon = std::numeric_limits<double>::epsilon();
  static constexpr double noise = 30 * epsilon;       ///< of a gradient, relative to its terms
  static constexpr double dependent = 1e5 * epsilon;  ///< new part of a column that waits for run()

  struct unknown {
    double scale = 1, length = 1;  ///< x = scale y; the length of the scaled column
    double lo = 0, hi = 0, y = 0;
    bool passive = false;
    bool held = false;   ///< rests until run()
    bool aside = false;  ///< does not enter

    bool outside(double z) const { return !(z > lo && z < hi); }
    double bound(double z) const { return z <= lo ? lo : hi; }  ///< the one that z violates
    /// The part of the way from y to z, which is outside, that leads to the bound.
    double part(double z) const { return y == bound(z) ? 0 : (bound(z) - y) / (z - y); }
  };
  unknown &at_place(int place) { return unknowns_[at(columns_.column(place))]; }

  // By place. z: the minimiser, and behind the passive places the values that rest there.
  double *z() { return scratch_.data(); }
  double *w() { return z() + unknowns_.size(); }
  double *right() { return w() + unknowns_.size(); }

  void enter(int place) {
    at_place(place).passive = true;
    columns_.enter(place);
  }

  /// Step 6: z = minimiser over the passive unknowns.
  void minimise() {
    for (int place = columns_.count(); place < int(unknowns_.size()); ++place)
      z()[place] = at_place(place).y;
    columns_.right_side(z(), right());
    columns_.solve(right(), z());
    ++iterations_;
  }

  /// Steps 2 to 4: the place of the resting unknown with the steepest descent, or -1 if there is none.
  int entering() {
    columns_.correlations(right(), w());
    double terms = norm_c_;
    for (const unknown &u : unknowns_) terms += u.length * std::abs(u.y);
    double steepest = noise * terms;
    int t = -1;
    for (int place = columns_.count(); place < int(unknowns_.size()); ++place) {
      const unknown &u = at_place(place);
      const double slope = w()[place];
      if (!(std::abs(slope) > steepest) || u.aside || !(slope > 0 ? u.y < u.hi : u.y > u.lo)) continue;
      steepest = std::abs(slope);
      t = place;
    }
    return t;
  }

  /// Steps 5 to 11: the unknown at a place enters; others leave until all z are inside their bounds.
  bool pass(int place, int limit) {
    unknown &t = at_place(place);
    enter(place);
    bool stays = true, moved = false;
    for (minimise();; minimise()) {
      double alpha = 1;  // steps 7 to 9
      for (int p = 0; p < columns_.count(); ++p)
        if (at_place(p).outside(z()[p])) alpha = std::min(alpha, at_place(p).part(z()[p]));
      const bool any = leave_if([&](unknown &u, double z) {  // steps 10 and 11
        const bool blocks = u.outside(z) && u.part(z) <= alpha;
        u.y = blocks ? u.bound(z) : alpha < 1 ? std::clamp(u.y + alpha * (z - u.y), u.lo, u.hi) : z;
        stays = stays && !(blocks && &u == &t);
        return blocks;
      });
      if (!any) break;
      moved = moved || alpha > 0;
      if (iterations_ >= limit) return false;
    }
    t.aside = !stays && !moved;
    if (!t.aside)
      for (unknown &u : unknowns_) u.aside = false;
    return true;
  }

  /// Calls leaves(u, z) for the passive unknowns, last first. Those leave for which it is true. True if
  /// any does.
  template <class Leaves>
  bool leave_if(Leaves leaves) {
    const int before = columns_.count();
    for (int place = before - 1; place >= 0; --place)
      if (unknown &u = at_place(place); leaves(u, z()[place])) {
        u.passive = false;
        columns_.leave(place);
      }
    return columns_.count() < before;
  }

  passive_columns columns_;
  std::vector<unknown> unknowns_;
  std::vector<double> scratch_;
  double norm_c_;
  int iterations_ = 0;
};

/// Sets x to the values of a search, inside their bounds to the bit.
template <real T>
void get_values(const bounded_search &search, const conditions<T> &p, std::vector<double> &x) {
  for (std::size_t j = 0; j < x.size(); ++j)
    x[j] = std::clamp(search.x(int(j)), double(p.lo[j]), double(p.hi[j]));
}

/// The minimiser on the active set that a search has found, at which `point` stands in the end. What the
/// updates of the factors have lost is won back: the gradient, formed from the data as they were given,
/// corrects the passive unknowns while this halves it.
template <real T>
std::vector<double> refined(bounded_search &search, optimality<T> &point, const conditions<T> &p) {
  constexpr double good = 8 * double(std::numeric_limits<T>::epsilon());
  const auto imbalance = [&] {
    double worst = 0;
    for (int j = 0; j < p.A.columns(); ++j)
      if (search.passive(j))
        worst = std::max(worst, std::abs(point.gradient()[at(j)]) / point.norms()[at(j)]);
    return worst / point.scale();
  };
  std::vector<double> x(p.lo.size());
  get_values(search, p, x);
  point.move_to(x);
  double worst = imbalance();
  while (worst > good) {
    const std::vector<double> last = x;
    search.correct(point.gradient());
    get_values(search, p, x);
    point.move_to(x);
    const double before = std::exchange(worst, imbalance());
    if (worst < 0.5 * before) continue;
    if (!(worst < before)) point.move_to(x = last);
    break;
  }
  return x;
}

/// Adds the unknowns that rest on a bound to a solution, with their multipliers.
template <real T>
void add_active(solution<T> &s, const bounded_search &search, std::span<const double> gradient,
                const conditions<T> &p) {
  s.active.reserve(s.x.size());
  s.multipliers.reserve(s.x.size());
  for (std::size_t j = 0; j < s.x.size(); ++j) {
    const bool on_lo = s.x[j] == p.lo[j], on_hi = s.x[j] == p.hi[j];
    if (search.passive(int(j)) || !(on_lo || on_hi)) continue;
    const bool lower = on_lo && !(on_hi && gradient[j] < 0);
    s.active.push_back({lower ? constraint_kind::lower : constraint_kind::upper, int(j)});
    s.multipliers.push_back(T(std::max(0.0, lower ? gradient[j] : -gradient[j])));
  }
}

/// bounded() and nonnegative() with A, b and the bounds checked.
template <real T>
solution<T> solve_bounded(const char *operation, const conditions<T> &p,
                          const active_set_options &options, int constraints) {
  const reduced R = reduce<T>(p.A, p.b);
  optimality<T> point(p, R);
  bounded_search search(R, point.norms(), point.norm_of_b(), p.lo, p.hi);
  for (std::size_t a = 0; a < options.start.size(); ++a) {
    const auto [kind, j] = options.start[a];
    if ((kind != constraint_kind::lower && kind != constraint_kind::upper) || j < 0 || j >= R.columns)
      throw bad_data(operation, "start(" + std::to_string(a) + ") is no bound of " +
                                    counted(R.columns, "unknown"));
    search.hold(j, kind == constraint_kind::lower);
  }
  search.start();
  const bool ended =
      search.run(options.iterations > 0 ? options.iterations : 10 + 3 * (R.columns + constraints));

  std::vector<double> x(p.lo.size());
  if (ended) {
    x = refined(search, point, p);
  } else {
    get_values(search, p, x);
    point.move_to(x);
  }
  solution<T> s;
  s.x.assign(x.begin(), x.end());
  add_active(s, search, point.gradient(), p);
  if constexpr (sizeof(T) < sizeof(double)) point.move_to(s.x);  // the rounded values
  s.residual.assign(point.residual().begin(), point.residual().end());
  s.residual_norm = T(norm(point.residual().data(), p.A.rows()));
  s.iterations = search.iterations();
  s.violation = point.violation(s);
  s.converged = ended && s.violation < 1000 * double(std::numeric_limits<T>::epsilon());
  return s;
}

/// Throws unless A has elements, all finite, and b as many as A has rows.
template <real T>
void check_problem(const char *operation, table_view<T> A, std::span<const T> b) {
  if (A.rows() == 0 || A.columns() == 0)
    throw bad_data(operation,
                   "A has " + counted(A.rows(), "row") + " and " + counted(A.columns(), "column"));
  check_size(operation, "b", b.size(), "element", "A", at(A.rows()), "row");
  check_finite(operation, "A", A);
  check_finite(operation, "b", b);
}

}  // namespace detail

/// Minimises |A x - b| subject to lo <= x <= hi.
///
/// @param A        m by n, any m and n from 1 on; its columns may depend on each other
/// @param b        m elements
/// @param lo, hi   n elements each; lo may be -infinity, hi +infinity, and both may be equal
/// @param options  a guess of the active set, a limit on the iterations; see active_set_options
///
/// @throws bad_data  sizes do not fit; A or b holds NaN or an infinity; a bound is NaN, or lo is above hi:
///                   "lo(3) is above hi(3)"; a start names no bound of this problem
/// @throws std::bad_alloc  memory ran out
///
/// x lies inside its bounds to the bit, and on those that are active. Where A x = A y for different x and
/// y, one of the minimisers comes back, with independent columns of A passive.
///
/// Both element types are solved in double; the results are rounded once. Columns are scaled to comparable
/// lengths inside, so units do not matter.
///
/// Cost: 2 m n^2 once, 4 n^2 for an iteration. Memory: a copy of A and of its triangle, in double.
/// Method: Stark and Parker, Computational Statistics 10 (1995), from the solution without bounds on; Lawson
/// and Hanson, Solving Least Squares Problems, chapters 23 and 24.
template <table M>
solution<typename M::value_type> bounded(const M &A, std::span<const typename M::value_type> b,
                                         std::span<const typename M::value_type> lo,
                                         std::span<const typename M::value_type> hi,
                                         const active_set_options &options = {}) {
  using T = typename M::value_type;
  detail::check_problem<T>("bounded", A.view(), b);
  const int n = A.view().columns();
  detail::check_size("bounded", "lo", lo.size(), "element", "A", detail::at(n), "column");
  detail::check_size("bounded", "hi", hi.size(), "element", "A", detail::at(n), "column");
  detail::check_bounds("bounded", lo, hi, n);
  return detail::solve_bounded<T>(
      "bounded", {.A = A.view(), .b = b, .C = {}, .d = {}, .E = {}, .f = {}, .lo = lo, .hi = hi},
      options, 2 * n);
}

}  // namespace tabfit

// tabfit/dual_active_set.hpp - least squares under linear constraints by Goldfarb and Idnani's dual active-set
// method, on columns of doubles; not for users.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "tabfit/dual_factor.hpp"
#include "tabfit/dual_problem.hpp"
#include "tabfit/long_sum.hpp"

namespace tabfit::detail {

/// Constraints that contradict each other: the sum of weights times rows is 0, that of weights times right
/// sides is positive.
struct dual_contradiction {
  std::vector<int> constraints;
  std::vector<double> weights;
};

/// The method. From the minimiser without constraints it goes through minimisers over some constraints, taken
/// as equalities, until none of the others is violated. The objective rises at every step in x, so no set
/// comes twice.
///
/// A is known by J J^T = (A^T A)^-1, J = R^-1. Where A is too close to rank deficient, R is the triangle
/// of (A; delta I) instead, and polish(), which works with A itself, removes what delta has changed: its
/// steps are then those of the proximal point method with weight delta^2.
class dual_active_set {
 public:
  /// factor holds R^-1, R the triangle of A or of (A; delta I); x0 is the minimiser that goes with it.
  dual_active_set(const dual_problem &problem, dual_factor &factor, std::vector<double> x0);

  /// Runs from the constraints of `start`, at most so many steps. False if they did not suffice, or if
  /// constraints contradict each other: then contradiction() is not empty.
  bool run(std::span<const int> start, int steps);

  const std::vector<double> &x() const { return x_; }
  const std::vector<int> &active() const { return active_; }
  /// Of active()[a]; 0 if it is so small that it may be rounding, in units of that.
  double multiplier(int a, double rounding) const;
  int steps() const { return steps_; }
  const dual_contradiction &contradiction() const { return contradiction_; }

 private:
  static constexpr double eps = std::numeric_limits<double>::epsilon();

  /// held: active, or an equality; skipped: violated, but its contradiction is rounding.
  enum class state : char { free, held, skipped };

  int q() const { return factor_.count(); }
  double row_norm(int i) const { return p_.is_row(i) ? norms_[i] : 1.0; }
  /// What rounding of A and b makes of a multiplier that is 0.
  double multiplier_rounding(int i) const { return eps * gradient_scale_ / row_norm(i); }
  bool step_is_left() { return steps_ < most_steps_ && ++steps_ > 0; }

  void load_normal(int i);
  double slack(int i) const;
  bool is_violated(int i, double slack) const;
  int most_violated();

  bool hold_equalities();
  void hold(std::span<const int> constraints, std::vector<int> *dependent = nullptr);
  void minimise();
  int most_negative(double rounding) const;
  bool drop(int a);
  void enter(int i, double multiplier);
  void leave(int l);
  void release(double u);

  bool add(int entering);
  void move(double t, double rounding = 4 * eps);
  double direction();
  double orthogonalise_again();
  double subtract_active(const double *weights, double *v) const;
  double dual_step(int &blocking) const;
  bool contradicts(int entering, double sign);
  bool is_certificate(const dual_contradiction &found);

  double correct(double rounding = 4 * eps);
  void gradient();
  void plain_gradient();
  void slacks();
  void polish();

  const dual_problem &p_;
  dual_factor &factor_;
  std::vector<double> x0_, x_, scratch_;
  std::vector<int> active_;
  std::vector<state> state_;
  // All in scratch_; n elements each, but for norms_ and slacks_.
  double *u_;                      // side by side with active_
  double *normal_, *d_, *z_, *r_;  // n+, J^T n+, the steps in x and in u
  double *g_, *rho_;               // what correct() removes
  double *v_, *w_;
  double *norms_, *slacks_;              // of the rows of N
  std::vector<double> residual_, rest_;  // b - A x to twice the digits
  double norm_x_ = 0, longest_ = 0, gradient_scale_ = 0;
  int steps_ = 0, most_steps_ = 0, rounds_ = 0;
  bool any_skipped_ = false;
  dual_contradiction contradiction_;
};

inline dual_active_set::dual_active_set(const dual_problem &problem, dual_factor &factor,
                                        std::vector<double> x0)
    : p_(problem),
      factor_(factor),
      x0_(std::move(x0)),
      x_(x0_),
      scratch_(9 * at(p_.n) + 2 * at(p_.rows)),
      state_(at(p_.constraints()), state::free) {
  active_.reserve(at(p_.n));
  double *next = scratch_.data();
  for (double **part : {&u_, &normal_, &d_, &z_, &r_, &g_, &rho_, &v_, &w_}) {
    *part = next;
    next += p_.n;
  }
  norms_ = next;
  slacks_ = next + p_.rows;
  for (int j = 0; j < p_.n; ++j) {
    const double *const column = p_.N.data() + at(0, j, p_.rows);
    for (int i = 0; i < p_.rows; ++i) norms_[i] += column[i] * column[i];
  }
  for (int i = 0; i < p_.rows; ++i) norms_[i] = std::sqrt(norms_[i]);
  norm_x_ = longest_ = norm(x_.data(), p_.n);
}

inline bool dual_active_set::run(std::span<const int> start, int steps) {
  most_steps_ = steps;
  if (!hold_equalities()) return false;
  hold(start);
  for (int a = most_negative(0.0); a >= 0 && step_is_left(); a = most_negative(0.0)) {
    leave(a);
    minimise();
  }
  for (;;) {
    for (int i = most_violated(); i >= 0; i = most_violated())
      if (!add(i)) {
        if (contradiction_.constraints.empty()) polish();
        return false;
      }
    polish();
    const int a = most_negative(8.0);
    if (a < 0 && most_violated() < 0) return true;
    if (a >= 0 && !drop(a)) return false;
  }
}

inline double dual_active_set::multiplier(int a, double rounding) const {
  const int i = active_[at(a)];
  if (u_[a] < 0.0 && !p_.is_equality(i)) return 0.0;
  return std::abs(u_[a]) > rounding * multiplier_rounding(i) ? u_[a] : 0.0;
}

// -- constraints at x ---------------------------------------------------------------------------------

/// normal_ = the normal of constraint i.
inline void dual_active_set::load_normal(int i) {
  for (int j = 0; j < p_.n; ++j) normal_[j] = p_.element(i, j);
}

/// n_i' x - h_i.
inline double dual_active_set::slack(int i) const {
  if (!p_.is_row(i)) {
    const double value = x_[at(p_.variable(i))];
    return (p_.is_lower(i) ? value : -value) - p_.right_side(i);
  }
  double sum = -p_.right_side(i);
  for (int j = 0; j < p_.n; ++j) sum += p_.element(i, j) * x_[at(j)];
  return sum;
}

/// Whether a slack is negative by more than rounding.
inline bool dual_active_set::is_violated(int i, double slack) const {
  return slack < 0.0 && slack < -16 * eps * (row_norm(i) * norm_x_ + std::abs(p_.right_side(i)));
}

/// The free constraint from which x is farthest; -1 if none is violated.
inline int dual_active_set::most_violated() {
  for (int i = p_.equalities; i < p_.rows; ++i) slacks_[i] = -p_.h[at(i)];
  const int inequalities = p_.rows - p_.equalities;
  if (inequalities > 0)
    for (int j = 0; j < p_.n; ++j)
      add_multiple(x_[at(j)], p_.N.data() + at(p_.equalities, j, p_.rows), slacks_ + p_.equalities,
                   inequalities);
  int worst = -1;
  double farthest = 0.0;
  const auto look_at = [&](int i, double slack) {
    if (!(slack < 0.0) || state_[at(i)] != state::free || !is_violated(i, slack)) return;
    const double size = row_norm(i), distance = size > 0.0 ? -slack / size : infinity;
    if (distance > farthest) {
      farthest = distance;
      worst = i;
    }
  };
  for (int i = p_.equalities; i < p_.rows; ++i) look_at(i, slacks_[i]);
  for (int j = 0; j < p_.n; ++j) look_at(p_.rows + j, x_[at(j)] - p_.lo[at(j)]);
  for (int j = 0; j < p_.n; ++j) look_at(p_.rows + p_.n + j, p_.hi[at(j)] - x_[at(j)]);
  return worst;
}

// -- the active set -----------------------------------------------------------------------------------

/// Holds E x = f and the variables with lo = hi. False if they contradict each other.
inline bool dual_active_set::hold_equalities() {
  std::vector<int> equalities, dependent;
  for (int i = 0; i < p_.rows + p_.n; ++i)
    if (p_.is_equality(i)) equalities.push_back(i);
  hold(equalities, &dependent);
  for (const int i : equalities) {
    state_[at(i)] = state::held;
    if (!p_.is_row(i)) state_[at(i + p_.n)] = state::held;  // the upper bound of the same variable
  }
  for (const int i : dependent) {
    const double distance = slack(i);
    if (!is_violated(i, -std::abs(distance))) continue;
    load_normal(i);
    direction();
    if (contradicts(i, distance < 0 ? 1.0 : -1.0)) return false;
  }
  return true;
}

/// Makes x the minimiser over the active constraints and these, whatever the multipliers become. Those
/// that depend on the others are left out.
inline void dual_active_set::hold(std::span<const int> constraints, std::vector<int> *dependent) {
  const int before = q();
  for (const int i : constraints) {
    if (state_[at(i)] == state::held) continue;
    load_normal(i);
    if (direction() > 0.0)
      enter(i, 0.0);
    else if (dependent)
      dependent->push_back(i);
  }
  if (q() > before) minimise();
}

/// x = the minimiser over the active constraints, and u, from x0: with the numbers of a step on the way their
/// rounding would stay.
inline void dual_active_set::minimise() {
  x_ = x0_;
  norm_x_ = norm(x_.data(), p_.n);
  std::fill(u_, u_ + p_.n, 0.0);
  std::fill(g_, g_ + p_.n, 0.0);
  for (int pass = 0; pass < 2; ++pass) {  // the second for what rounding leaves of the slacks
    for (int a = 0; a < q(); ++a) rho_[a] = -slack(active_[at(a)]);
    correct();
  }
}

/// The inequality whose multiplier is the most negative, by more than rounding; -1 if there is none.
inline int dual_active_set::most_negative(double rounding) const {
  int worst = -1;
  double least = 0.0;
  for (int a = 0; a < q(); ++a) {
    const int i = active_[at(a)];
    const double size = u_[a] * row_norm(i);
    if (p_.is_equality(i) || !(size < least) || u_[a] >= -rounding * multiplier_rounding(i)) continue;
    worst = a;
    least = size;
  }
  return worst;
}

/// Lets active constraint a go, for its multiplier is negative. False if no step is left.
inline bool dual_active_set::drop(int a) {
  if (!step_is_left()) return false;
  const double u = u_[a];
  load_normal(active_[at(a)]);
  leave(a);
  release(u);
  return true;
}

/// A constraint that is not active any more, with the normal n+, had the multiplier u: goes to the minimiser
/// without it.
inline void dual_active_set::release(double u) {
  std::fill(rho_, rho_ + p_.n, 0.0);
  for (int j = 0; j < p_.n; ++j) g_[j] = -u * normal_[j];
  correct();
}

/// Constraint i becomes active, after direction().
inline void dual_active_set::enter(int i, double multiplier) {
  u_[q()] = multiplier;
  active_.push_back(i);
  state_[at(i)] = state::held;
  factor_.enter(d_, z_);
  if (any_skipped_) std::replace(state_.begin(), state_.end(), state::skipped, state::free);
  any_skipped_ = false;
}

inline void dual_active_set::leave(int l) {
  state_[at(active_[at(l)])] = state::free;
  active_.erase(active_.begin() + l);
  std::copy(u_ + l + 1, u_ + q(), u_ + l);
  factor_.leave(l);
}

// -- one constraint more: steps 1 and 2 of the paper's algorithm --------------------------------------

/// Goes to the minimiser over the active constraints and `entering`, which x violates, less those whose
/// multipliers become 0 on the way. False if no step is left, or if `entering` contradicts active ones.
inline bool dual_active_set::add(int entering) {
  load_normal(entering);
  double multiplier = 0.0;
  while (step_is_left()) {
    const double curvature = direction();  // z' n+
    int blocking = -1;
    const double t1 = dual_step(blocking);
    const double t2 = curvature > 0.0 ? std::max(-slack(entering), 0.0) / curvature : infinity;
    const double t = std::min(t1, t2);
    if (t == infinity) {
      if (contradicts(entering, 1.0)) return false;
      add_multiple(multiplier, r_, u_, q());  // n+ = N r, to rounding
      state_[at(entering)] = state::skipped;
      any_skipped_ = true;
      return true;
    }
    if (curvature > 0.0) move(t);
    add_multiple(-t, r_, u_, q());
    multiplier += t;
    if (t2 <= t1) {  // a full step
      enter(entering, multiplier);
      return true;
    }
    leave(blocking);  // a partial step, or one in the dual space alone
  }
  release(multiplier);
  return false;
}

/// x += t z. An element that shrinks to such a part of itself is rounding, and becomes 0; so does one that is
/// as small a part of the rounding of the longest x on the way.
inline void dual_active_set::move(double t, double rounding) {
  for (int j = 0; j < p_.n; ++j) {
    const double before = x_[at(j)], sum = before + t * z_[j];
    x_[at(j)] = std::abs(sum) > rounding * std::max(std::abs(before), eps * longest_) ? sum : 0.0;
  }
  norm_x_ = norm(x_.data(), p_.n);
  longest_ = std::max(longest_, norm_x_);
}

/// The steps for a unit of the multiplier of n+: z = H n+ in x and -r = -N* n+ in the multipliers, with
/// H = J2 J2^T and N* = T^-1 J1^T. Returns z' n+ = |d2|^2; 0 if n+ depends on the active normals.
inline double dual_active_set::direction() {
  factor_.transform(normal_, d_);
  std::copy_n(d_, q(), r_);
  factor_.solve(r_);
  double rest = norm(d_ + q(), p_.n - q());
  if (rest <= 1e-4 * norm(d_, p_.n)) rest = orthogonalise_again();
  std::fill(z_, z_ + p_.n, 0.0);
  if (rest > 0.0) factor_.add_columns(d_, q(), p_.n, z_);
  return rest * rest;
}

/// v -= N weights; returns the sum of the terms' norms.
inline double dual_active_set::subtract_active(const double *weights, double *v) const {
  double terms = 0.0;
  for (int a = 0; a < q(); ++a) {
    const int i = active_[at(a)];
    terms += std::abs(weights[a]) * row_norm(i);
    if (p_.is_row(i))
      for (int j = 0; j < p_.n; ++j) v[j] -= weights[a] * p_.N[at(i, j, p_.rows)];
    else
      v[p_.variable(i)] -= p_.is_lower(i) ? weights[a] : -weights[a];
  }
  return terms;
}

/// d2 is small beside d1, so it may be rounding. It is formed from n+ - N r, which is small itself, and r
/// is corrected. Returns |d2|; 0 if n+ - N r is rounding.
inline double dual_active_set::orthogonalise_again() {
  for (int pass = 0; pass < 4; ++pass) {
    std::copy(normal_, normal_ + p_.n, v_);
    const double terms = subtract_active(r_, v_) + norm(normal_, p_.n);
    if (pass > 0 && norm(v_, p_.n) <= 64 * eps * terms) return 0.0;
    factor_.transform(v_, w_);
    std::copy(w_ + q(), w_ + p_.n, d_ + q());
    factor_.solve(w_);
    add_multiple(1.0, w_, r_, q());
  }
  return norm(d_ + q(), p_.n - q());
}

/// How far the multipliers can go before that of an inequality, `blocking`, becomes 0.
inline double dual_active_set::dual_step(int &blocking) const {
  double terms = 0.0, least = infinity;
  for (int a = 0; a < q(); ++a) terms = std::max(terms, std::abs(r_[a]) * row_norm(active_[at(a)]));
  for (int a = 0; a < q(); ++a) {
    const int i = active_[at(a)];
    if (p_.is_equality(i) || !(r_[a] * row_norm(i) > 64 * eps * terms)) continue;
    const double t = std::max(u_[a], 0.0) / r_[a];
    if (t < least) {
      least = t;
      blocking = a;
    }
  }
  return least;
}

/// n+ = N r. Whether the rows in this sum contradict each other: they do if the sum of right sides has the
/// wrong sign by more than rounding. A row with a weight of rounding is left out.
inline bool dual_active_set::contradicts(int entering, double sign) {
  dual_contradiction found{{entering}, {sign}};
  double terms = row_norm(entering);
  for (int a = 0; a < q(); ++a) terms += std::abs(r_[a]) * row_norm(active_[at(a)]);
  for (int a = 0; a < q(); ++a) {
    const int i = active_[at(a)];
    if (!(std::abs(r_[a]) * row_norm(i) > 64 * eps * terms)) continue;
    found.constraints.push_back(i);
    found.weights.push_back(-sign * r_[a]);
  }
  if (!is_certificate(found)) return false;
  contradiction_ = std::move(found);
  return true;
}

/// Checks that the weighted rows sum to 0 but for rounding, column by column, and their right sides to more
/// than rounding.
inline bool dual_active_set::is_certificate(const dual_contradiction &found) {
  double left = 0.0;
  for (int j = 0; j < p_.n; ++j) {
    double sum = 0.0, terms = 0.0;
    for (std::size_t k = 0; k < found.constraints.size(); ++k) {
      const double term = found.weights[k] * p_.element(found.constraints[k], j);
      sum += term;
      terms += std::abs(term);
    }
    if (std::abs(sum) > 256 * eps * terms) return false;
    left = std::max(left, std::abs(sum));
  }
  long_sum sum;
  double terms = 0.0;
  for (std::size_t k = 0; k < found.constraints.size(); ++k) {
    const double side = p_.right_side(found.constraints[k]);
    sum.add_product(found.weights[k], side);
    terms += std::abs(found.weights[k] * side);
  }
  return sum.value() > 64 * eps * terms + left * norm_x_;
}

// -- refinement ---------------------------------------------------------------------------------------

/// Solves R^T R dx - N du = g, N^T dx = rho and adds dx = z and du = r to x and u. Returns |dx|.
inline double dual_active_set::correct(double rounding) {
  factor_.transform(g_, w_);
  std::copy_n(rho_, q(), v_);
  factor_.solve_transposed(v_);  // J^T dx = (v1, w2)
  for (int a = 0; a < q(); ++a) r_[a] = v_[a] - w_[a];
  factor_.solve(r_);
  add_multiple(1.0, r_, u_, q());
  std::fill(z_, z_ + p_.n, 0.0);
  factor_.add_columns(v_, 0, q(), z_);
  factor_.add_columns(w_, q(), p_.n, z_);
  move(1.0, rounding);
  return norm(z_, p_.n);
}

/// g = N u - A^T (A x - b), to twice the digits of double.
inline void dual_active_set::gradient() {
  residual_.assign(p_.b.begin(), p_.b.end());
  rest_.assign(p_.b.size(), 0.0);
  for (int j = 0; j < p_.n; ++j)
    subtract_multiple(x_[at(j)], p_.A.data() + at(0, j, p_.m), p_.m, residual_.data(), rest_.data());
  for (int j = 0; j < p_.n; ++j) {
    long_sum sum;
    add_long_dot(p_.A.data() + at(0, j, p_.m), residual_.data(), rest_.data(), p_.m, sum);
    for (int a = 0; a < q(); ++a) sum.add_product(u_[a], p_.element(active_[at(a)], j));
    g_[j] = sum.value();
  }
}

/// The same in double, from the caller's columns.
inline void dual_active_set::plain_gradient() {
  residual_.assign(p_.b.begin(), p_.b.end());
  for (int j = 0; j < p_.n; ++j)
    add_multiple(-p_.column_scale[at(j)] * x_[at(j)], p_.columns[j], residual_.data(), p_.m);
  for (int a = 0; a < q(); ++a) v_[a] = -u_[a];
  for (int j = 0; j < p_.n; ++j)
    g_[j] = p_.column_scale[at(j)] * dot(p_.columns[j], residual_.data(), p_.m);
  subtract_active(v_, g_);
}

/// rho = h - N^T x, to twice the digits of double.
inline void dual_active_set::slacks() {
  for (int a = 0; a < q(); ++a) {
    const int i = active_[at(a)];
    long_sum sum;
    sum.add(p_.right_side(i));
    for (int j = 0; j < p_.n; ++j) sum.add_product(-x_[at(j)], p_.element(i, j));
    rho_[a] = sum.value();
  }
}

/// Iterative refinement of x and u for the active set, with A itself if it is given: to twice the digits, or
/// in double where the triangle is one of normal equations. A step that changes x
/// and u by the root of epsilon at most has made them right to rounding, since it leaves a like part of
/// the error. Where steps do not become much shorter, x is not determined to working precision. Such x may
/// go to and fro with the active set, so after some rounds only the constraints are refined.
inline void dual_active_set::polish() {
  const bool plain = p_.columns != nullptr, with_A = (plain || !p_.A.empty()) && ++rounds_ <= 4;
  std::fill(g_, g_ + p_.n, 0.0);
  double change = infinity;
  for (int pass = 0; pass < 12; ++pass) {
    if (with_A) plain ? plain_gradient() : gradient();
    slacks();
    const double before = std::exchange(change, correct(1e-10));
    const bool settled = norm(r_, q()) <= 1e-8 * norm(u_, q());
    if ((change <= 1e-8 * norm_x_ && settled) || change > before / 2) break;
  }
  gradient_scale_ = p_.size_of_A * (p_.size_of_A * norm_x_ + p_.size_of_b);
}

}  // namespace tabfit::detail

// tests/front/test_exact_solutions.cpp - the constrained solvers on problems whose solutions are known in
// rational numbers, and on a textbook's.
#include <cmath>
#include <string>
#include <vector>

#include "tests/reference/front.hpp"
#include "tests/support/constrained_calls.hpp"
#include "tests/support/constrained_problem.hpp"
#include "tests/support/twin_test.hpp"

namespace {

template <class Real>
std::vector<Real> values(const std::vector<int>& in_64ths) {
  constexpr int infinite = std::numeric_limits<int>::max();
  std::vector<Real> out;
  for (const int v : in_64ths)
    out.push_back(std::abs(v) == infinite ? std::copysign(inf_of<Real>, static_cast<Real>(v))
                                          : static_cast<Real>(v) / 64);
  return out;
}

template <class Real>
Dense<Real> matrix(const std::vector<int>& in_64ths, int columns) {
  Dense<Real> M(static_cast<int>(in_64ths.size()) / columns, columns);
  M.data = values<Real>(in_64ths);
  return M;
}

template <class Real>
ConstrainedProblem<Real> problem_of(const reference::ExactProblem& e) {
  ConstrainedProblem<Real> p;
  p.A = matrix<Real>(e.A, e.n);
  p.b = values<Real>(e.b);
  p.C = matrix<Real>(e.C, e.n);
  p.d = values<Real>(e.d);
  p.E = matrix<Real>(e.E, e.n);
  p.f = values<Real>(e.f);
  p.lo = values<Real>(e.lo);
  p.hi = values<Real>(e.hi);
  return p;
}

double norm(const std::vector<double>& v) {
  double squares = 0;
  for (const double e : v) squares += e * e;
  return std::sqrt(squares);
}

/// The solvers compute in double and round once: a float answer is off by half an eps.
template <class Real>
constexpr double bound = sizeof(Real) == 4 ? eps_of<float> : 1e-13;

template <class Real>
void expect_exact(Solver solver, const reference::ExactProblem& exact) {
  SCOPED_TRACE(exact.name);
  const auto p = problem_of<Real>(exact);
  const auto s = solve(solver, p);
  EXPECT_TRUE(s.converged);
  const Optimality found = optimality_of(p, s);
  EXPECT_EQ(found.unsound, "");
  EXPECT_LE(static_cast<double>(found.worst()), 100 * eps_of<Real>);
  const double size = norm(exact.x), reach = norm(std::vector<double>(p.b.begin(), p.b.end()));
  EXPECT_NEAR(static_cast<double>(s.residual_norm), exact.residual_norm,
              bound<Real> * (exact.residual_norm + reach));
  if (!exact.unique) return;
  ASSERT_EQ(s.x.size(), exact.x.size());
  for (std::size_t j = 0; j < exact.x.size(); ++j)
    EXPECT_NEAR(static_cast<double>(s.x[j]), exact.x[j], bound<Real> * size) << "x[" << j << "]";
}

TWIN_TEST(ExactSolutions, NonNegativeAgree) {
  for (const auto& exact : reference::exact_nonnegative) expect_exact<Real>(Solver::nonnegative, exact);
}

TWIN_TEST(ExactSolutions, WithinBoundsAgree) {
  for (const auto& exact : reference::exact_bounded) expect_exact<Real>(Solver::bounded, exact);
}

TWIN_TEST(ExactSolutions, UnderConstraintsAgree) {
  for (const auto& exact : reference::exact_constrained) expect_exact<Real>(Solver::constrained, exact);
}

/// A problem of one solver is one of the general solver too.
TWIN_TEST(ExactSolutions, TheGeneralSolverSolvesTheSpecialProblems) {
  for (const auto& exact : reference::exact_nonnegative) expect_exact<Real>(Solver::constrained, exact);
  for (const auto& exact : reference::exact_bounded) expect_exact<Real>(Solver::constrained, exact);
}

/// Lawson and Hanson, Solving Least Squares Problems, chapter 23: a line through four points, of slope and
/// height >= 0 and of value <= 1 at 1. The book has eight digits.
TWIN_TEST(ExactSolutions, TheLineOfTheTextbookAgrees) {
  ConstrainedProblem<Real> p;
  p.A = Dense<Real>(4, 2);
  p.A.data = {Real(0.25), Real(0.5), Real(0.5), Real(0.8), 1, 1, 1, 1};
  p.b = {Real(0.5), Real(0.6), Real(0.7), Real(1.2)};
  p.C = Dense<Real>(3, 2);
  p.C.data = {1, 0, -1, 0, 1, -1};
  p.d = {0, 0, -1};
  const auto s = solve(Solver::constrained, p);
  const double digits = sizeof(Real) == 4 ? 4 * eps_of<float> : 5e-9;
  ASSERT_EQ(s.x.size(), 2U);
  EXPECT_NEAR(static_cast<double>(s.x[0]), 0.62131519, digits);
  EXPECT_NEAR(static_cast<double>(s.x[1]), 0.37868481, digits);
  EXPECT_NEAR(static_cast<double>(s.residual_norm), 0.33822935, digits);
  ASSERT_EQ(s.active.size(), 1U);
  EXPECT_EQ(s.active[0].kind, tabfit::constraint_kind::inequality);
  EXPECT_EQ(s.active[0].index, 2);
}

}  // namespace

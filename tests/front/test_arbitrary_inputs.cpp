// tests/front/test_arbitrary_inputs.cpp - the constrained solvers with arbitrary sizes, bits for numbers and
// guesses of the active set: they return or throw what they document, whatever comes in.
//
// TABFIT_ROUNDS in the environment sets the number of problems of each test, to go on for longer.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/constrained_calls.hpp"
#include "tests/support/constrained_problem.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"
#include "tests/support/watchdog.hpp"

namespace {

int rounds() {
  const char* wanted = std::getenv("TABFIT_ROUNDS");
  return wanted ? std::atoi(wanted) : 3000;
}

/// How far the numbers go.
enum class Numbers {
  small,   ///< in -3..3, integers mostly
  finite,  ///< any bits but those of NaN and infinity
  any      ///< any bits, and NaN, infinity, zeros, denormals, the greatest more often than by chance
};

template <class Real>
Real draw_number(Random& random, Numbers numbers) {
  constexpr Real odd[] = {nan_of<Real>,
                          inf_of<Real>,
                          -inf_of<Real>,
                          Real(-0.0),
                          std::numeric_limits<Real>::denorm_min(),
                          std::numeric_limits<Real>::min(),
                          std::numeric_limits<Real>::max(),
                          std::numeric_limits<Real>::lowest()};
  if (numbers == Numbers::small)
    return static_cast<Real>(random.chance(3) ? random.real(-3, 3) : random.integer(-3, 3));
  if (random.chance(8)) return odd[random.integer(numbers == Numbers::any ? 0 : 3, 7)];
  for (;;) {
    Real value;
    unsigned char bytes[sizeof(Real)];
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random.integer(0, 255));
    std::memcpy(&value, bytes, sizeof value);
    if (numbers == Numbers::any || std::isfinite(value)) return value;
  }
}

template <class Real>
struct Input {
  ConstrainedProblem<Real> problem;
  std::vector<tabfit::active_constraint> start;
  int iterations = 0;
};

/// Sizes agree but for one in ten.
template <class Real>
Input<Real> draw_input(Random& random, Numbers numbers) {
  const auto number = [&] {
    return draw_number<Real>(random, random.chance(2) ? numbers : Numbers::small);
  };
  const auto size = [&](int n) { return random.chance(60) ? random.integer(0, n + 2) : n; };
  const auto fill = [&](std::vector<Real>& v, int n) {
    v.resize(static_cast<std::size_t>(n));
    for (Real& e : v) e = number();
  };
  const auto matrix = [&](int m, int n) {
    Dense<Real> M(m, n);
    for (Real& e : M.data) e = number();
    return M;
  };
  Input<Real> in;
  const int m = random.integer(random.chance(20) ? 0 : 1, 6),
            n = random.integer(random.chance(20) ? 0 : 1, 5);
  const int k = random.integer(0, 6), e = random.integer(0, 2);
  in.problem.A = matrix(m, n);
  fill(in.problem.b, size(m));
  in.problem.C = matrix(k, size(n));
  fill(in.problem.d, size(k));
  in.problem.E = matrix(e, size(n));
  fill(in.problem.f, size(e));
  fill(in.problem.lo, size(n));
  fill(in.problem.hi, size(n));
  for (std::size_t j = 0; j < in.problem.lo.size() && j < in.problem.hi.size(); ++j)
    if (in.problem.lo[j] > in.problem.hi[j] && !random.chance(30))
      std::swap(in.problem.lo[j], in.problem.hi[j]);
  for (int times = random.chance(2) ? random.integer(0, 6) : 0; times > 0; --times)
    in.start.push_back({static_cast<tabfit::constraint_kind>(random.integer(0, 3)),
                        random.integer(random.chance(20) ? -2 : 0, n + 1)});
  if (random.chance(3)) in.iterations = random.integer(-1, 5);
  return in;
}

template <class Real>
bool has_nan(const std::vector<Real>& v) {
  for (const Real e : v)
    if (std::isnan(e)) return true;
  return false;
}

/// Sizes that do not fit A, or NaN.
template <class Real>
bool must_refuse(Solver solver, const ConstrainedProblem<Real>& p) {
  if (solver == Solver::least_distance) return has_nan(p.C.data) || has_nan(p.d);
  if (has_nan(p.A.data) || has_nan(p.b)) return true;
  if (p.b.size() != static_cast<std::size_t>(p.m())) return true;
  return solver != Solver::nonnegative && (has_nan(p.lo) || has_nan(p.hi));
}

/// What came of a call: 'b' bad_data, 'i' infeasible, 'c' converged, 'n' not converged.
template <class Real>
char outcome_of(Solver solver, const Input<Real>& in) {
  const ConstrainedProblem<Real>& p = in.problem;
  try {
    const auto s = solve(solver, p, in.start, in.iterations);
    EXPECT_EQ(s.x.size(),
              static_cast<std::size_t>(solver == Solver::least_distance ? p.C.columns : p.n()));
    EXPECT_EQ(s.active.size(), s.multipliers.size());
    if (!s.converged) return 'n';
    for (const Real v : s.x) EXPECT_TRUE(std::isfinite(v));
    EXPECT_LE(s.violation, 1000 * eps_of<Real>);
    return 'c';
  } catch (const tabfit::bad_data& refused) {
    EXPECT_NE(std::string(refused.what()).find(name_of(solver)), std::string::npos) << refused.what();
    return 'b';
  } catch (const tabfit::infeasible&) {
    EXPECT_TRUE(solver == Solver::least_distance || solver == Solver::constrained);
    return 'i';
  }
}

template <class Real>
void try_all(Numbers numbers, std::uint64_t seed) {
  Random random(seed);
  for (int round = 0; round < rounds() && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
    const Input<Real> in = draw_input<Real>(random, numbers);
    const auto& p = in.problem;
    for (const Solver solver :
         {Solver::nonnegative, Solver::bounded, Solver::least_distance, Solver::constrained}) {
      SCOPED_TRACE(name_of(solver));
      const char outcome = outcome_of(solver, in);
      if (must_refuse(solver, p)) {
        EXPECT_EQ(outcome, 'b');
      }
    }
  }
}

/// The limit of time is for a defect; the calls take seconds.
template <class Real>
void expect_return_from_all(Numbers numbers, std::uint64_t seed) {
  expect_return(60 + 0.02 * rounds(), [=] { try_all<Real>(numbers, seed); });
}

TWIN_TEST(ArbitraryInputs, SmallNumbersAreSolvedOrRefused) {
  expect_return_from_all<Real>(Numbers::small, 1);
}

TWIN_TEST(ArbitraryInputs, NumbersOfAnyExponentAreSolvedOrRefused) {
  expect_return_from_all<Real>(Numbers::finite, 2);
}

TWIN_TEST(ArbitraryInputs, AnyBitsAreSolvedOrRefused) { expect_return_from_all<Real>(Numbers::any, 3); }

}  // namespace

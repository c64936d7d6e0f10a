// tests/front/test_solver_threads.cpp - the constrained solvers, called from four threads at once with the
// same inputs, give what they give in one.
#include <thread>
#include <vector>

#include "tests/support/constrained_calls.hpp"
#include "tests/support/constrained_problems.hpp"
#include "tests/support/random.hpp"
#include "tests/support/twin_test.hpp"

namespace {

template <class Real>
struct Task {
  Solver solver;
  ConstrainedProblem<Real> problem;
};

/// Problems that can be solved, for every solver.
template <class Real>
std::vector<Task<Real>> draw_tasks() {
  Random random(4);
  std::vector<Task<Real>> tasks;
  for (int k = 0; k < 30; ++k)
    for (const Solver solver :
         {Solver::nonnegative, Solver::bounded, Solver::least_distance, Solver::constrained}) {
      auto p = drawn::draw_system<Real>(random, drawn::Elements::normal, drawn::Shape::any);
      if (solver == Solver::nonnegative) drawn::add_box(random, drawn::Box::zero, p);
      if (solver == Solver::bounded) drawn::add_box(random, drawn::Box::around_zero, p);
      if (solver == Solver::least_distance || solver == Solver::constrained)
        drawn::add_constraints(random, drawn::Constraints::met, p);
      tasks.push_back({solver, std::move(p)});
    }
  return tasks;
}

template <class Real>
std::vector<tabfit::solution<Real>> solve_all(const std::vector<Task<Real>>& tasks) {
  std::vector<tabfit::solution<Real>> solutions;
  for (const auto& task : tasks) solutions.push_back(solve(task.solver, task.problem));
  return solutions;
}

TWIN_TEST(SolverThreads, FourGiveTheSameBitsAsOne) {
  const auto tasks = draw_tasks<Real>();
  const auto alone = solve_all(tasks);
  std::vector<std::vector<tabfit::solution<Real>>> together(4);
  std::vector<std::thread> threads;
  for (auto& solutions : together) threads.emplace_back([&] { solutions = solve_all(tasks); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& solutions : together) {
    ASSERT_EQ(solutions.size(), alone.size());
    for (std::size_t k = 0; k < alone.size(); ++k) {
      EXPECT_EQ(solutions[k].x, alone[k].x);
      EXPECT_EQ(solutions[k].residual, alone[k].residual);
      EXPECT_EQ(solutions[k].active, alone[k].active);
      EXPECT_EQ(solutions[k].multipliers, alone[k].multipliers);
      EXPECT_EQ(solutions[k].iterations, alone[k].iterations);
      EXPECT_TRUE(solutions[k].converged);
    }
  }
}

}  // namespace

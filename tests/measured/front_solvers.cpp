// tests/measured/front_solvers.cpp - the front's constrained solvers on random problems of all kinds: that
// they return, how many steps they take, and how well their answers meet the optimality conditions.
//
//     measure_front_solvers FILE           writes the text, with 1,600 problems of each kind and type
//     measure_front_solvers FILE 80        the same with so many, and tells the seeds of defects
//     measure_front_solvers ROW f|d SEED   solves one problem and tells all about it
//
// Every problem has its own seed. Calls run in a child process, with a limit of processor time for each;
// after a call that does not return, the next problem goes on in another child. The conditions are
// measured by tests/support/constrained_problem.hpp, not by the solvers.
#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/constrained_calls.hpp"
#include "tests/support/constrained_problems.hpp"
#include "tests/support/engine_calls.hpp"
#include "tests/support/random.hpp"
#include "tests/support/watchdog.hpp"

namespace {

using drawn::Box;
using drawn::Constraints;
using drawn::Elements;
using drawn::Outcome;
using drawn::Shape;

constexpr double seconds_for_one = 5;
constexpr double excusable = 1000;  // eps
constexpr int problems_for_engine = 100;

// -- the kinds of problems -----------------------------------------------------------------------------

struct Kind {
  Solver solver;
  const char* problems;
  Elements elements = Elements::normal;
  Shape shape = Shape::any;
  Box box = Box::around_zero;
  Constraints constraints = Constraints::met;
  bool other_units = false;
};

template <class Real>
ConstrainedProblem<Real> draw(const Kind& kind, Random& random) {
  ConstrainedProblem<Real> p;
  if (kind.constraints == Constraints::cube) return drawn::draw_cube<Real>(random);
  if (kind.constraints == Constraints::convex) return drawn::draw_convex<Real>(random);
  if (kind.solver == Solver::least_distance) {
    const int n = drawn::unknowns(random);
    p.A = Dense<Real>(n, n);
    for (int j = 0; j < n; ++j) p.A(j, j) = 1;
    p.b.resize(static_cast<std::size_t>(n));
  } else {
    p = drawn::draw_system<Real>(random, kind.elements, kind.shape);
  }
  if (kind.solver == Solver::nonnegative) drawn::add_box(random, Box::zero, p);
  if (kind.solver == Solver::bounded) drawn::add_box(random, kind.box, p);
  if (kind.solver == Solver::least_distance || kind.solver == Solver::constrained)
    drawn::add_constraints(random, kind.constraints, p);
  if (kind.other_units) drawn::change_units(random, p);
  return p;
}

Outcome expected(const Kind& kind) {
  const bool general = kind.solver == Solver::least_distance || kind.solver == Solver::constrained;
  return general ? outcome_of(kind.constraints) : Outcome::solution;
}

const std::pair<Elements, const char*> all_elements[] = {
    {Elements::normal, "normal elements"},
    {Elements::positive, "elements in 0..1"},
    {Elements::integers, "integers in -3..3"},
    {Elements::graded_rows, "rows scaled by 1e-8..1e8"},
    {Elements::graded_columns, "columns scaled by 1e-8..1e8"},
    {Elements::condition, "condition 1..1e8"},
    {Elements::nearly_equal, "half of the columns equal to 1e-3"},
    {Elements::copied_columns, "copied columns"},
    {Elements::zero_columns, "columns of zeros"},
    {Elements::sums_of_columns, "sums of columns"},
    {Elements::repeated_rows, "equations twice"},
};

const std::pair<Constraints, const char*> all_constraints[] = {
    {Constraints::tight, "a third holds with equality in a point"},
    {Constraints::repeated, "repeated, multiplied and added rows"},
    {Constraints::vertex, "integers, more than n meet in a point"},
    {Constraints::graded, "rows or columns scaled by 1e-8..1e8"},
    {Constraints::opposite, "two contradict"},
    {Constraints::simplex, "n + 1 contradict together"},
    {Constraints::nearly, "two contradict by 1e-18..0.1, or just not"},
    {Constraints::any, "right sides at random"},
    {Constraints::equalities, "dependent equations, inequalities"},
    {Constraints::boxed, "inequalities, equations and bounds"},
    {Constraints::cube, "cubes of Klee and Minty"},
    {Constraints::convex, "second differences >= 0, concave data"},
};

std::vector<Kind> all_kinds() {
  std::vector<Kind> kinds;
  for (const auto& [elements, text] : all_elements)
    kinds.push_back({Solver::nonnegative, text, elements});
  kinds.push_back({Solver::nonnegative, "normal, m = n", Elements::normal, Shape::square});
  kinds.push_back({Solver::nonnegative, "in 0..1, m = n", Elements::positive, Shape::square});
  kinds.push_back({Solver::nonnegative, "in 0..1, m = 1..n", Elements::positive, Shape::wide});
  kinds.push_back({Solver::nonnegative, "one equation", Elements::normal, Shape::one_row});
  kinds.push_back({Solver::nonnegative, "one unknown", Elements::normal, Shape::one_column});
  for (const auto& [elements, text] : all_elements) kinds.push_back({Solver::bounded, text, elements});
  const auto bounded = [&](const char* text, Box box, Elements elements = Elements::normal) {
    kinds.push_back({Solver::bounded, text, elements, Shape::any, box});
  };
  bounded("touching and equal bounds", Box::touching);
  bounded("the same, integers", Box::touching, Elements::integers);
  bounded("half of the bounds infinite", Box::infinite);
  bounded("the same, copied columns", Box::infinite, Elements::copied_columns);
  bounded("all bounds bind", Box::all_bind);
  bounded("no bound binds", Box::far);
  kinds.push_back({Solver::least_distance, "a point meets all with room"});
  for (const auto& [constraints, text] : all_constraints)
    if (constraints != Constraints::equalities && constraints != Constraints::boxed &&
        constraints != Constraints::cube && constraints != Constraints::convex)
      kinds.push_back(
          {Solver::least_distance, text, Elements::normal, Shape::any, Box::zero, constraints});
  for (const auto& [elements, text] : all_elements)
    kinds.push_back({Solver::constrained, text, elements});
  for (const auto& [constraints, text] : all_constraints)
    kinds.push_back({Solver::constrained, text, Elements::normal, Shape::any, Box::zero, constraints});
  kinds.push_back({Solver::constrained, "the same with copied columns", Elements::copied_columns,
                   Shape::any, Box::zero, Constraints::boxed});
  for (const Constraints constraints : {Constraints::met, Constraints::boxed})
    kinds.push_back({Solver::constrained,
                     constraints == Constraints::met ? "inequalities, other units" : "all, other units",
                     Elements::normal, Shape::any, Box::zero, constraints, true});
  return kinds;
}

std::uint64_t seed_of(int row, int k) {
  return 1'000'000 * (static_cast<std::uint64_t>(row) + 1) + static_cast<std::uint64_t>(k);
}

// -- counting ------------------------------------------------------------------------------------------

/// What is counted, in the order of the columns; each keeps the seed of its first case.
enum Case {
  contradiction,  ///< named with a good proof; no defect
  not_converged,
  many_steps,   ///< more than 3 (n + constraints)
  beyond,       ///< a condition is violated by more than 1000 eps
  understated,  ///< the solver's own violation is less than half of the one measured
  wrong,        ///< a solvable problem is refused, a contradiction solved or badly proved, x unsound
  hang,
  cases
};
const char* const case_names[cases] = {"contradiction",   "not converged", "many steps",
                                       "beyond 1000 eps", "understated",   "wrong",
                                       "does not return"};

struct Tally {
  int done = 0, counts[cases] = {};
  std::uint64_t first[cases] = {};
  int most_steps = 0;
  double violation = 0;  ///< greatest, in eps
  int engine_calls = 0, engine_hangs = 0;

  void count(Case what, std::uint64_t seed) {
    if (counts[what]++ == 0) first[what] = seed;
  }
};

/// The outcome of one call.
template <class Real>
struct Answer {
  std::optional<tabfit::solution<Real>> solution;
  bool contradiction = false;
  std::string flaw;  ///< of the proof of a contradiction, or another failure
};

template <class Real>
Answer<Real> answer(Solver solver, const ConstrainedProblem<Real>& p) {
  Answer<Real> a;
  try {
    a.solution = solve(solver, p);
  } catch (const tabfit::infeasible& proof) {
    a.contradiction = true;
    a.flaw = flaw_of(p, proof);
  } catch (const std::exception& failure) {
    a.flaw = failure.what();
  }
  return a;
}

template <class Real>
void judge(const Kind& kind, const ConstrainedProblem<Real>& p, const Answer<Real>& a,
           std::uint64_t seed, Tally& tally) {
  constexpr double eps = std::numeric_limits<Real>::epsilon();
  if (!a.solution) {
    const bool good = a.contradiction && a.flaw.empty() && expected(kind) != Outcome::solution;
    return tally.count(good ? contradiction : wrong, seed);
  }
  const auto& s = *a.solution;
  const Optimality found = optimality_of(p, s);
  tally.most_steps = std::max(tally.most_steps, s.iterations);
  if (s.iterations > 3 * (p.n() + p.constraints())) tally.count(many_steps, seed);
  if (!found.unsound.empty() || expected(kind) == Outcome::contradiction) tally.count(wrong, seed);
  if (!s.converged) {
    tally.count(not_converged, seed);
    if (found.unsound.empty() && found.primal > excusable * eps) tally.count(wrong, seed);
    return;
  }
  const double worst = static_cast<double>(found.worst()) / eps;
  if (!(worst <= tally.violation)) tally.violation = worst;
  if (!(worst <= excusable)) tally.count(beyond, seed);
  if (!(double(s.violation) / eps >= worst / 2 - 8)) tally.count(understated, seed);
}

void begin_to_wait() {
  itimerval time = {};
  time.it_value.tv_sec = static_cast<time_t>(seconds_for_one);
  setitimer(ITIMER_PROF, &time, nullptr);
}

/// Problems `tally.done` to `problems` - 1 of a kind.
template <class Real>
void count_on(const Kind& kind, int row, int problems, Tally& tally) {
  while (tally.done < problems) {
    const std::uint64_t seed = seed_of(row, tally.done);
    begin_to_wait();
    Random random = Random::silent(seed);
    const auto p = draw<Real>(kind, random);
    judge(kind, p, answer(kind.solver, p), seed, tally);
    if (tally.done < problems_for_engine && p.n() <= 10 && engine_takes(kind.solver, p)) {
      ++tally.engine_calls;
      tally.engine_hangs += engine_hangs(kind.solver, p);
    }
    ++tally.done;
  }
}

template <class Real>
Tally count(const Kind& kind, int row, int problems) {
  Shared<Tally> tally;
  while (tally->done < problems) {
    const Ended ended =
        watch(seconds_for_one, no_limit, [&] { count_on<Real>(kind, row, problems, *tally); });
    if (ended == Ended::returned) break;
    tally->count(ended == Ended::out_of_time ? hang : wrong, seed_of(row, tally->done));
    ++tally->done;
  }
  return *tally;
}

// -- the text ------------------------------------------------------------------------------------------

struct Row {
  Solver solver;
  const char* problems;
  char type;
  Tally tally;
};

void write_row(std::FILE* out, const Row& row) {
  const Tally& t = row.tally;
  std::fprintf(out, "| %s | %s | %c | %d | %d | %d | %d | %d | %.3g | %d | %d | %d | %d | %d of %d |\n",
               name_of(row.solver), row.problems, row.type, t.done, t.counts[contradiction],
               t.counts[not_converged], t.most_steps, t.counts[many_steps], t.violation,
               t.counts[beyond], t.counts[understated], t.counts[wrong], t.counts[hang], t.engine_hangs,
               t.engine_calls);
}

void write_head(std::FILE* out) {
  std::fprintf(out,
               "| Solver | Problems | Type | Calls | Contradictions | Not converged | Most steps "
               "| Many | Violation | Beyond | Understated | Wrong | Hangs | Engine |\n"
               "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
}

/// All rows of a solver, or of all solvers, and of a type.
Row sum_of(const std::vector<Row>& rows, Solver solver, char type) {
  Row sum = {solver, "all", type, {}};
  Tally& t = sum.tally;
  for (const Row& row : rows) {
    if ((solver != Solver::all && row.solver != solver) || row.type != type) continue;
    t.done += row.tally.done;
    for (int k = 0; k < cases; ++k) t.counts[k] += row.tally.counts[k];
    t.engine_calls += row.tally.engine_calls;
    t.engine_hangs += row.tally.engine_hangs;
    t.most_steps = std::max(t.most_steps, row.tally.most_steps);
    if (!(row.tally.violation <= t.violation)) t.violation = row.tally.violation;
  }
  return sum;
}

/// Seeds of defects, for the verb that solves one problem.
void tell_seeds(int place, const Row& row) {
  for (int k = not_converged; k < cases; ++k)
    if (row.tally.counts[k] > 0)
      std::printf("row %d %c: %s %d, first seed %llu\n", place, row.type, case_names[k],
                  row.tally.counts[k], static_cast<unsigned long long>(row.tally.first[k]));
}

std::vector<Row> count_all(int problems) {
  const std::vector<Kind> kinds = all_kinds();
  std::vector<Row> rows;
  for (std::size_t k = 0; k < kinds.size(); ++k) {
    const Kind& kind = kinds[k];
    const int place = static_cast<int>(k);
    rows.push_back({kind.solver, kind.problems, 'f', count<float>(kind, place, problems)});
    tell_seeds(place, rows.back());
    rows.push_back({kind.solver, kind.problems, 'd', count<double>(kind, place, problems)});
    tell_seeds(place, rows.back());
  }
  return rows;
}

bool write_text(const char* name, int problems) {
  std::FILE* out = std::fopen(name, "w");
  if (!out) return false;
  const std::vector<Row> rows = count_all(problems);
  std::fprintf(
      out,
      "Written by tests/measured/front_solvers.cpp.\n\n"
      "Type: f for float, d for double.\n"
      "Contradictions: constraints that contradict each other, named with a proof that holds.\n"
      "Not converged: the answer says so.\n"
      "Most steps: of one call. Many: calls of more than 3 (n + constraints) steps.\n"
      "Violation: the greatest of an optimality condition in a converged answer, relative to\n"
      "its own terms, in eps of the type. Beyond: answers of more than 1000 eps.\n"
      "Understated: the solver's own figure is less than half of the one measured.\n"
      "Wrong: a solvable problem is refused, a contradiction solved or badly proved, a bound\n"
      "violated, a multiplier negative, or an answer that did not converge not feasible.\n"
      "Hangs: calls that took more than %.0f seconds.\n"
      "Engine: on how many of the first problems the engine's own solver does not return.\n\n",
      seconds_for_one);
  write_head(out);
  for (const Solver solver :
       {Solver::nonnegative, Solver::bounded, Solver::least_distance, Solver::constrained, Solver::all})
    for (const char type : {'f', 'd'}) write_row(out, sum_of(rows, solver, type));
  std::fprintf(out, "\n");
  write_head(out);
  for (const Row& row : rows) write_row(out, row);
  return std::fclose(out) == 0;
}

// -- one problem -----------------------------------------------------------------------------------------

template <class Real>
void print(const char* name, const Dense<Real>& M) {
  std::printf("%s, %d by %d\n", name, M.rows, M.columns);
  for (int i = 0; i < M.rows; ++i) {
    for (int j = 0; j < M.columns; ++j) std::printf(" %.17g", double(M(i, j)));
    std::printf("\n");
  }
}

template <class Values>
void print(const char* name, const Values& values) {
  std::printf("%s:", name);
  for (const auto v : values) std::printf(" %.17g", double(v));
  std::printf("\n");
}

template <class Real>
void tell(const Kind& kind, std::uint64_t seed) {
  Random random = Random::silent(seed);
  const auto p = draw<Real>(kind, random);
  constexpr double eps = std::numeric_limits<Real>::epsilon();
  std::printf("%s, %s\n", name_of(kind.solver), kind.problems);
  print("A", p.A);
  print("b", p.b);
  print("C", p.C);
  print("d", p.d);
  print("E", p.E);
  print("f", p.f);
  print("lo", p.lo);
  print("hi", p.hi);
  std::fflush(stdout);
  const auto a = answer(kind.solver, p);
  std::printf("contradiction %d, flaw: %s\n", a.contradiction, a.flaw.c_str());
  if (!a.solution) return;
  const auto& s = *a.solution;
  print("x", s.x);
  std::printf("active (lower 0, upper 1, inequality 2, equality 3):");
  for (const auto& c : s.active) std::printf(" %d:%d", static_cast<int>(c.kind), c.index);
  std::printf("\n");
  print("multipliers", s.multipliers);
  const Optimality o = optimality_of(p, s);
  std::printf("steps %d of %d, converged %d, own violation %.3g eps\n", s.iterations,
              3 * (p.n() + p.constraints()), s.converged, double(s.violation) / eps);
  std::printf(
      "in eps: stationarity %.3g, primal %.3g, complementarity %.3g, residual %.3g; unsound: %s\n",
      double(o.stationarity) / eps, double(o.primal) / eps, double(o.complementarity) / eps,
      double(o.residual) / eps, o.unsound.c_str());
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2 || count == 3) {
    const int problems = count == 3 ? std::atoi(arguments[2]) : 1600;
    return problems > 0 && write_text(arguments[1], problems) ? 0 : 1;
  }
  const auto kinds = all_kinds();
  if (count != 4) return 2;
  const Kind& kind = kinds.at(static_cast<std::size_t>(std::atoi(arguments[1])));
  const std::uint64_t seed = std::strtoull(arguments[3], nullptr, 10);
  *arguments[2] == 'f' ? tell<float>(kind, seed) : tell<double>(kind, seed);
  return 0;
}

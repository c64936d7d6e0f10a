// bench/front.cpp - the constrained solvers of the C++ front against the solvers inside SciPy and R.
//
// nonnegative  the peers' compiled routines are called without their languages. They overwrite the matrix,
//              so they begin with a copy, which is timed.
// bounded      the peer is written in Python on top of LAPACK; its time includes the call.
#include "bench/front.hpp"

#include "bench/blas.hpp"
#include "bench/fortran.hpp"
#include "bench/matrix.hpp"
#include "bench/worker.hpp"
#include "tabfit/tabfit.hpp"

#include <cstring>

namespace tabfit::bench {
namespace {

using Vector = std::vector<double>;

enum class Signs { positive, mixed };

std::size_t size(int n) { return static_cast<std::size_t>(n); }

/// b is A times a vector, plus some noise. The elements of the vector are positive or alternate in sign;
/// where they are negative, a non-negative solution is 0.
struct System {
  int m, n;
  Matrix<double> A;
  Block<double> b;
  Vector x;  ///< ours
  bool converged = false;

  System(int rows, int unknowns, Signs signs, unsigned seed)
      : m(rows), n(unknowns), A(m, n), b(size(m)) {
    Random random(seed);
    A.fill(random, -1, 1);
    for (int i = 0; i < m; ++i) {
      b[size(i)] = 0.1 * random(-1, 1);
      for (int j = 0; j < n; ++j)
        b[size(i)] +=
            A(i, j) * (signs == Signs::mixed && j % 2 == 1 ? -1.0 : 1.0) * (1.0 + 0.5 * (j % 5));
    }
  }

  table_view<double> view() const { return table_view<double>::column_major(A.data.data(), m, n); }
  void keep(const solution<double>& s) {
    x = s.x;
    converged = s.converged;
  }
  Agreement compare(const Vector& peer, double bound) const {
    return {converged && peer.size() == x.size() ? relative_difference(x, peer, x.size())
                                                 : std::numeric_limits<double>::quiet_NaN(),
            bound};
  }
};

/// Data of condition below 3; both sides solve the same last subproblem.
double rounding(int m) { return 4.0 * std::sqrt(m) * epsilon<double>; }

/// One of the compiled routines, with its storage.
struct NnlsPeer {
  Nnls call;
  int last;
  Vector A, b, x, w, z;
  std::vector<int> index;
  double norm = 0;
  int mode = 0;

  NnlsPeer(const System& s, Nnls routine)
      : call(routine),
        A(s.A.data.size()),
        b(s.b.size()),
        x(size(s.n)),
        w(size(s.n)),
        z(size(s.m)),
        index(size(s.n)) {}

  void solve(const System& s) {
    std::memcpy(A.data(), s.A.data.data(), A.size() * sizeof(double));
    std::memcpy(b.data(), s.b.data(), b.size() * sizeof(double));
    last = -1;
    call(A.data(), &s.m, &s.m, &s.n, b.data(), x.data(), &norm, w.data(), z.data(), index.data(), &mode,
         &last);
  }
};

Trial non_negative(int m, int n, Signs signs, unsigned seed) {
  auto s = std::make_shared<System>(m, n, signs, seed);
  Trial trial{1.0, [=] { s->keep(nonnegative(s->view(), s->b)); }, {}};
  for (const auto& [name, routine] :
       {std::pair{"SciPy nnls", scipy_nnls()}, std::pair{"R nnls", r_nnls()}}) {
    if (!routine) continue;
    auto peer = std::make_shared<NnlsPeer>(*s, routine);
    trial.peers.push_back(
        {name, [=] { peer->solve(*s); },
         [=] { return s->compare(peer->mode == 1 ? peer->x : Vector(), rounding(m)); }});
  }
  return trial;
}

/// Half of the bounds bind.
Trial within_bounds(int m, int n, unsigned seed) {
  auto s = std::make_shared<System>(m, n, Signs::mixed, seed);
  auto lo = std::make_shared<Vector>(), hi = std::make_shared<Vector>();
  for (int j = 0; j < n; ++j) {
    lo->push_back(j % 4 < 2 ? -4.0 : -0.5);
    hi->push_back(j % 4 < 2 ? 4.0 : 0.5);
  }
  constexpr double code = 10;
  Vector problem{code, static_cast<double>(m), static_cast<double>(n)};
  for (const auto* part : {&s->A.data, &s->b})
    problem.insert(problem.end(), part->begin(), part->end());
  for (const auto& part : {lo, hi}) problem.insert(problem.end(), part->begin(), part->end());
  auto peer = std::make_shared<Vector>();
  return {1.0,
          [=] { s->keep(bounded(s->view(), s->b, *lo, *hi)); },
          {{"SciPy lsq_linear", [=] { *peer = python_worker().solve(problem); },
            [=] { return s->compare(*peer, rounding(m)); },
            [](int calls) { return python_worker().seconds(calls); }}}};
}

}  // namespace

void add_front(Comparison& comparison) {
  const unsigned seed = comparison.seed;
  const auto add = [&](const std::string& name, int m, int n, std::function<Trial()> prepare) {
    comparison.workloads.push_back({name + "/m=" + std::to_string(m), n, std::move(prepare)});
  };
  constexpr struct { int m, n; } sizes[] = {{50, 10}, {200, 20}, {1000, 40}, {500, 60}};
  for (const auto& [signs, kind] :
       {std::pair{Signs::mixed, "/half zero"}, std::pair{Signs::positive, "/all positive"}})
    for (const auto [m, n] : sizes)
      if (scipy_nnls() || r_nnls())
        add(std::string("nonnegative") + kind, m, n,
            [=, m = m, n = n, signs = signs] { return non_negative(m, n, signs, seed); });
  for (const auto [m, n] : sizes)
    if (python_worker().available())
      add("bounded", m, n, [=, m = m, n = n] { return within_bounds(m, n, seed); });
}

}  // namespace tabfit::bench

// bench/solvers.cpp - least squares against LAPACK and Eigen, non-negative least squares against SciPy
// and R.
//
// Ls:      both sides begin with a copy of the matrix and the right-hand side, which is timed. Only
//          peers with column pivoting take part.
// Ls_cnn:  the peers are compiled functions of interpreted languages. Their time includes the call, for
//          which a user pays. They have double precision only. Ours leaves its working tables allocated
//          at every call, so it is timed in a copy of this process.
#include "bench/solvers.hpp"

#include "bench/blas.hpp"
#include "bench/eigen.hpp"
#include "bench/matrix.hpp"
#include "bench/worker.hpp"
#include "tabfit/engine.hpp"

#include <cstring>

namespace tabfit::bench {
namespace {

using namespace engine;

/// min |A x - b| with uniform data. The last column of work has room for max(m, n).
template <class Real>
struct System {
  int m, n;
  Matrix<Real> A;
  Block<Real> b;
  Matrix<Real> work;
  std::vector<Block<Real>> x;  ///< ours, then the peers'
  std::vector<int> order;
  Block<Real> tau, scratch;
  Real rn = 0;
  int info = 0;

  System(int rows, int unknowns, std::size_t sides, unsigned seed)
      : m(rows),
        n(unknowns),
        A(m, n),
        b(static_cast<std::size_t>(m)),
        work(m, n + 1),
        x(sides, Block<Real>(static_cast<std::size_t>(n), std::numeric_limits<Real>::quiet_NaN())),
        order(static_cast<std::size_t>(n)),
        tau(static_cast<std::size_t>(n)),
        scratch(static_cast<std::size_t>(66 * n + 4400)) {
    Random random(seed + static_cast<unsigned>(m));
    A.fill(random, -1, 1);
    for (Real& bi : b) bi = static_cast<Real>(random(-1, 1));
  }

  Real* rhs() { return work.data.data() + A.data.size(); }
  int scratch_size() const { return static_cast<int>(scratch.size()); }

  void restore() {
    std::memcpy(work.data.data(), A.data.data(), A.data.size() * sizeof(Real));
    std::memcpy(rhs(), b.data(), b.size() * sizeof(Real));
  }

  Agreement compare(std::size_t side, double bound) const {
    return {relative_difference(x[0], x[side], x[0].size()), bound};
  }
};

constexpr int one = 1;

template <class Real>
void solve_by_gelsy(System<Real>& s, Block<Real>& x) {
  const Real rcond = epsilon<Real>;
  int rank = 0;
  const int size = s.scratch_size();
  s.restore();
  std::fill(s.order.begin(), s.order.end(), 0);
  lapack<Real>().gelsy(&s.m, &s.n, &one, s.work.data.data(), &s.m, s.rhs(), &s.m, s.order.data(),
                       &rcond, &rank, s.scratch.data(), &size, &s.info);
  std::copy_n(s.rhs(), s.n, x.begin());
}

template <class Real>
void solve_by_geqp3(System<Real>& s, Block<Real>& x) {
  const int size = s.scratch_size();
  s.restore();
  std::fill(s.order.begin(), s.order.end(), 0);
  lapack<Real>().geqp3(&s.m, &s.n, s.work.data.data(), &s.m, s.order.data(), s.tau.data(),
                       s.scratch.data(), &size, &s.info);
  lapack<Real>().ormqr("L", "T", &s.m, &one, &s.n, s.work.data.data(), &s.m, s.tau.data(), s.rhs(),
                       &s.m, s.scratch.data(), &size, &s.info, 1, 1);
  lapack<Real>().trtrs("U", "N", "N", &s.n, &one, s.work.data.data(), &s.m, s.rhs(), &s.m, &s.info, 1,
                       1, 1);
  for (std::size_t j = 0; j < x.size(); ++j) x[static_cast<std::size_t>(s.order[j] - 1)] = s.rhs()[j];
}

/// The condition of the data is below 3; the roundings of m terms add up like a random walk. Measured:
/// up to 0.6 sqrt(m) eps.
template <class Real>
Trial plain(int m, int n, unsigned seed) {
  auto s = std::make_shared<System<Real>>(m, n, 4, seed);
  const double bound = 4.0 * std::sqrt(m) * epsilon<Real>;
  return {
      1.0,
      [=] {
        s->restore();
        s->work.reset_table();
        s->info = Ls(s->work.table.data(), m, n, &s->rn);
        std::copy_n(s->rhs(), n, s->x[0].begin());
      },
      {{"LAPACK gelsy", [=] { solve_by_gelsy(*s, s->x[1]); }, [=] { return s->compare(1, bound); }},
       {"LAPACK geqp3", [=] { solve_by_geqp3(*s, s->x[2]); }, [=] { return s->compare(2, bound); }},
       {"Eigen", [=] { Eigenlib<Real>::qr_solve(m, n, s->A.data.data(), s->b.data(), s->x[3].data()); },
        [=] { return s->compare(3, bound); }}}};
}

enum class Signs { positive, mixed };

/// min |A x - b|, x >= 0.
template <class Real>
struct NonNegative {
  int m, n;
  Matrix<Real> A;  ///< the matrix, then b; the operation exchanges the first pointers
  Block<Real> x, r;
  Real rn = 0;
  int status = 0;
  std::vector<double> problem;  ///< for the peers
  std::vector<std::vector<double>> peers_x;

  /// b is A times a vector, plus some noise. The elements of the vector are positive or alternate in
  /// sign; where they are negative, the solution is 0.
  NonNegative(int rows, int unknowns, Signs signs, unsigned seed)
      : m(rows),
        n(unknowns),
        A(m, n + 1),
        x(static_cast<std::size_t>(n)),
        r(static_cast<std::size_t>(m)) {
    Random random(seed);
    A.fill(random, -1, 1);
    for (int i = 0; i < m; ++i) {
      double sum = 0.1 * random(-1, 1);
      for (int j = 0; j < n; ++j)
        sum += A(i, j) * (signs == Signs::mixed && j % 2 == 1 ? -1.0 : 1.0) * (1.0 + 0.5 * (j % 5));
      A(i, n) = static_cast<Real>(sum);
    }
    constexpr double code = 1;
    problem = {code, static_cast<double>(m), static_cast<double>(n)};
    problem.insert(problem.end(), A.data.begin(), A.data.end());
  }

  void solve() {
    A.reset_table();
    status = Ls_cnn(A.table.data(), m, n, x.data(), r.data(), &rn);
  }
};

/// The double twin does not return if a variable has to be dropped. So data are drawn until it returns.
template <class Real>
std::shared_ptr<NonNegative<Real>> solvable(int m, int n, Signs signs, unsigned seed) {
  for (;; ++seed) {
    auto drawn = std::make_shared<NonNegative<Real>>(m, n, signs, seed);
    if (call_returns([&] { drawn->solve(); })) return drawn;
  }
}

/// Data of condition below 2; both sides solve the same subproblems. Measured: up to 0.5 sqrt(m) eps in
/// the double twin. The float twin corrects its solution by further passes until only the rounding of x
/// is left, and is compared with double peers: up to 0.35 eps.
template <class Real>
Trial non_negative(int m, int n, Signs signs, unsigned seed) {
  auto s = solvable<Real>(m, n, signs, seed);
  Trial trial{1.0,
              [=] { s->solve(); },
              {},
              [=](int calls) { return seconds_in_a_copy([=] { s->solve(); }, calls, 60); }};
  const auto add_peer = [&](const std::string& name, Worker& worker) {
    if (!worker.available()) return;
    const std::size_t index = s->peers_x.size();
    s->peers_x.emplace_back();
    trial.peers.push_back({name, [=, &worker] { s->peers_x[index] = worker.solve(s->problem); },
                           [=] {
                             return Agreement{
                                 s->status == LS_CNN_OK
                                     ? relative_difference(s->x, s->peers_x[index], s->x.size())
                                     : std::numeric_limits<double>::quiet_NaN(),
                                 is_float<Real> ? epsilon<Real> : 1.5 * std::sqrt(m) * epsilon<Real>};
                           },
                           [&worker](int calls) { return worker.seconds(calls); }});
  };
  add_peer("SciPy", python_worker());
  add_peer("R nnls", r_worker());
  return trial;
}

template <class Real>
void add_twins(Comparison& comparison, const std::string& letter) {
  constexpr struct {
    int m, n;
  } plain_sizes[] = {{50, 5}, {200, 10}, {1000, 24}, {10'000, 24}, {2000, 200}},
    non_negative_sizes[] = {{200, 20}, {1000, 40}};
  const unsigned seed = comparison.seed;
  for (const auto [m, n] : plain_sizes)
    comparison.workloads.push_back({"Ls_" + letter + "/m=" + std::to_string(m), n,
                                    [=, m = m, n = n] { return plain<Real>(m, n, seed); }});
  if (!python_worker().available() && !r_worker().available()) return;
  for (const auto& [signs, kind] :
       {std::pair{Signs::mixed, "/half zero"}, std::pair{Signs::positive, "/all positive"}})
    for (const auto [m, n] : non_negative_sizes)
      comparison.workloads.push_back(
          {"Ls_cnn" + letter + kind + "/m=" + std::to_string(m), n,
           [=, m = m, n = n, signs = signs] { return non_negative<Real>(m, n, signs, seed); }});
}

}  // namespace

void add_solvers(Comparison& comparison) {
  for (const Worker* worker : {&python_worker(), &r_worker()})
    if (worker->available()) comparison.peers.push_back(worker->description());
  add_twins<double>(comparison, "d");
  add_twins<float>(comparison, "f");
}

}  // namespace tabfit::bench

// bench/front.cpp - the constrained solvers of the C++ front against the solvers inside SciPy and R.
//
// nonnegative  the peers' compiled routines are called without their languages. They overwrite the matrix,
//              so they begin with a copy, which is timed.
// bounded      the peer is written in Python on top of LAPACK; its time includes the call.
// constrained  the peer takes the normal equations. A product of OpenBLAS forms them, which is timed. They
//              square the condition, so the digits of both are shown beside the ratio.
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

// -- general constraints --------------------------------------------------------------------------------

__extension__ typedef __float128 Quad;

/// Solves the square system by elimination with row exchanges. Rows are (matrix | right side).
std::vector<Quad> eliminate(std::vector<std::vector<Quad>> rows) {
  const std::size_t n = rows.size();
  const auto magnitude = [](Quad v) { return v < 0 ? -v : v; };
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k; i < n; ++i)
      if (magnitude(rows[i][k]) > magnitude(rows[pivot][k])) pivot = i;
    std::swap(rows[k], rows[pivot]);
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const Quad factor = rows[i][k] / rows[k][k];
      for (std::size_t j = k; j <= n; ++j) rows[i][j] -= factor * rows[k][j];
    }
  }
  std::vector<Quad> x;
  for (std::size_t k = 0; k < n; ++k) x.push_back(rows[k][n] / rows[k][k]);
  return x;
}

/// 2 n constraints, of which some bind. The condition of A is about as asked.
struct Constrained : System {
  int k;
  Matrix<double> C;  ///< by rows, so the peer's C' by columns
  Block<double> d;
  std::vector<active_constraint> active;
  double condition;

  // of the peer
  Vector D, c, y, multipliers, work;
  std::vector<int> indices;
  int status = 0;

  Constrained(int rows, int unknowns, double wanted, unsigned seed)
      : System(rows, unknowns, Signs::mixed, seed), k(2 * n), C(n, k), condition(wanted) {
    Random random(seed + 1);
    spread(random);
    C.fill(random, -1, 1);
    for (int i = 0; i < k; ++i) d.push_back(random(-1.0, -0.2));  // holds at 0, with room
    for (int i = 0; i < m; ++i) {
      b[size(i)] = 0.01 / condition * random(-1, 1);
      for (int j = 0; j < n; ++j) b[size(i)] += A(i, j) * (j % 2 == 1 ? -1.0 : 1.0);
    }
    const int r = std::min(n, k);
    D.resize(size(n * n));
    for (Vector* v : {&c, &y}) v->resize(size(n));
    multipliers.resize(size(k));
    indices.resize(size(k));
    work.resize(size(2 * n + r * (r + 5) / 2 + 2 * k + 1));
  }

  /// A := A S Q with S from 1 down to 1 / condition and a reflection Q.
  void spread(Random& random) {
    Vector v(size(n));
    double squares = 0;
    for (double& e : v) {
      e = random(-1, 1);
      squares += e * e;
    }
    for (int i = 0; i < m; ++i) {
      double sum = 0;
      for (int j = 0; j < n; ++j) {
        A(i, j) *= std::pow(condition, -static_cast<double>(j) / (n - 1));
        sum += A(i, j) * v[size(j)];
      }
      for (int j = 0; j < n; ++j) A(i, j) -= 2 * sum / squares * v[size(j)];
    }
  }

  void solve() {
    const auto s =
        constrained(view(), b, {.C = table_view<double>::row_major(C.data.data(), k, n), .d = d});
    active = s.active;
    keep(s);
  }

  void solve_by_peer() {
    const Blas<double>& blas = openblas<double>();
    // The peer reads D on and above the diagonal.
    blas.syrk(by_columns, upper, transposition, n, m, 1.0, A.data.data(), m, 0.0, D.data(), n);
    blas.gemv(by_columns, transposition, m, n, 1.0, A.data.data(), m, b.data(), 1, 0.0, c.data(), 1);
    const int none = 0;
    int active_count = 0, steps[2] = {0, 0};
    double value = 0;
    status = 0;
    r_quadratic_program()(D.data(), c.data(), &n, &n, y.data(), multipliers.data(), &value,
                          C.data.data(), d.data(), &n, &k, &none, indices.data(), &active_count, steps,
                          work.data(), &status);
  }

  /// The solution for our active set, to 25 digits or more: A'A x - C'u = A'b, C x = d. Empty unless it
  /// is the solution of the problem: u >= 0 and C x >= d elsewhere.
  std::vector<Quad> exact() const {
    const std::size_t unknowns = size(n), count = active.size();
    std::vector<std::vector<Quad>> rows(unknowns + count, std::vector<Quad>(unknowns + count + 1));
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) {
        for (int l = 0; l < n; ++l) rows[size(j)][size(l)] += Quad(A(i, j)) * A(i, l);
        rows[size(j)].back() += Quad(A(i, j)) * b[size(i)];
      }
    for (std::size_t a = 0; a < count; ++a) {
      for (int j = 0; j < n; ++j) {
        rows[unknowns + a][size(j)] = C(j, active[a].index);
        rows[size(j)][unknowns + a] = -C(j, active[a].index);
      }
      rows[unknowns + a].back() = d[size(active[a].index)];
    }
    std::vector<Quad> found = eliminate(rows);
    for (std::size_t a = 0; a < count; ++a)
      if (!(found[unknowns + a] >= 0)) return {};
    found.resize(unknowns);
    for (int i = 0; i < k; ++i) {
      Quad slack = -d[size(i)];
      for (int j = 0; j < n; ++j) slack += C(j, i) * found[size(j)];
      if (!(slack >= -1e-20)) return {};
    }
    return found;
  }

  /// The greatest error of an answer, relative to the greatest element.
  static double error(const Vector& answer, const std::vector<Quad>& truth) {
    double greatest = 0, scale = 0;
    for (std::size_t j = 0; j < truth.size(); ++j) {
      const double off = std::fabs(static_cast<double>(answer[j] - truth[j]));
      if (!(off <= greatest)) greatest = off;
      scale = std::max(scale, std::fabs(static_cast<double>(truth[j])));
    }
    return truth.empty() ? std::numeric_limits<double>::quiet_NaN() : greatest / scale;
  }
};

std::string digits(double error) {
  char text[20];
  std::snprintf(text, sizeof text, "%.1f", -std::log10(std::max(error, epsilon<double> / 2)));
  return error >= 1 ? "0" : text;
}

/// Ours must have the digits that the condition leaves. Of the peer nothing is asked but at condition 1.
Trial under_constraints(int m, int n, double condition, unsigned seed) {
  auto s = std::make_shared<Constrained>(m, n, condition, seed);
  const double bound = rounding(m) * condition;
  Trial trial{1.0,
              [=] { s->solve(); },
              {{"R quadprog", [=] { s->solve_by_peer(); },
                [=] {
                  const double ours = s->converged ? Constrained::error(s->x, s->exact())
                                                   : std::numeric_limits<double>::quiet_NaN();
                  if (condition > 1) return Agreement{ours, bound};
                  return Agreement{
                      std::max(ours, s->compare(s->status == 0 ? s->y : Vector(), bound).difference),
                      bound};
                }}}};
  trial.digits = [=] {
    const auto truth = s->exact();
    return digits(Constrained::error(s->x, truth)) + " / " +
           (s->status == 0 ? digits(Constrained::error(s->y, truth)) : "refused");
  };
  return trial;
}

}  // namespace

void add_front(Comparison& comparison) {
  const unsigned seed = comparison.seed;
  const auto add = [&](const std::string& name, int m, int n, std::function<Trial()> prepare) {
    comparison.workloads.push_back({name + "/m=" + std::to_string(m), n, std::move(prepare)});
  };
  constexpr struct {
    int m, n;
  } sizes[] = {{50, 10}, {200, 20}, {1000, 40}, {500, 60}},
    general[] = {{50, 8}, {200, 16}, {1000, 24}};
  for (const auto& [signs, kind] :
       {std::pair{Signs::mixed, "/half zero"}, std::pair{Signs::positive, "/all positive"}})
    for (const auto [m, n] : sizes)
      if (scipy_nnls() || r_nnls())
        add(std::string("nonnegative") + kind, m, n,
            [=, m = m, n = n, signs = signs] { return non_negative(m, n, signs, seed); });
  for (const auto [m, n] : sizes)
    if (python_worker().available())
      add("bounded", m, n, [=, m = m, n = n] { return within_bounds(m, n, seed); });
  for (const auto& [condition, kind] :
       {std::pair{1.0, "1"}, std::pair{1e4, "1e4"}, std::pair{1e8, "1e8"}})
    for (const auto [m, n] : general)
      if (r_quadratic_program())
        add(std::string("constrained/condition ") + kind, m, n,
            [=, m = m, n = n, condition = condition] {
              return under_constraints(m, n, condition, seed);
            });
}

}  // namespace tabfit::bench

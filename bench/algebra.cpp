// bench/algebra.cpp - matrix algebra against OpenBLAS with its LAPACK, BLIS, Eigen and libxsmm.
//
// Matrices are of order n, in the same blocks for both sides; triangles stand in full tables, zeros
// below. A float twin is compared with the peers' single precision, though it sums in double.
//
// Copies: where only the peer works in place, it copies the operand first, as its user would. Where
// both work in place, both begin with a copy from the same source. The copy is part of either time.
//
// Data: uniform in -1..1. Matrices that are inverted or solved with are well conditioned: a difference
// then tells of the methods, not of the problem.
#include "bench/algebra.hpp"

#include "bench/blas.hpp"
#include "bench/eigen.hpp"
#include "bench/matrix.hpp"
#include "bench/xsmm.hpp"
#include "tabfit/engine.hpp"

#include <cstring>
#include <utility>

namespace tabfit::bench {
namespace {

using namespace engine;

constexpr int sizes[] = {8, 32, 128, 512}, small_sizes[] = {4, 8, 16, 32, 64, 128};
constexpr std::size_t most_sides = 8;

/// Bounds of the differences, in units of sqrt(n) eps; see Contest.
constexpr double exact = 0.0, of_sums = 2.0, of_solutions = 6.0;

/// Problems solved in one call: so many that the resolution of the timer and the call do not count.
std::size_t problems_a_call(int n) { return n <= 8 ? 8 : n <= 32 ? 2 : 1; }

/// What one side writes.
template <class Real>
struct Result {
  Matrix<Real> C;          ///< n by n, and one column more for a right-hand side
  Matrix<Real> D;          ///< a second matrix
  Block<Real> y;           ///< a vector
  std::vector<int> order;  ///< of pivoted columns
  int first_index = 0;     ///< of order
  Block<Real> tau, work;
  int info = 0;

  explicit Result(int n)
      : C(n, n + 1), D(n, n), y(size(n)), order(size(n)), tau(size(n)), work(66 * size(n) + 4400) {
    const Real poison = std::numeric_limits<Real>::quiet_NaN();
    std::fill(C.data.begin(), C.data.end(), poison);
    std::fill(D.data.begin(), D.data.end(), poison);
    std::fill(y.begin(), y.end(), poison);
  }

  Real* rhs(int n) { return C.data.data() + size(n) * size(n); }
  int work_size() const { return static_cast<int>(work.size()); }

 private:
  static std::size_t size(int n) { return static_cast<std::size_t>(n); }
};

/// The operands, which nobody changes, and the results.
template <class Real>
struct Problem {
  int n;
  Matrix<Real> A, B;  ///< general
  Matrix<Real> W;     ///< well conditioned
  Matrix<Real> S;  ///< symmetric, positive definite, in full; with s(0,0) = 1 the d twin computes the
                   ///< usual factor
  Matrix<Real> U, V;  ///< upper triangular, well conditioned
  Block<Real> x;
  std::vector<Result<Real>> results;  ///< ours, then the peers'

  Problem(int order, Random& random)
      : n(order), A(n, n), B(n, n), W(n, n), S(n, n), U(n, n), V(n, n), x(static_cast<std::size_t>(n)) {
    A.fill(random, -1, 1);
    B.fill(random, -1, 1);
    for (Real& xj : x) xj = static_cast<Real>(random(-1, 1));
    fill_well_conditioned(random);
    fill_positive_definite();
    for (Matrix<Real>* triangle : {&U, &V}) fill_triangle(*triangle, random);
    results.reserve(most_sides);
  }

 private:
  /// W = a random matrix + 3 sqrt(n/3) I. The singular values of the former lie below 2 sqrt(n/3), so
  /// those of W lie between 1 and 5 times sqrt(n/3).
  void fill_well_conditioned(Random& random) {
    W.fill(random, -1, 1);
    for (int i = 0; i < n; ++i) W(i, i) += static_cast<Real>(3.0 * std::sqrt(n / 3.0));
  }

  /// S = (I + A^T A / n) / s(0,0), condition below 3.
  void fill_positive_definite() {
    M_mtms(A.table.data(), n, n, S.table.data());
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) S(i, j) = S(i, j) / static_cast<Real>(n) + static_cast<Real>(i == j);
    const Real s00 = S(0, 0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i <= j; ++i) S(j, i) = S(i, j) /= s00;
  }

  void fill_triangle(Matrix<Real>& T, Random& random) const {
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < j; ++i) T(i, j) = static_cast<Real>(random(-1, 1) / std::sqrt(n));
      T(j, j) = static_cast<Real>(random(1, 2));
    }
  }
};

// What is compared: our result with a peer's.

template <class Real>
using Compare = double (*)(const Result<Real>& ours, const Result<Real>& theirs, int n);

template <class Real>
double full(const Result<Real>& ours, const Result<Real>& theirs, int n) {
  Block<Real> all;  // by our pointers, which the operation may have exchanged
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) all.push_back(ours.C(i, j));
  return relative_difference(all, theirs.C.data, all.size());
}

template <class Real>
double upper_triangle(const Result<Real>& ours, const Result<Real>& theirs, int n) {
  Block<Real> a, b;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) {
      a.push_back(ours.C(i, j));
      b.push_back(theirs.C(i, j));
    }
  return relative_difference(a, b, a.size());
}

template <class Real>
double vectors(const Result<Real>& ours, const Result<Real>& theirs, int) {
  return relative_difference(ours.y, theirs.y, ours.y.size());
}

/// x of R P^T x = c, which does not depend on signs or on the order of the columns.
template <class Real>
std::vector<double> solution(const Result<Real>& result, int n) {
  std::vector<double> x(static_cast<std::size_t>(n)), z(x);
  for (int i = n - 1; i >= 0; --i) {
    double sum = result.C(i, n);
    for (int j = i + 1; j < n; ++j) sum -= result.C(i, j) * z[static_cast<std::size_t>(j)];
    z[static_cast<std::size_t>(i)] = sum / result.C(i, i);
    x[static_cast<std::size_t>(result.order[static_cast<std::size_t>(i)] - result.first_index)] =
        z[static_cast<std::size_t>(i)];
  }
  return x;
}

template <class Real>
double solutions(const Result<Real>& ours, const Result<Real>& theirs, int n) {
  return relative_difference(solution(ours, n), solution(theirs, n), static_cast<std::size_t>(n));
}

/// Collects the sides of a workload.
template <class Real>
class Contest {
 public:
  using Pool = std::vector<Problem<Real>>;

  /// The bound is a multiple of sqrt(n) eps of the greatest result: the roundings of a sum of n terms
  /// add up like a random walk. The greatest of many differences was measured at up to 0.75 for sums
  /// and solves and at 2.5 for solutions through a QR decomposition, whose data have a condition of up
  /// to 5.
  Contest(int n, unsigned seed, Compare<Real> compare, double bound)
      : n_(n), compare_(compare), bound_(bound), pool_(std::make_shared<Pool>()) {
    Random random(seed + static_cast<unsigned>(n));
    const std::size_t count = problems_a_call(n);
    pool_->reserve(count);
    for (std::size_t k = 0; k < count; ++k) pool_->emplace_back(n, random);
    trial_.items = static_cast<double>(count);
  }

  template <class Run>
  Contest& ours(Run run) {
    trial_.ours = side(run, 0);
    return *this;
  }

  template <class Run>
  Contest& peer(const std::string& name, Run run) {
    return peer(name, run, [](Problem<Real>&, Result<Real>&) {});
  }

  /// show() fetches a result that the peer keeps inside, for the comparison; it is not timed.
  template <class Run, class Show>
  Contest& peer(const std::string& name, Run run, Show show) {
    const std::size_t index = trial_.peers.size() + 1;
    const auto agreement = [=, pool = pool_, compare = compare_, n = n_,
                            bound = bound_ * std::sqrt(n_) * epsilon<Real>] {
      double worst = 0.0;
      for (Problem<Real>& problem : *pool) {
        show(problem, problem.results[index]);
        const double d = compare(problem.results[0], problem.results[index], n);
        if (!(d <= worst)) worst = d;  // NaN is kept
      }
      return Agreement{worst, bound};
    };
    trial_.peers.push_back({name, side(run, index), agreement});
    return *this;
  }

  template <class Run>
  Contest& blas(Run run, const std::string& routine = "") {
    for (const Blas<Real>* library : {&openblas<Real>(), &bench::blis<Real>()})
      peer(library->name + routine, [=](Problem<Real>& p, Result<Real>& r) { run(*library, p, r); });
    return *this;
  }

  /// C from one or two operands, by a function of Eigen.
  template <class Run, class... Operands>
  Contest& eigen(Run run, Operands... operands) {
    return peer("Eigen", [=](Problem<Real>& p, Result<Real>& r) {
      run(p.n, (p.*operands).data.data()..., r.C.data.data());
    });
  }

  /// Every side's C holds A at the start.
  Contest& start_from_a() {
    for (Problem<Real>& problem : *pool_)
      for (Result<Real>& result : problem.results)
        std::copy(problem.A.data.begin(), problem.A.data.end(), result.C.data.begin());
    return *this;
  }

  Trial trial() { return std::move(trial_); }

 private:
  template <class Run>
  std::function<void()> side(Run run, std::size_t index) {
    for (Problem<Real>& problem : *pool_)
      while (problem.results.size() <= index) problem.results.emplace_back(n_);
    return [pool = pool_, run, index] {
      for (Problem<Real>& problem : *pool) run(problem, problem.results[index]);
    };
  }

  int n_;
  Compare<Real> compare_;
  double bound_;
  std::shared_ptr<Pool> pool_;
  Trial trial_;
};

template <class Real>
void copy(const Matrix<Real>& source, Matrix<Real>& target) {
  std::memcpy(target.data.data(), source.data.data(), source.data.size() * sizeof(Real));
}

// A block or a table of the operands p and the results r.
template <class Real>
Real* data(Matrix<Real>& matrix) {
  return matrix.data.data();
}
template <class Real>
Real** table(Matrix<Real>& matrix) {
  return matrix.table.data();
}

// -- the peers' ways --------------------------------------------------------------------------------

// Each makes a call of one BLAS for a problem; operands are named by the members of Problem.
template <class Real>
using Operand = Matrix<Real> Problem<Real>::*;

/// C = op(A) B.
template <class Real>
auto gemm(Transposition transposed) {
  return [=](const Blas<Real>& blas, Problem<Real>& p, Result<Real>& r) {
    blas.gemm(by_columns, transposed, no_transposition, p.n, p.n, p.n, 1, data(p.A), p.n, data(p.B),
              p.n, 0, data(r.C), p.n);
  };
}

/// The upper triangle of C = A^T A, or A A^T without transposition.
template <class Real>
auto syrk(Operand<Real> A, Transposition transposed) {
  return [=](const Blas<Real>& blas, Problem<Real>& p, Result<Real>& r) {
    blas.syrk(by_columns, upper, transposed, p.n, p.n, 1, data(p.*A), p.n, 0, data(r.C), p.n);
  };
}

/// C = op(U) B, or B U from the right.
template <class Real>
auto trmm(Side side, Transposition transposed, Operand<Real> B) {
  return [=](const Blas<Real>& blas, Problem<Real>& p, Result<Real>& r) {
    copy(p.*B, r.C);
    blas.trmm(by_columns, side, upper, transposed, any_diagonal, p.n, p.n, 1, data(p.U), p.n, data(r.C),
              p.n);
  };
}

/// C = op(U)^-1 B.
template <class Real>
auto trsm(Transposition transposed) {
  return [=](const Blas<Real>& blas, Problem<Real>& p, Result<Real>& r) {
    copy(p.B, r.C);
    blas.trsm(by_columns, left, upper, transposed, any_diagonal, p.n, p.n, 1, data(p.U), p.n, data(r.C),
              p.n);
  };
}

/// y = op(A) x.
template <class Real>
auto gemv(Transposition transposed) {
  return [=](const Blas<Real>& blas, Problem<Real>& p, Result<Real>& r) {
    blas.gemv(by_columns, transposed, p.n, p.n, 1, data(p.A), p.n, p.x.data(), 1, 0, r.y.data(), 1);
  };
}

// -- products -----------------------------------------------------------------------------------------

template <class Real>
Trial mm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mm(table(p.A), table(p.B), n, n, n, table(r.C)); })
      .blas(gemm<Real>(no_transposition))
      .eigen(Eigenlib<Real>::mm, &Problem<Real>::A, &Problem<Real>::B)
      .trial();
}

/// Against a kernel made for the one order, which is called without a look-up.
template <class Real>
Trial small_mm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mm(table(p.A), table(p.B), n, n, n, table(r.C)); })
      .peer("libxsmm", [kernel = small_product<Real>(n)](
                           auto& p, auto& r) { kernel(data(p.A), data(p.B), data(r.C)); })
      .trial();
}

template <class Real>
Trial smm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_smm(table(p.S), table(p.B), n, n, table(r.C)); })
      .blas([n](const Blas<Real>& blas, auto& p, auto& r) {
        blas.symm(by_columns, left, upper, n, n, 1, data(p.S), n, data(p.B), n, 0, data(r.C), n);
      })
      .eigen(Eigenlib<Real>::smm, &Problem<Real>::S, &Problem<Real>::B)
      .trial();
}

template <class Real>
Trial mtm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mtm(table(p.A), table(p.B), n, n, n, table(r.C)); })
      .blas(gemm<Real>(transposition))
      .eigen(Eigenlib<Real>::mtm, &Problem<Real>::A, &Problem<Real>::B)
      .trial();
}

template <class Real>
Trial mtms(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mtms(table(p.A), n, n, table(r.C)); })
      .blas(syrk<Real>(&Problem<Real>::A, transposition))
      .eigen(Eigenlib<Real>::mtms, &Problem<Real>::A)
      .trial();
}

template <class Real>
Trial um(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_um(table(p.U), table(p.B), n, n, table(r.C)); })
      .blas(trmm<Real>(left, no_transposition, &Problem<Real>::B))
      .eigen(Eigenlib<Real>::um, &Problem<Real>::U, &Problem<Real>::B)
      .trial();
}

template <class Real>
Trial utm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_utm(table(p.U), table(p.B), n, n, table(r.C)); })
      .blas(trmm<Real>(left, transposition, &Problem<Real>::B))
      .eigen(Eigenlib<Real>::utm, &Problem<Real>::U, &Problem<Real>::B)
      .trial();
}

template <class Real>
Trial mu(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mu(table(p.A), table(p.U), n, n, table(r.C)); })
      .blas(trmm<Real>(right, no_transposition, &Problem<Real>::A))
      .eigen(Eigenlib<Real>::mu, &Problem<Real>::A, &Problem<Real>::U)
      .trial();
}

/// The peers have no product of two triangles: one factor is taken for a general matrix.
template <class Real>
Trial uu(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_uu(table(p.U), table(p.V), n, table(r.C)); })
      .blas(trmm<Real>(left, no_transposition, &Problem<Real>::V))
      .eigen(Eigenlib<Real>::um, &Problem<Real>::U, &Problem<Real>::V)
      .trial();
}

/// Two ways for the peers: U as a general matrix in a symmetric product, or as a triangle in a general
/// product.
template <class Real>
Trial utu(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_utu(table(p.U), n, table(r.C)); })
      .blas(syrk<Real>(&Problem<Real>::U, transposition), " syrk")
      .blas(trmm<Real>(left, transposition, &Problem<Real>::U), " trmm")
      .eigen(Eigenlib<Real>::mtms, &Problem<Real>::U)
      .trial();
}

template <class Real>
Trial uut(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_uut(table(p.U), n, table(r.C)); })
      .peer("OpenBLAS lauum",
            [n](auto& p, auto& r) {
              copy(p.U, r.C);
              lapack<Real>().lauum("U", &n, data(r.C), &n, &r.info, 1);
            })
      .blas(syrk<Real>(&Problem<Real>::U, no_transposition), " syrk")
      .trial();
}

template <class Real>
Trial mv(int n, unsigned seed) {
  return Contest<Real>(n, seed, vectors<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mv(table(p.A), p.x.data(), n, n, r.y.data()); })
      .blas(gemv<Real>(no_transposition))
      .peer("Eigen",
            [n](auto& p, auto& r) { Eigenlib<Real>::mv(n, data(p.A), p.x.data(), r.y.data()); })
      .trial();
}

template <class Real>
Trial mtv(int n, unsigned seed) {
  return Contest<Real>(n, seed, vectors<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_mtv(table(p.A), p.x.data(), n, n, r.y.data()); })
      .blas(gemv<Real>(transposition))
      .peer("Eigen",
            [n](auto& p, auto& r) { Eigenlib<Real>::mtv(n, data(p.A), p.x.data(), r.y.data()); })
      .trial();
}

// -- triangular solves and inverses -------------------------------------------------------------------

template <class Real>
Trial invt(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.B, r.C);
        M_invt(table(p.U), table(r.C), n, n);
      })
      .blas(trsm<Real>(no_transposition))
      .peer("Eigen",
            [n](auto& p, auto& r) {
              copy(p.B, r.C);
              Eigenlib<Real>::solve_u(n, data(p.U), data(r.C));
            })
      .trial();
}

template <class Real>
Trial invutm(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.B, r.C);
        M_invutm(table(p.U), table(r.C), n, n);
      })
      .blas(trsm<Real>(transposition))
      .peer("Eigen",
            [n](auto& p, auto& r) {
              copy(p.B, r.C);
              Eigenlib<Real>::solve_ut(n, data(p.U), data(r.C));
            })
      .trial();
}

template <class Real>
void invert_by_lapack(Problem<Real>& p, Result<Real>& r) {
  copy(p.U, r.C);
  lapack<Real>().trtri("U", "N", &p.n, data(r.C), &p.n, &r.info, 1, 1);
}

template <class Real>
Trial tinv(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.U, r.C);
        r.info = M_tinv(table(r.C), n);
      })
      .peer("OpenBLAS", invert_by_lapack<Real>)
      .eigen(Eigenlib<Real>::inverse_u, &Problem<Real>::U)
      .trial();
}

template <class Real>
Trial invu(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) { M_invu(table(p.U), table(r.C), n); })
      .peer("OpenBLAS", invert_by_lapack<Real>)
      .eigen(Eigenlib<Real>::inverse_u, &Problem<Real>::U)
      .trial();
}

// -- decompositions -----------------------------------------------------------------------------------

template <class Real>
void copy_system(const Problem<Real>& p, Result<Real>& r) {
  copy(p.W, r.C);
  std::memcpy(r.rhs(p.n), p.x.data(), p.x.size() * sizeof(Real));
}

/// Q^T b behind R.
template <class Real>
void decompose_by_lapack(Problem<Real>& p, Result<Real>& r) {
  const int one = 1, size = r.work_size();
  copy_system(p, r);
  std::fill(r.order.begin(), r.order.end(), 0);
  r.first_index = 1;
  lapack<Real>().geqp3(&p.n, &p.n, data(r.C), &p.n, r.order.data(), r.tau.data(), r.work.data(), &size,
                       &r.info);
  lapack<Real>().ormqr("L", "T", &p.n, &one, &p.n, data(r.C), &p.n, r.tau.data(), r.rhs(p.n), &p.n,
                       r.work.data(), &size, &r.info, 1, 1);
}

/// Q^T b behind R. The decomposition object keeps R inside; `show` copies it out.
template <class Real>
void decompose_by_eigen(Problem<Real>& p, Result<Real>& r, bool show) {
  std::memcpy(r.rhs(p.n), p.x.data(), p.x.size() * sizeof(Real));
  Eigenlib<Real>::qr(p.n, p.n, data(p.W), r.rhs(p.n), show ? data(r.C) : nullptr, r.order.data());
}

template <class Real>
Trial qrd(int n, unsigned seed) {
  return Contest<Real>(n, seed, solutions<Real>, of_solutions)
      .ours([n](auto& p, auto& r) {
        copy_system(p, r);
        r.C.reset_table();
        r.info = M_qrd(table(r.C), n, n, 1, r.order.data());
      })
      .peer("LAPACK", decompose_by_lapack<Real>)
      .peer(
          "Eigen", [](auto& p, auto& r) { decompose_by_eigen(p, r, false); },
          [](auto& p, auto& r) { decompose_by_eigen(p, r, true); })
      .trial();
}

template <class Real>
Trial qrdeq(int n, unsigned seed) {
  return Contest<Real>(n, seed, vectors<Real>, of_solutions)
      .ours([n](auto& p, auto& r) {
        copy_system(p, r);
        r.C.reset_table();
        r.info = M_qrdeq(table(r.C), n, 1);
        std::memcpy(r.y.data(), r.rhs(n), r.y.size() * sizeof(Real));
      })
      .peer("LAPACK",
            [n](auto& p, auto& r) {
              const int one = 1;
              decompose_by_lapack(p, r);
              lapack<Real>().trtrs("U", "N", "N", &n, &one, data(r.C), &n, r.rhs(n), &n, &r.info, 1, 1,
                                   1);
              for (std::size_t j = 0; j < r.y.size(); ++j)
                r.y[static_cast<std::size_t>(r.order[j] - 1)] = r.rhs(n)[j];
            })
      .peer(
          "Eigen",
          [n](auto& p, auto& r) { Eigenlib<Real>::qr_solve(n, n, data(p.W), p.x.data(), r.y.data()); })
      .trial();
}

template <class Real>
Trial chol(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.S, r.C);
        r.info = M_chol(table(r.C), n, table(r.C));
      })
      .peer("OpenBLAS",
            [n](auto& p, auto& r) {
              copy(p.S, r.C);
              lapack<Real>().potrf("U", &n, data(r.C), &n, &r.info, 1);
            })
      .peer("Eigen",
            [n](auto& p, auto& r) {
              copy(p.S, r.C);
              Eigenlib<Real>::cholesky(n, data(r.C));
            })
      .trial();
}

template <class Real>
Trial choleq(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.S, r.D);
        copy(p.B, r.C);
        r.info = M_choleq(table(r.D), table(r.C), n, n, table(r.D));
      })
      .peer("OpenBLAS",
            [n](auto& p, auto& r) {
              copy(p.S, r.D);
              copy(p.B, r.C);
              lapack<Real>().posv("U", &n, &n, data(r.D), &n, data(r.C), &n, &r.info, 1);
            })
      .peer("Eigen",
            [n](auto& p, auto& r) {
              copy(p.S, r.D);
              copy(p.B, r.C);
              Eigenlib<Real>::cholesky_solve(n, n, data(r.D), data(r.C));
            })
      .trial();
}

template <class Real>
Trial invs(int n, unsigned seed) {
  return Contest<Real>(n, seed, upper_triangle<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        copy(p.S, r.C);
        r.info = M_invs(table(r.C), n, table(r.D));
      })
      .peer("OpenBLAS",
            [n](auto& p, auto& r) {
              copy(p.S, r.C);
              lapack<Real>().potrf("U", &n, data(r.C), &n, &r.info, 1);
              lapack<Real>().potri("U", &n, data(r.C), &n, &r.info, 1);
            })
      .peer("Eigen",
            [n](auto& p, auto& r) {
              copy(p.S, r.D);
              Eigenlib<Real>::cholesky_inverse(n, data(r.D), data(r.C));
            })
      .trial();
}

/// Ours leaves 2 n ints at every call.
template <class Real>
Trial inv_gj(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, of_sums)
      .ours([n](auto& p, auto& r) {
        double det = 0.0;
        copy(p.W, r.C);
        r.C.reset_table();
        r.info = M_invGJ(table(r.C), n, &det);
      })
      .peer("LAPACK",
            [n](auto& p, auto& r) {
              const int size = r.work_size();
              copy(p.W, r.C);
              lapack<Real>().getrf(&n, &n, data(r.C), &n, r.order.data(), &r.info);
              lapack<Real>().getri(&n, data(r.C), &n, r.order.data(), r.work.data(), &size, &r.info);
            })
      .eigen(Eigenlib<Real>::inverse, &Problem<Real>::W)
      .peer("Eigen full pivoting",
            [n](auto& p, auto& r) { Eigenlib<Real>::inverse_full_pivoting(n, data(p.W), data(r.C)); })
      .trial();
}

// -- transposition ------------------------------------------------------------------------------------

template <class Real>
Trial transp(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, exact)
      .ours([n](auto& p, auto& r) { M_transp(table(p.A), n, n, table(r.C)); })
      .blas([n](const Blas<Real>& blas, auto& p, auto& r) {
        blas.omatcopy(by_columns, transposition, n, n, 1, data(p.A), n, data(r.C), n);
      })
      .eigen(Eigenlib<Real>::transpose, &Problem<Real>::A)
      .trial();
}

/// Each call transposes what the last one left. No random element is the marker of M_tran.
template <class Real>
Trial tran(int n, unsigned seed) {
  return Contest<Real>(n, seed, full<Real>, exact)
      .ours([n](auto&, auto& r) { r.info = M_tran(data(r.C), n, n); })
      .peer("OpenBLAS",
            [n](auto&, auto& r) {
              openblas<Real>().imatcopy(by_columns, transposition, n, n, 1, data(r.C), n, n);
            })
      .peer("Eigen", [n](auto&, auto& r) { Eigenlib<Real>::transpose_in_place(n, data(r.C)); })
      .start_from_a()
      .trial();
}

template <class Real>
void add_twins(Comparison& comparison, const std::string& letter) {
  const struct {
    const char* stem;
    Trial (*prepare)(int n, unsigned seed);
  } operations[] = {
      {"M_mm", mm<Real>},        {"M_smm", smm<Real>},       {"M_mtm", mtm<Real>},
      {"M_mtms", mtms<Real>},    {"M_um", um<Real>},         {"M_utm", utm<Real>},
      {"M_mu", mu<Real>},        {"M_uu", uu<Real>},         {"M_utu", utu<Real>},
      {"M_uut", uut<Real>},      {"M_mv", mv<Real>},         {"M_mtv", mtv<Real>},
      {"M_invt", invt<Real>},    {"M_invutm", invutm<Real>}, {"M_tinv", tinv<Real>},
      {"M_invu", invu<Real>},    {"M_qrd", qrd<Real>},       {"M_qrdeq", qrdeq<Real>},
      {"M_chol", chol<Real>},    {"M_choleq", choleq<Real>}, {"M_invs", invs<Real>},
      {"M_invGJ", inv_gj<Real>}, {"M_transp", transp<Real>}, {"M_tran", tran<Real>},
  };
  for (const int n : small_sizes)
    comparison.workloads.push_back({"M_mm" + letter + "/small", n,
                                    [n, seed = comparison.seed] { return small_mm<Real>(n, seed); }});
  for (const auto& operation : operations)
    for (const int n : sizes)
      comparison.workloads.push_back(
          {operation.stem + letter, n,
           [prepare = operation.prepare, n, seed = comparison.seed] { return prepare(n, seed); }});
}

}  // namespace

void add_algebra(Comparison& comparison) {
  comparison.peers.push_back(openblas_description());
  comparison.peers.push_back(blis_description());
  comparison.peers.push_back(eigen_description());
  comparison.peers.push_back(xsmm_description());
  add_twins<double>(comparison, "d");
  add_twins<float>(comparison, "f");
}

}  // namespace tabfit::bench

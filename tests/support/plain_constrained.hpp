// tests/support/plain_constrained.hpp - the constrained solvers as they are defined, step by step. They
// count what they do, end at a limit, and use exported operations that have tests of their own.
//
// The library must give the same bits. Where these reach the limit, the library does not return.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/allocation_probe.hpp"
#include "tests/support/twins.hpp"

namespace plain {

inline constexpr int never = -99;  ///< status of a run that was stopped at its limit

/// What a run did.
struct Run {
  int status = 0;
  int subproblems = 0;
  int drops = 0;              ///< variables dropped
  bool stale = false;         ///< a drop left a value other than 0 behind in the last place of x
  bool skipped = false;       ///< a drop moved another zero into its place, which was not examined
  bool not_a_number = false;  ///< a step length was NaN
  bool dependent = false;     ///< ended with the pseudo-rank of the passive columns
  int passive = 0;            ///< variables free at the end
};

template <class Real>
inline constexpr double dual_tolerance = sizeof(Real) == 4 ? 2e-6 : 2e-10;

template <class Real>
inline constexpr double step_bound = sizeof(Real) == 4 ? 3.4028234663852886e38 : 0.0;

/// The greatest of w[from..n-1], the first of equals.
template <class Real>
int first_greatest(const Real* w, int from, int n) {
  int t = from;
  for (int j = from; j < n; ++j)
    if (w[j] > w[t]) t = j;
  return t;
}

/// The element that sets the scale of what counts as zero. Magnitudes are compared with the value
/// chosen last, which keeps its sign.
template <class Real>
Real scale_element(const std::vector<Real>& x, int k) {
  Real chosen = x[0], bound = std::abs(x[0]);
  for (int j = 0; j < k; ++j)
    if (std::abs(x[j]) > bound) bound = chosen = x[j];
  return chosen;
}

/// r = b and its squared norm: the residual of x = 0. Returns the status of that end.
template <class Real>
int end_at_zero(Real* const* A, int m, int n, Real* r, Real* rn) {
  double sum = 0;
  for (int i = 0; i < m; ++i) {
    r[i] = A[n][i];
    sum = std::fma(double(r[i]), double(r[i]), sum);
  }
  *rn = static_cast<Real>(sum);
  return 1;
}

/// x moves towards z, elements 0..k-1, as far as no element from `first` on falls below 0; what is
/// small then becomes 0. Returns the fraction of the way.
template <class Real>
double move_towards(const std::vector<Real>& z, int first, int k, std::vector<Real>& x) {
  double alpha = step_bound<Real>;
  for (int j = first; j < k; ++j) {
    if (z[j] > 0) continue;
    const double q = static_cast<double>(x[j] / (static_cast<long double>(x[j]) - z[j]));
    if (q < alpha || std::isnan(q) || std::isnan(alpha)) alpha = q;
  }
  for (int j = 0; j < k; ++j)
    x[j] = static_cast<Real>((static_cast<long double>(z[j]) - x[j]) * alpha + x[j]);

  const double threshold = dual_tolerance<Real> * scale_element(x, k);
  for (int j = 0; j < k; ++j)
    if (std::abs(x[j]) <= threshold || std::isnan(x[j]) || std::isnan(threshold)) x[j] = 0;
  return alpha;
}

/// The columns of the passive elements that are 0 leave. Returns how many stay.
template <class Real>
int drop_zeros(Real** A, int n, int k, std::vector<int>& order, std::vector<Real>& x, Run& run) {
  for (int j = 0; j < k; ++j) {
    if (x[j] != 0) continue;
    for (int p = j; p + 1 < n; ++p) x[p] = x[p + 1];
    std::rotate(order.begin() + j, order.begin() + j + 1, order.end());
    std::rotate(A + j, A + j + 1, A + n);
    --k;
    ++run.drops;
    run.skipped = run.skipped || (j < k && x[j] == 0);
    run.stale = run.stale || (x[n - 1] != 0 && k <= n - 1);
  }
  return k;
}

/// Copies x to the result when it ends.
template <class Real>
struct Handover {
  std::vector<Real>& x;
  Real* result;
  ~Handover() { std::copy(x.begin(), x.end(), result); }
};

/// Ls_cnn, at most `limit` subproblems. Must not run inside another probe.
template <class Real>
Run cnn(Real** A, int m, int n, Real* result, Real* r, Real* rn, int limit = 100) {
  Run run;
  const auto end = [&](int status) {
    run.status = status;
    return run;
  };
  if (m < 1 || n < 1) return end(-2);

  const auto size = static_cast<std::size_t>(n);
  std::vector<int> order(size);
  std::vector<Real> w(size), z(size), x(size, Real(0));
  for (int p = 0; p < n; ++p) order[p] = p;
  const Handover<Real> at_every_end{x, result};  // in the working order

  M_mtv(A, A[n], m, n, w.data());
  int t = first_greatest(w.data(), 0, n);
  if (!(w[t] > 0)) return end(end_at_zero(A, m, n, r, rn));
  const double tol = dual_tolerance<Real> * w[t];
  int k = 1;
  for (;;) {
    if (t > k - 1) {
      std::swap(order[k - 1], order[t]);
      std::swap(A[k - 1], A[t]);
    }
    for (;;) {
      if (run.subproblems++ == limit) return end(never);
      std::swap(A[k], A[n]);
      int count;
      const int status = releasing([&] { return Ls_it(A, m, k, z.data(), r, rn, &count); });
      std::swap(A[k], A[n]);
      run.dependent = status > 0;
      if (status != 0) return end(status);

      int i = 0;
      while (i < k && z[i] > 0) ++i;
      if (i == k) break;
      if (i == k - 1) return end(-4);

      const double alpha = move_towards(z, i, k, x);
      run.not_a_number = run.not_a_number || std::isnan(alpha);
      k = drop_zeros(A, n, k, order, x, run);
      if (k < 1) return end(end_at_zero(A, m, n, r, rn));
    }
    for (int j = 0; j < k; ++j) x[j] = z[j];
    run.passive = k;
    if (k > std::min(m, n) || k == n) break;
    M_mtv(A, r, m, n, w.data());
    t = first_greatest(w.data(), k, n);
    ++k;
    if (!(w[t] > tol)) break;
  }
  std::vector<Real> ordered(size);
  for (int p = 0; p < n; ++p) ordered[order[p]] = x[p];
  x = ordered;
  return end(0);
}

/// Ls_cge and Ls_cle.
template <class Real>
Run bounded(Real** A, int m, int n, const Real* x0, Real* x, Real* r, Real* rn, bool below) {
  if (m < 1 || n < 1) return {.status = -2};
  std::vector<Real> d(static_cast<std::size_t>(m));
  for (int i = 0; i < m; ++i) {
    double sum = 0;
    for (int j = 0; j < n; ++j) sum = std::fma(double(A[j][i]), double(x0[j]), sum);
    const Real product = static_cast<Real>(sum);
    d[i] = below ? static_cast<Real>(double(A[n][i]) - product)
                 : static_cast<Real>(double(product) - A[n][i]);
  }
  Real* b = A[n];
  A[n] = d.data();
  Run run = cnn(A, m, n, x, r, rn);
  A[n] = b;
  if (run.status != 0 && run.status != n) return run;
  for (int j = 0; j < n; ++j)
    x[j] = static_cast<Real>(below ? double(x0[j]) + x[j] : double(x0[j]) - x[j]);
  run.status = 0;
  return run;
}

/// Ls_ldp; the table is only read.
template <class Real>
Run ldp(Real* const* G, int m, int n, Real* x) {
  if (m < 1 || n < 1) return {.status = -2};
  const auto rows = static_cast<std::size_t>(n) + 1;
  std::vector<std::vector<Real>> E(static_cast<std::size_t>(m) + 1, std::vector<Real>(rows, Real(0)));
  std::vector<Real*> table;
  for (int i = 0; i < m; ++i)
    for (int j = 0; j <= n; ++j) E[i][j] = G[j][i];
  E[m][n] = 1;
  for (auto& column : E) table.push_back(column.data());
  std::vector<Real> u(static_cast<std::size_t>(m));
  Real rn;
  Run run = cnn(table.data(), n + 1, m, u.data(), x, &rn);
  if (run.status < 0) return run;
  const double q = x[n];
  run.status = q >= dual_tolerance<Real> ? 0 : 1;
  if (run.status == 1) return run;
  double sum = 0;
  for (int j = 0; j < n; ++j) {
    x[j] = static_cast<Real>(x[j] / -q);
    sum = std::fma(double(x[j]), double(x[j]), sum);
  }
  x[n] = static_cast<Real>(sum);
  return run;
}

/// Ls_cgrn. fill(K, c1, G) writes the constraints into the n + 1 columns of G, of `rows` elements.
template <class Real, class Fill>
Run general(Real** A, int m, int n, int rows, Real* x, Real* rn, Fill fill) {
  std::vector<int> ip(static_cast<std::size_t>(n));
  if (const int status = M_qrd(A, m, n, 1, ip.data())) return {.status = status};
  M_tinv(A, n);
  M_rowsort(A, n, n, ip.data());
  const Real* c = A[n];
  std::vector<std::vector<Real>> G(static_cast<std::size_t>(n) + 1,
                                   std::vector<Real>(static_cast<std::size_t>(rows)));
  std::vector<Real*> table;
  for (auto& column : G) table.push_back(column.data());
  fill(A, c, table.data());
  std::vector<Real> y(static_cast<std::size_t>(std::max(rows, n + 1)));
  Run run = ldp(table.data(), rows, n, y.data());
  if (run.status == 1) run.status = -5;
  if (run.status != 0) return run;
  double rest = 0;
  for (int i = n; i < m; ++i) rest = std::fma(double(c[i]), double(c[i]), rest);
  *rn = n < m ? static_cast<Real>(y[n] + rest) : y[n];
  for (int j = 0; j < n; ++j) y[j] = static_cast<Real>(double(y[j]) + c[j]);
  M_mv(A, y.data(), n, n, x);
  return run;
}

template <class Real>
Run cgrn(Real** A, int m, int n, Real* const* C, int mc, Real* x, Real* rn) {
  if (mc < 1 || n < 1 || n > m) return {.status = -2};
  return general(A, m, n, mc, x, rn, [=](Real* const* K, const Real* c1, Real* const* G) {
    M_mm(C, K, mc, n, n, G);
    M_mv(G, c1, mc, n, G[n]);
    for (int i = 0; i < mc; ++i) G[n][i] = static_cast<Real>(double(C[n][i]) - G[n][i]);
  });
}

template <class Real>
Run cint(Real** A, int m, int n, const Real* lo, const Real* hi, Real* x, Real* rn) {
  if (n < 1 || n > m) return {.status = -2};
  return general(A, m, n, 2 * n, x, rn, [=](Real* const* K, const Real* c1, Real* const* G) {
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        G[j][i] = K[j][i];
        G[j][n + i] = -K[j][i];
      }
    std::vector<Real> middle(static_cast<std::size_t>(n));
    M_mv(K, c1, n, n, middle.data());
    for (int i = 0; i < n; ++i) {
      G[n][i] = static_cast<Real>(double(lo[i]) - middle[i]);
      G[n][n + i] = static_cast<Real>(double(middle[i]) - hi[i]);
    }
  });
}

/// What AX_splconv writes. Its evaluation is that of AX_apxvals.
template <class Real>
struct Curve {
  Run run;
  std::vector<Real> s, s1, s2;  ///< at the points, and the two statistics behind s
  std::vector<Real> knots;      ///< second derivatives at the knots, abscissae in the caller's unit
};

/// AX_splconv for |n| <= m - 4 and k >= 1. The mean and the half distance of the ends of x must be
/// numbers of Real. Then AX_apxval with unit coefficients gives the basis functions.
template <class Real>
Curve<Real> splconv(int n, double g, const std::vector<Real>& x, const std::vector<Real>& y,
                    const std::vector<Real>& v) {
  const int m = static_cast<int>(x.size()), k = static_cast<int>(v.size());
  const int N = std::abs(n), functions = N + 4;
  const double cm = (double(x.front()) + x.back()) * 0.5, hw = cm - x.front();
  Real** T = AX_d2fcs<Real>(N);
  std::vector<Real> a(static_cast<std::size_t>(functions) + 2, Real(0));
  a[functions] = static_cast<Real>(cm);
  a[functions + 1] = static_cast<Real>(hw);

  std::vector<std::vector<Real>> design, C;
  for (int j = 0; j < functions; ++j) {
    a[j] = 1;
    design.emplace_back();
    for (const Real at : x) {
      double value = 0;
      AX_apxval(T, N, a.data(), at, &value, nullptr, nullptr);
      design.back().push_back(static_cast<Real>(value));
    }
    a[j] = 0;
    C.emplace_back();
    for (int i = 0; i < N + 2; ++i) C.back().push_back(n < 0 ? -T[j][i] : T[j][i]);
  }
  design.push_back(y);
  const auto bound = static_cast<double>(static_cast<long double>(g) * hw * hw);
  C.emplace_back(static_cast<std::size_t>(N) + 2, static_cast<Real>(bound));
  std::vector<Real*> A, G;
  for (auto& column : design) A.push_back(column.data());
  for (auto& column : C) G.push_back(column.data());

  Curve<Real> curve;
  Real rn;
  curve.run = cgrn(A.data(), m, functions, G.data(), N + 2, a.data(), &rn);
  if (curve.run.status == 0) {
    std::vector<Real> fitted(static_cast<std::size_t>(m));
    AX_apxvals(T, N, a.data(), m, x.data(), fitted.data(), static_cast<Real*>(nullptr),
               static_cast<Real*>(nullptr));
    double sum = 0, greatest = 0;
    for (int i = 0; i < m; ++i) {
      const double r = std::abs(double(fitted[i]) - double(y[i]));
      greatest = std::max(greatest, r);
      sum = std::fma(r, r, sum);
    }
    for (auto* out : {&curve.s, &curve.s1, &curve.s2}) out->resize(v.size());
    AX_apxvals(T, N, a.data(), k, v.data(), curve.s.data(), curve.s1.data(), curve.s2.data());
    curve.s.push_back(
        static_cast<Real>(static_cast<double>(std::sqrt(static_cast<long double>(sum) / m))));
    curve.s.push_back(static_cast<Real>(greatest));
    for (int i = 0; i < N + 2; ++i) {
      double second = 0;
      for (int j = 0; j < functions; ++j) second = std::fma(double(a[j]), double(T[j][i]), second);
      curve.knots.push_back(static_cast<Real>(second / (hw * hw)));
    }
  }
  if constexpr (sizeof(Real) == 4)
    AX_freed2fcsf(T);
  else
    AX_freed2fcsd(T);
  return curve;
}

}  // namespace plain

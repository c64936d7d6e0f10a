// tests/support/plain_decompositions.hpp - the steps of the decompositions, written out.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "tests/support/plain_table.hpp"
#include "tests/support/twins.hpp"

namespace decompositions {

/// Sum of x[i] y[i], i ascending, each step rounded once.
template <class Real>
double plain_dot(const Real* x, const Real* y, int n) {
  double sum = 0;
  for (int i = 0; i < n; ++i) sum = std::fma(double(x[i]), double(y[i]), sum);
  return sum;
}

/// The choice of V_iamax: a magnitude wins if it exceeds the element chosen last, with its sign.
template <class Real>
int plain_iamax(const Real* x, int n) {
  Real running = std::fabs(x[0]);
  int chosen = 0;
  for (int i = 0; i < n; ++i)
    if (std::fabs(x[i]) > running) {
      running = x[i];
      chosen = i;
    }
  return chosen;
}

template <class Real>
void swap_rows(Plain<Real>& A, int first, int end, int r1, int r2) {
  for (int j = first; j < end; ++j) std::swap(A(r1, j), A(r2, j));
}

enum class Norms { downdated, formed_anew };

template <class Real>
int plain_qrd(Plain<Real>& A, int m, int n, int k, int* ip, Norms norms = Norms::downdated) {
  if (m < 1 || n < 1) return -2;
  const double eps = tolerance_of<Real>;
  std::vector<double> h(n);
  for (int j = 0; j < n; ++j) ip[j] = j;
  const int p = std::min(m, n);
  double tol = 0;
  for (int l = 0; l < p; ++l) {
    for (int j = l; j < n; ++j)
      h[j] = l == 0 || norms == Norms::formed_anew
                 ? plain_dot(A.column(j, l), A.column(j, l), m - l)
                 : std::fma(-double(A(l - 1, j)), double(A(l - 1, j)), h[j]);
    int c = l;
    for (int j = l + 1; j < n; ++j)
      if (h[j] > h[c]) c = j;
    if (l == 0) {
      if (h[c] == 0) return -1;
      tol = static_cast<double>(static_cast<long double>(h[c]) * eps * eps);
    } else if (!(h[c] >= tol)) {
      return l;
    }
    if (c > l) {
      std::swap(A.order[l], A.order[c]);
      std::swap(h[l], h[c]);
      std::swap(ip[l], ip[c]);
    }
    const int r = l + plain_iamax(A.column(l, l), m - l);
    if (r > l) swap_rows(A, l, n + k, l, r);

    const double sigma = std::sqrt(h[l]), a = A(l, l), s = a > 0 ? sigma : -sigma;
    A(l, l) = static_cast<Real>(a + s);
    const auto beta = static_cast<double>(s * (static_cast<long double>(a) + s));
    for (int j = l < p - 1 ? l + 1 : n; j < n + k; ++j) {
      const double t = -plain_dot(A.column(l, l), A.column(j, l), m - l) / beta;
      for (int i = l; i < m; ++i)
        A(i, j) = static_cast<Real>(std::fma(t, double(A(i, l)), 1.0 * A(i, j)));
    }
    A(l, l) = static_cast<Real>(-s);
  }
  return 0;
}

/// b := U^-1 b for column k of B, from the last row to the first.
template <class Real>
void plain_back(Plain<Real>& U, Plain<Real>& B, int n, int k) {
  for (int i = n - 1; i >= 0; --i) {
    double rest = B(i, k);
    for (int l = i + 1; l < n; ++l) rest = std::fma(-double(U(i, l)), double(B(l, k)), rest);
    B(i, k) = static_cast<Real>(rest / U(i, i));
  }
}

template <class Real>
int plain_qrdeq(Plain<Real>& A, int n, int k) {
  std::vector<int> ip(std::max(n, 0));
  if (const int status = plain_qrd(A, n, n, k, ip.data())) return status;
  for (int j = n; j < n + k; ++j) {
    plain_back(A, A, n, j);
    std::vector<Real> x(n);
    for (int i = 0; i < n; ++i) x[ip[i]] = A(i, j);
    for (int i = 0; i < n; ++i) A(i, j) = x[i];
  }
  return 0;
}

template <class Real>
int plain_invGJ(Plain<Real>& A, int n, double& det) {
  if (n < 1) return -2;
  det = 1;
  std::vector<int> row(n), col(n);
  const auto negate_row = [&](int i) {
    for (int j = 0; j < n; ++j) A(i, j) = -A(i, j);
  };
  const auto negate_column = [&](int j) {
    for (int i = 0; i < n; ++i) A(i, j) = -A(i, j);
  };
  for (int k = 0; k < n; ++k) {
    Real best = 0;
    for (int j = k; j < n; ++j) {
      const int r = k + plain_iamax(A.column(j, k), n - k);
      if (std::fabs(A(r, j)) > std::fabs(best)) {
        row[k] = r;
        col[k] = j;
        best = A(r, j);
      }
    }
    if (best == 0) {
      det = 0;
      return k == 0 ? -1 : k;
    }
    if (row[k] != k) {
      negate_row(k);
      swap_rows(A, 0, n, k, row[k]);
    }
    if (col[k] != k) {
      negate_column(k);
      std::swap(A.order[k], A.order[col[k]]);
    }
    const double p = best;
    const auto multiplier = static_cast<Real>(1 / -p);
    for (int i = 0; i < n; ++i)
      if (i != k) A(i, k) = static_cast<Real>(double(multiplier) * double(A(i, k)));
    for (int i = 0; i < n; ++i)
      for (int l = 0; l < n; ++l)
        if (i != k && l != k)
          A(i, l) = static_cast<Real>(std::fma(double(A(i, k)), double(A(k, l)), double(A(i, l))));
    for (int l = 0; l < n; ++l)
      if (l != k) A(k, l) = static_cast<Real>(A(k, l) / p);
    det = det * p;
    A(k, k) = static_cast<Real>(1 / p);
  }
  for (int k = n - 2; k >= 0; --k) {
    if (row[k] != k) {
      std::swap(A.order[k], A.order[row[k]]);
      negate_column(k);
    }
    if (col[k] != k) {
      swap_rows(A, 0, n, k, col[k]);
      negate_row(k);
    }
  }
  return 0;
}

template <class Real>
int plain_chol(Plain<Real>& S, int n, Plain<Real>& U) {
  if (n < 2) return -1;
  const double d0 = S(0, 0);
  if (!(d0 > 0)) return 1;
  U(0, 0) = static_cast<Real>(std::sqrt(d0));
  const double first = sizeof(Real) == 4 ? double(U(0, 0)) : d0;
  for (int j = 1; j < n; ++j) U(0, j) = static_cast<Real>(S(0, j) / first);
  for (int i = 1; i < n; ++i)
    for (int j = i; j < n; ++j) {
      const double t = S(i, j) - plain_dot(U.column(i), U.column(j), i);
      if (j == i) {
        if (!(t > 0)) return i + 1;
        U(i, i) = static_cast<Real>(std::sqrt(t));
      } else {
        U(i, j) = static_cast<Real>(t / U(i, i));
      }
    }
  return 0;
}

template <class Real>
int plain_choleq(Plain<Real>& S, Plain<Real>& B, int n, int p, Plain<Real>& U) {
  if (const int status = plain_chol(S, n, U)) return status;
  for (int k = 0; k < p; ++k) {
    B(0, k) = static_cast<Real>(double(B(0, k)) / U(0, 0));
    for (int i = 1; i < n; ++i)
      B(i, k) = static_cast<Real>((B(i, k) - plain_dot(U.column(i), B.column(k), i)) / U(i, i));
    plain_back(U, B, n, k);
  }
  return 0;
}

/// X = U^-1 U^-T.
template <class Real>
int plain_cholinv(Plain<Real>& S, int n, Plain<Real>& U, Plain<Real>& X) {
  if (const int status = plain_chol(S, n, U)) return status;
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < j; ++i) X(i, j) = 0;
    X(j, j) = 1;
    for (int i = j; i >= 0; --i) {
      double rest = X(i, j);
      for (int l = i + 1; l <= j; ++l) rest = std::fma(-double(U(i, l)), double(X(l, j)), rest);
      X(i, j) = static_cast<Real>(rest / U(i, i));
    }
  }
  for (int i = 0; i < n; ++i) {
    std::vector<Real> row(n);
    for (int j = i; j < n; ++j) {
      double sum = 0;
      for (int l = j; l < n; ++l) sum = std::fma(double(X(i, l)), double(X(j, l)), sum);
      row[j] = static_cast<Real>(sum);
    }
    for (int j = i; j < n; ++j) X(i, j) = row[j];
  }
  return 0;
}

}  // namespace decompositions

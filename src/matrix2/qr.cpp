// matrix2/qr.cpp - QR decomposition with column pivoting and row interchange, and the square solve on
// it.
#include "tabfit/matrix.h"

#include "kernels/scalar/arithmetic.hpp"
#include "kernels/scalar/scratch.hpp"
#include "kernels/scalar/tile.hpp"
#include "kernels/scalar/tolerance.hpp"
#include "kernels/scalar/vector.hpp"
#include "kernels/sums/dot.hpp"
#include "kernels/sums/magnitude.hpp"

#include "matrix1/elementary.hpp"
#include "matrix1/triangular_inverse.hpp"
#include "matrix2/qr.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace tabfit {
namespace {

// What is not yet reduced of a table of n + k columns, in three forms with the same operations.
// Positions are those of the columns in the table; the owner exchanges the table's pointers.
//
//   norms(h)              h[j] = squared norm of matrix column j
//   finish_row(i, h)      row i of the matrix columns behind position i is final: h[j] loses its square
//   exchange(l, c)        columns l and c have changed places in the table
//   take(l)               column l, updated from row l on, is in the table from now on
//   exchange_rows(l, r)   in all columns behind position l
//   reflect(l, beta, j0)  y = y - ((u' y) / beta) u in rows l..m-1 of columns j0.., u column l in the
//   table
//   give_back(j0, l)      columns from position j0 on are in the table, brought up to date in rows
//   l..m-1

/// In the table itself, one column after the other, without scratch.
template <class Real>
class InPlace {
 public:
  InPlace(Real** A, int m, int n, int k) noexcept : A_(A), m_(m), n_(n), end_(n + k) {}

  void norms(double* h) noexcept {
    for (int j = 0; j < n_; ++j) h[j] = V_sumsq(A_[j], m_);
  }
  void finish_row(int i, double* h) noexcept {
    for (int j = i + 1; j < n_; ++j) h[j] = mul_add(-A_[j][i], A_[j][i], h[j]);
  }
  void exchange(int, int) noexcept {}
  void take(int) noexcept {}
  void exchange_rows(int l, int r) noexcept { M_swap(A_, l + 1, end_ - 1, l, r); }
  void reflect(int l, double beta, int j0) noexcept {
    const Real* u = A_[l] + l;
    for (int j = j0; j < end_; ++j) V_axpy(-V_dot(A_[j] + l, u, m_ - l) / beta, u, A_[j] + l, m_ - l);
  }
  void give_back(int, int) noexcept {}

 private:
  Real** A_;
  int m_, n_, end_;
};

/// In a table of doubles itself; a reflection waits for the pass that forms the sums of the next one.
///
/// Why:       a pass over the columns is what costs. What the next step looks at is brought up to date
///            before it: row l and the pivot column.
/// Invariant: rows l..m-1 of the columns from last_from_ on still miss the reflection with u_ and t_,
///            if one is waiting.
class Columns {
 public:
  /// Bytes of scratch.
  static std::ptrdiff_t scratch_size(int m, int columns) noexcept {
    return sizeof_n<double>(2 * (std::ptrdiff_t(m) + columns));
  }

  Columns(double** A, int m, int n, int k, Block scratch) noexcept
      : A_(A),
        m_(m),
        n_(n),
        end_(n + k),
        t_(scratch.take<double>(end_)),
        s_(scratch.take<double>(end_)),
        u_(scratch.take<double>(m)),
        next_(scratch.take<double>(m)) {}

  void norms(double* h) noexcept { kernel_.d.column_squares(A_, n_, m_, h); }

  void finish_row(int i, double* h) noexcept {
    for (int j = i + 1; j < end_; ++j) {
      if (j >= last_from_) A_[j][i] = mul_add(t_[j], u_[i], A_[j][i]);
      if (j < n_) h[j] = mul_add(-A_[j][i], A_[j][i], h[j]);
    }
  }

  void exchange(int l, int c) noexcept {
    if (l > 0) E_swap(t_ + l, t_ + c);
  }

  void take(int l) noexcept { apply(l, l); }

  void exchange_rows(int l, int r) noexcept {
    M_swap(A_, l + 1, end_ - 1, l, r);
    if (l > 0) E_swap(u_ + l, u_ + r);
  }

  void reflect(int l, double beta, int j0) noexcept {
    std::copy_n(A_[l] + l, m_ - l, next_ + l);
    kernel_.reflect_columns(A_ + l + 1, end_ - l - 1, l, m_ - l, l > 0 ? u_ + l : nullptr, t_ + l + 1,
                            next_ + l, s_ + l + 1);
    for (int j = j0; j < end_; ++j) t_[j] = -s_[j] / beta;
    std::swap(u_, next_);
    last_from_ = j0;
  }

  void give_back(int j0, int l) noexcept {
    for (int j = std::max(j0, last_from_); j < end_; ++j) apply(j, l);
  }

 private:
  void apply(int j, int l) noexcept {
    if (last_from_ > 0) V_axpy(t_[j], u_ + l, A_[j] + l, m_ - l);
  }

  const Kernels& kernel_ = kernels();
  double** A_;
  int m_, n_, end_;
  double *t_, *s_;     // multipliers and sums of the columns
  double *u_, *next_;  // the reflector that waits, and the next one
  int last_from_ = 0;  // the columns from it on have that reflection; 0 before the first
};

/// Copied into row-major panels of eight columns, where the sums of a reflection run side by side.
///
/// Why:       a pass over the columns is what costs, most of all if it writes them. Reflections wait:
///            the pass that forms the sums of the next one applies them, and keeps the result only when
///            no more may wait. What the next step looks at is brought up to date before that: row l
///            and the pivot column. Rows go back into the table eight at a time, whole lines of it.
/// Shape:     every column has a slot, and a panel is eight slots. A column that is taken leaves its
///            slot empty, where nobody looks any more. When eight slots are empty, the columns of the
///            last panel move into them.
/// Invariant: rows l..m-1 still miss the reflections with u_[q] and t_[q], q < waiting_. Columns before
///            last_from_ never get the last of these. Rows before put_ stand in the table.
template <class Real>
class Panels {
 public:
  /// Bytes of scratch.
  static std::ptrdiff_t scratch_size(int m, int columns) noexcept {
    const std::ptrdiff_t slots = slots_of(columns);
    return sizeof_n<double>((most + 1) * slots) + sizeof_n<Real>(slots * m) +
           sizeof_n<double>((most + 1) * std::ptrdiff_t(m)) + sizeof_n<int>(2 * slots);
  }

  Panels(Real** A, int m, int n, int k, Block scratch) noexcept
      : A_(A), m_(m), n_(n), end_(n + k), panels_((end_ + 7) / 8), panel_size_(8 * std::ptrdiff_t(m)) {
    const std::ptrdiff_t slots = slots_of(end_);
    // In the nearest cache applying a reflection again costs more than writing.
    keep_at_ = sizeof_n<Real>(slots * m) <= near ? 1 : kernel_.may_wait;
    for (double*& t : t_) t = scratch.take<double>(slots);
    h_ = scratch.take<double>(slots);
    Y_ = scratch.take<Real>(slots * m);
    for (double*& u : u_) u = scratch.take<double>(m);
    slot_ = scratch.take<int>(slots);
    column_ = scratch.take<int>(slots);
    std::fill_n(h_, slots, 0.0);
    for (int j = 0; j < slots; ++j) {
      slot_[j] = j;
      column_[j] = j < end_ ? j : nothing;
    }
    for (int j = 0; j < end_; j += 8) copy_in(j, std::min(8, end_ - j));
  }

  void norms(double* h) noexcept {
    kernel_.column_squares(A_, n_, m_, h);
    std::copy_n(h, n_, h_);
  }

  void finish_row(int i, double* h) noexcept {
    double u[most];
    for (int q = 0; q < waiting_; ++q) u[q] = u_[q][i];
    kernel_.reflect_row(place(0, i), panel_size_, panels_, waiting_, u, t_, h_);
    for (int j = i + 1; j < n_; ++j) h[j] = h_[slot_[j]];
    if (i + 1 - put_ == 8) put_rows();
  }

  void exchange(int l, int c) noexcept {
    I_swap(slot_ + l, slot_ + c);
    I_swap(column_ + slot_[l], column_ + slot_[c]);
  }

  void take(int l) noexcept {
    copy_out(l, l, waiting_);
    column_[slot_[l]] = nothing;
    if (++empty_ == 8) drop_last_panel();
  }

  void exchange_rows(int l, int r) noexcept {
    for (int p = 0; p < panels_; ++p) V_swap(place(8 * p, l), place(8 * p, r), 8);
    for (int q = 0; q < waiting_; ++q) E_swap(u_[q] + l, u_[q] + r);
  }

  void reflect(int l, double beta, int j0) noexcept {
    double* next = u_[most];
    std::copy_n(A_[l] + l, m_ - l, next + l);
    const double* u[most];
    for (int q = 0; q < waiting_; ++q) u[q] = u_[q] + l;
    const bool keep = waiting_ == keep_at_;
    const int place_of_next = keep ? 0 : waiting_;
    kernel_.reflect(place(0, l), panel_size_, panels_, m_ - l, waiting_, u, t_, keep, l % 2 == 1,
                    next + l, beta, t_[place_of_next]);
    std::swap(u_[place_of_next], u_[most]);
    waiting_ = place_of_next + 1;
    last_from_ = j0;
  }

  void give_back(int j0, int l) noexcept {
    for (int j = j0; j < end_; ++j) copy_out(j, l, j < last_from_ ? waiting_ - 1 : waiting_);
  }

 private:
  static constexpr int most = most_waiting, nothing = -1;
  static constexpr std::ptrdiff_t near = 32768;

  static std::ptrdiff_t slots_of(int columns) noexcept { return (columns + 7) / 8 * std::ptrdiff_t(8); }

  Real* place(int slot, int i) noexcept {
    return Y_ + slot / 8 * panel_size_ + 8 * std::ptrdiff_t(i) + slot % 8;
  }

  /// Columns j..j+count-1 into a panel, zero in the slots behind.
  void copy_in(int j, int count) noexcept {
    Real* y = place(j, 0);
    if (count < 8) std::fill_n(y, panel_size_, Real(0));
    move_transposed(
        count, m_, [&](std::ptrdiff_t c) { return A_[j + c]; },
        [=](std::ptrdiff_t i) { return y + 8 * i; });
  }

  /// Column j into the table: the rows that do not stand there, from row l on with the first `count` of
  /// the waiting reflections.
  void copy_out(int j, int l, int count) noexcept {
    const Real* y = place(slot_[j], 0);
    for (int i = put_; i < m_; ++i) A_[j][i] = y[8 * std::ptrdiff_t(i)];
    for (int q = 0; q < count; ++q) V_axpy(t_[q][slot_[j]], u_[q] + l, A_[j] + l, m_ - l);
  }

  /// The next eight rows into the table.
  void put_rows() noexcept {
    for (int slot = 0; slot < 8 * panels_; ++slot) {
      if (column_[slot] == nothing) continue;
      Real* out = A_[column_[slot]] + put_;
      const Real* y = place(slot, put_);
      for (int i = 0; i < 8; ++i) out[i] = y[8 * i];
    }
    put_ += 8;
  }

  /// The columns of the last panel move into the empty slots before it.
  void drop_last_panel() noexcept {
    empty_ = 0;
    --panels_;
    int from[8], to[8], moves = 0, next = 0;
    for (int slot = 8 * panels_; slot < 8 * panels_ + 8; ++slot) {
      if (column_[slot] == nothing) continue;
      while (column_[next] != nothing) ++next;
      from[moves] = slot;
      to[moves++] = next;
      column_[next] = column_[slot];
      slot_[column_[next]] = next;
      for (int q = 0; q < waiting_; ++q) t_[q][next] = t_[q][slot];
      h_[next] = h_[slot];
    }
    for (int i = put_; i < m_; ++i)
      for (int k = 0; k < moves; ++k) *place(to[k], i) = *place(from[k], i);
  }

  const ElementKernels<Real>& kernel_ = kernels().of<Real>();
  Real** A_;
  int m_, n_, end_, panels_;
  std::ptrdiff_t panel_size_;
  Real* Y_;                         // the panels
  double *t_[most], *h_;            // multipliers and squared norms of the slots
  double* u_[most + 1];             // reflectors; the last is free for the next one
  int *slot_, *column_;             // of a position, and of a slot
  int empty_ = 8 * panels_ - end_;  // slots
  int waiting_ = 0, keep_at_, last_from_ = 0, put_ = 0;
};

/// y = y - ((u' y) / beta) u. It takes the column that u is made of to a multiple of e(l).
struct Reflection {
  double beta, multiple;
};

/// u = column l + s e(l), in place: only element l differs from the column, whose norm is sigma. R(l,l)
/// = -s.
template <class Real>
Reflection form_reflection(Real* u, int l, double sigma) noexcept {
  const double a = u[l];
  const double s = a > 0.0 ? sigma : -sigma;  // Deliberate: minus for 0, so R(l,l) is positive there.
  u[l] = store<Real>(a + s);
  return {store<double>(Wide(s) * (Wide(a) + s)), -s};
}

/// The steps of the decomposition.
template <class Real, class Rest>
int reduce(Real** A, int m, int n, int* ip, double* h, Rest rest) noexcept {
  constexpr double eps = Tolerance<Real>::rank;
  const int steps = std::min(m, n);
  double tol = 0.0;
  rest.norms(h);
  for (int l = 0; l < steps; ++l) {
    if (l > 0) rest.finish_row(l - 1, h);

    // The column with the greatest norm, the first of equals, comes to place l.
    const int c = l + V_imax(h + l, n - l);
    const double hmax = h[c];
    if (l == 0) {
      if (hmax == 0.0) return M_QRD_ZERO;
      tol = store<double>(Wide(hmax) * eps * eps);
    } else if (!(hmax >= tol)) {  // NaN fails too
      rest.give_back(l, l);
      return l;
    }
    if (c > l) {
      P_swap(A + l, A + c);
      E_swap(h + l, h + c);
      I_swap(ip + l, ip + c);
      rest.exchange(l, c);
    }
    rest.take(l);

    // The row of its element of greatest magnitude, by V_iamax's rule, comes to place l. The columns
    // already reduced stay as they are.
    Real* u = A[l];
    const int r = l + V_iamax(u + l, m - l);
    if (r > l) {
      E_swap(u + l, u + r);
      rest.exchange_rows(l, r);
    }

    // Deliberate: the last step transforms the right-hand sides only: with m < n the columns to its right
    // lack the change of sign that a reflection of one element is.
    const Reflection reflection = form_reflection(u, l, std::sqrt(h[l]));
    rest.reflect(l, reflection.beta, l < steps - 1 ? l + 1 : n);
    if (l == steps - 1) rest.give_back(l + 1, l);  // while u is what it was
    u[l] = store<Real>(reflection.multiple);
  }
  return M_QRD_OK;
}

/// The decomposition in a form whose scratch lies on the stack for a small table and in a block for a
/// large one; if that cannot be had, the table is worked in place without.
template <class Form, class Real>
int reduce_in(Real** A, int m, int n, int k, int* ip, double* h) noexcept {
  constexpr std::ptrdiff_t small_table = 65536, stack_size = small_table + 32768, line = 64;
  const std::ptrdiff_t size = Form::scratch_size(m, n + k);
  if (std::ptrdiff_t(m) * (n + k) * std::ptrdiff_t(sizeof(Real)) <= small_table) {
    if (size <= stack_size) {
      alignas(line) std::byte scratch[stack_size];
      return reduce(A, m, n, ip, h, Form(A, m, n, k, Block(scratch)));
    }
  } else if (const CArray<std::byte> scratch = malloc_array<std::byte>(size + line)) {
    const auto address = reinterpret_cast<std::uintptr_t>(scratch.get());
    const Block aligned(scratch.get() + (line - address % line) % line);
    return reduce(A, m, n, ip, h, Form(A, m, n, k, aligned));
  }
  return reduce(A, m, n, ip, h, InPlace<Real>(A, m, n, k));
}

}  // namespace

template <class Real>
int M_qrd(Real** A, int m, int n, int k, int* ip) noexcept {
  if (m < 1 || n < 1) return M_QRD_BAD_SIZE;
  const CArray<double> h = c_array<double>(n);
  if (!h) return M_QRD_NO_MEMORY;
  for (int j = 0; j < n; ++j) ip[j] = j;

  // Of few long columns, copies cost more than they gain. Floats are converted in every pass, for which
  // panels have the better form.
  constexpr int long_column = 32;  // rows for each column of the table
  if constexpr (is_double<Real>)
    if (m / long_column >= std::ptrdiff_t(n) + k) return reduce_in<Columns>(A, m, n, k, ip, h.get());
  return reduce_in<Panels<Real>>(A, m, n, k, ip, h.get());
}

template int M_qrd(float**, int, int, int, int*) noexcept;
template int M_qrd(double**, int, int, int, int*) noexcept;

namespace {

template <class Real>
int M_qrdeq(Real** A, int n, int k) noexcept {
  if (n < 0) return M_QRD_BAD_SIZE;
  const NewArray<int> indices = new_array<int>(2 * std::ptrdiff_t(n));
  if (!indices) return M_QRD_NO_MEMORY;
  int *ip = indices.get(), *consumed = ip + n;

  const int status = M_qrd(A, n, n, k, ip);
  if (status != M_QRD_OK) return status;
  M_invt(A, A + n, n, k);
  for (int j = n; j < n + k; ++j) {
    std::copy_n(ip, n, consumed);
    V_perm(A[j], n, consumed);  // back into the order of the unknowns
  }
  return M_QRD_OK;
}

}  // namespace
}  // namespace tabfit

extern "C" {

int M_qrdf(float** A, int m, int n, int k, int* ip) noexcept { return tabfit::M_qrd(A, m, n, k, ip); }
int M_qrdd(double** A, int m, int n, int k, int* ip) noexcept { return tabfit::M_qrd(A, m, n, k, ip); }

int M_qrdeqf(float** A, int n, int k) noexcept { return tabfit::M_qrdeq(A, n, k); }
int M_qrdeqd(double** A, int n, int k) noexcept { return tabfit::M_qrdeq(A, n, k); }

}  // extern "C"

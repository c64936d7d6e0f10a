// tabfit/table.hpp - matrices of the C++ front: owners over the engine's storage, and views of a caller's.
//
//   table_view<T>      reads a block of the caller's, by columns or by rows, with strides
//   column_table<T>    owns columns; has room for more, and drops or exchanges them without moving elements
//   triangle_table<T>  owns a symmetric or an upper triangular matrix, on and above the diagonal
//
// Rows and columns count from 0; T is float or double. Sizes are checked, single indices are not.
#pragma once

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <new>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tabfit/engine.hpp"
#include "tabfit/error.hpp"

namespace tabfit {

template <class T>
concept real = std::same_as<T, float> || std::same_as<T, double>;

namespace detail {

/// "1 row", "3 rows".
inline std::string counted(long long n, const char *what) {
  return sentence(n, " ", what, n == 1 ? "" : "s");
}

/// Throws unless a count is 0 or more: "-1 rows".
inline void check_count(const char *operation, int n, const char *what) {
  if (n < 0) throw bad_data(operation, counted(n, what));
}

/// "A(3, 2)".
inline std::string place(const char *name, int i, int j) {
  return sentence(name, "(", i, ", ", j, ")");
}

/// Throws unless two counts agree: "b has 9 elements, A has 10 rows".
inline void check_size(const char *operation, const char *a, std::size_t na, const char *unit_of_a,
                       const char *b, std::size_t nb, const char *unit_of_b) {
  if (na != nb)
    throw bad_data(operation, sentence(a, " has ", counted(static_cast<long long>(na), unit_of_a), ", ",
                                       b, " has ", counted(static_cast<long long>(nb), unit_of_b)));
}

}  // namespace detail

/// A matrix that is only read, in memory of the caller's, which must outlast the view.
template <real T>
class table_view {
 public:
  using value_type = T;

  /// Nothing: 0 by 0.
  table_view() noexcept = default;

  /// A block: element (i, j) at data[i row_stride + j column_stride]; strides may be 0 or negative.
  table_view(const T *data, int rows, int columns, std::ptrdiff_t row_stride,
             std::ptrdiff_t column_stride)
      : data_(data),
        rows_(rows),
        columns_(columns),
        row_stride_(row_stride),
        column_stride_(column_stride) {
    detail::check_count("table_view", rows, "row");
    detail::check_count("table_view", columns, "column");
  }

  /// Columns in blocks of their own, as the engine's column tables have them: element (i, j) at
  /// pointers[j][i].
  table_view(const T *const *pointers, int rows, int columns)
      : table_view(static_cast<const T *>(nullptr), rows, columns, 1, 0) {
    pointers_ = pointers;
  }

  /// Column after column, `leading` elements from the start of one to the start of the next.
  static table_view column_major(const T *data, int rows, int columns, std::ptrdiff_t leading) {
    check_leading(leading, rows, "row");
    return {data, rows, columns, 1, leading};
  }
  static table_view column_major(const T *data, int rows, int columns) {
    return {data, rows, columns, 1, rows};
  }

  /// Row after row, `leading` elements from the start of one to the start of the next.
  static table_view row_major(const T *data, int rows, int columns, std::ptrdiff_t leading) {
    check_leading(leading, columns, "column");
    return {data, rows, columns, leading, 1};
  }
  static table_view row_major(const T *data, int rows, int columns) {
    return {data, rows, columns, columns, 1};
  }

  int rows() const noexcept { return rows_; }
  int columns() const noexcept { return columns_; }

  /// Element (0, j); element (i, j) is row_stride() i places from it.
  const T *column(int j) const noexcept {
    return pointers_ ? pointers_[j] : data_ + j * column_stride_;
  }
  std::ptrdiff_t row_stride() const noexcept { return row_stride_; }

  const T &operator()(int i, int j) const noexcept { return column(j)[i * row_stride_]; }

  table_view view() const noexcept { return *this; }

 private:
  static void check_leading(std::ptrdiff_t leading, int least, const char *what) {
    if (leading < least)
      throw bad_data("table_view",
                     detail::sentence("a leading dimension of ", leading, " is too small for ",
                                      detail::counted(least, what)));
  }

  const T *data_ = nullptr;
  const T *const *pointers_ = nullptr;  ///< null for a block
  int rows_ = 0, columns_ = 0;
  std::ptrdiff_t row_stride_ = 1, column_stride_ = 0;
};

/// What the front's functions take for a matrix: a view, a column_table, or any type that gives a view.
template <class A>
concept table = real<typename A::value_type> && requires(const A &a) {
  { a.view() } -> std::same_as<table_view<typename A::value_type>>;
};

/// A matrix in columns that lie in blocks of their own. Columns are added at the end, removed and exchanged
/// without moving the others' elements.
///
/// Memory: M_alloc and M_dealloc of the engine. A table with room for no column owns nothing. A table that
/// was moved from is 0 by 0. std::bad_alloc leaves a table as it was.
template <real T>
class column_table {
 public:
  using value_type = T;

  /// Nothing: 0 by 0.
  column_table() noexcept = default;

  /// Zeros, with room for `capacity` columns.
  column_table(int rows, int columns, int capacity)
      : rows_(rows), columns_(columns), capacity_(capacity) {
    detail::check_count("column_table", rows, "row");
    detail::check_count("column_table", columns, "column");
    if (capacity < columns)
      throw bad_data("column_table",
                     detail::sentence(detail::counted(columns, "column"), " with room for ", capacity));
    if (capacity > 0) pointers_ = allocated(columns, capacity);
  }
  column_table(int rows, int columns) : column_table(rows, columns, columns) {}

  /// The elements of a view.
  explicit column_table(table_view<T> A) : column_table(A.rows(), A.columns()) {
    for (int j = 0; j < columns_; ++j)
      for (int i = 0; i < rows_; ++i) pointers_[j][i] = A(i, j);
  }

  /// Rows of elements: {{1, 2}, {3, 4}, {5, 6}} is 3 by 2.
  column_table(std::initializer_list<std::initializer_list<T>> rows)
      : column_table(static_cast<int>(rows.size()),
                     rows.size() == 0 ? 0 : static_cast<int>(rows.begin()->size())) {
    int i = 0;
    for (const std::initializer_list<T> &row : rows) {
      detail::check_size("column_table", detail::sentence("row ", i).c_str(), row.size(), "element",
                         "row 0", rows.begin()->size(), "element");
      for (int j = 0; const T value : row) pointers_[j++][i] = value;
      ++i;
    }
  }

  column_table(const column_table &other) : column_table(other.view()) {}
  column_table(column_table &&other) noexcept { swap(other); }
  column_table &operator=(column_table other) noexcept {
    swap(other);
    return *this;
  }
  ~column_table() {
    if (pointers_) engine::M_dealloc(pointers_, rows_, slots());
  }

  void swap(column_table &other) noexcept {
    std::swap(pointers_, other.pointers_);
    std::swap(rows_, other.rows_);
    std::swap(columns_, other.columns_);
    std::swap(capacity_, other.capacity_);
  }

  int rows() const noexcept { return rows_; }
  int columns() const noexcept { return columns_; }
  int capacity() const noexcept { return capacity_; }

  T &operator()(int i, int j) noexcept { return pointers_[j][i]; }
  const T &operator()(int i, int j) const noexcept { return pointers_[j][i]; }

  std::span<T> column(int j) noexcept { return {pointers_[j], static_cast<std::size_t>(rows_)}; }
  std::span<const T> column(int j) const noexcept {
    return {pointers_[j], static_cast<std::size_t>(rows_)};
  }

  /// For calls of the engine; null if there is no room for a column.
  T **data() noexcept { return pointers_; }
  /// For calls that only read.
  T *const *data() const noexcept { return pointers_; }

  /// Good until the next change of the columns.
  table_view<T> view() const noexcept { return {pointers_, rows_, columns_}; }
  operator table_view<T>() const noexcept { return view(); }

  /// Makes room for so many columns. Elements stay where they are.
  void reserve(int capacity) {
    if (capacity <= capacity_) return;
    T **const fresh = allocated(0, capacity);
    if (pointers_) {  // the new table's own columns go with the old one
      std::swap_ranges(pointers_, pointers_ + slots(), fresh);
      engine::M_dealloc(pointers_, rows_, slots());
    }
    pointers_ = fresh;
    capacity_ = capacity;
  }

  /// Appends a column of rows() elements. Cost: rows() moves; if there is no room, that for twice as many.
  void add_column(std::span<const T> column) {
    detail::check_size("add_column", "the column", column.size(), "element", "the table",
                       static_cast<std::size_t>(rows_), "row");
    if (columns_ == capacity_) reserve(std::max(4, 2 * capacity_));
    T *&place = pointers_[columns_];
    if (!place) place = new T[static_cast<std::size_t>(std::max(rows_, 2))];
    std::copy(column.begin(), column.end(), place);
    ++columns_;
  }

  /// Drops a column; those behind it move up, in order. Cost: columns() pointers.
  void remove_column(int j) {
    check_column("remove_column", j);
    std::rotate(pointers_ + j, pointers_ + j + 1, pointers_ + columns_);
    --columns_;
  }

  /// Exchanges two columns. Cost: two pointers.
  void swap_columns(int j, int k) {
    check_column("swap_columns", j);
    check_column("swap_columns", k);
    std::swap(pointers_[j], pointers_[k]);
  }

  /// Equal sizes and equal elements; the room does not count.
  friend bool operator==(const column_table &a, const column_table &b) noexcept {
    if (a.rows_ != b.rows_ || a.columns_ != b.columns_) return false;
    for (int j = 0; j < a.columns_; ++j)
      if (!std::ranges::equal(a.column(j), b.column(j))) return false;
    return true;
  }

 private:
  // The engine's tables have two rows and columns at least.
  int slots() const noexcept { return std::max(capacity_, 2); }

  T **allocated(int columns, int capacity) const {
    T **const pointers =
        engine::M_alloc<T>(std::max(rows_, 2), std::max(columns, 2), std::max(capacity, 2));
    if (!pointers) throw std::bad_alloc();
    return pointers;
  }

  void check_column(const char *operation, int j) const {
    if (j < 0 || j >= columns_)
      throw bad_data(operation, detail::sentence("no column ", j, ", the table has ",
                                                 detail::counted(columns_, "column")));
  }

  T **pointers_ = nullptr;  ///< slots() of them; null if capacity_ is 0
  int rows_ = 0, columns_ = 0, capacity_ = 0;
};

namespace detail {

/// Throws unless a matrix is square: "A has 2 rows, 3 columns: not square".
template <real T>
void check_square(const char *operation, const char *name, table_view<T> A) {
  if (A.rows() != A.columns())
    throw bad_data(operation, sentence(name, " has ", counted(A.rows(), "row"), ", ",
                                       counted(A.columns(), "column"), ": not square"));
}

/// Throws unless a square matrix is symmetric, to the bit: "A(0, 1) is not A(1, 0): not symmetric".
template <real T>
void check_symmetric(const char *operation, const char *name, table_view<T> A) {
  for (int j = 0; j < A.columns(); ++j)
    for (int i = 0; i < j; ++i)
      if (A(i, j) < A(j, i) || A(j, i) < A(i, j))
        throw bad_data(operation,
                       sentence(place(name, i, j), " is not ", place(name, j, i), ": not symmetric"));
}

}  // namespace detail

/// A symmetric or an upper triangular matrix: the elements on and above the diagonal, i <= j.
///
/// Packed by columns: (0,0) (0,1) (1,1) (0,2) ...; by rows: (0,0) (0,1) (0,2) ... (1,1) (1,2) ...
///
/// Memory: M_allocs and M_dealloc of the engine. A table of order 0 owns nothing. A table that was moved
/// from has order 0.
template <real T>
class triangle_table {
 public:
  using value_type = T;

  /// Nothing: order 0.
  triangle_table() noexcept = default;

  /// Zeros.
  explicit triangle_table(int order) : order_(order) {
    detail::check_count("triangle_table", order, "column");
    if (order == 0) return;
    pointers_ = engine::M_allocs<T>(std::max(order, 2));
    if (!pointers_) throw std::bad_alloc();
  }

  /// The elements packed by columns: n (n+1) / 2 of them for order n.
  static triangle_table from_packed_columns(std::span<const T> packed) {
    triangle_table S(order_of(packed.size()));
    for (std::size_t next = 0, j = 0; j < S.size(); ++j)
      for (std::size_t i = 0; i <= j; ++i) S.pointers_[j][i] = packed[next++];
    return S;
  }
  /// The elements packed by rows.
  static triangle_table from_packed_rows(std::span<const T> packed) {
    triangle_table S(order_of(packed.size()));
    for (std::size_t next = 0, i = 0; i < S.size(); ++i)
      for (std::size_t j = i; j < S.size(); ++j) S.pointers_[j][i] = packed[next++];
    return S;
  }
  /// A symmetric matrix in full; throws bad_data where (i, j) and (j, i) differ.
  static triangle_table from_symmetric(table_view<T> A) {
    detail::check_square("triangle_table", "A", A);
    detail::check_symmetric("triangle_table", "A", A);
    return from_upper(A);
  }
  /// What stands on and above the diagonal of a square matrix.
  static triangle_table from_upper(table_view<T> A) {
    detail::check_square("triangle_table", "A", A);
    triangle_table S(A.rows());
    for (int j = 0; j < S.order_; ++j)
      for (int i = 0; i <= j; ++i) S(i, j) = A(i, j);
    return S;
  }

  triangle_table(const triangle_table &other) : triangle_table(other.order_) {
    if (order_ > 0) engine::M_copss(other.pointers_, pointers_, order_);
  }
  triangle_table(triangle_table &&other) noexcept { swap(other); }
  triangle_table &operator=(triangle_table other) noexcept {
    swap(other);
    return *this;
  }
  ~triangle_table() {
    if (pointers_) engine::M_dealloc(pointers_, order_, std::max(order_, 2));
  }

  void swap(triangle_table &other) noexcept {
    std::swap(pointers_, other.pointers_);
    std::swap(order_, other.order_);
  }

  int order() const noexcept { return order_; }

  /// Element (i, j), i <= j.
  T &operator()(int i, int j) noexcept { return pointers_[j][i]; }
  const T &operator()(int i, int j) const noexcept { return pointers_[j][i]; }

  std::vector<T> packed_columns() const {
    std::vector<T> packed;
    packed.reserve(size() * (size() + 1) / 2);
    for (int j = 0; j < order_; ++j) packed.insert(packed.end(), pointers_[j], pointers_[j] + j + 1);
    return packed;
  }
  std::vector<T> packed_rows() const {
    std::vector<T> packed;
    packed.reserve(size() * (size() + 1) / 2);
    for (int i = 0; i < order_; ++i)
      for (int j = i; j < order_; ++j) packed.push_back((*this)(i, j));
    return packed;
  }

  /// The symmetric matrix in full.
  column_table<T> full_symmetric() const {
    column_table<T> A(order_, order_);
    if (order_ > 0) engine::M_copsr(pointers_, A.data(), order_);
    return A;
  }
  /// The triangular matrix in full, zeros below the diagonal.
  column_table<T> full_upper() const {
    column_table<T> A(order_, order_);
    if (order_ > 0) engine::M_coptr(pointers_, A.data(), order_);
    return A;
  }

  /// For calls of the engine; null if the order is 0.
  T **data() noexcept { return pointers_; }
  /// For calls that only read.
  T *const *data() const noexcept { return pointers_; }

  /// Equal orders and equal elements.
  friend bool operator==(const triangle_table &a, const triangle_table &b) noexcept {
    if (a.order_ != b.order_) return false;
    for (int j = 0; j < a.order_; ++j)
      if (!std::equal(a.pointers_[j], a.pointers_[j] + j + 1, b.pointers_[j])) return false;
    return true;
  }

 private:
  static int order_of(std::size_t elements) {
    int n = 0;
    for (std::size_t triangle = 0; triangle < elements; ++n)
      triangle += static_cast<std::size_t>(n) + 1;
    if (static_cast<std::size_t>(n) * (static_cast<std::size_t>(n) + 1) / 2 != elements)
      throw bad_data("triangle_table",
                     detail::sentence(detail::counted(static_cast<long long>(elements), "element"),
                                      " do not fill a triangle: n (n+1) / 2 do"));
    return n;
  }
  std::size_t size() const noexcept { return static_cast<std::size_t>(order_); }

  T **pointers_ = nullptr;
  int order_ = 0;
};

namespace detail {

/// Whether the exponent's bits are all set: NaN or an infinity, whatever the compiler assumes of them.
template <real T>
bool is_finite(T x) noexcept {
  if constexpr (sizeof(T) == sizeof(std::uint32_t))
    return (std::bit_cast<std::uint32_t>(x) & 0x7f800000u) != 0x7f800000u;
  else
    return (std::bit_cast<std::uint64_t>(x) & 0x7ff0000000000000u) != 0x7ff0000000000000u;
}

template <real T>
[[noreturn]] void throw_not_finite(const char *operation, const std::string &place, T x) {
  constexpr std::uint64_t fraction = sizeof(T) == sizeof(std::uint32_t) ? 0x7fffffu : 0xfffffffffffffu;
  using Bits = std::conditional_t<sizeof(T) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
  throw bad_data(operation, sentence(place, (std::bit_cast<Bits>(x) & fraction) != 0 ? " is NaN"
                                                                                     : " is infinite"));
}

/// Whether all elements at x, x + stride, ... are finite. One more in the exponent carries into the sign
/// where all of its bits are set. Four elements go side by side.
template <real T>
bool all_finite(const T *x, std::ptrdiff_t n, std::ptrdiff_t stride) noexcept {
  using Bits = std::conditional_t<sizeof(T) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
  constexpr Bits exponent = std::bit_cast<Bits>(std::numeric_limits<T>::infinity());
  constexpr Bits sign = (exponent << 1) & ~exponent, one = exponent & ~(exponent << 1);
  Bits carried[4] = {};
  std::ptrdiff_t i = 0;
  if (stride == 1)
    for (; i + 4 <= n; i += 4)
      for (int l = 0; l < 4; ++l) carried[l] |= (std::bit_cast<Bits>(x[i + l]) & exponent) + one;
  for (; i < n; ++i) carried[0] |= (std::bit_cast<Bits>(x[i * stride]) & exponent) + one;
  return ((carried[0] | carried[1] | carried[2] | carried[3]) & sign) == 0;
}

/// Throws for the first element that is not finite: "b(3) is NaN".
template <real T>
void check_finite(const char *operation, const char *name, std::span<const T> b) {
  if (all_finite(b.data(), static_cast<std::ptrdiff_t>(b.size()), 1)) return;
  for (std::size_t i = 0; i < b.size(); ++i)
    if (!is_finite(b[i])) throw_not_finite(operation, sentence(name, "(", i, ")"), b[i]);
}

/// The same, column by column: "A(3, 2) is infinite".
template <real T>
void check_finite(const char *operation, const char *name, table_view<T> A) {
  for (int j = 0; j < A.columns(); ++j) {
    if (all_finite(A.column(j), A.rows(), A.row_stride())) continue;
    for (int i = 0; i < A.rows(); ++i)
      if (!is_finite(A(i, j))) throw_not_finite(operation, place(name, i, j), A(i, j));
  }
}

/// What a call of the engine reads: the view's own columns where each is contiguous, else a copy.
template <real T>
class columns {
 public:
  explicit columns(table_view<T> A) : pointers_(static_cast<std::size_t>(A.columns())) {
    const bool contiguous = A.row_stride() == 1 || A.rows() < 2;
    if (!contiguous) copy_ = column_table<T>(A);
    for (int j = 0; j < A.columns(); ++j)
      pointers_[static_cast<std::size_t>(j)] =
          contiguous ? const_cast<T *>(A.column(j)) : copy_.data()[j];
  }

  T *const *data() const noexcept { return pointers_.data(); }

 private:
  column_table<T> copy_;
  std::vector<T *> pointers_;
};

}  // namespace detail
}  // namespace tabfit

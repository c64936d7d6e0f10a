// tests/test_panel.cpp - the panel kernels of every set against loops written out, bit for bit; every
// array touches memory that must not be touched, and places that are not to be read hold signalling
// NaN.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "kernels/sums/panel.hpp"
#include "kernels/sums/unknowns.hpp"
#include "tests/support/bits.hpp"
#include "tests/support/columns.hpp"
#include "tests/support/fenced.hpp"
#include "tests/support/kernel_sets.hpp"
#include "tests/support/twin_test.hpp"

namespace {

using namespace tabfit;

class Panel : public WithKernels {};
class Panel_f : public WithKernels {};
class Panel_d : public WithKernels {};
WITH_ALL_KERNELS(Panel);
WITH_ALL_KERNELS(Panel_f);
WITH_ALL_KERNELS(Panel_d);

constexpr Data kinds[] = {Data::plain, Data::odd, Data::tiny, Data::huge, Data::rare};

/// Elements of every kind, made once and dealt again and again.
template <class T>
class Elements {
 public:
  explicit Elements(Random& random) {
    for (const Data data : kinds)
      for (int i = 0; i < count; ++i) all_.push_back(element<T>(random, data));
  }
  /// What is dealt from now on.
  void take(int kind) { first_ = kind % 5 * count; }
  T operator()() {
    next_ = (next_ + 1) % count;
    return all_[static_cast<std::size_t>(first_ + next_)];
  }

 private:
  static constexpr int count = 4093;  // a prime: no length of an array divides it
  std::vector<T> all_;
  int first_ = 0, next_ = 0;
};

/// Random numbers, and elements of both types.
template <class Real>
struct Source {
  Random random;
  Elements<Real> element{random};
  Elements<double> number{random};
  int turn = 0;

  explicit Source(std::uint64_t seed) : random(seed) {}
  /// Takes to the next kind.
  void next_kind() {
    ++turn;
    element.take(turn);
    number.take(turn);
  }
  Touching side() { return random.chance(2) ? Touching::end : Touching::begin; }
};

template <class T>
std::vector<Fenced<T>> fenced_arrays(int count, int most) {
  std::vector<Fenced<T>> arrays;
  for (int i = 0; i < count; ++i) arrays.emplace_back(most);
  return arrays;
}

/// n elements, all but those from..n-1 signalling; touching the fence that they end at, or, from `from`
/// on, begin at. Gives where element 0 is or would be.
template <class T, class Element>
T* input(Fenced<T>& array, int from, int n, Touching touching, Element element) {
  const int count = std::max(n - from, 0);
  T* data = array.lay(count, signal_of<T>(), touching);
  for (int i = 0; i < count; ++i) data[i] = element(from + i);
  return data - from;
}

int padded(int count) { return (count + 7) / 8 * 8; }

bool has(Edge edge, int r, int t) {
  if (edge.band == Band::all) return true;
  return edge.band == Band::to_l ? edge.at + r <= t : edge.at + r >= t;
}

// -- tiles ----------------------------------------------------------------------------------------

constexpr int most_terms = 40, most_rows = 40, most_columns = 20;

/// A tile and everything around it.
class TileCall {
 public:
  struct Shape {
    int rows, columns, first, end, step;
    bool from_zero, crossed, rounded;  ///< crossed by the diagonal; sums to floats
    Band row_band, column_band;
  };

  /// A tile of that shape with elements of its own.
  void lay(Source<double>& source, const Shape& shape) {
    shape_ = shape;
    Random& random = source.random;
    rows_ = {shape.row_band, random.integer(-4, shape.end)};
    columns_ = {shape.column_band, random.integer(-4, shape.end)};
    tile_ = {.P = P_,
             .row = random.integer(0, 9),
             .Q = columns_of_Q_,
             .term = random.integer(0, 5),
             .step = shape.step,
             .sums = columns_of_sums_,
             .place = random.integer(0, 9),
             .rows = shape.rows,
             .columns = shape.columns,
             .first = shape.first,
             .end = shape.end,
             .from_zero = shape.from_zero,
             .row_edge = rows_,
             .column_edge = columns_};
    if (shape.rounded) {
      tile_.rounded = columns_of_floats_;
      tile_.target = random.integer(0, 9);
    }
    if (shape.crossed) tile_.corner = random.integer(2 - shape.columns, shape.rows);
    lay_rows(source);
    lay_columns(source);
    for (int c = 0; c < shape.columns; ++c) {
      const int height = std::clamp(tile_.corner + c, 0, shape.rows);
      auto& sums = sums_[static_cast<std::size_t>(c)];
      columns_of_sums_[c] = sums.lay(height, Guarded<double>::poison(), source.side()) - tile_.place;
      columns_of_floats_[c] =
          floats_[static_cast<std::size_t>(c)].lay(height, Guarded<float>::poison(), source.side()) -
          tile_.target;
      expected_[c].clear();
      before_[c].clear();
      for (int r = 0; r < height; ++r) {
        if (!shape.from_zero) sums[r] = source.number();
        before_[c].push_back(sums[r]);
        double sum = shape.from_zero ? 0.0 : sums[r];
        for (int t = shape.first; t < shape.end; ++t)
          if (has(rows_, r, t) && has(columns_, c, t))
            sum =
                std::fma(P_[t][tile_.row + r], Q(c)[static_cast<std::ptrdiff_t>(t) * shape.step], sum);
        expected_[c].push_back(sum);
      }
    }
  }

  void check(const Kernels& kernel) {
    kernel.tile(tile_);
    for (int c = 0; c < shape_.columns; ++c) {
      auto& sums = sums_[static_cast<std::size_t>(c)];
      ASSERT_TRUE(sums.zone_intact()) << "beside column " << c << " of " << text();
      auto& floats = floats_[static_cast<std::size_t>(c)];
      ASSERT_TRUE(floats.zone_intact()) << "beside floats " << c << " of " << text();
      for (int r = 0; r < sums.size(); ++r) {
        const double expected = expected_[c][static_cast<std::size_t>(r)];
        const auto where = [&] {
          return testing::Message() << "sum " << r << ", " << c << " of " << text();
        };
        if (shape_.rounded) {
          ASSERT_SAME(floats[r], static_cast<float>(expected)) << where();
          ASSERT_SAME(sums[r], before_[c][static_cast<std::size_t>(r)]) << where();
        } else {
          ASSERT_SAME(sums[r], expected) << where();
          ASSERT_TRUE(floats.untouched(r)) << where();
        }
      }
    }
  }

 private:
  bool some_row_has(int t) const { return has(rows_, 0, t) || has(rows_, shape_.rows - 1, t); }
  bool some_column_has(int t) const {
    return has(columns_, 0, t) || has(columns_, shape_.columns - 1, t);
  }
  const double* Q(int c) const { return columns_of_Q_[c] + tile_.term; }

  /// Of each term the rows that have it; a term that no sum has does not exist.
  void lay_rows(Source<double>& source) {
    for (int t = 0; t < most_terms; ++t) P_[t] = nullptr;
    for (int t = shape_.first; t < shape_.end; ++t) {
      int from = 0, n = some_column_has(t) ? shape_.rows : 0;
      while (from < n && !has(rows_, from, t)) ++from;
      while (n > from && !has(rows_, n - 1, t)) --n;
      P_[t] = input(P_arrays_[static_cast<std::size_t>(t)], from, n,
                    from > 0 ? Touching::begin : source.side(), [&](int) { return source.element(); }) -
              tile_.row;
    }
  }

  void lay_columns(Source<double>& source) {
    const auto wanted = [&](int t, int c) { return some_row_has(t) && has(columns_, c, t); };
    const auto value = [&](int t, int c) {
      return wanted(t, c) ? source.element() : signal_of<double>();
    };
    if (shape_.step == 1) {
      for (int c = 0; c < shape_.columns; ++c) {
        int from = shape_.first, n = shape_.end;
        while (from < n && !wanted(from, c)) ++from;
        while (n > from && !wanted(n - 1, c)) --n;
        columns_of_Q_[c] = input(Q_[static_cast<std::size_t>(c)], from, n, source.side(),
                                 [&](int t) { return value(t, c); }) -
                           tile_.term;
      }
      return;
    }
    // A panel whose last row ends with the last column.
    const int step = shape_.step, from = shape_.first * step,
              n = shape_.end > shape_.first ? (shape_.end - 1) * step + shape_.columns : from;
    const double* panel = input(Q_[0], from, n, source.side(), [&](int at) {
      return at % step < shape_.columns ? value(at / step, at % step) : signal_of<double>();
    });
    for (int c = 0; c < shape_.columns; ++c) columns_of_Q_[c] = panel + c - tile_.term;
  }

  std::string text() const {
    constexpr const char* names[] = {"all", "to l", "from l"};
    const Shape& s = shape_;
    return std::to_string(s.rows) + " by " + std::to_string(s.columns) + ", terms " +
           std::to_string(s.first) + ".." + std::to_string(s.end) + ", step " + std::to_string(s.step) +
           (s.from_zero ? ", from zero" : "") + (s.rounded ? ", rounded" : "") + ", corner " +
           std::to_string(tile_.corner) + ", rows " + names[static_cast<int>(s.row_band)] + " at " +
           std::to_string(rows_.at) + ", columns " + names[static_cast<int>(s.column_band)] + " at " +
           std::to_string(columns_.at);
  }

  std::vector<Fenced<double>> P_arrays_ = fenced_arrays<double>(most_terms, most_rows);
  std::vector<Fenced<double>> Q_ = fenced_arrays<double>(most_columns, most_terms* most_columns);
  std::vector<Fenced<double>> sums_ = fenced_arrays<double>(most_columns, most_rows);
  std::vector<Fenced<float>> floats_ = fenced_arrays<float>(most_columns, most_rows);
  const double* P_[most_terms] = {};
  const double* columns_of_Q_[most_columns] = {};
  double* columns_of_sums_[most_columns] = {};
  float* columns_of_floats_[most_columns] = {};
  std::vector<double> expected_[most_columns], before_[most_columns];
  Shape shape_{};
  Edge rows_{}, columns_{};
  Tile tile_{};
};

void check_tiles(const Kernels& kernel, std::uint64_t seed, std::initializer_list<Band> row_bands,
                 std::initializer_list<Band> column_bands) {
  Source<double> source(seed);
  TileCall call;
  for (int rows = 1; rows <= most_rows; ++rows)
    for (const int columns : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 13, 17, 20})
      for (const int terms : {0, 1, 2, 3, 5, 17, 33})
        for (const int step : {1, most_columns})
          for (const bool from_zero : {false, true})
            for (const bool crossed : {false, true})
              for (const Band row_band : row_bands)
                for (const Band column_band : column_bands) {
                  source.next_kind();
                  const int first = source.turn % 3 ? 0 : source.random.integer(1, 4);
                  call.lay(source, {rows, columns, first, first + terms, step, from_zero, crossed,
                                    source.turn % 4 == 1, row_band, column_band});
                  call.check(kernel);
                  if (testing::Test::HasFatalFailure()) return;
                }
}

TEST_P(Panel, TilesAddThePlainSumsAndTouchNoOther) {
  check_tiles(kernels(), 7101, {Band::all}, {Band::all});
}

TEST_P(Panel, BandedTilesAddTheTermsOfTheirBandsAndTouchNoOther) {
  const auto banded = {Band::to_l, Band::from_l};
  check_tiles(kernels(), 7102, {Band::all}, banded);
  check_tiles(kernels(), 7122, banded, {Band::all});
  check_tiles(kernels(), 7132, banded, banded);
}

// -- packing --------------------------------------------------------------------------------------

/// What a packing kernel leaves in its panel: element (t, r) for r < count if the edge has it, what
/// `behind` says in the places up to the next multiple of 8, nothing beyond. Places that the edge does not
/// have are as `spared` says.
template <class Element, class Behind>
void check_packed(Fenced<double>& out, int count, int terms, int width, Edge edge, Element element,
                  Behind behind, bool spared) {
  ASSERT_TRUE(out.zone_intact());
  for (int t = 0; t < terms; ++t)
    for (int r = 0; r < width; ++r) {
      const auto text = [&] {
        return testing::Message() << "line " << r << " of " << count << " in " << width << ", term "
                                  << t << " of " << terms << ", band " << static_cast<int>(edge.band)
                                  << " at " << edge.at;
      };
      const int place = t * width + r;
      if (r < count && has(edge, r, t)) {
        ASSERT_SAME(out[place], double(element(t, r))) << text();
      } else if (r >= padded(count) || (r < count && spared)) {
        ASSERT_TRUE(out.untouched(place)) << text();
      } else if (r >= count) {
        ASSERT_TRUE(behind(place)) << text();
      }
    }
}

constexpr Band bands[] = {Band::all, Band::to_l, Band::from_l};

/// body(count, terms, width) for panels of every shape whose width is a multiple of `lanes`.
template <class Body>
void each_panel(int lanes, Body body) {
  for (int count = 0; count <= 40; ++count)
    for (int terms = 0; terms <= 13; ++terms)
      for (const int spare : {-4, 0, 8, 24}) {
        const int width = padded(count) + spare;
        if (width >= count && width % lanes == 0) body(count, terms, width);
        if (testing::Test::HasFatalFailure()) return;
      }
}

KERNEL_TEST(Panel, PackLinesCopiesWhatTheEdgeHasOfEveryTermAndTouchesNoOther) {
  Source<Real> source(7103);
  auto lines = fenced_arrays<Real>(13, 64);
  Fenced<double> out(13 * 64);
  for (const Band band : bands)
    each_panel(kernel.lanes, [&](int count, int terms, int width) {
      source.next_kind();
      const int line = source.random.integer(0, 9);
      const Edge edge = {band, source.random.integer(-count - 3, terms + 3)};
      const Real* pointers[13] = {};
      for (int t = 0; t < terms; ++t) {
        int from = 0, end = count;
        while (from < end && !has(edge, from, t)) ++from;
        while (end > from && !has(edge, end - 1, t)) --end;
        pointers[t] =
            input(lines[static_cast<std::size_t>(t)], line + from, line + end,
                  from > 0 ? Touching::begin : source.side(), [&](int) { return source.element(); });
      }
      out.lay(terms * width, Guarded<double>::poison(), source.side());
      kernel.of<Real>().pack_lines(pointers, line, count, terms, width, out.data(), edge);
      check_packed(
          out, count, terms, width, edge, [&](int t, int r) { return pointers[t][line + r]; },
          [&](int place) { return out.untouched(place); }, true);
    });
}

KERNEL_TEST(Panel, PackTermsTurnsWhatTheEdgeHasOfEveryLineAndFillsUpWithZeros) {
  Source<Real> source(7104);
  auto lines = fenced_arrays<Real>(40, 64);
  Fenced<double> out(13 * 64);
  for (const Band band : bands)
    each_panel(kernel.lanes, [&](int count, int terms, int width) {
      source.next_kind();
      const int term = source.random.integer(0, 9);
      const Edge edge = {band, source.random.integer(-count - 3, terms + 3)};
      const Real* pointers[40] = {};
      for (int r = 0; r < count; ++r) {
        int from = 0, end = terms;
        while (from < end && !has(edge, r, from)) ++from;
        while (end > from && !has(edge, r, end - 1)) --end;
        pointers[r] =
            input(lines[static_cast<std::size_t>(r)], term + from, term + end,
                  from > 0 ? Touching::begin : source.side(), [&](int) { return source.element(); });
      }
      out.lay(terms * width, Guarded<double>::poison(), source.side());
      kernel.of<Real>().pack_terms(pointers, term, count, terms, width, out.data(), edge);
      check_packed(
          out, count, terms, width, edge, [&](int t, int r) { return pointers[r][term + t]; },
          [&](int place) { return band != Band::all || same_bits(out[place], 0.0); }, false);
    });
}

KERNEL_TEST(Panel, UnpackTermsStoresWhatItsLinesHave) {
  Source<Real> source(7104);
  constexpr int most = 20;
  auto lines = fenced_arrays<Real>(most, most + 9);
  Fenced<double> in(most * 24);
  for (int count = 1; count <= most; ++count)
    for (int terms = 0; terms <= most; ++terms)
      for (const int corner : {1, 2, 7, 9, most}) {
        source.next_kind();
        const int width = padded(count) + 8 * (source.random.chance(2) && count <= 16),
                  term = source.random.integer(0, 9);
        const auto has = [&](int r, int t) { return t < terms && t < corner + r; };
        input(in, 0, terms * width, source.side(), [&](int) { return source.number(); });
        Real* pointers[most] = {};
        for (int r = 0; r < count; ++r)
          pointers[r] =
              input(lines[static_cast<std::size_t>(r)], term, term + std::min(terms, corner + r),
                    source.side(), [](int) { return Guarded<Real>::poison(); });
        kernel.of<Real>().unpack_terms(in.data(), width, count, terms, corner, pointers, term);
        for (int r = 0; r < count; ++r) {
          ASSERT_TRUE(lines[static_cast<std::size_t>(r)].zone_intact());
          for (int t = 0; has(r, t); ++t)
            ASSERT_SAME(pointers[r][term + t], static_cast<Real>(in[t * width + r]))
                << "term " << t << " of " << terms << ", line " << r << " of " << count << ", corner "
                << corner;
        }
      }
}

// -- sums of one column ---------------------------------------------------------------------------

KERNEL_TEST(Panel, DotsAreThePlainSumsOfEveryColumn) {
  Source<Real> source(7105);
  constexpr int most_columns = 40, most_rows = 200;
  auto columns = fenced_arrays<Real>(most_columns, most_rows);
  Fenced<Real> x(most_rows), y(most_columns);
  const auto any = [&](int) { return source.element(); };
  const auto check = [&](int count, int n) {
    source.next_kind();
    const Real* pointers[most_columns] = {};
    for (int c = 0; c < count; ++c)
      pointers[c] = input(columns[static_cast<std::size_t>(c)], 0, n, source.side(), any);
    input(x, 0, n, source.side(), any);
    y.lay(count, Guarded<Real>::poison(), source.side());
    kernel.of<Real>().dots(pointers, count, x.data(), n, y.data());
    ASSERT_TRUE(y.zone_intact());
    for (int c = 0; c < count; ++c) {
      double sum = 0.0;
      for (int i = 0; i < n; ++i) sum = std::fma(double(pointers[c][i]), double(x[i]), sum);
      ASSERT_SAME(y[c], static_cast<Real>(sum))
          << "column " << c << " of " << count << ", " << n << " terms";
    }
  };
  for (int count = 0; count <= most_columns; ++count)
    for (int n = 0; n <= 40; ++n) check(count, n);
  for (const int count : {1, 3, 4, 7, 8, 11, 15, 16, 17, 23, 24, 31, 32, 40})
    for (int n = 60; n <= most_rows; n += n < 80 || n > 124 ? 1 : 11) check(count, n);
}

KERNEL_TEST(Panel, SweepIsThePlainSumOfEveryRow) {
  Source<Real> source(7106);
  constexpr int most_columns = 140, most_rows = 2200;
  auto columns = fenced_arrays<Real>(most_columns, most_rows);
  Fenced<Real> x(most_columns), y(most_rows);
  const auto any = [&](int) { return source.element(); };
  const auto check = [&](int rows, int terms) {
    source.next_kind();
    const Real* pointers[most_columns] = {};
    for (int t = 0; t < terms; ++t)
      pointers[t] = input(columns[static_cast<std::size_t>(t)], 0, rows, source.side(), any);
    input(x, 0, terms, source.side(), any);
    y.lay(rows, Guarded<Real>::poison(), source.side());
    kernel.of<Real>().sweep(pointers, rows, x.data(), terms, y.data());
    ASSERT_TRUE(y.zone_intact());
    for (int r = 0; r < rows; ++r) {
      double sum = 0.0;
      for (int t = 0; t < terms; ++t) sum = std::fma(double(pointers[t][r]), double(x[t]), sum);
      ASSERT_SAME(y[r], static_cast<Real>(sum))
          << "row " << r << " of " << rows << ", " << terms << " terms";
    }
  };
  for (int rows = 0; rows <= 280; rows += rows < 150 ? 1 : 13)
    for (int terms = 0; terms <= 9; ++terms) check(rows, terms);
  for (const int rows : {1, 7, 8, 30, 65, 130, 150})
    for (const int terms : {63, 64, 65, 72, 127, 128, 129, 140}) check(rows, terms);
  for (const int rows : {1016, 1023, 1024, 1025, 1032, 1088, 1151, 1152, 1160, 2047, 2048, 2049, 2200})
    for (const int terms : {0, 1, 4, 7, 9}) check(rows, terms);
}

// -- lines of right-hand sides --------------------------------------------------------------------

/// Rows of unknowns and everything around them: what no lane has is not there or signals.
template <class Real>
void check_unknowns(const Kernels& kernel, std::uint64_t seed, bool divide) {
  Source<double> source(seed);
  constexpr int most_rows = 40, height = 8;
  Fenced<double> X(most_rows * 64), P(most_rows * height);
  for (int width = 8; width <= 8 * kernel.lanes; width += 8)
    for (const int end : {1, 2, 5, 9, 24, 40})
      for (int rows = 1; rows <= std::min(height, end); rows += 3)
        for (const int corner : {0, 1, end - rows, end - 1, end, 1000}) {
          source.next_kind();
          const int first = source.random.integer(0, end - rows);
          const auto has = [&](int i, int v) { return i <= corner + v; };
          input(X, 0, end * width, source.side(),
                [&](int at) { return has(at / width, at % width) ? source.number() : 1.0; });
          input(P, 0, (end - first) * height, source.side(), [&](int at) {
            const int t = at / height, r = at % height;
            return r < rows && t >= r ? source.element() : signal_of<double>();
          });
          std::vector<double> expected(X.data(), X.data() + end * width);
          for (int i = first + rows - 1; i >= first; --i)
            for (int v = 0; v < width; ++v) {
              const auto u = [&](int l) { return P[(l - first) * height + i - first]; };
              const auto x = [&](int l) -> double& {
                return expected[static_cast<std::size_t>(l * width + v)];
              };
              if (!has(divide ? i : i + 1, v)) continue;
              double sum = divide ? x(i) : 0.0;
              for (int l = i + 1; l < end && has(l, v); ++l)
                sum = std::fma(divide ? -u(l) : u(l), x(l), sum);
              x(i) = static_cast<Real>(divide ? sum / u(i) : -u(i) * sum);
            }
          const Unknowns unknowns{.X = X.data(),
                                  .width = width,
                                  .P = P.data(),
                                  .height = height,
                                  .first = first,
                                  .rows = rows,
                                  .end = end,
                                  .corner = corner};
          divide ? kernel.of<Real>().solve_rows(unknowns) : kernel.of<Real>().invert_rows(unknowns);
          ASSERT_TRUE(X.zone_intact());
          for (int at = 0; at < end * width; ++at)
            ASSERT_SAME(X[at], expected[static_cast<std::size_t>(at)])
                << "row " << at / width << " of " << first << ".." << first + rows - 1 << " up to "
                << end << ", lane " << at % width << " of " << width << ", corner " << corner;
        }
}

KERNEL_TEST(Panel, SolveRowsAndInvertRowsFindTheUnknownsThatTheirLanesHave) {
  check_unknowns<Real>(kernel, 7107, true);
  check_unknowns<Real>(kernel, 7127, false);
}

// Numerators and divisors of all sizes, among them neighbours of powers of two and of each other, whose
// quotients lie close to the middle between two numbers.
KERNEL_TEST(Panel, NextRowsDivideWhatTheirSumsLeave) {
  Source<double> source(7117);
  constexpr int most_rows = 24, height = 24;
  Fenced<double> P(most_rows * height), sums(most_rows * 96), X(most_rows * 96);
  const auto near_one = [&] {
    const double at = source.random.chance(2) ? 1.0 : source.random.real(1, 2);
    return std::nextafter(at, source.random.chance(2) ? 0.0 : 3.0);
  };
  for (int turn = 0; turn < 6000; ++turn) {
    source.next_kind();
    const int width = 8 * (1 + turn % 12), rows = turn % 3 ? 1 : source.random.integer(1, most_rows),
              done = source.random.integer(0, rows - 1);
    const bool close = turn % 2;
    input(P, 0, (rows - 1) * height + rows, source.side(), [&](int at) {
      if (at % height > at / height || at / height < done) return signal_of<double>();
      return close ? std::ldexp(near_one(), source.random.integer(-450, 450)) : source.number();
    });
    input(sums, 0, rows * width, source.side(), [&](int) { return close ? 0.0 : source.number(); });
    input(X, 0, rows * width, source.side(), [&](int) { return close ? near_one() : source.number(); });
    std::vector<double> expected(X.data(), X.data() + rows * width);
    for (int i = done; i < rows; ++i)
      for (int v = 0; v < width; ++v) {
        const auto x = [&](int t) -> double& {
          return expected[static_cast<std::size_t>(t * width + v)];
        };
        double sum = sums[i * width + v];
        for (int t = 0; t < i; ++t) sum = std::fma(P[i * height + t], x(t), sum);
        x(i) = static_cast<Real>((x(i) - sum) / P[i * height + i]);
      }
    kernel.of<Real>().next_rows(P.data(), height, done, rows, sums.data(), width, X.data());
    ASSERT_TRUE(X.zone_intact());
    for (int at = 0; at < rows * width; ++at)
      ASSERT_SAME(X[at], expected[static_cast<std::size_t>(at)])
          << "row " << at / width << " of " << done << ".." << rows - 1 << ", lane " << at % width
          << " of " << width;
  }
}

/// A symmetric block, the sums that its rows begin with, and its factor by loops.
template <class Real>
struct Block {
  int rows, width, finished = 0;
  std::vector<double> s, sums, u;

  std::size_t at(int i, int j) const { return static_cast<std::size_t>(i * width + j); }

  /// Elements of a common scale, a diagonal that outweighs them but in row `refused`, if there is one.
  Block(Random& random, int count, int stretch, int refused, int scale, bool from_zero)
      : rows(count), width(padded(count) + stretch), s(at(rows, 0)), sums(s.size()), u(s.size()) {
    const auto some = [&](double most) { return std::ldexp(random.real(-most, most), 2 * scale); };
    for (double& sum : sums) sum = from_zero ? 0.0 : some(1);
    for (int j = 0; j < rows; ++j)
      for (int i = 0; i <= j; ++i) s[at(i, j)] = static_cast<Real>(some(1));
    for (int i = 0; i < rows; ++i) s[at(i, i)] = static_cast<Real>(std::ldexp(rows + 3.0, 2 * scale));
    if (refused < rows) s[at(refused, refused)] = random.chance(2) ? NAN : -s[at(refused, refused)];
  }

  void factor(int done) {
    std::vector<double> t = sums;
    for (int i = 0; i < rows; ++i, finished = i) {
      for (int l = 0; l < i; ++l)
        for (int j = i; j < rows; ++j) t[at(i, j)] = std::fma(u[at(l, i)], u[at(l, j)], t[at(i, j)]);
      const double d = s[at(i, i)] - t[at(i, i)];
      if (i < done) {
        for (int j = i; j < rows; ++j) u[at(i, j)] = s[at(i, j)];
        continue;
      }
      if (!(d > 0.0)) return;
      u[at(i, i)] = static_cast<Real>(std::sqrt(d));
      for (int j = i + 1; j < rows; ++j)
        u[at(i, j)] = static_cast<Real>((s[at(i, j)] - t[at(i, j)]) / u[at(i, i)]);
    }
  }
};

KERNEL_TEST(Panel, FactorRowsFindTheRowsOfAFactorUpToARefusedPivot) {
  Random random(7108);
  constexpr int most = factor_most, places = most + 9;
  auto from = fenced_arrays<Real>(most, places), to = fenced_arrays<Real>(most, places);
  Fenced<double> sums(most * (most + 8));
  for (int turn = 0; turn < 1200; ++turn) {
    const int rows = 1 + (turn % 32 ? turn % 40 : random.integer(40, most - 1)),
              done = random.integer(0, rows > 1), at = random.integer(0, 9),
              refused = random.chance(4) ? random.integer(done, rows) : rows,
              scale =
                  random.integer(-1, 1) * random.integer(0, sizeof(Real) == sizeof(double) ? 480 : 25);
    const bool in_place = random.chance(2), from_zero = random.chance(2);
    Block<Real> block(random, rows, 8 * random.integer(0, 1), refused, scale, from_zero);
    block.factor(done);
    const Real* S[most];
    Real* U[most];
    for (int j = 0; j < rows; ++j) {
      const auto side = random.chance(2) ? Touching::end : Touching::begin;
      const auto element = [&](int i) { return static_cast<Real>(block.s[block.at(i - at, j)]); };
      const auto given = [&](int i) { return i - at < done ? element(i) : Guarded<Real>::poison(); };
      auto& s = from[static_cast<std::size_t>(j)];
      U[j] = input(to[static_cast<std::size_t>(j)], at, at + j + 1, side, given);
      S[j] = input(s, at, at + j + 1, side, element);
      if (in_place) U[j] = const_cast<Real*>(S[j]);
    }
    const auto side = random.chance(2) ? Touching::end : Touching::begin;
    input(sums, 0, rows * block.width, side,
          [&](int k) { return block.sums[static_cast<std::size_t>(k)]; });
    const int finished = kernel.of<Real>().factor_rows(S, U, at, done, rows,
                                                       from_zero ? nullptr : sums.data(), block.width);
    ASSERT_EQ(finished, block.finished) << rows << " rows, " << refused << " refused";
    for (int j = 0; j < rows; ++j)
      for (int i = 0; i <= j; ++i) {
        const double before = in_place ? block.s[block.at(i, j)] : double(Guarded<Real>::poison());
        ASSERT_SAME(U[j][at + i], static_cast<Real>(i < finished ? block.u[block.at(i, j)] : before))
            << "row " << i << ", column " << j << " of " << rows << ", " << finished << " finished, "
            << done << " done, in place: " << in_place << ", scale " << scale;
      }
  }
}

// -- reflections ----------------------------------------------------------------------------------

/// Panels of eight columns with `gap` rows between two of them that nobody may read or write.
template <class Real>
class RowMajor {
 public:
  void lay(Source<Real>& source, int panels, int rows, int gap) {
    rows_ = rows;
    panel_size_ = 8 * (rows + gap);
    const int size = panels > 0 ? (panels - 1) * panel_size_ + 8 * rows : 0;
    input(Y_, 0, size, source.side(), [&](int at) {
      return at % std::max(panel_size_, 1) < 8 * rows ? source.element() : signal_of<Real>();
    });
    old_.assign(Y_.data(), Y_.data() + size);
  }
  Real* data() { return Y_.data(); }
  std::ptrdiff_t panel_size() const { return panel_size_; }
  /// What stood at first, in element (i, c) over all panels.
  Real old(int i, int c) const {
    return old_[static_cast<std::size_t>(c / 8 * panel_size_ + 8 * i + c % 8)];
  }
  /// True if the bits of everything but the elements are as they were; of the elements too, if `all`.
  bool untouched(bool all) {
    if (!Y_.zone_intact()) return false;
    for (int at = 0; at < Y_.size(); ++at)
      if ((all || at % panel_size_ >= 8 * rows_) &&
          bits_of(Y_[at]) != bits_of(old_[static_cast<std::size_t>(at)]))
        return false;
    return true;
  }
  Real operator()(int i, int c) { return Y_[c / 8 * panel_size_ + 8 * i + c % 8]; }

 private:
  Fenced<Real> Y_{13 * 8 * 80};
  std::vector<Real> old_;
  int rows_ = 0, panel_size_ = 0;
};

KERNEL_TEST(Panel, ReflectAppliesWhatWaitsKeepsItIfWantedAndFindsTheNextMultipliers) {
  Source<Real> source(7109);
  RowMajor<Real> Y;
  auto u = fenced_arrays<double>(most_waiting, 80), t = fenced_arrays<double>(most_waiting, 104);
  Fenced<double> next(80), next_t(104);
  const auto any = [&](int) { return source.number(); };
  const int may_wait = kernel.of<Real>().may_wait;
  for (int rows = 0; rows <= 70; ++rows)
    for (int panels = 0; panels <= 13; ++panels)
      for (int waiting = 0; waiting <= may_wait; ++waiting) {
        // Every form for few rows, one after the other for many.
        for (int form = rows < 4 ? 0 : source.turn % 4; form < 4; form += rows < 4 ? 1 : 4) {
          const bool keep = form & 1 && (waiting == 1 || waiting == may_wait), backwards = form & 2;
          source.next_kind();
          Y.lay(source, panels, rows, source.turn % 2 ? 0 : source.random.integer(1, 5));
          const double *reflectors[most_waiting] = {}, *multipliers[most_waiting] = {};
          for (int q = 0; q < waiting; ++q) {
            const auto place = static_cast<std::size_t>(q);
            reflectors[q] = input(u[place], 0, rows, source.side(), any);
            multipliers[q] = input(t[place], 0, 8 * panels, source.side(), any);
          }
          input(next, 0, rows, source.side(), any);
          std::vector<double> of_first;
          if (waiting > 0) of_first.assign(multipliers[0], multipliers[0] + 8 * panels);
          const double beta = source.number();
          next_t.lay(8 * panels, Guarded<double>::poison(), source.side());
          double* found = keep && source.turn % 3 ? t[0].data() : next_t.data();
          kernel.of<Real>().reflect(Y.data(), Y.panel_size(), panels, rows, waiting, reflectors,
                                    multipliers, keep, backwards, next.data(), beta, found);
          if (waiting > 0) multipliers[0] = of_first.data();
          SCOPED_TRACE(testing::Message()
                       << panels << " panels of " << rows << " rows, " << waiting << " waiting"
                       << (keep ? ", kept" : "") << (backwards ? ", backwards" : ""));
          ASSERT_TRUE(next_t.zone_intact() && t[0].zone_intact());
          ASSERT_TRUE(Y.untouched(!keep));
          for (int c = 0; c < 8 * panels; ++c) {
            double sum = 0.0;
            for (int i = 0; i < rows; ++i) {
              Real y = Y.old(i, c);
              for (int q = 0; q < waiting; ++q)
                y = static_cast<Real>(std::fma(multipliers[q][c], reflectors[q][i], double(y)));
              if (keep) {
                ASSERT_SAME(Y(i, c), y) << "row " << i << ", column " << c;
              }
              sum = std::fma(double(y), next[i], sum);
            }
            ASSERT_SAME(found[c], -sum / beta) << "column " << c;
          }
        }
      }
}

KERNEL_TEST(Panel, ReflectRowKeepsTheRowAndTakesItsSquaresFromTheNorms) {
  Source<Real> source(7113);
  RowMajor<Real> Y;
  auto t = fenced_arrays<double>(most_waiting, 104);
  Fenced<double> h(104);
  const auto any = [&](int) { return source.number(); };
  for (int panels = 0; panels <= 13; ++panels)
    for (int waiting = 0; waiting <= most_waiting; ++waiting)
      for (int times = 0; times < 30; ++times) {
        source.next_kind();
        Y.lay(source, panels, 1, times % 4);
        double u[most_waiting] = {};
        const double* multipliers[most_waiting] = {};
        for (int q = 0; q < waiting; ++q) {
          u[q] = source.number();
          multipliers[q] = input(t[static_cast<std::size_t>(q)], 0, 8 * panels, source.side(), any);
        }
        input(h, 0, 8 * panels, source.side(), any);
        const std::vector<double> old(h.data(), h.data() + 8 * panels);
        kernel.of<Real>().reflect_row(Y.data(), Y.panel_size(), panels, waiting, u, multipliers,
                                      h.data());
        SCOPED_TRACE(testing::Message() << panels << " panels, " << waiting << " waiting");
        ASSERT_TRUE(h.zone_intact());
        ASSERT_TRUE(Y.untouched(false));
        for (int c = 0; c < 8 * panels; ++c) {
          Real y = Y.old(0, c);
          for (int q = 0; q < waiting; ++q)
            y = static_cast<Real>(std::fma(multipliers[q][c], u[q], double(y)));
          ASSERT_SAME(Y(0, c), y) << "column " << c;
          ASSERT_SAME(h[c], std::fma(-double(y), double(y), old[static_cast<std::size_t>(c)]))
              << "column " << c;
        }
      }
}

TEST_P(Panel, ReflectColumnsAppliesWhatWaitsAndSums) {
  Source<double> source(7111);
  constexpr int most_columns = 35, most_rows = 80;
  auto columns = fenced_arrays<double>(most_columns, most_rows);
  Fenced<double> u(most_rows), t(most_columns), next(most_rows), s(most_columns);
  const auto any = [&](int) { return source.number(); };
  for (int count = 0; count <= most_columns; ++count)
    for (int rows = 0; rows <= 70; rows += count > 18 ? 3 : 1) {
      source.next_kind();
      const bool waits = source.turn % 3 != 0;
      const int row = source.random.integer(0, 9);
      double* pointers[most_columns] = {};
      std::vector<double> old;
      for (int c = 0; c < count; ++c) {
        pointers[c] = input(columns[static_cast<std::size_t>(c)], row, row + rows, source.side(),
                            [&](int) { return source.element(); });
        old.insert(old.end(), pointers[c] + row, pointers[c] + row + rows);
      }
      input(u, 0, rows, source.side(), any);
      input(t, 0, count, source.side(), any);
      input(next, 0, rows, source.side(), any);
      s.lay(count, Guarded<double>::poison(), source.side());
      kernels().reflect_columns(pointers, count, row, rows, waits ? u.data() : nullptr, t.data(),
                                next.data(), s.data());
      SCOPED_TRACE(testing::Message()
                   << count << " columns of " << rows << " rows" << (waits ? ", one waiting" : ""));
      ASSERT_TRUE(s.zone_intact());
      for (int c = 0; c < count; ++c) {
        ASSERT_TRUE(columns[static_cast<std::size_t>(c)].zone_intact());
        double sum = 0.0;
        for (int i = 0; i < rows; ++i) {
          double y = old[static_cast<std::size_t>(c * rows + i)];
          if (waits) y = std::fma(t[c], u[i], y);
          ASSERT_SAME(pointers[c][row + i], y) << "row " << i << ", column " << c;
          sum = std::fma(y, next[i], sum);
        }
        ASSERT_SAME(s[c], sum) << "column " << c;
      }
    }
}

KERNEL_TEST(Panel, ColumnSquaresSumDownEveryColumn) {
  Source<Real> source(7112);
  auto columns = fenced_arrays<Real>(35, 80);
  Fenced<double> s(35);
  for (int count = 0; count <= 35; ++count)
    for (int rows = 0; rows <= 70; ++rows) {
      source.next_kind();
      Real* pointers[35] = {};
      for (int c = 0; c < count; ++c)
        pointers[c] = input(columns[static_cast<std::size_t>(c)], 0, rows, source.side(),
                            [&](int) { return source.element(); });
      s.lay(count, Guarded<double>::poison(), source.side());
      kernel.of<Real>().column_squares(pointers, count, rows, s.data());
      ASSERT_TRUE(s.zone_intact());
      for (int c = 0; c < count; ++c) {
        double sum = 0.0;
        for (int i = 0; i < rows; ++i)
          sum = std::fma(double(pointers[c][i]), double(pointers[c][i]), sum);
        ASSERT_SAME(s[c], sum) << "column " << c << " of " << count << ", " << rows << " rows";
      }
    }
}

// -- the greatest magnitude -----------------------------------------------------------------------

template <class Real>
int plain_greatest(const Real* x, int n) {
  int place = -1;
  Real best = -1;
  for (int i = 0; i < n; ++i)
    if (std::fabs(x[i]) > best) {
      best = std::fabs(x[i]);
      place = i;
    }
  return place;
}

KERNEL_TEST(Panel, AxpyAddsAMultipleRoundedOnce) {
  Source<Real> source(7112);
  Fenced<Real> u(80), y(80);
  for (int n = 0; n <= 70; ++n)
    for (int times = 0; times < 20; ++times) {
      source.next_kind();
      const auto any = [&](int) { return source.element(); };
      input(u, 0, n, source.side(), any);
      input(y, 0, n, source.side(), any);
      const double t = source.number();
      const std::vector<Real> before(y.data(), y.data() + n);
      kernel.of<Real>().axpy(t, u.data(), y.data(), n);
      ASSERT_TRUE(y.zone_intact());
      for (int i = 0; i < n; ++i)
        ASSERT_SAME(y[i], static_cast<Real>(std::fma(t, double(u[i]), double(before[std::size_t(i)]))))
            << i << " of " << n;
    }
}

KERNEL_TEST(Panel, GreatestIsTheFirstOfGreatestMagnitudeThatIsNoNaN) {
  using Limits = std::numeric_limits<Real>;
  Source<Real> source(7111);
  Random& random = source.random;
  Fenced<Real> array(100);
  const auto check = [&](int n, auto value) {
    const Real* x = input(array, 0, n, source.side(), value);
    ASSERT_EQ(kernel.of<Real>().greatest(x, n), plain_greatest(x, n))
        << testing::PrintToString(std::vector<Real>(x, x + n));
  };
  const Real few[] = {0, Real(-0.0), 1, -1, 2, -2, nan_of<Real>, -nan_of<Real>};
  const Real odd[] = {inf_of<Real>,         -inf_of<Real>,  Limits::max(), -Limits::max(),
                      Limits::denorm_min(), -Limits::min(), nan_of<Real>,  Real(-0.0)};
  for (int n = 0; n <= 70; ++n) {
    for (int times = 0; times < 10; ++times) {
      source.next_kind();
      check(n, [&](int) { return source.element(); });
      check(n, [&](int) { return few[random.integer(0, 7)]; });
      check(n, [&](int) { return odd[random.integer(0, 7)]; });
      check(n, [&](int) { return few[random.integer(0, 1)]; });
      check(n, [&](int) { return random.chance(4) ? Real(random.integer(-3, 3)) : nan_of<Real>; });
    }
    check(n, [&](int) { return nan_of<Real>; });
    // The winner in each place, before and behind an equal one, in a field of NaN, zeros or less.
    for (int at = 0; at < n; ++at)
      for (const Real field : {nan_of<Real>, Real(0), Real(-1)})
        for (const Real winner : {Real(2), Real(-2), inf_of<Real>, -inf_of<Real>, Real(0)}) {
          const int other = random.integer(0, n - 1);
          check(n, [&](int i) { return i == at ? winner : i == other ? -winner : field; });
          if (testing::Test::HasFatalFailure()) return;
        }
  }
}

}  // namespace

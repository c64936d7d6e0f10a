// tabfit/error.hpp - what the C++ front throws.
//
//   error                   a call failed; what() is "operation: sentence"
//     bad_data              sizes do not fit, or an element is NaN or infinite; the sentence has the place
//     rank_deficient        the columns depend on each other, to working precision
//     not_positive_definite a symmetric matrix has no Cholesky factor, to working precision
//   std::bad_alloc          memory ran out, in the front or in the engine below it
#pragma once

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace tabfit {

namespace detail {

/// The parts one after the other, numbers in decimals. Takes the place of chains of +, in which g++ 12 finds
/// overlaps that are not there.
template <class... Parts>
std::string sentence(const Parts &...parts) {
  std::string text;
  const auto append = [&text](const auto &part) {
    if constexpr (std::is_arithmetic_v<std::remove_cvref_t<decltype(part)>>)
      text += std::to_string(part);
    else
      text += part;
  };
  (append(parts), ...);
  return text;
}

}  // namespace detail

/// A call that failed. The arguments of the call are as before.
class error : public std::runtime_error {
 public:
  /// @param status  the engine's status; 0 if the front refused before any call
  error(std::string operation, const std::string &sentence, int status = 0)
      : std::runtime_error(detail::sentence(operation, ": ", sentence)),
        operation_(std::move(operation)),
        status_(status) {}

  const std::string &operation() const noexcept { return operation_; }
  int status() const noexcept { return status_; }

 private:
  std::string operation_;
  int status_;
};

/// Data that no operation can work on: sizes that do not fit, NaN, infinities, a wrong order.
/// The sentence holds the place, rows and columns from 0: "A(3, 2) is NaN".
class bad_data : public error {
 public:
  using error::error;
};

/// Columns that depend on each other, to working precision.
class rank_deficient : public error {
 public:
  rank_deficient(std::string operation, const std::string &sentence, int rank, int status = 0)
      : error(std::move(operation), sentence, status), rank_(rank) {}

  /// How many of the columns are independent.
  int rank() const noexcept { return rank_; }

 private:
  int rank_;
};

/// A symmetric matrix that is not positive definite, to working precision.
class not_positive_definite : public error {
 public:
  not_positive_definite(std::string operation, const std::string &sentence, int pivot, int status = 0)
      : error(std::move(operation), sentence, status), pivot_(pivot) {}

  /// The first pivot that is not positive, from 0: the leading block of order pivot() is definite.
  int pivot() const noexcept { return pivot_; }

 private:
  int pivot_;
};

}  // namespace tabfit

// tabfit/infeasible.hpp - what is thrown for constraints that no x satisfies.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tabfit/active_set.hpp"
#include "tabfit/error.hpp"

namespace tabfit {

/// Constraints that no x satisfies, and the proof: with the weights the rows sum to 0, the right sides to a
/// positive number. A row of C counts as C_i x >= d_i, a lower bound as x_j >= lo_j, an upper bound as
/// -x_j >= -hi_j, a row of E as E_i x = f_i. Weights are positive, but those of rows of E may be negative.
/// The greatest magnitude is 1. Every constraint named is needed: without it the others can be satisfied.
class infeasible : public error {
 public:
  infeasible(std::string operation, const std::string &sentence,
             std::vector<active_constraint> constraints, std::vector<double> weights)
      : error(std::move(operation), sentence),
        constraints_(std::move(constraints)),
        weights_(std::move(weights)) {}

  std::span<const active_constraint> constraints() const noexcept { return constraints_; }
  std::span<const double> weights() const noexcept { return weights_; }  ///< side by side with them

 private:
  std::vector<active_constraint> constraints_;
  std::vector<double> weights_;
};

namespace detail {

/// "C row 2", "E row 0", "the upper bound of x[1]"; `rows` is the matrix of the inequalities.
inline std::string constraint_name(const active_constraint &c, const std::string &rows = "C") {
  const std::string index = std::to_string(c.index);
  switch (c.kind) {
    case constraint_kind::equality:
      return "E row " + index;
    case constraint_kind::inequality:
      return rows + " row " + index;
    case constraint_kind::lower:
      return "the lower bound of x[" + index + "]";
    default:
      return "the upper bound of x[" + index + "]";
  }
}

/// "C rows 2 and 5 and the upper bound of x[1] contradict each other".
inline std::string contradiction_sentence(std::span<const active_constraint> constraints,
                                          const std::string &rows = "C") {
  if (constraints.size() == 1) return "no x satisfies " + constraint_name(constraints[0], rows);
  std::string sentence;
  for (std::size_t k = 0; k < constraints.size(); ++k) {
    const active_constraint c = constraints[k];
    const bool row = c.kind == constraint_kind::equality || c.kind == constraint_kind::inequality;
    const bool first = k == 0 || constraints[k - 1].kind != c.kind;
    const bool last = k + 1 == constraints.size() || constraints[k + 1].kind != c.kind;
    if (k > 0) sentence += k + 1 == constraints.size() || (row && last && !first) ? " and " : ", ";
    if (!row || (first && last))
      sentence += constraint_name(c, rows);
    else
      sentence += (first ? (c.kind == constraint_kind::equality ? "E" : rows) + " rows " : "") +
                  std::to_string(c.index);
  }
  return sentence + " contradict each other";
}

}  // namespace detail
}  // namespace tabfit

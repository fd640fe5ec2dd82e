// ConjunctionGuide: asks the guide for linear programs about a conjunction of constraints.
#pragma once

#include <utility>
#include <vector>

#include "tarku/lp/guide.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/proof/refutation.h"
#include "tarku/smt/atoms.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class ConjunctionGuide {
 public:
  explicit ConjunctionGuide(const AtomTable& atoms)
      : atoms_(atoms), sides_(static_cast<std::size_t>(atoms.num_variables()) + 1, no_side) {}

  // Needs: it is the index of a bound.
  void add(int constraint);

  // Decides the conjunction of what was added; gives none when the guide cannot, or when there is none.
  lp::Outcome::Kind decide(const TerminationTest* test);

  // After feasible: by variable of the atom table.
  const std::vector<QNumber>& values() const { return values_; }
  // After infeasible: the constraints, with multipliers, whose sum is a contradiction.
  const std::vector<proof::Refutation::Summand>& conflict() const { return conflict_; }

 private:
  static constexpr int no_side = -1;

  int column_of(int variable);
  int row_of(int variable);
  void bound_above(lp::Side* side, const AtomTable::Bound& bound);
  void bound_below(lp::Side* side, const AtomTable::Bound& bound);
  void read_values(const lp::Outcome& outcome);
  void read_conflict(const lp::Outcome& outcome);
  bool keeps_apart() const;

  const AtomTable& atoms_;
  lp::LinearProgram program_;
  std::vector<int> sides_;  // by variable: its column, or for slack variables the row
  std::vector<int> disequalities_;
  std::vector<QNumber> values_;
  std::vector<proof::Refutation::Summand> conflict_;
};

}  // namespace tarku::smt

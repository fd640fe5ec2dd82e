// ConjunctionGuide: asks the guide for linear programs about a conjunction of constraints, which grows and shrinks.
#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tarku/lp/guide.h"
#include "tarku/lp/proposer.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/proof/refutation.h"
#include "tarku/smt/atoms.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class ConjunctionGuide {
 public:
  explicit ConjunctionGuide(const AtomTable& atoms) : atoms_(atoms) {}
  ConjunctionGuide(const ConjunctionGuide&) = delete;
  ConjunctionGuide& operator=(const ConjunctionGuide&) = delete;

  // All of these need: the constraint is the index of a bound.
  // What add will be called with, if it is known beforehand, is better told before the first question.
  void foresee(int constraint) { side_of(atoms_.bound_of(constraint).variable); }
  // False when it contradicts another one; the conflict is known then. It counts as added all the same.
  bool add(int constraint);
  void remove_last();
  // What was added so far stays; conflicts rest on it where they can. And: no longer so.
  void mark_permanent() { program_.mark_permanent(); }
  void forget_permanent() { program_.forget_permanent(); }

  // Decides the conjunction of what was added; gives none when the guide cannot, or when there is none.
  lp::Outcome::Kind decide(const TerminationTest* test);
  // Looks for a conflict, and gives none when there seems to be none.
  lp::Outcome::Kind look(const TerminationTest* test);

  // After look has found no conflict: whether it has seen others values than before.
  bool has_moved() const { return guide_ && guide_->has_moved(); }
  // Likewise: whether the rounded values that it has seen satisfy the constraint.
  bool seems_satisfied(int constraint);
  // Likewise: how far they put its variable above its bound.
  double distance(int constraint);

  // After feasible: by variable of the atom table.
  const std::vector<QNumber>& values() const { return values_; }
  // After infeasible: the constraints, with multipliers, whose sum is a contradiction.
  const std::vector<proof::Refutation::Summand>& conflict() const { return conflict_; }

 private:
  static constexpr int no_side = -1;
  struct Added {
    int constraint;
    lp::Side former;  // of its variable
  };

  struct LongRow {  // of the atom table, with the row of the program
    int index;
    int row;
    int column = no_side;  // equals the row, when others have it in them
  };

  struct Multiple {
    QNumber factor;
    std::vector<Monomial> rest;
  };

  int& known_side(int variable);
  int column_of(int variable);
  int row_of(int variable);
  std::vector<lp::Term> terms_of(const AtomTable::Row& row);
  std::optional<std::vector<lp::Term>> terms_with_another(const AtomTable::Row& row);
  std::optional<Multiple> as_multiple(const AtomTable::Row& row, const AtomTable::Row& base) const;
  int definition_of(LongRow& row);
  int side_of(int variable);
  int program_side(int variable);
  static void tighten(std::optional<lp::Bound>* end, const AtomTable::Bound& bound, bool is_upper);
  bool is_possible(const lp::Side& side);
  lp::Guide* guide();
  void read_values(const lp::Outcome& outcome);
  void read_conflict(const lp::Outcome& outcome);
  void add_summand(const lp::Side& side, bool is_upper, const QNumber& multiplier);
  bool keeps_apart() const;

  const AtomTable& atoms_;
  lp::LinearProgram program_;
  std::vector<LongRow> long_rows_;
  std::vector<int> sides_;  // by variable: its column, or for slack variables the row
  std::vector<Added> added_;
  std::unique_ptr<lp::Proposer> proposer_;  // of the program as it is; made when it is asked
  std::optional<lp::Guide> guide_;          // likewise
  std::vector<QNumber> values_;
  std::vector<proof::Refutation::Summand> conflict_;
};

}  // namespace tarku::smt

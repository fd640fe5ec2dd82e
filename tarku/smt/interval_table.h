// IntervalTable: the tightest bounds that hold for good, by variable, and the constraints that say them.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/refutation.h"
#include "tarku/smt/atoms.h"

namespace tarku::smt {

// Multiples of the variables of symbols, by variable; the constant is that of variable 0.
using VariableSum = std::map<int, QNumber>;

// Whether a constraint with this relation is a bound from above, or from below; an equality is both.
constexpr bool limits_above(Relation r) {
  return r == Relation::less || r == Relation::less_equal || r == Relation::equal;
}
constexpr bool limits_below(Relation r) {
  return r == Relation::greater || r == Relation::greater_equal || r == Relation::equal;
}

class IntervalTable {
 public:
  struct End {
    QNumber value;
    int constraint;
  };

  explicit IntervalTable(const AtomTable& atoms) : atoms_(atoms) {}

  // A constraint on a bound that holds.
  void hold(int constraint);
  // Empty when there is none.
  const std::optional<End>& end(int variable, bool is_upper) const;

  // What a variable stands for: itself, or the sum of its row.
  VariableSum sum_of_variable(int variable) const;
  // sum `relation` 0 is what the constraint says; the relation is its own.
  VariableSum sum_of(int constraint) const;
  // The greatest or the least value that the bounds on symbols allow; empty when they allow any.
  std::optional<QNumber> limit(const VariableSum& sum, bool is_upper) const;

 private:
  struct Interval {
    std::optional<End> lower, upper;
  };

  const AtomTable& atoms_;
  std::vector<Interval> intervals_;  // by variable
};

// Constraints that cannot hold together, being put together from a few and what the table knows.
class LemmaSum {
 public:
  LemmaSum(const AtomTable& atoms, const IntervalTable& table) : atoms_(atoms), table_(table) {}

  // Adds a multiple of what the constraint says is at most, or equal to, zero; a bound from below takes the opposite
  // factor.
  void add(int constraint, const QNumber& factor);
  // The multipliers, when the sum, with what bounds say of all symbols in it, is a contradiction. Empty otherwise.
  std::vector<proof::Refutation::Summand> finish();

 private:
  const AtomTable& atoms_;
  const IntervalTable& table_;
  VariableSum sum_;  // at most zero, or less, if all summands hold
  bool is_strict_ = false;
  bool is_possible_ = true;             // the factors have the right signs
  std::map<int, QNumber> multipliers_;  // by constraint
};

}  // namespace tarku::smt

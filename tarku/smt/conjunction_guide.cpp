// From constraints to a linear program, and back.
#include "tarku/smt/conjunction_guide.h"

#include <algorithm>
#include <memory>

#include "tarku/lp/proposer.h"

namespace tarku::smt {

namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

}  // namespace

void ConjunctionGuide::add(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  if (bound.relation == Relation::distinct) {
    disequalities_.push_back(constraint);
    return;
  }
  lp::Side& side = atoms_.row_of(bound.variable) < 0 ? program_.column(column_of(bound.variable))
                                                     : program_.row(row_of(bound.variable));
  if (bound.relation != Relation::greater && bound.relation != Relation::greater_equal) bound_above(&side, bound);
  if (bound.relation != Relation::less && bound.relation != Relation::less_equal) bound_below(&side, bound);
}

int ConjunctionGuide::column_of(int variable) {
  int& column = sides_[at(variable)];
  if (column == no_side) column = program_.add_column();
  return column;
}

int ConjunctionGuide::row_of(int variable) {
  if (sides_[at(variable)] != no_side) return sides_[at(variable)];
  const AtomTable::Row& row = atoms_.rows()[at(atoms_.row_of(variable))];
  const Monomial* monomials = atoms_.monomials(row);
  std::vector<lp::Term> terms;
  for (std::uint32_t i = 0; i < row.count; ++i) {
    terms.push_back({column_of(atoms_.find_variable(monomials[i].leaf)), monomials[i].coeff});
  }
  return sides_[at(variable)] = program_.add_row(std::move(terms));
}

void ConjunctionGuide::bound_above(lp::Side* side, const AtomTable::Bound& bound) {
  const bool is_strict = bound.relation == Relation::less;
  if (side->upper && !(bound.value < side->upper->value) &&
      !(is_strict && !side->upper->is_strict && bound.value == side->upper->value)) {
    return;
  }
  side->upper = lp::Bound{bound.value, is_strict, bound.constraint};
}

void ConjunctionGuide::bound_below(lp::Side* side, const AtomTable::Bound& bound) {
  const bool is_strict = bound.relation == Relation::greater;
  if (side->lower && !(side->lower->value < bound.value) &&
      !(is_strict && !side->lower->is_strict && bound.value == side->lower->value)) {
    return;
  }
  side->lower = lp::Bound{bound.value, is_strict, bound.constraint};
}

lp::Outcome::Kind ConjunctionGuide::decide(const TerminationTest* test) {
  const std::unique_ptr<lp::Proposer> proposer = lp::make_proposer(program_);
  if (proposer == nullptr) return lp::Outcome::Kind::none;
  const lp::Outcome outcome = lp::Guide(program_, *proposer).decide(test);
  if (outcome.kind == lp::Outcome::Kind::infeasible) read_conflict(outcome);
  if (outcome.kind != lp::Outcome::Kind::feasible) return outcome.kind;
  read_values(outcome);
  return keeps_apart() ? outcome.kind : lp::Outcome::Kind::none;
}

void ConjunctionGuide::read_values(const lp::Outcome& outcome) {
  values_.assign(sides_.size(), QNumber());
  for (std::size_t v = 1; v < sides_.size(); ++v) {
    const bool is_row = atoms_.row_of(static_cast<int>(v)) >= 0;
    if (sides_[v] == no_side) continue;
    values_[v] = outcome.values[at(is_row ? program_.num_columns() + sides_[v] : sides_[v])];
  }
}

// An equality takes part from one of its sides: from below it counts with the opposite sign.
void ConjunctionGuide::read_conflict(const lp::Outcome& outcome) {
  conflict_.clear();
  for (const lp::Summand& summand : outcome.conflict) {
    const lp::Side& side = program_.side(summand.side);
    const int constraint = (summand.is_upper ? side.upper : side.lower)->constraint;
    const bool is_turned = !summand.is_upper && atoms_.bound_of(constraint).relation == Relation::equal;
    conflict_.push_back(
        {constraint, proof::Refutation::Role::as_told, is_turned ? summand.multiplier.neg() : summand.multiplier});
  }
}

// A sum that nothing bounds has no value here, unless its symbols are evaluated.
bool ConjunctionGuide::keeps_apart() const {
  return std::none_of(disequalities_.begin(), disequalities_.end(), [this](int constraint) {
    const AtomTable::Bound& bound = atoms_.bound_of(constraint);
    const int row = atoms_.row_of(bound.variable);
    if (row < 0) return values_[at(bound.variable)] == bound.value;
    QNumber sum;
    const AtomTable::Row& terms = atoms_.rows()[at(row)];
    for (std::uint32_t i = 0; i < terms.count; ++i) {
      const Monomial& m = atoms_.monomials(terms)[i];
      sum.add_mul(m.coeff, values_[at(atoms_.find_variable(m.leaf))]);
    }
    return sum == bound.value;
  });
}

}  // namespace tarku::smt

// From constraints to a linear program, and back.
#include "tarku/smt/conjunction_guide.h"

#include <algorithm>
#include <utility>

namespace tarku::smt {

namespace {

// A row of so many terms is looked for in others.
constexpr std::uint32_t long_row = 16;
constexpr int no_constraint = 0;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

}  // namespace

bool ConjunctionGuide::add(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  const int s = program_side(bound.variable);
  lp::Side& side = program_.side(s);
  added_.push_back({constraint, side});
  if (bound.relation == Relation::distinct) return true;
  if (bound.relation != Relation::greater && bound.relation != Relation::greater_equal)
    tighten(&side.upper, bound, true);
  if (bound.relation != Relation::less && bound.relation != Relation::less_equal) tighten(&side.lower, bound, false);
  if (guide_) guide_->refresh(s);
  return is_possible(side);
}

void ConjunctionGuide::remove_last() {
  const AtomTable::Bound& bound = atoms_.bound_of(added_.back().constraint);
  const int s = program_side(bound.variable);
  program_.side(s) = std::move(added_.back().former);
  added_.pop_back();
  if (guide_ && bound.relation != Relation::distinct) guide_->refresh(s);
}

bool ConjunctionGuide::is_possible(const lp::Side& side) {
  if (!side.lower || !side.upper || side.lower->value < side.upper->value) return true;
  const bool is_strict = side.lower->is_strict || side.upper->is_strict;
  if (!is_strict && side.lower->value == side.upper->value) return true;
  conflict_.clear();
  add_summand(side, true, QNumber(1));
  add_summand(side, false, QNumber(1));
  return false;
}

int& ConjunctionGuide::known_side(int variable) {
  if (at(variable) >= sides_.size()) sides_.resize(std::max(at(variable) + 1, 2 * sides_.size()), no_side);
  return sides_[at(variable)];
}

// A program that has grown needs a new proposer.
int ConjunctionGuide::column_of(int variable) {
  if (known_side(variable) != no_side) return known_side(variable);
  guide_.reset();
  return known_side(variable) = program_.add_column();
}

int ConjunctionGuide::row_of(int variable) {
  if (known_side(variable) != no_side) return known_side(variable);
  const AtomTable::Row& row = atoms_.rows()[at(atoms_.row_of(variable))];
  const bool is_long = row.count >= long_row;
  std::optional<std::vector<lp::Term>> terms = is_long ? terms_with_another(row) : std::nullopt;
  const bool is_first = is_long && !terms;
  const int result = program_.add_row(terms ? std::move(*terms) : terms_of(row));
  if (is_first) long_rows_.push_back({atoms_.row_of(variable), result});
  guide_.reset();
  return known_side(variable) = result;
}

std::vector<lp::Term> ConjunctionGuide::terms_of(const AtomTable::Row& row) {
  const Monomial* monomials = atoms_.monomials(row);
  std::vector<lp::Term> terms;
  for (std::uint32_t i = 0; i < row.count; ++i) {
    terms.push_back({column_of(atoms_.find_variable(monomials[i].leaf)), monomials[i].coeff});
  }
  return terms;
}

// When the row is a multiple of a long one and little more: that. Programs get much smaller where several sums differ
// by a few terms.
std::optional<std::vector<lp::Term>> ConjunctionGuide::terms_with_another(const AtomTable::Row& row) {
  for (LongRow& other : long_rows_) {
    const AtomTable::Row& base = atoms_.rows()[at(other.index)];
    std::optional<Multiple> multiple = as_multiple(row, base);
    if (!multiple) continue;
    std::vector<lp::Term> terms;
    for (const Monomial& rest : multiple->rest) {
      terms.push_back({column_of(atoms_.find_variable(rest.leaf)), rest.coeff});
    }
    terms.push_back({definition_of(other), multiple->factor});
    return terms;
  }
  return std::nullopt;
}

// row = factor * base + rest, where factor is an integer, if the rest is short.
std::optional<ConjunctionGuide::Multiple> ConjunctionGuide::as_multiple(const AtomTable::Row& row,
                                                                        const AtomTable::Row& base) const {
  const Monomial *a = atoms_.monomials(row), *b = atoms_.monomials(base);
  const Monomial *const a_end = a + row.count, *const b_end = b + base.count;
  Multiple result;
  const std::size_t most = base.count / 4;
  while (a != a_end || b != b_end) {
    if (result.rest.size() > most) return std::nullopt;
    if (b == b_end || (a != a_end && a->leaf < b->leaf)) {
      result.rest.push_back(*a++);
    } else if (a == a_end || b->leaf < a->leaf) {
      return std::nullopt;
    } else {
      if (result.factor.is_zero()) result.factor = a->coeff / b->coeff;
      if (!result.factor.is_integer()) return std::nullopt;
      QNumber difference = a->coeff;
      difference.sub_mul(result.factor, b->coeff);
      if (!difference.is_zero()) result.rest.push_back({a->leaf, std::move(difference)});
      ++a;
      ++b;
    }
  }
  return result;
}

// A column that equals the row; no constraint has to say so.
int ConjunctionGuide::definition_of(LongRow& row) {
  if (row.column != no_side) return row.column;
  row.column = program_.add_definition(program_.terms(row.row));
  program_.set_terms(row.row, {{row.column, QNumber(1)}});
  return row.column;
}

int ConjunctionGuide::side_of(int variable) {
  return atoms_.row_of(variable) < 0 ? column_of(variable) : row_of(variable);
}

// Rows come after all columns, so this number holds until the program grows.
int ConjunctionGuide::program_side(int variable) {
  const int side = side_of(variable);
  return atoms_.row_of(variable) < 0 ? side : program_.num_columns() + side;
}

lp::Guide* ConjunctionGuide::guide() {
  if (!guide_) {
    proposer_ = lp::make_proposer(program_);
    if (proposer_ != nullptr) guide_.emplace(program_, *proposer_);
  }
  return guide_ ? &*guide_ : nullptr;
}

// Of two bounds on the same end the tighter one counts; a strict one is tighter than its value.
void ConjunctionGuide::tighten(std::optional<lp::Bound>* end, const AtomTable::Bound& bound, bool is_upper) {
  const bool is_strict = bound.relation == (is_upper ? Relation::less : Relation::greater);
  if (*end) {
    const int order = QNumber::compare(bound.value, (*end)->value) * (is_upper ? 1 : -1);
    if (order > 0 || (order == 0 && (!is_strict || (*end)->is_strict))) return;
  }
  *end = lp::Bound{bound.value, is_strict, bound.constraint};
}

lp::Outcome::Kind ConjunctionGuide::decide(const TerminationTest* test) {
  lp::Guide* const asked = guide();
  if (asked == nullptr) return lp::Outcome::Kind::none;
  const lp::Outcome outcome = asked->decide(test);
  if (outcome.kind == lp::Outcome::Kind::infeasible) read_conflict(outcome);
  if (outcome.kind != lp::Outcome::Kind::feasible) return outcome.kind;
  read_values(outcome);
  return keeps_apart() ? outcome.kind : lp::Outcome::Kind::none;
}

lp::Outcome::Kind ConjunctionGuide::look(const TerminationTest* test) {
  lp::Guide* const asked = guide();
  if (asked == nullptr) return lp::Outcome::Kind::none;
  const lp::Outcome outcome = asked->look(test);
  if (outcome.kind == lp::Outcome::Kind::infeasible) read_conflict(outcome);
  return outcome.kind;
}

double ConjunctionGuide::distance(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  const int s = program_side(bound.variable);
  return guide_ ? proposer_->value(s) - bound.value.to_double() : 0;
}

bool ConjunctionGuide::seems_satisfied(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  const double distance = this->distance(constraint);
  if (!guide_) return true;
  const double tolerance = bound.relation == Relation::less || bound.relation == Relation::greater ? 0 : 1e-9;
  const bool is_above = bound.relation == Relation::greater || bound.relation == Relation::greater_equal;
  return is_above ? distance >= -tolerance : distance <= tolerance;
}

void ConjunctionGuide::read_values(const lp::Outcome& outcome) {
  values_.assign(sides_.size(), QNumber());
  for (std::size_t v = 1; v < sides_.size(); ++v) {
    const bool is_row = atoms_.row_of(static_cast<int>(v)) >= 0;
    if (sides_[v] == no_side) continue;
    values_[v] = outcome.values[at(is_row ? program_.num_columns() + sides_[v] : sides_[v])];
  }
}

void ConjunctionGuide::read_conflict(const lp::Outcome& outcome) {
  conflict_.clear();
  for (const lp::Summand& summand : outcome.conflict) {
    const lp::Side& side = summand.is_permanent ? *program_.permanent(summand.side) : program_.side(summand.side);
    add_summand(side, summand.is_upper, summand.multiplier);
  }
}

// An equality takes part from one of its sides: from below it counts with the opposite sign.
void ConjunctionGuide::add_summand(const lp::Side& side, bool is_upper, const QNumber& multiplier) {
  const int constraint = (is_upper ? side.upper : side.lower)->constraint;
  if (constraint == no_constraint) return;  // what defines a column says nothing about symbols
  const bool is_turned = !is_upper && atoms_.bound_of(constraint).relation == Relation::equal;
  conflict_.push_back({constraint, proof::Refutation::Role::as_told, is_turned ? multiplier.neg() : multiplier});
}

bool ConjunctionGuide::keeps_apart() const {
  return std::none_of(added_.begin(), added_.end(), [this](const Added& added) {
    const AtomTable::Bound& bound = atoms_.bound_of(added.constraint);
    return bound.relation == Relation::distinct && values_[at(bound.variable)] == bound.value;
  });
}

}  // namespace tarku::smt

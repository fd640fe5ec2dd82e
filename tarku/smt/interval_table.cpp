#include "tarku/smt/interval_table.h"

#include <algorithm>
#include <cstddef>

namespace tarku::smt {

void IntervalTable::hold(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  const auto variable = static_cast<std::size_t>(bound.variable);
  if (variable >= intervals_.size()) intervals_.resize(std::max(variable + 1, 2 * intervals_.size()));
  std::optional<End>& upper = intervals_[variable].upper;
  std::optional<End>& lower = intervals_[variable].lower;
  if (limits_above(bound.relation) && (!upper || bound.value < upper->value)) upper = End{bound.value, constraint};
  if (limits_below(bound.relation) && (!lower || lower->value < bound.value)) lower = End{bound.value, constraint};
}

const std::optional<IntervalTable::End>& IntervalTable::end(int variable, bool is_upper) const {
  static const std::optional<End> none;
  const auto index = static_cast<std::size_t>(variable);
  if (index >= intervals_.size()) return none;
  return is_upper ? intervals_[index].upper : intervals_[index].lower;
}

VariableSum IntervalTable::sum_of_variable(int variable) const {
  VariableSum sum;
  const int row_index = atoms_.row_of(variable);
  if (row_index < 0) {
    sum[variable] = QNumber(1);
    return sum;
  }
  const AtomTable::Row& row = atoms_.rows()[static_cast<std::size_t>(row_index)];
  const Monomial* monomials = atoms_.monomials(row);
  for (std::uint32_t i = 0; i < row.count; ++i) sum[atoms_.find_variable(monomials[i].leaf)] = monomials[i].coeff;
  return sum;
}

VariableSum IntervalTable::sum_of(int constraint) const {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  VariableSum sum = sum_of_variable(bound.variable);
  if (!bound.value.is_zero()) sum[0] = bound.value.neg();
  return sum;
}

std::optional<QNumber> IntervalTable::limit(const VariableSum& sum, bool is_upper) const {
  QNumber result;
  for (const auto& [variable, factor] : sum) {
    if (variable == 0) {
      result += factor;
      continue;
    }
    const std::optional<End>& known = end(variable, is_upper != factor.is_negative());
    if (!known) return std::nullopt;
    result.add_mul(factor, known->value);
  }
  return result;
}

void LemmaSum::add(int constraint, const QNumber& factor) {
  const Relation relation = atoms_.bound_of(constraint).relation;
  const bool is_below = !limits_above(relation);
  if (!(factor.is_negative() ? limits_below(relation) : limits_above(relation))) {
    is_possible_ = false;
    return;
  }
  is_strict_ = is_strict_ || relation == Relation::less || relation == Relation::greater;
  for (const auto& [variable, coeff] : table_.sum_of(constraint)) sum_[variable].add_mul(factor, coeff);
  multipliers_[constraint] += is_below ? factor.neg() : factor;
}

std::vector<proof::Refutation::Summand> LemmaSum::finish() {
  const VariableSum rest = sum_;
  for (const auto& [variable, factor] : rest) {
    if (variable == 0 || factor.is_zero()) continue;
    const std::optional<IntervalTable::End>& end = table_.end(variable, factor.is_negative());
    if (!end) return {};
    add(end->constraint, factor.neg());
  }
  const QNumber& constant = sum_[0];
  if (!is_possible_ || constant.is_negative() || (constant.is_zero() && !is_strict_)) return {};
  std::vector<proof::Refutation::Summand> summands;
  for (const auto& [constraint, multiplier] : multipliers_) {
    if (!multiplier.is_zero()) summands.push_back({constraint, proof::Refutation::Role::as_told, multiplier});
  }
  return summands;
}

}  // namespace tarku::smt

#include "tarku/smt/simplex_arithmetic.h"

namespace tarku::smt {

// Null when there is none.
const la::DNumber* SimplexArithmetic::value_of(int variable) {
  if (!solver_.tableau_.is_eliminated(variable)) return solver_.cur_beta_.find(variable);
  return solver_.get_abstract_value(variable, &derived_) ? &derived_ : nullptr;
}

double SimplexArithmetic::distance(int constraint) {
  const auto found = solver_.constraints_.find(constraint);
  if (found == solver_.constraints_.end()) return 0;
  const la::DNumber* const value = value_of(found->second.var);
  return value == nullptr ? 0 : (value->real() - found->second.bound.real()).to_double();
}

bool SimplexArithmetic::is_satisfied(int constraint) {
  const auto found = solver_.constraints_.find(constraint);
  if (found == solver_.constraints_.end()) return true;
  const la::RangeConstraint& told = found->second;
  const la::DNumber* const value = value_of(told.var);
  if (value == nullptr) return true;
  const int order = la::cmp(*value, told.bound);
  switch (told.kind()) {
    case la::RANGE_LOWER:
      return order >= 0;
    case la::RANGE_UPPER:
      return order <= 0;
    case la::RANGE_EQUAL:
      return order == 0;
    default:
      return order != 0;
  }
}

}  // namespace tarku::smt

#include "tarku/smt/simplex_arithmetic.h"

namespace tarku::smt {

bool SimplexArithmetic::is_satisfied(int constraint) {
  const auto found = solver_.constraints_.find(constraint);
  if (found == solver_.constraints_.end()) return true;
  const la::RangeConstraint& told = found->second;
  const la::DNumber* value = solver_.tableau_.is_eliminated(told.var) ? nullptr : solver_.cur_beta_.find(told.var);
  la::DNumber derived;
  if (value == nullptr) {
    if (!solver_.get_abstract_value(told.var, &derived)) return true;
    value = &derived;
  }
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

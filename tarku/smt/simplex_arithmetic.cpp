#include "tarku/smt/simplex_arithmetic.h"

namespace tarku::smt {

bool SimplexArithmetic::is_satisfied(int constraint) {
  const auto found = solver_.constraints_.find(constraint);
  if (found == solver_.constraints_.end()) return true;
  const la::RangeConstraint& told = found->second;
  la::DNumber value;
  if (!solver_.get_abstract_value(told.var, &value)) return true;
  const int order = la::cmp(value, told.bound);
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

// Bound stacks: growth, look-up of the responsible constraint, text form.
#include "tarku/la/bounds.h"

#include <cstdlib>
#include <sstream>

namespace tarku::la {

VariableBounds::VariableBounds() {
  levels_.push_back(BoundElement{-1, false, DNumber::minus_inf, DNumber::plus_inf});
}

void VariableBounds::push_bounds(int c, bool is_upper, const DNumber& lower, const DNumber& upper) {
  // The handles are copied before the vector may move the level that they refer to.
  levels_.push_back(BoundElement{c, is_upper, lower, upper});
}

int VariableBounds::constraint_of(bool is_upper) const {
  for (auto level = levels_.rbegin(); level != levels_.rend(); ++level) {
    if (level->is_upper == is_upper) return level->constraint_index;
  }
  std::abort();
}

std::string VariableBounds::to_str() const {
  std::ostringstream out;
  out << "{ ";
  for (const BoundElement& level : levels_) {
    out << "<" << level.constraint_index << "," << (level.is_upper ? 1 : 0) << "," << level.lower.to_str() << ","
        << level.upper.to_str() << "> ; ";
  }
  out.seekp(-2, std::ios_base::cur);
  out << "}";
  return out.str();
}

}  // namespace tarku::la

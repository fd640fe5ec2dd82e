// The way from constraint indices back to what was asserted.
#include "tarku/smt/stated.h"

#include <algorithm>

namespace tarku::smt {

proof::Constraints::Meaning StatedConstraints::meaning(int constraint) {
  const AtomTable::Bound& bound = atoms_.bound_of(constraint);
  Meaning result{{}, bound.relation, bound.value};
  const int index = atoms_.row_of(bound.variable);
  if (index < 0) {
    result.terms.push_back({bound.variable, QNumber(1)});
    return result;
  }
  const AtomTable::Row& row = atoms_.rows()[static_cast<std::size_t>(index)];
  const Monomial* const monomials = atoms_.monomials(row);
  for (std::uint32_t i = 0; i < row.count; ++i) {
    result.terms.push_back({atoms_.find_variable(monomials[i].leaf), monomials[i].coeff});
  }
  return result;
}

}  // namespace tarku::smt

// The told constraints by index.
#include "tarku/proof/told_problem.h"

#include <utility>

#include "tarku/exception.h"

namespace tarku::proof {

void ToldProblem::add_equation(int constraint, std::vector<Monomial> terms) {
  told_[constraint] = {std::move(terms), Relation::equal, QNumber()};
  is_equation_[constraint] = true;
  equations_.reset();
}

void ToldProblem::add_bound(int constraint, int variable, Relation relation, const QNumber& value) {
  told_[constraint] = {{{variable, QNumber(1)}}, relation, value};
  is_equation_[constraint] = false;
}

void ToldProblem::remove(int constraint) {
  told_.erase(constraint);
  if (is_equation_[constraint]) equations_.reset();
  is_equation_.erase(constraint);
}

const Constraints::Meaning& ToldProblem::told(int constraint) const {
  const auto found = told_.find(constraint);
  if (found == told_.end()) throw Exception() << "constraint " << constraint << " is not told";
  return found->second;
}

EquationSpan& ToldProblem::equations() {
  if (!equations_) {
    equations_.emplace();
    for (const auto& [constraint, is_equation] : is_equation_) {
      if (is_equation) equations_->add(constraint, told_.at(constraint).terms);
    }
  }
  return *equations_;
}

}  // namespace tarku::proof

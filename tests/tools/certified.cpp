// Tells the told constraints to a problem of the library's, and the certificate to the checker.
#include "tests/tools/certified.h"

#include <exception>
#include <optional>
#include <stdexcept>

#include "tarku/proof/checker/checker.h"
#include "tarku/proof/refutation.h"
#include "tarku/proof/told_problem.h"
#include "tarku/smt/checking_sink.h"
#include "tests/tools/bridge.h"

namespace tarku::tester {

namespace {

// Nothing for bounds that are no constraints on rationals.
std::optional<proof::Relation> relation_of(const Model::ToldBound& told) {
  using proof::Relation;
  const int step = told.bound.delta == Rational(0) ? 0 : told.bound.delta == Rational(1) ? 1 : -1;
  if (!(told.bound.delta == Rational(step))) return {};
  switch (told.kind) {
    case kLower:
      if (step < 0) return {};
      return step == 0 ? Relation::greater_equal : Relation::greater;
    case kUpper:
      if (step > 0) return {};
      return step == 0 ? Relation::less_equal : Relation::less;
    case kEqual:
      if (step != 0) return {};
      return Relation::equal;
    case kDiseq:
      if (step != 0) return {};
      return Relation::distinct;
  }
  return {};
}

// False when some bound cannot be told.
bool tell(const Model& model, proof::ToldProblem* problem) {
  for (const auto& [c, told] : model.told_equations) {
    if (told.state != Model::EquationState::kInForce) continue;
    std::vector<proof::Monomial> terms;
    for (const Term& term : told.form) terms.push_back({term.var, to_library(term.coeff)});
    problem->add_equation(c, std::move(terms));
  }
  for (const auto& [c, told] : model.told_bounds) {
    const std::optional<proof::Relation> relation = relation_of(told);
    if (!relation) return false;
    problem->add_bound(c, told.var, *relation, to_library(told.bound.real));
  }
  return true;
}

}  // namespace

Certified certify(const proof::Proof& proof, const Model& model, int implied) {
  Certified result;
  proof::ToldProblem problem;
  if (!tell(model, &problem)) return result;
  result.is_expressible = true;
  try {
    const proof::Refutation refutation = proof::Refutation::of(proof, problem);
    for (const int c : refutation.constraints()) {
      if (c != implied && model.told_bounds.count(c) != 0 && !model.on_stack(c)) {
        throw std::runtime_error("constraint " + std::to_string(c) + " is not asserted");
      }
    }
    checker::Checker checker;
    smt::CheckingSink sink(checker);
    refutation.certify(0, problem, sink);
    if (!checker.is_finished()) throw std::runtime_error("the certificate has no end");
  } catch (const std::exception& error) {
    result.offence = error.what();
  }
  return result;
}

}  // namespace tarku::tester

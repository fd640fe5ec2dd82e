// ToldProblem: the constraints that an owner of la::Solver told it, for certificates of the proofs that it gives.
//
//   la::Solver solver(true, 0);              proof::ToldProblem problem;
//   solver.tell_equation(1, ...);            problem.add_equation(1, ...);
//   solver.tell_upper_bound(2, x, five);     problem.add_bound(2, x, Relation::less_equal, 5);
//   if (!solver.check(false)) {
//     proof::Ref proof(solver.get_conflict_proof());
//     proof::Refutation::of(*proof, problem).certify(0, problem, writer);
//   }
//
// Constraint indices are the sources of inputs, and variable 3 is named x3.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/proof/refutation.h"

namespace tarku::proof {

class ToldProblem : public Constraints {
 public:
  // sum of terms = 0; a variable that the equation defines is a term like the others, with its coefficient.
  void add_equation(int constraint, std::vector<Monomial> terms);
  void add_bound(int constraint, int variable, Relation relation, const QNumber& value);
  void remove(int constraint);  // told no longer

  Meaning meaning(int constraint) override { return told(constraint); }  // throws Exception when it is not told
  Relation relation(int constraint) override { return told(constraint).relation; }
  EquationSpan& equations() override;
  std::uint64_t source(int constraint) override { return static_cast<std::uint64_t>(constraint); }
  std::string real_name(int variable) override { return "x" + std::to_string(variable); }

 private:
  const Meaning& told(int constraint) const;

  std::map<int, Meaning> told_;
  std::map<int, bool> is_equation_;
  std::optional<EquationSpan> equations_;  // made when it is needed
};

}  // namespace tarku::proof

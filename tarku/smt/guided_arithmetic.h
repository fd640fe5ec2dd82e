// GuidedArithmetic: a search over formulas with the guide for linear programs.
//
// For problems whose numbers are so long that the exact simplex solver crawls. A partial check costs a few iterations
// with floating-point numbers, and only a conflict is computed exactly; so is the model at the end.
#pragma once

#include <optional>
#include <vector>

#include "tarku/smt/arithmetic.h"
#include "tarku/smt/conjunction_guide.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class GuidedArithmetic final : public Arithmetic {
 public:
  // What check throws when the guide can tell neither that the stack is consistent nor that it is not.
  struct Lost {};

  // Both must outlive this. `test`: polled.
  GuidedArithmetic(const AtomTable& atoms, const TerminationTest* test) : guide_(atoms), test_(test) {}

  void foresee(int constraint) { guide_.foresee(constraint); }
  bool push(int constraint) override { return guide_.add(constraint); }
  void pop() override { guide_.remove_last(); }
  void mark_permanent() override { guide_.mark_permanent(); }
  void forget_permanent() override { guide_.forget_permanent(); }
  bool check(bool is_complete) override;
  bool are_values_new() override { return guide_.has_moved(); }
  bool is_satisfied(int constraint) override { return guide_.seems_satisfied(constraint); }
  double distance(int constraint) override { return guide_.distance(constraint); }
  std::vector<int> conflict() override;
  proof::Refutation refutation(proof::Constraints& constraints) override {
    return proof::Refutation::of_sum(guide_.conflict(), constraints);
  }
  const std::vector<proof::Refutation::Summand>& conflict_sum() const { return guide_.conflict(); }
  std::optional<Implication> next_implication(bool) override { return std::nullopt; }

  // After a complete check has answered true: by variable of the atom table.
  const std::vector<QNumber>& values() const { return guide_.values(); }

 private:
  ConjunctionGuide guide_;
  const TerminationTest* test_;
};

}  // namespace tarku::smt

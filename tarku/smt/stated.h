// StatedConstraints: the constraints of an engine in the words of its assertions, for certificates.
//
// The solver knows bounds on its own variables, shifted by offsets and with the permanent equalities solved away. What
// was asserted is a constraint over symbols; this is where the way back is.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tarku/proof/equation_span.h"
#include "tarku/proof/refutation.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

class StatedConstraints : public proof::Constraints {
 public:
  // `assertion_of` tells which assertion says a constraint. Both tables must outlive this.
  StatedConstraints(const TermManager& terms, const AtomTable& atoms, std::function<int(int)> assertion_of)
      : terms_(terms), atoms_(atoms), assertion_of_(std::move(assertion_of)) {}

  // Of an equality that was solved away, in the order of the pivots.
  void add_equation(int constraint, int unknown) { equations_.add(constraint, meaning(constraint).terms, unknown); }

  Meaning meaning(int constraint) override;
  proof::Relation relation(int constraint) override { return atoms_.bound_of(constraint).relation; }
  proof::EquationSpan& equations() override { return equations_; }
  std::uint64_t source(int constraint) override { return static_cast<std::uint64_t>(assertion_of_(constraint)); }
  std::string real_name(int variable) override { return terms_.name(atoms_.symbol(variable)); }

 private:
  const TermManager& terms_;
  const AtomTable& atoms_;
  std::function<int(int)> assertion_of_;
  proof::EquationSpan equations_;
};

}  // namespace tarku::smt

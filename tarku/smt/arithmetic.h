// Arithmetic: the theory's side of a search over formulas: a stack of constraints, and whether they are consistent.
#pragma once

#include <optional>
#include <vector>

#include "tarku/proof/proof.h"
#include "tarku/proof/refutation.h"

namespace tarku::smt {

class Arithmetic {
 public:
  virtual ~Arithmetic() = default;

  // False when the constraint contradicts those below at once. It counts as pushed all the same.
  virtual bool push(int constraint) = 0;
  virtual void pop() = 0;

  // What is on the stack stays there; conflicts rest on it where they can. And: no longer so.
  virtual void mark_permanent() {}
  virtual void forget_permanent() {}

  // False when the stack is inconsistent; only with `is_complete` does true say that it is consistent.
  virtual bool check(bool is_complete) = 0;

  // After check has answered true: whether its values are so much others than those of the check before that decisions
  // should follow them.
  virtual bool are_values_new() = 0;
  // Likewise: whether the values that it has found satisfy the constraint. A hint, no more.
  virtual bool is_satisfied(int constraint) = 0;
  // Likewise: how far, about, they put its variable above its bound.
  virtual double distance(int constraint) = 0;

  // After push or check has answered false.
  virtual std::vector<int> conflict() = 0;
  virtual proof::Refutation refutation(proof::Constraints& constraints) = 0;

  // A constraint that the stack implies, with the constraints that imply it and, when it is wanted, a proof.
  struct Implication {
    int constraint;
    std::vector<int> reason;
    proof::Ref proof;
  };
  // Empty when there is none (any more).
  virtual std::optional<Implication> next_implication(bool is_proof_wanted) = 0;
};

}  // namespace tarku::smt

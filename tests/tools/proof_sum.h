// Adds up the linear combinations of proof objects.
//
// Every arithmetic proof is a sum of bounds with multipliers that must not be negative. Written as form <= bound, the
// sum of a refutation is 0 <= b with b < 0 once the equations have cancelled the form.
#pragma once

#include <set>
#include <string>

#include "tarku/proof/proof.h"
#include "tests/tools/model.h"

namespace tarku::tester {

// Ways to misread a proof, for testing that wrong proofs are noticed.
enum class Misreading { kNone, kFlippedSide, kLostStrictness };

class ProofSummer {
 public:
  explicit ProofSummer(const Model& model, Misreading misreading = Misreading::kNone)
      : model_(model), misreading_(misreading) {}

  // Each gives what is wrong with the proof, empty when it is right.
  std::string check_conflict(const proof::Proof* proof);
  std::string check_implication(const proof::Proof* proof, int implied);

  // The constraints that the proofs rest on.
  const std::set<int>& leaves() const { return leaves_; }

 private:
  // form <= bound
  struct Sum {
    Form form;
    Value bound;
  };
  // Each throws std::runtime_error when the node is malformed.
  Sum add_up(const proof::Proof* proof);
  Sum read_leaf(int index, int side);
  void check_refutation(const proof::Proof* proof);
  void check_entailment(const Sum& sum, int implied) const;

  const Model& model_;
  Misreading misreading_;
  std::set<int> leaves_;
  int split_ = -1;      // the disequality whose side is being refuted
  int split_side_ = 0;  // the side that its leaves must have
};

}  // namespace tarku::tester

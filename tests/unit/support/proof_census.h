// Compares the reference count of every proof node in sight with the references that there really are.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarku/la/la_proof.h"
#include "tarku/la/lasolver.h"

namespace tarku::test {

// The references that holders have and those that nodes have to their premises, counted by walking from the former.
class ProofCensus {
 public:
  // One reference that somebody holds; null is none.
  void hold(const proof::Proof* node) {
    if (node == nullptr) return;
    if (++expected_[node] == 1) walk(node);
  }

  // Every reference that a solver owns.
  void hold_roots(const la::Solver& solver) {
    hold(solver.conflict_proof_);
    hold(solver.failed_proof_);
    for (const auto& leaf : solver.hyp_proofs_) hold(leaf.second);
    for (const auto& implication : solver.implication_proofs_) hold(implication.second);
  }

  std::size_t size() const { return expected_.size(); }

  // The first node whose count is not what was found; empty when there is none.
  std::string offence() const {
    for (const auto& [node, count] : expected_) {
      if (node->count() != count) return describe(node, count);
    }
    return {};
  }

 private:
  void walk(const proof::Proof* root) {
    std::vector<const proof::Proof*> fresh{root};
    while (!fresh.empty()) {
      const proof::Proof* node = fresh.back();
      fresh.pop_back();
      for (const proof::Proof* premise : premises(node)) {
        if (premise != nullptr && ++expected_[premise] == 1) fresh.push_back(premise);
      }
    }
  }

  static std::vector<const proof::Proof*> premises(const proof::Proof* node) {
    if (const auto* sum = dynamic_cast<const la::LaComb*>(node)) return {sum->premise1(), sum->premise2()};
    if (const auto* implication = dynamic_cast<const la::LaCombImp*>(node)) return {implication->premise()};
    if (const auto* split = dynamic_cast<const la::LaNeq*>(node)) return {split->less(), split->greater()};
    return {};
  }

  static std::string describe(const proof::Proof* node, std::uint32_t count) {
    std::ostringstream text;
    text << (dynamic_cast<const la::LaHyp*>(node) != nullptr       ? "leaf"
             : dynamic_cast<const la::LaComb*>(node) != nullptr    ? "combination"
             : dynamic_cast<const la::LaCombImp*>(node) != nullptr ? "implication"
                                                                   : "split");
    if (const auto* leaf = dynamic_cast<const la::LaHyp*>(node)) text << " of c" << leaf->index();
    text << " counts " << node->count() << " references instead of " << count;
    return text.str();
  }

  std::unordered_map<const proof::Proof*, std::uint32_t> expected_;
};

// Of a solver, and of the references that a test holds besides.
inline std::string proof_offence(const la::Solver& solver, const std::vector<const proof::Proof*>& held = {}) {
  ProofCensus census;
  census.hold_roots(solver);
  for (const proof::Proof* node : held) census.hold(node);
  return census.offence();
}

}  // namespace tarku::test

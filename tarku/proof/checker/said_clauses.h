// SaidClauses: which clauses a formula says.
//
// A formula says its conjuncts: itself, and those of its arguments when it is a conjunction. Each is a clause: the set
// of its disjuncts, which are those of its arguments when it is a disjunction, and itself otherwise. All formulas are
// resolved before they are compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarku/proof/checker/formula.h"

namespace tarku::checker {

class SaidClauses {
 public:
  explicit SaidClauses(FormulaTable* formulas) : formulas_(*formulas) {}

  // Why the clause, given by its literals' meanings, is none of those that `formula` says, up to order, repetition and
  // constants; empty when it is one. A formula that is false says every clause, and a clause with a literal that is
  // true is said by every formula. Cost: that of the clause, and once for each formula that of its clauses.
  std::string why_not(Formula formula, const std::vector<Formula>& clause);

 private:
  struct Conjuncts {
    std::vector<std::pair<std::uint64_t, Formula>> clauses;  // with the hash of the disjuncts; ordered
    bool is_false = false;                                   // one of them is
  };

  const Conjuncts& conjuncts_of(Formula formula);
  void collect(Formula formula, Conjuncts* conjuncts);
  bool take_apart(std::vector<Formula> open, std::vector<Formula>* disjuncts);

  FormulaTable& formulas_;
  std::unordered_map<std::uint32_t, Conjuncts> known_;  // by code, of conjunctions
  Conjuncts single_;                                    // of the latest formula that is no conjunction
};

}  // namespace tarku::checker

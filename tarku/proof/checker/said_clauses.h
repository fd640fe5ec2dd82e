// SaidClauses: which clauses a formula says.
//
// A formula says its conjuncts: those of a conjunction are the conjuncts of its arguments, and any other formula is its
// own. A conjunct is a clause when it is a literal or a disjunction of such, nested in any way.
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

  // Why the clause is none of the conjuncts of `formula`, up to order, repetition and constants among its literals;
  // empty when it is one. A formula that is false says every clause.
  // Needs: literals and constants. Cost: that of the clause, and once for each formula that of its clauses.
  std::string why_not(Formula formula, std::vector<Formula> clause);

 private:
  enum class Shape : std::uint8_t { clause, constantly_true, other };

  struct Conjuncts {
    std::vector<std::pair<std::uint64_t, Formula>> clauses;  // with the hash of the literals; ordered
    std::size_t num_others = 0;                              // conjuncts that are no clauses
    bool is_false = false;                                   // one of them is
  };

  const Conjuncts& conjuncts_of(Formula formula);
  void collect(Formula formula, Conjuncts* conjuncts);
  Shape take_apart(Formula conjunct, std::vector<Formula>* literals);

  FormulaTable& formulas_;
  std::unordered_map<std::uint32_t, Conjuncts> known_;  // by code, of conjunctions
  Conjuncts single_;                                    // of the latest formula that is no conjunction
};

}  // namespace tarku::checker

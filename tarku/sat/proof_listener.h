// ProofListener: hears every clause that a SAT solver has, and why it may have it.
//
// Clauses carry ids that ascend strictly, over all kinds. Those given by the owner and by the theory are taken as they
// are; each other one follows from earlier ones by unit propagation: with all its literals false, the antecedents in
// their order each have no literal that is true, and at most one that is not false, which then becomes true; in the
// last one all literals are false.
#pragma once

#include <cstdint>
#include <vector>

#include "tarku/sat/literal.h"

namespace tarku::sat {

using ClauseId = std::uint64_t;

// Calls that throw are passed on: the exception leaves the Solver call in progress once that call's work is done. What
// was heard is incomplete then, and nothing more is told.
class ProofListener {
 public:
  virtual ~ProofListener() = default;

  // A clause of the owner, during the Solver::add_clause that brings it.
  virtual void add_input(ClauseId id, const Clause& clause) = 0;

  // A clause of the theory, right after the Theory::next_clause or explain that made it, before the theory is asked
  // anything else. Literals are sorted and each is there once. A clause that the SAT solver has no use for is not told.
  // One in place of an explanation that threw says that the whole stack implies the literal.
  virtual void add_theory(ClauseId id, const Clause& clause) = 0;

  virtual void add_derived(ClauseId id, const Clause& clause, const std::vector<ClauseId>& antecedents) = 0;

  // The clause is no antecedent of anything to come.
  virtual void remove(ClauseId id) = 0;

  // Solver::solve or simplify is about to answer unsat. Each clause named is empty, or holds negations of assumptions
  // only. None is named when two assumptions contradict each other.
  virtual void conclude(const std::vector<ClauseId>& ids) = 0;
};

}  // namespace tarku::sat

// Flattening: takes a formula apart into literals, by polarity, as far as it is a conjunction of them.
//
// Constants are folded on the way, so (or false p) is p and (=> true (and p q)) is two literals. What remains
// disjunctive is handed on as it stands. The walk keeps its own stack and meets a shared subterm once per polarity.
#pragma once

#include "tarku/smt/atoms.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

// Receives the conjuncts of a formula, from left to right.
class LiteralSink {
 public:
  virtual ~LiteralSink() = default;
  virtual void boolean_literal(Term symbol, bool value) = 0;
  virtual void linear_literal(Term atom, Term left, Relation relation, Term right) = 0;  // `atom`: where it stands
  virtual void falsity() = 0;                          // a conjunct that is false by itself
  virtual void formula(Term term, bool polarity) = 0;  // a conjunct that is no literal
};

// Hands the conjuncts of `formula` (of sort Bool) to `sink`.
void flatten(const TermManager& terms, Term formula, LiteralSink& sink);

}  // namespace tarku::smt

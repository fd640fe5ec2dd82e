// ClauseSink: who gets the clauses that formulas are turned into, and what the variables in them mean.
//
// Literals are propositional variables, from 1, with the sign of their truth. Each clause comes with what it rests on,
// so that a certificate can be made of it.
#pragma once

#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

using Clause = std::vector<int>;

class ClauseSink {
 public:
  virtual ~ClauseSink() = default;

  virtual int new_variable() = 0;
  virtual int new_observed_variable() = 0;  // of an atom that the theory is to see

  // ---- what a variable stands for; said before the first clause that holds it ----
  virtual void symbol(int variable, Term symbol) = 0;
  // Constraint indices of the atom and of its negation. When the variable is not observed, clauses say all about it.
  virtual void atom(int variable, int when_true, int when_false) = 0;
  virtual void conjunction(int variable, const Clause& args) = 0;
  virtual void equivalence(int variable, int a, int b) = 0;
  virtual void choice(int variable, int condition, int yes, int no) = 0;
  // The Real variable of an `ite` term.
  virtual void conditional(int real_variable, Term term, int condition) = 0;

  // ---- clauses ----
  // Follows from what the gate `variable` stands for.
  virtual void gate_clause(int variable, const Clause& clause) = 0;
  // Follows from what the Real variable of an `ite` stands for: the condition selects a branch, which it equals.
  virtual void conditional_clause(int real_variable, const Clause& clause) = 0;
  // Says that `atom`, in which the Real variable of an `ite` occurs, agrees with `case_literal` when `selector` is
  // true: that is the atom with the selected branch put in the variable's place.
  virtual void case_clause(int atom, int real_variable, int selector, int case_literal, const Clause& clause) = 0;
  // Holds by arithmetic: the multipliers of the negated literals.
  virtual void farkas_clause(const Clause& clause, const std::vector<QNumber>& multipliers) = 0;
  // An equality, less, greater.
  virtual void split_clause(const Clause& clause) = 0;
};

}  // namespace tarku::smt

// Checker: judges the steps of a certificate one by one, whatever form they come in.
//
// A certificate shows that inputs, which are clauses, are unsatisfiable together. Its literals are propositional
// variables. Some stand for linear constraints, and some are gates, which stand for formulas over earlier ones. A Real
// variable may be conditional: it stands for one of two sums. Every clause that is accepted follows from the inputs:
//
//   input    is one of them; with assertions to compare it with, one of them says it
//   gate     holds by what a gate stands for: with its literals false, the gate and its formula differ
//   branch   holds by what a conditional variable stands for: under its condition, it is the one sum or the other
//   farkas   holds by arithmetic: its negated literals, multiplied and added up, say 0 < 0 or worse
//   split    holds by arithmetic: a value is less than, equal to or greater than another
//   rup      follows from clauses that are named: with its literals false, these become unit one by one and then false
//
// so an accepted empty clause shows what is to be shown. Only this file and its source, the
// vocabulary, the numbers and the little table of clauses need to be right for that; with a script also its reader and
// the tables of formulas.
//
// A step that is refused throws Refused, which says why, and leaves the checker as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/assertions.h"
#include "tarku/proof/checker/clause_store.h"
#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/refused.h"
#include "tarku/proof/checker/vocabulary.h"

namespace tarku::checker {

using ClauseId = std::uint64_t;

constexpr ClauseId max_clause_id = ClauseId{1} << 62;

class Checker {
 public:
  // assertions: may be null, then inputs are taken as they are given; must outlive the checker.
  explicit Checker(Assertions* assertions = nullptr) : assertions_(assertions), vocabulary_(assertions) {}
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  // ---- what the certificate is about, and what its variables mean ----
  void begin(std::uint64_t check);
  void declare_real(int variable, std::string_view symbol);
  void declare_bool(int variable, std::string_view symbol);
  void define_atom(int variable, const std::vector<Monomial>& terms, Relation relation, const Number& constant);
  // Gates: the variable stands for the conjunction of literals, the equivalence of two, or a choice between two.
  void define_conjunction(int variable, const std::vector<Literal>& args);
  void define_equivalence(int variable, Literal a, Literal b);
  void define_choice(int variable, Literal condition, Literal yes, Literal no);
  // The Real variable stands for `yes` when the condition is true, and for `no` when it is false.
  void define_conditional(int variable, Literal condition, const Sum& yes, const Sum& no);

  // ---- clauses; ids ascend ----
  void add_input(ClauseId id, Source source, const std::vector<Literal>& literals);
  void add_gate(ClauseId id, int variable, const std::vector<Literal>& literals);
  void add_branch(ClauseId id, int variable, const std::vector<Literal>& literals);  // of a Real variable
  void add_farkas(ClauseId id, const std::vector<Literal>& literals, const std::vector<Number>& multipliers);
  void add_split(ClauseId id, const std::vector<Literal>& literals);
  void add_rup(ClauseId id, const std::vector<Literal>& literals, const std::vector<ClauseId>& antecedents);
  void remove(const std::vector<ClauseId>& ids);

  // The clause is empty: nothing may follow.
  void finish(ClauseId id);
  // Another certificate may follow, which rests on the declarations and on the clauses that are not removed.
  void reopen() { finished_ = false; }

  // ---- what was accepted so far ----
  bool is_finished() const { return finished_; }
  std::uint64_t check() const { return check_; }
  std::size_t num_inputs() const { return num_inputs_; }
  std::size_t num_gate_clauses() const { return num_gate_clauses_; }
  std::size_t num_branches() const { return num_branches_; }
  std::size_t num_combinations() const { return num_combinations_; }
  std::size_t num_splits() const { return num_splits_; }
  std::size_t num_derived() const { return num_derived_; }

 private:
  class Assignment;

  void require_unfinished() const;
  void require_new_clause(ClauseId id) const;
  Words clause(ClauseId id) const;
  void add_clause(ClauseId id, std::vector<std::uint32_t> codes);
  std::string named(std::uint32_t code) const;

  void deny(const std::vector<std::uint32_t>& codes, Assignment* assignment) const;
  bool propagate(ClauseId id, Assignment* assignment) const;
  std::optional<bool> value(const Vocabulary::Proposition& gate, const std::vector<std::uint32_t>& denied,
                            const Assignment& assignment) const;

  bool is_implied(std::uint32_t code, const Vocabulary::Equation& equation) const;
  void add_multiple(std::uint32_t code, const Number& multiplier);
  void require_contradiction() const;
  std::string remaining_terms() const;

  Assertions* assertions_;
  bool begun_ = false;
  bool finished_ = false;
  std::uint64_t check_ = 0;
  ClauseId last_id_ = 0;

  Vocabulary vocabulary_;
  ClauseStore clauses_;  // of codes

  // The sum that a combination comes to: sum_ <= bound_, or < when it is strict. Valid during add_farkas.
  std::vector<Number> sum_;            // by index of the Real variable
  std::vector<std::uint32_t> summed_;  // the indices at which sum_ may not be zero
  Number bound_ = 0;
  bool is_strict_ = false;

  std::vector<std::uint8_t> is_true_;  // by code; valid during add_rup and add_gate, nothing is true otherwise

  std::size_t num_inputs_ = 0, num_gate_clauses_ = 0, num_branches_ = 0;
  std::size_t num_combinations_ = 0, num_splits_ = 0, num_derived_ = 0;
};

}  // namespace tarku::checker

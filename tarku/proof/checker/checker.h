// Checker: judges the steps of a certificate one by one, whatever form they come in.
//
// A certificate shows that inputs, which are clauses, are unsatisfiable together. Its literals are propositional
// variables, some of which stand for linear constraints. Every clause that is accepted follows from the inputs:
//
//   input    is one of them; with assertions to compare it with, one of them says it
//   farkas   holds by arithmetic: its negated literals, multiplied and added up, say 0 < 0 or worse
//   split    holds by arithmetic: a value is less than, equal to or greater than another
//   rup      follows from clauses that are named: with its literals false, these become unit one by one and then false
//
// so an accepted empty clause shows what is to be shown. Only this file and its source, the numbers and the little
// tables of clauses and variables need to be right for that; with a script also its reader and the tables of formulas.
//
// A step that is refused throws Refused, which says why, and leaves the checker as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarku/proof/checker/clause_store.h"
#include "tarku/proof/checker/formula.h"
#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/refused.h"
#include "tarku/proof/checker/variable_map.h"

namespace tarku::checker {

using Literal = int;  // a propositional variable, or minus one
using ClauseId = std::uint64_t;
using Source = std::uint64_t;

constexpr int max_variable = 1 << 30;
constexpr ClauseId max_clause_id = ClauseId{1} << 62;

struct Monomial {
  Number coefficient;
  int variable;  // a Real one
};

// What inputs are compared with. Meanings are formulas and terms of the table that the assertions own.
class Assertions {
 public:
  virtual ~Assertions() = default;

  virtual FormulaTable& formulas() = 0;
  // All that follows is about this check. Throws Refused when there is none of this number.
  virtual void expect(std::uint64_t check) = 0;
  // What a variable of the certificate stands for at that check. Throw Refused when the symbol, given without bars, is
  // none of that sort.
  virtual RealTerm real_symbol(int variable, std::string_view symbol) = 0;
  virtual Formula bool_symbol(int variable, std::string_view symbol) = 0;
  // Why the assertion does not say the clause at that check; empty when it does.
  virtual std::string why_not(Source source, const std::vector<Formula>& clause) = 0;
};

class Checker {
 public:
  // assertions: may be null, then inputs are taken as they are given; must outlive the checker.
  explicit Checker(Assertions* assertions = nullptr) : assertions_(assertions) {}
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;

  // ---- what the certificate is about, and what its variables mean ----
  void begin(std::uint64_t check);
  void declare_real(int variable, std::string_view symbol);
  void declare_bool(int variable, std::string_view symbol);
  void define_atom(int variable, const std::vector<Monomial>& terms, Relation relation, const Number& constant);

  // ---- clauses; ids ascend ----
  void add_input(ClauseId id, Source source, const std::vector<Literal>& literals);
  void add_farkas(ClauseId id, const std::vector<Literal>& literals, const std::vector<Number>& multipliers);
  void add_split(ClauseId id, const std::vector<Literal>& literals);
  void add_rup(ClauseId id, const std::vector<Literal>& literals, const std::vector<ClauseId>& antecedents);
  void remove(const std::vector<ClauseId>& ids);

  // The clause is empty: nothing may follow.
  void finish(ClauseId id);

  // ---- what was accepted so far ----
  bool is_finished() const { return finished_; }
  std::uint64_t check() const { return check_; }
  std::size_t num_inputs() const { return num_inputs_; }
  std::size_t num_combinations() const { return num_combinations_; }
  std::size_t num_splits() const { return num_splits_; }
  std::size_t num_derived() const { return num_derived_; }

 private:
  struct Real {
    int variable;
    std::string symbol;
    RealTerm meaning;  // with assertions, once begun
  };
  struct Term {  // of an atom
    std::uint32_t real;
    Number coefficient;
  };
  struct Proposition {
    int variable;
    bool is_atom = false;
    bool has_meaning = false;
    Formula meaning;     // with assertions: of a symbol once begun, of an atom once an input holds it
    std::string symbol;  // of a symbol; the rest is of an atom
    Relation relation = Relation::equal;
    std::size_t first_term = 0, end_term = 0;  // in terms_, ordered by variable
    Number constant = 0;
  };
  class Assignment;

  void require_unfinished() const;
  void require_new_proposition(int variable) const;
  void require_new_clause(ClauseId id) const;
  std::uint32_t index_of_real(int variable) const;
  void add_proposition(Proposition proposition);
  std::vector<std::uint32_t> codes_of(const std::vector<Literal>& literals) const;
  const Proposition& proposition(std::uint32_t code) const { return propositions_[code >> 1]; }
  Literal literal(std::uint32_t code) const;
  Formula meaning(std::uint32_t code);
  Words clause(ClauseId id) const;
  void add_clause(ClauseId id, std::vector<std::uint32_t> codes);

  void add_multiple(std::uint32_t code, const Number& multiplier);
  void require_contradiction() const;
  std::string remaining_terms() const;
  Number ratio(const Proposition& a, const Proposition& b) const;
  bool propagate(ClauseId id, Assignment* assignment) const;

  Assertions* assertions_;
  bool begun_ = false;
  bool finished_ = false;
  std::uint64_t check_ = 0;
  ClauseId last_id_ = 0;

  VariableMap real_index_, proposition_index_;
  std::vector<Real> reals_;
  std::vector<Proposition> propositions_;
  std::vector<Term> terms_;  // of all atoms, one after the other
  ClauseStore clauses_;      // literals are codes: twice the index of the proposition, plus 1 when negated

  // The sum that a combination comes to: sum_ <= bound_, or < when it is strict. Valid during add_farkas.
  std::vector<Number> sum_;            // by index of the Real variable
  std::vector<std::uint32_t> summed_;  // the indices at which sum_ may not be zero
  Number bound_ = 0;
  bool is_strict_ = false;

  std::vector<std::uint8_t> is_true_;  // by code of a literal; valid during add_rup, and nothing is true otherwise

  std::size_t num_inputs_ = 0, num_combinations_ = 0, num_splits_ = 0, num_derived_ = 0;
};

}  // namespace tarku::checker

// FormulaTable: formulas over Bool symbols and linear constraints, each kept once and with its constants folded away.
//
// A node is true, a symbol, an atom, a conjunction, an equivalence or an `ite`; a formula is a node or its negation.
// Everything that scripts can say is built from these: (or a b) is the negation of a conjunction of negations, a chain
// of comparisons the conjunction of its links.
//
// An atom is a sum of leaves `<`, `<=` or `=` a number, scaled so that the first coefficient is 1. So
// 2x <= 2, -x >= -1, x <= 1 and (not (> x 1)) are one and the same formula. Atoms without leaves are true or false.
// A comparison of terms that have not been multiplied out stays what it is until someone asks what atom it is, so that
// the table never holds more than a script's DAG and what was asked about.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "tarku/proof/checker/handles.h"
#include "tarku/proof/checker/interner.h"
#include "tarku/proof/checker/number.h"
#include "tarku/proof/checker/real_terms.h"

namespace tarku::checker {

class FormulaTable {
 public:
  FormulaTable();
  FormulaTable(const FormulaTable&) = delete;
  FormulaTable& operator=(const FormulaTable&) = delete;

  RealTable& reals() { return reals_; }
  const RealTable& reals() const { return reals_; }

  // ---- over formulas; negation is Formula's own operator ----
  Formula symbol();  // a fresh one
  Formula conjunction(std::vector<Formula> args);
  Formula disjunction(std::vector<Formula> args);
  Formula implication(std::vector<Formula> args);              // right associative; needs one or more
  Formula exclusive_or(const std::vector<Formula>& args);      // left associative
  Formula equivalence(const std::vector<Formula>& args);       // chained
  Formula distinct(const std::vector<Formula>& args);          // pairwise
  Formula choice(Formula condition, Formula yes, Formula no);  // `ite`

  // ---- over Real terms ----
  Formula comparison(Relation relation, const std::vector<RealTerm>& args);  // chained
  Formula distinct(const std::vector<RealTerm>& args);                       // pairwise
  // `form relation 0`, over leaves of reals().
  Formula atom(LinearForm form, Relation relation);

  // ---- looking into them ----
  enum Kind : std::uint32_t {
    truth,
    symbol_node,
    atom_node,
    comparison_node,  // an atom to be
    conjunction_node,
    equivalence_node,
    choice_node
  };
  Kind kind(Formula f) const;
  bool is_conjunction(Formula f) const { return kind(f) == conjunction_node && !f.is_negated(); }
  bool is_disjunction(Formula f) const { return kind(f) == conjunction_node && f.is_negated(); }
  // A symbol, an atom, or the negation of one.
  bool is_literal(Formula f) const { return kind(f) == symbol_node || kind(f) == atom_node; }
  // The formula, or the atom or constant that it comes to when it is a comparison or the negation of one.
  Formula resolve(Formula f);
  // The number of arguments of a conjunction, an equivalence or a choice, and each of them.
  std::size_t num_args(Formula f) const;
  Formula arg(Formula f, std::size_t i) const;
  std::size_t size() const { return nodes_.size(); }

 private:
  Formula equivalent(Formula a, Formula b);
  Formula compare(Relation relation, RealTerm a, RealTerm b);
  Formula node(const std::vector<std::uint32_t>& words);

  RealTable reals_;
  SequenceTable nodes_;  // kind and: serial number | relation, constant, form | relation and two terms | arguments
  SequenceTable forms_;  // leaf and coefficient in turn
  std::unordered_map<std::uint32_t, Formula> resolved_;  // by node of a comparison
  std::uint32_t num_symbols_ = 0;
};

}  // namespace tarku::checker

// FormulaTable: formulas over Bool symbols and linear constraints, each kept once and with its constants folded away.
//
// A node is true, a symbol, an atom, a conjunction, an equivalence or an `ite`; a formula is a node or its negation.
// Everything that scripts can say is built from these: (or a b) is the negation of a conjunction of negations, a chain
// of comparisons the conjunction of its links.
//
// An atom is a sum of leaves `<`, `<=` or `=` a number, scaled so that the first coefficient is 1. So
// 2x <= 2, -x >= -1, x <= 1 and (not (> x 1)) are one and the same formula. Atoms without leaves are true or false.
//
// A comparison of terms that have not been multiplied out stays what it is, and so do the branches of an `ite` term, so
// that the table never holds more than a script's DAG. Who wants to compare formulas resolves them: what is resolved is
// over atoms, and their leaves are choices between sums over such leaves, under resolved conditions. Then spellings of
// sums make no difference anywhere.
#pragma once

#include <cstddef>
#include <cstdint>
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
  // `form relation 0`, over terms of reals().
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
  // The number of arguments of a conjunction, an equivalence or a choice, and each of them.
  std::size_t num_args(Formula f) const;
  Formula arg(Formula f, std::size_t i) const;
  std::size_t size() const { return nodes_.size(); }

  // ---- resolving ----
  // Cost: once for each node below that of multiplying its sums out; nothing for what is resolved already.
  Formula resolve(Formula f);
  RealTerm resolve(RealTerm t);

 private:
  struct Part {  // of what is being resolved: the node of a formula, or a choice
    bool is_choice;
    std::uint32_t id;
  };

  Formula equivalent(Formula a, Formula b);
  Formula compare(Relation relation, RealTerm a, RealTerm b);
  Formula node(const std::vector<std::uint32_t>& words);

  void resolve_part(Part root);
  bool is_resolved(Part part) const;
  void push_unresolved(Part part, std::vector<Part>* open) const;
  void push_unresolved_leaves(const LinearForm& form, std::vector<Part>* open) const;
  void push_unresolved_parts(Part whole, std::vector<Part>* open) const;
  Formula resolved(Formula f) const { return resolved_[f.node()].negated_if(f.is_negated()); }
  LinearForm resolved(LinearForm form) const;
  Formula with_resolved_parts(Formula f);
  RealTerm with_resolved_parts(RealTerm choice);
  LinearForm form_of(Formula f) const;
  void set_resolved(Formula f, Formula result);
  void set_resolved(RealTerm choice, RealTerm result);

  RealTable reals_;
  SequenceTable nodes_;  // kind and: serial number | relation, constant, form | relation and two terms | arguments
  SequenceTable forms_;  // leaf and coefficient in turn
  std::vector<Formula> resolved_;           // by node; none of the table before it is known
  std::vector<RealTerm> resolved_choices_;  // by id; invalid before it is known
  std::uint32_t num_symbols_ = 0;
};

}  // namespace tarku::checker

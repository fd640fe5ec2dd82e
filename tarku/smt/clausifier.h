// Clausifier: turns formulas into clauses over propositional variables.
//
// Every Bool term gets a literal. Conjunctions, equivalences and choices over literals are gates; everything else is
// expressed by them and by signs, and equal gates are one. A gate has no clauses until somebody needs it, and then only
// those for the sign that is needed (David A. Plaisted, Steven Greenbaum: "A structure-preserving clause form
// translation", 1986).
//
//   x <= 3, x < 3         a variable each; their negations are x > 3 and x >= 3
//   x = 3                 a variable that stands for x <= 3 and not x < 3
//   many bounds on x      each implies the next weaker one: binary clauses between neighbours
//   (ite c s t), Real     a Real variable v, with c => v = s and not c => v = t
//   an atom over v        where that is shorter, its cases instead: with s in the place of v if c, and t if not
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarku/numbers/qnumber.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/clause_sink.h"
#include "tarku/smt/hash_index.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/term.h"

namespace tarku::smt {

// At least one of the cases holds: the constraints in it all hold.
struct Alternatives {
  std::vector<std::vector<int>> cases;
  bool is_relaxed = false, is_limited = false;  // if it is a maximum: what is known of it has been told
};

class Clausifier {
 public:
  // All must outlive the clausifier.
  Clausifier(TermManager& terms, Linearizer& linearizer, AtomTable& atoms, ClauseSink& sink)
      : terms_(terms), linearizer_(linearizer), atoms_(atoms), sink_(sink) {}

  // The clause that `formula` is when it is to have the value `polarity`, told the sink all that follows from its
  // literals. *holds when it is true in any case; empty when it is false in any case.
  Clause clause(Term formula, bool polarity, bool* holds);
  // Likewise, of a constraint of the atom table.
  Clause unit_clause(int constraint, bool* holds);

  // The alternatives that a clause stands for when it holds, as far as they are constraints on bounds.
  void add_alternatives(const Clause& clause, std::vector<Alternatives>* result) const;
  // Those that `ite` terms with values of their own stand for, of each once.
  void take_alternatives_of_values(std::vector<Alternatives>* result);

  // The literal that stands for a constraint on a bound, made for the theory when there is none.
  int bound_literal(int constraint);

  // The literal that stands for a constraint of the atom table, 0 when no formula has brought it up so far.
  int find_literal(int constraint) const;
  // The variable of a Bool symbol, 0 when no formula has brought it up so far.
  int find_symbol(Term symbol) const;

 private:
  static constexpr int truth_ = 0x7fffffff;  // the literal true, which never reaches the sink

  enum class Kind : std::uint8_t { other, conjunction, equivalence, choice, equality, cases };
  struct Node {  // what a variable stands for
    Kind kind = Kind::other;
    bool is_told[2] = {false, false};    // the clauses for its being false, true
    std::uint32_t first = 0, count = 0;  // in args_; equality: less_equal, less; choice and cases: condition, yes, no
    int real_variable = 0;               // cases: that of the `ite`
  };
  struct Value {  // of an `ite`
    int condition;
    int equalities[2];  // constraints: with the branch when it is true, and when not
  };
  struct Pending {  // an `ite` whose condition and branches have no literals yet
    Term leaf;
    int atom;  // whose cases are wanted; 0 for the value of the Real variable
  };

  // ---- structure ----
  Clause finish(Clause clause, bool* holds);
  int literal(Term root);
  bool has_literal(Term t) const;
  int known_literal(Term t) const;
  std::vector<int> known_literals(Term t) const;
  int build(Term t);
  int parity(const std::vector<int>& args);
  int agreement(const std::vector<int>& args);
  int conjunction(std::vector<int> args);
  int disjunction(std::vector<int> args);
  int equivalence(int a, int b);
  int choice(int condition, int yes, int no);
  int gate(Kind kind, const std::vector<int>& args);
  int materialized(int literal);
  void collect(Term formula, bool polarity, std::vector<std::pair<Term, bool>>* disjuncts) const;

  // ---- atoms ----
  int comparison(Term t);
  int link(Term left, Relation relation, Term right);
  int atom(LinearForm* form, Relation relation);
  int bound(int constraint);
  int theory_literal(int constraint);
  int new_bound(int constraint);
  int new_equality(int constraint);
  int new_cases(int constraint, Term leaf);
  void set_literal(int constraint, int literal);
  void add_consequences(int literal, std::vector<int>* constraints) const;
  void chain(const AtomTable::Bound& bound, int atom);
  void link_neighbours(int weaker, int stronger);
  LinearForm form_of(int constraint) const;
  Term case_leaf(const LinearForm& form, Relation relation);
  bool has_constant_branches(Term leaf);
  void define_leaves(const LinearForm& form);

  // ---- `ite` terms ----
  void settle_pending();
  void settle_value(Term leaf);
  void settle_cases(Term leaf, int atom);
  static void substitute(const LinearForm& value, Term leaf, LinearForm* form);

  // ---- clauses ----
  void require(int literal);
  void tell_required();
  void tell(int literal);
  void tell_conjunction(int literal, const Node& node);
  void tell_equivalence(int literal, const Node& node);
  void tell_choice(int literal, const Node& node);
  void tell_cases(int literal, const Node& node);
  void tell_equality(int literal, const Node& node);
  static bool simplify(Clause* clause);

  int new_variable(Kind kind, const std::vector<int>& args, bool is_observed = false);
  Node& node(int literal) { return nodes_[static_cast<std::size_t>(literal < 0 ? -literal : literal)]; }
  int arg(const Node& node, std::uint32_t i) const { return args_[node.first + i]; }

  TermManager& terms_;
  Linearizer& linearizer_;
  AtomTable& atoms_;
  ClauseSink& sink_;

  std::vector<Node> nodes_;  // by propositional variable
  std::vector<int> args_;
  HashIndex gate_index_;                             // of gates, by kind and arguments
  std::unordered_map<std::uint32_t, int> literals_;  // by term id
  std::vector<int> literal_of_;                      // by constraint index; 0: none
  std::vector<int> constraint_of_;                   // by variable: that of a true atom
  std::vector<int> required_;                        // literals whose clauses are still to be told
  std::vector<Pending> pending_;
  std::vector<Value> values_;
  std::unordered_map<std::uint32_t, bool> constant_branches_;  // of `ite` terms, by id
  std::unordered_map<std::uint32_t, bool> has_value_;          // `ite` terms by id: settled or pending

  using Chain = std::map<std::pair<QNumber, bool>, int>;  // of a variable's upper bounds, by value and not strict
  std::unordered_map<int, Chain> chains_;
};

}  // namespace tarku::smt

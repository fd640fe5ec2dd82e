// ClauseBase: the clauses of a session in the SAT solver, and what they rest on.
//
// The clausifier and the theory tell clauses; each is recorded in the proof log (when there is one) and goes on to the
// SAT solver, whose own derivations are recorded as well. Clauses that hold only while some level of assertions is in
// force carry the negation of that level's *guard*, a variable that stands for nothing else.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tarku/proof/refutation.h"
#include "tarku/sat/proof_listener.h"
#include "tarku/sat/solver.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/clause_sink.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/proof_log.h"
#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}

namespace tarku::smt {

class ClauseBase : public ClauseSink, private Vocabulary, private sat::ProofListener {
 public:
  // The constraint indices of an atom that the theory is to see, and of its negation; 0 for other variables.
  struct Atom {
    int when_true = 0, when_false = 0;
  };

  // All must outlive the base. `is_logged`: certificates and cores are wanted. `seed`: of the SAT solver.
  ClauseBase(const TermManager& terms, Linearizer& linearizer, AtomTable& atoms, proof::Constraints& constraints,
             bool is_logged, std::uint64_t seed = 0);
  ~ClauseBase() override;
  // Gives the literal by which clauses speak of a constraint, 0 when none does.
  void set_literal_finder(std::function<int(int)> find_literal) { find_literal_ = std::move(find_literal); }

  // Polled while formulas are turned into clauses and certificates are told; null for none. An exception that it throws
  // in the midst of a formula leaves clauses that are of no use.
  void set_termination_test(const TerminationTest* test) { test_ = test; }

  sat::Solver& solver() { return *solver_; }
  const sat::Solver& solver() const { return *solver_; }
  bool is_logged() const { return log_.has_value(); }
  const Atom& atom(int variable) const { return atoms_of_[static_cast<std::size_t>(variable)]; }
  // The atoms that the theory is to see, in the order in which they came.
  const std::vector<int>& observed() const { return observed_; }
  // Symbols and atoms in the order in which they came, those that the theory does not see included.
  const std::vector<int>& named() const { return named_; }
  Term symbol_of(int variable) const;     // invalid when it is none
  int constraint_of(int variable) const;  // of the true atom, 0 when it is none

  // ---- clauses of assertions ----
  int new_guard();
  void retire_guard(int guard);  // its level is gone
  // The assertion says the clause; guard: of its level, 0 for none.
  void add_input(std::uint64_t source, Clause clause, int guard);

  // ---- clauses of the theory ----
  ProofLog& log() { return *log_; }
  // A literal for a constraint, made up for the log when no clause has one.
  int log_literal(int constraint);
  // Adds a clause that holds by arithmetic; the step that says so, when there is a log.
  void add_lemma(const Clause& clause, ProofLog::Id step = 0) { add(clause, step); }
  // The clause that the SAT solver takes next from the theory is that of this step.
  void announce(ProofLog::Id step) { announced_ = step; }

  // ---- after unsat ----
  // The step that says so: all its literals are negated guards. Needs: a log.
  ProofLog::Id conclusion() const { return conclusion_; }
  void certify(std::uint64_t check, ProofLog::Id conclusion, proof::CertificateSink& sink);
  // What a sink was told of earlier certificates of this base.
  struct Told {
    ProofLog::Told steps;
    std::unordered_set<int> variables, reals;
  };
  // Tells what is new, without a beginning. Gives the ids of the clauses that may not be used again.
  std::vector<proof::ClauseId> certify_rest(ProofLog::Id conclusion, proof::CertificateSink& sink, Told* told);
  bool is_guard(int variable) const { return guards_.count(variable) != 0; }

  // ---- ClauseSink ----
  int new_variable() override;
  int new_observed_variable() override;
  void symbol(int variable, Term symbol) override;
  void atom(int variable, int when_true, int when_false) override;
  void conjunction(int variable, const Clause& args) override;
  void equivalence(int variable, int a, int b) override;
  void choice(int variable, int condition, int yes, int no) override;
  void conditional(int real_variable, Term term, int condition) override;
  void gate_clause(int variable, const Clause& clause) override;
  void conditional_clause(int real_variable, const Clause& clause) override;
  void case_clause(int atom, int real_variable, int selector, int case_literal, const Clause& clause) override;
  void farkas_clause(const Clause& clause, const std::vector<QNumber>& multipliers) override;
  void split_clause(const Clause& clause) override;

 private:
  enum class Kind : std::uint8_t { none, symbol, atom, conjunction, equivalence, choice };
  struct Meaning {  // of a propositional variable
    Kind kind = Kind::none;
    std::uint32_t first = 0, count = 0;  // gates: in args_
    int number = 0;                      // symbol: the term's id; atom: the constraint
  };
  struct Conditional {
    Term term;
    int condition;
  };
  struct Thing {  // that can be declared
    bool is_real;
    int variable;
  };

  void poll() const;
  Meaning& meaning(int variable);
  void set_gate(int variable, Kind kind, const Clause& args);
  void add(const Clause& clause, ProofLog::Id step);
  proof::Sum sum_of(Term t);
  struct CaseSides {  // constraints: the branch equality, and those on the atom and its case that exclude each other
    int equality, atom, other;  // other: 0 when the case is a constant
  };
  ProofLog::Id case_lemma(int real_variable, int selector, int atom_literal, int case_literal, const Clause& clause);
  ProofLog::Id case_farkas(int real_variable, const CaseSides& sides);
  int branch_equality(int real_variable, int selector);
  int constraint_said_by(int literal);

  // ---- Vocabulary ----
  void begin() override;
  void declare(int variable, proof::CertificateSink& sink) override {
    poll();
    declare_all({false, variable}, sink);
  }
  void declare_all(Thing root, proof::CertificateSink& sink);
  std::vector<Thing> parts_of(Thing thing);
  void declare_one(Thing thing, proof::CertificateSink& sink);
  bool is_declared(Thing thing) const;

  // ---- sat::ProofListener ----
  void add_input(sat::ClauseId id, const sat::Clause& clause) override;
  void add_theory(sat::ClauseId id, const sat::Clause& clause) override;
  void add_derived(sat::ClauseId id, const sat::Clause& clause, const std::vector<sat::ClauseId>& antecedents) override;
  void remove(sat::ClauseId) override {}
  void conclude(const std::vector<sat::ClauseId>& ids) override;
  void set_step(sat::ClauseId id, ProofLog::Id step);

  const TermManager& terms_;
  Linearizer& linearizer_;
  AtomTable& atoms_;
  proof::Constraints& constraints_;
  std::function<int(int)> find_literal_;
  std::optional<ProofLog> log_;
  std::unique_ptr<sat::Solver> solver_;
  const TerminationTest* test_ = nullptr;

  std::vector<Meaning> meanings_;  // by variable
  std::vector<Atom> atoms_of_;     // by variable
  std::vector<int> args_;
  std::vector<int> observed_;
  std::vector<int> named_;
  std::unordered_map<int, Conditional> conditionals_;  // by Real variable
  std::unordered_set<int> guards_;
  std::unordered_map<int, int> log_literals_;  // by constraint
  std::vector<Meaning> log_meanings_;          // of the variables made up for it

  std::vector<ProofLog::Id> step_of_;  // by id of the SAT solver
  ProofLog::Id announced_ = 0;
  ProofLog::Id conclusion_ = 0;
  std::unordered_set<int> declared_, declared_reals_;  // in the certificate under way
};

}  // namespace tarku::smt

// BooleanSearch: the SAT solver searches for a selection of atoms, and the solver of the theory says whether it holds.
//
// What the SAT solver assigns is pushed onto the theory's stack on top of the base, the literals that the engine has
// pushed there for good or for its levels. A base constraint that takes part in a conflict is not mentioned in the
// clause; the guard of its level is.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tarku/proof/refutation.h"
#include "tarku/sat/theory.h"
#include "tarku/smt/arithmetic.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/clause_base.h"
#include "tarku/smt/clausifier.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}
namespace tarku::smt {

class BooleanSearch : private sat::Theory {
 public:
  // What the search has to know of the literals below it.
  class Base {
   public:
    virtual ~Base() = default;
    virtual bool holds(int constraint) const = 0;
    virtual int guard(int constraint) = 0;             // of a constraint that holds; 0: for good
    virtual std::uint64_t source(int constraint) = 0;  // likewise: the assertion that says it
    virtual void found_model() = 0;                    // the values of the theory's solver satisfy everything
  };

  // All must outlive the search. `is_logged`: certificates and cores are wanted. `seed`: of the SAT solver.
  BooleanSearch(TermManager& terms, Linearizer& linearizer, AtomTable& atoms, proof::Constraints& constraints,
                Base& base, bool is_logged, std::uint64_t seed = 0);

  ClauseBase& clauses() { return clauses_; }
  Clausifier& clausifier() { return clausifier_; }

  // Searches with the levels of these guards in force. Leaves the stack of `arithmetic` as it was. What that and the
  // termination test throw passes through.
  sat::Answer solve(Arithmetic& arithmetic, const std::vector<int>& guards, TerminationTest* test);
  // Adds the clause that says that the constraints, whose sum is a contradiction, do not all hold.
  void add_lemma(std::vector<proof::Refutation::Summand> sum);
  // Lets the SAT solver find out that the literal follows, if the propagation of its negation says so. Between
  // searches.
  void learn(int literal, TerminationTest* test);

  // One of two equalities on bounds holds, each selected by a literal. As long as the values satisfy neither, the
  // search decides for the one that they come closest to, and of several choices first for the one that they miss most.
  struct Option {
    int literal;
    int equality;   // constraint
    double factor;  // that makes the distances from the bounds of the options comparable
  };
  using Choice = std::array<Option, 2>;
  void add_choice(const Choice& choice) { choices_.push_back(choice); }

  std::uint64_t num_checks() const { return num_checks_; }  // that found the theory's stack consistent, ever
  // After sat: the value of a variable of clauses.
  bool value(int variable) { return clauses_.solver().value(variable); }

 private:
  static constexpr std::size_t none_permanent = static_cast<std::size_t>(-1);
  struct Entry {
    int literal;
    bool is_pushed = false;  // has an entry on the stack of the theory's solver
  };
  struct Cleanup;
  class LogDerivation;
  class NoArithmetic;

  // ---- sat::Theory ----
  void new_level() override;
  void assign(sat::Literal literal) override;
  void backtrack(int level) override;
  sat::Literal propagate() override;
  void explain(sat::Literal literal, sat::Clause& reason) override;
  bool next_clause(sat::Clause& clause, bool& forgettable) override;
  sat::Literal decide() override;
  bool check_model() override;

  // ---- the theory's side ----
  bool push_assigned();
  bool is_consistent(bool is_complete);
  void set_phases();
  double miss(const Option& option);
  void pop_last();
  void report_conflict();
  int constraint_of(int literal) const;
  bool is_assigned(int literal) const;

  // ---- clauses ----
  Clause clause_without_log(const std::vector<int>& constraints);
  Clause clause_with_log(const proof::Refutation& refutation, ProofLog::Id* step);
  ProofLog::Id base_step(int constraint, int literal);

  AtomTable& atoms_;
  proof::Constraints& constraints_;
  Base& base_;
  ClauseBase clauses_;
  Clausifier clausifier_;

  Arithmetic* arithmetic_ = nullptr;            // during a search
  std::vector<Entry> trail_;                    // atoms that are assigned
  std::vector<std::size_t> starts_;             // where the levels from 1 on begin in it
  std::size_t num_pushed_ = 0;                  // prefix of trail_ that the theory knows
  std::vector<signed char> values_;             // by variable: 1, -1, or 0 when it is not on the trail
  std::vector<signed char> phases_;             // by variable: what the SAT solver was told last, 0 at first
  std::size_t num_permanent_ = none_permanent;  // prefix of trail_ that is marked so
  std::uint64_t num_checks_ = 0;
  std::uint64_t num_conflicts_ = 0;  // of the theory, ever
  bool is_checked_ = false;          // the values satisfy what is pushed
  bool has_conflict_ = false;        // since the last backtrack
  bool is_conflict_untold_ = false;
  Clause conflict_;
  ProofLog::Id conflict_step_ = 0;
  std::unordered_map<int, Arithmetic::Implication> implications_;  // by literal
  std::vector<Choice> choices_;
};

}  // namespace tarku::smt

// The engine facade: assertions in levels, checks, exact values and unsatisfiable cores over la::Solver.
//
// States: an engine is either fresh (nothing checked since the last change) or answered. assert_term, push and pop make
// it fresh; check makes it answered. Values need the last answer to be sat, cores, failed assumptions and certificates
// need unsat; each can be asked for any number of times. Calls out of order, and terms of the wrong sort, throw
// Exception and change nothing.
//
// An engine and its terms belong to one thread; interrupt() alone may be called from others. Different engines with
// different terms are independent of each other.
//
// How an assertion travels: assert_term takes it apart into literals (atoms.h gives equal atoms equal constraint
// indices) and other formulas, but nothing reaches the solver before check. There everything that is new is told, forms
// first, then bounds, and then the literals are pushed in the order of the assertions. The literals of all assertions
// in force form one stack, of which a prefix is pushed; a pop cuts the stack and undoes what was pushed beyond the cut.
// Once a conflict is known nothing more is pushed until an assertion of its core goes.
//
// When the literals are consistent and there are formulas, too, a SAT solver searches for a selection of atoms that
// satisfies the formulas (boolean_search.h). The solver of the theory then carries the literals as its base, and what
// the search assigns on top of them.
//
// What rests on assumptions of a check is done on a level of its own, which stays until the next change.
//
// An engine that runs out of memory throws away all but its assertions (discard), and makes the rest anew when it is
// next wanted (restore). So it does not matter in which state the exception has left things.
//
// No answer has to be believed: a model is a value for every symbol, and certify() tells the steps of a refutation to
// anyone who wants to check them. With set_check_answers the engine does both checks itself before it answers.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/proof/proof.h"
#include "tarku/proof/refutation.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/boolean_search.h"
#include "tarku/smt/evaluator.h"
#include "tarku/smt/limits.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/presolve.h"
#include "tarku/smt/stated.h"
#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}
namespace tarku::la {
class Solver;
}
namespace tarku::proof {
class CertificateSink;
}

namespace tarku::smt {

enum class Answer { sat, unsat, unknown };

// An answer did not stand its own check, which is a bug. The answer was not given.
class AnswerRefused : public Exception {
 public:
  AnswerRefused(const std::string& answer, const std::string& reason, std::string dump) : dump_(std::move(dump)) {
    *this << "the answer " << answer << " did not stand its check: " << reason;
  }
  // The state of the solver and what else may help to find the cause.
  const std::string& dump() const { return dump_; }

 private:
  std::string dump_;
};

class GuidedArithmetic;
class Tightening;

class Engine : private BooleanSearch::Base {
 public:
  // `terms` must outlive the engine.
  explicit Engine(TermManager& terms);
  ~Engine() override;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // ---- assertions ----

  // Adds `formula` (of sort Bool) to the current level. Gives its index, which counts every assertion ever made, from
  // 0. Throws std::bad_alloc when memory runs out; nothing is asserted then.
  int assert_term(Term formula);
  void push();
  void pop();  // throws Exception when no level is left
  int num_levels() const { return static_cast<int>(levels_.size()) - (has_assumptions_ ? 1 : 0); }

  // ---- answers ----

  // Decides the assertions in force together with the assumptions, which may be any formulas and hold for this check
  // only. unknown when a limit was reached, see reason_unknown; the same check may be tried again then.
  // Throws AnswerRefused when answers are checked and this one is wrong; the engine is of no further use then. What a
  // termination test throws other than Interrupted passes through; the engine may be used further.
  Answer check(const std::vector<Term>& assumptions = {});
  // After unknown: "timeout", "memout", "resourceout", "interrupted", or the text of what a termination test threw.
  // Empty after any other answer.
  const std::string& reason_unknown() const { return reason_unknown_; }

  // The calls that follow are held to the limits like a check. When one is reached they throw Interrupted with the
  // reason as its text, "memout" also when there is no memory to be had. They can be repeated unless the call says that
  // the last answer is gone; check again then.

  // The exact value of any term in the model found. Symbols that no assertion constrains are 0 or false.
  // Throws Exception when the last answer is not sat or the term is of the other sort.
  QNumber real_value(Term t);
  bool bool_value(Term t);

  // The indices of assertions in force that are unsatisfiable together, with the failed assumptions, ascending: those
  // that the certificate uses. Throws Exception when the last answer is not unsat.
  std::vector<int> unsat_core();
  // The assumptions of the last check that the certificate uses, by their positions in the list, ascending. None when
  // the assertions are unsatisfiable alone. Throws Exception when the last answer is not unsat.
  std::vector<std::size_t> failed_assumptions();
  // Of the core, as few of the assertions for which `is_member` is true that leaving out any one of them makes them
  // satisfiable together with the assumptions and all assertions in force for which it is false. One whose check has no
  // answer stays in; of the checks that it takes, each has its own limit of work.
  std::vector<int> minimal_core(const std::function<bool(int)>& is_member);
  // The same for the failed assumptions, together with all assertions in force.
  std::vector<std::size_t> minimal_failed_assumptions();

  // Tells the steps that refute the assertions: their indices are the sources, those that follow the last one stand for
  // the assumptions, and `check` is the number to begin with. Throws Exception when the last answer is not unsat.
  // What the sink throws passes through.
  void certify(std::uint64_t check, proof::CertificateSink& sink);

  // ---- limits ----

  // What check and the other calls that may take long may take, each by itself, from now on. They stop within about a
  // tenth of a second. Throws Exception for a negative time.
  void set_limits(const Limits& limits);
  const Limits& limits() const { return limiter_.limits(); }
  // Stops the call that is running, with the reason "interrupted". False, and without effect, when none is. The one
  // call that may come from other threads and from signal handlers.
  bool interrupt() { return limiter_.interrupt(); }
  // Polled during those calls, null for none; not owned. It throws Interrupted to stop the call.
  void set_termination_test(const TerminationTest* test);
  // The work done so far, in steps. A step is the combination of two terms of the tableau, a product and a sum of small
  // numbers; big ones count more, in proportion to their length. A conflict of the SAT solver counts 1000, a variable
  // that a formula takes 100, a literal or level of which the theory is told 20. The same on every machine.
  std::uint64_t work() const;

  // ---- settings and figures ----

  void set_verbosity(int level);  // trace level of the solver
  // Whether certificates and cores are wanted of answers that took a search over formulas (the default). Without, and
  // without checked answers, the search keeps no record. From the next check on.
  void set_keep_proofs(bool on) { keep_proofs_ = on; }
  // Whether check evaluates every assertion in the model before it answers sat, and has every step of the certificate
  // checked before it answers unsat. Off by default.
  void set_check_answers(bool on) { check_answers_ = on; }
  // The seed of the SAT solver. To be set before the first check.
  void set_random_seed(std::uint64_t seed) { seed_ = seed; }
  // Whether equalities asserted below all levels are solved away before the first check (the default). To be set before
  // the first check.
  void set_presolve(bool on) { presolve_ = on; }
  // The share of work of the first way to search (pacing.h), for each term of the tableau. 0 leaves all to the second.
  void set_first_share(std::uint64_t work_per_term) { work_per_term_ = work_per_term; }
  // Appends (name, figure) pairs.
  void get_stats(std::vector<std::pair<std::string, std::string>>& stats) const;
  la::Solver& solver();  // for tests and statistics

 private:
  // One literal of the stack: an arithmetic constraint, a Boolean symbol with a sign, or falsity.
  class Literal {
   public:
    static Literal falsity() { return Literal(0); }
    static Literal arithmetic(int constraint) { return Literal(constraint); }
    static Literal boolean(int variable, bool value) { return Literal(-2 * variable - (value ? 1 : 0)); }
    bool is_falsity() const { return code_ == 0; }
    bool is_arithmetic() const { return code_ > 0; }
    int constraint() const { return code_; }
    int variable() const { return -code_ / 2; }  // Boolean variables start at 1
    bool value() const { return (-code_) % 2 == 1; }

   private:
    explicit Literal(int code) : code_(code) {}
    int code_;
  };

  struct Formula {  // a conjunct that is no literal
    Term term;      // that is to have the value `polarity`
    bool polarity;
    int constraint;  // instead, when it is not 0: an atom over an `ite`
  };

  struct Assertion {  // one in force
    int index;        // what assert_term gave
    int level;        // the number of levels at that time
    Term formula;
    std::size_t literals_end;  // its literals end here in literals_, and start where those of the one before end
    std::size_t formulas_end;  // likewise in formulas_
  };

  struct Level {
    std::size_t num_assertions;  // below it
    std::size_t num_wanted;      // constraints that the solver is to be told first because of it
    int guard = 0;               // the variable that stands for it in clauses, once there are some
  };

  // A constraint or Boolean variable on the stack.
  struct Holder {
    std::uint32_t count = 0;  // pushed literals that stand for it
    int assertion = -1;       // index of the oldest of them, the one that explains it
    int level = 0;            // that assertion's
    bool value = false;       // Boolean variables: the sign
  };

  struct EqualityPivot {  // an equality that was solved for an unknown
    int constraint;
    int unknown;
  };

  // What the assertions in force contradict, in the form in which it was noticed.
  struct Conflict {
    std::vector<int> assertions;  // between which it is, ascending; of arithmetic, a superset
    proof::Ref proof;             // of arithmetic: what the solver says
    int equality = 0;             // of the equalities solved away: one that the others contradict
    int symbol = 0;               // of two literals: their Boolean variable, true in the first assertion
    bool is_boolean = false;      // of a search over formulas: the step that says so
    ProofLog::Id conclusion = 0;
    std::vector<proof::Refutation::Summand> sum;  // of the guide: constraints that add up to a contradiction
    std::unordered_map<int, int> assertion_of;    // likewise: those that say the constraints
    bool is_known() const { return !assertions.empty(); }
    bool is_arithmetic() const { return proof != nullptr || equality != 0 || !sum.empty(); }
  };

  class Collector;
  class PresolveTest;
  class TheorySolver;
  class Unpolled;
  struct SearchChecker;

  void add_assertion(Term formula, int index);
  void flatten_assertion(Term formula, int level);
  void begin_change();
  void pop_level();
  void count_stale(const Level& gone);
  void undo_level(const Level& gone);
  void forget_answer() noexcept;
  void assume(const std::vector<Term>& assumptions);
  void adopt_settings();
  bool is_log_wanted() const { return keep_proofs_ || check_answers_; }
  Answer give_up(const char* reason);
  Answer search();
  Answer search_formulas();
  Answer search_formulas_as_planned();
  void clausify_new_formulas();
  Clause clause_of(const Formula& formula, bool* holds);
  std::size_t num_permanent_assertions() const;
  bool is_permanent(int level) const { return static_cast<std::size_t>(level) <= num_base_levels_; }
  void want_observed_atoms(int level);
  void tell_units();
  void tell_unit(int literal, int assertion, int level);
  int guard_of_level(int level);
  void set_boolean_conflict();

  // ---- BooleanSearch::Base ----
  bool holds(int constraint) const override;
  int guard(int constraint) override;
  std::uint64_t source(int constraint) override { return static_cast<std::uint64_t>(assertion_of(constraint)); }
  void found_model() override;
  struct PacedSearch;
  void search_one_by_one();
  bool consult_guide();
  bool is_guidance_possible() const;
  bool seek_guidance();
  void tighten();
  void add_common_facts(std::size_t end, std::size_t literals_end);
  void foresee_new_atoms();
  bool read_boolean_literals();
  void set_guided_conflict(std::vector<proof::Refutation::Summand> sum);
  void search_all_at_once();
  void alternate_rules();
  void finish_search();
  void mend();
  void start_afresh();
  void replace_solver();
  void retire_solver() noexcept;
  void drop_search() noexcept;
  void discard() noexcept;
  void restore();
  std::uint64_t search_work() const;
  void cut(std::size_t num_literals, std::size_t num_formulas);
  void want(int constraint, int level);
  void tell_new_atoms();
  void solve_equalities();
  void adopt_definitions(const EqualitySystem& system);
  std::vector<la::Equation::VarCoeff> row_terms(const AtomTable::Row& row) const;
  const QNumber& offset(int variable) const;
  void set_offset(int variable, const QNumber& value);
  bool is_solved(int constraint) const;
  void tell_row(const AtomTable::Row& row);
  void tell_bound(const AtomTable::Bound& bound);
  void push_new_literals(bool one_by_one);
  bool push_literal(Literal literal, const Assertion& assertion);
  bool push_arithmetic(int constraint, const Assertion& assertion);
  bool push_boolean(Literal literal, const Assertion& assertion);
  void pop_literal(Literal literal);
  void set_conflict(std::vector<int> assertions);
  void set_solver_conflict();
  void poll() const;

  void verify(Answer answer);
  void verify_model();
  void verify_refutation();
  void verify_search();
  [[noreturn]] void refuse_unsat(const std::string& reason);
  void tell_refutation(std::uint64_t check, proof::CertificateSink& sink);
  const proof::Refutation& refutation();
  StatedConstraints& stated();
  int assertion_of(int constraint) const;
  int level_of(int constraint) const;
  std::vector<int> core();
  std::vector<int> minimize(const std::function<bool(int)>& is_member);
  std::vector<std::size_t> positions_of_assumptions(const std::vector<int>& indices) const;
  const Assertion* find_assertion(std::uint64_t index) const;

  int boolean_variable(Term symbol);
  Evaluator& model();
  void prepare_values();
  void separate_values();
  QNumber symbol_value(Term symbol);
  QNumber variable_value(int variable);
  bool symbol_truth(Term symbol);
  void require(Answer answer, const char* call) const;
  void require_idle(const char* call) const;
  void require_term(Term t, Sort sort, const char* call) const;
  void require_formula(Term t, const char* call) const;
  template <class Call>
  auto within_limits(Call&& call);

  TermManager& terms_;
  std::unique_ptr<la::Solver> solver_;    // null when everything was discarded
  std::optional<Linearizer> linearizer_;  // likewise
  LinearForm form_;                       // scratch of assert_term
  AtomTable atoms_;
  std::unordered_map<std::uint32_t, int> boolean_variables_;  // by term id of a symbol; from 1
  std::vector<Term> boolean_symbols_;                         // by Boolean variable, less one

  // What is asserted. Written by assert_term, push and pop.
  std::vector<Assertion> assertions_;
  std::vector<Literal> literals_;  // of all assertions in force, in their order
  std::vector<Formula> formulas_;  // likewise
  std::vector<Level> levels_;
  std::size_t num_base_levels_ = 0;  // those with nothing below: everything goes with them, so they need no guards
  std::vector<int> wanted_;          // constraints that the solver is to be told, each once
  std::vector<bool> is_wanted_;      // by constraint index
  std::size_t num_stale_ = 0;        // of wanted_: those that came with levels that are gone, about
  int num_asserted_ = 0;             // ever, without assumptions
  bool has_assumptions_ = false;     // the last level is that of the assumptions of a check

  // What the solver knows. Written by check and pop.
  bool presolved_ = false;        // solve_equalities has run
  std::vector<QNumber> offsets_;  // by variable: it is the solver's one plus this; absent: plus zero
  std::vector<std::pair<int, la::Equation>> definitions_;  // what they were turned into, with constraint indices
  std::vector<int> solved_assertions_;                     // those whose equalities were solved away, ascending
  std::vector<int>
      solved_by_;  // by constraint index: the assertion, if it was solved away and is never pushed; else -1
  std::vector<bool> is_row_told_;             // by index in atoms_.rows()
  std::unique_ptr<GuidedArithmetic> guided_;  // in the place of the solver, when that is too slow for formulas
  std::size_t num_foreseen_ = 0;              // prefix of wanted_ that it knows
  bool is_guidance_exhausted_ = false;        // it has failed before
  std::size_t num_told_bounds_ = 0;           // prefix of wanted_
  std::size_t num_pushed_literals_ = 0;       // prefix of literals_
  std::vector<Holder> constraint_holders_;    // by constraint index
  std::vector<Holder> boolean_holders_;       // by Boolean variable
  Conflict conflict_;

  // The search over formulas, made when there are some. Written by check and pop.
  std::unique_ptr<BooleanSearch> search_;
  std::unique_ptr<SearchChecker> search_checker_;  // of its refutations, with what it has accepted before
  std::size_t num_clausified_ = 0;                 // prefix of formulas_
  std::unique_ptr<Tightening> tightening_;
  std::size_t num_tightened_ = 0;               // prefix of formulas_ that it knows
  std::size_t num_held_ = 0;                    // and of literals_
  bool is_clausifying_ = false;                 // in the midst of one
  std::size_t num_observed_ = 0;                // atoms of the search that are told
  std::size_t num_named_ = 0;                   // its atoms and symbols that were compared with the literals
  std::set<std::pair<int, int>> units_;         // literals of the search that were told it, with their guards
  std::vector<QNumber> found_values_;           // by variable, of the model that the search has found
  std::unordered_map<int, bool> found_truths_;  // by Boolean variable, of a model that the guide has found
  bool has_found_ = false;

  std::optional<Answer> answer_;  // of the last check, unless something changed since
  std::string reason_unknown_;
  std::optional<proof::Refutation> refutation_;  // of arithmetic; made on the first request after unsat
  std::optional<StatedConstraints> stated_;      // likewise; kept, with the equalities solved away
  std::vector<EqualityPivot> equality_pivots_;   // how they were solved
  std::size_t num_stated_equations_ = 0;         // prefix of equality_pivots_ that stated_ has
  std::optional<Evaluator> model_;               // made on the first request after sat
  QNumber delta_;                                // of that model: the value of the infinitesimal
  bool separated_ = false;                       // of that model: its values are those that the solver moved apart
  bool check_answers_ = false;
  bool keep_proofs_ = true;
  bool presolve_ = true;
  std::uint64_t work_per_term_ = 200;  // measured on linear programs: most that the first way solves take less
  std::uint64_t seed_ = 0;
  int verbosity_ = 0;
  Limiter limiter_;  // what everything polls
  std::uint64_t num_checks_ = 0;
  std::uint64_t num_old_pivots_ = 0;  // of solvers that were replaced
  std::uint64_t old_work_ = 0;        // of solvers and searches that are gone
};

}  // namespace tarku::smt

// The engine facade: assertions in levels, checks, exact values and unsatisfiable cores over la::Solver.
//
// States: an engine is either fresh (nothing checked since the last change) or answered. assert_term, push and pop make
// it fresh; check makes it answered. real_value and bool_value need the last answer to be sat, unsat_core needs unsat.
//
// How an assertion travels: assert_term flattens it into literals at once (atoms.h gives equal atoms equal constraint
// indices), but nothing reaches the solver before check. There everything that is new is told, forms first, then
// bounds, and then the literals are pushed in the order of the assertions. The literals of all assertions in force form
// one stack, of which a prefix is pushed; a pop cuts the stack and undoes what was pushed beyond the cut. Once a
// conflict is known nothing more is pushed until an assertion of its core goes.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/smt/atoms.h"
#include "tarku/smt/evaluator.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/presolve.h"
#include "tarku/smt/term.h"

namespace tarku {
class TerminationTest;
}
namespace tarku::la {
class Solver;
}

namespace tarku::smt {

enum class Answer { sat, unsat, unknown };

// Why an assertion is beyond the engine: the smallest offending subterm and a text such as
// "'or' is not supported so far".
struct Unsupported {
  Term term;
  std::string what;
};

// What a TerminationTest throws to stop a check: check then answers unknown, and the text becomes reason_unknown.
// Anything else that it throws passes through check; the engine may be used further in both cases.
class Interrupted : public Exception {};

class Engine {
 public:
  // `terms` must outlive the engine.
  explicit Engine(TermManager& terms);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // ---- assertions ----

  // Adds `formula` (of sort Bool) to the current level. Gives its index, which counts every assertion ever made, from
  // 0. A formula with structure beyond a conjunction of literals over linear atoms is kept all the same: its other
  // conjuncts are used, *unsupported (when given) says what is missing, and check answers unknown unless what is
  // understood is unsatisfiable already. *unsupported is left empty when all is understood.
  int assert_term(Term formula, std::optional<Unsupported>* unsupported = nullptr);
  void push();
  void pop();  // throws Exception when no level is left; nothing is changed then
  int num_levels() const { return static_cast<int>(levels_.size()); }

  // ---- answers ----

  Answer check();
  const std::string& reason_unknown() const { return reason_unknown_; }

  // The exact value of any term in the model found. Symbols that no assertion constrains are 0 or false.
  // Throws Exception when the last answer is not sat or the term is of the other sort.
  QNumber real_value(Term t);
  bool bool_value(Term t);

  // The indices of assertions in force that are unsatisfiable together, ascending. Throws Exception when the last
  // answer is not unsat.
  std::vector<int> unsat_core();

  // ---- settings and figures ----

  void set_termination_test(TerminationTest* test);  // polled during check; null for none; not owned
  void set_verbosity(int level);                     // trace level of the solver
  // Whether disequalities are told to the solver, or reported as unsupported (the default). Holds for later assertions.
  void set_disequalities_supported(bool on) { disequalities_supported_ = on; }
  // Whether equalities asserted below all levels are solved away before the first check (the default). Cores are then
  // still unsatisfiable, but mention every such equality. To be set before the first check.
  void set_presolve(bool on) { presolve_ = on; }
  // The share of work of the first way to search (pacing.h), for each term of the tableau. 0 leaves all to the second.
  void set_first_share(std::uint64_t work_per_term) { work_per_term_ = work_per_term; }
  // Appends (name, figure) pairs.
  void get_stats(std::vector<std::pair<std::string, std::string>>& stats) const;
  la::Solver& solver() { return *solver_; }  // for tests and statistics

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

  struct Assertion {           // one in force
    int index;                 // what assert_term gave
    std::size_t literals_end;  // its literals end here in literals_, and start where those of the one before end
  };

  // A constraint or Boolean variable on the stack.
  struct Holder {
    std::uint32_t count = 0;  // pushed literals that stand for it
    int assertion = -1;       // index of the oldest of them, the one that explains it
    bool value = false;       // Boolean variables: the sign
  };

  class Collector;

  void forget_answer();
  Answer search();
  struct PacedSearch;
  void search_one_by_one();
  void search_all_at_once();
  void alternate_rules();
  void finish_search();
  void start_afresh();
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
  bool push_literal(Literal literal, int assertion);
  bool push_arithmetic(int constraint, int assertion);
  bool push_boolean(Literal literal, int assertion);
  void pop_literal(Literal literal);
  void set_conflict(std::vector<int> assertions);
  void set_solver_conflict();
  void poll() const;

  int boolean_variable(Term symbol);
  Evaluator& model();
  QNumber symbol_value(Term symbol);
  bool symbol_truth(Term symbol) const;
  void require(Answer answer, const char* call) const;

  TermManager& terms_;
  std::unique_ptr<la::Solver> solver_;
  Linearizer linearizer_;
  LinearForm form_;  // scratch of assert_term
  AtomTable atoms_;
  std::unordered_map<std::uint32_t, int> boolean_variables_;  // by term id of a symbol; from 1

  // What is asserted. Written by assert_term, push and pop.
  std::vector<Assertion> assertions_;
  std::vector<Literal> literals_;                         // of all assertions in force, in their order
  std::vector<std::size_t> levels_;                       // number of assertions below each level
  std::vector<std::pair<int, Unsupported>> unsupported_;  // by ascending assertion, of those in force
  int num_asserted_ = 0;                                  // ever

  // What the solver knows. Written by check and pop.
  bool presolved_ = false;        // solve_equalities has run
  std::vector<QNumber> offsets_;  // by variable: it is the solver's one plus this; absent: plus zero
  std::vector<std::pair<int, la::Equation>> definitions_;  // what they were turned into, with constraint indices
  std::vector<int> solved_assertions_;                     // those whose equalities were solved away, ascending
  std::vector<bool> is_solved_;                            // by constraint index: solved away, never pushed
  std::vector<bool> is_row_told_;                          // by index in atoms_.rows()
  std::size_t num_told_bounds_ = 0;                        // prefix of atoms_.bounds()
  std::size_t num_pushed_literals_ = 0;                    // prefix of literals_
  std::vector<Holder> constraint_holders_;                 // by constraint index
  std::vector<Holder> boolean_holders_;                    // by Boolean variable
  std::vector<int> conflict_;  // assertions of the known conflict, ascending; empty: none is known

  std::optional<Answer> answer_;  // of the last check, unless something changed since
  std::string reason_unknown_;
  std::optional<Evaluator> model_;  // made on the first request after sat
  QNumber delta_;                   // of that model: the value of the infinitesimal
  bool separated_ = false;          // of that model: its values are those that the solver moved apart
  bool disequalities_supported_ = false;
  bool presolve_ = true;
  std::uint64_t work_per_term_ = 200;  // measured on linear programs: most that the first way solves take less
  TerminationTest* termination_test_ = nullptr;
  std::uint64_t num_checks_ = 0;
  std::uint64_t num_old_pivots_ = 0;  // of solvers that were replaced
};

}  // namespace tarku::smt

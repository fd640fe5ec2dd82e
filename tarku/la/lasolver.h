// la::Solver: decides conjunctions of linear constraints over the rationals, exactly and incrementally.
//
// The problem is split once and for all. Equations define variables as linear combinations of others and hold always:
// they are the rows of the tableau. Everything that comes and goes is a bound on one variable, x >= b, x = b, x <= b or
// x != b, told under a constraint index and then asserted and retracted in stack order.
//
//   rows         b = sum a_j * x_j     b basic, all x_j non-basic; always satisfied by both assignments
//   values       cur_beta_             a delta-rational for every variable; strict bounds are shifted by one delta
//   bounds       var_bounds_           per variable a stack of levels, the bounds in force on top
//
// A non-basic variable moves freely, and its column of basics follows, so pushing a bound on it repairs it at once. A
// basic variable is only queued. `check` empties the queue: it takes a basic variable outside its bounds, finds a
// non-basic variable of its row that can still move the right way, exchanges the two, and goes on. If nothing in the
// row can move, the bounds that hold its variables in place, together with the violated one, are the conflict.
//
// Invariants, each with a checker that gives the first offence in words ("" when there is none):
//
//   ROWS      each row holds exactly under cur_beta_ and under saved_beta_
//   NONBASIC  each non-basic value lies within its bounds
//   QUEUE     each basic value outside its bounds is in violated_basics_
//   LINKS     row terms and column entries point at each other; rows hold no basic variable and no zero
//   STACK     the levels of the bound stacks are those that the constraint stack tells of, each tighter than the last
//
// A failed check puts the values back to those of the last successful one. Bounds pushed in between may be violated by
// them; their variables are remembered in suspect_vars_, and the next search looks at those first. Until then
// (resync_needed_) NONBASIC and QUEUE hold for all other variables only.
//
// What the owner must see to: variable ids are at least 1, reasonably dense and below 2^30; constraint indices are at
// least 0 (at least 1 for equalities and disequalities when proofs are on) and below 2^30, and each names one equation
// or one bound; bounds are finite; an index that is on the stack is neither pushed, nor told, nor retracted again;
// bounds are retracted in the reverse order of telling, and equations while no implication stands; after a failed push
// the owner pops back past it; an equation told while a conflict was pending is dropped and has to be told again; a
// model is asked for right after a full check that answered true. After an exception from the termination test the
// owner checks again, or pops and goes on; after one of allocation only destruction is safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "tarku/hsh/hashmap.h"
#include "tarku/hsh/hashtable.h"
#include "tarku/la/bounds.h"
#include "tarku/la/equation.h"
#include "tarku/la/la_proof.h"
#include "tarku/la/tableau.h"
#include "tarku/la/varmap.h"
#include "tarku/la/varset.h"
#include "tarku/numbers/dnumber.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/proof/proof.h"
#include "tarku/termination_test.h"

namespace tarku::opt {
class OptSearch;
}

namespace tarku::la {

class Solver {
 public:
  using Values = VarMap<DNumber, true, false>;

  // What an implied constraint rests on.
  struct ImplInfo {
    std::vector<int> reason;  // asserted constraints that entail it
    std::uint64_t level = 0;  // height of the constraint stack when it was found
  };

  // A place on the constraint stack, for walking it from bottom to top.
  class StackIterator {
   public:
    StackIterator(const std::vector<std::pair<int, int>>* stack, std::size_t position)
        : stack_(stack), position_(position) {}
    const std::pair<int, int>& operator*() const { return (*stack_)[position_]; }
    const std::pair<int, int>* operator->() const { return &(*stack_)[position_]; }
    StackIterator& operator++() { return ++position_, *this; }
    friend bool operator==(const StackIterator& a, const StackIterator& b) { return a.position_ == b.position_; }
    friend bool operator!=(const StackIterator& a, const StackIterator& b) { return a.position_ != b.position_; }

   private:
    const std::vector<std::pair<int, int>>* stack_;
    std::size_t position_;
  };

  // ==== 01 LIFECYCLE ====

  // `proofs`: build proof objects for conflicts and implications. `verbosity`: 0 silent, 1 a line per operation on
  // standard output, 2 with values.
  Solver(bool proofs, int verbosity);
  virtual ~Solver();
  Solver(const Solver&) = delete;
  Solver& operator=(const Solver&) = delete;

  // Sizes the per-variable tables and sets variables without bounds aside. Runs by itself at the first bound push or
  // search. False when the equations contradict each other; a second call does nothing and answers true.
  bool initialize();
  bool assert_valid(const Values& values, bool a, bool b) const;

  // Hooks for derived solvers. The base versions change nothing and let everything pass.
  virtual bool optimization_set(opt::OptSearch* search, int var);
  virtual bool optimization_unset();
  virtual bool optimization_store_optimum();
  virtual void additional_optimization_steps(bool& result);
  virtual bool should_restore_beta(bool ok, Values* backup, std::vector<int>& saved_changed);
  virtual bool should_add_to_conflict(int var, Values& beta, bool upper_used, bool positive);
  virtual void set_delta_value(QNumber& delta);

  // ==== 02 EQUATIONS ====

  // Adds an equation for good: sum of terms - defining variable = 0 (without a constant, which belongs into a bound).
  // Dropped while a conflict is pending. Throws Exception, changing nothing, for a constant beside variables.
  void tell_equation(int c, const Equation& eq);
  // Records the told equation c on the constraint stack, for owners that backtrack over equations.
  void add_equation(int c);
  // Removes variable `var` and the equation c that defines it.
  void retract_equation(int c, int var);
  // Gives consistent values to the basics `rows` and to the defining variable of `eq` after rows were (re)created.
  void fix_after_uneliminate(const Equation& eq, const std::vector<int>& rows);
  // The sum of coefficient * value over the terms, in order; without the defining variable's own if `skip_defining`.
  // Variables beyond the end of `vals` count as zero, and so does the constant.
  DNumber eval_equation(const Equation& eq, const Values& vals, bool skip_defining) const;

  // ==== 03 BOUNDS AND THE CONSTRAINT STACK ====

  void tell_lower_bound(int c, int var, const DNumber& b) { do_tell_bound(c, var, b, RANGE_LOWER); }
  void tell_equal_bound(int c, int var, const DNumber& b) { do_tell_bound(c, var, b, RANGE_EQUAL); }
  void tell_upper_bound(int c, int var, const DNumber& b) { do_tell_bound(c, var, b, RANGE_UPPER); }
  void tell_diseq_bound(int c, int var, const DNumber& b) { do_tell_bound(c, var, b, RANGE_DISEQ); }
  void do_tell_bound(int c, int var, const DNumber& b, int kind);

  // Asserts a told constraint. False on an immediate conflict with the bounds in force: conflict_ then holds the older
  // partner and c, and the push is on the stack all the same, to be popped.
  bool push_constraint(int c);
  // `b` replaces the told bound; with `no_record` the constraint stack stays as it is in every outcome.
  bool push_upper_bound(int c, DNumber* b, bool no_record) { return push_bound(c, b, no_record, true); }
  bool push_lower_bound(int c, DNumber* b, bool no_record) { return push_bound(c, b, no_record, false); }
  bool push_equal_bound(int c);
  bool push_diseq_bound(int c);
  // Undoes the last push and gives its constraint index. Values stay: they only gain room.
  int pop_constraint();
  // Forgets a told bound that is not on the stack.
  void retract_bound(int c);

  StackIterator constraint_stack_begin() const { return {&constraint_stack_, 0}; }
  StackIterator constraint_stack_end() const { return {&constraint_stack_, constraint_stack_.size()}; }
  std::vector<int> get_constraints_on_stack() const;

  // ==== 04 SIMPLEX SEARCH ====

  // True when what is asserted is satisfiable; the values then satisfy it and are saved. False leaves the explanation
  // in conflict_ and puts the saved values back. A `partial` check passes over disequalities and the optimisation hook.
  // What the termination test throws passes through; afterwards check again, or pop and go on.
  bool check(bool partial);
  bool do_check(Values& beta);
  int get_violating_basic(Values& beta, unsigned long iteration);
  int get_nonbasic_for_pivoting(Values& beta, int basic, bool increase, unsigned long iteration);
  void update(int nonbasic, const DNumber& value, Values& beta);
  void pivot_and_update(int basic, int nonbasic, const DNumber& bound, Values& beta);

  // ==== 05 CONFLICTS AND PROOFS ====

  void build_conflict_set(int basic, const DNumber& value, Values& beta);
  // Each of these gives the caller one reference.
  LaHyp* get_or_create_hyp_proof(int index, bool negated);
  proof::Proof* get_conflict_proof();              // null when there is none
  proof::Proof* get_implication_proof(int index);  // of the implication handed out last when negative; null if unknown

  // ==== 06 PROPAGATION ====

  // Hands out the implications found so far, one by one. False when there is no further one.
  bool next_implied(int* c, std::vector<int>* reason);
  void try_trivial_implications(int asserted, const RangeConstraint& rc, bool from_upper);
  bool try_range_implications(int basic);
  void build_range_implication_reason(const Equation& row, int side, std::vector<int>* out, proof::Proof** proof);

  // ==== 07 DISEQUALITIES ====

  bool do_check_disequalities();

  // ==== 08 VALUES ====

  bool get_value(int var, QNumber* out);
  bool get_floor_value(int var, QNumber* out);
  bool get_abstract_value(int var, DNumber* out);
  void clear_abstract_value_cache() { abstract_values_.clear(); }
  bool are_equal(int a, int b);
  void get_lower_bound(int var, DNumber* out) const { *out = var_bounds_.get(var).lower(); }
  void get_upper_bound(int var, DNumber* out) const { *out = var_bounds_.get(var).upper(); }

  // ==== 09 MODELS ====

  // Fills model_values_ with rationals that keep every bound, every asserted disequality, the falsity of each of `eqs`
  // that is false under the current values, and the difference of values that differ. Only right after check(false)
  // answered true. Throws Exception when halving delta does not get there.
  void build_model(const std::vector<Equation>& eqs);
  // A positive rational for delta with which every value keeps its bounds: the largest such one, or 1 when any will do.
  QNumber smallest_ratio() const;
  void adjust_model_for_disequalities();
  // On return each variable of `fixed` has one extra bound level, which the caller pops.
  void adjust_model_for_disequalities(const std::vector<Equation>& eqs, std::vector<int>& fixed);
  void adjust_model_for_disequalities(std::vector<int>& fixed, const DNumber& step);

  // ==== 10 STATISTICS AND DUMPS ====

  void print_stats(std::ostream& out) const;
  void get_stats(std::vector<std::pair<std::string, std::string>>& stats) const;
  void dump_debug_status(std::ostream& out) const;
  void dump_debug_status() const;
  void debug_dump_smtlib(std::ostream& out) const;
  void debug_dump_smtlib() const;

  // ==== 11 INVARIANTS ====

  std::string check_invariants() const;  // the first offence of all below
  std::string check_rows() const;
  std::string check_nonbasic() const;
  std::string check_queue() const;
  std::string check_links() const;
  std::string check_stack() const;

  // ==== STATE ==== (the section that writes a member, then what it holds)

  int verbosity_;                                         // 01, owner; trace level
  VarMap<VariableBounds, true, false> var_bounds_;        // 03; by variable: bound levels
  Values saved_beta_;                                     // 02, 04; values at the last successful check
  Values cur_beta_;                                       // 02, 04; current values
  std::vector<int> changed_vars_;                         // 02, 04, 07; written in cur_beta_ since then
  bool values_integral_ = true;                           // 04; every value saved so far was an integer
  Tableau tableau_;                                       // 01, 02, 03, 04
  bool initialized_ = false;                              // 01
  bool in_conflict_ = false;                              // 03, 04, 06; pushes and searches fail at once
  int propagation_level_ = 0;                             // owner; 0 none, 1 trivial, 2 and ranges
  std::uint64_t pivot_limit_override_ = 0;                // owner; replaces pivot_limit_ unless 0
  std::uint64_t pivot_limit_ = 20;                        // 01, 02; iteration that starts smallest-index
  bool checked_ = false;                                  // 04; there was a check
  std::vector<int> conflict_;                             // 03 to 07; explains the last conflict
  hsh::Hashtable<int> equations_;                         // 02; told equations
  hsh::HashMap<int, RangeConstraint> constraints_;        // 03; told bounds
  std::vector<std::pair<int, int>> constraint_stack_;     // 02, 03; (constraint, variable that got a level or -1)
  std::uint64_t num_pushed_ = 0;                          // 03; push_constraint calls not undone
  std::vector<int> diseqs_;                               // 03; asserted disequalities, in push order
  VarMap<std::vector<int>, true, true> var_constraints_;  // 03; by variable: bounds told on it
  std::vector<std::pair<int, ImplInfo>> implied_;         // 06; found implications; slots are reused
  std::uint64_t implied_reported_ = 0;                    // 03, 06; handed out
  std::uint64_t num_implied_ = 0;                         // 03, 06; valid entries of implied_
  VarSet reason_vars_;                                    // 06; scratch: constraints already in the reason
  VarSet rows_to_propagate_;                              // 03, 04; variables whose rows may imply something
  hsh::HashMap<int, QNumber> model_values_;               // 09; the model
  std::int32_t num_pivots_ = 0;                           // 04
  VarSparseSet violated_basics_;                          // 02, 03, 04; superset of the basics out of bounds
  QNumber pivot_scratch_;                                 // 04; factor of the current pivot
  bool eliminate_unconstrained_ = true;                   // owner; read by initialize()
  bool proofs_enabled_;                                   // 01
  hsh::HashMap<int, LaHyp*> hyp_proofs_;                  // 05; leaves by signed index, one reference each
  std::vector<std::pair<int, proof::Proof*>> implication_proofs_;  // 03, 06; one reference each
  proof::Proof* conflict_proof_ = nullptr;                         // 03, 05, 06, 07; one reference
  hsh::HashMap<int, DNumber> abstract_values_;                     // 08; cache for eliminated variables
  TerminationTest* termination_test_ = nullptr;                    // owner; polled in every search iteration
  std::vector<int> work_vars_;                                     // 04, 09; scratch
  std::vector<int> model_work_vars_;                               // 09; scratch

  std::vector<int> suspect_vars_;         // 02, 03, 04; got a bound or a role since the last successful check
  std::vector<std::uint8_t> is_suspect_;  // 02, 03, 04; by variable: is in suspect_vars_
  bool resync_needed_ = false;            // 02, 04; suspects may violate bounds unnoticed
  bool tableau_inconsistent_ = false;     // 01, 02; the equations contradict each other
  std::size_t failed_height_ = 0;         // 03; stack height of the first failed push still on the stack, 0 if none
  std::vector<int> failed_conflict_;      // 03; its conflict, all of it below on the stack; once something was popped
  proof::Proof* failed_proof_ = nullptr;  // 03; its proof, one reference

 private:
  // 01, 02
  void touch(int var);
  void evaluate_into(int var, const Equation& eq);
  void add_suspect(int var);
  void set_conflict_proof(proof::Proof* proof);
  void drop_hyp_proofs(int index);

  // 03
  bool push_bound(int c, DNumber* b, bool no_record, bool is_upper);
  void trace_push(int c, const RangeConstraint& rc, bool is_upper) const;
  bool fail_push(int c, RangeConstraint& rc, const DNumber& bound, bool no_record, bool is_upper);
  void apply_bound(int c, int var, const DNumber& bound, bool no_record, bool is_upper);
  void set_pair_conflict(int older, int c, bool is_upper);
  void record(int c, int var, bool no_record);
  void record_failure(int c, bool no_record);
  void settle_failure();
  void forget_implications_of(int c);
  void drop_last_implication();
  void pop_levels(int var, int c);
  void retract_implications();
  void refresh_after_last_bound(int var);

  // 04
  bool below_lower(int var, const Values& beta) const {
    return cmp(beta.raw(var), var_bounds_.raw(var).lower(), true) < 0;
  }
  bool above_upper(int var, const Values& beta) const {
    return cmp(beta.raw(var), var_bounds_.raw(var).upper(), true) > 0;
  }
  bool violating(int var, const Values& beta) const { return below_lower(var, beta) || above_upper(var, beta); }
  bool can_move(int var, bool up, const Values& beta) const;
  bool search_may_start();
  void resync(Values& beta);
  void repair(int leaving, bool increase, int entering, Values& beta);
  void queue_column(int var);
  void propagate_column(int nonbasic, int except, const DNumber& step, Values& beta);
  void finish_check(bool result);
  void mark_changed(int var);
  void note_integrality(const DNumber& value);
  void compact_changed();
  bool smaller_gap(int a, int b, const Values& beta) const;
  void drop_from_queue(const std::vector<int>& stale);
  bool smallest_index_rule(unsigned long iteration) const;

  // 05, 06
  using ReasonLeaf = std::pair<QNumber, proof::Ref>;  // a multiplier and the hypothesis it applies to
  void add_to_proof(const QNumber& coeff, LaHyp* leaf, int a, int b, int c);
  proof::Proof* combine_leaves(std::vector<ReasonLeaf>* leaves);
  bool is_candidate(const RangeConstraint& rc, int var) const;
  void record_implication(int c, std::vector<int> reason, proof::Proof* proof);
  bool follows_trivially(const RangeConstraint& asserted, bool from_upper, const RangeConstraint& rc) const;
  DNumber row_limit(const Equation& row, bool maximum) const;
  bool try_range_implication(int c, const Equation& row, const DNumber& low, const DNumber& high);
  void trace_range_implication(int c, const std::vector<int>& reason, const Equation& row, const DNumber& low,
                               const DNumber& high) const;
  void set_range_conflict(int c, const Equation& row, int side);

  // 07
  class TemporaryLevel;
  struct Split;
  bool split_disequality(int d, Split* split);
  bool try_strict_side(int d, bool less, Split* split);
  void trace_failed_side(bool less, const std::vector<int>& conflict, int var) const;

  // 08, 09
  class SideSearch;
  const DNumber* known_abstract_value(int var) const;
  DNumber eval_over_abstract_values(const Equation& eq) const;
  DNumber eval_abstractly(const Equation& eq, bool skip_defining);
  bool is_true(const Equation& eq);
  std::vector<int> group_by_value();
  bool try_delta(const QNumber& delta, const std::vector<Equation>& eqs, const std::vector<bool>& truth,
                 const std::vector<int>& representatives);
  bool holds_in_model(const Equation& eq) const;

  // 10, 11
  struct Shape {
    int rows = 0;
    std::uint64_t variables = 0;
    double total_length = 0;  // of all rows
    std::uint64_t longest = 0;
  };
  Shape shape() const;
  void split_by_basis(std::vector<int>* basic, std::vector<int>* parametric) const;
  bool is_stray(int var) const;
};

}  // namespace tarku::la

// The operations of la::Solver, in the sections of its header.
#include "tarku/la/lasolver.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

#include "tarku/exception.h"

namespace tarku::la {

namespace {

using proof::Proof;

// A zero that no other handle shares, so that it can be added to in place.
DNumber fresh_zero() {
  return DNumber::adopt(DNumber::num_repr::alloc(0, 0, 1));
}

DNumber delta_times(const QNumber& k) {
  return DNumber(QNumber(), k);
}

// The elements of the lists, each at its first place only.
std::vector<int> unique_in_order(std::initializer_list<const std::vector<int>*> lists) {
  std::vector<int> result;
  VarSet seen;
  for (const std::vector<int>* list : lists) {
    for (int element : *list) {
      if (seen.insert(element).second) {
        result.push_back(element);
      }
    }
  }
  return result;
}

}  // namespace

// ==== 01 LIFECYCLE ====

Solver::Solver(bool proofs, int verbosity) : verbosity_(verbosity), tableau_(verbosity), proofs_enabled_(proofs) {}

Solver::~Solver() {
  if (!proofs_enabled_) return;
  Proof::release(conflict_proof_);
  Proof::release(failed_proof_);
  for (auto& leaf : hyp_proofs_) {
    Proof::release(leaf.second);
  }
  for (auto& implication : implication_proofs_) {
    Proof::release(implication.second);
  }
}

bool Solver::initialize() {
  if (initialized_) return true;
  initialized_ = true;
  if (!tableau_.check()) {
    tableau_inconsistent_ = true;
    return false;
  }
  const std::vector<int> vars = tableau_.get_all_variables();
  const std::size_t length = vars.size() + 1;
  var_bounds_.resize(length);
  cur_beta_.resize(length);
  saved_beta_.resize(length);
  VarSet unconstrained;
  for (int var : vars) {
    touch(var);  // identifiers with gaps reach beyond the length
    if (eliminate_unconstrained_ && var_constraints_.get(var).empty()) {
      if (verbosity_ > 0) {
        std::fprintf(stdout, "LA - removing unconstrained var %d\n", var);
      }
      unconstrained.insert(var);
    }
  }
  const int kept = static_cast<int>(vars.size()) - static_cast<int>(unconstrained.size());
  pivot_limit_ = static_cast<std::uint64_t>(std::max(20, kept));
  tableau_.eliminate_variables(unconstrained);
  return true;
}

bool Solver::assert_valid(const Values& /*values*/, bool /*a*/, bool /*b*/) const {
  return true;
}

bool Solver::optimization_set(opt::OptSearch* /*search*/, int /*var*/) {
  return false;
}
bool Solver::optimization_unset() {
  return false;
}
bool Solver::optimization_store_optimum() {
  return false;
}
void Solver::additional_optimization_steps(bool& /*result*/) {}
bool Solver::should_restore_beta(bool /*ok*/, Values* /*backup*/, std::vector<int>& /*saved_changed*/) {
  return true;
}
bool Solver::should_add_to_conflict(int /*var*/, Values& /*beta*/, bool /*upper_used*/, bool /*positive*/) {
  return true;
}
void Solver::set_delta_value(QNumber& /*delta*/) {}

// Gives `var` a slot in the per-variable tables, so that hot loops need no length tests.
void Solver::touch(int var) {
  if (static_cast<std::size_t>(var) >= var_bounds_.size()) {
    var_bounds_[var];
  }
  if (static_cast<std::size_t>(var) >= cur_beta_.size()) {
    cur_beta_[var];
  }
  if (static_cast<std::size_t>(var) >= saved_beta_.size()) {
    saved_beta_[var];
  }
}

// Remembers that the saved value of `var` may violate its bounds, until a check succeeds.
void Solver::add_suspect(int var) {
  const std::size_t index = static_cast<std::size_t>(var);
  if (index >= is_suspect_.size()) {
    is_suspect_.resize(std::max(index + 1, 2 * is_suspect_.size()), 0);
  }
  if (is_suspect_[index] == 0) {
    suspect_vars_.push_back(var);
    is_suspect_[index] = 1;
  }
}

// ==== 02 EQUATIONS ====

void Solver::tell_equation(int c, const Equation& eq) {
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - tell_equation: %d, %s\n", c, eq.to_str(true).c_str());
  }
  if (in_conflict_ || equations_.contains(c)) return;
  // Preferring a variable without bounds as basic saves the search a repair.
  const auto unbounded = [this](int var) { return var_constraints_.get(var).empty(); };
  std::vector<int> rows;
  tableau_.add_equation(eq, initialized_, &rows, unbounded);
  equations_.insert(c);
  if (!initialized_) return;
  for (const Equation::VarCoeff& term : eq.terms()) {
    touch(term.var);
  }
  if (tableau_.check()) {
    fix_after_uneliminate(eq, rows);
  } else {
    tableau_inconsistent_ = true;
  }
}

void Solver::add_equation(int c) {
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - add_equation: %d\n", c);
  }
  constraint_stack_.emplace_back(c, -1);
}

void Solver::retract_equation(int c, int var) {
  int left_basis = -1;
  tableau_.remove_variable(var, &left_basis);
  equations_.erase(c);
  violated_basics_.erase(var);
  rows_to_propagate_.erase(var);
  clear_abstract_value_cache();
  saved_beta_[var] = fresh_zero();
  cur_beta_[var] = saved_beta_[var];
  touch(var);
  while (num_implied_ > 0) {
    drop_last_implication();
  }
  implied_reported_ = 0;
  if (!initialized_) return;
  // Neither variable is basic now, and either may lie outside its bounds.
  add_suspect(var);
  if (left_basis >= 0) {
    add_suspect(left_basis);
  }
  resync_needed_ = true;
  // A conflict that a search found may have rested on the equation; one between two bounds did not.
  if (failed_height_ == 0) {
    in_conflict_ = false;
  }
}

void Solver::fix_after_uneliminate(const Equation& eq, const std::vector<int>& rows) {
  for (int basic : rows) {
    evaluate_into(basic, tableau_.row(basic));
  }
  const int defined = eq.defining_var();
  // A non-basic variable that rows depend on keeps its value; they were evaluated with it.
  if (defined >= 0 && (tableau_.is_basic(defined) || tableau_.column_count(defined) == 0)) {
    evaluate_into(defined, eq);
  }
  clear_abstract_value_cache();
  pivot_limit_ = std::max<std::uint64_t>(pivot_limit_, tableau_.get_num_variables());
}

// Sets both values of `var` to what `eq`, which defines it, says; queues it when that lies outside its bounds.
void Solver::evaluate_into(int var, const Equation& eq) {
  touch(var);
  const QNumber& own = eq.coeff(var);
  const bool scaled = !own.is_zero() && !own.is_minus_one();
  const QNumber scale = scaled ? own.inverse().neg() : QNumber(1);
  for (Values* values : {&cur_beta_, &saved_beta_}) {
    const DNumber value = eval_equation(eq, *values, true);
    (*values)[var] = scaled ? value * scale : value;
  }
  note_integrality(saved_beta_.raw(var));
  mark_changed(var);
  add_suspect(var);
  if (tableau_.is_basic(var) && violating(var, cur_beta_)) {
    violated_basics_.insert(var);
  }
}

DNumber Solver::eval_equation(const Equation& eq, const Values& vals, bool skip_defining) const {
  DNumber sum;
  for (const Equation::VarCoeff& term : eq.terms()) {
    if (skip_defining && term.var == eq.defining_var()) continue;
    if (const DNumber* value = vals.find(term.var)) {
      sum.add_mul(*value, term.coeff);
    }
  }
  return sum;
}

// ==== 03 BOUNDS AND THE CONSTRAINT STACK ====

void Solver::do_tell_bound(int c, int var, const DNumber& b, int kind) {
  assert(var >= 0 && var < (1 << 30) && c >= 0 && c < (1 << 30) && !b.is_infinite());
  RangeConstraint& rc = constraints_[c];
  if (rc.flags != 0) {
    drop_hyp_proofs(c);  // its leaves may have been those of another kind
    forget_implications_of(c);
  }
  rc.var = var;
  rc.bound = b;
  rc.flags = static_cast<std::uint8_t>(kind | RANGE_UNPUSHED | (rc.flags & RANGE_KEEP));
  var_constraints_[var].push_back(c);
  if (tableau_.is_eliminated(var)) {
    const Equation definition = *tableau_.get_eliminated_equation(var);
    std::vector<int> rows;
    tableau_.uneliminate(var, &rows);
    fix_after_uneliminate(definition, rows);
  }
}

bool Solver::push_constraint(int c) {
  const auto it = constraints_.find(c);
  if (it == constraints_.end()) {
    std::abort();
  }
  ++num_pushed_;
  switch (it->second.kind()) {
    case RANGE_LOWER:
      return push_lower_bound(c, nullptr, false);
    case RANGE_EQUAL:
      return push_equal_bound(c);
    case RANGE_UPPER:
      return push_upper_bound(c, nullptr, false);
    case RANGE_DISEQ:
      return push_diseq_bound(c);
    default:
      std::abort();
  }
}

bool Solver::push_bound(int c, DNumber* b, bool no_record, bool is_upper) {
  if (in_conflict_ || (!initialized_ && !initialize())) {
    record_failure(c, no_record);
    return false;
  }
  const auto it = constraints_.find(c);
  if (it == constraints_.end()) {
    std::abort();
  }
  RangeConstraint& rc = it->second;
  const int var = rc.var;
  rc.clear(RANGE_UNPUSHED);
  touch(var);
  if (verbosity_ > 0) {
    trace_push(c, rc, is_upper);
  }
  // A bound given by hand may be tighter than the told one, which is all that the implication speaks of.
  if (b == nullptr && propagation_level_ != 0 && rc.has(RANGE_IMPLIED)) {
    record(c, -1, no_record);
    return true;
  }
  const DNumber bound = b != nullptr ? *b : rc.bound;
  const VariableBounds& bounds = var_bounds_.raw(var);
  const int side = is_upper ? 1 : -1;  // sign of "looser": above for upper bounds
  if (side * cmp(bound, bounds.bound(is_upper), true) >= 0) {
    record(c, -1, no_record);
    return true;
  }
  if (side * cmp(bound, bounds.bound(!is_upper), true) < 0) return fail_push(c, rc, bound, no_record, is_upper);
  const bool moved = side * cmp(cur_beta_.raw(var), bound, true) > 0;
  apply_bound(c, var, bound, no_record, is_upper);
  // Implications are those of the told bound, and are undone with its entry on the stack.
  if (propagation_level_ != 0 && b == nullptr && !no_record) {
    try_trivial_implications(c, rc, is_upper);
  }
  if (propagation_level_ >= 2 && moved && !tableau_.is_basic(var)) {
    queue_column(var);
  }
  return true;
}

// Makes the bound the one in force: a new level, and a value that keeps it (a basic one later, by the search).
void Solver::apply_bound(int c, int var, const DNumber& bound, bool no_record, bool is_upper) {
  VariableBounds& bounds = var_bounds_.raw(var);
  bounds.push_bounds(c, is_upper, is_upper ? bounds.lower() : bound, is_upper ? bound : bounds.upper());
  add_suspect(var);
  const int order = cmp(cur_beta_.raw(var), bound, true);
  // Values of a contradictory tableau mean nothing, and may have no place in the tables.
  if (!tableau_inconsistent_ && (is_upper ? order > 0 : order < 0)) {
    if (tableau_.is_basic(var)) {
      violated_basics_.insert(var);
    } else {
      update(var, bound, cur_beta_);
    }
  }
  record(c, var, no_record);
}

void Solver::trace_push(int c, const RangeConstraint& rc, bool is_upper) const {
  const char* const side = is_upper ? "upper" : "lower";
  if (verbosity_ == 1) {
    std::fprintf(stdout, "LA - push_%s_bound: %d\n", side, c);
    return;
  }
  const DNumber& old = var_bounds_.get(rc.var).bound(is_upper);
  std::fprintf(stdout, "LA - push_%s_bound: %d, var: %d, bound: %s, old: %s, value: %s\n", side, c, rc.var,
               rc.bound.to_str().c_str(), old.to_str().c_str(), cur_beta_.get(rc.var).to_str().c_str());
}

// The new bound contradicts the opposite one in force.
bool Solver::fail_push(int c, RangeConstraint& rc, const DNumber& bound, bool no_record, bool is_upper) {
  in_conflict_ = true;
  const VariableBounds& bounds = var_bounds_.raw(rc.var);
  const int older = bounds.constraint_of(!is_upper);
  if (older < 0) {
    std::abort();
  }
  if (verbosity_ > 1) {
    std::fprintf(stdout,
                 "LA - push_%s_bound: conflict!\nvar: %d, c: %s, constraint_index: %d\n         l: %s, stored "
                 "constraint_index: %d\n",
                 is_upper ? "upper" : "lower", rc.var, bound.to_str().c_str(), c,
                 bounds.bound(!is_upper).to_str().c_str(), older);
  }
  set_pair_conflict(older, c, is_upper);
  rc.set(RANGE_UNPUSHED);
  record_failure(c, no_record);
  return false;
}

// The conflict of two opposite bounds of one variable, `is_upper` telling the side of `c`.
void Solver::set_pair_conflict(int older, int c, bool is_upper) {
  conflict_ = {older, c};
  if (proofs_enabled_) {
    set_conflict_proof(nullptr);
    proof::Ref own(get_or_create_hyp_proof(c, !is_upper));
    proof::Ref partner(get_or_create_hyp_proof(older, is_upper));
    Proof* const step = new LaComb(nullptr, own.get(), nullptr, partner.get(), 0, 0, 0);
    own.release();
    partner.release();
    set_conflict_proof(step);
  }
}

void Solver::record(int c, int var, bool no_record) {
  if (!no_record) {
    constraint_stack_.emplace_back(c, var);
  }
}

// Records a push that is not in force, and remembers the first such one on the stack.
void Solver::record_failure(int c, bool no_record) {
  record(c, -1, no_record);
  if (!no_record && failed_height_ == 0) {
    failed_height_ = constraint_stack_.size();
  }
}

// A pop of something above a failed push clears the pending conflict, and yet nothing is satisfiable before the failed
// push goes itself. Until then its conflict is kept; nothing has overwritten it while it was pending.
void Solver::settle_failure() {
  if (failed_height_ == 0) return;
  if (constraint_stack_.size() < failed_height_) {
    failed_height_ = 0;
    failed_conflict_.clear();
    if (proofs_enabled_) {
      Proof::release(failed_proof_);
      failed_proof_ = nullptr;
    }
  } else if (in_conflict_ && failed_conflict_.empty()) {
    failed_conflict_ = conflict_;
    if (proofs_enabled_) {
      failed_proof_ = get_conflict_proof();
    }
  }
}

bool Solver::push_equal_bound(int c) {
  if (push_lower_bound(c, nullptr, false)) return push_upper_bound(c, nullptr, false);
  record(c, -1, false);  // every equality has two entries, whatever became of it
  return false;
}

int Solver::pop_constraint() {
  assert(!constraint_stack_.empty());
  const auto [c, var] = constraint_stack_.back();
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - pop_constraint: %d\n", c);
  }
  if (var >= 0) {
    pop_levels(var, c);
  }
  constraint_stack_.pop_back();
  const auto it = constraints_.find(c);
  const bool is_bound = !equations_.contains(c) && it != constraints_.end();
  if (is_bound) {
    RangeConstraint& rc = it->second;
    if (rc.kind() == RANGE_DISEQ && !diseqs_.empty()) {
      diseqs_.pop_back();
    }
    rc.set(RANGE_UNPUSHED);
    if (rc.kind() == RANGE_EQUAL && !constraint_stack_.empty() && constraint_stack_.back().first == c) {
      const int lower_var = constraint_stack_.back().second;
      if (lower_var >= 0) {
        pop_levels(lower_var, c);
      }
      constraint_stack_.pop_back();
    }
  }
  settle_failure();
  in_conflict_ = false;
  retract_implications();
  if (is_bound && num_pushed_ > 0) {
    --num_pushed_;
  }
  return c;
}

// Removes levels of `var` down to and including the one that constraint c made.
void Solver::pop_levels(int var, int c) {
  VariableBounds& bounds = var_bounds_[var];
  for (bool found = false; !found;) {
    if (bounds.size() == 1) {
      std::abort();
    }
    found = bounds.back().constraint_index == c;
    bounds.pop_bounds();
  }
}

// Drops the implications that were found at this height of the stack or above.
void Solver::retract_implications() {
  while (num_implied_ > 0 && implied_[num_implied_ - 1].second.level >= constraint_stack_.size()) {
    drop_last_implication();
  }
  implied_reported_ = std::min(implied_reported_, num_implied_);
}

void Solver::drop_last_implication() {
  const auto it = constraints_.find(implied_[--num_implied_].first);
  if (it != constraints_.end()) {
    it->second.clear(RANGE_IMPLIED);
  }
  if (proofs_enabled_ && !implication_proofs_.empty()) {
    Proof::release(implication_proofs_.back().second);
    implication_proofs_.pop_back();
  }
}

// Constraint c changes its meaning or goes: what was found of it is not to be handed out. The entries keep their
// places.
void Solver::forget_implications_of(int c) {
  for (std::size_t i = 0; i < num_implied_; ++i) {
    if (implied_[i].first == c) implied_[i].first = -1;
  }
  for (auto& implication : implication_proofs_) {
    if (implication.first == c) implication.first = -1;
  }
}

void Solver::retract_bound(int c) {
  const auto it = constraints_.find(c);
  if (it == constraints_.end()) return;
  const int var = it->second.var;
  std::vector<int>& told = var_constraints_[var];
  if (!told.empty()) {
    told.pop_back();  // the last one told, taken to be c
  }
  const bool was_last = told.empty();
  constraints_.erase(c);
  drop_hyp_proofs(c);
  forget_implications_of(c);
  if (was_last && initialized_) {
    refresh_after_last_bound(var);
  }
}

// `var` has lost its last bound. Its value stays, since it may be non-basic and rows depend on it; whatever row
// mentions it is evaluated afresh.
void Solver::refresh_after_last_bound(int var) {
  touch(var);
  if (tableau_.is_basic(var)) {
    evaluate_into(var, tableau_.row(var));
    return;
  }
  for (auto basic = tableau_.basics_of_begin(var); basic != tableau_.basics_of_end(var); ++basic) {
    evaluate_into(*basic, tableau_.row(*basic));
  }
  add_suspect(var);
}

std::vector<int> Solver::get_constraints_on_stack() const {
  std::vector<int> constraints;
  constraints.reserve(constraint_stack_.size());
  for (const auto& entry : constraint_stack_) {
    constraints.push_back(entry.first);
  }
  std::sort(constraints.begin(), constraints.end());
  constraints.erase(std::unique(constraints.begin(), constraints.end()), constraints.end());
  return constraints;
}

// ==== 04 SIMPLEX SEARCH ====

bool Solver::check(bool partial) {
  checked_ = true;
  clear_abstract_value_cache();
  bool result = do_check(cur_beta_);
  if (result && !partial && !diseqs_.empty()) {
    result = do_check_disequalities();
  }
  if (result && propagation_level_ != 0) {
    for (int var : rows_to_propagate_) {
      if (tableau_.is_basic(var) && !try_range_implications(var)) {
        result = false;
        break;
      }
    }
  }
  finish_check(result);
  if (!partial) {
    additional_optimization_steps(result);
  }
  return result;
}

void Solver::note_integrality(const DNumber& value) {
  values_integral_ = values_integral_ && value.delta().is_zero() && value.real().is_integer();
}

// Saves the values that changed, or puts the saved ones back.
void Solver::finish_check(bool result) {
  for (int var : changed_vars_) {
    touch(var);
    const DNumber& value = cur_beta_.raw(var);
    if (!result) {
      cur_beta_.raw(var) = saved_beta_.raw(var);
      continue;
    }
    saved_beta_.raw(var) = value;
    note_integrality(value);
  }
  changed_vars_.clear();
  rows_to_propagate_.clear();
  if (result) {
    for (int var : suspect_vars_) {
      is_suspect_[static_cast<std::size_t>(var)] = 0;
    }
    suspect_vars_.clear();
  }
  resync_needed_ = !result;
}

bool Solver::do_check(Values& beta) {
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - check\n");
  }
  if (!search_may_start()) return false;
  resync(beta);
  for (unsigned long iteration = 1;; ++iteration) {
    if (termination_test_ != nullptr) {
      (*termination_test_)();
    }
    const int leaving = get_violating_basic(beta, iteration);
    if (leaving < 0) {
      in_conflict_ = false;
      return true;
    }
    const bool increase = below_lower(leaving, beta);
    if (!increase && !above_upper(leaving, beta)) continue;  // a derived solver's choice may be stale
    const int entering = get_nonbasic_for_pivoting(beta, leaving, increase, iteration);
    if (entering < 0) {
      build_conflict_set(leaving, beta.raw(leaving), beta);
      in_conflict_ = true;
      return false;
    }
    repair(leaving, increase, entering, beta);
  }
}

// False, with in_conflict_ set, when there is nothing to search: a conflict is pending already.
bool Solver::search_may_start() {
  if (in_conflict_) return false;
  if ((!initialized_ && !initialize()) || tableau_inconsistent_) {
    conflict_.clear();
    if (proofs_enabled_) {
      set_conflict_proof(nullptr);
    }
    in_conflict_ = true;
    return false;
  }
  if (failed_height_ != 0) {
    conflict_ = failed_conflict_;
    if (proofs_enabled_) {
      if (failed_proof_ != nullptr) failed_proof_->retain();
      set_conflict_proof(failed_proof_);
    }
    in_conflict_ = true;
    return false;
  }
  return true;
}

// After a failed check the saved values are back, and may violate bounds pushed since they were saved.
void Solver::resync(Values& beta) {
  if (!resync_needed_) return;
  for (std::size_t i = 0; i < suspect_vars_.size(); ++i) {
    const int var = suspect_vars_[i];
    if (!violating(var, beta)) continue;
    if (tableau_.is_basic(var)) {
      violated_basics_.insert(var);
    } else {
      update(var, var_bounds_.raw(var).bound(above_upper(var, beta)), beta);
    }
  }
  resync_needed_ = false;
}

// One step of the search: `leaving` takes the bound it violates and leaves the basis, `entering` takes its place.
void Solver::repair(int leaving, bool increase, int entering, Values& beta) {
  const DNumber target = var_bounds_.raw(leaving).bound(!increase);
  if (propagation_level_ >= 1) {
    rows_to_propagate_.insert(entering);
    if (propagation_level_ >= 2) {
      queue_column(entering);
    }
  }
  pivot_and_update(leaving, entering, target, beta);
  violated_basics_.erase(leaving);
  if (violating(entering, beta)) {
    violated_basics_.insert(entering);
  }
}

void Solver::queue_column(int var) {
  rows_to_propagate_.insert(tableau_.basics_of_begin(var), tableau_.basics_of_end(var));
}

bool Solver::smallest_index_rule(unsigned long iteration) const {
  return iteration >= (pivot_limit_override_ != 0 ? pivot_limit_override_ : pivot_limit_);
}

// The leaving variable: under the heuristic a violating basic with a short row, later the smallest violating one.
// Among rows of equal length the amounts of violation are compared, but an incumbent that took its place without such a
// comparison inherits the amount computed last, or none at all, which nothing undercuts. So the amount is kept as the
// variable it belongs to and only computed when it is compared.
int Solver::get_violating_basic(Values& beta, unsigned long iteration) {
  work_vars_.clear();
  const bool smallest_index = smallest_index_rule(iteration);
  int best = -1;
  std::size_t best_length = 0;
  int best_gap = -1;  // the variable whose violation is the incumbent's amount; -1 stands for an amount of zero
  int last_gap = -1;  // the variable whose violation was computed last
  for (int var : violated_basics_) {
    const bool violates = tableau_.is_basic(var) && violating(var, beta);
    if (smallest_index) {
      if (violates) return var;
      continue;
    }
    if (!violates) {
      work_vars_.push_back(var);
      continue;
    }
    const std::size_t length = tableau_.row(var).terms().size();
    if (best >= 0) {
      if (length > best_length) continue;
      if (length == best_length) {
        last_gap = var;
        if (best_gap < 0 || !smaller_gap(var, best_gap, beta)) continue;
      }
    }
    best = var;
    best_length = length;
    best_gap = last_gap;
  }
  if (!work_vars_.empty()) {
    drop_from_queue(work_vars_);
  }
  return best;
}

// Whether violating `a` misses its bound by less than violating `b`.
bool Solver::smaller_gap(int a, int b, const Values& beta) const {
  const auto gap = [&](int var) {
    const DNumber& value = beta.raw(var);
    const VariableBounds& bounds = var_bounds_.raw(var);
    return below_lower(var, beta) ? bounds.lower() - value : value - bounds.upper();
  };
  return cmp(gap(a), gap(b), true) < 0;
}

// Both sequences are ascending, `stale` part of the queue.
void Solver::drop_from_queue(const std::vector<int>& stale) {
  std::vector<int> kept;
  kept.reserve(violated_basics_.size() - stale.size());
  std::set_difference(violated_basics_.begin(), violated_basics_.end(), stale.begin(), stale.end(),
                      std::back_inserter(kept));
  violated_basics_.swap_values(kept);
}

bool Solver::can_move(int var, bool up, const Values& beta) const {
  const int order = cmp(beta.raw(var), var_bounds_.raw(var).bound(up), true);
  return up ? order < 0 : order > 0;
}

// The entering variable: one that can move so that `basic` grows (or shrinks), with the shortest column under the
// heuristic, the smallest one otherwise.
int Solver::get_nonbasic_for_pivoting(Values& beta, int basic, bool increase, unsigned long iteration) {
  const bool smallest_index = smallest_index_rule(iteration);
  int best = -1;
  std::size_t best_count = 0;
  for (const Equation::VarCoeff& term : tableau_.row(basic).terms()) {
    const int var = term.var;
    if (var == basic) continue;
    if (tableau_.is_basic(var)) {
      std::cout << "ERROR: x" << var << " IS BASIC!" << std::endl;
      dump_debug_status(std::cout);
      std::fflush(stdout);
    }
    const std::size_t count = tableau_.column_count(var);
    if (!smallest_index && best >= 0 && count >= best_count) continue;
    const int sign = term.coeff.sign();
    if (sign == 0 || !can_move(var, (sign > 0) == increase, beta)) continue;
    if (smallest_index) return var;
    best = var;
    best_count = count;
  }
  return best;
}

// Moves non-basic `nonbasic` to `value` and carries the change into every basic variable of its column.
// Keeps: ROWS. Basics that leave their bounds are queued before it returns.
// Cost: one multiply-add per entry of the column.
void Solver::update(int nonbasic, const DNumber& value, Values& beta) {
  if (verbosity_ > 1) {
    std::fprintf(stdout, "LA - update: %d, %s\n", nonbasic, value.to_str().c_str());
  }
  const DNumber target = value;  // may be the entry that is about to change
  propagate_column(nonbasic, -1, target - beta[nonbasic], beta);
  beta[nonbasic] = target;
  mark_changed(nonbasic);
}

// Adds step * coefficient to every basic variable of the column but `except`.
void Solver::propagate_column(int nonbasic, int except, const DNumber& step, Values& beta) {
  const auto end = tableau_.basics_of_end(nonbasic);
  for (auto it = tableau_.basics_of_begin(nonbasic); it != end; ++it) {
    const int basic = *it;
    if (basic == except) continue;
    beta.raw(basic).add_mul(step, tableau_.row(basic).coeff(nonbasic));
    mark_changed(basic);
    if (violating(basic, beta)) {
      violated_basics_.insert(basic);
    }
  }
}

// Sets `basic` to `bound` by moving `nonbasic`, and exchanges the two.
void Solver::pivot_and_update(int basic, int nonbasic, const DNumber& bound, Values& beta) {
  ++num_pivots_;
  if (verbosity_ > 1) {
    std::fprintf(stdout, "LA - pivot_and_update: %d, %d, %s\n", basic, nonbasic, bound.to_str().c_str());
  }
  const DNumber target = bound;  // may be the entry that is about to change
  pivot_scratch_ = QNumber();
  QNumber factor = tableau_.row(basic).coeff(nonbasic).inverse();
  pivot_scratch_.swap(factor);
  const DNumber theta = (target - beta[basic]) * pivot_scratch_;
  beta[basic] = target;
  mark_changed(basic);
  beta[nonbasic] += theta;
  mark_changed(nonbasic);
  propagate_column(nonbasic, basic, theta, beta);
  tableau_.pivot(basic, nonbasic);
}

void Solver::mark_changed(int var) {
  changed_vars_.push_back(var);
  if (changed_vars_.size() > 64 + 2 * cur_beta_.size()) {
    compact_changed();
  }
}

// Keeps each variable once: without it, pushes and pops without a check in between would pile up.
// Cost: linear, paid once per as many appends.
void Solver::compact_changed() {
  VarMap<std::uint8_t, true, false> seen;
  const auto is_repeated = [&seen](int var) {
    std::uint8_t& mark = seen[var];
    const bool repeated = mark != 0;
    mark = 1;
    return repeated;
  };
  changed_vars_.erase(std::remove_if(changed_vars_.begin(), changed_vars_.end(), is_repeated), changed_vars_.end());
}

// ==== 05 CONFLICTS AND PROOFS ====

// The row of `basic` cannot be repaired: the bound it violates and the bounds that block the other variables.
void Solver::build_conflict_set(int basic, const DNumber& value, Values& beta) {
  conflict_.clear();
  if (proofs_enabled_) {
    set_conflict_proof(nullptr);
  }
  const bool is_below = cmp(value, var_bounds_.raw(basic).lower(), true) < 0;
  const int violated = var_bounds_.raw(basic).constraint_of(!is_below);
  conflict_.push_back(violated);
  if (proofs_enabled_) {
    set_conflict_proof(get_or_create_hyp_proof(violated, is_below));
  }
  for (const Equation::VarCoeff& term : tableau_.row(basic).terms()) {
    const int sign = term.coeff.sign();
    if (term.var == basic || sign == 0) continue;
    const bool upper_used = (sign > 0) == is_below;
    const int blocking = var_bounds_.raw(term.var).constraint_of(upper_used);
    if (should_add_to_conflict(term.var, beta, upper_used, sign > 0)) {
      conflict_.push_back(blocking);
    }
    if (proofs_enabled_) {
      const QNumber size = term.coeff.abs();
      add_to_proof(size, get_or_create_hyp_proof(blocking, !upper_used), is_below ? 1 : 2, sign,
                   cmp(beta.raw(term.var), DNumber::zero, true));
    }
  }
}

// conflict_proof_ becomes its combination with coeff * leaf. Takes over the reference to the leaf.
void Solver::add_to_proof(const QNumber& coeff, LaHyp* leaf, int a, int b, int c) {
  proof::Ref held(leaf);
  auto factor = std::make_unique<QNumber>(coeff);
  Proof* const step = new LaComb(nullptr, conflict_proof_, factor.get(), leaf, a, b, c);
  factor.release();
  held.release();
  conflict_proof_ = step;
}

// Takes over one reference; gives the old one back.
void Solver::set_conflict_proof(Proof* proof) {
  Proof::release(conflict_proof_);
  conflict_proof_ = proof;
}

LaHyp* Solver::get_or_create_hyp_proof(int index, bool negated) {
  const auto it = constraints_.find(index);
  const int kind = it != constraints_.end() ? it->second.kind() : 0;
  const bool has_sides = kind == RANGE_EQUAL || kind == RANGE_DISEQ;
  const int side = !has_sides ? 0 : negated ? 1 : -1;
  // Index 0 has no negative of its own.
  const int key = side <= 0 ? index : index == 0 ? INT_MIN : -index;
  const auto found = hyp_proofs_.find(key);
  if (found != hyp_proofs_.end()) {
    found->second->retain();
    return found->second;
  }
  proof::Ref leaf(new LaHyp(index, side));
  LaHyp* const result = static_cast<LaHyp*>(leaf.get());
  hyp_proofs_[key] = result;
  leaf.release();
  result->retain();
  return result;
}

// Forgets the leaves of a constraint that changes its meaning.
void Solver::drop_hyp_proofs(int index) {
  if (!proofs_enabled_) return;
  for (int key : {index, index == 0 ? INT_MIN : -index}) {
    const auto it = hyp_proofs_.find(key);
    if (it != hyp_proofs_.end()) {
      Proof* const leaf = it->second;
      hyp_proofs_.erase(key);
      Proof::release(leaf);
    }
  }
}

Proof* Solver::get_conflict_proof() {
  if (conflict_proof_ != nullptr) {
    conflict_proof_->retain();
  }
  return conflict_proof_;
}

Proof* Solver::get_implication_proof(int index) {
  Proof* found = nullptr;
  if (index < 0) {
    if (implied_reported_ > 0 && implied_reported_ <= implication_proofs_.size()) {
      found = implication_proofs_[implied_reported_ - 1].second;
    }
  } else {
    for (const auto& implication : implication_proofs_) {
      if (implication.first == index) {
        found = implication.second;
        break;
      }
    }
  }
  if (found != nullptr) {
    found->retain();
  }
  return found;
}

// ==== 06 PROPAGATION ====

bool Solver::next_implied(int* c, std::vector<int>* reason) {
  while (implied_reported_ < num_implied_) {
    const auto& [constraint, info] = implied_[implied_reported_++];
    if (constraint >= 0) {
      *c = constraint;
      *reason = info.reason;
      return true;
    }
  }
  return false;
}

// On `var` (which lists also constraints that were later told on another variable), known, not asserted, not barred by
// the owner, and not reported already.
bool Solver::is_candidate(const RangeConstraint& rc, int var) const {
  return rc.var == var && (rc.flags & (RANGE_UNPUSHED | RANGE_EXCLUDED)) == RANGE_UNPUSHED &&
         !(propagation_level_ != 0 && rc.has(RANGE_IMPLIED));
}

// Takes over the reference to `proof`, which is null exactly when proofs are off.
void Solver::record_implication(int c, std::vector<int> reason, Proof* proof) {
  proof::Ref held(proof);
  std::pair<int, ImplInfo> entry{c, ImplInfo{std::move(reason), constraint_stack_.size()}};
  if (proofs_enabled_) {
    implication_proofs_.reserve(implication_proofs_.size() + 1);
    Proof* const step = new LaCombImp(c, 0, held.get());
    held.release();
    implication_proofs_.emplace_back(c, step);
  }
  if (num_implied_ < implied_.size()) {
    implied_[num_implied_++] = std::move(entry);
  } else {
    implied_.push_back(std::move(entry));
    num_implied_ = implied_.size();
  }
  constraints_[c].set(RANGE_IMPLIED);
}

// The bound of `asserted` has just come into force.
void Solver::try_trivial_implications(int asserted, const RangeConstraint& rc, bool from_upper) {
  if (rc.kind() == RANGE_DISEQ) return;
  for (int c : var_constraints_.get(rc.var)) {
    const auto it = constraints_.find(c);
    if (c == asserted || it == constraints_.end() || !is_candidate(it->second, rc.var) ||
        !follows_trivially(rc, from_upper, it->second)) {
      continue;
    }
    if (verbosity_ > 0) {
      std::fprintf(stdout, "LA - try_trivial_implications: %d -> %d\n", asserted, c);
    }
    std::vector<int> reason{asserted};
    record_implication(c, std::move(reason), proofs_enabled_ ? get_or_create_hyp_proof(asserted, from_upper) : nullptr);
  }
}

// Whether a constraint on the same variable follows from an asserted one. With proofs, equalities and disequalities
// never do, since there is no proof form for them, and an equality counts for its other half only.
bool Solver::follows_trivially(const RangeConstraint& asserted, bool from_upper, const RangeConstraint& rc) const {
  const int order = cmp(asserted.bound, rc.bound, true);
  const int kind = rc.kind();
  if (proofs_enabled_ && (kind == RANGE_EQUAL || kind == RANGE_DISEQ)) return false;
  switch (asserted.kind()) {
    case RANGE_LOWER:
      return kind == RANGE_LOWER ? order >= 0 : kind == RANGE_DISEQ && order > 0;
    case RANGE_UPPER:
      return kind == RANGE_UPPER ? order <= 0 : kind == RANGE_DISEQ && order < 0;
    default:
      break;
  }
  if (proofs_enabled_ && kind != (from_upper ? RANGE_LOWER : RANGE_UPPER)) return false;
  switch (kind) {
    case RANGE_LOWER:
      return order >= 0;
    case RANGE_EQUAL:
      return order == 0;
    case RANGE_UPPER:
      return order <= 0;
    default:
      return order != 0;
  }
}

namespace {

// Which bounds of a row's variables a statement about their sum rests on; the numbers are part of the interface.
enum RowSide : int { ROW_MINIMUM = 1, ROW_BOTH = 2, ROW_MAXIMUM = 3 };

}  // namespace

// The least or greatest value that the bounds allow the row, infinite as soon as one of its bounds is missing.
// Infinities are never added: their arithmetic knows no signs.
DNumber Solver::row_limit(const Equation& row, bool maximum) const {
  DNumber sum;
  for (const Equation::VarCoeff& term : row.terms()) {
    const int sign = term.coeff.sign();
    if (term.var == row.defining_var() || sign == 0) continue;
    const DNumber& bound = var_bounds_.get(term.var).bound((sign > 0) == maximum);
    if (bound.is_infinite()) return maximum ? DNumber::plus_inf : DNumber::minus_inf;
    sum.add_mul(bound, term.coeff);
  }
  return sum;
}

bool Solver::try_range_implications(int basic) {
  const Equation& row = tableau_.row(basic);
  const DNumber low = row_limit(row, false);
  const DNumber high = row_limit(row, true);
  if (!low.is_infinite() && !high.is_infinite() && cmp(low, high, true) > 0) {
    std::fprintf(stdout, "ERROR: Equation is: %s\n", row.to_str(true).c_str());
  }
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - try_range_implications, bounds on %d: lower: %s, upper: %s\n", basic,
                 low.to_str().c_str(), high.to_str().c_str());
  }
  for (int c : var_constraints_.get(basic)) {
    const auto it = constraints_.find(c);
    if (it != constraints_.end() && is_candidate(it->second, basic) && !try_range_implication(c, row, low, high)) {
      return false;
    }
  }
  return true;
}

// Compares one candidate on the row's variable with the row's limits. False when the limits contradict a bound.
bool Solver::try_range_implication(int c, const Equation& row, const DNumber& low, const DNumber& high) {
  const RangeConstraint& rc = constraints_.find(c)->second;
  const DNumber& k = rc.bound;
  const DNumber& own_low = var_bounds_.get(rc.var).lower();
  const DNumber& own_high = var_bounds_.get(rc.var).upper();
  const bool above_own = cmp(k, own_high, true) > 0;
  const bool below_own = cmp(k, own_low, true) < 0;
  int side = 0;
  switch (rc.kind()) {
    case RANGE_LOWER:
      side = cmp(low, k, true) >= 0 ? ROW_MINIMUM : 0;
      break;
    case RANGE_EQUAL:
      side = !proofs_enabled_ && cmp(low, high, true) == 0 && cmp(low, k, true) == 0 ? ROW_BOTH : 0;
      break;
    case RANGE_UPPER:
      side = cmp(high, k, true) <= 0 ? ROW_MAXIMUM : 0;
      break;
    default:
      if (!proofs_enabled_ && cmp(low, k, true) > 0 && cmp(low, own_low, true) <= 0) {
        side = ROW_MINIMUM;
      } else if (!proofs_enabled_ && cmp(high, k, true) < 0 && cmp(high, own_high, true) >= 0) {
        side = ROW_MAXIMUM;
      }
  }
  if (side == 0) return true;
  if (rc.kind() != RANGE_DISEQ && ((above_own && side != ROW_MAXIMUM) || (below_own && side != ROW_MINIMUM))) {
    set_range_conflict(c, row, above_own ? ROW_MINIMUM : ROW_MAXIMUM);
    return false;
  }
  std::vector<int> reason;
  Proof* proof = nullptr;
  build_range_implication_reason(row, side, &reason, &proof);
  if (proofs_enabled_ && proof == nullptr) return true;  // a row without terms has nothing to make a proof of
  if (verbosity_ > 0) {
    trace_range_implication(c, reason, row, low, high);
  }
  record_implication(c, std::move(reason), proof);
  return true;
}

void Solver::trace_range_implication(int c, const std::vector<int>& reason, const Equation& row, const DNumber& low,
                                     const DNumber& high) const {
  const VariableBounds& own = var_bounds_.get(row.defining_var());
  std::fprintf(stdout, "LA - try_range_implications, constraint %d is implied by: ", c);
  for (int index : reason) {
    std::fprintf(stdout, "%d ", index);
  }
  std::fprintf(stdout, "\nEquation used: %s\n", row.to_str(true).c_str());
  std::fprintf(stdout, "cur_l: %s, cur_u: %s, x_lower: %s, x_upper: %s\n", low.to_str().c_str(), high.to_str().c_str(),
               own.lower().to_str().c_str(), own.upper().to_str().c_str());
}

// The row's limit on `side` contradicts a bound in force of the row's own variable.
void Solver::set_range_conflict(int c, const Equation& row, int side) {
  const int var = row.defining_var();
  conflict_.clear();
  Proof* reason = nullptr;
  build_range_implication_reason(row, side, &conflict_, &reason);
  proof::Ref held(reason);
  const bool upper_used = side == ROW_MINIMUM;
  const int own = var_bounds_.get(var).constraint_of(upper_used);
  if (std::find(conflict_.begin(), conflict_.end(), own) == conflict_.end()) {
    conflict_.push_back(own);
  }
  if (proofs_enabled_) {
    proof::Ref leaf(get_or_create_hyp_proof(own, !upper_used));
    if (held != nullptr) {
      Proof* const step = new LaComb(nullptr, held.get(), nullptr, leaf.get(), 0, 0, 0);
      held.release();
      leaf.release();
      set_conflict_proof(step);
    } else {
      set_conflict_proof(leaf.release());
    }
  }
  if (verbosity_ > 0) {
    std::fprintf(stdout,
                 "LA - try_range_implications found a conflict: %d is implied by equation %s, but is inconsistent with "
                 "this state\n",
                 c, row.to_str(true).c_str());
  }
  in_conflict_ = true;
}

// The bounds that limit the row on `side`, each constraint once, and their combination as a proof.
void Solver::build_range_implication_reason(const Equation& row, int side, std::vector<int>* out, Proof** proof) {
  reason_vars_.clear();
  std::vector<ReasonLeaf> leaves;
  const auto take = [&](const Equation::VarCoeff& term, bool upper) {
    const VariableBounds& bounds = var_bounds_.get(term.var);
    if (bounds.bound(upper).is_infinite()) return;
    const int index = bounds.constraint_of(upper);
    if (reason_vars_.insert(index).second && out != nullptr) {
      out->push_back(index);
    }
    if (proofs_enabled_) {
      QNumber size = term.coeff.abs();
      proof::Ref leaf(get_or_create_hyp_proof(index, !upper));
      leaves.emplace_back(std::move(size), std::move(leaf));
    }
  };
  for (const Equation::VarCoeff& term : row.terms()) {
    const int sign = term.coeff.sign();
    if (term.var == row.defining_var() || sign == 0) continue;
    if (side != ROW_MAXIMUM) {
      take(term, sign < 0);
    }
    if (side != ROW_MINIMUM) {
      take(term, sign > 0);
    }
  }
  if (proof != nullptr) {
    *proof = combine_leaves(&leaves);
  }
}

// The sum of coefficient * leaf; null for none. Takes over the leaves.
Proof* Solver::combine_leaves(std::vector<ReasonLeaf>* leaves) {
  if (leaves->empty()) return nullptr;
  const auto number = [](const QNumber& value) { return std::make_unique<QNumber>(value); };
  auto& [first_coeff, first] = leaves->front();
  if (leaves->size() == 1) {
    if (first_coeff.is_one()) return first.release();
    auto coeff = number(first_coeff);
    auto zero = number(QNumber());
    Proof* const sum = new LaComb(coeff.get(), first.get(), zero.get(), first.get(), 0, 0, 0);
    first->retain();
    coeff.release(), zero.release(), first.release();
    return sum;
  }
  proof::Ref sum;
  for (std::size_t i = 1; i < leaves->size(); ++i) {
    auto& [coeff, leaf] = (*leaves)[i];
    auto left_coeff = i == 1 ? number(first_coeff) : nullptr;
    auto right_coeff = number(coeff);
    proof::Ref& left = i == 1 ? first : sum;
    proof::Ref next(new LaComb(left_coeff.get(), left.get(), right_coeff.get(), leaf.get(), 0, 0, 0));
    left_coeff.release(), left.release(), right_coeff.release(), leaf.release();
    sum = std::move(next);
  }
  return sum.release();
}

// ==== 07 DISEQUALITIES ====

bool Solver::push_diseq_bound(int c) {
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA- push_diseq_bound: %d\n", c);
  }
  constraint_stack_.emplace_back(c, -1);
  diseqs_.push_back(c);
  const auto it = constraints_.find(c);
  if (!in_conflict_ && it != constraints_.end()) {
    it->second.clear(RANGE_UNPUSHED);
  }
  return !in_conflict_;
}

// A bound level that a disequality holds for the time of a search. It leaves with this object, also when the search is
// interrupted, and the disequality counts as asserted again.
class Solver::TemporaryLevel {
 public:
  TemporaryLevel(Solver* solver, int d, int var)
      : solver_(solver), d_(d), var_(var), height_(solver->var_bounds_.raw(var).size()) {}
  TemporaryLevel(const TemporaryLevel&) = delete;
  TemporaryLevel& operator=(const TemporaryLevel&) = delete;
  ~TemporaryLevel() { pop(); }

  bool is_pushed() const { return solver_->var_bounds_.raw(var_).size() > height_; }
  void pop() {
    if (is_pushed()) {
      solver_->var_bounds_.raw(var_).pop_bounds();
    }
    solver_->constraints_.find(d_)->second.clear(RANGE_UNPUSHED);
  }

 private:
  Solver* solver_;
  int d_;
  int var_;
  std::size_t height_;
};

// What one run over the disequalities sets aside. When an exception ends it, the changes noted before the run are not
// lost: the values stay as the search left them, which keep every asserted bound.
struct Solver::Split {
  explicit Split(Solver* owner) : solver(owner) { saved_changed.swap(solver->changed_vars_); }
  Split(const Split&) = delete;
  Split& operator=(const Split&) = delete;
  ~Split() {
    if (finished) return;
    try {
      keep_saved_changes();
    } catch (const std::bad_alloc&) {  // then only destruction is safe anyway
    }
  }
  void keep_saved_changes() {
    std::vector<int>& changed = solver->changed_vars_;
    changed.insert(changed.end(), saved_changed.begin(), saved_changed.end());
  }
  void make_backup() {
    if (backup == nullptr) {
      backup = std::make_unique<Values>(solver->cur_beta_);
    }
  }
  // Undoes what the search changed since the changes were last cleared.
  void undo_search() {
    for (int var : solver->changed_vars_) {
      solver->cur_beta_[var] = backup->get(var);
    }
    solver->changed_vars_.clear();
  }

  Solver* solver;
  std::vector<int> saved_changed;  // changes of the search before the run
  std::unique_ptr<Values> backup;  // the values before the run, copied when first needed
  std::vector<int> less_conflict;  // of the disequality at hand, in order
  proof::Ref less_proof;           // likewise
  bool finished = false;
};

bool Solver::do_check_disequalities() {
  for (int d : diseqs_) {
    touch(constraints_.find(d)->second.var);
  }
  Split split(this);
  if (verbosity_ > 0) {
    std::fprintf(stdout, "LA - do_check_disequalities:\n");
  }
  bool ok = true;
  for (std::size_t i = diseqs_.size(); ok && i > 0; --i) {
    ok = split_disequality(diseqs_[i - 1], &split);
  }
  if (should_restore_beta(ok, split.backup.get(), split.saved_changed)) {
    if (split.backup != nullptr) {
      cur_beta_.swap(*split.backup);
    }
    changed_vars_.swap(split.saved_changed);
  } else {
    split.keep_saved_changes();
  }
  split.finished = true;
  if (ok) {
    in_conflict_ = false;
    conflict_.clear();
    if (proofs_enabled_) {
      set_conflict_proof(nullptr);
    }
  }
  return ok;
}

// Whether disequality d can hold: it does already, or one of its strict sides is consistent with all the rest.
bool Solver::split_disequality(int d, Split* split) {
  const RangeConstraint& rc = constraints_.find(d)->second;
  if (verbosity_ > 1) {
    std::fprintf(stdout, "disequality is: %d, var: %d, bound: %s\n", d, rc.var, rc.bound.to_str().c_str());
  }
  const DNumber& value = cur_beta_.raw(rc.var);
  if (cmp(value, rc.bound, true) != 0) {
    if (verbosity_ > 1) {
      std::fprintf(stdout, "  OK, cur_beta_[%d] = %s, bound = %s\n", rc.var, value.to_str().c_str(),
                   rc.bound.to_str().c_str());
    }
    return true;
  }
  split->make_backup();
  conflict_.clear();
  if (try_strict_side(d, true, split)) return true;
  in_conflict_ = false;
  if (try_strict_side(d, false, split)) {
    split->less_conflict.clear();
    split->less_proof.reset();
    return true;
  }
  if (verbosity_ >= 1) {
    std::fprintf(stdout, "LA - do_check_disequalities, conflict for disequality %d: ", d);
    for (int index : conflict_) {
      std::fprintf(stdout, "%d ", index);
    }
    std::fprintf(stdout, "\n");
  }
  return false;
}

// Searches with the variable strictly below (`less`) or above the constant. When that fails the search is undone and
// its explanation kept: that of the lesser side aside, that of the greater side joined with it as the conflict.
bool Solver::try_strict_side(int d, bool less, Split* split) {
  const RangeConstraint& rc = constraints_.find(d)->second;
  const int var = rc.var;
  DNumber side = rc.bound + delta_times(QNumber(less ? -1 : 1));
  if (verbosity_ > 1) {
    std::fprintf(stdout, "constr: %d, push_%s_bound: %s\n", d, less ? "upper" : "lower", side.to_str().c_str());
  }
  TemporaryLevel level(this, d, var);
  push_bound(d, &side, true, less);
  if (do_check(cur_beta_)) return true;
  split->undo_search();
  const std::vector<int> conflict = std::move(conflict_);
  conflict_.clear();
  proof::Ref proof(proofs_enabled_ ? conflict_proof_ : nullptr);
  if (proofs_enabled_) {
    conflict_proof_ = nullptr;
  }
  if (less) {
    split->less_conflict = unique_in_order({&conflict});
    split->less_proof = std::move(proof);
  }
  if (verbosity_ > 1) {
    trace_failed_side(less, split->less_conflict, var);
  }
  const bool was_pushed = level.is_pushed();
  level.pop();
  if (verbosity_ > 1 && (less || was_pushed)) {
    const VariableBounds& bounds = var_bounds_.raw(var);
    std::fprintf(stdout, "restored bounds: %s, %s\n", bounds.lower().to_str().c_str(), bounds.upper().to_str().c_str());
  }
  if (!less) {
    conflict_ = unique_in_order({&split->less_conflict, &conflict});
    if (proofs_enabled_) {
      set_conflict_proof(new LaNeq(d, split->less_proof.get(), proof.get()));
      split->less_proof.reset();
    }
  }
  return false;
}

void Solver::trace_failed_side(bool less, const std::vector<int>& conflict, int var) const {
  std::fprintf(stdout, "conflict for %s bound: ", less ? "upper" : "lower");
  for (int index : conflict) {
    std::fprintf(stdout, "%d ", index);
  }
  const VariableBounds& bounds = var_bounds_.raw(var);
  std::fprintf(stdout, "\nvar_bounds[%d]: %s, %s\n", var, bounds.lower().to_str().c_str(),
               bounds.upper().to_str().c_str());
}

// ==== 08 VALUES ====

bool Solver::get_value(int var, QNumber* out) {
  const auto it = model_values_.find(var);
  if (it == model_values_.end()) return false;
  *out = it->second;
  return true;
}

bool Solver::get_floor_value(int var, QNumber* out) {
  DNumber value;
  if (!get_abstract_value(var, &value)) return false;
  *out = value.real().floor();
  if (value.real().is_integer() && value.delta().is_negative()) {
    *out -= QNumber(1);
  }
  return true;
}

// Equations set aside may build on each other in long chains, so they are evaluated from an explicit stack.
bool Solver::get_abstract_value(int var, DNumber* out) {
  std::vector<int> pending;
  if (tableau_.is_eliminated(var) && !abstract_values_.contains(var)) {
    pending.push_back(var);
  }
  while (!pending.empty()) {
    const int next = pending.back();
    const std::size_t height = pending.size();
    const Equation& definition = *tableau_.get_eliminated_equation(next);
    for (const Equation::VarCoeff& term : definition.terms()) {
      if (term.var != next && tableau_.is_eliminated(term.var) && !abstract_values_.contains(term.var)) {
        pending.push_back(term.var);
      }
    }
    if (pending.size() == height) {
      abstract_values_[next] = eval_over_abstract_values(definition);
      pending.pop_back();
    }
  }
  const DNumber* const value = known_abstract_value(var);
  if (value != nullptr) {
    *out = *value;
  }
  return value != nullptr;
}

const DNumber* Solver::known_abstract_value(int var) const {
  const auto cached = abstract_values_.find(var);
  if (cached != abstract_values_.end()) return &cached->second;
  return tableau_.is_eliminated(var) ? nullptr : cur_beta_.find(var);
}

DNumber Solver::eval_over_abstract_values(const Equation& eq) const {
  DNumber sum;
  for (const Equation::VarCoeff& term : eq.terms()) {
    const DNumber* const value = term.var != eq.defining_var() ? known_abstract_value(term.var) : nullptr;
    if (value != nullptr) {
      sum.add_mul(*value, term.coeff);
    }
  }
  return sum;
}

bool Solver::are_equal(int a, int b) {
  DNumber value_a;
  DNumber value_b;
  return get_abstract_value(a, &value_a) && get_abstract_value(b, &value_b) && cmp(value_a, value_b, true) == 0;
}

// ==== 09 MODELS ====

void Solver::adjust_model_for_disequalities() {
  adjust_model_for_disequalities({}, model_work_vars_);
  for (int var : model_work_vars_) {
    var_bounds_[var].pop_bounds();
  }
  model_work_vars_.clear();
}

void Solver::adjust_model_for_disequalities(const std::vector<Equation>& eqs, std::vector<int>& fixed) {
  fixed.clear();
  DNumber step = delta_times(QNumber(1));
  for (const Equation& eq : eqs) {
    const QNumber size = eval_abstractly(eq, true).delta().abs();
    if (!size.is_zero() && size < step.delta()) {
      step = delta_times(size * QNumber(1, 2));
    }
  }
  adjust_model_for_disequalities(fixed, step);
}

// The choices made so far for the disequalities, in their order; each holds one bound level of its variable. All of
// them are taken back, and the solver's settings with them, unless the search comes to its end.
class Solver::SideSearch {
 public:
  struct Choice {
    int d;
    int var;
    bool prefers_up;
    int tried = 0;           // number of sides tried
    bool is_pushed = false;  // holds a level now
  };

  explicit SideSearch(Solver* solver) : solver_(solver), propagation_level_(solver->propagation_level_) {
    solver->propagation_level_ = 0;
  }
  SideSearch(const SideSearch&) = delete;
  SideSearch& operator=(const SideSearch&) = delete;
  ~SideSearch() {
    if (!is_kept_) {
      while (!choices_.empty()) {
        drop_last();
      }
    }
    solver_->propagation_level_ = propagation_level_;
    solver_->in_conflict_ = false;
    solver_->conflict_.clear();
  }

  void add(int d) {
    const RangeConstraint& rc = solver_->constraints_.find(d)->second;
    solver_->touch(rc.var);
    const bool up = cmp(solver_->cur_beta_.raw(rc.var), rc.bound, true) >= 0;
    choices_.push_back(Choice{d, rc.var, up});
  }
  // Tries the sides of the last choice that are left. False when there is none that is consistent.
  bool settle_last(const DNumber& step) {
    while (choices_.back().tried < 2) {
      Choice& choice = choices_.back();
      release(&choice);
      if (try_side(&choice, choice.prefers_up == (choice.tried++ == 0), step)) return true;
    }
    return false;
  }
  void drop_last() {
    release(&choices_.back());
    choices_.pop_back();
  }
  void keep() { is_kept_ = true; }
  const std::vector<Choice>& choices() const { return choices_; }

 private:
  bool try_side(Choice* choice, bool up, const DNumber& step) {
    const DNumber constant = solver_->constraints_.find(choice->d)->second.bound;
    DNumber side = up ? constant + step : constant - step;
    VariableBounds& bounds = solver_->var_bounds_.raw(choice->var);
    const std::size_t height = bounds.size();
    if (solver_->push_bound(choice->d, &side, true, !up)) {
      choice->is_pushed = true;
      if (bounds.size() == height) {  // no tighter than what is in force: every choice has a level of its own
        bounds.push_bounds(choice->d, !up, bounds.lower(), bounds.upper());
      }
    }
    solver_->constraints_.find(choice->d)->second.clear(RANGE_UNPUSHED);
    if (solver_->check(true)) return true;
    release(choice);
    return false;
  }
  void release(Choice* choice) {
    if (choice->is_pushed) {
      solver_->var_bounds_.raw(choice->var).pop_bounds();
      choice->is_pushed = false;
    }
    solver_->in_conflict_ = false;
  }

  Solver* solver_;
  int propagation_level_;  // of the solver, outside of the search
  std::vector<Choice> choices_;
  bool is_kept_ = false;
};

// Chronological backtracking over the sides of all disequalities. When even the first one fails on both sides, which
// cannot happen right after a successful check (a convex set that no single hyperplane contains is not covered by
// finitely many), nothing stays pushed.
void Solver::adjust_model_for_disequalities(std::vector<int>& fixed, const DNumber& step) {
  if (diseqs_.empty()) return;
  // `fixed` may be the scratch list of the searches below.
  const std::vector<int> at_entry = fixed;
  fixed.clear();
  SideSearch search(this);
  while (search.choices().size() < diseqs_.size()) {
    search.add(diseqs_[search.choices().size()]);
    while (!search.choices().empty() && !search.settle_last(step)) {
      search.drop_last();
    }
    if (search.choices().empty()) break;
  }
  search.keep();
  fixed = at_entry;
  for (const SideSearch::Choice& choice : search.choices()) {
    fixed.push_back(choice.var);
  }
}

void Solver::build_model(const std::vector<Equation>& eqs) {
  model_values_.clear();
  work_vars_.clear();
  clear_abstract_value_cache();
  if (!in_conflict_) {
    adjust_model_for_disequalities(eqs, work_vars_);
  }
  struct PopLevels {  // the chosen delta keeps the separating levels; then they go
    Solver* solver;
    ~PopLevels() {
      for (int var : solver->work_vars_) {
        solver->var_bounds_.raw(var).pop_bounds();
      }
      solver->work_vars_.clear();
    }
  };
  std::vector<bool> truth;
  QNumber delta;
  {
    const PopLevels guard{this};
    for (const Equation& eq : eqs) {
      truth.push_back(is_true(eq));
    }
    delta = smallest_ratio();
    set_delta_value(delta);
  }
  const std::vector<int> representatives = group_by_value();
  const std::size_t limit = std::max<std::size_t>(var_bounds_.size(), 100);
  for (std::size_t attempt = 1; !try_delta(delta, eqs, truth, representatives); ++attempt) {
    if (attempt > limit) {
      const Exception failure("build_model: too many iterations");
      Exception::dump_msg_and_raise_assertion(failure);
      throw failure;
    }
    model_values_.clear();
    delta *= QNumber(1, 2);
  }
}

// As eval_equation under the current values, but eliminated variables count with their values, too.
DNumber Solver::eval_abstractly(const Equation& eq, bool skip_defining) {
  DNumber sum;
  DNumber value;
  for (const Equation::VarCoeff& term : eq.terms()) {
    if (skip_defining && term.var == eq.defining_var()) continue;
    if (get_abstract_value(term.var, &value)) {
      sum.add_mul(value, term.coeff);
    }
  }
  return sum;
}

bool Solver::is_true(const Equation& eq) {
  const DNumber value = eval_abstractly(eq, false);
  return value.delta().is_zero() && value.real() == eq.constant().neg();
}

QNumber Solver::smallest_ratio() const {
  bool found = false;
  QNumber best(1);
  const auto consider = [&](const DNumber& low, const DNumber& high) {
    if (low.is_infinite() || high.is_infinite() || !(low.real() < high.real()) || !(high.delta() < low.delta())) {
      return;
    }
    QNumber ratio = (high.real() - low.real()) / (low.delta() - high.delta());
    if (!found || ratio < best) {
      best.swap(ratio);
      found = true;
    }
  };
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    const int var = static_cast<int>(v);
    const DNumber& value = cur_beta_.get(var);
    consider(var_bounds_.raw(var).lower(), value);
    consider(value, var_bounds_.raw(var).upper());
  }
  return best;
}

// One variable of each abstract value.
std::vector<int> Solver::group_by_value() {
  const auto is_less = [](const DNumber& a, const DNumber& b) { return cmp(a, b, true) < 0; };
  std::map<DNumber, int, decltype(is_less)> groups(is_less);
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    DNumber value;
    get_abstract_value(static_cast<int>(v), &value);
    groups.emplace(value, static_cast<int>(v));
  }
  std::vector<int> representatives;
  for (const auto& group : groups) {
    representatives.push_back(group.second);
  }
  return representatives;
}

// Fills the model for one delta. False when two different values became equal or a false equation became true.
bool Solver::try_delta(const QNumber& delta, const std::vector<Equation>& eqs, const std::vector<bool>& truth,
                       const std::vector<int>& representatives) {
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    const int var = static_cast<int>(v);
    DNumber value;
    get_abstract_value(var, &value);
    model_values_[var] = value.real() + value.delta() * delta;
  }
  // Comparing each with each is the definition; neighbours in sorted order give the same answer.
  std::vector<const QNumber*> sorted;
  for (int var : representatives) {
    sorted.push_back(&model_values_.find(var)->second);
  }
  const auto is_less = [](const QNumber* a, const QNumber* b) { return *a < *b; };
  const auto is_equal = [](const QNumber* a, const QNumber* b) { return *a == *b; };
  std::sort(sorted.begin(), sorted.end(), is_less);
  if (std::adjacent_find(sorted.begin(), sorted.end(), is_equal) != sorted.end()) return false;
  for (std::size_t i = 0; i < eqs.size(); ++i) {
    if (!truth[i] && holds_in_model(eqs[i])) return false;
  }
  return true;
}

bool Solver::holds_in_model(const Equation& eq) const {
  QNumber sum;
  for (const Equation::VarCoeff& term : eq.terms()) {
    const auto it = model_values_.find(term.var);
    if (it != model_values_.end()) {
      sum.add_mul(it->second, term.coeff);
    }
  }
  return sum.neg() == eq.constant();
}

// ==== 10 STATISTICS AND DUMPS ====

Solver::Shape Solver::shape() const {
  Shape shape;
  shape.variables = tableau_.get_num_variables();
  for (std::size_t v = 0; v < tableau_.rows().size(); ++v) {
    if (!tableau_.is_basic(static_cast<int>(v))) continue;
    const std::size_t length = tableau_.row(static_cast<int>(v)).terms().size();
    ++shape.rows;
    shape.total_length += static_cast<double>(length);
    shape.longest = std::max<std::uint64_t>(shape.longest, length);
  }
  return shape;
}

void Solver::print_stats(std::ostream& out) const {
  const Shape figures = shape();
  out << "Num of rows in the tableau: " << figures.rows << "\nNum of variables: " << figures.variables << std::endl;
  if (figures.rows == 0) return;
  out << "Avg num of variables in a row: " << figures.total_length / figures.rows
      << "\nMax num of variables in a row: " << figures.longest << std::endl;
  const double cells = static_cast<double>(figures.rows) * static_cast<double>(figures.variables);
  out << "Problem density: " << (figures.variables == 0 ? 0.0 : figures.total_length / cells) << std::endl;
  out << "Num of pivot operations: " << num_pivots_ << std::endl;
}

void Solver::get_stats(std::vector<std::pair<std::string, std::string>>& stats) const {
  const auto add = [&stats](const char* name, const auto& value) {
    std::ostringstream text;
    text << value;
    stats.emplace_back(name, text.str());
  };
  const Shape figures = shape();
  add("num tableau rows", figures.rows);
  add("num tableau variables", figures.variables);
  if (figures.rows != 0) {
    add("avg tableau row length", figures.total_length / figures.rows);
    add("max tableau row length", figures.longest);
    add("num pivot operations", num_pivots_);
  }
}

// The variables with a row, then those of the tableau without one.
void Solver::split_by_basis(std::vector<int>* basic, std::vector<int>* parametric) const {
  for (std::size_t v = 0; v < tableau_.rows().size(); ++v) {
    if (tableau_.is_basic(static_cast<int>(v))) {
      basic->push_back(static_cast<int>(v));
    }
  }
  for (int var : tableau_.get_all_variables()) {
    if (!tableau_.is_basic(var)) {
      parametric->push_back(var);
    }
  }
}

void Solver::dump_debug_status(std::ostream& out) const {
  std::vector<int> basic;
  std::vector<int> parametric;
  split_by_basis(&basic, &parametric);
  const auto write_values = [&](const std::vector<int>& vars) {
    for (int var : vars) {
      out << "x" << var << ": " << cur_beta_.get(var).to_str() << ", saved: " << saved_beta_.get(var).to_str() << "\n";
    }
  };
  const auto write_bounds = [&](const std::vector<int>& vars) {
    for (int var : vars) {
      out << "x" << var << ": " << var_bounds_.get(var).to_str() << "\n";
    }
  };
  out << "\n\nLA SOLVER, BEGIN DEBUG STATUS\n";
  out << "TABLEAU:\n" << tableau_.to_str() << "\n";
  out << "\nVAR VALUES:\nBASIC:\n";
  write_values(basic);
  out << "\nPARAMETRIC:\n";
  write_values(parametric);
  out << "\nVAR BOUNDS:\nBASIC:\n";
  write_bounds(basic);
  out << "\nPARAMETRIC:\n";
  write_bounds(parametric);
  out << "\nCONSTRAINTS ON STACK:\n";
  for (const auto& entry : constraint_stack_) {
    out << entry.first << ", " << entry.second << "\n";
  }
  out << "\nLA SOLVER, END DEBUG STATUS\n";
}

void Solver::dump_debug_status() const {
  dump_debug_status(std::cout);
}

namespace {

// A rational as SMT-LIB writes it: "(/ 3 1)", "(- (/ 1 2))".
std::string smtlib_constant(const QNumber& value) {
  const std::string text = "(/ " + value.abs().numerator().to_str() + " " + value.denominator().to_str() + ")";
  return value.is_negative() ? "(- " + text + ")" : text;
}

void dump_bound(std::ostream& out, const char* relation, int var, const DNumber& bound) {
  if (!bound.is_infinite()) {
    out << "(assert (" << relation << " x" << var << " (+ " << smtlib_constant(bound.real()) << " (* epsilon "
        << smtlib_constant(bound.delta()) << "))))\n";
  }
}

}  // namespace

void Solver::debug_dump_smtlib(std::ostream& out) const {
  const std::vector<int> vars = tableau_.get_all_variables();
  out << "(set-logic QF_LRA)\n";
  for (int var : vars) {
    out << "(declare-const x" << var << " Real)\n";
  }
  out << "(declare-const epsilon Real)\n(assert (> epsilon 0))\n";
  for (int var : vars) {
    if (!tableau_.is_basic(var)) continue;
    out << "(assert (= x" << var << " (+";
    for (const Equation::VarCoeff& term : tableau_.row(var).terms()) {
      if (term.var != var) {
        out << " (* " << smtlib_constant(term.coeff) << " x" << term.var << ")";
      }
    }
    out << ")))\n";
  }
  for (int var : vars) {
    dump_bound(out, ">=", var, var_bounds_.get(var).lower());
    dump_bound(out, "<=", var, var_bounds_.get(var).upper());
  }
  out << "(check-sat)" << std::endl;
}

void Solver::debug_dump_smtlib() const {
  debug_dump_smtlib(std::cout);
}

// ==== 11 INVARIANTS ====

std::string Solver::check_invariants() const {
  for (const auto checker : {&Solver::check_rows, &Solver::check_nonbasic, &Solver::check_queue, &Solver::check_links,
                             &Solver::check_stack}) {
    std::string offence = (this->*checker)();
    if (!offence.empty()) return offence;
  }
  return "";
}

std::string Solver::check_rows() const {
  for (std::size_t v = 0; initialized_ && !tableau_inconsistent_ && v < tableau_.rows().size(); ++v) {
    const int var = static_cast<int>(v);
    if (!tableau_.is_basic(var)) continue;
    for (const Values* values : {&cur_beta_, &saved_beta_}) {
      if (cmp(eval_equation(tableau_.row(var), *values, true), values->get(var), true) != 0) {
        return "ROWS: the row of x" + std::to_string(var) + " does not hold under the " +
               (values == &cur_beta_ ? "current" : "saved") + " values";
      }
    }
  }
  return "";
}

// Whether `var` lies outside its bounds although no pending repair will look at it.
bool Solver::is_stray(int var) const {
  const DNumber& value = cur_beta_.get(var);
  const VariableBounds& bounds = var_bounds_.get(var);
  const bool outside = cmp(value, bounds.lower(), true) < 0 || cmp(value, bounds.upper(), true) > 0;
  const std::size_t index = static_cast<std::size_t>(var);
  if (tableau_inconsistent_) return false;
  const bool is_awaited = resync_needed_ && index < is_suspect_.size() && is_suspect_[index] != 0;
  return outside && !is_awaited;
}

std::string Solver::check_nonbasic() const {
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    const int var = static_cast<int>(v);
    if (!tableau_.is_basic(var) && !tableau_.is_eliminated(var) && is_stray(var)) {
      return "NONBASIC: x" + std::to_string(var) + " = " + cur_beta_.get(var).to_str() + " lies outside its bounds " +
             var_bounds_.get(var).to_str();
    }
  }
  return "";
}

std::string Solver::check_queue() const {
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    const int var = static_cast<int>(v);
    if (tableau_.is_basic(var) && is_stray(var) && !violated_basics_.contains(var)) {
      return "QUEUE: basic x" + std::to_string(var) + " = " + cur_beta_.get(var).to_str() +
             " lies outside its bounds " + var_bounds_.get(var).to_str() + " but is not queued";
    }
  }
  return "";
}

std::string Solver::check_links() const {
  return tableau_.check_invariants();
}

std::string Solver::check_stack() const {
  std::map<int, std::vector<int>> pushed;  // by variable: the constraints that gave it levels, bottom first
  for (const auto& [c, var] : constraint_stack_) {
    if (var >= 0) {
      pushed[var].push_back(c);
    }
  }
  for (std::size_t v = 0; v < var_bounds_.size(); ++v) {
    const int var = static_cast<int>(v);
    const VariableBounds& bounds = var_bounds_.get(var);
    const auto it = pushed.find(var);
    const std::vector<int> expected = it != pushed.end() ? it->second : std::vector<int>();
    bool fits = bounds.size() == expected.size() + 1 && bounds[0].constraint_index == -1 &&
                bounds[0].lower.is_minus_inf() && bounds[0].upper.is_plus_inf();
    for (std::size_t i = 1; fits && i < bounds.size(); ++i) {
      const BoundElement& below = bounds[i - 1];
      const BoundElement& level = bounds[i];
      const int lower = cmp(below.lower, level.lower, true);
      const int upper = cmp(level.upper, below.upper, true);
      fits = level.constraint_index == expected[i - 1] &&
             (level.is_upper ? lower == 0 && upper < 0 : lower < 0 && upper == 0) &&
             cmp(level.lower, level.upper, true) <= 0;
    }
    if (!fits) {
      return "STACK: the levels of x" + std::to_string(var) + ", " + bounds.to_str() +
             "are not those of the constraint stack";
    }
    if (it != pushed.end()) {
      pushed.erase(it);
    }
  }
  return pushed.empty() ? "" : "STACK: x" + std::to_string(pushed.begin()->first) + " lacks the levels pushed on it";
}

}  // namespace tarku::la

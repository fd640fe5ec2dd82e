// The comparisons of the random tester; those of values are in checker_values.cpp.
#include "tests/tools/checker.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "tarku/exception.h"
#include "tests/tools/bridge.h"
#include "tests/tools/certified.h"
#include "tests/tools/poll_counter.h"
#include "tests/unit/support/proof_census.h"

namespace tarku::tester {

namespace {

std::string to_str(const std::vector<int>& numbers) {
  std::string text = "[";
  for (int number : numbers) text += (text.size() > 1 ? " " : "") + std::to_string(number);
  return text + "]";
}

bool same_bound(const std::optional<Value>& expected, const la::DNumber& actual) {
  if (actual.is_infinite() || !expected) return actual.is_infinite() == !expected;
  return *expected == from_library(actual);
}

std::string to_str(const std::optional<Value>& bound) {
  return bound ? bound->to_str() : "none";
}

}  // namespace

const char* category_of(Sabotage sabotage) {
  switch (sabotage) {
    case Sabotage::kNone:
      return "";
    case Sabotage::kVerdict:
      return "verdict";
    case Sabotage::kPush:
      return "push";
    case Sabotage::kConflict:
      return "conflict";
    case Sabotage::kProofSide:
    case Sabotage::kStrictness:
      return "proof";
    case Sabotage::kValue:
      return "values";
    case Sabotage::kLevel:
      return "levels";
    case Sabotage::kStack:
      return "stack";
    case Sabotage::kAssignment:
      return "invariant";
    case Sabotage::kImplied:
    case Sabotage::kHandOut:
      return "implied";
    case Sabotage::kModel:
      return "model";
    case Sabotage::kHook:
      return "hooks";
    case Sabotage::kReference:
      return "references";
  }
  return "";
}

void Tally::add(const Tally& other) {
  operations += other.operations;
  sat += other.sat;
  unsat += other.unsat;
  search_conflicts += other.search_conflicts;
  push_conflicts += other.push_conflicts;
  interruptions += other.interruptions;
  split_interruptions += other.split_interruptions;
  model_interruptions += other.model_interruptions;
  pivots += other.pivots;
  proofs += other.proofs;
  certificates += other.certificates;
  implications += other.implications;
  handed_out += other.handed_out;
  restores += other.restores;
  additions += other.additions;
  models += other.models;
}

std::string Tally::to_str() const {
  std::ostringstream text;
  text << operations << " operations, " << sat << " sat, " << unsat << " unsat, " << search_conflicts
       << " found by search, " << push_conflicts << " push conflicts, " << interruptions << " interruptions ("
       << split_interruptions << " in splits, " << model_interruptions << " in models), " << pivots << " pivots, "
       << proofs << " proofs, " << certificates << " certificates, " << implications << " implications, " << handed_out
       << " handed out, " << models << " models, hooks asked " << restores << " times about values and " << additions
       << " about conflicts";
  return text.str();
}

Tally Checker::tally() const {
  Tally result = tally_;
  result.pivots = static_cast<std::uint64_t>(solver_->num_pivots_);
  return result;
}

Checker::Checker(const Config& config, Sabotage sabotage) : config_(config), sabotage_(sabotage), model_(config) {
  if (config.hooks) {
    auto hooked = std::make_unique<HookedSolver>(config.proofs, 0);
    hooked_ = hooked.get();
    solver_ = std::move(hooked);
  } else {
    solver_ = std::make_unique<la::Solver>(config.proofs, 0);
  }
  solver_->eliminate_unconstrained_ = config.eliminate;
  solver_->pivot_limit_override_ = static_cast<std::uint64_t>(config.pivot_limit);
  solver_->propagation_level_ = config.propagation;
}

Checker::~Checker() = default;

bool Checker::run(const Op& op) {
  if (!model_.legal(op)) return false;
  if (op.kind == OpKind::kModel && !last_was_sat()) return false;
  // Implications may rest on any equation.
  if (op.kind == OpKind::kRetractEquation && solver_->num_implied_ > 0) return false;
  ++tally_.operations;
  try {
    carry_out(op);
    check_state();
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& error) {
    throw Failure("exception", error.what());
  } catch (const Runaway&) {
    throw Failure("runaway", "search does not end");
  }
  return true;
}

void Checker::carry_out(const Op& op) {
  const bool looks_only = op.kind == OpKind::kValues || op.kind == OpKind::kKeep || op.kind == OpKind::kImplied;
  if (!looks_only && op.kind != OpKind::kCheck) fresh_ = false;
  switch (op.kind) {
    case OpKind::kEquation:
      return tell_equation(op);
    case OpKind::kTell:
      return tell_bound(op);
    case OpKind::kPush:
      return push(op.index);
    case OpKind::kPop:
      return pop();
    case OpKind::kAddEquation:
      solver_->add_equation(op.index);
      return model_.add_equation(op.index);
    case OpKind::kCheck:
      return check(op);
    case OpKind::kRetract:
      drain_implications();
      implied_.forget(op.index);
      solver_->retract_bound(op.index);
      return model_.retract_bound(op.index);
    case OpKind::kRetractEquation:
      solver_->retract_equation(op.index, model_.told_equations.at(op.index).var);
      model_.retract_equation(op.index);
      implied_.clear();
      satisfied_ = false;
      cache_may_be_stale_ = false;
      return;
    case OpKind::kPivotLimit:
      solver_->pivot_limit_override_ = static_cast<std::uint64_t>(op.number);
      return;
    case OpKind::kKeep:
      solver_->constraints_.find(op.index)->second.set(la::RANGE_KEEP);
      model_.told_bounds[op.index].keep = true;
      return;
    case OpKind::kValues:
      if (!cache_may_be_stale_ && model_.initialized) check_values(satisfied_, false);
      return;
    case OpKind::kPropagation:
      solver_->propagation_level_ = model_.propagation = static_cast<int>(op.number);
      return;
    case OpKind::kImplied:
      return hand_out_implications(op.number);
    case OpKind::kModel:
      return build_model(op);
  }
}

// ==== 01 TELLING ====

void Checker::tell_equation(const Op& op) {
  const Model::TellResult expected = model_.judge_equation(op);
  bool refused = false;
  try {
    solver_->tell_equation(op.index, to_equation(op));
  } catch (const Exception&) {
    refused = true;
  }
  require(refused == (expected == Model::TellResult::kRefused), "tell", refused ? "equation refused" : "not refused");
  model_.tell_equation(op);
  if (expected != Model::TellResult::kTold && expected != Model::TellResult::kContradictory) return;
  satisfied_ = false;
  if (model_.initialized) cache_may_be_stale_ = false;
}

void Checker::tell_bound(const Op& op) {
  drain_implications();
  implied_.forget(op.index);
  const la::DNumber bound = to_library(op.bound);
  switch (op.bound_kind) {
    case kLower:
      solver_->tell_lower_bound(op.index, op.var, bound);
      break;
    case kEqual:
      solver_->tell_equal_bound(op.index, op.var, bound);
      break;
    case kUpper:
      solver_->tell_upper_bound(op.index, op.var, bound);
      break;
    case kDiseq:
      solver_->tell_diseq_bound(op.index, op.var, bound);
      break;
  }
  model_.tell_bound(op);
}

// ==== 02 STACK ====

void Checker::push(int c) {
  const bool implied = model_.propagation > 0 && solver_->constraints_.find(c)->second.has(la::RANGE_IMPLIED);
  const bool expected = model_.push(c, implied);
  bool result = solver_->push_constraint(c);
  if (sabotage_ == Sabotage::kPush) result = !result;
  satisfied_ = false;
  cache_may_be_stale_ = true;
  require(result == expected, "push", result ? "succeeded against a contradicting bound" : "failed without a conflict");
  if (model_.stack.back().state == Model::PushState::kFailed) check_conflict_pair();
}

void Checker::pop() {
  const int expected = model_.pop();
  const int result = solver_->pop_constraint();
  require(result == expected, "pop",
          [&] { return "popped " + std::to_string(result) + " instead of " + std::to_string(expected); });
  implied_.pop_to(model_.stack.size());
}

void Checker::check_conflict_pair() {
  ++tally_.push_conflicts;
  const std::vector<int> expected = {model_.last_pair.first, model_.last_pair.second};
  require(solver_->conflict_ == expected, "conflict",
          [&] { return "push conflict " + to_str(solver_->conflict_) + " instead of " + to_str(expected); });
  if (!config_.proofs) return;
  ProofSummer summer(model_);
  const std::string offence = summer.check_conflict(solver_->conflict_proof_);
  require(offence.empty(), "proof", [&] { return "of a push conflict: " + offence; });
}

// ==== 03 CHECKS ====

// Gives whether the search came to an answer.
bool Checker::run_check(const Op& op, std::optional<bool>* result) {
  PollCounter counter(*solver_, op.number);
  if (config_.watch || op.number > 0) solver_->termination_test_ = &counter;
  try {
    *result = solver_->check(op.partial);
  } catch (const Interrupted&) {
    result->reset();
    tally_.split_interruptions += counter.was_under_temporary_bound();
  } catch (...) {
    solver_->termination_test_ = nullptr;
    throw;
  }
  solver_->termination_test_ = nullptr;
  return result->has_value();
}

void Checker::check(const Op& op) {
  if (hooked_ != nullptr) hooked_->begin();
  const bool was_in_conflict = model_.in_conflict;
  const bool is_searched = !was_in_conflict && !model_.has_failed_push() && !model_.contradictory_equations;
  std::optional<bool> result;
  const bool answered = run_check(op, &result);
  cache_may_be_stale_ = false;
  fresh_ = false;
  if (!answered) {
    ++tally_.interruptions;
    satisfied_ = false;
    model_.finish_check({});
    return check_values(false, false);
  }
  if (sabotage_ == Sabotage::kVerdict) result = !*result;
  compare_verdict(op, *result);
  model_.finish_check(result);
  ++(*result ? tally_.sat : tally_.unsat);
  if (!*result && !was_in_conflict) ++tally_.search_conflicts;
  if (hooked_ != nullptr) check_hooks(op, *result, is_searched);
  satisfied_ = *result;
  fresh_ = *result && !op.partial;
  check_saved();
  check_values(*result, *result);
  if (!*result) check_conflict();
  follow_implications();
  drain_implications();
  if (sabotage_ == Sabotage::kAssignment && !model_.levels.empty()) {
    const int var = model_.levels.begin()->first;
    solver_->cur_beta_[var] = solver_->cur_beta_[var] + to_library(Value(1));
  }
}

void Checker::compare_verdict(const Op& op, bool result) {
  const bool expected = model_.verdict(op.partial);
  require(result == expected, "verdict", result ? "sat instead of unsat" : "unsat instead of sat");
}

// `searched`: nothing stood in the way of a search.
void Checker::check_hooks(const Op& op, bool result, bool searched) {
  HookedSolver::Calls calls = hooked_->calls();
  tally_.restores += static_cast<std::uint64_t>(calls.restores);
  tally_.additions += static_cast<std::uint64_t>(calls.additions);
  if (sabotage_ == Sabotage::kHook && calls.additions > 0) --calls.additions;
  require(hooked_->offence().empty(), "hooks", hooked_->offence().c_str());
  require(calls.steps == (op.partial ? 0 : 1), "hooks", "wrong number of optimisation steps");
  require(calls.deltas == 0, "hooks", "delta asked for by a check");
  const bool may_split = searched && !op.partial && !model_.diseqs.empty();
  require(calls.restores <= (may_split ? 1 : 0), "hooks", "asked about the values of no split");
  require(calls.restores == 1 || !may_split || !result, "hooks", "not asked about the values of a split");
  if (searched && !result && calls.restores == 0) {
    require(static_cast<std::size_t>(calls.additions) + 1 == solver_->conflict_.size(), "hooks",
            "not asked once about each member of a conflict");
  }
  const std::string offence = hooked_->check_outcome(result);
  require(offence.empty(), "hooks", offence.c_str());
}

void Checker::check_conflict() {
  std::vector<int> conflict = solver_->conflict_;
  if (sabotage_ == Sabotage::kConflict && !conflict.empty()) conflict.pop_back();
  for (int c : conflict) {
    require(model_.on_stack(c) && model_.told_bounds.count(c) != 0, "conflict",
            [&] { return std::to_string(c) + " of " + to_str(conflict) + " is not asserted"; });
    require(std::count(conflict.begin(), conflict.end(), c) == 1, "conflict",
            [&] { return std::to_string(c) + " stands twice in " + to_str(conflict); });
  }
  require(model_.contradictory(conflict), "conflict", [&] { return to_str(conflict) + " is satisfiable by itself"; });
  if (config_.proofs && !model_.contradictory_equations) check_conflict_proof();
}

void Checker::check_conflict_proof() {
  Misreading misreading = Misreading::kNone;
  if (sabotage_ == Sabotage::kProofSide) misreading = Misreading::kFlippedSide;
  if (sabotage_ == Sabotage::kStrictness) misreading = Misreading::kLostStrictness;
  ++tally_.proofs;
  proof::Proof* proof = solver_->get_conflict_proof();
  require(proof != nullptr, "proof", "missing");
  ProofSummer summer(model_, misreading);
  const std::string offence = summer.check_conflict(proof);
  std::set<int> leaves = summer.leaves();
  if (const auto* split = dynamic_cast<const la::LaNeq*>(proof)) leaves.insert(split->id());
  const Certified certified = certify(*proof, model_, 0);
  proof::Proof::release(proof);
  require(offence.empty(), "proof", offence.c_str());
  require(certified.offence.empty(), "certificate", certified.offence.c_str());
  tally_.certificates += certified.is_expressible ? 1 : 0;
  const std::set<int> conflict(solver_->conflict_.begin(), solver_->conflict_.end());
  require(leaves == conflict, "proof", "rests on other constraints than the conflict names");
}

// An answered check has committed or restored every value that it or a push had changed. Entries of variables that
// are set aside mean nothing.
void Checker::check_saved() const {
  require(solver_->changed_vars_.empty(), "saved", "changed variables left over");
  require(solver_->rows_to_propagate_.size() == 0, "saved", "rows to propagate left over");
  const la::Solver& solver = *solver_;
  const std::size_t length = std::max(solver.cur_beta_.size(), solver.saved_beta_.size());
  for (int var = 0; var < static_cast<int>(length); ++var) {
    const la::DNumber& current = solver.cur_beta_.get(var);
    const la::DNumber& saved = solver.saved_beta_.get(var);
    if (current.is_same(saved) || solver.tableau_.is_eliminated(var)) continue;
    require(from_library(current) == from_library(saved), "saved", [&] {
      return "x" + std::to_string(var) + " is " + current.to_str() + " but was saved as " + saved.to_str();
    });
  }
}

// ==== 04 IMPLICATIONS ====

// Looks at the implications that were found since it was last called, whether they are handed out or not.
void Checker::follow_implications() {
  std::vector<ImpliedMirror::Entry> fresh;
  const std::string offence = implied_.follow(*solver_, &fresh);
  require(offence.empty(), "implied", offence.c_str());
  for (const ImpliedMirror::Entry& entry : fresh) {
    ++tally_.implications;
    // The first half of an equality may imply something before the second one is on the stack.
    const std::uint64_t height = solver_->constraint_stack_.size();
    require(entry.level == height || entry.level + 1 == height, "implied", "found at another height");
    check_implication(entry.c, entry.reason);
    if (config_.proofs) check_implication_proof(entry.c, false);
  }
}

// Asks for up to `most`, or for all when that is 0.
void Checker::hand_out_implications(std::int64_t most) {
  follow_implications();
  int c = 0;
  std::vector<int> reason;
  if (sabotage_ == Sabotage::kHandOut) solver_->next_implied(&c, &reason);
  for (std::int64_t count = 0; most == 0 || count < most; ++count) {
    const ImpliedMirror::Entry* expected = implied_.hand_out();
    const bool got = solver_->next_implied(&c, &reason);
    require(got == (expected != nullptr), "implied", got ? "handed out one too many" : "one is not handed out");
    if (!got) return;
    ++tally_.handed_out;
    require(c == expected->c && reason == expected->reason, "implied", "handed out in another order");
    if (config_.proofs) check_implication_proof(c, true);
  }
}

// Unless they are left to operations of their own, implications are asked for as soon as they are found.
void Checker::drain_implications() {
  if (!config_.lazy) hand_out_implications(0);
}

// The reason, the equations and the opposite of the implied constraint contradict each other.
void Checker::check_implication(int c, std::vector<int> reason) {
  if (sabotage_ == Sabotage::kImplied && !reason.empty()) reason.pop_back();
  const auto found = model_.told_bounds.find(c);
  require(found != model_.told_bounds.end(), "implied", [&] { return std::to_string(c) + " is no told bound"; });
  std::vector<Limit> limits;
  for (int r : reason) {
    require(model_.on_stack(r), "implied", [&] { return "reason " + std::to_string(r) + " is not asserted"; });
    const std::vector<Limit> more = model_.limits_of(r);
    limits.insert(limits.end(), more.begin(), more.end());
  }
  const Model::ToldBound& told = found->second;
  std::vector<std::vector<Limit>> opposites;
  if (told.kind == kDiseq) opposites.push_back({{told.var, false, told.bound}, {told.var, true, told.bound}});
  if (told.kind == kLower || told.kind == kEqual) opposites.push_back({{told.var, true, told.bound, true}});
  if (told.kind == kUpper || told.kind == kEqual) opposites.push_back({{told.var, false, told.bound, true}});
  for (const std::vector<Limit>& opposite : opposites) {
    std::vector<Limit> all = limits;
    all.insert(all.end(), opposite.begin(), opposite.end());
    require(!feasible(model_.equations(), all), "implied",
            [&] { return std::to_string(c) + " does not follow from " + to_str(reason); });
  }
}

void Checker::check_implication_proof(int c, bool handed_out) {
  proof::Proof* proof = solver_->get_implication_proof(handed_out ? -1 : c);
  require(proof != nullptr, "implied", [&] { return "no proof of " + std::to_string(c); });
  ProofSummer summer(model_);
  const std::string offence = summer.check_implication(proof, c);
  const Certified certified = certify(*proof, model_, c);
  proof::Proof::release(proof);
  require(certified.offence.empty(), "certificate", certified.offence.c_str());
  tally_.certificates += certified.is_expressible ? 1 : 0;
  require(offence.empty(), "implied", [&] { return "proof of " + std::to_string(c) + ": " + offence; });
}

// ==== 05 STATE ====

void Checker::check_state() {
  require(solver_->in_conflict_ == model_.in_conflict, "state",
          solver_->in_conflict_ ? "in conflict" : "not in conflict");
  require(solver_->initialized_ == model_.initialized, "state", "initialised at another time");
  require(solver_->checked_ == model_.checked, "state", "checked_ is wrong");
  require(solver_->num_pushed_ == model_.num_pushed, "state",
          [&] { return "num_pushed_ is " + std::to_string(solver_->num_pushed_); });
  require(solver_->diseqs_ == model_.diseqs, "state", "other disequalities asserted");
  require(solver_->propagation_level_ == model_.propagation, "state", "propagation level changed");
  check_stack();
  check_levels();
  follow_implications();
  check_told();
  check_proof_counts();
  const std::string offence = solver_->check_invariants();
  require(offence.empty(), "invariant", offence.c_str());
}

void Checker::check_stack() const {
  std::size_t position = 0;
  const std::size_t expected_height = model_.stack.size() - (sabotage_ == Sabotage::kStack && !model_.stack.empty());
  for (auto it = solver_->constraint_stack_begin(); it != solver_->constraint_stack_end(); ++it, ++position) {
    require(position < expected_height, "stack", "too high");
    const Model::Entry& entry = model_.stack[position];
    require((*it).first == entry.index && (*it).second == entry.var, "stack", [&] {
      return "entry (" + std::to_string((*it).first) + ", " + std::to_string((*it).second) + ") instead of (" +
             std::to_string(entry.index) + ", " + std::to_string(entry.var) + ")";
    });
  }
  require(position == expected_height, "stack", "too low");
  require(solver_->get_constraints_on_stack() == model_.stack_indices(), "stack", "indices");
}

void Checker::check_levels() const {
  const la::Solver& solver = *solver_;
  for (const auto& [var, expected] : model_.levels) {
    const la::VariableBounds& levels = solver.var_bounds_.get(var);
    const auto describe = [&, v = var] { return "x" + std::to_string(v) + ": " + levels.to_str(); };
    require(levels.size() == expected.size() + 1, "levels", describe);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const la::BoundElement& level = levels[i + 1];
      require(level.constraint_index == expected[i].index && level.is_upper == expected[i].is_upper, "levels",
              describe);
      require(same_bound(expected[i].lower, level.lower) && same_bound(expected[i].upper, level.upper), "levels",
              describe);
    }
    if (!expected.empty()) check_bounds_in_force(var, expected.back());
  }
}

void Checker::check_bounds_in_force(int var, const Model::Level& expected) const {
  la::DNumber lower, upper;
  solver_->get_lower_bound(var, &lower);
  solver_->get_upper_bound(var, &upper);
  std::optional<Value> expected_upper = expected.upper;
  if (sabotage_ == Sabotage::kLevel && expected_upper) expected_upper->delta += 1;
  require(same_bound(expected.lower, lower), "levels",
          [&] { return "x" + std::to_string(var) + ": lower " + to_str(expected.lower); });
  require(same_bound(expected_upper, upper), "levels",
          [&] { return "x" + std::to_string(var) + ": upper " + to_str(expected_upper); });
}

void Checker::check_told() const {
  const la::Solver& solver = *solver_;
  std::size_t in_force = 0;
  for (const auto& [c, told] : model_.told_equations) {
    if (told.state != Model::EquationState::kInForce) continue;
    ++in_force;
    require(solver.equations_.contains(c), "told",
            [index = c] { return "equation " + std::to_string(index) + " is missing"; });
  }
  require(solver.equations_.size() == in_force, "told", "too many equations");
  require(solver.constraints_.size() == model_.told_bounds.size(), "told", "other number of bounds");
  for (const auto& [c, told] : model_.told_bounds) check_record(c, told);
  for (const auto& [var, expected] : model_.told_on) {
    const std::vector<int>* actual = solver.var_constraints_.find(var);
    require(actual != nullptr ? *actual == expected : expected.empty(), "told",
            [v = var] { return "list of bounds told on x" + std::to_string(v); });
  }
}

void Checker::check_record(int c, const Model::ToldBound& told) const {
  const la::Solver& solver = *solver_;
  const auto found = solver.constraints_.find(c);
  const auto describe = [c](const char* what) { return [c, what] { return std::to_string(c) + ": " + what; }; };
  require(found != solver.constraints_.end(), "told", describe("missing"));
  const la::RangeConstraint& record = found->second;
  require(record.var == told.var && record.kind() == told.kind, "told", describe("changed"));
  require(from_library(record.bound) == told.bound, "told", describe("other bound"));
  require(told.unpushed_unknown || record.has(la::RANGE_UNPUSHED) == told.unpushed, "flags", describe("unpushed"));
  require(record.has(la::RANGE_KEEP) == told.keep, "flags", describe("keep"));
  require(!record.has(la::RANGE_EXCLUDED), "flags", describe("excluded"));
  require(!record.has(la::RANGE_IMPLIED) || implied_.stands(c), "flags", describe("implied by nothing"));
}

// Every node of a proof counts the references that there are.
void Checker::check_proof_counts() {
  if (!config_.proofs) return;
  if (sabotage_ == Sabotage::kReference && solver_->conflict_proof_ != nullptr) solver_->get_conflict_proof();
  const std::string offence = test::proof_offence(*solver_);
  require(offence.empty(), "references", offence.c_str());
}

Verdict replay(const Trace& trace, Sabotage sabotage, bool strict) {
  Verdict verdict;
  try {
    Checker checker(trace.config, sabotage);
    for (verdict.step = 0; verdict.step < trace.ops.size(); ++verdict.step) {
      const bool done = checker.run(trace.ops[verdict.step]);
      require(done || !strict, "legality", "operation is not legal here");
    }
  } catch (const Failure& failure) {
    verdict.failure = failure;
  }
  return verdict;
}

}  // namespace tarku::tester

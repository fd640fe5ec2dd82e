// The reference model of a solver's visible state.
#include "tests/tools/model.h"

#include <algorithm>

namespace tarku::tester {

Form equation_form(const Op& op) {
  Form form = op.terms;
  if (op.var >= 0 && coefficient(form, op.var).sign() == 0) form.push_back({op.var, -1});
  return normalized(form);
}

// ==== 01 WHAT IS TOLD ====

Model::TellResult Model::judge_equation(const Op& op) const {
  const auto told = told_equations.find(op.index);
  if (told != told_equations.end() && told->second.state == EquationState::kInForce) return TellResult::kRepeated;
  if (in_conflict) return TellResult::kDropped;
  if (op.constant.sign() == 0) return TellResult::kTold;
  return system_.implies_zero(equation_form(op)) ? TellResult::kContradictory : TellResult::kRefused;
}

void Model::tell_equation(const Op& op) {
  names_equation[op.index] = true;
  const TellResult result = judge_equation(op);
  if (result == TellResult::kRepeated) return;
  ToldEquation told{EquationState::kInForce, op.var, equation_form(op)};
  if (result == TellResult::kDropped) told.state = EquationState::kDropped;
  if (result == TellResult::kRefused) told.state = EquationState::kRefused;
  if (result == TellResult::kContradictory) contradictory_equations = true;
  if (result == TellResult::kTold) system_.add(told.form);
  told_equations[op.index] = std::move(told);
}

void Model::retract_equation(int c) {
  told_equations[c].state = EquationState::kRetracted;
  in_conflict = false;
  rebuild_system();
}

void Model::rebuild_system() {
  system_ = EquationSystem();
  for (const auto& [c, told] : told_equations) {
    if (told.state == EquationState::kInForce) system_.add(told.form);
  }
}

void Model::tell_bound(const Op& op) {
  names_equation[op.index] = false;
  const auto old = told_bounds.find(op.index);
  const bool keep = old != told_bounds.end() && old->second.keep;
  told_bounds[op.index] = {op.var, op.bound_kind, op.bound, true, keep, false};
  told_on[op.var].push_back(op.index);
}

void Model::retract_bound(int c) {
  told_on[told_bounds[c].var].pop_back();
  told_bounds.erase(c);
}

// ==== 02 THE CONSTRAINT STACK ====

bool Model::push(int c, bool implied) {
  ++num_pushed;
  const BoundKind kind = told_bounds[c].kind;
  if (kind == kDiseq) {
    told_bounds[c].unpushed = in_conflict;
    told_bounds[c].unpushed_unknown = in_conflict;
    diseqs.push_back(c);
    record_push(c, -1, PushState::kInForce);  // in force even when a conflict is pending
    return !in_conflict;
  }
  if (kind != kEqual) return push_side(c, kind == kUpper, implied);
  if (push_side(c, false, implied)) return push_side(c, true, implied);
  return record_push(c, -1, stack.back().state);
}

// Gives whether the push succeeded.
bool Model::record_push(int c, int var, PushState state) {
  stack.push_back({c, var, state, false});
  return state == PushState::kInForce;
}

bool Model::fails_at_once(int c) const {
  const ToldBound& told = told_bounds.at(c);
  const auto mine = levels.find(told.var);
  if (mine == levels.end() || mine->second.empty() || told.kind == kDiseq) return false;
  const Level& top = mine->second.back();
  if (told.kind != kUpper && top.upper && compare(told.bound, *top.upper) > 0) return true;
  return told.kind != kLower && top.lower && compare(told.bound, *top.lower) < 0;
}

bool Model::push_side(int c, bool is_upper, bool implied) {
  if (in_conflict) return record_push(c, -1, PushState::kUntried);
  if (!initialized) {
    initialized = true;
    if (contradictory_equations) return record_push(c, -1, PushState::kUntried);
  }
  ToldBound& told = told_bounds[c];
  told.unpushed = false;
  if (implied) return record_push(c, -1, PushState::kInForce);
  std::vector<Level>& mine = levels[told.var];
  Level next{c, is_upper, {}, {}};
  if (!mine.empty()) next.lower = mine.back().lower, next.upper = mine.back().upper;
  std::optional<Value>& same = is_upper ? next.upper : next.lower;
  const std::optional<Value>& other = is_upper ? next.lower : next.upper;
  const int direction = is_upper ? 1 : -1;
  if (same && compare(told.bound, *same) * direction >= 0) return record_push(c, -1, PushState::kInForce);
  if (other && compare(told.bound, *other) * direction < 0) {
    const auto partner =
        std::find_if(mine.rbegin(), mine.rend(), [&](const Level& level) { return level.is_upper != is_upper; });
    in_conflict = true;
    last_pair = {partner->index, c};
    told.unpushed = true;
    return record_push(c, -1, PushState::kFailed);
  }
  same = told.bound;
  mine.push_back(std::move(next));
  return record_push(c, told.var, PushState::kInForce);
}

void Model::pop_levels(int var, int c) {
  if (var < 0) return;
  std::vector<Level>& mine = levels[var];
  while (!mine.empty()) {
    const bool last = mine.back().index == c;
    mine.pop_back();
    if (last) return;
  }
}

int Model::pop() {
  const Entry top = stack.back();
  pop_levels(top.var, top.index);
  stack.pop_back();
  in_conflict = false;
  if (top.is_equation) return top.index;
  --num_pushed;
  ToldBound& told = told_bounds[top.index];
  told.unpushed = true;
  told.unpushed_unknown = false;
  if (told.kind == kDiseq) diseqs.pop_back();
  if (told.kind == kEqual) {
    pop_levels(stack.back().var, top.index);
    stack.pop_back();
  }
  return top.index;
}

void Model::add_equation(int c) {
  stack.push_back({c, -1, PushState::kInForce, true});
}

// ==== 03 VERDICTS ====

std::vector<Limit> Model::limits_of(int c) const {
  std::vector<Limit> limits;
  const ToldBound& told = told_bounds.at(c);
  if (told.kind == kLower || told.kind == kEqual) limits.push_back({told.var, false, told.bound});
  if (told.kind == kUpper || told.kind == kEqual) limits.push_back({told.var, true, told.bound});
  return limits;
}

// A disequality x != b is refuted when neither x <= b - d nor x >= b + d is possible. Together they are refuted as
// soon as one is: the set of solutions is convex.
bool Model::contradictory(const std::vector<int>& constraints) const {
  if (contradictory_equations) return true;
  std::vector<Limit> limits;
  std::vector<const ToldBound*> splits;
  for (int c : constraints) {
    const std::vector<Limit> more = limits_of(c);
    limits.insert(limits.end(), more.begin(), more.end());
    if (more.empty()) splits.push_back(&told_bounds.at(c));
  }
  if (!feasible(system_, limits)) return true;
  for (const ToldBound* split : splits) {
    limits.push_back({split->var, true, split->bound - Value(0, 1)});
    const bool less = feasible(system_, limits);
    limits.back() = {split->var, false, split->bound + Value(0, 1)};
    const bool greater = !less && feasible(system_, limits);
    limits.pop_back();
    if (!less && !greater) return true;
  }
  return false;
}

bool Model::has_failed_push() const {
  return std::any_of(stack.begin(), stack.end(), [](const Entry& entry) { return entry.state != PushState::kInForce; });
}

bool Model::verdict(bool partial) const {
  if (in_conflict || has_failed_push()) return false;
  std::vector<int> constraints;
  for (const Entry& entry : stack) {
    if (entry.is_equation) continue;
    if (partial && told_bounds.at(entry.index).kind == kDiseq) continue;
    if (constraints.empty() || constraints.back() != entry.index) constraints.push_back(entry.index);
  }
  return !contradictory(constraints);
}

void Model::finish_check(std::optional<bool> result) {
  checked = true;
  if (!in_conflict) initialized = true;
  if (result) in_conflict = !*result;
}

// ==== 04 LEGALITY ====

bool Model::on_stack(int c) const {
  return std::any_of(stack.begin(), stack.end(), [c](const Entry& entry) { return entry.index == c; });
}

std::vector<int> Model::stack_indices() const {
  std::vector<int> indices;
  for (const Entry& entry : stack) indices.push_back(entry.index);
  std::sort(indices.begin(), indices.end());
  indices.erase(std::unique(indices.begin(), indices.end()), indices.end());
  return indices;
}

std::vector<int> Model::variables() const {
  std::vector<int> vars;
  for (const auto& [c, told] : told_equations) {
    if (told.state != EquationState::kInForce) continue;
    for (const Term& term : told.form) vars.push_back(term.var);
  }
  for (const auto& [c, told] : told_bounds) vars.push_back(told.var);
  std::sort(vars.begin(), vars.end());
  vars.erase(std::unique(vars.begin(), vars.end()), vars.end());
  return vars;
}

bool Model::legal_equation(const Op& op) const {
  const auto use = names_equation.find(op.index);
  if (op.index < 0 || (use != names_equation.end() && !use->second) || on_stack(op.index)) return false;
  if (op.var == 0 || op.var < -1) return false;
  return std::all_of(op.terms.begin(), op.terms.end(), [](const Term& term) { return term.var >= 1; });
}

bool Model::legal_tell(const Op& op) const {
  const auto use = names_equation.find(op.index);
  if (use != names_equation.end() && use->second) return false;
  const bool two_sided = op.bound_kind == kEqual || op.bound_kind == kDiseq;
  return op.index >= (two_sided ? 1 : 0) && op.var >= 1 && !on_stack(op.index);
}

// The defined variable goes together with its equation, so nothing else may mention it. A stack that holds a push
// that was not carried out waits for being popped.
bool Model::legal_retract_equation(int c) const {
  const auto told = told_equations.find(c);
  if (told == told_equations.end() || told->second.state != EquationState::kInForce || told->second.var < 1) {
    return false;
  }
  if (contradictory_equations || on_stack(c) || has_failed_push()) return false;
  for (const auto& [other, equation] : told_equations) {
    if (other == c || equation.state != EquationState::kInForce) continue;
    if (coefficient(equation.form, told->second.var).sign() != 0) return false;
  }
  return true;
}

bool Model::legal(const Op& op) const {
  const auto bound = told_bounds.find(op.index);
  const bool told = bound != told_bounds.end();
  switch (op.kind) {
    case OpKind::kEquation:
      return legal_equation(op);
    case OpKind::kTell:
      return legal_tell(op);
    case OpKind::kPush:
      return told && !on_stack(op.index);
    case OpKind::kPop:
      return !stack.empty();
    case OpKind::kAddEquation: {
      const auto equation = told_equations.find(op.index);
      return equation != told_equations.end() && !on_stack(op.index) &&
             (equation->second.state == EquationState::kInForce || equation->second.state == EquationState::kDropped);
    }
    case OpKind::kRetract:
      return told && !on_stack(op.index) && told_on.at(bound->second.var).back() == op.index;
    case OpKind::kRetractEquation:
      return legal_retract_equation(op.index);
    case OpKind::kKeep:
      return told;
    case OpKind::kPivotLimit:
      return op.number >= 0;
    case OpKind::kPropagation:
      return op.number >= 0 && op.number <= 2;
    case OpKind::kCheck:
    case OpKind::kImplied:
    case OpKind::kModel:  // the checker asks whether the last check was true
    case OpKind::kValues:
      return true;
  }
  return false;
}

}  // namespace tarku::tester

// Makes up random operations.
#include "tests/tools/generator.h"

#include <algorithm>
#include <limits>

namespace tarku::tester {

std::uint64_t Random::next() {
  state_ += 0x9e3779b97f4a7c15u;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

// ==== 01 THE SHAPE OF A SEQUENCE ====

Generator::Generator(std::uint64_t seed, const Features& features) : random_(seed), features_(features) {
  random_.next();
  deep_ = random_.chance(20);
  choose_config();
  choose_names();
  plan_setup();
  length_ = static_cast<int>(setup_.size());
  length_ += deep_ ? random_.between(20, 70) : random_.chance(10) ? random_.between(50, 120) : random_.between(4, 40);
  huge_percent_ = random_.chance(4) ? 25 : 0;
  stray_percent_ = random_.pick<int>({0, 10, 20, 40});
  worlds_ = random_.between(1, 3);
  defined_percent_ = deep_ ? 90 : random_.pick<int>({20, 50, 95});
  strict_percent_ = random_.pick<int>({0, 10, 40});
  constant_percent_ = random_.chance(3) ? 20 : 0;
}

void Generator::choose_config() {
  config_.proofs = random_.chance(50);
  config_.eliminate = random_.chance(70);
  config_.pivot_limit = random_.pick<int>({0, 0, 0, 1, 1, 2, 5, 1000});
  config_.watch = random_.chance(90);
  if (features_.propagation) {
    config_.propagation = random_.between(0, 2);
    config_.lazy = random_.chance(50);
  }
  if (features_.model) config_.hooks = random_.chance(30);
}

// Mostly small dense ids; sometimes gaps, seldom wide ones.
void Generator::choose_names() {
  const int count = deep_ ? 8 : random_.pick<int>({2, 3, 4, 4, 5, 5, 6, 6, 7, 8});
  const int widest = random_.chance(90) ? 1 : random_.pick<int>({3, 20, 20, 300});
  int id = 0;
  for (int i = 0; i < count; ++i) vars_.push_back(id += random_.between(1, widest));
  const int bounds = deep_ ? 14 : random_.between(4, 14);
  const int stride = random_.chance(90) ? 1 : 1000;
  for (int i = 0; i < bounds; ++i) bound_indices_.push_back(stride * i + (random_.chance(95) ? 1 : 0));
  const int equations = deep_ ? random_.between(4, 5) : random_.chance(5) ? 0 : random_.between(1, std::min(5, count));
  for (int i = 0; i < equations; ++i) equation_indices_.push_back(stride * 14 + 20 + i);
}

// Most sequences tell nearly everything before they begin to assert; some tell as they go.
void Generator::plan_setup() {
  const int percent = deep_ ? 100 : random_.pick<int>({20, 60, 90, 90, 100, 100});
  for (int c : equation_indices_) {
    if (random_.chance(percent)) setup_.push_back(c);
  }
  const bool equations_first = deep_ || random_.chance(70);
  for (int c : bound_indices_) {
    if (!random_.chance(percent)) continue;
    const int last = static_cast<int>(setup_.size());
    setup_.insert(setup_.begin() + (equations_first ? last : random_.between(0, last)), c);
  }
  std::reverse(setup_.begin(), setup_.end());
}

Op Generator::next(const Model& model, bool sat) {
  while (!setup_.empty()) {
    const int c = setup_.back();
    setup_.pop_back();
    const bool equation = std::count(equation_indices_.begin(), equation_indices_.end(), c) != 0;
    const Op op = equation ? make_equation(model, c) : make_tell(model, c);
    if (model.legal(op)) return op;
  }
  for (int attempt = 0; attempt < 20; ++attempt) {
    const Op op = make(choose_kind(model, sat), model);
    last_ = op.kind;
    if (model.legal(op)) return op;
  }
  return make_check(model);
}

OpKind Generator::choose_kind(const Model& model, bool sat) {
  if (burst_left_ > 0) {
    --burst_left_;
    const bool possible = burst_ == OpKind::kPop ? !model.stack.empty() : !model.in_conflict;
    if (possible) return burst_;
  }
  if (features_.model && sat && random_.chance(30)) return OpKind::kModel;
  const bool stuck = model.in_conflict;
  const bool bare = model.told_bounds.size() < 4;
  const Weighted choices[] = {
      {OpKind::kPush, stuck ? 12 : 50},
      {OpKind::kPop, stuck ? 50 : 12},
      {OpKind::kCheck, stuck                     ? 10
                       : last_ == OpKind::kCheck ? 4
                                                 : 20},
      {OpKind::kTell, bare ? 60 : 5},
      {OpKind::kEquation, equation_indices_.empty()      ? 0
                          : model.told_equations.empty() ? 20
                                                         : 3},
      {OpKind::kAddEquation, 1},
      {OpKind::kRetract, 2},
      {OpKind::kRetractEquation, 2},
      {OpKind::kPivotLimit, 1},
      {OpKind::kKeep, 1},
      {OpKind::kValues, 2},
      {OpKind::kPropagation, features_.propagation ? 1 : 0},
      {OpKind::kImplied, config_.lazy ? 6 : 0},
  };
  int total = 0;
  for (const Weighted& choice : choices) total += choice.weight;
  int place = random_.below(total);
  for (const Weighted& choice : choices) {
    if ((place -= choice.weight) < 0) return choice.kind;
  }
  return OpKind::kCheck;
}

Op Generator::make(OpKind kind, const Model& model) {
  Op op;
  op.kind = kind;
  switch (kind) {
    case OpKind::kEquation:
      return make_equation(model, random_.pick(equation_indices_));
    case OpKind::kTell:
      return make_tell(model, random_.pick(bound_indices_));
    case OpKind::kCheck:
      return make_check(model);
    case OpKind::kModel:
      return make_model_request();
    case OpKind::kAddEquation:
    case OpKind::kRetractEquation:
      op.index = equation_indices_.empty() ? -1 : random_.pick(equation_indices_);
      return op;
    case OpKind::kPop:
      if (burst_left_ == 0 && random_.chance(20)) start_burst(OpKind::kPop);
      return op;
    case OpKind::kPivotLimit:
      op.number = random_.pick<int>({0, 1, 2, 1000});
      return op;
    case OpKind::kPropagation:
      op.number = random_.between(0, 2);
      return op;
    case OpKind::kImplied:
      op.number = random_.between(0, 3);
      return op;
    case OpKind::kPush:
      if (burst_left_ == 0 && random_.chance(40)) start_burst(OpKind::kPush);
      op.index = pick_told(model);
      return op;
    case OpKind::kRetract:
    case OpKind::kKeep:
      op.index = pick_told(model);
      return op;
    case OpKind::kValues:
      return op;
  }
  return op;
}

void Generator::start_burst(OpKind kind) {
  burst_ = kind;
  burst_left_ = deep_ ? random_.between(3, 9) : random_.between(1, 6);
}

// A told bound that is not asserted, mostly of the world that is being asserted, and one that does not contradict
// another bound of its variable.
int Generator::pick_told(const Model& model) {
  if (model.stack.empty() || random_.chance(2)) world_ = random_.below(worlds_);
  const bool any_world = random_.chance(4);
  const bool any_bound = random_.chance(10);
  std::vector<int> free;
  for (const auto& [c, told] : model.told_bounds) {
    if (model.on_stack(c) || (!any_world && world_of(c) != world_)) continue;
    if (any_bound || !model.fails_at_once(c)) free.push_back(c);
  }
  return free.empty() ? kNoIndex : random_.pick(free);
}

// ==== 02 NUMBERS ====

Rational Generator::huge() {
  static const std::vector<Rational> values = [] {
    std::vector<Rational> result;
    for (const char* text :
         {"4611686018427387904", "9223372036854775807", "-9223372036854775807", "-9223372036854775808",
          "9223372036854775808", "18446744073709551617", "123456789012345678901234567890/7", "1/9223372036854775807",
          "-1/9223372036854775808", "3037000500", "-3037000499/3037000501", "1000000007/998244353", "4294967296"}) {
      Rational value;
      if (Rational::parse(text, &value)) result.push_back(value);
    }
    return result;
  }();
  return random_.pick(values);
}

Rational Generator::coefficient_value() {
  if (random_.chance(huge_percent_)) return huge();
  static const std::vector<Rational> values = {1, 1, 1, 1, -1, -1, -1, 2, -2, 3, -3, {1, 2}, {-1, 2}, {2, 3}, 5, 7};
  return random_.pick(values);
}

Rational& Generator::hidden(int var, int world) {
  auto place = hidden_.find({var, world});
  if (place == hidden_.end()) place = hidden_.emplace(std::make_pair(var, world), random_.between(-9, 9)).first;
  return place->second;
}

// Lower bounds lie mostly below the hidden point of their world, upper ones above: few pairs contradict each other, so
// that contradictions have to be found in rows.
Rational Generator::bound_real(int var, BoundKind kind, int world) {
  if (random_.chance(huge_percent_)) return huge();
  if (random_.chance(8)) return random_.pick<Rational>({0, 0, 1, -1, 2, -2, 3, {1, 2}, {-3, 2}, 20, -20});
  Rational real = hidden(var, world);
  if (random_.chance(stray_percent_)) real += random_.pick<Rational>({1, -1, 2, -3, {1, 2}, 8, -8});
  const Rational room = random_.pick<Rational>({0, 0, 0, 1, 1, 2, {1, 2}, {1, 3}, 5});
  if (kind == kLower) return real - room;
  return kind == kUpper ? real + room : real;
}

// ==== 03 EQUATIONS ====

Form Generator::random_form(int most_terms) {
  Form form;
  const int terms = random_.between(1, most_terms);
  const std::size_t choice = deep_ ? vars_.size() / 2 : vars_.size();  // deep rows are over the first variables only
  for (int i = 0; i < terms; ++i) {
    form.push_back({vars_[static_cast<std::size_t>(random_.below(static_cast<int>(choice)))], coefficient_value()});
  }
  return normalized(form);
}

// A combination of two equations in force, solved for one of its variables.
void Generator::make_dependent(const Model& model, Op* op) {
  std::vector<Form> forms;
  for (const auto& [c, told] : model.told_equations) {
    if (told.state == Model::EquationState::kInForce) forms.push_back(told.form);
  }
  if (forms.empty()) return;
  const Form form = sum(random_.pick(forms), random_.pick(forms), coefficient_value());
  if (form.empty()) return;
  const Term own = random_.pick(form);
  op->var = own.var;
  op->terms.clear();
  for (const Term& term : form) {
    if (term.var != own.var) op->terms.push_back({term.var, -(term.coeff / own.coeff)});
  }
}

// Moves the hidden points onto a new equation.
void Generator::settle_hidden(const Op& op) {
  for (int world = 0; world < worlds_; ++world) {
    Rational value = op.constant;
    for (const Term& term : op.terms) value += term.coeff * hidden(term.var, world);
    hidden(op.var, world) = value;
  }
}

Op Generator::make_equation(const Model& model, int c) {
  Op op;
  op.kind = OpKind::kEquation;
  op.index = c;
  op.terms = random_form(deep_ ? 6 : 4);
  // Mostly the defined variables are the last ones, each defined once.
  const auto place = std::find(equation_indices_.rbegin(), equation_indices_.rend(), c) - equation_indices_.rbegin();
  op.var = random_.chance(75) ? vars_[vars_.size() - 1 - static_cast<std::size_t>(place)] : pick_var();
  if (random_.chance(12)) make_dependent(model, &op);
  const bool own = coefficient(op.terms, op.var).sign() != 0;
  if (own && random_.chance(80)) {  // an own term is the exception
    op.terms.erase(std::find_if(op.terms.begin(), op.terms.end(), [&](const Term& t) { return t.var == op.var; }));
  } else if (!own && random_.chance(5)) {
    op.terms = normalized(sum(op.terms, {{op.var, -1}}, 1));
  }
  if (random_.chance(3)) op.terms.clear();
  if (random_.chance(3) && !op.terms.empty()) op.var = -1;
  if (random_.chance(constant_percent_)) op.constant = random_.pick<Rational>({1, -1, {1, 2}});
  if (op.var >= 0 && model.told_equations.count(op.index) == 0) settle_hidden(op);
  return op;
}

// ==== 04 BOUNDS, CHECKS, MODELS ====

// Defined variables are the ones that make the search work.
int Generator::pick_bounded_var(const Model& model) {
  std::vector<int> defined;
  for (const auto& [c, told] : model.told_equations) {
    if (told.var >= 0) defined.push_back(told.var);
  }
  return defined.empty() || !random_.chance(defined_percent_) ? pick_var() : random_.pick(defined);
}

Op Generator::make_tell(const Model& model, int c) {
  Op op;
  op.kind = OpKind::kTell;
  op.index = c;
  const auto told = model.told_bounds.find(op.index);
  op.var = told != model.told_bounds.end() && random_.chance(85) ? told->second.var : pick_bounded_var(model);
  const int kind = random_.below(features_.diseq ? 115 : 90);
  op.bound_kind = kind < 38 ? kLower : kind < 76 ? kUpper : kind < 90 ? kEqual : kDiseq;
  op.bound = bound_real(op.var, op.bound_kind, world_of(op.index));
  const bool one_sided = op.bound_kind == kLower || op.bound_kind == kUpper;
  if (one_sided && random_.chance(strict_percent_)) op.bound.delta = op.bound_kind == kLower ? 1 : -1;
  return op;
}

Op Generator::make_check(const Model& model) {
  Op op;
  op.kind = OpKind::kCheck;
  op.partial = random_.chance(30);
  if (random_.chance(12)) op.number = random_.between(1, 5);
  // A split of disequalities searches on after the first search has ended.
  if (!op.partial && !model.diseqs.empty() && random_.chance(20)) op.number = random_.between(2, 10);
  return op;
}

Op Generator::make_model_request() {
  Op op;
  op.kind = OpKind::kModel;
  for (int count = random_.pick<int>({0, 1, 1, 2, 4}); count > 0; --count) {
    op.eqs.push_back({random_form(3), random_.chance(30) ? random_.between(-2, 2) : 0});
  }
  if (random_.chance(15)) op.number = random_.between(1, 8);
  return op;
}

}  // namespace tarku::tester

// The comparisons of the random tester that look at values: of the assignment, and of models.
#include <set>

#include "tests/tools/bridge.h"
#include "tests/tools/checker.h"
#include "tests/tools/poll_counter.h"

namespace tarku::tester {

namespace {

const Value* find_value(const std::vector<std::pair<int, Value>>& values, int var) {
  for (const auto& [other, value] : values) {
    if (other == var) return &value;
  }
  return nullptr;
}

Value evaluate(const Form& form, const std::vector<std::pair<int, Value>>& values) {
  Value total;
  for (const Term& term : form) {
    const Value* value = find_value(values, term.var);
    if (value != nullptr) total = total + *value * term.coeff;
  }
  return total;
}

}  // namespace

// ==== 01 VALUES ====

std::optional<Value> Checker::abstract_value(int var) {
  la::DNumber value;
  if (!solver_->get_abstract_value(var, &value)) return {};
  Value result = from_library(value);
  if (sabotage_ == Sabotage::kValue && var == 1) result.real += 1;
  return result;
}

void Checker::check_values(bool bounds_too, bool after_check) {
  if (model_.contradictory_equations) return;
  std::vector<std::pair<int, Value>> values;
  for (int var : model_.variables()) {
    if (std::optional<Value> value = abstract_value(var)) values.emplace_back(var, std::move(*value));
  }
  check_equations(values);
  if (bounds_too) check_bounds(values);
  check_small_queries(values);
  if (after_check) check_integrality(values);
}

void Checker::check_equations(const std::vector<std::pair<int, Value>>& values) const {
  for (const auto& [c, told] : model_.told_equations) {
    if (told.state != Model::EquationState::kInForce) continue;
    for (const Term& term : told.form) {
      require(find_value(values, term.var) != nullptr, "values",
              [&] { return "x" + std::to_string(term.var) + " has none"; });
    }
    require(evaluate(told.form, values).sign() == 0, "values", [&, index = c] {
      return "equation " + std::to_string(index) + " is off by " + evaluate(told.form, values).to_str();
    });
  }
}

void Checker::check_bounds(const std::vector<std::pair<int, Value>>& values) const {
  for (int c : model_.stack_indices()) {
    if (model_.told_bounds.count(c) == 0) continue;
    for (const Limit& limit : model_.limits_of(c)) {
      const Value* value = find_value(values, limit.var);
      require(value != nullptr, "values", [&] { return "bounded x" + std::to_string(limit.var) + " has none"; });
      const int order = compare(*value, limit.value);
      require(limit.upper ? order <= 0 : order >= 0, "values",
              [&] { return "bound " + std::to_string(c) + " is violated by " + value->to_str(); });
    }
  }
}

// Floors, equality and bounds as the solver tells them.
void Checker::check_small_queries(const std::vector<std::pair<int, Value>>& values) {
  const std::pair<int, Value>* previous = nullptr;
  for (const auto& entry : values) {
    const Value& value = entry.second;
    QNumber floor;
    require(solver_->get_floor_value(entry.first, &floor), "values", "no floor");
    Rational expected = value.real.floor();
    if (value.real.is_integer() && value.delta.sign() < 0) expected -= 1;
    const bool spoiled = sabotage_ == Sabotage::kValue && entry.first == 1;
    require(spoiled || from_library(floor) == expected, "values", [&] { return "wrong floor of " + value.to_str(); });
    if (previous != nullptr && !spoiled && sabotage_ != Sabotage::kValue) {
      const bool equal = solver_->are_equal(previous->first, entry.first);
      require(equal == (previous->second == value), "values", "wrong equality of values");
    }
    previous = &entry;
  }
}

// The flag that says that all saved values were integers is cleared for good by one that is not.
void Checker::check_integrality(const std::vector<std::pair<int, Value>>& values) {
  require(were_integral_ || !solver_->values_integral_, "integral", "flag set again");
  were_integral_ = solver_->values_integral_;
  if (!were_integral_) return;
  for (const auto& [var, value] : values) {
    if (solver_->tableau_.is_eliminated(var)) continue;  // has no saved value
    require(value.real.is_integer() && value.delta.sign() == 0, "integral", "flag set though a value is not");
  }
}

// ==== 02 MODELS ====

void Checker::build_model(const Op& op) {
  PollCounter counter(*solver_, op.number);
  std::vector<la::Equation> equations;
  for (const Linear& eq : op.eqs) equations.push_back(to_equation(eq));
  if (hooked_ != nullptr) hooked_->begin();
  solver_->termination_test_ = &counter;
  bool interrupted = false;
  try {
    solver_->build_model(equations);
  } catch (const Interrupted&) {
    interrupted = true;
  } catch (...) {
    solver_->termination_test_ = nullptr;
    throw;
  }
  solver_->termination_test_ = nullptr;
  cache_may_be_stale_ = interrupted;
  satisfied_ = !interrupted;
  if (interrupted) {
    ++tally_.interruptions;
    ++tally_.model_interruptions;
    return;
  }
  ++tally_.models;
  check_model(op);
  if (hooked_ == nullptr) return;
  const HookedSolver::Calls& calls = hooked_->calls();
  require(hooked_->offence().empty(), "hooks", hooked_->offence().c_str());
  require(calls.deltas == 1, "hooks", "delta not asked for once");
  require(calls.steps == 0 && calls.restores == 0, "hooks", "asked about a check by a model");
}

// Bounds hold with a positive number for the infinitesimal; strict ones must hold strictly.
void Checker::check_model(const Op& op) {
  std::vector<std::pair<int, Value>> abstract, values;
  std::set<int> vars;
  for (int var : model_.variables()) vars.insert(var);
  for (const Linear& eq : op.eqs) {
    for (const Term& term : eq.terms) vars.insert(term.var);  // perhaps of a retracted equation, but still with a value
  }
  for (int var : vars) {
    const std::optional<Value> value = abstract_value(var);
    if (!value) continue;
    abstract.emplace_back(var, *value);
    QNumber rational;
    require(solver_->get_value(var, &rational), "model",
            [&, v = var] { return "x" + std::to_string(v) + " has no value"; });
    values.emplace_back(var, from_library(rational));
    if (sabotage_ == Sabotage::kModel && values.size() == 1) values.back().second.real += 1;
  }
  check_equations(values);
  check_model_bounds(values);
  check_model_equations(op, abstract, values);
}

void Checker::check_model_bounds(const std::vector<std::pair<int, Value>>& values) const {
  for (int c : model_.stack_indices()) {
    const auto told = model_.told_bounds.find(c);
    if (told == model_.told_bounds.end()) continue;
    const Value* value = find_value(values, told->second.var);
    require(value != nullptr, "model",
            [&] { return "bounded x" + std::to_string(told->second.var) + " has no value"; });
    if (told->second.kind == kDiseq) {
      require(*value != told->second.bound, "model",
              [&] { return "disequality " + std::to_string(c) + " is violated"; });
    }
    for (const Limit& limit : model_.limits_of(c)) {
      const int inward = limit.upper ? -1 : 1;
      if (limit.value.delta.sign() * inward < 0) continue;  // reaches beyond its real part: no strict bound
      const int order = compare(value->real, limit.value.real) * inward;
      require(order > 0 || (order == 0 && limit.value.delta.sign() == 0), "model",
              [&] { return "bound " + std::to_string(c) + " is violated by " + value->real.to_str(); });
    }
  }
}

// What differed in the assignment still differs in the model, and what was false is false.
void Checker::check_model_equations(const Op& op, const std::vector<std::pair<int, Value>>& abstract,
                                    const std::vector<std::pair<int, Value>>& values) const {
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const bool differed = abstract[i].second != abstract[j].second;
      require((values[i].second != values[j].second) == differed, "model", "values merged or split");
    }
  }
  for (const Linear& eq : op.eqs) {
    const bool was_true = (evaluate(eq.terms, abstract) + Value(eq.constant)).sign() == 0;
    const bool is_true = (evaluate(eq.terms, values) + Value(eq.constant)).sign() == 0;
    require(was_true == is_true, "model", is_true ? "false equation became true" : "true equation became false");
  }
}

}  // namespace tarku::tester

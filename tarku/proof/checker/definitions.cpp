// Recording definitions, and running them with an explicit stack.
#include "tarku/proof/checker/definitions.h"

#include <utility>

#include "tarku/proof/checker/refused.h"

namespace tarku::checker {

namespace {

// For one application, together with a multiple of what is written in all definitions: a few that apply each other
// twice make formulas that no memory holds. No less than what the solver's reader lets through.
constexpr std::size_t most_steps = 2000000;

}  // namespace

// ==== recording ====

Value Definition::add_parameter(Sort sort) {
  parameters_.push_back(sort);
  return Value::of_slot(sort, parameters_.size() - 1);
}

Value Definition::add_application(Op op, const std::vector<Value>& args) {
  return add_step(false, static_cast<std::uint32_t>(op), checker::result_sort(op, args), args);
}

Value Definition::add_call(std::uint32_t definition, Sort sort, const std::vector<Value>& args) {
  return add_step(true, definition, sort, args);
}

Value Definition::add_step(bool is_call, std::uint32_t what, Sort sort, const std::vector<Value>& args) {
  steps_.push_back({is_call, what, args_.size(), args.size()});
  args_.insert(args_.end(), args.begin(), args.end());
  return Value::of_slot(sort, parameters_.size() + steps_.size() - 1);
}

// ==== running ====

std::uint32_t Definitions::add(Definition definition) {
  num_steps_ += definition.steps_.size();
  definitions_.push_back(std::move(definition));
  return static_cast<std::uint32_t>(definitions_.size() - 1);
}

void Definitions::require_arguments(std::uint32_t number, const std::vector<Value>& args) const {
  const std::vector<Sort>& wanted = definitions_[number].parameters();
  if (args.size() != wanted.size()) {
    throw Refused("wrong number of arguments of a function: " + std::to_string(args.size()) + ", not " +
                  std::to_string(wanted.size()));
  }
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i].sort == wanted[i]) continue;
    throw Refused("argument " + std::to_string(i + 1) + " of the function is of sort " + to_str(args[i].sort) +
                  ", not " + to_str(wanted[i]));
  }
}

Value Definitions::apply(std::uint32_t number, const std::vector<Value>& args) {
  runs_.clear();  // one that failed may have left something
  call(number, args);
  for (std::size_t num_steps = 0; !runs_.empty(); ++num_steps) {
    if (num_steps > most_steps + 32 * num_steps_) throw Refused("the application of a function takes too many steps");
    advance();
  }
  return given_;
}

// Gives the result if it is known, and otherwise begins a run that will.
void Definitions::call(std::uint32_t number, std::vector<Value> args) {
  std::vector<std::uint32_t> words{number};
  for (const Value& v : args) words.push_back(v.code);
  const std::uint32_t application = applications_.intern(words);
  if (application == results_.size()) {
    results_.emplace_back();
    is_known_.push_back(false);
  }
  if (is_known_[application]) {
    give(results_[application]);
  } else {
    runs_.push_back({application, number, 0, std::move(args)});
  }
}

void Definitions::give(Value result) {
  given_ = result;
  if (!runs_.empty()) runs_.back().slots.push_back(result);
}

// The next step of the innermost run, or its end.
void Definitions::advance() {
  Run& run = runs_.back();
  const Definition& definition = definitions_[run.definition];
  const auto resolved = [&run](const Value& v) { return v.is_open ? run.slots[v.code] : v; };
  if (run.next_step == definition.steps_.size()) {
    const Value result = resolved(definition.result_);
    results_[run.application] = result;
    is_known_[run.application] = true;
    runs_.pop_back();
    return give(result);
  }
  const Definition::Step& step = definition.steps_[run.next_step++];
  std::vector<Value> args;
  for (std::size_t i = 0; i < step.count; ++i) args.push_back(resolved(definition.args_[step.first + i]));
  if (step.is_call) {
    call(step.what, std::move(args));
  } else {
    give(checker::apply(&formulas_, static_cast<Op>(step.what), args));
  }
}

}  // namespace tarku::checker

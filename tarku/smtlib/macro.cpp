// Building and running the programs of defined functions.
#include "tarku/smtlib/macro.h"

#include <cassert>
#include <string>
#include <utility>

#include "tarku/smtlib/literal.h"

namespace tarku::smtlib {

using smt::Term;

namespace {

// For one application, together with a multiple of what is written in all definitions. A few definitions that apply
// each other twice make terms that no memory holds.
constexpr std::uint64_t most_steps = 1000000;

}  // namespace

std::size_t Macro::TermsHash::operator()(const std::vector<Term>& terms) const {
  std::uint64_t hash = terms.size();
  for (const Term t : terms) {
    hash = (hash ^ t.id()) * 0x9e3779b97f4a7c15u;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

// ---- table ----

std::uint32_t MacroTable::add(Macro macro) {
  num_steps_ += macro.steps.size();
  macros_.push_back(std::move(macro));
  return static_cast<std::uint32_t>(macros_.size() - 1);
}

Term MacroTable::expand(std::uint32_t index, const std::vector<Term>& arguments) {
  stack_.clear();  // a failed expansion may have left something
  call(index, arguments);
  for (std::uint64_t num_steps = 0; !stack_.empty(); ++num_steps) {
    if (num_steps > most_steps + 16 * num_steps_) {
      smt::TermError error;
      error << "it takes more than " << std::to_string(num_steps - 1) << " steps";
      throw error;
    }
    advance();
  }
  return returned_;
}

// Either sets returned_ at once, or starts an activation that will.
void MacroTable::call(std::uint32_t index, std::vector<Term> arguments) {
  const Macro& macro = macros_[index];
  assert(arguments.size() == macro.parameters.size());
  const auto found = macro.known.find(arguments);
  if (found != macro.known.end()) {
    returned_ = found->second;
    if (!stack_.empty()) stack_.back().slots.push_back(returned_);
  } else {
    stack_.push_back({index, 0, std::move(arguments)});
  }
}

// Runs the next step of the innermost activation, or ends it and hands its result to the one below.
void MacroTable::advance() {
  Activation& top = stack_.back();
  Macro& macro = macros_[top.macro];
  if (top.next_step == macro.steps.size()) {
    returned_ = resolve(macro.result, top.slots);
    top.slots.resize(macro.parameters.size());
    macro.known.emplace(std::move(top.slots), returned_);
    stack_.pop_back();
    if (!stack_.empty()) stack_.back().slots.push_back(returned_);
    return;
  }
  const Macro::Step& step = macro.steps[top.next_step++];
  scratch_.clear();
  for (std::uint32_t i = 0; i < step.count; ++i) {
    scratch_.push_back(resolve(macro.operands[step.first + i], top.slots));
  }
  if (step.is_call) {
    call(step.callee, scratch_);
  } else {
    check_size(terms_, step.op, scratch_.data(), scratch_.size());
    top.slots.push_back(terms_.mk(step.op, scratch_));
  }
}

Term MacroTable::resolve(Value value, const std::vector<Term>& slots) {
  return value.is_closed() ? value.term : slots[value.slot];
}

// ---- builder ----

MacroBuilder::MacroBuilder(smt::TermManager& terms, std::string name) : terms_(terms) {
  macro_.name = std::move(name);
}

Value MacroBuilder::add_parameter(smt::Sort sort) {
  assert(macro_.steps.empty());
  macro_.parameters.push_back(sort);
  sorts_.push_back(sort);
  return Value::open(static_cast<std::uint32_t>(sorts_.size() - 1));
}

// The checks of sorts and number are those of the terms themselves: they see a stand-in of the same sort for every
// argument. The number 1 stands in for reals, with which no product is nonlinear and no quotient undefined.
Value MacroBuilder::apply(smt::Op op, const std::vector<Value>& arguments) {
  scratch_.clear();
  for (const Value& argument : arguments) {
    scratch_.push_back(sort(argument) == smt::Sort::real ? terms_.mk_real(1) : terms_.mk_bool(true));
  }
  const smt::Sort result = terms_.sort(terms_.mk(op, scratch_));
  return add_step({false, op, 0, 0, 0}, result, arguments);
}

Value MacroBuilder::call(std::uint32_t callee, smt::Sort sort, const std::vector<Value>& arguments) {
  return add_step({true, smt::Op::truth, callee, 0, 0}, sort, arguments);
}

Value MacroBuilder::add_step(Macro::Step step, smt::Sort sort, const std::vector<Value>& arguments) {
  step.first = static_cast<std::uint32_t>(macro_.operands.size());
  step.count = static_cast<std::uint32_t>(arguments.size());
  macro_.operands.insert(macro_.operands.end(), arguments.begin(), arguments.end());
  macro_.steps.push_back(step);
  sorts_.push_back(sort);
  return Value::open(static_cast<std::uint32_t>(sorts_.size() - 1));
}

smt::Sort MacroBuilder::sort(Value value) const {
  return value.is_closed() ? terms_.sort(value.term) : sorts_[value.slot];
}

Macro MacroBuilder::finish(Value result) {
  macro_.result = result;
  macro_.sort = sort(result);
  return std::move(macro_);
}

}  // namespace tarku::smtlib

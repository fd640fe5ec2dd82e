// Two stacks in step: that of the script and that of the engine.
#include "tarku/smtlib/assertion_stack.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace tarku::smtlib {

void AssertionStack::add(smt::Term formula, std::optional<SymbolId> name) {
  withdraw_assumptions();
  const int index = engine_.assert_term(formula);
  assertions_.push_back({formula, name, index, num_asserted_++});
}

void AssertionStack::push() {
  withdraw_assumptions();
  engine_.push();
  levels_.push_back(assertions_.size());
}

void AssertionStack::pop() {
  assert(!levels_.empty());
  withdraw_assumptions();
  engine_.pop();
  assertions_.resize(levels_.back());
  levels_.pop_back();
}

void AssertionStack::assume(std::vector<Assumption> assumptions) {
  withdraw_assumptions();
  engine_.push();
  has_assumptions_ = true;
  for (Assumption& assumption : assumptions) {
    const int index = engine_.assert_term(assumption.formula);
    if (assumptions_.empty()) first_assumption_ = index;
    assumptions_.push_back(std::move(assumption));
  }
}

void AssertionStack::withdraw_assumptions() {
  if (!has_assumptions_) return;
  engine_.pop();
  has_assumptions_ = false;
  assumptions_.clear();
}

const AssertionStack::Assertion* AssertionStack::find(int index) const {
  const auto found = std::lower_bound(assertions_.begin(), assertions_.end(), index,
                                      [](const Assertion& a, int i) { return a.index < i; });
  return found != assertions_.end() && found->index == index ? &*found : nullptr;
}

std::uint64_t AssertionStack::source_of(int index) const {
  if (is_assumption(index)) return num_asserted_ + static_cast<std::uint64_t>(index - first_assumption_);
  const Assertion* const assertion = find(index);
  assert(assertion != nullptr);
  return assertion->source;
}

const AssertionStack::Assumption& AssertionStack::assumption(int index) const {
  assert(is_assumption(index));
  return assumptions_[static_cast<std::size_t>(index - first_assumption_)];
}

}  // namespace tarku::smtlib

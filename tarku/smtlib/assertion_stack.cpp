// Two stacks in step: that of the script and that of the engine.
#include "tarku/smtlib/assertion_stack.h"

#include <algorithm>
#include <cassert>

namespace tarku::smtlib {

void AssertionStack::add(smt::Term formula, std::optional<SymbolId> name) {
  assertions_.push_back({formula, name, engine_.assert_term(formula)});
}

void AssertionStack::push() {
  engine_.push();
  levels_.push_back(assertions_.size());
}

void AssertionStack::pop() {
  assert(!levels_.empty());
  engine_.pop();
  assertions_.resize(levels_.back());
  levels_.pop_back();
}

const AssertionStack::Assertion* AssertionStack::find(int index) const {
  const auto found = std::lower_bound(assertions_.begin(), assertions_.end(), index,
                                      [](const Assertion& a, int i) { return a.index < i; });
  return found != assertions_.end() && found->index == index ? &*found : nullptr;
}

}  // namespace tarku::smtlib

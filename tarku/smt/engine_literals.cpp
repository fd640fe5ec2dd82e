// The engine's stack of literals: pushing, conflicts, and the ways to decide the conjunction.
#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include "tarku/lp/proposer.h"
#include "tarku/smt/conjunction_guide.h"
#include "tarku/smt/engine_internal.h"

namespace tarku::smt {

// ---- ways to decide ----

// Brings what is new to the solver and searches; a conflict found is in conflict_.
void Engine::search_one_by_one() {
  tell_new_atoms();
  if (conflict_.is_known()) return;
  try {
    PacedSearch search(*this);
    search.pacer.start_round(work_per_term_ * (100 + solver_->tableau_.num_terms()), Pacer::unlimited);
    push_new_literals(true);
  } catch (const Pacer::Spent&) {
    start_afresh();
    if (formulas_.empty() ? consult_guide() : seek_guidance()) return;
    return search_all_at_once();
  }
  finish_search();
}

bool Engine::is_guidance_possible() const {
  return !is_guidance_exhausted_ && lp::has_proposer();
}

// Leaves arithmetic to the guide from now on, and pushes all literals there. False when there is none; needs a solver
// that knows nothing.
bool Engine::seek_guidance() {
  if (!is_guidance_possible()) return false;
  guided_ = std::make_unique<GuidedArithmetic>(atoms_, &limiter_);
  num_foreseen_ = 0;
  foresee_new_atoms();
  for (std::size_t constraint = 0; constraint < solved_by_.size(); ++constraint) {
    if (solved_by_[constraint] >= 0) guided_->push(static_cast<int>(constraint));
  }
  push_new_literals(false);
  return true;
}

// Asks a solver for linear programs, whose proposals are put to an exact test. False when that leads nowhere; otherwise
// a conflict is known, or a model is found. Nothing is pushed in either case.
bool Engine::consult_guide() {
  if (!read_boolean_literals()) return false;
  ConjunctionGuide guide(atoms_);
  for (const Literal& literal : literals_) {
    if (literal.is_arithmetic()) guide.add(literal.constraint());
  }
  switch (guide.decide(&limiter_)) {
    case lp::Outcome::Kind::none:
      return false;
    case lp::Outcome::Kind::infeasible:
      set_guided_conflict(guide.conflict());
      return true;
    case lp::Outcome::Kind::feasible:
      found_values_ = guide.values();
      return has_found_ = true;
  }
  return false;
}

// False when they contradict one another.
bool Engine::read_boolean_literals() {
  found_truths_.clear();
  for (const Literal& literal : literals_) {
    if (literal.is_arithmetic()) continue;
    if (literal.is_falsity()) return false;
    if (found_truths_.emplace(literal.variable(), literal.value()).first->second != literal.value()) return false;
  }
  return true;
}

void Engine::set_guided_conflict(std::vector<proof::Refutation::Summand> sum) {
  std::unordered_map<int, int> assertion_of;
  for (const proof::Refutation::Summand& summand : sum) assertion_of.emplace(summand.constraint, -1);
  std::size_t literal = 0;
  for (const Assertion& assertion : assertions_) {
    for (; literal < assertion.literals_end; ++literal) {
      const auto found = assertion_of.find(literals_[literal].is_arithmetic() ? literals_[literal].constraint() : 0);
      if (found != assertion_of.end() && found->second < 0) found->second = assertion.index;
    }
  }
  std::vector<int> assertions;
  for (const auto& [constraint, assertion] : assertion_of) assertions.push_back(assertion);
  set_conflict(std::move(assertions));
  conflict_.sum = std::move(sum);
  conflict_.assertion_of = std::move(assertion_of);
}

void Engine::foresee_new_atoms() {
  for (; num_foreseen_ < wanted_.size(); ++num_foreseen_) guided_->foresee(wanted_[num_foreseen_]);
}

// The second way, on a solver that knows nothing yet.
void Engine::search_all_at_once() {
  tell_new_atoms();
  push_new_literals(false);
  if (!conflict_.is_known()) alternate_rules();
  finish_search();
}

// Decides by rounds of the two pivot rules. Needs: everything is pushed, no conflict is known.
void Engine::alternate_rules() {
  constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();
  constexpr std::uint64_t always = 1;
  PacedSearch search(*this);
  std::uint64_t patience = 100 + solver_->tableau_.rows().num_present() / 4;
  for (bool smallest_index = false;; smallest_index = !smallest_index) {
    solver_->pivot_limit_override_ = smallest_index ? always : never;
    search.pacer.start_round(Pacer::unlimited, patience);
    patience += smallest_index ? patience / 2 : 0;
    try {
      if (!solver_->check(true)) set_solver_conflict();
      return;
    } catch (const Pacer::Spent&) {
      // the next round goes on from here
    }
  }
}

// What is left once the bounds are known to be consistent, or not.
void Engine::finish_search() {
  // Without anything pushed there is nothing to search, and the solver stays open for cheap telling.
  const bool is_idle = !solver_->initialized_ && solver_->constraint_stack_.empty();
  if (!conflict_.is_known() && !is_idle && !solver_->check(false)) set_solver_conflict();
}

// ---- the stack ----

// Pushes what is not pushed yet, until a conflict shows; with `one_by_one`, the values are repaired after each push.
void Engine::push_new_literals(bool one_by_one) {
  constraint_holders_.resize(static_cast<std::size_t>(atoms_.num_constraints()) + 1);
  boolean_holders_.resize(boolean_variables_.size() + 1);
  auto owner = std::upper_bound(assertions_.begin(), assertions_.end(), num_pushed_literals_,
                                [](std::size_t position, const Assertion& a) { return position < a.literals_end; });
  while (num_pushed_literals_ < literals_.size()) {
    if (num_pushed_literals_ % poll_period == 0) poll();
    while (owner->literals_end <= num_pushed_literals_) ++owner;
    if (!push_literal(literals_[num_pushed_literals_++], *owner)) return;
    if (one_by_one && !solver_->violated_basics_.empty() && !solver_->check(true)) return set_solver_conflict();
  }
}

// False when the literal contradicts those below it; it counts as pushed all the same.
bool Engine::push_literal(Literal literal, const Assertion& assertion) {
  if (literal.is_arithmetic()) return push_arithmetic(literal.constraint(), assertion);
  if (!literal.is_falsity()) return push_boolean(literal, assertion);
  set_conflict({assertion.index});
  return false;
}

bool Engine::push_arithmetic(int constraint, const Assertion& assertion) {
  Holder& holder = constraint_holders_[static_cast<std::size_t>(constraint)];
  if (holder.count++ > 0) return true;
  holder.assertion = assertion.index;
  holder.level = assertion.level;
  if (const int known = search_ ? search_->clausifier().find_literal(constraint) : 0) {
    tell_unit(known, assertion.index, assertion.level);
  }
  if (is_solved(constraint)) return true;
  if (guided_ ? guided_->push(constraint) : solver_->push_constraint(constraint)) return true;
  guided_ ? set_guided_conflict(guided_->conflict_sum()) : set_solver_conflict();
  return false;
}

bool Engine::push_boolean(Literal literal, const Assertion& assertion) {
  Holder& holder = boolean_holders_[static_cast<std::size_t>(literal.variable())];
  if (holder.count++ == 0) {
    holder.assertion = assertion.index;
    holder.level = assertion.level;
    holder.value = literal.value();
    const Term symbol = boolean_symbols_[static_cast<std::size_t>(literal.variable()) - 1];
    if (const int known = search_ ? search_->clausifier().find_symbol(symbol) : 0) {
      tell_unit(literal.value() ? known : -known, assertion.index, assertion.level);
    }
  }
  if (holder.value == literal.value()) return true;
  set_conflict({holder.assertion, assertion.index});
  conflict_.symbol = holder.value ? literal.variable() : -literal.variable();
  return false;
}

void Engine::pop_literal(Literal literal) {
  if (literal.is_falsity()) return;
  Holder& holder = literal.is_arithmetic() ? constraint_holders_[static_cast<std::size_t>(literal.constraint())]
                                           : boolean_holders_[static_cast<std::size_t>(literal.variable())];
  assert(holder.count > 0);
  if (--holder.count > 0 || !literal.is_arithmetic()) return;
  if (guided_) return guided_->pop();
  const int popped = solver_->pop_constraint();
  assert(popped == literal.constraint());
  (void)popped;
}

// None: the conflict is no longer one.
void Engine::set_conflict(std::vector<int> assertions) {
  std::sort(assertions.begin(), assertions.end());
  assertions.erase(std::unique(assertions.begin(), assertions.end()), assertions.end());
  conflict_ = Conflict();
  conflict_.assertions = std::move(assertions);
  refutation_.reset();
}

// The solver's conflict in terms of the assertions that pushed the constraints. Which of the equalities solved away
// have a part in it is left to the refutation.
void Engine::set_solver_conflict() {
  std::vector<int> assertions = solved_assertions_;
  for (const int c : solver_->conflict_) assertions.push_back(assertion_of(c));
  set_conflict(std::move(assertions));
  conflict_.proof.reset(solver_->get_conflict_proof());
}

bool Engine::holds(int constraint) const {
  if (is_solved(constraint)) return true;
  const auto index = static_cast<std::size_t>(constraint);
  return index < constraint_holders_.size() && constraint_holders_[index].count > 0;
}

int Engine::level_of(int constraint) const {
  return is_solved(constraint) ? 0 : constraint_holders_[static_cast<std::size_t>(constraint)].level;
}

int Engine::assertion_of(int constraint) const {
  const auto index = static_cast<std::size_t>(constraint);
  if (const auto found = conflict_.assertion_of.find(constraint); found != conflict_.assertion_of.end()) {
    return found->second;
  }
  return is_solved(constraint) ? solved_by_[index] : constraint_holders_[index].assertion;
}

}  // namespace tarku::smt

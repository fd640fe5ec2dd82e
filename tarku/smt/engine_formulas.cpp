// The engine's search over formulas: clauses, what the search is told, and who decides about arithmetic in it.
#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "tarku/lp/proposer.h"
#include "tarku/smt/engine_internal.h"
#include "tarku/smt/simplex_arithmetic.h"

namespace tarku::smt {

namespace {

// A search over formulas is left to the guide when it has done so much work, in the tableau's measure, and so much for
// each check.
constexpr std::uint64_t patience_with_formulas = std::uint64_t{1} << 22;
constexpr std::uint64_t slow_check = std::uint64_t{1} << 15;

}  // namespace

// ---- clauses ----

// Comes before all else, so that the solver is told the atoms of formulas along with those of the literals.
void Engine::clausify_new_formulas() {
  if (num_clausified_ == formulas_.size()) return;
  if (!search_) {
    BooleanSearch::Base& base = *this;
    search_ = std::make_unique<BooleanSearch>(terms_, *linearizer_, atoms_, stated(), base, is_log_wanted(), seed_);
    search_->clauses().set_termination_test(&limiter_);
  }
  auto owner = std::upper_bound(assertions_.begin(), assertions_.end(), num_clausified_,
                                [](std::size_t position, const Assertion& a) { return position < a.formulas_end; });
  is_clausifying_ = true;
  for (; num_clausified_ < formulas_.size(); ++num_clausified_) {
    poll();
    while (owner->formulas_end <= num_clausified_) ++owner;
    const Formula& formula = formulas_[num_clausified_];
    bool holds = false;
    const Clause clause = clause_of(formula, &holds);
    want_observed_atoms(owner->level);
    if (holds) continue;
    search_->clauses().add_input(static_cast<std::uint64_t>(owner->index), clause, guard_of_level(owner->level));
  }
  is_clausifying_ = false;
}

Clause Engine::clause_of(const Formula& formula, bool* holds) {
  Clausifier& clausifier = search_->clausifier();
  return formula.constraint != 0 ? clausifier.unit_clause(formula.constraint, holds)
                                 : clausifier.clause(formula.term, formula.polarity, holds);
}

// The atoms of all formulas so far, those of an interrupted check and of levels that are gone included: the SAT solver
// goes on assigning them.
void Engine::want_observed_atoms(int level) {
  const std::vector<int>& observed = search_->clauses().observed();
  for (; num_observed_ < observed.size(); ++num_observed_) {
    const ClauseBase::Atom& atom = search_->clauses().atom(observed[num_observed_]);
    want(atom.when_true, level);
    want(atom.when_false, level);
  }
}

int Engine::guard_of_level(int level) {
  if (is_permanent(level)) return 0;
  int& guard = levels_[static_cast<std::size_t>(level) - 1].guard;
  if (guard == 0) guard = search_->clauses().new_guard();
  return guard;
}

// Tells the search which of its symbols and atoms are literals of assertions.
void Engine::tell_units() {
  const ClauseBase& clauses = search_->clauses();
  for (; num_named_ < clauses.named().size(); ++num_named_) {
    const int variable = clauses.named()[num_named_];
    if (const Term symbol = clauses.symbol_of(variable); symbol.is_valid()) {
      const auto found = boolean_variables_.find(symbol.id());
      if (found == boolean_variables_.end() || static_cast<std::size_t>(found->second) >= boolean_holders_.size())
        continue;
      const Holder& holder = boolean_holders_[static_cast<std::size_t>(found->second)];
      if (holder.count > 0) tell_unit(holder.value ? variable : -variable, holder.assertion, holder.level);
      continue;
    }
    const int constraint = clauses.constraint_of(variable);
    for (const int each : {constraint, atoms_.negation_of(constraint)}) {
      if (holds(each)) tell_unit(search_->clausifier().find_literal(each), assertion_of(each), level_of(each));
    }
  }
}

void Engine::tell_unit(int literal, int assertion, int level) {
  const int guard = guard_of_level(level);
  if (!units_.emplace(literal, guard).second) return;
  search_->clauses().add_input(static_cast<std::uint64_t>(assertion), {literal}, guard);
}

// Tells the search what all cases of new permanent disjunctions have in common, if there are maxima among them: where
// there are none it does not pay. Needs: all literals are pushed.
void Engine::tighten() {
  const std::size_t num_permanent = num_permanent_assertions();
  const std::size_t end = num_permanent == 0 ? 0 : assertions_[num_permanent - 1].formulas_end;
  if (num_tightened_ >= end) return;
  is_clausifying_ = true;
  add_common_facts(end, assertions_[num_permanent - 1].literals_end);
  is_clausifying_ = false;
  want_observed_atoms(0);
  if (!guided_) tell_new_atoms();
}

// Of the formulas and literals up to these ends.
void Engine::add_common_facts(std::size_t end, std::size_t literals_end) {
  if (!tightening_) tightening_ = std::make_unique<Tightening>(atoms_, *search_, &limiter_);
  std::vector<Alternatives> alternatives;
  for (; num_tightened_ < end; ++num_tightened_) {
    bool holds = false;
    const Clause clause = clause_of(formulas_[num_tightened_], &holds);
    if (!holds) search_->clausifier().add_alternatives(clause, &alternatives);
  }
  search_->clausifier().take_alternatives_of_values(&alternatives);
  for (Alternatives& each : alternatives) tightening_->add(std::move(each));
  for (; num_held_ < literals_end; ++num_held_) {
    if (literals_[num_held_].is_arithmetic()) tightening_->hold(literals_[num_held_].constraint());
  }
  tightening_->run();
}

// ---- search ----

// An explanation that the SAT solver wants must not be left half done; the search polls between them.
class Engine::Unpolled {
 public:
  explicit Unpolled(Engine& engine) : engine_(engine) { engine_.stated_->equations().set_poll({}); }
  ~Unpolled() {
    engine_.stated_->equations().set_poll([&engine = engine_] { engine.poll(); });
  }
  Unpolled(const Unpolled&) = delete;
  Unpolled& operator=(const Unpolled&) = delete;

 private:
  Engine& engine_;
};

Answer Engine::search_formulas() {
  for (;;) {
    try {
      return search_formulas_as_planned();
    } catch (const Pacer::Spent&) {
      start_afresh();
      seek_guidance();
    } catch (const GuidedArithmetic::Lost&) {
      start_afresh();
      is_guidance_exhausted_ = true;
      search_all_at_once();
    }
    if (conflict_.is_known()) return Answer::unsat;
  }
}

Answer Engine::search_formulas_as_planned() {
  tell_units();
  std::vector<int> guards;
  for (std::size_t level = num_base_levels_ + 1; level <= levels_.size(); ++level) {
    guards.push_back(guard_of_level(static_cast<int>(level)));
  }
  if (search_->clauses().is_logged()) stated();
  const Unpolled explanations(*this);
  sat::Answer answer = sat::Answer::unknown;
  if (guided_) {
    foresee_new_atoms();
    answer = search_->solve(*guided_, guards, &limiter_);
  } else {
    SimplexArithmetic simplex(*solver_);
    PacedSearch search(*this);
    const std::uint64_t first_work = solver_->tableau_.work();
    if (is_guidance_possible()) {
      search.pacer.set_verdict([&, this] {
        const std::uint64_t work = solver_->tableau_.work() - first_work;
        return work > patience_with_formulas && work > simplex.num_checks() * slow_check;
      });
    }
    answer = search_->solve(simplex, guards, &limiter_);
  }
  if (answer == sat::Answer::sat) return Answer::sat;
  assert(answer == sat::Answer::unsat);
  set_boolean_conflict();
  return Answer::unsat;
}

void Engine::set_boolean_conflict() {
  std::vector<int> assertions;
  const ClauseBase& clauses = search_->clauses();
  if (clauses.is_logged()) {
    for (const std::uint64_t source : search_->clauses().log().sources(clauses.conclusion())) {
      assertions.push_back(static_cast<int>(source));
    }
  } else {
    for (const Assertion& assertion : assertions_) assertions.push_back(assertion.index);
  }
  set_conflict(std::move(assertions));
  conflict_.is_boolean = true;
  conflict_.conclusion = clauses.conclusion();
}

int Engine::guard(int constraint) {
  return guard_of_level(level_of(constraint));
}

// The theory's stack is about to be taken down, and the bounds with it that tell how small the infinitesimal must be.
void Engine::found_model() {
  if (guided_) {
    found_values_ = guided_->values();
    has_found_ = true;
    return;
  }
  prepare_values();
  found_values_.clear();
  for (int v = 0; v <= atoms_.num_variables(); ++v) found_values_.push_back(variable_value(v));
  has_found_ = true;
}

}  // namespace tarku::smt

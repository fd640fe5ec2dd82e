// The engine facade: assertions in levels, and the way of a check.
#include "tarku/smt/engine.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <type_traits>
#include <utility>

#include "tarku/smt/engine_internal.h"
#include "tarku/smt/flatten.h"

namespace tarku::smt {

// Turns the conjuncts of one assertion into literals of the engine.
class Engine::Collector : public LiteralSink {
 public:
  Collector(Engine& engine, int level) : engine_(engine), level_(level) {}

  void boolean_literal(Term symbol, bool value) override {
    engine_.literals_.push_back(Literal::boolean(engine_.boolean_variable(symbol), value));
  }

  void linear_literal(Term, Term left, Relation relation, Term right) override {
    LinearForm& form = engine_.form_;
    engine_.linearizer_->subtract(left, right, &form);
    const bool has_choice = std::any_of(form.terms.begin(), form.terms.end(),
                                        [this](const Monomial& m) { return engine_.terms_.op(m.leaf) != Op::symbol; });
    const AtomTable::Place place = engine_.atoms_.add(&form, relation);
    if (has_choice) {
      engine_.formulas_.push_back({Term(), true, place.constraint});
    } else if (place.constraint != 0) {
      engine_.literals_.push_back(Literal::arithmetic(place.constraint));
      engine_.want(place.constraint, level_);
    } else if (!place.constant) {
      falsity();
    }
  }

  void falsity() override { engine_.literals_.push_back(Literal::falsity()); }

  void formula(Term term, bool polarity) override { engine_.formulas_.push_back({term, polarity, 0}); }

 private:
  Engine& engine_;
  int level_;
};

Engine::Engine(TermManager& terms) : terms_(terms), limiter_([this] { return work(); }) {
  restore();
}

Engine::~Engine() = default;

// ---- assertions ----

int Engine::assert_term(Term formula) {
  require_idle("assert_term");
  require_formula(formula, "assert_term");
  begin_change();
  restore();
  try {
    add_assertion(formula, num_asserted_);
  } catch (const std::bad_alloc&) {
    discard();
    throw;
  }
  return num_asserted_++;
}

void Engine::add_assertion(Term formula, int index) {
  const auto level = static_cast<int>(levels_.size());
  flatten_assertion(formula, level);
  assertions_.push_back({index, level, formula, literals_.size(), formulas_.size()});
}

void Engine::flatten_assertion(Term formula, int level) {
  const std::size_t num_literals = literals_.size(), num_formulas = formulas_.size();
  Collector collector(*this, level);
  try {
    flatten(terms_, formula, collector);
  } catch (...) {
    cut(num_literals, num_formulas);
    throw;
  }
}

void Engine::cut(std::size_t num_literals, std::size_t num_formulas) {
  literals_.erase(literals_.begin() + static_cast<std::ptrdiff_t>(num_literals), literals_.end());
  formulas_.erase(formulas_.begin() + static_cast<std::ptrdiff_t>(num_formulas), formulas_.end());
}

void Engine::push() {
  require_idle("push");
  begin_change();
  if (assertions_.empty()) ++num_base_levels_;
  levels_.push_back({assertions_.size(), 0});
}

void Engine::pop() {
  require_idle("pop");
  if (num_levels() == 0) throw Exception() << "pop: no level is left";
  begin_change();
  pop_level();
}

// Assumptions go with the first change, and with them the answer that rests on them.
void Engine::begin_change() {
  if (std::exchange(has_assumptions_, false)) pop_level();
  forget_answer();
}

void Engine::pop_level() {
  const Level gone = levels_.back();
  levels_.pop_back();
  if (levels_.size() < num_base_levels_) {
    num_base_levels_ = levels_.size();
    if (!std::exchange(assertions_, {}).empty()) discard();
    return;
  }
  try {
    undo_level(gone);
  } catch (const std::bad_alloc&) {
    discard();
  }
  assertions_.resize(gone.num_assertions);
  count_stale(gone);
}

// Nothing that was told is ever taken back, and each search carries it along. When most of it is of levels that are
// gone it is cheaper to begin anew with what is left.
void Engine::count_stale(const Level& gone) {
  constexpr std::size_t few = 500;
  num_stale_ += gone.num_wanted;
  if (num_stale_ > few + (wanted_.size() - num_stale_) / 2) discard();
}

// What has to be undone of a level before its assertions go.
void Engine::undo_level(const Level& gone) {
  if (gone.guard != 0) search_->clauses().retire_guard(gone.guard);
  const std::size_t kept = gone.num_assertions;
  if (kept == assertions_.size()) return;

  const int first_gone = assertions_[kept].index;
  const std::size_t num_literals = kept == 0 ? 0 : assertions_[kept - 1].literals_end;
  const std::size_t num_formulas = kept == 0 ? 0 : assertions_[kept - 1].formulas_end;
  while (num_pushed_literals_ > num_literals) pop_literal(literals_[--num_pushed_literals_]);
  cut(num_literals, num_formulas);
  num_clausified_ = std::min(num_clausified_, num_formulas);
  num_tightened_ = std::min(num_tightened_, num_formulas);
  // A conflict among older assertions stays one.
  if (conflict_.is_known() && conflict_.assertions.back() >= first_gone) set_conflict({});
}

void Engine::want(int constraint, int level) {
  const auto index = static_cast<std::size_t>(constraint);
  if (index >= is_wanted_.size()) is_wanted_.resize(std::max(index + 1, 2 * is_wanted_.size()));
  if (is_wanted_[index]) return;
  is_wanted_[index] = true;
  wanted_.push_back(constraint);
  if (!is_permanent(level)) ++levels_[static_cast<std::size_t>(level) - 1].num_wanted;
}

void Engine::forget_answer() noexcept {
  answer_.reset();
  reason_unknown_.clear();
  model_.reset();
  has_found_ = false;
  found_truths_.clear();
}

int Engine::boolean_variable(Term symbol) {
  const auto [place, is_new] = boolean_variables_.emplace(symbol.id(), static_cast<int>(boolean_symbols_.size()) + 1);
  if (is_new) boolean_symbols_.push_back(symbol);
  return place->second;
}

std::size_t Engine::num_permanent_assertions() const {
  return levels_.size() == num_base_levels_ ? assertions_.size() : levels_[num_base_levels_].num_assertions;
}

// Null when it is not in force.
const Engine::Assertion* Engine::find_assertion(std::uint64_t index) const {
  const auto is_before = [](const Assertion& a, std::uint64_t i) { return static_cast<std::uint64_t>(a.index) < i; };
  const auto found = std::lower_bound(assertions_.begin(), assertions_.end(), index, is_before);
  const bool exists = found != assertions_.end() && static_cast<std::uint64_t>(found->index) == index;
  return exists ? &*found : nullptr;
}

// ---- check ----

Answer Engine::check(const std::vector<Term>& assumptions) {
  require_idle("check");
  for (const Term assumption : assumptions) require_formula(assumption, "check");
  begin_change();
  ++num_checks_;
  const Limiter::Run running(limiter_);
  Answer answer = Answer::unknown;
  try {
    restore();
    if (!assumptions.empty()) assume(assumptions);
    adopt_settings();
    answer = search();
    if (check_answers_) verify(answer);
  } catch (const MemoryOut& stopped) {
    discard();
    answer = give_up(stopped.what());
  } catch (const std::bad_alloc&) {
    discard();
    answer = give_up("memout");
  } catch (const Interrupted& stopped) {
    answer = give_up(stopped.what());
    mend();
  } catch (...) {
    mend();
    throw;
  }
  answer_ = answer;
  return answer;
}

Answer Engine::give_up(const char* reason) {
  reason_unknown_ = reason;
  return Answer::unknown;
}

// On a level of their own, numbered like the assertions that might have come in their place.
void Engine::assume(const std::vector<Term>& assumptions) {
  levels_.push_back({assertions_.size(), 0});
  has_assumptions_ = true;
  int index = num_asserted_;
  for (const Term assumption : assumptions) add_assertion(assumption, index++);
}

// A search that keeps no record gives way when one is wanted.
void Engine::adopt_settings() {
  if (!search_ || search_->clauses().is_logged() || !is_log_wanted()) return;
  drop_search();
  if (conflict_.is_boolean) set_conflict({});
}

Answer Engine::search() {
  if (conflict_.is_known()) return Answer::unsat;
  clausify_new_formulas();
  if (search_) want_observed_atoms(static_cast<int>(levels_.size()));
  if (guided_ && formulas_.empty()) start_afresh();
  guided_ ? push_new_literals(false) : search_one_by_one();
  if (conflict_.is_known()) return Answer::unsat;
  if (formulas_.empty()) return Answer::sat;
  tighten();
  return search_formulas();
}

void Engine::poll() const {
  limiter_();
}

// ---- beginning anew ----

// An exception in the midst of a pivot leaves a solver that can only be replaced, and one in the midst of a formula
// clauses that are not complete.
void Engine::mend() {
  if (solver_ && solver_->tableau_.is_broken()) start_afresh();
  if (std::exchange(is_clausifying_, false)) drop_search();
}

// Replaces the solver by one that knows nothing, keeping all that is asserted.
void Engine::start_afresh() {
  replace_solver();
  guided_.reset();
  for (const auto& [constraint, equation] : definitions_) solver_->tell_equation(constraint, equation);
  is_row_told_.assign(is_row_told_.size(), false);
  num_told_bounds_ = 0;
  num_pushed_literals_ = 0;
  constraint_holders_.clear();
  boolean_holders_.clear();
}

void Engine::replace_solver() {
  auto fresh = std::make_unique<TheorySolver>(verbosity_);
  retire_solver();
  solver_ = std::move(fresh);
  solver_->termination_test_ = &limiter_;
  solver_->tableau_.set_work_test(&limiter_);
}

void Engine::retire_solver() noexcept {
  if (!solver_) return;
  old_work_ += solver_->tableau_.work();
  num_old_pivots_ += static_cast<std::uint64_t>(solver_->num_pivots_);
  solver_.reset();
}

// The formulas in force are turned into clauses anew by the next check.
void Engine::drop_search() noexcept {
  if (search_) old_work_ += search_work();
  search_checker_.reset();
  search_.reset();
  for (Level& level : levels_) level.guard = 0;
  tightening_.reset();
  num_clausified_ = num_observed_ = num_named_ = num_tightened_ = num_held_ = 0;
  units_.clear();
}

// After an exception for want of memory nothing that was being made is known to be whole. All that is derived from the
// assertions goes, which gives the memory back.
void Engine::discard() noexcept {
  forget_answer();
  drop_search();
  retire_solver();
  guided_.reset();
  is_guidance_exhausted_ = false;
  conflict_ = Conflict();
  refutation_.reset();
  stated_.reset();
  linearizer_.reset();
  form_ = LinearForm();
  atoms_ = AtomTable();
  presolved_ = is_clausifying_ = false;
  num_told_bounds_ = num_pushed_literals_ = 0;
  num_stale_ = 0;
  for (Level& level : levels_) level.num_wanted = 0;
  for (Assertion& assertion : assertions_) assertion.literals_end = assertion.formulas_end = 0;
  const auto empty = [](auto&... containers) { (std::decay_t<decltype(containers)>().swap(containers), ...); };
  empty(boolean_variables_, boolean_symbols_, literals_, formulas_, wanted_, is_wanted_, offsets_, definitions_,
        solved_assertions_, solved_by_, is_row_told_, constraint_holders_, boolean_holders_, found_values_,
        equality_pivots_);
  release_freed_memory();
}

// Makes an engine that has nothing but its assertions whole again; without effect on any other.
void Engine::restore() {
  if (solver_) return;
  try {
    replace_solver();
    linearizer_.emplace(terms_);
    for (Assertion& assertion : assertions_) {
      poll();
      flatten_assertion(assertion.formula, assertion.level);
      assertion.literals_end = literals_.size();
      assertion.formulas_end = formulas_.size();
    }
  } catch (...) {
    discard();
    throw;
  }
}

// ---- preconditions ----

void Engine::require(Answer answer, const char* call) const {
  require_idle(call);
  if (answer_ == answer) return;
  throw Exception() << call << ": the last answer is not " << (answer == Answer::sat ? "sat" : "unsat");
}

void Engine::require_idle(const char* call) const {
  if (limiter_.is_running()) throw Exception() << call << ": called in the midst of another call";
}

void Engine::require_term(Term t, Sort sort, const char* call) const {
  if (!t.is_valid() || t.id() >= terms_.num_terms()) throw Exception() << call << ": there is no such term";
  if (terms_.sort(t) == sort) return;
  throw Exception() << call << ": the term is of sort " << to_str(terms_.sort(t));
}

void Engine::require_formula(Term t, const char* call) const {
  require_term(t, Sort::boolean, call);
}

// ---- settings and figures ----

void Engine::set_termination_test(const TerminationTest* test) {
  require_idle("set_termination_test");
  limiter_.set_test(test);
}

void Engine::set_limits(const Limits& limits) {
  require_idle("set_limits");
  limiter_.set_limits(limits);
}

void Engine::set_verbosity(int level) {
  verbosity_ = level;
  if (solver_) solver_->verbosity_ = level;
}

la::Solver& Engine::solver() {
  restore();
  return *solver_;
}

std::uint64_t Engine::work() const {
  std::uint64_t work = old_work_;
  if (solver_) work += solver_->tableau_.work();
  if (search_) work += search_work();
  return work;
}

// Of the SAT solver and of turning formulas into clauses. A term of a row combination being one, these are about the
// measured ratios.
std::uint64_t Engine::search_work() const {
  constexpr std::uint64_t per_variable = 100, per_conflict = 1000, per_notice = 20;
  const sat::Solver& sat = search_->clauses().solver();
  const sat::Statistics done = sat.statistics();
  return per_variable * static_cast<std::uint64_t>(sat.num_variables()) + per_conflict * done.learned +
         per_notice * (done.levels + done.assignments + done.propagations);
}

void Engine::get_stats(std::vector<std::pair<std::string, std::string>>& stats) const {
  const auto add = [&stats](const char* name, std::size_t figure) { stats.emplace_back(name, std::to_string(figure)); };
  add("terms", terms_.num_terms());
  add("assertions", assertions_.size());
  add("literals", literals_.size());
  add("variables", static_cast<std::size_t>(atoms_.num_variables()) - atoms_.rows().size());
  add("rows", atoms_.rows().size());
  add("bounds", atoms_.bounds().size());
  add("checks", num_checks_);
  add("pivots", (solver_ ? static_cast<std::size_t>(solver_->num_pivots_) : 0) + num_old_pivots_);
  add("work", static_cast<std::size_t>(work()));
  if (!search_) return;
  const sat::Statistics done = search_->clauses().solver().statistics();
  add("clauses", done.clauses);
  add("learned", done.learned);
  add("decisions", done.levels);
  add("propagations", done.propagations);
  add("theory-checks", search_->num_checks());
  add("theory-conflicts", done.theory_clauses);
}

}  // namespace tarku::smt

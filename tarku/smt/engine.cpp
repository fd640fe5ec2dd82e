// The engine facade: collecting literals, bringing them to the solver, and reading answers back.
#include "tarku/smt/engine.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <new>
#include <sstream>
#include <type_traits>
#include <utility>

#include "tarku/la/lasolver.h"
#include "tarku/proof/certificate.h"
#include "tarku/smt/checking_sink.h"
#include "tarku/smt/conjunction_guide.h"
#include "tarku/smt/core_minimizer.h"
#include "tarku/smt/flatten.h"
#include "tarku/smt/guided_arithmetic.h"
#include "tarku/smt/memory.h"
#include "tarku/smt/pacing.h"
#include "tarku/smt/simplex_arithmetic.h"
#include "tarku/smt/term_assertions.h"
#include "tarku/smt/tightening.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

namespace {

// The termination test is polled once per so many steps of the cheap loops outside the search.
constexpr std::size_t poll_period = 16;

// A search over formulas is left to the guide when it has done so much work, in the tableau's measure, and so much for
// each check.
constexpr std::uint64_t patience_with_formulas = std::uint64_t{1} << 22;
constexpr std::uint64_t slow_check = std::uint64_t{1} << 15;

// An infinitesimal above (direction 1) or below (-1) `value`, or just there (0).
la::DNumber shifted(const QNumber& value, int direction) {
  return la::DNumber(value, QNumber(direction));
}

// 1/n for the least n that keeps it at or below `limit`, or 1: what is chosen for the infinitesimal ends up in every
// value, so it should be short.
QNumber short_fraction(const QNumber& limit) {
  if (!(limit < QNumber(1))) return QNumber(1);
  return limit.inverse().neg().floor().neg().inverse();
}

}  // namespace

// The solver with values for people to read.
class Engine::TheorySolver : public la::Solver {
 public:
  explicit TheorySolver(int verbosity) : la::Solver(true, verbosity) {}

  void set_delta_value(QNumber& delta) override { delta = short_fraction(delta) / QNumber(divisor_); }
  // Models are built with so many times smaller infinitesimals.
  void set_divisor(int divisor) { divisor_ = divisor; }

 private:
  int divisor_ = 1;
};

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

// ---- formulas ----

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

std::size_t Engine::num_permanent_assertions() const {
  return levels_.size() == num_base_levels_ ? assertions_.size() : levels_[num_base_levels_].num_assertions;
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

// Tells the search what all cases of its permanent disjunctions have in common, if there are maxima among them: where
// there are none it does not pay. Needs: all literals are pushed.
void Engine::tighten() {
  const std::size_t end = num_permanent_formulas();
  if (num_tightened_ >= end) return;
  num_tightened_ = end;
  std::vector<Alternatives> alternatives;
  for (std::size_t i = 0; i < end; ++i) {
    bool holds = false;
    const Clause clause = clause_of(formulas_[i], &holds);
    if (!holds) search_->clausifier().add_alternatives(clause, &alternatives);
  }
  search_->clausifier().add_alternatives_of_values(&alternatives);
  Tightening tightening(atoms_, *search_, &limiter_);
  for (Alternatives& each : alternatives) tightening.add(std::move(each));
  if (!tightening.has_maximum()) return;
  for (const Literal& literal : literals_) {
    if (!literal.is_arithmetic() || !is_permanent(level_of(literal.constraint()))) continue;
    tightening.hold(literal.constraint());
    if (atoms_.bound_of(literal.constraint()).relation == Relation::equal) tightening.add({{{literal.constraint()}}});
  }
  tightening.run();
  want_observed_atoms(0);
  if (!guided_) tell_new_atoms();
}

std::size_t Engine::num_permanent_formulas() const {
  const std::size_t num_permanent = num_permanent_assertions();
  return num_permanent == 0 ? 0 : assertions_[num_permanent - 1].formulas_end;
}

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

// The solver's settings for a search, put back however it ends.
struct Engine::PacedSearch {
  explicit PacedSearch(Engine& owner) : engine(owner), pacer(*owner.solver_, &owner.limiter_) {
    engine.solver_->termination_test_ = &pacer;
  }
  PacedSearch(const PacedSearch&) = delete;
  PacedSearch& operator=(const PacedSearch&) = delete;
  ~PacedSearch() {
    engine.solver_->termination_test_ = &engine.limiter_;
    engine.solver_->pivot_limit_override_ = 0;
  }

  Engine& engine;
  Pacer pacer;
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

bool Engine::holds(int constraint) const {
  if (is_solved(constraint)) return true;
  const auto index = static_cast<std::size_t>(constraint);
  return index < constraint_holders_.size() && constraint_holders_[index].count > 0;
}

int Engine::level_of(int constraint) const {
  return is_solved(constraint) ? 0 : constraint_holders_[static_cast<std::size_t>(constraint)].level;
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
  num_clausified_ = num_observed_ = num_named_ = num_tightened_ = 0;
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

// The one place where forms and bounds reach the solver, a form with its first bound. All of this precedes the pushing,
// because the solver sets aside what has no bound when the first literal is pushed.
// Needs: no conflict pending, in which the solver would drop equations.
void Engine::tell_new_atoms() {
  assert(!solver_->in_conflict_);
  if (presolve_ && !presolved_) solve_equalities();
  if (conflict_.is_known()) return;
  is_row_told_.resize(atoms_.rows().size());
  for (; num_told_bounds_ < wanted_.size(); ++num_told_bounds_) {
    if (num_told_bounds_ % poll_period == 0) poll();
    const AtomTable::Bound& bound = atoms_.bound_of(wanted_[num_told_bounds_]);
    if (is_solved(bound.constraint)) continue;
    const int row = atoms_.row_of(bound.variable);
    if (row >= 0 && !is_row_told_[static_cast<std::size_t>(row)]) {
      tell_row(atoms_.rows()[static_cast<std::size_t>(row)]);
      is_row_told_[static_cast<std::size_t>(row)] = true;
    }
    tell_bound(bound);
  }
}

bool Engine::is_solved(int constraint) const {
  const auto index = static_cast<std::size_t>(constraint);
  return index < solved_by_.size() && solved_by_[index] >= 0;
}

// The work of a system that is being solved counts as the engine's.
class Engine::PresolveTest : public TerminationTest {
 public:
  PresolveTest(Engine& engine, const EqualitySystem& system)
      : engine_(engine), system_(system), work_before_(engine.old_work_) {}
  void operator()() const override {
    engine_.old_work_ = work_before_ + system_.work();
    engine_.poll();
  }

 private:
  Engine& engine_;
  const EqualitySystem& system_;
  std::uint64_t work_before_;
};

// Equalities below all levels hold as long as the engine lives. Before the solver has seen anything they can be turned
// into definitions, which cost the search less than fixed variables do.
void Engine::solve_equalities() {
  EqualitySystem system(atoms_.num_variables());
  std::vector<int> constraints;  // in the order in which the system gets them
  std::vector<int> solved_by(static_cast<std::size_t>(atoms_.num_constraints()) + 1, -1);
  std::size_t literal = 0;
  for (std::size_t i = 0; i < num_permanent_assertions(); ++i) {
    for (; literal < assertions_[i].literals_end; ++literal) {
      if (!literals_[literal].is_arithmetic()) continue;
      const int constraint = literals_[literal].constraint();
      const AtomTable::Bound& bound = atoms_.bound_of(constraint);
      int& solved = solved_by[static_cast<std::size_t>(constraint)];
      if (bound.relation != Relation::equal || solved >= 0) continue;
      solved = assertions_[i].index;
      const int row = atoms_.row_of(bound.variable);
      system.add(row >= 0 ? row_terms(atoms_.rows()[static_cast<std::size_t>(row)])
                          : std::vector<la::Equation::VarCoeff>{{bound.variable, QNumber(1)}},
                 bound.value);
      constraints.push_back(constraint);
    }
  }
  const PresolveTest test(*this, system);
  const bool solvable = system.solve(&test);
  presolved_ = true;
  solved_by_ = std::move(solved_by);
  for (const int constraint : constraints) {
    const int assertion = assertion_of(constraint);
    if (solved_assertions_.empty() || solved_assertions_.back() != assertion) solved_assertions_.push_back(assertion);
  }
  for (const EqualitySystem::Pivot& pivot : system.pivots()) {
    equality_pivots_.push_back({constraints[static_cast<std::size_t>(pivot.equality)], pivot.unknown});
  }
  if (solvable) return adopt_definitions(system);
  set_conflict(solved_assertions_);
  conflict_.equality = constraints[static_cast<std::size_t>(system.contradicted())];
}

void Engine::adopt_definitions(const EqualitySystem& system) {
  for (const EqualitySystem::Definition& definition : system.definitions()) {
    la::Equation equation(definition.variable);
    for (const la::Equation::VarCoeff& term : definition.terms) equation.add_term(term.var, term.coeff);
    definitions_.emplace_back(atoms_.reserve_constraint(), equation);
    solver_->tell_equation(definitions_.back().first, equation);
    set_offset(definition.variable, definition.offset);
  }
}

const QNumber& Engine::offset(int variable) const {
  static const QNumber none;
  const auto index = static_cast<std::size_t>(variable);
  return index < offsets_.size() ? offsets_[index] : none;
}

void Engine::set_offset(int variable, const QNumber& value) {
  const auto index = static_cast<std::size_t>(variable);
  if (value.is_zero()) return;
  if (index >= offsets_.size()) offsets_.resize(std::max(index + 1, 2 * offsets_.size()));
  offsets_[index] = value;
}

// The terms that the row's slack variable is the sum of, ascending.
std::vector<la::Equation::VarCoeff> Engine::row_terms(const AtomTable::Row& row) const {
  std::vector<la::Equation::VarCoeff> terms;
  terms.reserve(row.count);
  const Monomial* monomials = atoms_.monomials(row);
  for (std::uint32_t i = 0; i < row.count; ++i) {
    terms.push_back({atoms_.find_variable(monomials[i].leaf), monomials[i].coeff});
  }
  std::sort(terms.begin(), terms.end(), [](const auto& x, const auto& y) { return x.var < y.var; });
  return terms;
}

void Engine::tell_row(const AtomTable::Row& row) {
  la::Equation equation(row.variable);
  QNumber sum;
  for (const la::Equation::VarCoeff& term : row_terms(row)) {
    equation.add_term(term.var, term.coeff);
    sum.add_mul(term.coeff, offset(term.var));
  }
  set_offset(row.variable, sum);
  solver_->tell_equation(row.constraint, equation);
}

void Engine::tell_bound(const AtomTable::Bound& bound) {
  const int c = bound.constraint, v = bound.variable;
  const QNumber value = (bound.value - offset(v)).compact();
  switch (bound.relation) {
    case Relation::less:
      return solver_->tell_upper_bound(c, v, shifted(value, -1));
    case Relation::less_equal:
      return solver_->tell_upper_bound(c, v, shifted(value, 0));
    case Relation::equal:
      return solver_->tell_equal_bound(c, v, shifted(value, 0));
    case Relation::distinct:
      return solver_->tell_diseq_bound(c, v, shifted(value, 0));
    case Relation::greater_equal:
      return solver_->tell_lower_bound(c, v, shifted(value, 0));
    case Relation::greater:
      return solver_->tell_lower_bound(c, v, shifted(value, 1));
  }
}

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

int Engine::assertion_of(int constraint) const {
  const auto index = static_cast<std::size_t>(constraint);
  if (const auto found = conflict_.assertion_of.find(constraint); found != conflict_.assertion_of.end()) {
    return found->second;
  }
  return is_solved(constraint) ? solved_by_[index] : constraint_holders_[index].assertion;
}

void Engine::poll() const {
  limiter_();
}

// ---- answers ----

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

// A call about an answer, within limits. When it leaves the solver without the values that the answer is about, the
// answer is forgotten.
template <class Call>
auto Engine::within_limits(Call&& call) {
  const Limiter::Run running(limiter_);
  try {
    return std::forward<Call>(call)();
  } catch (const std::bad_alloc&) {
    discard();
    throw MemoryOut();
  } catch (...) {
    if (solver_->tableau_.is_broken()) forget_answer();
    mend();
    throw;
  }
}

// ---- refutations ----

std::vector<int> Engine::unsat_core() {
  require(Answer::unsat, "unsat_core");
  std::vector<int> result = within_limits([this] { return core(); });
  result.erase(std::lower_bound(result.begin(), result.end(), num_asserted_), result.end());
  return result;
}

std::vector<std::size_t> Engine::failed_assumptions() {
  require(Answer::unsat, "failed_assumptions");
  return positions_of_assumptions(within_limits([this] { return core(); }));
}

std::vector<std::size_t> Engine::positions_of_assumptions(const std::vector<int>& indices) const {
  std::vector<std::size_t> result;
  for (const int index : indices) {
    if (index >= num_asserted_) result.push_back(static_cast<std::size_t>(index - num_asserted_));
  }
  return result;
}

std::vector<int> Engine::core() {
  if (conflict_.is_boolean && !search_->clauses().is_logged()) throw Exception() << "unsat_core: no proofs were kept";
  if (!conflict_.is_arithmetic()) return conflict_.assertions;
  std::vector<int> result;
  for (const int constraint : refutation().constraints()) result.push_back(assertion_of(constraint));
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

std::vector<int> Engine::minimal_core(const std::function<bool(int)>& is_member) {
  require(Answer::unsat, "minimal_core");
  return minimize([&](int index) { return index < num_asserted_ && is_member(index); });
}

std::vector<std::size_t> Engine::minimal_failed_assumptions() {
  require(Answer::unsat, "minimal_failed_assumptions");
  return positions_of_assumptions(minimize([this](int index) { return index >= num_asserted_; }));
}

// By checks of an engine of its own. All that is no member stays in force.
std::vector<int> Engine::minimize(const std::function<bool(int)>& is_member) {
  std::vector<Term> background, candidates;
  std::vector<int> members;
  for (const Assertion& assertion : assertions_) {
    if (!is_member(assertion.index)) background.push_back(assertion.formula);
  }
  return within_limits([&] {
    for (const int index : core()) {
      if (!is_member(index)) continue;
      members.push_back(index);
      candidates.push_back(find_assertion(static_cast<std::uint64_t>(index))->formula);
    }
    std::vector<int> result;
    for (const std::size_t i : minimize_core(terms_, background, candidates, &limiter_, limiter_.limits().work)) {
      result.push_back(members[i]);
    }
    return result;
  });
}

// Null when it is not in force.
const Engine::Assertion* Engine::find_assertion(std::uint64_t index) const {
  const auto is_before = [](const Assertion& a, std::uint64_t i) { return static_cast<std::uint64_t>(a.index) < i; };
  const auto found = std::lower_bound(assertions_.begin(), assertions_.end(), index, is_before);
  const bool exists = found != assertions_.end() && static_cast<std::uint64_t>(found->index) == index;
  return exists ? &*found : nullptr;
}

void Engine::certify(std::uint64_t check, proof::CertificateSink& sink) {
  require(Answer::unsat, "certify");
  within_limits([&] { tell_refutation(check, sink); });
}

void Engine::tell_refutation(std::uint64_t check, proof::CertificateSink& sink) {
  if (conflict_.is_boolean) {
    if (!search_->clauses().is_logged()) throw Exception() << "certify: no proofs were kept";
    return search_->clauses().certify(check, conflict_.conclusion, sink);
  }
  if (conflict_.is_arithmetic()) return refutation().certify(check, stated(), sink);
  const auto source = [this](std::size_t i) { return static_cast<std::uint64_t>(conflict_.assertions[i]); };
  sink.begin(check);
  if (conflict_.symbol == 0) {  // one assertion is false by itself
    sink.input(1, source(0), {});
    return sink.qed(1);
  }
  // The sign tells which of the two says that the symbol is true.
  const int first = conflict_.symbol > 0 ? 1 : -1;
  sink.boolean(1, terms_.name(boolean_symbols_[static_cast<std::size_t>(std::abs(conflict_.symbol)) - 1]));
  sink.input(1, source(0), {first});
  sink.input(2, source(conflict_.assertions.size() - 1), {-first});
  sink.rup(3, {}, {1, 2});
  sink.qed(3);
}

const proof::Refutation& Engine::refutation() {
  if (!refutation_ && !conflict_.sum.empty()) refutation_ = proof::Refutation::of_sum(conflict_.sum, stated());
  if (!refutation_) {
    refutation_ = conflict_.proof != nullptr ? proof::Refutation::of(*conflict_.proof, stated())
                                             : proof::Refutation::of_equation(conflict_.equality, stated());
  }
  return *refutation_;
}

StatedConstraints& Engine::stated() {
  if (!stated_) {
    stated_.emplace(terms_, atoms_, [this](int constraint) { return assertion_of(constraint); });
    stated_->equations().set_poll([this] { poll(); });
    num_stated_equations_ = 0;
  }
  for (; num_stated_equations_ < equality_pivots_.size(); ++num_stated_equations_) {
    const EqualityPivot& pivot = equality_pivots_[num_stated_equations_];
    stated_->add_equation(pivot.constraint, pivot.unknown);
  }
  return *stated_;
}

// ---- checking answers ----

// The three answers have three proofs: of sat a model, of unsat a certificate; unknown claims nothing.
void Engine::verify(Answer answer) {
  if (answer == Answer::sat) verify_model();
  if (answer == Answer::unsat) verify_refutation();
}

void Engine::verify_model() {
  for (const Assertion& assertion : assertions_) {
    poll();
    if (model().bool_value(assertion.formula)) continue;
    std::ostringstream values;
    solver_->dump_debug_status(values);
    throw AnswerRefused("sat", "assertion " + std::to_string(assertion.index) + " is false in the model", values.str());
  }
}

void Engine::verify_refutation() {
  const auto assertion = [this](std::uint64_t index) {
    const Assertion* const found = find_assertion(index);
    return found != nullptr ? found->formula : Term();
  };
  const auto real = [this](int variable) { return atoms_.symbol(variable); };
  const auto boolean = [this](int) {
    return boolean_symbols_[static_cast<std::size_t>(std::abs(conflict_.symbol)) - 1];
  };
  if (conflict_.is_boolean) return verify_search();
  TermAssertions assertions(terms_, {assertion, real, boolean});
  checker::Checker checker(&assertions);
  CheckingSink sink(checker);
  try {
    tell_refutation(0, sink);
    if (!checker.is_finished()) throw checker::Refused("the certificate has no end");
  } catch (const Interrupted&) {
    throw;
  } catch (const checker::Refused& refusal) {
    refuse_unsat(refusal.what());
  } catch (const Exception& failure) {
    refuse_unsat(failure.what());
  }
}

// A checker that stays: what rests on permanent assertions alone is checked once.
struct Engine::SearchChecker {
  explicit SearchChecker(Engine& engine)
      : assertions(engine.terms_, {[&engine](std::uint64_t index) {
                                     const Assertion* const found = engine.find_assertion(index);
                                     return found != nullptr ? found->formula : Term();
                                   },
                                   [&engine](int variable) { return engine.atoms_.symbol(variable); },
                                   [&engine](int variable) { return engine.search_->clauses().symbol_of(variable); }}),
        checker(&assertions) {
    checker.begin(0);
  }
  TermAssertions assertions;
  checker::Checker checker;
  ClauseBase::Told told;
};

void Engine::verify_search() {
  if (!search_checker_) search_checker_ = std::make_unique<SearchChecker>(*this);
  try {
    SearchChecker& kept = *search_checker_;
    CheckingSink sink(kept.checker);
    const auto passing = search_->clauses().certify_rest(conflict_.conclusion, sink, &kept.told);
    if (!kept.checker.is_finished()) throw checker::Refused("the certificate has no end");
    kept.checker.reopen();
    kept.checker.remove(passing);
  } catch (const checker::Refused& refusal) {
    search_checker_.reset();
    refuse_unsat(refusal.what());
  } catch (...) {
    search_checker_.reset();
    throw;
  }
}

void Engine::refuse_unsat(const std::string& reason) {
  std::ostringstream text;
  try {
    proof::CertificateWriter writer(text);
    tell_refutation(0, writer);
  } catch (const Exception&) {
    text << "; the certificate ends here\n";
  }
  solver_->debug_dump_smtlib(text);
  throw AnswerRefused("unsat", reason, text.str());
}

// ---- models ----

QNumber Engine::real_value(Term t) {
  require(Answer::sat, "real_value");
  require_term(t, Sort::real, "real_value");
  return within_limits([&] { return model().real_value(t); });
}

bool Engine::bool_value(Term t) {
  require(Answer::sat, "bool_value");
  require_term(t, Sort::boolean, "bool_value");
  return within_limits([&] { return model().bool_value(t); });
}

Evaluator& Engine::model() {
  if (!model_) {
    if (!has_found_) prepare_values();
    model_.emplace(
        terms_, [this](Term symbol) { return symbol_value(symbol); },
        [this](Term symbol) { return symbol_truth(symbol); }, &limiter_);
  }
  return *model_;
}

// With disequalities in force a small infinitesimal is not enough: the solver has to move values apart.
void Engine::prepare_values() {
  separated_ = !solver_->diseqs_.empty();
  if (separated_) {
    separate_values();
  } else {
    delta_ = short_fraction(solver_->smallest_ratio());
  }
}

// Halving an infinitesimal ends in vain when unequal values happen to meet each time. Odd parts of it meet other
// values.
void Engine::separate_values() {
  auto& solver = static_cast<TheorySolver&>(*solver_);
  for (int divisor = 1;; divisor += 2) {
    solver.set_divisor(divisor);
    try {
      return solver.build_model({});
    } catch (const Interrupted&) {
      throw;
    } catch (const Exception&) {
      if (divisor > std::numeric_limits<int>::max() - 2) throw;
    }
  }
}

QNumber Engine::symbol_value(Term symbol) {
  const int variable = atoms_.find_variable(symbol);
  if (!has_found_) return variable_value(variable);
  const auto index = static_cast<std::size_t>(variable);
  return index < found_values_.size() ? found_values_[index] : QNumber();
}

// Variable 0 stands for none.
QNumber Engine::variable_value(int variable) {
  QNumber result;
  if (variable == 0) return result;
  la::DNumber value;
  if (!(separated_ && solver_->get_value(variable, &result)) && solver_->get_abstract_value(variable, &value)) {
    result = value.real();
    result.add_mul(value.delta(), delta_);
  }
  return result + offset(variable);
}

bool Engine::symbol_truth(Term symbol) {
  const auto found = boolean_variables_.find(symbol.id());
  if (found != boolean_variables_.end() && static_cast<std::size_t>(found->second) < boolean_holders_.size()) {
    const Holder& holder = boolean_holders_[static_cast<std::size_t>(found->second)];
    if (holder.count > 0) return holder.value;
  }
  if (const auto truth = found_truths_.find(found == boolean_variables_.end() ? 0 : found->second);
      has_found_ && truth != found_truths_.end()) {
    return truth->second;
  }
  // The guide's models are of literals alone: the SAT solver has no answer then.
  const int variable = has_found_ && !formulas_.empty() ? search_->clausifier().find_symbol(symbol) : 0;
  return variable != 0 && search_->value(variable);
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

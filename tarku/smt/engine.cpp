// The engine facade: collecting literals, bringing them to the solver, and reading answers back.
#include "tarku/smt/engine.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "tarku/la/lasolver.h"
#include "tarku/smt/flatten.h"
#include "tarku/smt/pacing.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

namespace {

// The termination test is polled once per so many steps of the cheap loops outside the search.
constexpr std::size_t poll_period = 256;

// An infinitesimal above (direction 1) or below (-1) `value`, or just there (0).
la::DNumber shifted(const QNumber& value, int direction) {
  return la::DNumber(value, QNumber(direction));
}

}  // namespace

// Turns the conjuncts of one assertion into literals of the engine.
class Engine::Collector : public LiteralSink {
 public:
  explicit Collector(Engine& engine) : engine_(engine) {}

  void boolean_literal(Term symbol, bool value) override {
    engine_.literals_.push_back(Literal::boolean(engine_.boolean_variable(symbol), value));
  }

  void linear_literal(Term atom, Term left, Relation relation, Term right) override {
    LinearForm& form = engine_.form_;
    engine_.linearizer_.subtract(left, right, &form);
    if (const Term leaf = unsupported_leaf(form); leaf.is_valid()) {
      return unsupported(leaf, "'ite' is not supported so far");
    }
    if (relation == Relation::distinct && !form.terms.empty() && !engine_.disequalities_supported_) {
      const bool direct = engine_.terms_.op(atom) == Op::distinct;
      return unsupported(atom, direct ? "'distinct' is not supported so far" : "a negated '=' is not supported so far");
    }
    const AtomTable::Place place = engine_.atoms_.add(&form, relation);
    if (place.constraint != 0) {
      engine_.literals_.push_back(Literal::arithmetic(place.constraint));
    } else if (!place.constant) {
      falsity();
    }
  }

  void falsity() override { engine_.literals_.push_back(Literal::falsity()); }

  void unsupported(Term term, std::string what) override {
    if (!unsupported_) unsupported_ = Unsupported{term, std::move(what)};
  }

  // The first conjunct that is no literal.
  std::optional<Unsupported> unsupported_;

 private:
  Term unsupported_leaf(const LinearForm& form) const {
    for (const Monomial& m : form.terms) {
      if (engine_.terms_.op(m.leaf) != Op::symbol) return m.leaf;
    }
    return Term();
  }

  Engine& engine_;
};

Engine::Engine(TermManager& terms)
    : terms_(terms), solver_(std::make_unique<la::Solver>(false, 0)), linearizer_(terms) {}

Engine::~Engine() = default;

// ---- assertions ----

int Engine::assert_term(Term formula, std::optional<Unsupported>* unsupported) {
  if (terms_.sort(formula) != Sort::boolean) throw Exception() << "assert_term: the term is of sort Real";
  forget_answer();
  const std::size_t before = literals_.size();
  Collector collector(*this);
  try {
    flatten(terms_, formula, collector);
  } catch (...) {
    literals_.erase(literals_.begin() + static_cast<std::ptrdiff_t>(before), literals_.end());
    throw;
  }
  assertions_.push_back({num_asserted_, literals_.size()});
  if (unsupported != nullptr) *unsupported = collector.unsupported_;
  if (collector.unsupported_) unsupported_.emplace_back(num_asserted_, std::move(*collector.unsupported_));
  return num_asserted_++;
}

void Engine::push() {
  forget_answer();
  levels_.push_back(assertions_.size());
}

void Engine::pop() {
  if (levels_.empty()) throw Exception() << "pop: no level is left";
  forget_answer();
  const std::size_t kept = levels_.back();
  levels_.pop_back();
  if (kept == assertions_.size()) return;

  const int first_gone = assertions_[kept].index;
  const std::size_t literals_end = kept == 0 ? 0 : assertions_[kept - 1].literals_end;
  while (num_pushed_literals_ > literals_end) pop_literal(literals_[--num_pushed_literals_]);
  literals_.erase(literals_.begin() + static_cast<std::ptrdiff_t>(literals_end), literals_.end());
  assertions_.resize(kept);
  while (!unsupported_.empty() && unsupported_.back().first >= first_gone) unsupported_.pop_back();
  // A conflict among older assertions stays one.
  if (!conflict_.empty() && conflict_.back() >= first_gone) conflict_.clear();
}

void Engine::forget_answer() {
  answer_.reset();
  reason_unknown_.clear();
  model_.reset();
}

int Engine::boolean_variable(Term symbol) {
  return boolean_variables_.emplace(symbol.id(), static_cast<int>(boolean_variables_.size()) + 1).first->second;
}

// ---- check ----

Answer Engine::check() {
  forget_answer();
  ++num_checks_;
  Answer answer = Answer::unknown;
  try {
    answer = search();
    if (answer == Answer::unknown) reason_unknown_ = unsupported_.front().second.what;
  } catch (const Interrupted& interruption) {
    reason_unknown_ = interruption.what();
  }
  answer_ = answer;
  return answer;
}

Answer Engine::search() {
  if (conflict_.empty()) search_one_by_one();
  if (!conflict_.empty()) return Answer::unsat;
  return unsupported_.empty() ? Answer::sat : Answer::unknown;
}

// The solver's settings for a search, put back however it ends.
struct Engine::PacedSearch {
  explicit PacedSearch(Engine& owner) : engine(owner), pacer(*owner.solver_, owner.termination_test_) {
    engine.solver_->termination_test_ = &pacer;
  }
  PacedSearch(const PacedSearch&) = delete;
  PacedSearch& operator=(const PacedSearch&) = delete;
  ~PacedSearch() {
    engine.solver_->termination_test_ = engine.termination_test_;
    engine.solver_->pivot_limit_override_ = 0;
  }

  Engine& engine;
  Pacer pacer;
};

// Brings what is new to the solver and searches; a conflict found is in conflict_.
void Engine::search_one_by_one() {
  tell_new_atoms();
  if (!conflict_.empty()) return;
  try {
    PacedSearch search(*this);
    search.pacer.start_round(work_per_term_ * (100 + solver_->tableau_.num_terms()), Pacer::unlimited);
    push_new_literals(true);
  } catch (const Pacer::Spent&) {
    start_afresh();
    return search_all_at_once();
  }
  finish_search();
}

// The second way, on a solver that knows nothing yet.
void Engine::search_all_at_once() {
  tell_new_atoms();
  push_new_literals(false);
  if (conflict_.empty()) alternate_rules();
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
  if (conflict_.empty() && !is_idle && !solver_->check(false)) set_solver_conflict();
}

// Replaces the solver by one that knows nothing, keeping all that is asserted.
void Engine::start_afresh() {
  const int verbosity = solver_->verbosity_;
  num_old_pivots_ += static_cast<std::uint64_t>(solver_->num_pivots_);
  solver_ = std::make_unique<la::Solver>(false, verbosity);
  solver_->termination_test_ = termination_test_;
  for (const auto& [constraint, equation] : definitions_) solver_->tell_equation(constraint, equation);
  is_row_told_.assign(is_row_told_.size(), false);
  num_told_bounds_ = 0;
  num_pushed_literals_ = 0;
  constraint_holders_.clear();
  boolean_holders_.clear();
}

// The one place where forms and bounds reach the solver, a form with its first bound. All of this precedes the pushing,
// because the solver sets aside what has no bound when the first literal is pushed.
// Needs: no conflict pending, in which the solver would drop equations.
void Engine::tell_new_atoms() {
  assert(!solver_->in_conflict_);
  if (presolve_ && !presolved_) solve_equalities();
  if (!conflict_.empty()) return;
  is_row_told_.resize(atoms_.rows().size());
  for (; num_told_bounds_ < atoms_.bounds().size(); ++num_told_bounds_) {
    if (num_told_bounds_ % poll_period == 0) poll();
    const AtomTable::Bound& bound = atoms_.bounds()[num_told_bounds_];
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
  return index < is_solved_.size() && is_solved_[index];
}

// Equalities below all levels hold as long as the engine lives. Before the solver has seen anything they can be turned
// into definitions, which cost the search less than fixed variables do.
void Engine::solve_equalities() {
  std::vector<const AtomTable::Bound*> bounds(static_cast<std::size_t>(atoms_.num_constraints()) + 1);
  for (const AtomTable::Bound& bound : atoms_.bounds()) bounds[static_cast<std::size_t>(bound.constraint)] = &bound;
  EqualitySystem system(atoms_.num_variables());
  std::vector<int> assertions;
  std::vector<bool> solved(bounds.size());
  std::size_t literal = 0;
  const std::size_t num_permanent = levels_.empty() ? assertions_.size() : levels_.front();
  for (std::size_t i = 0; i < num_permanent; ++i) {
    for (; literal < assertions_[i].literals_end; ++literal) {
      if (!literals_[literal].is_arithmetic()) continue;
      const auto constraint = static_cast<std::size_t>(literals_[literal].constraint());
      const AtomTable::Bound& bound = *bounds[constraint];
      if (bound.relation != Relation::equal || solved[constraint]) continue;
      const int row = atoms_.row_of(bound.variable);
      system.add(row >= 0 ? row_terms(atoms_.rows()[static_cast<std::size_t>(row)])
                          : std::vector<la::Equation::VarCoeff>{{bound.variable, QNumber(1)}},
                 bound.value);
      solved[constraint] = true;
      if (assertions.empty() || assertions.back() != assertions_[i].index) assertions.push_back(assertions_[i].index);
    }
  }
  const bool solvable = system.solve([this] { poll(); });
  presolved_ = true;
  solved_assertions_ = std::move(assertions);
  is_solved_ = std::move(solved);
  if (solvable) {
    adopt_definitions(system);
  } else {
    set_conflict(solved_assertions_);
  }
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
    if (!push_literal(literals_[num_pushed_literals_++], owner->index)) return;
    if (one_by_one && !solver_->violated_basics_.empty() && !solver_->check(true)) return set_solver_conflict();
  }
}

// False when the literal contradicts those below it; it counts as pushed all the same.
bool Engine::push_literal(Literal literal, int assertion) {
  if (literal.is_arithmetic()) return push_arithmetic(literal.constraint(), assertion);
  if (!literal.is_falsity()) return push_boolean(literal, assertion);
  set_conflict({assertion});
  return false;
}

bool Engine::push_arithmetic(int constraint, int assertion) {
  Holder& holder = constraint_holders_[static_cast<std::size_t>(constraint)];
  if (holder.count++ > 0) return true;
  holder.assertion = assertion;
  if (is_solved(constraint)) return true;
  if (solver_->push_constraint(constraint)) return true;
  set_solver_conflict();
  return false;
}

bool Engine::push_boolean(Literal literal, int assertion) {
  Holder& holder = boolean_holders_[static_cast<std::size_t>(literal.variable())];
  if (holder.count++ == 0) {
    holder.assertion = assertion;
    holder.value = literal.value();
  }
  if (holder.value == literal.value()) return true;
  set_conflict({holder.assertion, assertion});
  return false;
}

void Engine::pop_literal(Literal literal) {
  if (literal.is_falsity()) return;
  Holder& holder = literal.is_arithmetic() ? constraint_holders_[static_cast<std::size_t>(literal.constraint())]
                                           : boolean_holders_[static_cast<std::size_t>(literal.variable())];
  assert(holder.count > 0);
  if (--holder.count > 0 || !literal.is_arithmetic()) return;
  const int popped = solver_->pop_constraint();
  assert(popped == literal.constraint());
  (void)popped;
}

void Engine::set_conflict(std::vector<int> assertions) {
  std::sort(assertions.begin(), assertions.end());
  assertions.erase(std::unique(assertions.begin(), assertions.end()), assertions.end());
  conflict_ = std::move(assertions);
  assert(!conflict_.empty());
}

// The solver's conflict in terms of the assertions that pushed the constraints.
void Engine::set_solver_conflict() {
  std::vector<int> assertions;
  for (const int c : solver_->conflict_) {
    assertions.push_back(constraint_holders_[static_cast<std::size_t>(c)].assertion);
  }
  assertions.insert(assertions.end(), solved_assertions_.begin(), solved_assertions_.end());
  set_conflict(std::move(assertions));
}

void Engine::poll() const {
  if (termination_test_ != nullptr) (*termination_test_)();
}

// ---- answers ----

void Engine::require(Answer answer, const char* call) const {
  if (answer_ == answer) return;
  throw Exception() << call << ": the last answer is not " << (answer == Answer::sat ? "sat" : "unsat");
}

std::vector<int> Engine::unsat_core() {
  require(Answer::unsat, "unsat_core");
  return conflict_;
}

QNumber Engine::real_value(Term t) {
  require(Answer::sat, "real_value");
  if (terms_.sort(t) != Sort::real) throw Exception() << "real_value: the term is of sort Bool";
  return model().real_value(t);
}

bool Engine::bool_value(Term t) {
  require(Answer::sat, "bool_value");
  if (terms_.sort(t) != Sort::boolean) throw Exception() << "bool_value: the term is of sort Real";
  return model().bool_value(t);
}

Evaluator& Engine::model() {
  if (!model_) {
    // With disequalities in force a small infinitesimal is not enough: the solver has to move values apart.
    separated_ = !solver_->diseqs_.empty();
    if (separated_) {
      solver_->build_model({});
    } else {
      delta_ = solver_->smallest_ratio();
    }
    model_.emplace(
        terms_, [this](Term symbol) { return symbol_value(symbol); },
        [this](Term symbol) { return symbol_truth(symbol); });
  }
  return *model_;
}

QNumber Engine::symbol_value(Term symbol) {
  const int variable = atoms_.find_variable(symbol);
  if (variable == 0) return QNumber();
  QNumber result;
  la::DNumber value;
  if (!(separated_ && solver_->get_value(variable, &result)) && solver_->get_abstract_value(variable, &value)) {
    result = value.real();
    result.add_mul(value.delta(), delta_);
  }
  return result + offset(variable);
}

bool Engine::symbol_truth(Term symbol) const {
  const auto found = boolean_variables_.find(symbol.id());
  if (found == boolean_variables_.end()) return false;
  const Holder& holder = boolean_holders_[static_cast<std::size_t>(found->second)];
  return holder.count > 0 && holder.value;
}

// ---- settings and figures ----

void Engine::set_termination_test(TerminationTest* test) {
  termination_test_ = test;
  solver_->termination_test_ = test;
}

void Engine::set_verbosity(int level) {
  solver_->verbosity_ = level;
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
  add("pivots", static_cast<std::size_t>(solver_->num_pivots_) + num_old_pivots_);
  add("work", static_cast<std::size_t>(solver_->tableau_.work()));
}

}  // namespace tarku::smt

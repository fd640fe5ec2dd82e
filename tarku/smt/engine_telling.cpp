// What the engine tells the solver of the theory: definitions, sums and bounds.
#include <algorithm>
#include <cassert>
#include <utility>

#include "tarku/smt/engine_internal.h"

namespace tarku::smt {

namespace {

// An infinitesimal above (direction 1) or below (-1) `value`, or just there (0).
la::DNumber shifted(const QNumber& value, int direction) {
  return la::DNumber(value, QNumber(direction));
}

}  // namespace

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

}  // namespace tarku::smt

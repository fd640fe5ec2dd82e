// The theory's part of the search: pushing what is assigned, and clauses for conflicts and implications.
#include "tarku/smt/boolean_search.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "tarku/termination_test.h"

namespace tarku::smt {

using proof::Refutation;

BooleanSearch::BooleanSearch(TermManager& terms, Linearizer& linearizer, AtomTable& atoms,
                             proof::Constraints& constraints, Base& base, bool is_logged, std::uint64_t seed)
    : atoms_(atoms),
      constraints_(constraints),
      base_(base),
      clauses_(terms, linearizer, atoms, constraints, is_logged, seed),
      clausifier_(terms, linearizer, atoms, clauses_) {
  clauses_.set_literal_finder([this](int constraint) { return clausifier_.find_literal(constraint); });
  clauses_.solver().connect(*this);
}

// ==== solving ====

// Takes everything off the stacks that the search has put there, however it ends.
struct BooleanSearch::Cleanup {
  BooleanSearch& search;
  ~Cleanup() {
    while (search.num_pushed_ > 0) search.pop_last();
    search.has_conflict_ = search.is_conflict_untold_ = false;
    search.implications_.clear();
    search.arithmetic_->forget_permanent();
    search.arithmetic_ = nullptr;
    search.num_permanent_ = none_permanent;
  }
};

sat::Answer BooleanSearch::solve(Arithmetic& arithmetic, const std::vector<int>& guards, TerminationTest* test) {
  arithmetic_ = &arithmetic;
  is_checked_ = false;
  const Cleanup cleanup{*this};
  sat::Solver& sat = clauses_.solver();
  sat.set_termination_test(test);
  for (const int guard : guards) sat.assume(guard);
  const sat::Answer answer = sat.solve();
  sat.unwind();
  return answer;
}

// A theory that knows nothing.
class BooleanSearch::NoArithmetic final : public Arithmetic {
 public:
  bool push(int) override { return true; }
  void pop() override {}
  bool check(bool) override { return true; }
  bool are_values_new() override { return false; }
  bool is_satisfied(int) override { return true; }
  double distance(int) override { return 0; }
  std::vector<int> conflict() override { return {}; }
  proof::Refutation refutation(proof::Constraints& constraints) override {
    return proof::Refutation::of_sum({}, constraints);
  }
  std::optional<Implication> next_implication(bool) override { return std::nullopt; }
};

void BooleanSearch::learn(int literal, TerminationTest* test) {
  sat::Solver& sat = clauses_.solver();
  if (sat.is_fixed(literal)) return;
  NoArithmetic nothing;
  sat.assume(-literal);
  sat.limit_decisions(1);
  solve(nothing, {}, test);
}

// ==== the stack ====

void BooleanSearch::assign(sat::Literal literal) {
  const auto variable = static_cast<std::size_t>(std::abs(literal));
  if (clauses_.is_guard(static_cast<int>(variable))) return;
  if (variable >= values_.size()) values_.resize(std::max(variable + 1, 2 * values_.size()));
  trail_.push_back({literal});
  values_[variable] = literal > 0 ? 1 : -1;
}

// What is assigned before the first decision is never taken back.
void BooleanSearch::new_level() {
  if (starts_.empty() && num_pushed_ != num_permanent_) {
    arithmetic_->mark_permanent();
    num_permanent_ = num_pushed_;
  }
  starts_.push_back(trail_.size());
}

void BooleanSearch::backtrack(int level) {
  const std::size_t end = starts_[static_cast<std::size_t>(level)];
  starts_.resize(static_cast<std::size_t>(level));
  while (num_pushed_ > end) pop_last();
  for (std::size_t i = end; i < trail_.size(); ++i) {
    values_[static_cast<std::size_t>(std::abs(trail_[i].literal))] = 0;
  }
  trail_.resize(end, Entry{0});
  has_conflict_ = is_conflict_untold_ = false;
}

void BooleanSearch::pop_last() {
  Entry& entry = trail_[--num_pushed_];
  if (entry.is_pushed) arithmetic_->pop();
  entry.is_pushed = false;
}

int BooleanSearch::constraint_of(int literal) const {
  const ClauseBase::Atom& atom = clauses_.atom(std::abs(literal));
  return literal > 0 ? atom.when_true : atom.when_false;
}

bool BooleanSearch::is_assigned(int literal) const {
  const auto variable = static_cast<std::size_t>(std::abs(literal));
  return variable < values_.size() && values_[variable] != 0;
}

// ==== consistency ====

// False on an immediate conflict, whose push is taken back at once.
bool BooleanSearch::push_assigned() {
  while (num_pushed_ < trail_.size()) {
    Entry& entry = trail_[num_pushed_];
    const int constraint = constraint_of(entry.literal);
    if (!base_.holds(constraint)) {
      is_checked_ = false;
      if (!arithmetic_->push(constraint)) {
        report_conflict();
        arithmetic_->pop();
        return false;
      }
      entry.is_pushed = true;
    }
    ++num_pushed_;
  }
  return true;
}

bool BooleanSearch::is_consistent(bool is_complete) {
  if (has_conflict_ || !push_assigned()) return false;
  if (is_checked_ && !is_complete) return true;
  is_checked_ = arithmetic_->check(is_complete);
  if (!is_checked_) {
    report_conflict();
  } else {
    ++num_checks_;
    if (arithmetic_->are_values_new()) set_phases();
  }
  return is_checked_;
}

// What is not assigned is tried the way that the values have it.
void BooleanSearch::set_phases() {
  for (const int variable : clauses_.observed()) {
    const int constraint = clauses_.atom(variable).when_true;
    if (constraint == 0 || is_assigned(variable)) continue;
    const signed char phase = arithmetic_->is_satisfied(constraint) ? 1 : -1;
    const auto index = static_cast<std::size_t>(variable);
    if (index >= phases_.size()) phases_.resize(std::max(index + 1, 2 * phases_.size()));
    if (std::exchange(phases_[index], phase) != phase) clauses_.solver().set_phase(phase * variable);
  }
}

void BooleanSearch::report_conflict() {
  ++num_conflicts_;
  has_conflict_ = is_conflict_untold_ = true;
  if (clauses_.is_logged()) {
    conflict_ = clause_with_log(arithmetic_->refutation(constraints_), &conflict_step_);
  } else {
    conflict_ = clause_without_log(arithmetic_->conflict());
  }
}

// ==== questions of the SAT solver ====

sat::Literal BooleanSearch::propagate() {
  if (!is_consistent(false)) return 0;
  while (std::optional<Arithmetic::Implication> next = arithmetic_->next_implication(clauses_.is_logged())) {
    const int literal = clausifier_.find_literal(next->constraint);
    if (literal == 0 || clauses_.atom(std::abs(literal)).when_true == 0 || is_assigned(literal)) continue;
    if (clauses_.is_logged() && next->proof == nullptr) continue;
    implications_[literal] = std::move(*next);
    return literal;
  }
  return 0;
}

void BooleanSearch::explain(sat::Literal literal, sat::Clause& reason) {
  const Arithmetic::Implication& implication = implications_.at(literal);
  if (clauses_.is_logged()) {
    ProofLog::Id step = 0;
    reason = clause_with_log(Refutation::of(*implication.proof, constraints_), &step);
    clauses_.announce(step);
  } else {
    reason = clause_without_log(implication.reason);
    reason.push_back(literal);
  }
}

bool BooleanSearch::next_clause(sat::Clause& clause, bool& forgettable) {
  if (!is_conflict_untold_) return false;
  is_conflict_untold_ = false;
  clause = conflict_;
  forgettable = true;
  if (clauses_.is_logged()) clauses_.announce(conflict_step_);
  return true;
}

// Later the SAT solver knows better what matters.
sat::Literal BooleanSearch::decide() {
  constexpr std::uint64_t few_conflicts = 100;
  constexpr double near = 1e-7;
  sat::Literal result = 0;
  if (!is_checked_ || num_conflicts_ > few_conflicts) return result;
  double largest = near;
  for (const Choice& choice : choices_) {
    if (is_assigned(choice[0].literal)) continue;
    const double misses[] = {miss(choice[0]), miss(choice[1])};
    const std::size_t closest = misses[0] <= misses[1] ? 0 : 1;
    if (misses[closest] <= largest) continue;
    largest = misses[closest];
    result = choice[closest].literal;
  }
  return result;
}

double BooleanSearch::miss(const Option& option) {
  return std::abs(arithmetic_->distance(option.equality)) * option.factor;
}

bool BooleanSearch::check_model() {
  if (!is_consistent(true)) return false;
  base_.found_model();
  return true;
}

// ==== clauses ====

// Of an equality that is no literal of the base, the clause speaks of the side that the sum needs.
void BooleanSearch::add_lemma(std::vector<Refutation::Summand> sum) {
  for (Refutation::Summand& summand : sum) {
    if (base_.holds(summand.constraint)) continue;
    const AtomTable::Bound told = atoms_.bound_of(summand.constraint);
    if (told.relation == Relation::equal) {
      const Relation side = summand.multiplier.is_negative() ? Relation::greater_equal : Relation::less_equal;
      summand.constraint = atoms_.add_bound(told.variable, side, told.value);
      summand.multiplier = summand.multiplier.abs();
    }
    clausifier_.bound_literal(summand.constraint);
  }
  if (clauses_.is_logged()) {
    ProofLog::Id step = 0;
    const Clause clause = clause_with_log(Refutation::of_sum(sum, constraints_), &step);
    return clauses_.add_lemma(clause, step);
  }
  std::vector<int> constraints;
  for (const Refutation::Summand& summand : sum) constraints.push_back(summand.constraint);
  clauses_.add_lemma(clause_without_log(constraints));
}

Clause BooleanSearch::clause_without_log(const std::vector<int>& constraints) {
  Clause clause;
  for (const int constraint : constraints) {
    if (!base_.holds(constraint)) {
      clause.push_back(-clausifier_.find_literal(constraint));
    } else if (const int guard = base_.guard(constraint)) {
      clause.push_back(-guard);
    }
  }
  std::sort(clause.begin(), clause.end());
  clause.erase(std::unique(clause.begin(), clause.end()), clause.end());
  return clause;
}

class BooleanSearch::LogDerivation : public proof::Derivation {
 public:
  explicit LogDerivation(BooleanSearch& search) : search_(search), log_(search.clauses_.log()) {}

  int literal(int constraint, Refutation::Role role) override {
    AtomTable& atoms = search_.atoms_;
    if (role == Refutation::Role::negated) return -search_.clauses_.log_literal(constraint);
    if (role != Refutation::Role::as_told) {
      const AtomTable::Bound told = atoms.bound_of(constraint);
      const Relation side = role == Refutation::Role::less ? Relation::less : Relation::greater;
      return search_.clauses_.log_literal(atoms.add_bound(told.variable, side, told.value));
    }
    const int literal = search_.clauses_.log_literal(constraint);
    constraint_of_[literal] = constraint;
    return literal;
  }
  proof::ClauseId farkas(const Clause& clause, const std::vector<QNumber>& multipliers) override {
    return log_.farkas(clause, multipliers);
  }
  proof::ClauseId split(const Clause& clause) override { return log_.split(clause); }
  proof::ClauseId rup(const Clause& clause, const std::vector<proof::ClauseId>& antecedents) override {
    return log_.rup(clause, std::vector<ProofLog::Id>(antecedents.begin(), antecedents.end()));
  }
  // The constraint that the literal says, 0 when it is none of those told.
  int constraint_of(int literal) const {
    const auto found = constraint_of_.find(literal);
    return found == constraint_of_.end() ? 0 : found->second;
  }

 private:
  BooleanSearch& search_;
  ProofLog& log_;
  std::unordered_map<int, int> constraint_of_;
};

// The clause of the lemma, with base constraints resolved away by their assertions.
Clause BooleanSearch::clause_with_log(const Refutation& refutation, ProofLog::Id* step) {
  LogDerivation steps(*this);
  const Refutation::Lemma lemma = refutation.derive(steps);
  Clause clause;
  std::vector<ProofLog::Id> antecedents;
  for (const int literal : lemma.clause) {
    const int constraint = steps.constraint_of(-literal);
    if (constraint == 0 || !base_.holds(constraint)) {
      clause.push_back(literal);
      continue;
    }
    const int guard = base_.guard(constraint);
    antecedents.push_back(base_step(constraint, -literal));
    if (std::find(lemma.clause.begin(), lemma.clause.end(), -literal) != lemma.clause.end()) {
      *step = antecedents.back();  // the opposite of what the base says: its assertion is the clause
      return guard != 0 ? Clause{-literal, -guard} : Clause{-literal};
    }
    if (guard != 0) clause.push_back(-guard);
  }
  std::sort(clause.begin(), clause.end());
  clause.erase(std::unique(clause.begin(), clause.end()), clause.end());
  *step = static_cast<ProofLog::Id>(lemma.id);
  if (!antecedents.empty()) {
    antecedents.push_back(*step);
    *step = clauses_.log().rup(clause, antecedents);
  }
  return clause;
}

ProofLog::Id BooleanSearch::base_step(int constraint, int literal) {
  Clause clause{literal};
  if (const int guard = base_.guard(constraint)) clause.push_back(-guard);
  return clauses_.log().input(base_.source(constraint), clause);
}

}  // namespace tarku::smt

// Recording of clauses and of what variables stand for, and certificates from both.
#include "tarku/smt/clause_base.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <limits>
#include <map>
#include <utility>

#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

namespace {

// The source of clauses that belong to no assertion and in which no certificate is interested.
constexpr std::uint64_t no_source = std::numeric_limits<std::uint64_t>::max();
constexpr ProofLog::Id no_step = std::numeric_limits<ProofLog::Id>::max();
// Variables from here on occur in certificates only.
constexpr int first_log_variable = 1 << 29;

}  // namespace

ClauseBase::ClauseBase(const TermManager& terms, Linearizer& linearizer, AtomTable& atoms,
                       proof::Constraints& constraints, bool is_logged, std::uint64_t seed)
    : terms_(terms), linearizer_(linearizer), atoms_(atoms), constraints_(constraints) {
  constexpr std::uint64_t num_seeds = 2000000000;  // of CaDiCaL
  sat::Options options;
  options.seed = static_cast<int>(seed % num_seeds);
  if (is_logged) {
    log_.emplace();
    options.proof = this;
  }
  solver_ = sat::make_cadical(options);
}

ClauseBase::~ClauseBase() = default;

// ==== clauses ====

void ClauseBase::poll() const {
  if (test_ != nullptr) (*test_)();
}

int ClauseBase::new_guard() {
  const int guard = new_observed_variable();
  guards_.insert(guard);
  return guard;
}

void ClauseBase::retire_guard(int guard) {
  add({-guard}, log_ ? log_->input(no_source, {-guard}) : no_step);
}

void ClauseBase::add_input(std::uint64_t source, Clause clause, int guard) {
  if (guard != 0) clause.push_back(-guard);
  add(clause, log_ ? log_->input(source, clause) : no_step);
}

void ClauseBase::gate_clause(int variable, const Clause& clause) {
  poll();
  add(clause, log_ ? log_->gate(variable, clause) : no_step);
}

void ClauseBase::conditional_clause(int real_variable, const Clause& clause) {
  poll();
  add(clause, log_ ? log_->branch(real_variable, clause) : no_step);
}

void ClauseBase::farkas_clause(const Clause& clause, const std::vector<QNumber>& multipliers) {
  add(clause, log_ ? log_->farkas(clause, multipliers) : no_step);
}

void ClauseBase::split_clause(const Clause& clause) {
  add(clause, log_ ? log_->split(clause) : no_step);
}

void ClauseBase::case_clause(int atom, int real_variable, int selector, int case_literal, const Clause& clause) {
  poll();
  if (!log_) return add(clause, no_step);
  const bool is_atom_true = std::find(clause.begin(), clause.end(), -atom) != clause.end();
  add(clause, case_lemma(real_variable, selector, is_atom_true ? atom : -atom,
                         is_atom_true ? -case_literal : case_literal, clause));
}

void ClauseBase::add(const Clause& clause, ProofLog::Id step) {
  announced_ = step;
  solver_->add_clause(clause);
}

// ---- cases of atoms over an `ite` ----

// Of literals that exclude each other once the selector has put the branch in the place of the variable. An equality
// excludes a disequality side by side.
ProofLog::Id ClauseBase::case_lemma(int real_variable, int selector, int atom_literal, int case_literal,
                                    const Clause& clause) {
  const int equality = branch_equality(real_variable, selector);
  const ProofLog::Id branch = log_->branch(real_variable, {-selector, log_literal(equality)});
  const auto is_denied = [&clause](int literal) {
    return std::find(clause.begin(), clause.end(), literal) != clause.end();
  };
  if (is_denied(log_literal(equality))) {
    return log_->rup(clause, {branch});  // the atom is that equality
  }
  const bool is_constant = meaning(case_literal).kind != Kind::atom;
  if (is_constant && case_literal < 0) {
    return log_->rup(clause, {log_->gate(-case_literal, {-case_literal})});
  }
  const int on_atom = constraint_said_by(atom_literal);
  const int on_other = is_constant ? 0 : constraint_said_by(case_literal);
  const bool is_split_atom = atoms_.bound_of(on_atom).relation == Relation::distinct;
  const bool is_split_other = !is_constant && atoms_.bound_of(on_other).relation == Relation::distinct;
  if (!is_split_atom && !is_split_other) {
    return log_->rup(clause, {branch, case_farkas(real_variable, {equality, on_atom, on_other})});
  }
  const AtomTable::Bound split = atoms_.bound_of(is_split_atom ? on_atom : on_other);
  const int less = atoms_.add_bound(split.variable, Relation::less, split.value);
  const int greater = atoms_.add_bound(split.variable, Relation::greater, split.value);
  std::vector<ProofLog::Id> steps{branch};
  for (const int side : {less, greater}) {
    if (is_denied(log_literal(side))) continue;  // not the side that is looked for
    steps.push_back(case_farkas(
        real_variable, is_split_atom ? CaseSides{equality, side, on_other} : CaseSides{equality, on_atom, side}));
    if (is_denied(-log_literal(side))) return log_->rup(clause, {branch, steps.back()});  // the only one
  }
  const int equal = is_split_atom ? -atom_literal : -case_literal;
  steps.push_back(log_->split({equal, log_literal(less), log_literal(greater)}));
  return log_->rup(clause, steps);
}

// The constraint that says that the variable equals the branch that the selector selects.
int ClauseBase::branch_equality(int real_variable, int selector) {
  const Conditional& conditional = conditionals_.at(real_variable);
  const Args args = terms_.args(conditional.term);
  LinearForm form;
  linearizer_.subtract(conditional.term, args[selector == conditional.condition ? 1 : 2], &form);
  return atoms_.add(&form, Relation::equal).constraint;
}

int ClauseBase::constraint_said_by(int literal) {
  const int constraint = meaning(literal).number;
  return literal > 0 ? constraint : atoms_.negation_of(constraint);
}

// Eliminates the variable from the constraint on the atom by the equality; what is left is a multiple of the other one,
// or constant.
ProofLog::Id ClauseBase::case_farkas(int real_variable, const CaseSides& sides) {
  using Statement = proof::Constraints::Meaning;
  const auto turned = [](const Statement& m) {
    return m.relation == Relation::greater || m.relation == Relation::greater_equal;
  };
  const auto coeff = [](const Statement& m, int variable) {
    for (const proof::Monomial& term : m.terms) {
      if (term.variable == variable) return term.coeff;
    }
    return QNumber();
  };
  const Statement equality = constraints_.meaning(sides.equality), atom = constraints_.meaning(sides.atom);
  QNumber on_atom(1), on_other;
  const QNumber ratio = coeff(atom, real_variable) / coeff(equality, real_variable);
  Clause clause{-log_literal(sides.equality), -log_literal(sides.atom)};
  if (sides.other != 0) {
    const Statement other = constraints_.meaning(sides.other);
    const int variable = other.terms.front().variable;
    on_other = (coeff(atom, variable) - ratio * coeff(equality, variable)) / other.terms.front().coeff;
    if (turned(other) == turned(atom)) on_other = on_other.neg();
    // The sign is free where the constraint is an equality.
    if (on_other.is_negative() && other.relation != Relation::equal) on_atom = QNumber(-1);
    on_other *= on_atom;
    clause.push_back(-log_literal(sides.other));
  }
  QNumber on_equality = (turned(atom) ? ratio : ratio.neg()) * on_atom;
  if (sides.other == 0 && atom.relation == Relation::equal) {
    // Two equalities contradict each other; the difference of their constants may have either sign.
    const QNumber total = atom.value + on_equality * equality.value;
    if (!total.is_negative()) {
      on_atom = on_atom.neg();
      on_equality = on_equality.neg();
    }
  }
  std::vector<QNumber> multipliers{on_equality, on_atom};
  if (sides.other != 0) multipliers.push_back(on_other);
  return log_->farkas(clause, multipliers);
}

// ==== what variables stand for ====

int ClauseBase::new_variable() {
  const int variable = solver_->new_variable();
  meanings_.resize(static_cast<std::size_t>(variable) + 1);
  atoms_of_.resize(meanings_.size());
  return variable;
}

int ClauseBase::new_observed_variable() {
  const int variable = solver_->new_observed_variable();
  meanings_.resize(static_cast<std::size_t>(variable) + 1);
  atoms_of_.resize(meanings_.size());
  return variable;
}

ClauseBase::Meaning& ClauseBase::meaning(int variable) {
  variable = std::abs(variable);
  if (variable >= first_log_variable) return log_meanings_[static_cast<std::size_t>(variable - first_log_variable)];
  return meanings_[static_cast<std::size_t>(variable)];
}

void ClauseBase::symbol(int variable, Term symbol) {
  poll();
  meaning(variable) = {Kind::symbol, 0, 0, static_cast<int>(symbol.id())};
  named_.push_back(variable);
}

void ClauseBase::atom(int variable, int when_true, int when_false) {
  poll();
  meaning(variable) = {Kind::atom, 0, 0, when_true};
  named_.push_back(variable);
  if (!solver_->is_observed(variable)) return;
  atoms_of_[static_cast<std::size_t>(variable)] = {when_true, when_false};
  observed_.push_back(variable);
}

Term ClauseBase::symbol_of(int variable) const {
  const Meaning& m = meanings_[static_cast<std::size_t>(variable)];
  return m.kind == Kind::symbol ? Term(static_cast<std::uint32_t>(m.number)) : Term();
}

int ClauseBase::constraint_of(int variable) const {
  const Meaning& m = meanings_[static_cast<std::size_t>(variable)];
  return m.kind == Kind::atom ? m.number : 0;
}

void ClauseBase::set_gate(int variable, Kind kind, const Clause& args) {
  poll();
  meaning(variable) = {kind, static_cast<std::uint32_t>(args_.size()), static_cast<std::uint32_t>(args.size()), 0};
  args_.insert(args_.end(), args.begin(), args.end());
}

void ClauseBase::conjunction(int variable, const Clause& args) {
  set_gate(variable, Kind::conjunction, args);
}

void ClauseBase::equivalence(int variable, int a, int b) {
  set_gate(variable, Kind::equivalence, {a, b});
}

void ClauseBase::choice(int variable, int condition, int yes, int no) {
  set_gate(variable, Kind::choice, {condition, yes, no});
}

void ClauseBase::conditional(int real_variable, Term term, int condition) {
  conditionals_.emplace(real_variable, Conditional{term, condition});
}

// One variable serves a constraint and its negation.
int ClauseBase::log_literal(int constraint) {
  if (const int literal = find_literal_(constraint)) return literal;
  if (const auto found = log_literals_.find(constraint); found != log_literals_.end()) return found->second;
  const int opposite = atoms_.negation_of(constraint);
  const bool is_swapped = atoms_.bound_of(constraint).relation == Relation::distinct;
  const int variable = first_log_variable + static_cast<int>(log_meanings_.size());
  log_meanings_.push_back({Kind::atom, 0, 0, is_swapped ? opposite : constraint});
  log_literals_.emplace(constraint, is_swapped ? -variable : variable);
  log_literals_.emplace(opposite, is_swapped ? variable : -variable);
  return log_literals_.at(constraint);
}

// ==== certificates ====

void ClauseBase::certify(std::uint64_t check, ProofLog::Id conclusion, proof::CertificateSink& sink) {
  const auto is_false_guard = [this](int literal) { return literal < 0 && is_guard(-literal); };
  log_->tell(check, conclusion, is_false_guard, *this, sink);
}

std::vector<proof::ClauseId> ClauseBase::certify_rest(ProofLog::Id conclusion, proof::CertificateSink& sink,
                                                      Told* told) {
  const auto is_false_guard = [this](int literal) { return literal < 0 && is_guard(-literal); };
  declared_.swap(told->variables);
  declared_reals_.swap(told->reals);
  auto ids = log_->tell_rest(conclusion, is_false_guard, *this, sink, &told->steps);
  declared_.swap(told->variables);
  declared_reals_.swap(told->reals);
  return ids;
}

void ClauseBase::begin() {
  declared_.clear();
  declared_reals_.clear();
}

bool ClauseBase::is_declared(Thing thing) const {
  return (thing.is_real ? declared_reals_ : declared_).count(thing.variable) != 0;
}

// With an explicit stack: gates may nest as deep as formulas.
void ClauseBase::declare_all(Thing root, proof::CertificateSink& sink) {
  std::vector<Thing> open{root};
  while (!open.empty()) {
    const Thing thing = open.back();
    if (is_declared(thing)) {
      open.pop_back();
      continue;
    }
    const std::size_t height = open.size();
    for (const Thing part : parts_of(thing)) {
      if (!is_declared(part)) open.push_back(part);
    }
    if (open.size() > height) continue;
    open.pop_back();
    (thing.is_real ? declared_reals_ : declared_).insert(thing.variable);
    declare_one(thing, sink);
  }
}

std::vector<ClauseBase::Thing> ClauseBase::parts_of(Thing thing) {
  std::vector<Thing> parts;
  const auto add_terms = [&parts](const std::vector<proof::Monomial>& terms) {
    for (const proof::Monomial& term : terms) parts.push_back({true, term.variable});
  };
  if (thing.is_real) {
    const auto found = conditionals_.find(thing.variable);
    if (found == conditionals_.end()) return parts;
    parts.push_back({false, std::abs(found->second.condition)});
    const Args args = terms_.args(found->second.term);
    add_terms(sum_of(args[1]).terms);
    add_terms(sum_of(args[2]).terms);
    return parts;
  }
  const Meaning& m = meaning(thing.variable);
  if (m.kind == Kind::atom) add_terms(constraints_.meaning(m.number).terms);
  for (std::uint32_t i = 0; i < m.count; ++i) parts.push_back({false, std::abs(args_[m.first + i])});
  return parts;
}

void ClauseBase::declare_one(Thing thing, proof::CertificateSink& sink) {
  if (thing.is_real) {
    const auto found = conditionals_.find(thing.variable);
    if (found == conditionals_.end()) return sink.real(thing.variable, constraints_.real_name(thing.variable));
    const Args args = terms_.args(found->second.term);
    return sink.conditional(thing.variable, found->second.condition, sum_of(args[1]), sum_of(args[2]));
  }
  const Meaning& m = meaning(thing.variable);
  const auto arg = [this, &m](std::uint32_t i) { return args_[m.first + i]; };
  switch (m.kind) {
    case Kind::symbol:
      return sink.boolean(thing.variable, terms_.name(symbol_of(thing.variable)));
    case Kind::atom: {
      const proof::Constraints::Meaning constraint = constraints_.meaning(m.number);
      return sink.atom(thing.variable, constraint.terms, constraint.relation, constraint.value);
    }
    case Kind::conjunction:
      return sink.conjunction(thing.variable, Clause(args_.begin() + m.first, args_.begin() + m.first + m.count));
    case Kind::equivalence:
      return sink.equivalence(thing.variable, arg(0), arg(1));
    case Kind::choice:
      return sink.choice(thing.variable, arg(0), arg(1), arg(2));
    case Kind::none:
      throw Exception() << "a clause of the certificate holds a variable that stands for nothing";
  }
}

proof::Sum ClauseBase::sum_of(Term t) {
  LinearForm form;
  linearizer_.linearize(t, &form);
  proof::Sum sum{{}, form.constant};
  for (const Monomial& m : form.terms) sum.terms.push_back({atoms_.variable(m.leaf), m.coeff});
  return sum;
}

// ==== what the SAT solver says ====

void ClauseBase::add_input(sat::ClauseId id, const sat::Clause&) {
  set_step(id, announced_);
}

void ClauseBase::add_theory(sat::ClauseId id, const sat::Clause&) {
  set_step(id, announced_);
}

void ClauseBase::add_derived(sat::ClauseId id, const sat::Clause& clause,
                             const std::vector<sat::ClauseId>& antecedents) {
  std::vector<ProofLog::Id> steps;
  steps.reserve(antecedents.size());
  for (const sat::ClauseId antecedent : antecedents) steps.push_back(step_of_.at(antecedent));
  set_step(id, log_->rup(clause, steps));
}

void ClauseBase::set_step(sat::ClauseId id, ProofLog::Id step) {
  if (id >= step_of_.size()) step_of_.resize(static_cast<std::size_t>(id) + 1, no_step);
  step_of_[id] = step;
}

void ClauseBase::conclude(const std::vector<sat::ClauseId>& ids) {
  conclusion_ = ids.empty() ? no_step : step_of_.at(ids.front());
}

}  // namespace tarku::smt

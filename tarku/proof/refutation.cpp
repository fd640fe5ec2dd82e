// From proof objects to sums, and from sums to the steps of a certificate.
#include "tarku/proof/refutation.h"

#include <algorithm>
#include <cassert>
#include <map>
#include <unordered_set>
#include <utility>

#include "tarku/exception.h"
#include "tarku/la/la_proof.h"

namespace tarku::proof {

namespace {

using Role = Refutation::Role;
using Summand = Refutation::Summand;

// The sign by which a constraint is turned to the form `sum <= value`.
int direction(Relation relation) {
  return relation == Relation::greater_equal || relation == Relation::greater ? -1 : 1;
}

// The relation that takes part in the sum.
Relation effective(Relation told, Role role) {
  switch (role) {
    case Role::as_told:
      return told;
    case Role::less:
      return Relation::less;
    case Role::greater:
      return Relation::greater;
    case Role::negated:
      break;
  }
  switch (told) {
    case Relation::less:
      return Relation::greater_equal;
    case Relation::less_equal:
      return Relation::greater;
    case Relation::greater_equal:
      return Relation::less;
    case Relation::greater:
      return Relation::less_equal;
    default:
      throw Exception() << "an implied equality has no single negation";
  }
}

}  // namespace

// ==== from proof objects to sums ====

class RefutationMaker {
 public:
  explicit RefutationMaker(Constraints& constraints) : constraints_(constraints) {}

  void make(const Proof& proof, Refutation* result);
  void make_equation(int equation, Refutation* result);
  void make_sum(const std::vector<Refutation::Summand>& sum, Refutation* result);

 private:
  using Leaves = std::map<std::pair<int, Role>, QNumber>;  // multipliers, not zero

  Leaves add_up(const Proof& proof);
  static std::vector<const Proof*> in_order(const Proof& root);
  void add_leaf(const la::LaHyp& leaf, const QNumber& multiplier, Leaves* leaves);
  void oppose(int implied, Leaves* leaves);
  std::vector<Monomial> form_of(const Leaves& leaves);
  void add_form(int constraint, Role role, const QNumber& multiplier, std::map<int, QNumber>* sum);
  // Null, or what is wrong with it.
  const char* complete(Leaves leaves, Refutation* result);
  void complete_or_throw(Leaves leaves, Refutation* result);
  QNumber total_value(const std::vector<Summand>& sum);

  Constraints& constraints_;
};

void RefutationMaker::make(const Proof& proof, Refutation* result) {
  if (const auto* split = dynamic_cast<const la::LaNeq*>(&proof)) {
    if (split->less() == nullptr || split->greater() == nullptr) throw Exception() << "a split lacks a side";
    result->split_ = split->id();
    result->less_ = std::make_unique<Refutation>();
    result->greater_ = std::make_unique<Refutation>();
    make(*split->less(), result->less_.get());
    make(*split->greater(), result->greater_.get());
  } else if (const auto* step = dynamic_cast<const la::LaCombImp*>(&proof)) {
    if (step->premise() == nullptr) throw Exception() << "an implication lacks its premise";
    Leaves leaves = add_up(*step->premise());
    oppose(step->index(), &leaves);
    complete_or_throw(std::move(leaves), result);
  } else {
    complete_or_throw(add_up(proof), result);
  }
}

// Nodes are shared, so multipliers are handed down in topological order: each node's is complete when its turn comes.
RefutationMaker::Leaves RefutationMaker::add_up(const Proof& proof) {
  Leaves leaves;
  std::unordered_map<const Proof*, QNumber> multipliers{{&proof, QNumber(1)}};
  for (const Proof* node : in_order(proof)) {
    const QNumber multiplier = multipliers[node];
    if (const auto* leaf = dynamic_cast<const la::LaHyp*>(node)) {
      add_leaf(*leaf, multiplier, &leaves);
      continue;
    }
    const auto& step = dynamic_cast<const la::LaComb&>(*node);
    const auto hand_down = [&](const Proof* premise, const QNumber* coeff) {
      if (premise == nullptr) return;
      multipliers[premise] += coeff != nullptr ? multiplier * *coeff : multiplier;
    };
    hand_down(step.premise1(), step.coeff1());
    hand_down(step.premise2(), step.coeff2());
  }
  return leaves;
}

// Every node before its premises.
std::vector<const Proof*> RefutationMaker::in_order(const Proof& root) {
  enum State : std::uint8_t { fresh, open, done };
  std::unordered_map<const Proof*, State> states;
  std::vector<const Proof*> stack{&root};
  std::vector<const Proof*> order;
  while (!stack.empty()) {
    const Proof* const node = stack.back();
    State& state = states[node];
    if (state != fresh) {
      stack.pop_back();
      if (state == open) order.push_back(node);
      state = done;
      continue;
    }
    state = open;
    if (const auto* step = dynamic_cast<const la::LaComb*>(node)) {
      for (const Proof* premise : {step->premise1(), step->premise2()}) {
        if (premise != nullptr && states[premise] == fresh) stack.push_back(premise);
      }
    } else if (dynamic_cast<const la::LaHyp*>(node) == nullptr) {
      throw Exception() << "a combination has a premise that is neither a hypothesis nor a combination";
    }
  }
  std::reverse(order.begin(), order.end());
  return order;
}

// An equality takes part with either half; the upper one counts as it stands.
void RefutationMaker::add_leaf(const la::LaHyp& leaf, const QNumber& multiplier, Leaves* leaves) {
  Role role = Role::as_told;
  QNumber amount = multiplier;
  const Relation relation = constraints_.relation(leaf.index());
  if (relation == Relation::distinct) {
    role = leaf.side() < 0 ? Role::less : Role::greater;
  } else if (relation == Relation::equal && leaf.side() > 0) {
    amount = amount.neg();
  }
  const auto place = leaves->emplace(std::make_pair(leaf.index(), role), QNumber()).first;
  place->second += amount;
  if (place->second.is_zero()) leaves->erase(place);
}

// Adds the negation of what the leaves imply, with the multiplier that makes the terms cancel. Modulo the equations,
// the sum of the leaves is a multiple of the implied constraint; when one of the two is nothing at all, the other one
// is not needed.
void RefutationMaker::oppose(int implied, Leaves* leaves) {
  std::vector<Monomial> goal = form_of({{{implied, Role::negated}, QNumber(1)}});
  std::vector<Monomial> sum = form_of(*leaves);
  constraints_.equations().reduce(&goal);
  constraints_.equations().reduce(&sum);
  if (goal.empty()) {
    Leaves alone = {{{implied, Role::negated}, QNumber(1)}};
    Refutation ignored;
    if (!sum.empty() || complete(alone, &ignored) == nullptr) *leaves = std::move(alone);
    return;
  }
  if (sum.empty()) return;
  for (const Monomial& term : sum) {
    if (term.variable != goal.front().variable) continue;
    const QNumber multiplier = (term.coeff / goal.front().coeff).neg();
    if (multiplier.is_zero() || multiplier.is_negative()) break;
    leaves->emplace(std::make_pair(implied, Role::negated), multiplier);
    return;
  }
  throw Exception() << "a combination is not about the constraint that it implies";
}

std::vector<Monomial> RefutationMaker::form_of(const Leaves& leaves) {
  std::map<int, QNumber> sum;
  for (const auto& [key, multiplier] : leaves) add_form(key.first, key.second, multiplier, &sum);
  std::vector<Monomial> form;
  for (const auto& [variable, coeff] : sum) {
    if (!coeff.is_zero()) form.push_back({variable, coeff});
  }
  return form;
}

void RefutationMaker::add_form(int constraint, Role role, const QNumber& multiplier, std::map<int, QNumber>* sum) {
  const Constraints::Meaning meaning = constraints_.meaning(constraint);
  const bool turned = direction(effective(meaning.relation, role)) < 0;
  for (const Monomial& term : meaning.terms) {
    (*sum)[term.variable].add_mul(turned ? multiplier.neg() : multiplier, term.coeff);
  }
}

// Adds the multiples of equations that cancel the terms of the leaves.
const char* RefutationMaker::complete(Leaves leaves, Refutation* result) {
  std::vector<Monomial> form = form_of(leaves);
  for (const EquationSpan::Multiple& multiple : constraints_.equations().reduce(&form)) {
    leaves[{multiple.equation, Role::as_told}] -= multiple.factor;
  }
  if (!form.empty()) return "the terms of a combination do not cancel";
  result->sum_.clear();
  bool is_strict = false;
  for (auto& [key, multiplier] : leaves) {
    if (multiplier.is_zero()) continue;
    const Relation relation = effective(constraints_.relation(key.first), key.second);
    is_strict = is_strict || relation == Relation::less || relation == Relation::greater;
    result->sum_.push_back({key.first, key.second, multiplier});
  }
  const QNumber value = total_value(result->sum_);
  const bool is_contradiction = value.is_negative() || (is_strict && value.is_zero());
  return is_contradiction ? nullptr : "a combination adds up to no contradiction";
}

void RefutationMaker::complete_or_throw(Leaves leaves, Refutation* result) {
  if (const char* fault = complete(std::move(leaves), result)) throw Exception() << fault;
}

QNumber RefutationMaker::total_value(const std::vector<Summand>& sum) {
  QNumber total;
  for (const Summand& summand : sum) {
    const Constraints::Meaning meaning = constraints_.meaning(summand.constraint);
    const bool turned = direction(effective(meaning.relation, summand.role)) < 0;
    total.add_mul(turned ? summand.multiplier.neg() : summand.multiplier, meaning.value);
  }
  return total;
}

// One of the signs makes the constant negative.
void RefutationMaker::make_equation(int equation, Refutation* result) {
  if (complete({{{equation, Role::as_told}, QNumber(1)}}, result) == nullptr) return;
  complete_or_throw({{{equation, Role::as_told}, QNumber(-1)}}, result);
}

void RefutationMaker::make_sum(const std::vector<Refutation::Summand>& sum, Refutation* result) {
  Leaves leaves;
  for (const Refutation::Summand& summand : sum) leaves[{summand.constraint, summand.role}] += summand.multiplier;
  complete_or_throw(std::move(leaves), result);
}

Refutation Refutation::of(const Proof& proof, Constraints& constraints) {
  Refutation result;
  RefutationMaker(constraints).make(proof, &result);
  return result;
}

Refutation Refutation::of_equation(int equation, Constraints& constraints) {
  Refutation result;
  RefutationMaker(constraints).make_equation(equation, &result);
  return result;
}

Refutation Refutation::of_sum(const std::vector<Summand>& sum, Constraints& constraints) {
  Refutation result;
  RefutationMaker(constraints).make_sum(sum, &result);
  return result;
}

std::vector<int> Refutation::constraints() const {
  std::vector<int> result;
  std::vector<const Refutation*> open{this};
  while (!open.empty()) {
    const Refutation* const node = open.back();
    open.pop_back();
    for (const Summand& summand : node->sum_) result.push_back(summand.constraint);
    if (node->split_ < 0) continue;
    result.push_back(node->split_);
    open.push_back(node->less_.get());
    open.push_back(node->greater_.get());
  }
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

// ==== from sums to lemmas ====

namespace {

bool contains(const Clause& clause, int literal) {
  return std::find(clause.begin(), clause.end(), literal) != clause.end();
}

bool drop(Clause* clause, int literal) {
  const auto found = std::find(clause->begin(), clause->end(), literal);
  if (found == clause->end()) return false;
  clause->erase(found);
  return true;
}

}  // namespace

Refutation::Lemma Refutation::derive(Derivation& steps) const {
  return split_ < 0 ? combine(steps) : join(steps);
}

Refutation::Lemma Refutation::combine(Derivation& steps) const {
  Lemma result;
  std::vector<QNumber> multipliers;
  for (const Summand& summand : sum_) {
    result.clause.push_back(-steps.literal(summand.constraint, summand.role));
    multipliers.push_back(summand.multiplier);
  }
  result.id = steps.farkas(result.clause, multipliers);
  return result;
}

// Resolves the two sides with the split. A side that does not need its case settles the matter alone.
Refutation::Lemma Refutation::join(Derivation& steps) const {
  const int less = steps.literal(split_, Role::less);
  const int greater = steps.literal(split_, Role::greater);
  const int equal = -steps.literal(split_, Role::as_told);
  Lemma left = less_->derive(steps);
  if (!drop(&left.clause, -less)) return left;
  Lemma right = greater_->derive(steps);
  if (!drop(&right.clause, -greater)) return right;
  const ClauseId split = steps.split({equal, less, greater});
  Lemma result;
  result.clause = left.clause;
  result.clause.insert(result.clause.end(), right.clause.begin(), right.clause.end());
  result.clause.push_back(equal);
  std::sort(result.clause.begin(), result.clause.end());
  result.clause.erase(std::unique(result.clause.begin(), result.clause.end()), result.clause.end());
  // A side that is assumed to hold needs no split. One whose opposite is assumed is known to be false.
  std::vector<ClauseId> antecedents;
  if (contains(right.clause, -less) || contains(left.clause, -greater)) {
    result.id = steps.rup(result.clause, {contains(right.clause, -less) ? left.id : right.id});
    return result;
  }
  if (!contains(left.clause, less)) antecedents.push_back(left.id);
  if (!contains(right.clause, greater)) antecedents.push_back(right.id);
  antecedents.push_back(split);
  result.id = steps.rup(result.clause, antecedents);
  return result;
}

// ==== from lemmas to certificates ====

namespace {

class CertificateDerivation : public Derivation {
 public:
  CertificateDerivation(Constraints& constraints, CertificateSink& sink) : constraints_(constraints), sink_(sink) {}

  int literal(int constraint, Role role) override;
  ClauseId farkas(const Clause& clause, const std::vector<QNumber>& multipliers) override {
    sink_.farkas(++last_id_, clause, multipliers);
    return last_id_;
  }
  ClauseId split(const Clause& clause) override {
    sink_.split(++last_id_, clause);
    return last_id_;
  }
  ClauseId rup(const Clause& clause, const std::vector<ClauseId>& antecedents) override {
    sink_.rup(++last_id_, clause, antecedents);
    return last_id_;
  }
  void conclude(const Refutation::Lemma& lemma);

 private:
  int atom(int constraint, Relation relation);

  Constraints& constraints_;
  CertificateSink& sink_;
  std::map<std::pair<int, Relation>, int> atoms_;  // one for each constraint, and for each side of a disequality
  std::unordered_set<int> known_reals_;
  std::unordered_map<int, int> constraint_of_;  // by literal
  ClauseId last_id_ = 0;
};

int CertificateDerivation::literal(int constraint, Role role) {
  const Relation relation = constraints_.relation(constraint);
  if (role == Role::less) return atom(constraint, Relation::less);
  if (role == Role::greater) return atom(constraint, Relation::greater);
  const bool is_negation = (role == Role::negated) != (relation == Relation::distinct);
  const int variable = atom(constraint, relation == Relation::distinct ? Relation::equal : relation);
  const int result = is_negation ? -variable : variable;
  constraint_of_.emplace(result, constraint);
  return result;
}

int CertificateDerivation::atom(int constraint, Relation relation) {
  const auto [place, is_new] =
      atoms_.emplace(std::make_pair(constraint, relation), static_cast<int>(atoms_.size()) + 1);
  if (!is_new) return place->second;
  const Constraints::Meaning meaning = constraints_.meaning(constraint);
  for (const Monomial& term : meaning.terms) {
    if (known_reals_.insert(term.variable).second) sink_.real(term.variable, constraints_.real_name(term.variable));
  }
  sink_.atom(place->second, meaning.terms, relation, meaning.value);
  return place->second;
}

// Asserts what the clause denies.
void CertificateDerivation::conclude(const Refutation::Lemma& lemma) {
  std::vector<ClauseId> antecedents;
  for (const int denied : lemma.clause) {
    antecedents.push_back(++last_id_);
    sink_.input(last_id_, constraints_.source(constraint_of_.at(-denied)), {-denied});
  }
  antecedents.push_back(lemma.id);
  rup({}, antecedents);
  sink_.qed(last_id_);
}

}  // namespace

void Refutation::certify(std::uint64_t check, Constraints& constraints, CertificateSink& sink) const {
  sink.begin(check);
  CertificateDerivation steps(constraints, sink);
  steps.conclude(derive(steps));
}

}  // namespace tarku::proof

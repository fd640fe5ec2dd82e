// Adds up the linear combinations of proof objects.
#include "tests/tools/proof_sum.h"

#include <stdexcept>

#include "tarku/la/la_proof.h"
#include "tests/tools/bridge.h"

namespace tarku::tester {

namespace {

[[noreturn]] void reject(const std::string& text) {
  throw std::runtime_error(text);
}

Rational multiplier(const QNumber* coeff) {
  if (coeff == nullptr) return 1;
  const Rational value = from_library(*coeff);
  if (value.sign() < 0) reject("negative multiplier " + value.to_str());
  return value;
}

}  // namespace

// The side tells which half of an equality or disequality is meant; a plain bound has only one.
ProofSummer::Sum ProofSummer::read_leaf(int index, int side) {
  const auto found = model_.told_bounds.find(index);
  if (found == model_.told_bounds.end()) reject("hypothesis " + std::to_string(index) + " is no told bound");
  if (!model_.on_stack(index)) reject("hypothesis " + std::to_string(index) + " is not asserted");
  leaves_.insert(index);
  const Model::ToldBound& told = found->second;
  bool upper = told.kind == kUpper;
  Value bound = told.bound;
  if (told.kind == kLower || told.kind == kUpper) {
    if (side != 0) reject("side " + std::to_string(side) + " for the plain bound " + std::to_string(index));
  } else {
    if (side != -1 && side != 1) reject("side " + std::to_string(side) + " for constraint " + std::to_string(index));
    upper = side == -1;
  }
  if (told.kind == kDiseq) {
    if (index != split_ || side != split_side_) reject("disequality outside its own side's refutation");
    bound = upper ? bound - Value(0, 1) : bound + Value(0, 1);
  }
  if (misreading_ == Misreading::kFlippedSide) {
    upper = !upper;
    misreading_ = Misreading::kNone;
  } else if (misreading_ == Misreading::kLostStrictness) {
    bound.delta = 0;
  }
  return upper ? Sum{{{told.var, 1}}, bound} : Sum{{{told.var, -1}}, bound * Rational(-1)};
}

ProofSummer::Sum ProofSummer::add_up(const proof::Proof* proof) {
  if (proof == nullptr) reject("missing premise");
  if (const auto* leaf = dynamic_cast<const la::LaHyp*>(proof)) return read_leaf(leaf->index(), leaf->side());
  const auto* step = dynamic_cast<const la::LaComb*>(proof);
  if (step == nullptr) reject("unexpected kind of step");
  const Rational first = multiplier(step->coeff1());
  const Rational second = multiplier(step->coeff2());
  const Sum left = add_up(step->premise1());
  const Sum right = add_up(step->premise2());
  return {sum(sum({}, left.form, first), right.form, second), left.bound * first + right.bound * second};
}

void ProofSummer::check_refutation(const proof::Proof* proof) {
  const Sum total = add_up(proof);
  const Form rest = model_.equations().reduce(total.form);
  if (!rest.empty()) reject("terms do not cancel: " + to_str(rest));
  if (total.bound.sign() >= 0) reject("sums up to 0 <= " + total.bound.to_str());
}

std::string ProofSummer::check_conflict(const proof::Proof* proof) {
  try {
    const auto* split = dynamic_cast<const la::LaNeq*>(proof);
    if (split == nullptr) {
      check_refutation(proof);
      return {};
    }
    const auto told = model_.told_bounds.find(split->id());
    if (told == model_.told_bounds.end() || told->second.kind != kDiseq) reject("split of something else");
    split_ = split->id();
    split_side_ = -1;
    check_refutation(split->less());
    split_side_ = 1;
    check_refutation(split->greater());
    split_ = -1;
    return {};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

// The sum must be a positive multiple of the implied bound, or of a tighter one, once the equations are used.
void ProofSummer::check_entailment(const Sum& total, int implied) const {
  const Model::ToldBound& told = model_.told_bounds.at(implied);
  if (told.kind != kLower && told.kind != kUpper) reject("no proof can imply this kind of bound");
  const int direction = told.kind == kUpper ? 1 : -1;
  const Form goal = model_.equations().reduce({{told.var, direction}});
  const Form rest = model_.equations().reduce(total.form);
  Rational scale(0);
  if (!goal.empty()) scale = coefficient(rest, goal.front().var) / goal.front().coeff;
  if (scale.sign() < 0 || !sum(rest, goal, -scale).empty()) reject("combination is about " + to_str(rest));
  const Value limit = told.bound * Rational(direction);
  const bool trivial = goal.empty() && limit.sign() >= 0;
  const bool entails = scale.sign() > 0 ? compare(total.bound, limit * scale) <= 0 : total.bound.sign() < 0;
  if (!trivial && !entails) reject("combination is too weak");
}

std::string ProofSummer::check_implication(const proof::Proof* proof, int implied) {
  try {
    const auto* step = dynamic_cast<const la::LaCombImp*>(proof);
    if (step == nullptr) reject("no implication step");
    if (step->index() != implied) reject("step implies " + std::to_string(step->index()));
    check_entailment(add_up(step->premise()), implied);
    return {};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

}  // namespace tarku::tester

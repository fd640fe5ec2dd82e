// Rounds of proposals, and the exact judgement of each.
#include "tarku/lp/guide.h"

#include <algorithm>
#include <optional>

namespace tarku::lp {

namespace {

constexpr int max_rounds = 16;
constexpr std::size_t max_attempts = 6;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

// Lets the proposer look at the program itself again, however a search ends.
class Unzoomed {
 public:
  explicit Unzoomed(Proposer& proposer) : proposer_(proposer) {}
  Unzoomed(const Unzoomed&) = delete;
  Unzoomed& operator=(const Unzoomed&) = delete;
  ~Unzoomed() { proposer_.unzoom(); }

 private:
  Proposer& proposer_;
};

}  // namespace

Outcome Guide::decide(const TerminationTest* test) {
  if (Outcome outcome = contradictory_bounds(); outcome.kind != Outcome::Kind::none) return outcome;
  const Unzoomed unzoomed(proposer_);
  Method method = Method::dual;
  std::optional<QNumber> last_excess;
  for (int round = 0; round < max_rounds; ++round) {
    const Proposal proposal = proposer_.propose(method, iteration_limit(), test);
    if (Outcome outcome = conflict_of(proposal.ray); outcome.kind == Outcome::Kind::infeasible) return outcome;
    const bool is_basis =
        !proposal.basis.empty() && vertex_.set_basis(program_, proposal.basis, test) && vertex_.compute(test);
    if (is_basis) {
      find_violations();
      if (violations_.empty()) return feasible();
      Outcome outcome = look_for_conflict(test);
      if (outcome.kind == Outcome::Kind::infeasible) return outcome;
    }
    // A vertex that is not close, or no closer than the last one, says that rounding has led astray.
    const bool is_closer = is_basis && violations_.front().excess < last_excess.value_or(QNumber(1));
    if (is_basis && !wanted_margin_.is_zero()) {
      program_.set_margin(wanted_margin_);
      proposer_.zoom(vertex_.values(), scale());
    } else if (is_closer) {
      last_excess = violations_.front().excess;
      proposer_.zoom(vertex_.values(), scale());
    } else if (method != last_method) {
      method = static_cast<Method>(static_cast<int>(method) + 1);
    } else {
      return {};
    }
  }
  return {};
}

Outcome Guide::look(const TerminationTest* test) {
  has_moved_ = !proposer_.are_values_feasible();
  if (!has_moved_) return {};
  if (Outcome outcome = contradictory_bounds(); outcome.kind != Outcome::Kind::none) return outcome;
  const int limit = 2000 + 5 * program_.num_sides();
  Proposal proposal = proposer_.propose(Method::dual, limit, test);
  if (proposal.claim != Claim::infeasible) return {};
  if (Outcome outcome = conflict_of(proposal.ray); outcome.kind == Outcome::Kind::infeasible) return outcome;
  proposal = proposer_.confirm(limit, test);
  if (proposal.claim != Claim::infeasible) return {};
  if (Outcome outcome = conflict_of(proposal.ray); outcome.kind == Outcome::Kind::infeasible) return outcome;
  if (!vertex_.set_basis(program_, proposal.basis, test)) return {};
  for (const Suspect& suspect : proposal.suspects) {
    Outcome outcome = conflict_of({suspect}, test);
    if (outcome.kind == Outcome::Kind::infeasible) return outcome;
  }
  return {};
}

// Of one side. After this, no side violates both of its bounds: the margin leaves room between them.
Outcome Guide::contradictory_bounds() {
  Outcome outcome;
  for (int s = 0; s < program_.num_sides(); ++s) {
    const Side& side = program_.side(s);
    if (!side.lower || !side.upper) continue;
    const bool is_strict = side.lower->is_strict || side.upper->is_strict;
    const QNumber room = side.upper->value - side.lower->value;
    if (room.is_negative() || (is_strict && room.is_zero())) {
      outcome.kind = Outcome::Kind::infeasible;
      outcome.conflict = {{s, false, QNumber(1)}, {s, true, QNumber(1)}};
      break;
    }
    if (is_strict && room < program_.margin() * QNumber(2)) program_.set_margin(room / QNumber(2));
  }
  return outcome;
}

void Guide::find_violations() {
  violations_.clear();
  for (int s = 0; s < program_.num_sides(); ++s) {
    const QNumber& value = vertex_.values()[at(s)];
    if (program_.side(s).lower) add_violation(s, false, program_.inner_lower(s) - value);
    if (program_.side(s).upper) add_violation(s, true, value - program_.inner_upper(s));
  }
  std::sort(violations_.begin(), violations_.end(),
            [](const Violation& a, const Violation& b) { return b.excess < a.excess; });
}

void Guide::add_violation(int side, bool is_upper, QNumber excess) {
  if (excess.is_positive()) violations_.push_back({side, is_upper, std::move(excess)});
}

Outcome Guide::feasible() const {
  Outcome outcome;
  outcome.kind = Outcome::Kind::feasible;
  outcome.values = vertex_.values();
  return outcome;
}

// First among the violations all at once, which is where primal methods end; then one by one, where dual ones do.
Outcome Guide::look_for_conflict(const TerminationTest* test) {
  wanted_margin_ = QNumber();
  std::vector<Suspect> suspects;
  for (const Violation& violation : violations_) suspects.push_back({violation.side, violation.is_upper});
  Outcome outcome = conflict_of(suspects, test);
  const std::size_t num_attempts = suspects.size() == 1 ? 0 : std::min(suspects.size(), max_attempts);
  for (std::size_t i = 0; i < num_attempts && outcome.kind == Outcome::Kind::none; ++i) {
    outcome = conflict_of({suspects[i]}, test);
  }
  return outcome;
}

Outcome Guide::conflict_of(const std::vector<Multiplier>& ray) const {
  Outcome outcome;
  outcome.conflict = short_conflict(program_, ray);
  if (!outcome.conflict.empty()) outcome.kind = Outcome::Kind::infeasible;
  return outcome;
}

struct Guide::Sum {
  Outcome outcome;
  QNumber slack;   // what the bounds allow beyond what is asked for
  QNumber strict;  // the multipliers of strict bounds
};

// The bounds of the suspects ask for a sum of their sides; the other sides, in whose terms it can be written, may not
// allow it.
Outcome Guide::conflict_of(const std::vector<Suspect>& suspects, const TerminationTest* test) {
  const Integer one(1);
  Vertex::Combination costs;
  for (const Suspect& suspect : suspects) costs.emplace_back(suspect.side, Integer(suspect.is_upper ? -1 : 1));
  Integer denominator;
  const std::optional<Vertex::Combination> reduced = vertex_.reduced(costs, &denominator, test);
  if (!reduced) return {};
  Sum sum;
  const QNumber scale = QNumber::from_fraction(denominator.z(), one.z());
  for (const Suspect& suspect : suspects) {
    if (!add_summand(suspect.side, suspect.is_upper, scale, &sum)) return {};
  }
  for (const auto& [side, factor] : *reduced) {
    const QNumber value = QNumber::from_fraction(factor.z(), one.z());
    if (!add_summand(side, value.is_positive(), value.abs(), &sum)) return {};
  }
  if (sum.slack.is_negative() || (sum.slack.is_zero() && sum.strict.is_positive())) {
    sum.outcome.kind = Outcome::Kind::infeasible;
    return std::move(sum.outcome);
  }
  // It is one only for those who keep the margin.
  const bool asks_too_much = sum.slack < sum.strict * program_.margin();
  if (asks_too_much) wanted_margin_ = sum.slack / (sum.strict * QNumber(2));
  return {};
}

bool Guide::add_summand(int s, bool is_upper, const QNumber& multiplier, Sum* sum) const {
  const std::optional<Bound>& bound = is_upper ? program_.side(s).upper : program_.side(s).lower;
  if (!bound) return false;
  is_upper ? sum->slack.add_mul(multiplier, bound->value) : sum->slack.sub_mul(multiplier, bound->value);
  if (bound->is_strict) sum->strict += multiplier;
  sum->outcome.conflict.push_back({s, is_upper, multiplier});
  return true;
}

// A power of two that makes the largest violation some 1 to 2.
QNumber Guide::scale() const {
  const QNumber& largest = violations_.front().excess;
  QNumber result(1);
  while (largest * result < QNumber(1)) result *= QNumber(2);
  return result;
}

}  // namespace tarku::lp

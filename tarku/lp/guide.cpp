// Rounds of proposals, and the exact judgement of each.
#include "tarku/lp/guide.h"

#include <algorithm>
#include <cstddef>

#include "tarku/lp/vertex.h"

namespace tarku::lp {

namespace {

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

class Guide {
 public:
  Guide(const LinearProgram& program, Proposer& proposer, const TerminationTest* test)
      : program_(program), proposer_(proposer), test_(test) {}

  Outcome consult() {
    if (Outcome outcome = contradictory_bounds(); outcome.kind != Outcome::Kind::none) return outcome;
    const int iterations = 10000 + 50 * program_.num_sides();
    Method method = Method::dual;
    std::optional<QNumber> last_excess;
    for (int round = 0; round < max_rounds; ++round) {
      const Basis basis = proposer_.propose(method, iterations, test_);
      const bool is_basis = !basis.empty() && vertex_.compute(program_, basis, test_);
      if (is_basis) {
        find_violations();
        if (violations_.empty()) return feasible();
        Outcome outcome = look_for_conflict();
        if (outcome.kind == Outcome::Kind::infeasible) return outcome;
      }
      // A vertex that is not close, or no closer than the last one, says that rounding has led astray.
      if (is_basis && violations_.front().excess < last_excess.value_or(QNumber(1))) {
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

 private:
  static constexpr int max_rounds = 16;
  static constexpr std::size_t max_attempts = 6;

  struct Violation {
    int side;
    bool is_upper;
    QNumber excess;
  };

  // Of one side; after this, no side violates both of its bounds.
  Outcome contradictory_bounds() const {
    Outcome outcome;
    for (int s = 0; s < program_.num_sides(); ++s) {
      const Side& side = program_.side(s);
      if (!side.lower || !side.upper || side.lower->value < side.upper->value) continue;
      const bool is_strict = side.lower->is_strict || side.upper->is_strict;
      if (!is_strict && side.lower->value == side.upper->value) continue;
      outcome.kind = Outcome::Kind::infeasible;
      outcome.conflict = {{s, false, QNumber(1)}, {s, true, QNumber(1)}};
      break;
    }
    return outcome;
  }

  void find_violations() {
    violations_.clear();
    for (int s = 0; s < program_.num_sides(); ++s) {
      const Side& side = program_.side(s);
      const QNumber& value = vertex_.values()[at(s)];
      if (side.lower) add_violation(s, false, side.lower->value - value, side.lower->is_strict);
      if (side.upper) add_violation(s, true, value - side.upper->value, side.upper->is_strict);
    }
    std::sort(violations_.begin(), violations_.end(),
              [](const Violation& a, const Violation& b) { return b.excess < a.excess; });
  }

  void add_violation(int side, bool is_upper, QNumber excess, bool is_strict) {
    if (excess.is_positive() || (is_strict && excess.is_zero())) {
      violations_.push_back({side, is_upper, std::move(excess)});
    }
  }

  Outcome feasible() const {
    Outcome outcome;
    outcome.kind = Outcome::Kind::feasible;
    outcome.values = vertex_.values();
    return outcome;
  }

  // First among the violations all at once, which is where primal methods end; then one by one, where dual ones do.
  Outcome look_for_conflict() const {
    Outcome outcome = conflict_of(violations_.data(), violations_.size());
    const std::size_t num_attempts = violations_.size() == 1 ? 0 : std::min(violations_.size(), max_attempts);
    for (std::size_t i = 0; i < num_attempts && outcome.kind == Outcome::Kind::none; ++i) {
      outcome = conflict_of(&violations_[i], 1);
    }
    return outcome;
  }

  // The violated bounds ask for a sum of their sides; the other sides, in whose terms it can be written, may not allow
  // it.
  Outcome conflict_of(const Violation* violations, std::size_t count) const {
    std::vector<QNumber> costs(at(program_.num_sides()));
    QNumber slack;  // what the bounds allow beyond what is asked for
    bool is_strict = false;
    Outcome outcome;
    for (std::size_t i = 0; i < count; ++i) {
      const Violation& v = violations[i];
      costs[at(v.side)] = QNumber(v.is_upper ? -1 : 1);
      if (!add_summand(v.side, v.is_upper, QNumber(1), &outcome, &slack, &is_strict)) return {};
    }
    const std::vector<QNumber> sum = vertex_.reduced(costs, test_);
    if (sum.empty()) return {};
    for (int s = 0; s < program_.num_sides(); ++s) {
      const QNumber& factor = sum[at(s)];
      if (factor.is_zero()) continue;
      if (!add_summand(s, factor.is_positive(), factor.abs(), &outcome, &slack, &is_strict)) return {};
    }
    const bool is_conflict = slack.is_negative() || (slack.is_zero() && is_strict);
    if (is_conflict) outcome.kind = Outcome::Kind::infeasible;
    return is_conflict ? outcome : Outcome();
  }

  bool add_summand(int s, bool is_upper, const QNumber& multiplier, Outcome* outcome, QNumber* slack,
                   bool* is_strict) const {
    const std::optional<Bound>& bound = is_upper ? program_.side(s).upper : program_.side(s).lower;
    if (!bound) return false;
    is_upper ? slack->add_mul(multiplier, bound->value) : slack->sub_mul(multiplier, bound->value);
    *is_strict = *is_strict || bound->is_strict;
    outcome->conflict.push_back({s, is_upper, multiplier});
    return true;
  }

  // A power of two that makes the largest violation some 1 to 2.
  QNumber scale() const {
    const QNumber& largest = violations_.front().excess;
    QNumber result(1);
    while (!largest.is_zero() && largest * result < QNumber(1)) result *= QNumber(2);
    return result;
  }

  const LinearProgram& program_;
  Proposer& proposer_;
  const TerminationTest* test_;
  Vertex vertex_;
  std::vector<Violation> violations_;  // the largest first
};

}  // namespace

Outcome consult(const LinearProgram& program, Proposer& proposer, const TerminationTest* test) {
  return Guide(program, proposer, test).consult();
}

}  // namespace tarku::lp

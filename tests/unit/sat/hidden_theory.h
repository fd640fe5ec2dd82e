// A theory that knows a set of assignments, the only ones it accepts, and tells what it knows in random portions.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "tests/unit/sat/oracle.h"
#include "tests/unit/sat/protocol.h"

namespace tarku::test {

// How often, in percent, the theory does what it could do.
struct Habits {
  int propagate = 0;     // tells a literal that follows
  int contradict = 0;    // of those: tells a false literal that follows instead, when there is one
  int shrink = 0;        // drops a literal that is not needed from a clause
  int clause = 0;        // tells a clause without need
  int forgettable = 0;   // of those
  int decide = 0;        // decides
  int early = 0;         // reports a conflict before the model is complete
  int new_variable = 0;  // defines a new variable in place of accepting a model
};

class HiddenTheory : public ProtocolTheory {
 public:
  // Observes `number` variables and accepts a random set of assignments to them, each with `density` percent.
  HiddenTheory(sat::Solver& solver, Dice& dice, const Habits& habits)
      : ProtocolTheory(solver), habits_(habits), dice_(dice) {}

  void observe(int number, int density) {
    for (int i = 0; i < number; ++i) new_variable();
    for (Bits bits = 0; bits < (Bits{1} << observed().size()); ++bits) accepted_.push_back(dice_.chance(density));
  }

  // One more variable, which is free or the exclusive or of two others.
  void extend(bool free) {
    const std::size_t n = observed().size();
    const int i = dice_.below(static_cast<int>(n)), j = dice_.below(static_cast<int>(n));
    new_variable();
    const std::vector<bool> before = accepted_;
    accepted_.resize(2 * before.size());
    for (std::size_t bits = 0; bits < accepted_.size(); ++bits) {
      const bool defined = (((bits >> i) ^ (bits >> j)) & 1) == ((bits >> n) & 1);
      accepted_[bits] = before[bits % before.size()] && (free || defined);
    }
  }

  // Whether an assignment to all variables of the solver is accepted.
  bool accepts(Bits all) const {
    std::size_t bits = 0;
    for (std::size_t i = 0; i < observed().size(); ++i) bits |= std::size_t{(all >> (observed()[i] - 1)) & 1} << i;
    return accepted_[bits];
  }

  // Whether every accepted assignment satisfies the clause.
  bool implies(const sat::Clause& clause) const {
    std::vector<sat::Literal> negated;
    for (const sat::Literal literal : clause) negated.push_back(-literal);
    return !is_possible(negated);
  }

  int num_reasons() const { return num_reasons_; }
  int num_conflicts() const { return num_conflicts_; }
  int num_refused() const { return num_refused_; }

  void backtrack(int level) override {
    ProtocolTheory::backtrack(level);
    pending_.clear();
  }

  sat::Literal propagate() override {
    tick("propagate");
    check_current();
    if (!dice_.chance(habits_.propagate)) return 0;
    std::vector<sat::Literal> follow;
    for (const sat::Variable v : observed()) {
      for (const sat::Literal literal : {v, -v}) {
        if (value(literal) == 1 && !dice_.chance(10)) continue;  // of no use, allowed
        if (value(literal) == -1 && !dice_.chance(habits_.contradict)) continue;
        std::vector<sat::Literal> other = without(stack(), literal);
        other = without(other, -literal);
        other.push_back(-literal);
        if (!is_possible(other)) follow.push_back(literal);
      }
    }
    if (follow.empty()) return 0;
    const sat::Literal literal = follow[static_cast<std::size_t>(dice_.below(static_cast<int>(follow.size())))];
    tick("propagate");
    if (value(literal) != 1) reasons_[literal] = without(without(stack(), literal), -literal);
    return literal;
  }

  void explain(sat::Literal literal, sat::Clause& reason) override {
    tick("explain");
    ++num_reasons_;
    expect(reason.empty(), "explain: a clause that is not empty");
    const auto found = reasons_.find(literal);
    expect(found != reasons_.end(), "explain: not propagated");
    reason = negation(found->second);
    reason.push_back(literal);
    tick("explain");
    shrink(reason, literal);
    expect(implies(reason), "explain: not implied");
  }

  bool next_clause(sat::Clause& clause, bool& forgettable) override {
    tick("next_clause");
    check_current();
    expect(clause.empty(), "next_clause: a clause that is not empty");
    forgettable = dice_.chance(habits_.forgettable);
    if (!pending_.empty() || (dice_.chance(habits_.early) && !is_possible(stack()))) {
      ++num_conflicts_;
      clause = negation(stack());
      tick("next_clause");
      pending_.clear();
      shrink(clause, 0);
      return true;
    }
    return dice_.chance(habits_.clause) && useless_clause(clause);
  }

  sat::Literal decide() override {
    tick("decide");
    check_current();
    if (!dice_.chance(habits_.decide)) return 0;
    const sat::Variable v = observed()[static_cast<std::size_t>(dice_.below(static_cast<int>(observed().size())))];
    return dice_.chance(50) ? v : -v;
  }

  bool check_model() override {
    ProtocolTheory::check_model();
    if (!is_possible(stack())) {
      pending_ = stack();
      ++num_refused_;
      return false;
    }
    if (observed().size() < 8 && solver_.num_variables() < 12 && dice_.chance(habits_.new_variable)) {
      extend(false);
      return false;
    }
    tick("check_model");
    return true;
  }

 private:
  static std::vector<sat::Literal> without(std::vector<sat::Literal> literals, sat::Literal literal) {
    literals.erase(std::remove(literals.begin(), literals.end(), literal), literals.end());
    return literals;
  }

  static sat::Clause negation(const std::vector<sat::Literal>& literals) {
    sat::Clause clause;
    for (const sat::Literal literal : literals) clause.push_back(-literal);
    return clause;
  }

  // Whether some accepted assignment agrees with the literals.
  bool is_possible(const std::vector<sat::Literal>& literals) const {
    std::size_t mask = 0, wanted = 0;
    for (const sat::Literal literal : literals) {
      const auto place = std::find(observed().begin(), observed().end(), std::abs(literal)) - observed().begin();
      const std::size_t bit = std::size_t{1} << place;
      if ((mask & bit) != 0 && ((wanted & bit) != 0) != (literal > 0)) return false;
      mask |= bit;
      if (literal > 0) wanted |= bit;
    }
    for (std::size_t bits = 0; bits < accepted_.size(); ++bits) {
      if (accepted_[bits] && (bits & mask) == wanted) return true;
    }
    return false;
  }

  // Drops literals that an implied clause does not need; `kept` stays.
  void shrink(sat::Clause& clause, sat::Literal kept) {
    for (const sat::Literal literal : sat::Clause(clause)) {
      if (literal == kept || !dice_.chance(habits_.shrink)) continue;
      const sat::Clause less = without(clause, literal);
      if (implies(less)) clause = less;
    }
    if (dice_.chance(10) && !clause.empty()) clause.push_back(clause.front());  // repetitions are allowed
  }

  // Any implied clause: true, false, unit under the stack, or a tautology.
  bool useless_clause(sat::Clause& clause) {
    for (const sat::Variable v : observed()) {
      if (dice_.chance(70)) clause.push_back(dice_.chance(50) ? v : -v);
    }
    if (dice_.chance(10) && !clause.empty()) clause.push_back(-clause.front());
    if (!implies(clause)) return false;
    shrink(clause, 0);
    return true;
  }

  // What is on the stack is all that the solver knows: its literals that are true for good are there.
  void check_current() {
    for (const sat::Variable v : observed()) {
      expect(!solver_.is_fixed(v) || value(v) == 1, "a fixed literal is missing");
      expect(!solver_.is_fixed(-v) || value(v) == -1, "a fixed literal is missing");
    }
  }

  const Habits habits_;
  Dice& dice_;
  std::vector<bool> accepted_;                                 // by assignment to observed(): bit i is its i-th
  std::map<sat::Literal, std::vector<sat::Literal>> reasons_;  // the stack when they were propagated
  std::vector<sat::Literal> pending_;                          // refused, not yet excluded
  int num_reasons_ = 0;
  int num_conflicts_ = 0;
  int num_refused_ = 0;
};

}  // namespace tarku::test

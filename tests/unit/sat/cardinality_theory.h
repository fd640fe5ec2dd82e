// A theory of cardinality: of each group of literals at most so many are true. Counts along the stack.
#pragma once

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "tests/unit/sat/protocol.h"

namespace tarku::test {

struct Group {
  std::vector<sat::Literal> literals;  // different variables
  std::size_t most = 0;
};

class CardinalityTheory : public ProtocolTheory {
 public:
  // `eager`: propagates and finds conflicts while the model is incomplete; the final check finds them otherwise.
  CardinalityTheory(sat::Solver& solver, bool eager) : ProtocolTheory(solver), eager_(eager) {}

  void add_group(const Group& group) {
    for (const sat::Literal literal : group.literals) uses_[literal].push_back(groups_.size());
    groups_.push_back(group);
    true_.emplace_back();
  }

  // More than so many literals of one group are negated in the clause.
  bool implies(const sat::Clause& clause) const {
    return std::any_of(groups_.begin(), groups_.end(), [&](const Group& group) {
      const auto negated = std::count_if(clause.begin(), clause.end(), [&](sat::Literal literal) {
        return std::find(group.literals.begin(), group.literals.end(), -literal) != group.literals.end();
      });
      return static_cast<std::size_t>(negated) > group.most;
    });
  }

  void assign(sat::Literal literal) override {
    ProtocolTheory::assign(literal);
    for (const std::size_t g : uses_[literal]) {
      true_[g].push_back(literal);
      if (true_[g].size() >= groups_[g].most) busy_.push_back(g);
    }
  }

  void backtrack(int level) override {
    const std::vector<sat::Literal> before = stack();
    ProtocolTheory::backtrack(level);
    for (std::size_t i = before.size(); i-- > stack().size();) {
      for (const std::size_t g : uses_[before[i]]) {
        expect(true_[g].back() == before[i], "stack order");
        true_[g].pop_back();
      }
    }
    busy_.clear();
    for (std::size_t g = 0; g < groups_.size(); ++g) {
      if (true_[g].size() >= groups_[g].most) busy_.push_back(g);
    }
  }

  sat::Literal propagate() override {
    if (!eager_) return 0;
    for (const std::size_t g : busy_) {
      if (true_[g].size() > groups_[g].most) return 0;  // a conflict
      for (const sat::Literal literal : groups_[g].literals) {
        if (value(literal) == 0) {
          reason_of_[-literal] = g;
          return -literal;
        }
      }
    }
    return 0;
  }

  void explain(sat::Literal literal, sat::Clause& reason) override {
    const std::size_t g = reason_of_.at(literal);
    for (std::size_t i = 0; i < groups_[g].most; ++i) reason.push_back(-true_[g][i]);
    reason.push_back(literal);
  }

  bool next_clause(sat::Clause& clause, bool& forgettable) override {
    if (!eager_ && !refused_) return false;
    for (const std::size_t g : busy_) {
      if (true_[g].size() <= groups_[g].most) continue;
      for (std::size_t i = 0; i <= groups_[g].most; ++i) clause.push_back(-true_[g][i]);
      forgettable = eager_;
      refused_ = false;
      return true;
    }
    return false;
  }

  bool check_model() override {
    ProtocolTheory::check_model();
    refused_ =
        std::any_of(busy_.begin(), busy_.end(), [&](std::size_t g) { return true_[g].size() > groups_[g].most; });
    return !refused_;
  }

 private:
  const bool eager_;
  std::vector<Group> groups_;
  std::map<sat::Literal, std::vector<std::size_t>> uses_;  // groups in which the literal stands
  std::vector<std::vector<sat::Literal>> true_;            // of each group, in the order of the stack
  std::vector<std::size_t> busy_;                          // groups that may be full; repetitions are possible
  std::map<sat::Literal, std::size_t> reason_of_;
  bool refused_ = false;
};

}  // namespace tarku::test

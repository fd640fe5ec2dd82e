// A random walk over the bounds of a problem, as a search engine takes it: assert, decide now and then, explain a
// conflict, fall back by a few assertions, go on. Random and yet the same for every solver that answers alike.
#pragma once

#include <cstdint>
#include <vector>

#include "bench/generators.h"
#include "tarku/la/lasolver.h"
#include "tarku/proof/proof.h"

namespace tarku::bench {

struct WalkTotals {
  std::uint64_t pushes = 0;
  std::uint64_t checks = 0;
  std::uint64_t conflicts = 0;
  std::uint64_t explanations = 0;  // members of all conflicts
  std::uint64_t implied = 0;
};

class Walk {
 public:
  Walk(const Problem& problem, la::Solver* solver, std::uint64_t seed)
      : problem_(problem), solver_(*solver), random_(seed), is_asserted_(problem.bounds.size(), false) {}

  // Asserts `pushes` bounds in all; the stack is empty again in the end.
  WalkTotals run(std::uint64_t pushes) {
    totals_ = WalkTotals();
    while (totals_.pushes < pushes) {
      if (stack_.size() == problem_.bounds.size()) fall_back(0);
      if (!push() || (totals_.pushes % 4 == 0 && !check())) {
        explain();
        fall_back(random_.next() % stack_.size());
      }
      drain();
    }
    fall_back(0);
    return totals_;
  }

 private:
  bool push() {
    std::size_t choice = random_.next() % is_asserted_.size();
    while (is_asserted_[choice]) choice = (choice + 1) % is_asserted_.size();
    is_asserted_[choice] = true;
    stack_.push_back(choice);
    ++totals_.pushes;
    return solver_.push_constraint(problem_.first_bound() + static_cast<int>(choice));
  }
  bool check() {
    ++totals_.checks;
    return solver_.check(false);
  }
  void explain() {
    ++totals_.conflicts;
    totals_.explanations += solver_.conflict_.size();
    if (solver_.proofs_enabled_) proof::Proof::release(solver_.get_conflict_proof());
  }
  void drain() {
    int c = 0;
    while (solver_.next_implied(&c, &reason_)) ++totals_.implied;
  }
  void fall_back(std::size_t height) {
    for (; stack_.size() > height; stack_.pop_back()) {
      is_asserted_[stack_.back()] = false;
      solver_.pop_constraint();
    }
  }

  const Problem& problem_;
  la::Solver& solver_;
  Random random_;
  std::vector<bool> is_asserted_;   // by number of the bound
  std::vector<std::size_t> stack_;  // of such numbers
  std::vector<int> reason_;
  WalkTotals totals_;
};

}  // namespace tarku::bench

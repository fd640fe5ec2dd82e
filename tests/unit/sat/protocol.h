// A base of theories in tests that checks what the SAT solver promises a theory (tarku/sat/theory.h).
#pragma once

#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "tarku/sat/solver.h"
#include "tarku/sat/theory.h"

namespace tarku::test {

// Thrown from the middle of a search.
struct Blown {};

class ProtocolTheory : public sat::Theory {
 public:
  explicit ProtocolTheory(sat::Solver& solver) : solver_(solver) {}

  const std::string& offence() const { return offence_; }
  const std::vector<sat::Literal>& stack() const { return stack_; }
  int num_levels() const { return static_cast<int>(starts_.size()); }
  const std::vector<sat::Variable>& observed() const { return observed_; }
  void set_inside(bool inside) { inside_ = inside; }  // a call that may call back is under way

  // Makes the callback after that many more throw, some of them in their middle. `lasting`: explain throws from then
  // on.
  void set_fuse(int callbacks, bool lasting) {
    fuse_ = callbacks;
    lasting_ = lasting;
    blown_in_.clear();
  }
  void disarm() {
    fuse_ = disarmed;
    blown_in_.clear();
  }
  bool is_blown() const { return !blown_in_.empty(); }
  const std::string& blown_in() const { return blown_in_; }

  sat::Variable new_variable() {
    observed_.push_back(solver_.new_observed_variable());
    return observed_.back();
  }

  // 1 true, -1 false, 0 not on the stack.
  int value(sat::Literal literal) const {
    const auto found = values_.find(std::abs(literal));
    if (found == values_.end()) return 0;
    return found->second == literal ? 1 : -1;
  }

  void new_level() override {
    tick("new_level");
    starts_.push_back(stack_.size());
  }

  void assign(sat::Literal literal) override {
    tick("assign");
    expect(value(literal) == 0, "assigned twice");
    expect(solver_.is_observed(std::abs(literal)), "assigned but not observed");
    values_[std::abs(literal)] = literal;
    stack_.push_back(literal);
  }

  void backtrack(int level) override {
    tick("backtrack");
    expect(level >= 0 && level < num_levels(), "backtrack to where it is");
    const std::size_t end = starts_[static_cast<std::size_t>(level)];
    for (std::size_t i = end; i < stack_.size(); ++i) values_.erase(std::abs(stack_[i]));
    stack_.resize(end);
    starts_.resize(static_cast<std::size_t>(level));
  }

  bool check_model() override {
    tick("check_model");
    expect(stack_.size() == observed_.size(), "model is not complete");
    return true;
  }

 protected:
  void expect(bool good, const char* what) {
    if (!good && offence_.empty()) offence_ = what;
  }

  // At the start of every callback, and once more before the end of those that only answer.
  void tick(const char* callback) {
    expect(inside_, "called back out of scope");
    if (fuse_ == disarmed || (fuse_ > 0 && fuse_-- > 0)) return;
    if (is_blown()) {
      expect(callback == std::string("explain"), "asked after an exception");
      if (!lasting_) return;
    } else {
      blown_in_ = callback;
    }
    throw Blown();
  }

  sat::Solver& solver_;

 private:
  static constexpr int disarmed = std::numeric_limits<int>::max();

  std::vector<sat::Variable> observed_;
  std::vector<sat::Literal> stack_;
  std::vector<std::size_t> starts_;  // of the levels from 1 on
  std::map<sat::Variable, sat::Literal> values_;
  bool inside_ = false;
  int fuse_ = disarmed;
  bool lasting_ = false;
  std::string blown_in_;
  std::string offence_;
};

}  // namespace tarku::test

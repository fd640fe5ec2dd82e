// The theory driver: telling the theory what changed, asking it, checking its answers.
#include "tarku/sat/theory_driver.h"

#include <algorithm>
#include <utility>

#include "tarku/exception.h"

namespace tarku::sat {

void TheoryDriver::reserve() {
  const std::size_t needed = trail_.num_observed() + 2;
  if (everything_.capacity() < needed) everything_.reserve(2 * needed);
}

void TheoryDriver::on_backtrack(std::size_t level) noexcept {
  const std::size_t kept = trail_.backtrack(level);
  told_levels_ = std::min(told_levels_, level);
  told_literals_ = std::min(told_literals_, kept);
}

// Counts are advanced after each call: one that throws is repeated next time.
void TheoryDriver::catch_up() {
  if (open_levels_ > told_levels_) {
    theory_.backtrack(static_cast<int>(told_levels_));
    open_levels_ = told_levels_;
    ++statistics_.backtracks;
  }
  while (true) {
    if (told_levels_ < trail_.levels() && told_literals_ == trail_.level_start(told_levels_ + 1)) {
      theory_.new_level();
      open_levels_ = ++told_levels_;
      ++statistics_.levels;
    } else if (told_literals_ < trail_.size()) {
      theory_.assign(trail_[told_literals_]);
      ++told_literals_;
      ++statistics_.assignments;
    } else {
      return;
    }
  }
}

void TheoryDriver::unwind() {
  told_levels_ = 0;
  told_literals_ = std::min(told_literals_, trail_.levels() == 0 ? trail_.size() : trail_.level_start(1));
  if (open_levels_ == 0) return;
  theory_.backtrack(0);
  open_levels_ = 0;
  ++statistics_.backtracks;
}

// Nothing is asked once an exception is under way. Tells whether an answer was given.
template <class Question>
bool TheoryDriver::ask(Question&& question) noexcept {
  return !rescue_.holds() && rescue_.run([&] {
    catch_up();
    std::forward<Question>(question)();
  });
}

Literal TheoryDriver::propagate() noexcept {
  Literal literal = 0;
  const bool answered = ask([&] {
    do {
      literal = theory_.propagate();
      if (literal != 0) require_observed(literal, "propagate");
    } while (literal != 0 && trail_.is_true(literal));
  });
  if (!answered || literal == 0) return 0;
  ++statistics_.propagations;
  return literal;
}

Literal TheoryDriver::decide() noexcept {
  Literal literal = 0;
  const bool answered = ask([&] {
    literal = theory_.decide();
    if (literal != 0) require_observed(literal, "decide");
  });
  const bool open = answered && literal != 0 && !trail_.is_true(literal) && !trail_.is_false(literal);
  return open ? literal : 0;
}

bool TheoryDriver::next_clause(bool& forgettable) noexcept {
  const bool refused = std::exchange(refused_, false);
  bool found = false;
  const bool answered = ask([&] {
    do {
      clause_.clear();
      forgettable = false;
      found = theory_.next_clause(clause_, forgettable);
    } while (found && !tidy("next_clause"));
    if (!found && refused && trail_.num_observed() == num_observed_before_) {
      throw Exception() << "Theory::check_model refused a model, and there is no clause that excludes it";
    }
  });
  if (!answered || !found) return false;
  given_ = &clause_;
  ++statistics_.theory_clauses;
  return true;
}

// In the course of an exception any answer would do; this one ends the search at once.
bool TheoryDriver::check_model() noexcept {
  bool accepted = true;
  const bool answered = ask([&] {
    assert(trail_.size() == trail_.num_observed());
    ++statistics_.model_checks;
    num_observed_before_ = trail_.num_observed();
    accepted = theory_.check_model();
  });
  refused_ = answered && !accepted;
  return !refused_;
}

// A literal without a place on the trail follows from all of it; so does one whose negation has a place.
void TheoryDriver::explain(Literal literal) noexcept {
  const std::size_t end = trail_.is_true(literal) ? trail_.position(literal) : trail_.size();
  explaining_ = true;
  const bool explained = rescue_.run([&] {
    clause_.clear();
    ++statistics_.explanations;
    theory_.explain(literal, clause_);
    tidy("explain");
    check_reason(literal, end);
  });
  explaining_ = false;
  given_ = explained ? &clause_ : &everything_;
  if (!explained) blame_everything(literal, end);
}

void TheoryDriver::require_observed(Literal literal, const char* call) const {
  if (literal == 0 || !trail_.is_observed(std::abs(literal))) {
    throw Exception() << "Theory::" << call << " gave " << literal << ", which is no literal of an observed variable";
  }
}

// Sorts the clause and drops repetitions; false when it is a tautology.
bool TheoryDriver::tidy(const char* call) {
  for (const Literal literal : clause_) require_observed(literal, call);
  const auto by_variable = [](Literal a, Literal b) { return std::pair(std::abs(a), a) < std::pair(std::abs(b), b); };
  std::sort(clause_.begin(), clause_.end(), by_variable);
  clause_.erase(std::unique(clause_.begin(), clause_.end()), clause_.end());
  const auto opposite = [](Literal a, Literal b) { return a == -b; };
  return std::adjacent_find(clause_.begin(), clause_.end(), opposite) == clause_.end();
}

// A reason that holds anything but its literal and literals that were false before would break the implication graph.
void TheoryDriver::check_reason(Literal literal, std::size_t end) {
  bool has_literal = false;
  for (const Literal other : clause_) {
    if (other == literal) {
      has_literal = true;
    } else if (!trail_.is_false(other) || trail_.position(other) >= end) {
      throw Exception() << "Theory::explain: in the reason for " << literal << ", " << other << " was not false before";
    }
  }
  if (!has_literal) throw Exception() << "Theory::explain: the reason for " << literal << " does not hold it";
}

// The explanation that is always true: when propagate gave the literal, the stack held what is before `end`.
void TheoryDriver::blame_everything(Literal literal, std::size_t end) noexcept {
  everything_.clear();
  everything_.push_back(literal);
  for (std::size_t i = 0; i < end; ++i) {
    if (trail_[i] != -literal) everything_.push_back(-trail_[i]);
  }
}

}  // namespace tarku::sat

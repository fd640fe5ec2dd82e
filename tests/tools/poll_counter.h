// Interrupts a search at a given poll, and one that does not end.
#pragma once

#include <cstdint>

#include "tarku/la/lasolver.h"
#include "tarku/termination_test.h"

namespace tarku::tester {

// Problems are tiny; a search that polls this often goes round in circles.
constexpr std::int64_t kRunawayPolls = 20000;

struct Interrupted {};
struct Runaway {};

// Throws Interrupted at the given poll (never for 0), Runaway long after any honest search has ended.
class PollCounter : public TerminationTest {
 public:
  PollCounter(const la::Solver& solver, std::int64_t interrupt_at) : solver_(solver), interrupt_at_(interrupt_at) {}
  void operator()() const override {
    ++polls_;
    if (polls_ == interrupt_at_) {
      under_temporary_bound_ = !solver_.check_stack().empty();
      throw Interrupted();
    }
    if (polls_ > kRunawayPolls) throw Runaway();
  }
  // Whether the search that was interrupted was one with a bound that is not on the constraint stack.
  bool was_under_temporary_bound() const { return under_temporary_bound_; }

 private:
  const la::Solver& solver_;
  std::int64_t interrupt_at_;
  mutable std::int64_t polls_ = 0;
  mutable bool under_temporary_bound_ = false;
};

}  // namespace tarku::tester

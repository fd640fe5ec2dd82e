// What may stop a check before it has an answer: a deadline, a number of steps, and a request from outside.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "tarku/termination_test.h"

namespace tarku::smtlib {

// Lets a signal handler or another thread stop the check that is running. request() may be called in a signal handler.
class Interrupt {
 public:
  // Asks the running check to stop. False when none is running or it was asked before: then the asker should rather
  // end the program.
  bool request() {
    int expected = State::running;
    return state_.compare_exchange_strong(expected, State::requested);
  }

  // For the interpreter.
  void begin_check() { state_ = State::running; }
  void end_check() { state_ = State::idle; }
  bool is_requested() const { return state_ == State::requested; }

 private:
  enum State : int { idle, running, requested };
  static_assert(std::atomic<int>::is_always_lock_free, "atomics with locks are not for signal handlers");
  std::atomic<int> state_{State::idle};
};

// The test that the engine polls during a check.
class CheckLimits : public TerminationTest {
 public:
  // seconds, polls: for each check, 0 for no limit. interrupt: may be null; must outlive this.
  CheckLimits(double seconds, Interrupt* interrupt, std::uint64_t polls = 0)
      : seconds_(seconds), interrupt_(interrupt), polls_(polls) {}

  // Lives as long as a check; the deadline counts from its beginning.
  class Check {
   public:
    explicit Check(CheckLimits& limits);
    ~Check();
    Check(const Check&) = delete;
    Check& operator=(const Check&) = delete;

   private:
    CheckLimits& limits_;
  };

  // Throws smt::Interrupted, with the reason for `unknown` as its text, once a limit is reached.
  void operator()() const override;

 private:
  using Clock = std::chrono::steady_clock;
  double seconds_;
  Interrupt* interrupt_;
  std::uint64_t polls_;
  Clock::time_point deadline_ = Clock::time_point::max();  // only during a check
  mutable std::uint64_t num_polls_ = 0;                    // of the check
};

}  // namespace tarku::smtlib

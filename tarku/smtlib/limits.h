// What may stop a check from outside, such as a signal.
#pragma once

#include <atomic>
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
class InterruptTest : public TerminationTest {
 public:
  // `interrupt` may be null; must outlive this. `polls`: that a check may take, 0 for no limit.
  explicit InterruptTest(Interrupt* interrupt, std::uint64_t polls = 0) : interrupt_(interrupt), polls_(polls) {}

  // Requests are heard as long as one lives.
  class Check {
   public:
    explicit Check(const InterruptTest& test);
    ~Check();
    Check(const Check&) = delete;
    Check& operator=(const Check&) = delete;

   private:
    Interrupt* interrupt_;
  };

  // Throws smt::Interrupted, with the reason for `unknown` as its text, once there is a request.
  void operator()() const override;

 private:
  Interrupt* interrupt_;
  std::uint64_t polls_;
  mutable std::uint64_t num_polls_ = 0;  // of the check
};

}  // namespace tarku::smtlib

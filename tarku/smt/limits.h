// Limits: what a check may take. Limiter: the test that holds it to them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>

#include "tarku/exception.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

// Of each call of the engine that may take long; 0 stands for no limit.
struct Limits {
  double seconds = 0;        // of wall-clock time
  std::uint64_t memory = 0;  // bytes that the whole process may occupy (its resident memory)
  std::uint64_t work = 0;    // steps, as Engine::work() counts them; the same on every machine
};

// What a TerminationTest throws to stop a call of the engine. Its text is the reason.
class Interrupted : public Exception {};

class Limiter : public TerminationTest {
 public:
  // `work` tells the work done so far.
  explicit Limiter(std::function<std::uint64_t()> work) : work_(std::move(work)) {}

  // Throws Exception for a time that is negative or no number.
  void set_limits(const Limits& limits);
  const Limits& limits() const { return limits_; }
  void set_test(const TerminationTest* test) { test_ = test; }  // polled as well; null for none

  // Limits count from its beginning. One at a time.
  class Run {
   public:
    explicit Run(Limiter& limiter);
    ~Run() { limiter_.state_ = idle; }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

   private:
    Limiter& limiter_;
  };

  // Lets the run that goes on stop at its next poll; false when there is none. For other threads and signal handlers.
  bool interrupt();
  bool is_running() const { return state_ != idle; }

  // Throws Interrupted with the texts "interrupted", "timeout", "resourceout", or MemoryOut.
  void operator()() const override;

 private:
  enum State : int { idle, running, interrupted };
  static_assert(std::atomic<int>::is_always_lock_free, "atomics with locks are not for signal handlers");
  using Clock = std::chrono::steady_clock;

  void look_at_memory(Clock::time_point now) const;

  std::function<std::uint64_t()> work_;
  Limits limits_;
  const TerminationTest* test_ = nullptr;
  std::atomic<int> state_{idle};
  std::uint64_t first_work_ = 0;         // when the run began
  Clock::time_point deadline_;           // of the run
  mutable Clock::time_point next_look_;  // at the memory
};

class MemoryOut : public Interrupted {
 public:
  MemoryOut() { *this << "memout"; }
};

}  // namespace tarku::smt

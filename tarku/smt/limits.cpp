// Polling: the cheap questions at each poll, the memory every few milliseconds.
#include "tarku/smt/limits.h"

#include <algorithm>

#include "tarku/smt/memory.h"

namespace tarku::smt {

namespace {

[[noreturn]] void stop(const char* reason) {
  Interrupted stopped;
  stopped << reason;
  throw stopped;
}

}  // namespace

void Limiter::set_limits(const Limits& limits) {
  if (!(limits.seconds >= 0)) throw Exception() << "set_limits: the time is negative or no number";
  limits_ = limits;
}

Limiter::Run::Run(Limiter& limiter) : limiter_(limiter) {
  constexpr double longest = 1e9;  // seconds, which the clock can still add
  const std::chrono::duration<double> time(std::min(limiter_.limits_.seconds, longest));
  limiter_.deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(time);
  limiter_.next_look_ = Clock::time_point::min();
  if (limiter_.limits_.work != 0) limiter_.first_work_ = limiter_.work_();
  limiter_.state_ = running;
}

bool Limiter::interrupt() {
  int expected = running;
  return state_.compare_exchange_strong(expected, interrupted) || expected == interrupted;
}

void Limiter::operator()() const {
  if (state_ == idle) return;
  if (state_ == interrupted) stop("interrupted");
  if (test_ != nullptr) (*test_)();
  if (limits_.work != 0 && work_() - first_work_ > limits_.work) stop("resourceout");
  if (limits_.seconds == 0 && limits_.memory == 0) return;
  const Clock::time_point now = Clock::now();
  if (limits_.seconds != 0 && now >= deadline_) stop("timeout");
  if (limits_.memory != 0 && now >= next_look_) look_at_memory(now);
}

// Memory that was freed earlier counts until it is returned, which is tried before giving up. Looking takes a twentieth
// of the time at most.
void Limiter::look_at_memory(Clock::time_point now) const {
  if (resident_memory() > limits_.memory) {
    release_freed_memory();
    if (resident_memory() > limits_.memory) throw MemoryOut();
  }
  const Clock::time_point end = Clock::now();
  next_look_ = end + std::max<Clock::duration>(std::chrono::milliseconds(2), 20 * (end - now));
}

}  // namespace tarku::smt

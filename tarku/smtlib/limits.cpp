// The polling of deadline and interrupt.
#include "tarku/smtlib/limits.h"

#include "tarku/smt/engine.h"

namespace tarku::smtlib {

CheckLimits::Check::Check(CheckLimits& limits) : limits_(limits) {
  using std::chrono::duration;
  if (limits_.interrupt_ != nullptr) limits_.interrupt_->begin_check();
  limits_.num_polls_ = 0;
  limits_.deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(duration<double>(limits_.seconds_));
}

CheckLimits::Check::~Check() {
  limits_.deadline_ = Clock::time_point::max();
  if (limits_.interrupt_ != nullptr) limits_.interrupt_->end_check();
}

void CheckLimits::operator()() const {
  const auto stop = [](const char* reason) {
    smt::Interrupted stopped;
    stopped << reason;
    throw stopped;
  };
  if (interrupt_ != nullptr && interrupt_->is_requested()) stop("interrupted");
  if (polls_ > 0 && ++num_polls_ > polls_) stop("resourceout");
  if (seconds_ > 0 && Clock::now() >= deadline_) stop("timeout");
}

}  // namespace tarku::smtlib

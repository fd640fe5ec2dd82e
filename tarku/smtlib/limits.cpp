// The polling of requests.
#include "tarku/smtlib/limits.h"

#include "tarku/smt/engine.h"

namespace tarku::smtlib {

InterruptTest::Check::Check(const InterruptTest& test) : interrupt_(test.interrupt_) {
  if (interrupt_ != nullptr) interrupt_->begin_check();
  test.num_polls_ = 0;
}

InterruptTest::Check::~Check() {
  if (interrupt_ != nullptr) interrupt_->end_check();
}

void InterruptTest::operator()() const {
  const auto stop = [](const char* reason) {
    smt::Interrupted stopped;
    stopped << reason;
    throw stopped;
  };
  if (interrupt_ != nullptr && interrupt_->is_requested()) stop("interrupted");
  if (polls_ > 0 && ++num_polls_ > polls_) stop("resourceout");
}

}  // namespace tarku::smtlib

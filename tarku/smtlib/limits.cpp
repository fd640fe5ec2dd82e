// The polling of requests.
#include "tarku/smtlib/limits.h"

#include "tarku/smt/engine.h"

namespace tarku::smtlib {

InterruptTest::Check::Check(const InterruptTest& test) : interrupt_(test.interrupt_) {
  if (interrupt_ != nullptr) interrupt_->begin_check();
}

InterruptTest::Check::~Check() {
  if (interrupt_ != nullptr) interrupt_->end_check();
}

void InterruptTest::operator()() const {
  if (interrupt_ == nullptr || !interrupt_->is_requested()) return;
  smt::Interrupted stopped;
  stopped << "interrupted";
  throw stopped;
}

}  // namespace tarku::smtlib

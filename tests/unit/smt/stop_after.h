// A termination test that interrupts at a given poll.
#pragma once

#include "tarku/smt/limits.h"
#include "tarku/termination_test.h"

namespace tarku::smt::test {

class StopAfter : public TerminationTest {
 public:
  explicit StopAfter(int polls, const char* reason = "enough") : polls_(polls), reason_(reason) {}
  void operator()() const override {
    if (polls_-- > 0) return;
    Interrupted stop;
    stop << reason_;
    throw stop;
  }

 private:
  mutable int polls_;
  const char* reason_;
};

}  // namespace tarku::smt::test

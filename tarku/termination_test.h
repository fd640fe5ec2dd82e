// The interface through which an owner ends a running search.
#pragma once

namespace tarku {

// Polled once per iteration of the search. Returning lets the search go on; throwing anything ends it.
class TerminationTest {
 public:
  virtual ~TerminationTest() = default;
  virtual void operator()() const {}
};

}  // namespace tarku

// Lets a test make operator new fail, to see what is left after std::bad_alloc, and count what nobody has deleted.
#pragma once

#include <cstddef>

namespace tarku::test {

// While one lives, operator new of the whole program first succeeds `successes` times and then throws each time.
class FailingNew {
 public:
  explicit FailingNew(int successes);
  ~FailingNew();
  FailingNew(const FailingNew&) = delete;
  FailingNew& operator=(const FailingNew&) = delete;

  // False under tools that put their own operator new in place of ours (valgrind does): skip the test then.
  static bool is_effective();
};

// Blocks that operator new has given out and operator delete has not got back yet; constant where ours is not in place.
std::size_t live_blocks();

}  // namespace tarku::test

// Lets a test make operator new fail, to see what a container looks like after std::bad_alloc.
#pragma once

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

}  // namespace tarku::test

// Watches GMP's allocator for one scope: counts calls and live blocks, and makes it fail on request.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tarku::test {

// While one lives, GMP allocates through it.  One at a time.
class GmpAllocations {
 public:
  GmpAllocations() {
    calls = 0;
    live = 0;
    left = -1;
    mp_set_memory_functions(allocate, reallocate, release);
  }
  ~GmpAllocations() { mp_set_memory_functions(nullptr, nullptr, nullptr); }
  GmpAllocations(const GmpAllocations&) = delete;
  GmpAllocations& operator=(const GmpAllocations&) = delete;

  // Lets that many more allocations succeed and throws std::bad_alloc from then on.
  void fail_after(int successes) { left = successes; }
  void stop_failing() { left = -1; }

  static inline int calls = 0;  // allocations and reallocations
  static inline int live = 0;   // blocks taken and not given back

 private:
  static inline int left = -1;

  static void count() {
    if (left == 0) throw std::bad_alloc();
    if (left > 0) --left;
    ++calls;
  }
  static void* allocate(std::size_t size) {
    count();
    ++live;
    return std::malloc(size);
  }
  static void* reallocate(void* block, std::size_t, std::size_t size) {
    count();
    return std::realloc(block, size);
  }
  static void release(void* block, std::size_t) {
    --live;
    std::free(block);
  }
};

}  // namespace tarku::test

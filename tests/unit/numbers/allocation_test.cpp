// Want of memory in GMP, as an exception.
#include "tarku/numbers/allocation.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <new>

namespace tarku {
namespace {

TEST(Allocation, WantOfMemoryThrows) {
  void* (*allocate)(std::size_t) = nullptr;
  void* (*reallocate)(void*, std::size_t, std::size_t) = nullptr;
  void (*release)(void*, std::size_t) = nullptr;
  throw_when_numbers_run_out_of_memory();
  mp_get_memory_functions(&allocate, &reallocate, &release);
  const std::size_t too_much = std::numeric_limits<std::ptrdiff_t>::max();
  EXPECT_THROW(allocate(too_much), std::bad_alloc);
  void* block = allocate(8);
  EXPECT_THROW(reallocate(block, 8, too_much), std::bad_alloc);
  block = reallocate(block, 8, 16);  // the old block is still there
  release(block, 16);
  mp_set_memory_functions(nullptr, nullptr, nullptr);
}

}  // namespace
}  // namespace tarku

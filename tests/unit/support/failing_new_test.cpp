// The replaced global operator new of the unit tests: malloc with a switch that makes it fail.
#include "tests/unit/support/failing_new.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

int successes_left = -1;  // negative: allocation does not fail

void* allocate(std::size_t size) noexcept {
  if (successes_left == 0) return nullptr;
  if (successes_left > 0) --successes_left;
  return std::malloc(size == 0 ? 1 : size);
}

void* allocate_or_throw(std::size_t size) {
  void* block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

// Array and nothrow forms too: a sanitizer's own versions would not match the operator delete below. Never inlined,
// since a tool that replaces them must catch every call or none.
[[gnu::noinline]] void* operator new(std::size_t size) {
  return allocate_or_throw(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size) {
  return allocate_or_throw(size);
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete[](void* block) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}
[[gnu::noinline]] void operator delete[](void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

namespace tarku::test {

FailingNew::FailingNew(int successes) {
  successes_left = successes;
}
FailingNew::~FailingNew() {
  successes_left = -1;
}

bool FailingNew::is_effective() {
  FailingNew failing(0);
  try {
    ::operator delete(::operator new(1));
    return false;
  } catch (const std::bad_alloc&) {
    return true;
  }
}

namespace {

TEST(FailingNew, FailsAfterTheGivenNumberOfSuccesses) {
  if (!FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  std::unique_ptr<int> first, second;
  bool failed = false;
  {
    FailingNew failing(1);
    first.reset(new int(1));
    try {
      second.reset(new int(2));
    } catch (const std::bad_alloc&) {
      failed = true;
    }
  }
  EXPECT_TRUE(failed);
  EXPECT_NE(nullptr, first);
  EXPECT_EQ(nullptr, second);
  second.reset(new int(3));
  EXPECT_EQ(3, *second);
}

}  // namespace
}  // namespace tarku::test

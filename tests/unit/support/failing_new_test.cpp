// The replaced global operator new of the unit tests: malloc that counts, with a switch that makes it fail.
#include "tests/unit/support/failing_new.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

int successes_left = -1;  // negative: allocation does not fail
std::size_t live = 0;     // blocks given out and not yet back; the tests run in one thread

void* allocate(std::size_t size) noexcept {
  if (successes_left == 0) return nullptr;
  if (successes_left > 0) --successes_left;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) ++live;
  return block;
}

void give_back(void* block) noexcept {
  if (block != nullptr) --live;
  std::free(block);
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
  give_back(block);
}
[[gnu::noinline]] void operator delete[](void* block) noexcept {
  give_back(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
  give_back(block);
}
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept {
  give_back(block);
}
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
  give_back(block);
}
[[gnu::noinline]] void operator delete[](void* block, const std::nothrow_t&) noexcept {
  give_back(block);
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

std::size_t live_blocks() {
  return live;
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

TEST(LiveBlocks, AreThoseNotYetDeleted) {
  if (!FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  const std::size_t before = live_blocks();
  auto one = std::make_unique<int>(1);
  auto many = std::make_unique<int[]>(10);
  EXPECT_EQ(before + 2, live_blocks());
  one.reset();
  EXPECT_EQ(before + 1, live_blocks());
  {
    FailingNew failing(0);
    EXPECT_EQ(nullptr, ::operator new(1, std::nothrow));
  }
  EXPECT_EQ(before + 1, live_blocks()) << "a failure gives nothing out";
  many.reset();
  EXPECT_EQ(before, live_blocks());
}

}  // namespace
}  // namespace tarku::test

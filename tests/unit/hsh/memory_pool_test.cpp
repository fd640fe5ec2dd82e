// The node pool: order of blocks, growth of chunks, recycling, failure.
#include "tarku/hsh/memory_pool.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <set>
#include <vector>

namespace tarku {
namespace {

using Pool = MemoryPool<24, false>;

template <class P>
int count_chunks(const P& pool) {
  int count = 0;
  for (auto* chunk = pool.chunks_; chunk != nullptr; chunk = chunk->next) ++count;
  return count;
}

TEST(MemoryPool, FreshPoolIsEmptyWithTheSettingsOfTheTables) {
  Pool pool;
  EXPECT_EQ(16u, pool.chunk_elems_);
  EXPECT_EQ(2.0f, pool.growth_);
  EXPECT_EQ(8192u, pool.max_chunk_elems_);
  EXPECT_EQ(nullptr, pool.chunks_);
  EXPECT_EQ(nullptr, pool.free_);
}

TEST(MemoryPool, BlocksComeInAddressOrderRightAfterTheLink) {
  Pool pool;
  char* first = static_cast<char*>(pool.allocate());
  EXPECT_EQ(reinterpret_cast<char*>(pool.chunks_) + sizeof(void*), first);
  for (int i = 1; i < 16; ++i) EXPECT_EQ(first + 24 * i, pool.allocate());
  EXPECT_EQ(nullptr, pool.free_);
  EXPECT_EQ(1, count_chunks(pool));
}

TEST(MemoryPool, ChunksDoubleUpToTheLimit) {
  Pool pool;
  std::uint64_t expected = 16;
  for (int chunk = 1; chunk <= 13; ++chunk) {
    EXPECT_EQ(expected, pool.chunk_elems_);
    for (std::uint64_t i = 0; i < expected; ++i) pool.allocate();
    EXPECT_EQ(chunk, count_chunks(pool));
    expected = expected < 8192 ? expected * 2 : 8192;
  }
  EXPECT_EQ(8192u, pool.chunk_elems_);
}

TEST(MemoryPool, FractionalGrowthIsTruncatedAndZeroMeansNoLimit) {
  Pool pool(3, 1.5f, 0);
  std::vector<std::uint64_t> sizes;
  for (int i = 0; i < 5; ++i) {
    for (std::uint64_t n = pool.chunk_elems_; n > 0; --n) {
      pool.allocate();
      if (pool.free_ == nullptr) break;
    }
    sizes.push_back(pool.chunk_elems_);
  }
  EXPECT_EQ((std::vector<std::uint64_t>{4, 6, 9, 13, 19}), sizes);
  EXPECT_EQ(5, count_chunks(pool));
}

TEST(MemoryPool, AFreedBlockIsTheNextOneGivenOut) {
  Pool pool;
  void* a = pool.allocate();
  void* b = pool.allocate();
  pool.deallocate(a);
  pool.deallocate(b);
  EXPECT_EQ(b, pool.allocate());
  EXPECT_EQ(a, pool.allocate());
}

TEST(MemoryPool, ZeroedBlocksAreClearedEachTime) {
  MemoryPool<32, true> pool;
  const char zeros[32] = {};
  void* block = pool.allocate();
  EXPECT_EQ(0, std::memcmp(zeros, block, 32));
  std::memset(block, 0xab, 32);
  pool.deallocate(block);
  ASSERT_EQ(block, pool.allocate());
  EXPECT_EQ(0, std::memcmp(zeros, block, 32));
}

TEST(MemoryPool, AChunkThatCannotBeHadThrowsAndChangesNothing) {
  const std::uint64_t too_many = std::uint64_t{1} << 60;
  Pool pool(2, 2.0f, 0);
  void* a = pool.allocate();
  pool.allocate();
  pool.chunk_elems_ = too_many;
  EXPECT_THROW(pool.allocate(), std::bad_alloc);
  EXPECT_EQ(too_many, pool.chunk_elems_);
  EXPECT_EQ(1, count_chunks(pool));
  pool.deallocate(a);
  EXPECT_EQ(a, pool.allocate());
}

// Blocks that are in use at the same time never overlap, whatever the order of taking and giving.
TEST(MemoryPool, RandomUseKeepsBlocksApart) {
  const unsigned seed = 7;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  Pool pool;
  std::vector<char*> used;
  std::set<char*> addresses;
  for (int step = 0; step < 20000; ++step) {
    if (used.empty() || random() % 5 < 3) {
      char* block = static_cast<char*>(pool.allocate());
      auto above = addresses.lower_bound(block);
      ASSERT_TRUE(above == addresses.end() || *above - block >= 24);
      ASSERT_TRUE(above == addresses.begin() || block - *std::prev(above) >= 24);
      std::memset(block, step & 0xff, 24);
      used.push_back(block);
      addresses.insert(block);
    } else {
      std::size_t victim = random() % used.size();
      pool.deallocate(used[victim]);
      addresses.erase(used[victim]);
      used[victim] = used.back();
      used.pop_back();
    }
  }
}

}  // namespace
}  // namespace tarku

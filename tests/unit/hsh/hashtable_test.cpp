// The hash table as a set of integers: chains, growth, iteration, removal, and random use against std::unordered_set.
#include "tarku/hsh/hashtable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <new>
#include <random>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "tests/unit/support/counted.h"
#include "tests/unit/support/failing_new.h"

namespace tarku::hsh {
namespace {

using test::Counted;
using test::FailingNew;

using IntSet = Hashtable<int>;
static_assert(std::is_same_v<IntSet, Hashtable<int, GetKey_identity<int>, int, hash<int>, std::equal_to<int>>>);
static_assert(!std::is_copy_constructible_v<IntSet> && !std::is_copy_assignable_v<IntSet>);

std::vector<int> in_order(const IntSet& set) {
  return std::vector<int>(set.begin(), set.end());
}

std::vector<int> sorted(const IntSet& set) {
  std::vector<int> values = in_order(set);
  std::sort(values.begin(), values.end());
  return values;
}

// A hash that must not be called.
struct NoHash {
  std::uint64_t operator()(int) const {
    ADD_FAILURE() << "hashed a key";
    return 0;
  }
};

TEST(Hashtable, FreshTable) {
  IntSet set;
  EXPECT_EQ(0u, set.size());
  EXPECT_EQ(31u, set.bucket_count());
  EXPECT_EQ(31, std::count(set.buckets_.begin(), set.buckets_.end(), nullptr));
  EXPECT_EQ(nullptr, set.pool_.chunks_);
  EXPECT_TRUE(set.begin() == set.end());
}

TEST(Hashtable, FindOnAnEmptyTableGivesEndWithoutHashing) {
  Hashtable<int, GetKey_identity<int>, int, NoHash> set;
  EXPECT_TRUE(set.find(3) == set.end());
  EXPECT_FALSE(set.contains(3));
  EXPECT_FALSE(set.erase(3));
}

TEST(Hashtable, IntegersHashToThemselvesSignExtended) {
  EXPECT_EQ(5u, hash<int>()(5));
  EXPECT_EQ(UINT64_MAX, hash<int>()(-1));
  EXPECT_EQ(UINT64_MAX - 0x7fffffff, hash<int>()(std::numeric_limits<int>::min()));
}

TEST(Hashtable, ElementsAreInTheBucketOfTheirHash) {
  for (int key : {0, 1, 30, 31, 32, -1, -31, 2147483647, std::numeric_limits<int>::min()}) {
    IntSet set;
    set.insert(key);
    const std::uint64_t bucket = static_cast<std::uint64_t>(static_cast<std::int64_t>(key)) % 31;
    ASSERT_NE(nullptr, set.buckets_[bucket]) << key;
    EXPECT_EQ(key, set.buckets_[bucket]->value_);
  }
}

TEST(Hashtable, InsertTellsWhetherTheValueIsNew) {
  IntSet set;
  auto first = set.insert(-7);
  EXPECT_TRUE(first.second);
  EXPECT_EQ(-7, *first.first);
  auto second = set.insert(-7);
  EXPECT_FALSE(second.second);
  EXPECT_TRUE(second.first == first.first);
  EXPECT_EQ(1u, set.size());
  EXPECT_TRUE(set.contains(-7));
  EXPECT_FALSE(set.contains(7));
}

TEST(Hashtable, InsertChecksTheLoadEvenWhenItFindsItsValue) {
  IntSet set;
  for (int i = 0; i < 22; ++i) set.insert(i);
  EXPECT_EQ(31u, set.bucket_count());
  EXPECT_FALSE(set.insert(3).second);
  EXPECT_EQ(73u, set.bucket_count());
  EXPECT_EQ(22u, set.size());
}

TEST(Hashtable, FindAndEraseDoNotGrow) {
  IntSet set;
  for (int i = 0; i < 22; ++i) set.insert(i);
  EXPECT_TRUE(set.contains(21));
  EXPECT_TRUE(set.find(99) == set.end());
  EXPECT_TRUE(set.erase(4));
  EXPECT_EQ(31u, set.bucket_count());
}

TEST(Hashtable, NewElementsLeadTheirChainAndBucketsComeInOrder) {
  IntSet set;
  for (int value : {5, 36, 67, 2, 33}) set.insert(value);  // buckets 5, 5, 5, 2, 2
  EXPECT_EQ((std::vector<int>{33, 2, 67, 36, 5}), in_order(set));
}

TEST(Hashtable, GrowthReversesTheChains) {
  IntSet set;
  const int step = 31 * 73;  // all in one bucket before and after
  for (int i = 0; i < 22; ++i) set.insert(i * step);
  std::vector<int> before = in_order(set);
  set.insert(0);
  ASSERT_EQ(73u, set.bucket_count());
  std::reverse(before.begin(), before.end());
  EXPECT_EQ(before, in_order(set));
}

TEST(Hashtable, ElementsKeepTheirAddressesWhenTheTableGrows) {
  IntSet set;
  std::vector<const int*> addresses;
  for (int i = 0; i < 5000; ++i) addresses.push_back(&*set.insert(7 * i).first);
  EXPECT_EQ(10501u, set.bucket_count());
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(addresses[static_cast<std::size_t>(i)], &*set.find(7 * i));
}

TEST(Hashtable, TheLastBucketCountIsKept) {
  EXPECT_EQ(4294867387u, next_bucket_count(4294867387u));
  EXPECT_EQ(4294867387u, next_bucket_count(2764405229u));
}

TEST(Hashtable, EraseUnlinksAnywhereInTheChain) {
  for (int victim : {5, 36, 67}) {
    IntSet set;
    for (int value : {5, 36, 67}) set.insert(value);
    EXPECT_TRUE(set.erase(victim));
    EXPECT_FALSE(set.erase(victim));
    EXPECT_EQ(2u, set.size());
    for (int value : {5, 36, 67}) EXPECT_EQ(value != victim, set.contains(value));
  }
}

TEST(Hashtable, EraseGivesTheNodeBackAndKeepsTheBuckets) {
  IntSet set;
  for (int i = 0; i < 100; ++i) set.insert(i);
  const std::uint64_t buckets = set.bucket_count();
  const int* place = &*set.find(42);
  EXPECT_TRUE(set.erase(42));
  EXPECT_EQ(buckets, set.bucket_count());
  EXPECT_EQ(place, &*set.insert(1042).first);
}

TEST(Hashtable, EraseOfAKeyInsideTheElementItself) {
  IntSet set;
  set.insert(8);
  set.insert(39);
  EXPECT_TRUE(set.erase(*set.find(8)));
  EXPECT_EQ((std::vector<int>{39}), sorted(set));
}

TEST(Hashtable, ClearKeepsBucketsAndMemoryAndRefillsWithoutAllocating) {
  IntSet set;
  for (int i = 0; i < 1000; ++i) set.insert(i);
  const std::uint64_t buckets = set.bucket_count();
  const auto* chunks = set.pool_.chunks_;
  set.clear();
  EXPECT_EQ(0u, set.size());
  EXPECT_EQ(buckets, set.bucket_count());
  EXPECT_EQ(set.buckets_.size(),
            static_cast<std::size_t>(std::count(set.buckets_.begin(), set.buckets_.end(), nullptr)));
  EXPECT_TRUE(set.begin() == set.end());
  EXPECT_TRUE(set.find(1) == set.end());
  for (int i = 0; i < 1000; ++i) set.insert(-i);
  EXPECT_EQ(chunks, set.pool_.chunks_);
  EXPECT_EQ(buckets, set.bucket_count());
}

TEST(Hashtable, ClearOfAnEmptyTableIsHarmless) {
  IntSet set;
  set.clear();
  set.clear();
  EXPECT_EQ(31u, set.bucket_count());
}

TEST(Hashtable, IterationVisitsEachElementOnce) {
  IntSet set;
  std::vector<int> expected;
  for (int i = -300; i < 300; i += 7) {
    set.insert(i);
    expected.push_back(i);
  }
  EXPECT_EQ(expected, sorted(set));
  auto it = set.begin();
  auto before = it++;
  EXPECT_TRUE(before == set.begin());
  EXPECT_TRUE(before != it);
}

// ---- ownership and failure ----

struct GetCountedKey {
  const int& operator()(const Counted& value) const { return value.value; }
};
using CountedTable = Hashtable<Counted, GetCountedKey, int>;

TEST(Hashtable, ValuesDieByEraseClearAndDestruction) {
  ASSERT_EQ(0, Counted::living);
  {
    CountedTable table;
    for (int i = 0; i < 100; ++i) table.insert(Counted(i));
    EXPECT_EQ(100, Counted::living);
    table.insert(Counted(5));
    EXPECT_EQ(100, Counted::living);
    table.erase(5);
    EXPECT_EQ(99, Counted::living);
    table.clear();
    EXPECT_EQ(0, Counted::living);
    for (int i = 0; i < 10; ++i) table.insert(Counted(i));
    EXPECT_EQ(10, Counted::living);
  }
  EXPECT_EQ(0, Counted::living);
}

TEST(Hashtable, AThrowingConstructorLeavesTheTableAndItsMemoryAsTheyWere) {
  CountedTable table;
  table.insert(Counted(1));
  const Counted value(2);
  const void* free_before = table.pool_.free_;
  Counted::constructions_left = 0;
  EXPECT_THROW(table.insert(value), std::runtime_error);
  Counted::constructions_left = -1;
  EXPECT_EQ(1u, table.size());
  EXPECT_FALSE(table.contains(2));
  EXPECT_EQ(free_before, table.pool_.free_);
  EXPECT_TRUE(table.insert(value).second);
}

TEST(Hashtable, NoMemoryForTheBucketsLeavesTheTableAsItWas) {
  if (!FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  IntSet set;
  for (int i = 0; i < 22; ++i) set.insert(i);
  const std::vector<int> before = in_order(set);
  bool failed = false;
  {
    FailingNew failing(0);
    try {
      set.insert(100);
    } catch (const std::bad_alloc&) {
      failed = true;
    }
  }
  EXPECT_TRUE(failed);
  EXPECT_EQ(31u, set.bucket_count());
  EXPECT_EQ(before, in_order(set));
  for (int i = 0; i < 22; ++i) EXPECT_TRUE(set.contains(i));
  EXPECT_TRUE(set.insert(100).second);
  EXPECT_EQ(73u, set.bucket_count());
}

TEST(Hashtable, NoMemoryForANodeLeavesTheTableAsItWas) {
  IntSet set;
  for (int i = 0; i < 16; ++i) set.insert(i);
  set.pool_.chunk_elems_ = std::uint64_t{1} << 60;
  EXPECT_THROW(set.insert(16), std::bad_alloc);
  EXPECT_EQ(16u, set.size());
  EXPECT_FALSE(set.contains(16));
  EXPECT_FALSE(set.insert(3).second);
}

// ---- random use ----

void run_random_set(unsigned seed) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  IntSet set;
  std::unordered_set<int> model;
  const int range = 1 << (2 + random() % 12);
  const int stride = random() % 3 == 0 ? 31 : 1;  // now and then everything meets in few buckets
  for (int step = 0; step < 20000; ++step) {
    const int value = (static_cast<int>(random() % static_cast<unsigned>(range)) - range / 2) * stride;
    const unsigned action = random() % 100;
    if (action < 55) {
      auto result = set.insert(value);
      ASSERT_EQ(model.insert(value).second, result.second);
      ASSERT_EQ(value, *result.first);
    } else if (action < 85) {
      ASSERT_EQ(model.erase(value) == 1, set.erase(value));
    } else if (action < 99 || random() % 20 != 0) {
      ASSERT_EQ(model.count(value) == 1, set.contains(value));
    } else {
      set.clear();
      model.clear();
    }
    ASSERT_EQ(model.size(), set.size());
  }
  std::vector<int> expected(model.begin(), model.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(expected, sorted(set));
}

TEST(Hashtable, RandomUseAgreesWithTheStandardSet) {
  for (unsigned seed = 1; seed <= 12; ++seed) run_random_set(seed);
}

}  // namespace
}  // namespace tarku::hsh

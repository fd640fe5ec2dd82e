// The sorted sets of variables: insertion cases, tombstones, iteration, and random use against std::set.
#include "tarku/la/varset.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <set>
#include <vector>

namespace tarku::la {
namespace {

VarSet set_of(const std::vector<int>& values) {
  VarSet set;
  for (int v : values) set.insert(v);
  return set;
}

template <class Set>
std::vector<int> elements(const Set& set) {
  return std::vector<int>(set.begin(), set.end());
}

std::vector<std::uint32_t> words(const VarSet& set) {
  std::vector<std::uint32_t> result;
  for (VarSet::VarFlag entry : set.entries_) result.push_back(entry.word);
  return result;
}

// ---- VarSet ----

TEST(VarSet, FreshSetIsEmpty) {
  VarSet set;
  EXPECT_EQ(0u, set.size());
  EXPECT_TRUE(set.empty());
  EXPECT_TRUE(set.begin() == set.end());
  EXPECT_FALSE(set.contains(0));
  EXPECT_FALSE(set.erase(0));
}

TEST(VarSet, EntriesAreShiftedWordsInOrder) {
  static_assert(sizeof(VarSet::VarFlag) == 4);
  VarSet set = set_of({7, 0, 3});
  EXPECT_EQ((std::vector<std::uint32_t>{0, 6, 14}), words(set));
  EXPECT_EQ((std::vector<int>{0, 3, 7}), elements(set));
}

TEST(VarSet, InsertGivesThePlaceAndWhetherItIsNew) {
  VarSet set = set_of({2, 9});
  auto added = set.insert(5);
  EXPECT_TRUE(added.second);
  EXPECT_EQ(5, *added.first);
  EXPECT_EQ(9, *++added.first);
  auto kept = set.insert(5);
  EXPECT_FALSE(kept.second);
  EXPECT_EQ(5, *kept.first);
  EXPECT_EQ(3u, set.size());
  auto last = set.insert(30);
  EXPECT_TRUE(last.second);
  EXPECT_EQ(30, *last.first);
  EXPECT_TRUE(++last.first == set.end());
}

TEST(VarSet, EraseLeavesATombstone) {
  VarSet set = set_of({1, 2, 3});
  EXPECT_TRUE(set.erase(2));
  EXPECT_FALSE(set.erase(2));
  EXPECT_FALSE(set.erase(4));
  EXPECT_EQ(2u, set.size());
  EXPECT_EQ(1u, set.num_removed());
  EXPECT_FALSE(set.contains(2));
  EXPECT_EQ((std::vector<std::uint32_t>{2, 5, 6}), words(set));
  EXPECT_EQ((std::vector<int>{1, 3}), elements(set));
}

TEST(VarSet, InsertRevivesTheSameEntry) {
  VarSet set = set_of({1, 2, 3});
  set.erase(2);
  auto revived = set.insert(2);
  EXPECT_TRUE(revived.second);
  EXPECT_EQ(2, *revived.first);
  EXPECT_EQ(3u, set.size());
  EXPECT_EQ((std::vector<std::uint32_t>{2, 4, 6}), words(set));
}

TEST(VarSet, TheLargestEntryCanBeRevivedToo) {
  VarSet set = set_of({1, 8});
  set.erase(8);
  EXPECT_TRUE(set.insert(8).second);
  EXPECT_EQ((std::vector<std::uint32_t>{2, 16}), words(set));
  set.erase(8);
  EXPECT_TRUE(set.insert(9).second);
  EXPECT_EQ((std::vector<std::uint32_t>{2, 17, 18}), words(set));
}

TEST(VarSet, InsertBesideTombstones) {
  VarSet set = set_of({2, 4, 6});
  set.erase(2);
  set.erase(4);
  auto added = set.insert(3);
  EXPECT_TRUE(added.second);
  EXPECT_EQ(3, *added.first);
  EXPECT_EQ(6, *++added.first);
  EXPECT_EQ((std::vector<int>{3, 6}), elements(set));
  EXPECT_EQ(2u, set.num_removed());
}

TEST(VarSet, OnlyTombstonesIterateAsEmpty) {
  VarSet set = set_of({1, 2, 3});
  for (int v : {1, 2, 3}) set.erase(v);
  EXPECT_TRUE(set.begin() == set.end());
  EXPECT_TRUE(set.empty());
  EXPECT_EQ(3u, set.entries_.size());
}

TEST(VarSet, RangeInsertRevivesKeepsAndAdds) {
  VarSet target = set_of({1, 2, 5});
  target.erase(2);
  VarSet source = set_of({1, 2, 3, 4, 9});
  source.erase(4);
  target.insert(source.begin(), source.end());
  EXPECT_EQ((std::vector<int>{1, 2, 3, 5, 9}), elements(target));
  EXPECT_EQ(5u, target.size());
  EXPECT_EQ(0u, target.num_removed());
  target.insert(source.end(), source.end());
  EXPECT_EQ(5u, target.size());
  target.insert(target.begin(), target.end());
  EXPECT_EQ((std::vector<int>{1, 2, 3, 5, 9}), elements(target));
}

TEST(VarSet, RangeInsertOfAPart) {
  VarSet source = set_of({1, 2, 3, 4});
  VarSet target;
  target.insert(std::next(source.begin()), std::next(source.begin(), 3));
  EXPECT_EQ((std::vector<int>{2, 3}), elements(target));
}

TEST(VarSet, AppendGoesToTheEnd) {
  VarSet set = set_of({3});
  set.append(4);
  set.append(10);
  EXPECT_EQ((std::vector<int>{3, 4, 10}), elements(set));
  EXPECT_EQ(3u, set.size());
}

TEST(VarSet, CompactDropsTheTombstones) {
  VarSet set = set_of({1, 2, 3, 4});
  set.erase(1);
  set.erase(4);
  set.compact();
  EXPECT_EQ((std::vector<std::uint32_t>{4, 6}), words(set));
  EXPECT_EQ(2u, set.size());
  EXPECT_EQ(0u, set.num_removed());
}

TEST(VarSet, ClearAndSwap) {
  VarSet a = set_of({1, 2}), b = set_of({5});
  a.erase(1);
  a.swap(b);
  EXPECT_EQ((std::vector<int>{5}), elements(a));
  EXPECT_EQ((std::vector<int>{2}), elements(b));
  EXPECT_EQ(1u, b.size());
  b.clear();
  EXPECT_EQ(0u, b.size());
  EXPECT_TRUE(b.entries_.empty());
  EXPECT_TRUE(b.begin() == b.end());
}

// Constraint indices live in these sets too; everything below 2^30 keeps its order.
TEST(VarSet, ExtremeElements) {
  const int top = (1 << 30) - 1, bottom = -(1 << 30);
  VarSet set = set_of({top, 0, bottom, -1, 1});
  EXPECT_EQ((std::vector<int>{bottom, -1, 0, 1, top}), elements(set));
  EXPECT_TRUE(set.erase(top));
  EXPECT_TRUE(set.erase(-1));
  EXPECT_EQ((std::vector<int>{bottom, 0, 1}), elements(set));
  EXPECT_TRUE(set.insert(top).second);
  EXPECT_EQ(5u, set.entries_.size());
}

void run_random_set(unsigned seed) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  VarSet set;
  std::set<int> model;
  const unsigned range = 1u << (2 + random() % 8);
  for (int step = 0; step < 5000; ++step) {
    const int v = static_cast<int>(random() % range);
    const unsigned action = random() % 200;
    if (action < 90) {
      auto result = set.insert(v);
      ASSERT_EQ(model.insert(v).second, result.second);
      ASSERT_EQ(v, *result.first);
    } else if (action < 170) {
      ASSERT_EQ(model.erase(v) == 1, set.erase(v));
    } else if (action < 194) {
      ASSERT_EQ(model.count(v) == 1, set.contains(v));
    } else if (action < 197) {
      VarSet other;
      for (unsigned i = random() % 10; i > 0; --i) other.insert(static_cast<int>(random() % range));
      if (!other.empty()) other.erase(*other.begin());
      set.insert(other.begin(), other.end());
      model.insert(other.begin(), other.end());
    } else if (action < 199) {
      set.compact();
      ASSERT_EQ(0u, set.num_removed());
    } else {
      set.clear();
      model.clear();
    }
    ASSERT_EQ(model.size(), set.size());
    if (step % 16 == 0) {
      ASSERT_EQ(std::vector<int>(model.begin(), model.end()), elements(set));
    }
  }
}

TEST(VarSet, RandomUseAgreesWithTheStandardSet) {
  for (unsigned seed = 1; seed <= 20; ++seed) run_random_set(seed);
}

// ---- VarSparseSet ----

TEST(VarSparseSet, SortedWithoutDuplicates) {
  VarSparseSet set;
  EXPECT_TRUE(set.empty());
  for (int v : {5, 1, 9, 5, 1}) set.insert(v);
  EXPECT_EQ((std::vector<int>{1, 5, 9}), elements(set));
  EXPECT_EQ(3u, set.size());
  EXPECT_TRUE(set.contains(5));
  EXPECT_FALSE(set.contains(4));
  EXPECT_EQ((std::vector<int>{1, 5, 9}), set.values());
}

TEST(VarSparseSet, InsertGivesThePosition) {
  VarSparseSet set;
  set.insert(3);
  auto added = set.insert(1);
  EXPECT_TRUE(added.second);
  EXPECT_EQ(0, added.first - set.begin());
  auto kept = set.insert(3);
  EXPECT_FALSE(kept.second);
  EXPECT_EQ(1, kept.first - set.begin());
}

TEST(VarSparseSet, EraseAndClear) {
  VarSparseSet set;
  for (int v : {1, 2, 3}) set.insert(v);
  EXPECT_TRUE(set.erase(2));
  EXPECT_FALSE(set.erase(2));
  EXPECT_FALSE(set.erase(7));
  EXPECT_EQ((std::vector<int>{1, 3}), elements(set));
  set.clear();
  EXPECT_TRUE(set.empty());
}

TEST(VarSparseSet, SwapValuesExchangesAll) {
  VarSparseSet set;
  set.insert(4);
  std::vector<int> merged = {2, 8};
  set.swap_values(merged);
  EXPECT_EQ((std::vector<int>{2, 8}), elements(set));
  EXPECT_EQ((std::vector<int>{4}), merged);
  EXPECT_TRUE(set.contains(8));
}

TEST(VarSparseSet, RandomUseAgreesWithTheStandardSet) {
  const unsigned seed = 3;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  VarSparseSet set;
  std::set<int> model;
  for (int step = 0; step < 20000; ++step) {
    const int v = static_cast<int>(random() % 300) - 50;
    if (random() % 2 == 0) {
      auto result = set.insert(v);
      ASSERT_EQ(model.insert(v).second, result.second);
      ASSERT_EQ(v, *result.first);
    } else {
      ASSERT_EQ(model.erase(v) == 1, set.erase(v));
    }
    ASSERT_EQ(model.count(v + 1) == 1, set.contains(v + 1));
    ASSERT_EQ(model.size(), set.size());
  }
  EXPECT_EQ(std::vector<int>(model.begin(), model.end()), elements(set));
}

}  // namespace
}  // namespace tarku::la

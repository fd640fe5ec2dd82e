// The map indexed by variable: growth, membership, reading without growing, iteration, ownership, random use.
#include "tarku/la/varmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/bounds.h"
#include "tarku/numbers/dnumber.h"
#include "tests/unit/support/counted.h"
#include "tests/unit/support/failing_new.h"

namespace tarku::la {
namespace {

using test::Counted;
using test::FailingNew;

using Plain = VarMap<int, true, false>;
using Tracked = VarMap<int, true, true>;

template <class Map>
std::vector<int> visited(const Map& map) {
  std::vector<int> indices;
  for (const auto& entry : map) indices.push_back(entry.first);
  return indices;
}

TEST(VarMap, LengthsAfterSubscripts) {
  Plain map;
  EXPECT_EQ(0u, map.size());
  map[0];
  EXPECT_EQ(1u, map.size());
  map[5];
  EXPECT_EQ(6u, map.size());
  map[6];
  EXPECT_EQ(12u, map.size());
  map[11];
  EXPECT_EQ(12u, map.size());
}

TEST(VarMap, TrackedFlagsAreAsLongAsTheValues) {
  Tracked map;
  for (int v : {0, 5, 6, 40}) {
    map[v];
    EXPECT_EQ(map.values_.size(), map.present_.size());
  }
}

TEST(VarMap, NewSlotsHoldTheDefault) {
  VarMap<DNumber, true, false> values;
  values[3];
  for (int v = 0; v < 4; ++v) EXPECT_TRUE(values[v].is_same(DNumber::zero));
  VarMap<int*, true, true> pointers;
  EXPECT_EQ(nullptr, pointers[2]);
  VarMap<std::vector<int>, true, true> lists;
  EXPECT_TRUE(lists[7].empty());
  VarMap<VariableBounds, true, false> bounds;
  bounds[2];
  for (int v = 0; v < 4; ++v) {  // the last one lies beyond the end
    EXPECT_EQ(1u, bounds.get(v).size());
    EXPECT_TRUE(bounds.get(v).back().lower.is_minus_inf());
    EXPECT_TRUE(bounds.get(v).back().upper.is_plus_inf());
  }
}

TEST(VarMap, GrowthKeepsTheValues) {
  Plain map;
  for (int v = 0; v < 1000; ++v) map[v] = 3 * v;
  for (int v = 0; v < 1000; ++v) EXPECT_EQ(3 * v, map.get(v));
  EXPECT_EQ(1024u, map.size());
}

TEST(VarMap, TheSameIndexTwiceCountsOnce) {
  Tracked map;
  map[4];
  map[4] = 9;
  EXPECT_EQ(1u, map.num_present());
  EXPECT_TRUE(map.is_present(4));
  EXPECT_FALSE(map.is_present(3));
  EXPECT_FALSE(map.is_present(5));
  EXPECT_FALSE(map.is_present(-1));
}

TEST(VarMap, SubscriptMarksEvenWhenItOnlyReads) {
  Tracked map;
  map[8];
  const int value = map[2];
  EXPECT_EQ(0, value);
  EXPECT_TRUE(map.is_present(2));
  EXPECT_EQ(2u, map.num_present());
}

TEST(VarMap, WithoutTrackingThereAreNoFlags) {
  Plain map;
  map[3] = 1;
  EXPECT_EQ(0u, map.num_present());
  EXPECT_TRUE(map.present_.empty());
  EXPECT_FALSE(map.is_present(3));
}

TEST(VarMap, ConstAccessNeverGrowsNorMarks) {
  Tracked map;
  map[2] = 5;
  const Tracked& reader = map;
  EXPECT_EQ(5, reader[2]);
  EXPECT_EQ(5, reader.get(2));
  EXPECT_EQ(0, reader.get(1));
  EXPECT_EQ(0, reader.get(1000));
  EXPECT_EQ(0, reader[1000]);
  EXPECT_EQ(0, map.get(-1));
  EXPECT_EQ(5, reader.raw(2));
  EXPECT_EQ(3u, map.size());
  EXPECT_EQ(1u, map.num_present());
}

TEST(VarMap, FindSeesMembersOnly) {
  Tracked map;
  map[5] = 50;
  ASSERT_NE(nullptr, map.find(5));
  EXPECT_EQ(50, *map.find(5));
  EXPECT_EQ(nullptr, map.find(4));
  EXPECT_EQ(nullptr, map.find(6));
  EXPECT_EQ(nullptr, map.find(-1));
  *map.find(5) = 51;
  const Tracked& reader = map;
  EXPECT_EQ(51, *reader.find(5));
  EXPECT_EQ(1u, map.num_present());
}

TEST(VarMap, FindWithoutTrackingSeesEverySlot) {
  Plain map;
  map[5] = 50;
  EXPECT_EQ(0, *map.find(4));
  EXPECT_EQ(50, *map.find(5));
  EXPECT_EQ(nullptr, map.find(6));
}

TEST(VarMap, RawWritesWithoutMarking) {
  Tracked map;
  map[3];
  map.raw(1) = 4;
  EXPECT_EQ(4, map.raw(1));
  EXPECT_FALSE(map.is_present(1));
  EXPECT_EQ(1u, map.num_present());
}

TEST(VarMap, EraseResetsTheValueAndTheFlag) {
  Tracked map;
  map[3] = 7;
  map[4] = 8;
  EXPECT_TRUE(map.erase(3));
  EXPECT_FALSE(map.is_present(3));
  EXPECT_EQ(1u, map.num_present());
  EXPECT_EQ(0, map.get(3));
  EXPECT_EQ(8u, map.size());
  EXPECT_FALSE(map.erase(3));
  EXPECT_FALSE(map.erase(0));
  EXPECT_FALSE(map.erase(100));
  EXPECT_EQ(1u, map.num_present());
  EXPECT_EQ(0, map[3]);
  EXPECT_EQ(2u, map.num_present());
}

TEST(VarMap, EraseWithoutTrackingResetsTheValue) {
  Plain map;
  map[3] = 7;
  EXPECT_TRUE(map.erase(3));
  EXPECT_EQ(0, map.get(3));
  EXPECT_FALSE(map.erase(4));
  EXPECT_EQ(4u, map.size());
}

TEST(VarMap, ResizeSetsTheLengthExactly) {
  Tracked map;
  map[1] = 10;
  map[6] = 60;
  map.resize(3);
  EXPECT_EQ(3u, map.size());
  EXPECT_EQ(3u, map.present_.size());
  EXPECT_EQ(1u, map.num_present());
  EXPECT_EQ(10, map.get(1));
  map.resize(9);
  EXPECT_EQ(9u, map.size());
  EXPECT_FALSE(map.is_present(6));
  EXPECT_EQ(0, map.get(6));
  map[9];
  EXPECT_EQ(18u, map.size());
}

TEST(VarMap, ClearForgetsEverything) {
  Tracked map;
  map[4] = 1;
  map.clear();
  EXPECT_EQ(0u, map.size());
  EXPECT_EQ(0u, map.num_present());
  map[0];
  EXPECT_EQ(1u, map.size());
}

TEST(VarMap, CopyAndSwap) {
  Tracked map;
  map[2] = 5;
  Tracked copy = map;
  map[2] = 6;
  map[7];
  EXPECT_EQ(5, copy.get(2));
  EXPECT_EQ(1u, copy.num_present());
  copy.swap(map);
  EXPECT_EQ(5, map.get(2));
  EXPECT_EQ(2u, copy.num_present());
}

// ---- iteration ----

TEST(VarMap, IterationWalksEveryIndexWithoutTracking) {
  Plain map;
  map[2] = 20;
  EXPECT_EQ((std::vector<int>{0, 1, 2}), visited(map));
  Plain empty;
  EXPECT_TRUE(empty.begin() == empty.end());
}

TEST(VarMap, IterationWalksTheMembersWithTracking) {
  Tracked map;
  for (int v : {9, 2, 5}) map[v] = 10 * v;
  map.erase(5);
  EXPECT_EQ((std::vector<int>{2, 9}), visited(map));
  EXPECT_EQ(90, (++map.begin())->second);
  map.erase(2);
  map.erase(9);
  EXPECT_TRUE(map.begin() == map.end());
}

TEST(VarMap, TheIteratorCachesItsPair) {
  Plain map;
  map[1] = 11;
  auto it = map.begin();
  ++it;
  const std::pair<int, int>* first = &*it;
  EXPECT_EQ(std::make_pair(1, 11), *first);
  map[1] = 12;
  EXPECT_EQ(first, &*it);
  EXPECT_EQ(11, it->second);  // still the copy
  EXPECT_EQ(12, (++map.begin())->second);
}

TEST(VarMap, AdvancingDropsTheCachedPair) {
  Plain map;
  map[0] = 1;
  map[1] = 2;
  auto it = map.begin();
  EXPECT_EQ(1, it->second);
  ++it;
  EXPECT_EQ(1, it->first);
  EXPECT_EQ(2, it->second);
}

// ---- ownership and failure ----

TEST(VarMap, SurplusValuesAreDestroyed) {
  ASSERT_EQ(0, Counted::living);
  {
    VarMap<Counted, true, true> map;
    map[5];
    EXPECT_EQ(6, Counted::living);
    map.resize(2);
    EXPECT_EQ(2, Counted::living);
  }
  EXPECT_EQ(0, Counted::living);
}

TEST(VarMap, FailedGrowthKeepsTheMapUsable) {
  if (!FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  Tracked map;
  map[1] = 10;
  for (int successes : {0, 1}) {  // the flags fail, the values fail
    bool failed = false;
    {
      FailingNew failing(successes);
      try {
        map[1000];
      } catch (const std::bad_alloc&) {
        failed = true;
      }
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(2u, map.size());
    EXPECT_EQ(10, map.get(1));
    EXPECT_EQ(1u, map.num_present());
    EXPECT_EQ((std::vector<int>{1}), visited(map));
  }
  map[5] = 50;
  EXPECT_EQ(6u, map.size());
  EXPECT_EQ(6u, map.present_.size());
  EXPECT_EQ((std::vector<int>{1, 5}), visited(map));
}

TEST(VarMapDeathTest, AMapThatMustNotGrowAborts) {
  VarMap<int, false, false> map;
  map.resize(3);
  map[2] = 4;
  EXPECT_EQ(4, map[2]);
  EXPECT_DEATH(map[3], "");
}

// ---- random use ----

void run_random_map(unsigned seed) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  Tracked map;
  std::map<int, int> model;
  std::size_t length = 0;
  const unsigned range = 1u << (2 + random() % 8);
  for (int step = 0; step < 4000; ++step) {
    const int v = static_cast<int>(random() % range);
    const auto needed = static_cast<std::size_t>(v) + 1;
    const unsigned action = random() % 100;
    if (action < 50) {
      if (needed > length) length = std::max(2 * length, needed);
      map[v] = model[v] = step;
    } else if (action < 70) {
      ASSERT_EQ(model.erase(v) == 1, map.erase(v));
    } else if (action < 90) {
      auto it = model.find(v);
      ASSERT_EQ(it != model.end(), map.is_present(v));
      ASSERT_EQ(it != model.end() ? it->second : 0, map.get(v));
      ASSERT_EQ(it != model.end(), map.find(v) != nullptr);
    } else if (action < 92) {
      length = needed;
      map.resize(length);
      model.erase(model.lower_bound(static_cast<int>(length)), model.end());
    }
    ASSERT_EQ(length, map.size());
    ASSERT_EQ(model.size(), map.num_present());
  }
  std::vector<std::pair<int, int>> entries(map.begin(), map.end());
  EXPECT_EQ((std::vector<std::pair<int, int>>(model.begin(), model.end())), entries);
}

TEST(VarMap, RandomUseAgreesWithTheStandardMap) {
  for (unsigned seed = 1; seed <= 20; ++seed) run_random_map(seed);
}

}  // namespace
}  // namespace tarku::la

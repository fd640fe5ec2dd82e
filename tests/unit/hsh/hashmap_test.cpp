// The hash map: operator[], exact growth, stable addresses, ownership, and random use against std::unordered_map.
#include "tarku/hsh/hashmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarku/numbers/dnumber.h"
#include "tarku/numbers/qnumber.h"
#include "tests/unit/support/counted.h"

namespace tarku::hsh {
namespace {

using test::Counted;

using IntMap = HashMap<int, int>;
static_assert(std::is_same_v<decltype(*std::declval<IntMap&>().begin()), std::pair<int, int>&>);
static_assert(std::is_same_v<decltype(*std::declval<const IntMap&>().begin()), const std::pair<int, int>&>);
static_assert(!std::is_copy_constructible_v<IntMap> && !std::is_copy_assignable_v<IntMap>);

TEST(HashMap, FreshMap) {
  IntMap map;
  EXPECT_EQ(0u, map.size());
  EXPECT_EQ(31u, map.bucket_count());
  EXPECT_TRUE(map.find(1) == map.end());
  EXPECT_TRUE(map.begin() == map.end());
}

TEST(HashMap, SubscriptInsertsADefaultAndFindsItAgain) {
  IntMap map;
  EXPECT_EQ(0, map[4]);
  map[4] = 7;
  EXPECT_EQ(7, map[4]);
  EXPECT_EQ(1u, map.size());
  auto it = map.find(4);
  ASSERT_TRUE(it != map.end());
  EXPECT_EQ(4, it->first);
  EXPECT_EQ(7, it->second);
  it->second = 9;
  const IntMap& reader = map;
  EXPECT_EQ(9, reader.find(4)->second);
  EXPECT_TRUE(reader.find(5) == reader.end());
  EXPECT_TRUE(reader.contains(4));
  IntMap::const_iterator converted = map.find(4);
  EXPECT_TRUE(converted == reader.find(4));
}

TEST(HashMap, DefaultsOfTheUsualValues) {
  HashMap<int, QNumber> rationals;
  EXPECT_EQ("0", rationals[1].to_str());
  HashMap<int, la::DNumber> values;
  EXPECT_EQ("0", values[1].to_str());
  HashMap<int, int*> pointers;
  EXPECT_EQ(nullptr, pointers[1]);
}

TEST(HashMap, InsertKeepsAnExistingValue) {
  IntMap map;
  EXPECT_TRUE(map.insert({3, 30}).second);
  auto again = map.insert({3, 31});
  EXPECT_FALSE(again.second);
  EXPECT_EQ(30, again.first->second);
}

TEST(HashMap, GrowsOnTheFirstSubscriptAt22ElementsWhateverItsKey) {
  IntMap finding, missing;
  for (int i = 1; i <= 22; ++i) {
    finding[i] = i;
    missing[i] = i;
    EXPECT_EQ(31u, finding.bucket_count());
  }
  EXPECT_EQ(22u, finding.size());
  EXPECT_EQ(10, finding.find(10)->second);
  EXPECT_EQ(31u, finding.bucket_count());
  EXPECT_EQ(10, finding[10]);
  EXPECT_EQ(73u, finding.bucket_count());
  EXPECT_EQ(22u, finding.size());
  missing[23] = 23;
  EXPECT_EQ(73u, missing.bucket_count());
}

// The size at which each later growth comes, worked out with the load rule itself.
TEST(HashMap, EachGrowthComesAtTheFirstLoadAboveSevenTenths) {
  IntMap map;
  std::uint64_t buckets = 31;
  for (int key = 0; key < 20000; ++key) {
    const float load = static_cast<float>(map.size()) / static_cast<float>(buckets);
    if (static_cast<double>(load) > 0.7) buckets = next_bucket_count(buckets);
    map[key * 3 - 30000] = key;
    ASSERT_EQ(buckets, map.bucket_count()) << "size " << map.size();
  }
  EXPECT_EQ(42073u, map.bucket_count());
}

TEST(HashMap, NegativeAndExtremeKeys) {
  IntMap map;
  const int low = std::numeric_limits<int>::min(), high = std::numeric_limits<int>::max();
  const std::vector<int> keys = {0, -1, 1, low, high, low + 1, -31, 31};
  for (int key : keys) map[key] = key / 2;
  EXPECT_EQ(keys.size(), map.size());
  for (int key : keys) EXPECT_EQ(key / 2, map.find(key)->second);
  EXPECT_FALSE(map.contains(-2));
  IntMap one;
  one[-1] = 5;
  ASSERT_NE(nullptr, one.buckets_[UINT64_MAX % 31]);
  EXPECT_EQ(-1, one.buckets_[UINT64_MAX % 31]->value_.first);
}

TEST(HashMap, ValuesKeepTheirAddresses) {
  HashMap<int, std::string> map;
  std::vector<std::string*> places;
  for (int i = 0; i < 3000; ++i) {
    places.push_back(&map[i]);
    *places.back() = std::to_string(i);
  }
  for (int i = 0; i < 3000; ++i) {
    ASSERT_EQ(places[static_cast<std::size_t>(i)], &map[i]);
    ASSERT_EQ(std::to_string(i), map[i]);
  }
}

TEST(HashMap, EraseDropsTheValue) {
  HashMap<int, std::shared_ptr<int>> map;
  auto value = std::make_shared<int>(1);
  map[5] = value;
  EXPECT_EQ(2, value.use_count());
  EXPECT_TRUE(map.erase(5));
  EXPECT_EQ(1, value.use_count());
  EXPECT_FALSE(map.erase(5));
  EXPECT_EQ(nullptr, map[5]);
}

TEST(HashMap, ClearAndRefillReuseTheSameNodes) {
  HashMap<int, la::DNumber> map;
  for (int i = 0; i < 500; ++i) map[i] = la::DNumber(QNumber(i));
  const auto* chunks = map.pool_.chunks_;
  const auto* buckets = map.buckets_.data();
  for (int round = 0; round < 5; ++round) {
    map.clear();
    EXPECT_EQ(0u, map.size());
    for (int i = 0; i < 500; ++i) EXPECT_EQ("0", map[1000 * round + i].to_str());
  }
  EXPECT_EQ(chunks, map.pool_.chunks_);
  EXPECT_EQ(buckets, map.buckets_.data());
}

TEST(HashMap, MoveOnlyValues) {
  HashMap<int, std::unique_ptr<int>> map;
  for (int i = 0; i < 100; ++i) map[i] = std::make_unique<int>(i);
  int sum = 0;
  for (auto& entry : map) sum += *entry.second;
  EXPECT_EQ(4950, sum);
}

TEST(HashMap, ValuesAreDestroyedExactlyOnce) {
  ASSERT_EQ(0, Counted::living);
  {
    HashMap<int, Counted> map;
    for (int i = 0; i < 200; ++i) map[i].value = i;
    EXPECT_EQ(200, Counted::living);
    map.erase(3);
    EXPECT_EQ(199, Counted::living);
    map.clear();
    EXPECT_EQ(0, Counted::living);
    map[1];
  }
  EXPECT_EQ(0, Counted::living);
}

TEST(HashMap, AThrowingDefaultConstructorLeaksNoNode) {
  HashMap<int, Counted> map;
  map[1];
  const void* free_before = map.pool_.free_;
  Counted::constructions_left = 0;
  EXPECT_THROW(map[2], std::runtime_error);
  Counted::constructions_left = -1;
  EXPECT_EQ(free_before, map.pool_.free_);
  EXPECT_EQ(1u, map.size());
  EXPECT_FALSE(map.contains(2));
  EXPECT_EQ(1, Counted::living);
}

void run_random_map(unsigned seed) {
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  HashMap<int, Counted> map;
  std::unordered_map<int, int> model;
  std::unordered_map<int, const Counted*> places;
  const int range = 1 << (3 + random() % 11);
  for (int step = 0; step < 20000; ++step) {
    const int key = static_cast<int>(random() % static_cast<unsigned>(range)) - range / 3;
    const unsigned action = random() % 100;
    if (action < 60) {
      Counted& value = map[key];
      ASSERT_EQ(model[key], value.value);
      ASSERT_EQ(places.emplace(key, &value).first->second, &value);
      value.value = model[key] = step;
    } else if (action < 80) {
      ASSERT_EQ(model.erase(key) == 1, map.erase(key));
      places.erase(key);
    } else if (action < 99 || random() % 20 != 0) {
      auto it = map.find(key);
      ASSERT_EQ(model.count(key) == 1, it != map.end());
      if (it != map.end()) {
        ASSERT_EQ(model[key], it->second.value);
        ASSERT_EQ(places[key], &it->second);
      }
    } else {
      map.clear();
      model.clear();
      places.clear();
    }
    ASSERT_EQ(model.size(), map.size());
    ASSERT_EQ(static_cast<int>(model.size()), Counted::living);
  }
  std::size_t visited = 0;
  for (const auto& entry : map) {
    ++visited;
    ASSERT_EQ(model.at(entry.first), entry.second.value);
  }
  EXPECT_EQ(model.size(), visited);
}

TEST(HashMap, RandomUseAgreesWithTheStandardMap) {
  for (unsigned seed = 1; seed <= 12; ++seed) run_random_map(seed);
  EXPECT_EQ(0, Counted::living);
}

}  // namespace
}  // namespace tarku::hsh

// The tables under the checker: interning, the clause store, the map of variables.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "tarku/proof/checker/clause_store.h"
#include "tarku/proof/checker/interner.h"
#include "tarku/proof/checker/variable_map.h"

namespace tarku::checker {
namespace {

std::vector<std::uint32_t> copy(Words words) {
  return {words.begin(), words.end()};
}

TEST(SequenceTable, KeepsEachSequenceOnce) {
  SequenceTable table;
  std::map<std::vector<std::uint32_t>, std::uint32_t> ids;
  std::mt19937 random(5);
  for (int i = 0; i < 20000; ++i) {
    std::vector<std::uint32_t> words(random() % 4);
    for (std::uint32_t& word : words) word = random() % 8;
    const std::uint32_t id = table.intern(words);
    const auto [place, is_new] = ids.emplace(words, id);
    EXPECT_EQ(place->second, id);
    EXPECT_EQ(copy(table[id]), words);
    EXPECT_EQ(table.size(), ids.size());
    if (is_new) {
      EXPECT_EQ(id, ids.size() - 1);
    }
  }
  EXPECT_EQ(ids.size(), 1u + 8 + 64 + 512);
}

TEST(NumberTable, KeepsEachNumberOnce) {
  NumberTable table;
  for (int round = 0; round < 2; ++round) {
    for (int i = -500; i < 500; ++i) EXPECT_EQ(table.intern(Number(i) / 7), static_cast<std::uint32_t>(i + 500));
  }
  EXPECT_EQ(table[0], Number(-500) / 7);
}

TEST(VariableMap, FindsWhatWasAddedHoweverLarge) {
  VariableMap map;
  const std::vector<int> variables{3, 1 << 30, 1, 1023, 1024, 5000, (1 << 30) - 1, 1030};
  for (std::size_t i = 0; i < variables.size(); ++i) {
    EXPECT_EQ(map.find(variables[i]), VariableMap::none);
    EXPECT_EQ(map.add(variables[i]), i);
  }
  for (std::size_t i = 0; i < variables.size(); ++i) EXPECT_EQ(map.find(variables[i]), i) << variables[i];
  for (const int variable : {0, 2, 4, 1025, 4999, 1 << 29}) EXPECT_EQ(map.find(variable), VariableMap::none);
}

// A variable that was far away when it came may be near later.
TEST(VariableMap, GrowsPastVariablesThatWereFar) {
  VariableMap map;
  EXPECT_EQ(map.add(3000), 0u);
  for (int i = 1; i < 3000; ++i) EXPECT_EQ(map.add(i), static_cast<std::uint32_t>(i));
  EXPECT_EQ(map.find(3000), 0u);
  EXPECT_EQ(map.find(2999), 2999u);
}

TEST(ClauseStore, AgreesWithAMapUnderRandomChanges) {
  ClauseStore store;
  std::map<std::uint64_t, std::vector<std::uint32_t>> clauses;
  std::mt19937 random(7);
  std::uint64_t id = 0;
  for (int i = 0; i < 30000; ++i) {
    if (random() % 3 != 0 || clauses.empty()) {
      id += 1 + (random() % 4 == 0 ? random() : 0);
      std::vector<std::uint32_t> literals(random() % 6);
      for (std::uint32_t& literal : literals) literal = random();
      store.add(id, literals);
      clauses[id] = literals;
    } else {
      auto victim = clauses.lower_bound(random() % (id + 1));
      if (victim == clauses.end()) victim = clauses.begin();
      store.remove(victim->first);
      EXPECT_FALSE(store.contains(victim->first));
      clauses.erase(victim);
    }
    EXPECT_EQ(store.size(), clauses.size());
  }
  for (const auto& [known, literals] : clauses) {
    ASSERT_TRUE(store.contains(known));
    EXPECT_EQ(copy(store[known]), literals);
  }
  EXPECT_FALSE(store.contains(0));
  EXPECT_FALSE(store.contains(id + 1));
}

TEST(ClauseStore, ClosesTheGapsOfRemovedClauses) {
  ClauseStore store;
  const std::vector<std::uint32_t> literals(10, 1);
  for (std::uint64_t id = 1; id <= 100000; ++id) {
    store.add(id, literals);
    if (id > 100) store.remove(id - 100);
    ASSERT_LE(store.num_words(), 10000u);
  }
  EXPECT_EQ(store.size(), 100u);
}

}  // namespace
}  // namespace tarku::checker

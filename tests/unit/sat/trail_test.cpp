// The trail: levels, literals that are true for good, and positions, against a slow recomputation.
#include "tarku/sat/trail.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/sat/oracle.h"

namespace tarku::sat {
namespace {

using test::Dice;

std::vector<Literal> contents(const Trail& trail) {
  std::vector<Literal> literals;
  for (std::size_t i = 0; i < trail.size(); ++i) literals.push_back(trail[i]);
  return literals;
}

class TrailTest : public testing::Test {
 protected:
  TrailTest() {
    for (int i = 0; i < 6; ++i) trail.add_variable(/*observed=*/i != 5);
    trail.reserve_levels(6);
  }
  Trail trail;
};

TEST_F(TrailTest, KnowsItsVariables) {
  EXPECT_EQ(trail.num_variables(), 6);
  EXPECT_EQ(trail.num_observed(), 5u);
  EXPECT_TRUE(trail.is_observed(1));
  EXPECT_FALSE(trail.is_observed(6));
  EXPECT_FALSE(trail.is_variable(0));
  EXPECT_FALSE(trail.is_variable(7));
  EXPECT_FALSE(trail.is_observed(7));
}

TEST_F(TrailTest, LiteralsStandOnLevels) {
  trail.push(1);
  trail.open_level();
  trail.push(-2);
  trail.open_level();
  trail.open_level();
  trail.push(3);
  trail.push(3);  // there already
  EXPECT_EQ(contents(trail), (std::vector<Literal>{1, -2, 3}));
  EXPECT_EQ(trail.levels(), 3u);
  EXPECT_EQ(trail.level_start(0), 0u);
  EXPECT_EQ(trail.level_start(1), 1u);
  EXPECT_EQ(trail.level_start(2), 2u);
  EXPECT_EQ(trail.level_start(3), 2u);
  EXPECT_TRUE(trail.is_true(-2) && trail.is_false(2));
  EXPECT_FALSE(trail.is_true(4) || trail.is_false(4));
  EXPECT_EQ(trail.position(2), 1u);
  EXPECT_EQ(trail.backtrack(3), 3u);  // nothing to do
  EXPECT_EQ(trail.backtrack(1), 2u);
  EXPECT_EQ(contents(trail), (std::vector<Literal>{1, -2}));
  EXPECT_EQ(trail.backtrack(0), 1u);
  EXPECT_EQ(contents(trail), (std::vector<Literal>{1}));
}

TEST_F(TrailTest, FixedLiteralsMoveDown) {
  trail.open_level();
  trail.push(1);
  trail.open_level();
  trail.push(2);
  trail.push(3);
  trail.fix(3);   // on the trail
  trail.fix(-4);  // not yet
  trail.fix(6);   // not observed
  EXPECT_EQ(contents(trail), (std::vector<Literal>{1, 2, 3, -4}));
  EXPECT_EQ(trail.backtrack(1), 1u);
  EXPECT_EQ(contents(trail), (std::vector<Literal>{1, 3, -4}));
  EXPECT_EQ(trail.position(-4), 2u);
  EXPECT_EQ(trail.backtrack(0), 0u);
  EXPECT_EQ(contents(trail), (std::vector<Literal>{3, -4}));
  EXPECT_TRUE(trail.is_fixed(3) && trail.is_fixed(-4) && trail.is_fixed(6));
  EXPECT_FALSE(trail.is_fixed(-3) || trail.is_fixed(1));
}

TEST_F(TrailTest, AgreesWithASlowOne) {
  for (std::uint64_t seed = 0; seed < 200 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(seed);
    Trail fast;
    for (int i = 0; i < 20; ++i) fast.add_variable(true);
    fast.reserve_levels(20);
    std::vector<std::vector<Literal>> slow(1);
    std::set<Literal> fixed;
    for (int step = 0; step < 100; ++step) {
      const Literal literal = dice.literal(20);
      if (dice.chance(20) && fast.levels() < 20) {
        fast.open_level();
        slow.emplace_back();
      } else if (dice.chance(15)) {
        const std::size_t level = static_cast<std::size_t>(dice.below(static_cast<int>(slow.size())));
        fast.backtrack(level);
        for (; slow.size() > level + 1; slow.erase(slow.begin() + static_cast<std::ptrdiff_t>(level) + 1)) {
          for (const Literal l : slow[level + 1]) {
            if (fixed.count(l) != 0) slow[level].push_back(l);
          }
        }
      } else if (!fast.is_false(literal)) {
        const bool known = fast.is_true(literal);
        const bool fixes = dice.chance(20);
        fixes ? fast.fix(literal) : fast.push(literal);
        if (fixes) fixed.insert(literal);
        if (!known) slow.back().push_back(literal);
      }
      std::vector<Literal> expected;
      for (std::size_t level = 0; level < slow.size(); ++level) {
        EXPECT_EQ(fast.level_start(level), expected.size());
        expected.insert(expected.end(), slow[level].begin(), slow[level].end());
      }
      EXPECT_EQ(contents(fast), expected);
      for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(fast.position(expected[i]), i);
      for (Variable v = 1; v <= 20; ++v) {
        EXPECT_EQ(fast.is_true(v), std::count(expected.begin(), expected.end(), v) == 1);
        EXPECT_EQ(fast.is_false(v), std::count(expected.begin(), expected.end(), -v) == 1);
      }
    }
  }
}

}  // namespace
}  // namespace tarku::sat

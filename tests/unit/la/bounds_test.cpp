// Bound stacks and told bound records: levels, flags, text.
#include "tarku/la/bounds.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/support/problem_text.h"

namespace tarku::la {
namespace {

using test::dnum;

TEST(VariableBounds, FreshHoldsOnlyTheUnboundedSentinel) {
  VariableBounds bounds;
  ASSERT_EQ(1u, bounds.size());
  EXPECT_EQ(-1, bounds.back().constraint_index);
  EXPECT_FALSE(bounds.back().is_upper);
  EXPECT_EQ("-inf", bounds.back().lower.to_str());
  EXPECT_EQ("+inf", bounds.back().upper.to_str());
  EXPECT_TRUE(bounds.back().lower.is_infinite());
  EXPECT_TRUE(bounds.back().upper.is_infinite());
}

TEST(VariableBounds, EveryLevelCarriesBothBounds) {
  VariableBounds bounds;
  bounds.push_bounds(4, true, bounds.back().lower, dnum("5"));
  bounds.push_bounds(7, false, dnum("2"), bounds.back().upper);
  ASSERT_EQ(3u, bounds.size());
  EXPECT_EQ(7, bounds.back().constraint_index);
  EXPECT_FALSE(bounds.back().is_upper);
  EXPECT_EQ("2", bounds.back().lower.to_str());
  EXPECT_EQ("5", bounds.back().upper.to_str());
  EXPECT_EQ(4, bounds[1].constraint_index);
  EXPECT_TRUE(bounds[1].is_upper);
  EXPECT_EQ("-inf", bounds[1].lower.to_str());
}

TEST(VariableBounds, PoppingGivesBackTheLevelBelow) {
  VariableBounds bounds;
  bounds.push_bounds(4, true, bounds.back().lower, dnum("5"));
  bounds.push_bounds(5, true, bounds.back().lower, dnum("3"));
  bounds.pop_bounds();
  EXPECT_EQ("5", bounds.back().upper.to_str());
  bounds.pop_bounds();
  EXPECT_EQ("+inf", bounds.back().upper.to_str());
  EXPECT_EQ(1u, bounds.size());
}

// Both arguments may refer into the very vector that has to grow.
TEST(VariableBounds, PushingReferencesIntoTheTopLevelSurvivesEveryGrowth) {
  VariableBounds bounds;
  bounds.push_bounds(1, false, dnum("-7/3"), dnum("1000"));
  for (int c = 2; c < 200; ++c) bounds.push_bounds(c, c % 2 == 0, bounds.back().lower, bounds.back().upper);
  ASSERT_EQ(200u, bounds.size());
  for (std::size_t level = 1; level < bounds.size(); ++level) {
    EXPECT_EQ("-7/3", bounds[level].lower.to_str());
    EXPECT_EQ("1000", bounds[level].upper.to_str());
  }
}

TEST(VariableBounds, CopiesAreIndependent) {
  VariableBounds bounds;
  bounds.push_bounds(1, true, bounds.back().lower, dnum("5"));
  VariableBounds copy = bounds;
  bounds.push_bounds(2, true, bounds.back().lower, dnum("4"));
  EXPECT_EQ(2u, copy.size());
  EXPECT_EQ("5", copy.back().upper.to_str());
}

TEST(VariableBounds, TextOfAFreshStackEndsInBraceAndOneBlank) {
  EXPECT_EQ("{ <-1,0,-inf,+inf> } ", VariableBounds().to_str());
}

TEST(VariableBounds, TextListsTheLevelsFromTheSentinelUp) {
  VariableBounds bounds;
  bounds.push_bounds(4, true, bounds.back().lower, dnum("5-delta"));
  bounds.push_bounds(17, false, dnum("-1/2"), bounds.back().upper);
  EXPECT_EQ("{ <-1,0,-inf,+inf> ; <4,1,-inf,5-1*delta> ; <17,0,-1/2,5-1*delta> } ", bounds.to_str());
}

TEST(RangeConstraint, KindTakesTheLowFourBitsAndTheFlagsTheHighOnes) {
  EXPECT_EQ(16, RANGE_UNPUSHED);
  EXPECT_EQ(64, RANGE_IMPLIED);
  EXPECT_EQ(128, RANGE_KEEP);
  EXPECT_EQ(1u, sizeof(RangeConstraint{}.flags));
}

}  // namespace
}  // namespace tarku::la

// Told bounds pushed and popped: levels, entries, values, flags, immediate conflicts, traces, retraction.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::members;
using test::output_of;
using test::Problem;

using Entry = std::pair<int, int>;
using Stack = std::vector<Entry>;

// One tell of each kind: the record's variable, bound, kind and flags.
TEST(RangeConstraint, TellingFillsTheRecord) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x2 = 1/2; c3: x3 < 7; c4: x4 != -1");
  const int kinds[] = {1, 2, 3, 4};
  const char* values[] = {"5", "1/2", "7-1*delta", "-1"};
  for (int c = 1; c <= 4; ++c) {
    EXPECT_EQ(c, p.record(c).var);
    EXPECT_EQ(values[c - 1], p.record(c).bound.to_str());
    EXPECT_EQ(kinds[c - 1] | RANGE_UNPUSHED, p.record(c).flags);
  }
}

TEST(RangeConstraint, TellingAgainKeepsTheKeepBitOnly) {
  Problem p;
  p.bounds("c1: x1 >= 5");
  p.record(1).flags = static_cast<std::uint8_t>(p.record(1).flags | RANGE_KEEP | RANGE_IMPLIED | 32);
  p.bounds("c1: x1 <= 6");
  EXPECT_EQ(3 | RANGE_UNPUSHED | RANGE_KEEP, p.record(1).flags);
  EXPECT_EQ("6", p.record(1).bound.to_str());
}

TEST(RangeConstraint, TellingNeverSetsTheKeepBit) {
  Problem p;
  p.bounds("c1: x1 >= 5; c1: x1 >= 6");
  EXPECT_EQ(0, p.record(1).flags & RANGE_KEEP);
}

TEST(RangeConstraint, TellingAgainListsTheIndexTwice) {
  Problem p;
  p.bounds("c1: x1 >= 5; c1: x1 >= 6; c2: x1 <= 9");
  EXPECT_EQ((std::vector<int>{1, 1, 2}), p.solver.var_constraints_[1]);
}

// ---- one bound ----

TEST(PushUpperBound, AddsOneLevelAndMovesTheValueOntoTheBound) {
  Problem p;
  p.bounds("c1: x1 >= 7; c2: x1 <= 5; c3: x1 <= 5");
  EXPECT_TRUE(p.push(1));
  p.pop();
  EXPECT_EQ("7", p.value(1));
  EXPECT_TRUE(p.push(2));
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ("5", p.value(1));
  EXPECT_EQ((Stack{{2, 1}}), p.solver.constraint_stack_);
  EXPECT_TRUE(p.push(3));
  EXPECT_EQ(2u, p.levels(1)) << "an equal bound is no tighter";
  EXPECT_EQ((Entry{3, -1}), p.solver.constraint_stack_.back());
}

TEST(PushLowerBound, AddsOneLevelAndMovesTheValueOntoTheBound) {
  Problem p;
  p.bounds("c2: x1 >= 5; c3: x1 >= 5");
  EXPECT_TRUE(p.push(2));
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ("5", p.value(1));
  EXPECT_EQ((Stack{{2, 1}}), p.solver.constraint_stack_);
  EXPECT_TRUE(p.push(3));
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ((Entry{3, -1}), p.solver.constraint_stack_.back());
}

TEST(PushBound, AValueWithinTheNewBoundStays) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 9; c3: x1 >= 2");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ("3", p.value(1));
  EXPECT_EQ("3", p.lower(1));
  EXPECT_EQ("9", p.upper(1));
}

TEST(PushBound, TheNewLevelCarriesTheOtherBoundAlong) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 9; c3: x1 >= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  const VariableBounds& bounds = p.solver.var_bounds_.get(1);
  EXPECT_EQ("{ <-1,0,-inf,+inf> ; <1,0,3,+inf> ; <2,1,3,9> ; <3,0,4,9> } ", bounds.to_str());
}

TEST(PushBound, ALooserBoundIsRecordedWithoutALevel) {
  Problem p;
  p.bounds("c1: x1 <= 5; c2: x1 <= 6; c3: x1 >= -6; c4: x1 >= -7");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_EQ((Stack{{1, 1}, {2, -1}, {3, 1}, {4, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ(3u, p.levels(1));
}

// Zero and one are where a comparison that ignores infinity would err.
TEST(PushBound, BoundsOfZeroAndOneAreTighterThanNone) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x2 <= 1; c3: x3 <= 0; c4: x4 >= 1; c5: x1 <= -1; c6: x2 >= 2");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  for (int v = 1; v <= 4; ++v) EXPECT_EQ(2u, p.levels(v)) << v;
  EXPECT_FALSE(p.push(5));
  p.pop();
  EXPECT_FALSE(p.push(6));
}

TEST(PushBound, BoundsAboveOneAreTighterThanNone) {
  Problem p;
  p.bounds("c1: x1 <= 1000; c2: x2 >= -1000");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_EQ("1000", p.upper(1));
  EXPECT_EQ("-1000", p.lower(2));
}

TEST(PushBound, AStrictBoundIsTighterThanTheNonStrictOne) {
  Problem p;
  p.bounds("c1: x1 <= 5; c2: x1 < 5; c3: x1 <= 5; c4: x2 > 5; c5: x2 >= 5");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ((Stack{{1, 1}, {2, 1}, {3, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ("5-1*delta", p.upper(1));
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_EQ((Entry{5, -1}), p.solver.constraint_stack_.back());
  EXPECT_EQ("5+1*delta", p.value(2));
}

TEST(PushBound, StrictBoundsThatMeetAreAConflict) {
  Problem p;
  p.bounds("c1: x1 < 5; c2: x1 >= 5; c3: x1 > 5; c4: x2 <= 5; c5: x2 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  p.pop();
  EXPECT_FALSE(p.push(3));
  p.pop();
  EXPECT_TRUE(p.push_all({4, 5})) << "5 itself remains";
}

TEST(PushBound, ABasicVariableIsOnlyQueued) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 2; c3: x3 <= 1; c4: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 4, 3}));
  EXPECT_EQ("4", p.value(3)) << "not moved";
  EXPECT_TRUE(p.solver.violated_basics_.contains(3));
  EXPECT_EQ(0, p.solver.num_pivots_);
}

TEST(PushBound, ABasicVariableWithinItsNewBoundIsNotQueued) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 2; c3: x3 >= 4; c4: x3 <= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.solver.violated_basics_.empty());
}

TEST(PushBound, MovingANonBasicVariableCarriesItsColumnAlong) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = 2*x1");
  p.bounds("c1: x1 >= 2; c2: x2 >= 3; c3: x3 <= 1; c4: x4 >= 0");
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_EQ("5", p.value(3));
  EXPECT_EQ("4", p.value(4));
  EXPECT_EQ((std::vector<int>{3}), members(p.solver.violated_basics_));
  const std::set<int> changed(p.solver.changed_vars_.begin(), p.solver.changed_vars_.end());
  EXPECT_EQ((std::set<int>{1, 2, 3, 4}), changed);
}

TEST(PushBound, AVariableOutsideTheTableauIsBoundedLikeAnyOther) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x900 >= 3; c2: x900 <= 2; c3: x900 <= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.push(2));
  p.pop();
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("3", p.value(900));
}

TEST(PushBound, VariableZeroIsABoundedVariableLikeAnyOther) {
  Problem p;
  p.rows("x2 = x0 + x1");
  p.bounds("c1: x0 >= 3; c2: x1 >= 1; c3: x2 <= 3; c4: x0 <= 2; c5: x0 = 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ(2u, p.levels(0));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_FALSE(p.push(4));
  p.pop();
  EXPECT_TRUE(p.push(5));
  EXPECT_TRUE(p.check());
  p.pop(3);
  EXPECT_EQ(1u, p.levels(0));
  EXPECT_EQ("-inf", p.lower(0));
}

TEST(PushBound, VariableZeroMayLeaveAndEnterTheBasis) {
  Problem p;
  p.rows("x0 = x1 + x2; x3 = x0 - x1");
  p.bounds("c1: x0 >= 3; c2: x1 <= 1; c3: x2 <= 1; c4: x3 >= 2; c5: x2 <= 2");
  EXPECT_TRUE(p.push_all({1, 2, 5}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
  p.pop(5);
  p.bounds("c6: x0 <= -5; c7: x1 >= 0; c8: x2 >= -4");
  EXPECT_TRUE(p.push_all({6, 7}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.check());
}

// ---- immediate conflicts ----

TEST(PushConflict, NamesTheOlderPartnerThenTheNewConstraint) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_TRUE(p.solver.in_conflict_);
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.conflict_);
  EXPECT_EQ((Stack{{1, 1}, {2, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ(2u, p.levels(1)) << "the failed level is not there";
  EXPECT_FALSE(p.push(3)) << "every push fails while the conflict is pending";
  EXPECT_EQ((Entry{3, -1}), p.solver.constraint_stack_.back());
  p.pop();
  p.pop();
  EXPECT_FALSE(p.solver.in_conflict_);
}

TEST(PushConflict, OnePopClearsIt) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  p.pop();
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
}

TEST(PushConflict, OfALowerBoundNamesTheUpperPartnerFirst) {
  Problem p;
  p.bounds("c1: x1 <= 2; c2: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.conflict_);
}

TEST(PushConflict, ThePartnerIsTheTopmostLevelOfTheOtherSide) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 4; c3: x1 <= 9; c4: x1 <= 8; c5: x1 <= 2; c6: x1 >= 10");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_FALSE(p.push(5));
  EXPECT_EQ((std::vector<int>{2, 5}), p.solver.conflict_);
  p.pop();
  EXPECT_FALSE(p.push(6));
  EXPECT_EQ((std::vector<int>{4, 6}), p.solver.conflict_);
}

TEST(PushConflict, LeavesTheBoundsInForceAsTheyWere) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_EQ("3", p.lower(1));
  EXPECT_EQ("+inf", p.upper(1));
  EXPECT_EQ("3", p.value(1));
}

TEST(PushConflict, AnEarlyFailureLeavesTheConflictAlone) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 0; c4: x2 <= -1");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_FALSE(p.push(3));
  EXPECT_FALSE(p.push(4));
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.conflict_);
  EXPECT_EQ(1u, p.levels(2));
}

// ---- equalities ----

TEST(PushEqualBound, OnAnUnboundedVariablePushesTwoLevelsAndTwoEntries) {
  Problem p;
  p.bounds("c1: x1 = 4");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Stack{{1, 1}, {1, 1}}), p.solver.constraint_stack_);
  EXPECT_EQ("{ <-1,0,-inf,+inf> ; <1,0,4,+inf> ; <1,1,4,4> } ", p.solver.var_bounds_.get(1).to_str());
  EXPECT_EQ("4", p.value(1));
  EXPECT_EQ(1, p.pop());
  EXPECT_TRUE(p.solver.constraint_stack_.empty());
  EXPECT_EQ(1u, p.levels(1));
}

TEST(PushEqualBound, WhoseLowerHalfConflictsLeavesTwoEntriesThatOnePopRemoves) {
  Problem p;
  p.bounds("c1: x1 <= 3; c2: x1 = 4");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_EQ((Stack{{1, 1}, {2, -1}, {2, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.conflict_);
  EXPECT_EQ(2, p.pop());
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
  EXPECT_EQ("3", p.upper(1));
}

TEST(PushEqualBound, WhoseUpperHalfConflictsLeavesTwoEntriesThatOnePopRemoves) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x1 = 4");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_EQ((Stack{{1, 1}, {2, -1}, {2, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.conflict_);
  p.pop();
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
  EXPECT_EQ("{ <-1,0,-inf,+inf> ; <1,0,5,+inf> } ", p.solver.var_bounds_.get(1).to_str());
}

TEST(PushEqualBound, WhileAConflictIsPendingLeavesTwoEntries) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x1 <= 4; c3: x2 = 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_FALSE(p.push(3));
  EXPECT_EQ((Stack{{1, 1}, {2, -1}, {3, -1}, {3, -1}}), p.solver.constraint_stack_);
  p.pop();
  EXPECT_EQ((Stack{{1, 1}, {2, -1}}), p.solver.constraint_stack_);
}

TEST(PushEqualBound, HalvesThatAreNoTighterAddNoLevel) {
  Problem p;
  p.bounds("c1: x1 >= 4; c2: x1 = 4; c3: x1 = 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ((Stack{{1, 1}, {2, -1}, {2, 1}, {3, -1}, {3, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ(3u, p.levels(1));
  p.pop(2);
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
  EXPECT_EQ("+inf", p.upper(1));
  EXPECT_EQ("4", p.lower(1));
}

TEST(PushEqualBound, CountsAsOnePush) {
  Problem p;
  p.bounds("c1: x1 = 4");
  p.push(1);
  EXPECT_EQ(1u, p.solver.num_pushed_);
  p.pop();
  EXPECT_EQ(0u, p.solver.num_pushed_);
}

// ---- pushing without a record, or at another value ----

TEST(PushNoRecord, NeverChangesTheConstraintStack) {
  for (bool upper : {false, true}) {
    Problem p;
    p.bounds("c1: x1 >= 3; c2: x1 <= 9; c3: x1 >= 0");
    auto push = [&](const char* text) {
      DNumber b = dnum(text);
      return upper ? p.solver.push_upper_bound(3, &b, true) : p.solver.push_lower_bound(3, &b, true);
    };
    EXPECT_TRUE(p.push_all({1, 2}));
    const Stack before = p.solver.constraint_stack_;
    EXPECT_TRUE(push(upper ? "8" : "4"));
    EXPECT_EQ(4u, p.levels(1)) << "takes effect";
    EXPECT_EQ(before, p.solver.constraint_stack_);
    EXPECT_TRUE(push(upper ? "10" : "1"));
    EXPECT_EQ(4u, p.levels(1)) << "no tighter";
    EXPECT_EQ(before, p.solver.constraint_stack_);
    EXPECT_FALSE(push(upper ? "2" : "10")) << "conflict";
    EXPECT_EQ(before, p.solver.constraint_stack_);
    EXPECT_FALSE(push("5")) << "early failure";
    EXPECT_EQ(before, p.solver.constraint_stack_);
  }
}

TEST(PushNoRecord, AlsoWhenInitialisationFails) {
  Problem p;
  p.rows("0 = 1");
  p.bounds("c1: x1 >= 3");
  EXPECT_FALSE(p.solver.push_lower_bound(1, nullptr, true));
  EXPECT_TRUE(p.solver.constraint_stack_.empty());
}

TEST(PushNoRecord, AlsoWhenTheBoundIsImpliedAlready) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2");
  p.solver.propagation_level_ = 1;
  EXPECT_TRUE(p.push(1));
  p.record(2).set(RANGE_IMPLIED);
  EXPECT_TRUE(p.solver.push_lower_bound(2, nullptr, true));
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
}

TEST(PushOtherValue, TheGivenBoundReplacesTheToldOne) {
  Problem p;
  p.bounds("c1: x1 <= 5; c2: x1 >= -5");
  DNumber two = dnum("2-delta");
  EXPECT_TRUE(p.solver.push_upper_bound(1, &two, false));
  EXPECT_EQ("2-1*delta", p.upper(1));
  EXPECT_EQ("5", p.record(1).bound.to_str());
  DNumber one = dnum("1");
  EXPECT_TRUE(p.solver.push_lower_bound(2, &one, false));
  EXPECT_EQ("1", p.value(1));
  EXPECT_EQ((Stack{{1, 1}, {2, 1}}), p.solver.constraint_stack_);
}

// ---- flags ----

TEST(UnpushedFlag, ClearedByAPushAndSetByThePop) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 = 4; c3: x1 <= 9");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  for (int c : {1, 2, 3}) EXPECT_FALSE(p.record(c).has(RANGE_UNPUSHED)) << c;
  p.pop(3);
  for (int c : {1, 2, 3}) EXPECT_TRUE(p.record(c).has(RANGE_UNPUSHED)) << c;
}

TEST(UnpushedFlag, ClearedAlsoWhenTheBoundIsNoTighter) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
}

TEST(UnpushedFlag, SetWhenThePushFails) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 <= 2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_TRUE(p.record(2).has(RANGE_UNPUSHED));
  EXPECT_FALSE(p.push(3));
  EXPECT_TRUE(p.record(3).has(RANGE_UNPUSHED)) << "an early failure does not clear it";
}

TEST(ImpliedFlag, WithoutPropagationTheConstraintIsPushedLikeAnyOther) {
  Problem p;
  p.bounds("c1: x1 >= 3");
  p.record(1).set(RANGE_IMPLIED);
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
}

TEST(ImpliedFlag, WithPropagationNoLevelIsAdded) {
  for (int level : {1, 2}) {
    Problem p;
    p.bounds("c1: x1 >= 3; c2: x1 >= 2");
    p.solver.propagation_level_ = level;
    EXPECT_TRUE(p.push(1));
    p.record(2).set(RANGE_IMPLIED);
    EXPECT_TRUE(p.push(2));
    EXPECT_EQ(2u, p.levels(1));
    EXPECT_EQ((Entry{2, -1}), p.solver.constraint_stack_.back());
    EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  }
}

TEST(Propagation, AtLevelTwoAMovedVariableQueuesItsColumn) {
  for (int level : {0, 1, 2}) {
    Problem p;
    p.rows("x3 = x1 + x2; x4 = x1; x5 = x2");
    p.bounds("c1: x1 >= 3; c2: x2 >= 0; c3: x3 >= 0; c4: x4 >= 0; c5: x5 >= 0; c6: x1 >= -3");
    p.solver.propagation_level_ = level;
    EXPECT_TRUE(p.push(6)) << "does not move x1";
    EXPECT_TRUE(p.solver.rows_to_propagate_.empty());
    EXPECT_TRUE(p.push(1));
    EXPECT_EQ(level == 2 ? (std::vector<int>{3, 4}) : std::vector<int>{}, members(p.solver.rows_to_propagate_));
  }
}

// ---- popping ----

TEST(PopConstraint, GivesTheIndexAndTheBoundsBelow) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 4; c3: x1 <= 9");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ(3, p.pop());
  EXPECT_EQ("+inf", p.upper(1));
  EXPECT_EQ(2, p.pop());
  EXPECT_EQ("3", p.lower(1));
  EXPECT_EQ(1, p.pop());
  EXPECT_EQ("-inf", p.lower(1));
  EXPECT_EQ(0u, p.solver.num_pushed_);
}

TEST(PopConstraint, KeepsTheValues) {
  Problem p;
  p.bounds("c1: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  p.pop();
  EXPECT_EQ("3", p.value(1));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("3", p.value(1));
}

TEST(PopConstraint, OfANoTighterBoundRemovesNoLevel) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  p.pop();
  EXPECT_EQ("3", p.lower(1));
  EXPECT_EQ(2u, p.levels(1));
}

TEST(PopConstraint, OfADisequalityDropsItFromTheList) {
  Problem p;
  p.bounds("c1: x1 != 3; c2: x1 != 4");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_EQ((std::vector<int>{1, 2}), p.solver.diseqs_);
  p.pop();
  EXPECT_EQ((std::vector<int>{1}), p.solver.diseqs_);
  p.pop();
  EXPECT_TRUE(p.solver.diseqs_.empty());
  EXPECT_TRUE(p.record(1).has(RANGE_UNPUSHED));
}

TEST(PopConstraint, ClearsInConflictAlways) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x1 <= 1; c3: x2 <= 1");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.in_conflict_);
  p.pop();
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_TRUE(p.check());
}

TEST(PopConstraint, OfAnIndexPushedTwiceTakesOneEntryAtATime) {
  Problem p;
  p.bounds("c1: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Stack{{1, 1}, {1, -1}}), p.solver.constraint_stack_);
  p.pop();
  EXPECT_EQ((Stack{{1, 1}}), p.solver.constraint_stack_);
  EXPECT_EQ("3", p.lower(1));
  EXPECT_TRUE(p.record(1).has(RANGE_UNPUSHED));
}

// Halves may be pushed by hand, without being counted; popping them must not count below zero.
TEST(PopConstraint, NeverCountsBelowZero) {
  Problem p;
  p.bounds("c1: x1 >= 3");
  EXPECT_TRUE(p.solver.push_lower_bound(1, nullptr, false));
  EXPECT_EQ(1, p.solver.pop_constraint());
  EXPECT_EQ(0u, p.solver.num_pushed_);
}

// An implication recorded at height n goes as soon as the stack is back at n, even if its cause is still there.
TEST(PopConstraint, DropsImplicationsRecordedAtOrAboveTheNewHeight) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2; c3: x2 >= 0; c4: x1 >= 1");
  EXPECT_TRUE(p.push_all({1, 3}));
  Solver& s = p.solver;
  Solver::ImplInfo info;
  info.reason = {1};
  info.level = 1;
  s.implied_ = {{2, info}, {4, info}};
  s.num_implied_ = 2;
  s.implied_reported_ = 2;
  p.record(2).set(RANGE_IMPLIED);
  p.record(4).set(RANGE_IMPLIED);
  p.pop();
  EXPECT_EQ(0u, s.num_implied_);
  EXPECT_EQ(0u, s.implied_reported_);
  EXPECT_FALSE(p.record(2).has(RANGE_IMPLIED));
  EXPECT_FALSE(p.record(4).has(RANGE_IMPLIED));
}

TEST(PopConstraint, KeepsImplicationsRecordedBelowTheNewHeight) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2; c3: x2 >= 0; c4: x2 >= -1");
  EXPECT_TRUE(p.push_all({1, 3}));
  Solver& s = p.solver;
  Solver::ImplInfo low;
  low.level = 0;
  Solver::ImplInfo high;
  high.level = 2;
  s.implied_ = {{2, low}, {4, high}};
  s.num_implied_ = 2;
  s.implied_reported_ = 1;
  p.record(2).set(RANGE_IMPLIED);
  p.record(4).set(RANGE_IMPLIED);
  p.pop();
  EXPECT_EQ(1u, s.num_implied_);
  EXPECT_EQ(1u, s.implied_reported_);
  EXPECT_TRUE(p.record(2).has(RANGE_IMPLIED));
  EXPECT_FALSE(p.record(4).has(RANGE_IMPLIED));
}

TEST(PopConstraint, AnImplicationOfARetractedConstraintIsDroppedQuietly) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2");
  EXPECT_TRUE(p.push(1));
  Solver& s = p.solver;
  Solver::ImplInfo info;
  info.level = 1;
  s.implied_ = {{2, info}};
  s.num_implied_ = 1;
  p.retract_bound(2);
  p.pop();
  EXPECT_EQ(0u, s.num_implied_);
  EXPECT_FALSE(s.constraints_.contains(2)) << "no phantom record";
}

TEST(NextImplied, HandsOutEachImplicationOnce) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 2; c3: x1 >= 1");
  EXPECT_TRUE(p.push(1));
  Solver& s = p.solver;
  Solver::ImplInfo info;
  info.reason = {1};
  info.level = 1;
  s.implied_ = {{2, info}, {3, info}, {99, info}};
  s.num_implied_ = 2;
  int c = 0;
  std::vector<int> reason;
  EXPECT_TRUE(s.next_implied(&c, &reason));
  EXPECT_EQ(2, c);
  EXPECT_EQ((std::vector<int>{1}), reason);
  EXPECT_EQ(1u, s.implied_reported_);
  EXPECT_TRUE(s.next_implied(&c, &reason));
  EXPECT_EQ(3, c);
  EXPECT_FALSE(s.next_implied(&c, &reason)) << "slots from num_implied_ on are free";
  EXPECT_EQ(2u, s.implied_reported_);
}

// ---- the stack as seen from outside ----

TEST(ConstraintStack, IsWalkedFromBottomToTop) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x1 = 5");
  EXPECT_TRUE(p.push(1));
  p.add_equation(7);
  EXPECT_TRUE(p.push(2));
  Stack seen;
  for (auto it = p.solver.constraint_stack_begin(); it != p.solver.constraint_stack_end(); ++it) seen.push_back(*it);
  EXPECT_EQ((Stack{{1, 1}, {7, -1}, {2, 1}, {2, 1}}), seen);
}

TEST(ConstraintStack, EmptyStackHasNothingToWalk) {
  Solver s(false, 0);
  EXPECT_TRUE(s.constraint_stack_begin() == s.constraint_stack_end());
  EXPECT_TRUE(s.get_constraints_on_stack().empty());
}

TEST(ConstraintStack, DistinctIndicesAscendAndAnEqualityIsListedOnce) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c9: x1 >= 3; c2: x1 = 5; c4: x2 != 0");
  EXPECT_TRUE(p.push_all({9, 2, 4}));
  p.add_equation(7);
  EXPECT_EQ((std::vector<int>{2, 4, 7, 9}), p.solver.get_constraints_on_stack());
}

// ---- traces ----

TEST(PushTrace, OneLineAtLevelOne) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 5; c3: x2 = 1");
  p.solver.initialize();
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA - push_lower_bound: 1\n", output_of([&] { p.push(1); }));
  EXPECT_EQ("LA - push_upper_bound: 2\n", output_of([&] { p.push(2); }));
  EXPECT_EQ("LA - push_lower_bound: 3\nLA - push_upper_bound: 3\n", output_of([&] { p.push(3); }));
  EXPECT_EQ("LA - pop_constraint: 3\n", output_of([&] { p.pop(); }));
}

TEST(PushTrace, ValuesAtLevelTwo) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 < 5; c3: x1 <= 1/2; c4: x1 > 7");
  p.solver.initialize();
  p.solver.verbosity_ = 2;
  EXPECT_EQ(
      "LA - push_lower_bound: 1, var: 1, bound: 3, old: -inf, value: 0\n"
      "LA - update: 1, 3\n",
      output_of([&] { p.push(1); }));
  EXPECT_EQ("LA - push_upper_bound: 2, var: 1, bound: 5-1*delta, old: +inf, value: 3\n", output_of([&] { p.push(2); }));
  EXPECT_EQ(
      "LA - push_upper_bound: 3, var: 1, bound: 1/2, old: 5-1*delta, value: 3\n"
      "LA - push_upper_bound: conflict!\nvar: 1, c: 1/2, constraint_index: 3\n"
      "         l: 3, stored constraint_index: 1\n",
      output_of([&] { p.push(3); }));
  EXPECT_EQ("LA - pop_constraint: 3\n", output_of([&] { p.pop(); }));
  EXPECT_EQ(
      "LA - push_lower_bound: 4, var: 1, bound: 7+1*delta, old: 3, value: 3\n"
      "LA - push_lower_bound: conflict!\nvar: 1, c: 7+1*delta, constraint_index: 4\n"
      "         l: 5-1*delta, stored constraint_index: 2\n",
      output_of([&] { p.push(4); }));
}

TEST(PushTrace, TheToldBoundIsPrintedAlsoWhenAnotherOneIsPushed) {
  Problem p;
  p.bounds("c1: x1 <= 5");
  p.solver.initialize();
  p.solver.verbosity_ = 2;
  DNumber two = dnum("2");
  EXPECT_EQ("LA - push_upper_bound: 1, var: 1, bound: 5, old: +inf, value: 0\n",
            output_of([&] { p.solver.push_upper_bound(1, &two, true); }));
}

TEST(PushTrace, EarlyFailuresPrintNothing) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 <= 1");
  p.push(1);
  p.push(2);
  p.solver.verbosity_ = 2;
  EXPECT_EQ("", output_of([&] { p.push(3); }));
}

TEST(PushTrace, DisequalityHasItsOwnSpelling) {
  Problem p;
  p.bounds("c1: x1 != 3");
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA- push_diseq_bound: 1\n", output_of([&] { p.push(1); }));
}

TEST(PushTrace, SilentByDefault) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x3 = 1; c4: x2 != 0");
  EXPECT_EQ("", output_of([&] {
              p.push(1);
              p.push(3);
              p.check();
              p.push(4);
              p.check();
              p.push(2);
              p.check();
              p.pop(4);
            }));
}

// ---- aborts ----

using BoundsDeathTest = testing::Test;

TEST(BoundsDeathTest, PushingAnIndexThatWasNeverToldAborts) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Solver s(false, 0);
        s.push_constraint(99);
      },
      "");
}

TEST(BoundsDeathTest, PushingAnUnknownKindAborts) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Solver s(false, 0);
        s.do_tell_bound(1, 1, dnum("3"), 5);
        s.push_constraint(1);
      },
      "");
}

// ---- retract_bound ----

TEST(RetractBound, ForgetsTheRecordAndTheListEntry) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 5");
  p.retract_bound(2);
  EXPECT_FALSE(p.solver.constraints_.contains(2));
  EXPECT_TRUE(p.solver.constraints_.contains(1));
  EXPECT_EQ((std::vector<int>{1}), p.solver.var_constraints_[1]);
}

// The last entry is taken off unseen; order of retraction is the caller's duty.
TEST(RetractBound, TakesTheLastListEntryWhateverItIs) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 5");
  p.retract_bound(1);
  EXPECT_FALSE(p.solver.constraints_.contains(1));
  EXPECT_EQ((std::vector<int>{1}), p.solver.var_constraints_[1]);
  EXPECT_TRUE(p.push(2)) << "a listed index without a record is passed over";
  EXPECT_TRUE(p.check());
}

TEST(RetractBound, AnAbsentIndexIsPassedOverByPropagation) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 5; c3: x1 >= 1");
  p.retract_bound(2);  // takes index 3 off the list and leaves 2 listed without a record
  p.solver.propagation_level_ = 2;
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.solver.constraints_.contains(2));
}

TEST(RetractBound, OfTheLastOneBeforeInitialisationLeavesTheVariableUnconstrained) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x3 <= 1");
  p.retract_bound(1);
  EXPECT_TRUE(p.solver.var_constraints_[1].empty());
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.tableau_.is_eliminated(1));
}

TEST(RetractBound, OfTheLastOneAfterInitialisationKeepsTheVariableAndItsValue) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x3 >= 1; c3: x2 >= 1");
  EXPECT_TRUE(p.push_all({2, 3, 1}));
  EXPECT_TRUE(p.check());
  p.pop();
  p.retract_bound(1);
  EXPECT_FALSE(p.solver.constraints_.contains(1));
  EXPECT_TRUE(p.solver.var_constraints_[1].empty());
  EXPECT_FALSE(p.solver.tableau_.is_eliminated(1));
  EXPECT_EQ("3", p.value(1));
  EXPECT_TRUE(p.check());
}

TEST(RetractBound, OfTheLastOneOfABasicVariableRefreshesItsValue) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x2 >= 1; c3: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_basic(3));
  p.solver.cur_beta_[3] = dnum("77");  // stale
  p.solver.retract_bound(3);
  EXPECT_EQ("4", p.value(3));
  p.expect_invariants("after the refresh");
}

TEST(RetractBound, OfTheLastOneOfANonBasicVariableRefreshesItsColumn) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = 2*x1");
  p.bounds("c2: x2 >= 1; c3: x3 >= 0; c4: x4 >= 0; c1: x1 >= 3");
  EXPECT_TRUE(p.push_all({2, 3, 4, 1}));
  EXPECT_TRUE(p.check());
  p.pop();
  ASSERT_FALSE(p.solver.tableau_.is_basic(1));
  p.solver.cur_beta_[3] = p.solver.cur_beta_[4] = dnum("77");
  p.solver.saved_beta_[3] = p.solver.saved_beta_[4] = dnum("77");
  p.solver.retract_bound(1);
  EXPECT_EQ("4", p.value(3));
  EXPECT_EQ("6", p.value(4));
  EXPECT_EQ("4", p.solver.saved_beta_.get(3).to_str());
  p.expect_invariants("after the refresh");
}

TEST(RetractBound, ThenToldAgainWorksLikeNew) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c2: x2 >= 1; c3: x3 <= 3; c1: x1 >= 3");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_TRUE(p.check());
  p.retract_bound(1);
  EXPECT_TRUE(p.check());
  p.bounds("c1: x1 >= 5/2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.check());
}

TEST(RetractBound, DropsTheHypothesesOfBothSides) {
  Problem p(true);
  p.bounds("c2: x1 >= 0; c1: x1 = 3");
  proof::Ref plain(p.solver.get_or_create_hyp_proof(1, false));
  proof::Ref negated(p.solver.get_or_create_hyp_proof(1, true));
  p.retract_bound(1);
  EXPECT_EQ(1u, plain->count());
  EXPECT_EQ(1u, negated->count());
  EXPECT_FALSE(p.solver.hyp_proofs_.contains(1));
  EXPECT_FALSE(p.solver.hyp_proofs_.contains(-1));
}

TEST(RetractBound, OfTheLastOneAlsoDropsTheHypothesis) {
  Problem p(true);
  p.bounds("c1: x1 >= 3");
  proof::Ref leaf(p.solver.get_or_create_hyp_proof(1, false));
  p.retract_bound(1);
  EXPECT_EQ(1u, leaf->count());
  EXPECT_EQ(0u, p.solver.hyp_proofs_.size());
}

// Without proofs nothing is ever released, whatever may have been stored.
TEST(RetractBound, WithProofsDisabledLeavesStoredLeavesAlone) {
  Problem p(false);
  p.bounds("c2: x1 <= 9; c1: x1 >= 3");
  LaHyp leaf(1, 0);
  p.solver.hyp_proofs_[1] = &leaf;
  p.bounds("c1: x1 >= 4");
  p.retract_bound(1);
  EXPECT_EQ(1u, leaf.count());
}

TEST(TellBound, AgainWithAnotherKindDropsTheOldHypotheses) {
  Problem p(true);
  p.bounds("c1: x1 = 3");
  proof::Ref plain(p.solver.get_or_create_hyp_proof(1, false));
  proof::Ref negated(p.solver.get_or_create_hyp_proof(1, true));
  p.bounds("c1: x1 >= 3");
  EXPECT_EQ(1u, plain->count());
  EXPECT_EQ(1u, negated->count());
  proof::Ref fresh(p.solver.get_or_create_hyp_proof(1, false));
  EXPECT_NE(plain.get(), fresh.get());
}

// ---- many pushes without a check ----

TEST(ChangedVars, DoNotGrowWithoutBoundWhenNothingIsChecked) {
  Problem p;
  p.rows("x4 = x1 + x2; x5 = x1 + x3; x6 = x1");
  p.bounds("c1: x1 >= 1; c2: x1 <= -1; c3: x4 >= 0; c4: x5 >= 0; c5: x6 >= 0; c6: x2 >= 0; c7: x3 >= 0");
  Solver& s = p.solver;
  for (int round = 0; round < 2000; ++round) {
    s.push_constraint(1);
    s.pop_constraint();
    s.push_constraint(2);
    s.pop_constraint();
  }
  EXPECT_LE(s.changed_vars_.size(), 4 * s.cur_beta_.size());
  EXPECT_LE(s.suspect_vars_.size(), s.cur_beta_.size());
  EXPECT_TRUE(p.check());
}

TEST(PushBound, BoundsBeyondMachineWordsWorkTheSame) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 99999999999999999999999/7; c2: x2 >= 1/99999999999999999999999");
  p.bounds("c3: x3 <= 99999999999999999999999/7; c4: x1 < 99999999999999999999999/7");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.push(4));
}

}  // namespace
}  // namespace tarku::la

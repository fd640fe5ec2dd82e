// Reading values and bounds: model values, floors, abstract values of eliminated variables, equality.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::Problem;
using test::rational;

// ---- get_value ----

TEST(GetValue, IsFalseBeforeAnyModelWasBuilt) {
  Problem p;
  p.bounds("c1: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  QNumber out(77);
  EXPECT_FALSE(p.solver.get_value(1, &out));
  EXPECT_EQ("77", out.to_str());
}

TEST(GetValue, ReadsTheModelAndNeverAddsToIt) {
  Problem p;
  p.solver.model_values_[3] = rational("5/7");
  QNumber out;
  EXPECT_TRUE(p.solver.get_value(3, &out));
  EXPECT_EQ("5/7", out.to_str());
  EXPECT_FALSE(p.solver.get_value(4, &out));
  EXPECT_EQ("5/7", out.to_str());
  EXPECT_EQ(1u, p.solver.model_values_.size());
}

// ---- get_floor_value ----

std::string floor_of(const std::string& value) {
  Problem p;
  p.solver.initialize();
  p.solver.cur_beta_[1] = dnum(value);
  QNumber out;
  return p.solver.get_floor_value(1, &out) ? out.to_str() : "none";
}

TEST(GetFloorValue, ReadsDeltaAsInfinitesimal) {
  EXPECT_EQ("2", floor_of("3-delta"));
  EXPECT_EQ("3", floor_of("3"));
  EXPECT_EQ("3", floor_of("3+delta"));
  EXPECT_EQ("2", floor_of("5/2-delta"));
  EXPECT_EQ("2", floor_of("5/2+1000*delta"));
  EXPECT_EQ("-3", floor_of("-5/2"));
  EXPECT_EQ("-4", floor_of("-3-1/1000*delta"));
  EXPECT_EQ("-1", floor_of("0-delta"));
  EXPECT_EQ("0", floor_of("0"));
}

TEST(GetFloorValue, WorksBeyondMachineWords) {
  EXPECT_EQ("33333333333333333333333333333333", floor_of("100000000000000000000000000000000/3"));
  EXPECT_EQ("-33333333333333333333333333333334", floor_of("-100000000000000000000000000000000/3"));
  EXPECT_EQ("-33333333333333333333333333333334", floor_of("-100000000000000000000000000000000/3-delta"));
  EXPECT_EQ("99999999999999999999999999999999", floor_of("100000000000000000000000000000000-delta"));
  EXPECT_EQ("0", floor_of("1/100000000000000000000000000000000"));
  EXPECT_EQ("-1", floor_of("-1/100000000000000000000000000000000"));
}

TEST(GetFloorValue, AroundTheBorderOfMachineWords) {
  EXPECT_EQ("9223372036854775807", floor_of("9223372036854775807"));
  EXPECT_EQ("-9223372036854775807", floor_of("-9223372036854775807"));
  EXPECT_EQ("-9223372036854775808", floor_of("-9223372036854775807-delta"));
  EXPECT_EQ("-9223372036854775808", floor_of("-9223372036854775808"));
  EXPECT_EQ("-9223372036854775809", floor_of("-9223372036854775808-delta"));
  EXPECT_EQ("-4611686018427387904", floor_of("-9223372036854775807/2"));
}

// An integer that was computed in the big form is an integer all the same.
TEST(GetFloorValue, OfAnIntegerInTheBigForm) {
  Problem p;
  p.solver.initialize();
  const QNumber huge = rational("100000000000000000000000000000000");
  const QNumber three = (huge + QNumber(3)) - huge;
  ASSERT_FALSE(three.is_small());
  p.solver.cur_beta_[1] = DNumber(three, QNumber(-1));
  QNumber out;
  EXPECT_TRUE(p.solver.get_floor_value(1, &out));
  EXPECT_EQ("2", out.to_str());
}

TEST(GetFloorValue, OfAnEliminatedVariableIsThatOfItsEquation) {
  Problem p;
  p.rows("x3 = 2*x1");
  p.bounds("c1: x3 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  QNumber out;
  EXPECT_TRUE(p.solver.get_floor_value(1, &out));
  EXPECT_EQ("2", out.to_str());
}

TEST(GetFloorValue, IsFalseForAVariableWithoutAValue) {
  Problem p;
  p.solver.initialize();
  QNumber out(77);
  EXPECT_FALSE(p.solver.get_floor_value(500, &out));
  EXPECT_EQ(1u, p.solver.cur_beta_.size()) << "asking does not grow the table";
}

// ---- get_abstract_value ----

TEST(GetAbstractValue, OfAPlainVariableIsItsCurrentValue) {
  Problem p;
  p.bounds("c1: x1 > 3");
  EXPECT_TRUE(p.push(1));
  DNumber out;
  EXPECT_TRUE(p.solver.get_abstract_value(1, &out));
  EXPECT_EQ("3+1*delta", out.to_str());
  EXPECT_TRUE(p.solver.abstract_values_.empty()) << "only eliminated variables are cached";
}

TEST(GetAbstractValue, IsFalseBeyondTheTables) {
  Problem p;
  DNumber out;
  EXPECT_FALSE(p.solver.get_abstract_value(1, &out));
  p.solver.initialize();
  EXPECT_FALSE(p.solver.get_abstract_value(900, &out));
  EXPECT_EQ(1u, p.solver.cur_beta_.size());
}

TEST(GetAbstractValue, OfAnEliminatedVariableFollowsItsEquation) {
  Problem p;
  p.rows("x3 = 2*x1 + x2");
  p.bounds("c1: x3 > 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  EXPECT_EQ("2+1/2*delta", p.value(1));
}

TEST(GetAbstractValue, OfAnEliminatedVariableIsComputedOnceUntilTheCacheIsCleared) {
  Problem p;
  p.rows("x3 = 2*x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("2", p.value(1));
  EXPECT_TRUE(p.solver.abstract_values_.contains(1));
  p.solver.abstract_values_[1] = dnum("88");
  EXPECT_EQ("88", p.value(1)) << "served from the cache";
  p.solver.clear_abstract_value_cache();
  EXPECT_EQ("2", p.value(1));
}

TEST(GetAbstractValue, ReachesThroughSeveralEliminatedVariables) {
  Problem p;
  p.rows("x11 = x1 + x2; x12 = x2 + x3; x13 = x3 + x4");
  p.bounds("c1: x11 >= 5; c2: x12 >= 7; c3: x13 >= 11; c4: x4 = 2");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("9", p.value(3));
  EXPECT_EQ("-2", p.value(2));
  EXPECT_EQ("7", p.value(1));
}

// y_i = x_i + x_i+1 with bounds on the y only: x1 hangs on x2, x2 on x3, and so on.
TEST(GetAbstractValue, AnyDepthOfEliminatedVariablesIsReached) {
  constexpr int kDepth = 50000;
  Solver s(false, 0);
  for (int i = 1; i <= kDepth; ++i) {
    Equation eq(kDepth + 1 + i);
    eq.add_term(i, QNumber(1));
    eq.add_term(i + 1, QNumber(1));
    s.tell_equation(i, eq);
    s.tell_lower_bound(kDepth + i, kDepth + 1 + i, dnum(i == kDepth ? "5" : "0"));
  }
  ASSERT_TRUE(s.push_constraint(2 * kDepth));
  ASSERT_TRUE(s.check(false));
  DNumber out;
  ASSERT_TRUE(s.get_abstract_value(1, &out));
  EXPECT_EQ(kDepth % 2 == 0 ? "-5" : "5", out.to_str());
}

TEST(GetAbstractValue, OfAVariableBoundedWhileCachedIsNotStale) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 = 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("4", p.value(1));
  p.bounds("c3: x1 >= 6");
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("6", p.value(1));
}

// ---- are_equal ----

TEST(AreEqual, AVariableEqualsItself) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 > 5; c2: x2 >= 1; c3: x70 >= 3; c4: x71 <= 9");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.are_equal(1, 1)) << "eliminated";
  EXPECT_TRUE(p.solver.are_equal(2, 2));
  EXPECT_TRUE(p.solver.are_equal(70, 70)) << "in no equation";
  EXPECT_TRUE(p.solver.are_equal(71, 71)) << "bounded, never moved";
}

TEST(AreEqual, ComparesDeltaParts) {
  Problem p;
  p.bounds("c1: x1 > 5; c2: x2 >= 5; c3: x3 > 5");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.solver.are_equal(1, 2));
  EXPECT_TRUE(p.solver.are_equal(1, 3));
}

TEST(AreEqual, ComparesEliminatedVariablesByTheirMeaning) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = 2*x5");
  p.bounds("c1: x3 >= 5; c2: x2 = 1; c3: x4 = 8");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.are_equal(1, 5)) << "both are 4";
  EXPECT_FALSE(p.solver.are_equal(1, 2));
}

TEST(AreEqual, IsFalseForUnknownVariables) {
  Problem p;
  p.solver.initialize();
  EXPECT_FALSE(p.solver.are_equal(500, 500));
  EXPECT_FALSE(p.solver.are_equal(500, 501));
}

// ---- bounds ----

TEST(GetBounds, AreThoseOfTheTopLevel) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 < 9; c3: x1 >= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_EQ("4", p.lower(1));
  EXPECT_EQ("9-1*delta", p.upper(1));
  p.pop();
  EXPECT_EQ("3", p.lower(1));
}

TEST(GetBounds, AreInfiniteWithoutBoundsAndBeyondTheTables) {
  Problem p;
  p.solver.initialize();
  for (int v : {0, 1, 900}) {
    EXPECT_EQ("-inf", p.lower(v));
    EXPECT_EQ("+inf", p.upper(v));
  }
  EXPECT_EQ(1u, p.solver.var_bounds_.size()) << "asking does not grow the table";
}

}  // namespace
}  // namespace tarku::la

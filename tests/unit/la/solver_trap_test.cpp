// Short sequences of legal calls that a careless incremental solver answers wrongly.
//
// The fixture compares each verdict with an independent judge, looks for a genuine conflict after a refusal, and
// requires values that satisfy every equation and every asserted bound after an acceptance.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/la_proof.h"
#include "tarku/termination_test.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::members;
using test::Problem;

using Ints = std::vector<int>;

// ---- values after a failed check ----

// The failed check puts x1 back to 0; the bound x1 >= 5 is still asserted after the pop.
TEST(TrapRestore, ABoundPushedBeforeTheFailedCheckStillCountsAfterAPop) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 <= 3; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ("0", p.value(1)) << "the saved value";
  p.pop();
  EXPECT_TRUE(p.check());
  EXPECT_NE("0", p.value(1));
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapRestore, ThePushConflictVariant) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x1 <= 2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
  EXPECT_EQ("5", p.value(1));
}

// x4 was within its new bound in the assignment the failing search wandered through, and left the queue there.
TEST(TrapRestore, ABasicThatLeftTheQueueDuringTheFailedSearchIsQueuedAgain) {
  Problem p;
  p.rows("x4 = x1 + x2; x5 = x1 - x2; x6 = x1 + 2*x2");
  p.bounds("c1: x4 >= 2; c2: x5 >= 2; c3: x6 <= 1; c4: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_FALSE(p.check());
  p.pop(2);
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
}

TEST(TrapRestore, SeveralFailuresInARow) {
  Problem p;
  p.rows("x4 = x1 + x2; x5 = x1 - x2");
  p.bounds("c1: x1 >= 5; c2: x2 >= 5; c3: x4 <= 9; c4: x5 >= 1; c5: x1 <= 5; c6: x4 <= 10");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_FALSE(p.check());
  p.pop(2);
  EXPECT_TRUE(p.push(6));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
  p.pop(4);
  EXPECT_TRUE(p.check());
}

TEST(TrapRestore, TheFailedCheckItselfLeavesTheSavedValues) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 <= 3; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.resync_needed_);
  EXPECT_EQ("", p.solver.check_invariants()) << "known to be in need of repair";
  p.pop(3);
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.solver.resync_needed_);
  EXPECT_TRUE(p.solver.suspect_vars_.empty());
}

TEST(TrapRestore, APushBetweenTheFailureAndTheNextCheck) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 <= 3; c3: x2 >= 0; c4: x2 <= -7; c5: x1 <= 6; c6: x3 >= -1");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(6));
  EXPECT_TRUE(p.check());
}

// ---- failed pushes ----

// One pop clears the pending conflict, but x1 <= 2 is still on the stack.
TEST(TrapFailedPush, BuriedUnderAnotherPushItStillCounts) {
  for (bool proofs : {false, true}) {
    Problem p(proofs);
    p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 0");
    EXPECT_TRUE(p.push(1));
    EXPECT_FALSE(p.push(2));
    EXPECT_FALSE(p.push(3));
    p.pop();
    EXPECT_FALSE(p.solver.in_conflict_) << "one pop clears the conflict";
    EXPECT_FALSE(p.check());
    EXPECT_EQ((Ints{1, 2}), p.solver.conflict_);
    EXPECT_TRUE(p.solver.in_conflict_);
    EXPECT_EQ(proofs, p.solver.conflict_proof_ != nullptr);
    p.pop();
    EXPECT_TRUE(p.check());
  }
}

TEST(TrapFailedPush, BuriedUnderAPopAndAnotherConflict) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 0; c4: x2 >= 5; c5: x2 <= 4");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  proof::Ref first(p.solver.get_conflict_proof());
  EXPECT_FALSE(p.push(3));
  p.pop();
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.push(5));
  proof::Ref second(p.solver.get_conflict_proof());
  EXPECT_NE(first.get(), second.get());
  p.pop();
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{1, 2}), p.solver.conflict_);
  const auto* step = dynamic_cast<const LaComb*>(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, step);
  EXPECT_EQ(2, dynamic_cast<const LaHyp*>(step->premise1())->index()) << "the proof belongs to that conflict";
  EXPECT_EQ(1, dynamic_cast<const LaHyp*>(step->premise2())->index());
  p.pop(2);
  EXPECT_TRUE(p.check());
}

TEST(TrapFailedPush, AnEqualityBuriedUnderAnother) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 = 2; c3: x2 = 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_FALSE(p.push(3));
  p.pop();
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
}

// The push of c3 fails at once because of the failed check; the pop of c4 clears the conflict.
TEST(TrapFailedPush, RefusedAfterAFailedCheckAndBuriedItStillCounts) {
  for (bool proofs : {false, true}) {
    Problem p(proofs);
    p.rows("x3 = x1 + x2");
    p.bounds("c0: x1 >= 1; c1: x2 >= 1; c2: x3 <= 1; c3: x1 <= 0; c4: x9 >= 0");
    EXPECT_TRUE(p.push_all({0, 1, 2}));
    EXPECT_FALSE(p.check());
    EXPECT_FALSE(p.push(3));
    EXPECT_FALSE(p.push(4));
    p.pop();
    EXPECT_FALSE(p.check());
    EXPECT_EQ((std::set<int>{0, 1, 2}), p.conflict_set());
    EXPECT_EQ(proofs, p.solver.conflict_proof_ != nullptr);
    p.pop(2);
    EXPECT_TRUE(p.check());
  }
}

TEST(TrapFailedPush, IsForgottenWhenItIsPopped) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x1 <= 3; c4: x2 >= 1");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  p.pop();
  EXPECT_TRUE(p.push_all({3, 4}));
  EXPECT_TRUE(p.check());
}

TEST(TrapFailedPush, UnderAnEquationEntry) {
  Problem p;
  p.rows("e7: x3 = x1");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  p.add_equation(7);
  p.pop();
  EXPECT_FALSE(p.check());
}

// ---- late equations ----

// x1 is non-basic with a value and a bound when the equation makes it basic.
TEST(TrapLateEquation, TheNewBasicVariableIsChecked) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x4 <= 0; c3: x5 <= 0; c4: x3 >= 0; c5: x2 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.rows("x1 = x4 + x5");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
}

TEST(TrapLateEquation, BetweenTwoPushesWithoutACheck) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x2 >= 5; c3: x3 <= 9");
  EXPECT_TRUE(p.push(1));
  p.rows("x3 = x1 + x2");
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapLateEquation, AfterAFailedCheck) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 <= 3; c3: x2 >= 0; c4: x4 <= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  p.pop();
  p.rows("x4 = x1 + x3; x5 = x2 - x3");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapLateEquation, OverEliminatedVariablesWithBoundsElsewhere) {
  Problem p;
  p.rows("x11 = x1 + x2; x12 = x2 + x3; x13 = x3 - x1");
  p.bounds("c1: x11 >= 4; c2: x12 <= 1; c3: x13 >= 0; c4: x14 >= 0; c5: x15 <= -1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.rows("x14 = x1 + x3");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  p.rows("x15 = x1 - x3");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check()) << "x13 = x12 - x11 <= -3";
}

TEST(TrapLateEquation, ThatOnlyTiesBoundedVariablesTogether) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x2 <= 4");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.rows("0 = x1 - x2");
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
}

TEST(TrapLateEquation, ThatForcesABoundedVariableToZero) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({2, 1}));
  EXPECT_TRUE(p.check());
  p.rows("x1 = 0");
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{1}), p.solver.conflict_);
  p.pop();
  EXPECT_TRUE(p.check());
}

// ---- variables set aside ----

TEST(TrapEliminated, AVariableForcedToZeroComesBackForcedToZero) {
  Problem p;
  p.rows("x1 = 0; x3 = x2 + x1");
  p.bounds("c1: x3 >= 5; c2: x2 <= 9");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.bounds("c3: x1 >= 1");
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapEliminated, TwoVariablesForcedEqualStayEqual) {
  Problem p;
  p.rows("0 = x1 - x2");
  p.bounds("c1: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.bounds("c2: x1 >= 1; c3: x2 <= 0");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_FALSE(p.check());
}

TEST(TrapEliminated, AVariableThatComesBackKeepsItsMeaning) {
  Problem p;
  p.rows("x11 = x1 + x2; x12 = x1 - x2");
  p.bounds("c1: x11 = 4; c2: x12 = 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("3", p.value(1));
  EXPECT_EQ("1", p.value(2));
  p.bounds("c3: x1 < 3; c4: x2 >= 1");
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapEliminated, ComingBackWhileSavedAndCurrentValuesDiffer) {
  Problem p;
  p.rows("x11 = x1 + x2; x12 = 2*x1 + x3");
  p.bounds("c1: x11 >= 4; c2: x12 <= -2; c3: x2 >= 1; c4: x11 <= 4");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push_all({2, 4}));
  p.bounds("c5: x1 >= 3; c6: x3 >= -8; c7: x2 >= 2");
  EXPECT_TRUE(p.push(5));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(6));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(7));
  EXPECT_FALSE(p.check());
}

TEST(TrapEliminated, ManyComeBackOneAfterTheOther) {
  Problem p;
  p.rows("x11 = x1 + x2; x12 = x2 + x3; x13 = x3 + x4; x14 = x4 + x5; x15 = x1 + x3 + x5");
  p.bounds("c1: x11 >= 1; c2: x12 >= 1; c3: x13 >= 1; c4: x14 >= 1; c5: x15 <= 3");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5}));
  EXPECT_TRUE(p.check());
  for (int v : {3, 5, 1, 2, 4}) {
    const std::string n = std::to_string(v);
    p.bounds("c2" + n + ": x" + n + " >= 1");
    EXPECT_TRUE(p.push(20 + v));
    EXPECT_TRUE(p.check());
  }
  p.bounds("c30: x15 < 3");
  EXPECT_TRUE(p.push(30));
  EXPECT_FALSE(p.check());
}

// ---- retracted equations and bounds ----

TEST(TrapRetract, AnEquationToldAgainDoesNotLinkOldAndNewDefinitions) {
  Problem p;
  p.rows("e7: x5 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x5 <= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.retract_equation(7, 5);
  p.rows("e7: x5 = x1 - x2");
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.check());
  p.bounds("c3: x2 >= 50; c4: x1 >= 53; c5: x1 > 53; c6: x2 <= 50");
  EXPECT_TRUE(p.push_all({3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push_all({5, 6}));
  EXPECT_FALSE(p.check());
}

// x3 is in no row any more: only the stored equation of the eliminated x1 mentions it.
TEST(TrapRetract, OfAVariableThatOnlyEliminatedOnesMention) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  p.pop(2);
  p.retract_equation(7, 3);
  p.rows("e7: x3 = x4 + x2");
  p.bounds("c3: x1 <= -100; c4: x4 <= 0; c5: x2 <= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check()) << "x1 has nothing to do with x3 any more";
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_FALSE(p.check());
}

TEST(TrapRetract, OfAVariableWhoseRowWasSetAsideFree) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x3 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(2));
  p.pop();
  p.retract_equation(7, 3);
  p.bounds("c2: x1 >= 1; c3: x2 >= 1; c4: x3 <= 0");
  EXPECT_TRUE(p.push_all({2, 3, 4}));
  EXPECT_TRUE(p.check());
  p.rows("e8: x3 = x1 + x2");
  EXPECT_FALSE(p.check());
}

TEST(TrapRetract, AfterAFailedCheck) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e8: x4 = x1 - x2");
  p.bounds("c1: x1 >= 5; c2: x3 <= 3; c3: x2 >= 0; c4: x4 <= 4");
  EXPECT_TRUE(p.push_all({1, 3, 2}));
  EXPECT_FALSE(p.check());
  p.pop();
  p.retract_equation(7, 3);
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  p.bounds("c5: x2 < 1; c6: x1 >= 5");
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check());
}

TEST(TrapRetract, ABoundAndThenAFailedCheck) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x2 >= 5; c3: x3 <= 9; c4: x3 <= 8");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.retract_bound(4);
  p.retract_bound(3);
  EXPECT_TRUE(p.check());
  p.bounds("c3: x3 <= 9");
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
}

// A model was built, so the table holds a value for the eliminated x1; retracting x3 then leaves x1 free.
TEST(TrapRetract, AnEliminatedVariableThatBecomesFreeComesBackWithOneValueInBothAssignments) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 >= 1; c3: x9 >= 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  p.solver.build_model({});
  p.pop(2);
  p.retract_equation(7, 3);
  p.rows("x9 = x1 + x2");
  EXPECT_TRUE(p.check());
  p.bounds("c4: x1 >= 3; c5: x2 >= 3; c6: x9 <= 5");
  EXPECT_TRUE(p.push_all({4, 5, 6}));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
}

// ---- marks made by looking ----

TEST(TrapLooking, QueriesAndDumpsMakeNoVariableBasic) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 0; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  const auto rows_before = p.solver.tableau_.rows().num_present();
  const auto bounds_before = p.solver.var_bounds_.size();
  QNumber q;
  for (int v = 0; v < 60; ++v) {
    p.value(v);
    p.lower(v);
    p.solver.get_value(v, &q);
    p.solver.get_floor_value(v, &q);
    p.solver.are_equal(v, 60 - v);
    p.solver.tableau_.is_basic(v);
  }
  EXPECT_EQ(rows_before, p.solver.tableau_.rows().num_present());
  EXPECT_EQ(bounds_before, p.solver.var_bounds_.size());
  EXPECT_TRUE(p.check());
}

// ---- infinities ----

TEST(TrapInfinity, UnboundedVariablesNeverBlockARow) {
  Problem p;
  p.rows("x3 = x1 - x2");
  p.bounds("c1: x1 <= 0; c2: x3 >= 1000000; c3: x2 >= -999999");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(TrapInfinity, ZeroAndOneAgainstInfiniteBounds) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = -1*x1");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 <= 0; c4: x3 < 0; c5: x4 >= 0; c6: x2 >= 1; c7: x3 <= 1; c8: x1 > 0");
  EXPECT_TRUE(p.push_all({1, 2, 7}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(6));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(5));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.check());
}

// ---- longer walks ----

// Throws at the given poll.
struct Interrupter : TerminationTest {
  void operator()() const override {
    if (--polls_left == 0) throw 0;
  }
  mutable int polls_left = 0;
};

// Random legal steps; everything is judged by the fixture.
class TrapWalk : public testing::TestWithParam<unsigned> {
 protected:
  static constexpr int kVars = 10;
  std::mt19937 random{GetParam()};
  Problem p{GetParam() % 2 == 0};
  Interrupter interrupter;
  Ints stack;                                  // asserted bounds
  Ints told;                                   // told bounds, in order
  std::vector<std::pair<int, int>> equations;  // index and defining variable
  int next_bound = 1;
  int next_equation = 1000;

  int draw(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }
  bool on_stack(int c) const { return std::find(stack.begin(), stack.end(), c) != stack.end(); }

  void tell_bound() {
    static const char* const relations[] = {">=", "<=", "=", "<", ">", "!="};
    static const char* const numbers[] = {"0", "1", "-1", "2", "-2", "1/2", "0", "100000000000000000000"};
    if (told.size() > 30) return;
    told.push_back(next_bound);
    p.bounds("c" + std::to_string(next_bound++) + ": x" + std::to_string(1 + draw(kVars)) + relations[draw(6)] +
             numbers[draw(8)]);
  }

  void tell_equation() {
    static const char* const factors[] = {"1", "-1", "1", "2", "-1/3"};
    if (equations.size() > 6 || p.solver.in_conflict_) return;
    const int defined = 1 + draw(kVars);
    Equation eq(defined);
    for (int i = draw(4); i >= 0; --i) {
      const int var = 1 + draw(kVars);
      if (var != defined) eq.add_term(var, test::rational(factors[draw(5)]));
    }
    equations.emplace_back(next_equation, defined);
    p.tell(next_equation++, eq);
  }

  void retract() {
    // A pending or remembered conflict and a standing implication may rest on what is retracted.
    if (p.solver.in_conflict_ || p.solver.failed_height_ != 0 || p.solver.num_implied_ != 0) return;
    if (draw(2) == 0 && !equations.empty()) {
      p.retract_equation(equations.back().first, equations.back().second);
      equations.pop_back();
    } else if (!told.empty() && !on_stack(told.back())) {
      p.retract_bound(told.back());
      told.pop_back();
    }
  }

  void push() {
    if (told.empty()) return;
    const int c = told[static_cast<std::size_t>(draw(static_cast<int>(told.size())))];
    if (on_stack(c)) return;
    stack.push_back(c);
    if (!p.push(c) && draw(3) != 0) pop();
  }

  void check() {
    interrupter.polls_left = draw(4) == 0 ? 1 + draw(3) : 0;
    p.solver.termination_test_ = &interrupter;
    const bool partial = draw(2) == 0;
    try {
      if (p.check(partial) && !partial && draw(3) == 0) {
        p.solver.build_model({});
        p.expect_model_fits();
      }
    } catch (int) {
      EXPECT_FALSE(p.solver.in_conflict_);
    }
    p.expect_invariants("after a check or a model");
  }

  void look_at_implications() {
    int c = 0;
    Ints reason;
    while (p.solver.next_implied(&c, &reason)) EXPECT_TRUE(p.follows(c, reason)) << "c" << c;
  }

  void step() {
    const int kind = draw(24);
    if (kind < 2) tell_equation();
    if (kind >= 2 && kind < 6) tell_bound();
    if (kind >= 6 && kind < 15) push();
    if (kind >= 15 && kind < 18 && !stack.empty()) pop();
    if (kind >= 18 && kind < 23) check();
    if (kind == 23 && draw(3) == 0) retract();
    look_at_implications();
  }

  void pop() {
    p.pop();
    stack.pop_back();
  }
};

TEST_P(TrapWalk, EveryStepIsJudged) {
  p.solver.propagation_level_ = draw(3);
  for (int i = 0; i < 150 && !HasFailure(); ++i) step();
  EXPECT_FALSE(HasFailure()) << "seed " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Seeds, TrapWalk, testing::Range(1u, 201u));

}  // namespace
}  // namespace tarku::la

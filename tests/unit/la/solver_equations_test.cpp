// Equations told to the solver: early, late, twice, dependent, contradictory, retracted; and their evaluation.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::equation;
using test::output_of;
using test::Problem;
using test::show_rows;

std::set<int> changed(const Problem& p) {
  return {p.solver.changed_vars_.begin(), p.solver.changed_vars_.end()};
}

// ---- add_equation ----

TEST(AddEquation, OnlyPutsAnEntryOnTheStack) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.add_equation(7);
  EXPECT_EQ((std::vector<std::pair<int, int>>{{7, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ(0u, p.solver.num_pushed_);
  EXPECT_EQ("x3 = x1 + x2", show_rows(p.solver.tableau_));
}

TEST(AddEquation, PoppingRemovesTheEntryAndNothingElse) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.add_equation(7);
  EXPECT_EQ(7, p.pop());
  EXPECT_TRUE(p.solver.constraint_stack_.empty());
  EXPECT_TRUE(p.solver.equations_.contains(7));
  EXPECT_EQ("x3 = x1 + x2", show_rows(p.solver.tableau_));
}

// The count is that of pushed constraints; an equation was never counted in, and a count below 0 would wrap.
TEST(AddEquation, PoppingAnEquationLeavesTheNumberOfPushedConstraints) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 0");
  p.add_equation(7);
  p.pop();
  EXPECT_EQ(0u, p.solver.num_pushed_);
  p.push(1);
  p.add_equation(7);
  EXPECT_EQ(1u, p.solver.num_pushed_);
  p.pop();
  EXPECT_EQ(1u, p.solver.num_pushed_);
  p.pop();
  EXPECT_EQ(0u, p.solver.num_pushed_);
}

TEST(AddEquation, PoppingAnEquationClearsAPendingConflict) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.push(1);
  EXPECT_FALSE(p.push(2));
  p.add_equation(7);
  p.pop();
  EXPECT_FALSE(p.solver.in_conflict_);
}

TEST(AddEquation, Trace) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA - add_equation: 7\n", output_of([&] { p.solver.add_equation(7); }));
  EXPECT_EQ("LA - pop_constraint: 7\n", output_of([&] { p.solver.pop_constraint(); }));
}

// ---- tell_equation before initialisation ----

TEST(TellEquation, AddsARowAndRemembersTheIndex) {
  Problem p;
  p.rows("e7: x3 = x1 + 2*x2");
  EXPECT_TRUE(p.solver.equations_.contains(7));
  EXPECT_EQ("x3 = x1 + 2*x2", show_rows(p.solver.tableau_));
  EXPECT_FALSE(p.solver.initialized_);
}

TEST(TellEquation, Trace) {
  Problem p(false, 1);
  Equation eq = equation("x3 = 2*x1 - 1/2*x2");
  EXPECT_EQ("LA - tell_equation: 7, x3 = 2*x1 + -1/2*x2\n", output_of([&] { p.solver.tell_equation(7, eq); }));
}

TEST(TellEquation, TheSameIndexTwiceAddsOneRow) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e7: x3 = x1 + x2");
  EXPECT_EQ("x3 = x1 + x2", show_rows(p.solver.tableau_));
  EXPECT_EQ(1u, p.solver.equations_.size());
}

TEST(TellEquation, AKnownIndexIsNotLookedAtAgain) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e7: x4 = x1");
  EXPECT_EQ("x3 = x1 + x2", show_rows(p.solver.tableau_));
}

TEST(TellEquation, IsDroppedWhileAConflictIsPending) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.push(1);
  EXPECT_FALSE(p.push(2));
  const std::string before = p.solver.tableau_.to_str();
  p.rows("e8: x4 = x1 - x2");
  EXPECT_FALSE(p.solver.equations_.contains(8));
  EXPECT_EQ(before, p.solver.tableau_.to_str());
}

TEST(TellEquation, ADroppedOneCanBeToldAgainAfterThePop) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x4 <= 1");
  p.push(1);
  EXPECT_FALSE(p.push(2));
  p.rows("e8: x4 = x1");
  p.pop();
  p.rows("e8: x4 = x1");
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

// The entry of an equation without a record is taken off the stack like any other.
TEST(TellEquation, PoppingADroppedEquationOnlyRemovesItsEntry) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.push(1);
  EXPECT_FALSE(p.push(2));
  p.rows("e8: x4 = x1");
  p.add_equation(8);
  const auto records = p.solver.constraints_.size();
  EXPECT_EQ(8, p.pop());
  EXPECT_EQ(records, p.solver.constraints_.size());
  EXPECT_EQ(2u, p.solver.num_pushed_);
  EXPECT_EQ(2u, p.solver.constraint_stack_.size());
}

// ---- constants ----

TEST(TellEquation, AConstantBesideVariablesIsRefusedAndNothingChanges) {
  for (bool initialised : {false, true}) {
    Problem p;
    p.rows("x3 = x1 + x2");
    p.bounds("c1: x3 >= 1; c2: x1 >= 0; c3: x2 >= 0");
    if (initialised) {
      EXPECT_TRUE(p.push(1) && p.check());
    }
    const std::string before = p.solver.tableau_.to_str();
    EXPECT_THROW(p.solver.tell_equation(9, equation("x4 = x1 + x3 + 1")), Exception);
    EXPECT_EQ(before, p.solver.tableau_.to_str());
    EXPECT_FALSE(p.solver.equations_.contains(9));
    p.expect_invariants("after the refusal");
    EXPECT_TRUE(p.check());
  }
}

// Refusing must not bring back what was set aside.
TEST(TellEquation, ARefusedConstantLeavesEliminatedVariablesAside) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 1");
  EXPECT_TRUE(p.push(1) && p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  EXPECT_THROW(p.solver.tell_equation(9, equation("x4 = x1 + 1")), Exception);
  EXPECT_TRUE(p.solver.tableau_.is_eliminated(1));
}

TEST(TellEquation, ALateContradictionMakesEveryLaterCheckFail) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.rows("0 = x3 - x1 - x2 + 1/3");
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.conflict_.empty());
  p.pop();
  EXPECT_FALSE(p.check());
}

TEST(TellEquation, ALateTautologyIsHarmless) {
  Problem p;
  p.bounds("c1: x1 >= 0");
  EXPECT_TRUE(p.push(1));
  p.rows("0 = 0; x2 = x1; 0 = x2 - x1");
  EXPECT_TRUE(p.check());
}

// ---- tell_equation after initialisation ----

TEST(TellEquationLate, GivesTheNewVariableItsValueInBothAssignments) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x2 >= 7");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.rows("x3 = x1 + 2*x2");
  EXPECT_EQ("19", p.solver.cur_beta_.get(3).to_str());
  EXPECT_EQ("19", p.solver.saved_beta_.get(3).to_str());
  EXPECT_EQ(1u, changed(p).count(3));
}

TEST(TellEquationLate, ATermOfTheDefiningVariableIsNotCountedIntoItsValue) {
  for (const char* own : {"-1", "2"}) {
    Problem p;
    p.bounds("c1: x1 >= 5; c2: x3 >= 7");
    EXPECT_TRUE(p.push_all({1, 2}));
    EXPECT_TRUE(p.check());
    Equation eq(3);
    eq.add_term(1, QNumber(4));
    eq.add_term(3, test::rational(own));
    p.pop();
    p.tell(50, eq);
    EXPECT_EQ(own[0] == '2' ? "-10" : "20", p.value(3));
    EXPECT_TRUE(p.check());
  }
}

TEST(TellEquationLate, KeepsTheTwoAssignmentsApart) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x1 >= 8");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(2));  // moves the current value only
  p.rows("x3 = 2*x1");
  EXPECT_EQ("16", p.solver.cur_beta_.get(3).to_str());
  EXPECT_EQ("10", p.solver.saved_beta_.get(3).to_str());
}

TEST(TellEquationLate, GivesEveryNewVariableItsSlots) {
  Problem p;
  p.bounds("c1: x1 >= 5");
  EXPECT_TRUE(p.push(1));
  p.rows("x300 = x1 + x200");
  for (int v : {1, 200, 300}) {
    auto length = static_cast<std::size_t>(v);
    EXPECT_GT(p.solver.var_bounds_.size(), length);
    EXPECT_GT(p.solver.cur_beta_.size(), length);
    EXPECT_GT(p.solver.saved_beta_.size(), length);
  }
  p.bounds("c2: x300 <= 5; c3: x200 >= 1/2");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_FALSE(p.check());
}

TEST(TellEquationLate, RaisesThePivotLimitToTheNumberOfVariables) {
  Problem p;
  p.bounds("c1: x1 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ(20u, p.solver.pivot_limit_);
  std::string sum = "x40 = x1";
  for (int v = 2; v < 40; ++v) sum += " + x" + std::to_string(v);
  p.rows(sum);
  EXPECT_EQ(40u, p.solver.pivot_limit_);
}

TEST(TellEquationLate, NeverLowersThePivotLimit) {
  Problem p;
  p.bounds("c1: x1 >= 5");
  EXPECT_TRUE(p.push(1));
  p.solver.pivot_limit_ = 1000;
  p.rows("x3 = x1 + x2");
  EXPECT_EQ(1000u, p.solver.pivot_limit_);
}

TEST(TellEquationLate, ForgetsCachedAbstractValues) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.value(1);
  EXPECT_FALSE(p.solver.abstract_values_.empty());
  p.rows("x4 = x1 + x3");
  EXPECT_TRUE(p.solver.abstract_values_.empty());
  EXPECT_TRUE(p.check());
}

TEST(TellEquationLate, ADependentEquationChangesNoAnswer) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 1; c3: x3 <= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.rows("x1 = x3 - x2; x3 = x2 + x1");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

// x1 is bounded, non-basic and in use when an equation defines it.
TEST(TellEquationLate, MayDefineABoundedVariableThatIsInUse) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x4 <= 0; c3: x5 <= 0; c4: x2 >= 0; c5: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.rows("x1 = x4 + x5");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2, 3}), p.conflict_set());
}

TEST(TellEquationLate, ViolatedNewBasicsAreRepairedByTheNextCheck) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x2 >= 0; c5: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.rows("x1 = x4 + x5");
  EXPECT_TRUE(p.check());
  EXPECT_EQ("", p.solver.check_queue());
}

// The value that an eliminated variable has in the table is stale; its meaning is its equation.
TEST(TellEquationLate, MayMentionEliminatedVariables) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 6; c2: x2 <= 1; c3: x7 <= 4");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  p.rows("x7 = x1 + x3");  // at least 5 + 6
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2, 3}), p.conflict_set());
}

TEST(TellEquationLate, MayMentionBasicVariables) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 3; c3: x3 >= 0; c4: x4 <= 6");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  p.rows("x4 = x3 + x1");
  EXPECT_EQ("7", p.value(4));
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
}

TEST(TellEquationLate, MayDefineAVariableThatIsBasicAlready) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 1; c3: x3 >= 0; c4: x4 <= 1; c5: x5 <= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  p.rows("x3 = x4 + x5");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_FALSE(p.check());
}

// ---- fix_after_uneliminate ----

TEST(FixAfterUneliminate, GrowsTheAssignmentsToTwiceTheirSizeOrWhatIsNeeded) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x9 >= 0");
  EXPECT_TRUE(p.push(1));
  const std::size_t before = p.solver.cur_beta_.size();
  ASSERT_LT(before, 9u);
  p.rows("x9 = x1");
  EXPECT_EQ(std::max<std::size_t>(2 * before, 10), p.solver.cur_beta_.size());
}

TEST(FixAfterUneliminate, EvaluatesTheGivenRowsAndTheEquation) {
  Problem p;
  p.solver.eliminate_unconstrained_ = false;
  p.rows("x3 = x1 + x2; x4 = x1 - x2");
  p.move(1, "5");
  p.move(2, "3");
  Solver& s = p.solver;
  for (int v : {1, 2}) s.saved_beta_[v] = s.cur_beta_[v];
  for (int v : {3, 4}) s.cur_beta_[v] = s.saved_beta_[v] = dnum("99");  // stale
  s.changed_vars_.clear();
  s.fix_after_uneliminate(equation("x4 = x1 - x2"), {3});
  EXPECT_EQ("8", s.cur_beta_[3].to_str());
  EXPECT_EQ("8", s.saved_beta_[3].to_str());
  EXPECT_EQ("2", s.cur_beta_[4].to_str());
  EXPECT_EQ("2", s.saved_beta_[4].to_str());
  p.expect_invariants("after the repair");
}

TEST(FixAfterUneliminate, QueuesEvaluatedBasicsThatLeaveTheirBounds) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 0; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  Solver& s = p.solver;
  ASSERT_TRUE(s.tableau_.is_basic(3));
  s.violated_basics_.clear();
  s.fix_after_uneliminate(equation("x3 = x1 + x2"), {3});
  EXPECT_TRUE(s.violated_basics_.contains(3));
}

// ---- a bound told late ----

TEST(TellBoundLate, BringsAnEliminatedVariableBackWithTheRightValue) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 6; c2: x2 = 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  p.bounds("c3: x1 <= 3");
  EXPECT_FALSE(p.solver.tableau_.is_eliminated(1));
  EXPECT_EQ("4", p.value(1));
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2, 3}), p.conflict_set());
}

// Both x1 and x2 were set aside, x1 with an equation that mentions x2.
TEST(TellBoundLate, BringsAChainOfEliminatedVariablesBack) {
  Problem p;
  p.rows("x3 = x1 + x2; x5 = x1 + x4");
  p.bounds("c1: x3 >= 6; c2: x5 <= -6");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.bounds("c3: x1 = 0; c4: x2 <= 5; c5: x4 >= -5");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check());
}

TEST(TellBoundLate, AFreeVariableIsNotForcedToZero) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 6");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.bounds("c2: x2 >= 7; c3: x1 >= 8; c4: x3 <= 15");
  EXPECT_TRUE(p.push_all({2, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
}

TEST(TellBoundLate, ForgetsTheCachedValue) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 6; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.value(1);
  p.bounds("c3: x1 >= 20");
  EXPECT_TRUE(p.solver.abstract_values_.empty());
  EXPECT_TRUE(p.push(3));
  EXPECT_EQ(p.solver.cur_beta_.get(1).to_str(), p.value(1));
}

TEST(TellBoundLate, IsAllowedWhileAConflictIsPending) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 6; c2: x3 <= 5; c3: x2 = 1");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_FALSE(p.push(2));
  p.bounds("c4: x1 <= 4");
  EXPECT_FALSE(p.solver.tableau_.is_eliminated(1));
  p.pop();
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
}

TEST(TellBoundLate, RaisesThePivotLimitToTheNumberOfVariables) {
  Problem p;
  std::string sum = "x30 = x1";
  for (int v = 2; v < 30; ++v) sum += " + x" + std::to_string(v);
  p.rows(sum);
  for (int v = 1; v < 30; ++v) p.bounds("c" + std::to_string(v) + ": x" + std::to_string(v) + " >= 0");
  p.push(1);
  EXPECT_EQ(29u, p.solver.pivot_limit_);
  p.bounds("c30: x30 >= 1");
  EXPECT_EQ(30u, p.solver.pivot_limit_);
}

// ---- eval_equation ----

TEST(EvalEquation, SkipsTheDefiningVariableWhenAsked) {
  Solver s(false, 0);
  Equation eq = equation("x1 = 2*x2 + 3*x3");
  eq.add_term(1, QNumber(-1));
  Solver::Values values;
  for (const char* current : {"0", "77", "-1/3+delta"}) {
    values[1] = dnum(current);
    values[2] = dnum("1");
    values[3] = dnum("2");
    EXPECT_EQ("8", s.eval_equation(eq, values, true).to_str());
  }
}

TEST(EvalEquation, CountsTheDefiningVariableOtherwise) {
  Solver s(false, 0);
  Equation eq = equation("x1 = 2*x2 + 3*x3");
  eq.add_term(1, QNumber(-1));
  Solver::Values values;
  values[1] = dnum("5");
  values[2] = dnum("1");
  values[3] = dnum("2");
  EXPECT_EQ("3", s.eval_equation(eq, values, false).to_str());
}

TEST(EvalEquation, KeepsDeltaParts) {
  Solver s(false, 0);
  Solver::Values values;
  values[2] = dnum("1-delta");
  values[3] = dnum("1/2+3*delta");
  EXPECT_EQ("1/2-11*delta", s.eval_equation(equation("x1 = 2*x2 - 3*x3"), values, true).to_str());
}

TEST(EvalEquation, VariablesBeyondTheEndReadAsZeroAndTheMapDoesNotGrow) {
  Solver s(false, 0);
  Solver::Values values;
  values[2] = dnum("7");
  const std::size_t length = values.size();
  EXPECT_EQ("7", s.eval_equation(equation("x1 = x2 + 5*x900"), values, true).to_str());
  EXPECT_EQ(length, values.size());
}

TEST(EvalEquation, WithoutTermsIsZero) {
  Solver s(false, 0);
  Solver::Values values;
  EXPECT_EQ("0", s.eval_equation(Equation(3), values, true).to_str());
  EXPECT_EQ("0", s.eval_equation(Equation(), values, false).to_str());
}

TEST(EvalEquation, VariableZeroCounts) {
  Solver s(false, 0);
  Solver::Values values;
  values[0] = dnum("4");
  EXPECT_EQ("8", s.eval_equation(equation("x1 = 2*x0"), values, true).to_str());
}

// ---- retract_equation ----

TEST(RetractEquation, ZeroesBothValuesAndForgetsTheIndex) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 >= 0; c3: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("6", p.value(3));
  p.retract_equation(7, 3);
  EXPECT_EQ("0", p.solver.cur_beta_.get(3).to_str());
  EXPECT_EQ("0", p.solver.saved_beta_.get(3).to_str());
  EXPECT_FALSE(p.solver.equations_.contains(7));
  EXPECT_EQ("", show_rows(p.solver.tableau_));
}

TEST(RetractEquation, TheZeroIsAValueOfItsOwnThatBothAssignmentsShare) {
  Problem p;
  p.rows("e7: x3 = x1");
  p.bounds("c1: x1 >= 5; c2: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  p.retract_equation(7, 3);
  EXPECT_FALSE(p.solver.cur_beta_.get(3).is_same(DNumber::zero));
  EXPECT_TRUE(p.solver.cur_beta_.get(3).is_same(p.solver.saved_beta_.get(3)));
}

TEST(RetractEquation, UnknownIndexIsTolerated) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.solver.retract_equation(99, 3);
  EXPECT_TRUE(p.solver.equations_.contains(7));
  EXPECT_EQ("", show_rows(p.solver.tableau_));
}

TEST(RetractEquation, BeforeInitialisationTheVariableIsFreeAgain) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 <= 0; c2: x2 <= 0; c3: x3 >= 1");
  p.retract_equation(7, 3);
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
}

// Setting up sizes the tables by what is left; the retracted variable lies beyond them.
TEST(RetractEquation, BeforeInitialisationOfTheLargestVariable) {
  Problem p;
  p.rows("e7: x30 = x1; e8: x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x30 <= 0");
  p.retract_equation(7, 30);
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
}

TEST(RetractEquation, TheVariableMayBeDefinedAnew) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 1; c3: x3 <= 1; c4: x1 <= 2");
  EXPECT_TRUE(p.push_all({1, 2, 4}));
  EXPECT_TRUE(p.check());
  p.retract_equation(7, 3);
  p.rows("e7: x3 = x1 - x2");
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.equations_.contains(7));
}

// x3 has left the basis; the variable that takes its place may stand outside its bounds.
TEST(RetractEquation, OfAVariableThatHasBecomeNonBasic) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e8: x4 = x1 - x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 0; c3: x2 >= 0; c4: x4 >= 9; c5: x1 <= 8");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  ASSERT_FALSE(p.solver.tableau_.is_basic(3));
  p.pop(3);
  p.retract_equation(7, 3);
  EXPECT_EQ("", p.solver.check_rows());
  EXPECT_TRUE(p.push_all({2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check());
}

TEST(RetractEquation, PartnerOutsideItsBoundsIsRepaired) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e8: x4 = x1 + 3*x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 7; c3: x2 >= 0; c4: x4 >= 0; c5: x1 <= 6");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(2));  // x1 is basic by now: only queued
  p.retract_equation(7, 3);
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.push(5));
}

TEST(RetractEquation, OfAnEliminatedVariable) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(3));
  p.retract_equation(7, 3);
  EXPECT_FALSE(p.solver.tableau_.is_eliminated(3));
  p.rows("e7: x3 = x1 - x2");
  p.bounds("c3: x3 <= -3; c4: x2 <= 4");
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
}

// The eliminated x5 was remembered in terms of x3; after x3 got a new meaning x5 keeps the old one.
TEST(RetractEquation, EliminatedVariablesDoNotFollowTheNewMeaning) {
  Problem p;
  p.rows("e7: x3 = x1 + x2; e8: x5 = x3 + x4");
  p.bounds("c1: x3 >= 3; c2: x1 >= 1; c3: x2 >= 0; c4: x4 = 0");
  EXPECT_TRUE(p.push_all({2, 3, 4, 1}));
  EXPECT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(5));
  p.pop();
  p.retract_equation(7, 3);
  p.rows("e7: x3 = x1 - x2");
  p.bounds("c5: x5 <= 2; c6: x1 >= 2; c7: x2 >= 1; c8: x3 >= 1");
  EXPECT_TRUE(p.push_all({6, 7, 8}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check()) << "x5 is still x1 + x2";
}

TEST(RetractEquation, LeavesNoTraceInTheQueues) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 0; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.solver.rows_to_propagate_.insert(3);
  EXPECT_TRUE(p.solver.violated_basics_.contains(3));
  p.value(3);
  p.retract_equation(7, 3);
  EXPECT_FALSE(p.solver.violated_basics_.contains(3));
  EXPECT_FALSE(p.solver.rows_to_propagate_.contains(3));
  EXPECT_TRUE(p.solver.abstract_values_.empty());
}

// The asserted entry of a retracted equation is popped like that of a told one.
TEST(RetractEquation, ItsStackEntryCanStillBePopped) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.bounds("c1: x1 >= 0");
  p.push(1);
  p.add_equation(7);
  p.retract_equation(7, 3);
  EXPECT_EQ(7, p.pop());
  EXPECT_EQ(1u, p.solver.num_pushed_);
  EXPECT_FALSE(p.solver.constraints_.contains(7));
}

}  // namespace
}  // namespace tarku::la

// The invariant checkers of the solver: each notices what it is there for, and none cries without need.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::Problem;

// A solved little problem with two basic variables (x3, x4), bounds of both sides and a committed assignment.
class Invariants : public testing::Test {
 protected:
  void SetUp() override {
    p.rows("x3 = x1 + x2; x4 = x1 - x2");
    p.bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x3 <= 10; c4: x4 >= -5; c5: x1 <= 7; c6: x3 >= 9");
    ASSERT_TRUE(p.push_all({1, 2, 3, 4, 5}));
    ASSERT_TRUE(p.check());
    ASSERT_TRUE(s.tableau_.is_basic(3));
    ASSERT_TRUE(s.tableau_.is_basic(4));
    all_fine();
  }

  void all_fine() const {
    EXPECT_EQ("", s.check_rows());
    EXPECT_EQ("", s.check_nonbasic());
    EXPECT_EQ("", s.check_queue());
    EXPECT_EQ("", s.check_links());
    EXPECT_EQ("", s.check_stack());
    EXPECT_EQ("", s.check_invariants());
  }

  Problem p;
  Solver& s = p.solver;
};

TEST_F(Invariants, HoldInAFreshSolver) {
  Solver fresh(false, 0);
  EXPECT_EQ("", fresh.check_invariants());
  fresh.initialize();
  EXPECT_EQ("", fresh.check_invariants());
}

TEST_F(Invariants, CheckersChangeNothing) {
  const auto length = s.var_bounds_.size();
  const auto rows = s.tableau_.rows().num_present();
  for (int i = 0; i < 3; ++i) all_fine();
  EXPECT_EQ(length, s.var_bounds_.size());
  EXPECT_EQ(rows, s.tableau_.rows().num_present());
}

// ---- ROWS ----

TEST_F(Invariants, RowsNoticesAWrongCurrentValue) {
  s.cur_beta_[3] = dnum("3+delta");
  EXPECT_NE("", s.check_rows());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, RowsNoticesAWrongCurrentValueOfANonBasicVariable) {
  s.cur_beta_[2] = dnum("5/2");
  EXPECT_NE("", s.check_rows());
}

TEST_F(Invariants, RowsNoticesAWrongSavedValue) {
  s.saved_beta_[4] = dnum("0");
  EXPECT_NE("", s.check_rows());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, RowsNoticesAWrongCoefficient) {
  const_cast<Equation&>(s.tableau_.row(4)).add_term(1, QNumber(1, 3));
  EXPECT_NE("", s.check_rows());
}

// ---- NONBASIC ----

TEST_F(Invariants, NonbasicNoticesAValueOutsideItsBounds) {
  s.update(1, dnum("1-delta"), s.cur_beta_);
  EXPECT_NE("", s.check_nonbasic());
  EXPECT_EQ("", s.check_rows());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, NonbasicNoticesAValueAboveItsBounds) {
  s.update(1, dnum("8"), s.cur_beta_);
  EXPECT_NE("", s.check_nonbasic());
}

TEST_F(Invariants, NonbasicNoticesABoundThatWasNotFollowed) {
  s.var_bounds_[2].push_bounds(99, false, dnum("3"), s.var_bounds_[2].upper());
  EXPECT_NE("", s.check_nonbasic());
}

// ---- QUEUE ----

TEST_F(Invariants, QueueNoticesABasicThatIsMissing) {
  ASSERT_TRUE(p.push(6));
  ASSERT_TRUE(s.violated_basics_.contains(3));
  EXPECT_EQ("", s.check_queue());
  s.violated_basics_.clear();
  EXPECT_NE("", s.check_queue());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, QueueNoticesABasicAboveItsBoundThatIsMissing) {
  s.update(2, dnum("9+delta"), s.cur_beta_);
  ASSERT_TRUE(s.violated_basics_.contains(3));
  s.violated_basics_.erase(3);
  EXPECT_NE("", s.check_queue());
}

TEST_F(Invariants, QueueToleratesStaleMembers) {
  s.violated_basics_.insert(3);
  s.violated_basics_.insert(4);
  EXPECT_EQ("", s.check_queue());
}

// ---- LINKS ----

TEST_F(Invariants, LinksNoticesATermWithoutAColumnEntry) {
  p.rows("x8 = x5 + x6");
  const_cast<Equation&>(s.tableau_.row(3)).add_term(5, QNumber(1));
  EXPECT_NE("", s.check_links());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, LinksNoticesAColumnEntryWithoutATerm) {
  const_cast<Equation&>(s.tableau_.row(3)).add_term(2, QNumber(-1));
  EXPECT_NE("", s.check_links());
}

TEST_F(Invariants, LinksNoticesABasicVariableInARow) {
  const_cast<Equation&>(s.tableau_.row(3)).add_term(4, QNumber(1));
  EXPECT_NE("", s.check_links());
}

TEST_F(Invariants, LinksNoticesAZeroCoefficient) {
  const_cast<Equation&>(s.tableau_.row(3)).mutable_terms()[0].coeff = QNumber(0);
  EXPECT_NE("", s.check_links());
}

// ---- STACK ----

TEST_F(Invariants, StackNoticesAMissingLevel) {
  s.var_bounds_[4].pop_bounds();
  EXPECT_NE("", s.check_stack());
  EXPECT_NE("", s.check_invariants());
}

TEST_F(Invariants, StackNoticesALevelThatNobodyPushed) {
  s.var_bounds_[4].push_bounds(4, false, dnum("-4"), s.var_bounds_[4].upper());
  EXPECT_NE("", s.check_stack());
}

TEST_F(Invariants, StackNoticesAnEntryThatWasLost) {
  s.constraint_stack_.pop_back();
  EXPECT_NE("", s.check_stack());
}

TEST_F(Invariants, StackNoticesAnEntryForAnotherVariable) {
  s.constraint_stack_.back().second = 2;
  EXPECT_NE("", s.check_stack());
}

TEST_F(Invariants, StackNoticesAnEntryForAnotherConstraint) {
  s.constraint_stack_.back().first = 6;
  EXPECT_NE("", s.check_stack());
}

TEST_F(Invariants, StackNoticesALevelThatIsNoTighter) {
  s.var_bounds_[3].push_bounds(6, true, s.var_bounds_[3].lower(), dnum("11"));
  s.constraint_stack_.emplace_back(6, 3);
  EXPECT_NE("", s.check_stack());
}

TEST_F(Invariants, StackNoticesABoundOfTheOtherSideThatWasNotCarriedAlong) {
  s.var_bounds_[3].push_bounds(6, false, dnum("9"), dnum("12"));
  s.constraint_stack_.emplace_back(6, 3);
  EXPECT_NE("", s.check_stack());
}

// ---- no false alarms ----

TEST_F(Invariants, HoldAfterAFailedCheckUntilTheNextSearch) {
  p.bounds("c7: x2 >= 9; c8: x3 >= 19/2");
  ASSERT_TRUE(p.push_all({6, 7}));
  ASSERT_TRUE(p.push(8));
  EXPECT_FALSE(p.check());
  all_fine();
  p.pop();
  all_fine();
}

TEST_F(Invariants, HoldWhileAPushConflictIsPending) {
  p.bounds("c7: x1 <= 0");
  EXPECT_FALSE(p.push(7));
  all_fine();
}

TEST_F(Invariants, HoldForAnEqualityOnItsTwoLevels) {
  p.bounds("c7: x1 = 2");
  EXPECT_TRUE(p.push(7));
  all_fine();
  p.pop();
  all_fine();
}

TEST_F(Invariants, AFailedCheckDoesNotExcuseUnrelatedVariables) {
  p.bounds("c7: x2 >= 9");
  ASSERT_TRUE(p.push_all({6, 7}));
  p.bounds("c8: x1 >= 5");
  ASSERT_TRUE(p.push(8));
  EXPECT_FALSE(p.check());
  s.cur_beta_[4] = dnum("777");
  EXPECT_NE("", s.check_invariants());
}

}  // namespace
}  // namespace tarku::la

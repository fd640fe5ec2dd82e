// The Simplex search: selection rules, value movers, check's commit and restore, polling, traces.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/termination_test.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::members;
using test::output_of;
using test::Problem;
using test::show_rows;

using Ints = std::vector<int>;

// A problem whose variables all stay in the tableau, bounded or not.
struct Kept : Problem {
  explicit Kept(const char* equations) {
    solver.eliminate_unconstrained_ = false;
    rows(equations);
  }
  // Pushes the bounds told in `text`; constraint indices must be 1, 2, ... in order.
  void assert_all(const char* text) {
    bounds(text);
    for (std::size_t i = 0; i < test::statements(text).size(); ++i) EXPECT_TRUE(push(++last_));
  }
  int violating(unsigned long iteration) { return solver.get_violating_basic(solver.cur_beta_, iteration); }
  int entering(int basic, bool increase, unsigned long iteration) {
    return solver.get_nonbasic_for_pivoting(solver.cur_beta_, basic, increase, iteration);
  }

 private:
  int last_ = 0;
};

// Counts polls, and throws at the given one.
struct Poll : TerminationTest {
  void operator()() const override {
    if (++count == throw_at) throw throw_at;
  }
  mutable int count = 0;
  int throw_at = 0;
};

// ---- the leaving variable ----

TEST(LeavingVariable, NoneWhenTheQueueIsEmpty) {
  Kept p("x10 = x1 + x2");
  p.solver.initialize();
  EXPECT_EQ(-1, p.violating(1));
  EXPECT_EQ(-1, p.violating(1000));
}

TEST(LeavingVariable, TheShortestRowFirst) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x3; x13 = x1 + x3");
  p.assert_all("c1: x10 >= 1; c2: x11 >= 1; c3: x12 >= 1; c4: x13 >= 1");
  EXPECT_EQ(12, p.violating(1));
}

TEST(LeavingVariable, TheSmallestIndexFromTheThresholdOn) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x3");
  p.assert_all("c1: x10 >= 1; c2: x11 >= 1; c3: x12 >= 1");
  ASSERT_EQ(0u, p.solver.pivot_limit_override_);
  ASSERT_EQ(20u, p.solver.pivot_limit_);
  EXPECT_EQ(12, p.violating(19));
  EXPECT_EQ(10, p.violating(20));
  EXPECT_EQ(10, p.violating(21));
}

TEST(LeavingVariable, TheOverrideReplacesTheLimit) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x3");
  p.assert_all("c1: x10 >= 1; c2: x11 >= 1; c3: x12 >= 1");
  p.solver.pivot_limit_override_ = 1;
  EXPECT_EQ(10, p.violating(1));
  p.solver.pivot_limit_override_ = 50;
  EXPECT_EQ(12, p.violating(49));
  EXPECT_EQ(10, p.violating(50));
}

TEST(LeavingVariable, OfEqualLengthTheOneMetFirst) {
  Kept p("x10 = x1 + x2; x11 = x1 + x3");
  p.assert_all("c1: x10 >= 100; c2: x11 >= 1");
  EXPECT_EQ(10, p.violating(1)) << "although x11 is violated by less";
}

// The gap of an incumbent is whatever the last comparison at equal length left behind.
TEST(LeavingVariable, AGapLeftByAnEarlierComparisonLetsALaterOneWin) {
  Kept p("x20 = x1 + x2 + x3; x21 = x1 + x2 + x4; x22 = x1 + x2; x23 = x1 + x3; x24 = x1 + x4; x25 = x2 + x3");
  p.assert_all("c1: x20 >= 9; c2: x21 >= 7; c3: x22 >= 1; c4: x23 >= 5; c5: x24 >= 6; c6: x25 >= 4");
  // x20; x21 leaves gap 7; x22 is shorter and takes over with 7; x23 (5) wins; x24 (6) does not; x25 (4) wins.
  EXPECT_EQ(25, p.violating(1));
}

TEST(LeavingVariable, TheGapOfALoserIsLeftBehindToo) {
  Kept p("x20 = x1 + x2; x21 = x1 + x3; x22 = x4; x23 = x2; x24 = x3");
  p.assert_all("c1: x20 >= 9; c2: x21 <= -6; c3: x22 >= 1; c4: x23 <= -8; c5: x24 <= -5");
  // x21 loses against gap 0 and leaves 6; x22 takes over with 6; x23 (8) loses; x24 (5) wins.
  EXPECT_EQ(24, p.violating(1));
}

TEST(LeavingVariable, GapsCompareDeltaPartsToo) {
  Kept p("x20 = x1 + x2; x21 = x1 + x3; x22 = x4; x23 = x2");
  p.assert_all("c1: x20 >= 9; c2: x21 > 5; c3: x22 >= 1; c4: x23 >= 5");
  // x22 takes over with 5 + delta, and 5 is smaller.
  EXPECT_EQ(23, p.violating(1));
}

TEST(LeavingVariable, AnEqualGapDoesNotReplaceTheIncumbent) {
  Kept p("x20 = x1 + x2; x21 = x1 + x3; x22 = x4; x23 = x2");
  p.assert_all("c1: x20 >= 9; c2: x21 >= 5; c3: x22 >= 1; c4: x23 >= 5");
  EXPECT_EQ(22, p.violating(1));
}

TEST(LeavingVariable, AHeuristicScanDropsStaleMembers) {
  Kept p("x10 = x1 + x2; x11 = x1 + x3; x12 = x2 + x3");
  p.assert_all("c1: x11 >= 1; c2: x10 >= 0");
  for (int v : {10, 12}) p.solver.violated_basics_.insert(v);
  EXPECT_EQ(11, p.violating(1));
  EXPECT_EQ((Ints{11}), members(p.solver.violated_basics_));
}

TEST(LeavingVariable, ASmallestIndexScanKeepsStaleMembers) {
  Kept p("x10 = x1 + x2; x11 = x1 + x3; x12 = x2 + x3");
  p.assert_all("c1: x11 >= 1; c2: x10 >= 0");
  for (int v : {10, 12}) p.solver.violated_basics_.insert(v);
  EXPECT_EQ(11, p.violating(20));
  EXPECT_EQ((Ints{10, 11, 12}), members(p.solver.violated_basics_));
}

TEST(LeavingVariable, OnlyStaleMembersGiveNone) {
  Kept p("x10 = x1 + x2; x11 = x1 + x3");
  p.solver.initialize();
  for (int v : {10, 11}) p.solver.violated_basics_.insert(v);
  EXPECT_EQ(-1, p.violating(20));
  EXPECT_EQ((Ints{10, 11}), members(p.solver.violated_basics_));
  EXPECT_EQ(-1, p.violating(1));
  EXPECT_TRUE(p.solver.violated_basics_.empty());
}

// A member that is no longer basic has no row whose length could be asked for.
TEST(LeavingVariable, ANonBasicMemberCountsAsStale) {
  Kept p("x10 = x1 + x2");
  p.assert_all("c1: x10 >= 1");
  p.solver.violated_basics_.insert(1);
  p.solver.violated_basics_.insert(999);
  EXPECT_EQ(10, p.violating(20));
  EXPECT_EQ(10, p.violating(1));
  EXPECT_EQ((Ints{10}), members(p.solver.violated_basics_));
}

// ---- the entering variable ----

TEST(EnteringVariable, TheSmallestColumnWins) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x1 + x3; x13 = x3");
  p.solver.initialize();
  ASSERT_EQ(3u, p.solver.tableau_.column_count(1));
  ASSERT_EQ(2u, p.solver.tableau_.column_count(2));
  ASSERT_EQ(3u, p.solver.tableau_.column_count(3));
  EXPECT_EQ(2, p.entering(10, true, 1));
}

TEST(EnteringVariable, OfEqualCountsTheSmallerVariable) {
  Kept p("x10 = x4 + x2 + x3; x11 = x2");
  p.solver.initialize();
  EXPECT_EQ(3, p.entering(10, true, 1));
}

TEST(EnteringVariable, TheFirstSuitableFromTheThresholdOn) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x1");
  p.solver.initialize();
  EXPECT_EQ(3, p.entering(10, true, 19));
  EXPECT_EQ(1, p.entering(10, true, 20));
  p.solver.pivot_limit_override_ = 1;
  EXPECT_EQ(1, p.entering(10, true, 1));
}

TEST(EnteringVariable, UnsuitableOnesArePassedOver) {
  Kept p("x10 = x1 + x2 + x3; x11 = x1 + x2; x12 = x1");
  p.assert_all("c1: x3 <= 0; c2: x1 <= 0");
  EXPECT_EQ(2, p.entering(10, true, 1));
  EXPECT_EQ(2, p.entering(10, true, 20));
  EXPECT_EQ(3, p.entering(10, false, 1));
}

struct Suitability {
  const char* row;
  const char* bound;  // holds x1 in place in one direction
  bool increase;
  bool suitable;
};

class EnteringSuitability : public testing::TestWithParam<Suitability> {};

TEST_P(EnteringSuitability, FollowsSignAndDirection) {
  const Suitability& c = GetParam();
  Kept p(c.row);
  p.assert_all(c.bound);
  for (unsigned long iteration : {1ul, 20ul}) {
    EXPECT_EQ(c.suitable ? 1 : -1, p.entering(10, c.increase, iteration)) << c.row << " " << c.bound;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, EnteringSuitability,
                         testing::Values(Suitability{"x10 = 2*x1", "c1: x1 <= 0", true, false},
                                         Suitability{"x10 = 2*x1", "c1: x1 <= 0", false, true},
                                         Suitability{"x10 = 2*x1", "c1: x1 >= 0", true, true},
                                         Suitability{"x10 = 2*x1", "c1: x1 >= 0", false, false},
                                         Suitability{"x10 = -1/3*x1", "c1: x1 <= 0", true, true},
                                         Suitability{"x10 = -1/3*x1", "c1: x1 <= 0", false, false},
                                         Suitability{"x10 = -1/3*x1", "c1: x1 >= 0", true, false},
                                         Suitability{"x10 = -1/3*x1", "c1: x1 >= 0", false, true},
                                         Suitability{"x10 = x1", "c1: x1 = 0", true, false},
                                         Suitability{"x10 = x1", "c1: x1 = 0", false, false},
                                         Suitability{"x10 = x1", "c1: x1 <= 1", true, true},
                                         Suitability{"x10 = x1", "c1: x1 >= -1", false, true}));

TEST(EnteringVariable, TheRowsOwnTermAndZeroCoefficientsArePassedOver) {
  Kept p("x10 = x1 + x2 + x11; x12 = x2");
  p.solver.initialize();
  auto& row = const_cast<Equation&>(p.solver.tableau_.row(10));
  row.add_term(10, QNumber(-1));
  row.mutable_terms()[0].coeff = QNumber(0);
  std::string text;
  int heuristic = 0;
  int smallest = 0;
  text = output_of([&] {
    heuristic = p.entering(10, true, 1);
    smallest = p.entering(10, true, 20);
  });
  EXPECT_EQ("", text) << "the own term is no basic variable met by mistake";
  EXPECT_EQ(11, heuristic);
  EXPECT_EQ(2, smallest);
}

TEST(EnteringVariable, NoneForARowWithoutTerms) {
  Kept p("x10 = 0");
  p.solver.initialize();
  EXPECT_EQ(-1, p.entering(10, true, 1));
  EXPECT_EQ(-1, p.entering(10, false, 20));
}

TEST(EnteringVariable, ABasicVariableInARowIsReportedAndStillConsidered) {
  Kept p("x10 = x1 + x2; x11 = x2");
  p.solver.initialize();
  const_cast<Equation&>(p.solver.tableau_.row(10)).add_term(11, QNumber(1));
  int entering = 0;
  const std::string text = output_of([&] { entering = p.entering(10, true, 1); });
  EXPECT_EQ(0u, text.find("ERROR: x11 IS BASIC!\n\n\nLA SOLVER, BEGIN DEBUG STATUS\n"));
  EXPECT_NE(std::string::npos, text.find("LA SOLVER, END DEBUG STATUS\n"));
  EXPECT_EQ(11, entering) << "its column is the smallest";
}

// ---- update ----

TEST(Update, MovesTheVariableAndItsColumn) {
  Kept p("x10 = x1 + x2; x11 = -1/2*x1; x12 = x2");
  p.solver.initialize();
  Solver& s = p.solver;
  s.update(1, dnum("4-delta"), s.cur_beta_);
  EXPECT_EQ("4-1*delta", p.value(1));
  EXPECT_EQ("4-1*delta", p.value(10));
  EXPECT_EQ("-2+1/2*delta", p.value(11));
  EXPECT_EQ("0", p.value(12));
  EXPECT_EQ((std::set<int>{1, 10, 11}), std::set<int>(s.changed_vars_.begin(), s.changed_vars_.end()));
  s.update(1, dnum("1"), s.cur_beta_);
  EXPECT_EQ("1", p.value(10));
  EXPECT_EQ("-1/2", p.value(11));
}

TEST(Update, QueuesTheBasicsItPushesOutOfTheirBounds) {
  Kept p("x10 = x1 + x2; x11 = -1*x1; x12 = x1");
  p.assert_all("c1: x10 <= 3; c2: x11 >= -3; c3: x12 <= 5");
  p.solver.update(1, dnum("3"), p.solver.cur_beta_);
  EXPECT_TRUE(p.solver.violated_basics_.empty()) << "on the bound is within";
  p.solver.update(1, dnum("3+delta"), p.solver.cur_beta_);
  EXPECT_EQ((Ints{10, 11}), members(p.solver.violated_basics_));
}

TEST(Update, LeavesTheSavedAssignmentAlone) {
  Kept p("x10 = x1");
  p.solver.initialize();
  p.solver.update(1, dnum("4"), p.solver.cur_beta_);
  EXPECT_EQ("0", p.solver.saved_beta_.get(1).to_str());
  EXPECT_EQ("0", p.solver.saved_beta_.get(10).to_str());
}

TEST(Update, Trace) {
  Kept p("x10 = x1");
  p.solver.initialize();
  Solver& s = p.solver;
  s.verbosity_ = 1;
  EXPECT_EQ("", output_of([&] { s.update(1, dnum("4"), s.cur_beta_); }));
  s.verbosity_ = 2;
  EXPECT_EQ("LA - update: 1, 5+1/2*delta\n", output_of([&] { s.update(1, dnum("5+1/2*delta"), s.cur_beta_); }));
}

// ---- pivot_and_update ----

TEST(PivotAndUpdate, SetsTheLeavingVariableToItsBoundAndMovesTheRest) {
  Kept p("x10 = 2*x1 + x2; x11 = x1 - x2; x12 = x2");
  p.solver.initialize();
  Solver& s = p.solver;
  s.pivot_and_update(10, 1, dnum("5"), s.cur_beta_);
  EXPECT_EQ("5", p.value(10));
  EXPECT_EQ("5/2", p.value(1));
  EXPECT_EQ("5/2", p.value(11));
  EXPECT_EQ("0", p.value(12));
  EXPECT_EQ(1, s.num_pivots_);
  EXPECT_TRUE(s.tableau_.is_basic(1));
  EXPECT_FALSE(s.tableau_.is_basic(10));
  EXPECT_EQ("x1 = -1/2*x2 + 1/2*x10; x11 = -3/2*x2 + 1/2*x10; x12 = x2", show_rows(s.tableau_));
  EXPECT_EQ((std::set<int>{1, 10, 11}), std::set<int>(s.changed_vars_.begin(), s.changed_vars_.end()));
  p.expect_invariants("after the pivot");
}

TEST(PivotAndUpdate, WithANegativeCoefficient) {
  Kept p("x10 = -3*x1 + x2");
  p.solver.initialize();
  Solver& s = p.solver;
  s.pivot_and_update(10, 1, dnum("1+delta"), s.cur_beta_);
  EXPECT_EQ("-1/3-1/3*delta", p.value(1));
  EXPECT_EQ("", s.check_rows());
}

TEST(PivotAndUpdate, QueuesOtherBasicsThatLeaveTheirBounds) {
  Kept p("x10 = x1 + x2; x11 = x1; x12 = x1 - x2");
  p.assert_all("c1: x11 <= 4; c2: x12 <= 5");
  Solver& s = p.solver;
  s.pivot_and_update(10, 1, dnum("5"), s.cur_beta_);
  EXPECT_EQ((Ints{11}), members(s.violated_basics_));
}

TEST(PivotAndUpdate, Trace) {
  Kept p("x10 = x1");
  p.solver.initialize();
  Solver& s = p.solver;
  s.verbosity_ = 1;
  EXPECT_EQ("", output_of([&] { s.pivot_and_update(10, 1, dnum("4"), s.cur_beta_); }));
  s.verbosity_ = 2;
  EXPECT_EQ("LA - pivot_and_update: 1, 10, 1/2-1*delta\n",
            output_of([&] { s.pivot_and_update(1, 10, dnum("1/2-delta"), s.cur_beta_); }));
}

// ---- do_check ----

TEST(DoCheck, WithEverythingWithinBoundsEndsInTheFirstIterationWithoutAPivot) {
  Kept p("x10 = x1 + x2");
  p.assert_all("c1: x1 >= 2; c2: x2 >= 3; c3: x10 >= 5; c4: x10 <= 5");
  Poll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_TRUE(p.solver.do_check(p.solver.cur_beta_));
  EXPECT_EQ(1, poll.count);
  EXPECT_EQ(0, p.solver.num_pivots_);
}

TEST(DoCheck, OnePivotTakesTwoIterations) {
  Kept p("x10 = x1 + x2");
  p.assert_all("c1: x10 >= 5");
  Poll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_TRUE(p.solver.do_check(p.solver.cur_beta_));
  EXPECT_EQ(2, poll.count);
  EXPECT_EQ(1, p.solver.num_pivots_);
  EXPECT_EQ("5", p.value(10));
  EXPECT_FALSE(p.solver.violated_basics_.contains(10));
}

TEST(DoCheck, AStaleMemberCostsNoPivot) {
  Kept p("x10 = x1 + x2");
  p.solver.initialize();
  p.solver.violated_basics_.insert(10);
  Poll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_TRUE(p.solver.do_check(p.solver.cur_beta_));
  EXPECT_EQ(1, poll.count);
  EXPECT_EQ(0, p.solver.num_pivots_);
}

TEST(DoCheck, TheEnteringVariableIsQueuedWhenItLeavesItsBounds) {
  Kept p("x10 = x1");
  p.assert_all("c1: x10 >= 5; c2: x1 <= 3");
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2}), p.conflict_set());
}

// Records what build_conflict_set asks for each other variable of the row.
struct Asked {
  int var;
  bool upper;
  bool positive;
  bool operator==(const Asked& o) const { return var == o.var && upper == o.upper && positive == o.positive; }
};

struct AskingSolver : Solver {
  explicit AskingSolver(bool proofs) : Solver(proofs, 0) {}
  bool should_add_to_conflict(int var, Values& beta, bool upper, bool positive) override {
    asked.push_back({var, upper, positive});
    beta_was_current = beta_was_current && &beta == &cur_beta_;
    return true;
  }
  std::vector<Asked> asked;
  bool beta_was_current = true;
};

TEST(DoCheck, ABlockedRowEndsTheSearchWithOneConflict) {
  auto owned = std::make_unique<AskingSolver>(false);
  AskingSolver& s = *owned;
  Problem p(std::move(owned));
  p.rows("x10 = x1 - x2");
  p.bounds("c1: x1 <= 2; c2: x2 >= 3; c3: x10 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.solver.update(1, dnum("2"), s.cur_beta_);
  Poll poll;
  s.termination_test_ = &poll;
  EXPECT_FALSE(p.check());
  EXPECT_EQ(1, poll.count);
  EXPECT_EQ((std::vector<Asked>{{1, true, true}, {2, false, false}}), s.asked);
  EXPECT_TRUE(s.beta_was_current);
  EXPECT_EQ((Ints{3, 1, 2}), s.conflict_);
  EXPECT_TRUE(s.in_conflict_);
}

TEST(DoCheck, ARowWithoutTermsIsItsOwnConflict) {
  Kept p("x10 = 0");
  p.assert_all("c1: x10 <= 5; c2: x10 >= 1");
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{2}), p.solver.conflict_);
}

TEST(DoCheck, RefusesToRunWhileInConflictAndKeepsTheConflict) {
  Kept p("x10 = x1");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.push(1);
  EXPECT_FALSE(p.push(2));
  Poll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_FALSE(p.solver.do_check(p.solver.cur_beta_));
  EXPECT_EQ("3", p.value(1)) << "nothing was touched";
  EXPECT_FALSE(p.check());
  EXPECT_EQ(0, poll.count);
  EXPECT_EQ((Ints{1, 2}), p.solver.conflict_);
}

TEST(DoCheck, TraceComesFirstEvenInConflict) {
  Kept p("x10 = x1");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.push(1);
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA - check\n", output_of([&] { p.check(); }));
  p.solver.verbosity_ = 0;
  EXPECT_FALSE(p.push(2));
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA - check\n", output_of([&] { p.check(); }));
}

TEST(DoCheck, TraceOfAWholeSearch) {
  Kept p("x10 = 2*x1");
  p.assert_all("c1: x10 >= 5");
  p.solver.verbosity_ = 2;
  EXPECT_EQ("LA - check\nLA - pivot_and_update: 10, 1, 5\n", output_of([&] { p.check(); }));
}

TEST(DoCheck, InitialisesByItself) {
  Problem p;
  p.rows("x10 = x1");
  EXPECT_TRUE(p.solver.do_check(p.solver.cur_beta_));
  EXPECT_TRUE(p.solver.initialized_);
}

TEST(DoCheck, RemembersWhatMovedForPropagation) {
  for (int level : {0, 1, 2}) {
    Kept p("x10 = x1 + x2; x11 = x1 + x3; x12 = x2 + x3");
    p.solver.propagation_level_ = level;
    p.bounds("c1: x10 >= 5; c2: x2 <= 0");
    EXPECT_TRUE(p.push_all({2, 1}));
    EXPECT_TRUE(p.solver.do_check(p.solver.cur_beta_));
    ASSERT_TRUE(p.solver.tableau_.is_basic(1));
    const Ints queued = members(p.solver.rows_to_propagate_);
    EXPECT_EQ(level == 0 ? Ints{} : level == 1 ? Ints{1} : (Ints{1, 10, 11}), queued);
  }
}

// ---- check ----

TEST(Check, MarksTheSolverAsChecked) {
  Problem p;
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.checked_);
}

TEST(Check, IsMarkedAlsoWhenTheSearchThrows) {
  Kept p("x10 = x1");
  Poll poll;
  poll.throw_at = 1;
  p.solver.termination_test_ = &poll;
  EXPECT_THROW(p.solver.check(false), int);
  EXPECT_TRUE(p.solver.checked_);
}

TEST(Check, SuccessCommitsTheValues) {
  Kept p("x10 = x1 + x2");
  p.assert_all("c1: x10 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.check());
  for (int v : {1, 2, 10}) EXPECT_EQ(p.value(v), p.solver.saved_beta_.get(v).to_str()) << v;
  EXPECT_TRUE(p.solver.changed_vars_.empty());
}

TEST(Check, FailureRestoresEveryValue) {
  Kept p("x10 = x1 + x2; x11 = x1 - x2; x12 = x1 + 3*x2");
  p.assert_all("c1: x1 >= 1; c2: x11 >= 2");
  EXPECT_TRUE(p.check());
  p.assert_all("c3: x10 >= 7; c4: x12 <= 6; c5: x2 >= 4");
  EXPECT_FALSE(p.check());
  ASSERT_EQ(p.solver.saved_beta_.size(), p.solver.cur_beta_.size());
  for (int v = 0; v < static_cast<int>(p.solver.cur_beta_.size()); ++v) {
    EXPECT_EQ(p.solver.saved_beta_.get(v).to_str(), p.solver.cur_beta_.get(v).to_str()) << v;
  }
  EXPECT_TRUE(p.solver.changed_vars_.empty());
}

TEST(Check, ClearsTheAbstractValueCache) {
  Problem p;
  p.solver.abstract_values_[7] = dnum("3");
  p.solver.check(false);
  EXPECT_TRUE(p.solver.abstract_values_.empty());
}

TEST(Check, EmptiesTheRowsToPropagateWhateverTheResult) {
  Kept p("x10 = x1");
  p.assert_all("c1: x1 >= 1");
  p.solver.rows_to_propagate_.insert(10);
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.rows_to_propagate_.empty());
  EXPECT_EQ(0u, p.solver.rows_to_propagate_.entries_.size()) << "members and count";
  p.assert_all("c2: x10 <= 0");
  p.solver.rows_to_propagate_.insert(10);
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.rows_to_propagate_.empty());
}

TEST(Check, AFractionClearsValuesIntegralForGood) {
  Kept p("x10 = 2*x1");
  p.assert_all("c1: x1 >= 3");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.values_integral_);
  p.assert_all("c2: x10 >= 7");
  EXPECT_TRUE(p.check());
  EXPECT_EQ("7/2", p.value(1));
  EXPECT_FALSE(p.solver.values_integral_);
  p.assert_all("c3: x1 >= 4");
  EXPECT_TRUE(p.check());
  EXPECT_EQ("4", p.value(1));
  EXPECT_FALSE(p.solver.values_integral_);
}

TEST(Check, ADeltaPartClearsValuesIntegral) {
  Kept p("x10 = x1");
  p.assert_all("c1: x1 > 3");
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.solver.values_integral_);
}

TEST(Check, OneFractionAmongIntegersIsEnough) {
  Kept p("x10 = x1 + x2; x11 = x2");
  p.assert_all("c1: x1 >= 1/2; c2: x2 >= 1/2; c3: x2 >= 7");
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.solver.values_integral_);
}

TEST(Check, ARolledBackFractionLeavesValuesIntegral) {
  Kept p("x10 = x1; x11 = x1");
  p.assert_all("c1: x1 >= 1/2; c2: x10 <= 0");
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.values_integral_);
}

struct OptimisingSolver : Solver {
  OptimisingSolver() : Solver(false, 0) {}
  void additional_optimization_steps(bool& result) override {
    seen.push_back(result);
    committed = changed_vars_.empty();
    if (answer != nullptr) result = *answer;
  }
  std::vector<bool> seen;
  bool committed = false;
  const bool* answer = nullptr;
};

TEST(Check, CallsTheOptimisationHookEvenWhenTheResultIsFalse) {
  OptimisingSolver s;
  s.tell_lower_bound(1, 1, dnum("3"));
  s.tell_upper_bound(2, 1, dnum("2"));
  s.push_constraint(1);
  EXPECT_TRUE(s.check(false));
  s.push_constraint(2);
  EXPECT_FALSE(s.check(false));
  EXPECT_EQ((std::vector<bool>{true, false}), s.seen);
  EXPECT_TRUE(s.committed) << "after values were committed or restored";
}

TEST(Check, ThePartialFormDoesNotCallTheHook) {
  OptimisingSolver s;
  EXPECT_TRUE(s.check(true));
  EXPECT_TRUE(s.seen.empty());
}

TEST(Check, TheHookMayChangeTheResult) {
  OptimisingSolver s;
  const bool no = false;
  s.answer = &no;
  EXPECT_FALSE(s.check(false));
  const bool yes = true;
  s.answer = &yes;
  EXPECT_TRUE(s.check(false));
}

TEST(Check, ThePartialFormPassesOverDisequalities) {
  Kept p("x10 = x1");
  p.assert_all("c1: x1 = 3; c2: x1 != 3");
  Poll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_TRUE(p.check(true));
  EXPECT_EQ(1, poll.count);
}

// ---- interruption ----

// A problem whose search takes several iterations.
void tell_long_search(Problem* p, bool satisfiable) {
  p->rows(
      "x11 = x1 + x2 + x3; x12 = x1 - x2 + 2*x4; x13 = x3 - x4 + x5; x14 = 2*x1 + x5 - x6; x15 = x2 + x4 + x6;"
      "x16 = x11 + x12 + x13");
  p->bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 >= 0; c4: x4 >= 0; c5: x5 >= 0; c6: x6 >= 0");
  p->bounds("c11: x11 >= 4; c12: x12 <= -1; c13: x13 >= 3/2; c14: x14 >= 2; c15: x15 > 1");
  p->bounds(satisfiable ? "c16: x16 >= 20" : "c16: x16 < 2");
}

const Ints kLongSearch{1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16};

class Interruption : public testing::TestWithParam<bool> {};

TEST_P(Interruption, AtAnyIterationTheNextCheckAnswersRight) {
  for (int at = 1; at < 100; ++at) {
    Problem p;
    tell_long_search(&p, GetParam());
    EXPECT_TRUE(p.push_all(kLongSearch));
    Poll poll;
    poll.throw_at = at;
    p.solver.termination_test_ = &poll;
    try {
      p.check();
      EXPECT_LT(3, at) << "the search is long enough to be interrupted in the middle";
      return;
    } catch (int) {
    }
    EXPECT_FALSE(p.solver.in_conflict_);
    p.expect_invariants("after the interruption");
    p.solver.termination_test_ = nullptr;
    EXPECT_EQ(GetParam(), p.check()) << "interrupted at " << at;
  }
}

TEST_P(Interruption, AtAnyIterationPoppingAndGoingOnIsRight) {
  for (int at = 1; at < 100; ++at) {
    Problem p;
    tell_long_search(&p, GetParam());
    EXPECT_TRUE(p.push_all(kLongSearch));
    Poll poll;
    poll.throw_at = at;
    p.solver.termination_test_ = &poll;
    try {
      p.check();
      return;
    } catch (int) {
    }
    p.solver.termination_test_ = nullptr;
    p.pop(3);
    EXPECT_TRUE(p.check());
    EXPECT_TRUE(p.push_all({14, 15, 16}));
    EXPECT_EQ(GetParam(), p.check()) << "interrupted at " << at;
    p.pop(12);
    EXPECT_TRUE(p.check());
  }
}

TEST_P(Interruption, AgainAndAgainStillEnds) {
  Problem p;
  tell_long_search(&p, GetParam());
  EXPECT_TRUE(p.push_all(kLongSearch));
  Poll poll;
  p.solver.termination_test_ = &poll;
  for (int round = 0; round < 200; ++round) {
    poll.count = 0;
    poll.throw_at = 2;  // one pivot for each attempt
    try {
      EXPECT_EQ(GetParam(), p.check());
      return;
    } catch (int) {
    }
  }
  FAIL() << "no end in sight";
}

INSTANTIATE_TEST_SUITE_P(Verdicts, Interruption, testing::Bool());

// ---- termination ----

// Degenerate pivots can go in circles under a careless rule.
TEST(SmallestIndexRule, EndsOnADegenerateProblem) {
  for (std::uint64_t override_limit : {0u, 1u, 2u, 5u}) {
    Problem p;
    p.solver.pivot_limit_override_ = override_limit;
    p.rows(
        "x11 = 1/4*x1 - 60*x2 - 1/25*x3 + 9*x4; x12 = 1/2*x1 - 90*x2 - 1/50*x3 + 3*x4;"
        "x13 = 3/4*x1 - 150*x2 + 1/50*x3 - 6*x4");
    p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 >= 0; c4: x4 >= 0; c5: x3 <= 1; c6: x11 <= 0; c7: x12 <= 0");
    p.bounds("c8: x13 >= 1/20; c9: x13 > 1/20");
    EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_TRUE(p.check());
    EXPECT_TRUE(p.push(9));
    EXPECT_FALSE(p.check());
  }
}

TEST(SmallestIndexRule, EndsOnCyclesOfEqualities) {
  for (std::uint64_t override_limit : {0u, 1u}) {
    Problem p;
    p.solver.pivot_limit_override_ = override_limit;
    p.rows("x11 = x1 - x2; x12 = x2 - x3; x13 = x3 - x4; x14 = x4 - x1; x15 = x1 + x2 + x3 + x4");
    p.bounds("c1: x11 >= 0; c2: x12 >= 0; c3: x13 >= 0; c4: x14 >= 0; c5: x15 = 1; c6: x14 > 0");
    EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5}));
    EXPECT_TRUE(p.check());
    EXPECT_TRUE(p.push(6));
    EXPECT_FALSE(p.check());
  }
}

}  // namespace
}  // namespace tarku::la

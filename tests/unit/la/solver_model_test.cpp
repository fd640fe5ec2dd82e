// Models: the choice of delta, separation of values, disequalities, halving, and what is put back afterwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tarku/termination_test.h"
#include "tests/unit/support/proof_census.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::equation;
using test::Problem;
using test::rational;

using Ints = std::vector<int>;

QNumber model(Problem* p, int var) {
  QNumber q;
  EXPECT_TRUE(p->solver.get_value(var, &q)) << "x" << var;
  return q;
}

// Checks, builds and judges; the solver is afterwards as it was.
void build(Problem* p, const std::vector<Equation>& eqs = {}) {
  ASSERT_TRUE(p->check());
  const auto stack = p->solver.constraint_stack_;
  p->solver.build_model(eqs);
  p->expect_invariants("after build_model");
  p->expect_model_fits();
  EXPECT_EQ(stack, p->solver.constraint_stack_);
  EXPECT_FALSE(p->solver.in_conflict_);
  EXPECT_TRUE(p->solver.work_vars_.empty());
}

// A hook that notes the delta it is shown, and may replace it.
struct DeltaSolver : Solver {
  DeltaSolver() : Solver(false, 0) {}
  void set_delta_value(QNumber& delta) override {
    seen.push_back(delta.to_str());
    if (!replacement.empty()) delta = rational(replacement);
  }
  std::vector<std::string> seen;
  std::string replacement;
};

TEST(BuildModel, WithoutBoundsDeltaIsOne) {
  auto owned = std::make_unique<DeltaSolver>();
  DeltaSolver& s = *owned;
  Problem p(std::move(owned));
  p.rows("x3 = x1 + x2");
  ASSERT_TRUE(p.check());
  s.cur_beta_[5] = dnum("2+3*delta");
  s.var_bounds_[5];
  s.build_model({});
  EXPECT_EQ((std::vector<std::string>{"1"}), s.seen);
  EXPECT_EQ("5", model(&p, 5).to_str());
}

TEST(BuildModel, ADisequalityMovesTheValueUp) {
  Problem p;
  p.bounds("c1: x1 != 0");
  EXPECT_TRUE(p.push(1));
  build(&p);
  EXPECT_EQ(1, model(&p, 1).sign());
  EXPECT_EQ(1u, p.levels(1));
}

TEST(BuildModel, AStrictBoundThatIsMetExactlyGivesNoCandidate) {
  auto owned = std::make_unique<DeltaSolver>();
  DeltaSolver& s = *owned;
  Problem p(std::move(owned));
  p.bounds("c1: x1 > 0");
  EXPECT_TRUE(p.push(1));
  build(&p);
  EXPECT_EQ((std::vector<std::string>{"1"}), s.seen);
  EXPECT_EQ(1, model(&p, 1).sign());
}

TEST(BuildModel, DeltaIsTheSmallestRatio) {
  auto owned = std::make_unique<DeltaSolver>();
  DeltaSolver& s = *owned;
  Problem p(std::move(owned));
  p.bounds("c1: x1 > 0; c2: x1 < 1/3; c3: x2 > 0; c4: x2 <= 1/7; c5: x3 > 0; c6: x3 < 5");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6}));
  build(&p);
  // x1: (1/3 - 0) / (1 + 1) = 1/6; x2: (1/7 - 0) / 1; x3: 5/2
  EXPECT_EQ((std::vector<std::string>{"1/7"}), s.seen);
}

// x1 is at 1/2 and must stay above 0 + delta, or below 2 - delta: no more than a half, or than three halves.
TEST(SmallestRatio, OfAValueInsideItsStrictBounds) {
  struct Case {
    const char* bound;
    const char* value;
    const char* ratio;
  };
  for (const Case& tested :
       {Case{"c1: x1 > 0", "1/2", "1/2"}, Case{"c1: x1 < 2", "1/2", "3/2"}, Case{"c1: x1 > 0", "1", "1"},
        Case{"c1: x1 > 0", "7", "7"}, Case{"c1: x1 > 0", "7+2*delta", "1"}, Case{"c1: x1 >= 0", "7-2*delta", "7/2"},
        Case{"c1: x1 <= 9", "7+4*delta", "1/2"}, Case{"c1: x1 < 9", "7-delta", "1"},
        Case{"c1: x1 > 0", "delta", "1"}}) {
    Problem p;
    p.bounds(tested.bound);
    EXPECT_TRUE(p.push(1));
    p.move(1, tested.value);
    EXPECT_EQ(tested.ratio, p.solver.smallest_ratio().to_str()) << tested.bound << " at " << tested.value;
  }
}

TEST(SmallestRatio, OfSeveralVariablesIsTheLeast) {
  Problem p;
  p.bounds("c1: x1 > 0; c2: x2 > 0; c3: x3 > 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.move(1, "7");
  p.move(2, "5");
  p.move(3, "6");
  EXPECT_EQ("5", p.solver.smallest_ratio().to_str()) << "larger than 1, but the first candidate replaces that";
}

TEST(BuildModel, TheHookMayReplaceDelta) {
  auto owned = std::make_unique<DeltaSolver>();
  owned->replacement = "1/1000";
  Problem p(std::move(owned));
  p.bounds("c1: x1 > 0");
  EXPECT_TRUE(p.push(1));
  build(&p);
  EXPECT_EQ("1/1000", model(&p, 1).to_str());
}

TEST(BuildModel, ValuesThatDifferStayDifferent) {
  auto owned = std::make_unique<DeltaSolver>();
  owned->replacement = "1/2";
  Problem p(std::move(owned));
  p.bounds("c1: x1 >= 1; c2: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  p.solver.update(2, dnum("2*delta"), p.solver.cur_beta_);
  build(&p);
  EXPECT_EQ("1", model(&p, 1).to_str());
  EXPECT_EQ("1/2", model(&p, 2).to_str()) << "delta was halved once";
}

TEST(BuildModel, AFalseEquationStaysFalse) {
  auto owned = std::make_unique<DeltaSolver>();
  owned->replacement = "1/2";
  Problem p(std::move(owned));
  p.bounds("c1: x1 >= 1; c2: x2 >= 0; c3: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.solver.update(2, dnum("delta"), p.solver.cur_beta_);
  build(&p, {equation("0 = x1 - 2*x2")});
  EXPECT_NE(model(&p, 1), model(&p, 2) + model(&p, 2));
}

TEST(BuildModel, ATrueEquationIsNoObstacle) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 > 1; c2: x2 > 1; c3: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  build(&p, {equation("0 = x3 - x1 - x2"), equation("0 = x1 - x2")});
  EXPECT_EQ(model(&p, 1), model(&p, 2));
}

TEST(BuildModel, ConstantsOfEquationsCount) {
  Problem p;
  p.bounds("c1: x1 > 1; c2: x2 >= 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  build(&p, {equation("0 = x1 - 2"), equation("0 = x2 - 2"), equation("0 = x1 - 3/2")});
  EXPECT_NE("2", model(&p, 1).to_str());
  EXPECT_NE("3/2", model(&p, 1).to_str());
}

// Their entries in the table of values are stale; only the equation tells their value.
TEST(BuildModel, EquationsOverEliminatedVariablesAreReadRight) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  ASSERT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  build(&p, {equation("0 = x3 - x1 - x2"), equation("0 = x1 - 4"), equation("0 = x1")});
  EXPECT_EQ("4", model(&p, 1).to_str());
}

TEST(BuildModel, ABoundThatIsTighterThanTheStepStays) {
  Problem p;
  p.bounds("c1: x1 >= 10; c2: x1 != 4; c3: x1 <= 9");
  EXPECT_TRUE(p.push_all({1, 2}));
  build(&p);
  EXPECT_EQ("10", p.lower(1)) << "no asserted level was popped";
  EXPECT_FALSE(p.push(3));
}

// The side on which the value is already is tried first, so it need not move.
TEST(BuildModel, AValueBesideTheConstantStaysThere) {
  for (const char* away : {"-3", "12"}) {
    Problem p;
    p.bounds("c1: x1 != 5; c2: x2 >= 0");
    EXPECT_TRUE(p.push_all({1, 2}));
    p.move(1, away);
    build(&p);
    EXPECT_EQ(away, model(&p, 1).to_str());
  }
}

// Up, x1 is at most delta; then x3 = -x1 can leave -delta on neither side, and x1 has to go down instead.
TEST(BuildModel, TheSideOfAnEarlierDisequalityIsRevisedForALaterOne) {
  Problem p;
  p.rows("x3 = -1*x1");
  p.bounds("c1: x1 <= delta; c2: x1 != 0; c3: x3 != -delta; c4: x3 <= 9");
  EXPECT_TRUE(p.push_all({1, 4, 2, 3}));
  build(&p);
  EXPECT_EQ(-1, model(&p, 1).sign());
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ(2u, p.levels(3));
}

TEST(BuildModel, TwoDisequalitiesOnOneVariable) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x1 <= 1; c3: x1 != 0; c4: x1 != 1; c5: x1 != 1/2");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5}));
  build(&p);
  EXPECT_EQ(3u, p.levels(1));
}

TEST(BuildModel, ADisequalityWhoseUpperSideIsShut) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 <= 0; c2: x2 <= 0; c3: x3 != 0; c4: x1 != 0; c5: x2 != 0; c6: x3 >= -1");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6}));
  build(&p);
  EXPECT_TRUE(p.check());
}

TEST(BuildModel, LeavesPropagationAndFlagsAsTheyWere) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x1 != 0");
  p.solver.propagation_level_ = 2;
  EXPECT_TRUE(p.push_all({1, 2}));
  build(&p);
  EXPECT_EQ(2, p.solver.propagation_level_);
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  EXPECT_TRUE(p.solver.conflict_.empty());
}

TEST(BuildModel, TheSecondModelReplacesTheFirst) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 >= 4");
  EXPECT_TRUE(p.push(1));
  build(&p);
  EXPECT_EQ("3", model(&p, 1).to_str());
  EXPECT_TRUE(p.push(2));
  build(&p);
  EXPECT_EQ("4", model(&p, 1).to_str());
}

TEST(BuildModel, EveryKnownVariableHasAValue) {
  Problem p;
  p.rows("x3 = x1 + x2; x40 = x30");
  p.bounds("c1: x3 >= 5; c2: x50 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  build(&p);
  for (int v : {1, 2, 3, 30, 40, 50}) model(&p, v);
}

// A slot of the table of bounds is enough to be known; without a value it counts as zero.
TEST(BuildModel, AVariableWithBoundsOnlyIsZero) {
  Problem p;
  p.bounds("c1: x1 >= 1");
  EXPECT_TRUE(p.push(1));
  ASSERT_TRUE(p.check());
  p.solver.var_bounds_[50];
  ASSERT_GT(50u, p.solver.cur_beta_.size());
  p.solver.build_model({});
  EXPECT_EQ("0", model(&p, 50).to_str());
  EXPECT_EQ("1", model(&p, 1).to_str());
}

TEST(BuildModel, TrustsNoCachedValue) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  ASSERT_TRUE(p.check());
  ASSERT_TRUE(p.solver.tableau_.is_eliminated(1));
  p.solver.abstract_values_[1] = dnum("88");
  p.solver.build_model({});
  EXPECT_EQ("4", model(&p, 1).to_str());
}

TEST(BuildModel, MentioningAnUnknownVariableAddsNoValueForIt) {
  Problem p;
  p.bounds("c1: x1 >= 1");
  EXPECT_TRUE(p.push(1));
  ASSERT_TRUE(p.check());
  p.solver.build_model({equation("0 = x1 + x500")});
  QNumber q;
  EXPECT_FALSE(p.solver.get_value(500, &q));
}

TEST(BuildModel, StrictBoundsNearEachOther) {
  Problem p;
  p.rows("x3 = x1 - x2");
  p.bounds("c1: x1 > 0; c2: x2 > 0; c3: x3 > 0; c4: x1 < 1/1000000000000000000000; c5: x3 != 1/3");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5}));
  build(&p);
}

TEST(BuildModel, TooManyIterations) {
  auto owned = std::make_unique<DeltaSolver>();
  owned->replacement = "0";  // groups never separate
  Problem p(std::move(owned));
  p.bounds("c1: x1 > 1; c2: x2 >= 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  ASSERT_TRUE(p.check());
  try {
    p.solver.build_model({});
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_STREQ("build_model: too many iterations", e.what());
  }
  p.expect_invariants("after the exception");
}

// Equation number i becomes true in attempt i, with delta = 2^-(i-1).
TEST(BuildModel, AllowsExactlyAHundredHalvings) {
  for (int attempts : {99, 100, 101}) {
    Problem p;
    p.bounds("c1: x1 >= 1; c2: x2 >= 0");
    EXPECT_TRUE(p.push_all({1, 2}));
    p.solver.update(2, dnum("delta"), p.solver.cur_beta_);
    ASSERT_TRUE(p.check());
    std::vector<Equation> eqs;
    QNumber power(1);
    for (int i = 0; i < attempts; ++i) {
      eqs.push_back(equation("0 = x1"));
      eqs.back().add_term(2, QNumber(0) - power);
      power = power + power;
    }
    if (attempts <= 100) {
      EXPECT_NO_THROW(p.solver.build_model(eqs)) << attempts;
      EXPECT_EQ(QNumber(1) / power, model(&p, 2));
    } else {
      EXPECT_THROW(p.solver.build_model(eqs), Exception);
    }
  }
}

// With more variables than a hundred, as many halvings as there are places for their bounds.
TEST(BuildModel, AllowsAsManyHalvingsAsThereAreVariables) {
  constexpr int kVars = 149;
  for (int attempts : {kVars + 1, kVars + 2}) {
    Problem p;
    p.bounds("c1: x1 >= 1; c2: x2 >= 0; c3: x" + std::to_string(kVars) + " >= 0");
    EXPECT_TRUE(p.push_all({1, 2, 3}));
    ASSERT_EQ(static_cast<std::size_t>(kVars) + 1, p.solver.var_bounds_.size());
    p.solver.update(2, dnum("delta"), p.solver.cur_beta_);
    ASSERT_TRUE(p.check());
    std::vector<Equation> eqs;
    QNumber power(1);
    for (int i = 0; i < attempts; ++i) {
      eqs.push_back(equation("0 = x1"));
      eqs.back().add_term(2, QNumber(0) - power);
      power = power + power;
    }
    if (attempts <= kVars + 1) {
      EXPECT_NO_THROW(p.solver.build_model(eqs)) << attempts;
    } else {
      EXPECT_THROW(p.solver.build_model(eqs), Exception);
    }
  }
}

// Two values that only a delta below 2^-120 tells apart are beyond the number of halvings.
TEST(BuildModel, GivesUpOnValuesThatAreTooCloseToEachOther) {
  for (int exponent : {90, 120}) {
    Problem p;
    p.bounds("c1: x1 >= 0; c2: x2 > 0");
    EXPECT_TRUE(p.push_all({1, 2}));
    QNumber tiny(1);
    for (int i = 0; i < exponent; ++i) tiny = tiny * QNumber(1, 2);
    p.solver.update(1, DNumber(tiny), p.solver.cur_beta_);
    ASSERT_TRUE(p.check());
    // False for the values; true as long as the model's x2 is 2^i times x1.
    std::vector<Equation> eqs;
    QNumber power(1);
    for (int i = 0; i <= exponent; ++i, power = power + power) {
      Equation eq = equation("0 = x2");
      eq.add_term(1, QNumber(0) - power);
      eqs.push_back(eq);
    }
    if (exponent == 90) {
      p.solver.build_model(eqs);
      p.expect_model_fits();
      EXPECT_LT(model(&p, 2), tiny);
    } else {
      EXPECT_THROW(p.solver.build_model(eqs), Exception);
    }
  }
}

// Not asked for after a refusal; if it is all the same, nothing is searched and the conflict stays.
TEST(BuildModel, WhileAConflictIsPendingLeavesItAlone) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.push(2));
  const std::int32_t pivots = p.solver.num_pivots_;
  p.solver.build_model({});
  EXPECT_TRUE(p.solver.in_conflict_);
  EXPECT_EQ((Ints{1, 2}), p.solver.conflict_);
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ(pivots, p.solver.num_pivots_);
  p.expect_invariants("after the model");
}

// ---- interruption ----

struct ModelPoll : TerminationTest {
  void operator()() const override {
    if (++count == throw_at) throw throw_at;
  }
  mutable int count = 0;
  int throw_at = 0;
};

TEST(BuildModel, InterruptedAnywhereLeavesNothingBehind) {
  int at = 1;
  for (bool interrupted = true; interrupted; ++at) {
    SCOPED_TRACE(testing::Message() << "poll " << at);
    Problem p(true);
    p.solver.propagation_level_ = 2;
    p.rows("x4 = x1 + x2; x5 = x1 - x3; x6 = x4 + x5");
    p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 <= 0; c4: x4 != 0; c5: x5 != 0; c6: x6 != 0; c7: x1 != 0; c8: x3 != 0");
    p.bounds("c9: x4 <= 1; c10: x6 <= 1; c11: x2 <= 1/3; c12: x1 <= 0");
    EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6, 8, 9, 10, 11}));
    ASSERT_TRUE(p.check());
    std::vector<std::size_t> levels;
    for (int v = 1; v <= 6; ++v) levels.push_back(p.levels(v));
    ModelPoll poll;
    poll.throw_at = at;
    p.solver.termination_test_ = &poll;
    interrupted = false;
    try {
      p.solver.build_model({equation("0 = x1 - x2")});
    } catch (int) {
      interrupted = true;
    }
    p.solver.termination_test_ = nullptr;
    p.expect_invariants("after the interruption");
    for (int v = 1; v <= 6; ++v) EXPECT_EQ(levels[static_cast<std::size_t>(v) - 1], p.levels(v)) << "x" << v;
    for (int c : {4, 5, 6, 8}) EXPECT_FALSE(p.record(c).has(RANGE_UNPUSHED)) << "c" << c;
    EXPECT_EQ(2, p.solver.propagation_level_);
    EXPECT_FALSE(p.solver.in_conflict_);
    EXPECT_TRUE(p.solver.work_vars_.empty());
    EXPECT_EQ("", test::proof_offence(p.solver));
    build(&p);
    EXPECT_TRUE(p.push_all({12, 7})) << "what was asserted still counts";
    EXPECT_FALSE(p.check());
    if (HasFailure()) return;
  }
  EXPECT_LT(6, at) << "there are polls to interrupt at";
}

TEST(AdjustModel, WithoutArgumentsLeavesNoTemporaryBound) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x1 != 0; c3: x2 != 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  ASSERT_TRUE(p.check());
  p.solver.adjust_model_for_disequalities();
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_EQ(1u, p.levels(2));
  EXPECT_TRUE(p.solver.model_work_vars_.empty());
  p.expect_invariants("after the adjustment");
  EXPECT_NE("0", p.value(1)) << "the values stay apart from the constants";
}

TEST(AdjustModel, EveryFixedVariableHasOneExtraLevel) {
  Problem p;
  p.bounds("c1: x1 >= 10; c2: x1 != 4; c3: x2 != 0; c4: x1 != 10");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  ASSERT_TRUE(p.check());
  Ints fixed{77};
  p.solver.adjust_model_for_disequalities({}, fixed);
  EXPECT_EQ((Ints{1, 2, 1}), fixed) << "one entry for each level, also where the bound was tight enough already";
  EXPECT_EQ(4u, p.levels(1));
  EXPECT_EQ(2u, p.levels(2));
  for (int v : fixed) p.solver.var_bounds_[v].pop_bounds();
  EXPECT_EQ("10", p.lower(1));
  p.expect_invariants("after the levels were popped");
}

TEST(AdjustModel, StaysBelowTheDeltaPartsOfTheEquations) {
  Problem p;
  p.bounds("c1: x1 > 0; c2: x2 != 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  ASSERT_TRUE(p.check());
  Ints fixed;
  p.solver.adjust_model_for_disequalities({equation("0 = 1/4*x1")}, fixed);
  EXPECT_EQ((Ints{2}), fixed);
  EXPECT_EQ("0+1/8*delta", p.lower(2));
  p.solver.var_bounds_[2].pop_bounds();
}

// The step shrinks only for a delta part that is smaller than it, and then to half of that.
TEST(AdjustModel, TheStepIsHalfOfASmallerDeltaPartAndNoOther) {
  struct Case {
    std::vector<Equation> eqs;
    const char* step;
  };
  const Case cases[] = {{{}, "0+1*delta"},
                        {{equation("0 = x1")}, "0+1*delta"},
                        {{equation("0 = -1*x1")}, "0+1*delta"},
                        {{equation("0 = 7*x1")}, "0+1*delta"},
                        {{equation("0 = x3")}, "0+1*delta"},
                        {{equation("0 = -1/2*x1")}, "0+1/4*delta"},
                        {{equation("0 = 1/4*x1"), equation("0 = 1/6*x1")}, "0+1/8*delta"},
                        {{equation("0 = 1/4*x1"), equation("0 = 1/9*x1")}, "0+1/18*delta"},
                        {{equation("x1 = 1/3*x1")}, "0+1*delta"}};
  for (const Case& tested : cases) {
    Problem p;
    p.bounds("c1: x1 > 0; c2: x2 != 0; c3: x3 >= 5");
    EXPECT_TRUE(p.push_all({1, 2, 3}));
    ASSERT_TRUE(p.check());
    Ints fixed;
    p.solver.adjust_model_for_disequalities(tested.eqs, fixed);
    EXPECT_EQ(tested.step, p.lower(2)) << (tested.eqs.empty() ? "no equation" : tested.eqs[0].to_str(true));
    ASSERT_EQ((Ints{2}), fixed);
    p.solver.var_bounds_[2].pop_bounds();
  }
}

// Not after a successful check, but the search must end all the same.
TEST(AdjustModel, WithoutAnyWayOutNothingStaysPushed) {
  Problem p(true);
  p.solver.propagation_level_ = 2;
  p.bounds("c1: x1 = 3; c2: x2 != 0; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  Ints fixed{77};
  p.solver.adjust_model_for_disequalities({}, fixed);
  EXPECT_EQ(Ints{}, fixed);
  EXPECT_EQ(3u, p.levels(1));
  EXPECT_EQ(1u, p.levels(2));
  EXPECT_EQ(2, p.solver.propagation_level_);
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  EXPECT_FALSE(p.record(3).has(RANGE_UNPUSHED));
  p.expect_invariants("after the search");
  EXPECT_FALSE(p.check());
}

TEST(AdjustModel, AddsToTheListItIsGiven) {
  Problem p;
  p.bounds("c1: x1 != 0");
  EXPECT_TRUE(p.push(1));
  ASSERT_TRUE(p.check());
  Ints fixed{77};
  p.solver.adjust_model_for_disequalities(fixed, dnum("1/3*delta"));
  EXPECT_EQ((Ints{77, 1}), fixed);
  EXPECT_EQ("0+1/3*delta", p.lower(1));
  p.solver.var_bounds_[1].pop_bounds();
}

TEST(AdjustModel, WithoutDisequalitiesDoesNothing) {
  Problem p;
  p.bounds("c1: x1 >= 0");
  EXPECT_TRUE(p.push(1));
  ASSERT_TRUE(p.check());
  Ints fixed{1, 2};
  p.solver.adjust_model_for_disequalities({}, fixed);
  EXPECT_TRUE(fixed.empty());
  EXPECT_EQ(2u, p.levels(1));
}

// ---- random problems ----

// Any state that a true check leaves has a model, and building it changes no later answer.
class ModelWalk : public testing::TestWithParam<unsigned> {};

TEST_P(ModelWalk, EveryModelFits) {
  std::mt19937 random(GetParam());
  auto draw = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  static const char* const relations[] = {">=", "<=", "!=", "<", ">", "!="};
  Problem p(draw(2) == 0);
  p.solver.propagation_level_ = draw(3);
  p.rows("x5 = x1 + x2; x6 = x1 - 2*x3; x7 = x2 + x3 - 1/2*x4; x8 = x4 + x9");
  for (int c = 1; c <= 25; ++c) {
    p.bounds("c" + std::to_string(c) + ": x" + std::to_string(1 + draw(8)) + relations[draw(6)] +
             std::to_string(draw(5) - 2));
  }
  const std::vector<Equation> eqs{equation("0 = x1 - x2"), equation("0 = x5 - 1"), equation("0 = x9 + x3"),
                                  equation("0 = x5 - x1 - x2")};
  Ints stack;
  for (int i = 0; i < 40; ++i) {
    const int c = 1 + draw(25);
    const int kind = draw(6);
    if (kind < 3 && std::find(stack.begin(), stack.end(), c) == stack.end()) {
      stack.push_back(c);
      if (!p.push(c)) {
        p.pop();
        stack.pop_back();
      }
    } else if (kind == 3 && !stack.empty()) {
      p.pop();
      stack.pop_back();
    } else if (kind > 3 && p.check()) {
      build(&p, eqs);
      // What was false for the values is false for the model; what the rows say is true.
      EXPECT_EQ(model(&p, 5), model(&p, 1) + model(&p, 2));
    }
    if (HasFailure()) FAIL() << "seed " << GetParam();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ModelWalk, testing::Range(1u, 61u));

}  // namespace
}  // namespace tarku::la

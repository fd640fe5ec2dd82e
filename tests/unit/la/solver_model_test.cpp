// Models: the choice of delta, separation of values, disequalities, halving, and what is put back afterwards.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
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

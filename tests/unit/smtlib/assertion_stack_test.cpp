// The stack of assertions: numbers of scripts and of the engine, and the hidden level of assumptions.
#include "tarku/smtlib/assertion_stack.h"

#include <gtest/gtest.h>

namespace tarku::smtlib {
namespace {

class AssertionStackTest : public testing::Test {
 protected:
  smt::TermManager terms;
  smt::Engine engine{terms};
  AssertionStack stack{engine};
  smt::Term p = terms.mk_symbol("p", smt::Sort::boolean);
  smt::Term q = terms.mk_symbol("q", smt::Sort::boolean);
  smt::Term not_p = terms.mk(smt::Op::not_op, p);
};

TEST_F(AssertionStackTest, FollowsTheLevels) {
  stack.add(p, SymbolId{7});
  stack.push();
  stack.add(not_p, {});
  EXPECT_EQ(stack.num_levels(), 1u);
  EXPECT_EQ(engine.check(), smt::Answer::unsat);
  stack.pop();
  EXPECT_EQ(engine.check(), smt::Answer::sat);
  ASSERT_EQ(stack.assertions().size(), 1u);
  EXPECT_EQ(stack.assertions()[0].formula, p);
  EXPECT_EQ(stack.find(0)->name, SymbolId{7});
  EXPECT_EQ(stack.find(1), nullptr) << "popped";
}

TEST_F(AssertionStackTest, AssumptionsStandOnALevelOfTheirOwn) {
  stack.add(p, {});
  stack.assume({{q, "q"}, {not_p, "(not p)"}});
  EXPECT_EQ(stack.num_levels(), 0u);
  EXPECT_EQ(engine.num_levels(), 1);
  EXPECT_EQ(stack.assertions().size(), 1u);
  ASSERT_EQ(engine.check(), smt::Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 2}));
  EXPECT_FALSE(stack.is_assumption(0));
  ASSERT_TRUE(stack.is_assumption(2));
  EXPECT_EQ(stack.assumption(2).text, "(not p)");
  EXPECT_EQ(stack.find(2), nullptr);
}

TEST_F(AssertionStackTest, EveryChangeWithdrawsTheAssumptions) {
  const auto is_without = [this] {
    return stack.assumptions().empty() && static_cast<std::size_t>(engine.num_levels()) == stack.num_levels();
  };
  stack.assume({{p, "p"}});
  EXPECT_FALSE(is_without());
  stack.add(q, {});
  EXPECT_TRUE(is_without());
  stack.assume({{p, "p"}});
  stack.push();
  EXPECT_TRUE(is_without());
  stack.assume({{p, "p"}});
  stack.pop();
  EXPECT_TRUE(is_without());
  stack.assume({});
  EXPECT_EQ(engine.num_levels(), 1);
  EXPECT_FALSE(stack.is_assumption(0));
  stack.withdraw_assumptions();
  stack.withdraw_assumptions();
  EXPECT_TRUE(is_without());
  EXPECT_EQ(engine.check(), smt::Answer::sat);
}

TEST_F(AssertionStackTest, SourcesLeaveEarlierAssumptionsOut) {
  stack.add(p, {});
  stack.assume({{q, "q"}, {p, "p"}});
  EXPECT_EQ(stack.source_of(0), 0u);
  EXPECT_EQ(stack.source_of(1), 1u);
  EXPECT_EQ(stack.source_of(2), 2u);
  stack.push();
  stack.add(q, {});
  EXPECT_EQ(stack.source_of(3), 1u);
  stack.pop();
  stack.add(p, {});
  EXPECT_EQ(stack.source_of(4), 2u) << "what is popped keeps its number";
  stack.assume({{not_p, "(not p)"}});
  EXPECT_EQ(stack.source_of(5), 3u);
}

}  // namespace
}  // namespace tarku::smtlib

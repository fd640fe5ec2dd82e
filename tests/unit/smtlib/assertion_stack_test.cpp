// The stack of assertions: levels and numbers, in step with the engine.
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

TEST_F(AssertionStackTest, WhatIsPoppedKeepsItsNumber) {
  stack.add(p, {});
  stack.push();
  stack.add(q, {});
  EXPECT_EQ(stack.assertions().back().index, 1);
  stack.pop();
  EXPECT_EQ(engine.check({q, not_p}), smt::Answer::unsat);
  stack.add(p, {});
  EXPECT_EQ(stack.assertions().back().index, 2) << "assumptions take no numbers";
  EXPECT_EQ(stack.find(1), nullptr);
  EXPECT_EQ(stack.find(2)->formula, p);
}

}  // namespace
}  // namespace tarku::smtlib

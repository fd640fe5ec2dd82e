// Programs of defined functions: building, expanding, sharing, and what is refused when.
#include "tarku/smtlib/macro.h"

#include <gtest/gtest.h>

namespace tarku::smtlib {
namespace {

using smt::Op;
using smt::Sort;
using smt::Term;

class MacroTest : public ::testing::Test {
 protected:
  smt::TermManager terms;
  MacroTable macros{terms};
  Term x = terms.mk_symbol("x", Sort::real);
  Term y = terms.mk_symbol("y", Sort::real);
  Term p = terms.mk_symbol("p", Sort::boolean);
};

TEST_F(MacroTest, ExpandsToTheTermsThatTheBodyWouldGive) {
  MacroBuilder builder(terms, "f");
  const Value a = builder.add_parameter(Sort::real);
  const Value b = builder.add_parameter(Sort::real);
  const Value sum = builder.apply(Op::add, {a, Value::closed(y)});
  const auto f = macros.add(builder.finish(builder.apply(Op::less, {sum, b})));
  EXPECT_EQ(macros[f].sort, Sort::boolean);
  EXPECT_EQ(macros.expand(f, {x, y}), terms.mk(Op::less, terms.mk(Op::add, x, y), y));
  EXPECT_EQ(macros.expand(f, {y, x}), terms.mk(Op::less, terms.mk(Op::add, y, y), x));
}

TEST_F(MacroTest, TheBodyMayBeAParameterOrIgnoreThem) {
  MacroBuilder identity(terms, "id"), constant(terms, "c");
  const Value a = identity.add_parameter(Sort::real);
  constant.add_parameter(Sort::boolean);
  const auto id = macros.add(identity.finish(a));
  const auto c = macros.add(constant.finish(Value::closed(x)));
  EXPECT_EQ(macros.expand(id, {y}), y);
  EXPECT_EQ(macros.expand(c, {p}), x);
}

TEST_F(MacroTest, LinearityIsDecidedAtTheApplication) {
  MacroBuilder builder(terms, "f");
  const Value a = builder.add_parameter(Sort::real);
  const Value b = builder.add_parameter(Sort::real);
  const Value product = builder.apply(Op::multiply, {a, b});
  const auto f = macros.add(builder.finish(builder.apply(Op::divide, {product, a})));
  const Term two = terms.mk_real(2);
  EXPECT_EQ(macros.expand(f, {two, x}), terms.mk(Op::divide, terms.mk(Op::multiply, two, x), two));
  EXPECT_THROW(macros.expand(f, {x, y}), smt::TermError);
  EXPECT_THROW(macros.expand(f, {terms.mk_real(0), y}), smt::TermError);
  EXPECT_EQ(macros.expand(f, {two, y}), terms.mk(Op::divide, terms.mk(Op::multiply, two, y), two));
}

TEST_F(MacroTest, SortsAndNumbersAreCheckedAtTheDefinition) {
  MacroBuilder builder(terms, "f");
  const Value a = builder.add_parameter(Sort::real);
  const Value b = builder.add_parameter(Sort::boolean);
  EXPECT_THROW(builder.apply(Op::add, {a, b}), smt::TermError);
  EXPECT_THROW(builder.apply(Op::not_op, {b, b}), smt::TermError);
  EXPECT_THROW(builder.apply(Op::ite, {b, a, b}), smt::TermError);
  EXPECT_EQ(builder.sort(builder.apply(Op::ite, {b, a, Value::closed(x)})), Sort::real);
}

// f_k(a) applies f_(k-1) twice: 2^60 steps when nothing is remembered.
TEST_F(MacroTest, TowersOfDefinitionsCostWhatTheyShare) {
  std::uint32_t below = 0;
  for (int k = 0; k < 60; ++k) {
    MacroBuilder builder(terms, "f");
    const Value a = builder.add_parameter(Sort::real);
    const Value left = k == 0 ? a : builder.call(below, Sort::real, {a});
    const Value right = k == 0 ? Value::closed(x) : builder.call(below, Sort::real, {a});
    below = macros.add(builder.finish(builder.apply(Op::add, {left, right})));
  }
  const auto before = terms.num_terms();
  macros.expand(below, {y});
  EXPECT_EQ(terms.num_terms() - before, 60u);
}

TEST_F(MacroTest, LongChainsOfDefinitionsNeedNoCallDepth) {
  std::uint32_t below = 0;
  for (int k = 0; k < 200000; ++k) {
    MacroBuilder builder(terms, "f");
    const Value a = builder.add_parameter(Sort::real);
    const Value inner = k == 0 ? a : builder.call(below, Sort::real, {a});
    below = macros.add(builder.finish(builder.apply(Op::subtract, {inner})));
  }
  Term t = macros.expand(below, {x});
  int depth = 0;
  for (; terms.op(t) == Op::negate; t = terms.args(t)[0]) ++depth;
  EXPECT_EQ(depth, 200000);
  EXPECT_EQ(t, x);
}

}  // namespace
}  // namespace tarku::smtlib

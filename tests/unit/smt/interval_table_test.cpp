// Bounds that hold, and contradictions between a few constraints and them.
#include "tarku/smt/interval_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "tarku/smt/linear.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

using Summand = proof::Refutation::Summand;

class IntervalTableTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Linearizer linearizer{terms};
  AtomTable atoms;
  IntervalTable table{atoms};

  // The constraint that a comparison of two terms is.
  int constraint(const std::string& comparison) {
    static const std::map<Op, Relation> relations = {
        {Op::less, Relation::less},       {Op::less_equal, Relation::less_equal},
        {Op::greater, Relation::greater}, {Op::greater_equal, Relation::greater_equal},
        {Op::equal, Relation::equal},     {Op::distinct, Relation::distinct}};
    const Term t = text(comparison);
    LinearForm form;
    linearizer.subtract(terms.args(t)[0], terms.args(t)[1], &form);
    return atoms.add(&form, relations.at(terms.op(t))).constraint;
  }
  int variable(const std::string& name) { return atoms.variable(text(name)); }
  void hold(const std::string& comparison) { table.hold(constraint(comparison)); }

  std::string end(const std::string& name, bool is_upper) {
    const auto& known = table.end(variable(name), is_upper);
    return known ? known->value.to_str() : "none";
  }
  std::string interval(const std::string& name) { return end(name, false) + " " + end(name, true); }

  // Empty, or what is wrong with the summands: constraints that are no contradiction.
  std::string offence(const std::vector<Summand>& summands) {
    VariableSum sum;
    bool is_strict = false;
    for (const Summand& summand : summands) {
      const Relation relation = atoms.bound_of(summand.constraint).relation;
      if (relation == Relation::distinct) return "a disequality";
      if (relation != Relation::equal && !summand.multiplier.is_positive()) return "a multiplier is not positive";
      const bool is_below = relation == Relation::greater || relation == Relation::greater_equal;
      is_strict = is_strict || relation == Relation::less || relation == Relation::greater;
      const QNumber factor = is_below ? summand.multiplier.neg() : summand.multiplier;
      for (const auto& [v, coeff] : table.sum_of(summand.constraint)) sum[v].add_mul(factor, coeff);
    }
    const QNumber constant = sum[0];
    sum.erase(0);
    for (const auto& [v, coeff] : sum) {
      if (!coeff.is_zero()) return "variable " + std::to_string(v) + " is left";
    }
    return constant.is_positive() || (is_strict && constant.is_zero()) ? "" : "no contradiction";
  }
};

// ---- bounds ----

TEST_F(IntervalTableTest, TheTightestBoundsAreKept) {
  EXPECT_EQ(interval("x"), "none none");
  for (const char* t : {"(<= x 5)", "(<= x 3)", "(<= x 4)", "(>= x 0)", "(> x 1)", "(>= x -2)"}) hold(t);
  EXPECT_EQ(interval("x"), "1 3");
  EXPECT_EQ(table.end(variable("x"), true)->constraint, constraint("(<= x 3)"));
  EXPECT_EQ(table.end(variable("x"), false)->constraint, constraint("(> x 1)"));
  EXPECT_EQ(interval("y"), "none none");
}

TEST_F(IntervalTableTest, EqualitiesBoundBothEndsAndDisequalitiesNone) {
  hold("(distinct x 2)");
  EXPECT_EQ(interval("x"), "none none");
  hold("(= x 2)");
  EXPECT_EQ(interval("x"), "2 2");
}

TEST_F(IntervalTableTest, SumsHaveBoundsOfTheirOwn) {
  hold("(<= (+ x y) 5)");
  EXPECT_EQ(interval("x"), "none none");
  const int slack = atoms.bound_of(constraint("(<= (+ x y) 5)")).variable;
  ASSERT_TRUE(table.end(slack, true).has_value());
  EXPECT_EQ(table.end(slack, true)->value, QNumber(5));
}

TEST_F(IntervalTableTest, WhatAConstraintSays) {
  const int x = variable("x"), y = variable("y");
  EXPECT_EQ(table.sum_of(constraint("(<= x 5)")), (VariableSum{{0, QNumber(-5)}, {x, QNumber(1)}}));
  EXPECT_EQ(table.sum_of(constraint("(>= x 0)")), (VariableSum{{x, QNumber(1)}}));
  EXPECT_EQ(table.sum_of(constraint("(= (- x (* 2 y)) 3)")),
            (VariableSum{{0, QNumber(-3)}, {x, QNumber(1)}, {y, QNumber(-2)}}));
}

TEST_F(IntervalTableTest, LimitsOfSums) {
  for (const char* t : {"(>= x -1)", "(<= x 3)", "(>= y 2)"}) hold(t);
  const VariableSum sum{{0, QNumber(10)}, {variable("x"), QNumber(2)}, {variable("y"), QNumber(-1)}};
  EXPECT_EQ(table.limit(sum, true), QNumber(14));  // 10 + 2 * 3 - 2
  EXPECT_EQ(table.limit(sum, false), std::nullopt);
  hold("(<= y 7)");
  EXPECT_EQ(table.limit(sum, false), QNumber(1));  // 10 - 2 * 1 - 7
  EXPECT_EQ(table.limit({{0, QNumber(4)}}, true), QNumber(4));
}

// ---- contradictions ----

TEST_F(IntervalTableTest, BoundsOnAllSymbolsCompleteAContradiction) {
  for (const char* t : {"(<= x 1)", "(<= y 2)"}) hold(t);
  for (const char* t : {"(>= (+ x y) 4)", "(= (+ x y) 4)", "(> (+ x y) 3)"}) {
    SCOPED_TRACE(t);
    LemmaSum sum(atoms, table);
    sum.add(constraint(t), QNumber(-1));
    const std::vector<Summand> summands = sum.finish();
    EXPECT_EQ(summands.size(), 3u);
    EXPECT_EQ(offence(summands), "");
  }
}

TEST_F(IntervalTableTest, NoContradiction) {
  for (const char* t : {"(<= x 1)", "(<= y 2)", "(>= x 0)", "(>= y 0)"}) hold(t);
  const auto is_none = [&](const std::string& t, const QNumber& factor) {
    LemmaSum sum(atoms, table);
    sum.add(constraint(t), factor);
    return sum.finish().empty();
  };
  EXPECT_TRUE(is_none("(>= (+ x y) 3)", QNumber(-1)));    // they can hold together
  EXPECT_TRUE(is_none("(>= (+ x y z) 4)", QNumber(-1)));  // z has no bound
  EXPECT_TRUE(is_none("(>= (+ x y) -1)", QNumber(1)));    // the wrong sign for a bound from below
  EXPECT_TRUE(is_none("(<= (+ x y) 4)", QNumber(-1)));    // and from above
  EXPECT_TRUE(is_none("(distinct (+ x y) -1)", QNumber(1)));
}

TEST_F(IntervalTableTest, AStrictBoundDecidesWhenNothingIsLeft) {
  hold("(<= x 1)");
  hold("(< y 2)");
  LemmaSum sum(atoms, table);
  sum.add(constraint("(>= (+ x y) 3)"), QNumber(-1));
  EXPECT_EQ(offence(sum.finish()), "");
}

// Constraints of a sum that cancel each other's symbols need no bounds on them; equal ones are one summand.
TEST_F(IntervalTableTest, SeveralConstraints) {
  hold("(>= z 1)");
  LemmaSum sum(atoms, table);
  sum.add(constraint("(= (- x y) 2)"), QNumber(-1));
  sum.add(constraint("(<= (+ (- x y) z) 1)"), QNumber(1));
  const std::vector<Summand> summands = sum.finish();
  EXPECT_EQ(summands.size(), 3u);
  EXPECT_EQ(offence(summands), "");

  LemmaSum twice(atoms, table);
  twice.add(constraint("(>= z 1)"), QNumber(-1));
  twice.add(constraint("(<= z 0)"), QNumber(2));
  const std::vector<Summand> merged = twice.finish();  // the table adds the bound from below once more
  EXPECT_EQ(merged.size(), 2u);
  EXPECT_EQ(offence(merged), "");
}

}  // namespace
}  // namespace tarku::smt

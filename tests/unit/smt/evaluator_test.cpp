// Evaluation of terms under an assignment.
#include "tarku/smt/evaluator.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

class EvaluatorTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  std::map<std::string, QNumber> reals = {{"x", 2}, {"y", QNumber(-1L, 3L)}, {"z", 0}};
  std::map<std::string, bool> truths = {{"p", true}, {"q", false}, {"r", true}};
  int asked = 0;
  Evaluator evaluator{terms,
                      [this](Term t) {
                        ++asked;
                        return reals.at(terms.name(t));
                      },
                      [this](Term t) {
                        ++asked;
                        return truths.at(terms.name(t));
                      }};

  std::string real(std::string_view t) { return evaluator.real_value(text(t)).to_str(); }
  bool truth(std::string_view t) { return evaluator.bool_value(text(t)); }
};

TEST_F(EvaluatorTest, Arithmetic) {
  EXPECT_EQ(real("7/2"), "7/2");
  EXPECT_EQ(real("(+ x y 1)"), "8/3");
  EXPECT_EQ(real("(- x y 1)"), "4/3");
  EXPECT_EQ(real("(- y)"), "1/3");
  EXPECT_EQ(real("(* 2 y 3)"), "-2");
  EXPECT_EQ(real("(/ x 4 3)"), "1/6");
  EXPECT_EQ(real("(ite q x (+ y y))"), "-2/3");
  EXPECT_EQ(real("(ite (< y x) x (+ y y))"), "2");
}

TEST_F(EvaluatorTest, Connectives) {
  EXPECT_TRUE(truth("(and p r true)"));
  EXPECT_FALSE(truth("(and p q r)"));
  EXPECT_TRUE(truth("(or q p)"));
  EXPECT_FALSE(truth("(or q (not r))"));
  EXPECT_TRUE(truth("(=> p q p)"));   // p => (q => p)
  EXPECT_FALSE(truth("(=> p r q)"));  // p => (r => q)
  EXPECT_TRUE(truth("(=> q q)"));
  EXPECT_TRUE(truth("(xor p r r)"));
  EXPECT_FALSE(truth("(xor p r q)"));
  EXPECT_FALSE(truth("(ite p q r)"));
  EXPECT_TRUE(truth("(ite q p (not q))"));
}

TEST_F(EvaluatorTest, Comparisons) {
  EXPECT_TRUE(truth("(< y z x)"));
  EXPECT_FALSE(truth("(< y x z)"));
  EXPECT_FALSE(truth("(< x x)"));
  EXPECT_TRUE(truth("(<= y y z 0 x)"));
  EXPECT_TRUE(truth("(> x z y)"));
  EXPECT_FALSE(truth("(>= z x)"));
  EXPECT_FALSE(truth("(= x 2 (- 2))"));
  EXPECT_TRUE(truth("(= x (* -6 y) 2)"));
  EXPECT_TRUE(truth("(= p r)"));
  EXPECT_FALSE(truth("(= p r q)"));
  EXPECT_TRUE(truth("(distinct x y z)"));
  EXPECT_FALSE(truth("(distinct x y (* -6 y))"));
  EXPECT_TRUE(truth("(distinct p q)"));
  EXPECT_FALSE(truth("(distinct p r)"));
  EXPECT_FALSE(truth("(distinct p q r)"));
}

TEST_F(EvaluatorTest, ManyLevelsDeep) {
  Term formula = text("p"), sum = text("x");
  for (int i = 0; i < 200000; ++i) formula = terms.mk(Op::not_op, formula);
  for (int i = 0; i < 200000; ++i) sum = terms.mk(Op::add, sum, text("y"));
  EXPECT_TRUE(evaluator.bool_value(formula));
  EXPECT_EQ(evaluator.real_value(sum), QNumber(2) - QNumber(200000L, 3L));
}

TEST_F(EvaluatorTest, SharedTermsAndSymbolsAreLookedAtOnce) {
  Term t = text("(+ x y)");
  for (int i = 0; i < 100; ++i) t = terms.mk(Op::subtract, terms.mk(Op::add, t, t), t);
  EXPECT_EQ(evaluator.real_value(t), QNumber(5L, 3L));
  EXPECT_EQ(real("(- x y)"), "7/3");
  EXPECT_EQ(asked, 2);
}

}  // namespace
}  // namespace tarku::smt

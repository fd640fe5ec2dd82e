// Linear forms: what they say, and what they cost on deep and on heavily shared terms.
#include "tarku/smt/linear.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tarku/smt/evaluator.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

class LinearTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Linearizer linearizer{terms};

  std::string show(const LinearForm& form) {
    std::string result;
    for (const Monomial& m : form.terms) {
      result += m.coeff.to_str() + "*" + (terms.op(m.leaf) == Op::symbol ? terms.name(m.leaf) : "ite") + " + ";
    }
    return result + form.constant.to_str();
  }

  std::string form(Term t) {
    LinearForm f;
    linearizer.linearize(t, &f);
    return show(f);
  }
  std::string form(std::string_view t) { return form(text(t)); }

  // A chain of additions t = t + t, `depth` times: a tree of 2^depth leaves.
  Term doubled(Term t, int depth) {
    for (int i = 0; i < depth; ++i) t = terms.mk(Op::add, t, t);
    return t;
  }
};

TEST_F(LinearTest, EveryOperator) {
  text("(+ x y z)");  // numbers the symbols in this order
  EXPECT_EQ(form("7/2"), "7/2");
  EXPECT_EQ(form("x"), "1*x + 0");
  EXPECT_EQ(form("(+ z 1 x 2)"), "1*x + 1*z + 3");
  EXPECT_EQ(form("(- x y 1)"), "1*x + -1*y + -1");
  EXPECT_EQ(form("(- (- x) (- y 5))"), "-1*x + -1*y + 5");
  EXPECT_EQ(form("(* 2 (+ x 1) 3)"), "6*x + 6");
  EXPECT_EQ(form("(* (+ x 1) 1/2)"), "1/2*x + 1/2");
  EXPECT_EQ(form("(/ (- x 3) 2 5)"), "1/10*x + -3/10");
  EXPECT_EQ(form("(* 0 (+ x y))"), "0");
}

TEST_F(LinearTest, SumsAndCancelsRepeatedLeaves) {
  text("(+ x y z)");
  EXPECT_EQ(form("(+ x y (* 2 x) (- y))"), "3*x + 0");
  EXPECT_EQ(form("(- (+ x y) (+ y x))"), "0");
  EXPECT_EQ(form("(+ z (- x z) z (* 1/3 y))"), "1*x + 1/3*y + 1*z + 0");
}

TEST_F(LinearTest, DifferenceOfTwoTerms) {
  LinearForm f;
  linearizer.subtract(text("(+ x 3)"), text("(* 2 (+ x y))"), &f);
  EXPECT_EQ(show(f), "-1*x + -2*y + 3");
  const Term shared = text("(+ x y 1)");
  linearizer.subtract(shared, shared, &f);
  EXPECT_EQ(show(f), "0");
  linearizer.subtract(shared, terms.mk(Op::negate, shared), &f);
  EXPECT_EQ(show(f), "2*x + 2*y + 2");
}

TEST_F(LinearTest, IteWithOpenConditionIsALeaf) {
  EXPECT_EQ(form("(+ 1 (ite p x y))"), "1*ite + 1");
  EXPECT_EQ(form("(+ 1 (ite (< 1 2) x y))"), "1*x + 1");
  EXPECT_EQ(form("(+ 1 (ite (< 2 1) x (+ y 2)))"), "1*y + 3");
}

TEST_F(LinearTest, ManyLevelsDeep) {
  Term t = text("x");
  const Term y = text("y"), one = text("1");
  for (int i = 0; i < 100000; ++i) t = terms.mk(Op::subtract, terms.mk(Op::add, t, one), y);
  EXPECT_EQ(form(t), "1*x + -100000*y + 100000");
}

TEST_F(LinearTest, ASumOfAHundredThousandTerms) {
  std::vector<Term> summands;
  for (int i = 0; i < 100000; ++i) {
    const Term symbol = terms.mk_symbol("v", Sort::real);
    summands.push_back(terms.mk(Op::multiply, terms.mk_real(QNumber(std::int64_t{i + 1}, 7L)), symbol));
  }
  std::shuffle(summands.begin(), summands.end(), std::mt19937(1));
  LinearForm f;
  linearizer.linearize(terms.mk(Op::add, summands), &f);
  ASSERT_EQ(f.terms.size(), 100000u);
  for (std::size_t i = 0; i < f.terms.size(); ++i) {
    ASSERT_EQ(f.terms[i].coeff, QNumber(static_cast<std::int64_t>(i) + 1, std::int64_t{7}));
  }
}

TEST_F(LinearTest, SharedTermsAreExpandedOnce) {
  EXPECT_EQ(form(doubled(text("(+ x 1)"), 60)), "1152921504606846976*x + 1152921504606846976");
  EXPECT_LE(linearizer.num_expanded(), 61u);
}

TEST_F(LinearTest, SharingAtManyDepthsStaysLinear) {
  // Each term holds the two before it.
  Term a = text("x"), b = text("(+ x y)");
  for (int i = 0; i < 3000; ++i) {
    const Term next = terms.mk(Op::add, a, b);
    a = b;
    b = terms.mk(Op::divide, next, terms.mk_real(2));
  }
  form(b);
  EXPECT_LE(linearizer.num_expanded(), 6001u);
}

TEST_F(LinearTest, ALargeDefinitionWithAShortFormIsRemembered) {
  Term definition = text("x");
  for (int i = 0; i < 1000; ++i)
    definition = terms.mk(Op::add, definition, terms.mk(Op::multiply, text("2"), text("y")));
  std::vector<Term> users;
  for (int i = 0; i < 1000; ++i) {
    users.push_back(terms.mk(Op::subtract, definition, terms.mk_symbol("v", Sort::real)));
  }
  for (const Term t : users) ASSERT_EQ(form(t), "1*x + 2000*y + -1*v + 0");
  EXPECT_EQ(linearizer.num_remembered(), 1u);
  EXPECT_LE(linearizer.num_expanded(), 20000u);
}

TEST_F(LinearTest, AChainOfDefinitionsStaysLinear) {
  // Every prefix of a long sum over two symbols is used; a walk from each to the bottom would be quadratic.
  Term prefix = text("x");
  std::vector<Term> users;
  for (int i = 0; i < 4000; ++i) {
    prefix = terms.mk(Op::add, prefix, text("y"), terms.mk_real(i));
    users.push_back(terms.mk(Op::subtract, prefix, text("z")));
  }
  for (int round = 0; round < 6; ++round) {
    for (const Term t : users) form(t);
  }
  EXPECT_EQ(form(users.back()), "1*x + 4000*y + -1*z + 7998000");
  EXPECT_LE(linearizer.num_expanded(), 6u * 4000u * 60u);
}

// Random DAGs, against evaluation at random points.
TEST_F(LinearTest, AgreesWithEvaluation) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&random](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    std::vector<Term> pool = {text("x"), text("y"), text("z"), text("3"), text("-1/2"), text("0")};
    const std::vector<Term> constants = {text("2"), text("-1"), text("1/3"), text("-5/7")};
    for (int i = 0; i < 60; ++i) {
      const Term a = pool[pick(pool.size())], b = pool[pick(pool.size())], c = constants[pick(constants.size())];
      switch (pick(5)) {
        case 0:
          pool.push_back(terms.mk(Op::add, a, b, c));
          break;
        case 1:
          pool.push_back(terms.mk(Op::subtract, a, b));
          break;
        case 2:
          pool.push_back(terms.mk(Op::multiply, c, a));
          break;
        case 3:
          pool.push_back(terms.mk(Op::divide, a, c));
          break;
        default:
          pool.push_back(terms.mk(Op::negate, a));
          break;
      }
    }
    std::map<std::uint32_t, QNumber> point;
    Evaluator evaluator(
        terms,
        [&](Term s) {
          return point.emplace(s.id(), QNumber(static_cast<std::int64_t>(pick(9)) - 4, std::int64_t{3})).first->second;
        },
        [](Term) { return false; });
    for (const Term t : pool) {
      LinearForm f;
      linearizer.linearize(t, &f);
      QNumber sum = f.constant;
      for (const Monomial& m : f.terms) {
        ASSERT_FALSE(m.coeff.is_zero());
        sum.add_mul(m.coeff, evaluator.real_value(m.leaf));
      }
      ASSERT_EQ(sum, evaluator.real_value(t));
    }
  }
}

}  // namespace
}  // namespace tarku::smt

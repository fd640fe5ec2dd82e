// Terms: sharing, folding, what is known without a search, and the errors.
#include "tarku/smt/term.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

class TermTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};

  std::string value(std::string_view t) {
    const Term term = text(t);
    return terms.op(term) == Op::numeral ? terms.value(term).to_str() : "not a numeral";
  }

  std::string known(std::string_view t) {
    const std::optional<bool> k = terms.known_truth(text(t));
    return !k ? "open" : *k ? "true" : "false";
  }

  std::string error(std::string_view t) {
    try {
      text(t);
    } catch (const TermError& e) {
      return e.what();
    }
    return "";
  }
};

TEST_F(TermTest, EqualTermsAreOneTerm) {
  EXPECT_EQ(text("(<= (+ x 1) y)"), text("(<= (+ x 1) y)"));
  EXPECT_NE(text("(<= x y)"), text("(<= y x)"));
  EXPECT_NE(text("(< x y)"), text("(<= x y)"));
  EXPECT_EQ(text("1/2"), text("0.5"));
  const QNumber huge = QNumber(1L << 62) * QNumber(1L << 62);
  EXPECT_EQ(terms.mk_real(huge), terms.mk_real(huge * QNumber(7) / QNumber(7)));
  EXPECT_NE(terms.mk_real(huge), terms.mk_real(huge + QNumber(1)));
}

TEST_F(TermTest, EqualValuesOfDifferentFormAreOneNumeral) {
  const QNumber big = QNumber(1L << 62) * QNumber(4);
  const QNumber back = big / QNumber(1L << 62);  // 4, kept in the big form
  EXPECT_EQ(terms.mk_real(back), terms.mk_real(4));
}

TEST_F(TermTest, SymbolsOfOneNameAreDifferent) {
  const Term a = terms.mk_symbol("x", Sort::real);
  const Term b = terms.mk_symbol("x", Sort::real);
  EXPECT_NE(a, b);
  EXPECT_EQ(terms.name(a), terms.name(b));
  EXPECT_NE(terms.mk(Op::less, a, b), terms.mk(Op::less, b, a));
}

TEST_F(TermTest, ArgumentsComeBackInOrderAndHaveSmallerIds) {
  const Term t = text("(+ x (* 2 y) 3 z)");
  const Args args = terms.args(t);
  ASSERT_EQ(args.size(), 4u);
  EXPECT_EQ(args[0], text("x"));
  EXPECT_EQ(args[1], text("(* 2 y)"));
  EXPECT_EQ(args[2], text("3"));
  for (const Term a : args) EXPECT_LT(a.id(), t.id());
  EXPECT_EQ(terms.args(text("x")).size(), 0u);
}

TEST_F(TermTest, ArgumentsOfAnotherTermMayBeHandedIn) {
  for (int i = 0; i < 200; ++i) {  // often enough for the argument array to move
    const Term sum = terms.mk(Op::add, text("x"), terms.mk_real(i), text("y"));
    const Args args = terms.args(sum);
    const Term other = terms.mk(Op::equal, args.first, args.count);
    ASSERT_EQ(terms.args(other)[1], terms.mk_real(i));
    ASSERT_EQ(terms.args(other)[2], text("y"));
    const Args pair = terms.args(terms.mk(Op::less, text("x"), terms.mk_real(i)));
    const Term third = terms.mk(Op::equal, pair.first, pair.count);
    ASSERT_EQ(terms.args(third)[0], text("x"));
    ASSERT_EQ(terms.args(third)[1], terms.mk_real(i));
  }
}

TEST_F(TermTest, EqualNumeralsAreOneTermWhateverTheirForm) {
  for (const char* digits : {"0", "1", "-1", "1023", "1024", "-1024", "1/2", "-5/7", "9223372036854775807",
                             "9223372036854775808", "1/9223372036854775808"}) {
    QNumber value, long_form;
    ASSERT_TRUE(QNumber::parse(digits, &value));
    ASSERT_TRUE(QNumber::parse("9223372036854775808", &long_form));
    long_form = value;  // keeps its form
    ASSERT_FALSE(long_form.is_small());
    const Term t = terms.mk_real(value);
    EXPECT_EQ(terms.mk_real(long_form), t) << digits;
    EXPECT_EQ(terms.value(t).to_str(), digits);
    EXPECT_EQ(terms.value(t).is_small(), value.is_small());
    EXPECT_EQ(terms.has_big_numerals(), !value.is_small()) << digits;
  }
}

TEST_F(TermTest, ArithmeticOverConstantsIsFolded) {
  EXPECT_EQ(value("(+ 1 2 3/2)"), "9/2");
  EXPECT_EQ(value("(- 1 2 3)"), "-4");
  EXPECT_EQ(value("(- 5)"), "-5");
  EXPECT_EQ(value("(* 2 3/4)"), "3/2");
  EXPECT_EQ(value("(/ 1 3 2)"), "1/6");
  EXPECT_EQ(value("(* (/ 1 3) (- 0.5 (+ 1/4 1/4 3)))"), "-1");
  EXPECT_EQ(value("(+ x 1)"), "not a numeral");
  EXPECT_EQ(value("(* 9223372036854775807 9223372036854775807)"), "85070591730234615847396907784232501249");
}

TEST_F(TermTest, OneArgumentStandsForItself) {
  EXPECT_EQ(text("(and p)"), text("p"));
  EXPECT_EQ(text("(or p)"), text("p"));
  EXPECT_EQ(text("(+ x)"), text("x"));
  EXPECT_EQ(text("(* x)"), text("x"));
  EXPECT_EQ(terms.op(text("(- x)")), Op::negate);
}

TEST_F(TermTest, SortsFollowFromTheOperator) {
  EXPECT_EQ(terms.sort(text("(ite p x y)")), Sort::real);
  EXPECT_EQ(terms.sort(text("(ite p q r)")), Sort::boolean);
  EXPECT_EQ(terms.sort(text("(= x y)")), Sort::boolean);
  EXPECT_EQ(terms.sort(text("(/ x 2)")), Sort::real);
}

TEST_F(TermTest, KnowsWhatConstantsDecide) {
  EXPECT_EQ(known("true"), "true");
  EXPECT_EQ(known("p"), "open");
  EXPECT_EQ(known("(not false)"), "true");
  EXPECT_EQ(known("(and p false)"), "false");
  EXPECT_EQ(known("(and p true)"), "open");
  EXPECT_EQ(known("(or p true)"), "true");
  EXPECT_EQ(known("(or false (and true true))"), "true");
  EXPECT_EQ(known("(=> false p)"), "true");
  EXPECT_EQ(known("(=> true p true)"), "true");
  EXPECT_EQ(known("(=> true true false)"), "false");
  EXPECT_EQ(known("(=> p false)"), "open");
  EXPECT_EQ(known("(=> p false q)"), "true");
  EXPECT_EQ(known("(xor true true true)"), "true");
  EXPECT_EQ(known("(xor true p)"), "open");
  EXPECT_EQ(known("(ite true p q)"), "open");
  EXPECT_EQ(known("(ite p true true)"), "true");
  EXPECT_EQ(known("(ite false p (< 1 2))"), "true");
  EXPECT_EQ(known("(ite p true false)"), "open");
}

TEST_F(TermTest, KnowsComparisonsOfConstantsAndOfATermWithItself) {
  EXPECT_EQ(known("(< 1 2 3)"), "true");
  EXPECT_EQ(known("(< 1 2 2)"), "false");
  EXPECT_EQ(known("(<= 1 2 2)"), "true");
  EXPECT_EQ(known("(>= 1 2)"), "false");
  EXPECT_EQ(known("(> 2 x 3)"), "open");
  EXPECT_EQ(known("(> 2 x x)"), "false");
  EXPECT_EQ(known("(>= x x)"), "true");
  EXPECT_EQ(known("(= x x)"), "true");
  EXPECT_EQ(known("(= 1 2)"), "false");
  EXPECT_EQ(known("(= x 1)"), "open");
  EXPECT_EQ(known("(= p true p)"), "open");
  EXPECT_EQ(known("(= p true false)"), "false");
  EXPECT_EQ(known("(= true p false)"), "false") << "no neighbours";
  EXPECT_EQ(known("(= p true (not p) true)"), "open");
  EXPECT_EQ(known("(= true (not false))"), "true");
  EXPECT_EQ(known("(distinct 1 2 3)"), "true");
  EXPECT_EQ(known("(distinct 1 x 1)"), "false");
  EXPECT_EQ(known("(distinct 1 x 2)"), "open");
  EXPECT_EQ(known("(distinct p q r)"), "false");
  EXPECT_EQ(known("(distinct p q)"), "open");
  EXPECT_EQ(known("(distinct true false)"), "true");
}

TEST_F(TermTest, KnowsWhatIsShared) {
  const Term sum = text("(+ x y)");
  EXPECT_FALSE(terms.is_shared(sum));
  text("(< sum2 (+ x y))");
  EXPECT_FALSE(terms.is_shared(sum));
  text("(< sum2 (+ x y))");  // the same term again is no further use
  EXPECT_FALSE(terms.is_shared(sum));
  text("(< sum3 (+ x y))");
  EXPECT_TRUE(terms.is_shared(sum));
  const Term twice = text("(- x y)");
  terms.mk(Op::add, twice, twice);
  EXPECT_TRUE(terms.is_shared(twice));
}

TEST_F(TermTest, RefusesWrongSorts) {
  EXPECT_EQ(error("(+ x p)"), "'+' takes arguments of sort Real, but argument 2 is of sort Bool");
  EXPECT_EQ(error("(and p x)"), "'and' takes arguments of sort Bool, but argument 2 is of sort Real");
  EXPECT_EQ(error("(<= p x)"), "'<=' takes arguments of sort Real, but argument 1 is of sort Bool");
  EXPECT_EQ(error("(= x p)"),
            "'=' takes arguments of one sort, but argument 1 is of sort Real and argument 2 is of sort Bool");
  EXPECT_EQ(error("(ite p x q)"), "'ite' branches are of different sorts");
  EXPECT_EQ(error("(ite x x x)"), "'ite' takes a condition of sort Bool, but argument 1 is of sort Real");
}

TEST_F(TermTest, RefusesWrongNumbersOfArguments) {
  EXPECT_EQ(error("(not p q)"), "'not' takes 1 argument, but 2 are given");
  EXPECT_EQ(error("(not)"), "'not' takes 1 argument, but none is given");
  EXPECT_EQ(error("(ite p x)"), "'ite' takes 3 arguments, but 2 are given");
  EXPECT_EQ(error("(= x)"), "'=' takes at least 2 arguments, but 1 is given");
  EXPECT_EQ(error("(and)"), "'and' takes at least 1 argument, but none is given");
  EXPECT_EQ(error("(/ x)"), "'/' takes at least 2 arguments, but 1 is given");
}

TEST_F(TermTest, RefusesWhatIsNotLinear) {
  EXPECT_EQ(error("(* x y)"), "'*' of two non-constant terms is not linear");
  EXPECT_EQ(error("(* 2 x 3 (+ y 1))"), "'*' of two non-constant terms is not linear");
  EXPECT_EQ(error("(* 2 x 3)"), "");
  EXPECT_EQ(error("(/ x 0)"), "division by zero");
  EXPECT_EQ(error("(/ 1 (- 1 1))"), "division by zero");
  EXPECT_EQ(error("(/ 1 x)"), "'/' by a non-constant term is not linear");
  EXPECT_EQ(error("(/ x 2 4)"), "");
}

TEST_F(TermTest, ARefusedTermLeavesNothingBehind) {
  text("x"), text("p");
  const std::uint32_t before = terms.num_terms();
  EXPECT_NE(error("(+ x p)"), "");
  EXPECT_NE(error("(* x x)"), "");
  EXPECT_EQ(terms.num_terms(), before);
}

}  // namespace
}  // namespace tarku::smt

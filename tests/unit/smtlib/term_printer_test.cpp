// The printer of terms: what it writes, that it can be read back, and that it stays linear.
#include "tarku/smtlib/term_printer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/session.h"

namespace tarku::smtlib {
namespace {

class TermPrinterTest : public testing::Test {
 protected:
  Session session;

  TermPrinterTest() {
    for (const char* name : {"x", "y", "p", "q", "a b"}) declare(name);
  }

  smt::Term declare(const std::string& name) {
    const smt::Sort sort = name == "p" || name == "q" ? smt::Sort::boolean : smt::Sort::real;
    const smt::Term term = session.terms.mk_symbol(name, sort);
    session.symbols.declare(session.symbols.intern(name), Binding::to_value(Value::closed(term)),
                            SymbolTable::Origin::declared);
    return term;
  }

  smt::Term parse(const std::string& text) {
    Lexer lexer(Source::of_text(text));
    session.reader.set_lexer(&lexer);
    session.reader.next();
    return session.term_parser.parse();
  }

  std::string print(smt::Term term) {
    std::ostringstream out;
    TermPrinter(session.terms).print(out, term);
    return out.str();
  }
  std::string print(const std::string& text) { return print(parse(text)); }
};

TEST_F(TermPrinterTest, WritesWhatWasRead) {
  for (const char* text : {"true",
                           "x",
                           "|a b|",
                           "3.0",
                           "(- 2.5)",
                           "(and p (not q))",
                           "(or p q true)",
                           "(=> p q p)",
                           "(xor p q)",
                           "(ite p x y)",
                           "(ite q p (= x y))",
                           "(distinct x y 1.0)",
                           "(< x y)",
                           "(<= x y 0.0)",
                           "(> 1.0 x)",
                           "(>= x y)",
                           "(= p q)",
                           "(+ x y 1.0)",
                           "(- x y)",
                           "(- x)",
                           "(* 2.0 x)",
                           "(/ x 3.0)"}) {
    const std::string printed = print(std::string(text));
    if (std::string(text) == "(- 2.5)") {
      EXPECT_EQ(printed, "(- (/ 5.0 2.0))");
    } else {
      EXPECT_EQ(printed, text);
    }
    EXPECT_EQ(parse(printed), parse(text)) << printed;
  }
}

TEST_F(TermPrinterTest, SmallSubtermsAreRepeatedAndLargeOnesNamed) {
  EXPECT_EQ(print("(let ((a (> x 0))) (and a (not a)))"), "(and (> x 0.0) (not (> x 0.0)))");
  const std::string sum = "(+ (* 2.0 x) (* 3.0 y) |a b|)";
  EXPECT_EQ(print("(let ((s " + sum + ")) (and (> s 0) (< s 1)))"),
            "(let ((@1 " + sum + ")) (and (> @1 0.0) (< @1 1.0)))");
  EXPECT_EQ(print("(> " + sum + " 0)"), "(> " + sum + " 0.0)") << "once is not shared";
}

TEST_F(TermPrinterTest, NamesStandInTheOrderOfTheirUse) {
  const std::string text =
      "(let ((a (+ (* 2 x) (* 3 y) |a b|))) (let ((b (ite (< a 0) (- a) (* 5 a)))) (< b (+ 1 b) a)))";
  const std::string printed = print(text);
  EXPECT_EQ(printed,
            "(let ((@1 (+ (* 2.0 x) (* 3.0 y) |a b|))) (let ((@2 (ite (< @1 0.0) (- @1) (* 5.0 @1)))) "
            "(< @2 (+ 1.0 @2) @1)))");
  EXPECT_EQ(parse(printed), parse(text));
}

TEST_F(TermPrinterTest, VariablesAvoidTheNamesOfTheScript) {
  for (const char* name : {"@1", "@@@", "@@1"}) {
    declare(name);
    const std::string text = "(let ((s (+ (* 2 x) (* 3 y) |a b|))) (and (> s 0) (< s " + std::string(name) + ")))";
    const std::string printed = print(text);
    EXPECT_NE(printed.find("(let ((@"), std::string::npos) << printed;
    EXPECT_EQ(parse(printed), parse(text)) << printed;
  }
}

TEST_F(TermPrinterTest, SharingStaysLinear) {
  smt::Term t = parse("(+ x y)");
  for (int i = 0; i < 1000; ++i) t = session.terms.mk(smt::Op::add, t, t);
  const std::string printed = print(t);
  EXPECT_LT(printed.size(), 60000u);
  EXPECT_EQ(parse(printed), t);
}

TEST_F(TermPrinterTest, ManyLevelsDeep) {
  smt::Term t = parse("p");
  for (int i = 0; i < 200000; ++i) t = session.terms.mk(smt::Op::not_op, t);
  const std::string printed = print(t);
  EXPECT_EQ(printed.size(), 200000u * 6 + 1);
  EXPECT_EQ(parse(printed), t);
}

}  // namespace
}  // namespace tarku::smtlib

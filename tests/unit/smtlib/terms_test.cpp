// Reading terms: what they mean, which names they see, and what is said about bad ones.
#include <gtest/gtest.h>

#include <string>

#include "tarku/smtlib/lexer.h"
#include "tarku/smtlib/session.h"
#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

const char* const declarations =
    "(declare-fun x () Real)(declare-fun y () Real)(declare-fun p () Bool)(declare-fun q () Bool)\n";

// Whether two terms are read as the same one.
::testing::AssertionResult same(const std::string& left, const std::string& right) {
  Session session;
  for (const char* name : {"x", "y", "p", "q"}) {
    const smt::Sort sort = *name < 'x' ? smt::Sort::boolean : smt::Sort::real;
    const smt::Term term = session.terms.mk_symbol(name, sort);
    session.symbols.declare(session.symbols.intern(name), Binding::to_value(Value::closed(term)),
                            SymbolTable::Origin::declared);
  }
  Lexer lexer(Source::of_text(left + " " + right + " end"));
  session.reader.set_lexer(&lexer);
  try {
    session.reader.next();
    const smt::Term first = session.term_parser.parse();
    session.reader.next();
    const smt::Term second = session.term_parser.parse();
    if (session.reader.next().text != "end") return ::testing::AssertionFailure() << "more than two terms";
    if (first == second) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << left << " is not " << right;
  } catch (const InputError& error) {
    return ::testing::AssertionFailure() << error.message() << " at column " << error.at().column;
  }
}

// The complaint about `term`, read on line 2 behind "(assert ".
std::string complaint(const std::string& term, const std::string& before = "") {
  return answers(declarations + before + (before.empty() ? "" : "\n") + "(assert " + term + ")");
}

std::string error(const std::string& what) {
  return "(error \"test.smt2:" + what + "\")\n";
}

TEST(Terms, NumbersAreReals) {
  EXPECT_TRUE(same("(+ x 1)", "(+ x 1.0)"));
  EXPECT_TRUE(same("(/ 1 3)", "(/ 2.0 6)"));
  EXPECT_TRUE(same("(- 2.5)", "(/ (- 5) 2)"));
  EXPECT_TRUE(same("(* (/ 1 3) x)", "(* (/ 2 6) x)"));
  EXPECT_TRUE(same("(to_real 3)", "3"));
  EXPECT_TRUE(same("(to_real x)", "x"));
}

TEST(Terms, QuotedAndPlainSymbolsAreTheSame) {
  EXPECT_TRUE(same("|x|", "x"));
  EXPECT_TRUE(same("(|+| x y)", "(+ x y)"));
  EXPECT_TRUE(same("(let ((|let| x)) |let|)", "x"));
}

TEST(Terms, LetBindsInParallel) {
  EXPECT_TRUE(same("(let ((x y) (y x)) (- x y))", "(- y x)"));
  EXPECT_TRUE(same("(let ((x y)) (let ((y x)) (+ x y)))", "(+ y y)"));
}

TEST(Terms, LetHidesAndUncovers) {
  EXPECT_TRUE(same("(+ (let ((x 1)) (+ x y)) x)", "(+ (+ 1 y) x)"));
  EXPECT_TRUE(same("(let ((x (let ((x y)) (+ x 1)))) (+ x 2))", "(+ (+ y 1) 2)"));
  EXPECT_TRUE(same("(let ((x 1)) (let ((x (+ x 1))) (let ((x (+ x 1))) x)))", "3"));
  EXPECT_TRUE(same("(let ((+ x)) +)", "x"));  // names of the theory can be hidden, too
  EXPECT_TRUE(same("(and p (let ((p q) (q p)) (=> p q)) q)", "(and p (=> q p) q)"));
}

TEST(Terms, QualifiedNamesAreThemselves) {
  EXPECT_TRUE(same("(as x Real)", "x"));
  EXPECT_TRUE(same("((as + Real) x y)", "(+ x y)"));
  EXPECT_TRUE(same("(not (as p Bool))", "(not p)"));
  EXPECT_EQ(complaint("(as p Real)"), error("2:9: the term is of sort Bool, not Real"));
  EXPECT_EQ(complaint("((as < Real) x y)"), error("2:9: the term is of sort Bool, not Real"));
}

TEST(Terms, AnnotationsLeaveTheTerm) {
  EXPECT_TRUE(same("(! x :named n)", "x"));
  EXPECT_TRUE(same("(! (+ x (! y :weight 3 :flag)) :pattern ((f x) y) :named n :other)", "(+ x y)"));
  EXPECT_TRUE(same("(+ (! (+ x 1) :named n) n)", "(+ (+ x 1) (+ x 1))"));
  EXPECT_TRUE(same("(let ((x y)) (! x :named n))", "y"));
  EXPECT_EQ(complaint("(! p)"), error("2:13: expected an attribute, found ')'"));
  EXPECT_EQ(complaint("(! p q)"), error("2:14: expected an attribute, found 'q'"));
  EXPECT_EQ(complaint("(! p :named)"), error("2:20: expected a name after ':named', found ')'"));
  EXPECT_EQ(complaint("(! p :named q)"), error("2:21: 'q' is declared already"));
  EXPECT_EQ(complaint("(! p :named +)"), error("2:21: '+' is a name of the theory and cannot be declared"));
}

TEST(Terms, ANameOfAFailedTermIsForgotten) {
  EXPECT_EQ(complaint("n", "(assert (and (! p :named n) r))"),
            error("2:29: unknown symbol 'r'") + error("3:9: unknown symbol 'n'"));
}

TEST(Terms, UnknownNames) {
  EXPECT_EQ(complaint("(and p (> x\n  z))"), error("3:3: unknown symbol 'z'"));
  EXPECT_EQ(complaint("(> (f x) y)"), error("2:13: unknown function 'f'"));
  EXPECT_EQ(complaint("(> x -5)"), error("2:14: unknown symbol '-5'; negative numbers are written (- 5)"));
  EXPECT_EQ(complaint("(let ((a x)) (> b a))"), error("2:25: unknown symbol 'b'"));
  EXPECT_EQ(complaint("(and (let ((a p)) a) a)"), error("2:30: unknown symbol 'a'"));
}

TEST(Terms, NumbersOfArguments) {
  EXPECT_EQ(complaint("(not p q)"), error("2:9: 'not' takes 1 argument, but 2 are given"));
  EXPECT_EQ(complaint("(and p (< x))"), error("2:16: '<' takes at least 2 arguments, but 1 is given"));
  EXPECT_EQ(complaint("(and)"), error("2:9: 'and' is given no arguments"));
  EXPECT_EQ(complaint("(> (to_real x y) 0)"), error("2:12: 'to_real' takes 1 argument, but 2 are given"));
  EXPECT_EQ(complaint("(and (x) p)"), error("2:15: 'x' is not a function and takes no arguments"));
  EXPECT_EQ(complaint("(and p +)"), error("2:16: '+' is a function and needs arguments"));
}

TEST(Terms, Sorts) {
  EXPECT_EQ(complaint("(and p (> (+ x p) 1))"),
            error("2:19: '+' takes arguments of sort Real, but argument 2 is of sort Bool"));
  EXPECT_EQ(complaint("(ite x p q)"),
            error("2:9: 'ite' takes a condition of sort Bool, but argument 1 is of sort Real"));
  EXPECT_EQ(complaint("(> (to_real p) 0)"),
            error("2:12: 'to_real' takes a Real as argument 1, but it is of sort Bool"));
  EXPECT_EQ(complaint("(+ x y)"), error("2:9: an assertion must be of sort Bool, but this is of sort Real"));
}

TEST(Terms, WhatIsNotLinear) {
  EXPECT_EQ(complaint("(> 1 (* x y))"), error("2:14: '*' of two non-constant terms is not linear"));
  EXPECT_EQ(complaint("(> 1 (/ x y))"), error("2:14: '/' by a non-constant term is not linear"));
  EXPECT_EQ(complaint("(> 1 (/ x 0))"), error("2:14: division by zero"));
  EXPECT_EQ(complaint("(> 1 (/ x (- 1 1.0)))"), error("2:14: division by zero"));
}

TEST(Terms, WhatIsNotATerm) {
  EXPECT_EQ(complaint("()"), error("2:10: expected a function, found ')'"));
  EXPECT_EQ(complaint(""), error("2:9: expected a term, found ')'"));
  EXPECT_EQ(complaint("(and p :key)"), error("2:16: expected a term, found ':key'"));
  EXPECT_EQ(complaint("(5 x)"), error("2:10: expected a function, found '5'"));
  EXPECT_EQ(complaint("((+ x) y)"), error("2:11: expected 'as', found '+'"));
  EXPECT_EQ(complaint("(= #x1F x)"), error("2:12: literals of this kind have no sort in this logic"));
  EXPECT_EQ(complaint("(= \"a\" x)"), error("2:12: literals of this kind have no sort in this logic"));
  EXPECT_EQ(complaint("(forall ((z Real)) p)"), error("2:10: quantifiers are not part of this logic"));
  EXPECT_EQ(complaint("(_ bv1 8)"), error("2:10: indexed names are not part of this logic"));
  EXPECT_EQ(complaint("(match p)"), error("2:10: 'match' is not supported in terms"));
  EXPECT_EQ(complaint("(and p as)"), error("2:16: expected a term, found 'as'"));
  EXPECT_EQ(complaint("(and p 1.)"), error("2:16: malformed number '1.'"));
}

TEST(Terms, MalformedLets) {
  EXPECT_EQ(complaint("(let x p)"), error("2:14: expected '(' before the variables of 'let', found 'x'"));
  EXPECT_EQ(complaint("(let () p)"), error("2:15: expected '(' before a variable of 'let', found ')'"));
  EXPECT_EQ(complaint("(let ((a)) p)"), error("2:17: expected a term, found ')'"));
  EXPECT_EQ(complaint("(let ((1 p)) p)"), error("2:16: expected the name of a variable, found '1'"));
  EXPECT_EQ(complaint("(let ((a p q)) p)"), error("2:20: expected ')' after the value of a variable, found 'q'"));
  EXPECT_EQ(complaint("(let ((a p)) p q)"), error("2:24: expected ')' after the body of 'let', found 'q'"));
  EXPECT_EQ(complaint("(let ((a p)) )"), error("2:22: expected a term, found ')'"));
  EXPECT_EQ(complaint("(let ((a p) (a q)) a)"), error("2:9: 'a' occurs twice among the variables of one 'let'"));
  EXPECT_EQ(complaint("(let ((a p) b) a)"), error("2:21: expected another variable of 'let' or ')', found 'b'"));
}

TEST(Terms, ScopesAreClosedAfterAnError) {
  EXPECT_EQ(
      answers(std::string(declarations) + "(assert (let ((x p) (k q)) (and x (+ k 1))))\n(assert (> x 1))\n(assert k)"),
      error("2:35: '+' takes arguments of sort Real, but argument 1 is of sort Bool") +
          error("4:9: unknown symbol 'k'"));
}

// ---- defined functions ----

TEST(Definitions, BodiesSeeTheNamesOfTheirOwnPlace) {
  EXPECT_EQ(answers("(declare-fun y () Real)(define-fun f ((a Real)) Real (+ a y))(assert (= y 5))(check-sat)"
                    "(get-value ((let ((y 100)) (f y)) (let ((a 7)) (f 1))))"),
            "sat\n(((let ((y 100)) (f y)) 105.0)\n ((let ((a 7)) (f 1)) 6.0))\n");
}

TEST(Definitions, ParametersHideGlobalNames) {
  EXPECT_EQ(answers("(declare-fun x () Real)(define-fun f ((x Real) (+ Real)) Real (let ((x (* 2 x))) (- x +)))"
                    "(assert (= x 5))(check-sat)(get-value ((f 10 x) x))"),
            "sat\n(((f 10 x) 15.0)\n (x 5.0))\n");
}

TEST(Definitions, MayUseEachOther) {
  EXPECT_EQ(answers("(define-fun f ((a Real)) Real (* 2 a))(define-fun g ((a Real) (b Real)) Real (+ (f a) (f b)))"
                    "(define-const c Real (g 1 2))(define-fun h () Real (g c c))(assert (> h c))(check-sat)"
                    "(get-value (c h (g 1 1)))"),
            "sat\n((c 6.0)\n (h 24.0)\n ((g 1 1) 4.0))\n");
}

TEST(Definitions, KeepTheirMeaningWhenANameGoes) {
  EXPECT_EQ(
      answers("(set-option :global-declarations true)(push 1)(define-fun f ((a Real)) Real (+ a 1))"
              "(pop 1)(define-fun g ((a Real)) Real (f (f a)))(assert (> (g 1) 2))(check-sat)(get-value ((g 1)))"),
      "sat\n(((g 1) 3.0))\n");
}

TEST(Definitions, ErrorsInDefinitions) {
  const std::string before = declarations;
  EXPECT_EQ(answers(before + "(define-fun f ((a Real) (a Bool)) Real a)"),
            error("2:26: 'a' occurs twice among the parameters"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Real)) Bool (+ a 1))"),
            error("2:31: the body of 'f' is of sort Real, not Bool"));
  EXPECT_EQ(answers(before + "(define-fun f () Bool x)"), error("2:23: the body of 'f' is of sort Real, not Bool"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Real)) Real (+ a p))"),
            error("2:31: '+' takes arguments of sort Real, but argument 2 is of sort Bool"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Real)) Real (! a :named n))"),
            error("2:43: only a term without parameters can be named, which 'n' would not be"));
  EXPECT_EQ(answers(before + "(define-fun x ((a Real)) Real a)"), error("2:13: 'x' is declared already"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Int)) Real 1)"),
            error("2:19: unknown sort 'Int'; the sorts of this logic are Bool and Real"));
  EXPECT_EQ(answers(before + "(define-fun f (a Real) Real 1)"), error("2:16: expected a parameter or ')', found 'a'"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Real)) Real (f a))"), error("2:32: unknown function 'f'"));
  EXPECT_EQ(answers(before + "(define-fun f ((a Real)) Real b)(assert (> a 0))"),
            error("2:31: unknown symbol 'b'") + error("2:44: unknown symbol 'a'"));
}

TEST(Definitions, ErrorsInApplications) {
  const std::string f = "(define-fun f ((a Real) (b Bool)) Bool (and b (> a 0)))";
  EXPECT_EQ(complaint("(and p (f x))", f), error("3:16: 'f' takes 2 arguments, but 1 is given"));
  EXPECT_EQ(complaint("(f p q)", f), error("3:9: 'f' takes a Real as argument 1, but it is of sort Bool"));
  EXPECT_EQ(complaint("(and f p)", f), error("3:14: 'f' is a function and needs arguments"));
  EXPECT_EQ(complaint("(> (g x y) 0)", "(define-fun g ((a Real) (b Real)) Real (* a b))"),
            error("3:12: in the expansion of 'g': '*' of two non-constant terms is not linear"));
}

// ---- sorts ----

TEST(Sorts, DefinedOnesExpand) {
  EXPECT_EQ(answers("(define-sort R () Real)(define-sort First (A B) A)(define-sort Both (A) (First A (First Bool A)))"
                    "(declare-const a R)(declare-const b (Both (First R Bool)))(declare-const c (Both Bool))"
                    "(assert (and c (> a b)))(check-sat)(get-value (c))"),
            "sat\n((c true))\n");
}

TEST(Sorts, Errors) {
  EXPECT_EQ(answers("(declare-const a Int)"),
            error("1:18: unknown sort 'Int'; the sorts of this logic are Bool and Real"));
  EXPECT_EQ(answers("(declare-const a (Array Real Real))"),
            error("1:19: unknown sort 'Array'; the sorts of this logic are Bool and Real"));
  EXPECT_EQ(answers("(define-sort F (A) A)(declare-const a F)"), error("1:39: sort 'F' takes 1 argument"));
  EXPECT_EQ(answers("(define-sort F (A) A)(declare-const a (F Real Bool))"),
            error("1:39: sort 'F' takes 1 argument, but is given 2"));
  EXPECT_EQ(answers("(declare-const a (Real))"), error("1:18: sort 'Real' takes 0 arguments, but is given 0"));
  EXPECT_EQ(answers("(define-sort Real () Bool)"),
            error("1:14: sort 'Real' is a name of the theory and cannot be declared"));
  EXPECT_EQ(answers("(define-sort S () Bool)(define-sort S () Bool)"), error("1:37: sort 'S' is declared already"));
  EXPECT_EQ(answers("(declare-const a 5)"), error("1:18: expected a sort, found '5'"));
  EXPECT_EQ(answers("(declare-const a )"), error("1:18: expected a sort, found ')'"));
}

}  // namespace
}  // namespace tarku::smtlib

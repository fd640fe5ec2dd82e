// The reader of scripts: what is asserted when, what names mean, and what is refused.
#include "tarku/proof/checker/script.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tarku/proof/checker/refused.h"
#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::repeat;

std::unique_ptr<Script> read(const std::string& text) {
  std::istringstream in(text);
  return std::make_unique<Script>(in, "s");
}

// Why the script is refused; empty when it is not.
std::string refusal(const std::string& text) {
  try {
    read(text);
    return "";
  } catch (const Refused& refused) {
    return refused.what();
  }
}

// The reason for which a term of sort Bool is refused, without its place.
std::string refused_term(const std::string& term) {
  const std::string place = "s:1: ";
  const std::string found =
      refusal("(declare-const x Real)(declare-const y Real)(declare-const p Bool)(assert " + term + ")");
  return found.compare(0, place.size(), place) == 0 ? found.substr(place.size()) : found;
}

const std::string symbols = "(declare-const p Bool)(declare-const q Bool)(declare-const r Bool)";

// Why an assertion does not say the Bool symbol at a check.
std::string why_not(Script& script, std::uint64_t check, Source source, const std::string& symbol) {
  script.expect(check);
  return script.why_not(source, {script.bool_symbol(1, symbol)});
}

// ---- what terms mean: two spellings under declarations of x, y, z, p, q ----

void expect_same(const std::string& one, const std::string& other, const std::string& before = "") {
  const auto script = read(
      "(declare-const x Real)(declare-const y Real)(declare-const z Real)"
      "(declare-const p Bool)(declare-const q Bool)" +
      before + "(define-fun one () Bool " + one + ")(define-fun other () Bool " + other + ")" +
      "(assert (not (= one other)))(assert (= one other))(check-sat)");
  script->expect(1);
  EXPECT_EQ(script->why_not(0, {}), "") << one << " and " << other << " differ";
  EXPECT_NE(script->why_not(1, {}), "") << one << " and " << other << " are opposites";
}

TEST(CheckerScript, Terms) {
  expect_same("(< x 0.5)", "(< (* 2 x) 1)");
  expect_same("(< x 007.50)", "(< (/ x 15) (/ 1 2))");
  expect_same("(and p q)", "(not (or (not p) (not q)))");
  expect_same("(=> p q (< x y))", "(or (not p) (not q) (< x y))");
  expect_same("(> (- x y z) 1)", "(< (+ y z 1) x)");
  expect_same("(> (- x) 1)", "(< x (- 1))");
  expect_same("(<= x y z)", "(and (<= x y) (<= y z))");
  expect_same("(distinct x y z)", "(not (or (= x y) (= x z) (= z y)))");
  expect_same("(= (to_real 3) x)", "(= x 3)");
  expect_same("(< (* 3 (+ x y) 2) (* (/ 1 3) z))", "(< (+ (* 18 x) (* 18 y)) z)");
  expect_same("(ite p (< x 1) q)", "(ite (not p) q (not (>= x 1)))");
  expect_same("(and p)", "p");
  expect_same("(> (+ x) 0)", "(< (* 1 0) x)");
  expect_same("(xor p q)", "(distinct q p)");
}

TEST(CheckerScript, LetsAreParallelAndMayHideNames) {
  expect_same("(let ((x y) (y x)) (< x y))", "(< y x)");
  expect_same("(let ((x 1)) (let ((y x) (x 2)) (< x y z)))", "false");
  expect_same("(let ((a (+ x 1)) (b p)) (and b (let ((a p)) a) (< a y)))", "(and p p (< (+ x 1) y))");
  expect_same("(let ((and p)) and)", "p");
  expect_same("(and (let ((x 3)) (< x y)) (< x y))", "(and (< 3 y) (< x y))");
  expect_same("(let ((|a b| 3)) (< |a b| y))", "(< 3 y)");
}

TEST(CheckerScript, Definitions) {
  expect_same("(f 2 p)", "(or p (< (+ x 2) 1))", "(define-fun f ((a Real) (b Bool)) Bool (or b (< (+ x a) 1)))");
  expect_same("(let ((x 9)) (f 2 p))", "(or p (< (+ x 2) 1))",
              "(define-fun f ((a Real) (b Bool)) Bool (or b (< (+ x a) 1)))");
  expect_same("(< c 1)", "(< x 0)", "(define-fun c () Real (+ x 1))");
  expect_same("(< c 1)", "(< x 0)", "(define-const c Real (+ x 1))");
  expect_same("(g (< x 1) y)", "(ite (< x 1) (< y (* 2 y)) (> y 0))",
              "(define-fun f ((x Real)) Real (* 2 x))"
              "(define-fun g ((p Bool) (x Real)) Bool (let ((z (f x))) (ite p (< x z) (> x 0))))");
  expect_same("(< (f 1) (f 2))", "true", "(define-fun f ((a Real)) Real (ite (< a 2) a (+ a 1)))");
  expect_same("(f x)", "(< x 1)", "(define-fun f ((x Real)) Bool (< x 1))");
}

TEST(CheckerScript, DefinitionsWithSortsOfTheirOwn) {
  expect_same("(f 2)", "(< 2 x)",
              "(define-sort R () Real)(define-sort First (A B) A)(define-sort Nested (A) (First A (First Bool A)))"
              "(define-fun f ((a (Nested R))) (First Bool R) (< a x))");
}

// A tower of definitions, 2^200 applications if none were shared.
TEST(CheckerScript, TowersOfDefinitionsAreExpandedOnce) {
  std::string tower = "(define-fun f0 ((a Real)) Real (* (+ a a) 0.5))";
  for (int i = 1; i < 200; ++i) {
    const std::string below = "(f" + std::to_string(i - 1) + " a)";
    tower += "(define-fun f" + std::to_string(i) + " ((a Real)) Real (* (+ " + below + " " + below + ") 0.5))";
  }
  expect_same("(< (f199 (+ x 1)) y)", "(< (+ x 1) y)", tower);
}

// Each refers to the one before, so that running it goes deep.
TEST(CheckerScript, ChainsOfDefinitionsTakeNoCalls) {
  std::string chain = "(define-fun f0 ((a Real)) Real a)";
  for (int i = 1; i < 20000; ++i) {
    chain += "(define-fun f" + std::to_string(i) + " ((a Real)) Real (f" + std::to_string(i - 1) + " a))";
  }
  expect_same("(< (f19999 x) y)", "(< x y)", chain);
}

TEST(CheckerScript, DeepNestingTakesNoCalls) {
  constexpr std::size_t depth = 200000;
  expect_same(repeat("(not ", depth) + "p" + repeat(")", depth), "p");
  expect_same("(< " + repeat("(+ 1 ", depth) + "x" + repeat(")", depth) + " 0)",
              "(< x (- " + std::to_string(depth) + "))");
  const auto script = read(symbols + "(assert " + repeat("(and p ", depth) + "q" + repeat(")", depth) + ")(check-sat)");
  EXPECT_EQ(why_not(*script, 1, 0, "q"), "");
  EXPECT_NE(why_not(*script, 1, 0, "r"), "");
  EXPECT_EQ(refusal(repeat("(f ", depth) + repeat(")", depth)), "");
}

TEST(CheckerScript, Annotations) {
  expect_same("(! (! p :named a) :named b)", "p");
  expect_same("(and (! (< x 1) :weight 3 :flag :other (a (b \"c\")) :named n :last) n)", "(and (< x 1) (< x 1))");
  const auto script = read("(declare-const p Bool)(assert (! p :named a))(assert (not a))(check-sat)");
  EXPECT_EQ(why_not(*script, 1, 0, "p"), "");
  EXPECT_NE(why_not(*script, 1, 1, "p"), "");
}

TEST(CheckerScript, QualifiedNames) {
  expect_same("(< (as x Real) ((as + Real) x 1))", "true");
  EXPECT_EQ(refused_term("(as p Real)"), "a term of sort Bool is said to be of sort Real");
  EXPECT_EQ(refused_term("(< ((as + Bool) x y) 1)"), "a term of sort Real is said to be of sort Bool");
}

TEST(CheckerScript, LexicalOddities) {
  EXPECT_EQ(refusal("; comment (\n(set-info :source |a ) b\n;|)(echo \"a \"\"(\"\" b\") ; end"), "");
  EXPECT_EQ(refusal("(set-logic|QF_LRA|)(declare-fun|x|()Real)(assert(< x 1.5))(assert(= |x|x)) "), "");
  EXPECT_EQ(refusal(""), "");
  EXPECT_EQ(refusal("(declare-const |let| Real)(assert (< |let| 1))"), "");
  EXPECT_EQ(refusal("(declare-const -1 Real)(assert (< -1 1))"), "");
  EXPECT_EQ(refusal("(frobnicate #xff #b01 :key \"text\" (nested (1 2.5) sym) |q|)"), "");
}

// ---- what is refused, with its place ----

TEST(CheckerScript, RefusesUnknownTerms) {
  EXPECT_EQ(refused_term("-1"), "'-1' has no meaning");
  EXPECT_EQ(refused_term("(< x -1)"), "'-1' has no meaning");
  EXPECT_EQ(refused_term("w"), "'w' has no meaning");
  EXPECT_EQ(refused_term("(f x)"), "'f' has no meaning");
  EXPECT_EQ(refused_term("x"), "the assertion is of sort Real");
  EXPECT_EQ(refused_term("(x)"), "'x' takes no arguments");
  EXPECT_EQ(refused_term("and"), "a function without arguments");
  EXPECT_EQ(refused_term("(and)"), "'and' cannot take 0 arguments");
  EXPECT_EQ(refused_term("(not p p)"), "'not' cannot take 2 arguments");
  EXPECT_EQ(refused_term("(< x)"), "'<' cannot take 1 argument");
  EXPECT_EQ(refused_term("(ite p p)"), "'ite' cannot take 2 arguments");
  EXPECT_EQ(refused_term("(< x p)"), "argument 2 of '<' is of sort Bool, not Real");
  EXPECT_EQ(refused_term("(= x p)"), "argument 2 of '=' is of sort Bool, not Real");
  EXPECT_EQ(refused_term("(and p x)"), "argument 2 of 'and' is of sort Real, not Bool");
  EXPECT_EQ(refused_term("(ite x p p)"), "argument 1 of 'ite' is of sort Real, not Bool");
  EXPECT_EQ(refused_term("(ite p x p)"), "argument 3 of 'ite' is of sort Bool, not Real");
  EXPECT_EQ(refused_term("(< (* x y) 1)"), "'*' of two non-constant terms is not linear");
  EXPECT_EQ(refused_term("(< (/ 1 x) 1)"), "'/' by a non-constant term is not linear");
  EXPECT_EQ(refused_term("(< (/ x 0) 1)"), "division by zero");
  EXPECT_EQ(refused_term("(< (/ x 0.0) 1)"), "division by zero");
  EXPECT_EQ(refused_term("\"p\""), "a term is expected, not 'p'");
  EXPECT_EQ(refused_term("#b1"), "a term is expected, not '#b1'");
  EXPECT_EQ(refused_term(":p"), "a term is expected, not ':p'");
  EXPECT_EQ(refused_term("(forall ((z Real)) p)"), "a term is expected, not 'forall'");
  EXPECT_EQ(refused_term("((_ divisible 3) x)"), "'as' is expected, not '_'");
  EXPECT_EQ(refused_term("(let () p)"), "a binding is expected, not ')'");
  EXPECT_EQ(refused_term("(let ((a p) (a p)) a)"), "'a' is bound twice");
  EXPECT_EQ(refused_term("(let ((a p)) a p)"), "')' after the body of 'let' is expected, not 'p'");
  EXPECT_EQ(refused_term("(let ((a p b)) a)"), "')' is expected, not 'b'");
  EXPECT_EQ(refused_term("(and p (let ((a p)) a) a)"), "'a' has no meaning");
  EXPECT_EQ(refused_term("(! p)"), "an attribute is expected, not ')'");
  EXPECT_EQ(refused_term("(! p q)"), "an attribute is expected, not 'q'");
  EXPECT_EQ(refused_term("(! p :named x)"), "'x' has a meaning already");
  EXPECT_EQ(refused_term("()"), "a term is expected, not ')'");
  EXPECT_EQ(refused_term(")"), "a term is expected, not ')'");
  EXPECT_EQ(refused_term("p q"), "')' at the end of the command is expected, not 'q'");
  EXPECT_EQ(refused_term("(< x 1x)"), "malformed number '1x'");
  EXPECT_EQ(refused_term("(< x 1.)"), "malformed number '1.'");
  EXPECT_EQ(refused_term("(< x 1.2.3)"), "malformed number '1.2.3'");
  EXPECT_EQ(refused_term("(< x .5)"), "'.5' has no meaning");
}

TEST(CheckerScript, RefusesUnknownCommandsOfItsOwnKind) {
  EXPECT_EQ(refusal("\n\n(declare-const x Int)"), "s:3: the sort 'Int' is not known");
  EXPECT_EQ(refusal("(declare-const x (Array Real Real))"), "s:1: the sort 'Array' is not known");
  EXPECT_EQ(refusal("(declare-fun f (Real) Real)"), "s:1: 'f' is a function without a definition");
  EXPECT_EQ(refusal("(declare-const x Real)\n(declare-const x Real)"), "s:2: 'x' has a meaning already");
  EXPECT_EQ(refusal("(declare-const and Real)"), "s:1: 'and' has a meaning already");
  EXPECT_EQ(refusal("(declare-const let Real)"), "s:1: a name is expected, not 'let'");
  EXPECT_EQ(refusal("(declare-const 1 Real)"), "s:1: a name is expected, not '1'");
  EXPECT_EQ(refusal("(define-sort Real () Bool)"), "s:1: the sort 'Real' has a meaning already");
  EXPECT_EQ(refusal("(define-sort S (A) A)(declare-const x S)"), "s:1: wrong number of parameters of a sort: 0, not 1");
  EXPECT_EQ(refusal("(declare-const x (Real Bool))"), "s:1: wrong number of parameters of a sort: 1, not 0");
  EXPECT_EQ(refusal("(define-sort S (A A) A)"), "s:1: there are two parameters 'A'");
  EXPECT_EQ(refusal("(define-fun f ((a Real)) Bool a)"), "s:1: the body of 'f' is of sort Real");
  EXPECT_EQ(refusal("(define-fun f ((a Real) (a Real)) Real a)"), "s:1: there are two parameters 'a'");
  EXPECT_EQ(refusal("(define-fun f ((a Real)) Real (f a))"), "s:1: 'f' has no meaning");
  EXPECT_EQ(refusal("(define-fun f ((a Real)) Real (! a :named n))"), "s:1: 'n' would name a term with parameters");
  EXPECT_EQ(refusal("(define-fun f ((a Real)) Bool (and a a))"), "s:1: argument 1 of 'and' is of sort Real, not Bool");
  const std::string square = "(define-fun f ((a Real)) Real (* a a))(declare-const x Real)";
  EXPECT_EQ(refusal(square + "(assert (= (f 3) 9))"), "");
  EXPECT_EQ(refusal(square + "(assert (= (f x) 9))"), "s:1: '*' of two non-constant terms is not linear");
  EXPECT_EQ(refusal(square + "(assert (= (f true) 9))"), "s:1: argument 1 of the function is of sort Bool, not Real");
  EXPECT_EQ(refusal(square + "(assert (= (f x x) 9))"), "s:1: wrong number of arguments of a function: 2, not 1");
  EXPECT_EQ(refusal("(pop)"), "s:1: more levels are popped than there are");
  EXPECT_EQ(refusal("(push 2)\n(pop 3)"), "s:2: more levels are popped than there are");
  EXPECT_EQ(refusal("(push -1)"), "s:1: a number of levels is expected, not '-1'");
  EXPECT_EQ(refusal("(push 1.0)"), "s:1: a number of levels is expected, not '1.0'");
  EXPECT_EQ(refusal("(push 9999999)"), "s:1: so many levels cannot be pushed or popped at once");
  EXPECT_EQ(refusal("(check-sat now)"), "s:1: ')' at the end of the command is expected, not 'now'");
  EXPECT_EQ(refusal("(check-sat-assuming p)"), "s:1: '(' of the assumptions is expected, not 'p'");
  EXPECT_EQ(refusal("(set-option :global-declarations 1)"), "s:1: true or false is expected, not '1'");
  EXPECT_EQ(refusal("(set-option)"), "s:1: an option is expected, not ')'");
}

TEST(CheckerScript, RefusesMalformedText) {
  EXPECT_EQ(refusal("(assert true"), "s:1: ')' at the end of the command is expected, not the end of the text");
  EXPECT_EQ(refusal("(assert\n\n(and true"), "s:3: a term is expected, not the end of the text");
  EXPECT_EQ(refusal("assert"), "s:1: a command is expected, not 'assert'");
  EXPECT_EQ(refusal("(check-sat))"), "s:1: a command is expected, not ')'");
  EXPECT_EQ(refusal("(())"), "s:1: the name of a command is expected, not '('");
  EXPECT_EQ(refusal("(frobnicate (a)"), "s:1: an expression is expected, not the end of the text");
  EXPECT_EQ(refusal("(echo \"abc)"), "s:1: a string is not closed");
  EXPECT_EQ(refusal("(echo |abc)"), "s:1: a quoted symbol is not closed");
  EXPECT_EQ(refusal("(echo |a\\bc|)"), "s:1: '\\' is not allowed in a quoted symbol");
  EXPECT_EQ(refusal("(echo |a\x01|)"), "s:1: illegal character in a quoted symbol");
  EXPECT_EQ(refusal("(assert [x])"), "s:1: the character with code 91 begins no word");
  EXPECT_EQ(refusal(std::string("(assert \0)", 10)), "s:1: the character with code 0 begins no word");
  EXPECT_EQ(refusal("(assert \xff)"), "s:1: the character with code 255 begins no word");
  EXPECT_EQ(refusal("(echo : x)"), "s:1: ':' is not followed by a word");
}

// ---- what is asserted when ----

TEST(CheckerScript, AssertionsAreInForceFromTheirCommandToTheirPop) {
  const auto script = read(symbols +
                           "(check-sat)"                 // 1: none
                           "(assert p)(push)(assert q)"  // 0, 1
                           "(check-sat)"                 // 2: p q
                           "(push 2)(assert r)(pop 1)"   // 2
                           "(check-sat)"                 // 3: p q r? no: r is gone
                           "(pop 2)(assert r)"           // 3
                           "(check-sat)");               // 4: p r
  EXPECT_EQ(script->num_checks(), 4u);
  EXPECT_EQ(why_not(*script, 1, 0, "p"), "there is no assertion 0 at check 1");
  EXPECT_EQ(why_not(*script, 2, 0, "p"), "");
  EXPECT_EQ(why_not(*script, 2, 1, "q"), "");
  EXPECT_EQ(why_not(*script, 2, 2, "r"), "there is no assertion 2 at check 2");
  EXPECT_EQ(why_not(*script, 3, 1, "q"), "");
  EXPECT_EQ(why_not(*script, 3, 2, "r"), "assertion 2 is not in force at check 3");
  EXPECT_EQ(why_not(*script, 4, 0, "p"), "");
  EXPECT_EQ(why_not(*script, 4, 1, "q"), "assertion 1 is not in force at check 4");
  EXPECT_EQ(why_not(*script, 4, 3, "r"), "");
  EXPECT_EQ(why_not(*script, 4, 18446744073709551615u, "r"), "there is no assertion 18446744073709551615 at check 4");
}

TEST(CheckerScript, ResetsStartNewCounts) {
  const auto script = read(symbols + "(assert p)(push)(assert q)(check-sat)(reset-assertions)" + symbols +
                           "(assert r)(check-sat)(reset)" + symbols + "(assert q)(check-sat)");
  EXPECT_EQ(why_not(*script, 1, 1, "q"), "");
  EXPECT_EQ(why_not(*script, 2, 0, "r"), "");
  EXPECT_NE(why_not(*script, 2, 0, "p"), "");
  EXPECT_EQ(why_not(*script, 2, 1, "q"), "there is no assertion 1 at check 2");
  EXPECT_EQ(why_not(*script, 3, 0, "q"), "");
  EXPECT_EQ(why_not(*script, 3, 1, "q"), "there is no assertion 1 at check 3");
}

TEST(CheckerScript, AssumptionsAreNumberedOn) {
  const auto script = read(symbols +
                           "(assert p)(check-sat-assuming (q (not p)))(assert r)(check-sat)"
                           "(check-sat-assuming ())");
  EXPECT_EQ(script->num_checks(), 3u);
  EXPECT_EQ(why_not(*script, 1, 0, "p"), "");
  EXPECT_EQ(why_not(*script, 1, 1, "q"), "");
  EXPECT_NE(why_not(*script, 1, 2, "p"), "");
  script->expect(1);
  EXPECT_EQ(script->why_not(2, {!script->bool_symbol(1, "p")}), "");
  EXPECT_EQ(why_not(*script, 1, 3, "q"), "there is no assertion 3 at check 1");
  EXPECT_EQ(why_not(*script, 2, 1, "r"), "");
  EXPECT_EQ(why_not(*script, 2, 2, "q"), "there is no assertion 2 at check 2");
}

TEST(CheckerScript, NothingCountsAfterExit) {
  const auto script = read(symbols + "(check-sat)(exit)(check-sat)(nonsense");
  EXPECT_EQ(script->num_checks(), 1u);
}

TEST(CheckerScript, ChecksAreCountedFromOne) {
  const auto script = read("(check-sat)(push)(check-sat)");
  EXPECT_NO_THROW(script->expect(1));
  EXPECT_NO_THROW(script->expect(2));
  EXPECT_THROW(script->expect(0), Refused);
  EXPECT_THROW(script->expect(3), Refused);
}

// ---- what symbols stand for ----

TEST(CheckerScript, SymbolsMeanWhatTheyMeanAtTheCheck) {
  const auto script = read(
      "(check-sat)"
      "(push)(declare-const x Real)(declare-const p Bool)(assert (and p (< x 1)))(check-sat)(pop)"
      "(check-sat)"
      "(push)(declare-const x Bool)(assert x)(check-sat)(pop)"
      "(declare-const x Real)(check-sat)");
  const auto fails = [&](std::uint64_t check, const std::string& symbol, bool real) {
    script->expect(check);
    try {
      real ? static_cast<void>(script->real_symbol(1, symbol)) : static_cast<void>(script->bool_symbol(1, symbol));
      return false;
    } catch (const Refused&) {
      return true;
    }
  };
  const bool real_x[] = {true, false, true, true, false};
  const bool bool_x[] = {true, true, true, false, true};
  for (std::uint64_t check = 1; check <= 5; ++check) {
    EXPECT_EQ(fails(check, "x", true), real_x[check - 1]) << check;
    EXPECT_EQ(fails(check, "x", false), bool_x[check - 1]) << check;
    EXPECT_EQ(fails(check, "p", false), check != 2) << check;
  }
  script->expect(2);
  const RealTerm before = script->real_symbol(1, "x");
  EXPECT_EQ(script->real_symbol(2, "x"), before);
  script->expect(5);
  EXPECT_NE(script->real_symbol(1, "x"), before);
}

TEST(CheckerScript, OnlyDeclaredNamesAreSymbols) {
  const auto script = read(
      "(declare-const x Real)(define-fun c () Real x)(assert (! (< x 1) :named n))(assert (let ((v x)) (< v 1)))"
      "(check-sat)");
  script->expect(1);
  EXPECT_NO_THROW(script->real_symbol(1, "x"));
  for (const char* name : {"c", "n", "v", "true", "+", "", "X"}) {
    EXPECT_THROW(script->real_symbol(1, name), Refused) << name;
    EXPECT_THROW(script->bool_symbol(1, name), Refused) << name;
  }
}

TEST(CheckerScript, GlobalDeclarationsOutliveTheirLevels) {
  const std::string use = "(push)(declare-const x Real)(define-fun f ((a Real)) Real a)(pop)(assert (< (f x) 1))";
  EXPECT_EQ(refusal(use), "s:1: 'f' has no meaning");
  EXPECT_EQ(refusal("(set-option :global-declarations true)" + use), "");
  EXPECT_EQ(refusal("(set-option :global-declarations true)" + use + "(reset-assertions)(assert (< (f x) 1))"), "");
  EXPECT_EQ(refusal("(set-option :global-declarations true)" + use + "(reset)(assert (< (f x) 1))"),
            "s:1: 'f' has no meaning");
  EXPECT_EQ(refusal("(set-option :global-declarations true)(set-option :global-declarations false)" + use),
            "s:1: 'f' has no meaning");
  EXPECT_EQ(refusal("(set-option :global-declarations true)(reset)" + use), "s:1: 'f' has no meaning");
}

TEST(CheckerScript, DeclarationsEndWithTheirLevels) {
  EXPECT_EQ(refusal("(push)(declare-const x Real)(define-sort S () Real)(assert (! (< x 1) :named n))(pop)"
                    "(declare-const n Bool)(define-sort S () Bool)(declare-const x S)(assert (and n x))"),
            "");
  EXPECT_EQ(refusal("(declare-const x Real)(push)(declare-const x Real)"), "s:1: 'x' has a meaning already");
  EXPECT_EQ(refusal("(declare-const x Real)(reset-assertions)(declare-const x Bool)(assert x)"), "");
  EXPECT_EQ(refusal("(declare-const x Real)(reset-assertions)(assert (< x 1))"), "s:1: 'x' has no meaning");
}

// ---- scripts against certificates ----

// The same name stands for two symbols in two checks.
TEST(CheckerScript, CertificatesAreAboutTheirOwnCheck) {
  const std::string script =
      "(declare-const y Real)"
      "(push)(declare-const x Real)(assert (< x y))(assert (> x y))(check-sat)(pop)"
      "(push)(declare-const x Bool)(assert x)(assert (not x))(check-sat)(pop)";
  const std::string first =
      "tarku-certificate 1\ncheck 1\nreal 1 x\nreal 2 y\natom 1 1*1 -1*2 < 0\natom 2 -2*2 2*1 > 0\n"
      "input 1 0 1 0\ninput 2 1 2 0\nfarkas 3 -1 -2 0 2 1\nrup 4 0 1 2 3\nqed 4\n";
  const std::string second =
      "tarku-certificate 1\ncheck 2\nbool 1 x\ninput 1 2 1 0\ninput 2 3 -1 0\nrup 3 0 1 2\nqed 3\n";
  EXPECT_EQ(test::refusal(first + second, script), "");
  EXPECT_EQ(test::refusal(second + first, script), "");
  const auto at = [](std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
  };
  EXPECT_EQ(test::refusal(at(first, "check 1", "check 2"), script),
            "c:3: real 1: 'x' is no Real symbol of the script at check 2");
  EXPECT_EQ(test::refusal(at(second, "check 2", "check 1"), script),
            "c:3: bool 1: 'x' is no Bool symbol of the script at check 1");
  EXPECT_EQ(test::refusal(at(second, "1 2 1", "1 0 1"), script),
            "c:4: input 1: assertion 0 is not in force at check 2");
  EXPECT_EQ(test::refusal(at(second, "1 2 1", "1 4 1"), script), "c:4: input 1: there is no assertion 4 at check 2");
  EXPECT_EQ(test::refusal(at(first, "check 1", "check 0"), script),
            "c:2: check 0: the checks of a script are counted from 1");
  EXPECT_EQ(test::refusal(at(first, "check 1", "check 3"), script),
            "c:2: check 3: there is no such check; the script has 2");
  EXPECT_EQ(test::refusal(at(first, "atom 1 1*1 -1*2 < 0", "atom 1 1*1 -1*2 <= 0"), script),
            "c:7: input 1: assertion 0 does not say so: none of its conjuncts is the clause");
}

// Declarations may stand before the check.
TEST(CheckerScript, SymbolsAreLookedUpOnceTheCheckIsKnown) {
  const std::string script = "(declare-const p Bool)(assert (and p (not p)))(check-sat)";
  const std::string steps = "input 1 0 1 0\ninput 2 0 -1 0\nrup 3 0 1 2\nqed 3\n";
  EXPECT_EQ(test::refusal("tarku-certificate 1\nbool 1 p\nreal 1 x\ncheck 1\n" + steps, script),
            "c:4: check 1: 'x' is no Real symbol of the script at check 1");
  EXPECT_EQ(test::refusal("tarku-certificate 1\nbool 1 p\ncheck 1\n" + steps, script), "");
}

// Two variables for one symbol are two for the arithmetic, and one for the script.
TEST(CheckerScript, TwoVariablesMayStandForOneSymbol) {
  const std::string script = "(declare-const x Real)(assert (and (< x 1) (> (+ x x) 2)))(check-sat)";
  const std::string start = "tarku-certificate 1\ncheck 1\nreal 1 x\nreal 2 x\natom 1 1*1 < 1\n";
  EXPECT_EQ(test::refusal(start + "atom 2 1*1 1*2 > 2\ninput 1 0 1 0\ninput 2 0 2 0\nfarkas 3 -1 -2 0 1 1/2\n", script),
            "c:9: farkas 3: terms do not cancel: 1/2*x + -1/2*x remain");
  EXPECT_EQ(test::refusal(start + "atom 2 1/3*1 2/3*2 > 1\ninput 1 0 2 0\nx\n", script),
            "c:8: x: there is no such step");
}

}  // namespace
}  // namespace tarku::checker

// Benchmarks of SMT-LIB 1.2 as the checker reads them: what they say, and what is refused.
#include "tarku/proof/checker/benchmark_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::repeat;

const std::string symbols = ":extrafuns ((x Real) (y Real)) :extrapreds ((p) (q)) ";

// A benchmark about x, y, p and q.
std::string about(const std::string& rest) {
  return "(benchmark b :logic QF_LRA " + symbols + rest + ")";
}

// What is refused in a certificate that the assertion with this number says the clause; empty when nothing. In the
// clause 1 is p, 2 is q, 3 is x < 1 and 4 is x = y; the certificate goes on from there to its end.
std::string why_not(const std::string& script, const std::string& clause, int source = 0) {
  const bool is_empty = clause.empty();
  const std::string text =
      "tarku-certificate 1\ncheck 1\nbool 1 p\nbool 2 q\nreal 1 x\nreal 2 y\natom 3 1*1 < 1\natom 4 1*1 -1*2 = 0\n"
      "input 1 " +
      std::to_string(source) + ' ' + clause + " 0\n" + (is_empty ? "qed 1\n" : "");
  const std::string found = test::refusal(text, script);
  return found == "c:9: end of text: the certificate has no 'qed'" ? "" : found;
}

// Two spellings of a formula. A formula that is false by what it is made of says the empty clause.
void expect_same(const std::string& one, const std::string& other) {
  const std::string same = "(iff " + one + ' ' + other + ')';
  EXPECT_EQ(why_not(about(":formula (not " + same + ")"), ""), "") << one << " and " << other << " differ";
  EXPECT_NE(why_not(about(":formula " + same), ""), "") << one << " and " << other << " are opposites";
}

// Why the script is refused; empty when it is not.
std::string refusal(const std::string& script) {
  try {
    std::istringstream in(script);
    Script(in, "s");
    return "";
  } catch (const Refused& refused) {
    return refused.what();
  }
}

std::string refused_formula(const std::string& formula) {
  const std::string place = "s:1: ";
  const std::string found = refusal(about(":formula " + formula));
  return found.compare(0, place.size(), place) == 0 ? found.substr(place.size()) : found;
}

TEST(CheckerBenchmark, AssumptionsAndFormulasAreAssertionsInTheirOrder) {
  const std::string script = about(":assumption p :status unsat :assumption (or q (< x 1)) :formula (not (= x y))");
  EXPECT_EQ(why_not(script, "1", 0), "");
  EXPECT_EQ(why_not(script, "3 2", 1), "");
  EXPECT_EQ(why_not(script, "-4", 2), "");
  EXPECT_EQ(why_not(script, "2", 0), "c:9: input 1: assertion 0 does not say so: none of its conjuncts is the clause");
  EXPECT_EQ(why_not(script, "1", 3), "c:9: input 1: there is no assertion 3 at check 1");
}

TEST(CheckerBenchmark, Operators) {
  EXPECT_EQ(why_not(about(":formula (implies p q)"), "-1 2"), "");
  EXPECT_EQ(why_not(about(":formula (and p (or q (> x 1) (= x 1)))"), "1"), "");
  EXPECT_EQ(why_not(about(":formula (if_then_else p q false)"), "2"), "");
  EXPECT_EQ(why_not(about(":formula (> (~ x) (~ 1))"), "3"), "");
  EXPECT_EQ(why_not(about(":formula (< (/ (+ x x) 4) 0.5)"), "3"), "");
  expect_same("(implies p q)", "(or q (not p))");
  expect_same("(xor p q)", "(not (iff q p))");
  expect_same("(if_then_else p q (not q))", "(iff p q)");
  expect_same("(< (ite p x y) 1)", "(> 1 (ite (not p) y x))");
  expect_same("(distinct x y 3)", "(and (not (= x y)) (not (= x 3)) (not (= y 3)))");
  expect_same("(= (- x y 1) 0)", "(= x (+ 1 y))");
  expect_same("(<= (~ (* 2 x)) 1.50)", "(>= x (~ (/ 3 4)))");
  expect_same("(and p)", "p");
}

TEST(CheckerBenchmark, LetBindsOneVariable) {
  expect_same("(let (?v (+ x 1)) (< ?v y))", "(< (+ x 1) y)");
  expect_same("(flet ($f (< x 1)) (and $f p))", "(and (< x 1) p)");
  expect_same("(let (?v x) (let (?v (+ ?v 1)) (< ?v y)))", "(< (+ x 1) y)");
  expect_same("(< (let (?v x) (+ ?v ?v)) (let (?v y) ?v))", "(< (* 2 x) y)");
}

TEST(CheckerBenchmark, AnnotationsArePassedOver) {
  expect_same("(and p q :a :b {(\\} |} :c (d (e) {f}))", "(and p q)");
  expect_same("(let (?v x :a) (< ?v y) :b {z})", "(< x y)");
  expect_same("(p :a)", "p");
  EXPECT_EQ(why_not("(benchmark b :source {a (b} :extrapreds ((p :x {y}) (q)) :extrafuns ((x Real :a 1)(y Real))"
                    " :category { industrial } :notes \"n )\" :formula p :unknown)",
                    "1"),
            "");
}

TEST(CheckerBenchmark, NamesOfItsOwnKind) {
  EXPECT_EQ(refusal("(benchmark x'.1 :extrafuns ((x' Real) (let Real) (match Real)) :formula (= x' let match))"), "");
  const std::string certificate =
      "tarku-certificate 1\ncheck 1\nreal 1 |x'|\natom 1 1*1 < 1\ninput 1 0 1 0\n"
      "input 2 1 -1 0\nrup 3 0 1 2\nqed 3\n";
  EXPECT_EQ(test::refusal(certificate, "(benchmark b :extrafuns ((x' Real)) :assumption (< x' 1) :formula (>= x' 1))"),
            "");
}

TEST(CheckerBenchmark, IsOneCommandAmongOthers) {
  const std::string certificate =
      "tarku-certificate 1\ncheck 2\nbool 1 p\nbool 2 r\ninput 1 1 -1 0\ninput 2 2 1 0\n"
      "rup 3 0 1 2\nqed 3\n";
  const std::string script = "(declare-const r Bool)(assert r)" + about(":formula (not p)") +
                             "(declare-const |a{b| Bool)(assert p)(check-sat)";
  EXPECT_EQ(test::refusal(certificate, script), "");
  EXPECT_EQ(refusal("(benchmark b)(assert (= x' 1))"), "s:1: 'x' has no meaning");
  EXPECT_EQ(refusal("(benchmark b)(assert {p})"), "s:1: the character with code 123 begins no word");
}

TEST(CheckerBenchmark, DeepNestingTakesNoCalls) {
  constexpr std::size_t depth = 100000;
  expect_same(repeat("(not ", depth) + "p" + repeat(")", depth), "p");
  expect_same("(flet ($f p) " + repeat("(flet ($f (not $f)) ", depth) + "$f" + repeat(")", depth + 1), "p");
}

TEST(CheckerBenchmark, WhatIsRefused) {
  EXPECT_EQ(refusal("(benchmark)"), "s:1: the name of a benchmark is expected, not ')'");
  EXPECT_EQ(refusal("(benchmark b formula)"), "s:1: an attribute or ')' is expected, not 'formula'");
  EXPECT_EQ(refusal("(benchmark b :extrasorts (A))"), "s:1: sorts other than Real are not known");
  EXPECT_EQ(refusal("(benchmark b :extrafuns ((x Int)))"), "s:1: the sort 'Int' is not known");
  EXPECT_EQ(refusal("(benchmark b :extrafuns ((f Real Real)))"), "s:1: ')' is expected, not 'Real'");
  EXPECT_EQ(refusal("(benchmark b :extrapreds ((p Real)))"), "s:1: ')' is expected, not 'Real'");
  EXPECT_EQ(refusal("(benchmark b :extrapreds ((p) (p)))"), "s:1: 'p' has a meaning already");
  EXPECT_EQ(refusal("(benchmark b :extrapreds ((p) q))"), "s:1: a symbol or ')' is expected, not 'q'");
  EXPECT_EQ(refusal("(benchmark b :formula true"), "s:1: an attribute or ')' is expected, not the end of the text");
  EXPECT_EQ(refusal("(benchmark b :notes {a\\}"), "s:1: a text in braces is not closed");
  EXPECT_EQ(refused_formula("x"), "the formula is of sort Real");
  EXPECT_EQ(refused_formula("(and)"), refusal("(assert (and))").substr(5));
  EXPECT_EQ(refused_formula("(f x)"), "'f' is no symbol");
  EXPECT_EQ(refused_formula("(p x)"), "'p' takes no arguments");
  EXPECT_EQ(refused_formula("(=> p q)"), "'=>' is no symbol");
  EXPECT_EQ(refused_formula("(forall (?x Real) p)"), "'forall' is no symbol");
  EXPECT_EQ(refused_formula("(< (~ x y) 1)"), "'~' takes one argument");
  EXPECT_EQ(refused_formula("(= (* x y) 1)"), "'*' of two non-constant terms is not linear");
  EXPECT_EQ(refused_formula("(let ($v x) p)"), "'let' does not bind '$v'");
  EXPECT_EQ(refused_formula("(flet (?v p) p)"), "'flet' does not bind '?v'");
  EXPECT_EQ(refused_formula("(< ?v x)"), "'?v' is no symbol");
  EXPECT_EQ(refused_formula("(and (let (?v x) p) (< ?v x))"), "'?v' is no symbol");
  EXPECT_EQ(refused_formula("|p|"), "a term or a formula is expected, not 'p'");
  EXPECT_EQ(refused_formula(""), "a term or a formula is expected, not ')'");
  EXPECT_EQ(refused_formula("(and p (let (?v x)) q)"), "a term or a formula is expected, not ')'");
}

}  // namespace
}  // namespace tarku::checker

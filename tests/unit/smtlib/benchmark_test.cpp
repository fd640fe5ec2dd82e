// Benchmarks: problems in the form of SMT-LIB 1.2.
#include <gtest/gtest.h>

#include <string>

#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

Transcript run(const std::string& text) {
  return run_script(text);
}

std::string error(const std::string& what) {
  return "(error \"test.smt2:" + what + "\")\n";
}

// The answer to a benchmark about x, y, p and q with this formula.
std::string decide(const std::string& formula) {
  return run("(benchmark b :logic QF_LRA :extrafuns ((x Real) (y Real)) :extrapreds ((p) (q)) :formula " + formula +
             ")")
      .out;
}

// Whether the formula, and not its negation, holds in all models.
::testing::AssertionResult is_valid(const std::string& formula) {
  const std::string itself = decide(formula), negation = decide("(not " + formula + ")");
  if (itself == "sat\n" && negation == "unsat\n") return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << formula << ": " << itself << "negated: " << negation;
}

TEST(Benchmark, AnswersLikeOneCheck) {
  EXPECT_EQ(run("(benchmark b :logic QF_RDL :extrafuns ((x Real)) :assumption (< x 3) :formula (> x 4))").out,
            "unsat\n");
  EXPECT_EQ(run("(benchmark b :extrafuns ((x Real)) :assumption (< x 3) :assumption (> x 1) :formula (> x 2))").out,
            "sat\n");
  EXPECT_EQ(run("(benchmark b)").out, "sat\n");
}

TEST(Benchmark, Connectives) {
  EXPECT_TRUE(is_valid("(implies (and p q) p)"));
  EXPECT_TRUE(is_valid("(iff (or p q) (not (and (not p) (not q))))"));
  EXPECT_TRUE(is_valid("(iff (xor p q) (not (iff p q)))"));
  EXPECT_TRUE(is_valid("(iff (if_then_else p q (not q)) (iff p q))"));
  EXPECT_TRUE(is_valid("(and true (not false))"));
}

TEST(Benchmark, Arithmetic) {
  EXPECT_TRUE(is_valid("(= (~ x) (- 0 x))"));
  EXPECT_TRUE(is_valid("(= (+ x x 0.5) (+ (* 2 x) (/ 1 2)))"));
  EXPECT_TRUE(is_valid("(implies (distinct x y 3) (or (< x y) (> x y)))"));
  EXPECT_TRUE(is_valid("(>= (ite (< x 0) (~ x) x) 0)"));
  EXPECT_TRUE(is_valid("(iff (<= x y) (not (> x y)))"));
}

TEST(Benchmark, VariablesHaveTheirScopes) {
  EXPECT_TRUE(is_valid("(let (?v (+ x 1)) (flet ($a (> ?v x)) (let (?v (~ ?v)) (and $a (= ?v (- (~ x) 1))))))"));
  EXPECT_TRUE(is_valid("(flet ($a p) (iff $a p))"));
  EXPECT_TRUE(is_valid("(= (let (?v x) (+ ?v 1)) (+ x 1))"));
  EXPECT_EQ(decide("(and (let (?v x) (< ?v 1)) (< ?v 2))"), error("1:120: unknown symbol '?v'"));
  EXPECT_EQ(decide("(let (v x) (< v 1))"), error("1:96: 'let' binds variables that begin with '?'"));
  EXPECT_EQ(decide("(flet (?v p) ?v)"), error("1:97: 'flet' binds variables that begin with '$'"));
}

TEST(Benchmark, AttributesAndAnnotationsArePassedOver) {
  EXPECT_EQ(run("(benchmark tools.1 :source { a \"b\" | ( \\{ ; } :difficulty { 0 } :empty :category {\n}\n"
                ":extrafuns ((x Real :role {in}) (as' Real)) :extrapreds ((p :note) (_ :a :b {c}))\n"
                ":assumption (p :note) :formula (and (< x as' :pattern {y} :flag) p :last)) ; the end\n(echo \"on\")")
                .out,
            "sat\n\"on\"\n");
}

TEST(Benchmark, StatusesAreCompared) {
  EXPECT_EQ(run("(benchmark b :status sat :formula true)").diagnostics, "");
  EXPECT_EQ(run("(benchmark b :status unknown :formula true)").diagnostics, "");
  EXPECT_EQ(run("\n(benchmark b :status unsat :formula true)").diagnostics,
            "test.smt2:2:1: warning: the answer is sat, but the script says :status unsat\n");
}

TEST(Benchmark, CommandsMayFollow) {
  EXPECT_EQ(run("(benchmark b :extrafuns ((x Real)) :formula (= x 2))(get-value (x))(assert (> x 2))(check-sat)").out,
            "sat\n((x 2.0))\nunsat\n");
}

TEST(Benchmark, ErrorsHaveTheirPlace) {
  EXPECT_EQ(run("(benchmark b :logic QF_LIA)").out, error("1:21: unsupported logic 'QF_LIA'"));
  EXPECT_EQ(run("(benchmark b :extrasorts (S))").out, error("1:14: sorts other than Real are not part of this logic"));
  EXPECT_EQ(run("(benchmark b :extrafuns ((f Real Real)))").out,
            error("1:27: 'f' has arguments: functions are not part of this logic"));
  EXPECT_EQ(run("(benchmark b :extrapreds ((r Real)))").out,
            error("1:28: 'r' has arguments: predicates are not part of this logic"));
  EXPECT_EQ(run("(benchmark b :extrafuns ((x Int)))").out, error("1:29: unknown sort 'Int'"));
  EXPECT_EQ(run("(benchmark b :extrafuns ((x Real) (x Real)))").out, error("1:42: 'x' is declared already"));
  EXPECT_EQ(run("(benchmark b :formula 3)").out, error("1:23: this is a term and not a formula"));
  EXPECT_EQ(run("(benchmark b :formula (and))").out, error("1:23: 'and' is given no arguments"));
  EXPECT_EQ(run("(benchmark b :formula (< 1 true))").out,
            error("1:23: '<' takes arguments of sort Real, but argument 2 is of sort Bool"));
  EXPECT_EQ(run("(benchmark b :formula (forall (?x Real) true))").out,
            error("1:24: quantifiers are not part of this logic"));
  EXPECT_EQ(run("(benchmark b :extrapreds ((p)) :formula (p 1))").out,
            error("1:44: 'p' is not a function and takes no arguments"));
  EXPECT_EQ(run("(benchmark b formula)").out, error("1:14: expected an attribute or ')', found 'formula'"));
  EXPECT_EQ(run("(benchmark b :formula (not true").out,
            error("1:32: expected a term or a formula, found the end of the input"));
  EXPECT_EQ(run("(benchmark b :source {never ended )").out, error("1:22: unterminated text in braces"));
}

// An error takes back all of it, and the commands behind it are those of scripts again.
TEST(Benchmark, AFailedOneHasNoEffect) {
  EXPECT_EQ(run("(benchmark b :extrafuns ((x Real)) :assumption false :formula (< (let (?v x) y) 1) :notes {(})"
                "(declare-fun x () Real)(check-sat)(assert {)(get-value (x))")
                .out,
            error("1:78: unknown symbol 'y'") + "sat\n" + error("1:137: illegal character '{'") + "((x 0.0))\n");
}

TEST(Benchmark, NestingCostsNoCallDepth) {
  constexpr std::size_t depth = 100000;
  EXPECT_EQ(decide(repeat("(not ", depth) + "p" + repeat(")", depth)), "sat\n");
  EXPECT_EQ(decide(repeat("(let (?v (+ x 1)) ", depth) + "(< ?v x)" + repeat(")", depth)), "unsat\n");
  EXPECT_EQ(decide(repeat("(flet ($a ", depth) + "p" + repeat(") p)", depth)), "sat\n");
}

}  // namespace
}  // namespace tarku::smtlib

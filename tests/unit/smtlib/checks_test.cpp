// Checks of Boolean structure, assumptions, and what can be asked afterwards.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tarku/smtlib/interpreter.h"
#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

std::string error(const std::string& what) {
  return "(error \"test.smt2:" + what + "\")\n";
}

std::string checked_answers(const std::string& text, std::ostream* proofs = nullptr) {
  Interpreter::Options options;
  options.proofs = proofs;
  return run_script(text, options).out;
}

const std::string xp = "(declare-const x Real)(declare-const p Bool)(declare-const q Bool)";

// ---- formulas ----

TEST(Checks, BooleanStructureDecides) {
  EXPECT_EQ(checked_answers(xp + "(assert (or (and p (> x 1)) (and (not p) (< x (- 1)))))(check-sat)(push 1)"
                                 "(assert (= (ite p 1 2) (ite q 1 2)))(assert (xor p q))(check-sat)(pop 1)"
                                 "(assert (not p))(check-sat)(get-value (p (< x (- 1))))"),
            "sat\nunsat\nsat\n((p false)\n ((< x (- 1)) true))\n");
}

TEST(Checks, CoresOfFormulas) {
  EXPECT_EQ(checked_answers("(set-option :produce-unsat-cores true)" + xp +
                            "(assert (! (or p q) :named a))(assert (! (> x 0) :named b))(assert (! (not p) :named c))"
                            "(assert (! (=> q (< x 0)) :named d))(check-sat)(get-unsat-core)"),
            "unsat\n(a b c d)\n");
}

// ---- assumptions ----

TEST(Assuming, HoldsForOneCheckOnly) {
  EXPECT_EQ(checked_answers(xp + "(assert (or p q))(check-sat-assuming ((not p) (not q)))(check-sat)"
                                 "(check-sat-assuming ((not p)))(get-value (p q))(check-sat-assuming ())"),
            "unsat\nsat\nsat\n((p false)\n (q true))\nsat\n");
}

TEST(Assuming, TakesFormulasOfAllKinds) {
  EXPECT_EQ(checked_answers(xp + "(check-sat-assuming ((or p (> x 0)) (= x (- 1)) (let ((r p)) (=> r q))))"
                                 "(get-value (x p q))(check-sat-assuming ((< x 0) (> x 0) true))"),
            "sat\n((x (- 1.0))\n (p true)\n (q true))\nunsat\n");
}

TEST(Assuming, RefusesTermsAndLeavesTheLastAnswerAlone) {
  EXPECT_EQ(answers(xp + "(check-sat)(check-sat-assuming (p x))(check-sat-assuming p)(get-value (p))"),
            "sat\n" + error("1:101: an assumption must be of sort Bool, but this is of sort Real") +
                error("1:124: expected '(' before the assumptions of 'check-sat-assuming', found 'p'") +
                "((p false))\n");
}

TEST(Assuming, ScriptsSeeNoLevelOfTheAssumptions) {
  EXPECT_EQ(answers(xp + "(push 1)(check-sat-assuming (p))(get-info :assertion-stack-levels)(pop 1)(pop 1)"),
            "sat\n(:assertion-stack-levels 1)\n" + error("1:140: popping 1 level, but only 0 are pushed"));
}

TEST(Assuming, EndsWithTheNextChange) {
  for (const char* change : {"(assert true)", "(push 1)", "(reset-assertions)"}) {
    const Transcript run = run_script("(set-option :global-declarations true)" + xp + "(assert (> x 0))(push 1)" +
                                      "(check-sat-assuming ((< x 1)))" + change + "(get-model)");
    EXPECT_NE(run.out.find("nothing was checked since the assertions changed"), std::string::npos) << change;
  }
  EXPECT_EQ(answers(xp + "(push 1)(assert (> x 0))(check-sat-assuming ((< x 0)))(pop 1)(check-sat-assuming ((< x 0)))"
                         "(assert (> x 0))(check-sat)"),
            "unsat\nsat\nsat\n");
}

TEST(Assuming, DeclarationsChangeNothing) {
  EXPECT_EQ(answers(xp + "(check-sat-assuming ((> x 0) p))(declare-const y Real)(define-fun z () Real (+ x y 1))"
                         "(get-value (p (> z 1)))"),
            "sat\n((p true)\n ((> z 1) true))\n");
}

TEST(Assuming, CoresKeepTheirTextAndAreEnough) {
  const std::string option = "(set-option :produce-unsat-assumptions true)";
  EXPECT_EQ(answers(option + xp + "(assert (> x 3))(check-sat-assuming (p (<   x |y|) (< x\n 2) ))"),
            error("1:157: unknown symbol 'y'"));
  EXPECT_EQ(answers(option + xp + "(assert (> x 3))(check-sat-assuming (p (< x\n  2) q))(get-unsat-assumptions)"),
            "unsat\n((< x 2))\n");
  EXPECT_EQ(answers(option + xp + "(check-sat-assuming (p (! (not |p|) :named n) q))(get-unsat-assumptions)"),
            "unsat\n(p (! (not |p|) :named n))\n");
  EXPECT_EQ(answers(option + xp + "(assert (< x x))(check-sat-assuming (p q))(get-unsat-assumptions)"), "unsat\n()\n");
  EXPECT_EQ(answers(option + "(assert false)(check-sat)(get-unsat-assumptions)"), "unsat\n()\n");
}

TEST(Assuming, TheSameAssumptionTwice) {
  const std::string out = answers("(set-option :produce-unsat-assumptions true)" + xp +
                                  "(check-sat-assuming (p p (not p)))(get-unsat-assumptions)");
  EXPECT_EQ(out, "unsat\n(p (not p))\n");
}

TEST(Assuming, CoresNeedTheOptionAndAnUnsat) {
  EXPECT_EQ(answers("(check-sat-assuming (false))(get-unsat-assumptions)"),
            "unsat\n" + error("1:29: 'get-unsat-assumptions' needs the option :produce-unsat-assumptions"));
  EXPECT_EQ(answers("(set-option :produce-unsat-assumptions true)(check-sat-assuming (true))(get-unsat-assumptions)"),
            "sat\n" + error("1:72: 'get-unsat-assumptions' needs the answer unsat, but the last one was sat"));
}

TEST(Assuming, CoresOfAssertionsLeaveAssumptionsOut) {
  const std::string script =
      "(set-option :produce-unsat-cores true)(set-option :produce-unsat-assumptions true)" + xp +
      "(assert (! (> x 3) :named a))(assert (! (> x 4) :named b))(check-sat-assuming ((! (< x 3) :named c) p))"
      "(get-unsat-core)(get-unsat-assumptions)";
  const std::string full = answers(script);
  EXPECT_TRUE(full == "unsat\n(a)\n((! (< x 3) :named c))\n" || full == "unsat\n(b)\n((! (< x 3) :named c))\n") << full;
  const std::string least = answers("(set-option :minimal-unsat-cores true)" + script);
  EXPECT_TRUE(least == "unsat\n(a)\n((! (< x 3) :named c))\n" || least == "unsat\n(b)\n((! (< x 3) :named c))\n")
      << least;
}

TEST(Assuming, MinimalCoresOfAssumptions) {
  // The last two alone exclude each other; the search may find the sum of the first three first.
  const std::string script = "(set-option :produce-unsat-assumptions true)(set-option :minimal-unsat-cores true)" + xp +
                             "(declare-const y Real)(assert (> y 7))"
                             "(check-sat-assuming ((< (+ x y) 1) (> x 3) (> y 2) (< x 9)))(get-unsat-assumptions)";
  EXPECT_EQ(answers(script), "unsat\n((< (+ x y) 1) (> x 3))\n");
}

// Certificates number the assumptions on from the assertions, which are numbered as if there were none.
TEST(Assuming, CertificatesNumberAssertionsLikeTheScript) {
  const std::string out = answers(
      "(set-option :produce-proofs true)(declare-const x Real)(assert (> x 0))"
      "(check-sat-assuming ((< x 1) (< x 0) (< x 2)))(get-proof)"
      "(assert (< x 3))(assert (< x (- 1)))(check-sat-assuming ((> x 5)))(get-proof)");
  EXPECT_NE(out.find("check 1\n"), std::string::npos) << out;
  EXPECT_NE(out.find("check 2\n"), std::string::npos) << out;
  const std::string second = out.substr(out.find("check 2\n"));
  const auto has_input_from = [](const std::string& text, int source) {
    for (int id = 1; id < 9; ++id) {
      const std::string line = "\ninput " + std::to_string(id) + " " + std::to_string(source) + " ";
      if (text.find(line) != std::string::npos) return true;
    }
    return false;
  };
  const std::string first = out.substr(0, out.find("check 2\n"));
  EXPECT_TRUE(has_input_from(first, 0) && has_input_from(first, 2)) << first;
  EXPECT_FALSE(has_input_from(first, 1) || has_input_from(first, 3)) << first;
  EXPECT_TRUE(has_input_from(second, 0) && has_input_from(second, 2)) << second;
  EXPECT_FALSE(has_input_from(second, 4) || has_input_from(second, 5) || has_input_from(second, 6)) << second;
}

TEST(Assuming, EveryUnsatHasItsCertificate) {
  std::ostringstream proofs;
  EXPECT_EQ(
      checked_answers(xp + "(check-sat-assuming (p (not p)))(assert (> x 0))(check-sat-assuming ((< x 0)))", &proofs),
      "unsat\nunsat\n");
  EXPECT_NE(proofs.str().find("check 1\n"), std::string::npos);
  EXPECT_NE(proofs.str().find("check 2\n"), std::string::npos);
}

// ---- assignments ----

TEST(Assignments, HoldAllNamedFormulas) {
  EXPECT_EQ(answers("(set-option :produce-assignments true)" + xp +
                    "(assert (! (and (! p :named |a b|) (> (! (+ x 1) :named sum) 0)) :named whole))(push 1)"
                    "(assert (or p (! (< x (- 5)) :named low)))(check-sat)(get-assignment)(pop 1)(check-sat)"
                    "(get-assignment)"),
            "sat\n((|a b| true) (whole true) (low false))\nsat\n((|a b| true) (whole true))\n");
  EXPECT_EQ(answers("(set-option :produce-assignments true)(check-sat)(get-assignment)"), "sat\n()\n");
}

TEST(Assignments, NeedTheOptionAndAModel) {
  EXPECT_EQ(answers("(check-sat)(get-assignment)"),
            "sat\n" + error("1:12: 'get-assignment' needs the option :produce-assignments"));
  EXPECT_EQ(answers("(set-option :produce-assignments true)(get-assignment)"),
            error("1:39: 'get-assignment' needs the answer sat, but nothing was checked since the assertions changed"));
}

// ---- assertions ----

TEST(Assertions, ArePrintedLevelByLevel) {
  EXPECT_EQ(
      answers("(set-option :produce-assertions true)(get-assertions)" + xp +
              "(assert (! (> x (/ 1 3)) :named n))(push 1)(assert (or p (not |q|)))(get-assertions)"
              "(check-sat-assuming (q))(get-assertions)(pop 1)(get-assertions)(reset-assertions)(get-assertions)"),
      "()\n((> x (/ 1.0 3.0))\n (or p (not q)))\nsat\n((> x (/ 1.0 3.0))\n (or p (not q)))\n"
      "((> x (/ 1.0 3.0)))\n()\n");
  EXPECT_EQ(answers("(get-assertions)"), error("1:1: 'get-assertions' needs the option :produce-assertions"));
}

// ---- values ----

TEST(Values, InOtherFormats) {
  const std::string script = "(declare-const x Real)(assert (= x (- (/ 22 7))))(check-sat)(get-value (x))(get-model)";
  Interpreter::Options options;
  options.real_format = {RealFormat::Kind::fraction, 0};
  EXPECT_EQ(run_script(script, options).out, "sat\n((x -22/7))\n(\n  (define-fun x () Real -22/7)\n)\n");
  options.real_format = {RealFormat::Kind::decimal, 4};
  EXPECT_EQ(run_script(script, options).out, "sat\n((x -3.1428?))\n(\n  (define-fun x () Real -3.1428?)\n)\n");
}

}  // namespace
}  // namespace tarku::smtlib

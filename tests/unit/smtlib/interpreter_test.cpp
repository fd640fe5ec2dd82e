// Commands: answers, states, levels, options, recovery from errors, exit statuses.
#include "tarku/smtlib/interpreter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

std::string error(const std::string& what) {
  return "(error \"test.smt2:" + what + "\")\n";
}

// ---- checks, models, values ----

TEST(Interpreter, DecidesAndPrintsModels) {
  EXPECT_EQ(
      answers("(set-logic QF_LRA)\n(declare-fun |a b| () Real)(declare-fun x () Real)(declare-const p Bool)\n"
              "(define-fun unused () Real 1)(assert (and p (= x (/ 1 3)) (= |a b| (- 2))))(check-sat)(get-model)"),
      "sat\n(\n  (define-fun |a b| () Real (- 2.0))\n  (define-fun x () Real (/ 1.0 3.0))\n"
      "  (define-fun p () Bool true)\n)\n");
}

TEST(Interpreter, ModelsOfNothingAreEmpty) {
  EXPECT_EQ(answers("(check-sat)(get-model)"), "sat\n(\n)\n");
}

TEST(Interpreter, ModelsSatisfyStrictBounds) {
  EXPECT_EQ(answers("(declare-fun x () Real)(declare-fun y () Real)(assert (and (< 0 x) (< x y) (< y 1)))(check-sat)"
                    "(get-value ((< 0 x y 1)))"),
            "sat\n(((< 0 x y 1) true))\n");
}

TEST(Interpreter, ValuesOfCompoundTermsKeepTheirText) {
  EXPECT_EQ(answers("(declare-fun x () Real)(declare-fun p () Bool)(assert (= x 3))(assert (not p))(check-sat)"
                    "(get-value (x (+ x\n 1 ) (/ x 2) (ite p x (- x)) (or p (> x 2)) (let ((x 1)) x) |x| 7 true))"),
            "sat\n((x 3.0)\n ((+ x 1) 4.0)\n ((/ x 2) (/ 3.0 2.0))\n ((ite p x (- x)) (- 3.0))\n"
            " ((or p (> x 2)) true)\n ((let ((x 1)) x) 1.0)\n (|x| 3.0)\n (7 7.0)\n (true true))\n");
}

TEST(Interpreter, ModelsNeedAnAnswer) {
  const std::string x = "(declare-fun x () Real)";
  EXPECT_EQ(answers(x + "(get-model)"),
            error("1:24: 'get-model' needs the answer sat, but nothing was checked since the assertions changed"));
  EXPECT_EQ(
      answers(x + "(check-sat)(assert (> x 0))(get-value (x))"),
      "sat\n" + error("1:51: 'get-value' needs the answer sat, but nothing was checked since the assertions changed"));
  EXPECT_EQ(answers("(assert false)(check-sat)(get-model)"),
            "unsat\n" + error("1:26: 'get-model' needs the answer sat, but the last one was unsat"));
  EXPECT_EQ(answers("(set-option :produce-models false)(check-sat)(get-model)"),
            "sat\n" + error("1:46: 'get-model' needs the option :produce-models"));
  EXPECT_EQ(answers("(check-sat)(get-value ())"), "sat\n" + error("1:24: expected a term, found ')'"));
}

TEST(Interpreter, ChainedComparisons) {
  const std::string xyz = "(declare-fun x () Real)(declare-fun y () Real)(declare-fun z () Real)";
  EXPECT_EQ(answers(xyz + "(assert (< x y z x))(check-sat)"), "unsat\n");
  EXPECT_EQ(answers(xyz + "(assert (<= x y z x))(assert (= x 2))(check-sat)(get-value (y z))"),
            "sat\n((y 2.0)\n (z 2.0))\n");
  EXPECT_EQ(answers(xyz + "(assert (= x y z 4))(assert (not (not (> x 4))))(check-sat)"), "unsat\n");
  EXPECT_EQ(answers(xyz + "(assert (>= 3 x y z 3))(check-sat)(get-value ((+ x y z)))"), "sat\n(((+ x y z) 9.0))\n");
}

// ---- cores ----

TEST(Interpreter, CoresNameAssertions) {
  const std::string script =
      "(set-option :produce-unsat-cores true)(declare-fun x () Real)(declare-fun y () Real)"
      "(assert (! (> x 0) :named |low x|))(assert (! (> y 0) :named other))(assert (! (< x 0) :named high))"
      "(check-sat)(get-unsat-core)";
  EXPECT_EQ(answers(script), "unsat\n(|low x| high)\n");
}

TEST(Interpreter, CoresOmitWhatHasNoNameOfItsOwn) {
  EXPECT_EQ(answers("(set-option :produce-unsat-cores true)(declare-fun x () Real)"
                    "(assert (and (! (> x 0) :named inner)))(assert (! (and (< x 0) inner) :named whole))"
                    "(check-sat)(get-unsat-core)"),
            "unsat\n(whole)\n");
  EXPECT_EQ(answers("(set-option :produce-unsat-cores true)(assert false)(check-sat)(get-unsat-core)"), "unsat\n()\n");
}

TEST(Interpreter, CoresNeedTheOptionAndAnAnswer) {
  EXPECT_EQ(answers("(assert false)(check-sat)(get-unsat-core)"),
            "unsat\n" + error("1:26: 'get-unsat-core' needs the option :produce-unsat-cores"));
  EXPECT_EQ(answers("(set-option :produce-unsat-cores true)(check-sat)(get-unsat-core)"),
            "sat\n" + error("1:50: 'get-unsat-core' needs the answer unsat, but the last one was sat"));
}

// ---- levels ----

TEST(Interpreter, PopTakesAssertionsAndDeclarationsBack) {
  EXPECT_EQ(answers("(declare-fun x () Real)(assert (> x 0))(push 1)(declare-fun y () Real)(assert (< x 0))(check-sat)"
                    "(pop 1)(check-sat)(assert (> y 0))(declare-fun y () Bool)(assert y)(check-sat)(get-value (y))"),
            "unsat\nsat\n" + error("1:127: unknown symbol 'y'") + "sat\n((y true))\n");
}

TEST(Interpreter, SeveralLevelsAtOnce) {
  EXPECT_EQ(answers("(push 3)(get-info :assertion-stack-levels)(pop 2)(get-info :assertion-stack-levels)(push)(push 0)"
                    "(get-info :assertion-stack-levels)(pop)(pop 1)(get-info :assertion-stack-levels)"),
            "(:assertion-stack-levels 3)\n(:assertion-stack-levels 1)\n(:assertion-stack-levels 2)\n"
            "(:assertion-stack-levels 0)\n");
}

TEST(Interpreter, PoppingTooFarChangesNothing) {
  EXPECT_EQ(answers("(declare-fun x () Real)(push 1)(assert (> x 0))(pop 2)(assert (< x 0))(check-sat)"),
            error("1:48: popping 2 levels, but only 1 is pushed") + "unsat\n");
  EXPECT_EQ(answers("(pop 1)"), error("1:1: popping 1 level, but only 0 are pushed"));
  EXPECT_EQ(answers("(push x)(push 9999999999999999999)(push 99999999)"),
            error("1:7: expected a numeral, found 'x'") + error("1:15: '9999999999999999999' is too large") +
                error("1:35: pushing 99999999 levels at once is too much"));
}

TEST(Interpreter, GlobalDeclarationsOutlivePop) {
  EXPECT_EQ(answers("(set-option :global-declarations true)(push 1)(declare-fun x () Real)(define-sort R () Real)"
                    "(pop 1)(declare-const y R)(assert (= x y 1))(check-sat)(get-model)"),
            "sat\n(\n  (define-fun x () Real 1.0)\n  (define-fun y () Real 1.0)\n)\n");
}

TEST(Interpreter, ResetForgetsEverything) {
  EXPECT_EQ(
      answers(
          "(set-logic QF_LRA)(set-option :print-success true)(declare-fun x () Real)(push 1)(assert (> x 0))"
          "(reset)(set-logic QF_RDL)(declare-fun x () Bool)(assert x)(check-sat)(get-info :assertion-stack-levels)"),
      "success\nsuccess\nsuccess\nsuccess\nsat\n(:assertion-stack-levels 0)\n");
}

TEST(Interpreter, ResetAssertionsKeepsOptionsAndGlobals) {
  EXPECT_EQ(answers("(declare-fun x () Real)(push 1)(assert false)(reset-assertions)(check-sat)(declare-fun x () Bool)"
                    "(get-info :assertion-stack-levels)"),
            "sat\n(:assertion-stack-levels 0)\n");
  EXPECT_EQ(answers("(set-option :global-declarations true)(declare-fun x () Real)(assert (> x 0))(reset-assertions)"
                    "(assert (< x 0))(check-sat)(get-option :global-declarations)"),
            "sat\ntrue\n");
}

// ---- proofs and cores ----

TEST(Interpreter, ProofsAreStringsThatCertifyTheLatestCheck) {
  const std::string script =
      "(set-option :produce-proofs true)(declare-fun |a \"b| () Real)(assert (< |a \"b| 1))(check-sat)"
      "(assert (not (< |a \"b| 1)))(check-sat)(get-proof)";
  EXPECT_EQ(answers(script),
            "sat\nunsat\n\"tarku-certificate 1\ncheck 2\nreal 1 |a \"\"b|\natom 1 1*1 < 1\natom 2 1*1 >= 1\n"
            "farkas 1 -1 -2 0 1 1\ninput 2 0 1 0\ninput 3 1 2 0\nrup 4 0 2 3 1\nqed 4\n\"\n");
}

TEST(Interpreter, ProofsNeedTheirOptionAndAnUnsat) {
  EXPECT_EQ(answers("(assert false)(check-sat)(get-proof)"),
            "unsat\n" + error("1:26: 'get-proof' needs the option :produce-proofs"));
  EXPECT_EQ(answers("(set-option :produce-proofs true)(check-sat)(get-proof)"),
            "sat\n" + error("1:45: 'get-proof' needs the answer unsat, but the last one was sat"));
}

TEST(Interpreter, MinimalCoresLoseWhatIsNotNeeded) {
  // The sum of the first three is the conflict that the search finds, but two of them suffice with the unnamed one.
  const std::string script =
      "(set-option :produce-unsat-cores true)(declare-fun x () Real)(declare-fun y () Real)(assert (> y 7))"
      "(assert (! (< (+ x y) 1) :named A))(assert (! (> x 3) :named B))(assert (! (> y 2) :named C))"
      "(assert (! (< x 9) :named D))(check-sat)(get-unsat-core)";
  const std::string full = answers(script);
  EXPECT_TRUE(full == "unsat\n(A B)\n" || full == "unsat\n(A B C)\n") << full;
  EXPECT_EQ(answers("(set-option :minimal-unsat-cores true)" + script), "unsat\n(A B)\n");
}

// ---- what is not part of the logic, and what nobody knows ----

TEST(Interpreter, CommandsOutsideOfTheLogicSayWhy) {
  const std::string sorts = "sorts other than Bool and Real are not part of this logic";
  const std::string recursion = "recursive functions are not part of this logic; 'define-fun' defines others";
  const Transcript run = run_script(
      "(declare-sort S 0)\n(declare-sort-parameter A)\n(declare-datatype T ((c)))\n"
      "(declare-datatypes ((T 0)) (((c))))\n(define-fun-rec f ((x Real)) Real (f x))\n"
      "(define-funs-rec ((f ((x Real)) Real)) ((f x)))\n(declare-const x Int)(echo \"on\")");
  EXPECT_EQ(run.out, error("1:1: " + sorts) + error("2:1: " + sorts) +
                         error("3:1: datatypes are not part of this logic") +
                         error("4:1: datatypes are not part of this logic") + error("5:1: " + recursion) +
                         error("6:1: " + recursion) +
                         error("7:18: unknown sort 'Int'; the sorts of this logic are Bool and Real") + "\"on\"\n");
  EXPECT_EQ(run.status, 1);
}

TEST(Interpreter, WhatNobodyKnowsIsUnsupported) {
  const Transcript run = run_script("(set-option :foo (bar 1))\n(get-option :foo)(get-info :bar)(echo \"on\")");
  EXPECT_EQ(run.out, "unsupported\nunsupported\nunsupported\n\"on\"\n");
  EXPECT_EQ(run.diagnostics,
            "test.smt2:1:1: the option ':foo' is not supported\n"
            "test.smt2:2:1: the option ':foo' is not supported\n"
            "test.smt2:2:18: the information ':bar' is not supported\n");
  EXPECT_EQ(run.status, 0);
}

TEST(Interpreter, ReasonsNeedAnUnknown) {
  EXPECT_EQ(answers("(check-sat)(get-info :reason-unknown)"),
            "sat\n" + error("1:12: 'get-info :reason-unknown' needs the answer unknown, but the last one was sat"));
}

// ---- logic, information, options ----

TEST(Interpreter, Logics) {
  EXPECT_EQ(answers("(set-logic QF_RDL)(set-logic QF_LRA)"), error("1:30: the logic is set already"));
  EXPECT_EQ(answers("(set-logic QF_LIA)(set-logic QF_LRA)(check-sat)"),
            error("1:12: unsupported logic 'QF_LIA'") + "sat\n");
}

TEST(Interpreter, TellsAboutItself) {
  EXPECT_EQ(answers("(get-info :name)(get-info :version)(get-info :error-behavior)"),
            "(:name \"tarku\")\n(:version \"0.1.0\")\n(:error-behavior continued-execution)\n");
  EXPECT_EQ(answers("(get-info :authors)").rfind("(:authors \"", 0), 0u);
  const std::string statistics = answers("(check-sat)(get-info :all-statistics)");
  EXPECT_NE(statistics.find(":checks 1"), std::string::npos) << statistics;
}

TEST(Interpreter, PrintsSuccessOnDemand) {
  EXPECT_EQ(
      answers("(set-option :print-success true)(set-logic QF_LRA)(set-info :x \"|\")(declare-fun x () Real)"
              "(declare-const p Bool)(define-fun f ((a Real)) Real a)(define-const c Real 1)(define-sort S () Real)"
              "(assert p)(push 1)(pop 1)(check-sat)(echo \"e\")(reset-assertions)"
              "(set-option :print-success false)(push 1)"),
      "success\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\nsuccess\n"
      "sat\n\"e\"\nsuccess\n");
}

TEST(Interpreter, OptionsCanBeAskedFor) {
  EXPECT_EQ(
      answers("(get-option :print-success)(get-option :produce-models)(get-option :produce-unsat-cores)"
              "(get-option :global-declarations)(set-option :random-seed 42)(get-option :random-seed)"
              "(get-option :verbosity)(get-option :regular-output-channel)(get-option :diagnostic-output-channel)"),
      "false\ntrue\nfalse\nfalse\n42\n0\n\"stdout\"\n\"stderr\"\n");
  EXPECT_EQ(answers("(set-option :print-success 1)(set-option :verbosity x)(set-option :regular-output-channel out)"
                    "(set-option print-success true)(set-option :print-success true true)"),
            error("1:28: expected true or false, found '1'") + error("1:53: expected a numeral, found 'x'") +
                error("1:91: expected a string, found 'out'") +
                error("1:107: expected the keyword of an option, found 'print-success'") +
                error("1:158: expected ')' after 'set-option', found 'true'"));
}

TEST(Interpreter, EveryOptionCanBeSetAndAskedFor) {
  for (const char* flag : {":print-success", ":produce-models", ":produce-assertions", ":interactive-mode",
                           ":produce-assignments", ":produce-unsat-assumptions", ":produce-unsat-cores",
                           ":minimal-unsat-cores", ":produce-proofs", ":global-declarations"}) {
    const std::string set = "(set-option " + std::string(flag), get = "(get-option " + std::string(flag) + ")";
    const std::string off = "(set-option :print-success false)";
    EXPECT_EQ(answers(off + set + " false)" + get), "false\n") << flag;
    EXPECT_EQ(answers(off + set + " true)" + (set == "(set-option :print-success" ? off : get)),
              set == "(set-option :print-success" ? "success\n" : "true\n")
        << flag;
  }
  for (const char* number : {":verbosity", ":random-seed", ":reproducible-resource-limit"}) {
    EXPECT_EQ(answers("(set-option " + std::string(number) + " 3)(get-option " + number + ")"), "3\n") << number;
  }
}

TEST(Interpreter, InteractiveModeIsTheOldNameOfProduceAssertions) {
  EXPECT_EQ(answers("(set-option :interactive-mode true)(get-option :produce-assertions)"), "true\n");
}

TEST(Interpreter, SomeOptionsAreForTheBeginning) {
  const auto refusal = [](const std::string& at, const std::string& option) {
    return error(at + ": the option '" + option + "' can only be set before anything is declared or asserted");
  };
  const std::string late = "(set-option :produce-unsat-cores true)(get-option :produce-unsat-cores)";
  for (const char* begin :
       {"(declare-const x Real)", "(define-fun f () Real 1)", "(assert true)", "(push 1)", "(define-sort R () Real)"}) {
    const std::string at = "1:" + std::to_string(std::string(begin).size() + 1);
    EXPECT_EQ(answers(begin + late), refusal(at, ":produce-unsat-cores") + "false\n") << begin;
  }
  for (const char* other : {"(set-info :x y)", "(get-option :verbosity)", "(set-logic QF_XYZ)", "(assert frob)",
                            "(set-logic QF_LRA)", "(push 1)(reset)", "(echo \"\")"}) {
    const std::string out = answers(other + late);
    EXPECT_EQ(out.substr(out.size() - 5), "true\n") << other;
  }
  for (const char* option : {":global-declarations", ":interactive-mode", ":produce-assertions", ":produce-assignments",
                             ":produce-models", ":produce-proofs", ":produce-unsat-assumptions"}) {
    EXPECT_EQ(answers("(declare-const x Real)(set-option " + std::string(option) + " true)"), refusal("1:23", option));
  }
  EXPECT_EQ(answers("(declare-const x Real)(set-option :random-seed 1)"), refusal("1:23", ":random-seed"));
  EXPECT_EQ(answers("(declare-const x Real)(set-option :verbosity 0)(set-option :reproducible-resource-limit 5)"
                    "(set-option :print-success true)"),
            "success\n");
}

TEST(Interpreter, ChannelsCanBeFiles) {
  const std::string path = ::testing::TempDir() + "tarku_channel_test.txt";
  std::remove(path.c_str());
  const Transcript run = run_script("(set-option :regular-output-channel \"" + path + "\")(echo \"filed\")(check-sat)" +
                                    "(set-option :regular-output-channel \"stdout\")(echo \"here\")"
                                    "(set-option :diagnostic-output-channel \"stdout\")(get-info :foo)");
  std::ifstream file(path);
  const std::string filed{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::remove(path.c_str());
  EXPECT_EQ(filed, "\"filed\"\nsat\n");
  EXPECT_EQ(run.out.substr(0, run.out.find('\n', 8)), "\"here\"\nunsupported");
  EXPECT_NE(run.out.find("the information ':foo' is not supported"), std::string::npos);
  EXPECT_EQ(answers("(set-option :regular-output-channel \"/nowhere/at/all\")(echo \"here\")"),
            error("1:1: cannot open '/nowhere/at/all'") + "\"here\"\n");
}

TEST(Interpreter, InformationIsPassedOver) {
  EXPECT_EQ(
      answers("(set-info :source |multi\nline (|)(set-info :empty)(set-info :nested (a (b \"c\")))(set-info :n 2.6)"),
      "");
}

TEST(Interpreter, WarnsWhenTheStatusDiffers) {
  const Transcript run = run_script(
      "(set-info :status unsat)\n(check-sat)(check-sat)\n(set-info :status sat)(check-sat)"
      "(set-info :status unknown)(check-sat)");
  EXPECT_EQ(run.out, "sat\nsat\nsat\nsat\n");
  EXPECT_EQ(run.diagnostics, "test.smt2:2:1: warning: the answer is sat, but the script says :status unsat\n");
  EXPECT_EQ(run.status, 0);
}

TEST(Interpreter, EchoesStrings) {
  EXPECT_EQ(answers("(echo \"a \"\"b\"\"\")"), "\"a \"\"b\"\"\"\n");
}

// ---- errors ----

TEST(Interpreter, GoesOnAfterAnError) {
  const Transcript run =
      run_script("(declare-fun x () Real)\n(assert (> x (* y (( 2)))) (bad) \"((\")\n(assert (> x 0))\n(check-sat)");
  EXPECT_EQ(run.out, error("2:17: unknown symbol 'y'") + "sat\n");
  EXPECT_EQ(run.status, 1);
}

TEST(Interpreter, QuotesInMessagesAreDoubled) {
  std::ostringstream out, diagnostics;
  Interpreter interpreter(out, diagnostics);
  EXPECT_EQ(interpreter.run(Source::of_text("(frob)"), "odd\"name"), 1);
  EXPECT_EQ(out.str(), "(error \"odd\"\"name:1:2: unknown command 'frob'\")\n");
}

TEST(Interpreter, CommandsMustBeWellFormed) {
  EXPECT_EQ(answers("(check-sat now)"), error("1:12: expected ')' after 'check-sat', found 'now'"));
  EXPECT_EQ(answers("(assert true false)"), error("1:14: expected ')' after 'assert', found 'false'"));
  EXPECT_EQ(answers("()"), error("1:2: expected the name of a command, found ')'"));
  EXPECT_EQ(answers("((check-sat))"), error("1:2: expected the name of a command, found '('"));
  EXPECT_EQ(answers("(|check-sat|)"), error("1:2: expected the name of a command, found 'check-sat'"));
  EXPECT_EQ(answers("(set-info x y)"), error("1:11: expected a keyword, found 'x'"));
  EXPECT_EQ(answers("(set-info :x y z)"), error("1:16: expected ')' after 'set-info', found 'z'"));
  EXPECT_EQ(answers("(echo hello)"), error("1:7: expected a string, found 'hello'"));
  EXPECT_EQ(answers("(declare-fun 1 () Real)"), error("1:14: expected the name of a function, found '1'"));
  EXPECT_EQ(answers("(declare-fun x Real)"), error("1:16: expected '(' before the sorts of arguments, found 'Real'"));
  EXPECT_EQ(answers("(declare-fun f (Real Real) Real)"),
            error("1:14: 'f' has arguments: uninterpreted functions are not part of this logic"));
  EXPECT_EQ(answers("(declare-const let Real)"), error("1:16: expected the name of a constant, found 'let'"));
  EXPECT_EQ(answers("(declare-const x Real)(declare-fun x () Bool)"), error("1:36: 'x' is declared already"));
  EXPECT_EQ(answers("(declare-const and Real)"), error("1:16: 'and' is a name of the theory and cannot be declared"));
}

TEST(Interpreter, TextOutsideCommandsIsReportedOncePerLine) {
  EXPECT_EQ(answers("foo bar )) \"x\"\n(echo \"1\") baz\n)\n(echo \"2\")"),
            error("1:1: expected a command, found 'foo'") + "\"1\"\n" + error("2:12: expected a command, found 'baz'") +
                error("3:1: expected a command, found ')'") + "\"2\"\n");
}

TEST(Interpreter, ABinaryFileIsNoFloodOfErrors) {
  std::string text = "(echo \"1\")";
  for (int i = 0; i < 1000; ++i) text += "\x01\xff{}";
  EXPECT_EQ(answers(text + "\n(echo \"2\")"), "\"1\"\n" + error("1:11: illegal character 0x01") + "\"2\"\n");
}

TEST(Interpreter, InputMayEndInTheMidst) {
  EXPECT_EQ(answers("(echo \"1\")(assert (and true"),
            "\"1\"\n" + error("1:28: expected a term, found the end of the input"));
  EXPECT_EQ(answers("(check-sat"), error("1:11: expected ')' after 'check-sat', found the end of the input"));
  EXPECT_EQ(answers("("), error("1:2: expected the name of a command, found the end of the input"));
  EXPECT_EQ(answers("(echo \"never"), error("1:7: unterminated string"));
  EXPECT_EQ(answers("(set-info :a (b c"), error("1:18: expected ')', found the end of the input"));
  EXPECT_EQ(answers("(declare-sort (a"), error("1:1: sorts other than Bool and Real are not part of this logic"));
  EXPECT_EQ(answers(""), "");
}

TEST(Interpreter, IllegalCharactersCostTheirCommandOnly) {
  EXPECT_EQ(answers("(assert {true})(echo \"1\")[(echo \"2\")"),
            error("1:9: illegal character '{'") + "\"1\"\n" + error("1:26: illegal character '['") + "\"2\"\n");
}

TEST(Interpreter, AFailedCommandHasNoEffect) {
  EXPECT_EQ(
      answers(
          "(declare-fun x () Real)(assert (! (> x 0) :named a) oops)(check-sat)(assert (! (< x 0) :named a))"
          "(check-sat)(push 1 1)(get-info :assertion-stack-levels)(declare-const y Real Real)(declare-const y Real)"),
      error("1:53: expected ')' after 'assert', found 'oops'") + "sat\nsat\n" +
          error("1:117: expected ')' after 'push', found '1'") + "(:assertion-stack-levels 0)\n" +
          error("1:175: expected ')' after 'declare-const', found 'Real'"));
}

// ---- end of a session ----

TEST(Interpreter, ExitEndsTheSession) {
  EXPECT_EQ(answers("(echo \"1\")(exit)(echo \"2\")(bad)"), "\"1\"\n");
  EXPECT_EQ(run_script("(bad)(exit)").status, 1);
  EXPECT_EQ(run_script("(exit)(bad)").status, 0);
}

TEST(Interpreter, ASecondSourceGoesOnWithTheSession) {
  std::ostringstream out, diagnostics;
  Interpreter interpreter(out, diagnostics);
  EXPECT_EQ(interpreter.run(Source::of_text("(declare-fun x () Real)(assert (> x 1))"), "one"), 0);
  EXPECT_EQ(interpreter.run(Source::of_text("(assert (< x 1))(check-sat)"), "two"), 0);
  EXPECT_EQ(interpreter.run(Source::of_text("(assert y)"), "three"), 1);
  EXPECT_EQ(out.str(), "unsat\n(error \"three:1:9: unknown symbol 'y'\")\n");
}

TEST(Interpreter, AnswersEachCommandBeforeTheNextIsRead) {
  const std::string commands[] = {"(echo \"1\")", "(check-sat)", "(bad ", "rest)", "(echo \"2\")"};
  const std::string seen[] = {"", "\"1\"\n", "\"1\"\nsat\n", "\"1\"\nsat\n" + error("1:23: unknown command 'bad'"),
                              "\"1\"\nsat\n" + error("1:23: unknown command 'bad'")};
  std::ostringstream out, diagnostics;
  std::size_t next = 0;
  Interpreter interpreter(out, diagnostics);
  interpreter.run(Source([&](char* to, std::size_t) -> std::size_t {
                    if (next == std::size(commands)) return 0;
                    EXPECT_EQ(out.str(), seen[next]) << "before " << commands[next];
                    return commands[next].copy(to, commands[next].size()), commands[next++].size();
                  }),
                  "test.smt2");
  EXPECT_EQ(next, std::size(commands));
}

// ---- limits ----

// Twenty dense rows: take far more than one iteration of the search.
std::string hard_problem() {
  std::string text;
  unsigned random = 12345;
  const auto next = [&random] { return (random = random * 1103515245u + 12345u) >> 16 & 0x7f; };
  for (int i = 0; i < 16; ++i)
    text += "(declare-fun x" + std::to_string(i) + " () Real)(assert (>= x" + std::to_string(i) + " 0))";
  for (int row = 0; row < 20; ++row) {
    text += "(assert (>= (+";
    for (int i = 0; i < 16; ++i) text += " (* " + std::to_string(next() + 1) + " x" + std::to_string(i) + ")";
    text += ") " + std::to_string(next() + 1000) + "))";
  }
  return text;
}

TEST(Limits, ATimeoutAnswersUnknownAndTheSessionGoesOn) {
  Interpreter::Options options;
  options.check_seconds = 1e-9;
  const Transcript run =
      run_script(hard_problem() + "(check-sat)(get-info :reason-unknown)(reset)(echo \"on\")", options);
  EXPECT_EQ(run.out, "unknown\n(:reason-unknown timeout)\n\"on\"\n");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(answers(hard_problem() + "(check-sat)"), "sat\n");
}

TEST(Limits, TooLittleMemoryAnswersUnknownAndTheSessionGoesOn) {
  Interpreter::Options options;
  options.memory = 1;
  const Transcript run = run_script(hard_problem() + "(check-sat)(get-info :reason-unknown)(echo \"on\")", options);
  EXPECT_EQ(run.out, "unknown\n(:reason-unknown memout)\n\"on\"\n");
}

TEST(Limits, WorkCanBeLimitedByTheScript) {
  const std::string limited = "(set-option :reproducible-resource-limit 1000)(check-sat)(get-info :reason-unknown)";
  const std::string unlimited = "(set-option :reproducible-resource-limit 0)(check-sat)";
  EXPECT_EQ(answers(hard_problem() + limited + unlimited), "unknown\n(:reason-unknown resourceout)\nsat\n");
}

TEST(Limits, SeedsDoNotChangeAnswers) {
  for (const char* seed : {"1", "77", "1000000000000000000"}) {
    const std::string option = "(set-option :random-seed " + std::string(seed) + ")";
    EXPECT_EQ(answers(option + "(declare-const x Real)(assert (or (< x 1) (> x 2)))(check-sat)"), "sat\n") << seed;
  }
}

TEST(Limits, AnInterruptStopsOneCheckOnly) {
  Interrupt interrupt;
  const InterruptTest test(&interrupt);
  EXPECT_FALSE(interrupt.request()) << "nothing is running";
  {
    const InterruptTest::Check running(test);
    EXPECT_NO_THROW(test());
    EXPECT_TRUE(interrupt.request());
    EXPECT_FALSE(interrupt.request()) << "asked before";
    EXPECT_THROW(test(), smt::Interrupted);
  }
  const InterruptTest::Check running(test);
  EXPECT_NO_THROW(test());
}

}  // namespace
}  // namespace tarku::smtlib

// What keeps a session within bounds: steps of a check, files, numbers and terms that definitions blow up.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <string>

#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

// Asks for a subset of 3, 6, 12 and so on with this sum, which takes a search.
std::string subset_sum(int size, const std::string& total) {
  std::string script, sum = "0";
  for (int i = 0; i < size; ++i) {
    const std::string p = "p" + std::to_string(i);
    script += "(declare-const " + p + " Bool)";
    sum += " (ite " + p + ' ' + std::to_string(3 << i) + " 0)";
  }
  return script + "(declare-const x Real)(assert (<= x (+ " + sum + ")))(assert (>= x " + total + "))(assert (<= (+ " +
         sum + ") x " + total + "))(check-sat)";
}

TEST(SessionLimits, ACheckMayTakeSoManySteps) {
  Interpreter::Options options;
  options.check_polls = 2;
  const std::string script = subset_sum(10, "1000");
  const Transcript stopped = run_script(script + "(get-info :reason-unknown)(reset)(check-sat)", options);
  EXPECT_EQ(stopped.out, "unknown\n(:reason-unknown resourceout)\nsat\n");
  EXPECT_EQ(stopped.status, 0);
  options.check_polls = 1000000;
  EXPECT_EQ(run_script(script, options).out, "unsat\n");
}

TEST(SessionLimits, EveryCheckHasItsOwnSteps) {
  const InterruptTest limits(nullptr, 2);
  for (int check = 0; check < 2; ++check) {
    const InterruptTest::Check running(limits);
    EXPECT_NO_THROW(limits());
    EXPECT_NO_THROW(limits());
    EXPECT_THROW(limits(), smt::Interrupted);
  }
}

TEST(SessionLimits, FilesMayBeForbidden) {
  const std::string path = ::testing::TempDir() + "tarku-limits-test";
  std::remove(path.c_str());
  const std::string script = "(set-option :regular-output-channel \"" + path + "\")(echo \"on\")";
  Interpreter::Options options;
  options.may_open_files = false;
  EXPECT_EQ(run_script(script, options).out, "(error \"test.smt2:1:1: opening files is not allowed\")\n\"on\"\n");
  EXPECT_FALSE(std::ifstream(path).is_open());
  EXPECT_EQ(run_script("(set-option :regular-output-channel \"stderr\")(echo \"on\")", options).diagnostics,
            "\"on\"\n");
  options.may_open_files = true;
  EXPECT_EQ(run_script(script, options).out, "");
  EXPECT_TRUE(std::ifstream(path).is_open());
  std::remove(path.c_str());
}

// Definitions that square each other: after some fifty, more digits than there are atoms.
TEST(SessionLimits, NumbersHaveALimit) {
  std::string script = "(define-const c0 Real 10)(define-const d0 Real (/ 1 7))";
  for (int i = 1; i <= 20; ++i) {
    const std::string below = std::to_string(i - 1), i_text = std::to_string(i);
    script += "(define-const c" + i_text + " Real (* c" + below + " c" + below + "))";
    script += "(define-const d" + i_text + " Real (/ d" + below + " c" + below + "))";
  }
  script += "(declare-const x Real)";
  EXPECT_EQ(answers(script + "(assert (= x (/ c19 c19) (* (/ 1 10) 10)))(assert (< (* 2 c20) x))(check-sat)"),
            "unsat\n");
  const std::size_t place = script.size() + 12;
  EXPECT_EQ(answers(script + "(assert (< (* c20 c20) x))(check-sat)"),
            "(error \"test.smt2:1:" + std::to_string(place) + ": the numbers in '*' are too large\")\nsat\n");
  EXPECT_EQ(answers(script + "(assert (< (/ 1 c20 c20) x))(check-sat)"),
            "(error \"test.smt2:1:" + std::to_string(place) + ": the numbers in '/' are too large\")\nsat\n");
  EXPECT_EQ(answers(script + "(define-fun f ((a Real)) Real (* a a))(assert (< (f c20) x))(check-sat)"),
            "(error \"test.smt2:1:" + std::to_string(place + 38) +
                ": in the expansion of 'f': the numbers in '*' are too large\")\nsat\n");
}

TEST(SessionLimits, NumbersInBenchmarksHaveALimit) {
  std::string formula;
  for (int i = 0; i < 40; ++i) formula += "(let (?c (* ?c ?c)) ";
  const std::string out =
      answers("(benchmark b :formula (let (?c 10) " + formula + "(< ?c 1)" + repeat(")", 41) + ")(echo \"on\")");
  EXPECT_NE(out.find(": the numbers in '*' are too large\")\n\"on\"\n"), std::string::npos) << out;
}

// Functions that apply each other twice: a term with 2^60 operators, none of them shared.
TEST(SessionLimits, ExpansionsHaveALimit) {
  std::string script = "(declare-const x Real)(define-fun f0 ((a Real)) Real (ite (< a 1) (+ a 1) x))";
  for (int i = 1; i <= 60; ++i) {
    const std::string name = "f" + std::to_string(i), below = "(f" + std::to_string(i - 1) + ' ';
    script += "(define-fun " + name + " ((a Real)) Real " + below + below + "a)))";
  }
  const std::string out = answers(script + "(assert (< (f60 x) 0))(assert (= x (f5 0)))(check-sat)");
  const std::string wanted = ": in the expansion of 'f60': it takes more than 100";
  EXPECT_NE(out.find(wanted), std::string::npos) << out;
  EXPECT_EQ(out.substr(out.find('\n') + 1), "sat\n");
}

}  // namespace
}  // namespace tarku::smtlib

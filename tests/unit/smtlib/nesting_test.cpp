// Depth and length: a million levels neither crash the reader nor make it slow.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/unit/smtlib/run_script.h"

namespace tarku::smtlib {
namespace {

constexpr std::size_t million = 1000000;
const std::string declare_x_y = "(declare-fun x () Real)(declare-fun y () Real)(assert (= x y 1))";

// Runs the script and demands an end within a time that work in the square of a million cannot meet, even on a busy
// machine or under a sanitizer.
std::string quickly(std::string script) {
  constexpr double most_seconds = 60;
  const auto start = std::chrono::steady_clock::now();
  std::string out = answers(std::move(script));
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  EXPECT_LT(taken.count(), most_seconds);
  return out;
}

TEST(Nesting, AMillionOperators) {
  EXPECT_EQ(
      quickly(declare_x_y + "(assert " + repeat("(not ", million) + "(> x 0)" + repeat(")", million) + ")(check-sat)"),
      "sat\n");
  constexpr std::size_t many = 200001;
  EXPECT_EQ(quickly(declare_x_y + "(check-sat)(get-value (" + repeat("(- ", many) + "y" + repeat(")", many) + "))")
                .substr(3 * many + 4 + 2),
            "y" + repeat(")", many) + " (- 1.0)))\n");
}

TEST(Nesting, AMillionLetsInBodies) {
  EXPECT_EQ(quickly(declare_x_y + "(assert (> " + repeat("(let ((x (+ x y))) ", million) + "x" + repeat(")", million) +
                    " 1000000))(check-sat)"),
            "sat\n");
}

TEST(Nesting, AMillionLetsInValues) {
  EXPECT_EQ(quickly(declare_x_y + "(assert (= 1 " + repeat("(let ((x ", million) + "y" + repeat(")) x)", million) +
                    "))(check-sat)"),
            "sat\n");
}

TEST(Nesting, OneLetWithManyVariables) {
  std::string bindings, sum;
  for (int i = 0; i < 200000; ++i) {
    const std::string v = "v" + std::to_string(i);
    bindings += "(" + v + " (+ x " + std::to_string(i) + "))";
    sum += " " + v;
  }
  EXPECT_EQ(quickly(declare_x_y + "(assert (let (" + bindings + ") (> (+" + sum + ") 20000099999)))(check-sat)"),
            "sat\n");
}

// Each variable doubles the one before: 2^1000 as a tree, a thousand terms as it is.
TEST(Nesting, LetsShareTheirValues) {
  EXPECT_EQ(quickly(declare_x_y + "(assert (= x " + repeat("(let ((y (- (+ y y) y))) ", 1000) + "y" +
                    repeat(")", 1000) + "))(check-sat)"),
            "sat\n");
}

TEST(Nesting, AMillionParenthesesInBadPlaces) {
  const std::string open = repeat("(", million), close = repeat(")", million);
  EXPECT_EQ(quickly(open + close + "(echo \"on\")"),
            "(error \"test.smt2:1:2: expected the name of a command, found '('\")\n\"on\"\n");
  EXPECT_EQ(quickly("(set-info :x " + open + close + ")(frob " + open + close + ")(echo \"on\")"),
            "(error \"test.smt2:1:2000016: unknown command 'frob'\")\n\"on\"\n");
  EXPECT_EQ(quickly("(assert (! true :x " + open + close + "))(check-sat)"), "sat\n");
  EXPECT_EQ(quickly("(declare-const x " + repeat("(F ", million) + "Real" + close + ")(echo \"on\")").substr(0, 40),
            "(error \"test.smt2:1:19: unknown sort 'F'");
}

TEST(Nesting, AMillionSorts) {
  EXPECT_EQ(quickly("(define-sort F (A) A)(declare-const x " + repeat("(F ", million) + "Real" + repeat(")", million) +
                    ")(assert (> x 0))(check-sat)"),
            "sat\n");
}

TEST(Nesting, AnErrorFarInside) {
  EXPECT_EQ(quickly(declare_x_y + "(assert " + repeat("(let ((x y)) (and true ", million) + "oops" +
                    repeat("))", million) + ")(check-sat)"),
            "(error \"test.smt2:1:" + std::to_string(declare_x_y.size() + 9 + 23 * million) +
                ": unknown symbol 'oops'\")\nsat\n");
}

TEST(Nesting, LongChainsOfDefinitions) {
  std::string script = declare_x_y + "(define-fun f0 ((a Real)) Real (- a))";
  for (int i = 1; i < 100000; ++i) {
    const std::string name = std::to_string(i), below = std::to_string(i - 1);
    script += "(define-fun f" + name + " ((a Real)) Real (- (f" + below + " a)))";
  }
  EXPECT_EQ(quickly(script + "(assert (= x (f99999 y)))(check-sat)"), "sat\n");
}

TEST(Nesting, ManyLevels) {
  EXPECT_EQ(quickly(declare_x_y + repeat("(push 1)(declare-fun z () Real)(pop 1)", 100000) + "(push 200000)" +
                    "(pop 200000)(check-sat)"),
            "sat\n");
}

}  // namespace
}  // namespace tarku::smtlib

// Scripts that are short and mean something huge: the checker copes with it or refuses it, and is quick either way.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::repeat;

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

// Whether the script's only assertion is false by what it is made of.
bool is_false(const std::string& script) {
  return test::refusal("tarku-certificate 1\ncheck 1\ninput 1 0 0\nqed 1\n", script + "(check-sat)").empty();
}

const std::string x = "(declare-const x Real)";

// Constants c0 to c20, each the square of the one before.
std::string squares(const std::string& first) {
  std::string script = "(define-const c0 Real " + first + ")";
  for (int i = 1; i <= 20; ++i) {
    const std::string below = "c" + std::to_string(i - 1);
    script += "(define-const c" + std::to_string(i) + " Real (* " + below + ' ' + below + "))";
  }
  return script;
}

// Functions f0 to f60, each of which applies the one before twice.
std::string towers(const std::string& first) {
  std::string script = "(define-fun f0 ((a Real)) Real " + first + ")";
  for (int i = 1; i <= 60; ++i) {
    const std::string below = "(f" + std::to_string(i - 1) + ' ';
    script += "(define-fun f" + std::to_string(i) + " ((a Real)) Real " + below + below + "a)))";
  }
  return script;
}

TEST(CheckerLimits, ProductsOfNumerals) {
  const std::string large = "s:1: the numbers in a product are too large";
  EXPECT_EQ(refusal(x + squares("10") + "(assert (= x (* 2 c20)))"), "");
  EXPECT_EQ(refusal(x + squares("10") + "(assert (= x (* c20 c20 c20)))"), large);
  EXPECT_EQ(refusal(x + squares("10") + "(assert (= x (/ 1 c20 c20 c20)))"), large);
  EXPECT_EQ(refusal(x + squares("10") + "(assert (= x (/ (* c20 c20) c20)))"), large);
  EXPECT_EQ(refusal(x + squares("10") + "(define-fun f ((a Real)) Real (* a a))(assert (= x (f (f c20))))"), large);
}

TEST(CheckerLimits, ExpansionsOfDefinitions) {
  const std::string many = "s:1: the application of a function takes too many steps";
  EXPECT_EQ(refusal(x + towers("(ite (< a 1) (+ a 1) x)") + "(assert (= x (f60 x)))"), many);
  EXPECT_EQ(refusal(x + towers("(ite (< a 1) (+ a 1) x)") + "(assert (= x (f10 x)))"), "");
}

// Long factors are not multiplied out step by step, but they are when it counts.
TEST(CheckerLimits, LongFactors) {
  const std::string script = x + towers("(* 3 a)") + squares("3");
  EXPECT_TRUE(is_false(script + "(assert (distinct (f10 x) (* c10 x)))"));
  EXPECT_FALSE(is_false(script + "(assert (distinct (f10 x) (* c9 c9 3 x)))"));
  EXPECT_TRUE(is_false(script + "(assert (distinct (/ (f10 (+ x 1)) c10) (+ (/ (* x c9) c9) 1)))"));
  EXPECT_TRUE(is_false(script + "(assert (< (* (- (f10 1) c10) x) (f10 0)))"));
  EXPECT_EQ(refusal(script + "(assert (= x (f17 x)))(check-sat)"), "");
}

TEST(CheckerLimits, LevelsPushedAtOnce) {
  const std::string script =
      "(declare-const p Bool)" + repeat("(push 1000000)", 100) + "(assert p)(pop 99999999)(assert (not p))(check-sat)";
  const std::string certificate = "tarku-certificate 1\ncheck 1\nbool 1 p\ninput 1 ";
  EXPECT_EQ(test::refusal(certificate + "0 1 0\n", script), "c:4: input 1: assertion 0 is not in force at check 1");
  EXPECT_EQ(test::refusal(certificate + "1 -1 0\n", script), "c:4: end of text: the certificate has no 'qed'");
  EXPECT_EQ(refusal("(push 3)(pop 2)(push 2)(pop 3)(pop 1)"), "s:1: more levels are popped than there are");
  EXPECT_EQ(refusal("(push 3)(pop 2)(push 2)(pop 3)(pop 0)"), "");
}

}  // namespace
}  // namespace tarku::checker

// What gates and conditional variables stand for in a script, and which spellings of it inputs recognise.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tarku/proof/checker/checker.h"
#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::repeat;

const std::string declarations =
    "(declare-const x Real)(declare-const y Real)(declare-const z Real)"
    "(declare-const p Bool)(declare-const q Bool)(declare-const r Bool)"
    "(define-fun more ((t Real)) Real (- t (- 1)))"
    "(define-fun pick ((a Real) (b Real)) Real (ite (<= x y) a b))";

const std::string symbols =
    "tarku-certificate 1\ncheck 1\nreal 1 x\nreal 2 y\nreal 3 z\nbool 1 p\nbool 2 q\nbool 3 r\natom 4 1*1 -1*2 <= 0\n";

// Whether a text is refused for nothing but its last line.
bool is_fine_up_to_end(const std::string& refusal) {
  return refusal.find(": end: there is no such step") != std::string::npos;
}

// Whether the assertion says what the steps end with, which is the clause of an input.
bool says(const std::string& assertion, const std::string& steps, const std::string& clause) {
  const std::string found = test::refusal(symbols + steps + "\ninput 1 0 " + clause + " 0\nend\n",
                                          declarations + "(assert " + assertion + ")(check-sat)");
  if (is_fine_up_to_end(found)) return true;
  EXPECT_NE(found.find("input 1: assertion 0 does not say so: none of its conjuncts is the clause"), std::string::npos)
      << found;
  return false;
}

// ---- gates ----

TEST(CheckerMeanings, GatesOfEachKind) {
  EXPECT_TRUE(says("(or r (and p q))", "and 9 2 1 0", "9 3"));
  EXPECT_FALSE(says("(or r (and p q))", "and 9 -2 1 0", "9 3"));
  EXPECT_TRUE(says("(or (not q) (and p (not (> x y))))", "and 9 1 4 0", "9 -2"));
  EXPECT_TRUE(says("(or r (= p (< y x)))", "iff 9 4 1", "-9 3"));
  EXPECT_TRUE(says("(or r (= p (< y x)))", "iff 9 -4 1", "9 3"));
  EXPECT_FALSE(says("(or r (= p (< y x)))", "iff 9 4 1", "9 3"));
  EXPECT_TRUE(says("(ite p q r)", "ite 9 -1 3 2", "9"));
  EXPECT_TRUE(says("(not (ite p q r))", "ite 9 1 -2 -3", "9"));
  EXPECT_FALSE(says("(ite p q r)", "ite 9 1 3 2", "9"));
  EXPECT_TRUE(says("(xor p q r)", "iff 9 1 2\niff 10 -9 3", "-10"));
  EXPECT_TRUE(says("(= p q r)", "iff 9 1 2\niff 10 2 3\nand 11 10 9 0", "11"));
  EXPECT_TRUE(says("(= p q r)", "iff 9 1 2\niff 10 2 3\nand 11 10 9 0", "10"));
}

TEST(CheckerMeanings, GatesFoldAsFormulasDo) {
  EXPECT_TRUE(says("p", "and 9 1 1 0", "9"));
  EXPECT_TRUE(says("p", "and 9 0\nand 10 9 1 0", "10"));
  EXPECT_TRUE(says("p", "and 9 0\niff 10 9 1", "10"));
  EXPECT_TRUE(says("(not p)", "and 9 0\niff 10 -9 1", "10"));
  EXPECT_TRUE(says("p", "and 9 0\nite 10 9 1 2", "10"));
  EXPECT_TRUE(says("(= p q)", "ite 10 1 2 -2", "10"));
  EXPECT_TRUE(says("(or p q)", "and 9 0\nite 10 1 9 2", "10"));
  EXPECT_TRUE(says("(or p q)", "and 9 0\nite 10 1 9 2", "1 2"));
  EXPECT_TRUE(says("(or p (< x x))", "atom 9 < 0\nand 10 9 2 0", "10 1"));
  EXPECT_TRUE(says("(and p q)", "and 9 0", "9"));  // says less than anything
}

// Declarations may stand before the check; then their meanings wait for it.
TEST(CheckerMeanings, DeclarationsBeforeTheCheck) {
  const std::string script = declarations + "(assert (or (and p (< (pick x y) 1)) (= p q)))(check-sat)";
  const std::string steps =
      "bool 1 p\nreal 1 x\nreal 2 y\natom 4 1*1 -1*2 <= 0\nreal-ite 3 4 : 1*1 0 : 1*2 0\nbool 2 q\n"
      "atom 5 1*3 < 1\nand 6 1 5 0\niff 7 2 1\n";
  const std::string input = "input 1 0 6 7 0\nend\n";
  EXPECT_EQ(test::refusal("tarku-certificate 1\n" + steps + "check 1\n" + input, script),
            "c:13: end: there is no such step");
  EXPECT_EQ(test::refusal("tarku-certificate 1\ncheck 1\n" + steps + input, script),
            "c:13: end: there is no such step");
  EXPECT_EQ(test::refusal("tarku-certificate 1\n" + steps + "check 2\n", script),
            "c:11: check 2: there is no such check; the script has 1");
}

// ---- conditional variables ----

TEST(CheckerMeanings, SpellingsOfOneConditional) {
  const std::string steps = "real-ite 4 4 : 1*1 1 : 2*2 -1*3 -1/2\natom 5 1*4 1*3 <= 0";
  for (const char* term : {
           "(ite (<= x y) (+ x 1) (- (* 2 y) z 0.5))",
           "(ite (> x y) (- (+ y y) (+ z (/ 1 2))) (- x (- 1)))",
           "(pick (more x) (- (* 2 (more y)) z 2.5))",
           "(ite (<= (* 2 x) (+ y y)) (more (more (- x 1))) (/ (- (* 4 y) (+ z z) 1) 2))",
           "(ite (not (not (>= y x))) (let ((w (+ 1 1))) (+ x w (- 1))) (+ (- z) (- (/ 1 2)) y y))",
           "(ite (and (<= x y)) (+ 1 x) (ite (< 1 0) x (- (* 2 y) z 0.5)))",
       }) {
    EXPECT_TRUE(says("(<= (+ " + std::string(term) + " z) 0)", steps, "5")) << term;
    EXPECT_TRUE(says("(=> p (not (< (- z) " + std::string(term) + ")))", steps, "-1 5")) << term;
  }
  for (const char* term : {
           "(ite (<= x y) (+ x 2) (- (* 2 y) z 0.5))",
           "(ite (<= x y) (+ x 1) (- (* 2 y) z))",
           "(ite (< x y) (+ x 1) (- (* 2 y) z 0.5))",
           "(ite (> x y) (+ x 1) (- (* 2 y) z 0.5))",
           "(+ x 1)",
           "(* 2 (ite (<= x y) (+ x 1) (- (* 2 y) z 0.5)))",
       }) {
    EXPECT_FALSE(says("(<= (+ " + std::string(term) + " z) 0)", steps, "5")) << term;
  }
}

TEST(CheckerMeanings, ConditionalsThatAreNone) {
  EXPECT_TRUE(says("(< (+ x 1) z)", "and 9 0\nreal-ite 4 9 : 1*1 1 : 1*2 0\natom 5 1*4 -1*3 < 0", "5"));
  EXPECT_TRUE(says("(< y z)", "and 9 0\nreal-ite 4 -9 : 1*1 1 : 1*2 0\natom 5 1*4 -1*3 < 0", "5"));
  EXPECT_TRUE(says("(< (ite p x x) z)", "real-ite 4 2 : 1*1 0 : 1*1 0\natom 5 1*4 -1*3 < 0", "5"));
  EXPECT_TRUE(says("(< (ite p (+ x 1) (more x)) z)", "atom 5 1*1 -1*3 < -1", "5"));
  EXPECT_TRUE(says("(< 7 z)", "real-ite 4 1 : 7 : 7\natom 5 1*4 -1*3 < 0", "5"));
  EXPECT_TRUE(says("q", "real-ite 4 1 : 7 : 7\natom 5 1*4 < 0", "5 2"));
  EXPECT_TRUE(says("q", "real-ite 4 1 : 1*1 0 : 1*1 0\nreal-ite 5 2 : 1*4 1 : 1*1 1\natom 5 1*4 -1*5 >= 0\n", "5 2"));
}

// Two variables for one term, and two terms in one sum.
TEST(CheckerMeanings, ConditionalsWithinConditionals) {
  const std::string steps =
      "real-ite 4 1 : 1*1 0 : 1*2 0\nreal-ite 5 -1 : 1*2 0 : 1*1 0\natom 5 1*4 -1*3 < 0\n"
      "real-ite 6 5 : 1*4 1*5 1 : -1*4 0\nand 6 5 2 0\nreal-ite 7 6 : 1*6 0 : 1*1 0\natom 7 1*7 1*4 > 2";
  EXPECT_TRUE(
      says("(< 2 (+ (ite (and q (< (ite p x y) z)) (ite (< (ite p x y) z) (+ 1 (* 2 (ite p x y))) "
           "(- (ite p x y))) x) (ite (not p) y x)))",
           steps, "7"));
  EXPECT_TRUE(says("(or r (= (ite p x y) (+ 3 (ite q y x))))",
                   "real-ite 4 1 : 1*1 0 : 1*2 0\nreal-ite 5 2 : 1*2 0 : 1*1 0\natom 9 -2*5 2*4 = 6", "9 3"));
  EXPECT_TRUE(says("(or r (< (ite p x y) (ite (not p) y x)))", steps, "3"));
}

// The sums of branches are long, shared, and grouped in another way.
TEST(CheckerMeanings, LongBranches) {
  std::string script = declarations, certificate = symbols, left, right, terms;
  for (int i = 10; i < 60; ++i) {
    const std::string name = "v" + std::to_string(i);
    script += "(declare-const " + name + " Real)";
    certificate += "real " + std::to_string(i) + " " + name + "\n";
    (i % 3 == 0 ? left : right) += " " + name;
    terms = " 2*" + std::to_string(i) + terms;
  }
  script += "(define-fun left () Real (+" + left + "))(define-fun right () Real (+ 1" + right + "))";
  script += "(define-fun all () Real (+ (- (* 4 left) (- left) left) (* 3 (- right left)) right))";
  script += "(define-fun some () Real (- all (* 2 right) (- (* 2 right) (+ left left))))";  // 3 left
  script += "(assert (< (ite (> left (/ some 3)) y (ite (< right all) (- all (* 2 (- right left))) x)) z))";
  script += "(assert (or p (< (ite (< right all) (* 2 (+ right left)) x) z)))(check-sat)";
  // all = left + 4 right
  certificate += "atom 70";
  for (int i = 10; i < 60; ++i) certificate += " " + std::string(i % 3 == 0 ? "-1*" : "-3*") + std::to_string(i);
  certificate += " < 3\nreal-ite 4 70 :" + terms + " 2 : 1*1 0\natom 71 1*4 -1*3 < 0\n";
  EXPECT_TRUE(is_fine_up_to_end(test::refusal(certificate + "input 1 1 1 71 0\nend\n", script)));
}

// ---- sizes ----

// A tower of conditionals, each in the condition and in a branch of the next, in the script and in the certificate.
TEST(CheckerMeanings, TallTowers) {
  constexpr int height = 20000;
  std::string script = "(declare-const x Real)(declare-const y Real)(assert (< ", ends;
  std::string certificate = "tarku-certificate 1\ncheck 1\nreal 1 x\nreal 2 y\n";
  for (int i = 0; i < height; ++i) script += "(let ((x (ite (> x y) (- x (- 1)) (* 2 y)))) ";
  for (int i = 1; i <= height; ++i) {
    const std::string before = i == 1 ? "1" : std::to_string(i + 1);
    certificate += "atom " + std::to_string(2 * i) + " 1*" + before + " -1*2 <= 0\n";
    certificate +=
        "real-ite " + std::to_string(i + 2) + " " + std::to_string(2 * i) + " : 2*2 0 : 1*" + before + " 1\n";
  }
  script += "x" + std::string(height, ')') + " 3))(check-sat)";
  const std::string top = std::to_string(height + 2);
  certificate += "atom 1 -1*" + top + " > -3\ninput 1 0 1 0\nend\n";
  const std::string found = test::refusal(certificate, script);
  EXPECT_TRUE(is_fine_up_to_end(found)) << found;
}

// Gates over gates over gates.
TEST(CheckerMeanings, DeepGates) {
  constexpr int depth = 100000;
  std::string certificate = "tarku-certificate 1\ncheck 1\nbool 1 p\nbool 2 q\niff 3 1 -2\n";
  for (int i = 4; i < depth; ++i) {
    certificate += "and " + std::to_string(i) + " 1 -" + std::to_string(i - 1) + " 0\n";
  }
  certificate += "input 1 0 -" + std::to_string(depth - 1) + " 0\nend\n";
  const std::string script = "(declare-const p Bool)(declare-const q Bool)(assert " +
                             repeat("(not (and p ", depth - 4) + "(= p q)" + std::string(2 * (depth - 4), ')') +
                             ")(check-sat)";
  const std::string found = test::refusal(certificate, script);
  EXPECT_TRUE(is_fine_up_to_end(found)) << found;
}

// The same through the calls.
TEST(CheckerMeanings, AreAskedForWithoutText) {
  std::istringstream text(declarations + "(assert (or (and p (< (pick x (more y)) 1)) (ite p q (= q r))))(check-sat)");
  Script script(text, "s");
  Checker checker(&script);
  checker.begin(1);
  const char* const reals[] = {"x", "y"};
  for (int i = 0; i < 2; ++i) checker.declare_real(i + 1, reals[i]);
  const char* const bools[] = {"p", "q", "r"};
  for (int i = 0; i < 3; ++i) checker.declare_bool(i + 1, bools[i]);
  checker.define_atom(4, {{1, 1}, {-1, 2}}, Relation::greater, 0);
  checker.define_conditional(3, -4, {{{1, 1}}, 0}, {{{1, 2}}, 1});
  checker.define_atom(5, {{1, 3}}, Relation::less, 1);
  checker.define_conjunction(6, {5, 1});
  checker.define_equivalence(7, 3, 2);
  checker.define_choice(8, 1, 2, 7);
  EXPECT_THROW(checker.add_input(1, 0, {6, 7}), Refused);
  EXPECT_NO_THROW(checker.add_input(1, 0, {8, 6}));
  EXPECT_NO_THROW(checker.add_gate(2, 8, {-8, 2, 7}));
  checker.define_atom(9, {{1, 3}, {-1, 2}}, Relation::greater_equal, 1);
  EXPECT_NO_THROW(checker.add_branch(3, 3, {-4, 9}));
  EXPECT_EQ(checker.num_inputs(), 1u);
  EXPECT_EQ(checker.num_gate_clauses(), 1u);
  EXPECT_EQ(checker.num_branches(), 1u);
}

}  // namespace
}  // namespace tarku::checker

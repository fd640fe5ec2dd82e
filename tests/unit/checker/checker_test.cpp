// The rules for each kind of step, one by one.
#include "tarku/proof/checker/checker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "tests/unit/checker/check_text.h"

namespace tarku::checker {
namespace {

using test::refused_step;

// Whether the last of these lines is accepted, as all before are.
bool accepts(const std::string& steps) {
  return refused_step(steps + "\nend") == "end: there is no such step";
}

const std::string reals = "real 1 x\nreal 2 y\nreal 3 z\n";
const std::string atoms = reals +
                          "atom 1 1*1 <= 1\n"
                          "atom 2 1*1 < 1\n"
                          "atom 3 1*1 = 1\n"
                          "atom 4 1*1 >= 1\n"
                          "atom 5 1*1 > 1\n"
                          "atom 6 1*1 1*2 <= 0\n"
                          "atom 7 -2*2 <= 3\n"
                          "bool 8 p\n"
                          "bool 9 q\n"
                          "atom 10 <= 0\n"
                          "atom 11 < 0\n"
                          "atom 12 1*1 >= 2\n"
                          "atom 13 1/3*1 1/2*2 <= 1/6\n"
                          "atom 14 2*1 3*2 > 1\n";

std::string on_atoms(const std::string& step) {
  return refused_step(atoms + step);
}
bool fine(const std::string& step) {
  return accepts(atoms + step);
}

// ---- check ----

TEST(CheckerSteps, CheckStandsOnceAndBeforeTheFirstInput) {
  Checker checker;
  checker.declare_bool(1, "p");
  EXPECT_THROW(checker.add_input(1, 0, {1}), Refused);
  checker.begin(7);
  EXPECT_EQ(checker.check(), 7u);
  EXPECT_THROW(checker.begin(7), Refused);
  checker.add_input(1, 0, {1});
  EXPECT_THROW(checker.begin(8), Refused);
  EXPECT_EQ(refused_step("check 0"), "check 0: the check was told already");
  EXPECT_EQ(test::refusal("tarku-certificate 1\nbool 1 p\ninput 1 0 1 0\n"),
            "c:3: input 1: the check that is answered must be told before the first input");
}

// ---- declarations ----

TEST(CheckerSteps, VariablesAreDeclaredOnceBeforeTheirUse) {
  EXPECT_TRUE(accepts("real 1 x\nreal 2 x\nbool 1 p"));
  EXPECT_TRUE(accepts("real 1073741824 x\nbool 1073741824 p\natom 5 2*1073741824 < 1\ninput 1 0 -1073741824 5 0"));
  EXPECT_EQ(refused_step("real 1 x\nreal 1 y"), "real 1: the Real variable is declared already");
  EXPECT_EQ(refused_step("bool 1 x\nbool 1 y"), "bool 1: the propositional variable is declared already");
  EXPECT_EQ(refused_step("bool 1 x\natom 1 < 0"), "atom 1: the propositional variable is declared already");
  EXPECT_EQ(refused_step("atom 1 < 0\nbool 1 x"), "bool 1: the propositional variable is declared already");
  EXPECT_EQ(refused_step("atom 1 1*1 < 0"), "atom 1: Real variable 1 is not declared");
  EXPECT_EQ(refused_step("bool 1 p\natom 2 1*1 < 0"), "atom 2: Real variable 1 is not declared");
  EXPECT_EQ(refused_step("real 1 x\ninput 1 0 1 0"), "input 1: propositional variable 1 is not declared");
  EXPECT_EQ(refused_step("bool 1 p\nrup 1 2 0"), "rup 1: propositional variable 2 is not declared");
}

TEST(CheckerSteps, VariablesAreInRange) {
  EXPECT_EQ(refused_step("real 0 x"), "real 0: '0' is not a variable");
  EXPECT_EQ(refused_step("bool 1073741825 x"), "bool 1073741825: '1073741825' is not a variable");
  Checker checker;
  for (const int variable : {0, -1, max_variable + 1}) {
    EXPECT_THROW(checker.declare_real(variable, "x"), Refused);
    EXPECT_THROW(checker.declare_bool(variable, "p"), Refused);
    EXPECT_THROW(checker.define_atom(variable, {}, Relation::less, 0), Refused);
    EXPECT_THROW(checker.define_atom(1, {{1, variable}}, Relation::less, 0), Refused);
  }
  for (const int literal : {0, max_variable + 1, -max_variable - 1, std::numeric_limits<int>::min()}) {
    EXPECT_THROW(checker.add_rup(1, {literal}, {}), Refused);
  }
}

TEST(CheckerSteps, TermsOfAtomsDifferAndAreNotZero) {
  EXPECT_TRUE(accepts(reals + "atom 1 1*3 1*1 -1*2 = 0"));
  EXPECT_EQ(refused_step(reals + "atom 1 1*3 0*1 = 0"), "atom 1: the number of Real variable 1 is 0");
  EXPECT_EQ(refused_step(reals + "atom 1 -0/7*1 = 0"), "atom 1: the number of Real variable 1 is 0");
  EXPECT_EQ(refused_step(reals + "atom 1 1*3 1*1 -1*3 = 0"), "atom 1: there are two terms of Real variable 3");
}

// ---- ids ----

TEST(CheckerSteps, IdsAscendAndAreInRange) {
  EXPECT_TRUE(fine("input 1 0 8 0\ninput 3 0 9 0\ninput 4611686018427387904 0 8 9 0"));
  EXPECT_EQ(on_atoms("input 3 0 8 0\ninput 3 0 8 0"), "input 3: ids must ascend, but the clause before is 3");
  EXPECT_EQ(on_atoms("input 3 0 8 0\nrup 2 8 0 3"), "rup 2: ids must ascend, but the clause before is 3");
  EXPECT_EQ(on_atoms("input 3 0 8 0\ndelete 3\ninput 3 0 8 0"), "input 3: ids must ascend, but the clause before is 3");
  EXPECT_EQ(on_atoms("input 0 0 8 0"), "input 0: 0 is out of range for the id of a clause");
  EXPECT_EQ(on_atoms("split 4611686018427387905 3 2 5 0"),
            "split 4611686018427387905: 4611686018427387905 is out of range for the id of a clause");
  EXPECT_EQ(on_atoms("farkas 18446744073709551615 0"),
            "farkas 18446744073709551615: 18446744073709551615 is out of range for the id of a clause");
  EXPECT_EQ(on_atoms("farkas 18446744073709551616 0"),
            "farkas 18446744073709551616: '18446744073709551616' is not the id of a clause");
}

// ---- farkas ----

TEST(CheckerSteps, FarkasAddsUpToAContradiction) {
  EXPECT_TRUE(fine("farkas 1 -1 -5 0 1 1"));    // x <= 1, x > 1: 0 < 0
  EXPECT_TRUE(fine("farkas 1 -1 1 0 3 3"));     // a constraint and its negation
  EXPECT_TRUE(fine("farkas 1 -1 -12 0 2 2"));   // x <= 1, x >= 2: 0 <= -2
  EXPECT_TRUE(fine("farkas 1 1 4 0 1 1"));      // x > 1, x < 1
  EXPECT_TRUE(fine("farkas 1 -10 -11 0 0 1"));  // 0 < 0 by itself
  EXPECT_TRUE(fine("farkas 1 10 0 5"));         // 0 > 0 by itself
  EXPECT_TRUE(fine("farkas 1 -13 -14 0 6 1"));  // with fractions
  EXPECT_EQ(on_atoms("farkas 1 -1 -4 0 1 1"), "farkas 1: the sum is no contradiction: 0 <= 0");
  EXPECT_EQ(on_atoms("farkas 1 -5 -4 0 0 0"), "farkas 1: the sum is no contradiction: 0 <= 0");
  EXPECT_EQ(on_atoms("farkas 1 -10 0 1"), "farkas 1: the sum is no contradiction: 0 <= 0");
  EXPECT_EQ(on_atoms("farkas 1 0"), "farkas 1: the sum is no contradiction: 0 <= 0");
  EXPECT_EQ(on_atoms("farkas 1 11 0 1"), "farkas 1: the sum is no contradiction: 0 <= 0");
}

TEST(CheckerSteps, FarkasTermsCancel) {
  EXPECT_EQ(on_atoms("farkas 1 -1 0 1"), "farkas 1: terms do not cancel: 1*x remains");
  EXPECT_EQ(on_atoms("farkas 1 -1 -4 0 1 1/2"), "farkas 1: terms do not cancel: 1/2*x remains");
  EXPECT_EQ(on_atoms("farkas 1 -6 0 2"), "farkas 1: terms do not cancel: 2*x + 2*y remain");
  EXPECT_EQ(on_atoms("farkas 1 -6 -5 0 1 1"), "farkas 1: terms do not cancel: 1*y remains");
  EXPECT_EQ(refused_step(reals + "real 4 w\natom 1 1*1 1*2 1*3 1*4 < 0\nfarkas 1 -1 0 1"),
            "farkas 1: terms do not cancel: 1*x + 1*y + 1*z + ... remain");
}

// Equalities may be subtracted; what is left counts as `<=`.
TEST(CheckerSteps, FarkasOverEqualities) {
  const std::string equalities = reals + "atom 1 1*1 1*2 = 1\natom 2 1*1 1*2 = 2\natom 3 1*2 <= 5\natom 4 = 1\n";
  EXPECT_TRUE(accepts(equalities + "farkas 1 -1 -2 0 1 -1"));
  EXPECT_EQ(refused_step(equalities + "farkas 1 -1 -2 0 -1 1"), "farkas 1: the sum is no contradiction: 0 <= 1");
  EXPECT_TRUE(accepts(equalities + "farkas 1 -4 0 -1"));
  EXPECT_EQ(refused_step(equalities + "farkas 1 -4 0 1"), "farkas 1: the sum is no contradiction: 0 <= 1");
}

TEST(CheckerSteps, FarkasMultipliersHaveTheRightSigns) {
  EXPECT_EQ(on_atoms("farkas 1 -1 -5 0 -1 1"), "farkas 1: multiplier -1 of literal -1 is negative");
  EXPECT_EQ(on_atoms("farkas 1 -1 -5 0 1 -1"), "farkas 1: multiplier -1 of literal -5 is negative");
  EXPECT_EQ(on_atoms("farkas 1 5 0 -1/2"), "farkas 1: multiplier -1/2 of literal 5 is negative");
  EXPECT_EQ(on_atoms("farkas 1 3 0 1"),
            "farkas 1: multiplier 1 of literal 3 must be 0: without the literal a disequality holds");
  EXPECT_EQ(on_atoms("farkas 1 -8 -1 -5 0 2 1 1"),
            "farkas 1: multiplier 2 of literal -8 must be 0: the literal is no constraint");
  EXPECT_TRUE(fine("farkas 1 8 -9 3 -1 -5 0 0 0 0 1 1"));
}

// A strict constraint makes the sum strict only when it takes part.
TEST(CheckerSteps, FarkasIsStrictByWhatTakesPart) {
  EXPECT_TRUE(fine("farkas 1 -2 -4 0 1 1"));
  EXPECT_EQ(on_atoms("farkas 1 -2 -1 -4 0 0 1 1"), "farkas 1: the sum is no contradiction: 0 <= 0");
}

TEST(CheckerSteps, FarkasHasAMultiplierForEachLiteral) {
  EXPECT_EQ(on_atoms("farkas 1 -1 -5 0 1"), "farkas 1: there must be a multiplier for each literal: 2, not 1");
  EXPECT_EQ(on_atoms("farkas 1 -1 -5 0 1 1 0"), "farkas 1: there must be a multiplier for each literal: 2, not 3");
  EXPECT_TRUE(fine("farkas 1 -1 -1 -5 0 1 1 2"));
}

TEST(CheckerSteps, FarkasWithHugeNumbers) {
  const std::string huge = "1" + std::string(300, '0');
  EXPECT_TRUE(accepts(reals + "atom 1 " + huge + "*1 1/" + huge + "*2 < 0\natom 2 1*1 1/" + huge + huge.substr(1) +
                      "*2 >= 0\nfarkas 1 -1 -2 0 1/" + huge + " 1"));
  EXPECT_EQ(refused_step(reals + "atom 1 " + huge + "*1 < 0\natom 2 1*1 >= 0\nfarkas 1 -1 -2 0 1 " + huge.substr(1)),
            "farkas 1: terms do not cancel: " + huge + "*x remains");
}

// A sum that was left over does not get into the next one.
TEST(CheckerSteps, EachCombinationStartsFromZero) {
  Checker checker;
  checker.declare_real(1, "x");
  checker.define_atom(1, {{1, 1}}, Relation::less, 0);
  checker.define_atom(2, {{1, 1}}, Relation::greater_equal, 0);
  EXPECT_THROW(checker.add_farkas(1, {-1}, {1}), Refused);
  EXPECT_THROW(checker.add_farkas(1, {-2}, {1}), Refused);
  EXPECT_THROW(checker.add_farkas(1, {}, {}), Refused);
  EXPECT_NO_THROW(checker.add_farkas(1, {-1, -2}, {1, 1}));
  EXPECT_THROW(checker.add_farkas(2, {}, {}), Refused);
}

// ---- split ----

TEST(CheckerSteps, SplitsAreComplete) {
  EXPECT_TRUE(fine("split 1 3 2 5 0"));
  EXPECT_TRUE(fine("split 1 5 3 2 0"));
  EXPECT_TRUE(fine("split 1 3 -4 5 0"));   // not x >= 1
  EXPECT_TRUE(fine("split 1 3 -4 -1 0"));  // not x <= 1
  EXPECT_EQ(on_atoms("split 1 3 2 0"), "split 1: there must be three literals, not 2");
  EXPECT_EQ(on_atoms("split 1 3 2 5 8 0"), "split 1: there must be three literals, not 4");
  EXPECT_EQ(on_atoms("split 1 -3 2 5 0"), "split 1: none of the literals is an equality");
  EXPECT_EQ(on_atoms("split 1 8 2 5 0"), "split 1: none of the literals is an equality");
  EXPECT_EQ(on_atoms("split 1 3 2 -4 0"), "split 1: no literal says greater");
  EXPECT_EQ(on_atoms("split 1 3 5 -1 0"), "split 1: no literal says less");
  EXPECT_EQ(on_atoms("split 1 3 1 5 0"), "split 1: no literal says less");
  EXPECT_EQ(on_atoms("split 1 3 3 5 0"), "split 1: no literal says less");
  EXPECT_EQ(on_atoms("split 1 3 2 4 0"), "split 1: no literal says greater");
  EXPECT_EQ(on_atoms("split 1 3 2 8 0"), "split 1: literal 8 does not compare what the equality does");
  EXPECT_EQ(on_atoms("split 1 3 2 -12 0"), "split 1: literal -12 does not compare what the equality does");
  EXPECT_EQ(on_atoms("split 1 3 2 -6 0"), "split 1: literal -6 does not compare what the equality does");
}

TEST(CheckerSteps, SplitsTakeMultiples) {
  const std::string multiples = reals +
                                "atom 1 2*1 -4*2 = 6\n"
                                "atom 2 2*2 -1*1 > -3\n"  // x - 2y < 3
                                "atom 3 -1*1 2*2 < -3\n"  // x - 2y > 3
                                "atom 4 -1*1 3*2 < -3\n"
                                "atom 5 1*1 -2*3 > 3\n"
                                "atom 6 = 5\natom 7 < 5\natom 8 > 5\natom 9 > 10\n";
  EXPECT_TRUE(accepts(multiples + "split 1 2 1 3 0"));
  EXPECT_TRUE(accepts(multiples + "split 1 6 7 8 0"));
  EXPECT_FALSE(accepts(multiples + "split 1 6 7 9 0"));
  EXPECT_FALSE(accepts(multiples + "split 1 2 1 2 0"));
  EXPECT_FALSE(accepts(multiples + "split 1 2 1 4 0"));
  EXPECT_FALSE(accepts(multiples + "split 1 2 1 5 0"));
  EXPECT_FALSE(accepts(multiples + "split 1 1 7 8 0"));
}

// ---- rup ----

const std::string clauses =
    "bool 1 a\nbool 2 b\nbool 3 c\nbool 4 d\n"
    "input 1 0 1 0\n"
    "input 2 0 -1 2 0\n"
    "input 3 0 -2 3 0\n"
    "input 4 0 -3 -2 0\n"
    "input 5 0 3 4 4 3 0\n"
    "input 6 0 4 -4 0\n"
    "input 7 0 0\n";

std::string on_clauses(const std::string& step) {
  return refused_step(clauses + step);
}

TEST(CheckerSteps, RupFollowsUnits) {
  EXPECT_TRUE(accepts(clauses + "rup 9 0 1 2 3 4"));
  EXPECT_TRUE(accepts(clauses + "rup 9 3 0 1 2 3"));
  EXPECT_TRUE(accepts(clauses + "rup 9 -2 0 3 4"));
  EXPECT_TRUE(accepts(clauses + "rup 9 2 2 4 0 1 2"));
  EXPECT_TRUE(accepts(clauses + "rup 9 4 3 0 5"));
  EXPECT_TRUE(accepts(clauses + "rup 9 1 0 1"));
  EXPECT_TRUE(accepts(clauses + "rup 9 0 7"));
}

TEST(CheckerSteps, RupRefusesWhatDoesNotFollow) {
  EXPECT_EQ(on_clauses("rup 9 0"), "rup 9: none of the clauses named is false");
  EXPECT_EQ(on_clauses("rup 9 0 1 2 3"), "rup 9: none of the clauses named is false");
  EXPECT_EQ(on_clauses("rup 9 0 2"), "rup 9: literal -1 and literal 2 of clause 2 are both open");
  EXPECT_EQ(on_clauses("rup 9 0 1 3"), "rup 9: literal -2 and literal 3 of clause 3 are both open");
  EXPECT_EQ(on_clauses("rup 9 0 1 2 1"), "rup 9: literal 1 of clause 1 is true");
  EXPECT_EQ(on_clauses("rup 9 -4 0 5"), "rup 9: literal 4 of clause 5 is true");
  EXPECT_EQ(on_clauses("rup 9 0 6"), "rup 9: literal 4 and literal -4 of clause 6 are both open");
  EXPECT_EQ(on_clauses("rup 9 4 0 6"), "rup 9: literal -4 of clause 6 is true");
  EXPECT_EQ(on_clauses("rup 9 4 1 -4 0 1"), "rup 9: literal -4 and its negation cannot both be false");
  EXPECT_EQ(on_clauses("rup 9 0 8"), "rup 9: there is no clause 8");
  EXPECT_EQ(on_clauses("rup 9 0 9"), "rup 9: there is no clause 9");
  EXPECT_EQ(on_clauses("delete 1\nrup 9 0 1 2 3 4"), "rup 9: there is no clause 1");
}

TEST(CheckerSteps, TheFalseClauseIsTheLastOneNamed) {
  EXPECT_EQ(on_clauses("rup 9 0 1 2 3 4 5"),
            "rup 9: nothing may be named after the clause that is false, but clause 5 is");
  EXPECT_EQ(on_clauses("rup 9 0 7 7"), "rup 9: nothing may be named after the clause that is false, but clause 7 is");
  EXPECT_EQ(on_clauses("rup 9 1 0 1 8"), "rup 9: nothing may be named after the clause that is false, but clause 8 is");
}

// What a step takes as known is forgotten after it, also when it is refused.
TEST(CheckerSteps, NothingIsKnownAfterAStep) {
  Checker checker;
  checker.begin(0);
  checker.declare_bool(1, "a");
  checker.declare_bool(2, "b");
  checker.add_input(1, 0, {1});
  checker.add_input(2, 0, {-1, 2});
  EXPECT_THROW(checker.add_rup(3, {}, {1, 2}), Refused);
  EXPECT_THROW(checker.add_rup(3, {-2}, {1, 2}), Refused);
  EXPECT_NO_THROW(checker.add_rup(3, {2}, {1, 2}));
  EXPECT_THROW(checker.add_rup(4, {-2}, {1, 2}), Refused);
  EXPECT_NO_THROW(checker.add_rup(4, {2}, {3}));
  EXPECT_EQ(checker.num_derived(), 2u);
}

// ---- gates ----

const std::string gates =
    "bool 1 a\nbool 2 b\nbool 3 c\nbool 4 d\n"
    "and 5 1 -2 3 -2 0\n"
    "and 6 0\n"
    "iff 7 1 -2\n"
    "ite 8 1 2 -3\n"
    "ite 9 -8 7 7\n"
    "iff 536870913 9 9\n"
    "and 536870915 1 -1 0\n";

std::string on_gates(const std::string& step) {
  return refused_step(gates + step);
}

// The step for a clause of a gate.
std::string gate_step(int gate, const std::vector<int>& clause) {
  std::string step = "gate 1 " + std::to_string(gate);
  for (const int literal : clause) step += " " + std::to_string(literal);
  return step + " 0";
}

TEST(CheckerSteps, GatesAreDeclaredOnceOverWhatIsDeclared) {
  EXPECT_TRUE(accepts(gates + "and 10 5 6 7 8 -9 0"));
  EXPECT_EQ(on_gates("and 5 1 0"), "and 5: the propositional variable is declared already");
  EXPECT_EQ(on_gates("iff 1 2 3"), "iff 1: the propositional variable is declared already");
  EXPECT_EQ(on_gates("ite 7 1 2 3"), "ite 7: the propositional variable is declared already");
  EXPECT_EQ(on_gates("and 10 1 10 0"), "and 10: propositional variable 10 is not declared");
  EXPECT_EQ(on_gates("iff 10 -11 1"), "iff 10: propositional variable 11 is not declared");
  EXPECT_EQ(on_gates("ite 10 1 2 11"), "ite 10: propositional variable 11 is not declared");
  Checker checker;
  checker.declare_bool(1, "p");
  for (const int variable : {0, -1, max_variable + 1}) {
    EXPECT_THROW(checker.define_conjunction(variable, {1}), Refused);
    EXPECT_THROW(checker.define_equivalence(variable, 1, 1), Refused);
    EXPECT_THROW(checker.define_choice(variable, 1, 1, 1), Refused);
    EXPECT_THROW(checker.add_gate(1, variable, {1}), Refused);
  }
  for (const int literal : {0, max_variable + 1, std::numeric_limits<int>::min()}) {
    EXPECT_THROW(checker.define_conjunction(2, {1, literal}), Refused);
    EXPECT_THROW(checker.define_equivalence(2, 1, literal), Refused);
    EXPECT_THROW(checker.define_choice(2, literal, 1, 1), Refused);
  }
  EXPECT_NO_THROW(checker.define_conjunction(2, {1}));
  EXPECT_NO_THROW(checker.add_gate(1, 2, {-2, 1}));
}

TEST(CheckerSteps, GateClausesOfConjunctions) {
  for (const char* clause : {"-5 1", "-2 -5", "-5 3", "-5 -2 4", "5 -1 2 -3", "-3 2 5 -1 4", "5 5 2 2 -1 -3"}) {
    EXPECT_TRUE(accepts(gates + "gate 1 5 " + clause + " 0")) << clause;
  }
  EXPECT_TRUE(accepts(gates + "gate 1 6 6 0"));
  EXPECT_TRUE(accepts(gates + "gate 1 6 -1 6 0"));
  const std::string open = "gate 1: with the literals false, what gate 5 stands for is open";
  EXPECT_EQ(on_gates("gate 1 5 5 -1 2 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 5 -1 2 4 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 5 -1 2 2 2 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 -5 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 -5 4 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 -5 2 0"), open);
  EXPECT_EQ(on_gates("gate 1 5 5 1 0"), "gate 1: with the literals false, gate 5 is what it stands for");
  EXPECT_EQ(on_gates("gate 1 5 -5 -1 2 -3 0"), "gate 1: with the literals false, gate 5 is what it stands for");
  EXPECT_EQ(on_gates("gate 1 6 -6 0"), "gate 1: with the literals false, gate 6 is what it stands for");
  EXPECT_EQ(on_gates("gate 1 5 1 -2 0"), "gate 1: the clause does not hold gate 5");
  EXPECT_EQ(on_gates("gate 1 6 0"), "gate 1: the clause does not hold gate 6");
  EXPECT_EQ(on_gates("gate 1 5 -5 1 -1 0"), "gate 1: literal -1 and its negation cannot both be false");
  EXPECT_EQ(on_gates("gate 1 5 5 -5 1 0"), "gate 1: literal -5 and its negation cannot both be false");
  EXPECT_EQ(on_gates("gate 1 4 -4 1 0"), "gate 1: propositional variable 4 is no gate");
  EXPECT_EQ(on_gates("atom 10 < 0\ngate 1 10 10 0"), "gate 1: propositional variable 10 is no gate");
  EXPECT_EQ(on_gates("gate 1 10 1 0"), "gate 1: propositional variable 10 is not declared");
  EXPECT_EQ(on_gates("gate 1 5 -5 10 0"), "gate 1: propositional variable 10 is not declared");
}

// Every clause over a gate and its arguments, against all assignments. A choice with an open condition is known where
// its branches agree.
TEST(CheckerSteps, GateClausesAreThoseThatFollow) {
  struct Definition {
    std::string text;
    std::function<bool(bool, bool, bool)> value;
  };
  const std::vector<Definition> definitions = {{"and 4 1 -2 3 0", [](bool a, bool b, bool c) { return a && !b && c; }},
                                               {"and 4 1 2 0", [](bool a, bool b, bool) { return a && b; }},
                                               {"and 4 -3 0", [](bool, bool, bool c) { return !c; }},
                                               {"and 4 0", [](bool, bool, bool) { return true; }},
                                               {"iff 4 1 2", [](bool a, bool b, bool) { return a == b; }},
                                               {"iff 4 -3 1", [](bool a, bool, bool c) { return a != c; }},
                                               {"ite 4 1 2 3", [](bool a, bool b, bool c) { return a ? b : c; }},
                                               {"ite 4 -2 -1 3", [](bool a, bool b, bool c) { return b ? c : !a; }}};
  int num_accepted = 0;
  for (const Definition& definition : definitions) {
    for (int code = 0; code < 81; ++code) {
      std::vector<int> clause;  // of each variable: absent, positive or negative
      for (int variable = 1, rest = code; variable <= 4; ++variable, rest /= 3) {
        if (rest % 3 != 0) clause.push_back(rest % 3 == 1 ? variable : -variable);
      }
      bool follows = true;
      for (int bits = 0; bits < 8; ++bits) {
        const bool a = (bits & 1) != 0, b = (bits & 2) != 0, c = (bits & 4) != 0;
        const bool values[] = {false, a, b, c, definition.value(a, b, c)};
        follows = follows && std::any_of(clause.begin(), clause.end(),
                                         [&values](int l) { return values[std::abs(l)] == (l > 0); });
      }
      const bool is_accepted =
          accepts("bool 1 a\nbool 2 b\nbool 3 c\n" + definition.text + "\n" + gate_step(4, clause));
      EXPECT_EQ(is_accepted, follows) << definition.text << ": " << gate_step(4, clause);
      num_accepted += is_accepted ? 1 : 0;
    }
  }
  EXPECT_GT(num_accepted, 60);
}

// What is known about an argument decides, not what a clever mind finds out about all of them together.
TEST(CheckerSteps, GatesAreEvaluatedWithThreeValues) {
  EXPECT_NE(on_gates("gate 1 536870913 536870913 0"), "end: there is no such step");
  EXPECT_TRUE(accepts(gates + "gate 1 536870913 536870913 9 0"));
  EXPECT_FALSE(accepts(gates + "gate 1 536870915 -536870915 0"));
  EXPECT_TRUE(accepts(gates + "gate 1 536870915 -536870915 1 0"));
  EXPECT_TRUE(accepts(gates + "gate 1 9 -9 7 0"));
  EXPECT_TRUE(accepts(gates + "gate 1 9 9 -7 0"));
}

// Each clause of a conjunction costs what it holds, not what the conjunction does.
TEST(CheckerSteps, WideConjunctionsAreNoTrouble) {
  constexpr int width = 100000;
  Checker checker;
  std::vector<Literal> args, all{width + 1};
  for (int i = 1; i <= width; ++i) {
    checker.declare_bool(i, "p");
    args.push_back(i);
    all.push_back(-i);
  }
  checker.define_conjunction(width + 1, args);
  for (int i = 1; i <= width; ++i) checker.add_gate(static_cast<ClauseId>(i), width + 1, {i, -width - 1});
  EXPECT_NO_THROW(checker.add_gate(width + 1, width + 1, all));
  all.pop_back();
  EXPECT_THROW(checker.add_gate(width + 2, width + 1, all), Refused);
  EXPECT_EQ(checker.num_gate_clauses(), std::size_t{width + 1});
}

// ---- branches ----

const std::string branches = reals +
                             "bool 1 c\n"
                             "bool 2 d\n"
                             "real-ite 4 1 : 2*2 1*1 3 : 1/2\n"
                             "real-ite 5 -1 : 1*4 -1/3 : -1*3 0\n"
                             "atom 3 1*4 -1*1 -2*2 = 3\n"
                             "atom 4 -1/2*4 1*2 1/2*1 <= -3/2\n"
                             "atom 5 2*4 -2*1 -4*2 >= 6\n"
                             "atom 6 1*4 -1*1 -2*2 < 3\n"
                             "atom 7 1*4 -1*1 -2*2 > 3\n"
                             "atom 8 1*4 = 1/2\n"
                             "atom 9 -2*4 < -1\n"
                             "atom 10 1*4 -1*1 -2*2 = 4\n"
                             "atom 11 1*4 -1*1 -3*2 = 3\n"
                             "atom 12 1*1 2*2 = -3\n"
                             "atom 13 1*4 1*1 2*2 = 3\n"
                             "atom 14 1*5 -1*4 = -1/3\n"
                             "atom 15 -3*5 3*4 >= 1\n"
                             "atom 16 1*5 1*3 <= 0\n"
                             "atom 17 = 0\n"
                             "atom 18 1*4 -1*1 = 3\n";

std::string on_branches(const std::string& step) {
  return refused_step(branches + step);
}

TEST(CheckerSteps, ConditionalsAreDeclaredOnceOverWhatIsDeclared) {
  EXPECT_EQ(on_branches("real-ite 4 1 : 0 : 0"), "real-ite 4: the Real variable is declared already");
  EXPECT_EQ(on_branches("real 4 x"), "real 4: the Real variable is declared already");
  EXPECT_EQ(on_branches("real-ite 6 77 : 0 : 0"), "real-ite 6: propositional variable 77 is not declared");
  EXPECT_EQ(on_branches("real-ite 6 1 : 1*6 0 : 0"), "real-ite 6: Real variable 6 is not declared");
  EXPECT_EQ(on_branches("real-ite 6 1 : 0 : 1*7 0"), "real-ite 6: Real variable 7 is not declared");
  EXPECT_EQ(on_branches("real-ite 6 1 : 1*1 1*1 0 : 0"), "real-ite 6: there are two terms of Real variable 1");
  EXPECT_EQ(on_branches("real-ite 6 1 : 0 : 0*1 0"), "real-ite 6: the number of Real variable 1 is 0");
  EXPECT_TRUE(accepts(branches + "real-ite 1073741824 -2 : 0 : 1*5 -1/2\natom 19 1*1073741824 = 0\n"
                                 "branch 1 1073741824 2 19 0"));
  Checker checker;
  checker.declare_bool(1, "p");
  for (const int variable : {0, -1, max_variable + 1}) {
    EXPECT_THROW(checker.define_conditional(variable, 1, {}, {}), Refused);
    EXPECT_THROW(checker.define_conditional(1, 1, {}, {{{1, variable}}, 0}), Refused);
    EXPECT_THROW(checker.add_branch(1, variable, {1, 1}), Refused);
  }
  EXPECT_NO_THROW(checker.define_conditional(1, 1, {}, {}));
}

TEST(CheckerSteps, BranchesFollowFromTheirConditions) {
  for (const char* clause : {"-1 3", "3 -1", "-1 4", "-1 5", "-1 -6", "-7 -1", "1 8", "1 -9"}) {
    EXPECT_TRUE(accepts(branches + "branch 1 4 " + clause + " 0")) << clause;
  }
  for (const char* clause : {"1 14", "1 15", "-1 16", "15 1"}) {
    EXPECT_TRUE(accepts(branches + "branch 1 5 " + clause + " 0")) << clause;
  }
  // the wrong branch, the wrong variable, the wrong sign, other terms and constants, weaker and stronger relations
  for (const char* clause : {"1 3", "-1 8", "-1 9", "1 9", "-1 -3", "-1 -4", "-1 6", "-1 7", "-1 10", "-1 11", "-1 12",
                             "-1 13", "-1 14", "-1 2", "-1 17", "-1 18"}) {
    const std::string found = on_branches("branch 1 4 " + std::string(clause) + " 0");
    EXPECT_NE(found.find("does not follow from the branch that is taken when literal"), std::string::npos) << found;
  }
  EXPECT_EQ(on_branches("branch 1 5 -1 14 0"),
            "branch 1: literal 14 does not follow from the branch that is taken when literal -1 is false");
  EXPECT_FALSE(accepts(branches + "branch 1 5 1 16 0"));
  EXPECT_FALSE(accepts(branches + "branch 1 4 1 -1 0"));
  EXPECT_FALSE(accepts(branches + "branch 1 4 -1 1 0"));
}

TEST(CheckerSteps, BranchesHaveTwoLiteralsAndAConditionalVariable) {
  EXPECT_EQ(on_branches("branch 1 4 3 -2 0"),
            "branch 1: neither literal is the condition of Real variable 4 or its negation");
  EXPECT_EQ(on_branches("branch 1 4 -1 3 3 0"), "branch 1: there must be two literals, not 3");
  EXPECT_EQ(on_branches("branch 1 4 -1 0"), "branch 1: there must be two literals, not 1");
  EXPECT_EQ(on_branches("branch 1 1 -1 3 0"), "branch 1: Real variable 1 is not conditional");
  EXPECT_EQ(on_branches("branch 1 9 -1 3 0"), "branch 1: Real variable 9 is not declared");
  EXPECT_EQ(on_branches("branch 1 4 -1 33 0"), "branch 1: propositional variable 33 is not declared");
}

// Conditional variables are like others in combinations.
TEST(CheckerSteps, ConditionalsTakePartInArithmetic) {
  EXPECT_TRUE(accepts(branches + "farkas 1 -3 -7 0 1 1"));
  EXPECT_EQ(on_branches("farkas 1 -14 0 1"), "farkas 1: terms do not cancel: -1*(real-ite 4) + 1*(real-ite 5) remain");
}

// ---- delete and qed ----

TEST(CheckerSteps, DeletedClausesAreGone) {
  EXPECT_TRUE(accepts(clauses + "delete 1 3 2"));
  EXPECT_TRUE(accepts(clauses + "delete"));
  EXPECT_EQ(on_clauses("delete 1 8"), "delete 1: there is no clause 8");
  EXPECT_EQ(on_clauses("delete 1\ndelete 1"), "delete 1: there is no clause 1");
  EXPECT_EQ(on_clauses("delete 1 2 1"), "delete 1: clause 1 is named twice");
  EXPECT_EQ(on_clauses("delete 7\nqed 7"), "qed 7: there is no clause 7");
}

// Nothing is deleted when one of the ids is wrong.
TEST(CheckerSteps, RefusedStepsChangeNothing) {
  Checker checker;
  checker.begin(0);
  checker.declare_bool(1, "a");
  checker.add_input(1, 0, {1});
  EXPECT_THROW(checker.remove({1, 2}), Refused);
  EXPECT_THROW(checker.add_input(2, 0, {2}), Refused);
  EXPECT_THROW(checker.finish(1), Refused);
  EXPECT_FALSE(checker.is_finished());
  EXPECT_NO_THROW(checker.add_rup(2, {1}, {1}));
  EXPECT_EQ(checker.num_inputs(), 1u);
}

TEST(CheckerSteps, QedNeedsAnEmptyClauseAndIsTheEnd) {
  EXPECT_EQ(on_clauses("qed 1"), "qed 1: clause 1 is not empty");
  EXPECT_EQ(on_clauses("qed 9"), "qed 9: there is no clause 9");
  Checker checker;
  checker.begin(3);
  checker.add_input(5, 0, {});
  checker.finish(5);
  EXPECT_TRUE(checker.is_finished());
  EXPECT_THROW(checker.begin(1), Refused);
  EXPECT_THROW(checker.declare_real(1, "x"), Refused);
  EXPECT_THROW(checker.declare_bool(1, "x"), Refused);
  EXPECT_THROW(checker.define_atom(1, {}, Relation::less, 0), Refused);
  EXPECT_THROW(checker.define_conjunction(1, {}), Refused);
  EXPECT_THROW(checker.define_equivalence(1, 1, 1), Refused);
  EXPECT_THROW(checker.define_choice(1, 1, 1, 1), Refused);
  EXPECT_THROW(checker.define_conditional(1, 1, {}, {}), Refused);
  EXPECT_THROW(checker.add_input(6, 0, {}), Refused);
  EXPECT_THROW(checker.add_gate(6, 1, {}), Refused);
  EXPECT_THROW(checker.add_branch(6, 1, {}), Refused);
  EXPECT_THROW(checker.add_farkas(6, {}, {}), Refused);
  EXPECT_THROW(checker.add_split(6, {}), Refused);
  EXPECT_THROW(checker.add_rup(6, {}, {5}), Refused);
  EXPECT_THROW(checker.remove({5}), Refused);
  EXPECT_THROW(checker.finish(5), Refused);
}

TEST(CheckerSteps, CountsWhatItAccepted) {
  const auto outcome = test::check("tarku-certificate 1\ncheck 4\n" + atoms +
                                   "and 15 8 0\nreal-ite 4 8 : 0 : 1\natom 16 1*4 = 0\n"
                                   "input 1 0 1 0\ninput 2 7 5 0\nfarkas 3 -1 -5 0 1 1\nsplit 4 3 2 5 0\n"
                                   "gate 5 15 -15 8 0\ngate 6 15 15 -8 0\nbranch 7 4 -8 16 0\n"
                                   "rup 8 0 1 2 3\nqed 8\n");
  EXPECT_EQ(outcome.refusal, "");
  ASSERT_EQ(outcome.certified.size(), 1u);
  const Certified& certified = outcome.certified[0];
  EXPECT_EQ(certified.check, 4u);
  EXPECT_EQ(certified.inputs, 2u);
  EXPECT_EQ(certified.gate_clauses, 2u);
  EXPECT_EQ(certified.branches, 1u);
  EXPECT_EQ(certified.combinations, 1u);
  EXPECT_EQ(certified.splits, 1u);
  EXPECT_EQ(certified.derived, 1u);
}

}  // namespace
}  // namespace tarku::checker

// The rules for each kind of step, one by one.
#include "tarku/proof/checker/checker.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

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
  EXPECT_THROW(checker.add_input(6, 0, {}), Refused);
  EXPECT_THROW(checker.add_farkas(6, {}, {}), Refused);
  EXPECT_THROW(checker.add_split(6, {}), Refused);
  EXPECT_THROW(checker.add_rup(6, {}, {5}), Refused);
  EXPECT_THROW(checker.remove({5}), Refused);
  EXPECT_THROW(checker.finish(5), Refused);
}

TEST(CheckerSteps, CountsWhatItAccepted) {
  const auto outcome = test::check("tarku-certificate 1\ncheck 4\n" + atoms +
                                   "input 1 0 1 0\ninput 2 7 5 0\nfarkas 3 -1 -5 0 1 1\nsplit 4 3 2 5 0\n"
                                   "rup 5 0 1 2 3\nqed 5\n");
  EXPECT_EQ(outcome.refusal, "");
  ASSERT_EQ(outcome.certified.size(), 1u);
  const Certified& certified = outcome.certified[0];
  EXPECT_EQ(certified.check, 4u);
  EXPECT_EQ(certified.inputs, 2u);
  EXPECT_EQ(certified.combinations, 1u);
  EXPECT_EQ(certified.splits, 1u);
  EXPECT_EQ(certified.derived, 1u);
}

}  // namespace
}  // namespace tarku::checker

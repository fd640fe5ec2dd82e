// Implied constraints: from a bound just asserted, and from the range of a row.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/la_proof.h"
#include "tests/unit/support/proof_census.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::output_of;
using test::Problem;

using Ints = std::vector<int>;
using Implied = std::vector<std::pair<int, Ints>>;

struct Propagating : Problem {
  explicit Propagating(int level, bool proofs = false) : Problem(proofs) { solver.propagation_level_ = level; }

  // What was found since the last call, each judged.
  Implied implied() {
    Implied out;
    int c = 0;
    Ints reason;
    while (solver.next_implied(&c, &reason)) {
      EXPECT_TRUE(follows(c, reason)) << "c" << c << " does not follow from its reason";
      EXPECT_TRUE(record(c).has(RANGE_IMPLIED));
      out.emplace_back(c, reason);
    }
    return out;
  }
};

// ---- trivial implications ----

TEST(TrivialImplications, OfALowerBoundInListOrder) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x1 >= 7; c4: x1 != 4; c5: x1 <= 9; c6: x1 = 5; c7: x1 != 5; c8: x1 >= 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{{2, {1}}, {4, {1}}, {8, {1}}}), p.implied());
}

TEST(TrivialImplications, OfAnUpperBound) {
  Propagating p(1);
  p.bounds("c1: x1 < 5; c2: x1 <= 5; c3: x1 <= 4; c4: x1 != 5; c5: x1 != 4; c6: x1 >= 0; c7: x1 < 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{{2, {1}}, {4, {1}}, {7, {1}}}), p.implied());
}

TEST(TrivialImplications, OfAnEqualityWithoutProofs) {
  Propagating p(1);
  p.bounds("c1: x1 = 5; c2: x1 >= 5; c3: x1 <= 6; c4: x1 = 5; c5: x1 != 6; c6: x1 >= 6; c7: x1 != 5; c8: x1 = 6");
  EXPECT_TRUE(p.push(1));
  std::set<int> found;
  for (const auto& [c, reason] : p.implied()) {
    EXPECT_TRUE(found.insert(c).second) << "reported twice";
    EXPECT_EQ((Ints{1}), reason);
  }
  EXPECT_EQ((std::set<int>{2, 3, 4, 5}), found);
}

TEST(TrivialImplications, OfAnEqualityWithProofsEachHalfCoversOneSide) {
  Propagating p(1, true);
  p.bounds("c1: x1 = 5; c2: x1 >= 4; c3: x1 <= 6; c4: x1 = 5; c5: x1 != 6");
  EXPECT_TRUE(p.solver.push_upper_bound(1, nullptr, false));
  EXPECT_EQ((Implied{{2, {1}}}), p.implied()) << "only lower bounds through the upper half";
  EXPECT_TRUE(p.solver.push_lower_bound(1, nullptr, false));
  EXPECT_EQ((Implied{{3, {1}}}), p.implied());
}

TEST(TrivialImplications, ADisequalityImpliesNothing) {
  Propagating p(2);
  p.bounds("c1: x1 != 5; c2: x1 != 5");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{}), p.implied());
}

TEST(TrivialImplications, NoneWithoutPropagation) {
  Propagating p(0);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{}), p.implied());
}

TEST(TrivialImplications, PassOverExcludedAssertedAndReportedOnes) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x1 >= 2; c4: x1 >= 4; c5: x1 >= 6");
  p.record(2).set(RANGE_EXCLUDED);
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{{4, {1}}}), p.implied());
  EXPECT_TRUE(p.push(5));
  EXPECT_EQ((Implied{}), p.implied()) << "c4 stands, c1 and c3 are asserted, c2 is excluded";
}

TEST(TrivialImplications, ComeBackAfterThePop) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x2 >= 0; c4: x2 >= 1");
  p.bounds("c5: x3 >= 0");
  EXPECT_TRUE(p.push_all({4, 5, 1}));
  EXPECT_EQ(2u, p.implied().size());
  p.pop();
  EXPECT_FALSE(p.record(2).has(RANGE_IMPLIED));
  EXPECT_EQ(1u, p.solver.num_implied_) << "that of x2 was found lower down";
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{{2, {1}}}), p.implied());
}

TEST(TrivialImplications, RememberTheHeightAboveTheirCause) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x2 >= 0");
  EXPECT_TRUE(p.push_all({3, 1}));
  ASSERT_EQ(1u, p.solver.num_implied_);
  EXPECT_EQ(2u, p.solver.implied_[0].second.level);
  EXPECT_EQ((Ints{1}), p.solver.implied_[0].second.reason);
}

// The told bound is not in force when another one is pushed under its index.
TEST(TrivialImplications, NoneFromABoundGivenByHand) {
  Propagating p(2);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x2 <= 1; c4: x2 <= 2");
  DNumber loose = dnum("1");
  EXPECT_TRUE(p.solver.push_lower_bound(1, &loose, false));
  EXPECT_EQ((Implied{}), p.implied());
  EXPECT_TRUE(p.solver.push_upper_bound(3, nullptr, true));
  EXPECT_EQ((Implied{}), p.implied()) << "nothing on the stack would retract it";
}

TEST(TrivialImplications, Trace) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3");
  p.solver.initialize();
  p.solver.verbosity_ = 1;
  EXPECT_EQ("LA - push_lower_bound: 1\nLA - try_trivial_implications: 1 -> 2\n", output_of([&] { p.push(1); }));
}

TEST(TrivialImplications, HaveAProofFromTheHypothesis) {
  Propagating p(1, true);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((Implied{{2, {1}}}), p.implied()) << "disequalities have no proof form";
  proof::Ref proof(p.solver.get_implication_proof(2));
  proof::Ref last(p.solver.get_implication_proof(-1));
  EXPECT_EQ(proof.get(), last.get());
  const auto* step = dynamic_cast<const LaCombImp*>(proof.get());
  ASSERT_NE(nullptr, step);
  EXPECT_EQ(2, step->index());
  EXPECT_EQ(0, step->zero());
  EXPECT_EQ(1, dynamic_cast<const LaHyp*>(step->premise())->index());
  p.pop();
  last.reset();
  EXPECT_EQ(1u, proof->count());
}

// What was found of a constraint that has meanwhile been told anew says nothing about it.
TEST(TrivialImplications, OfAConstraintToldAgainAreForgotten) {
  for (bool proofs : {false, true}) {
    Propagating p(1, proofs);
    p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x1 >= 4; c4: x1 >= 2");
    EXPECT_TRUE(p.push(1));
    p.retract_bound(4);
    p.bounds("c2: x1 >= 9");
    EXPECT_EQ((Implied{{3, {1}}}), p.implied());
    EXPECT_EQ(nullptr, p.solver.get_implication_proof(2));
    EXPECT_EQ(nullptr, p.solver.get_implication_proof(4));
    EXPECT_FALSE(p.record(2).has(RANGE_IMPLIED));
    EXPECT_TRUE(p.push(2)) << "it has to be asserted in earnest";
    EXPECT_EQ("9", p.lower(1));
    p.pop(2);
    EXPECT_EQ(0u, p.solver.num_implied_);
    EXPECT_TRUE(p.solver.implication_proofs_.empty());
    EXPECT_FALSE(p.record(3).has(RANGE_IMPLIED));
  }
}

TEST(TrivialImplications, TakeOverTheSlotsThatAPopLeaves) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3; c3: x1 >= 2; c4: x2 <= 5; c5: x2 <= 6");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ(2u, p.implied().size());
  p.pop();
  EXPECT_EQ(0u, p.solver.num_implied_);
  EXPECT_EQ(2u, p.solver.implied_.size()) << "kept for later";
  EXPECT_TRUE(p.push(4));
  EXPECT_EQ(2u, p.solver.implied_.size());
  EXPECT_EQ(1u, p.solver.num_implied_);
  EXPECT_EQ((Implied{{5, {4}}}), p.implied());
}

// Only propagation keeps from reporting twice; by hand the same may be asked again.
TEST(TrivialImplications, AreReportedAgainByHandWhilePropagationIsOff) {
  Propagating p(1);
  p.bounds("c1: x1 >= 5; c2: x1 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ(1u, p.implied().size());
  p.solver.try_trivial_implications(1, p.record(1), false);
  EXPECT_EQ((Implied{}), p.implied());
  p.solver.propagation_level_ = 0;
  p.solver.try_trivial_implications(1, p.record(1), false);
  EXPECT_EQ((Implied{{2, {1}}}), p.implied());
}

// The lower half of the equality stands for it negated.
TEST(TrivialImplications, OfAnEqualityHaveTheLeafOfTheHalfThatImplies) {
  Propagating p(1, true);
  p.bounds("c1: x1 = 5; c2: x1 >= 4; c3: x1 <= 6");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ(2u, p.implied().size());
  const auto leaf_of = [&](int c) {
    proof::Ref proof(p.solver.get_implication_proof(c));
    const auto* step = dynamic_cast<const LaCombImp*>(proof.get());
    return step != nullptr ? dynamic_cast<const LaHyp*>(step->premise()) : nullptr;
  };
  ASSERT_NE(nullptr, leaf_of(2));
  ASSERT_NE(nullptr, leaf_of(3));
  EXPECT_EQ(1, leaf_of(2)->side());
  EXPECT_EQ(-1, leaf_of(3)->side());
  EXPECT_EQ(1, leaf_of(2)->index());
}

// ---- range implications ----

// x3 = x1 + x2, kept as a row of x3.
struct Ranged : Propagating {
  explicit Ranged(const char* bounds_text, bool proofs = false) : Propagating(2, proofs) {
    rows("x3 = x1 + x2");
    bounds(bounds_text);
  }
};

TEST(RangeImplications, OfTheRowMaximum) {
  Ranged p("c1: x1 >= 0; c2: x1 <= 1; c3: x2 >= 0; c4: x2 <= 1; c5: x3 <= 2; c6: x3 <= 1; c7: x3 < 2");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  ASSERT_TRUE(p.solver.tableau_.is_basic(3));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{5, {2, 4}}}), p.implied());
}

TEST(RangeImplications, OfTheRowMinimum) {
  Ranged p("c1: x1 > 2; c2: x1 <= 9; c3: x2 >= 1; c4: x2 <= 9; c5: x3 >= 3; c6: x3 > 3; c7: x3 >= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{5, {1, 3}}, {6, {1, 3}}}), p.implied());
}

TEST(RangeImplications, OfAnEqualityFromAFixedRow) {
  Ranged p("c1: x1 = 2; c2: x2 = 1; c3: x3 = 3; c4: x3 = 4; c5: x3 <= 9");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{3, {1, 2}}, {5, {1, 2}}}), p.implied()) << "an equality supplies both bounds once";
}

// The row must reach beyond the constant, and be no tighter than the variable's own bound.
TEST(RangeImplications, OfADisequalityBelowTheRow) {
  Ranged p("c1: x1 >= 2; c2: x2 >= 1; c3: x3 != 2; c4: x3 != 3; c5: x3 >= 1; c6: x3 >= 3; c7: x3 != 7");
  EXPECT_TRUE(p.push_all({1, 2, 5}));
  ASSERT_TRUE(p.solver.tableau_.is_basic(3));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{6, {1, 2}}}), p.implied()) << "the row says more than x3 >= 1";
  p.record(6).clear(RANGE_IMPLIED);
  EXPECT_TRUE(p.push(6));
  p.implied();
  p.record(3).clear(RANGE_IMPLIED);
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{3, {1, 2}}}), p.implied());
}

TEST(RangeImplications, OfADisequalityAboveTheRow) {
  Ranged p("c1: x1 <= 2; c2: x2 < 1; c3: x3 != 4; c4: x3 != 3; c5: x3 <= 5; c6: x3 != 2; c7: x3 < 3; c8: x3 >= -90");
  EXPECT_TRUE(p.push_all({1, 2, 5}));
  ASSERT_TRUE(p.solver.tableau_.is_basic(3));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{7, {1, 2}}}), p.implied()) << "the row says more than x3 <= 5";
  p.record(7).clear(RANGE_IMPLIED);
  EXPECT_TRUE(p.push(7));
  p.implied();
  for (int c : {3, 4}) p.record(c).clear(RANGE_IMPLIED);
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{3, {1, 2}}, {4, {1, 2}}}), p.implied());
}

TEST(RangeImplications, OfEqualitiesAndDisequalitiesHaveNoProofAndAreNotReportedWithProofs) {
  for (bool proofs : {false, true}) {
    Ranged p("c1: x1 = 2; c2: x2 = 1; c3: x3 = 3; c4: x3 != 4; c5: x3 <= 3", proofs);
    EXPECT_TRUE(p.push_all({1, 2}));
    EXPECT_TRUE(p.solver.try_range_implications(3));
    const Implied found = p.implied();
    EXPECT_EQ(proofs ? (Implied{{5, {1, 2}}}) : (Implied{{3, {1, 2}}, {5, {1, 2}}}), found);
  }
}

TEST(RangeImplications, PassOverExcludedAssertedAndReportedOnes) {
  Ranged p("c1: x1 <= 1; c2: x2 <= 1; c3: x3 <= 2; c4: x3 <= 3; c5: x3 <= 4; c6: x3 <= 5");
  EXPECT_TRUE(p.push_all({1, 2}));
  p.record(3).set(RANGE_EXCLUDED);
  p.record(4).clear(RANGE_UNPUSHED);
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{5, {1, 2}}, {6, {1, 2}}}), p.implied());
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{}), p.implied());
}

// An infinite bound makes the range infinite on its side, whatever the sign of the coefficient.
TEST(RangeImplications, AMissingBoundImpliesNothing) {
  Propagating p(2);
  p.rows("x2 = -1*x1; x5 = x3 - x4");
  p.bounds("c1: x1 >= 1; c2: x2 >= 0; c3: x2 <= 0; c4: x2 <= -1; c5: x3 >= 1; c6: x5 >= 0; c7: x5 <= 0; c8: x4 <= 9");
  EXPECT_TRUE(p.push_all({1, 5}));
  EXPECT_TRUE(p.solver.try_range_implications(2));
  EXPECT_EQ((Implied{{3, {1}}, {4, {1}}}), p.implied());
  EXPECT_TRUE(p.solver.try_range_implications(5));
  EXPECT_EQ((Implied{}), p.implied());
}

TEST(RangeImplications, ThatMeetABoundOfTheOtherSideAreAConflict) {
  for (bool proofs : {false, true}) {
    Ranged p("c1: x1 >= 2; c2: x2 >= 1; c3: x3 >= 3; c4: x3 <= 2", proofs);
    EXPECT_TRUE(p.push_all({1, 2, 4}));
    ASSERT_TRUE(p.solver.tableau_.is_basic(3));
    EXPECT_FALSE(p.solver.try_range_implications(3));
    EXPECT_TRUE(p.solver.in_conflict_);
    EXPECT_EQ((Ints{1, 2, 4}), p.solver.conflict_);
    EXPECT_EQ(proofs, p.solver.conflict_proof_ != nullptr);
  }
}

// Above an upper bound the row's minimum is to blame, below a lower bound its maximum.
TEST(RangeImplications, OfEachKindMayMeetABoundOfTheOtherSide) {
  struct Case {
    const char* told;  // c3 follows from c1 and c2, and c4 contradicts it
    bool lower_used;
  };
  const Case cases[] = {{"c1: x1 >= 2; c2: x2 >= 1; c3: x3 >= 3; c4: x3 <= 2", false},
                        {"c1: x1 <= 2; c2: x2 <= 1; c3: x3 <= 3; c4: x3 >= 4", true},
                        {"c1: x1 = 2; c2: x2 = 1; c3: x3 = 3; c4: x3 < 3", false},
                        {"c1: x1 = 2; c2: x2 = 1; c3: x3 = 3; c4: x3 > 3", true}};
  for (const Case& tested : cases) {
    for (bool proofs : {false, true}) {
      SCOPED_TRACE(tested.told);
      Ranged p(tested.told, proofs);
      EXPECT_TRUE(p.push_all({1, 2, 4}));
      ASSERT_TRUE(p.solver.tableau_.is_basic(3));
      p.solver.conflict_ = {77};
      const bool is_equality = p.record(3).kind() == RANGE_EQUAL;
      EXPECT_EQ(proofs && is_equality, p.solver.try_range_implications(3)) << "no proof form for an equality";
      if (proofs && is_equality) continue;
      EXPECT_TRUE(p.solver.in_conflict_);
      EXPECT_EQ((Ints{1, 2, 4}), p.solver.conflict_);
      EXPECT_FALSE(p.satisfiable(p.solver.conflict_, false));
      EXPECT_FALSE(p.record(3).has(RANGE_IMPLIED));
      EXPECT_EQ(0u, p.solver.num_implied_);
      if (!proofs) continue;
      const auto* sum = dynamic_cast<const LaComb*>(p.solver.conflict_proof_);
      ASSERT_NE(nullptr, sum);
      EXPECT_EQ(nullptr, sum->coeff1());
      EXPECT_EQ(nullptr, sum->coeff2());
      EXPECT_EQ(4, dynamic_cast<const LaHyp*>(sum->premise2())->index()) << "the contradicted bound";
      const auto* reason = dynamic_cast<const LaComb*>(sum->premise1());
      ASSERT_NE(nullptr, reason) << "the row's side";
      EXPECT_EQ(1, dynamic_cast<const LaHyp*>(reason->premise1())->index());
      EXPECT_EQ(2, dynamic_cast<const LaHyp*>(reason->premise2())->index());
      EXPECT_EQ("", test::proof_offence(p.solver));
    }
  }
}

TEST(RangeImplications, AConflictOfARowWithoutTermsIsTheContradictedBoundAlone) {
  for (bool proofs : {false, true}) {
    Propagating p(2, proofs);
    p.rows("x3 = 0");
    p.bounds("c1: x3 >= 0; c2: x3 <= -1");
    EXPECT_TRUE(p.push(2));
    EXPECT_FALSE(p.solver.try_range_implications(3));
    EXPECT_EQ((Ints{2}), p.solver.conflict_);
    const auto* leaf = dynamic_cast<const LaHyp*>(p.solver.conflict_proof_);
    ASSERT_EQ(proofs, leaf != nullptr);
    EXPECT_EQ(proofs ? 2 : -1, leaf != nullptr ? leaf->index() : -1);
    EXPECT_EQ("", test::proof_offence(p.solver));
  }
}

TEST(RangeImplications, OfARowWithoutTermsRestOnNothing) {
  Propagating p(2);
  p.rows("x3 = 0");
  p.bounds("c1: x3 <= 2; c2: x3 >= -1; c3: x3 = 0; c4: x3 >= 1");
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{1, {}}, {3, {}}}), p.implied());
}

// Bounds that exclude each other can only come from outside; the row is named on standard output.
TEST(RangeImplications, AnEmptyRangeIsReported) {
  Ranged p("c1: x1 >= 2; c2: x1 <= 9; c3: x2 = 0; c4: x3 >= 100");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.solver.var_bounds_[1].push_bounds(2, true, dnum("2"), dnum("1"));
  EXPECT_EQ("ERROR: Equation is: " + p.solver.tableau_.row(3).to_str(true) + "\n",
            output_of([&] { p.solver.try_range_implications(3); }));
  p.solver.var_bounds_[1].pop_bounds();
  EXPECT_EQ("", output_of([&] { p.solver.try_range_implications(3); }));
}

TEST(RangeImplications, AreFoundByCheckOnRowsThatMoved) {
  Propagating p(2);
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 <= -1; c2: x2 <= -1; c3: x3 <= -2; c4: x3 <= -3; c5: x1 >= -9; c6: x2 >= -9");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Implied{{3, {1, 2}}}), p.implied());
}

// Level 1 looks at the rows of the variables that entered the basis, and at no others.
TEST(RangeImplications, AreFoundByCheckAtLevelOneOnRowsOfEnteringVariables) {
  for (int level : {0, 1}) {
    Propagating p(level);
    p.rows("x3 = x1 + x2; x4 = x2 + x5");
    p.bounds("c1: x3 >= 4; c2: x3 <= 9; c3: x2 <= 0; c4: x1 >= 4; c5: x1 >= 5; c6: x4 >= -90; c7: x5 >= 0");
    EXPECT_TRUE(p.push_all({3, 1, 2}));
    EXPECT_TRUE(p.check());
    ASSERT_TRUE(p.solver.tableau_.is_basic(1));
    EXPECT_EQ(level == 1 ? (Implied{{4, {3, 1}}}) : Implied{}, [&] {
      Implied found = p.implied();
      for (auto& [c, reason] : found) std::sort(reason.rbegin(), reason.rend());
      return found;
    }());
  }
}

TEST(RangeImplications, Trace) {
  Ranged p("c1: x1 >= 0; c2: x1 <= 1; c3: x2 >= 0; c4: x2 <= 1; c5: x3 <= 2; c6: x3 >= -7");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 6}));
  p.solver.verbosity_ = 1;
  EXPECT_EQ(
      "LA - try_range_implications, bounds on 3: lower: 0, upper: 2\n"
      "LA - try_range_implications, constraint 5 is implied by: 2 4 \n"
      "Equation used: " +
          p.solver.tableau_.row(3).to_str(true) +
          "\n"
          "cur_l: 0, cur_u: 2, x_lower: -7, x_upper: +inf\n",
      output_of([&] { p.solver.try_range_implications(3); }));
}

TEST(RangeImplications, TraceOfAConflict) {
  Ranged p("c1: x1 >= 2; c2: x2 >= 1; c3: x3 >= 3; c4: x3 <= 2");
  EXPECT_TRUE(p.push_all({1, 2, 4}));
  p.solver.verbosity_ = 1;
  EXPECT_EQ(
      "LA - try_range_implications, bounds on 3: lower: 3, upper: +inf\n"
      "LA - try_range_implications found a conflict: 3 is implied by equation " +
          p.solver.tableau_.row(3).to_str(true) + ", but is inconsistent with this state\n",
      output_of([&] { p.solver.try_range_implications(3); }));
}

TEST(RangeImplications, ProofsCombineTheLeavesOfTheReason) {
  Propagating p(2, true);
  p.rows("x3 = 2*x1 - x2");
  p.bounds("c1: x1 <= 1; c2: x2 >= 0; c3: x3 <= 2; c4: x3 >= -9");
  EXPECT_TRUE(p.push_all({1, 2, 4}));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{{3, {1, 2}}}), p.implied());
  proof::Ref proof(p.solver.get_implication_proof(3));
  const auto* imp = dynamic_cast<const LaCombImp*>(proof.get());
  ASSERT_NE(nullptr, imp);
  const auto* comb = dynamic_cast<const LaComb*>(imp->premise());
  ASSERT_NE(nullptr, comb);
  EXPECT_EQ("2", comb->coeff1()->to_str());
  EXPECT_EQ("1", comb->coeff2()->to_str());
  EXPECT_EQ(0, comb->a());
  EXPECT_EQ(0, comb->b());
  EXPECT_EQ(0, comb->c());
}

TEST(RangeImplications, AProofFromOneLeafTakesItTwiceUnlessItsCoefficientIsOne) {
  Propagating p(2, true);
  p.rows("x3 = 2*x1; x4 = x2");
  p.bounds("c1: x1 <= 1; c2: x2 <= 1; c3: x3 <= 2; c4: x4 <= 2");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_TRUE(p.solver.try_range_implications(4));
  proof::Ref scaled(p.solver.get_implication_proof(3));
  proof::Ref plain(p.solver.get_implication_proof(4));
  ASSERT_NE(nullptr, scaled);
  ASSERT_NE(nullptr, plain);
  const auto* comb = dynamic_cast<const LaComb*>(dynamic_cast<const LaCombImp*>(scaled.get())->premise());
  ASSERT_NE(nullptr, comb);
  EXPECT_EQ("2", comb->coeff1()->to_str());
  EXPECT_EQ("0", comb->coeff2()->to_str());
  EXPECT_EQ(comb->premise1(), comb->premise2());
  EXPECT_EQ(3u, comb->premise1()->count()) << "the table and twice the combination";
  EXPECT_NE(nullptr, dynamic_cast<const LaHyp*>(dynamic_cast<const LaCombImp*>(plain.get())->premise()));
}

TEST(RangeImplications, AProofFromThreeLeavesAddsTheThirdToTheSumOfTheFirstTwo) {
  Propagating p(2, true);
  p.rows("x4 = 2*x1 - 3*x2 + 1/2*x3");
  p.bounds("c1: x1 <= 1; c2: x2 = 0; c3: x3 <= 2; c4: x4 <= 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.solver.try_range_implications(4));
  EXPECT_EQ((Implied{{4, {1, 2, 3}}}), p.implied());
  proof::Ref proof(p.solver.get_implication_proof(4));
  const auto* whole = dynamic_cast<const LaComb*>(dynamic_cast<const LaCombImp*>(proof.get())->premise());
  ASSERT_NE(nullptr, whole);
  EXPECT_EQ(nullptr, whole->coeff1());
  EXPECT_EQ("1/2", whole->coeff2()->to_str());
  EXPECT_EQ(3, dynamic_cast<const LaHyp*>(whole->premise2())->index());
  const auto* first = dynamic_cast<const LaComb*>(whole->premise1());
  ASSERT_NE(nullptr, first);
  EXPECT_EQ("2", first->coeff1()->to_str());
  EXPECT_EQ("3", first->coeff2()->to_str());
  EXPECT_EQ(1, dynamic_cast<const LaHyp*>(first->premise1())->index());
  EXPECT_EQ(2, dynamic_cast<const LaHyp*>(first->premise2())->index());
  EXPECT_EQ(1, dynamic_cast<const LaHyp*>(first->premise2())->side()) << "the lower half of the equality";
}

// ---- reasons ----

// x4 = x1 - x2 + x3; x1 is pinned by an equality, x2 by two bounds, x3 has no upper bound.
struct Reasons : Propagating {
  explicit Reasons(bool proofs = false) : Propagating(2, proofs) {
    rows("x4 = x1 - x2 + x3");
    bounds("c1: x1 = 1; c2: x2 >= 0; c3: x2 <= 2; c4: x3 >= 0; c5: x4 <= 90");
    EXPECT_TRUE(push_all({1, 2, 3, 4}));
    EXPECT_TRUE(solver.tableau_.is_basic(4));
  }
  Ints of_side(int side) {
    Ints out;
    solver.build_range_implication_reason(solver.tableau_.row(4), side, &out, nullptr);
    return out;
  }
};

TEST(RangeReason, TakesTheFiniteBoundsOfItsSideEachConstraintOnce) {
  Reasons p;
  EXPECT_EQ((Ints{1, 3, 4}), p.of_side(1));
  EXPECT_EQ((Ints{1, 2}), p.of_side(3)) << "x3 has no upper bound";
  EXPECT_EQ((Ints{1, 3, 2, 4}), p.of_side(2)) << "the equality once, of x2 first what makes the minimum";
  EXPECT_EQ((Ints{1, 3, 4}), p.of_side(1)) << "nothing is left over from the call before";
}

TEST(RangeReason, AppendsToWhatIsThere) {
  Reasons p;
  Ints out{77};
  p.solver.build_range_implication_reason(p.solver.tableau_.row(4), 3, &out, nullptr);
  EXPECT_EQ((Ints{77, 1, 2}), out);
}

TEST(RangeReason, MayBeAskedForTheProofAlone) {
  Reasons p(true);
  proof::Proof* made = nullptr;
  p.solver.build_range_implication_reason(p.solver.tableau_.row(4), 1, nullptr, &made);
  proof::Ref proof(made);
  ASSERT_NE(nullptr, dynamic_cast<const LaComb*>(made));
  EXPECT_EQ(1u, made->count());
  EXPECT_EQ("", test::proof_offence(p.solver, {made}));
  proof.reset();
  EXPECT_EQ((Ints{1, 3, 4}), p.of_side(1)) << "without one, leaves are given back";
  EXPECT_EQ("", test::proof_offence(p.solver));
}

TEST(RangeReason, PassesOverTheRowsOwnTermAndZeroCoefficients) {
  Reasons p;
  auto& row = const_cast<Equation&>(p.solver.tableau_.row(4));
  row.add_term(4, QNumber(-1));
  row.mutable_terms()[2].coeff = QNumber(0);
  EXPECT_EQ((Ints{1, 3}), p.of_side(1));
  EXPECT_EQ((Ints{1, 2}), p.of_side(3));
}

TEST(RangeImplications, ARowWithoutTermsImpliesNothingWhenAProofIsWanted) {
  Propagating p(2, true);
  p.rows("x3 = 0");
  p.bounds("c1: x3 <= 2; c2: x3 >= -1");
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  EXPECT_EQ((Implied{}), p.implied());
  EXPECT_TRUE(p.solver.implication_proofs_.empty());
}

// ---- random problems ----

// Whatever is reported, at any level, with proofs or without, follows from its reason; the reason is asserted.
class PropagationWalk : public testing::TestWithParam<unsigned> {};

TEST_P(PropagationWalk, EveryImplicationFollows) {
  std::mt19937 random(GetParam());
  auto draw = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  static const char* const relations[] = {">=", "<=", "=", "<", ">", "!="};
  Propagating p(1 + draw(2), draw(2) == 0);
  p.rows("x5 = x1 + x2; x6 = x1 - 2*x3; x7 = x2 + x3 - 1/2*x4");
  for (int c = 1; c <= 30; ++c) {
    p.bounds("c" + std::to_string(c) + ": x" + std::to_string(1 + draw(7)) + relations[draw(6)] +
             std::to_string(draw(7) - 3));
  }
  Ints stack;
  for (int i = 0; i < 60; ++i) {
    const int c = 1 + draw(30);
    const int kind = draw(6);
    if (kind < 3 && std::find(stack.begin(), stack.end(), c) == stack.end()) {
      stack.push_back(c);
      if (!p.push(c)) {
        p.pop();
        stack.pop_back();
      }
    } else if (kind == 3 && !stack.empty()) {
      p.pop();
      stack.pop_back();
    } else if (kind > 3) {
      p.check(kind == 4);
    }
    for (const auto& [implied, reason] : p.implied()) {
      for (int r : reason) EXPECT_NE(stack.end(), std::find(stack.begin(), stack.end(), r)) << r;
    }
    if (HasFailure()) FAIL() << "seed " << GetParam();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PropagationWalk, testing::Range(1u, 61u));

}  // namespace
}  // namespace tarku::la

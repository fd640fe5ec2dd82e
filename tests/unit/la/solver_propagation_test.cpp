// Implied constraints: from a bound just asserted, and from the range of a row.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/la_proof.h"
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

TEST(RangeImplications, OfADisequality) {
  Ranged p("c1: x1 >= 2; c2: x2 >= 1; c3: x3 != 2; c4: x3 != 3; c5: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 5}));
  EXPECT_TRUE(p.solver.try_range_implications(3));
  for (const auto& [c, reason] : p.implied()) EXPECT_NE(4, c);
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

TEST(RangeImplications, AreFoundByCheckOnRowsThatMoved) {
  Propagating p(2);
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 <= -1; c2: x2 <= -1; c3: x3 <= -2; c4: x3 <= -3; c5: x1 >= -9; c6: x2 >= -9");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Implied{{3, {1, 2}}}), p.implied());
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

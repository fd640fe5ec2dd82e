// Disequalities: the split into two strict sides, its conflicts and proofs, and what it leaves behind.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/la_proof.h"
#include "tarku/termination_test.h"
#include "tests/unit/support/proof_census.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::members;
using test::output_of;
using test::Problem;

using Ints = std::vector<int>;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

struct SplitPoll : TerminationTest {
  void operator()() const override {
    if (++count == throw_at) throw throw_at;
  }
  mutable int count = 0;
  int throw_at = 0;
};

// ---- pushing ----

TEST(PushDiseq, IsRecordedAndListed) {
  Problem p;
  p.bounds("c1: x1 != 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_EQ((std::vector<std::pair<int, int>>{{1, -1}}), p.solver.constraint_stack_);
  EXPECT_EQ((Ints{1}), p.solver.diseqs_);
}

TEST(PushDiseq, FailsOnlyWhileAConflictIsPending) {
  Problem p;
  p.bounds("c1: x1 = 3; c2: x1 != 3; c3: x1 >= 4; c4: x1 != 7");
  EXPECT_TRUE(p.push_all({1, 2})) << "nothing is tested when it is pushed";
  EXPECT_FALSE(p.push(3));
  EXPECT_FALSE(p.push(4));
  EXPECT_EQ((Ints{2, 4}), p.solver.diseqs_);
  p.pop();
  EXPECT_EQ((Ints{2}), p.solver.diseqs_);
}

// An asserted disequality must not look like one that propagation may report.
TEST(PushDiseq, IsNoLongerMarkedAsUnpushed) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x1 != 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  EXPECT_TRUE(p.check());
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  p.solver.build_model({});
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
  p.pop();
  EXPECT_TRUE(p.record(2).has(RANGE_UNPUSHED));
}

TEST(PushDiseq, StaysAssertedAfterAFailedSplit) {
  Problem p;
  p.bounds("c1: x1 = 3; c2: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_FALSE(p.check());
  EXPECT_FALSE(p.record(2).has(RANGE_UNPUSHED));
}

// ---- the split ----

TEST(CheckDiseq, WithoutAnyClearsConflictAndAnswersTrue) {
  Problem p;
  p.solver.initialize();
  p.solver.in_conflict_ = true;
  p.solver.conflict_ = {1};
  EXPECT_TRUE(p.solver.do_check_disequalities());
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_TRUE(p.solver.conflict_.empty());
}

TEST(CheckDiseq, ThatHoldsAlreadyNeedsNoSearch) {
  Problem p;
  p.bounds("c1: x1 >= 5; c2: x1 != 3; c3: x1 != 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  SplitPoll poll;
  p.solver.termination_test_ = &poll;
  EXPECT_TRUE(p.check());
  EXPECT_EQ(1, poll.count);
}

TEST(CheckDiseq, TheGreaterSideIsNotTriedWhenTheLessSideIsConsistent) {
  Problem p;
  p.bounds("c1: x1 != 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.solver.verbosity_ = 2;
  const std::string text = output_of([&] { p.check(); });
  EXPECT_TRUE(contains(text, "constr: 1, push_upper_bound: 0-1*delta\n"));
  EXPECT_FALSE(contains(text, "push_lower_bound"));
}

TEST(CheckDiseq, TheGreaterSideSavesIt) {
  Problem p;
  p.bounds("c1: x1 >= 0; c2: x1 != 0; c3: x1 <= 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check());
}

TEST(CheckDiseq, LeavesValuesAndBoundsAsTheyWere) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 != 0; c4: x1 != 0");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  for (int v : {1, 2, 3}) EXPECT_EQ("0", p.value(v)) << v;
  EXPECT_EQ(1u, p.levels(3));
  EXPECT_EQ(2u, p.levels(1));
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_TRUE(p.solver.conflict_.empty());
}

TEST(CheckDiseq, TheAssignmentOfANewerOneIsUsedForTheOlder) {
  Problem p;
  p.rows("x2 = 2*x1");
  p.bounds("c1: x2 != 0; c2: x1 != 0");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.solver.verbosity_ = 2;
  const std::string text = output_of([&] { p.check(); });
  EXPECT_TRUE(contains(text, "disequality is: 2, var: 1, bound: 0\n")) << text;
  EXPECT_TRUE(contains(text, "disequality is: 1, var: 2, bound: 0\n  OK, cur_beta_[2] = 0-2*delta, bound = 0\n"))
      << text;
}

TEST(CheckDiseq, OfAFixedVariableNamesBothBoundsAndItselfOnce) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{1, 3, 2}), p.solver.conflict_) << "less side first, then what is new from the greater side";
  EXPECT_TRUE(p.solver.in_conflict_);
}

// Neither strict side fits between the bounds: nothing was pushed, so nothing may be popped.
TEST(CheckDiseq, OfAFixedVariableLeavesItsBoundsInForce) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3; c4: x1 >= 4");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  for (int round = 0; round < 3; ++round) {
    EXPECT_FALSE(p.check());
    EXPECT_EQ(3u, p.levels(1));
    EXPECT_EQ("3", p.lower(1));
    EXPECT_EQ("3", p.upper(1));
    p.pop();
    EXPECT_FALSE(p.push(4));
    p.pop();
    EXPECT_TRUE(p.push(3));
  }
}

// The first side has a level to go, the second fails at the push.
TEST(CheckDiseq, AtAnUpperBoundOneSideHasALevelAndTheOtherNone) {
  Problem p(true);
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x3 <= 3; c4: x3 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ(2u, p.levels(3));
  EXPECT_EQ("3", p.upper(3));
  EXPECT_EQ("-inf", p.lower(3));
  EXPECT_EQ((Ints{4, 1, 2, 3}), p.solver.conflict_);
}

TEST(CheckDiseq, MayBeTheVeryFirstThingThatIsAskedOfASolver) {
  Problem p;
  p.rows("x900 = x1 + x2");
  p.bounds("c1: x900 != 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.solver.do_check_disequalities());
  EXPECT_TRUE(p.solver.initialized_);
  EXPECT_EQ("0", p.value(900));
  EXPECT_TRUE(p.check());
  p.solver.build_model({});
  p.expect_model_fits();
}

TEST(CheckDiseq, TheOrderIsThatOfTheSideConflictsNotOfTheNumbers) {
  Problem p;
  p.bounds("c9: x1 >= 3; c2: x1 <= 3; c5: x1 != 3");
  EXPECT_TRUE(p.push_all({9, 2, 5}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{9, 5, 2}), p.solver.conflict_);
}

TEST(CheckDiseq, SidesRefutedBySearchAreExplained) {
  Problem p(true);
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x1 <= 1; c4: x2 <= 2; c5: x3 != 3; c6: x9 >= 0");
  EXPECT_TRUE(p.push_all({6, 1, 2, 3, 4, 5}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2, 3, 4, 5}), p.conflict_set());
  p.pop();
  EXPECT_TRUE(p.check());
}

TEST(CheckDiseq, TheNewestOfSeveralConflictingOnesIsNamed) {
  Problem p;
  p.bounds("c1: x1 = 3; c2: x2 = 4; c3: x1 != 3; c4: x2 != 4");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{2, 4}), p.conflict_set());
}

TEST(CheckDiseq, RightAgainAfterThePop) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3; c4: x1 != 4");
  EXPECT_TRUE(p.push_all({3, 1}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(2));
  EXPECT_FALSE(p.check());
  p.pop();
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(4));
  EXPECT_TRUE(p.check());
  EXPECT_EQ(2u, p.levels(1));
}

// The flag says that the constraint is implied; a temporary bound under its name is another matter.
TEST(CheckDiseq, AStaleImpliedFlagDoesNotSwitchTheSplitOff) {
  Problem p;
  p.bounds("c1: x1 = 3; c2: x1 != 3");
  p.solver.propagation_level_ = 1;
  EXPECT_TRUE(p.push_all({1, 2}));
  p.record(2).set(RANGE_IMPLIED);
  EXPECT_FALSE(p.check());
}

TEST(CheckDiseq, WithPropagationNoImplicationLeaksOutOfTheSplit) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 != 0; c4: x3 > 0; c5: x3 >= 1/2");
  p.solver.propagation_level_ = 2;
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  int c = 0;
  Ints reason;
  while (p.solver.next_implied(&c, &reason)) EXPECT_TRUE(p.follows(c, reason)) << c;
}

// ---- proofs ----

TEST(DiseqProof, IsASplitOverTheTwoSideProofs) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  const auto* split = dynamic_cast<const LaNeq*>(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, split);
  EXPECT_EQ(1u, split->count());
  EXPECT_EQ(3, split->id());
  ASSERT_NE(nullptr, split->less());
  ASSERT_NE(nullptr, split->greater());
  EXPECT_EQ(1u, split->less()->count());
  EXPECT_EQ(1u, split->greater()->count());
}

// Each side rests on the disequality's own strict half and on what refutes it.
TEST(DiseqProof, EachSideIsThatSidesConflict) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  const auto* split = dynamic_cast<const LaNeq*>(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, split);
  const auto expect_sides = [](const proof::Proof* side, int half, int partner) {
    const auto* sum = dynamic_cast<const LaComb*>(side);
    ASSERT_NE(nullptr, sum);
    EXPECT_EQ(3, dynamic_cast<const LaHyp*>(sum->premise1())->index());
    EXPECT_EQ(half, dynamic_cast<const LaHyp*>(sum->premise1())->side());
    EXPECT_EQ(partner, dynamic_cast<const LaHyp*>(sum->premise2())->index());
  };
  expect_sides(split->less(), -1, 1);
  expect_sides(split->greater(), 1, 2);
  EXPECT_EQ("", test::proof_offence(p.solver));
}

// Equations that contradict each other refute both sides without any proof.
TEST(DiseqProof, OfSidesWithoutAProofHasNoPremises) {
  Problem p(true);
  p.judged = false;
  p.bounds("c1: x1 != 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.rows("0 = 1");
  EXPECT_FALSE(p.solver.do_check_disequalities());
  const auto* split = dynamic_cast<const LaNeq*>(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, split);
  EXPECT_EQ(nullptr, split->less());
  EXPECT_EQ(nullptr, split->greater());
  EXPECT_TRUE(p.solver.conflict_.empty());
}

TEST(DiseqProof, NothingIsLeftAfterASuccess) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 3}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ(nullptr, p.solver.conflict_proof_);
  for (const auto& leaf : p.solver.hyp_proofs_) EXPECT_EQ(1u, leaf.second->count());
}

TEST(DiseqProof, CountsAreExactAfterManyConflicts) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3; c4: x1 != 2; c5: x2 != 0");
  for (int round = 0; round < 5; ++round) {
    EXPECT_TRUE(p.push_all({1, 2, 4, 5, 3}));
    EXPECT_FALSE(p.check());
    p.pop();
    EXPECT_TRUE(p.check());
    p.pop(4);
  }
  EXPECT_EQ(nullptr, p.solver.conflict_proof_);
  for (const auto& leaf : p.solver.hyp_proofs_) EXPECT_EQ(1u, leaf.second->count());
}

// ---- interruption ----

class DiseqInterruption : public testing::TestWithParam<bool> {};

TEST_P(DiseqInterruption, LeavesNoTemporaryBoundAndNoProofBehind) {
  for (int at = 1; at < 50; ++at) {
    Problem p(true);
    p.rows("x3 = x1 + x2; x4 = x1 - x2");
    p.bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x3 <= 3; c4: x3 != 3; c5: x4 != -1; c6: x3 <= 4");
    EXPECT_TRUE(p.push_all({1, 2, GetParam() ? 6 : 3, 5, 4}));
    SplitPoll poll;
    poll.throw_at = at;
    p.solver.termination_test_ = &poll;
    bool interrupted = false;
    try {
      EXPECT_EQ(GetParam(), p.check());
    } catch (int) {
      interrupted = true;
    }
    p.solver.termination_test_ = nullptr;
    if (!interrupted) {
      EXPECT_LT(2, at);
      return;
    }
    p.expect_invariants("after the interruption");
    EXPECT_EQ(2u, p.levels(3));
    EXPECT_EQ(1u, p.levels(4));
    EXPECT_FALSE(p.record(4).has(RANGE_UNPUSHED));
    EXPECT_FALSE(p.record(5).has(RANGE_UNPUSHED));
    for (const auto& leaf : p.solver.hyp_proofs_) EXPECT_EQ(1u, leaf.second->count());
    EXPECT_EQ(GetParam(), p.check()) << "interrupted at " << at;
    p.pop(2);
    EXPECT_TRUE(p.check());
  }
}

INSTANTIATE_TEST_SUITE_P(Verdicts, DiseqInterruption, testing::Bool());

// ---- the hook ----

struct RestoringSolver : Solver {
  explicit RestoringSolver(bool restore) : Solver(false, 0), restore_(restore) {}
  bool should_restore_beta(bool ok, Values* backup, std::vector<int>&) override {
    oks.push_back(ok);
    backups.push_back(backup != nullptr);
    return restore_;
  }
  std::vector<bool> oks;
  std::vector<bool> backups;

 private:
  bool restore_;
};

TEST(RestoreHook, IsAskedOnceWithResultAndBackup) {
  auto owned = std::make_unique<RestoringSolver>(true);
  RestoringSolver& s = *owned;
  Problem p(std::move(owned));
  p.bounds("c1: x1 >= 5; c2: x1 != 3; c3: x1 != 5; c4: x1 <= 5");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("5", p.value(1));
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::vector<bool>{true, true, false}), s.oks);
  EXPECT_EQ((std::vector<bool>{false, true, true}), s.backups) << "no copy unless some disequality is violated";
}

TEST(RestoreHook, MayKeepTheAssignmentThatWasFound) {
  Problem p(std::make_unique<RestoringSolver>(false));
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x2 >= 1; c3: x3 >= 7; c4: x3 != 7; c5: x1 <= 5; c6: x2 <= 2; c7: x3 <= 7");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_NE("7", p.value(3));
  EXPECT_TRUE(p.push_all({5, 6, 7}));
  EXPECT_FALSE(p.check()) << "and falls back to a saved assignment that keeps the rows";
  p.pop();
  p.expect_invariants("after the fall-back");
  p.bounds("c8: x2 > 2");
  EXPECT_FALSE(p.push(8));
  p.pop();
  p.pop();
  EXPECT_TRUE(p.check());
}

// ---- traces ----

TEST(DiseqTrace, OfAConflict) {
  Problem p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x1 != 3");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.solver.verbosity_ = 1;
  const std::string text = output_of([&] { p.check(); });
  EXPECT_TRUE(contains(text, "LA - do_check_disequalities:\n"));
  EXPECT_TRUE(contains(text, "LA - do_check_disequalities, conflict for disequality 3: 1 3 2 \n")) << text;
}

TEST(DiseqTrace, OfBothSides) {
  Problem p;
  p.rows("x2 = x1");
  p.bounds("c1: x1 >= 3; c2: x1 <= 3; c3: x2 != 3; c4: x2 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 4, 3}));
  EXPECT_TRUE(p.check(true));
  p.solver.verbosity_ = 2;
  const std::string text = output_of([&] { p.check(); });
  EXPECT_TRUE(contains(text, "disequality is: 3, var: 2, bound: 3\nconstr: 3, push_upper_bound: 3-1*delta\n")) << text;
  EXPECT_TRUE(contains(text, "conflict for upper bound: 3 1 \nvar_bounds[2]: 0, 3-1*delta\nrestored bounds: 0, +inf\n"))
      << text;
  EXPECT_TRUE(contains(text, "constr: 3, push_lower_bound: 3+1*delta\n")) << text;
  EXPECT_TRUE(contains(text, "conflict for lower bound: 3 1 \nvar_bounds[2]: 3+1*delta, +inf\n")) << text;
  EXPECT_TRUE(
      contains(text, "restored bounds: 0, +inf\nLA - do_check_disequalities, conflict for disequality 3: 3 1 2 \n"))
      << text;
}

}  // namespace
}  // namespace tarku::la

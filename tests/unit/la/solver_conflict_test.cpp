// Conflict sets and their proofs: order, sides, leaves, reference counts.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/la/la_proof.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using proof::Proof;
using test::dnum;
using test::LinearForm;
using test::Problem;

using Ints = std::vector<int>;

const LaComb* comb(const Proof* p) {
  return dynamic_cast<const LaComb*>(p);
}
const LaHyp* hyp(const Proof* p) {
  return dynamic_cast<const LaHyp*>(p);
}

// One step of a conflict's chain: coefficient, constraint, side, and the three ints.
std::string step(const LaComb* c) {
  const LaHyp* leaf = hyp(c->premise2());
  return (c->coeff1() == nullptr ? "" : c->coeff1()->to_str() + "*.. + ") +
         (c->coeff2() == nullptr ? "1" : c->coeff2()->to_str()) + "*c" + std::to_string(leaf->index()) + "/" +
         std::to_string(leaf->side()) + " (" + std::to_string(c->a()) + "," + std::to_string(c->b()) + "," +
         std::to_string(c->c()) + ")";
}

// The chain from its first leaf up to the whole proof.
std::vector<std::string> chain(const Proof* p) {
  const LaComb* c = comb(p);
  if (c == nullptr) return {"c" + std::to_string(hyp(p)->index()) + "/" + std::to_string(hyp(p)->side())};
  std::vector<std::string> steps = chain(c->premise1());
  steps.push_back(step(c));
  return steps;
}

// What a proof says, as a form that is at least zero.
LinearForm meaning(const Proof* p, Problem* problem) {
  if (const LaComb* c = comb(p)) {
    LinearForm sum;
    sum.add(meaning(c->premise1(), problem), c->coeff1() == nullptr ? mpq_class(1) : test::to_mpq(*c->coeff1()));
    sum.add(meaning(c->premise2(), problem), c->coeff2() == nullptr ? mpq_class(1) : test::to_mpq(*c->coeff2()));
    return sum;
  }
  const LaHyp* leaf = hyp(p);
  const RangeConstraint& rc = problem->record(leaf->index());
  const bool lower = rc.kind() == RANGE_LOWER || leaf->side() == 1;
  return test::to_form(rc.var, rc.bound, lower ? 1 : -1);
}

// The proof adds up, modulo the rows told in `equations`, to a negative constant that must be at least zero.
void expect_contradiction(const Proof* p, Problem* problem, const std::string& equations) {
  ASSERT_NE(nullptr, p);
  LinearForm sum = meaning(p, problem);
  for (const std::string& text : test::statements(equations)) {
    const Equation eq = test::equation(text);
    test::substitute(test::to_form(eq), eq.defining_var(), &sum);
  }
  EXPECT_TRUE(sum.coeffs.empty()) << sum.key();
  EXPECT_LT(sum.constant_sign(), 0) << sum.key();
}

// x3 = 2*x1 - x2 stuck above its upper bound: x1 at its lower bound, x2 at its upper one.
void stick_above(Problem* p) {
  p->rows("x3 = 2*x1 - x2");
  p->bounds("c1: x1 >= 3; c2: x2 <= -1; c3: x3 <= 4");
  EXPECT_TRUE(p->push_all({1, 2, 3}));
}

// x3 = 2*x1 - x2 stuck below its lower bound.
void stick_below(Problem* p) {
  p->rows("x3 = 2*x1 - x2");
  p->bounds("c1: x1 <= -3; c2: x2 >= 1/2; c3: x3 >= 4");
  EXPECT_TRUE(p->push_all({1, 2, 3}));
}

// ---- the set ----

TEST(ConflictSet, OfAVariableAboveItsUpperBoundIsInRowOrder) {
  Problem p;
  stick_above(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{3, 1, 2}), p.solver.conflict_);
}

TEST(ConflictSet, OfAVariableBelowItsLowerBoundIsInRowOrder) {
  Problem p;
  stick_below(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{3, 1, 2}), p.solver.conflict_);
}

TEST(ConflictSet, NamesTheTopmostLevelOfEachSide) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x1 >= 3; c3: x1 <= 90; c4: x1 <= 80; c5: x2 >= 2; c6: x3 <= 9; c7: x3 <= 4; c8: x3 >= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 8, 6, 7}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{7, 2, 5}), p.solver.conflict_);
}

TEST(ConflictSet, ReplacesTheOneBefore) {
  Problem p;
  stick_above(&p);
  EXPECT_FALSE(p.check());
  p.pop(3);
  p.bounds("c8: x1 >= 1; c9: x1 <= 0");
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.push(9));
  EXPECT_EQ((Ints{8, 9}), p.solver.conflict_);
}

TEST(ConflictSet, StrictBoundsAtTheSamePlaceConflict) {
  Problem p;
  p.rows("x3 = x1 - x2");
  p.bounds("c1: x1 > 0; c2: x2 <= 0; c3: x3 <= 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{1, 2, 3}), p.conflict_set());
}

TEST(ConflictSet, MayNameConstraintZero) {
  Problem p(true);
  p.rows("x3 = x1");
  p.bounds("c0: x1 >= 3; c1: x3 <= 2");
  EXPECT_TRUE(p.push_all({0, 1}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{0, 1}), p.conflict_set());
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = x1");
  EXPECT_EQ(1, p.pop());
  EXPECT_EQ(0, p.pop());
}

TEST(ConflictSet, BuiltByHandFillsTheMembers) {
  Problem p;
  stick_above(&p);
  Solver& s = p.solver;
  s.conflict_ = {77, 78};
  s.build_conflict_set(3, s.cur_beta_[3], s.cur_beta_);
  EXPECT_EQ((Ints{3, 1, 2}), s.conflict_);
  EXPECT_EQ(nullptr, s.conflict_proof_);
}

// Rows should hold neither, but whoever reads them passes over both.
TEST(ConflictSet, PassesOverTheRowsOwnTermAndZeroCoefficients) {
  Problem p(true);
  p.rows("x3 = 2*x1 - x2 + x4");
  p.bounds("c1: x1 >= 3; c2: x2 <= -1; c3: x3 <= 4; c4: x4 = 0");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  Solver& s = p.solver;
  auto& row = const_cast<Equation&>(s.tableau_.row(3));
  row.add_term(3, QNumber(-1));
  ASSERT_EQ(4, row.terms().back().var);
  row.mutable_terms().back().coeff = QNumber(0);
  s.build_conflict_set(3, s.cur_beta_[3], s.cur_beta_);
  EXPECT_EQ((Ints{3, 1, 2}), s.conflict_);
  EXPECT_EQ((std::vector<std::string>{"c3/0", "2*c1/0 (2,1,1)", "1*c2/0 (2,-1,-1)"}), chain(s.conflict_proof_));
}

// ---- the proof ----

TEST(ConflictProof, OfAnUpperViolationIsAChainInRowOrder) {
  Problem p(true);
  stick_above(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::vector<std::string>{"c3/0", "2*c1/0 (2,1,1)", "1*c2/0 (2,-1,-1)"}), chain(p.solver.conflict_proof_));
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = 2*x1 - x2");
}

TEST(ConflictProof, OfALowerViolationIsAChainInRowOrder) {
  Problem p(true);
  stick_below(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::vector<std::string>{"c3/0", "2*c1/0 (1,1,-1)", "1*c2/0 (1,-1,1)"}), chain(p.solver.conflict_proof_));
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = 2*x1 - x2");
}

TEST(ConflictProof, TheLastNumberIsZeroForAVariableAtZero) {
  Problem p(true);
  p.rows("x3 = x1");
  p.bounds("c1: x1 >= 0; c2: x3 <= -1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::vector<std::string>{"c2/0", "1*c1/0 (2,1,0)"}), chain(p.solver.conflict_proof_));
}

TEST(ConflictProof, OfARowWithoutOtherVariablesIsTheBareLeaf) {
  Problem p(true);
  p.rows("x3 = 0");
  p.bounds("c1: x3 >= 1");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.check());
  const LaHyp* leaf = hyp(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, leaf);
  EXPECT_EQ(1, leaf->index());
  EXPECT_EQ(2u, leaf->count()) << "the table's reference and the conflict's";
  EXPECT_EQ(leaf, p.solver.hyp_proofs_.find(1)->second);
}

TEST(ConflictProof, OfAPushIsOneCombinationOfTheNewAndTheOlderLeaf) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 <= 2; c4: x2 >= 3");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  const LaComb* c = comb(p.solver.conflict_proof_);
  ASSERT_NE(nullptr, c);
  EXPECT_EQ(nullptr, c->coeff1());
  EXPECT_EQ(nullptr, c->coeff2());
  EXPECT_EQ(2, hyp(c->premise1())->index());
  EXPECT_EQ(1, hyp(c->premise2())->index());
  EXPECT_EQ(0, c->a());
  EXPECT_EQ(0, c->b());
  EXPECT_EQ(0, c->c());
  EXPECT_EQ(1u, c->count());
  EXPECT_EQ(2u, c->premise1()->count());
  EXPECT_EQ(2u, c->premise2()->count());
  expect_contradiction(p.solver.conflict_proof_, &p, "");
  p.pop();
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.push(4));
  expect_contradiction(p.solver.conflict_proof_, &p, "");
  EXPECT_EQ(4, hyp(comb(p.solver.conflict_proof_)->premise1())->index());
}

TEST(ConflictProof, OfAPushAgainstAnEqualityUsesTheRightSides) {
  Problem p(true);
  p.bounds("c1: x1 = 3; c2: x1 <= 2; c3: x1 >= 4; c4: x1 = 5; c5: x1 = 1");
  EXPECT_TRUE(p.push(1));
  for (int c : {2, 3, 4, 5}) {
    EXPECT_FALSE(p.push(c));
    EXPECT_EQ((Ints{1, c}), p.solver.conflict_);
    expect_contradiction(p.solver.conflict_proof_, &p, "");
    p.pop();
  }
}

TEST(ConflictProof, AddsUpOverSeveralPivots) {
  const char* equations = "x11 = x1 + x2; x12 = x2 + x3; x13 = x1 + x3; x14 = 1/3*x1 - 5/7*x2";
  Problem p(true);
  p.rows(equations);
  p.bounds("c1: x11 < 3; c2: x12 = 5/2; c3: x13 >= 7; c4: x14 >= 1/9; c5: x2 > 0; c6: x1 <= 9; c7: x3 <= 100");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6, 7}));
  EXPECT_FALSE(p.check());
  expect_contradiction(p.solver.conflict_proof_, &p, equations);
}

TEST(ConflictProof, OfALaterConflictReleasesTheOneBefore) {
  Problem p(true);
  stick_above(&p);
  EXPECT_FALSE(p.check());
  proof::Ref first(p.solver.get_conflict_proof());
  EXPECT_EQ(2u, first->count());
  proof::Ref leaf(p.solver.get_or_create_hyp_proof(1, true));
  const auto before = leaf->count();
  p.pop(3);
  p.bounds("c8: x1 >= 1; c9: x1 <= 0");
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.push(9));
  EXPECT_EQ(1u, first->count()) << "the solver let go";
  first.reset();
  EXPECT_EQ(before - 1, leaf->count()) << "and with it its leaves";
}

TEST(ConflictProof, TheCallerGetsAReferenceOfItsOwn) {
  proof::Ref kept;
  {
    Problem p(true);
    stick_above(&p);
    EXPECT_FALSE(p.check());
    EXPECT_EQ(1u, p.solver.conflict_proof_->count());
    kept.reset(p.solver.get_conflict_proof());
    EXPECT_EQ(p.solver.conflict_proof_, kept.get());
    EXPECT_EQ(2u, kept->count());
  }
  EXPECT_EQ(1u, kept->count()) << "it outlives the solver";
  EXPECT_EQ(1u, comb(kept.get())->premise2()->count());
}

TEST(ConflictProof, IsNullWhenThereIsNone) {
  Problem p(true);
  EXPECT_EQ(nullptr, p.solver.get_conflict_proof());
  EXPECT_TRUE(p.check());
  EXPECT_EQ(nullptr, p.solver.get_conflict_proof());
}

TEST(ConflictProof, WithProofsDisabledNothingIsBuilt) {
  Problem p(false);
  stick_above(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ(nullptr, p.solver.conflict_proof_);
  EXPECT_EQ(0u, p.solver.hyp_proofs_.size());
  p.pop(3);
  p.bounds("c8: x1 >= 1; c9: x1 <= 0");
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.push(9));
  EXPECT_EQ(nullptr, p.solver.conflict_proof_);
  EXPECT_EQ(0u, p.solver.hyp_proofs_.size());
}

// ---- leaves ----

TEST(Hypothesis, OneLeafForAPlainBoundWhateverTheSide) {
  Problem p(true);
  p.bounds("c4: x1 >= 3; c5: x1 <= 9");
  for (int c : {4, 5}) {
    proof::Ref plain(p.solver.get_or_create_hyp_proof(c, false));
    proof::Ref negated(p.solver.get_or_create_hyp_proof(c, true));
    EXPECT_EQ(plain.get(), negated.get());
    EXPECT_EQ(3u, plain->count());
    EXPECT_EQ(c, hyp(plain.get())->index());
    EXPECT_EQ(0, hyp(plain.get())->side());
    EXPECT_TRUE(p.solver.hyp_proofs_.contains(c));
    EXPECT_FALSE(p.solver.hyp_proofs_.contains(-c));
  }
}

TEST(Hypothesis, TwoLeavesForAnEqualityAndForADisequality) {
  Problem p(true);
  p.bounds("c4: x1 = 3; c5: x1 != 9");
  for (int c : {4, 5}) {
    proof::Ref plain(p.solver.get_or_create_hyp_proof(c, false));
    proof::Ref negated(p.solver.get_or_create_hyp_proof(c, true));
    EXPECT_NE(plain.get(), negated.get());
    EXPECT_EQ(c, hyp(plain.get())->index());
    EXPECT_EQ(c, hyp(negated.get())->index());
    EXPECT_EQ(-1, hyp(plain.get())->side());
    EXPECT_EQ(1, hyp(negated.get())->side());
    EXPECT_EQ(plain.get(), p.solver.hyp_proofs_.find(c)->second);
    EXPECT_EQ(negated.get(), p.solver.hyp_proofs_.find(-c)->second);
  }
}

TEST(Hypothesis, ANewLeafBelongsToTheTableAndTheCaller) {
  Problem p(true);
  p.bounds("c4: x1 >= 3");
  proof::Ref leaf(p.solver.get_or_create_hyp_proof(4, false));
  EXPECT_EQ(2u, leaf->count());
}

TEST(Hypothesis, AnEqualityThatSuppliesBothSidesHasTwoLeavesInItsConflicts) {
  Problem p(true);
  p.rows("x3 = x1");
  p.bounds("c4: x1 = 3; c5: x3 <= 2; c6: x3 >= 4");
  EXPECT_TRUE(p.push_all({4, 5}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((std::set<int>{4, 5}), p.conflict_set());
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = x1");
  EXPECT_TRUE(p.solver.hyp_proofs_.contains(-4));
  EXPECT_FALSE(p.solver.hyp_proofs_.contains(4));
  p.pop();
  EXPECT_TRUE(p.push(6));
  EXPECT_FALSE(p.check());
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = x1");
  EXPECT_TRUE(p.solver.hyp_proofs_.contains(4));
}

TEST(Hypothesis, ConstraintZeroHasALeaf) {
  Problem p(true);
  p.bounds("c0: x1 >= 3");
  proof::Ref leaf(p.solver.get_or_create_hyp_proof(0, false));
  EXPECT_EQ(0, hyp(leaf.get())->index());
  EXPECT_EQ(0, hyp(leaf.get())->side());
}

// Its number has no negative; each side still has a leaf of its own, and both go together.
TEST(Hypothesis, TwoLeavesAlsoForAnEqualityThatIsConstraintZero) {
  Problem p(true);
  p.bounds("c0: x1 = 3");
  proof::Ref plain(p.solver.get_or_create_hyp_proof(0, false));
  proof::Ref negated(p.solver.get_or_create_hyp_proof(0, true));
  EXPECT_NE(plain.get(), negated.get());
  EXPECT_EQ(-1, hyp(plain.get())->side());
  EXPECT_EQ(1, hyp(negated.get())->side());
  EXPECT_EQ(0, hyp(negated.get())->index());
  p.retract_bound(0);
  EXPECT_EQ(1u, plain->count());
  EXPECT_EQ(1u, negated->count());
  EXPECT_TRUE(p.solver.hyp_proofs_.empty());
}

TEST(Hypothesis, LeavesDieWithTheSolver) {
  proof::Ref leaf;
  {
    Problem p(true);
    p.bounds("c4: x1 = 3");
    leaf.reset(p.solver.get_or_create_hyp_proof(4, true));
  }
  EXPECT_EQ(1u, leaf->count());
}

// ---- the hook ----

struct PickySolver : Solver {
  explicit PickySolver(int refused) : Solver(true, 0), refused_(refused) {}
  bool should_add_to_conflict(int var, Values&, bool, bool) override { return var != refused_; }

 private:
  int refused_;
};

TEST(ConflictHook, KeepsAnIndexOutOfTheSetButItsStepInTheProof) {
  Problem p(std::make_unique<PickySolver>(1));
  p.judged = false;  // the set alone is no explanation any more
  stick_above(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{3, 2}), p.solver.conflict_);
  EXPECT_EQ((std::vector<std::string>{"c3/0", "2*c1/0 (2,1,1)", "1*c2/0 (2,-1,-1)"}), chain(p.solver.conflict_proof_));
  expect_contradiction(p.solver.conflict_proof_, &p, "x3 = 2*x1 - x2");
}

TEST(ConflictHook, IsNotAskedAboutTheViolatedVariable) {
  Problem p(std::make_unique<PickySolver>(3));
  stick_above(&p);
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{3, 1, 2}), p.solver.conflict_);
}

// ---- proofs of implications ----

TEST(ImplicationProof, IsNullForUnknownOnesAndBeforeAnyWasHandedOut) {
  Problem p(true);
  EXPECT_EQ(nullptr, p.solver.get_implication_proof(7));
  EXPECT_EQ(nullptr, p.solver.get_implication_proof(-1));
}

TEST(ImplicationProof, IsFoundByIndexOrAsTheLastOneHandedOut) {
  Problem p(true);
  Solver& s = p.solver;
  std::vector<LaHyp*> proofs;
  for (int c : {7, 8, 7}) {
    proofs.push_back(new LaHyp(c, 0));
    s.implication_proofs_.emplace_back(c, proofs.back());
  }
  proof::Ref found(s.get_implication_proof(7));
  EXPECT_EQ(proofs[0], found.get()) << "the first that matches";
  EXPECT_EQ(2u, found->count());
  EXPECT_EQ(nullptr, s.get_implication_proof(9));
  s.implied_reported_ = 2;
  EXPECT_EQ(nullptr, s.get_implication_proof(0)) << "0 is an index like any other";
  proof::Ref last(s.get_implication_proof(-1));
  EXPECT_EQ(proofs[1], last.get());
  EXPECT_EQ(2u, last->count());
  s.implied_reported_ = 0;
  EXPECT_EQ(nullptr, s.get_implication_proof(-5));
}

TEST(ImplicationProof, IsReleasedWhenTheImplicationIsPopped) {
  Problem p(true);
  p.bounds("c1: x1 >= 3; c2: x1 >= 2");
  EXPECT_TRUE(p.push(1));
  Solver& s = p.solver;
  Solver::ImplInfo info;
  info.level = 1;
  s.implied_ = {{2, info}};
  s.num_implied_ = 1;
  proof::Ref mine(new LaHyp(2, 0));
  mine->retain();
  s.implication_proofs_.emplace_back(2, mine.get());
  p.pop();
  EXPECT_TRUE(s.implication_proofs_.empty());
  EXPECT_EQ(1u, mine->count());
}

// ---- proof nodes ----

TEST(ProofNodes, CountsAreThirtyTwoBitsAndStartAtOne) {
  static_assert(std::is_same_v<std::uint32_t, decltype(std::declval<Proof>().count())>);
  proof::Ref leaf(new LaHyp(3, -1));
  EXPECT_EQ(1u, leaf->count());
}

TEST(ProofNodes, ACombinationOwnsWhatItIsGiven) {
  proof::Ref left(new LaHyp(1, 0));
  proof::Ref right(new LaHyp(2, 0));
  left->retain();
  right->retain();
  proof::Ref sum(new LaComb(new QNumber(2), left.get(), nullptr, right.get(), 1, -1, 0));
  EXPECT_EQ(2u, left->count()) << "no reference is added";
  EXPECT_EQ("2", comb(sum.get())->coeff1()->to_str());
  EXPECT_EQ(nullptr, comb(sum.get())->coeff2());
  EXPECT_EQ(-1, comb(sum.get())->b());
  sum.reset();
  EXPECT_EQ(1u, left->count());
  EXPECT_EQ(1u, right->count());
}

TEST(ProofNodes, ALeafMayStandInACombinationTwice) {
  proof::Ref leaf(new LaHyp(1, 0));
  leaf->retain();
  leaf->retain();
  proof::Ref sum(new LaComb(nullptr, leaf.get(), new QNumber(0), leaf.get(), 0, 0, 0));
  sum.reset();
  EXPECT_EQ(1u, leaf->count());
}

TEST(ProofNodes, ADisequalitySplitAddsAReferenceToEachSide) {
  proof::Ref less(new LaHyp(1, 0));
  proof::Ref greater(new LaHyp(2, 0));
  proof::Ref split(new LaNeq(9, less.get(), greater.get()));
  EXPECT_EQ(2u, less->count());
  EXPECT_EQ(2u, greater->count());
  split.reset();
  EXPECT_EQ(1u, less->count());
  EXPECT_EQ(1u, greater->count());
}

TEST(ProofNodes, PremisesMayBeMissing) {
  proof::Ref split(new LaNeq(9, nullptr, nullptr));
  proof::Ref sum(new LaComb(nullptr, nullptr, nullptr, nullptr, 0, 0, 0));
  proof::Ref implication(new LaCombImp(3, 0, nullptr));
  Proof::release(nullptr);
  SUCCEED();
}

TEST(ProofNodes, AnImplicationOwnsItsPremise) {
  proof::Ref leaf(new LaHyp(1, 0));
  leaf->retain();
  proof::Ref implication(new LaCombImp(3, 0, leaf.get()));
  EXPECT_EQ(2u, leaf->count());
  implication.reset();
  EXPECT_EQ(1u, leaf->count());
}

// Left-deep chains grow with the length of a row; taking one apart must not need stack for each step.
TEST(ProofNodes, AChainOfAMillionStepsIsDestroyed) {
  proof::Ref leaf(new LaHyp(1, 0));
  leaf->retain();
  Proof* whole = leaf.get();
  for (int i = 0; i < 1000000; ++i) whole = new LaComb(nullptr, whole, nullptr, nullptr, 0, 0, 0);
  Proof::release(whole);
  EXPECT_EQ(1u, leaf->count());
}

// ---- aborts ----

using ConflictDeathTest = testing::Test;

TEST(ConflictDeathTest, AskingForABoundThatIsNotThereAborts) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Problem p;
        p.rows("x3 = x1");
        p.bounds("c1: x1 >= 0; c2: x3 >= 1");
        p.push(2);
        p.solver.build_conflict_set(3, p.solver.cur_beta_[3], p.solver.cur_beta_);  // x1 has no upper bound
      },
      "");
}

TEST(ConflictDeathTest, AskingForALowerBoundWhoseLevelIsGoneAborts) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(
      {
        Problem p;
        p.bounds("c1: x1 >= 5; c2: x1 <= 2");
        p.push(1);
        auto& bounds = p.solver.var_bounds_[1];
        bounds.pop_bounds();
        bounds.push_bounds(1, true, dnum("5"), DNumber::plus_inf);  // as if an upper bound had made it
        p.solver.push_constraint(2);
      },
      "");
}

}  // namespace
}  // namespace tarku::la

// The solver as an object: initial state, lazy set-up, hooks, destruction, and its small companions.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tarku/la/la_proof.h"
#include "tarku/termination_test.h"
#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::members;
using test::output_of;
using test::Problem;

// "x1 >= 0" for each of the variables, under the constraint indices 1, 2, ...
void bound_each(Problem* p, int from, int to) {
  for (int v = from; v <= to; ++v) p->bounds("c" + std::to_string(v) + ": x" + std::to_string(v) + " >= 0");
}

// One equation over x1 .. x<last>.
std::string sum_up_to(int last) {
  std::string text = "x" + std::to_string(last) + " = x1";
  for (int v = 2; v < last; ++v) text += " + x" + std::to_string(v);
  return text;
}

// ---- the fresh object ----

TEST(SolverLifecycle, FreshSolverHoldsTheInitialValues) {
  Solver s(true, 0);
  EXPECT_EQ(0, s.verbosity_);
  EXPECT_EQ(0u, s.var_bounds_.size());
  EXPECT_EQ(0u, s.saved_beta_.size());
  EXPECT_EQ(0u, s.cur_beta_.size());
  EXPECT_TRUE(s.changed_vars_.empty());
  EXPECT_TRUE(s.values_integral_);
  EXPECT_FALSE(s.initialized_);
  EXPECT_FALSE(s.in_conflict_);
  EXPECT_EQ(0, s.propagation_level_);
  EXPECT_EQ(0u, s.pivot_limit_override_);
  EXPECT_EQ(20u, s.pivot_limit_);
  EXPECT_FALSE(s.checked_);
  EXPECT_TRUE(s.conflict_.empty());
  EXPECT_EQ(0u, s.equations_.size());
  EXPECT_EQ(0u, s.constraints_.size());
  EXPECT_TRUE(s.constraint_stack_.empty());
  EXPECT_EQ(0u, s.num_pushed_);
  EXPECT_TRUE(s.diseqs_.empty());
  EXPECT_EQ(0u, s.var_constraints_.size());
  EXPECT_TRUE(s.implied_.empty());
  EXPECT_EQ(0u, s.implied_reported_);
  EXPECT_EQ(0u, s.num_implied_);
  EXPECT_TRUE(s.reason_vars_.empty());
  EXPECT_TRUE(s.rows_to_propagate_.empty());
  EXPECT_EQ(0u, s.model_values_.size());
  EXPECT_EQ(0, s.num_pivots_);
  EXPECT_TRUE(s.violated_basics_.empty());
  EXPECT_EQ(0, s.pivot_scratch_.sign());
  EXPECT_TRUE(s.eliminate_unconstrained_);
  EXPECT_TRUE(s.proofs_enabled_);
  EXPECT_EQ(0u, s.hyp_proofs_.size());
  EXPECT_TRUE(s.implication_proofs_.empty());
  EXPECT_EQ(nullptr, s.conflict_proof_);
  EXPECT_EQ(0u, s.abstract_values_.size());
  EXPECT_EQ(nullptr, s.termination_test_);
  EXPECT_TRUE(s.work_vars_.empty());
  EXPECT_TRUE(s.model_work_vars_.empty());
}

TEST(SolverLifecycle, ConstructorArgumentsSetProofsAndTraceLevel) {
  Solver s(false, 2);
  EXPECT_FALSE(s.proofs_enabled_);
  EXPECT_EQ(2, s.verbosity_);
}

TEST(SolverLifecycle, FreshTablesHaveTheDefaultBucketCount) {
  Solver s(false, 0);
  EXPECT_EQ(31u, s.equations_.bucket_count());
  EXPECT_EQ(31u, s.constraints_.bucket_count());
  EXPECT_EQ(31u, s.model_values_.bucket_count());
  EXPECT_EQ(31u, s.hyp_proofs_.bucket_count());
  EXPECT_EQ(31u, s.abstract_values_.bucket_count());
}

TEST(SolverLifecycle, MembersStandInTheirDocumentedOrder) {
  Solver s(false, 0);
  const std::vector<const void*> order{&s.verbosity_,
                                       &s.var_bounds_,
                                       &s.saved_beta_,
                                       &s.cur_beta_,
                                       &s.changed_vars_,
                                       &s.values_integral_,
                                       &s.tableau_,
                                       &s.initialized_,
                                       &s.in_conflict_,
                                       &s.propagation_level_,
                                       &s.pivot_limit_override_,
                                       &s.pivot_limit_,
                                       &s.checked_,
                                       &s.conflict_,
                                       &s.equations_,
                                       &s.constraints_,
                                       &s.constraint_stack_,
                                       &s.num_pushed_,
                                       &s.diseqs_,
                                       &s.var_constraints_,
                                       &s.implied_,
                                       &s.implied_reported_,
                                       &s.num_implied_,
                                       &s.reason_vars_,
                                       &s.rows_to_propagate_,
                                       &s.model_values_,
                                       &s.num_pivots_,
                                       &s.violated_basics_,
                                       &s.pivot_scratch_,
                                       &s.eliminate_unconstrained_,
                                       &s.proofs_enabled_,
                                       &s.hyp_proofs_,
                                       &s.implication_proofs_,
                                       &s.conflict_proof_,
                                       &s.abstract_values_,
                                       &s.termination_test_,
                                       &s.work_vars_,
                                       &s.model_work_vars_};
  for (std::size_t i = 1; i < order.size(); ++i) EXPECT_LT(order[i - 1], order[i]) << "member " << i;
}

TEST(SolverLifecycle, AssertValidAlwaysAgrees) {
  Solver s(false, 0);
  EXPECT_TRUE(s.assert_valid(s.cur_beta_, true, false));
  EXPECT_TRUE(s.assert_valid(s.cur_beta_, false, true));
}

// ---- hooks ----

TEST(SolverLifecycle, BaseHooksAnswerTheirDefaultsAndChangeNothing) {
  Solver s(false, 0);
  EXPECT_FALSE(s.optimization_set(nullptr, 1));
  EXPECT_FALSE(s.optimization_unset());
  EXPECT_FALSE(s.optimization_store_optimum());
  std::vector<int> saved{1, 2};
  EXPECT_TRUE(s.should_restore_beta(false, nullptr, saved));
  EXPECT_EQ((std::vector<int>{1, 2}), saved);
  EXPECT_TRUE(s.should_add_to_conflict(1, s.cur_beta_, true, true));
  bool result = true;
  s.additional_optimization_steps(result);
  EXPECT_TRUE(result);
  result = false;
  s.additional_optimization_steps(result);
  EXPECT_FALSE(result);
  QNumber delta(1, 7);
  s.set_delta_value(delta);
  EXPECT_EQ("1/7", delta.to_str());
}

// ---- initialize ----

TEST(SolverInitialize, WithoutVariablesEveryTableGetsOneEntry) {
  Solver s(false, 0);
  EXPECT_TRUE(s.initialize());
  EXPECT_TRUE(s.initialized_);
  EXPECT_EQ(1u, s.var_bounds_.size());
  EXPECT_EQ(1u, s.cur_beta_.size());
  EXPECT_EQ(1u, s.saved_beta_.size());
  EXPECT_EQ(20u, s.pivot_limit_);
}

TEST(SolverInitialize, TablesGetOneEntryMoreThanThereAreVariables) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = x1");
  bound_each(&p, 1, 4);
  p.solver.initialize();
  EXPECT_EQ(5u, p.solver.var_bounds_.size());
  EXPECT_EQ(5u, p.solver.cur_beta_.size());
  EXPECT_EQ(5u, p.solver.saved_beta_.size());
  for (int v = 1; v <= 4; ++v) {
    EXPECT_EQ(1u, p.levels(v));
    EXPECT_EQ("0", p.value(v));
  }
}

TEST(SolverInitialize, SetsVariablesWithoutBoundsAsideAndCountsTheRest) {
  Problem p;
  p.rows(sum_up_to(25));
  bound_each(&p, 1, 22);
  EXPECT_TRUE(p.solver.initialize());
  EXPECT_EQ(22u, p.solver.pivot_limit_);
  for (int v = 1; v <= 25; ++v) EXPECT_EQ(v >= 23, p.solver.tableau_.is_eliminated(v)) << v;
}

TEST(SolverInitialize, KeepsEveryVariableWhenEliminationIsOff) {
  Problem p;
  p.solver.eliminate_unconstrained_ = false;
  p.rows(sum_up_to(25));
  bound_each(&p, 1, 22);
  EXPECT_TRUE(p.solver.initialize());
  EXPECT_EQ(25u, p.solver.pivot_limit_);
  for (int v = 1; v <= 25; ++v) EXPECT_FALSE(p.solver.tableau_.is_eliminated(v)) << v;
}

TEST(SolverInitialize, PivotLimitIsNeverBelowTwenty) {
  Problem p;
  p.rows(sum_up_to(21));
  bound_each(&p, 1, 3);
  p.solver.initialize();
  EXPECT_EQ(20u, p.solver.pivot_limit_);
}

TEST(SolverInitialize, TracesWhatItSetsAsideInAscendingOrder) {
  Problem p(false, 1);
  output_of([&] { p.rows("x5 = x1 + x2 + x3"); });
  p.bounds("c1: x2 >= 0");
  EXPECT_EQ(
      "LA - removing unconstrained var 1\n"
      "LA - removing unconstrained var 3\n"
      "LA - removing unconstrained var 5\n",
      output_of([&] { p.solver.initialize(); }));
}

TEST(SolverInitialize, IsSilentWithoutTrace) {
  Problem p;
  p.rows("x5 = x1 + x2 + x3");
  p.bounds("c1: x2 >= 0");
  EXPECT_EQ("", output_of([&] { p.solver.initialize(); }));
}

TEST(SolverInitialize, SecondCallDoesNothing) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 >= 0");
  EXPECT_TRUE(p.solver.initialize());
  p.solver.cur_beta_.resize(40);
  p.solver.pivot_limit_ = 77;
  EXPECT_TRUE(p.solver.initialize());
  EXPECT_EQ(40u, p.solver.cur_beta_.size());
  EXPECT_EQ(77u, p.solver.pivot_limit_);
}

TEST(SolverInitialize, SecondCallAnswersTrueEvenAfterAFailure) {
  Problem p;
  p.rows("x3 = x1 + x2; 0 = x3 - x1 - x2 + 1");
  EXPECT_FALSE(p.solver.initialize());
  EXPECT_TRUE(p.solver.initialized_);
  EXPECT_TRUE(p.solver.initialize());
}

TEST(SolverInitialize, DoesNotCountItsPivots) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 0; c2: x2 >= 0");
  p.solver.initialize();
  EXPECT_TRUE(p.solver.tableau_.is_eliminated(1));
  EXPECT_EQ(0, p.solver.num_pivots_);
}

TEST(SolverInitialize, RunsAtTheFirstLowerOrUpperBoundPush) {
  for (const char* text : {"c1: x1 >= 0", "c1: x1 <= 0", "c1: x1 = 0"}) {
    Problem p;
    p.rows("x3 = x1 + x2");
    p.bounds(text);
    EXPECT_FALSE(p.solver.initialized_);
    p.push(1);
    EXPECT_TRUE(p.solver.initialized_) << text;
  }
}

TEST(SolverInitialize, RunsAtTheFirstCheckWhenNothingWasPushed) {
  Problem p;
  p.rows("x3 = x1 + x2");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.initialized_);
}

TEST(SolverInitialize, DoesNotRunWhenADisequalityIsPushed) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 != 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.solver.initialized_);
}

TEST(SolverInitialize, DoesNotRunWhenAnEquationIsAsserted) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.add_equation(7);
  EXPECT_FALSE(p.solver.initialized_);
}

// Identifiers that are not dense from 1 still find all their slots.
TEST(SolverInitialize, SparseIdentifiersHaveSlotsInEveryTable) {
  Problem p;
  p.rows("x1000 = 2*x5");
  p.bounds("c1: x5 >= 3; c2: x1000 <= 100");
  EXPECT_TRUE(p.push(1));
  EXPECT_GT(p.solver.var_bounds_.size(), 1000u);
  EXPECT_GT(p.solver.cur_beta_.size(), 1000u);
  EXPECT_GT(p.solver.saved_beta_.size(), 1000u);
  EXPECT_TRUE(p.push(2));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("6", p.value(1000));
}

// ---- an inconsistent tableau ----

TEST(SolverInconsistentTableau, TheFirstPushFailsWithoutAConflict) {
  Problem p;
  p.rows("0 = 1");
  p.bounds("c1: x1 >= 0");
  p.solver.conflict_ = {42};
  EXPECT_FALSE(p.push(1));
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_EQ((std::vector<int>{42}), p.solver.conflict_) << "conflict_ is not touched";
  EXPECT_EQ((std::pair<int, int>(1, -1)), p.solver.constraint_stack_.back());
}

TEST(SolverInconsistentTableau, TheFirstCheckFailsAndSetsInConflict) {
  Problem p;
  p.rows("0 = 1");
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.in_conflict_);
}

// The second initialize() answers true; that must not turn into a satisfiable answer.
TEST(SolverInconsistentTableau, StaysUnsatisfiableAfterTheFailedPushWasPopped) {
  Problem p;
  p.rows("0 = 1");
  p.bounds("c1: x1 >= 0");
  EXPECT_FALSE(p.push(1));
  p.pop();
  p.push(1);
  EXPECT_FALSE(p.check());
  EXPECT_TRUE(p.solver.in_conflict_);
  EXPECT_TRUE(p.solver.conflict_.empty());
  p.pop();
  EXPECT_FALSE(p.check());
  EXPECT_FALSE(p.check(true));
}

TEST(SolverInconsistentTableau, AnEqualityThatMeetsItStillTakesTwoEntries) {
  Problem p;
  p.rows("0 = 1");
  p.bounds("c1: x1 = 0");
  EXPECT_FALSE(p.push(1));
  EXPECT_EQ(2u, p.solver.constraint_stack_.size());
  p.pop();
  EXPECT_TRUE(p.solver.constraint_stack_.empty());
}

// ---- destruction ----

// A proof node that tells when it dies, and in which order.
class Witness : public LaHyp {
 public:
  Witness(std::vector<int>* deaths, int name) : LaHyp(1, 0), deaths_(deaths), name_(name) {}
  ~Witness() override { deaths_->push_back(name_); }

 private:
  std::vector<int>* deaths_;
  int name_;
};

TEST(SolverDestructor, AnUninitialisedSolverTouchesNoProof) {
  std::vector<int> deaths;
  Witness outside(&deaths, 1);
  {
    Solver s(true, 0);
    s.tell_equation(7, test::equation("x3 = x1 + x2"));
    s.tell_lower_bound(1, 3, test::dnum("5"));
  }
  EXPECT_TRUE(deaths.empty());
  EXPECT_EQ(1u, outside.count());
}

TEST(SolverDestructor, ReleasesConflictThenHypothesesThenImplications) {
  std::vector<int> deaths;
  {
    Solver s(true, 0);
    s.implication_proofs_.emplace_back(4, new Witness(&deaths, 3));
    s.hyp_proofs_[9] = new Witness(&deaths, 2);
    s.conflict_proof_ = new Witness(&deaths, 1);
  }
  EXPECT_EQ((std::vector<int>{1, 2, 3}), deaths);
}

TEST(SolverDestructor, DropsExactlyOneReferenceToEachProof) {
  std::vector<int> deaths;
  auto* conflict = new Witness(&deaths, 1);
  auto* hypothesis = new Witness(&deaths, 2);
  auto* implication = new Witness(&deaths, 3);
  for (Witness* w : {conflict, hypothesis, implication}) w->retain();
  {
    Solver s(true, 0);
    s.conflict_proof_ = conflict;
    s.hyp_proofs_[9] = hypothesis;
    s.implication_proofs_.emplace_back(4, implication);
  }
  EXPECT_TRUE(deaths.empty());
  for (Witness* w : {conflict, hypothesis, implication}) {
    EXPECT_EQ(1u, w->count());
    proof::Proof::release(w);
  }
}

TEST(SolverDestructor, WithProofsDisabledNoCountIsTouched) {
  std::vector<int> deaths;
  auto conflict = std::make_unique<Witness>(&deaths, 1);
  auto hypothesis = std::make_unique<Witness>(&deaths, 2);
  auto implication = std::make_unique<Witness>(&deaths, 3);
  {
    Solver s(false, 0);
    s.conflict_proof_ = conflict.get();
    s.hyp_proofs_[9] = hypothesis.get();
    s.implication_proofs_.emplace_back(4, implication.get());
  }
  EXPECT_TRUE(deaths.empty());
  EXPECT_EQ(1u, conflict->count());
  EXPECT_EQ(1u, hypothesis->count());
  EXPECT_EQ(1u, implication->count());
}

TEST(SolverDestructor, ToleratesMissingProofs) {
  Solver s(true, 0);
  s.hyp_proofs_[3] = nullptr;
  s.implication_proofs_.emplace_back(3, nullptr);
  SUCCEED();
}

TEST(SolverDestructor, IsReachedThroughTheBaseClass) {
  struct Derived : Solver {
    explicit Derived(bool* flag) : Solver(false, 0), flag_(flag) {}
    ~Derived() override { *flag_ = true; }
    bool* flag_;
  };
  bool destroyed = false;
  std::unique_ptr<Solver>(new Derived(&destroyed)).reset();
  EXPECT_TRUE(destroyed);
}

// ---- companions ----

TEST(ExceptionText, IsComposedByStreaming) {
  Exception e;
  e << "too many iterations: " << 12 << ", x" << 3;
  EXPECT_STREQ("too many iterations: 12, x3", e.what());
}

TEST(ExceptionText, ACopyHoldsTheTextSoFarInAStreamOfItsOwn) {
  Exception first;
  first << "one";
  Exception second(first);
  second << " two";
  EXPECT_STREQ("one", first.what());
  EXPECT_STREQ("one two", second.what());
}

TEST(ExceptionText, SurvivesBeingThrownByValue) {
  try {
    throw Exception() << "row " << 7;
  } catch (const std::exception& e) {
    EXPECT_STREQ("row 7", e.what());
  }
}

TEST(ExceptionText, TheDumpRoutineReturns) {
  Exception e;
  e << "text";
  Exception::dump_msg_and_raise_assertion(e);
  EXPECT_STREQ("text", e.what());
}

TEST(TerminationTestBase, LetsEverySearchGoOn) {
  Problem p;
  TerminationTest never;
  never();
  p.solver.termination_test_ = &never;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x3 >= 5; c2: x1 <= 1; c3: x2 <= 1");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_FALSE(p.check());
}

// Owners set these after construction.
TEST(SolverLifecycle, ConfigurationIsPlainData) {
  Solver s(false, 0);
  TerminationTest test;
  s.propagation_level_ = 2;
  s.eliminate_unconstrained_ = false;
  s.pivot_limit_override_ = 5;
  s.termination_test_ = &test;
  s.verbosity_ = 0;
  EXPECT_TRUE(s.check(false));
}

}  // namespace
}  // namespace tarku::la

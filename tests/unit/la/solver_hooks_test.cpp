// What a derived solver can steer: when each hook is asked, about what and in which state, what its answer changes, and
// that neither an exception out of it nor a version that leaves everything to the base does any harm.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tests/unit/support/proof_census.h"
#include "tests/unit/support/solver_fixture.h"
#include "tests/unit/support/solver_state.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::equation;
using test::Problem;
using test::rational;

using Ints = std::vector<int>;
using Calls = std::vector<std::string>;
using Values = Solver::Values;

// Overrides every hook: notes each call, lets the test look and answer, and leaves the rest to the base.
class HookedSolver : public Solver {
 public:
  explicit HookedSolver(bool proofs) : Solver(proofs, 0) {}

  bool optimization_set(opt::OptSearch* search, int var) override {
    note("set");
    return Solver::optimization_set(search, var);
  }
  bool optimization_unset() override {
    note("unset");
    return Solver::optimization_unset();
  }
  bool optimization_store_optimum() override {
    note("store");
    return Solver::optimization_store_optimum();
  }
  void additional_optimization_steps(bool& result) override {
    note(std::string("steps ") + (result ? "sat" : "unsat"));
    Solver::additional_optimization_steps(result);
    if (on_steps) on_steps(result);
  }
  bool should_restore_beta(bool ok, Values* backup, Ints& saved_changed) override {
    note(std::string("restore ") + (ok ? "ok" : "conflict") + (backup != nullptr ? " backup" : ""));
    const bool base = Solver::should_restore_beta(ok, backup, saved_changed);
    return on_restore ? on_restore(ok, backup, saved_changed) : base;
  }
  bool should_add_to_conflict(int var, Values& beta, bool upper_used, bool positive) override {
    note("add x" + std::to_string(var) + (upper_used ? " upper" : " lower") + (positive ? " +" : " -"));
    const bool base = Solver::should_add_to_conflict(var, beta, upper_used, positive);
    return on_add ? on_add(var, beta) : base;
  }
  void set_delta_value(QNumber& delta) override {
    note("delta " + delta.to_str());
    Solver::set_delta_value(delta);
    if (on_delta) on_delta(delta);
  }

  Calls take_calls() { return std::exchange(calls, {}); }

  Calls calls;
  int throw_at = 0;  // the call, counted from 1, that throws its number
  std::function<void(bool&)> on_steps;
  std::function<bool(bool, Values*, Ints&)> on_restore;
  std::function<bool(int, Values&)> on_add;
  std::function<void(QNumber&)> on_delta;

 private:
  void note(const std::string& call) {
    calls.push_back(call);
    if (static_cast<int>(calls.size()) == throw_at) throw throw_at;
  }
};

struct Hooked : Problem {
  explicit Hooked(bool proofs = false)
      : Problem(std::make_unique<HookedSolver>(proofs)), s(static_cast<HookedSolver&>(solver)) {}

  HookedSolver& s;
};

// x3 = x1 + x2 is 3 and must not be: refuted on both sides by search.
void tell_fixed_row(Problem* p) {
  p->rows("x3 = x1 + x2");
  p->bounds("c1: x1 >= 1; c2: x1 <= 1; c3: x2 >= 2; c4: x2 <= 2; c5: x3 != 3; c6: x3 <= 9");
}

// ---- when they are asked ----

TEST(Hooks, NoneIsAskedBeforeTheFirstCheck) {
  Hooked p(true);
  tell_fixed_row(&p);
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5}));
  p.solver.retract_bound(6);
  p.pop(2);
  EXPECT_EQ(Calls{}, p.s.calls);
}

TEST(Hooks, AConflictOfPushesAsksNone) {
  Hooked p(true);
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  EXPECT_EQ(Calls{}, p.s.calls);
}

TEST(Hooks, ASatisfiableCheckAsksForFurtherStepsOnly) {
  Hooked p;
  tell_fixed_row(&p);
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Calls{"steps sat"}), p.s.take_calls());
  EXPECT_TRUE(p.check(true));
  EXPECT_EQ(Calls{}, p.s.take_calls());
}

TEST(Hooks, ASplitAsksBeforeTheFurtherSteps) {
  Hooked p;
  p.bounds("c1: x1 >= 5; c2: x1 != 3; c3: x1 != 5");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Calls{"restore ok", "steps sat"}), p.s.take_calls()) << "nothing was moved, nothing was copied";
  EXPECT_TRUE(p.push(3));
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Calls{"restore ok backup", "steps sat"}), p.s.take_calls());
  EXPECT_TRUE(p.check(true));
  EXPECT_EQ(Calls{}, p.s.take_calls()) << "disequalities are passed over";
}

TEST(Hooks, ASplitThatFailsAsksAboutBothSearchesFirst) {
  Hooked p(true);
  tell_fixed_row(&p);
  EXPECT_TRUE(p.push_all({6, 1, 2, 3, 4, 5}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"add x1 lower +", "add x2 lower +", "add x1 upper +", "add x2 upper +", "restore conflict backup",
                   "steps unsat"}),
            p.s.take_calls());
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"steps unsat"}), p.s.take_calls()) << "the conflict is pending";
}

TEST(Hooks, AConflictOfTheSearchPassesTheSplitOver) {
  Hooked p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 1; c3: x3 <= 1; c4: x3 != 7");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"add x1 lower +", "add x2 lower +", "steps unsat"}), p.s.take_calls());
  p.pop(2);
  EXPECT_TRUE(p.push(3));
  EXPECT_FALSE(p.check(true));
  EXPECT_EQ((Calls{"add x1 lower +", "add x2 lower +"}), p.s.take_calls());
}

TEST(Hooks, AConflictOfRangesAsksForFurtherStepsOnly) {
  Hooked p(true);
  p.solver.propagation_level_ = 2;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 2; c2: x2 >= 1; c3: x3 >= 3; c4: x3 <= 2");
  EXPECT_TRUE(p.push_all({1, 2, 4}));
  EXPECT_FALSE(p.solver.try_range_implications(3));
  EXPECT_EQ(Calls{}, p.s.take_calls());
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"steps unsat"}), p.s.take_calls());
}

TEST(Hooks, AModelAsksForDeltaOnceHoweverOftenItIsHalved) {
  Hooked p;
  p.bounds("c1: x1 >= 1; c2: x2 >= 0; c3: x1 != 1; c4: x2 != 0");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  p.s.take_calls();
  p.solver.build_model({equation("0 = x1 - x2 - 1"), equation("0 = x2 - 1"), equation("0 = x2 - 1/2")});
  EXPECT_EQ((Calls{"delta 1"}), p.s.take_calls()) << "neither split nor further steps";
  QNumber value;
  EXPECT_TRUE(p.solver.get_value(2, &value));
  EXPECT_EQ("1/4", value.to_str()) << "halved twice";
}

// They belong to whoever drives an optimisation; the solver itself has no use for them.
TEST(Hooks, TheOptimisationDriversOwnAreNeverAsked) {
  Hooked p(true);
  p.solver.propagation_level_ = 2;
  tell_fixed_row(&p);
  EXPECT_TRUE(p.push_all({6, 1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  p.solver.build_model({});
  EXPECT_TRUE(p.push(5));
  EXPECT_FALSE(p.check());
  for (const std::string& call : p.s.calls) {
    EXPECT_TRUE(call != "set" && call != "unset" && call != "store") << call;
  }
  Solver& base = p.solver;
  EXPECT_FALSE(base.optimization_set(nullptr, 1));
  EXPECT_FALSE(base.optimization_unset());
  EXPECT_FALSE(base.optimization_store_optimum());
  EXPECT_EQ((Calls{"set", "unset", "store"}), Calls(p.s.calls.end() - 3, p.s.calls.end())) << "though they can be";
}

// ---- additional_optimization_steps ----

TEST(FurtherSteps, FindTheValuesSaved) {
  Hooked p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x3 >= 5; c3: x2 <= 2; c4: x3 != 5");
  p.solver.propagation_level_ = 2;
  p.s.on_steps = [&](bool&) {
    EXPECT_TRUE(p.s.changed_vars_.empty());
    EXPECT_TRUE(p.s.rows_to_propagate_.empty());
    EXPECT_TRUE(p.s.suspect_vars_.empty());
    EXPECT_FALSE(p.s.in_conflict_);
    for (int v : {1, 2, 3}) EXPECT_EQ(p.s.cur_beta_.get(v).to_str(), p.s.saved_beta_.get(v).to_str()) << v;
    EXPECT_EQ("5", p.s.saved_beta_.get(3).to_str());
    p.expect_invariants("in the hook");
  };
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("steps sat", p.s.calls.back());
}

TEST(FurtherSteps, FindTheSavedValuesPutBackAfterAConflict) {
  Hooked p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 1; c2: x2 >= 1; c3: x3 <= 1");
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  p.s.on_steps = [&](bool& result) {
    EXPECT_FALSE(result);
    EXPECT_TRUE(p.s.in_conflict_);
    EXPECT_EQ((std::set<int>{1, 2, 3}), p.conflict_set());
    for (int v : {1, 2, 3}) EXPECT_EQ("0", p.s.cur_beta_.get(v).to_str()) << v;
  };
  EXPECT_FALSE(p.check());
  EXPECT_EQ("steps unsat", p.s.calls.back());
}

TEST(FurtherSteps, TheirResultIsTheAnswerAndNothingElse) {
  Hooked p;
  p.bounds("c1: x1 >= 3; c2: x1 <= 2");
  p.judged = false;
  EXPECT_TRUE(p.push(1));
  p.s.on_steps = [](bool& result) { result = !result; };
  EXPECT_FALSE(p.check());
  EXPECT_FALSE(p.solver.in_conflict_);
  EXPECT_EQ("3", p.solver.saved_beta_.get(1).to_str()) << "what was found is saved all the same";
  EXPECT_FALSE(p.push(2));
  EXPECT_TRUE(p.check());
  EXPECT_TRUE(p.solver.in_conflict_);
  EXPECT_EQ((Ints{1, 2}), p.solver.conflict_);
  p.s.on_steps = nullptr;
  p.pop();
  EXPECT_TRUE(p.check());
}

// An optimising solver searches on from here: it asserts a better bound and decides again.
TEST(FurtherSteps, MayAssertAndDecideThemselves) {
  Hooked p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 <= 3; c2: x2 <= 4; c3: x3 >= 0; c4: x3 >= 5; c5: x3 >= 7; c6: x3 >= 8");
  Ints reached;
  p.s.on_steps = [&](bool& result) {
    for (int c = 4; result && c <= 6; ++c) {
      const bool better = p.s.push_constraint(c) && p.s.check(true);
      if (better) reached.push_back(c);
      if (!better) p.s.pop_constraint();
    }
  };
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.solver.check(false));
  EXPECT_EQ((Ints{4, 5}), reached);
  EXPECT_EQ(1, std::count(p.s.calls.begin(), p.s.calls.end(), "steps sat")) << "partial checks do not ask again";
  EXPECT_EQ(0, std::count(p.s.calls.begin(), p.s.calls.end(), "steps unsat"));
  EXPECT_EQ("7", p.value(3));
}

// ---- should_restore_beta ----

// x1 >= 5 and x2 >= 1 make x3 = 6, which c4 forbids; x1 and x3 moved since the last check.
struct SplitFixture : Hooked {
  explicit SplitFixture(bool proofs = false) : Hooked(proofs) {
    rows("x3 = x1 + x2");
    bounds("c1: x1 >= 5; c2: x2 >= 1; c3: x3 >= 0; c4: x3 != 6; c5: x1 <= 5; c6: x2 <= 1; c7: x3 <= 6");
    EXPECT_TRUE(push(2));
    EXPECT_TRUE(check());
    EXPECT_TRUE(push_all({1, 3, 4}));
    s.take_calls();
  }
};

TEST(RestoreBeta, IsShownTheValuesBeforeTheSplitAndWhatChangedBefore) {
  SplitFixture p;
  p.s.on_restore = [&](bool ok, Values* backup, Ints& saved_changed) {
    EXPECT_TRUE(ok);
    EXPECT_EQ("6", backup->get(3).to_str());
    EXPECT_EQ("5", backup->get(1).to_str());
    EXPECT_NE("6", p.s.cur_beta_.get(3).to_str()) << "the split moved it";
    EXPECT_EQ((std::set<int>{1, 3}), std::set<int>(saved_changed.begin(), saved_changed.end()));
    EXPECT_EQ(2u, p.levels(3)) << "no temporary bound is left";
    EXPECT_FALSE(p.record(4).has(RANGE_UNPUSHED));
    p.expect_invariants("in the hook");
    return true;
  };
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Calls{"add x1 lower +", "add x2 lower +", "restore ok backup", "steps sat"}), p.s.calls);
  EXPECT_EQ("6", p.value(3));
  EXPECT_EQ("6", p.solver.saved_beta_.get(3).to_str());
}

TEST(RestoreBeta, FindsTheExplanationOfAConflictComplete) {
  for (bool restore : {true, false}) {
    SplitFixture p(true);
    EXPECT_TRUE(p.push_all({5, 6}));
    p.s.on_restore = [&](bool ok, Values* backup, Ints&) {
      EXPECT_FALSE(ok);
      EXPECT_EQ("6", backup->get(3).to_str());
      EXPECT_TRUE(p.s.in_conflict_);
      EXPECT_EQ((std::set<int>{1, 2, 4, 5, 6}), p.conflict_set());
      EXPECT_NE(nullptr, dynamic_cast<const LaNeq*>(p.s.conflict_proof_));
      return restore;
    };
    EXPECT_FALSE(p.check());
    EXPECT_EQ("1", p.value(3)) << "the saved values are back either way";
    EXPECT_EQ("", test::proof_offence(p.solver));
    p.s.on_restore = nullptr;
    p.pop();
    EXPECT_TRUE(p.check());
  }
}

TEST(RestoreBeta, RefusedTheValuesOfTheSplitAreSaved) {
  SplitFixture p;
  p.s.on_restore = [](bool, Values*, Ints&) { return false; };
  EXPECT_TRUE(p.check());
  p.s.take_calls();
  EXPECT_NE("6", p.value(3));
  for (int v : {1, 2, 3}) EXPECT_EQ(p.value(v), p.solver.saved_beta_.get(v).to_str()) << v;
  EXPECT_TRUE(p.check());
  EXPECT_EQ((Calls{"restore ok", "steps sat"}), p.s.calls) << "the disequality holds now";
  EXPECT_TRUE(p.push_all({5, 6}));
  EXPECT_FALSE(p.check());
}

// The copy is the derived solver's to change: what it holds in the end comes into force.
TEST(RestoreBeta, MayPutOtherValuesIntoTheCopy) {
  SplitFixture p;
  p.s.on_restore = [](bool, Values* backup, Ints& saved_changed) {
    (*backup)[1] = dnum("40");
    (*backup)[3] = dnum("41");
    saved_changed.push_back(1);
    return true;
  };
  EXPECT_TRUE(p.check());
  EXPECT_EQ("40", p.value(1));
  EXPECT_EQ("41", p.solver.saved_beta_.get(3).to_str());
}

TEST(RestoreBeta, RefusedWithoutACopyNothingIsLost) {
  Hooked p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 5; c2: x3 != 6; c3: x2 >= 0; c4: x3 <= 4");
  p.s.on_restore = [](bool, Values* backup, Ints&) {
    EXPECT_EQ(nullptr, backup);
    return false;
  };
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  EXPECT_EQ("5", p.solver.saved_beta_.get(1).to_str());
  EXPECT_TRUE(p.push_all({3, 4}));
  EXPECT_FALSE(p.check());
  EXPECT_EQ("5", p.value(1));
  p.expect_invariants("after the roll-back");
}

// ---- should_add_to_conflict ----

// x5 = 2*x1 - x2 + 3*x3 - x4, every variable pinned from both sides.
struct PinnedRow : Hooked {
  explicit PinnedRow(bool proofs = false) : Hooked(proofs) {
    rows("x5 = 2*x1 - x2 + 3*x3 - x4");
    bounds("c11: x1 >= 1; c12: x1 <= 1; c21: x2 >= 1; c22: x2 <= 1; c31: x3 >= 1; c32: x3 <= 1; c41: x4 >= 1");
    bounds("c42: x4 <= 1; c51: x5 >= 9; c52: x5 <= 0");
    EXPECT_TRUE(push_all({11, 12, 21, 22, 31, 32, 41, 42}));
    EXPECT_TRUE(check());
    s.take_calls();
  }
};

TEST(AddToConflict, IsAskedAboutEachTermInRowOrderOfAVariableBelow) {
  PinnedRow p;
  EXPECT_TRUE(p.push(51));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"add x1 upper +", "add x2 lower -", "add x3 upper +", "add x4 lower -", "steps unsat"}), p.s.calls);
  EXPECT_EQ((Ints{51, 12, 21, 32, 41}), p.solver.conflict_);
}

TEST(AddToConflict, IsAskedAboutEachTermInRowOrderOfAVariableAbove) {
  PinnedRow p;
  EXPECT_TRUE(p.push(52));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Calls{"add x1 lower +", "add x2 upper -", "add x3 lower +", "add x4 upper -", "steps unsat"}), p.s.calls);
  EXPECT_EQ((Ints{52, 11, 22, 31, 42}), p.solver.conflict_);
}

TEST(AddToConflict, IsShownTheValuesOfTheBlockedRowAndTheSetSoFar) {
  PinnedRow p;
  EXPECT_TRUE(p.push(51));
  Ints expected{51};
  p.s.on_add = [&](int var, Values& beta) {
    EXPECT_EQ(&p.s.cur_beta_, &beta);
    EXPECT_EQ("1", beta.get(var).to_str()) << var;
    EXPECT_EQ("3", beta.get(5).to_str());
    EXPECT_EQ(expected, p.s.conflict_);
    expected.push_back(Ints{0, 12, 21, 32, 41}[static_cast<std::size_t>(var)]);
    EXPECT_EQ("", p.s.check_rows());
    return true;
  };
  EXPECT_FALSE(p.check());
  EXPECT_EQ(5u, expected.size());
}

TEST(AddToConflict, RefusedForSomeLeavesTheProofWhole) {
  PinnedRow p(true);
  p.judged = false;
  EXPECT_TRUE(p.push(52));
  p.s.on_add = [](int var, Values&) { return var % 2 == 0; };
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{52, 22, 42}), p.solver.conflict_);
  test::ProofCensus census;
  census.hold_roots(p.solver);
  EXPECT_EQ(4u + 5u, census.size()) << "four combinations of five leaves";
  EXPECT_EQ("", census.offence());
}

TEST(AddToConflict, RefusedForAllLeavesTheViolatedBound) {
  PinnedRow p;
  p.judged = false;
  p.s.on_add = [](int, Values&) { return false; };
  EXPECT_TRUE(p.push(51));
  EXPECT_FALSE(p.check());
  EXPECT_EQ((Ints{51}), p.solver.conflict_);
  p.pop();
  p.s.on_add = nullptr;
  EXPECT_TRUE(p.check());
}

// ---- set_delta_value ----

TEST(DeltaValue, IsAskedWhileTheSeparatingBoundsAreInForce) {
  Hooked p;
  p.bounds("c1: x1 >= 0; c2: x1 <= 1/3; c3: x1 != 0; c4: x2 > 5");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4}));
  EXPECT_TRUE(p.check());
  p.s.take_calls();
  p.s.on_delta = [&](QNumber& delta) {
    EXPECT_EQ("1/3", delta.to_str()) << "x1 = delta must not exceed 1/3";
    EXPECT_EQ(4u, p.levels(1));
    EXPECT_EQ("0+1*delta", p.lower(1));
    EXPECT_TRUE(p.s.model_values_.empty());
    delta = rational("1/8");
  };
  p.solver.build_model({});
  EXPECT_EQ((Calls{"delta 1/3"}), p.s.calls);
  EXPECT_EQ(3u, p.levels(1));
  p.expect_model_fits();
  QNumber value;
  EXPECT_TRUE(p.solver.get_value(1, &value));
  EXPECT_EQ("1/8", value.to_str());
  EXPECT_TRUE(p.solver.get_value(2, &value));
  EXPECT_EQ("41/8", value.to_str());
}

TEST(DeltaValue, IsNotAskedForOutsideOfModels) {
  Hooked p;
  p.bounds("c1: x1 > 0; c2: x1 != 1");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(p.check());
  p.s.take_calls();
  p.solver.adjust_model_for_disequalities();
  EXPECT_EQ(Calls{}, p.s.calls);
}

TEST(DeltaValue, ThatCannotSeparateEndsInTheExceptionOfTheModel) {
  Hooked p;
  p.bounds("c1: x1 > 1; c2: x2 >= 1; c3: x3 != 0");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  p.s.on_delta = [](QNumber& delta) { delta = QNumber(0); };
  EXPECT_THROW(p.solver.build_model({}), Exception);
  p.expect_invariants("after the exception");
  p.s.on_delta = nullptr;
  p.solver.build_model({});
  p.expect_model_fits();
}

// ---- exceptions out of them ----

// Asserts, decides, explains, builds a model: everything that asks a hook. Each step is repeated after an exception, as
// an owner would; the judge of the fixture looks at every answer.
class Scenario {
 public:
  explicit Scenario(int throw_at) : p_(true) {
    p_.solver.propagation_level_ = 2;
    p_.rows("x4 = x1 + x2; x5 = x1 - x3; x6 = x4 + x5");
    p_.bounds("c1: x1 >= 1; c2: x2 >= 2; c3: x4 <= 3; c4: x5 >= 0; c5: x6 != 3; c6: x4 != 3; c7: x3 <= 1; c8: x3 < 0");
    p_.bounds("c9: x5 <= 0; c10: x4 <= 2; c11: x5 != 7; c12: x6 <= 50");
    p_.s.throw_at = throw_at;
  }

  // Gives the number of calls; `interrupted` becomes true when one of them threw.
  int run(bool* interrupted) {
    check({1, 2, 4, 7}, true);
    model();
    check({5, 11}, true);
    model();
    check({3}, true);
    check({6}, false);
    p_.pop();
    check({10}, false);
    p_.pop(2);
    check({9, 12}, true);
    model();
    check({8}, false);
    p_.pop(static_cast<int>(p_.asserted().size()));
    check({}, true);
    *interrupted = interrupted_;
    return static_cast<int>(p_.s.calls.size());
  }

 private:
  void check(const Ints& constraints, bool expected) {
    bool pushed = true;
    for (int c : constraints) pushed = p_.push(c) && pushed;
    bool result = !expected;
    repeatedly([&] { result = p_.check(); });
    EXPECT_EQ(expected, result && pushed);
  }
  void model() {
    repeatedly([&] {
      EXPECT_TRUE(p_.check());
      p_.solver.build_model({equation("0 = x1 - x2"), equation("0 = x5 - 1")});
    });
    p_.expect_model_fits();
  }
  template <class Step>
  void repeatedly(const Step& step) {
    for (bool done = false; !done;) {
      const auto levels = levels_of_all();
      try {
        step();
        done = true;
      } catch (int) {
        interrupted_ = true;
        p_.expect_invariants("after the exception");
        EXPECT_EQ("", test::proof_offence(p_.solver));
        EXPECT_EQ(levels, levels_of_all()) << "a temporary bound was left behind";
        EXPECT_EQ(2, p_.solver.propagation_level_);
      }
    }
    EXPECT_EQ("", test::proof_offence(p_.solver));
  }
  std::vector<std::size_t> levels_of_all() const {
    std::vector<std::size_t> result;
    for (int v = 1; v <= 6; ++v) result.push_back(p_.levels(v));
    return result;
  }

  Hooked p_;
  bool interrupted_ = false;
};

TEST(HookExceptions, LeaveTheSolverUsableWhicheverCallThrows) {
  bool interrupted = false;
  const int calls = Scenario(0).run(&interrupted);
  EXPECT_FALSE(interrupted);
  EXPECT_LT(20, calls);
  for (int at = 1; at <= calls; ++at) {
    SCOPED_TRACE(testing::Message() << "call " << at << " throws");
    Scenario(at).run(&interrupted);
    EXPECT_TRUE(interrupted);
    if (testing::Test::HasFailure()) return;
  }
}

// As above, but the owner gives the step up and pops instead of trying again.
TEST(HookExceptions, LeaveTheSolverFitForAPop) {
  for (int at = 1; at < 30; ++at) {
    SCOPED_TRACE(testing::Message() << "call " << at << " throws");
    Hooked p(true);
    tell_fixed_row(&p);
    EXPECT_TRUE(p.push_all({6, 1, 2, 3, 4, 5}));
    p.s.throw_at = at;
    try {
      EXPECT_FALSE(p.check());
      EXPECT_EQ(7, at) << "six calls in all";
      return;
    } catch (int) {
    }
    EXPECT_EQ("", test::proof_offence(p.solver));
    p.pop();
    p.s.throw_at = 0;
    EXPECT_TRUE(p.check());
    p.solver.build_model({});
    p.expect_model_fits();
    EXPECT_TRUE(p.push(5));
    EXPECT_FALSE(p.check());
    EXPECT_EQ((std::set<int>{1, 2, 3, 4, 5}), p.conflict_set());
  }
}

// ---- the base versions ----

// Two solvers go through the same random steps, one of them with hooks that leave everything to the base.
class TwinWalk : public testing::TestWithParam<unsigned> {
 protected:
  void SetUp() override {
    const bool proofs = draw(2) == 0;
    plain_ = std::make_unique<Solver>(proofs, 0);
    hooked_ = std::make_unique<HookedSolver>(proofs);
    const int level = draw(3);
    both([&](Solver& s) { s.propagation_level_ = level; });
    int index = 100;
    for (const char* row : {"x5 = x1 + x2", "x6 = x1 - 2*x3", "x7 = x2 + x3 - 1/2*x4"}) {
      ++index;
      both([&](Solver& s) { s.tell_equation(index, equation(row)); });
    }
    for (int c = 1; c <= kBounds; ++c) {
      const int var = 1 + draw(7);
      const int kind = 1 + draw(4);
      const DNumber bound(QNumber(draw(5) - 2), QNumber(kind == 2 || kind == 4 ? 0 : draw(3) - 1));
      both([&](Solver& s) { s.do_tell_bound(c, var, bound, kind); });
    }
  }
  int draw(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }
  template <class Step>
  void both(const Step& step) {
    step(*plain_);
    step(*hooked_);
  }
  void step() {
    const int kind = draw(8);
    const int c = 1 + draw(kBounds);
    const Ints stack = plain_->get_constraints_on_stack();
    if (kind < 4 && std::find(stack.begin(), stack.end(), c) == stack.end()) {
      EXPECT_EQ(plain_->push_constraint(c), hooked_->push_constraint(c));
    } else if (kind == 4 && !stack.empty()) {
      EXPECT_EQ(plain_->pop_constraint(), hooked_->pop_constraint());
    } else if (kind >= 5) {
      const bool ok = plain_->check(kind == 5);
      EXPECT_EQ(ok, hooked_->check(kind == 5));
      if (ok && kind == 7) both([&](Solver& s) { s.build_model({equation("0 = x1 - x2")}); });
      if (!ok) both([&](Solver& s) { s.pop_constraint(); });
    }
  }

  static constexpr int kBounds = 24;
  std::mt19937 random_{GetParam()};
  std::unique_ptr<Solver> plain_;
  std::unique_ptr<HookedSolver> hooked_;
};

TEST_P(TwinWalk, BaseVersionsChangeNothing) {
  for (int i = 0; i < 60; ++i) {
    step();
    ASSERT_EQ(test::state_text(*plain_), test::state_text(*hooked_)) << "seed " << GetParam() << ", step " << i;
  }
  EXPECT_FALSE(hooked_->calls.empty());
}

INSTANTIATE_TEST_SUITE_P(Seeds, TwinWalk, testing::Range(1u, 41u));

}  // namespace
}  // namespace tarku::la

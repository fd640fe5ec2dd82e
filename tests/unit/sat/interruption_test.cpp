// Exceptions from callbacks of the SAT solver: they reach the caller of solve, and the solver is as good as before.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <new>
#include <string>

#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"
#include "tarku/sat/proof_listener.h"
#include "tarku/sat/solver.h"
#include "tests/unit/sat/cardinality_theory.h"
#include "tests/unit/sat/session.h"
#include "tests/unit/support/failing_new.h"

namespace tarku::sat {
namespace {

using test::Blown;
using test::CardinalityTheory;
using test::Dice;
using test::FailingNew;
using test::Group;
using test::RupChecker;
using test::Session;

// Every answer after an interruption is compared with the oracle's, and proofs go on being checked.
TEST(SatInterruption, AnyCallbackMayThrow) {
  std::map<std::string, int> interrupted;
  for (int seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    Session session(dice, /*interruptions=*/70);
    for (int step = 0; step < 6 && !HasFailure(); ++step) session.step();
    if (HasFailure()) return;
    for (const auto& [callback, number] : session.interrupted) interrupted[callback] += number;
  }
  for (const char* callback :
       {"new_level", "assign", "backtrack", "propagate", "explain", "next_clause", "decide", "check_model"}) {
    EXPECT_GT(interrupted[callback], 20) << callback;
  }
}

// ---- listeners ----

// Throws at the call with the given number, and must not be called after that.
class FailingListener : public ProofListener {
 public:
  explicit FailingListener(int calls) : left(calls) {}
  void add_input(ClauseId, const Clause&) override { count(); }
  void add_theory(ClauseId, const Clause&) override { count(); }
  void add_derived(ClauseId, const Clause&, const std::vector<ClauseId>&) override { count(); }
  void remove(ClauseId) override { count(); }
  void conclude(const std::vector<ClauseId>&) override { count(); }
  void count() {
    EXPECT_GE(left, 0);
    if (left-- == 0) throw Blown();
  }
  int left;
};

// Whichever call it comes from, the exception leaves a solver that is right.
TEST(SatInterruption, ListenersMayThrow) {
  int num_thrown = 0;
  for (int calls = 0; calls < 400; calls += 1 + calls / 20) {
    FailingListener listener(calls);
    Options options;
    options.proof = &listener;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    const auto guarded = [&](auto call) {
      try {
        call();
      } catch (const Blown&) {
        ++num_thrown;
      }
    };
    for (int i = 0; i < 20; ++i) solver->new_variable();
    for (int p = 0; p < 5; ++p) {  // five pigeons in four holes
      Clause some;
      for (int h = 1; h <= 4; ++h) some.push_back(p * 4 + h);
      guarded([&] { solver->add_clause(some); });
      for (int q = 0; q < p; ++q) {
        for (int h = 1; h <= 4; ++h) guarded([&] { solver->add_clause({-(p * 4 + h), -(q * 4 + h)}); });
      }
    }
    guarded([&] { solver->solve(); });
    EXPECT_EQ(solver->solve(), Answer::unsat);
  }
  EXPECT_GT(num_thrown, 30);
}

// ---- memory ----

// Wherever memory runs out, within callbacks or between them: the exception comes out, and the solver either answers
// as if nothing had been or says that it is lost.
TEST(SatInterruption, MemoryMayRunOut) {
  if (!FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours here";
  int num_failed = 0, num_lost = 0;
  for (int successes = 0; successes < 700; successes += 1 + successes / 50) {
    SCOPED_TRACE("after " + std::to_string(successes) + " allocations");
    Dice dice(7);
    RupChecker checker;
    Options options;
    options.proof = &checker;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    CardinalityTheory theory(*solver, /*eager=*/true);
    solver->connect(theory);
    Group group;
    for (int i = 0; i < 12; ++i) group.literals.push_back(theory.new_variable());
    group.most = 4;
    theory.add_group(group);
    for (int i = 0; i < 3; ++i) solver->add_clause({3 * i + 1, 3 * i + 2, 3 * i + 3});
    solver->add_clause({10, 11, 12});
    theory.set_inside(true);
    bool failed = false;
    try {
      const FailingNew failing(successes);
      solver->add_clause({-theory.new_variable(), 1, 2});
      solver->solve();
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    num_failed += failed;
    try {
      EXPECT_EQ(solver->solve(), Answer::sat);
    } catch (const Exception& e) {
      EXPECT_TRUE(failed);
      EXPECT_STREQ(e.what(), "sat::Solver::solve: the solver was lost to an exception");
      EXPECT_THROW(solver->add_clause({1}), Exception);
      EXPECT_THROW(solver->new_observed_variable(), Exception);
      ++num_lost;
    }
  }
  EXPECT_GT(num_failed, 10);
  EXPECT_LT(num_lost, num_failed);
}

}  // namespace
}  // namespace tarku::sat

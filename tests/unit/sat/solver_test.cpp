// The SAT solver without a theory: verdicts, models and cores against brute force, through many incremental uses.
#include "tarku/sat/solver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"
#include "tarku/termination_test.h"
#include "tests/unit/sat/oracle.h"
#include "tests/unit/sat/rup_checker.h"

namespace tarku::sat {
namespace {

using test::Bits;
using test::Dice;
using test::Problem;
using test::RupChecker;

// A solver and the oracle side by side.
class Pair {
 public:
  explicit Pair(const Options& options = {}) : solver(make_cadical(options)) {}

  void add_variables(int number) {
    for (int i = 0; i < number; ++i) EXPECT_EQ(solver->new_variable(), ++problem.num_variables);
  }
  void add(const Clause& clause) {
    problem.clauses.push_back(clause);
    solver->add_clause(clause);
  }

  Answer check(const std::vector<Literal>& assumptions = {}) {
    for (const Literal literal : assumptions) solver->assume(literal);
    const Answer answer = solver->solve();
    const bool has_model = problem.find_model(assumptions).has_value();
    EXPECT_EQ(answer, has_model ? Answer::sat : Answer::unsat);
    if (answer == Answer::sat) check_model(assumptions);
    if (answer == Answer::unsat && !has_model) check_core(assumptions);
    return answer;
  }

  const std::unique_ptr<Solver> solver;
  Problem problem;

 private:
  void check_model(const std::vector<Literal>& assumptions) {
    Bits bits = 0;
    for (Variable v = 1; v <= problem.num_variables; ++v) {
      EXPECT_NE(solver->value(v), solver->value(-v));
      if (solver->value(v)) bits |= Bits{1} << (v - 1);
    }
    EXPECT_TRUE(problem.is_model(bits));
    for (const Literal literal : assumptions) EXPECT_TRUE(solver->value(literal));
  }

  // The failed assumptions are contradictory by themselves; nothing else fails.
  void check_core(const std::vector<Literal>& assumptions) {
    std::vector<Literal> core;
    for (Variable v = 1; v <= problem.num_variables; ++v) {
      for (const Literal literal : {v, -v}) {
        const bool assumed = std::find(assumptions.begin(), assumptions.end(), literal) != assumptions.end();
        if (assumed && solver->failed(literal)) core.push_back(literal);
      }
    }
    EXPECT_FALSE(problem.find_model(core).has_value());
  }
};

TEST(SatSolver, DecidesSmallRandomFormulas) {
  int num_sat = 0;
  for (int seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    Pair pair;
    pair.add_variables(dice.between(1, 9));
    const int n = pair.problem.num_variables;
    const int num_clauses = dice.between(0, 5 * n);
    for (int i = 0; i < num_clauses; ++i) pair.add(dice.clause(n, dice.chance(5) ? dice.below(3) : dice.between(2, 4)));
    num_sat += pair.check() == Answer::sat;
    if (HasFailure()) return;
  }
  EXPECT_GT(num_sat, 500);
  EXPECT_LT(num_sat, 2500);
}

// Clauses, variables, assumptions, phases and rounds of simplification in between, with and without proofs. Elimination
// between the steps makes the solver bring clauses back.
TEST(SatSolver, StaysRightThroughIncrementalUse) {
  int num_sat = 0, num_unsat = 0;
  std::size_t num_derived = 0, num_removed = 0;
  for (int seed = 0; seed < 1500; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    RupChecker checker;
    Options options;
    if (dice.chance(60)) options.proof = &checker;
    options.inprocessing = dice.chance(80);
    options.seed = seed;
    if (dice.chance(30)) options.settings = {{"elimint", 1}, {"probeint", 1}, {"subsumeint", 1}, {"reduceint", 10}};
    Pair pair(options);
    pair.add_variables(dice.between(3, 6));
    for (int step = 0; step < 8 && !HasFailure(); ++step) {
      checker.start_query();
      if (dice.chance(40) && pair.problem.num_variables < 11) pair.add_variables(dice.between(1, 2));
      const int n = pair.problem.num_variables;
      for (int i = dice.below(n + 2); i > 0; --i) pair.add(dice.clause(n, dice.between(1, 4)));
      if (dice.chance(20)) pair.solver->set_phase(dice.literal(n));
      if (dice.chance(10)) pair.solver->clear_phase(dice.between(1, n));
      if (dice.chance(40) && pair.solver->simplify(dice.below(4)) == Answer::unsat) {
        EXPECT_FALSE(pair.problem.find_model().has_value());
      }
      std::vector<Literal> assumptions;
      for (int i = dice.below(4); i > 0; --i) assumptions.push_back(dice.literal(n));
      const Answer answer = pair.check(assumptions);
      ++(answer == Answer::sat ? num_sat : num_unsat);
      for (Variable v = 1; v <= n; ++v) {
        for (const Literal literal : {v, -v}) {
          EXPECT_FALSE(pair.solver->is_fixed(literal) && pair.problem.find_model({-literal}).has_value());
        }
      }
      if (options.proof == nullptr) continue;
      EXPECT_EQ(checker.offence(), "");
      EXPECT_EQ(checker.inputs(), pair.problem.clauses);
      EXPECT_EQ(checker.concludes(assumptions), answer == Answer::unsat);
    }
    num_derived += checker.num_derived();
    num_removed += checker.num_removed();
    if (HasFailure()) return;
  }
  EXPECT_GT(num_sat, 1000);
  EXPECT_GT(num_unsat, 1000);
  EXPECT_GT(num_derived, 1000u);
  EXPECT_GT(num_removed, 1000u);
}

// Levels as an owner makes them: each has an activation variable, and a pop gives it up for good.
TEST(SatSolver, ActivationVariablesTakeClausesBack) {
  for (int seed = 0; seed < 300 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    const std::unique_ptr<Solver> solver = make_cadical();
    const int n = 5;
    for (int i = 0; i < n; ++i) solver->new_variable();
    struct Level {
      Variable activation;
      std::vector<Clause> clauses;
    };
    std::vector<Level> levels;
    for (int step = 0; step < 25; ++step) {
      if (dice.chance(50)) {
        Level level{solver->new_variable(), {}};
        for (int i = 0; i < 4; ++i) {
          level.clauses.push_back(dice.clause(n, dice.between(1, 3)));
          Clause guarded = level.clauses.back();
          guarded.push_back(-level.activation);
          solver->add_clause(guarded);
        }
        levels.push_back(level);
      } else if (!levels.empty()) {
        solver->add_clause({-levels.back().activation});
        levels.pop_back();
      }
      Problem problem{n, {}, [](Bits) { return true; }};
      for (const Level& level : levels) {
        solver->assume(level.activation);
        problem.clauses.insert(problem.clauses.end(), level.clauses.begin(), level.clauses.end());
      }
      EXPECT_EQ(solver->solve() == Answer::sat, problem.find_model().has_value());
    }
  }
}

// n + 1 pigeons in n holes.
void add_pigeons(Solver& solver, int holes) {
  std::vector<std::vector<Variable>> sits(static_cast<std::size_t>(holes) + 1);
  for (auto& row : sits) {
    for (int h = 0; h < holes; ++h) row.push_back(solver.new_variable());
    solver.add_clause(row);
  }
  for (std::size_t p = 0; p < sits.size(); ++p) {
    for (std::size_t q = 0; q < p; ++q) {
      for (std::size_t h = 0; h < static_cast<std::size_t>(holes); ++h) solver.add_clause({-sits[p][h], -sits[q][h]});
    }
  }
}

// Long enough for restarts, reductions and all kinds of inprocessing; every step of the proof is checked.
TEST(SatSolver, ProvesPigeonHolesAndRandomFormulas) {
  {
    RupChecker checker;
    Options options;
    options.proof = &checker;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    add_pigeons(*solver, 7);
    EXPECT_EQ(solver->solve(), Answer::unsat);
    EXPECT_EQ(checker.offence(), "");
    EXPECT_TRUE(checker.concludes({}));
    EXPECT_GT(solver->statistics().learned, 500u);
  }
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    Dice dice(seed);
    RupChecker checker;
    Options options;
    options.proof = &checker;
    options.settings = {{"elimint", 10}, {"probeint", 10}, {"subsumeint", 10}, {"reduceint", 10}};
    const std::unique_ptr<Solver> solver = make_cadical(options);
    std::vector<Clause> clauses;
    const int n = 120;
    for (int i = 0; i < n; ++i) solver->new_variable();
    for (int i = 0; i < 4 * n; ++i) clauses.push_back(dice.clause(n, 3));
    for (const Clause& clause : clauses) solver->add_clause(clause);
    Answer answer = Answer::sat;
    for (int round = 0; answer == Answer::sat; ++round) {
      ASSERT_LT(round, 1000);
      answer = solver->solve();
      EXPECT_EQ(checker.offence(), "");
      if (answer == Answer::unsat) break;
      for (const Clause& clause : clauses) {
        EXPECT_TRUE(std::any_of(clause.begin(), clause.end(), [&](Literal l) { return solver->value(l); }));
      }
      Clause blocking;  // excludes this model, then and again, until there is none
      for (Variable v = 1; v <= 10; ++v) blocking.push_back(solver->value(v) ? -v : v);
      clauses.push_back(blocking);
      solver->add_clause(blocking);
    }
    EXPECT_EQ(answer, Answer::unsat);
    EXPECT_TRUE(checker.concludes({}));
  }
}

TEST(SatSolver, PhasesGuideFreeDecisions) {
  Options options;
  options.settings = {{"lucky", 0}};  // it may find a model without any decision
  const std::unique_ptr<Solver> solver = make_cadical(options);
  const Variable a = solver->new_variable();
  const Variable b = solver->new_variable();
  const Variable c = solver->new_variable();
  solver->add_clause({a, b, c});
  solver->add_clause({-a, -b, -c});
  for (const std::vector<Literal>& wanted : std::vector<std::vector<Literal>>{{a, -b, -c}, {-a, b, c}, {a, b, -c}}) {
    for (const Literal literal : wanted) solver->set_phase(literal);
    ASSERT_EQ(solver->solve(), Answer::sat);
    for (const Literal literal : wanted) EXPECT_TRUE(solver->value(literal));
  }
}

TEST(SatSolver, VariablesWithoutClausesHaveAValue) {
  const std::unique_ptr<Solver> solver = make_cadical();
  const Variable a = solver->new_variable();
  const Variable b = solver->new_variable();
  EXPECT_EQ(solver->num_variables(), 2);
  EXPECT_FALSE(solver->is_observed(a));
  ASSERT_EQ(solver->solve(), Answer::sat);
  EXPECT_NE(solver->value(a), solver->value(-a));
  EXPECT_NE(solver->value(b), solver->value(-b));
}

TEST(SatSolver, OppositeAssumptionsFail) {
  for (const bool with_proof : {false, true}) {
    RupChecker checker;
    Options options;
    if (with_proof) options.proof = &checker;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    const Variable a = solver->new_variable();
    const Variable b = solver->new_variable();
    for (const Literal literal : {b, -a, a}) solver->assume(literal);
    EXPECT_EQ(solver->solve(), Answer::unsat);
    EXPECT_TRUE(solver->failed(a));
    EXPECT_TRUE(solver->failed(-a));
    EXPECT_FALSE(solver->failed(b));
    EXPECT_EQ(checker.offence(), "");
    EXPECT_EQ(checker.concludes({a, -a}), with_proof);
    EXPECT_EQ(solver->solve(), Answer::sat);  // they are gone
  }
}

// What was concluded from assumptions is removed with them.
TEST(SatSolver, ConclusionsDoNotPileUp) {
  RupChecker checker;
  Options options;
  options.proof = &checker;
  const std::unique_ptr<Solver> solver = make_cadical(options);
  for (int i = 0; i < 4; ++i) solver->new_variable();
  solver->add_clause({1, 2, 3});
  solver->add_clause({1, 2, -3});
  for (int i = 0; i < 100; ++i) {
    for (const Literal literal : {4, -1, -2}) solver->assume(literal);
    ASSERT_EQ(solver->solve(), Answer::unsat);
    EXPECT_TRUE(checker.concludes({-1, -2}));
  }
  EXPECT_EQ(checker.offence(), "");
  EXPECT_LT(checker.num_kept(), 10u);
}

TEST(SatSolver, LimitsHoldForOneSolve) {
  const std::unique_ptr<Solver> solver = make_cadical();
  add_pigeons(*solver, 7);
  solver->limit_conflicts(10);
  EXPECT_EQ(solver->solve(), Answer::unknown);
  EXPECT_LE(solver->statistics().learned, 200u);
  solver->limit_decisions(5);
  EXPECT_EQ(solver->solve(), Answer::unknown);
  EXPECT_EQ(solver->solve(), Answer::unsat);
  EXPECT_EQ(solver->statistics().solves, 3u);
}

TEST(SatSolver, SimplificationFindsContradictions) {
  Pair pair;
  pair.add_variables(3);
  for (const Clause& clause : {Clause{1, 2}, Clause{1, -2}, Clause{-1, 3}}) pair.add(clause);
  EXPECT_EQ(pair.solver->simplify(2), Answer::unknown);
  pair.add({-1, -3});
  EXPECT_EQ(pair.solver->simplify(2), Answer::unsat);
  EXPECT_FALSE(pair.solver->failed(1));
}

TEST(SatSolver, SimplificationKeepsAssumptions) {
  const std::unique_ptr<Solver> solver = make_cadical();
  const Variable a = solver->new_variable();
  solver->assume(-a);
  solver->simplify(1);
  ASSERT_EQ(solver->solve(), Answer::sat);
  EXPECT_TRUE(solver->value(-a));
}

// ---- termination ----

struct Enough {};

// Throws at the poll with the given number.
class Countdown : public TerminationTest {
 public:
  explicit Countdown(int polls) : left(polls) {}
  void operator()() const override {
    if (--left == 0) throw Enough();
  }
  mutable int left;
};

TEST(SatSolver, TerminationTestEndsTheSearch) {
  const std::unique_ptr<Solver> solver = make_cadical();
  add_pigeons(*solver, 7);
  for (const int polls : {1, 2, 5, 17}) {
    const Countdown countdown(polls);
    solver->set_termination_test(&countdown);
    EXPECT_THROW(solver->solve(), Enough);
    EXPECT_EQ(countdown.left, 0);  // not asked again
    EXPECT_THROW(solver->value(1), Exception);
    EXPECT_THROW(solver->failed(1), Exception);
  }
  solver->set_termination_test(nullptr);
  EXPECT_EQ(solver->solve(), Answer::unsat);
}

TEST(SatSolver, TerminationTestEndsSimplification) {
  const std::unique_ptr<Solver> solver = make_cadical();
  add_pigeons(*solver, 9);
  const Countdown countdown(1);
  solver->set_termination_test(&countdown);
  EXPECT_THROW(solver->simplify(3), Enough);
  solver->set_termination_test(nullptr);
  solver->assume(1);
  EXPECT_EQ(solver->simplify(1), Answer::unknown);
}

// ---- errors ----

TEST(SatSolver, RefusesCallsOutOfOrder) {
  const std::unique_ptr<Solver> solver = make_cadical();
  EXPECT_THROW(solver->new_observed_variable(), Exception);  // who should observe it?
  const Variable a = solver->new_variable();
  EXPECT_THROW(solver->value(a), Exception);
  EXPECT_THROW(solver->failed(a), Exception);
  EXPECT_EQ(solver->solve(), Answer::sat);
  EXPECT_THROW(solver->failed(a), Exception);
  EXPECT_NO_THROW(solver->value(a));
  solver->assume(a);
  EXPECT_THROW(solver->value(a), Exception);
  EXPECT_EQ(solver->solve(), Answer::sat);
  solver->add_clause({a});
  EXPECT_THROW(solver->value(a), Exception);
  solver->add_clause({-a});
  EXPECT_EQ(solver->solve(), Answer::unsat);
  EXPECT_THROW(solver->value(a), Exception);
  EXPECT_FALSE(solver->failed(a));
}

TEST(SatSolver, RefusesUnknownLiterals) {
  const std::unique_ptr<Solver> solver = make_cadical();
  const Variable a = solver->new_variable();
  for (const Literal wrong : {0, 2, -2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_THROW(solver->add_clause({a, wrong}), Exception);
    EXPECT_THROW(solver->assume(wrong), Exception);
    EXPECT_THROW(solver->set_phase(wrong), Exception);
    EXPECT_THROW(solver->is_fixed(wrong), Exception);
    EXPECT_FALSE(solver->is_observed(wrong));
  }
  EXPECT_THROW(solver->clear_phase(2), Exception);
  ASSERT_EQ(solver->solve(), Answer::sat);
  EXPECT_THROW(solver->value(2), Exception);
  solver->add_clause({});
  ASSERT_EQ(solver->solve(), Answer::unsat);
  EXPECT_THROW(solver->failed(0), Exception);
}

TEST(SatSolver, RefusesUnknownSettings) {
  Options options;
  options.settings = {{"no_such_thing", 1}};
  EXPECT_THROW(make_cadical(options), Exception);
}

}  // namespace
}  // namespace tarku::sat

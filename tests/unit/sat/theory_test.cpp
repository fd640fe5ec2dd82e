// The SAT solver with theories: verdicts, models and cores against oracles, the callback protocol, proofs.
#include "tarku/sat/theory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"
#include "tarku/sat/solver.h"
#include "tests/unit/sat/cardinality_theory.h"
#include "tests/unit/sat/session.h"

namespace tarku::sat {
namespace {

using test::CardinalityTheory;
using test::Dice;
using test::Group;
using test::ProtocolTheory;
using test::RupChecker;
using test::Session;

TEST(SatTheory, HiddenKnowledgeIsHonoured) {
  int num_sat = 0, num_unsat = 0, num_reasons = 0, num_conflicts = 0, num_refused = 0;
  for (int seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    Session session(dice);
    for (int step = 0; step < 6 && !HasFailure(); ++step) session.step();
    if (HasFailure()) return;
    num_sat += session.num_sat;
    num_unsat += session.num_unsat;
    num_reasons += session.theory.num_reasons();
    num_conflicts += session.theory.num_conflicts();
    num_refused += session.theory.num_refused();
  }
  EXPECT_GT(num_sat, 2000);
  EXPECT_GT(num_unsat, 2000);
  EXPECT_GT(num_reasons, 1000);
  EXPECT_GT(num_conflicts, 1000);
  EXPECT_GT(num_refused, 500);
}

// ---- searches of thousands of conflicts: a theory of cardinality against the same as clauses ----

// Says by clauses over new variables that at most so many of the group are true: c(i, j) when more than j of the first
// i literals are.
void encode(Solver& solver, const Group& group) {
  std::vector<Variable> before;
  for (const Literal literal : group.literals) {
    std::vector<Variable> counts;
    for (std::size_t j = 0; j <= group.most; ++j) {
      counts.push_back(solver.new_variable());
      if (j < before.size()) solver.add_clause({-before[j], counts[j]});
      if (j == 0) solver.add_clause({-literal, counts[0]});
      if (j > 0 && j - 1 < before.size()) solver.add_clause({-literal, -before[j - 1], counts[j]});
    }
    solver.add_clause({-counts.back()});
    before = counts;
  }
}

struct Puzzle {
  int num_variables;
  std::vector<Group> groups;
  std::vector<Clause> clauses;
};

Puzzle random_puzzle(Dice& dice) {
  Puzzle puzzle{dice.between(70, 90), {}, {}};
  const int n = puzzle.num_variables;
  for (int i = dice.between(3, 8); i > 0; --i) {
    Group group;
    for (Variable v = 1; v <= n; ++v) {
      if (dice.chance(20)) group.literals.push_back(dice.chance(50) ? v : -v);
    }
    group.most = group.literals.size() / 3;
    puzzle.groups.push_back(group);
  }
  for (int i = n * dice.between(25, 37) / 10; i > 0; --i) puzzle.clauses.push_back(dice.clause(n, 3));
  return puzzle;
}

TEST(SatTheory, LongSearchesAgreeWithClauses) {
  int num_sat = 0, num_unsat = 0;
  std::uint64_t num_learned = 0, num_explanations = 0, num_theory_clauses = 0;
  for (int seed = 0; seed < 50 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(static_cast<std::uint64_t>(seed));
    const Puzzle puzzle = random_puzzle(dice);
    RupChecker checker;
    Options options;
    if (dice.chance(70)) options.proof = &checker;
    if (dice.chance(50)) options.settings = {{"elimint", 10}, {"probeint", 10}, {"subsumeint", 10}, {"reduceint", 10}};
    const std::unique_ptr<Solver> solver = make_cadical(options), plain = make_cadical();
    CardinalityTheory theory(*solver, dice.chance(70));
    solver->connect(theory);
    checker.is_theory_clause = [&](const Clause& clause) { return theory.implies(clause); };
    for (int i = 0; i < puzzle.num_variables; ++i) EXPECT_EQ(theory.new_variable(), plain->new_variable());
    for (const Group& group : puzzle.groups) {
      theory.add_group(group);
      encode(*plain, group);
    }
    for (const Clause& clause : puzzle.clauses) {
      solver->add_clause(clause);
      plain->add_clause(clause);
    }
    for (int query = 0; query < 5; ++query) {
      std::vector<Literal> assumptions;
      for (int i = query; i > 0; --i) assumptions.push_back(dice.between(1, 20) * (dice.chance(50) ? 1 : -1));
      for (const Literal literal : assumptions) solver->assume(literal);
      for (const Literal literal : assumptions) plain->assume(literal);
      checker.start_query();
      theory.set_inside(true);
      const Answer answer = solver->solve();
      theory.set_inside(false);
      EXPECT_EQ(theory.offence(), "");
      EXPECT_EQ(checker.offence(), "");
      EXPECT_EQ(answer, plain->solve());
      ++(answer == Answer::sat ? num_sat : num_unsat);
      EXPECT_EQ(checker.concludes(assumptions), options.proof != nullptr && answer == Answer::unsat);
    }
    const Statistics statistics = solver->statistics();
    num_learned += statistics.learned;
    num_explanations += statistics.explanations;
    num_theory_clauses += statistics.theory_clauses;
  }
  EXPECT_GT(num_sat, 50);
  EXPECT_GT(num_unsat, 50);
  EXPECT_GT(num_learned, 5000u);
  EXPECT_GT(num_explanations, 5000u);
  EXPECT_GT(num_theory_clauses, 2000u);
}

// ---- single promises ----

// Accepts everything and does nothing; tests override what they are about.
class IdleTheory : public ProtocolTheory {
 public:
  using ProtocolTheory::ProtocolTheory;
  void explain(Literal, Clause&) override {}
  bool next_clause(Clause&, bool&) override { return false; }
};

// Calls `solve` the way the protocol wants it.
Answer solve(Solver& solver, ProtocolTheory& theory) {
  theory.set_inside(true);
  const Answer answer = solver.solve();
  theory.set_inside(false);
  EXPECT_EQ(theory.offence(), "");
  return answer;
}

TEST(SatTheory, RootLiteralsStayAndAreToldOnce) {
  const std::unique_ptr<Solver> solver = make_cadical();
  IdleTheory theory(*solver);
  solver->connect(theory);
  const Variable a = theory.new_variable(), b = theory.new_variable(), c = theory.new_variable();
  solver->add_clause({a});
  solver->add_clause({-a, -b});
  EXPECT_TRUE(theory.stack().empty());  // told lazily
  EXPECT_EQ(solve(*solver, theory), Answer::sat);
  EXPECT_EQ(theory.value(a), 1);
  EXPECT_EQ(theory.value(b), -1);
  EXPECT_NE(theory.value(c), 0);
  EXPECT_TRUE(solver->is_fixed(a));
  EXPECT_TRUE(solver->is_fixed(-b));
  EXPECT_FALSE(solver->is_fixed(c) || solver->is_fixed(-c));
  theory.set_inside(true);
  solver->unwind();
  theory.set_inside(false);
  EXPECT_EQ(theory.num_levels(), 0);
  EXPECT_EQ(solver->value(a), true);  // the answer is kept
  EXPECT_EQ(theory.value(a), 1);
  EXPECT_EQ(theory.value(b), -1);
  EXPECT_EQ(theory.value(c), 0);
}

// Decides variables in their order, as false, and remembers in which order they came.
class Decider : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  Literal decide() override {
    for (const Variable v : observed()) {
      if (value(v) == 0) return -v;
    }
    return 0;
  }
};

TEST(SatTheory, DecisionsAreTheTheorys) {
  const std::unique_ptr<Solver> solver = make_cadical();
  Decider theory(*solver);
  solver->connect(theory);
  std::vector<Literal> expected;
  for (int i = 0; i < 10; ++i) expected.push_back(-theory.new_variable());
  expected[9] = 10;
  solver->add_clause({expected.begin(), expected.end() - 1});  // some of the first nine is false
  solver->add_clause({9, 10});                                 // so the last one follows
  EXPECT_EQ(solve(*solver, theory), Answer::sat);
  EXPECT_EQ(theory.stack(), expected);
  EXPECT_EQ(theory.num_levels(), 9);
}

// Makes new variables in the middle of the search, and ties them to the one that it was asked about.
class Maker : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  Literal propagate() override {
    if (made == 0 && num_levels() > 0 && !stack().empty()) {
      made = new_variable();
      root = stack().front();
    }
    return 0;
  }
  bool next_clause(Clause& clause, bool&) override {
    if (made == 0 || told == 2) return false;
    clause = told == 0 ? Clause{-root, made} : Clause{root, -made};
    ++told;
    return true;
  }
  Variable made = 0;
  Literal root = 0;
  int told = 0;
};

TEST(SatTheory, NewVariablesDuringTheSearch) {
  for (const bool with_proof : {false, true}) {
    RupChecker checker;
    checker.is_theory_clause = [](const Clause&) { return true; };
    Options options;
    if (with_proof) options.proof = &checker;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    Maker theory(*solver);
    solver->connect(theory);
    const Variable a = theory.new_variable(), b = solver->new_variable();
    solver->add_clause({a, b});
    EXPECT_EQ(solve(*solver, theory), Answer::sat);
    ASSERT_EQ(theory.made, 3);
    EXPECT_EQ(solver->num_variables(), 3);
    EXPECT_TRUE(solver->is_observed(3));
    EXPECT_EQ(solver->value(theory.root), solver->value(3));
    solver->assume(theory.root);
    solver->assume(-3);
    EXPECT_EQ(solve(*solver, theory), Answer::unsat);
    EXPECT_EQ(checker.offence(), "");
    EXPECT_EQ(checker.num_theory(), with_proof ? 2u : 0u);
  }
}

// Gives a list of clauses, as many as are wanted at a time.
class Teller : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  bool next_clause(Clause& clause, bool& forgettable) override {
    if (clauses.empty()) return false;
    forgettable = clauses.size() % 2 == 0;
    clause = clauses.back();
    clauses.pop_back();
    return true;
  }
  std::vector<Clause> clauses;
};

// Units, repetitions, tautologies, clauses that are true or false already, at one go and before any decision.
TEST(SatTheory, AnyClauseMayBeTold) {
  for (const bool with_proof : {false, true}) {
    RupChecker checker;
    checker.is_theory_clause = [](const Clause&) { return true; };
    Options options;
    if (with_proof) options.proof = &checker;
    const std::unique_ptr<Solver> solver = make_cadical(options);
    Teller theory(*solver);
    solver->connect(theory);
    const Variable a = theory.new_variable(), b = theory.new_variable(), c = theory.new_variable();
    theory.clauses = {{c, a}, {-b, c}, {a, -a}, {-a, -b, -b}, {b, b, b}, {b, -a}};
    EXPECT_EQ(solve(*solver, theory), Answer::sat);
    EXPECT_TRUE(solver->value(b));
    EXPECT_FALSE(solver->value(a));
    EXPECT_TRUE(solver->value(c));
    theory.clauses = {{-c}};
    EXPECT_EQ(solve(*solver, theory), Answer::unsat);
    EXPECT_EQ(checker.offence(), "");
    EXPECT_EQ(checker.concludes({}), with_proof);
    theory.clauses.clear();
    EXPECT_EQ(solve(*solver, theory), Answer::unsat);  // for good
  }
}

TEST(SatTheory, TheEmptyClauseEndsEverything) {
  const std::unique_ptr<Solver> solver = make_cadical();
  Teller theory(*solver);
  solver->connect(theory);
  theory.new_variable();
  theory.clauses = {{}};
  EXPECT_EQ(solve(*solver, theory), Answer::unsat);
  EXPECT_EQ(solve(*solver, theory), Answer::unsat);
}

// ---- errors of theories: told by an exception, and without harm ----

class Blunderer : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  Literal propagate() override { return std::exchange(to_propagate, 0); }
  void explain(Literal, Clause& reason) override {
    if (wants_variable) new_variable();
    reason = bad_reason;
  }
  bool next_clause(Clause& clause, bool&) override {
    clause = std::exchange(to_tell, {});
    return !clause.empty();
  }
  Literal decide() override { return std::exchange(to_decide, 0); }
  bool check_model() override {
    ProtocolTheory::check_model();
    return !std::exchange(refuses, false);
  }
  Literal to_propagate = 0;
  Clause bad_reason;
  Clause to_tell;
  Literal to_decide = 0;
  bool refuses = false;
  bool wants_variable = false;
};

struct Blunders : testing::Test {
  Blunders() {
    solver->connect(theory);
    theory.new_variable();
    theory.new_variable();
    solver->new_variable();  // 3 is not observed
    solver->add_clause({1, 2});
  }

  // The text of the exception; the same search then goes well.
  std::string error() {
    std::string text = "none";
    try {
      theory.set_inside(true);
      solver->solve();
    } catch (const Exception& e) {
      text = e.what();
    }
    theory.to_propagate = 0;
    EXPECT_EQ(solve(*solver, theory), Answer::sat);
    EXPECT_TRUE(solver->value(1) || solver->value(2));
    return text;
  }

  const std::unique_ptr<Solver> solver = make_cadical();
  Blunderer theory{*solver};
};

TEST_F(Blunders, UnobservedLiterals) {
  theory.to_propagate = 3;
  EXPECT_EQ(error(), "Theory::propagate gave 3, which is no literal of an observed variable");
  theory.to_decide = -3;
  EXPECT_EQ(error(), "Theory::decide gave -3, which is no literal of an observed variable");
  theory.to_tell = {1, 4};
  EXPECT_EQ(error(), "Theory::next_clause gave 4, which is no literal of an observed variable");
  theory.to_tell = {0};
  EXPECT_EQ(error(), "Theory::next_clause gave 0, which is no literal of an observed variable");
}

TEST_F(Blunders, RefusalWithoutReason) {
  theory.refuses = true;
  EXPECT_EQ(error(), "Theory::check_model refused a model, and there is no clause that excludes it");
}

TEST_F(Blunders, ReasonsThatAreNone) {
  theory.to_propagate = 1;
  theory.bad_reason = {2};
  EXPECT_EQ(error(), "Theory::explain: in the reason for 1, 2 was not false before");
}

TEST_F(Blunders, ReasonsWithoutTheirLiteral) {
  theory.to_propagate = 1;
  EXPECT_EQ(error(), "Theory::explain: the reason for 1 does not hold it");
}

// Once something is decided it gives 1, which makes 2 false, and then 4, which contradicts the clauses. It blames 2
// for 1.
class Anachronist : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  Literal decide() override { return 3; }
  Literal propagate() override {
    if (value(3) != 1) return 0;
    return value(1) == 0 ? 1 : value(4) == 0 ? 4 : 0;
  }
  void explain(Literal literal, Clause& reason) override {
    EXPECT_TRUE(literal == 4 || value(2) == -1);
    reason = literal == 1 ? Clause{1, 2} : Clause{4, -1};
  }
};

TEST(SatTheory, ReasonsComeFirst) {
  Options options;
  options.inprocessing = false;
  const std::unique_ptr<Solver> solver = make_cadical(options);
  Anachronist theory(*solver);
  solver->connect(theory);
  for (int i = 0; i < 4; ++i) theory.new_variable();
  solver->new_variable();
  for (const Clause& clause : {Clause{-1, -2}, Clause{-1, -4, 5}, Clause{-1, -4, -5}}) solver->add_clause(clause);
  try {
    solve(*solver, theory);
    FAIL() << "the search went well";
  } catch (const Exception& e) {
    EXPECT_STREQ(e.what(), "Theory::explain: in the reason for 1, 2 was not false before");
  }
}

// Says what is known already.
class Parrot : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  Literal propagate() override {
    if (said < stack().size()) return stack()[said++];
    return 0;
  }
  std::size_t said = 0;
};

TEST(SatTheory, TrueLiteralsArePassedOver) {
  const std::unique_ptr<Solver> solver = make_cadical();
  Parrot theory(*solver);
  solver->connect(theory);
  for (int i = 0; i < 5; ++i) theory.new_variable();
  solver->add_clause({1});
  EXPECT_EQ(solve(*solver, theory), Answer::sat);
  EXPECT_EQ(theory.said, 5u);
  EXPECT_EQ(solver->statistics().propagations, 0u);
}

// Explanations are wanted in the middle of an analysis that cannot stand new variables.
TEST_F(Blunders, NewVariablesInAnExplanation) {
  theory.to_propagate = 1;
  theory.wants_variable = true;
  EXPECT_EQ(error(), "sat::Solver::new_observed_variable called back by Theory::explain");
  EXPECT_EQ(solver->num_variables(), 3);
}

TEST_F(Blunders, OneTheoryOnly) {
  EXPECT_THROW(solver->connect(theory), Exception);
}

// Tries the calls that are not for callbacks.
class Caller : public IdleTheory {
 public:
  using IdleTheory::IdleTheory;
  bool check_model() override {
    EXPECT_THROW(solver_.add_clause({1}), Exception);
    EXPECT_THROW(solver_.new_variable(), Exception);
    EXPECT_THROW(solver_.assume(1), Exception);
    EXPECT_THROW(solver_.solve(), Exception);
    EXPECT_THROW(solver_.simplify(1), Exception);
    EXPECT_THROW(solver_.unwind(), Exception);
    EXPECT_THROW(solver_.value(1), Exception);
    EXPECT_THROW(solver_.failed(1), Exception);
    EXPECT_NO_THROW(solver_.set_phase(1));
    EXPECT_THROW(solver_.clear_phase(1), Exception);
    EXPECT_THROW(solver_.limit_conflicts(1), Exception);
    EXPECT_THROW(solver_.limit_decisions(1), Exception);
    EXPECT_THROW(solver_.set_termination_test(nullptr), Exception);
    EXPECT_FALSE(solver_.is_fixed(1));
    EXPECT_EQ(solver_.num_variables(), 1);
    EXPECT_EQ(solver_.statistics().model_checks, 1u);
    called = true;
    return true;
  }
  bool called = false;
};

TEST(SatTheory, CallbacksMayNotChangeTheSolver) {
  const std::unique_ptr<Solver> solver = make_cadical();
  Caller theory(*solver);
  solver->connect(theory);
  theory.new_variable();
  EXPECT_EQ(solve(*solver, theory), Answer::sat);
  EXPECT_TRUE(theory.called);
}

}  // namespace
}  // namespace tarku::sat

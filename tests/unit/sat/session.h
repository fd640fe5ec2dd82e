// A random incremental use of the SAT solver with a theory, each answer compared with the oracle's.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarku/exception.h"
#include "tarku/sat/cadical_solver.h"
#include "tarku/sat/solver.h"
#include "tests/unit/sat/hidden_theory.h"
#include "tests/unit/sat/oracle.h"
#include "tests/unit/sat/rup_checker.h"

namespace tarku::test {

inline Habits random_habits(Dice& dice) {
  Habits habits;
  habits.propagate = dice.chance(70) ? dice.below(101) : 0;
  habits.contradict = dice.chance(30) ? 50 : 0;
  habits.shrink = dice.chance(70) ? dice.below(101) : 0;
  habits.clause = dice.chance(40) ? dice.below(60) : 0;
  habits.forgettable = dice.chance(50) ? dice.below(101) : 0;
  habits.decide = dice.chance(40) ? dice.below(101) : 0;
  habits.early = dice.chance(60) ? dice.below(101) : 0;
  habits.new_variable = dice.chance(30) ? 40 : 0;
  return habits;
}

inline sat::Options random_options(Dice& dice, RupChecker* checker) {
  sat::Options options;
  options.seed = dice.below(1000);
  options.proof = checker;
  options.inprocessing = dice.chance(80);
  if (dice.chance(40)) {
    options.settings = {{"elimint", 1}, {"probeint", 1}, {"subsumeint", 1}, {"reduceint", 10}, {"restartint", 1}};
  }
  if (dice.chance(20)) options.settings.emplace_back("chronoalways", 1);
  return options;
}

// One solver with a theory and the oracle, through some steps of a random incremental use. That many percent of the
// checks are preceded by one in which the theory throws.
class Session {
 public:
  explicit Session(Dice& dice, int interruptions = 0)
      : dice_(dice),
        interruptions_(interruptions),
        with_proof_(dice.chance(60)),
        solver_(sat::make_cadical(random_options(dice, with_proof_ ? &checker_ : nullptr))),
        theory(*solver_, dice, random_habits(dice)) {
    solver_->connect(theory);
    checker_.is_theory_clause = [this](const sat::Clause& clause) { return theory.implies(clause); };
    if (dice.chance(50)) solver_->new_variable();
    theory.observe(dice.between(1, 5), dice.between(5, 80));
    for (int i = dice.below(4); i > 0; --i) solver_->new_variable();
  }

  void step() {
    checker_.start_query();
    if (dice_.chance(30) && solver_->num_variables() < 10) grow();
    const int n = solver_->num_variables();
    for (int i = dice_.below(n); i > 0; --i) add(dice_.clause(n, dice_.between(1, 4)));
    if (dice_.chance(20)) solver_->set_phase(dice_.literal(n));
    if (dice_.chance(30)) simplify();
    std::vector<sat::Literal> assumptions;
    for (int i = dice_.below(3); i > 0; --i) assumptions.push_back(dice_.literal(n));
    if (dice_.chance(interruptions_)) interrupt(assumptions);
    check(assumptions);
    if (dice_.chance(30)) unwind();
  }

  int num_sat = 0;
  int num_unsat = 0;
  std::map<std::string, int> interrupted;  // by callback

 private:
  void grow() {
    if (dice_.chance(50) && theory.observed().size() < 7) {
      theory.extend(dice_.chance(50));
    } else {
      solver_->new_variable();
    }
  }

  void add(const sat::Clause& clause) {
    clauses_.push_back(clause);
    solver_->add_clause(clause);
  }

  Problem problem() const {
    return {solver_->num_variables(), clauses_, [this](Bits bits) { return theory.accepts(bits); }};
  }

  void simplify() {
    theory.set_inside(true);
    if (solver_->simplify(dice_.below(3)) == sat::Answer::unsat) {
      EXPECT_FALSE(problem().find_model().has_value());
    }
    theory.set_inside(false);
  }

  void unwind() {
    theory.set_inside(true);
    solver_->unwind();
    theory.set_inside(false);
    EXPECT_EQ(theory.num_levels(), 0);
  }

  void interrupt(const std::vector<sat::Literal>& assumptions) {
    for (const sat::Literal literal : assumptions) solver_->assume(literal);
    theory.set_fuse(dice_.chance(50) ? dice_.below(10) : dice_.below(60), dice_.chance(50));
    theory.set_inside(true);
    try {
      solver_->solve();
      EXPECT_FALSE(theory.is_blown());
    } catch (const Blown&) {
      ++interrupted[theory.blown_in()];
      EXPECT_THROW(solver_->value(1), Exception);
      EXPECT_THROW(solver_->failed(1), Exception);
    }
    theory.set_inside(false);
    EXPECT_EQ(theory.offence(), "");
    theory.disarm();
    if (dice_.chance(30)) unwind();
  }

  void check(const std::vector<sat::Literal>& assumptions) {
    for (const sat::Literal literal : assumptions) solver_->assume(literal);
    theory.set_inside(true);
    const sat::Answer answer = solver_->solve();
    theory.set_inside(false);
    EXPECT_EQ(theory.offence(), "");
    const bool has_model = problem().find_model(assumptions).has_value();
    EXPECT_EQ(answer, has_model ? sat::Answer::sat : sat::Answer::unsat);
    ++(answer == sat::Answer::sat ? num_sat : num_unsat);
    if (answer == sat::Answer::sat) check_model(assumptions);
    if (answer == sat::Answer::unsat) check_core(assumptions);
    if (!with_proof_) return;
    EXPECT_EQ(checker_.offence(), "");
    EXPECT_EQ(checker_.inputs(), clauses_);
    EXPECT_EQ(checker_.concludes(assumptions), answer == sat::Answer::unsat);
  }

  void check_model(const std::vector<sat::Literal>& assumptions) {
    Bits bits = 0;
    for (sat::Variable v = 1; v <= solver_->num_variables(); ++v) {
      if (solver_->value(v)) bits |= Bits{1} << (v - 1);
      EXPECT_EQ(theory.value(v), !solver_->is_observed(v) ? 0 : solver_->value(v) ? 1 : -1);
    }
    EXPECT_TRUE(problem().is_model(bits));
    for (const sat::Literal literal : assumptions) EXPECT_TRUE(solver_->value(literal));
  }

  void check_core(const std::vector<sat::Literal>& assumptions) {
    std::vector<sat::Literal> core;
    for (const sat::Literal literal : assumptions) {
      if (solver_->failed(literal)) core.push_back(literal);
    }
    EXPECT_FALSE(problem().find_model(core).has_value());
  }

  Dice& dice_;
  const int interruptions_;
  const bool with_proof_;
  RupChecker checker_;
  const std::unique_ptr<sat::Solver> solver_;
  std::vector<sat::Clause> clauses_;

 public:
  HiddenTheory theory;
};

}  // namespace tarku::test

// Solving permanent equalities away: the elimination by itself, and that no answer of the engine shows it.
#include "tarku/smt/presolve.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tarku/smt/engine.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

using Terms = std::vector<la::Equation::VarCoeff>;

std::string text_of(const EqualitySystem::Definition& definition) {
  std::string text = "x" + std::to_string(definition.variable) + " =";
  for (const auto& term : definition.terms) text += " " + term.coeff.to_str() + "*x" + std::to_string(term.var);
  return text + " + " + definition.offset.to_str();
}

TEST(EqualitySystem, DefinesOneVariablePerIndependentEquality) {
  EqualitySystem system(3);
  system.add(Terms{{1, QNumber(1)}, {2, QNumber(1)}}, QNumber(5));
  system.add(Terms{{2, QNumber(2)}, {3, QNumber(1)}}, QNumber(4));
  system.add(Terms{{1, QNumber(2)}, {2, QNumber(2)}}, QNumber(10));  // twice the first
  ASSERT_TRUE(system.solve(nullptr));
  EXPECT_EQ(system.definitions().size(), 2U);
}

TEST(EqualitySystem, AFixedVariableIsItsOffset) {
  EqualitySystem system(1);
  system.add(Terms{{1, QNumber(2)}}, QNumber(3));
  ASSERT_TRUE(system.solve(nullptr));
  ASSERT_EQ(system.definitions().size(), 1U);
  EXPECT_EQ(text_of(system.definitions()[0]), "x1 = + 3/2");
}

TEST(EqualitySystem, NoticesContradictions) {
  EqualitySystem system(2);
  system.add(Terms{{1, QNumber(1)}, {2, QNumber(1)}}, QNumber(5));
  system.add(Terms{{1, QNumber(3)}, {2, QNumber(3)}}, QNumber(14));
  EXPECT_FALSE(system.solve(nullptr));
}

// Random systems with a planted solution: whatever the undefined variables are, the definitions must satisfy every
// equality that was added.
TEST(EqualitySystem, DefinitionsSatisfyEveryEquality) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    const int variables = pick(1, 7);
    std::vector<QNumber> planted(static_cast<std::size_t>(variables) + 1);
    for (QNumber& value : planted) value = QNumber(pick(-4, 4), pick(1, 3));
    EqualitySystem system(variables);
    std::vector<std::pair<Terms, QNumber>> added;
    for (int i = pick(1, 8); i > 0; --i) {
      Terms terms;
      QNumber value;
      for (int v = 1; v <= variables; ++v) {
        const QNumber coeff(pick(-2, 2), pick(1, 2));
        if (coeff.is_zero()) continue;
        terms.push_back({v, coeff});
        value += coeff * planted[static_cast<std::size_t>(v)];
      }
      system.add(terms, value);
      added.emplace_back(terms, value);
    }
    ASSERT_TRUE(system.solve(nullptr)) << "seed " << seed;
    std::vector<QNumber> values(planted.size());
    for (QNumber& value : values) value = QNumber(pick(-9, 9));
    for (const auto& definition : system.definitions()) {
      QNumber value = definition.offset;
      for (const auto& term : definition.terms) value += term.coeff * values[static_cast<std::size_t>(term.var)];
      values[static_cast<std::size_t>(definition.variable)] = value;
    }
    for (const auto& [terms, value] : added) {
      QNumber sum;
      for (const auto& term : terms) sum += term.coeff * values[static_cast<std::size_t>(term.var)];
      EXPECT_EQ(sum, value) << "seed " << seed;
    }
  }
}

class Presolve : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Engine engine{terms};

  int add(std::string_view t) { return engine.assert_term(text(t)); }
  std::string value(std::string_view t) { return engine.real_value(text(t)).to_str(); }
};

TEST_F(Presolve, ValuesComeBackWhenNothingIsLeftToSearch) {
  add("(= x 3)");
  add("(= (+ x y) 1)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(value("x"), "3");
  EXPECT_EQ(value("y"), "-2");
  EXPECT_EQ(value("(+ x (* 2 y))"), "-1");
}

TEST_F(Presolve, BoundsOfDefinedVariablesHold) {
  add("(= (+ x y) 10)");
  add("(= (- x z) 1)");
  add("(>= x 6)");
  add("(>= y 3)");
  add("(> z 5)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_TRUE(engine.bool_value(text("(and (= (+ x y) 10) (= (- x z) 1) (>= x 6) (>= y 3) (> z 5))")));
  add("(> (+ z y) 9)");
  EXPECT_EQ(engine.check(), Answer::unsat);
}

TEST_F(Presolve, LaterAtomsOnSolvedFormsAreRight) {
  add("(= (+ x y) 10)");
  ASSERT_EQ(engine.check(), Answer::sat);
  engine.push();
  add("(<= (+ x y) 9)");
  EXPECT_EQ(engine.check(), Answer::unsat);
  engine.pop();
  engine.push();
  add("(>= (+ (* 2 x) (* 2 y)) 20)");
  add("(= x 4)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(value("y"), "6");
  engine.pop();
  engine.push();
  add("(= (+ x y) 10)");  // the same constraint once more
  add("(= y 11)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(value("x"), "-1");
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::sat);
}

TEST_F(Presolve, EqualitiesOfALevelAreNotSolved) {
  engine.push();
  add("(= x 3)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(value("x"), "3");
  engine.pop();
  add("(= x 4)");
  ASSERT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(value("x"), "4");
}

// Which of the equalities take part is found out, though the search has never seen them.
TEST_F(Presolve, LeavesCoresSharp) {
  add("(= y 7)");
  add("(= x z)");
  add("(= (+ z w) 3)");
  add("(= w 0)");
  add("(= (+ w u) 8)");
  add("(<= x 2)");
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{1, 2, 3, 5}));
}

TEST_F(Presolve, ContradictoryEqualitiesAreACore) {
  add("(= (+ x u) 5)");
  engine.set_check_answers(true);

  add("(>= z 0)");
  add("(= (+ x y) 1)");
  add("(= (+ x y z) 2)");
  add("(= z 2)");
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{2, 3, 4}));
}

TEST_F(Presolve, SwitchedOffItLeavesCoresSharp) {
  engine.set_presolve(false);
  add("(= y 7)");
  add("(= x 3)");
  add("(<= x 2)");
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{1, 2}));
}

// One engine solves equalities away and one does not; the third gives up the first way of searching at its first pivot,
// so that every check starts afresh.
TEST_F(Presolve, AnswersDoNotDependOnTheWayOfSearching) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    TermManager manager;
    Engine usual(manager);
    Engine without(manager);
    without.set_presolve(false);
    Engine afresh(manager);
    afresh.set_first_share(0);
    const std::vector<Engine*> engines = {&usual, &without, &afresh};
    for (Engine* each : engines) each->set_check_answers(true);
    std::vector<Term> symbols;
    for (int i = 0; i < 12; ++i) symbols.push_back(manager.mk_symbol("x" + std::to_string(i), Sort::real));
    std::vector<Term> atoms;
    for (int row = 0; row < 24; ++row) {
      if (row % 5 == 4) {
        for (Engine* each : engines) each->push();
      }
      std::vector<Term> sum;
      for (const Term symbol : symbols) {
        const int c = pick(-9, 9);
        if (pick(0, 1) == 0) sum.push_back(manager.mk(Op::multiply, manager.mk_real(QNumber(c)), symbol));
      }
      sum.push_back(manager.mk_real(QNumber(0)));
      const Op op = row % 6 == 0 ? Op::equal : row % 2 == 0 ? Op::less_equal : Op::greater;
      atoms.push_back(manager.mk(op, manager.mk(Op::add, sum), manager.mk_real(QNumber(pick(-9, 9)))));
      for (Engine* each : engines) each->assert_term(atoms.back());
      const Answer answer = usual.check();
      for (Engine* each : engines) {
        ASSERT_EQ(each->check(), answer) << "seed " << seed << ", row " << row;
        if (answer != Answer::sat) continue;
        for (const Term atom : atoms) ASSERT_TRUE(each->bool_value(atom)) << "seed " << seed << ", row " << row;
      }
      if (answer == Answer::unsat) {
        if (usual.num_levels() == 0) break;
        while (usual.num_levels() > 0) {
          for (Engine* each : engines) each->pop();
        }
        atoms.resize(4);  // the first ones are certainly below the levels
        if (usual.check() == Answer::unsat) break;
      }
    }
  }
}

}  // namespace
}  // namespace tarku::smt

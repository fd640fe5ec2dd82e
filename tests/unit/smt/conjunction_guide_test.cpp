// The guide of conjunctions: programs from constraints, answers in terms of constraints, and the engine that asks it.
#include "tarku/smt/conjunction_guide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tarku/smt/engine.h"
#include "tarku/smt/evaluator.h"
#include "tarku/smt/flatten.h"
#include "tarku/smt/linear.h"
#include "tarku/termination_test.h"
#include "tests/unit/smt/stop_after.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

using Kind = lp::Outcome::Kind;
using Summand = proof::Refutation::Summand;

bool is_installed() {
  return lp::make_proposer(lp::LinearProgram()) != nullptr;
}

// ---- the guide by itself ----

// Puts the arithmetic literals of assertions into the table and judges what comes back.
class ConjunctionGuideTest : public testing::Test, private LiteralSink {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Linearizer linearizer{terms};
  AtomTable atoms;
  std::vector<int> constraints;
  std::vector<Term> asserted;
  Kind kind = Kind::none;
  std::vector<Summand> conflict;

  void SetUp() override {
    if (!is_installed()) GTEST_SKIP() << "no solver is installed";
  }

  void add(std::string_view t) {
    asserted.push_back(text(t));
    flatten(terms, asserted.back(), *this);
  }

  Kind decide() {
    ConjunctionGuide guide(atoms);
    for (const int constraint : constraints) guide.add(constraint);
    kind = guide.decide(nullptr);
    if (kind == Kind::feasible) judge_values(guide.values());
    conflict = guide.conflict();
    if (kind == Kind::infeasible) judge_conflict();
    return kind;
  }

  std::set<int> conflict_constraints() const {
    std::set<int> result;
    for (const Summand& summand : conflict) result.insert(summand.constraint);
    return result;
  }

 private:
  void boolean_literal(Term, bool) override { FAIL() << "a Boolean literal"; }
  void linear_literal(Term, Term left, Relation relation, Term right) override {
    LinearForm form;
    linearizer.subtract(left, right, &form);
    constraints.push_back(atoms.add(&form, relation).constraint);
    ASSERT_NE(constraints.back(), 0);
  }
  void falsity() override { FAIL() << "falsity"; }
  void formula(Term, bool) override { FAIL() << "a formula"; }

  void judge_values(const std::vector<QNumber>& values) {
    ASSERT_GT(values.size(), static_cast<std::size_t>(atoms.num_variables()));
    Evaluator model(
        terms, [&](Term s) { return values[static_cast<std::size_t>(atoms.find_variable(s))]; },
        [](Term) { return false; });
    for (const Term t : asserted) EXPECT_TRUE(model.bool_value(t));
  }

  // Inequalities from below are turned round, so that all read  sum <= value; equalities count as they stand.
  void judge_conflict() {
    std::map<std::uint32_t, QNumber> sum;
    QNumber value;
    bool is_strict = false;
    for (const Summand& summand : conflict) {
      ASSERT_EQ(summand.role, proof::Refutation::Role::as_told);
      EXPECT_NE(std::count(constraints.begin(), constraints.end(), summand.constraint), 0);
      const AtomTable::Bound& bound = atoms.bound_of(summand.constraint);
      ASSERT_NE(bound.relation, Relation::distinct);
      const bool is_lower = bound.relation == Relation::greater || bound.relation == Relation::greater_equal;
      EXPECT_TRUE(bound.relation == Relation::equal || summand.multiplier.is_positive());
      is_strict = is_strict || bound.relation == Relation::greater || bound.relation == Relation::less;
      const QNumber factor = is_lower ? summand.multiplier.neg() : summand.multiplier;
      value.add_mul(factor, bound.value);
      const int row = atoms.row_of(bound.variable);
      if (row < 0) {
        sum[atoms.symbol(bound.variable).id()] += factor;
        continue;
      }
      const AtomTable::Row& slack = atoms.rows()[static_cast<std::size_t>(row)];
      for (std::uint32_t i = 0; i < slack.count; ++i) {
        const Monomial& m = atoms.monomials(slack)[i];
        sum[m.leaf.id()].add_mul(factor, m.coeff);
      }
    }
    for (const auto& [leaf, coeff] : sum) EXPECT_TRUE(coeff.is_zero());
    EXPECT_TRUE(value.is_negative() || (is_strict && value.is_zero()));
  }
};

TEST_F(ConjunctionGuideTest, NothingToDecide) {
  EXPECT_EQ(decide(), Kind::none);
}

TEST_F(ConjunctionGuideTest, SumsAndSymbols) {
  add("(and (>= x 1) (<= (+ x y) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5))");
  EXPECT_EQ(decide(), Kind::feasible);
  add("(< x 2.75)");
  EXPECT_EQ(decide(), Kind::infeasible);
}

TEST_F(ConjunctionGuideTest, OfTwoBoundsTheTighterCounts) {
  for (const char* t : {"(<= x 5)", "(<= x 3)", "(<= x 4)", "(>= y -1)", "(>= y 2)", "(>= y 0)", "(>= z 0)"}) add(t);
  add("(>= (+ z y) (+ x z z))");  // y - x - z >= 0
  EXPECT_EQ(decide(), Kind::feasible);
  add("(>= x 2.5)");
  add("(<= y 2.5)");
  EXPECT_EQ(decide(), Kind::feasible);
  add("(>= (+ x y) 5.5)");
  EXPECT_EQ(decide(), Kind::infeasible);
  const std::set<int> used = conflict_constraints();
  EXPECT_EQ(used.count(constraints[0]) + used.count(constraints[2]), 0u);
}

TEST_F(ConjunctionGuideTest, AStrictBoundIsTighterThanItsValue) {
  for (const bool strict_first : {true, false}) {
    constraints.clear();
    asserted.clear();
    add(strict_first ? "(< (+ x y) 1)" : "(<= (+ x y) 1)");
    add(strict_first ? "(<= (+ x y) 1)" : "(< (+ x y) 1)");
    add(strict_first ? "(> x 1)" : "(>= x 1)");
    add(strict_first ? "(>= x 1)" : "(> x 1)");
    add("(>= y 0)");
    EXPECT_EQ(decide(), Kind::infeasible);
  }
}

// Whichever side an equality takes part from, the sum must come out.
TEST_F(ConjunctionGuideTest, EqualitiesTakePartFromBothSides) {
  add("(= (+ x y) 3)");
  add("(= (- x y) 1)");
  EXPECT_EQ(decide(), Kind::feasible);
  add("(<= x 1.5)");
  EXPECT_EQ(decide(), Kind::infeasible);
  constraints.pop_back();
  asserted.pop_back();
  add("(>= x 2.5)");
  EXPECT_EQ(decide(), Kind::infeasible);
}

TEST_F(ConjunctionGuideTest, EqualitiesThatContradictEachOther) {
  add("(= (+ x y) 3)");
  add("(= (* 2 (+ y x)) 8)");
  EXPECT_EQ(decide(), Kind::infeasible);
}

TEST_F(ConjunctionGuideTest, DisequalitiesAreLookedAtAfterwards) {
  add("(= (+ x y) 3)");
  add("(= (- x y) 1)");
  add("(distinct x 0)");
  add("(distinct (+ x (* 2 y)) 5)");  // a sum that nothing bounds
  EXPECT_EQ(decide(), Kind::feasible);
  add("(distinct (+ x (* 2 y)) 4)");
  EXPECT_EQ(decide(), Kind::none);
  add("(< x 1.5)");
  EXPECT_EQ(decide(), Kind::infeasible);
}

TEST_F(ConjunctionGuideTest, ADisequalityOfNothingElse) {
  add("(distinct x 1)");
  EXPECT_NE(decide(), Kind::infeasible);
  add("(distinct x 0)");
  EXPECT_NE(decide(), Kind::infeasible);
}

TEST_F(ConjunctionGuideTest, SymbolsThatOnlyTheTableKnows) {
  add("(>= (+ u v w) 100)");
  constraints.clear();
  asserted.clear();
  add("(>= (+ x y) 1)");
  EXPECT_EQ(decide(), Kind::feasible);
}

TEST_F(ConjunctionGuideTest, CoefficientsThatNoFloatingPointNumberHolds) {
  const std::string huge(400, '7');
  add("(<= (+ x (* " + huge + " y)) 1)");
  add("(>= x " + huge + ")");
  EXPECT_NE(decide(), Kind::infeasible);
  add("(>= y 1)");
  EXPECT_NE(decide(), Kind::feasible);
}

// ---- rows that differ by little ----

// The sum of v0 .. v(n-1), each with `factor` times a coefficient of its own, and what else is given.
std::string long_sum(int n, int factor, const std::string& more = "") {
  std::string result = "(+";
  for (int i = 0; i < n; ++i) {
    result += " (* " + std::to_string(factor * (2 * (i % 5) - 5)) + " v" + std::to_string(i) + ")";
  }
  return result + more + ")";
}

// A row with many terms, multiples of it with little more, and one that lacks a term of it.
TEST_F(ConjunctionGuideTest, LongRowsAreShared) {
  for (const int n : {15, 16, 40}) {
    SCOPED_TRACE(n);
    constraints.clear();
    asserted.clear();
    add("(>= " + long_sum(n, 1) + " 1)");
    add("(<= " + long_sum(n, 1, " x") + " 3)");
    add("(>= " + long_sum(n, -2, " (* 3 y) (* 5 v3)") + " 4)");
    add("(<= " + long_sum(n - 1, 1, " z") + " 7)");
    add("(= " + long_sum(n, 3, " (* -1 v1) (* 2 x)") + " 5)");
    EXPECT_EQ(decide(), Kind::feasible);
    add("(> x 2)");  // 1 + x <= 3
    EXPECT_EQ(decide(), Kind::infeasible);
    EXPECT_EQ(conflict_constraints(), (std::set<int>{constraints[0], constraints[1], constraints.back()}));
  }
}

// The sum and its negative are one slack; a bound on it from either side has its part.
TEST_F(ConjunctionGuideTest, BoundsOnASharedRowItself) {
  add("(<= " + long_sum(20, 1, " x") + " 3)");
  add("(>= " + long_sum(20, 1, " y") + " 3)");
  add("(= " + long_sum(20, -1) + " 2)");
  EXPECT_EQ(decide(), Kind::feasible);
  add("(< y x)");
  EXPECT_EQ(decide(), Kind::infeasible);
}

// A row that comes later finds those of earlier questions, and takes their answers away.
TEST_F(ConjunctionGuideTest, SharedRowsThatComeLater) {
  for (const std::string& t :
       {"(>= " + long_sum(20, 1) + " 1)", "(<= " + long_sum(20, 1, " x") + " 3)", std::string("(>= x 2)"),
        "(>= " + long_sum(20, 2, " y") + " 9)", std::string("(<= y 6)")}) {
    add(t);
  }
  ConjunctionGuide guide(atoms);
  const auto decide_with = [&](int i) {
    guide.add(constraints[static_cast<std::size_t>(i)]);
    return guide.decide(nullptr);
  };
  EXPECT_EQ(decide_with(0), Kind::feasible);
  guide.mark_permanent();
  EXPECT_EQ(decide_with(1), Kind::feasible);
  EXPECT_EQ(decide_with(2), Kind::feasible);
  EXPECT_EQ(decide_with(3), Kind::feasible);
  EXPECT_EQ(decide_with(4), Kind::infeasible);  // the sum is 1, and twice that and 6 are less than 9
  guide.remove_last();
  EXPECT_EQ(guide.decide(nullptr), Kind::feasible);
}

TEST_F(ConjunctionGuideTest, RandomRowsThatDifferByLittle) {
  std::mt19937 random(7);
  const auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  int num_feasible = 0, num_infeasible = 0;
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    constraints.clear();
    asserted.clear();
    for (int i = 0; i < 20; ++i) add("(<= " + std::to_string(-pick(0, 3)) + " v" + std::to_string(i) + ")");
    for (int i = pick(3, 8); i > 0; --i) {
      std::string more;
      for (int j = pick(0, 3); j > 0; --j) {
        more += " (* " + std::to_string(pick(1, 5)) + " v" + std::to_string(pick(0, 22)) + ")";
      }
      static const char* const relations[] = {">=", "<=", "=", "<"};
      const int factors[] = {1, -1, 2, 3};
      add(std::string("(") + relations[pick(0, 3)] + " " +
          long_sum(pick(0, 3) == 0 ? 19 : 20, factors[pick(0, 3)], more) + " " + std::to_string(pick(-4, 4)) + ")");
    }
    const Kind found = decide();
    num_feasible += found == Kind::feasible ? 1 : 0;
    num_infeasible += found == Kind::infeasible ? 1 : 0;
    Engine engine(terms);
    for (const Term t : asserted) engine.assert_term(t);
    if (found == Kind::none) continue;
    EXPECT_EQ(engine.check() == Answer::sat, found == Kind::feasible);
  }
  EXPECT_GT(num_feasible, 10);
  EXPECT_GT(num_infeasible, 10);
}

// ---- bounds that come and go ----

TEST_F(ConjunctionGuideTest, ConflictsRestOnPermanentBoundsWhereTheyCan) {
  for (const char* t : {"(<= x 2)", "(<= y 2)", "(<= x 1)", "(<= y 1)", "(>= (+ x y) 5)", "(>= (+ x y) 3)"}) add(t);
  ConjunctionGuide guide(atoms);
  const auto constraint = [&](int i) { return constraints[static_cast<std::size_t>(i)]; };
  for (const int each : constraints) guide.foresee(each);
  for (const int i : {0, 1}) guide.add(constraint(i));
  guide.mark_permanent();
  for (const int i : {2, 3, 4}) EXPECT_TRUE(guide.add(constraint(i)));
  const auto look = [&] {
    EXPECT_EQ(guide.look(nullptr), Kind::infeasible);
    std::set<int> result;
    for (const Summand& summand : guide.conflict()) result.insert(summand.constraint);
    return result;
  };
  EXPECT_EQ(look(), (std::set<int>{constraint(0), constraint(1), constraint(4)}));
  guide.remove_last();
  EXPECT_TRUE(guide.add(constraint(5)));
  EXPECT_EQ(look().size(), 3u);  // 2 + 2 is not less than 3, 2 + 1 neither
  EXPECT_EQ(look().count(constraint(0)) + look().count(constraint(1)), 0u);
  guide.forget_permanent();
  guide.remove_last();
  guide.add(constraint(4));
  EXPECT_EQ(look(), (std::set<int>{constraint(2), constraint(3), constraint(4)}));
}

TEST_F(ConjunctionGuideTest, BoundsThatContradictEachOtherAreSeenAtOnce) {
  for (const char* t : {"(<= (+ x y) 1)", "(>= (+ x y) 1)", "(> (+ x y) 1)", "(= (+ x y) 2)"}) add(t);
  ConjunctionGuide guide(atoms);
  EXPECT_TRUE(guide.add(constraints[0]));
  EXPECT_TRUE(guide.add(constraints[1]));
  for (const std::size_t i : {2, 3}) {
    EXPECT_FALSE(guide.add(constraints[i]));
    conflict = guide.conflict();
    EXPECT_EQ(conflict_constraints(), (std::set<int>{constraints[0], constraints[i]}));
    guide.remove_last();
  }
  EXPECT_EQ(guide.decide(nullptr), Kind::feasible);
}

// ---- the engine that asks it ----

class GuidedEngineTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  std::mt19937 random{1};
  int num_guided_sat = 0, num_guided_unsat = 0;

  void SetUp() override {
    if (!is_installed()) GTEST_SKIP() << "no solver is installed";
  }

  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

  static void be_guided(Engine& engine) {
    engine.set_first_share(0);
    engine.set_check_answers(true);
  }

  // The guide answers before anything is pushed.
  static bool was_guided(Engine& engine) { return engine.solver().constraint_stack_.empty(); }

  std::string sum() {
    std::string result = "(+ 0";
    for (int i = pick(1, 4); i > 0; --i) {
      result += " (* " + std::to_string(pick(-3, 3)) + " v" + std::to_string(pick(0, 5)) + ")";
    }
    return result + ")";
  }

  Term literal() {
    static const char* const relations[] = {"<=", "<=", ">=", ">=", ">=", "<=", "=", "<", ">", "distinct"};
    if (pick(0, 14) == 0) return text(pick(0, 1) == 0 ? "p" : "(not q)");
    if (pick(0, 30) == 0) return text(pick(0, 1) == 0 ? "q" : "(not p)");
    const std::string value = std::to_string(pick(-9, 9)) + (pick(0, 3) == 0 ? "/7" : "");
    return text(std::string("(") + relations[pick(0, 9)] + " " + sum() + " " + value + ")");
  }

  Answer answer_without_guide(const std::vector<Term>& formulas) {
    Engine plain(terms);
    for (const Term t : formulas) plain.assert_term(t);
    return plain.check();
  }

  // Checks and compares with an engine that is given the same anew.
  Answer expect_same(Engine& engine, const std::map<int, Term>& in_force) {
    std::vector<Term> formulas;
    for (const auto& [index, t] : in_force) formulas.push_back(t);
    const Answer answer = engine.check();
    EXPECT_EQ(answer, answer_without_guide(formulas));
    EXPECT_EQ(engine.solver().check_invariants(), "");
    if (answer == Answer::sat) {
      num_guided_sat += was_guided(engine) ? 1 : 0;
      for (const Term t : formulas) EXPECT_TRUE(engine.bool_value(t));
    } else if (answer == Answer::unsat) {
      num_guided_unsat += was_guided(engine) ? 1 : 0;
      expect_cores(engine, in_force);
    }
    return answer;
  }

  void expect_cores(Engine& engine, const std::map<int, Term>& in_force) {
    std::vector<Term> members, minimal;
    const std::vector<int> core = engine.unsat_core();
    EXPECT_TRUE(std::is_sorted(core.begin(), core.end()));
    for (const int i : core) members.push_back(in_force.at(i));
    EXPECT_EQ(answer_without_guide(members), Answer::unsat);
    for (const int i : engine.minimal_core([](int) { return true; })) minimal.push_back(in_force.at(i));
    EXPECT_EQ(answer_without_guide(minimal), Answer::unsat);
    for (std::size_t i = 0; i < minimal.size(); ++i) {
      std::vector<Term> fewer = minimal;
      fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
      EXPECT_EQ(answer_without_guide(fewer), Answer::sat);
    }
  }
};

TEST_F(GuidedEngineTest, ConjunctionsWithoutLevels) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random.seed(seed);
    Engine engine(terms);
    be_guided(engine);
    std::map<int, Term> in_force;
    for (int i = pick(3, 14); i > 0; --i) {
      const Term t = literal();
      in_force[engine.assert_term(t)] = t;
    }
    expect_same(engine, in_force);
  }
  EXPECT_GT(num_guided_sat, 15);
  EXPECT_GT(num_guided_unsat, 15);
}

TEST_F(GuidedEngineTest, AssertionsInLevels) {
  for (unsigned seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random.seed(seed);
    Engine engine(terms);
    be_guided(engine);
    engine.set_presolve(seed % 3 != 0);
    std::map<int, Term> in_force;
    std::vector<int> begins;  // of levels: the first assertion that is theirs
    int next_index = 0;
    for (int step = 0; step < 40; ++step) {
      const int what = pick(0, 11);
      if (what == 0) {
        engine.push();
        begins.push_back(next_index);
      } else if (what == 1 && !begins.empty()) {
        engine.pop();
        in_force.erase(in_force.lower_bound(begins.back()), in_force.end());
        begins.pop_back();
      } else if (what <= 3) {
        expect_same(engine, in_force);
      } else if (in_force.size() < 14) {
        const bool is_old = !in_force.empty() && pick(0, 9) == 0;
        const Term t = is_old ? in_force.begin()->second : literal();
        const int index = engine.assert_term(t);
        in_force[index] = t;
        next_index = index + 1;
      }
    }
  }
  EXPECT_GT(num_guided_sat, 20);
  EXPECT_GT(num_guided_unsat, 20);
}

// Formulas that come and go between conjunctions that the guide decides.
TEST_F(GuidedEngineTest, FormulasInBetween) {
  for (unsigned seed = 1; seed <= 100; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    random.seed(seed);
    Engine engine(terms);
    be_guided(engine);
    std::map<int, Term> in_force;
    for (int round = 0; round < 4; ++round) {
      for (int i = pick(2, 5); i > 0; --i) {
        const Term t = literal();
        in_force[engine.assert_term(t)] = t;
      }
      std::map<int, Term> more = in_force;
      engine.push();
      const Term choice = terms.mk(Op::or_op, literal(), literal());
      more[engine.assert_term(choice)] = choice;
      if (pick(0, 2) != 0) expect_same(engine, more);
      engine.pop();
      if (expect_same(engine, in_force) == Answer::sat) engine.bool_value(text("(or p q)"));
    }
  }
  EXPECT_GT(num_guided_sat + num_guided_unsat, 20);
}

// Symbols that only formulas of the past mention have a value in the guide's model, too.
TEST_F(GuidedEngineTest, SymbolsOfFormulasThatAreGone) {
  Engine engine(terms);
  be_guided(engine);
  engine.push();
  engine.assert_term(text("(and (or p q (< x 3)) (or (not p) (> x y)))"));
  ASSERT_EQ(engine.check(), Answer::sat);
  engine.pop();
  engine.assert_term(text("(and (<= (+ x y z) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5) (>= (- y z) 1) (>= (+ y z) 0))"));
  ASSERT_EQ(engine.check(), Answer::sat);
  ASSERT_TRUE(was_guided(engine));
  EXPECT_FALSE(engine.bool_value(text("(and p (not p))")));
  EXPECT_TRUE(engine.bool_value(text("(or p q (not p))")));
}

TEST_F(GuidedEngineTest, BooleanLiteralsAreReadFromTheirAssertions) {
  Engine engine(terms);
  be_guided(engine);
  engine.assert_term(text("(and p (not q))"));
  engine.assert_term(text("(and (<= (+ x y z) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5) (>= (- y z) 1) (>= (+ y z) 0))"));
  ASSERT_EQ(engine.check(), Answer::sat);
  ASSERT_TRUE(was_guided(engine));
  EXPECT_TRUE(engine.bool_value(text("(and p (not q) (not r))")));
  const int first = engine.assert_term(text("q"));
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, first}));
}

TEST_F(GuidedEngineTest, AConflictOfTheGuideGoesWithItsLevel) {
  Engine engine(terms);
  be_guided(engine);
  engine.assert_term(text("(and (<= (+ x y z) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5) (>= (- y z) 1) (>= (+ y z) 0))"));
  engine.push();
  engine.assert_term(text("(>= u 0)"));
  const int wrong = engine.assert_term(text("(<= x 2.7)"));
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, wrong}));
  engine.push();
  engine.assert_term(text("(or p (< x 0))"));
  EXPECT_EQ(engine.check(), Answer::unsat);
  engine.pop();
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::sat);
  engine.assert_term(text("(or p (< x 0))"));
  EXPECT_EQ(engine.check(), Answer::sat);
  EXPECT_TRUE(engine.bool_value(text("p")));
}

// From every possible stop on, the answers that follow are those of an undisturbed engine.
TEST_F(GuidedEngineTest, InterruptedChecksCanBeRepeated) {
  for (const char* const last : {"(>= u 1)", "(<= x 2.7)"}) {
    int num_stopped = 0;
    for (int polls = 0;; ++polls) {
      Engine engine(terms);
      be_guided(engine);
      engine.assert_term(
          text("(and (<= (+ x y z) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5) (>= (- y z) 1) (>= (+ y z) 0))"));
      engine.assert_term(text(last));
      test::StopAfter stop(polls);
      engine.set_termination_test(&stop);
      const bool is_stopped = engine.check() == Answer::unknown;
      engine.set_termination_test(nullptr);
      EXPECT_EQ(engine.check(), last == std::string("(>= u 1)") ? Answer::sat : Answer::unsat);
      EXPECT_EQ(engine.solver().check_invariants(), "");
      if (!is_stopped) break;
      ++num_stopped;
    }
    EXPECT_GT(num_stopped, 10);
  }
}

}  // namespace
}  // namespace tarku::smt

// The engine: verdicts, models and cores through assert, push, pop and check in many orders.
#include "tarku/smt/engine.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tarku/termination_test.h"
#include "tests/unit/smt/stop_after.h"
#include "tests/unit/smt/term_text.h"
#include "tests/unit/support/fourier_motzkin.h"

namespace tarku::smt {
namespace {

std::string name_of(Answer a) {
  return a == Answer::sat ? "sat" : a == Answer::unsat ? "unsat" : "unknown";
}

class EngineTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Engine engine{terms};        // checks its answers
  std::vector<Term> asserted;  // by index

  void SetUp() override { engine.set_check_answers(true); }

  int add(std::string_view t) { return add(text(t)); }
  int add(Term t) {
    asserted.push_back(t);
    const int index = engine.assert_term(t);
    EXPECT_EQ(static_cast<std::size_t>(index) + 1, asserted.size());
    return index;
  }

  std::string check() {
    const Answer answer = engine.check();
    EXPECT_EQ(engine.solver().check_invariants(), "");
    if (answer == Answer::unsat) check_core();
    return name_of(answer);
  }

  // The core must be unsatisfiable by itself.
  void check_core() {
    const std::vector<int> core = engine.unsat_core();
    ASSERT_FALSE(core.empty());
    ASSERT_TRUE(std::is_sorted(core.begin(), core.end()));
    Engine fresh(terms);
    for (const int i : core) fresh.assert_term(asserted.at(static_cast<std::size_t>(i)));
    EXPECT_EQ(fresh.check(), Answer::unsat);
  }

  std::string value(std::string_view t) { return engine.real_value(text(t)).to_str(); }
  bool holds(std::string_view t) { return engine.bool_value(text(t)); }

  template <class Call>
  std::string error(Call call) {
    try {
      call();
    } catch (const Exception& e) {
      return e.what();
    }
    return "";
  }
};

// ---- verdicts and values ----

// What levels that are gone have told goes at some time, and answers stay right across that, with formulas and without.
TEST_F(EngineTest, ManyRoundsStaySmall) {
  add("(and (<= 0 x 10) (<= 0 y 10))");
  add("(or (<= x 4) (<= y 4))");
  std::size_t most_bounds = 0;
  for (int round = 1; round <= 1500; ++round) {
    const std::string n = std::to_string(round);
    engine.push();
    add("(>= (+ (* " + n + " x) (* 2 y)) " + n + ")");
    add("(or (>= (+ x (* " + n + " y)) 1000000) (> x (/ " + n + " 7)))");
    ASSERT_EQ(check(), round < 70 ? "sat" : "unsat") << round;
    engine.pop();
    if (round % 100 == 0) {
      ASSERT_EQ(check(), "sat") << round;
    }
    std::vector<std::pair<std::string, std::string>> figures;
    engine.get_stats(figures);
    for (const auto& [name, figure] : figures) {
      if (name == "bounds") most_bounds = std::max<std::size_t>(most_bounds, std::stoul(figure));
    }
  }
  EXPECT_LT(most_bounds, 1500u);
}

TEST_F(EngineTest, NothingAssertedIsSat) {
  EXPECT_EQ(check(), "sat");
  EXPECT_EQ(value("x"), "0");
  EXPECT_FALSE(holds("p"));
  EXPECT_EQ(value("(ite (or p (= x 0)) (+ x 3) 4)"), "3");
}

TEST_F(EngineTest, AssertionsAfterAnEmptyCheckCount) {
  EXPECT_EQ(check(), "sat");
  add("(< (+ x y) 1)");
  add("(> x 0.5)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and (< (+ x y) 1) (> x 0.5))"));
  add("(>= y 0.5)");
  EXPECT_EQ(check(), "unsat");
}

TEST_F(EngineTest, BoundsOfOneVariable) {
  add("(>= x 1)");
  add("(<= (* 2 x) 3)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(<= 1 x 3/2)"));
  add("(> x 3/2)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{1, 2}));
}

TEST_F(EngineTest, StrictBoundsMeetOrExclude) {
  add("(< x y)");
  add("(< y z)");
  add("(<= z x)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 1, 2}));
}

TEST_F(EngineTest, ModelsKeepStrictBoundsHoweverNarrow) {
  add("(< 0 x 1/1000000007 )");
  add("(< x y (* 2 x))");
  add("(> (+ x y) (* 2.9 x))");
  add("(< (+ x y) (* 2.900000000001 x))");
  EXPECT_EQ(check(), "sat");
  for (const Term t : asserted) EXPECT_TRUE(engine.bool_value(t));
}

TEST_F(EngineTest, ChainsAndEqualities) {
  add("(= x (+ y 1) (* 2 z))");
  add("(<= 3 x y2 5)");
  EXPECT_EQ(check(), "sat");
  for (const Term t : asserted) EXPECT_TRUE(engine.bool_value(t));
  add("(< z 1.5)");
  EXPECT_EQ(check(), "unsat");
}

TEST_F(EngineTest, ConstantAtoms) {
  add("(< (- x x) 1)");
  add("(= (+ x y) (+ y x))");
  EXPECT_EQ(check(), "sat");
  const int wrong = add("(< (+ x 1) x)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), std::vector<int>{wrong});
}

TEST_F(EngineTest, BooleanLiterals) {
  add("(and p (not q))");
  add("(= r false)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and p (not q) (not r))"));
  add("(< x 1)");
  add("(xor q true false)");
  add("(or r false)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{1, 4}));
}

TEST_F(EngineTest, AContradictionWithinOneAssertion) {
  add("(< x 1)");
  const int wrong = add("(and p (< y 1) (not p))");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), std::vector<int>{wrong});
}

TEST_F(EngineTest, FalseIsItsOwnCore) {
  add("(> x 0)");
  const int wrong = add("false");
  add("(< x 0)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), std::vector<int>{wrong});
}

TEST_F(EngineTest, CoresLeaveOutWhatIsNotNeeded) {
  for (const char* t : {"(<= a 1)", "(<= (+ x y) 2)", "(>= b a)", "(>= x 1)", "(<= c (+ a b))", "(> y 1)"}) add(t);
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{1, 3, 5}));
}

TEST_F(EngineTest, ASharedConstraintIsExplainedByItsFirstAssertion) {
  add("(<= (+ x y) 2)");
  add("(>= 4 (+ (* 2 x) (* 2 y)))");
  add("(>= x 2)");
  add("(>= y 1)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 2, 3}));
}

// ---- levels ----

TEST_F(EngineTest, PopRestoresTheAnswer) {
  add("(>= (+ x y) 2)");
  EXPECT_EQ(check(), "sat");
  engine.push();
  add("(< x 1)");
  EXPECT_EQ(check(), "sat");
  engine.push();
  add("(< y 1)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(check(), "unsat");
  engine.pop();
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and (>= (+ x y) 2) (< x 1))"));
  engine.pop();
  EXPECT_EQ(engine.num_levels(), 0);
  add("(< y 1)");
  EXPECT_EQ(check(), "sat");
}

TEST_F(EngineTest, PopBackPastAFailedPush) {
  add("(>= x 3)");
  engine.push();
  add("(<= y 7)");
  add("(<= x 2)");  // contradicts at once
  add("(>= y 8)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 2}));
  engine.push();
  add("(= z 1)");
  EXPECT_EQ(check(), "unsat");
  engine.pop();
  EXPECT_EQ(check(), "unsat");
  engine.pop();
  EXPECT_EQ(check(), "sat");
  add("(>= y 8)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and (>= x 3) (>= y 8))"));
  add("(< x 3)");
  EXPECT_EQ(check(), "unsat");
}

TEST_F(EngineTest, AnOldConflictOutlivesThePopOfNewerAssertions) {
  add("(>= x 3)");
  add("(<= (+ x y) 2)");
  add("(>= y 0)");
  engine.push();
  add("(>= z 3)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 1, 2}));
  engine.pop();
  add("(>= z 4)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 1, 2}));
}

TEST_F(EngineTest, NewFormsAfterAConflict) {
  engine.push();
  add("(>= x 3)");
  add("(<= x 2)");
  EXPECT_EQ(check(), "unsat");
  add("(<= (+ x y z) 2)");  // not told while the conflict lasts
  EXPECT_EQ(check(), "unsat");
  engine.pop();
  add("(<= (+ x y z) 2)");
  add("(>= x 1)");
  add("(>= y 1)");
  EXPECT_EQ(check(), "sat");
  add("(> z 0)");
  EXPECT_EQ(check(), "unsat");
}

TEST_F(EngineTest, AnAtomAssertedAtTwoLevelsStaysWithTheOlder) {
  add("(<= (+ x y) 1)");
  engine.push();
  add("(<= (+ x y) 1)");
  add("(>= x 1)");
  EXPECT_EQ(check(), "sat");
  engine.pop();
  add("(> x 0)");
  add("(> y 1)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 3, 4}));
}

TEST_F(EngineTest, PopOfWhatWasNeverChecked) {
  engine.push();
  add("(<= (+ x y) 1)");
  add("p");
  engine.pop();
  add("(not p)");
  add("(> (+ x y) 1)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and (not p) (> (+ x y) 1))"));
}

TEST_F(EngineTest, BooleanConflictsGoWithTheirLevel) {
  add("p");
  engine.push();
  add("(not p)");
  add("(< x 0)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 1}));
  engine.pop();
  engine.push();
  add("(> x 0)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(holds("(and p (> x 0))"));
  engine.pop();
  EXPECT_EQ(check(), "sat");
}

// ---- minimal cores ----

TEST_F(EngineTest, MinimalCoresAreIrreducible) {
  std::mt19937 random(11);
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  const char* const symbols[] = {"x", "y", "z"};
  const char* const relations[] = {"<", "<=", "=", ">", ">=", "distinct"};
  int tried = 0;
  for (int round = 0; round < 300; ++round) {
    Engine problem(terms);
    std::vector<Term> formulas;
    std::vector<bool> is_member;
    for (int i = 0; i < 12; ++i) {
      const std::string left = std::string("(+ ") + symbols[below(3)] + " (* " + std::to_string(below(5) - 2) + " " +
                               symbols[below(3)] + "))";
      formulas.push_back(
          text(std::string("(") + relations[below(6)] + " " + left + " " + std::to_string(below(5) - 2) + ")"));
      is_member.push_back(below(4) != 0);
      problem.assert_term(formulas.back());
    }
    if (problem.check() != Answer::unsat) continue;
    const auto member = [&is_member](int i) { return static_cast<bool>(is_member[static_cast<std::size_t>(i)]); };
    const std::vector<int> core = problem.minimal_core(member);
    // Leaving out nothing is unsatisfiable; leaving out any one member is not.
    for (int left_out = -1; left_out < static_cast<int>(core.size()); ++left_out) {
      Engine fresh(terms);
      for (int i = 0; i < 12; ++i) {
        if (!member(i)) fresh.assert_term(formulas[static_cast<std::size_t>(i)]);
      }
      for (int i = 0; i < static_cast<int>(core.size()); ++i) {
        if (i == left_out) continue;
        EXPECT_TRUE(member(core[static_cast<std::size_t>(i)]));
        fresh.assert_term(formulas[static_cast<std::size_t>(core[static_cast<std::size_t>(i)])]);
      }
      EXPECT_EQ(fresh.check(), left_out < 0 ? Answer::unsat : Answer::sat);
    }
    ++tried;
  }
  EXPECT_GT(tried, 100);
}

TEST_F(EngineTest, MinimalCoresNeedAnUnsat) {
  add("(> x 0)");
  ASSERT_EQ(check(), "sat");
  EXPECT_THROW(engine.minimal_core([](int) { return true; }), Exception);
}

// ---- answers that do not stand their check ----

// Spoils a told bound behind the engine's back, at the first poll of a check.
class Saboteur : public TerminationTest {
 public:
  Saboteur(la::Solver& solver, int value) : solver_(solver), value_(value) {}
  void operator()() const override {
    if (solver_.constraints_.size() == 0) return;
    for (auto& [constraint, told] : solver_.constraints_) told.bound = la::DNumber(QNumber(value_), QNumber(0));
  }

 private:
  la::Solver& solver_;
  int value_;
};

TEST_F(EngineTest, AWrongModelIsRefused) {
  add("(>= x 1)");
  const Saboteur saboteur(engine.solver(), -5);
  engine.set_termination_test(const_cast<Saboteur*>(&saboteur));
  try {
    engine.check();
    FAIL() << "a wrong answer was given";
  } catch (const AnswerRefused& refusal) {
    EXPECT_STREQ(refusal.what(), "the answer sat did not stand its check: assertion 0 is false in the model");
    EXPECT_NE(refusal.dump().find("LA SOLVER"), std::string::npos);
  }
  EXPECT_THROW(engine.real_value(text("x")), Exception);
  engine.set_check_answers(false);
  EXPECT_EQ(engine.check(), Answer::sat);  // nobody looks
}

TEST_F(EngineTest, AWrongRefutationIsRefused) {
  add("(and (>= x 1) (<= (+ x y) 8) (>= y 1))");
  add("(<= y 4)");
  const Saboteur saboteur(engine.solver(), 7);
  engine.set_termination_test(const_cast<Saboteur*>(&saboteur));
  try {
    engine.check();
    FAIL() << "a wrong answer was given";
  } catch (const AnswerRefused& refusal) {
    EXPECT_NE(std::string(refusal.what()).find("the answer unsat did not stand its check: "), std::string::npos);
    EXPECT_NE(refusal.dump().find("(check-sat)"), std::string::npos);
  }
  EXPECT_THROW(engine.unsat_core(), Exception);
}

// ---- formulas that are no conjunctions of literals ----

TEST_F(EngineTest, DisjunctionsDecide) {
  add("(> x 0)");
  engine.push();
  add("(and (< y 0) (or (< x 0) (> y x) p))");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(engine.bool_value(text("p")));
  add("(not p)");
  EXPECT_EQ(check(), "unsat");
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 1, 2}));
  engine.pop();
  EXPECT_EQ(check(), "sat");
}

TEST_F(EngineTest, ConditionalsDecide) {
  add("(< (+ x (ite p 1 2)) 3)");
  add("(>= x 1)");
  EXPECT_EQ(check(), "sat");
  EXPECT_TRUE(engine.bool_value(text("p")));
  EXPECT_EQ(value("(ite p 1 2)"), "1");
  add("(not p)");
  EXPECT_EQ(check(), "unsat");
}

TEST_F(EngineTest, DisequalitiesDecide) {
  add("(<= 0 x 1)");
  add("(distinct x 0)");
  add("(not (= x y))");
  add("(<= 0 y 0)");
  EXPECT_EQ(check(), "sat");
  for (const Term t : asserted) EXPECT_TRUE(engine.bool_value(t));
  engine.push();
  add("(<= x 0)");
  EXPECT_EQ(check(), "unsat");
  engine.pop();
  EXPECT_EQ(check(), "sat");
  for (std::size_t i = 0; i < 4; ++i) EXPECT_TRUE(engine.bool_value(asserted[i]));
}

// ---- misuse and limits ----

TEST_F(EngineTest, MisuseNamesTheCall) {
  EXPECT_EQ(error([&] { engine.pop(); }), "pop: no level is left");
  EXPECT_EQ(error([&] { engine.assert_term(text("x")); }), "assert_term: the term is of sort Real");
  EXPECT_EQ(error([&] { engine.real_value(text("x")); }), "real_value: the last answer is not sat");
  EXPECT_EQ(error([&] { engine.bool_value(text("p")); }), "bool_value: the last answer is not sat");
  EXPECT_EQ(error([&] { engine.unsat_core(); }), "unsat_core: the last answer is not unsat");
  EXPECT_EQ(check(), "sat");
  EXPECT_EQ(error([&] { engine.real_value(text("p")); }), "real_value: the term is of sort Bool");
  EXPECT_EQ(error([&] { engine.bool_value(text("x")); }), "bool_value: the term is of sort Real");
  EXPECT_EQ(error([&] { engine.unsat_core(); }), "unsat_core: the last answer is not unsat");
  engine.push();
  EXPECT_EQ(error([&] { engine.real_value(text("x")); }), "real_value: the last answer is not sat");
}

TEST_F(EngineTest, AnInterruptedCheckIsUnknownAndCanBeRepeated) {
  // From every possible stop on, the answers that follow are those of an undisturbed engine.
  for (int polls = 0; polls < 12; ++polls) {
    SCOPED_TRACE("stop after " + std::to_string(polls));
    Engine e(terms);
    test::StopAfter stop(polls, "time limit");
    for (const char* t : {"(<= (+ x y) 4)", "(>= (- x y) 2)", "(>= (+ x (* 3 y)) 5)"}) e.assert_term(text(t));
    e.set_termination_test(&stop);
    Answer answer = e.check();
    if (answer == Answer::unknown) {
      EXPECT_EQ(e.reason_unknown(), "time limit");
    } else {
      EXPECT_EQ(name_of(answer), "sat");
    }
    e.push();
    e.assert_term(text("(< x 2.75)"));
    e.set_termination_test(nullptr);
    EXPECT_EQ(name_of(e.check()), "unsat");
    e.pop();
    EXPECT_EQ(name_of(e.check()), "sat");
    EXPECT_TRUE(e.bool_value(text("(and (<= (+ x y) 4) (>= (- x y) 2) (>= (+ x (* 3 y)) 5))")));
  }
}

TEST_F(EngineTest, FiguresAreReported) {
  add("(<= (+ x y) 4)");
  add("(<= x 4)");
  check();
  std::vector<std::pair<std::string, std::string>> stats;
  engine.get_stats(stats);
  const auto figure = [&](const std::string& name) {
    for (const auto& [n, f] : stats) {
      if (n == name) return f;
    }
    return std::string("absent");
  };
  EXPECT_EQ(figure("assertions"), "2");
  EXPECT_EQ(figure("variables"), "2");
  EXPECT_EQ(figure("rows"), "1");
  EXPECT_EQ(figure("bounds"), "2");
  EXPECT_EQ(figure("checks"), "1");
}

// ---- size ----

TEST_F(EngineTest, AMillionNestedNegationsAndAdditions) {
  Term sum = text("x");
  for (int i = 0; i < 1000000; ++i) sum = terms.mk(Op::add, text("1"), sum);
  Term formula = terms.mk(Op::less, sum, text("y"));
  for (int i = 0; i < 1000001; ++i) formula = terms.mk(Op::not_op, formula);
  engine.assert_term(formula);
  engine.assert_term(text("(<= x 1/3)"));
  EXPECT_EQ(engine.check(), Answer::sat);
  EXPECT_TRUE(engine.bool_value(formula));
  engine.assert_term(text("(> y 1000000.34)"));
  EXPECT_EQ(engine.check(), Answer::unsat);
}

TEST_F(EngineTest, ALongConjunction) {
  std::vector<Term> atoms;
  for (int i = 0; i < 50000; ++i) {
    const Term symbol = terms.mk_symbol("v", Sort::real);
    atoms.push_back(terms.mk(Op::less, terms.mk_real(i), symbol));
    atoms.push_back(terms.mk(Op::less, symbol, terms.mk_real(i + 1)));
  }
  const Term all = terms.mk(Op::and_op, atoms);
  engine.assert_term(all);
  EXPECT_EQ(engine.check(), Answer::sat);
  EXPECT_TRUE(engine.bool_value(all));
}

// ---- random problems, whose answer is known by construction or from another procedure ----

// TARKU_TEST_SEEDS=n runs n seeds of each.
unsigned num_seeds(unsigned otherwise) {
  const char* wanted = std::getenv("TARKU_TEST_SEEDS");
  return wanted == nullptr ? otherwise : static_cast<unsigned>(std::atoi(wanted));
}

class RandomProblems : public EngineTest {
 protected:
  std::mt19937 random;
  std::vector<Term> symbols;

  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

  void start(unsigned seed, int num_symbols) {
    random.seed(seed);
    symbols.clear();
    for (int i = 0; i < num_symbols; ++i) symbols.push_back(terms.mk_symbol("v" + std::to_string(i), Sort::real));
  }

  QNumber number() {
    static const QNumber nasty[] = {QNumber(0),
                                    QNumber(1),
                                    QNumber(-1),
                                    QNumber(2),
                                    QNumber(-2),
                                    QNumber(1L, 3L),
                                    QNumber(10559L, 100000L),
                                    QNumber(-7L, 2L),
                                    QNumber(1L << 62) * QNumber(1L << 62)};
    return nasty[pick(0, 19) == 0 ? 8 : pick(0, 7)];
  }

  Term times(const QNumber& c, Term t) { return terms.mk(Op::multiply, terms.mk_real(c), t); }

  // A sum of a few symbols in a random shape.
  Term sum() {
    std::vector<Term> parts = {terms.mk_real(number())};
    for (int i = pick(1, 4); i > 0; --i) {
      parts.push_back(
          times(number(), symbols[static_cast<std::size_t>(pick(0, static_cast<int>(symbols.size()) - 1))]));
    }
    std::shuffle(parts.begin(), parts.end(), random);
    const Term t = terms.mk(pick(0, 1) == 0 ? Op::add : Op::subtract, parts);
    return pick(0, 3) == 0 ? terms.mk(Op::divide, t, terms.mk_real(QNumber(-3))) : t;
  }

  // An atom over `left` that holds when `left` has this value; now and then in a negated shape.
  Term true_atom(Term left, const QNumber& value) {
    const QNumber slack = number().abs();
    const Term above = terms.mk_real(value + slack), below = terms.mk_real(value - slack);
    switch (pick(0, 6)) {
      case 0:
        return terms.mk(Op::less_equal, left, above);
      case 1:
        return terms.mk(Op::less, left, terms.mk_real(value + slack + QNumber(1L, 1000L)));
      case 2:
        return terms.mk(Op::greater_equal, left, below);
      case 3:
        return terms.mk(Op::not_op, terms.mk(Op::less_equal, left, terms.mk_real(value - slack - QNumber(1))));
      case 4:
        return terms.mk(Op::equal, terms.mk_real(value), left);
      case 5:
        return terms.mk(Op::not_op, terms.mk(Op::greater, left, above));
      default:
        return terms.mk(Op::less_equal, below, left, above);
    }
  }
};

TEST_F(RandomProblems, PlantedSolutionsAreFoundInEveryOrder) {
  for (unsigned seed = 1; seed <= num_seeds(150); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    start(seed, pick(2, 6));
    std::map<std::uint32_t, QNumber> point;
    for (const Term s : symbols) point[s.id()] = number();
    Evaluator planted(
        terms, [&](Term s) { return point.at(s.id()); }, [](Term) { return false; });
    Engine e(terms);
    std::vector<std::vector<Term>> levels(1);
    for (int step = 0; step < 40; ++step) {
      const int what = pick(0, 9);
      if (what == 0) {
        e.push();
        levels.emplace_back();
      } else if (what == 1 && levels.size() > 1) {
        e.pop();
        levels.pop_back();
      } else if (what <= 3) {
        ASSERT_EQ(e.check(), Answer::sat);
        ASSERT_EQ(e.solver().check_invariants(), "");
        for (const auto& level : levels) {
          for (const Term t : level) ASSERT_TRUE(e.bool_value(t));
        }
      } else {
        const Term left = sum();
        const Term atom = true_atom(left, planted.real_value(left));
        ASSERT_TRUE(planted.bool_value(atom));
        e.assert_term(atom);
        levels.back().push_back(atom);
      }
    }
  }
}

// A contradiction in which every assertion is needed: forms f_1 .. f_n and -(c_1 f_1 + .. + c_n f_n) cannot all be
// positive. Satisfiable assertions around it do not hide it, and it goes with its level.
TEST_F(RandomProblems, PlantedContradictionsAreFoundInEveryOrder) {
  for (unsigned seed = 1; seed <= num_seeds(200); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    start(seed, pick(2, 6));
    std::map<std::uint32_t, QNumber> point;
    for (const Term s : symbols) point[s.id()] = number();
    Evaluator planted(
        terms, [&](Term s) { return point.at(s.id()); }, [](Term) { return false; });

    // lower_i <= f_i, and their weighted sum is below the sum of the weighted lower bounds.
    std::vector<Term> contradiction, weighted;
    QNumber limit;
    const int n = pick(1, 4);
    for (int i = 0; i < n; ++i) {
      const Term f = sum();
      const QNumber lower = number(), weight = QNumber(pick(1, 5));
      contradiction.push_back(terms.mk(Op::greater_equal, f, terms.mk_real(lower)));
      weighted.push_back(times(weight, f));
      limit += weight * lower;
    }
    contradiction.push_back(terms.mk(Op::less, terms.mk(Op::add, weighted), terms.mk_real(limit)));

    Engine e(terms);
    std::vector<Term> by_index;
    const auto assert_true = [&] {
      const Term left = sum();
      by_index.push_back(true_atom(left, planted.real_value(left)));
      e.assert_term(by_index.back());
    };
    for (int i = pick(0, 3); i > 0; --i) assert_true();
    if (pick(0, 1) == 0) e.check();
    e.push();
    std::shuffle(contradiction.begin(), contradiction.end(), random);
    for (const Term t : contradiction) {
      if (pick(0, 2) == 0) assert_true();
      if (pick(0, 3) == 0) e.check();
      e.assert_term(t);
      by_index.push_back(t);
    }
    if (pick(0, 1) == 0) e.push(), assert_true();
    ASSERT_EQ(e.check(), Answer::unsat);

    const std::vector<int> core = e.unsat_core();
    ASSERT_TRUE(std::is_sorted(core.begin(), core.end()));
    Engine fresh(terms);
    for (const int i : core) fresh.assert_term(by_index.at(static_cast<std::size_t>(i)));
    ASSERT_EQ(fresh.check(), Answer::unsat);

    while (e.num_levels() > 0) e.pop();
    ASSERT_EQ(e.check(), Answer::sat);
    ASSERT_EQ(e.solver().check_invariants(), "");
  }
}

// A literal with what the judge needs to know about it.
struct JudgedLiteral {
  Term term;
  std::vector<tarku::test::LinearForm> equations, at_least_zero;
  std::string positive, negative;  // Boolean symbol, when it is a Boolean literal
};

bool judge(const std::vector<JudgedLiteral>& literals) {
  std::vector<tarku::test::LinearForm> equations, at_least_zero;
  std::set<std::string> positive, negative;
  for (const JudgedLiteral& l : literals) {
    equations.insert(equations.end(), l.equations.begin(), l.equations.end());
    at_least_zero.insert(at_least_zero.end(), l.at_least_zero.begin(), l.at_least_zero.end());
    if (!l.positive.empty()) positive.insert(l.positive);
    if (!l.negative.empty()) negative.insert(l.negative);
  }
  for (const std::string& name : positive) {
    if (negative.count(name) != 0) return false;
  }
  return tarku::test::feasible(equations, at_least_zero);
}

class JudgedProblems : public RandomProblems {
 protected:
  JudgedLiteral boolean() {
    const std::string name = std::string("p") + std::to_string(pick(1, 3));
    if (pick(0, 1) == 0) return {text(name), {}, {}, name, ""};
    return {terms.mk(Op::not_op, text(name)), {}, {}, "", name};
  }

  // left <relation> right as a term, and right - left or left - right as a form that is at least 0.
  JudgedLiteral linear() {
    tarku::test::LinearForm difference;  // right - left
    Term sides[2];
    for (int side = 0; side < 2; ++side) {
      const int sign = side == 0 ? -1 : 1;
      const int constant = pick(-2, 2);
      std::vector<Term> parts = {terms.mk_real(constant)};
      difference.real += sign * constant;
      for (int i = pick(side == 0 ? 1 : 0, 2); i > 0; --i) {
        const auto v = static_cast<std::size_t>(pick(0, static_cast<int>(symbols.size()) - 1));
        const int numerator = pick(-2, 2), denominator = pick(0, 4) == 0 ? 3 : 1;
        parts.push_back(times(QNumber(std::int64_t{numerator}, std::int64_t{denominator}), symbols[v]));
        tarku::test::LinearForm part;
        if (numerator != 0) part.coeffs[static_cast<int>(v)] = mpq_class(numerator, denominator);
        difference.add(part, sign);
      }
      sides[side] = terms.mk(Op::add, parts);
    }
    return relate(sides[0], sides[1], difference);
  }

  JudgedLiteral relate(Term left, Term right, const tarku::test::LinearForm& difference) {
    tarku::test::LinearForm reverse;
    reverse.add(difference, -1);
    tarku::test::LinearForm strictly = difference, reverse_strictly = reverse;
    strictly.delta -= 1;
    reverse_strictly.delta -= 1;
    switch (pick(0, 6)) {
      case 0:
        return {terms.mk(Op::less, left, right), {}, {strictly}, "", ""};
      case 1:
        return {terms.mk(Op::less_equal, left, right), {}, {difference}, "", ""};
      case 2:
        return {terms.mk(Op::greater, left, right), {}, {reverse_strictly}, "", ""};
      case 3:
        return {terms.mk(Op::greater_equal, left, right), {}, {reverse}, "", ""};
      case 4:
        return {terms.mk(Op::equal, left, right), {difference}, {}, "", ""};
      case 5:
        return {terms.mk(Op::not_op, terms.mk(Op::less, left, right)), {}, {reverse}, "", ""};
      default:
        return {terms.mk(Op::not_op, terms.mk(Op::greater_equal, left, right)), {}, {strictly}, "", ""};
    }
  }

  static std::vector<JudgedLiteral> in_force(const std::vector<std::vector<JudgedLiteral>>& levels) {
    std::vector<JudgedLiteral> all;
    for (const auto& level : levels) all.insert(all.end(), level.begin(), level.end());
    return all;
  }
};

TEST_F(JudgedProblems, EveryOrderOfCallsAgreesWithElimination) {
  unsigned num_sat = 0, num_unsat = 0;
  for (unsigned seed = 1; seed <= num_seeds(150); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    start(seed, 4);
    Engine e(terms);
    std::vector<std::vector<JudgedLiteral>> levels(1);
    std::map<int, JudgedLiteral> by_index;
    for (int step = 0; step < 40; ++step) {
      const int what = pick(0, 11);
      if (what <= 1) {
        e.push();
        levels.emplace_back();
      } else if (what <= 3) {
        if (levels.size() == 1) continue;
        e.pop();
        levels.pop_back();
      } else if (what <= 6) {
        const bool interrupted = pick(0, 5) == 0;
        test::StopAfter stop(pick(0, 6));
        if (interrupted) e.set_termination_test(&stop);
        const Answer answer = e.check();
        e.set_termination_test(nullptr);
        ASSERT_EQ(e.solver().check_invariants(), "");
        if (interrupted && answer == Answer::unknown) continue;
        ASSERT_EQ(name_of(answer), judge(in_force(levels)) ? "sat" : "unsat");
        ++(answer == Answer::sat ? num_sat : num_unsat);
        if (answer == Answer::sat) {
          for (const JudgedLiteral& l : in_force(levels)) ASSERT_TRUE(e.bool_value(l.term));
        } else {
          std::vector<JudgedLiteral> core;
          for (const int i : e.unsat_core()) core.push_back(by_index.at(i));
          ASSERT_FALSE(judge(core));
        }
      } else if (in_force(levels).size() < 12) {
        const JudgedLiteral literal = pick(0, 7) == 0 ? boolean() : linear();
        by_index[e.assert_term(literal.term)] = literal;
        levels.back().push_back(literal);
      }
    }
  }
  // The problems are no walkover for either answer.
  EXPECT_GT(num_sat, num_seeds(150));
  EXPECT_GT(num_unsat, num_seeds(150));
}

}  // namespace
}  // namespace tarku::smt

// Facts that all cases of a disjunction have in common: which ones are found, and that they follow.
#include "tarku/smt/tightening.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tarku/smt/engine.h"
#include "tarku/smt/flatten.h"
#include "tarku/smt/linear.h"
#include "tarku/smt/stated.h"
#include "tarku/termination_test.h"
#include "tests/unit/smt/stop_after.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

// Assertions below all levels, given to a search and to the tightening as an engine does it.
class Problem : private BooleanSearch::Base, private LiteralSink {
 public:
  explicit Problem(bool is_logged = false)
      : search_(terms, linearizer_, atoms_, stated_, *this, is_logged), tightening_(atoms_, search_, nullptr) {}

  void add(const std::string& formula) {
    asserted_.push_back(text(formula));
    flatten(terms, asserted_.back(), *this);
  }

  bool has_maximum() {
    gather();
    return tightening_.has_maximum();
  }

  void run() {
    gather();
    tightening_.run();
  }

  // Whether the search knows for good that the comparison holds.
  bool knows(const std::string& comparison) {
    const Term t = text(comparison);
    const int literal = search_.clausifier().find_literal(
        constraint(terms.args(t)[0], terms.op(t) == Op::less_equal ? Relation::less_equal : Relation::greater_equal,
                   terms.args(t)[1]));
    return literal != 0 && search_.clauses().solver().is_fixed(literal);
  }

  // The least and the greatest of the rounded numbers that the search knows to bound the symbol.
  std::string interval(const std::string& symbol) {
    std::string result;
    for (const Relation relation : {Relation::greater_equal, Relation::less_equal}) {
      const QNumber* best = nullptr;
      for (const int each : known()) {
        const AtomTable::Bound& bound = atoms_.bound_of(each);
        if (bound.variable != atoms_.find_variable(text(symbol)) || bound.relation != relation) continue;
        const bool is_tighter =
            best == nullptr || (relation == Relation::less_equal ? bound.value < *best : *best < bound.value);
        if (is_tighter) best = &bound.value;
      }
      result += (result.empty() ? "" : " ") + (best == nullptr ? std::string("none") : best->to_str());
    }
    return result;
  }

  // All that the search knows for good must follow from the assertions. Gives their number.
  int expect_known_to_follow() {
    int count = 0;
    for (const int each : known()) {
      const AtomTable::Bound bound = atoms_.bound_of(each);
      if (mentions_values(bound.variable)) continue;
      Engine engine(terms);
      for (const Term t : asserted_) engine.assert_term(t);
      engine.assert_term(terms.mk(Op::not_op, term_of(bound)));
      EXPECT_EQ(engine.check(), Answer::unsat) << "fact " << each;
      ++count;
    }
    return count;
  }

  TermManager terms;
  test::TermText text{terms};

 private:
  // ---- LiteralSink ----
  void boolean_literal(Term, bool) override { FAIL() << "a Boolean literal"; }
  void linear_literal(Term, Term left, Relation relation, Term right) override {
    const int added = constraint(left, relation, right);
    const bool has_choice = form_has_choice_;
    bool holds = false;
    if (has_choice) {
      clauses_.push_back(search_.clausifier().unit_clause(added, &holds));
      search_.clauses().add_input(0, clauses_.back(), 0);
    } else {
      held_.insert(added);
    }
  }
  void falsity() override { FAIL() << "falsity"; }
  void formula(Term t, bool polarity) override {
    bool holds = false;
    clauses_.push_back(search_.clausifier().clause(t, polarity, &holds));
    search_.clauses().add_input(0, clauses_.back(), 0);
  }

  // ---- BooleanSearch::Base ----
  bool holds(int constraint) const override { return held_.count(constraint) != 0; }
  int guard(int) override { return 0; }
  std::uint64_t source(int) override { return 0; }
  void found_model() override {}

  int constraint(Term left, Relation relation, Term right) {
    LinearForm form;
    linearizer_.subtract(left, right, &form);
    form_has_choice_ = std::any_of(form.terms.begin(), form.terms.end(),
                                   [this](const Monomial& m) { return terms.op(m.leaf) == Op::ite; });
    return atoms_.add(&form, relation).constraint;
  }

  void gather() {
    std::vector<Alternatives> alternatives;
    for (const Clause& clause : clauses_) search_.clausifier().add_alternatives(clause, &alternatives);
    search_.clausifier().take_alternatives_of_values(&alternatives);
    for (Alternatives& each : alternatives) tightening_.add(std::move(each));
    for (const int each : held_) tightening_.hold(each);
  }

  // Constraints of literals that are fixed.
  std::vector<int> known() {
    std::vector<int> result;
    for (const int variable : search_.clauses().observed()) {
      const ClauseBase::Atom& atom = search_.clauses().atom(variable);
      if (search_.clauses().solver().is_fixed(variable)) result.push_back(atom.when_true);
      if (search_.clauses().solver().is_fixed(-variable)) result.push_back(atom.when_false);
    }
    return result;
  }

  bool mentions_values(int variable) {
    const int row = atoms_.row_of(variable);
    if (row < 0) return terms.op(atoms_.symbol(variable)) != Op::symbol;
    const AtomTable::Row& sum = atoms_.rows()[static_cast<std::size_t>(row)];
    return std::any_of(atoms_.monomials(sum), atoms_.monomials(sum) + sum.count,
                       [this](const Monomial& m) { return terms.op(m.leaf) != Op::symbol; });
  }

  Term term_of(const AtomTable::Bound& bound) {
    std::vector<Term> summands{terms.mk_real(QNumber())};
    const int row = atoms_.row_of(bound.variable);
    if (row < 0) summands.push_back(atoms_.symbol(bound.variable));
    for (std::uint32_t i = 0; row >= 0 && i < atoms_.rows()[static_cast<std::size_t>(row)].count; ++i) {
      const Monomial& m = atoms_.monomials(atoms_.rows()[static_cast<std::size_t>(row)])[i];
      summands.push_back(terms.mk(Op::multiply, terms.mk_real(m.coeff), m.leaf));
    }
    static const std::map<Relation, Op> ops = {{Relation::less, Op::less},
                                               {Relation::less_equal, Op::less_equal},
                                               {Relation::greater, Op::greater},
                                               {Relation::greater_equal, Op::greater_equal}};
    return terms.mk(ops.at(bound.relation), terms.mk(Op::add, summands), terms.mk_real(bound.value));
  }

  Linearizer linearizer_{terms};
  AtomTable atoms_;
  StatedConstraints stated_{terms, atoms_, [](int) { return 0; }};
  BooleanSearch search_;
  Tightening tightening_;
  std::set<int> held_;
  std::vector<Clause> clauses_;
  std::vector<Term> asserted_;
  bool form_has_choice_ = false;  // of the last constraint
};

// ---- what is a maximum ----

bool is_maximum(const std::string& formula) {
  Problem problem;
  problem.add(formula);
  return problem.has_maximum();
}

TEST(Tightening, MaximaAndMinimaAreSeen) {
  for (const char* t : {
           "(= y (ite (>= x 0) x 0))",
           "(= y (ite (> x 0) x 0))",
           "(= y (ite (<= x 0) 0 x))",
           "(= y (ite (not (< x 0)) x 0))",
           "(= y (ite (>= (* 3 x) 0) x 0))",
           "(= y (ite (>= (* -3 x) 0) 0 x))",
           "(= (ite (>= x 0) x 0) y)",
           "(= y (ite (>= x 0) 0 x))",          // the least of both
           "(= y (ite (>= x 0) x (- x)))",      // |x|
           "(= y (ite (>= x 0) x (* 0.1 x)))",  // a leak
           "(= y (ite (>= x z) x z))",
           "(= y (ite (>= (+ x 1) z) (+ x 1) z))",
           "(= y (+ z (* 2 (ite (>= x 0) x 0))))",
           "(ite (>= x 0) (= y x) (= y 0))",
           "(or (and (>= x 0) (= y x)) (and (< x 0) (= y 0)))",
           "(<= (ite (>= x 0) x 0) 1)",
       }) {
    EXPECT_TRUE(is_maximum(t)) << t;
  }
}

TEST(Tightening, WhatIsNoMaximumIsLeftAlone) {
  for (const char* t : {
           "(= y (ite (>= x 0) (+ x 1) 0))",  // it jumps
           "(= y (ite (>= x 1) x 0))",        // likewise
           "(= y (ite (>= z 0) x 0))",        // somebody else's condition
           "(= y (ite p x 0))",               // no condition at all
           "(= y (ite (= x 0) x 0))",
           "(= y (ite (>= x z) x 0))",
           "(or (and (>= x 0) (= y x)) (and (<= x 0) (= y 0)))",
           "(or (= y x) (= y 0))",
           "(or (and (>= x 0) (<= y x)) (and (< x 0) (= y 0)))",
           "(or (>= x 0) (= y 0))",
       }) {
    EXPECT_FALSE(is_maximum(t)) << t;
  }
}

// ---- what is found ----

TEST(Tightening, TheGreaterOfBothIsRelaxed) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(<= x 3)", "(= y (ite (>= x 0) x 0))"}) problem.add(t);
  problem.run();
  EXPECT_TRUE(problem.knows("(>= y 0)"));
  EXPECT_TRUE(problem.knows("(>= (- y x) 0)"));
  EXPECT_TRUE(problem.knows("(<= y 3)"));
  EXPECT_TRUE(problem.knows("(<= (- y (* 3/4 x)) 3/4)"));  // the line through (-1, 0) and (3, 3)
  EXPECT_FALSE(problem.knows("(<= y 2)"));
  EXPECT_GE(problem.expect_known_to_follow(), 4);
}

TEST(Tightening, TheLeastOfBothIsRelaxed) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(<= x 3)", "(= y (ite (>= x 0) 0 x))"}) problem.add(t);
  problem.run();
  EXPECT_TRUE(problem.knows("(<= y 0)"));
  EXPECT_TRUE(problem.knows("(<= (- y x) 0)"));
  EXPECT_TRUE(problem.knows("(>= y -1)"));
  EXPECT_TRUE(problem.knows("(<= (- (* 1/4 x) y) 3/4)"));
  problem.expect_known_to_follow();
}

// With slopes that are no multiples of what lines are rounded to, the line lies a little above.
TEST(Tightening, LinesAreRoundedUpwards) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(<= x 2)", "(= y (ite (>= x 0) x 0))"}) problem.add(t);
  problem.run();
  EXPECT_TRUE(problem.knows("(<= (- y (* 341/512 x)) 171/256)"));  // 2 - 2 * 341/512, more than 341/512
  EXPECT_FALSE(problem.knows("(<= (- y (* 2/3 x)) 2/3)"));
  problem.expect_known_to_follow();
}

// Their bounds come from those of their symbols.
TEST(Tightening, ConditionsThatAreSums) {
  Problem problem;
  for (const char* t : {"(<= -1 x 2)", "(<= 0 z 1)", "(= y (ite (>= (+ x z) 0) (+ x z) 0))"}) problem.add(t);
  problem.run();
  EXPECT_TRUE(problem.knows("(<= (+ x z) 3)"));
  EXPECT_TRUE(problem.knows("(>= (+ x z) -1)"));
  EXPECT_TRUE(problem.knows("(<= (- y (* 3/4 (+ x z))) 3/4)"));
  problem.expect_known_to_follow();
}

TEST(Tightening, WithoutBoundsOnTheConditionAMaximumIsLimitedFromBelow) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(= y (ite (>= x 0) x 0))"}) problem.add(t);
  problem.run();
  EXPECT_EQ(problem.interval("y"), "0 none");
  EXPECT_TRUE(problem.knows("(>= y x)"));
  problem.expect_known_to_follow();
}

TEST(Tightening, BoundsGoFromLayerToLayer) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(<= x 1)", "(>= z 0)", "(<= z 1)", "(= u (+ x z))", "(= v (ite (>= u 0) u 0))",
                        "(= w (- 4 v))", "(= y (ite (>= w 3) w 3))"}) {
    problem.add(t);
  }
  problem.run();
  EXPECT_EQ(problem.interval("u"), "-1 2");
  EXPECT_EQ(problem.interval("v"), "0 2");
  EXPECT_EQ(problem.interval("w"), "2 4");
  EXPECT_EQ(problem.interval("y"), "3 4");
  problem.expect_known_to_follow();
}

TEST(Tightening, CasesThatBoundsExcludeAreDropped) {
  Problem problem;
  for (const char* t : {"(>= x 1)", "(<= x 3)", "(= y (ite (>= x 0) x 0))", "(= z (ite (>= y 5) y 5))"}) problem.add(t);
  problem.run();
  EXPECT_TRUE(problem.knows("(>= x 0)"));
  EXPECT_EQ(problem.interval("y"), "1 3");
  EXPECT_FALSE(problem.knows("(>= y 5)"));
  EXPECT_EQ(problem.interval("z"), "5 5");
  problem.expect_known_to_follow();
}

// Where one disjunction is a maximum, the hulls of the others are looked at, too.
TEST(Tightening, HullsOfOtherDisjunctions) {
  Problem problem;
  for (const char* t : {"(>= x -1)", "(<= x 1)", "(= y (ite (>= x 0) x 0))",
                        "(or (= z (+ x 5)) (= z (- x 5)) (and (>= z 6) (<= z 8)))"}) {
    problem.add(t);
  }
  problem.run();
  EXPECT_EQ(problem.interval("z"), "-6 8");
  problem.expect_known_to_follow();
}

TEST(Tightening, ContradictoryAssertions) {
  Problem problem;
  for (const char* t : {"(>= x 1)", "(<= x 3)", "(= y (ite (>= x 0) x 0))", "(<= y -1)"}) problem.add(t);
  problem.run();
  problem.expect_known_to_follow();
}

// ---- random problems ----

// Networks of a few units over x, y and z, each unit written in one of many ways.
class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  std::vector<std::string> problem() {
    std::vector<std::string> result;
    std::vector<std::string> names = {"x", "y", "z"};
    for (const std::string& name : names) {
      const int low = below(5) - 3;
      if (below(8) != 0) result.push_back("(>= " + name + " " + std::to_string(low) + ")");
      if (below(8) != 0) result.push_back("(<= " + name + " " + std::to_string(low + below(4)) + ")");
    }
    for (const char* unit : {"u1", "u2", "u3"}) {
      result.push_back(unit_of(unit, names));
      names.emplace_back(unit);
    }
    return result;
  }

  std::string sum(const std::vector<std::string>& names) {
    std::string result = "(+ " + std::to_string(below(5) - 2);
    for (int i = 1 + below(2); i > 0; --i) {
      static const char* const factors[] = {"1", "-1", "2", "-3", "1/3"};
      result += std::string(" (* ") + factors[below(5)] + " " +
                names[static_cast<std::size_t>(below(static_cast<int>(names.size())))] + ")";
    }
    return result + ")";
  }

 private:
  std::string unit_of(const std::string& unit, const std::vector<std::string>& names) {
    const std::string a = sum(names), b = below(2) == 0 ? "0" : sum(names);
    static const char* const relations[] = {">=", ">", "<=", "<"};
    const std::string condition = std::string("(") + relations[below(4)] + " " + a + " " + b + ")";
    switch (below(5)) {
      case 0:
        return "(ite " + condition + " (= " + unit + " " + a + ") (= " + unit + " " + b + "))";
      case 1:
        return "(or (and " + condition + " (= " + unit + " " + a + ")) (and (not " + condition + ") (= " + b + " " +
               unit + ")))";
      case 2:
        return "(or (= " + unit + " " + a + ") (= " + unit + " " + b + "))";
      default:
        return "(= " + unit + " (ite " + condition + " " + a + " " + b + "))";
    }
  }

  std::mt19937 random_;
};

TEST(Tightening, RandomFactsFollow) {
  int num_facts = 0;
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Dice dice(seed);
    Problem problem(seed % 2 == 0);
    for (const std::string& t : dice.problem()) problem.add(t);
    problem.run();
    num_facts += problem.expect_known_to_follow();
    if (HasFailure()) return;
  }
  EXPECT_GT(num_facts, 300);
}

// ---- the engine ----

// An engine that has the network below its levels, and one that has it in a level on top of something else.
TEST(Tightening, RandomQueriesOfNetworks) {
  int num_sat = 0, num_unsat = 0;
  for (unsigned seed = 1000; seed < 1150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TermManager terms;
    test::TermText text{terms};
    Dice dice(seed);
    Engine below(terms), above(terms);
    for (Engine* engine : {&below, &above}) engine->set_check_answers(seed % 3 != 0);
    for (Engine* engine : {&below, &above}) engine->assert_term(text("(<= x 9)"));
    above.push();
    for (const std::string& t : dice.problem()) {
      below.assert_term(text(t));
      above.assert_term(text(t));
    }
    for (int query = 0; query < 4; ++query) {
      const Term property = text("(>= " + dice.sum({"u1", "u2", "u3"}) + " " + std::to_string(dice.below(7)) + ")");
      for (Engine* engine : {&below, &above}) {
        engine->push();
        engine->assert_term(property);
      }
      const Answer answer = below.check();
      EXPECT_EQ(answer, above.check());
      ++(answer == Answer::sat ? num_sat : num_unsat);
      for (Engine* engine : {&below, &above}) engine->pop();
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(num_sat, 50);
  EXPECT_GT(num_unsat, 50);
}

// Wherever a check is stopped, the next one has the answer.
TEST(Tightening, InterruptedChecksCanBeRepeated) {
  int num_stopped = 0;
  for (int polls = 0;; ++polls) {
    SCOPED_TRACE(polls);
    TermManager terms;
    test::TermText text{terms};
    Engine engine(terms);
    engine.set_check_answers(true);
    for (const char* t : {"(<= -1 x 2)", "(<= -1 y 2)", "(= u (ite (>= (- x y) 0) (- x y) 0))",
                          "(= v (ite (>= (+ u x) 1) (+ u x) 1))", "(or (> (- v u) 2.5) (< (+ v x) 0))"}) {
      engine.assert_term(text(t));
    }
    test::StopAfter stop(polls);
    engine.set_termination_test(&stop);
    const bool is_stopped = engine.check() == Answer::unknown;
    engine.set_termination_test(nullptr);
    EXPECT_EQ(engine.check(), Answer::unsat);
    if (!is_stopped || HasFailure()) break;
    ++num_stopped;
  }
  EXPECT_GT(num_stopped, 20);
}

}  // namespace
}  // namespace tarku::smt

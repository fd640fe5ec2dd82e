// Formulas with Boolean structure: verdicts and models against enumeration, in levels, with and without proofs.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tarku/la/lasolver.h"
#include "tarku/smt/engine.h"
#include "tarku/termination_test.h"
#include "tests/unit/smt/term_text.h"

namespace tarku::smt {
namespace {

// Random formulas over few atoms, so that all ways to decide the atoms can be tried.
class Dice {
 public:
  Dice(unsigned seed, TermManager& terms, test::TermText& text) : random_(seed), terms_(terms) {
    const char* const reals[] = {"x", "y", "z"};
    const char* const relations[] = {"<", "<=", "=", ">=", ">", "distinct"};
    for (int i = 0; i < 5; ++i) {
      const std::string sum =
          std::string("(+ ") + reals[below(3)] + " (* " + std::to_string(below(5) - 2) + " " + reals[below(3)] + "))";
      atoms_.push_back(
          text(std::string("(") + relations[below(6)] + " " + sum + " " + std::to_string(below(4) - 1) + ")"));
    }
    for (const char* symbol : {"p", "q"}) atoms_.push_back(text(symbol));
  }

  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  const std::vector<Term>& atoms() const { return atoms_; }

  Term formula(int depth) {
    if (depth == 0 || below(5) == 0) return atoms_[static_cast<std::size_t>(below(static_cast<int>(atoms_.size())))];
    const auto sub = [&] { return formula(depth - 1); };
    switch (below(7)) {
      case 0:
        return terms_.mk(Op::not_op, sub());
      case 1:
        return terms_.mk(Op::and_op, {sub(), sub(), sub()});
      case 2:
        return terms_.mk(Op::or_op, {sub(), sub(), sub()});
      case 3:
        return terms_.mk(Op::implies, sub(), sub());
      case 4:
        return terms_.mk(Op::xor_op, sub(), sub());
      case 5:
        return terms_.mk(Op::equal, sub(), sub());
      default:
        return terms_.mk(Op::ite, sub(), sub(), sub());
    }
  }

 private:
  std::mt19937 random_;
  TermManager& terms_;
  std::vector<Term> atoms_;
};

// Tries every way to decide the atoms; each is a conjunction of literals.
bool is_satisfiable(TermManager& terms, const std::vector<Term>& atoms, const std::vector<Term>& formulas) {
  for (unsigned choice = 0; choice < (1u << atoms.size()); ++choice) {
    std::vector<std::pair<Term, bool>> decided;
    for (std::size_t i = 0; i < atoms.size(); ++i) decided.emplace_back(atoms[i], ((choice >> i) & 1) != 0);
    // A formula under a decision of its atoms, by replacing them from the leaves upwards.
    std::vector<Term> value_of(terms.num_terms());
    for (std::uint32_t id = 0; id < value_of.size(); ++id) {
      const Term t(id);
      if (terms.sort(t) != Sort::boolean) continue;
      const auto found = std::find_if(decided.begin(), decided.end(), [t](const auto& d) { return d.first == t; });
      if (found != decided.end()) {
        value_of[id] = terms.mk_bool(found->second);
        continue;
      }
      std::vector<Term> args;
      for (const Term a : terms.args(t)) {
        if (terms.sort(a) == Sort::boolean && value_of[a.id()].is_valid()) args.push_back(value_of[a.id()]);
      }
      if (args.empty() || args.size() != terms.args(t).size()) continue;
      value_of[id] = terms.mk(terms.op(t), args);
    }
    const bool holds = std::all_of(formulas.begin(), formulas.end(), [&](Term f) {
      const Term v = value_of[f.id()];
      return v.is_valid() && terms.known_truth(v).value_or(false);
    });
    if (!holds) continue;
    Engine engine(terms);
    for (const auto& [atom, value] : decided) engine.assert_term(value ? atom : terms.mk(Op::not_op, atom));
    if (engine.check() == Answer::sat) return true;
  }
  return false;
}

class BooleanSearchTest : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};

  // Random assertions, levels and checks on one engine; every answer is compared.
  void run(unsigned seed, bool keep_proofs, bool check_answers) {
    Dice dice(seed, terms, text);
    Engine engine(terms);
    engine.set_keep_proofs(keep_proofs);
    engine.set_check_answers(check_answers);
    std::vector<std::vector<Term>> levels(1);
    for (int step = 0; step < 12; ++step) {
      const int what = dice.below(10);
      if (what < 6) {
        levels.back().push_back(dice.formula(2));
        engine.assert_term(levels.back().back());
      } else if (what < 7) {
        levels.emplace_back();
        engine.push();
      } else if (what < 8 && levels.size() > 1) {
        levels.pop_back();
        engine.pop();
      } else {
        check(engine, dice, levels);
      }
    }
    check(engine, dice, levels);
  }

  void check(Engine& engine, const Dice& dice, const std::vector<std::vector<Term>>& levels) {
    std::vector<Term> formulas;
    for (const auto& level : levels) formulas.insert(formulas.end(), level.begin(), level.end());
    const Answer answer = engine.check();
    EXPECT_EQ(engine.solver().check_invariants(), "");
    ASSERT_EQ(answer, is_satisfiable(terms, dice.atoms(), formulas) ? Answer::sat : Answer::unsat);
    if (answer == Answer::sat) {
      for (const Term f : formulas) EXPECT_TRUE(engine.bool_value(f));
    }
  }
};

TEST_F(BooleanSearchTest, AgreesWithEnumeration) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    run(seed, false, false);
    if (HasFailure()) break;
  }
}

TEST_F(BooleanSearchTest, AgreesWithEnumerationAndProvesIt) {
  for (unsigned seed = 101; seed <= 160; ++seed) {
    SCOPED_TRACE(seed);
    run(seed, true, true);
    if (HasFailure()) break;
  }
}

TEST_F(BooleanSearchTest, CoresNameWhatTheProofUses) {
  Engine engine(terms);
  engine.assert_term(text("(or p (< x 0))"));
  engine.assert_term(text("(or q (> y 5))"));
  engine.assert_term(text("(=> p (< x (- 1)))"));
  engine.push();
  engine.assert_term(text("(> x 0)"));
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (std::vector<int>{0, 2, 3}));
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::sat);
}

TEST_F(BooleanSearchTest, WithoutProofsThereAreNoCores) {
  Engine engine(terms);
  engine.set_keep_proofs(false);
  engine.assert_term(text("(or (< x 0) (> x 1))"));
  engine.assert_term(text("(= x (/ 1 2))"));
  ASSERT_EQ(engine.check(), Answer::unsat);
  EXPECT_THROW(engine.unsat_core(), Exception);
}

// Interrupts one poll later each time; every interrupted check is followed by one that is not.
TEST_F(BooleanSearchTest, InterruptionsLeaveTheEngineAsGoodAsBefore) {
  struct Fuse : TerminationTest {
    mutable int left = 0;
    void operator()() const override {
      if (left-- == 0) throw Interrupted();
    }
  } fuse;
  for (int polls = 0;; ++polls) {
    Dice dice(7, terms, text);
    Engine engine(terms);
    for (int i = 0; i < 5; ++i) engine.assert_term(dice.formula(3));
    fuse.left = polls;
    engine.set_termination_test(&fuse);
    const Answer interrupted = engine.check();
    engine.set_termination_test(nullptr);
    const Answer answer = engine.check();
    EXPECT_NE(answer, Answer::unknown);
    if (interrupted == Answer::unknown) continue;
    EXPECT_EQ(interrupted, answer);
    break;
  }
}

// An interrupted check leaves atoms behind of formulas that are popped before the next one.
TEST_F(BooleanSearchTest, InterruptedLevelsCanBePopped) {
  struct Fuse : TerminationTest {
    mutable int left = 0;
    void operator()() const override {
      if (left-- == 0) throw Interrupted();
    }
  } fuse;
  for (const bool check_answers : {false, true}) {
    for (int polls = 0; polls < 60; ++polls) {
      Engine engine(terms);
      engine.set_check_answers(check_answers);
      engine.assert_term(text("(or (< x 0) (> x 1))"));
      engine.assert_term(text("(or p (< (+ x y) 3))"));
      engine.push();
      engine.assert_term(text("(or (< (+ x z) 2) (> (- y z) 4) q)"));
      engine.assert_term(text("(or (= (+ y (* 3 z)) 5) (< w 4))"));
      engine.assert_term(text("(or (not q) (> w 8))"));
      fuse.left = polls;
      engine.set_termination_test(&fuse);
      engine.check();
      engine.set_termination_test(nullptr);
      engine.pop();
      EXPECT_EQ(engine.check(), Answer::sat);
      engine.assert_term(text("(= x (/ 1 2))"));
      EXPECT_EQ(engine.check(), Answer::unsat);
    }
  }
}

}  // namespace
}  // namespace tarku::smt

// From proof objects of the solver to certificates that the checker accepts.
#include "tarku/proof/refutation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <sstream>

#include "tarku/exception.h"
#include "tarku/la/lasolver.h"
#include "tarku/proof/checker/checker.h"
#include "tarku/proof/told_problem.h"
#include "tarku/smt/checking_sink.h"

namespace tarku::proof {
namespace {

using la::DNumber;
using la::LaComb;
using la::LaCombImp;
using la::LaHyp;
using la::LaNeq;

// Keeps a solver and what it is told side by side.
struct Told {
  la::Solver solver{true, 0};
  ToldProblem problem;
  std::set<int> negated;  // constraints whose negation may be an input

  // sum of terms = x
  void equation(int c, int x, const std::vector<std::pair<int, QNumber>>& terms) {
    la::Equation equation(x);
    std::vector<Monomial> monomials{{x, QNumber(-1)}};
    for (const auto& [variable, coeff] : terms) {
      equation.add_term(variable, coeff);
      monomials.push_back({variable, coeff});
    }
    solver.tell_equation(c, equation);
    problem.add_equation(c, monomials);
  }
  void bound(int c, int x, Relation relation, const QNumber& value) {
    problem.add_bound(c, x, relation, value);
    const auto shifted = [&value](int delta) { return DNumber(value, QNumber(delta)); };
    switch (relation) {
      case Relation::less:
        return solver.tell_upper_bound(c, x, shifted(-1));
      case Relation::less_equal:
        return solver.tell_upper_bound(c, x, shifted(0));
      case Relation::equal:
        return solver.tell_equal_bound(c, x, shifted(0));
      case Relation::distinct:
        return solver.tell_diseq_bound(c, x, shifted(0));
      case Relation::greater_equal:
        return solver.tell_lower_bound(c, x, shifted(0));
      case Relation::greater:
        return solver.tell_lower_bound(c, x, shifted(1));
    }
  }

  // The certificate of a proof, checked.
  std::string certificate(const Proof& proof) {
    const Refutation refutation = Refutation::of(proof, problem);
    checker::Checker checker;
    smt::CheckingSink sink(checker);
    refutation.certify(0, problem, sink);
    EXPECT_TRUE(checker.is_finished());
    EXPECT_EQ(checker.num_inputs(), refutation.constraints().size());
    std::ostringstream text;
    CertificateWriter writer(text);
    refutation.certify(0, problem, writer);
    return text.str();
  }
  std::string conflict_certificate() {
    Ref proof(solver.get_conflict_proof());
    return certificate(*proof);
  }
};

TEST(Refutation, OfTwoOppositeBounds) {
  Told told;
  told.bound(1, 1, Relation::less, 2);
  told.bound(2, 1, Relation::greater_equal, 2);
  EXPECT_TRUE(told.solver.push_constraint(1));
  EXPECT_FALSE(told.solver.push_constraint(2));
  EXPECT_EQ(told.conflict_certificate(),
            "tarku-certificate 1\ncheck 0\nreal 1 x1\natom 1 1*1 < 2\natom 2 1*1 >= 2\nfarkas 1 -1 -2 0 1 1\n"
            "input 2 1 1 0\ninput 3 2 2 0\nrup 4 0 2 3 1\nqed 4\n");
}

TEST(Refutation, UsesTheEquations) {
  Told told;
  told.equation(1, 3, {{1, 2}, {2, QNumber(-1, 3)}});
  told.bound(2, 1, Relation::greater, 1);
  told.bound(3, 2, Relation::less_equal, 3);
  told.bound(4, 3, Relation::equal, 1);
  for (int c = 2; c <= 4; ++c) EXPECT_TRUE(told.solver.push_constraint(c));
  EXPECT_FALSE(told.solver.check(false));
  const std::string text = told.conflict_certificate();
  EXPECT_NE(text.find("input"), std::string::npos);
  EXPECT_EQ(Refutation::of(*Ref(told.solver.get_conflict_proof()), told.problem).constraints(),
            (std::vector<int>{1, 2, 3, 4}));
}

TEST(Refutation, SplitsADisequality) {
  Told told;
  told.equation(1, 3, {{1, 1}, {2, 1}});
  told.bound(2, 1, Relation::equal, 1);
  told.bound(3, 2, Relation::equal, 2);
  told.bound(4, 3, Relation::distinct, 3);
  for (int c = 2; c <= 4; ++c) EXPECT_TRUE(told.solver.push_constraint(c));
  EXPECT_FALSE(told.solver.check(false));
  EXPECT_NE(told.conflict_certificate().find("\nsplit "), std::string::npos);
}

TEST(Refutation, OfAnImplicationOpposesWhatIsImplied) {
  Told told;
  told.solver.propagation_level_ = 2;
  told.equation(1, 3, {{1, 1}, {2, 1}});
  told.bound(2, 1, Relation::greater_equal, 1);
  told.bound(3, 2, Relation::greater, 2);
  told.bound(4, 3, Relation::greater, 2);  // implied
  told.bound(5, 1, Relation::greater, 0);  // implied trivially
  EXPECT_TRUE(told.solver.push_constraint(2) && told.solver.push_constraint(3) && told.solver.check(false));
  int c = 0;
  std::vector<int> reason;
  std::set<int> implied;
  while (told.solver.next_implied(&c, &reason)) {
    implied.insert(c);
    Ref proof(told.solver.get_implication_proof(-1));
    ASSERT_NE(proof, nullptr);
    EXPECT_NE(told.certificate(*proof).find(" -"), std::string::npos);
  }
  EXPECT_EQ(implied, (std::set<int>{4, 5}));
}

TEST(Refutation, RefusesEquationsThatNothingContradicts) {
  ToldProblem problem;
  problem.add_equation(1, {{1, QNumber(1)}, {2, QNumber(1)}});
  problem.add_bound(3, 1, Relation::equal, 5);
  EXPECT_THROW(Refutation::of_equation(1, problem), Exception);
  EXPECT_THROW(Refutation::of_equation(3, problem), Exception);
}

TEST(Refutation, RefusesProofsThatDoNotAddUp) {
  Told told;
  told.bound(1, 1, Relation::less, 2);
  told.bound(2, 1, Relation::greater_equal, 1);
  told.bound(3, 2, Relation::less, 0);
  const auto comb = [](int a, int b) {
    return Ref(new LaComb(nullptr, new LaHyp(a, 0), nullptr, new LaHyp(b, 0), 0, 0, 0));
  };
  EXPECT_THROW(Refutation::of(*comb(1, 2), told.problem), Exception);  // 1 < 2 is no contradiction
  EXPECT_THROW(Refutation::of(*comb(2, 3), told.problem), Exception);  // terms are left
  EXPECT_THROW(Refutation::of(*comb(2, 9), told.problem), Exception);  // not told
  EXPECT_THROW(Refutation::of(*Ref(new LaCombImp(3, 0, new LaHyp(1, 0))), told.problem), Exception);
  EXPECT_THROW(Refutation::of(*Ref(new LaCombImp(3, 0, nullptr)), told.problem), Exception);
  EXPECT_THROW(Refutation::of(*Ref(new LaNeq(4, nullptr, nullptr)), told.problem), Exception);
}

// A chain of a hundred thousand steps needs neither recursion nor quadratic time.
TEST(Refutation, AddsUpDeepProofs) {
  ToldProblem problem;
  problem.add_bound(1, 1, Relation::less, 0);
  problem.add_bound(2, 1, Relation::greater, 0);
  Proof* chain = new LaHyp(1, 0);
  for (int i = 0; i < 100000; ++i) chain = new LaComb(nullptr, chain, nullptr, new LaHyp(2, 0), 0, 0, 0);
  const Ref proof(new LaComb(nullptr, chain, new QNumber(99999), new LaHyp(1, 0), 0, 0, 0));
  EXPECT_EQ(Refutation::of(*proof, problem).constraints(), (std::vector<int>{1, 2}));
}

// ---- random problems ----

class RandomProblem {
 public:
  explicit RandomProblem(unsigned seed) : random_(seed) {}

  // Gives the number of certificates checked.
  int run() {
    tell();
    int checked = 0;
    for (int round = 0; round < 30; ++round) {
      if (below(4) == 0 && !pushed_.empty()) {
        pop();
        continue;
      }
      push();
      if (!is_failed_ && below(2) == 0) check();
      checked += implications();
      if (is_failed_) {
        Ref proof(told_.solver.get_conflict_proof());
        EXPECT_NE(proof, nullptr);
        told_.certificate(*proof);
        ++checked;
        pop();
      }
    }
    return checked;
  }

 private:
  int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
  QNumber number() { return QNumber(below(7) - 3, 1 + below(3)); }

  void tell() {
    told_.solver.propagation_level_ = below(3);
    const int num_equations = below(5);
    int c = 1;
    for (int e = 0; e < num_equations; ++e, ++c) {
      std::vector<std::pair<int, QNumber>> terms;
      for (int v = 1; v <= 4 + e; ++v) {
        const QNumber coeff = number();
        if (below(2) == 0 && !coeff.is_zero()) terms.emplace_back(v, coeff);
      }
      told_.equation(c, 5 + e, terms);
    }
    constexpr Relation relations[] = {Relation::less,     Relation::less_equal,    Relation::equal,
                                      Relation::distinct, Relation::greater_equal, Relation::greater};
    for (first_bound_ = c; c < first_bound_ + 16; ++c) {
      told_.bound(c, 1 + below(4 + num_equations), relations[below(6)], number());
    }
    end_ = c;
  }
  void push() {
    const int c = first_bound_ + below(end_ - first_bound_);
    if (std::find(pushed_.begin(), pushed_.end(), c) != pushed_.end()) return;
    pushed_.push_back(c);
    is_failed_ = !told_.solver.push_constraint(c);
  }
  void check() {
    if (!pushed_.empty()) is_failed_ = !told_.solver.check(below(2) == 0);
  }
  void pop() {
    told_.solver.pop_constraint();
    pushed_.pop_back();
    is_failed_ = false;
  }
  int implications() {
    int c = 0, checked = 0;
    std::vector<int> reason;
    while (told_.solver.next_implied(&c, &reason)) {
      Ref proof(told_.solver.get_implication_proof(-1));
      if (proof == nullptr) continue;
      told_.certificate(*proof);
      ++checked;
    }
    return checked;
  }

  std::mt19937 random_;
  Told told_;
  std::vector<int> pushed_;
  int first_bound_ = 0, end_ = 0;
  bool is_failed_ = false;
};

TEST(Refutation, OfRandomProblemsIsAccepted) {
  int checked = 0;
  for (unsigned seed = 1; seed <= 1500; ++seed) {
    SCOPED_TRACE(seed);
    checked += RandomProblem(seed).run();
    if (HasFailure()) break;
  }
  EXPECT_GT(checked, 3000);
}

}  // namespace
}  // namespace tarku::proof

// What stops the engine and what it is afterwards: limits, interruptions, want of memory; assumptions, and misuse.
#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tarku/proof/certificate.h"
#include "tarku/smt/engine.h"
#include "tests/unit/smt/term_text.h"
#include "tests/unit/support/failing_new.h"
#include "tests/unit/support/gmp_allocations.h"

namespace tarku::smt {
namespace {

using Positions = std::vector<std::size_t>;
using Indices = std::vector<int>;

class EngineLimits : public testing::Test {
 protected:
  TermManager terms;
  test::TermText text{terms};
  Engine engine{terms};

  void assert_text(const char* formula) { engine.assert_term(text(formula)); }

  Answer check(const std::vector<std::string>& assumptions) {
    std::vector<Term> formulas;
    for (const std::string& assumption : assumptions) formulas.push_back(text(assumption));
    return engine.check(formulas);
  }

  // More pigeons than holes; takes long.
  void assert_pigeons(int holes, Engine& e) {
    std::vector<Term> pigeons;
    for (int i = 0; i <= holes; ++i) pigeons.push_back(text("x" + std::to_string(i)));
    for (const Term pigeon : pigeons) {
      std::vector<Term> places;
      for (int hole = 0; hole < holes; ++hole) {
        places.push_back(terms.mk(Op::equal, pigeon, terms.mk_real(QNumber(hole))));
      }
      e.assert_term(terms.mk(Op::or_op, places));
    }
    e.assert_term(terms.mk(Op::distinct, pigeons));
  }

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

// ---- assumptions ----

TEST_F(EngineLimits, AssumptionsHoldForOneCheck) {
  assert_text("(or p (> x 2))");
  EXPECT_EQ(check({"(< x 1)", "true", "(not p)"}), Answer::unsat);
  EXPECT_EQ(engine.num_levels(), 0);
  EXPECT_EQ(engine.failed_assumptions(), (Positions{0, 2}));
  EXPECT_EQ(engine.minimal_failed_assumptions(), (Positions{0, 2}));
  EXPECT_EQ(engine.unsat_core(), (Indices{0}));
  EXPECT_EQ(engine.minimal_core([](int) { return true; }), (Indices{0}));
  EXPECT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(check({"(< x 1)"}), Answer::sat);
  EXPECT_TRUE(engine.bool_value(text("(and p (< x 1))")));
}

TEST_F(EngineLimits, AssumptionsTakeNoIndices) {
  assert_text("(< x 1)");
  EXPECT_EQ(check({"q", "(> x 1)"}), Answer::unsat);
  std::ostringstream certificate;
  proof::CertificateWriter writer(certificate);
  engine.certify(1, writer);
  EXPECT_NE(certificate.str().find(" 0 "), std::string::npos);
  EXPECT_NE(certificate.str().find(" 2 "), std::string::npos) << "the second assumption after one assertion";
  EXPECT_EQ(engine.assert_term(text("(> x 0)")), 1);
  EXPECT_EQ(error([&] { engine.failed_assumptions(); }), "failed_assumptions: the last answer is not unsat");
  EXPECT_EQ(engine.check(), Answer::sat);
}

TEST_F(EngineLimits, LevelsMayComeAfterAssumptions) {
  assert_text("(or p q)");
  EXPECT_EQ(check({"(not p)", "(not q)"}), Answer::unsat);
  engine.push();
  EXPECT_EQ(engine.num_levels(), 1);
  assert_text("(not p)");
  EXPECT_EQ(check({"(not q)"}), Answer::unsat);
  EXPECT_EQ(engine.failed_assumptions(), (Positions{0}));
  engine.pop();
  EXPECT_EQ(error([&] { engine.pop(); }), "pop: no level is left");
  EXPECT_EQ(check({"(not q)"}), Answer::sat);
}

TEST_F(EngineLimits, NoAssumptionFailsWhereTheAssertionsDo) {
  assert_text("(< x x)");
  EXPECT_EQ(check({"p"}), Answer::unsat);
  EXPECT_EQ(engine.failed_assumptions(), Positions{});
  EXPECT_EQ(engine.minimal_failed_assumptions(), Positions{});
}

// ---- levels ----

// A level with nothing below it is as good as none.
TEST_F(EngineLimits, AFirstLevelCostsNothing) {
  std::uint64_t work[2];
  for (const int num_levels : {0, 2}) {
    Engine e(terms);
    for (int i = 0; i < num_levels; ++i) e.push();
    assert_pigeons(6, e);
    EXPECT_EQ(e.check(), Answer::unsat);
    work[num_levels / 2] = e.work();
    for (int i = num_levels; i-- > 0;) {
      e.pop();
      EXPECT_EQ(e.num_levels(), i);
      EXPECT_EQ(e.check(), Answer::sat);
    }
  }
  EXPECT_EQ(work[0], work[1]);
}

TEST_F(EngineLimits, AFirstLevelTakesEverythingWithIt) {
  engine.push();
  engine.push();
  assert_text("(= x (+ y 1))");
  assert_text("(or (> y 2) (< y 0))");
  engine.push();
  assert_text("(and (< x 3) (>= x 1))");
  EXPECT_EQ(engine.check(), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (Indices{0, 1, 2}));
  engine.pop();
  EXPECT_EQ(check({"(= x 9/2)"}), Answer::sat);
  EXPECT_EQ(engine.real_value(text("y")), QNumber(7, 2));
  engine.pop();
  assert_text("(= x y)");
  EXPECT_EQ(check({"(< y 1)"}), Answer::sat);
  EXPECT_EQ(check({"(not (= x y))"}), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (Indices{3}));
  engine.pop();
  EXPECT_EQ(engine.num_levels(), 0);
  EXPECT_EQ(check({"(not (= x y))"}), Answer::sat);
}

// What was learnt of permanent formulas survives levels that come and go.
TEST_F(EngineLimits, LevelsOnTopLeaveWhatIsLearnt) {
  assert_pigeons(7, engine);
  for (int i = 0; i < 400; ++i) assert_text(("(or p (< y " + std::to_string(i) + "))").c_str());
  engine.push();
  assert_text("p");
  EXPECT_EQ(engine.check(), Answer::unsat);
  const std::uint64_t first = engine.work();
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::unsat);
  EXPECT_LT(engine.work() - first, first / 4);
}

// ---- misuse ----

TEST_F(EngineLimits, MisuseChangesNothing) {
  assert_text("(> x 2)");
  ASSERT_EQ(check({"(< x 3)"}), Answer::sat);
  const QNumber before = engine.real_value(text("x"));
  EXPECT_EQ(error([&] { engine.check({text("p"), text("x")}); }), "check: the term is of sort Real");
  EXPECT_EQ(error([&] { engine.check({Term()}); }), "check: there is no such term");
  EXPECT_EQ(error([&] { engine.assert_term(Term()); }), "assert_term: there is no such term");
  EXPECT_EQ(error([&] { engine.pop(); }), "pop: no level is left");
  EXPECT_EQ(error([&] { engine.real_value(Term()); }), "real_value: there is no such term");
  EXPECT_EQ(error([&] { engine.failed_assumptions(); }), "failed_assumptions: the last answer is not unsat");
  for (const double seconds : {-1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(error([&] { engine.set_limits({seconds, 0, 0}); }), "set_limits: the time is negative or no number");
  }
  EXPECT_EQ(engine.limits().seconds, 0);
  EXPECT_EQ(engine.real_value(text("x")), before);
}

TEST_F(EngineLimits, CallsInTheMidstOfOthersAreRefused) {
  class Caller : public TerminationTest {
   public:
    explicit Caller(Engine& e) : engine_(e) {}
    void operator()() const override { engine_.push(); }

   private:
    Engine& engine_;
  };
  assert_text("(> x 2)");
  const Caller caller(engine);
  engine.set_termination_test(&caller);
  EXPECT_EQ(error([&] { engine.check(); }), "push: called in the midst of another call");
  engine.set_termination_test(nullptr);
  EXPECT_EQ(engine.num_levels(), 0);
  EXPECT_EQ(engine.check(), Answer::sat);
}

TEST_F(EngineLimits, RecordsCanBeWantedLater) {
  engine.set_keep_proofs(false);
  assert_text("(or p (< x 1))");
  assert_text("(or p (> x 2))");
  assert_text("(not p)");
  ASSERT_EQ(check({}), Answer::unsat);
  EXPECT_EQ(error([&] { engine.unsat_core(); }), "unsat_core: no proofs were kept");
  engine.set_keep_proofs(true);
  engine.set_check_answers(true);
  ASSERT_EQ(check({}), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (Indices{0, 1, 2}));
}

// ---- limits ----

TEST_F(EngineLimits, TimeIsKept) {
  using Clock = std::chrono::steady_clock;
  engine.push();
  assert_pigeons(12, engine);
  engine.set_limits({0.1, 0, 0});
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(engine.check(), Answer::unknown);
  EXPECT_LT(Clock::now() - start, std::chrono::minutes(1)) << "where a search to the end takes hours";
  EXPECT_EQ(engine.reason_unknown(), "timeout");
  engine.pop();
  EXPECT_EQ(engine.check(), Answer::sat);
  EXPECT_EQ(engine.reason_unknown(), "");
}

TEST_F(EngineLimits, WorkIsTheSameEachTime) {
  std::uint64_t work[2];
  for (std::uint64_t& each : work) {
    Engine e(terms);
    assert_pigeons(8, e);
    e.set_limits({0, 0, 100000});
    EXPECT_EQ(e.check(), Answer::unknown);
    EXPECT_EQ(e.reason_unknown(), "resourceout");
    each = e.work();
    EXPECT_GT(each, 100000u);
    e.set_limits({});
    EXPECT_EQ(e.check(), Answer::unsat);
    EXPECT_EQ(e.unsat_core().size(), 10u);
  }
  EXPECT_EQ(work[0], work[1]);
}

TEST_F(EngineLimits, TooLittleMemoryLeavesTheAssertions) {
  assert_text("(or (< x 1) (> x 2))");
  ASSERT_EQ(check({}), Answer::sat);
  engine.push();
  assert_text("(= x 3/2)");
  engine.set_limits({0, 1, 0});
  EXPECT_EQ(check({"p"}), Answer::unknown);
  EXPECT_EQ(engine.reason_unknown(), "memout");
  EXPECT_EQ(error([&] { engine.real_value(text("x")); }), "real_value: the last answer is not sat");
  engine.set_limits({});
  EXPECT_EQ(check({"p"}), Answer::unsat);
  EXPECT_EQ(engine.unsat_core(), (Indices{0, 1}));
  engine.pop();
  EXPECT_EQ(check({}), Answer::sat);
}

TEST_F(EngineLimits, AnotherThreadInterrupts) {
  EXPECT_FALSE(engine.interrupt()) << "nothing is running";
  assert_pigeons(12, engine);
  std::thread other([this] {
    while (!engine.interrupt()) std::this_thread::yield();
  });
  EXPECT_EQ(engine.check(), Answer::unknown);
  other.join();
  EXPECT_EQ(engine.reason_unknown(), "interrupted");
  EXPECT_FALSE(engine.interrupt());
  engine.set_limits({0.01, 0, 0});
  EXPECT_EQ(engine.check(), Answer::unknown);
  EXPECT_EQ(engine.reason_unknown(), "timeout") << "a request is for one call";
}

// ---- no memory ----

// Fails at every allocation in turn, and asks again.
TEST_F(EngineLimits, EveryAllocationMayFail) {
  if (!tarku::test::FailingNew::is_effective()) GTEST_SKIP() << "operator new is not ours";
  const char* const formulas[] = {"(or (< x 1) (> (+ x y) 2))", "(= (+ x (* 2 y)) 7)", "(or p (<= 1 x y))",
                                  "(=> p (> (ite q x y) 3))"};
  bool has_finished = false;
  for (int successes = 0; !has_finished; successes += 1 + successes / 40) {
    SCOPED_TRACE("after " + std::to_string(successes) + " allocations");
    Engine e(terms);
    e.set_check_answers(true);
    for (const char* formula : formulas) e.assert_term(text(formula));
    const std::vector<Term> assumptions{text("(< y 2)"), text("p")};
    Answer answer;
    {
      const tarku::test::FailingNew failing(successes);
      answer = e.check(assumptions);
    }
    has_finished = answer != Answer::unknown;
    if (!has_finished) {
      ASSERT_EQ(e.reason_unknown(), "memout");
    }
    e.push();
    e.assert_term(text("(< x 3)"));
    ASSERT_EQ(e.check(assumptions), Answer::unsat);
    e.pop();
    ASSERT_EQ(e.check(assumptions), Answer::sat);
  }
}

TEST_F(EngineLimits, EveryBigNumberMayFail) {
  tarku::test::GmpAllocations allocations;
  const char* const formulas[] = {
      "(= (+ (* 123456789012345678901 x) y) 7)",
      "(< (+ x (* 1/98765432109876543210987 y)) 1)",
      "(> (- y (* 55555555555555555555555 x)) 1/3333333333333333333333333)",
  };
  bool has_finished = false;
  for (int successes = 0; !has_finished; successes += 1 + successes / 40) {
    SCOPED_TRACE("after " + std::to_string(successes) + " allocations");
    Engine e(terms);
    e.set_check_answers(true);
    for (const char* formula : formulas) e.assert_term(text(formula));
    allocations.fail_after(successes);
    const Answer answer = e.check();
    allocations.stop_failing();
    has_finished = answer != Answer::unknown;
    ASSERT_EQ(e.check(), Answer::sat);
    ASSERT_EQ(check({}), Answer::sat);
  }
}

}  // namespace
}  // namespace tarku::smt

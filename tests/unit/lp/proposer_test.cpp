// CLP as a proposer: answers of the guide that it leads to, interruptions, and programs at the border of what it takes.
#include "tarku/lp/proposer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tarku/lp/guide.h"
#include "tests/unit/lp/judged_program.h"

namespace tarku::lp {
namespace {

using test::above;
using test::at_least;
using test::at_most;
using test::below;
using test::between;
using test::exactly;
using test::free_side;
using test::program;
using Kind = Outcome::Kind;

class ProposerTest : public testing::Test {
 protected:
  void SetUp() override {
    if (make_proposer(LinearProgram()) == nullptr) GTEST_SKIP() << "no solver is installed";
  }

  // What the guide says. Both answers carry their proof, which is judged, and nothing must be printed.
  Kind decide(LinearProgram p) {
    testing::internal::CaptureStdout();
    const std::unique_ptr<Proposer> proposer = make_proposer(p);
    const Outcome outcome = proposer != nullptr ? test::consult(p, *proposer, nullptr) : Outcome();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(test::offence(p, outcome), "");
    if (outcome.kind != Kind::none && p.num_sides() <= 5) {
      EXPECT_EQ(outcome.kind == Kind::feasible, test::is_feasible(p));
    }
    return outcome.kind;
  }
};

constexpr Method every_method[] = {Method::dual, Method::unscaled_dual, Method::primal, Method::unscaled_primal};

// ---- bases ----

TEST_F(ProposerTest, AProposalHasAPlaceForEachSide) {
  test::RandomPrograms random(2);
  for (int round = 0; round < 200; ++round) {
    LinearProgram p = random(random.pick(1, 8), random.pick(1, 8));
    const std::unique_ptr<Proposer> proposer = make_proposer(p);
    for (const Method method : every_method) {
      const Basis basis = proposer->propose(method, 100, nullptr).basis;
      if (basis.empty()) continue;
      ASSERT_EQ(basis.size(), static_cast<std::size_t>(p.num_sides()));
      EXPECT_EQ(std::count(basis.begin(), basis.end(), Place::basic), p.num_rows());
    }
  }
}

// ---- verdicts ----

TEST_F(ProposerTest, RandomProgramsWithFewStrictBounds) {
  test::RandomPrograms random(17);
  int num_feasible = 0, num_infeasible = 0, num_none = 0;
  for (int round = 0; round < 1500; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random(random.pick(1, 6), random.pick(0, 6));
    const Kind kind = decide(p);
    ++(kind == Kind::none ? num_none : kind == Kind::feasible ? num_feasible : num_infeasible);
  }
  EXPECT_GT(num_feasible, 300);
  EXPECT_GT(num_infeasible, 300);
  EXPECT_LT(num_none, 500);
}

TEST_F(ProposerTest, RandomProgramsWithManyStrictBounds) {
  test::RandomPrograms random(19);
  int num_decided = 0;
  for (int round = 0; round < 700; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random(random.pick(1, 6), random.pick(0, 6), false);
    const Kind kind = decide(p);
    num_decided += kind == Kind::none ? 0 : 1;
  }
  EXPECT_GT(num_decided, 200);
}

// A point that satisfies every row, some with equality; or the sum of all rows, which must not be below what they ask.
LinearProgram planted(test::RandomPrograms& random, int size, bool is_feasible) {
  LinearProgram p;
  std::vector<QNumber> point;
  for (int j = 0; j < size; ++j) {
    point.push_back(random.number());
    p.column(p.add_column()) = at_least(-10);
  }
  std::vector<QNumber> total(static_cast<std::size_t>(size));
  QNumber total_value;
  for (int i = 0; i < size; ++i) {
    std::vector<Term> terms;
    QNumber value;
    for (int j = 0; j < size; ++j) {
      if (random.pick(0, size / 5) != 0) continue;
      const QNumber coeff(random.pick(1, 5) * (random.pick(0, 1) == 0 ? 1 : -1));
      terms.push_back({j, coeff});
      value.add_mul(coeff, point[static_cast<std::size_t>(j)]);
      total[static_cast<std::size_t>(j)] += coeff;
    }
    total_value += value;
    const bool is_tight = !is_feasible || random.pick(0, 1) == 0;
    p.row(p.add_row(std::move(terms))) = at_least(is_tight ? value : value - QNumber(1));
  }
  if (is_feasible) return p;
  std::vector<Term> terms;
  for (int j = 0; j < size; ++j) {
    if (!total[static_cast<std::size_t>(j)].is_zero()) terms.push_back({j, total[static_cast<std::size_t>(j)]});
  }
  p.row(p.add_row(std::move(terms))) = at_most(total_value - QNumber(1L, 1000000L));
  return p;
}

TEST_F(ProposerTest, LargerProgramsAreDecided) {
  test::RandomPrograms random(23);
  int num_decided = 0;
  for (int round = 0; round < 20; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const bool is_feasible = round % 2 == 0;
    const Kind kind = decide(planted(random, 60, is_feasible));
    if (kind == Kind::none) continue;
    ++num_decided;
    EXPECT_EQ(kind, is_feasible ? Kind::feasible : Kind::infeasible);
  }
  EXPECT_GT(num_decided, 15);
}

// Differences far below what a floating-point number can tell: only the magnifying glass shows them.
TEST_F(ProposerTest, TinyDifferencesAreDecided) {
  QNumber tiny(1);
  for (int i = 0; i < 200; ++i) tiny *= QNumber(1L, 2L);
  const auto corner = [&](const QNumber& limit) {  // x + y <= limit, where x + 2y >= 3 and 2x + y >= 3
    return program(
        {at_least(0), at_least(0)},
        {{{{0, 1}, {1, 2}}, at_least(3)}, {{{0, 2}, {1, 1}}, at_least(3)}, {{{0, 1}, {1, 1}}, at_most(limit)}});
  };
  EXPECT_EQ(decide(corner(QNumber(2) + tiny)), Kind::feasible);
  EXPECT_EQ(decide(corner(QNumber(2))), Kind::feasible);
  EXPECT_EQ(decide(corner(QNumber(2) - tiny)), Kind::infeasible);
}

// ---- looking, while bounds come and go ----

QNumber power(long base, int exponent) {
  QNumber result(1);
  for (int i = 0; i < exponent; ++i) result *= QNumber(base);
  return result;
}

// x + y >= 3 and x - y <= 1, where x and y lie in [0, 4].
LinearProgram small_program() {
  return program({between(0, 4), between(0, 4)}, {{{{0, 1}, {1, 1}}, at_least(3)}, {{{0, 1}, {1, -1}}, at_most(1)}});
}

void set_side(LinearProgram& p, Proposer& proposer, int side, const Side& bounds) {
  p.side(side) = bounds;
  proposer.refresh(side);
}

TEST_F(ProposerTest, ValuesAreThoseOfTheLastFeasibleSearch) {
  LinearProgram p = small_program();
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  EXPECT_FALSE(proposer->are_values_feasible());  // there are none yet
  EXPECT_EQ(proposer->value(0), 0);
  ASSERT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
  EXPECT_TRUE(proposer->are_values_feasible());
  std::vector<double> values;
  for (int s = 0; s < p.num_sides(); ++s) values.push_back(proposer->value(s));
  EXPECT_NEAR(values[2], values[0] + values[1], 1e-6);
  EXPECT_NEAR(values[3], values[0] - values[1], 1e-6);

  set_side(p, *proposer, 2, at_least(9));
  EXPECT_FALSE(proposer->are_values_feasible());
  ASSERT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::infeasible);
  for (int s = 0; s < p.num_sides(); ++s) EXPECT_EQ(proposer->value(s), values[static_cast<std::size_t>(s)]);
  EXPECT_FALSE(proposer->are_values_feasible());
  set_side(p, *proposer, 2, at_least(3));
  EXPECT_TRUE(proposer->are_values_feasible());
}

TEST_F(ProposerTest, ValuesOfRowsWithLargeCoefficients) {
  const QNumber large(1L << 40);
  LinearProgram p = program({exactly(3), exactly(1)}, {{{{0, large}, {1, large}}, at_least(large)}});
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  ASSERT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
  EXPECT_NEAR(proposer->value(2), 4 * large.to_double(), 1);
}

TEST_F(ProposerTest, ClaimsOfInfeasibilityAreConfirmed) {
  LinearProgram p = small_program();
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  ASSERT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
  set_side(p, *proposer, 2, at_least(9));
  ASSERT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::infeasible);
  const Proposal confirmed = proposer->confirm(1000, nullptr);
  EXPECT_EQ(confirmed.claim, Claim::infeasible);
  EXPECT_EQ(std::count(confirmed.basis.begin(), confirmed.basis.end(), Place::basic), p.num_rows());
  set_side(p, *proposer, 2, at_least(7));
  EXPECT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
}

// The feasible search leaves a free column without a place; the next ones ask for a bound on it.
TEST_F(ProposerTest, AFreeColumnGetsALargeBound) {
  const QNumber large = power(10, 19) * QNumber(5);
  LinearProgram p = program({between(0, 1), free_side(), free_side(), free_side()}, {{{{0, 1}, {2, -1}}, free_side()},
                                                                                     {{{1, 1}, {0, -1}}, free_side()},
                                                                                     {{{1, 1}, {2, -1}}, free_side()},
                                                                                     {{{3, 1}, {2, -1}}, free_side()}});
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  EXPECT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
  set_side(p, *proposer, 7, below(0));
  set_side(p, *proposer, 3, above(0));
  EXPECT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
  set_side(p, *proposer, 6, below(0));
  set_side(p, *proposer, 4, below(0));
  set_side(p, *proposer, 5, at_most(0));
  set_side(p, *proposer, 1, above(large));
  EXPECT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::infeasible);
  set_side(p, *proposer, 4, at_least(0));
  set_side(p, *proposer, 1, at_most(large));
  EXPECT_EQ(proposer->propose(Method::dual, 1000, nullptr).claim, Claim::feasible);
}

// What was bounded by nothing when a search ended is bounded when the next one begins, and the other way round; by
// large numbers, too.
TEST_F(ProposerTest, SidesThatAreBoundedNowAndThen) {
  test::RandomPrograms random(43);
  const QNumber large = power(10, 19);
  int num_claims = 0;
  for (int round = 0; round < 150; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random(random.pick(2, 4), random.pick(2, 4));
    const std::unique_ptr<Proposer> proposer = make_proposer(p);
    for (int step = 0; step < 20; ++step) {
      for (int i = random.pick(1, 3); i > 0; --i) {
        Side side = random.pick(0, 1) == 0 ? free_side() : random.side(true);
        if (side.lower && random.pick(0, 2) == 0) side.lower->value *= large;
        if (side.upper && random.pick(0, 2) == 0) side.upper->value *= large;
        set_side(p, *proposer, random.pick(0, p.num_sides() - 1), side);
      }
      num_claims += proposer->propose(Method::dual, 1000, nullptr).claim == Claim::none ? 0 : 1;
    }
  }
  EXPECT_GT(num_claims, 2000);
}

// The claims of one proposer, as bounds of a program come and go, and what a guide makes of them.
TEST_F(ProposerTest, RandomChangesOfBounds) {
  test::RandomPrograms random(37);
  int num_looks = 0, num_conflicts = 0, num_unmoved = 0;
  for (int round = 0; round < 60; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random(random.pick(2, 3), random.pick(1, 2));
    const std::unique_ptr<Proposer> proposer = make_proposer(p);
    Guide guide(p, *proposer);
    for (int step = 0; step < 20; ++step) {
      const int side = random.pick(0, p.num_sides() - 1);
      p.side(side) = random.side(true);
      guide.refresh(side);
      const Outcome outcome = guide.look(nullptr);
      EXPECT_NE(outcome.kind, Kind::feasible);
      EXPECT_EQ(test::offence(p, outcome), "");
      ++num_looks;
      num_conflicts += outcome.kind == Kind::infeasible ? 1 : 0;
      num_unmoved += guide.has_moved() ? 0 : 1;
      EXPECT_TRUE(guide.has_moved() || proposer->are_values_feasible());
      if (step % 5 != 0) continue;
      const Outcome decided = guide.decide(nullptr);
      EXPECT_EQ(test::offence(p, decided), "");
    }
  }
  EXPECT_GT(num_conflicts, num_looks / 10);
  EXPECT_GT(num_unmoved, num_looks / 20);
}

// ---- degenerate and empty programs ----

TEST_F(ProposerTest, ProgramsWithoutRows) {
  EXPECT_EQ(decide(program({between(1, 2), at_least(0), at_most(-1), free_side(), exactly(4)}, {})), Kind::feasible);
  EXPECT_EQ(decide(program({between(1, 2), between(2, 1)}, {})), Kind::infeasible);
  EXPECT_EQ(decide(LinearProgram()), Kind::none);
}

TEST_F(ProposerTest, ProgramsWithoutColumns) {
  EXPECT_EQ(decide(program({}, {{{}, between(-1, 1)}, {{}, free_side()}})), Kind::feasible);
  EXPECT_EQ(decide(program({}, {{{}, at_least(1)}})), Kind::infeasible);
}

TEST_F(ProposerTest, ColumnsWithoutRowsAndRowsWithoutTerms) {
  EXPECT_EQ(decide(program({between(1, 2), at_most(-3)}, {{{{0, 1}}, at_least(2)}, {{}, at_most(0)}})), Kind::feasible);
  EXPECT_NE(decide(program({between(1, 2), at_most(-3)}, {{{{0, 1}}, at_least(2)}, {{}, at_most(-1)}})),
            Kind::feasible);
}

TEST_F(ProposerTest, BoundsThatContradictEachOther) {
  EXPECT_EQ(decide(program({between(2, 1)}, {{{{0, 1}}, at_least(0)}})), Kind::infeasible);
  EXPECT_EQ(decide(program({free_side(), free_side()}, {{{{0, 1}, {1, 1}}, between(2, 1)}})), Kind::infeasible);
  EXPECT_EQ(decide(program({between(QNumber(1) + QNumber(1L, 1L << 60), 1)}, {{{{0, 1}}, free_side()}})),
            Kind::infeasible);
}

TEST_F(ProposerTest, StrictBounds) {
  EXPECT_EQ(decide(program({above(0), above(0)}, {{{{0, 1}, {1, 1}}, below(0)}})), Kind::infeasible);
  EXPECT_NE(decide(program({above(0), above(0)}, {{{{0, 1}, {1, 1}}, below(1)}})), Kind::infeasible);
}

TEST_F(ProposerTest, ManyEqualRows) {
  std::vector<test::RowText> rows;
  for (int i = 0; i < 60; ++i) rows.push_back({{{0, 1}, {1, i % 2 == 0 ? 1 : -1}}, exactly(0)});
  EXPECT_EQ(decide(program({free_side(), free_side()}, rows)), Kind::feasible);
  rows.push_back({{{0, 1}, {1, 3}}, at_least(1)});
  EXPECT_EQ(decide(program({free_side(), free_side()}, rows)), Kind::infeasible);
}

// ---- numbers that a floating-point number cannot hold ----

TEST_F(ProposerTest, LargeAndSmallNumbers) {
  for (const int exponent : {10, 20, 40, 100, 300, 400, 1000}) {
    SCOPED_TRACE(exponent);
    const QNumber large = power(10, exponent), small = large.inverse();
    // y <= x / large <= y + ..., with sides at both ends of the scale
    for (const QNumber& limit : {large, small, large + QNumber(1), QNumber(1)}) {
      const std::vector<test::RowText> rows = {{{{0, 1}, {1, large.neg()}}, at_least(0)},
                                               {{{1, large}}, at_least(limit)}};
      EXPECT_NE(decide(program({free_side(), at_least(small)}, rows)), Kind::infeasible);
      EXPECT_NE(decide(program({at_most(limit - small), at_least(small)}, rows)), Kind::feasible);
    }
  }
}

TEST_F(ProposerTest, RandomNumbersOfAllSizes) {
  test::RandomPrograms random(29);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const int exponents[] = {0, 0, 0, 3, 12, 31, 200, 330};
    const auto scale = [&] { return power(10, exponents[random.pick(0, 7)]); };
    LinearProgram plain = random(random.pick(1, 5), random.pick(1, 5));
    LinearProgram p;
    const auto scaled = [&](Side side) {
      const QNumber factor = random.pick(0, 1) == 0 ? scale() : scale().inverse();
      if (side.lower) side.lower->value *= factor;
      if (side.upper) side.upper->value *= factor;
      return side;
    };
    for (int j = 0; j < plain.num_columns(); ++j) p.column(p.add_column()) = scaled(plain.side(j));
    for (int i = 0; i < plain.num_rows(); ++i) {
      std::vector<Term> terms = plain.terms(i);
      for (Term& term : terms) term.coeff *= scale();
      p.row(p.add_row(terms)) = scaled(plain.side(plain.num_columns() + i));
    }
    decide(p);
  }
}

// ---- interruptions ----

struct Stopped {};

class StopAfter : public TerminationTest {
 public:
  explicit StopAfter(int polls) : polls_(polls) {}
  void operator()() const override {
    if (polls_-- == 0) throw Stopped();
  }

 private:
  mutable int polls_;
};

// Takes CLP long enough to be polled.
LinearProgram large_program() {
  test::RandomPrograms random(31);
  return planted(random, 700, true);
}

TEST_F(ProposerTest, WhatATestThrowsPassesThroughAndTheSearchCanBeRepeated) {
  LinearProgram p = large_program();
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  int num_stopped = 0;
  for (const Method method : every_method) {
    for (int polls = 0; polls < 2; ++polls) {
      const StopAfter stop(polls);
      try {
        proposer->propose(method, 1000000, &stop);
      } catch (const Stopped&) {
        ++num_stopped;
      }
    }
  }
  EXPECT_GT(num_stopped, 0);
  const Outcome outcome = test::consult(p, *proposer, nullptr);
  EXPECT_EQ(test::offence(p, outcome), "");
  EXPECT_NE(outcome.kind, Kind::infeasible);
}

TEST_F(ProposerTest, InterruptedConsultations) {
  LinearProgram p = large_program();
  for (const int polls : {0, 1, 5, 500}) {
    const std::unique_ptr<Proposer> proposer = make_proposer(p);
    const StopAfter stop(polls);
    EXPECT_THROW(test::consult(p, *proposer, &stop), Stopped);
  }
}

TEST_F(ProposerTest, TheLimitOnIterationsIsKept) {
  LinearProgram p = large_program();
  const std::unique_ptr<Proposer> proposer = make_proposer(p);
  // Hardly anything has moved from the basis of all rows after so few.
  const Basis basis = proposer->propose(Method::dual, 5, nullptr).basis;
  ASSERT_FALSE(basis.empty());
  EXPECT_LT(std::count(basis.begin(), basis.begin() + p.num_columns(), Place::basic), 20);
}

}  // namespace
}  // namespace tarku::lp

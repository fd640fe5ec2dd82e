// The guide against proposers that follow a script: whatever they propose, what it answers is right.
#include "tarku/lp/guide.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/lp/judged_program.h"

namespace tarku::lp {
namespace {

using test::above;
using test::at_least;
using test::at_most;
using test::below;
using test::between;
using test::bound;
using test::exactly;
using test::free_side;
using test::program;
using Kind = Outcome::Kind;

constexpr Place basic = Place::basic, lower = Place::lower, upper = Place::upper, nowhere = Place::free;

// Proposes what a function says, and remembers what it was told.
class Script : public Proposer {
 public:
  using Source = std::function<Basis()>;
  explicit Script(Source source) : source_(std::move(source)) {}
  // One basis after the other, then nothing.
  explicit Script(std::vector<Basis> bases)
      : Script([bases = std::move(bases), next = std::size_t{0}]() mutable {
          return next < bases.size() ? bases[next++] : Basis();
        }) {}

  Proposal propose(Method method, int iterations, const TerminationTest* test) override {
    methods.push_back(method);
    EXPECT_GT(iterations, 0);
    if (test != nullptr) (*test)();
    Proposal proposal;
    proposal.basis = source_();
    return proposal;
  }
  Proposal confirm(int, const TerminationTest*) override { return {}; }
  bool are_values_feasible() override { return false; }
  void zoom(const std::vector<QNumber>& values, const QNumber& scale) override {
    centres.push_back(values);
    scales.push_back(scale);
  }
  void unzoom() override { ++num_unzooms; }
  double value(int) override { return 0; }
  void refresh(int) override {}

  std::vector<Method> methods;
  std::vector<std::vector<QNumber>> centres;
  std::vector<QNumber> scales;
  int num_unzooms = 0;

 private:
  Source source_;
};

Outcome consult_script(LinearProgram p, Script& script) {
  const Outcome outcome = test::consult(p, script, nullptr);
  EXPECT_EQ(test::offence(p, outcome), "");
  return outcome;
}

Outcome consult_once(LinearProgram p, const Basis& basis) {
  Script script({basis});
  return consult_script(p, script);
}

// ---- one proposal ----

TEST(Guide, AVertexWithinItsBoundsIsAnAnswer) {
  LinearProgram p = program({between(0, 4), between(0, 4)}, {{{{0, 1}, {1, 1}}, at_least(5)}});
  const Outcome outcome = consult_once(p, {upper, basic, lower});
  ASSERT_EQ(outcome.kind, Kind::feasible);
  EXPECT_EQ(outcome.values[1], QNumber(1));
}

TEST(Guide, AViolatedRowGivesAConflict) {
  LinearProgram p = program({between(0, 4), between(0, 4)}, {{{{0, 1}, {1, 2}}, at_least(13)}});
  const Outcome outcome = consult_once(p, {upper, upper, basic});
  ASSERT_EQ(outcome.kind, Kind::infeasible);
  EXPECT_EQ(outcome.conflict.size(), 3u);
}

TEST(Guide, AViolatedColumnGivesAConflict) {
  LinearProgram p =
      program({at_most(1), between(0, 4)}, {{{{0, 2}, {1, 1}}, at_least(10)}, {{{0, 1}, {1, 1}}, free_side()}});
  EXPECT_EQ(consult_once(p, {basic, upper, lower, basic}).kind, Kind::infeasible);
}

// Only the sum of two violations contradicts the bounds: x + y >= 1 and -x - y >= 1 with both columns free.
TEST(Guide, ViolationsMayBelongTogether) {
  LinearProgram p =
      program({free_side(), free_side()}, {{{{0, 1}, {1, 1}}, at_least(1)}, {{{0, -1}, {1, -1}}, at_least(1)}});
  EXPECT_EQ(consult_once(p, {nowhere, nowhere, basic, basic}).kind, Kind::infeasible);
}

// All violations at once prove nothing here, the second one alone does.
TEST(Guide, OneViolationMayBeEnough) {
  LinearProgram p = program({free_side(), between(0, 1)}, {{{{0, 1}}, at_least(9)}, {{{1, 1}}, at_least(2)}});
  EXPECT_EQ(consult_once(p, {nowhere, upper, basic, basic}).kind, Kind::infeasible);
}

TEST(Guide, StrictBoundsAreKept) {
  EXPECT_EQ(consult_once(program({above(0)}, {}), {lower}).kind, Kind::feasible);
  EXPECT_EQ(consult_once(program({{bound(0, true), bound(QNumber(1, 1000000000), true)}}, {}), {lower}).kind,
            Kind::feasible);
  EXPECT_EQ(consult_once(program({above(0)}, {{{{0, 2}}, exactly(1)}}), {basic, lower}).kind, Kind::feasible);
  LinearProgram empty = program({between(0, 1), above(0)}, {{{{0, 1}, {1, 1}}, at_most(0)}});
  EXPECT_EQ(consult_once(empty, {lower, basic, upper}).kind, Kind::infeasible);
  LinearProgram touching = program({at_least(2)}, {{{{0, 3}}, below(6)}});
  EXPECT_EQ(consult_once(touching, {lower, basic}).kind, Kind::infeasible);
}

TEST(Guide, BoundsThatContradictEachOther) {
  LinearProgram column = program({between(3, 1), at_least(0)}, {{{{0, 1}, {1, 1}}, at_least(1)}});
  EXPECT_EQ(consult_once(column, {lower, lower, basic}).kind, Kind::infeasible);
  EXPECT_EQ(consult_once(column, {upper, lower, basic}).kind, Kind::infeasible);
  EXPECT_EQ(consult_once(column, {basic, lower, lower}).kind, Kind::infeasible);
  // The value, 2, is beyond both.
  LinearProgram row = program({exactly(1), exactly(1)}, {{{{0, 1}, {1, 1}}, between(3, 1)}});
  EXPECT_EQ(consult_once(row, {lower, lower, basic}).kind, Kind::infeasible);
  LinearProgram point = program({{bound(1, true), bound(1)}}, {});
  EXPECT_EQ(consult_once(point, {lower}).kind, Kind::infeasible);
}

// Between contradicting bounds of one side, the terms of the others must not be left in the sum.
TEST(Guide, ContradictingBoundsOfABasicSideThatOthersMove) {
  LinearProgram p =
      program({between(2, 4), at_most(5), free_side()}, {{{{0, 1}, {1, 1}}, between(9, 5)}, {{{2, 1}}, at_least(0)}});
  EXPECT_EQ(consult_once(p, {lower, upper, lower, basic, basic}).kind, Kind::infeasible);
  EXPECT_EQ(consult_once(p, {upper, upper, lower, basic, basic}).kind, Kind::infeasible);
}

TEST(Guide, EmptyProgramsAreFeasible) {
  // A program without sides has the empty basis, which says that there is no proposal.
  EXPECT_EQ(consult_once(LinearProgram(), {}).kind, Kind::none);
  EXPECT_EQ(consult_once(program({free_side()}, {}), {nowhere}).kind, Kind::feasible);
  EXPECT_EQ(consult_once(program({}, {{{}, between(-1, 1)}}), {basic}).kind, Kind::feasible);
  EXPECT_EQ(consult_once(program({}, {{{}, at_least(1)}}), {basic}).kind, Kind::infeasible);
  EXPECT_EQ(consult_once(program({}, {{{}, below(0)}}), {basic}).kind, Kind::infeasible);
}

// ---- the course of the rounds ----

const Method every_method[] = {Method::dual, Method::unscaled_dual, Method::primal, Method::unscaled_primal};

TEST(Guide, WithoutProposalsEveryMethodIsTriedOnce) {
  Script script(std::vector<Basis>{});
  EXPECT_EQ(consult_script(program({at_least(1)}, {}), script).kind, Kind::none);
  EXPECT_EQ(script.methods, std::vector<Method>(std::begin(every_method), std::end(every_method)));
  EXPECT_TRUE(script.centres.empty());
}

TEST(Guide, NonsenseIsPassedOver) {
  LinearProgram p = program({between(0, 4), between(0, 4)}, {{{{0, 1}, {1, 1}}, at_least(5)}});
  Script script({{basic, basic, basic}, {lower, lower}, {lower, lower, lower}, {upper, basic, lower}});
  EXPECT_EQ(consult_script(p, script).kind, Kind::feasible);
  EXPECT_EQ(script.methods, std::vector<Method>(std::begin(every_method), std::end(every_method)));
}

TEST(Guide, WhatNeverImprovesEndsSoon) {
  // Feasible, and the vertex violates a row by much.
  LinearProgram far = program({between(0, 100)}, {{{{0, 1}}, at_least(50)}});
  Script stuck([] { return Basis{lower, basic}; });
  EXPECT_EQ(consult_script(far, stuck).kind, Kind::none);
  EXPECT_EQ(stuck.methods.size(), 4u);
  EXPECT_TRUE(stuck.centres.empty());
  // Close, and never closer.
  LinearProgram close = program({between(0, 100)}, {{{{0, 1}}, at_least(QNumber(1L, 50L))}});
  Script halting([] { return Basis{lower, basic}; });
  EXPECT_EQ(consult_script(close, halting).kind, Kind::none);
  EXPECT_EQ(halting.methods.size(), 5u);
  EXPECT_EQ(halting.centres.size(), 1u);
}

TEST(Guide, AlwaysCloserEndsAllTheSame) {
  // The rows are bounds of the one column, each closer to what the last one asks for.
  LinearProgram p;
  p.column(p.add_column()) = between(0, 2);
  QNumber gap(1L, 2L);
  for (int i = 0; i < 100; ++i, gap *= QNumber(1L, 2L)) p.row(p.add_row({{0, 1}})) = at_least(QNumber(1) - gap);
  p.row(p.add_row({{0, 1}})) = at_least(1);
  int round = 0;
  Script closer([&] {
    Basis basis(102, basic);
    basis[static_cast<std::size_t>(++round)] = lower;
    return basis;
  });
  EXPECT_EQ(consult_script(p, closer).kind, Kind::none);
  EXPECT_LT(closer.methods.size(), 50u);
  EXPECT_EQ(closer.methods.size(), closer.centres.size());
}

TEST(Guide, ZoomsToTheVertexUntilItsViolationIsAboutOne) {
  const QNumber gap(3L, 1000L);
  LinearProgram p = program({between(0, 1), between(0, 1)},
                            {{{{0, 1}, {1, 1}}, at_least(QNumber(1) + gap)}, {{{0, 1}, {1, -1}}, free_side()}});
  Script script({{upper, lower, basic, basic}, {upper, basic, lower, basic}});
  ASSERT_EQ(consult_script(p, script).kind, Kind::feasible);
  EXPECT_EQ(script.methods, (std::vector<Method>{Method::dual, Method::dual}));
  ASSERT_EQ(script.centres.size(), 1u);
  EXPECT_EQ(script.centres[0], (std::vector<QNumber>{1, 0, 1, 1}));
  const QNumber magnified = script.scales[0] * gap;
  EXPECT_FALSE(magnified < QNumber(1));
  EXPECT_TRUE(magnified < QNumber(2));
}

TEST(Guide, ZoomsOnVanishingViolations) {
  QNumber gap(1);
  for (int i = 0; i < 3000; ++i) gap *= QNumber(1L, 2L);
  LinearProgram p = program({between(0, 1)}, {{{{0, 1}}, at_least(gap)}});
  Script script({{lower, basic}, {basic, lower}});
  ASSERT_EQ(consult_script(p, script).kind, Kind::feasible);
  ASSERT_EQ(script.scales.size(), 1u);
  EXPECT_EQ(script.scales[0] * gap, QNumber(1));
}

struct Stopped {};

class Stop : public TerminationTest {
 public:
  void operator()() const override { throw Stopped(); }
};

TEST(Guide, WhatATestThrowsPassesThrough) {
  Script script({{lower}});
  const Stop stop;
  EXPECT_THROW(test::consult(program({at_least(1)}, {}), script, &stop), Stopped);
}

// ---- random programs ----

class RandomBases {
 public:
  explicit RandomBases(unsigned seed) : random_(seed) {}

  int pick(int low, int high) { return random_.pick(low, high); }

  LinearProgram next_program() { return random_(pick(1, 5), pick(0, 5), pick(0, 1) == 0); }

  // Mostly as many basic sides as there are rows; sometimes anything.
  Basis basis(const LinearProgram& p) {
    if (pick(0, 15) == 0) return {};
    Basis result;
    const int size = p.num_sides() + (pick(0, 15) == 0 ? pick(-1, 1) : 0);
    for (int s = 0; s < size; ++s) result.push_back(static_cast<Place>(pick(pick(0, 15) == 0 ? 0 : 1, 3)));
    for (int i = 0; i < p.num_rows(); ++i) {
      auto basics = std::count(result.begin(), result.end(), Place::basic);
      while (basics < p.num_rows() && !result.empty()) {
        Place& place = result[static_cast<std::size_t>(pick(0, static_cast<int>(result.size()) - 1))];
        basics += place == Place::basic ? 0 : 1;
        place = Place::basic;
        if (basics >= static_cast<std::ptrdiff_t>(result.size())) break;
      }
    }
    return result;
  }

 private:
  test::RandomPrograms random_;
};

TEST(Guide, RandomProposalsNeverLeadToWrongAnswers) {
  RandomBases random(11);
  int num_feasible = 0, num_infeasible = 0, num_none = 0, num_zooms = 0;
  for (int round = 0; round < 3000; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random.next_program();
    Script script([&] { return random.basis(p); });
    const Outcome outcome = test::consult(p, script, nullptr);
    ASSERT_EQ(test::offence(p, outcome), "");
    if (outcome.kind == Kind::none) {
      ++num_none;
    } else {
      if (p.num_sides() <= 6) {
        ASSERT_EQ(outcome.kind == Kind::feasible, test::is_feasible(p));
      }
      ++(outcome.kind == Kind::feasible ? num_feasible : num_infeasible);
    }
    num_zooms += static_cast<int>(script.centres.size());
    for (const std::vector<QNumber>& centre : script.centres) {
      for (int s = 0; s < p.num_sides(); ++s) {
        ASSERT_EQ(test::to_mpq(centre[static_cast<std::size_t>(s)]), test::value_of(p, s, centre));
      }
    }
  }
  EXPECT_GT(num_feasible, 300);
  EXPECT_GT(num_infeasible, 300);
  EXPECT_GT(num_none, 300);
  EXPECT_GT(num_zooms, 20);
}

}  // namespace
}  // namespace tarku::lp

// Contradictions from rounded multipliers: whatever they are, the sum that comes out is one.
#include "tarku/lp/short_conflict.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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
using test::exactly;
using test::free_side;
using test::program;

// Empty, or what is wrong with a conflict; a permanent bound takes the place of the one in force.
std::string offence(LinearProgram p, const std::vector<Summand>& conflict) {
  const LinearProgram told = p;
  for (const Summand& summand : conflict) {
    if (!summand.is_permanent) continue;
    const Side* const permanent = told.permanent(summand.side);
    if (permanent == nullptr) return "nothing is permanent";
    summand.is_upper ? p.side(summand.side).upper = permanent->upper : p.side(summand.side).lower = permanent->lower;
  }
  return test::offence_of_conflict(p, conflict);
}

// The sides of a conflict, with the end that takes part, and a `p` for permanent bounds.
std::string sides(const std::vector<Summand>& conflict) {
  std::string result;
  for (const Summand& summand : conflict) {
    result += (result.empty() ? "" : " ") + std::to_string(summand.side) + (summand.is_upper ? "<" : ">") +
              (summand.is_permanent ? "p" : "");
  }
  return result;
}

// x + y >= 3 and x - y >= 2, where x <= 2 and y lies in [0, 1]: twice x is less than the sum of the rows.
LinearProgram corner() {
  return program({at_most(2), between(0, 1)}, {{{{0, 1}, {1, 1}}, at_least(3)}, {{{0, 1}, {1, -1}}, at_least(2)}});
}

TEST(ShortConflict, ExactMultipliers) {
  const std::vector<Summand> conflict = short_conflict(corner(), {{0, 1.0}, {1, 1.0}});
  EXPECT_EQ(sides(conflict), "2> 3> 0<");
  EXPECT_EQ(offence(corner(), conflict), "");
}

TEST(ShortConflict, TheCommonSignIsFree) {
  const std::vector<Summand> conflict = short_conflict(corner(), {{0, -0.5}, {1, -0.5}});
  EXPECT_EQ(sides(conflict), "2> 3> 0<");
  EXPECT_EQ(offence(corner(), conflict), "");
}

// What the columns do not cancel is estimated by their bounds.
TEST(ShortConflict, RoundedMultipliersNeedBoundsOnTheColumnsThatAreLeft) {
  const std::vector<Summand> conflict = short_conflict(corner(), {{0, 1.0}, {1, 0.999}});
  EXPECT_EQ(sides(conflict), "2> 3> 0< 1<");
  EXPECT_EQ(offence(corner(), conflict), "");
  LinearProgram unbounded = corner();
  unbounded.column(1) = free_side();
  EXPECT_TRUE(short_conflict(unbounded, {{0, 1.0}, {1, 0.999}}).empty());
  EXPECT_EQ(sides(short_conflict(unbounded, {{0, 1.0}, {1, 1.0}})), "2> 3> 0<");
}

// Relative errors below the first precision vanish; those between the two are seen by the second one only.
TEST(ShortConflict, MoreBitsAreTakenWhenFewDoNotSuffice) {
  LinearProgram p =
      program({between(0, 1), free_side()}, {{{{0, 1}, {1, 1}}, at_least(1)}, {{{1, 1048577}}, at_most(-1)}});
  const double exact = -1.0 / 1048577;
  const std::vector<Summand> conflict = short_conflict(p, {{0, 1.0}, {1, exact * std::ldexp(1.0, p.exponent(1))}});
  EXPECT_TRUE(conflict.empty());  // y is free, and no short multiple of the second row cancels it
  p.column(1) = between(-10, 10);
  const std::vector<Summand> bounded = short_conflict(p, {{0, 1.0}, {1, exact * std::ldexp(1.0, p.exponent(1))}});
  EXPECT_FALSE(bounded.empty());
  EXPECT_EQ(offence(p, bounded), "");
}

TEST(ShortConflict, TheExponentsOfRowsBelongToTheMultipliers) {
  const QNumber huge = QNumber(1L << 40) * QNumber(1L << 40);
  LinearProgram p =
      program({free_side(), free_side()}, {{{{0, huge}, {1, huge}}, at_least(huge)}, {{{0, 1}, {1, 1}}, at_most(0)}});
  ASSERT_EQ(p.exponent(0), 80);
  const std::vector<Summand> conflict = short_conflict(p, {{0, 1.0}, {1, -1.0}});
  EXPECT_EQ(sides(conflict), "2> 3<");
  EXPECT_EQ(offence(p, conflict), "");
}

TEST(ShortConflict, StrictBoundsThatMeet) {
  const std::vector<test::RowText> rows = {{{{0, 1}, {1, 1}}, at_least(2)}};
  for (const auto& [x, is_conflict] : {std::pair(below(1), true), std::pair(at_most(1), false)}) {
    const LinearProgram p = program({x, at_most(1)}, rows);
    const std::vector<Summand> conflict = short_conflict(p, {{0, 1.0}});
    EXPECT_EQ(offence(p, conflict), is_conflict ? "" : "no contradiction");
  }
}

TEST(ShortConflict, RaysThatProveNothing) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const std::vector<Multiplier>& ray :
       {std::vector<Multiplier>{}, {{0, 0.0}}, {{0, 1.0}}, {{0, 1.0}, {1, -1.0}}, {{0, infinity}, {1, infinity}}}) {
    EXPECT_TRUE(short_conflict(corner(), ray).empty());
  }
}

// ---- permanent bounds ----

// x + y is at least `least`, x may grow from 1 to 5 and y from 2 to 3.
std::string sides_with_room(const QNumber& least) {
  LinearProgram p = program({at_most(5), between(0, 3)}, {{{{0, 1}, {1, 1}}, at_least(least)}});
  p.mark_permanent();
  p.column(0) = at_most(1);
  p.column(1) = between(0, 2);
  const std::vector<Summand> conflict = short_conflict(p, {{0, 1.0}});
  EXPECT_EQ(offence(p, conflict), "");
  return sides(conflict);
}

TEST(ShortConflict, PermanentBoundsAreTakenAsFarAsThereIsRoom) {
  EXPECT_EQ(sides_with_room(9), "2>p 0<p 1<p");
  EXPECT_EQ(sides_with_room(8), "2>p 0< 1<p");  // 5 + 3 is not less; the cheaper one goes
  EXPECT_EQ(sides_with_room(5), "2>p 0< 1<p");
  EXPECT_EQ(sides_with_room(4), "2>p 0< 1<");
}

// With nothing left between the sums, only the strict bound makes a contradiction; its weaker form would not.
TEST(ShortConflict, AStrictBoundThatIsNeededStays) {
  LinearProgram p = program({at_most(1), at_most(1)}, {{{{0, 1}, {1, 1}}, at_least(2)}});
  p.mark_permanent();
  p.column(0) = below(1);
  const std::vector<Summand> conflict = short_conflict(p, {{0, 1.0}});
  ASSERT_FALSE(conflict.empty());
  EXPECT_EQ(offence(p, conflict), "");
}

TEST(ShortConflict, MarksDoNotOutliveAGrownProgram) {
  LinearProgram p = corner();
  p.mark_permanent();
  EXPECT_EQ(sides(short_conflict(p, {{0, 1.0}, {1, 1.0}})), "2>p 3>p 0<p");
  p.add_row({{0, QNumber(1)}});
  EXPECT_EQ(sides(short_conflict(p, {{0, 1.0}, {1, 1.0}})), "2> 3> 0<");
  p.mark_permanent();
  p.forget_permanent();
  EXPECT_EQ(sides(short_conflict(p, {{0, 1.0}, {1, 1.0}})), "2> 3> 0<");
}

// ---- random ones ----

// Rows whose sum is below what they ask for, by a little, with multipliers that are off by a little.
TEST(ShortConflict, RandomSumsWithErrors) {
  test::RandomPrograms random(41);
  int num_found = 0, num_permanent = 0;
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    LinearProgram p = random(random.pick(1, 4), random.pick(1, 4));
    p.mark_permanent();
    for (int s = 0; s < p.num_sides(); ++s) {
      if (p.side(s).lower && random.pick(0, 1) == 0) p.side(s).lower->value += QNumber(random.pick(0, 2));
      if (p.side(s).upper && random.pick(0, 1) == 0) p.side(s).upper->value -= QNumber(random.pick(0, 2));
    }
    std::vector<Multiplier> ray;
    for (int i = 0; i < p.num_rows(); ++i) ray.push_back({i, random.pick(-2, 2) * (1 + 1e-7 * random.pick(-3, 3))});
    const std::vector<Summand> conflict = short_conflict(p, ray);
    if (conflict.empty()) continue;
    ++num_found;
    EXPECT_EQ(offence(p, conflict), "");
    for (const Summand& summand : conflict) num_permanent += summand.is_permanent ? 1 : 0;
  }
  EXPECT_GT(num_found, 100);
  EXPECT_GT(num_permanent, 50);
}

}  // namespace
}  // namespace tarku::lp

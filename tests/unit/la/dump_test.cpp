// Dumps for a person debugging: the status of the solver, and the problem as an SMT-LIB script.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarku/termination_test.h"
#include "tests/unit/support/solver_fixture.h"
#include "tests/unit/support/solver_state.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::output_of;
using test::Problem;

std::string status(const Solver& s) {
  std::ostringstream out;
  s.dump_debug_status(out);
  return out.str();
}

std::string smtlib(const Solver& s) {
  std::ostringstream out;
  s.debug_dump_smtlib(out);
  return out.str();
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

constexpr const char* kEpsilon = "(declare-const epsilon Real)\n(assert (> epsilon 0))\n";

// ---- status ----

TEST(DebugStatus, OfAnEmptySolverHasEveryHeading) {
  Solver s(false, 0);
  EXPECT_EQ(
      "\n\nLA SOLVER, BEGIN DEBUG STATUS\n"
      "TABLEAU:\n\n"
      "\nVAR VALUES:\nBASIC:\n"
      "\nPARAMETRIC:\n"
      "\nVAR BOUNDS:\nBASIC:\n"
      "\nPARAMETRIC:\n"
      "\nCONSTRAINTS ON STACK:\n"
      "\nLA SOLVER, END DEBUG STATUS\n",
      status(s));
}

TEST(DebugStatus, ListsRowsValuesBoundsAndStack) {
  Problem p;
  p.rows("e7: x3 = x1 + 2*x2");
  p.bounds("c1: x1 >= 3; c2: x2 < 9; c3: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  EXPECT_TRUE(p.check());
  p.add_equation(7);
  p.bounds("c4: x1 >= 4");
  EXPECT_TRUE(p.push_all({2, 4}));
  EXPECT_EQ(
      "\n\nLA SOLVER, BEGIN DEBUG STATUS\n"
      "TABLEAU:\n" +
          p.solver.tableau_.to_str() +
          "\n"
          "\nVAR VALUES:\nBASIC:\n"
          "x3: 4, saved: 3\n"
          "\nPARAMETRIC:\n"
          "x1: 4, saved: 3\n"
          "x2: 0, saved: 0\n"
          "\nVAR BOUNDS:\nBASIC:\n"
          "x3: { <-1,0,-inf,+inf> } \n"
          "\nPARAMETRIC:\n"
          "x1: { <-1,0,-inf,+inf> ; <1,0,3,+inf> ; <4,0,4,+inf> } \n"
          "x2: { <-1,0,-inf,+inf> ; <2,1,-inf,9-1*delta> } \n"
          "\nCONSTRAINTS ON STACK:\n"
          "1, 1\n7, -1\n2, 2\n4, 1\n"
          "\nLA SOLVER, END DEBUG STATUS\n",
      status(p.solver));
}

TEST(DebugStatus, BeforeInitialisationValuesReadAsZeroAndBoundsAsNone) {
  Problem p;
  p.rows("x3 = x1");
  EXPECT_TRUE(contains(status(p.solver), "BASIC:\nx3: 0, saved: 0\n\nPARAMETRIC:\nx1: 0, saved: 0\n"));
  EXPECT_TRUE(contains(status(p.solver), "x1: { <-1,0,-inf,+inf> } \n"));
}

TEST(DebugStatus, NeverGrowsTheTables) {
  Problem p;
  p.rows("x900 = x1");
  status(p.solver);
  smtlib(p.solver);
  EXPECT_EQ(0u, p.solver.cur_beta_.size());
  EXPECT_EQ(0u, p.solver.saved_beta_.size());
  EXPECT_EQ(0u, p.solver.var_bounds_.size());
  EXPECT_EQ(1u, p.solver.tableau_.rows().num_present());
}

TEST(DebugStatus, LeavesEliminatedVariablesToTheTableauText) {
  Problem p;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x3 >= 0");
  EXPECT_TRUE(p.push(1));
  const std::string text = status(p.solver);
  EXPECT_TRUE(contains(text, "eliminated: "));
  EXPECT_FALSE(contains(text, "\nx2: "));
}

TEST(DebugStatus, WithoutAnArgumentGoesToStandardOutput) {
  Problem p;
  p.rows("x3 = x1");
  const Solver& s = p.solver;
  EXPECT_EQ(status(s), output_of([&] { s.dump_debug_status(); }));
}

// ---- SMT-LIB ----

TEST(SmtlibDump, OfAnEmptySolver) {
  Solver s(false, 0);
  EXPECT_EQ("(set-logic QF_LRA)\n" + std::string(kEpsilon) + "(check-sat)\n", smtlib(s));
}

TEST(SmtlibDump, OfARowAndTwoBounds) {
  Problem p;
  p.solver.eliminate_unconstrained_ = false;
  p.rows("x0 = 2*x1 - 1/2*x2");
  p.bounds("c1: x1 >= 1; c2: x1 < 3");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_EQ(
      "(set-logic QF_LRA)\n"
      "(declare-const x0 Real)\n(declare-const x1 Real)\n(declare-const x2 Real)\n" +
          std::string(kEpsilon) +
          "(assert (= x0 (+ (* (/ 2 1) x1) (* (- (/ 1 2)) x2))))\n"
          "(assert (>= x1 (+ (/ 1 1) (* epsilon (/ 0 1)))))\n"
          "(assert (<= x1 (+ (/ 3 1) (* epsilon (- (/ 1 1))))))\n"
          "(check-sat)\n",
      smtlib(p.solver));
}

TEST(SmtlibDump, OfARowWithoutTerms) {
  Problem p;
  p.rows("x5 = 0");
  EXPECT_TRUE(contains(smtlib(p.solver), "(assert (= x5 (+)))\n"));
}

TEST(SmtlibDump, LeavesTheRowsOwnTermOut) {
  Problem p;
  p.rows("x3 = x1");
  const_cast<Equation&>(p.solver.tableau_.row(3)).add_term(3, QNumber(-1));
  EXPECT_TRUE(contains(smtlib(p.solver), "(assert (= x3 (+ (* (/ 1 1) x1))))\n"));
}

TEST(SmtlibDump, InfiniteBoundsAreNotWritten) {
  Problem p;
  p.rows("x3 = x1");
  p.bounds("c1: x1 >= 0; c2: x3 <= 9");
  EXPECT_TRUE(p.push(2));
  const std::string text = smtlib(p.solver);
  EXPECT_FALSE(contains(text, ">= x")) << text;
  EXPECT_TRUE(contains(text, "(assert (<= x3 (+ (/ 9 1) (* epsilon (/ 0 1)))))\n"));
  EXPECT_FALSE(contains(text, "<= x1"));
}

TEST(SmtlibDump, WritesBigNumbersInDecimal) {
  Problem p;
  p.rows("x3 = -100000000000000000000000/7*x1");
  p.bounds("c1: x1 >= 1/100000000000000000000000");
  EXPECT_TRUE(p.push(1));
  p.bounds("c2: x3 <= 0");
  const std::string text = smtlib(p.solver);
  EXPECT_TRUE(contains(text, "(assert (= x3 (+ (* (- (/ 100000000000000000000000 7)) x1))))\n")) << text;
  EXPECT_TRUE(contains(text, "(+ (/ 1 100000000000000000000000) (* epsilon (/ 0 1)))")) << text;
}

// A number that overflowed once is written like the same number that never did.
TEST(SmtlibDump, WritesTheBigFormOfASmallNumberTheSame) {
  const QNumber huge = test::rational("100000000000000000000000");
  const QNumber half = (huge + QNumber(1, 2)) - huge;
  ASSERT_FALSE(half.is_small());
  Problem p;
  p.rows("x3 = x1");
  p.solver.tell_upper_bound(1, 1, DNumber(half, QNumber(-1)));
  p.solver.push_constraint(1);
  EXPECT_TRUE(contains(smtlib(p.solver), "(assert (<= x1 (+ (/ 1 2) (* epsilon (- (/ 1 1))))))\n"));
}

TEST(SmtlibDump, FollowsThePushesAndPops) {
  Problem p;
  p.rows("x3 = x1");
  p.bounds("c1: x1 >= 1; c2: x1 >= 2; c3: x3 <= 9");
  EXPECT_TRUE(p.push_all({1, 2}));
  EXPECT_TRUE(contains(smtlib(p.solver), "(assert (>= x1 (+ (/ 2 1) "));
  p.pop();
  EXPECT_TRUE(contains(smtlib(p.solver), "(assert (>= x1 (+ (/ 1 1) "));
}

TEST(SmtlibDump, WithoutAnArgumentGoesToStandardOutput) {
  Problem p;
  p.rows("x3 = x1");
  const Solver& s = p.solver;
  EXPECT_EQ(smtlib(s), output_of([&] { s.debug_dump_smtlib(); }));
}

// ---- nothing changes ----

// Writes everything there is to write, twice, and requires that neither the solver nor the text changes.
void expect_looking_changes_nothing(const Solver& s) {
  const std::string before = test::state_text(s);
  const auto look = [&] {
    std::ostringstream out;
    s.dump_debug_status(out);
    s.debug_dump_smtlib(out);
    s.print_stats(out);
    std::vector<std::pair<std::string, std::string>> stats;
    s.get_stats(stats);
    for (const auto& [name, value] : stats) out << name << " " << value << "\n";
    return out.str();
  };
  const std::string first = look();
  EXPECT_EQ(before, test::state_text(s));
  EXPECT_EQ(first, look());
}

// Looks at each poll of a search.
struct Onlooker : TerminationTest {
  explicit Onlooker(const Solver& watched) : solver(watched) {}
  void operator()() const override {
    ++looks;
    under_temporary_bound += !solver.check_stack().empty();
    expect_looking_changes_nothing(solver);
  }
  const Solver& solver;
  mutable int looks = 0;
  mutable int under_temporary_bound = 0;
};

TEST(Dumps, ChangeNothingInAFreshSolver) {
  Solver s(true, 0);
  expect_looking_changes_nothing(s);
}

TEST(Dumps, ChangeNothingBeforeInitialisation) {
  Problem p;
  p.rows("x900 = x1 + x2; x5 = 0");
  p.bounds("c1: x800 >= 3; c2: x5 != 0");
  EXPECT_TRUE(p.push(2));
  expect_looking_changes_nothing(p.solver);
}

TEST(Dumps, ChangeNothingWhenTheEquationsContradictEachOther) {
  Problem p;
  p.rows("x3 = x1; 0 = 1");
  p.bounds("c1: x3 >= 3");
  EXPECT_FALSE(p.push(1));
  expect_looking_changes_nothing(p.solver);
  EXPECT_FALSE(p.check());
  expect_looking_changes_nothing(p.solver);
}

TEST(Dumps, ChangeNothingInEachKindOfConflict) {
  Problem p(true);
  p.solver.propagation_level_ = 2;
  p.rows("x3 = x1 + x2");
  p.bounds("c1: x1 >= 3; c2: x1 <= 2; c3: x2 >= 1; c4: x3 <= 3; c5: x1 <= 3; c6: x2 <= 1; c7: x3 != 4; c8: x3 >= 4");
  EXPECT_TRUE(p.push(1));
  EXPECT_FALSE(p.push(2));
  expect_looking_changes_nothing(p.solver);
  EXPECT_FALSE(p.push(3));
  p.pop();
  expect_looking_changes_nothing(p.solver);
  p.pop();
  EXPECT_TRUE(p.push_all({3, 4}));
  EXPECT_FALSE(p.check());
  expect_looking_changes_nothing(p.solver);
  p.pop();
  EXPECT_TRUE(p.push_all({5, 6, 7}));
  EXPECT_FALSE(p.check());
  expect_looking_changes_nothing(p.solver);
  p.pop();
  EXPECT_TRUE(p.push(4));
  EXPECT_FALSE(p.solver.try_range_implications(3));
  expect_looking_changes_nothing(p.solver);
}

TEST(Dumps, ChangeNothingInTheMiddleOfASearchASplitOrAModel) {
  Problem p(true);
  p.solver.propagation_level_ = 2;
  p.rows("x4 = x1 + x2; x5 = x1 - x3; x6 = x4 + x5");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c3: x3 <= 0; c4: x4 != 0; c5: x5 != 0; c6: x6 >= 2; c7: x6 != 2; c8: x6 <= 2");
  EXPECT_TRUE(p.push_all({1, 2, 3, 4, 5, 6, 7}));
  Onlooker onlooker(p.solver);
  p.solver.termination_test_ = &onlooker;
  EXPECT_TRUE(p.check());
  p.solver.build_model({});
  EXPECT_TRUE(p.push(8));
  EXPECT_FALSE(p.check());
  EXPECT_LT(6, onlooker.looks);
  EXPECT_LT(3, onlooker.under_temporary_bound);
  p.expect_invariants("after all");
}

// Every state of a random walk, with values apart from the saved ones, half-repaired, in conflict, after pops.
class DumpWalk : public testing::TestWithParam<unsigned> {};

TEST_P(DumpWalk, LookingChangesNothing) {
  std::mt19937 random(GetParam());
  auto draw = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
  static const char* const relations[] = {">=", "<=", "=", "<", ">", "!="};
  Problem p(draw(2) == 0);
  p.solver.propagation_level_ = draw(3);
  p.solver.eliminate_unconstrained_ = draw(3) != 0;
  p.rows("x5 = x1 + x2; x6 = x1 - 2*x3; x70 = x2 + x3 - 1/2*x4");
  for (int c = 1; c <= 25; ++c) {
    const std::string var =
        std::vector<std::string>{"1", "2", "3", "5", "6", "70", "90"}[static_cast<std::size_t>(draw(7))];
    p.bounds("c" + std::to_string(c) + ": x" + var + relations[draw(6)] + std::to_string(draw(5) - 2));
  }
  for (int i = 0; i < 30 && !HasFailure(); ++i) {
    const std::vector<int>& stack = p.asserted();
    const int c = 1 + draw(25);
    const int kind = draw(8);
    if (kind < 4 && std::find(stack.begin(), stack.end(), c) == stack.end()) p.push(c);
    if (kind == 4 && !stack.empty()) p.pop();
    if (kind > 4 && p.check(kind == 5) && kind == 7) p.solver.build_model({});
    expect_looking_changes_nothing(p.solver);
  }
  EXPECT_FALSE(HasFailure()) << "seed " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Seeds, DumpWalk, testing::Range(1u, 41u));

}  // namespace
}  // namespace tarku::la

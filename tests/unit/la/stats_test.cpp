// Statistics of the tableau and the search, printed and as name/value pairs.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/support/solver_fixture.h"

namespace tarku::la {
namespace {

using test::dnum;
using test::Problem;

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string printed(const Solver& s) {
  std::ostringstream out;
  s.print_stats(out);
  return out.str();
}

Pairs pairs(const Solver& s) {
  Pairs out;
  s.get_stats(out);
  return out;
}

TEST(Stats, OfAnEmptyTableauAreTwoFigures) {
  Solver s(false, 0);
  EXPECT_EQ("Num of rows in the tableau: 0\nNum of variables: 0\n", printed(s));
  EXPECT_EQ((Pairs{{"num tableau rows", "0"}, {"num tableau variables", "0"}}), pairs(s));
}

// A variable may remain although its last row is gone.
TEST(Stats, OfVariablesWithoutRowsAreTwoFigures) {
  Problem p;
  p.rows("e7: x3 = x1 + x2");
  p.retract_equation(7, 3);
  EXPECT_EQ("Num of rows in the tableau: 0\nNum of variables: 2\n", printed(p.solver));
  EXPECT_EQ((Pairs{{"num tableau rows", "0"}, {"num tableau variables", "2"}}), pairs(p.solver));
}

TEST(Stats, OfTwoRowsOfThreeAndFiveTermsOverTenVariables) {
  Problem p;
  p.rows("x9 = x1 + x2 + x3; x10 = x4 + x5 + x6 + x7 + x8");
  EXPECT_EQ(
      "Num of rows in the tableau: 2\n"
      "Num of variables: 10\n"
      "Avg num of variables in a row: 4\n"
      "Max num of variables in a row: 5\n"
      "Problem density: 0.4\n"
      "Num of pivot operations: 0\n",
      printed(p.solver));
  EXPECT_EQ((Pairs{{"num tableau rows", "2"},
                   {"num tableau variables", "10"},
                   {"avg tableau row length", "4"},
                   {"max tableau row length", "5"},
                   {"num pivot operations", "0"}}),
            pairs(p.solver));
}

TEST(Stats, FractionsHaveSixSignificantDigits) {
  Problem p;
  p.rows("x4 = x1 + x2; x5 = x1; x6 = x3");
  EXPECT_NE(std::string::npos, printed(p.solver).find("Avg num of variables in a row: 1.33333\n"));
  EXPECT_NE(std::string::npos, printed(p.solver).find("Problem density: 0.222222\n"));
  EXPECT_EQ("1.33333", pairs(p.solver)[2].second);
}

TEST(Stats, CountPivotsButNotThoseOfTheSetUp) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = x1 - x2");
  p.bounds("c1: x3 >= 5; c2: x1 >= 0; c3: x4 >= 1");
  EXPECT_TRUE(p.push_all({1, 2, 3}));
  EXPECT_TRUE(p.check());
  const auto pivots = p.solver.num_pivots_;
  EXPECT_LT(0, pivots);
  EXPECT_EQ(std::to_string(pivots), pairs(p.solver).back().second);
  EXPECT_NE(std::string::npos, printed(p.solver).find("Num of pivot operations: " + std::to_string(pivots) + "\n"));
}

TEST(Stats, LeaveEliminatedVariablesOut) {
  Problem p;
  p.rows("x3 = x1 + x2; x4 = x1");
  p.bounds("c1: x1 >= 0; c2: x2 >= 0; c4: x4 >= 0");
  p.solver.initialize();
  EXPECT_EQ("1", pairs(p.solver)[0].second);
  EXPECT_EQ("3", pairs(p.solver)[1].second);
}

TEST(Stats, ARowWithoutTermsCountsAsARow) {
  Problem p;
  p.rows("x1 = 0");
  EXPECT_EQ(
      "Num of rows in the tableau: 1\nNum of variables: 1\nAvg num of variables in a row: 0\n"
      "Max num of variables in a row: 0\nProblem density: 0\nNum of pivot operations: 0\n",
      printed(p.solver));
}

TEST(Stats, ExistingEntriesOfTheListAreKept) {
  Solver s(false, 0);
  Pairs list{{"before", "1"}};
  s.get_stats(list);
  EXPECT_EQ((Pairs{{"before", "1"}, {"num tableau rows", "0"}, {"num tableau variables", "0"}}), list);
}

TEST(Stats, ChangeNothing) {
  Problem p;
  p.rows("x30 = x1 + x2");
  printed(p.solver);
  pairs(p.solver);
  EXPECT_EQ(1u, p.solver.tableau_.rows().num_present());
  EXPECT_FALSE(p.solver.initialized_);
}

}  // namespace
}  // namespace tarku::la

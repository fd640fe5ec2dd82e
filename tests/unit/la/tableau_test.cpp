// The tableau by itself: rows, columns, pivots, setting variables aside and bringing them back.
#include "tarku/la/tableau.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/support/problem_text.h"

namespace tarku::la {
namespace {

using test::basics_of;
using test::equation;
using test::LinearForm;
using test::members;
using test::show;
using test::show_rows;

using Ints = std::vector<int>;

// A tableau whose invariants are looked at after each step.
struct Bench {
  Tableau tableau{0};

  // The basics whose rows are reported as new or rewritten, sorted.
  Ints add(const std::string& text) { return add(equation(text)); }

  Ints add(const Equation& eq) {
    Ints rows;
    tableau.add_equation(eq, true, &rows);
    return checked(std::move(rows));
  }

  void add_all(const std::string& text) {
    for (const std::string& s : test::statements(text)) add(s);
  }

  Ints uneliminate(int var) {
    Ints rows;
    tableau.uneliminate(var, &rows);
    EXPECT_FALSE(tableau.is_eliminated(var));
    return checked(std::move(rows));
  }

  void eliminate(const Ints& vars) {
    VarSet set;
    for (int v : vars) set.insert(v);
    tableau.eliminate_variables(set);
    fine();
  }

  void pivot(int basic, int nonbasic) {
    tableau.pivot(basic, nonbasic);
    fine();
  }

  void remove(int var) {
    tableau.remove_variable(var);
    fine();
  }

  std::string rows() const { return show_rows(tableau); }
  std::string aside(int var) const {
    const Equation* eq = tableau.get_eliminated_equation(var);
    return eq == nullptr ? "null" : show(*eq);
  }

  // Invariants that hold after every step, recomputed here from the rows alone.
  void fine() const {
    EXPECT_EQ("", tableau.check_invariants());
    EXPECT_EQ(tableau.get_num_variables(), tableau.get_all_variables().size());
    Ints all = tableau.get_all_variables();
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    std::map<int, Ints> columns;
    std::size_t num_rows = 0;
    for (int b = 0; b < static_cast<int>(tableau.rows().size()); ++b) {
      if (!tableau.is_basic(b)) continue;
      ++num_rows;
      EXPECT_EQ(b, tableau.row(b).defining_var());
      check_row(tableau.row(b));
      for (const auto& term : tableau.row(b).terms()) columns[term.var].push_back(b);
    }
    EXPECT_EQ(num_rows, tableau.rows().num_present());
    for (int v : all) {
      EXPECT_FALSE(tableau.is_eliminated(v)) << v;
      EXPECT_EQ(columns[v], basics_of(tableau, v)) << "column of x" << v;
      EXPECT_EQ(columns[v].size(), tableau.column_count(v)) << "count of x" << v;
    }
  }

 private:
  void check_row(const Equation& row) const {
    int previous = -1;
    for (const auto& term : row.terms()) {
      EXPECT_LT(previous, term.var) << "terms ascend";
      EXPECT_NE(0, term.coeff.sign()) << "no zero coefficients";
      EXPECT_FALSE(tableau.is_basic(term.var)) << "no basic variable in a row: x" << term.var;
      EXPECT_FALSE(tableau.is_eliminated(term.var)) << "no eliminated variable in a row: x" << term.var;
      previous = term.var;
    }
  }

  Ints checked(Ints rows) {
    fine();
    for (int r : rows) EXPECT_TRUE(tableau.is_basic(r)) << "only basic variables are listed, x" << r << " is not";
    std::sort(rows.begin(), rows.end());
    return rows;
  }
};

// ---- an empty tableau ----

TEST(Tableau, EmptyKnowsNothing) {
  Bench b;
  EXPECT_TRUE(b.tableau.check());
  EXPECT_TRUE(b.tableau.get_all_variables().empty());
  EXPECT_EQ(0u, b.tableau.get_num_variables());
  EXPECT_EQ("", b.tableau.to_str());
  EXPECT_FALSE(b.tableau.is_basic(0));
  EXPECT_FALSE(b.tableau.is_basic(1000000));
  EXPECT_FALSE(b.tableau.is_eliminated(5));
  EXPECT_EQ(0u, b.tableau.column_count(5));
}

TEST(Tableau, ColumnsOfUnknownVariablesAreOneSharedEmptyRange) {
  Bench b;
  b.add("x3 = x1 + x2");
  EXPECT_TRUE(b.tableau.basics_of_begin(77) == b.tableau.basics_of_end(77));
  EXPECT_TRUE(b.tableau.basics_of_begin(77) == b.tableau.basics_of_end(99));
}

TEST(Tableau, AskingWhetherAVariableIsBasicNeverMakesItSo) {
  Bench b;
  b.add("x3 = x1 + x2");
  for (int v : {0, 1, 2, 4, 50}) {
    EXPECT_FALSE(b.tableau.is_basic(v));
    EXPECT_FALSE(b.tableau.is_basic(v));
  }
  EXPECT_EQ(1u, b.tableau.rows().num_present());
}

// ---- adding equations ----

TEST(Tableau, TheDefiningVariableOfANewEquationBecomesBasic) {
  Bench b;
  EXPECT_EQ((Ints{3}), b.add("x3 = x1 + 2*x2"));
  EXPECT_EQ("x3 = x1 + 2*x2", b.rows());
  EXPECT_EQ((Ints{1, 2, 3}), b.tableau.get_all_variables());
  EXPECT_TRUE(b.tableau.is_basic(3));
  EXPECT_FALSE(b.tableau.is_basic(1));
  EXPECT_EQ((Ints{3}), basics_of(b.tableau, 1));
}

TEST(Tableau, TermsAreKeptAscendingWhateverTheOrderToldAndRepeatsAreSummed) {
  Bench b;
  b.add("x9 = 2*x7 + x1 - 5*x4 + 3*x1");
  EXPECT_EQ("x9 = 4*x1 - 5*x4 + 2*x7", b.rows());
}

TEST(Tableau, VariableZeroIsAVariableLikeAnyOther) {
  Bench b;
  b.add_all("x0 = 2*x1 - 1/2*x2; x3 = x0 + x1");
  EXPECT_EQ("x0 = 2*x1 - 1/2*x2; x3 = 3*x1 - 1/2*x2", b.rows());
  b.pivot(0, 2);
  EXPECT_EQ("x2 = -2*x0 + 4*x1; x3 = x0 + x1", b.rows());
  EXPECT_EQ((Ints{2, 3}), basics_of(b.tableau, 0));
  b.eliminate({0});
  EXPECT_TRUE(b.tableau.is_eliminated(0));
  b.uneliminate(0);
  EXPECT_EQ((Ints{0, 1, 2, 3}), b.tableau.get_all_variables());
}

TEST(Tableau, ATermOfTheDefiningVariableIsDropped) {
  Bench b;
  Equation eq(3);
  eq.add_term(1, QNumber(1));
  eq.add_term(2, QNumber(1));
  eq.add_term(3, QNumber(-1));
  b.add(eq);
  EXPECT_EQ("x3 = x1 + x2", b.rows());
  EXPECT_EQ((Ints{}), basics_of(b.tableau, 3));
}

// 2*x3 + x1 - 4*x2 = 0
TEST(Tableau, ATermOfTheDefiningVariableWithAnotherCoefficientIsDividedOut) {
  Bench b;
  Equation eq(3);
  eq.add_term(1, QNumber(1));
  eq.add_term(2, QNumber(-4));
  eq.add_term(3, QNumber(2));
  b.add(eq);
  EXPECT_EQ("x3 = -1/2*x1 + 2*x2", b.rows());
}

TEST(Tableau, BasicVariablesOfANewEquationAreReplacedByTheirRows) {
  Bench b;
  b.add("x3 = x1 + x2");
  EXPECT_EQ((Ints{4}), b.add("x4 = x3 + 2*x1 - x5"));
  EXPECT_EQ("x3 = x1 + x2; x4 = 3*x1 + x2 - x5", b.rows());
}

TEST(Tableau, SubstitutionLeavesNoZeroCoefficient) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x3 - x1");
  EXPECT_EQ("x3 = x1 + x2; x4 = x2", b.rows());
  EXPECT_EQ((Ints{3}), basics_of(b.tableau, 1));
}

TEST(Tableau, ANewBasicVariableLeavesAllOtherRowsAndThoseAreReported) {
  Bench b;
  b.add_all("x3 = x1 + x2; x6 = x2 + x7; x8 = 3*x1");
  EXPECT_EQ((Ints{1, 3, 8}), b.add("x1 = x4 + x5"));
  EXPECT_EQ("x1 = x4 + x5; x3 = x2 + x4 + x5; x6 = x2 + x7; x8 = 3*x4 + 3*x5", b.rows());
  EXPECT_EQ(0u, b.tableau.column_count(1));
}

TEST(Tableau, ADependentEquationAddsNoRow) {
  Bench b;
  b.add("x3 = x1 + x2");
  EXPECT_EQ((Ints{}), b.add("x3 = x1 + x2"));
  EXPECT_EQ((Ints{}), b.add("x1 = x3 - x2"));
  EXPECT_EQ((Ints{}), b.add("0 = 2*x3 - 2*x1 - 2*x2"));
  EXPECT_EQ("x3 = x1 + x2", b.rows());
  EXPECT_TRUE(b.tableau.check());
}

TEST(Tableau, ASecondEquationForABasicVariableMakesAnotherVariableBasic) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.add("x3 = x4 + x5");
  EXPECT_EQ(2u, b.tableau.rows().num_present());
  EXPECT_TRUE(b.tableau.is_basic(3));
  EXPECT_TRUE(b.tableau.is_basic(1)) << "the smallest that remains";
  EXPECT_EQ("x1 = -x2 + x4 + x5; x3 = x4 + x5", b.rows());
}

TEST(Tableau, ThePreferredVariableBecomesBasicWhenTheDefiningOneCannot) {
  Bench b;
  b.add("x3 = x1 + x2");
  Ints rows;
  b.tableau.add_equation(equation("x3 = x4 + x5"), true, &rows, [](int v) { return v >= 4; });
  b.fine();
  EXPECT_TRUE(b.tableau.is_basic(4));
  EXPECT_EQ("x3 = x1 + x2; x4 = x1 + x2 - x5", b.rows());
}

TEST(Tableau, AnEquationThatDefinesNothingMakesItsSmallestVariableBasic) {
  Bench b;
  EXPECT_EQ((Ints{2}), b.add("0 = 3*x2 - 6*x4"));
  EXPECT_EQ("x2 = 2*x4", b.rows());
}

TEST(Tableau, AnEquationMayForceAVariableToZero) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.add("0 = x1");
  EXPECT_EQ("x1 = 0; x3 = x2", b.rows());
  b.add("x5 = 0");
  EXPECT_EQ("x1 = 0; x3 = x2; x5 = 0", b.rows());
}

TEST(Tableau, AConstantThatRemainsAloneIsAContradiction) {
  Bench b;
  EXPECT_TRUE(b.tableau.check());
  b.add("0 = 1");
  EXPECT_FALSE(b.tableau.check());
  EXPECT_EQ("", b.rows());
}

TEST(Tableau, AContradictionAfterSubstitutionIsFound) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.add("0 = x3 - x1 - x2 + 1/7");
  EXPECT_FALSE(b.tableau.check());
  EXPECT_EQ("x3 = x1 + x2", b.rows());
}

TEST(Tableau, AZeroConstantThatRemainsAloneIsNoContradiction) {
  Bench b;
  b.add("0 = 0");
  EXPECT_TRUE(b.tableau.check());
  EXPECT_EQ(0u, b.tableau.get_num_variables());
}

// ---- pivots ----

TEST(Tableau, PivotExchangesBasicAndNonBasic) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1 - x2");
  b.pivot(3, 1);
  EXPECT_EQ("x1 = -x2 + x3; x4 = -2*x2 + x3", b.rows());
  EXPECT_FALSE(b.tableau.is_basic(3));
  EXPECT_EQ((Ints{1, 4}), basics_of(b.tableau, 2));
  EXPECT_EQ((Ints{1, 4}), basics_of(b.tableau, 3));
  EXPECT_EQ(0u, b.tableau.column_count(1));
}

TEST(Tableau, PivotDividesByTheCoefficient) {
  Bench b;
  b.add_all("x3 = -2*x1 + 3*x2; x4 = 1/5*x1");
  b.pivot(3, 1);
  EXPECT_EQ("x1 = 3/2*x2 - 1/2*x3; x4 = 3/10*x2 - 1/10*x3", b.rows());
}

TEST(Tableau, PivotThatCancelsATermAlsoLeavesTheColumn) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1 + x2 + x5");
  b.pivot(3, 1);
  EXPECT_EQ("x1 = -x2 + x3; x4 = x3 + x5", b.rows());
  EXPECT_EQ((Ints{1}), basics_of(b.tableau, 2));
}

TEST(Tableau, PivotLeavesRowsOutsideTheColumnAlone) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = 2*x2 + x5");
  b.pivot(3, 1);
  EXPECT_EQ("x1 = -x2 + x3; x4 = 2*x2 + x5", b.rows());
}

TEST(Tableau, PivotAndPivotBackIsTheSameTableau) {
  Bench b;
  b.add_all("x4 = 2*x1 - 3*x2 + 7*x3; x5 = x1 + x2 + x3; x6 = x2 - 1/9*x3");
  const std::string before = b.rows();
  b.pivot(4, 2);
  b.pivot(2, 4);
  EXPECT_EQ(before, b.rows());
}

TEST(Tableau, ATermMayComeBackAfterItVanished) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1 + x2 + x5");
  b.pivot(3, 1);
  EXPECT_EQ((Ints{1}), basics_of(b.tableau, 2));
  b.pivot(1, 3);
  EXPECT_EQ((Ints{3, 4}), basics_of(b.tableau, 2));
  EXPECT_EQ(2u, b.tableau.column_count(2));
}

// ---- setting variables aside ----

TEST(Tableau, ABasicVariableIsSetAsideWithItsRow) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1");
  b.eliminate({3});
  EXPECT_EQ("x4 = x1", b.rows());
  EXPECT_TRUE(b.tableau.is_eliminated(3));
  EXPECT_FALSE(b.tableau.is_basic(3));
  EXPECT_EQ("x3 = x1 + x2", b.aside(3));
  EXPECT_EQ((Ints{1, 2, 4}), b.tableau.get_all_variables());
  EXPECT_EQ(0u, b.tableau.column_count(2)) << "x2 stays, although in no row";
}

TEST(Tableau, ANonBasicVariableLeavesThroughTheShortestRowOfItsColumn) {
  Bench b;
  b.add_all("x5 = x1 + x2 + x3; x6 = 2*x1 + x2; x7 = x1 + x2 + x3 + x4");
  b.eliminate({1});
  EXPECT_EQ("x1 = -1/2*x2 + 1/2*x6", b.aside(1));
  EXPECT_EQ("x5 = 1/2*x2 + x3 + 1/2*x6; x7 = 1/2*x2 + x3 + x4 + 1/2*x6", b.rows());
  EXPECT_FALSE(b.tableau.is_basic(6));
}

TEST(Tableau, AVariableInNoRowIsSetAsideFree) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({1, 2});
  EXPECT_EQ("", b.rows());
  ASSERT_NE(nullptr, b.tableau.get_eliminated_equation(1));
  ASSERT_NE(nullptr, b.tableau.get_eliminated_equation(2));
  EXPECT_EQ("x1 = -x2 + x3", b.aside(1));
  EXPECT_TRUE(b.tableau.get_eliminated_equation(2)->terms().empty());
  EXPECT_EQ((Ints{3}), b.tableau.get_all_variables());
}

TEST(Tableau, EliminatingNothingChangesNothing) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({});
  EXPECT_EQ("x3 = x1 + x2", b.rows());
  EXPECT_EQ(3u, b.tableau.get_num_variables());
}

TEST(Tableau, OnlyEliminatedVariablesHaveAnEliminatedEquation) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({2});
  EXPECT_EQ("x2 = -x1 + x3", b.aside(2));
  EXPECT_FALSE(b.tableau.is_eliminated(1));
  EXPECT_FALSE(b.tableau.is_eliminated(3));
  EXPECT_FALSE(b.tableau.is_eliminated(1000));
}

TEST(Tableau, EveryEliminatedVariableHasAnEquation) {
  Bench b;
  b.add_all("x5 = x1 + x2; x6 = x2 + x3; x7 = x5 + x6 + x4");
  b.eliminate({1, 2, 3, 4, 5, 6, 7});
  for (int v = 1; v <= 7; ++v) {
    EXPECT_TRUE(b.tableau.is_eliminated(v));
    EXPECT_NE(nullptr, b.tableau.get_eliminated_equation(v)) << v;
  }
  EXPECT_EQ("", b.rows());
  EXPECT_EQ(0u, b.tableau.get_num_variables());
}

// ---- bringing them back ----

TEST(Tableau, AnEliminatedVariableComesBackBasic) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1");
  b.eliminate({3});
  EXPECT_EQ((Ints{3}), b.uneliminate(3));
  EXPECT_EQ("x3 = x1 + x2; x4 = x1", b.rows());
}

TEST(Tableau, AVariableSetAsideFreeComesBackNonBasicWithoutARow) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({1, 2});
  EXPECT_EQ((Ints{}), b.uneliminate(2));
  EXPECT_FALSE(b.tableau.is_basic(2));
  EXPECT_EQ((Ints{2, 3}), b.tableau.get_all_variables());
  EXPECT_TRUE(b.tableau.is_eliminated(1));
}

TEST(Tableau, BringingOneBackFirstBringsBackThoseItsEquationNeeds) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({1, 2});
  EXPECT_EQ((Ints{1}), b.uneliminate(1));
  EXPECT_FALSE(b.tableau.is_eliminated(2));
  EXPECT_FALSE(b.tableau.is_basic(2));
  EXPECT_EQ("x1 = -x2 + x3", b.rows());
}

TEST(Tableau, AVariableForcedToZeroDoesNotComeBackFree) {
  Bench b;
  b.add_all("x1 = 0; x3 = x1 + x2");
  b.eliminate({1});
  b.uneliminate(1);
  EXPECT_EQ("x1 = 0; x3 = x2", b.rows());
}

TEST(Tableau, AnEquationBringsItsEliminatedVariablesBack) {
  Bench b;
  b.add_all("x3 = x1 + x2; x6 = x4 + x5");
  b.eliminate({3, 4});
  Ints rows = b.add("x7 = x3 + x8");
  EXPECT_FALSE(b.tableau.is_eliminated(3));
  EXPECT_TRUE(b.tableau.is_eliminated(4));
  EXPECT_EQ("x3 = x1 + x2; x7 = x1 + x2 + x8", b.rows());
  EXPECT_EQ((Ints{3, 7}), rows);
}

TEST(Tableau, AnEquationThatDefinesAnEliminatedVariableBringsItBack) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({3});
  b.add("x3 = x4");
  EXPECT_FALSE(b.tableau.is_eliminated(3));
  EXPECT_EQ(2u, b.tableau.rows().num_present());
  EXPECT_EQ("x1 = -x2 + x4; x3 = x4", b.rows());
}

// ---- removing ----

TEST(Tableau, RemovingABasicVariableDropsItsRow) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1");
  b.remove(3);
  EXPECT_EQ("x4 = x1", b.rows());
  EXPECT_EQ((Ints{1, 2, 4}), b.tableau.get_all_variables()) << "x2 stays known";
  EXPECT_FALSE(b.tableau.is_basic(3));
}

TEST(Tableau, RemovingAVariableThatHasBecomeNonBasicDropsOneRow) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1 - x2");
  b.pivot(3, 1);
  b.remove(3);
  EXPECT_EQ(1u, b.tableau.rows().num_present());
  EXPECT_EQ((Ints{1, 2, 4}), b.tableau.get_all_variables());
  // What is left says exactly x4 = x1 - x2.
  EXPECT_EQ((Ints{}), b.add("x4 = x1 - x2"));
  EXPECT_TRUE(b.tableau.check());
}

TEST(Tableau, RemovingAnEliminatedVariableForgetsItsEquation) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x1");
  b.eliminate({3});
  b.remove(3);
  EXPECT_FALSE(b.tableau.is_eliminated(3));
  EXPECT_EQ("x4 = x1", b.rows());
}

// x4 was set aside as x4 = x3 - x1; without x3 it must not point at x3 any more.
TEST(Tableau, RemovingAVariableReplacesItInTheEquationsOfEliminatedOnes) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x3 + x5");
  b.eliminate({4});
  ASSERT_EQ("x4 = x1 + x2 + x5", b.aside(4));
  b.pivot(3, 1);
  b.remove(3);
  ASSERT_TRUE(b.tableau.is_eliminated(4));
  b.uneliminate(4);
  b.add("x3 = x6");  // a new meaning for x3
  EXPECT_EQ((Ints{}), b.add("x4 = x1 + x2 + x5")) << "the old equation of x4 still holds";
  Ints rows = b.add("x4 = x3 + x7");
  EXPECT_FALSE(rows.empty()) << "x4 and x3 are no longer linked";
}

TEST(Tableau, RemovingAVariableThatOnlyEliminatedEquationsMentionFreesOneOfThem) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.eliminate({1});
  ASSERT_EQ("x1 = -x2 + x3", b.aside(1));
  b.remove(3);  // the equation was the only link between x1 and x2
  b.uneliminate(1);
  EXPECT_EQ("", b.rows());
  b.add("x3 = x5");
  EXPECT_EQ("x3 = x5", b.rows());
}

TEST(Tableau, ARemovedVariableMayBeDefinedAnew) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.remove(3);
  b.add("x3 = x1 - x2");
  EXPECT_EQ("x3 = x1 - x2", b.rows());
}

TEST(Tableau, RemovingAnUnknownVariableChangesNothing) {
  Bench b;
  b.add("x3 = x1 + x2");
  b.remove(50);
  EXPECT_EQ("x3 = x1 + x2", b.rows());
}

// ---- text ----

TEST(Tableau, TextIsOneLineForEachRowAndOneForWhatWasSetAside) {
  Bench b;
  b.add_all("x5 = 2*x1 - 1/2*x2; x3 = x1 + x2; x4 = x2");
  EXPECT_EQ(b.tableau.row(3).to_str(true) + "\n" + b.tableau.row(4).to_str(true) + "\n" +
                b.tableau.row(5).to_str(true) + "\n",
            b.tableau.to_str());
  b.eliminate({4});
  EXPECT_EQ(b.tableau.row(3).to_str(true) + "\n" + b.tableau.row(5).to_str(true) + "\n" +
                "eliminated: " + b.tableau.get_eliminated_equation(4)->to_str(true) + "\n",
            b.tableau.to_str());
}

TEST(Tableau, TextOfARow) {
  Bench b;
  b.add("x3 = 2*x1 - 1/2*x2");
  EXPECT_EQ("x3 = 2*x1 + -1/2*x2\n", b.tableau.to_str());
}

// ---- the checker itself ----

TEST(Tableau, TheCheckerNoticesATermWithoutItsColumnEntry) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x5");
  const_cast<Equation&>(b.tableau.row(3)).add_term(5, QNumber(1));
  EXPECT_NE("", b.tableau.check_invariants());
}

TEST(Tableau, TheCheckerNoticesAColumnEntryWithoutItsTerm) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x5");
  const_cast<Equation&>(b.tableau.row(3)).add_term(1, QNumber(-1));
  EXPECT_NE("", b.tableau.check_invariants());
}

TEST(Tableau, TheCheckerNoticesABasicVariableInARow) {
  Bench b;
  b.add_all("x3 = x1 + x2; x4 = x5");
  const_cast<Equation&>(b.tableau.row(3)).add_term(4, QNumber(1));
  EXPECT_NE("", b.tableau.check_invariants());
}

// ---- random steps against exact linear algebra ----

// The space of all assignments that the tableau allows, as a list of equations.
std::vector<LinearForm> forms_of(const Tableau& tableau, int num_vars) {
  std::vector<LinearForm> forms;
  for (int v = 0; v < num_vars; ++v) {
    if (tableau.is_basic(v)) forms.push_back(test::to_form(tableau.row(v)));
    const Equation* aside = tableau.is_eliminated(v) ? tableau.get_eliminated_equation(v) : nullptr;
    if (aside != nullptr && !tableau.is_free_eliminated(v)) {
      LinearForm form = test::to_form(*aside);
      if (form.coeff(v) == 0) form.coeffs[v] = -1;
      forms.push_back(form);
    }
  }
  return forms;
}

// Brings `form` to zero through an echelon form of `basis`, or returns what is left.
LinearForm remainder(std::vector<LinearForm> basis, LinearForm form) {
  while (!basis.empty()) {
    LinearForm pivot = basis.back();
    basis.pop_back();
    if (pivot.coeffs.empty()) continue;
    int var = pivot.coeffs.begin()->first;
    for (LinearForm& other : basis) substitute(pivot, var, &other);
    substitute(pivot, var, &form);
  }
  return form;
}

bool contained(const std::vector<LinearForm>& forms, const std::vector<LinearForm>& basis) {
  return std::all_of(forms.begin(), forms.end(),
                     [&](const LinearForm& f) { return remainder(basis, f).coeffs.empty(); });
}

class TableauWalk : public testing::TestWithParam<unsigned> {
 protected:
  static constexpr int kVars = 9;
  std::mt19937 random{GetParam()};
  Bench bench;
  std::vector<LinearForm> told;

  int draw(int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); }

  Equation random_equation() {
    static const char* const coefficients[] = {"1", "-1", "2", "-2", "1", "1/3", "-5/7", "1000000007"};
    Equation eq = draw(5) == 0 ? Equation() : Equation(draw(kVars));
    for (int i = draw(4); i >= 0; --i) {
      int var = draw(kVars);
      if (var != eq.defining_var()) eq.add_term(var, test::rational(coefficients[draw(8)]));
    }
    return eq;
  }

  void step() {
    Tableau& t = bench.tableau;
    int var = draw(kVars);
    switch (draw(6)) {
      case 0: {
        Equation eq = random_equation();
        bench.add(eq);
        told.push_back(test::to_form(eq));
        break;
      }
      case 1:
        if (t.is_eliminated(var)) bench.uneliminate(var);
        break;
      case 2:
        if (t.has_variable(var)) bench.eliminate({var});
        break;
      case 3:
        if (draw(3) == 0) {
          bench.remove(var);
          test::project_out(var, &told);
        }
        break;
      default:
        if (t.is_basic(var) && !t.row(var).terms().empty()) {
          const auto& terms = t.row(var).terms();
          bench.pivot(var, terms[static_cast<std::size_t>(draw(static_cast<int>(terms.size())))].var);
        }
    }
  }
};

// No step may change the set of assignments that the equations allow.
TEST_P(TableauWalk, KeepsTheSpaceOfSolutions) {
  for (int i = 0; i < 60 && !HasFailure(); ++i) {
    step();
    std::vector<LinearForm> now = forms_of(bench.tableau, kVars);
    ASSERT_TRUE(contained(told, now)) << "seed " << GetParam() << ": an equation got lost in step " << i;
    ASSERT_TRUE(contained(now, told)) << "seed " << GetParam() << ": an equation too many after step " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TableauWalk, testing::Range(1u, 41u));

}  // namespace
}  // namespace tarku::la

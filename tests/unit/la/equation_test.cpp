// Equations: the defining word, terms in order, lookup, text.
#include "tarku/la/equation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <type_traits>

namespace tarku::la {
namespace {

// The terms as text, in stored order.
std::string terms_text(const Equation& equation) {
  std::string text;
  for (const Equation::VarCoeff& term : equation.terms()) {
    text += std::to_string(term.var) + ":" + term.coeff.to_str() + " ";
  }
  return text;
}

std::uint32_t first_word(const Equation& equation) {
  std::uint32_t word;
  std::memcpy(&word, static_cast<const void*>(&equation), sizeof(word));
  return word;
}

TEST(Equation, FreshEquationsDefineNothingOrTheirVariable) {
  Equation nothing;
  EXPECT_EQ(-1, nothing.defining_var());
  EXPECT_TRUE(nothing.terms().empty());
  EXPECT_EQ("0", nothing.constant().to_str());
  EXPECT_EQ(3, Equation(3).defining_var());
  EXPECT_EQ(0, Equation(0).defining_var());
  static_assert(!std::is_convertible_v<int, Equation>);
}

TEST(Equation, TheDefiningWordComesFirst) {
  EXPECT_EQ(0u, first_word(Equation()));
  EXPECT_EQ(2u, first_word(Equation(0)));
  EXPECT_EQ(8u, first_word(Equation(3)));
  EXPECT_EQ(1u << 31, first_word(Equation((1 << 30) - 1)));
  EXPECT_EQ((1 << 30) - 1, Equation((1 << 30) - 1).defining_var());
}

TEST(Equation, TheDefiningVariableCanBeChanged) {
  Equation equation(3);
  equation.set_defining_var(7);
  EXPECT_EQ(7, equation.defining_var());
  equation.set_defining_var(-1);
  EXPECT_EQ(-1, equation.defining_var());
  EXPECT_EQ(0u, first_word(equation));
}

TEST(Equation, TermsAscendWhateverTheOrderOfAdding) {
  Equation equation;
  for (int var : {4, 1, 9, 0, 6}) equation.add_term(var, QNumber(var + 1));
  EXPECT_EQ("0:1 1:2 4:5 6:7 9:10 ", terms_text(equation));
}

TEST(Equation, RepeatedVariablesAreSummedAndZerosDropped) {
  Equation equation;
  equation.add_term(2, QNumber(1, 2));
  equation.add_term(5, QNumber(3));
  equation.add_term(2, QNumber(1, 3));
  EXPECT_EQ("2:5/6 5:3 ", terms_text(equation));
  equation.add_term(5, QNumber(-3));
  EXPECT_EQ("2:5/6 ", terms_text(equation));
  equation.add_term(7, QNumber(0));
  equation.add_term(1, QNumber(0));
  EXPECT_EQ("2:5/6 ", terms_text(equation));
  equation.add_term(2, QNumber(-5, 6));
  EXPECT_TRUE(equation.terms().empty());
}

TEST(Equation, AddTermTakesACoefficientOfItsOwn) {
  Equation equation;
  for (int var = 1; var <= 8; ++var) equation.add_term(2 * var, QNumber(var));
  equation.add_term(2, equation.coeff(2));
  equation.add_term(1, equation.coeff(16));
  equation.add_term(100, equation.coeff(4));
  EXPECT_EQ("1:8 2:2 4:2 6:3 8:4 10:5 12:6 14:7 16:8 100:2 ", terms_text(equation));
}

TEST(Equation, CoefficientsByBinarySearch) {
  Equation equation;
  for (int var = 1; var < 100; var += 3) equation.add_term(var, QNumber(var));
  for (int var = -1; var < 103; ++var) {
    if (var >= 1 && var % 3 == 1 && var < 100) {
      EXPECT_EQ(std::to_string(var), equation.coeff(var).to_str());
    } else {
      EXPECT_EQ(&Equation::coeff_zero, &equation.coeff(var)) << var;
    }
  }
  EXPECT_EQ("0", Equation::coeff_zero.to_str());
  EXPECT_EQ(&Equation::coeff_zero, &Equation().coeff(0));
}

TEST(Equation, TermsCanBeRewrittenInPlace) {
  Equation equation(1);
  equation.add_term(2, QNumber(1));
  equation.mutable_terms().push_back({4, QNumber(5)});
  EXPECT_EQ("5", equation.coeff(4).to_str());
}

TEST(Equation, Text) {
  Equation equation(3);
  equation.add_term(2, QNumber(-1, 2));
  equation.add_term(1, QNumber(2));
  EXPECT_EQ("x3 = 2*x1 + -1/2*x2", equation.to_str(true));
  EXPECT_EQ("2*x1 + -1/2*x2", equation.to_str(false));
  equation.set_constant(QNumber(-7, 3));
  EXPECT_EQ("-7/3", equation.constant().to_str());
  EXPECT_EQ("x3 = 2*x1 + -1/2*x2 + -7/3", equation.to_str(true));
}

TEST(Equation, TextWithoutTerms) {
  Equation equation(3);
  EXPECT_EQ("x3 = 0", equation.to_str(true));
  EXPECT_EQ("0", equation.to_str(false));
  equation.set_constant(QNumber(5));
  EXPECT_EQ("x3 = 5", equation.to_str(true));
  EXPECT_EQ("0 = 0", Equation().to_str(true));
}

TEST(Equation, TextPutsTheOwnTermOnTheLeft) {
  Equation equation(3);
  equation.add_term(1, QNumber(2));
  equation.add_term(3, QNumber(-1));
  EXPECT_EQ("x3 = 2*x1", equation.to_str(true));
  EXPECT_EQ("2*x1", equation.to_str(false));
}

TEST(Equation, TextOfAnUnsolvedEquation) {
  Equation equation(3);
  equation.add_term(1, QNumber(2));
  equation.add_term(3, QNumber(4));
  EXPECT_EQ("0 = 2*x1 + 4*x3", equation.to_str(true));
  equation.set_defining_var(-1);
  EXPECT_EQ("0 = 2*x1 + 4*x3", equation.to_str(true));
  EXPECT_EQ("2*x1 + 4*x3", equation.to_str(false));
}

TEST(Equation, RandomSumsAgreeWithAMap) {
  const unsigned seed = 5;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  for (int round = 0; round < 200; ++round) {
    Equation equation;
    std::map<int, QNumber> model;
    for (int step = 0; step < 60; ++step) {
      const int var = static_cast<int>(random() % 12);
      const QNumber c(static_cast<int>(random() % 5) - 2, static_cast<int>(random() % 2) + 1);
      equation.add_term(var, c);
      model[var] += c;
      if (model[var].sign() == 0) model.erase(var);
    }
    ASSERT_EQ(model.size(), equation.terms().size());
    auto expected = model.begin();
    for (const Equation::VarCoeff& term : equation.terms()) {
      ASSERT_EQ(expected->first, term.var);
      ASSERT_TRUE(expected->second == term.coeff);
      ++expected;
    }
  }
}

}  // namespace
}  // namespace tarku::la

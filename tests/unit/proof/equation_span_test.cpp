// Multiples of equations that cancel a form: by hand, and against dense elimination on random systems.
#include "tarku/proof/equation_span.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace tarku::proof {
namespace {

using Form = std::vector<Monomial>;

Form form(const std::vector<std::pair<int, QNumber>>& terms) {
  Form result;
  for (const auto& [variable, coeff] : terms) result.push_back({variable, coeff});
  return result;
}

std::map<int, QNumber> as_map(const Form& f) {
  std::map<int, QNumber> result;
  for (const Monomial& m : f) result[m.variable] += m.coeff;
  for (auto it = result.begin(); it != result.end();) it = it->second.is_zero() ? result.erase(it) : std::next(it);
  return result;
}

TEST(EquationSpan, WithoutEquationsLeavesTheForm) {
  EquationSpan span;
  Form f = form({{1, 2}, {3, -1}});
  EXPECT_TRUE(span.is_empty());
  EXPECT_TRUE(span.reduce(&f).empty());
  EXPECT_EQ(as_map(f), as_map(form({{1, 2}, {3, -1}})));
}

TEST(EquationSpan, FindsTheMultiplesThatCancel) {
  EquationSpan span;
  span.add(7, form({{1, 1}, {2, 1}, {3, -1}}));   // x + y - s
  span.add(9, form({{1, 1}, {2, -1}, {4, -1}}));  // x - y - t
  Form f = form({{3, 3}, {4, 5}, {1, -8}, {2, 2}});
  std::map<int, QNumber> multiples;
  for (const auto& multiple : span.reduce(&f)) multiples[multiple.equation] = multiple.factor;
  EXPECT_TRUE(f.empty());
  EXPECT_EQ(multiples, (std::map<int, QNumber>{{7, -3}, {9, -5}}));
}

TEST(EquationSpan, UsesThePivotThatItIsGiven) {
  EquationSpan span;
  span.add(1, form({{1, 1}, {2, 4}}), 2);
  Form f = form({{1, 1}});
  EXPECT_TRUE(span.reduce(&f).empty());
  EXPECT_EQ(f.size(), 1u);
  f = form({{2, 1}});
  ASSERT_EQ(span.reduce(&f).size(), 1u);
  EXPECT_EQ(as_map(f), (std::map<int, QNumber>{{1, QNumber(-1, 4)}}));
}

TEST(EquationSpan, PassesOverWhatOthersImply) {
  EquationSpan span;
  span.add(1, form({{1, 1}, {2, 1}}));
  span.add(2, form({{1, 2}, {2, 2}}));
  span.add(3, {});
  Form f = form({{1, 5}, {2, 5}});
  const auto multiples = span.reduce(&f);
  ASSERT_EQ(multiples.size(), 1u);
  EXPECT_EQ(multiples[0].equation, 1);
  EXPECT_EQ(multiples[0].factor, QNumber(5));
  EXPECT_TRUE(f.empty());
}

// The identity that the class promises, and that nothing of the span is left.
TEST(EquationSpan, KeepsItsPromiseOnRandomSystems) {
  std::mt19937 random(4711);
  const auto below = [&random](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  for (int round = 0; round < 500; ++round) {
    EquationSpan span;
    const int num_equations = below(9), num_variables = 1 + below(10);
    std::vector<Form> equations;
    const auto random_form = [&] {
      Form f;
      for (int v = 1; v <= num_variables; ++v) {
        if (below(3) == 0) f.push_back({v, QNumber(below(9) - 4, 1 + below(4))});
      }
      return f;
    };
    for (int e = 0; e < num_equations; ++e) {
      equations.push_back(random_form());
      span.add(e, equations.back());
    }
    // A combination of the equations cancels, and adding a form commutes with reduction.
    Form inside;
    for (const Form& equation : equations) {
      const QNumber factor(below(7) - 3, 1 + below(3));
      for (const Monomial& m : equation) inside.push_back({m.variable, m.coeff * factor});
    }
    const Form outside = random_form();
    for (const bool with_more : {false, true}) {
      Form f = inside;
      if (with_more) f.insert(f.end(), outside.begin(), outside.end());
      std::map<int, QNumber> sum = as_map(f);
      Form rest = f;
      for (const auto& multiple : span.reduce(&rest)) {
        for (const Monomial& m : equations[static_cast<std::size_t>(multiple.equation)]) {
          sum[m.variable].sub_mul(multiple.factor, m.coeff);
        }
      }
      for (auto it = sum.begin(); it != sum.end();) it = it->second.is_zero() ? sum.erase(it) : std::next(it);
      EXPECT_EQ(as_map(rest), sum);
      if (!with_more) {
        EXPECT_TRUE(rest.empty());
      }
      if (with_more) {
        Form alone = outside;
        span.reduce(&alone);
        EXPECT_EQ(as_map(rest), as_map(alone));
      }
    }
  }
}

}  // namespace
}  // namespace tarku::proof

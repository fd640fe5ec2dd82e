// The oracle of the random tester: its numbers against GMP, its two methods against each other.
#include "tests/tools/oracle.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace tarku::tester {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

Rational number(const std::string& text) {
  Rational value;
  EXPECT_TRUE(Rational::parse(text, &value)) << text;
  return value;
}

TEST(OracleRational, LowestTermsAndSigns) {
  EXPECT_EQ(Rational(2, 4).to_str(), "1/2");
  EXPECT_EQ(Rational(3, -6).to_str(), "-1/2");
  EXPECT_EQ(Rational(0, -5).to_str(), "0");
  EXPECT_EQ(number("6/4").to_str(), "3/2");
  EXPECT_EQ(number("-7/2").floor().to_str(), "-4");
}

TEST(OracleRational, LeavesMachineWordsAndComesBack) {
  const Rational above = Rational(kMax) + 1;
  EXPECT_FALSE(above.is_small());
  EXPECT_EQ(above.to_str(), "9223372036854775808");
  EXPECT_TRUE((above - 1).is_small());
  EXPECT_EQ(above - 1, Rational(kMax));
  EXPECT_EQ(number("-9223372036854775808").to_str(), "-9223372036854775808");
}

TEST(OracleRational, RefusesBadText) {
  Rational value;
  for (const char* text : {"", "-", "1/0", "1.5", "1/", "/2", "a", "1 "}) {
    EXPECT_FALSE(Rational::parse(text, &value)) << text;
  }
}

TEST(OracleRational, AgreesWithGmp) {
  std::mt19937_64 random(1);
  const std::vector<Rational> values = {0,
                                        1,
                                        -1,
                                        2,
                                        {1, 2},
                                        {-2, 3},
                                        kMax,
                                        -kMax,
                                        {1, kMax},
                                        {kMax, kMax - 1},
                                        number("123456789012345678901/7"),
                                        number("-18446744073709551616")};
  for (int i = 0; i < 2000; ++i) {
    const Rational& a = values[random() % values.size()];
    const Rational& b = values[random() % values.size()];
    EXPECT_TRUE((a + b).to_mpq() == a.to_mpq() + b.to_mpq()) << a.to_str() << " " << b.to_str();
    EXPECT_TRUE((a - b).to_mpq() == a.to_mpq() - b.to_mpq()) << a.to_str() << " " << b.to_str();
    EXPECT_TRUE((a * b).to_mpq() == a.to_mpq() * b.to_mpq()) << a.to_str() << " " << b.to_str();
    EXPECT_EQ(a < b, a.to_mpq() < b.to_mpq()) << a.to_str() << " " << b.to_str();
    if (b.sign() == 0) continue;
    EXPECT_TRUE((a / b).to_mpq() == a.to_mpq() / b.to_mpq()) << a.to_str() << " " << b.to_str();
  }
}

TEST(OracleValue, TextRoundTrip) {
  for (const char* text : {"0", "3/2", "3+1d", "-3-1/2d", "0-1d"}) {
    Value value;
    ASSERT_TRUE(Value::parse(text, &value)) << text;
    EXPECT_EQ(value.to_str(), text);
  }
  EXPECT_LT(compare(Value(3, -1), Value(3)), 0);
  EXPECT_LT(compare(Value(3, 5), Value(4)), 0);
}

TEST(OracleForm, NormalizesAndAdds) {
  const Form form = normalized({{3, 1}, {1, 2}, {3, -1}, {2, 0}});
  EXPECT_EQ(to_str(form), "2*x1");
  EXPECT_EQ(to_str(sum({{1, 1}, {2, 1}}, {{1, 1}, {3, 1}}, -1)), "x2 + -1*x3");
}

TEST(OracleEquations, RecognisesDependentOnes) {
  EquationSystem system;
  EXPECT_TRUE(system.add({{1, 1}, {2, 1}, {3, -1}}));
  EXPECT_TRUE(system.add({{1, 1}, {3, -2}}));
  EXPECT_FALSE(system.add({{2, 1}, {3, 1}}));
  EXPECT_TRUE(system.implies_zero({{2, 2}, {3, 2}}));
  EXPECT_FALSE(system.implies_zero({{2, 1}}));
}

TEST(OracleFeasible, BoundsAlone) {
  const EquationSystem none;
  EXPECT_TRUE(feasible(none, {}));
  EXPECT_TRUE(feasible(none, {{1, false, Value(3)}, {1, true, Value(3)}}));
  EXPECT_FALSE(feasible(none, {{1, false, Value(3)}, {1, true, Value(3, -1)}}));
  EXPECT_FALSE(feasible(none, {{1, false, Value(3), true}, {1, true, Value(3)}}));
  EXPECT_TRUE(feasible(none, {{1, false, Value(3), true}, {1, true, Value(3, 1)}}));
}

TEST(OracleFeasible, RowsDecide) {
  EquationSystem system;  // x3 = x1 + x2
  system.add({{1, 1}, {2, 1}, {3, -1}});
  const std::vector<Limit> limits = {{1, false, Value(5)}, {3, true, Value(3)}, {2, false, Value(0)}};
  EXPECT_FALSE(feasible(system, limits));
  EXPECT_TRUE(feasible(system, {limits[0], limits[1]}));
  EXPECT_TRUE(feasible(system, {limits[0], limits[2]}));
  EXPECT_TRUE(feasible(system, {limits[1], limits[2]}));
}

TEST(OracleFeasible, StrictnessAddsUp) {
  EquationSystem system;  // x3 = x1 + x2
  system.add({{1, 1}, {2, 1}, {3, -1}});
  // x1 > 0, x2 > 0 and x3 <= two infinitesimals: just possible; one infinitesimal less: not.
  std::vector<Limit> limits = {{1, false, Value(0, 1)}, {2, false, Value(0, 1)}, {3, true, Value(0, 2)}};
  EXPECT_TRUE(feasible(system, limits));
  limits[2].strict = true;
  EXPECT_FALSE(feasible(system, limits));
  limits[2] = {3, true, Value(0, 1)};
  EXPECT_FALSE(feasible(system, limits));
}

// ---- the two methods against each other ----

struct Problem {
  std::vector<Form> equations;
  EquationSystem system;
  std::vector<Limit> limits;
};

Rational draw(std::mt19937_64& random, bool huge) {
  static const std::vector<Rational> small = {0, 1, -1, 2, -2, 3, {1, 2}, {-1, 3}};
  static const std::vector<Rational> large = {kMax, -kMax, {1, kMax}, number("18446744073709551617/3")};
  return huge && random() % 4 == 0 ? large[random() % large.size()] : small[random() % small.size()];
}

Problem random_problem(std::mt19937_64& random) {
  Problem problem;
  const bool huge = random() % 10 == 0;
  const int vars = static_cast<int>(1 + random() % 5);
  const auto var = [&] { return static_cast<int>(1 + random() % static_cast<unsigned>(vars)); };
  for (std::uint64_t i = random() % 4; i > 0; --i) {
    Form form = {{var(), -1}};
    for (std::uint64_t j = 1 + random() % 3; j > 0; --j) form.push_back({var(), draw(random, huge)});
    problem.equations.push_back(normalized(form));
    problem.system.add(problem.equations.back());
  }
  for (std::uint64_t i = random() % 9; i > 0; --i) {
    const Value value(draw(random, huge), static_cast<std::int64_t>(random() % 3) - 1);
    problem.limits.push_back({var(), random() % 2 == 0, value, random() % 5 == 0});
  }
  return problem;
}

TEST(OracleFeasible, AgreesWithFourierMotzkin) {
  std::mt19937_64 random(20240607);
  int feasible_count = 0;
  const int rounds = 4000;
  for (int i = 0; i < rounds; ++i) {
    const Problem problem = random_problem(random);
    const bool expected = feasible_by_elimination(problem.equations, problem.limits);
    feasible_count += expected;
    ASSERT_EQ(feasible(problem.system, problem.limits), expected) << "round " << i;
  }
  EXPECT_GT(feasible_count, rounds / 10);
  EXPECT_LT(feasible_count, rounds - rounds / 10);
}

}  // namespace
}  // namespace tarku::tester

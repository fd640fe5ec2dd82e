// Exact solutions of integer systems, judged by the system itself.
#include "tarku/lp/integer_system.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tarku::lp {
namespace {

using Matrix = std::vector<std::vector<mpz_class>>;
using Vector = std::vector<mpz_class>;

mpz_class to_mpz(const Integer& value) {
  return mpz_class(value.z());
}

Integer to_integer(const mpz_class& value) {
  Integer result;
  mpz_set(result.z(), value.get_mpz_t());
  return result;
}

mpz_class power_of_two(unsigned exponent) {
  return mpz_class(1) << exponent;
}

const mpz_class prime = power_of_two(61) - 1;

// By Erwin Bareiss's elimination without fractions.
mpz_class determinant(Matrix a) {
  mpz_class last = 1;
  int sign = 1;
  for (std::size_t k = 0; k < a.size(); ++k) {
    std::size_t pivot = k;
    while (pivot < a.size() && a[pivot][k] == 0) ++pivot;
    if (pivot == a.size()) return 0;
    if (pivot != k) std::swap(a[k], a[pivot]), sign = -sign;
    for (std::size_t r = k + 1; r < a.size(); ++r) {
      for (std::size_t c = k + 1; c < a.size(); ++c) a[r][c] = (a[k][k] * a[r][c] - a[r][k] * a[k][c]) / last;
    }
    last = a[k][k];
  }
  return sign * last;
}

class IntegerSystemTest : public testing::Test {
 protected:
  std::mt19937_64 random{7};
  gmp_randclass big_random{gmp_randinit_default};
  IntegerSystem system;

  unsigned below(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(random); }

  mpz_class number(unsigned bits) {
    const mpz_class magnitude = big_random.get_z_bits(bits);
    return below(2) == 0 ? magnitude : mpz_class(-magnitude);
  }

  Matrix matrix(std::size_t size, unsigned one_in, unsigned bits) {
    Matrix a(size, Vector(size));
    for (Vector& row : a) {
      for (mpz_class& each : row) {
        if (below(one_in) == 0) each = number(bits);
      }
    }
    return a;
  }

  bool set(const Matrix& a) {
    std::vector<IntegerSystem::Row> rows(a.size());
    for (std::size_t r = 0; r < a.size(); ++r) {
      for (std::size_t c = 0; c < a.size(); ++c) {
        if (a[r][c] != 0) rows[r].push_back({static_cast<int>(c), to_integer(a[r][c])});
      }
    }
    return system.set_matrix(std::move(rows), nullptr);
  }

  // The solutions for `b` of the matrix that was set and of its transpose.
  void expect_solutions(const Matrix& a, const Vector& b) {
    std::vector<Integer> right;
    for (const mpz_class& each : b) right.push_back(to_integer(each));
    for (const bool transposed : {false, true}) {
      SCOPED_TRACE(transposed ? "transposed" : "as it stands");
      const std::optional<IntegerSystem::Solution> x = system.solve(right, transposed, nullptr);
      ASSERT_TRUE(x.has_value());
      ASSERT_EQ(x->numerators.size(), b.size());
      EXPECT_GT(mpz_sgn(x->denominator.z()), 0);
      for (std::size_t i = 0; i < b.size(); ++i) {
        mpz_class sum;
        for (std::size_t k = 0; k < b.size(); ++k) {
          sum += (transposed ? a[k][i] : a[i][k]) * to_mpz(x->numerators[k]);
        }
        EXPECT_EQ(sum, b[i] * to_mpz(x->denominator));
      }
    }
  }
};

TEST_F(IntegerSystemTest, TheEmptySystemHasItsSolution) {
  ASSERT_TRUE(set({}));
  const std::optional<IntegerSystem::Solution> x = system.solve({}, false, nullptr);
  ASSERT_TRUE(x.has_value());
  EXPECT_TRUE(x->numerators.empty());
}

TEST_F(IntegerSystemTest, OneEquation) {
  const mpz_class numbers[] = {1,
                               -1,
                               2,
                               -3,
                               prime - 1,
                               prime + 1,
                               prime / 2,
                               2 * prime,
                               -prime,
                               prime * prime,
                               power_of_two(61),
                               power_of_two(1000) + 1,
                               0};
  for (const mpz_class& a : numbers) {
    SCOPED_TRACE(a.get_str());
    ASSERT_EQ(set({{a}}), a % prime != 0);
    if (a % prime == 0) continue;
    for (const mpz_class& b : numbers) expect_solutions({{a}}, {b});
  }
}

// Where digits, halves and fractions of the modulus begin and end.
TEST_F(IntegerSystemTest, SolutionsAroundPowersOfThePrime) {
  mpz_class power = 1;
  for (int exponent = 0; exponent < 6; ++exponent, power *= prime) {
    for (int offset = -2; offset <= 2; ++offset) {
      const mpz_class near = power + offset, half = power / 2 + offset, root = sqrt(power / 2) + offset;
      for (const mpz_class& b : {near, half, root, mpz_class(-near), mpz_class(-half), mpz_class(-root)}) {
        for (const mpz_class& a : {mpz_class(1), mpz_class(-3), root}) {
          if (a % prime == 0) continue;
          SCOPED_TRACE(b.get_str() + "/" + a.get_str());
          ASSERT_TRUE(set({{a}}));
          expect_solutions({{a}}, {b});
        }
      }
    }
  }
}

TEST_F(IntegerSystemTest, AZeroRightSideHasTheZeroSolution) {
  const Matrix a = {{2, 1, 0}, {0, 3, -1}, {5, 0, 7}};
  ASSERT_TRUE(set(a));
  expect_solutions(a, {0, 0, 0});
}

TEST_F(IntegerSystemTest, RandomSystems) {
  int num_regular = 0, num_singular = 0;
  const unsigned lengths[] = {1, 2, 3, 30, 61, 64, 200, 500};
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::size_t size = 1 + below(12);
    const Matrix a = matrix(size, 1 + below(4), lengths[below(8)]);
    const bool is_regular = determinant(a) % prime != 0;
    ASSERT_EQ(set(a), is_regular);
    ++(is_regular ? num_regular : num_singular);
    if (!is_regular) continue;
    for (int k = 0; k < 3; ++k) {
      Vector b(size);
      const unsigned bits = lengths[below(8)];
      for (mpz_class& each : b) each = below(3) == 0 ? mpz_class(0) : number(bits);
      expect_solutions(a, b);
    }
  }
  EXPECT_GT(num_regular, 100);
  EXPECT_GT(num_singular, 50);
}

// Right sides that are made of the solution: a long one with a short denominator, and so on.
TEST_F(IntegerSystemTest, PlantedSolutions) {
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::size_t size = 1 + below(8);
    const Matrix a = matrix(size, 2, 4);
    if (!set(a)) continue;
    Vector b(size);
    const unsigned bits = below(2) == 0 ? 3 : 700;
    for (std::size_t c = 0; c < size; ++c) {
      const mpz_class x = below(2) == 0 ? number(bits) : mpz_class(below(3));
      for (std::size_t r = 0; r < size; ++r) b[r] += a[r][c] * x;
    }
    expect_solutions(a, b);
  }
}

// Numerators that are longer than the right side, where no more digits than needed are computed.
TEST_F(IntegerSystemTest, LongRightSidesOverLongDeterminants) {
  for (const unsigned right_bits : {300u, 1000u, 2000u, 6000u}) {
    for (unsigned bits = 10; bits <= right_bits / 4; bits += right_bits / 20) {
      SCOPED_TRACE(std::to_string(right_bits) + " over " + std::to_string(bits));
      const Matrix a = {{number(bits), number(bits)}, {number(bits), number(bits)}};
      if (!set(a)) continue;
      expect_solutions(a, {number(right_bits), number(right_bits)});
    }
  }
}

TEST_F(IntegerSystemTest, CoefficientsThatVanishModuloThePrimeCount) {
  const Matrix a = {{1, prime, 0}, {0, 1, 3 * prime}, {-prime * prime, 0, 1}};
  ASSERT_TRUE(set(a));
  expect_solutions(a, {1, 2, 3});
  expect_solutions(a, {prime, 0, -prime});
}

TEST_F(IntegerSystemTest, SingularMatricesAreRefused) {
  EXPECT_FALSE(set({{1, 2}, {2, 4}}));
  EXPECT_FALSE(set({{0}}));
  EXPECT_FALSE(set({{1, 0}, {1, 0}}));
  EXPECT_FALSE(set({{0, 0}, {1, 1}}));
  EXPECT_FALSE(set({{prime, 1}, {0, 1}}));  // regular, but not so that it could be told
  ASSERT_TRUE(set({{1, 2}, {2, 5}}));       // and the object can be used again
  expect_solutions({{1, 2}, {2, 5}}, {1, 0});
}

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

TEST_F(IntegerSystemTest, WhatATestThrowsPassesThrough) {
  const Matrix a = {{3, 1}, {1, 7}};
  ASSERT_TRUE(set(a));
  std::vector<Integer> b;
  b.push_back(to_integer(power_of_two(500) + 1));
  b.push_back(to_integer(5));
  int num_stopped = 0;
  for (int polls = 0;; ++polls) {
    const StopAfter stop(polls);
    try {
      ASSERT_TRUE(system.solve(b, polls % 2 == 1, &stop).has_value());
      break;
    } catch (const Stopped&) {
      ++num_stopped;
    }
  }
  EXPECT_GT(num_stopped, 10);
  const StopAfter at_once(0);
  std::vector<IntegerSystem::Row> rows(1);
  rows[0].push_back({0, Integer(1)});
  EXPECT_THROW(system.set_matrix(std::move(rows), &at_once), Stopped);
  ASSERT_TRUE(set(a));
  expect_solutions(a, {1, 1});
}

}  // namespace
}  // namespace tarku::lp

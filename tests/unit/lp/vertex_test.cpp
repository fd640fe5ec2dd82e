// Vertices: values against sums written out by hand, and against dense elimination with rationals.
#include "tarku/lp/vertex.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/unit/lp/judged_program.h"

namespace tarku::lp {
namespace {

using test::at_least;
using test::at_most;
using test::between;
using test::exactly;
using test::free_side;
using test::program;
using test::to_mpq;

constexpr Place basic = Place::basic, lower = Place::lower, upper = Place::upper, nowhere = Place::free;

std::vector<std::string> texts(const std::vector<QNumber>& values) {
  std::vector<std::string> result;
  for (const QNumber& value : values) result.push_back(value.to_str());
  return result;
}

bool compute(Vertex* vertex, const LinearProgram& p, const Basis& basis, const TerminationTest* stop = nullptr) {
  return vertex->set_basis(p, basis, stop) && vertex->compute(stop);
}

// The vertex wants integers and gives integers; here both are by side, and any numbers.
std::vector<QNumber> reduced(const Vertex& vertex, const std::vector<QNumber>& costs, const TerminationTest* stop) {
  QNumber scale(1);
  for (const QNumber& cost : costs) scale *= cost.denominator();
  Vertex::Combination combination;
  Integer ignored;
  for (std::size_t s = 0; s < costs.size(); ++s) {
    if (costs[s].is_zero()) continue;
    combination.emplace_back(static_cast<int>(s), Integer());
    (costs[s] * scale).get_fraction(combination.back().second.z(), ignored.z());
  }
  Integer denominator;
  const std::optional<Vertex::Combination> result = vertex.reduced(combination, &denominator, stop);
  if (!result) return {};
  EXPECT_GT(mpz_sgn(denominator.z()), 0);
  std::vector<QNumber> sums(costs.size());
  for (const auto& [side, factor] : *result) {
    sums[static_cast<std::size_t>(side)] = QNumber::from_fraction(factor.z(), denominator.z()) / scale;
  }
  return sums;
}

// The values in words, or "none".
std::vector<std::string> vertex_of(const LinearProgram& p, const Basis& basis) {
  Vertex vertex;
  if (!compute(&vertex, p, basis)) return {"none"};
  return texts(vertex.values());
}

using Texts = std::vector<std::string>;

// 1 <= x <= 4, 0 <= y, -2 <= z <= 2, x + 2y <= 6, x - 3y + z = 1
LinearProgram example() {
  return program({between(1, 4), at_least(0), between(-2, 2)},
                 {{{{0, 1}, {1, 2}}, at_most(6)}, {{{0, 1}, {1, -3}, {2, 1}}, exactly(1)}});
}

TEST(Vertex, RowsMayBeBasic) {
  EXPECT_EQ(vertex_of(example(), {lower, lower, upper, basic, basic}), (Texts{"1", "0", "2", "1", "3"}));
  EXPECT_EQ(vertex_of(example(), {upper, lower, lower, basic, basic}), (Texts{"4", "0", "-2", "4", "2"}));
}

TEST(Vertex, ColumnsAreSolvedFor) {
  EXPECT_EQ(vertex_of(example(), {basic, basic, lower, upper, lower}), (Texts{"24/5", "3/5", "-2", "6", "1"}));
  EXPECT_EQ(vertex_of(example(), {upper, basic, basic, upper, upper}), (Texts{"4", "1", "0", "6", "1"}));
}

TEST(Vertex, OneKernelEquationAndOneBasicRow) {
  EXPECT_EQ(vertex_of(example(), {lower, basic, upper, basic, lower}), (Texts{"1", "2/3", "2", "7/3", "1"}));
}

TEST(Vertex, PlacesWithoutABoundFallBack) {
  const LinearProgram p = program({at_least(3), at_most(-2), free_side(), exactly(5), between(1, 2)}, {});
  EXPECT_EQ(vertex_of(p, {upper, lower, lower, upper, upper}), (Texts{"3", "-2", "0", "5", "2"}));
  EXPECT_EQ(vertex_of(p, {lower, upper, upper, lower, lower}), (Texts{"3", "-2", "0", "5", "1"}));
  EXPECT_EQ(vertex_of(p, {nowhere, nowhere, nowhere, nowhere, nowhere}), (Texts{"0", "0", "0", "0", "0"}));
}

TEST(Vertex, WhatIsNoBasisIsRefused) {
  EXPECT_EQ(vertex_of(example(), {lower, lower, lower, lower, lower}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {basic, lower, lower, lower, lower}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {basic, basic, basic, lower, lower}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {basic, basic, basic, basic, basic}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {lower, lower, basic, lower, basic}), Texts{"none"});  // z is not in the first row
  EXPECT_EQ(vertex_of(example(), {}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {lower, lower, upper, basic}), Texts{"none"});
  EXPECT_EQ(vertex_of(example(), {lower, lower, upper, basic, basic, lower}), Texts{"none"});
}

TEST(Vertex, EmptyPrograms) {
  EXPECT_EQ(vertex_of(LinearProgram(), {}), Texts{});
  EXPECT_EQ(vertex_of(program({}, {{{}, free_side()}}), {basic}), Texts{"0"});
  EXPECT_EQ(vertex_of(program({}, {{{}, exactly(0)}}), {lower}), Texts{"none"});
}

TEST(Vertex, AVertexCanBeComputedAgainAfterAFailure) {
  const LinearProgram p = example();
  Vertex vertex;
  const Basis none = {lower, lower, lower, lower, lower}, some = {lower, lower, upper, basic, basic};
  EXPECT_FALSE(compute(&vertex, p, none));
  ASSERT_TRUE(compute(&vertex, p, some));
  EXPECT_EQ(texts(vertex.values()), (Texts{"1", "0", "2", "1", "3"}));
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

TEST(Vertex, WhatATestThrowsPassesThrough) {
  const LinearProgram p = example();
  const Basis basis = {basic, basic, lower, upper, lower};
  const std::vector<QNumber> costs = {1, 0, 0, 0, 0};
  Vertex vertex;
  int num_stopped = 0;
  for (int polls = 0;; ++polls) {
    const StopAfter stop(polls);
    try {
      ASSERT_TRUE(compute(&vertex, p, basis, &stop));
      ASSERT_FALSE(reduced(vertex, costs, &stop).empty());
      break;
    } catch (const Stopped&) {
      ++num_stopped;
    }
  }
  EXPECT_GT(num_stopped, 6);
  EXPECT_EQ(texts(vertex.values()), (Texts{"24/5", "3/5", "-2", "6", "1"}));
}

// ---- against dense elimination ----

using DenseMatrix = std::vector<std::vector<mpq_class>>;

// Solves the equations of the rows of `a`, whose last entries are the right sides, by Gauss and Jordan. Empty when they
// have not exactly one solution.
std::vector<mpq_class> solve(DenseMatrix a, std::size_t num_unknowns) {
  if (a.size() < num_unknowns) return {};
  for (std::size_t k = 0; k < num_unknowns; ++k) {
    std::size_t pivot = k;
    while (pivot < a.size() && a[pivot][k] == 0) ++pivot;
    if (pivot == a.size()) return {};
    std::swap(a[k], a[pivot]);
    const mpq_class inverse = 1 / a[k][k];
    for (mpq_class& each : a[k]) each *= inverse;
    for (std::size_t r = 0; r < a.size(); ++r) {
      const mpq_class factor = a[r][k];
      if (r == k || factor == 0) continue;
      for (std::size_t c = k; c <= num_unknowns; ++c) a[r][c] -= factor * a[k][c];
    }
  }
  std::vector<mpq_class> result;
  for (std::size_t k = 0; k < num_unknowns; ++k) result.push_back(a[k][num_unknowns]);
  return result;
}

// The value of a side that is not basic.
mpq_class value_at(const LinearProgram& p, int s, Place place) {
  const Side& side = p.side(s);
  if (place == Place::free || (!side.lower && !side.upper)) return 0;
  const bool is_upper = !side.lower || (place == Place::upper && side.upper);
  return to_mpq(is_upper ? p.inner_upper(s) : p.inner_lower(s));
}

// All sides are unknowns; rows define theirs, and those that are not basic have their values.
std::vector<mpq_class> dense_values(const LinearProgram& p, const Basis& basis) {
  const auto num_sides = static_cast<std::size_t>(p.num_sides());
  DenseMatrix a;
  for (int s = 0; s < p.num_sides(); ++s) {
    std::vector<mpq_class> row(num_sides + 1);
    row[static_cast<std::size_t>(s)] = 1;
    if (basis[static_cast<std::size_t>(s)] != Place::basic) {
      row[num_sides] = value_at(p, s, basis[static_cast<std::size_t>(s)]);
      a.push_back(row);
    }
    if (s < p.num_columns()) continue;
    row[num_sides] = 0;
    for (const Term& term : p.terms(s - p.num_columns()))
      row[static_cast<std::size_t>(term.column)] -= to_mpq(term.coeff);
    a.push_back(row);
  }
  return a.size() == num_sides ? solve(a, num_sides) : std::vector<mpq_class>();
}

Basis random_basis(test::RandomPrograms& random, const LinearProgram& p) {
  Basis basis;
  for (int s = 0; s < p.num_sides(); ++s) basis.push_back(static_cast<Place>(random.pick(1, 3)));
  int num_basic = p.num_rows() - (random.pick(0, 9) == 0 ? 1 : 0);
  while (num_basic > 0) {
    Place& place = basis[static_cast<std::size_t>(random.pick(0, p.num_sides() - 1))];
    if (place == Place::basic) continue;
    place = Place::basic;
    --num_basic;
  }
  return basis;
}

// `combination` is over the sides that are not basic and is the same sum of columns as `costs`.
void expect_same_sum(const LinearProgram& p, const Basis& basis, const std::vector<QNumber>& costs,
                     const std::vector<QNumber>& combination) {
  ASSERT_EQ(combination.size(), costs.size());
  tarku::test::LinearForm difference;
  for (int s = 0; s < p.num_sides(); ++s) {
    const auto index = static_cast<std::size_t>(s);
    if (basis[index] == Place::basic) {
      EXPECT_TRUE(combination[index].is_zero());
    }
    difference.add(test::form_of(p, s), to_mpq(costs[index]));
    difference.add(test::form_of(p, s), -to_mpq(combination[index]));
  }
  EXPECT_TRUE(difference.coeffs.empty());
}

TEST(Vertex, RandomBasesAgreeWithDenseElimination) {
  test::RandomPrograms random(3);
  int num_computed = 0, num_refused = 0;
  for (int round = 0; round < 1500; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const LinearProgram p = random(random.pick(1, 7), random.pick(0, 7));
    const Basis basis = random_basis(random, p);
    Vertex vertex;
    const bool is_computed = compute(&vertex, p, basis);
    const std::vector<mpq_class> expected = dense_values(p, basis);
    ASSERT_EQ(is_computed, !expected.empty());
    ++(is_computed ? num_computed : num_refused);
    if (!is_computed) continue;
    for (std::size_t s = 0; s < expected.size(); ++s) EXPECT_EQ(to_mpq(vertex.values()[s]), expected[s]);
    std::vector<QNumber> costs;
    for (int s = 0; s < p.num_sides(); ++s) costs.push_back(random.pick(0, 2) == 0 ? random.number() : QNumber(0));
    expect_same_sum(p, basis, costs, reduced(vertex, costs, nullptr));
  }
  EXPECT_GT(num_computed, 500);
  EXPECT_GT(num_refused, 100);
}

// Values of thousands of digits: x_i = 3 x_{i-1} + 1 and its like, from both ends.
TEST(Vertex, LongChainsHaveLongValues) {
  const int length = 2000;
  LinearProgram p;
  for (int j = 0; j < length; ++j) p.add_column();
  p.column(0) = exactly(QNumber(1L, 7L));
  for (int i = 1; i < length; ++i) p.row(p.add_row({{i - 1, 3}, {i, i % 2 == 0 ? -1 : -2}})) = exactly(-1);
  Basis basis(static_cast<std::size_t>(p.num_sides()), lower);
  for (int j = 1; j < length; ++j) basis[static_cast<std::size_t>(j)] = basic;
  Vertex vertex;
  ASSERT_TRUE(compute(&vertex, p, basis));
  EXPECT_EQ(test::offence_of_values(p, vertex.values()), "");
  EXPECT_GT(vertex.values()[length - 1].bit_size(), 2000u);
}

}  // namespace
}  // namespace tarku::lp

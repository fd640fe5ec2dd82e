// Factors modulo 2^61 - 1: solutions are multiplied out again, singular matrices are compared with dense elimination.
#include "tarku/lp/modular_lu.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace tarku::lp {
namespace {

using Entry = ModularLu::Entry;
using Rows = std::vector<ModularLu::Row>;
using Dense = std::vector<std::vector<std::uint64_t>>;

constexpr std::uint64_t p = Residue::modulus;
__extension__ typedef unsigned __int128 Wide;

// Independent of Residue.
std::uint64_t product(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::uint64_t>(static_cast<Wide>(a) * b % p);
}
std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
  return static_cast<std::uint64_t>((static_cast<Wide>(a) + b) % p);
}
std::uint64_t residue(long value) {
  return value < 0 ? p - static_cast<std::uint64_t>(-value) : static_cast<std::uint64_t>(value);
}

Dense dense(const Rows& rows) {
  Dense result(rows.size(), std::vector<std::uint64_t>(rows.size()));
  for (std::size_t r = 0; r < rows.size(); ++r) {
    for (const Entry& e : rows[r]) result[r][static_cast<std::size_t>(e.index)] = e.value;
  }
  return result;
}

bool is_singular(Dense a) {
  for (std::size_t k = 0; k < a.size(); ++k) {
    std::size_t pivot = k;
    while (pivot < a.size() && a[pivot][k] == 0) ++pivot;
    if (pivot == a.size()) return true;
    std::swap(a[k], a[pivot]);
    for (std::size_t r = k + 1; r < a.size(); ++r) {  // without a division: the row is multiplied first
      const std::uint64_t own = a[k][k], other = p - a[r][k];
      if (a[r][k] == 0) continue;
      for (std::size_t c = k; c < a.size(); ++c) a[r][c] = sum(product(a[r][c], own), product(a[k][c], other));
    }
  }
  return false;
}

class ModularLuTest : public testing::Test {
 protected:
  std::mt19937_64 random{5};

  std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); }

  // Small numbers of both signs, the largest residues, and anything.
  std::uint64_t value() {
    switch (below(4)) {
      case 0:
        return 1;
      case 1:
        return p - 1;
      case 2:
        return residue(static_cast<long>(below(9)) - 4) == 0 ? 2 : residue(static_cast<long>(below(4)) + 1);
      default:
        return 1 + below(p - 1);
    }
  }

  std::vector<std::uint64_t> vector(std::size_t size) {
    std::vector<std::uint64_t> result(size);
    for (std::uint64_t& each : result) each = below(3) == 0 ? 0 : value();
    return result;
  }

  std::vector<int> permutation(std::size_t size) {
    std::vector<int> result(size);
    std::iota(result.begin(), result.end(), 0);
    std::shuffle(result.begin(), result.end(), random);
    return result;
  }

  // Each entry is there with the probability 1 / one_in.
  Rows sparse(std::size_t size, std::size_t one_in) {
    Rows rows(size);
    for (ModularLu::Row& row : rows) {
      for (const int c : permutation(size)) {
        if (below(one_in) == 0) row.push_back({c, value()});
      }
    }
    return rows;
  }

  void expect_solutions(const Rows& rows, const ModularLu& lu) {
    const std::vector<std::uint64_t> right = vector(rows.size());
    std::vector<std::uint64_t> x = right, y = right;
    lu.solve(&x);
    lu.solve_transposed(&y);
    ASSERT_EQ(x.size(), rows.size());
    ASSERT_EQ(y.size(), rows.size());
    std::vector<std::uint64_t> by_row(rows.size()), by_column(rows.size());
    for (std::size_t r = 0; r < rows.size(); ++r) {
      for (const Entry& e : rows[r]) {
        const auto c = static_cast<std::size_t>(e.index);
        by_row[r] = sum(by_row[r], product(e.value, x[c]));
        by_column[c] = sum(by_column[c], product(e.value, y[r]));
      }
    }
    EXPECT_EQ(by_row, right);
    EXPECT_EQ(by_column, right);
  }

  // Gives whether it is regular.
  bool expect_right(const Rows& rows) {
    ModularLu lu;
    const bool is_regular = lu.factor(rows, nullptr);
    EXPECT_EQ(is_regular, !is_singular(dense(rows)));
    if (is_regular) expect_solutions(rows, lu);
    return is_regular;
  }
};

TEST_F(ModularLuTest, ResiduesAreReducedAtTheBorders) {
  const std::uint64_t borders[] = {0, 1, 2, std::uint64_t{1} << 60, p / 2, p / 2 + 1, p - 2, p - 1};
  for (const std::uint64_t a : borders) {
    EXPECT_EQ(Residue::add(a, Residue::negate(a)), 0u);
    for (const std::uint64_t b : borders) {
      EXPECT_EQ(Residue::add(a, b), sum(a, b));
      EXPECT_EQ(Residue::multiply(a, b), product(a, b));
    }
    if (a != 0) {
      EXPECT_EQ(product(a, Residue::inverse(a)), 1u);
    }
  }
}

TEST_F(ModularLuTest, TheEmptyMatrixIsRegular) {
  ModularLu lu;
  ASSERT_TRUE(lu.factor({}, nullptr));
  std::vector<std::uint64_t> nothing;
  lu.solve(&nothing);
  lu.solve_transposed(&nothing);
  EXPECT_TRUE(nothing.empty());
  EXPECT_EQ(lu.num_entries(), 0u);
}

TEST_F(ModularLuTest, OneEntry) {
  for (const std::uint64_t a : {std::uint64_t{1}, std::uint64_t{3}, p - 1}) EXPECT_TRUE(expect_right({{{0, a}}}));
  EXPECT_FALSE(expect_right(Rows(1)));
}

TEST_F(ModularLuTest, PermutationsTakeOneEntryPerPivot) {
  for (std::size_t size = 1; size < 40; ++size) {
    const std::vector<int> order = permutation(size);
    Rows rows(size);
    for (std::size_t r = 0; r < size; ++r) rows[r] = {{order[r], value()}};
    EXPECT_TRUE(expect_right(rows));
    ModularLu lu;
    ASSERT_TRUE(lu.factor(rows, nullptr));
    EXPECT_EQ(lu.num_entries(), size);
  }
}

// Whatever the order of rows and columns, nothing is filled in.
TEST_F(ModularLuTest, TriangularMatricesStaySparse) {
  for (int round = 0; round < 50; ++round) {
    const std::size_t size = 1 + below(30);
    const std::vector<int> row_order = permutation(size), column_order = permutation(size);
    Rows rows(size);
    std::size_t num_entries = 0;
    for (std::size_t r = 0; r < size; ++r) {
      ModularLu::Row& row = rows[static_cast<std::size_t>(row_order[r])];
      for (std::size_t c = 0; c <= r; ++c) {
        if (c == r || below(3) == 0) row.push_back({column_order[c], value()});
      }
      num_entries += row.size();
    }
    EXPECT_TRUE(expect_right(rows));
    ModularLu lu;
    ASSERT_TRUE(lu.factor(rows, nullptr));
    EXPECT_EQ(lu.num_entries(), num_entries);
  }
}

TEST_F(ModularLuTest, RandomMatrices) {
  int num_regular = 0, num_singular = 0;
  for (int round = 0; round < 600; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::size_t size = 1 + below(25);
    ++(expect_right(sparse(size, 1 + below(size))) ? num_regular : num_singular);
  }
  EXPECT_GT(num_regular, 100);
  EXPECT_GT(num_singular, 100);
}

// With nothing but 1 and -1, entries vanish in the midst of the elimination, and come back.
TEST_F(ModularLuTest, CancellingEntries) {
  int num_regular = 0, num_singular = 0;
  for (int round = 0; round < 1000; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Rows rows = sparse(2 + below(10), 2);
    for (ModularLu::Row& row : rows) {
      for (Entry& e : row) e.value = below(2) == 0 ? 1 : p - 1;
    }
    ++(expect_right(rows) ? num_regular : num_singular);
  }
  EXPECT_GT(num_regular, 100);
  EXPECT_GT(num_singular, 100);
}

TEST_F(ModularLuTest, RowsThatDependOnOthersAreFound) {
  for (int round = 0; round < 200; ++round) {
    const std::size_t size = 2 + below(12);
    Rows rows = sparse(size, 2);
    const std::size_t target = below(size);
    Dense all = dense(rows);
    std::vector<std::uint64_t> combined(size);
    for (std::size_t r = 0; r < size; ++r) {
      const std::uint64_t factor = below(2) == 0 ? 0 : value();
      for (std::size_t c = 0; c < size && r != target; ++c) combined[c] = sum(combined[c], product(factor, all[r][c]));
    }
    rows[target].clear();
    for (std::size_t c = 0; c < size; ++c) {
      if (combined[c] != 0) rows[target].push_back({static_cast<int>(c), combined[c]});
    }
    EXPECT_FALSE(expect_right(rows));
  }
}

TEST_F(ModularLuTest, AFactoredObjectCanBeUsedAgain) {
  ModularLu lu;
  for (int round = 0; round < 100; ++round) {
    const Rows rows = sparse(1 + below(6), 2);
    if (lu.factor(rows, nullptr)) expect_solutions(rows, lu);
  }
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

TEST_F(ModularLuTest, AnInterruptedFactorizationCanBeRepeated) {
  Rows rows(5);
  for (int r = 0; r < 5; ++r) rows[static_cast<std::size_t>(r)] = {{r, 2}};
  ModularLu lu;
  for (int polls = 0; polls < 5; ++polls) {
    const StopAfter stop(polls);
    EXPECT_THROW(lu.factor(rows, &stop), Stopped);
  }
  ASSERT_TRUE(lu.factor(rows, nullptr));
  expect_solutions(rows, lu);
}

// A column that every row has, and a row that has every column, cost no more than their entries, each time they are
// touched.
TEST_F(ModularLuTest, DenseRowsAndColumnsAmongSparseOnes) {
  const int size = 5000;
  Rows rows(size);
  for (int r = 0; r < size; ++r) {
    ModularLu::Row& row = rows[static_cast<std::size_t>(r)];
    row.push_back({r, value()});
    if (r > 0) row.push_back({0, value()});
    for (int c = 1; r == 0 && c < size; ++c) row.push_back({c, value()});
  }
  ModularLu lu;
  ASSERT_TRUE(lu.factor(rows, nullptr));
  EXPECT_LE(lu.num_entries(), static_cast<std::size_t>(4 * size));
  expect_solutions(rows, lu);
}

}  // namespace
}  // namespace tarku::lp

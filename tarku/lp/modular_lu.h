// ModularLu: sparse LU factors of a square integer matrix modulo the Mersenne prime 2^61 - 1.
//
// Pivots are chosen by Markowitz's count (Harry M. Markowitz, "The elimination form of the inverse and its application
// to linear programming", 1957) among the rows with the fewest entries. Bases of linear programs are nearly triangular,
// so that most pivots cost nothing.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "tarku/termination_test.h"

namespace tarku::lp {

// Residues 0 .. modulus - 1.
class Residue {
 public:
  static constexpr std::uint64_t modulus = (std::uint64_t{1} << 61) - 1;

  static std::uint64_t add(std::uint64_t a, std::uint64_t b) { return fold(a + b); }
  static std::uint64_t negate(std::uint64_t a) { return a == 0 ? 0 : modulus - a; }
  static std::uint64_t multiply(std::uint64_t a, std::uint64_t b) {
    const Wide product = static_cast<Wide>(a) * b;
    return fold(static_cast<std::uint64_t>(product & modulus) + static_cast<std::uint64_t>(product >> 61));
  }
  static std::uint64_t inverse(std::uint64_t a);  // a is not 0

 private:
  __extension__ typedef unsigned __int128 Wide;

  static std::uint64_t fold(std::uint64_t a) { return a >= modulus ? a - modulus : a; }
};

class ModularLu {
 public:
  struct Entry {
    int index;  // of a column in a row; of a row in a column of multipliers
    std::uint64_t value;
  };
  using Row = std::vector<Entry>;

  // `rows` hold the residues that are not 0, in any order. False when the matrix is singular modulo the prime.
  bool factor(std::vector<Row> rows, const TerminationTest* test);

  // The solution of A x = b: *v is b at first, by rows, and x in the end, by columns.
  void solve(std::vector<std::uint64_t>* v) const;
  // The solution of A^T y = c: *v is c at first, by columns, and y in the end, by rows.
  void solve_transposed(std::vector<std::uint64_t>* v) const;

  std::size_t num_entries() const;

 private:
  struct Pivot {
    int row, column;
    std::uint64_t inverse;  // of the pivot entry
    Row upper;              // the other entries of its row, by column
    Row lower;              // multiples of it that were subtracted from others, by row
  };
  class Elimination;

  std::vector<Pivot> pivots_;  // in the order of elimination
};

}  // namespace tarku::lp

// IntegerSystem: exact solutions of square sparse systems with integer coefficients.
//
// The matrix is factored once modulo a prime p. A solution comes digit by digit in base p: each digit solves the system
// modulo p for what the digits before leave over. When there are enough of them the rational numbers behind are
// reconstructed, with one common denominator, and put to the test in the system itself (John D. Dixon, "Exact solution
// of linear equations using p-adic expansions", 1982). The numbers in between stay as short as the coefficients, which
// is what makes this so much faster than elimination with rationals.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "tarku/lp/integer.h"
#include "tarku/lp/modular_lu.h"
#include "tarku/termination_test.h"

namespace tarku::lp {

class IntegerSystem {
 public:
  struct Entry {
    int column;
    Integer value;  // not 0
  };
  using Row = std::vector<Entry>;

  // numerators / denominator, which is positive; not always in lowest terms.
  struct Solution {
    std::vector<Integer> numerators;
    Integer denominator;
  };

  // False when the matrix is singular, or seems to be.
  bool set_matrix(std::vector<Row> rows, const TerminationTest* test);

  // The solution of A x = b, or with `transposed` of A^T x = b.
  std::optional<Solution> solve(const std::vector<Integer>& b, bool transposed, const TerminationTest* test) const;

 private:
  class Lifting;

  std::vector<std::uint64_t> residues(const std::vector<Integer>& v) const;
  void subtract_product(const std::vector<std::uint64_t>& x, bool transposed, std::vector<Integer>* v) const;
  bool is_solution(const Solution& x, const std::vector<Integer>& b, bool transposed) const;
  std::size_t determinant_bits() const;

  std::vector<Row> rows_;
  ModularLu lu_;
};

}  // namespace tarku::lp

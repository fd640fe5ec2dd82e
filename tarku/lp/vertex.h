// Vertex: the exact point that a basis of a linear program stands for.
//
// The sides that are not basic stand at their bounds. A row whose side is basic defines that side and no more; the
// other rows, over the columns that are basic, are a square system that determines them (the kernel).
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "tarku/lp/integer_system.h"
#include "tarku/lp/linear_program.h"
#include "tarku/lp/proposer.h"
#include "tarku/termination_test.h"

namespace tarku::lp {

class Vertex {
 public:
  // Both must live as long as the vertex is asked. False when the basis is none.
  bool set_basis(const LinearProgram& program, const Basis& basis, const TerminationTest* test);

  // Computes the values. False when that fails.
  bool compute(const TerminationTest* test);
  // By side; they satisfy the equations of the program.
  const std::vector<QNumber>& values() const { return values_; }

  // Some sides, each with an integer as its factor, in the order of the sides.
  using Combination = std::vector<std::pair<int, Integer>>;
  // Writes the sum of `costs`, of basic sides, as a combination of the other sides, times *denominator, a positive
  // integer. Empty when that fails.
  std::optional<Combination> reduced(const Combination& costs, Integer* denominator, const TerminationTest* test) const;

 private:
  bool is_basic(int side) const { return (*basis_)[static_cast<std::size_t>(side)] == Place::basic; }
  void place_others();
  bool set_kernel(const TerminationTest* test);
  bool solve_kernel(const TerminationTest* test);
  QNumber row_sum(int row) const;
  void add_row(int row, const Integer& factor, std::vector<Integer>* sums) const;

  const LinearProgram* program_ = nullptr;
  const Basis* basis_ = nullptr;
  std::vector<int> kernel_rows_, kernel_columns_;
  std::vector<int> kernel_index_;  // by column, -1 when it is not basic
  IntegerSystem kernel_;
  std::vector<QNumber> values_;
};

}  // namespace tarku::lp

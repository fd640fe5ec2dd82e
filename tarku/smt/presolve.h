// EqualitySystem: solves the equalities that hold for good, so that the search need not carry them.
//
// An equality told to the solver as a fixed slack variable costs a row and, once the slack has left the basis, a column
// that fills up and never takes part in a pivot again. Solved beforehand it costs neither: it defines one of its
// variables by the others,
//
//   x = sum d_j * y_j + offset
//
// and since the solver's equations have no constants, the solver's variable for x stands for x - offset. All other
// variables have offset 0.
//
// The order of the pivots decides how full the definitions get. Short equalities go first, and each defines the
// variable that fewest rows mention (the cheap half of Markowitz's count: Harry M. Markowitz, "The elimination form of
// the inverse and its application to linear programming", 1957).
#pragma once

#include <cstdint>
#include <vector>

#include "tarku/la/equation.h"
#include "tarku/la/tableau.h"
#include "tarku/numbers/qnumber.h"
#include "tarku/termination_test.h"

namespace tarku::smt {

class EqualitySystem {
 public:
  struct Definition {
    int variable;
    std::vector<la::Equation::VarCoeff> terms;  // over variables that are not defined, ascending
    QNumber offset;
  };

  // Variables of the equalities are 1 .. num_variables.
  explicit EqualitySystem(int num_variables) : first_slack_(num_variables + 1) {}

  // Adds  sum of terms = value.  The terms are ascending.
  void add(const std::vector<la::Equation::VarCoeff>& terms, const QNumber& value);

  // Solves the system, polling `test` (null for none) now and then. False when it has no solution. When the test
  // throws, only destruction is safe.
  bool solve(const TerminationTest* test);

  // What solve() did with an equality (counted from 0 in the order of add): it defined the unknown.
  struct Pivot {
    int equality;
    int unknown;
  };
  // In the order in which they were made. An equality that is no pivot follows from those that are, or contradicts
  // them.
  const std::vector<Pivot>& pivots() const { return pivots_; }
  // After solve() has answered false: an equality that the pivots so far contradict.
  int contradicted() const { return contradicted_; }

  // What solve() has cost so far, in the tableau's measure.
  std::uint64_t work() const { return tableau_.work(); }

  // After solve() has answered true: one definition for each independent equality, ascending by variable.
  std::vector<Definition> definitions() const;

 private:
  static constexpr int one_ = 0;  // the variable that stands for the number 1

  bool is_unknown(int var) const { return var != one_ && var < first_slack_; }
  int cheapest_unknown(int slack) const;

  int first_slack_;  // slack variables of the equalities, all zero, follow the unknowns
  int num_equalities_ = 0;
  std::vector<Pivot> pivots_;
  int contradicted_ = -1;
  la::Tableau tableau_{0};
};

}  // namespace tarku::smt

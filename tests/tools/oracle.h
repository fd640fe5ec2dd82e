// Exact oracle of the test tools: is a small set of bounds satisfiable together with linear equations?
//
// It shares nothing with the library. Two methods that have nothing in common answer the same question, so that each
// can be tested against the other:
//   feasible                 eliminates the equations, then runs Bland's dual simplex on a dense tableau of integers
//                            with one common denominator; this is the fast one
//   feasible_by_elimination  Fourier-Motzkin elimination on the inequalities as they stand; slow and simple
//
// Values are delta-rationals (see rational.h). A strict limit is one infinitesimal step finer than delta: x < 3 + d
// still admits x = 3 + d - e for every positive rational multiple e of something infinitely smaller than d.
#pragma once

#include <vector>

#include "tests/tools/rational.h"

namespace tarku::tester {

struct Term {
  int var;
  Rational coeff;
};

// A linear form: ascending variables, no zero coefficients (see normalized).
using Form = std::vector<Term>;

Form normalized(Form terms);                                     // sorts, sums repeated variables, drops zeros
Form sum(const Form& a, const Form& b, const Rational& factor);  // a + factor * b; both normalized
Rational coefficient(const Form& form, int var);                 // 0 when absent
std::string to_str(const Form& form);                            // "2*x1 + -1/2*x3", "0"

// A set of equations form = 0, kept solved: some variables are defined by forms over the others.
class EquationSystem {
 public:
  // Adds form = 0; false when it follows from the equations already there.
  bool add(const Form& form);
  // Writes the form over the free variables only; empty when it is 0 in every solution.
  Form reduce(const Form& form) const;
  bool implies_zero(const Form& form) const { return reduce(form).empty(); }

 private:
  struct Definition {
    int var;
    Form value;  // over free variables
  };
  const Definition* find(int var) const;
  std::vector<Definition> definitions_;
};

// var <= value when upper, var >= value otherwise; < and > when strict.
struct Limit {
  int var;
  bool upper;
  Value value;
  bool strict = false;
};

bool feasible(const EquationSystem& equations, const std::vector<Limit>& limits);
bool feasible_by_elimination(const std::vector<Form>& equations, const std::vector<Limit>& limits);

}  // namespace tarku::tester

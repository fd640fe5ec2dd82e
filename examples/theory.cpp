// The solver as the theory of one's own search over clauses: which of three jobs comes first on one machine?
#include <cstdlib>
#include <iostream>
#include <vector>

#include "tarku/la/lasolver.h"

using tarku::QNumber;
using tarku::la::DNumber;
using tarku::la::Equation;
using tarku::la::Solver;

using Clause = std::vector<int>;  // literals: an atom, or the negative of one

class Search {
 public:
  // [atoms]
  // Atom k says `variable <= limit`. It is constraint 2k, and its negation constraint 2k + 1: both are told, once.
  // Bounds are r + k*delta for a positive delta smaller than every number: x <= r - delta is x < r.
  void add_atom(int atom, int variable, const DNumber& limit) {
    const DNumber delta(QNumber(0), QNumber(1));
    solver_.tell_upper_bound(2 * atom, variable, limit);
    solver_.tell_lower_bound(2 * atom + 1, variable, limit + delta);
    values_.resize(static_cast<std::size_t>(atom) + 1);
  }
  static int constraint_of(int literal) { return literal > 0 ? 2 * literal : -2 * literal + 1; }
  static int literal_of(int constraint) { return constraint % 2 == 0 ? constraint / 2 : -(constraint / 2); }
  // [/atoms]

  // [differences]
  static constexpr int first_equation = 1000000;  // a constraint index beyond those of atoms

  // Variable `difference` is x - y, always.
  void add_difference(int difference, int x, int y) {
    Equation equation(difference);
    equation.add_term(x, QNumber(1));
    equation.add_term(y, QNumber(-1));
    solver_.tell_equation(first_equation + difference, equation);
  }
  // [/differences]

  void add_clause(const Clause& clause) { clauses_.push_back(clause); }

  // [assign]
  // False when the theory refuses: the conflict, negated, is a clause that excludes it from now on.
  bool assign(int literal) {
    values_[static_cast<std::size_t>(std::abs(literal))] = literal;
    if (solver_.push_constraint(constraint_of(literal)) && solver_.check(/*partial=*/true)) return true;
    Clause lemma;
    for (const int constraint : solver_.conflict_) lemma.push_back(-literal_of(constraint));
    add_clause(lemma);
    return false;
  }

  // In the reverse order of assignments, refused ones included.
  void unassign(int literal) {
    solver_.pop_constraint();
    values_[static_cast<std::size_t>(std::abs(literal))] = 0;
  }
  // [/assign]

  // Satisfies the first clause that is not satisfied yet, and then the others.
  bool solve() {
    for (std::size_t i = 0; i < clauses_.size(); ++i) {
      if (has_true_literal(clauses_[i])) continue;
      const Clause open = clauses_[i];
      for (const int literal : open) {
        if (values_[static_cast<std::size_t>(std::abs(literal))] != 0) continue;
        if (assign(literal) && solve()) return true;
        unassign(literal);
      }
      return false;
    }
    return solver_.check(/*partial=*/false);
  }

  // [model]
  // A rational for each variable, once solve has answered true.
  QNumber value(int variable) {
    if (solver_.model_values_.size() == 0) solver_.build_model({});
    QNumber result;
    solver_.get_value(variable, &result);
    return result;
  }
  // [/model]

 private:
  bool has_true_literal(const Clause& clause) const {
    for (const int literal : clause) {
      if (values_[static_cast<std::size_t>(std::abs(literal))] == literal) return true;
    }
    return false;
  }

  Solver solver_{/*proofs=*/false, /*verbosity=*/0};
  std::vector<Clause> clauses_;
  std::vector<int> values_;  // by atom: the literal that is true, 0 for none
};

int main() {
  constexpr int jobs = 3, hours[] = {3, 4, 2}, deadlines[] = {9, 6, 7};
  Search search;
  int atom = 0, difference = jobs;
  for (int i = 0; i < jobs; ++i) {
    search.add_atom(++atom, i + 1, DNumber(QNumber(0), QNumber(-1)));  // starts before time 0
    search.add_clause({-atom});
    search.add_atom(++atom, i + 1, DNumber(QNumber(deadlines[i] - hours[i])));
    search.add_clause({atom});
  }
  for (int i = 0; i < jobs; ++i) {
    for (int j = 0; j < i; ++j) {
      search.add_difference(++difference, i + 1, j + 1);
      search.add_atom(++atom, difference, DNumber(QNumber(-hours[i])));              // i is done before j begins
      search.add_atom(++atom, difference, DNumber(QNumber(hours[j]), QNumber(-1)));  // i begins before j is done
      search.add_clause({atom - 1, -atom});
    }
  }
  if (!search.solve()) return 1;
  for (int i = 0; i < jobs; ++i) std::cout << "job " << i << " starts at " << search.value(i + 1).to_str() << '\n';
  return 0;
}

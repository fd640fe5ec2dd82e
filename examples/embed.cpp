// Embeds the solver: how much flour do 4 loaves and more than 2 cakes take, and what is asked too much of 5 kg?
#include <iostream>

#include "tarku/la/lasolver.h"

using tarku::QNumber;
using tarku::la::DNumber;
using tarku::la::Equation;
using tarku::la::Solver;

// Variables and constraints carry numbers of our own choosing, starting at 1.
enum Variable { kLoaves = 1, kCakes, kFlour };
enum Constraint { kRecipe = 1, kMinLoaves, kMinCakes, kStock, kParty };

// Asserts one constraint on top of those already there and decides. A push may find the conflict by itself.
bool assert_and_check(Solver& solver, Constraint constraint) {
  const bool feasible = solver.push_constraint(constraint) && solver.check(false);
  std::cout << "with constraint " << constraint << ": ";
  if (feasible) {
    std::cout << "feasible\n";
  } else {
    std::cout << "these exclude each other:";
    for (int index : solver.conflict_) std::cout << ' ' << index;
    std::cout << '\n';
  }
  return feasible;
}

// Values are pairs r + k*delta: delta is positive and smaller than every number, which makes strict bounds exact.
void print_values(Solver& solver) {
  for (int variable : {kLoaves, kCakes, kFlour}) {
    DNumber value;
    if (solver.get_abstract_value(variable, &value)) std::cout << "  x" << variable << " = " << value.to_str() << '\n';
  }
}

int main() {
  Solver solver(/*proofs=*/false, /*verbosity=*/0);

  Equation recipe(kFlour);  // flour = 1/2 loaves + 3/4 cakes
  recipe.add_term(kLoaves, QNumber(1, 2));
  recipe.add_term(kCakes, QNumber(3, 4));
  solver.tell_equation(kRecipe, recipe);
  solver.add_equation(kRecipe);

  // Telling a bound only names it; pushing puts it in force.
  solver.tell_lower_bound(kMinLoaves, kLoaves, DNumber(QNumber(4)));            // loaves >= 4
  solver.tell_lower_bound(kMinCakes, kCakes, DNumber(QNumber(2), QNumber(1)));  // cakes > 2
  solver.tell_upper_bound(kStock, kFlour, DNumber(QNumber(5)));                 // flour <= 5
  solver.tell_lower_bound(kParty, kCakes, DNumber(QNumber(5)));                 // cakes >= 5

  const bool feasible =
      assert_and_check(solver, kMinLoaves) && assert_and_check(solver, kMinCakes) && assert_and_check(solver, kStock);
  print_values(solver);
  const bool party = assert_and_check(solver, kParty);  // 1/2 * 4 + 3/4 * 5 is more than 5
  solver.pop_constraint();                              // the party is off
  return feasible && !party && solver.check(false) ? 0 : 1;
}
